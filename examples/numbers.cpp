// Unpacks raw numbers, as JSON shows them: decimal, or hexadecimal with 0x.
//
//   numbers 816 0x10003D 0x20000
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "tesparser/tesparser.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: numbers RAW...\n");
    return 2;
  }
  for (int i = 1; i < argc; ++i) {
    char* end = nullptr;
    errno = 0;
    const long long raw = std::strtoll(argv[i], &end, 0);
    if (end == argv[i] || *end != '\0' || errno != 0) {
      std::fprintf(stderr, "numbers: \"%s\" is no 64-bit number\n", argv[i]);
      return 2;
    }

    // Left alone if there is no number: what 0 stays 0, and is never a divisor.
    int divisor = 0;
    const double number = TesparserInt64ToDouble(raw, &divisor);
    if (divisor == 0) {
      std::printf("%s: no number\n", argv[i]);
      continue;
    }
    // The divisor tells how many decimals the service sent, which the double alone does not.
    int places = 0;
    for (int power = divisor; power > 1; power /= 10)
      ++places;
    std::printf("%s: %.*f, rounded %d\n", argv[i], places, number, TesparserInt64ToInt(raw, nullptr));
  }
  return 0;
}
