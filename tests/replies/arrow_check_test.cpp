// Arrays with one fault each, and that fault found; and arrays that are unusual, in which nothing is wrong.
#include "replies/arrow_check.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "replies/arrow_type.h"
#include "tests/support/arrow_columns.h"

namespace {

using arrow_columns::Bits;
using arrow_columns::Bools;
using arrow_columns::Column;
using arrow_columns::ExportArray;
using arrow_columns::ExportSchema;
using arrow_columns::FixedSizeList;
using arrow_columns::LargeList;
using arrow_columns::List;
using arrow_columns::Numbers;
using arrow_columns::Owned;
using arrow_columns::Sliced;
using arrow_columns::Struct;
using arrow_columns::Texts;
using arrow_columns::Values;

std::string FaultOf(const Column& column) {
  Owned<ArrowSchema> schema(ExportSchema(column));
  Owned<ArrowArray> array(ExportArray(column));
  return replies::CheckArrow(*schema, *array);
}

Column Three() {
  return Numbers<int32_t>("i", "n", {1, 2, 3}, "101");
}

// The fault that a change makes in an array of three numbers in a struct.
std::string FaultAfter(const std::function<void(ArrowSchema*, ArrowArray*)>& change) {
  const Column column = Struct("", 3, {Three()});
  Owned<ArrowSchema> schema(ExportSchema(column));
  Owned<ArrowArray> array(ExportArray(column));
  ArrowArray& child = *array->children[0];
  const ArrowArray before = child;
  const ArrowSchema schema_before = *schema->children[0];
  change(schema->children[0], &child);
  std::string fault = replies::CheckArrow(*schema, *array);
  child = before;
  *schema->children[0] = schema_before;
  return fault;
}

TEST(ArrowCheck, FindsNothingWhereNothingIsWrong) {
  EXPECT_EQ(FaultOf(Three()), "");
  EXPECT_EQ(FaultOf(Sliced(Three(), 1, 1)), "");
  EXPECT_EQ(FaultOf(Bools("b", "101", "110")), "");
  EXPECT_EQ(FaultOf(Texts("u", "t", {"", "\xE4\xB8\xAD", "a"}, "011")), "");
  EXPECT_EQ(FaultOf(Texts("Z", "t", {"\xFF", ""})), "");
  EXPECT_EQ(FaultOf(List("l", {0, 0, 3}, Three(), "01")), "");
  EXPECT_EQ(FaultOf(LargeList("l", {1, 2, 2}, Three())), "");
  EXPECT_EQ(FaultOf(FixedSizeList("l", 3, Three())), "");
  EXPECT_EQ(FaultOf(Struct("s", 2, {Three(), Texts("U", "t", {"a", "b"})}, "01")), "");
  EXPECT_EQ(FaultOf(Sliced(Struct("s", 3, {Three()}), 2, 1)), "");
  EXPECT_EQ(FaultOf(Struct("s", 5, {})), "");
  EXPECT_EQ(FaultOf({"n", "x", 5, {}, {}}), "");
  Column told = Three();
  told.null_count = 1;
  EXPECT_EQ(FaultOf(told), "");
  // The texts of nulls are nobody's.
  EXPECT_EQ(FaultOf(Texts("u", "t", {"\xFF", "a"}, "01")), "");
  // Empty texts have no bytes, lists of no numbers no numbers.
  Column texts = Texts("u", "t", {"", ""});
  texts.buffers[2] = std::nullopt;
  EXPECT_EQ(FaultOf(texts), "");
  EXPECT_EQ(FaultOf({"+w:0", "l", 3, {std::nullopt}, {Numbers<int32_t>("i", "item", {})}}), "");
  // A value of 16 bytes, which are two words.
  EXPECT_EQ(FaultOf({"d:10,2", "d", 1, {std::nullopt, Values<int64_t>({150, 0})}, {}}), "");
  EXPECT_EQ(FaultAfter([](ArrowSchema* schema, ArrowArray*) { schema->name = nullptr; }), "");
}

// The first bytes of a buffer, in front of a page that nobody may read.
std::string FaultWithBytesOf(const Column& column, int64_t buffer, size_t size) {
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  void* pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED || mprotect(static_cast<char*>(pages) + page, page, PROT_NONE) != 0)
    return "no pages";
  Owned<ArrowSchema> schema(ExportSchema(column));
  Owned<ArrowArray> array(ExportArray(column));
  char* to = static_cast<char*>(pages) + page - size;
  std::memcpy(to, array->buffers[buffer], size);
  const void* const before = std::exchange(array->buffers[buffer], to);
  std::string fault = replies::CheckArrow(*schema, *array);
  array->buffers[buffer] = before;
  munmap(pages, 2 * page);
  return fault;
}

