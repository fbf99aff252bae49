#include "replies/words.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace replies {
namespace {

TEST(Words, LoseTheirCapitalLetters) {
  EXPECT_EQ(LowerCase("@AZ[`az{09"), "@az[`az{09");
  EXPECT_EQ(LowerCase("\xC4\xD6"), "\xC4\xD6");
}

TEST(Words, AreNumbersAsAWhole) {
  EXPECT_EQ(WholeNumber<int32_t>("21"), 21);
  EXPECT_EQ(WholeNumber<int32_t>("-1"), -1);
  for (const char* word : {"", "21x", "x21", " 21", "2147483648"})
    EXPECT_EQ(WholeNumber<int32_t>(word), std::nullopt) << word;
}

}  // namespace
}  // namespace replies
