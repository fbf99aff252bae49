// A library with a runtime of its own and a host's library with the system's protobuf, in one process: the
// names of files, messages and classes are the same in both. Each test is run in a process of its own.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

namespace {

constexpr char kJson[] = "_Z16TesparserPB2JsonRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE";
constexpr char kTable[] = "_Z17TesparserPB2TableRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE";

// One snapshot of "SH600000" with a last price of 12.34.
const std::string kReply("\x08\x14\xa2\x01\x13\x0a\x08SH600000\x12\x07\x08\x01\x10\x02\x18\xd2\x09", 24);

// Everybody sees what it exports, and it sees what everybody exports.
void* Open(const char* path) {
  void* library = dlopen(path, RTLD_NOW | RTLD_GLOBAL);
  if (library == nullptr) ADD_FAILURE() << dlerror();
  return library;
}

template <class Function>
Function Find(void* library, const char* name) {
  void* symbol = dlsym(library, name);
  if (symbol == nullptr) ADD_FAILURE() << "no " << name;
  return reinterpret_cast<Function>(symbol);
}

void CheckHost(void* host) {
  const auto works = Find<bool (*)()>(host, "host_reads_what_it_wrote");
  ASSERT_TRUE(works);
  EXPECT_TRUE(works());
}

void CheckLibrary(void* library) {
  const auto json = Find<std::string (*)(const std::string&)>(library, kJson);
  const auto table = Find<void* (*)(const std::string&)>(library, kTable);
  const auto text = Find<const char* (*)(const void*, int, int)>(library, "table_get_str");
  const auto child = Find<void* (*)(const void*, int, int)>(library, "table_get_table");
  const auto number = Find<double (*)(const void*, int, int)>(library, "table_get_double");
  const auto free_table = Find<void (*)(void*)>(library, "table_free");
  ASSERT_TRUE(json && table && text && child && number && free_table);
  EXPECT_NE(json(kReply).find("\"Obj\": \"SH600000\""), std::string::npos);
  void* made = table(kReply);
  ASSERT_NE(made, nullptr);
  EXPECT_STREQ(text(made, 0, 0), "SH600000");
  EXPECT_EQ(number(child(made, 0, 1), 0, 2), 12.34);
  free_table(made);
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
  EXPECT_EQ(Find<std::string (*)(const std::string&)>(library, kJson)(""), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
