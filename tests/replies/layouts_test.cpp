#include "replies/layouts.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace replies {
namespace {

TEST(Layouts, AreFoundByNumberOrNameInAnyCase) {
  for (const std::string word : {"103", "ZhiBiao3", "zhibiao3", "TPTypeZhiBiao3", "tptypeZHIBIAO3"})
    EXPECT_EQ(FindType(word), TPTypeZhiBiao3) << word;
  EXPECT_EQ(FindType("0"), TPTypeById);
  // A number that no type has is still one that can be passed.
  EXPECT_EQ(FindType("117"), static_cast<TPType>(117));
  for (const std::string word : {"", "ZhiBiao17", "TPType", "ZhiBiao3 "})
    EXPECT_EQ(FindType(word), std::nullopt) << word;
}

TEST(Layouts, HaveNames) {
  EXPECT_EQ(NameOfType(TPTypeById), "ById");
  EXPECT_EQ(NameOfType(TPTypeZhiBiao16), "ZhiBiao16");
  EXPECT_EQ(NameOfType(static_cast<TPType>(117)), "117");
  EXPECT_EQ(TypeNames().size(), 22u);
  const char* const names[] = {"ById", "DaDan", "FenLeiChiCang", "BxzjStock", "BxzjBlock", "Token"};
  for (int type = 0; type < 6; ++type)
    EXPECT_EQ(NameOfType(static_cast<TPType>(type)), names[type]);
  for (int i = 1; i <= 16; ++i) {
    const std::string name = "ZhiBiao" + std::to_string(i);
    EXPECT_EQ(NameOfType(static_cast<TPType>(100 + i)), name);
    EXPECT_EQ(FindType(name), static_cast<TPType>(100 + i));
  }
}

TEST(Layouts, OfAnIdAreThoseThatTheLibraryMakes) {
  EXPECT_TRUE(HasTable(3));
  EXPECT_TRUE(HasTable(21));
  EXPECT_FALSE(HasTable(44));
  EXPECT_FALSE(HasTable(9999));
  EXPECT_EQ(TypedLayoutsOf(44), std::vector<TPType>{TPTypeToken});
  EXPECT_EQ(TypedLayoutsOf(21), std::vector<TPType>());
}

}  // namespace
}  // namespace replies
