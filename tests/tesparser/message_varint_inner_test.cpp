// Numbers as the parsers of what has a table read them.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>

#include "tesparser/message_varint.h"

namespace {

// A number with bytes behind it that would belong to one, or would end one.
std::array<char, 16> Bytes(std::initializer_list<unsigned> number, unsigned behind) {
  std::array<char, 16> bytes{};
  bytes.fill(static_cast<char>(behind));
  size_t i = 0;
  for (const unsigned byte : number)
    bytes[i++] = static_cast<char>(byte);
  return bytes;
}

struct Read {
  uint64_t value = 0;
  ptrdiff_t length = 0;  // -1: no number
};

Read AtOnce(const std::array<char, 16>& bytes) {
  const char* at = bytes.data();
  const uint64_t value = google::protobuf::internal::ReadVarint64AtOnce(&at);
  if (at == nullptr) return {0, -1};
  return {value, at - bytes.data()};
}

// The name in brackets is the function's, not the macro's.
Read ByProtobuf(const std::array<char, 16>& bytes) {
  const char* at = bytes.data();
  const uint64_t value = (google::protobuf::internal::ReadVarint64)(&at);
  if (at == nullptr) return {0, -1};
  return {value, at - bytes.data()};
}

void ExpectRead(std::initializer_list<unsigned> number, uint64_t value) {
  for (const unsigned behind : {0x00U, 0x7fU, 0x80U, 0xffU}) {
    const Read read = AtOnce(Bytes(number, behind));
    EXPECT_EQ(read.value, value) << "behind it " << behind;
    EXPECT_EQ(read.length, static_cast<ptrdiff_t>(number.size())) << "behind it " << behind;
  }
}

TEST(MessageVarint, ReadsEachLength) {
  ExpectRead({0x00}, 0);
  ExpectRead({0x01}, 1);
  ExpectRead({0x7f}, 127);
  ExpectRead({0x80, 0x01}, 128);
  ExpectRead({0xac, 0x02}, 300);  // 0x2c + 2 * 128
  ExpectRead({0xff, 0x7f}, 16383);
  ExpectRead({0x80, 0x80, 0x01}, 16384);
  ExpectRead({0x81, 0x82, 0x83, 0x04}, 1 + 2 * 128 + 3 * 16384 + 4 * 2097152);
  ExpectRead({0x80, 0x80, 0x80, 0x80, 0x01}, uint64_t{1} << 28);
  ExpectRead({0x80, 0x80, 0x80, 0x80, 0x80, 0x01}, uint64_t{1} << 35);
  ExpectRead({0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x01}, uint64_t{1} << 42);
  ExpectRead({0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x7f}, (uint64_t{1} << 56) - 1);
  ExpectRead({0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x01}, uint64_t{1} << 56);
  ExpectRead({0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x01}, UINT64_MAX);
}

TEST(MessageVarint, ReadsNumbersThatAreLongerThanTheyNeedBe) {
  ExpectRead({0x80, 0x00}, 0);
  ExpectRead({0x81, 0x80, 0x00}, 1);
  ExpectRead({0xff, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x00}, 127);
}

TEST(MessageVarint, PutsEachBitInItsPlace) {
  for (unsigned bit = 0; bit < 64; ++bit) {
    std::array<char, 16> bytes{};
    const unsigned last = bit / 7;
    for (unsigned i = 0; i < last; ++i)
      bytes[i] = static_cast<char>(0x80);
    bytes[last] = static_cast<char>(1U << bit % 7);
    const Read read = AtOnce(bytes);
    EXPECT_EQ(read.value, uint64_t{1} << bit) << bit;
    EXPECT_EQ(read.length, static_cast<long>(last) + 1) << bit;
  }
}

TEST(MessageVarint, FindsNoNumberThatDoesNotEndWithinTenBytes) {
  EXPECT_EQ(AtOnce(Bytes({}, 0x80)).length, -1);
  EXPECT_EQ(AtOnce(Bytes({0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x01}, 0)).length, -1);
}

TEST(MessageVarint, ReadsWhatProtobufReads) {
  std::mt19937_64 random(20261122);
  for (int i = 0; i < 200000; ++i) {
    std::array<char, 16> bytes{};
    // Up to eleven bytes that do not end a number, then others.
    const unsigned open = static_cast<unsigned>(random() % 12);
    for (unsigned k = 0; k < bytes.size(); ++k)
      bytes[k] = static_cast<char>(k < open ? random() | 0x80 : random());
    const Read read = AtOnce(bytes);
    const Read expected = ByProtobuf(bytes);
    ASSERT_EQ(read.length, expected.length) << i;
    ASSERT_EQ(read.value, expected.value) << i;
  }
}

}  // namespace
