#include "tesview/commands/reply_filter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/viewer.h"

namespace tesview {
namespace {

TEST(ReplyWindow, TakesNoMoreThanItsLimitHoweverOftenItIsAsked) {
  ReplyWindow window(1, 2);
  EXPECT_FALSE(window.Takes());
  EXPECT_FALSE(window.is_full());
  EXPECT_TRUE(window.Takes());
  EXPECT_FALSE(window.is_full());
  EXPECT_TRUE(window.Takes());
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(window.is_full());
    EXPECT_FALSE(window.Takes());
  }
}

TEST(ReplyWindow, WithoutALimitIsNeverFull) {
  ReplyWindow window(0, std::nullopt);
  for (int i = 0; i < 1000; ++i)
    EXPECT_TRUE(window.Takes());
  EXPECT_FALSE(window.is_full());
}

TEST(ReplyFilter, NeedsTheOrderOfRepliesUnlessItGoesByTheirIds) {
  FilterRequest request;
  EXPECT_FALSE(ReplyFilter::NeedsOrder(request));
  request.ids = {20, 21};
  EXPECT_FALSE(ReplyFilter::NeedsOrder(request));
  request.every = 2;
  EXPECT_TRUE(ReplyFilter::NeedsOrder(request));
  request.every = 1;
  request.skip = 1;
  EXPECT_TRUE(ReplyFilter::NeedsOrder(request));
  request.skip = 0;
  request.limit = 5;
  EXPECT_TRUE(ReplyFilter::NeedsOrder(request));
}

class FilesOfReplies : public viewer::Files {};

// What nobody asked to be told of, or to choose, does not matter.
TEST_F(FilesOfReplies, GiveAllReplies) {
  // Three of Id 22.
  const std::string path = Write("a.stream", "\x02\x08\x16\x02\x08\x16\x02\x08\x16");
  ReplyFiles files({path, directory_ + "/none"}, replies::Form::kDelimited);
  ReadItem read;
  for (uint64_t number = 1; number <= 3; ++number) {
    ASSERT_TRUE(files.Next(&read));
    EXPECT_EQ(read.error, "");
    EXPECT_EQ(read.item.reply.number, number);
    EXPECT_EQ(read.item.reply.bytes, "\x08\x16");
  }
  ASSERT_TRUE(files.Next(&read));
  EXPECT_EQ(read.error, directory_ + "/none: cannot open it: No such file or directory");
  EXPECT_FALSE(files.Next(&read));
}

// Also where none of them is given.
TEST_F(FilesOfReplies, TellProgressAfter1024Replies) {
  std::string stream;
  for (int i = 0; i < 2048; ++i)
    stream += "\x02\x08\x16";
  ReplyFiles files({Write("a.stream", stream)}, replies::Form::kDelimited);
  files.OnlyIf([](const replies::ReplyView&) { return false; });
  std::vector<uint64_t> replies;
  uint64_t bytes = 0;
  files.OnProgress([&](uint64_t more_bytes, uint64_t more_replies) {
    bytes += more_bytes;
    replies.push_back(more_replies);
  });
  ReadItem read;
  EXPECT_FALSE(files.Next(&read));
  EXPECT_EQ(replies, (std::vector<uint64_t>{1024, 1024, 0}));
  EXPECT_EQ(bytes, 6144U);
}

}  // namespace
}  // namespace tesview
