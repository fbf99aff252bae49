// Tables as Arrow arrays: every letter, what is unset and what is empty, children, texts that are no UTF-8,
// parts that are moved away and released in any order, what is refused, and what a sparse table costs. Each
// array also passes the check of the format.
#include <errno.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "replies/arrow_check.h"
#include "tsl_base/arrow.h"
#include "tsl_base/table.hpp"
#include "tsl_base/text.h"

namespace {

using tsl_base::Table;

// An export that releases what nobody moved away.
struct Exported {
  ArrowSchema schema{};
  ArrowArray array{};

  Exported() = default;
  Exported(Exported&& other) noexcept : schema(other.schema), array(other.array) {
    other.schema.release = nullptr;
    other.array.release = nullptr;
  }
  Exported& operator=(Exported&&) = delete;
  ~Exported() {
    if (schema.release != nullptr) schema.release(&schema);
    if (array.release != nullptr) array.release(&array);
  }
  const ArrowArray& column(int64_t col) const { return *array.children[col]; }
};

Exported Export(Table table) {
  Exported exported;
  EXPECT_EQ(table.export_arrow(&exported.schema, &exported.array), 0);
  EXPECT_FALSE(table);
  EXPECT_EQ(replies::CheckArrow(exported.schema, exported.array), "");
  return exported;
}

bool IsNull(const ArrowArray& array, int64_t row) {
  if (array.null_count == 0 || array.buffers[0] == nullptr) return false;
  const int64_t bit = array.offset + row;
  return (static_cast<const unsigned char*>(array.buffers[0])[bit / 8] >> (bit % 8) & 1) == 0;
}

template <class T>
T At(const ArrowArray& array, int64_t row) {
  T value{};
  std::memcpy(&value, static_cast<const char*>(array.buffers[1]) + (array.offset + row) * int64_t{sizeof(T)},
              sizeof(T));
  return value;
}

std::string TextAt(const ArrowArray& array, int64_t row) {
  const auto from = At<int32_t>(array, row);
  const auto to = At<int32_t>(array, row + 1);
  return std::string(static_cast<const char*>(array.buffers[2]) + from, static_cast<size_t>(to - from));
}

// ---- numbers ----

template <class T>
void ExpectNumber(const Exported& exported, int64_t col, const char* format, T value) {
  EXPECT_STREQ(exported.schema.children[col]->format, format);
  EXPECT_FALSE(IsNull(exported.column(col), 1)) << format;
  EXPECT_EQ(At<T>(exported.column(col), 1), value) << format;
  EXPECT_TRUE(IsNull(exported.column(col), 0)) << format;
  EXPECT_EQ(At<T>(exported.column(col), 0), T{}) << format;
}

// Small tables and large ones keep their cells differently.
class ArrowNumbers : public testing::TestWithParam<int> {};

TEST_P(ArrowNumbers, HaveTheTypeOfTheirLetter) {
  Table table("c:c;h:h;i:i;q:q;C:C;H:H;I:I;Q:Q;f:f;d:d;T:T", GetParam(), "");
  void* t = table.get();
  table_set_int(t, 1, 0, -8);
  table_set_int(t, 1, 1, -16);
  table_set_int(t, 1, 2, -32);
  table_set_int64(t, 1, 3, -64);
  table_set_int(t, 1, 4, 200);
  table_set_int(t, 1, 5, 60'000);
  table_set_uint(t, 1, 6, 4'000'000'000U);
  table_set_uint64(t, 1, 7, 18'000'000'000'000'000'000U);
  table_set_float(t, 1, 8, 0.5F);
  table_set_double(t, 1, 9, 12.34);
  table_set_uint64(t, 1, 10, 1'718'607'600);
  const Exported exported = Export(std::move(table));
  ASSERT_EQ(exported.array.length, GetParam());
  ExpectNumber<int8_t>(exported, 0, "c", -8);
  ExpectNumber<int16_t>(exported, 1, "s", -16);
  ExpectNumber<int32_t>(exported, 2, "i", -32);
  ExpectNumber<int64_t>(exported, 3, "l", -64);
  ExpectNumber<uint8_t>(exported, 4, "C", 200);
  ExpectNumber<uint16_t>(exported, 5, "S", 60'000);
  ExpectNumber<uint32_t>(exported, 6, "I", 4'000'000'000U);
  ExpectNumber<uint64_t>(exported, 7, "L", 18'000'000'000'000'000'000U);
  ExpectNumber<float>(exported, 8, "f", 0.5F);
  ExpectNumber<double>(exported, 9, "g", 12.34);
  ExpectNumber<int64_t>(exported, 10, "tss:", 1'718'607'600);
}

INSTANTIATE_TEST_SUITE_P(Rows, ArrowNumbers, testing::Values(2, 3, 100, 5000));

TEST(ArrowNumbers, OfDecimalClassesAreDoubles) {
  Table table("P:P;V:V", 2, "");
  table_set_pfloat(table.get(), 1, 0, PFloat(-12345, 2));
  table_set_vfloat(table.get(), 1, 1, VFloat(5, 1));
  const Exported exported = Export(std::move(table));
  ExpectNumber<double>(exported, 0, "g", -123.45);
  ExpectNumber<double>(exported, 1, "g", 0.5);
}

TEST(ArrowNumbers, OfDecimalClassesMayBeCounted) {
  Table table("P:2P;V:3V", 1, "");
  const PFloat fixed[] = {PFloat(-12345, 2), PFloat(7, 0)};
  const VFloat varying[] = {VFloat(1, 1), VFloat(-3, 3), VFloat(123456789, 4)};
  table_set_buff(table.get(), 0, 0, fixed, sizeof fixed, 0);
  table_set_buff(table.get(), 0, 1, varying, sizeof varying, 0);
  const Exported exported = Export(std::move(table));
  EXPECT_STREQ(exported.schema.children[0]->children[0]->format, "g");
  EXPECT_EQ(At<double>(*exported.column(0).children[0], 0), -123.45);
  EXPECT_EQ(At<double>(*exported.column(0).children[0], 1), 7);
  EXPECT_EQ(At<double>(*exported.column(1).children[0], 0), 0.1);
  EXPECT_EQ(At<double>(*exported.column(1).children[0], 1), -0.003);
  EXPECT_EQ(At<double>(*exported.column(1).children[0], 2), 12345.6789);
}

TEST(ArrowNumbers, WithoutANullHaveNoBits) {
  Table table("q:q", 300, "");
  for (int row = 0; row < 300; ++row)
    table_set_int64(table.get(), row, 0, row);
  const Exported exported = Export(std::move(table));
  EXPECT_EQ(exported.column(0).null_count, 0);
  EXPECT_EQ(exported.column(0).buffers[0], nullptr);
  EXPECT_EQ(At<int64_t>(exported.column(0), 299), 299);
}

// The cells behind a column's slab lie elsewhere.
TEST(ArrowNumbers, FarFromTheOthersAreThere) {
  Table table("q:q;s:s", 100'000, "");
  table_set_int64(table.get(), 3, 0, 4);
  table_set_int64(table.get(), 99'999, 0, 5);
  table_set_str(table.get(), 99'998, 1, "far", 1);
  const Exported exported = Export(std::move(table));
  EXPECT_EQ(exported.column(0).null_count, 99'998);
  EXPECT_EQ(At<int64_t>(exported.column(0), 3), 4);
  EXPECT_EQ(At<int64_t>(exported.column(0), 99'999), 5);
  EXPECT_EQ(At<int64_t>(exported.column(0), 50'000), 0);
  EXPECT_EQ(TextAt(exported.column(1), 99'998), "far");
  EXPECT_TRUE(IsNull(exported.column(1), 99'999));
}

// The seventeenth column, and the first one that holds anything.
TEST(ArrowNumbers, BehindColumnsThatHoldNothingAreThere) {
  Table table(std::string(16, ';') + "q:q", 1000, "");
  table_set_int64(table.get(), 5, 16, 7);
  const Exported exported = Export(std::move(table));
  EXPECT_EQ(exported.column(16).null_count, 999);
  EXPECT_EQ(At<int64_t>(exported.column(16), 5), 7);
}

TEST(ArrowNumbers, BehindAColumnThatHoldsNothingAreThere) {
  Table table(";q:q;P:P", 1000, "");
  table_set_int64(table.get(), 5, 1, 7);
  table_set_pfloat(table.get(), 5, 2, PFloat(-12345, 2));
  const Exported exported = Export(std::move(table));
  EXPECT_EQ(At<int64_t>(exported.column(1), 5), 7);
  EXPECT_EQ(At<double>(exported.column(2), 5), -123.45);
}

TEST(ArrowNumbers, OfUnsetArraysAreZeros) {
  const Exported exported = Export(Table("a:100q", 1000, ""));
  const ArrowArray& numbers = *exported.column(0).children[0];
  ASSERT_EQ(numbers.length, 100'000);
  const auto* first = static_cast<const int64_t*>(numbers.buffers[1]);
  EXPECT_EQ(std::count(first, first + 100'000, 0), 100'000);
}

TEST(ArrowNumbers, OfAnArrayAreAFixedSizeList) {
  Table table("a:3i;none:2q", 3, "");
  const int32_t values[] = {1, -2, 3};
  table_set_buff(table.get(), 1, 0, values, sizeof values, 0);
  const Exported exported = Export(std::move(table));
  EXPECT_STREQ(exported.schema.children[0]->format, "+w:3");
  EXPECT_STREQ(exported.schema.children[0]->children[0]->format, "i");
  EXPECT_TRUE(IsNull(exported.column(0), 0));
  ASSERT_EQ(exported.column(0).children[0]->length, 9);
  const int32_t expected[] = {0, 0, 0, 1, -2, 3, 0, 0, 0};
  for (int64_t i = 0; i < 9; ++i)
    EXPECT_EQ(At<int32_t>(*exported.column(0).children[0], i), expected[i]) << i;
  EXPECT_EQ(exported.column(1).null_count, 3);
}

TEST(ArrowNumbers, OfNoLetterAreNulls) {
  const Exported exported = Export(Table("odd;q:q;x:?", 3, ""));
  EXPECT_STREQ(exported.schema.children[0]->format, "n");
  EXPECT_STREQ(exported.schema.children[0]->name, "odd");
  EXPECT_EQ(exported.column(0).n_buffers, 0);
  EXPECT_EQ(exported.column(0).null_count, 3);
  EXPECT_STREQ(exported.schema.children[1]->format, "l");
  EXPECT_STREQ(exported.schema.children[2]->format, "n");
}

// Numbers stay where they are: in a slab that holds all rows, and in a small table.
TEST(ArrowNumbers, AreNotCopied) {
  for (const int rows : {5, 128, 5000}) {
    Table table("i:i;q:q", rows, "");
    for (int row = 0; row < rows; ++row) {
      table_set_int(table.get(), row, 0, row);
      if (row != 2) table_set_int64(table.get(), row, 1, row);
    }
    const void* cells = table_get_buff(table.get(), 0, 1, nullptr);
    const void* ints = table_get_buff(table.get(), 0, 0, nullptr);
    const Exported exported = Export(std::move(table));
    EXPECT_EQ(exported.column(1).offset, 0);
    EXPECT_EQ(exported.column(1).null_count, 1);
    EXPECT_EQ(exported.column(1).buffers[1], cells);
    EXPECT_TRUE(IsNull(exported.column(1), 2));
    // Cells of a small table are 8 bytes apart.
    EXPECT_EQ(exported.column(0).buffers[1] == ints, rows > 128) << rows;
  }
}

// ---- every cell ----

constexpr char kEveryLetter[] =
    "c:c;h:h;i:i;q:q;C:C;H:H;I:I;Q:Q;f:f;d:d;T:T;P:P;V:V;s:s;b:b;a:3h;p:2P;odd;t:t";
constexpr int kColumns = 19;

class Filler {
 public:
  explicit Filler(unsigned seed) : random_(seed) {}

  // One in `share` of the cells of each column is set; of some columns none, of others all.
  void* Make(int rows, int share, int depth) {
    void* table = table_create(kEveryLetter, rows, "");
    for (int col = 0; col < kColumns; ++col) {
      const unsigned kind = Number(8);
      if (kind == 0) continue;
      for (int row = 0; row < rows; ++row) {
        if (kind == 1 || Number(static_cast<unsigned>(share)) == 0) Set(table, row, col, depth);
      }
    }
    return table;
  }

 private:
  unsigned Number(unsigned below) { return static_cast<unsigned>(random_() % below); }

  void Set(void* table, int row, int col, int depth) {
    const std::string text(Number(12), static_cast<char>('a' + Number(26)));
    unsigned char bytes[16] = {};
    for (unsigned char& byte : bytes)
      byte = static_cast<unsigned char>(Number(256));
    switch (table_col_type(table, col)) {
      case TABLE_TEXT: table_set_str(table, row, col, text.c_str(), 1); break;
      case TABLE_BINARY: table_set_binary(table, row, col, static_cast<int>(Number(16)), bytes, 1); break;
      case TABLE_FLOAT: table_set_float(table, row, col, static_cast<float>(Number(1000)) / 8); break;
      case TABLE_DOUBLE: table_set_double(table, row, col, Number(1000) / 8.0); break;
      case TABLE_PFLOAT:
        if (col == 11) table_set_pfloat(table, row, col, PFloat(Number(100000), 2));
        break;
      case TABLE_VFLOAT: table_set_vfloat(table, row, col, VFloat(Number(100000), 3)); break;
      case TABLE_CHILD:
        if (Number(4) == 0) {
          table_set_table(table, row, col, nullptr, 1);
        } else if (depth > 0) {
          table_set_table_raw(table, row, col,
                              Make(Number(3) == 0 ? static_cast<int>(Number(40)) : 1, 2, depth - 1));
        }
        break;
      default: {
        int size = 0;
        for (const int width : {1, 2, 4, 6, 8})
          if (size == 0) {
            table_set_buff(table, row, col, bytes, width, 0);
            static_cast<void>(table_get_buff(table, row, col, &size));
          }
      }
    }
  }

  std::mt19937 random_;
};

// Whether the rows of an array from `first` on are the cells of the table.
void ExpectCells(const void* table, const ArrowArray& array, int64_t first);

void ExpectCell(const void* table, int row, int col, const ArrowArray& column, int64_t at) {
  int size = 0;
  switch (table_col_type(const_cast<void*>(table), col)) {
    case TABLE_TEXT: EXPECT_EQ(TextAt(column, at), table_get_str(table, row, col)); return;
    case TABLE_BINARY: {
      const auto* bytes = static_cast<const char*>(table_get_binary(table, row, col, &size));
      EXPECT_EQ(TextAt(column, at), std::string(bytes, static_cast<size_t>(size)));
      return;
    }
    case TABLE_PFLOAT: {
      const PFloat value = table_get_pfloat(table, row, col);
      EXPECT_EQ(At<double>(column, at), static_cast<double>(value.mantissa()) / 100);
      return;
    }
    case TABLE_VFLOAT: {
      const VFloat value = table_get_vfloat(table, row, col);
      EXPECT_EQ(At<double>(column, at), static_cast<double>(value.mantissa()) / 1000);
      return;
    }
    case TABLE_CHILD: {
      const void* child = table_get_table(table, row, col);
      const int32_t from = At<int32_t>(column, at);
      ASSERT_EQ(At<int32_t>(column, at + 1) - from, table_rows(child));
      if (child != nullptr) ExpectCells(child, *column.children[0], from);
      return;
    }
    default: {
      const void* bytes = table_get_buff(table, row, col, &size);
      const ArrowArray& values = column.n_children == 1 ? *column.children[0] : column;
      EXPECT_EQ(std::memcmp(static_cast<const char*>(values.buffers[1]) + at * size, bytes,
                            static_cast<size_t>(size)),
                0);
    }
  }
}

void ExpectCells(const void* table, const ArrowArray& array, int64_t first) {
  for (int col = 0; col < kColumns; ++col) {
    const ArrowArray& column = *array.children[col];
    if (table_col_type(const_cast<void*>(table), col) == TABLE_NOTHING) continue;
    for (int row = 0; row < table_rows(table); ++row) {
      const bool is_set = table_is_set(table, row, col) != 0;
      ASSERT_EQ(IsNull(column, first + row), !is_set) << "row " << row << ", column " << col;
      if (is_set) ExpectCell(table, row, col, column, first + row);
    }
  }
}

TEST(ArrowCells, AreThoseOfTheTable) {
  unsigned seed = 1;
  for (const int rows : {0, 1, 2, 7, 8, 9, 13, 14, 63, 64, 65, 255, 256, 257, 1000, 3000}) {
    for (const int share : {1, 3, 50}) {
      SCOPED_TRACE(testing::Message() << rows << " rows, one cell of " << share);
      const Table same(Filler(seed).Make(rows, share, 2));
      const Exported exported = Export(Table(Filler(seed).Make(rows, share, 2)));
      ExpectCells(same.get(), exported.array, 0);
      ++seed;
    }
  }
}

TEST(ArrowCells, OfManyTablesAreInTheirOrder) {
  for (unsigned seed = 100; seed < 110; ++seed) {
    std::mt19937 random(seed);
    // The type of the columns inside comes from a table that has some.
    Table model(kEveryLetter, 1, "");
    Table inner(kEveryLetter, 1, "");
    table_set_table_raw(inner.get(), 0, kColumns - 1, table_create(kEveryLetter, 1, ""));
    table_set_table_raw(model.get(), 0, kColumns - 1, inner.release());
    const Exported like = Export(std::move(model));
    std::vector<Table> same;
    std::vector<void*> tables;
    const bool singles = seed % 2 == 0;
    for (unsigned i = 0; i < 100; ++i) {
      const int rows = singles ? 1 : static_cast<int>(random() % 30);
      same.emplace_back(Filler(1000 * seed + i).Make(rows, 2, 2));
      tables.push_back(Filler(1000 * seed + i).Make(rows, 2, 2));
    }
    Exported batch;
    ASSERT_EQ(table_export_arrow_batch(tables.data(), 100, &like.schema, &batch.array, nullptr), 0);
    EXPECT_EQ(replies::CheckArrow(like.schema, batch.array), "");
    int64_t first = 0;
    for (const Table& table : same) {
      ExpectCells(table.get(), batch.array, first);
      first += table_rows(table.get());
    }
    EXPECT_EQ(batch.array.length, first);
  }
}

// ---- texts ----

TEST(ArrowTexts, AreUtf8AndByteStringsAreBinary) {
  Table table("s:s;b:b", 4, "");
  table_set_str(table.get(), 0, 0, "\xE4\xB8\xAD", 1);
  table_set_str(table.get(), 1, 0, "", 1);
  table_set_str(table.get(), 3, 0, "abc", 1);
  table_set_binary(table.get(), 2, 1, 3, "x\0y", 1);
  table_set_binary(table.get(), 3, 1, 0, nullptr, 1);
  const Exported exported = Export(std::move(table));
  EXPECT_STREQ(exported.schema.children[0]->format, "u");
  EXPECT_STREQ(exported.schema.children[1]->format, "z");
  EXPECT_EQ(TextAt(exported.column(0), 0), "\xE4\xB8\xAD");
  EXPECT_EQ(TextAt(exported.column(0), 1), "");
  EXPECT_FALSE(IsNull(exported.column(0), 1));
  EXPECT_TRUE(IsNull(exported.column(0), 2));
  EXPECT_EQ(TextAt(exported.column(0), 3), "abc");
  EXPECT_EQ(TextAt(exported.column(1), 2), std::string("x\0y", 3));
  EXPECT_FALSE(IsNull(exported.column(1), 3));
  EXPECT_TRUE(IsNull(exported.column(1), 0));
}

// Some readers ask for the bytes of texts that are none.
TEST(ArrowTexts, OfNoRowHaveTheirBuffers) {
  const Exported exported = Export(Table("s:s;b:b", 1000, ""));
  for (int64_t col = 0; col < 2; ++col) {
    EXPECT_EQ(exported.column(col).null_count, 1000);
    for (int buffer = 0; buffer < 3; ++buffer)
      EXPECT_NE(exported.column(col).buffers[buffer], nullptr) << col << ' ' << buffer;
  }
}

TEST(ArrowTexts, ThatAreNoUtf8HaveReplacements) {
  const std::string u = "\xEF\xBF\xBD";
  Table table("\xD6\xD0:s", 5, "");
  table_set_str(table.get(), 0, 0, "a\xD6\xD0z", 1);        // GB2312
  table_set_str(table.get(), 1, 0, "\xF0\x9F\x93\x88", 1);  // beyond the basic plane
  table_set_str(table.get(), 2, 0, "\xF0\x9F\x93", 1);      // cut off: one maximal part
  table_set_str(table.get(), 3, 0, "\xED\xA0\x80", 1);      // a surrogate: three bytes that begin nothing
  table_set_str(table.get(), 4, 0, "12345678\xFF", 1);
  const Exported exported = Export(std::move(table));
  EXPECT_EQ(exported.schema.children[0]->name, u + u);
  EXPECT_EQ(TextAt(exported.column(0), 0), "a" + u + u + "z");
  EXPECT_EQ(TextAt(exported.column(0), 1), "\xF0\x9F\x93\x88");
  EXPECT_EQ(TextAt(exported.column(0), 2), u);
  EXPECT_EQ(TextAt(exported.column(0), 3), u + u + u);
  EXPECT_EQ(TextAt(exported.column(0), 4), "12345678" + u);
}

// What an export has of a table with this text alone.
std::string TextFromTable(const std::string& text) {
  Table table("s:s", 1, "");
  table_set_str(table.get(), 0, 0, text.c_str(), 1);
  return TextAt(Export(std::move(table)).column(0), 0);
}

// Eight bytes are looked at together where they are ASCII, and 24 where they are eight characters.
TEST(ArrowTexts, HaveReplacementsAtEachPlace) {
  const std::string u = "\xEF\xBF\xBD";
  const std::string ascii = "0123456789abcdefghijklmn";
  for (size_t at = 0; at < ascii.size(); ++at) {
    std::string text = ascii;
    EXPECT_EQ(TextFromTable(text.replace(at, 1, "\xFF")), ascii.substr(0, at) + u + ascii.substr(at + 1))
        << at;
  }
  std::string chinese;
  for (int i = 0; i < 8; ++i)
    chinese += "\xE4\xB8\xAD";
  for (size_t at = 0; at < 24; at += 3) {
    std::string text = chinese;
    // Surrogates are none, and zero has no form of three bytes.
    EXPECT_EQ(TextFromTable(text.replace(at, 3, "\xED\xA0\x80")),
              chinese.substr(0, at) + u + u + u + chinese.substr(at + 3))
        << at;
    EXPECT_EQ(TextFromTable(text.replace(at, 3, "\xE0\x80\x80")),
              chinese.substr(0, at) + u + u + u + chinese.substr(at + 3))
        << at;
  }
}

TEST(ArrowTexts, ThatShareACharacterAreNoUtf8) {
  const std::string u = "\xEF\xBF\xBD";
  Table table("s:s", 3, "");
  table_set_str(table.get(), 0, 0, "a\xE4\xB8", 1);
  table_set_str(table.get(), 1, 0, "\xAD", 1);
  table_set_str(table.get(), 2, 0, "b", 1);
  const Exported exported = Export(std::move(table));
  EXPECT_EQ(TextAt(exported.column(0), 0), "a" + u);
  EXPECT_EQ(TextAt(exported.column(0), 1), u);
  EXPECT_EQ(TextAt(exported.column(0), 2), "b");
}

// Eight characters of three bytes are three words of eight bytes. Only in their own order are they
// characters.
TEST(ArrowTexts, OfEightCharactersHaveTheirWordsInOrder) {
  const std::string words[3] = {"\xE4\xB8\xAD\xE4\xB8\xAD\xE4\xB8", "\xAD\xE4\xB8\xAD\xE4\xB8\xAD\xE4",
                                "\xB8\xAD\xE4\xB8\xAD\xE4\xB8\xAD"};
  for (const int first : {0, 1, 2}) {
    for (const int second : {0, 1, 2}) {
      for (const int third : {0, 1, 2}) {
        const std::string text = words[first] + words[second] + words[third];
        const bool is_same = TextFromTable(text) == text;
        EXPECT_EQ(is_same, first == 0 && second == 1 && third == 2) << first << second << third;
      }
    }
  }
}

// ---- children ----

TEST(ArrowChildren, AreAListOfStructs) {
  Table table("Obj:s;Data:t", 4, "");
  const auto child = [](int rows, int64_t first) {
    void* made = table_create("q:q;s:s", rows, "");
    for (int row = 0; row < rows; ++row)
      table_set_int64(made, row, 0, first + row);
    table_set_str(made, rows - 1, 1, "last", 1);
    return made;
  };
  table_set_table_raw(table.get(), 0, 1, child(2, 10));
  table_set_table(table.get(), 1, 1, nullptr, 1);  // set and empty
  table_set_table_raw(table.get(), 3, 1, child(400, 20));
  const Exported exported = Export(std::move(table));
  const ArrowArray& list = exported.column(1);
  EXPECT_STREQ(exported.schema.children[1]->format, "+l");
  EXPECT_STREQ(exported.schema.children[1]->children[0]->format, "+s");
  EXPECT_EQ(list.null_count, 1);
  EXPECT_TRUE(IsNull(list, 2));
  EXPECT_FALSE(IsNull(list, 1));
  const int32_t offsets[] = {0, 2, 2, 2, 402};
  for (int64_t row = 0; row < 5; ++row)
    EXPECT_EQ(At<int32_t>(list, row), offsets[row]) << row;
  const ArrowArray& numbers = *list.children[0]->children[0];
  ASSERT_EQ(numbers.length, 402);
  EXPECT_EQ(At<int64_t>(numbers, 0), 10);
  EXPECT_EQ(At<int64_t>(numbers, 1), 11);
  EXPECT_EQ(At<int64_t>(numbers, 2), 20);
  EXPECT_EQ(At<int64_t>(numbers, 401), 419);
  const ArrowArray& texts = *list.children[0]->children[1];
  EXPECT_TRUE(IsNull(texts, 0));
  EXPECT_EQ(TextAt(texts, 1), "last");
  EXPECT_EQ(TextAt(texts, 401), "last");
}

TEST(ArrowChildren, OfOneRowEachAreJoined) {
  Table table("Data:t", 1000, "");
  for (int row = 0; row < 1000; ++row) {
    void* child = table_create("q:q;i:i;h:h;c:c", 1, "");
    if (row % 3 != 0) table_set_int64(child, 0, 0, row);
    table_set_int(child, 0, 1, -row);
    table_set_int(child, 0, 2, row - 500);
    table_set_int(child, 0, 3, row % 100);
    table_set_table_raw(table.get(), row, 0, child);
  }
  const Exported exported = Export(std::move(table));
  const ArrowArray& inner = *exported.column(0).children[0];
  for (int64_t row = 0; row < 1000; ++row) {
    EXPECT_EQ(IsNull(*inner.children[0], row), row % 3 == 0);
    EXPECT_EQ(At<int64_t>(*inner.children[0], row), row % 3 == 0 ? 0 : row);
    EXPECT_EQ(At<int32_t>(*inner.children[1], row), -row);
    EXPECT_EQ(At<int16_t>(*inner.children[2], row), row - 500);
    EXPECT_EQ(At<int8_t>(*inner.children[3], row), row % 100);
  }
}

TEST(ArrowChildren, ThatAreNowhereGiveAnEmptyStruct) {
  const Exported exported = Export(Table("Data:t", 2, ""));
  EXPECT_EQ(exported.schema.children[0]->children[0]->n_children, 0);
  EXPECT_EQ(exported.column(0).null_count, 2);
}

TEST(ArrowChildren, OfOneColumnMustBeAlike) {
  Table table("Data:t", 2, "");
  table_set_table_raw(table.get(), 0, 0, table_create("q:q", 1, ""));
  table_set_table_raw(table.get(), 1, 0, table_create("d:d", 1, ""));
  Exported exported;
  EXPECT_EQ(table_export_arrow(table.get(), &exported.schema, &exported.array), EINVAL);
  // It is still the caller's.
  EXPECT_EQ(table_rows(table.get()), 2);
}

// Behind the sixteenth column a table has room for sixteen where one of them was written.
TEST(ArrowChildren, MayHaveManyColumnsThatOneOfThemHasNothingIn) {
  std::string spec;
  for (int i = 0; i < 40; ++i)
    spec += "q:q;";
  Table table("t:t", 2, "");
  void* inside[] = {table_create(spec.c_str(), 100, ""), table_create(spec.c_str(), 100, "")};
  for (int row = 0; row < 100; ++row)
    table_set_int64(inside[1], row, 35, row);
  table_set_int64(inside[0], 7, 20, 7);
  for (int row = 0; row < 2; ++row)
    table_set_table_raw(table.get(), row, 0, inside[row]);
  const Exported exported = Export(std::move(table));
  const ArrowArray& columns = *exported.column(0).children[0];
  EXPECT_EQ(columns.children[20]->null_count, 199);
  EXPECT_EQ(At<int64_t>(*columns.children[20], 7), 7);
  EXPECT_EQ(columns.children[35]->null_count, 100);
  EXPECT_TRUE(IsNull(*columns.children[35], 99));
  EXPECT_EQ(At<int64_t>(*columns.children[35], 199), 99);
}

// The second has a table of its own where the first has no column.
TEST(ArrowChildren, OfOneColumnMustBeAlikeBelowEachOther) {
  Table table("Data:t", 2, "");
  table_set_table_raw(table.get(), 0, 0, table_create("t:t", 1, ""));
  void* other = table_create(std::string(1000, ';').append("t:t").c_str(), 1, "");
  table_set_table_raw(other, 0, 1000, table_create("q:q", 1, ""));
  table_set_table_raw(table.get(), 1, 0, other);
  Exported exported;
  EXPECT_EQ(table_export_arrow(table.get(), &exported.schema, &exported.array), EINVAL);
}

// Whichever of them is empty: the type is that of all tables in the column.
TEST(ArrowChildren, HaveTheColumnsThatAnyOfThemTells) {
  Table table("t:t", 2, "");
  void* outer[] = {table_create("t:t", 1, ""), table_create("t:t", 1, "")};
  table_set_table_raw(outer[1], 0, 0, table_create("d:d", 1, ""));
  table_set_table_raw(table.get(), 0, 0, outer[0]);
  table_set_table_raw(table.get(), 1, 0, outer[1]);
  const Exported exported = Export(std::move(table));
  const ArrowSchema& inner = *exported.schema.children[0]->children[0]->children[0]->children[0];
  ASSERT_EQ(inner.n_children, 1);
  EXPECT_STREQ(inner.children[0]->name, "d");
}

// A table below so many others.
Table Nested(int levels) {
  void* table = table_create("q:q", 1, "");
  for (int i = 0; i < levels; ++i) {
    void* outer = table_create("t:t", 1, "");
    table_set_table_raw(outer, 0, 0, table);
    table = outer;
  }
  return Table(table);
}

TEST(ArrowChildren, NestNoDeeperThanIsTold) {
  Export(Nested(31));
  Exported none;
  const Table beyond = Nested(32);
  EXPECT_EQ(table_export_arrow(beyond.get(), &none.schema, &none.array), EOVERFLOW);
}

// ---- ownership ----

TEST(ArrowParts, MayBeMovedAndReleasedInAnyOrder) {
  std::array<size_t, 4> order = {0, 1, 2, 3};
  do {
    Table table("q:q;s:s;t:t", 500, "");
    table_set_int64(table.get(), 7, 0, 7);
    table_set_str(table.get(), 7, 1, "seven", 1);
    table_set_table_raw(table.get(), 7, 2, table_create("d:d", 3, ""));
    Exported exported = Export(std::move(table));
    std::array<ArrowArray, 4> parts{};
    for (size_t col = 0; col < 3; ++col) {
      parts[col] = *exported.array.children[col];
      exported.array.children[col]->release = nullptr;
    }
    parts[3] = exported.array;
    exported.array.release = nullptr;
    for (const size_t next : order) {
      // What is left is still there.
      if (parts[0].release != nullptr) {
        EXPECT_EQ(At<int64_t>(parts[0], 7), 7);
      }
      if (parts[1].release != nullptr) {
        EXPECT_EQ(TextAt(parts[1], 7), "seven");
      }
      parts[next].release(&parts[next]);
      EXPECT_EQ(parts[next].release, nullptr);
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

// Parts end on whatever thread; so do tables that were made on another one than is exporting.
TEST(ArrowParts, MayBelongToSeveralThreads) {
  Table table;
  std::thread([&table] {
    table = Table("q:q;s:s;t:t", 500, "");
    table_set_int64(table.get(), 7, 0, 7);
    table_set_str(table.get(), 7, 1, "seven", 1);
    table_set_table_raw(table.get(), 7, 2, table_create("d:d", 3, ""));
  }).join();
  Exported exported = Export(std::move(table));
  std::vector<std::thread> threads;
  for (int64_t col = 0; col < 3; ++col) {
    threads.emplace_back([part = std::exchange(*exported.array.children[col], ArrowArray{})]() mutable {
      part.release(&part);
    });
  }
  threads.emplace_back(
      [part = std::exchange(exported.array, ArrowArray{})]() mutable { part.release(&part); });
  for (std::thread& thread : threads)
    thread.join();
}

// Whoever puts a part of its own in the place of a child has it released with the whole.
TEST(ArrowParts, MayBeReplaced) {
  static int released = 0;
  released = 0;
  Exported whole = Export(Table("a:q;b:q", 2, ""));
  Exported other = Export(Table("c:q", 2, ""));
  ArrowArray first = std::exchange(*whole.array.children[0], ArrowArray{});
  whole.array.children[0]->release = [](ArrowArray* array) {
    ++released;
    array->release = nullptr;
  };
  ArrowArray second = std::exchange(*whole.array.children[1], *other.array.children[0]);
  *other.array.children[0] = ArrowArray{};
  whole.array.release(&whole.array);
  EXPECT_EQ(whole.array.release, nullptr);
  EXPECT_EQ(released, 1);
  EXPECT_EQ(At<int64_t>(first, 1), 0);
  for (ArrowArray* part : {&first, &second})
    part->release(part);
}

TEST(ArrowParts, OfASchemaMayBeMovedToo) {
  Exported exported = Export(Table("q:q;t:t", 1, ""));
  ArrowSchema moved = *exported.schema.children[1];
  exported.schema.children[1]->release = nullptr;
  exported.schema.release(&exported.schema);
  exported.schema.release = nullptr;
  EXPECT_STREQ(moved.name, "t");
  EXPECT_STREQ(moved.children[0]->format, "+s");
  moved.release(&moved);
}

TEST(ArrowExport, RefusesWhatIsNoTableOfItsOwn) {
  Exported exported;
  EXPECT_EQ(table_export_arrow(nullptr, &exported.schema, &exported.array), EINVAL);
  Table parent("t:t", 1, "");
  void* child = table_create("q:q", 1, "");
  table_set_table_raw(parent.get(), 0, 0, child);
  EXPECT_EQ(table_export_arrow(child, &exported.schema, &exported.array), EINVAL);
}

// A cell may be unset; a row, a table in a list and a number of an array are there.
TEST(ArrowExport, SaysWhatMayBeNull) {
  Table parent("t:t;a:3i", 1, "");
  table_set_table_raw(parent.get(), 0, 0, table_create("q:q", 1, ""));
  const Exported exported = Export(std::move(parent));
  const ArrowSchema& children = *exported.schema.children[0];
  const ArrowSchema& arrays = *exported.schema.children[1];
  EXPECT_EQ(exported.schema.flags, 0);
  EXPECT_EQ(children.flags, ARROW_FLAG_NULLABLE);
  EXPECT_EQ(children.children[0]->flags, 0);
  EXPECT_EQ(children.children[0]->children[0]->flags, ARROW_FLAG_NULLABLE);
  EXPECT_EQ(arrays.flags, ARROW_FLAG_NULLABLE);
  EXPECT_EQ(arrays.children[0]->flags, 0);
  EXPECT_STREQ(children.children[0]->name, "item");
  EXPECT_STREQ(arrays.children[0]->name, "item");
}

// Readers that ask for the buffers first find some.
TEST(ArrowExport, HasBuffersWithoutRows) {
  const Exported exported = Export(Table("q:q;s:s;b:b;a:3i;t:t", 0, ""));
  for (int64_t col = 0; col < 5; ++col) {
    const ArrowArray& column = exported.column(col);
    for (int64_t i = 1; i < column.n_buffers; ++i)
      EXPECT_NE(column.buffers[i], nullptr) << col;
  }
  EXPECT_NE(exported.column(3).children[0]->buffers[1], nullptr);
}

TEST(ArrowExport, TakesTablesWithoutRowsOrColumns) {
  EXPECT_EQ(Export(Table("q:q;s:s;t:t;a:3i", 0, "")).array.length, 0);
  EXPECT_EQ(Export(Table("", 5, "")).array.length, 5);
}

// ---- many tables ----

TEST(ArrowBatch, PutsTablesBelowEachOther) {
  Exported like = Export(Table("Obj:s;q:q", 0, ""));
  std::vector<void*> tables;
  for (int i = 0; i < 3; ++i) {
    void* table = table_create("Obj:s;q:q", i, "");
    for (int row = 0; row < i; ++row)
      table_set_int64(table, row, 1, 10 * i + row);
    tables.push_back(table);
  }
  Exported batch;
  int64_t misfit = 7;
  ASSERT_EQ(table_export_arrow_batch(tables.data(), 3, &like.schema, &batch.array, &misfit), 0);
  EXPECT_EQ(misfit, -1);
  EXPECT_EQ(replies::CheckArrow(like.schema, batch.array), "");
  ASSERT_EQ(batch.array.length, 3);
  EXPECT_EQ(At<int64_t>(batch.column(1), 0), 10);
  EXPECT_EQ(At<int64_t>(batch.column(1), 1), 20);
  EXPECT_EQ(At<int64_t>(batch.column(1), 2), 21);
}

// A table of the other columns behind one that fits is the one that does not.
void ExpectSecondMisfits(const char* columns, const char* other) {
  const Exported like = Export(Table(columns, 0, ""));
  const Table fits(columns, 1, "");
  const Table does_not(other, 1, "");
  void* tables[] = {fits.get(), does_not.get()};
  Exported batch;
  int64_t misfit = 0;
  EXPECT_EQ(table_export_arrow_batch(tables, 2, &like.schema, &batch.array, &misfit), EINVAL) << other;
  EXPECT_EQ(misfit, 1) << other;
}

TEST(ArrowBatch, SaysWhichTableDoesNotFit) {
  for (const char* other : {"q:d", "Q:q", "q:q;q:q", ""})
    ExpectSecondMisfits("q:q", other);
}

// Each but for one thing like the table before it, which has been looked at.
TEST(ArrowBatch, LooksAtNamesOfTheSameLength) {
  const Exported like = Export(Table("ab:q;c:q", 0, ""));
  const Table fits("ab:q;c:q", 1, "");
  for (const char* other : {"a:q;bc:q", "ab:q;d:q", "ab:q;cd:q"}) {
    const Table again("ab:q;c:q", 1, "");
    const Table does_not(other, 1, "");
    void* tables[] = {fits.get(), again.get(), does_not.get()};
    Exported batch;
    int64_t misfit = 0;
    EXPECT_EQ(table_export_arrow_batch(tables, 3, &like.schema, &batch.array, &misfit), EINVAL) << other;
    EXPECT_EQ(misfit, 2) << other;
  }
}

// Names and letters that are the same one after the other, in columns of other types.
TEST(ArrowBatch, LooksAtTheTypesOfAllColumns) {
  ExpectSecondMisfits("a:q;x:q;y", "a:q;x;q:y");
}

// A column of byte strings, and two that hold nothing.
TEST(ArrowBatch, TellsOneColumnFromTwo) {
  ExpectSecondMisfits("a:b", "a;b");
}

// Columns that hold nothing have no cells, and count all the same.
TEST(ArrowBatch, LooksAtColumnsBehindThoseThatHoldNothing) {
  const Exported like = Export(Table("x;y;z:q", 0, ""));
  const Table does_not("x;y;w:q", 1, "");
  void* tables[] = {does_not.get()};
  Exported batch;
  EXPECT_EQ(table_export_arrow_batch(tables, 1, &like.schema, &batch.array, nullptr), EINVAL);
}

TEST(ArrowBatch, TakesArraysOfEachLetter) {
  for (const char* spec : {"a:2c", "a:2h", "a:2i", "a:2q", "a:2C", "a:2H", "a:2I", "a:2Q", "a:2f", "a:2d",
                           "a:2T", "a:2P", "a:2V"}) {
    const Exported like = Export(Table(spec, 0, ""));
    void* tables[] = {table_create(spec, 3, "")};
    Exported batch;
    ASSERT_EQ(table_export_arrow_batch(tables, 1, &like.schema, &batch.array, nullptr), 0) << spec;
    EXPECT_EQ(replies::CheckArrow(like.schema, batch.array), "") << spec;
    EXPECT_EQ(batch.column(0).children[0]->length, 6) << spec;
  }
}

// Tables of one row, with more columns than a small table has cells.
TEST(ArrowBatch, TakesLargeTablesOfOneRow) {
  std::string spec;
  for (int col = 0; col < 300; ++col)
    spec += "q:q;";
  const Exported like = Export(Table(spec.c_str(), 0, ""));
  void* tables[3];
  for (int i = 0; i < 3; ++i) {
    tables[i] = table_create(spec.c_str(), 1, "");
    for (int col = i; col < 300; ++col)
      table_set_int64(tables[i], 0, col, 1000 * i + col);
  }
  Exported batch;
  ASSERT_EQ(table_export_arrow_batch(tables, 3, &like.schema, &batch.array, nullptr), 0);
  EXPECT_EQ(replies::CheckArrow(like.schema, batch.array), "");
  EXPECT_EQ(batch.column(0).null_count, 2);
  EXPECT_EQ(At<int64_t>(batch.column(0), 0), 0);
  EXPECT_EQ(batch.column(299).null_count, 0);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(At<int64_t>(batch.column(299), i), 1000 * i + 299);
}

// As far as it goes, the second table is like the first.
TEST(ArrowBatch, SaysWhichTableHasFewerColumns) {
  ExpectSecondMisfits("a;b", "a");
}

// Also where the columns differ further down.
TEST(ArrowBatch, SaysInWhichTableSomethingDoesNotFit) {
  const auto with_child = [](const char* spec) {
    void* table = table_create("t:t", 1, "");
    table_set_table_raw(table, 0, 0, table_create(spec, 1, ""));
    return Table(table);
  };
  const Exported like = Export(with_child("q:q"));
  const Table first = with_child("q:q");
  const Table second("t:t", 1, "");
  const Table third = with_child("q:q;more:d");
  void* tables[] = {first.get(), second.get(), third.get()};
  Exported batch;
  int64_t misfit = 0;
  EXPECT_EQ(table_export_arrow_batch(tables, 3, &like.schema, &batch.array, &misfit), EINVAL);
  EXPECT_EQ(misfit, 2);
  EXPECT_EQ(batch.array.release, nullptr);
}

TEST(ArrowBatch, TakesDecimalClassesWhereDoublesBelong) {
  const Exported like = Export(Table("x:P", 0, ""));
  void* tables[] = {table_create("x:P", 1, ""), table_create("x:d", 1, ""), table_create("x:V", 1, "")};
  table_set_pfloat(tables[0], 0, 0, PFloat(15, 1));
  table_set_double(tables[1], 0, 0, 2.5);
  table_set_vfloat(tables[2], 0, 0, VFloat(35, 1));
  Exported batch;
  ASSERT_EQ(table_export_arrow_batch(tables, 3, &like.schema, &batch.array, nullptr), 0);
  EXPECT_EQ(replies::CheckArrow(like.schema, batch.array), "");
  EXPECT_EQ(At<double>(batch.column(0), 0), 1.5);
  EXPECT_EQ(At<double>(batch.column(0), 1), 2.5);
  EXPECT_EQ(At<double>(batch.column(0), 2), 3.5);
}

TEST(ArrowBatch, MayBeOfNoTable) {
  const Exported like = Export(Table("q:q;s:s;t:t;a:3i;odd", 0, ""));
  Exported batch;
  ASSERT_EQ(table_export_arrow_batch(nullptr, 0, &like.schema, &batch.array, nullptr), 0);
  EXPECT_EQ(replies::CheckArrow(like.schema, batch.array), "");
  EXPECT_EQ(batch.array.length, 0);
}

TEST(ArrowBatch, RefusesTypesThatNoTableHas) {
  for (const char* format : {"u", "+w:3", "x", "+l"}) {
    Exported like = Export(Table("q:q", 0, ""));
    like.schema.children[0]->format = format;
    const Table table("q:q", 1, "");
    void* tables[] = {table.get()};
    Exported batch;
    EXPECT_EQ(table_export_arrow_batch(tables, 1, &like.schema, &batch.array, nullptr), EINVAL) << format;
  }
}

// Whatever was in them before: a reader asks a released array and schema for nothing.
TEST(ArrowBatch, LeavesWhatItRefusesReleased) {
  const Exported like = Export(Table("q:q", 0, ""));
  const Table other("d:d", 1, "");
  void* tables[] = {other.get()};
  ArrowArray array{};
  array.release = [](ArrowArray*) { ADD_FAILURE() << "released"; };
  EXPECT_EQ(table_export_arrow_batch(tables, 1, &like.schema, &array, nullptr), EINVAL);
  EXPECT_EQ(array.release, nullptr);
  ArrowSchema schema{};
  schema.release = [](ArrowSchema*) { ADD_FAILURE() << "released"; };
  array.release = [](ArrowArray*) { ADD_FAILURE() << "released"; };
  EXPECT_EQ(table_export_arrow(nullptr, &schema, &array), EINVAL);
  EXPECT_EQ(array.release, nullptr);
  EXPECT_EQ(schema.release, nullptr);
}

TEST(ArrowBatch, RefusesArraysThatNoTableHas) {
  Exported like = Export(Table("a:3i", 0, ""));
  const Table table("a:3i", 1, "");
  const auto result = [&] {
    void* tables[] = {table.get()};
    Exported batch;
    return table_export_arrow_batch(tables, 1, &like.schema, &batch.array, nullptr);
  };
  ArrowSchema& column = *like.schema.children[0];
  const ArrowSchema before = column;
  ArrowSchema& element = *column.children[0];
  for (const char* format : {"u", "z", "n"}) {
    element.format = format;
    EXPECT_EQ(result(), EINVAL) << format;
  }
  element.format = "i";
  // Of three numbers, two, one and none.
  for (const char* format : {"+w:2", "+w:1", "+w:0"}) {
    column.format = format;
    EXPECT_EQ(result(), EINVAL) << format;
  }
  column.format = before.format;
  like.schema.format = "i";
  EXPECT_EQ(result(), EINVAL);
  like.schema.format = "+s";
}

// Specs of one length, which differ in the width of an array alone.
TEST(ArrowBatch, TellsArraysOfOtherWidthsApart) {
  const Exported like = Export(Table("a:2i;b:q", 0, ""));
  const Table fits("a:2i;b:q", 1, "");
  const Table does_not("a:3i;b:q", 1, "");
  void* tables[] = {fits.get(), fits.get(), does_not.get()};
  Exported batch;
  int64_t misfit = 0;
  EXPECT_EQ(table_export_arrow_batch(tables, 3, &like.schema, &batch.array, &misfit), EINVAL);
  EXPECT_EQ(misfit, 2);
}

TEST(ArrowBatch, TakesASchemaWithoutNamesForColumnsWithoutNames) {
  Exported like = Export(Table(":q", 0, ""));
  like.schema.children[0]->name = nullptr;
  for (const bool named : {false, true}) {
    Table table(named ? "a:q" : ":q", 1, "");
    void* tables[] = {table.get()};
    Exported batch;
    EXPECT_EQ(table_export_arrow_batch(tables, 1, &like.schema, &batch.array, nullptr), named ? EINVAL : 0);
    if (!named) static_cast<void>(table.release());
  }
}

TEST(ArrowBatch, RefusesTypesThatAreTooDeep) {
  Exported inner = Export(Nested(31));
  void* one = table_create("t:t", 1, "");
  table_set_table_raw(one, 0, 0, table_create("q:q", 1, ""));
  Exported outer = Export(Table(one));
  ArrowSchema** inside = &outer.schema.children[0]->children[0];
  ArrowSchema* const own = std::exchange(*inside, &inner.schema);
  Exported batch;
  EXPECT_EQ(table_export_arrow_batch(nullptr, 0, &outer.schema, &batch.array, nullptr), EOVERFLOW);
  *inside = own;
  EXPECT_EQ(table_export_arrow_batch(nullptr, 0, &outer.schema, &batch.array, nullptr), 0);
}

// Deeper than a stack is, if each level of them took a call.
TEST(ArrowBatch, RefusesTypesOfAnyDepth) {
  constexpr size_t kLevels = 500'000;
  std::vector<ArrowSchema> schemas(2 * kLevels + 1);
  std::vector<ArrowSchema*> below(2 * kLevels);
  for (size_t i = 0; i < 2 * kLevels; ++i) {
    below[i] = &schemas[i + 1];
    schemas[i].format = i % 2 == 0 ? "+s" : "+l";
    schemas[i].n_children = 1;
    schemas[i].children = &below[i];
  }
  schemas.back().format = "+s";
  Exported batch;
  EXPECT_EQ(table_export_arrow_batch(nullptr, 0, schemas.data(), &batch.array, nullptr), EOVERFLOW);
}

// The deepest type that an export has, by the same bound.
TEST(ArrowBatch, TakesTypesAsDeepAsAnExportHasThem) {
  const Exported like = Export(Nested(31));
  void* tables[] = {Nested(31).release()};
  Exported batch;
  ASSERT_EQ(table_export_arrow_batch(tables, 1, &like.schema, &batch.array, nullptr), 0);
  EXPECT_EQ(replies::CheckArrow(like.schema, batch.array), "");
}

// In a small table the bits of a column begin where those of the one before it end.
TEST(ArrowBatch, CountsNoBitsOfTheNextColumn) {
  for (int rows = 1; rows <= 70; ++rows) {
    const auto make = [rows] {
      void* table = table_create("q:q;r:q;s:q", rows, "");
      for (int row = 0; row < rows; ++row) {
        if (row % 3 == 1) table_set_int64(table, row, 0, row);
        table_set_int64(table, row, 1, row);
      }
      return table;
    };
    const int64_t unset = rows - (rows + 1) / 3;
    const Exported one = Export(Table(make()));
    EXPECT_EQ(one.column(0).null_count, unset) << rows;
    EXPECT_EQ(one.column(1).null_count, 0) << rows;
    EXPECT_EQ(one.column(2).null_count, rows) << rows;
    void* tables[] = {make(), make(), make()};
    Exported batch;
    ASSERT_EQ(table_export_arrow_batch(tables, 3, &one.schema, &batch.array, nullptr), 0);
    EXPECT_EQ(replies::CheckArrow(one.schema, batch.array), "");
    EXPECT_EQ(batch.column(0).null_count, 3 * unset) << rows;
    EXPECT_EQ(batch.column(1).null_count, 0) << rows;
    EXPECT_EQ(batch.column(2).null_count, 3 * rows) << rows;
    for (int row = 0; row < 3 * rows; ++row)
      ASSERT_EQ(IsNull(batch.column(0), row), row % rows % 3 != 1) << rows << ' ' << row;
  }
}

// With a word of bits for each 64 columns.
TEST(ArrowBatch, FindsTheBitsOfTablesOfOneRow) {
  constexpr int kCols = 200;
  std::string spec;
  for (int col = 0; col < kCols; ++col)
    spec += "q:q;";
  const Exported like = Export(Table(spec.c_str(), 0, ""));
  void* tables[2];
  for (int i = 0; i < 2; ++i) {
    tables[i] = table_create(spec.c_str(), 1, "");
    for (int col = i; col < kCols; col += 3)
      table_set_int64(tables[i], 0, col, 1000 * i + col);
  }
  Exported batch;
  ASSERT_EQ(table_export_arrow_batch(tables, 2, &like.schema, &batch.array, nullptr), 0);
  for (int col = 0; col < kCols; ++col) {
    for (int i = 0; i < 2; ++i) {
      const bool is_set = col % 3 == i;
      EXPECT_EQ(IsNull(batch.column(col), i), !is_set) << col;
      EXPECT_EQ(At<int64_t>(batch.column(col), i), is_set ? 1000 * i + col : 0) << col;
    }
  }
}

// 60,000 tables of a number: half a megabyte, and 16 are always allowed.
TEST(ArrowBatch, TakesManyTablesOfOneRow) {
  constexpr int kTables = 60'000;
  const Exported like = Export(Table("q:q", 0, ""));
  std::vector<void*> tables;
  for (int i = 0; i < kTables; ++i) {
    tables.push_back(table_create("q:q", 1, ""));
    table_set_int64(tables.back(), 0, 0, i);
  }
  Exported batch;
  ASSERT_EQ(table_export_arrow_batch(tables.data(), kTables, &like.schema, &batch.array, nullptr), 0);
  EXPECT_EQ(At<int64_t>(batch.column(0), kTables - 1), kTables - 1);
}

// 66 words of bits, one for each 64 tables of a row.
TEST(ArrowBatch, HasRoomForTheBitsOfAllTables) {
  constexpr int kTables = 65 * 64 + 64;
  const Exported like = Export(Table("c:c;d:c;e:c", 0, ""));
  std::vector<void*> tables;
  for (int i = 0; i < kTables; ++i) {
    tables.push_back(table_create("c:c;d:c;e:c", 1, ""));
    for (int col = 0; col < 3; ++col)
      table_set_int(tables.back(), 0, col, col + 1);
  }
  Exported batch;
  ASSERT_EQ(table_export_arrow_batch(tables.data(), kTables, &like.schema, &batch.array, nullptr), 0);
  for (int64_t col = 0; col < 3; ++col) {
    EXPECT_EQ(batch.column(col).null_count, 0);
    EXPECT_EQ(batch.column(col).buffers[0], nullptr);
    EXPECT_EQ(At<int8_t>(batch.column(col), 0), col + 1);
    EXPECT_EQ(At<int8_t>(batch.column(col), kTables - 1), col + 1);
  }
}

TEST(ArrowBatch, KnowsTheColumnsInsideBeforeTheFirstChild) {
  Table full("t:t", 1, "");
  table_set_table_raw(full.get(), 0, 0, table_create("d:d;a:2i;b:b", 1, ""));
  const Exported like = Export(std::move(full));
  void* empty[] = {table_create("t:t", 2, "")};
  Exported batch;
  ASSERT_EQ(table_export_arrow_batch(empty, 1, &like.schema, &batch.array, nullptr), 0);
  EXPECT_EQ(replies::CheckArrow(like.schema, batch.array), "");
  EXPECT_EQ(batch.column(0).children[0]->n_children, 3);
}

// The tables are alike: they are too much.
TEST(ArrowBatch, SaysThatNoneOfThemIsToBlame) {
  const Exported like = Export(Table("a:99999999q", 0, ""));
  const Table large("a:99999999q", 1000, "");
  void* tables[] = {large.get()};
  Exported batch;
  int64_t misfit = 0;
  EXPECT_EQ(table_export_arrow_batch(tables, 1, &like.schema, &batch.array, &misfit), EOVERFLOW);
  EXPECT_EQ(misfit, -1);
}

// ---- hostile tables ----

// Columns that nothing was written to share their zeros; what a cell far down takes is bounded as a whole.
TEST(ArrowBounds, GrowsWithWhatIsWritten) {
  std::string spec;
  for (int i = 0; i < 20'000; ++i)
    spec += "q:q;s:s;a:9q;";
  Exported announced;
  ASSERT_EQ(
      table_export_arrow(Table(spec.c_str(), 100'000, "").release(), &announced.schema, &announced.array), 0);
  EXPECT_EQ(announced.array.n_children, 60'000);
  Table sparse(spec.c_str(), 100'000, "");
  for (int col = 0; col < 60'000; col += 3)
    table_set_int64(sparse.get(), 99'999, col, 1);
  Exported none;
  EXPECT_EQ(table_export_arrow(sparse.get(), &none.schema, &none.array), EOVERFLOW);
  Table counted("a:99999999q", 1000, "");
  EXPECT_EQ(table_export_arrow(counted.get(), &none.schema, &none.array), EOVERFLOW);
}

// Three million rows take 24.38 MB. Below 16.78 MB anything goes; each cell far down adds 8 times its 64
// bytes.
TEST(ArrowBounds, MayGrowWithCellsFarDown) {
  const auto result = [](int cells) {
    Table table("q:q", 3'000'000, "");
    for (int i = 0; i < cells; ++i)
      table_set_int64(table.get(), 2'999'999 - 100 * i, 0, i);
    Exported exported;
    return table.export_arrow(&exported.schema, &exported.array);
  };
  EXPECT_EQ(result(15'000), 0);          // 16.78 + 7.68
  EXPECT_EQ(result(14'700), EOVERFLOW);  // 16.78 + 7.53
}

// A full column of single bytes adds 8 for each of them: 24 MB. A cell far down in another one takes 24.38
// MB.
TEST(ArrowBounds, GrowWithTheWidthOfWhatIsThere) {
  const auto result = [](const char* spec) {
    Table table(spec, 3'000'000, "");
    for (int row = 0; row < 3'000'000; ++row)
      table_set_int(table.get(), row, 0, 1);
    for (int col = 1; col < table_cols(table.get()); ++col)
      table_set_int64(table.get(), 2'999'999, col, 1);
    Exported exported;
    return table.export_arrow(&exported.schema, &exported.array);
  };
  EXPECT_EQ(result("c:c;q:q"), 0);
  EXPECT_EQ(result("c:c;q:q;r:q"), EOVERFLOW);
}

TEST(ArrowBounds, GrowWithWhatIsThere) {
  const Exported like = Export(Table("q:q", 0, ""));
  void* tables[2];
  for (void*& table : tables) {
    table = table_create("q:q", 1'100'000, "");
    for (int row = 0; row < 1'100'000; ++row)
      table_set_int64(table, row, 0, row);
  }
  // 2.2 million numbers are 17.6 MB.
  Exported batch;
  ASSERT_EQ(table_export_arrow_batch(tables, 2, &like.schema, &batch.array, nullptr), 0);
  EXPECT_EQ(At<int64_t>(batch.column(0), 2'199'999), 1'099'999);
}

// 9,000 small tables of 256 numbers are 18.4 MB.
TEST(ArrowBounds, GrowWithTheSmallTablesThatAreThere) {
  const Exported like = Export(Table("q:q", 0, ""));
  std::vector<void*> tables;
  for (int64_t i = 0; i < 9000; ++i) {
    tables.push_back(table_create("q:q", 256, ""));
    for (int row = 0; row < 256; ++row)
      table_set_int64(tables.back(), row, 0, i);
  }
  Exported batch;
  ASSERT_EQ(table_export_arrow_batch(tables.data(), 9000, &like.schema, &batch.array, nullptr), 0);
  EXPECT_EQ(At<int64_t>(batch.column(0), 9000 * 256 - 1), 8999);
}

// 4,000 arrays of 8,000 bytes are 32 MB, and all of them were written.
TEST(ArrowBounds, GrowWithTheArraysThatAreThere) {
  const std::vector<int64_t> numbers(1000, 7);
  Table table("a:1000q", 4000, "");
  for (int row = 0; row < 4000; ++row)
    table_set_buff(table.get(), row, 0, numbers.data(), 8000, 0);
  const Exported exported = Export(std::move(table));
  EXPECT_EQ(At<int64_t>(*exported.column(0).children[0], 3'999'999), 7);
}

// 30,000 arrays of 72 bytes are 2 MB, which is less than anything may have.
TEST(ArrowBounds, DoNotShrinkWithTheArraysThatAreThere) {
  const int64_t numbers[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  Table table("a:9q", 30'000, "");
  for (int row = 0; row < 30'000; ++row)
    table_set_buff(table.get(), row, 0, numbers, sizeof numbers, 0);
  const Exported exported = Export(std::move(table));
  EXPECT_EQ(At<int64_t>(*exported.column(0).children[0], 9 * 30'000 - 1), 9);
}

// ---- text as it came ----

TEST(KeepUtf8, HoldsForItsThreadAndScope) {
  const char* chinese = "\xE4\xB8\xAD";
  EXPECT_EQ(tsl_base::text::Utf8toGb2312(chinese), "\xD6\xD0");
  {
    const tsl_base::KeepUtf8 keep;
    EXPECT_EQ(tsl_base::text::Utf8toGb2312(chinese), chinese);
    EXPECT_EQ(tsl_base::text::Utf8toGb2312(std::string("a\0\xFF", 3)), std::string("a\0\xFF", 3));
    EXPECT_EQ(tsl_base::text::Utf8toGb2312(static_cast<const char*>(nullptr)), "");
    { const tsl_base::KeepUtf8 again; }
    EXPECT_EQ(tsl_base::text::Utf8toGb2312(chinese), chinese);
  }
  EXPECT_EQ(tsl_base::text::Utf8toGb2312(chinese), "\xD6\xD0");
  EXPECT_EQ(tsl_base_keep_utf8(5), 0);
  EXPECT_EQ(tsl_base_keep_utf8(0), 1);
}

}  // namespace
