#include "replies/diagnosis.h"

#include <gtest/gtest.h>

#include <string>

#include "replies/text_form.h"
#include "tests/replies/samples.h"

namespace replies {
namespace {

std::string Bytes(const std::string& text) {
  std::string bytes;
  std::string error;
  EXPECT_TRUE(TextToBytes(text, true, &bytes, &error)) << error;
  return bytes;
}

TEST(Diagnosis, OfBytesThatAreNoReply) {
  EXPECT_EQ(WhyNoReply(""), "empty, 0 bytes");
  EXPECT_EQ(WhyNoReply("\x12\x01"
                       "A"),
            "not a reply: required field \"Id\" is missing (3 bytes read)");
  // Field 0 does not exist.
  EXPECT_EQ(WhyNoReply(std::string("\x08\x14\x00", 3)),
            "not a reply: no field can begin like the bytes at offset 2 (3 bytes read)");
  EXPECT_EQ(WhyNoTable("", std::nullopt), "empty, 0 bytes");
  EXPECT_EQ(WhyNoTableBriefly(""), "empty, 0 bytes");
}

TEST(Diagnosis, OfAReplyWithoutATable) {
  EXPECT_EQ(WhyNoTableBriefly(Bytes("Id: 44")), "no table form");
  EXPECT_EQ(WhyNoTableBriefly(kReply), "nothing to show: field \"RepDataQuoteDynaSingle\" is empty");
  EXPECT_EQ(
      WhyNoTable(kReply, std::nullopt),
      "Id 20 (QuoteDynaSingle): nothing to show: field \"RepDataQuoteDynaSingle\" is empty; try --to json");
  EXPECT_EQ(WhyNoTable(Bytes("Id: 44"), std::nullopt),
            "Id 44 (Token): no table form; try --to json or --type Token");
}

TEST(Diagnosis, OfATypeThatDoesNotFit) {
  EXPECT_EQ(WhyNoTable(kReply, TPTypeToken), "Id 20 (QuoteDynaSingle) gives no table of type Token");
  EXPECT_EQ(WhyNoTable(Bytes("Id: 44"), TPTypeDaDan),
            "Id 44 (Token) gives no table of type DaDan; try --type Token");
  EXPECT_EQ(WhyNoTable(Bytes("Id: 44"), TPTypeToken),
            "Id 44 (Token) gives no table of type Token; it has nothing to show");
}

}  // namespace
}  // namespace replies
