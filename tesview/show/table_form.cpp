#include "tesview/show/table_form.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "replies/encodings.h"
#include "replies/text.h"
#include "tesview/show/cells.h"
#include "tesview/show/limits.h"
#include "tesview/show/style.h"

namespace tesview {

using replies::CutToWidth;
using replies::DisplayWidth;
using replies::EncodeHex;
using replies::Printable;
using replies::ToUtf8;
using tsl_base::TableView;
using tsl_base::Type;

namespace {

// On a screen, texts, lists and bytes may be cut, but to no less than this to make room for other columns.
constexpr size_t kRoomForText = 40;
// And to no less than this in any case.
constexpr size_t kLeastText = 8;
constexpr size_t kBinaryBytesShown = 16;
// Of a line that names the columns that did not fit.
constexpr size_t kMostNoteLines = 12;
constexpr std::string_view kUnset = "\xC2\xB7";  // a middle dot
constexpr std::string_view kEmptyText = "''";
constexpr std::string_view kTimes = " \xC3\x97 ";

struct Cell {
  std::string text;
  bool dim = false;
  // Of a number, the columns from its point on, so that points are below each other.
  size_t fraction = 0;
};

struct GridColumn {
  std::string name;     // by which it is asked for
  std::string heading;  // which is shown
  bool right = false;
  bool keep = false;  // never cut off
  std::vector<Cell> cells;
  size_t widest = 0;  // of its cells and its name
  size_t width = 0;   // as it is shown
};

struct Grid {
  std::vector<GridColumn> columns;
  size_t rows = 0;
};

std::string ListText(TableView table, int row, const Column& column) {
  std::string text = "[";
  const void* numbers = NumbersOf(table, row, column);
  for (int i = 0; i < column.count; ++i) {
    if (i != 0) text += ", ";
    AppendRounded(&text, column, numbers, i);
  }
  return text + "]";
}

std::string BytesText(std::string_view bytes) {
  std::string text = fmt::format("{} byte{}", bytes.size(), bytes.size() == 1 ? "" : "s");
  if (bytes.empty()) return text;
  text += ": " + EncodeHex(bytes.substr(0, kBinaryBytesShown));
  if (bytes.size() > kBinaryBytesShown) text += "\xE2\x80\xA6";
  return text;
}

Cell TableCell(TableView table, int row, const Column& column) {
  const TableView child = ChildOf(table, row, column.index);
  if (!child) return {"(empty)", true};
  return {fmt::format("{}{}{}", child.rows(), kTimes, child.cols()), true};
}

Cell NumberCell(TableView table, int row, const Column& column) {
  // A mask of columns says more by its digits than by its value.
  if (column.name == "HasBits" && column.type == Type::kInt64) {
    return {fmt::format("{:#x}", static_cast<uint64_t>(table_get_int64(table.get(), row, column.index)))};
  }
  Cell cell;
  AppendRounded(&cell.text, column, NumbersOf(table, row, column), 0);
  const size_t point = cell.text.find('.');
  if (point != std::string::npos) cell.fraction = cell.text.size() - point;
  return cell;
}

Cell CellOf(TableView table, int row, const Column& column) {
  if (!table.is_set(row, column.index)) return {std::string(kUnset), true};
  if (column.counted) return {ListText(table, row, column)};
  switch (column.type) {
    case Type::kText: {
      const char* text = TextOf(table, row, column);
      if (*text == '\0') return {std::string(kEmptyText), true};
      return {Printable(ToUtf8(text))};
    }
    case Type::kBinary: return {BytesText(BinaryOf(table, row, column))};
    case Type::kTable: return TableCell(table, row, column);
    default: return NumberCell(table, row, column);
  }
}

// ---- layout ----

void PutPointsBelowEachOther(GridColumn* column) {
  size_t most = 0;
  for (const Cell& cell : column->cells)
    most = std::max(most, cell.fraction);
  for (Cell& cell : column->cells)
    cell.text.append(most - cell.fraction, ' ');
}

void MeasureColumn(GridColumn* column) {
  if (column->right) PutPointsBelowEachOther(column);
  column->widest = DisplayWidth(column->heading);
  for (const Cell& cell : column->cells)
    column->widest = std::max(column->widest, DisplayWidth(cell.text));
}

// Where all that is no number is cut to `limit`.
size_t WidthAt(const GridColumn& column, size_t limit) {
  return column.right ? column.widest : std::min(column.widest, limit);
}

GridColumn RowNumbers(const std::vector<std::string>& labels) {
  GridColumn column;
  column.heading = "#";
  column.right = true;
  column.keep = true;
  for (const std::string& label : labels)
    column.cells.push_back({label, true});
  return column;
}

// What is between columns, and around them with boxes.
size_t Overhead(const View& view, size_t columns) {
  return view.boxes ? columns * 3 + 1 : (columns - 1) * 2;
}

size_t TotalWidth(const View& view, const Grid& grid, size_t limit) {
  size_t width = Overhead(view, grid.columns.size());
  for (const GridColumn& column : grid.columns)
    width += WidthAt(column, limit);
  return width;
}

// The longest that cells can be for the grid to fit.
size_t LimitFor(const View& view, const Grid& grid, size_t room) {
  size_t most = kLeastText;
  for (const GridColumn& column : grid.columns)
    most = std::max(most, column.widest);
  size_t least = kLeastText;
  while (least < most) {
    const size_t middle = least + (most - least + 1) / 2;
    if (TotalWidth(view, grid, middle) <= room) {
      least = middle;
    } else {
      most = middle - 1;
    }
  }
  return least;
}

void CutCells(Grid* grid, size_t limit) {
  for (GridColumn& column : grid->columns) {
    column.width = WidthAt(column, limit);
    if (column.right || column.widest <= limit) continue;
    column.heading = CutToWidth(column.heading, limit);
    for (Cell& cell : column.cells)
      cell.text = CutToWidth(cell.text, limit);
  }
}

// Cuts columns from the right until the rest fits; the row number and the first column stay.
std::vector<std::string> CutColumns(const View& view, size_t room, Grid* grid) {
  std::vector<std::string> cut;
  while (grid->columns.size() > 2 && TotalWidth(view, *grid, kRoomForText) > room) {
    cut.insert(cut.begin(), grid->columns.back().name);
    grid->columns.pop_back();
  }
  return cut;
}

std::string Aligned(const GridColumn& column, const std::string& text, const std::string& styled, bool last) {
  const size_t width = DisplayWidth(text);
  const std::string blanks(column.width > width ? column.width - width : 0, ' ');
  if (column.right) return blanks + styled;
  return last ? styled : styled + blanks;
}

std::string Rule(const View& view, const Grid& grid, size_t indent, const std::string& left,
                 const std::string& middle, const std::string& right) {
  const Style style{view.color};
  std::string line;
  for (const GridColumn& column : grid.columns) {
    line += line.empty() ? left : middle;
    for (size_t i = 0; i < column.width + 2; ++i)
      line += "\xE2\x94\x80";
  }
  return std::string(indent, ' ') + style.Dim(line + right) + "\n";
}

std::string GridRow(const View& view, const Grid& grid, size_t indent, const std::vector<std::string>& cells,
                    const std::vector<std::string>& styled) {
  const Style style{view.color};
  const std::string bar = style.Dim("\xE2\x94\x82");
  std::string line(indent, ' ');
  for (size_t c = 0; c < cells.size(); ++c) {
    const bool last = c + 1 == cells.size() && !view.boxes;
    if (view.boxes) {
      line += (c == 0 ? "" : " ") + bar + " ";
    } else if (c != 0) {
      line += "  ";
    }
    line += Aligned(grid.columns[c], cells[c], styled[c], last);
  }
  if (view.boxes) line += " " + bar;
  // Padding behind the point of the last number.
  while (!view.boxes && !line.empty() && line.back() == ' ')
    line.pop_back();
  return line + "\n";
}

std::string GridText(const View& view, const Grid& grid, size_t indent) {
  const Style style{view.color};
  std::vector<std::string> cells;
  std::vector<std::string> styled;
  for (const GridColumn& column : grid.columns) {
    cells.push_back(column.heading);
    styled.push_back(style.Bold(column.heading));
  }
  std::string text;
  if (view.boxes) text += Rule(view, grid, indent, "\xE2\x94\x8C", "\xE2\x94\xAC", "\xE2\x94\x90");
  text += GridRow(view, grid, indent, cells, styled);
  if (view.boxes) text += Rule(view, grid, indent, "\xE2\x94\x9C", "\xE2\x94\xBC", "\xE2\x94\xA4");
  for (size_t r = 0; r < grid.rows; ++r) {
    for (size_t c = 0; c < grid.columns.size(); ++c) {
      const Cell& cell = grid.columns[c].cells[r];
      cells[c] = cell.text;
      styled[c] = cell.dim ? style.Dim(cell.text) : cell.text;
    }
    text += GridRow(view, grid, indent, cells, styled);
    CheckSize(text.size());
  }
  if (view.boxes) text += Rule(view, grid, indent, "\xE2\x94\x94", "\xE2\x94\xB4", "\xE2\x94\x98");
  return text;
}

// A single row that is too wide, turned on its side.
Grid Turned(const Grid& grid) {
  Grid turned;
  turned.columns.resize(2);
  turned.columns[0].heading = "column";
  turned.columns[1].heading = "value";
  for (const GridColumn& column : grid.columns) {
    if (column.keep) continue;
    turned.columns[0].cells.push_back({column.heading});
    Cell cell = column.cells[0];
    while (!cell.text.empty() && cell.text.back() == ' ')
      cell.text.pop_back();
    turned.columns[1].cells.push_back(cell);
  }
  turned.rows = turned.columns[0].cells.size();
  for (GridColumn& column : turned.columns)
    MeasureColumn(&column);
  return turned;
}

// Words over as many lines as they take, up to kMostNoteLines.
std::vector<std::string> NoteLines(std::string_view note, size_t width) {
  std::vector<std::string> lines(1);
  while (!note.empty()) {
    const size_t end = std::min(note.find(' '), note.size());
    const std::string_view word = note.substr(0, end);
    note.remove_prefix(std::min(end + 1, note.size()));
    std::string& line = lines.back();
    if (line.empty() || DisplayWidth(line) + 1 + DisplayWidth(word) <= width) {
      line.append(line.empty() ? "" : " ").append(word);
    } else if (lines.size() == kMostNoteLines) {
      line.append(" ").append(word);
      break;
    } else {
      lines.emplace_back(word);
    }
  }
  for (std::string& line : lines)
    line = CutToWidth(line, width);
  return lines;
}

// `told` are the columns that the last note named: the same ones are not named again.
std::string CutNote(const View& view, const std::vector<std::string>& cut, size_t indent,
                    std::vector<std::string>* told) {
  std::string note =
      fmt::format("{} more {} not fit", cut.size(), cut.size() == 1 ? "column does" : "columns do");
  if (cut != *told) {
    note += " (--columns, --width 0): ";
    for (const std::string& name : cut)
      note += (&name == &cut[0] ? "" : ", ") + name;
  }
  *told = cut;
  std::string text;
  for (const std::string& line : NoteLines(note, view.width - std::min(indent, view.width)))
    text += std::string(indent, ' ') + Style{view.color}.Dim(line) + "\n";
  return text;
}

std::string FitAndPrint(const View& view, Grid grid, size_t indent, std::vector<std::string>* told) {
  for (GridColumn& column : grid.columns)
    MeasureColumn(&column);
  std::vector<std::string> cut;
  size_t limit = std::numeric_limits<size_t>::max();
  if (view.width != 0) {
    const size_t room = view.width - std::min(indent, view.width);
    const bool fits = TotalWidth(view, grid, kRoomForText) <= room;
    if (!fits && grid.rows == 1) {
      grid = Turned(grid);
    } else if (!fits) {
      cut = CutColumns(view, room, &grid);
    }
    limit = LimitFor(view, grid, room);
  }
  CutCells(&grid, limit);
  const std::string text = GridText(view, grid, indent);
  return cut.empty() ? text : text + CutNote(view, cut, indent, told);
}

// ---- tables inside tables ----

// Rows of tables with the same columns, one below the other.
struct Block {
  std::vector<const Column*> columns;
  std::vector<std::string> labels;
  std::vector<std::pair<TableView, int>> rows;
};

std::string HeadingOf(const View& view, const Column& column, const std::string& name) {
  if (view.header == Header::kName || column.told == nullptr) return name;
  const replies::Told& heading =
      view.header == Header::kEnglish ? column.told->english : column.told->chinese;
  return std::string(heading.text);
}

std::string BlockText(const View& view, const Block& block, size_t indent, std::vector<std::string>* told) {
  Grid grid;
  grid.rows = block.rows.size();
  grid.columns.push_back(RowNumbers(block.labels));
  for (const Column* column : block.columns) {
    GridColumn shown;
    shown.name = Printable(column->name) + (column->counted ? fmt::format("[{}]", column->count) : "");
    shown.heading = HeadingOf(view, *column, shown.name);
    shown.right = column->is_number() && !column->counted;
    for (const auto& [table, row] : block.rows)
      shown.cells.push_back(CellOf(table, row, *column));
    grid.columns.push_back(std::move(shown));
  }
  return FitAndPrint(view, std::move(grid), indent, told);
}

// What names a row: the first text in it.
std::string RowCaption(TableView table, int row, const std::vector<Column>& columns) {
  for (const Column& column : columns) {
    if (column.type != Type::kText) continue;
    const char* text = TextOf(table, row, column);
    if (text != nullptr && *text != '\0') return CutToWidth(Printable(ToUtf8(text)), kRoomForText);
  }
  return std::string();
}

std::string RowsAndName(TableView table) {
  const int rows = table.rows();
  const std::string name = Printable(ToUtf8(table.name()));
  return fmt::format("{} {}{}", rows, rows == 1 ? "row" : "rows", name.empty() ? "" : ", named " + name);
}

class TableForm {
 public:
  TableForm(const View& view, Choice* choice) : view_(view), choice_(choice), style_{view.color} {}

