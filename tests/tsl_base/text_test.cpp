// Claims: Utf8toGb2312 gives the bytes that the system's converter gives for every character, one '?' for
// each character without a code and each maximal ill-formed sequence, and passes ASCII through. Gb2312ToUtf8
// leads all of it back, and is safe on any bytes.
#include "tsl_base/text.h"

#include <gtest/gtest.h>
#if defined(_WIN32)
#include <windows.h>
#else
#include <iconv.h>
#endif

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using tsl_base::text;

#if defined(_WIN32)

class Converter {
 public:
  Converter(const char* to, const char* from) : to_(PageOf(to)), from_(PageOf(from)) {}

  bool valid() const { return IsValidCodePage(to_) && IsValidCodePage(from_); }

  // Empty if it cannot be converted. Windows gives the codes that no character has to users, as those of
  // their private use.
  std::string operator()(const std::string& input) const {
    wchar_t wide[16];
    char output[16];
    const int units = MultiByteToWideChar(from_, MB_ERR_INVALID_CHARS, input.data(),
                                          static_cast<int>(input.size()), wide, 16);
    if (std::any_of(wide, wide + units, [](wchar_t c) { return c >= 0xE000 && c <= 0xF8FF; }))
      return std::string();
    BOOL replaced = FALSE;
    const bool is_page = to_ != CP_UTF8;
    const int size = WideCharToMultiByte(to_, is_page ? WC_NO_BEST_FIT_CHARS : 0, wide, units, output, 16,
                                         nullptr, is_page ? &replaced : nullptr);
    return std::string(output, static_cast<size_t>(replaced ? 0 : size));
  }

 private:
  static UINT PageOf(const std::string& name) { return name == "UTF-8" ? CP_UTF8 : 936; }

  UINT to_;
  UINT from_;
};

#else

class Converter {
 public:
  Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
  ~Converter() {
    if (valid()) iconv_close(handle_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool valid() const { return reinterpret_cast<intptr_t>(handle_) != -1; }

  // Empty if it cannot be converted.
  std::string operator()(std::string input) const {
    char output[16];
    char* from = &input[0];
    char* to = output;
    size_t from_left = input.size();
    size_t to_left = sizeof output;
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    if (iconv(handle_, &from, &from_left, &to, &to_left) != 0 || from_left != 0) return std::string();
    return std::string(output, sizeof output - to_left);
  }

 private:
  iconv_t handle_;
};

#endif

// The bytes of a code point by the pattern of UTF-8, surrogates too.
std::string Encode(uint32_t c) {
  const auto byte = [](uint32_t value) { return static_cast<char>(static_cast<unsigned char>(value)); };
  if (c < 0x80) return {byte(c)};
  if (c < 0x800) return {byte(0xC0 | c >> 6), byte(0x80 | (c & 0x3F))};
  if (c < 0x10000) return {byte(0xE0 | c >> 12), byte(0x80 | (c >> 6 & 0x3F)), byte(0x80 | (c & 0x3F))};
  return {byte(0xF0 | c >> 18), byte(0x80 | (c >> 12 & 0x3F)), byte(0x80 | (c >> 6 & 0x3F)),
          byte(0x80 | (c & 0x3F))};
}

bool IsSurrogate(uint32_t c) {
  return c >= 0xD800 && c <= 0xDFFF;
}

const std::string kEuro = "\u20AC";
const std::string kReplacement = "\uFFFD";

class SystemConverter : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(to.valid() && back.valid()) << "iconv has no CP936"; }

  // What is expected for a single code point.
  std::string Expected(uint32_t c) const {
    if (c < 0x80) return Encode(c);
    if (IsSurrogate(c)) return "???";
    const std::string bytes = to(Encode(c));
    return bytes.empty() ? "?" : bytes;
  }

  const Converter to{"CP936", "UTF-8"};
  const Converter back{"UTF-8", "CP936"};
};

TEST_F(SystemConverter, AgreesOnEveryCodePoint) {
  int with_code = 0;
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    const std::string expected = Expected(c);
    ASSERT_EQ(text::Utf8toGb2312(Encode(c)), expected) << "U+" << std::hex << c;
    if (expected == "?" || IsSurrogate(c)) continue;
    ++with_code;
    ASSERT_EQ(text::Gb2312ToUtf8(expected), c == 0 ? std::string(1, '\0') : Encode(c))
        << "U+" << std::hex << c;
  }
  // ASCII but for the '?', the Euro sign, and 21,791 pairs.
  EXPECT_EQ(with_code, 127 + 1 + 21'791);
}

