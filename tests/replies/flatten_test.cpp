// Arrays with lists made flat: what is taken over, and what is copied.
#include "replies/flatten.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>

#include "replies/arrow_check.h"
#include "tests/support/arrow_rows.h"
#include "tsl_base/table.hpp"

namespace {

using arrow_rows::RowsOf;
using replies::ArrowOwner;
using replies::OriginColumns;
using replies::ShownColumns;
using replies::TableColumns;
using tsl_base::Table;
using Rows = std::vector<std::string>;

// An exported table and what is known of it.
struct Exported {
  ArrowOwner<ArrowSchema> schema;
  ArrowOwner<ArrowArray> array;
  TableColumns columns;
  ShownColumns shown;
  int64_t rows = 0;
};

Exported Export(Table table, const std::vector<std::string>& wanted = {}) {
  Exported exported;
  exported.rows = table.view().rows();
  EXPECT_EQ(table_export_arrow(table.release(), exported.schema.get(), exported.array.get()), 0);
  exported.columns = replies::ColumnsOfTable(*exported.schema);
  std::string missing;
  exported.shown = ChooseColumns(exported.columns, wanted, true, &missing).value();
  return exported;
}

// The flat rows, checked. `buffer` receives the second buffer of the last column.
Rows Flat(Exported exported, const void** buffer = nullptr) {
  const ArrowOwner<ArrowSchema> schema(
      replies::MakeArrowSchema({"+s", "", false, {}, ShownFields(exported.columns, exported.shown, true)}));
  const ArrowOwner<ArrowArray> flat(FlattenTables(std::move(exported.array), exported.columns, exported.shown,
                                                  {{exported.rows, "", 0, 0, 0}}, OriginColumns()));
  EXPECT_EQ(replies::CheckArrow(*schema, *flat), "");
  if (buffer != nullptr) *buffer = flat->children[flat->n_children - 1]->buffers[1];
  return RowsOf(*schema, *flat);
}

// Numbers from `from` on, every third one unset.
Table Numbers(int rows, int from) {
  Table table("X:i;P:2q;S:s", rows);
  for (int row = 0; row < rows; ++row) {
    const int number = from + row;
    if (number % 3 == 0) continue;
    const int64_t pair[] = {number, -number};
    table_set_int(table.get(), row, 0, number);
    table_set_buff(table.get(), row, 1, pair, sizeof(pair), 0);
    table_set_str(table.get(), row, 2, std::to_string(number).c_str(), 1);
  }
  return table;
}

std::string NumberRow(int number) {
  if (number % 3 == 0) return R"("T.X":null,"T.P":null,"T.S":null})";
  const std::string text = std::to_string(number);
  return "\"T.X\":" + text + ",\"T.P\":[" + text + ",-" + text + "],\"T.S\":\"" + text + "\"}";
}

}  // namespace

TEST(Flatten, TakesColumnsOverThatKeepTheirOrder) {
  Table outer("A:s;T:t", 2);
  table_set_str(outer.get(), 0, 0, "a", 1);
  outer.attach(0, 1, Numbers(2, 1));
  outer.attach(1, 1, Numbers(1, 4));
  Exported exported = Export(std::move(outer));
  const void* offsets = exported.array->children[1]->children[0]->children[2]->buffers[1];
  const void* kept = nullptr;
  EXPECT_EQ(
      Flat(std::move(exported), &kept),
      (Rows{"{\"A\":\"a\"," + NumberRow(1), "{\"A\":\"a\"," + NumberRow(2), "{\"A\":null," + NumberRow(4)}));
  EXPECT_EQ(kept, offsets);
}

TEST(Flatten, TakesTheWholeOfATableWithoutTables) {
  Exported exported = Export(Numbers(5, 1));
  const void* offsets = exported.array->children[2]->buffers[1];
  const void* kept = nullptr;
  EXPECT_EQ(Flat(std::move(exported), &kept).size(), 5U);
  EXPECT_EQ(kept, offsets);
}

