// Payloads decoded by the schema alone against a walk over their bytes, and the rows of any tables flat
// against those that nested tables unfold to.
#include <google/protobuf/descriptor.h>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "MSG.proto.h"
#include "fuzz/support/bits.h"
#include "fuzz/support/change_reply.h"
#include "fuzz/support/random.h"
#include "fuzz/support/target.h"
#include "fuzz/support/wire_reader.h"
#include "replies/arrow_check.h"
#include "replies/arrow_schema.h"
#include "replies/decode.h"
#include "replies/table_batch.h"
#include "tesparser/tesparser.h"
#include "tests/support/arrow_rows.h"

namespace {

using fuzz::WireMessage;
using fuzz::WireValue;
using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using tsl_base::TableView;

// ---- decoded ----------------------------------------------------------------------------------------------

void CheckMessages(TableView table, const std::vector<WireValue>& values, const FieldDescriptor& field);

void CheckNumber(TableView table, int row, int col, int64_t wire, const FieldDescriptor& field) {
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT64:
      if (table.column(col).type == tsl_base::Type::kInt64) {
        FUZZ_CHECK(table.get<int64_t>(row, col) == wire);
      } else {
        int divisor = 0;
        const double number = TesparserInt64ToDouble(wire, &divisor);
        const std::optional<double> shown = table.get<double>(row, col);
        FUZZ_CHECK(shown.has_value() == (divisor != 0));
        FUZZ_CHECK(!shown || fuzz::SameBits(*shown, number));
      }
      return;
    case FieldDescriptor::CPPTYPE_UINT64:
      FUZZ_CHECK(table.get<uint64_t>(row, col) == static_cast<uint64_t>(wire));
      return;
    case FieldDescriptor::CPPTYPE_UINT32:
      FUZZ_CHECK(table.get<uint32_t>(row, col) == static_cast<uint32_t>(wire));
      return;
    case FieldDescriptor::CPPTYPE_BOOL:
      FUZZ_CHECK(table.get<uint8_t>(row, col) == static_cast<uint8_t>(wire != 0));
      return;
    default: FUZZ_CHECK(table.get<int32_t>(row, col) == static_cast<int32_t>(wire)); return;
  }
}

void CheckCell(TableView table, int row, int col, const WireValue& value, const FieldDescriptor& field) {
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_STRING:
      if (field.type() == FieldDescriptor::TYPE_BYTES) {
        const auto bytes = table.get<tsl_base::BytesView>(row, col);
        FUZZ_CHECK(bytes && std::string(bytes->begin(), bytes->end()) == value.bytes);
      } else {
        FUZZ_CHECK(table.get<std::string_view>(row, col) == std::string_view(value.bytes.c_str()));
      }
      return;
    case FieldDescriptor::CPPTYPE_FLOAT: {
      const std::optional<float> shown = table.get<float>(row, col);
      FUZZ_CHECK(shown && fuzz::SameBits(double{*shown}, value.real));
      return;
    }
    case FieldDescriptor::CPPTYPE_DOUBLE: {
      const std::optional<double> shown = table.get<double>(row, col);
      FUZZ_CHECK(shown && fuzz::SameBits(*shown, value.real));
      return;
    }
    default: CheckNumber(table, row, col, value.integer, field); return;
  }
}

void CheckMessage(TableView table, int row, const WireMessage& message, const Descriptor& type) {
  for (int col = 0; col < type.field_count(); ++col) {
    const FieldDescriptor& field = *type.field(col);
    const auto at = message.find(field.number());
    if (at == message.end() || at->second.empty()) {
      FUZZ_CHECK(table.state(row, col) == tsl_base::CellState::kUnset);
    } else if (field.is_repeated() || field.message_type() != nullptr) {
      CheckMessages(table.get<TableView>(row, col).value_or(TableView()), at->second, field);
    } else {
      CheckCell(table, row, col, at->second[0], field);
    }
  }
}

// The table of a field that is repeated or a message.
void CheckMessages(TableView table, const std::vector<WireValue>& values, const FieldDescriptor& field) {
  const Descriptor* type = field.message_type();
  FUZZ_CHECK(table.rows() == static_cast<int>(values.size()));
  FUZZ_CHECK(table.cols() == (type == nullptr ? 1 : type->field_count()));
  for (int row = 0; row < table.rows(); ++row) {
    const WireValue& value = values[static_cast<size_t>(row)];
    if (type == nullptr) {
      CheckCell(table, row, 0, value, field);
    } else {
      CheckMessage(table, row, value.message, *type);
    }
  }
}

void CheckDecoded(const std::string& reply, const replies::Unpack& unpack) {
  static const Descriptor* const envelope = tessel::MSG::descriptor();
  WireMessage wire;
  tessel::MSG parsed;
  if (!fuzz::ReadWireMessage(reply, envelope, &wire) || !parsed.ParsePartialFromString(reply)) return;
  std::string error;
  const tsl_base::Table table = replies::DecodePayload(parsed, unpack, &error);
  FUZZ_CHECK(static_cast<bool>(table) == error.empty());
  if (table)
    CheckMessages(table.view(), wire[parsed.id()],
                  *envelope->FindFieldByNumber(static_cast<int>(parsed.id())));
}

// ---- flat -------------------------------------------------------------------------------------------------

