#include "tesview/show/choose.h"

#include <fmt/format.h>

#include <algorithm>

#include "replies/column_names.h"
#include "replies/words.h"
#include "tesview/show/cells.h"
#include "tesview/show/limits.h"

namespace tesview {

using replies::WholeNumber;
using tsl_base::TableView;

namespace {

// The columns that a path goes on by, for an error message.
std::string PathsBelow(Layout* layout) {
  std::string names;
  for (const int col : layout->tables())
    names += (names.empty() ? "" : ", ") + layout->columns()[static_cast<size_t>(col)].name;
  return names.empty() ? "there are no tables in this one" : "columns with tables: " + names;
}

std::string NoTables(std::string_view path, std::string_view name, Layout* layout) {
  return fmt::format("path \"{}\": \"{}\" is no column of tables; {}", path, name, PathsBelow(layout));
}

bool IsRowNumber(std::string_view word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool IsAskedBy(std::string_view name, const Column& column) {
  return replies::IsNameOf(name, column.name, static_cast<size_t>(column.index), column.count);
}

bool Contains(const std::vector<const Column*>& columns, const Column& column) {
  return std::find(columns.begin(), columns.end(), &column) != columns.end();
}

}  // namespace

Choice::Choice(const View& view, const TableKind& kind, const KeptRows* kept)
    : view_(view), kept_(kept), layouts_(kind), found_(view.columns.size(), false) {}

void Choice::Take(TableView table) {
  for (const std::string& name : view_.columns)
    root_.asked.push_back({root_.asked.size(), name, false});
  if (whole() == Part::kChosen) FindChosen(table, &root_);
  CountCells(table, 0);
}

RowList Choice::Rows(TableView table) const {
  const std::vector<int>* kept = kept_->Of(table);
  const int rows = kept == nullptr ? table.rows() : static_cast<int>(kept->size());
  if (view_.head >= 0) return {kept, 0, static_cast<int>(std::min<int64_t>(rows, view_.head))};
  if (view_.tail >= 0) return {kept, static_cast<int>(rows - std::min<int64_t>(rows, view_.tail)), rows};
  return {kept, 0, rows};
}

Choice::Chosen& Choice::ChosenOf(Layout* layout, Place* place) {
  const auto [at, is_new] = place->chosen.try_emplace(layout);
  Chosen& chosen = at->second;
  if (!is_new) return chosen;
  chosen.inside.resize(layout->tables().size());
  if (place->lead < lead_.size()) {
    ChooseLead(*layout, layout->columns(), *place, &chosen);
  } else {
    ChooseColumns(*layout, layout->columns(), *place, &chosen);
  }
  return chosen;
}

// On the way to the tables that the path names.
void Choice::ChooseLead(const Layout& layout, const std::vector<Column>& columns, const Place& place,
                        Chosen* chosen) {
  const bool last = place.lead + 1 == lead_.size();
  for (size_t i = 0; i < layout.tables().size(); ++i) {
    const Column& column = columns[static_cast<size_t>(layout.tables()[i])];
    if (!IsAskedBy(lead_[place.lead], column)) continue;
    found_lead_ = found_lead_ || last;
    if (last && place.asked.empty()) chosen->columns.push_back(&column);
    chosen->inside[i] = std::make_unique<Place>();
    chosen->inside[i]->lead = place.lead + 1;
    chosen->inside[i]->asked = place.asked;
  }
}

void Choice::ChooseColumns(const Layout& layout, const std::vector<Column>& columns, const Place& place,
                           Chosen* chosen) {
  for (const Asked& asked : place.asked) {
    for (const Column& column : columns) {
      if (!IsAskedBy(asked.name, column)) continue;
      found_[asked.order] = true;
      if (!Contains(chosen->columns, column)) chosen->columns.push_back(&column);
    }
  }
  for (size_t i = 0; i < layout.tables().size(); ++i) {
    const Column& column = columns[static_cast<size_t>(layout.tables()[i])];
    chosen->inside[i] = std::make_unique<Place>();
    chosen->inside[i]->lead = place.lead;
    for (const Asked& asked : place.asked) {
      const std::string_view rest = replies::NameInside(asked.name, column.name);
      if (!rest.empty()) chosen->inside[i]->asked.push_back({asked.order, rest, true});
      if (!asked.only_here) chosen->inside[i]->asked.push_back(asked);
    }
  }
}

bool Choice::FindChosen(TableView table, Place* place) {
  Layout& layout = LayoutOf(table);
  const Chosen& chosen = ChosenOf(&layout, place);
  chosen_.emplace(table.get(), &chosen);
  bool has = !chosen.columns.empty();
  visited_ += static_cast<uint64_t>(table.rows()) * layout.tables().size();
  CheckCount(visited_);
  for (size_t i = 0; i < layout.tables().size(); ++i) {
    if (chosen.inside[i] == nullptr) continue;
    const int col = layout.tables()[i];
    const bool is_chosen = Contains(chosen.columns, layout.columns()[static_cast<size_t>(col)]);
    for (int row = 0; row < table.rows(); ++row) {
      const TableView child = ChildOf(table, row, col);
      if (!child) continue;
      if (is_chosen) in_chosen_.insert(child.get());
      if (FindChosen(child, chosen.inside[i].get())) has = true;
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
  cells_ += static_cast<uint64_t>(rows.size()) * (whole() == Part::kAll ? columns + outer : 1);
  CheckCount(cells_);
  for (const int col : layout.tables()) {
    for (const int row : rows) {
      if (const TableView child = ChildOf(table, row, col)) CountCells(child, outer + columns);
    }
  }
}

std::vector<const Column*> Choice::Columns(TableView table, Part part) {
  Layout& layout = LayoutOf(table);
  const auto walked = chosen_.find(table.get());
  if (part == Part::kChosen && walked != chosen_.end()) {
    std::vector<const Column*> columns = walked->second->columns;
    for (const int col : layout.tables()) {
      const Column& column = layout.columns()[static_cast<size_t>(col)];
      if (!Contains(columns, column) && LeadsToChosen(table, col)) columns.push_back(&column);
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

Part Choice::Inside(Part part, TableView child) const {
  if (!child) return Part::kNone;
  if (part == Part::kAll || tables_with_chosen_.count(child.get()) != 0) return part;
  return in_chosen_.count(child.get()) != 0 ? Part::kAll : Part::kNone;
}

std::string Choice::MissingColumn() const {
  const auto missing = std::find(found_.begin(), found_.end(), false);
  return missing == found_.end() ? std::string()
                                 : view_.columns[static_cast<size_t>(missing - found_.begin())];
}

std::string Choice::MissingPath(TableView table) {
  if (lead_.empty() || found_lead_) return std::string();
  Layout& layout = LayoutOf(table);
  const Column* first = FindColumn(layout.columns(), lead_[0]);
  if (first == nullptr || !first->is_table()) return NoTables(view_.path, lead_[0], &layout);
  return fmt::format("path \"{}\" leads to no table", view_.path);
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
  std::string_view rest = view_.path;
  while (!rest.empty() && table) {
    const std::string_view number = rest.substr(0, rest.find('/'));
    if (!IsRowNumber(number)) return TakeLead(rest, error) ? table : TableView();
    if (number.size() == rest.size()) {
      *error = fmt::format("path \"{}\" is not row/column, as in 0/Data", view_.path);
      return TableView();
    }
    rest.remove_prefix(number.size() + 1);
    const std::string_view name = rest.substr(0, rest.find('/'));
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    table = Descend(table, number, name, error);
  }
  return table;
}

// The names of columns that the path ends with, each with a * before it or without: the tables of all rows.
bool Choice::TakeLead(std::string_view names, std::string* error) {
  while (!names.empty()) {
    const std::string_view name = names.substr(0, names.find('/'));
    names.remove_prefix(std::min(name.size() + 1, names.size()));
    if (name == "*" && !names.empty()) continue;
    if (name == "*" || name.empty() || (IsRowNumber(name) && !names.empty())) {
      *error = fmt::format(
          "path \"{}\": a * or a name stands for all rows; numbers of rows go before it, and a "
          "name ends it",
          view_.path);
      return false;
    }
    lead_.push_back(name);
  }
  return true;
}

// One step of a path.
TableView Choice::Descend(TableView table, std::string_view number, std::string_view name,
                          std::string* error) {
  const auto row = WholeNumber<int>(number);
  if (!row || *row >= table.rows()) {
    *error = fmt::format("path \"{}\": row {} is not there; the table{} has {} rows", view_.path, number,
                         base_.empty() ? "" : " at " + base_, table.rows());
    return TableView();
  }
  if (!kept_->IsKept(table, *row)) return TableView();
  Layout& layout = LayoutOf(table);
  const Column* column = FindColumn(layout.columns(), name);
  if (column == nullptr || !column->is_table()) {
    *error = NoTables(view_.path, name, &layout);
    return TableView();
  }
  base_ += fmt::format("{}{}/{}", base_.empty() ? "" : "/", number, name);
  const TableView child = ChildOf(table, *row, column->index);
  if (!child) *error = fmt::format("path \"{}\": the cell {} is empty", view_.path, base_);
  return child;
}

}  // namespace tesview
