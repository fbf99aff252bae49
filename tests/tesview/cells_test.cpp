#include "tesview/show/cells.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace tesview {
namespace {

using tsl_base::Table;
using tsl_base::TableView;

constexpr char kAllNumbers[] = "c:c;h:h;i:i;q:q;f:f;d:d;C:C;H:H;I:I;Q:Q;T:T;P:P;V:V;s:s;odd";

// All elements of a row's numbers, in the order of the columns.
std::string Numbers(TableView table, int row, bool json = false) {
  std::string text;
  for (const Column& column : ColumnsOf(table)) {
    for (int element = 0; element < column.count; ++element) {
      if (!text.empty()) text += ' ';
      const void* numbers = NumbersOf(table, row, column);
      if (numbers == nullptr) continue;
      char room[kNumberRoom];
      const char* end = json ? WriteJsonNumber(room, column, numbers, element)
                             : WriteNumber(room, column, numbers, element);
      text.append(static_cast<const char*>(room), end);
    }
  }
  return text;
}

TEST(Number, OfEachTypeAtItsEnds) {
  const Table table(kAllNumbers, 2);
  void* t = table.get();
  table_set_int(t, 0, 0, -128);
  table_set_short(t, 0, 1, static_cast<unsigned short>(-32768));
  table_set_int(t, 0, 2, std::numeric_limits<int32_t>::min());
  table_set_int64(t, 0, 3, std::numeric_limits<int64_t>::min());
  table_set_float(t, 0, 4, 0.1F);
  table_set_double(t, 0, 5, -0.1);
  table_set_int(t, 0, 6, 255);
  table_set_short(t, 0, 7, 65535);
  table_set_uint(t, 0, 8, std::numeric_limits<uint32_t>::max());
  table_set_uint64(t, 0, 9, std::numeric_limits<uint64_t>::max());
  table_set_uint64(t, 0, 10, std::numeric_limits<uint64_t>::max());
  table_set_pfloat(t, 0, 11, PFloat(-12345, 4));
  table_set_vfloat(t, 0, 12, VFloat(25, 1));
  table_set_str(t, 0, 13, "no number", 1);
  const std::string expected =
      "-128 -32768 -2147483648 -9223372036854775808 0.1 -0.1 255 65535 4294967295 18446744073709551615 "
      "18446744073709551615 -1.2345 2.5 ";
  EXPECT_EQ(Numbers(table.view(), 0), expected);
  EXPECT_EQ(Numbers(table.view(), 0, true), expected);
}

TEST(Number, OfEachTypeAboveZero) {
  const Table table(kAllNumbers, 1);
  void* t = table.get();
  table_set_int(t, 0, 0, 127);
  table_set_short(t, 0, 1, 32767);
  table_set_int(t, 0, 2, std::numeric_limits<int32_t>::max());
  table_set_int64(t, 0, 3, std::numeric_limits<int64_t>::max());
  table_set_float(t, 0, 4, 16777215);
  table_set_double(t, 0, 5, 123456789012);
  table_set_int(t, 0, 6, 128);
  table_set_short(t, 0, 7, 32768);
  table_set_uint(t, 0, 8, 2147483648);
  table_set_uint64(t, 0, 9, uint64_t{1} << 63);
  table_set_uint64(t, 0, 10, 0);
  table_set_pfloat(t, 0, 11, PFloat(7, 0));
  table_set_vfloat(t, 0, 12, VFloat(-1, 0));
  EXPECT_EQ(Numbers(table.view(), 0),
            "127 32767 2147483647 9223372036854775807 16777215 123456789012 128 32768 2147483648 "
            "9223372036854775808 0 7 -1 ");
}

TEST(Number, DecimalsStandWhereTheyBelong) {
  const Table table("P:P", 5);
  void* t = table.get();
  const Column column = ColumnsOf(table.view())[0];
  const auto shown = [&](int row, long long mantissa, unsigned short decimals) {
    table_set_pfloat(t, row, 0, PFloat(mantissa, decimals));
    std::string text;
    AppendNumber(&text, column, NumbersOf(table.view(), row, column), 0);
    return text;
  };
  EXPECT_EQ(shown(0, 5, 3), "0.005");
  EXPECT_EQ(shown(1, -5, 1), "-0.5");
  EXPECT_EQ(shown(2, 1200, 2), "12.00");
  EXPECT_EQ(shown(3, 1, 30), "0.000000000000000000000000000001");
  // A count that no number has must not become a text of 65,535 zeroes.
  EXPECT_EQ(shown(4, -3, 65535), "-3e-65535");
}

TEST(Number, OfACountedCellIsEachElement) {
  const Table table("n:3i", 1);
  const int32_t numbers[3] = {5, -6, 7};
  table_set_buff(table.get(), 0, 0, numbers, sizeof numbers, 0);
  EXPECT_EQ(Numbers(table.view(), 0), "5 -6 7");
}

TEST(Number, InJsonIsATextWhereItIsNotFinite) {
  const Table table("f:f;d:d", 2);
  table_set_float(table.get(), 0, 0, -std::numeric_limits<float>::infinity());
  table_set_double(table.get(), 0, 1, std::numeric_limits<double>::infinity());
  table_set_float(table.get(), 1, 0, std::numeric_limits<float>::quiet_NaN());
  table_set_double(table.get(), 1, 1, 0.0);
  EXPECT_EQ(Numbers(table.view(), 0, true), "\"-inf\" \"inf\"");
  EXPECT_EQ(Numbers(table.view(), 0), "-inf inf");
  EXPECT_EQ(Numbers(table.view(), 1, true), "\"nan\" 0");
}

TEST(Bytes, OfACellThatHasNone) {
  const Table table("b:b", 2);
  table_set_binary(table.get(), 0, 0, 3, "a\0b", 1);
  const Column column = ColumnsOf(table.view())[0];
  EXPECT_EQ(BinaryOf(table.view(), 0, column), std::string_view("a\0b", 3));
  EXPECT_EQ(BinaryOf(table.view(), 1, column), "");
}

}  // namespace
}  // namespace tesview
