// The replies that the benchmarks decode: made by a seeded generator, so that every run and every machine
// measures the same bytes. Prices are random walks at two decimals, volumes whole numbers, names Chinese.
#ifndef BENCH_WORKLOADS_H_
#define BENCH_WORKLOADS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"

struct Workload {
  std::string name;
  TPType type;        // what the table route asks for; TPTypeById goes through TesparserPB2Table
  std::string reply;  // one serialized reply
};

#define BENCH_WORKLOADS_API __attribute__((visibility("default")))

BENCH_WORKLOADS_API const std::vector<std::string>& WorkloadNames();

// One workload, checked to be a valid reply with a table form; ends the program if it is not, or if there is
// none of that name.
BENCH_WORKLOADS_API Workload MakeWorkload(const std::string& name);

// All of them.
BENCH_WORKLOADS_API std::vector<Workload> MakeWorkloads();

// What some of them are made by, for other seeds and sizes: one serialized reply each.
namespace workloads {

std::string Wire(uint64_t seed, int rows);       // Id 3
std::string Blocks(uint64_t seed);               // Id 399, 10,000 members in 200 blocks
std::string News(uint64_t seed, int documents);  // Id 437
std::string Finance(uint64_t seed, int stocks);  // Id 405

}  // namespace workloads

#endif  // BENCH_WORKLOADS_H_
