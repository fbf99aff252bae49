// The form for engines and data frames, read back.
#include <gtest/gtest.h>
#include <jansson.h>
#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <string>

#include "tests/support/arrow_reader.h"
#include "tests/support/json.h"
#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using arrow_reader::RowsOf;
using program::How;
using program::Result;
using viewer::Files;
using viewer::Framed;
using viewer::kSanitized;
using viewer::LinesOf;
using viewer::P;
using viewer::Reply;
using viewer::Sample;
using viewer::Slurp;
using viewer::SmallTable;
using viewer::StreamOf;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;
using viewer::Wire;

const Strings kCloses = {"--to", "arrow", "--columns", "Obj,ShiJian,ShouPanJia"};

Strings With(Strings arguments, const Strings& more) {
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

// Numbers of JSON are compared by value; a float has fewer digits in ndjson.
bool SameValue(json_t* got, json_t* wanted) {
  if (json_is_array(got) && json_is_array(wanted)) {
    bool same = json_array_size(got) == json_array_size(wanted);
    for (size_t i = 0; same && i < json_array_size(got); ++i)
      same = SameValue(json_array_get(got, i), json_array_get(wanted, i));
    return same;
  }
  if (json_is_integer(got) && json_is_integer(wanted))
    return json_integer_value(got) == json_integer_value(wanted);
  if (!json_is_number(got) || !json_is_number(wanted)) return json_equal(got, wanted) != 0;
  const double a = json_number_value(got);
  const double b = json_number_value(wanted);
  return a == b || static_cast<float>(a) == static_cast<float>(b);
}

// A cell that is not in a line, or is a list without rows, is a null beside what an array has for it.
std::string Difference(const std::string& row, const std::string& line) {
  const OwnedJson got = ParseJson(row);
  const OwnedJson wanted = ParseJson(line);
  if (got == nullptr || wanted == nullptr) return "no JSON";
  const char* name = nullptr;
  json_t* value = nullptr;
  json_object_foreach(got.get(), name, value) {
    json_t* other = json_object_get(wanted.get(), name);
    if (!(other == nullptr ? json_is_null(value) : SameValue(value, other))) return name;
  }
  json_object_foreach(wanted.get(), name, value) {
    if (json_object_get(got.get(), name) != nullptr || std::string(name) == "_id" ||
        std::string(name) == "_row")
      continue;
    if (!json_is_null(value) && json_array_size(value) + (json_is_array(value) ? 0U : 1U) != 0) return name;
  }
  return "";
}

void ExpectLines(const Strings& rows, const Strings& lines) {
  ASSERT_EQ(rows.size(), lines.size());
  for (size_t i = 0; i < rows.size(); ++i)
    EXPECT_EQ(Difference(rows[i], lines[i]), "") << rows[i] << "\n" << lines[i];
}

}  // namespace

TEST(Arrow, HasARowForEachInnermostRow) {
  const Result result = ViewBytes(TwoKlines(), kCloses);
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(RowsOf(result.out),
            (Strings{R"({"Obj":"SH600000","Data.ShiJian":20240617,"Data.ShouPanJia":12.34})",
                     R"({"Obj":"SH600000","Data.ShiJian":20240618,"Data.ShouPanJia":12.5})",
                     R"({"Obj":"SZ000001","Data.ShiJian":null,"Data.ShouPanJia":null})"}));
}

TEST(Arrow, NestsTablesInListsIfAsked) {
  EXPECT_EQ(RowsOf(ViewBytes(TwoKlines(), With(kCloses, {"--nested"})).out),
            (Strings{R"({"Obj":"SH600000","Data":[{"ShiJian":20240617,"ShouPanJia":12.34},)"
                     R"({"ShiJian":20240618,"ShouPanJia":12.5}]})",
                     R"({"Obj":"SZ000001","Data":null})"}));
}

