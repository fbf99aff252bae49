#include "replies/reply_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "replies/encodings.h"
#include "tests/reliability/malloc.h"
#include "tests/replies/samples.h"
#include "tests/support/processor_time.h"

namespace replies {
namespace {

std::string WithLength(const std::string& bytes) {
  return static_cast<char>(bytes.size()) + bytes;
}

struct AllRead {
  std::vector<std::string> replies;
  std::vector<uint64_t> offsets;
  std::vector<uint64_t> numbers;
  std::vector<std::string> errors;
  Lookalikes lookalikes;
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
      all.numbers.push_back(reply.number);
    }
  }
  all.form = reader.form();
  all.lookalikes = reader.lookalikes();
  return all;
}

AllRead ReadAll(const std::string& bytes, Form form = Form::kAuto) {
  MemorySource source(bytes);
  AllRead all = ReadAll(&source, form);
  Dripping dripping(bytes);
  const AllRead slowly = ReadAll(&dripping, form);
  EXPECT_EQ(all.replies, slowly.replies);
  EXPECT_EQ(all.numbers, slowly.numbers);
  EXPECT_EQ(all.errors, slowly.errors);
  EXPECT_EQ(all.lookalikes.lines, slowly.lookalikes.lines);
  return all;
}

std::string Times(size_t count, const std::string& piece) {
  std::string all;
  for (size_t i = 0; i < count; ++i)
    all += piece;
  return all;
}

TEST(Reader, ARawReply) {
  const AllRead all = ReadAll(kReplyBytes);
  EXPECT_EQ(all.form, Form::kRaw);
  EXPECT_EQ(all.replies, Strings{kReplyBytes});
}

TEST(Reader, AStreamOfReplies) {
  const AllRead all = ReadAll(WithLength(kReplyBytes) + WithLength(kReplyBytes) + WithLength("\x08\x16"));
  EXPECT_EQ(all.form, Form::kDelimited);
  EXPECT_EQ(all.replies, (Strings{kReplyBytes, kReplyBytes, "\x08\x16"}));
  EXPECT_EQ(all.offsets, (std::vector<uint64_t>{0, 7, 14}));
}

TEST(Reader, AStreamWithADamagedReplyBehindAGoodOne) {
  EXPECT_EQ(ReadAll(WithLength(kReplyBytes) + WithLength("\x0F\x0F")).form, Form::kDelimited);
}

TEST(Reader, AReplyInHexOrBase64OverOneOrManyLines) {
  for (const std::string text : {"081412024142", "081412\n024142\n", "CBQSAkFC", "CBQS\r\nAkFC\r\n",
                                 "00000000  08 14 12 02 41 42  |....AB|\n00000006\n"}) {
    EXPECT_EQ(ReadAll(text).replies, Strings{kReplyBytes}) << text;
  }
}

TEST(Reader, ALineForEachReplyAlsoInALog) {
  const std::string hex = kReplyHex;
  const std::string base64 = kReplyBase64;
  EXPECT_EQ(ReadAll(hex + "\n\n0816\n").replies, (Strings{kReplyBytes, "\x08\x16"}));
  EXPECT_EQ(ReadAll(base64 + "\n" + base64 + "\n").replies, (Strings{kReplyBytes, kReplyBytes}));
  // A run in a line of words has to be long enough to be no number.
  EXPECT_EQ(
      ReadAll("2024-06-17 09:30:01 INFO reply 42 bytes: " + hex + "\nnothing here\nWARN [" + hex + "] late\n")
          .replies,
      (Strings{kReplyBytes, kReplyBytes}));
}

