// The two number exports: every word of 64 bits has one meaning, bit for bit.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "tesparser/tesparser.h"
#include "tests/support/replies.h"

namespace {

using test_replies::Packed;

uint64_t BitsOf(double number) {
  uint64_t bits;
  std::memcpy(&bits, &number, sizeof(bits));
  return bits;
}

struct Example {
  long long raw;
  double number;
  int divisor;  // starts as 7
  int rounded;
};

constexpr int kUntouched = 7;

class Examples : public testing::TestWithParam<Example> {};

TEST_P(Examples, Decode) {
  const Example& example = GetParam();
  int divisor = kUntouched;
  EXPECT_EQ(BitsOf(TesparserInt64ToDouble(example.raw, &divisor)), BitsOf(example.number));
  EXPECT_EQ(divisor, example.divisor);
}

TEST_P(Examples, Round) {
  const Example& example = GetParam();
  int divisor = kUntouched;
  EXPECT_EQ(TesparserInt64ToInt(example.raw, &divisor), example.rounded);
  EXPECT_EQ(divisor, example.divisor);
}

TEST_P(Examples, NeedNoDivisor) {
  const Example& example = GetParam();
  EXPECT_EQ(BitsOf(TesparserInt64ToDouble(example.raw, nullptr)), BitsOf(example.number));
  EXPECT_EQ(TesparserInt64ToInt(example.raw, nullptr), example.rounded);
}

INSTANTIATE_TEST_SUITE_P(PackedDecimal, Examples,
                         testing::Values(Example{0x4D2, 12.34, 100, 12},          //
                                         Example{0x104D2, 123.4, 10, 123},        //
                                         Example{0x304D2, 1.234, 1000, 1},        //
                                         Example{0x104E240, 12.3456, 10000, 12},  //
                                         Example{0xA04D2, 1234.0, 1, 1234},       //
                                         Example{0x1004D2, -12.34, 100, -11},     //
                                         Example{0xF004D2, -12.34, 100, -11},     //
                                         Example{0x1001170, 700.0, 100, 700},     //
                                         Example{0x0, 0.0, 100, 0},               //
                                         Example{0x20000, 0.0, kUntouched, 0},    //
                                         Example{0xB0000, 0.0, kUntouched, 0},    //
                                         Example{-1, 0.0, kUntouched, 0},         //
                                         Example{0xFA, 2.5, 100, 3},              //
                                         Example{0x100096, -1.5, 100, -1},        //
                                         Example{0x100078, -1.2, 100, 0},         //
                                         Example{0x1000FA, -2.5, 100, -2},        //
                                         Example{0x204D2, 0.0, kUntouched, 0},    //
                                         Example{0x1204D2, 0.0, kUntouched, 0},   //
                                         Example{0x12B, 2.99, 100, 3},            //
                                         Example{0x100000, -0.0, 100, 0},         //
                                         Example{LLONG_MIN, 0.0, kUntouched, 0},  //
                                         Example{LLONG_MAX, 0.0, kUntouched, 0}));

TEST(PackedDecimal, NegativeWordLeavesDivisorAlone) {
  int divisor = 7;
  EXPECT_EQ(BitsOf(TesparserInt64ToDouble(-0x4D2, &divisor)), BitsOf(0.0));
  EXPECT_EQ(divisor, 7);
}

TEST(PackedDecimal, ZeroIsInHundredths) {
  int divisor = 0;
  EXPECT_EQ(BitsOf(TesparserInt64ToDouble(0, &divisor)), BitsOf(0.0));
  EXPECT_EQ(divisor, 100);
}

TEST(PackedDecimal, SignedZeroIsMinusZero) {
  EXPECT_EQ(BitsOf(TesparserInt64ToDouble(0x100000, nullptr)), uint64_t{1} << 63);
  EXPECT_EQ(TesparserInt64ToInt(0x100000, nullptr), 0);
}

TEST(PackedDecimal, LargestWordHasNoNumber) {
  int divisor = 7;
  EXPECT_EQ(BitsOf(TesparserInt64ToDouble(0x7FFFFFFFFFFFFFFF, &divisor)), BitsOf(0.0));
  EXPECT_EQ(divisor, 7);
}

TEST(PackedDecimal, RoundingIsNotSymmetric) {
  int divisor = 0;
  EXPECT_EQ(TesparserInt64ToInt(0x1004D2, &divisor), -11);
  EXPECT_EQ(divisor, 100);
}

// What the word says, by integer arithmetic alone: the mantissa is gathered bit by bit and written out as
// decimal text, which the C library turns into the nearest double.
struct Reference {
  bool number;
  int places;
  double value;
};

// The nearest integer of 53 significant bits, halves to even, as the conversion to double gives it.
uint64_t To53Bits(uint64_t mantissa) {
  unsigned excess = 0;
  while (mantissa >> (53 + excess) != 0)
    ++excess;
  if (excess == 0) return mantissa;
  const uint64_t unit = uint64_t{1} << excess;
  const uint64_t rest = mantissa % unit;
  uint64_t result = mantissa - rest;
  if (rest > unit / 2 || (rest == unit / 2 && (result / unit) % 2 == 1)) result += unit;
  return result;
}

Reference Decode(long long raw) {
  static constexpr int kPlaces[16] = {2, 1, -1, 3, 4, 5, 6, 7, 8, 9, 0, -1, -1, -1, -1, -1};
  if (raw < 0) return {false, 0, 0.0};
  const auto word = static_cast<uint64_t>(raw);
  const int places = kPlaces[(word / 0x10000) % 16];
  if (places < 0) return {false, 0, 0.0};
  uint64_t mantissa = 0;
  for (unsigned bit = 0, out = 0; bit < 63; ++bit) {
    if (bit >= 16 && bit < 24) continue;
    mantissa |= ((word >> bit) & 1) << out++;
  }
  std::string text = std::to_string(To53Bits(mantissa));
  if (text.size() <= static_cast<size_t>(places))
    text.insert(0, static_cast<size_t>(places) + 1 - text.size(), '0');
  text.insert(text.size() - static_cast<size_t>(places), ".");
  if ((word / 0x100000) % 16 != 0) text.insert(0, "-");
  return {true, places, std::strtod(text.c_str(), nullptr)};
}

int PowerOfTen(int places) {
  int power = 1;
  while (places-- > 0)
    power *= 10;
  return power;
}

testing::AssertionResult MatchesReference(long long raw) {
  const Reference expected = Decode(raw);
  int divisor = kUntouched;
  const double number = TesparserInt64ToDouble(raw, &divisor);
  if (BitsOf(number) != BitsOf(expected.value)) {
    return testing::AssertionFailure()
           << std::hex << raw << " gives " << number << ", not " << expected.value;
  }
  const int expected_divisor = expected.number ? PowerOfTen(expected.places) : kUntouched;
  if (divisor != expected_divisor) {
    return testing::AssertionFailure()
           << std::hex << raw << std::dec << " leaves divisor " << divisor << ", not " << expected_divisor;
  }
  return testing::AssertionSuccess();
}

TEST(PackedDecimal, EveryCodeAndSignMatchesDecimalText) {
  const uint64_t mantissas[] = {0,
                                1,
                                5,
                                99,
                                1234,
                                65535,
                                65536,
                                70000,
                                123456,
                                999999999,
                                (uint64_t{1} << 53) - 1,
                                uint64_t{1} << 53,
                                (uint64_t{1} << 55) - 1};
  for (const uint64_t mantissa : mantissas) {
    for (unsigned code = 0; code < 16; ++code) {
      for (unsigned sign = 0; sign < 16; ++sign) {
        EXPECT_TRUE(MatchesReference(Packed(mantissa, code, sign)));
      }
    }
  }
}

TEST(PackedDecimal, RandomWordsMatchDecimalText) {
  std::mt19937_64 random(20240611);
  for (int i = 0; i < 200000; ++i) {
    // Shifted, so that short mantissas occur as often as long ones.
    const uint64_t mantissa = random() >> (9 + random() % 55);
    const auto code = static_cast<unsigned>(random() % 16);
    const auto sign = static_cast<unsigned>(random() % 16);
    ASSERT_TRUE(MatchesReference(Packed(mantissa, code, sign)));
    ASSERT_TRUE(MatchesReference(static_cast<long long>(random())));
  }
}

TEST(PackedDecimal, HundredthsAreDividedNotMultiplied) {
  // 35 / 100 is the double nearest to 0.35, and 35 * 0.01 is the next one above it.
  EXPECT_EQ(BitsOf(TesparserInt64ToDouble(35, nullptr)), BitsOf(0.35));
  for (int cents = 0; cents <= 65535; ++cents)
    ASSERT_TRUE(MatchesReference(cents));
}

TEST(PackedDecimal, MantissaBeyond53BitsLosesItsLowBits) {
  const uint64_t mantissa = (uint64_t{1} << 53) + 1;
  EXPECT_EQ(TesparserInt64ToDouble(Packed(mantissa, 10), nullptr), 9007199254740992.0);
}

TEST(PackedDecimal, MantissaReachesFromBit0ToBit62) {
  EXPECT_EQ(TesparserInt64ToDouble(0xA0001, nullptr), 1.0);
  EXPECT_EQ(TesparserInt64ToDouble(0xA8000, nullptr), 32768.0);
  EXPECT_EQ(TesparserInt64ToDouble(0x10A0000, nullptr), 65536.0);
  EXPECT_EQ(TesparserInt64ToDouble(0x40000000000A0000, nullptr), 18014398509481984.0);  // 2^54
}

TEST(PackedDecimalAsInt, EdgesOfTheRange) {
  EXPECT_EQ(TesparserInt64ToInt(Packed(2147483647, 10), nullptr), 2147483647);
  EXPECT_EQ(TesparserInt64ToInt(Packed(2147483648, 10), nullptr), INT_MIN);
  EXPECT_EQ(TesparserInt64ToInt(Packed(21474836474, 1), nullptr), 2147483647);  // 2147483647.4
  EXPECT_EQ(TesparserInt64ToInt(Packed(21474836475, 1), nullptr), INT_MIN);     // .5 goes up, out of range
  EXPECT_EQ(TesparserInt64ToInt(Packed(2147483648, 10, 1), nullptr), -2147483647);
  EXPECT_EQ(TesparserInt64ToInt(Packed(2147483649, 10, 1), nullptr), INT_MIN);
  EXPECT_EQ(TesparserInt64ToInt(Packed((uint64_t{1} << 55) - 1, 10, 1), nullptr), INT_MIN);
}

TEST(PackedDecimalAsInt, HalvesGoUpwards) {
  EXPECT_EQ(TesparserInt64ToInt(Packed(249), nullptr), 2);
  EXPECT_EQ(TesparserInt64ToInt(Packed(250), nullptr), 3);
  EXPECT_EQ(TesparserInt64ToInt(Packed(49), nullptr), 0);
  EXPECT_EQ(TesparserInt64ToInt(Packed(50), nullptr), 1);
  EXPECT_EQ(TesparserInt64ToInt(Packed(149, 0, 1), nullptr), 0);   // -1.49 + 0.5 = -0.99
  EXPECT_EQ(TesparserInt64ToInt(Packed(250, 0, 1), nullptr), -2);  // -2.5 + 0.5 = -2.0
}

}  // namespace
