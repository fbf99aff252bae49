// The forms of output. All functions are pure: a table or a text in, text out.
#ifndef TESVIEW_SHOW_CHOOSE_H_
#define TESVIEW_SHOW_CHOOSE_H_

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tesview/show/table.h"
#include "tesview/show/view.h"

namespace tesview {

// A reply can announce far more cells than it has bytes, and text that is repeated or padded grows without
// bound. What would come out larger than this is not shown at all.
constexpr uint64_t kMostCells = 10'000'000;
constexpr size_t kMostOutput = size_t{512} * 1024 * 1024;

class TooMuch : public std::exception {};

inline void CheckSize(size_t out) {
  if (out > kMostOutput) throw TooMuch();
}

// The cells of all lines that the table gives; throws TooMuch.
void CheckCells(const View& view, void* table);

// ---- choosing (choose.cpp) ----

// The rows of a table that --head and --tail leave.
std::pair<int, int> RowsShown(const View& view, const void* table);

// The table at a path, "0/Data/1/Inner"; null and why in `error` if there is none.
void* TableAt(void* root, const std::string& path, std::string* error);

// The columns that --columns leaves, in the order asked for; a column of tables stays where a table in it has
// one of those that were asked for.
std::vector<Column> ColumnsShown(const View& view, void* table);

// Whether the table, or one inside it, has one of the columns that were asked for.
bool HasChosen(const View& view, void* table);

// What is chosen of a table in this column, null if it is not shown. A column of tables that was asked for
// shows the whole of those in which no column was asked for. `all` is the view without a choice of columns.
const View* ViewInside(const View& view, const View& all, const Column& column, void* child);
View WithAllColumns(View view);

// The first column that was asked for and is nowhere in the table; empty if all are there.
std::string MissingColumn(const View& view, void* table);

// All names of columns in the table and inside it.
std::vector<std::string> AllColumnNames(void* table);

// ---- forms ----

// For people: the table, then the tables inside it, indented and each under its path.
std::string RenderTable(const View& view, void* table);

// One object a line. A row with tables inside gives one line for each of their rows, which repeats the outer
// cells.
void RenderNdjson(const View& view, const Item& item, int32_t id, void* table, std::string* out);
// A reply without a table, as JSON under the key "_json".
void RenderNdjsonWhole(const Item& item, int32_t id, const std::string& json, std::string* out);

// The same lines as comma-separated values, with a header.
void RenderCsv(const View& view, const Item& item, void* table, std::string* header, std::string* out);

// JSON of one line spread over many. The text of numbers and strings stays as it is.
std::string PrettyJson(std::string_view json, bool color);

// One line of figures.
std::string SummaryHeader(const Item& item);
std::string RenderSummary(const View& view, const Item& item, int32_t id);

// ---- shared ----

struct Style {
  bool color;
  std::string Bold(std::string_view text) const { return Wrap("1", text); }
  std::string Dim(std::string_view text) const { return Wrap("2", text); }
  std::string Cyan(std::string_view text) const { return Wrap("36", text); }

 private:
  std::string Wrap(std::string_view code, std::string_view text) const {
    return color ? fmt::format("\x1b[{}m{}\x1b[0m", code, text) : std::string(text);
  }
};

}  // namespace tesview

#endif  // TESVIEW_SHOW_CHOOSE_H_