TEST(Arrow, TellsWhatItsColumnsAre) {
  const arrow_reader::Stream stream = arrow_reader::Read(ViewBytes(TwoKlines(), kCloses).out);
  EXPECT_EQ(stream.schema.metadata, (std::vector<std::pair<std::string, std::string>>{
                                        {"id", "21"}, {"payload", "QuoteKlineSingle"}}));
  ASSERT_EQ(stream.schema.children.size(), 3U);
  ASSERT_FALSE(stream.schema.children[2].metadata.empty());
  EXPECT_EQ(stream.schema.children[2].metadata[0], (std::pair<std::string, std::string>{"heading", "Close"}));
}

TEST(Arrow, TakesTypesAndDecodes) {
  const Result typed = View({"--to", "arrow", "--type", "DaDan", Sample("typed-1-DaDan")});
  EXPECT_EQ(typed.code, 0) << typed.err;
  EXPECT_EQ(arrow_reader::Read(typed.out).schema.metadata.back(),
            (std::pair<std::string, std::string>{"type", "DaDan"}));
  const Result decoded = View({"--to", "arrow", "--decode", Sample("22-QuoteTickSingle")});
  EXPECT_EQ(decoded.code, 0) << decoded.err;
  EXPECT_GT(RowsOf(decoded.out).size(), 0U);
}

TEST(Arrow, ComparesWithTheColumnsOfTheLayout) {
  const std::string reply =
      Reply("Id: 430 RepDataBxzjBasicStockInfoOutput { Obj: 'A' Data { ShiJian: " + P(20240617, 10) +
            " } Data { ShiJian: " + P(20240618, 10) + " } }");
  // That of the type has days, which nothing tells where fields are decoded by the schema alone.
  const Strings day = {"--to", "arrow", "--columns", "Obj,ShiJian", "--where", "ShiJian=2024-06-18"};
  const Result typed = ViewBytes(reply, With(day, {"--type", "BxzjStock"}));
  EXPECT_EQ(typed.err, "");
  EXPECT_EQ(RowsOf(typed.out), Strings{R"({"Obj":"A","Data.ShiJian":20240618})"});
  const Result decoded = ViewBytes(reply, With(day, {"--decode"}));
  EXPECT_EQ(decoded.err, "tesview: --where: column \"ShiJian\" cannot be compared with \"2024-06-18\"\n");
  EXPECT_EQ(decoded.code, 1);
  EXPECT_EQ(RowsOf(decoded.out), Strings());
  const Result number = ViewBytes(reply, {"--to", "arrow", "--decode", "--unpack", "--columns", "ShiJian",
                                          "--where", "ShiJian=20240617"});
  EXPECT_EQ(RowsOf(number.out), Strings{R"({"Data.ShiJian":20240617})"});
}

// What the viewer has to be told of each sample, and their names.
std::map<Strings, Strings> SamplesByArguments() {
  std::map<Strings, Strings> samples;
  for (const auto& entry : std::filesystem::directory_iterator(SAMPLE_DIR)) {
    const std::string name = entry.path().stem().string();
    if (entry.path().extension() != ".bin" || name == "damaged") continue;
    Strings arguments;
    if (name.substr(0, 6) == "typed-") arguments = {"--type", name.substr(6, name.find('-', 6) - 6)};
    if (name == "22-QuoteTickSingle") arguments = {"--decode"};
    samples[arguments].push_back(name);
  }
  return samples;
}

// The lines of each sample as they are without other files: all of them in one start.
std::map<std::string, Strings> NdjsonOf(const Strings& names, const Strings& arguments) {
  Strings all = With({"--to", "ndjson"}, arguments);
  for (const std::string& name : names)
    all.push_back(Sample(name));
  std::map<std::string, Strings> lines;
  for (const std::string& line : LinesOf(View(all).out)) {
    for (const std::string& name : names) {
      const std::string begin = names.size() == 1 ? "{" : "{\"_file\":\"" + Sample(name) + "\",";
      if (line.substr(0, begin.size()) == begin) lines[name].push_back("{" + line.substr(begin.size()));
    }
  }
  return lines;
}

