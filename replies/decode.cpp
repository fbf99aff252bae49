#include "replies/decode.h"

#include <fmt/format.h>
#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "replies/columns.h"
#include "replies/schema.h"
#include "tesparser/tesparser.h"

namespace replies {
namespace {

namespace pb = google::protobuf;

// ---- which numbers are packed -----------------------------------------------------------------------------

using FieldNames = std::set<std::string>;  // "tessel.Message.Field"

struct KnownFields {
  FieldNames packed;
  FieldNames plain;
};

// The field at the end of a path like "Data.ZuiXinJia"; null if there is none.
const pb::FieldDescriptor* FieldAt(const pb::Descriptor* message, std::string_view path) {
  const pb::FieldDescriptor* field = nullptr;
  while (message != nullptr && !path.empty()) {
    const size_t dot = std::min(path.find('.'), path.size());
    field = message->FindFieldByName(std::string(path.substr(0, dot)));
    message = field == nullptr ? nullptr : field->message_type();
    path.remove_prefix(std::min(dot + 1, path.size()));
  }
  return path.empty() ? field : nullptr;
}

bool IsWide(const pb::FieldDescriptor& field) {
  return field.cpp_type() == pb::FieldDescriptor::CPPTYPE_INT64;
}

void Note(const pb::Descriptor* payload, std::string_view source, FieldNames* to) {
  while (!source.empty()) {
    const size_t comma = std::min(source.find(", "), source.size());
    const pb::FieldDescriptor* field = FieldAt(payload, source.substr(0, comma));
    if (field != nullptr && IsWide(*field)) to->insert(field->full_name());
    source.remove_prefix(std::min(comma + 2, source.size()));
  }
}

KnownFields CollectKnown(const pb::Descriptor& envelope) {
  KnownFields known;
  for (const TableDescription& table : DescribedTables()) {
    const TableDescription* outer = DescribeTable(table.id, table.type, "");
    if (outer == nullptr) continue;
    const pb::FieldDescriptor* field = envelope.FindFieldByName(std::string(outer->field));
    if (field == nullptr || field->message_type() == nullptr) continue;
    for (const ColumnDescription& column : table.columns) {
      const bool packed = column.made == "truncated" || column.made == "rounded" || column.Is("packed") ||
                          column.made.substr(0, 7) == "decoded";
      if (packed || column.made == "plain")
        Note(field->message_type(), column.source, packed ? &known.packed : &known.plain);
      for (const ElementDescription& element : column.elements)
        Note(field->message_type(), fmt::format("{}.{}", column.source, element.source), &known.packed);
    }
  }
  return known;
}

const KnownFields& Known(const pb::Descriptor& envelope) {
  static const auto* const known = new KnownFields(CollectKnown(envelope));
  return *known;
}

// In these families 64-bit integers are moments, counts and identifiers; in all others numbers of the market.
bool IsMarketData(std::string_view family) {
  constexpr std::array<std::string_view, 7> kOthers = {"envelope", "news",        "push",       "live room",
                                                       "user",     "service bus", "entitlement"};
  return std::find(kOthers.begin(), kOthers.end(), family) == kOthers.end();
}

// ---- tables -----------------------------------------------------------------------------------------------

// The columns of one message type.
struct Layout {
  std::string spec;
  std::vector<bool> unpacked;  // by the field's index
};

class Decoder {
 public:
  Decoder(const pb::Descriptor& envelope, int32_t id, const Unpack& unpack)
      : known_(Known(envelope)), unpack_(unpack) {
    const PayloadDescription* payload = DescribePayload(id);
    all_ = unpack.all && payload != nullptr && IsMarketData(payload->family);
  }

  tsl_base::Table Messages(const pb::Message& holder, const pb::FieldDescriptor& field);
  tsl_base::Table Values(const pb::Message& holder, const pb::FieldDescriptor& field);
  // Describes the table of a field, and those inside it.
  void Tell(const pb::FieldDescriptor& field, const std::string& path, std::vector<DecodedTable>* tables);

