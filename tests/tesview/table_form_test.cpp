// The form for people: what a table looks like, in a terminal and elsewhere.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "replies/text.h"
#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::How;
using program::Result;
using viewer::InTerminal;
using viewer::LinesOf;
using viewer::P;
using viewer::Reply;
using viewer::SmallTable;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;
using viewer::Wire;
using viewer::WithoutColor;

TEST(Table, UnsetEmptyAndZeroDifferAndPointsStandBelowEachOther) {
  const Result result = ViewBytes(SmallTable(), {});
  EXPECT_EQ(result.out, "Id 3 (Tbl)  3 rows, 2 columns, " + std::to_string(SmallTable().size()) +
                            " bytes\n"
                            "#  Name      Price\n"
                            "0  平安银行  12.34\n"
                            "1  ''         0.5\n"
                            "2  x          ·\n");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.code, 0);
}

TEST(Table, InnerTablesFollowIndentedUnderTheirPath) {
  const Result result = ViewBytes(TwoKlines(), {"--columns", "Obj,ShiJian,ShouPanJia"});
  EXPECT_EQ(result.out.substr(result.out.find('\n') + 1),
            "#  Obj       Data\n"
            "0  SH600000  2 × 14\n"
            "1  SZ000001  ·\n"
            "\n"
            "  0/Data  SH600000  2 rows\n"
            "  #   ShiJian  ShouPanJia\n"
            "  0  20240617       12.34\n"
            "  1  20240618       12.5\n");
}

TEST(Table, TablesOfOneRowAreJoined) {
  const std::string reply =
      Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' Data { Id: 1 ShiJian: 1 ZuiXinJia: " + P(1234) +
            " } }"
            "RepDataQuoteDynaSingle { Obj: 'B' Data { Id: 1 ShiJian: 1 ZuiXinJia: " +
            P(1234, 0, 1) + " } }");
  const Result result = ViewBytes(reply, {"--columns", "ZuiXinJia"});
  EXPECT_NE(result.out.find("  */Data  1 row each\n"
                            "  #  ZuiXinJia\n"
                            "  0      12.34\n"
                            "  1     -12.34\n"),
            std::string::npos)
      << result.out;
}

TEST(Table, TheMaskOfColumnsIsHexadecimal) {
  // Of the columns only column 1 was sent: mask 2.
  const Result result =
      ViewBytes(Reply("Id: 465 RepDataPcStkData { Obj: 'A' JiaoYiDaiMa: '1' }"), {"--columns", "HasBits"});
  EXPECT_NE(result.out.find("#  HasBits\n0      0x2\n"), std::string::npos) << result.out;
}

TEST(Table, WhatWouldSteerTheTerminalIsShown) {
  const std::string reply = Wire("Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: 'a\\033[2J\\n' }");
  const Result result = ViewBytes(reply, {});
  EXPECT_NE(result.out.find("a\\x1b[2J\\n"), std::string::npos);
  EXPECT_EQ(result.out.find('\x1b'), std::string::npos);
}

TEST(Table, BytesAreHexAndCutToSixteen) {
  const std::string reply = Wire(
      "Info { Name: 'B' Type: 98 } Data { Index: 0 bValues: '' bValues: '\\377' bValues: '0123456789abcdefg'"
      " bValues: '0123456789abcdef' }");
  const Result result = ViewBytes(reply, {});
  EXPECT_NE(result.out.find("0  0 bytes\n1  1 byte: ff\n2  17 bytes: 30313233343536373839616263646566…\n"
                            "3  16 bytes: 30313233343536373839616263646566\n"),
            std::string::npos)
      << result.out;
}