// Every sample says the same as ndjson does.
TEST(Arrow, HasTheLinesOfNdjson) {
  int streams = 0;
  for (const auto& [more, names] : SamplesByArguments()) {
    std::map<std::string, Strings> lines = NdjsonOf(names, more);
    for (const std::string& name : names) {
      SCOPED_TRACE(name);
      const Result arrow = View(With({"--to", "arrow", Sample(name)}, more));
      EXPECT_EQ(arrow.code, 0) << arrow.err;
      ExpectLines(RowsOf(arrow.out), lines[name]);
      const Result nested = View(With({"--to", "arrow", "--nested", Sample(name)}, more));
      EXPECT_EQ(nested.code, 0) << nested.err;
      const Strings rows = RowsOf(nested.out);
      EXPECT_TRUE(!rows.empty() && rows.back()[0] == '{') << rows.back();
      ++streams;
    }
  }
  EXPECT_GT(streams, 35);
}

TEST_F(Files, ArrowTellsFileAndReplyWhereThereAreSeveral) {
  const std::string stream = Write("a.stream", StreamOf(SmallTable(), 2));
  const std::string one = Write("b.bin", SmallTable());
  EXPECT_EQ(RowsOf(View({"--to", "arrow", "--columns", "Name", stream}).out)[3],
            R"({"_reply":2,"Name":"平安银行"})");
  const Strings both = RowsOf(View({"--to", "arrow", "--columns", "Name", stream, one}).out);
  ASSERT_EQ(both.size(), 9U);
  EXPECT_EQ(both[3], R"({"_file":")" + stream + R"(","_reply":2,"Name":"平安银行"})");
  EXPECT_EQ(both[8], R"({"_file":")" + one + R"(","_reply":1,"Name":"x"})");
}

// A program reads them, and no terminal shows them.
TEST_F(Files, ArrowHasTheNamesOfFilesAsTheyAre) {
  const std::string one = Write("a\x1B[31m.bin", SmallTable());
  const std::string other = Write("b.bin", SmallTable());
  const Strings rows = RowsOf(View({"--to", "arrow", "--columns", "Name", one, other}).out);
  ASSERT_EQ(rows.size(), 6U);
  EXPECT_NE(rows[0].find("a\\u001b[31m.bin"), std::string::npos) << rows[0];
}

// ---- what cannot be shown ---------------------------------------------------------------------------------

TEST_F(Files, ArrowSaysWhichRepliesAreNotInIt) {
  const std::string stream = Framed(TwoKlines()) + Framed("\x08") + Framed(Reply("Id: 27")) +
                             Framed(Reply("Id: 21")) + Framed(TwoKlines());
  const std::string path = Write("a.stream", stream);
  const std::string at = path + ": reply ";
  const Result result = View(With(kCloses, {"--from", "delimited", path}));
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(RowsOf(result.out).size(), 6U);
  const Strings errors = LinesOf(result.err);
  ASSERT_EQ(errors.size(), 3U);
  EXPECT_EQ(errors[0].find("tesview: " + at + "2 at offset "), 0U) << errors[0];
  EXPECT_NE(errors[1].find(": Id 27, not 21"), std::string::npos) << errors[1];
  EXPECT_NE(errors[2].find("reply 4 at offset"), std::string::npos) << errors[2];
  // Strict, the rows before it are there, and the stream is whole.
  const Result strict = View(With(kCloses, {"--strict", "--from", "delimited", path}));
  EXPECT_EQ(strict.code, 1);
  EXPECT_EQ(LinesOf(strict.err), (Strings{errors[0]}));
  EXPECT_EQ(RowsOf(strict.out).size(), 3U);
}

TEST(Arrow, BeginsBehindDamage) {
  // Twenty stray bytes, which count as the first reply.
  const Result result =
      ViewBytes(std::string(20, '\xFF') + Framed(TwoKlines()), With(kCloses, {"--from", "delimited"}));
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(LinesOf(result.err).size(), 1U) << result.err;
  EXPECT_NE(result.err.find(": reply 1 at offset 0: "), std::string::npos) << result.err;
  const Strings rows = RowsOf(result.out);
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0], R"({"_reply":2,"Obj":"SH600000","Data.ShiJian":20240617,"Data.ShouPanJia":12.34})");
}

