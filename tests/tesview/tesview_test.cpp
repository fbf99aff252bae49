// tesview as people use it: files, pipes, terminals, wrong usage, damaged replies, long streams.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "replies/text.h"
#include "tests/support/program.h"
#include "tests/support/replies.h"
#include "tests/support/viewer.h"

namespace {

namespace fs = std::filesystem;
using program::How;
using program::Result;
using test_replies::P;
using test_replies::Reply;
using viewer::Files;
using viewer::kSanitized;
using viewer::LinesOf;
using viewer::Program;
using viewer::Strings;
using viewer::View;
using viewer::ViewBytes;

std::string Sample(const std::string& name) {
  return std::string(SAMPLE_DIR) + "/" + name + ".bin";
}

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream all;
  all << in.rdbuf();
  return all.str();
}

std::string Varint(size_t value) {
  std::string bytes;
  for (; value > 0x7F; value >>= 7)
    bytes += static_cast<char>((value & 0x7F) | 0x80);
  return bytes + static_cast<char>(value);
}

std::string Framed(const std::string& bytes) {
  return Varint(bytes.size()) + bytes;
}

// A reply of Id 3 that carries the given table.
std::string Wire(const std::string& table) {
  return Reply("Id: 3 Tbl { Info { Name: 'T' Type: 116 } Data { Index: 0 tValues { " + table + " } } }");
}

// Three rows; the second name is empty, the third price was not sent.
std::string SmallTable() {
  return Wire(
      "Info { Name: 'Name' Type: 115 } Info { Name: 'Price' Type: 105 }"
      "Data { Index: 0 sValues: '平安银行' sValues: '' sValues: 'x' }"
      "Data { Index: 1 iValues: " +
      P(1234) + " iValues: " + P(5, 1) + " }");
}

// Two instruments, the first with two bars, the second without any. Prices 12.34 and 12.5.
std::string TwoKlines() {
  return Reply(
      "Id: 21 RepDataQuoteKlineSingle { Obj: 'SH600000'"
      "  Data { ShiJian: " +
      P(20240617, 10) + " ShouPanJia: " + P(1234) +
      " }"
      "  Data { ShiJian: " +
      P(20240618, 10) + " ShouPanJia: " + P(125, 1) +
      " } }"
      "RepDataQuoteKlineSingle { Obj: 'SZ000001' }");
}

std::string StreamOf(const std::string& reply, int count) {
  std::string stream;
  for (int i = 0; i < count; ++i)
    stream += Framed(reply);
  return stream;
}

// ---- tables for people ----

TEST(Table, UnsetEmptyAndZeroDifferAndPointsStandBelowEachOther) {
  const Result result = ViewBytes(SmallTable(), {});
  EXPECT_EQ(result.out, "Id 3 (Tbl)  3 rows, 2 columns, " + std::to_string(SmallTable().size()) +
                            " bytes\n"
                            "#  Name      Price\n"
                            "0  平安银行  12.34\n"
                            "1  ''         0.5\n"
                            "2  x          ·\n");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.code, 0);
}

TEST(Table, InnerTablesFollowIndentedUnderTheirPath) {
  const Result result = ViewBytes(TwoKlines(), {"--columns", "Obj,ShiJian,ShouPanJia"});
  EXPECT_EQ(result.out.substr(result.out.find('\n') + 1),
            "#  Obj       Data\n"
            "0  SH600000  2 × 14\n"
            "1  SZ000001  ·\n"
            "\n"
            "  0/Data  SH600000  2 rows\n"
            "  #   ShiJian  ShouPanJia\n"
            "  0  20240617       12.34\n"
            "  1  20240618       12.5\n");
}

TEST(Table, TablesOfOneRowAreJoined) {
  const std::string reply =
      Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' Data { Id: 1 ShiJian: 1 ZuiXinJia: " + P(1234) +
            " } }"
            "RepDataQuoteDynaSingle { Obj: 'B' Data { Id: 1 ShiJian: 1 ZuiXinJia: " +
            P(1234, 0, 1) + " } }");
  const Result result = ViewBytes(reply, {"--columns", "ZuiXinJia"});
  EXPECT_NE(result.out.find("  */Data  1 row each\n"
                            "  #  ZuiXinJia\n"
                            "  0      12.34\n"
                            "  1     -12.34\n"),
            std::string::npos)
      << result.out;
}

TEST(Table, TheMaskOfColumnsIsHexadecimal) {
  // Of the columns only column 1 was sent: mask 2.
  const Result result =
      ViewBytes(Reply("Id: 465 RepDataPcStkData { Obj: 'A' JiaoYiDaiMa: '1' }"), {"--columns", "HasBits"});
  EXPECT_NE(result.out.find("#  HasBits\n0      0x2\n"), std::string::npos) << result.out;
}

TEST(Table, WhatWouldSteerTheTerminalIsShown) {
  const std::string reply = Wire("Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: 'a\\033[2J\\n' }");
  const Result result = ViewBytes(reply, {});
  EXPECT_NE(result.out.find("a\\x1b[2J\\n"), std::string::npos);
  EXPECT_EQ(result.out.find('\x1b'), std::string::npos);
}

TEST(Table, BytesAreHexAndCutToSixteen) {
  const std::string reply = Wire(
      "Info { Name: 'B' Type: 98 } Data { Index: 0 bValues: '' bValues: '\\377' bValues: '0123456789abcdefg' }");
  const Result result = ViewBytes(reply, {});
  EXPECT_NE(result.out.find("0  0 bytes\n1  1 byte: ff\n2  17 bytes: 30313233343536373839616263646566…\n"),
            std::string::npos)
      << result.out;
}

TEST(Table, AReplyWithoutATableIsShownAsJson) {
  const Result result = ViewBytes(Reply("Id: 22"), {});
  EXPECT_EQ(result.out, "Id 22 (QuoteTickSingle)  no table form, as JSON, 2 bytes\n{\n  \"Id\": 22\n}\n");
  EXPECT_EQ(result.code, 0);
}

// ---- why there is no table ----

TEST(NoTable, TheReasonIsFoundAndSaid) {
  const std::string in = "tesview: (standard input): ";
  EXPECT_EQ(ViewBytes(Reply("Id: 22"), {"--table"}).err,
            in + "Id 22 (QuoteTickSingle): no table form; try --to json\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 25"), {"--table"}).err,
            in + "Id 25 (ZhiBiaoShuChu): no table form; try --to json or --type ZhiBiao1\n");
  EXPECT_EQ(
      ViewBytes(Reply("Id: 20"), {"--table"}).err,
      in +
          "Id 20 (QuoteDynaSingle): nothing to show: field \"RepDataQuoteDynaSingle\" is empty; try --to json\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 99999"), {"--table"}).err, in + "Id 99999: no table form; try --to json\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' }"), {"--type", "Token"}).err,
            in + "Id 20 (QuoteDynaSingle) gives no table of type Token\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 44"), {"--type", "DaDan"}).err,
            in + "Id 44 (Token) gives no table of type DaDan; try --type Token\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 22"), {"--table"}).code, 1);
}

TEST(NoReply, WhatIsMissingOrWhereItBreaksIsSaid) {
  const std::string in = "tesview: (standard input): ";
  EXPECT_EQ(ViewBytes("", {"--from", "raw"}).err, in + "empty, 0 bytes\n");
  EXPECT_EQ(ViewBytes(Reply("Obj: 'AB'"), {"--from", "raw"}).err,
            in + "not a reply: required field \"Id\" is missing (4 bytes read)\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 27 RepDataStkData { }"), {}).err,
            in + "not a reply: required field \"RepDataStkData[0].Obj\" is missing (5 bytes read)\n");
  // Two bytes of the Id, then an Obj that is cut.
  EXPECT_EQ(ViewBytes(Reply("Id: 20 Obj: 'AB'").substr(0, 5), {}).err,
            in + "not a reply: the bytes end inside the field that begins at offset 2 (5 bytes read)\n");
  // Id, then field 20 of two bytes, whose inner field 1 promises five.
  EXPECT_EQ(
      ViewBytes(std::string("\x08\x14\xA2\x01\x02\x0A\x05"), {}).err,
      in +
          "not a reply: the bytes end inside the field that begins at offset 5 in \"RepDataQuoteDynaSingle\" (7 bytes read)\n");
  EXPECT_EQ(ViewBytes("", {"--from", "raw"}).code, 1);
}