TEST(Terminal, HasBoxesAndColour) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  How how = InTerminal(80);
  how.input = SmallTable();
  const std::string out = View({}, how).out;
  EXPECT_NE(out.find("\x1b[1mName\x1b[0m"), std::string::npos);
  const std::string plain = WithoutColor(out);
  EXPECT_EQ(plain.substr(plain.find('\n') + 1),
            "┌───┬──────────┬───────┐\n"
            "│ # │ Name     │ Price │\n"
            "├───┼──────────┼───────┤\n"
            "│ 0 │ 平安银行 │ 12.34 │\n"
            "│ 1 │ ''       │  0.5  │\n"
            "│ 2 │ x        │  ·    │\n"
            "└───┴──────────┴───────┘\n");
}

TEST(Terminal, NoColorIsObeyedUnlessColourIsAskedFor) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  How how = InTerminal(80);
  how.environment = {"NO_COLOR=1"};
  how.input = SmallTable();
  EXPECT_EQ(View({}, how).out.find('\x1b'), std::string::npos);
  EXPECT_NE(View({"--color", "always"}, how).out.find('\x1b'), std::string::npos);
  How dumb = InTerminal(80);
  dumb.environment.push_back("TERM=dumb");
  dumb.input = SmallTable();
  EXPECT_EQ(View({}, dumb).out.find('\x1b'), std::string::npos);
  EXPECT_EQ(ViewBytes(SmallTable(), {}).out.find('\x1b'), std::string::npos);
  EXPECT_NE(ViewBytes(SmallTable(), {"--color=always"}).out.find('\x1b'), std::string::npos);
}

TEST(Terminal, HasNoLinesInPlainStyle) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  How how = InTerminal(80);
  how.input = SmallTable();
  const std::string plain = WithoutColor(View({"--style", "plain", "--color", "never"}, how).out);
  EXPECT_EQ(plain.substr(plain.find('\n') + 1),
            "#  Name      Price\n"
            "0  平安银行  12.34\n"
            "1  ''         0.5\n"
            "2  x          ·\n");
}

TEST(Terminal, HasColourIfNothingIsSaidOfIt) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  // An empty NO_COLOR forbids nothing, and a terminal without a name is not the dumb one.
  for (const Strings& environment : {Strings{"NO_COLOR=", "TERM=xterm"}, {"NO_COLOR", "TERM"}}) {
    How how = InTerminal(80);
    how.environment = environment;
    how.input = SmallTable();
    EXPECT_NE(View({}, how).out.find("\x1b[1mName\x1b[0m"), std::string::npos) << environment[0];
  }
}

TEST(Terminal, ThatTellsNoWidthHasEightyColumns) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  How how = InTerminal(0);
  how.input = Wire("Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: '" + std::string(100, 'x') + "' }");
  // The row number and the lines take 8.
  EXPECT_NE(View({}, how).out.find(" " + std::string(71, 'x') + "… "), std::string::npos);
}

TEST(Terminal, NothingIsWiderThanTheScreenAndWhatIsCutIsNamed) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  for (const unsigned short columns : std::vector<unsigned short>{30, 60, 100}) {
    How how = InTerminal(columns);
    how.input = TwoKlines();
    const std::string out = WithoutColor(View({}, how).out);
    for (const std::string& line :
         LinesOf(out).size() > 1 ? LinesOf(out.substr(out.find('\n') + 1)) : Strings{})
      EXPECT_LE(replies::DisplayWidth(line), columns) << line;
    EXPECT_NE(out.find("more columns do not fit"), std::string::npos) << out;
  }
  How how = InTerminal(60);
  how.input = TwoKlines();
  EXPECT_EQ(View({"--width", "0"}, how).out.find("do not fit"), std::string::npos);
}

