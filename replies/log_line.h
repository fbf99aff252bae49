// The replies in one line of text: a line of digits, or of words with digits among them.
#ifndef REPLIES_LOG_LINE_H_
#define REPLIES_LOG_LINE_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "replies/form.h"

namespace replies {

struct LineContent {
  std::vector<std::string> replies;  // in their order; a damaged one if the line is nothing but its digits
  size_t hex_column = 0;   // where the digits of the last one begin, if it is hexadecimal among words
  bool lookalike = false;  // something in it begins like a reply and is none
};

// What a line holds in the form kHex or kBase64, or in either of them (kLines). Asked for one of the forms,
// the longest run of digits counts as a damaged reply where nothing else is found.
//
// The cost is linear in the line, and so is the memory.
LineContent RepliesInLine(std::string_view line, Form form);

}  // namespace replies

#endif  // REPLIES_LOG_LINE_H_
