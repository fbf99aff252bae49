// What the output shows as a name or a path is taken as one, and what is wrong for all replies is said once.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/arrow_reader.h"
#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::Framed;
using viewer::LinesOf;
using viewer::Reply;
using viewer::Sample;
using viewer::SmallTable;
using viewer::StreamOf;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;
using viewer::Wire;

// A table N, T with a table N, U in it, which has a table N in it.
std::string ThreeDeep() {
  const std::string deepest = "Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: 'c' }";
  const std::string inner =
      "Info { Name: 'N' Type: 115 } Info { Name: 'U' Type: 116 } Data { Index: 0 sValues: 'b' }"
      "Data { Index: 1 tValues { " +
      deepest + " } }";
  return Wire(
      "Info { Name: 'N' Type: 115 } Info { Name: 'T' Type: 116 } Data { Index: 0 sValues: 'a' }"
      "Data { Index: 1 tValues { " +
      inner + " } }");
}

std::string Csv(const std::string& reply, Strings arguments) {
  arguments.insert(arguments.end(), {"--to", "csv"});
  const Result result = ViewBytes(reply, arguments);
  EXPECT_EQ(result.err, "");
  return result.out;
}

TEST(Names, OfCsvAndNdjsonAreTakenByColumns) {
  EXPECT_EQ(Csv(ThreeDeep(), {}), "N,T.N,T.U.N\na,b,c\n");
  EXPECT_EQ(Csv(ThreeDeep(), {"--columns", "N"}), "N,T.N,T.U.N\na,b,c\n");
  EXPECT_EQ(Csv(ThreeDeep(), {"--columns", "T.N"}), "T.N\nb\n");
  EXPECT_EQ(Csv(ThreeDeep(), {"--columns", "T.U.N"}), "T.U.N\nc\n");
  EXPECT_EQ(Csv(ThreeDeep(), {"--columns", "T.U"}), "T.U.N\nc\n");
  EXPECT_EQ(Csv(TwoKlines(), {"--columns", "Data.ShouPanJia,Obj", "--head", "1"}),
            "Obj,Data.ShouPanJia\nSH600000,12.34\n");
}

TEST(Names, OfAColumnThatIsThereTwiceOrHasSeveralNumbers) {
  const std::string twice = Wire(
      "Info { Name: 'N' Type: 115 } Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: 'a' }"
      "Data { Index: 1 sValues: 'b' }");
  EXPECT_EQ(Csv(twice, {}), "N,N#1\na,b\n");
  EXPECT_EQ(Csv(twice, {"--columns", "N#1"}), "N#1\nb\n");
  // Called otherwise only beside the viewer's own names.
  const std::string own = Wire("Info { Name: '_row' Type: 115 } Data { Index: 0 sValues: 'a' }");
  EXPECT_EQ(Csv(own, {}), "_row#0\na\n");
  EXPECT_EQ(Csv(own, {"--columns", "_row#0"}), "_row#0\na\n");
  const auto figures = [](const char* name) {
    return View({"--columns", name, "--to", "csv", Sample("405-CaiWuShuJuFanHui")}).out;
  };
  EXPECT_EQ(figures("Data[53]").substr(0, 10), "Data.Data\n");
  EXPECT_EQ(figures("Data[53]"), figures("Data.Data"));
}

TEST(Names, OfTablesAreTakenByPath) {
  for (const char* path : {"*/T", "T"}) {
    EXPECT_EQ(Csv(ThreeDeep(), {"--path", path}), "T.N,T.U.N\nb,c\n") << path;
    EXPECT_EQ(Csv(ThreeDeep(), {"--path", path, "--columns", "U.N"}), "T.U.N\nc\n") << path;
  }
  for (const char* path : {"*/T/*/U", "T/U", "*/T/U"})
    EXPECT_EQ(Csv(ThreeDeep(), {"--path", path}), "T.U.N\nc\n") << path;
  EXPECT_EQ(Csv(ThreeDeep(), {"--path", "0/T/*/U"}), "U.N\nc\n");
  EXPECT_EQ(Csv(ThreeDeep(), {"--path", "0/T/0/U"}), "N\nc\n");
  EXPECT_EQ(ViewBytes(ThreeDeep(), {"--path", "0/T/U", "--to", "ndjson"}).out,
            "{\"_id\":3,\"_row\":\"0/T/0/U/0\",\"U.N\":\"c\"}\n");
  const std::string table = ViewBytes(ThreeDeep(), {"--path", "0/T/U"}).out;
  EXPECT_NE(table.find("0/T/0/U"), std::string::npos) << table;
}

