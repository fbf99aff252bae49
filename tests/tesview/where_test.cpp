// --where: rows and replies by what is in their columns.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/arrow_reader.h"
#include "tests/support/json.h"
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
using viewer::SmallTable;
using viewer::StreamOf;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;
using viewer::Wire;

// The rows that are shown, as csv without its header.
Strings RowsWhere(const std::string& reply, const std::string& where, Strings arguments = {}) {
  arguments.insert(arguments.end(), {"--to", "csv", "--where", where});
  const Result result = ViewBytes(reply, arguments);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.code, 0);
  Strings lines = LinesOf(result.out);
  if (!lines.empty()) lines.erase(lines.begin());
  return lines;
}

Strings Closes(const std::string& where) {
  return RowsWhere(TwoKlines(), where, {"--columns", "Obj,ShiJian,ShouPanJia"});
}

const std::string kFirst = "SH600000,20240617,12.34";
const std::string kSecond = "SH600000,20240618,12.5";

TEST(Where, KeepsRowsAndThoseInsideThem) {
  EXPECT_EQ(Closes("Obj=SH600000"), (Strings{kFirst, kSecond}));
  EXPECT_EQ(Closes("Obj ~ 6000 and Obj != SZ000001"), (Strings{kFirst, kSecond}));
  EXPECT_EQ(RowsWhere(TwoKlines(), "Obj=SZ000001", {"--columns", "Obj"}), Strings{"SZ000001"});
}

TEST(Where, ARowInsideKeepsTheRowAroundIt) {
  EXPECT_EQ(Closes("ShouPanJia > 12.34"), Strings{kSecond});
  EXPECT_EQ(Closes("Data.ShouPanJia>=12.34"), (Strings{kFirst, kSecond}));
  EXPECT_EQ(Closes("Obj=SH600000 and ShouPanJia<12.5"), Strings{kFirst});
  EXPECT_EQ(Closes("Obj=SZ000001 AND ShouPanJia>0"), Strings());
  EXPECT_EQ(Closes("ShouPanJia>12.4 and ShiJian=20240617"), Strings());
}

TEST(Where, TimesAreComparedWhereTheirKindIsKnown) {
  EXPECT_EQ(Closes("ShiJian='2024-06-17'"), Strings{kFirst});
  EXPECT_EQ(Closes("ShiJian >= 2024-06-18"), Strings{kSecond});
  EXPECT_EQ(Closes("ShiJian < '2024-06-18 00:00'"), Strings{kFirst});
  EXPECT_EQ(Closes("ShiJian > '2024-06-17 00:00'"), Strings{kSecond});
  const std::string quotes =
      Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' Data { Id: 1 ShiJian: " + P(20240617093015, 10) +
            " } } RepDataQuoteDynaSingle { Obj: 'B' Data { Id: 2 ShiJian: " + P(20240618150000, 10) + " } }");
  const auto objects = [&](const std::string& where) {
    return RowsWhere(quotes, where, {"--columns", "Obj"});
  };
  EXPECT_EQ(objects("ShiJian >= 15:00"), Strings{"B"});
  EXPECT_EQ(objects("ShiJian = 09:30"), Strings{"A"});
  EXPECT_EQ(objects("ShiJian = 09:30:15"), Strings{"A"});
  EXPECT_EQ(objects("ShiJian = 09:30:16"), Strings());
  EXPECT_EQ(objects("ShiJian < '09:30:15.001'"), Strings{"A"});
  EXPECT_EQ(objects("ShiJian <= 2024-06-17"), Strings{"A"});
  EXPECT_EQ(objects("ShiJian != 2024-06-17"), Strings{"B"});
  EXPECT_EQ(objects("ShiJian = 20240617093015"), Strings{"A"});
}

TEST(Where, WhatIsNoTimeIsNoneThatItIsComparedWith) {
  const std::string bars = Reply("Id: 21 RepDataQuoteKlineSingle { Obj: 'A' Data { ShiJian: " + P(1234) +
                                 " } Data { ShiJian: 0 } Data { ShiJian: " + P(20240617, 10) + " } }");
  const auto rows = [&](const std::string& where) {
    return RowsWhere(bars, where, {"--columns", "ShiJian"});
  };
  EXPECT_EQ(rows("ShiJian != 2024-06-18"), Strings{"20240617"});
  EXPECT_EQ(rows("ShiJian < 2024-06-18"), Strings{"20240617"});
  EXPECT_EQ(rows("ShiJian < 20240617"), (Strings{"12.34", "0"}));
}

