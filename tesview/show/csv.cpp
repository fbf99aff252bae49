#include "tesview/show/csv.h"

#include <fmt/format.h>

#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "replies/encodings.h"
#include "replies/taken_names.h"
#include "replies/text.h"
#include "tesview/show/cells.h"
#include "tesview/show/limits.h"
#include "tesview/show/line_keys.h"

namespace tesview {

using replies::AppendCsvField;
using replies::AppendTsvField;
using replies::EncodeBase64;
using replies::FreeName;
using replies::Printable;
using replies::TableColumn;
using replies::TableColumns;
using replies::ToUtf8;
using tsl_base::TableView;
using tsl_base::Type;

namespace {

// How texts become fields.
class CsvStyle {
 public:
  explicit CsvStyle(const View& view)
      : tabs_(view.to == To::kTsv), safe_(view.csv_safe), visible_(view.visible) {}

  char separator() const { return tabs_ ? '\t' : ','; }

  void Append(std::string* to, const std::string& utf8) const {
    const bool runs = safe_ && !utf8.empty() && kRun.find(utf8[0]) != std::string_view::npos;
    if (!runs && !visible_) return AppendField(to, utf8);
    AppendField(to, (runs ? "'" : "") + (visible_ ? Printable(utf8) : utf8));
  }

 private:
  void AppendField(std::string* to, const std::string& text) const {
    // A text that is empty is none that was not set; tabs cannot tell.
    if (tabs_) {
      AppendTsvField(to, text);
    } else if (text.empty()) {
      *to += "\"\"";
    } else {
      AppendCsvField(to, text);
    }
  }

  // What a spreadsheet takes for a formula, or drops in front of one.
  static constexpr std::string_view kRun = "=+-@\t\r";

  bool tabs_;
  bool safe_;
  bool visible_;
};

class CsvLevel;

// A column of one level of the nesting, whichever tables have it.
struct CsvColumn {
  std::string name;
  int index = 0;           // in the first table that had it
  bool has_field = false;  // where it holds no tables, or nothing is inside them
  size_t field = 0;        // its place in a line
  std::unique_ptr<CsvLevel> inner;
};

// Where the columns of one layout go.
struct CsvTargets {
  std::vector<std::pair<const Column*, size_t>> fields;
  std::vector<std::pair<const Column*, CsvLevel*>> inner;
};

// The columns of all tables at one level of the nesting.
class CsvLevel {
 public:
  // Adds what is shown of the table and of those inside it.
  void Gather(Choice* choice, Part part, TableView table) {
    Layout& layout = choice->LayoutOf(table);
    // All columns of a layout are added once; which are chosen depends on the table.
    if (part != Part::kAll || gathered_.insert(&layout).second) {
      for (const Column* column : choice->Columns(table, part))
        Add(*column);
    }
    const RowList rows = choice->Rows(table);
    for (const int col : layout.tables()) {
      const Column& column = layout.columns()[static_cast<size_t>(col)];
      const auto known = known_.find(column.name);
      if (known == known_.end()) continue;
      CsvLevel* inner = columns_[known->second].inner.get();
      if (inner == nullptr) continue;
      for (const int row : rows) {
        const TableView child = ChildOf(table, row, col);
        const Part inside = choice->Inside(part, child);
        if (inside != Part::kNone) inner->Gather(choice, inside, child);
      }
    }
  }

  // Whether tables may have columns that none of them showed.
  bool HasGaps() const {
    for (const CsvColumn& column : columns_) {
      if (column.inner != nullptr && (column.inner->columns_.empty() || column.inner->HasGaps())) return true;
    }
    return false;
  }

  // Fills them in.
  void Complete(const TableColumns& known) {
    for (CsvColumn& column : columns_) {
      if (column.inner == nullptr || static_cast<size_t>(column.index) >= known.size()) continue;
      const TableColumn& told = known[static_cast<size_t>(column.index)];
      if (!told.is_table() || told.label != column.name) continue;
      if (column.inner->columns_.empty()) column.inner->AddAll(told.inside);
      column.inner->Complete(told.inside);
    }
  }

  // The bytes of the names of all fields; throws TooMuch before they are made.
  size_t SizeOfNames(size_t prefix) const {
    size_t size = 0;
    for (const CsvColumn& column : columns_) {
      const size_t name = prefix + column.name.size() + 1;
      size += name;
      if (column.inner != nullptr) size += column.inner->SizeOfNames(name);
      // They are held twice, for the header and to find those that are taken.
      CheckSize(2 * size);
    }
    return size;
  }

  // Gives every column its field, those inside tables where the column of the tables is.
  void Number(const CsvStyle& style, const std::string& prefix, std::unordered_set<std::string>* taken,
              size_t* fields, std::string* header) {
    // Outer columns keep their names where inner ones would have the same.
    std::vector<std::string> names;
    for (const CsvColumn& column : columns_) {
      names.push_back(FreeName(prefix + column.name, column.index,
                               [&](const std::string& name) { return taken->count(name) != 0; }));
      taken->insert(names.back());
    }
    for (size_t c = 0; c < columns_.size(); ++c) {
      CsvColumn& column = columns_[c];
      const std::string& name = names[c];
      const bool has_inner = column.inner != nullptr && !column.inner->columns_.empty();
      column.has_field = column.has_field || !has_inner;
      if (column.has_field) {
        column.field = (*fields)++;
        if (column.field != 0) *header += style.separator();
        style.Append(header, name);
      }
      if (has_inner) column.inner->Number(style, name + ".", taken, fields, header);
    }
  }

