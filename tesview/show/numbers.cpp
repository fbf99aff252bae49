#include "tesview/show/numbers.h"

#include <fmt/compile.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace tesview {
namespace {

constexpr int kMostDigits = 15;

// More places than this are no number that anybody shows; a hostile count must not become a long text.
constexpr unsigned kMostPlaces = 30;

template <class T>
char* WriteShortest(char* to, T value) {
  return fmt::format_to(to, FMT_COMPILE("{}"), value);
}

char* WriteTwoDigits(char* to, unsigned value) {
  to[0] = static_cast<char>('0' + value / 10);
  to[1] = static_cast<char>('0' + value % 10);
  return to + 2;
}

// Of a number as text: without zeros before the first digit and behind the last one.
std::ptrdiff_t SignificantDigits(const char* begin, const char* end) {
  end = std::find(begin, end, 'e');
  const auto counts = [](char c) { return c >= '1' && c <= '9'; };
  const char* first = std::find_if(begin, end, counts);
  const char* last = end;
  while (last != first && !counts(last[-1]))
    --last;
  return last - first - std::count(first, last, '.');
}

// `value` / 10000, which is no whole number, without zeros at the end.
char* WriteTenThousandths(char* to, uint64_t value) {
  to = WriteInteger(to, value / 10000);
  const auto places = static_cast<unsigned>(value % 10000);
  *to++ = '.';
  to = WriteTwoDigits(to, places / 100);
  if (places % 100 != 0) to = WriteTwoDigits(to, places % 100);
  return to[-1] == '0' ? to - 1 : to;
}

}  // namespace

char* WriteInteger(char* to, int64_t value) {
  return std::to_chars(to, to + kNumberRoom, value).ptr;
}

char* WriteInteger(char* to, uint64_t value) {
  return std::to_chars(to, to + kNumberRoom, value).ptr;
}

// Most doubles of a table are decimal numbers with few places. No two numbers of up to 15 digits are the same
// double, so the one that gives the double back is the shortest one there is; it needs no search.
char* WriteFloating(char* to, double value) {
  constexpr double kMost = 1e11;  // 15 digits, four of them behind the point
  constexpr double kMostWhole = 1e15;
  const double size = std::fabs(value);
  if (!(size < kMostWhole) || (value == 0 && std::signbit(value))) return WriteShortest(to, value);
  const auto whole = static_cast<int64_t>(value);
  if (static_cast<double>(whole) == value) return WriteInteger(to, whole);
  if (size >= kMost) return WriteShortest(to, value);
  // The nearest whole number, or the one beside it: then the division does not give the double back.
  constexpr double kHalf = 0.5;
  const auto scaled = static_cast<uint64_t>(size * 10000 + kHalf);
  if (static_cast<double>(scaled) / 10000 != size) return WriteShortest(to, value);
  if (value < 0) *to++ = '-';
  return WriteTenThousandths(to, scaled);
}

char* WriteFloating(char* to, float value) {
  constexpr float kMost = 1 << 24;
  const bool whole = value > -kMost && value < kMost && value == std::trunc(value) && value != 0;
  return whole ? WriteInteger(to, static_cast<int64_t>(value)) : WriteShortest(to, value);
}

char* WriteRounded(char* to, double value) {
  char* const end = WriteFloating(to, value);
  if (SignificantDigits(to, end) <= kMostDigits) return end;
  return fmt::format_to(to, FMT_COMPILE("{:.{}g}"), value, kMostDigits);
}

char* WriteDecimal(char* to, int64_t mantissa, unsigned places) {
  if (places > kMostPlaces) {
    to = WriteInteger(to, mantissa);
    *to++ = 'e';
    *to++ = '-';
    return WriteInteger(to, static_cast<uint64_t>(places));
  }
  const auto bits = static_cast<uint64_t>(mantissa);
  if (mantissa < 0) *to++ = '-';
  char digits[kNumberRoom];
  const auto count = static_cast<size_t>(WriteInteger(digits, mantissa < 0 ? ~bits + 1 : bits) - digits);
  const size_t leading = count <= places ? places + 1 - count : 0;
  const size_t whole = leading + count - places;
  for (size_t i = 0; i < leading + count; ++i) {
    if (i == whole) *to++ = '.';
    *to++ = i < leading ? '0' : digits[i - leading];
  }
  return to;
}

}  // namespace tesview
