// Claim: a table made like another has its columns, whatever the spec that made that one, and nothing else of
// it.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "tsl_base/table.hpp"

namespace {

using tsl_base::Table;

Table Like(const void* model, int rows, const char* name = "") {
  return Table(table_create_like(model, rows, name));
}

TEST(Like, HasTheColumnsInTheirOrder) {
  const Table model("Obj:s; Data:53q;;Obj:t;bad", 3, "model");
  const Table table = Like(model.get(), 2, "copy");
  ASSERT_EQ(table_cols(table.get()), 5);
  EXPECT_STREQ(table_col_name(table.get(), 0), "Obj");
  EXPECT_STREQ(table_col_name(table.get(), 1), "Data");
  EXPECT_STREQ(table_col_name(table.get(), 4), "bad");
  EXPECT_EQ(table_col_type(table.get(), 0), 7);
  EXPECT_EQ(table_col_type(table.get(), 1), 4);
  EXPECT_EQ(table_col_count(table.get(), 1), 53);
  EXPECT_EQ(table_col_type(table.get(), 2), 0);
  EXPECT_EQ(table_col_type(table.get(), 3), 13);
  EXPECT_EQ(table_col_type(table.get(), 4), 0);
  EXPECT_EQ(table_col_index(table.get(), "Obj"), 0);
}

TEST(Like, HasItsOwnRowsAndName) {
  const Table model("x:q", 3, "model");
  const Table table = Like(model.get(), 7, "other");
  EXPECT_EQ(table_rows(table.get()), 7);
  EXPECT_STREQ(table_name(table.get()), "other");
  EXPECT_EQ(table_rows(model.get()), 3);
  EXPECT_STREQ(table_name(model.get()), "model");
}

TEST(Like, StartsUnsetAndIsWrittenAlone) {
  const Table model("x:q;s:s", 1, "");
  table_set_int64(model.get(), 0, 0, 5);
  table_set_str(model.get(), 0, 1, "text", 1);
  const Table table = Like(model.get(), 1);
  EXPECT_EQ(table_is_set(table.get(), 0, 0), 0);
  EXPECT_EQ(table_is_set(table.get(), 0, 1), 0);
  table_set_int64(table.get(), 0, 0, 6);
  EXPECT_EQ(table_get_int64(model.get(), 0, 0), 5);
  EXPECT_EQ(table_get_int64(table.get(), 0, 0), 6);
}

TEST(Like, MayBeLargerOrSmallerThanItsModel) {
  const Table few("a:q;b:d", 1, "");
  const Table many("a:q;b:d", INT_MAX, "");
  const Table grown = Like(few.get(), INT_MAX);
  const Table shrunk = Like(many.get(), 1);
  table_set_double(grown.get(), INT_MAX - 1, 1, 0.5);
  table_set_double(shrunk.get(), 0, 1, 0.25);
  EXPECT_EQ(table_get_double(grown.get(), INT_MAX - 1, 1), 0.5);
  EXPECT_EQ(table_get_double(shrunk.get(), 0, 1), 0.25);
}

TEST(Like, OutlivesItsModel) {
  const std::string name(100000, 'n');
  Table model(name + ":q", 1, "");
  const Table table = Like(model.get(), 1);
  model = Table();
  EXPECT_EQ(table_col_name(table.get(), 0), name);
  table_set_int64(table.get(), 0, 0, 8);
  EXPECT_EQ(table_get_int64(table.get(), 0, 0), 8);
}

TEST(Like, TakesAnyArguments) {
  const Table model("x:q", 1, "model");
  EXPECT_EQ(table_cols(Like(nullptr, 2).get()), 0);
  EXPECT_EQ(table_rows(Like(nullptr, 2).get()), 2);
  EXPECT_EQ(table_rows(Like(model.get(), -1).get()), 0);
  EXPECT_STREQ(table_name(Like(model.get(), 1, nullptr).get()), "");
}

// Children hang in the first and in the last of very many columns, in a small table and in a large one.
TEST(Like, ChildrenAreFreedFromAnyColumn) {
  std::string columns;
  for (int i = 0; i < 70000; ++i)
    columns += "x:q;";
  const std::string entries(70000, ';');
  for (const std::string& filler : {entries, columns}) {
    const Table model("first:t;" + filler + "last:t", 1, "");
    const Table table = Like(model.get(), 1);
    const int last = table_cols(table.get()) - 1;
    table_set_table_raw(table.get(), 0, 0, table_create("x:q", 1, ""));
    table_set_table_raw(table.get(), 0, last, table_create("x:q", 1, ""));
    EXPECT_NE(table_get_table(table.get(), 0, 0), nullptr);
    EXPECT_NE(table_get_table(table.get(), 0, last), nullptr);
  }
}

}  // namespace
