#include "replies/table_columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "replies/column_names.h"
#include "replies/columns.h"
#include "replies/schema.h"
#include "replies/taken_names.h"

namespace replies {
namespace {

// ---- columns ----------------------------------------------------------------------------------------------

// Of the letters that columns of replies have.
std::string FormatOfLetter(char letter) {
  switch (letter) {
    case 'i': return "i";
    case 'q': return "l";
    case 'C': return "C";
    case 'I': return "I";
    case 'Q': return "L";
    case 'f': return "f";
    case 'd': return "g";
    case 's': return "u";
    case 'b': return "z";
    case 't': return "+l";
    default: return "n";
  }
}

// `letter` is as in a column spec: "d", "53q".
void SetFormat(std::string_view letter, TableColumn* column) {
  const size_t digits = std::min(letter.find_first_not_of("0123456789"), letter.size());
  const std::string format = digits == letter.size() ? "n" : FormatOfLetter(letter[digits]);
  if (digits != 0) column->count = std::stoll(std::string(letter.substr(0, digits)));
  column->format = column->count == 1 ? format : fmt::format("+w:{}", column->count);
  if (column->count != 1) column->element_format = format;
}

// Labels as the viewer gives them.
void SetLabels(TableColumns* columns) {
  std::unordered_set<std::string> taken;
  for (size_t i = 0; i < columns->size(); ++i) {
    TableColumn& column = (*columns)[i];
    column.label = column.name.empty() ? fmt::format("#{}", i) : column.name;
    while (!taken.insert(column.label).second)
      column.label += fmt::format("#{}", i);
  }
}

void AddPair(std::string key, std::string value, ArrowMetadata* metadata) {
  if (!value.empty()) metadata->emplace_back(std::move(key), std::move(value));
}

ArrowMetadata MetadataOf(const ColumnDescription& told) {
  ArrowMetadata metadata;
  AddPair("heading", told.english.Marked(), &metadata);
  AddPair("heading_zh", told.chinese.Marked(), &metadata);
  AddPair("meaning", told.meaning.Marked(), &metadata);
  AddPair("unit", told.unit.Marked(), &metadata);
  AddPair("kind", told.kind.Marked(), &metadata);
  AddPair("source", std::string(told.source), &metadata);
  for (const ElementDescription& element : told.elements) {
    AddPair(fmt::format("heading[{}]", element.index), element.english.Marked(), &metadata);
    AddPair(fmt::format("heading_zh[{}]", element.index), element.chinese.Marked(), &metadata);
    AddPair(fmt::format("unit[{}]", element.index), element.unit.Marked(), &metadata);
    AddPair(fmt::format("kind[{}]", element.index), element.kind.Marked(), &metadata);
    AddPair(fmt::format("source[{}]", element.index), std::string(element.source), &metadata);
  }
  return metadata;
}

std::string Below(std::string_view path, std::string_view name) {
  return path.empty() ? std::string(name) : fmt::format("{}/{}", path, name);
}

TableColumns ToldColumns(const TableDescription& table) {
  TableColumns columns;
  for (const ColumnDescription& told : table.columns) {
    TableColumn column;
    column.name = told.name;
    SetFormat(told.letter, &column);
    column.metadata = MetadataOf(told);
    const TableDescription* inner =
        column.is_table() ? DescribeTable(table.id, table.type, Below(table.path, told.name)) : nullptr;
    if (inner != nullptr) column.inside = ToldColumns(*inner);
    columns.push_back(std::move(column));
  }
  SetLabels(&columns);
  return columns;
}

// ---- by the schema alone ----------------------------------------------------------------------------------

// "Table" of "repeated Table".
std::string MessageOf(const DecodedColumn& column) {
  return column.type.substr(column.type.rfind(' ') + 1);
}

// A message that is open while what is inside it is made.
struct OpenMessage {
  std::string name;
  const DecodedTable* table;
};

class DecodedTree {
 public:
  explicit DecodedTree(const std::vector<DecodedTable>& tables) {
    for (const DecodedTable& table : tables)
      tables_.emplace(table.path, &table);
  }

  TableColumns Make(const std::string& message) { return Inside(message, *tables_.at("")); }

