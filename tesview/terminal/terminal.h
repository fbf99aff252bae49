// What the program asks of the terminal.
#ifndef TESVIEW_TERMINAL_TERMINAL_H_
#define TESVIEW_TERMINAL_TERMINAL_H_

#include <cstddef>

namespace tesview {

bool IsTerminal(int fd);
// 0 if it is none. The variable COLUMNS is not asked: shells set it without exporting it.
size_t TerminalWidth(int fd);
// NO_COLOR is not set, and TERM is not "dumb".
bool ColorWelcome();

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_TERMINAL_H_
