// Claim: whichever allocation of a call fails, the call says that memory ran out or gives what it gives
// otherwise, and the next call works. What is lost is what the exports lose: a table in the making, or some
// blocks of jansson's.
#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/capi/memory_calls.h"
#include "tests/reliability/replies.h"
#include "tests/support/json.h"
#include "tests/support/packed.h"

namespace {

using capi_memory::Outcome;
using reliability::Failing;
using reliability::Sample;

const google::protobuf::LogSilencer kQuiet;

// If RELIABILITY_EVERY is set, each allocation with each sample, which takes a quarter of an hour.
const bool kEvery = std::getenv("RELIABILITY_EVERY") != nullptr;

std::vector<Sample> Replies() {
  std::vector<Sample> replies;
  // Otherwise of the samples the small ones: the large ones repeat themselves.
  for (const Sample& sample : reliability::Samples()) {
    if (kEvery || sample.reply.size() < 600) replies.push_back(sample);
  }
  const std::string nested = reliability::NestedTables(20);
  replies.push_back({"nested tables", nested});
  replies.push_back({"nested tables, cut", nested.substr(0, nested.size() - 1)});
  replies.push_back({"bad text", reliability::NestedBadText(10)});
  replies.push_back({"required fields missing", reliability::NestedWithoutRequired(10)});
  replies.push_back({"empty", ""});
  replies.push_back({"no table form", "\x08\x16"});
  replies.push_back({"nothing in it", "\x08\x14"});
  return replies;
}

// A thread remembers the specs of the tables that it made last.
void ForgetSpecs() {
  static int made = 1000000;
  for (int i = 0; i < 8; ++i)
    table_free(table_create(("column" + std::to_string(made++) + ":q").c_str(), 0, ""));
}

Outcome RunAfresh(capi_memory::Call call, const std::string& bytes, long n, Failing how) {
  ForgetSpecs();
  return capi_memory::Run(call, bytes, n, how);
}

class CFaceMemory : public testing::TestWithParam<Failing> {
 protected:
  // The first, second, third ... allocation fails until none is left. Returns how many failed.
  static long FailEach(capi_memory::Call call, const std::string& bytes, bool is_json) {
    RunAfresh(call, bytes, 0, Failing::kOne);  // fills what later calls use again
    const Outcome whole = RunAfresh(call, bytes, 0, Failing::kOne);
    long failures = 0;
    constexpr long kFirst = reliability::kBrief ? 50 : 100;
    // The first ones each, then some: streams make many small blocks that are alike.
    for (long n = 1;; n += kEvery || n < kFirst ? 1 : 1 + n / (kFirst / 3)) {
      SCOPED_TRACE("allocation " + std::to_string(n));
      const Outcome outcome = RunAfresh(call, bytes, n, GetParam());
      if (outcome.refused == 0) {
        ExpectSame(outcome, whole);
        return failures;
      }
      ++failures;
      if (outcome.reason == TESPARSER_OUT_OF_MEMORY) {
        EXPECT_FALSE(outcome.given);
      } else {
        EXPECT_EQ(outcome.given, whole.given);
        EXPECT_EQ(outcome.reason, whole.reason);
        // Where jansson was refused memory, a key or an element is missing.
        if (is_json)
          EXPECT_LE(outcome.size, whole.size);
        else
          EXPECT_EQ(outcome.size, whole.size);
      }
      ExpectSame(RunAfresh(call, bytes, 0, Failing::kOne), whole);
      if (HasFailure()) return failures;
    }
  }

