// A host that knows the library by its path alone: it is linked neither with it nor with the base library,
// and finds all that it calls at run time.
#include <gtest/gtest.h>

#include <string>

#include "tesparser/tesparser.h"
#include "tests/support/opened_library.h"

namespace {

using opened_library::CheckTable;
using opened_library::kJson;
using opened_library::kReply;
using opened_library::kTable;
using opened_library::ToJson;
using opened_library::ToTable;

using ToTableType = void* (*)(const std::string&, TPType);
using ToDouble = double (*)(long long, int*);
using ToInt = int (*)(long long, int*);

// kReply with a code that is no UTF-8.
const std::string kBadText("\x08\x14\xa2\x01\x04\x0a\x02\xd6\xd0", 9);

class Library {
 public:
  Library() : handle_(opened_library::Open(TESPARSER_LIBRARY)) {}
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() {
    if (handle_ == nullptr) return;
    EXPECT_TRUE(opened_library::Close(handle_));
  }

  explicit operator bool() const { return handle_ != nullptr; }
  void* handle() const { return handle_; }

  template <class Function>
  Function Find(const char* name) const {
    return opened_library::Find<Function>(handle_, name);
  }

 private:
  void* handle_;
};

constexpr char kTableType[] =
    "_Z21TesparserPB2TableTypeRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE6TPType";
constexpr char kDouble[] = "_Z22TesparserInt64ToDoublexPi";
constexpr char kInt[] = "_Z19TesparserInt64ToIntxPi";

void CallAllFive(const Library& library) {
  const auto json = library.Find<ToJson>(kJson);
  const auto table = library.Find<ToTable>(kTable);
  const auto table_type = library.Find<ToTableType>(kTableType);
  const auto to_double = library.Find<ToDouble>(kDouble);
  const auto to_int = library.Find<ToInt>(kInt);
  ASSERT_TRUE(json && table && table_type && to_double && to_int);

  EXPECT_NE(json(kReply).find("\"Obj\": \"SH600000\""), std::string::npos);
  EXPECT_EQ(json(kReply.substr(1)), "");
  CheckTable(library.handle(), table(kReply));
  EXPECT_EQ(table(""), nullptr);
  CheckTable(library.handle(), table_type(kReply, TPTypeById));
  EXPECT_EQ(table_type(kReply, TPTypeBxzjBlock), nullptr);
  int divisor = 0;
  EXPECT_EQ(to_double(0x1004D2, &divisor), -12.34);
  EXPECT_EQ(divisor, 100);
  EXPECT_EQ(to_int(0x1004D2, nullptr), -11);

  try {
    json(kBadText);
    ADD_FAILURE() << "no exception";
  } catch (const j2pb_error& error) {
    EXPECT_STREQ(error.what(), "Obj: Fail to convert to json");
  }
}

// In one test, since the order of the steps is what is tested.
TEST(Dlopen, CallCloseOpenAndCallAgain) {
  ASSERT_FALSE(opened_library::IsLinked(kJson)) << "the library is linked with the test";
  for (int round = 0; round < 3; ++round) {
    const Library library;
    ASSERT_TRUE(library);
    CallAllFive(library);
  }
  const Library one;
  const Library two;
  ASSERT_TRUE(one && two);
  CallAllFive(one);
  CallAllFive(two);
}

}  // namespace
