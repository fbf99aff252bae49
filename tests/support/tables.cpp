#include "tests/support/tables.h"

std::string SpecOf(void* table) {
  static constexpr char kLetters[] = "?chiqfdsbCHIQtTPV";
  std::string spec;
  for (int col = 0; col < table_cols(table); ++col) {
    spec += table_col_name(table, col);
    spec += ':';
    const int count = table_col_count(table, col);
    if (count > 1) spec += std::to_string(count);
    spec += kLetters[table_col_type(table, col)];
    spec += ';';
  }
  return spec;
}

std::string SetColumns(void* table, int row) {
  std::string columns;
  for (int col = 0; col < table_cols(table); ++col) {
    if (!table_is_set(table, row, col)) continue;
    if (!columns.empty()) columns += ' ';
    columns += std::to_string(col);
  }
  return columns;
}

std::string TextAt(const void* table, int row, int col) {
  const char* text = table_get_str(table, row, col);
  return text == nullptr ? "(unset)" : text;
}
