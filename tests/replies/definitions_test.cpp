#include "replies/definitions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace replies {
namespace {

TEST(Definitions, AreFoundByNameAndById) {
  const auto kline = Definition("QuoteKlineSingle", false);
  ASSERT_TRUE(kline.has_value());
  EXPECT_NE(kline->find("message QuoteKlineSingle {"), std::string::npos) << *kline;
  EXPECT_EQ(kline->find("message KXian {"), std::string::npos);
  for (const std::string name : {"21", "IDQuoteKlineSingle", "tessel.QuoteKlineSingle"})
    EXPECT_EQ(Definition(name, false), kline) << name;
  EXPECT_EQ(Definition("NoSuchMessage", false), std::nullopt);
}

TEST(Definitions, AsTheyWereWritten) {
  const auto all = Definition("21", true);
  ASSERT_TRUE(all.has_value());
  EXPECT_NE(all->find("message KXian {"), std::string::npos);
  EXPECT_EQ(all->find("json_name"), std::string::npos);
  EXPECT_EQ(all->find(".tessel."), std::string::npos);
}

TEST(Definitions, HaveNames) {
  const auto names = DefinitionNames();
  for (const std::string name : {"MSG", "QuoteKlineSingle", "InfoType"})
    EXPECT_EQ(std::count(names.begin(), names.end(), name), 1) << name;
}

}  // namespace
}  // namespace replies
