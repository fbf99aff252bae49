// The JSON of a reply against a walk over its bytes that knows neither the generated classes nor the
// renderer.
#include <google/protobuf/descriptor.h>
#include <jansson.h>

#include <cmath>
#include <memory>
#include <string>

#include "MSG.proto.h"
#include "fuzz/support/bits.h"
#include "fuzz/support/change_reply.h"
#include "fuzz/support/target.h"
#include "fuzz/support/wire_reader.h"
#include "tesparser/tesparser.h"

namespace {

using fuzz::WireMessage;
using fuzz::WireValue;
using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;

bool IsTrail(const std::string& text, size_t i) {
  return i < text.size() && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
}

// Well-formed UTF-8, by the code points that the bytes stand for.
bool IsUtf8(const std::string& text) {
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const size_t length = lead < 0x80       ? 1
                          : lead >> 5 == 6  ? 2
                          : lead >> 4 == 14 ? 3
                          : lead >> 3 == 30 ? 4
                                            : 0;
    if (length == 0) return false;
    uint32_t code = length == 1 ? lead : lead & (0x7Fu >> length);
    for (size_t k = 1; k < length; ++k) {
      if (!IsTrail(text, i + k)) return false;
      code = code << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3Fu);
    }
    constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < kLeast[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
    i += length;
  }
  return true;
}

std::string Base64(const std::string& bytes) {
  const char* digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  uint32_t bits = 0;
  int held = 0;
  for (const char c : bytes) {
    bits = (bits << 8 | static_cast<unsigned char>(c)) & 0xFFFF;
    for (held += 8; held >= 6; held -= 6)
      text += digits[bits >> (held - 6) & 63];
  }
  if (held != 0) text += digits[bits << (6 - held) & 63];
  while (text.size() % 4 != 0)
    text += '=';
  return text;
}

std::string UpToZero(const std::string& text) {
  return text.substr(0, text.find('\0'));
}

// The first value, in the order of field numbers, that JSON cannot express; null if there is none.
const FieldDescriptor* FirstWithoutJson(const WireMessage& message, const Descriptor* type) {
  for (const auto& [number, values] : message) {
    const FieldDescriptor* field = type->FindFieldByNumber(number);
    for (const WireValue& value : values) {
      if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
        if (const FieldDescriptor* inner = FirstWithoutJson(value.message, field->message_type()))
          return inner;
      } else if (field->type() == FieldDescriptor::TYPE_STRING) {
        if (!IsUtf8(UpToZero(value.bytes))) return field;
      } else if (!std::isfinite(value.real)) {
        return field;
      }
    }
  }
  return nullptr;
}

void CheckObject(const json_t* json, const WireMessage& message, const Descriptor* type);

void CheckValue(const json_t* json, const WireValue& value, const FieldDescriptor* field) {
  FUZZ_CHECK(json != nullptr);
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_MESSAGE: CheckObject(json, value.message, field->message_type()); return;
    case FieldDescriptor::CPPTYPE_STRING: {
      const std::string expected =
          field->type() == FieldDescriptor::TYPE_BYTES ? Base64(value.bytes) : UpToZero(value.bytes);
      FUZZ_CHECK(json_is_string(json));
      FUZZ_CHECK(std::string(json_string_value(json), json_string_length(json)) == expected);
      return;
    }
    case FieldDescriptor::CPPTYPE_BOOL:
      FUZZ_CHECK(json_is_boolean(json));
      FUZZ_CHECK(json_is_true(json) == (value.integer != 0));
      return;
    case FieldDescriptor::CPPTYPE_DOUBLE:
    case FieldDescriptor::CPPTYPE_FLOAT: {
      FUZZ_CHECK(json_is_real(json));
      const double shown = json_real_value(json);
      FUZZ_CHECK(fuzz::SameBits(shown, value.real));
      return;
    }
    default:
      FUZZ_CHECK(json_is_integer(json));
      FUZZ_CHECK(json_integer_value(json) == value.integer);
      return;
  }
}

void CheckObject(const json_t* json, const WireMessage& message, const Descriptor* type) {
  FUZZ_CHECK(json_is_object(json));
  size_t keys = 0;
  for (const auto& [number, values] : message) {
    if (values.empty()) continue;
    ++keys;
    const FieldDescriptor* field = type->FindFieldByNumber(number);
    const json_t* member = json_object_get(json, field->name().c_str());
    if (!field->is_repeated()) {
      CheckValue(member, values[0], field);
      continue;
    }
    FUZZ_CHECK(json_is_array(member));
    FUZZ_CHECK(json_array_size(member) == values.size());
    for (size_t i = 0; i < values.size(); ++i)
      CheckValue(json_array_get(member, i), values[i], field);
  }
  FUZZ_CHECK(json_object_size(json) == keys);
}

void CheckText(const std::string& text) {
  for (const char c : text)
    FUZZ_CHECK(static_cast<unsigned char>(c) >= 0x20);
}

struct Release {
  void operator()(json_t* json) const { json_decref(json); }
};

void json_walk(const uint8_t* data, size_t size) {
  static const Descriptor* const envelope = tessel::MSG::descriptor();
  const std::string reply(reinterpret_cast<const char*>(data), size);
  WireMessage message;
  const bool is_reply =
      fuzz::ReadWireMessage(reply, envelope, &message) && fuzz::IsComplete(message, envelope);
  const FieldDescriptor* failing = is_reply ? FirstWithoutJson(message, envelope) : nullptr;

  std::string text;
  try {
    text = TesparserPB2Json(reply);
  } catch (const j2pb_error& error) {
    FUZZ_CHECK(failing != nullptr);
    FUZZ_CHECK(error.what() == failing->name() + ": Fail to convert to json");
    return;
  }
  FUZZ_CHECK(failing == nullptr);
  FUZZ_CHECK(text.empty() == !is_reply);
  if (!is_reply) return;
  CheckText(text);
  const std::unique_ptr<json_t, Release> json(
      json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, nullptr));
  FUZZ_CHECK(json != nullptr);
  CheckObject(json.get(), message, envelope);
}

}  // namespace

FUZZ_TARGET_WITH_MUTATOR(json_walk, 4096, fuzz::Kind::kReplies, &fuzz::ChangeReply)
