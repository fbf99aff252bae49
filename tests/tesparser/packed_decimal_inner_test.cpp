// The fixed ways from a double to an integer, at every edge of their ranges, and the cells made with them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>

#include "tesparser/cell.h"
#include "tesparser/packed_decimal.h"
#include "tsl_base/table.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kHuge = std::numeric_limits<double>::max();
constexpr double kTiny = std::numeric_limits<double>::denorm_min();
constexpr double k2To63 = 9223372036854775808.0;
constexpr double k2To64 = 18446744073709551616.0;
constexpr int32_t kMin32 = std::numeric_limits<int32_t>::min();
constexpr int64_t kMin64 = std::numeric_limits<int64_t>::min();

double Below(double number) {
  return std::nextafter(number, -kInfinity);
}
double Above(double number) {
  return std::nextafter(number, kInfinity);
}

TEST(TruncateToInt32, GoesTowardZero) {
  EXPECT_EQ(TruncateToInt32(0.0), 0);
  EXPECT_EQ(TruncateToInt32(-0.0), 0);
  EXPECT_EQ(TruncateToInt32(kTiny), 0);
  EXPECT_EQ(TruncateToInt32(2.99), 2);
  EXPECT_EQ(TruncateToInt32(-1.9), -1);
  EXPECT_EQ(TruncateToInt32(Below(1.0)), 0);
  EXPECT_EQ(TruncateToInt32(Above(-1.0)), 0);
}

TEST(TruncateToInt32, EdgesOfTheRange) {
  EXPECT_EQ(TruncateToInt32(2147483647.0), 2147483647);
  EXPECT_EQ(TruncateToInt32(Below(2147483648.0)), 2147483647);
  EXPECT_EQ(TruncateToInt32(2147483648.0), kMin32);
  EXPECT_EQ(TruncateToInt32(-2147483647.5), -2147483647);
  EXPECT_EQ(TruncateToInt32(-2147483648.0), kMin32);
  EXPECT_EQ(TruncateToInt32(Above(-2147483649.0)), kMin32);
  EXPECT_EQ(TruncateToInt32(-2147483649.0), kMin32);
}

TEST(TruncateToInt32, WhatDoesNotFitIsTheSmallest) {
  EXPECT_EQ(TruncateToInt32(kNaN), kMin32);
  EXPECT_EQ(TruncateToInt32(kInfinity), kMin32);
  EXPECT_EQ(TruncateToInt32(-kInfinity), kMin32);
  EXPECT_EQ(TruncateToInt32(kHuge), kMin32);
  EXPECT_EQ(TruncateToInt32(4294967297.0), kMin32);  // not the low 32 bits
}

TEST(TruncateToInt64, EdgesOfTheRange) {
  EXPECT_EQ(TruncateToInt64(2.99), 2);
  EXPECT_EQ(TruncateToInt64(-1.9), -1);
  EXPECT_EQ(TruncateToInt64(-0.0), 0);
  EXPECT_EQ(TruncateToInt64(Below(k2To63)), 9223372036854774784);
  EXPECT_EQ(TruncateToInt64(k2To63), kMin64);
  EXPECT_EQ(TruncateToInt64(Above(-k2To63)), -9223372036854774784);
  EXPECT_EQ(TruncateToInt64(-k2To63), kMin64);
  EXPECT_EQ(TruncateToInt64(Below(-k2To63)), kMin64);
}

TEST(TruncateToInt64, WhatDoesNotFitIsTheSmallest) {
  EXPECT_EQ(TruncateToInt64(kNaN), kMin64);
  EXPECT_EQ(TruncateToInt64(kInfinity), kMin64);
  EXPECT_EQ(TruncateToInt64(-kInfinity), kMin64);
  EXPECT_EQ(TruncateToInt64(kHuge), kMin64);
}

TEST(TruncateToUint64, EdgesOfTheRange) {
  EXPECT_EQ(TruncateToUint64(0.0), 0u);
  EXPECT_EQ(TruncateToUint64(2.99), 2u);
  EXPECT_EQ(TruncateToUint64(Below(k2To63)), 9223372036854774784u);
  EXPECT_EQ(TruncateToUint64(k2To63), 9223372036854775808u);
  EXPECT_EQ(TruncateToUint64(Below(k2To64)), 18446744073709549568u);
}