// Of a buffer that is shorter than it must be something is read that is not there.
TEST(ArrowCheck, ReadsAllOfABufferAndNothingBehindIt) {
  const auto expect = [](const Column& column, int64_t buffer, size_t size, size_t less) {
    EXPECT_EQ(FaultWithBytesOf(column, buffer, size), "") << column.format << buffer;
    EXPECT_DEATH(FaultWithBytesOf(column, buffer, less), "") << column.format << buffer;
  };
  const std::string nine = "101101101";
  expect(Bools("b", nine), 1, 2, 1);
  expect(Bools("b", "10110110"), 1, 1, 0);
  expect(Bools("b", "1"), 1, 1, 0);
  expect(Numbers<int8_t>("c", "n", std::vector<int8_t>(9), nine), 0, 2, 1);
  expect(Numbers<int8_t>("c", "n", {1, 2, 3}), 1, 3, 2);
  expect(Numbers<int16_t>("s", "n", {1, 2, 3}), 1, 6, 4);
  expect(Numbers<int32_t>("i", "n", {1, 2, 3}), 1, 12, 8);
  expect(Numbers<int64_t>("l", "n", {1, 2, 3}), 1, 24, 16);
  expect({"d:38,0", "d", 1, {std::nullopt, Values<int64_t>({1, 0})}, {}}, 1, 16, 8);
  expect(Texts("z", "t", {"a", "bc"}), 1, 12, 8);
  expect(Texts("z", "t", {"a", "bc"}), 2, 3, 2);
  expect(Texts("Z", "t", {"a", "bc"}), 1, 24, 16);
  // The values before an offset are there as well.
  expect(Sliced(Numbers<int32_t>("i", "n", {1, 2, 3}), 2, 1), 1, 12, 8);
}

// Nothing behind the buffers of any width, of bitmaps, offsets and texts either.
TEST(ArrowCheck, ReadsNoMoreThanTheBuffers) {
  std::vector<Column> columns = {Texts("u", "n", {"a", "bc"}), Texts("U", "n", {"a", "bc"}),
                                 List("n", {0, 2, 3}, Three()), LargeList("n", {0, 2, 3}, Three())};
  for (size_t bits = 1; bits <= 70; ++bits) {
    columns.push_back(
        Numbers<int8_t>("c", "n", std::vector<int8_t>(bits, 1), "0" + std::string(bits - 1, '1')));
    columns.push_back(Bools("n", std::string(bits, '1')));
  }
  for (const Column& column : columns) {
    for (size_t i = 0; i < column.buffers.size(); ++i) {
      if (!column.buffers[i]) continue;
      EXPECT_EQ(FaultWithBytesOf(column, static_cast<int64_t>(i), column.buffers[i]->size()), "")
          << column.format << ' ' << i;
    }
  }
}

TEST(ArrowCheck, FindsNothingInEmptyArraysWithoutBuffers) {
  EXPECT_EQ(FaultOf({"g", "x", 0, {std::nullopt, std::nullopt}, {}}), "");
  EXPECT_EQ(FaultOf({"u", "x", 0, {std::nullopt, std::nullopt, std::nullopt}, {}}), "");
  EXPECT_EQ(FaultOf({"+l", "x", 0, {std::nullopt, std::nullopt}, {Three()}}), "");
}

TEST(ArrowCheck, Schemas) {
  EXPECT_EQ(FaultOf({"y", "x", 0, {}, {}}), "unknown format \"y\"");
  EXPECT_EQ(FaultOf(Struct("", 0, {{"y", "x", 0, {}, {}}})), "x: unknown format \"y\"");
  EXPECT_EQ(FaultOf({"+l", "x", 0, {std::nullopt, std::nullopt}, {}}), "0 children in the schema");
  EXPECT_EQ(FaultOf({"g", "x", 0, {std::nullopt, std::nullopt}, {Three()}}), "1 children in the schema");
  EXPECT_EQ(FaultOf(Numbers<double>("g", "\xFF", {})), "a name that is not UTF-8");
  Column column = Three();
  column.metadata = {{"unit", "\xFF"}};
  EXPECT_EQ(FaultOf(column), "metadata that is not UTF-8");
  column.metadata = {{"\xFF", "unit"}};
  EXPECT_EQ(FaultOf(column), "metadata that is not UTF-8");
}

Column NestedStructs(int levels) {
  Column column = Three();
  for (int i = 0; i < levels; ++i)
    column = Struct("s", 3, {column});
  return column;
}

