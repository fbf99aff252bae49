// A whole table as one text, children included, for tests that compare results of two calls.
#ifndef TESTS_SUPPORT_TABLE_TEXT_H_
#define TESTS_SUPPORT_TABLE_TEXT_H_

#include <cstdio>
#include <string>

#include "tests/support/tables.h"

inline std::string TableText(void* table);

inline std::string CellText(void* table, int row, int col) {
  if (table_is_set(table, row, col) == 0) return "-";
  const int type = table_col_type(table, col);
  if (type == 7) return '"' + std::string(table_get_str(table, row, col)) + '"';
  if (type == 13) return TableText(table_get_table(table, row, col));
  int size = 0;
  const void* bytes =
      type == 8 ? table_get_binary(table, row, col, &size) : table_get_buff(table, row, col, &size);
  std::string hex;
  for (int i = 0; i < size; ++i) {
    char pair[3];
    std::snprintf(pair, sizeof(pair), "%02x", static_cast<const unsigned char*>(bytes)[i]);
    hex += pair;
  }
  return hex;
}

inline std::string TableText(void* table) {
  if (table == nullptr) return "null";
  std::string text = std::string(table_name(table)) + "[" + SpecOf(table) + "]{";
  for (int row = 0; row < table_rows(table); ++row) {
    for (int col = 0; col < table_cols(table); ++col)
      text += CellText(table, row, col) + ",";
    text += "\n";
  }
  return text + "}";
}

#endif  // TESTS_SUPPORT_TABLE_TEXT_H_
