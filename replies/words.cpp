#include "replies/words.h"

namespace replies {

std::string LowerCase(std::string_view word) {
  std::string lower(word);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

}  // namespace replies