TEST(ArrowCheck, Depth) {
  EXPECT_EQ(FaultOf(NestedStructs(64)), "");
  const std::string fault = FaultOf(NestedStructs(65));
  EXPECT_EQ(fault.substr(fault.size() - 21), ": more than 64 levels");
}

TEST(ArrowCheck, Counts) {
  Column negative = Three();
  negative.length = -1;
  EXPECT_EQ(FaultOf(negative), "length -1, offset 0");
  for (const int64_t length : {INT64_MAX, replies::kMaxArrowValues + 1, replies::kMaxArrowValues}) {
    Column beyond = Three();
    beyond.length = length;
    beyond.offset = length == replies::kMaxArrowValues ? 1 : 0;
    EXPECT_EQ(FaultOf(beyond),
              "length " + std::to_string(length) + ", offset " + std::to_string(beyond.offset));
  }
  EXPECT_EQ(FaultAfter([](auto*, auto*) {}), "");
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->release = nullptr; }), "n: the array is released");
  EXPECT_EQ(FaultAfter([](auto* schema, auto*) { schema->release = nullptr; }), "n: the schema is released");
  EXPECT_EQ(FaultAfter([](auto* schema, auto*) { schema->format = nullptr; }), "n: no format");
  EXPECT_EQ(FaultAfter([](auto* schema, auto*) { schema->metadata = "\xFF\xFF\xFF\xFF"; }),
            "n: metadata of negative length");
  // One pair: the length of its key, which has a letter, or that of its value.
  EXPECT_EQ(FaultAfter([](auto* schema, auto*) { schema->metadata = "\1\0\0\0\xFF\xFF\xFF\xFF"; }),
            "n: metadata of negative length");
  EXPECT_EQ(FaultAfter([](auto* schema, auto*) { schema->metadata = "\1\0\0\0\1\0\0\0k\xFF\xFF\xFF\xFF"; }),
            "n: metadata of negative length");
  EXPECT_EQ(FaultAfter([](auto* schema, auto*) { schema->dictionary = schema; }), "n: a dictionary");
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->dictionary = array; }), "n: a dictionary");
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->offset = -1; }), "n: length 3, offset -1");
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->length = INT64_MAX; }),
            "n: length 9223372036854775807, offset 0");
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->offset = INT64_MAX; }),
            "n: length 3, offset 9223372036854775807");
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->length = 2; }),
            "n: 2 values where its parent needs 3");
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->n_buffers = 3; }), "n: 3 buffers where 2 belong");
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->buffers = nullptr; }), "n: no buffers");
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->n_children = 1; }),
            "n: 1 children where the schema has 0");
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->null_count = 2; }),
            "n: 2 nulls are told, 1 are there");
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->null_count = 4; }), "n: 4 nulls in 3 values");
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->null_count = -2; }), "n: -2 nulls in 3 values");
  EXPECT_EQ(FaultAfter([](auto* schema, auto*) { schema->flags = 0; }),
            "n: 1 nulls where there must be none");
}

TEST(ArrowCheck, CountsUpToTheMostThatAreTaken) {
  Column nothing = {"n", "x", 5, {}, {}};
  nothing.offset = replies::kMaxArrowValues - 5;
  EXPECT_EQ(FaultOf(nothing), "");
  nothing.offset += 1;
  EXPECT_EQ(FaultOf(nothing), "length 5, offset " + std::to_string(nothing.offset));
}

TEST(ArrowCheck, NullsAlone) {
  Column column = {"n", "x", 5, {}, {}};
  column.null_count = 4;
  EXPECT_EQ(FaultOf(column), "4 nulls are told, 5 are there");
  column.null_count = 5;
  column.nullable = false;
  EXPECT_EQ(FaultOf(column), "5 nulls where there must be none");
  EXPECT_EQ(FaultOf({"n", "x", 5, {std::nullopt}, {}}), "1 buffers where 0 belong");
  EXPECT_EQ(FaultOf({"n", "x", 3, {}, {Three()}}), "1 children in the schema");
  EXPECT_EQ(FaultOf(Struct("s", 3, {{"n", "x", 2, {}, {}}})), "x: 2 values where its parent needs 3");
}

