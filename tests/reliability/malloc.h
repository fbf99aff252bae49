// malloc and operator new of the whole program, counted, and made to fail on demand. For the thread that
// asks; other threads allocate as ever. Not for programs under a sanitizer, which has allocation functions of
// its own.
#ifndef TESTS_RELIABILITY_MALLOC_H_
#define TESTS_RELIABILITY_MALLOC_H_

#include <cstddef>

namespace reliability {

// A first build is shown with fewer failures; every other one with all.
#ifdef TESPARSER_BRIEF_TESTS
inline constexpr bool kBrief = true;
#else
inline constexpr bool kBrief = false;
#endif

struct Heap {
  long blocks = 0;     // allocated and not freed
  long bytes = 0;      // what these take
  long peak = 0;       // the most that they took at any time
  long allocated = 0;  // all bytes that were asked for
  long calls = 0;      // of the allocation functions
};

// Counts from zero.
void StartCounting();
Heap StopCounting();

enum class Failing { kOne, kAllFrom };

// Makes the n-th allocation from now on fail, counted from 1, or all from there on.
void FailAllocation(long n, Failing how);

struct Failed {
  long from_new = 0;     // refused to operator new
  long from_malloc = 0;  // refused to callers of malloc, calloc, realloc
  size_t new_size = 0;   // bytes of the last one refused to operator new
  long total() const { return from_new + from_malloc; }
};

// Ends that, and tells what was refused.
Failed StopFailing();

}  // namespace reliability

#endif  // TESTS_RELIABILITY_MALLOC_H_
