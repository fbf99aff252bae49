// A host that knows the C face by its path alone: it is opened, called, closed and opened again.
#include <gtest/gtest.h>

#include <string>

#include "tesparser_c.h"
#include "tests/support/opened_library.h"

namespace {

using opened_library::Find;

const std::string kReply = "\x08\x14\x12\x01\x41";  // Id 20, Obj "A"

void Call(void* library) {
  const auto json = Find<decltype(&tesparser_json)>(library, "tesparser_json");
  const auto free_text = Find<decltype(&tesparser_free)>(library, "tesparser_free");
  const auto payloads = Find<decltype(&tesparser_payloads)>(library, "tesparser_payloads");
  ASSERT_TRUE(json && free_text && payloads);
  tesparser_error error;
  char* text = json(kReply.data(), kReply.size(), nullptr, &error);
  ASSERT_NE(text, nullptr) << error.message;
  EXPECT_NE(std::string(text).find("\"Obj\": \"A\""), std::string::npos);
  free_text(text);
  EXPECT_EQ(json("\x08", 1, nullptr, &error), nullptr);
  EXPECT_EQ(error.reason, TESPARSER_NOT_A_REPLY);
  size_t count = 0;
  EXPECT_NE(payloads(&count, nullptr), nullptr);
  EXPECT_GT(count, 400U);
}

// In one test, since the order of the steps is what is tested.
TEST(Dlopen, CallCloseOpenAndCallAgain) {
  ASSERT_FALSE(opened_library::IsLinked("tesparser_json")) << "the library is linked with the test";
  for (int round = 0; round < 3; ++round) {
    void* library = opened_library::Open(TESPARSER_C_LIBRARY);
    ASSERT_NE(library, nullptr);
    Call(library);
    EXPECT_TRUE(opened_library::Close(library));
  }
  void* one = opened_library::Open(TESPARSER_C_LIBRARY);
  void* two = opened_library::Open(TESPARSER_C_LIBRARY);
  ASSERT_TRUE(one != nullptr && two != nullptr);
  EXPECT_TRUE(opened_library::Close(one));
  Call(two);
  EXPECT_TRUE(opened_library::Close(two));
}

}  // namespace
