// Numbers for mutators: cheap, and the same on every machine for the same seed.
#ifndef FUZZ_SUPPORT_RANDOM_H_
#define FUZZ_SUPPORT_RANDOM_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fuzz {

class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}

  uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15;
    uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return mixed ^ (mixed >> 31);
  }
  // From 0 to n - 1; n must not be 0.
  uint64_t Below(uint64_t n) { return Next() % n; }
  // The same for places and sizes.
  size_t Index(size_t n) { return static_cast<size_t>(Below(n)); }
  int Int(int n) { return static_cast<int>(Below(static_cast<uint64_t>(n))); }
  bool OneIn(uint64_t n) { return Below(n) == 0; }

  template <class T, size_t N>
  const T& Of(const T (&choices)[N]) {
    return choices[Index(N)];
  }
  template <class T>
  const T& Of(const std::vector<T>& choices) {
    return choices[Index(choices.size())];
  }

 private:
  uint64_t state_;
};

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_RANDOM_H_
