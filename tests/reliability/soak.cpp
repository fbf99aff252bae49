// Claim: under load nothing grows and nothing changes. Several threads decode the samples, valid and damaged
// in turn, through all routes; every result is held against the first one of the same call, and the resident
// memory after the warm-up against the one at the end.
//
//   reliability_soak [--seconds N | --calls N] [--threads N]
//
// The short form in the tests runs for some seconds; the long one takes --calls 10000000.
#include <google/protobuf/stubs/logging.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/reliability/replies.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint64_t kDamagedForEach = 12;

// What the allocator and the threads may still take after the warm-up.
constexpr long kMostGrowth = 2048;  // KB

struct Call {
  const reliability::Route* route;
  const std::string* reply;
  uint64_t result;
};

struct Options {
  double seconds = 10;
  uint64_t calls = 0;
  unsigned threads = 4;
};

Options ReadOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    const double value = std::atof(argv[i + 1]);
    if (name == "--seconds") options.seconds = value;
    if (name == "--calls") options.calls = static_cast<uint64_t>(value);
    if (name == "--threads") options.threads = static_cast<unsigned>(value);
  }
  return options;
}

long ResidentKb() {
  std::ifstream in("/proc/self/statm");
  long size = 0;
  long resident = 0;
  in >> size >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// Valid and damaged in turn.
std::vector<std::string> Replies() {
  std::vector<std::string> replies;
  for (const reliability::Sample& sample : reliability::Samples()) {
    for (uint64_t n = 0; n < kDamagedForEach; ++n) {
      replies.push_back(sample.reply);
      replies.push_back(reliability::Damaged(sample.reply, n));
    }
  }
  replies.push_back(reliability::NestedTables(reliability::kDeepest));
  replies.push_back(reliability::NestedBadText(reliability::kDeepest));
  return replies;
}

struct Shared {
  const std::vector<Call>& calls;
  std::atomic<uint64_t> made{0};
  std::atomic<uint64_t> wrong{0};
  std::atomic<bool> stop{false};
};

// Each thread starts elsewhere, so that different replies are decoded at once.
void Decode(Shared* shared, size_t start) {
  constexpr uint64_t kBatch = 256;
  const size_t count = shared->calls.size();
  for (size_t at = start % count; !shared->stop;) {
    for (uint64_t i = 0; i < kBatch; ++i, at = (at + 1) % count) {
      const Call& call = shared->calls[at];
      if (reliability::CallHash(*call.route, *call.reply) != call.result) ++shared->wrong;
    }
    shared->made += kBatch;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = ReadOptions(argc, argv);
  google::protobuf::SetLogHandler(nullptr);  // damaged replies would be logged
  const std::vector<std::string> replies = Replies();
  std::vector<Call> calls;
  for (const std::string& reply : replies) {
    for (const reliability::Route& route : reliability::Routes())
      calls.push_back({&route, &reply, reliability::CallHash(route, reply)});
  }

  Shared shared{calls};
  const auto begin = Clock::now();
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < options.threads; ++t)
    threads.emplace_back(Decode, &shared, calls.size() / options.threads * t);

  long warm = 0;
  long most = 0;
  for (;;) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    const double done = options.calls != 0
                            ? static_cast<double>(shared.made) / static_cast<double>(options.calls)
                            : seconds / options.seconds;
    const long resident = ResidentKb();
    if (done >= 0.2 && warm == 0) warm = resident;
    most = std::max(most, resident);
    if (done >= 1) break;
  }
  shared.stop = true;
  for (std::thread& thread : threads)
    thread.join();
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  const long grown = most - warm;
  std::printf(
      "%llu calls of %zu kinds on %u threads in %.0f s (%.1f us each): %llu wrong results; resident memory %ld KB "
      "after the warm-up, at most %ld KB\n",
      static_cast<unsigned long long>(shared.made), calls.size(), options.threads, seconds,
      seconds * 1e6 * options.threads / static_cast<double>(shared.made),
      static_cast<unsigned long long>(shared.wrong), warm, most);
  if (RELIABILITY_SANITIZED) return shared.wrong == 0 ? 0 : 1;  // a sanitizer keeps memory of its own
  return shared.wrong == 0 && grown <= kMostGrowth ? 0 : 1;
}
