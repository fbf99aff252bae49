#include "tesview/terminal/output.h"

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace tesview {
namespace {

// Pieces in which lines are handed to the system.
constexpr size_t kPiece = size_t{64} * 1024;
// How long an interrupted output waits for its reader: so often so many milliseconds, which signals cut
// short.
constexpr int kMostWaits = 10;
constexpr int kWaitForReader = 50;

// The front of `lines` that is sent at once: as many whole lines as fit a piece, at least one.
size_t PieceOf(std::string_view lines) {
  if (lines.size() <= kPiece) return lines.size();
  size_t end = lines.rfind('\n', kPiece - 1);
  if (end == std::string_view::npos) end = lines.find('\n', kPiece);
  return end == std::string_view::npos ? lines.size() : end + 1;
}

}  // namespace

void Output::Write(std::string_view lines) {
  if (!of_lines_) Flush();
  of_lines_ = true;
  buffer_ += lines;
  if (buffer_.size() >= kPiece) Flush();
}

void Output::WriteBytes(std::string_view bytes) {
  if (of_lines_) Flush();
  of_lines_ = false;
  buffer_ += bytes;
  if (buffer_.size() >= kPiece) Flush();
}

void Output::Flush() {
  if (of_lines_) {
    SendLines(buffer_);
  } else if (!buffer_.empty()) {
    if (WasInterrupted()) throw Interrupted();
    Send(buffer_);
  }
  buffer_.clear();
}

void Output::SendLines(std::string_view lines) {
  while (!lines.empty()) {
    if (WasInterrupted()) throw Interrupted();
    const size_t size = PieceOf(lines);
    Send(lines.substr(0, size));
    lines.remove_prefix(size);
  }
}

void Output::Send(std::string_view bytes) {
  if (send_) return send_(bytes);
  const size_t whole = bytes.size();
  while (!bytes.empty()) {
    const ssize_t sent = write(fd_, bytes.data(), bytes.size());
    if (sent >= 0) {
      bytes.remove_prefix(static_cast<size_t>(sent));
    } else if (errno == EPIPE) {
      throw OutputClosed();
    } else if (errno != EINTR) {
      throw OutputError(fmt::format("cannot write the output: {}", std::strerror(errno)));
    }
    if (bytes.empty() || !WasInterrupted()) continue;
    if (bytes.size() != whole) SendRest(of_lines_ ? bytes.substr(0, bytes.find('\n') + 1) : bytes);
    throw Interrupted();
  }
}

// What is begun is ended, if whoever reads takes it soon.
void Output::SendRest(std::string_view bytes) {
  pollfd ready{fd_, POLLOUT, 0};
  for (int i = 0; i < kMostWaits && !bytes.empty(); ++i) {
    if (poll(&ready, 1, kWaitForReader) <= 0) continue;
    // Where there is room, there is room for so much.
    const ssize_t sent = write(fd_, bytes.data(), std::min(bytes.size(), size_t{PIPE_BUF}));
    if (sent < 0 && errno != EINTR) return;
    if (sent > 0) {
      bytes.remove_prefix(static_cast<size_t>(sent));
      i = 0;
    }
  }
}

}  // namespace tesview
