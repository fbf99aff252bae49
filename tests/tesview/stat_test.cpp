// tesview stat: how much there is of each Id.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::Files;
using viewer::Framed;
using viewer::LinesOf;
using viewer::P;
using viewer::Reply;
using viewer::Sample;
using viewer::Shell;
using viewer::StreamOf;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;

Strings And(Strings words, const Strings& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

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

// The rows, what failed, the first and the last time of the only Id, as one blank between them has them.
std::string RowsAndTimes(const std::string& stream) {
  const Strings lines = LinesOf(ViewBytes(stream, {"stat", "--rows"}).out);
  if (lines.size() != 3) return "no single Id";
  std::string words;
  for (const char c : lines[1].substr(lines[1].find('%') + 1)) {
    if (c != ' ' || (!words.empty() && words.back() != ' ')) words += c;
  }
  return words;
}

// A table without rows is one, in the sums too.
TEST(Stat, NoRowsOfATableAreNone) {
  EXPECT_EQ(RowsAndTimes(Reply("Id: 130")), "0 0 - -");
  const std::string json = ViewBytes(Framed(Reply("Id: 130")), {"stat", "--rows", "--to", "json"}).out;
  EXPECT_EQ(json.find("\"rows\": null"), std::string::npos) << json;
}

TEST(Stat, TimesOfRowsMayBeInAnyOrder) {
  const auto bar = [](const std::string& time) { return " Data { ShiJian: " + time + " }"; };
  EXPECT_EQ(RowsAndTimes(Reply("Id: 21 RepDataQuoteKlineSingle { Obj: 'A'" + bar(P(20240618, 10)) +
                               bar(P(20240617, 10)) + bar(P(20240619, 10)) + " }")),
            "3 0 2024-06-17 2024-06-19");
  // 12.34 and 0 are no times.
  EXPECT_EQ(RowsAndTimes(Reply("Id: 21 RepDataQuoteKlineSingle { Obj: 'A'" + bar(P(1234)) +
                               bar(P(20240618, 10)) + bar("0") + " }")),
            "3 0 2024-06-18 2024-06-18");
}

TEST(Stat, RowsNeedNoTimes) {
  // Numbers that nothing is told of; figures, the first of them a date, that one of two stocks has; a table
  // of a type; and one of a type with days.
  EXPECT_EQ(RowsAndTimes(viewer::SmallTable()), "3 0 - -");
  EXPECT_EQ(
      RowsAndTimes(Reply("Id: 405 RepDataCaiWuShuJuFanHui { Crc32: 0 Data { DaiMa: 'A' } Data { DaiMa: 'B' "
                         "Data { FaBuRiQi: " +
                         P(20240430, 10) + " } } }")),
      "2 0 2024-04-30 2024-04-30");
  EXPECT_EQ(RowsAndTimes(Reply("Id: 44 RepDataToken { Result: 7 Token: 't' Uid: 'u' Device: 'd' }")),
            "1 0 - -");
  EXPECT_EQ(RowsAndTimes(Reply("Id: 430 RepDataBxzjBasicStockInfoOutput { Obj: 'A' Data { ShiJian: " +
                               P(20240617, 10) + " } }")),
            "1 0 2024-06-17 2024-06-17");
}

TEST(Stat, RowsOfTablesBesideEachOtherAddUp) {
  // Two tables in each row: of two rows and one, of one alone, and of none at all, which is a row itself.
  const std::string two = "YongHuXinXi { YongHuMingCheng: 'a' } ZiXuanGuLieBiao { Obj: 'x' }";
  EXPECT_EQ(
      RowsAndTimes(Reply("Id: 303 RepDataPcZiXuanGuShuJu { CaoZuoJieGuo: 0 " + two +
                         " ZiXuanGuLieBiao { Obj: 'y' } }"
                         "RepDataPcZiXuanGuShuJu { CaoZuoJieGuo: 0 YongHuXinXi { YongHuMingCheng: 'b' } }"
                         "RepDataPcZiXuanGuShuJu { CaoZuoJieGuo: 1 }")),
      "5 0 - -");
}

// Whichever comes first.
TEST(Stat, RowsAreToldBesideRepliesThatDoNotDecode) {
  // Id 21 whose payload is cut in itself.
  const std::string cut = Framed("\x08\x15\xAA\x01\x02\x0A\x05");
  const std::string good = Framed(TwoKlines());
  for (const std::string& stream : {good + cut, cut + good, cut + good + cut}) {
    const std::string failed = stream.size() > good.size() + cut.size() ? "2" : "1";
    EXPECT_EQ(RowsAndTimes(stream), "3 " + failed + " 2024-06-17 2024-06-18");
  }
  EXPECT_EQ(RowsAndTimes(cut + cut), "- 2 - -");
}

TEST(Stat, ARowlessReplyWithoutAnIdFails) {
  const std::string stream = Framed(Reply("Id: 22")) + Framed("\x12\x01\x41") + Framed(Reply("Id: 22"));
  const Result result = ViewBytes(stream, {"stat", "--rows", "--from", "delimited"});
  EXPECT_EQ(
      result.err,
      "tesview: (standard input): reply 2 at offset 3: not a reply: required field \"Id\" is missing (3 "
      "bytes read)\n");
  EXPECT_EQ(result.code, 1);
  const Strings lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[2], "    (no Id)                1      3   42.9%     -       1  -      -");
}

