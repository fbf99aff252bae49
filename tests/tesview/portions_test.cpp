// What is rendered together, and on which thread.
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/viewer.h"
#include "tesview/commands/in_parallel.h"

namespace tesview {
namespace {

// Shows nothing, or that a reply cannot be shown.
class Recorder : public Renderer {
 public:
  explicit Recorder(Portion portion, bool hasty = false, std::string error = "")
      : portion_(portion), hasty_(hasty), error_(std::move(error)) {}

  void Prepare() const override { ++prepared; }
  Portion portion() const override { return portion_; }
  bool IsHasty() const override { return hasty_; }
  void Look(const ReadItem& /*read*/) override { ++looked; }
  void Render(const std::vector<ReadItem>& read, const Show& show) const override {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (!read.empty()) sizes.push_back(read.size());
      threads.insert(std::this_thread::get_id());
    }
    for (const ReadItem& each : read) {
      Shown shown;
      shown.error = error_;
      show(each, shown);
    }
  }

  mutable int prepared = 0;
  int looked = 0;
  mutable std::vector<size_t> sizes;
  mutable std::set<std::thread::id> threads;

 private:
  Portion portion_;
  bool hasty_;
  std::string error_;
  mutable std::mutex mutex_;
};

using Sizes = std::vector<size_t>;

class Portions : public viewer::Files {
 protected:
  void ShowWith(Recorder* recorder, int threads, const std::string& stream, bool strict = false) {
    ReplyFiles files({Write("a.stream", stream)}, replies::Form::kDelimited);
    ShowRequest request;
    request.view.to = To::kJson;
    request.strict = strict;
    Output output([](std::string_view) {});
    Progress progress(false, false, 0);
    ExitCode code = kAllShown;
    Printer printer(request, &output, &progress, &code);
    ShowInParallel(recorder, threads, &files, &printer);
  }

  // Of replies of two bytes.
  Sizes SizesOf(int replies, int threads, Portion portion, bool hasty = false) {
    std::string stream;
    for (int i = 0; i < replies; ++i)
      stream += "\x02\x08\x16";
    Recorder recorder(portion, hasty);
    ShowWith(&recorder, threads, stream);
    EXPECT_EQ(recorder.looked, replies);
    EXPECT_EQ(recorder.prepared, threads > 1 ? 1 : 0);
    std::sort(recorder.sizes.begin(), recorder.sizes.end());
    return recorder.sizes;
  }
};

TEST_F(Portions, AreFullWithTheirRepliesOrTheirBytes) {
  for (const int threads : {0, 1, 2}) {
    EXPECT_EQ(SizesOf(7, threads, {3, 1000}), (Sizes{1, 3, 3})) << threads;
    EXPECT_EQ(SizesOf(6, threads, {3, 1000}), (Sizes{3, 3})) << threads;
    EXPECT_EQ(SizesOf(7, threads, {100, 6}), (Sizes{1, 3, 3})) << threads;
    EXPECT_EQ(SizesOf(7, threads, {100, 7}), (Sizes{3, 4})) << threads;
    EXPECT_EQ(SizesOf(7, threads, {100, 1000}), Sizes{7}) << threads;
  }
}

TEST_F(Portions, OfWhoeverIsHastyAreSingleRepliesOnOneThread) {
  EXPECT_EQ(SizesOf(4, 1, {3, 1000}, true), (Sizes{1, 1, 1, 1}));
  EXPECT_EQ(SizesOf(7, 2, {3, 1000}, true), (Sizes{1, 3, 3}));
}

TEST_F(Portions, AreRenderedByOthersWhereThereIsEnoughOfThem) {
  // One reply with a length of four bytes, of 16 MB together, and of a byte less.
  const auto is_other = [this](size_t bytes, int threads) {
    const size_t text = bytes - 4 - 7;
    std::string stream = "----\x08\x16\x12----";
    const auto put = [&stream](size_t at, size_t value) {
      for (size_t i = 0; i < 4; ++i)
        stream[at + i] = static_cast<char>((value >> 7 * i & 0x7F) | (i < 3 ? 0x80 : 0));
    };
    put(0, bytes - 4);
    put(7, text);
    Recorder recorder({64, 1000});
    ShowWith(&recorder, threads, stream + std::string(text, 'x'));
    EXPECT_EQ(recorder.looked, 1);
    EXPECT_EQ(recorder.threads.size(), 1U);
    return recorder.threads.count(std::this_thread::get_id()) == 0;
  };
  constexpr size_t kEnough = size_t{16} * 1024 * 1024;
  EXPECT_FALSE(is_other(kEnough - 1, 1));
  EXPECT_TRUE(is_other(kEnough, 1));
  EXPECT_FALSE(is_other(kEnough, 0));
  EXPECT_TRUE(is_other(kEnough - 1, 2));
}

TEST_F(Portions, BehindAFailureAreNotRead) {
  std::string stream;
  for (int i = 0; i < 10000; ++i)
    stream += "\x02\x08\x16";
  for (const int threads : {1, 2}) {
    Recorder recorder({1, 1000}, false, "it cannot be shown");
    testing::internal::CaptureStderr();
    EXPECT_THROW(ShowWith(&recorder, threads, stream, true), StopAtFirst) << threads;
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tesview: " + directory_ + "/a.stream: reply 1 at offset 0: it cannot be shown\n");
    // Four portions may wait for each thread.
    EXPECT_LT(recorder.looked, 100) << threads;
  }
}

}  // namespace
}  // namespace tesview