TEST(TruncateToUint64, NegativeNumbersAreTwosComplement) {
  EXPECT_EQ(TruncateToUint64(-0.9), 0u);
  EXPECT_EQ(TruncateToUint64(-1.0), 18446744073709551615u);
  EXPECT_EQ(TruncateToUint64(-1.9), 18446744073709551615u);
  EXPECT_EQ(TruncateToUint64(-k2To63), 9223372036854775808u);
}

TEST(TruncateToUint64, WhatDoesNotFitIsZero) {
  EXPECT_EQ(TruncateToUint64(k2To64), 0u);
  EXPECT_EQ(TruncateToUint64(Below(-k2To63)), 0u);
  EXPECT_EQ(TruncateToUint64(kNaN), 0u);
  EXPECT_EQ(TruncateToUint64(kInfinity), 0u);
  EXPECT_EQ(TruncateToUint64(-kInfinity), 0u);
}

TEST(Round, AddsAHalfAndTruncates) {
  EXPECT_EQ(RoundToInt32(2.5), 3);
  EXPECT_EQ(RoundToInt32(2.4), 2);
  EXPECT_EQ(RoundToInt32(-1.2), 0);
  EXPECT_EQ(RoundToInt32(-1.5), -1);
  EXPECT_EQ(RoundToInt32(-2.5), -2);
  EXPECT_EQ(RoundToInt32(-12.34), -11);
  EXPECT_EQ(RoundToInt64(2.5), 3);
  EXPECT_EQ(RoundToInt64(-2.5), -2);
  EXPECT_EQ(RoundToUint64(2.5), 3u);
  EXPECT_EQ(RoundToUint64(-2.5), 18446744073709551614u);
}

// The sum is rounded to a double before it is truncated, and no rounding call of the language does that.
TEST(Round, TheSumItselfIsADouble) {
  EXPECT_EQ(RoundToInt32(0.49999999999999994), 1);
  EXPECT_EQ(RoundToInt64(4503599627370497.0), 4503599627370498);  // 2^52 + 1: the half goes to even
}

TEST(Round, EdgesOfTheRange) {
  EXPECT_EQ(RoundToInt32(2147483647.25), 2147483647);
  EXPECT_EQ(RoundToInt32(2147483647.5), kMin32);
  EXPECT_EQ(RoundToInt32(-2147483649.25), kMin32);
  EXPECT_EQ(RoundToInt32(kNaN), kMin32);
  EXPECT_EQ(RoundToInt32(kInfinity), kMin32);
  EXPECT_EQ(RoundToInt64(Below(k2To63)), 9223372036854774784);
  EXPECT_EQ(RoundToInt64(k2To63), kMin64);
  EXPECT_EQ(RoundToInt64(kNaN), kMin64);
  EXPECT_EQ(RoundToUint64(Below(k2To64)), 18446744073709549568u);
  EXPECT_EQ(RoundToUint64(k2To64), 0u);
  EXPECT_EQ(RoundToUint64(kNaN), 0u);
}

TEST(LowHalf, IsTheLow32BitsWithOrWithoutSign) {
  EXPECT_EQ(LowUint32(0), 0U);
  EXPECT_EQ(LowUint32(4294967301), 5U);
  EXPECT_EQ(LowUint32(-1), 4294967295U);
  EXPECT_EQ(LowUint32(kMin64), 0U);
  EXPECT_EQ(LowInt32(2147483647), 2147483647);
  EXPECT_EQ(LowInt32(2147483648), kMin32);
  EXPECT_EQ(LowInt32(4294967295), -1);
  EXPECT_EQ(LowInt32(4294967301), 5);
  EXPECT_EQ(LowInt32(-1), -1);
  EXPECT_EQ(LowInt32(-2147483649), 2147483647);
  EXPECT_EQ(LowInt32(kMin64), 0);
}

// The rule worked out while the program runs, as the compiler has worked it out before.
TEST(SignedDivisors, MakeTheNumberOfEachSignAndCode) {
  const double sizes[16] = {100, 10, 0, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1, 0, 0, 0, 0, 0};
  const auto made = std::make_unique<packed_decimal::SignedDivisors>();
  for (int byte = 0; byte < 256; ++byte) {
    const double size = sizes[byte % 16];
    const double quotient = 7 / made->of_byte[byte];
    if (size == 0) {
      // No number is zero, and not minus zero either, whatever the sign.
      EXPECT_EQ(quotient, 0.0) << byte;
      EXPECT_FALSE(std::signbit(quotient)) << byte;
    } else {
      EXPECT_EQ(quotient, byte < 16 ? 7 / size : -(7 / size)) << byte;
    }
    EXPECT_EQ(packed_decimal::kSigned.of_byte[byte], made->of_byte[byte]) << byte;
  }
}

