// JSON texts compared by value: the order of keys is nobody's promise.
#ifndef TESTS_SUPPORT_JSON_H_
#define TESTS_SUPPORT_JSON_H_

#include <gtest/gtest.h>
#include <jansson.h>

#include <memory>
#include <string>

struct JsonFree {
  void operator()(json_t* value) const { json_decref(value); }
};
using OwnedJson = std::unique_ptr<json_t, JsonFree>;

// Null where the text is no JSON.
inline OwnedJson ParseJson(const std::string& text) {
  return OwnedJson(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES | JSON_ALLOW_NUL, nullptr));
}

inline testing::AssertionResult SameJson(const std::string& actual, const std::string& expected) {
  const OwnedJson left = ParseJson(actual);
  const OwnedJson right = ParseJson(expected);
  if (right == nullptr)
    return testing::AssertionFailure() << "the test expects what is no JSON: " << expected;
  if (left == nullptr) return testing::AssertionFailure() << "no JSON: '" << actual << "'";
  if (json_equal(left.get(), right.get()) == 0)
    return testing::AssertionFailure() << actual << " is not " << expected;
  return testing::AssertionSuccess();
}

// The blocks that jansson's dump holds while it appends the byte at `at` of its text: the table of what it is
// in the middle of, and an entry there for each object and array around that byte.
inline long BlocksOfDump(const std::string& text, size_t at) {
  long around = 0;
  bool quoted = false;
  for (size_t i = 0; i <= at && i < text.size(); ++i) {
    const char c = text[i];
    if (quoted && c == '\\') {
      ++i;
    } else if (c == '"') {
      quoted = !quoted;
    } else if (!quoted && (c == '{' || c == '[')) {
      ++around;
    } else if (!quoted && (c == '}' || c == ']')) {
      --around;
    }
  }
  return 1 + around;
}

// The same, told by the bytes that the text asked for when it had to grow and could not. A text doubles, or
// grows to what it must hold if that is more: half of what it asked for is a byte of the piece that did not
// fit.
inline long BlocksOfDumpRefused(const std::string& text, size_t asked) {
  return BlocksOfDump(text, (asked - 1) / 2);
}

#endif  // TESTS_SUPPORT_JSON_H_