TEST(Terminal, ColumnsThatDoNotFitAreNamedInFullAndOnce) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  const std::string bar = " Data { ShiJian: " + P(20240617, 10) + " }";
  How how = InTerminal(60);
  how.input = Reply("Id: 21 RepDataQuoteKlineSingle { Obj: 'A'" + bar + bar +
                    " } RepDataQuoteKlineSingle { Obj: 'B'" + bar + bar + " }");
  const std::string out = WithoutColor(View({}, how).out);
  EXPECT_NE(out.find("  10 more columns do not fit (--columns, --width 0):\n"
                     "  ShouPanJia, ChengJiaoLiang, ChengJiaoE, ChengJiaoBiShu,\n"
                     "  ShangZhangJiaShu, XiaDieJiaShu, ChiCang, ZengCang,\n"
                     "  ZengLiang, JieSuanJia\n"),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("  10 more columns do not fit\n"), std::string::npos) << out;
}

// What is said of the columns behind the first: `before` blanks short of the width, a name `first`, and then
// 20 names of 28 letters, of which a line of 30 has one.
Strings NoteOf(const std::string& first) {
  std::string table =
      "Info { Name: '" + std::string(22, 'a') + "' Type: 105 } Data { Index: 0 iValues: 0 iValues: 0 }";
  Strings names{first};
  for (int i = 0; i < 20; ++i)
    names.push_back(std::string(26, 'b') + std::to_string(10 + i));
  for (const std::string& name : names)
    table += " Info { Name: '" + name + "' Type: 105 } Data { Index: 1 iValues: 0 iValues: 0 }";
  const Strings lines = LinesOf(ViewBytes(Wire(table), {"--width", "30"}).out);
  // Above it are what the reply is, the heading, and two rows.
  return lines.size() < 4 ? Strings{} : Strings(lines.begin() + 4, lines.end());
}

TEST(Table, TheNoteOfWhatDoesNotFitFillsItsLinesAndEnds) {
  const std::string name(26, 'b');
  // "(--columns, --width 0):" takes 23 columns: a blank and 6 more fill the line.
  Strings expected{"21 more columns do not fit", "(--columns, --width 0): ccccc,"};
  for (int i = 10; i < 19; ++i)
    expected.push_back(name + std::to_string(i) + ",");
  // The twelfth is the last.
  expected.push_back(name + "19,…");
  EXPECT_EQ(NoteOf("ccccc"), expected);
  // One more does not fit.
  expected.insert(expected.begin() + 2, "cccccc,");
  expected[1] = "(--columns, --width 0):";
  expected.pop_back();
  expected.back() = name + "18,…";
  EXPECT_EQ(NoteOf("cccccc"), expected);
}

TEST(Terminal, ASingleWideRowIsTurnedOnItsSide) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  How how = InTerminal(60);
  how.input = Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' Data { Id: 1 ShiJian: 1 ZuiXinJia: " + P(1234) +
                    " } }");
  const std::string out = WithoutColor(View({}, how).out);
  EXPECT_NE(out.find("│ ZuiXinJia          │ 12.34 │\n"), std::string::npos) << out;
}

TEST(Terminal, LongCellsAreCutAsFarAsNeededAndWholeInAPipe) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  const std::string text(100, 'x');
  const std::string reply = Wire("Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: '" + text + "' }");
  How how = InTerminal(80);
  how.input = reply;
  // Of 80 columns the row number and the lines take 8.
  EXPECT_NE(View({}, how).out.find(" " + std::string(71, 'x') + "… "), std::string::npos);
  how.columns = 108;
  EXPECT_NE(View({}, how).out.find(" " + text + " "), std::string::npos);
  EXPECT_NE(ViewBytes(reply, {}).out.find(text), std::string::npos);
}

