#include "tesview/terminal/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include "tesview/terminal/terminal.h"

namespace tesview {
namespace {

// Work that is done sooner needs no bar, and drawing more often only costs.
constexpr auto kBeforeFirst = std::chrono::milliseconds(500);
constexpr auto kBetween = std::chrono::milliseconds(100);

std::string Amount(double bytes) {
  if (bytes < 1e3) return fmt::format("{:.0f} B", bytes);
  if (bytes < 1e6) return fmt::format("{:.1f} kB", bytes / 1e3);
  if (bytes < 1e9) return fmt::format("{:.1f} MB", bytes / 1e6);
  return fmt::format("{:.2f} GB", bytes / 1e9);
}

std::string Duration(double seconds) {
  if (seconds < 60) return fmt::format("{:.0f} s", seconds);
  if (seconds < 3600) {
    const int whole = static_cast<int>(seconds);
    return fmt::format("{} min {:02} s", whole / 60, whole % 60);
  }
  return fmt::format("{:.1f} h", seconds / 3600);
}

}  // namespace

std::string ProgressText(uint64_t bytes, uint64_t total, uint64_t replies, double seconds, size_t width) {
  const auto done = static_cast<double>(bytes);
  const double rate = seconds > 0 ? done / seconds : 0;
  std::string text;
  if (total != 0) {
    const double part = bytes >= total ? 1.0 : done / static_cast<double>(total);
    text += fmt::format("{:3.0f}%  {} of {}", part * 100, Amount(done), Amount(static_cast<double>(total)));
  } else {
    text += Amount(done);
  }
  text += fmt::format("  {} {}  {}/s", replies, replies == 1 ? "reply" : "replies", Amount(rate));
  if (total > bytes && rate > 0)
    text += fmt::format("  {} left", Duration(static_cast<double>(total - bytes) / rate));
  // All of it is ASCII.
  return width != 0 && text.size() >= width ? text.substr(0, width - 1) : text;
}

Progress::Progress(bool on, bool at_once, uint64_t total)
    : on_(on), total_(total), start_(Clock::now()), next_(at_once ? start_ : start_ + kBeforeFirst) {}

void Progress::Add(uint64_t bytes, uint64_t replies) {
  if (!on_) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  bytes_ += bytes;
  replies_ += replies;
  if (Clock::now() >= next_) Draw();
}

void Progress::Draw() {
  const auto now = Clock::now();
  next_ = now + kBetween;
  drawn_ = true;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const std::string line =
      "\r" + ProgressText(bytes_, total_, replies_, seconds, TerminalWidth(STDERR_FILENO)) + "\x1b[K";
  if (write(STDERR_FILENO, line.data(), line.size()) < 0) drawn_ = false;
}

void Progress::Clear() {
  if (!on_) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!drawn_) return;
  drawn_ = false;
  static constexpr char kClear[] = "\r\x1b[K";
  // Nothing depends on it.
  const auto ignored = write(STDERR_FILENO, kClear, sizeof kClear - 1);
  static_cast<void>(ignored);
}

}  // namespace tesview
