#include "tesview/show/columns.h"

#include <fmt/format.h>

#include <string_view>
#include <unordered_set>

#include "replies/text.h"

namespace tesview {

using replies::CellTextToUtf8;
using tsl_base::ColumnInfo;
using tsl_base::TableView;

std::vector<Column> ColumnsOf(TableView table) {
  std::vector<Column> columns;
  const int count = table.cols();
  columns.reserve(static_cast<size_t>(count));
  std::unordered_set<std::string> taken;
  for (int c = 0; c < count; ++c) {
    const ColumnInfo info = table.column(c);
    Column column;
    column.index = c;
    column.raw = info.name;
    column.name = CellTextToUtf8(column.raw);
    if (column.name.empty()) column.name = fmt::format("#{}", c);
    while (!taken.insert(column.name).second)
      column.name += fmt::format("#{}", c);
    column.type = info.type;
    column.count = info.count;
    column.counted = column.is_number() && column.count != 1;
    columns.push_back(std::move(column));
  }
  return columns;
}

bool HasColumns(TableView table, const std::vector<Column>& columns) {
  if (table.cols() != static_cast<int>(columns.size())) return false;
  for (const Column& column : columns) {
    const ColumnInfo info = table.column(column.index);
    if (info.type != column.type || info.count != column.count || info.name != column.raw) return false;
  }
  return true;
}

Layout::Layout(TableView table) : table_(table), cols_(table.cols()) {
  for (int col = 0; col < cols_; ++col) {
    if (table.column(col).type == tsl_base::Type::kTable) tables_.push_back(col);
  }
}

const std::vector<Column>& Layout::columns() {
  if (columns_.empty()) columns_ = ColumnsOf(table_);
  return columns_;
}

bool Layout::IsLike(Layout* other) {
  return this == other || HasColumns(table_, other->columns());
}

Layout& Layouts::Of(TableView table) {
  const char* spec = SpecOf(table);
  if (spec != last_spec_) {
    last_ = &by_spec_.try_emplace(spec, table).first->second;
    last_spec_ = spec;
  }
  return *last_;
}

}  // namespace tesview