TEST(Where, ATimeOfDayHasNoDate) {
  // Id 272 tells when the limit was reached by the time alone: 9:32:15.
  const std::string limit_up = Reply(
      "Id: 272 RepDataGeGuFengBanFanHuiShuJu { Obj: 'A' Data { ShiJian: 0 ZhangTingShiJian: " + P(93215, 10) +
      " } }");
  const auto rows = [&](const std::string& where) {
    return RowsWhere(limit_up, where, {"--columns", "ZhangTingShiJian"});
  };
  EXPECT_EQ(rows("ZhangTingShiJian = 09:32:15"), Strings{"93215"});
  EXPECT_EQ(rows("ZhangTingShiJian < 10:00"), Strings{"93215"});
  EXPECT_EQ(rows("ZhangTingShiJian > 2000-01-01"), Strings());
  EXPECT_EQ(rows("ZhangTingShiJian != 2000-01-01"), Strings());
}

TEST(Where, ValuesMayBeInQuotes) {
  EXPECT_EQ(RowsWhere(SmallTable(), "Name = 平安银行"), Strings{"平安银行,12.34"});
  EXPECT_EQ(RowsWhere(SmallTable(), "Name=''"), Strings{"\"\",0.5"});
  const std::string reply =
      Wire("Info { Name: 'My name' Type: 115 } Data { Index: 0 sValues: 'a and b' sValues: \"it's\" }");
  EXPECT_EQ(RowsWhere(reply, "My name = 'a and b'"), Strings{"a and b"});
  EXPECT_EQ(RowsWhere(reply, "\"My name\"='it''s' and My name ~ it"), Strings{"it's"});
}

TEST(Where, ACellThatIsNotSetMatchesNothing) {
  EXPECT_EQ(RowsWhere(SmallTable(), "Price != 12.34"), Strings{"\"\",0.5"});
  EXPECT_EQ(RowsWhere(SmallTable(), "Price < 100"), (Strings{"平安银行,12.34", "\"\",0.5"}));
}

TEST(Where, RowsKeepTheirNumbersAndHeadComesBehindIt) {
  EXPECT_EQ(ViewBytes(SmallTable(), {"--to", "ndjson", "--where", "Price=0.5"}).out,
            "{\"_id\":3,\"_row\":\"1\",\"Name\":\"\",\"Price\":0.5}\n");
  EXPECT_EQ(RowsWhere(SmallTable(), "Price<1", {"--head", "1"}), Strings{"\"\",0.5"});
  EXPECT_EQ(RowsWhere(SmallTable(), "Price<100", {"--tail", "1"}), Strings{"\"\",0.5"});
  const Result table = ViewBytes(SmallTable(), {"--where", "Name=x"});
  EXPECT_EQ(table.out.substr(table.out.find('\n') + 1),
            "#  Name  Price\n2  x         \xC2\xB7\n1 of 3 rows\n");
}

TEST(Where, TheOutermostColumnOfANameCounts) {
  // N is a column of the table and of the one in its first row.
  const std::string reply = Wire(
      "Info { Name: 'N' Type: 115 } Info { Name: 'T' Type: 116 } Data { Index: 0 sValues: 'a' sValues: 'b' }"
      "Data { Index: 1 tValues { Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: 'b' sValues: 'c' } } }");
  EXPECT_EQ(RowsWhere(reply, "N=b"), Strings{"b,"});
  EXPECT_EQ(RowsWhere(reply, "T.N=b"), Strings{"a,b"});
  EXPECT_EQ(RowsWhere(reply, "T.N!=b and N=a"), Strings{"a,c"});
}

TEST(Where, AColumnThatCannotBeComparedHidesNoneInside) {
  // X holds bytes, and texts in the table beside it.
  const std::string reply = Wire(
      "Info { Name: 'X' Type: 98 } Info { Name: 'T' Type: 116 } Data { Index: 0 bValues: 'yyy' }"
      "Data { Index: 1 tValues { Info { Name: 'X' Type: 115 } Data { Index: 0 sValues: 'b' sValues: 'c' } } }");
  EXPECT_EQ(RowsWhere(reply, "X=b"), Strings{"eXl5,b"});
  EXPECT_EQ(RowsWhere(reply, "X=d"), Strings());
}

