/* The tables from C. */
#include "tsl_base/table.h"

int CountCellsInC(const void* table) {
  int count = 0;
  for (int row = 0; row < table_rows(table); ++row) {
    for (int col = 0; col < table_cols((void*)table); ++col)
      count += table_is_set(table, row, col);
  }
  return count;
}
