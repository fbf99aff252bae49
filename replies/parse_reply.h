// Bytes to a message of the schema, or what is wrong with them.
#ifndef REPLIES_PARSE_REPLY_H_
#define REPLIES_PARSE_REPLY_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>

namespace replies {

// Null if the bytes are no reply; `error` then says where they break or which field is missing
// (WhyNoReply()).
std::unique_ptr<google::protobuf::Message> ParseReply(const std::string& bytes, std::string* error);

}  // namespace replies

#endif  // REPLIES_PARSE_REPLY_H_