TEST(Where, OfTwoColumnsOfTablesEitherMayHaveTheRow) {
  // Tables A and B, both with a column X, B with a column Y as well.
  const std::string reply = Wire(
      "Info { Name: 'A' Type: 116 } Info { Name: 'B' Type: 116 }"
      "Data { Index: 0 tValues { Info { Name: 'X' Type: 115 } Data { Index: 0 sValues: '1' sValues: '2' } } }"
      "Data { Index: 1 tValues { Info { Name: 'X' Type: 115 } Info { Name: 'Y' Type: 115 }"
      "  Data { Index: 0 sValues: '1' sValues: '3' } Data { Index: 1 sValues: 'p' sValues: 'q' } } }");
  EXPECT_EQ(RowsWhere(reply, "X=2"), Strings{"2,,"});
  EXPECT_EQ(RowsWhere(reply, "X=3"), Strings{",3,q"});
  EXPECT_EQ(RowsWhere(reply, "X=1"), (Strings{"1,,", ",1,p"}));
  EXPECT_EQ(RowsWhere(reply, "X=1 and Y=p"), (Strings{"1,,", ",1,p"}));
  EXPECT_EQ(RowsWhere(reply, "X=2 and Y=p"), Strings());
  EXPECT_EQ(RowsWhere(reply, "A.X=2 and B.Y=q"), (Strings{"2,,", ",3,q"}));
}

TEST(Where, RepliesWithoutSuchRowsAreNotShown) {
  const std::string stream = Framed(Reply("Id: 22")) + Framed(TwoKlines()) + Framed(SmallTable()) +
                             Framed(Reply("Id: 21 RepDataQuoteKlineSingle { Obj: 'SZ000002' }"));
  const auto shown = [&](const Strings& form) {
    Strings arguments = form;
    arguments.insert(arguments.end(), {"--where", "Obj=SH600000"});
    const Result result = ViewBytes(stream, arguments);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.code, 0);
    return result.out;
  };
  EXPECT_EQ(shown({"--json"}), ViewBytes(TwoKlines(), {"--json"}).out);
  EXPECT_EQ(shown({"--to", "text"}), ViewBytes(TwoKlines(), {"--to", "text"}).out);
  EXPECT_EQ(LinesOf(shown({"--to", "ndjson"})).size(), 2U);
  EXPECT_EQ(shown({}).substr(0, 11), "reply 2  Id");
  EXPECT_EQ(LinesOf(shown({"--to", "summary"})).size(), 2U);
  EXPECT_EQ(shown({"--to", "bin"}), Framed(TwoKlines()));
}

TEST_F(Files, WhereIsCountedBeforeSkipAndLimit) {
  const std::string klines = Framed(TwoKlines()) + Framed(SmallTable());
  const std::string path = Write("a.stream", klines + klines + klines + klines + "\xFF\xFF\xFF");
  for (const char* jobs : {"1", "3"}) {
    const Result result = View({"--to", "ndjson", "--where", "Obj=SH600000 and ShouPanJia=12.5", "--skip",
                                "1", "--limit", "2", "--jobs", jobs, path});
    const Strings lines = LinesOf(result.out);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].substr(0, 12), "{\"_reply\":3,");
    EXPECT_EQ(lines[1].substr(0, 12), "{\"_reply\":5,");
  }
  EXPECT_EQ(View({"--to", "ndjson", "--where", "Obj=SH600000", "--limit", "0", path}).out, "");
  // Of none nothing is read, damage neither.
  const Result none =
      ViewBytes("\xFF\xFF\xFF", {"--json", "--from", "delimited", "--where", "Obj=A", "--limit", "0"});
  EXPECT_EQ(none.out, "");
  EXPECT_EQ(none.err.find("(standard input)"), std::string::npos) << none.err;
  const Result early = View({"--json", "--where", "Obj=SH600000", "--limit", "1", path});
  EXPECT_EQ(early.err, "");
  EXPECT_EQ(early.code, 0);
}

