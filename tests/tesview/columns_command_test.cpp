// tesview columns, and what else is told of columns: headings, times, any payload as a table.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/support/json.h"
#include "tests/support/program.h"
#include "tests/support/replies.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using test_replies::P;
using test_replies::PackedWhole;
using viewer::Files;
using viewer::LinesOf;
using viewer::Reply;
using viewer::View;
using viewer::ViewBytes;

TEST(ColumnsCommand, TellsOfATableAndOfThoseInside) {
  const Result all = View({"columns", "21"});
  EXPECT_EQ(all.code, 0);
  EXPECT_NE(all.out.find("21  Candlesticks"), std::string::npos);
  EXPECT_NE(all.out.find("\n21/Data\n"), std::string::npos);
  const Result inner = View({"columns", "QuoteKlineSingle/Data"});
  EXPECT_EQ(inner.out.substr(0, 8), "21/Data\n");
  EXPECT_NE(inner.out.find("ZuiGaoJia"), std::string::npos);
  const Result outer = View({"columns", "21/"});
  EXPECT_EQ(outer.out.find("ZuiGaoJia"), std::string::npos);
  EXPECT_NE(outer.out.find("Obj"), std::string::npos);
}

TEST(ColumnsCommand, TellsOfTypedLayoutsAndOfWhatHasOnlyOne) {
  EXPECT_EQ(View({"columns", "44"}).out.substr(0, 15), "44 --type Token");
  EXPECT_EQ(View({"columns", "321", "--type", "DaDan"}).out.substr(0, 16), "321 --type DaDan");
  EXPECT_EQ(View({"columns", "25", "--type", "ZhiBiao2", "--to", "names"}).out,
            "Data\nJieGuo1\nJieGuo2\nObj\nShiJian\n");
}

TEST(ColumnsCommand, TellsOfAPayloadWithoutATableByTheSchema) {
  const Result ticks = View({"columns", "22/Data"});
  EXPECT_EQ(LinesOf(ticks.out)[0], "22/Data");
  EXPECT_EQ(LinesOf(ticks.out)[1], "#   column                   letter  field");
  EXPECT_EQ(LinesOf(ticks.out)[2], "0   Id                       q       int64");
}

TEST(ColumnsCommand, WritesMarkdown) {
  EXPECT_EQ(LinesOf(View({"columns", "--to", "markdown", "20/"}).out)[2],
            "| 0 | `Obj` | `s` | Instrument 代码 | Market and code of the instrument | | cp936 code | `Obj`, "
            "text | never |");
}

TEST(ColumnsCommand, WritesJsonWithItsGuesses) {
  const std::string json = View({"columns", "--to", "json", "21/Data"}).out;
  EXPECT_NE(json.find("\"path\": \"Data\""), std::string::npos);
  EXPECT_NE(
      json.find(
          "{\"column\": \"KaiPanJia\", \"letter\": \"d\", \"english\": \"Open\", \"chinese\": \"开盘价\", "
          "\"meaning\": \"First price of the bar\", \"unit\": \"currency\", \"kind\": \"\", "
          "\"source\": \"Data.KaiPanJia\", \"made\": \"decoded\", \"unset\": \"never\"}"),
      std::string::npos);
  EXPECT_NE(json.find("\"guesses\": [\"unit\"]"), std::string::npos);
  // As a whole it is one list.
  EXPECT_EQ(json.front(), '[');
  EXPECT_EQ(json.substr(json.size() - 2), "]\n");
  EXPECT_EQ(View({"columns", "--to", "json"}).out.find('\n'),
            View({"columns", "--to", "json"}).out.size() - 1);
}

TEST(ColumnsCommand, AlignsWhatItTells) {
  EXPECT_EQ(
      View({"columns", "44"}).out,
      "44 --type Token  Token  令牌\n"
      "rows: one for each token; without any: no table\n"
      "#  column  letter  heading              unit  kind        unset  from           meaning\n"
      "0  Result  i       Result     结果      -     enum ?      never  Result, plain  Code of the result ?\n"
      "1  Token   s       Token      令牌      -     raw secret  never  Token, text    The token\n"
      "2  Uid     s       User id    用户编号  -     raw secret  never  Uid, text      Id of the user that the "
      "token belongs to\n"
      "3  Device  s       Device id  设备编号  -     raw         never  Device, text   Id of the device that "
      "the token belongs to\n");
}

TEST(ColumnsCommand, TellsOfATableThatTheReplyDescribes) {
  EXPECT_EQ(View({"columns", "3"}).out,
            "3  Wire table  通用数据表\n"
            "rows: as many as the first column has values; without any: no table\n"
            "columns as the reply describes them\n");
  EXPECT_EQ(
      View({"columns", "--to", "json", "3"}).out,
      "[{\"id\": 3, \"type\": 0, \"path\": \"\", \"english\": \"Wire table\", \"chinese\": \"通用数据表\", "
      "\"rows\": \"as many as the first column has values\", \"empty\": \"no table\", \"name\": \"\", "
      "\"columns\": []}]\n");
}

