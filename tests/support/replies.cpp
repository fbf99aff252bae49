#include "tests/support/replies.h"

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/text_format.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace test_replies {
namespace {

[[noreturn]] void Fail(const std::string& why) {
  std::fprintf(stderr, "test reply: %s\n", why.c_str());
  std::abort();
}

struct Schema {
  google::protobuf::DescriptorPool pool;
  google::protobuf::DynamicMessageFactory factory;

  Schema() {
    std::ifstream in(TESPARSER_DESCRIPTORS, std::ios::binary);
    google::protobuf::FileDescriptorSet set;
    if (!set.ParseFromIstream(&in)) Fail("cannot read " TESPARSER_DESCRIPTORS);
    for (const auto& file : set.file()) {
      if (pool.BuildFile(file) == nullptr) Fail("cannot build " + file.name());
    }
  }
};

Schema& TheSchema() {
  static Schema* schema = new Schema;
  return *schema;
}

}  // namespace

const google::protobuf::DescriptorPool& Pool() {
  return TheSchema().pool;
}

int LastPayload() {
  const auto* envelope = Pool().FindMessageTypeByName("tessel.MSG");
  return envelope->field(envelope->field_count() - 1)->number();
}

std::unique_ptr<google::protobuf::Message> New(const std::string& name) {
  const auto* type = TheSchema().pool.FindMessageTypeByName("tessel." + name);
  if (type == nullptr) Fail("no message " + name);
  return std::unique_ptr<google::protobuf::Message>(TheSchema().factory.GetPrototype(type)->New());
}

std::string Reply(const std::string& text) {
  const auto message = New("MSG");
  google::protobuf::TextFormat::Parser parser;
  parser.AllowPartialMessage(true);
  if (!parser.ParseFromString(text, message.get())) Fail("not a reply in text form: " + text);
  return Bytes(*message);
}

std::string Bytes(const google::protobuf::Message& message) {
  return message.SerializePartialAsString();
}

int64_t Packed(uint64_t mantissa, unsigned code, unsigned sign) {
  const uint64_t word =
      (mantissa & 0xFFFF) | uint64_t{code & 0xF} << 16 | uint64_t{sign & 0xF} << 20 | (mantissa >> 16) << 24;
  return static_cast<int64_t>(word);
}

int64_t PackedWhole(int64_t number) {
  return number < 0 ? Packed(static_cast<uint64_t>(-number), 10, 1)
                    : Packed(static_cast<uint64_t>(number), 10);
}

std::string P(uint64_t mantissa, unsigned code, unsigned sign) {
  return std::to_string(Packed(mantissa, code, sign));
}

}  // namespace test_replies
