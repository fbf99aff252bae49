// Replies for tests, written in protobuf's text form and sent as bytes.
//
// The messages are dynamic ones, made from the descriptors that protoc read from the schema files: a test
// program that calls the shared library must not bring the generated classes into its process a second time.
#ifndef TESTS_SUPPORT_REPLIES_H_
#define TESTS_SUPPORT_REPLIES_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <memory>
#include <string>

namespace test_replies {

// The schema, in a pool of its own.
const google::protobuf::DescriptorPool& Pool();

// The payload types have the numbers from here on without a gap, as Id and as field of the envelope. The last
// one is read from the schema.
inline constexpr int kFirstPayload = 20;
int LastPayload();

// An empty message of the schema: "MSG", "Table", "QuoteMinSingle.Nested".
std::unique_ptr<google::protobuf::Message> New(const std::string& name);

// The bytes of a reply given in text form. Ends the program on text that does not fit the schema. Required
// fields may be missing: the bytes then lack them.
std::string Reply(const std::string& text);

// The bytes of any message, complete or not.
std::string Bytes(const google::protobuf::Message& message);

// A packed decimal: mantissa, scale code, sign nibble, joined as the wire has them.
int64_t Packed(uint64_t mantissa, unsigned code = 0, unsigned sign = 0);

// A whole number, packed (scale code 10).
int64_t PackedWhole(int64_t number);

// Packed() as text, for replies written in text form.
std::string P(uint64_t mantissa, unsigned code = 0, unsigned sign = 0);

}  // namespace test_replies

#endif  // TESTS_SUPPORT_REPLIES_H_
