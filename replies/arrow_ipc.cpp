#include "replies/arrow_ipc.h"

#include <bitset>
#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <vector>

#include "replies/arrow_ipc_generated.h"
#include "replies/arrow_type.h"

namespace replies {
namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;

constexpr size_t kAlignment = 8;  // of every message and every buffer in it
constexpr char kZeros[kAlignment] = {};

size_t PaddingBehind(size_t size) {
  return (kAlignment - size % kAlignment) % kAlignment;
}

void AppendWord(std::string* to, int64_t number) {
  const auto value = static_cast<int32_t>(number);
  to->append(reinterpret_cast<const char*>(&value), sizeof(value));
}

// `metadata` is a finished Message. In front of it go a mark, which older versions of the format had not, and
// its size.
bool WriteMetadata(const FlatBufferBuilder& metadata, const IpcSink& sink) {
  const size_t size = metadata.GetSize();
  const size_t padding = PaddingBehind(size);
  std::string bytes;
  bytes.reserve(8 + size + padding);
  AppendWord(&bytes, -1);
  AppendWord(&bytes, static_cast<int64_t>(size + padding));
  bytes.append(reinterpret_cast<const char*>(metadata.GetBufferPointer()), size);
  bytes.append(padding, '\0');
  return sink(bytes);
}

bool Refuse(const std::string& path, const std::string& why, std::string* error) {
  *error = path.empty() ? why : path + ": " + why;
  return false;
}

// ------------------------------------------------------------------------------------------------- schema

struct TypeOffset {
  ipc::Type tag;
  Offset<void> value;
};

ipc::TimeUnit UnitOf(ArrowTimeUnit unit) {
  switch (unit) {
    case ArrowTimeUnit::kSecond: return ipc::TimeUnit::Second;
    case ArrowTimeUnit::kMillisecond: return ipc::TimeUnit::Millisecond;
    case ArrowTimeUnit::kMicrosecond: return ipc::TimeUnit::Microsecond;
    case ArrowTimeUnit::kNanosecond: break;
  }
  return ipc::TimeUnit::Nanosecond;
}

Offset<void> CreateTimestampOf(const ArrowType& type, FlatBufferBuilder* to) {
  Offset<flatbuffers::String> zone;
  if (!type.zone.empty()) zone = to->CreateString(type.zone.data(), type.zone.size());
  return ipc::CreateTimestamp(*to, UnitOf(type.unit), zone).Union();
}

TypeOffset CreateType(const ArrowType& type, FlatBufferBuilder* to) {
  const bool large = type.bits == 64;
  switch (type.kind) {
    case ArrowKind::kNull: return {ipc::Type::Null, ipc::CreateNull(*to).Union()};
    case ArrowKind::kBool: return {ipc::Type::Bool, ipc::CreateBool(*to).Union()};
    case ArrowKind::kInt: return {ipc::Type::Int, ipc::CreateInt(*to, type.bits, true).Union()};
    case ArrowKind::kUint: return {ipc::Type::Int, ipc::CreateInt(*to, type.bits, false).Union()};
    case ArrowKind::kFloat: {
      const auto precision = large ? ipc::Precision::Double : ipc::Precision::Single;
      return {ipc::Type::FloatingPoint, ipc::CreateFloatingPoint(*to, precision).Union()};
    }
    case ArrowKind::kDecimal:
      return {ipc::Type::Decimal, ipc::CreateDecimal(*to, type.precision, type.scale, type.bits).Union()};
    case ArrowKind::kDate: return {ipc::Type::Date, ipc::CreateDate(*to, ipc::DateUnit::Day).Union()};
    case ArrowKind::kTimestamp: return {ipc::Type::Timestamp, CreateTimestampOf(type, to)};
    case ArrowKind::kUtf8:
      if (large) return {ipc::Type::LargeUtf8, ipc::CreateLargeUtf8(*to).Union()};
      return {ipc::Type::Utf8, ipc::CreateUtf8(*to).Union()};
    case ArrowKind::kBinary:
      if (large) return {ipc::Type::LargeBinary, ipc::CreateLargeBinary(*to).Union()};
      return {ipc::Type::Binary, ipc::CreateBinary(*to).Union()};
    case ArrowKind::kList:
      if (large) return {ipc::Type::LargeList, ipc::CreateLargeList(*to).Union()};
      return {ipc::Type::List, ipc::CreateList(*to).Union()};
    case ArrowKind::kFixedSizeList:
      return {ipc::Type::FixedSizeList, ipc::CreateFixedSizeList(*to, type.list_size).Union()};
    case ArrowKind::kStruct: break;
  }
  return {ipc::Type::Struct, ipc::CreateStruct(*to).Union()};
}

using PairOffsets = Offset<flatbuffers::Vector<Offset<ipc::KeyValue>>>;

// Null for no pairs.
PairOffsets CreatePairs(const ArrowMetadata& pairs, FlatBufferBuilder* to) {
  if (pairs.empty()) return {};
  std::vector<Offset<ipc::KeyValue>> offsets;
  for (const auto& [key, value] : pairs) {
    const auto key_offset = to->CreateString(key);
    offsets.push_back(ipc::CreateKeyValue(*to, key_offset, to->CreateString(value)));
  }
  return to->CreateVector(offsets);
}

bool CreateFields(const ArrowSchema& parent, const std::string& path, int depth, FlatBufferBuilder* to,
                  std::vector<Offset<ipc::Field>>* fields, std::string* error);

bool CreateField(const ArrowSchema& field, const std::string& path, int depth, FlatBufferBuilder* to,
                 Offset<ipc::Field>* result, std::string* error) {
  const auto type = ParseArrowFormat(field.format);
  if (!type) {
    const std::string format = field.format == nullptr ? "(null)" : field.format;
    return Refuse(path, "no type for the format \"" + format + "\"", error);
  }
  if (field.dictionary != nullptr) return Refuse(path, "dictionaries are not written", error);
  if (!type->Takes(field.n_children)) return Refuse(path, "wrong number of children", error);
  const auto pairs = ParseArrowMetadata(field.metadata);
  if (!pairs) return Refuse(path, "metadata of negative length", error);
  std::vector<Offset<ipc::Field>> children;
  if (!CreateFields(field, path, depth + 1, to, &children, error)) return false;

  const auto name = to->CreateString(field.name == nullptr ? "" : field.name);
  const TypeOffset type_offset = CreateType(*type, to);
  const auto children_offset = to->CreateVector(children);
  const auto metadata = CreatePairs(*pairs, to);
  const bool nullable = (field.flags & ARROW_FLAG_NULLABLE) != 0;
  *result =
      ipc::CreateField(*to, name, nullable, type_offset.tag, type_offset.value, 0, children_offset, metadata);
  return true;
}

bool CreateFields(const ArrowSchema& parent, const std::string& path, int depth, FlatBufferBuilder* to,
                  std::vector<Offset<ipc::Field>>* fields, std::string* error) {
  if (parent.n_children > 0 && depth > kMaxArrowDepth)
    return Refuse(path, "nested too deep, more than " + std::to_string(kMaxArrowDepth) + " levels", error);
  for (int64_t i = 0; i < parent.n_children; ++i) {
    const ArrowSchema& child = *parent.children[i];
    Offset<ipc::Field> field;
    if (!CreateField(child, ArrowFieldPath(path, child), depth, to, &field, error)) return false;
    fields->push_back(field);
  }
  return true;
}

// -------------------------------------------------------------------------------------------------- batch

const uint8_t* BytesOf(const ArrowArray& array, int64_t buffer) {
  return static_cast<const uint8_t*>(array.buffers[buffer]);
}

// `length` bits from bit `first` on, moved to the front of a byte. The bits behind them are 0.
std::string CopyBits(const uint8_t* bits, int64_t first, int64_t length) {
  const auto size = static_cast<size_t>((length + 7) / 8);
  std::string copy(size, '\0');
  if (size == 0) return copy;
  const uint8_t* from = bits + first / 8;
  const auto shift = static_cast<unsigned>(first % 8);
  const size_t from_size = static_cast<size_t>(first % 8 + length + 7) / 8;
  for (size_t i = 0; i < size; ++i) {
    const unsigned high = i + 1 < from_size ? from[i + 1] : 0U;
    copy[i] = static_cast<char>((from[i] | high << 8) >> shift);
  }
  if (const auto rest = static_cast<unsigned>(length % 8); rest != 0)
    copy.back() = static_cast<char>(static_cast<unsigned char>(copy.back()) & ((1U << rest) - 1));
  return copy;
}

int64_t CountOnes(const std::string& bits) {
  size_t ones = 0;
  for (const char byte : bits)
    ones += std::bitset<8>(static_cast<unsigned char>(byte)).count();
  return static_cast<int64_t>(ones);
}

template <typename T>
T Load(const uint8_t* buffer, int64_t index) {
  T value;
  std::memcpy(&value, buffer + index * static_cast<int64_t>(sizeof(T)), sizeof(T));
  return value;
}

int64_t LoadOffset(const uint8_t* buffer, int64_t index, int bits) {
  return bits == 64 ? Load<int64_t>(buffer, index) : Load<int32_t>(buffer, index);
}

// `count` offsets from `buffer` on, less the first of them.
template <typename T>
std::string Rebased(const uint8_t* buffer, int64_t count) {
  using Unsigned = std::make_unsigned_t<T>;
  const auto base = Load<Unsigned>(buffer, 0);
  std::string copy(static_cast<size_t>(count) * sizeof(T), '\0');
  for (int64_t i = 0; i < count; ++i) {
    const auto value = static_cast<Unsigned>(Load<Unsigned>(buffer, i) - base);
    std::memcpy(copy.data() + static_cast<size_t>(i) * sizeof(T), &value, sizeof(T));
  }
  return copy;
}

// Values that a parent asks an array for, counted from the array's own offset.
struct Slice {
  int64_t first = 0;
  int64_t length = 0;
};

// The buffers of one batch in the order in which they are written.
class Body {
 public:
  explicit Body(std::string* error) : error_(error) {}

