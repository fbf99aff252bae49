#include "tesview/commands/reply_filter.h"

#include <gtest/gtest.h>

#include <string>

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

}  // namespace
}  // namespace tesview
