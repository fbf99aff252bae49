// What every export gives for every sample, for damaged ones and for the deepest ones, as one file: the same
// on every platform, to the last bit.
//
//   reliability_texts FILE
#include <google/protobuf/stubs/logging.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "tests/reliability/replies.h"

namespace {

constexpr uint64_t kDamages = 20;

void Write(const std::string& name, const std::string& reply, std::ofstream& out) {
  for (const reliability::Route& route : reliability::Routes())
    out << name << ", " << route.name << ": " << reliability::CallText(route, reply) << '\n';
}

// Each scale and sign with mantissas at the ends of what a double, an int and the packed number hold.
void WriteNumbers(std::ofstream& out) {
  for (const uint64_t mantissa :
       {uint64_t{0}, uint64_t{1}, uint64_t{5}, uint64_t{0xFFFF}, (uint64_t{1} << 31) - 1,
        (uint64_t{1} << 31) + 1, (uint64_t{1} << 53) + 1, (uint64_t{1} << 55) - 1}) {
    for (uint64_t low = 0; low < 256; ++low) {
      const auto word = static_cast<long long>((mantissa & 0xFFFF) | low << 16 | mantissa >> 16 << 24);
      int divisor = 0;
      const double number = TesparserInt64ToDouble(word, &divisor);
      uint64_t bits;
      std::memcpy(&bits, &number, sizeof bits);
      out << word << ": bits " << bits << ", " << divisor << ", " << TesparserInt64ToInt(word, nullptr)
          << '\n';
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: reliability_texts FILE\n", stderr);
    return 2;
  }
  google::protobuf::SetLogHandler(nullptr);
  std::ofstream out(argv[1], std::ios::binary);
  for (const reliability::Sample& sample : reliability::Samples()) {
    Write(sample.name, sample.reply, out);
    for (uint64_t n = 0; n < kDamages; ++n)
      Write(sample.name + " damaged " + std::to_string(n), reliability::Damaged(sample.reply, n), out);
  }
  Write("nested", reliability::NestedTables(reliability::kDeepest), out);
  Write("nested, bad text", reliability::NestedBadText(reliability::kDeepest), out);
  WriteNumbers(out);
  out.close();
  return out ? 0 : 1;
}