TEST(ArrowCheck, MissingPointers) {
  EXPECT_EQ(FaultAfter([](auto*, auto* array) { array->n_children = -1; }),
            "n: -1 children where the schema has 0");
  const Column column = Struct("", 3, {Three()});
  Owned<ArrowSchema> schema(ExportSchema(column));
  Owned<ArrowArray> array(ExportArray(column));
  ArrowArray* const child = std::exchange(array->children[0], nullptr);
  EXPECT_EQ(replies::CheckArrow(*schema, *array), "child 0 is null");
  array->children[0] = child;
  ArrowArray** const children = std::exchange(array->children, nullptr);
  EXPECT_EQ(replies::CheckArrow(*schema, *array), "no children");
  array->children = children;
  ArrowSchema** const fields = std::exchange(schema->children, nullptr);
  EXPECT_EQ(replies::CheckArrow(*schema, *array), "no children in the schema");
  schema->children = fields;
  ArrowSchema* const field = std::exchange(schema->children[0], nullptr);
  EXPECT_EQ(replies::CheckArrow(*schema, *array), "child 0 in the schema is null");
  schema->children[0] = field;
}

TEST(ArrowCheck, Buffers) {
  Column column = Three();
  column.buffers[1] = std::nullopt;
  EXPECT_EQ(FaultOf(column), "no buffer for 3 values");
  column = Texts("u", "t", {"ab"});
  column.buffers[2] = std::nullopt;
  EXPECT_EQ(FaultOf(column), "no buffer for 2 bytes");
  const auto misaligned = [](ArrowSchema*, ArrowArray* array) {
    static std::string bytes(64, '\1');
    static const void* buffers[2] = {nullptr, bytes.data() + 1};
    array->buffers = buffers;
  };
  EXPECT_EQ(FaultAfter(misaligned), "n: a buffer that is not aligned");
}

// A value lies where its width divides the address, and one of 16 bytes where eight do.
TEST(ArrowCheck, Alignment) {
  alignas(16) char bytes[64] = {};
  const auto at = [&bytes](const char* format, size_t offset) {
    const void* buffers[2] = {nullptr, bytes + offset};
    Column column = Three();
    column.buffers[0] = std::nullopt;
    Owned<ArrowSchema> schema(ExportSchema(column));
    Owned<ArrowArray> array(ExportArray(column));
    const char* const before = std::exchange(schema->format, format);
    const void** const own = std::exchange(array->buffers, buffers);
    array->null_count = 0;
    std::string fault = replies::CheckArrow(*schema, *array);
    schema->format = before;
    array->buffers = own;
    return fault;
  };
  const std::pair<const char*, size_t> widths[] = {{"b", 1}, {"c", 1}, {"S", 2}, {"i", 4},
                                                   {"f", 4}, {"l", 8}, {"g", 8}, {"d:10,2", 8}};
  for (const auto& [format, width] : widths) {
    EXPECT_EQ(at(format, width), "") << format;
    if (width > 1) {
      EXPECT_EQ(at(format, width / 2), "a buffer that is not aligned") << format;
    }
  }
}

TEST(ArrowCheck, Offsets) {
  EXPECT_EQ(FaultOf(List("l", {0, 2, 1}, Three())), "offset 2 is 1, and 2 before it");
  EXPECT_EQ(FaultOf(List("l", {-1, 2, 2}, Three())), "offset 0 is -1");
  EXPECT_EQ(FaultOf(List("l", {0, 2, 4}, Three())), "n: 3 values where its parent needs 4");
  EXPECT_EQ(FaultOf(LargeList("l", {0, 5000000000}, Three())),
            "n: 3 values where its parent needs 5000000000");
  Column column = FixedSizeList("l", 3, Three());
  column.length = 2;
  EXPECT_EQ(FaultOf(column), "n: 3 values where its parent needs 6");
  EXPECT_EQ(FaultOf(Sliced(Struct("s", 3, {Three()}), 1, 3)), "n: 3 values where its parent needs 4");
  // More numbers than there may be, in lists that take no memory.
  constexpr int64_t kWide = INT32_MAX;
  column = {"+w:" + std::to_string(kWide), "w", 0, {std::nullopt}, {{"n", "x", 0, {}, {}}}};
  column.offset = replies::kMaxArrowValues / kWide + 1;
  EXPECT_EQ(FaultOf(column), "length 0, offset " + std::to_string(column.offset));
}

TEST(ArrowCheck, Utf8) {
  EXPECT_EQ(FaultOf(Texts("u", "t", {"a", "\xE4\xB8"})), "value 1 is not UTF-8");
  EXPECT_EQ(FaultOf(Texts("U", "t", {"\xED\xA0\x80"})), "value 0 is not UTF-8");
  // A character that two texts share is whole in neither.
  Column column = Texts("u", "t", {"", ""});
  column.buffers = {Bits(""), Values<int32_t>({0, 1, 3}), "\xE4\xB8\xAD"};
  EXPECT_EQ(FaultOf(column), "value 0 is not UTF-8");
}

}  // namespace
