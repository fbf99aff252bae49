// The fuzzer's entry points, over the one target of the program.
#include <algorithm>
#include <string>

#include "fuzz/support/target.h"

extern "C" {

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t most, unsigned seed);
size_t LLVMFuzzerCustomCrossOver(const uint8_t* data1, size_t size1, const uint8_t* data2, size_t size2,
                                 uint8_t* out, size_t most, unsigned seed);
size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t most);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::RunTarget(*fuzz::targets, data, size);
  return 0;
}

}  // extern "C"

namespace {

// A few inputs are changed as bytes all the same: damage is part of what arrives.
constexpr unsigned kOneAsBytes = 16;

std::string Text(const uint8_t* data, size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}

size_t Put(const std::string& made, uint8_t* out, size_t most) {
  if (made.size() > most) return 0;
  std::copy(made.begin(), made.end(), out);
  return made.size();
}

}  // namespace

size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t most, unsigned seed) {
  const fuzz::Mutate mutate = fuzz::targets->mutate;
  if (mutate == nullptr || seed % kOneAsBytes == 0) return LLVMFuzzerMutate(data, size, most);
  return Put(mutate(Text(data, size), nullptr, most, seed), data, most);
}

size_t LLVMFuzzerCustomCrossOver(const uint8_t* data1, size_t size1, const uint8_t* data2, size_t size2,
                                 uint8_t* out, size_t most, unsigned seed) {
  const fuzz::Mutate mutate = fuzz::targets->mutate;
  const std::string second = Text(data2, size2);
  if (mutate != nullptr) return Put(mutate(Text(data1, size1), &second, most, seed), out, most);
  // The first part of one and the last part of the other.
  const size_t first = size1 == 0 ? 0 : seed % (size1 + 1);
  std::string joined = Text(data1, first) + second.substr(size2 == 0 ? 0 : (seed >> 8) % (size2 + 1));
  if (joined.size() > most) joined.resize(most);
  return Put(joined, out, most);
}
