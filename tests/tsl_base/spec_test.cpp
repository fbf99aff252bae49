// Claim: any spec text gives the columns that the rules of table.h name, and no spec makes trouble.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "tsl_base/table.hpp"

namespace {

using tsl_base::Table;
using tsl_base::Type;

struct Expected {
  std::string name;
  int type;
  int count;
};

void ExpectColumns(const std::string& spec, const std::vector<Expected>& columns) {
  SCOPED_TRACE('"' + spec.substr(0, 80) + '"');
  const Table table(spec, 1);
  ASSERT_EQ(table_cols(table.get()), static_cast<int>(columns.size()));
  for (int i = 0; i < table_cols(table.get()); ++i) {
    const Expected& expected = columns[static_cast<size_t>(i)];
    EXPECT_EQ(table_col_name(table.get(), i), expected.name) << "column " << i;
    EXPECT_EQ(table_col_type(table.get(), i), expected.type) << "column " << i;
    EXPECT_EQ(table_col_count(table.get(), i), expected.count) << "column " << i;
  }
}

TEST(Spec, EveryLetterHasItsCode) {
  ExpectColumns("a:c;b:h;c:i;d:q;e:f;f:d;g:s;h:b;i:C;j:H;k:I;l:Q;m:t;n:T;o:P;p:V", {{"a", 1, 1},
                                                                                    {"b", 2, 1},
                                                                                    {"c", 3, 1},
                                                                                    {"d", 4, 1},
                                                                                    {"e", 5, 1},
                                                                                    {"f", 6, 1},
                                                                                    {"g", 7, 1},
                                                                                    {"h", 8, 1},
                                                                                    {"i", 9, 1},
                                                                                    {"j", 10, 1},
                                                                                    {"k", 11, 1},
                                                                                    {"l", 12, 1},
                                                                                    {"m", 13, 1},
                                                                                    {"n", 14, 1},
                                                                                    {"o", 15, 1},
                                                                                    {"p", 16, 1}});
}

TEST(Spec, EveryCodeHasItsNames) {
  const struct {
    int number;
    table_column_type in_c;
    Type in_cpp;
  } codes[] = {{0, TABLE_NOTHING, Type::kNothing}, {1, TABLE_INT8, Type::kInt8},
               {2, TABLE_INT16, Type::kInt16},     {3, TABLE_INT32, Type::kInt32},
               {4, TABLE_INT64, Type::kInt64},     {5, TABLE_FLOAT, Type::kFloat},
               {6, TABLE_DOUBLE, Type::kDouble},   {7, TABLE_TEXT, Type::kText},
               {8, TABLE_BINARY, Type::kBinary},   {9, TABLE_UINT8, Type::kUint8},
               {10, TABLE_UINT16, Type::kUint16},  {11, TABLE_UINT32, Type::kUint32},
               {12, TABLE_UINT64, Type::kUint64},  {13, TABLE_CHILD, Type::kTable},
               {14, TABLE_TIME, Type::kTime},      {15, TABLE_PFLOAT, Type::kPFloat},
               {16, TABLE_VFLOAT, Type::kVFloat}};
  for (const auto& code : codes) {
    EXPECT_EQ(code.in_c, code.number);
    EXPECT_EQ(static_cast<int>(code.in_cpp), code.number);
  }
}

TEST(Spec, AFinalSeparatorMakesNoColumn) {
  ExpectColumns("Obj:s;Data:t", {{"Obj", 7, 1}, {"Data", 13, 1}});
  ExpectColumns("Obj:s;Data:t;", {{"Obj", 7, 1}, {"Data", 13, 1}});
}

TEST(Spec, BlanksBehindSeparatorsAreNoPartOfNames) {
  ExpectColumns(
      "XinHaoShiJian:q; XinHaoJiaGe:d; ShiJianLeiXing:i; XinHaoLeiXing:i",
      {{"XinHaoShiJian", 4, 1}, {"XinHaoJiaGe", 6, 1}, {"ShiJianLeiXing", 3, 1}, {"XinHaoLeiXing", 3, 1}});
}

TEST(Spec, BlanksAroundTypesAreDropped) {
  ExpectColumns("a: d\t;b:\tq ;c:  ", {{"a", 6, 1}, {"b", 4, 1}, {"c", 0, 0}});
}

TEST(Spec, BlanksOfNamesStayUnlessTheyFollowASeparator) {
  ExpectColumns(" \ta :d;\t b\t :q; : ;c ;", {{" \ta ", 6, 1}, {"b\t ", 4, 1}, {"", 0, 0}, {"c ", 0, 0}});
  ExpectColumns(" :d; :q", {{" ", 6, 1}, {"", 4, 1}});
}

TEST(Spec, BlanksInsideNamesStay) {
  ExpectColumns("a b:d", {{"a b", 6, 1}});
}

TEST(Spec, BlanksBehindAFinalSeparatorMakeNoColumn) {
  ExpectColumns("a:d;  ", {{"a", 6, 1}});
  ExpectColumns(";  ", {{"", 0, 0}});
  ExpectColumns("a:d;\t;\t", {{"a", 6, 1}, {"", 0, 0}});
  ExpectColumns("a:d; b  ", {{"a", 6, 1}, {"b  ", 0, 0}});
}

TEST(Spec, ANameMayBeEmpty) {
  ExpectColumns(":d;", {{"", 6, 1}});
}

TEST(Spec, EmptyNamesKeepTheirPlace) {
  ExpectColumns(":d;x:q;:s", {{"", 6, 1}, {"x", 4, 1}, {"", 7, 1}});
}

TEST(Spec, ANameMayRepeat) {
  ExpectColumns("x:d;y:q;x:i", {{"x", 6, 1}, {"y", 4, 1}, {"x", 3, 1}});
}

TEST(Spec, CaseOfNamesCounts) {
  ExpectColumns("obj:s;Obj:s", {{"obj", 7, 1}, {"Obj", 7, 1}});
}

TEST(Spec, AnEntryIsSplitAtItsLastColon) {
  ExpectColumns("a:b:d;::q", {{"a:b", 6, 1}, {":", 4, 1}});
}

TEST(Spec, ASeparatorInsideANameEndsTheEntry) {
  ExpectColumns("a;b:d;c:q", {{"a", 0, 0}, {"b", 6, 1}, {"c", 4, 1}});
}

TEST(Spec, AnEmptyEntryBetweenSeparatorsIsAColumnThatHoldsNothing) {
  ExpectColumns("a:d;;b:q", {{"a", 6, 1}, {"", 0, 0}, {"b", 4, 1}});
  ExpectColumns(";a:d", {{"", 0, 0}, {"a", 6, 1}});
  ExpectColumns("a:d; ;b:q", {{"a", 6, 1}, {"", 0, 0}, {"b", 4, 1}});
}

TEST(Spec, OnlyTheLastEmptyEntryIsNoColumn) {
  ExpectColumns("a:d;;", {{"a", 6, 1}, {"", 0, 0}});
  ExpectColumns(";", {{"", 0, 0}});
  ExpectColumns(";;", {{"", 0, 0}, {"", 0, 0}});
}

TEST(Spec, AnEmptySpecHasNoColumns) {
  ExpectColumns("", {});
}

// Nothing before a text is a part of it. What the thread knows of an earlier empty spec is forgotten first.
TEST(Spec, AnEmptySpecBehindASeparatorAndABlankHasNoColumns) {
  for (int i = 0; i < 8; ++i)
    const Table other("forget" + std::to_string(i) + ":q", 1);
  const char text[] = "a:q; ";
  const Table table(table_create(text + 5, 1, ""));
  EXPECT_EQ(table_cols(table.get()), 0);
}

TEST(Spec, BlanksAloneAreAColumnThatHoldsNothing) {
  ExpectColumns("  ", {{"  ", 0, 0}});
}

TEST(Spec, ANullSpecHasNoColumns) {
  const Table table(table_create(nullptr, 3, "x"));
  EXPECT_EQ(table_cols(table.get()), 0);
  EXPECT_EQ(table_rows(table.get()), 3);
}

TEST(Spec, AnythingElseBecomesAColumnThatHoldsNothing) {
  ExpectColumns("a;b:;c:x;d:dd;e:d1;f:é;g: ;h:D;i:5", {{"a", 0, 0},
                                                       {"b", 0, 0},
                                                       {"c", 0, 0},
                                                       {"d", 0, 0},
                                                       {"e", 0, 0},
                                                       {"f", 0, 0},
                                                       {"g", 0, 0},
                                                       {"h", 0, 0},
                                                       {"i", 0, 0}});
}

TEST(Spec, ColumnsBehindOneThatHoldsNothingKeepTheirIndex) {
  const Table table("a:x;b:d;;c:i", 2);
  table_set_double(table.get(), 1, 1, 2.5);
  table_set_int(table.get(), 0, 3, 7);
  EXPECT_EQ(table_get_double(table.get(), 1, 1), 2.5);
  EXPECT_EQ(table_get_int(table.get(), 0, 3), 7);
}

TEST(Spec, ACountMakesAnArray) {
  ExpectColumns("DaiMa:s;LeiXing:i;Data:53q;HasBits:q",
                {{"DaiMa", 7, 1}, {"LeiXing", 3, 1}, {"Data", 4, 53}, {"HasBits", 4, 1}});
}

TEST(Spec, EveryTypeOfFixedWidthHasACountedForm) {
  for (const char letter : std::string("chiqfdCHIQTPV")) {
    const Table table(std::string("x:3") + letter, 1);
    EXPECT_EQ(table_col_count(table.get(), 0), 3) << letter;
  }
}

TEST(Spec, TextBinaryAndTableHaveNoCountedForm) {
  ExpectColumns("a:2s;b:2b;c:2t;d:1s", {{"a", 0, 0}, {"b", 0, 0}, {"c", 0, 0}, {"d", 0, 0}});
}

TEST(Spec, ACountOfOneIsThePlainType) {
  const Table table("x:1q", 1);
  table_set_int64(table.get(), 0, 0, 5);
  EXPECT_EQ(table_get_int64(table.get(), 0, 0), 5);
  EXPECT_EQ(table_col_count(table.get(), 0), 1);
}

TEST(Spec, LeadingZerosOfACountChangeNothing) {
  ExpectColumns("x:007q", {{"x", 4, 7}});
}

TEST(Spec, ImpossibleCountsHoldNothing) {
  ExpectColumns(
      "a:0q;b:999999999999q;c:2147483647q;d:99999999999999999999999999999999999999q;e:-3q;f:+3q;g:3 q",
      {{"a", 0, 0}, {"b", 0, 0}, {"c", 0, 0}, {"d", 0, 0}, {"e", 0, 0}, {"f", 0, 0}, {"g", 0, 0}});
}

TEST(Spec, ACountedCellIsAtMostAsWideAsAnIntCounts) {
  // 268435455 * 8 = 2147483640 and 2^31 - 1 = 2147483647.
  ExpectColumns("a:268435455q;b:268435456q;c:2147483647c;d:2147483648c",
                {{"a", 4, 268435455}, {"b", 0, 0}, {"c", 1, INT_MAX}, {"d", 0, 0}});
}

TEST(Spec, AHugeCountedColumnTakesNoMemoryUnlessWritten) {
  const Table table("c:2147483647c", INT_MAX);
  const char byte = 1;
  table_set_buff(table.get(), 0, 0, &byte, 1, 0);
  EXPECT_EQ(table_is_set(table.get(), 0, 0), 0);
}

TEST(Spec, TenMillionColumnsAreHarmless) {
  std::string spec;
  const int columns = 10'000'000;
  spec.reserve(size_t{3} * columns);
  for (int i = 0; i < columns; ++i)
    spec += ":q;";
  const Table table(spec, INT_MAX);
  ASSERT_EQ(table_cols(table.get()), columns);
  table_set_int64(table.get(), INT_MAX - 1, columns - 1, 42);
  EXPECT_EQ(table_get_int64(table.get(), INT_MAX - 1, columns - 1), 42);
}

TEST(Spec, ManySeparatorsAloneAreHarmless) {
  std::string spec;
  spec.resize(20'000'000, ';');
  const Table table(spec, INT_MAX);
  EXPECT_EQ(table_cols(table.get()), 20'000'000);
  EXPECT_EQ(table_col_type(table.get(), 19'999'999), 0);
}

TEST(Spec, AVeryLongNameIsKept) {
  const std::string name(1'000'000, 'n');
  const Table table(name + ":d", 1);
  EXPECT_EQ(table_col_name(table.get(), 0), name);
}

TEST(Spec, ControlAndHighBytesOfNamesAreKept) {
  ExpectColumns("\x01\xFF\n:d;\xE4\xB8\xAD:q", {{"\x01\xFF\n", 6, 1}, {"\xE4\xB8\xAD", 4, 1}});
}

TEST(Spec, IsCopied) {
  std::string spec = "abc:d;def:q";
  const Table table(table_create(spec.c_str(), 1, ""));
  for (char& c : spec)
    c = 'x';
  EXPECT_STREQ(table_col_name(table.get(), 0), "abc");
  EXPECT_STREQ(table_col_name(table.get(), 1), "def");
}

// The same memory with another text must not be taken for the text that stood there before.
TEST(Spec, ABufferThatIsUsedAgainGivesItsNewColumns) {
  char spec[] = "abc:d;def:q";
  const Table first(table_create(spec, 1, ""));
  spec[4] = 'i';
  const Table second(table_create(spec, 1, ""));
  EXPECT_EQ(table_col_type(first.get(), 0), 6);
  EXPECT_EQ(table_col_type(second.get(), 0), 3);
}

TEST(Spec, ASpecThatBeginsLikeARememberedOneIsItsOwn) {
  const Table longer("a:d;b:q", 1);
  const Table shorter("a:d", 1);
  EXPECT_EQ(table_cols(longer.get()), 2);
  EXPECT_EQ(table_cols(shorter.get()), 1);
}

TEST(Spec, ManyDifferentSpecsInTurnStayApart) {
  std::vector<Table> tables;
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 40; ++i)
      tables.emplace_back("c" + std::to_string(i) + ":q", 1);
  }
  for (size_t i = 0; i < tables.size(); ++i) {
    EXPECT_EQ(table_col_name(tables[i].get(), 0), "c" + std::to_string(i % 40));
  }
}

