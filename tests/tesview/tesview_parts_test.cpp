// Parts of the viewer by themselves, with what no reply of today brings about: every type of number above
// all.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tesview/show/numbers.h"
#include "tesview/show/table.h"
#include "tesview/terminal/progress.h"

namespace tesview {
namespace {

constexpr char kAllNumbers[] = "c:c;h:h;i:i;q:q;f:f;d:d;C:C;H:H;I:I;Q:Q;T:T;P:P;V:V;s:s;odd";

// All elements of a row's numbers, in the order of the columns.
std::string Numbers(void* table, int row, bool json = false) {
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

// ---- numbers ----

TEST(Number, OfEachTypeAtItsEnds) {
  const OwnedTable table(table_create(kAllNumbers, 2, ""));
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
  EXPECT_EQ(Numbers(t, 0), expected);
  EXPECT_EQ(Numbers(t, 0, true), expected);
}

TEST(Number, OfEachTypeAboveZero) {
  const OwnedTable table(table_create(kAllNumbers, 1, ""));
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
  EXPECT_EQ(Numbers(t, 0),
            "127 32767 2147483647 9223372036854775807 16777215 123456789012 128 32768 2147483648 "
            "9223372036854775808 0 7 -1 ");
}

TEST(Number, DecimalsStandWhereTheyBelong) {
  const OwnedTable table(table_create("P:P", 5, ""));
  void* t = table.get();
  const Column column = ColumnsOf(t)[0];
  const auto shown = [&](int row, long long mantissa, unsigned short decimals) {
    table_set_pfloat(t, row, 0, PFloat(mantissa, decimals));
    std::string text;
    AppendNumber(&text, column, NumbersOf(t, row, column), 0);
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
  const OwnedTable table(table_create("n:3i", 1, ""));
  const int32_t numbers[3] = {5, -6, 7};
  table_set_buff(table.get(), 0, 0, numbers, sizeof numbers, 0);
  EXPECT_EQ(Numbers(table.get(), 0), "5 -6 7");
}

TEST(Number, InJsonIsATextWhereItIsNotFinite) {
  const OwnedTable table(table_create("f:f;d:d", 2, ""));
  table_set_float(table.get(), 0, 0, -std::numeric_limits<float>::infinity());
  table_set_double(table.get(), 0, 1, std::numeric_limits<double>::infinity());
  table_set_float(table.get(), 1, 0, std::numeric_limits<float>::quiet_NaN());
  table_set_double(table.get(), 1, 1, 0.0);
  EXPECT_EQ(Numbers(table.get(), 0, true), "\"-inf\" \"inf\"");
  EXPECT_EQ(Numbers(table.get(), 0), "-inf inf");
  EXPECT_EQ(Numbers(table.get(), 1, true), "\"nan\" 0");
}

// ---- columns ----

TEST(Columns, AreKnownAgainByAllThatTheyAre) {
  const OwnedTable table(table_create("a:i;b:2d;a:s;;\xD6\xD0:t", 1, ""));
  const auto columns = ColumnsOf(table.get());
  ASSERT_EQ(columns.size(), 5U);
  EXPECT_EQ(columns[2].name, "a#2");
  EXPECT_EQ(columns[3].name, "#3");
  EXPECT_EQ(columns[4].name, "中");
  EXPECT_FALSE(HasColumns(table.get(), {columns[0], columns[1], columns[2]}));
  const auto same = [&](const char* spec) {
    return HasColumns(OwnedTable(table_create(spec, 7, "other")).get(), columns);
  };
  EXPECT_TRUE(same("a:i;b:2d;a:s;;\xD6\xD0:t"));
  EXPECT_FALSE(same("a:i;b:2d;a:s;;\xD6\xD0:t;more:i"));
  EXPECT_FALSE(same("a:q;b:2d;a:s;;\xD6\xD0:t"));
  EXPECT_FALSE(same("a:i;b:3d;a:s;;\xD6\xD0:t"));
  EXPECT_FALSE(same("A:i;b:2d;a:s;;\xD6\xD0:t"));
  EXPECT_FALSE(same("a:i;b:2d;c:s;;\xD6\xD0:t"));
  EXPECT_FALSE(same("a:i;b:2d;a:s;;\xD6\xD1:t"));
}

TEST(Columns, BytesOfACellThatHasNone) {
  const OwnedTable table(table_create("b:b", 2, ""));
  table_set_binary(table.get(), 0, 0, 3, "a\0b", 1);
  const Column column = ColumnsOf(table.get())[0];
  EXPECT_EQ(BinaryOf(table.get(), 0, column), std::string_view("a\0b", 3));
  EXPECT_EQ(BinaryOf(table.get(), 1, column), "");
}

// ---- the progress line ----

TEST(ProgressLine, HasUnitsThatFit) {
  EXPECT_EQ(ProgressText(999, 0, 0, 1, 0), "999 B  0 replies  999 B/s");
  EXPECT_EQ(ProgressText(1500, 0, 1, 1, 0), "1.5 kB  1 reply  1.5 kB/s");
  EXPECT_EQ(ProgressText(2'500'000, 0, 2, 2, 0), "2.5 MB  2 replies  1.2 MB/s");
  EXPECT_EQ(ProgressText(5'000'000'000, 0, 2, 2, 0), "5.00 GB  2 replies  2.50 GB/s");
}

TEST(ProgressLine, TellsThePartAndTheRest) {
  // 10 of 40 MB in 10 s: 30 MB more at 1 MB/s.
  EXPECT_EQ(ProgressText(10'000'000, 40'000'000, 3, 10, 0),
            " 25%  10.0 MB of 40.0 MB  3 replies  1.0 MB/s  30 s left");
  // 150 MB more at 0.5 MB/s.
  EXPECT_EQ(ProgressText(50'000'000, 200'000'000, 3, 100, 0),
            " 25%  50.0 MB of 200.0 MB  3 replies  500.0 kB/s  5 min 00 s left");
  // 125 s.
  EXPECT_EQ(ProgressText(1'000'000, 126'000'000, 3, 1, 0),
            "  1%  1.0 MB of 126.0 MB  3 replies  1.0 MB/s  2 min 05 s left");
  // 7,200 s.
  EXPECT_EQ(ProgressText(1'000'000, 7'201'000'000, 3, 1, 0),
            "  0%  1.0 MB of 7.20 GB  3 replies  1.0 MB/s  2.0 h left");
  // A file that grew.
  EXPECT_EQ(ProgressText(3000, 2000, 3, 1, 0), "100%  3.0 kB of 2.0 kB  3 replies  3.0 kB/s");
  EXPECT_EQ(ProgressText(0, 2000, 0, 0, 0), "  0%  0 B of 2.0 kB  0 replies  0 B/s");
}

TEST(ProgressLine, IsCutToTheTerminal) {
  // The last column stays free, or some terminals begin a new line.
  EXPECT_EQ(ProgressText(999, 0, 0, 1, 10), "999 B  0 ");
  EXPECT_EQ(ProgressText(999, 0, 0, 1, 25), "999 B  0 replies  999 B/");
  EXPECT_EQ(ProgressText(999, 0, 0, 1, 26), "999 B  0 replies  999 B/s");
}

}  // namespace
}  // namespace tesview
