#include "replies/reply_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "replies/encodings.h"
#include "tests/replies/samples.h"

namespace replies {
namespace {

std::string Framed(const std::string& bytes) {
  return static_cast<char>(bytes.size()) + bytes;
}

struct AllRead {
  std::vector<std::string> replies;
  std::vector<uint64_t> offsets;
  std::vector<std::string> errors;
  Form form = Form::kAuto;
};

// A source that gives its bytes one at a time, as a slow pipe may.
class Dripping : public ByteSource {
 public:
  explicit Dripping(std::string bytes) : bytes_(std::move(bytes)) {}
  size_t Read(char* to, size_t size) override {
    if (at_ == bytes_.size() || size == 0) return 0;
    *to = bytes_[at_++];
    return 1;
  }

 private:
  std::string bytes_;
  size_t at_ = 0;
};

AllRead ReadAll(ByteSource* source, Form form) {
  AllRead all;
  ReplyReader reader(source, form, [](const std::string& text, std::string* bytes, std::string*) {
    *bytes = "text:" + text;
    return true;
  });
  Reply reply;
  std::string error;
  for (int i = 0; i < 1000; ++i) {
    const Next next = reader.Read(&reply, &error);
    if (next == Next::kEnd) break;
    if (next == Next::kBad) {
      all.errors.push_back(error);
    } else {
      all.replies.push_back(reply.bytes);
      all.offsets.push_back(reply.offset);
    }
  }
  all.form = reader.form();
  return all;
}

AllRead ReadAll(const std::string& bytes, Form form = Form::kAuto) {
  MemorySource source(bytes);
  AllRead all = ReadAll(&source, form);
  Dripping dripping(bytes);
  const AllRead slowly = ReadAll(&dripping, form);
  EXPECT_EQ(all.replies, slowly.replies);
  EXPECT_EQ(all.errors, slowly.errors);
  return all;
}

TEST(Recognise, ARawReply) {
  const AllRead all = ReadAll(kReply);
  EXPECT_EQ(all.form, Form::kRaw);
  EXPECT_EQ(all.replies, Strings{kReply});
}

TEST(Recognise, AStreamOfReplies) {
  const AllRead all = ReadAll(Framed(kReply) + Framed(kReply) + Framed("\x08\x16"));
  EXPECT_EQ(all.form, Form::kDelimited);
  EXPECT_EQ(all.replies, (Strings{kReply, kReply, "\x08\x16"}));
  EXPECT_EQ(all.offsets, (std::vector<uint64_t>{0, 7, 14}));
}

TEST(Recognise, AStreamWithADamagedReplyBehindAGoodOne) {
  EXPECT_EQ(ReadAll(Framed(kReply) + Framed("\x0F\x0F")).form, Form::kDelimited);
}

TEST(Recognise, AReplyInHexOrBase64OverOneOrManyLines) {
  for (const std::string text : {"081412024142", "081412\n024142\n", "CBQSAkFC", "CBQS\r\nAkFC\r\n",
                                 "00000000  08 14 12 02 41 42  |....AB|\n00000006\n"}) {
    EXPECT_EQ(ReadAll(text).replies, Strings{kReply}) << text;
  }
}

TEST(Recognise, ALineForEachReplyAlsoInALog) {
  const std::string hex = kReplyHex;
  const std::string base64 = kReplyBase64;
  EXPECT_EQ(ReadAll(hex + "\n\n0816\n").replies, (Strings{kReply, "\x08\x16"}));
  EXPECT_EQ(ReadAll(base64 + "\n" + base64 + "\n").replies, (Strings{kReply, kReply}));
  // A run in a line of words has to be long enough to be no number.
  EXPECT_EQ(
      ReadAll("2024-06-17 09:30:01 INFO reply 42 bytes: " + hex + "\nnothing here\nWARN [" + hex + "] late\n")
          .replies,
      (Strings{kReply, kReply}));
}

// The first block of so long a line is no whole reply yet.
TEST(Recognise, OneLineOfDigitsMayBeLongerThanABlock) {
  // Id 20 and an Obj of 100,002 letters: 0x186A2 is A2 8D 06 as a varint.
  const std::string reply = std::string("\x08\x14\x12\xA2\x8D\x06") + std::string(100002, 'A');
  std::string hex = "081412a28d06";
  for (int i = 0; i < 100002; ++i)
    hex += "41";
  EXPECT_EQ(ReadAll(hex + "\n").replies, (Strings{reply}));
  // Three bytes are four digits: 08 14 12, A2 8D 06, and three letters A are "QUFB".
  std::string base64 = "CBQSoo0G";
  for (int i = 0; i < 100002 / 3; ++i)
    base64 += "QUFB";
  EXPECT_EQ(ReadAll(base64).replies, (Strings{reply}));
}

TEST(Recognise, LinesAreLookedAtOneByOneWhereThatIsAskedFor) {
  const AllRead all = ReadAll("0816\n1204\nwords\n" + std::string(kReplyBase64) + "\n", Form::kLines);
  EXPECT_EQ(all.replies, (Strings{"\x08\x16", "\x12\x04", kReply}));
  EXPECT_EQ(ReadAll("", Form::kLines).replies, Strings{});
}

// Looking for its end makes the buffer larger, which may move it.
TEST(Recognise, ALastLineNeedsNoEnd) {
  EXPECT_EQ(ReadAll("0816", Form::kLines).replies, (Strings{"\x08\x16"}));
  EXPECT_EQ(ReadAll("0816\n1204", Form::kLines).replies, (Strings{"\x08\x16", "\x12\x04"}));
  Dripping slow("0816\n1204");
  EXPECT_EQ(ReadAll(&slow, Form::kLines).replies, (Strings{"\x08\x16", "\x12\x04"}));
}

// Id 22 and an Obj of four letters. Its first two bytes alone are a reply of Id 22.
const std::string kLonger(
    "\x08\x16\x12\x04"
    "ABCD");

TEST(Recognise, AReplyOverLinesOfWhichTheFirstLooksLikeOneToo) {
  EXPECT_EQ(ReadAll("0816\n1204\n4142\n4344\n").replies, Strings{kLonger});
  EXPECT_EQ(ReadAll("08 16\n12 04 41 42\n43 44").replies, Strings{kLonger});
  // Lines that are replies of their own stay so.
  EXPECT_EQ(ReadAll("0816\n0817\n").replies, (Strings{"\x08\x16", "\x08\x17"}));
}

TEST(Recognise, AReplyOverLinesBehindTheSamePrefix) {
  for (const std::string prefix : {"> ", "2024-06-17 09:30:01.123 DEBUG [7] recv: "}) {
    EXPECT_EQ(ReadAll(prefix + "0816\n" + prefix + "1204\n\n" + prefix + "41424344\n").replies,
              Strings{kLonger});
    EXPECT_EQ(ReadAll(prefix + "CBYSBE\r\n" + prefix + "FCQ0Q=\r\n").replies, Strings{kLonger});
    EXPECT_EQ(ReadAll(prefix + "00000000  08 16 12 04  |....|\n" + prefix + "00000004  41 42 43 44  |ABCD|\n")
                  .replies,
              Strings{kLonger});
    EXPECT_EQ(ReadAll(prefix + "0816\n" + prefix + "120441424344\n", Form::kHex).replies, Strings{kLonger});
  }
}

TEST(Recognise, ALongReplyBehindPrefixesIsReadToItsEnd) {
  const std::string reply = "\x08\x14\x12\xC0\x9A\x0C" + std::string(200000, 'x');
  const std::string hex = EncodeHex(reply);
  std::string text;
  for (size_t i = 0; i < hex.size(); i += 64)
    text += "line> " + hex.substr(i, 64) + "\n";
  EXPECT_EQ(ReadAll(text).replies, Strings{reply});
}

TEST(Recognise, LineEndsMayBeEscaped) {
  EXPECT_EQ(ReadAll("{\"data\": \"CBYSBE\\nFCQ0Q=\\n\"}\n").replies, Strings{kLonger});
  EXPECT_EQ(ReadAll("got 0816\\n1204\\r\\n41424344 here\n").replies, Strings{kLonger});
}

TEST(Recognise, DumpsOfSeveralRepliesAreNotTakenForOne) {
  EXPECT_EQ(ReadAll("0816\n1204\n41424344\n0817\n").replies,
            (Strings{"\x08\x16", "\x12\x04", "ABCD", "\x08\x17"}));
  EXPECT_EQ(
      ReadAll("08161204\n41424344\n08171202\n4142\n").errors,
      Strings{
          "several replies one after the other over several lines; put each into a line or a file of its own"});
}

TEST(Recognise, AReplyThatGoesOnInTheNextLinesOfALogIsReported) {
  const AllRead all =
      ReadAll("10:00 begin\n10:01 got 0816120141\n10:01 got 1204\n10:01 got 41424344\n10:02 end\n");
  EXPECT_EQ(all.replies.size(), 1u);
  EXPECT_EQ(
      all.errors,
      Strings{"reply 1 goes on at offset 48: only its first line was read; put its lines into a file of "
              "their own"});
  // Digits below it that do not go on with it are not of interest.
  EXPECT_EQ(ReadAll("10:00 begin\n10:01 got 0816120141\n10:01 put 1fff5678\n10:02 end\n").errors, Strings{});
}

TEST(Recognise, TextForm) {
  EXPECT_EQ(ReadAll("# remark\nId: 20\n").replies, Strings{"text:# remark\nId: 20\n"});
  EXPECT_EQ(ReadAll("RepDataToken { Result: 0 } Id: 44").form, Form::kText);
  // Words are taken for text form as well, whose parser says what is wrong with them.
  EXPECT_EQ(ReadAll("hello, world").form, Form::kText);
}

TEST(Recognise, DigitsThatAreNoReplyAreStillDigits) {
  EXPECT_EQ(ReadAll("ffff00").replies, Strings{std::string("\xFF\xFF\x00", 3)});
}

TEST(Recognise, AnEmptySourceIsOneEmptyReply) {
  EXPECT_EQ(ReadAll("").replies, Strings{""});
  EXPECT_EQ(ReadAll("", Form::kDelimited).replies, Strings{});
}

TEST(Recognise, LongBytesThatAreNothingAreRefusedWithoutReadingThemAll) {
  const std::string bytes(1 << 20, '\xFF');
  MemorySource source(bytes);
  EXPECT_THROW(ReadAll(&source, Form::kAuto), InputError);
}

TEST(Recognise, ALongReplyIsRecognisedByItsBeginning) {
  // Id 20 and an Obj of 200,000 bytes, whose length is the varint c0 9a 0c.
  const std::string reply = "\x08\x14\x12\xC0\x9A\x0C" + std::string(200000, 'x');
  const AllRead all = ReadAll(reply);
  EXPECT_EQ(all.form, Form::kRaw);
  EXPECT_EQ(all.replies, Strings{reply});
  // In a stream its length is 200,006: c6 9a 0c.
  EXPECT_EQ(ReadAll("\xC6\x9A\x0C" + reply + Framed(kReply)).replies, (Strings{reply, kReply}));
}

// ---- damage ----

TEST(Delimited, EveryPrefixGivesTheWholeRepliesAndSaysWhereItEnds) {
  const std::string stream = Framed(kReply) + Framed(kReply);
  for (size_t size = 0; size <= stream.size(); ++size) {
    const AllRead all = ReadAll(stream.substr(0, size), Form::kDelimited);
    EXPECT_EQ(all.replies.size(), size / 7) << size;
    EXPECT_EQ(all.errors.size(), size % 7 == 0 ? 0u : 1u) << size;
  }
}

TEST(Delimited, AnAbsurdLengthEndsTheStreamAndTakesNoMemory) {
  const AllRead all = ReadAll(Framed(kReply) +
                                  "\xFF\xFF\xFF\xFF\x07"
                                  "abc",
                              Form::kDelimited);
  EXPECT_EQ(all.replies.size(), 1u);
  EXPECT_EQ(
      all.errors,
      Strings{"reply 2 at offset 7: its length is given as 2147483647, but the stream ends after 3 bytes"});
  EXPECT_EQ(
      ReadAll("\xFF\xFF\xFF\xFF\x08"
              "abc",
              Form::kDelimited)
          .errors,
      Strings{
          "reply 1 at offset 0: its length is given as 2415919103, which no reply can have; the stream is damaged here"});
  EXPECT_EQ(ReadAll(std::string(12, '\xFF'), Form::kDelimited).errors,
            Strings{"reply 1 at offset 0: its length is no varint; the stream is damaged here"});
}

TEST(Lines, ALineWithoutDigitsIsAnErrorOnlyIfDigitsWerePromised) {
  const std::string text = std::string(kReplyHex) + "\nzzz\n" + kReplyHex + "\n";
  EXPECT_EQ(ReadAll(text).errors, Strings{});
  const AllRead all = ReadAll(text, Form::kHex);
  EXPECT_EQ(all.replies.size(), 2u);
  EXPECT_EQ(all.errors, Strings{"reply 2 at offset 13: no hexadecimal digits in this line"});
}

TEST(Whole, BadHexIsSaidWithItsPlace) {
  EXPECT_EQ(ReadAll("08zz", Form::kHex).errors, Strings{"not hexadecimal: at offset 2 stands 0x7a"});
  EXPECT_EQ(ReadAll("081", Form::kHex).errors, Strings{"not hexadecimal: the last digit stands alone"});
}

}  // namespace
}  // namespace replies
