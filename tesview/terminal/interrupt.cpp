#include "tesview/terminal/interrupt.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

#include "tesview/terminal/leftovers.h"

namespace tesview {

// Nobody sends it for another reason here, and it does nothing where it is not caught.
const int kWakingSignal = SIGURG;

namespace {

constexpr long kTick = 50'000'000;     // nanoseconds
constexpr int64_t kMostMillis = 1000;  // from the signal to the end

std::atomic<int> noted_signal{0};
std::atomic<int64_t> noted_at{0};
static_assert(std::atomic<int64_t>::is_always_lock_free, "a signal handler writes it");
timer_t waking_timer;
bool has_timer = false;

[[noreturn]] void EndBy(int signal) {
  RemoveLeftover();
  std::signal(signal, SIG_DFL);
  sigset_t one;
  sigemptyset(&one);
  sigaddset(&one, signal);
  pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
  raise(signal);
  _exit(128 + signal);
}

int64_t NowMillis() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

extern "C" void NoteSignal(int signal) {
  if (noted_signal != 0) EndBy(signal);
  const int before = errno;
  noted_at = NowMillis();
  noted_signal = signal;
  const itimerspec often{{0, kTick}, {0, kTick}};
  if (has_timer) timer_settime(waking_timer, 0, &often, nullptr);
  errno = before;
}

extern "C" void Tick(int /*signal*/) {
  // What it interrupts may be about to look at its own errno.
  const int before = errno;
  if (noted_signal != 0 && NowMillis() - noted_at > kMostMillis) EndBy(noted_signal);
  errno = before;
}

void Catch(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  // No SA_RESTART: a read that waits for input has to come back.
  sigaction(signal, &action, nullptr);
}

}  // namespace

void CatchInterrupts() {
  Catch(kWakingSignal, Tick);
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = kWakingSignal;
  has_timer = timer_create(CLOCK_MONOTONIC, &event, &waking_timer) == 0;
  Catch(SIGINT, NoteSignal);
  Catch(SIGTERM, NoteSignal);
  // nohup has it ignored.
  struct sigaction before {};
  if (sigaction(SIGHUP, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) Catch(SIGHUP, NoteSignal);
}

bool WasInterrupted() {
  return noted_signal != 0;
}

void Wake(std::thread* thread) {
  pthread_kill(thread->native_handle(), kWakingSignal);
}

void EndByInterrupt() {
  EndBy(noted_signal);
}

}  // namespace tesview
