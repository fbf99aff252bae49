// UTF-8, read sequence by sequence.
#ifndef TSL_BASE_DETAIL_UTF8_H_
#define TSL_BASE_DETAIL_UTF8_H_

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <string>
#include <string_view>

#include "tsl_base/detail/bits.h"

namespace tsl_base {
namespace detail {

constexpr uint32_t kIllFormed = 0x110000;  // behind the last code point

// The well-formed sequence at a place, or the maximal part of one: the bytes that could still have become a
// character.
struct Sequence {
  size_t length;
  uint32_t code_point;  // kIllFormed if it is only a part
};

inline bool IsTrail(unsigned char c) {
  return (c & 0xC0) == 0x80;
}

// `from` is before `end`.
inline Sequence ReadSequence(const unsigned char* from, const unsigned char* end) {
  const unsigned char lead = from[0];
  const size_t left = static_cast<size_t>(end - from);
  if (lead < 0x80) return {1, lead};
  if (lead >= 0xC2 && lead <= 0xDF) {
    if (left < 2 || !IsTrail(from[1])) return {1, kIllFormed};
    return {2, (lead & 0x1FU) << 6 | (from[1] & 0x3FU)};
  }
  if (lead < 0xE0 || lead > 0xF4) return {1, kIllFormed};

  // The second byte decides whether it is overlong, a surrogate or beyond U+10FFFF.
  const unsigned char least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (left < 2 || from[1] < least || from[1] > most) return {1, kIllFormed};
  if (left < 3 || !IsTrail(from[2])) return {2, kIllFormed};
  if (lead < 0xF0) return {3, (lead & 0x0FU) << 12 | (from[1] & 0x3FU) << 6 | (from[2] & 0x3FU)};
  if (left < 4 || !IsTrail(from[3])) return {3, kIllFormed};
  return {4, (lead & 0x07U) << 18 | (from[1] & 0x3FU) << 12 | (from[2] & 0x3FU) << 6 | (from[3] & 0x3FU)};
}

// Eight bytes as a number, the first one lowest.
inline uint64_t LowestFirst(uint64_t word) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  return SwapBytes(word);
#else
  return word;
#endif
}

inline uint64_t LoadEight(const unsigned char* from) {
  uint64_t word = 0;
  memcpy(&word, from, sizeof word);
  return LowestFirst(word);
}

bool IsUtf8(const char* text, size_t size);

// The text with U+FFFD in place of each maximal ill-formed sequence.
std::string ValidUtf8(std::string_view text);

}  // namespace detail
}  // namespace tsl_base

#endif  // TSL_BASE_DETAIL_UTF8_H_
