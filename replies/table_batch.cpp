#include "replies/table_batch.h"

#include <fmt/format.h>
#include <google/protobuf/message.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "replies/diagnosis.h"
#include "replies/layouts.h"
#include "replies/parse_reply.h"
#include "replies/schema.h"
#include "replies/suggest.h"
#include "replies/text.h"
#include "replies/vocabulary.h"
#include "replies/wire.h"
#include "tsl_base/text.h"

namespace replies {

using tsl_base::Table;
using tsl_base::TableView;
using tsl_base::Type;

namespace {

namespace pb = google::protobuf;

// ---- tables -----------------------------------------------------------------------------------------------

Table DecodeTable(const std::string& reply, const Unpack& unpack, Taken* taken, std::string* why) {
  *taken = Taken::kMisfit;
  const auto message = ParseReply(reply, why);
  if (message == nullptr) return {};
  Table table = DecodePayload(*message, unpack, why);
  // What has a payload in the schema and gives no table is empty.
  if (!table && !DecodedTables(*message->GetDescriptor(), IdOf(*message), unpack).empty())
    *taken = Taken::kEmpty;
  return table;
}

// What a reply is that gives no table. A wire table that has content gives none where it contradicts itself.
Taken WhatGaveNone(const std::string& reply, std::optional<TPType> type, std::string* why) {
  const auto message = ParseReply(reply, why);
  if (message == nullptr) return Taken::kMisfit;
  *why = WhyNoTable(reply, type);
  if (IdOf(*message) != kWireTableId) return Taken::kEmpty;
  const pb::FieldDescriptor* field = message->GetDescriptor()->FindFieldByNumber(kWireTableId);
  return message->GetReflection()->HasField(*message, field) ? Taken::kMisfit : Taken::kEmpty;
}

Table TableOf(const std::string& reply, const TableRequest& request, Taken* taken, std::string* why) {
  const tsl_base::KeepUtf8 keep;
  if (request.decode) return DecodeTable(reply, request.unpack, taken, why);
  Table table(request.type ? TesparserPB2TableType(reply, *request.type) : TesparserPB2Table(reply));
  if (!table) *taken = WhatGaveNone(reply, request.type, why);
  return table;
}

// Those of the first reply, whose sender chose them. None if it does not tell them.
std::optional<TableColumns> ColumnsOfReply(const std::string& reply, const TableRequest& request,
                                           Taken* taken, std::string* why) {
  Table table = TableOf(reply, request, taken, why);
  if (!table) return std::nullopt;
  *taken = Taken::kMisfit;
  ArrowOwner<ArrowSchema> schema;
  ArrowOwner<ArrowArray> array;
  const int result = table_export_arrow(table.get(), schema.get(), array.get());
  if (result == ENOMEM) throw std::bad_alloc();
  if (result != 0) {
    *why = WhyNoArrays(result);
    return std::nullopt;
  }
  static_cast<void>(table.release());
  return ColumnsOfTable(*schema);
}

// What is told of an Id and a layout without a reply.
std::optional<TableColumns> KnownColumns(TableRequest* request, std::string* error) {
  if (request->decode) {
    TableColumns columns = DecodedColumns(request->id, request->unpack);
    if (!columns.empty()) return columns;
    *error = fmt::format("Id {} has no payload in the schema", request->id);
    return std::nullopt;
  }
  if (request->type == TPTypeById) request->type = std::nullopt;
  auto columns = DescribedColumns(request->id, request->type ? static_cast<int>(*request->type) : 0);
  if (!columns && !request->type) {
    request->type = OnlyLayoutOf(request->id);
    if (request->type) columns = DescribedColumns(request->id, static_cast<int>(*request->type));
  }
  if (columns) return columns;
  *error = request->type ? fmt::format("Id {} gives no table of type {}", IdWithName(request->id),
                                       NameOfType(*request->type))
                         : fmt::format("Id {} has no table form", IdWithName(request->id));
  const auto layouts = TypedLayoutsOf(request->id);
  if (!layouts.empty()) *error += "; try the layout " + NameOfType(layouts[0]);
  return std::nullopt;
}

std::string NoColumn(const std::string& missing, const TableColumns& columns) {
  std::string error = fmt::format("no column \"{}\" in this table", missing);
  const std::vector<std::string> labels = AllLabels(columns);
  // Columns inside are asked for without the path that flat ones have before them.
  const std::string suggestion = DidYouMean(missing.substr(missing.rfind('.') + 1), labels);
  if (!suggestion.empty()) return error + suggestion;
  for (size_t i = 0; i < labels.size(); ++i)
    error += (i == 0 ? "; it has: " : ", ") + labels[i];
  return error;
}

}  // namespace

bool HasTable(const TableRequest& request) {
  if (request.decode) return !DecodedTables(*Schema::Get().Type("MSG"), request.id, request.unpack).empty();
  return HasForm(request.id, request.type) || (!request.type && OnlyLayoutOf(request.id));
}

std::string WhyNoArrays(int result) {
  return result == EOVERFLOW ? "its table is too deep, too sparse or too large to be handed out as arrays"
                             : "the tables in one of its columns differ in theirs";
}

// ---- the plan ---------------------------------------------------------------------------------------------

bool TablePlan::NeedsReply(const TableRequest& request) {
  return request.id == 0 || (request.id == kWireTableId && !request.decode);
}

std::unique_ptr<TablePlan> TablePlan::Make(const TableRequest& request, const ShownTables& shown,
                                           std::string* error) {
  TableRequest known = request;
  auto columns = KnownColumns(&known, error);
  return columns ? Finish(known, std::move(*columns), shown, error) : nullptr;
}

std::unique_ptr<TablePlan> TablePlan::MakeFrom(const std::string& reply, const TableRequest& request,
                                               const ShownTables& shown, Taken* taken, std::string* error) {
  TableRequest known = request;
  const bool has_id = FindId(reply, &known.id);
  if (has_id && known.id != request.id && request.id != 0) {
    *taken = Taken::kPassedOver;
    return nullptr;
  }
  *taken = Taken::kMisfit;
  if (ParseReply(reply, error) == nullptr) return nullptr;
  if (known.type == TPTypeById) known.type = std::nullopt;
  auto columns = NeedsReply(known) ? ColumnsOfReply(reply, known, taken, error) : KnownColumns(&known, error);
  if (!columns) return nullptr;
  *taken = Taken::kRows;
  return Finish(known, std::move(*columns), shown, error);
}

std::unique_ptr<TablePlan> TablePlan::Finish(const TableRequest& request, TableColumns columns,
                                             const ShownTables& shown, std::string* error) {
  auto plan = std::make_unique<TablePlan>();
  std::string missing;
  auto chosen = ChooseColumns(columns, shown.columns, shown.flat, &missing);
  if (!chosen) {
    *error = NoColumn(missing, columns);
    return nullptr;
  }
  plan->request_ = request;
  plan->flat_ = shown.flat;
  plan->origin_ = shown.origin;
  plan->table_schema_ = ArrowOwner<ArrowSchema>(MakeArrowSchema(TableField(columns)));
  plan->columns_ = std::move(columns);
  plan->shown_ = std::move(*chosen);
  return plan;
}

ArrowSchema TablePlan::MakeSchema() const {
  ArrowField batch{"+s", "", false, {}, OriginFields(origin_)};
  for (ArrowField& field : ShownFields(columns_, shown_, flat_))
    batch.children.push_back(std::move(field));
  batch.metadata.emplace_back("id", fmt::format("{}", request_.id));
  if (const Payload* payload = FindPayload(request_.id))
    batch.metadata.emplace_back("payload", payload->name);
  if (request_.type) batch.metadata.emplace_back("type", NameOfType(*request_.type));
  return MakeArrowSchema(batch);
}

Table TablePlan::MakeTable(const std::string& reply, Taken* taken, std::string* why) const {
  int32_t id = 0;
  const bool has_id = FindId(reply, &id);
  if (!has_id || id == request_.id) {
    Table table = TableOf(reply, request_, taken, why);
    return table && request_.choose_rows ? request_.choose_rows(std::move(table), id, request_.type)
                                         : std::move(table);
  }
  *taken = Taken::kPassedOver;
  *why = fmt::format("Id {}, not {}", id, request_.id);
  return {};
}

// ---- how large a table is ---------------------------------------------------------------------------------

namespace {

Type TypeOf(const std::string& format) {
  constexpr std::pair<const char*, Type> kTypes[] = {
      {"c", Type::kInt8},   {"s", Type::kInt16},   {"i", Type::kInt32},  {"l", Type::kInt64},
      {"C", Type::kUint8},  {"S", Type::kUint16},  {"I", Type::kUint32}, {"L", Type::kUint64},
      {"f", Type::kFloat},  {"g", Type::kDouble},  {"u", Type::kText},   {"z", Type::kBinary},
      {"+l", Type::kTable}, {"tss:", Type::kTime},
  };
  for (const auto& [known, type] : kTypes) {
    if (format == known) return type;
  }
  return Type::kNothing;
}

}  // namespace

// The tables at one place of the nesting.
struct TableLevel {
  struct Tables {
    int col;
    bool shown;
    std::unique_ptr<TableLevel> level;
  };

