// Packed decimals, and the few ways in which a number becomes an integer.
//
// The service packs a decimal into 64 bits: bits 0 to 15 and 24 to 62 are the mantissa, bits 16 to 19 a scale
// code, bits 20 to 23 the sign, bit 63 is 0. Everything here is pure and may run on any thread.
#ifndef TESPARSER_PACKED_DECIMAL_H_
#define TESPARSER_PACKED_DECIMAL_H_

#include <cstdint>
#include <cstring>
#include <limits>

// What the service sends for a number that has no value: scale code 2, mantissa 0.
constexpr int64_t PACKED_NULL = 0x20000;

namespace packed_decimal {

// Divisors by scale code, in the order that the wire has; 0 where a code stands for no number. Two places
// come first because a plain small integer is a price in hundredths.
constexpr int kDivisors[16] = {100,       10,         0, 1000, 10000, 100000, 1000000, 10000000,
                               100000000, 1000000000, 1, 0,    0,     0,      0,       0};

// What the mantissa is divided by, for each value of the byte with sign and scale code. The sign goes with
// the divisor: the quotient is the same to the last bit, minus zero included. So does a code that stands for
// no number: a mantissa divided by infinity is the 0.0 that is wanted. Nothing is left to decide.
struct SignedDivisors {
  double of_byte[256] = {};

  constexpr SignedDivisors() {
    for (int byte = 0; byte < 256; ++byte) {
      const double divisor = kDivisors[byte & 0xF];
      const double scale = divisor == 0 ? std::numeric_limits<double>::infinity() : divisor;
      of_byte[byte] = byte < 16 || divisor == 0 ? scale : -scale;
    }
  }
};
inline constexpr SignedDivisors kSigned;

}  // namespace packed_decimal

// The number in a packed value; 0.0 if there is none. `divisor` receives the divisor, and stays as it was if
// there is no number; it may be null.
inline double DecodePacked(int64_t value, int* divisor) {
  if (value < 0) return 0.0;
  const auto bits = static_cast<uint64_t>(value);
  if (divisor != nullptr) {
    const int code_divisor = packed_decimal::kDivisors[(bits >> 16) & 0xF];
    if (code_divisor != 0) *divisor = code_divisor;
  }
  const auto mantissa = static_cast<int64_t>(((bits >> 8) & ~uint64_t{0xFFFF}) | (bits & 0xFFFF));
  // A real division: a factor of 0.01 would put the last bit wrong.
  return static_cast<double>(mantissa) / packed_decimal::kSigned.of_byte[(bits >> 16) & 0xFF];
}

inline double DecodePacked(int64_t value) {
  return DecodePacked(value, nullptr);
}

// Truncation toward zero. A number that does not fit, NaN included, gives the smallest value of the integer,
// as the conversions of the original platform do.
inline int32_t TruncateToInt32(double number) {
  if (!(number > -2147483649.0 && number < 2147483648.0)) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(number);
}

inline int64_t TruncateToInt64(double number) {
  if (!(number >= -9223372036854775808.0 && number < 9223372036854775808.0)) {
    return std::numeric_limits<int64_t>::min();
  }
  return static_cast<int64_t>(number);
}

// The unsigned range exactly; below it the two's complement of what fits a signed number.
inline uint64_t TruncateToUint64(double number) {
  if (number >= 9223372036854775808.0 && number < 18446744073709551616.0)
    return static_cast<uint64_t>(number);
  if (!(number >= -9223372036854775808.0 && number < 9223372036854775808.0)) return 0;
  return static_cast<uint64_t>(static_cast<int64_t>(number));
}

// The one rounding of this library: add 0.5, truncate toward zero. Not symmetric, and meant so; no rounding
// call of the language does this.
inline int32_t RoundToInt32(double number) {
  return TruncateToInt32(number + 0.5);
}
inline int64_t RoundToInt64(double number) {
  return TruncateToInt64(number + 0.5);
}
inline uint64_t RoundToUint64(double number) {
  return TruncateToUint64(number + 0.5);
}

// The low half of 64 bits: what an unsigned column of 32 bits keeps, so that a negative number wraps.
inline uint32_t LowUint32(int64_t number) {
  return static_cast<uint32_t>(number);
}

// The same bits as a signed number.
inline int32_t LowInt32(int64_t number) {
  const uint32_t bits = LowUint32(number);
  int32_t low = 0;
  std::memcpy(&low, &bits, sizeof low);
  return low;
}

#endif  // TESPARSER_PACKED_DECIMAL_H_
