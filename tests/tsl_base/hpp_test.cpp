// Claim: the C++ layer reads what the C functions read, tells unset from zero, and frees what it owns.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tsl_base/table.hpp"

namespace {

using tsl_base::BytesView;
using tsl_base::CellState;
using tsl_base::ColumnInfo;
using tsl_base::Found;
using tsl_base::RowView;
using tsl_base::Table;
using tsl_base::TableView;
using tsl_base::Type;

Table Sample() {
  Table table("s:s;d:d;f:f;i:i;I:I;q:q;Q:Q;h:h;H:H;c:c;C:C;b:b;n:2i;t:t;T:T;P:P;V:V;odd", 3, "sample");
  void* t = table.get();
  const int32_t numbers[2] = {5, 6};
  table_set_str(t, 1, 0, "text", 1);
  table_set_double(t, 1, 1, 0.5);
  table_set_float(t, 1, 2, 0.25F);
  table_set_int(t, 1, 3, -3);
  table_set_uint(t, 1, 4, 4);
  table_set_int64(t, 1, 5, -5);
  table_set_uint64(t, 1, 6, 6);
  table_set_short(t, 1, 7, 65535);
  table_set_short(t, 1, 8, 65535);
  table_set_int(t, 1, 9, -9);
  table_set_int(t, 1, 10, 250);
  table_set_binary(t, 1, 11, 3, "a\0b", 1);
  table_set_buff(t, 1, 12, numbers, sizeof numbers, 0);
  void* child = table_create("x:q", 1, "child");
  table_set_int64(child, 0, 0, 77);
  table_set_table_raw(t, 1, 13, child);
  table_set_table(t, 2, 13, nullptr, 1);
  table_set_uint64(t, 1, 14, 14);
  table_set_pfloat(t, 1, 15, PFloat(-12345, 4));
  table_set_vfloat(t, 1, 16, VFloat(25, 1));
  return table;
}

TEST(View, GivesTheValueOfEachType) {
  const Table table = Sample();
  const TableView view = table.view();
  EXPECT_EQ(view.get<std::string_view>(1, 0), "text");
  EXPECT_EQ(view.get<double>(1, 1), 0.5);
  EXPECT_EQ(view.get<float>(1, 2), 0.25F);
  EXPECT_EQ(view.get<int32_t>(1, 3), -3);
  EXPECT_EQ(view.get<uint32_t>(1, 4), 4U);
  EXPECT_EQ(view.get<int64_t>(1, 5), -5);
  EXPECT_EQ(view.get<long long>(1, 5), -5);
  EXPECT_EQ(view.get<uint64_t>(1, 6), 6U);
  EXPECT_EQ(view.get<unsigned long long>(1, 6), 6U);
  EXPECT_EQ(view.get<int16_t>(1, 7), -1);
  EXPECT_EQ(view.get<uint16_t>(1, 8), 65535);
  EXPECT_EQ(view.get<int8_t>(1, 9), -9);
  EXPECT_EQ(view.get<uint8_t>(1, 10), 250);
  EXPECT_EQ(view.get<tsl_time_t>(1, 14)->value(), 14U);
  EXPECT_EQ(view.get<PFloat>(1, 15)->mantissa(), -12345);
  EXPECT_EQ(view.get<VFloat>(1, 16)->mantissa(), 25);
}

TEST(View, AnotherTypeGivesNothing) {
  const Table table = Sample();
  const TableView view = table.view();
  for (int col = 0; col < view.cols(); ++col) {
    EXPECT_EQ(view.get<double>(1, col).has_value(), col == 1) << col;
    EXPECT_EQ(view.get<float>(1, col).has_value(), col == 2) << col;
    EXPECT_EQ(view.get<int32_t>(1, col).has_value(), col == 3) << col;
    EXPECT_EQ(view.get<uint32_t>(1, col).has_value(), col == 4) << col;
    EXPECT_EQ(view.get<int64_t>(1, col).has_value(), col == 5) << col;
    EXPECT_EQ(view.get<uint64_t>(1, col).has_value(), col == 6) << col;
    EXPECT_EQ(view.get<std::string_view>(1, col).has_value(), col == 0) << col;
    EXPECT_EQ(view.get<TableView>(1, col).has_value(), col == 13) << col;
  }
}

TEST(View, UnsetAndOutsideGiveNothing) {
  const Table table = Sample();
  const TableView view = table.view();
  for (const int row : {-1, 0, 3, INT_MAX}) {
    EXPECT_FALSE(view.get<double>(row, 1).has_value());
    EXPECT_FALSE(view.get<std::string_view>(row, 0).has_value());
    EXPECT_FALSE(view.get<BytesView>(row, 11).has_value());
    EXPECT_FALSE(view.get<TableView>(row, 13).has_value());
    EXPECT_FALSE(view.is_set(row, 1));
  }
  EXPECT_FALSE(view.get<double>(1, -1).has_value());
  EXPECT_FALSE(view.get<double>(1, 100).has_value());
}

TEST(View, ZeroAndEmptyAreValues) {
  const Table table("d:d;s:s;b:b", 1);
  table_set_double(table.get(), 0, 0, 0);
  table_set_str(table.get(), 0, 1, "", 1);
  table_set_binary(table.get(), 0, 2, 0, nullptr, 1);
  EXPECT_EQ(table.view().get<double>(0, 0), 0.0);
  EXPECT_EQ(table.view().get<std::string_view>(0, 1), "");
  ASSERT_TRUE(table.view().get<BytesView>(0, 2).has_value());
  EXPECT_TRUE(table.view().get<BytesView>(0, 2)->empty());
}

// The types that a program may ask for while it runs, for instance to check a column beforehand.
TEST(View, KnowsTheColumnTypeOfACppType) {
  using tsl_base::detail::TypeOf;
  EXPECT_EQ(TypeOf<int8_t>(), Type::kInt8);
  EXPECT_EQ(TypeOf<int16_t>(), Type::kInt16);
  EXPECT_EQ(TypeOf<int32_t>(), Type::kInt32);
  EXPECT_EQ(TypeOf<int64_t>(), Type::kInt64);
  EXPECT_EQ(TypeOf<long long>(), Type::kInt64);
  EXPECT_EQ(TypeOf<float>(), Type::kFloat);
  EXPECT_EQ(TypeOf<double>(), Type::kDouble);
  EXPECT_EQ(TypeOf<std::string_view>(), Type::kText);
  EXPECT_EQ(TypeOf<uint8_t>(), Type::kUint8);
  EXPECT_EQ(TypeOf<uint16_t>(), Type::kUint16);
  EXPECT_EQ(TypeOf<uint32_t>(), Type::kUint32);
  EXPECT_EQ(TypeOf<uint64_t>(), Type::kUint64);
  EXPECT_EQ(TypeOf<TableView>(), Type::kTable);
  EXPECT_EQ(TypeOf<tsl_time_t>(), Type::kTime);
  EXPECT_EQ(TypeOf<PFloat>(), Type::kPFloat);
  EXPECT_EQ(TypeOf<VFloat>(), Type::kVFloat);
  EXPECT_EQ(TypeOf<bool>(), Type::kNothing);
  EXPECT_EQ(TypeOf<long double>(), Type::kNothing);
  EXPECT_EQ(TypeOf<const char*>(), Type::kNothing);
}

TEST(View, GivesBytesOfBinaryCountedAndSingleCells) {
  const Table table = Sample();
  const BytesView binary = *table.view().get<BytesView>(1, 11);
  EXPECT_EQ(std::string(binary.begin(), binary.end()), std::string("a\0b", 3));
  const BytesView counted = *table.view().get<BytesView>(1, 12);
  ASSERT_EQ(counted.size(), 8U);
  int32_t numbers[2];
  memcpy(numbers, counted.data(), 8);
  EXPECT_EQ(numbers[1], 6);
  EXPECT_EQ(table.view().get<BytesView>(1, 9)->size(), 1U);
  EXPECT_FALSE(table.view().get<BytesView>(1, 0).has_value());
}

TEST(View, ReadsByName) {
  const Table table = Sample();
  EXPECT_EQ(table.view().get<double>(1, "d"), 0.5);
  EXPECT_FALSE(table.view().get<double>(1, "no such column").has_value());
}

TEST(View, ReadsChildren) {
  const Table table = Sample();
  const auto child = table.view().get<TableView>(1, "t");
  ASSERT_TRUE(child.has_value());
  EXPECT_EQ(child->name(), "child");
  EXPECT_EQ(child->get<int64_t>(0, "x"), 77);
}

TEST(View, TellsAnEmptyChildFromNone) {
  const Table table = Sample();
  const auto empty = table.view().get<TableView>(2, 13);
  ASSERT_TRUE(empty.has_value());
  EXPECT_FALSE(*empty);
  EXPECT_EQ(empty->rows(), 0);
  EXPECT_FALSE(table.view().get<TableView>(0, 13).has_value());
}

TEST(View, DescribesTheTable) {
  const Table table = Sample();
  const TableView view = table.view();
  EXPECT_EQ(view.rows(), 3);
  EXPECT_EQ(view.cols(), 18);
  EXPECT_EQ(view.name(), "sample");
}

TEST(View, DescribesColumns) {
  const Table table = Sample();
  const ColumnInfo counted = table.view().column(12);
  EXPECT_EQ(counted.index, 12);
  EXPECT_EQ(counted.name, "n");
  EXPECT_EQ(counted.type, Type::kInt32);
  EXPECT_EQ(counted.count, 2);
  EXPECT_EQ(table.view().column(17).type, Type::kNothing);
  EXPECT_EQ(table.view().column(17).count, 0);
  EXPECT_EQ(table.view().column(99).name, "");
}

TEST(Columns, AreIteratedInOrder) {
  const Table table("a:d;;b:53q;a:s", 0);
  std::vector<std::string> seen;
  for (const ColumnInfo& column : table.view().columns()) {
    EXPECT_EQ(column.index, static_cast<int>(seen.size()));
    seen.push_back(std::string(column.name) + ' ' + std::to_string(static_cast<int>(column.type)) + ' ' +
                   std::to_string(column.count));
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"a 6 1", " 0 0", "b 4 53", "a 7 1"}));
}

