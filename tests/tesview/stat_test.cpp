// tesview stat: how much there is of each Id.
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
using viewer::Sample;
using viewer::Shell;
using viewer::StreamOf;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;

// Three replies of four bytes, of two fields of two bytes each, and one of two bytes.
std::string FourReplies() {
  return StreamOf(Reply("Id: 22 ObjCount: 7"), 2) + Framed(Reply("Id: 20")) +
         Framed(Reply("Id: 22 ObjCount: 8"));
}

TEST(Stat, CountsRepliesAndBytesOfEachId) {
  const Result result = ViewBytes(FourReplies(), {"stat"});
  EXPECT_EQ(result.out,
            "Id  payload          replies  bytes   share\n"
            "20  QuoteDynaSingle        1      2   14.3%\n"
            "22  QuoteTickSingle        3     12   85.7%\n"
            "    total                  4     14  100.0%\n");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.code, 0);
}

TEST(Stat, JsonIsOneDocument) {
  EXPECT_EQ(
      ViewBytes(FourReplies(), {"stat", "--to", "json"}).out,
      "{\"replies\": 4, \"bytes\": 14, \"damaged\": 0, \"ids\": ["
      "{\"id\": 20, \"payload\": \"QuoteDynaSingle\", \"replies\": 1, \"bytes\": 2, \"share\": 0.142857}, "
      "{\"id\": 22, \"payload\": \"QuoteTickSingle\", \"replies\": 3, \"bytes\": 12, "
      "\"share\": 0.857143}]}\n");
}

TEST(Stat, WithRowsTellsTheirTimes) {
  // Two bars of one instrument, and a row of one that has none.
  const Result result = ViewBytes(Framed(TwoKlines()) + Framed(Reply("Id: 22")), {"stat", "--rows"});
  EXPECT_EQ(result.err, "");
  const Strings lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 4U);
  const std::string times = "  2024-06-17  2024-06-18";
  EXPECT_EQ(lines[0].substr(lines[0].find("  rows")), "  rows  failed  first       last");
  EXPECT_EQ(lines[1].substr(lines[1].find('%')), "%     3       0" + times);
  EXPECT_EQ(lines[2].substr(lines[2].find('%')), "%     -       0  -           -");
  EXPECT_EQ(lines[3].substr(lines[3].find('%')), "%     3       0" + times);
  const std::string json = ViewBytes(Framed(TwoKlines()), {"stat", "--rows", "--to", "json"}).out;
  EXPECT_NE(json.find("\"rows\": 3, \"failed\": 0, \"first\": \"2024-06-17\", \"last\": \"2024-06-18\", "
                      "\"damaged\": 0, \"ids\": [{\"id\": 21, "),
            std::string::npos)
      << json;
  const std::string none = ViewBytes(Framed(Reply("Id: 22")), {"stat", "--rows", "--to", "json"}).out;
  EXPECT_NE(none.find("\"rows\": null, \"failed\": 0, \"first\": null, \"last\": null"), std::string::npos)
      << none;
}

TEST(Stat, WhatDoesNotDecodeIsCounted) {
  // Id 20 whose payload is cut in itself, which takes a look inside to be found.
  const std::string cut("\x08\x14\xA2\x01\x02\x0A\x05");
  const std::string stream = Framed(Reply("Id: 20")) + Framed(cut);
  EXPECT_EQ(ViewBytes(stream, {"stat"}).code, 0);
  const Result result = ViewBytes(stream, {"stat", "--rows"});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(
      result.err,
      "tesview: (standard input): reply 2 at offset 3: not a reply: the bytes end inside the field that "
      "begins at offset 5 in \"RepDataQuoteDynaSingle\" (7 bytes read)\n");
  EXPECT_EQ(LinesOf(result.out)[1], "20  QuoteDynaSingle        2      9  100.0%     -       1  -      -");
  const Result strict = ViewBytes(stream + Framed(Reply("Id: 22")), {"stat", "--rows", "--strict"});
  EXPECT_EQ(strict.code, 1);
  EXPECT_EQ(LinesOf(strict.err).size(), 1U);
}

TEST(Stat, DamageIsToldAndCounted) {
  const Result result = ViewBytes(FourReplies() + "\x05\x08", {"stat"});
  EXPECT_EQ(result.err,
            "tesview: (standard input): reply 5 at offset 18: its length is given as 5, but the stream ends "
            "after 1 bytes\n");
  EXPECT_EQ(LinesOf(result.out).back(), "damaged in 1 place");
  EXPECT_EQ(result.code, 1);
  EXPECT_NE(ViewBytes(FourReplies() + "\x05\x08", {"stat", "--to", "json"}).out.find("\"damaged\": 1"),
            std::string::npos);
}

TEST(Stat, RepliesWithoutAnIdHaveALine) {
  const Result result = ViewBytes(
      FourReplies() + Framed("\x12\x01\x41") + FourReplies() + Framed("") + FourReplies(), {"stat"});
  EXPECT_EQ(LinesOf(result.out)[3], "    (no Id)                2      3    6.7%");
  EXPECT_NE(ViewBytes(FourReplies() + Framed("") + FourReplies(), {"stat", "--to", "json"})
                .out.find("{\"id\": null, \"payload\": \"(no Id)\", \"replies\": 1, \"bytes\": 0"),
            std::string::npos);
}

TEST(Stat, AnyIdIsCountedButNotAnyNumberOfThemToldApart) {
  std::string stream = Framed(Reply("Id: -1"));
  for (int i = 0; i < 1500; ++i)
    stream += Framed(Reply("Id: " + std::to_string(100000 + i)));
  const Strings lines = LinesOf(ViewBytes(stream, {"stat"}).out);
  // A heading, a thousand Ids, the others and the total.
  ASSERT_EQ(lines.size(), 1003U);
  EXPECT_EQ(lines[1].substr(0, 6), "    -1");
  EXPECT_EQ(lines[1001].substr(0, 28), "        (other Ids)      501");
  EXPECT_NE(lines[1002].find("  1501  "), std::string::npos);
}

