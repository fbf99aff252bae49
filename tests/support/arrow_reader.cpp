#include "tests/support/arrow_reader.h"

#include <fmt/format.h>

#include <cstring>
#include <stdexcept>

#include "replies/arrow_check.h"
#include "replies/arrow_ipc_generated.h"
#include "tests/support/arrow_rows.h"

namespace arrow_reader {
namespace {

namespace ipc = replies::ipc;
using arrow_columns::Column;

void Require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

struct Message {
  std::string metadata;
  std::string body;
  const ipc::Message& root() const { return *ipc::GetMessage(metadata.data()); }
};

int32_t Int32At(const std::string& bytes, size_t at) {
  Require(at + 4 <= bytes.size(), "cut off");
  int32_t value = 0;
  std::memcpy(&value, bytes.data() + at, sizeof(value));
  return value;
}

// False at the mark of the end.
bool TakeMessage(const std::string& bytes, size_t* at, Message* message) {
  Require(Int32At(bytes, *at) == -1, "no mark in front of a message");
  const auto size = static_cast<size_t>(Int32At(bytes, *at + 4));
  *at += 8;
  if (size == 0) return false;
  Require(size <= bytes.size() - *at, "metadata cut off");
  message->metadata = bytes.substr(*at, size);
  flatbuffers::Verifier verifier(reinterpret_cast<const uint8_t*>(message->metadata.data()), size, 200);
  Require(ipc::VerifyMessageBuffer(verifier), "metadata that cannot be read");
  *at += size;
  const auto body = static_cast<size_t>(message->root().body_length());
  Require(body <= bytes.size() - *at, "a body cut off");
  message->body = bytes.substr(*at, body);
  *at += body;
  return true;
}

std::string FormatOf(const ipc::Field& field) {
  if (const auto* type = field.type_as_Int()) {
    const std::string formats = type->is_signed() ? "csil" : "CSIL";
    const size_t place = type->bits() == 8 ? 0 : type->bits() == 16 ? 1 : type->bits() == 32 ? 2 : 3;
    return formats.substr(place, 1);
  }
  if (const auto* type = field.type_as_FloatingPoint())
    return type->precision() == ipc::Precision::Double ? "g" : "f";
  if (field.type_as_Utf8() != nullptr) return "u";
  if (field.type_as_Binary() != nullptr) return "z";
  if (field.type_as_List() != nullptr) return "+l";
  if (field.type_as_Struct() != nullptr) return "+s";
  if (field.type_as_Null() != nullptr) return "n";
  if (const auto* type = field.type_as_FixedSizeList()) return fmt::format("+w:{}", type->size());
  if (field.type_as_Timestamp() != nullptr) return "tss:";
  throw std::runtime_error("a type that no table has");
}

using Pairs = flatbuffers::Vector<flatbuffers::Offset<ipc::KeyValue>>;

std::vector<std::pair<std::string, std::string>> PairsOf(const Pairs* pairs) {
  std::vector<std::pair<std::string, std::string>> all;
  if (pairs == nullptr) return all;
  for (const ipc::KeyValue* pair : *pairs)
    all.emplace_back(pair->key()->str(), pair->value()->str());
  return all;
}

Column FieldOf(const ipc::Field& field) {
  Column column;
  column.format = FormatOf(field);
  column.name = field.name()->str();
  column.nullable = field.nullable();
  column.metadata = PairsOf(field.metadata());
  for (const ipc::Field* child : *field.children())
    column.children.push_back(FieldOf(*child));
  return column;
}

class BatchReader {
 public:
  BatchReader(const ipc::RecordBatch& batch, const std::string& body) : batch_(batch), body_(body) {}

  void Fill(Column* column) {
    Require(node_ < batch_.nodes()->size(), "too few nodes");
    const ipc::FieldNode& node = *batch_.nodes()->Get(node_++);
    column->length = node.length();
    column->null_count = node.null_count();
    const std::string& format = column->format;
    if (format != "n") column->buffers.push_back(TakeBuffer(node.null_count() == 0));
    if (format != "n" && format != "+s" && format[1] != 'w') column->buffers.push_back(TakeBuffer(false));
    if (format == "u" || format == "z") column->buffers.push_back(TakeBuffer(false));
    for (Column& child : column->children)
      Fill(&child);
  }

  void RequireEnd() const {
    Require(node_ == batch_.nodes()->size() && buffer_ == batch_.buffers()->size(),
            "nodes or buffers left over");
  }

 private:
  arrow_columns::Buffer TakeBuffer(bool is_bitmap_of_no_nulls) {
    Require(buffer_ < batch_.buffers()->size(), "too few buffers");
    const ipc::Buffer& buffer = *batch_.buffers()->Get(buffer_++);
    const auto offset = static_cast<size_t>(buffer.offset());
    const auto length = static_cast<size_t>(buffer.length());
    Require(offset <= body_.size() && length <= body_.size() - offset, "a buffer behind the body");
    if (is_bitmap_of_no_nulls && length == 0) return std::nullopt;
    return body_.substr(offset, length);
  }

  const ipc::RecordBatch& batch_;
  const std::string& body_;
  unsigned node_ = 0;
  unsigned buffer_ = 0;
};

Column BatchOf(const Column& schema, const Message& message) {
  const ipc::RecordBatch* batch = message.root().header_as_RecordBatch();
  Require(batch != nullptr, "a message that is no batch");
  Column column = schema;
  column.length = batch->length();
  column.null_count = 0;
  column.buffers = {std::nullopt};
  BatchReader reader(*batch, message.body);
  for (Column& child : column.children)
    reader.Fill(&child);
  reader.RequireEnd();
  return column;
}

void ReadInto(const std::string& bytes, Stream* stream) {
  size_t at = 0;
  Message message;
  Require(TakeMessage(bytes, &at, &message), "no schema");
  const ipc::Schema* schema = message.root().header_as_Schema();
  Require(schema != nullptr, "the first message is no schema");
  stream->schema.format = "+s";
  stream->schema.nullable = false;
  stream->schema.metadata = PairsOf(schema->metadata());
  for (const ipc::Field* field : *schema->fields())
    stream->schema.children.push_back(FieldOf(*field));
  while (TakeMessage(bytes, &at, &message))
    stream->batches.push_back(BatchOf(stream->schema, message));
  Require(at == bytes.size(), "bytes behind the end");
}

}  // namespace

Stream Read(const std::string& bytes) {
  Stream stream;
  try {
    ReadInto(bytes, &stream);
  } catch (const std::exception& error) {
    stream.fault = error.what();
  }
  return stream;
}

std::vector<std::string> RowsOf(const std::string& bytes) {
  const Stream stream = Read(bytes);
  std::vector<std::string> rows;
  for (const Column& batch : stream.batches) {
    arrow_columns::Owned<ArrowSchema> schema(ExportSchema(batch));
    arrow_columns::Owned<ArrowArray> array(ExportArray(batch));
    const std::string fault = replies::CheckArrow(*schema, *array);
    if (!fault.empty()) return {"fault: " + fault};
    for (std::string& row : arrow_rows::RowsOf(*schema, *array))
      rows.push_back(std::move(row));
  }
  if (!stream.fault.empty()) rows.push_back("fault: " + stream.fault);
  return rows;
}

}  // namespace arrow_reader
