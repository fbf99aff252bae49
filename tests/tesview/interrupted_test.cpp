// An output that is interrupted in the middle of a line: each case in a process of its own, as a signal is
// noted for good.
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include "tesview/terminal/interrupt.h"
#include "tesview/terminal/output.h"

namespace tesview {
namespace {

// More than a pipe holds: 64 KB.
constexpr size_t kLine = 100000;

void Sleep(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::string ReadUntilEnd(int fd) {
  std::string all;
  std::string block(4096, '\0');
  for (ssize_t got = 0; (got = read(fd, block.data(), block.size())) != 0;) {
    if (got > 0) all.append(block, 0, static_cast<size_t>(got));
  }
  return all;
}

// Lines into a pipe, more than it holds, and an interrupt when it is full. Behind that `reader` has the other
// end. Ends the process with 0 if the output said that it was interrupted and `is_right` finds what was read
// as it should be.
[[noreturn]] void Interrupt(const std::string& lines, const std::function<std::string(int fd)>& reader,
                            const std::function<bool(const std::string&)>& is_right) {
  std::signal(SIGPIPE, SIG_IGN);
  CatchInterrupts();
  int ends[2];
  if (pipe(ends) != 0) std::exit(2);
  // Signals come to the thread that writes.
  sigset_t all;
  sigfillset(&all);
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &all, &before);
  std::string read;
  std::thread other([&] {
    Sleep(200);
    kill(getpid(), SIGINT);
    Sleep(100);
    read = reader(ends[0]);
  });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  bool was_interrupted = false;
  try {
    Output output(ends[1]);
    output.Write(lines);
  } catch (const Interrupted&) {
    was_interrupted = true;
  }
  close(ends[1]);
  other.join();
  std::exit(was_interrupted && is_right(read) ? 0 : 1);
}

std::string TwoLines() {
  return std::string(kLine, 'a') + "\n" + std::string(kLine, 'b') + "\n";
}

TEST(InterruptedOutput, EndsTheLineThatIsBegunIfSomebodyReads) {
  const auto is_first = [](const std::string& read) { return read == std::string(kLine, 'a') + "\n"; };
  EXPECT_EXIT(Interrupt(TwoLines(), ReadUntilEnd, is_first), testing::ExitedWithCode(0), "");
}

// Several of them are written at once, and the pipe is full in the midst of one.
TEST(InterruptedOutput, EndsNoMoreThanTheLineThatIsBegun) {
  const std::string line = std::string(10000, 'a') + "\n";
  std::string lines;
  for (int i = 0; i < 20; ++i)
    lines += line;
  const auto is_right = [&](const std::string& read) {
    return !read.empty() && read.size() < lines.size() && read.size() % line.size() == 0 &&
           read == lines.substr(0, read.size());
  };
  EXPECT_EXIT(Interrupt(lines, ReadUntilEnd, is_right), testing::ExitedWithCode(0), "");
}

TEST(InterruptedOutput, DoesNotWaitForAReaderThatReadsNothing) {
  const auto wait = [](int) {
    Sleep(700);
    return std::string();
  };
  EXPECT_EXIT(Interrupt(TwoLines(), wait, [](const std::string&) { return true; }),
              testing::ExitedWithCode(0), "");
}

TEST(InterruptedOutput, EndsWhereTheReaderGoes) {
  const auto leave = [](int fd) {
    close(fd);
    return std::string();
  };
  EXPECT_EXIT(Interrupt(TwoLines(), leave, [](const std::string&) { return true; }),
              testing::ExitedWithCode(0), "");
}

// Ends the process with 0 if each way to send something says so, and sends nothing.
[[noreturn]] void SendBehindAnInterrupt() {
  CatchInterrupts();
  raise(SIGINT);
  size_t sent = 0;
  int interrupted = 0;
  const auto into = [&sent](std::string_view bytes) { sent += bytes.size(); };
  const auto expect = [&interrupted](const std::function<void()>& call) {
    try {
      call();
    } catch (const Interrupted&) {
      ++interrupted;
    }
  };
  Output lines(into);
  lines.Write("a\n");
  expect([&] { lines.Flush(); });
  expect([&] { lines.WriteBytes("b"); });
  Output bytes(into);
  bytes.WriteBytes("a");
  expect([&] { bytes.Flush(); });
  expect([&] { bytes.Write("b\n"); });
  std::exit(sent == 0 && interrupted == 4 ? 0 : 1);
}

TEST(InterruptedOutput, SendsNothingMore) {
  EXPECT_EXIT(SendBehindAnInterrupt(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace tesview
