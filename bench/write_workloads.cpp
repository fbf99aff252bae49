// Writes the replies that the benchmarks decode to files, for programs that link the shipped library.
//
//   tesparser_workloads DIRECTORY NAME...     DIRECTORY/NAME.bin
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/workloads.h"

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: tesparser_workloads DIRECTORY NAME...\n");
    return 2;
  }
  const std::filesystem::path directory = argv[1];
  std::filesystem::create_directories(directory);
  for (int i = 2; i < argc; ++i) {
    const Workload workload = MakeWorkload(argv[i]);
    std::ofstream file(directory / (workload.name + ".bin"), std::ios::binary);
    file << workload.reply;
    if (!file.flush()) {
      std::fprintf(stderr, "tesparser_workloads: %s.bin cannot be written\n", argv[i]);
      return 1;
    }
  }
  return 0;
}
