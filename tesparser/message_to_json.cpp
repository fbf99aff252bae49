#include "tesparser/message_to_json.h"

#include <google/protobuf/descriptor.h>

#include <cstdint>
#include <vector>

#include "tesparser/tesparser.h"

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

j2pb_error::j2pb_error(const FieldDescriptor* field, const std::string& message)
    : text_(field->name() + ": " + message) {}

namespace {

// Walks one message and what it holds. The field lists are kept by depth and used again for every message met
// there: replies repeat one element type thousands of times.
class Walk {
 public:
  json_t* Object(const Message& message);
  json_t* Value(const Message& message, const Reflection& reflection, const FieldDescriptor* field,
                int index);

 private:
  json_t* Array(const Message& message, const Reflection& reflection, const FieldDescriptor* field,
                int count);
  json_t* SingularValue(const Message& message, const Reflection& reflection, const FieldDescriptor* field);
  json_t* RepeatedValue(const Message& message, const Reflection& reflection, const FieldDescriptor* field,
                        int index);

  // Read by index only: a deeper message may move the lists.
  std::vector<std::vector<const FieldDescriptor*>> lists_;
  size_t depth_ = 0;
};

json_t* BoolValue(bool value) {
  return value ? json_true() : json_false();
}

// Takes the text up to its first zero byte; null if that is not valid UTF-8.
json_t* StringValue(const FieldDescriptor* field, const std::string& bytes) {
  if (field->type() == FieldDescriptor::TYPE_BYTES) return json_string(Base64Encode(bytes).c_str());
  return json_string(bytes.c_str());
}

json_t* Walk::SingularValue(const Message& message, const Reflection& reflection,
                            const FieldDescriptor* field) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32: return json_integer(reflection.GetInt32(message, field));
    case FieldDescriptor::CPPTYPE_INT64: return json_integer(reflection.GetInt64(message, field));
    case FieldDescriptor::CPPTYPE_UINT32: return json_integer(reflection.GetUInt32(message, field));
    case FieldDescriptor::CPPTYPE_UINT64:
      return json_integer(static_cast<json_int_t>(reflection.GetUInt64(message, field)));
    case FieldDescriptor::CPPTYPE_DOUBLE: return json_real(reflection.GetDouble(message, field));
    case FieldDescriptor::CPPTYPE_FLOAT:
      return json_real(static_cast<double>(reflection.GetFloat(message, field)));
    case FieldDescriptor::CPPTYPE_BOOL: return BoolValue(reflection.GetBool(message, field));
    case FieldDescriptor::CPPTYPE_ENUM: return json_integer(reflection.GetEnum(message, field)->number());
    case FieldDescriptor::CPPTYPE_STRING: {
      std::string scratch;
      return StringValue(field, reflection.GetStringReference(message, field, &scratch));
    }
    case FieldDescriptor::CPPTYPE_MESSAGE: return Object(reflection.GetMessage(message, field));
    default: return nullptr;
  }
}

json_t* Walk::RepeatedValue(const Message& message, const Reflection& reflection,
                            const FieldDescriptor* field, int index) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return json_integer(reflection.GetRepeatedInt32(message, field, index));
    case FieldDescriptor::CPPTYPE_INT64:
      return json_integer(reflection.GetRepeatedInt64(message, field, index));
    case FieldDescriptor::CPPTYPE_UINT32:
      return json_integer(reflection.GetRepeatedUInt32(message, field, index));
    case FieldDescriptor::CPPTYPE_UINT64:
      return json_integer(static_cast<json_int_t>(reflection.GetRepeatedUInt64(message, field, index)));
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return json_real(reflection.GetRepeatedDouble(message, field, index));
    case FieldDescriptor::CPPTYPE_FLOAT:
      return json_real(static_cast<double>(reflection.GetRepeatedFloat(message, field, index)));
    case FieldDescriptor::CPPTYPE_BOOL: return BoolValue(reflection.GetRepeatedBool(message, field, index));
    case FieldDescriptor::CPPTYPE_ENUM:
      return json_integer(reflection.GetRepeatedEnum(message, field, index)->number());
    case FieldDescriptor::CPPTYPE_STRING: {
      std::string scratch;
      return StringValue(field, reflection.GetRepeatedStringReference(message, field, index, &scratch));
    }
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return Object(reflection.GetRepeatedMessage(message, field, index));
    default: return nullptr;
  }
}

