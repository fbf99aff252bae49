// Wire tables (Id 3): columns come from the reply's own description, and belong to their data by position.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "tesparser/tesparser.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using test_replies::P;
using test_replies::Reply;

// A reply whose payload is the given table.
std::string Wrapped(const std::string& payload) {
  return Reply("Id: 3 Tbl { Info { Name: 'wrapper' Type: 116 } Data { Index: 0 tValues { " + payload +
               " } } }");
}

OwnedTable TableOf(const std::string& payload) {
  return OwnedTable(TesparserPB2Table(Wrapped(payload)));
}

// A first column of n texts, which sets the row count for the columns behind it.
std::string Rows(int n) {
  std::string values;
  for (int i = 0; i < n; ++i)
    values += " sValues: 'r'";
  return "Data { Index: 0" + values + " } ";
}

const char kFirst[] = "Info { Name: 'n' Type: 115 } ";

// ---- the wrapper ----------------------------------------------------------------------------------------

TEST(Wrapper, AbsentOrEmptyGivesNull) {
  for (const char* reply :
       {"Id: 3", "Id: 3 Tbl { }", "Id: 3 Tbl { Data { Index: 0 tValues { } } }",
        "Id: 3 Tbl { Info { Type: 116 } }", "Id: 3 Tbl { Info { Type: 116 } Data { Index: 0 } }"}) {
    EXPECT_EQ(TesparserPB2Table(Reply(reply)), nullptr) << reply;
  }
}

TEST(Wrapper, FlatTableAtTheTopGivesNull) {
  EXPECT_EQ(TesparserPB2Table(Reply("Id: 3 Tbl { Info { Type: 105 } Data { Index: 0 iValues: [1, 2] } }")),
            nullptr);
  EXPECT_EQ(TesparserPB2Table(Reply("Id: 3 Tbl { Info { Type: 115 } Data { Index: 0 sValues: 'a' } }")),
            nullptr);
}

TEST(Wrapper, FirstColumnMustSayThatItHoldsTables) {
  const auto wrapper = [](const std::string& info) {
    return OwnedTable(TesparserPB2Table(Reply("Id: 3 Tbl { " + info +
                                              " Data { Index: 0 tValues { Info { Type: 115 } "
                                              "Data { Index: 0 sValues: 'a' } } } }")));
  };
  EXPECT_NE(wrapper("Info { Type: 116 }"), nullptr);
  EXPECT_EQ(wrapper("Info { Type: 105 }"), nullptr);
  EXPECT_EQ(wrapper("Info { }"), nullptr);
  EXPECT_EQ(wrapper("Info { Type: 244 }"), nullptr);  // 116 and the array flag
  EXPECT_EQ(wrapper("Info { Type: 105 } Info { Type: 116 }"), nullptr);
}

TEST(Wrapper, OnlyItsFirstCellIsShown) {
  const OwnedTable table(TesparserPB2Table(Reply(
      "Id: 3 Tbl { Tiid: 9 Name: 'x' Memo: 'y' Info { Name: 'a' Type: 116 } Info { Name: 'b' Type: 116 } "
      "Data { Index: 5 tValues { Info { Name: 'one' Type: 115 } Data { Index: 0 sValues: '1' } } "
      "               tValues { Info { Name: 'two' Type: 115 } Data { Index: 0 sValues: ['2', '3'] } } } "
      "Data { Index: 0 tValues { Info { Name: 'three' Type: 115 } Data { Index: 0 sValues: '4' } } } "
      "DataX { Index: 0 tValue { Info { Name: 'four' Type: 115 } } } }")));
  EXPECT_EQ(SpecOf(table.get()), "one:s;");
  EXPECT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "1");
}

TEST(Wrapper, NeedsNoFittingCountOfColumns) {
  // Two columns are described and one has data: only the payload's own counts matter.
  const OwnedTable table(TesparserPB2Table(
      Reply("Id: 3 Tbl { Info { Type: 116 } Info { Type: 105 } Data { Index: 0 tValues { Info { Type: 115 } "
            "Data { Index: 0 sValues: '1' } } } }")));
  EXPECT_NE(table, nullptr);
}

// ---- the spec -------------------------------------------------------------------------------------------

