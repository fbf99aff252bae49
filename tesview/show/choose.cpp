#include "tesview/show/choose.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "tesview/show/cells.h"
#include "tesview/show/limits.h"

namespace tesview {

using tsl_base::TableView;

namespace {

// The columns that a path goes on by, for an error message.
std::string PathsBelow(Layout* layout) {
  std::string names;
  for (const int col : layout->tables())
    names += (names.empty() ? "" : ", ") + layout->columns()[static_cast<size_t>(col)].name;
  return names.empty() ? "there are no tables in this one" : "columns with tables: " + names;
}

}  // namespace

Choice::Choice(const View& view, const TableKind& kind, const KeptRows* kept)
    : view_(view), kept_(kept), layouts_(kind) {
  for (const std::string& name : view.columns)
    wanted_.emplace(name, wanted_.size());
}

void Choice::Take(TableView table) {
  if (!wanted_.empty()) FindChosen(table);
  CountCells(table, 0);
}

RowList Choice::Rows(TableView table) const {
  const std::vector<int>* kept = kept_ == nullptr ? nullptr : kept_->Of(table);
  const int rows = kept == nullptr ? table.rows() : static_cast<int>(kept->size());
  if (view_.head >= 0) return {kept, 0, static_cast<int>(std::min<int64_t>(rows, view_.head))};
  if (view_.tail >= 0) return {kept, static_cast<int>(rows - std::min<int64_t>(rows, view_.tail)), rows};
  return {kept, 0, rows};
}

// The columns of a layout that were asked for.
const std::vector<const Column*>& Choice::ChosenOf(Layout* layout) {
  const auto [at, is_new] = chosen_.try_emplace(layout);
  std::vector<const Column*>& chosen = at->second;
  if (!is_new) return chosen;
  for (const Column& column : layout->columns()) {
    if (!IsChosen(column)) continue;
    chosen.push_back(&column);
    found_.insert(wanted_.find(column.name)->first);
  }
  std::sort(chosen.begin(), chosen.end(), [&](const Column* a, const Column* b) {
    return wanted_.find(a->name)->second < wanted_.find(b->name)->second;
  });
  return chosen;
}

bool Choice::FindChosen(TableView table) {
  Layout& layout = LayoutOf(table);
  bool has = !ChosenOf(&layout).empty();
  visited_ += static_cast<uint64_t>(table.rows()) * layout.tables().size();
  CheckCount(visited_);
  for (const int col : layout.tables()) {
    for (int row = 0; row < table.rows(); ++row) {
      const TableView child = ChildOf(table, row, col);
      if (child && FindChosen(child)) has = true;
    }
  }
  if (has) tables_with_chosen_.insert(table.get());
  return has;
}

// `outer` are the cells that each line repeats of the rows around it.
void Choice::CountCells(TableView table, uint64_t outer) {
  const Layout& layout = LayoutOf(table);
  const RowList rows = Rows(table);
  const auto columns = static_cast<uint64_t>(layout.cols());
  cells_ += static_cast<uint64_t>(rows.size()) * (view_.columns.empty() ? columns + outer : 1);
  CheckCount(cells_);
  for (const int col : layout.tables()) {
    for (const int row : rows) {
      if (const TableView child = ChildOf(table, row, col)) CountCells(child, outer + columns);
    }
  }
}

std::vector<const Column*> Choice::Columns(TableView table, Part part) {
  Layout& layout = LayoutOf(table);
  if (part == Part::kChosen) {
    std::vector<const Column*> columns = ChosenOf(&layout);
    for (const int col : layout.tables()) {
      const Column& column = layout.columns()[static_cast<size_t>(col)];
      if (!IsChosen(column) && LeadsToChosen(table, col)) columns.push_back(&column);
    }
    return columns;
  }
  std::vector<const Column*> columns;
  for (const Column& column : layout.columns())
    columns.push_back(&column);
  return columns;
}

bool Choice::LeadsToChosen(TableView table, int col) const {
  for (int row = 0; row < table.rows(); ++row) {
    if (tables_with_chosen_.count(ChildOf(table, row, col).get()) != 0) return true;
  }
  return false;
}

Part Choice::Inside(Part part, const Column& column, TableView child) const {
  if (!child) return Part::kNone;
  if (part == Part::kAll || tables_with_chosen_.count(child.get()) != 0) return part;
  return IsChosen(column) ? Part::kAll : Part::kNone;
}

std::string Choice::MissingColumn() const {
  for (const std::string& wanted : view_.columns) {
    if (found_.count(wanted) == 0) return wanted;
  }
  return std::string();
}

void Choice::CollectNames(TableView table, std::unordered_set<const Layout*>* seen,
                          std::unordered_set<std::string_view>* known, std::vector<std::string>* names) {
  Layout& layout = LayoutOf(table);
  if (seen->insert(&layout).second) {
    for (const Column& column : layout.columns()) {
      if (known->insert(column.name).second) names->push_back(column.name);
    }
  }
  for (const int col : layout.tables()) {
    for (int row = 0; row < table.rows(); ++row) {
      if (const TableView child = ChildOf(table, row, col)) CollectNames(child, seen, known, names);
    }
  }
}

std::vector<std::string> Choice::AllColumnNames(TableView table) {
  std::unordered_set<const Layout*> seen;
  std::unordered_set<std::string_view> known;
  std::vector<std::string> names;
  CollectNames(table, &seen, &known, &names);
  return names;
}

TableView Choice::TableAt(TableView root, std::string* error) {
  TableView table = root;
  std::string done;
  std::string_view rest = view_.path;
  while (!rest.empty() && table) {
    const size_t slash = rest.find('/');
    const std::string_view number = rest.substr(0, slash);
    if (number == "*") {
      *error = fmt::format("path \"{}\" is that of several tables; take the number of a row for the *",
                           view_.path);
      return TableView();
    }
    if (slash == std::string_view::npos) {
      *error = fmt::format("path \"{}\" is not row/column, as in 0/Data", view_.path);
      return TableView();
    }
    rest.remove_prefix(slash + 1);
    const std::string_view name = rest.substr(0, rest.find('/'));
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    table = Descend(table, number, name, &done, error);
  }
  return table;
}

// One step of a path; `done` is the path so far.
TableView Choice::Descend(TableView table, std::string_view number, std::string_view name, std::string* done,
                          std::string* error) {
  int row = -1;
  const auto [end, failure] = std::from_chars(number.data(), number.data() + number.size(), row);
  if (failure != std::errc() || end != number.data() + number.size()) {
    *error = fmt::format("path \"{}\" is not row/column, as in 0/Data", view_.path);
    return TableView();
  }
  if (row < 0 || row >= table.rows()) {
    *error = fmt::format("path \"{}\": row {} is not there; the table{} has {} rows", view_.path, row,
                         done->empty() ? "" : " at " + *done, table.rows());
    return TableView();
  }
  if (kept_ != nullptr && !kept_->IsKept(table, row)) return TableView();
  Layout& layout = LayoutOf(table);
  const auto& columns = layout.columns();
  const auto column =
      std::find_if(columns.begin(), columns.end(), [&](const Column& c) { return c.name == name; });
  if (column == columns.end() || !column->is_table()) {
    *error =
        fmt::format("path \"{}\": \"{}\" is no column of tables; {}", view_.path, name, PathsBelow(&layout));
    return TableView();
  }
  *done += fmt::format("{}{}/{}", done->empty() ? "" : "/", row, name);
  const TableView child = ChildOf(table, row, column->index);
  if (!child) *error = fmt::format("path \"{}\": the cell {} is empty", view_.path, *done);
  return child;
}

}  // namespace tesview
