// Words of a command line: numbers, and letters whose case does not count.
#ifndef REPLIES_WORDS_H_
#define REPLIES_WORDS_H_

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace replies {

// With small letters in place of capital ones; other than A to Z stay as they are.
std::string LowerCase(std::string_view word);

// The number that the whole word is; null if it is none.
template <class Int>
std::optional<Int> WholeNumber(std::string_view word) {
  Int value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
  return value;
}

}  // namespace replies

#endif  // REPLIES_WORDS_H_
