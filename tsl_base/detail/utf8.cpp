#include "tsl_base/detail/utf8.h"

namespace tsl_base {
namespace detail {
namespace {

const unsigned char* Bytes(const char* text) {
  return reinterpret_cast<const unsigned char*>(text);
}

// Eight characters of three bytes, as most Chinese text is: where their first bytes are in three words, and
// what bits all of their bytes have.
struct ThreeBytes {
  uint64_t leads;
  uint64_t mask;
  uint64_t bits;
};
constexpr ThreeBytes kThreeBytes[3] = {{0x00FF0000FF0000FF, 0xC0F0C0C0F0C0C0F0, 0x80E08080E08080E0},
                                       {0xFF0000FF0000FF00, 0xF0C0C0F0C0C0F0C0, 0xE08080E08080E080},
                                       {0x0000FF0000FF0000, 0xC0C0F0C0C0F0C0C0, 0x8080E08080E08080}};
constexpr uint64_t kEach = 0x0101010101010101;

// Whether a word is its part of such characters, none of which begins with 0xE0 or 0xED: there the second
// byte decides.
bool IsThreeBytes(uint64_t word, const ThreeBytes& part) {
  if ((word & part.mask) != part.bits) return false;
  const uint64_t low = word & part.leads & (0x0F * kEach);
  const uint64_t not_0 = low + 0x7F * kEach;
  const uint64_t not_d = (low ^ 0x0D * kEach) + 0x7F * kEach;
  const uint64_t top = part.leads & (0x80 * kEach);
  return (not_0 & not_d & top) == top;
}

bool IsEightCharacters(const unsigned char* text) {
  return IsThreeBytes(LoadEight(text), kThreeBytes[0]) && IsThreeBytes(LoadEight(text + 8), kThreeBytes[1]) &&
         IsThreeBytes(LoadEight(text + 16), kThreeBytes[2]);
}

}  // namespace

bool IsUtf8(const char* text, size_t size) {
  const unsigned char* at = Bytes(text);
  const unsigned char* end = at + size;
  while (at != end) {
    const size_t left = static_cast<size_t>(end - at);
    if (left >= 24 && IsEightCharacters(at)) {
      at += 24;
      continue;
    }
    if (left >= 8) {
      const uint64_t high = LoadEight(at) & (0x80 * kEach);
      if ((high & 0x80) == 0) {
        at += high == 0 ? 8 : BitsBelow(high) / 8;
        continue;
      }
    }
    const Sequence sequence = ReadSequence(at, end);
    if (sequence.code_point == kIllFormed) return false;
    at += sequence.length;
  }
  return true;
}

std::string ValidUtf8(std::string_view text) {
  std::string valid;
  const unsigned char* at = Bytes(text.data());
  const unsigned char* end = at + text.size();
  while (at != end) {
    const Sequence sequence = ReadSequence(at, end);
    if (sequence.code_point == kIllFormed) {
      valid += "\xEF\xBF\xBD";
    } else {
      valid.append(reinterpret_cast<const char*>(at), sequence.length);
    }
    at += sequence.length;
  }
  return valid;
}

}  // namespace detail
}  // namespace tsl_base
