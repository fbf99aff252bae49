#include "replies/suggest.h"

#include <gtest/gtest.h>

#include "tests/replies/samples.h"

namespace replies {
namespace {

TEST(Suggest, TheNearestFirstAndNothingFar) {
  const Strings known{"columns", "color", "head", "QuoteKlineSingle"};
  EXPECT_EQ(Nearest("colums", known)[0], "columns");
  EXPECT_EQ(Nearest("klien", known), Strings{"QuoteKlineSingle"});
  EXPECT_EQ(Nearest("xyzzy", known), Strings{});
  EXPECT_EQ(DidYouMean("haed", known), "; did you mean \"head\"?");
}

}  // namespace
}  // namespace replies
