#include "tsl_base/detail/utf8.h"

#include <string.h>

namespace tsl_base {
namespace detail {
namespace {

const unsigned char* Bytes(const char* text) {
  return reinterpret_cast<const unsigned char*>(text);
}

// How many bytes from the beginning on are ASCII, as far as eight at a time tell.
size_t AsciiRun(const unsigned char* text, size_t size) {
  size_t run = 0;
  for (uint64_t word = 0; size - run >= sizeof word; run += sizeof word) {
    memcpy(&word, text + run, sizeof word);
    if ((word & 0x8080808080808080) != 0) break;
  }
  return run;
}

}  // namespace

bool IsUtf8(const char* text, size_t size) {
  const unsigned char* at = Bytes(text);
  const unsigned char* end = at + size;
  at += AsciiRun(at, size);
  while (at != end) {
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
