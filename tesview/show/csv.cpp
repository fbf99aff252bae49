#include <algorithm>
#include <optional>

#include "replies/encodings.h"
#include "replies/text.h"
#include "tesview/show/choose.h"

namespace tesview {

using replies::AppendCsvField;
using replies::CellTextToUtf8;
using replies::EncodeBase64;

namespace {

// The columns of all tables at one place of the nesting.
struct Place {
  std::vector<Column> columns;
  std::vector<Place> inner;    // one for each column, used by those of tables
  std::vector<size_t> fields;  // where the column stands in a line; of no use for one with tables inside
};

// Adds what the table has and the place does not know yet.
void Gather(const View& view, const View& all, void* table, Place* place) {
  for (const Column& column : ColumnsShown(view, table)) {
    auto at = std::find_if(place->columns.begin(), place->columns.end(),
                           [&](const Column& known) { return known.name == column.name; });
    if (at == place->columns.end()) {
      place->columns.push_back(column);
      place->inner.emplace_back();
      at = place->columns.end() - 1;
    }
    if (column.type != kTable) continue;
    Place* inner = &place->inner[static_cast<size_t>(at - place->columns.begin())];
    const auto [from, to] = RowsShown(view, table);
    for (int row = from; row < to; ++row) {
      void* child = table_get_table(table, row, column.index);
      const View* inside = child == nullptr ? nullptr : ViewInside(view, all, column, child);
      if (inside != nullptr) Gather(*inside, all, child, inner);
    }
  }
}

// Gives every column its field, inner ones where the column of their tables stands.
void Number(Place* place, const std::string& prefix, std::vector<std::string>* names) {
  for (size_t c = 0; c < place->columns.size(); ++c) {
    place->fields.push_back(names->size());
    const std::string name = prefix + place->columns[c].name;
    if (place->inner[c].columns.empty()) {
      names->push_back(name);
    } else {
      Number(&place->inner[c], name + ".", names);
    }
  }
}

std::string NumberField(const void* table, int row, const Column& column) {
  std::string text;
  const void* numbers = NumbersOf(table, row, column);
  for (int i = 0; i < column.count && numbers != nullptr; ++i) {
    if (i != 0) text += ' ';
    AppendNumber(&text, column, numbers, i);
  }
  return text;
}

std::string Field(const void* table, int row, const Column& column) {
  if (table_is_set(table, row, column.index) == 0) return std::string();
  std::string field;
  if (column.type == kText) {
    const char* text = table_get_str(table, row, column.index);
    if (text == nullptr || *text == '\0') return "\"\"";
    AppendCsvField(&field, CellTextToUtf8(text));
  } else if (column.type == kBinary) {
    const std::string_view bytes = BinaryOf(table, row, column);
    field = bytes.empty() ? "\"\"" : EncodeBase64(bytes);
  } else if (column.is_number()) {
    field = NumberField(table, row, column);
  }
  return field;
}

class Lines {
 public:
  Lines(const View& view, std::string start, size_t fields, std::string* out)
      : all_(WithAllColumns(view)), start_(std::move(start)), fields_(fields), out_(out) {}

  void Table(const View& view, void* table, const Place& place) {
    const std::vector<Column> columns = ColumnsOf(table);
    const auto [from, to] = RowsShown(view, table);
    for (int row = from; row < to; ++row)
      Row(view, table, columns, place, row);
  }

 private:
  // The fields of this row are emptied again behind its lines, so that the next row does not inherit them.
  void Row(const View& view, void* table, const std::vector<Column>& columns, const Place& place, int row) {
    std::vector<size_t> used;
    for (const Column& column : columns) {
      const auto c = Find(place, column.name);
      if (!c || column.type == kTable) continue;
      used.push_back(place.fields[*c]);
      fields_[place.fields[*c]] = Field(table, row, column);
    }
    const size_t before = out_->size();
    for (const Column& column : columns) {
      const auto c = Find(place, column.name);
      if (!c || column.type != kTable) continue;
      void* child = table_get_table(table, row, column.index);
      const View* inside = child == nullptr ? nullptr : ViewInside(view, all_, column, child);
      if (inside != nullptr) Table(*inside, child, place.inner[*c]);
    }
    if (out_->size() == before) Write();
    for (const size_t field : used)
      fields_[field].clear();
  }

  static std::optional<size_t> Find(const Place& place, const std::string& name) {
    for (size_t c = 0; c < place.columns.size(); ++c) {
      if (place.columns[c].name == name) return c;
    }
    return std::nullopt;
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

  const View all_;
  std::string start_;
  std::vector<std::string> fields_;
  std::string* out_;
};

}  // namespace

void RenderCsv(const View& view, const Item& item, void* table, std::string* header, std::string* out) {
  Place place;
  Gather(view, WithAllColumns(view), table, &place);
  std::vector<std::string> names;
  Number(&place, "", &names);
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
  for (size_t i = 0; i < names.size(); ++i) {
    if (i != 0) *header += ',';
    AppendCsvField(header, names[i]);
  }
  *header += '\n';
  Lines(view, start, names.size(), out).Table(view, table, place);
}

}  // namespace tesview