TEST(NoReply, JsonThatCannotBeIsSaid) {
  const Result result = ViewBytes(std::string("\x08\x14\x12\x01\xFF"), {"--json"});
  EXPECT_EQ(result.err, "tesview: (standard input): no JSON can hold it: Obj: Fail to convert to json\n");
  EXPECT_EQ(result.code, 1);
}

// ---- forms for tools ----

TEST(Json, IsTheLibrarysOwnLine) {
  EXPECT_EQ(ViewBytes(Reply("Id: 22 Obj: '银'"), {"--json"}).out, "{\"Id\": 22, \"Obj\": \"银\"}\n");
}

TEST(Json, PrettyKeepsTheTextOfValues) {
  EXPECT_EQ(ViewBytes(Reply("Id: 44 Obj: 'a:{\\\"' RepDataToken { Result: -1 Token: '' }"), {"--pretty"}).out,
            "{\n"
            "  \"Id\": 44,\n"
            "  \"Obj\": \"a:{\\\"\",\n"
            "  \"RepDataToken\": [\n"
            "    {\n"
            "      \"Result\": -1,\n"
            "      \"Token\": \"\"\n"
            "    }\n"
            "  ]\n"
            "}\n");
}

TEST(Ndjson, TellsUnsetFromEmptyAndZero) {
  EXPECT_EQ(ViewBytes(SmallTable(), {"--to", "ndjson"}).out,
            "{\"_id\":3,\"_row\":\"0\",\"Name\":\"平安银行\",\"Price\":12.34}\n"
            "{\"_id\":3,\"_row\":\"1\",\"Name\":\"\",\"Price\":0.5}\n"
            "{\"_id\":3,\"_row\":\"2\",\"Name\":\"x\",\"Price\":null}\n");
}

TEST(Ndjson, InnerRowsRepeatTheOuterCells) {
  EXPECT_EQ(
      ViewBytes(TwoKlines(), {"--to", "ndjson", "--columns", "Obj,ShiJian,ShouPanJia"}).out,
      "{\"_id\":21,\"_row\":\"0/Data/0\",\"Obj\":\"SH600000\",\"Data.ShiJian\":20240617,\"Data.ShouPanJia\":12.34}\n"
      "{\"_id\":21,\"_row\":\"0/Data/1\",\"Obj\":\"SH600000\",\"Data.ShiJian\":20240618,\"Data.ShouPanJia\":12.5}\n"
      "{\"_id\":21,\"_row\":\"1\",\"Obj\":\"SZ000001\",\"Data\":null}\n");
}

TEST(Ndjson, TablesWithoutRowsStandInEachLine) {
  // Two tables beside each other: both with a row; one without rows; one not set.
  const std::string reply = Reply(
      "Id: 303 RepDataPcZiXuanGuShuJu { CaoZuoJieGuo: 0 YongHuXinXi { YongHuMingCheng: 'a' } ZiXuanGuLieBiao { Obj: 'x' } }"
      "RepDataPcZiXuanGuShuJu { CaoZuoJieGuo: 0 YongHuXinXi { YongHuMingCheng: 'b' } }"
      "RepDataPcZiXuanGuShuJu { CaoZuoJieGuo: 0 ZiXuanGuLieBiao { Obj: 'y' } }");
  EXPECT_EQ(
      ViewBytes(reply, {"--to", "ndjson", "--columns", "YongHuMingCheng,Obj"}).out,
      "{\"_id\":303,\"_row\":\"0/YongHuXinXi/0\",\"YongHuXinXi.YongHuMingCheng\":\"a\"}\n"
      "{\"_id\":303,\"_row\":\"0/ZiXuanGuLieBiao/0\",\"ZiXuanGuLieBiao.Obj\":\"x\"}\n"
      "{\"_id\":303,\"_row\":\"1/YongHuXinXi/0\",\"ZiXuanGuLieBiao\":[],\"YongHuXinXi.YongHuMingCheng\":\"b\"}\n"
      "{\"_id\":303,\"_row\":\"2/ZiXuanGuLieBiao/0\",\"YongHuXinXi\":null,\"ZiXuanGuLieBiao.Obj\":\"y\"}\n");
}

TEST(Ndjson, LayoutsOfOneIdMayChangeFromReplyToReply) {
  // More layouts than are kept, each twice, so that some are planned anew.
  std::string stream;
  std::string expected;
  for (int i = 0; i < 24; ++i) {
    const std::string name = "C" + std::to_string(i % 12);
    stream += Framed(Wire("Info { Name: '" + name + "' Type: 115 } Data { Index: 0 sValues: 'v' }"));
    expected +=
        "{\"_reply\":" + std::to_string(i + 1) + ",\"_id\":3,\"_row\":\"0\",\"" + name + "\":\"v\"}\n";
  }
  EXPECT_EQ(ViewBytes(stream, {"--to", "ndjson"}).out, expected);
}

TEST(Ndjson, AReplyWithoutATableIsOneLine) {
  EXPECT_EQ(ViewBytes(Reply("Id: 22"), {"--to", "ndjson"}).out,
            "{\"_id\":22,\"_row\":null,\"_json\":{\"Id\": 22}}\n");
}

TEST(Csv, ASecondColumnOfOneNameIsToldByItsIndex) {
  // The typed layout of type 3 names ChiGuShuLiangBianHua twice, as columns 5 and 6.
  const std::string reply = Reply("Id: 430 RepDataBxzjBasicStockInfoOutput { Obj: 'A' Data { ShiJian: 1 } }");
  const Result result = ViewBytes(reply, {"--to", "csv", "--type", "BxzjStock"});
  EXPECT_NE(result.out.find("Data.ChiGuShuLiangBianHua,Data.ChiGuShuLiangBianHua#6,"), std::string::npos)
      << result.out << result.err;
}

TEST(Csv, TellsUnsetFromEmptyAndFlattens) {
  EXPECT_EQ(ViewBytes(SmallTable(), {"--to", "csv"}).out, "Name,Price\n平安银行,12.34\n\"\",0.5\nx,\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--to", "csv", "--columns", "Obj,ShiJian,ShouPanJia"}).out,
            "Obj,Data.ShiJian,Data.ShouPanJia\n"
            "SH600000,20240617,12.34\n"
            "SH600000,20240618,12.5\n"
            "SZ000001,,\n");
}

TEST(Csv, RepliesWithOtherColumnsGetAHeaderOfTheirOwn) {
  const std::string other = Wire("Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: 'y' }");
  EXPECT_EQ(ViewBytes(Framed(SmallTable()) + Framed(other) + Framed(other), {"--to", "csv"}).out,
            "_reply,Name,Price\n1,平安银行,12.34\n1,\"\",0.5\n1,x,\n\n_reply,N\n2,y\n3,y\n");
}

TEST(Text, IsWhatPackReads) {
  const Result text = ViewBytes(TwoKlines(), {"--to", "text"});
  EXPECT_EQ(text.code, 0);
  How how;
  how.input = text.out;
  EXPECT_EQ(View({"pack", "-"}, how).out, TwoKlines());
}

TEST(Summary, SaysIdPayloadAndSizes) {
  const Result result = ViewBytes(TwoKlines(), {"--to", "summary"});
  const Strings lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 2u);
  std::stringstream fields(lines[1]);
  std::string id, payload, bytes, rows, columns, tables, all_rows, cells, parse, convert;
  fields >> id >> payload >> bytes >> rows >> columns >> tables >> all_rows >> cells >> parse >> convert;
  EXPECT_EQ(id, "21");
  EXPECT_EQ(payload, "QuoteKlineSingle");
  EXPECT_EQ(bytes, std::to_string(TwoKlines().size()));
  EXPECT_EQ(rows, "2");
  EXPECT_EQ(columns, "2");
  // The outer one and that of the first instrument; 2 + 2 rows; 3 outer cells that are set and 2 x 14 inner
  // ones.
  EXPECT_EQ(tables, "2");
  EXPECT_EQ(all_rows, "4");
  EXPECT_EQ(cells, "31");
  EXPECT_GT(std::stod(parse), 0);
  EXPECT_GE(std::stod(convert), 0);
}