// The first block of so long a line is no whole reply yet.
TEST(Reader, OneLineOfDigitsMayBeLongerThanABlock) {
  // Id 20 and an Obj of 100,002 letters: 0x186A2 is A2 8D 06 as a varint.
  const std::string reply = std::string("\x08\x14\x12\xA2\x8D\x06") + std::string(100002, 'A');
  std::string hex = "081412a28d06";
  for (int i = 0; i < 100002; ++i)
    hex += "41";
  EXPECT_EQ(ReadAll(hex + "\n").replies, (Strings{reply}));
  // The same with something between, so that the block ends between the two digits of a byte: it has 65536
  // characters, 21845 times three and one more.
  for (const char between : {' ', ':', '-'}) {
    std::string separated;
    for (size_t i = 0; i < hex.size(); i += 2)
      separated.append(hex, i, 2).append(1, between);
    EXPECT_EQ(ReadAll(separated).replies, (Strings{reply})) << between;
  }
  // Three bytes are four digits: 08 14 12, A2 8D 06, and three letters A are "QUFB".
  std::string base64 = "CBQSoo0G";
  for (int i = 0; i < 100002 / 3; ++i)
    base64 += "QUFB";
  EXPECT_EQ(ReadAll(base64).replies, (Strings{reply}));
}

TEST(Reader, LinesAreLookedAtOneByOneWhereThatIsAskedFor) {
  const AllRead all = ReadAll("0816\n1204\nwords\n" + std::string(kReplyBase64) + "\n", Form::kLines);
  EXPECT_EQ(all.replies, (Strings{"\x08\x16", "\x12\x04", kReplyBytes}));
  EXPECT_EQ(ReadAll("", Form::kLines).replies, Strings{});
}

// Looking for its end makes the buffer larger, which may move it.
TEST(Reader, ALastLineNeedsNoEnd) {
  EXPECT_EQ(ReadAll("0816", Form::kLines).replies, (Strings{"\x08\x16"}));
  EXPECT_EQ(ReadAll("0816\n1204", Form::kLines).replies, (Strings{"\x08\x16", "\x12\x04"}));
  Dripping slow("0816\n1204");
  EXPECT_EQ(ReadAll(&slow, Form::kLines).replies, (Strings{"\x08\x16", "\x12\x04"}));
}

// Id 22 and an Obj of four letters. Its first two bytes alone are a reply of Id 22.
const std::string kLonger(
    "\x08\x16\x12\x04"
    "ABCD");

TEST(Reader, AReplyOverLinesOfWhichTheFirstLooksLikeOneToo) {
  EXPECT_EQ(ReadAll("0816\n1204\n4142\n4344\n").replies, Strings{kLonger});
  EXPECT_EQ(ReadAll("08 16\n12 04 41 42\n43 44").replies, Strings{kLonger});
  // Lines that are replies of their own stay so.
  EXPECT_EQ(ReadAll("0816\n0817\n").replies, (Strings{"\x08\x16", "\x08\x17"}));
}

