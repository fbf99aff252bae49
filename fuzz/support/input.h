// Splits the bytes of an input into the values that a target wants. Past the end everything is 0 and empty.
#ifndef FUZZ_SUPPORT_INPUT_H_
#define FUZZ_SUPPORT_INPUT_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace fuzz {

class Input {
 public:
  Input(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}

  bool empty() const { return at_ == end_; }
  size_t left() const { return static_cast<size_t>(end_ - at_); }

  uint8_t Byte() { return empty() ? uint8_t{0} : *at_++; }
  bool Bool() { return (Byte() & 1) != 0; }

  // From 0 to n - 1, of as many bytes as that needs; n must not be 0.
  uint32_t Below(uint32_t n) {
    uint32_t value = 0;
    for (uint32_t reach = n - 1; reach != 0; reach >>= 8)
      value = value << 8 | Byte();
    return value % n;
  }

  // The next bytes as they stand in memory.
  template <class T>
  T Value() {
    T value{};
    const size_t size = std::min(sizeof value, left());
    if (size != 0) std::memcpy(&value, at_, size);
    at_ += size;
    return value;
  }

  std::string Bytes(size_t size) {
    size = std::min(size, left());
    std::string bytes(reinterpret_cast<const char*>(at_), size);
    at_ += size;
    return bytes;
  }
  // With its length in the first byte.
  std::string Text() { return Bytes(Byte()); }
  std::string Rest() { return Bytes(left()); }

 private:
  const uint8_t* at_;
  const uint8_t* end_;
};

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_INPUT_H_