  static void ExpectSame(const Outcome& outcome, const Outcome& whole) {
    EXPECT_EQ(outcome.given, whole.given);
    EXPECT_EQ(outcome.reason, whole.reason);
    EXPECT_EQ(outcome.size, whole.size);
    EXPECT_EQ(outcome.heap.calls, whole.heap.calls);
    EXPECT_EQ(outcome.heap.blocks, whole.heap.blocks);
  }
};

INSTANTIATE_TEST_SUITE_P(Allocations, CFaceMemory, testing::Values(Failing::kOne, Failing::kAllFrom),
                         [](const auto& how) {
                           return how.param == Failing::kOne ? "OneFails" : "AllFailFromThere";
                         });

TEST_P(CFaceMemory, EveryCallSaysThatItRanOut) {
  for (const capi_memory::NamedCall& call : capi_memory::kCalls) {
    long failures = 0;
    for (const Sample& sample : Replies()) {
      SCOPED_TRACE(std::string(call.name) + ", " + sample.name);
      failures += FailEach(call.call, sample.reply, call.call == capi_memory::Json);
      if (HasFailure()) return;
    }
    std::printf("%s: %ld failures\n", call.name, failures);
  }
}

// Where jansson was refused memory, the text lacks a key or an element, but never its end.
TEST_P(CFaceMemory, JsonIsAWholeTextOrNone) {
  const std::string bytes = reliability::NestedTables(20);
  long less = 0;
  for (long n = 1;; ++n) {
    reliability::FailAllocation(n, GetParam());
    char* text = tesparser_json(bytes.data(), bytes.size(), nullptr, nullptr);
    const bool refused = reliability::StopFailing().total() != 0;
    const OwnedJson parsed = text == nullptr ? nullptr : ParseJson(text);
    EXPECT_EQ(parsed != nullptr, text != nullptr) << n << ": " << text;
    less += refused && text != nullptr ? 1 : 0;
    tesparser_free(text);
    if (!refused) break;
  }
  std::printf("%ld texts in spite of a refusal\n", less);
}

// A failed call that had not come to the library yet has lost nothing.
TEST_P(CFaceMemory, ReadersLoseNothing) {
  const std::string bytes = reliability::NestedTables(20);
  for (long n = 1;; ++n) {
    const Outcome outcome = capi_memory::Run(capi_memory::Reader, bytes, n, GetParam());
    EXPECT_EQ(outcome.heap.blocks, 0) << n;
    if (outcome.refused == 0) break;
  }
}

// What the libraries of the packings allocate is refused them as well.
TEST_P(CFaceMemory, ReadersOfPackedBytesLoseNothing) {
  const std::string reply = reliability::NestedTables(20);
  // Its length, a varint of two bytes.
  ASSERT_GE(reply.size(), 128U);
  const std::string frame = std::string(1, static_cast<char>(0x80 | (reply.size() & 0x7F))) +
                            static_cast<char>(reply.size() >> 7) + reply;
  // More than the libraries unpack at once.
  constexpr size_t kFrames = 200;
  std::string stream;
  for (size_t i = 0; i < kFrames; ++i)
    stream += frame;
  for (const replies::Packing packing : replies::kPackings) {
    const std::string packed = replies::Packed(packing, stream);
    SCOPED_TRACE(static_cast<int>(packing));
    const Outcome whole = capi_memory::Run(capi_memory::PackedReader, packed, 0, GetParam());
    EXPECT_TRUE(whole.given);
    EXPECT_EQ(whole.size, kFrames * reply.size());
    long failures = 0;
    for (long n = 1;; ++n) {
      const Outcome outcome = capi_memory::Run(capi_memory::PackedReader, packed, n, GetParam());
      EXPECT_EQ(outcome.heap.blocks, 0) << n;
      if (outcome.refused == 0) break;
      ++failures;
      EXPECT_FALSE(outcome.given) << n;
      EXPECT_EQ(outcome.reason, TESPARSER_OUT_OF_MEMORY) << n;
    }
    EXPECT_GT(failures, 3);
  }
}

// It has been left in the middle of a reply.
TEST(CFace, AReaderThatRanOutSaysSoEachTime) {
  const std::string bytes = reliability::NestedTables(20);
  tesparser_reader* reader = tesparser_read_memory(bytes.data(), bytes.size(), TESPARSER_FORM_RAW, nullptr);
  ASSERT_NE(reader, nullptr);
  tesparser_reply reply;
  tesparser_error error;
  reliability::FailAllocation(1, Failing::kOne);
  EXPECT_EQ(tesparser_next(reader, &reply, &error), TESPARSER_NEXT_FAILED);
  EXPECT_EQ(reliability::StopFailing().total(), 1);
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(error.reason, TESPARSER_OUT_OF_MEMORY);
    EXPECT_EQ(tesparser_next(reader, &reply, &error), TESPARSER_NEXT_FAILED);
  }
  tesparser_reader_free(reader);
}

TEST(CFace, LeavesNothingBehind) {
  for (const capi_memory::NamedCall& call : capi_memory::kCalls) {
    for (const Sample& sample : Replies()) {
      RunAfresh(call.call, sample.reply, 0, Failing::kOne);
      ForgetSpecs();
      reliability::StartCounting();
      Outcome outcome;
      call.call(sample.reply, &outcome);
      ForgetSpecs();
      EXPECT_EQ(reliability::StopCounting().blocks, 0) << call.name << ", " << sample.name;
    }
  }
}

TEST(CFace, NeedsNoMemoryForNumbersAndNames) {
  reliability::StartCounting();
  int32_t divisor = 0;
  EXPECT_EQ(tesparser_unpack(0x4D2, &divisor), 12.34);
  EXPECT_EQ(tesparser_unpack_rounded(0x4D2, &divisor), 12);
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_OUT_OF_MEMORY), "out of memory");
  EXPECT_STREQ(tesparser_c_version(), TESPARSER_C_VERSION);
  EXPECT_EQ(reliability::StopCounting().calls, 0);
}

}  // namespace
