#include "replies/vocabulary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace replies {
namespace {

TEST(Vocabulary, IsInTheOrderOfTheIds) {
  const auto& all = Vocabulary();
  EXPECT_GT(all.size(), 400u);
  EXPECT_TRUE(
      std::is_sorted(all.begin(), all.end(), [](const Payload& a, const Payload& b) { return a.id < b.id; }));
}

TEST(Vocabulary, KnowsNameFieldAndTypeOfAnId) {
  const Payload* kline = FindPayload(21);
  ASSERT_NE(kline, nullptr);
  EXPECT_EQ(kline->id, 21);
  EXPECT_EQ(kline->name, "QuoteKlineSingle");
  EXPECT_EQ(kline->field, "RepDataQuoteKlineSingle");
  EXPECT_EQ(kline->type, "QuoteKlineSingle");
  EXPECT_EQ(IdWithName(21), "21 (QuoteKlineSingle)");
}

TEST(Vocabulary, FindsAnIdByNumberAndByAnyOfItsNames) {
  for (const std::string word :
       {"21", "QuoteKlineSingle", "quoteklinesingle", "IDQuoteKlineSingle", "idQUOTEKLINESINGLE",
        "RepDataQuoteKlineSingle", "repdataquoteklinesingle"}) {
    ASSERT_NE(FindPayload(word), nullptr) << word;
    EXPECT_EQ(FindPayload(word)->id, 21) << word;
  }
}

TEST(Vocabulary, HasNoOthers) {
  for (const int id : {-1, 9999})
    EXPECT_EQ(FindPayload(id), nullptr) << id;
  for (const std::string word : {"", "9999", "21x", "QuoteKlineSingl"})
    EXPECT_EQ(FindPayload(word), nullptr) << word;
  EXPECT_EQ(IdWithName(9999), "9999");
}

}  // namespace
}  // namespace replies
