#include "replies/packing.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace replies {
namespace {

TEST(RecognisePacking, TakesAllOfTheFirstBytes) {
  const std::string pi = "\x31\x41\x59\x26\x53\x59";
  const std::string root_of_pi = "\x17\x72\x45\x38\x50\x90";
  const std::vector<std::pair<std::string, Packing>> begins{{"\x1F\x8B\x08", Packing::kGzip},
                                                            {"BZh1" + pi, Packing::kBzip2},
                                                            {"BZh9" + pi, Packing::kBzip2},
                                                            {"BZh9" + root_of_pi, Packing::kBzip2},
                                                            {std::string("\xFD"
                                                                         "7zXZ\0",
                                                                         6),
                                                             Packing::kXz},
                                                            {"\x28\xB5\x2F\xFD", Packing::kZstd},
                                                            {"\x04\x22\x4D\x18", Packing::kLz4}};
  for (const auto& [begin, packing] : begins) {
    EXPECT_EQ(RecognisePacking(begin), packing) << NameOf(packing);
    EXPECT_EQ(RecognisePacking(begin + "more"), packing) << NameOf(packing);
    for (size_t size = 0; size < begin.size(); ++size) {
      // As far as they go they may become it, and another byte ends that.
      EXPECT_EQ(RecognisePacking(begin.substr(0, size)), std::nullopt) << NameOf(packing) << " " << size;
      EXPECT_EQ(RecognisePacking(begin.substr(0, size) + "\x7F" + begin.substr(size + 1)), Packing::kNone)
          << NameOf(packing) << " " << size;
    }
  }
  for (const std::string none : {"BZh0", "BZh:"})
    EXPECT_EQ(RecognisePacking(none + pi), Packing::kNone) << none;
}

TEST(RecognisePacking, HasTheNamesOfThePrograms) {
  EXPECT_STREQ(NameOf(Packing::kNone), "not packed");
  EXPECT_STREQ(NameOf(Packing::kGzip), "gzip");
  EXPECT_STREQ(NameOf(Packing::kBzip2), "bzip2");
  EXPECT_STREQ(NameOf(Packing::kXz), "xz");
  EXPECT_STREQ(NameOf(Packing::kZstd), "zstd");
  EXPECT_STREQ(NameOf(Packing::kLz4), "lz4");
  EXPECT_EQ(MakeUnpacker(Packing::kNone), nullptr);
}

}  // namespace
}  // namespace replies
