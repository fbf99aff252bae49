#include "tesview/terminal/threads.h"

#include <malloc.h>
#include <sys/resource.h>

#include <csignal>
#include <system_error>

#include "tesview/terminal/interrupt.h"

namespace tesview {
namespace {

// The C library gives a thread a heap of its own, which takes 64 MB of addresses, and keeps it when the
// thread has ended. Where addresses are limited a few of these leave none for what the threads are there for.
void ShareHeapWhereAddressesAreShort() {
#ifdef M_ARENA_MAX
  rlimit addresses{};
  if (getrlimit(RLIMIT_AS, &addresses) == 0 && addresses.rlim_cur != RLIM_INFINITY) mallopt(M_ARENA_MAX, 1);
#endif
}

bool StartAll(size_t wanted, const std::function<void()>& work, std::vector<std::thread>* threads) {
  try {
    while (threads->size() < wanted)
      threads->emplace_back(work);
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

}  // namespace

bool StartThreads(size_t wanted, const std::function<void()>& work, std::vector<std::thread>* threads) {
  ShareHeapWhereAddressesAreShort();
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  sigdelset(&all, kWakingSignal);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const bool started = StartAll(wanted, work, threads);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return started;
}

}  // namespace tesview