  bool Add(const ArrowSchema& field, const ArrowArray& array, Slice slice, const std::string& path,
           int depth);

  // The columns of the batch: the children of its struct.
  bool AddColumns(const ArrowSchema& schema, const ArrowArray& batch);

  bool WriteMessage(int64_t rows, const IpcSink& sink) const;

 private:
  bool CheckShape(const ArrowSchema& field, const ArrowType& type, const ArrowArray& array, Slice slice,
                  const std::string& path) const;
  bool AddChild(const ArrowSchema& field, const ArrowArray& array, int64_t child, Slice slice,
                const std::string& path, int depth);
  bool AddStruct(const ArrowSchema& field, const ArrowArray& array, int64_t begin, int64_t length,
                 const std::string& path, int depth);
  bool AddFixedSizeList(const ArrowSchema& field, const ArrowType& type, const ArrowArray& array,
                        int64_t begin, int64_t length, const std::string& path, int depth);
  // Also finds what of the values, bytes or children, the offsets span.
  bool AddOffsets(const ArrowArray& array, const ArrowType& type, int64_t begin, int64_t length,
                  const std::string& path, Slice* values);
  bool AddBytes(const ArrowArray& array, Slice bytes, const std::string& path);
  void AddValidity(const ArrowArray& array, int64_t begin, int64_t length);
  void AddBuffer(const void* bytes, int64_t size);
  void AddOwnBuffer(std::string bytes);

