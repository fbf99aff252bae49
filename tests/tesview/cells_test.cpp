#include "tesview/show/cells.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "tesview/show/choose.h"
#include "tesview/show/table_form.h"

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

TEST(Number, OfATextIsNothing) {
  const Table table("s:s", 1);
  table_set_str(table.get(), 0, 0, "12", 1);
  char room[kNumberRoom];
  EXPECT_EQ(
      WriteNumber(room, ColumnsOf(table.view())[0], TextOf(table.view(), 0, ColumnsOf(table.view())[0]), 0),
      static_cast<char*>(room));
}

// ---- times ----

replies::ColumnDescription ToldAs(const char* kind) {
  replies::ColumnDescription told;
  told.kind = {kind, true};
  return told;
}

// The first row of the columns, all of them told as that.
std::string IsoTimes(const Table& table, const replies::ColumnDescription& told) {
  std::string text;
  for (Column column : ColumnsOf(table.view())) {
    column.told = &told;
    column.iso_times = true;
    if (!text.empty()) text += ", ";
    AppendNumber(&text, column, NumbersOf(table.view(), 0, column), 0);
  }
  return text;
}

TEST(Time, IsToldInColumnsOfWholeNumbersAndDoubles) {
  // 19,891 days after 1970-01-01 and two hours: ten in the morning in Beijing.
  constexpr int kMoment = 19891 * 86400 + 2 * 3600;
  const Table table("i:i;I:I;q:q;d:d", 1);
  table_set_int(table.get(), 0, 0, kMoment);
  // 47,482 days: beyond what 31 bits hold.
  table_set_uint(table.get(), 0, 1, 4102444800U);
  table_set_int64(table.get(), 0, 2, kMoment);
  table_set_double(table.get(), 0, 3, kMoment);
  EXPECT_EQ(IsoTimes(table, ToldAs("unix")),
            "2024-06-17 10:00:00, 2100-01-01 08:00:00, 2024-06-17 10:00:00, 2024-06-17 10:00:00");
}

TEST(Time, IsNoNumberThatIsNotWholeOrBeyondAllTimes) {
  const Table table("a:d;b:d;c:d;e:d;h:h", 1);
  table_set_double(table.get(), 0, 0, 20240617.5);
  table_set_double(table.get(), 0, 1, 1e17);
  table_set_double(table.get(), 0, 2, -1e17);
  table_set_double(table.get(), 0, 3, std::numeric_limits<double>::quiet_NaN());
  // Nothing of so few bits is told as a time.
  table_set_short(table.get(), 0, 4, 930);
  EXPECT_EQ(IsoTimes(table, ToldAs("yyyymmdd hhmm")), "20240617.5, 1e+17, -1e+17, nan, 930");
}

TEST(Time, OfACellIsItsKindItsFiguresAndItsMilliseconds) {
  const Table table("d:d", 3);
  table_set_double(table.get(), 0, 0, 19700102);
  table_set_double(table.get(), 1, 0, 0.5);
  table_set_double(table.get(), 2, 0, 19700132);
  Column column = ColumnsOf(table.view())[0];
  const auto time = [&](int row) { return TimeOf(column, NumbersOf(table.view(), row, column), 0); };
  EXPECT_FALSE(time(0));
  replies::ColumnDescription told = ToldAs("yyyymmdd");
  column.told = &told;
  ASSERT_TRUE(time(0));
  EXPECT_EQ(time(0)->kind, replies::TimeKind::kDate);
  EXPECT_EQ(time(0)->value, 19700102);
  EXPECT_EQ(time(0)->millis, 86'400'000);
  // No whole number, and no day of January.
  EXPECT_FALSE(time(1));
  EXPECT_FALSE(time(2));
  // A text that looks like a date is told as one as well.
  told.letter = "s";
  EXPECT_FALSE(MayBeTime(column, 0));
  told.letter = "d";
  EXPECT_TRUE(MayBeTime(column, 0));
  told.kind = {"id", false};
  EXPECT_FALSE(MayBeTime(column, 0));
}

TEST(Date, IsThatOfACellWithADate) {
  const Table table("d:d;s:s;n:2i", 2);
  table_set_double(table.get(), 0, 0, 20240617150000);
  table_set_str(table.get(), 0, 1, "20240617", 1);
  const int two[] = {20240617, 20240618};
  table_set_buff(table.get(), 0, 2, two, sizeof two, 0);
  std::vector<Column> columns = ColumnsOf(table.view());
  const auto date = [&](size_t col, int row, const char* kind) {
    const replies::ColumnDescription told = ToldAs(kind);
    columns[col].told = &told;
    const std::string text = DateOf(table.view(), row, columns[col]);
    columns[col].told = nullptr;
    return text;
  };
  EXPECT_EQ(date(0, 0, "yyyymmddhhmmss"), "2024-06-17");
  // A cell that is not set; one that nothing is told of; texts, and cells with several numbers.
  EXPECT_EQ(date(0, 1, "yyyymmddhhmmss"), "");
  EXPECT_EQ(DateOf(table.view(), 0, columns[0]), "");
  EXPECT_EQ(date(1, 0, "yyyymmdd"), "");
  EXPECT_EQ(date(2, 0, "yyyymmdd"), "");
  // Times of any day, what is no time, and what is no whole number.
  table_set_double(table.get(), 0, 0, 1530);
  EXPECT_EQ(date(0, 0, "hhmm"), "");
  EXPECT_EQ(date(0, 0, "hhmmss"), "");
  EXPECT_EQ(date(0, 0, "yyyymmdd"), "");
  table_set_double(table.get(), 0, 0, 20240617.25);
  EXPECT_EQ(date(0, 0, "yyyymmdd"), "");
}

TEST(Bytes, OfACellThatHasNone) {
  const Table table("b:b", 2);
  table_set_binary(table.get(), 0, 0, 3, "a\0b", 1);
  const Column column = ColumnsOf(table.view())[0];
  EXPECT_EQ(BinaryOf(table.view(), 0, column), std::string_view("a\0b", 3));
  EXPECT_EQ(BinaryOf(table.view(), 1, column), "");
}

TEST(Cell, OfSeveralNumbersIsRoundedForPeople) {
  const Table table("D:3d;F:2f;Q:2q", 2);
  const double doubles[] = {0.1 + 0.2, 2.0 / 3, 12.5};
  const float floats[] = {0.1F, -3};
  const int64_t whole[] = {std::numeric_limits<int64_t>::max(), -1};
  table_set_buff(table.get(), 0, 0, doubles, sizeof doubles, 0);
  table_set_buff(table.get(), 0, 1, floats, sizeof floats, 0);
  table_set_buff(table.get(), 0, 2, whole, sizeof whole, 0);
  const View view;
  const KeptRows kept;
  Choice choice(view, {}, &kept);
  EXPECT_EQ(RenderTable(view, &choice, table.view()),
            "#  D[3]                            F[2]       Q[2]\n"
            "0  [0.3, 0.666666666666667, 12.5]  [0.1, -3]  [9223372036854775807, -1]\n"
            "1  \xC2\xB7                               \xC2\xB7          \xC2\xB7\n");
}

}  // namespace
}  // namespace tesview
