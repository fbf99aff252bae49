// Tables as tests read them: a handle that frees, and the columns as one text.
#ifndef TESTS_SUPPORT_TABLES_H_
#define TESTS_SUPPORT_TABLES_H_

#include <memory>
#include <string>

#include "tsl_base/table.h"

struct TableFree {
  void operator()(void* table) const { table_free(table); }
};
// The table that an export returned.
using OwnedTable = std::unique_ptr<void, TableFree>;

// The columns of a table in the grammar of its spec: "Obj:s;Data:t;", "Data:53q;", "?" for a column of code
// 0.
std::string SpecOf(void* table);

// The columns that are set in a row, as "0 1 5".
std::string SetColumns(void* table, int row);

// The text of a cell, or "(unset)".
std::string TextAt(const void* table, int row, int col);

#endif  // TESTS_SUPPORT_TABLES_H_
