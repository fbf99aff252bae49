// Replies made by reflection: with every field that a message has, or with what it needs alone.
#ifndef TESTS_SUPPORT_FULL_REPLIES_H_
#define TESTS_SUPPORT_FULL_REPLIES_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <memory>
#include <string>

#include "replies/columns.h"

namespace full_replies {

// What a test writes into a field. 2.99 as a packed decimal: decoded, truncated and rounded differ.
inline constexpr int64_t kPacked299 = 0x12B;
inline constexpr char kChinese[] = "\xE4\xB8\xAD";  // U+4E2D in UTF-8

// A failure of the test if there is none.
const google::protobuf::FieldDescriptor* FieldOf(const google::protobuf::Message& message,
                                                 const std::string& name);

// Sets a field that is no message, or adds to it.
void SetValue(google::protobuf::Message* message, const google::protobuf::FieldDescriptor* field,
              int64_t number, const std::string& text);

// The same in place of what is there. The columns of an indicator are elements of one field, of which there
// are enough then.
void WriteValue(google::protobuf::Message* message, const google::protobuf::FieldDescriptor* field,
                int64_t number);

// A message in a field, with what it needs.
google::protobuf::Message* NewElement(google::protobuf::Message* message,
                                      const google::protobuf::FieldDescriptor* field);

// Every field, each repeated one twice. Messages inside end at `depth`, unless they have to be there.
void FillAll(google::protobuf::Message* message, int depth);

std::unique_ptr<google::protobuf::Message> Envelope(const replies::TableDescription& table);

const replies::TableDescription& Outer(const replies::TableDescription& table);

// What two of the tables need beside a field to show it. Id 303 has a list only where the result is 0, and a
// block of Id 414 is shown with any of its figures.
void Complete(const replies::TableDescription& table, google::protobuf::Message* element);

// The first element of the payload.
google::protobuf::Message* ElementOf(const replies::TableDescription& table,
                                     google::protobuf::Message* reply);

// A reply with all that the table has columns for.
std::unique_ptr<google::protobuf::Message> FullReply(const replies::TableDescription& outer);

}  // namespace full_replies

#endif  // TESTS_SUPPORT_FULL_REPLIES_H_
