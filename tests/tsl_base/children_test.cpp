// Claim: a child has one parent, which frees it once; a tree of any depth is freed and copied.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "tsl_base/table.hpp"

namespace {

using tsl_base::Table;

void* Leaf(long long value) {
  void* leaf = table_create("x:q", 1, "leaf");
  table_set_int64(leaf, 0, 0, value);
  return leaf;
}

long long LeafValue(const void* leaf) {
  return table_get_int64(leaf, 0, 0);
}

// The parents are small, large, and large with the cell far behind the others.
struct Position {
  int rows;
  int row;
};

class Child : public testing::TestWithParam<Position> {
 protected:
  Table table{"Obj:s;Data:t", GetParam().rows, "root"};
  void* t = table.get();
  const int row = GetParam().row;
};

INSTANTIATE_TEST_SUITE_P(SmallLargeAndFar, Child,
                         testing::Values(Position{1, 0}, Position{128, 127}, Position{1000, 5},
                                         Position{INT_MAX, INT_MAX - 1}),
                         [](const auto& position) { return "Rows" + std::to_string(position.param.rows); });

TEST_P(Child, IsReadFromItsCell) {
  void* leaf = Leaf(7);
  table_set_table_raw(t, row, 1, leaf);
  EXPECT_EQ(table_is_set(t, row, 1), 1);
  EXPECT_EQ(table_get_table(t, row, 1), leaf);
  EXPECT_EQ(LeafValue(leaf), 7);
}

TEST_P(Child, SetTwiceFreesTheFirst) {
  void* second = Leaf(2);
  table_set_table_raw(t, row, 1, Leaf(1));
  table_set_table_raw(t, row, 1, second);
  EXPECT_EQ(table_get_table(t, row, 1), second);
}

TEST_P(Child, SetTwiceToTheSameStays) {
  void* leaf = Leaf(1);
  table_set_table_raw(t, row, 1, leaf);
  table_set_table_raw(t, row, 1, leaf);
  EXPECT_EQ(LeafValue(table_get_table(t, row, 1)), 1);
}

TEST_P(Child, FreeOfAnOwnedTableIsIgnored) {
  void* leaf = Leaf(1);
  table_set_table_raw(t, row, 1, leaf);
  table_free(leaf);
  EXPECT_EQ(LeafValue(table_get_table(t, row, 1)), 1);
}

TEST_P(Child, RawNullLeavesTheCellUnset) {
  table_set_table_raw(t, row, 1, nullptr);
  EXPECT_EQ(table_is_set(t, row, 1), 0);
  EXPECT_EQ(table_get_table(t, row, 1), nullptr);
}

TEST_P(Child, RawNullUnsetsTheCellAndFreesTheChild) {
  table_set_table_raw(t, row, 1, Leaf(1));
  table_set_table_raw(t, row, 1, nullptr);
  EXPECT_EQ(table_is_set(t, row, 1), 0);
  EXPECT_EQ(table_get_table(t, row, 1), nullptr);
  table_set_table_raw(t, row, 1, Leaf(2));
  EXPECT_EQ(LeafValue(table_get_table(t, row, 1)), 2);
}

TEST_P(Child, CopyingNullMarksTheCellAsSetAndEmpty) {
  for (const int copy : {1, 0}) {
    table_set_table(t, row, 1, nullptr, copy);
    EXPECT_EQ(table_is_set(t, row, 1), 1);
    EXPECT_EQ(table_get_table(t, row, 1), nullptr);
    table_set_table_raw(t, row, 1, nullptr);
    EXPECT_EQ(table_is_set(t, row, 1), 0);
  }
}

TEST_P(Child, CopyingNullFreesTheChild) {
  table_set_table_raw(t, row, 1, Leaf(1));
  table_set_table(t, row, 1, nullptr, 1);
  EXPECT_EQ(table_is_set(t, row, 1), 1);
  EXPECT_EQ(table_get_table(t, row, 1), nullptr);
}

TEST_P(Child, ToBeCopiedIsRefusedByOtherColumnsAndStaysTheCallers) {
  const Table leaf(Leaf(1));
  table_set_table(t, row, 0, leaf.get(), 1);
  table_set_table(t, row, 0, nullptr, 1);
  table_set_table(t, -1, 1, leaf.get(), 1);
  EXPECT_EQ(table_is_set(t, row, 0), 0);
  EXPECT_EQ(table_is_set(t, row, 1), 0);
  EXPECT_EQ(LeafValue(leaf.get()), 1);
}

// That the children are freed shows where leaks are looked for.
TEST_P(Child, GivenAwayWithoutACellChangesNothing) {
  table_set_table_raw(t, row, 0, Leaf(1));
  table_set_table_raw(t, -1, 1, Leaf(1));
  table_set_table_raw(t, -1, 1, nullptr);
  table_set_table_raw(t, row, 2, Leaf(1));
  table_set_table_raw(nullptr, 0, 0, Leaf(1));
  table_set_table(t, row, 0, Leaf(1), 0);
  EXPECT_EQ(table_is_set(t, row, 0), 0);
  EXPECT_EQ(table_is_set(t, row, 1), 0);
}

TEST_P(Child, IsNotAttachedTwice) {
  const Table other("Data:t", 1);
  void* leaf = Leaf(1);
  table_set_table_raw(other.get(), 0, 0, leaf);
  table_set_table_raw(t, row, 1, leaf);
  EXPECT_EQ(table_is_set(t, row, 1), 0);
  EXPECT_EQ(table_get_table(other.get(), 0, 0), leaf);
}

TEST_P(Child, ARefusedChildKeepsTheOneBefore) {
  void* leaf = Leaf(1);
  table_set_table_raw(t, row, 1, leaf);
  table_set_table_raw(t, row, 1, t);
  EXPECT_EQ(table_get_table(t, row, 1), leaf);
}

TEST_P(Child, MayBeAttachedElsewhereAfterItsParentIsGone) {
  void* middle = table_create("Data:t", 1, "");
  table_set_table_raw(middle, 0, 0, Leaf(1));
  table_free(middle);
  void* leaf = Leaf(2);
  table_set_table_raw(t, row, 1, leaf);
  EXPECT_EQ(LeafValue(table_get_table(t, row, 1)), 2);
}

TEST_P(Child, IsNotAttachedToItself) {
  table_set_table_raw(t, row, 1, t);
  EXPECT_EQ(table_is_set(t, row, 1), 0);
}

TEST_P(Child, IsNotAttachedUnderItsDescendant) {
  void* child = table_create("Data:t", 1, "");
  void* grandchild = table_create("Data:t", 1, "");
  table_set_table_raw(child, 0, 0, grandchild);
  table_set_table_raw(t, row, 1, child);
  table_set_table_raw(grandchild, 0, 0, t);
  EXPECT_EQ(table_is_set(grandchild, 0, 0), 0);
}

TEST_P(Child, IsNotAttachedUnderItsOwnChild) {
  void* child = table_create("Data:t", 1, "");
  table_set_table_raw(t, row, 1, child);
  table_set_table_raw(child, 0, 0, t);
  EXPECT_EQ(table_is_set(child, 0, 0), 0);
  EXPECT_EQ(table_get_table(t, row, 1), child);
}

TEST_P(Child, MayHaveChildrenAlready) {
  void* middle = table_create("Data:t", 1, "");
  table_set_table_raw(middle, 0, 0, Leaf(6));
  table_set_table_raw(t, row, 1, middle);
  ASSERT_EQ(table_get_table(t, row, 1), middle);
  EXPECT_EQ(LeafValue(table_get_table(middle, 0, 0)), 6);
}

// Two generations above the cell and one below the child: none of them is the child.
TEST_P(Child, WithChildrenMayBeAttachedDeepInATree) {
  void* middle = table_create("Data:t", 1, "");
  void* inner = table_create("Data:t", 1, "");
  table_set_table_raw(t, row, 1, middle);
  table_set_table_raw(middle, 0, 0, inner);
  void* child = table_create("Data:t", 1, "");
  table_set_table_raw(child, 0, 0, Leaf(8));
  table_set_table_raw(inner, 0, 0, child);
  ASSERT_EQ(table_get_table(inner, 0, 0), child);
  EXPECT_EQ(LeafValue(table_get_table(child, 0, 0)), 8);
}

TEST_P(Child, CopyIsIndependentAndTheOriginalStaysTheCallers) {
  const Table leaf(Leaf(1));
  table_set_table(t, row, 1, leaf.get(), 1);
  table_set_int64(leaf.get(), 0, 0, 2);
  void* copy = table_get_table(t, row, 1);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, leaf.get());
  EXPECT_EQ(LeafValue(copy), 1);
  EXPECT_STREQ(table_name(copy), "leaf");
}

