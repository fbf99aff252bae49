// Tables as the tool reads them: columns with names in UTF-8, cells as text, number or bytes.
#ifndef TESVIEW_SHOW_TABLE_H_
#define TESVIEW_SHOW_TABLE_H_

#include <fmt/format.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tesview/show/numbers.h"
#include "tsl_base/table.h"

namespace tesview {

struct TableFree {
  void operator()(void* table) const { table_free(table); }
};
using OwnedTable = std::unique_ptr<void, TableFree>;

// The type codes of table_col_type().
enum ColumnType : int {
  kNoType = 0,
  kInt8 = 1,
  kInt16 = 2,
  kInt32 = 3,
  kInt64 = 4,
  kFloat = 5,
  kDouble = 6,
  kText = 7,
  kBinary = 8,
  kUint8 = 9,
  kUint16 = 10,
  kUint32 = 11,
  kUint64 = 12,
  kTable = 13,
  kTime = 14,
  kPFloat = 15,
  kVFloat = 16,
};

struct Column {
  int index = 0;     // in the table
  std::string name;  // UTF-8; "#3" for a column without a name, "Name#3" for one whose name is taken
  std::string raw;   // the name as the table has it
  int type = kNoType;
  int count = 0;  // elements of a cell
  bool counted = false;

  bool is_number() const { return type != kNoType && type != kText && type != kBinary && type != kTable; }
};

std::vector<Column> ColumnsOf(void* table);

// Whether the table's columns are these, all of them; cheaper than ColumnsOf().
bool HasColumns(void* table, const std::vector<Column>& columns);

// The elements of a numeric cell, single or counted; null if the cell is not set.
inline const void* NumbersOf(const void* table, int row, const Column& column) {
  return table_get_buff(table, row, column.index, nullptr);
}

// One of those elements as text, of kNumberRoom at most; returns the end of what was written.
char* WriteNumber(char* to, const Column& column, const void* numbers, int element);

// The same in JSON, where infinite numbers and NaN are texts.
char* WriteJsonNumber(char* to, const Column& column, const void* numbers, int element);

// WriteNumber() at the end of a text.
void AppendNumber(std::string* to, const Column& column, const void* numbers, int element);

std::string_view BinaryOf(const void* table, int row, const Column& column);

}  // namespace tesview

#endif  // TESVIEW_SHOW_TABLE_H_