TEST(Columns, OfNoTableAreNone) {
  for (const ColumnInfo& column : TableView().columns())
    FAIL() << column.index;
}

TEST(View, FindsColumns) {
  const Table table = Sample();
  EXPECT_EQ(table.view().column_index("s"), 0);
  EXPECT_EQ(table.view().column_index("odd"), 17);
  EXPECT_EQ(table.view().column_index("S"), std::nullopt);
  EXPECT_EQ(table.view().column_index(std::string_view("s\0", 2)), std::nullopt);
}

TEST(View, OfNoTableIsEmpty) {
  const TableView none;
  EXPECT_FALSE(none);
  EXPECT_EQ(none.rows(), 0);
  EXPECT_EQ(none.cols(), 0);
  EXPECT_EQ(none.name(), "");
  EXPECT_FALSE(none.get<double>(0, 0).has_value());
  EXPECT_EQ(none.begin(), none.end());
}

TEST(Rows, AreIteratedInOrder) {
  const Table table("x:q", 4);
  for (int row = 0; row < 4; ++row)
    table_set_int64(table.get(), row, 0, row * 10LL);
  std::vector<int64_t> values;
  for (const RowView row : table.view()) {
    EXPECT_EQ(row.index() * 10, row.get<int64_t>("x"));
    values.push_back(*row.get<int64_t>(0));
  }
  EXPECT_EQ(values, (std::vector<int64_t>{0, 10, 20, 30}));
}

