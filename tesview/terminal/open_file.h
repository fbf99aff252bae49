// Opening a file with the program that the desktop has for it.
#ifndef TESVIEW_TERMINAL_OPEN_FILE_H_
#define TESVIEW_TERMINAL_OPEN_FILE_H_

#include <string>

namespace tesview {

// Starts xdg-open and does not wait for it. False, and why, where it cannot be started.
bool OpenFile(const std::string& path, std::string* error);

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_OPEN_FILE_H_
