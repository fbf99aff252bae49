// A first interrupt ends the program, whatever it waits for or works at, and leaves nothing behind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/reliability/malloc.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

namespace fs = std::filesystem;
using viewer::Files;
using viewer::Framed;
using viewer::StreamOf;
using viewer::Strings;
using viewer::TwoKlines;
using Clock = std::chrono::steady_clock;

void Sleep(int millis) {
  std::this_thread::sleep_for(std::chrono::milliseconds(millis));
}

// A program that runs meanwhile.
class Running {
 public:
  // Nobody reads what comes to `out`, and nothing comes from `in`, which stays open.
  explicit Running(const Strings& arguments) {
    if (pipe2(in_, O_CLOEXEC) != 0 || pipe2(out_, O_CLOEXEC) != 0 || pipe2(err_, O_CLOEXEC) != 0) abort();
    child_ = fork();
    if (child_ != 0) return;
    dup2(in_[0], STDIN_FILENO);
    dup2(out_[1], STDOUT_FILENO);
    dup2(err_[1], STDERR_FILENO);
    const std::string program = viewer::Program();
    std::vector<char*> all{const_cast<char*>(program.c_str())};
    for (const std::string& each : arguments)
      all.push_back(const_cast<char*>(each.c_str()));
    all.push_back(nullptr);
    alarm(60);
    execv(all[0], all.data());
    _exit(127);
  }
  ~Running() {
    for (const int fd : {in_[0], in_[1], out_[0], out_[1], err_[0], err_[1]})
      close(fd);
  }