TEST(Arrow, StrictEndsAtAFirstReplyWithoutATable) {
  const std::string none = Framed(Reply("Id: 22"));
  const std::string first = "tesview: (standard input): reply 1 at offset 0: Id 22";
  const Result alone = ViewBytes(none + none, {"--to", "arrow", "--strict"});
  EXPECT_EQ(alone.err, first + " (QuoteTickSingle) has no table form\n");
  EXPECT_EQ(alone.out, "");
  EXPECT_EQ(alone.code, 1);
  // The columns are those of the second one, which is not shown.
  const Result before = ViewBytes(none + Framed(TwoKlines()), With(kCloses, {"--strict"}));
  EXPECT_EQ(before.err, first + ", not 21\n");
  EXPECT_EQ(before.code, 1);
  EXPECT_EQ(RowsOf(before.out), Strings());
}

TEST_F(Files, ArrowOfWireTablesHasTheColumnsOfTheFirst) {
  const std::string other = Wire("Info { Name: 'Other' Type: 115 } Data { Index: 0 sValues: 'x' }");
  const std::string path = Write(
      "a.stream", Framed(Reply("Id: 22")) + Framed(SmallTable()) + Framed(other) + Framed(SmallTable()));
  const Result result = View({"--to", "arrow", path});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(RowsOf(result.out).size(), 6U);
  EXPECT_NE(result.err.find("reply 1 at offset 0: Id 22, not 3"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find(": it has other columns"), std::string::npos) << result.err;
}

// Each of its tables is as the first reply's, but not all in one column are alike.
TEST(Arrow, SaysWhichReplyHasTablesThatDiffer) {
  const auto with = [](const std::string& inner) {
    return "tValues { Info { Name: 'U' Type: 116 } Data { Index: 0 tValues { " + inner + " } } }";
  };
  const std::string one = "Info { Name: 'A' Type: 105 } Data { Index: 0 iValues: 7 }";
  const std::string two = one + " Info { Name: 'B' Type: 105 } Data { Index: 1 iValues: 7 }";
  const auto reply = [](const std::string& tables) {
    return Framed(Wire("Info { Name: 'T' Type: 116 } Data { Index: 0 " + tables + " }"));
  };
  const std::string good = reply(with(one));
  const Result result = ViewBytes(good + reply(with(one) + with(two)) + good, {"--to", "arrow", "--nested"});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(RowsOf(result.out).size(), 2U);
  EXPECT_EQ(result.err, "tesview: (standard input): reply 2 at offset " + std::to_string(good.size()) +
                            ": the tables in its column \"U\" have other columns\n");
}

TEST(Arrow, OfRepliesWithoutRowsHasTheirColumns) {
  const Result result = ViewBytes(Reply("Id: 21"), kCloses);
  EXPECT_EQ(result.code, 1);
  const arrow_reader::Stream stream = arrow_reader::Read(result.out);
  EXPECT_EQ(stream.fault, "");
  EXPECT_EQ(stream.schema.children.size(), 3U);
  EXPECT_EQ(stream.batches.size(), 0U);
  // Nothing tells columns here.
  EXPECT_EQ(ViewBytes(Reply("Id: 22"), {"--to", "arrow"}).out, "");
}

TEST(Arrow, RefusesWhatItsReadersDo) {
  const auto error = [](const Strings& arguments) {
    const Result result = ViewBytes("", With({"--to", "arrow"}, arguments));
    EXPECT_EQ(result.code, 2);
    return result.err;
  };
  EXPECT_NE(error({"--head", "3"}).find("--to arrow takes no --head or --tail"), std::string::npos);
  EXPECT_NE(error({"--tail", "3"}).find("--to arrow takes no --head or --tail"), std::string::npos);
  EXPECT_NE(error({"--path", "0/Data"}).find("--path is for a single table"), std::string::npos);
  EXPECT_NE(error({"--time", "iso"}).find("times stay as the columns have them"), std::string::npos);
  EXPECT_NE(ViewBytes("", {"--nested"}).err.find("--nested takes --to arrow with it"), std::string::npos);
  const Result none = ViewBytes(TwoKlines(), {"--to", "arrow", "--columns", "Nothing"});
  EXPECT_EQ(none.code, 1);
  EXPECT_NE(none.err.find("no column \"Nothing\" in this table"), std::string::npos) << none.err;
}

TEST(Arrow, IsNotForATerminal) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  How how;
  how.terminal_out = true;
  const Result result = View({"--to", "arrow", Sample("21-QuoteKlineSingle")}, how);
  EXPECT_EQ(result.code, 2);
  EXPECT_EQ(result.err,
            "tesview: a terminal cannot show Arrow; take a file or a pipe (tesview --help tells more)\n");
}