  std::vector<ipc::FieldNode> nodes_;
  std::vector<ipc::Buffer> buffers_;
  std::vector<std::string_view> parts_;
  std::deque<std::string> own_;  // what some of the parts lie in
  int64_t size_ = 0;             // padded
  std::string* error_;
};

void Body::AddBuffer(const void* bytes, int64_t size) {
  buffers_.emplace_back(size_, size);
  if (size == 0) return;
  const auto length = static_cast<size_t>(size);
  parts_.emplace_back(static_cast<const char*>(bytes), length);
  size_ += static_cast<int64_t>(length + PaddingBehind(length));
}

void Body::AddOwnBuffer(std::string bytes) {
  own_.push_back(std::move(bytes));
  AddBuffer(own_.back().data(), static_cast<int64_t>(own_.back().size()));
}

// The nulls are counted here: those that the array tells are of its whole, not of a slice. A bitmap without
// nulls is left out.
void Body::AddValidity(const ArrowArray& array, int64_t begin, int64_t length) {
  const uint8_t* bits = BytesOf(array, 0);
  std::string copy = bits == nullptr ? std::string() : CopyBits(bits, begin, length);
  const int64_t nulls = bits == nullptr ? 0 : length - CountOnes(copy);
  nodes_.emplace_back(length, nulls);
  if (nulls == 0) return AddBuffer(nullptr, 0);
  AddOwnBuffer(std::move(copy));
}

bool Body::CheckShape(const ArrowSchema& field, const ArrowType& type, const ArrowArray& array, Slice slice,
                      const std::string& path) const {
  if (array.n_buffers != type.buffers()) return Refuse(path, "wrong number of buffers", error_);
  if (array.n_children != field.n_children || !type.Takes(array.n_children))
    return Refuse(path, "wrong number of children", error_);
  if (array.length < 0 || array.offset < 0 || array.offset > kMaxArrowValues - array.length)
    return Refuse(path, "impossible length or offset", error_);
  if (slice.length > array.length || slice.first > array.length - slice.length)
    return Refuse(path, "fewer values than its parent needs", error_);
  const bool needs_second = type.buffers() > 1 && slice.length > 0;
  if (needs_second && array.buffers[1] == nullptr) return Refuse(path, "no buffer for its values", error_);
  return true;
}

bool Body::AddOffsets(const ArrowArray& array, const ArrowType& type, int64_t begin, int64_t length,
                      const std::string& path, Slice* values) {
  const int64_t width = type.bits / 8;
  const uint8_t* offsets = BytesOf(array, 1);
  // An array without values need not have offsets, but what is written always has the one behind its last
  // value.
  if (length == 0) {
    AddBuffer(kZeros, width);
    return true;
  }
  values->first = LoadOffset(offsets, begin, type.bits);
  const int64_t last = LoadOffset(offsets, begin + length, type.bits);
  if (values->first < 0 || last < values->first) return Refuse(path, "offsets that descend", error_);
  values->length = last - values->first;
  const uint8_t* from = offsets + begin * width;
  if (values->first == 0)
    AddBuffer(from, (length + 1) * width);
  else
    AddOwnBuffer(type.bits == 64 ? Rebased<int64_t>(from, length + 1) : Rebased<int32_t>(from, length + 1));
  return true;
}

bool Body::AddBytes(const ArrowArray& array, Slice bytes, const std::string& path) {
  const uint8_t* data = BytesOf(array, 2);
  if (bytes.length > 0 && data == nullptr) return Refuse(path, "no buffer for its bytes", error_);
  AddBuffer(data == nullptr ? nullptr : data + bytes.first, bytes.length);
  return true;
}

bool Body::AddChild(const ArrowSchema& field, const ArrowArray& array, int64_t child, Slice slice,
                    const std::string& path, int depth) {
  const ArrowSchema& child_field = *field.children[child];
  return Add(child_field, *array.children[child], slice, ArrowFieldPath(path, child_field), depth + 1);
}

bool Body::AddStruct(const ArrowSchema& field, const ArrowArray& array, int64_t begin, int64_t length,
                     const std::string& path, int depth) {
  for (int64_t i = 0; i < array.n_children; ++i) {
    if (!AddChild(field, array, i, {begin, length}, path, depth)) return false;
  }
  return true;
}

bool Body::AddFixedSizeList(const ArrowSchema& field, const ArrowType& type, const ArrowArray& array,
                            int64_t begin, int64_t length, const std::string& path, int depth) {
  const int64_t size = type.list_size;
  if (size > 0 && begin + length > kMaxArrowValues / size)
    return Refuse(path, "impossible length or offset", error_);
  return AddChild(field, array, 0, {begin * size, length * size}, path, depth);
}

bool Body::Add(const ArrowSchema& field, const ArrowArray& array, Slice slice, const std::string& path,
               int depth) {
  const auto type = ParseArrowFormat(field.format);
  if (!type || depth > kMaxArrowDepth) return Refuse(path, "no type that can be written", error_);
  if (!CheckShape(field, *type, array, slice, path)) return false;
  if (type->kind == ArrowKind::kNull) {
    nodes_.emplace_back(slice.length, slice.length);
    return true;
  }
  const int64_t begin = array.offset + slice.first;
  AddValidity(array, begin, slice.length);
  Slice values;
  switch (type->kind) {
    case ArrowKind::kStruct: return AddStruct(field, array, begin, slice.length, path, depth);
    case ArrowKind::kFixedSizeList:
      return AddFixedSizeList(field, *type, array, begin, slice.length, path, depth);
    case ArrowKind::kList:
      return AddOffsets(array, *type, begin, slice.length, path, &values) &&
             AddChild(field, array, 0, values, path, depth);
    case ArrowKind::kUtf8:
    case ArrowKind::kBinary:
      return AddOffsets(array, *type, begin, slice.length, path, &values) && AddBytes(array, values, path);
    case ArrowKind::kBool: AddOwnBuffer(CopyBits(BytesOf(array, 1), begin, slice.length)); return true;
    case ArrowKind::kNull:
    case ArrowKind::kInt:
    case ArrowKind::kUint:
    case ArrowKind::kFloat:
    case ArrowKind::kDecimal:
    case ArrowKind::kDate:
    case ArrowKind::kTimestamp: break;
  }
  const int64_t width = type->bits / 8;
  AddBuffer(slice.length == 0 ? nullptr : BytesOf(array, 1) + begin * width, slice.length * width);
  return true;
}

bool Body::AddColumns(const ArrowSchema& schema, const ArrowArray& batch) {
  const auto type = ParseArrowFormat(schema.format);
  if (!type || type->kind != ArrowKind::kStruct) return Refuse("", "a batch is a struct", error_);
  if (!CheckShape(schema, *type, batch, {0, batch.length}, "")) return false;
  if (const uint8_t* bits = BytesOf(batch, 0); bits != nullptr && batch.null_count != 0) {
    if (CountOnes(CopyBits(bits, batch.offset, batch.length)) != batch.length)
      return Refuse("", "a batch has no rows that are null", error_);
  }
  return AddStruct(schema, batch, batch.offset, batch.length, "", 0);
}

bool Body::WriteMessage(int64_t rows, const IpcSink& sink) const {
  FlatBufferBuilder metadata;
  const auto nodes = metadata.CreateVectorOfStructs(nodes_);
  const auto buffers = metadata.CreateVectorOfStructs(buffers_);
  const auto batch = ipc::CreateRecordBatch(metadata, rows, nodes, buffers);
  metadata.Finish(
      ipc::CreateMessage(metadata, ipc::Version::V5, ipc::MessageHeader::RecordBatch, batch.Union(), size_));
  if (!WriteMetadata(metadata, sink)) return false;
  for (const std::string_view part : parts_) {
    if (!sink(part)) return false;
    const size_t padding = PaddingBehind(part.size());
    if (padding > 0 && !sink({kZeros, padding})) return false;
  }
  return true;
}

// Releases a schema or an array at the end of its scope.
struct Release {
  template <typename T>
  void operator()(T* value) const {
    if (value->release != nullptr) value->release(value);
  }
};

bool RefuseStream(ArrowArrayStream* stream, std::string* error) {
  const char* said = stream->get_last_error(stream);
  *error = said == nullptr ? "the stream failed" : said;
  return false;
}

}  // namespace

