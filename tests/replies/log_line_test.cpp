#include "replies/log_line.h"

#include <gtest/gtest.h>

#include <string>

#include "replies/encodings.h"
#include "tests/replies/samples.h"

namespace replies {
namespace {

// Id 22, Obj "ABCDE": enough digits of base64 for a run among words.
const std::string kOther(
    "\x08\x16\x12\x05"
    "ABCDE");
const char kOtherHex[] = "081612054142434445";
const char kOtherBase64[] = "CBYSBUFCQ0RF";

Strings Replies(const std::string& line, Form form = Form::kLines) {
  return RepliesInLine(line, form).replies;
}

TEST(LogLine, HexMayBeSeparatedInManyWays) {
  for (const std::string line :
       {"081412024142", "08\v14\f12\t02\r41\n42", "08-14-12-02-41-42", "08:14:12:02:41:42",
        "08,14;12, 02; 41 42", "0x08 0X14 0x12 0X02 0x41 0X42", "\\x08\\x14\\x12\\X02\\x41\\x42"})
    EXPECT_EQ(Replies(line, Form::kHex), Strings{kReplyBytes}) << line;
}

TEST(LogLine, AskedForOneFormItsLongestRunCounts) {
  // Seven digits in a line of words are a number.
  EXPECT_EQ(Replies("order 1234567!", Form::kHex), Strings());
  EXPECT_EQ(Replies("order 12345678!", Form::kHex), Strings{"\x12\x34\x56\x78"});
  EXPECT_EQ(Replies("order 12345678, 1234567890", Form::kHex), Strings{"\x12\x34\x56\x78\x90"});
  EXPECT_EQ(Replies(kOtherBase64, Form::kBase64), Strings{kOther});
  EXPECT_EQ(Replies(std::string("[12:30] got ") + kOtherBase64 + "!", Form::kBase64), Strings{kOther});
  EXPECT_EQ(Replies("[12:30] got nothing!", Form::kBase64), Strings());
  EXPECT_EQ(Replies("[12:30] got nothing!", Form::kHex), Strings());
}

TEST(LogLine, AskedForOneFormTheOtherIsNotLookedAt) {
  const std::string line = std::string("in ") + kOtherBase64 + " out " + kReplyHex + " and " + kOtherBase64;
  EXPECT_EQ(Replies(line, Form::kBase64), (Strings{kOther, kOther}));
  EXPECT_EQ(Replies(line, Form::kHex), Strings{kReplyBytes});
}

TEST(LogLine, PaddingIsNoDigitInFrontOfBase64) {
  EXPECT_EQ(Replies("body=CBYSBUFCQ0RF"), Strings{kOther});
  EXPECT_EQ(Replies("id=7&body=CBYSBEFCQ0Q=&x=CBYSBUFCQ0RF"), (Strings{"\x08\x16\x12\x04"
                                                                       "ABCD",
                                                                       kOther}));
}

TEST(LogLine, EveryRunIsTried) {
  // A longer one that is none, before and behind.
  const std::string hash = "9e107d9d372bb6826bd81d3542a419d6";
  EXPECT_EQ(Replies("key " + hash + " got " + kReplyHex + " end"), Strings{kReplyBytes});
  EXPECT_EQ(Replies("got " + std::string(kReplyHex) + " key " + hash), Strings{kReplyBytes});
  EXPECT_EQ(Replies("ConnectionFactoryInterface got " + std::string(kOtherBase64)), Strings{kOther});
}

TEST(LogLine, HasAllItsRepliesInTheirOrder) {
  const std::string line = std::string("in ") + kOtherBase64 + " out " + kReplyHex + " and " + kOtherHex;
  EXPECT_EQ(Replies(line), (Strings{kOther, kReplyBytes, kOther}));
  EXPECT_EQ(RepliesInLine(line, Form::kLines).hex_column, line.size() - 18);
  EXPECT_EQ(Replies("in 081412024142 out 081612054142434445", Form::kHex), (Strings{kReplyBytes, kOther}));
  // Also where nothing but digits is in it.
  EXPECT_EQ(Replies("081412024142 0816"), (Strings{kReplyBytes, "\x08\x16"}));
  EXPECT_EQ(Replies("CBQSAkFC CBYSBUFCQ0RF"), (Strings{kReplyBytes, kOther}));
  // Words that end inside a reply, or inside a byte, are no replies of their own.
  EXPECT_EQ(Replies("0814120241 42081412024142"), Strings{kReplyBytes + kReplyBytes});
  EXPECT_EQ(Replies("CBQSAkFCC BQSAkFC"), Strings{kReplyBytes + kReplyBytes});
  EXPECT_EQ(Replies("CBYSBUFCQ0RF\\nCBYSBUFCQ0RF\\n"), (Strings{kOther, kOther}));
  EXPECT_EQ(Replies("{\"a\": \"CBYSBUFCQ0RF\\nCBYSBUFCQ0RF\"}"), (Strings{kOther, kOther}));
}

TEST(LogLine, ARunMayHoldAnyNumberOfReplies) {
  std::string line = "{\"all\": \"";
  for (int i = 0; i < 100; ++i)
    line += std::string(i == 0 ? "" : "\\n") + kOtherBase64;
  const LineContent content = RepliesInLine(line + "\"}", Form::kLines);
  EXPECT_EQ(content.replies, Strings(100, kOther));
  EXPECT_FALSE(content.lookalike);
}

// Longer than the first looks at whether it is one.
TEST(LogLine, ALongReplyIsWrappedWithEscapedLineEnds) {
  // Id 22 and an Obj of 30,000 letters, 0xB0 0xEA 0x01 as a varint.
  const std::string reply = "\x08\x16\x12\xB0\xEA\x01" + std::string(30000, 'x');
  for (const std::string& digits : {EncodeHex(reply), EncodeBase64(reply)}) {
    std::string line = "got ";
    for (size_t at = 0; at < digits.size(); at += 76)
      line += digits.substr(at, 76) + "\\n";
    EXPECT_EQ(Replies(line + " and " + kOtherHex), (Strings{reply, kOther}));
    EXPECT_TRUE(RepliesInLine(line.substr(0, 20000), Form::kLines).lookalike);
  }
}

// Its first line is a reply by itself: an Id and an Obj. The payload of 200 bytes is behind it.
TEST(LogLine, ALongReplyIsOneHoweverItsFirstLineLooks) {
  const std::string payload = "\xA2\x01\xC8\x01" + std::string(200, 'x');
  EXPECT_EQ(Replies("got " + EncodeHex(kReplyBytes) + "\\n" + EncodeHex(payload) + " end"),
            Strings{kReplyBytes + payload});
}

// Its second line is one by itself: a payload of seven bytes, of which the last six are a reply.
TEST(LogLine, ALongReplyIsOneHoweverItsOtherLinesLook) {
  const std::string head = "\x08\x14\xA2\x01\x07x";
  for (const std::string& digits : {EncodeHex(head) + "\\n" + EncodeHex(kReplyBytes),
                                    EncodeBase64(head) + "\\n" + EncodeBase64(kReplyBytes)}) {
    EXPECT_EQ(Replies("got " + digits + " end"), Strings{head + kReplyBytes}) << digits;
  }
}

TEST(LogLine, Base64MayBeJoinedToAName) {
  for (const std::string line :
       {"GET /reply/CBYSBUFCQ0RF?x=1", "GET reply/CBYSBUFCQ0RF", "a/b/c/d/CBYSBUFCQ0RF/e",
        "reply-CBYSBUFCQ0RF", "reply_CBYSBUFCQ0RF", "text:\\nCBYSBUFCQ0RF"}) {
    const LineContent content = RepliesInLine(line, Form::kLines);
    EXPECT_EQ(content.replies, Strings{kOther}) << line;
    EXPECT_FALSE(content.lookalike) << line;
  }
  // Behind more parts than are decoded to the end.
  std::string deep;
  for (int i = 0; i < 100; ++i)
    deep += "part/";
  EXPECT_EQ(Replies("GET " + deep + kOtherBase64), Strings{kOther});
}

// Digits of its own may look like joints: 3f and 3e are '/' and '+'.
TEST(LogLine, Base64WithJointsInsideIsOneReply) {
  const std::string reply = std::string("\x08\x16\x12\x06") + std::string(6, '\xFF');
  EXPECT_EQ(EncodeBase64(reply), "CBYSBv///////w==");
  EXPECT_EQ(Replies("got CBYSBv///////w== end"), Strings{reply});
  EXPECT_EQ(Replies("got reply/CBYSBv///////w"), Strings{reply});
}

TEST(LogLine, WhatIsCutOffIsALookalike) {
  // Id 22 and an Obj of nine letters, of which some are missing.
  for (const std::string line :
       {"got 08141202414", "got 0814120241", "got 0816120541424344", "got CBYSCUFCQ0RFR end",
        "got CBYSCUFCQ0RFRgc end", "x/CBYSCUFCQ0RF", "ok 081412024142 cut 0814120241",
        "ok CBYSBUFCQ0RF cut CBYSCUFCQ0RF", "got 0816B20122FF01"}) {
    EXPECT_TRUE(RepliesInLine(line, Form::kLines).lookalike) << line;
  }
  EXPECT_EQ(Replies("ok 081412024142 cut 0814120241"), Strings{kReplyBytes});
}

TEST(LogLine, WordsAndNumbersAreNoLookalikes) {
  for (const std::string line :
       {"2024-06-17 08:14:12.024 INFO started", "on 08122024 and 08142024", "CONFIGURATION COMPLETED",
        "key 9e107d9d372bb6826bd81d3542a419d6", "phone 0816203456", "CANCEL_ALL_REQUESTS done", ""}) {
    const LineContent content = RepliesInLine(line, Form::kLines);
    EXPECT_FALSE(content.lookalike) << line;
    EXPECT_EQ(content.replies, Strings()) << line;
  }
}

TEST(LogLine, ALineOfDigitsAloneIsADamagedReply) {
  const LineContent content = RepliesInLine("0814120241", Form::kLines);
  EXPECT_EQ(content.replies, Strings{kReplyBytes.substr(0, 5)});
  EXPECT_FALSE(content.lookalike);
  // An odd digit cannot be read.
  EXPECT_EQ(Replies("08141202414"), Strings());
  EXPECT_TRUE(RepliesInLine("08141202414", Form::kLines).lookalike);
}

TEST(LogLine, MoreBeginningsThanAreTriedAreALookalike) {
  std::string line = "got ";
  for (int i = 0; i < 100; ++i)
    line += "CBYSBEFC/";
  const LineContent content = RepliesInLine(line, Form::kLines);
  EXPECT_EQ(content.replies, Strings());
  EXPECT_TRUE(content.lookalike);
  // Fifteen that are none, and the reply is the sixteenth; then it is one too many.
  const auto behind = [](size_t count) {
    std::string beginnings = "got ";
    for (size_t i = 0; i < count; ++i)
      beginnings += "CBYSBEFC/";
    return RepliesInLine(beginnings + kOtherBase64, Form::kLines);
  };
  EXPECT_EQ(behind(15).replies, Strings{kOther});
  EXPECT_EQ(behind(16).replies, Strings());
  EXPECT_TRUE(behind(16).lookalike);
}

}  // namespace
}  // namespace replies
