// What tesview makes of bytes before any reply is decoded: forms of input, text, suggestions.
#include "replies/reply_reader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "replies/encodings.h"
#include "replies/suggest.h"
#include "replies/text.h"
#include "replies/wire.h"
#include "tests/support/replies.h"
#include "tesview/show/numbers.h"

namespace tesview {
namespace {

// A reply of two fields: Id 20, Obj "AB".
const std::string kReply(
    "\x08\x14\x12\x02"
    "AB");
const char kReplyHex[] = "081412024142";
const char kReplyBase64[] = "CBQSAkFC";

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

using Strings = std::vector<std::string>;

// ---- the wire ----

TEST(Wire, AVarintIsReadToItsEnd) {
  size_t pos = 0;
  uint64_t value = 0;
  EXPECT_TRUE(ReadVarint("\x96\x01", &pos, &value));
  EXPECT_EQ(value, 150u);
  EXPECT_EQ(pos, 2u);
}

TEST(Wire, AVarintThatIsCutOrTooLongIsNone) {
  size_t pos = 0;
  uint64_t value = 7;
  EXPECT_FALSE(ReadVarint("\x96", &pos, &value));
  EXPECT_FALSE(ReadVarint(std::string(11, '\xFF'), &pos, &value));
  EXPECT_EQ(pos, 0u);
  EXPECT_EQ(value, 7u);
  EXPECT_TRUE(ReadVarint(std::string(9, '\xFF') + '\x01', &pos, &value));
  EXPECT_EQ(value, ~uint64_t{0});
}

TEST(Wire, AReplyBeginsWithItsId) {
  EXPECT_TRUE(LooksLikeReply(kReply));
  EXPECT_FALSE(LooksLikeReply(""));
  EXPECT_FALSE(
      LooksLikeReply("\x12\x02"
                     "AB"));
  EXPECT_FALSE(LooksLikeReply(kReply.substr(0, 5)));
  EXPECT_TRUE(LooksLikeStartOfReply(kReply.substr(0, 5)));
  EXPECT_FALSE(LooksLikeReply(kReply + "\x0F"));
}

TEST(Wire, TheLastIdCounts) {
  int32_t id = 0;
  EXPECT_TRUE(FindId("\x08\x14\x08\x15", &id));
  EXPECT_EQ(id, 21);
  EXPECT_TRUE(FindId(std::string("\x08") + std::string(9, '\xFF') + '\x01', &id));
  EXPECT_EQ(id, -1);
  EXPECT_FALSE(
      FindId("\x12\x02"
             "AB",
             &id));
}

// ---- encodings ----

TEST(Hex, PairsMayBeSeparatedAndPrefixed) {
  for (const char* text :
       {"081412024142", "08 14 12 02 41 42", "08:14:12:02:41:42", "0x08, 0x14, 0x12, 0x02, 0x41, 0x42",
        "\\x08\\x14\\x12\\x02\\x41\\x42", "0814-1202\n4142\n", "# a remark: 99\n0814 1202 # more\n4142"}) {
    EXPECT_EQ(DecodeHex(text), kReply) << text;
  }
  EXPECT_EQ(DecodeHex("aBcD"), "\xAB\xCD");
}

TEST(Hex, WhatIsNoHexIsRefusedAtItsPlace) {
  size_t bad = 0;
  EXPECT_FALSE(DecodeHex("08g4", &bad));
  EXPECT_EQ(bad, 2u);
  EXPECT_FALSE(DecodeHex("081", &bad));
  EXPECT_EQ(bad, 3u);
}

TEST(Hex, DumpsAreReadWithoutTheirOffsetsAndText) {
  EXPECT_EQ(DecodeHexDump("00000000  08 14 12 02 41 42                                 |....AB|\n00000006\n"),
            kReply);
  EXPECT_EQ(DecodeHexDump("00000000: 0814 1202 4142                           ....AB\n"), kReply);
  EXPECT_EQ(DecodeHexDump("00000000  08 14 12 02  41 42  |....AB|\n"), kReply);
  EXPECT_FALSE(DecodeHexDump("no dump"));
}

TEST(Base64, BothAlphabetsWithAndWithoutPadding) {
  EXPECT_EQ(DecodeBase64("CBQSAkFC"), kReply);
  EXPECT_EQ(DecodeBase64("+/+/"), DecodeBase64("-_-_"));
  EXPECT_EQ(DecodeBase64("QQ=="), "A");
  EXPECT_EQ(DecodeBase64("QQ"), "A");
  EXPECT_EQ(DecodeBase64("CBQS\nAkFC\n"), kReply);
  EXPECT_FALSE(DecodeBase64("CBQSA"));
  EXPECT_FALSE(DecodeBase64("CBQ!"));
  EXPECT_FALSE(DecodeBase64("QQ==QQ=="));
}

TEST(Base64, EncodesEveryRemainder) {
  EXPECT_EQ(EncodeBase64(""), "");
  EXPECT_EQ(EncodeBase64("f"), "Zg==");
  EXPECT_EQ(EncodeBase64("fo"), "Zm8=");
  EXPECT_EQ(EncodeBase64("foo"), "Zm9v");
}

// ---- recognising ----

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

// ---- text ----

TEST(CellText, IsDecodedFromCodePage936) {
  // In code page 936 ping an bank is c6bd b0b2 d2f8 d0d0.
  EXPECT_EQ(CellTextToUtf8("\xC6\xBD\xB0\xB2\xD2\xF8\xD0\xD0"), "平安银行");
  EXPECT_EQ(CellTextToUtf8("600000"), "600000");
  EXPECT_EQ(CellTextToUtf8(""), "");
}

TEST(CellText, OneCharacterThatLooksLikeTwoBytesOfUtf8IsCodePage936) {
  // c6bd is U+01BD as UTF-8.
  EXPECT_EQ(CellTextToUtf8("\xC6\xBD"), "平");
}

TEST(CellText, RawUtf8StaysAsItIs) {
  EXPECT_EQ(CellTextToUtf8("平安银行"), "平安银行");
  EXPECT_EQ(CellTextToUtf8("中"), "中");
}

TEST(CellText, WhatIsNeitherIsReplaced) {
  EXPECT_EQ(CellTextToUtf8("a\xFF\xFF"), "a\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Printable, ShowsWhatWouldSteerTheTerminal) {
  EXPECT_EQ(Printable("a\nb\tc\x1b[2J\x7f"), "a\\nb\\tc\\x1b[2J\\x7f");
  EXPECT_EQ(Printable("a\xE2\x80\xAE"
                      "b"),
            "a\\u202eb");
  EXPECT_EQ(Printable("\xC2\x9B"), "\\x9b");
  EXPECT_EQ(Printable("银行"), "银行");
}

TEST(Width, EastAsianCharactersTakeTwoColumns) {
  EXPECT_EQ(DisplayWidth("abc"), 3u);
  EXPECT_EQ(DisplayWidth("银行"), 4u);
  EXPECT_EQ(DisplayWidth("Ａ"), 2u);
  EXPECT_EQ(DisplayWidth("e\xCC\x81"), 1u);
  EXPECT_EQ(DisplayWidth("·"), 1u);
}

TEST(Width, CutsBeforeACharacterThatWouldNotFit) {
  EXPECT_EQ(CutToWidth("abcdef", 6), "abcdef");
  EXPECT_EQ(CutToWidth("abcdef", 5), "abcd…");
  EXPECT_EQ(CutToWidth("银行银行", 6), "银行…");
  EXPECT_EQ(CutToWidth("银行银行", 5), "银行…");
  EXPECT_EQ(CutToWidth("银行银行", 4), "银…");
  EXPECT_EQ(CutToWidth("银行", 0), "");
}

std::string Json(const std::string& text) {
  std::string json;
  AppendJsonString(&json, text);
  return json;
}

TEST(JsonText, EscapesAndReplaces) {
  EXPECT_EQ(Json("a\"b\\c\n\x01"), "\"a\\\"b\\\\c\\n\\u0001\"");
  EXPECT_EQ(Json("银"), "\"银\"");
  EXPECT_EQ(Json("a\xFF"
                 "银"),
            "\"a\xEF\xBF\xBD银\"");
}

TEST(CsvText, QuotesWhereItMust) {
  std::string field;
  AppendCsvField(&field, "a,b\"c");
  EXPECT_EQ(field, "\"a,b\"\"c\"");
}

TEST(Suggest, TheNearestFirstAndNothingFar) {
  const Strings known{"columns", "color", "head", "QuoteKlineSingle"};
  EXPECT_EQ(Nearest("colums", known)[0], "columns");
  EXPECT_EQ(Nearest("klien", known), Strings{"QuoteKlineSingle"});
  EXPECT_EQ(Nearest("xyzzy", known), Strings{});
  EXPECT_EQ(DidYouMean("haed", known), "; did you mean \"head\"?");
}

// ---- numbers ----

template <class T>
std::string Written(T value) {
  char text[kNumberRoom];
  return std::string(text, WriteFloating(text, value));
}

// The fewest digits that read back as the same double, searched for one count after the other.
size_t FewestDigits(double value) {
  char text[64];
  for (int digits = 1; digits < 17; ++digits) {
    std::snprintf(text, sizeof text, "%.*e", digits - 1, value);
    if (std::strtod(text, nullptr) == value) return static_cast<size_t>(digits);
  }
  return 17;
}

size_t DigitsIn(const std::string& text) {
  std::string digits;
  for (const char c : text.substr(0, text.find('e'))) {
    if (c >= '0' && c <= '9') digits += c;
  }
  digits.erase(0, digits.find_first_not_of('0'));
  const size_t last = digits.find_last_not_of('0');
  return last == std::string::npos ? 0 : last + 1;
}

TEST(Numbers, DoublesInTheFewestDigitsThatGiveThemBack) {
  std::mt19937_64 random(20240617);
  for (int i = 0; i < 200000; ++i) {
    // Any bits, then decimal numbers of up to six places and any size.
    double value = 0;
    const uint64_t bits = random();
    std::memcpy(&value, &bits, sizeof value);
    if (i % 4 != 0) {
      const double powers[] = {1, 10, 100, 1000, 1e4, 1e5, 1e6};
      value = static_cast<double>(static_cast<int64_t>(bits) >> random() % 60) / powers[random() % 7];
      if (i % 4 == 3) value = std::nextafter(value, 0);
    }
    if (!std::isfinite(value)) continue;
    const std::string text = Written(value);
    ASSERT_EQ(std::strtod(text.c_str(), nullptr), value) << text;
    ASSERT_EQ(DigitsIn(text), value == 0 ? 0 : FewestDigits(value)) << text;
    ASSERT_LT(text.size(), 32u);
  }
}

TEST(Numbers, FloatingNumbersAsPeopleWriteThem) {
  const std::vector<std::pair<double, std::string>> doubles{
      {0, "0"},
      {-0.0, "-0"},
      {0.1, "0.1"},
      {-0.05, "-0.05"},
      {0.0001, "0.0001"},
      {0.00001, "1e-05"},
      {12.34, "12.34"},
      {-12.3456, "-12.3456"},
      {8.05, "8.05"},
      {8.005, "8.005"},
      {8.0005, "8.0005"},
      {1.5e9, "1500000000"},
      {99999999999.25, "99999999999.25"},
      {100000000000.25, "100000000000.25"},
      {20240617150000, "20240617150000"},
      {999999999999999, "999999999999999"},
      {0.1 + 0.2, "0.30000000000000004"},
      {1e300, "1e+300"},
      {std::numeric_limits<double>::infinity(), "inf"},
      {-std::numeric_limits<double>::infinity(), "-inf"},
      {std::numeric_limits<double>::quiet_NaN(), "nan"}};
  for (const auto& [value, text] : doubles)
    EXPECT_EQ(Written(value), text);
  EXPECT_EQ(Written(0.1F), "0.1");
  EXPECT_EQ(Written(-3.0F), "-3");
  EXPECT_EQ(Written(16777216.0F), "16777216");
}

TEST(Numbers, IntegersAndDecimals) {
  char text[kNumberRoom];
  const auto decimal = [&](int64_t mantissa, unsigned places) {
    return std::string(text, WriteDecimal(text, mantissa, places));
  };
  EXPECT_EQ(decimal(1234, 2), "12.34");
  EXPECT_EQ(decimal(-1234, 0), "-1234");
  EXPECT_EQ(decimal(5, 3), "0.005");
  EXPECT_EQ(decimal(-5, 1), "-0.5");
  EXPECT_EQ(decimal(0, 2), "0.00");
  EXPECT_EQ(decimal(-140737488355328, 30), "-0.000000000000000140737488355328");
  EXPECT_EQ(decimal(7, 65535), "7e-65535");
  EXPECT_EQ(std::string(text, WriteInteger(text, std::numeric_limits<int64_t>::min())),
            "-9223372036854775808");
  EXPECT_EQ(std::string(text, WriteInteger(text, ~uint64_t{0})), "18446744073709551615");
}

// ---- UTF-8 ----

TEST(Utf8, ExactlyTheWellFormedIsTaken) {
  const auto coded = [](uint32_t code) {
    const auto byte = [](uint32_t bits) { return static_cast<char>(bits); };
    if (code < 0x80) return std::string{byte(code)};
    if (code < 0x800) return std::string{byte(0xC0 | code >> 6), byte(0x80 | (code & 63))};
    if (code < 0x10000)
      return std::string{byte(0xE0 | code >> 12), byte(0x80 | (code >> 6 & 63)), byte(0x80 | (code & 63))};
    return std::string{byte(0xF0 | code >> 18), byte(0x80 | (code >> 12 & 63)), byte(0x80 | (code >> 6 & 63)),
                       byte(0x80 | (code & 63))};
  };
  for (uint32_t code = 0; code < 0x120000; ++code) {
    const bool scalar = code < 0x110000 && (code < 0xD800 || code > 0xDFFF);
    const std::string text = coded(code);
    ASSERT_EQ(IsUtf8(text), scalar) << code;
    ASSERT_FALSE(text.size() > 1 && IsUtf8(text.substr(0, text.size() - 1))) << code;
    ASSERT_FALSE(text.size() > 1 && IsUtf8(text.substr(1))) << code;
  }
  // Longer than needed.
  for (const char* text :
       {"\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF8\x88\x80\x80\x80"})
    EXPECT_FALSE(IsUtf8(text));
}

TEST(Utf8, JsonReplacesWhatIsIllFormedAndKeepsTheRest) {
  std::string json;
  AppendJsonString(&json, "a\xFF\xE9\x93\xB6\xE9\x93\"\n\x7F\xF0\x9F\x93\x88");
  EXPECT_EQ(json, "\"a\xEF\xBF\xBD\xE9\x93\xB6\xEF\xBF\xBD\xEF\xBF\xBD\\\"\\n\\u007f\xF0\x9F\x93\x88\"");
}

}  // namespace
}  // namespace tesview