  const TableColumns* columns = nullptr;
  std::vector<Type> types;
  uint64_t cells = 0;        // of a row
  uint64_t shown_cells = 0;  // of a flat row, with those of tables inside
  std::vector<int> texts;    // columns of texts and byte strings
  std::vector<Tables> tables;
  // The spec of a table that had these columns and is still there: it is the same text in one place for all
  // tables that were made with it.
  const char* spec = nullptr;
};

namespace {

std::unique_ptr<TableLevel> MakeTableLevel(const TableColumns& columns, const ShownColumns* shown) {
  auto level = std::make_unique<TableLevel>();
  level->columns = &columns;
  std::vector<const ShownColumn*> shown_at(columns.size());
  for (size_t i = 0; shown != nullptr && i < shown->size(); ++i)
    shown_at[(*shown)[i].index] = &(*shown)[i];
  for (size_t i = 0; i < columns.size(); ++i) {
    const TableColumn& column = columns[i];
    const ShownColumn* one = shown_at[i];
    level->types.push_back(TypeOf(column.element_format.empty() ? column.format : column.element_format));
    const auto count = static_cast<uint64_t>(column.count);
    level->cells += count;
    if (level->types.back() == Type::kText || level->types.back() == Type::kBinary)
      level->texts.push_back(static_cast<int>(i));
    if (!column.is_table()) {
      level->shown_cells += one != nullptr ? count : 0;
      continue;
    }
    level->tables.push_back({static_cast<int>(i), one != nullptr,
                             MakeTableLevel(column.inside, one != nullptr ? &one->inside : nullptr)});
    level->shown_cells += level->tables.back().level->shown_cells;
  }
  return level;
}

void Forget(TableLevel* level) {
  level->spec = nullptr;
  for (TableLevel::Tables& tables : level->tables)
    Forget(tables.level.get());
}

// Decimals are doubles in arrays.
Type TypeInArrays(Type type) {
  return type == Type::kPFloat || type == Type::kVFloat ? Type::kDouble : type;
}

bool HasColumns(TableView table, const TableLevel& level) {
  if (static_cast<size_t>(table.cols()) != level.columns->size()) return false;
  for (size_t i = 0; i < level.columns->size(); ++i) {
    const tsl_base::ColumnInfo info = table.column(static_cast<int>(i));
    const TableColumn& column = (*level.columns)[i];
    if (TypeInArrays(info.type) != level.types[i] || std::max(info.count, 1) != column.count) return false;
    if (info.name != column.name && ToUtf8(info.name) != column.name) return false;
  }
  return true;
}

bool Fits(TableView table, TableLevel* level) {
  const char* spec = table_col_name(table.get(), 0);
  if (spec == level->spec) return true;
  if (!HasColumns(table, *level)) return false;
  level->spec = spec;
  return true;
}

}  // namespace

// The tables of a batch are measured and compared with the plan one by one.
class TableMeasure {
  // Texts that are repeated are counted one by one where they may be more.
  static constexpr uint64_t kUncountedBytes = uint64_t{1} << 24;

