// Many replies at once, and streams: order, bounded memory, whole lines at an interrupt, no waiting.
#include "tesview/commands/in_parallel.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::How;
using program::Result;
using viewer::Files;
using viewer::Framed;
using viewer::kSanitized;
using viewer::LinesOf;
using viewer::Reply;
using viewer::Shell;
using viewer::StreamOf;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;

TEST_F(Files, ManyJobsGiveTheOutputOfOne) {
  std::string stream;
  for (int i = 0; i < 1000; ++i)
    stream += Framed(i % 7 == 3 ? std::string("\x08") : Reply("Id: 22 ObjCount: " + std::to_string(i)));
  const std::string path = Write("a.stream", stream);
  const std::string other = Write("b.bin", TwoKlines());
  for (const char* to : {"json", "ndjson", "table"}) {
    const Result one = View({"--to", to, path, other, directory_ + "/none"});
    const Result four = View({"--to", to, "--jobs", "4", path, other, directory_ + "/none"});
    EXPECT_EQ(one.out, four.out);
    EXPECT_EQ(one.err, four.err);
    EXPECT_EQ(one.code, 3);
    EXPECT_EQ(four.code, 3);
  }
}

TEST_F(Files, ManyJobsShowEveryFormAsOneDoes) {
  const std::string path = Write("a.stream", StreamOf(TwoKlines(), 300));
  for (const char* to : {"csv", "tsv", "bin", "text", "pretty"}) {
    const Result one = View({"--to", to, path});
    EXPECT_EQ(one.code, 0) << to;
    EXPECT_EQ(View({"--to", to, "--jobs", "3", path}).out, one.out) << to;
  }
}

// Files of more than 16 MB are read while replies are shown, without being asked to.
TEST_F(Files, ALargeFileComesOutInItsOrder) {
  std::string stream;
  for (int i = 0; stream.size() < 17'000'000; ++i)
    stream +=
        Framed(Reply("Id: 22 ObjCount: " + std::to_string(i) + " Obj: '" + std::string(1000, 'x') + "'"));
  const Result result = View({"--to", "bin", Write("a.stream", stream)});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_TRUE(result.out == stream);
}

TEST_F(Files, AnInterruptLeavesWholeLines) {
  const int count = 30000;
  const std::string path = Write("a.stream", StreamOf(TwoKlines(), count));
  for (const std::string jobs : {"1", "2"}) {
    How how;
    how.after = 100000;
    how.then = [](int process) {
      kill(process, SIGINT);
      // The program is blocked in a write until more is read; it has to see the signal first.
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    };
    const Result result = View({"--to", "json", "--jobs", jobs, path}, how);
    EXPECT_EQ(result.signal, SIGINT);
    ASSERT_FALSE(result.out.empty());
    EXPECT_EQ(result.out.back(), '\n');
    const std::string whole = LinesOf(ViewBytes(TwoKlines(), {"--to", "json"}).out)[0];
    const Strings lines = LinesOf(result.out);
    EXPECT_LT(lines.size(), static_cast<size_t>(count));
    EXPECT_TRUE(
        std::all_of(lines.begin(), lines.end(), [&](const std::string& line) { return line == whole; }));
  }
}

TEST(Stream, AnyLengthTakesBoundedMemory) {
  if (kSanitized) GTEST_SKIP() << "sanitizers keep freed memory";
  // Replies of 16 kB: 8 MB of them, which is more than ever waits, and 48 MB.
  const std::string block = StreamOf(viewer::LargeReply(16000), 100);
  const auto view = [&block](int count, const std::string& jobs) {
    How how;
    how.feed = [&](int fd) { program::WriteTimes(fd, block, count); };
    return View({"--to", "ndjson", "--columns", "Short", "--jobs", jobs, "--from", "delimited"}, how);
  };
  for (const std::string jobs : {"1", "2"}) {
    const Result few = view(5, jobs);
    const Result many = view(30, jobs);
    EXPECT_EQ(LinesOf(few.out).size(), 500u);
    EXPECT_EQ(LinesOf(many.out).size(), 3000u);
    EXPECT_LT(many.most_memory, few.most_memory + 16 * 1024) << jobs;
  }
}