TEST(WireSpec, LetterOfEveryType) {
  const OwnedTable table = TableOf(
      "Info { Name: 'Text' Type: 115 } Info { Name: 'Int' Type: 105 } Info { Name: 'SInt' Type: 120 } "
      "Info { Name: 'Float' Type: 102 } Info { Name: 'Double' Type: 100 } Info { Name: 'Binary' Type: 98 } "
      "Info { Name: 'Table' Type: 116 } Info { Name: 'Unknow' Type: 0 } Info { Name: 'Array' Type: 128 } "
      "Info { Name: 'ArrayInt' Type: 233 } Info { Name: 'ArraySInt' Type: 248 } Info { Name: 'ArrayFloat' "
      "Type: 230 } "
      "Info { Name: 'ArrayDouble' Type: 228 } Info { Name: 'ArrayString' Type: 243 } Info { Name: 'None' } "
      "Info { Name: 'Other' Type: 113 } Info { Name: 'Negative' Type: -105 } " +
      Rows(1) +
      "Data { Index: 1 } Data { Index: 2 } Data { Index: 3 } Data { Index: 4 } Data { Index: 5 } Data { "
      "Index: 6 } "
      "Data { Index: 7 } Data { Index: 8 } Data { Index: 9 } Data { Index: 10 } Data { Index: 11 } Data { "
      "Index: 12 } "
      "Data { Index: 13 } Data { Index: 14 } Data { Index: 15 } Data { Index: 16 }");
  EXPECT_EQ(SpecOf(table.get()),
            "Text:s;Int:d;SInt:d;Float:f;Double:d;Binary:b;Table:t;Unknow:q;Array:q;ArrayInt:q;ArraySInt:q;"
            "ArrayFloat:q;ArrayDouble:q;ArrayString:q;None:q;Other:q;Negative:q;");
  EXPECT_EQ(SetColumns(table.get(), 0), "0");
}

TEST(WireSpec, TableHasNoName) {
  const OwnedTable table = TableOf(std::string("Name: 'payload' Memo: 'm' Tiid: 3 ") + kFirst + Rows(1));
  EXPECT_STREQ(table_name(table.get()), "");
}

TEST(WireSpec, AbsentNameGivesAnEmptyOne) {
  const OwnedTable table = TableOf(
      "Info { Type: 105 } Info { Name: '' Type: 115 } Data { Index: 0 iValues: 7 } "
      "Data { Index: 1 sValues: 'a' }");
  EXPECT_EQ(SpecOf(table.get()), ":d;:s;");
  EXPECT_EQ(table_get_double(table.get(), 0, 0), 0.07);
  EXPECT_EQ(TextAt(table.get(), 0, 1), "a");
}

TEST(WireSpec, NamesAreNotTranscoded) {
  const OwnedTable table = TableOf("Info { Name: '名称' Type: 115 } " + Rows(1));
  EXPECT_STREQ(table_col_name(table.get(), 0), "名称");
}

TEST(WireSpec, ColonInANameIsPartOfIt) {
  const OwnedTable table = TableOf("Info { Name: 'a:b' Type: 115 } Info { Name: 'c:q' Type: 105 } " +
                                   Rows(1) + "Data { Index: 1 iValues: 250 }");
  EXPECT_EQ(table_cols(table.get()), 2);
  EXPECT_EQ(SpecOf(table.get()), "a:b:s;c:q:d;");
  EXPECT_EQ(table_get_double(table.get(), 0, 1), 2.5);
}

// A name with the separator in it splits its entry in two; nothing worse may come of it.
TEST(WireSpec, SeparatorInANameShiftsTheColumnsBehindIt) {
  const OwnedTable table = TableOf("Info { Name: 'a;b' Type: 115 } Info { Name: 'c' Type: 105 } " + Rows(1) +
                                   "Data { Index: 1 iValues: 250 }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table_cols(table.get()), 3);
  EXPECT_STREQ(table_col_name(table.get(), 1), "b");
  EXPECT_STREQ(table_col_name(table.get(), 2), "c");
  // The first value meets a column that holds nothing, the second one a text column.
  EXPECT_EQ(SetColumns(table.get(), 0), "");
}

TEST(WireSpec, NameThatIsASpecItselfIsSafe) {
  for (const char* name : {"x:t;y", "x:53q;y", ";;;", ":", "x:999999999q;y", "x:t", "a b", " ", "\\t"}) {
    const OwnedTable table =
        TableOf(std::string("Info { Name: '") + name + "' Type: 115 } Info { Name: 'c' Type: 98 } " +
                Rows(2) + "Data { Index: 1 bValues: ['x', 'yy'] }");
    ASSERT_NE(table, nullptr) << name;
    EXPECT_EQ(table_rows(table.get()), 2);
  }
}

TEST(WireSpec, SameNameTwiceStandsTwice) {
  const OwnedTable table = TableOf("Info { Name: 'a' Type: 115 } Info { Name: 'a' Type: 115 } " + Rows(1) +
                                   "Data { Index: 0 sValues: 'second' }");
  EXPECT_EQ(SpecOf(table.get()), "a:s;a:s;");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "second");
}

