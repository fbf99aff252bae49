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

#endif  // TESTS_SUPPORT_JSON_H_
