#include "tesview/terminal/interrupt.h"

#include <unistd.h>

#include <csignal>

namespace tesview {
namespace {

volatile std::sig_atomic_t noted_signal = 0;

extern "C" void NoteSignal(int signal) {
  noted_signal = signal;
}

}  // namespace

void CatchInterrupts() {
  struct sigaction action {};
  action.sa_handler = NoteSignal;
  // No SA_RESTART: a read that waits for input has to come back.
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool WasInterrupted() {
  return noted_signal != 0;
}

void EndByInterrupt() {
  const int signal = noted_signal;
  std::signal(signal, SIG_DFL);
  raise(signal);
  _exit(128 + signal);
}

}  // namespace tesview
