// The line of figures.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <sstream>
#include <string>

#include "replies/text.h"
#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::Files;
using viewer::LinesOf;
using viewer::Reply;
using viewer::SmallTable;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;

TEST(Summary, SaysIdPayloadAndSizes) {
  const Result result = ViewBytes(TwoKlines(), {"--to", "summary"});
  const Strings lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 2u);
  std::stringstream fields(lines[1]);
  std::string id, payload, bytes, rows, columns, tables, all_rows, cells, parse, convert;
  fields >> id >> payload >> bytes >> rows >> columns >> tables >> all_rows >> cells >> parse >> convert;
  EXPECT_EQ(id, "21");
  EXPECT_EQ(payload, "QuoteKlineSingle");
  EXPECT_EQ(bytes, std::to_string(TwoKlines().size()));
  EXPECT_EQ(rows, "2");
  EXPECT_EQ(columns, "2");
  // The outer one and that of the first instrument; 2 + 2 rows; 3 outer cells that are set and 2 x 14 inner
  // ones.
  EXPECT_EQ(tables, "2");
  EXPECT_EQ(all_rows, "4");
  EXPECT_EQ(cells, "31");
  EXPECT_GT(std::stod(parse), 0);
  EXPECT_GE(std::stod(convert), 0);
}

TEST_F(Files, ASummaryIsAlignedWhateverTheNamesLengths) {
  // The longest name of a payload, a long one of a file, and short ones of both.
  const std::string small = Write("b.bin", SmallTable());
  const std::string large = Write(std::string(60, 'n') + "银.bin", Reply("Id: 436"));
  const Strings lines = LinesOf(View({"--to", "summary", small, large}).out);
  ASSERT_EQ(lines.size(), 4U);
  // The last column is aligned to the right.
  EXPECT_EQ(replies::DisplayWidth(lines[1]), replies::DisplayWidth(lines[0]));
  EXPECT_EQ(replies::DisplayWidth(lines[2]), replies::DisplayWidth(lines[0]));
  EXPECT_NE(lines[2].find("  436  DingYueTuiSongYongHuFanHuiShuJu  "), std::string::npos) << lines[2];
  EXPECT_EQ(lines[0].find("payload"), lines[1].find("Tbl"));
}

// Only a file that may hold several replies has their numbers.
TEST_F(Files, ASummaryHasAHeaderForEachKindOfFile) {
  const std::string one = Write("one.bin", SmallTable());
  const std::string many = Write("two.stream", viewer::StreamOf(SmallTable(), 2));
  const Strings lines = LinesOf(View({"--to", "summary", one, many}).out);
  ASSERT_EQ(lines.size(), 7U);
  EXPECT_EQ(lines[0].find(" reply "), std::string::npos) << lines[0];
  EXPECT_EQ(lines[2], "");
  EXPECT_NE(lines[3].find(" reply "), std::string::npos) << lines[3];
  EXPECT_EQ(lines[4].find("two.stream"), lines[1].find("one.bin"));
  EXPECT_EQ(lines[6], "3 replies, " + std::to_string(3 * SmallTable().size()) + " bytes");
}

TEST(Summary, CountsWhatCannotBeShown) {
  const std::string stream =
      viewer::Framed(SmallTable()) + viewer::Framed("\x08\x15\xff") + viewer::Framed(SmallTable());
  const Result result = ViewBytes(stream, {"--to", "summary", "--from", "delimited"});
  const std::string last = LinesOf(result.out).back();
  EXPECT_EQ(last, "3 replies, " + std::to_string(2 * SmallTable().size() + 3) + " bytes, 1 cannot be shown");
}

TEST(Summary, OfBytesThatAreNoReplyHasNoLine) {
  const Result result = ViewBytes("\x02\x08\x16\x01\xFF\x02\x08\x16", {"--to", "summary"});
  EXPECT_EQ(result.code, 1);
  EXPECT_NE(result.err.find("reply 2 at offset 3"), std::string::npos) << result.err;
  const Strings lines = LinesOf(result.out);
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(lines[1].substr(0, 15), "       1     22");
  EXPECT_EQ(lines[2].substr(0, 15), "       3     22");
}

TEST(Summary, OfRepliesWithoutATableHasNoFiguresOfOne) {
  // Id 22, and Id 9999 (0x8F 0x4E), which nobody knows.
  const auto lines = LinesOf(ViewBytes("\x02\x08\x16\x03\x08\x8F\x4E", {"--to", "summary"}).out);
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(
      lines[0],
      "   reply     Id  payload                               bytes     rows  columns   tables   all rows      "
      "cells     parse us   convert us");
  const std::regex known(
      "       1     22  QuoteTickSingle {27}2        -        -        -          -          -  +[0-9]+\\.[0-9] {12}-");
  EXPECT_TRUE(std::regex_match(lines[1], known)) << lines[1];
  const std::regex unknown(
      "       2   9999  \\? {41}3        -        -        -          -          -  +[0-9]+\\.[0-9] {12}-");
  EXPECT_TRUE(std::regex_match(lines[2], unknown)) << lines[2];
}

}  // namespace