  // Of the columns that are shown of this table. Where it has tables inside, these tell which they are.
  const CsvTargets& TargetsOf(Choice* choice, Part part, TableView table) {
    Layout& layout = choice->LayoutOf(table);
    const bool all = part == Part::kAll;
    const auto [at, is_new] = (all ? targets_ : chosen_targets_).try_emplace(&layout);
    CsvTargets& targets = at->second;
    if (!is_new && (all || layout.tables().empty())) return targets;
    targets = CsvTargets();
    for (const Column* column : choice->Columns(table, part)) {
      const CsvColumn& of = columns_[known_.at(column->name)];
      if (column->is_table()) {
        targets.inner.emplace_back(column, of.inner.get());
      } else {
        targets.fields.emplace_back(column, of.field);
      }
    }
    return targets;
  }

 private:
  void Add(const Column& column) {
    const auto [at, is_new] = known_.try_emplace(column.name, columns_.size());
    if (is_new) columns_.push_back({column.name, column.index, false, 0, nullptr});
    CsvColumn& known = columns_[at->second];
    if (!column.is_table()) {
      known.has_field = true;
    } else if (known.inner == nullptr) {
      known.inner = std::make_unique<CsvLevel>();
    }
  }

  // No table has them, so nobody looks for them by name.
  void AddAll(const TableColumns& known) {
    for (size_t i = 0; i < known.size(); ++i) {
      columns_.push_back({known[i].label, static_cast<int>(i), !known[i].is_table(), 0, nullptr});
      if (known[i].is_table()) columns_.back().inner = std::make_unique<CsvLevel>();
    }
  }

  std::vector<CsvColumn> columns_;
  std::unordered_map<std::string, size_t> known_;
  std::unordered_set<const Layout*> gathered_;
  std::unordered_map<const Layout*, CsvTargets> targets_;  // of whole tables
  std::unordered_map<const Layout*, CsvTargets> chosen_targets_;
};

std::string NumbersField(TableView table, int row, const Column& column) {
  std::string text;
  const void* numbers = NumbersOf(table, row, column);
  for (int i = 0; i < column.count; ++i) {
    if (i != 0) text += ' ';
    AppendNumber(&text, column, numbers, i);
  }
  return text;
}

std::string CsvField(TableView table, int row, const Column& column, const CsvStyle& style) {
  if (!table.is_set(row, column.index)) return std::string();
  std::string field;
  if (column.type == Type::kText) {
    style.Append(&field, ToUtf8(TextOf(table, row, column)));
  } else if (column.type == Type::kBinary) {
    style.Append(&field, EncodeBase64(BinaryOf(table, row, column)));
  } else {
    field = NumbersField(table, row, column);
  }
  return field;
}

class CsvLines {
 public:
  CsvLines(const CsvStyle& style, Choice* choice, std::string start, size_t fields, LineKeys* keys,
           std::string* out)
      : style_(style), choice_(choice), start_(std::move(start)), fields_(fields), keys_(keys), out_(out) {}

  void Table(Part part, TableView table, CsvLevel* level) {
    const CsvTargets& targets = level->TargetsOf(choice_, part, table);
    Layout* layout = &choice_->LayoutOf(table);
    const RowList rows = choice_->Rows(table);
    for (const int row : rows) {
      keys_->Enter(table, row, layout);
      Row(part, table, targets, row);
      keys_->Leave();
    }
  }

 private:
  // The fields of this row are emptied again behind its lines, so that the next row does not inherit them.
  void Row(Part part, TableView table, const CsvTargets& targets, int row) {
    for (const auto& [column, field] : targets.fields)
      fields_[field] = CsvField(table, row, *column, style_);
    const size_t before = out_->size();
    for (const auto& [column, inner] : targets.inner) {
      const TableView child = ChildOf(table, row, column->index);
      const Part inside = choice_->Inside(part, child);
      if (inside != Part::kNone) Table(inside, child, inner);
    }
    if (out_->size() == before) Write();
    for (const auto& [column, field] : targets.fields)
      fields_[field].clear();
  }

  void Write() {
    *out_ += start_;
    for (size_t i = 0; i < fields_.size(); ++i) {
      if (i != 0) *out_ += style_.separator();
      *out_ += fields_[i];
    }
    *out_ += '\n';
    CheckSize(out_->size());
    keys_->Line(out_->size());
  }

  const CsvStyle style_;
  Choice* choice_;
  std::string start_;
  std::vector<std::string> fields_;
  LineKeys* keys_;
  std::string* out_;
};

}  // namespace

void RenderCsv(const View& view, Choice* choice, const Item& item, TableView table, const KnownColumns& known,
               Shown* shown) {
  const CsvStyle style(view);
  CsvLevel level;
  level.Gather(choice, choice->whole(), table);
  // What --columns leaves of tables that are not there is nothing.
  if (choice->whole() == Part::kAll && level.HasGaps()) {
    if (const TableColumns* columns = known()) level.Complete(*columns);
  }
  level.SizeOfNames(0);
  std::string* header = &shown->header;
  std::string start;
  if (item.name_source) {
    *header += "_file";
    *header += style.separator();
    // Names of files are bytes, and this is text.
    style.Append(&start, ToUtf8(item.source));
    start += style.separator();
  }
  // One header holds for all: whether one file of several has one reply or many makes no difference.
  if (item.name_source || item.number_reply) {
    *header += "_reply";
    *header += style.separator();
    start += fmt::format("{}{}", item.reply.number, style.separator());
  }
  size_t fields = 0;
  std::unordered_set<std::string> taken;
  level.Number(style, "", &taken, &fields, header);
  *header += '\n';
  LineKeys keys(view.split, &shown->keys);
  CsvLines(style, choice, start, fields, &keys, &shown->out).Table(choice->whole(), table, &level);
}

}  // namespace tesview
