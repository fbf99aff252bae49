// What terminals emphasise, and JSON over many lines.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"
#include "tesview/show/pretty_json.h"

namespace {

using tesview::PrettyJson;
using viewer::Files;
using viewer::Framed;
using viewer::LinesOf;
using viewer::Reply;
using viewer::SmallTable;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;
using viewer::Wire;

std::string InBold(const std::string& text) {
  return "\x1b[1m" + text + "\x1b[0m";
}

std::string InDim(const std::string& text) {
  return "\x1b[2m" + text + "\x1b[0m";
}

std::string InCyan(const std::string& text) {
  return "\x1b[36m" + text + "\x1b[0m";
}

TEST(Style, HeadingsAreBoldPathsCyanAndTheRestOfALineDim) {
  const std::string figures = "2 rows, 2 columns, " + std::to_string(TwoKlines().size()) + " bytes";
  EXPECT_EQ(
      LinesOf(ViewBytes(TwoKlines(), {"--color", "always", "--columns", "Obj,ShiJian,ShouPanJia"}).out),
      (Strings{InBold("Id 21 (QuoteKlineSingle)") + "  " + InDim(figures),
               InBold("#") + "  " + InBold("Obj") + "       " + InBold("Data"),
               InDim("0") + "  SH600000  " + InDim("2 × 14"), InDim("1") + "  SZ000001  " + InDim("·"), "",
               "  " + InCyan("0/Data") + "  " + InBold("SH600000") + "  " + InDim("2 rows"),
               "  " + InBold("#") + "   " + InBold("ShiJian") + "  " + InBold("ShouPanJia"),
               "  " + InDim("0") + "  20240617       12.34", "  " + InDim("1") + "  20240618       12.5"}));
}

TEST(Style, LinesAndWhatIsLeftOutAreDim) {
  Strings lines =
      LinesOf(ViewBytes(SmallTable(), {"--color", "always", "--style", "box", "--head", "1"}).out);
  lines.erase(lines.begin());
  const std::string bar = InDim("│");
  EXPECT_EQ(lines, (Strings{InDim("┌───┬──────────┬───────┐"),
                            bar + " " + InBold("#") + " " + bar + " " + InBold("Name") + "     " + bar + " " +
                                InBold("Price") + " " + bar,
                            InDim("├───┼──────────┼───────┤"),
                            bar + " " + InDim("0") + " " + bar + " 平安银行 " + bar + " 12.34 " + bar,
                            InDim("└───┴──────────┴───────┘"), InDim("1 of 3 rows")}));
}

TEST_F(Files, TitlesTellTheFileAndTheReply) {
  const std::string one =
      Write("one.bin", Wire("Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: 'x' }"));
  const std::string two = Write("two.stream", Framed(Reply("Id: 22")) + Framed(SmallTable()));
  const auto lines = LinesOf(View({one, two}).out);
  ASSERT_GE(lines.size(), 8U);
  const std::string size = std::to_string(viewer::Slurp(one).size());
  EXPECT_EQ(lines[0], one + "  Id 3 (Tbl)  1 row, 1 column, " + size + " bytes");
  EXPECT_EQ(lines[1], "#  N");
  EXPECT_EQ(lines[2], "0  x");
  EXPECT_EQ(lines[3], "");
  EXPECT_EQ(lines[4], two + "  reply 1  Id 22 (QuoteTickSingle)  no table form, as JSON, 2 bytes");
}

// ---- JSON over many lines ----

TEST(PrettyJson, HasALineForEachValue) {
  EXPECT_EQ(PrettyJson(R"({"a": [1, {}, [], {"b": "x\"{,y"}], "c": null, "d": [[2]]})", false),
            "{\n"
            "  \"a\": [\n"
            "    1,\n"
            "    {},\n"
            "    [],\n"
            "    {\n"
            "      \"b\": \"x\\\"{,y\"\n"
            "    }\n"
            "  ],\n"
            "  \"c\": null,\n"
            "  \"d\": [\n"
            "    [\n"
            "      2\n"
            "    ]\n"
            "  ]\n"
            "}\n");
}

TEST(PrettyJson, ColoursKeysAndNothingElse) {
  EXPECT_EQ(PrettyJson(R"({"a": "b", "c": ["d"]})", true), "{\n  " + InCyan("\"a\"") + ": \"b\",\n  " +
                                                               InCyan("\"c\"") +
                                                               ": [\n    \"d\"\n  ]\n"
                                                               "}\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 22"), {"--pretty", "--color", "always"}).out,
            "{\n  " + InCyan("\"Id\"") + ": 22\n}\n");
}

// It is never asked to, but nothing is read or written behind the end.
TEST(PrettyJson, TakesWhatIsNoJson) {
  EXPECT_EQ(PrettyJson("", false), "\n");
  EXPECT_EQ(PrettyJson("}]", false), "\n}\n]\n");
  EXPECT_EQ(PrettyJson("{", false), "{\n  \n");
  EXPECT_EQ(PrettyJson("\"abc", false), "\"abc\n");
  EXPECT_EQ(PrettyJson("\"\\", false), "\"\\\n");
  EXPECT_EQ(PrettyJson("\"", false), "\"\n");
}

}  // namespace