// ---- choosing ----

TEST(Choose, APathLeadsToAnInnerTable) {
  EXPECT_EQ(
      ViewBytes(TwoKlines(), {"--path", "0/Data", "--columns", "ShouPanJia", "--to", "ndjson"}).out,
      "{\"_id\":21,\"_row\":\"0/Data/0\",\"ShouPanJia\":12.34}\n{\"_id\":21,\"_row\":\"0/Data/1\",\"ShouPanJia\":12.5}\n");
}

TEST(Choose, AWrongPathOrColumnIsToldWithWhatThereIs) {
  const std::string in = "tesview: (standard input): ";
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "5/Data"}).err,
            in + "path \"5/Data\": row 5 is not there; the table has 2 rows\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "0/Obj"}).err,
            in + "path \"0/Obj\": \"Obj\" is no column of tables; columns with tables: Data\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "Data"}).err,
            in + "path \"Data\" is not row/column, as in 0/Data\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--columns", "ShouPanJa"}).err,
            in + "no column \"ShouPanJa\" in this table; did you mean \"ShouPanJia\"?\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "*/Data"}).err,
            in + "path \"*/Data\" is that of several tables; take the number of a row for the *\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--columns", "Data.ShiJian"}).err,
            in + "no column \"Data.ShiJian\" in this table; did you mean \"ShiJian\"?\n");
  EXPECT_EQ(ViewBytes(SmallTable(), {"--columns", "zzzzzz"}).err,
            in + "no column \"zzzzzz\" in this table; it has: Name, Price\n");
}

TEST(Choose, AColumnOfTablesBringsAllThatIsInIt) {
  const std::string inner =
      "Info { Name: 'A' Type: 115 } Info { Name: 'B' Type: 115 } Data { Index: 0 sValues: 'a' } "
      "Data { Index: 1 sValues: 'b' }";
  const std::string reply = Wire(
      "Info { Name: 'N' Type: 115 } Info { Name: 'T' Type: 116 } Data { Index: 0 sValues: 'n' sValues: 'm' }"
      "Data { Index: 1 tValues { " +
      inner + " } }");
  EXPECT_EQ(ViewBytes(reply, {"--columns", "T", "--to", "csv"}).out, "T.A,T.B\na,b\n,\n");
  EXPECT_EQ(
      ViewBytes(reply, {"--columns", "T", "--to", "ndjson"}).out,
      "{\"_id\":3,\"_row\":\"0/T/0\",\"T.A\":\"a\",\"T.B\":\"b\"}\n{\"_id\":3,\"_row\":\"1\",\"T\":null}\n");
  EXPECT_NE(ViewBytes(reply, {"--columns", "T"}).out.find("  0/T  n  1 row\n  #  A  B\n  0  a  b\n"),
            std::string::npos);
  // Unless some of that is asked for as well.
  EXPECT_EQ(ViewBytes(reply, {"--columns", "T,B", "--to", "csv", "--head", "1"}).out, "T.B\nb\n");
  EXPECT_EQ(ViewBytes(reply, {"--columns", "N", "--to", "csv"}).out, "N\nn\nm\n");
}

TEST_F(Files, NamesOfFilesDoNotSteerTheTerminal) {
  const std::string good = Write("a\n\x1b[31m.bin", Reply("Id: 22"));
  const std::string shown = directory_ + "/a\\n\\x1b[31m.bin";
  EXPECT_EQ(View({good + "x"}).err, "tesview: " + shown + "x: cannot open it: No such file or directory\n");
  EXPECT_EQ(View({good, good}).out.find('\x1b'), std::string::npos);
  EXPECT_EQ(LinesOf(View({"--to", "summary", good, good}).out)[1].substr(0, shown.size()), shown);
}

TEST(Choose, BlanksBesideTheCommasDoNotCount) {
  EXPECT_EQ(ViewBytes(SmallTable(), {"--columns", " Price, Name,", "--head", "1", "--to", "csv"}).out,
            "Price,Name\n12.34,平安银行\n");
}

TEST(Choose, HeadAndTailOfEachTable) {
  const std::string head =
      ViewBytes(TwoKlines(), {"--head", "1", "--to", "csv", "--columns", "Obj,ShiJian"}).out;
  EXPECT_EQ(head, "Obj,Data.ShiJian\nSH600000,20240617\n");
  const std::string tail =
      ViewBytes(TwoKlines(), {"--path", "0/Data", "--tail", "1", "--to", "csv", "--columns", "ShiJian"}).out;
  EXPECT_EQ(tail, "ShiJian\n20240618\n");
  EXPECT_EQ(ViewBytes(SmallTable(), {"--head", "0", "--to", "csv"}).out, "Name,Price\n");
  EXPECT_NE(ViewBytes(SmallTable(), {"--tail", "2"}).out.find("2 of 3 rows\n"), std::string::npos);
}

TEST(Choose, ATypeByNumberOrNameInAnyCase) {
  const std::string reply = Reply("Id: 44 RepDataToken { Result: 7 Token: 't' Uid: 'u' Device: 'd' }");
  const std::string expected = "Result,Token,Uid,Device\n7,t,u,d\n";
  for (const char* type : {"5", "Token", "token", "TPTypeToken"})
    EXPECT_EQ(ViewBytes(reply, {"--type", type, "--to", "csv"}).out, expected) << type;
}

// ---- input ----

TEST_F(Files, EveryFormOfInputGivesTheSameReply) {
  const std::string bytes = TwoKlines();
  const std::string expected = ViewBytes(bytes, {"--json"}).out;
  ASSERT_FALSE(expected.empty());
  std::string hex, spaced, dump;
  for (size_t i = 0; i < bytes.size(); ++i) {
    char pair[8];
    std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned char>(bytes[i]));
    hex += pair;
    spaced += std::string(pair) + (i % 16 == 15 ? "\n" : " ");
  }
  const std::string raw = Write("a.bin", bytes);
  const std::string base64 = program::Run({"base64", "-w0", raw}).out;
  for (const std::string& text :
       {hex, spaced, base64, program::Run({"base64", raw}).out, program::Run({"od", "-An", "-tx1", raw}).out,
        ViewBytes(bytes, {"--to", "text"}).out, "10:00 got " + hex + " end\n", bytes}) {
    EXPECT_EQ(ViewBytes(text, {"--json"}).out, expected) << text.substr(0, 60);
  }
  EXPECT_EQ(ViewBytes(hex, {"--json", "--from", "hex"}).out, expected);
  EXPECT_EQ(ViewBytes(base64, {"--json", "--from", "base64"}).out, expected);
  EXPECT_EQ(ViewBytes(Framed(bytes), {"--json", "--from", "delimited"}).out, expected);
  EXPECT_EQ(View({"--json", raw}).out, expected);
}

TEST_F(Files, ADirectoryIsItsFilesByNameWithoutHiddenOnes) {
  Write("d/b.bin", Reply("Id: 22"));
  Write("d/a/x.bin", Reply("Id: 23"));
  Write("d/.hidden", "nothing");
  EXPECT_EQ(View({"--json", directory_ + "/d"}).out, "{\"Id\": 23}\n{\"Id\": 22}\n");
  const Result named = View({"--to", "ndjson", directory_ + "/d"});
  EXPECT_EQ(LinesOf(named.out)[0].substr(0, 10), "{\"_file\":\"");
  fs::create_directory(directory_ + "/empty");
  const Result empty = View({directory_ + "/empty"});
  EXPECT_EQ(empty.err, "tesview: " + directory_ + "/empty: there are no files in it\n");
  EXPECT_EQ(empty.code, 3);
}

