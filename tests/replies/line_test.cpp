// Replies in a line of a log.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "replies/encodings.h"
#include "replies/reply_reader.h"
#include "tests/support/replies.h"

namespace replies {
namespace {

TEST(Line, HexMayBeSeparatedInManyWays) {
  const std::string reply("\x08\x14\x12\x02\x41\x42");
  for (const std::string line :
       {"081412024142", "08\v14\f12\t02\r41\n42", "08-14-12-02-41-42", "08:14:12:02:41:42",
        "08,14;12, 02; 41 42", "0x08 0X14 0x12 0X02 0x41 0X42", "\\x08\\x14\\x12\\X02\\x41\\x42"})
    EXPECT_EQ(BytesInLine(line, Form::kHex), reply) << line;
  // Seven digits in a line of words are a number.
  EXPECT_EQ(BytesInLine("order 1234567!", Form::kHex), std::nullopt);
  EXPECT_EQ(BytesInLine("order 12345678!", Form::kHex), "\x12\x34\x56\x78");
}

TEST(Line, ADumpWithABadLineIsNone) {
  EXPECT_EQ(DecodeHexDump("000000 08 14\n\n000002 12 02\n"), std::string("\x08\x14\x12\x02"));
  EXPECT_EQ(DecodeHexDump("000000 08 14\n000002 1x 02\n"), std::nullopt);
  EXPECT_EQ(DecodeHexDump("000000 08 14\n02 12 02\n"), std::nullopt);
}

TEST(Line, AskedForBase64IsItsLongestRun) {
  const std::string reply = test_replies::Reply("Id: 20 Obj: 'SH600000'");
  const std::string digits = EncodeBase64(reply);
  EXPECT_EQ(BytesInLine(digits, Form::kBase64), reply);
  EXPECT_EQ(BytesInLine("[12:30] got " + digits + "!", Form::kBase64), reply);
  EXPECT_EQ(BytesInLine("[12:30] got nothing!", Form::kBase64), std::nullopt);
  EXPECT_EQ(BytesInLine("[12:30] got nothing!", Form::kHex), std::nullopt);
}

}  // namespace
}  // namespace replies
