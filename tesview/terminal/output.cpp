#include "tesview/terminal/output.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tesview {
namespace {

// Pieces in which lines are handed to the system.
constexpr size_t kPiece = size_t{64} * 1024;

// The front of `lines` that is sent at once: as many whole lines as fit a piece, at least one.
size_t PieceOf(std::string_view lines) {
  if (lines.size() <= kPiece) return lines.size();
  size_t end = lines.rfind('\n', kPiece - 1);
  if (end == std::string_view::npos) end = lines.find('\n', kPiece);
  return end == std::string_view::npos ? lines.size() : end + 1;
}

}  // namespace

void Output::Write(std::string_view lines) {
  buffer_ += lines;
  if (buffer_.size() >= kPiece) Flush();
}

void Output::WriteBytes(std::string_view bytes) {
  Flush();
  if (WasInterrupted()) throw Interrupted();
  Send(bytes);
}

void Output::Flush() {
  std::string_view rest = buffer_;
  while (!rest.empty()) {
    if (WasInterrupted()) throw Interrupted();
    const size_t size = PieceOf(rest);
    Send(rest.substr(0, size));
    rest.remove_prefix(size);
  }
  buffer_.clear();
}

void Output::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = write(fd_, bytes.data(), bytes.size());
    if (sent >= 0) {
      bytes.remove_prefix(static_cast<size_t>(sent));
    } else if (errno == EPIPE) {
      throw OutputClosed();
    } else if (errno != EINTR) {
      throw OutputError(fmt::format("cannot write the output: {}", std::strerror(errno)));
    }
  }
}

}  // namespace tesview
