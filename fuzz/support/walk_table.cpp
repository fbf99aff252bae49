#include "fuzz/support/walk_table.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "fuzz/support/bits.h"
#include "fuzz/support/target.h"
#include "tsl_base/table.h"
#include "tsl_base/table.hpp"

namespace fuzz {
namespace {

constexpr uint64_t kCellsOfTable = 4096;
constexpr uint64_t kCellsOfWalk = 40000;
constexpr uint64_t kLeastCells = 16;

volatile unsigned char sink;

void Touch(const void* data, size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  unsigned char sum = 0;
  for (size_t i = 0; i < size; ++i)
    sum = static_cast<unsigned char>(sum + bytes[i]);
  sink = sum;
}

int WidthOf(int type) {
  switch (type) {
    case 1:
    case 9: return 1;
    case 2:
    case 10: return 2;
    case 3:
    case 5:
    case 11: return 4;
    case 4:
    case 6:
    case 12:
    case 14:
    case 15:
    case 16: return 8;
    default: return 0;
  }
}

bool IsZero(const void* data, size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

// What a getter gave is the cell's bytes if it is the getter of that type, and 0 otherwise.
template <class T>
void CheckNumber(T value, bool own, const void* cell) {
  if (own && cell != nullptr) {
    FUZZ_CHECK(HasBits(value, cell));
  } else {
    FUZZ_CHECK(IsZero(&value, sizeof value));
  }
}

class TableWalk {
 public:
  void Table(void* table);

 private:
  void Columns(void* table);
  void Outside(void* table);
  void Cell(void* table, int row, int col);

  uint64_t cells_left_ = kCellsOfWalk;
};

void TableWalk::Columns(void* table) {
  constexpr int kNamesLookedUp = 64;
  const int cols = table_cols(table);
  for (int col = 0; col < cols; ++col) {
    const char* name = table_col_name(table, col);
    Touch(name, std::strlen(name) + 1);
    const int type = table_col_type(table, col);
    const int count = table_col_count(table, col);
    FUZZ_CHECK(type >= 0 && type <= 16);
    FUZZ_CHECK((count == 0) == (type == 0));
    FUZZ_CHECK(count <= 1 || WidthOf(type) != 0);
    if (col >= kNamesLookedUp) continue;
    const int found = table_col_index(table, name);
    FUZZ_CHECK(found >= 0 && found <= col);
    FUZZ_CHECK(std::strcmp(table_col_name(table, found), name) == 0);
  }
}

void TableWalk::Outside(void* table) {
  const int rows = table_rows(table);
  const int cols = table_cols(table);
  const int cells[][2] = {{-1, 0},      {0, -1},      {rows, 0},         {0, cols},
                          {INT_MAX, 0}, {0, INT_MAX}, {INT_MIN, INT_MIN}};
  for (const auto& cell : cells) {
    FUZZ_CHECK(table_is_set(table, cell[0], cell[1]) == 0);
    FUZZ_CHECK(table_get_str(table, cell[0], cell[1]) == nullptr);
    FUZZ_CHECK(table_get_table(table, cell[0], cell[1]) == nullptr);
    int size = 1;
    FUZZ_CHECK(table_get_buff(table, cell[0], cell[1], &size) == nullptr && size == 0);
  }
  FUZZ_CHECK(table_col_type(table, -1) == 0 && table_col_type(table, cols) == 0);
  FUZZ_CHECK(*table_col_name(table, cols) == '\0');
}

void TableWalk::Cell(void* table, int row, int col) {
  const int type = table_col_type(table, col);
  const int count = table_col_count(table, col);
  const bool set = table_is_set(table, row, col) != 0;
  const bool single = count == 1;

  const char* text = table_get_str(table, row, col);
  FUZZ_CHECK((text != nullptr) == (set && type == 7));
  if (text != nullptr) Touch(text, std::strlen(text) + 1);

  int size = -1;
  const void* binary = table_get_binary(table, row, col, &size);
  FUZZ_CHECK((binary != nullptr) == (set && type == 8));
  FUZZ_CHECK(binary != nullptr ? size >= 0 : size == 0);
  if (binary != nullptr) Touch(binary, static_cast<size_t>(size));

  size = -1;
  const void* cell = table_get_buff(table, row, col, &size);
  FUZZ_CHECK((cell != nullptr) == (set && WidthOf(type) != 0));
  FUZZ_CHECK(size == (cell != nullptr ? WidthOf(type) * count : 0));
  if (cell != nullptr) Touch(cell, static_cast<size_t>(size));

  CheckNumber(table_get_double(table, row, col), single && type == 6, cell);
  CheckNumber(table_get_float(table, row, col), single && type == 5, cell);
  CheckNumber(table_get_int(table, row, col), single && type == 3, cell);
  CheckNumber(table_get_uint(table, row, col), single && type == 11, cell);
  CheckNumber(table_get_int64(table, row, col), single && type == 4, cell);
  CheckNumber(table_get_uint64(table, row, col), single && (type == 12 || type == 14), cell);
  CheckNumber(table_get_short(table, row, col), single && (type == 2 || type == 10), cell);
  CheckNumber(table_get_pfloat(table, row, col), single && type == 15, cell);
  CheckNumber(table_get_vfloat(table, row, col), single && type == 16, cell);

  const tsl_base::TableView view(table);
  const bool visited = view.visit(row, col, [](auto value) { sink = sizeof value; });
  FUZZ_CHECK(visited == set);
  view.as_double(row, col);

  void* child = table_get_table(table, row, col);
  FUZZ_CHECK(child == nullptr || (set && type == 13));
  if (child != nullptr) Table(child);
}

void TableWalk::Table(void* table) {
  const int rows = table_rows(table);
  const int cols = table_cols(table);
  FUZZ_CHECK(rows >= 0 && cols >= 0);
  Touch(table_name(table), std::strlen(table_name(table)) + 1);
  Columns(table);
  Outside(table);
  const uint64_t cells = static_cast<uint64_t>(rows) * static_cast<uint64_t>(cols);
  const uint64_t most = std::max(kLeastCells, std::min(kCellsOfTable, cells_left_));
  const uint64_t step = cells <= most ? 1 : cells / most + 1;
  for (uint64_t at = 0; at < cells; at += step) {
    if (cells_left_ != 0) --cells_left_;
    const auto width = static_cast<uint64_t>(cols);
    Cell(table, static_cast<int>(at / width), static_cast<int>(at % width));
  }
}

}  // namespace

void WalkTable(void* table) {
  TableWalk().Table(table);
}

void WalkAndFree(void* table) {
  if (table != nullptr) WalkTable(table);
  table_free(table);
}

}  // namespace fuzz
