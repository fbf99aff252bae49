#include "tesview/show/columns.h"

#include <gtest/gtest.h>

#include <string>

namespace tesview {
namespace {

using tsl_base::Table;

TEST(Columns, AreKnownAgainByAllThatTheyAre) {
  const Table table("a:i;b:2d;a:s;;\xE4\xB8\xAD:t", 1);
  const auto columns = ColumnsOf(table.view());
  ASSERT_EQ(columns.size(), 5U);
  EXPECT_EQ(columns[2].name, "a#2");
  EXPECT_EQ(columns[3].name, "#3");
  EXPECT_EQ(columns[4].name, "中");
  EXPECT_FALSE(HasColumns(table.view(), {columns[0], columns[1], columns[2]}));
  const auto same = [&](const char* spec) { return HasColumns(Table(spec, 7, "other").view(), columns); };
  EXPECT_TRUE(same("a:i;b:2d;a:s;;\xE4\xB8\xAD:t"));
  EXPECT_FALSE(same("a:i;b:2d;a:s;;\xE4\xB8\xAD:t;more:i"));
  EXPECT_FALSE(same("a:q;b:2d;a:s;;\xE4\xB8\xAD:t"));
  EXPECT_FALSE(same("a:i;b:3d;a:s;;\xE4\xB8\xAD:t"));
  EXPECT_FALSE(same("A:i;b:2d;a:s;;\xE4\xB8\xAD:t"));
  EXPECT_FALSE(same("a:i;b:2d;c:s;;\xE4\xB8\xAD:t"));
  EXPECT_FALSE(same("a:i;b:2d;a:s;;\xE4\xB8\xAE:t"));
}

TEST(TableKinds, GoByIdThenTypeThenTimes) {
  const TableKind ordered[] = {{1, 2, false}, {2, 1, false}, {2, 1, true}, {2, 3, false}};
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j)
      EXPECT_EQ(ordered[i] < ordered[j], i < j) << i << " " << j;
  }
}

TEST(Layouts, TablesOfOneSpecShareOne) {
  const Table first("a:i;T:t;b:s;U:t", 1);
  const Table second("a:i;T:t;b:s;U:t", 3);
  const Table other("a:i;T:t;b:s;V:t", 1);
  Layouts layouts(TableKind{});
  Layout& layout = layouts.Of(first.view());
  EXPECT_EQ(&layouts.Of(second.view()), &layout);
  EXPECT_NE(&layouts.Of(other.view()), &layout);
  // Also after another one was looked up.
  EXPECT_EQ(&layouts.Of(first.view()), &layout);
  EXPECT_EQ(layout.cols(), 4);
  EXPECT_EQ(layout.tables(), (std::vector<int>{1, 3}));
  ASSERT_EQ(layout.columns().size(), 4U);
  EXPECT_EQ(layout.columns()[3].name, "U");
  EXPECT_FALSE(layout.IsLike(&layouts.Of(other.view())));
}

TEST(Layouts, AreToldByTheirKindAndAllTheirColumns) {
  const auto is_told = [](const char* spec, const TableKind& kind) {
    const Table table(spec, 1);
    Layout layout(table.view(), kind);
    return layout.columns()[0].told != nullptr;
  };
  const TableKind candlesticks{21, 0, false};
  EXPECT_TRUE(is_told("Obj:s;Data:t", candlesticks));
  EXPECT_FALSE(is_told("Obj:s;Daten:t", candlesticks));
  EXPECT_FALSE(is_told("Obj:s;Data:s", candlesticks));
  EXPECT_FALSE(is_told("Obj:s", candlesticks));
  EXPECT_FALSE(is_told("Obj:s;Data:t", {21, 1, false}));
  EXPECT_FALSE(is_told("Obj:s;Data:t", {0, 0, false}));
}

TEST(Layouts, TimesAreThoseOfColumnsThatAreToldToHoldThem) {
  // Id 405: of the figures the first are dates, and the reply's own mask is none.
  const Table table("DaiMa:s;LeiXing:i;Data:53q;HasBits:q", 1);
  const auto times = [&table](bool iso) {
    Layout layout(table.view(), {405, 0, iso});
    std::string columns;
    for (const Column& column : layout.columns()) {
      if (column.iso_times) columns += column.name;
    }
    return columns;
  };
  EXPECT_EQ(times(true), "Data");
  EXPECT_EQ(times(false), "");
}

TEST(Layouts, OfALongSpecAreAlikeByTheirColumns) {
  // Specs of more than 4 KB are parsed for each table.
  const std::string spec = std::string(5000, 'n') + ":i;b:s";
  const Table first(spec, 1);
  const Table second(spec, 1);
  const Table other(spec + ";c:s", 1);
  Layouts layouts(TableKind{});
  EXPECT_TRUE(layouts.Of(first.view()).IsLike(&layouts.Of(second.view())));
  EXPECT_FALSE(layouts.Of(first.view()).IsLike(&layouts.Of(other.view())));
}

}  // namespace
}  // namespace tesview
