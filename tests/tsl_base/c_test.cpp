// Claim: the header is C, and C code that passes the value classes by value is understood.
#include <gtest/gtest.h>

extern "C" int CallFromC(void);

namespace {

TEST(TableFromC, EveryFunctionWorks) {
  EXPECT_EQ(CallFromC(), 0) << "the line in the C file";
}

}  // namespace