 public:
  explicit TableMeasure(const TablePlan& plan)
      : outer_(MakeTableLevel(plan.columns(), &plan.shown())), flat_(plan.flat()) {}

  // False and why if the table does not fit.
  bool Take(TableView table, size_t reply_bytes, size_t name_bytes, std::string* why) {
    cells_ = 0;
    most_ = 1;
    rows_ = 0;
    bool fits = Add(table, outer_.get(), "", &rows_, why);
    if (!flat_) rows_ = static_cast<uint64_t>(table.rows());
    if (fits && flat_) fits = Spend(rows_ * outer_->shown_cells, why);
    if (fits) fits = CountBytes(table, reply_bytes, name_bytes, why);
    // The table may end now, and its specs with it.
    if (!fits) Forget();
    return fits;
  }

  // Of the last table.
  uint64_t rows() const { return rows_; }
  uint64_t bytes() const { return bytes_; }

  // The tables are gone.
  void Forget() { replies::Forget(outer_.get()); }

 private:
  bool Spend(uint64_t cells, std::string* why) {
    cells_ += cells;
    if (cells_ <= kMostTableCells) return true;
    *why = fmt::format("too large: it has more than {} cells", kMostTableCells);
    return false;
  }

  // Adds the rows that are seen of the table.
  bool Add(TableView table, TableLevel* level, const std::string& column, uint64_t* rows, std::string* why) {
    if (!Fits(table, level)) {
      *why = column.empty() ? "it has other columns"
                            : fmt::format("the tables in its column \"{}\" have other columns", column);
      return false;
    }
    const auto own = static_cast<uint64_t>(table.rows());
    if (!Spend(own * level->cells, why)) return false;
    if (level->tables.empty()) {
      *rows += own;
      return true;
    }
    for (int row = 0; row < table.rows(); ++row) {
      uint64_t inside = 0;
      for (TableLevel::Tables& tables : level->tables) {
        const TableView child(table_get_table(table.get(), row, tables.col));
        if (!child) continue;
        uint64_t of_child = 0;
        const std::string& label = (*level->columns)[static_cast<size_t>(tables.col)].label;
        if (!Add(child, tables.level.get(), label, &of_child, why)) return false;
        if (tables.shown) inside += of_child;
      }
      *rows += std::max<uint64_t>(inside, 1);
      most_ = std::max(most_, inside);
    }
    return true;
  }

