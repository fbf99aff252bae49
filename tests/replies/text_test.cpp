#include "replies/text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace replies {
namespace {

TEST(Printable, ShowsWhatWouldSteerTheTerminal) {
  EXPECT_EQ(Printable("a\nb\tc\x1b[2J\x7f"), "a\\nb\\tc\\x1b[2J\\x7f");
  EXPECT_EQ(Printable("a\xE2\x80\xAE"
                      "b"),
            "a\\u202eb");
  EXPECT_EQ(Printable("\xC2\x9B"), "\\x9b");
  EXPECT_EQ(Printable("银行"), "银行");
  // Each of them without anything beside it, too.
  EXPECT_EQ(Printable("\x1b"), "\\x1b");
  EXPECT_EQ(Printable("\x7f"), "\\x7f");
  EXPECT_EQ(Printable("\xE2\x80\xAE"), "\\u202e");
  EXPECT_EQ(Printable("\xFF"), "\xEF\xBF\xBD");
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
  EXPECT_EQ(CutToWidth("银行", 4), "银行");
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

TEST(Text, WhatSteersATerminalIsWrittenOut) {
  EXPECT_EQ(Printable("a\rb\nc\td\x1b[0m\x07"), "a\\rb\\nc\\td\\x1b[0m\\x07");
  EXPECT_EQ(Printable("中\xE2\x80\xAE文"), "中\\u202e文");
  EXPECT_EQ(Printable("\xC2\x9B!"), "\\x9b!");
  EXPECT_EQ(Printable("a\xFFz"), "a\xEF\xBF\xBDz");
}

TEST(Text, InJsonHasTheShortEscapes) {
  std::string text;
  AppendJsonString(&text, "\"\\\n\r\t\b\f\x01\x7F/");
  EXPECT_EQ(text, "\"\\\"\\\\\\n\\r\\t\\b\\f\\u0001\\u007f/\"");
  text.clear();
  AppendJsonString(&text, "中\n");
  EXPECT_EQ(text, "\"中\\n\"");
  text.clear();
  AppendJsonString(&text, "中\xFF");
  EXPECT_EQ(text, "\"中\xEF\xBF\xBD\"");
}

TEST(Text, OfJsonIsPrintableWithoutIllFormedBytes) {
  EXPECT_EQ(PrintableJson("{\"a\": \"\xFF\x7F\"}"), "{\"a\": \"\xEF\xBF\xBD\\u007f\"}");
  EXPECT_EQ(PrintableJson("\x7F"), "\\u007f");
  EXPECT_EQ(PrintableJson("\xFF"), "\xEF\xBF\xBD");
  EXPECT_EQ(PrintableJson("{ \"a\": 1 }\n~"), "{ \"a\": 1 }\n~");
}

TEST(Text, NoWidthHoldsNothing) {
  EXPECT_EQ(CutToWidth("abc", 0), "");
  EXPECT_EQ(CutToWidth("abc", 1), "…");
  // A wide character does not fit half.
  EXPECT_EQ(CutToWidth("中文", 3), "中…");
  EXPECT_EQ(CutToWidth("中文", 2), "…");
}

TEST(Text, SeparatorsOfLinesAndParagraphsAreWrittenOut) {
  EXPECT_EQ(Printable("a\xE2\x80\xA8z"), "a\\u2028z");
  EXPECT_EQ(Printable("a\xE2\x80\xA9z"), "a\\u2029z");
  // What is no character takes a column, as the sign in its place does; marks take none.
  EXPECT_EQ(DisplayWidth("a\xFFz"), 3U);
  EXPECT_EQ(DisplayWidth("e\xCC\x81"), 1U);
}

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
  // What is behind the end is none of it, whatever it is.
  for (const std::string_view text : {"\xC3\xA9", "\xE9\x93\xB6", "\xF0\x9F\x93\x88"}) {
    for (size_t size = 1; size < text.size(); ++size)
      EXPECT_FALSE(IsUtf8(text.substr(0, size))) << size;
  }
  // Longer than needed.
  for (const char* text :
       {"\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF8\x88\x80\x80\x80"})
    EXPECT_FALSE(IsUtf8(text));
}

// One U+FFFD for as many bytes as could still have become a character.
TEST(Utf8, ReplacesEachMaximalIllFormedSequence) {
  const std::string bad = "\xEF\xBF\xBD";
  EXPECT_EQ(replies::ToUtf8("a银b"), "a银b");
  EXPECT_EQ(replies::ToUtf8("a\xE9\x93"), "a" + bad);
  EXPECT_EQ(replies::ToUtf8("\xF0\x9F\x93z"), bad + "z");
  EXPECT_EQ(replies::ToUtf8("\xF0\x9Fz"), bad + "z");
  EXPECT_EQ(replies::ToUtf8("z\xF0\x9F"), "z" + bad);
  EXPECT_EQ(replies::ToUtf8("\xC3"), bad);
  EXPECT_EQ(replies::ToUtf8("\xFF\xFE"), bad + bad);
  EXPECT_EQ(replies::ToUtf8("\x93\x93"), bad + bad);
  // Overlong, a surrogate, behind the last character: no byte of them can be a part of one.
  EXPECT_EQ(replies::ToUtf8("\xE0\x9F\xBF"), bad + bad + bad);
  EXPECT_EQ(replies::ToUtf8("\xED\xA0\x80"), bad + bad + bad);
  EXPECT_EQ(replies::ToUtf8("\xF4\x90\x80\x80"), bad + bad + bad + bad);
  EXPECT_EQ(replies::ToUtf8("\xE9\xE9\x93\xB6"), bad + "银");
}

// Every two bytes that are no character: one sign where the second could have followed the first.
TEST(Utf8, ReplacesTogetherWhatCouldHaveGoneOn) {
  const std::string bad = "\xEF\xBF\xBD";
  const auto goes_on = [](int first, int second) {
    switch (first) {
      case 0xE0: return second >= 0xA0 && second <= 0xBF;
      case 0xED: return second >= 0x80 && second <= 0x9F;
      case 0xF0: return second >= 0x90 && second <= 0xBF;
      case 0xF4: return second >= 0x80 && second <= 0x8F;
      default: return first >= 0xE1 && first <= 0xF3 && second >= 0x80 && second <= 0xBF;
    }
  };
  for (int first = 0x80; first <= 0xFF; ++first) {
    const std::string one(1, static_cast<char>(first));
    EXPECT_EQ(ToUtf8(one + "yx"), bad + "yx") << first;
    for (int second = 0x80; second <= 0xFF; ++second) {
      if (first >= 0xC2 && first <= 0xDF && second <= 0xBF) continue;
      const std::string two = one + static_cast<char>(second);
      const std::string signs = goes_on(first, second) ? bad : bad + bad;
      EXPECT_EQ(ToUtf8(two), signs) << first << ' ' << second;
      EXPECT_EQ(ToUtf8(two + "x"), signs + "x") << first << ' ' << second;
      if (!goes_on(first, second) || first < 0xF0) continue;
      // A third, and what is none.
      EXPECT_EQ(ToUtf8(two + "\x80x"), bad + "x") << first << ' ' << second;
      EXPECT_EQ(ToUtf8(two + "\xBFx"), bad + "x") << first << ' ' << second;
      EXPECT_EQ(ToUtf8(two + "\xC0x"), bad + bad + "x") << first << ' ' << second;
      EXPECT_EQ(ToUtf8(two + "\x7Fx"), bad + "\x7Fx") << first << ' ' << second;
    }
  }
}

// The bytes behind a text are not its own, whatever they would make of it.
TEST(Utf8, EndsWithTheText) {
  const std::string bad = "\xEF\xBF\xBD";
  for (const std::string_view character : {"\xC3\xA9", "\xE9\x93\xB6", "\xF0\x9F\x93\x88"}) {
    for (size_t size = 1; size < character.size(); ++size)
      EXPECT_EQ(replies::ToUtf8(character.substr(0, size)), bad) << character.size() << ' ' << size;
  }
}

TEST(Utf8, JsonReplacesWhatIsIllFormedAndKeepsTheRest) {
  std::string json;
  AppendJsonString(&json, "a\xFF\xE9\x93\xB6\xE9\x93\"\n\x7F\xF0\x9F\x93\x88");
  EXPECT_EQ(json, "\"a\xEF\xBF\xBD\xE9\x93\xB6\xEF\xBF\xBD\\\"\\n\\u007f\xF0\x9F\x93\x88\"");
}

}  // namespace
}  // namespace replies