TEST_F(Files, OneBadFileDoesNotStopTheOthers) {
  const std::string good = Write("good.bin", Reply("Id: 22"));
  const std::string bad = Write("bad.bin", "\x08");
  const Result result = View({"--json", bad, directory_ + "/none.bin", good});
  EXPECT_EQ(result.out, "{\"Id\": 22}\n");
  EXPECT_EQ(result.err,
            "tesview: " + bad +
                ": not a reply: the bytes end inside the field that begins at offset 0 (1 byte read)\n"
                "tesview: " +
                directory_ + "/none.bin: cannot open it: No such file or directory\n");
  EXPECT_EQ(result.code, 3);
}

TEST_F(Files, ABadReplyInAStreamIsReportedAndSkipped) {
  const std::string good = Reply("Id: 22");
  const std::string stream = Framed(good) + Framed("\x08") + Framed(good);
  const Result result = ViewBytes(stream, {"--json"});
  EXPECT_EQ(result.out, "{\"Id\": 22}\n{\"Id\": 22}\n");
  EXPECT_EQ(
      result.err,
      "tesview: (standard input): reply 2 at offset 3: not a reply: the bytes end inside the field that begins at offset 0 (1 byte read)\n");
  EXPECT_EQ(result.code, 1);
  const Result strict = ViewBytes(stream, {"--json", "--strict"});
  EXPECT_EQ(strict.out, "{\"Id\": 22}\n");
  EXPECT_EQ(strict.code, 1);
  const Result many = ViewBytes(stream, {"--json", "--strict", "-j2"});
  EXPECT_EQ(many.out, strict.out);
  EXPECT_EQ(many.err, strict.err);
}

TEST(Log, WhatLooksLikeAReplyAndIsNoneIsCounted) {
  const std::string log =
      "10:00 begin\n10:01 got 081412024142 end\n10:02 got 0814120241 end\n10:03 got 08141202414 end\n";
  for (const char* jobs : {"-j1", "-j2"}) {
    const Result result = ViewBytes(log, {"--json", jobs});
    EXPECT_EQ(result.out, "{\"Id\": 20, \"Obj\": \"AB\"}\n");
    EXPECT_EQ(result.err,
              "tesview: (standard input): 2 lines looked like replies and were not; first at line 3\n");
    EXPECT_EQ(result.code, 0);
    const Result strict = ViewBytes(log, {"--json", "--strict", jobs});
    EXPECT_EQ(strict.out, result.out);
    EXPECT_EQ(strict.err, result.err);
    EXPECT_EQ(strict.code, 1);
  }
  EXPECT_EQ(ViewBytes(log.substr(0, log.find("10:03")), {"--json"}).err,
            "tesview: (standard input): 1 line looked like a reply and was not; first at line 3\n");
  // It is no reply that cannot be shown.
  EXPECT_EQ(ViewBytes(log + log, {"--to", "summary"}).out.find("cannot be shown"), std::string::npos);
}

TEST_F(Files, OfEachFileTheLookalikesAreCounted) {
  const std::string bad = Write("a.log", "got 081412024142\ngot 0814120241\n");
  const std::string good = Write("b.log", "got 081412024142\n");
  const Result result = View({"--json", bad, good, bad});
  EXPECT_EQ(LinesOf(result.out).size(), 3u);
  const std::string said = "tesview: " + bad + ": 1 line looked like a reply and was not; first at line 2\n";
  EXPECT_EQ(result.err, said + said);
}

TEST(Log, NoReplyInALineIsLost) {
  // Id 20 and an Obj of five letters, in base64 behind '=' and behind '/', and twice in a line.
  const Result result = ViewBytes(
      "body=CBQSBUFCQ0RF\nGET reply/CBQSBUFCQ0RF\n0x7f CBQSBUFCQ0RF and 081412054142434445\n", {"--json"});
  EXPECT_EQ(LinesOf(result.out), Strings(4, "{\"Id\": 20, \"Obj\": \"ABCDE\"}"));
  EXPECT_EQ(result.err, "");
  const Result numbered =
      ViewBytes("got 081412024142\nnothing\ngot 081412024142 and 081412024142\n", {"--to", "ndjson"});
  ASSERT_EQ(LinesOf(numbered.out).size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_NE(LinesOf(numbered.out)[i].find("\"_reply\":" + std::to_string(i + 1) + ","), std::string::npos)
        << numbered.out;
  }
}

// ---- wrong usage ----

struct Usage {
  Strings arguments;
  std::string says;
};

TEST(WrongUsage, IsOneLineThatHelps) {
  const std::vector<Usage> cases{
      {{"--colums", "A"}, "unknown option --colums; did you mean \"--columns\"?"},
      {{"--to", "jsn"},
       "unknown word \"jsn\" for --to; known: table, json, pretty, ndjson, csv, summary, text"},
      {{"--from=xml"},
       "unknown word \"xml\" for --from; known: auto, raw, delimited, hex, base64, lines, text"},
      {{"--type", "DaDn"}, "unknown type \"DaDn\" for --type; did you mean \"DaDan\"?"},
      {{"--head", "-1"}, "\"-1\" for --head is no number from 0 to 2147483647"},
      {{"--jobs", "many"}, "\"many\" for --jobs is no number from 0 to 256"},
      {{"--json", "--table"}, "only one of --table, --json and --pretty can be had"},
      {{"--json", "--head", "3"},
       "--type, --path, --columns, --head and --tail choose from a table; take --to table, ndjson or csv"},
      {{"number"}, "number needs a VALUE, such as 0x4D2"},
      {{"number", "x"}, "\"x\" is no 64-bit number, as 1234 and 0x4D2 are; --pack takes 12.34"},
      {{"number", "--pakced", "1"}, "unknown option --pakced; did you mean \"--packed\"?"},
      {{"--type", "77"},
       "unknown type \"77\" for --type; known: DaDan, FenLeiChiCang, BxzjStock, BxzjBlock, Token, ZhiBiao1 to "
       "ZhiBiao16 and their numbers"},
      {{"--head"}, "--head needs a value"},
      {{"pack"}, "pack needs a FILE"},
      {{"schema"}, "schema needs a NAME"},
      {{"shema", "21"}, "no file or command is called \"shema\"; did you mean \"schema\"?"},
      {{"help"}, "no file or command is called \"help\""},
      {{"pack", "a", "b"}, "raw holds one reply; several FILEs take --to delimited, hex or base64"},
  };
  for (const Usage& each : cases) {
    const Result result = View(each.arguments);
    EXPECT_EQ(result.err, "tesview: " + each.says + " (tesview --help tells more)\n");
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.code, 2) << each.says;
  }
}

TEST(WrongUsage, ATerminalIsNotReadUnasked) {
  const Result result = program::Run({"script", "-qec", Program() + "; echo code $?", "/dev/null"});
  EXPECT_NE(result.out.find("no FILE is given, and standard input is a terminal"), std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("code 2"), std::string::npos) << result.out;
}

TEST(Output, AFullDiskIsAnError) {
  const Result result = program::Run({"sh", "-c", Program() + " ids >/dev/full; echo $?"});
  EXPECT_EQ(result.err, "tesview: cannot write the output: No space left on device\n");
  EXPECT_EQ(result.out, "3\n");
}

// ---- hostile replies ----

TEST(Hostile, MoreCellsThanAnybodyReadsAreRefused) {
  // 4,000 rows by the first column's values, and 4,000 columns: 16 million cells from some 40 KB.
  std::string table = "Info { Name: 'A' Type: 105 } Data { Index: 0";
  for (int i = 0; i < 4000; ++i)
    table += " iValues: 0";
  table += " }";
  for (int i = 1; i < 4000; ++i)
    table += " Info { Type: 105 } Data { Index: " + std::to_string(i) + " }";
  const std::string reply = Wire(table);
  for (const std::string to : {"table", "ndjson", "csv"}) {
    const Result result = ViewBytes(reply, {"--to", to});
    EXPECT_EQ(
        result.err,
        "tesview: (standard input): too large to be shown as a whole; take --head, --columns or --path\n");
    EXPECT_EQ(result.code, 1);
  }
  EXPECT_EQ(LinesOf(ViewBytes(reply, {"--to", "csv", "--head", "2"}).out).size(), 3u);
  EXPECT_EQ(LinesOf(ViewBytes(reply, {"--to", "csv", "--columns", "A"}).out).size(), 4001u);
}

