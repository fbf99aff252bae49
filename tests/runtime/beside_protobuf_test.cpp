// A library with a runtime of its own and a host's library with the system's protobuf, in one process: the
// names of files, messages and classes are the same in both. Each test is run in a process of its own.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/opened_library.h"

namespace {

using opened_library::CheckTable;
using opened_library::Find;
using opened_library::kJson;
using opened_library::kReply;
using opened_library::kTable;
using opened_library::ToJson;
using opened_library::ToTable;

// Everybody sees what it exports, and it sees what everybody exports.
void* Open(const char* path) {
  return opened_library::Open(path, RTLD_GLOBAL);
}

void CheckHost(void* host) {
  const auto works = Find<bool (*)()>(host, "host_reads_what_it_wrote");
  ASSERT_TRUE(works);
  EXPECT_TRUE(works());
}

void CheckLibrary(void* library) {
  const auto json = Find<ToJson>(library, kJson);
  const auto table = Find<ToTable>(library, kTable);
  ASSERT_TRUE(json && table);
  EXPECT_NE(json(kReply).find("\"Obj\": \"SH600000\""), std::string::npos);
  CheckTable(library, table(kReply));
}

TEST(BesideProtobuf, HostFirst) {
  void* const host = Open(HOST_LIBRARY);
  void* const library = Open(TESPARSER_LIBRARY);
  ASSERT_TRUE(host != nullptr && library != nullptr);
  CheckHost(host);
  CheckLibrary(library);
  CheckHost(host);
}

TEST(BesideProtobuf, LibraryFirst) {
  void* const library = Open(TESPARSER_LIBRARY);
  CheckLibrary(library);
  void* const host = Open(HOST_LIBRARY);
  ASSERT_TRUE(host != nullptr && library != nullptr);
  CheckHost(host);
  CheckLibrary(library);
}

// A host cannot reach the log of a runtime that it does not see, so there is none.
TEST(BesideProtobuf, NothingIsLogged) {
  void* const library = Open(TESPARSER_LIBRARY);
  ASSERT_TRUE(library != nullptr);
  testing::internal::CaptureStderr();
  EXPECT_EQ(Find<ToJson>(library, kJson)(""), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
