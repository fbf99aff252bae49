// The replies that these tests read, as bytes and as digits.
#ifndef TESTS_REPLIES_SAMPLES_H_
#define TESTS_REPLIES_SAMPLES_H_

#include <string>
#include <vector>

namespace replies {

// A reply of two fields: Id 20, Obj "AB".
inline const std::string kReplyBytes(
    "\x08\x14\x12\x02"
    "AB");
inline constexpr char kReplyHex[] = "081412024142";
inline constexpr char kReplyBase64[] = "CBQSAkFC";

using Strings = std::vector<std::string>;

}  // namespace replies

#endif  // TESTS_REPLIES_SAMPLES_H_
