// What is written is read back here by a small reader of its own, which trusts no length in it.
#include "replies/arrow_ipc.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <stdexcept>

#include "replies/arrow_ipc_generated.h"
#include "replies/arrow_type.h"
#include "tests/support/arrow_columns.h"

namespace {

namespace ipc = replies::ipc;
using arrow_columns::Batch;
using arrow_columns::Bits;
using arrow_columns::Bools;
using arrow_columns::Column;
using arrow_columns::ExportArray;
using arrow_columns::ExportSchema;
using arrow_columns::ExportStream;
using arrow_columns::FixedSizeList;
using arrow_columns::LargeList;
using arrow_columns::List;
using arrow_columns::Numbers;
using arrow_columns::Owned;
using arrow_columns::Sliced;
using arrow_columns::Struct;
using arrow_columns::Texts;
using arrow_columns::Values;
using std::string_literals::operator""s;

void Require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

int32_t Int32At(std::string_view bytes, size_t at) {
  Require(at + 4 <= bytes.size(), "cut off");
  int32_t value = 0;
  std::memcpy(&value, bytes.data() + at, sizeof(value));
  return value;
}

struct Message {
  std::string metadata;  // in memory of its own, so that it is aligned whatever was in front of it
  std::string body;
  const ipc::Message& root() const { return *ipc::GetMessage(metadata.data()); }
};

// All messages up to the end mark, behind which nothing is.
std::vector<Message> SplitStream(std::string_view bytes) {
  std::vector<Message> messages;
  for (size_t at = 0;;) {
    Require(at % 8 == 0, "a message that is not aligned");
    Require(Int32At(bytes, at) == -1, "no mark in front of a message");
    const auto size = static_cast<size_t>(Int32At(bytes, at + 4));
    at += 8;
    if (size == 0) {
      Require(at == bytes.size(), "bytes behind the end");
      return messages;
    }
    Require(size % 8 == 0 && at + size <= bytes.size(), "metadata cut off or not padded");
    Message message;
    message.metadata = bytes.substr(at, size);
    flatbuffers::Verifier verifier(reinterpret_cast<const uint8_t*>(message.metadata.data()), size, 200);
    Require(ipc::VerifyMessageBuffer(verifier), "the verifier refuses the metadata");
    Require(message.root().version() == ipc::Version::V5, "another version");
    at += size;
    const auto body_size = static_cast<size_t>(message.root().body_length());
    Require(body_size % 8 == 0 && at + body_size <= bytes.size(), "body cut off or not padded");
    message.body = bytes.substr(at, body_size);
    at += body_size;
    messages.push_back(message);
  }
}

std::string TypeText(const ipc::Field& field) {
  const auto large = [](const void* is, const char* name) { return is == nullptr ? "" : name; };
  if (const auto* type = field.type_as_Int())
    return fmt::format("{}int{}", type->is_signed() ? "" : "u", type->bits());
  if (const auto* type = field.type_as_FloatingPoint())
    return fmt::format("float{}", 16 << static_cast<int>(type->precision()));
  if (const auto* type = field.type_as_Decimal())
    return fmt::format("decimal{}({},{})", type->bits(), type->precision(), type->scale());
  if (const auto* type = field.type_as_Date()) return fmt::format("date({})", static_cast<int>(type->unit()));
  if (const auto* type = field.type_as_Timestamp()) {
    const std::string zone = type->zone() == nullptr ? "none" : type->zone()->str();
    return fmt::format("timestamp({},{})", static_cast<int>(type->unit()), zone);
  }
  if (field.type_as_Null() != nullptr) return "null";
  if (const auto* type = field.type_as_FixedSizeList()) return fmt::format("fixed({})", type->size());
  return std::string() + large(field.type_as_Bool(), "bool") + large(field.type_as_Utf8(), "utf8") +
         large(field.type_as_LargeUtf8(), "large_utf8") + large(field.type_as_Binary(), "binary") +
         large(field.type_as_LargeBinary(), "large_binary") + large(field.type_as_List(), "list") +
         large(field.type_as_LargeList(), "large_list") + large(field.type_as_Struct(), "struct");
}

using Pairs = flatbuffers::Vector<flatbuffers::Offset<ipc::KeyValue>>;

std::string PairsText(const Pairs* pairs) {
  if (pairs == nullptr) return "";
  std::string text;
  for (const ipc::KeyValue* pair : *pairs)
    text += fmt::format(" {}={}", pair->key()->str(), pair->value()->str());
  return text;
}

// "price: float64 unit=yuan", "!" behind the name where there can be no nulls.
std::string FieldText(const ipc::Field& field) {
  std::string text = field.name()->str() + (field.nullable() ? ": " : "!: ") + TypeText(field);
  if (field.children()->size() > 0) {
    text += "<";
    for (const ipc::Field* child : *field.children())
      text += (child == field.children()->Get(0) ? "" : ", ") + FieldText(*child);
    text += ">";
  }
  return text + PairsText(field.metadata());
}

// Reads one batch: the cells of each column as text.
class BatchReader {
 public:
  BatchReader(const ipc::Schema& schema, const Message& message) : schema_(schema), body_(message.body) {
    batch_ = message.root().header_as_RecordBatch();
    Require(batch_ != nullptr, "no batch");
    for (const ipc::Buffer* buffer : *batch_->buffers())
      CheckBuffer(*buffer);
    Require(end_ == body_.size(), "bytes of no buffer");
  }

  // "[1, null]" by name; the rows by "".
  std::map<std::string, std::string> Read() {
    std::map<std::string, std::string> columns;
    columns[""] = std::to_string(batch_->length());
    for (const ipc::Field* field : *schema_.fields()) {
      const std::vector<std::string> cells = Cells(*field);
      Require(static_cast<int64_t>(cells.size()) == batch_->length(), "a column of another length");
      columns[field->name()->str()] = fmt::format("[{}]", fmt::join(cells, ", "));
    }
    Require(node_ == batch_->nodes()->size() && buffer_ == batch_->buffers()->size(),
            "nodes or buffers left over");
    return columns;
  }

 private:
  // Buffers follow each other, each padded with zeros to 8 bytes.
  void CheckBuffer(const ipc::Buffer& buffer) {
    Require(static_cast<size_t>(buffer.offset()) == end_, "a buffer that does not follow the one before");
    const size_t length = static_cast<size_t>(buffer.length());
    const size_t padded = (length + 7) / 8 * 8;
    Require(padded <= body_.size() - end_, "a buffer behind the body");
    for (size_t i = length; i < padded; ++i)
      Require(body_[end_ + i] == '\0', "padding that is not zero");
    end_ += padded;
  }

