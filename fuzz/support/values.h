// Values that a reply may carry, the awkward ones more often than chance would have them.
#ifndef FUZZ_SUPPORT_VALUES_H_
#define FUZZ_SUPPORT_VALUES_H_

#include <cstdint>
#include <string>

#include "fuzz/support/random.h"

namespace fuzz {

// Numbers as the service packs them, with all scale codes and signs, and some that are no packed numbers.
int64_t SomeInt64(Random& random);
int32_t SomeInt32(Random& random);
double SomeDouble(Random& random);
float SomeFloat(Random& random);

// Texts of replies: codes of instruments, Chinese names, empty and long ones, zero bytes, ill-formed UTF-8.
std::string SomeText(Random& random);

// Names of columns: those that typed tables know, and those that upset a column spec.
std::string SomeColumnName(Random& random);

// How many elements; `most` is seldom reached.
int SomeCount(Random& random, int most);

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_VALUES_H_
