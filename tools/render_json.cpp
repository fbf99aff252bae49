#include <algorithm>
#include <map>

#include "tools/encodings.h"
#include "tools/render.h"
#include "tools/text.h"

namespace tesview {
namespace {

// More Ids than have a table; the count is bounded as a hostile stream may have any Id.
constexpr size_t kMostPlans = 64;

void AppendList(std::string* to, const void* table, int row, const Column& column) {
  *to += '[';
  for (int i = 0; i < column.count; ++i) {
    if (i != 0) *to += ',';
    AppendJsonNumber(to, table, row, column, i);
  }
  *to += ']';
}

void AppendText(std::string* to, const char* cell) {
  const std::string_view text = cell == nullptr ? "" : cell;
  if (AppendPlainJsonString(to, text)) return;
  AppendJsonString(to, CellTextToUtf8(text));
}

// A cell that holds no table.
void AppendCell(std::string* to, const void* table, int row, const Column& column) {
  if (table_is_set(table, row, column.index) == 0) {
    *to += "null";
  } else if (column.counted) {
    AppendList(to, table, row, column);
  } else if (column.type == kText) {
    AppendText(to, table_get_str(table, row, column.index));
  } else if (column.type == kBinary) {
    AppendJsonString(to, EncodeBase64(BinaryOf(table, row, column)));
  } else {
    AppendJsonNumber(to, table, row, column, 0);
  }
}

// The columns of the tables at one place of the nesting, with their keys ready to be written. Kept from one
// table to the next, as most tables at a place are alike.
struct Plan {
  std::vector<Column> columns;
  std::vector<Column> shown;
  std::vector<std::string> keys;  // ",\"Data.ShiJian\":"
  std::vector<Plan> inner;
  bool has_tables = false;

  void Make(const View& view, void* table, const std::string& prefix) {
    columns = ColumnsOf(table);
    shown = view.columns.empty() ? columns : ColumnsShown(view, table);
    keys.clear();
    inner.clear();
    inner.resize(shown.size());
    has_tables = false;
    for (const Column& column : shown) {
      std::string key = ",";
      AppendJsonString(&key, prefix + column.name);
      keys.push_back(key + ":");
      has_tables = has_tables || column.type == kTable;
    }
  }
};

// Without the quotes.
std::string EscapedInJson(const std::string& text) {
  std::string quoted;
  AppendJsonString(&quoted, text);
  return quoted.substr(1, quoted.size() - 2);
}

class Lines {
 public:
  // `origin` begins each line.
  Lines(const View& view, const std::string& origin, std::string* out)
      : view_(view), origin_(origin), out_(out) {}

  // `outer` is what the lines of this table carry of the rows around it, `place` the path of the table.
  void Table(void* table, Plan* plan, const std::string& prefix, const std::string& outer,
             const std::string& place) {
    if (plan->columns.empty() || !view_.columns.empty() || !HasColumns(table, plan->columns)) {
      plan->Make(view_, table, prefix);
    }
    const auto [from, to] = RowsShown(view_, table);
    for (int row = from; row < to; ++row) {
      if (plan->has_tables) {
        RowWithTables(table, plan, prefix, outer, place, row);
      } else {
        Begin(place, row);
        *out_ += outer;
        Cells(out_, table, *plan, row);
        *out_ += "}\n";
        CheckSize(*out_);
      }
    }
  }

 private:
  void Begin(const std::string& place, int row) {
    *out_ += '{';
    *out_ += origin_;
    *out_ += ",\"_row\":\"";
    *out_ += place;
    const fmt::format_int number(row);
    out_->append(number.data(), number.size());
    *out_ += '"';
  }

  static void Cells(std::string* to, const void* table, const Plan& plan, int row) {
    for (size_t c = 0; c < plan.shown.size(); ++c) {
      if (plan.shown[c].type == kTable) continue;
      *to += plan.keys[c];
      AppendCell(to, table, row, plan.shown[c]);
    }
  }