TEST(Names, OfArrowAreTheSame) {
  const Result result = ViewBytes(TwoKlines(), {"--to", "arrow", "--columns", "Data.ShouPanJia,Obj"});
  const Strings rows = arrow_reader::RowsOf(result.out);
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0], "{\"Obj\":\"SH600000\",\"Data.ShouPanJia\":12.34}");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--to", "arrow", "--columns", "Data.Obj"}).err,
            "tesview: (standard input): no column \"Data.Obj\" in this table; did you mean \"Obj\"?\n");
}

TEST(Once, AColumnThatNoReplyHas) {
  const Result result = ViewBytes(StreamOf(TwoKlines(), 1000), {"--to", "csv", "--columns", "ShouPanJai"});
  const Strings lines = LinesOf(result.err);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0],
            "tesview: (standard input): reply 1 at offset 0: no column \"ShouPanJai\" in this table; did you "
            "mean \"ShouPanJia\"?");
  const std::string more =
      "tesview: 999 more replies like that: no column \"ShouPanJai\" in this table; the last is "
      "(standard input): reply 1000 at offset ";
  EXPECT_EQ(lines[1], more + std::to_string(999 * Framed(TwoKlines()).size()));
  EXPECT_EQ(result.code, 1);
}

TEST(Once, APathThatLeadsNowhere) {
  const std::string stream = StreamOf(TwoKlines(), 3);
  for (const char* to : {"table", "csv", "ndjson"}) {
    const Result result = ViewBytes(stream, {"--to", to, "--path", "9/Data"});
    const Strings lines = LinesOf(result.err);
    ASSERT_EQ(lines.size(), 2U) << result.err;
    EXPECT_EQ(lines[0].find("tesview: (standard input): reply 1 at offset 0: "), 0U) << lines[0];
    const std::string more =
        "tesview: 2 more replies like that: path \"9/Data\" leads to no table; the last is (standard input): "
        "reply 3 at offset ";
    EXPECT_EQ(lines[1], more + std::to_string(2 * Framed(TwoKlines()).size()));
  }
}

TEST(Once, ComesBehindWhatIsShown) {
  // Two replies that have no such column, and one that has it, into one pipe.
  const std::string stream = StreamOf(TwoKlines(), 2) + Framed(SmallTable());
  for (const std::string to : {"csv", "ndjson", "table"}) {
    const Strings lines =
        LinesOf(viewer::Shell("exec \"$0\" --to " + to + " --columns Price 2>&1", stream).out);
    ASSERT_GE(lines.size(), 3U) << to;
    EXPECT_EQ(lines.front().find("tesview: (standard input): reply 1 at offset 0: no column "), 0U)
        << lines.front();
    EXPECT_EQ(lines.back().find("tesview: 1 more reply like that: no column \"Price\""), 0U) << lines.back();
  }
}

TEST(Once, RepliesWithoutATableByTheirId) {
  const std::string stream = StreamOf(Reply("Id: 22"), 3) + StreamOf(Reply("Id: 23"), 2);
  for (const char* jobs : {"1", "3"}) {
    const Result result = ViewBytes(stream, {"--to", "csv", "--jobs", jobs});
    EXPECT_EQ(
        result.err,
        "tesview: (standard input): reply 1 at offset 0: Id 22 (QuoteTickSingle): no table form; try --to "
        "json\n"
        "tesview: (standard input): reply 4 at offset 9: Id 23 (QuoteMinSingle): no table form; try --to "
        "json\n"
        "tesview: 2 more replies like that: Id 22 (QuoteTickSingle): no table form; try --to json; the last "
        "is (standard input): reply 3 at offset 6\n"
        "tesview: 1 more reply like that: Id 23 (QuoteMinSingle): no table form; try --to json; the last is "
        "(standard input): reply 5 at offset 12\n");
  }
}

TEST(Once, RepliesOfAnotherIdInArrow) {
  const std::string stream = Framed(TwoKlines()) + StreamOf(Reply("Id: 22"), 10);
  const Result result = ViewBytes(stream, {"--to", "arrow"});
  EXPECT_EQ(LinesOf(result.err).size(), 2U) << result.err;
  EXPECT_EQ(result.code, 1);
}

TEST(Once, ButEveryDamagedReply) {
  const Result result = ViewBytes(StreamOf(std::string("\x08\x14\xA2\x01\x01\xFF"), 4), {"--to", "csv"});
  EXPECT_EQ(LinesOf(result.err).size(), 4U);
}

TEST(Once, AndNoneBehindTheFirstWhereTheUserIsStrict) {
  const Result result =
      ViewBytes(StreamOf(SmallTable(), 3), {"--columns", "X", "--to", "ndjson", "--strict"});
  EXPECT_EQ(LinesOf(result.err).size(), 1U);
}

}  // namespace
