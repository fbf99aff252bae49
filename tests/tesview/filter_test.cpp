// --id, --sample, --skip and --limit: which replies of a stream are taken.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::Files;
using viewer::Framed;
using viewer::LinesOf;
using viewer::Reply;
using viewer::Strings;
using viewer::View;
using viewer::ViewBytes;

// Each tells its number by its count of objects; every third one is of Id 23.
std::string MixedReply(int number) {
  return Reply("Id: " + std::string(number % 3 == 0 ? "23" : "22") + " ObjCount: " + std::to_string(number));
}

std::string MixedStream(int count) {
  std::string stream;
  for (int number = 1; number <= count; ++number)
    stream += Framed(MixedReply(number));
  return stream;
}

// The numbers of the replies of MixedStream(12) that are shown.
std::vector<int> Taken(Strings arguments) {
  arguments.insert(arguments.end(), {"--json"});
  const Result result = ViewBytes(MixedStream(12), arguments);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.code, 0);
  std::vector<int> numbers;
  for (const std::string& line : LinesOf(result.out))
    numbers.push_back(std::stoi(line.substr(line.rfind(' '))));
  return numbers;
}

TEST(Filter, IdsAreNumbersOrNamesAndAddUp) {
  const std::vector<int> of_23{3, 6, 9, 12};
  EXPECT_EQ(Taken({"--id", "23"}), of_23);
  const std::vector<int> of_22{1, 2, 4, 5, 7, 8, 10, 11};
  EXPECT_EQ(Taken({"--id", "QuoteTickSingle"}), of_22);
  EXPECT_EQ(Taken({"--id", "idquoteticksingle, 99999"}), of_22);
  EXPECT_EQ(Taken({"--id", "22,23"}).size(), 12U);
  EXPECT_EQ(Taken({"--id", "22", "--id", "23"}).size(), 12U);
  EXPECT_EQ(Taken({"--id", "99999"}), std::vector<int>());
}

TEST(Filter, ASampleGoesByTheNumberInTheSource) {
  const std::vector<int> fifths{1, 6, 11};
  EXPECT_EQ(Taken({"--sample", "1/5"}), fifths);
  // Number 6 is of Id 23: the sample is not counted among those of an Id.
  const std::vector<int> of_22{1, 11};
  EXPECT_EQ(Taken({"--sample", "1/5", "--id", "22"}), of_22);
  EXPECT_EQ(Taken({"--sample", "1/1"}).size(), 12U);
  EXPECT_EQ(Taken({"--sample", "1/100"}), std::vector<int>{1});
}

TEST(Filter, SkipAndLimitCountWhatTheOthersLeave) {
  const std::vector<int> window{4, 5, 7};
  EXPECT_EQ(Taken({"--id", "22", "--skip", "2", "--limit", "3"}), window);
  EXPECT_EQ(Taken({"--limit", "3", "--skip", "2", "--id", "22", "--jobs", "3"}), window);
  EXPECT_EQ(Taken({"--skip", "11"}), std::vector<int>{12});
  EXPECT_EQ(Taken({"--skip", "12"}), std::vector<int>());
  EXPECT_EQ(Taken({"--limit", "0"}), std::vector<int>());
  EXPECT_EQ(Taken({"--limit", "100"}).size(), 12U);
}

TEST(Filter, RepliesKeepTheirNumbers) {
  EXPECT_EQ(ViewBytes(MixedStream(12), {"--id", "23", "--skip", "1", "--limit", "1", "--to", "ndjson"}).out,
            "{\"_reply\":6,\"_id\":23,\"_row\":null,\"_json\":{\"Id\": 23, \"ObjCount\": 6}}\n");
}

