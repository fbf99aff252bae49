#include "tests/support/program.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

namespace program {
namespace {

[[noreturn]] void Fail(const char* what) {
  std::perror(what);
  std::abort();
}

// Two ends; what is written to `write` is read from `read`.
struct Ends {
  int read = -1;
  int write = -1;
};

// No end is left open in a program that somebody else starts at the same time.
Ends Pipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) Fail("pipe");
  return {ends[0], ends[1]};
}

Ends Terminal(unsigned short columns) {
  int outer = -1;
  int inner = -1;
  struct winsize size {};
  size.ws_col = columns;
  size.ws_row = 50;
  if (openpty(&outer, &inner, nullptr, nullptr, &size) != 0) Fail("openpty");
  fcntl(outer, F_SETFD, FD_CLOEXEC);
  fcntl(inner, F_SETFD, FD_CLOEXEC);
  return {outer, inner};
}

void Feed(int fd, const How& how) {
  if (how.feed) {
    how.feed(fd);
  } else {
    WriteTimes(fd, how.input, 1);
  }
  close(fd);
}

void Drain(int fd, std::string* to, const std::function<void()>& each) {
  char block[65536];
  while (true) {
    const ssize_t n = read(fd, block, sizeof block);
    if (n < 0 && errno == EINTR) continue;
    // A terminal whose other end is closed answers with an error.
    if (n <= 0) break;
    to->append(block, static_cast<size_t>(n));
    if (each) each();
  }
  close(fd);
}

[[noreturn]] void Become(const std::vector<std::string>& command, const How& how, int in, int out, int err) {
  dup2(in, STDIN_FILENO);
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  for (const std::string& each : how.environment) {
    const size_t equals = each.find('=');
    if (equals == std::string::npos) {
      unsetenv(each.c_str());
    } else {
      setenv(each.substr(0, equals).c_str(), each.substr(equals + 1).c_str(), 1);
    }
  }
  if (!how.directory.empty() && chdir(how.directory.c_str()) != 0) _exit(126);
  std::vector<char*> arguments;
  for (const std::string& each : command)
    arguments.push_back(const_cast<char*>(each.c_str()));
  arguments.push_back(nullptr);
  std::signal(SIGPIPE, SIG_DFL);
  // A program that hangs fails its test instead of holding up all of them.
  alarm(120);
  execvp(arguments[0], arguments.data());
  _exit(127);
}

}  // namespace

std::string WhyNoTerminal() {
  int outer = -1;
  int inner = -1;
  if (openpty(&outer, &inner, nullptr, nullptr, nullptr) != 0)
    return std::string("there is no pseudo-terminal: ") + std::strerror(errno);
  close(outer);
  close(inner);
  return std::string();
}

Result Run(const std::vector<std::string>& command, const How& how) {
  std::signal(SIGPIPE, SIG_IGN);
  const Ends in = Pipe();
  const Ends out = how.terminal_out ? Terminal(how.columns) : Pipe();
  const Ends err = how.terminal_err ? Terminal(how.columns) : Pipe();
  const pid_t child = fork();
  if (child < 0) Fail("fork");
  if (child == 0) Become(command, how, in.read, out.write, err.write);
  close(in.read);
  close(out.write);
  close(err.write);
  Result result;
  std::thread feeder([&] { Feed(in.write, how); });
  std::thread errors([&] { Drain(err.read, &result.err, nullptr); });
  bool called = false;
  Drain(out.read, &result.out, [&] {
    if (called || !how.then || result.out.size() < how.after) return;
    called = true;
    how.then(child);
  });
  int status = 0;
  struct rusage usage {};
  while (wait4(child, &status, 0, &usage) < 0 && errno == EINTR) {
  }
  feeder.join();
  errors.join();
  if (WIFEXITED(status)) result.code = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  result.most_memory = usage.ru_maxrss;
  result.seconds =
      static_cast<double>(usage.ru_utime.tv_sec) + static_cast<double>(usage.ru_utime.tv_usec) / 1e6;
  return result;
}

void WriteTimes(int fd, const std::string& block, int count) {
  for (int i = 0; i < count; ++i) {
    for (size_t sent = 0; sent < block.size();) {
      const ssize_t n = write(fd, block.data() + sent, block.size() - sent);
      if (n <= 0) return;
      sent += static_cast<size_t>(n);
    }
  }
}

Result Shell(const std::string& line, const std::string& path, const std::string& directory) {
  How how;
  how.directory = directory;
  how.environment = {"PATH=" + path + ":" + std::getenv("PATH")};
  return Run({"sh", "-c", line}, how);
}

}  // namespace program