TEST(Stream, RepliesComeOutAsSoonAsTheyAreIn) {
  const std::vector<std::tuple<std::string, std::string, std::string>> cases{
      {"delimited", Framed(Reply("Id: 22")), "1"},
      {"delimited", Framed(Reply("Id: 22")), "2"},
      {"auto", Framed(Reply("Id: 22")), "1"},
      {"auto", Framed(Reply("Id: 22")), "2"},
      {"auto", "10:00 something else\n10:01 got 081608160816\n", "1"},
      {"lines", "10:00 something else\n10:01 got 081608160816\n", "1"},
      {"lines", "10:00 something else\n10:01 got 081608160816\n", "2"}};
  for (const auto& [from, reply_in_form, jobs] : cases) {
    const std::string& reply = reply_in_form;
    // The second reply is sent only when the first one has come out.
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    How how;
    how.feed = [&](int fd) {
      char one = 0;
      if (write(fd, reply.data(), reply.size()) < 0 || read(ready[0], &one, 1) != 1) return;
      if (write(fd, reply.data(), reply.size()) < 0) return;
    };
    how.after = 1;
    how.then = [&](int) {
      if (write(ready[1], "x", 1) != 1) std::abort();
    };
    // Without the first reply's output this would wait for ever.
    const Result result = View({"--json", "--from", from, "--jobs", jobs}, how);
    EXPECT_EQ(result.out, "{\"Id\": 22}\n{\"Id\": 22}\n");
    close(ready[0]);
    close(ready[1]);
  }
}

// Renders nothing until as many replies are with it at once as are wanted, or for some seconds.
class Meeting : public tesview::Renderer {
 public:
  explicit Meeting(int wanted) : wanted_(wanted) {}
  tesview::Portion portion() const override { return {1, 1}; }
  void Render(const std::vector<tesview::ReadItem>& read, const Show& show) const override {
    {
      std::unique_lock<std::mutex> lock(mutex_);
      most_ = std::max(most_, ++here_);
      changed_.notify_all();
      if (!changed_.wait_for(lock, std::chrono::seconds(5), [this] { return most_ >= wanted_ || given_up_; }))
        given_up_ = true;
      --here_;
    }
    for (const tesview::ReadItem& each : read)
      show(each, tesview::Shown());
  }
  int most() const { return most_; }

 private:
  const int wanted_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  mutable int here_ = 0;
  mutable int most_ = 0;
  mutable bool given_up_ = false;
};

TEST_F(Files, AsManyRepliesAreShownAtOnceAsThereAreThreads) {
  const std::string path = Write("a.stream", StreamOf(Reply("Id: 22"), 20));
  for (const int threads : {1, 2, 5}) {
    Meeting renderer(threads);
    tesview::ReplyFiles files({path}, replies::Form::kDelimited);
    tesview::ShowRequest request;
    tesview::Output none([](std::string_view) {});
    tesview::Progress progress(false, false, 0);
    tesview::ExitCode code = tesview::kAllShown;
    tesview::Printer printer(request, &none, &progress, &code);
    tesview::ShowInParallel(&renderer, threads, &files, &printer);
    EXPECT_EQ(renderer.most(), threads);
  }
}

TEST(Jobs, ThatCannotBeStartedAreSaidAndTheWorkIsDone) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer takes addresses by the terabyte";
  // Each thread takes 8 MB of addresses for its stack; 256 of them do not fit.
  const Result result =
      Shell("ulimit -s 8192; ulimit -v 600000; \"$0\" --jobs 256 --from delimited --to json; echo $?",
            StreamOf(Reply("Id: 22"), 1000));
  const Strings lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 1001U);
  EXPECT_EQ(lines[0], "{\"Id\": 22}");
  EXPECT_EQ(lines[1000], "0");
  EXPECT_NE(result.err.find(" of the 256 threads that --jobs asks for are used: there is no room for more\n"),
            std::string::npos)
      << result.err;
}

}  // namespace