TEST(Terminal, LongCellsLeaveRoomForOtherColumns) {
  // Two texts of 60 columns: 40 each and lines of 11 fit 91 columns and not 90, and what is left over is
  // used.
  const std::string text(60, 'x');
  const std::string reply =
      Wire("Info { Name: 'N' Type: 115 } Info { Name: 'M' Type: 115 } Data { Index: 0 sValues: '" + text +
           "' sValues: '' } Data { Index: 1 sValues: '" + text + "' sValues: '' }");
  const std::string cut = " " + std::string(39, 'x') + "… ";
  EXPECT_NE(ViewBytes(reply, {"--style", "box", "--width", "91"}).out.find(cut + "│" + cut),
            std::string::npos);
  const std::string longer = " " + std::string(44, 'x') + "… ";
  EXPECT_NE(ViewBytes(reply, {"--style", "box", "--width", "101"}).out.find(longer + "│" + longer),
            std::string::npos);
  const std::string narrow = ViewBytes(reply, {"--style", "box", "--width", "90"}).out;
  EXPECT_NE(narrow.find(" " + text + " "), std::string::npos) << narrow;
  EXPECT_NE(narrow.find("1 more column does not fit (--columns, --width 0): M\n"), std::string::npos)
      << narrow;
}

TEST(Table, ARowOnItsSideIsAsWideAsItsTextIsSeen) {
  const std::string reply = Wire(
      "Info { Name: 'LongNameOfAColumn' Type: 115 } Info { Name: 'OtherColumn' Type: 115 }"
      "Data { Index: 0 sValues: 'abcdefg    ' } Data { Index: 1 sValues: 'x' }");
  const Result result = ViewBytes(reply, {"--style", "box", "--width", "31"});
  const Strings lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 7U);
  EXPECT_EQ(lines[4], "│ LongNameOfAColumn │ abcdefg │");
  EXPECT_EQ(lines[5], "│ OtherColumn       │ x       │");
  // One column less, and the name is what gives way.
  const Strings narrow = LinesOf(ViewBytes(reply, {"--style", "box", "--width", "30"}).out);
  ASSERT_EQ(narrow.size(), 7U);
  EXPECT_EQ(narrow[4], "│ LongNameOfAColu… │ abcdefg │");
}

TEST(Table, ARowOnItsSideMayBeBlank) {
  // A blank, in a column whose name is one: nothing is to be seen of either.
  const std::string reply = Wire(
      "Info { Name: ' ' Type: 115 } Info { Name: 'LongNameOfAColumn' Type: 115 }"
      "Data { Index: 0 sValues: ' ' } Data { Index: 1 sValues: 'abcdefg' }");
  Strings lines = LinesOf(ViewBytes(reply, {"--width", "20"}).out);
  ASSERT_EQ(lines.size(), 4U);
  lines.erase(lines.begin());
  // Of 20 columns the longest value and two blanks leave 11 for the names.
  EXPECT_EQ(lines, (Strings{"column       value", "", "LongNameOf…  abcdefg"}));
}

TEST(Table, OnlyAMaskOfBitsIsHexadecimal) {
  // A column of that name that holds 12.34.
  const std::string out =
      ViewBytes(Wire("Info { Name: 'HasBits' Type: 105 } Data { Index: 0 iValues: " + P(1234) + " }"), {})
          .out;
  EXPECT_EQ(out.substr(out.find('\n') + 1), "#  HasBits\n0    12.34\n");
}

// A table of so many rows, all with the text in a column X.
std::string RowsOfX(const std::string& text, int rows) {
  std::string table = "tValues { Info { Name: 'X' Type: 115 } Data { Index: 0";
  for (int i = 0; i < rows; ++i)
    table += " sValues: '" + text + "'";
  return table + " } } ";
}

TEST(Table, ARowIsNamedByItsFirstTextThatIsThere) {
  // Two rows by the first column. Of the texts behind it the first is empty, or not set.
  const std::string reply = Wire(
      "Info { Name: 'A' Type: 105 } Info { Name: 'N' Type: 115 } Info { Name: 'M' Type: 115 }"
      "Info { Name: 'T' Type: 116 } Data { Index: 0 iValues: 0 iValues: 0 } Data { Index: 1 sValues: '' }"
      "Data { Index: 2 sValues: 'm' sValues: 'k' } Data { Index: 3 " +
      RowsOfX("x", 2) + RowsOfX("x", 2) + "}");
  const std::string out = ViewBytes(reply, {}).out;
  EXPECT_NE(out.find("\n  0/T  m  2 rows\n"), std::string::npos) << out;
  EXPECT_NE(out.find("\n  1/T  k  2 rows\n"), std::string::npos) << out;
}

