// The columns of tables as the viewer names them, and the layouts of a reply: tables that were made with one
// spec share one, so that what a layout costs is paid once, however many tables have it.
#ifndef TESVIEW_SHOW_COLUMNS_H_
#define TESVIEW_SHOW_COLUMNS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "replies/columns.h"
#include "tsl_base/table.hpp"

namespace tesview {

struct Column {
  int index = 0;     // in the table
  std::string name;  // UTF-8; "#3" for a column without a name, "Name#3" for one whose name is taken
  std::string raw;   // the name as the table has it
  tsl_base::Type type = tsl_base::Type::kNothing;
  int count = 0;  // elements of a cell
  bool counted = false;
  const replies::ColumnDescription* told = nullptr;  // what is told of it; null where nothing is
  bool iso_times = false;                            // its numbers may be times, to be written as such

  bool is_table() const { return type == tsl_base::Type::kTable; }
  bool is_number() const {
    return type != tsl_base::Type::kNothing && type != tsl_base::Type::kText &&
           type != tsl_base::Type::kBinary && !is_table();
  }
};

std::vector<Column> ColumnsOf(tsl_base::TableView table);

// The first column that `name` asks for (replies/column_names.h); null if there is none.
const Column* FindColumn(const std::vector<Column>& columns, std::string_view name);

// Which tables these are, for what is told of their columns.
struct TableKind {
  int32_t id = 0;  // 0 for tables that nothing is told of
  int type = 0;    // of the layout; 0 for that of the Id
  bool iso_times = false;

  bool operator<(const TableKind& other) const {
    return std::tie(id, type, iso_times) < std::tie(other.id, other.type, other.iso_times);
  }
};

// Whether the table's columns are these, all of them; cheaper than ColumnsOf().
bool HasColumns(tsl_base::TableView table, const std::vector<Column>& columns);

// What tables that were made with the same spec have in common. It is the same text in one place for all of
// them while one of them lives, so this place tells them.
inline const char* SpecOf(tsl_base::TableView table) {
  return table_col_name(table.get(), 0);
}

class Layout {
 public:
  // `table` lives as long as the layout is used.
  Layout(tsl_base::TableView table, const TableKind& kind);

  int cols() const { return cols_; }
  // The indices of the columns of tables.
  const std::vector<int>& tables() const { return tables_; }
  // Made with the first call.
  const std::vector<Column>& columns();
  // Whether the other one has the same columns.
  bool IsLike(Layout* other);

 private:
  tsl_base::TableView table_;
  TableKind kind_;
  int cols_;
  std::vector<int> tables_;
  std::vector<Column> columns_;
};

// The layouts of all tables of one reply, which lives at least as long. One thread at a time.
class Layouts {
 public:
  explicit Layouts(const TableKind& kind) : kind_(kind) {}
  const TableKind& kind() const { return kind_; }
  Layout& Of(tsl_base::TableView table);

 private:
  TableKind kind_;
  std::unordered_map<const char*, Layout> by_spec_;
  const char* last_spec_ = nullptr;
  Layout* last_ = nullptr;
};

}  // namespace tesview

#endif  // TESVIEW_SHOW_COLUMNS_H_
