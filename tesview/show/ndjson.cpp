#include "tesview/show/ndjson.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "replies/encodings.h"
#include "replies/taken_names.h"
#include "replies/text.h"
#include "tesview/show/buffer.h"
#include "tesview/show/cells.h"
#include "tesview/show/limits.h"
#include "tesview/show/line_keys.h"

namespace tesview {

using replies::AppendJsonString;
using replies::EncodeBase64;
using replies::FreeName;
using replies::ToUtf8;
using tsl_base::TableView;
using tsl_base::Type;

namespace {

// More than there are tables of; the count is bounded as a hostile stream may have any Id.
constexpr size_t kMostKinds = 64;
// Layouts of one place that are kept; only wire tables have several.
constexpr size_t kMostPlans = 8;
// Room for lines, and for plans, that is kept from one reply to the next.
constexpr size_t kMostLinesKept = size_t{1} << 20;
constexpr size_t kMostPlansKept = size_t{4} << 20;

// What a JSON string holds without an escape.
constexpr bool IsPlain(unsigned char c) {
  return c >= 0x20 && c < 0x7F && c != '"' && c != '\\';
}

// Without the quotes.
std::string EscapedInJson(const std::string& text) {
  std::string quoted;
  AppendJsonString(&quoted, text);
  return quoted.substr(1, quoted.size() - 2);
}

struct NdjsonPlan;

// Of the reply that is being rendered.
struct NdjsonReply {
  uint64_t number = 0;  // of the replies that this thread renders
  size_t key_bytes = 0;
  std::vector<const NdjsonPlan*> outer;  // the plans of the tables around the one that is planned
};

// The plans of the tables at one place of the nesting. Kept from one table to the next: most of them are
// alike, or of a few kinds.
class NdjsonPlans {
 public:
  explicit NdjsonPlans(std::string prefix) : prefix_(std::move(prefix)) {}
  NdjsonPlan* PlanOf(Choice* choice, Part part, TableView table, NdjsonReply* reply);

 private:
  NdjsonPlan* Known(TableView table, const NdjsonReply& reply);
  NdjsonPlan Make(const std::vector<const Column*>& shown, NdjsonReply* reply) const;

  std::string prefix_;  // of the keys, "Data."
  std::vector<NdjsonPlan> plans_;
};

// The columns of a table, with their keys ready to be written.
struct NdjsonPlan {
  bool all = true;                // no columns are left out
  uint64_t reply = 0;             // the last one that had tables of this plan
  const char* spec = nullptr;     // of its tables
  std::vector<Column> columns;    // that are shown
  std::vector<std::string> keys;  // ",\"Data.ShiJian\":"
  // Those of its names with a point in them: only such a name can be that of a column inside.
  std::unordered_set<std::string> dotted;
  std::vector<std::string> paths;  // of columns of tables, as paths go on: "/Data/"
  std::vector<NdjsonPlans> inner;
  bool has_tables = false;
};

NdjsonPlan NdjsonPlans::Make(const std::vector<const Column*>& shown, NdjsonReply* reply) const {
  NdjsonPlan plan;
  std::unordered_set<std::string> names;
  const auto is_taken = [&](const std::string& name) {
    return names.count(name) != 0 ||
           std::any_of(reply->outer.begin(), reply->outer.end(),
                       [&](const NdjsonPlan* outer) { return outer->dotted.count(name) != 0; });
  };
  for (const Column* column : shown) {
    // The column, its name while the others are made, its key, and the prefix of what is inside.
    reply->key_bytes += 3 * prefix_.size() + 5 * column->name.size();
    CheckSize(reply->key_bytes);
    plan.columns.push_back(*column);
    const std::string name = FreeName(prefix_ + column->name, column->index, is_taken);
    names.insert(name);
    std::string key = ",";
    AppendJsonString(&key, name);
    plan.keys.push_back(key + ":");
    if (column->name.find('.') != std::string::npos) plan.dotted.insert(name);
    plan.paths.push_back(column->is_table() ? "/" + EscapedInJson(column->name) + "/" : "");
    plan.inner.emplace_back(column->is_table() ? name + "." : "");
    plan.has_tables = plan.has_tables || column->is_table();
  }
  return plan;
}

// A plan for all columns of the table.
NdjsonPlan* NdjsonPlans::Known(TableView table, const NdjsonReply& reply) {
  const char* spec = SpecOf(table);
  for (NdjsonPlan& plan : plans_) {
    if (plan.all && plan.spec == spec && plan.reply == reply.number) return &plan;
  }
  for (NdjsonPlan& plan : plans_) {
    if (!plan.all || !HasColumns(table, plan.columns)) continue;
    plan.spec = spec;
    plan.reply = reply.number;
    return &plan;
  }
  return nullptr;
}

NdjsonPlan* NdjsonPlans::PlanOf(Choice* choice, Part part, TableView table, NdjsonReply* reply) {
  const bool all = part == Part::kAll;
  // What --columns leaves of a table depends on the tables in it: such a plan serves once.
  if (!all) plans_.clear();
  NdjsonPlan* known = all ? Known(table, *reply) : nullptr;
  if (known != nullptr) return known;
  if (plans_.size() == kMostPlans) plans_.clear();
  plans_.push_back(Make(choice->Columns(table, part), reply));
  NdjsonPlan* made = &plans_.back();
  made->all = all;
  made->spec = SpecOf(table);
  made->reply = reply->number;
  return made;
}

class NdjsonLines {
 public:
  // `start` is what each line has up to the path of its row.
  NdjsonLines(Choice* choice, NdjsonReply* reply, std::string_view start, std::string place, LineKeys* keys,
              Buffer* out)
      : choice_(choice), reply_(reply), start_(start), place_(std::move(place)), keys_(keys), out_(out) {}