  bool CountBytes(TableView table, size_t reply_bytes, size_t name_bytes, std::string* why) {
    // Ill-formed bytes become three each.
    const uint64_t texts = 3 * uint64_t{reply_bytes};
    uint64_t repeated = rows_ * name_bytes;
    uint64_t rows = 0;
    if (flat_ && most_ > 1)
      repeated += texts * most_ <= kUncountedBytes ? 0 : Repeated(table, *outer_, &rows);
    bytes_ = 8 * cells_ + reply_bytes + repeated;
    if (8 * cells_ + texts + repeated <= kMostTableBytes) return true;
    *why = fmt::format("too large: it makes more than {} MiB", kMostTableBytes >> 20);
    return false;
  }

  // The bytes of texts beside the rows of the tables inside.
  static uint64_t Repeated(TableView table, const TableLevel& level, uint64_t* rows) {
    if (level.tables.empty()) {
      *rows += static_cast<uint64_t>(table.rows());
      return 0;
    }
    uint64_t bytes = 0;
    for (int row = 0; row < table.rows(); ++row) {
      uint64_t inside = 0;
      for (const TableLevel::Tables& tables : level.tables) {
        const TableView child(table_get_table(table.get(), row, tables.col));
        if (child && tables.shown) bytes += Repeated(child, *tables.level, &inside);
      }
      inside = std::max<uint64_t>(inside, 1);
      *rows += inside;
      bytes += 3 * inside * BytesOfRow(table, level, row);
    }
    return bytes;
  }

