// Claim: the value classes keep what they are made from, in 64 bits.
#include "tsl_base/values.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace {

template <typename T>
class Decimal : public testing::Test {};
using DecimalTypes = testing::Types<PFloat, VFloat>;
TYPED_TEST_SUITE(Decimal, DecimalTypes, );  // without the empty argument clang warns of the macro

TYPED_TEST(Decimal, GivesBackMantissaAndDecimals) {
  const int64_t mantissas[] = {0, 1, -1, 123456789, -123456789, 140737488355327, -140737488355328};
  for (const int64_t mantissa : mantissas) {
    for (const int decimals : {0, 4, 32768, 65535}) {
      const TypeParam value(mantissa, static_cast<unsigned short>(decimals));
      EXPECT_EQ(value.mantissa(), mantissa) << decimals;
      EXPECT_EQ(value.decimals(), decimals) << mantissa;
    }
  }
}

// 2^47 = 140737488355328.
TYPED_TEST(Decimal, ClampsTheMantissaTo48Bits) {
  EXPECT_EQ(TypeParam(140737488355328, 4).mantissa(), 140737488355327);
  EXPECT_EQ(TypeParam(-140737488355329, 4).mantissa(), -140737488355328);
  EXPECT_EQ(TypeParam(std::numeric_limits<long long>::max(), 4).mantissa(), 140737488355327);
  EXPECT_EQ(TypeParam(std::numeric_limits<long long>::min(), 4).mantissa(), -140737488355328);
  EXPECT_EQ(TypeParam(std::numeric_limits<long long>::min(), 4).decimals(), 4);
}

TYPED_TEST(Decimal, IsPassedInOneRegister) {
  EXPECT_EQ(sizeof(TypeParam), 8U);
  EXPECT_TRUE(std::is_trivially_copyable_v<TypeParam>);
}

// bits 16 to 63 the mantissa, bits 0 to 15 the decimals: what C code relies on.
TYPED_TEST(Decimal, HasTheDocumentedLayout) {
  const TypeParam value(-3, 4);
  int64_t bits = 0;
  memcpy(&bits, &value, sizeof bits);
  EXPECT_EQ(bits, -3 * 65536 + 4);
}

TEST(Time, GivesBackItsNumber) {
  EXPECT_EQ(tsl_time_t(0).value(), 0U);
  EXPECT_EQ(tsl_time_t(18446744073709551615U).value(), 18446744073709551615U);
  EXPECT_EQ(sizeof(tsl_time_t), 8U);
}

}  // namespace