  void Feed(const std::string& bytes) {
    EXPECT_EQ(write(in_[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }

  void Signal(int signal) const { kill(child_, signal); }

  // One signal. The seconds until the end; the signal that ended it in `by`.
  double Interrupt(int signal, int* by) {
    const auto start = Clock::now();
    Signal(signal);
    int status = 0;
    while (waitpid(child_, &status, 0) < 0 && errno == EINTR) {
    }
    *by = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return std::chrono::duration<double>(Clock::now() - start).count();
  }

  std::string Complaints() {
    close(err_[1]);
    err_[1] = -1;
    char block[4096];
    const ssize_t got = read(err_[0], block, sizeof block);
    return got > 0 ? std::string(block, static_cast<size_t>(got)) : std::string();
  }

 private:
  int in_[2] = {-1, -1};
  int out_[2] = {-1, -1};
  int err_[2] = {-1, -1};
  pid_t child_ = 0;
};

// A second of patience in the program, and as much again for a slow machine.
constexpr double kSoon = 4;

TEST_F(Files, AnInterruptIsNotLostInAFullPipe) {
  const std::string path = Write("a.stream", StreamOf(TwoKlines(), 5000));
  for (const std::string jobs : {"1", "4"}) {
    for (const int signal : {SIGINT, SIGTERM}) {
      Running viewer({"--to", "json", "-j", jobs, path});
      Sleep(700);
      int by = 0;
      EXPECT_LT(viewer.Interrupt(signal, &by), kSoon) << jobs;
      EXPECT_EQ(by, signal);
      EXPECT_EQ(viewer.Complaints(), "");
    }
  }
}

TEST_F(Files, AnInterruptEndsALongReply) {
  // 9 million cells take many seconds.
  const std::string path = Write("a.bin", viewer::SquareTable(3000));
  for (const std::string jobs : {"1", "2"}) {
    Running viewer({"--to", "csv", "-j", jobs, path});
    Sleep(500);
    int by = 0;
    EXPECT_LT(viewer.Interrupt(SIGINT, &by), kSoon) << jobs;
    EXPECT_EQ(by, SIGINT);
  }
}

TEST_F(Files, AnInterruptEndsTheWaitForAWriter) {
  const std::string path = directory_ + "/fifo";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  for (const std::string jobs : {"1", "2"}) {
    Running viewer({"--json", "-j", jobs, path});
    Sleep(500);
    int by = 0;
    EXPECT_LT(viewer.Interrupt(SIGINT, &by), kSoon);
    EXPECT_EQ(by, SIGINT);
    EXPECT_EQ(viewer.Complaints(), "");
  }
}

// A viewer that has begun to write into a directory, which was empty, and waits for more.
std::unique_ptr<Running> WritingInto(const std::string& directory, const Strings& output) {
  Strings arguments{"--from", "delimited", "-"};
  arguments.insert(arguments.end(), output.begin(), output.end());
  auto viewer = std::make_unique<Running>(arguments);
  viewer->Feed(StreamOf(TwoKlines(), 100));
  for (int i = 0; i < 300 && fs::is_empty(directory); ++i)
    Sleep(100);
  EXPECT_FALSE(fs::is_empty(directory)) << output.back();
  Sleep(200);
  return viewer;
}

TEST_F(Files, AnInterruptedOutputLeavesNothing) {
  // Under nohup the tests ignore it, and so would the viewer.
  const auto hangup = signal(SIGHUP, SIG_DFL);
  const std::vector<Strings> outputs{{"-o", directory_ + "/a.ndjson"},
                                     {"-o", directory_ + "/a.csv.gz"},
                                     {"--split-by", "obj", "-o", directory_ + "/new/{obj}/{obj}.csv"}};
  for (const Strings& output : outputs) {
    for (const int signal : {SIGINT, SIGHUP}) {
      const auto viewer = WritingInto(directory_, output);
      int by = 0;
      EXPECT_LT(viewer->Interrupt(signal, &by), kSoon);
      EXPECT_EQ(by, signal);
      EXPECT_TRUE(fs::is_empty(directory_)) << fs::directory_iterator(directory_)->path();
    }
  }
  signal(SIGHUP, hangup);
}

// The program ends at once then, and does no more of what it does at its end.
TEST_F(Files, ASecondSignalLeavesNothingEither) {
  const std::vector<Strings> outputs{{"-o", directory_ + "/a.ndjson"},
                                     {"-o", directory_ + "/a.csv.gz"},
                                     {"--split-by", "obj", "-o", directory_ + "/{obj}.csv"}};
  for (const Strings& output : outputs) {
    const auto viewer = WritingInto(directory_, output);
    // Both come to it when it goes on.
    viewer->Signal(SIGSTOP);
    viewer->Signal(SIGTERM);
    viewer->Signal(SIGINT);
    int by = 0;
    EXPECT_LT(viewer->Interrupt(SIGCONT, &by), kSoon);
    EXPECT_TRUE(by == SIGTERM || by == SIGINT) << by;
    EXPECT_TRUE(fs::is_empty(directory_)) << fs::directory_iterator(directory_)->path();
  }
}

// Long before the program's patience is at its end.
TEST_F(Files, ThreadsThatWaitForAReaderAreWoken) {
  const std::string path = Write("a.stream", StreamOf(TwoKlines(), 5000));
  double least = kSoon;
  // On a busy machine once of several times.
  for (int i = 0; i < 5 && least > 0.9; ++i) {
    Running viewer({"--to", "json", "-j", "4", path});
    Sleep(500);
    int by = 0;
    least = std::min(least, viewer.Interrupt(SIGINT, &by));
    EXPECT_EQ(by, SIGINT);
  }
  EXPECT_LT(least, 0.9);
}

// As under nohup.
TEST(Hangup, IsNoneForWhoeverIgnoredItBefore) {
  int ready[2];
  ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
  program::How how;
  how.feed = [&](int fd) {
    const std::string reply = Framed(viewer::Reply("Id: 22"));
    char one = 0;
    if (write(fd, reply.data(), reply.size()) < 0 || read(ready[0], &one, 1) != 1) return;
    program::WriteTimes(fd, reply, 1);
  };
  how.after = 1;
  how.then = [&](int process) {
    kill(process, SIGHUP);
    if (write(ready[1], "x", 1) != 1) abort();
  };
  const auto result =
      program::Run({"sh", "-c", "trap '' HUP; exec \"$0\" --json --from delimited", viewer::Program()}, how);
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.out, "{\"Id\": 22}\n{\"Id\": 22}\n");
  close(ready[0]);
  close(ready[1]);
}

// The descriptors that the first JSON takes are made before there are threads.
TEST_F(Files, NoMemoryForThreadsIsNoCrash) {
  if (viewer::kSanitized) GTEST_SKIP() << "a sanitizer takes addresses by the terabyte";
  const std::string path = Write("a.stream", StreamOf(TwoKlines(), 200));
  for (int limit = 80000; limit <= 140000; limit += reliability::kBrief ? 5000 : 1500) {
    const auto result = viewer::Shell("ulimit -v " + std::to_string(limit) + "; \"$0\" -j 8 --to ndjson '" +
                                      path + "' >/dev/null 2>&1; echo $?");
    // 127 where not even the libraries found room.
    EXPECT_LT(std::stoi(result.out), 128) << limit;
  }
}

}  // namespace