TEST(Rows, AreSteppedThroughAsIteratorsAre) {
  const Table table("x:q", 2);
  auto at = table.view().begin();
  EXPECT_EQ((*at++).index(), 0);
  EXPECT_EQ((*at).index(), 1);
  EXPECT_FALSE(at == table.view().end());
  at++;
  EXPECT_TRUE(at == table.view().end());
  const Table other("x:q", 2);
  EXPECT_FALSE(at == other.view().end());
  EXPECT_TRUE(at != other.view().end());
}

TEST(Rows, OfATableWithoutRowsAreNone) {
  const Table table("x:q", 0);
  for (const RowView row : table.view())
    FAIL() << row.index();
}

TEST(Rows, ReadLikeTheTable) {
  const Table table = Sample();
  const RowView row = table.view().row(1);
  EXPECT_TRUE(row.is_set(1));
  EXPECT_TRUE(row.is_set("d"));
  EXPECT_FALSE(row.is_set("odd"));
  EXPECT_FALSE(row.is_set("no such column"));
  EXPECT_EQ(row.as_double(3), -3.0);
  EXPECT_EQ(row.table().get(), table.get());
  std::string seen;
  EXPECT_TRUE(row.visit(0, [&seen](auto value) {
    if constexpr (std::is_same_v<decltype(value), std::string_view>) seen = value;
  }));
  EXPECT_EQ(seen, "text");
}