TEST(ColumnsCommand, TellsOfEachElementOfAList) {
  const auto lines = LinesOf(View({"columns", "405/Data"}).out);
  ASSERT_EQ(lines.size(), 60U);  // 53 elements, four columns, three lines above them
  EXPECT_EQ(lines[1].substr(lines[1].find("; label")), "; label: tes2tableType::ParseCaiWuShuJuFanHui");
  EXPECT_EQ(lines[6].substr(0, 9), "     [0] ");
  EXPECT_EQ(lines[6].substr(lines[6].find("发布日期")),
            "发布日期        -           yyyymmdd ?          FaBuRiQi");
  const std::string json = View({"columns", "--to", "json", "405/Data"}).out;
  EXPECT_NE(
      json.find(
          "\"unset\": \"absent\", \"elements\": [{\"index\": 0, \"english\": \"Publication date\", "
          "\"chinese\": \"发布日期\", \"unit\": \"\", \"kind\": \"yyyymmdd\", \"source\": \"FaBuRiQi\", "
          "\"guesses\": [\"kind\"]}, {\"index\": 1, "),
      std::string::npos)
      << json;
  EXPECT_NE(json.find("\"guesses\": [\"meaning\", \"kind\"]}"), std::string::npos);
  const auto markdown = LinesOf(View({"columns", "--to", "markdown", "405/Data"}).out);
  ASSERT_EQ(markdown.size(), 59U);
  EXPECT_EQ(markdown[0], "| # | Column | Letter | Heading | Meaning | Unit | Kind | From | Unset |");
  EXPECT_EQ(markdown[1], "|---|---|---|---|---|---|---|---|---|");
  EXPECT_EQ(markdown[5], "| | [0] | | Publication date 发布日期 | | | yyyymmdd ? | `FaBuRiQi` | |");
}

TEST(ColumnsCommand, SetsTablesOff) {
  const std::string two = View({"columns", "44", "3"}).out;
  EXPECT_EQ(two, View({"columns", "44"}).out + "\n" + View({"columns", "3"}).out);
  EXPECT_EQ(View({"columns", "--to", "markdown", "44", "3"}).out,
            View({"columns", "--to", "markdown", "44"}).out + "\n" +
                View({"columns", "--to", "markdown", "3"}).out);
  const std::string json = View({"columns", "--to", "json", "44", "3"}).out;
  const std::string first = View({"columns", "--to", "json", "44"}).out;
  EXPECT_EQ(json,
            first.substr(0, first.size() - 2) + ", " + View({"columns", "--to", "json", "3"}).out.substr(1));
}

TEST(ColumnsCommand, TellsOfAPayloadByTheSchemaInEveryForm) {
  EXPECT_EQ(View({"columns", "22/"}).out,
            "22  Ticks of one instrument  分笔成交\n"
            "no table form; with --decode, by the schema alone\n"
            "#  column   letter  field\n"
            "0  Obj      s       string\n"
            "1  Data     t       repeated FenBiChengJiao\n"
            "2  QingPan  q       int64\n");
  EXPECT_EQ(View({"columns", "--to", "markdown", "22/"}).out,
            "| # | column | letter | field |\n"
            "|---|---|---|---|\n"
            "| 0 | `Obj` | `s` | string |\n"
            "| 1 | `Data` | `t` | repeated FenBiChengJiao |\n"
            "| 2 | `QingPan` | `q` | int64 |\n");
  EXPECT_EQ(
      View({"columns", "--to", "json", "22/"}).out,
      "[{\"id\": 22, \"decode\": true, \"path\": \"\", \"columns\": [{\"column\": \"Obj\", \"letter\": \"s\", "
      "\"field\": \"string\"}, {\"column\": \"Data\", \"letter\": \"t\", \"field\": \"repeated "
      "FenBiChengJiao\"}, {\"column\": \"QingPan\", \"letter\": \"q\", \"field\": \"int64\"}]}]\n");
  EXPECT_EQ(View({"columns", "--to", "names", "22/"}).out, "Data\nObj\nQingPan\n");
}

TEST(ColumnsCommand, TakesALastSlashForTheSameTable) {
  EXPECT_EQ(View({"columns", "405/Data/"}).out, View({"columns", "405/Data"}).out);
}