  static uint64_t BytesOfRow(TableView table, const TableLevel& level, int row) {
    uint64_t bytes = 0;
    for (const int col : level.texts) {
      if (level.types[static_cast<size_t>(col)] == Type::kText) {
        const char* text = table_get_str(table.get(), row, col);
        bytes += text != nullptr ? std::strlen(text) : 0;
      } else {
        int size = 0;
        table_get_binary(table.get(), row, col, &size);
        bytes += static_cast<uint64_t>(std::max(size, 0));
      }
    }
    return bytes;
  }

  std::unique_ptr<TableLevel> outer_;
  bool flat_;
  uint64_t cells_ = 0;
  uint64_t most_ = 1;  // rows beside a row, at most
  uint64_t rows_ = 0;
  uint64_t bytes_ = 0;
};

// ---- the batch --------------------------------------------------------------------------------------------

TableBatch::TableBatch(const TablePlan* plan)
    : plan_(plan), measure_(std::make_unique<TableMeasure>(*plan)) {}

TableBatch::~TableBatch() = default;

namespace {

// So that push_back() does not throw.
template <class T>
void Reserve(size_t count, std::vector<T>* vector) {
  if (count > vector->capacity()) vector->reserve(2 * count);
}

}  // namespace

Taken TableBatch::Add(const Reply& reply, const std::string& file, uint64_t tag, std::string* why) {
  Taken taken = Taken::kMisfit;
  Table table = plan_->MakeTable(reply.bytes, &taken, why);
  if (!table) return taken;
  const size_t count = tables_.size() + 1;
  for (auto* numbers : {&rows_of_, &bytes_of_})
    Reserve(count, numbers);
  Reserve(count, &tables_);
  Reserve(count, &origins_);
  RowOrigin origin{table.view().rows(), plan_->origin().file ? file : "", reply.number, reply.offset, tag};
  if (!measure_->Take(table.view(), reply.bytes.size(), origin.file.size(), why)) return Taken::kMisfit;
  if (measure_->rows() == 0) {
    measure_->Forget();
    return Taken::kNoRows;
  }
  rows_ += measure_->rows();
  bytes_ += measure_->bytes();
  rows_of_.push_back(measure_->rows());
  bytes_of_.push_back(measure_->bytes());
  tables_.push_back(std::move(table));
  origins_.push_back(std::move(origin));
  return Taken::kRows;
}

bool TableBatch::Take(ArrowArray* out, RowOrigin* misfit, std::string* why) {
  measure_->Forget();
  size_t count = tables_.size();
  int result = Export(count, out);
  while (result != 0 && count > 1) {
    count /= 2;
    result = Export(count, out);
  }
  divided_ = count < tables_.size();
  if (result != 0) {
    *misfit = std::move(origins_[0]);
    *why = WhyNoArrays(result);
  }
  Drop(count);
  return result == 0;
}

// The first tables. They are gone if that gives 0.
int TableBatch::Export(size_t count, ArrowArray* out) {
  std::vector<void*> handles;
  for (size_t i = 0; i < count; ++i)
    handles.push_back(tables_[i].get());
  const std::vector<RowOrigin> origins(origins_.begin(), origins_.begin() + static_cast<ptrdiff_t>(count));
  ArrowOwner<ArrowArray> array;
  const int result = table_export_arrow_batch(handles.data(), static_cast<int64_t>(count),
                                              &plan_->table_schema(), array.get(), nullptr);
  if (result == ENOMEM) throw std::bad_alloc();
  if (result != 0) return result;
  for (size_t i = 0; i < count; ++i)
    static_cast<void>(tables_[i].release());
  const auto make = plan_->flat() ? FlattenTables : NestTables;
  *out = make(std::move(array), plan_->columns(), plan_->shown(), origins, plan_->origin());
  return 0;
}

void TableBatch::Drop(size_t count) {
  for (size_t i = 0; i < count; ++i) {
    rows_ -= rows_of_[i];
    bytes_ -= bytes_of_[i];
  }
  const auto end = static_cast<ptrdiff_t>(count);
  tables_.erase(tables_.begin(), tables_.begin() + end);
  origins_.erase(origins_.begin(), origins_.begin() + end);
  rows_of_.erase(rows_of_.begin(), rows_of_.begin() + end);
  bytes_of_.erase(bytes_of_.begin(), bytes_of_.begin() + end);
}

}  // namespace replies
