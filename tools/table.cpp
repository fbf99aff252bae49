#include "tools/table.h"

#include <fmt/compile.h>

#include <cmath>
#include <cstring>
#include <unordered_set>

#include "tools/text.h"

namespace tesview {
namespace {

template <class T>
T Element(const void* table, int row, const Column& column, int element) {
  int size = 0;
  const auto* bytes = static_cast<const char*>(table_get_buff(table, row, column.index, &size));
  T value{};
  const size_t at = static_cast<size_t>(element) * sizeof(T);
  if (bytes == nullptr || at + sizeof(T) > static_cast<size_t>(size)) return value;
  std::memcpy(&value, bytes + at, sizeof(T));
  return value;
}

template <class T>
void AppendInteger(std::string* to, T value) {
  const fmt::format_int digits(value);
  to->append(digits.data(), digits.size());
}

// Most doubles of a table are whole: those need no search for the shortest fraction.
template <class T>
void AppendFloating(std::string* to, T value) {
  constexpr T kLargest = std::is_same_v<T, float> ? static_cast<T>(1 << 24) : static_cast<T>(1e15);
  const bool plain = value > -kLargest && value < kLargest && value != 0;
  if (plain && value == static_cast<T>(static_cast<int64_t>(value))) {
    return AppendInteger(to, static_cast<int64_t>(value));
  }
  char digits[40];
  const char* end = fmt::format_to(digits, FMT_COMPILE("{}"), value);
  to->append(digits, static_cast<size_t>(end - digits));
}

// mantissa / 10^decimals, digit by digit.
template <class Decimal>
void AppendDecimal(std::string* to, Decimal value) {
  const int64_t mantissa = value.mantissa();
  // More places than this are no number that anybody shows; a hostile count must not become a long text.
  if (value.decimals() > 30) {
    *to += fmt::format("{}e-{}", mantissa, value.decimals());
    return;
  }
  std::string digits = fmt::format("{}", mantissa < 0 ? -mantissa : mantissa);
  const size_t places = value.decimals();
  if (digits.size() <= places) digits.insert(0, places + 1 - digits.size(), '0');
  if (places != 0) digits.insert(digits.size() - places, ".");
  if (mantissa < 0) *to += '-';
  *to += digits;
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
    column.name = CellTextToUtf8(table_col_name(table, c));
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
    const std::string_view name = table_col_name(table, column.index);
    if (name == column.name) continue;
    // Not plain ASCII, or changed to be unique: compare with what it was made of.
    const std::string utf8 = CellTextToUtf8(name);
    if (utf8 != column.name && utf8 + fmt::format("#{}", column.index) != column.name) return false;
  }
  return true;
}

void AppendNumber(std::string* to, const void* table, int row, const Column& column, int element) {
  switch (column.type) {
    case kInt8: return AppendInteger(to, static_cast<int>(Element<int8_t>(table, row, column, element)));
    case kInt16: return AppendInteger(to, static_cast<int>(Element<int16_t>(table, row, column, element)));
    case kInt32: return AppendInteger(to, Element<int32_t>(table, row, column, element));
    case kInt64: return AppendInteger(to, Element<int64_t>(table, row, column, element));
    case kFloat: return AppendFloating(to, Element<float>(table, row, column, element));
    case kDouble: return AppendFloating(to, Element<double>(table, row, column, element));
    case kUint8:
      return AppendInteger(to, static_cast<unsigned>(Element<uint8_t>(table, row, column, element)));
    case kUint16:
      return AppendInteger(to, static_cast<unsigned>(Element<uint16_t>(table, row, column, element)));
    case kUint32: return AppendInteger(to, Element<uint32_t>(table, row, column, element));
    case kUint64: return AppendInteger(to, Element<uint64_t>(table, row, column, element));
    case kTime: return AppendInteger(to, Element<tsl_time_t>(table, row, column, element).value());
    case kPFloat: return AppendDecimal(to, Element<PFloat>(table, row, column, element));
    case kVFloat: return AppendDecimal(to, Element<VFloat>(table, row, column, element));
    default: return;
  }
}

void AppendJsonNumber(std::string* to, const void* table, int row, const Column& column, int element) {
  bool finite = true;
  if (column.type == kFloat) finite = std::isfinite(Element<float>(table, row, column, element));
  if (column.type == kDouble) finite = std::isfinite(Element<double>(table, row, column, element));
  if (!finite) *to += '"';
  AppendNumber(to, table, row, column, element);
  if (!finite) *to += '"';
}

std::string_view BinaryOf(const void* table, int row, const Column& column) {
  int size = 0;
  const auto* bytes = static_cast<const char*>(table_get_binary(table, row, column.index, &size));
  return bytes == nullptr ? std::string_view() : std::string_view(bytes, static_cast<size_t>(size));
}

}  // namespace tesview
