#include "bench/peers.h"

#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <jansson.h>

#include <array>
#include <vector>

#include <protozero/pbf_reader.hpp>

#include "MSG.proto.h"
#include "tesparser/message_to_json.h"
#include "tesparser/packed_decimal.h"
#include "tesparser/tesparser.h"

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

json_t* PlainObject(const Message& message);

json_t* PlainValue(const Message& m, const FieldDescriptor* f, int i) {
  const Reflection* r = m.GetReflection();
  const bool many = f->is_repeated();
  json_t* value = nullptr;
  switch (FieldDescriptor::TypeToCppType(f->type())) {
    case FieldDescriptor::CPPTYPE_INT32:
      value = json_integer(many ? r->GetRepeatedInt32(m, f, i) : r->GetInt32(m, f));
      break;
    case FieldDescriptor::CPPTYPE_INT64:
      value = json_integer(many ? r->GetRepeatedInt64(m, f, i) : r->GetInt64(m, f));
      break;
    case FieldDescriptor::CPPTYPE_UINT32:
      value = json_integer(many ? r->GetRepeatedUInt32(m, f, i) : r->GetUInt32(m, f));
      break;
    case FieldDescriptor::CPPTYPE_UINT64:
      value =
          json_integer(static_cast<json_int_t>(many ? r->GetRepeatedUInt64(m, f, i) : r->GetUInt64(m, f)));
      break;
    case FieldDescriptor::CPPTYPE_DOUBLE:
      value = json_real(many ? r->GetRepeatedDouble(m, f, i) : r->GetDouble(m, f));
      break;
    case FieldDescriptor::CPPTYPE_FLOAT:
      value = json_real(static_cast<double>(many ? r->GetRepeatedFloat(m, f, i) : r->GetFloat(m, f)));
      break;
    case FieldDescriptor::CPPTYPE_BOOL:
      value = (many ? r->GetRepeatedBool(m, f, i) : r->GetBool(m, f)) ? json_true() : json_false();
      break;
    case FieldDescriptor::CPPTYPE_ENUM:
      value = json_integer((many ? r->GetRepeatedEnum(m, f, i) : r->GetEnum(m, f))->number());
      break;
    case FieldDescriptor::CPPTYPE_STRING: {
      std::string scratch;
      const std::string& text =
          many ? r->GetRepeatedStringReference(m, f, i, &scratch) : r->GetStringReference(m, f, &scratch);
      value = f->type() == FieldDescriptor::TYPE_BYTES ? json_string(Base64Encode(text).c_str())
                                                       : json_string(text.c_str());
      break;
    }
    case FieldDescriptor::CPPTYPE_MESSAGE:
      value = PlainObject(many ? r->GetRepeatedMessage(m, f, i) : r->GetMessage(m, f));
      break;
  }
  if (value == nullptr) throw j2pb_error(f, "Fail to convert to json");
  return value;
}

json_t* PlainObject(const Message& message) {
  JsonValueGuard root(json_object());
  std::vector<const FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) {
    json_t* value = nullptr;
    if (field->is_repeated()) {
      const int n = message.GetReflection()->FieldSize(message, field);
      JsonValueGuard array(json_array());
      for (int i = 0; i < n; ++i)
        json_array_append_new(array.get(), PlainValue(message, field, i));
      value = array.release();
    } else if (message.GetReflection()->HasField(message, field)) {
      value = PlainValue(message, field, 0);
    }
    json_object_set_new(root.get(), field->name().c_str(), value);
  }
  return root.release();
}

constexpr int kSnapshotColumns = 21;
// The column of each field number of a snapshot; -1 for the ones that no column shows.
constexpr std::array<int, 82> SnapshotColumnOfField() {
  std::array<int, 82> column{};
  for (int& c : column)
    c = -1;
  constexpr int kFields[kSnapshotColumns] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                             12, 13, 14, 15, 17, 18, 19, 20, 78, 81};
  for (int i = 0; i < kSnapshotColumns; ++i)
    column[static_cast<size_t>(kFields[i])] = i;
  return column;
}

}  // namespace

bool BenchParse(const std::string& reply) {
  tessel::MSG message;
  return message.ParseFromString(reply);
}

std::string BenchPlainJson(const std::string& reply) {
  tessel::MSG message;
  std::string text;
  if (!message.ParseFromString(reply)) return text;
  JsonValueGuard root(PlainObject(message));
  json_dump_callback(
      root.get(),
      [](const char* buffer, size_t size, void* data) {
        static_cast<std::string*>(data)->append(buffer, size);
        return 0;
      },
      &text, 0);
  return text;
}

std::string BenchProtobufJson(const std::string& reply) {
  tessel::MSG message;
  std::string text;
  if (!message.ParseFromString(reply)) return text;
  google::protobuf::util::JsonPrintOptions options;
  options.preserve_proto_field_names = true;
  (void)google::protobuf::util::MessageToJsonString(message, &text, options);
  return text;
}

std::string BenchTextFormat(const std::string& reply) {
  tessel::MSG message;
  std::string text;
  if (message.ParseFromString(reply)) google::protobuf::TextFormat::PrintToString(message, &text);
  return text;
}

size_t BenchDirectSnapshot(const std::string& reply) {
  static constexpr std::array<int, 82> kColumn = SnapshotColumnOfField();
  std::vector<std::string> codes;
  std::array<std::vector<double>, kSnapshotColumns> columns;
  protozero::pbf_reader envelope(reply);
  while (envelope.next(tessel::IDQuoteDynaSingle)) {
    std::array<double, kSnapshotColumns> row{};
    protozero::pbf_reader element = envelope.get_message();
    while (element.next()) {
      if (element.tag() == 1) {
        codes.push_back(element.get_string());
      } else if (element.tag() == 2) {
        protozero::pbf_reader data = element.get_message();
        while (data.next()) {
          const int column = data.tag() < kColumn.size() ? kColumn[data.tag()] : -1;
          if (column < 0) {
            data.skip();
          } else {
            row[static_cast<size_t>(column)] = DecodePacked(data.get_int64());
          }
        }
      } else {
        element.skip();
      }
    }
    for (size_t c = 0; c < row.size(); ++c)
      columns[c].push_back(row[c]);
  }
  return codes.size() + columns.size() * columns[0].size();
}

size_t BenchDirectKline(const std::string& reply) {
  constexpr size_t kColumns = 14;
  size_t cells = 0;
  protozero::pbf_reader envelope(reply);
  while (envelope.next(tessel::IDQuoteKlineSingle)) {
    std::string code;
    std::array<std::vector<double>, kColumns> columns;
    protozero::pbf_reader element = envelope.get_message();
    while (element.next()) {
      if (element.tag() == 1) {
        code = element.get_string();
      } else if (element.tag() == 2) {
        std::array<double, kColumns> row{};
        protozero::pbf_reader bar = element.get_message();
        while (bar.next()) {
          if (bar.tag() <= kColumns) {
            row[bar.tag() - 1] = DecodePacked(bar.get_int64());
          } else {
            bar.skip();
          }
        }
        for (size_t c = 0; c < kColumns; ++c)
          columns[c].push_back(row[c]);
      } else {
        element.skip();
      }
    }
    cells += 1 + kColumns * columns[0].size();
  }
  return cells;
}