  std::string Table(Part part, TableView table, const std::string& path, size_t indent) {
    Block block;
    block.columns = choice_->Columns(table, part);
    const RowList rows = choice_->Rows(table);
    for (const int row : rows) {
      block.labels.push_back(fmt::format("{}", row));
      block.rows.emplace_back(table, row);
    }
    std::string text = BlockText(view_, block, indent, &told_);
    text += Hidden(table, rows.size(), indent);
    for (const Column* column : block.columns) {
      if (!column->is_table()) continue;
      text += Inner(part, table, *column, path, indent + 2);
      CheckSize(text.size());
    }
    return text;
  }

 private:
  struct Child {
    int row;
    TableView table;
    Part part;
  };

  std::string Hidden(TableView table, int shown, size_t indent) {
    if (table.rows() == shown) return std::string();
    return std::string(indent, ' ') + style_.Dim(fmt::format("{} of {} rows", shown, table.rows())) + "\n";
  }

  // Tables of one row each with the same columns read better as one.
  bool Alike(const std::vector<Child>& children) {
    if (children.size() < 2) return false;
    Layout& first = choice_->LayoutOf(children[0].table);
    return first.tables().empty() && std::all_of(children.begin(), children.end(), [&](const Child& child) {
             return child.part == children[0].part && child.table.rows() == 1 &&
                    choice_->Rows(child.table).size() == 1 && choice_->LayoutOf(child.table).IsLike(&first);
           });
  }

