// What can be said about the bytes of a message without its schema.
//
// Nothing here allocates or throws; any bytes may be passed.
#ifndef REPLIES_WIRE_H_
#define REPLIES_WIRE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace replies {

// The parser's own limit, in bytes.
inline constexpr uint32_t kMaxReplyBytes = 0x7FFFFFFF;

// Fields of the envelope. A payload's field has its Id for its number.
inline constexpr uint32_t kIdField = 1;
inline constexpr uint32_t kLastTextField = 4;  // the object, the table, the table as text
inline constexpr uint32_t kObjCountField = 5;

// Messages inside messages, as deep as the parser goes.
inline constexpr int kDeepest = 100;

// Reads a varint at `*pos` and moves `*pos` behind it. False if it is cut off or longer than ten bytes;
// `*pos` then stays.
bool ReadVarint(std::string_view bytes, size_t* pos, uint64_t* value);
void AppendVarint(std::string* to, uint64_t value);

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

// LooksLikeReply(), and no field has a form that the envelope has not: its Id and its count of objects are
// numbers, all else has a length. A date of eight digits, 08122024, is thereby none.
bool LooksLikeEnvelope(std::string_view bytes);

// The bytes begin with an Id and with the head of a field that an envelope has behind it, whatever comes
// then: a reply that was cut off or damaged.
bool BeginsLikeEnvelope(std::string_view bytes);

// Several Ids: replies one behind the other, which would be read as one. A reply has one Id, in front.
bool HasSeveralIds(std::string_view bytes);

// The Id of a reply: the last one if there are several, as the parser has it. False if there is none.
bool FindId(std::string_view bytes, int32_t* id);

// The same for whoever passes over many replies: an Id that is the first field counts, and nothing behind it
// is looked at, so that of a large reply one page is touched. All real replies have it there, and no other
// one. Where another field is the first, all are walked over.
bool FindIdInFront(std::string_view bytes, int32_t* id);

inline bool IdInFront(std::string_view bytes, int32_t* id) {
  // As every sender writes it: one or two bytes behind the tag.
  if (bytes.size() < 3 || bytes[0] != kIdField << 3 || (bytes[1] & bytes[2] & 0x80) != 0)
    return FindIdInFront(bytes, id);
  const auto first = static_cast<unsigned char>(bytes[1]);
  const auto second = static_cast<unsigned char>(bytes[2]);
  *id = (first & 0x7F) | (first < 0x80 ? 0 : second << 7);
  return true;
}

// Whether pieces that come one after the other make a reply together. All of them cost as much as one look at
// their bytes; nothing of them is kept.
class GrowingReply {
 public:
  void Append(std::string_view piece);

  // LooksLikeReply() and LooksLikeStartOfReply() of all pieces together.
  bool looks_whole() const { return !broken_ && any_ && size_ == 0 && skip_ == 0; }
  bool looks_begun() const { return !broken_ && any_; }

 private:
  void TakeHead();

  // The beginning of a field as far as its length, or all of a field without one. Two varints are the most.
  std::array<char, 20> head_{};
  size_t size_ = 0;
  uint64_t skip_ = 0;  // bytes of a field's content that are still to come
  bool any_ = false;
  bool broken_ = false;
};

}  // namespace replies

#endif  // REPLIES_WIRE_H_