  void Table(Part part, TableView table, NdjsonPlans* plans) {
    NdjsonPlan* plan = plans->PlanOf(choice_, part, table, reply_);
    Layout* layout = &choice_->LayoutOf(table);
    const RowList rows = choice_->Rows(table);
    for (const int row : rows) {
      keys_->Enter(table, row, layout);
      if (plan->has_tables) {
        RowWithTables(part, table, plan, row);
      } else {
        Begin(row);
        Cells(out_, table, *plan, row);
        End();
      }
      keys_->Leave();
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
    keys_->Line(out_->size());
  }

  // Those that hold no table.
  void Cells(Buffer* to, TableView table, const NdjsonPlan& plan, int row) {
    for (size_t c = 0; c < plan.columns.size(); ++c) {
      const Column& column = plan.columns[c];
      const std::string& key = plan.keys[c];
      switch (column.type) {
        case Type::kTable: break;
        case Type::kText: Text(to, key, TextOf(table, row, column)); break;
        case Type::kBinary: Binary(to, key, table, row, column); break;
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

  static void List(Buffer* to, const std::string& key, TableView table, int row, const Column& column) {
    if (!table.is_set(row, column.index)) return Null(to, key);
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
        Escaped(to, key, ToUtf8(text));
        return;
      }
      *at++ = c;
    }
    *at++ = '"';
    to->Wrote(at);
  }

  void Binary(Buffer* to, const std::string& key, TableView table, int row, const Column& column) {
    if (!table.is_set(row, column.index)) return Null(to, key);
    Escaped(to, key, EncodeBase64(BinaryOf(table, row, column)));
  }

  void Escaped(Buffer* to, const std::string& key, const std::string& utf8) {
    escaped_.clear();
    AppendJsonString(&escaped_, utf8);
    to->Append(key);
    to->Append(escaped_);
  }

  void RowWithTables(Part part, TableView table, NdjsonPlan* plan, int row) {
    const size_t outer = outer_.size();
    Cells(&outer_, table, *plan, row);
    Empties(table, *plan, row);
    const size_t before = out_->size();
    InnerLines(part, table, plan, row);
    if (out_->size() == before) {
      Begin(row);
      End();
    }
    outer_.Shorten(outer);
  }

  // The cells that give no lines: those that are not set, and tables without a row.
  void Empties(TableView table, const NdjsonPlan& plan, int row) {
    for (size_t c = 0; c < plan.columns.size(); ++c) {
      const Column& column = plan.columns[c];
      if (!column.is_table() || HasRows(ChildOf(table, row, column.index))) continue;
      outer_.Append(plan.keys[c]);
      outer_.Append(table.is_set(row, column.index) ? "[]" : "null");
    }
  }

  bool HasRows(TableView child) const { return !choice_->Rows(child).empty(); }

  void InnerLines(Part part, TableView table, NdjsonPlan* plan, int row) {
    const size_t place = place_.size();
    for (size_t c = 0; c < plan->columns.size(); ++c) {
      const Column& column = plan->columns[c];
      if (!column.is_table()) continue;
      const TableView child = ChildOf(table, row, column.index);
      const Part inside = HasRows(child) ? choice_->Inside(part, child) : Part::kNone;
      if (inside == Part::kNone) continue;
      char number[kNumberRoom];
      place_.append(number, WriteInteger(number, static_cast<int64_t>(row)));
      place_ += plan->paths[c];
      reply_->outer.push_back(plan);
      Table(inside, child, &plan->inner[c]);
      reply_->outer.pop_back();
      place_.resize(place);
    }
  }

  Choice* choice_;
  NdjsonReply* reply_;
  std::string_view start_;
  std::string place_;  // of the table, as JSON has it: "0/Data/"
  Buffer outer_;       // the cells of the rows around it
  LineKeys* keys_;
  Buffer* out_;
  std::string escaped_;
};

// What a thread keeps from one reply to the next.
struct NdjsonKept {
  std::map<TableKind, NdjsonPlans> plans;
  size_t plan_bytes = 0;
  uint64_t replies = 0;
  Buffer lines;

  // Not what an unusual reply made large.
  void Trim() {
    if (plans.size() <= kMostKinds && plan_bytes <= kMostPlansKept) return;
    plans.clear();
    plan_bytes = 0;
  }
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

}  // namespace

void RenderNdjson(const View& view, Choice* choice, const Item& item, TableView table, Shown* shown) {
  thread_local NdjsonKept kept;
  kept.Trim();
  NdjsonReply reply;
  reply.number = ++kept.replies;
  Buffer lines = std::exchange(kept.lines, Buffer());
  lines.Shorten(0);
  const std::string start = "{" + Origin(item, shown->id) + ",\"_row\":\"";
  NdjsonPlans* plans = &kept.plans.try_emplace(choice->kind(), "").first->second;
  const std::string place = choice->base().empty() ? "" : EscapedInJson(choice->base() + "/");
  LineKeys keys(view.split, &shown->keys);
  try {
    NdjsonLines(choice, &reply, start, place, &keys, &lines).Table(choice->whole(), table, plans);
  } catch (...) {
    kept.plans.clear();
    kept.plan_bytes = 0;
    throw;
  }
  kept.plan_bytes += reply.key_bytes;
  shown->out.append(lines.text());
  if (lines.capacity() <= kMostLinesKept) kept.lines = std::move(lines);
}

void RenderNdjsonWhole(const Item& item, const std::string& json, Shown* shown) {
  shown->out += "{" + Origin(item, shown->id) + ",\"_row\":null,\"_json\":" + json + "}\n";
}

}  // namespace tesview