  std::string_view NextBuffer() {
    Require(buffer_ < batch_->buffers()->size(), "too few buffers");
    const ipc::Buffer* buffer = batch_->buffers()->Get(buffer_++);
    return body_.substr(static_cast<size_t>(buffer->offset()), static_cast<size_t>(buffer->length()));
  }

  template <typename T>
  static T At(std::string_view buffer, int64_t index) {
    const size_t at = static_cast<size_t>(index) * sizeof(T);
    Require(at + sizeof(T) <= buffer.size(), "a value behind its buffer");
    T value;
    std::memcpy(&value, buffer.data() + at, sizeof(T));
    return value;
  }

  static bool BitAt(std::string_view buffer, int64_t index) {
    return (At<uint8_t>(buffer, index / 8) >> (index % 8) & 1) != 0;
  }

  std::vector<std::string> Cells(const ipc::Field& field) {
    Require(node_ < batch_->nodes()->size(), "too few nodes");
    const ipc::FieldNode node = *batch_->nodes()->Get(node_++);
    if (field.type_as_Null() != nullptr) {
      Require(node.null_count() == node.length(), "another number of nulls than is told");
      return std::vector<std::string>(static_cast<size_t>(node.length()), "null");
    }
    const std::string_view valid = NextBuffer();
    Require(valid.empty() == (node.null_count() == 0), "a bitmap without nulls, or nulls without");
    Require(valid.empty() || static_cast<int64_t>(valid.size()) == (node.length() + 7) / 8,
            "a bitmap of another size");
    std::vector<std::string> cells = ValuesOf(field, node.length());
    int64_t nulls = 0;
    for (int64_t i = 0; i < node.length(); ++i) {
      if (valid.empty() || BitAt(valid, i)) continue;
      ++nulls;
      cells[static_cast<size_t>(i)] = "null";
    }
    Require(nulls == node.null_count(), "another number of nulls than is told");
    return cells;
  }

  std::vector<std::string> ValuesOf(const ipc::Field& field, int64_t length) {
    const bool large = field.type_as_LargeUtf8() || field.type_as_LargeBinary() || field.type_as_LargeList();
    if (field.type_as_Struct() != nullptr) return StructCells(field, length);
    if (const auto* type = field.type_as_FixedSizeList()) {
      std::vector<int64_t> offsets;
      for (int64_t i = 0; i <= length; ++i)
        offsets.push_back(i * type->size());
      return ListCells(offsets, Cells(*field.children()->Get(0)));
    }
    if (field.type_as_List() != nullptr || field.type_as_LargeList() != nullptr) {
      const std::vector<int64_t> offsets = Offsets(length, large);
      return ListCells(offsets, Cells(*field.children()->Get(0)));
    }
    if (field.type_as_Utf8() || field.type_as_LargeUtf8() || field.type_as_Binary() ||
        field.type_as_LargeBinary()) {
      const std::vector<int64_t> offsets = Offsets(length, large);
      return TextCells(offsets, field.type_as_Binary() != nullptr || field.type_as_LargeBinary() != nullptr);
    }
    std::vector<std::string> cells;
    const std::string_view values = NextBuffer();
    for (int64_t i = 0; i < length; ++i)
      cells.push_back(Number(field, values, i));
    return cells;
  }

  static std::string Number(const ipc::Field& field, std::string_view values, int64_t i) {
    if (field.type_as_Bool() != nullptr) return BitAt(values, i) ? "true" : "false";
    if (field.type_as_Date() != nullptr) return fmt::format("{}", At<int32_t>(values, i));
    if (field.type_as_Timestamp() != nullptr) return fmt::format("{}", At<int64_t>(values, i));
    if (const auto* type = field.type_as_FloatingPoint()) {
      if (type->precision() == ipc::Precision::Double) return fmt::format("{}", At<double>(values, i));
      return fmt::format("{}", At<float>(values, i));
    }
    if (field.type_as_Decimal() != nullptr)
      return fmt::format("{}:{}", At<int64_t>(values, 2 * i + 1), At<uint64_t>(values, 2 * i));
    const auto* type = field.type_as_Int();
    Require(type != nullptr, "no type that the test knows");
    switch (type->is_signed() ? -type->bits() : type->bits()) {
      case -8: return fmt::format("{}", static_cast<int>(At<int8_t>(values, i)));
      case -16: return fmt::format("{}", At<int16_t>(values, i));
      case -32: return fmt::format("{}", At<int32_t>(values, i));
      case -64: return fmt::format("{}", At<int64_t>(values, i));
      case 8: return fmt::format("{}", static_cast<unsigned>(At<uint8_t>(values, i)));
      case 16: return fmt::format("{}", At<uint16_t>(values, i));
      case 32: return fmt::format("{}", At<uint32_t>(values, i));
      case 64: return fmt::format("{}", At<uint64_t>(values, i));
      default: throw std::runtime_error("no such integer");
    }
  }

  // They begin with 0, and no value is behind the last.
  std::vector<int64_t> Offsets(int64_t length, bool large) {
    const std::string_view buffer = NextBuffer();
    Require(buffer.size() == static_cast<size_t>(length + 1) * (large ? 8 : 4), "offsets of another number");
    std::vector<int64_t> offsets;
    for (int64_t i = 0; i <= length; ++i) {
      offsets.push_back(large ? At<int64_t>(buffer, i) : At<int32_t>(buffer, i));
      Require(i == 0 ? offsets[0] == 0 : offsets.back() >= offsets[static_cast<size_t>(i) - 1],
              "offsets descend");
    }
    return offsets;
  }

  std::vector<std::string> TextCells(const std::vector<int64_t>& offsets, bool binary) {
    const std::string_view bytes = NextBuffer();
    Require(static_cast<size_t>(offsets.back()) == bytes.size(), "bytes of no text");
    std::vector<std::string> cells;
    for (size_t i = 0; i + 1 < offsets.size(); ++i) {
      const std::string_view cell =
          bytes.substr(static_cast<size_t>(offsets[i]), static_cast<size_t>(offsets[i + 1] - offsets[i]));
      std::string hex;
      for (const char c : cell)
        hex += fmt::format("{:02x}", static_cast<unsigned char>(c));
      cells.push_back(binary ? "x" + hex : fmt::format("'{}'", cell));
    }
    return cells;
  }

