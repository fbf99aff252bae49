// Bits of a word, by the processor's own instructions where the compiler offers them by name.
#ifndef TSL_BASE_DETAIL_BITS_H_
#define TSL_BASE_DETAIL_BITS_H_

#include <stdint.h>

namespace tsl_base {
namespace detail {

#if defined(__GNUC__)

inline unsigned CountBits(uint64_t word) {
  return static_cast<unsigned>(__builtin_popcountll(word));
}

// Of a word that is not 0: how many bits are below the lowest that is set.
inline unsigned BitsBelow(uint64_t word) {
  return static_cast<unsigned>(__builtin_ctzll(word));
}

// Of a word that is not 0: how many bits are above the highest that is set.
inline unsigned BitsAbove(uint64_t word) {
  return static_cast<unsigned>(__builtin_clzll(word));
}

inline uint64_t SwapBytes(uint64_t word) {
  return __builtin_bswap64(word);
}

#else

// By pairs, by fours and by eights; the product adds up the bytes.
inline unsigned CountBits(uint64_t word) {
  word -= word >> 1 & 0x5555555555555555;
  word = (word & 0x3333333333333333) + (word >> 2 & 0x3333333333333333);
  word = (word + (word >> 4)) & 0x0F0F0F0F0F0F0F0F;
  return static_cast<unsigned>(word * 0x0101010101010101 >> 56);
}

inline unsigned BitsBelow(uint64_t word) {
  return CountBits((word & (~word + 1)) - 1);
}

inline unsigned BitsAbove(uint64_t word) {
  for (int shift = 1; shift < 64; shift *= 2)
    word |= word >> shift;
  return CountBits(~word);
}

inline uint64_t SwapBytes(uint64_t word) {
  word = (word & 0x00FF00FF00FF00FF) << 8 | (word >> 8 & 0x00FF00FF00FF00FF);
  word = (word & 0x0000FFFF0000FFFF) << 16 | (word >> 16 & 0x0000FFFF0000FFFF);
  return word << 32 | word >> 32;
}

#endif

}  // namespace detail
}  // namespace tsl_base

#endif  // TSL_BASE_DETAIL_BITS_H_