TEST(AsDouble, ReadsEveryNumber) {
  const Table table = Sample();
  const double expected[] = {0, 0.5, 0.25, -3, 4, -5, 6, -1, 65535, -9, 250};
  for (int col = 1; col <= 10; ++col)
    EXPECT_EQ(table.view().as_double(1, col), expected[col]) << col;
  EXPECT_EQ(table.view().as_double(1, 15), -1.2345);
  EXPECT_EQ(table.view().as_double(1, 16), 2.5);
}

TEST(AsDouble, GivesNothingForOtherCells) {
  const Table table = Sample();
  for (const int col : {0, 11, 12, 13, 14, 17})
    EXPECT_FALSE(table.view().as_double(1, col).has_value()) << col;
  EXPECT_FALSE(table.view().as_double(0, 1).has_value());
}

TEST(AsDouble, ReadsByName) {
  const Table table = Sample();
  EXPECT_EQ(table.view().as_double(1, "P"), -1.2345);
  EXPECT_EQ(table.view().as_double(0, "P"), std::nullopt);
  EXPECT_EQ(table.view().as_double(1, "s"), std::nullopt);
  EXPECT_EQ(table.view().as_double(1, "p"), std::nullopt);
  EXPECT_EQ(table.view().row(1).as_double("i"), -3.0);
  EXPECT_EQ(table.view().row(0).as_double("i"), std::nullopt);
}

TEST(AsInt64, ReadsEveryWholeNumber) {
  const Table table = Sample();
  const int64_t expected[] = {-3, 4, -5, 6, -1, 65535, -9, 250};
  for (int col = 3; col <= 10; ++col)
    EXPECT_EQ(table.view().as_int64(1, col), expected[col - 3]) << col;
  EXPECT_EQ(table.view().as_int64(1, "q"), -5);
  EXPECT_EQ(table.view().row(1).as_int64(5), -5);
  EXPECT_EQ(table.view().row(1).as_int64("q"), -5);
}

TEST(AsInt64, GivesNothingForOtherCells) {
  const Table table = Sample();
  for (const int col : {0, 1, 2, 11, 12, 13, 14, 15, 16, 17, 18, -1})
    EXPECT_EQ(table.view().as_int64(1, col), std::nullopt) << col;
  EXPECT_EQ(table.view().as_int64(0, 3), std::nullopt);
  EXPECT_EQ(table.view().as_int64(0, "q"), std::nullopt);
  EXPECT_EQ(table.view().as_int64(1, "no such column"), std::nullopt);
}

