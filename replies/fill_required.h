// The least that makes a message one that can be parsed.
#ifndef REPLIES_FILL_REQUIRED_H_
#define REPLIES_FILL_REQUIRED_H_

#include <google/protobuf/message.h>

namespace replies {

// Sets the required fields of the message, and of the messages in these, to zero or to nothing. For any
// message, generated or dynamic.
void FillRequired(google::protobuf::Message* message);

}  // namespace replies

#endif  // REPLIES_FILL_REQUIRED_H_