// What is wrong with a reply is its own; what one has not, others have neither.
TEST(Arrow, SaysOfEachDamagedReplyThatItIs) {
  // Id 21, whose payload is cut in itself.
  const std::string cut = Framed("\x08\x15\xAA\x01\x02\x0A\x05");
  const auto errors = [](const std::string& stream, const char* column) {
    const Result result = ViewBytes(stream, {"--from", "delimited", "--to", "arrow", "--columns", column});
    EXPECT_EQ(result.code, 1);
    return LinesOf(result.err);
  };
  for (const std::string& first : {std::string(), Framed(TwoKlines())}) {
    const Strings each = errors(first + cut + cut + cut, "Obj");
    ASSERT_EQ(each.size(), 3U);
    for (const std::string& line : each)
      EXPECT_NE(line.find(": not a reply: "), std::string::npos) << line;
  }
  // There is no such column; no table; and another Id than the first.
  for (const Strings& once :
       {errors(StreamOf(TwoKlines(), 3), "Nothing"), errors(StreamOf(Reply("Id: 22"), 3), "Obj"),
        errors(Framed(TwoKlines()) + StreamOf(Reply("Id: 22"), 3), "Obj")}) {
    ASSERT_EQ(once.size(), 2U);
    EXPECT_EQ(once[1].find("tesview: 2 more replies like that: "), 0U) << once[1];
  }
}

// ---- many replies -----------------------------------------------------------------------------------------

TEST_F(Files, ArrowOfManyJobsHasTheRowsOfOne) {
  std::string stream;
  for (int i = 0; i < 9000; ++i)
    stream += Framed(i % 1000 == 999 ? std::string("\x08") : TwoKlines());
  const std::string path = Write("a.stream", stream);
  const Result one = View(With(kCloses, {path}));
  const Result two = View(With(kCloses, {"--jobs", "2", path}));
  EXPECT_EQ(one.out, two.out);
  EXPECT_EQ(one.err, two.err);
  EXPECT_EQ(one.code, 1);
  EXPECT_EQ(two.code, 1);
  const Strings rows = RowsOf(one.out);
  ASSERT_EQ(rows.size(), 3U * (9000 - 9));
  EXPECT_EQ(rows.back(), R"({"_reply":8999,"Obj":"SZ000001","Data.ShiJian":null,"Data.ShouPanJia":null})");
}

TEST(Arrow, OfAnyLengthTakesBoundedMemory) {
  if (kSanitized) GTEST_SKIP() << "sanitizers keep freed memory";
  // Replies of 16 kB: 16 MB of them, and 64 MB.
  const std::string block = StreamOf(viewer::LargeReply(16000), 100);
  const auto view = [&block](int count, const std::string& jobs) {
    How how;
    how.feed = [&](int fd) { program::WriteTimes(fd, block, count); };
    return View({"--to", "arrow", "--columns", "Short", "--jobs", jobs, "--from", "delimited"}, how);
  };
  for (const std::string jobs : {"1", "2"}) {
    const Result few = view(10, jobs);
    const Result many = view(40, jobs);
    EXPECT_EQ(RowsOf(many.out).size(), 4000U);
    EXPECT_EQ(arrow_reader::Read(many.out).fault, "");
    EXPECT_LT(many.most_memory, few.most_memory + 16 * 1024) << jobs;
  }
}

