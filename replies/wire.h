// What can be said about the bytes of a message without its schema.
//
// Nothing here allocates or throws; any bytes may be passed.
#ifndef REPLIES_WIRE_H_
#define REPLIES_WIRE_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace replies {

// Reads a varint at `*pos` and moves `*pos` behind it. False if it is cut off or longer than ten bytes;
// `*pos` then stays.
bool ReadVarint(std::string_view bytes, size_t* pos, uint64_t* value);

// One field of a message, as the wire has it.
struct WireField {
  size_t offset = 0;  // where its tag begins
  uint32_t number = 0;
  unsigned wire_type = 0;    // 0 varint, 1 and 5 fixed, 2 length-delimited
  uint64_t varint = 0;       // the value of wire type 0
  std::string_view payload;  // the content of wire type 2
};

enum class WireStep {
  kField,   // a field was read
  kEnd,     // the bytes end where a field ends
  kCut,     // the bytes end inside a field
  kBroken,  // no field can begin or go on like this
};

// Reads the field at `*pos` and moves `*pos` behind it; `*pos` stays where no field was read. Groups, which
// no reply has, count as broken.
WireStep ReadField(std::string_view bytes, size_t* pos, WireField* field);

// The bytes are a whole run of fields of which the first is an Id: what every sender makes of a reply. This
// is what input is recognised by, so it is stricter than what the library accepts.
bool LooksLikeReply(std::string_view bytes);

// The same of bytes that may go on behind the end of `bytes`.
bool LooksLikeStartOfReply(std::string_view bytes);

// The Id of a reply: the last one if there are several, as the parser has it. False if there is none.
bool FindId(std::string_view bytes, int32_t* id);

}  // namespace replies

#endif  // REPLIES_WIRE_H_