TEST(Table, TheNameOfARowIsVisibleAndNotLong) {
  const auto heading = [](const std::string& text) {
    const std::string out =
        ViewBytes(
            Wire("Info { Name: 'N' Type: 115 } Info { Name: 'T' Type: 116 } Data { Index: 0 sValues: '" +
                 text + "' } Data { Index: 1 " + RowsOfX("x", 2) + "}"),
            {})
            .out;
    const size_t at = out.find("\n\n");
    return at == std::string::npos ? out : LinesOf(out.substr(at + 2))[0];
  };
  EXPECT_EQ(heading("a\\033[2J\\nb"), "  0/T  a\\x1b[2J\\nb  2 rows");
  EXPECT_EQ(heading(std::string(40, 'n')), "  0/T  " + std::string(40, 'n') + "  2 rows");
  EXPECT_EQ(heading(std::string(41, 'n')), "  0/T  " + std::string(39, 'n') + "\xE2\x80\xA6  2 rows");
}

TEST(Table, OfColumnsThatAreCutTheFirstStays) {
  const std::string column =
      "' Type: 105 } Data { Index: 0 iValues: " + P(1234) + " iValues: " + P(5, 1) + " }";
  const std::string reply = Wire("Info { Name: 'Long" + column + " Info { Name: 'B" + column);
  Strings lines = LinesOf(ViewBytes(reply, {"--width", "5"}).out);
  ASSERT_GE(lines.size(), 4U);
  EXPECT_EQ(Strings(lines.begin() + 1, lines.begin() + 4), (Strings{"#   Long", "0  12.34", "1   0.5"}));
}

TEST(Table, LinesAreAsWideAsTheCellsThatAreCut) {
  const std::string text(30, 'x');
  const std::string out =
      ViewBytes(Wire("Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: '" + text + "' sValues: 'y' }"),
                {"--style", "box", "--width", "20"})
          .out;
  // The row number and the lines take 8 of 20 columns.
  EXPECT_EQ(out.substr(out.find('\n') + 1),
            "┌───┬──────────────┐\n"
            "│ # │ N            │\n"
            "├───┼──────────────┤\n"
            "│ 0 │ xxxxxxxxxxx… │\n"
            "│ 1 │ y            │\n"
            "└───┴──────────────┘\n");
}

TEST(Table, OnlyTablesOfOneRowThatIsShownAreJoined) {
  const auto below = [](const std::string& tables, const Strings& arguments) {
    const std::string out = ViewBytes(Wire(tables), arguments).out;
    return out.substr(out.find("\n\n") + 1);
  };
  const std::string column = "Info { Name: 'T' Type: 116 } Data { Index: 0 ";
  EXPECT_EQ(below(column + RowsOfX("a", 1) + RowsOfX("b", 1) + "}", {}),
            "\n  */T  1 row each\n  #  X\n  0  a\n  1  b\n");
  EXPECT_EQ(below(column + RowsOfX("a", 1) + RowsOfX("b", 2) + "}", {}),
            "\n  0/T  1 row\n  #  X\n  0  a\n\n  1/T  2 rows\n  #  X\n  0  b\n  1  b\n");
  // Rows that are shown for what is in their other tables.
  EXPECT_EQ(
      below(column + RowsOfX("a", 1) + RowsOfX("a", 1) + "} Info { Name: 'U' Type: 116 } Data { Index: 1 " +
                RowsOfX("b", 1) + RowsOfX("b", 1) + "}",
            {"--where", "X=b"}),
      "\n  0/T  1 row\n  #  X\n  0 of 1 rows\n\n  1/T  1 row\n  #  X\n  0 of 1 rows\n"
      "\n  */U  1 row each\n  #  X\n  0  b\n  1  b\n");
}