IpcSink AppendTo(std::string* to) {
  return [to](std::string_view bytes) {
    to->append(bytes);
    return true;
  };
}

bool WriteIpcSchema(const ArrowSchema& schema, const IpcSink& sink, std::string* error) {
  error->clear();
  const auto type = ParseArrowFormat(schema.format);
  if (!type || type->kind != ArrowKind::kStruct || schema.dictionary != nullptr)
    return Refuse("", "the schema of a stream is a struct", error);
  const auto pairs = ParseArrowMetadata(schema.metadata);
  if (!pairs) return Refuse("", "metadata of negative length", error);
  FlatBufferBuilder metadata;
  std::vector<Offset<ipc::Field>> fields;
  if (!CreateFields(schema, "", 1, &metadata, &fields, error)) return false;
  const auto fields_offset = metadata.CreateVector(fields);
  const auto pairs_offset = CreatePairs(*pairs, &metadata);
  const auto header = ipc::CreateSchema(metadata, ipc::Endianness::Little, fields_offset, pairs_offset);
  metadata.Finish(
      ipc::CreateMessage(metadata, ipc::Version::V5, ipc::MessageHeader::Schema, header.Union(), 0));
  return WriteMetadata(metadata, sink);
}

bool WriteIpcBatch(const ArrowSchema& schema, const ArrowArray& batch, const IpcSink& sink,
                   std::string* error) {
  error->clear();
  Body body(error);
  return body.AddColumns(schema, batch) && body.WriteMessage(batch.length, sink);
}

bool WriteIpcEnd(const IpcSink& sink) {
  std::string bytes;
  AppendWord(&bytes, -1);
  AppendWord(&bytes, 0);
  return sink(bytes);
}

bool WriteIpcStream(ArrowArrayStream* stream, const IpcSink& sink, std::string* error) {
  ArrowSchema schema{};
  const std::unique_ptr<ArrowSchema, Release> schema_release(&schema);
  if (stream->get_schema(stream, &schema) != 0) return RefuseStream(stream, error);
  if (!WriteIpcSchema(schema, sink, error)) return false;
  for (;;) {
    ArrowArray batch{};
    const std::unique_ptr<ArrowArray, Release> batch_release(&batch);
    if (stream->get_next(stream, &batch) != 0) return RefuseStream(stream, error);
    if (batch.release == nullptr) return WriteIpcEnd(sink);
    if (!WriteIpcBatch(schema, batch, sink, error)) return false;
  }
}

}  // namespace replies
