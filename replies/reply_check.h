// What is wrong with the bytes of a reply, found on the wire beside the schema's descriptors.
//
// Everything is read as the parser reads it: fields that the schema does not know are passed over, of a
// singular field that arrives twice the last one counts, and a message in several pieces is one message. No
// message is built, so that the memory is that of lists of the pieces. Throws std::bad_alloc only. Any number
// of threads may call any of these at once.
#ifndef REPLIES_REPLY_CHECK_H_
#define REPLIES_REPLY_CHECK_H_

#include <google/protobuf/descriptor.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace replies {

// Where the parser breaks off.
struct Break {
  size_t offset = 0;  // of the field that cannot be read, or of the content that holds no list of numbers
  std::string what;   // with the offset and the path: "the bytes end inside the field that begins at ..."
};

// None if the bytes are a message of the type, complete or not.
std::optional<Break> FindBreak(std::string_view bytes, const google::protobuf::Descriptor* type);

// A field of a reply, by its way from the envelope.
struct FieldPlace {
  std::string path;   // "RepDataStkData.Obj"
  std::string place;  // "RepDataStkData[1].Obj": with the number of each element, from 0
};

// The functions below are for bytes that are a message of the type, complete or not; in others they see what
// comes before the break.

struct MissingFields {
  uint64_t count = 0;
  FieldPlace first;  // those of a message before those of the messages inside it, in the order of the schema
};
MissingFields FindMissing(std::string_view bytes, const google::protobuf::Descriptor* type);

// A value that JSON does not have.
struct Inexpressible {
  FieldPlace field;
  bool is_text = false;  // not valid UTF-8; else a number that is not finite
};
// The first one, in ascending order of the numbers of fields.
std::optional<Inexpressible> FindInexpressible(std::string_view bytes,
                                               const google::protobuf::Descriptor* type);

// The Id and the payload of an envelope.
struct EnvelopeHead {
  int32_t id = 0;
  bool has_payload = false;  // a field whose number is the Id, with a length
};
EnvelopeHead ReadHead(std::string_view bytes);

}  // namespace replies

#endif  // REPLIES_REPLY_CHECK_H_