// ---- the row count --------------------------------------------------------------------------------------

TEST(WireRows, FirstColumnCountsByTheFieldOfItsType) {
  // Every other field of the column has another count.
  const auto rows = [](int type) {
    const OwnedTable table =
        TableOf("Info { Name: 'c' Type: " + std::to_string(type) +
                " } Data { Index: 0 iValues: [1] xValues: [1, 2] fValues: [1, 2, 3] "
                "dValues: [1, 2, 3, 4] sValues: ['a', 'b', 'c', 'd', 'e'] "
                "bValues: ['a', 'b', 'c', 'd', 'e', 'f'] tValues { } tValues { } tValues { } "
                "tValues { } tValues { } tValues { } tValues { } aValues { } }");
    return table == nullptr ? -1 : table_rows(table.get());
  };
  EXPECT_EQ(rows(105), 1);
  EXPECT_EQ(rows(120), 2);
  EXPECT_EQ(rows(102), 3);
  EXPECT_EQ(rows(100), 4);
  EXPECT_EQ(rows(115), 5);
  EXPECT_EQ(rows(98), 6);
  EXPECT_EQ(rows(116), 7);
  EXPECT_EQ(rows(233), -1);
  EXPECT_EQ(rows(0), -1);
  EXPECT_EQ(rows(128), -1);
}

TEST(WireRows, ColumnsAndDataMustBeEquallyMany) {
  const std::string infos = "Info { Type: 115 } Info { Type: 115 } Info { Type: 115 } ";
  EXPECT_EQ(TableOf(infos + Rows(1) + Rows(1)), nullptr);
  EXPECT_NE(TableOf(infos + Rows(1) + Rows(1) + Rows(1)), nullptr);
  EXPECT_EQ(TableOf(infos + Rows(1) + Rows(1) + Rows(1) + Rows(1)), nullptr);
}

TEST(WireRows, NoColumnsNoDataNoValuesGiveNull) {
  EXPECT_EQ(TableOf(""), nullptr);
  EXPECT_EQ(TableOf(kFirst), nullptr);
  EXPECT_EQ(TableOf(Rows(1)), nullptr);
  EXPECT_EQ(TableOf(kFirst + Rows(0)), nullptr);
}

TEST(WireRows, SingleValueFormHasNoTable) {
  EXPECT_EQ(TableOf("Info { Name: 'c' Type: 115 } DataX { Index: 0 sValue: 'a' }"), nullptr);
  // Nor is it looked at beside columns.
  const OwnedTable table = TableOf(kFirst + Rows(1) + "DataX { Index: 0 sValue: 'b' }");
  EXPECT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "r");
}

TEST(WireRows, ArrayColumnInFirstPlaceGivesNull) {
  EXPECT_EQ(TableOf("Info { Name: 'a' Type: 233 } Info { Name: 'n' Type: 115 } "
                    "Data { Index: 0 iValues: 1 aValues { iValues: 1 } } " +
                    Rows(1)),
            nullptr);
}

TEST(WireRows, ArrayColumnInThirdPlaceStaysEmpty) {
  const OwnedTable table = TableOf(
      "Info { Name: 'n' Type: 115 } Info { Name: 'i' Type: 105 } Info { Name: 'a' Type: 233 } " + Rows(2) +
      "Data { Index: 1 iValues: [100, 200] } Data { Index: 2 iValues: [1, 2] aValues { iValues: [1, 2] } "
      "aValues { } }");
  EXPECT_EQ(SpecOf(table.get()), "n:s;i:d;a:q;");
  EXPECT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1");
  EXPECT_EQ(SetColumns(table.get(), 1), "0 1");
}

