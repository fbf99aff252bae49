// tesview number.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::Strings;
using viewer::View;

TEST(Number, UnpacksAsTheTableOfScalesSays) {
  const std::vector<std::pair<std::string, std::string>> rows{{"0x4D2", "12.34"},
                                                              {"0x104D2", "123.4"},
                                                              {"0x304D2", "1.234"},
                                                              {"0x104E240", "12.3456"},
                                                              {"0xA04D2", "1234"},
                                                              {"0x1004D2", "-12.34"},
                                                              {"0xF004D2", "-12.34"},
                                                              {"0x1001170", "700"},
                                                              {"0x0", "0"},
                                                              {"0x20000", "none"},
                                                              {"0xB0000", "none"},
                                                              {"-1", "none"},
                                                              {"0xFA", "2.5"},
                                                              {"0x100096", "-1.5"},
                                                              {"0x100078", "-1.2"},
                                                              {"1234", "12.34"},
                                                              // No base of eight: 100 hundredths.
                                                              {"0100", "1"}};
  Strings arguments{"number"};
  std::string expected;
  for (const auto& [raw, number] : rows) {
    arguments.push_back(raw);
    expected += number + "\n";
  }
  EXPECT_EQ(View(arguments).out, expected);
}

TEST(Number, PackedSaysScaleAndSign) {
  EXPECT_EQ(View({"number", "--packed", "0xF004D2"}).out,
            "0xf004d2 = 15729874\n"
            "  number    -12.34\n"
            "  mantissa  1234\n"
            "  scale     code 0: 2 decimals, divided by 100\n"
            "  sign      nibble 15: negative\n"
            "  as int    -11\n");
  EXPECT_EQ(View({"number", "--packed", "0"}).out,
            "0x0 = 0\n"
            "  number    0\n"
            "  mantissa  0\n"
            "  scale     code 0: 2 decimals, divided by 100\n"
            "  sign      nibble 0: positive\n"
            "  as int    0\n");
  EXPECT_NE(
      View({"number", "--packed", "0x20000"}).out.find("  scale     code 2: a value that does not exist\n"),
      std::string::npos);
  EXPECT_NE(View({"number", "--packed", "0xB0000"}).out.find("  scale     code 11: invalid\n"),
            std::string::npos);
  EXPECT_NE(
      View({"number", "--packed", "0x104D2"}).out.find("  scale     code 1: 1 decimal, divided by 10\n"),
      std::string::npos);
  EXPECT_NE(View({"number", "--packed", "-1"}).out.find("  scale     bit 63 is set: no packed decimal\n"),
            std::string::npos);
}

TEST(Number, PacksTheOtherWay) {
  // 0x4d2, 0x1004d2, 0xa0000 | 700, 0x1004e240 is 123456 with code 4.
  EXPECT_EQ(View({"number", "--pack", "12.34", "-12.34", "700", "12.3456"}).out,
            "1234\n1049810\n656060\n17097280\n");
  EXPECT_EQ(View({"number", "--pack", "1.2345678901"}).code, 2);
}

TEST(Number, HasSixtyFourBits) {
  const auto says = [](const Strings& values) {
    Strings arguments{"number"};
    arguments.insert(arguments.end(), values.begin(), values.end());
    const Result result = View(arguments);
    return result.out + result.err;
  };
  // 1234 by scale code 0 are hundredths; sign nibble 1.
  EXPECT_EQ(says({"1234", "0x4D2", "0X4d2", "0x1004D2"}), "12.34\n12.34\n12.34\n-12.34\n");
  EXPECT_EQ(says({"9223372036854775807"}), says({"0x7FFFFFFFFFFFFFFF"}));
  // Bit 63: no number.
  EXPECT_EQ(says({"-9223372036854775808", "0xFFFFFFFFFFFFFFFF"}), "none\nnone\n");
  for (const std::string wrong :
       {"9223372036854775808", "-9223372036854775809", "0x10000000000000000", "0x", "12a", "0xg", ""}) {
    EXPECT_EQ(says({wrong}), "tesview: \"" + wrong +
                                 "\" is no 64-bit number, as 1234 and 0x4D2 are; --pack takes 12.34 "
                                 "(tesview --help tells more)\n");
  }
}

TEST(Number, IsPackedWithinFiftyFiveBitsAndNinePlaces) {
  // -1.5: mantissa 15, scale code 1, sign 1. 2^55 - 1 is all of the mantissa: bits 24 to 62 and 0 to 15.
  const Result good = View({"number", "--pack", "-1.5", "36028797018963967", "0.000000001"});
  EXPECT_EQ(good.out, std::to_string(0x110000 | 15) + "\n" +
                          std::to_string(int64_t{0x7FFFFFFFFF} << 24 | 0xA0000 | 0xFFFF) + "\n" +
                          std::to_string(0x90000 | 1) + "\n");
  for (const std::string wrong :
       {"36028797018963968", "99999999999999999999", "0.0000000001", "1,5", "1.5x", ""}) {
    const Result result = View({"number", "--pack", wrong});
    EXPECT_EQ(result.err.find("tesview: \"" + wrong + "\" cannot be packed: it takes digits"), 0U)
        << result.err;
    EXPECT_EQ(result.code, 2) << wrong;
  }
}

TEST(Number, AMinusBeforeAPointIsNoOption) {
  // Mantissa 5, scale code 1, sign 1.
  EXPECT_EQ(View({"number", "--pack", "-.5"}).out, std::to_string(0x110000 | 5) + "\n");
  EXPECT_EQ(View({"number", "-x"}).err, "tesview: unknown option -x (tesview --help tells more)\n");
  EXPECT_EQ(View({"number", "-"}).err,
            "tesview: \"-\" is no 64-bit number, as 1234 and 0x4D2 are; --pack takes 12.34 "
            "(tesview --help tells more)\n");
}

TEST(Number, PackedShowsAMantissaOfMoreThanSixteenBits) {
  // 123456 is 0x1E240: 0x1 from bit 24 on, 0xE240 in the lowest 16 bits. 0x100E240 is 16777216 + 57920.
  EXPECT_EQ(View({"number", "--packed", "0x100E240"}).out,
            "0x100e240 = 16835136\n"
            "  number    1234.56\n"
            "  mantissa  123456\n"
            "  scale     code 0: 2 decimals, divided by 100\n"
            "  sign      nibble 0: positive\n"
            "  as int    1235\n");
}

}  // namespace