TEST(AsInt64, TakesUnsignedNumbersUpToItsOwnLargest) {
  const Table table("Q:Q", 2);
  table_set_uint64(table.get(), 0, 0, 9223372036854775807U);
  table_set_uint64(table.get(), 1, 0, 9223372036854775808U);
  EXPECT_EQ(table.view().as_int64(0, 0), INT64_MAX);
  EXPECT_EQ(table.view().as_int64(1, 0), std::nullopt);
}

TEST(AsInt64, TakesDoublesThatAreWholeAndFit) {
  const struct {
    double value;
    std::optional<int64_t> whole;
  } cases[] = {{-0.0, 0},
               {20240617153000.0, 20240617153000},
               {-7.0, -7},
               {0.5, std::nullopt},
               {-1e-300, std::nullopt},
               {-9223372036854775808.0, INT64_MIN},
               {-9223372036854777856.0, std::nullopt},  // the next one below
               {9223372036854774784.0, 9223372036854774784},
               {9223372036854775808.0, std::nullopt},
               {std::numeric_limits<double>::infinity(), std::nullopt},
               {-std::numeric_limits<double>::infinity(), std::nullopt},
               {std::numeric_limits<double>::quiet_NaN(), std::nullopt}};
  const Table table("d:d;f:f", 1);
  for (const auto& c : cases) {
    table_set_double(table.get(), 0, 0, c.value);
    EXPECT_EQ(table.view().as_int64(0, 0), c.whole) << c.value;
  }
  table_set_float(table.get(), 0, 1, 16777216.0F);
  EXPECT_EQ(table.view().as_int64(0, 1), 16777216);
  table_set_float(table.get(), 0, 1, 0.25F);
  EXPECT_EQ(table.view().as_int64(0, 1), std::nullopt);
}

TEST(AsInt64, TakesDecimalsThatAreWhole) {
  const struct {
    long long mantissa;
    unsigned short decimals;
    std::optional<int64_t> whole;
  } cases[] = {{100000, 4, 10},           {-100000, 4, -10}, {100000, 5, 1}, {100000, 6, std::nullopt},
               {100001, 4, std::nullopt}, {7, 0, 7},         {0, 65535, 0},  {1, 65535, std::nullopt},
               {100000000000000, 14, 1}};
  const Table table("P:P;V:V", 1);
  for (const auto& c : cases) {
    table_set_pfloat(table.get(), 0, 0, PFloat(c.mantissa, c.decimals));
    table_set_vfloat(table.get(), 0, 1, VFloat(c.mantissa, c.decimals));
    EXPECT_EQ(table.view().as_int64(0, 0), c.whole) << c.mantissa << ' ' << c.decimals;
    EXPECT_EQ(table.view().as_int64(0, 1), c.whole) << c.mantissa << ' ' << c.decimals;
  }
}

TEST(Find, GivesTheValue) {
  const Table table = Sample();
  const Found<double> found = table.view().find<double>(1, "d");
  ASSERT_TRUE(found);
  EXPECT_TRUE(found.has_value());
  EXPECT_EQ(found.state(), CellState::kValue);
  EXPECT_EQ(*found, 0.5);
  EXPECT_EQ(found.value_or(7), 0.5);
  EXPECT_EQ(found.optional(), 0.5);
  EXPECT_EQ(table.view().find<TableView>(1, 13)->rows(), 1);
  EXPECT_EQ(*table.view().row(1).find<std::string_view>("s"), "text");
  EXPECT_EQ(*table.view().row(1).find<int32_t>(3), -3);
}

