#include "tesview/show/columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <unordered_set>

#include "replies/column_names.h"
#include "replies/text.h"
#include "replies/times.h"

namespace tesview {

using replies::ToUtf8;
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
    column.name = ToUtf8(column.raw);
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

const Column* FindColumn(const std::vector<Column>& columns, std::string_view name) {
  const auto found = std::find_if(columns.begin(), columns.end(), [&](const Column& column) {
    return replies::IsNameOf(name, column.name, static_cast<size_t>(column.index), column.count);
  });
  return found == columns.end() ? nullptr : &*found;
}

bool HasColumns(TableView table, const std::vector<Column>& columns) {
  if (table.cols() != static_cast<int>(columns.size())) return false;
  for (const Column& column : columns) {
    const ColumnInfo info = table.column(column.index);
    if (info.type != column.type || info.count != column.count || info.name != column.raw) return false;
  }
  return true;
}

namespace {

// As a column spec has it: "53q".
std::string LetterOf(const ColumnInfo& info) {
  constexpr std::string_view kLetters = "?chiqfdsbCHIQtTPV";
  const auto code = static_cast<size_t>(info.type);
  std::string letter = info.count > 1 ? fmt::format("{}", info.count) : "";
  return letter + (code < kLetters.size() ? kLetters[code] : '?');
}

bool Describes(const replies::TableDescription& told, TableView table) {
  if (told.columns.size() != static_cast<size_t>(table.cols())) return false;
  for (int c = 0; c < table.cols(); ++c) {
    const replies::ColumnDescription& column = told.columns[static_cast<size_t>(c)];
    const ColumnInfo info = table.column(c);
    if (info.name != column.name || LetterOf(info) != column.letter) return false;
  }
  return true;
}

// Tables of one kind that have the same columns are told alike, so the columns say which one it is.
const replies::TableDescription* DescriptionOf(TableView table, const TableKind& kind) {
  if (kind.id == 0) return nullptr;
  for (const replies::TableDescription& told : replies::DescribedTables()) {
    if (told.id == kind.id && told.type == kind.type && Describes(told, table)) return &told;
  }
  return nullptr;
}

bool MayHoldTimes(const replies::ColumnDescription& told) {
  if (told.letter == "s") return false;
  return replies::IsTime(told.kind) || std::any_of(told.elements.begin(), told.elements.end(),
                                                   [](const replies::ElementDescription& element) {
                                                     return replies::IsTime(element.kind);
                                                   });
}

}  // namespace

Layout::Layout(TableView table, const TableKind& kind) : table_(table), kind_(kind), cols_(table.cols()) {
  for (int col = 0; col < cols_; ++col) {
    if (table.column(col).type == tsl_base::Type::kTable) tables_.push_back(col);
  }
}

const std::vector<Column>& Layout::columns() {
  if (!columns_.empty()) return columns_;
  columns_ = ColumnsOf(table_);
  const replies::TableDescription* told = DescriptionOf(table_, kind_);
  for (size_t i = 0; told != nullptr && i < columns_.size(); ++i) {
    columns_[i].told = &told->columns[i];
    columns_[i].iso_times = kind_.iso_times && MayHoldTimes(told->columns[i]);
  }
  return columns_;
}

bool Layout::IsLike(Layout* other) {
  return this == other || HasColumns(table_, other->columns());
}

Layout& Layouts::Of(TableView table) {
  const char* spec = SpecOf(table);
  if (spec != last_spec_) {
    last_ = &by_spec_.try_emplace(spec, table, kind_).first->second;
    last_spec_ = spec;
  }
  return *last_;
}

}  // namespace tesview
