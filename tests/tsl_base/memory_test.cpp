// Claims: memory grows with the cells that are written; a table of few cells is one allocation; when memory
// is exhausted, a setter throws std::bad_alloc, the cell keeps what it had, and nothing is lost.
//
// The allocation functions of this program are replaced by ones that count and can be told to fail.
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "tsl_base/arrow.h"
#include "tsl_base/table.h"
#include "tsl_base/text.h"

namespace {

size_t live_bytes = 0;
long live_blocks = 0;
long allocations = 0;
long allocations_until_failure = -1;  // below 0: never

void* CountedNew(size_t size) {
  if (allocations_until_failure == 0) throw std::bad_alloc();
  if (allocations_until_failure > 0) --allocations_until_failure;
  void* block = std::malloc(size != 0 ? size : 1);
  if (!block) throw std::bad_alloc();
  // Who reads what nobody wrote finds no zeros.
  std::memset(block, 0xDD, size);
  live_bytes += malloc_usable_size(block);
  ++live_blocks;
  ++allocations;
  return block;
}

void CountedDelete(void* block) noexcept {
  if (!block) return;
  live_bytes -= malloc_usable_size(block);
  --live_blocks;
  // Who reads what is freed finds nothing that looks right.
  std::memset(block, 0xDD, malloc_usable_size(block));
  std::free(block);
}

}  // namespace

void* operator new(size_t size) {
  return CountedNew(size);
}
void* operator new[](size_t size) {
  return CountedNew(size);
}
void operator delete(void* block) noexcept {
  CountedDelete(block);
}
void operator delete[](void* block) noexcept {
  CountedDelete(block);
}
void operator delete(void* block, size_t) noexcept {
  CountedDelete(block);
}
void operator delete[](void* block, size_t) noexcept {
  CountedDelete(block);
}

