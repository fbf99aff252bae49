#include "replies/reply_check.h"

#include <fmt/format.h>
#include <google/protobuf/wire_format_lite.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <vector>

#include "replies/text.h"
#include "replies/wire.h"

namespace replies {
namespace {

namespace pb = google::protobuf;
using pb::internal::WireFormatLite;

// ---- fields as the parser reads them ----------------------------------------------------------------------

constexpr unsigned kVarint = 0;
constexpr unsigned kDelimited = 2;
constexpr unsigned kGroup = 3;
constexpr unsigned kGroupEnd = 4;
// The parser reads tags and lengths of so many bytes, and lengths that leave it room for its own block.
constexpr size_t kLongestTag = 5;
constexpr uint64_t kLongestContent = std::numeric_limits<int32_t>::max() - 16;

// Of at most five bytes; `pos` stays where there is none.
WireStep ReadShortVarint(std::string_view bytes, size_t* pos, uint64_t* value) {
  size_t end = *pos;
  if (!ReadVarint(bytes.substr(0, std::min(bytes.size(), *pos + kLongestTag)), &end, value))
    return bytes.size() - *pos < kLongestTag ? WireStep::kCut : WireStep::kBroken;
  *pos = end;
  return WireStep::kField;
}

// Its bits above the 32nd fall away.
WireStep ReadTag(std::string_view bytes, size_t* pos, uint32_t* tag) {
  uint64_t value = 0;
  const WireStep step = ReadShortVarint(bytes, pos, &value);
  *tag = static_cast<uint32_t>(value);
  return step == WireStep::kField && *tag >> 3 == 0 ? WireStep::kBroken : step;
}

WireStep TakeContent(std::string_view bytes, size_t* pos, uint64_t size, WireField* field) {
  if (size > bytes.size() - *pos) return WireStep::kCut;
  field->payload = bytes.substr(*pos, static_cast<size_t>(size));
  *pos += static_cast<size_t>(size);
  return WireStep::kField;
}

WireStep TakeDelimited(std::string_view bytes, size_t* pos, WireField* field) {
  uint64_t size = 0;
  const WireStep step = ReadShortVarint(bytes, pos, &size);
  if (step != WireStep::kField) return step;
  return size > kLongestContent ? WireStep::kBroken : TakeContent(bytes, pos, size, field);
}

WireStep ReadParsed(std::string_view bytes, size_t* pos, int levels, WireField* field);

// What follows the tag that begins a group, as far as the tag that ends it.
WireStep SkipGroup(std::string_view bytes, size_t* pos, uint32_t number, int levels) {
  if (levels == 0) return WireStep::kBroken;
  while (true) {
    size_t behind = *pos;
    uint32_t tag = 0;
    const WireStep step = ReadTag(bytes, &behind, &tag);
    if (step != WireStep::kField) return step;
    if ((tag & 7) == kGroupEnd) {
      *pos = behind;
      return tag >> 3 == number ? WireStep::kField : WireStep::kBroken;
    }
    WireField inner;
    const WireStep read = ReadParsed(bytes, pos, levels - 1, &inner);
    if (read != WireStep::kField) return read;
  }
}

// As ReadField(), to the letter of the parser. A group is one field without content. `levels` is how much
// deeper messages and groups may go.
WireStep ReadParsed(std::string_view bytes, size_t* pos, int levels, WireField* field) {
  if (*pos >= bytes.size()) return WireStep::kEnd;
  size_t at = *pos;
  uint32_t tag = 0;
  WireStep step = ReadTag(bytes, &at, &tag);
  if (step != WireStep::kField) return step;
  *field = WireField();
  field->offset = *pos;
  field->number = tag >> 3;
  field->wire_type = tag & 7;
  switch (field->wire_type) {
    case kVarint:
      if (!ReadVarint(bytes, &at, &field->varint))
        step = bytes.size() - at < 10 ? WireStep::kCut : WireStep::kBroken;
      break;
    case 1: step = TakeContent(bytes, &at, 8, field); break;
    case kDelimited: step = TakeDelimited(bytes, &at, field); break;
    case kGroup: step = SkipGroup(bytes, &at, field->number, levels); break;
    case 5: step = TakeContent(bytes, &at, 4, field); break;
    default: return WireStep::kBroken;
  }
  if (step == WireStep::kField) *pos = at;
  return step;
}

bool IsMessage(const pb::FieldDescriptor& field) {
  return field.cpp_type() == pb::FieldDescriptor::CPPTYPE_MESSAGE;
}

unsigned WireTypeOf(const pb::FieldDescriptor& field) {
  return WireFormatLite::WireTypeForFieldType(static_cast<WireFormatLite::FieldType>(field.type()));
}

// ---- where the parser breaks off --------------------------------------------------------------------------

class BreakFinder {
 public:
  // `base` is the offset of the bytes in the reply, `path` the fields on the way there.
  std::optional<Break> InMessage(std::string_view bytes, const pb::Descriptor* type, size_t base,
                                 const std::string& path, int depth) const {
    if (depth > kDeepest)
      return Break{base, fmt::format("nested deeper than {} levels at offset {}", kDeepest, base)};
    size_t pos = 0;
    WireField field;
    while (true) {
      const WireStep step = ReadParsed(bytes, &pos, kDeepest - depth, &field);
      if (step == WireStep::kEnd) return std::nullopt;
      if (step != WireStep::kField) return At(step, base + pos, path);
      if (field.wire_type != kDelimited) continue;
      auto found = InContent(field.payload, type->FindFieldByNumber(static_cast<int>(field.number)),
                             base + static_cast<size_t>(field.payload.data() - bytes.data()), path, depth);
      if (found) return found;
    }
  }

