#include "tests/engines/sample_columns.h"

namespace sample_columns {

using arrow_columns::Batch;
using arrow_columns::Bools;
using arrow_columns::Column;
using arrow_columns::FixedSizeList;
using arrow_columns::LargeList;
using arrow_columns::List;
using arrow_columns::Numbers;
using arrow_columns::Sliced;
using arrow_columns::Struct;
using arrow_columns::Texts;

namespace {

constexpr int64_t kMillisecond = 1700000000123;  // 2023-11-14 22:13:20.123 in UTC

Column WithMetadata(Column column) {
  column.nullable = false;
  column.metadata = {{"unit", "yuan"}, {"heading", "\xE4\xBB\xB7"}};
  return column;
}

// 12.34, null, -0.01
Column Decimals() {
  Column column = Numbers<int64_t>("d:12,2", "decimal", {1234, 0, 0, 0, -1, -1}, "101");
  column.length = 3;
  return column;
}

}  // namespace

Column AllTypes() {
  const std::string valid = "101";
  Column batch = Batch({
      WithMetadata(Numbers<double>("g", "all_float64", {0.1, -0.0, 1e300})),
      Numbers<float>("f", "float32", {1.5F, 0, -0.25F}, valid),
      Numbers<int8_t>("c", "int8", {-128, 0, 127}, valid),
      Numbers<uint8_t>("C", "uint8", {0, 1, 255}, valid),
      Numbers<int16_t>("s", "int16", {-32768, 0, 32767}, valid),
      Numbers<uint16_t>("S", "uint16", {0, 1, 65535}, valid),
      Numbers<int32_t>("i", "int32", {-2147483647 - 1, 0, 2147483647}, valid),
      Numbers<uint32_t>("I", "uint32", {0, 1, 4294967295U}, valid),
      Numbers<int64_t>("l", "int64", {INT64_MIN, 0, INT64_MAX}, valid),
      Numbers<uint64_t>("L", "uint64", {0, 1, UINT64_MAX}, valid),
      Bools("bool", "110", valid),
      Texts("u", "utf8", {"\xE4\xB8\xAD\xE6\x96\x87", "no", ""}, valid),
      Texts("U", "large_utf8", {"a\"b\n", "no", "\xF0\x9F\x98\x80"}, valid),
      Texts("z", "binary", {std::string("\0\xFF", 2), "no", ""}, valid),
      Texts("Z", "large_binary", {"\x80", "no", "z"}, valid),
      Numbers<int64_t>("tss:", "timestamp_s", {1700000000, 0, -1}, valid),
      Numbers<int64_t>("tsm:Asia/Shanghai", "timestamp_ms", {kMillisecond, 0, -1}, valid),
      Numbers<int64_t>("tsu:", "timestamp_us", {kMillisecond * 1000 + 500, 0, -1000}, valid),
      Numbers<int64_t>("tsn:", "timestamp_ns", {kMillisecond * 1000000 + 250000, 0, -1000000}, valid),
      Numbers<int32_t>("tdD", "date", {19675, 0, -1}, valid),
      Decimals(),
  });
  batch.metadata = {{"made by", "hand"}};
  return batch;
}

Column Nested() {
  const Column numbers = Numbers<int32_t>("i", "item", {0, 1, 2, 3, 4, 5}, "110111");
  const Column points = Struct("item", 6,
                               {Numbers<int32_t>("i", "n", {0, 1, 2, 3, 4, 5}, "110111"),
                                Texts("u", "t", {"zero", "one", "two", "three", "four", "five"}, "111101")},
                               "111110");
  return Batch({
      Numbers<int64_t>("l", "row", {0, 1, 2, 3}),
      List("list", {0, 2, 2, 3, 6}, numbers, "1011"),
      LargeList("large_list", {0, 0, 0, 6, 6}, numbers, "1011"),
      List("rows", {0, 2, 2, 3, 6}, points, "1011"),
      Sliced(FixedSizeList("pair", 2,
                           Numbers<double>("g", "item", {9, 9, 1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5}),
                           "11011"),
             1, 4),
      Struct("struct", 4,
             {Sliced(numbers, 2, 4), List("texts", {0, 1, 1, 3, 4}, Texts("u", "item", {"a", "b", "c", ""}))},
             "1110"),
      // What the table of a candlestick in a quote would be.
      List("deep", {0, 1, 1, 2, 2}, Struct("item", 2, {List("rows", {0, 2, 6}, points)})),
  });
}

std::vector<Column> ManyBatches() {
  std::vector<Column> batches;
  for (int64_t batch = 0; batch < 40; ++batch) {
    std::vector<int64_t> numbers;
    std::vector<std::string> texts;
    for (int64_t i = 0; i < 2500; ++i) {
      numbers.push_back(batch * 2500 + i);
      texts.push_back("row " + std::to_string(numbers.back()));
    }
    batches.push_back(Batch({Numbers("l", "number", numbers), Texts("u", "text", texts)}));
  }
  return batches;
}

}  // namespace sample_columns
