#include "fuzz/support/wire_reader.h"

#include <cstring>

namespace fuzz {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;

// Levels below the outermost message that a parser follows.
constexpr int kDeepest = 100;

enum WireType { kVarint = 0, kFixed64 = 1, kDelimited = 2, kGroup = 3, kGroupEnd = 4, kFixed32 = 5 };

class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  bool AtEnd() const { return rest_.empty(); }

  // Of at most `most` bytes; bits beyond the 64th are lost.
  bool Varint(size_t most, uint64_t* value) {
    *value = 0;
    for (size_t i = 0; i < most && i < rest_.size(); ++i) {
      const auto byte = static_cast<unsigned char>(rest_[i]);
      *value |= static_cast<uint64_t>(byte & 0x7F) << (7 * i);
      if (byte < 0x80) {
        rest_.remove_prefix(i + 1);
        return true;
      }
    }
    return false;
  }

  bool Tag(uint32_t* tag) {
    uint64_t value = 0;
    if (!Varint(5, &value)) return false;
    *tag = static_cast<uint32_t>(value);
    return *tag >> 3 != 0;
  }

  bool Fixed(size_t size, uint64_t* value) {
    if (rest_.size() < size) return false;
    *value = 0;
    for (size_t i = 0; i < size; ++i)
      *value |= static_cast<uint64_t>(static_cast<unsigned char>(rest_[i])) << (8 * i);
    rest_.remove_prefix(size);
    return true;
  }

  bool Delimited(std::string_view* payload) {
    uint64_t size = 0;
    if (!Varint(5, &size) || size > rest_.size()) return false;
    *payload = rest_.substr(0, static_cast<size_t>(size));
    rest_.remove_prefix(static_cast<size_t>(size));
    return true;
  }

  // What follows a tag of that type, none of our business.
  bool Skip(uint32_t tag, int depth) {
    uint64_t ignored = 0;
    std::string_view payload;
    switch (tag & 7) {
      case kVarint: return Varint(10, &ignored);
      case kFixed64: return Fixed(8, &ignored);
      case kDelimited: return Delimited(&payload);
      case kFixed32: return Fixed(4, &ignored);
      case kGroup: break;
      default: return false;
    }
    if (depth == 0) return false;
    while (true) {
      uint32_t inner = 0;
      if (!Tag(&inner)) return false;
      if ((inner & 7) == kGroupEnd) return inner >> 3 == tag >> 3;
      if (!Skip(inner, depth - 1)) return false;
    }
  }

 private:
  std::string_view rest_;
};

WireType WireTypeOf(const FieldDescriptor* field) {
  switch (field->type()) {
    case FieldDescriptor::TYPE_DOUBLE:
    case FieldDescriptor::TYPE_FIXED64:
    case FieldDescriptor::TYPE_SFIXED64: return kFixed64;
    case FieldDescriptor::TYPE_FLOAT:
    case FieldDescriptor::TYPE_FIXED32:
    case FieldDescriptor::TYPE_SFIXED32: return kFixed32;
    case FieldDescriptor::TYPE_STRING:
    case FieldDescriptor::TYPE_BYTES:
    case FieldDescriptor::TYPE_MESSAGE: return kDelimited;
    case FieldDescriptor::TYPE_GROUP: return kGroup;
    default: return kVarint;
  }
}

