// Values compared bit by bit: minus zero is not zero, and NaN is itself.
#ifndef FUZZ_SUPPORT_BITS_H_
#define FUZZ_SUPPORT_BITS_H_

#include <array>
#include <cstring>

namespace fuzz {

// Whether the bytes at `bytes` are those of the value.
template <class T>
bool HasBits(const T& value, const void* bytes) {
  std::array<unsigned char, sizeof(T)> own;
  std::array<unsigned char, sizeof(T)> other;
  std::memcpy(own.data(), &value, sizeof(T));
  std::memcpy(other.data(), bytes, sizeof(T));
  return own == other;
}

template <class T>
bool SameBits(const T& a, const T& b) {
  return HasBits(a, &b);
}

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_BITS_H_
