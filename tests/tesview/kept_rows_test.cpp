#include "tesview/show/kept_rows.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tesview {
namespace {

using tsl_base::BytesView;
using tsl_base::Table;
using tsl_base::TableView;

// Three rows of every kind of cell; the last one is not set at all.
Table RowsOfEveryKind() {
  Table table("S:s;B:b;Q:q;N:2i;D:d;T:t", 3, "named");
  for (int row = 0; row < 2; ++row) {
    const int two[] = {row, -row};
    table_set_str(table.get(), row, 0, row == 0 ? "first" : "second", 1);
    table_set_binary(table.get(), row, 1, 3, row == 0 ? "a\0b" : "c\0d", 1);
    table_set_int64(table.get(), row, 2, 100 + row);
    table_set_buff(table.get(), row, 3, two, sizeof two, 0);
    table_set_double(table.get(), row, 4, row + 0.5);
  }
  // Set, and to no table; then to one of three rows.
  table_set_table(table.get(), 0, 5, nullptr, 0);
  Table inner("X:i", 3, "inner");
  for (int row = 0; row < 3; ++row)
    table_set_int(inner.get(), row, 0, 10 * row);
  EXPECT_TRUE(table.attach(1, 5, std::move(inner)));
  return table;
}

TEST(CopyOfKept, HasTheKeptRowsAndThoseInsideThem) {
  const Table table = RowsOfEveryKind();
  KeptRows kept;
  kept.Keep(table.view(), {1, 2});
  kept.Keep(*table.view().get<TableView>(1, 5), {0, 2});
  const Table copy = CopyOfKept(table.view(), kept);
  const TableView view = copy.view();
  ASSERT_EQ(view.rows(), 2);
  ASSERT_EQ(view.cols(), 6);
  EXPECT_EQ(view.name(), "named");
  EXPECT_EQ(view.get<std::string_view>(0, 0), "second");
  const auto bytes = view.get<BytesView>(0, 1);
  ASSERT_TRUE(bytes);
  EXPECT_EQ(std::string(bytes->begin(), bytes->end()), std::string("c\0d", 3));
  EXPECT_EQ(view.get<int64_t>(0, 2), 101);
  const auto two = view.get<BytesView>(0, 3);
  ASSERT_TRUE(two);
  const int expected[] = {1, -1};
  ASSERT_EQ(two->size(), sizeof expected);
  EXPECT_EQ(std::memcmp(two->data(), expected, sizeof expected), 0);
  EXPECT_EQ(view.get<double>(0, 4), 1.5);
  const auto inner = view.get<TableView>(0, 5);
  ASSERT_TRUE(inner);
  ASSERT_EQ(inner->rows(), 2);
  EXPECT_EQ(inner->name(), "inner");
  EXPECT_EQ(inner->get<int32_t>(0, 0), 0);
  EXPECT_EQ(inner->get<int32_t>(1, 0), 20);
  for (int col = 0; col < 6; ++col)
    EXPECT_FALSE(view.is_set(1, col)) << col;
}

TEST(CopyOfKept, HasAllRowsOfATableThatIsNotTold) {
  const Table table = RowsOfEveryKind();
  const Table copy = CopyOfKept(table.view(), KeptRows());
  ASSERT_EQ(copy.view().rows(), 3);
  EXPECT_EQ(copy.view().get<std::string_view>(0, 0), "first");
  EXPECT_EQ(copy.view().get<TableView>(1, 5)->rows(), 3);
  // A cell that is set to no table stays so.
  EXPECT_TRUE(copy.view().is_set(0, 5));
  EXPECT_FALSE(*copy.view().get<TableView>(0, 5));
}

TEST(CopyOfKept, MayHaveNoRows) {
  const Table table = RowsOfEveryKind();
  KeptRows kept;
  kept.Keep(table.view(), {});
  const Table copy = CopyOfKept(table.view(), kept);
  EXPECT_EQ(copy.view().rows(), 0);
  EXPECT_EQ(copy.view().cols(), 6);
}

TEST(KeptRows, AreKnownByTheirTable) {
  const Table table("X:i", 5);
  const Table other("X:i", 5);
  KeptRows kept;
  kept.Keep(table.view(), {1, 3});
  for (int row = 0; row < 5; ++row) {
    EXPECT_EQ(kept.IsKept(table.view(), row), row == 1 || row == 3) << row;
    EXPECT_TRUE(kept.IsKept(other.view(), row)) << row;
  }
  EXPECT_EQ(kept.Of(other.view()), nullptr);
  kept.Keep(table.view(), {2});
  EXPECT_TRUE(kept.IsKept(table.view(), 2));
  EXPECT_FALSE(kept.IsKept(table.view(), 1));
}

TEST(RowList, IsAPartOfAllOrOfSomeRows) {
  const auto rows_of = [](const RowList& list) {
    std::vector<int> rows;
    for (const int row : list)
      rows.push_back(row);
    return rows;
  };
  EXPECT_EQ(rows_of({nullptr, 1, 4}), (std::vector<int>{1, 2, 3}));
  const std::vector<int> some{2, 5, 7, 9};
  EXPECT_EQ(rows_of({&some, 1, 3}), (std::vector<int>{5, 7}));
  EXPECT_EQ(RowList(&some, 1, 3).size(), 2);
  EXPECT_FALSE(RowList(&some, 1, 3).empty());
  EXPECT_TRUE(RowList(&some, 3, 3).empty());
  EXPECT_EQ(rows_of({&some, 3, 3}), std::vector<int>());
}

}  // namespace
}  // namespace tesview
