#include "replies/column_names.h"

#include <gtest/gtest.h>

namespace replies {
namespace {

TEST(ColumnName, IsItsLabelOrHowThatIsShown) {
  EXPECT_TRUE(IsNameOf("Price", "Price", 2, 1));
  EXPECT_FALSE(IsNameOf("price", "Price", 2, 1));
  EXPECT_TRUE(IsNameOf("a\nb", "a\nb", 0, 1));
  EXPECT_TRUE(IsNameOf("a\\nb", "a\nb", 0, 1));
  EXPECT_FALSE(IsNameOf("a\\tb", "a\nb", 0, 1));
}

TEST(ColumnName, MayHaveItsPlaceBehindIt) {
  EXPECT_TRUE(IsNameOf("Price#2", "Price", 2, 1));
  EXPECT_FALSE(IsNameOf("Price#3", "Price", 2, 1));
  EXPECT_FALSE(IsNameOf("Price#", "Price", 2, 1));
}

TEST(ColumnName, MayHaveItsCountBehindIt) {
  EXPECT_TRUE(IsNameOf("iCol[53]", "iCol", 2, 53));
  EXPECT_FALSE(IsNameOf("iCol[54]", "iCol", 2, 53));
  // One number is not counted.
  EXPECT_FALSE(IsNameOf("iCol[1]", "iCol", 2, 1));
}

TEST(ColumnName, LeadsInwardsByAPoint) {
  EXPECT_EQ(NameInside("Data.Price", "Data"), "Price");
  EXPECT_EQ(NameInside("Data.Inner.Price", "Data"), "Inner.Price");
  EXPECT_EQ(NameInside("Data.", "Data"), "");
  EXPECT_EQ(NameInside("Data", "Data"), "");
  EXPECT_EQ(NameInside("Data/Price", "Data"), "");
  EXPECT_EQ(NameInside("Dota.Price", "Data"), "");
}

}  // namespace
}  // namespace replies
