// What several threads see of one stream.
#include "tesview/commands/part_scan.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/viewer.h"

namespace tesview {
namespace {

using Offsets = std::vector<uint64_t>;
constexpr uint64_t kNoEnd = std::numeric_limits<uint64_t>::max();

class Places : public Tally {
 public:
  void See(const replies::ReplyView& reply) override { offsets.push_back(reply.offset); }
  Offsets offsets;
};

// Id 22 and an Obj of 11 letters: 15 bytes, and 16 with the length.
std::string Stream(int count) {
  std::string stream;
  for (int i = 0; i < count; ++i)
    stream += "\x0F\x08\x16\x12\x0BSH600000123";
  return stream;
}

class Scans : public viewer::Files {
 protected:
  void Scan(const std::string& stream, uint64_t part_bytes, int threads) {
    scan_.reset();
    begun_ = 0;
    file_ = std::make_unique<replies::FileSource>(Write("a.stream", stream));
    scan_ = std::make_unique<PartScan>(file_.get(), replies::Form::kDelimited, part_bytes, threads, [this] {
      ++begun_;
      return std::make_unique<Places>();
    });
  }
  void TearDown() override {
    scan_.reset();
    viewer::Files::TearDown();
  }

  // What was seen from there on: where it ends, and the replies. No end where nothing was.
  std::pair<uint64_t, Offsets> Take(uint64_t position) {
    const auto seen = scan_->Take(position);
    if (!seen) return {kNoEnd, {}};
    EXPECT_EQ(seen->replies, static_cast<const Places&>(*seen->tally).offsets.size());
    return {seen->end, static_cast<const Places&>(*seen->tally).offsets};
  }
  static std::pair<uint64_t, Offsets> Nothing() { return {kNoEnd, {}}; }

  void WaitUntilBegun(int parts) {
    for (int i = 0; i < 10000 && begun_ < parts; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  std::unique_ptr<replies::FileSource> file_;
  std::unique_ptr<PartScan> scan_;
  std::atomic<int> begun_{0};
};

TEST_F(Scans, SeeTheRepliesThatBeginInEachPart) {
  for (const int threads : {1, 3}) {
    // Four parts of 40 bytes, of which the first and the third end within a reply.
    Scan(Stream(10), 40, threads);
    EXPECT_EQ(Take(0), (std::pair<uint64_t, Offsets>{48, {0, 16, 32}}));
    EXPECT_EQ(Take(48), (std::pair<uint64_t, Offsets>{80, {48, 64}}));
    EXPECT_EQ(Take(80), (std::pair<uint64_t, Offsets>{128, {80, 96, 112}}));
    EXPECT_EQ(Take(128), (std::pair<uint64_t, Offsets>{160, {128, 144}}));
    // There are no more parts.
    EXPECT_EQ(Take(160), Nothing());
  }
}

TEST_F(Scans, TakeAsManyThreadsAsThereArePartsForThem) {
  const auto threads = [this](size_t bytes, int wanted) {
    Scan(Stream(10).substr(0, bytes), 64, wanted);
    return scan_->threads();
  };
  EXPECT_EQ(threads(160, 2), 2U);
  EXPECT_EQ(threads(160, 3), 3U);
  EXPECT_EQ(threads(160, 50), 3U);
  EXPECT_EQ(threads(128, 50), 2U);
  EXPECT_EQ(threads(129, 50), 3U);
  // Nothing is seen without any.
  EXPECT_EQ(threads(160, 0), 0U);
  EXPECT_EQ(Take(0), Nothing());
}

TEST_F(Scans, TellWhereAPartEnds) {
  Scan(Stream(10), 64, 1);
  EXPECT_EQ(scan_->EndOfPart(0), 64U);
  EXPECT_EQ(scan_->EndOfPart(63), 64U);
  EXPECT_EQ(scan_->EndOfPart(64), 128U);
  EXPECT_EQ(scan_->EndOfPart(127), 128U);
  // The last one has no end.
  EXPECT_EQ(scan_->EndOfPart(128), kNoEnd);
  EXPECT_EQ(scan_->EndOfPart(1000), kNoEnd);
}

TEST_F(Scans, CountOnlyWhereTheReadingComesToTheirFirstReply) {
  Scan(Stream(10), 64, 2);
  // Somebody else read the reply at 0, and the one at 16.
  EXPECT_EQ(Take(32), Nothing());
  EXPECT_EQ(Take(64).first, 128U);
  // A part is taken once.
  EXPECT_EQ(Take(64), Nothing());
  EXPECT_EQ(Take(128).first, 160U);
}

TEST_F(Scans, OfADamagedPartSeeNothing) {
  std::string stream = Stream(12);
  // The length of the reply at 80 is one of 255 bytes and more.
  stream[80] = '\xFF';
  Scan(stream, 64, 2);
  EXPECT_EQ(Take(0).first, 64U);
  EXPECT_EQ(Take(64), Nothing());
  EXPECT_EQ(Take(128).first, 192U);
}

TEST_F(Scans, LookAheadOverSixtyFourParts) {
  // 400 parts of four replies each.
  Scan(Stream(1600), 64, 2);
  WaitUntilBegun(64);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(begun_, 64);
  EXPECT_EQ(Take(0).first, 64U);
  WaitUntilBegun(65);
  EXPECT_EQ(begun_, 65);
  for (uint64_t at = 64; at < 400 * 64; at += 64)
    ASSERT_EQ(Take(at).first, at + 64);
  EXPECT_EQ(begun_, 400);
}

TEST_F(Scans, GoOnBehindAReplyThatReachesOverAllOfThem) {
  // A reply of 10,003 bytes in front: its length in two bytes, Id 22, and a text of 9,996 bytes.
  const std::string large = "\x91\x4E\x08\x16\x12\x8C\x4E" + std::string(9996, 'x');
  const uint64_t end = large.size();
  ASSERT_EQ(end, 10'003U);
  Scan(large + Stream(100), 64, 2);
  EXPECT_EQ(Take(0), (std::pair<uint64_t, Offsets>{end, {0}}));
  // All that may be looked at ahead has been, and the threads wait.
  WaitUntilBegun(65);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  // 10,003 is in the part that ends at 10,048: replies at 10,003, 10,019 and 10,035.
  EXPECT_EQ(Take(end), (std::pair<uint64_t, Offsets>{10'051, {10'003, 10'019, 10'035}}));
}

}  // namespace
}  // namespace tesview