namespace {

// The bytes that the table takes which `make` returns. A first one is made before, as the thread then knows
// the spec and has forgotten what it could not keep beside it.
template <typename Make>
size_t BytesOf(Make make) {
  table_free(make());
  const size_t before = live_bytes;
  void* table = make();
  const size_t bytes = live_bytes - before;
  table_free(table);
  return bytes;
}

std::string ManyColumns(int columns) {
  std::string spec;
  for (int i = 0; i < columns; ++i)
    spec += "column" + std::to_string(i) + ":d;";
  return spec;
}

// The bytes that a call takes.
template <typename Act>
size_t BytesTakenBy(Act act) {
  const size_t before = live_bytes;
  act();
  return live_bytes - before;
}

TEST(Counting, SeesTheAllocationsOfTheLibrary) {
  const long before = allocations;
  table_free(table_create("a:d", 1, ""));
  EXPECT_GT(allocations, before);
}

TEST(Memory, ASmallTableOfAKnownSpecIsOneAllocation) {
  const char spec[] = "a:d;b:d;c:d;d:q;e:i;f:f;g:d;h:d;i:d;j:d;k:d;l:d;m:d;n:d;o:d;p:d;q:d;r:d;s:d;t:d;u:d";
  void* first = table_create(spec, 1, "data");
  const long before = allocations;
  void* second = table_create(spec, 1, "data");
  for (int col = 0; col < 21; ++col)
    table_set_double(second, 0, col, 1);
  EXPECT_EQ(allocations - before, 1);
  table_free(first);
  table_free(second);
}

TEST(Memory, ASmallTableTakesLittleMoreThanItsCells) {
  const char spec[] = "a:d;b:d;c:d;d:q;e:i;f:f;g:d;h:d;i:d;j:d;k:d;l:d;m:d;n:d;o:d;p:d;q:d;r:d;s:d;t:d;u:d";
  const size_t bytes = BytesOf([&spec] { return table_create(spec, 1, ""); });
  EXPECT_LE(bytes, 21 * 8 + 80U);
}

// The most that small ones have: 256 cells of 8 bytes, and a bit for each.
TEST(Memory, TheLargestSmallTableTakesLittleMoreThanItsCells) {
  const size_t bytes = BytesOf([] { return table_create("q:q", 256, ""); });
  EXPECT_LE(bytes, 256 * 8 + 256 / 8 + 200U);
}

TEST(Memory, ColumnsThatHoldNothingCostNoCells) {
  const std::string spec = std::string(200, ';') + "a:d";
  EXPECT_LE(BytesOf([&spec] { return table_create(spec.c_str(), 1, ""); }), 100U);
}

TEST(Memory, AnnouncedCellsCostNothing) {
  const std::string spec = ManyColumns(1000);
  const size_t bytes = BytesOf([&spec] { return table_create(spec.c_str(), INT_MAX, ""); });
  // The parsed spec: its text and a few bytes for each column.
  EXPECT_LE(bytes, 2 * spec.size() + size_t{1000} * 32);
}

TEST(Memory, TenCellsOfAHugeTableStaySmall) {
  const std::string spec = ManyColumns(1000);
  const size_t bytes = BytesOf([&spec] {
    void* table = table_create(spec.c_str(), INT_MAX, "");
    for (int i = 0; i < 10; ++i)
      table_set_double(table, i * 200'000'000, i * 111, 1);
    return table;
  });
  EXPECT_LE(bytes, 100'000U);
}

TEST(Memory, ScatteredCellsCostAboutTheSameEach) {
  std::vector<std::function<int(int)>> patterns = {
      [](int i) { return i * 20; }, [](int i) { return i * 1000; },
      [](int i) { return INT_MAX - 1 - i * 300; },
      [](int i) { return static_cast<int>((static_cast<uint32_t>(i) * 2654435761U) >> 1); }};
  const int cells = 50'000;
  for (size_t pattern = 0; pattern < patterns.size(); ++pattern) {
    const size_t bytes = BytesOf([&] {
      void* table = table_create("x:q", INT_MAX, "");
      for (int i = 0; i < cells; ++i)
        table_set_int64(table, patterns[pattern](i), 0, i);
      return table;
    });
    EXPECT_LE(bytes, size_t{cells} * 160) << "pattern " << pattern;
  }
}

TEST(Memory, ThousandsOfColumnsWithOneValueEachStaySmall) {
  const std::string spec = ManyColumns(4000);
  const size_t of_the_spec = BytesOf([&spec] { return table_create(spec.c_str(), 1000, ""); });
  const size_t bytes = BytesOf([&spec] {
    void* table = table_create(spec.c_str(), 1000, "");
    for (int col = 0; col < 4000; ++col)
      table_set_double(table, 0, col, 1);
    return table;
  });
  EXPECT_LE(bytes, of_the_spec + size_t{4000} * 250);
}

// Of few columns each makes room for 256 rows at once; from the 33rd on for 16.
TEST(Memory, TheFirstColumnsTakeMoreRowsAtOnce) {
  const std::string spec = ManyColumns(40);
  void* table = table_create(spec.c_str(), 5000, "");
  for (int col = 0; col < 40; ++col) {
    const int rows = col < 32 ? 256 : 16;
    table_set_double(table, 0, col, 1);
    const long before = allocations;
    table_set_double(table, rows - 1, col, 1);
    EXPECT_EQ(allocations, before) << col;
    table_set_double(table, rows, col, 1);
    EXPECT_GT(allocations, before) << col;
  }
  table_free(table);
}

// Sixteen columns share what leads to their cells. The list of those is as long as the last one needs it.
TEST(Memory, ColumnsOfManyTakeRoomWhereTheyAre) {
  const std::string spec = ManyColumns(100'000);
  void* table = table_create(spec.c_str(), 1000, "");
  const size_t bytes = BytesTakenBy([table] {
    for (int i = 1; i <= 12; ++i)
      table_set_double(table, 0, 16 * i, 1);
  });
  EXPECT_LE(bytes, 40'000U);
  table_free(table);
}

TEST(Memory, AFullColumnTakesItsOwnWidth) {
  const struct {
    const char* spec;
    size_t width;
  } cases[] = {{"x:c", 1}, {"x:h", 2}, {"x:i", 4}, {"x:f", 4}, {"x:d", 8}, {"x:q", 8}};
  const int rows = 100'000;
  for (const auto& c : cases) {
    const size_t bytes = BytesOf([&c] {
      void* table = table_create(c.spec, rows, "");
      for (int row = 0; row < rows; ++row)
        table_set_short(table, row, 0, 1);
      return table;
    });
    // malloc may give a large block in whole pages.
    EXPECT_LE(bytes, rows * c.width + rows / 8 + 2000 + 4096) << c.spec;
    EXPECT_GE(bytes, rows * c.width) << c.spec;
  }
}

TEST(Memory, TextsTakeLittleMoreThanTheirBytes) {
  const int rows = 20'000;
  const size_t bytes = BytesOf([] {
    void* table = table_create("s:s", rows, "");
    for (int row = 0; row < rows; ++row)
      table_set_str(table, row, 0, "ten bytes.", 1);
    return table;
  });
  // The text with its end, its length, a pointer and a bit; the last chunk may be empty.
  EXPECT_LE(bytes, size_t{rows} * (11 + 1 + 8) + rows / 8 + 40'000);
}

TEST(Memory, EmptyTextsTakeNoRoom) {
  const size_t bytes = BytesOf([] {
    void* table = table_create("s:s;b:b", 100, "");
    for (int row = 0; row < 100; ++row) {
      table_set_str(table, row, 0, "", 1);
      table_set_binary(table, row, 1, 0, "", 1);
    }
    return table;
  });
  EXPECT_LE(bytes, 200 * 8 + 500U);
}

TEST(Memory, RewritingATextForeverStaysBounded) {
  const std::string texts[] = {"", "short", std::string(200, 'a'), "x", std::string(1000, 'b')};
  const size_t bytes = BytesOf([&texts] {
    void* table = table_create("s:s;b:b", 1, "");
    for (int i = 0; i < 100'000; ++i) {
      const std::string& text = texts[i % 5];
      table_set_str(table, 0, 0, text.c_str(), 1);
      table_set_binary(table, 0, 1, static_cast<int>(text.size()), text.data(), 1);
    }
    return table;
  });
  EXPECT_LE(bytes, 10'000U);
}

// Each time its room doubles, so that all of it is less than twice the last.
TEST(Memory, ATextThatGrowsWastesNoMoreThanItHolds) {
  const size_t bytes = BytesOf([] {
    void* table = table_create("s:s;b:b", 1, "");
    for (int length = 1; length <= 4096; ++length) {
      const std::string text(static_cast<size_t>(length), 'x');
      table_set_str(table, 0, 0, text.c_str(), 1);
      table_set_binary(table, 0, 1, length, text.data(), 1);
    }
    return table;
  });
  EXPECT_LE(bytes, 2 * 2 * 2 * 4096U);
}

// Blocks of 256 and 512 bytes with a header of 16. A text has its end and a byte for its length with it.
TEST(Memory, TextsLieInBlocksThatDouble) {
  void* table = table_create("s:s", 10, "");
  const auto set = [table](int row, size_t length) {
    return BytesTakenBy([&] { table_set_str(table, row, 0, std::string(length, 'x').c_str(), 1); });
  };
  const size_t first = set(0, 118);
  EXPECT_GE(first, 256U);
  EXPECT_LT(first, 300U);
  EXPECT_EQ(set(1, 118), 0U);  // 2 * 120 = 256 - 16
  const size_t second = set(2, 1);
  EXPECT_GE(second, 512U);
  EXPECT_LT(second, 600U);
  // A long one has a block of its own size, and leaves the rest of the other to those that follow.
  const size_t own = set(3, 5000);
  EXPECT_GE(own, 5000U);
  EXPECT_LT(own, 5100U);
  EXPECT_EQ(set(4, 1), 0U);
  table_free(table);
}

// 34 times 7 bytes are 238 of the 240.
TEST(Memory, TextsOfAnOddLengthLieSideBySide) {
  void* table = table_create("s:s", 35, "");
  const auto set = [table](int row) {
    return BytesTakenBy([&] { table_set_str(table, row, 0, "fives", 1); });
  };
  EXPECT_GE(set(0), 256U);
  for (int row = 1; row < 34; ++row)
    EXPECT_EQ(set(row), 0U) << row;
  EXPECT_GE(set(34), 512U);
  table_free(table);
}

// Children are the cells that can be unset: 256 rows that are empty again are no reason to make room for
// 2048.
TEST(Memory, CellsThatWereUnsetDoNotMakeAColumnGrow) {
  void* table = table_create("t:t", 100'000, "");
  for (int row = 0; row < 256; ++row)
    table_set_table(table, row, 0, nullptr, 1);
  table_set_table(table, 3000, 0, nullptr, 1);  // far behind, so that the library counts what is set
  for (int row = 0; row < 256; ++row)
    table_set_table_raw(table, row, 0, nullptr);
  EXPECT_LT(BytesTakenBy([table] { table_set_table(table, 1000, 0, nullptr, 1); }), 200U);
  EXPECT_EQ(table_is_set(table, 1000, 0), 1);
  table_free(table);
}

TEST(Memory, AFarCellStaysAloneWhereAnotherWasUnset) {
  void* table = table_create("t:t", 100'000, "");
  table_set_table_raw(table, 0, 0, table_create("q:q", 1, ""));
  table_set_table_raw(table, 0, 0, nullptr);
  void* child = table_create("q:q", 1, "");
  EXPECT_LE(BytesTakenBy([=] { table_set_table_raw(table, 99'999, 0, child); }), 1000U);
  table_free(table);
}

// A column of 256 places gets 2,048 where a sixteenth of them would be set, and from there on 16,384.
TEST(Memory, AColumnGrowsWhereASixteenthIsSet) {
  void* table = table_create("q:q", 100'000, "");
  const auto taken = [table](int row) { return BytesTakenBy([&] { table_set_int64(table, row, 0, 1); }); };
  for (int row = 0; row < 127; ++row)
    table_set_int64(table, row, 0, 1);
  EXPECT_LT(taken(300), 200U);
  table_set_int64(table, 127, 0, 1);
  EXPECT_GE(taken(301), size_t{2048 - 256} * 8 - 200);
  // What moved there counts once.
  for (int row = 128; row < 1022; ++row)
    table_set_int64(table, row, 0, 1);
  EXPECT_LT(taken(3000), 200U);
  EXPECT_LT(taken(3001), 200U);
  EXPECT_GE(taken(3002), size_t{16384 - 2048} * 8 - 200);
  table_free(table);
}

// A count in vain is made again after some writes.
TEST(Memory, AColumnGrowsWhenItIsWorthMoreLater) {
  void* table = table_create("q:q", 100'000, "");
  for (int row = 0; row < 128; ++row)
    table_set_int64(table, row, 0, 1);
  table_set_int64(table, 300, 0, 1);
  table_set_int64(table, 3000, 0, 1);
  for (int row = 128; row < 1200; ++row)
    table_set_int64(table, row, 0, 1);
  EXPECT_GE(BytesTakenBy([table] {
              for (int row = 3001; row < 3011; ++row)
                table_set_int64(table, row, 0, 1);
            }),
            size_t{16384 - 2048} * 8 - 2000);
  table_free(table);
}

// Ten cells far down that come and go a hundred times are still ten, for which the column need not grow.
TEST(Memory, FarCellsThatAreUnsetAreForgotten) {
  void* table = table_create("t:t", 100'000, "");
  EXPECT_LT(BytesTakenBy([table] {
              for (int round = 0; round < 100; ++round) {
                for (int row = 1000; row < 1010; ++row)
                  table_set_table(table, row, 0, nullptr, 1);
                for (int row = 1000; row < 1010; ++row)
                  table_set_table_raw(table, row, 0, nullptr);
              }
            }),
            2000U);
  table_free(table);
}

// Far behind the first sixteen columns, the next ones have their places in a list that need not grow for
// them.
TEST(Memory, ManyColumnsThatHoldNothingTakeNoRoom) {
  std::string spec;
  for (int i = 0; i < 20'000; ++i)
    spec += "q:q;";
  void* table = table_create(spec.c_str(), 1000, "");
  table_set_int64(table, 0, 16, 1);
  // Of each the cells of the first rows, and of all a block for sixteen of them.
  EXPECT_LT(BytesTakenBy([table] {
              for (int col = 17; col < 32; ++col)
                table_set_int64(table, 0, col, 1);
            }),
            15 * (256 * 8 + 100U) + 2000U);
  table_free(table);
}

// Of a thousand characters, which take three bytes each.
TEST(Memory, TextIsTranscodedBackIntoOneBlock) {
  std::string gb2312;
  for (int i = 0; i < 1000; ++i)
    gb2312 += "\xD6\xD0";
  const long before = allocations;
  EXPECT_EQ(tsl_base::text::Gb2312ToUtf8(gb2312).size(), 3000U);
  EXPECT_EQ(allocations, before + 1);
}

TEST(Memory, AnArrayThatIsRewrittenTakesItsRoomOnce) {
  const char bytes[424] = {};
  const size_t taken = BytesOf([&bytes] {
    void* table = table_create("x:53q", 1, "");
    for (int i = 0; i < 1000; ++i)
      table_set_buff(table, 0, 0, bytes, 424, 0);
    return table;
  });
  EXPECT_LE(taken, 1500U);
}

// The blocks that a second round leaves behind. The thread keeps the last few specs of the first one.
template <typename Round>
long LeftBehind(Round round) {
  round();
  const long before = live_blocks;
  round();
  return live_blocks - before;
}

TEST(Memory, TablesGiveBackEverything) {
  const auto round = [] {
    void* table = table_create("s:s;b:b;n:9q;t:t;q:q", 5000, "name");
    const char bytes[72] = {};
    for (int row = 0; row < 5000; row += 1 + row % 40) {
      table_set_str(table, row, 0, "some text", 1);
      table_set_binary(table, 4999 - row, 1, 72, bytes, 1);
      table_set_buff(table, row, 2, bytes, 72, 0);
      table_set_table_raw(table, row, 3, table_create("a:s", 1, ""));
      table_set_table(table, row / 2, 3, table_get_table(table, row, 3), 1);
      table_set_int64(table, row, 4, row);
    }
    table_free(table);
  };
  EXPECT_EQ(LeftBehind(round), 0);
}

// Each has a block of its own, before and behind one that short ones share.
TEST(Memory, LongTextsAreGivenBack) {
  const auto round = [] {
    void* table = table_create("s:s", 10, "");
    for (int row = 0; row < 10; ++row)
      table_set_str(table, row, 0, std::string(row == 5 ? 10 : 5000, 'x').c_str(), 1);
    table_free(table);
  };
  EXPECT_EQ(LeftBehind(round), 0);
}

// Behind the sixteenth column the cells' blocks come in groups, and behind the 128th the list of those grows.
TEST(Memory, TablesOfManyColumnsGiveBackEverything) {
  std::string spec;
  for (int i = 0; i < 600; ++i)
    spec += "q:q;";
  const auto round = [&spec] {
    void* table = table_create(spec.c_str(), 1000, "");
    for (int col = 0; col < 600; ++col)
      table_set_int64(table, 999, col, col);
    table_free(table);
  };
  EXPECT_EQ(LeftBehind(round), 0);
}

TEST(Memory, AChildIsGivenBackWhereNoneTakesItsPlace) {
  const auto round = [] {
    void* table = table_create("t:t", 2, "");
    table_set_table_raw(table, 0, 0, table_create("q:q", 1, ""));
    table_set_table_raw(table, 0, 0, nullptr);
    table_set_table_raw(table, 1, 0, table_create("q:q", 1, ""));
    table_set_table_raw(table, 1, 0, table_create("q:q", 1, ""));
    table_free(table);
  };
  EXPECT_EQ(LeftBehind(round), 0);
}

// Freeing looks for children in all columns where the last one is behind the 4,194,302nd.
TEST(Memory, ChildrenInTheLastOfManyColumnsAreGivenBack) {
  for (const std::string& before : {"q:q;" + std::string(39, ';'), std::string(4'194'309, ';')}) {
    const std::string spec = before + "t:t";
    const auto round = [&spec] {
      void* table = table_create(spec.c_str(), 1000, "");
      table_set_table_raw(table, 999, table_cols(table) - 1, table_create("q:q", 1, ""));
      table_free(table);
    };
    EXPECT_EQ(LeftBehind(round), 0) << before.size();
  }
}

#ifdef __GLIBC__
// Arrow's buffers come from malloc itself.
size_t InUse() {
  const struct mallinfo2 heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

// 20,000 offsets of 4 bytes, as many texts of 10 and a bit for each.
TEST(Memory, ArrowExportsTakeLittleMoreThanTheirBuffers) {
  void* table = table_create("s:s", 20'000, "");
  for (int row = 0; row < 20'000; row += 2)
    table_set_str(table, row, 0, "twenty bytes of text", 1);
  ArrowSchema schema{};
  ArrowArray array{};
  const size_t before = InUse();
  ASSERT_EQ(table_export_arrow(table, &schema, &array), 0);
  EXPECT_LE(InUse() - before, 20'000 * (4 + 10) + 20'000 / 8 + 20'000U);
  schema.release(&schema);
  array.release(&array);
}

// Of 20,000 rows those of the arrays are 1.4 MB.
TEST(Memory, ArrowExportsGiveBackEverything) {
  const char bytes[72] = {};
  size_t before = 0;
  for (int round = 0; round < 5; ++round) {
    void* table = table_create("s:s;a:9q;t:t", 20'000, "");
    for (int row = 0; row < 20'000; row += 2) {
      table_set_str(table, row, 0, "ten bytes.", 1);
      table_set_buff(table, row, 1, bytes, 72, 0);
      table_set_table_raw(table, row, 2, table_create("q:q;s:s", 1, ""));
    }
    ArrowSchema schema{};
    ArrowArray array{};
    ASSERT_EQ(table_export_arrow(table, &schema, &array), 0);
    schema.release(&schema);
    array.release(&array);
    if (round == 0) before = InUse();
  }
  EXPECT_LT(InUse(), before + 100'000);
}
#endif

TEST(Memory, TextsThatAreUtf8AreCopiedOnceIntoAnArrowExport) {
  const auto allocations_of = [](int rows) {
    void* table = table_create("s:s", rows, "");
    for (int row = 0; row < rows; ++row)
      table_set_str(table, row, 0, "a text that no string holds inside itself", 1);
    ArrowSchema schema{};
    ArrowArray array{};
    const long before = allocations;
    EXPECT_EQ(table_export_arrow(table, &schema, &array), 0);
    const long taken = allocations - before;
    schema.release(&schema);
    array.release(&array);
    return taken;
  };
  allocations_of(1000);  // from here on the thread knows the spec
  EXPECT_EQ(allocations_of(10'000), allocations_of(1000));
}

TEST(Memory, AColumnThatNothingWasWrittenToHasZerosForAllItsRows) {
  ArrowSchema schema{};
  ArrowArray array{};
  ASSERT_EQ(table_export_arrow(table_create("q:q", 100'000, ""), &schema, &array), 0);
  const void* cells = array.children[0]->buffers[1];
  EXPECT_GE(malloc_usable_size(const_cast<void*>(cells)), 800'000U);
  array.release(&array);
  schema.release(&schema);
}

// What the call brings, where memory that is handed out holds what no table has.
template <typename Call>
void OnDirtyMemory(Call call) {
#ifdef __GLIBC__
  mallopt(M_PERTURB, 0x22);
#endif
  call();
#ifdef __GLIBC__
  mallopt(M_PERTURB, 0);
#endif
}

// Two tables of three rows, in which the first one is set.
TEST(Memory, NothingThatWasThereBeforeLeavesWithAnArrowExport) {
  void* tables[3];
  for (void*& table : tables) {
    table = table_create("q:q", 3, "");
    table_set_int64(table, 0, 0, 7);
  }
  ArrowSchema schema{};
  ArrowArray one{};
  ArrowArray two{};
  OnDirtyMemory([&] {
    ASSERT_EQ(table_export_arrow(tables[0], &schema, &one), 0);
    ASSERT_EQ(table_export_arrow_batch(tables + 1, 2, &schema, &two, nullptr), 0);
  });
  const auto* of_one = static_cast<const int64_t*>(one.children[0]->buffers[1]);
  const auto* of_two = static_cast<const int64_t*>(two.children[0]->buffers[1]);
  EXPECT_EQ(std::vector<int64_t>(of_one, of_one + 3), (std::vector<int64_t>{7, 0, 0}));
  EXPECT_EQ(std::vector<int64_t>(of_two, of_two + 6), (std::vector<int64_t>{7, 0, 0, 7, 0, 0}));
  one.release(&one);
  two.release(&two);
  schema.release(&schema);
}

// The second and the fourth of five arrays are set, and nothing of a column behind them.
TEST(Memory, NothingThatWasThereBeforeIsInArraysOfAnArrowExport) {
  void* table = table_create("a:2q;q:q", 5, "");
  const int64_t pair[] = {7, 8};
  table_set_buff(table, 1, 0, pair, sizeof pair, 0);
  table_set_buff(table, 3, 0, pair, sizeof pair, 0);
  ArrowSchema schema{};
  ArrowArray array{};
  OnDirtyMemory([&] { ASSERT_EQ(table_export_arrow(table, &schema, &array), 0); });
  const auto* pairs = static_cast<const int64_t*>(array.children[0]->children[0]->buffers[1]);
  EXPECT_EQ(std::vector<int64_t>(pairs, pairs + 10), (std::vector<int64_t>{0, 0, 7, 8, 0, 0, 7, 8, 0, 0}));
  const auto* numbers = static_cast<const int64_t*>(array.children[1]->buffers[1]);
  EXPECT_EQ(std::vector<int64_t>(numbers, numbers + 5), std::vector<int64_t>(5, 0));
  array.release(&array);
  schema.release(&schema);
}

// A table that is too large by itself, and one whose columns are others than those of the schema.
TEST(Memory, RefusedArrowExportsLeaveNothing) {
  const auto round = [] {
    void* large = table_create("s:s;a:99999999q", 1000, "");
    void* other = table_create("d:d", 1, "");
    ArrowSchema schema{};
    ArrowArray array{};
    EXPECT_NE(table_export_arrow(large, &schema, &array), 0);
    ASSERT_EQ(table_export_arrow(table_create("q:q", 1, ""), &schema, &array), 0);
    array.release(&array);
    EXPECT_NE(table_export_arrow_batch(&other, 1, &schema, &array, nullptr), 0);
    schema.release(&schema);
    table_free(large);
    table_free(other);
  };
  EXPECT_EQ(LeftBehind(round), 0);
}

TEST(Memory, LongSpecsAreNotKept) {
  const std::string spec = ManyColumns(5000);
  const size_t before = live_bytes;
  table_free(table_create(spec.c_str(), 1, ""));
  EXPECT_EQ(live_bytes, before);
}

TEST(Memory, KnownSpecsAreFewAndShort) {
  const size_t before = live_bytes;
  for (int i = 0; i < 1000; ++i) {
    const std::string spec = "unlike" + std::to_string(i) + ":q;" + ManyColumns(100);
    table_free(table_create(spec.c_str(), 1, ""));
  }
  EXPECT_LE(live_bytes, before + 200'000);
}

// The allocations of a table of one small row; the parsed spec is one of them if it is not known.
long AllocationsOf(const std::string& spec) {
  const long before = allocations;
  table_free(table_create(spec.c_str(), 1, ""));
  return allocations - before;
}

// A spec of one column with that many bytes.
std::string SpecOfLength(size_t length) {
  return std::string(length - 2, 'n') + ":q";
}

TEST(Memory, SpecsOfUpTo4096BytesAreKept) {
  for (const size_t length : {4095U, 4096U}) {
    const std::string spec = SpecOfLength(length);
    EXPECT_EQ(AllocationsOf(spec), 2) << length;
    EXPECT_EQ(AllocationsOf(spec), 1) << length;
    void* table = table_create(spec.c_str(), 1, "");
    EXPECT_EQ(table_col_name(table, 0), spec.substr(0, length - 2));
    table_free(table);
  }
  const std::string longer = SpecOfLength(4097);
  EXPECT_EQ(AllocationsOf(longer), 2);
  EXPECT_EQ(AllocationsOf(longer), 2);
}

TEST(Memory, TheLastEightSpecsAreKept) {
  const auto spec = [](int i) { return "one of eight " + std::to_string(i) + ":q"; };
  for (int i = 0; i < 8; ++i)
    EXPECT_EQ(AllocationsOf(spec(i)), 2) << i;
  for (int i = 0; i < 8; ++i)
    EXPECT_EQ(AllocationsOf(spec(i)), 1) << i;
  // One more takes the place of the oldest.
  EXPECT_EQ(AllocationsOf(spec(8)), 2);
  for (int i = 1; i < 9; ++i)
    EXPECT_EQ(AllocationsOf(spec(i)), 1) << i;
  EXPECT_EQ(AllocationsOf(spec(0)), 2);
}

// The same text at another address is the same spec.
TEST(Memory, ASpecIsKnownByItsText) {
  const std::string here = "known by its text:q";
  const std::string there(here.c_str());
  EXPECT_EQ(AllocationsOf(here), 2);
  EXPECT_EQ(AllocationsOf(there), 1);
  EXPECT_EQ(AllocationsOf(there), 1);
}

// A key of the test's own, made behind the library's: its destructor runs after that one in each round, and
// it asks for one more round as long as there are any.
pthread_key_t after_the_library;
int rounds_after_the_end = 0;

void MakeTableAfterTheEnd(void* value) {
  ++rounds_after_the_end;
  for (const char* spec : {"known at the end:q", "new at the end:q"}) {
    void* table = table_create(spec, 1, "");
    const std::string name(spec, std::strlen(spec) - 2);
    EXPECT_EQ(table_col_name(table, 0), name);
    table_free(table);
  }
  pthread_setspecific(after_the_library, value);
}

TEST(Memory, AThreadThatEndsKeepsNothing) {
  // The library's key is made with the first spec that a thread keeps.
  table_free(table_create("first:q", 1, ""));
  ASSERT_EQ(pthread_key_create(&after_the_library, MakeTableAfterTheEnd), 0);
  const auto end_a_thread = [] {
    std::thread([] {
      table_free(table_create("known at the end:q", 1, ""));
      pthread_setspecific(after_the_library, &after_the_library);
    }).join();
  };
  // Starting threads may cost something once.
  end_a_thread();
  const long blocks = live_blocks;
  rounds_after_the_end = 0;
  end_a_thread();
  EXPECT_GE(rounds_after_the_end, 2);
  EXPECT_EQ(live_blocks, blocks);
  pthread_key_delete(after_the_library);
}

TEST(Memory, ShortTextsAreTranscodedWithoutAllocation) {
  const std::string utf8 = "\xE6\xB5\xA6\xE5\x8F\x91 123";
  const long before = allocations;
  const std::string text = tsl_base::text::Utf8toGb2312(utf8);
  const std::string same = tsl_base::text::Utf8toGb2312(utf8.c_str());
  EXPECT_EQ(allocations, before);
  EXPECT_EQ(text.size(), 8U);
  EXPECT_EQ(same, text);
}

// ---- exhausted memory -------------------------------------------------------------------------------------

struct Operation {
  const char* what;
  int rows;
  std::function<void(void* table)> prepare;
  std::function<void(void* table)> act;
  std::function<bool(void* table)> is_old;  // the cell reads as after `prepare`
  std::function<bool(void* table)> is_new;  // the cell reads as after `act`
};

const char kSpec[] = "s:s;b:b;n:9q;t:t;q:q;d:d;far:q";
const std::string kLong(5000, 'L');

const char* Text(void* table, int row) {
  const char* text = table_get_str(table, row, 0);
  return text ? text : "(unset)";
}

std::vector<Operation> Operations() {
  const auto nothing = [](void*) {};
  std::vector<Operation> operations;
  for (const int rows : {1, 20, 5000}) {
    const int last = rows - 1;
    operations.push_back({"a first text", rows, nothing,
                          [last](void* t) { table_set_str(t, last, 0, "text", 1); },
                          [last](void* t) { return table_is_set(t, last, 0) == 0; },
                          [last](void* t) { return strcmp(Text(t, last), "text") == 0; }});
    operations.push_back({"a longer text", rows, [last](void* t) { table_set_str(t, last, 0, "old", 1); },
                          [last](void* t) { table_set_str(t, last, 0, kLong.c_str(), 1); },
                          [last](void* t) { return strcmp(Text(t, last), "old") == 0; },
                          [last](void* t) { return Text(t, last) == kLong; }});
    operations.push_back({"bytes", rows, [last](void* t) { table_set_binary(t, last, 1, 3, "old", 1); },
                          [last](void* t) { table_set_binary(t, last, 1, 5000, kLong.data(), 1); },
                          [last](void* t) {
                            int size = 0;
                            const void* data = table_get_binary(t, last, 1, &size);
                            return size == 3 && memcmp(data, "old", 3) == 0;
                          },
                          [last](void* t) {
                            int size = 0;
                            const void* data = table_get_binary(t, last, 1, &size);
                            return size == 5000 && memcmp(data, kLong.data(), 5000) == 0;
                          }});
    operations.push_back({"an array", rows, nothing,
                          [last](void* t) { table_set_buff(t, last, 2, kLong.data(), 72, 0); },
                          [last](void* t) { return table_is_set(t, last, 2) == 0; },
                          [last](void* t) {
                            const void* data = table_get_buff(t, last, 2, nullptr);
                            return data && memcmp(data, kLong.data(), 72) == 0;
                          }});
    operations.push_back({"a number", rows, nothing, [last](void* t) { table_set_int64(t, last, 4, 7); },
                          [last](void* t) { return table_is_set(t, last, 4) == 0; },
                          [last](void* t) { return table_get_int64(t, last, 4) == 7; }});
    operations.push_back({"a converted number", rows, nothing,
                          [last](void* t) { table_set_int(t, last, 5, 7); },
                          [last](void* t) { return table_is_set(t, last, 5) == 0; },
                          [last](void* t) { return table_get_double(t, last, 5) == 7; }});
    operations.push_back({"an empty child", rows, nothing,
                          [last](void* t) { table_set_table(t, last, 3, nullptr, 1); },
                          [last](void* t) { return table_is_set(t, last, 3) == 0; },
                          [last](void* t) { return table_is_set(t, last, 3) == 1; }});
    operations.push_back({"a first copied tree", rows, nothing,
                          [last](void* t) { table_set_table(t, last, 3, t, 1); },
                          [last](void* t) { return table_is_set(t, last, 3) == 0; },
                          [last](void* t) {
                            const void* copy = table_get_table(t, last, 3);
                            return strcmp(table_name(copy), "root") == 0 && table_is_set(copy, last, 3) == 0;
                          }});
    operations.push_back(
        {"a copied tree", rows,
         [last](void* t) {
           void* old = table_create("old:q", 1, "old");
           table_set_table_raw(t, last, 3, old);
           if (table_get_table(t, last, 3) != old) table_free(old);
         },
         [last](void* t) { table_set_table(t, last, 3, t, 1); },
         [last](void* t) { return strcmp(table_name(table_get_table(t, last, 3)), "old") == 0; },
         [last](void* t) {
           const void* copy = table_get_table(t, last, 3);
           return strcmp(table_name(copy), "root") == 0 &&
                  strcmp(table_name(table_get_table(copy, last, 3)), "old") == 0;
         }});
  }
  operations.push_back(
      {"a column that grows", 5000,
       [](void* t) {
         for (int row = 0; row < 256; ++row)
           table_set_int64(t, row, 4, row);
       },
       [](void* t) { table_set_int64(t, 256, 4, 256); },
       [](void* t) {
         return table_is_set(t, 256, 4) == 0 && table_get_int64(t, 0, 4) == 0 &&
                table_get_int64(t, 255, 4) == 255;
       },
       [](void* t) { return table_get_int64(t, 256, 4) == 256 && table_get_int64(t, 255, 4) == 255; }});
  operations.push_back(
      {"a column that takes in far cells", 5000,
       [](void* t) {
         for (int row = 900; row < 963; ++row)
           table_set_int64(t, row, 4, row);
       },
       [](void* t) {
         table_set_int64(t, 963, 4, 963);
         table_set_int64(t, 964, 4, 964);
       },
       [](void* t) { return table_get_int64(t, 900, 4) == 900 && table_get_int64(t, 962, 4) == 962; },
       [](void* t) { return table_get_int64(t, 900, 4) == 900 && table_get_int64(t, 964, 4) == 964; }});
  return operations;
}

// Lets the first, second, third ... allocation of each operation fail until one run needs none of them any
// more.
TEST(ExhaustedMemory, EverySetterKeepsTheCellAndLosesNothing) {
  // Parsed now and remembered from here on, so that every run starts alike.
  table_free(table_create("old:q", 1, ""));
  table_free(table_create(kSpec, 1, ""));
  int failures = 0;
  for (const Operation& operation : Operations()) {
    SCOPED_TRACE(operation.what + std::string(" in ") + std::to_string(operation.rows) + " rows");
    for (long n = 0;; ++n) {
      ASSERT_LT(n, 100);
      const long blocks = live_blocks;
      void* table = table_create(kSpec, operation.rows, "root");
      operation.prepare(table);
      ASSERT_TRUE(operation.is_old(table));
      bool failed = false;
      allocations_until_failure = n;
      try {
        operation.act(table);
      } catch (const std::bad_alloc&) {
        failed = true;
      }
      allocations_until_failure = -1;
      EXPECT_TRUE(failed ? operation.is_old(table) : operation.is_new(table)) << "failure " << n;
      if (failed) {
        ++failures;
        operation.act(table);
        EXPECT_TRUE(operation.is_new(table)) << "again after failure " << n;
      }
      table_free(table);
      EXPECT_EQ(live_blocks, blocks) << "failure " << n;
      if (!failed) break;
    }
  }
  EXPECT_GT(failures, 40);
}

TEST(ExhaustedMemory, ARefusedChildStaysTheCallers) {
  void* table = table_create(kSpec, 5000, "");
  void* child = table_create("old:q", 1, "");
  const long blocks = live_blocks;
  allocations_until_failure = 0;
  EXPECT_THROW(table_set_table_raw(table, 0, 3, child), std::bad_alloc);
  allocations_until_failure = -1;
  EXPECT_EQ(table_is_set(table, 0, 3), 0);
  table_free(child);
  EXPECT_EQ(live_blocks, blocks - 1);
  table_free(table);
}

TEST(ExhaustedMemory, CreatingLosesNothing) {
  // Known from before, so that the spec itself is no part of the count.
  const std::string known = "known:q";
  const std::string unknown = ManyColumns(1000);
  table_free(table_create(known.c_str(), 1, ""));
  for (const std::string& spec : {known, unknown}) {
    for (long n = 0;; ++n) {
      const long blocks = live_blocks;
      void* table = nullptr;
      allocations_until_failure = n;
      try {
        table = table_create(spec.c_str(), 10, "name");
      } catch (const std::bad_alloc&) {
      }
      allocations_until_failure = -1;
      const bool made = table != nullptr;
      table_free(table);
      EXPECT_EQ(live_blocks, blocks) << n;
      if (made) break;
      ASSERT_LT(n, 10);
    }
  }
}

TEST(ExhaustedMemory, TranscodingThrows) {
  const std::string utf8(10'000, 'a');
  allocations_until_failure = 0;
  EXPECT_THROW(tsl_base::text::Utf8toGb2312(utf8), std::bad_alloc);
  EXPECT_THROW(tsl_base::text::Gb2312ToUtf8(utf8), std::bad_alloc);
  allocations_until_failure = -1;
}

}  // namespace
