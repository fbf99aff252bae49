#include "replies/encodings.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/replies/samples.h"

namespace replies {
namespace {

using Views = std::vector<std::string_view>;

TEST(Hex, PairsMayBeSeparatedAndPrefixed) {
  for (const char* text :
       {"081412024142", "08 14 12 02 41 42", "08:14:12:02:41:42", "0x08, 0x14, 0x12, 0x02, 0x41, 0x42",
        "\\x08\\x14\\x12\\x02\\x41\\x42", "0814-1202\n4142\n", "# a remark: 99\n0814 1202 # more\n4142"}) {
    EXPECT_EQ(DecodeHex(text), kReplyBytes) << text;
  }
  EXPECT_EQ(DecodeHex("aBcD"), "\xAB\xCD");
}

TEST(Hex, WhatIsNoHexIsRefusedAtItsPlace) {
  size_t bad = 0;
  EXPECT_FALSE(DecodeHex("08g4", &bad));
  EXPECT_EQ(bad, 2u);
  EXPECT_FALSE(DecodeHex("081", &bad));
  EXPECT_EQ(bad, 3u);
  // An x leads in digits alone.
  EXPECT_FALSE(DecodeHex("0xg1", &bad));
  EXPECT_EQ(bad, 1u);
  EXPECT_FALSE(DecodeHex("1x41", &bad));
  EXPECT_EQ(bad, 1u);
  EXPECT_FALSE(DecodeHex("410x"));
  EXPECT_FALSE(DecodeHex(std::string_view("0x41").substr(0, 2)));
}

// The neighbours of the digits in ASCII.
TEST(Hex, TheDigitsAreSixteenAndSixLetters) {
  const std::string digits = "0123456789abcdefABCDEF";
  for (size_t i = 0; i < digits.size(); ++i)
    EXPECT_EQ(DecodeHex(std::string("0") + digits[i]), std::string(1, static_cast<char>(i < 16 ? i : i - 6)));
  for (const char c : {'/', '@', 'G', '`', 'g'}) {
    EXPECT_FALSE(DecodeHex(std::string("0") + c)) << c;
    EXPECT_FALSE(DecodeHex(c + std::string("0"))) << c;
  }
}

TEST(Hex, DumpsAreReadWithoutTheirOffsetsAndText) {
  EXPECT_EQ(DecodeHexDump("00000000  08 14 12 02 41 42                                 |....AB|\n00000006\n"),
            kReplyBytes);
  EXPECT_EQ(DecodeHexDump("00000000: 0814 1202 4142                           ....AB\n"), kReplyBytes);
  EXPECT_EQ(DecodeHexDump("00000000  08 14 12 02  41 42  |....AB|\n"), kReplyBytes);
  EXPECT_FALSE(DecodeHexDump("no dump"));
}

TEST(Hex, ADumpWithABadLineIsNone) {
  EXPECT_EQ(DecodeHexDump("000000 08 14\n\n000002 12 02\n"), std::string("\x08\x14\x12\x02"));
  EXPECT_EQ(DecodeHexDump("000000 08 14\n000002 1x 02\n"), std::nullopt);
  EXPECT_EQ(DecodeHexDump("000000 08 14\n02 12 02\n"), std::nullopt);
}

TEST(Hex, TheOffsetsOfADumpAreSixHexadecimalDigitsOrMore) {
  const std::string bytes = "\x08\x14";
  for (const char* offset : {"000000", "0000000", "00000000", "0000000000000000", "09afAF"}) {
    EXPECT_EQ(DecodeHexDump(offset + std::string("  08 14")), bytes) << offset;
    EXPECT_EQ(DecodeHexDump(offset + std::string(": 0814  ..")), bytes) << offset;
  }
  for (const char* offset : {"", "0", "00000", "GHIJKL", "zzzzzz", "00000g", "00000G", "0000g0", "++++++"}) {
    EXPECT_EQ(DecodeHexDump(offset + std::string("  08 14")), std::nullopt) << offset;
    EXPECT_EQ(DecodeHexDump(offset + std::string(": 0814  ..")), std::nullopt) << offset;
  }
  // Digits of base64 behind enough of hexadecimal are none of the offset.
  for (const char* line : {"000000g: 0814", "000000+  08 14", "000000/  08 14"})
    EXPECT_EQ(DecodeHexDump(line), std::nullopt) << line;
}

TEST(Base64, BothAlphabetsWithAndWithoutPadding) {
  EXPECT_EQ(DecodeBase64("CBQSAkFC"), kReplyBytes);
  EXPECT_EQ(DecodeBase64("+/+/"), DecodeBase64("-_-_"));
  EXPECT_EQ(DecodeBase64("QQ=="), "A");
  EXPECT_EQ(DecodeBase64("QQ"), "A");
  EXPECT_EQ(DecodeBase64("CBQS\nAkFC\n"), kReplyBytes);
  EXPECT_FALSE(DecodeBase64("CBQSA"));
  EXPECT_FALSE(DecodeBase64("CBQ!"));
  EXPECT_FALSE(DecodeBase64("QQ==QQ=="));
}

TEST(Base64, TheDigitsAreSixtyFourAndTwoOfTheOtherAlphabet) {
  const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (unsigned i = 0; i < 64; ++i)
    EXPECT_EQ(DecodeBase64(std::string("AA") + digits[i] + "A"),
              (std::string{'\0', static_cast<char>(i >> 2), static_cast<char>((i & 3) << 6)}))
        << i;
  for (const char c : {'@', '[', '`', '{', ':', '*', ',', '.'})
    EXPECT_FALSE(DecodeBase64(std::string("AAA") + c)) << c;
}

TEST(Runs, OfHexAreUnbrokenButForEscapedLineEnds) {
  const Views none;
  EXPECT_EQ(HexRuns("order 1234567!"), none);
  EXPECT_EQ(HexRuns("order 12345678!"), Views{"12345678"});
  EXPECT_EQ(HexRuns("0816120141, 08171201;"), (Views{"0816120141", "08171201"}));
  EXPECT_EQ(HexRuns("got 0816\\n1201\\r\\n41 end"), Views{"0816\\n1201\\r\\n41"});
  EXPECT_EQ(HexRuns("got 0816\\t120141 end"), Views{"0816\\t120141"});
  EXPECT_EQ(HexRuns("x\\n0816120141"), Views{"0816120141"});
  EXPECT_EQ(HexRuns("{0816120141}"), Views{"0816120141"});
}

TEST(Runs, OfBase64EndWithTheirPadding) {
  EXPECT_EQ(Base64Runs("body=CBQSAkFCQ0Q= next=CBQSAkFCQ0RF"), (Views{"CBQSAkFCQ0Q=", "CBQSAkFCQ0RF"}));
  EXPECT_EQ(Base64Runs("CBQSAkFCQQ==CBQSAkFCQ0Q="), (Views{"CBQSAkFCQQ==", "CBQSAkFCQ0Q="}));
  EXPECT_EQ(Base64Runs("CBQSAkFCQQ===CBQSAkFCQ0Q="), (Views{"CBQSAkFCQQ==", "CBQSAkFCQ0Q="}));
  // The n of \\n is no digit.
  EXPECT_EQ(Base64Runs("CBQSAkFCQQ==\\nCBQSAkFCQ0Q="), (Views{"CBQSAkFCQQ==", "CBQSAkFCQ0Q="}));
  EXPECT_EQ(Base64Runs("hello world"), Views());
}

TEST(Runs, HaveParts) {
  EXPECT_EQ(PartsOfRun("reply/CBQS+AkFC-/_x="), (Views{"reply", "CBQS", "AkFC", "x"}));
  EXPECT_EQ(PartsOfRun("0816\\n1201\\r\\n41"), (Views{"0816", "1201", "41"}));
  EXPECT_EQ(PartsOfRun(""), Views());
  const std::string all = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  EXPECT_EQ(PartsOfRun("@" + all + "["), Views{all});
  EXPECT_EQ(PartsOfRun("z/9:A`a{"), (Views{"z", "9", "A", "a"}));
}

TEST(Base64, EncodesEveryRemainder) {
  EXPECT_EQ(EncodeBase64(""), "");
  EXPECT_EQ(EncodeBase64("f"), "Zg==");
  EXPECT_EQ(EncodeBase64("fo"), "Zm8=");
  EXPECT_EQ(EncodeBase64("foo"), "Zm9v");
}

}  // namespace
}  // namespace replies
