// Where the program's output goes, in whole lines or in whole pieces of a binary form.
//
// An interrupt (SIGINT, SIGTERM, SIGHUP) is noticed between two of them: what has been written by then ends
// with the end of one, unless nobody takes the rest of it any more.
#ifndef TESVIEW_TERMINAL_OUTPUT_H_
#define TESVIEW_TERMINAL_OUTPUT_H_

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

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
  // All that is written goes to `send` instead of a file, and what that throws comes out of every call.
  explicit Output(std::function<void(std::string_view)> send) : send_(std::move(send)) {}

  // Whole lines. Throws OutputClosed, OutputError or Interrupted.
  void Write(std::string_view lines);
  // Bytes without lines, a piece that is whole.
  void WriteBytes(std::string_view bytes);
  void Flush();

 private:
  void SendLines(std::string_view lines);
  void Send(std::string_view bytes);
  void SendRest(std::string_view bytes);

  int fd_ = -1;
  std::function<void(std::string_view)> send_;
  std::string buffer_;
  bool of_lines_ = true;  // what the buffer holds; otherwise pieces
};

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_OUTPUT_H_
