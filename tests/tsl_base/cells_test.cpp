// Claim: a cell reads as what was written last, as unset before, and a call that does not fit changes
// nothing.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "tsl_base/table.hpp"

namespace {

using tsl_base::Table;

// One column of each type, in the order of the codes, and a counted one behind them.
const char kAllTypes[] = "c:c;h:h;i:i;q:q;f:f;d:d;s:s;b:b;C:C;H:H;I:I;Q:Q;t:t;T:T;P:P;V:V;n:4i;none:x";
enum Col { kc, kh, ki, kq, kf, kd, ks, kb, kC, kH, kI, kQ, kt, kT, kP, kV, kn, kNone, kCols };

// Small and large tables are stored differently: everything is tried on both.
class Cells : public testing::TestWithParam<int> {
 protected:
  Table table{kAllTypes, GetParam()};
  void* t = table.get();
  const int last = GetParam() - 1;
};

INSTANTIATE_TEST_SUITE_P(SmallAndLarge, Cells, testing::Values(1, 3, 16, 300, 100000, INT_MAX));

// Calls every setter on a cell with something that its own column type takes.
void CallEverySetter(void* t, int row, int col) {
  const int32_t numbers[4] = {1, 2, 3, 4};
  const char byte = 5;
  table_set_str(t, row, col, "text", 1);
  table_set_double(t, row, col, 1.5);
  table_set_float(t, row, col, 1.5F);
  table_set_int(t, row, col, 5);
  table_set_uint(t, row, col, 5);
  table_set_int64(t, row, col, 5);
  table_set_uint64(t, row, col, 5);
  table_set_short(t, row, col, 5);
  table_set_pfloat(t, row, col, PFloat(5, 1));
  table_set_vfloat(t, row, col, VFloat(5, 1));
  table_set_binary(t, row, col, 3, "abc", 1);
  table_set_buff(t, row, col, numbers, sizeof numbers, 0);
  table_set_buff(t, row, col, &byte, 1, 0);
  table_set_table(t, row, col, nullptr, 1);
  table_set_table_raw(t, row, col, table_create("x:q", 1, ""));
}

void ExpectUnset(void* t, int row, int col) {
  SCOPED_TRACE("row " + std::to_string(row) + " column " + std::to_string(col));
  EXPECT_EQ(table_is_set(t, row, col), 0);
  EXPECT_EQ(table_get_str(t, row, col), nullptr);
  EXPECT_EQ(table_get_double(t, row, col), 0.0);
  EXPECT_EQ(table_get_float(t, row, col), 0.0F);
  EXPECT_EQ(table_get_int(t, row, col), 0);
  EXPECT_EQ(table_get_uint(t, row, col), 0U);
  EXPECT_EQ(table_get_int64(t, row, col), 0);
  EXPECT_EQ(table_get_uint64(t, row, col), 0U);
  EXPECT_EQ(table_get_short(t, row, col), 0U);
  EXPECT_EQ(table_get_pfloat(t, row, col).mantissa(), 0);
  EXPECT_EQ(table_get_vfloat(t, row, col).mantissa(), 0);
  int size = 77;
  EXPECT_EQ(table_get_binary(t, row, col, &size), nullptr);
  EXPECT_EQ(size, 0);
  size = 77;
  EXPECT_EQ(table_get_buff(t, row, col, &size), nullptr);
  EXPECT_EQ(size, 0);
  EXPECT_EQ(table_get_table(t, row, col), nullptr);
}

TEST_P(Cells, AreUnsetAtFirst) {
  for (int col = 0; col < kCols; ++col) {
    ExpectUnset(t, 0, col);
    ExpectUnset(t, last, col);
  }
}

TEST_P(Cells, EachTypeReadsWhatItsSetterWrote) {
  const int8_t small = -100;
  const uint8_t byte = 200;
  const int32_t numbers[4] = {1, -2, 3, INT_MIN};
  for (const int row : {0, last}) {
    table_set_buff(t, row, kc, &small, 1, 0);
    table_set_short(t, row, kh, 0x8001);
    table_set_int(t, row, ki, INT_MIN);
    table_set_int64(t, row, kq, LLONG_MIN);
    table_set_float(t, row, kf, 0.1F);
    table_set_double(t, row, kd, 0.1);
    table_set_str(t, row, ks, "text", 1);
    table_set_binary(t, row, kb, 3, "a\0b", 1);
    table_set_buff(t, row, kC, &byte, 1, 0);
    table_set_short(t, row, kH, 0xFFFF);
    table_set_uint(t, row, kI, UINT_MAX);
    table_set_uint64(t, row, kQ, ULLONG_MAX);
    table_set_uint64(t, row, kT, 0x123456789ABCDEF0);
    table_set_pfloat(t, row, kP, PFloat(-12345, 4));
    table_set_vfloat(t, row, kV, VFloat(67890, 4));
    table_set_buff(t, row, kn, numbers, sizeof numbers, 0);

    int size = 0;
    EXPECT_EQ(*static_cast<const int8_t*>(table_get_buff(t, row, kc, &size)), -100);
    EXPECT_EQ(size, 1);
    EXPECT_EQ(table_get_short(t, row, kh), 0x8001);
    EXPECT_EQ(table_get_int(t, row, ki), INT_MIN);
    EXPECT_EQ(table_get_int64(t, row, kq), LLONG_MIN);
    EXPECT_EQ(table_get_float(t, row, kf), 0.1F);
    EXPECT_EQ(table_get_double(t, row, kd), 0.1);
    EXPECT_STREQ(table_get_str(t, row, ks), "text");
    ASSERT_NE(table_get_binary(t, row, kb, &size), nullptr);
    ASSERT_EQ(size, 3);
    EXPECT_EQ(memcmp(table_get_binary(t, row, kb, nullptr), "a\0b", 3), 0);
    EXPECT_EQ(*static_cast<const uint8_t*>(table_get_buff(t, row, kC, nullptr)), 200);
    EXPECT_EQ(table_get_short(t, row, kH), 0xFFFF);
    EXPECT_EQ(table_get_uint(t, row, kI), UINT_MAX);
    EXPECT_EQ(table_get_uint64(t, row, kQ), ULLONG_MAX);
    EXPECT_EQ(table_get_uint64(t, row, kT), 0x123456789ABCDEF0U);
    EXPECT_EQ(table_get_pfloat(t, row, kP).mantissa(), -12345);
    EXPECT_EQ(table_get_pfloat(t, row, kP).decimals(), 4);
    EXPECT_EQ(table_get_vfloat(t, row, kV).mantissa(), 67890);
    ASSERT_NE(table_get_buff(t, row, kn, &size), nullptr);
    ASSERT_EQ(size, 16);
    EXPECT_EQ(memcmp(table_get_buff(t, row, kn, nullptr), numbers, 16), 0);
    for (int col = 0; col < kCols; ++col)
      EXPECT_EQ(table_is_set(t, row, col), col != kt && col != kNone) << col;
  }
}

TEST_P(Cells, AZeroIsSet) {
  table_set_double(t, last, kd, 0.0);
  table_set_int64(t, last, kq, 0);
  EXPECT_EQ(table_is_set(t, last, kd), 1);
  EXPECT_EQ(table_is_set(t, last, kq), 1);
}

TEST_P(Cells, MinusZeroKeepsItsSign) {
  table_set_double(t, last, kd, -0.0);
  EXPECT_TRUE(std::signbit(table_get_double(t, last, kd)));
}

TEST_P(Cells, AnEmptyTextIsSet) {
  table_set_str(t, last, ks, "", 1);
  EXPECT_EQ(table_is_set(t, last, ks), 1);
  EXPECT_STREQ(table_get_str(t, last, ks), "");
}

TEST_P(Cells, AnEmptyByteStringIsSetAndNotNull) {
  table_set_binary(t, last, kb, 0, nullptr, 1);
  int size = 77;
  EXPECT_EQ(table_is_set(t, last, kb), 1);
  EXPECT_NE(table_get_binary(t, last, kb, &size), nullptr);
  EXPECT_EQ(size, 0);
}

TEST_P(Cells, WritingOutsideTheTableIsDropped) {
  std::vector<std::pair<int, int>> outside;
  for (const int row : {-1, INT_MIN, INT_MAX})
    outside.emplace_back(row, kd);
  if (last != INT_MAX - 1) outside.emplace_back(last + 1, kd);
  for (const int col : {-1, INT_MIN, INT_MAX, static_cast<int>(kCols)})
    outside.emplace_back(0, col);
  for (const auto& cell : outside) {
    CallEverySetter(t, cell.first, cell.second);
    ExpectUnset(t, cell.first, cell.second);
  }
  for (int col = 0; col < kCols; ++col)
    ExpectUnset(t, 0, col);
}

TEST_P(Cells, AColumnThatHoldsNothingDropsEverything) {
  CallEverySetter(t, last, kNone);
  ExpectUnset(t, last, kNone);
}

TEST_P(Cells, ForeignSettersLeaveTextBinaryAndTimesAlone) {
  table_set_double(t, last, ks, 1);
  table_set_int64(t, last, ks, 1);
  table_set_binary(t, last, ks, 1, "a", 1);
  table_set_buff(t, last, ks, "12345678", 8, 0);
  ExpectUnset(t, last, ks);
  table_set_str(t, last, kb, "a", 1);
  table_set_uint64(t, last, kb, 1);
  table_set_buff(t, last, kb, "12345678", 8, 0);
  ExpectUnset(t, last, kb);
  table_set_buff(t, last, kt, "12345678", 8, 0);
  table_set_uint64(t, last, kt, 1);
  table_set_str(t, last, kt, "a", 1);
  ExpectUnset(t, last, kt);
  table_set_int64(t, last, kT, 1);
  table_set_double(t, last, kT, 1);
  table_set_int(t, last, kT, 1);
  table_set_short(t, last, kT, 1);
  ExpectUnset(t, last, kT);
}

TEST_P(Cells, PFloatAndVFloatAreNotMixed) {
  table_set_vfloat(t, last, kP, VFloat(1, 0));
  table_set_pfloat(t, last, kV, PFloat(1, 0));
  table_set_int64(t, last, kP, 1);
  table_set_double(t, last, kV, 1);
  table_set_uint64(t, last, kV, 1);
  ExpectUnset(t, last, kP);
  ExpectUnset(t, last, kV);
}

TEST_P(Cells, PFloatIsDroppedByOtherColumns) {
  for (int col = 0; col < kCols; ++col) {
    if (col == kP) continue;
    table_set_pfloat(t, last, col, PFloat(1, 0));
    EXPECT_EQ(table_is_set(t, last, col), 0) << col;
  }
}

TEST_P(Cells, ACountedCellTakesNoSingleNumber) {
  table_set_int(t, last, kn, 1);
  table_set_int64(t, last, kn, 1);
  table_set_double(t, last, kn, 1);
  table_set_short(t, last, kn, 1);
  ExpectUnset(t, last, kn);
}

TEST_P(Cells, ACountedCellIsNoSingleNumber) {
  const int32_t numbers[4] = {1, 2, 3, 4};
  table_set_buff(t, last, kn, numbers, sizeof numbers, 0);
  EXPECT_EQ(table_get_int(t, last, kn), 0);
  EXPECT_EQ(table_get_int64(t, last, kn), 0);
}

TEST_P(Cells, ABuffOfAnotherSizeIsDropped) {
  const char bytes[64] = {};
  const int widths[kCols] = {1, 2, 4, 8, 4, 8, -1, -1, 1, 2, 4, 8, -1, 8, 8, 8, 16, -1};
  for (int col = 0; col < kCols; ++col) {
    for (const int size : {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 64}) {
      if (size == widths[col]) continue;
      table_set_buff(t, last, col, bytes, size, 0);
      EXPECT_EQ(table_is_set(t, last, col), 0) << "column " << col << " size " << size;
    }
    if (widths[col] < 0) continue;
    table_set_buff(t, last, col, bytes, widths[col], 0);
    EXPECT_EQ(table_is_set(t, last, col), 1) << "column " << col;
  }
}

TEST_P(Cells, NullWhereBytesAreNeededIsDropped) {
  table_set_str(t, last, ks, nullptr, 1);
  table_set_binary(t, last, kb, 1, nullptr, 1);
  table_set_buff(t, last, kn, nullptr, 16, 0);
  table_set_buff(t, last, kc, nullptr, 1, 0);
  for (const int col : {ks, kb, kn, kc})
    ExpectUnset(t, last, col);
}

TEST_P(Cells, ANegativeSizeIsDropped) {
  table_set_binary(t, last, kb, -1, "abc", 1);
  table_set_binary(t, last, kb, INT_MIN, "abc", 1);
  ExpectUnset(t, last, kb);
}

TEST_P(Cells, ADroppedCallKeepsTheOldValue) {
  table_set_str(t, last, ks, "old", 1);
  table_set_int(t, last, ki, 3);
  table_set_str(t, last, ks, nullptr, 1);
  table_set_double(t, last, ks, 1);
  table_set_double(t, last, ki, 0.5);
  EXPECT_STREQ(table_get_str(t, last, ks), "old");
  EXPECT_EQ(table_get_int(t, last, ki), 3);
}

TEST_P(Cells, ArgumentsAreCopied) {
  char text[] = "text";
  char bytes[] = "bytes";
  int32_t numbers[4] = {1, 2, 3, 4};
  table_set_str(t, last, ks, text, 0);
  table_set_binary(t, last, kb, 5, bytes, 0);
  table_set_buff(t, last, kn, numbers, sizeof numbers, 0);
  text[0] = bytes[0] = 'X';
  numbers[0] = 99;
  EXPECT_STREQ(table_get_str(t, last, ks), "text");
  EXPECT_EQ(memcmp(table_get_binary(t, last, kb, nullptr), "bytes", 5), 0);
  EXPECT_EQ(*static_cast<const int32_t*>(table_get_buff(t, last, kn, nullptr)), 1);
}

TEST_P(Cells, ATextIsReplacedByLongerShorterAndEmptyOnes) {
  const std::vector<std::string> texts = {
      "",  "a",   std::string(253, 'b'),   std::string(254, 'c'),  std::string(255, 'd'),
      "e", "",    std::string(256, 'f'),   std::string(5000, 'g'), "hh",
      "",  "iii", std::string(70000, 'j'), std::string(100, 'k')};
  for (const std::string& text : texts) {
    table_set_str(t, last, ks, text.c_str(), 1);
    EXPECT_EQ(table_get_str(t, last, ks), text);
  }
}

// A text remembers how long it may grow in place, in another way from 255 bytes on.
TEST_P(Cells, ATextOfAnyFirstLengthIsRewrittenWithoutHarmToOthers) {
  for (size_t length = 250; length <= 260; ++length) {
    const Table fresh("before:s;x:s;behind:s", GetParam());
    const std::string first(length, 'a');
    table_set_str(fresh.get(), last, 0, "before", 1);
    table_set_str(fresh.get(), last, 1, first.c_str(), 1);
    table_set_str(fresh.get(), last, 2, "behind", 1);
    EXPECT_EQ(table_get_str(fresh.get(), last, 1), first);
    for (const size_t next : {length + 1, length + 20, length + 300, size_t{1}}) {
      const std::string text(next, 'b');
      table_set_str(fresh.get(), last, 1, text.c_str(), 1);
      EXPECT_EQ(table_get_str(fresh.get(), last, 1), text);
      EXPECT_STREQ(table_get_str(fresh.get(), last, 0), "before");
      EXPECT_STREQ(table_get_str(fresh.get(), last, 2), "behind");
    }
  }
}

TEST_P(Cells, BytesAreReplacedByLongerShorterAndEmptyOnes) {
  for (const size_t size :
       {size_t{0}, size_t{1}, size_t{300}, size_t{5}, size_t{0}, size_t{50000}, size_t{40000}}) {
    const std::string bytes(size, static_cast<char>(size));
    table_set_binary(t, last, kb, static_cast<int>(size), bytes.data(), 1);
    int length = -1;
    const void* data = table_get_binary(t, last, kb, &length);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(std::string(static_cast<const char*>(data), static_cast<size_t>(length)), bytes);
  }
}

TEST_P(Cells, ACellMayBeGivenItsOwnBytes) {
  table_set_str(t, last, ks, "abcdef", 1);
  table_set_str(t, last, ks, table_get_str(t, last, ks) + 2, 1);
  EXPECT_STREQ(table_get_str(t, last, ks), "cdef");
  table_set_binary(t, last, kb, 6, "abcdef", 1);
  table_set_binary(t, last, kb, 4, static_cast<const char*>(table_get_binary(t, last, kb, nullptr)) + 1, 1);
  EXPECT_EQ(memcmp(table_get_binary(t, last, kb, nullptr), "bcde", 4), 0);
  table_set_int(t, last, ki, 42);
  table_set_buff(t, 0, ki, table_get_buff(t, last, ki, nullptr), 4, 0);
  EXPECT_EQ(table_get_int(t, 0, ki), 42);
}

TEST_P(Cells, PointersToTextStayWhenOtherCellsAreWritten) {
  table_set_str(t, 0, ks, "kept", 1);
  table_set_binary(t, 0, kb, 4, "kept", 1);
  const char* text = table_get_str(t, 0, ks);
  const void* bytes = table_get_binary(t, 0, kb, nullptr);
  const int rows = last < 2000 ? last : 2000;
  for (int row = 1; row <= rows; ++row) {
    table_set_str(t, row, ks, "another text", 1);
    table_set_binary(t, row, kb, 5, "12345", 1);
  }
  EXPECT_EQ(table_get_str(t, 0, ks), text);
  EXPECT_STREQ(text, "kept");
  EXPECT_EQ(table_get_binary(t, 0, kb, nullptr), bytes);
}

TEST_P(Cells, BuffPointersAreAlignedForTheType) {
  const char bytes[16] = {};
  const std::pair<int, size_t> columns[] = {{kh, 2}, {ki, 4}, {kq, 8}, {kf, 4}, {kd, 8}, {kT, 8}, {kP, 8}};
  table_set_str(t, 0, ks, "odd", 1);
  for (const int row : {0, last}) {
    for (const auto& column : columns) {
      table_set_buff(t, row, column.first, bytes, static_cast<int>(column.second), 0);
      const auto address = reinterpret_cast<uintptr_t>(table_get_buff(t, row, column.first, nullptr));
      EXPECT_EQ(address % column.second, 0U);
    }
    table_set_buff(t, row, kn, bytes, 16, 0);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(table_get_buff(t, row, kn, nullptr)) % 4, 0U);
  }
}

