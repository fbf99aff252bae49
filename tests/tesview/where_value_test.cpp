#include "tesview/show/where_value.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "tsl_base/table.hpp"

namespace tesview {
namespace {

using tsl_base::Table;

constexpr int64_t kLeast = std::numeric_limits<int64_t>::min();

// A row of cells, and one that is not set.
class Cells : public testing::Test {
 protected:
  Cells() : table_("Q:q;U:Q;D:d;F:f;S:s;N:3i;B:b;I:i;V:V", 2) { columns_ = ColumnsOf(table_.view()); }

  bool Is(const std::string& text, int row = 0) {
    Where where;
    std::string error;
    EXPECT_TRUE(where.Add(text, &error)) << error;
    const WhereCondition& condition = *where.conditions()[0];
    const Column* column = FindColumn(columns_, condition.column);
    EXPECT_NE(column, nullptr);
    return IsComparable(condition, *column) && Holds(condition, table_.view(), row, *column);
  }

  Table table_;
  std::vector<Column> columns_;
};

TEST_F(Cells, WholeNumbersAreComparedExactly) {
  // Two numbers beside each other that no double tells apart: 2^53 and one more.
  table_set_int64(table_.get(), 0, 0, 9007199254740993);
  EXPECT_TRUE(Is("Q = 9007199254740993"));
  EXPECT_FALSE(Is("Q = 9007199254740992"));
  EXPECT_TRUE(Is("Q = 9007199254740993.00"));
  EXPECT_TRUE(Is("Q > 9007199254740992"));
  EXPECT_TRUE(Is("Q != 9007199254740992.00"));
  EXPECT_TRUE(Is("Q < 9007199254740994"));
  table_set_int64(table_.get(), 0, 0, kLeast);
  EXPECT_TRUE(Is("Q = -9223372036854775808"));
  EXPECT_TRUE(Is("Q > -9223372036854775809"));
  EXPECT_TRUE(Is("Q > -1e30"));
  EXPECT_FALSE(Is("Q > -9.2e18"));
  EXPECT_TRUE(Is("Q < 18446744073709551615"));
  table_set_uint64(table_.get(), 0, 1, 18446744073709551615U);
  EXPECT_TRUE(Is("U = 18446744073709551615"));
  EXPECT_TRUE(Is("U = 0xFFFFFFFFFFFFFFFF"));
  EXPECT_TRUE(Is("U < 18446744073709551616"));
  EXPECT_TRUE(Is("U > -1"));
}

TEST_F(Cells, AWholeNumberIsComparedWithAFraction) {
  table_set_int64(table_.get(), 0, 0, 12);
  EXPECT_TRUE(Is("Q < 12.5"));
  EXPECT_TRUE(Is("Q > 11.5"));
  EXPECT_FALSE(Is("Q = 12.5"));
  EXPECT_TRUE(Is("Q = 12.0"));
  EXPECT_TRUE(Is("Q = 1.2e1"));
  EXPECT_TRUE(Is("Q = +12"));
  table_set_int64(table_.get(), 0, 0, -12);
  EXPECT_TRUE(Is("Q > -12.5"));
  EXPECT_TRUE(Is("Q < -11.5"));
  table_set_int64(table_.get(), 0, 0, 0);
  EXPECT_TRUE(Is("Q > -0.5"));
  EXPECT_TRUE(Is("Q = -0"));
}

TEST_F(Cells, FloatingNumbersAreWhatTheyAreWrittenAs) {
  table_set_double(table_.get(), 0, 2, 0.1);
  EXPECT_TRUE(Is("D = 0.1"));
  EXPECT_TRUE(Is("D < 0.10000000000000002"));
  // The float nearest to 0.1 is another number than the double.
  table_set_float(table_.get(), 0, 3, 0.1F);
  EXPECT_TRUE(Is("F = 0.1"));
  EXPECT_FALSE(Is("F > 0.1"));
  EXPECT_TRUE(Is("F < 1e300"));
  EXPECT_TRUE(Is("F > 1e-300"));
  EXPECT_TRUE(Is("F > -1e-300"));
  EXPECT_TRUE(Is("F > -1e300"));
  EXPECT_FALSE(Is("F = -0.1"));
  EXPECT_TRUE(Is("F > -0.1"));
  table_set_float(table_.get(), 0, 3, -0.1F);
  EXPECT_TRUE(Is("F = -0.1"));
  EXPECT_FALSE(Is("F = 0.1"));
  EXPECT_TRUE(Is("F < 0.1"));
  EXPECT_TRUE(Is("F < -1e-300"));
  EXPECT_TRUE(Is("F > -1e300"));
  table_set_double(table_.get(), 0, 2, std::numeric_limits<double>::infinity());
  EXPECT_TRUE(Is("D > 1e308"));
  EXPECT_TRUE(Is("D = inf"));
  table_set_double(table_.get(), 0, 2, std::numeric_limits<double>::quiet_NaN());
  EXPECT_FALSE(Is("D = 1"));
  EXPECT_FALSE(Is("D != 1"));
  EXPECT_FALSE(Is("D != nan"));
}

TEST_F(Cells, DecimalNumbersToo) {
  table_set_vfloat(table_.get(), 0, 8, VFloat(1234, 2));
  EXPECT_TRUE(Is("V = 12.34"));
  EXPECT_TRUE(Is("V > 12.3"));
}

// A number at an end of each type is itself, and beside its neighbours.
TEST(WhereNumber, IsComparedWithEveryType) {
  const Table table("a:c;b:h;c:i;d:C;e:H;f:I;g:P", 1);
  const auto set = [&table](int col, auto value) {
    table_set_buff(table.get(), 0, col, &value, sizeof value, 0);
  };
  set(0, std::numeric_limits<int8_t>::min());
  set(1, std::numeric_limits<int16_t>::min());
  set(2, std::numeric_limits<int32_t>::min());
  set(3, std::numeric_limits<uint8_t>::max());
  set(4, std::numeric_limits<uint16_t>::max());
  set(5, std::numeric_limits<uint32_t>::max());
  table_set_pfloat(table.get(), 0, 6, PFloat(-5, 1));
  const auto columns = ColumnsOf(table.view());
  const auto is = [&](const std::string& text) {
    Where where;
    std::string error;
    EXPECT_TRUE(where.Add(text, &error)) << error;
    const WhereCondition& condition = *where.conditions()[0];
    const Column* column = FindColumn(columns, condition.column);
    return column != nullptr && IsComparable(condition, *column) &&
           Holds(condition, table.view(), 0, *column);
  };
  for (const std::string text :
       {"a=-128",        "a>-129",        "a<-127",        "b=-32768",     "b>-32769",     "b<-32767",
        "c=-2147483648", "c>-2147483649", "c<-2147483647", "d=255",        "d>254",        "d<256",
        "e=65535",       "e>65534",       "e<65536",       "f=4294967295", "f>4294967294", "f<4294967296",
        "g=-0.5",        "g>-0.6",        "g<-0.4",        "a~-12",        "f~429"})
    EXPECT_TRUE(is(text)) << text;
  for (const std::string text : {"a!=-128", "a<-128", "a>-128", "d>255", "d<255", "f>=4294967296",
                                 "f<=4294967294", "g!=-0.5", "a~129"})
    EXPECT_FALSE(is(text)) << text;
}

// Twelve in a cell of each type, or less than nothing where there is a sign.
TEST(WhereNumber, MayBeAFractionOrBeyondEveryType) {
  const Table table("a:c;b:h;c:i;d:q;e:f;f:d;g:P;h:V;i:C;j:H;k:I;l:Q;m:T", 2);
  const auto set = [&table](int row, int col, auto value) {
    table_set_buff(table.get(), row, col, &value, sizeof value, 0);
  };
  for (int row = 0; row < 2; ++row) {
    const int twelve = row == 0 ? 12 : -12;
    set(row, 0, static_cast<int8_t>(twelve));
    set(row, 1, static_cast<int16_t>(twelve));
    set(row, 2, static_cast<int32_t>(twelve));
    set(row, 3, static_cast<int64_t>(twelve));
    set(row, 4, static_cast<float>(twelve));
    set(row, 5, static_cast<double>(twelve));
    table_set_pfloat(table.get(), row, 6, PFloat(twelve, 0));
    table_set_vfloat(table.get(), row, 7, VFloat(twelve, 0));
  }
  set(0, 8, uint8_t{12});
  set(0, 9, uint16_t{12});
  set(0, 10, uint32_t{12});
  set(0, 11, uint64_t{12});
  table_set_uint64(table.get(), 0, 12, 12);
  const std::vector<Column> columns = ColumnsOf(table.view());
  const auto is = [&](const Column& column, int row, const std::string& comparison) {
    Where where;
    std::string error;
    EXPECT_TRUE(where.Add(column.name + comparison, &error)) << error;
    const WhereCondition& condition = *where.conditions()[0];
    return IsComparable(condition, column) && Holds(condition, table.view(), row, column);
  };
  for (const Column& column : columns) {
    for (const char* yes :
         {"=12",    "=12.0", "=+12", "=0xC", "=1.2e1", ">11",   "<13",    ">11.5", "<12.5", "!=12.5",
          "!=11.5", ">=12",  "<=12", ">-12", ">-12.5", "<1e30", ">-1e30", "<inf",  ">-inf", "~12"})
      EXPECT_TRUE(is(column, 0, yes)) << column.name << yes;
    for (const char* no : {"!=12", "!=12.0", "!=1.2e1", "=12.5", "=11.5", ">12.5", "<11.5", "=13", "=-12",
                           "<-12.5", ">1e30", "<-1e30", "=1e30", "=inf", "~3"})
      EXPECT_FALSE(is(column, 0, no)) << column.name << no;
  }
  for (size_t i = 0; i < 8; ++i) {
    for (const char* yes : {"=-12", "=-12.0", "=-1.2e1", ">-13", "<-11", ">-12.5", "<-11.5", "<12", "<12.5",
                            "!=-12.5", "!=12", "<1e30", ">-1e30", "~-12"})
      EXPECT_TRUE(is(columns[i], 1, yes)) << columns[i].name << yes;
    for (const char* no : {"!=-12", "=12", "=-12.5", "<-12.5", ">-11.5", ">12", ">0", "=-13", "=-1e30"})
      EXPECT_FALSE(is(columns[i], 1, no)) << columns[i].name << no;
  }
}

// What is told of an element goes before what is told of its column, and counts only if the cell has it.
TEST(WhereTime, IsComparedWithCellsThatMayHoldOne) {
  const Table table("n:2i", 1);
  Column column = ColumnsOf(table.view())[0];
  Where where;
  std::string error;
  ASSERT_TRUE(where.Add("n = 2024-06-17", &error)) << error;
  const auto comparable = [&](const char* kind, const std::vector<std::pair<int, const char*>>& elements) {
    replies::ColumnDescription told;
    told.kind = {kind, false};
    for (const auto& [index, of_element] : elements) {
      told.elements.emplace_back();
      told.elements.back().index = index;
      told.elements.back().kind = {of_element, false};
    }
    column.told = &told;
    return IsComparable(*where.conditions()[0], column);
  };
  EXPECT_TRUE(comparable("yyyymmdd", {}));
  EXPECT_FALSE(comparable("id", {}));
  EXPECT_TRUE(comparable("id", {{0, "yyyymmdd"}}));
  EXPECT_TRUE(comparable("id", {{1, "yyyymmdd"}}));
  EXPECT_FALSE(comparable("id", {{2, "yyyymmdd"}}));
  EXPECT_TRUE(comparable("yyyymmdd", {{0, "id"}}));
  EXPECT_TRUE(comparable("yyyymmdd", {{1, "id"}}));
  EXPECT_FALSE(comparable("yyyymmdd", {{0, "id"}, {1, "id"}}));
}

TEST(WhereNumber, MayHaveZerosBehindItsPoint) {
  for (const char* whole : {"12", "12.", "12.0", "12.000", "+12.0", "012.0"}) {
    ASSERT_TRUE(ParseWhereNumber(whole)) << whole;
    EXPECT_TRUE(ParseWhereNumber(whole)->whole) << whole;
    EXPECT_EQ(ParseWhereNumber(whole)->magnitude, 12U) << whole;
  }
  for (const char* nothing : {"0", "000", "0.0", "-0.", "0x0"}) {
    ASSERT_TRUE(ParseWhereNumber(nothing)) << nothing;
    EXPECT_TRUE(ParseWhereNumber(nothing)->whole) << nothing;
    EXPECT_EQ(ParseWhereNumber(nothing)->magnitude, 0U) << nothing;
  }
  for (const char* fraction : {".0", ".000", "12.01", "12.10", "12.0e0", "100e-1", "10.01000"}) {
    ASSERT_TRUE(ParseWhereNumber(fraction)) << fraction;
    EXPECT_FALSE(ParseWhereNumber(fraction)->whole) << fraction;
  }
  for (const char* wrong : {".", "+.", "1.2.0", "1..0", "0x.0", "1e5.0", "x.0"})
    EXPECT_FALSE(ParseWhereNumber(wrong)) << wrong;
  EXPECT_EQ(ParseWhereNumber("100")->magnitude, 100U);
  EXPECT_EQ(ParseWhereNumber("100.00")->magnitude, 100U);
  EXPECT_EQ(ParseWhereNumber(".0")->floating, 0);
}

TEST(WhereNumber, HasOneSignAndDigitsBehindIt) {
  for (const char* wrong : {"--5", "-+5", "+-0.5", "", "-", "0x", "0xg", "1.2.3", "nan", "1e", "12.34x"})
    EXPECT_FALSE(ParseWhereNumber(wrong)) << wrong;
  EXPECT_EQ(ParseWhereNumber("0X1F")->magnitude, 31U);
  EXPECT_EQ(ParseWhereNumber("-.5")->floating, -0.5);
  // No base of eight.
  EXPECT_EQ(ParseWhereNumber("010")->magnitude, 10U);
}

TEST_F(Cells, ADecimalNumberThatNoDoubleHoldsMatchesItsTextAlone) {
  table_set_vfloat(table_.get(), 0, 8, VFloat(-3, 65535));
  for (const char* comparison : {"V < 0", "V > 0", "V = 0", "V != 0"})
    EXPECT_FALSE(Is(comparison)) << comparison;
  EXPECT_TRUE(Is("V ~ -3e-65535"));
}

// Whoever asks without asking first whether they can be compared.
TEST_F(Cells, WhatCannotBeComparedNeverHolds) {
  table_set_int(table_.get(), 0, 7, 5);
  Where where;
  std::string error;
  ASSERT_TRUE(where.Add("I = word", &error));
  EXPECT_FALSE(IsComparable(*where.conditions()[0], columns_[7]));
  EXPECT_FALSE(Holds(*where.conditions()[0], table_.view(), 0, columns_[7]));
}

TEST_F(Cells, TextsAreComparedByTheirBytes) {
  table_set_str(table_.get(), 0, 4, "平安银行", 1);
  EXPECT_TRUE(Is("S = 平安银行"));
  EXPECT_TRUE(Is("S ~ 安银"));
  EXPECT_FALSE(Is("S ~ 银安"));
  EXPECT_TRUE(Is("S ~ ''"));
  EXPECT_TRUE(Is("S != 平安"));
  EXPECT_TRUE(Is("S > 平安"));
  // Text, though it looks like numbers: 10 is before 9.
  table_set_str(table_.get(), 0, 4, "10", 1);
  EXPECT_TRUE(Is("S < 9"));
  EXPECT_TRUE(Is("S = 10"));
  EXPECT_FALSE(Is("S = 10.0"));
  table_set_str(table_.get(), 0, 4, "a\xFF", 1);
  EXPECT_TRUE(Is("S = a\xEF\xBF\xBD"));
}

TEST_F(Cells, OfSeveralNumbersOneIsEnough) {
  const int three[] = {1, 5, 9};
  table_set_buff(table_.get(), 0, 5, three, sizeof three, 0);
  EXPECT_TRUE(Is("N = 5"));
  EXPECT_TRUE(Is("N[3] > 8"));
  EXPECT_TRUE(Is("N != 5"));
  EXPECT_FALSE(Is("N > 9"));
  EXPECT_TRUE(Is("N#5 < 2"));
}

TEST_F(Cells, WhatIsNotSetMatchesNothing) {
  for (const char* column : {"Q", "U", "D", "F", "S", "N", "I", "V"}) {
    EXPECT_FALSE(Is(std::string(column) + " != 1", 1)) << column;
    EXPECT_FALSE(Is(std::string(column) + " = 0", 1)) << column;
    EXPECT_FALSE(Is(std::string(column) + " ~ ''", 1)) << column;
  }
}

TEST_F(Cells, BytesAndTimesWithoutAKindAreNotCompared) {
  table_set_binary(table_.get(), 0, 6, 1, "a", 1);
  EXPECT_FALSE(Is("B = a"));
  table_set_int(table_.get(), 0, 7, 20240617);
  EXPECT_FALSE(Is("I = '2024-06-17'"));
  EXPECT_TRUE(Is("I = 20240617"));
  EXPECT_TRUE(Is("I ~ 0617"));
}

}  // namespace
}  // namespace tesview
