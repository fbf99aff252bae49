#include "tesview/terminal/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace tesview {

bool IsTerminal(int fd) {
  return isatty(fd) == 1;
}

size_t TerminalWidth(int fd) {
  struct winsize size {};
  if (!IsTerminal(fd) || ioctl(fd, TIOCGWINSZ, &size) != 0) return 0;
  return size.ws_col != 0 ? size.ws_col : 80;
}

bool ColorWelcome() {
  const char* no_color = std::getenv("NO_COLOR");
  if (no_color != nullptr && *no_color != '\0') return false;
  const char* term = std::getenv("TERM");
  return term == nullptr || std::string_view(term) != "dumb";
}

}  // namespace tesview
