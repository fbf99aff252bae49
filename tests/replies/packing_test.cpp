#include "replies/packing.h"

#include <gtest/gtest.h>
#include <lzma.h>

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

// What xz has behind its parts: CRC32, the lowest byte first.
std::string WithChecksum(const std::string& bytes) {
  const uint32_t sum = lzma_crc32(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), 0);
  std::string all = bytes;
  for (int shift = 0; shift < 32; shift += 8)
    all += static_cast<char>(sum >> shift & 0xFF);
  return all;
}

std::string WhyBroken(const std::string& bytes) {
  const auto unpacker = MakeUnpacker(Packing::kXz);
  std::string_view packed = bytes;
  std::string given(100, '\0');
  Room room{given.data(), given.size()};
  std::string why;
  EXPECT_EQ(unpacker->Unpack(&packed, &room, &why), Unpacker::Step::kBroken);
  EXPECT_EQ(room.size, given.size());
  return why;
}

TEST(Xz, SaysWhatItDoesNotUnpack) {
  using std::string_literals::operator""s;
  const std::string magic = "\xFD\x37zXZ\0"s;
  EXPECT_EQ(WhyBroken("abcdefghijkl"), "no xz");
  // The first byte of its flags is for versions to come.
  EXPECT_EQ(WhyBroken(magic + WithChecksum("\x01\x00"s)), "an xz that is not known here");
  // A block of one filter, LZMA2, whose dictionary takes 3 * 2^29 bytes: 1.5 GB.
  const std::string begin = magic + WithChecksum("\x00\x00"s);
  EXPECT_EQ(WhyBroken(begin + WithChecksum("\x02\x00\x21\x01\x25\x00\x00\x00"s)),
            "unpacking it takes more than 1 GB of memory");
  EXPECT_EQ(WhyBroken(begin + WithChecksum("\x02\x00\x21\x01\x25\x00\x00\x00"s).replace(8, 1, "x")),
            "a checksum or a code in it is wrong");
}

}  // namespace
}  // namespace replies
