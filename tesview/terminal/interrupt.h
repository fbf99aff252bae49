// SIGINT, SIGTERM and SIGHUP, noted until the work comes to a place where it can stop.
//
// A note would be lost on a thread that is about to wait in a system call. So a timer runs from the first
// signal on, which breaks such waits again and again. Work that comes to no such place within a second is
// ended as it is, and what its output has on disk is removed.
#ifndef TESVIEW_TERMINAL_INTERRUPT_H_
#define TESVIEW_TERMINAL_INTERRUPT_H_

#include <exception>
#include <thread>

namespace tesview {

// Thrown where work may stop after a signal.
class Interrupted : public std::exception {};

// From here on the signals are noted; a second one ends the process at once.
void CatchInterrupts();
bool WasInterrupted();
// Breaks a wait of that thread, which must not block kWakingSignal. CatchInterrupts() has to have been
// called.
void Wake(std::thread* thread);
extern const int kWakingSignal;
// Ends the process by the signal that was noted.
[[noreturn]] void EndByInterrupt();

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_INTERRUPT_H_
