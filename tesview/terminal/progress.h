// A line on the terminal that tells how far the work is.
#ifndef TESVIEW_TERMINAL_PROGRESS_H_
#define TESVIEW_TERMINAL_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

namespace tesview {

// "  42% 1.2 MB of 2.9 MB  1234 replies  3.4 MB/s  1 s left", no wider than `width`. `total` 0 is unknown.
std::string ProgressText(uint64_t bytes, uint64_t total, uint64_t replies, double seconds, size_t width);

// Draws on standard error. Any thread may call.
class Progress {
 public:
  Progress(bool on, bool at_once, uint64_t total);
  ~Progress() { Clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Add(uint64_t bytes, uint64_t replies);
  // Takes the line away, before something else is written to the terminal.
  void Clear();

 private:
  void Draw();

  using Clock = std::chrono::steady_clock;
  const bool on_;
  const uint64_t total_;
  const Clock::time_point start_;
  Clock::time_point next_;
  uint64_t bytes_ = 0;
  uint64_t replies_ = 0;
  bool drawn_ = false;
  std::mutex mutex_;
};

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_PROGRESS_H_
