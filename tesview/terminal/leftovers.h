// What an unfinished output has on disk, so that also an abrupt end takes it away.
#ifndef TESVIEW_TERMINAL_LEFTOVERS_H_
#define TESVIEW_TERMINAL_LEFTOVERS_H_

#include <string>

namespace tesview {

// Until ForgetLeftover(): a file, or a directory whose files are called 0, 1, 2 and so on. There is room for
// one; a name that is too long is not kept.
void KeepLeftover(const std::string& path);
// How many files the directory has by now.
void CountLeftovers(int files);
void ForgetLeftover();

// May be called by a signal handler.
void RemoveLeftover();

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_LEFTOVERS_H_