TEST(ColumnsCommand, TellsOfAllOfATypeWhereNoIdIsGiven) {
  EXPECT_EQ(View({"columns", "--type", "Token", "--to", "names"}).out, "Device\nResult\nToken\nUid\n");
  const auto lines = LinesOf(View({"columns", "--type", "Token"}).out);
  EXPECT_EQ(lines[0], "3/* --type Token");
  // Without a type it is every table.
  const auto all = LinesOf(View({"columns"}).out);
  EXPECT_NE(std::find(all.begin(), all.end(), "44 --type Token  Token  令牌"), all.end());
  EXPECT_NE(std::find(all.begin(), all.end(), "3  Wire table  通用数据表"), all.end());
}

TEST(ColumnsCommand, SaysWhatThereIsNot) {
  EXPECT_EQ(View({"columns", "21", "--type", "Token"}).err,
            "tesview: Id 21 (QuoteKlineSingle) has no such table\n");
  EXPECT_EQ(View({"columns", "xyzzyxyzzyqqq/Data"}).err,
            "tesview: no Id is called \"xyzzyxyzzyqqq/Data\"; tesview ids lists them all\n");
  const Result id = View({"columns", "QuoteKlineSingel", "20/"});
  EXPECT_EQ(id.err, "tesview: no Id is called \"QuoteKlineSingel\"; did you mean \"QuoteKlineSingle\"?\n");
  EXPECT_EQ(id.code, 1);
  EXPECT_NE(id.out, "");
  EXPECT_EQ(View({"columns", "20/Nested"}).err,
            "tesview: Id 20 (QuoteDynaSingle) has no table \"Nested\" in its tables\n");
  EXPECT_EQ(View({"columns", "--to", "xml"}).code, 2);
}

// Every Id of the vocabulary is answered, but those that are no payload.
TEST(ColumnsCommand, TellsOfEveryId) {
  viewer::Strings arguments = {"columns", "--to", "names"};
  const auto* ids = test_replies::Pool().FindEnumTypeByName("tessel.EnumID");
  for (int i = 0; i < ids->value_count(); ++i) {
    const int id = ids->value(i)->number();
    if (id != 0 && id != 1 && id != 2 && id != 5) arguments.push_back(std::to_string(id));
  }
  const Result result = View(arguments);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.code, 0);
}

// ---- headings ----

TEST(Header, IsInEnglishOrChineseWhereItIsKnown) {
  const std::string reply =
      Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' Data { Id: 1 ShiJian: 2 ZuiXinJia: 1234 } }");
  const std::string english = ViewBytes(reply, {"--header", "en"}).out;
  EXPECT_EQ(LinesOf(english)[1], "#  Instrument  Snapshot");
  EXPECT_NE(english.find("Latest price"), std::string::npos);
  EXPECT_EQ(english.find("ZuiXinJia"), std::string::npos);
  EXPECT_NE(ViewBytes(reply, {"--header", "zh"}).out.find("最新价"), std::string::npos);
  EXPECT_NE(ViewBytes(reply, {}).out.find("ZuiXinJia"), std::string::npos);
  // What a wire table brings is headed as it comes.
  const std::string wire = Reply(
      "Id: 3 Tbl { Info { Name: 'T' Type: 116 } Data { Index: 0 tValues {"
      " Info { Name: 'ZuiXinJia' Type: 105 } Data { Index: 0 iValues: 1234 } } } }");
  EXPECT_EQ(LinesOf(ViewBytes(wire, {"--header", "en"}).out)[1], "#  ZuiXinJia");
}

TEST(Header, OfColumnsThatAreCutAreTheirNames) {
  const std::string reply =
      Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' } RepDataQuoteDynaSingle { Obj: 'B' }");
  const std::string out = ViewBytes(reply, {"--header", "en", "--width", "60"}).out;
  EXPECT_NE(out.find("JieSuanJia"), std::string::npos);
}

// ---- times ----

TEST(TimeIso, IsWrittenInEveryForm) {
  const std::string reply = Reply("Id: 21 RepDataQuoteKlineSingle { Obj: 'A' Data { ShiJian: " +
                                  std::to_string(PackedWhole(20240617150000)) +
                                  " } Data { ShiJian: " + std::to_string(PackedWhole(20240617)) +
                                  " } Data { ShiJian: " + P(1234) + " } Data { ShiJian: 0 } }");
  const std::string ndjson =
      ViewBytes(reply, {"--time", "iso", "--to", "ndjson", "--columns", "ShiJian"}).out;
  EXPECT_NE(LinesOf(ndjson)[0].find("\"Data.ShiJian\":\"2024-06-17 15:00:00\""), std::string::npos) << ndjson;
  EXPECT_NE(LinesOf(ndjson)[1].find("\"Data.ShiJian\":\"2024-06-17\""), std::string::npos) << ndjson;
  // What is no time stays the number that it is.
  EXPECT_NE(LinesOf(ndjson)[2].find("\"Data.ShiJian\":12.34"), std::string::npos) << ndjson;
  EXPECT_NE(LinesOf(ndjson)[3].find("\"Data.ShiJian\":0"), std::string::npos) << ndjson;
  const std::string csv = ViewBytes(reply, {"--time", "iso", "--to", "csv", "--columns", "ShiJian"}).out;
  EXPECT_EQ(csv, "Data.ShiJian\n2024-06-17 15:00:00\n2024-06-17\n12.34\n0\n");
  EXPECT_NE(ViewBytes(reply, {"--time", "iso"}).out.find("2024-06-17 15:00:00"), std::string::npos);
  EXPECT_EQ(ViewBytes(reply, {}).out.find("2024-06-17"), std::string::npos);
  EXPECT_EQ(ViewBytes(reply, {"--time", "utc"}).code, 2);
}