TEST(Find, TellsWhyThereIsNoValue) {
  const Table table = Sample();
  const TableView view = table.view();
  const Found<double> misspelled = view.find<double>(1, "D");
  EXPECT_FALSE(misspelled);
  EXPECT_FALSE(misspelled.has_value());
  EXPECT_EQ(misspelled.value_or(7), 7);
  EXPECT_EQ(misspelled.optional(), std::nullopt);
  EXPECT_EQ(misspelled.state(), CellState::kNoColumn);
  EXPECT_EQ(view.find<double>(1, -1).state(), CellState::kNoColumn);
  EXPECT_EQ(view.find<double>(1, 18).state(), CellState::kNoColumn);
  EXPECT_EQ(TableView().find<double>(0, 0).state(), CellState::kNoColumn);

  EXPECT_EQ(view.find<double>(0, "d").state(), CellState::kUnset);
  EXPECT_EQ(view.find<double>(0, 1).state(), CellState::kUnset);
  EXPECT_EQ(view.find<double>(-1, 1).state(), CellState::kUnset);
  EXPECT_EQ(view.find<double>(3, 1).state(), CellState::kUnset);
  EXPECT_EQ(view.row(0).find<double>("d").state(), CellState::kUnset);

  // Of another type, whether the cell is set or not.
  EXPECT_EQ(view.find<int64_t>(1, "d").state(), CellState::kOtherType);
  EXPECT_EQ(view.find<int64_t>(0, "d").state(), CellState::kOtherType);
  EXPECT_EQ(view.find<int32_t>(1, "n").state(), CellState::kOtherType);
  EXPECT_EQ(view.find<double>(1, "odd").state(), CellState::kOtherType);
}

TEST(Find, KnowsWhichCellsHaveBytes) {
  const Table table = Sample();
  for (int col = 0; col < 18; ++col) {
    const bool has_bytes = col != 0 && col != 13 && col != 17;
    EXPECT_EQ(table.view().find<BytesView>(1, col).state(),
              has_bytes ? CellState::kValue : CellState::kOtherType)
        << col;
    EXPECT_EQ(table.view().find<BytesView>(0, col).state(),
              has_bytes ? CellState::kUnset : CellState::kOtherType)
        << col;
  }
}

TEST(State, TellsOfACellOfAnyType) {
  const Table table = Sample();
  const TableView view = table.view();
  EXPECT_EQ(view.state(1, "s"), CellState::kValue);
  EXPECT_EQ(view.state(1, 13), CellState::kValue);
  EXPECT_EQ(view.state(2, "t"), CellState::kValue);  // set and empty
  EXPECT_EQ(view.state(0, "s"), CellState::kUnset);
  EXPECT_EQ(view.state(9, 0), CellState::kUnset);
  EXPECT_EQ(view.state(1, "odd"), CellState::kUnset);
  EXPECT_EQ(view.state(1, "S"), CellState::kNoColumn);
  EXPECT_EQ(view.state(1, 18), CellState::kNoColumn);
  EXPECT_EQ(view.state(1, -1), CellState::kNoColumn);
  EXPECT_EQ(view.row(1).state("i"), CellState::kValue);
  EXPECT_EQ(view.row(0).state(3), CellState::kUnset);
}

// What each cell is visited as.
struct TypeName {
  std::string* name;
  void operator()(double) const { *name = "double"; }
  void operator()(float) const { *name = "float"; }
  void operator()(int8_t) const { *name = "int8"; }
  void operator()(int16_t) const { *name = "int16"; }
  void operator()(int32_t) const { *name = "int32"; }
  void operator()(int64_t) const { *name = "int64"; }
  void operator()(uint8_t) const { *name = "uint8"; }
  void operator()(uint16_t) const { *name = "uint16"; }
  void operator()(uint32_t) const { *name = "uint32"; }
  void operator()(uint64_t) const { *name = "uint64"; }
  void operator()(std::string_view) const { *name = "text"; }
  void operator()(BytesView) const { *name = "bytes"; }
  void operator()(TableView) const { *name = "table"; }
  void operator()(tsl_time_t) const { *name = "time"; }
  void operator()(PFloat) const { *name = "PFloat"; }
  void operator()(VFloat) const { *name = "VFloat"; }
};