TEST_F(Files, ALimitGoesOverAllFilesAndEndsTheReading) {
  const std::string two = Write("a.stream", MixedStream(2));
  // What begins behind the second reply is no reply.
  const std::string broken = Write("b.stream", MixedStream(2) + "\xFF\xFF\xFF\xFF\xFF");
  const Result whole = View({"--json", broken});
  EXPECT_EQ(whole.code, 1);
  const Result result = View({"--json", "--limit", "4", two, broken, directory_ + "/none"});
  EXPECT_EQ(LinesOf(result.out).size(), 4U);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.code, 0);
  for (const Strings& more : {Strings{}, Strings{"--rows"}}) {
    Strings arguments{"stat", "--limit", "4", two, broken, directory_ + "/none"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Result counted = View(arguments);
    EXPECT_NE(counted.out.find("    total                  4     16  100.0%"), std::string::npos)
        << counted.out;
    EXPECT_EQ(counted.err, "");
    EXPECT_EQ(counted.code, 0);
  }
}

TEST(Filter, DamageIsToldWhateverIsTaken) {
  const Result result = ViewBytes(MixedStream(2) + "\x7F", {"--id", "99999", "--json"});
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(
      result.err,
      "tesview: (standard input): reply 3 at offset 10: its length is given as 127, but the stream ends "
      "after 0 bytes\n");
  EXPECT_EQ(result.code, 1);
}

TEST(Filter, AnIdBehindAnotherFieldIsFound) {
  // Obj "A", then Id 22.
  const std::string reply("\x12\x01\x41\x08\x16");
  const Result result = ViewBytes(Framed(reply), {"--from", "delimited", "--id", "22", "--json"});
  EXPECT_EQ(result.out, "{\"Id\": 22, \"Obj\": \"A\"}\n");
}

TEST(Filter, AReplyWithoutAnIdIsOfNoneThatIsWanted) {
  const std::string stream = Framed(MixedReply(1)) + Framed("\x12\x01\x41") + Framed(MixedReply(2));
  const Result result = ViewBytes(stream, {"--from", "delimited", "--id", "22", "--json"});
  EXPECT_EQ(result.out, "{\"Id\": 22, \"ObjCount\": 1}\n{\"Id\": 22, \"ObjCount\": 2}\n");
  EXPECT_EQ(result.err, "");
}

TEST(Filter, TakesEveryFormOfInput) {
  const std::string lines = "10:00 08162801\n10:01 08172803\n10:02 08162804\n";
  EXPECT_EQ(ViewBytes(lines, {"--from", "lines", "--id", "22", "--skip", "1", "--json"}).out,
            "{\"Id\": 22, \"ObjCount\": 4}\n");
  EXPECT_EQ(ViewBytes(MixedReply(1), {"--id", "23", "--json"}).out, "");
  EXPECT_EQ(ViewBytes(MixedReply(1), {"--id", "22", "--json"}).out, "{\"Id\": 22, \"ObjCount\": 1}\n");
}

TEST(Filter, WhatIsNoFilterIsWrongUsage) {
  const std::vector<std::pair<Strings, std::string>> cases{
      {{"--id", "QuoteKlinSingle"},
       "no Id is called \"QuoteKlinSingle\"; did you mean \"QuoteKlineSingle\"?"},
      {{"--id", "x?x?x?x?"}, "no Id is called \"x?x?x?x?\"; tesview ids lists them all"},
      {{"--sample", "2/3"}, "\"2/3\" for --sample is no part such as 1/100"},
      {{"--sample", "1/0"}, "\"1/0\" for --sample is no part such as 1/100"},
      {{"--sample", "1/-5"}, "\"1/-5\" for --sample is no part such as 1/100"},
      {{"--skip", "-1"}, "\"-1\" for --skip is no number from 0 to 9223372036854775807"},
      {{"--limit", "x"}, "\"x\" for --limit is no number from 0 to 9223372036854775807"}};
  for (const auto& [arguments, says] : cases) {
    const Result result = ViewBytes("", arguments);
    EXPECT_EQ(result.err, "tesview: " + says + " (tesview --help tells more)\n");
    EXPECT_EQ(result.code, 2);
  }
}

}  // namespace
