#include <gtest/gtest.h>

#include "tesview/terminal/progress.h"

namespace tesview {
namespace {

TEST(ProgressLine, HasUnitsThatFit) {
  EXPECT_EQ(ProgressText(999, 0, 0, 1, 0), "999 B  0 replies  999 B/s");
  EXPECT_EQ(ProgressText(1500, 0, 1, 1, 0), "1.5 kB  1 reply  1.5 kB/s");
  EXPECT_EQ(ProgressText(2'500'000, 0, 2, 2, 0), "2.5 MB  2 replies  1.2 MB/s");
  EXPECT_EQ(ProgressText(5'000'000'000, 0, 2, 2, 0), "5.00 GB  2 replies  2.50 GB/s");
}

TEST(ProgressLine, BeginsEachUnitAtItsFirstWholeOne) {
  EXPECT_EQ(ProgressText(1000, 0, 0, 1, 0), "1.0 kB  0 replies  1.0 kB/s");
  EXPECT_EQ(ProgressText(1'000'000, 0, 0, 1, 0), "1.0 MB  0 replies  1.0 MB/s");
  EXPECT_EQ(ProgressText(1'000'000'000, 0, 0, 1, 0), "1.00 GB  0 replies  1.00 GB/s");
  // At 1 MB/s: 59 s, a minute, a second less than an hour, and an hour.
  const auto left = [](uint64_t seconds) {
    const std::string text = ProgressText(1'000'000, (seconds + 1) * 1'000'000, 0, 1, 0);
    return text.substr(text.rfind("/s  ") + 4);
  };
  EXPECT_EQ(left(59), "59 s left");
  EXPECT_EQ(left(60), "1 min 00 s left");
  EXPECT_EQ(left(3599), "59 min 59 s left");
  EXPECT_EQ(left(3600), "1.0 h left");
}

TEST(ProgressLine, OfAllThatThereIsHasNothingLeft) {
  EXPECT_EQ(ProgressText(2000, 2000, 1, 1, 0), "100%  2.0 kB of 2.0 kB  1 reply  2.0 kB/s");
}

TEST(ProgressLine, TellsThePartAndTheRest) {
  // 10 of 40 MB in 10 s: 30 MB more at 1 MB/s.
  EXPECT_EQ(ProgressText(10'000'000, 40'000'000, 3, 10, 0),
            " 25%  10.0 MB of 40.0 MB  3 replies  1.0 MB/s  30 s left");
  // 150 MB more at 0.5 MB/s.
  EXPECT_EQ(ProgressText(50'000'000, 200'000'000, 3, 100, 0),
            " 25%  50.0 MB of 200.0 MB  3 replies  500.0 kB/s  5 min 00 s left");
  // 125 s.
  EXPECT_EQ(ProgressText(1'000'000, 126'000'000, 3, 1, 0),
            "  1%  1.0 MB of 126.0 MB  3 replies  1.0 MB/s  2 min 05 s left");
  // 7,200 s.
  EXPECT_EQ(ProgressText(1'000'000, 7'201'000'000, 3, 1, 0),
            "  0%  1.0 MB of 7.20 GB  3 replies  1.0 MB/s  2.0 h left");
  // A file that grew.
  EXPECT_EQ(ProgressText(3000, 2000, 3, 1, 0), "100%  3.0 kB of 2.0 kB  3 replies  3.0 kB/s");
  EXPECT_EQ(ProgressText(0, 2000, 0, 0, 0), "  0%  0 B of 2.0 kB  0 replies  0 B/s");
}

TEST(ProgressLine, IsCutToTheTerminal) {
  // The last column stays free, or some terminals begin a new line.
  EXPECT_EQ(ProgressText(999, 0, 0, 1, 10), "999 B  0 ");
  EXPECT_EQ(ProgressText(999, 0, 0, 1, 25), "999 B  0 replies  999 B/");
  EXPECT_EQ(ProgressText(999, 0, 0, 1, 26), "999 B  0 replies  999 B/s");
}

// What comes of it on standard error.
template <class Call>
std::string Drawn(const Call& call) {
  testing::internal::CaptureStderr();
  call();
  return testing::internal::GetCapturedStderr();
}

TEST(Progress, IsDrawnAndTakenAway) {
  EXPECT_EQ(Drawn([] { Progress(true, true, 2000).Clear(); }), "");
  const std::string line = Drawn([] {
    Progress progress(true, true, 2000);
    progress.Add(500, 3);
    progress.Clear();
    progress.Clear();
  });
  EXPECT_EQ(line.find("\r 25%  500 B of 2.0 kB  3 replies  "), 0U) << line;
  ASSERT_GE(line.size(), 7U);
  EXPECT_EQ(line.substr(line.size() - 7), "\x1b[K\r\x1b[K") << line;
  EXPECT_EQ(line.find('\r', 1), line.size() - 4) << line;
  // At the end of its life as well.
  const std::string left = Drawn([] { Progress(true, true, 0).Add(500, 1); });
  EXPECT_EQ(left.substr(left.size() - 7), "\x1b[K\r\x1b[K") << left;
}

TEST(Progress, ThatIsOffDrawsNothing) {
  EXPECT_EQ(Drawn([] {
              Progress progress(false, true, 2000);
              progress.Add(500, 3);
              progress.Clear();
            }),
            "");
}

}  // namespace
}  // namespace tesview
