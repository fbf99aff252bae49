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

namespace tesview {

using replies::AppendCsvField;
using replies::EncodeBase64;
using replies::FreeName;
using replies::ToUtf8;
using tsl_base::TableView;
using tsl_base::Type;

namespace {

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
  void Number(const std::string& prefix, std::unordered_set<std::string>* taken, size_t* fields,
              std::string* header) {
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
        if (column.field != 0) *header += ',';
        AppendCsvField(header, name);
      }
      if (has_inner) column.inner->Number(name + ".", taken, fields, header);
    }
  }

  const CsvTargets& TargetsOf(Layout* layout) {
    const auto [at, is_new] = targets_.try_emplace(layout);
    CsvTargets& targets = at->second;
    if (!is_new) return targets;
    for (const Column& column : layout->columns()) {
      const auto known = known_.find(column.name);
      if (known == known_.end()) continue;
      const CsvColumn& of = columns_[known->second];
      if (column.is_table() && of.inner != nullptr) {
        targets.inner.emplace_back(&column, of.inner.get());
      } else if (!column.is_table()) {
        targets.fields.emplace_back(&column, of.field);
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

  std::vector<CsvColumn> columns_;
  std::unordered_map<std::string, size_t> known_;
  std::unordered_set<const Layout*> gathered_;
  std::unordered_map<const Layout*, CsvTargets> targets_;
};

std::string NumbersField(TableView table, int row, const Column& column) {
  std::string text;
  const void* numbers = NumbersOf(table, row, column);
  for (int i = 0; i < column.count && numbers != nullptr; ++i) {
    if (i != 0) text += ' ';
    AppendNumber(&text, column, numbers, i);
  }
  return text;
}

std::string CsvField(TableView table, int row, const Column& column) {
  if (!table.is_set(row, column.index)) return std::string();
  std::string field;
  if (column.type == Type::kText) {
    const char* text = TextOf(table, row, column);
    if (text == nullptr || *text == '\0') return "\"\"";
    AppendCsvField(&field, ToUtf8(text));
  } else if (column.type == Type::kBinary) {
    const std::string_view bytes = BinaryOf(table, row, column);
    field = bytes.empty() ? "\"\"" : EncodeBase64(bytes);
  } else if (column.is_number()) {
    field = NumbersField(table, row, column);
  }
  return field;
}

class CsvLines {
 public:
  CsvLines(Choice* choice, std::string start, size_t fields, std::string* out)
      : choice_(choice), start_(std::move(start)), fields_(fields), out_(out) {}

  void Table(Part part, TableView table, CsvLevel* level) {
    const CsvTargets& targets = level->TargetsOf(&choice_->LayoutOf(table));
    const RowList rows = choice_->Rows(table);
    for (const int row : rows)
      Row(part, table, targets, row);
  }

 private:
  // The fields of this row are emptied again behind its lines, so that the next row does not inherit them.
  void Row(Part part, TableView table, const CsvTargets& targets, int row) {
    for (const auto& [column, field] : targets.fields)
      fields_[field] = CsvField(table, row, *column);
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
      if (i != 0) *out_ += ',';
      *out_ += fields_[i];
    }
    *out_ += '\n';
    CheckSize(out_->size());
  }

  Choice* choice_;
  std::string start_;
  std::vector<std::string> fields_;
  std::string* out_;
};

}  // namespace

void RenderCsv(Choice* choice, const Item& item, TableView table, std::string* header, std::string* out) {
  CsvLevel level;
  level.Gather(choice, choice->whole(), table);
  level.SizeOfNames(0);
  std::string start;
  if (item.name_source) {
    *header += "_file,";
    AppendCsvField(&start, item.source);
    start += ',';
  }
  if (item.number_reply) {
    *header += "_reply,";
    start += fmt::format("{},", item.reply.number);
  }
  size_t fields = 0;
  std::unordered_set<std::string> taken;
  level.Number("", &taken, &fields, header);
  *header += '\n';
  CsvLines(choice, start, fields, out).Table(choice->whole(), table, &level);
}

}  // namespace tesview