TEST(ColumnIndex, FindsTheColumn) {
  const Table table("Obj:s;ZuiXinJia:d;HasBits:q", 0);
  EXPECT_EQ(table_col_index(table.get(), "Obj"), 0);
  EXPECT_EQ(table_col_index(table.get(), "ZuiXinJia"), 1);
  EXPECT_EQ(table_col_index(table.get(), "HasBits"), 2);
}

TEST(ColumnIndex, IsNegativeWithoutSuchAColumn) {
  const Table table("Obj:s;ZuiXinJia:d", 0);
  for (const char* name : {"obj", "Ob", "Obj2", "", "Obj:s", " Obj"}) {
    EXPECT_LT(table_col_index(table.get(), name), 0) << name;
  }
  EXPECT_LT(table_col_index(table.get(), nullptr), 0);
}

TEST(ColumnIndex, GivesTheFirstOfEqualNames) {
  const Table table("a:q;x:d;x:i", 0);
  EXPECT_EQ(table_col_index(table.get(), "x"), 1);
}

TEST(ColumnIndex, FindsAnEmptyNameAndOneOfAColumnThatHoldsNothing) {
  const Table table("a:q;:d;odd", 0);
  EXPECT_EQ(table_col_index(table.get(), ""), 1);
  EXPECT_EQ(table_col_index(table.get(), "odd"), 2);
}

TEST(ColumnIndex, ComparesNamesWithTheirBlanks) {
  const Table table("A :q; b:d", 0);
  EXPECT_EQ(table_col_index(table.get(), "A "), 0);
  EXPECT_EQ(table_col_index(table.get(), "A"), -1);
  EXPECT_EQ(table_col_index(table.get(), "b"), 1);
  EXPECT_EQ(table_col_index(table.get(), " b"), -1);
}

TEST(ColumnQueries, AnswerForColumnsOutsideTheTable) {
  const Table table("a:q", 1);
  for (const int col : {-1, 1, INT_MAX, INT_MIN}) {
    EXPECT_STREQ(table_col_name(table.get(), col), "");
    EXPECT_EQ(table_col_type(table.get(), col), 0);
    EXPECT_EQ(table_col_count(table.get(), col), 0);
  }
}

}  // namespace