TEST(Hostile, TextRepeatedWithoutEndIsRefused) {
  // A text of 200 kB beside a table of 5,000 rows would give a gigabyte of lines.
  std::string inner = "Info { Name: 'B' Type: 105 } Data { Index: 0";
  for (int i = 0; i < 5000; ++i)
    inner += " iValues: 0";
  const std::string reply =
      Wire("Info { Name: 'N' Type: 115 } Info { Name: 'T' Type: 116 } Data { Index: 0 sValues: '" +
           std::string(200000, 'x') + "' } Data { Index: 1 tValues { " + inner + " } } }");
  const Result result = ViewBytes(reply, {"--to", "ndjson"});
  EXPECT_EQ(
      result.err,
      "tesview: (standard input): too large to be shown as a whole; take --head, --columns or --path\n");
  EXPECT_EQ(ViewBytes(reply, {}).code, 0);
}

TEST(Hostile, TextFormNestedWithoutEndIsRefused) {
  std::string text = "Id: 3 Tbl {";
  for (int i = 0; i < 100000; ++i)
    text += " Data { tValues {";
  const Result result = ViewBytes(text, {});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.signal, 0);
  EXPECT_NE(result.err.find("not a reply in text form: line 1, column "), std::string::npos) << result.err;
}

TEST(Hostile, NestingIsShownAsDeepAsTheParserGoes) {
  // Each level is a column and a table in it: two messages deeper for the parser.
  const auto nested = [](int levels) {
    std::string table = "Info { Name: 'A' Type: 105 } Data { Index: 0 iValues: 0 }";
    for (int i = 0; i < levels; ++i)
      table = "Info { Name: 'T' Type: 116 } Data { Index: 0 tValues { " + table + " } }";
    return Wire(table);
  };
  EXPECT_EQ(ViewBytes(nested(40), {}).code, 0);
  EXPECT_EQ(LinesOf(ViewBytes(nested(40), {"--to", "csv"}).out).size(), 2u);
  const Result deeper = ViewBytes(nested(60), {});
  EXPECT_EQ(deeper.code, 1);
  EXPECT_NE(deeper.err.find("nested deeper than 100 levels"), std::string::npos) << deeper.err;
}

// Any damage of any byte gives an answer or an error, and no crash.
TEST(Hostile, EveryByteOfAReplyMayBeDamaged) {
  const std::string reply = SmallTable();
  std::string stream;
  for (size_t i = 0; i < reply.size(); ++i) {
    for (const char c : {'\x00', '\x7F', '\x80', '\xFF'}) {
      std::string damaged = reply;
      damaged[i] = c;
      stream += Framed(damaged);
    }
    stream += Framed(reply.substr(0, i));
  }
  for (const std::string to : {"table", "json", "pretty", "ndjson", "csv", "summary", "text"}) {
    const Result result = ViewBytes(stream, {"--from", "delimited", "--to", to});
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.code, 1);
  }
}

// ---- commands ----

TEST(Ids, ExactlyTheseHaveATable) {
  std::string ids;
  for (const std::string& line : LinesOf(View({"ids", "--table"}).out)) {
    std::stringstream fields(line);
    std::string id, name, form;
    fields >> id >> name >> form;
    if (form == "table" || form == "table,") ids += id + " ";
  }
  EXPECT_EQ(
      ids,
      "Id 3 20 21 27 28 55 115 130 271 272 273 274 303 313 321 346 385 386 392 399 405 406 414 421 433 437 442 443 465 ");
}

TEST(Ids, TheTypedLayoutsAreNamed) {
  const std::string all = View({"ids"}).out;
  EXPECT_NE(all.find("   25  ZhiBiaoShuChu                             --type ZhiBiao1 to ZhiBiao16\n"),
            std::string::npos);
  EXPECT_NE(all.find("   44  Token                                     --type Token\n"), std::string::npos);
  EXPECT_NE(all.find("  296  PcFenLeiChiCangLieBiao                    --type FenLeiChiCang\n"),
            std::string::npos);
  EXPECT_NE(all.find("  321  DaDanShuJuShuChu                          table, --type DaDan\n"),
            std::string::npos);
  EXPECT_NE(all.find("  430  BxzjBasicStockInfoOutput                  --type BxzjStock\n"),
            std::string::npos);
  // Every Id of the vocabulary and a header.
  EXPECT_EQ(LinesOf(all).size(), 470u);
}

TEST(Ids, AMistypedOneIsAnswered) {
  const Result result = View({"ids", "QuoteDinaSingle"});
  EXPECT_EQ(result.err, "tesview: no Id is called \"QuoteDinaSingle\"; did you mean \"QuoteDynaSingle\"?\n");
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(View({"ids", "9999"}).err,
            "tesview: no Id has the number \"9999\"; tesview ids lists them all\n");
  EXPECT_EQ(View({"schema", "9999"}).err,
            "tesview: no message or enumeration has the Id \"9999\"; tesview ids lists the payloads\n");
  EXPECT_NE(View({"ids", "21"}).out.find("   21  QuoteKlineSingle"), std::string::npos);
}

TEST(Schema, AMessageByNameOrId) {
  const std::string expected =
      "// tsloutput.proto\nmessage QuoteKlineSingle {\n  required string Obj = 1;\n  repeated KXian Data = 2;\n}\n";
  EXPECT_EQ(View({"schema", "QuoteKlineSingle"}).out, expected);
  EXPECT_EQ(View({"schema", "21"}).out, expected);
  EXPECT_NE(View({"schema", "--all", "21"}).out.find("message KXian {"), std::string::npos);
  EXPECT_NE(View({"schema", "InfoType"}).out.find("Type_SInt = 120;"), std::string::npos);
  const Result wrong = View({"schema", "QuoteKlineSingl"});
  EXPECT_EQ(
      wrong.err,
      "tesview: no message or enumeration is called \"QuoteKlineSingl\"; did you mean \"QuoteKlineSingle\"?\n");
  EXPECT_EQ(wrong.code, 1);
}

