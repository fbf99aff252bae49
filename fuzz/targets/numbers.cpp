// The number exports against a second implementation that works in integers and puts the double together by
// hand.
#include <cstring>

#include "fuzz/support/bits.h"
#include "fuzz/support/input.h"
#include "fuzz/support/target.h"
#include "tesparser/tesparser.h"

namespace {

constexpr int kDigits = 53;

// mantissa * 2^exponent with at most 53 digits, rounded half to even.
struct Binary {
  uint64_t mantissa;
  int exponent;
};

// whole * 2^exponent; `rest` tells whether something was cut below its last digit.
Binary Round(uint64_t whole, bool rest, int exponent) {
  bool half = false;
  while (whole >> kDigits != 0) {
    rest = rest || half;
    half = (whole & 1) != 0;
    whole >>= 1;
    ++exponent;
  }
  if (half && (rest || (whole & 1) != 0)) ++whole;
  if (whole >> kDigits != 0) {
    whole >>= 1;
    ++exponent;
  }
  return {whole, exponent};
}

Binary Divide(Binary number, uint64_t divisor) {
  if (number.mantissa == 0) return number;
  while (number.mantissa >> (kDigits - 1) == 0) {
    number.mantissa <<= 1;
    --number.exponent;
  }
  // Digit by digit, until the quotient has all of its own, the half and one more.
  uint64_t quotient = number.mantissa / divisor;
  uint64_t rest = number.mantissa % divisor;
  while (quotient >> (kDigits + 1) == 0) {
    rest *= 2;
    const bool digit = rest >= divisor;
    if (digit) rest -= divisor;
    quotient = quotient << 1 | uint64_t{digit};
    --number.exponent;
  }
  return Round(quotient, rest != 0, number.exponent);
}

double Assemble(Binary number, bool negative) {
  uint64_t bits = 0;
  if (number.mantissa != 0) {
    while (number.mantissa >> (kDigits - 1) == 0) {
      number.mantissa <<= 1;
      --number.exponent;
    }
    const auto biased = static_cast<uint64_t>(int64_t{number.exponent} + kDigits - 1 + 1023);
    bits = biased << 52 | (number.mantissa & ((uint64_t{1} << 52) - 1));
  }
  if (negative) bits |= uint64_t{1} << 63;
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// number + 0.5 as doubles have it, cut to an int.
int AddHalfAndCut(Binary number, bool negative) {
  constexpr int kSmallest = -2147483647 - 1;
  if (number.mantissa == 0) return 0;
  // From 2^34 on all is out of range.
  int top = number.exponent;
  for (uint64_t m = number.mantissa; m != 0; m >>= 1)
    ++top;
  if (top > 34) return kSmallest;
  // The mantissa has 53 digits, so this is next to nothing, and the half is cut.
  if (number.exponent < -62) return 0;
  uint64_t magnitude = number.mantissa;
  const uint64_t half = uint64_t{1} << (-number.exponent - 1);
  bool minus = negative;
  if (!negative) {
    magnitude += half;
  } else if (magnitude > half) {
    magnitude -= half;
  } else {
    magnitude = half - magnitude;
    minus = false;
  }
  const Binary sum = Round(magnitude, false, number.exponent);
  const uint64_t whole = sum.mantissa >> -sum.exponent;
  if (minus) return whole > 2147483648U ? kSmallest : static_cast<int>(-static_cast<int64_t>(whole));
  return whole > 2147483647U ? kSmallest : static_cast<int>(whole);
}

// The divisor by scale code as an exponent of ten; -1 where there is no number.
int PlacesOf(unsigned code) {
  switch (code) {
    case 0: return 2;
    case 1: return 1;
    case 10: return 0;
    case 3:
    case 4:
    case 5:
    case 6:
    case 7:
    case 8:
    case 9: return static_cast<int>(code);
    default: return -1;
  }
}

void numbers(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const auto packed = input.Value<int64_t>();
  const auto preset = input.Value<int>();

  unsigned char bytes[8];
  for (int i = 0; i < 8; ++i)
    bytes[i] = static_cast<unsigned char>(static_cast<uint64_t>(packed) >> (8 * i));
  const int places = packed < 0 ? -1 : PlacesOf(bytes[2] % 16);
  Binary number = {0, 0};
  int divisor = preset;
  bool negative = false;
  if (places >= 0) {
    uint64_t mantissa = 0;
    for (const int i : {7, 6, 5, 4, 3, 1, 0})
      mantissa = mantissa * 256 + bytes[i];
    divisor = 1;
    for (int i = 0; i < places; ++i)
      divisor *= 10;
    number = Divide(Round(mantissa, false, 0), static_cast<uint64_t>(divisor));
    negative = bytes[2] / 16 != 0;
  }

  const double expected = Assemble(number, negative);
  int got = preset;
  const double decoded = TesparserInt64ToDouble(packed, &got);
  FUZZ_CHECK(fuzz::SameBits(decoded, expected));
  FUZZ_CHECK(got == divisor);
  const double without = TesparserInt64ToDouble(packed, nullptr);
  FUZZ_CHECK(fuzz::SameBits(without, expected));

  got = preset;
  const int rounded = AddHalfAndCut(number, negative);
  FUZZ_CHECK(TesparserInt64ToInt(packed, &got) == rounded);
  FUZZ_CHECK(got == divisor);
  FUZZ_CHECK(TesparserInt64ToInt(packed, nullptr) == rounded);
}

}  // namespace

FUZZ_TARGET(numbers, 16, fuzz::Kind::kBytes)