 private:
  static Break At(WireStep step, size_t offset, const std::string& path) {
    const std::string in = path.empty() ? "" : fmt::format(" in \"{}\"", path);
    if (step == WireStep::kCut)
      return {offset, fmt::format("the bytes end inside the field that begins at offset {}{}", offset, in)};
    return {offset, fmt::format("no field can begin like the bytes at offset {}{}", offset, in)};
  }

  std::optional<Break> InContent(std::string_view content, const pb::FieldDescriptor* known, size_t offset,
                                 const std::string& path, int depth) const {
    if (known == nullptr) return std::nullopt;
    const bool is_message = IsMessage(*known);
    if (!is_message && !known->is_packable()) return std::nullopt;
    const std::string inner = path.empty() ? known->name() : path + "." + known->name();
    if (is_message) return InMessage(content, known->message_type(), offset, inner, depth + 1);
    if (IsList(content, *known)) return std::nullopt;
    return Break{offset,
                 fmt::format("the list in \"{}\", at offset {}, ends inside a number", inner, offset)};
  }

  // Numbers, one behind the other.
  static bool IsList(std::string_view values, const pb::FieldDescriptor& field) {
    switch (WireTypeOf(field)) {
      case WireFormatLite::WIRETYPE_FIXED32: return values.size() % 4 == 0;
      case WireFormatLite::WIRETYPE_FIXED64: return values.size() % 8 == 0;
      default: break;
    }
    uint64_t value = 0;
    for (size_t pos = 0; pos < values.size();) {
      if (!ReadVarint(values, &pos, &value)) return false;
    }
    return true;
  }
};

// ---- the fields of a message ------------------------------------------------------------------------------

// A message's bytes, as they arrived: a singular one may come in several pieces.
using Pieces = std::vector<std::string_view>;

// On the way from the envelope.
struct WayStep {
  const pb::FieldDescriptor* field;
  size_t index;
};
using Way = std::vector<WayStep>;

FieldPlace PlaceOf(const Way& way, const pb::FieldDescriptor& field, std::optional<size_t> index) {
  FieldPlace place;
  for (const WayStep& step : way) {
    place.path += step.field->name() + ".";
    place.place += step.field->name();
    if (step.field->is_repeated()) place.place += fmt::format("[{}]", step.index);
    place.place += ".";
  }
  place.path += field.name();
  place.place += field.name();
  if (index) place.place += fmt::format("[{}]", *index);
  return place;
}

// A value that is none of an enumeration's counts as a field that the schema does not know.
bool IsKnownValue(const WireField& value, const pb::FieldDescriptor& field) {
  if (value.wire_type != WireTypeOf(field) && !(value.wire_type == kDelimited && field.is_packable()))
    return false;
  return field.cpp_type() != pb::FieldDescriptor::CPPTYPE_ENUM || value.wire_type == kDelimited ||
         field.enum_type()->FindValueByNumber(static_cast<int>(value.varint)) != nullptr;
}

template <typename Take>
void ForEachField(const Pieces& pieces, const pb::Descriptor& type, int levels, Take take) {
  for (const std::string_view piece : pieces) {
    size_t pos = 0;
    WireField field;
    while (ReadParsed(piece, &pos, levels, &field) == WireStep::kField) {
      const pb::FieldDescriptor* known = type.FindFieldByNumber(static_cast<int>(field.number));
      if (known != nullptr && IsKnownValue(field, *known)) take(*known, field);
    }
  }
}

// Calls with each message of the field: one for each element, one for all pieces of a singular one.
template <typename Visit>
void ForEachMessage(const pb::FieldDescriptor& field, const Pieces& arrived, Way* way, Visit visit) {
  way->push_back({&field, 0});
  if (!field.is_repeated()) {
    visit(arrived);
  } else {
    for (const std::string_view element : arrived) {
      visit({element});
      ++way->back().index;
    }
  }
  way->pop_back();
}

// What arrived under each number, as far as it is looked at.
using Arrived = std::map<int, Pieces>;

int LevelsBelow(const Way& way) {
  return kDeepest - static_cast<int>(way.size());
}

// ---- required fields --------------------------------------------------------------------------------------

class MissingFinder {
 public:
  void InMessage(const Pieces& pieces, const pb::Descriptor& type) {
    // The envelope's own levels are the parser's; what is nested deeper is no reply.
    if (LevelsBelow(way_) < 0) return;
    std::vector<bool> arrived(static_cast<size_t>(type.field_count()));
    Arrived messages;
    ForEachField(pieces, type, LevelsBelow(way_),
                 [&](const pb::FieldDescriptor& field, const WireField& value) {
                   arrived[static_cast<size_t>(field.index())] = true;
                   if (IsMessage(field)) messages[field.number()].push_back(value.payload);
                 });
    for (int i = 0; i < type.field_count(); ++i) {
      if (type.field(i)->is_required() && !arrived[static_cast<size_t>(i)]) Add(*type.field(i));
    }
    for (const auto& [number, values] : messages) {
      const pb::FieldDescriptor& field = *type.FindFieldByNumber(number);
      ForEachMessage(field, values, &way_,
                     [&](const Pieces& inner) { InMessage(inner, *field.message_type()); });
    }
  }

