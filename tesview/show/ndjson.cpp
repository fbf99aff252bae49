#include <algorithm>
#include <map>

#include "replies/encodings.h"
#include "replies/text.h"
#include "tesview/show/buffer.h"
#include "tesview/show/choose.h"

namespace tesview {

using replies::AppendJsonString;
using replies::CellTextToUtf8;
using replies::EncodeBase64;

namespace {

// More Ids than have a table; the count is bounded as a hostile stream may have any Id.
constexpr size_t kMostPlaces = 64;
// Layouts of one place that are kept; only wire tables have several.
constexpr size_t kMostPlans = 8;
// Room for lines that is kept from one reply to the next.
constexpr size_t kMostKept = size_t{1} << 20;

// What stands in a JSON string as it is.
constexpr bool IsPlain(unsigned char c) {
  return c >= 0x20 && c < 0x7F && c != '"' && c != '\\';
}

// Without the quotes.
std::string EscapedInJson(const std::string& text) {
  std::string quoted;
  AppendJsonString(&quoted, text);
  return quoted.substr(1, quoted.size() - 2);
}

struct Plan;

// The plans of the tables at one place of the nesting. Kept from one table to the next: most of them are
// alike, or of a few kinds.
class Place {
 public:
  explicit Place(std::string prefix);
  Plan* PlanOf(const View& view, void* table);

 private:
  std::string prefix_;  // of the keys, "Data."
  std::vector<Plan> plans_;
};

// The columns of a table, with their keys ready to be written.
struct Plan {
  std::vector<Column> columns;
  std::vector<Column> shown;
  std::vector<std::string> keys;   // ",\"Data.ShiJian\":"
  std::vector<std::string> paths;  // of columns of tables, as paths go on: "/Data/"
  std::vector<Place> inner;
  bool has_tables = false;
  bool all = true;  // no columns are left out
};

Place::Place(std::string prefix) : prefix_(std::move(prefix)) {}

Plan MakePlan(const View& view, void* table, const std::string& prefix) {
  Plan plan;
  plan.all = view.columns.empty();
  plan.columns = ColumnsOf(table);
  plan.shown = view.columns.empty() ? plan.columns : ColumnsShown(view, table);
  for (const Column& column : plan.shown) {
    std::string key = ",";
    AppendJsonString(&key, prefix + column.name);
    plan.keys.push_back(key + ":");
    plan.paths.push_back("/" + EscapedInJson(column.name) + "/");
    plan.inner.emplace_back(prefix + column.name + ".");
    plan.has_tables = plan.has_tables || column.type == kTable;
  }
  return plan;
}

Plan* Place::PlanOf(const View& view, void* table) {
  // What --columns leaves of a table depends on the tables in it: such a plan serves once.
  if (!view.columns.empty()) plans_.clear();
  const auto known = std::find_if(plans_.begin(), plans_.end(), [&](const Plan& plan) {
    return plan.all && HasColumns(table, plan.columns);
  });
  if (known != plans_.end()) return &*known;
  if (plans_.size() == kMostPlans) plans_.clear();
  plans_.push_back(MakePlan(view, table, prefix_));
  return &plans_.back();
}

class Lines {
 public:
  // `start` is what each line has up to the path of its row.
  Lines(const View& view, std::string_view start, std::string place, Buffer* out)
      : all_(WithAllColumns(view)), start_(start), place_(std::move(place)), out_(out) {}

  void Table(const View& view, void* table, Place* place) {
    Plan* plan = place->PlanOf(view, table);
    const auto [from, to] = RowsShown(view, table);
    for (int row = from; row < to; ++row) {
      if (plan->has_tables) {
        RowWithTables(view, table, plan, row);
      } else {
        Begin(row);
        Cells(out_, table, *plan, row);
        End();
      }
    }
  }

 private:
  // With the cells of the rows around this one.
  void Begin(int row) {
    const std::string_view outer = outer_.text();
    char* to = out_->Room(start_.size() + place_.size() + outer.size() + kNumberRoom);
    to = Buffer::Write(to, start_);
    to = Buffer::Write(to, place_);
    to = WriteInteger(to, static_cast<int64_t>(row));
    *to++ = '"';
    out_->Wrote(Buffer::Write(to, outer));
  }

  void End() {
    out_->Append("}\n");
    CheckSize(out_->size());
  }