TEST_P(Child, WithoutCopyIsTakenOver) {
  void* leaf = Leaf(1);
  table_set_table(t, row, 1, leaf, 0);
  EXPECT_EQ(table_get_table(t, row, 1), leaf);
}

TEST_P(Child, MayBeACopyOfItsOwnParent) {
  table_set_str(t, row, 0, "self", 1);
  table_set_table(t, row, 1, t, 1);
  const void* copy = table_get_table(t, row, 1);
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(table_get_str(copy, row, 0), "self");
  EXPECT_EQ(table_is_set(copy, row, 1), 0);
}

TEST_P(Child, MayBeReplacedByACopyOfItself) {
  table_set_table_raw(t, row, 1, Leaf(3));
  table_set_table(t, row, 1, table_get_table(t, row, 1), 1);
  EXPECT_EQ(LeafValue(table_get_table(t, row, 1)), 3);
}

TEST_P(Child, MayBeReplacedByACopyOfItsOwnChild) {
  void* middle = table_create("Data:t", 1, "");
  void* leaf = Leaf(4);
  table_set_table_raw(middle, 0, 0, leaf);
  table_set_table_raw(t, row, 1, middle);
  table_set_table(t, row, 1, leaf, 1);
  EXPECT_EQ(LeafValue(table_get_table(t, row, 1)), 4);
}