TEST(Number, UnpacksAsTheTableOfScalesSays) {
  const std::vector<std::pair<std::string, std::string>> rows{
      {"0x4D2", "12.34"},  {"0x104D2", "123.4"},   {"0x304D2", "1.234"},   {"0x104E240", "12.3456"},
      {"0xA04D2", "1234"}, {"0x1004D2", "-12.34"}, {"0xF004D2", "-12.34"}, {"0x1001170", "700"},
      {"0x0", "0"},        {"0x20000", "none"},    {"0xB0000", "none"},    {"-1", "none"},
      {"0xFA", "2.5"},     {"0x100096", "-1.5"},   {"0x100078", "-1.2"},   {"1234", "12.34"}};
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
  EXPECT_NE(
      View({"number", "--packed", "0x20000"}).out.find("  scale     code 2: a value that does not exist\n"),
      std::string::npos);
  EXPECT_NE(View({"number", "--packed", "0xB0000"}).out.find("  scale     code 11: invalid\n"),
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

TEST_F(Files, PackMakesBytesAndSaysWhereTextIsWrong) {
  const std::string good = Write("good.txtpb", "Id: 22\n");
  const std::string bad = Write("bad.txtpb", "Id: 22\nRepDataTken { }\n");
  const std::string partial = Write("partial.txtpb", "Obj: 'A'");
  EXPECT_EQ(View({"pack", good}).out, "\x08\x16");
  EXPECT_EQ(View({"pack", "--to", "hex", good, good}).out, "0816\n0816\n");
  EXPECT_EQ(View({"pack", "--to", "base64", good}).out, "CBY=\n");
  EXPECT_EQ(View({"pack", "--to", "delimited", good, good}).out, "\x02\x08\x16\x02\x08\x16");
  const Result wrong = View({"pack", bad});
  EXPECT_EQ(wrong.err.substr(0, wrong.err.find(": Message")), "tesview: " + bad + ": line 2, column 13");
  EXPECT_EQ(wrong.out, "");
  EXPECT_EQ(wrong.code, 1);
  EXPECT_EQ(View({"pack", partial}).err, "tesview: " + partial + ": required field \"Id\" is missing\n");
  EXPECT_EQ(View({"pack", "--partial", partial}).out,
            "\x12\x01"
            "A");
  EXPECT_EQ(View({"pack", directory_ + "/none"}).code, 3);
  EXPECT_EQ(View({"pack", "-o", directory_ + "/out.bin", good}).out, "");
  EXPECT_EQ(Slurp(directory_ + "/out.bin"), "\x08\x16");
}

// ---- help ----

TEST(Help, GoesToStandardOutputWithExitZero) {
  const Result result = View({"--help"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out.substr(0, 49), "tesview shows replies of the market-data service\n");
  for (const std::string& line : LinesOf(result.out))
    EXPECT_LE(replies::DisplayWidth(line), 80u) << line;
  EXPECT_NE(View({"pack", "--help"}).out.find("Usage: tesview pack"), std::string::npos);
  EXPECT_EQ(View({"--version"}).out.substr(0, 8), "tesview ");
}

TEST(Help, ManualAndCompletionsAreWhatTheProgramSays) {
  const std::string source = SOURCE_DIR;
  for (const auto& [word, path] :
       std::vector<std::pair<std::string, std::string>>{{"man", "/docs/tesview.1"},
                                                        {"bash", "/packaging/completions/tesview.bash"},
                                                        {"zsh", "/packaging/completions/_tesview"},
                                                        {"fish", "/packaging/completions/tesview.fish"}}) {
    const Result made = View({"--generate", word});
    ASSERT_EQ(made.code, 0);
    if (std::getenv("TESVIEW_UPDATE") != nullptr) std::ofstream(source + path) << made.out;
    EXPECT_EQ(Slurp(source + path), made.out)
        << path << " is not what tesview --generate " << word << " prints";
  }
}

// What a shell offers for the last word of a line, sorted. The line goes to the shell as an argument of its
// own.
Strings Offered(const std::string& shell, const std::string& line, const std::string& directory) {
  const std::string completions = SOURCE_DIR "/packaging/completions";
  Strings command;
  if (shell == "bash") {
    command = {
        "bash",
        "--norc",
        "-c",
        "source \"$1/tesview.bash\"; read -ra COMP_WORDS <<<\"$2\"; [[ $2 == *' ' ]] && COMP_WORDS+=('');"
        "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tesview; printf '%s\\n' \"${COMPREPLY[@]}\"",
        "bash",
        completions,
        line};
  } else if (shell == "zsh") {
    command = {"zsh", "-f", SOURCE_DIR "/tests/support/zsh_matches.zsh", completions, line};
  } else {
    command = {
        "fish",      "--no-config",
        "-c",        "source $argv[1]/tesview.fish; complete -C $argv[2] | string replace -r '\\t.*' ''",
        completions, line};
  }
  How how;
  how.directory = directory;
  how.environment = {"PATH=" + fs::path(Program()).parent_path().string() + ":" + std::getenv("PATH"),
                     "HOME=" + directory};
  const Result result = program::Run(command, how);
  EXPECT_EQ(result.err, "") << shell << " " << line;
  Strings offered = LinesOf(result.out);
  offered.erase(std::remove(offered.begin(), offered.end(), ""), offered.end());
  std::sort(offered.begin(), offered.end());
  return offered;
}

class Completion : public Files, public testing::WithParamInterface<std::string> {};

TEST_P(Completion, OffersWhatMayStandThere) {
  const std::string& shell = GetParam();
  if (program::Run({"sh", "-c", "command -v " + shell}).code != 0)
    GTEST_SKIP() << shell << " is not installed";
  Write("a.bin", "");
  const std::vector<std::pair<std::string, Strings>> cases{
      {"tesview ", {"a.bin", "ids", "number", "pack", "schema"}},
      {"tesview --to js", {"json"}},
      {"tesview --col", {"--color", "--columns"}},
      {"tesview a.bin --str", {"--strict"}},
      {"tesview --type FenL", {"FenLeiChiCang"}},
      {"tesview --columns ", {}},
      {"tesview pack ", {"a.bin"}},
      {"tesview pack --to ", {"base64", "delimited", "hex", "raw"}},
      {"tesview pack --pa", {"--partial"}},
      {"tesview pack --output ", {"a.bin"}},
      {"tesview schema QuoteKlineS", {"QuoteKlineSingle"}},
      {"tesview ids --ta", {"--table"}},
      {"tesview number --pack", {"--pack", "--packed"}},
  };
  for (const auto& [line, expected] : cases)
    EXPECT_EQ(Offered(shell, line, directory_), expected) << line;
}

INSTANTIATE_TEST_SUITE_P(Shells, Completion, testing::Values("bash", "zsh", "fish"),
                         [](const auto& param) { return param.param; });

// In bash --to=csv comes as three words, and a name may have blanks in it.
TEST_F(Files, TheCompletionOfBashKnowsItsWords) {
  Write("two words.bin", "");
  EXPECT_EQ(Offered("bash", "tesview --to = c", directory_), Strings{"csv"});
  EXPECT_EQ(Offered("bash", "tesview --to =", directory_).size(), 7u);
  EXPECT_EQ(Offered("bash", "tesview two", directory_), Strings{"two words.bin"});
}

// Everything that the help shows as an example works as it stands.
TEST_F(Files, TheExamplesOfTheHelpRun) {
  Write("quotes.bin", Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' }"));
  Write("kline.bin", TwoKlines());
  Write("service.log",
        "10:00 reply " + View({"pack", "--to", "hex", Write("reply.txtpb", "Id: 22 Obj: 'AB'")}).out);
  Write("replies.stream", StreamOf(TwoKlines(), 10));
  Write("replies/one.bin", TwoKlines());
  const Strings lines = LinesOf(View({"--help"}).out);
  const auto begin = std::find(lines.begin(), lines.end(), "Examples:");
  int run = 0;
  for (auto line = begin + 1; line < lines.end() && !line->empty(); ++line) {
    if (line->substr(0, 3) == "   ") continue;
    const Result result =
        program::Shell("set -e; " + line->substr(2), fs::path(Program()).parent_path(), directory_);
    EXPECT_EQ(result.code, 0) << *line << "\n" << result.err;
    EXPECT_EQ(result.err, "") << *line;
    EXPECT_TRUE(!result.out.empty() || line->find('>') != std::string::npos) << *line;
    ++run;
  }
  EXPECT_EQ(run, 10);
}

// ---- terminals ----

std::string WithoutColor(const std::string& text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\x1b') {
      i = text.find('m', i);
      if (i == std::string::npos) break;
    } else if (text[i] != '\r') {
      plain += text[i];
    }
  }
  return plain;
}

How InTerminal(unsigned short columns) {
  How how;
  how.terminal_out = true;
  how.columns = columns;
  how.environment = {"NO_COLOR", "TERM=xterm"};
  return how;
}

TEST(Terminal, HasBoxesAndColour) {
  How how = InTerminal(80);
  how.input = SmallTable();
  const std::string out = View({}, how).out;
  EXPECT_NE(out.find("\x1b[1mName\x1b[0m"), std::string::npos);
  const std::string plain = WithoutColor(out);
  EXPECT_EQ(plain.substr(plain.find('\n') + 1),
            "┌───┬──────────┬───────┐\n"
            "│ # │ Name     │ Price │\n"
            "├───┼──────────┼───────┤\n"
            "│ 0 │ 平安银行 │ 12.34 │\n"
            "│ 1 │ ''       │  0.5  │\n"
            "│ 2 │ x        │  ·    │\n"
            "└───┴──────────┴───────┘\n");
}

TEST(Terminal, NoColorIsObeyedUnlessColourIsAskedFor) {
  How how = InTerminal(80);
  how.environment = {"NO_COLOR=1"};
  how.input = SmallTable();
  EXPECT_EQ(View({}, how).out.find('\x1b'), std::string::npos);
  EXPECT_NE(View({"--color", "always"}, how).out.find('\x1b'), std::string::npos);
  How dumb = InTerminal(80);
  dumb.environment.push_back("TERM=dumb");
  dumb.input = SmallTable();
  EXPECT_EQ(View({}, dumb).out.find('\x1b'), std::string::npos);
  EXPECT_EQ(ViewBytes(SmallTable(), {}).out.find('\x1b'), std::string::npos);
  EXPECT_NE(ViewBytes(SmallTable(), {"--color=always"}).out.find('\x1b'), std::string::npos);
}

TEST(Terminal, NothingIsWiderThanTheScreenAndWhatIsCutIsNamed) {
  for (const unsigned short columns : std::vector<unsigned short>{30, 60, 100}) {
    How how = InTerminal(columns);
    how.input = TwoKlines();
    const std::string out = WithoutColor(View({}, how).out);
    for (const std::string& line :
         LinesOf(out).size() > 1 ? LinesOf(out.substr(out.find('\n') + 1)) : Strings{})
      EXPECT_LE(replies::DisplayWidth(line), columns) << line;
    EXPECT_NE(out.find("more columns do not fit"), std::string::npos) << out;
  }
  How how = InTerminal(60);
  how.input = TwoKlines();
  EXPECT_EQ(View({"--width", "0"}, how).out.find("do not fit"), std::string::npos);
}

TEST(Terminal, ColumnsThatDoNotFitAreNamedInFullAndOnce) {
  const std::string bar = " Data { ShiJian: " + P(20240617, 10) + " }";
  How how = InTerminal(60);
  how.input = Reply("Id: 21 RepDataQuoteKlineSingle { Obj: 'A'" + bar + bar +
                    " } RepDataQuoteKlineSingle { Obj: 'B'" + bar + bar + " }");
  const std::string out = WithoutColor(View({}, how).out);
  EXPECT_NE(out.find("  10 more columns do not fit (--columns, --width 0):\n"
                     "  ShouPanJia, ChengJiaoLiang, ChengJiaoE, ChengJiaoBiShu,\n"
                     "  ShangZhangJiaShu, XiaDieJiaShu, ChiCang, ZengCang,\n"
                     "  ZengLiang, JieSuanJia\n"),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("  10 more columns do not fit\n"), std::string::npos) << out;
}

TEST(Terminal, ASingleWideRowIsTurnedOnItsSide) {
  How how = InTerminal(60);
  how.input = Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' Data { Id: 1 ShiJian: 1 ZuiXinJia: " + P(1234) +
                    " } }");
  const std::string out = WithoutColor(View({}, how).out);
  EXPECT_NE(out.find("│ ZuiXinJia          │ 12.34 │\n"), std::string::npos) << out;
}

TEST(Terminal, LongCellsAreCutAsFarAsNeededAndWholeInAPipe) {
  const std::string text(100, 'x');
  const std::string reply = Wire("Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: '" + text + "' }");
  How how = InTerminal(80);
  how.input = reply;
  // Of 80 columns the row number and the lines take 8.
  EXPECT_NE(View({}, how).out.find(" " + std::string(71, 'x') + "… "), std::string::npos);
  how.columns = 108;
  EXPECT_NE(View({}, how).out.find(" " + text + " "), std::string::npos);
  EXPECT_NE(ViewBytes(reply, {}).out.find(text), std::string::npos);
}

TEST(Terminal, LongCellsLeaveRoomForOtherColumns) {
  // Two texts of 60 columns: 40 each and lines of 11 fit 91 columns and not 90, and what is left over is
  // used.
  const std::string text(60, 'x');
  const std::string reply =
      Wire("Info { Name: 'N' Type: 115 } Info { Name: 'M' Type: 115 } Data { Index: 0 sValues: '" + text +
           "' sValues: '' } Data { Index: 1 sValues: '" + text + "' sValues: '' }");
  const std::string cut = " " + std::string(39, 'x') + "… ";
  EXPECT_NE(ViewBytes(reply, {"--style", "box", "--width", "91"}).out.find(cut + "│" + cut),
            std::string::npos);
  const std::string longer = " " + std::string(44, 'x') + "… ";
  EXPECT_NE(ViewBytes(reply, {"--style", "box", "--width", "101"}).out.find(longer + "│" + longer),
            std::string::npos);
  const std::string narrow = ViewBytes(reply, {"--style", "box", "--width", "90"}).out;
  EXPECT_NE(narrow.find(" " + text + " "), std::string::npos) << narrow;
  EXPECT_NE(narrow.find("1 more column does not fit (--columns, --width 0): M\n"), std::string::npos)
      << narrow;
}

TEST(Terminal, ProgressIsOnStandardErrorWhenTheWorkIsLong) {
  How how;
  how.terminal_err = true;
  how.feed = [](int fd) {
    const std::string reply = Framed(Reply("Id: 22"));
    for (int i = 0; i < 8; ++i) {
      if (write(fd, reply.data(), reply.size()) < 0) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(120));
    }
  };
  const Result slow = View({"--json", "--from", "delimited"}, how);
  EXPECT_EQ(LinesOf(slow.out).size(), 8u);
  EXPECT_NE(slow.err.find(" replies  "), std::string::npos) << slow.err;
  // The line is taken away at the end.
  EXPECT_EQ(slow.err.substr(slow.err.size() - 4), "\r\x1b[K");
  How fast;
  fast.terminal_err = true;
  fast.input = Reply("Id: 22");
  EXPECT_EQ(View({"--json"}, fast).err, "");
}