  MissingFields Found() { return std::move(missing_); }

 private:
  void Add(const pb::FieldDescriptor& field) {
    if (missing_.count++ == 0) missing_.first = PlaceOf(way_, field, std::nullopt);
  }

  Way way_;
  MissingFields missing_;
};

// ---- what JSON does not have ------------------------------------------------------------------------------

template <typename Number>
bool AllFinite(std::string_view numbers) {
  for (; numbers.size() >= sizeof(Number); numbers.remove_prefix(sizeof(Number))) {
    Number number = 0;
    std::memcpy(&number, numbers.data(), sizeof(number));
    if (!std::isfinite(number)) return false;
  }
  return true;
}

// A JSON text ends at its first zero byte.
bool IsExpressibleText(std::string_view text) {
  return IsUtf8(text.substr(0, text.find('\0')));
}

bool IsText(const pb::FieldDescriptor& field) {
  return field.type() == pb::FieldDescriptor::TYPE_STRING;
}

bool IsReal(const pb::FieldDescriptor& field) {
  return field.cpp_type() == pb::FieldDescriptor::CPPTYPE_DOUBLE ||
         field.cpp_type() == pb::FieldDescriptor::CPPTYPE_FLOAT;
}

bool IsExpressible(const pb::FieldDescriptor& field, std::string_view value) {
  if (IsText(field)) return IsExpressibleText(value);
  return field.cpp_type() == pb::FieldDescriptor::CPPTYPE_DOUBLE ? AllFinite<double>(value)
                                                                 : AllFinite<float>(value);
}

class InexpressibleFinder {
 public:
  void InMessage(const Pieces& pieces, const pb::Descriptor& type) {
    if (found_ || LevelsBelow(way_) < 0) return;
    Arrived arrived;
    ForEachField(pieces, type, LevelsBelow(way_),
                 [&](const pb::FieldDescriptor& field, const WireField& value) {
                   if (IsMessage(field) || IsText(field) || IsReal(field))
                     arrived[field.number()].push_back(value.payload);
                 });
    for (const auto& [number, values] : arrived) {
      const pb::FieldDescriptor& field = *type.FindFieldByNumber(number);
      if (IsMessage(field)) {
        ForEachMessage(field, values, &way_,
                       [&](const Pieces& inner) { InMessage(inner, *field.message_type()); });
      } else {
        InValues(field, values);
      }
      if (found_) return;
    }
  }

