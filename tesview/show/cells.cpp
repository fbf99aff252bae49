#include <cmath>
#include <cstring>
#include <unordered_set>

#include "replies/text.h"
#include "tesview/show/table.h"

namespace tesview {

using replies::CellTextToUtf8;

namespace {

template <class T>
T Element(const void* numbers, int element) {
  T value{};
  std::memcpy(&value, static_cast<const char*>(numbers) + static_cast<size_t>(element) * sizeof(T),
              sizeof(T));
  return value;
}

template <class T>
char* WriteSigned(char* to, const void* numbers, int element) {
  return WriteInteger(to, static_cast<int64_t>(Element<T>(numbers, element)));
}

template <class T>
char* WriteUnsigned(char* to, const void* numbers, int element) {
  return WriteInteger(to, static_cast<uint64_t>(Element<T>(numbers, element)));
}

template <class Decimal>
char* WriteDecimalOf(char* to, const void* numbers, int element) {
  const auto value = Element<Decimal>(numbers, element);
  return WriteDecimal(to, value.mantissa(), value.decimals());
}

}  // namespace

std::vector<Column> ColumnsOf(void* table) {
  std::vector<Column> columns;
  const int count = table_cols(table);
  columns.reserve(static_cast<size_t>(count));
  std::unordered_set<std::string> taken;
  for (int c = 0; c < count; ++c) {
    Column column;
    column.index = c;
    column.raw = table_col_name(table, c);
    column.name = CellTextToUtf8(column.raw);
    if (column.name.empty()) column.name = fmt::format("#{}", c);
    while (!taken.insert(column.name).second)
      column.name += fmt::format("#{}", c);
    column.type = table_col_type(table, c);
    column.count = table_col_count(table, c);
    const bool fixed = column.is_number();
    column.counted = fixed && column.count != 1;
    columns.push_back(std::move(column));
  }
  return columns;
}

bool HasColumns(void* table, const std::vector<Column>& columns) {
  if (table_cols(table) != static_cast<int>(columns.size())) return false;
  for (const Column& column : columns) {
    if (table_col_type(table, column.index) != column.type) return false;
    if (table_col_count(table, column.index) != column.count) return false;
    if (std::strcmp(table_col_name(table, column.index), column.raw.c_str()) != 0) return false;
  }
  return true;
}

char* WriteNumber(char* to, const Column& column, const void* numbers, int element) {
  switch (column.type) {
    case kInt8: return WriteSigned<int8_t>(to, numbers, element);
    case kInt16: return WriteSigned<int16_t>(to, numbers, element);
    case kInt32: return WriteSigned<int32_t>(to, numbers, element);
    case kInt64: return WriteSigned<int64_t>(to, numbers, element);
    case kFloat: return WriteFloating(to, Element<float>(numbers, element));
    case kDouble: return WriteFloating(to, Element<double>(numbers, element));
    case kUint8: return WriteUnsigned<uint8_t>(to, numbers, element);
    case kUint16: return WriteUnsigned<uint16_t>(to, numbers, element);
    case kUint32: return WriteUnsigned<uint32_t>(to, numbers, element);
    case kUint64: return WriteUnsigned<uint64_t>(to, numbers, element);
    case kTime: return WriteInteger(to, Element<tsl_time_t>(numbers, element).value());
    case kPFloat: return WriteDecimalOf<PFloat>(to, numbers, element);
    case kVFloat: return WriteDecimalOf<VFloat>(to, numbers, element);
    default: return to;
  }
}

char* WriteJsonNumber(char* to, const Column& column, const void* numbers, int element) {
  // Most cells are of these two types.
  if (column.type == kInt64) return WriteSigned<int64_t>(to, numbers, element);
  if (column.type == kDouble) {
    const auto value = Element<double>(numbers, element);
    if (std::isfinite(value)) return WriteFloating(to, value);
  } else if (column.type != kFloat || std::isfinite(Element<float>(numbers, element))) {
    return WriteNumber(to, column, numbers, element);
  }
  *to++ = '"';
  to = WriteNumber(to, column, numbers, element);
  *to++ = '"';
  return to;
}

void AppendNumber(std::string* to, const Column& column, const void* numbers, int element) {
  char digits[kNumberRoom];
  to->append(digits, WriteNumber(digits, column, numbers, element));
}

std::string_view BinaryOf(const void* table, int row, const Column& column) {
  int size = 0;
  const auto* bytes = static_cast<const char*>(table_get_binary(table, row, column.index, &size));
  return bytes == nullptr ? std::string_view() : std::string_view(bytes, static_cast<size_t>(size));
}

}  // namespace tesview