TEST(CountedCell, TakesItsWholeWidthAtOnce) {
  const Table table("DaiMa:s;LeiXing:i;Data:53q;HasBits:q", 2);
  int64_t values[53];
  for (int i = 0; i < 53; ++i)
    values[i] = (int64_t{1} << 40) * i - 7;
  table_set_buff(table.get(), 1, 2, values, 424, 0);
  int size = 0;
  const void* data = table_get_buff(table.get(), 1, 2, &size);
  ASSERT_EQ(size, 424);
  EXPECT_EQ(memcmp(data, values, 424), 0);
  EXPECT_EQ(table_is_set(table.get(), 0, 2), 0);
}

TEST(CountedCell, IsOverwrittenInPlace) {
  const Table table("x:2i", 1);
  const int32_t first[2] = {1, 2};
  const int32_t second[2] = {3, 4};
  table_set_buff(table.get(), 0, 0, first, 8, 0);
  table_set_buff(table.get(), 0, 0, second, 8, 0);
  EXPECT_EQ(memcmp(table_get_buff(table.get(), 0, 0, nullptr), second, 8), 0);
}

TEST(NullTable, IsAcceptedEverywhere) {
  CallEverySetter(nullptr, 0, 0);
  ExpectUnset(nullptr, 0, 0);
  table_free(nullptr);
  EXPECT_EQ(table_rows(nullptr), 0);
  EXPECT_EQ(table_cols(nullptr), 0);
  EXPECT_STREQ(table_name(nullptr), "");
  EXPECT_STREQ(table_col_name(nullptr, 0), "");
  EXPECT_LT(table_col_index(nullptr, "a"), 0);
  EXPECT_EQ(table_col_type(nullptr, 0), 0);
  EXPECT_EQ(table_col_count(nullptr, 0), 0);
}