TEST(Copy, HasEveryKindOfCell) {
  const char spec[] = "c:c;q:q;d:d;s:s;s2:s;b:b;n:4i;t:t;t2:t;T:T;P:P;V:V;f:f;h:h;:x;unset:q";
  for (const int rows : {2, 40, 5000}) {
    SCOPED_TRACE(rows);
    const Table source(spec, rows, "source");
    void* s = source.get();
    const int row = rows - 1;
    const int32_t numbers[4] = {1, 2, 3, 4};
    const char small = -5;
    table_set_buff(s, row, 0, &small, 1, 0);
    table_set_int64(s, row, 1, LLONG_MIN);
    table_set_double(s, row, 2, 0.1);
    table_set_str(s, row, 3, std::string(300, 'x').c_str(), 1);
    table_set_str(s, row, 4, "", 1);
    table_set_binary(s, row, 5, 3, "a\0b", 1);
    table_set_buff(s, row, 6, numbers, 16, 0);
    table_set_table_raw(s, row, 7, Leaf(9));
    table_set_table(s, row, 8, nullptr, 1);
    table_set_uint64(s, row, 9, 11);
    table_set_pfloat(s, row, 10, PFloat(1, 2));
    table_set_vfloat(s, row, 11, VFloat(3, 4));
    table_set_float(s, row, 12, 0.25F);
    table_set_short(s, row, 13, 0x8000);

    const Table holder("t:t", 1);
    table_set_table(holder.get(), 0, 0, s, 1);
    const void* copy = table_get_table(holder.get(), 0, 0);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(table_rows(copy), rows);
    EXPECT_STREQ(table_name(copy), "source");
    EXPECT_EQ(*static_cast<const signed char*>(table_get_buff(copy, row, 0, nullptr)), -5);
    EXPECT_EQ(table_get_int64(copy, row, 1), LLONG_MIN);
    EXPECT_EQ(table_get_double(copy, row, 2), 0.1);
    EXPECT_EQ(table_get_str(copy, row, 3), std::string(300, 'x'));
    EXPECT_STREQ(table_get_str(copy, row, 4), "");
    int size = 0;
    EXPECT_EQ(memcmp(table_get_binary(copy, row, 5, &size), "a\0b", 3), 0);
    EXPECT_EQ(size, 3);
    EXPECT_EQ(memcmp(table_get_buff(copy, row, 6, nullptr), numbers, 16), 0);
    EXPECT_NE(table_get_buff(copy, row, 6, nullptr), table_get_buff(s, row, 6, nullptr));
    EXPECT_EQ(LeafValue(table_get_table(copy, row, 7)), 9);
    EXPECT_EQ(table_is_set(copy, row, 8), 1);
    EXPECT_EQ(table_get_table(copy, row, 8), nullptr);
    EXPECT_EQ(table_get_uint64(copy, row, 9), 11U);
    EXPECT_EQ(table_get_pfloat(copy, row, 10).mantissa(), 1);
    EXPECT_EQ(table_get_vfloat(copy, row, 11).decimals(), 4);
    EXPECT_EQ(table_get_float(copy, row, 12), 0.25F);
    EXPECT_EQ(table_get_short(copy, row, 13), 0x8000);
    EXPECT_EQ(table_is_set(copy, row, 15), 0);
    for (int col = 0; col < 16; ++col)
      EXPECT_EQ(table_is_set(copy, 0, col), 0) << col;
  }
}

