#include "tesview/show/choose.h"

#include <algorithm>
#include <charconv>

#include "replies/suggest.h"
#include "replies/text.h"

namespace tesview {
namespace {

bool IsChosen(const View& view, const std::string& name) {
  return std::find(view.columns.begin(), view.columns.end(), name) != view.columns.end();
}

bool LeadsToChosen(const View& view, void* table, const Column& column) {
  if (column.type != kTable) return false;
  for (int row = 0; row < table_rows(table); ++row) {
    void* child = table_get_table(table, row, column.index);
    if (child != nullptr && HasChosen(view, child)) return true;
  }
  return false;
}

void CollectNames(void* table, std::vector<std::string>* names) {
  for (const Column& column : ColumnsOf(table)) {
    if (std::find(names->begin(), names->end(), column.name) == names->end()) names->push_back(column.name);
    if (column.type != kTable) continue;
    for (int row = 0; row < table_rows(table); ++row) {
      if (void* child = table_get_table(table, row, column.index)) CollectNames(child, names);
    }
  }
}

// `outer` are the cells that each line repeats of the rows around it.
void CountCells(const View& view, void* table, uint64_t outer, uint64_t* cells) {
  const auto [from, to] = RowsShown(view, table);
  const auto columns = static_cast<uint64_t>(table_cols(table));
  *cells += static_cast<uint64_t>(to - from) * (view.columns.empty() ? columns + outer : 1);
  if (*cells > kMostCells) throw TooMuch();
  for (int col = 0; col < table_cols(table); ++col) {
    if (table_col_type(table, col) != kTable) continue;
    for (int row = from; row < to; ++row) {
      if (void* child = table_get_table(table, row, col)) CountCells(view, child, outer + columns, cells);
    }
  }
}

// The places of a path that lead on, for an error message.
std::string PathsBelow(void* table) {
  std::string names;
  for (const Column& column : ColumnsOf(table)) {
    if (column.type == kTable) names += (names.empty() ? "" : ", ") + column.name;
  }
  return names.empty() ? "there are no tables in this one" : "columns with tables: " + names;
}

}  // namespace

void CheckCells(const View& view, void* table) {
  uint64_t cells = 0;
  CountCells(view, table, 0, &cells);
}

std::pair<int, int> RowsShown(const View& view, const void* table) {
  const int rows = table_rows(table);
  if (view.head >= 0) return {0, static_cast<int>(std::min<int64_t>(rows, view.head))};
  if (view.tail >= 0) return {static_cast<int>(rows - std::min<int64_t>(rows, view.tail)), rows};
  return {0, rows};
}

void* TableAt(void* root, const std::string& path, std::string* error) {
  void* table = root;
  std::string done;
  std::string_view rest = path;
  while (!rest.empty()) {
    const size_t slash = rest.find('/');
    const std::string_view number = rest.substr(0, slash);
    int row = -1;
    const auto [end, failure] = std::from_chars(number.data(), number.data() + number.size(), row);
    if (number == "*") {
      *error = fmt::format("path \"{}\" is that of several tables; take the number of a row for the *", path);
      return nullptr;
    }
    if (failure != std::errc() || end != number.data() + number.size() || slash == std::string_view::npos) {
      *error = fmt::format("path \"{}\" is not row/column, as in 0/Data", path);
      return nullptr;
    }
    rest = rest.substr(slash + 1);
    const std::string name(rest.substr(0, rest.find('/')));
    rest = name.size() < rest.size() ? rest.substr(name.size() + 1) : std::string_view();
    if (row < 0 || row >= table_rows(table)) {
      *error = fmt::format("path \"{}\": row {} is not there; the table{} has {} rows", path, row,
                           done.empty() ? "" : " at " + done, table_rows(table));
      return nullptr;
    }
    const auto columns = ColumnsOf(table);
    const auto column =
        std::find_if(columns.begin(), columns.end(), [&](const Column& c) { return c.name == name; });
    if (column == columns.end() || column->type != kTable) {
      *error = fmt::format("path \"{}\": \"{}\" is no column of tables; {}", path, name, PathsBelow(table));
      return nullptr;
    }
    done += fmt::format("{}{}/{}", done.empty() ? "" : "/", row, name);
    table = table_get_table(table, row, column->index);
    if (table == nullptr) {
      *error = fmt::format("path \"{}\": the cell {} is empty", path, done);
      return nullptr;
    }
  }
  return table;
}

std::vector<Column> ColumnsShown(const View& view, void* table) {
  std::vector<Column> columns = ColumnsOf(table);
  if (view.columns.empty()) return columns;
  std::vector<Column> shown;
  for (const std::string& name : view.columns) {
    const auto at =
        std::find_if(columns.begin(), columns.end(), [&](const Column& c) { return c.name == name; });
    if (at != columns.end()) shown.push_back(*at);
  }
  for (const Column& column : columns) {
    if (!IsChosen(view, column.name) && LeadsToChosen(view, table, column)) shown.push_back(column);
  }
  return shown;
}

bool HasChosen(const View& view, void* table) {
  const auto columns = ColumnsOf(table);
  return std::any_of(columns.begin(), columns.end(), [&](const Column& column) {
    return IsChosen(view, column.name) || LeadsToChosen(view, table, column);
  });
}

const View* ViewInside(const View& view, const View& all, const Column& column, void* child) {
  if (view.columns.empty() || HasChosen(view, child)) return &view;
  return IsChosen(view, column.name) ? &all : nullptr;
}

View WithAllColumns(View view) {
  view.columns.clear();
  return view;
}

std::vector<std::string> AllColumnNames(void* table) {
  std::vector<std::string> names;
  CollectNames(table, &names);
  return names;
}

std::string MissingColumn(const View& view, void* table) {
  if (view.columns.empty()) return std::string();
  const auto names = AllColumnNames(table);
  for (const std::string& wanted : view.columns) {
    if (std::find(names.begin(), names.end(), wanted) == names.end()) return wanted;
  }
  return std::string();
}

}  // namespace tesview