TEST(TableShape, RowsAreWhatWasAskedFor) {
  for (const int rows : {0, 1, 255, 256, 257, INT_MAX}) {
    const Table table("a:d", rows);
    EXPECT_EQ(table_rows(table.get()), rows);
  }
}

TEST(TableShape, NegativeRowsCountAsNone) {
  for (const int rows : {-1, INT_MIN}) {
    const Table table("a:d", rows);
    EXPECT_EQ(table_rows(table.get()), 0);
    table_set_double(table.get(), 0, 0, 1);
    EXPECT_EQ(table_is_set(table.get(), 0, 0), 0);
  }
}

TEST(TableShape, ATableWithoutRowsKeepsItsColumns) {
  const Table table("Obj:s;Data:t", 0, "root");
  EXPECT_EQ(table_cols(table.get()), 2);
  EXPECT_EQ(table_col_index(table.get(), "Data"), 1);
  CallEverySetter(table.get(), 0, 0);
  EXPECT_EQ(table_is_set(table.get(), 0, 0), 0);
}

TEST(TableName, IsKeptAsACopy) {
  for (const int rows : {0, 1, 1000}) {
    std::string name = "tes2tableType::ParseBanKuaiFenLeiFanHui";
    const Table table(table_create("a:d;b:q", rows, name.c_str()));
    name[0] = 'X';
    EXPECT_STREQ(table_name(table.get()), "tes2tableType::ParseBanKuaiFenLeiFanHui");
  }
}

TEST(TableName, SurvivesWritingOfAllCells) {
  const Table table("a:d;b:q", 64, "data");
  for (int row = 0; row < 64; ++row) {
    table_set_double(table.get(), row, 0, -1);
    table_set_int64(table.get(), row, 1, -1);
  }
  EXPECT_STREQ(table_name(table.get()), "data");
}

TEST(TableName, IsEmptyForNull) {
  const Table table(table_create("a:d", 1, nullptr));
  EXPECT_STREQ(table_name(table.get()), "");
}

}  // namespace