  std::string Inner(Part part, TableView table, const Column& column, const std::string& path,
                    size_t indent) {
    std::vector<Child> children;
    const RowList rows = choice_->Rows(table);
    for (const int row : rows) {
      const TableView child = ChildOf(table, row, column.index);
      const Part inside = choice_->Inside(part, child);
      if (inside != Part::kNone) children.push_back({row, child, inside});
    }
    if (Alike(children)) return Joined(children, path + "*/" + column.name, indent);
    std::string text;
    for (const Child& child : children) {
      const std::string here = fmt::format("{}{}/{}", path, child.row, column.name);
      const std::string caption = RowCaption(table, child.row, choice_->LayoutOf(table).columns());
      text += Heading(here, caption, RowsAndName(child.table), indent);
      text += Table(child.part, child.table, here + "/", indent);
      CheckSize(text.size());
    }
    return text;
  }

  std::string Joined(const std::vector<Child>& children, const std::string& path, size_t indent) {
    Block block;
    block.columns = choice_->Columns(children[0].table, children[0].part);
    for (const Child& child : children) {
      block.labels.push_back(fmt::format("{}", child.row));
      block.rows.emplace_back(child.table, 0);
    }
    return Heading(path, "", "1 row each", indent) + BlockText(view_, block, indent, &told_);
  }

  std::string Heading(const std::string& path, const std::string& caption, const std::string& size,
                      size_t indent) {
    return "\n" + std::string(indent, ' ') + style_.Cyan(Printable(path)) +
           (caption.empty() ? "" : "  " + style_.Bold(caption)) + "  " + style_.Dim(size) + "\n";
  }

  const View& view_;
  Choice* choice_;
  Style style_;
  std::vector<std::string> told_;  // the columns that the last note named
};

}  // namespace

std::string RenderTable(const View& view, Choice* choice, TableView table) {
  return TableForm(view, choice)
      .Table(choice->whole(), table, choice->base().empty() ? "" : choice->base() + "/", 0);
}

}  // namespace tesview
