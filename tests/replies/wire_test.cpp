#include "replies/wire.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "replies/encodings.h"
#include "tests/replies/samples.h"

namespace replies {
namespace {

TEST(Wire, AVarintIsReadToItsEnd) {
  size_t pos = 0;
  uint64_t value = 0;
  EXPECT_TRUE(ReadVarint("\x96\x01", &pos, &value));
  EXPECT_EQ(value, 150u);
  EXPECT_EQ(pos, 2u);
}

TEST(Wire, AVarintThatIsCutOrTooLongIsNone) {
  size_t pos = 0;
  uint64_t value = 7;
  EXPECT_FALSE(ReadVarint("\x96", &pos, &value));
  EXPECT_FALSE(ReadVarint(std::string(11, '\xFF'), &pos, &value));
  EXPECT_EQ(pos, 0u);
  EXPECT_EQ(value, 7u);
  EXPECT_TRUE(ReadVarint(std::string(9, '\xFF') + '\x01', &pos, &value));
  EXPECT_EQ(value, ~uint64_t{0});
}

TEST(Wire, AReplyBeginsWithItsId) {
  EXPECT_TRUE(LooksLikeReply(kReplyBytes));
  EXPECT_FALSE(LooksLikeReply(""));
  EXPECT_FALSE(
      LooksLikeReply("\x12\x02"
                     "AB"));
  EXPECT_FALSE(LooksLikeReply(kReplyBytes.substr(0, 5)));
  EXPECT_TRUE(LooksLikeStartOfReply(kReplyBytes.substr(0, 5)));
  EXPECT_FALSE(LooksLikeReply(kReplyBytes + "\x0F"));
}

TEST(Wire, TheLastIdCounts) {
  int32_t id = 0;
  EXPECT_TRUE(FindId("\x08\x14\x08\x15", &id));
  EXPECT_EQ(id, 21);
  EXPECT_TRUE(FindId(std::string("\x08") + std::string(9, '\xFF') + '\x01', &id));
  EXPECT_EQ(id, -1);
  EXPECT_FALSE(
      FindId("\x12\x02"
             "AB",
             &id));
}

TEST(Wire, AnIdInFrontIsTakenWithoutALookBehindIt) {
  int32_t id = 0;
  EXPECT_TRUE(IdInFront("\x08\x14\x08\x15", &id));
  EXPECT_EQ(id, 20);
  // A field that is cut.
  EXPECT_TRUE(IdInFront("\x08\x96\x01\x12\x7F", &id));
  EXPECT_EQ(id, 150);
  // A text before it.
  EXPECT_TRUE(IdInFront("\x12\x01\x41\x08\x16\x08\x17", &id));
  EXPECT_EQ(id, 23);
  EXPECT_FALSE(IdInFront("\x12\x01\x41", &id));
  EXPECT_FALSE(IdInFront("\x08\x96", &id));
  EXPECT_FALSE(IdInFront("", &id));
}

WireStep StepOf(const std::string& bytes) {
  size_t pos = 0;
  WireField field;
  return ReadField(bytes, &pos, &field);
}

TEST(Wire, AFixedFieldHasItsEightOrFourBytes) {
  // Field 2, of 64 bits and of 32.
  for (const auto& [tag, size] : {std::pair<char, size_t>{'\x11', 8}, {'\x15', 4}}) {
    const std::string content = std::string("ABCDEFGH").substr(0, size);
    const std::string bytes = tag + content + "\x08\x14";
    size_t pos = 0;
    WireField field;
    ASSERT_EQ(ReadField(bytes, &pos, &field), WireStep::kField);
    EXPECT_EQ(field.number, 2u);
    EXPECT_EQ(field.payload, content);
    EXPECT_EQ(pos, 1 + size);
    ASSERT_EQ(ReadField(bytes, &pos, &field), WireStep::kField);
    EXPECT_EQ(field.varint, 20u);
    EXPECT_EQ(field.offset, 1 + size);
    EXPECT_EQ(ReadField(bytes, &pos, &field), WireStep::kEnd);
    EXPECT_EQ(StepOf(bytes.substr(0, size)), WireStep::kCut);
    EXPECT_TRUE(LooksLikeReply("\x08\x14" + bytes.substr(0, 1 + size)));
    EXPECT_FALSE(LooksLikeReply("\x08\x14" + bytes.substr(0, size)));
  }
}

TEST(Wire, AVarintMayGoOnForTenBytesAndNoMore) {
  // As the tag, as the value behind a tag, as the length behind one.
  for (const std::string before : {"", "\x08", "\x12"}) {
    EXPECT_EQ(StepOf(before + std::string(9, '\xFF')), WireStep::kCut) << before.size();
    EXPECT_EQ(StepOf(before + std::string(10, '\xFF')), WireStep::kBroken) << before.size();
  }
  EXPECT_EQ(StepOf("\x08" + std::string(9, '\xFF') + '\x01'), WireStep::kField);
  EXPECT_EQ(StepOf("\x08" + std::string(10, '\xFF') + '\x01'), WireStep::kBroken);
}

TEST(Wire, FieldNumbersEndBelowTwoToTheTwentyNinth) {
  // Number 536870911 with wire type 0: the tag is 0xFFFFFFF8.
  const std::string largest = "\xF8\xFF\xFF\xFF\x0F\x07";
  size_t pos = 0;
  WireField field;
  ASSERT_EQ(ReadField(largest, &pos, &field), WireStep::kField);
  EXPECT_EQ(field.number, 536870911u);
  EXPECT_EQ(field.varint, 7u);
  // One more: 0x100000000. And 0, which is none either.
  EXPECT_EQ(StepOf("\x80\x80\x80\x80\x10\x07"), WireStep::kBroken);
  EXPECT_EQ(StepOf(std::string("\x00\x07", 2)), WireStep::kBroken);
}

TEST(Wire, ALengthIsNotLongerThanAReplyMayBe) {
  // 0x7FFFFFFF and one more.
  EXPECT_EQ(StepOf("\x12\xFF\xFF\xFF\xFF\x07"), WireStep::kCut);
  EXPECT_EQ(StepOf("\x12\x80\x80\x80\x80\x08"), WireStep::kBroken);
}

TEST(Wire, GroupsAndUnknownWireTypesAreBroken) {
  for (const char tag : {'\x13', '\x14', '\x16', '\x17'})
    EXPECT_EQ(StepOf(std::string(1, tag) + "\x08\x14"), WireStep::kBroken) << static_cast<int>(tag);
}

TEST(Envelope, HasNumbersForItsIdAndCountAndLengthsForTheRest) {
  EXPECT_TRUE(LooksLikeEnvelope(kReplyBytes));
  EXPECT_TRUE(LooksLikeEnvelope("\x08\x14\x28\x05"));
  // The date 08122024: field 4 as a number. And the count as text, the object with 64 and with 32 bits.
  EXPECT_FALSE(LooksLikeEnvelope("\x08\x12\x20\x24"));
  EXPECT_FALSE(LooksLikeEnvelope("\x08\x14\x2A\x01x"));
  EXPECT_FALSE(
      LooksLikeEnvelope("\x08\x14\x11"
                        "ABCDEFGH"));
  EXPECT_FALSE(
      LooksLikeEnvelope("\x08\x14\x15"
                        "ABCD"));
  EXPECT_FALSE(LooksLikeEnvelope(kReplyBytes.substr(0, 5)));
}

TEST(Envelope, BeginsWithAnIdAndAFieldThatFits) {
  // Object, table, table as text; a payload under the number of the Id (20: tag 162, a2 01); the count.
  for (const std::string bytes :
       {"\x08\x14\x12\x7F", "\x08\x14\x1A", "\x08\x14\x22", "\x08\x14\xA2\x01\x05", "\x08\x14\x28"})
    EXPECT_TRUE(BeginsLikeEnvelope(bytes)) << EncodeHex(bytes);
  // Nothing behind the Id, an Id again, a number as the object, another payload (21), the count as text, no
  // Id.
  for (const std::string bytes : {"", "\x08", "\x08\x14", "\x08\x14\x08\x14", "\x08\x14\x10\x01",
                                  "\x08\x14\xAA\x01\x05", "\x08\x14\x2A\x01",
                                  "\x12\x02"
                                  "AB",
                                  "\x08\x14\x0A\x01x", "\x09\x14\x12\x7F"})
    EXPECT_FALSE(BeginsLikeEnvelope(bytes)) << EncodeHex(bytes);
  // Each with every wire type: numbers are the Id and the count only.
  for (int type = 0; type < 8; ++type) {
    const auto with = [type](int tag) { return std::string(1, static_cast<char>(tag | type)); };
    EXPECT_EQ(BeginsLikeEnvelope("\x08\x14" + with(0x10)), type == 2) << type;
    EXPECT_EQ(BeginsLikeEnvelope("\x08\x14" + with(0xA0) + "\x01"), type == 2) << type;
    EXPECT_EQ(BeginsLikeEnvelope("\x08\x14" + with(0x28)), type == 0) << type;
  }
}

TEST(Envelope, HasOneId) {
  EXPECT_FALSE(HasSeveralIds(kReplyBytes));
  EXPECT_TRUE(HasSeveralIds(kReplyBytes + kReplyBytes));
  // Field 1 with a length is no Id.
  EXPECT_FALSE(HasSeveralIds(kReplyBytes + "\x0A\x01x"));
}

// A reply, damaged ones, and ones with a long head, in pieces of every size: as if they had come at once.
TEST(GrowingReply, KnowsWhatTheWholeLooksLike) {
  const Strings messages{
      kReplyBytes, kReplyBytes + kReplyBytes, "\x08" + std::string(9, '\xFF') + "\x01" + "\x12\x80\x80\x00",
      "\x08\x14\x11"
      "ABCDEFGH"
      "\x15"
      "ABCD",
      "\x12\x02"
      "AB",
      kReplyBytes + "\x0F" + kReplyBytes, "\x08\x14" + std::string(12, '\xFF'),
      "\x08\x14\x12\xFF\xFF\xFF\xFF\x07"
      "AB",
      "\x08\x14\x12\x80\x80\x80\x80\x08"
      "AB",
      // Longer than any head.
      "\x08\x14\x12\x1E" + std::string(30, 'x'), "\x08\x14\x12\x1E" + std::string(30, 'x') + "\x0F",
      "\x08\x14" + std::string("\x12\x00\x12\x01", 4)};
  for (const std::string& message : messages) {
    for (size_t size = 0; size <= message.size(); ++size) {
      for (size_t piece = 1; piece <= size; ++piece) {
        const std::string bytes = message.substr(0, size);
        GrowingReply reply;
        for (size_t at = 0; at < size; at += piece)
          reply.Append(bytes.substr(at, piece));
        EXPECT_EQ(reply.looks_whole(), LooksLikeReply(bytes)) << EncodeHex(bytes) << " by " << piece;
        EXPECT_EQ(reply.looks_begun(), LooksLikeStartOfReply(bytes)) << EncodeHex(bytes) << " by " << piece;
      }
    }
  }
}

}  // namespace
}  // namespace replies
