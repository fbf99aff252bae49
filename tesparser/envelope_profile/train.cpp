// What a call does with each of the envelope's fields in turn: the reply is parsed in the frame, and given up
// with it. First with empty payloads, for what is done to the envelope, then with full ones, for what is done
// to the payloads.
#include <google/protobuf/stubs/logging.h>

#include <cstdint>
#include <string>

#include "tesparser/reply_frame.h"

namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

constexpr int kRounds = 20;

bool Decode(const std::string& reply) {
  ReplyFrame frame;
  return frame.message().ParseFromString(reply);
}

int DecodeOften(const std::string& reply) {
  int parsed = 0;
  for (int round = 0; round < kRounds; ++round)
    parsed += Decode(reply) ? 1 : 0;
  return parsed;
}

std::string EmptyPayload(int field) {
  constexpr unsigned kLengthDelimited = 2;
  const unsigned tag = static_cast<unsigned>(field) << 3 | kLengthDelimited;
  std::string reply = {'\x08', static_cast<char>(tessel::IDQuoteDynaSingle)};
  reply += static_cast<char>((tag & 0x7F) | 0x80);
  reply += static_cast<char>(tag >> 7);
  reply += '\0';
  return reply;
}

// Packed decimals as they are sent: prices in hundredths, and whole numbers, of two bytes to six on the wire.
int64_t Number(int i) {
  static constexpr int64_t kNumbers[] = {1234, 0xA0064, 98765, 0x50A1F40, 0x3D0A0B3C2, 250, 0x1000A0001};
  return kNumbers[static_cast<size_t>(i) % (sizeof kNumbers / sizeof kNumbers[0])];
}

// Most are codes, which a string keeps in itself.
std::string Text(int i) {
  return i % 4 == 3 ? "a text that a string keeps elsewhere" : "SH600000";
}

void Fill(Message* message, int depth);

void SetField(Message* message, const FieldDescriptor* field, int depth) {
  const Reflection* reflection = message->GetReflection();
  const int i = field->index();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32: reflection->SetInt32(message, field, i); break;
    case FieldDescriptor::CPPTYPE_INT64: reflection->SetInt64(message, field, Number(i)); break;
    case FieldDescriptor::CPPTYPE_UINT32: reflection->SetUInt32(message, field, 7); break;
    case FieldDescriptor::CPPTYPE_UINT64: reflection->SetUInt64(message, field, 7); break;
    case FieldDescriptor::CPPTYPE_DOUBLE: reflection->SetDouble(message, field, 0.5); break;
    case FieldDescriptor::CPPTYPE_FLOAT: reflection->SetFloat(message, field, 0.5F); break;
    case FieldDescriptor::CPPTYPE_BOOL: reflection->SetBool(message, field, true); break;
    case FieldDescriptor::CPPTYPE_ENUM:
      reflection->SetEnum(message, field, field->enum_type()->value(0));
      break;
    case FieldDescriptor::CPPTYPE_STRING: reflection->SetString(message, field, Text(i)); break;
    case FieldDescriptor::CPPTYPE_MESSAGE: Fill(reflection->MutableMessage(message, field), depth + 1); break;
  }
}

void AddElement(Message* message, const FieldDescriptor* field, int i, int depth) {
  const Reflection* reflection = message->GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32: reflection->AddInt32(message, field, i); break;
    case FieldDescriptor::CPPTYPE_INT64: reflection->AddInt64(message, field, Number(i)); break;
    case FieldDescriptor::CPPTYPE_UINT32: reflection->AddUInt32(message, field, 7); break;
    case FieldDescriptor::CPPTYPE_UINT64: reflection->AddUInt64(message, field, 7); break;
    case FieldDescriptor::CPPTYPE_DOUBLE: reflection->AddDouble(message, field, 0.5); break;
    case FieldDescriptor::CPPTYPE_FLOAT: reflection->AddFloat(message, field, 0.5F); break;
    case FieldDescriptor::CPPTYPE_BOOL: reflection->AddBool(message, field, true); break;
    case FieldDescriptor::CPPTYPE_ENUM:
      reflection->AddEnum(message, field, field->enum_type()->value(0));
      break;
    case FieldDescriptor::CPPTYPE_STRING: reflection->AddString(message, field, Text(i)); break;
    case FieldDescriptor::CPPTYPE_MESSAGE: Fill(reflection->AddMessage(message, field), depth + 1); break;
  }
}

// Every field, as senders fill them: in order, with several elements where there may be some. Messages that
// may hang from themselves end at a depth.
void Fill(Message* message, int depth) {
  constexpr int kDeepest = 5;
  constexpr int kValues = 8;
  constexpr int kMessages = 3;
  const Descriptor* type = message->GetDescriptor();
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    const bool nested = field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
    if (nested && depth == kDeepest && !field->is_required()) continue;
    if (!field->is_repeated()) {
      SetField(message, field, depth);
      continue;
    }
    for (int k = 0; k < (nested ? kMessages : kValues); ++k)
      AddElement(message, field, k, depth);
  }
}

std::string FullPayload(const FieldDescriptor* field) {
  tessel::MSG message;
  message.set_id(tessel::IDQuoteDynaSingle);
  if (field->is_repeated()) {
    AddElement(&message, field, 0, 0);
  } else {
    SetField(&message, field, 0);
  }
  return message.SerializePartialAsString();
}

}  // namespace

int main() {
  const google::protobuf::LogSilencer quiet;  // some payloads lack what is required
  const Descriptor* envelope = tessel::MSG::descriptor();
  int parsed = 0;
  for (int i = 0; i < envelope->field_count(); ++i) {
    const FieldDescriptor* field = envelope->field(i);
    // Those below take a single byte for the tag and are not payloads.
    if (field->number() >= 16) parsed += DecodeOften(EmptyPayload(field->number()));
    parsed += DecodeOften(FullPayload(field));
  }
  return parsed != 0 ? 0 : 1;
}
