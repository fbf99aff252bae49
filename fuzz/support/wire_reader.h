// Reads the bytes of a message by its descriptor alone, in a way that shares nothing with the generated
// classes.
#ifndef FUZZ_SUPPORT_WIRE_READER_H_
#define FUZZ_SUPPORT_WIRE_READER_H_

#include <google/protobuf/descriptor.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

struct WireValue;

// By field number. A singular field has one value.
using WireMessage = std::map<int, std::vector<WireValue>>;

struct WireValue {
  int64_t integer = 0;  // integers, enumerations, true and false
  double real = 0;      // float and double
  std::string bytes;    // text and bytes
  WireMessage message;
};

// False for bytes that are no such message.
bool ReadWireMessage(std::string_view bytes, const google::protobuf::Descriptor* type, WireMessage* message);

// Whether no required field is missing, here and below.
bool IsComplete(const WireMessage& message, const google::protobuf::Descriptor* type);

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_WIRE_READER_H_
