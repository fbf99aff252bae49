#include "replies/wire.h"

#include <algorithm>

namespace replies {
namespace {

constexpr uint64_t kMaxFieldNumber = (uint64_t{1} << 29) - 1;

// A fixed or length-delimited content of `size` bytes at `pos`.
WireStep TakeBytes(std::string_view bytes, size_t pos, uint64_t size, WireField* field, size_t* end) {
  if (size > bytes.size() - pos) return WireStep::kCut;
  field->payload = bytes.substr(pos, static_cast<size_t>(size));
  *end = pos + static_cast<size_t>(size);
  return WireStep::kField;
}

WireStep CutOrBroken(std::string_view bytes, size_t pos) {
  return bytes.size() - pos < 10 ? WireStep::kCut : WireStep::kBroken;
}

WireStep TakeValue(std::string_view bytes, size_t pos, WireField* field, size_t* end) {
  uint64_t size = 0;
  switch (field->wire_type) {
    case 0:
      if (!ReadVarint(bytes, &pos, &field->varint)) return CutOrBroken(bytes, pos);
      *end = pos;
      return WireStep::kField;
    case 1: return TakeBytes(bytes, pos, 8, field, end);
    case 2:
      if (!ReadVarint(bytes, &pos, &size)) return CutOrBroken(bytes, pos);
      if (size > kMaxReplyBytes) return WireStep::kBroken;
      return TakeBytes(bytes, pos, size, field, end);
    case 5: return TakeBytes(bytes, pos, 4, field, end);
    default: return WireStep::kBroken;
  }
}

bool IsId(const WireField& field) {
  return field.number == kIdField && field.wire_type == 0;
}

int32_t IdOf(const WireField& field) {
  return static_cast<int32_t>(static_cast<uint32_t>(field.varint));
}

bool LooksLikeFields(std::string_view bytes, bool may_go_on) {
  size_t pos = 0;
  WireField field;
  for (bool first = true;; first = false) {
    switch (ReadField(bytes, &pos, &field)) {
      case WireStep::kField:
        if (first && !IsId(field)) return false;
        break;
      case WireStep::kEnd: return !first;
      case WireStep::kCut: return may_go_on && !first;
      case WireStep::kBroken: return false;
    }
  }
}

}  // namespace

void AppendVarint(std::string* to, uint64_t value) {
  for (; value > 0x7F; value >>= 7)
    *to += static_cast<char>((value & 0x7F) | 0x80);
  *to += static_cast<char>(value);
}

bool ReadVarint(std::string_view bytes, size_t* pos, uint64_t* value) {
  uint64_t result = 0;
  size_t at = *pos;
  for (unsigned shift = 0; shift < 70 && at < bytes.size(); shift += 7) {
    const auto byte = static_cast<unsigned char>(bytes[at++]);
    // The tenth byte has room for one bit; what is above it falls away, as in the parser.
    result |= static_cast<uint64_t>(byte & 0x7F) << shift;
    if ((byte & 0x80) == 0) {
      *pos = at;
      *value = result;
      return true;
    }
  }
  return false;
}

WireStep ReadField(std::string_view bytes, size_t* pos, WireField* field) {
  if (*pos >= bytes.size()) return WireStep::kEnd;
  size_t at = *pos;
  uint64_t tag = 0;
  if (!ReadVarint(bytes, &at, &tag)) return CutOrBroken(bytes, at);
  *field = WireField();
  field->offset = *pos;
  field->wire_type = static_cast<unsigned>(tag & 7);
  const uint64_t number = tag >> 3;
  if (number == 0 || number > kMaxFieldNumber) return WireStep::kBroken;
  field->number = static_cast<uint32_t>(number);
  size_t end = at;
  const WireStep step = TakeValue(bytes, at, field, &end);
  if (step == WireStep::kField) *pos = end;
  return step;
}

bool LooksLikeReply(std::string_view bytes) {
  return LooksLikeFields(bytes, false);
}

bool LooksLikeStartOfReply(std::string_view bytes) {
  return LooksLikeFields(bytes, true);
}

bool LooksLikeEnvelope(std::string_view bytes) {
  if (!LooksLikeReply(bytes)) return false;
  size_t pos = 0;
  WireField field;
  while (ReadField(bytes, &pos, &field) == WireStep::kField) {
    const bool is_number = field.number == kIdField || field.number == kObjCountField;
    if (field.wire_type != (is_number ? 0U : 2U)) return false;
  }
  return true;
}

bool BeginsLikeEnvelope(std::string_view bytes) {
  size_t pos = 0;
  WireField id;
  uint64_t tag = 0;
  if (ReadField(bytes, &pos, &id) != WireStep::kField || !IsId(id) || !ReadVarint(bytes, &pos, &tag))
    return false;
  const uint64_t number = tag >> 3;
  if (number == kObjCountField) return (tag & 7) == 0;
  // A payload's field has the Id for its number.
  return (tag & 7) == 2 && number > kIdField && (number <= kLastTextField || number == id.varint);
}

bool HasSeveralIds(std::string_view bytes) {
  size_t pos = 0;
  WireField field;
  int ids = 0;
  while (ReadField(bytes, &pos, &field) == WireStep::kField)
    ids += IsId(field) ? 1 : 0;
  return ids > 1;
}

bool FindId(std::string_view bytes, int32_t* id) {
  size_t pos = 0;
  WireField field;
  bool found = false;
  while (ReadField(bytes, &pos, &field) == WireStep::kField) {
    if (!IsId(field)) continue;
    *id = IdOf(field);
    found = true;
  }
  return found;
}

bool FindIdInFront(std::string_view bytes, int32_t* id) {
  size_t pos = 0;
  WireField first;
  if (ReadField(bytes, &pos, &first) != WireStep::kField || !IsId(first)) return FindId(bytes, id);
  *id = IdOf(first);
  return true;
}

void GrowingReply::Append(std::string_view piece) {
  while (!piece.empty() && !broken_) {
    const auto skipped = static_cast<size_t>(std::min<uint64_t>(skip_, piece.size()));
    skip_ -= skipped;
    piece.remove_prefix(skipped);
    if (piece.empty()) break;
    head_[size_++] = piece.front();
    piece.remove_prefix(1);
    TakeHead();
  }
}

void GrowingReply::TakeHead() {
  const std::string_view head(head_.data(), size_);
  size_t pos = 0;
  uint64_t tag = 0;
  uint64_t length = 0;
  WireField field;
  const WireStep step = ReadField(head, &pos, &field);
  broken_ = step == WireStep::kBroken;
  if (step == WireStep::kCut) {
    // The content of a field with a length is not waited for.
    if (!ReadVarint(head, &pos, &tag) || (tag & 7) != 2 || !ReadVarint(head, &pos, &length)) return;
    skip_ = length;
  }
  // An Id is no field with a length, so the first field has been read to its end.
  broken_ = broken_ || (!any_ && (step != WireStep::kField || !IsId(field)));
  any_ = true;
  size_ = 0;
}

}  // namespace replies