TEST(Copy, HasTheColumnsBehindThoseThatHoldNothing) {
  const Table source("x;y;q:q", 2);
  table_set_int64(source.get(), 1, 2, 7);
  const Table holder("t:t", 1);
  table_set_table(holder.get(), 0, 0, source.get(), 1);
  EXPECT_EQ(table_get_int64(table_get_table(holder.get(), 0, 0), 1, 2), 7);
}

// 64 cells have a word of bits to themselves.
TEST(Copy, LooksForNothingBehindTheLastCell) {
  const Table source("q:q;x", 64);
  table_set_int64(source.get(), 63, 0, 7);
  const Table holder("t:t", 1);
  table_set_table(holder.get(), 0, 0, source.get(), 1);
  EXPECT_EQ(table_get_int64(table_get_table(holder.get(), 0, 0), 63, 0), 7);
}

TEST(Copy, OfAChildWithAParentIsFree) {
  const Table parent("Data:t", 2);
  table_set_table_raw(parent.get(), 0, 0, Leaf(5));
  table_set_table(parent.get(), 1, 0, table_get_table(parent.get(), 0, 0), 1);
  EXPECT_EQ(LeafValue(table_get_table(parent.get(), 1, 0)), 5);
}

constexpr int kDeep = 100'000;

TEST(DeepNesting, IsFreedWithoutRecursion) {
  Table table("Data:t", 1);
  for (int i = 0; i < kDeep; ++i) {
    Table outer("Data:t", 1);
    ASSERT_TRUE(outer.attach(0, 0, std::move(table)));
    table = std::move(outer);
  }
}

TEST(DeepNesting, IsBuiltFromTheTopToo) {
  const Table table("Data:t", 1);
  void* innermost = table.get();
  for (int i = 0; i < kDeep; ++i) {
    void* child = table_create("Data:t", 1, "");
    table_set_table_raw(innermost, 0, 0, child);
    ASSERT_EQ(table_get_table(innermost, 0, 0), child);
    innermost = child;
  }
  table_set_table_raw(innermost, 0, 0, table.get());
  EXPECT_EQ(table_is_set(innermost, 0, 0), 0);
}

TEST(DeepNesting, IsCopiedWithoutRecursion) {
  Table table(Leaf(1));
  for (int i = 0; i < kDeep; ++i) {
    Table outer("Data:t", 1);
    ASSERT_TRUE(outer.attach(0, 0, std::move(table)));
    table = std::move(outer);
  }
  const Table holder("Data:t", 1);
  table_set_table(holder.get(), 0, 0, table.get(), 1);
  table.reset();
  const void* at = table_get_table(holder.get(), 0, 0);
  for (int i = 0; i < kDeep; ++i)
    at = table_get_table(at, 0, 0);
  EXPECT_EQ(LeafValue(at), 1);
}

TEST(WideNesting, EveryChildIsFreedAndCopied) {
  const int rows = 20'000;
  const Table table("Obj:s;Data:t", rows);
  for (int row = 0; row < rows; ++row) {
    table_set_str(table.get(), row, 0, std::to_string(row).c_str(), 1);
    table_set_table_raw(table.get(), row, 1, Leaf(row));
  }
  const Table holder("Data:t", 1);
  table_set_table(holder.get(), 0, 0, table.get(), 1);
  const void* copy = table_get_table(holder.get(), 0, 0);
  for (int row = 0; row < rows; ++row) {
    ASSERT_EQ(table_get_str(copy, row, 0), std::to_string(row));
    ASSERT_EQ(LeafValue(table_get_table(copy, row, 1)), row);
  }
}

}  // namespace
