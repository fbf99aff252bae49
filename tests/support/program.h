// Runs a program as a shell would: arguments, input, a terminal where one is wanted.
#ifndef TESTS_SUPPORT_PROGRAM_H_
#define TESTS_SUPPORT_PROGRAM_H_

#include <functional>
#include <string>
#include <vector>

namespace program {

struct Result {
  int code = -1;    // of an exit
  int signal = 0;   // that ended it
  std::string out;  // all that came to a terminal, if standard output is one
  std::string err;
  long most_memory = 0;  // kilobytes that were resident at most
  double seconds = 0;    // of processor time, in its own code
};

struct How {
  std::string input;
  // Instead of `input`: writes to the descriptor, which is closed when it returns.
  std::function<void(int)> feed;
  std::vector<std::string> environment;  // "NAME=value" to add, "NAME" to take away
  bool terminal_out = false;             // standard output is a terminal
  bool terminal_err = false;             // standard error is one
  unsigned short columns = 80;
  // Called with the process id after this much output has come.
  size_t after = 0;
  std::function<void(int)> then;
  std::string directory;
};

// Why no pseudo-terminal can be had on this machine; empty if one can.
std::string WhyNoTerminal();

Result Run(const std::vector<std::string>& command, const How& how = How());

// For `feed`: writes the block so many times, or until nobody reads it.
void WriteTimes(int fd, const std::string& block, int count);

// Runs a line of shell, with `path` in front of PATH.
Result Shell(const std::string& line, const std::string& path, const std::string& directory);

}  // namespace program

#endif  // TESTS_SUPPORT_PROGRAM_H_
