// UTF-8 to GB2312 in the extent of code page 936 and back, by tables that were made while building.
//
// Texts in replies are Chinese with digits beside them, so runs of ASCII and runs of three-byte characters
// have their own ways, eight bytes and four characters at a time.
#include "tsl_base/text.h"

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <utility>

#include "tsl_base/detail/utf8.h"

namespace tsl_base {
namespace {

using detail::BitsBelow;
using detail::IsTrail;
using detail::LoadEight;
using detail::LowestFirst;
using detail::ReadSequence;
using detail::Sequence;

// Whether a KeepUtf8 lives on the thread. The model spares each call the look-up of a library that may be
// loaded later; a single int fits into what every thread has in reserve.
#if defined(__ELF__)
__attribute__((tls_model("initial-exec")))
#endif
thread_local int keeps_utf8 = 0;

// kCodes, kLowCodes, kSingles, kPairs
#include "cp936_table.inc"

// A result is put together on the stack, in pieces of this size; short ones are a single piece.
constexpr size_t kOnStack = 1024;

void StoreEight(unsigned char* to, uint64_t word) {
  word = LowestFirst(word);
  memcpy(to, &word, sizeof word);
}

// Codes have their first byte lowest. Those of two bytes begin with a set bit, as lead bytes begin at 0x81; a
// single byte lies in the upper half.
constexpr uint32_t kTwoBytes = 0x80;

bool HasTwoBytes(uint32_t code) {
  return (code & kTwoBytes) != 0;
}

void StorePair(unsigned char* to, uint32_t code) {
  const uint64_t word = LowestFirst(code);
  memcpy(to, &word, 2);
}

// The same for the fewer than eight bytes that are left of an input, with zeros behind them.
uint64_t LoadRest(const unsigned char* begin, const unsigned char* from, const unsigned char* end) {
  const size_t left = static_cast<size_t>(end - from);
  if (end - begin >= 8) return LoadEight(end - 8) >> (64 - 8 * left);
  uint64_t word = 0;
  for (size_t i = 0; i < left; ++i)
    word |= uint64_t{from[i]} << (8 * i);
  return word;
}

// The bits of two sequences that say that both have three bytes, and what they say then.
constexpr uint64_t kFormBits = 0xC0C0F0C0C0F0;
constexpr uint64_t kThreeBytes = 0x8080E08080E0;
constexpr uint64_t kFormBitsOfOne = 0xC0C0F0;
constexpr uint64_t kThreeBytesOfOne = 0x8080E0;

// The code points of two sequences of three bytes in the lowest six: the first in the lowest 24 bits, the
// second in the 24 above.
uint64_t CodePoints(uint64_t word) {
  return (word & 0x00000F00000F) << 12 | (word >> 2 & 0x000FC0000FC0) | (word >> 16 & 0x00003F00003F);
}

// The code of a sequence of three bytes; none of two bytes for all that needs a closer look, as what is
// overlong does: it has its code in kLowCodes.
uint32_t FirstCode(uint64_t code_points) {
  return kCodes[code_points & 0xFFFF];
}
uint32_t SecondCode(uint64_t code_points) {
  return kCodes[code_points >> 24 & 0xFFFF];
}

// 0 if there is none.
uint32_t CodeOf(uint32_t code_point) {
  if (code_point < sizeof kLowCodes / sizeof kLowCodes[0]) return kLowCodes[code_point];
  return code_point < sizeof kCodes / sizeof kCodes[0] ? kCodes[code_point] : 0;
}

// How far behind the result's end Convert() may write.
constexpr size_t kSlack = 8;

// Four sequences of three bytes take so many.
constexpr size_t kFour = 12;

// Writes the codes of four characters at `in`; false if they do not have three bytes each, and codes of two.
inline bool StoreFour(const unsigned char* in, unsigned char* to) {
  const uint64_t word = LoadEight(in);
  const uint64_t next = LoadEight(in + kFour - sizeof word) >> 16;
  if ((((word ^ kThreeBytes) | (next ^ kThreeBytes)) & kFormBits) != 0) return false;
  const uint64_t front = CodePoints(word);
  const uint64_t back = CodePoints(next);
  const uint32_t codes[] = {FirstCode(front), SecondCode(front), FirstCode(back), SecondCode(back)};
  if (!HasTwoBytes(codes[0] & codes[1] & codes[2] & codes[3])) return false;
  StorePair(to, codes[0]);
  StorePair(to + 2, codes[1]);
  StorePair(to + 4, codes[2]);
  StorePair(to + 6, codes[3]);
  return true;
}

// `out` has room for as many bytes as the input has, and kSlack more. Returns how many were written.
size_t Convert(const unsigned char* const begin, size_t size, unsigned char* const out) {
  const unsigned char* const end = begin + size;
  const unsigned char* in = begin;
  unsigned char* to = out;
  while (in != end) {
    const size_t left = static_cast<size_t>(end - in);
    const uint64_t word = left >= 8 ? LoadEight(in) : LoadRest(begin, in, end);
    if ((word & 0x80) == 0) {
      const uint64_t high = word & 0x8080808080808080;
      const size_t run = high != 0 ? BitsBelow(high) / 8 : left < 8 ? left : 8;
      StoreEight(to, word);
      in += run;
      to += run;
      continue;
    }
    if ((word & kFormBits) == kThreeBytes) {
      const unsigned char* const before = to;
      for (; static_cast<size_t>(end - in) >= kFour && StoreFour(in, to); to += 8)
        in += kFour;
      if (to != before) continue;
      const uint64_t both = CodePoints(word);
      if (HasTwoBytes(FirstCode(both) & SecondCode(both))) {
        StorePair(to, FirstCode(both));
        StorePair(to + 2, SecondCode(both));
        in += 6;
        to += 4;
        continue;
      }
    }
    if ((word & kFormBitsOfOne) == kThreeBytesOfOne) {
      if (const uint32_t code = FirstCode(CodePoints(word)); HasTwoBytes(code)) {
        StorePair(to, code);
        in += 3;
        to += 2;
        continue;
      }
    }
    const Sequence sequence = ReadSequence(in, end);
    in += sequence.length;
    const uint32_t code = CodeOf(sequence.code_point);
    if (HasTwoBytes(code)) {
      StorePair(to, code);
      to += 2;
    } else {
      *to++ = code != 0 ? static_cast<unsigned char>(code >> 8) : static_cast<unsigned char>('?');
    }
  }
  return static_cast<size_t>(to - out);
}

// How much of what is left is the next piece: as much as there is room for, but no part of a sequence. A
// trail byte behind three others begins a new one.
size_t PieceOf(const unsigned char* from, size_t left) {
  if (left <= kOnStack) return left;
  size_t size = kOnStack;
  for (int back = 0; back < 3 && IsTrail(from[size]); ++back)
    --size;
  return IsTrail(from[size]) ? kOnStack : size;
}

std::string ConvertAll(const char* utf8, size_t size) {
  const unsigned char* in = reinterpret_cast<const unsigned char*>(utf8);
  unsigned char room[kOnStack + kSlack];
  const char* const piece = reinterpret_cast<const char*>(room);
  if (size <= kOnStack) return std::string(piece, Convert(in, size, room));
  std::string text;
  text.reserve(size);
  while (size != 0) {
    const size_t taken = PieceOf(in, size);
    text.append(piece, Convert(in, taken, room));
    in += taken;
    size -= taken;
  }
  return text;
}

// ---- the way back -----------------------------------------------------------------------------------------

constexpr unsigned char kFirstLead = 0x81;
constexpr unsigned char kFirstTrail = 0x40;
constexpr unsigned char kLastByte = 0xFE;
constexpr size_t kTrails = kLastByte - kFirstTrail + 1;
static_assert(sizeof kPairs == sizeof(uint16_t) * kTrails * (kLastByte - kFirstLead + 1),
              "one for each pair");

constexpr uint32_t kReplacement = 0xFFFD;

bool IsByteBetween(unsigned char first, unsigned char c) {
  return c >= first && c <= kLastByte;
}

// The character at `from`, or what is to be replaced. ASCII is never part of what is replaced.
Sequence ReadCode(const unsigned char* from, const unsigned char* end) {
  const unsigned char lead = from[0];
  if (lead < 0x80) return {1, lead};
  if (const uint32_t single = kSingles[lead - 0x80]) return {1, single};
  if (!IsByteBetween(kFirstLead, lead) || end - from < 2 || !IsByteBetween(kFirstTrail, from[1])) {
    return {1, kReplacement};
  }
  const uint32_t pair = kPairs[(lead - kFirstLead) * kTrails + (from[1] - kFirstTrail)];
  if (pair != 0) return {2, pair};
  return {from[1] < 0x80 ? size_t{1} : size_t{2}, kReplacement};
}

// A code point of the basic plane.
void AppendUtf8(uint32_t code_point, std::string* text) {
  const auto add = [text](uint32_t byte) {
    text->push_back(static_cast<char>(static_cast<unsigned char>(byte)));
  };
  if (code_point < 0x80) {
    add(code_point);
    return;
  }
  if (code_point < 0x800) {
    add(0xC0 | code_point >> 6);
  } else {
    add(0xE0 | code_point >> 12);
    add(0x80 | (code_point >> 6 & 0x3F));
  }
  add(0x80 | (code_point & 0x3F));
}

std::string ConvertBack(const char* gb2312, size_t size) {
  const unsigned char* in = reinterpret_cast<const unsigned char*>(gb2312);
  const unsigned char* const end = in + size;
  std::string text;
  // Enough for text of pairs.
  text.reserve(size + size / 2);
  while (in != end) {
    const Sequence sequence = ReadCode(in, end);
    in += sequence.length;
    AppendUtf8(sequence.code_point, &text);
  }
  return text;
}

}  // namespace

std::string text::Utf8toGb2312(const char* utf8) {
  if (!utf8) return std::string();
  return keeps_utf8 != 0 ? std::string(utf8) : ConvertAll(utf8, strlen(utf8));
}

std::string text::Utf8toGb2312(const std::string& utf8) {
  return keeps_utf8 != 0 ? utf8 : ConvertAll(utf8.data(), utf8.size());
}

std::string text::Gb2312ToUtf8(const char* gb2312) {
  return gb2312 ? ConvertBack(gb2312, strlen(gb2312)) : std::string();
}

std::string text::Gb2312ToUtf8(const std::string& gb2312) {
  return ConvertBack(gb2312.data(), gb2312.size());
}

}  // namespace tsl_base

extern "C" int tsl_base_keep_utf8(int keep) {
  return std::exchange(tsl_base::keeps_utf8, keep != 0 ? 1 : 0);
}