  static std::vector<std::string> ListCells(const std::vector<int64_t>& offsets,
                                            const std::vector<std::string>& values) {
    Require(static_cast<size_t>(offsets.back()) == values.size(), "values of no list");
    std::vector<std::string> cells;
    for (size_t i = 0; i + 1 < offsets.size(); ++i) {
      const std::vector<std::string> list(values.data() + offsets[i], values.data() + offsets[i + 1]);
      cells.push_back(fmt::format("[{}]", fmt::join(list, ", ")));
    }
    return cells;
  }

  std::vector<std::string> StructCells(const ipc::Field& field, int64_t length) {
    std::vector<std::vector<std::string>> rows(static_cast<size_t>(length));
    for (const ipc::Field* child : *field.children()) {
      const std::vector<std::string> cells = Cells(*child);
      Require(cells.size() == rows.size(), "a child of another length");
      for (size_t i = 0; i < rows.size(); ++i)
        rows[i].push_back(child->name()->str() + "=" + cells[i]);
    }
    std::vector<std::string> cells;
    for (const auto& row : rows)
      cells.push_back(fmt::format("{{{}}}", fmt::join(row, " ")));
    return cells;
  }

  const ipc::Schema& schema_;
  const ipc::RecordBatch* batch_ = nullptr;
  std::string_view body_;
  size_t end_ = 0;
  unsigned node_ = 0;
  unsigned buffer_ = 0;
};

struct ReadBack {
  std::vector<std::string> fields;
  std::string metadata;
  std::vector<std::map<std::string, std::string>> batches;
};

ReadBack ReadStream(std::string_view bytes) {
  ReadBack result;
  const std::vector<Message> messages = SplitStream(bytes);
  Require(!messages.empty(), "no message");
  const ipc::Schema* schema = messages[0].root().header_as_Schema();
  Require(schema != nullptr && messages[0].body.empty(), "the first message is no schema");
  Require(schema->endianness() == ipc::Endianness::Little, "the other order of bytes");
  for (const ipc::Field* field : *schema->fields())
    result.fields.push_back(FieldText(*field));
  result.metadata = PairsText(schema->metadata());
  for (size_t i = 1; i < messages.size(); ++i)
    result.batches.push_back(BatchReader(*schema, messages[i]).Read());
  return result;
}

std::string Write(const Column& schema, const std::vector<Column>& batches) {
  Owned<ArrowArrayStream> stream(ExportStream(schema, batches));
  std::string bytes;
  std::string error;
  EXPECT_TRUE(replies::WriteIpcStream(stream.get(), replies::AppendTo(&bytes), &error)) << error;
  return bytes;
}

ReadBack RoundTrip(const Column& batch) {
  return ReadStream(Write(batch, {batch}));
}

// The cells of one column, written as the only one of a batch.
std::string CellsOf(const Column& column) {
  return RoundTrip(Batch({column})).batches.at(0).at(column.name);
}

std::string FieldOf(const Column& column) {
  return RoundTrip(Batch({column})).fields.at(0);
}

// Why a batch is refused; nothing of it may have reached the sink.
std::string RefusalOf(const Column& batch) {
  Owned<ArrowSchema> schema(ExportSchema(batch));
  Owned<ArrowArray> array(ExportArray(batch));
  std::string bytes;
  std::string error;
  EXPECT_FALSE(replies::WriteIpcBatch(*schema, *array, replies::AppendTo(&bytes), &error));
  EXPECT_EQ(bytes, "");
  return error;
}

// ---------------------------------------------------------------------------------------------- framing

TEST(IpcStream, OfOneColumnByteByByte) {
  const std::string bytes =
      Write(Batch({Numbers<int32_t>("i", "n", {1, 2})}), {Batch({Numbers<int32_t>("i", "n", {1, 2})})});
  const std::vector<Message> messages = SplitStream(bytes);
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_EQ(messages[1].body, "\1\0\0\0\2\0\0\0"s);
  EXPECT_EQ(bytes.substr(0, 4), "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(bytes.substr(bytes.size() - 8), "\xFF\xFF\xFF\xFF\0\0\0\0"s);

  // Where the format has its fields, told without the generated classes: slot 4 + 2 * id of a table.
  using flatbuffers::Table;
  const auto* schema_message = flatbuffers::GetRoot<Table>(messages[0].metadata.data());
  EXPECT_EQ(schema_message->GetField<int16_t>(4, 0), 4);  // version 5
  EXPECT_EQ(schema_message->GetField<uint8_t>(6, 0), 1);  // a schema
  const auto* schema = schema_message->GetPointer<const Table*>(8);
  const auto* fields = schema->GetPointer<const flatbuffers::Vector<flatbuffers::Offset<Table>>*>(6);
  ASSERT_EQ(fields->size(), 1U);
  const Table* field = fields->Get(0);
  EXPECT_EQ(field->GetPointer<const flatbuffers::String*>(4)->str(), "n");
  EXPECT_EQ(field->GetField<uint8_t>(6, 0), 1);  // nullable
  EXPECT_EQ(field->GetField<uint8_t>(8, 0), 2);  // an integer
  const auto* type = field->GetPointer<const Table*>(10);
  EXPECT_EQ(type->GetField<int32_t>(4, 0), 32);
  EXPECT_EQ(type->GetField<uint8_t>(6, 0), 1);

  const auto* batch_message = flatbuffers::GetRoot<Table>(messages[1].metadata.data());
  EXPECT_EQ(batch_message->GetField<uint8_t>(6, 0), 3);   // a batch
  EXPECT_EQ(batch_message->GetField<int64_t>(10, 0), 8);  // bytes of the body
  const auto* batch = batch_message->GetPointer<const Table*>(8);
  EXPECT_EQ(batch->GetField<int64_t>(4, 0), 2);  // rows
  const auto* nodes = batch->GetPointer<const flatbuffers::Vector<const int64_t*>*>(6);
  EXPECT_EQ(nodes->size(), 1U);
  const auto* buffers = batch->GetPointer<const flatbuffers::Vector<const int64_t*>*>(8);
  EXPECT_EQ(buffers->size(), 2U);
}

TEST(IpcStream, WithoutBatchesIsSchemaAndEnd) {
  const ReadBack read = ReadStream(Write(Batch({Numbers<double>("g", "x", {})}), {}));
  EXPECT_EQ(read.fields, std::vector<std::string>{"x: float64"});
  EXPECT_TRUE(read.batches.empty());
}

TEST(IpcStream, KeepsTheOrderOfBatches) {
  const Column first = Batch({Numbers<int64_t>("l", "n", {1, 2, 3})});
  const Column second = Batch({Numbers<int64_t>("l", "n", {})});
  const Column third = Batch({Numbers<int64_t>("l", "n", {4})});
  const ReadBack read = ReadStream(Write(first, {first, second, third}));
  ASSERT_EQ(read.batches.size(), 3U);
  EXPECT_EQ(read.batches[0].at("n"), "[1, 2, 3]");
  EXPECT_EQ(read.batches[1].at("n"), "[]");
  EXPECT_EQ(read.batches[2].at("n"), "[4]");
}

TEST(IpcStream, EndsWithoutMarkWhereTheArraysFail) {
  const Column batch = Batch({Numbers<int64_t>("l", "n", {1})});
  Owned<ArrowArrayStream> stream(ExportStream(batch, {batch}, "the disk is gone"));
  std::string bytes;
  std::string error;
  EXPECT_FALSE(replies::WriteIpcStream(stream.get(), replies::AppendTo(&bytes), &error));
  EXPECT_EQ(error, "the disk is gone");
  EXPECT_THROW(SplitStream(bytes), std::runtime_error);
  EXPECT_EQ(SplitStream(bytes + "\xFF\xFF\xFF\xFF\0\0\0\0"s).size(), 2U);
}

TEST(IpcStream, StopsAtAnyByteThatTheSinkRefuses) {
  const Column batch =
      Batch({Numbers<int16_t>("s", "n", {1, 2, 3}, "101"), Texts("u", "t", {"a", "bc", ""})});
  size_t calls = 0;
  const auto count = [&calls](std::string_view) {
    ++calls;
    return true;
  };
  std::string error;
  Owned<ArrowArrayStream> whole(ExportStream(batch, {batch}));
  ASSERT_TRUE(replies::WriteIpcStream(whole.get(), count, &error));
  for (size_t stop = 0; stop < calls; ++stop) {
    size_t taken = 0;
    const auto sink = [&taken, stop](std::string_view) { return taken++ < stop; };
    Owned<ArrowArrayStream> stream(ExportStream(batch, {batch}));
    EXPECT_FALSE(replies::WriteIpcStream(stream.get(), sink, &error));
    EXPECT_EQ(error, "");
    EXPECT_EQ(taken, stop + 1);
  }
}

// ----------------------------------------------------------------------------------------------- types

TEST(IpcTypes, Integers) {
  const Column column = Numbers<int8_t>("c", "n", {-128, 0, 127});
  EXPECT_EQ(FieldOf(column), "n: int8");
  EXPECT_EQ(CellsOf(column), "[-128, 0, 127]");
  EXPECT_EQ(FieldOf(Numbers<uint8_t>("C", "n", {255})), "n: uint8");
  EXPECT_EQ(CellsOf(Numbers<uint8_t>("C", "n", {255})), "[255]");
  EXPECT_EQ(FieldOf(Numbers<int16_t>("s", "n", {-32768})), "n: int16");
  EXPECT_EQ(CellsOf(Numbers<int16_t>("s", "n", {-32768})), "[-32768]");
  EXPECT_EQ(FieldOf(Numbers<uint16_t>("S", "n", {65535})), "n: uint16");
  EXPECT_EQ(CellsOf(Numbers<uint16_t>("S", "n", {65535})), "[65535]");
  EXPECT_EQ(FieldOf(Numbers<int32_t>("i", "n", {-2147483647 - 1})), "n: int32");
  EXPECT_EQ(CellsOf(Numbers<int32_t>("i", "n", {-2147483647 - 1})), "[-2147483648]");
  EXPECT_EQ(FieldOf(Numbers<uint32_t>("I", "n", {4294967295U})), "n: uint32");
  EXPECT_EQ(CellsOf(Numbers<uint32_t>("I", "n", {4294967295U})), "[4294967295]");
  EXPECT_EQ(FieldOf(Numbers<int64_t>("l", "n", {INT64_MIN})), "n: int64");
  EXPECT_EQ(CellsOf(Numbers<int64_t>("l", "n", {INT64_MIN})), "[-9223372036854775808]");
  EXPECT_EQ(FieldOf(Numbers<uint64_t>("L", "n", {UINT64_MAX})), "n: uint64");
  EXPECT_EQ(CellsOf(Numbers<uint64_t>("L", "n", {UINT64_MAX})), "[18446744073709551615]");
}

TEST(IpcTypes, FloatingPoint) {
  EXPECT_EQ(FieldOf(Numbers<float>("f", "x", {})), "x: float32");
  EXPECT_EQ(CellsOf(Numbers<float>("f", "x", {1.5F, -0.0F})), "[1.5, -0]");
  EXPECT_EQ(FieldOf(Numbers<double>("g", "x", {})), "x: float64");
  EXPECT_EQ(CellsOf(Numbers<double>("g", "x", {0.1, -2.5e300}, "11")), "[0.1, -2.5e+300]");
}

TEST(IpcTypes, Bool) {
  EXPECT_EQ(FieldOf(Bools("b", "1")), "b: bool");
  EXPECT_EQ(CellsOf(Bools("b", "1010000011", "1111111101")),
            "[true, false, true, false, false, false, false, false, null, true]");
}

TEST(IpcTypes, Null) {
  const Column column = {"n", "x", 3, {}, {}};
  EXPECT_EQ(FieldOf(column), "x: null");
  EXPECT_EQ(CellsOf(column), "[null, null, null]");
  EXPECT_EQ(CellsOf(List("l", {0, 2, 3}, column)), "[[null, null], [null]]");
  const auto read = RoundTrip(Batch({column, Numbers<int32_t>("i", "n", {1, 2, 3})}));
  EXPECT_EQ(read.batches.at(0).at("n"), "[1, 2, 3]");
}

TEST(IpcTypes, TextsAndBytes) {
  EXPECT_EQ(FieldOf(Texts("u", "t", {})), "t: utf8");
  EXPECT_EQ(CellsOf(Texts("u", "t", {"", "a", "\xE4\xB8\xAD", ""}, "1110")),
            "['', 'a', '\xE4\xB8\xAD', null]");
  EXPECT_EQ(FieldOf(Texts("U", "t", {})), "t: large_utf8");
  EXPECT_EQ(CellsOf(Texts("U", "t", {"ab", ""})), "['ab', '']");
  EXPECT_EQ(FieldOf(Texts("z", "t", {})), "t: binary");
  EXPECT_EQ(CellsOf(Texts("z", "t", {"\0\xFF"s, ""})), "[x00ff, x]");
  EXPECT_EQ(FieldOf(Texts("Z", "t", {})), "t: large_binary");
  EXPECT_EQ(CellsOf(Texts("Z", "t", {"\x80", "\0"s})), "[x80, x00]");
}

TEST(IpcTypes, Times) {
  EXPECT_EQ(FieldOf(Numbers<int64_t>("tss:", "t", {})), "t: timestamp(0,none)");
  EXPECT_EQ(FieldOf(Numbers<int64_t>("tsm:Asia/Shanghai", "t", {})), "t: timestamp(1,Asia/Shanghai)");
  EXPECT_EQ(FieldOf(Numbers<int64_t>("tsu:+08:00", "t", {})), "t: timestamp(2,+08:00)");
  EXPECT_EQ(FieldOf(Numbers<int64_t>("tsn:UTC", "t", {})), "t: timestamp(3,UTC)");
  EXPECT_EQ(CellsOf(Numbers<int64_t>("tsm:UTC", "t", {-1, 1700000000000})), "[-1, 1700000000000]");
  EXPECT_EQ(FieldOf(Numbers<int32_t>("tdD", "t", {})), "t: date(0)");
  EXPECT_EQ(CellsOf(Numbers<int32_t>("tdD", "t", {19000, -1})), "[19000, -1]");
}

TEST(IpcTypes, Decimal) {
  // -5 and 7: two words each, the lower one first.
  Column column = Numbers<int64_t>("d:12,2", "d", {-5, -1, 7, 0});
  column.length = 2;
  EXPECT_EQ(FieldOf(column), "d: decimal128(12,2)");
  EXPECT_EQ(CellsOf(column), "[-1:18446744073709551611, 0:7]");
  column.format = "d:38,-3,128";
  EXPECT_EQ(FieldOf(column), "d: decimal128(38,-3)");
}

TEST(IpcTypes, Lists) {
  const Column values = Numbers<int32_t>("i", "item", {1, 2, 3, 4}, "1011");
  EXPECT_EQ(FieldOf(List("l", {0, 1}, values)), "l: list<item: int32>");
  EXPECT_EQ(CellsOf(List("l", {0, 2, 2, 2, 4}, values, "1101")), "[[1, null], [], null, [3, 4]]");
  EXPECT_EQ(FieldOf(LargeList("l", {0, 1}, values)), "l: large_list<item: int32>");
  EXPECT_EQ(CellsOf(LargeList("l", {0, 1, 4}, values)), "[[1], [null, 3, 4]]");
  EXPECT_EQ(FieldOf(FixedSizeList("l", 2, values)), "l: fixed(2)<item: int32>");
  EXPECT_EQ(CellsOf(FixedSizeList("l", 2, values, "01")), "[null, [3, 4]]");
}

TEST(IpcTypes, Structs) {
  const Column column =
      Struct("s", 2, {Numbers<double>("g", "x", {1, 2}), Texts("u", "t", {"a", "b"}, "10")}, "11");
  EXPECT_EQ(FieldOf(column), "s: struct<x: float64, t: utf8>");
  EXPECT_EQ(CellsOf(column), "[{x=1 t='a'}, {x=2 t=null}]");
  EXPECT_EQ(CellsOf(Struct("s", 2, {}, "01")), "[null, {}]");
}

TEST(IpcTypes, MetadataAndNullability) {
  Column price = Numbers<double>("g", "price", {1});
  price.nullable = false;
  price.metadata = {{"unit", "yuan"}, {"heading", ""}};
  Column batch = Batch({List("l", {0, 1}, price)});
  batch.metadata = {{"id", "20"}};
  const ReadBack read = RoundTrip(batch);
  EXPECT_EQ(read.fields, std::vector<std::string>{"l: list<price!: float64 unit=yuan heading=>"});
  EXPECT_EQ(read.metadata, " id=20");
}

// ---------------------------------------------------------------------------------------------- slices

Column RowsOfLists() {
  const Column inner = Struct("item", 6,
                              {Numbers<int32_t>("i", "n", {0, 1, 2, 3, 4, 5}, "110111"),
                               Texts("u", "t", {"zero", "one", "two", "three", "four", "five"}, "111101")},
                              "111110");
  return List("rows", {0, 2, 2, 3, 6}, inner, "1011");
}

TEST(IpcSlices, RebaseOffsetsAndMoveBits) {
  EXPECT_EQ(
      CellsOf(RowsOfLists()),
      "[[{n=0 t='zero'}, {n=1 t='one'}], null, [{n=null t='two'}], [{n=3 t='three'}, {n=4 t=null}, null]]");
  EXPECT_EQ(CellsOf(Sliced(RowsOfLists(), 2, 2)),
            "[[{n=null t='two'}], [{n=3 t='three'}, {n=4 t=null}, null]]");
  EXPECT_EQ(CellsOf(Sliced(RowsOfLists(), 1, 2)), "[null, [{n=null t='two'}]]");
  EXPECT_EQ(CellsOf(Sliced(RowsOfLists(), 1, 1)), "[null]");
  EXPECT_EQ(CellsOf(Sliced(RowsOfLists(), 4, 0)), "[]");
}

TEST(IpcSlices, OfParentAndChildAddUp) {
  // The struct's row i is the child's value i, which is the buffer's value i + 2.
  const Column child = Sliced(Numbers<int32_t>("i", "n", {10, 11, 12, 13, 14, 15}, "011101"), 2, 4);
  EXPECT_EQ(CellsOf(Sliced(Struct("s", 4, {child}), 1, 3)), "[{n=13}, {n=null}, {n=15}]");
  EXPECT_EQ(CellsOf(Sliced(FixedSizeList("l", 2, child), 1, 1)), "[[null, 15]]");
  EXPECT_EQ(CellsOf(Sliced(List("l", {0, 1, 3, 4}, child), 1, 2)), "[[13, null], [15]]");
  Column batch = Batch({child, Sliced(Texts("u", "t", {"a", "bb", "ccc", "dddd", "e"}), 1, 4)});
  const ReadBack read = RoundTrip(Sliced(batch, 2, 2));
  EXPECT_EQ(read.batches[0].at("n"), "[null, 15]");
  EXPECT_EQ(read.batches[0].at("t"), "['dddd', 'e']");
}

TEST(IpcSlices, OffsetsNeedNotBeginWithZero) {
  EXPECT_EQ(CellsOf(List("l", {1, 3, 4}, Numbers<int8_t>("c", "item", {1, 2, 3, 4, 5}))), "[[2, 3], [4]]");
  Column text = Texts("u", "t", {"", ""});
  text.buffers = {std::nullopt, Values<int32_t>({2, 3, 5}), "abcdefg"};
  EXPECT_EQ(CellsOf(text), "['c', 'de']");
  text.format = "U";
  text.buffers = {std::nullopt, Values<int64_t>({2, 3, 5}), "abcdefg"};
  EXPECT_EQ(CellsOf(text), "['c', 'de']");
}

// Twenty values of every kind of layout; every slice of them must hold what the whole holds there.
std::vector<Column> TwentyOfEach() {
  // The first bits of the second and of the third byte are not alike.
  const std::string valid = "11011111111101010011";
  std::vector<int32_t> n;
  std::vector<std::string> texts;
  std::vector<int32_t> ends = {0};
  for (int i = 0; i < 20; ++i) {
    n.push_back(i);
    texts.push_back(std::string(static_cast<size_t>(i % 4), static_cast<char>('a' + i)));
    ends.push_back(ends.back() + i % 3);
  }
  const Column numbers = Numbers<int32_t>("i", "n", n, valid);
  const Column pairs =
      FixedSizeList("p", 2, Numbers<int16_t>("s", "item", std::vector<int16_t>(40, 7), valid + valid));
  return {numbers,
          Numbers<int32_t>("i", "all", n),
          Bools("b", "10110111000101111010", valid),
          Texts("u", "t", texts, valid),
          List("l", ends, numbers, valid),
          Struct("s", 20, {numbers, Texts("U", "t", texts, "10" + valid.substr(2))}, valid),
          pairs,
          List("deep", ends, Struct("item", 20, {pairs, List("l", ends, numbers)}), valid)};
}

TEST(IpcSlices, HoldWhatTheWholeHoldsThere) {
  for (const Column& column : TwentyOfEach()) {
    std::vector<std::string> single;
    for (int64_t i = 0; i < 20; ++i) {
      const std::string cells = CellsOf(Sliced(column, i, 1));
      single.push_back(cells.substr(1, cells.size() - 2));
    }
    EXPECT_EQ(CellsOf(column), fmt::format("[{}]", fmt::join(single, ", ")));
    for (int64_t first = 0; first <= 20; ++first) {
      for (int64_t last = first; last <= 20; ++last) {
        const std::vector<std::string> part(single.data() + first, single.data() + last);
        ASSERT_EQ(CellsOf(Sliced(column, first, last - first)), fmt::format("[{}]", fmt::join(part, ", ")))
            << column.name << " from " << first << " to " << last;
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------- empty

TEST(IpcEmpty, ArraysNeedNoBuffers) {
  for (const char* format : {"b", "c", "g", "tdD", "tsn:", "d:10,0"})
    EXPECT_EQ(CellsOf({format, "x", 0, {std::nullopt, std::nullopt}, {}}), "[]") << format;
  for (const char* format : {"u", "U", "z", "Z"})
    EXPECT_EQ(CellsOf({format, "x", 0, {std::nullopt, std::nullopt, std::nullopt}, {}}), "[]") << format;
  const Column none = {"g", "item", 0, {std::nullopt, std::nullopt}, {}};
  for (const char* format : {"+l", "+L"})
    EXPECT_EQ(CellsOf({format, "x", 0, {std::nullopt, std::nullopt}, {none}}), "[]") << format;
  EXPECT_EQ(CellsOf({"+w:3", "x", 0, {std::nullopt}, {none}}), "[]");
  EXPECT_EQ(CellsOf({"+s", "x", 0, {std::nullopt}, {none}}), "[]");
}

TEST(IpcEmpty, ListsAndTextsNeedNoValues) {
  const Column none = {"g", "item", 0, {std::nullopt, std::nullopt}, {}};
  EXPECT_EQ(CellsOf(List("x", {0, 0, 0}, none, "10")), "[[], null]");
  Column texts = Texts("u", "x", {"", ""});
  texts.buffers[2] = std::nullopt;
  EXPECT_EQ(CellsOf(texts), "['', '']");
  const Column zero_wide = {"+w:0", "x", 3, {std::nullopt}, {none}};
  EXPECT_EQ(CellsOf(zero_wide), "[[], [], []]");
}

TEST(IpcEmpty, BatchWithoutColumnsKeepsItsRows) {
  const ReadBack read = RoundTrip(Struct("", 7, {}));
  EXPECT_TRUE(read.fields.empty());
  EXPECT_EQ(read.batches[0].at(""), "7");
}

// -------------------------------------------------------------------------------------------- refusals

std::string SchemaRefusalOf(const Column& column) {
  Owned<ArrowSchema> schema(ExportSchema(column));
  std::string bytes;
  std::string error;
  EXPECT_FALSE(replies::WriteIpcSchema(*schema, replies::AppendTo(&bytes), &error));
  EXPECT_EQ(bytes, "");
  return error;
}

Column NestedLists(int levels) {
  Column column = Numbers<int32_t>("i", "n", {1});
  for (int i = 1; i < levels; ++i)
    column = List("l", {0, 1}, column);
  return column;
}

TEST(IpcRefusals, OfSchemas) {
  EXPECT_EQ(SchemaRefusalOf(Numbers<double>("g", "x", {})), "the schema of a stream is a struct");
  for (const char* format : {"",    "e",     "tts",   "tdm",   "ts",     "tsx:",      "tss", "tssx",
                             "+",   "+w:",   "+w:-1", "+w:2x", "+m",     "+us:0",     "w:3", "d:",
                             "d:9", "d:9;2", "d:9,x", "d:0,0", "d:39,0", "d:9,2,256", "vu",  "gg"})
    EXPECT_EQ(SchemaRefusalOf(Batch({{format, "x", 0, {}, {}}})),
              fmt::format("x: no type for the format \"{}\"", format));
  EXPECT_EQ(SchemaRefusalOf(Batch({Struct("s", 0, {{"+l", "l", 0, {}, {}}})})),
            "s.l: wrong number of children");
  std::string path = "l";
  for (int i = 1; i < 64; ++i)
    path += ".l";
  EXPECT_EQ(SchemaRefusalOf(Batch({NestedLists(65)})), path + ": nested too deep, more than 64 levels");
  EXPECT_EQ(CellsOf(NestedLists(64)), "[" + std::string(63, '[') + "1" + std::string(63, ']') + "]");
}

TEST(IpcRefusals, OfDictionaries) {
  Owned<ArrowSchema> schema(ExportSchema(Batch({Numbers<int32_t>("i", "x", {})})));
  Owned<ArrowSchema> values(ExportSchema(Texts("u", "", {})));
  schema->children[0]->dictionary = values.get();
  std::string bytes;
  std::string error;
  EXPECT_FALSE(replies::WriteIpcSchema(*schema, replies::AppendTo(&bytes), &error));
  EXPECT_EQ(error, "x: dictionaries are not written");
}

TEST(IpcRefusals, OfBatches) {
  const Column number = Numbers<int32_t>("i", "n", {1, 2});
  EXPECT_EQ(RefusalOf(Struct("", 2, {number}, "10")), "a batch has no rows that are null");
  EXPECT_EQ(RefusalOf(number), "a batch is a struct");
  EXPECT_EQ(RefusalOf(Struct("", 3, {number})), "n: fewer values than its parent needs");
  EXPECT_EQ(RefusalOf(Batch({List("l", {0, 3}, number)})), "l.n: fewer values than its parent needs");
  EXPECT_EQ(RefusalOf(Batch({List("l", {2, 0}, number)})), "l: offsets that descend");
  EXPECT_EQ(RefusalOf(Batch({List("l", {-1, 0}, number)})), "l: offsets that descend");
  EXPECT_EQ(RefusalOf(Batch({{"u", "t", 1, {Bits(""), Values<int32_t>({2, 0}), "ab"}, {}}})),
            "t: offsets that descend");
  Column batch = Batch({number});
  batch.children[0].buffers.pop_back();
  EXPECT_EQ(RefusalOf(batch), "n: wrong number of buffers");
  batch.children[0].buffers.push_back(std::nullopt);
  EXPECT_EQ(RefusalOf(batch), "n: no buffer for its values");
  batch = Batch({Texts("u", "t", {"a"})});
  batch.children[0].buffers[2] = std::nullopt;
  EXPECT_EQ(RefusalOf(batch), "t: no buffer for its bytes");
  batch = Batch({number});
  batch.children[0].offset = -1;
  EXPECT_EQ(RefusalOf(batch), "n: impossible length or offset");
  batch.children[0].offset = INT64_MAX;
  EXPECT_EQ(RefusalOf(batch), "n: impossible length or offset");
  batch = Struct("", 0, {});
  batch.length = -1;
  EXPECT_EQ(RefusalOf(batch), "impossible length or offset");
}

TEST(IpcRefusals, OfBatchesThatAreTooDeep) {
  const std::string refusal = RefusalOf(Batch({NestedLists(65)}));
  EXPECT_NE(refusal.find(": no type that can be written"), std::string::npos) << refusal;
}

// Nulls take no memory.
TEST(IpcRefusals, OfMoreValuesThanThereMayBe) {
  const auto nulls = [](int64_t length) {
    const Column column = {"n", "x", length, {}, {}};
    return Struct("", length, {column});
  };
  EXPECT_EQ(RefusalOf(nulls(replies::kMaxArrowValues + 1)), "impossible length or offset");
  EXPECT_EQ(RefusalOf(nulls(INT64_MAX)), "impossible length or offset");
  const Column most = nulls(replies::kMaxArrowValues);
  Owned<ArrowSchema> schema(ExportSchema(most));
  Owned<ArrowArray> array(ExportArray(most));
  std::string bytes;
  std::string error;
  EXPECT_TRUE(replies::WriteIpcBatch(*schema, *array, replies::AppendTo(&bytes), &error)) << error;
}

TEST(IpcRefusals, OfSchemasWithoutWhatTheyNeed) {
  const auto refusal_of = [](const auto& break_it) {
    Owned<ArrowSchema> schema(ExportSchema(Batch({Numbers<int32_t>("i", "x", {})})));
    ArrowSchema* column = schema->children[0];
    const ArrowSchema before = *column;
    const ArrowSchema whole = *schema;
    break_it(schema.get(), column);
    std::string bytes;
    std::string error;
    EXPECT_FALSE(replies::WriteIpcSchema(*schema, replies::AppendTo(&bytes), &error));
    *column = before;
    *schema.get() = whole;
    return error;
  };
  // A count of pairs of minus one.
  static const char* const kNegative = "\xFF\xFF\xFF\xFF";
  using Part = ArrowSchema*;
  EXPECT_EQ(refusal_of([](Part, Part column) { column->format = nullptr; }),
            "x: no type for the format \"(null)\"");
  EXPECT_EQ(refusal_of([](Part, Part column) { column->metadata = kNegative; }),
            "x: metadata of negative length");
  EXPECT_EQ(refusal_of([](Part whole, Part) { whole->metadata = kNegative; }), "metadata of negative length");
  EXPECT_EQ(refusal_of([](Part whole, Part) { whole->format = "i"; }), "the schema of a stream is a struct");
  EXPECT_EQ(refusal_of([](Part whole, Part) { whole->format = nullptr; }),
            "the schema of a stream is a struct");
  EXPECT_EQ(refusal_of([](Part whole, Part column) { whole->dictionary = column; }),
            "the schema of a stream is a struct");
}

TEST(IpcTypes, AColumnWithoutANameHasAnEmptyOne) {
  const Column column = Batch({Numbers<int32_t>("i", "", {7})});
  const auto bytes_of = [&](bool null_name) {
    Owned<ArrowSchema> schema(ExportSchema(column));
    const char* const name = schema->children[0]->name;
    if (null_name) schema->children[0]->name = nullptr;
    std::string bytes;
    std::string error;
    EXPECT_TRUE(replies::WriteIpcSchema(*schema, replies::AppendTo(&bytes), &error)) << error;
    schema->children[0]->name = name;
    return bytes;
  };
  EXPECT_EQ(bytes_of(true), bytes_of(false));
}

TEST(IpcRefusals, OfBatchesThatAreNotOfTheSchema) {
  const auto refusal_of = [](const Column& type, const Column& values) {
    Owned<ArrowSchema> schema(ExportSchema(type));
    Owned<ArrowArray> array(ExportArray(values));
    std::string bytes;
    std::string error;
    EXPECT_FALSE(replies::WriteIpcBatch(*schema, *array, replies::AppendTo(&bytes), &error));
    EXPECT_EQ(bytes, "");
    return error;
  };
  const Column number = Numbers<int32_t>("i", "n", {1, 2});
  EXPECT_EQ(refusal_of(Batch({number, number}), Batch({number})), "wrong number of children");
  EXPECT_EQ(refusal_of(Batch({Struct("s", 2, {number, number})}), Batch({Struct("s", 2, {number})})),
            "s: wrong number of children");
  // A list of nothing, in the schema and in the array.
  const Column hollow = {"+l", "l", 1, {std::nullopt, Values<int32_t>({0, 0})}, {}};
  EXPECT_EQ(refusal_of(Batch({hollow}), Batch({hollow})), "l: wrong number of children");
  Column unknown = Batch({number});
  unknown.children[0].format = "?";
  EXPECT_EQ(refusal_of(unknown, Batch({number})), "n: no type that can be written");
  unknown.format = "?";
  EXPECT_EQ(refusal_of(unknown, Batch({number})), "a batch is a struct");
  // Its first row is the third one of two.
  Column late = number;
  late.length = 2;
  EXPECT_EQ(refusal_of(Batch({List("l", {0, 3}, number)}), Batch({List("l", {3, 4}, late)})),
            "l.n: fewer values than its parent needs");
  // More numbers than there may be, in lists that take no memory.
  Column wide = {"+w:1000000", "w", 1, {std::nullopt}, {{"n", "x", 0, {}, {}}}};
  wide.length = replies::kMaxArrowValues / 1000000 + 1;
  EXPECT_EQ(refusal_of(Struct("", wide.length, {wide}), Struct("", wide.length, {wide})),
            "w: impossible length or offset");
  // Two in each, as many as there may be, and one more of them.
  const auto pairs = [](int64_t length, int64_t values) {
    return Struct("", length, {{"+w:2", "w", length, {std::nullopt}, {{"n", "x", values, {}, {}}}}});
  };
  constexpr int64_t kMostPairs = replies::kMaxArrowValues / 2;
  const Column most = pairs(kMostPairs, 2 * kMostPairs);
  Owned<ArrowSchema> schema(ExportSchema(most));
  Owned<ArrowArray> array(ExportArray(most));
  std::string bytes;
  std::string error;
  EXPECT_TRUE(replies::WriteIpcBatch(*schema, *array, replies::AppendTo(&bytes), &error)) << error;
  EXPECT_EQ(RefusalOf(pairs(kMostPairs + 1, 2 * kMostPairs)), "w: impossible length or offset");
}

// Bits behind the end of a batch, or in front of it, are nobody's.
TEST(IpcSlices, ABatchMayHaveABitmapWithoutNulls) {
  const Column number = Numbers<int32_t>("i", "n", {1, 2});
  Column batch = Struct("", 2, {number}, "1100");
  Owned<ArrowSchema> schema(ExportSchema(batch));
  Owned<ArrowArray> array(ExportArray(batch));
  std::string bytes;
  std::string error;
  EXPECT_TRUE(replies::WriteIpcBatch(*schema, *array, replies::AppendTo(&bytes), &error)) << error;
  // Where none are told, nobody counts.
  array->null_count = 0;
  EXPECT_TRUE(replies::WriteIpcBatch(*schema, *array, replies::AppendTo(&bytes), &error)) << error;
}

TEST(IpcStream, HasNoErrorWhereTheSchemaIsGood) {
  Owned<ArrowSchema> schema(ExportSchema(Batch({Numbers<int32_t>("i", "n", {})})));
  std::string bytes;
  std::string error = "of another call";
  EXPECT_TRUE(replies::WriteIpcSchema(*schema, replies::AppendTo(&bytes), &error));
  EXPECT_EQ(error, "");
}

TEST(IpcStream, HasNoErrorWhereTheBatchIsGood) {
  const Column batch = Batch({Numbers<int32_t>("i", "n", {1})});
  Owned<ArrowSchema> schema(ExportSchema(batch));
  Owned<ArrowArray> array(ExportArray(batch));
  std::string bytes;
  std::string error = "of another call";
  EXPECT_TRUE(replies::WriteIpcBatch(*schema, *array, replies::AppendTo(&bytes), &error));
  EXPECT_EQ(error, "");
}

TEST(IpcStream, TellsWhyThereIsNoSchema) {
  ArrowArrayStream stream{};
  stream.get_schema = [](ArrowArrayStream*, ArrowSchema*) { return 5; };
  stream.get_last_error = [](ArrowArrayStream*) -> const char* { return "the line is down"; };
  std::string bytes;
  std::string error;
  EXPECT_FALSE(replies::WriteIpcStream(&stream, replies::AppendTo(&bytes), &error));
  EXPECT_EQ(error, "the line is down");
  stream.get_last_error = [](ArrowArrayStream*) -> const char* { return nullptr; };
  EXPECT_FALSE(replies::WriteIpcStream(&stream, replies::AppendTo(&bytes), &error));
  EXPECT_EQ(error, "the stream failed");
  EXPECT_EQ(bytes, "");
}

TEST(IpcTypes, MetadataOfTheCInterfaceGoesBothWays) {
  const replies::ArrowMetadata pairs = {{"k", "v"}, {"", "\0x"s}};
  const std::string encoded = replies::EncodeArrowMetadata(pairs);
  EXPECT_EQ(encoded,
            "\2\0\0\0"
            "\1\0\0\0k"
            "\1\0\0\0v"
            "\0\0\0\0"
            "\2\0\0\0\0x"s);
  EXPECT_EQ(replies::ParseArrowMetadata(encoded.data()), pairs);
  EXPECT_EQ(replies::ParseArrowMetadata(nullptr), replies::ArrowMetadata());
  EXPECT_EQ(replies::ParseArrowMetadata("\xFF\xFF\xFF\xFF"), std::nullopt);
  EXPECT_EQ(replies::ParseArrowMetadata("\1\0\0\0\xFF\xFF\xFF\xFF"), std::nullopt);
}

}  // namespace