template <class To, class From>
To Same(From bits) {
  static_assert(sizeof(To) == sizeof(From), "bits are taken as they stand");
  To value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

int64_t UndoZigZag(uint64_t bits) {
  return static_cast<int64_t>((bits >> 1) ^ (0 - (bits & 1)));
}

// One number of any type from its raw bits. False for an enumeration without that number.
bool Interpret(const FieldDescriptor* field, uint64_t bits, WireValue* value) {
  const auto low = static_cast<uint32_t>(bits);
  switch (field->type()) {
    case FieldDescriptor::TYPE_DOUBLE: value->real = Same<double>(bits); return true;
    case FieldDescriptor::TYPE_FLOAT: value->real = static_cast<double>(Same<float>(low)); return true;
    case FieldDescriptor::TYPE_BOOL: value->integer = bits != 0; return true;
    case FieldDescriptor::TYPE_INT32:
    case FieldDescriptor::TYPE_SFIXED32: value->integer = static_cast<int32_t>(low); return true;
    case FieldDescriptor::TYPE_UINT32:
    case FieldDescriptor::TYPE_FIXED32: value->integer = low; return true;
    case FieldDescriptor::TYPE_SINT32: value->integer = static_cast<int32_t>(UndoZigZag(low)); return true;
    case FieldDescriptor::TYPE_SINT64: value->integer = UndoZigZag(bits); return true;
    case FieldDescriptor::TYPE_ENUM:
      value->integer = static_cast<int32_t>(low);
      return field->enum_type()->FindValueByNumber(static_cast<int32_t>(low)) != nullptr;
    default: value->integer = static_cast<int64_t>(bits); return true;
  }
}

void Keep(const FieldDescriptor* field, WireValue value, std::vector<WireValue>* values) {
  if (!field->is_repeated()) values->clear();
  values->push_back(std::move(value));
}

bool ReadNumber(Reader& reader, const FieldDescriptor* field, WireMessage* message) {
  uint64_t bits = 0;
  const WireType type = WireTypeOf(field);
  if (!(type == kVarint ? reader.Varint(10, &bits) : reader.Fixed(type == kFixed64 ? 8 : 4, &bits)))
    return false;
  WireValue value;
  if (Interpret(field, bits, &value)) Keep(field, std::move(value), &(*message)[field->number()]);
  return true;
}

bool ReadMessage(std::string_view bytes, const Descriptor* type, int depth, WireMessage* message);

bool ReadDelimited(std::string_view payload, const FieldDescriptor* field, int depth, WireMessage* message) {
  if (WireTypeOf(field) != kDelimited) {
    Reader packed(payload);
    while (!packed.AtEnd()) {
      if (!ReadNumber(packed, field, message)) return false;
    }
    return true;
  }
  std::vector<WireValue>& values = (*message)[field->number()];
  if (field->type() != FieldDescriptor::TYPE_MESSAGE) {
    WireValue value;
    value.bytes = std::string(payload);
    Keep(field, std::move(value), &values);
    return true;
  }
  // A singular message that arrives in parts is put together.
  if (field->is_repeated() || values.empty()) values.emplace_back();
  return depth != 0 && ReadMessage(payload, field->message_type(), depth - 1, &values.back().message);
}

bool ReadMessage(std::string_view bytes, const Descriptor* type, int depth, WireMessage* message) {
  Reader reader(bytes);
  while (!reader.AtEnd()) {
    uint32_t tag = 0;
    if (!reader.Tag(&tag)) return false;
    const FieldDescriptor* field = type->FindFieldByNumber(static_cast<int>(tag >> 3));
    const auto wire_type = static_cast<WireType>(tag & 7);
    const bool own = field != nullptr && wire_type == WireTypeOf(field);
    const bool packed = field != nullptr && wire_type == kDelimited && field->is_packable();
    if (own && wire_type != kDelimited) {
      if (!ReadNumber(reader, field, message)) return false;
    } else if (own || packed) {
      std::string_view payload;
      if (!reader.Delimited(&payload) || !ReadDelimited(payload, field, depth, message)) return false;
    } else if (!reader.Skip(tag, depth)) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool ReadWireMessage(std::string_view bytes, const Descriptor* type, WireMessage* message) {
  return ReadMessage(bytes, type, kDeepest, message);
}

bool IsComplete(const WireMessage& message, const Descriptor* type) {
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    const auto found = message.find(field->number());
    const bool present = found != message.end() && !found->second.empty();
    if (!present && field->is_required()) return false;
    if (!present || field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) continue;
    for (const WireValue& value : found->second) {
      if (!IsComplete(value.message, field->message_type())) return false;
    }
  }
  return true;
}

}  // namespace fuzz