TEST(Stat, OfEqualTimesTheFirstOneIsTold) {
  const std::string reply =
      Reply("Id: 21 RepDataQuoteKlineSingle { Obj: 'A' Data { ShiJian: " + P(20240617, 10) +
            " } Data { ShiJian: " + P(20240617000000, 10) + " } }");
  const Strings lines = LinesOf(ViewBytes(reply, {"stat", "--rows"}).out);
  ASSERT_GE(lines.size(), 2U);
  const std::string times = "  2024-06-17  2024-06-17";
  EXPECT_EQ(lines[1].substr(lines[1].size() - times.size()), times);
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

TEST(Stat, RepliesWithoutBytesHaveNoShare) {
  const std::string stream = FourReplies() + Framed("") + FourReplies();
  const Strings fifth{"stat", "--skip", "4", "--limit", "1"};
  EXPECT_EQ(ViewBytes(stream, fifth).out,
            "Id  payload  replies  bytes  share\n"
            "    (no Id)        1      0   0.0%\n"
            "    total          1      0   0.0%\n");
  EXPECT_EQ(
      ViewBytes(stream, And(fifth, {"--to", "json"})).out,
      "{\"replies\": 1, \"bytes\": 0, \"damaged\": 0, \"ids\": [{\"id\": null, \"payload\": \"(no Id)\", "
      "\"replies\": 1, \"bytes\": 0, \"share\": 0}]}\n");
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

TEST(Stat, AnIdThatIsToldApartStaysSo) {
  std::string stream;
  for (int i = 0; i < 1001; ++i)
    stream += Framed(Reply("Id: " + std::to_string(100000 + i)));
  // One that was counted while there was room, and one behind it.
  stream += Framed(Reply("Id: 100999")) + Framed(Reply("Id: 101000")) + Framed("");
  const Strings lines = LinesOf(ViewBytes(stream, {"stat", "--from", "delimited"}).out);
  // The heading, 1,000 Ids, replies without one, all others, and the total.
  ASSERT_EQ(lines.size(), 1004U);
  EXPECT_EQ(lines[1].find("100000  "), 0U) << lines[1];
  EXPECT_NE(lines[1].find("  1  "), std::string::npos) << lines[1];
  EXPECT_EQ(lines[1000].find("100999  "), 0U) << lines[1000];
  EXPECT_NE(lines[1000].find("  2  "), std::string::npos) << lines[1000];
  EXPECT_NE(lines[1001].find("(no Id)"), std::string::npos) << lines[1001];
  EXPECT_NE(lines[1002].find("(other Ids)"), std::string::npos) << lines[1002];
  EXPECT_NE(lines[1002].find("  2  "), std::string::npos) << lines[1002];
}

TEST(Stat, IdsOfTheSchemaAreToldApartHoweverManyThereAre) {
  // The 1,024 that have room of their own, and 1,000 others.
  std::string stream;
  for (int i = 0; i < 1024; ++i)
    stream += Framed(Reply("Id: " + std::to_string(i)));
  for (int i = 0; i < 1000; ++i)
    stream += Framed(Reply("Id: " + std::to_string(100000 + i)));
  const Strings lines = LinesOf(ViewBytes(stream, {"stat"}).out);
  ASSERT_EQ(lines.size(), 2026U);
  EXPECT_EQ(lines[1024].substr(0, 8), "  1023  ");
  EXPECT_EQ(lines[1025].substr(0, 8), "100000  ");
  EXPECT_EQ(lines[2024].substr(0, 8), "100999  ");
}

TEST(Stat, TakesTheFiltersOfReplies) {
  const Result by_id = ViewBytes(FourReplies(), {"stat", "--id", "QuoteTickSingle", "--skip", "1"});
  EXPECT_EQ(LinesOf(by_id.out)[1], "22  QuoteTickSingle        2      8  100.0%");
  EXPECT_EQ(LinesOf(by_id.out).size(), 3U);
  // Given again it adds to them.
  const std::string both = ViewBytes(FourReplies(), {"stat", "--id", "20", "--id", "22"}).out;
  EXPECT_NE(both.find("    total                  4     14  100.0%\n"), std::string::npos) << both;
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
  // What is told first: 3,072 bytes of them.
  EXPECT_NE(result.err.find("  3.1 kB of 15.0 kB  1024 replies  "), std::string::npos) << result.err;
  EXPECT_EQ(View({"stat", "--progress", "never", stream}).err, "");
}

TEST(Stat, ShowsProgressInATerminalWhenTheWorkIsLong) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  program::How how;
  how.feed = [](int fd) {
    const std::string reply = Framed(Reply("Id: 22"));
    for (int i = 0; i < 8; ++i) {
      program::WriteTimes(fd, reply, 1);
      std::this_thread::sleep_for(std::chrono::milliseconds(120));
    }
  };
  const Strings arguments{"stat", "--from", "delimited"};
  EXPECT_EQ(View(arguments, how).err, "");
  how.terminal_err = true;
  const Result shown = View(arguments, how);
  EXPECT_NE(shown.err.find(" replies  "), std::string::npos) << shown.err;
  EXPECT_EQ(LinesOf(shown.out).size(), 3U);
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

// Threads look only at what is a stream as it is.
TEST_F(Files, StatOfALargeFileOfAnotherKindReadsItInOrder) {
  // One reply of 18 MB, and zstd's frame of it and another one: blocks of 100,000 bytes that are not packed.
  const std::string text(18'000'000, 'x');
  const std::string one = "\x08\x16\x12" + viewer::Varint(text.size()) + text;
  const std::string stream = Framed(one) + Framed(Reply("Id: 20"));
  std::string packed("\x28\xB5\x2F\xFD\x00\x50", 6);
  constexpr size_t kBlock = 100'000;
  for (size_t at = 0; at < stream.size(); at += kBlock) {
    const std::string block = stream.substr(at, kBlock);
    const size_t head = block.size() << 3 | (at + kBlock >= stream.size() ? 1U : 0U);
    for (const unsigned shift : {0U, 8U, 16U})
      packed += static_cast<char>(head >> shift & 0xFF);
    packed += block;
  }
  const std::string bytes = std::to_string(one.size());
  const Strings single = LinesOf(View({"stat", "--jobs", "3", Write("a.bin", one)}).out);
  ASSERT_EQ(single.size(), 3U);
  EXPECT_EQ(single[1], "22  QuoteTickSingle        1  " + bytes + "  100.0%");
  const Strings both = LinesOf(View({"stat", "--jobs", "3", Write("a.zst", packed)}).out);
  ASSERT_EQ(both.size(), 4U);
  EXPECT_EQ(both[1].find("20  QuoteDynaSingle        1  "), 0U) << both[1];
  EXPECT_EQ(both[2], "22  QuoteTickSingle        1  " + bytes + "  100.0%");
}

// 49 MB, of which the first and the last part are whole, and between them a part and more are one reply.
TEST_F(Files, StatTakesWholePartsFromThreads) {
  const std::string filler = "\x08\x17\xBA\x01" + viewer::Varint(3000) + std::string(3000, 'x');
  const std::string few = Framed(filler) + Framed(TwoKlines()) + Framed(Reply("Id: 22 ObjCount: 7"));
  std::string many;
  while (many.size() < 14000000)
    many += few;
  const std::string large = "\x08\x14\xA2\x01" + viewer::Varint(21000000) + std::string(21000000, 'x');
  const std::string stream = many + Framed(large) + many;
  const std::string path = Write("a.stream", stream);
  const size_t each = 2 * (many.size() / few.size());
  for (const char* jobs : {"1", "2", "5"}) {
    const Result file = View({"stat", "--jobs", jobs, path});
    EXPECT_EQ(file.code, 0) << file.err;
    const Strings lines = LinesOf(file.out);
    ASSERT_EQ(lines.size(), 6U) << file.out;
    const auto count_in = [&](size_t line) {
      return std::stoul(lines[line].substr(lines[line].find_first_of("0123456789", 20)));
    };
    EXPECT_EQ(count_in(1), 1U) << lines[1];
    for (const size_t line : {2U, 3U, 4U})
      EXPECT_EQ(count_in(line), each) << lines[line];
    EXPECT_EQ(file.out, ViewBytes(stream, {"stat", "-"}).out);
  }
}

TEST_F(Files, StatTakesPartsOfOneFileAfterTheOther) {
  // 10,000 replies of 2,006 bytes take 20 MB with their lengths.
  const std::string reply = "\x08\x17\xBA\x01" + viewer::Varint(2000) + std::string(2000, 'x');
  ASSERT_EQ(reply.size(), 2006U);
  const std::string large = Write("large.stream", StreamOf(reply, 10000));
  const std::string small = Write("small.stream", Framed(Reply("Id: 22")));
  for (const char* jobs : {"1", "3"}) {
    const Result result = View({"stat", "--jobs", jobs, large, large, small, large});
    EXPECT_EQ(result.err, "");
    const Strings lines = LinesOf(result.out);
    ASSERT_EQ(lines.size(), 4U) << result.out;
    EXPECT_NE(lines[1].find("        1         2    0.0%"), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find("    30000  60180000  100.0%"), std::string::npos) << lines[2];
    EXPECT_NE(lines[3].find("    30001  60180002  100.0%"), std::string::npos) << lines[3];
  }
}

// What is behind the first damage counts no more, whether it could be read ahead or not.
TEST_F(Files, StrictStatEndsAtTheFirstDamage) {
  const std::string path =
      Write("a.stream", StreamOf(TwoKlines(), 3) + std::string(1000, '\xFF') + StreamOf(TwoKlines(), 50));
  for (const Strings& words : {Strings{}, Strings{"--rows"}}) {
    for (const char* jobs : {"1", "5"}) {
      const Result result = View(And({"stat", "--strict", "--jobs", jobs, path}, words));
      EXPECT_EQ(result.code, 1);
      EXPECT_EQ(LinesOf(result.err).size(), 1U) << result.err;
      const std::string line = "21  QuoteKlineSingle        3    " + std::to_string(3 * TwoKlines().size());
      EXPECT_EQ(LinesOf(result.out)[1].substr(0, line.size()), line) << result.out;
    }
  }
}

TEST_F(Files, StatTellsTheNumberOfAReplyBehindWholeParts) {
  // 36 MB of replies of 16 bytes with their length, and one of which 4 bytes are there.
  const std::string reply = Framed(Reply("Id: 22 Obj: 'SH600000123'"));
  ASSERT_EQ(reply.size(), 16U);
  const int count = 36'000'000 / 16;
  std::string stream;
  stream.reserve(36'000'100);
  for (int i = 0; i < count; ++i)
    stream += reply;
  const std::string path = Write("a.stream", stream + reply.substr(0, 4));
  const std::string where =
      path + ": reply " + std::to_string(count + 1) + " at offset " + std::to_string(16 * count) + ": ";
  for (const char* jobs : {"1", "5"}) {
    const Result result = View({"stat", "--jobs", jobs, path});
    EXPECT_EQ(result.err.find("tesview: " + where), 0U) << result.err;
    EXPECT_EQ(LinesOf(result.out)[1].substr(0, 38), "22  QuoteTickSingle  2250000  33750000") << result.out;
  }
  // What goes by the replies before it is counted in order: 2,249,995 replies of 15 bytes, and 1,125,000.
  const auto counted = [&path](const Strings& filter) {
    return LinesOf(View(And({"stat", "--jobs", "5", path}, filter)).out)[1].substr(0, 38);
  };
  EXPECT_EQ(counted({"--skip", "5"}), "22  QuoteTickSingle  2249995  33749925");
  EXPECT_EQ(counted({"--sample", "1/2"}), "22  QuoteTickSingle  1125000  16875000");
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