TEST_F(Files, ProgressOfAFileSaysPartAndTimeLeft) {
  const std::string path = Write("a.stream", StreamOf(TwoKlines(), 20000));
  How how;
  how.terminal_err = true;
  how.columns = 100;
  const Result result = View({"--json", "--progress", "always", path}, how);
  EXPECT_NE(result.err.find("% "), std::string::npos);
  EXPECT_NE(result.err.find(" of "), std::string::npos);
  EXPECT_NE(result.err.find(" left"), std::string::npos);
  EXPECT_EQ(View({"--json", "--progress", "never", path}, how).err, "");
  EXPECT_EQ(View({"--json", path}).err, "");
}

// ---- long work ----

TEST_F(Files, ManyJobsGiveTheOutputOfOne) {
  std::string stream;
  for (int i = 0; i < 3000; ++i)
    stream += Framed(i % 7 == 3 ? std::string("\x08") : Reply("Id: 22 ObjCount: " + std::to_string(i)));
  const std::string path = Write("a.stream", stream);
  const std::string other = Write("b.bin", TwoKlines());
  for (const char* to : {"json", "ndjson", "table"}) {
    const Result one = View({"--to", to, path, other, directory_ + "/none"});
    const Result four = View({"--to", to, "--jobs", "4", path, other, directory_ + "/none"});
    EXPECT_EQ(one.out, four.out);
    EXPECT_EQ(one.err, four.err);
    EXPECT_EQ(one.code, 3);
    EXPECT_EQ(four.code, 3);
  }
}

TEST_F(Files, ABrokenPipeIsSilent) {
  const std::string path = Write("a.stream", StreamOf(TwoKlines(), 20000));
  for (const std::string jobs : {"1", "2"}) {
    const Result result = program::Run(
        {"bash", "-c",
         Program() + " --to ndjson --jobs " + jobs + " '" + path + "' | head -n 1; echo ${PIPESTATUS[0]}"});
    EXPECT_EQ(LinesOf(result.out).size(), 2u);
    EXPECT_EQ(LinesOf(result.out).back(), "0");
    EXPECT_EQ(result.err, "");
  }
}

TEST_F(Files, AnInterruptLeavesWholeLines) {
  const int count = 30000;
  const std::string path = Write("a.stream", StreamOf(TwoKlines(), count));
  for (const std::string jobs : {"1", "2"}) {
    How how;
    how.after = 100000;
    how.then = [](int process) {
      kill(process, SIGINT);
      // The program is blocked in a write until more is read; it has to see the signal first.
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    };
    const Result result = View({"--to", "json", "--jobs", jobs, path}, how);
    EXPECT_EQ(result.signal, SIGINT);
    ASSERT_FALSE(result.out.empty());
    EXPECT_EQ(result.out.back(), '\n');
    const std::string whole = LinesOf(ViewBytes(TwoKlines(), {"--to", "json"}).out)[0];
    const Strings lines = LinesOf(result.out);
    EXPECT_LT(lines.size(), static_cast<size_t>(count));
    EXPECT_TRUE(
        std::all_of(lines.begin(), lines.end(), [&](const std::string& line) { return line == whole; }));
  }
}

