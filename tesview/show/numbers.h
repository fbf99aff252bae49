// Numbers as text, written to a place that has room for them. Nothing here allocates or throws.
#ifndef TESVIEW_SHOW_NUMBERS_H_
#define TESVIEW_SHOW_NUMBERS_H_

#include <cstddef>
#include <cstdint>

namespace tesview {

// More than the longest number takes, with quotes around it.
constexpr size_t kNumberRoom = 64;

// All return the end of what was written.
char* WriteInteger(char* to, int64_t value);
char* WriteInteger(char* to, uint64_t value);
// In the fewest digits that give the same number back; "inf", "-inf" and "nan" as well.
char* WriteFloating(char* to, double value);
char* WriteFloating(char* to, float value);
// In at most 15 significant digits, for people: 10.04, not 10.040000000000001. A decimal number of up to 15
// digits comes out of a double as it went in.
char* WriteRounded(char* to, double value);
// mantissa / 10^places, with as many places.
char* WriteDecimal(char* to, int64_t mantissa, unsigned places);

}  // namespace tesview

#endif  // TESVIEW_SHOW_NUMBERS_H_