TEST(Reader, AReplyOverLinesBehindTheSamePrefix) {
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

TEST(Reader, ALongReplyBehindPrefixesIsReadToItsEnd) {
  const std::string reply = "\x08\x14\x12\xC0\x9A\x0C" + std::string(200000, 'x');
  const std::string hex = EncodeHex(reply);
  std::string text;
  for (size_t i = 0; i < hex.size(); i += 64)
    text += "line> " + hex.substr(i, 64) + "\n";
  EXPECT_EQ(ReadAll(text).replies, Strings{reply});
}

TEST(Reader, LineEndsMayBeEscaped) {
  EXPECT_EQ(ReadAll("{\"data\": \"CBYSBE\\nFCQ0Q=\\n\"}\n").replies, Strings{kLonger});
  EXPECT_EQ(ReadAll("got 0816\\n1204\\r\\n41424344 here\n").replies, Strings{kLonger});
}

TEST(Reader, DumpsOfSeveralRepliesAreNotTakenForOne) {
  EXPECT_EQ(ReadAll("0816\n1204\n41424344\n0817\n").replies,
            (Strings{"\x08\x16", "\x12\x04", "ABCD", "\x08\x17"}));
  EXPECT_EQ(
      ReadAll("08161204\n41424344\n08171202\n4142\n").errors,
      Strings{
          "several replies one after the other over several lines; put each into a line or a file of its own"});
}

TEST(Reader, AReplyThatGoesOnInTheNextLinesOfALogIsReported) {
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

TEST(Reader, EachReplyThatGoesOnIsReported) {
  const std::string begun = "10:01 got 0816120141\n";
  const std::string rest = "10:01 got 1204\n10:01 got 41424344\n";
  const auto goes_on = [](int reply, int offset) {
    return "reply " + std::to_string(reply) + " goes on at offset " + std::to_string(offset) +
           ": only its first line was read; put its lines into a file of their own";
  };
  // Lines of 21, 19 and 34 bytes. What is below the first reply is none of it.
  EXPECT_EQ(ReadAll(begun + "10:01 put 1fff5678\n" + begun + rest + begun + rest).errors,
            (Strings{goes_on(2, 76), goes_on(3, 131)}));
}

// It is reported once, and a line that is none of it ends it.
TEST(Reader, AReplyGoesOnInTheVeryNextLines) {
  const std::string begun = "10:00 begin\n10:01 got 0816120141\n";
  const auto errors = [&](const std::string& lines) { return ReadAll(begun + lines).errors.size(); };
  const std::string one = "10:01 got 120142\n";
  EXPECT_EQ(errors(one), 1U);
  EXPECT_EQ(errors(one + one), 1U);
  EXPECT_EQ(errors(one + one + one + "10:02 end\n"), 1U);
  // Words, bytes that are nothing, a line that is too short for any, and then what would have been more of
  // it.
  EXPECT_EQ(errors("10:01 got nothing\n" + one), 0U);
  EXPECT_EQ(errors("10:01 got 1fff5678\n" + one), 0U);
  EXPECT_EQ(errors("10:01\n" + one), 0U);
  EXPECT_EQ(errors("10:01 got \n" + one), 0U);
  // Behind its end digits anywhere else are none of it either.
  for (const char* digits : {"120142\n", "x120142\n", "10120142\n"}) {
    EXPECT_EQ(errors(one + digits), 1U) << digits;
    EXPECT_EQ(errors(std::string("10:01 got nothing\n") + digits), 0U) << digits;
  }
}

// Whatever was lost before it.
TEST(Reader, NothingIsLostWithAReply) {
  for (const Form form : {Form::kRaw, Form::kHex, Form::kDelimited}) {
    const std::string bytes = form == Form::kRaw   ? kReplyBytes
                              : form == Form::kHex ? std::string(kReplyHex)
                                                   : std::string(1, '\6') + kReplyBytes;
    MemorySource source(bytes);
    ReplyReader reader(&source, form, nullptr);
    Reply reply;
    reply.lost = 7;
    std::string error;
    ASSERT_EQ(reader.Read(&reply, &error), Next::kReply) << error;
    EXPECT_EQ(reply.lost, 0U);
  }
}

TEST(Reader, TextForm) {
  EXPECT_EQ(ReadAll("# remark\nId: 20\n").replies, Strings{"text:# remark\nId: 20\n"});
  EXPECT_EQ(ReadAll("RepDataToken { Result: 0 } Id: 44").form, Form::kText);
  // Words are taken for text form as well, whose parser says what is wrong with them.
  EXPECT_EQ(ReadAll("hello, world").form, Form::kText);
}

TEST(Reader, DigitsThatAreNoReplyAreStillDigits) {
  EXPECT_EQ(ReadAll("ffff00").replies, Strings{std::string("\xFF\xFF\x00", 3)});
}

TEST(Reader, AnEmptySourceIsOneEmptyReply) {
  EXPECT_EQ(ReadAll("").replies, Strings{""});
  EXPECT_EQ(ReadAll("", Form::kDelimited).replies, Strings{});
}

// Its parser says why, however long it is.
TEST(Reader, TextThatIsNothingIsSaidToBeOfNoForm) {
  for (const size_t size : {size_t{100}, size_t{200000}}) {
    const std::string text = Times(size / 10, "and words ");
    MemorySource source(text);
    ReplyReader reader(&source, Form::kAuto, [](const std::string&, std::string*, std::string* error) {
      *error = "no field";
      return false;
    });
    Reply reply;
    std::string error;
    EXPECT_EQ(reader.Read(&reply, &error), Next::kBad);
    EXPECT_EQ(error, "not recognised as a reply in any form (as text: no field); --from says which it is");
    EXPECT_EQ(reader.Read(&reply, &error), Next::kEnd);
  }
  // Bytes are a reply that its decoder refuses, where all of them are there.
  const std::string bytes(1000, '\xFF');
  EXPECT_EQ(ReadAll(bytes).replies, Strings{bytes});
}

TEST(Reader, LongBytesThatAreNothingAreRefusedWithoutReadingThemAll) {
  const std::string bytes(1 << 20, '\xFF');
  MemorySource source(bytes);
  try {
    ReadAll(&source, Form::kAuto);
    ADD_FAILURE() << "no error";
  } catch (const InputError& error) {
    EXPECT_STREQ(error.what(), "neither a reply nor a stream of replies; if it is one, --from says which");
  }
}

TEST(Reader, ALongReplyIsRecognisedByItsBeginning) {
  // Id 20 and an Obj of 200,000 bytes, whose length is the varint c0 9a 0c.
  const std::string reply = "\x08\x14\x12\xC0\x9A\x0C" + std::string(200000, 'x');
  const AllRead all = ReadAll(reply);
  EXPECT_EQ(all.form, Form::kRaw);
  EXPECT_EQ(all.replies, Strings{reply});
  // In a stream its length is 200,006: c6 9a 0c.
  EXPECT_EQ(ReadAll("\xC6\x9A\x0C" + reply + WithLength(kReplyBytes)).replies, (Strings{reply, kReplyBytes}));
}

// ---- damage ----

TEST(Delimited, EveryPrefixGivesTheWholeRepliesAndSaysWhereItEnds) {
  const std::string stream = WithLength(kReplyBytes) + WithLength(kReplyBytes);
  for (size_t size = 0; size <= stream.size(); ++size) {
    const AllRead all = ReadAll(stream.substr(0, size), Form::kDelimited);
    EXPECT_EQ(all.replies.size(), size / 7) << size;
    EXPECT_EQ(all.errors.size(), size % 7 == 0 ? 0u : 1u) << size;
  }
}

TEST(Delimited, AnAbsurdLengthEndsTheStreamAndTakesNoMemory) {
  const AllRead all = ReadAll(WithLength(kReplyBytes) +
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
          "reply 1 at offset 0: its length is given as 2415919103, which no reply can have; the stream is damaged here; "
          "8 bytes skipped, up to the end"});
  EXPECT_EQ(
      ReadAll(std::string(12, '\xFF'), Form::kDelimited).errors,
      Strings{"reply 1 at offset 0: its length is no varint; the stream is damaged here; 12 bytes skipped, "
              "up to the end"});
}

TEST(Lines, ALineWithoutDigitsIsAnErrorOnlyIfDigitsWerePromised) {
  const std::string text = std::string(kReplyHex) + "\nzzz\n" + kReplyHex + "\n";
  EXPECT_EQ(ReadAll(text).errors, Strings{});
  const AllRead all = ReadAll(text, Form::kHex);
  EXPECT_EQ(all.replies.size(), 2u);
  EXPECT_EQ(all.errors, Strings{"reply 2 at offset 13: no hexadecimal digits in this line"});
  const std::string base64 = std::string(kReplyBase64) + "\n!\n" + kReplyBase64 + "\n";
  EXPECT_EQ(ReadAll(base64, Form::kBase64).errors,
            Strings{"reply 2 at offset 9: no base64 digits in this line"});
}

TEST(Lines, OfBlanksAreNone) {
  const std::string hex = kReplyHex;
  const AllRead all = ReadAll("\n" + hex + "\n \n\r\n" + hex + "\n\n", Form::kHex);
  EXPECT_EQ(all.replies, (Strings{kReplyBytes, kReplyBytes}));
  EXPECT_EQ(all.errors, Strings{});
  EXPECT_EQ(all.numbers, (std::vector<uint64_t>{1, 2}));
}

TEST(Lines, ThatAreNoRepliesTellWhereTheyBegin) {
  const std::string text = std::string(kReplyHex) + "\nzzz\n";
  MemorySource source(text);
  ReplyReader reader(&source, Form::kHex, nullptr);
  Reply reply;
  std::string error;
  EXPECT_EQ(reader.Read(&reply, &error), Next::kReply);
  EXPECT_EQ(reply.offset, 0U);
  EXPECT_EQ(reader.Read(&reply, &error), Next::kBad);
  EXPECT_EQ(reply.offset, 13U);
  EXPECT_EQ(reply.number, 2U);
}

// A source that gives no more than 100,000 bytes to be held at once, as a packed one does from 256 MB on.
TEST(Lines, AreNoLongerThanASourceAllows) {
  class Bounded : public MemorySource {
   public:
    using MemorySource::MemorySource;
    size_t MostAtOnce() const override { return 100000; }
  };
  const auto read = [](const std::string& text) {
    Bounded source(text);
    return ReadAll(&source, Form::kLines).replies;
  };
  EXPECT_EQ(read(std::string(50000, ' ') + kReplyHex), Strings{kReplyBytes});
  try {
    read(std::string(5000000, ' ') + kReplyHex);
    ADD_FAILURE() << "no error";
  } catch (const InputError& error) {
    EXPECT_STREQ(error.what(), "a line is too long to hold a reply");
  }
}

// One line of digits is one reply, even if that has two Ids; the last one counts.
TEST(Whole, OneLineIsOneReply) {
  const std::string hex = kReplyHex;
  EXPECT_EQ(ReadAll(hex + hex, Form::kHex).replies, Strings{kReplyBytes + kReplyBytes});
  EXPECT_EQ(ReadAll(hex + hex + "\n", Form::kHex).replies, Strings{kReplyBytes + kReplyBytes});
}

// Whatever was read into the same place before.
TEST(Whole, BeginsAtTheBeginning) {
  MemorySource source("Id: 20");
  ReplyReader reader(&source, Form::kText,
                     [](const std::string&, std::string*, std::string*) { return true; });
  Reply reply;
  reply.offset = 7;
  reply.number = 8;
  std::string error;
  EXPECT_EQ(reader.Read(&reply, &error), Next::kReply);
  EXPECT_EQ(reply.offset, 0U);
  EXPECT_EQ(reply.number, 1U);
}

TEST(Whole, BadHexIsSaidWithItsPlace) {
  EXPECT_EQ(ReadAll("08zz", Form::kHex).errors, Strings{"not hexadecimal: at offset 2 stands 0x7a"});
  EXPECT_EQ(ReadAll("08zy", Form::kHex).errors, Strings{"not hexadecimal: at offset 2 stands 0x7a"});
  EXPECT_EQ(ReadAll("081", Form::kHex).errors, Strings{"not hexadecimal: the last digit stands alone"});
  EXPECT_EQ(ReadAll("CB!S", Form::kBase64).errors, Strings{"not base64: at offset 2 stands 0x21"});
}

TEST(Lines, RepliesAreNumberedInTheirSource) {
  const std::string hex = kReplyHex;
  const AllRead log = ReadAll("10:00 got " + hex + " and " + hex + "\nnothing\n10:01 got " + hex + "\n");
  EXPECT_EQ(log.replies, (Strings{kReplyBytes, kReplyBytes, kReplyBytes}));
  EXPECT_EQ(log.numbers, (std::vector<uint64_t>{1, 2, 3}));
  // Of their lines: the second begins behind 10 + 12 + 5 + 12 letters and its end, the third behind "nothing"
  // too.
  EXPECT_EQ(log.offsets, (std::vector<uint64_t>{0, 0, 48}));
  EXPECT_EQ(ReadAll(hex + "\n" + hex + "\n", Form::kHex).numbers, (std::vector<uint64_t>{1, 2}));
  EXPECT_EQ(ReadAll(WithLength(kReplyBytes) + WithLength(kReplyBytes)).numbers,
            (std::vector<uint64_t>{1, 2}));
  EXPECT_EQ(ReadAll(kReplyBytes).numbers, std::vector<uint64_t>{1});
  // One that is lost has a number as well.
  EXPECT_EQ(ReadAll(hex + "\nzzz\n" + hex + "\n", Form::kHex).numbers, (std::vector<uint64_t>{1, 3}));
}

TEST(Lines, HaveTheirRepliesInOrder) {
  const std::string second =
      "\x08\x16\x12\x01"
      "A";
  const std::string third =
      "\x08\x17\x12\x02"
      "AB";
  const AllRead hex = ReadAll("10:00 got 081412024142 and 0816120141 and 081712024142\n");
  EXPECT_EQ(hex.replies, (Strings{kReplyBytes, second, third}));
  EXPECT_EQ(hex.numbers, (std::vector<uint64_t>{1, 2, 3}));
  // CBcSAkFC and CBQSAkFC are the third and the first in base64, here with a byte too many each.
  const AllRead both = ReadAll("10:00 got CBcSAkFCQQ== and 081412024142 and CBQSAkFCQQ==\n", Form::kLines);
  EXPECT_EQ(both.replies, Strings{kReplyBytes});
}

TEST(Chosen, RepliesAreGivenAndTheOthersCounted) {
  const auto read = [](const std::string& bytes, Form form) {
    MemorySource source(bytes);
    ReplyReader reader(&source, form, nullptr);
    std::vector<uint64_t> asked;
    reader.OnlyIf([&asked](const ReplyView& reply) {
      asked.push_back(reply.number);
      return reply.bytes.size() != kReplyBytes.size();
    });
    Reply reply;
    std::string error;
    std::vector<uint64_t> places;
    while (reader.Read(&reply, &error) == Next::kReply) {
      EXPECT_EQ(reply.bytes, "\x08\x16");
      places.insert(places.end(), {reply.number, reply.offset});
    }
    EXPECT_EQ(asked, (std::vector<uint64_t>{1, 2, 3}));
    return places;
  };
  EXPECT_EQ(
      read(WithLength(kReplyBytes) + WithLength("\x08\x16") + WithLength(kReplyBytes), Form::kDelimited),
      (std::vector<uint64_t>{2, 7}));
  EXPECT_EQ(read(std::string(kReplyHex) + "\n0816\n" + kReplyHex + "\n", Form::kHex),
            (std::vector<uint64_t>{2, 13}));
}

TEST(Lines, LookalikesAreCounted) {
  const AllRead log =
      ReadAll("10:00 begin\n10:01 got 081412024142\n10:02 got 0814120241\n\n10:03 got 08141202414\n");
  EXPECT_EQ(log.replies, Strings{kReplyBytes});
  EXPECT_EQ(log.errors, Strings());
  EXPECT_EQ(log.lookalikes.lines, 2u);
  EXPECT_EQ(log.lookalikes.first_line, 3u);
  const AllRead good = ReadAll("10:00 begin\n10:01 got 081412024142\n");
  EXPECT_EQ(good.lookalikes.lines, 0u);
  EXPECT_EQ(good.lookalikes.first_line, 0u);
}

TEST(Lines, OfAFormThatWasAskedForSayWhatIsCutOffOnce) {
  const AllRead all =
      ReadAll("got 081412024142\ngot 08141202414\ngot 081412024142 and 08141202414\n", Form::kHex);
  EXPECT_EQ(all.replies, (Strings{kReplyBytes, kReplyBytes}));
  EXPECT_EQ(all.errors, Strings{"reply 2 at offset 17: no hexadecimal digits in this line"});
  EXPECT_EQ(all.lookalikes.lines, 1u);
  EXPECT_EQ(all.lookalikes.first_line, 3u);
}

// ---- sources that pause ----

// Gives its pieces one by one and pauses behind each of them.
class Pausing : public ByteSource {
 public:
  explicit Pausing(Strings pieces) : pieces_(std::move(pieces)) {}
  size_t Read(char* to, size_t size) override {
    if (next_ == pieces_.size()) return 0;
    const std::string& piece = pieces_[next_++];
    EXPECT_LE(piece.size(), size);
    return piece.copy(to, size);
  }
  bool HasPaused() override { return true; }
  size_t given() const { return next_; }

 private:
  Strings pieces_;
  size_t next_ = 0;
};

// How many pieces were asked for until the first reply was there.
size_t PiecesForAReply(const Strings& pieces) {
  Pausing source(pieces);
  ReplyReader reader(&source, Form::kAuto, nullptr);
  Reply reply;
  std::string error;
  EXPECT_EQ(reader.Read(&reply, &error), Next::kReply) << error;
  EXPECT_EQ(reply.bytes, kReplyBytes);
  return source.given();
}

TEST(Pauses, WhatHasComeWholeIsGiven) {
  const std::string framed = WithLength(kReplyBytes);
  const std::string line = "got " + std::string(kReplyHex) + "\n";
  EXPECT_EQ(PiecesForAReply({framed, framed}), 1u);
  EXPECT_EQ(PiecesForAReply({framed.substr(0, 3), framed.substr(3), framed}), 2u);
  EXPECT_EQ(PiecesForAReply({framed + framed.substr(0, 3), framed.substr(3)}), 1u);
  EXPECT_EQ(PiecesForAReply({line, line}), 1u);
  EXPECT_EQ(PiecesForAReply({"begin\n", line, line}), 2u);
  EXPECT_EQ(PiecesForAReply({line.substr(0, 6), line.substr(6), line}), 2u);
  EXPECT_EQ(PiecesForAReply({line + "got 08", line}), 1u);
  EXPECT_EQ(PiecesForAReply({std::string(kReplyHex) + "\n", line}), 1u);
}

// What is wrong with it is for its decoder, unless what comes next tells that the length was wrong.
TEST(Pauses, AFrameThatIsNoReplyIsGivenAsItComes) {
  const std::string bad = WithLength("\x0F\x0F");
  const std::string next = WithLength(kReplyBytes);
  for (size_t behind = 0; behind < next.size(); ++behind) {
    Pausing source({bad + next.substr(0, behind), next.substr(behind)});
    ReplyReader reader(&source, Form::kDelimited, nullptr);
    Reply reply;
    std::string error;
    EXPECT_EQ(reader.Read(&reply, &error), Next::kReply) << behind;
    EXPECT_EQ(reply.bytes, "\x0F\x0F");
    EXPECT_EQ(source.given(), 1U) << behind;
    EXPECT_EQ(reader.Read(&reply, &error), Next::kReply) << behind;
    EXPECT_EQ(reply.bytes, kReplyBytes);
  }
}

TEST(Pauses, OneReplyOverAllOfTheSourceIsWaitedFor) {
  EXPECT_EQ(PiecesForAReply({kReplyBytes.substr(0, 3), kReplyBytes.substr(3)}), 2u);
  EXPECT_EQ(PiecesForAReply({"> 0814\n", "> 1202\n", "> 4142\n"}), 3u);
  EXPECT_EQ(PiecesForAReply({kReplyHex}), 1u);
}

TEST(Pauses, ChangeNothingInWhatComesAfter) {
  Pausing source({"begin\n", "got 081412024142\ngot 08", "1412024142 end\n", "got 0814120241\n"});
  const AllRead all = ReadAll(&source, Form::kAuto);
  EXPECT_EQ(all.replies, (Strings{kReplyBytes, kReplyBytes}));
  EXPECT_EQ(all.lookalikes.lines, 1u);
  EXPECT_EQ(all.lookalikes.first_line, 4u);
}

// ---- cost ----

void ReadLog(const std::string& bytes) {
  MemorySource source(bytes);
  ReplyReader reader(&source, Form::kAuto,
                     [](const std::string&, std::string*, std::string*) { return false; });
  Reply reply;
  std::string error;
  while (reader.Read(&reply, &error) != Next::kEnd) {
  }
}

TEST(Cost, OfALogIsLinear) {
  // Each line goes on with the reply above it, which is never whole: an object of two letters, and the
  // beginning of the next one.
  const std::string joined = "10:00 begin\n10:01 got 0816120141\n10:01 got 1202\n";
  const std::string joins = "10:01 got 41421202\n";
  // Each part begins like a reply.
  const std::string parts = "CBYSBEFC/";
  // One reply in front of the line makes it a log.
  const std::string log = "got 081412024142\n";
  const auto expect_linear = [](const std::string& head, const std::string& piece, size_t bytes) {
    const size_t few = bytes / piece.size() / (reliability::kBrief ? 4 : 1);
    const std::string once = head + Times(few, piece);
    const std::string eightfold = head + Times(8 * few, piece);
    EXPECT_TRUE(processor_time::IsLinear([&] { ReadLog(once); }, [&] { ReadLog(eightfold); })) << piece;
  };
  expect_linear(joined, joins, 80000);
  expect_linear(log + "got ", parts, 80000);
  expect_linear(log + "got ", "CBYSBUFCQ0RF\\n", 80000);
  expect_linear(log, "got 0814120241 ", 80000);
  expect_linear(log, "got 081412024142\n", 80000);
}

}  // namespace
}  // namespace replies
