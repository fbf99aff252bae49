// The progress line.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::How;
using program::Result;
using viewer::Files;
using viewer::Framed;
using viewer::LinesOf;
using viewer::Reply;
using viewer::StreamOf;
using viewer::View;

TEST(Terminal, ProgressIsOnStandardErrorWhenTheWorkIsLong) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  How how;
  how.terminal_err = true;
  how.feed = [](int fd) {
    const std::string reply = Framed(Reply("Id: 22"));
    for (int i = 0; i < 8; ++i) {
      if (write(fd, reply.data(), reply.size()) < 0) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(120));
    }
  };
  const Result slow = View({"--json", "--from", "delimited"}, how);
  EXPECT_EQ(LinesOf(slow.out).size(), 8u);
  EXPECT_NE(slow.err.find(" replies  "), std::string::npos) << slow.err;
  // The line is taken away at the end.
  EXPECT_EQ(slow.err.substr(slow.err.size() - 4), "\r\x1b[K");
  How fast;
  fast.terminal_err = true;
  fast.input = Reply("Id: 22");
  EXPECT_EQ(View({"--json"}, fast).err, "");
}

TEST_F(Files, ProgressOfAFileSaysPartAndTimeLeft) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  // 1,000 replies of 2 bytes and one of length each.
  const std::string path = Write("a.stream", StreamOf(Reply("Id: 22"), 1000));
  How how;
  how.terminal_err = true;
  how.columns = 100;
  const Result result = View({"--json", "--progress", "always", path}, how);
  EXPECT_NE(result.err.find("% "), std::string::npos) << result.err;
  EXPECT_NE(result.err.find(" of 3.0 kB"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find(" left"), std::string::npos) << result.err;
}

// However long it takes.
TEST(Terminal, ProgressIsNotShownUnaskedOrToNobody) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  How how;
  how.feed = [](int fd) {
    const std::string reply = Framed(Reply("Id: 22"));
    for (int i = 0; i < 3; ++i) {
      if (write(fd, reply.data(), reply.size()) < 0) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
  };
  EXPECT_EQ(View({"--json", "--from", "delimited"}, how).err, "");
  how.terminal_err = true;
  EXPECT_EQ(View({"--json", "--from", "delimited", "--progress", "never"}, how).err, "");
}

}  // namespace
