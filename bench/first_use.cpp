// What the first calls of a process cost: each round is a process of its own that loads the library, calls
// twice and reports. Prints medians.
//
//   tesparser_first_use LIBRARY REPLY [ROUNDS]
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"

namespace {

using TableCall = decltype(&TesparserPB2Table);
using JsonCall = decltype(&TesparserPB2Json);

struct Times {
  double load, table, table_again, json, json_again;  // microseconds
};

class Clock {
 public:
  double Lap() {
    const auto now = std::chrono::steady_clock::now();
    const double passed = std::chrono::duration<double, std::micro>(now - last_).count();
    last_ = now;
    return passed;
  }

 private:
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

template <class Call>
Call Find(void* library, const char* symbol) {
  void* found = dlsym(library, symbol);
  if (found == nullptr) std::_Exit(1);
  return reinterpret_cast<Call>(found);
}

Times Measure(const char* path, const std::string& reply) {
  Times times{};
  Clock clock;
  void* library = dlopen(path, RTLD_NOW);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    std::_Exit(1);
  }
  times.load = clock.Lap();
  const auto table =
      Find<TableCall>(library, "_Z17TesparserPB2TableRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
  const auto json =
      Find<JsonCall>(library, "_Z16TesparserPB2JsonRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
  clock.Lap();
  // The tables are not freed: the process ends.
  if (table(reply) == nullptr) std::_Exit(1);
  times.table = clock.Lap();
  table(reply);
  times.table_again = clock.Lap();
  if (json(reply).empty()) std::_Exit(1);
  times.json = clock.Lap();
  json(reply).size();
  times.json_again = clock.Lap();
  return times;
}

bool InNewProcess(const char* path, const std::string& reply, Times* times) {
  int ends[2];
  if (pipe(ends) != 0) return false;
  const pid_t child = fork();
  if (child == 0) {
    const Times measured = Measure(path, reply);
    std::_Exit(write(ends[1], &measured, sizeof measured) == sizeof measured ? 0 : 1);
  }
  close(ends[1]);
  const bool done = child > 0 && read(ends[0], times, sizeof *times) == sizeof *times;
  close(ends[0]);
  if (child > 0) waitpid(child, nullptr, 0);
  return done;
}

void Print(const char* what, const std::vector<Times>& all, double Times::*member) {
  std::vector<double> values;
  for (const Times& times : all)
    values.push_back(times.*member);
  std::sort(values.begin(), values.end());
  std::printf("%-24s %10.1f us  [%.1f %.1f]\n", what, values[values.size() / 2], values[values.size() / 4],
              values[values.size() * 3 / 4]);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: tesparser_first_use LIBRARY REPLY [ROUNDS]\n");
    return 2;
  }
  std::ifstream file(argv[2], std::ios::binary);
  const std::string reply((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const int rounds = argc > 3 ? std::atoi(argv[3]) : 25;
  std::vector<Times> all;
  for (int i = 0; i < rounds; ++i) {
    Times times{};
    if (!InNewProcess(argv[1], reply, &times)) return 1;
    all.push_back(times);
  }
  if (all.empty()) return 2;
  Print("loading the library", all, &Times::load);
  Print("first table call", all, &Times::table);
  Print("second table call", all, &Times::table_again);
  Print("first JSON call", all, &Times::json);
  Print("second JSON call", all, &Times::json_again);
  return 0;
}
