#include "replies/frames.h"

#include <algorithm>

#include "replies/wire.h"

namespace replies {
namespace {

constexpr char kIdTag = 0x08;

// Payloads of kinds of their own begin here.
constexpr uint64_t kFirstPayload = 20;
constexpr uint64_t kTableField = 3;
constexpr uint64_t kTableAsTextField = 4;

// Bytes of a length.
constexpr size_t kFixed = 4;
constexpr size_t kLongestVarint = 10;
// No reply has a length of more than five bytes.
constexpr size_t kLongestPrefix = 5;

// Most varints here have one byte.
inline bool ReadShortVarint(std::string_view bytes, size_t* pos, uint64_t* value) {
  if (*pos >= bytes.size() || (bytes[*pos] & 0x80) != 0) return ReadVarint(bytes, pos, value);
  *value = static_cast<unsigned char>(bytes[(*pos)++]);
  return true;
}

// ---- a field by its head ----

struct FieldHead {
  uint64_t number = 0;
  unsigned wire_type = 0;
  uint64_t varint = 0;  // the value of wire type 0
  uint64_t length = 0;  // of the content of wire type 2
};

WireStep CutOrBrokenHead(std::string_view there, uint64_t size, uint64_t at) {
  const uint64_t left = std::min<uint64_t>(there.size(), size) - at;
  return there.size() < size && left < kLongestVarint ? WireStep::kCut : WireStep::kBroken;
}

// The field at `*pos` of a content of `size` bytes; `*pos` is then behind its content, which may lie behind
// the bytes that are there.
WireStep ReadFieldHead(std::string_view there, uint64_t size, uint64_t* pos, FieldHead* head) {
  if (*pos == size) return WireStep::kEnd;
  if (*pos >= there.size()) return WireStep::kCut;
  auto at = static_cast<size_t>(*pos);
  uint64_t tag = 0;
  head->length = 0;
  if (!ReadShortVarint(there, &at, &tag)) return CutOrBrokenHead(there, size, at);
  head->number = tag >> 3;
  head->wire_type = static_cast<unsigned>(tag & 7);
  switch (head->wire_type) {
    case 0:
      if (!ReadShortVarint(there, &at, &head->varint)) return CutOrBrokenHead(there, size, at);
      break;
    case 2:
      if (!ReadShortVarint(there, &at, &head->length)) return CutOrBrokenHead(there, size, at);
      break;
    default: return WireStep::kBroken;
  }
  if (head->number == 0 || at > size || head->length > size - at) return WireStep::kBroken;
  *pos = at + head->length;
  return WireStep::kField;
}

bool BelongsToEnvelope(const FieldHead& head, uint64_t id) {
  if (head.number == kObjCountField) return head.wire_type == 0;
  return head.wire_type == 2 && head.number != kIdField &&
         (head.number <= kLastTextField || head.number == id);
}

// A table is its descriptions of columns and their data, fields 2 and 3, and nothing else.
bool IsTable(std::string_view content) {
  uint64_t pos = 0;
  FieldHead head;
  for (int fields = 0; fields < kFreeFields; ++fields) {
    switch (ReadFieldHead(content, content.size(), &pos, &head)) {
      case WireStep::kField: break;
      case WireStep::kEnd: return fields != 0;
      default: return false;
    }
    if (head.wire_type != 2 || (head.number != 2 && head.number != 3)) return false;
  }
  return true;
}

bool IsJson(std::string_view content) {
  return content.size() >= 2 && ((content.front() == '{' && content.back() == '}') ||
                                 (content.front() == '[' && content.back() == ']'));
}

// Whether the field that ends at `end` is the payload of the Id. Messages inside tables have the field 1 for
// a number, too, and then one of 2 to 7, so that the texts have to be looked into.
bool IsPayload(std::string_view there, const FieldHead& head, uint64_t end, uint64_t id) {
  if (head.wire_type != 2 || head.number != id) return false;
  if (id >= kFirstPayload) return true;
  if (end > there.size()) return false;
  const auto size = static_cast<size_t>(head.length);
  const std::string_view content = there.substr(static_cast<size_t>(end) - size, size);
  return (id == kTableField && IsTable(content)) || (id == kTableAsTextField && IsJson(content));
}

// ---- a frame at a place ----

enum class Judgement { kFrame, kNone, kNeedsMore };

// Whether a frame begins at the front of `bytes`. The last message inside a reply ends where that does, at
// `to`.
Judgement JudgeFrame(std::string_view bytes, size_t to, bool ended, Prefix prefix, uint64_t most,
                     Effort* effort) {
  size_t prefix_size = 0;
  uint64_t size = 0;
  if (ReadPrefix(bytes, prefix, &prefix_size, &size) != PrefixStep::kRead || size < 2 || size > most)
    return Judgement::kNone;
  const std::string_view rest = bytes.substr(prefix_size);
  const bool whole = size <= rest.size();
  if (!whole && ended) return Judgement::kNone;
  bool has_payload = false;
  const Look look = LookAtEnvelope(rest.substr(0, static_cast<size_t>(std::min<uint64_t>(size, rest.size()))),
                                   size, effort, &has_payload);
  if (look == Look::kNo) return Judgement::kNone;
  if (look == Look::kWhole && has_payload) return Judgement::kFrame;
  if (!whole) {
    // Its end is too far to be waited for.
    if (bytes.size() < kLookAhead) return Judgement::kNeedsMore;
    return has_payload || look == Look::kWhole ? Judgement::kFrame : Judgement::kNone;
  }
  Look ignored = Look::kNo;
  const size_t frame_end = prefix_size + static_cast<size_t>(size);
  switch (LookBehind(bytes, frame_end, ended, prefix, most, &ignored)) {
    case Behind::kReply: return frame_end == to ? Judgement::kNone : Judgement::kFrame;
    case Behind::kEnd:
    case Behind::kNoReply: return Judgement::kNone;
    case Behind::kCut: return Judgement::kNeedsMore;
  }
  return Judgement::kNone;
}

// The length before an Id's tag at `tag` may have up to so many bytes.
size_t LongestPrefix(Prefix prefix) {
  return prefix == Prefix::kVarint ? kLongestPrefix : kFixed;
}

// Where the length begins whose last byte is before `tag`, if it has `size` bytes; null if there is none.
std::optional<size_t> PrefixBefore(std::string_view bytes, size_t from, size_t tag, size_t size,
                                   Prefix prefix) {
  if (tag - from < size) return std::nullopt;
  const size_t at = tag - size;
  size_t read = 0;
  uint64_t ignored = 0;
  const bool fits =
      ReadPrefix(bytes.substr(at, size), prefix, &read, &ignored) == PrefixStep::kRead && read == size;
  return fits ? std::optional<size_t>(at) : std::nullopt;
}

}  // namespace

std::optional<Prefix> PrefixOf(Form form) {
  switch (form) {
    case Form::kDelimited: return Prefix::kVarint;
    case Form::kFixed32Be: return Prefix::kFixed32Be;
    case Form::kFixed32Le: return Prefix::kFixed32Le;
    default: return std::nullopt;
  }
}

PrefixStep ReadPrefix(std::string_view bytes, Prefix prefix, size_t* prefix_size, uint64_t* size) {
  if (prefix == Prefix::kVarint) {
    *prefix_size = 0;
    if (ReadShortVarint(bytes, prefix_size, size)) return PrefixStep::kRead;
    return bytes.size() < kLongestVarint ? PrefixStep::kCut : PrefixStep::kBroken;
  }
  if (bytes.size() < kFixed) return PrefixStep::kCut;
  *size = 0;
  for (size_t i = 0; i < kFixed; ++i) {
    const char byte = bytes[prefix == Prefix::kFixed32Be ? i : kFixed - 1 - i];
    *size = *size << 8 | static_cast<unsigned char>(byte);
  }
  *prefix_size = kFixed;
  return PrefixStep::kRead;
}

Look LookAtEnvelope(std::string_view content, uint64_t size, Effort* effort, bool* has_payload) {
  uint64_t pos = 0;
  uint64_t id = 0;
  FieldHead head;
  for (int fields = 0;; ++fields) {
    switch (ReadFieldHead(content, size, &pos, &head)) {
      case WireStep::kField: break;
      case WireStep::kEnd: return fields == 0 ? Look::kNo : Look::kWhole;
      case WireStep::kCut: return Look::kSoFar;
      case WireStep::kBroken: return Look::kNo;
    }
    if (fields == 0) {
      if (head.number != kIdField || head.wire_type != 0) return Look::kNo;
      id = head.varint;
      continue;
    }
    if (!BelongsToEnvelope(head, id)) return Look::kNo;
    *has_payload = *has_payload || IsPayload(content, head, pos, id);
    if (fields >= kFreeFields && !effort->Spend()) return Look::kSoFar;
  }
}

Behind LookBehind(std::string_view bytes, size_t at, bool ended, Prefix prefix, uint64_t most, Look* look) {
  *look = Look::kNo;
  if (at >= bytes.size()) return ended ? Behind::kEnd : Behind::kCut;
  size_t prefix_size = 0;
  uint64_t size = 0;
  const Behind cut = ended ? Behind::kNoReply : Behind::kCut;
  const PrefixStep step = ReadPrefix(bytes.substr(at), prefix, &prefix_size, &size);
  if (step == PrefixStep::kCut) return cut;
  if (step == PrefixStep::kBroken || size < 2 || size > most) return Behind::kNoReply;
  const std::string_view rest = bytes.substr(at + prefix_size);
  // Always as much, so that the answer does not hang on how the source comes.
  const auto needed = static_cast<size_t>(std::min<uint64_t>(size, kLookedAtBehind));
  if (rest.size() < needed) return cut;
  Effort none;
  bool ignored = false;
  *look = LookAtEnvelope(rest.substr(0, needed), size, &none, &ignored);
  return *look == Look::kNo ? Behind::kNoReply : Behind::kReply;
}

Search FindFrame(std::string_view bytes, size_t from, size_t to, bool ended, Prefix prefix, uint64_t most,
                 Effort* effort) {
  const size_t longest = LongestPrefix(prefix);
  const size_t shortest = prefix == Prefix::kVarint ? 1 : kFixed;
  const auto last_tag = std::min(bytes.size(), to < bytes.size() ? to + longest : bytes.size());
  // Every reply begins with the tag of its Id, and few other bytes are one.
  for (size_t tag = bytes.find(kIdTag, from); tag < last_tag; tag = bytes.find(kIdTag, tag + 1)) {
    for (size_t size = shortest; size <= longest; ++size) {
      const auto at = PrefixBefore(bytes, from, tag, size, prefix);
      if (!at || *at >= to) continue;
      const Judgement judgement = JudgeFrame(bytes.substr(*at), to - *at, ended, prefix, most, effort);
      if (judgement == Judgement::kFrame) return {Search::kFound, *at};
      if (judgement == Judgement::kNeedsMore)
        return {Search::kNeedsMore, tag - std::min(tag - from, longest)};
    }
  }
  if (ended || to != kAnywhere) return {Search::kNone, std::min(bytes.size(), to)};
  // The last bytes may be a length.
  return {Search::kNeedsMore, std::max(from, bytes.size() - std::min(bytes.size(), longest))};
}

}  // namespace replies
