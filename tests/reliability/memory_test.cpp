// Claim: whichever allocation of a call fails, the call ends as its declaration tells, gives its memory back,
// and the next call works. The JSON route loses nothing but what jansson's dump held where the text could not
// grow; a table route loses at most the table that it was making.
#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "tests/reliability/malloc.h"
#include "tests/reliability/replies.h"
#include "tests/support/json.h"
#include "tests/support/table_text.h"
#include "tsl_base/arrow.h"
#include "tsl_base/table.hpp"

namespace {

using reliability::Bytes;
using reliability::Data;
using reliability::Failed;
using reliability::Failing;
using reliability::Heap;
using reliability::Info;
using reliability::Number;
using reliability::Route;
using reliability::Sample;

// Damaged replies would be logged.
const google::protobuf::LogSilencer kQuiet;

// The samples, and replies that fail in each of the ways there are.
std::vector<Sample> Replies() {
  std::vector<Sample> replies = reliability::Samples();
  const std::string nested = reliability::NestedTables(reliability::kDeepest);
  replies.push_back({"nested tables", nested});
  replies.push_back({"nested tables, cut", nested.substr(0, nested.size() - 1)});
  replies.push_back({"nested too deep", reliability::NestedTables(reliability::kDeepest + 2)});
  replies.push_back({"bad text", reliability::NestedBadText(reliability::kDeepest)});
  replies.push_back({"required fields missing", reliability::NestedWithoutRequired(10)});
  replies.push_back({"empty", ""});
  return replies;
}

// A thread remembers the specs of the tables that it made last. Made to remember others, it holds the same
// amount before and after a call.
void ForgetSpecs() {
  static int made = 1000000;
  for (int i = 0; i < 8; ++i)
    table_free(table_create(("column" + std::to_string(made++) + ":q").c_str(), 0, ""));
}

// Whether everything in `part` is in `whole`, in its place: keys and elements may be missing.
bool IsPartOf(const json_t* part, const json_t* whole) {
  if (json_is_object(part) && json_is_object(whole)) {
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(const_cast<json_t*>(part), key, value) {
      const json_t* other = json_object_get(whole, key);
      if (other == nullptr || !IsPartOf(value, other)) return false;
    }
    return true;
  }
  if (json_is_array(part) && json_is_array(whole)) {
    size_t next = 0;
    for (size_t i = 0; i < json_array_size(part); ++i, ++next) {
      while (next < json_array_size(whole) && !IsPartOf(json_array_get(part, i), json_array_get(whole, next)))
        ++next;
      if (next == json_array_size(whole)) return false;
    }
    return true;
  }
  return json_equal(part, whole) != 0;
}

// What may come back where jansson was refused memory: the text without some keys or elements, or its
// beginning where the dump was.
bool IsLessOf(const std::string& text, const std::string& whole) {
  if (whole.compare(0, text.size(), text) == 0) return true;
  static std::string parsed;
  static OwnedJson all;
  if (parsed != whole) {
    all = ParseJson(whole);
    parsed = whole;
  }
  const OwnedJson part = ParseJson(text);
  return part != nullptr && all != nullptr && IsPartOf(part.get(), all.get());
}

enum class End { kResult, kBadAlloc, kJsonError };

struct Outcome {
  End end = End::kResult;
  std::string text;  // the JSON, or the words of the error
  bool is_null = true;
  Failed failed;
  Heap heap;  // what the call cost, and what of it is left after its result was freed
};

// With n = 0 nothing fails.
Outcome Call(const Route& route, const std::string& reply, long n, Failing how) {
  static std::string kept;
  kept.reserve(1 << 20);
  kept.clear();
  Outcome outcome;
  ForgetSpecs();
  reliability::StartCounting();
  reliability::FailAllocation(n, how);
  try {
    if (route.json) {
      const std::string text = TesparserPB2Json(reply);
      outcome.failed = reliability::StopFailing();
      kept = text;
    } else {
      void* table = reliability::CallTable(route, reply);
      outcome.failed = reliability::StopFailing();
      outcome.is_null = table == nullptr;
      table_free(table);
    }
  } catch (const std::bad_alloc&) {
    outcome.failed = reliability::StopFailing();
    outcome.end = End::kBadAlloc;
  } catch (const j2pb_error& error) {
    outcome.failed = reliability::StopFailing();
    outcome.end = End::kJsonError;
    kept = error.what();
  }
  ForgetSpecs();
  outcome.heap = reliability::StopCounting();
  outcome.text = kept;
  return outcome;
}

// What the table of a call takes while it is held.
Heap HeldByTable(const Route& route, const std::string& reply) {
  ForgetSpecs();
  reliability::StartCounting();
  void* table = reliability::CallTable(route, reply);
  ForgetSpecs();
  const Heap held = reliability::StopCounting();
  table_free(table);
  return held;
}

class FailingMemory : public testing::TestWithParam<Failing> {
 protected:
  // Fails the first, second, third ... allocation until none is left to fail. Returns how many failed.
  template <class Check>
  long FailEach(const Route& route, const std::string& reply, Check check) {
    const Outcome whole = Call(route, reply, 0, Failing::kOne);  // also fills what later calls use again
    const Outcome again = Call(route, reply, 0, Failing::kOne);
    EXPECT_EQ(again.heap.blocks, 0);
    long failures = 0;
    for (long n = 1;; n += reliability::kBrief && n > 200 ? 1 + n / 100 : 1) {
      SCOPED_TRACE("allocation " + std::to_string(n));
      const Outcome outcome = Call(route, reply, n, GetParam());
      if (outcome.failed.total() == 0) {
        EXPECT_EQ(outcome.text, whole.text);
        EXPECT_EQ(outcome.end, whole.end);
        EXPECT_EQ(outcome.is_null, whole.is_null);
        return failures;
      }
      ++failures;
      check(whole, outcome);
      // Long replies repeat themselves: deep in them it is enough to look now and then.
      if (n > (reliability::kBrief ? 100 : 1000) && n % 8 != 0 && !HasFailure()) continue;
      const Outcome next = Call(route, reply, 0, Failing::kOne);
      EXPECT_EQ(next.text, whole.text);
      EXPECT_EQ(next.end, whole.end);
      EXPECT_EQ(next.is_null, whole.is_null);
      EXPECT_EQ(next.heap.calls, again.heap.calls);
      EXPECT_EQ(next.heap.blocks, 0);
      if (HasFailure()) return failures;
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Allocations, FailingMemory, testing::Values(Failing::kOne, Failing::kAllFrom),
                         [](const auto& how) {
                           return how.param == Failing::kOne ? "OneFails" : "AllFailFromThere";
                         });

void CheckJson(const Outcome& whole, const Outcome& outcome) {
  // Throwing takes memory too, for which the runtime keeps a reserve.
  if (outcome.end == whole.end && outcome.text == whole.text && whole.end == End::kJsonError) {
    EXPECT_EQ(outcome.heap.blocks, 0) << "lost memory";
    return;
  }
  switch (outcome.end) {
    case End::kBadAlloc:
      EXPECT_GT(outcome.failed.from_new, 0);
      // Nothing before the dump is lost, and a reply that has no text never comes to it.
      if (outcome.heap.blocks != 0) {
        EXPECT_EQ(whole.end, End::kResult) << "lost memory";
        EXPECT_EQ(outcome.heap.blocks, BlocksOfDumpRefused(whole.text, outcome.failed.new_size));
      }
      break;
    case End::kJsonError:
      EXPECT_EQ(outcome.heap.blocks, 0) << "lost memory";
      EXPECT_GT(outcome.failed.from_malloc, 0);
      EXPECT_NE(outcome.text.find(": Fail to convert to json"), std::string::npos) << outcome.text;
      break;
    case End::kResult:
      EXPECT_EQ(outcome.heap.blocks, 0) << "lost memory";
      EXPECT_EQ(outcome.failed.from_new, 0) << "exhausted memory was not told";
      EXPECT_TRUE(IsLessOf(outcome.text, whole.text)) << outcome.text << "\nis no part of\n" << whole.text;
      break;
  }
}

TEST_P(FailingMemory, JsonEndsAsToldAndLosesWhatTheDumpHeldAtMost) {
  const Route& route = reliability::Routes()[0];
  long failures = 0;
  long in_the_dump = 0;
  Heap worst;
  for (const Sample& sample : Replies()) {
    SCOPED_TRACE(sample.name);
    failures += FailEach(route, sample.reply, [&](const Outcome& whole, const Outcome& outcome) {
      CheckJson(whole, outcome);
      if (outcome.heap.blocks == 0) return;
      ++in_the_dump;
      if (outcome.heap.bytes > worst.bytes) worst = outcome.heap;
    });
    if (HasFailure()) return;
  }
  std::printf("json: %ld failures, %ld of them in the dump, which lost at most %ld blocks of %ld bytes\n",
              failures, in_the_dump, worst.blocks, worst.bytes);
  EXPECT_GT(failures, 1000);
  EXPECT_GT(in_the_dump, 100);
}

TEST_P(FailingMemory, TablesEndAsToldAndLoseAtMostThemselves) {
  long failures = 0;
  for (const Route& route : reliability::Routes()) {
    if (route.json) continue;
    for (const Sample& sample : Replies()) {
      SCOPED_TRACE(route.name + ", " + sample.name);
      const Heap held = HeldByTable(route, sample.reply);
      failures += FailEach(route, sample.reply, [&held](const Outcome&, const Outcome& outcome) {
        EXPECT_EQ(outcome.end, End::kBadAlloc);
        EXPECT_GE(outcome.heap.blocks, 0);
        EXPECT_LE(outcome.heap.blocks, held.blocks);
        // malloc may give a block some bytes more at one time than at another.
        EXPECT_LE(outcome.heap.bytes, held.bytes + 32 * held.blocks);
      });
      if (HasFailure()) return;
    }
  }
  std::printf("tables: %ld failures\n", failures);
  EXPECT_GT(failures, 1000);
}

struct Export {
  int error = 0;
  Failed failed;
  Heap heap;  // what is left after all was given back
};

// With the table that a sample gives, and with as many again of its kind as a batch.
Export ExportArrow(const Route& route, const std::string& reply, bool batch, long n, Failing how) {
  Export result;
  ForgetSpecs();
  reliability::StartCounting();
  void* tables[] = {reliability::CallTable(route, reply), reliability::CallTable(route, reply)};
  ArrowSchema schema{};
  ArrowArray array{};
  ArrowArray type{};
  if (batch && table_export_arrow(reliability::CallTable(route, reply), &schema, &type) != 0) ADD_FAILURE();
  reliability::FailAllocation(n, how);
  int64_t misfit = 0;
  result.error = batch ? table_export_arrow_batch(tables, 2, &schema, &array, &misfit)
                       : table_export_arrow(tables[0], &schema, &array);
  result.failed = reliability::StopFailing();
  if (result.error == 0) {
    EXPECT_EQ(array.length, table_rows(tables[0]) * (batch ? 2 : 1));
  } else {
    EXPECT_EQ(array.release, nullptr);
    table_free(tables[0]);
  }
  if (result.error != 0 || !batch) table_free(tables[1]);
  for (ArrowArray* made : {&array, &type})
    if (made->release != nullptr) made->release(made);
  if (schema.release != nullptr) schema.release(&schema);
  ForgetSpecs();
  result.heap = reliability::StopCounting();
  return result;
}

TEST_P(FailingMemory, ArrowExportsEndAsToldAndLoseNothing) {
  long failures = 0;
  const Route& route = reliability::Routes()[1];
  ASSERT_TRUE(route.by_id);
  for (const Sample& sample : reliability::Samples()) {
    const tsl_base::Table table(reliability::CallTable(route, sample.reply));
    if (!table) continue;
    for (const bool batch : {false, true}) {
      SCOPED_TRACE(sample.name + (batch ? ", batch" : ""));
      EXPECT_EQ(ExportArrow(route, sample.reply, batch, 0, GetParam()).heap.blocks, 0);
      for (long n = 1; !HasFailure(); ++n) {
        const Export result = ExportArrow(route, sample.reply, batch, n, GetParam());
        EXPECT_EQ(result.heap.blocks, 0) << "lost memory at allocation " << n;
        EXPECT_EQ(result.error, result.failed.total() == 0 ? 0 : ENOMEM);
        if (result.failed.total() == 0) break;
        ++failures;
      }
    }
  }
  std::printf("Arrow: %ld failures\n", failures);
  EXPECT_GT(failures, 100);
}

// What a thread sets up with its first table.
TEST_P(FailingMemory, TheFirstTableOfAThread) {
  const Route& route = reliability::Routes()[1];
  long failures = 0;
  for (const Sample& sample : reliability::Samples()) {
    SCOPED_TRACE(sample.name);
    const std::string whole = reliability::CallText(route, sample.reply);
    bool failed = true;
    for (long n = 1; failed && !HasFailure(); ++n) {
      std::thread thread([&] {
        bool thrown = false;
        reliability::FailAllocation(n, GetParam());
        try {
          table_free(reliability::CallTable(route, sample.reply));
        } catch (const std::bad_alloc&) {
          thrown = true;
        }
        failed = reliability::StopFailing().total() != 0;
        failures += failed ? 1 : 0;
        EXPECT_EQ(thrown, failed);
        EXPECT_EQ(reliability::CallText(route, sample.reply), whole);
      });
      thread.join();
    }
  }
  EXPECT_GT(failures, 100);
}

// protobuf keeps what the schema does not know, and loses the one item that it was adding when its list of
// them could not grow.
TEST_P(FailingMemory, UnknownFieldsLoseAtMostOneItem) {
  const std::string text = Bytes(100000, "a text too long to stand within the string object itself");
  for (const std::string& reply :
       {reliability::NestedGroups(reliability::kDeepest), Number(1, 20) + text + text}) {
    for (const Route& route : reliability::Routes()) {
      FailEach(route, reply, [](const Outcome&, const Outcome& outcome) {
        EXPECT_LE(outcome.heap.blocks, 2);  // a text is two blocks
        EXPECT_LE(outcome.heap.bytes, 128);
      });
    }
  }
}

// A child that its parent cannot take is not made: names in a wire table can shift its columns, and a column
// can bring more tables than the first one has rows.
TEST(WireTables, LoseNoChildren) {
  const std::string child = Bytes(7, Info("ShiJian", 'i') + Data(Bytes(2, "\1")));
  const std::string row = Data(Bytes(2, "\1"));
  for (const std::string& payload :
       {Info("i", 'i') + Info("t", 't') + row + Data(child + child + child), Info("a;b", 't') + Data(child),
        Info("i", 'i') + Info(std::string("cut\0", 4), 't') + row + Data(child),
        Info("x:q;y:q;z", 't') + Data(child + child),
        Info("i", 'i') + Info("t", 't') + row + Data(Bytes(7, "") + child)}) {
    const std::string reply = reliability::WireReply(payload);
    for (const Route& route : reliability::Routes()) {
      Call(route, reply, 0, Failing::kOne);
      const Outcome outcome = Call(route, reply, 0, Failing::kOne);
      EXPECT_EQ(outcome.heap.blocks, 0) << route.name << ", " << payload;
      EXPECT_FALSE(route.by_id && outcome.is_null) << payload;
    }
  }
}

TEST(Numbers, NeedNoMemory) {
  int divisor = 0;
  reliability::StartCounting();
  EXPECT_EQ(TesparserInt64ToDouble(0x4D2, &divisor), 12.34);
  EXPECT_EQ(TesparserInt64ToInt(0x4D2, &divisor), 12);
  EXPECT_EQ(reliability::StopCounting().calls, 0);
}

}  // namespace