  // Those that hold no table.
  void Cells(Buffer* to, const void* table, const Plan& plan, int row) {
    for (size_t c = 0; c < plan.shown.size(); ++c) {
      const Column& column = plan.shown[c];
      const std::string& key = plan.keys[c];
      switch (column.type) {
        case kTable: break;
        case kText: Text(to, key, table_get_str(table, row, column.index)); break;
        case kBinary: Binary(to, key, table, row, column); break;
        default:
          if (column.counted) {
            List(to, key, table, row, column);
          } else {
            Number(to, key, NumbersOf(table, row, column), column, 0);
          }
      }
    }
  }

  static void Null(Buffer* to, const std::string& key) {
    to->Append(key);
    to->Append("null");
  }

  static void Number(Buffer* to, std::string_view key, const void* numbers, const Column& column,
                     int element) {
    char* at = Buffer::Write(to->Room(key.size() + kNumberRoom), key);
    at = numbers == nullptr ? Buffer::Write(at, "null") : WriteJsonNumber(at, column, numbers, element);
    to->Wrote(at);
  }

  static void List(Buffer* to, const std::string& key, const void* table, int row, const Column& column) {
    if (table_is_set(table, row, column.index) == 0) return Null(to, key);
    const void* numbers = NumbersOf(table, row, column);
    to->Append(key);
    to->Append("[");
    for (int i = 0; i < column.count; ++i)
      Number(to, i == 0 ? "" : ",", numbers, column, i);
    to->Append("]");
  }

  void Text(Buffer* to, const std::string& key, const char* cell) {
    if (cell == nullptr) return Null(to, key);
    const std::string_view text = cell;
    char* at = Buffer::Write(to->Room(key.size() + text.size() + 2), key);
    *at++ = '"';
    for (const char c : text) {
      if (!IsPlain(static_cast<unsigned char>(c))) {
        Escaped(to, key, CellTextToUtf8(text));
        return;
      }
      *at++ = c;
    }
    *at++ = '"';
    to->Wrote(at);
  }

  void Binary(Buffer* to, const std::string& key, const void* table, int row, const Column& column) {
    if (table_is_set(table, row, column.index) == 0) return Null(to, key);
    Escaped(to, key, EncodeBase64(BinaryOf(table, row, column)));
  }

  void Escaped(Buffer* to, const std::string& key, const std::string& utf8) {
    escaped_.clear();
    AppendJsonString(&escaped_, utf8);
    to->Append(key);
    to->Append(escaped_);
  }

  void RowWithTables(const View& view, void* table, Plan* plan, int row) {
    const size_t outer = outer_.size();
    Cells(&outer_, table, *plan, row);
    Empties(table, *plan, row);
    const size_t before = out_->size();
    InnerLines(view, table, plan, row);
    if (out_->size() == before) {
      Begin(row);
      End();
    }
    outer_.Shorten(outer);
  }

  // The cells that give no lines: those that are not set, and tables without a row.
  void Empties(const void* table, const Plan& plan, int row) {
    for (size_t c = 0; c < plan.shown.size(); ++c) {
      if (plan.shown[c].type != kTable) continue;
      const int column = plan.shown[c].index;
      if (HasRows(table_get_table(table, row, column))) continue;
      outer_.Append(plan.keys[c]);
      outer_.Append(table_is_set(table, row, column) != 0 ? "[]" : "null");
    }
  }

  bool HasRows(const void* child) const {
    const auto [from, to] = RowsShown(all_, child);
    return from < to;
  }

  void InnerLines(const View& view, void* table, Plan* plan, int row) {
    const size_t place = place_.size();
    for (size_t c = 0; c < plan->shown.size(); ++c) {
      const Column& column = plan->shown[c];
      if (column.type != kTable) continue;
      void* child = table_get_table(table, row, column.index);
      const View* inside = HasRows(child) ? ViewInside(view, all_, column, child) : nullptr;
      if (inside == nullptr) continue;
      char number[kNumberRoom];
      place_.append(number, WriteInteger(number, static_cast<int64_t>(row)));
      place_ += plan->paths[c];
      Table(*inside, child, &plan->inner[c]);
      place_.resize(place);
    }
  }

  const View all_;
  std::string_view start_;
  std::string place_;  // of the table, as JSON has it: "0/Data/"
  Buffer outer_;       // the cells of the rows around it
  Buffer* out_;
  std::string escaped_;
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
  thread_local std::map<int32_t, Place> places;
  if (places.size() > kMostPlaces) places.clear();
  Place* place = &places.try_emplace(id, "").first->second;
  thread_local Buffer lines;
  lines.Shorten(0);
  const std::string start = "{" + Origin(item, id) + ",\"_row\":\"";
  Lines(view, start, view.path.empty() ? "" : EscapedInJson(view.path + "/"), &lines)
      .Table(view, table, place);
  out->append(lines.text());
  if (lines.capacity() > kMostKept) lines = Buffer();
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
