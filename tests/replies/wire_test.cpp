#include "replies/wire.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/replies/samples.h"

namespace replies {
namespace {

TEST(Wire, AVarintIsReadToItsEnd) {
  size_t pos = 0;
  uint64_t value = 0;
  EXPECT_TRUE(ReadVarint("\x96\x01", &pos, &value));
  EXPECT_EQ(value, 150u);
  EXPECT_EQ(pos, 2u);
}

TEST(Wire, AVarintThatIsCutOrTooLongIsNone) {
  size_t pos = 0;
  uint64_t value = 7;
  EXPECT_FALSE(ReadVarint("\x96", &pos, &value));
  EXPECT_FALSE(ReadVarint(std::string(11, '\xFF'), &pos, &value));
  EXPECT_EQ(pos, 0u);
  EXPECT_EQ(value, 7u);
  EXPECT_TRUE(ReadVarint(std::string(9, '\xFF') + '\x01', &pos, &value));
  EXPECT_EQ(value, ~uint64_t{0});
}

TEST(Wire, AReplyBeginsWithItsId) {
  EXPECT_TRUE(LooksLikeReply(kReply));
  EXPECT_FALSE(LooksLikeReply(""));
  EXPECT_FALSE(
      LooksLikeReply("\x12\x02"
                     "AB"));
  EXPECT_FALSE(LooksLikeReply(kReply.substr(0, 5)));
  EXPECT_TRUE(LooksLikeStartOfReply(kReply.substr(0, 5)));
  EXPECT_FALSE(LooksLikeReply(kReply + "\x0F"));
}

TEST(Wire, TheLastIdCounts) {
  int32_t id = 0;
  EXPECT_TRUE(FindId("\x08\x14\x08\x15", &id));
  EXPECT_EQ(id, 21);
  EXPECT_TRUE(FindId(std::string("\x08") + std::string(9, '\xFF') + '\x01', &id));
  EXPECT_EQ(id, -1);
  EXPECT_FALSE(
      FindId("\x12\x02"
             "AB",
             &id));
}

}  // namespace
}  // namespace replies
