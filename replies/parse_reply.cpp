#include "replies/parse_reply.h"

#include "replies/diagnosis.h"
#include "replies/schema.h"

namespace replies {

std::unique_ptr<google::protobuf::Message> ParseReply(const std::string& bytes, std::string* error) {
  auto reply = Schema::Get().NewReply();
  // The parser's own check would write to the log what is told here.
  if (reply->ParsePartialFromString(bytes) && reply->IsInitialized()) return reply;
  *error = WhyNoReply(bytes);
  return nullptr;
}

}  // namespace replies