// Cells of 1 to 24 bytes, each beside five rows.
TEST(Flatten, RepeatsCellsOfAnyWidth) {
  const std::string letters = "ChiqdCCChhii";
  const int counts[] = {1, 1, 1, 1, 1, 2, 3, 5, 2, 3, 3, 6};
  const size_t widths[] = {1, 2, 4, 8, 8, 2, 3, 5, 4, 6, 12, 24};
  for (size_t i = 0; i < letters.size(); ++i) {
    const std::string spec = std::to_string(counts[i]) + letters[i];
    SCOPED_TRACE(spec);
    Table outer("V:" + spec + ";T:t", 3);
    for (int row = 0; row < 3; ++row) {
      std::string cell;
      for (size_t k = 0; k < widths[i]; ++k)
        cell += static_cast<char>(1 + 30 * row + static_cast<int>(k));
      table_set_buff(outer.get(), row, 0, cell.data(), static_cast<int>(cell.size()), 0);
      outer.attach(row, 1, Numbers(5, 1));
    }
    Exported exported = Export(std::move(outer));
    const ArrowArray& before = *exported.array->children[0];
    const bool counted = before.n_children == 1;
    const void* const from = counted ? before.children[0]->buffers[1] : before.buffers[1];
    const std::string cells(static_cast<const char*>(from), 3 * widths[i]);
    std::string expected;
    for (size_t row = 0; row < 15; ++row)
      expected += cells.substr(row / 5 * widths[i], widths[i]);
    const ArrowOwner<ArrowArray> flat(FlattenTables(std::move(exported.array), exported.columns,
                                                    exported.shown, {{exported.rows, "", 0, 0, 0}},
                                                    OriginColumns()));
    const ArrowArray& column = *flat->children[0];
    ASSERT_EQ(column.length, 15);
    const void* const to = counted ? column.children[0]->buffers[1] : column.buffers[1];
    EXPECT_EQ(std::string(static_cast<const char*>(to), 15 * widths[i]), expected);
  }
}

// Rows without inner rows move the bits and cells of the others to places of their own.
TEST(Flatten, LeavesRoomForRowsWithoutInnerRows) {
  for (const int inner : {1, 7, 8, 9, 20, 70}) {
    Table outer("A:i;B:C;T:t", 11);
    Rows expected;
    int number = 1;
    for (int row = 0; row < 11; ++row) {
      const unsigned char flag = row % 2 == 0 ? 1 : 0;
      if (row % 4 != 1) table_set_int(outer.get(), row, 0, row);
      if (row % 4 != 2) table_set_buff(outer.get(), row, 1, &flag, 1, 0);
      const std::string before = "{\"A\":" + (row % 4 != 1 ? std::to_string(row) : "null") +
                                 ",\"B\":" + (row % 4 != 2 ? std::to_string(flag) : "null") + ",";
      if (row % 5 == 3) {
        expected.push_back(before + NumberRow(0));
        continue;
      }
      outer.attach(row, 2, Numbers(inner, number));
      for (int i = 0; i < inner; ++i)
        expected.push_back(before + NumberRow(number++));
    }
    EXPECT_EQ(Flat(Export(std::move(outer))), expected) << inner;
  }
}

// The cells of the others stay in front, but are fewer than the rows.
TEST(Flatten, LeavesRoomBehindTheLastInnerRow) {
  Table outer("A:i;T:t", 3);
  for (int row = 0; row < 3; ++row)
    table_set_int(outer.get(), row, 0, row);
  outer.attach(0, 1, Numbers(2, 1));
  outer.attach(1, 1, Numbers(2, 4));
  EXPECT_EQ(Flat(Export(std::move(outer))),
            (Rows{"{\"A\":0," + NumberRow(1), "{\"A\":0," + NumberRow(2), "{\"A\":1," + NumberRow(4),
                  "{\"A\":1," + NumberRow(5), "{\"A\":2," + NumberRow(0)}));
}

TEST(Flatten, ReleasesWhatIsNotShown) {
  Table outer("A:i;T:t", 1);
  outer.attach(0, 1, Numbers(3, 1));
  EXPECT_EQ(Flat(Export(std::move(outer), {"S"})),
            (Rows{R"({"T.S":"1"})", R"({"T.S":"2"})", R"({"T.S":null})"}));
}

TEST(Flatten, OfNoRowsHasTheColumns) {
  EXPECT_EQ(Flat(Export(Table("A:i;T:t", 0))), Rows());
  EXPECT_EQ(Flat(Export(Table("T:t", 3))), (Rows{"{}", "{}", "{}"}));
}

