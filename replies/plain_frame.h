// Frames as most are, judged at a fraction of what replies/frames.h takes: nothing is cut off, nothing is
// odd, numbers have few bytes. What is said of them is the same.
//
// In a header and without branches where it can be: the speed of a scan is that of these functions.
#ifndef REPLIES_PLAIN_FRAME_H_
#define REPLIES_PLAIN_FRAME_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "replies/frames.h"
#include "replies/wire.h"

namespace replies {

// What is loaded at once. The machine has little ends (cmake/TesparserBuild.cmake).
inline constexpr size_t kPlainLoad = 8;
// The bytes that are needed to look at what begins: a length, as far as LookBehind() looks, and a load.
inline constexpr size_t kPlainRoom = 4 + kLookedAtBehind + kPlainLoad;

struct PlainFrame {
  uint32_t content = 0;  // where it begins, behind its length
  uint32_t end = 0;
  uint32_t at = 0;  // as far as fields have been looked at; `end` if they end with it
  uint32_t id = 0;
  int fields = 0;  // behind the Id
};

// Takes a varint of two bytes at most from the front of what was loaded. False of a longer one.
inline bool TakePlainVarint(uint64_t* loaded, uint32_t* pos, uint32_t* value) {
  const uint64_t word = *loaded;
  const uint64_t longer = (word >> 7) & 1;
  *value = static_cast<uint32_t>((word & 0x7F) | ((word >> 1) & 0x3F80 & (0 - longer)));
  *loaded = word >> (8 + 8 * longer);
  *pos += static_cast<uint32_t>(1 + longer);
  return (longer & (word >> 15)) == 0;
}

// The same of a length, which may have three bytes.
inline bool TakePlainLength(uint64_t* loaded, uint32_t* pos, uint32_t* value) {
  if (TakePlainVarint(loaded, pos, value)) return true;
  *value |= static_cast<uint32_t>(*loaded & 0x7F) << 14;
  *pos += 1;
  const bool ends = (*loaded & 0x80) == 0;
  *loaded >>= 8;
  return ends;
}

inline uint64_t LoadPlain(const unsigned char* bytes) {
  uint64_t word = 0;
  std::memcpy(&word, bytes, kPlainLoad);
  return word;
}

// Goes over the fields behind the Id whose heads begin before `limit`. False if one is odd.
inline bool GoOverPlainFields(const unsigned char* bytes, uint32_t limit, PlainFrame* frame) {
  while (frame->at < limit && frame->fields < kFreeFields) {
    uint32_t pos = frame->at;
    uint64_t loaded = LoadPlain(bytes + pos);
    uint32_t tag = 0;
    uint32_t value = 0;
    if (!TakePlainVarint(&loaded, &pos, &tag) || !TakePlainLength(&loaded, &pos, &value)) return false;
    // A head across the limit is for whoever has more, but for a kind that no field of the envelope has.
    if (pos > limit) return limit < frame->end && ((tag & 7) == 0 || (tag & 7) == 2);
    const uint32_t number = tag >> 3;
    if (tag != kObjCountField << 3) {
      const bool belongs = (tag & 7) == 2 && number > kIdField && number != kObjCountField &&
                           (number <= kLastTextField || number == frame->id);
      if (!belongs) return false;
      pos += value;
    }
    if (pos > frame->end) return false;
    frame->at = pos;
    ++frame->fields;
  }
  return true;
}

// Whether LookBehind() would take what begins at the front for a reply. There are kPlainRoom bytes. False
// says nothing.
inline bool BeginsPlainFrame(const char* front, Prefix prefix, uint64_t most, PlainFrame* frame) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(front);
  uint64_t loaded = LoadPlain(bytes);
  uint32_t pos = 0;
  uint32_t size = 0;
  if (prefix == Prefix::kVarint) {
    if (!TakePlainLength(&loaded, &pos, &size)) return false;
  } else {
    size_t four = 0;
    uint64_t fixed = 0;
    ReadPrefix(std::string_view(front, 4), prefix, &four, &fixed);
    if (fixed > kMaxReplyBytes) return false;
    size = static_cast<uint32_t>(fixed);
    pos = 4;
    loaded >>= 32;
  }
  constexpr uint64_t kIdTag = kIdField << 3;
  frame->content = pos;
  frame->end = pos + size;
  if (size < 2 || size > most || (loaded & 0xFF) != kIdTag) return false;
  loaded >>= 8;
  ++pos;
  if (!TakePlainVarint(&loaded, &pos, &frame->id) || pos > frame->end) return false;
  frame->at = pos;
  frame->fields = 0;
  const uint32_t looked_at = frame->content + static_cast<uint32_t>(kLookedAtBehind);
  return GoOverPlainFields(bytes, looked_at < frame->end ? looked_at : frame->end, frame);
}

}  // namespace replies

#endif  // REPLIES_PLAIN_FRAME_H_
