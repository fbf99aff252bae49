#include "replies/packer.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "replies/unpacked_source.h"
#include "tests/support/packed.h"

namespace replies {
namespace {

std::string PackedInPieces(Packing packing, std::string_view bytes, size_t piece) {
  std::string packed;
  const auto packer = MakePacker(packing, [&packed](std::string_view part) { packed += part; });
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), piece)))
    packer->Add(bytes.substr(0, piece));
  packer->End();
  return packed;
}

class OneRead : public ByteSource {
 public:
  explicit OneRead(std::string_view bytes) : bytes_(bytes) {}
  size_t Read(char* to, size_t size) override {
    const size_t given = bytes_.copy(to, size);
    bytes_.remove_prefix(given);
    return given;
  }
  bool HasPaused() override { return true; }

 private:
  std::string_view bytes_;
};

// Throws InputError where it is not whole.
std::string UnpackedAgain(std::string_view packed) {
  OneRead source(packed);
  UnpackedSource unpacked(&source);
  std::string all;
  std::string room(5000, '\0');
  while (const size_t got = unpacked.Read(room.data(), room.size()))
    all.append(room, 0, got);
  return all;
}

// Bytes without any order, which no packing makes smaller.
std::string Noise(size_t size) {
  std::string bytes;
  uint32_t state = 1;
  while (bytes.size() < size) {
    state = state * 1103515245 + 12345;
    bytes += static_cast<char>(static_cast<unsigned char>(state >> 24));
  }
  return bytes;
}

TEST(Packer, WhatItPacksIsRecognisedAndComesBack) {
  for (const Packing packing : kPackings) {
    SCOPED_TRACE(NameOf(packing));
    const std::string text = "a reply, and another reply, and another reply\n";
    const std::string packed = PackedInPieces(packing, text, text.size());
    EXPECT_EQ(RecognisePacking(packed), packing);
    EXPECT_EQ(UnpackedAgain(packed), text);
  }
}

// 64 KB are a block of its own.
TEST(Packer, BytesOfAnySizeInPiecesOfAnySize) {
  for (const Packing packing : kPackings) {
    for (const size_t size : {size_t{1}, size_t{65535}, size_t{65536}, size_t{65537}, size_t{1000000}}) {
      SCOPED_TRACE(std::string(NameOf(packing)) + " " + std::to_string(size));
      const std::string noise = Noise(size);
      EXPECT_TRUE(UnpackedAgain(PackedInPieces(packing, noise, noise.size())) == noise);
      EXPECT_TRUE(UnpackedAgain(PackedInPieces(packing, noise, 4099)) == noise);
    }
  }
}

TEST(Packer, ZerosTakeNextToNothing) {
  for (const Packing packing : kPackings) {
    SCOPED_TRACE(NameOf(packing));
    const std::string zeros(1000000, '\0');
    const std::string packed = PackedInPieces(packing, zeros, 70000);
    EXPECT_LT(packed.size(), 10000U);
    EXPECT_TRUE(UnpackedAgain(packed) == zeros);
  }
}

TEST(Packer, NothingIsAWholeStream) {
  for (const Packing packing : kPackings) {
    SCOPED_TRACE(NameOf(packing));
    const std::string packed = PackedInPieces(packing, "", 1);
    EXPECT_EQ(RecognisePacking(packed), packing);
    EXPECT_EQ(UnpackedAgain(packed), "");
  }
}

// Bytes 4 to 7 of gzip are the time.
TEST(Packer, GzipHoldsNoTime) {
  EXPECT_EQ(PackedInPieces(Packing::kGzip, "a", 1).substr(4, 4), std::string(4, '\0'));
}

// Bit 2 of the byte behind the four of the magic number. Of xz it is the second one behind six, where 4 is a
// CRC of 64 bits. The other two always have one.
TEST(Packer, EachHasAChecksumOfItsContent) {
  EXPECT_EQ(PackedInPieces(Packing::kLz4, "a", 1)[4] & 4, 4);
  EXPECT_EQ(PackedInPieces(Packing::kZstd, "a", 1)[4] & 4, 4);
  EXPECT_EQ(PackedInPieces(Packing::kXz, "a", 1)[7], 4);
}

// The second byte behind the six of the magic number: 4 is CRC64, as the program itself has it.
TEST(Packer, XzHasAChecksumOfItsContent) {
  EXPECT_EQ(PackedInPieces(Packing::kXz, "a", 1)[7], 4);
}

#ifdef __GLIBC__
// The least of them takes 100 KB.
TEST(Packer, GivesItsMemoryBack) {
  const auto in_use = [] {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
  };
  for (const Packing packing : kPackings) {
    size_t before = 0;
    for (int round = 0; round < 5; ++round) {
      EXPECT_EQ(UnpackedAgain(PackedInPieces(packing, "text", 4)), "text");
      if (round == 0) before = in_use();
    }
    EXPECT_LT(in_use(), before + 20'000) << NameOf(packing);
  }
}
#endif

TEST(Packer, WithoutItsEndAStreamIsNotWhole) {
  for (const Packing packing : kPackings) {
    SCOPED_TRACE(NameOf(packing));
    std::string packed;
    const auto packer = MakePacker(packing, [&packed](std::string_view part) { packed += part; });
    packer->Add(Noise(1000000));
    EXPECT_THROW(UnpackedAgain(packed), InputError);
  }
}

TEST(Packer, WhatTheSinkThrowsPassesThrough) {
  for (const Packing packing : kPackings) {
    SCOPED_TRACE(NameOf(packing));
    const auto packer = MakePacker(packing, [](std::string_view) { throw std::length_error("full"); });
    EXPECT_THROW(
        {
          packer->Add(Noise(1000000));
          packer->End();
        },
        std::length_error);
  }
}

}  // namespace
}  // namespace replies