 private:
  TableColumns Inside(const std::string& message, const DecodedTable& table) {
    open_.push_back({message, &table});
    TableColumns columns;
    for (const DecodedColumn& told : table.columns) {
      TableColumn column;
      column.name = told.name;
      SetFormat({&told.letter, 1}, &column);
      column.metadata = {{"type", told.type}};
      const DecodedTable* inner = column.is_table() ? TableIn(table, told) : nullptr;
      if (inner != nullptr) column.inside = Inside(MessageOf(told), *inner);
      columns.push_back(std::move(column));
    }
    SetLabels(&columns);
    open_.pop_back();
    return columns;
  }

  // What is told of the tables in a column; null where a message has been unfolded often enough.
  const DecodedTable* TableIn(const DecodedTable& table, const DecodedColumn& column) const {
    const auto told = tables_.find(Below(table.path, column.name));
    if (told != tables_.end() && !told->second->columns.empty()) return told->second;
    const std::string message = MessageOf(column);
    const DecodedTable* outer = nullptr;
    int times = 0;
    for (const OpenMessage& open : open_) {
      if (open.name != message) continue;
      outer = open.table;
      ++times;
    }
    return times <= kMostUnfolded ? outer : nullptr;
  }

  std::map<std::string, const DecodedTable*> tables_;
  std::vector<OpenMessage> open_;
};

// ---- what is shown ----------------------------------------------------------------------------------------

// A column that is asked for, on the way inwards: what is left of its name.
struct WantedName {
  size_t place = 0;  // among all that are asked for
  std::string_view name;
  bool only_here = false;  // the names before it led to these columns
};
using Wanted = std::vector<WantedName>;

// The first place of those that ask for the column; null if none does.
const WantedName* FindWanted(const TableColumns& columns, size_t index, const Wanted& wanted) {
  for (const WantedName& each : wanted) {
    if (IsNameOf(each.name, columns[index].label, index, columns[index].count)) return &each;
  }
  return nullptr;
}

Wanted WantedInside(const TableColumn& column, const Wanted& wanted) {
  Wanted inside;
  for (const WantedName& each : wanted) {
    const std::string_view rest = NameInside(each.name, column.label);
    if (!rest.empty()) inside.push_back({each.place, rest, true});
    if (!each.only_here) inside.push_back(each);
  }
  return inside;
}

// Whether one of the wanted ones is among the columns or inside them. The places of those that are, are
// noted.
bool HasWanted(const TableColumns& columns, const Wanted& wanted, std::unordered_set<size_t>* found) {
  bool has = false;
  for (size_t i = 0; i < columns.size(); ++i) {
    for (const WantedName& each : wanted) {
      if (!IsNameOf(each.name, columns[i].label, i, columns[i].count)) continue;
      found->insert(each.place);
      has = true;
    }
    if (columns[i].is_table())
      has = HasWanted(columns[i].inside, WantedInside(columns[i], wanted), found) || has;
  }
  return has;
}

ShownColumns All(const TableColumns& columns) {
  ShownColumns shown;
  for (size_t i = 0; i < columns.size(); ++i)
    shown.push_back({i, "", All(columns[i].inside)});
  return shown;
}

ShownColumns Chosen(const TableColumns& columns, const Wanted& wanted) {
  std::unordered_set<size_t> found;
  std::vector<std::pair<size_t, ShownColumn>> ordered;
  for (size_t i = 0; i < columns.size(); ++i) {
    const TableColumn& column = columns[i];
    const WantedName* const name = FindWanted(columns, i, wanted);
    const Wanted inside = WantedInside(column, wanted);
    const bool leads = HasWanted(column.inside, inside, &found);
    if (name == nullptr && !leads) continue;
    const size_t place = name != nullptr ? name->place : std::numeric_limits<size_t>::max();
    ordered.push_back({place, {i, "", leads ? Chosen(column.inside, inside) : All(column.inside)}});
  }
  std::stable_sort(ordered.begin(), ordered.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  ShownColumns shown;
  for (auto& [place, column] : ordered)
    shown.push_back(std::move(column));
  return shown;
}

void NameNested(const TableColumns& columns, ShownColumns* shown) {
  std::unordered_set<std::string> taken;
  for (ShownColumn& column : *shown) {
    column.name = FreeName(columns[column.index].label, static_cast<int>(column.index),
                           [&](const std::string& name) { return taken.count(name) != 0; });
    taken.insert(column.name);
    NameNested(columns[column.index].inside, &column.inside);
  }
}

// Outer columns keep their names where inner ones would have the same.
void NameFlat(const TableColumns& columns, const std::string& prefix, std::unordered_set<std::string>* taken,
              ShownColumns* shown) {
  for (ShownColumn& column : *shown) {
    column.name = FreeName(prefix + columns[column.index].label, static_cast<int>(column.index),
                           [&](const std::string& name) { return taken->count(name) != 0; });
    taken->insert(column.name);
  }
  for (ShownColumn& column : *shown)
    NameFlat(columns[column.index].inside, column.name + ".", taken, &column.inside);
}

// ---- fields -----------------------------------------------------------------------------------------------

ArrowField FieldOf(const TableColumn& column, const std::string& name) {
  ArrowField field{column.format, name, true, column.metadata, {}};
  if (!column.element_format.empty()) field.children = {{column.element_format, "item", false, {}, {}}};
  return field;
}

void AddFields(const TableColumns& columns, const ShownColumns& shown, bool flat,
               std::vector<ArrowField>* fields) {
  for (const ShownColumn& one : shown) {
    const TableColumn& column = columns[one.index];
    if (flat && column.is_table()) {
      AddFields(column.inside, one.inside, flat, fields);
      continue;
    }
    fields->push_back(FieldOf(column, one.name));
    if (column.is_table())
      fields->back().children = {{"+s", "item", false, {}, ShownFields(column.inside, one.inside, flat)}};
  }
}

void AddLabels(const TableColumns& columns, std::unordered_set<std::string>* known,
               std::vector<std::string>* labels) {
  for (const TableColumn& column : columns) {
    if (known->insert(column.label).second) labels->push_back(column.label);
    AddLabels(column.inside, known, labels);
  }
}

}  // namespace

std::optional<TableColumns> DescribedColumns(int32_t id, int type) {
  const TableDescription* table = DescribeTable(id, type, "");
  if (table == nullptr || table->columns.empty()) return std::nullopt;
  return ToldColumns(*table);
}

TableColumns DecodedColumns(int32_t id, const Unpack& unpack) {
  const google::protobuf::Descriptor* envelope = Schema::Get().Type("MSG");
  const std::vector<DecodedTable> tables = DecodedTables(*envelope, id, unpack);
  if (tables.empty()) return {};
  const google::protobuf::Descriptor* payload = envelope->FindFieldByNumber(id)->message_type();
  return DecodedTree(tables).Make(payload == nullptr ? "" : payload->name());
}

TableColumns ColumnsOfTable(const ArrowSchema& schema) {
  TableColumns columns;
  for (int64_t i = 0; i < schema.n_children; ++i) {
    const ArrowSchema& field = *schema.children[i];
    TableColumn column;
    column.name = field.name;
    column.format = field.format;
    if (column.is_table()) {
      column.inside = ColumnsOfTable(*field.children[0]);
    } else if (const auto type = ParseArrowFormat(field.format);
               type && type->kind == ArrowKind::kFixedSizeList) {
      column.count = type->list_size;
      column.element_format = field.children[0]->format;
    }
    columns.push_back(std::move(column));
  }
  SetLabels(&columns);
  return columns;
}

ArrowField TableField(const TableColumns& columns) {
  ArrowField table{"+s", "", false, {}, {}};
  for (const TableColumn& column : columns) {
    table.children.push_back(FieldOf(column, column.name));
    if (!column.is_table()) continue;
    table.children.back().children = {TableField(column.inside)};
    table.children.back().children[0].name = "item";
  }
  return table;
}

std::optional<ShownColumns> ChooseColumns(const TableColumns& columns, const std::vector<std::string>& wanted,
                                          bool flat, std::string* missing) {
  Wanted names;
  for (const std::string& name : wanted)
    names.push_back({names.size(), name, false});
  std::unordered_set<size_t> found;
  HasWanted(columns, names, &found);
  for (const WantedName& each : names) {
    if (found.count(each.place) != 0) continue;
    *missing = each.name;
    return std::nullopt;
  }
  ShownColumns shown = wanted.empty() ? All(columns) : Chosen(columns, names);
  if (flat) {
    std::unordered_set<std::string> taken;
    NameFlat(columns, "", &taken, &shown);
  } else {
    NameNested(columns, &shown);
  }
  return shown;
}

std::vector<std::string> AllLabels(const TableColumns& columns) {
  std::unordered_set<std::string> known;
  std::vector<std::string> labels;
  AddLabels(columns, &known, &labels);
  return labels;
}

std::vector<ArrowField> ShownFields(const TableColumns& columns, const ShownColumns& shown, bool flat) {
  std::vector<ArrowField> fields;
  AddFields(columns, shown, flat, &fields);
  return fields;
}

}  // namespace replies
