// Replies in text form with packed numbers written as people read them.
#ifndef TESTS_SUPPORT_PACKED_TEXT_H_
#define TESTS_SUPPORT_PACKED_TEXT_H_

#include <cctype>
#include <cstdlib>
#include <string>

#include "tests/support/replies.h"

// Puts packed values in the place of "<41>" (scale code 10), "<20.5>" (code 1) and "<-12.34>" (code 0).
inline std::string WithPacked(const std::string& text) {
  std::string out;
  for (size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '<') {
      out += text[at];
      continue;
    }
    std::string digits;
    unsigned sign = 0;
    unsigned places = 0;
    bool fraction = false;
    for (++at; at < text.size() && text[at] != '>'; ++at) {
      if (text[at] == '-') sign = 1;
      if (text[at] == '.') fraction = true;
      if (std::isdigit(static_cast<unsigned char>(text[at])) == 0) continue;
      digits += text[at];
      if (fraction) ++places;
    }
    const unsigned codes[] = {10, 1, 0};
    if (places > 2) std::abort();
    out += test_replies::P(std::stoull(digits), codes[places], sign);
  }
  return out;
}

#endif  // TESTS_SUPPORT_PACKED_TEXT_H_