TEST(TimeIso, OfATableInsideGoesByItsOwnColumns) {
  // Both tables of Id 274 have one column: the outer one tables, the inner one times.
  const Result result = View({"--time", "iso", "--to", "csv", viewer::Sample("274-PCJiBenXinXi")});
  EXPECT_EQ(result.out,
            "PCJiBenXinXi.ShiJian\n2024-06-17 09:30:00\n2024-06-17 09:30:03\n2024-06-17 09:30:06\n0\n");
}

TEST(TimeIso, IsUnpackedWhereTheCellIsPacked) {
  // The reports of Id 405 keep their figures packed; the first three are dates.
  const std::string reply = Reply(
      "Id: 405 RepDataCaiWuShuJuFanHui { Crc32: 0 BanBen: 0 LeiXing: 0 Data { DaiMa: 'A' Data { FaBuRiQi: " +
      std::to_string(PackedWhole(20240430)) + " MeiGuShouYi: " + P(125) + " } } }");
  const std::string out = ViewBytes(reply, {"--time", "iso", "--to", "ndjson"}).out;
  EXPECT_NE(out.find("\"Data.Data\":[\"2024-04-30\",0,0,125,"), std::string::npos) << out;
}

// ---- any payload ----

TEST(Decode, ShowsAPayloadWithoutATable) {
  const std::string reply = Reply(
      "Id: 22 RepDataQuoteTickSingle { Obj: 'A' Data { Id: 5 ShiJian: 0 ChengJiaoJia: 0x4D2 } Data { Id: 6 ShiJian: 0 } }");
  EXPECT_EQ(ViewBytes(reply, {"--decode", "--to", "csv", "--columns", "Obj,ChengJiaoJia"}).out,
            "Obj,Data.ChengJiaoJia\nA,1234\nA,\n");
  EXPECT_EQ(ViewBytes(reply, {"--decode", "--to", "csv", "--columns", "Obj,ChengJiaoJia", "--unpack"}).out,
            "Obj,Data.ChengJiaoJia\nA,12.34\nA,\n");
  EXPECT_EQ(ViewBytes(reply, {"--decode", "--unpack", "ChengJiaoJia", "--to", "csv", "--path", "0/Data",
                              "--columns", "Id,ChengJiaoJia"})
                .out,
            "Id,ChengJiaoJia\n5,12.34\n6,\n");
}

TEST_F(Files, UnpackTakesNoFileForItsNames) {
  const std::string file =
      Write("a.bin", Reply("Id: 22 RepDataQuoteTickSingle { Obj: 'A' QingPan: 0xA0001 }"));
  EXPECT_EQ(View({"--decode", "--to", "csv", "--columns", "QingPan", "--unpack", file}).out, "QingPan\n1\n");
  // Nor one whose name could be a field's.
  Write("QingPan", viewer::Slurp(file));
  const std::string beside =
      "cd '" + directory_ + "'; exec \"$0\" --decode --to csv --columns QingPan --unpack QingPan";
  EXPECT_EQ(viewer::Shell(beside).out, "QingPan\n1\n");
  // Standard input is no field, either.
  EXPECT_EQ(
      ViewBytes(viewer::Slurp(file), {"--decode", "--to", "csv", "--columns", "QingPan", "--unpack", "-"})
          .out,
      "QingPan\n1\n");
}

TEST(Decode, SaysWhyThereIsNothing) {
  EXPECT_EQ(ViewBytes(Reply("Id: 22"), {"--decode"}).err,
            "tesview: (standard input): \"RepDataQuoteTickSingle\", the payload of Id 22, is empty\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 9999"), {"--decode", "--to", "csv"}).err,
            "tesview: (standard input): Id 9999 has no payload in the schema\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 22"), {"--unpack"}).code, 2);
  EXPECT_EQ(ViewBytes(Reply("Id: 22"), {"--decode", "--json"}).code, 2);
  EXPECT_EQ(ViewBytes(Reply("Id: 22"), {"--decode", "--type", "Token"}).code, 2);
}

}  // namespace