TEST(WireRows, ColumnsWithFewerValuesLeaveTheirLastCells) {
  const OwnedTable table = TableOf(
      "Info { Type: 115 } Info { Type: 105 } Info { Type: 120 } Info { Type: 102 } "
      "Info { Type: 98 } Info { Type: 115 } " +
      Rows(3) +
      "Data { Index: 0 iValues: [100, 200] } Data { Index: 0 xValues: 100 } "
      "Data { Index: 0 fValues: [1, 2] } Data { Index: 0 bValues: 'a' } Data { Index: 0 }");
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2 3 4");
  EXPECT_EQ(SetColumns(table.get(), 1), "0 1 3");
  EXPECT_EQ(SetColumns(table.get(), 2), "0");
}

TEST(WireRows, ValuesBeyondTheEndAreDropped) {
  const OwnedTable table = TableOf(
      "Info { Type: 115 } Info { Type: 105 } Info { Type: 120 } Info { Type: 102 } "
      "Info { Type: 98 } Info { Type: 115 } Info { Type: 100 } " +
      Rows(1) +
      "Data { Index: 0 iValues: [100, 200] } Data { Index: 0 xValues: [300, 1] } "
      "Data { Index: 0 fValues: [4, 5] } Data { Index: 0 bValues: ['a', 'b'] } "
      "Data { Index: 0 sValues: ['c', 'd'] } "
      "Data { Index: 0 fValues: [0, 0] dValues: [6, 7] }");
  EXPECT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(table_get_double(table.get(), 0, 1), 1.0);
  EXPECT_EQ(table_get_double(table.get(), 0, 2), 3.0);
  EXPECT_EQ(table_get_float(table.get(), 0, 3), 4.0F);
  EXPECT_EQ(TextAt(table.get(), 0, 5), "c");
  EXPECT_EQ(table_get_double(table.get(), 0, 6), 6.0);
  EXPECT_EQ(SetColumns(table.get(), 1), "");
}

