// Included before all else where the parsers of what has a table are compiled: a number of several bytes is
// read at once.
//
// Most numbers of a reply are decimals packed into integers, of two to six bytes each. protobuf reads what
// has more than two by a call and a loop, and the processor cannot foresee where it ends.
#ifndef TESPARSER_MESSAGE_VARINT_H_
#define TESPARSER_MESSAGE_VARINT_H_

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/parse_context.h>
#include <google/protobuf/wire_format_lite.h>

#include <cstdint>
#include <cstring>

// Where the generated code looks for the function that it calls.
namespace google::protobuf::internal {

// As ReadVarint64(): the number at `*p`, which is then set behind it, or to null if the number does not end
// within ten bytes. As there, ten bytes must be readable: the parser's stream keeps sixteen behind a tag's
// first. Inline whatever it grows to: called, the parsers of wide messages take a third longer.
[[gnu::always_inline]] inline uint64_t ReadVarint64AtOnce(const char** p) {
  const char* const begin = *p;
  const auto first = static_cast<uint8_t>(*begin);
  if (first < 0x80) {
    *p = begin + 1;
    return first;
  }
  uint64_t bytes;
  std::memcpy(&bytes, begin, sizeof bytes);
  // The highest bit of each byte that ends a number.
  const uint64_t ends = ~bytes & 0x8080808080808080;
  if (__builtin_expect(ends == 0, 0)) return ReadVarint64(p);
  *p = begin + __builtin_ctzll(ends) / 8 + 1;
  // Seven bits of each byte up to the first end, then moved together by pairs, by fours and by eights.
  bytes &= (ends ^ (ends - 1)) & 0x7f7f7f7f7f7f7f7f;
  bytes = (bytes & 0x007f007f007f007f) | (bytes & 0x7f007f007f007f00) >> 1;
  bytes = (bytes & 0x00003fff00003fff) | (bytes & 0x3fff00003fff0000) >> 2;
  return (bytes & 0x000000000fffffff) | (bytes & 0x0fffffff00000000) >> 4;
}

}  // namespace google::protobuf::internal

// All that declares or calls another function of this name is included above.
#define ReadVarint64(pointer) ReadVarint64AtOnce(pointer)

#endif  // TESPARSER_MESSAGE_VARINT_H_