TEST(Stat, TakesTheFiltersOfReplies) {
  const Result by_id = ViewBytes(FourReplies(), {"stat", "--id", "QuoteTickSingle", "--skip", "1"});
  EXPECT_EQ(LinesOf(by_id.out)[1], "22  QuoteTickSingle        2      8  100.0%");
  EXPECT_EQ(LinesOf(by_id.out).size(), 3U);
  const Result sample = ViewBytes(FourReplies(), {"--sample", "1/3", "stat"});
  EXPECT_EQ(LinesOf(sample.out)[1], "22  QuoteTickSingle        2      8  100.0%");
  EXPECT_EQ(ViewBytes(FourReplies(), {"stat", "--limit", "0"}).out,
            "Id  payload  replies  bytes  share\n    total          0      0   0.0%\n");
}

TEST(Stat, ManyJobsCountTheSame) {
  std::string stream;
  for (int i = 0; i < 500; ++i)
    stream += Framed(TwoKlines()) + Framed(i % 9 == 0 ? std::string("\x08\x14\x12") : Reply("Id: 22"));
  const Result one = ViewBytes(stream, {"stat", "--rows"});
  const Result four = ViewBytes(stream, {"stat", "--rows", "--jobs", "4"});
  EXPECT_EQ(one.out, four.out);
  EXPECT_EQ(one.err, four.err);
  EXPECT_EQ(one.code, 1);
  EXPECT_NE(one.out.find("  1500  "), std::string::npos) << one.out;
}

TEST_F(Files, StatReadsAllFilesAndSaysWhichItCannot) {
  const std::string good = Write("a.stream", FourReplies());
  const Result result = View({"stat", good, directory_ + "/none", good});
  EXPECT_EQ(LinesOf(result.out).back(), "    total                  8     28  100.0%");
  EXPECT_EQ(result.err, "tesview: " + directory_ + "/none: cannot open it: No such file or directory\n");
  EXPECT_EQ(result.code, 3);
}

TEST_F(Files, StatShowsProgress) {
  const std::string stream = Write("a.stream", StreamOf(Reply("Id: 22"), 5000));
  const Result result = View({"stat", "--progress", "always", stream});
  // Its length and two bytes for each reply: 15 kB.
  EXPECT_NE(result.err.find(" of 15.0 kB  "), std::string::npos);
  EXPECT_EQ(View({"stat", "--progress", "never", stream}).err, "");
}

Strings And(Strings words, const Strings& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

// Some 33 MB, so that threads look at parts of it: replies of four Ids; one of 17 MB that reaches over a part
// and has whole frames inside; stray bytes; a length that reaches over others; one half written at the end.
std::string LargeStream() {
  const std::string filler = "\x08\x17\xBA\x01" + viewer::Varint(2000) + std::string(2000, 'x');
  const std::string few = StreamOf(Reply("Id: 22 ObjCount: 7"), 3) + Framed(TwoKlines()) + Framed(filler);
  std::string many;
  while (many.size() < 4000000)
    many += few;
  // Id 20 and its payload, whose contents nobody reads here.
  const std::string inside = many + many + many + many + many.substr(0, 1000000);
  const std::string large = "\x08\x14\xA2\x01" + viewer::Varint(inside.size()) + inside;
  std::string wrong = Framed(TwoKlines());
  ++wrong[0];
  return many + std::string(1000, '\xFF') + many + Framed(large) + many + wrong + many + few.substr(0, 9);
}

TEST_F(Files, StatOfAFileThatThreadsLookAtIsThatOfAPipe) {
  const std::string stream = LargeStream();
  const std::string path = Write("a.stream", stream);
  const std::string standard_input = "(standard input)";
  for (const Strings& words : {Strings{}, Strings{"--id", "20,21"}}) {
    Result pipe = ViewBytes(stream, And({"stat", "-"}, words));
    for (size_t at = 0; (at = pipe.err.find(standard_input)) != std::string::npos;)
      pipe.err.replace(at, standard_input.size(), path);
    ASSERT_NE(pipe.err, "");
    for (const char* jobs : {"1", "5"}) {
      const Result file = View(And({"stat", "--jobs", jobs, path}, words));
      EXPECT_EQ(file.out, pipe.out);
      EXPECT_EQ(file.err, pipe.err);
      EXPECT_EQ(file.code, pipe.code);
    }
  }
}

// Of what is read from standard input only the rest counts, whatever is in front of it in the file.
TEST_F(Files, StatReadsStandardInputFromWhereItIs) {
  const std::string path = Write("a.stream", std::string(3, 'x') + LargeStream());
  const Result rest = Shell("(head -c 3 >/dev/null; exec \"$0\" stat --id 20) <" + path);
  EXPECT_EQ(LinesOf(rest.out)[1].substr(0, 30), "20  QuoteDynaSingle        1  ") << rest.out;
}

TEST_F(Files, StatTakesNoMoreThreadsThanItCanStart) {
  if (viewer::kSanitized) GTEST_SKIP() << "sanitizers need far more addresses than there are then";
  const std::string path = Write("a.stream", LargeStream());
  const Result all = View({"stat", path});
  const Result few = Shell("ulimit -v 200000; exec \"$0\" stat --jobs 64 " + path);
  EXPECT_EQ(few.out, all.out);
  EXPECT_EQ(few.code, 1);
}

}  // namespace