TEST(Where, ADamagedReplyIsStillToldOf) {
  const Result result = ViewBytes(Framed(std::string("\x08\x14\xA2\x01\x02\x0A\x05")) + Framed(TwoKlines()),
                                  {"--from", "delimited", "--json", "--where", "Obj=SH600000"});
  EXPECT_EQ(LinesOf(result.out).size(), 1U);
  EXPECT_NE(result.err.find("reply 1 at offset 0: not a reply: "), std::string::npos);
  EXPECT_EQ(result.code, 1);
}

TEST(Where, ArrowHasTheSameRows) {
  const std::string stream = Framed(TwoKlines()) + Framed(TwoKlines());
  const std::string arrow =
      ViewBytes(stream, {"--to", "arrow", "--columns", "Obj,ShouPanJia", "--where", "ShouPanJia>12.4"}).out;
  EXPECT_EQ(arrow_reader::RowsOf(arrow),
            (Strings{"{\"_reply\":1,\"Obj\":\"SH600000\",\"Data.ShouPanJia\":12.5}",
                     "{\"_reply\":2,\"Obj\":\"SH600000\",\"Data.ShouPanJia\":12.5}"}));
  const Result none = ViewBytes(stream, {"--to", "arrow", "--where", "ShouPanJia>13"});
  EXPECT_EQ(none.err, "");
  EXPECT_EQ(none.code, 0);
  EXPECT_EQ(arrow_reader::RowsOf(none.out), Strings());
}

TEST(Where, WhatNoReplyHasIsSaidOnce) {
  const std::string stream = StreamOf(TwoKlines(), 3);
  const Result missing = ViewBytes(stream, {"--json", "--where", "ShouPanJai=1"});
  EXPECT_EQ(missing.err,
            "tesview: --where: no reply that was read has a column \"ShouPanJai\"; did you mean "
            "\"ShouPanJia\"?\n");
  EXPECT_EQ(missing.code, 1);
  const Result word = ViewBytes(stream, {"--json", "--where", "Obj=SH600000 and ShouPanJia='x'"});
  EXPECT_EQ(word.err, "tesview: --where: column \"ShouPanJia\" cannot be compared with \"x\"\n");
  EXPECT_EQ(ViewBytes(stream, {"--json", "--where", "Data=1"}).err,
            "tesview: --where: column \"Data\" cannot be compared with \"1\"\n");
  // Where one reply has it, that is enough.
  EXPECT_EQ(ViewBytes(stream + Framed(SmallTable()), {"--json", "--where", "Price>0"}).code, 0);
}

TEST(Where, APathThatIsNotKeptIsNotShown) {
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "0/Data", "--where", "Obj=SZ000001"}).out, "");
  EXPECT_EQ(RowsWhere(TwoKlines(), "ShouPanJia=12.5", {"--path", "0/Data", "--columns", "ShiJian"}),
            Strings{"20240618"});
}

TEST(Where, WhatIsNoComparisonIsWrongUsage) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"Obj", "no comparison behind \"Obj\"; there are =, !=, <, <=, >, >= and ~"},
      {"=1", "it takes a column, a comparison and a value, as in Obj=SH600000"},
      {"Obj=", "no value behind \"Obj\"; '' is an empty text"},
      {"Obj==A", "\"==\" is no comparison"},
      {"Obj='A", "a quote is missing behind 'A"},
      {"Obj='A' or B=1", "\"and\" is to stand where \"or B=1\" does"},
      {"Obj='A' andB=1", "\"and\" is to stand where \"andB=1\" does"},
      {"Obj=A or B=1", "the value \"A or B=1\" has to be in quotes"},
      {"Obj=A and ", "it takes a column, a comparison and a value, as in Obj=SH600000"}};
  for (const auto& [where, says] : cases) {
    const Result result = ViewBytes("", {"--where", where});
    EXPECT_EQ(result.err, "tesview: --where \"" + where + "\": " + says + " (tesview --help tells more)\n");
    EXPECT_EQ(result.code, 2);
  }
  Strings many;
  for (int i = 0; i < 33; ++i)
    many.insert(many.end(), {"--where", "A=" + std::to_string(i)});
  EXPECT_EQ(ViewBytes("", many).err,
            "tesview: --where \"A=32\": more than 32 comparisons (tesview --help tells more)\n");
  EXPECT_EQ(ViewBytes("", {"--to", "arrow", "--where", "A=1", "--limit", "1"}).err,
            "tesview: --to arrow takes --where without --skip and --limit (tesview --help tells more)\n");
}

}  // namespace
