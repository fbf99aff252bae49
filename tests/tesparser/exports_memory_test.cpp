// What the calls do with memory: all of it comes back, also when an exception leaves through an export; but
// for what jansson's dump held where the text could not grow, and for the table under construction.
#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>
#include <jansson.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "tesparser/tesparser.h"
#include "tests/support/json.h"
#include "tests/support/replies.h"
#include "tests/support/table_text.h"

namespace {

// Blocks from operator new and from jansson that are alive, and how many more may be had.
std::atomic<long> live_blocks{0};
std::atomic<long> made_blocks{0};
std::atomic<long> new_budget{-1};
std::atomic<long> json_budget{-1};
std::atomic<std::size_t> refused_size{0};

bool Spend(std::atomic<long>& budget) {
  const long left = budget.load();
  if (left < 0) return true;
  if (left == 0) return false;
  budget = left - 1;
  return true;
}

void* Allocate(std::size_t size, std::atomic<long>& budget) {
  void* block = Spend(budget) ? std::malloc(size == 0 ? 1 : size) : nullptr;
  if (block != nullptr) {
    ++live_blocks;
    ++made_blocks;
  } else {
    refused_size = size;
  }
  return block;
}

void Free(void* block) {
  if (block != nullptr) --live_blocks;
  std::free(block);
}

void* AllocateJson(std::size_t size) {
  return Allocate(size, json_budget);
}

}  // namespace

void* operator new(std::size_t size) {
  void* block = Allocate(size, new_budget);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size, new_budget);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size, new_budget);
}
void operator delete(void* block) noexcept {
  Free(block);
}
void operator delete[](void* block) noexcept {
  Free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  Free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  Free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  Free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  Free(block);
}

// What is lost with its call is no leak of the test's.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace {

using test_replies::P;
using test_replies::Reply;

// What fails on purpose would be logged.
const google::protobuf::LogSilencer kQuiet;

class Memory : public testing::Test {
 protected:
  Memory() {
    json_set_alloc_funcs(AllocateJson, Free);
    // First uses wire descriptors, seed hashes and fill what is kept per thread.
    for (const std::string* data : {&good_, &bad_, &wire_}) {
      try {
        TesparserPB2Json(*data);
      } catch (const j2pb_error&) {
      }
      table_free(TesparserPB2Table(*data));
      table_free(TesparserPB2TableType(*data, TPTypeById));
    }
    made_blocks = 0;
    before_ = live_blocks;
  }
  ~Memory() override { json_set_alloc_funcs(std::malloc, std::free); }

  long Leaked() const { return live_blocks - before_; }

  const std::string good_ = Reply(
      "Id: 20 Obj: 'a text too long to stand within the string object itself' "
      "RepDataQuoteDynaSingle { Obj: 'another text that is too long for it' Data { Id: 1 ShiJian: 2 } } "
      "RepDataQuoteDynaSingle { Obj: 'SZ000001' Data { Id: 1 ShiJian: 2 ZuiXinJia: " +
      P(1234) + " } }");
  // The bad text comes last and deep, when most of the tree stands.
  const std::string bad_ = Reply(
      "Id: 3 Tbl { Name: 'a text too long to stand within the string object itself' Data { Index: 0 "
      "tValues { Data { Index: 1 iValues: [1, 2, 3] bValues: 'some bytes that become base64 text' sValues: "
      "['one', 'two', '\\326\\320'] } } } }");
  const std::string wire_ = Reply(
      "Id: 3 Tbl { Info { Type: 116 } Data { Index: 0 tValues { Info { Name: 's' Type: 115 } Info { Name: "
      "'t' "
      "Type: 116 } Data { Index: 0 sValues: ['one', 'two'] } Data { Index: 1 tValues { Info { Name: 'i' "
      "Type: "
      "105 } Data { Index: 0 iValues: [1, 2, 3] } } tValues { } } } } }");
  long before_ = 0;
};

TEST_F(Memory, JsonGivesAllBack) {
  {
    const std::string text = TesparserPB2Json(good_);
    ASSERT_NE(text, "");
  }
  EXPECT_GT(made_blocks, 0);
  EXPECT_EQ(Leaked(), 0);
}

TEST_F(Memory, TheExceptionGivesAllBack) {
  EXPECT_THROW(TesparserPB2Json(bad_), j2pb_error);
  EXPECT_GT(made_blocks, 0);
  EXPECT_EQ(Leaked(), 0);
}

TEST_F(Memory, FailedParseGivesAllBack) {
  for (const std::string& reply : {good_, bad_, wire_}) {
    for (size_t length = 0; length + 1 < reply.size(); ++length) {
      const std::string data = reply.substr(0, length);
      TesparserPB2Json(data);
      table_free(TesparserPB2Table(data));
      table_free(TesparserPB2TableType(data, TPTypeById));
    }
  }
  EXPECT_EQ(Leaked(), 0);
}

TEST_F(Memory, TablesGiveAllBackWhenTheyAreFreed) {
  for (const std::string& data : {good_, wire_}) {
    void* table = TesparserPB2Table(data);
    ASSERT_NE(table, nullptr);
    table_free(table);
    void* typed = TesparserPB2TableType(data, TPTypeById);
    ASSERT_NE(typed, nullptr);
    table_free(typed);
  }
  EXPECT_EQ(Leaked(), 0);
}

