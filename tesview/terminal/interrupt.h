// SIGINT and SIGTERM, noted until the work comes to a place where it can stop.
#ifndef TESVIEW_TERMINAL_INTERRUPT_H_
#define TESVIEW_TERMINAL_INTERRUPT_H_

#include <exception>

namespace tesview {

// Thrown where work may stop after a signal.
class Interrupted : public std::exception {};

// From here on SIGINT and SIGTERM are noted; a second one ends the process at once.
void CatchInterrupts();
bool WasInterrupted();
// Ends the process by the signal that was noted.
[[noreturn]] void EndByInterrupt();

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_INTERRUPT_H_