  void RowWithTables(void* table, Plan* plan, const std::string& prefix, const std::string& outer,
                     const std::string& place, int row) {
    std::string cells = outer;
    Cells(&cells, table, *plan, row);
    if (InnerLines(table, plan, prefix, cells, place, row)) return;
    Begin(place, row);
    *out_ += cells;
    Empties(table, *plan, row);
    *out_ += "}\n";
    CheckSize(*out_);
  }

  // False if there is no row in any table of this row.
  bool InnerLines(void* table, Plan* plan, const std::string& prefix, const std::string& cells,
                  const std::string& place, int row) {
    const size_t before = out_->size();
    for (size_t c = 0; c < plan->shown.size(); ++c) {
      const Column& column = plan->shown[c];
      if (column.type != kTable) continue;
      void* child = table_get_table(table, row, column.index);
      if (child == nullptr || (!view_.columns.empty() && !HasChosen(view_, child))) continue;
      const std::string inner_place = fmt::format("{}{}/{}/", place, row, column.name);
      Table(child, &plan->inner[c], prefix + column.name + ".", cells, EscapedInJson(inner_place));
    }
    return out_->size() != before;
  }

  void Empties(const void* table, const Plan& plan, int row) {
    for (size_t c = 0; c < plan.shown.size(); ++c) {
      if (plan.shown[c].type != kTable) continue;
      *out_ += plan.keys[c];
      *out_ += table_is_set(table, row, plan.shown[c].index) != 0 ? "[]" : "null";
    }
  }

  const View& view_;
  const std::string& origin_;
  std::string* out_;
};

std::string Origin(const Item& item, int32_t id) {
  std::string text;
  if (item.name_source) {
    text += "\"_file\":";
    AppendJsonString(&text, item.source);
    text += ',';
  }
  if (item.number_reply) text += fmt::format("\"_reply\":{},", item.reply.number);
  return text + fmt::format("\"_id\":{}", id);
}

size_t StringEnd(std::string_view json, size_t begin) {
  size_t end = begin + 1;
  while (end < json.size() && json[end] != '"')
    end += json[end] == '\\' ? 2U : 1U;
  return std::min(end + 1, json.size());
}

}  // namespace

void RenderNdjson(const View& view, const Item& item, int32_t id, void* table, std::string* out) {
  // Replies of one Id mostly have the same columns; what a plan does not fit is noticed and planned anew.
  thread_local std::map<int32_t, Plan> plans;
  if (!view.columns.empty() || plans.size() > kMostPlans) plans.clear();
  const std::string origin = Origin(item, id);
  Lines(view, origin, out)
      .Table(table, &plans[id], "", "", view.path.empty() ? "" : EscapedInJson(view.path + "/"));
}

void RenderNdjsonWhole(const Item& item, int32_t id, const std::string& json, std::string* out) {
  *out += "{" + Origin(item, id) + ",\"_row\":null,\"_json\":" + json + "}\n";
}

std::string PrettyJson(std::string_view json, bool color) {
  const Style style{color};
  std::string out;
  size_t depth = 0;
  const auto new_line = [&out, &depth] { out.append("\n").append(depth * 2, ' '); };
  for (size_t i = 0; i < json.size();) {
    const char c = json[i];
    if (c == '"') {
      const size_t end = StringEnd(json, i);
      const std::string_view text = json.substr(i, end - i);
      const bool key = end < json.size() && json[end] == ':';
      out += key ? style.Cyan(text) : std::string(text);
      i = end;
      continue;
    }
    ++i;
    if (c == ' ') continue;
    if ((c == '{' || c == '[') && i < json.size() && (json[i] == '}' || json[i] == ']')) {
      out += c;
      out += json[i++];
    } else if (c == '{' || c == '[') {
      out += c;
      ++depth;
      new_line();
    } else if (c == '}' || c == ']') {
      if (depth > 0) --depth;
      new_line();
      out += c;
    } else if (c == ',') {
      out += c;
      new_line();
    } else {
      out += c;
      if (c == ':') out += ' ';
    }
  }
  return out + "\n";
}

}  // namespace tesview