// The loops for runs see the characters in pairs, at every place of a word.
TEST_F(SystemConverter, AgreesOnEveryCodePointInsideText) {
  std::string utf8;
  std::string expected;
  for (uint32_t c = 1; c <= 0xFFFF; ++c) {
    utf8 += Encode(c);
    expected += Expected(c);
    if (c % 3 == 0) {
      utf8 += 'a';
      expected += 'a';
    }
    if (utf8.size() < 2000 && c != 0xFFFF) continue;
    ASSERT_EQ(text::Utf8toGb2312(utf8), expected) << "up to U+" << std::hex << c;
    utf8.clear();
    expected.clear();
  }
}

// All pairs of any lead and second byte, those that are no codes too.
TEST_F(SystemConverter, AgreesOnEveryPairOnTheWayBack) {
  int codes = 0;
  for (int lead = 0x80; lead <= 0xFF; ++lead) {
    for (int second = 0; second <= 0xFF; ++second) {
      const std::string pair = {static_cast<char>(lead), static_cast<char>(second)};
      std::string expected;
      if (lead >= 0x81 && second >= 0x40) expected = back(pair);
      if (!expected.empty()) {
        ++codes;
        ASSERT_EQ(text::Utf8toGb2312(expected), pair) << std::hex << lead << second;
      } else {
        const bool is_pair = lead >= 0x81 && lead <= 0xFE && second >= 0x80 && second <= 0xFE;
        expected = lead == 0x80 ? kEuro : kReplacement;
        if (second < 0x80) expected += static_cast<char>(second);
        if (second >= 0x80 && !is_pair) expected += second == 0x80 ? kEuro : kReplacement;
      }
      ASSERT_EQ(text::Gb2312ToUtf8(pair), expected) << std::hex << lead << ' ' << second;
    }
  }
  EXPECT_EQ(codes, 21'791);
}

// ---- by hand ----------------------------------------------------------------------------------------------

TEST(Gb2312, KnownCharacters) {
  EXPECT_EQ(text::Utf8toGb2312("\u4E2D\u6587"), "\xD6\xD0\xCE\xC4");
  EXPECT_EQ(text::Utf8toGb2312("\u554A"), "\xB0\xA1");  // the first character of GB2312's first level
  EXPECT_EQ(text::Utf8toGb2312("\uFF01"), "\xA3\xA1");  // the full-width '!'
  EXPECT_EQ(text::Utf8toGb2312("\u3000"), "\xA1\xA1");  // the wide blank
}

TEST(Gb2312, CharactersOfGbkBeyondGb2312) {
  EXPECT_EQ(text::Utf8toGb2312("\u4E02"), "\x81\x40");
}

TEST(Gb2312, TwoByteUtf8) {
  EXPECT_EQ(text::Utf8toGb2312("\u00D7"), "\xA1\xC1");  // multiplication sign
  EXPECT_EQ(text::Utf8toGb2312("\u03B1"), "\xA6\xC1");  // alpha
}

TEST(Gb2312, AsciiPassesThrough) {
  std::string ascii;
  for (char c = 1; c < 127; ++c)
    ascii += c;
  ascii += '\x7F';
  EXPECT_EQ(text::Utf8toGb2312(ascii.c_str()), ascii);
}

// The one code of a single byte beside ASCII; it shortens the text by two bytes.
TEST(Gb2312, TheEuroSignIsOneByte) {
  EXPECT_EQ(text::Utf8toGb2312("\u20AC"), "\x80");
  EXPECT_EQ(text::Utf8toGb2312("\u20AC 5\u4E2D\u20AC\u20AC\u6587\u20AC"),
            "\x80 5\xD6\xD0\x80\x80\xCE\xC4\x80");
  EXPECT_EQ(text::Utf8toGb2312("abcdefgh\u20AC\u4E2D"), "abcdefgh\x80\xD6\xD0");
  // Its neighbours have no code.
  EXPECT_EQ(text::Utf8toGb2312("\u20AB\u20AD"), "??");
  // Nor have the control characters of Latin-1, of which one has the same number.
  EXPECT_EQ(text::Utf8toGb2312("\u0080\u00FF"), "??");
}

TEST(Gb2312, CharactersWithoutACodeBecomeOneQuestionMark) {
  EXPECT_EQ(text::Utf8toGb2312("a\u00E9?"), "a\xA8\xA6?");  // this one has a code
  EXPECT_EQ(text::Utf8toGb2312("a\u00EB?"), "a??");
  EXPECT_EQ(text::Utf8toGb2312("\uAC00\u4E2D"), "?\xD6\xD0");
  EXPECT_EQ(text::Utf8toGb2312("\U0001F600!"), "?!");
  EXPECT_EQ(text::Utf8toGb2312("\U00020000"), "?");
  // A tag, which some converters pass over.
  EXPECT_EQ(text::Utf8toGb2312("a\U000E0024b"), "a?b");
}

// What is odd among the four characters that are looked at together.
TEST(Gb2312, OneOddSequenceInARunOfChinese) {
  const std::string character = "\u4E2D";
  const std::string code = "\xD6\xD0";
  struct Odd {
    const char* utf8;
    const char* expected;
  };
  const Odd odds[] = {
      {"a", "a"},
      {"\xCE\xB1", "\xA6\xC1"},   // a Greek letter: two bytes
      {"\u20AC", "\x80"},         // the Euro sign: a single byte
      {"\uAC00", "?"},            // no code
      {"\xF0\x9F\x98\x80", "?"},  // four bytes, no code
      {"\xE0\x8E\xB1", "???"},    // the Greek letter, overlong
      {"\xE0\x81\x81", "???"},    // an overlong letter
      {"\xED\xA0\x80", "???"},    // a surrogate
      {"\xE4\xB8", "?"},          // cut off
  };
  for (const Odd& odd : odds) {
    for (int before = 0; before <= 8; ++before) {
      std::string utf8;
      std::string expected;
      for (int i = 0; i < before; ++i) {
        utf8 += character;
        expected += code;
      }
      utf8 += odd.utf8;
      expected += odd.expected;
      for (int i = 0; i < 8; ++i) {
        utf8 += character;
        expected += code;
      }
      EXPECT_EQ(text::Utf8toGb2312(utf8), expected) << testing::PrintToString(utf8);
    }
  }
}

// Longer results are put together from pieces of about a thousand bytes.
TEST(Gb2312, LongTextsOfEveryLengthKeepTheirOrder) {
  for (const char* begin : {"", "a", "ab\u4E2D"}) {
    std::string utf8 = begin;
    std::string expected = *begin == '\0' ? "" : begin[1] == '\0' ? "a" : "ab\xD6\xD0";
    for (int i = 0; i < 1100; ++i) {
      // One, a nail, seven, ten thousand and a digit, in no even order.
      static const char* const kCharacters[] = {"\u4E00", "\u4E01", "\u4E03", "\u4E07", "7"};
      static const char* const kCodesOfThem[] = {"\xD2\xBB", "\xB6\xA1", "\xC6\xDF", "\xCD\xF2", "7"};
      const size_t which = static_cast<size_t>(i) * 7 / 3 % 5;
      utf8 += kCharacters[which];
      expected += kCodesOfThem[which];
      if (i < 480) continue;
      ASSERT_EQ(text::Utf8toGb2312(utf8), expected) << i;
    }
  }
}

// The lead byte is one, two, three or no bytes before the end of the first piece.
TEST(Gb2312, NoCharacterOfFourBytesIsCutInALongText) {
  for (size_t before = 1019; before < 1027; ++before) {
    const std::string ascii(before, 'a');
    EXPECT_EQ(text::Utf8toGb2312(ascii + "\U0001F600b"), ascii + "?b") << before;
  }
}

TEST(Gb2312, BytesThatBeginNothingAreOneQuestionMarkEach) {
  EXPECT_EQ(text::Utf8toGb2312(std::string(3000, '\x80')), std::string(3000, '?'));
}

TEST(Gb2312, NullIsTheEmptyText) {
  EXPECT_EQ(text::Utf8toGb2312(static_cast<const char*>(nullptr)), "");
}

TEST(Gb2312, EmptyStaysEmpty) {
  EXPECT_EQ(text::Utf8toGb2312(""), "");
  EXPECT_EQ(text::Utf8toGb2312(std::string()), "");
}

TEST(Gb2312, ZeroBytesOfAStringPassThrough) {
  EXPECT_EQ(text::Utf8toGb2312(std::string("a\0\u4E2D\0", 6)), std::string("a\0\xD6\xD0\0", 5));
}

TEST(Gb2312, AZeroEndsAPointersText) {
  EXPECT_EQ(text::Utf8toGb2312("ab\0cd"), "ab");
}

TEST(Gb2312, TheInputMayBeAnyLength) {
  for (size_t characters : {100U, 341U, 342U, 1000U, 100000U}) {
    std::string utf8;
    std::string expected;
    for (size_t i = 0; i < characters; ++i) {
      utf8 += "\u4E2D";
      expected += "\xD6\xD0";
    }
    EXPECT_EQ(text::Utf8toGb2312(utf8), expected);
    EXPECT_EQ(text::Utf8toGb2312(utf8.c_str()), expected);
  }
}

// ---- the way back, by hand --------------------------------------------------------------------------------

TEST(Utf8, KnownCharacters) {
  EXPECT_EQ(text::Gb2312ToUtf8("\xD6\xD0\xCE\xC4"), "\u4E2D\u6587");
  EXPECT_EQ(text::Gb2312ToUtf8("\xA1\xC1\xA6\xC1"), "\u00D7\u03B1");
  EXPECT_EQ(text::Gb2312ToUtf8("\x81\x40"), "\u4E02");
  EXPECT_EQ(text::Gb2312ToUtf8("\x80 5"), "\u20AC 5");
  EXPECT_EQ(text::Gb2312ToUtf8("ST\xD6\xD0 300?\x7F"), "ST\u4E2D 300?\x7F");
}

TEST(Utf8, NullAndEmptyAreTheEmptyText) {
  EXPECT_EQ(text::Gb2312ToUtf8(static_cast<const char*>(nullptr)), "");
  EXPECT_EQ(text::Gb2312ToUtf8(""), "");
  EXPECT_EQ(text::Gb2312ToUtf8(std::string()), "");
}

TEST(Utf8, AZeroEndsAPointersTextAndNoString) {
  EXPECT_EQ(text::Gb2312ToUtf8("a\0b"), "a");
  EXPECT_EQ(text::Gb2312ToUtf8(std::string("a\0\xD6\xD0\0", 5)), std::string("a\0\u4E2D\0", 6));
}

TEST(Utf8, WhatIsNoCodeIsReplaced) {
  const struct {
    const char* gb2312;
    const char* utf8;
  } cases[] = {
      // A lead byte at the end, and before what is no trail byte.
      {"\xD6", "\uFFFD"},
      {"\xD6\xD0\xCE", "\u4E2D\uFFFD"},
      {"\xD6 x", "\uFFFD x"},
      {"\xD6\x7Fx", "\uFFFD\x7Fx"},
      {"\xD6\xFF\xD6\xD0", "\uFFFD\uFFFD\u4E2D"},
      // A pair without a character, and one with an ASCII trail byte.
      {"\xFE\xFEx", "\uFFFDx"},
      {"\xAA\xA1\xD6\xD0", "\uFFFD\u4E2D"},
      {"\xA1\x40\xD6\xD0", "\uFFFD@\u4E2D"},
      // The byte that leads nothing.
      {"\xFF\xD6\xD0", "\uFFFD\u4E2D"},
      {"\xFF\xFF", "\uFFFD\uFFFD"},
      // UTF-8 that was taken for GB2312: E4 B8 is a pair, AD the lead byte of nothing.
      {"\xE4\xB8\xAD", "\u6D93\uFFFD"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(text::Gb2312ToUtf8(c.gb2312), c.utf8) << testing::PrintToString(std::string(c.gb2312));
}

TEST(Utf8, TheInputMayBeAnyLength) {
  for (const size_t characters : {1U, 7U, 1000U, 100'000U}) {
    std::string gb2312;
    std::string utf8;
    for (size_t i = 0; i < characters; ++i) {
      gb2312 += "\xD6\xD0\x80";
      utf8 += "\u4E2D\u20AC";
    }
    EXPECT_EQ(text::Gb2312ToUtf8(gb2312), utf8);
    EXPECT_EQ(text::Gb2312ToUtf8(gb2312.c_str()), utf8);
  }
}

struct IllFormed {
  const char* utf8;
  const char* expected;
};

TEST(IllFormedUtf8, EveryMaximalSequenceBecomesOneQuestionMark) {
  const IllFormed cases[] = {
      // Continuation bytes alone.
      {"\x80", "?"},
      {"\xBF\x80", "??"},
      {"a\x80z", "a?z"},
      // Bytes that never occur.
      {"\xC0\x80", "??"},
      {"\xC1\xBF", "??"},
      {"\xF5\x80\x80\x80", "????"},
      {"\xF8\x88\x80\x80\x80", "?????"},
      {"\xFE\xFF", "??"},
      // Cut off at the end.
      {"\xC3", "?"},
      {"\xE4", "?"},
      {"\xE4\xB8", "?"},
      {"\xF0", "?"},
      {"\xF0\x9F", "?"},
      {"\xF0\x9F\x98", "?"},
      // Cut off by another character.
      {"\xC3z", "?z"},
      {"\xE4z", "?z"},
      {"\xE4\xB8z", "?z"},
      {"\xF0\x9F\x98z", "?z"},
      {"\xE4\xB8\xE4\xB8\xAD", "?\xD6\xD0"},
      {"\xF0\x9F\xE4\xB8\xAD", "?\xD6\xD0"},
      {"\xE4\xE4\xE4\xB8\xAD", "??\xD6\xD0"},
      // Overlong.
      {"\xE0\x80\x80", "???"},
      {"\xE0\x9F\xBF", "???"},
      {"\xE0\x83\x97", "???"},
      {"\xF0\x80\x80\x80", "????"},
      {"\xF0\x8F\xBF\xBF", "????"},
      // Surrogates, alone and as a pair.
      {"\xED\xA0\x80", "???"},
      {"\xED\xBF\xBF", "???"},
      {"\xED\xA0\xBD\xED\xB8\x80", "??????"},
      // Beyond U+10FFFF.
      {"\xF4\x90\x80\x80", "????"},
      {"\xF7\xBF\xBF\xBF", "????"},
      // Just inside.
      {"\xED\x9F\xBF", "?"},
      {"\xF4\x8F\xBF\xBF", "?"},
      {"\xF0\x90\x80\x80", "?"},
      {"\xEF\xBF\xBF", "?"},
  };
  for (const IllFormed& c : cases) {
    EXPECT_EQ(text::Utf8toGb2312(c.utf8), c.expected) << testing::PrintToString(std::string(c.utf8));
    // The same where the loops for runs are at work.
    const std::string around = "\u4E2D\u6587abcdefgh";
    const std::string around_expected =
        "\xD6\xD0\xCE\xC4"
        "abcdefgh";
    std::string whole = around;
    whole.append(c.utf8).append(around);
    std::string whole_expected = around_expected;
    whole_expected.append(c.expected).append(around_expected);
    EXPECT_EQ(text::Utf8toGb2312(whole), whole_expected) << testing::PrintToString(std::string(c.utf8));
  }
}

// ---- against a plain reading of the definition ------------------------------------------------------------

// Takes, at each place, the longest beginning of any character's bytes; it knows nothing of lead and trail
// bytes.
class Reference : public SystemConverter {
 protected:
  Reference() {
    for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
      if (IsSurrogate(c)) continue;
      const std::string bytes = Encode(c);
      for (size_t length = 1; length < bytes.size(); ++length)
        beginnings_.insert(bytes.substr(0, length));
    }
  }

  std::string Convert(const std::string& utf8) const {
    std::string result;
    for (size_t at = 0; at < utf8.size();) {
      size_t length = 1;
      while (at + length < utf8.size() && beginnings_.count(utf8.substr(at, length)) != 0 &&
             Continues(utf8.substr(at, length + 1))) {
        ++length;
      }
      const std::string bytes = utf8.substr(at, length);
      const bool whole = static_cast<unsigned char>(bytes[0]) < 0x80 || IsWhole(bytes);
      if (!whole) {
        result += '?';
      } else if (length == 1) {
        result += bytes;
      } else {
        const std::string code = to(bytes);
        result += code.empty() ? "?" : code;
      }
      at += length;
    }
    return result;
  }

 private:
  bool Continues(const std::string& bytes) const { return beginnings_.count(bytes) != 0 || IsWhole(bytes); }

  // Whether these are all bytes of a character of several bytes: a beginning, and a last byte of 80 to BF
  // behind it, by which it is no longer a beginning.
  bool IsWhole(const std::string& bytes) const {
    const unsigned char last = static_cast<unsigned char>(bytes.back());
    return bytes.size() > 1 && last >= 0x80 && last <= 0xBF && beginnings_.count(bytes) == 0 &&
           beginnings_.count(bytes.substr(0, bytes.size() - 1)) != 0 && !IsOutOfRange(bytes);
  }

  static bool IsOutOfRange(const std::string& bytes) {
    const auto at = [&bytes](size_t i) {
      return static_cast<uint32_t>(static_cast<unsigned char>(bytes[i]));
    };
    uint32_t c = 0;
    if (bytes.size() == 2) c = (at(0) & 0x1F) << 6 | (at(1) & 0x3F);
    if (bytes.size() == 3) c = (at(0) & 0x0F) << 12 | (at(1) & 0x3F) << 6 | (at(2) & 0x3F);
    if (bytes.size() == 4) {
      c = (at(0) & 0x07) << 18 | (at(1) & 0x3F) << 12 | (at(2) & 0x3F) << 6 | (at(3) & 0x3F);
    }
    return c > 0x10FFFF || IsSurrogate(c) || Encode(c) != bytes;
  }

  std::set<std::string> beginnings_;
};

TEST_F(Reference, AgreesOnMixedTextOfEveryLengthUpTo40) {
  std::mt19937 random(7);  // NOLINT(cert-msc32-c,cert-msc51-cpp): a failure must come again
  const std::vector<std::string> pieces = {"a",      "Z",      "\u4E2D",     "\u6587",
                                           "\u80A1", "\u03B1", "\U0001F600", "\uAC00"};
  for (size_t length = 0; length <= 40; ++length) {
    for (int round = 0; round < 300; ++round) {
      std::string utf8;
      // Mostly ASCII, mostly Chinese, or anything.
      const size_t from = round % 3 == 1 ? 2 : 0;
      const size_t to_piece = round % 3 == 0 ? 3 : round % 3 == 1 ? 5 : pieces.size();
      while (utf8.size() < length) {
        utf8 += pieces[from + random() % (to_piece - from)];
      }
      utf8.resize(length);  // may cut the last character
      const std::string expected = Convert(utf8);
      ASSERT_EQ(text::Utf8toGb2312(utf8), expected) << testing::PrintToString(utf8);
      ASSERT_LE(expected.size(), utf8.size());
    }
  }
}

TEST_F(Reference, AgreesOnRandomBytes) {
  std::mt19937 random(11);  // NOLINT(cert-msc32-c,cert-msc51-cpp): a failure must come again
  const unsigned char likely[] = {0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC2, 0xDF, 0xE0,
                                  0xE4, 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF4, 0xF5, 0xFF, 'a'};
  for (int round = 0; round < 60'000; ++round) {
    std::string bytes(random() % 24, '\0');
    for (char& c : bytes) {
      const bool any = random() % 4 == 0;
      c = static_cast<char>(any ? static_cast<unsigned char>(random() & 0xFF)
                                : likely[random() % sizeof likely]);
    }
    ASSERT_EQ(text::Utf8toGb2312(bytes), Convert(bytes)) << testing::PrintToString(bytes);
  }
}

TEST(Gb2312, ReadsNoByteBehindTheInput) {
  // Blocks of the exact size, so that the address sanitizer sees a read behind them.
  for (size_t length = 0; length <= 40; ++length) {
    for (const char* piece : {"a", "\u4E2D", "a\u4E2D", "\xE4", "\xF0\x9F"}) {
      std::string utf8;
      while (utf8.size() < length)
        utf8 += piece;
      utf8.resize(length);
      const std::vector<char> exact(utf8.begin(), utf8.end());
      const std::string whole = text::Utf8toGb2312(utf8);
      EXPECT_EQ(text::Utf8toGb2312(std::string(exact.begin(), exact.end())), whole);
    }
  }
}

}  // namespace
