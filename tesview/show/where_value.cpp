#include "tesview/show/where_value.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <system_error>

#include "replies/text.h"
#include "tesview/show/cells.h"

namespace tesview {
namespace {

using tsl_base::TableView;
using tsl_base::Type;

constexpr int64_t kMillisOfDay = int64_t{24} * 3600 * 1000;

// ---- the value --------------------------------------------------------------------------------------------

template <class T>
std::optional<T> FloatingOf(std::string_view text) {
  T value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || std::isnan(value)) return std::nullopt;
  return value;
}

// Digits without a sign; the base is 16 behind 0x.
bool ReadMagnitude(std::string_view digits, uint64_t* magnitude) {
  const bool hex = digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
  if (hex) digits.remove_prefix(2);
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), *magnitude, hex ? 16 : 10);
  return error == std::errc() && end == digits.data() + digits.size();
}

// 12.00 is as whole as 12.
std::string_view WithoutZeroFraction(std::string_view digits) {
  const size_t last = digits.find_last_not_of('0');
  return last != std::string_view::npos && digits[last] == '.' ? digits.substr(0, last) : digits;
}

// ---- numbers ----------------------------------------------------------------------------------------------

// Less than 0, 0, or more than 0, as all the following.
int CompareMagnitudes(uint64_t a, uint64_t b) {
  return a < b ? -1 : (a > b ? 1 : 0);
}

int CompareWhole(bool negative, uint64_t magnitude, const WhereNumber& with) {
  if (negative != with.negative) return negative ? -1 : 1;
  const int order = CompareMagnitudes(magnitude, with.magnitude);
  return negative ? -order : order;
}

// With a number that has a fraction or is beyond 64 bits.
int CompareWithFraction(bool negative, uint64_t magnitude, double with) {
  constexpr double kBeyond = 18446744073709551616.0;  // 2^64
  if (with >= kBeyond) return -1;
  if (with <= -kBeyond) return 1;
  const double whole = std::trunc(with);
  const WhereNumber cut{true, whole < 0, static_cast<uint64_t>(std::fabs(whole)), whole, 0};
  const int order = CompareWhole(negative, magnitude, cut);
  if (order != 0 || with == whole) return order;
  return with > whole ? -1 : 1;
}

int CompareInteger(bool negative, uint64_t magnitude, const WhereNumber& with) {
  return with.whole ? CompareWhole(negative, magnitude, with)
                    : CompareWithFraction(negative, magnitude, with.floating);
}

int CompareSigned(int64_t value, const WhereNumber& with) {
  const auto bits = static_cast<uint64_t>(value);
  return CompareInteger(value < 0, value < 0 ? ~bits + 1 : bits, with);
}

template <class T>
std::optional<int> CompareFloating(T value, T with) {
  if (std::isnan(value)) return std::nullopt;
  return value < with ? -1 : (value > with ? 1 : 0);
}

template <class T>
T ElementOf(const void* numbers, int element) {
  T value{};
  std::memcpy(&value, static_cast<const char*>(numbers) + static_cast<size_t>(element) * sizeof(T),
              sizeof(T));
  return value;
}

std::optional<int> CompareNumber(const Column& column, const void* numbers, int element,
                                 const WhereNumber& with) {
  switch (column.type) {
    case Type::kInt8: return CompareSigned(ElementOf<int8_t>(numbers, element), with);
    case Type::kInt16: return CompareSigned(ElementOf<int16_t>(numbers, element), with);
    case Type::kInt32: return CompareSigned(ElementOf<int32_t>(numbers, element), with);
    case Type::kInt64: return CompareSigned(ElementOf<int64_t>(numbers, element), with);
    case Type::kUint8: return CompareInteger(false, ElementOf<uint8_t>(numbers, element), with);
    case Type::kUint16: return CompareInteger(false, ElementOf<uint16_t>(numbers, element), with);
    case Type::kUint32: return CompareInteger(false, ElementOf<uint32_t>(numbers, element), with);
    case Type::kUint64: return CompareInteger(false, ElementOf<uint64_t>(numbers, element), with);
    // As each is written in its own fewest digits, so is it compared.
    case Type::kFloat: return CompareFloating(ElementOf<float>(numbers, element), with.single);
    case Type::kDouble: return CompareFloating(ElementOf<double>(numbers, element), with.floating);
    default: break;
  }
  // A decimal number or a time of the host's own classes: by what is written.
  char digits[kNumberRoom];
  const char* end = WriteNumber(digits, column, numbers, element);
  const auto value = FloatingOf<double>({digits, static_cast<size_t>(end - digits)});
  return value ? CompareFloating(*value, with.floating) : std::nullopt;
}