// Tables whose columns are known and that have no rows.
TEST(Flatten, HasNullsForTheColumnsOfTablesWithoutRows) {
  for (const int rows : {1, 7, 8, 64, 1000}) {
    Table outer("A:i;T:t", rows);
    outer.attach(0, 1, Table("S:s;B:b;X:i;P:2q", 0));
    const Rows flat = Flat(Export(std::move(outer)));
    EXPECT_EQ(flat,
              Rows(static_cast<size_t>(rows), R"({"A":null,"T.S":null,"T.B":null,"T.X":null,"T.P":null})"));
  }
}

// Those of arrays have their elements, too.
TEST(Flatten, HasZerosForTheElementsOfNulls) {
  Table outer("T:t", 1000);
  outer.attach(0, 0, Table("P:2q", 0));
  Exported exported = Export(std::move(outer));
  const ArrowOwner<ArrowArray> flat(FlattenTables(std::move(exported.array), exported.columns, exported.shown,
                                                  {{1000, "", 0, 0, 0}}, OriginColumns()));
  const ArrowArray& elements = *flat->children[0]->children[0];
  ASSERT_EQ(elements.length, 2000);
  const auto* numbers = static_cast<const int64_t*>(elements.buffers[1]);
  EXPECT_EQ(std::count(numbers, numbers + 2000, 0), 2000);
}

#ifdef __GLIBC__
// Arrow's buffers come from malloc itself. Of a million rows and one two columns have cells of four bytes,
// and a bit for each.
TEST(Flatten, TakesNoMoreThanItsCells) {
  const auto in_use = [] {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
  };
  constexpr int kRows = 1'000'000;
  Table inner("X:i", kRows);
  for (int row = 0; row < kRows; ++row)
    table_set_int(inner.get(), row, 0, row);
  Table outer("A:i;T:t", 2);
  outer.attach(1, 1, std::move(inner));
  const size_t before = in_use();
  Exported exported = Export(std::move(outer));
  const ArrowOwner<ArrowArray> flat(FlattenTables(std::move(exported.array), exported.columns, exported.shown,
                                                  {{2, "", 0, 0, 0}}, OriginColumns()));
  EXPECT_EQ(flat->length, kRows + 1);
  EXPECT_LE(in_use(), before + 2 * kRows * 4 + 2 * kRows / 8 + 100'000);
}
#endif

TEST(Flatten, TellsOfEveryRowWhereItIsFrom) {
  OriginColumns told;
  told.file = told.number = told.offset = true;
  std::string fields;
  for (const replies::ArrowField& field : OriginFields(told))
    fields += field.name + ":" + field.format + (field.nullable ? "? " : " ");
  EXPECT_EQ(fields, "_file:u _reply:L _offset:L ");
}

TEST(Flatten, TellsTheFileOfEachRow) {
  Exported exported = Export(Table("A:i", 1000));
  const std::string file(100, 'f');
  OriginColumns told;
  told.file = true;
  ArrowOwner<ArrowArray> flat(FlattenTables(std::move(exported.array), exported.columns, exported.shown,
                                            {{600, file, 0, 0, 0}, {400, "g", 0, 0, 0}}, told));
  const ArrowArray& files = *flat->children[0];
  const auto* offsets = static_cast<const int32_t*>(files.buffers[1]);
  EXPECT_EQ(files.length, 1000);
  EXPECT_EQ(offsets[600], 60000);
  EXPECT_EQ(offsets[1000], 60400);
  EXPECT_EQ(std::string(static_cast<const char*>(files.buffers[2]), 60400),
            std::string(60000, 'f') + std::string(400, 'g'));
  ArrowArray released = flat.Move();
  released.release(&released);
  EXPECT_EQ(released.release, nullptr);
}

TEST(Flatten, HasOneBlockForAllColumnsOfNulls) {
  Table outer("A:i;T:t", 1000);
  outer.attach(0, 1, Table("X:q;Y:q;S:s", 0));
  Exported exported = Export(std::move(outer));
  const ArrowOwner<ArrowArray> flat(FlattenTables(std::move(exported.array), exported.columns, exported.shown,
                                                  {{1000, "", 0, 0, 0}}, OriginColumns()));
  const void* zeros = flat->children[1]->buffers[1];
  EXPECT_EQ(flat->children[2]->buffers[0], zeros);
  EXPECT_EQ(flat->children[2]->buffers[1], zeros);
  EXPECT_EQ(flat->children[3]->buffers[1], zeros);
}
