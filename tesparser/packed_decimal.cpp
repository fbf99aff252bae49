#include "tesparser/packed_decimal.h"

#include "tesparser/tesparser.h"

double TesparserInt64ToDouble(long long value, int* divisor) {
  return DecodePacked(value, divisor);
}

int TesparserInt64ToInt(long long value, int* divisor) {
  return RoundToInt32(DecodePacked(value, divisor));
}