bool Agrees(Comparison comparison, int order) {
  switch (comparison) {
    case Comparison::kEqual: return order == 0;
    case Comparison::kUnequal: return order != 0;
    case Comparison::kLess: return order < 0;
    case Comparison::kAtMost: return order <= 0;
    case Comparison::kMore: return order > 0;
    case Comparison::kAtLeast: return order >= 0;
    case Comparison::kHas: break;
  }
  return false;
}

// ---- times ------------------------------------------------------------------------------------------------

// A time within the range is equal to it.
std::optional<int> CompareTime(const TimeCell& cell, const replies::TimeRange& with) {
  int64_t millis = cell.millis;
  if (with.has_date && !replies::HasDate(cell.kind)) return std::nullopt;
  // Before 1970, too.
  if (!with.has_date) millis = (millis % kMillisOfDay + kMillisOfDay) % kMillisOfDay;
  return millis < with.from ? -1 : (millis >= with.to ? 1 : 0);
}

bool MayBeAnyTime(const Column& column) {
  for (int element = 0; element < column.count; ++element) {
    if (MayBeTime(column, element)) return true;
  }
  return false;
}

// ---- cells ------------------------------------------------------------------------------------------------

bool TextHolds(const WhereCondition& condition, std::string_view cell) {
  const std::string repaired = replies::IsUtf8(cell) ? std::string() : replies::ToUtf8(cell);
  const std::string_view text = repaired.empty() ? cell : std::string_view(repaired);
  if (condition.comparison == Comparison::kHas) return text.find(condition.value) != std::string_view::npos;
  return Agrees(condition.comparison, text.compare(condition.value));
}

bool NumberHolds(const WhereCondition& condition, const Column& column, const void* numbers, int element) {
  if (condition.comparison == Comparison::kHas) {
    char digits[kNumberRoom];
    const char* end = WriteNumber(digits, column, numbers, element);
    return std::string_view(digits, static_cast<size_t>(end - digits)).find(condition.value) !=
           std::string_view::npos;
  }
  std::optional<int> order;
  if (condition.number) {
    order = CompareNumber(column, numbers, element, *condition.number);
  } else if (condition.time) {
    const auto time = TimeOf(column, numbers, element);
    if (time) order = CompareTime(*time, *condition.time);
  }
  return order && Agrees(condition.comparison, *order);
}

}  // namespace

std::optional<WhereNumber> ParseWhereNumber(std::string_view text) {
  WhereNumber number;
  std::string_view digits = text;
  const bool negative = !digits.empty() && digits[0] == '-';
  if (!digits.empty() && (negative || digits[0] == '+')) digits.remove_prefix(1);
  if (ReadMagnitude(WithoutZeroFraction(digits), &number.magnitude)) {
    number.whole = true;
    number.negative = negative && number.magnitude != 0;
    number.floating = static_cast<double>(number.magnitude) * (negative ? -1 : 1);
    number.single = static_cast<float>(number.magnitude) * (negative ? -1.0F : 1.0F);
    return number;
  }
  const auto floating = FloatingOf<double>(digits);
  if (!floating || std::signbit(*floating)) return std::nullopt;
  const auto single = FloatingOf<float>(digits);
  number.floating = negative ? -*floating : *floating;
  // What no float can hold is beyond all of them, or nothing.
  const float nearest = single ? *single : (*floating > 1 ? std::numeric_limits<float>::infinity() : 0.0F);
  number.single = negative ? -nearest : nearest;
  return number;
}

bool IsComparable(const WhereCondition& condition, const Column& column) {
  if (column.type == Type::kText) return true;
  if (!column.is_number()) return false;
  return condition.comparison == Comparison::kHas || condition.number ||
         (condition.time && MayBeAnyTime(column));
}

bool Holds(const WhereCondition& condition, TableView table, int row, const Column& column) {
  if (column.type == Type::kText) {
    const char* text = TextOf(table, row, column);
    return text != nullptr && TextHolds(condition, text);
  }
  const void* numbers = NumbersOf(table, row, column);
  if (numbers == nullptr) return false;
  for (int element = 0; element < column.count; ++element) {
    if (NumberHolds(condition, column, numbers, element)) return true;
  }
  return false;
}

}  // namespace tesview
