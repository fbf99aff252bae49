// What code costs, by the processor's time, so that others who use the machine do not decide what passes.
#ifndef TESTS_SUPPORT_PROCESSOR_TIME_H_
#define TESTS_SUPPORT_PROCESSOR_TIME_H_

#include <time.h>

#include <algorithm>

namespace processor_time {

// Seconds that this thread takes for `call`.
template <class Call>
double Of(const Call& call) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  const double begin = now();
  call();
  return now() - begin;
}

// Whether work that is eight times as much takes about eight times as long, where anything quadratic takes
// sixty-four times. A virtual processor that is taken away meanwhile only adds, so the least of some runs
// counts, and of more where these do not tell.
template <class Call, class EightTimes>
bool IsLinear(const Call& call, const EightTimes& eight_times) {
  double least = 1e9;
  double least_of_eight = 1e9;
  for (int runs = 1; runs <= 20; ++runs) {
    least = std::min(least, Of(call));
    least_of_eight = std::min(least_of_eight, Of(eight_times));
    if (runs >= 3 && least_of_eight < 24 * least + 0.01) return true;
  }
  return false;
}

// Whether `call` takes less than such a share of what `other` takes. The least of some runs counts here, too.
template <class Call, class Other>
bool TakesLess(const Call& call, double share, const Other& other) {
  double least = 1e9;
  double least_of_other = 1e9;
  for (int runs = 1; runs <= 20; ++runs) {
    least = std::min(least, Of(call));
    least_of_other = std::min(least_of_other, Of(other));
    if (runs >= 3 && least < share * least_of_other) return true;
  }
  return false;
}

}  // namespace processor_time

#endif  // TESTS_SUPPORT_PROCESSOR_TIME_H_
