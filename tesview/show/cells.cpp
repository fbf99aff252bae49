#include "tesview/show/cells.h"

#include <cmath>
#include <cstring>
#include <optional>

#include "replies/times.h"
#include "tesparser/tesparser.h"

namespace tesview {

using tsl_base::TableView;
using tsl_base::Type;

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

// The whole number that an element is; none where it is no whole number or too large for one.
std::optional<int64_t> WholeNumberOf(const Column& column, const void* numbers, int element) {
  double value = 0;
  switch (column.type) {
    case Type::kInt32: return Element<int32_t>(numbers, element);
    case Type::kUint32: return Element<uint32_t>(numbers, element);
    case Type::kInt64:
      if (!column.told->Is("packed")) return Element<int64_t>(numbers, element);
      value = TesparserInt64ToDouble(Element<int64_t>(numbers, element), nullptr);
      break;
    case Type::kDouble: value = Element<double>(numbers, element); break;
    default: return std::nullopt;
  }
  constexpr double kBeyond = 1e17;  // later than any time
  if (!(value > -kBeyond && value < kBeyond) || std::trunc(value) != value) return std::nullopt;
  return static_cast<int64_t>(value);
}

const replies::Told& KindOf(const Column& column, int element) {
  for (const replies::ElementDescription& each : column.told->elements) {
    if (each.index == element) return each.kind;
  }
  return column.told->kind;
}

// Null if the value is no time.
char* WriteIsoTime(char* to, const Column& column, const void* numbers, int element) {
  const auto value = WholeNumberOf(column, numbers, element);
  if (!value) return nullptr;
  return replies::WriteTime(to, replies::TimeKindOf(KindOf(column, element), *value), *value);
}

}  // namespace

bool MayBeTime(const Column& column, int element) {
  return column.told != nullptr && column.told->letter != "s" && replies::IsTime(KindOf(column, element));
}

std::optional<TimeCell> TimeOf(const Column& column, const void* numbers, int element) {
  if (!MayBeTime(column, element)) return std::nullopt;
  const auto value = WholeNumberOf(column, numbers, element);
  if (!value) return std::nullopt;
  const replies::TimeKind kind = replies::TimeKindOf(KindOf(column, element), *value);
  const auto millis = replies::MillisOf(kind, *value);
  if (!millis) return std::nullopt;
  return TimeCell{kind, *value, *millis};
}

char* WriteNumber(char* to, const Column& column, const void* numbers, int element) {
  if (column.iso_times) {
    if (char* end = WriteIsoTime(to, column, numbers, element)) return end;
  }
  switch (column.type) {
    case Type::kInt8: return WriteSigned<int8_t>(to, numbers, element);
    case Type::kInt16: return WriteSigned<int16_t>(to, numbers, element);
    case Type::kInt32: return WriteSigned<int32_t>(to, numbers, element);
    case Type::kInt64: return WriteSigned<int64_t>(to, numbers, element);
    case Type::kFloat: return WriteFloating(to, Element<float>(numbers, element));
    case Type::kDouble: return WriteFloating(to, Element<double>(numbers, element));
    case Type::kUint8: return WriteUnsigned<uint8_t>(to, numbers, element);
    case Type::kUint16: return WriteUnsigned<uint16_t>(to, numbers, element);
    case Type::kUint32: return WriteUnsigned<uint32_t>(to, numbers, element);
    case Type::kUint64: return WriteUnsigned<uint64_t>(to, numbers, element);
    case Type::kTime: return WriteInteger(to, Element<tsl_time_t>(numbers, element).value());
    case Type::kPFloat: return WriteDecimalOf<PFloat>(to, numbers, element);
    case Type::kVFloat: return WriteDecimalOf<VFloat>(to, numbers, element);
    default: return to;
  }
}

char* WriteJsonNumber(char* to, const Column& column, const void* numbers, int element) {
  if (column.iso_times) {
    if (char* end = WriteIsoTime(to + 1, column, numbers, element)) {
      *to = '"';
      *end = '"';
      return end + 1;
    }
  }
  // Most cells are of these two types.
  if (column.type == Type::kInt64) return WriteSigned<int64_t>(to, numbers, element);
  if (column.type == Type::kDouble) {
    const auto value = Element<double>(numbers, element);
    if (std::isfinite(value)) return WriteFloating(to, value);
  } else if (column.type != Type::kFloat || std::isfinite(Element<float>(numbers, element))) {
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

void AppendRounded(std::string* to, const Column& column, const void* numbers, int element) {
  if (column.type != Type::kDouble || column.iso_times) return AppendNumber(to, column, numbers, element);
  char digits[kNumberRoom];
  to->append(digits, WriteRounded(digits, Element<double>(numbers, element)));
}

std::string DateOf(TableView table, int row, const Column& column) {
  constexpr size_t kDay = 10;
  if (column.told == nullptr || column.counted || !column.is_number()) return std::string();
  const void* numbers = NumbersOf(table, row, column);
  const auto value = numbers == nullptr ? std::nullopt : WholeNumberOf(column, numbers, 0);
  if (!value) return std::string();
  const replies::TimeKind kind = replies::TimeKindOf(column.told->kind, *value);
  if (kind == replies::TimeKind::kTimeOfDay || kind == replies::TimeKind::kHourMinute) return std::string();
  char time[replies::kTimeRoom];
  const char* end = replies::WriteTime(time, kind, *value);
  return end == nullptr ? std::string() : std::string(time, kDay);
}

std::string_view BinaryOf(TableView table, int row, const Column& column) {
  int size = 0;
  const auto* bytes = static_cast<const char*>(table_get_binary(table.get(), row, column.index, &size));
  return bytes == nullptr ? std::string_view() : std::string_view(bytes, static_cast<size_t>(size));
}

}  // namespace tesview
