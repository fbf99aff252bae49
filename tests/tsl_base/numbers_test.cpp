// Claim: a number setter on a numeric column of another type stores the value if the column can hold exactly
// that value, and leaves the cell alone otherwise.
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "tsl_base/table.hpp"

namespace {

using tsl_base::Table;

const char kNumbers[] = "c:c;h:h;i:i;q:q;f:f;d:d;C:C;H:H;I:I;Q:Q";
enum Col { kc, kh, ki, kq, kf, kd, kC, kH, kI, kQ, kCols };

// All numbers of the setters and columns fit a long double with its 64 bits of mantissa, so this can compare
// them.
static_assert(LDBL_MANT_DIG >= 64, "the expectations below need a wide long double");

template <typename T>
bool IntegerHolds(long double value) {
  return !std::isnan(value) && value >= static_cast<long double>(std::numeric_limits<T>::min()) &&
         value <= static_cast<long double>(std::numeric_limits<T>::max()) && std::floor(value) == value &&
         !(value == 0 && std::signbit(value));
}

template <typename T>
bool RealHolds(long double value) {
  if (std::isnan(value) || std::isinf(value)) return true;
  if (std::fabs(value) > static_cast<long double>(std::numeric_limits<T>::max())) return false;
  return static_cast<long double>(static_cast<T>(value)) == value;
}

bool Holds(int col, long double value) {
  switch (col) {
    case kc: return IntegerHolds<int8_t>(value);
    case kh: return IntegerHolds<int16_t>(value);
    case ki: return IntegerHolds<int32_t>(value);
    case kq: return IntegerHolds<int64_t>(value);
    case kf: return RealHolds<float>(value);
    case kd: return RealHolds<double>(value);
    case kC: return IntegerHolds<uint8_t>(value);
    case kH: return IntegerHolds<uint16_t>(value);
    case kI: return IntegerHolds<uint32_t>(value);
    default: return IntegerHolds<uint64_t>(value);
  }
}

template <typename T>
long double As(const void* cell) {
  T value;
  memcpy(&value, cell, sizeof value);
  return static_cast<long double>(value);
}

long double Stored(const void* cell, int col) {
  switch (col) {
    case kc: return As<int8_t>(cell);
    case kh: return As<int16_t>(cell);
    case ki: return As<int32_t>(cell);
    case kq: return As<int64_t>(cell);
    case kf: return As<float>(cell);
    case kd: return As<double>(cell);
    case kC: return As<uint8_t>(cell);
    case kH: return As<uint16_t>(cell);
    case kI: return As<uint32_t>(cell);
    default: return As<uint64_t>(cell);
  }
}

bool Same(long double a, long double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return a == b && std::signbit(a) == std::signbit(b);
}

// Writes the value to every column of a fresh table with `set(table, col)`.
template <typename Set>
void ExpectExactOrDropped(long double value, int first_col, int last_col, Set set) {
  const Table table(kNumbers, 1);
  for (int col = first_col; col <= last_col; ++col) {
    set(table.get(), col);
    const void* cell = table_get_buff(table.get(), 0, col, nullptr);
    ASSERT_EQ(cell != nullptr, Holds(col, value)) << static_cast<double>(value) << " in column " << col;
    if (!cell) continue;
    EXPECT_TRUE(Same(Stored(cell, col), value)) << static_cast<double>(value) << " in column " << col;
  }
}

// Around every power of two, where the ranges of all types end.
std::vector<uint64_t> Magnitudes() {
  std::vector<uint64_t> values = {
      0, 3, 5, 100, 1000000007, 0xFFFFFF, 0x1000001, 0x1FFFFFF000000, 0x123456789ABCDEF};
  for (int bit = 0; bit < 64; ++bit) {
    const uint64_t power = uint64_t{1} << bit;
    for (const uint64_t value : {power - 1, power, power + 1, power + power / 2, 0 - power})
      values.push_back(value);
  }
  return values;
}

std::vector<double> Reals() {
  std::vector<double> values = {0.0,
                                -0.0,
                                0.5,
                                -0.5,
                                1.5,
                                0.1,
                                1e300,
                                -1e300,
                                DBL_MAX,
                                -DBL_MAX,
                                DBL_MIN,
                                DBL_TRUE_MIN,
                                FLT_MAX,
                                -FLT_MAX,
                                FLT_MIN,
                                FLT_TRUE_MIN,
                                FLT_TRUE_MIN / 2,
                                FLT_MIN / 3,
                                std::nextafter(double{FLT_MAX}, DBL_MAX),
                                double{INFINITY},
                                -double{INFINITY},
                                double{NAN}};
  for (int bit = 0; bit < 70; ++bit) {
    const double power = std::ldexp(1.0, bit);
    for (const double value : {power, power - 1, power + 1, power + 0.5, std::nextafter(power, 0),
                               std::nextafter(power, INFINITY)}) {
      values.push_back(value);
      values.push_back(-value);
    }
  }
  return values;
}

TEST(NumberSetter, Int64IsExactOrDropped) {
  for (const uint64_t bits : Magnitudes()) {
    int64_t value = 0;
    memcpy(&value, &bits, sizeof value);
    ExpectExactOrDropped(static_cast<long double>(value), 0, kCols - 1,
                         [value](void* t, int col) { table_set_int64(t, 0, col, value); });
  }
}

TEST(NumberSetter, Uint64IsExactOrDropped) {
  for (const uint64_t value : Magnitudes()) {
    ExpectExactOrDropped(static_cast<long double>(value), 0, kCols - 1,
                         [value](void* t, int col) { table_set_uint64(t, 0, col, value); });
  }
}

TEST(NumberSetter, IntIsExactOrDropped) {
  for (const uint64_t bits : Magnitudes()) {
    int32_t value = 0;
    memcpy(&value, &bits, sizeof value);
    ExpectExactOrDropped(value, 0, kCols - 1, [value](void* t, int col) { table_set_int(t, 0, col, value); });
  }
}

TEST(NumberSetter, UintIsExactOrDropped) {
  for (const uint64_t bits : Magnitudes()) {
    const uint32_t value = static_cast<uint32_t>(bits & UINT32_MAX);
    ExpectExactOrDropped(value, 0, kCols - 1,
                         [value](void* t, int col) { table_set_uint(t, 0, col, value); });
  }
}

TEST(NumberSetter, DoubleIsExactOrDropped) {
  for (const double value : Reals()) {
    ExpectExactOrDropped(value, 0, kCols - 1,
                         [value](void* t, int col) { table_set_double(t, 0, col, value); });
  }
}

TEST(NumberSetter, FloatIsExactOrDropped) {
  for (const double real : Reals()) {
    if (std::isfinite(real) && std::fabs(real) > double{FLT_MAX}) continue;
    const float value = static_cast<float>(real);
    ExpectExactOrDropped(value, 0, kCols - 1,
                         [value](void* t, int col) { table_set_float(t, 0, col, value); });
  }
}

TEST(NumberSetter, ShortOutsideOf16BitColumnsIsTheUnsignedNumber) {
  for (const unsigned short value :
       std::vector<unsigned short>{0, 1, 127, 128, 255, 256, 32767, 32768, 65535}) {
    for (int col = 0; col < kCols; ++col) {
      if (col == kh || col == kH) continue;
      ExpectExactOrDropped(value, col, col, [value](void* t, int c) { table_set_short(t, 0, c, value); });
    }
  }
}

TEST(NumberSetter, ShortWritesTheBitsOfBoth16BitTypes) {
  const Table table(kNumbers, 1);
  table_set_short(table.get(), 0, kh, 0x8000);
  table_set_short(table.get(), 0, kH, 0x8000);
  EXPECT_EQ(static_cast<int>(Stored(table_get_buff(table.get(), 0, kh, nullptr), kh)), -32768);
  EXPECT_EQ(static_cast<int>(Stored(table_get_buff(table.get(), 0, kH, nullptr), kH)), 32768);
}

// The same by hand, one value on each side of each limit.

struct Case {
  const char* column;
  double value;
  bool stored;
};

TEST(NumberSetter, DoubleMeetsTheLimitsOfIntegerColumns) {
  const Case cases[] = {{"x:c", -128, true},
                        {"x:c", -129, false},
                        {"x:c", 127, true},
                        {"x:c", 128, false},
                        {"x:C", 255, true},
                        {"x:C", 256, false},
                        {"x:C", -1, false},
                        {"x:h", -32768, true},
                        {"x:h", -32769, false},
                        {"x:H", 65535, true},
                        {"x:H", 65536, false},
                        {"x:i", 2147483647, true},
                        {"x:i", 2147483648.0, false},
                        {"x:i", -2147483648.0, true},
                        {"x:i", -2147483649.0, false},
                        {"x:i", 1.5, false},
                        {"x:i", -0.0, false},
                        {"x:i", 0.0, true},
                        {"x:i", NAN, false},
                        {"x:i", INFINITY, false},
                        {"x:I", 4294967295.0, true},
                        {"x:I", 4294967296.0, false},
                        {"x:q", 9223372036854774784.0, true},
                        {"x:q", 9223372036854775808.0, false},
                        {"x:q", -9223372036854775808.0, true},
                        {"x:q", -9223372036854777856.0, false},
                        {"x:Q", 18446744073709549568.0, true},
                        {"x:Q", 18446744073709551616.0, false},
                        {"x:Q", -1.0, false},
                        {"x:T", 1.0, false},
                        {"x:P", 1.0, false},
                        {"x:s", 1.0, false},
                        {"x:2d", 1.0, false}};
  for (const Case& c : cases) {
    const Table table(c.column, 1);
    table_set_double(table.get(), 0, 0, c.value);
    EXPECT_EQ(table_is_set(table.get(), 0, 0), c.stored ? 1 : 0) << c.column << ' ' << c.value;
  }
}

TEST(NumberSetter, DoubleMeetsTheLimitsOfFloatColumns) {
  // 2^24 = 16777216; the largest float is (2^24 - 1) * 2^104, the smallest 2^-149.
  const Case cases[] = {{"x:f", 0.1, false},
                        {"x:f", 0.5, true},
                        {"x:f", 16777217, false},
                        {"x:f", 16777218, true},
                        {"x:f", std::ldexp(16777215.0, 104), true},
                        {"x:f", std::ldexp(1.0, 128), false},
                        {"x:f", std::ldexp(1.0, -149), true},
                        {"x:f", std::ldexp(1.0, -150), false},
                        {"x:f", -0.0, true},
                        {"x:f", NAN, true},
                        {"x:f", INFINITY, true}};
  for (const Case& c : cases) {
    const Table table(c.column, 1);
    table_set_double(table.get(), 0, 0, c.value);
    EXPECT_EQ(table_is_set(table.get(), 0, 0), c.stored ? 1 : 0) << c.column << ' ' << c.value;
  }
}

TEST(NumberSetter, Int64MeetsTheLimitsOfRealColumns) {
  const Table table("f:f;f2:f;d:d;d2:d;min:d;max:d", 1);
  table_set_int64(table.get(), 0, 0, 16777216);
  table_set_int64(table.get(), 0, 1, 16777217);
  table_set_int64(table.get(), 0, 2, 9007199254740992);  // 2^53
  table_set_int64(table.get(), 0, 3, 9007199254740993);
  table_set_int64(table.get(), 0, 4, LLONG_MIN);
  table_set_int64(table.get(), 0, 5, LLONG_MAX);
  EXPECT_EQ(table_get_float(table.get(), 0, 0), 16777216.0F);
  EXPECT_EQ(table_is_set(table.get(), 0, 1), 0);
  EXPECT_EQ(table_get_double(table.get(), 0, 2), 9007199254740992.0);
  EXPECT_EQ(table_is_set(table.get(), 0, 3), 0);
  EXPECT_EQ(table_get_double(table.get(), 0, 4), -9223372036854775808.0);
  EXPECT_EQ(table_is_set(table.get(), 0, 5), 0);
}

// What one reply does: a 32-bit column written by the 64-bit setter.
TEST(NumberSetter, Int64WritesA32BitColumn) {
  const Table table("a:i;b:i", 1);
  table_set_int64(table.get(), 0, 0, -5);
  table_set_int64(table.get(), 0, 1, 2147483648);
  EXPECT_EQ(table_get_int(table.get(), 0, 0), -5);
  EXPECT_EQ(table_is_set(table.get(), 0, 1), 0);
}

TEST(NumberGetter, ReadsItsOwnTypeOnly) {
  const Table table("c:c;h:h;i:i;q:q;f:f;d:d;C:C;H:H;I:I;Q:Q;T:T", 1);
  void* t = table.get();
  for (int col = 0; col <= kQ; ++col)
    table_set_short(t, 0, col, 7);
  table_set_uint64(t, 0, 10, 7);
  for (int col = 0; col <= 10; ++col) {
    ASSERT_EQ(table_is_set(t, 0, col), 1);
    EXPECT_EQ(table_get_int(t, 0, col), col == ki ? 7 : 0) << col;
    EXPECT_EQ(table_get_int64(t, 0, col), col == kq ? 7 : 0) << col;
    EXPECT_EQ(table_get_float(t, 0, col), col == kf ? 7.0F : 0.0F) << col;
    EXPECT_EQ(table_get_double(t, 0, col), col == kd ? 7.0 : 0.0) << col;
    EXPECT_EQ(table_get_uint(t, 0, col), col == kI ? 7U : 0U) << col;
    EXPECT_EQ(table_get_uint64(t, 0, col), col == kQ || col == 10 ? 7U : 0U) << col;
    EXPECT_EQ(table_get_short(t, 0, col), col == kh || col == kH ? 7U : 0U) << col;
    EXPECT_EQ(table_get_str(t, 0, col), nullptr) << col;
    EXPECT_EQ(table_get_binary(t, 0, col, nullptr), nullptr) << col;
    EXPECT_EQ(table_get_table(t, 0, col), nullptr) << col;
  }
}

}  // namespace