TEST(Stream, AnyLengthTakesBoundedMemory) {
  if (kSanitized) GTEST_SKIP() << "sanitizers keep freed memory";
  const auto view = [](int count, const std::string& jobs) {
    How how;
    how.feed = [count](int fd) {
      const std::string block = StreamOf(TwoKlines(), 500);
      for (int i = 0; i < count; ++i) {
        for (size_t sent = 0; sent < block.size();) {
          const ssize_t n = write(fd, block.data() + sent, block.size() - sent);
          if (n <= 0) return;
          sent += static_cast<size_t>(n);
        }
      }
    };
    return View({"--to", "summary", "--jobs", jobs, "--from", "delimited"}, how);
  };
  for (const std::string jobs : {"1", "2"}) {
    const Result few = view(2, jobs);
    const Result many = view(100, jobs);
    EXPECT_EQ(LinesOf(few.out).size(), 1002u);
    EXPECT_EQ(LinesOf(many.out).size(), 50002u);
    EXPECT_LT(many.most_memory, few.most_memory + 16 * 1024) << jobs;
  }
}

TEST(Stream, RepliesComeOutAsSoonAsTheyAreIn) {
  const std::vector<std::tuple<std::string, std::string, std::string>> cases{
      {"delimited", Framed(Reply("Id: 22")), "1"},
      {"delimited", Framed(Reply("Id: 22")), "2"},
      {"auto", Framed(Reply("Id: 22")), "1"},
      {"auto", Framed(Reply("Id: 22")), "2"},
      {"auto", "10:00 something else\n10:01 got 081608160816\n", "1"},
      {"lines", "10:00 something else\n10:01 got 081608160816\n", "1"},
      {"lines", "10:00 something else\n10:01 got 081608160816\n", "2"}};
  for (const auto& [from, reply_in_form, jobs] : cases) {
    const std::string& reply = reply_in_form;
    // The second reply is sent only when the first one has come out.
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    How how;
    how.feed = [&](int fd) {
      char one = 0;
      if (write(fd, reply.data(), reply.size()) < 0 || read(ready[0], &one, 1) != 1) return;
      if (write(fd, reply.data(), reply.size()) < 0) return;
    };
    how.after = 1;
    how.then = [&](int) {
      if (write(ready[1], "x", 1) != 1) std::abort();
    };
    // Without the first reply's output this would wait for ever.
    const Result result = View({"--json", "--from", from, "--jobs", jobs}, how);
    EXPECT_EQ(result.out, "{\"Id\": 22}\n{\"Id\": 22}\n");
    close(ready[0]);
    close(ready[1]);
  }
}

// ---- the samples ----

// "typed-103-ZhiBiao3" is seen as type 103.
Strings TypeOf(const std::string& sample) {
  if (sample.substr(0, 6) != "typed-") return {};
  return {"--type", sample.substr(6, sample.find('-', 6) - 6)};
}

// Long outputs are held by their first lines and their size; SampleForms.SayTheSame compares the rest.
std::string Shortened(const std::string& text) {
  constexpr size_t kLines = 100;
  constexpr size_t kColumns = 1300;
  const Strings lines = LinesOf(text);
  std::string result;
  for (size_t i = 0; i < lines.size() && i < kLines; ++i) {
    std::string line = lines[i];
    if (line.size() > kColumns) {
      size_t end = kColumns;
      while ((static_cast<unsigned char>(line[end]) & 0xC0) == 0x80)
        --end;
      line = line.substr(0, end) + " [... " + std::to_string(line.size()) + " bytes]";
    }
    result += line + "\n";
  }
  if (lines.size() > kLines)
    result += "[... " + std::to_string(lines.size()) + " lines, " + std::to_string(text.size()) + " bytes]\n";
  return result;
}

// The last two fields of a summary are times.
std::string WithoutTimes(const std::string& summary) {
  std::string result;
  for (const std::string& line : LinesOf(summary))
    result += line.substr(0, line.size() - std::min<size_t>(line.size(), 26)) + "\n";
  return result;
}

std::string EveryForm(const std::string& sample) {
  std::string all;
  for (const std::string to : {"table", "ndjson", "csv", "summary", "json", "pretty", "text"}) {
    Strings arguments{"--to", to};
    if (to == "table" || to == "ndjson" || to == "csv" || to == "summary") {
      for (const std::string& each : TypeOf(sample))
        arguments.push_back(each);
    }
    std::string shown;
    for (const std::string& each : arguments)
      shown += " " + each;
    arguments.push_back(Sample(sample));
    const Result result = View(arguments);
    all += "$ tesview" + shown + " " + sample + ".bin\n";
    all += Shortened(to == "summary" ? WithoutTimes(result.out) : result.out);
    std::string errors = result.err;
    for (size_t at = errors.find(SAMPLE_DIR); at != std::string::npos; at = errors.find(SAMPLE_DIR))
      errors.erase(at, sizeof SAMPLE_DIR);
    if (!errors.empty()) all += "(standard error) " + errors;
    if (result.code != 0) all += "(exit code) " + std::to_string(result.code) + "\n";
    all += "\n";
  }
  return all;
}

// What each sample looks like in each form is held in tests/tesview/expected, to be read by people;
// TESVIEW_UPDATE=1 writes the files anew, and the difference is to be read as well.
class SampleForms : public testing::TestWithParam<std::string> {};

TEST_P(SampleForms, AreAsHeld) {
  const std::string path = std::string(SOURCE_DIR) + "/tests/tesview/expected/" + GetParam() + ".txt";
  const std::string made = EveryForm(GetParam());
  if (std::getenv("TESVIEW_UPDATE") != nullptr) std::ofstream(path) << made;
  EXPECT_EQ(Slurp(path), made);
}

// Outside of strings.
std::string WithoutBlanks(const std::string& json) {
  std::string result;
  bool in_string = false;
  for (size_t i = 0; i < json.size(); ++i) {
    if (in_string && json[i] == '\\') result += json[i++];
    if (json[i] == '"') in_string = !in_string;
    if (in_string || (json[i] != ' ' && json[i] != '\n')) result += json[i];
  }
  return result;
}

// Pretty JSON is the JSON, the text form is the reply, and csv has the lines of ndjson.
TEST_P(SampleForms, SayTheSame) {
  const std::string path = Sample(GetParam());
  const Result json = View({"--json", path});
  if (json.code != 0) {
    EXPECT_EQ(GetParam(), "damaged");
    return;
  }
  EXPECT_EQ(WithoutBlanks(View({"--pretty", path}).out), WithoutBlanks(json.out));
  How how;
  how.input = View({"--to", "text", path}).out;
  EXPECT_EQ(View({"pack", "-"}, how).out, Slurp(path));
  Strings arguments = TypeOf(GetParam());
  arguments.push_back(path);
  arguments.insert(arguments.begin(), {"--to", "csv"});
  const Result csv = View(arguments);
  arguments[1] = "ndjson";
  const Strings objects = LinesOf(View(arguments).out);
  if (csv.code == 0) {
    EXPECT_EQ(LinesOf(csv.out).size(), objects.size() + 1);
  } else {
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(WithoutBlanks(objects[0]),
              "{\"_id\":22,\"_row\":null,\"_json\":" + WithoutBlanks(json.out) + "}");
  }
}

Strings AllSamples() {
  Strings names;
  for (const auto& entry : fs::directory_iterator(SAMPLE_DIR)) {
    if (entry.path().extension() == ".bin") names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

INSTANTIATE_TEST_SUITE_P(Samples, SampleForms, testing::ValuesIn(AllSamples()), [](const auto& param) {
  std::string name = param.param;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
});

}  // namespace