  std::optional<Inexpressible> Found() { return std::move(found_); }

 private:
  void InValues(const pb::FieldDescriptor& field, const Pieces& values) {
    if (!field.is_repeated()) {
      if (!IsExpressible(field, values.back()))
        found_ = Inexpressible{PlaceOf(way_, field, std::nullopt), IsText(field)};
      return;
    }
    size_t index = 0;
    for (const std::string_view value : values) {
      if (!IsExpressible(field, value)) {
        found_ = Inexpressible{PlaceOf(way_, field, index + FirstBad(field, value)), IsText(field)};
        return;
      }
      index += IsText(field) ? 1 : value.size() / SizeOf(field);
    }
  }

  static size_t SizeOf(const pb::FieldDescriptor& field) {
    return field.cpp_type() == pb::FieldDescriptor::CPPTYPE_DOUBLE ? sizeof(double) : sizeof(float);
  }

  // Numbers may arrive several at once.
  static size_t FirstBad(const pb::FieldDescriptor& field, std::string_view values) {
    if (IsText(field)) return 0;
    size_t index = 0;
    while (IsExpressible(field, values.substr(index * SizeOf(field), SizeOf(field))))
      ++index;
    return index;
  }

  Way way_;
  std::optional<Inexpressible> found_;
};

}  // namespace

std::optional<Break> FindBreak(std::string_view bytes, const pb::Descriptor* type) {
  return BreakFinder().InMessage(bytes, type, 0, "", 0);
}

MissingFields FindMissing(std::string_view bytes, const pb::Descriptor* type) {
  MissingFinder finder;
  finder.InMessage({bytes}, *type);
  return finder.Found();
}

std::optional<Inexpressible> FindInexpressible(std::string_view bytes, const pb::Descriptor* type) {
  InexpressibleFinder finder;
  finder.InMessage({bytes}, *type);
  return finder.Found();
}

EnvelopeHead ReadHead(std::string_view bytes) {
  constexpr uint32_t kId = 1;
  EnvelopeHead head;
  size_t pos = 0;
  WireField field;
  while (ReadParsed(bytes, &pos, kDeepest, &field) == WireStep::kField) {
    if (field.number == kId && field.wire_type == kVarint)
      head.id = static_cast<int32_t>(static_cast<uint32_t>(field.varint));
  }
  if (head.id <= 0) return head;
  for (pos = 0; ReadParsed(bytes, &pos, kDeepest, &field) == WireStep::kField;)
    head.has_payload |= field.number == static_cast<uint32_t>(head.id) && field.wire_type == kDelimited;
  return head;
}

}  // namespace replies
