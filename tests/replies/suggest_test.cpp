#include "replies/suggest.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/replies/samples.h"

namespace replies {
namespace {

TEST(Suggest, TheNearestFirstAndNothingFar) {
  const Strings known{"columns", "color", "head", "QuoteKlineSingle"};
  EXPECT_EQ(Nearest("colums", known)[0], "columns");
  EXPECT_EQ(Nearest("klien", known), Strings{"QuoteKlineSingle"});
  EXPECT_EQ(Nearest("xyzzy", known), Strings{});
  EXPECT_EQ(DidYouMean("haed", known), "; did you mean \"head\"?");
}

TEST(Suggest, NoMoreThanThree) {
  EXPECT_EQ(Nearest("aaaa", {"aaab", "aaac", "aaad", "aaae"}), (Strings{"aaab", "aaac", "aaad"}));
  EXPECT_EQ(DidYouMean("aaaa", {"aaab", "aaac"}), "; did you mean \"aaab\" or \"aaac\"?");
}

TEST(Suggest, OnlyTheNearestOfAll) {
  // One letter away and two.
  EXPECT_EQ(Nearest("hoad", {"heed", "head", "road"}), (Strings{"head", "road"}));
}

TEST(Suggest, NeighboursSwappedAreOneSlip) {
  // To "hoad" it is two letters.
  EXPECT_EQ(Nearest("haed", {"hoad", "head"}), Strings{"head"});
  EXPECT_EQ(Nearest("ehad", {"ohad", "head"}), (Strings{"ohad", "head"}));
}

TEST(Suggest, TwoSlipsAreNearAndInLongWordsOneForFourLetters) {
  EXPECT_EQ(Nearest("ab12", {"abcd"}), Strings{"abcd"});
  EXPECT_EQ(Nearest("a123", {"abcd"}), Strings());
  EXPECT_EQ(Nearest("abcdefghijkl", {"abcdefghi123"}), Strings{"abcdefghi123"});
  EXPECT_EQ(Nearest("abcdefghijk", {"abcdefgh123"}), Strings());
}

TEST(Suggest, AWordOfWhichEveryLetterIsWrongIsNotNear) {
  EXPECT_EQ(Nearest("xy", {"ab"}), Strings());
  EXPECT_EQ(Nearest("ay", {"ab"}), Strings{"ab"});
}

TEST(Suggest, AtLeastFourLettersMayBeAPartOfAName) {
  EXPECT_EQ(Nearest("klin", {"QuoteKlineSingle"}), Strings{"QuoteKlineSingle"});
  EXPECT_EQ(Nearest("klyne", {"QuoteKlineSingle"}), Strings{"QuoteKlineSingle"});
  EXPECT_EQ(Nearest("klyxe", {"QuoteKlineSingle"}), Strings());
  EXPECT_EQ(Nearest("kli", {"QuoteKlineSingle"}), Strings());
}

TEST(Suggest, APartOfANameIsAsNearAsTwoSlips) {
  EXPECT_EQ(Nearest("klin", {"QuoteKlineSingle", "kline"}), Strings{"kline"});
  EXPECT_EQ(Nearest("klin", {"QuoteKlineSingle", "klixx"}), (Strings{"QuoteKlineSingle", "klixx"}));
}

TEST(Suggest, NoMoreThanTwoHundredLettersAreCompared) {
  EXPECT_EQ(Nearest(std::string(300, 'a'), {std::string(200, 'a')}), Strings{std::string(200, 'a')});
}

}  // namespace
}  // namespace replies
