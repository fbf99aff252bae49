#include "tests/support/arrow_columns.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <numeric>

namespace arrow_columns {
namespace {

void AppendInt32(std::string* to, size_t number) {
  const auto value = static_cast<int32_t>(number);
  to->append(reinterpret_cast<const char*>(&value), sizeof(value));
}

std::string EncodeMetadata(const Column& column) {
  std::string bytes;
  AppendInt32(&bytes, column.metadata.size());
  for (const auto& [key, value] : column.metadata) {
    AppendInt32(&bytes, key.size());
    bytes += key;
    AppendInt32(&bytes, value.size());
    bytes += value;
  }
  return bytes;
}

struct SchemaOwner {
  std::string format;
  std::string name;
  std::string metadata;
  std::vector<ArrowSchema> children;
  std::vector<ArrowSchema*> pointers;
};

struct ArrayOwner {
  std::vector<std::unique_ptr<char[]>> memory;
  std::vector<const void*> buffers;
  std::vector<ArrowArray> children;
  std::vector<ArrowArray*> pointers;
};

template <typename T, typename Owner>
void Release(T* value) {
  auto* owner = static_cast<Owner*>(value->private_data);
  for (T* child : owner->pointers) {
    if (child->release != nullptr) child->release(child);
  }
  delete owner;
  value->release = nullptr;
}

struct StreamOwner {
  Column schema;
  std::vector<Column> batches;
  std::string error;
  size_t next = 0;
};

StreamOwner* OwnerOf(ArrowArrayStream* stream) {
  return static_cast<StreamOwner*>(stream->private_data);
}

int GetSchema(ArrowArrayStream* stream, ArrowSchema* out) {
  *out = ExportSchema(OwnerOf(stream)->schema);
  return 0;
}

int GetNext(ArrowArrayStream* stream, ArrowArray* out) {
  StreamOwner* owner = OwnerOf(stream);
  *out = ArrowArray{};
  if (owner->next < owner->batches.size()) {
    *out = ExportArray(owner->batches[owner->next++]);
    return 0;
  }
  return owner->error.empty() ? 0 : EIO;
}

const char* GetLastError(ArrowArrayStream* stream) {
  return OwnerOf(stream)->error.c_str();
}

void ReleaseStream(ArrowArrayStream* stream) {
  delete OwnerOf(stream);
  stream->release = nullptr;
}

template <typename T>
Buffer OffsetsOf(const std::vector<std::string>& values) {
  std::vector<T> offsets = {0};
  for (const std::string& value : values)
    offsets.push_back(offsets.back() + static_cast<T>(value.size()));
  return Values(offsets);
}

}  // namespace

Buffer Bits(const std::string& bits) {
  if (bits.empty()) return std::nullopt;
  std::string bytes((bits.size() + 7) / 8, '\0');
  for (size_t i = 0; i < bits.size(); ++i) {
    if (bits[i] == '1')
      bytes[i / 8] = static_cast<char>(static_cast<unsigned char>(bytes[i / 8]) | 1U << (i % 8));
  }
  return bytes;
}

Column Bools(const std::string& name, const std::string& bits, const std::string& valid) {
  return {"b", name, static_cast<int64_t>(bits.size()), {Bits(valid), Bits(bits)}, {}};
}

Column Texts(const std::string& format, const std::string& name, const std::vector<std::string>& values,
             const std::string& valid) {
  const bool large = format == "U" || format == "Z";
  Buffer offsets = large ? OffsetsOf<int64_t>(values) : OffsetsOf<int32_t>(values);
  Buffer bytes = std::accumulate(values.begin(), values.end(), std::string());
  return {format, name, static_cast<int64_t>(values.size()), {Bits(valid), offsets, bytes}, {}};
}

Column List(const std::string& name, const std::vector<int32_t>& offsets, const Column& values,
            const std::string& valid) {
  return {"+l", name, static_cast<int64_t>(offsets.size()) - 1, {Bits(valid), Values(offsets)}, {values}};
}

Column LargeList(const std::string& name, const std::vector<int64_t>& offsets, const Column& values,
                 const std::string& valid) {
  return {"+L", name, static_cast<int64_t>(offsets.size()) - 1, {Bits(valid), Values(offsets)}, {values}};
}

Column FixedSizeList(const std::string& name, int64_t size, const Column& values, const std::string& valid) {
  return {"+w:" + std::to_string(size), name, values.length / size, {Bits(valid)}, {values}};
}

Column Struct(const std::string& name, int64_t length, const std::vector<Column>& children,
              const std::string& valid) {
  return {"+s", name, length, {Bits(valid)}, children};
}

Column Batch(const std::vector<Column>& columns) {
  return Struct("", columns.front().length, columns);
}

Column Sliced(Column column, int64_t offset, int64_t length) {
  column.offset += offset;
  column.length = length;
  return column;
}

Column WithSlicedColumns(Column batch, int64_t offset, int64_t length) {
  for (Column& column : batch.children)
    column = Sliced(column, offset, length);
  batch.length = length;
  return batch;
}

ArrowSchema ExportSchema(const Column& column) {
  auto owner = std::make_unique<SchemaOwner>();
  owner->format = column.format;
  owner->name = column.name;
  if (!column.metadata.empty()) owner->metadata = EncodeMetadata(column);
  for (const Column& child : column.children)
    owner->children.push_back(ExportSchema(child));
  for (ArrowSchema& child : owner->children)
    owner->pointers.push_back(&child);
  ArrowSchema schema{};
  schema.format = owner->format.c_str();
  schema.name = owner->name.c_str();
  schema.metadata = owner->metadata.empty() ? nullptr : owner->metadata.data();
  schema.flags = column.nullable ? ARROW_FLAG_NULLABLE : 0;
  schema.n_children = static_cast<int64_t>(owner->pointers.size());
  schema.children = owner->pointers.data();
  schema.release = Release<ArrowSchema, SchemaOwner>;
  schema.private_data = owner.release();
  return schema;
}

ArrowArray ExportArray(const Column& column) {
  auto owner = std::make_unique<ArrayOwner>();
  for (const Buffer& buffer : column.buffers) {
    owner->memory.emplace_back(buffer ? new char[buffer->size()] : nullptr);
    if (buffer) std::copy(buffer->begin(), buffer->end(), owner->memory.back().get());
    owner->buffers.push_back(owner->memory.back().get());
  }
  for (const Column& child : column.children)
    owner->children.push_back(ExportArray(child));
  for (ArrowArray& child : owner->children)
    owner->pointers.push_back(&child);
  ArrowArray array{};
  array.length = column.length;
  array.null_count = column.null_count;
  array.offset = column.offset;
  array.n_buffers = static_cast<int64_t>(owner->buffers.size());
  array.n_children = static_cast<int64_t>(owner->pointers.size());
  array.buffers = owner->buffers.data();
  array.children = owner->pointers.data();
  array.release = Release<ArrowArray, ArrayOwner>;
  array.private_data = owner.release();
  return array;
}

ArrowArrayStream ExportStream(const Column& schema, const std::vector<Column>& batches,
                              const std::string& error) {
  ArrowArrayStream stream{};
  stream.get_schema = GetSchema;
  stream.get_next = GetNext;
  stream.get_last_error = GetLastError;
  stream.release = ReleaseStream;
  stream.private_data = new StreamOwner{schema, batches, error};
  return stream;
}

}  // namespace arrow_columns
