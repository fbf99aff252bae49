// What the library is measured against. Everything is compiled into the same shared library as the exports,
// with the same flags and on the same message classes, so that a ratio compares only what it says.
#ifndef BENCH_PEERS_H_
#define BENCH_PEERS_H_

#include <cstddef>
#include <string>

#define BENCH_API __attribute__((visibility("default")))

// The floor: the envelope on the stack, parsed, destroyed.
BENCH_API bool BenchParse(const std::string& reply);

// The plain way to the library's own JSON: the same tree and the same walk, nothing done for speed.
BENCH_API std::string BenchPlainJson(const std::string& reply);

// Parse and protobuf's own JSON.
BENCH_API std::string BenchProtobufJson(const std::string& reply);

// Parse and protobuf's text form.
BENCH_API std::string BenchTextFormat(const std::string& reply);

// Straight from the wire into plain vectors, one a column, for one known reply type: the lower limit that a
// specialist reaches. Returns how many cells it filled.
BENCH_API size_t BenchDirectSnapshot(const std::string& reply);
BENCH_API size_t BenchDirectKline(const std::string& reply);

#endif  // BENCH_PEERS_H_