TEST(DecodePacked, TheShortFormIsTheSameNumber) {
  EXPECT_EQ(DecodePacked(0x4D2), 12.34);
  EXPECT_EQ(DecodePacked(0x1004D2), -12.34);
  EXPECT_EQ(DecodePacked(PACKED_NULL), 0.0);
  EXPECT_EQ(DecodePacked(-1), 0.0);
  EXPECT_TRUE(std::signbit(DecodePacked(0x100000)));
  static_assert(PACKED_NULL == 131072, "the value that stands for no value");
}

// One row, one column of each kind that takes a packed number.
class PackedCells : public testing::Test {
 protected:
  PackedCells() : table_(table_create("d:d;q:q;i:i;u:I;", 1, "")) {}
  ~PackedCells() override { table_free(table_); }

  double Double(int64_t packed) {
    SetPackedDouble(table_, 0, 0, packed);
    return table_get_double(table_, 0, 0);
  }
  long long Int64(int64_t packed) {
    SetPackedInt64(table_, 0, 1, packed);
    return table_get_int64(table_, 0, 1);
  }
  int Int(int64_t packed) {
    SetPackedInt(table_, 0, 2, packed);
    return table_get_int(table_, 0, 2);
  }
  int IntRounded(int64_t packed) {
    SetPackedIntRounded(table_, 0, 2, packed);
    return table_get_int(table_, 0, 2);
  }
  unsigned UintRounded(int64_t packed) {
    SetPackedUintRounded(table_, 0, 3, packed);
    return table_get_uint(table_, 0, 3);
  }

  void* table_;
};

TEST_F(PackedCells, Fractions) {
  constexpr int64_t k2_99 = 0x12B;
  EXPECT_EQ(Double(k2_99), 2.99);
  EXPECT_EQ(Int64(k2_99), 2);
  EXPECT_EQ(Int(k2_99), 2);
  EXPECT_EQ(IntRounded(k2_99), 3);
  EXPECT_EQ(UintRounded(k2_99), 3u);
}

TEST_F(PackedCells, NegativeNumbers) {
  constexpr int64_t kMinus2_5 = 0x1000FA;
  EXPECT_EQ(Double(kMinus2_5), -2.5);
  EXPECT_EQ(Int64(kMinus2_5), -2);
  EXPECT_EQ(Int(kMinus2_5), -2);
  EXPECT_EQ(IntRounded(kMinus2_5), -2);
  EXPECT_EQ(UintRounded(kMinus2_5), 4294967294u);
}

TEST_F(PackedCells, NumbersOutOf32Bits) {
  constexpr int64_t k2To32Plus5 = 0x100000A0005;  // mantissa 0x100000005, scale code 10
  EXPECT_EQ(Double(k2To32Plus5), 4294967301.0);
  EXPECT_EQ(Int64(k2To32Plus5), 4294967301);
  EXPECT_EQ(Int(k2To32Plus5), kMin32);
  EXPECT_EQ(IntRounded(k2To32Plus5), kMin32);
  EXPECT_EQ(UintRounded(k2To32Plus5), 5u);  // the low half of 64 bits
}

TEST_F(PackedCells, NoNumberIsZeroAndSet) {
  for (const int64_t packed : {PACKED_NULL, int64_t{-1}, int64_t{0xB0001}, int64_t{0x1204D2}}) {
    EXPECT_EQ(Double(packed), 0.0);
    EXPECT_FALSE(std::signbit(Double(packed)));
    EXPECT_EQ(Int64(packed), 0);
    EXPECT_EQ(Int(packed), 0);
    EXPECT_EQ(IntRounded(packed), 0);
    EXPECT_EQ(UintRounded(packed), 0u);
  }
  for (int col = 0; col < 4; ++col)
    EXPECT_EQ(table_is_set(table_, 0, col), 1);
}

TEST(MaskBit, IsOneBitOfSixtyFour) {
  EXPECT_EQ(MaskBit(0), 1);
  EXPECT_EQ(MaskBit(11), 2048);
  EXPECT_EQ(MaskBit(52), 4503599627370496);
}

TEST_F(PackedCells, MinusZeroSurvivesInADouble) {
  EXPECT_TRUE(std::signbit(Double(0x100000)));
}

}  // namespace
