// Claims: what is done for several at once takes less than what has to look at each; what costs a walk over
// all is not done for each. By the processor's time, as shares of what the longer way takes in the same
// process.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/support/processor_time.h"
#include "tsl_base/arrow.h"
#include "tsl_base/table.h"
#include "tsl_base/text.h"

namespace {

using processor_time::TakesLess;
using tsl_base::text;

std::string Times(int count, const std::string& piece) {
  std::string all;
  for (int i = 0; i < count; ++i)
    all += piece;
  return all;
}

// A character, and one whose second byte has to be looked at to tell whether it is overlong.
const std::string kCharacter = "\u4E2D";
const std::string kCloserLook = "\u0915";

TEST(Speed, TextsAreCheckedEightCharactersAtATime) {
  const auto exported = [](std::string text) {
    return [text = std::move(text)] {
      ArrowSchema schema{};
      ArrowArray array{};
      void* table = table_create("s:s", 1, "");
      table_set_str(table, 0, 0, text.c_str(), 1);
      EXPECT_EQ(table_export_arrow(table, &schema, &array), 0);
      schema.release(&schema);
      array.release(&array);
    };
  };
  const auto fast = exported(Times(200'000, kCharacter));
  const auto slow = exported(Times(25'000, kCloserLook + Times(7, kCharacter)));
  EXPECT_TRUE(TakesLess(fast, 0.4, slow));
}

// The second of two has no code.
TEST(Speed, CharactersAreTranscodedTogether) {
  const std::string fast = Times(100'000, kCharacter + "\u6587");
  const std::string slow = Times(100'000, kCharacter + "\uAC00");
  EXPECT_TRUE(TakesLess([&] { text::Utf8toGb2312(fast); }, 0.4, [&] { text::Utf8toGb2312(slow); }));
}

// As long, with a letter of two bytes behind each of one.
TEST(Speed, AsciiIsPassedEightLettersAtATime) {
  const std::string slow = Times(100'000, "a\u00E9");
  for (const char* letters : {"ace", "bdf"}) {
    const std::string fast = Times(100'000, letters);
    EXPECT_TRUE(TakesLess([&] { text::Utf8toGb2312(fast); }, 0.3, [&] { text::Utf8toGb2312(slow); }))
        << letters;
  }
}

// Writes far behind all others, at rows that nothing was written to before.
class FarWrites {
 public:
  explicit FarWrites(int near) : table_(table_create("q:q", 100'000'000, "")) {
    for (int row = 0; row < near; ++row)
      table_set_int64(table_, row, 0, row);
  }
  ~FarWrites() { table_free(table_); }
  FarWrites(const FarWrites&) = delete;
  FarWrites& operator=(const FarWrites&) = delete;

  void operator()() const {
    for (int i = 0; i < 2000; ++i)
      table_set_int64(table_, row_ += 37, 0, i);
  }

 private:
  void* table_;
  mutable int row_ = 2'000'000;
};

// A million cells have their place at once, and an eighth of them is set.
TEST(Speed, FarCellsDoNotCountTheOthersEachTime) {
  const FarWrites beside(131'073);
  const FarWrites alone(0);
  EXPECT_TRUE(TakesLess(beside, 5, alone));
}

TEST(Speed, FreeingEndsBehindTheLastChild) {
  void* model = table_create(Times(200'000, "t:t;").c_str(), 0, "");
  const auto with_child_in = [model](int col) {
    return [model, col] {
      void* table = table_create_like(model, 1000, "");
      table_set_table_raw(table, 0, col, table_create("q:q", 1, ""));
      table_free(table);
    };
  };
  EXPECT_TRUE(TakesLess(with_child_in(0), 0.3, with_child_in(199'999)));
  table_free(model);
}

}  // namespace
