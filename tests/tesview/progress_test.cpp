// The progress line.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"
#include "tesview/commands/part_scan.h"
#include "tesview/commands/reply_files.h"

namespace {

using program::How;
using program::Result;
using viewer::Files;
using viewer::Framed;
using viewer::LinesOf;
using viewer::Reply;
using viewer::StreamOf;
using viewer::View;

// Eight of them in about a second.
void FeedSlowlyWith(const std::string& reply, int fd) {
  const std::string framed = Framed(reply);
  for (int i = 0; i < 8; ++i) {
    if (write(fd, framed.data(), framed.size()) < 0) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
  }
}

void FeedSlowly(int fd) {
  FeedSlowlyWith(Reply("Id: 22"), fd);
}

TEST(Terminal, ProgressIsOnStandardErrorWhenTheWorkIsLong) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  How how;
  how.terminal_err = true;
  how.feed = FeedSlowly;
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

// What is said stands in lines of its own: the line of the progress is taken away before.
TEST(Terminal, ComplaintsAreNotBehindProgress) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  How how;
  how.terminal_err = true;
  // An Id that nobody knows has no table, and no table has such a column.
  const std::string unknown = "\x08\x8F\x4E";
  const std::vector<std::pair<std::string, viewer::Strings>> all = {
      {viewer::TwoKlines(), {"--to", "csv", "--where", "Nothing=1"}},
      {unknown, {"--to", "csv"}},
      {unknown, {"--to", "arrow"}}};
  for (const auto& [reply, form] : all) {
    how.feed = [&sent = reply](int fd) { FeedSlowlyWith(sent, fd); };
    viewer::Strings arguments = form;
    arguments.insert(arguments.end(), {"--from", "delimited", "--progress", "always"});
    const std::string err = View(arguments, how).err;
    EXPECT_NE(err.find(" replies  "), std::string::npos) << err;
    int complaints = 0;
    for (size_t at = err.find("tesview: "); at != std::string::npos; at = err.find("tesview: ", at + 1)) {
      ++complaints;
      const std::string before = err.substr(0, at);
      EXPECT_TRUE(before.empty() || before.back() == '\n' ||
                  (before.size() >= 4 && before.substr(before.size() - 4) == "\r\x1b[K"))
          << err;
    }
    EXPECT_GE(complaints, 1) << err;
  }
}

// Where the output goes to the same terminal there is none.
TEST_F(Files, ProgressIsShownBesideAFileAndNotBesideLinesInTheTerminal) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  How how;
  how.terminal_out = true;
  how.terminal_err = true;
  how.feed = FeedSlowly;
  const Result lines = View({"--json", "--from", "delimited"}, how);
  EXPECT_EQ(LinesOf(lines.out).size(), 8U);
  EXPECT_EQ(lines.err, "");
  const Result file = View({"--from", "delimited", "-o", directory_ + "/a.json"}, how);
  EXPECT_EQ(file.out, "");
  EXPECT_NE(file.err.find(" replies  "), std::string::npos) << file.err;
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

TEST_F(Files, ProgressTellsAsManyRepliesAsThereAreInTheBytes) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  // 10,000 replies of 2 bytes and one of length each, so that a fast machine is at it for some tenths of a
  // second, too.
  const std::string path = Write("a.stream", StreamOf(Reply("Id: 22"), 10'000));
  How how;
  how.terminal_err = true;
  how.columns = 100;
  const std::string drawn = View({"--json", "--progress", "always", path}, how).err;
  const std::regex line("([0-9.]+) (k?)B of 30\\.0 kB  ([0-9]+) repl");
  int lines = 0;
  for (std::sregex_iterator at(drawn.begin(), drawn.end(), line), end; at != end; ++at, ++lines) {
    const double bytes = std::stod((*at)[1]) * ((*at)[2].length() == 0 ? 1 : 1000);
    // Of kilobytes one place is shown.
    EXPECT_NEAR(3 * std::stod((*at)[3]), bytes, 50.1) << drawn;
  }
  EXPECT_GE(lines, 2) << drawn;
}

class NoTally : public tesview::Tally {
 public:
  void See(const replies::ReplyView& /*reply*/) override {}
};

TEST_F(Files, ProgressIsThatOfAllRepliesWhereThreadsLookAtParts) {
  // 20,000 replies of 2,006 bytes, which are 2,008 with their lengths: of more than two parts of 16 MB.
  const std::string reply = "\x08\x17\xBA\x01" + viewer::Varint(2000) + std::string(2000, 'x');
  const std::string path = Write("a.stream", StreamOf(reply, 20'000));
  for (const int threads : {0, 1, 3}) {
    tesview::ReplyFiles files({path}, replies::Form::kDelimited);
    files.OnlyIf([](const replies::ReplyView&) { return false; });
    if (threads != 0) {
      files.CountAhead(
          threads, [] { return std::make_unique<NoTally>(); }, [](const tesview::Tally&) {});
    }
    uint64_t all_bytes = 0;
    uint64_t all_replies = 0;
    files.OnProgress([&](uint64_t bytes, uint64_t replies) {
      all_bytes += bytes;
      all_replies += replies;
      // The last one may be told of before or behind it.
      EXPECT_LE(all_bytes, 2008 * (all_replies + 1));
      EXPECT_LE(2008 * all_replies, all_bytes + 2008);
    });
    tesview::ReadItem read;
    EXPECT_FALSE(files.Next(&read));
    EXPECT_EQ(all_bytes, 40'160'000U) << threads;
    EXPECT_EQ(all_replies, 20'000U) << threads;
  }
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
