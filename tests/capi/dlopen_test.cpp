// A host that knows the C face by its path alone: it is opened, called, closed and opened again.
#include <dlfcn.h>
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
  ASSERT_EQ(dlsym(RTLD_DEFAULT, "tesparser_json"), nullptr) << "the library is linked with the test";
  for (int round = 0; round < 3; ++round) {
    void* library = dlopen(TESPARSER_C_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    Call(library);
    EXPECT_EQ(dlclose(library), 0);
  }
  void* one = dlopen(TESPARSER_C_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  void* two = dlopen(TESPARSER_C_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_TRUE(one != nullptr && two != nullptr);
  EXPECT_EQ(dlclose(one), 0);
  Call(two);
  EXPECT_EQ(dlclose(two), 0);
}

}  // namespace
