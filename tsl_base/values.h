/* The value classes of table cells that hold more than a plain number.
 *
 * All of them are 64 bits wide, trivially copyable and passed by value in one register. C sees plain structs
 * of the same layout, so that the table functions can be called from any language.
 */
#ifndef TSL_BASE_VALUES_H_
#define TSL_BASE_VALUES_H_

#include <stdint.h>

#ifdef __cplusplus

namespace tsl_base {
namespace detail {

/* Layout shared by PFloat and VFloat: bits 16 to 63 the signed mantissa, bits 0 to 15 the decimals. */
constexpr int64_t kDecimalMantissaMax = (int64_t{1} << 47) - 1;
constexpr int64_t kDecimalMantissaMin = -(int64_t{1} << 47);

constexpr int64_t PackDecimal(int64_t mantissa, uint16_t decimals) {
  const int64_t clamped = mantissa > kDecimalMantissaMax   ? kDecimalMantissaMax
                          : mantissa < kDecimalMantissaMin ? kDecimalMantissaMin
                                                           : mantissa;
  return clamped * 65536 + decimals;
}

constexpr uint16_t DecimalsOf(int64_t bits) {
  return static_cast<uint16_t>(static_cast<uint64_t>(bits) & 0xFFFF);
}

constexpr int64_t MantissaOf(int64_t bits) {
  return (bits - DecimalsOf(bits)) / 65536;
}

}  // namespace detail
}  // namespace tsl_base

/* A decimal number with a fixed count of decimal places: mantissa() / 10^decimals().
 *
 * The mantissa has 48 bits with its sign; one beyond that range is clamped to the nearest end of it.
 */
class PFloat {
 public:
  PFloat() = default;
  constexpr PFloat(long long mantissa, unsigned short decimals)
      : bits_(tsl_base::detail::PackDecimal(mantissa, decimals)) {}

  constexpr int64_t mantissa() const { return tsl_base::detail::MantissaOf(bits_); }
  constexpr uint16_t decimals() const { return tsl_base::detail::DecimalsOf(bits_); }

 private:
  int64_t bits_;
};

/* A decimal number that the terminal shows with a varying count of places; same layout and range as PFloat.
 */
class VFloat {
 public:
  VFloat() = default;
  constexpr VFloat(long long mantissa, unsigned short decimals)
      : bits_(tsl_base::detail::PackDecimal(mantissa, decimals)) {}

  constexpr int64_t mantissa() const { return tsl_base::detail::MantissaOf(bits_); }
  constexpr uint16_t decimals() const { return tsl_base::detail::DecimalsOf(bits_); }

 private:
  int64_t bits_;
};

/* A time as the terminal keeps it: 64 bits. What they mean is up to whoever wrote the cell. */
class tsl_time_t {
 public:
  tsl_time_t() = default;
  constexpr explicit tsl_time_t(unsigned long long value) : value_(value) {}

  constexpr uint64_t value() const { return value_; }

 private:
  uint64_t value_;
};

static_assert(sizeof(PFloat) == 8 && sizeof(VFloat) == 8 && sizeof(tsl_time_t) == 8,
              "cells hold these values in 64 bits");

#else /* C */

/* bits / 65536, rounded down, is the mantissa; bits & 0xFFFF the decimal places. */
typedef struct PFloat {
  int64_t bits;
} PFloat;

typedef struct VFloat {
  int64_t bits;
} VFloat;

#endif

#endif /* TSL_BASE_VALUES_H_ */