// One row, and three tables for it.
TEST_F(Memory, TablesBeyondTheLastRowAreNotLost) {
  const std::string data = Reply(R"(
    Id: 3
    Tbl {
      Info { Type: 116 }
      Data {
        Index: 0
        tValues {
          Info { Name: 's' Type: 115 } Info { Name: 't' Type: 116 }
          Data { Index: 0 sValues: 'one' }
          Data {
            Index: 1
            tValues { Info { Name: 'i' Type: 105 } Data { Index: 0 iValues: [1, 2, 3] } }
            tValues { Data { Index: 0 iValues: 4 } }
            tValues { Data { Index: 0 iValues: 5 } }
          }
        }
      }
    })");
  table_free(TesparserPB2Table(data));
  const long before = live_blocks;
  void* table = TesparserPB2Table(data);
  EXPECT_NE(table_get_table(table, 0, 1), nullptr);
  table_free(table);
  EXPECT_EQ(live_blocks, before);
}

// The separators in the first name put other columns where the tables would go.
TEST_F(Memory, TablesOfAShiftedColumnAreNotLost) {
  const std::string data = Reply(R"(
    Id: 3
    Tbl {
      Info { Type: 116 }
      Data {
        Index: 0
        tValues {
          Info { Name: 'a;b;c:s' Type: 115 } Info { Name: 't' Type: 116 }
          Data { Index: 0 sValues: 'one' }
          Data { Index: 1 tValues { Info { Name: 'i' Type: 105 } Data { Index: 0 iValues: [1, 2, 3] } } }
        }
      }
    })");
  for (const int type : {0, 1, 2, 3, 5}) {
    table_free(TesparserPB2TableType(data, static_cast<TPType>(type)));
    const long before = live_blocks;
    void* table = TesparserPB2TableType(data, static_cast<TPType>(type));
    EXPECT_NE(table, nullptr) << type;
    table_free(table);
    EXPECT_EQ(live_blocks, before) << type;
  }
}

TEST_F(Memory, NumbersNeedNone) {
  int divisor = 0;
  TesparserInt64ToDouble(0x4D2, &divisor);
  TesparserInt64ToInt(0x1004D2, &divisor);
  EXPECT_EQ(made_blocks, 0);
}

// The envelope is the largest object of the schema, and it stands in the frame of the call.
TEST_F(Memory, AnEnvelopeWithoutContentNeedsNone) {
  const std::string data = Reply("Id: 20");
  made_blocks = 0;
  EXPECT_EQ(TesparserPB2Table(data), nullptr);
  EXPECT_EQ(made_blocks, 0);
}

// jansson runs out of memory at its first, second, third ... block.
TEST_F(Memory, JsonTreeOutOfMemory) {
  int failures = 0;
  bool done = false;
  for (long budget = 0; !done && budget < 1000; ++budget) {
    try {
      json_budget = budget;
      const std::string text = TesparserPB2Json(good_);
      done = json_budget > 0;
      json_budget = -1;
      if (text.empty()) ++failures;
    } catch (const j2pb_error&) {
      json_budget = -1;
      ++failures;
    }
    ASSERT_EQ(Leaked(), 0) << budget;
  }
  EXPECT_TRUE(done);
  EXPECT_GT(failures, 10);
}

// The same for everything that is had from operator new. What the dump held is lost where it was the text
// that could not grow, and nothing anywhere else.
TEST_F(Memory, JsonOutOfMemoryLeavesAsBadAlloc) {
  const std::string whole = TesparserPB2Json(good_);
  for (const std::string* data : {&good_, &bad_}) {
    int failures = 0;
    int in_the_dump = 0;
    bool done = false;
    for (long budget = 0; !done && budget < 1000; ++budget) {
      const long before = live_blocks;
      if (__lsan_disable != nullptr) __lsan_disable();
      try {
        new_budget = budget;
        const std::string text = TesparserPB2Json(*data);
        done = new_budget > 0;
        new_budget = -1;
      } catch (const j2pb_error&) {
        done = new_budget > 0;
        new_budget = -1;
      } catch (const std::bad_alloc&) {
        new_budget = -1;
        ++failures;
      }
      if (__lsan_enable != nullptr) __lsan_enable();
      const long lost = live_blocks - before;
      if (lost == 0) continue;
      ++in_the_dump;
      ASSERT_EQ(data, &good_) << "lost without a text";
      ASSERT_EQ(lost, BlocksOfDumpRefused(whole, refused_size)) << budget;
    }
    EXPECT_TRUE(done);
    EXPECT_GT(failures, 1);
    EXPECT_EQ(in_the_dump > 0, data == &good_);
  }
}

// The table under construction is lost; all else is as if the call had not been made.
TEST_F(Memory, TableOutOfMemoryLeavesAsBadAlloc) {
  for (const std::string& data : {good_, wire_}) {
    bool done = false;
    for (long budget = 0; !done && budget < 1000; ++budget) {
      if (__lsan_disable != nullptr) __lsan_disable();
      try {
        new_budget = budget;
        void* table = TesparserPB2Table(data);
        done = new_budget > 0;
        new_budget = -1;
        EXPECT_NE(table, nullptr);
        table_free(table);
      } catch (const std::bad_alloc&) {
        new_budget = -1;
      }
      if (__lsan_enable != nullptr) __lsan_enable();
    }
    EXPECT_TRUE(done);
    void* table = TesparserPB2Table(data);
    EXPECT_NE(TableText(table), "null");
    table_free(table);
  }
}

}  // namespace
