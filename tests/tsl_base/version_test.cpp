// Claim: the headers and the library tell one version.
#include "tsl_base/version.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Version, OfTheHeadersIsThatOfTheLibrary) {
  EXPECT_STREQ(TSL_BASE_VERSION, tsl_base_version());
}

TEST(Version, HasItsThreeNumbers) {
  EXPECT_EQ(TSL_BASE_VERSION, std::to_string(TSL_BASE_VERSION_MAJOR) + '.' +
                                  std::to_string(TSL_BASE_VERSION_MINOR) + '.' +
                                  std::to_string(TSL_BASE_VERSION_PATCH));
}

}  // namespace
