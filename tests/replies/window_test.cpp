#include "replies/window.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace replies {
namespace {

// Bytes that repeat after 251, so that a piece from another place is another piece.
std::string Pattern(size_t size) {
  std::string bytes;
  for (size_t i = 0; i < size; ++i)
    bytes += static_cast<char>(i % 251);
  return bytes;
}

TEST(Window, KeepsWhatIsLeftInFrontOfWhatItReads) {
  const std::string all = Pattern(size_t{2} << 20);
  for (const size_t left : {size_t{0}, size_t{1}, size_t{2}, size_t{1000}, kBlock, 5 * kBlock}) {
    MemorySource source(all);
    Window window(&source, 7);
    uint64_t read = 0;
    while (window.ReadMore()) {
      const std::string_view bytes = window.bytes();
      ASSERT_EQ(window.position(), 7 + read);
      ASSERT_TRUE(bytes == std::string_view(all).substr(read, bytes.size())) << left << " at " << read;
      const size_t dropped = bytes.size() - std::min(left, bytes.size());
      window.Drop(dropped);
      read += dropped;
    }
    EXPECT_EQ(read + window.bytes().size(), all.size());
    EXPECT_TRUE(window.ended());
  }
}

TEST(Window, FillsAsFarAsTheSourceGoes) {
  const std::string all = Pattern(1000);
  MemorySource source(all);
  Window window(&source);
  EXPECT_TRUE(window.Fill(0));
  EXPECT_TRUE(window.bytes().empty());
  EXPECT_TRUE(window.Fill(1000));
  EXPECT_FALSE(window.ended());
  EXPECT_FALSE(window.Fill(1001));
  EXPECT_TRUE(window.ended());
  EXPECT_EQ(window.bytes(), all);
}

}  // namespace
}  // namespace replies