TEST(Visit, CallsWithTheColumnsType) {
  const Table table = Sample();
  const std::vector<std::string> expected = {"text",   "double", "float",  "int32",  "uint32", "int64",
                                             "uint64", "int16",  "uint16", "int8",   "uint8",  "bytes",
                                             "bytes",  "table",  "time",   "PFloat", "VFloat"};
  for (size_t col = 0; col < expected.size(); ++col) {
    std::string name;
    EXPECT_TRUE(table.view().visit(1, static_cast<int>(col), TypeName{&name}));
    EXPECT_EQ(name, expected[col]) << col;
  }
}

TEST(Visit, IsNotCalledForUnsetCells) {
  const Table table = Sample();
  std::string name = "untouched";
  for (int col = -1; col <= 18; ++col) {
    EXPECT_FALSE(table.view().visit(0, col, TypeName{&name})) << col;
    EXPECT_FALSE(table.view().visit(3, col, TypeName{&name})) << col;
  }
  EXPECT_FALSE(table.view().visit(1, 17, TypeName{&name}));
  EXPECT_FALSE(Table("n", 1).view().visit(0, 0, TypeName{&name}));
  EXPECT_EQ(name, "untouched");
}

TEST(OwnedTable, IsMovedNotCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<Table>);
  EXPECT_FALSE(std::is_copy_assignable_v<Table>);
  Table first("x:q", 1);
  void* raw = first.get();
  Table second(std::move(first));
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): a table that was moved from is none
  EXPECT_EQ(second.get(), raw);
  Table third("y:q", 1);
  third = std::move(second);
  EXPECT_EQ(third.get(), raw);
}

TEST(OwnedTable, MovedToItselfStays) {
  Table table("x:q", 1);
  Table& same = table;
  table = std::move(same);
  ASSERT_TRUE(table);
  EXPECT_EQ(table.view().cols(), 1);
}

TEST(OwnedTable, AdoptsAndReleases) {
  void* raw = table_create("x:q", 1, "");
  Table table(raw);
  EXPECT_EQ(table.release(), raw);
  EXPECT_FALSE(table);
  table.reset(raw);
  EXPECT_EQ(table.get(), raw);
  table.reset(table.get());
  EXPECT_EQ(table.get(), raw);
  EXPECT_EQ(table.view().rows(), 1);
  table.reset();
  EXPECT_FALSE(table);
}

TEST(OwnedTable, IsHandedToAParent) {
  Table parent("t:t", 1);
  Table child("x:q", 1, "child");
  void* raw = child.get();
  EXPECT_TRUE(parent.attach(0, 0, std::move(child)));
  EXPECT_FALSE(child);  // NOLINT(bugprone-use-after-move): given away
  EXPECT_EQ(parent.view().get<TableView>(0, 0)->get(), raw);
}

TEST(OwnedTable, StaysIfTheParentCannotTakeIt) {
  Table parent("t:t;q:q", 1);
  Table child("x:q", 1);
  EXPECT_FALSE(parent.attach(0, 1, std::move(child)));
  EXPECT_FALSE(parent.attach(5, 0, std::move(child)));   // NOLINT(bugprone-use-after-move): it was not taken
  EXPECT_TRUE(child);                                    // NOLINT(bugprone-use-after-move): nor was it now
  EXPECT_FALSE(parent.attach(-1, 0, std::move(child)));  // NOLINT(bugprone-use-after-move): still there
  EXPECT_FALSE(parent.attach(0, 0, Table()));
  EXPECT_FALSE(parent.view().is_set(0, 0));
}

TEST(OwnedTable, IsNotTakenFromItsParent) {
  Table parent("t:t", 1);
  Table child("x:q", 1);
  void* raw = child.get();
  ASSERT_TRUE(parent.attach(0, 0, std::move(child)));
  Table thief("t:t", 1);
  Table taken(raw);
  EXPECT_FALSE(thief.attach(0, 0, std::move(taken)));
  EXPECT_EQ(taken.release(), raw);  // NOLINT(bugprone-use-after-move): it was not taken
  EXPECT_FALSE(thief.view().is_set(0, 0));
  EXPECT_EQ(parent.view().get<TableView>(0, 0)->get(), raw);
}

}  // namespace