TEST(WireRows, PositionCountsNotTheIndex) {
  const OwnedTable table = TableOf(
      "Info { Name: 'a' Type: 115 } Info { Name: 'b' Type: 115 } "
      "Data { Index: 1 sValues: 'first' } Data { Index: 0 sValues: 'second' }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "first");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "second");
}

// ---- columns of values ----------------------------------------------------------------------------------

TEST(WirePacked, EveryValueIsDecoded) {
  const OwnedTable table =
      TableOf("Info { Name: 'c' Type: 105 Ratio: 5 } Data { Index: 0 iValues: [" + P(1234) + ", " +
              P(1234, 3, 1) + ", 131072, -1, " + P(5, 11) + ", " + P(0, 0, 1) + ", " + P(70000, 10) + "] }");
  ASSERT_EQ(table_rows(table.get()), 7);
  const auto at = [&table](int row) { return table_get_double(table.get(), row, 0); };
  EXPECT_EQ(at(0), 12.34);  // the ratio has no effect here
  EXPECT_EQ(at(1), -1.234);
  EXPECT_EQ(at(2), 0.0);
  EXPECT_EQ(at(3), 0.0);
  EXPECT_EQ(at(4), 0.0);
  EXPECT_EQ(at(5), 0.0);
  EXPECT_TRUE(std::signbit(at(5)));
  EXPECT_EQ(at(6), 70000.0);
  for (int row = 0; row < 7; ++row)
    EXPECT_EQ(SetColumns(table.get(), row), "0");
}

OwnedTable Deltas(const std::string& values, const std::string& ratio = "") {
  return TableOf("Info { Name: 'c' Type: 120 " + ratio + " } Data { Index: 0 xValues: [" + values + "] }");
}

double At(const OwnedTable& table, int row) {
  EXPECT_EQ(table_is_set(table.get(), row, 0), 1);
  return table_get_double(table.get(), row, 0);
}

TEST(WireDelta, StepsInUnitsOfTheFirstDivisor) {
  for (const char* ratio : {"", "Ratio: 0"}) {
    const OwnedTable table = Deltas("0x4D2, 5, -3", ratio);
    ASSERT_EQ(table_rows(table.get()), 3);
    EXPECT_EQ(At(table, 0), 12.34);
    EXPECT_EQ(At(table, 1), 12.34 + 5 / 100.0);
    EXPECT_NEAR(At(table, 1), 12.39, 1e-9);
    EXPECT_EQ(At(table, 2), 12.34 + 5 / 100.0 + -3 / 100.0);
    EXPECT_NEAR(At(table, 2), 12.36, 1e-9);
  }
}

TEST(WireDelta, RatioScalesTheStepsAndNotTheFirstValue) {
  const OwnedTable table = Deltas("0x4D2, 5, -3", "Ratio: 2");
  EXPECT_EQ(At(table, 0), 12.34);
  EXPECT_EQ(At(table, 1), 12.34 + 5 / 100.0 * 2);
  EXPECT_NEAR(At(table, 1), 12.44, 1e-9);
  EXPECT_EQ(At(table, 2), 12.34 + 5 / 100.0 * 2 + -3 / 100.0 * 2);
  EXPECT_NEAR(At(table, 2), 12.38, 1e-9);
}

TEST(WireDelta, NegativeRatio) {
  const OwnedTable table = Deltas(P(10, 10) + ", 4", "Ratio: -3");
  EXPECT_EQ(At(table, 0), 10.0);
  EXPECT_EQ(At(table, 1), -2.0);
}

TEST(WireDelta, WholeNumbersStepByOne) {
  const OwnedTable table = Deltas(P(7, 10) + ", 5, -3");
  EXPECT_EQ(At(table, 0), 7.0);
  EXPECT_EQ(At(table, 1), 12.0);
  EXPECT_EQ(At(table, 2), 9.0);
}

TEST(WireDelta, SignOfTheFirstValueDoesNotTurnTheSteps) {
  const OwnedTable table = Deltas(P(1250, 0, 1) + ", 25");  // -12.5, 0.25
  EXPECT_EQ(At(table, 0), -12.5);
  EXPECT_EQ(At(table, 1), -12.25);
}

// Steps are plain numbers: what would be packed in the first place counts as it stands.
TEST(WireDelta, StepsAreNotPacked) {
  const OwnedTable table = Deltas(P(0, 10) + ", 131072, 1048576");
  EXPECT_EQ(At(table, 1), 131072.0);
  EXPECT_EQ(At(table, 2), 131072.0 + 1048576.0);
}

TEST(WireDelta, UndecodableFirstValueStartsAtZeroInWholes) {
  for (const std::string& first : {std::string("-1"), std::string("131072"), P(1234, 11), P(1234, 2, 1)}) {
    const OwnedTable table = Deltas(first + ", 5, -3");
    EXPECT_EQ(At(table, 0), 0.0) << first;
    EXPECT_EQ(At(table, 1), 5.0) << first;
    EXPECT_EQ(At(table, 2), 2.0) << first;
  }
}

// Each step is divided, scaled and added as doubles, one after the other: 0.1 ten times is not 1.
TEST(WireDelta, RunsAsADouble) {
  const OwnedTable table = Deltas(P(0, 1) + ", 1, 1, 1, 1, 1, 1, 1, 1, 1, 1");
  EXPECT_EQ(At(table, 3), 0.30000000000000004);
  EXPECT_EQ(At(table, 10), 0.9999999999999999);
}

TEST(WireDelta, LargeStepsDoNotOverflow) {
  const OwnedTable table =
      Deltas(P(0, 10) + ", 9223372036854775807, 9223372036854775807", "Ratio: 2147483647");
  EXPECT_EQ(At(table, 1), 9223372036854775808.0 * 2147483647.0);
  EXPECT_EQ(At(table, 2), 2 * (9223372036854775808.0 * 2147483647.0));
}

TEST(WireDelta, EmptyColumnBehindTheFirstStaysUnset) {
  const OwnedTable table =
      TableOf(std::string(kFirst) + "Info { Name: 'c' Type: 120 } " + Rows(2) + "Data { Index: 1 }");
  EXPECT_EQ(SetColumns(table.get(), 0), "0");
}

TEST(WireFloat, StandsAsItIs) {
  const OwnedTable table =
      TableOf("Info { Name: 'c' Type: 102 } Data { Index: 0 fValues: [0.1, -0.0, 3e38] }");
  EXPECT_EQ(table_get_float(table.get(), 0, 0), 0.1F);
  EXPECT_TRUE(std::signbit(table_get_float(table.get(), 1, 0)));
  EXPECT_EQ(table_get_float(table.get(), 2, 0), 3e38F);
}

TEST(WireDouble, ValuesAloneStayUnset) {
  const OwnedTable table = TableOf("Info { Name: 'c' Type: 100 } Data { Index: 0 dValues: [1, 2, 3] }");
  ASSERT_EQ(table_rows(table.get()), 3);
  for (int row = 0; row < 3; ++row)
    EXPECT_EQ(table_is_set(table.get(), row, 0), 0);
}

TEST(WireDouble, AsManyRowsAsThereAreFloats) {
  const OwnedTable table =
      TableOf("Info { Name: 'c' Type: 100 } Data { Index: 0 dValues: [0.1, 2, 3] fValues: [7, 8] }");
  EXPECT_EQ(At(table, 0), 0.1);
  EXPECT_EQ(At(table, 1), 2.0);
  EXPECT_EQ(table_is_set(table.get(), 2, 0), 0);
}

TEST(WireDouble, MoreFloatsThanValuesLeaveTheRestUnset) {
  const OwnedTable table = TableOf(std::string(kFirst) + "Info { Name: 'c' Type: 100 } " + Rows(3) +
                                   "Data { Index: 1 dValues: 0.5 fValues: [7, 8, 9] }");
  EXPECT_EQ(table_get_double(table.get(), 0, 1), 0.5);
  EXPECT_EQ(SetColumns(table.get(), 1), "0");
  EXPECT_EQ(SetColumns(table.get(), 2), "0");
}

TEST(WireDouble, FloatsAloneGiveNull) {
  EXPECT_EQ(TableOf("Info { Name: 'c' Type: 100 } Data { Index: 0 fValues: [7, 8] }"), nullptr);
}

TEST(WireColumn, HasTheValuesOfItsTypeAlone) {
  const auto table_of = [](int type) {
    return TableOf("Info { Name: 'c' Type: " + std::to_string(type) +
                   " } Data { Index: 0 xValues: 100 iValues: 200 fValues: 3 dValues: 4 sValues: 'a' "
                   "bValues: 'b' }");
  };
  EXPECT_EQ(table_get_double(table_of(120).get(), 0, 0), 1.0);
  EXPECT_EQ(table_get_double(table_of(105).get(), 0, 0), 2.0);
  EXPECT_EQ(table_get_float(table_of(102).get(), 0, 0), 3.0F);
  EXPECT_EQ(table_get_double(table_of(100).get(), 0, 0), 4.0);
  EXPECT_EQ(TextAt(table_of(115).get(), 0, 0), "a");
}

TEST(WireText, IsTranscoded) {
  const OwnedTable table =
      TableOf("Info { Name: 'c' Type: 115 } Data { Index: 0 sValues: ['中国', '', 'A股', 'x\\000y'] }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "\xD6\xD0\xB9\xFA");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "");
  EXPECT_EQ(TextAt(table.get(), 2, 0), "A\xB9\xC9");
  EXPECT_EQ(TextAt(table.get(), 3, 0), "x");
}

TEST(WireBinary, StandsAsItIs) {
  const OwnedTable table =
      TableOf("Info { Name: 'c' Type: 98 } Data { Index: 0 bValues: ['a\\000b', '', '中'] }");
  const auto bytes = [&table](int row) {
    int size = -1;
    const void* data = table_get_binary(table.get(), row, 0, &size);
    return data == nullptr ? "(unset)"
                           : std::string(static_cast<const char*>(data), static_cast<size_t>(size));
  };
  EXPECT_EQ(bytes(0), std::string("a\0b", 3));
  EXPECT_EQ(bytes(1), "");
  EXPECT_EQ(bytes(2), "中");
}

// ---- columns of tables ----------------------------------------------------------------------------------

TEST(WireTables, EachCellIsATable) {
  const OwnedTable table = TableOf(
      "Info { Name: 't' Type: 116 } Data { Index: 0 "
      "tValues { Info { Name: 'a' Type: 105 } Info { Name: 'b' Type: 115 } Data { Index: 0 iValues: [100, "
      "200] } "
      "          Data { Index: 0 sValues: ['中', 'y'] } } "
      "tValues { Data { Index: 0 iValues: 300 } Data { Index: 0 sValues: 'z' } } }");
  ASSERT_EQ(table_rows(table.get()), 2);
  void* first = table_get_table(table.get(), 0, 0);
  EXPECT_EQ(SpecOf(first), "a:d;b:s;");
  EXPECT_STREQ(table_name(first), "");
  EXPECT_EQ(table_rows(first), 2);
  EXPECT_EQ(table_get_double(first, 1, 0), 2.0);
  EXPECT_EQ(TextAt(first, 0, 1), "\xD6\xD0");
  void* second = table_get_table(table.get(), 1, 0);
  EXPECT_EQ(SpecOf(second), "a:d;b:s;");
  EXPECT_EQ(table_rows(second), 1);
  EXPECT_EQ(TextAt(second, 0, 1), "z");
}

TEST(WireTables, DescriptionStandsInTheFirstOnly) {
  // The second table describes itself otherwise, with another type and name; the first one's words count.
  const OwnedTable table = TableOf(
      "Info { Name: 't' Type: 116 } Data { Index: 0 "
      "tValues { Info { Name: 'a' Type: 105 } Data { Index: 0 iValues: 100 } } "
      "tValues { Info { Name: 'b' Type: 115 } Data { Index: 0 iValues: 200 sValues: ['x', 'y'] } } }");
  void* second = table_get_table(table.get(), 1, 0);
  EXPECT_EQ(SpecOf(second), "a:d;");
  EXPECT_EQ(table_rows(second), 1);
  EXPECT_EQ(table_get_double(second, 0, 0), 2.0);
}

TEST(WireTables, CellThatDoesNotFitIsLostAlone) {
  // The second table has two columns, by its own description; the column's has one.
  const OwnedTable table = TableOf(
      "Info { Name: 't' Type: 116 } Data { Index: 0 "
      "tValues { Info { Name: 'a' Type: 105 } Data { Index: 0 iValues: 100 } } "
      "tValues { Info { Name: 'a' Type: 105 } Info { Name: 'b' Type: 105 } Data { Index: 0 iValues: 200 } "
      "          Data { Index: 1 iValues: 300 } } "
      "tValues { Data { Index: 0 iValues: 400 } } }");
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_NE(table_get_table(table.get(), 0, 0), nullptr);
  EXPECT_EQ(table_get_table(table.get(), 1, 0), nullptr);
  EXPECT_EQ(table_is_set(table.get(), 1, 0), 0);
  EXPECT_EQ(table_get_double(table_get_table(table.get(), 2, 0), 0, 0), 4.0);
}

TEST(WireTables, FirstWithoutDescriptionLosesThemAll) {
  const OwnedTable table = TableOf(
      "Info { Name: 't' Type: 116 } Data { Index: 0 tValues { } "
      "tValues { Info { Name: 'a' Type: 105 } Data { Index: 0 iValues: 100 } } }");
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(table_get_table(table.get(), 0, 0), nullptr);
  EXPECT_EQ(table_get_table(table.get(), 1, 0), nullptr);
}

TEST(WireTables, EmptyColumnBehindTheFirst) {
  const OwnedTable table =
      TableOf(std::string(kFirst) + "Info { Name: 't' Type: 116 } " + Rows(2) + "Data { Index: 1 }");
  EXPECT_EQ(SpecOf(table.get()), "n:s;t:t;");
  EXPECT_EQ(SetColumns(table.get(), 0), "0");
}

TEST(WireTables, FewerAndMoreTablesThanRows) {
  const char kTables[] =
      "Data { Index: 1 tValues { Info { Name: 'a' Type: 105 } Data { Index: 0 iValues: 100 } } "
      "                tValues { Data { Index: 0 iValues: 200 } } }";
  const std::string infos = std::string(kFirst) + "Info { Name: 't' Type: 116 } ";
  const OwnedTable three = TableOf(infos + Rows(3) + kTables);
  EXPECT_EQ(SetColumns(three.get(), 1), "0 1");
  EXPECT_EQ(SetColumns(three.get(), 2), "0");
  const OwnedTable one = TableOf(infos + Rows(1) + kTables);
  EXPECT_EQ(table_rows(one.get()), 1);
  EXPECT_EQ(table_get_double(table_get_table(one.get(), 0, 1), 0, 0), 1.0);
}

TEST(WireTables, NestThreeDeep) {
  const OwnedTable table = TableOf(
      "Info { Name: 'x' Type: 116 } Data { Index: 0 tValues { Info { Name: 'y' Type: 116 } Data { Index: 0 "
      "tValues { "
      "Info { Name: 'z' Type: 120 } Data { Index: 0 xValues: [1234, 5] } } } } }");
  void* inner = table_get_table(table_get_table(table.get(), 0, 0), 0, 0);
  EXPECT_EQ(SpecOf(inner), "z:d;");
  EXPECT_EQ(table_get_double(inner, 1, 0), 12.34 + 0.05);
}

}  // namespace
