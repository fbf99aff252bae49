// Claim: where memory runs out in the very first call, in the middle of what is made once and kept, a later
// call makes it. What protobuf makes once for the JSON of a whole reply is not ours and not tried.
#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "tests/capi/memory_calls.h"

namespace {

using capi_memory::Outcome;
using reliability::Failing;

// Cut, so that the reason takes the schema.
const std::string kCut = "\x08\x14\x12\x05\x41";

struct Expected {
  bool given;
  int32_t reason;
};

// In a child process. Ends with 0 if the call that fails says so, and the next one gives what is expected.
int FailThenCall(capi_memory::Call call, long n, Failing how, const Expected& expected) {
  const google::protobuf::LogSilencer quiet;
  const Outcome failed = capi_memory::Run(call, kCut, n, how);
  if (failed.refused == 0) return 3;
  const bool counted = call != capi_memory::Payloads || failed.given || failed.size == 0;
  const bool told = !failed.given && failed.reason == TESPARSER_OUT_OF_MEMORY && counted;
  const bool went_on = failed.given == expected.given && failed.reason == expected.reason;
  if (!told && !went_on) return 1;
  const Outcome next = capi_memory::Run(call, kCut, 0, how);
  return next.given == expected.given && next.reason == expected.reason ? 0 : 2;
}

// The code that the child ends with, or the negative number of the signal.
int InChild(capi_memory::Call call, long n, Failing how, const Expected& expected) {
  const pid_t child = fork();
  if (child == 0) _exit(FailThenCall(call, n, how, expected));
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// The first ones each, then ever fewer: there are tens of thousands.
void FailMany(capi_memory::Call call, Failing how, const Expected& expected, int at_least) {
  int failures = 0;
  for (long n = 1;; n += 1 + n / 4) {
    const int ended = InChild(call, n, how, expected);
    if (ended == 3) break;
    ASSERT_EQ(ended, 0) << "allocation " << n;
    ++failures;
  }
  std::printf("%d failures\n", failures);
  EXPECT_GE(failures, at_least);
}

class FirstUse : public testing::TestWithParam<Failing> {};

INSTANTIATE_TEST_SUITE_P(Allocations, FirstUse, testing::Values(Failing::kOne, Failing::kAllFrom),
                         [](const auto& how) {
                           return how.param == Failing::kOne ? "OneFails" : "AllFailFromThere";
                         });

TEST_P(FirstUse, OfTheSchema) {
  FailMany(capi_memory::Json, GetParam(), {false, TESPARSER_NOT_A_REPLY}, 30);
}

TEST_P(FirstUse, OfTheTextForm) {
  FailMany(capi_memory::TextReader, GetParam(), {true, TESPARSER_OK}, 30);
}

TEST_P(FirstUse, OfAStream) {
  FailMany(capi_memory::Stream, GetParam(), {false, EINVAL}, 30);
}

TEST_P(FirstUse, OfTheDescriptions) {
  FailMany(capi_memory::Payloads, GetParam(), {true, TESPARSER_OK}, 30);
  FailMany(capi_memory::Layouts, GetParam(), {true, TESPARSER_OK}, 30);
}

}  // namespace
