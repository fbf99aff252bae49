#include "tesview/show/numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace tesview {
namespace {

template <class T>
std::string Written(T value) {
  char text[kNumberRoom];
  return std::string(text, WriteFloating(text, value));
}

// The fewest digits that read back as the same double, searched for one count after the other.
size_t FewestDigits(double value) {
  char text[64];
  for (int digits = 1; digits < 17; ++digits) {
    std::snprintf(text, sizeof text, "%.*e", digits - 1, value);
    if (std::strtod(text, nullptr) == value) return static_cast<size_t>(digits);
  }
  return 17;
}

size_t DigitsIn(const std::string& text) {
  std::string digits;
  for (const char c : text.substr(0, text.find('e'))) {
    if (c >= '0' && c <= '9') digits += c;
  }
  digits.erase(0, digits.find_first_not_of('0'));
  const size_t last = digits.find_last_not_of('0');
  return last == std::string::npos ? 0 : last + 1;
}

TEST(Numbers, DoublesInTheFewestDigitsThatGiveThemBack) {
  std::mt19937_64 random(20240617);
  for (int i = 0; i < 200000; ++i) {
    // Any bits, then decimal numbers of up to six places and any size.
    double value = 0;
    const uint64_t bits = random();
    std::memcpy(&value, &bits, sizeof value);
    if (i % 4 != 0) {
      const double powers[] = {1, 10, 100, 1000, 1e4, 1e5, 1e6};
      value = static_cast<double>(static_cast<int64_t>(bits) >> random() % 60) / powers[random() % 7];
      if (i % 4 == 3) value = std::nextafter(value, 0);
    }
    if (!std::isfinite(value)) continue;
    const std::string text = Written(value);
    ASSERT_EQ(std::strtod(text.c_str(), nullptr), value) << text;
    ASSERT_EQ(DigitsIn(text), value == 0 ? 0 : FewestDigits(value)) << text;
    ASSERT_LT(text.size(), 32u);
  }
}

TEST(Numbers, FloatingNumbersAsPeopleWriteThem) {
  const std::vector<std::pair<double, std::string>> doubles{
      {0, "0"},
      {-0.0, "-0"},
      {0.1, "0.1"},
      {-0.05, "-0.05"},
      {0.0001, "0.0001"},
      {0.00001, "1e-05"},
      {12.34, "12.34"},
      {-12.3456, "-12.3456"},
      {8.05, "8.05"},
      {8.005, "8.005"},
      {8.0005, "8.0005"},
      {1.5e9, "1500000000"},
      {99999999999.25, "99999999999.25"},
      {100000000000.25, "100000000000.25"},
      {20240617150000, "20240617150000"},
      {999999999999999, "999999999999999"},
      {0.1 + 0.2, "0.30000000000000004"},
      {1e300, "1e+300"},
      {std::numeric_limits<double>::infinity(), "inf"},
      {-std::numeric_limits<double>::infinity(), "-inf"},
      {std::numeric_limits<double>::quiet_NaN(), "nan"}};
  for (const auto& [value, text] : doubles)
    EXPECT_EQ(Written(value), text);
  EXPECT_EQ(Written(0.1F), "0.1");
  EXPECT_EQ(Written(-3.0F), "-3");
  EXPECT_EQ(Written(16777216.0F), "16777216");
}

TEST(Numbers, IntegersAndDecimals) {
  char text[kNumberRoom];
  const auto decimal = [&](int64_t mantissa, unsigned places) {
    return std::string(text, WriteDecimal(text, mantissa, places));
  };
  EXPECT_EQ(decimal(1234, 2), "12.34");
  EXPECT_EQ(decimal(-1234, 0), "-1234");
  EXPECT_EQ(decimal(5, 3), "0.005");
  EXPECT_EQ(decimal(-5, 1), "-0.5");
  EXPECT_EQ(decimal(0, 2), "0.00");
  EXPECT_EQ(decimal(-140737488355328, 30), "-0.000000000000000140737488355328");
  EXPECT_EQ(decimal(7, 65535), "7e-65535");
  EXPECT_EQ(std::string(text, WriteInteger(text, std::numeric_limits<int64_t>::min())),
            "-9223372036854775808");
  EXPECT_EQ(std::string(text, WriteInteger(text, ~uint64_t{0})), "18446744073709551615");
}

TEST(Numbers, FloatsAreWholeUpToTwentyFourBits) {
  EXPECT_EQ(Written(16777215.0F), "16777215");
  EXPECT_EQ(Written(-16777216.0F), "-16777216");
  EXPECT_EQ(Written(0.0F), "0");
  EXPECT_EQ(Written(-0.0F), "-0");
  EXPECT_EQ(Written(-std::numeric_limits<float>::infinity()), "-inf");
  EXPECT_EQ(Written(16777218.0F), "16777218");
  // Above, fewer digits may give the float back: the next ones to 134,217,728 are 8 below and 16 above.
  EXPECT_EQ(Written(134217728.0F), "134217730");
}

std::string Rounded(double value) {
  char text[kNumberRoom];
  return std::string(text, WriteRounded(text, value));
}

TEST(Numbers, RoundedHaveAtMostFifteenDigits) {
  EXPECT_EQ(Rounded(10.040000000000001), "10.04");
  EXPECT_EQ(Rounded(-132.57000000000002), "-132.57");
  EXPECT_EQ(Rounded(1.0 / 3), "0.333333333333333");
  EXPECT_EQ(Rounded(2.0 / 3), "0.666666666666667");
  EXPECT_EQ(Rounded(0.00012345678901234567), "0.000123456789012346");
  // Fifteen digits stay, and zeros at an end are none of them.
  EXPECT_EQ(Rounded(0.123456789012345), "0.123456789012345");
  EXPECT_EQ(Rounded(123456789012345), "123456789012345");
  EXPECT_EQ(Rounded(1000000000000000), "1000000000000000");
  EXPECT_EQ(Rounded(1234567890123450), "1234567890123450");
  EXPECT_EQ(Rounded(1234567890123456), "1.23456789012346e+15");
  EXPECT_EQ(Rounded(12.34), "12.34");
  EXPECT_EQ(Rounded(0), "0");
  EXPECT_EQ(Rounded(1e300), "1e+300");
  // Near to nothing doubles have fewer digits: fourteen give this one back, and fifteen would end otherwise.
  EXPECT_EQ(Rounded(8.7924470615663e-310), "8.7924470615663e-310");
  EXPECT_EQ(Rounded(-std::numeric_limits<double>::infinity()), "-inf");
}

// Sixteen digits, of which the first or the last is each that counts: one is too many.
TEST(Numbers, AreRoundedWhateverDigitIsAtAnEnd) {
  EXPECT_EQ(Rounded(0.1234567890123451), "0.123456789012345");
  EXPECT_EQ(Rounded(0.1234567890123452), "0.123456789012345");
  EXPECT_EQ(Rounded(0.1234567890123453), "0.123456789012345");
  EXPECT_EQ(Rounded(0.1234567890123454), "0.123456789012345");
  EXPECT_EQ(Rounded(0.1234567890123456), "0.123456789012346");
  EXPECT_EQ(Rounded(0.1234567890123457), "0.123456789012346");
  EXPECT_EQ(Rounded(0.1234567890123458), "0.123456789012346");
  EXPECT_EQ(Rounded(0.1234567890123459), "0.123456789012346");
  // Doubles of this size are 0.0000000000000018 apart, or less.
  EXPECT_EQ(Rounded(1.234567890123452), "1.23456789012345");
  EXPECT_EQ(Rounded(2.234567890123452), "2.23456789012345");
  EXPECT_EQ(Rounded(3.234567890123452), "3.23456789012345");
  EXPECT_EQ(Rounded(4.234567890123452), "4.23456789012345");
  EXPECT_EQ(Rounded(5.234567890123452), "5.23456789012345");
  EXPECT_EQ(Rounded(6.234567890123452), "6.23456789012345");
  EXPECT_EQ(Rounded(7.234567890123452), "7.23456789012345");
  EXPECT_EQ(Rounded(8.234567890123452), "8.23456789012345");
  EXPECT_EQ(Rounded(0.9234567890123452), "0.923456789012345");
}

}  // namespace
}  // namespace tesview
