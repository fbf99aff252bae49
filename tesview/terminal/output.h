// Standard output, in whole lines or in whole pieces of a binary form.
//
// An interrupt (SIGINT, SIGTERM) is noticed between two of them: what has been written by then ends with the
// end of one.
#ifndef TESVIEW_TERMINAL_OUTPUT_H_
#define TESVIEW_TERMINAL_OUTPUT_H_

#include <stdexcept>
#include <string>
#include <string_view>

#include "tesview/terminal/interrupt.h"

namespace tesview {

// The reader of the pipe has gone.
class OutputClosed : public std::exception {};

class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Output {
 public:
  explicit Output(int fd) : fd_(fd) {}

  // Whole lines. Throws OutputClosed, OutputError or Interrupted.
  void Write(std::string_view lines);
  // Bytes without lines, a piece that is whole.
  void WriteBytes(std::string_view bytes);
  void Flush();

 private:
  void Send(std::string_view bytes);

  int fd_;
  std::string buffer_;
};

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_OUTPUT_H_