json_t* Walk::Value(const Message& message, const Reflection& reflection, const FieldDescriptor* field,
                    int index) {
  json_t* value = field->is_repeated() ? RepeatedValue(message, reflection, field, index)
                                       : SingularValue(message, reflection, field);
  if (value == nullptr) throw j2pb_error(field, "Fail to convert to json");
  return value;
}

// A failed append is not looked at here nor below: it takes exhausted memory, and the element is then
// missing.
json_t* Walk::Array(const Message& message, const Reflection& reflection, const FieldDescriptor* field,
                    int count) {
  JsonValueGuard array(json_array());
  for (int i = 0; i < count; ++i)
    json_array_append_new(array.get(), Value(message, reflection, field, i));
  return array.release();
}

json_t* Walk::Object(const Message& message) {
  const Descriptor* descriptor = message.GetDescriptor();
  const Reflection* reflection = message.GetReflection();
  if (descriptor == nullptr || reflection == nullptr) return nullptr;
  JsonValueGuard root(json_object());
  if (root.get() == nullptr) return nullptr;
  const size_t level = depth_;
  if (lists_.size() == level) lists_.emplace_back();
  reflection->ListFields(message, &lists_[level]);
  ++depth_;
  const size_t fields = lists_[level].size();
  for (size_t i = 0; i < fields; ++i) {
    const FieldDescriptor* field = lists_[level][i];
    json_t* value = nullptr;
    if (field->is_repeated()) {
      const int count = reflection->FieldSize(message, field);
      if (count == 0) continue;
      value = Array(message, *reflection, field, count);
    } else {
      if (!reflection->HasField(message, field)) continue;
      value = Value(message, *reflection, field, 0);
    }
    const std::string& key = field->is_extension() ? field->full_name() : field->name();
    json_object_set_new(root.get(), key.c_str(), value);
  }
  --depth_;
  return root.release();
}

}  // namespace

// An append that finds no memory leaves through the C frames of the dump, which then lose the few blocks that
// they hold.
std::string MessageToJson(const Message& message) {
  std::string text;
  JsonValueGuard root(MessageToObject(message));
  json_dump_callback(root.get(), AppendToString, &text, 0);
  return text;
}

json_t* MessageToObject(const Message& message) {
  return Walk().Object(message);
}

json_t* FieldToValue(const Message& message, const FieldDescriptor* field, int index) {
  return Walk().Value(message, *message.GetReflection(), field, index);
}

std::string Base64Encode(const std::string& bytes) {
  static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const size_t size = bytes.size();
  const auto at = [&bytes, size](size_t i) {
    return i < size ? static_cast<uint32_t>(static_cast<unsigned char>(bytes[i])) : 0u;
  };
  std::string text;
  text.reserve(size * 4 / 3 + 3);
  for (size_t i = 0; i < size; i += 3) {
    const uint32_t group = at(i) << 16 | at(i + 1) << 8 | at(i + 2);
    text += kAlphabet[group >> 18];
    text += kAlphabet[group >> 12 & 63];
    if (i + 1 < size) text += kAlphabet[group >> 6 & 63];
    if (i + 2 < size) text += kAlphabet[group & 63];
  }
  text.append((3 - size % 3) % 3, '=');
  return text;
}

int AppendToString(const char* buffer, size_t size, void* data) {
  static_cast<std::string*>(data)->append(buffer, size);
  return 0;
}
