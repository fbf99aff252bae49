// Claim: all exports may be called from any number of threads at once, the first calls of a process included,
// and give what they give on one thread.
//
//   reliability_threads FIRST [ROUNDS]
//
// FIRST names the route that all threads call first, at the same time and in a process that has called
// nothing before: what is set up at first use is then set up by all of them. "each" gives every thread a
// route of its own.
#include <google/protobuf/stubs/logging.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/reliability/replies.h"

namespace {

constexpr size_t kThreads = 16;

struct Call {
  const reliability::Route* route;
  std::string reply;
};

std::vector<Call> AllCalls() {
  std::vector<std::string> replies;
  for (const reliability::Sample& sample : reliability::Samples()) {
    replies.push_back(sample.reply);
    for (uint64_t n = 0; n < 5; ++n)
      replies.push_back(reliability::Damaged(sample.reply, n));
  }
  replies.push_back(reliability::NestedTables(reliability::kDeepest));
  replies.push_back(reliability::NestedBadText(reliability::kDeepest));
  std::vector<Call> calls;
  for (const std::string& reply : replies) {
    for (const reliability::Route& route : reliability::Routes())
      calls.push_back({&route, reply});
  }
  return calls;
}

struct Numbers {
  int divisor;
  double real;
  int whole;
};

Numbers CallNumbers(long long value) {
  Numbers numbers{0, 0, 0};
  numbers.real = TesparserInt64ToDouble(value, &numbers.divisor);
  numbers.whole = TesparserInt64ToInt(value, nullptr);
  return numbers;
}

bool Same(const Numbers& a, const Numbers& b) {
  return a.divisor == b.divisor && std::memcmp(&a.real, &b.real, sizeof(a.real)) == 0 && a.whole == b.whole;
}

constexpr long long kPacked[] = {0x4D2, 0x20000, 0x1004D2, -1, 0x7FFFFFFFFFFFFFFF, 0xA0005};

// The call that a thread makes first: the given route on the first sample, or a route by the thread's number.
size_t FirstCall(const std::vector<Call>& calls, const std::string& first, size_t thread) {
  const size_t routes = reliability::Routes().size();
  if (first == "each") return thread % routes;
  for (size_t i = 0; i < routes; ++i) {
    if (calls[i].route->name == first) return i;
  }
  std::fprintf(stderr, "no route is called %s\n", first.c_str());
  std::exit(2);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string first = argc > 1 ? argv[1] : "each";
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 1;
  google::protobuf::SetLogHandler(nullptr);  // damaged replies would be logged
  const std::vector<Call> calls = AllCalls();

  std::vector<std::vector<uint64_t>> results(kThreads, std::vector<uint64_t>(calls.size()));
  std::vector<std::vector<Numbers>> numbers(kThreads);
  std::atomic<size_t> waiting{0};
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const size_t start = FirstCall(calls, first, t);
      ++waiting;
      while (waiting != kThreads) {
      }
      for (int round = 0; round < rounds; ++round) {
        for (size_t i = 0; i < calls.size(); ++i) {
          const size_t at = (start + i) % calls.size();
          results[t][at] = reliability::CallHash(*calls[at].route, calls[at].reply);
        }
      }
      for (long long value : kPacked)
        numbers[t].push_back(CallNumbers(value));
    });
  }
  for (std::thread& thread : threads)
    thread.join();

  size_t wrong = 0;
  size_t made = 0;
  for (size_t i = 0; i < calls.size(); ++i) {
    const uint64_t expected = reliability::CallHash(*calls[i].route, calls[i].reply);
    for (size_t t = 0; t < kThreads; ++t) {
      ++made;
      if (results[t][i] != expected) ++wrong;
    }
  }
  for (size_t i = 0; i < std::size(kPacked); ++i) {
    for (size_t t = 0; t < kThreads; ++t)
      wrong += Same(numbers[t][i], CallNumbers(kPacked[i])) ? 0 : 1;
  }
  std::printf("first %s: %zu results of %zu threads compared, %zu wrong\n", first.c_str(), made, kThreads,
              wrong);
  return wrong == 0 ? 0 : 1;
}