// A text of 30 kB beside a table of 200 rows is 6 MB of arrays, and they are written before more are made.
TEST(Arrow, OfShortRepliesWithManyRowsIsNotGathered) {
  if (kSanitized) GTEST_SKIP() << "sanitizers keep freed memory";
  std::string inner = "Info { Name: 'B' Type: 105 } Data { Index: 0";
  for (int i = 0; i < 200; ++i)
    inner += " iValues: 0";
  const std::string reply =
      Wire("Info { Name: 'N' Type: 115 } Info { Name: 'T' Type: 116 } Data { Index: 0 sValues: '" +
           std::string(30000, 'x') + "' } Data { Index: 1 tValues { " + inner + " } } }");
  const auto memory = [&reply](int count) {
    const Result result = viewer::Shell("exec \"$0\" --to arrow --jobs 1 >/dev/null", StreamOf(reply, count));
    EXPECT_EQ(result.code, 0) << result.err;
    return result.most_memory;
  };
  EXPECT_LT(memory(30), memory(3) + 32 * 1024);
}

// What has come whole is given when the source pauses.
TEST(Arrow, ComesWhenTheSourcePauses) {
  for (const std::string jobs : {"1", "2"}) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    How how;
    how.feed = [&](int fd) {
      const std::string reply = Framed(TwoKlines());
      EXPECT_EQ(write(fd, reply.data(), reply.size()), static_cast<ssize_t>(reply.size()));
      char byte = 0;
      EXPECT_EQ(read(ready[0], &byte, 1), 1);
      EXPECT_EQ(write(fd, reply.data(), reply.size()), static_cast<ssize_t>(reply.size()));
    };
    how.after = 1;
    how.then = [&](int) { EXPECT_EQ(write(ready[1], "x", 1), 1); };
    const Result result = View(With(kCloses, {"--jobs", jobs, "--from", "delimited"}), how);
    EXPECT_EQ(arrow_reader::Read(result.out).batches.size(), 2U) << jobs;
    EXPECT_EQ(RowsOf(result.out).size(), 6U);
    close(ready[0]);
    close(ready[1]);
  }
}

TEST(Arrow, HasItsColumnsBeforeAnyRow) {
  // The second reply is sent when something of the first, which has no rows, has come.
  const std::string reply = Framed(Reply("Id: 130"));
  for (const std::string jobs : {"1", "2"}) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    bool came = false;
    How how;
    how.feed = [&](int fd) {
      EXPECT_EQ(write(fd, reply.data(), reply.size()), static_cast<ssize_t>(reply.size()));
      pollfd wait{ready[0], POLLIN, 0};
      came = poll(&wait, 1, 10000) == 1;
      EXPECT_EQ(write(fd, reply.data(), reply.size()), static_cast<ssize_t>(reply.size()));
    };
    how.after = 1;
    how.then = [&](int) { EXPECT_EQ(write(ready[1], "x", 1), 1); };
    const Result result = View({"--to", "arrow", "--jobs", jobs, "--from", "delimited"}, how);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(RowsOf(result.out), Strings());
    EXPECT_TRUE(came) << jobs;
    close(ready[0]);
    close(ready[1]);
  }
}

TEST_F(Files, ArrowEndsQuietlyWhenItsReaderHasGone) {
  const std::string path = Write("a.stream", StreamOf(TwoKlines(), 50000));
  const Result result = program::Shell("{ tesview --to arrow a.stream; echo $? >&2; } | head -c 1000 | wc -c",
                                       std::filesystem::path(viewer::Program()).parent_path(), directory_);
  EXPECT_EQ(result.err, "0\n");
}

TEST_F(Files, AnInterruptLeavesWholeBatches) {
  const std::string path = Write("a.stream", StreamOf(TwoKlines(), 100000));
  How how;
  how.after = 100000;
  how.then = [](int process) {
    kill(process, SIGINT);
    usleep(50000);
  };
  const Result result = View(With(kCloses, {path}), how);
  EXPECT_EQ(result.signal, SIGINT);
  const arrow_reader::Stream stream = arrow_reader::Read(result.out);
  EXPECT_GT(stream.batches.size(), 0U);
  // Only the mark of the end is not there.
  EXPECT_EQ(stream.fault, "cut off");
}
