// The time of decoding replies with the shipped library: a line with a file's name and the nanoseconds of one
// call with freeing the table. For comparisons with programs in other languages.
//
//   tesparser_table_times FILE...
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"
#include "tsl_base/table.h"

namespace {

// The median of runs that take a quarter of a second together.
double Nanoseconds(const std::string& reply) {
  using Clock = std::chrono::steady_clock;
  std::vector<double> times;
  const auto end = Clock::now() + std::chrono::milliseconds(250);
  while (times.size() < 20 || Clock::now() < end) {
    const auto begin = Clock::now();
    table_free(TesparserPB2Table(reply));
    times.push_back(std::chrono::duration<double, std::nano>(Clock::now() - begin).count());
  }
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  return *middle;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    const std::string reply((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::printf("%s %.0f\n", argv[i], Nanoseconds(reply));
  }
  return 0;
}