bool IsTable(const ArrowSchema& field) {
  return std::string_view(field.format) == "+l";
}

size_t Leaves(const ArrowSchema& fields) {
  size_t all = 0;
  for (int64_t i = 0; i < fields.n_children; ++i) {
    const ArrowSchema& field = *fields.children[i];
    all += IsTable(field) ? Leaves(*field.children[0]) : 1;
  }
  return all;
}

// The texts of a row's cells that are no null, by the place of their column among those without tables.
using Cells = std::map<size_t, std::string>;

void AddCell(const ArrowSchema& field, const ArrowArray& array, int64_t index, size_t place, Cells* cells) {
  std::string text = arrow_rows::CellText(field, array, index);
  if (text != "null") cells->emplace(place, std::move(text));
}

std::vector<Cells> Unfold(const ArrowSchema& fields, const ArrowArray& array, int64_t index, size_t place) {
  Cells own;
  std::vector<Cells> rows;
  for (int64_t i = 0; i < fields.n_children; ++i) {
    const ArrowSchema& field = *fields.children[i];
    const ArrowArray& column = *array.children[i];
    const int64_t at = array.offset + index;
    if (!IsTable(field)) {
      AddCell(field, column, at, place++, &own);
      continue;
    }
    const auto* offsets = static_cast<const int32_t*>(column.buffers[1]) + column.offset + at;
    for (int64_t inner = offsets[0]; inner < offsets[1]; ++inner) {
      for (Cells& cells : Unfold(*field.children[0], *column.children[0], inner, place))
        rows.push_back(std::move(cells));
    }
    place += Leaves(*field.children[0]);
  }
  if (rows.empty()) return {own};
  for (Cells& cells : rows)
    cells.insert(own.begin(), own.end());
  return rows;
}

struct Batch {
  replies::ArrowOwner<ArrowSchema> schema;
  replies::ArrowOwner<ArrowArray> array;
};

// Null where the reply has no rows that a batch can hold.
std::unique_ptr<Batch> BatchOf(const std::string& bytes, const replies::TableRequest& request, bool flat) {
  replies::ShownTables shown;
  shown.flat = flat;
  replies::Taken taken{};
  std::string why;
  const auto plan = replies::TablePlan::MakeFrom(bytes, request, shown, &taken, &why);
  if (plan == nullptr) return nullptr;
  replies::TableBatch tables(plan.get());
  replies::Reply reply;
  reply.bytes = bytes;
  taken = tables.Add(reply, "", 0, &why);
  FUZZ_CHECK((taken == replies::Taken::kRows) == !tables.empty());
  FUZZ_CHECK((taken == replies::Taken::kMisfit) <= !why.empty());
  if (tables.empty()) return nullptr;
  auto batch = std::make_unique<Batch>();
  *batch->schema.get() = plan->MakeSchema();
  replies::RowOrigin misfit;
  if (!tables.Take(batch->array.get(), &misfit, &why)) {
    FUZZ_CHECK(!why.empty() && tables.empty());
    return nullptr;
  }
  FUZZ_CHECK(tables.empty());
  FUZZ_CHECK(replies::CheckArrow(*batch->schema, *batch->array).empty());
  return batch;
}

void CheckFlat(const std::string& reply, const replies::TableRequest& request) {
  const auto flat = BatchOf(reply, request, true);
  const auto nested = BatchOf(reply, request, false);
  if (flat == nullptr || nested == nullptr) return;
  const ArrowSchema& fields = *flat->schema;
  FUZZ_CHECK(static_cast<size_t>(fields.n_children) == Leaves(*nested->schema));
  std::set<std::string> names;
  for (int64_t i = 0; i < fields.n_children; ++i)
    FUZZ_CHECK(names.insert(fields.children[i]->name).second);

  int64_t row = 0;
  for (int64_t outer = 0; outer < nested->array->length; ++outer) {
    for (const Cells& expected : Unfold(*nested->schema, *nested->array, outer, 0)) {
      FUZZ_CHECK(row < flat->array->length);
      Cells cells;
      for (int64_t i = 0; i < fields.n_children; ++i)
        AddCell(*fields.children[i], *flat->array->children[i], flat->array->offset + row,
                static_cast<size_t>(i), &cells);
      FUZZ_CHECK(cells == expected);
      ++row;
    }
  }
  FUZZ_CHECK(row == flat->array->length);
}

void flatten(const uint8_t* data, size_t size) {
  const std::string reply(reinterpret_cast<const char*>(data), size);
  fuzz::Random random(size == 0 ? 0 : uint64_t{data[size - 1]} << 16 | size);
  replies::Unpack unpack;
  unpack.all = random.OneIn(2);
  if (random.OneIn(2)) unpack.fields = {"ShiJian", "Id"};
  CheckDecoded(reply, unpack);

  replies::TableRequest request;
  request.decode = random.OneIn(2);
  request.unpack = unpack;
  if (!request.decode && random.OneIn(3))
    request.type =
        random.Of({TPTypeDaDan, TPTypeFenLeiChiCang, TPTypeBxzjStock, TPTypeToken, TPTypeZhiBiao1});
  CheckFlat(reply, request);
}

}  // namespace

FUZZ_TARGET_WITH_MUTATOR(flatten, 4096, fuzz::Kind::kReplies, &fuzz::ChangeReply)