 private:
  const Layout& LayoutOf(const pb::Descriptor* message);
  bool IsUnpacked(const pb::FieldDescriptor& field) const;
  char Letter(const pb::FieldDescriptor& field) const;
  tsl_base::Table NewTable(const std::string& spec, int rows);
  void SetRow(void* table, int row, const pb::Message& message);
  static void SetValue(void* table, int row, int col, const pb::Message& message,
                       const pb::FieldDescriptor& field, int index, bool unpacked);

  const KnownFields& known_;
  const Unpack& unpack_;
  bool all_ = false;
  std::map<const pb::Descriptor*, Layout> layouts_;
  std::set<const pb::Descriptor*> open_;  // the messages that are being told of
  // A table of each long spec, to make the others alike: reading such a spec for each of thousands of tables
  // would take longer than all the rest.
  std::map<const std::string*, tsl_base::Table> models_;
};

bool Decoder::IsUnpacked(const pb::FieldDescriptor& field) const {
  if (!IsWide(field)) return false;
  if (std::find(unpack_.fields.begin(), unpack_.fields.end(), field.name()) != unpack_.fields.end())
    return true;
  if (known_.packed.count(field.full_name()) != 0) return true;
  return all_ && known_.plain.count(field.full_name()) == 0;
}

char Decoder::Letter(const pb::FieldDescriptor& field) const {
  switch (field.cpp_type()) {
    case pb::FieldDescriptor::CPPTYPE_INT32:
    case pb::FieldDescriptor::CPPTYPE_ENUM: return 'i';
    case pb::FieldDescriptor::CPPTYPE_INT64: return IsUnpacked(field) ? 'd' : 'q';
    case pb::FieldDescriptor::CPPTYPE_UINT32: return 'I';
    case pb::FieldDescriptor::CPPTYPE_UINT64: return 'Q';
    case pb::FieldDescriptor::CPPTYPE_FLOAT: return 'f';
    case pb::FieldDescriptor::CPPTYPE_DOUBLE: return 'd';
    case pb::FieldDescriptor::CPPTYPE_BOOL: return 'C';
    case pb::FieldDescriptor::CPPTYPE_STRING:
      return field.type() == pb::FieldDescriptor::TYPE_BYTES ? 'b' : 's';
    case pb::FieldDescriptor::CPPTYPE_MESSAGE: return 't';
  }
  return 'q';
}

const Layout& Decoder::LayoutOf(const pb::Descriptor* message) {
  const auto [at, fresh] = layouts_.try_emplace(message);
  Layout& layout = at->second;
  if (!fresh) return layout;
  for (int i = 0; i < message->field_count(); ++i) {
    const pb::FieldDescriptor& field = *message->field(i);
    layout.spec += fmt::format("{}:{};", field.name(), field.is_repeated() ? 't' : Letter(field));
    layout.unpacked.push_back(IsUnpacked(field));
  }
  return layout;
}

std::string TypeText(const pb::FieldDescriptor& field) {
  std::string text = field.is_repeated() ? "repeated " : "";
  if (field.message_type() != nullptr) return text + field.message_type()->name();
  if (field.enum_type() != nullptr) return text + field.enum_type()->name();
  return text + field.type_name();
}

DecodedColumn ColumnOf(const pb::FieldDescriptor& field, char letter) {
  return {field.name(), letter, TypeText(field)};
}

void Decoder::Tell(const pb::FieldDescriptor& field, const std::string& path,
                   std::vector<DecodedTable>* tables) {
  const pb::Descriptor* message = field.message_type();
  DecodedTable table{path, {}};
  if (message == nullptr) {
    table.columns.push_back(ColumnOf(field, Letter(field)));
    tables->push_back(std::move(table));
    return;
  }
  for (int i = 0; i < message->field_count(); ++i) {
    const pb::FieldDescriptor& inner = *message->field(i);
    table.columns.push_back(ColumnOf(inner, inner.is_repeated() ? 't' : Letter(inner)));
  }
  tables->push_back(std::move(table));
  open_.insert(message);
  for (int i = 0; i < message->field_count(); ++i) {
    const pb::FieldDescriptor& inner = *message->field(i);
    const bool nested = inner.is_repeated() || inner.message_type() != nullptr;
    if (!nested || open_.count(inner.message_type()) != 0) continue;
    Tell(inner, path.empty() ? inner.name() : path + "/" + inner.name(), tables);
  }
  open_.erase(message);
}

// Specs up to this length are remembered by the table library itself.
constexpr size_t kShortSpec = 4096;

tsl_base::Table Decoder::NewTable(const std::string& spec, int rows) {
  if (spec.size() <= kShortSpec) return tsl_base::Table(table_create(spec.c_str(), rows, ""));
  tsl_base::Table& model = models_[&spec];
  if (!model) model = tsl_base::Table(table_create(spec.c_str(), 0, ""));
  return tsl_base::Table(table_create_like(model.get(), rows, ""));
}

void SetUnpacked(void* table, int row, int col, int64_t packed) {
  int divisor = 0;
  const double value = TesparserInt64ToDouble(packed, &divisor);
  if (divisor != 0) table_set_double(table, row, col, value);
}

void Decoder::SetValue(void* table, int row, int col, const pb::Message& message,
                       const pb::FieldDescriptor& field, int index, bool unpacked) {
  const pb::Reflection& r = *message.GetReflection();
  const bool many = field.is_repeated();
  switch (field.cpp_type()) {
    case pb::FieldDescriptor::CPPTYPE_INT32:
      table_set_int(table, row, col,
                    many ? r.GetRepeatedInt32(message, &field, index) : r.GetInt32(message, &field));
      break;
    case pb::FieldDescriptor::CPPTYPE_ENUM:
      table_set_int(table, row, col,
                    many ? r.GetRepeatedEnumValue(message, &field, index) : r.GetEnumValue(message, &field));
      break;
    case pb::FieldDescriptor::CPPTYPE_INT64: {
      const int64_t value = many ? r.GetRepeatedInt64(message, &field, index) : r.GetInt64(message, &field);
      if (unpacked) {
        SetUnpacked(table, row, col, value);
      } else {
        table_set_int64(table, row, col, value);
      }
      break;
    }
    case pb::FieldDescriptor::CPPTYPE_UINT32:
      table_set_uint(table, row, col,
                     many ? r.GetRepeatedUInt32(message, &field, index) : r.GetUInt32(message, &field));
      break;
    case pb::FieldDescriptor::CPPTYPE_UINT64:
      table_set_uint64(table, row, col,
                       many ? r.GetRepeatedUInt64(message, &field, index) : r.GetUInt64(message, &field));
      break;
    case pb::FieldDescriptor::CPPTYPE_FLOAT:
      table_set_float(table, row, col,
                      many ? r.GetRepeatedFloat(message, &field, index) : r.GetFloat(message, &field));
      break;
    case pb::FieldDescriptor::CPPTYPE_DOUBLE:
      table_set_double(table, row, col,
                       many ? r.GetRepeatedDouble(message, &field, index) : r.GetDouble(message, &field));
      break;
    case pb::FieldDescriptor::CPPTYPE_BOOL: {
      const unsigned char value =
          (many ? r.GetRepeatedBool(message, &field, index) : r.GetBool(message, &field)) ? 1 : 0;
      table_set_buff(table, row, col, &value, 1, 0);
      break;
    }
    case pb::FieldDescriptor::CPPTYPE_STRING: {
      std::string scratch;
      const std::string& text = many ? r.GetRepeatedStringReference(message, &field, index, &scratch)
                                     : r.GetStringReference(message, &field, &scratch);
      if (field.type() == pb::FieldDescriptor::TYPE_BYTES) {
        table_set_binary(table, row, col, static_cast<int>(text.size()), text.data(), 1);
      } else {
        table_set_str(table, row, col, text.c_str(), 1);
      }
      break;
    }
    case pb::FieldDescriptor::CPPTYPE_MESSAGE: break;  // a table of its own
  }
}

void Decoder::SetRow(void* table, int row, const pb::Message& message) {
  const pb::Descriptor& type = *message.GetDescriptor();
  const Layout& layout = LayoutOf(&type);
  const pb::Reflection& reflection = *message.GetReflection();
  for (int col = 0; col < type.field_count(); ++col) {
    const pb::FieldDescriptor& field = *type.field(col);
    const bool here = field.is_repeated() ? reflection.FieldSize(message, &field) != 0
                                          : reflection.HasField(message, &field);
    if (!here) continue;
    if (field.message_type() != nullptr) {
      table_set_table_raw(table, row, col, Messages(message, field).release());
    } else if (field.is_repeated()) {
      table_set_table_raw(table, row, col, Values(message, field).release());
    } else {
      SetValue(table, row, col, message, field, 0, layout.unpacked[static_cast<size_t>(col)]);
    }
  }
}

// The messages of a field, a row each. Nesting is bounded: the parser has refused what is deeper than it
// goes.
tsl_base::Table Decoder::Messages(const pb::Message& holder, const pb::FieldDescriptor& field) {
  const pb::Reflection& reflection = *holder.GetReflection();
  const int rows = field.is_repeated() ? reflection.FieldSize(holder, &field) : 1;
  tsl_base::Table table = NewTable(LayoutOf(field.message_type()).spec, rows);
  for (int row = 0; row < rows; ++row) {
    SetRow(table.get(), row,
           field.is_repeated() ? reflection.GetRepeatedMessage(holder, &field, row)
                               : reflection.GetMessage(holder, &field));
  }
  return table;
}

// The numbers or texts of a field, a row each.
tsl_base::Table Decoder::Values(const pb::Message& holder, const pb::FieldDescriptor& field) {
  const int rows = field.is_repeated() ? holder.GetReflection()->FieldSize(holder, &field) : 1;
  const std::string spec = fmt::format("{}:{}", field.name(), Letter(field));
  tsl_base::Table table(table_create(spec.c_str(), rows, ""));
  const bool unpacked = IsUnpacked(field);
  for (int row = 0; row < rows; ++row)
    SetValue(table.get(), row, 0, holder, field, row, unpacked);
  return table;
}

// The envelope's own fields are no payload of any Id.
const pb::FieldDescriptor* PayloadField(const pb::Descriptor& envelope, int32_t id) {
  const pb::FieldDescriptor* field = envelope.FindFieldByNumber(id);
  if (field == nullptr || field->name() == "Id" || field->name() == "Obj" || field->name() == "ObjCount")
    return nullptr;
  return field;
}

}  // namespace

tsl_base::Table DecodePayload(const pb::Message& reply, const Unpack& unpack, std::string* error) {
  const int32_t id = IdOf(reply);
  const pb::FieldDescriptor* field = PayloadField(*reply.GetDescriptor(), id);
  if (field == nullptr) {
    *error = fmt::format("Id {} has no payload in the schema", id);
    return {};
  }
  const pb::Reflection& reflection = *reply.GetReflection();
  const bool here =
      field->is_repeated() ? reflection.FieldSize(reply, field) != 0 : reflection.HasField(reply, field);
  if (!here) {
    *error = fmt::format("\"{}\", the payload of Id {}, is empty", field->name(), id);
    return {};
  }
  Decoder decoder(*reply.GetDescriptor(), id, unpack);
  return field->message_type() != nullptr ? decoder.Messages(reply, *field) : decoder.Values(reply, *field);
}

std::vector<DecodedTable> DecodedTables(const pb::Descriptor& envelope, int32_t id, const Unpack& unpack) {
  std::vector<DecodedTable> tables;
  const pb::FieldDescriptor* field = PayloadField(envelope, id);
  if (field == nullptr) return tables;
  Decoder(envelope, id, unpack).Tell(*field, "", &tables);
  return tables;
}

}  // namespace replies