TEST(Table, PathsHaveTheNamesThatColumnsAreCalledBy) {
  // A column of tables without a name, and one that would steer the terminal: of tables of one row, and not.
  const auto heading = [](const std::string& info, int rows) {
    const std::string out = ViewBytes(Wire("Info { " + info + "Type: 116 } Data { Index: 0 " +
                                           RowsOfX("a", rows) + RowsOfX("b", rows) + "}"),
                                      {})
                                .out;
    const size_t at = out.find("\n\n");
    return at == std::string::npos ? out : LinesOf(out.substr(at + 2))[0];
  };
  EXPECT_EQ(heading("", 1), "  */#0  1 row each");
  EXPECT_EQ(heading("", 2), "  0/#0  2 rows");
  EXPECT_EQ(heading("Name: 'T\\033\\n' ", 1), "  */T\\x1b\\n  1 row each");
  EXPECT_EQ(heading("Name: 'T\\033\\n' ", 2), "  0/T\\x1b\\n  2 rows");
  EXPECT_EQ(heading("Name: 'T\\377' ", 1), "  */T\xEF\xBF\xBD  1 row each");
  EXPECT_EQ(heading("Name: 'T\\377' ", 2), "  0/T\xEF\xBF\xBD  2 rows");
}

TEST(Table, MayBeOfManyMegabytes) {
  // More bytes than there may be cells.
  const std::string text(10'000'001, 'x');
  const std::string reply =
      Wire("Info { Name: 'T' Type: 116 } Data { Index: 0 " + RowsOfX(text, 1) + RowsOfX("y", 2) + "}");
  const Result result = ViewBytes(reply, {});
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.code, 0);
  EXPECT_NE(result.out.find("\n  0  " + text + "\n"), std::string::npos);
}

TEST(Table, WhatIsNoValueIsDim) {
  const std::string out = ViewBytes(SmallTable(), {"--color", "always"}).out;
  EXPECT_EQ(out.substr(out.find('\n') + 1),
            "\x1b[1m#\x1b[0m  \x1b[1mName\x1b[0m      \x1b[1mPrice\x1b[0m\n"
            "\x1b[2m0\x1b[0m  平安银行  12.34\n"
            "\x1b[2m1\x1b[0m  \x1b[2m''\x1b[0m         0.5\n"
            "\x1b[2m2\x1b[0m  x          \x1b[2m·   \x1b[0m\n");
}

TEST(Table, TailOfNoRowsIsItsHeader) {
  const std::string small = ViewBytes(SmallTable(), {"--tail", "0"}).out;
  EXPECT_EQ(small.substr(small.find('\n') + 1), "#  Name  Price\n0 of 3 rows\n");
  // Nothing of the tables inside either.
  const std::string klines = ViewBytes(TwoKlines(), {"--tail", "0"}).out;
  EXPECT_EQ(klines.substr(klines.find('\n') + 1), "#  Obj  Data\n0 of 2 rows\n");
}

TEST(Table, NumbersHaveAtMostFifteenDigits) {
  // 0.1 + 0.2, and 2/3, as doubles of a wire table; csv and ndjson stay exact.
  const std::string reply = Wire(
      "Info { Name: 'D' Type: 100 } Data { Index: 0 dValues: 0.30000000000000004 dValues: 0.66666666666666663 dValues: 12.5 fValues: [0, 0, 0] }");
  const std::string out = ViewBytes(reply, {}).out;
  EXPECT_EQ(out.substr(out.find('\n') + 1),
            "#                   D\n"
            "0   0.3\n"
            "1   0.666666666666667\n"
            "2  12.5\n");
  EXPECT_EQ(ViewBytes(reply, {"--to", "csv"}).out, "D\n0.30000000000000004\n0.6666666666666666\n12.5\n");
}

}  // namespace
