// Runs one route over one workload a fixed number of times: under callgrind, a repeatable instruction count.
//
//   tesparser_once WORKLOAD floor|table|json TIMES
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/peers.h"
#include "bench/workloads.h"
#include "tsl_base/table.h"

namespace {

__attribute__((noinline)) void Run(const Workload& w, const std::string& route) {
  if (route == "floor") {
    BenchParse(w.reply);
  } else if (route == "json") {
    TesparserPB2Json(w.reply);
  } else {
    table_free(w.type == TPTypeById ? TesparserPB2Table(w.reply) : TesparserPB2TableType(w.reply, w.type));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: tesparser_once WORKLOAD floor|table|json TIMES\n");
    return 2;
  }
  const Workload w = MakeWorkload(argv[1]);
  const std::string route = argv[2];
  const int times = std::atoi(argv[3]);
  for (int i = 0; i < times; ++i)
    Run(w, route);
  return 0;
}
