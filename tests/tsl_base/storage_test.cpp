// Claim: whatever the order of writing, a table reads like a plain map from cells to values.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tsl_base/table.hpp"

namespace {

using tsl_base::Table;

void ExpectColumnIs(const Table& table, const std::vector<int>& rows_set, int rows) {
  std::vector<bool> expected(static_cast<size_t>(rows), false);
  for (const int row : rows_set)
    expected[static_cast<size_t>(row)] = true;
  for (int row = 0; row < rows; ++row) {
    const bool set = expected[static_cast<size_t>(row)];
    ASSERT_EQ(table_is_set(table.get(), row, 0), set ? 1 : 0) << row;
    ASSERT_EQ(table_get_int64(table.get(), row, 0), set ? row * 3LL : 0) << row;
  }
}

void WriteAndCheck(const std::vector<int>& order, int rows) {
  const Table table("x:q", rows);
  for (const int row : order)
    table_set_int64(table.get(), row, 0, row * 3LL);
  ExpectColumnIs(table, order, rows);
}

std::vector<int> Ascending(int rows) {
  std::vector<int> order(static_cast<size_t>(rows));
  std::iota(order.begin(), order.end(), 0);
  return order;
}

TEST(Storage, AscendingRows) {
  for (const int rows : {1, 63, 64, 65, 255, 256, 257, 2047, 2048, 2049, 16385, 70000})
    WriteAndCheck(Ascending(rows), rows);
}

TEST(Storage, DescendingRows) {
  for (const int rows : {257, 1025, 70000}) {
    std::vector<int> order = Ascending(rows);
    std::reverse(order.begin(), order.end());
    WriteAndCheck(order, rows);
  }
}

TEST(Storage, ShuffledRows) {
  std::mt19937 random(1);  // NOLINT(cert-msc32-c,cert-msc51-cpp): a failure must come again
  for (const int rows : {257, 1025, 70000}) {
    std::vector<int> order = Ascending(rows);
    std::shuffle(order.begin(), order.end(), random);
    WriteAndCheck(order, rows);
  }
}

TEST(Storage, EverySeventhRow) {
  std::vector<int> order;
  for (int row = 0; row < 200'000; row += 7)
    order.push_back(row);
  WriteAndCheck(order, 200'000);
}

TEST(Storage, EveryFiftiethRow) {
  std::vector<int> order;
  for (int row = 0; row < 500'000; row += 50)
    order.push_back(row);
  WriteAndCheck(order, 500'000);
}

TEST(Storage, AColumnThatBeginsLate) {
  std::vector<int> order;
  for (int row = 900; row < 20'000; ++row)
    order.push_back(row);
  WriteAndCheck(order, 20'000);
}

TEST(Storage, OneFarRowBeforeAllOthers) {
  std::vector<int> order = Ascending(50'000);
  order.insert(order.begin(), 49'999);
  WriteAndCheck(order, 50'000);
}

TEST(Storage, TheLastRowOfTheLongestTable) {
  const Table table("x:q", INT_MAX);
  for (int row = 0; row < 2000; ++row) {
    table_set_int64(table.get(), row, 0, row);
    table_set_int64(table.get(), INT_MAX - 1 - row, 0, -row);
  }
  for (int row = 0; row < 2000; ++row) {
    ASSERT_EQ(table_get_int64(table.get(), row, 0), row);
    ASSERT_EQ(table_get_int64(table.get(), INT_MAX - 1 - row, 0), -row);
  }
  EXPECT_EQ(table_is_set(table.get(), 2000, 0), 0);
}

TEST(Storage, FarColumnsAmongThousands) {
  std::string spec;
  for (int i = 0; i < 3000; ++i)
    spec += "c" + std::to_string(i) + ":i;";
  const Table table(spec, 100);
  for (int col = 2999; col >= 0; col -= 13)
    table_set_int(table.get(), col % 100, col, col);
  for (int col = 0; col < 3000; ++col) {
    const bool set = (2999 - col) % 13 == 0;
    ASSERT_EQ(table_is_set(table.get(), col % 100, col), set ? 1 : 0) << col;
    ASSERT_EQ(table_get_int(table.get(), col % 100, col), set ? col : 0) << col;
    ASSERT_EQ(table_is_set(table.get(), (col + 1) % 100, col), 0) << col;
  }
}

TEST(Storage, ManyColumnsOfManyRows) {
  std::string spec;
  for (int i = 0; i < 100; ++i)
    spec += ":d;";
  const Table table(spec, 500);
  for (int row = 0; row < 500; ++row) {
    for (int col = 0; col < 100; ++col)
      table_set_double(table.get(), row, col, row * 1000.0 + col);
  }
  for (int row = 0; row < 500; ++row) {
    for (int col = 0; col < 100; ++col)
      ASSERT_EQ(table_get_double(table.get(), row, col), row * 1000.0 + col);
  }
}

// The first sixteen columns are found by their index, those behind by the count of columns that hold
// something.
TEST(Storage, ColumnsThatHoldNothingStandBetweenOthers) {
  std::string spec;
  for (int col = 0; col < 40; ++col)
    spec += col % 3 == 1 ? "none;" : "n:i;";
  const Table table(spec.c_str(), 300);
  void* t = table.get();
  for (int row = 0; row < 300; row += 7) {
    for (int col = 39; col >= 0; --col)
      table_set_int(t, row, col, 1000 * col + row);
  }
  for (int row = 0; row < 300; ++row) {
    for (int col = 0; col < 40; ++col) {
      const bool set = row % 7 == 0 && col % 3 != 1;
      ASSERT_EQ(table_is_set(t, row, col), set ? 1 : 0) << row << ' ' << col;
      ASSERT_EQ(table_get_int(t, row, col), set ? 1000 * col + row : 0) << row << ' ' << col;
    }
  }
}

// A setter of another number type than the column's goes the long way round, also where the column has a
// slab.
TEST(Storage, ASlabTakesNumbersOfOtherTypes) {
  const Table table("d:d;i:i;q:q;f:f;s:s", 300);
  void* t = table.get();
  for (int col = 0; col < 4; ++col) {
    table_set_int(t, 0, col, 1);
    table_set_int64(t, 1, col, -2);
    table_set_double(t, 2, col, 3.0);
    table_set_float(t, 3, col, 4.0F);
    table_set_uint(t, 4, col, 5);
    table_set_double(t, 5, col, 0.5);  // no integer
  }
  table_set_str(t, 0, 4, "text", 1);
  table_set_int(t, 0, 4, 1);
  table_set_int(t, 300, 1, 1);
  table_set_int(t, -1, 1, 1);
  table_set_int(t, 0, 5, 1);
  table_set_int(t, 0, -1, 1);
  for (int row = 0; row < 5; ++row) {
    const int expected = row == 1 ? -2 : row + 1;
    EXPECT_EQ(table_get_double(t, row, 0), expected);
    EXPECT_EQ(table_get_int(t, row, 1), expected);
    EXPECT_EQ(table_get_int64(t, row, 2), expected);
    EXPECT_EQ(table_get_float(t, row, 3), static_cast<float>(expected));
  }
  EXPECT_EQ(table_get_double(t, 5, 0), 0.5);
  EXPECT_EQ(table_is_set(t, 5, 1), 0);
  EXPECT_EQ(table_is_set(t, 5, 2), 0);
  EXPECT_EQ(table_get_float(t, 5, 3), 0.5F);
  EXPECT_STREQ(table_get_str(t, 0, 4), "text");
}

template <typename T>
void ExpectNumbers(const Table& table, int col, int setters) {
  for (int row = 0; row < 2 * setters; ++row) {
    int size = 0;
    T value{};
    const void* cell = table_get_buff(table.get(), row, col, &size);
    ASSERT_NE(cell, nullptr) << col << ' ' << row;
    ASSERT_EQ(size, static_cast<int>(sizeof value));
    memcpy(&value, cell, sizeof value);
    EXPECT_EQ(value, static_cast<T>(row + 1)) << col << ' ' << row;
  }
  for (int row = 2 * setters; row < 40; ++row)
    EXPECT_EQ(table_is_set(table.get(), row, col), 0) << col << ' ' << row;
}

// Small numbers fit every type. The second round finds the slab that the first one made.
TEST(Storage, EverySetterTakesEveryColumnOfNumbers) {
  for (const int rows : {300, 20}) {
    const Table table("c:c;h:h;i:i;q:q;C:C;H:H;I:I;Q:Q;f:f;d:d", rows);
    void* t = table.get();
    constexpr int kSetters = 7;
    for (int round = 0; round < 2; ++round) {
      for (int col = 0; col < 10; ++col) {
        const int row = kSetters * round;
        table_set_int(t, row, col, row + 1);
        table_set_uint(t, row + 1, col, static_cast<unsigned>(row + 2));
        table_set_int64(t, row + 2, col, row + 3);
        table_set_uint64(t, row + 3, col, static_cast<unsigned>(row + 4));
        table_set_short(t, row + 4, col, static_cast<unsigned short>(row + 5));
        table_set_double(t, row + 5, col, row + 6);
        table_set_float(t, row + 6, col, static_cast<float>(row + 7));
      }
    }
    ExpectNumbers<int8_t>(table, 0, kSetters);
    ExpectNumbers<int16_t>(table, 1, kSetters);
    ExpectNumbers<int32_t>(table, 2, kSetters);
    ExpectNumbers<int64_t>(table, 3, kSetters);
    ExpectNumbers<uint8_t>(table, 4, kSetters);
    ExpectNumbers<uint16_t>(table, 5, kSetters);
    ExpectNumbers<uint32_t>(table, 6, kSetters);
    ExpectNumbers<uint64_t>(table, 7, kSetters);
    ExpectNumbers<float>(table, 8, kSetters);
    ExpectNumbers<double>(table, 9, kSetters);
  }
}

TEST(Storage, FewTextsOfEveryLength) {
  for (int rows = 1; rows <= 6; ++rows) {
    for (const int length : {0, 1, 21, 22, 23, 24, 47, 94, 254, 255, 5000}) {
      const auto text = [length](int row) {
        return std::string(static_cast<size_t>(length), static_cast<char>('a' + row));
      };
      const Table table("a:s;n:i", rows, "a name");
      void* t = table.get();
      for (int row = 0; row < rows; ++row) {
        table_set_str(t, row, 0, text(row).c_str(), 1);
        table_set_int(t, row, 1, row);
      }
      for (int row = 0; row < rows; ++row) {
        ASSERT_EQ(table_get_str(t, row, 0), text(row));
        ASSERT_EQ(table_get_int(t, row, 1), row);
      }
      ASSERT_STREQ(table_name(t), "a name");
    }
  }
}

// Cells near each other lie side by side, others in a map. Wherever that changes, a cell is gone once it is
// unset.
TEST(Storage, ChildrenAreUnsetAtEachDistance) {
  for (int row = 1; row < 5000; ++row) {
    void* table = table_create("t:t", 100'000, "");
    table_set_table_raw(table, 0, 0, table_create("q:q", 1, ""));
    table_set_table_raw(table, row, 0, table_create("q:q", 1, ""));
    ASSERT_EQ(table_is_set(table, row, 0), 1) << row;
    table_set_table_raw(table, row, 0, nullptr);
    ASSERT_EQ(table_is_set(table, row, 0), 0) << row;
    ASSERT_EQ(table_is_set(table, 0, 0), 1) << row;
    table_free(table);
  }
}

// Of all cells only those of children can be unset again.
TEST(Storage, ChildrenComeAndGoLikeInAMap) {
  for (const int rows : {5, 300, 3000, 2'000'000'000}) {
    const Table table("other:t;t:t", rows);
    void* t = table.get();
    // Nothing was ever there.
    table_set_table_raw(t, rows / 2, 1, nullptr);
    EXPECT_EQ(table_is_set(t, rows / 2, 1), 0) << rows;

    std::mt19937 random(7);  // NOLINT(cert-msc32-c,cert-msc51-cpp): a failure must come again
    const auto below = [&random](int limit) {
      return std::uniform_int_distribution<int>(0, limit - 1)(random);
    };
    std::map<int, void*> model;
    std::vector<int> touched;
    // Rows from the top on, all of them, then here and there.
    for (int row = 0; row < std::min(rows, 1000); ++row)
      table_set_table_raw(t, row, 1, model[row] = table_create("x:q", 1, ""));
    for (int step = 0; step < 5000; ++step) {
      const int row = below(step % 3 == 0 ? rows : std::min(rows, 1200));
      touched.push_back(row);
      if (step % 2 == 0) {
        void* child = table_create("x:q", 1, "");
        table_set_table_raw(t, row, 1, child);
        model[row] = child;
      } else {
        table_set_table_raw(t, row, 1, nullptr);
        model.erase(row);
      }
    }
    for (const int row : touched) {
      const auto at = model.find(row);
      ASSERT_EQ(table_is_set(t, row, 1), at != model.end() ? 1 : 0) << row << " of " << rows;
      ASSERT_EQ(table_get_table(t, row, 1), at != model.end() ? at->second : nullptr)
          << row << " of " << rows;
      ASSERT_EQ(table_is_set(t, row, 0), 0);
    }
  }
}

// Cells of every width beside each other, with columns that hold nothing between them, in random order.
class RandomWriting : public testing::TestWithParam<unsigned> {};

INSTANTIATE_TEST_SUITE_P(Seeds, RandomWriting, testing::Range(1U, 13U));

TEST_P(RandomWriting, ReadsLikeAMap) {
  std::mt19937 random(GetParam());
  const auto below = [&random](int limit) {
    return std::uniform_int_distribution<int>(0, limit - 1)(random);
  };
  const int rows_of_seed[] = {3, 15, 40, 300, 5000, 2'000'000'000};
  const int rows = rows_of_seed[GetParam() % 6];
  const Table table("c:c;no;h:H;;i:i;q:q;:y;s:s;b:b;n:3h", rows);
  void* t = table.get();

  std::map<std::pair<int, int>, std::string> model;
  std::vector<std::pair<int, int>> touched;
  int next = 0;
  for (int step = 0; step < 20'000; ++step) {
    // Rows run ahead, start again, or jump.
    const int kind = below(20);
    int row = 0;
    if (kind == 0) {
      row = below(rows);
    } else if (kind == 1) {
      next = below(std::min(rows, 10'000));
      row = next;
    } else {
      row = next = (next + (kind == 2 ? below(200) : kind % 2)) % rows;
    }
    const int columns[] = {0, 2, 4, 5, 7, 8, 9};
    const int col = columns[below(7)];
    const int number = below(100);
    const std::string text(static_cast<size_t>(number % 40), static_cast<char>('a' + number % 26));
    const uint16_t three[3] = {static_cast<uint16_t>(number), 2, 3};
    touched.emplace_back(row, col);
    std::string& expected = model[{row, col}];
    switch (col) {
      case 7:
        table_set_str(t, row, col, text.c_str(), 1);
        expected = text;
        break;
      case 8:
        table_set_binary(t, row, col, static_cast<int>(text.size()), text.data(), 1);
        expected = text;
        break;
      case 9:
        table_set_buff(t, row, col, three, sizeof three, 0);
        expected = std::to_string(number);
        break;
      default: table_set_int(t, row, col, number); expected = std::to_string(number);
    }
    // Cells that nobody wrote yet, near and far.
    touched.emplace_back(below(rows), columns[below(7)]);
  }

  for (const auto& cell : touched) {
    const auto found = model.find(cell);
    ASSERT_EQ(table_is_set(t, cell.first, cell.second), found != model.end() ? 1 : 0);
    if (found == model.end()) continue;
    int size = 0;
    std::string actual;
    if (cell.second == 7) {
      actual = table_get_str(t, cell.first, cell.second);
    } else if (cell.second == 8) {
      const void* data = table_get_binary(t, cell.first, cell.second, &size);
      actual.assign(static_cast<const char*>(data), static_cast<size_t>(size));
    } else {
      const auto* data = static_cast<const unsigned char*>(table_get_buff(t, cell.first, cell.second, &size));
      ASSERT_NE(data, nullptr);
      actual = std::to_string(static_cast<int>(data[0]));
    }
    ASSERT_EQ(actual, found->second) << "row " << cell.first << " column " << cell.second;
  }
}

}  // namespace
