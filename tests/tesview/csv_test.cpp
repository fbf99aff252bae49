// Comma-separated values.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::Framed;
using viewer::LinesOf;
using viewer::P;
using viewer::Reply;
using viewer::SmallTable;
using viewer::TwoKlines;
using viewer::ViewBytes;
using viewer::Wire;

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

TEST(Csv, OneOutputHasOneHeader) {
  const std::string other = Wire("Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: 'y' }");
  const std::string stream =
      Framed(SmallTable()) + Framed(other) + Framed(TwoKlines()) + Framed(other) + Framed(SmallTable());
  const size_t second = Framed(SmallTable()).size();
  const size_t third = second + Framed(other).size();
  const std::string why =
      " has other columns than what came before it, and a file has one header; choose an Id by --id or "
      "columns that all have, or take --split-by id or ndjson\n";
  // Fields between tabulators are fields as well.
  const Result tabs = ViewBytes(stream, {"--to", "tsv"});
  EXPECT_EQ(tabs.out.substr(0, tabs.out.find('\n')), "_reply\tName\tPrice");
  EXPECT_EQ(LinesOf(tabs.out).size(), 7U);
  EXPECT_EQ(LinesOf(tabs.err).size(), 3U);
  EXPECT_EQ(tabs.code, 1);
  for (const char* jobs : {"-j1", "-j2"}) {
    const Result result = ViewBytes(stream, {"--to", "csv", jobs});
    EXPECT_EQ(result.out,
              "_reply,Name,Price\n1,平安银行,12.34\n1,\"\",0.5\n1,x,\n5,平安银行,12.34\n5,\"\",0.5\n5,x,\n");
    // Once for each Id, and all of them at the end.
    EXPECT_EQ(result.err, "tesview: (standard input): reply 2 at offset " + std::to_string(second) +
                              ": Id 3 (Tbl)" + why + "tesview: (standard input): reply 3 at offset " +
                              std::to_string(third) + ": Id 21 (QuoteKlineSingle)" + why +
                              "tesview: 3 replies with other columns were left out: 2 of Id 3, 1 of Id 21\n");
    EXPECT_EQ(result.code, 1);
  }
  EXPECT_EQ(ViewBytes(stream, {"--to", "csv", "--strict"}).code, 1);
  // ndjson has a place for all of them.
  EXPECT_EQ(ViewBytes(stream, {"--to", "ndjson"}).code, 0);
}

// Six million bytes, and more than ten million where names are held twice.
TEST(Csv, NamesMayBeLong) {
  const std::string name(6'000'000, 'n');
  const Result result = ViewBytes(
      Wire("Info { Name: '" + name + "' Type: 115 } Data { Index: 0 sValues: 'x' }"), {"--to", "csv"});
  EXPECT_EQ(result.err, "");
  EXPECT_TRUE(result.out == name + "\nx\n");
}

// What columns there are does not depend on which lists a reply fills.
TEST(Csv, AReplyWithoutInnerRowsHasTheHeaderOfTheOthers) {
  const std::string empty = Reply("Id: 21 RepDataQuoteKlineSingle { Obj: 'SZ000001' }");
  const std::string header = ViewBytes(TwoKlines(), {"--to", "csv"}).out.substr(0, 45);
  EXPECT_EQ(header, "Obj,Data.ShiJian,Data.KaiPanJia,Data.ZuiGaoJi");
  EXPECT_EQ(ViewBytes(empty, {"--to", "csv"}).out.substr(0, 45), header);
  const Result result = ViewBytes(Framed(empty) + Framed(TwoKlines()), {"--to", "csv"});
  EXPECT_EQ(result.code, 0) << result.err;
  // The header, the empty one, two bars, and an instrument without any.
  EXPECT_EQ(LinesOf(result.out).size(), 5U);
  const std::string by_schema = ViewBytes(TwoKlines(), {"--to", "csv", "--decode"}).out;
  EXPECT_EQ(LinesOf(ViewBytes(empty, {"--to", "csv", "--decode"}).out)[0], LinesOf(by_schema)[0]);
}

TEST(Csv, BytesAreBase64) {
  // 'yyy' is eXl5; no bytes are an empty text, and none that were not sent are nothing.
  const std::string reply = Wire(
      "Info { Name: 'N' Type: 115 } Info { Name: 'B' Type: 98 } Data { Index: 0 sValues: 'a' sValues: 'b' "
      "sValues: 'c' } Data { Index: 1 bValues: 'yyy' bValues: '' }");
  EXPECT_EQ(ViewBytes(reply, {"--to", "csv"}).out, "N,B\na,eXl5\nb,\"\"\nc,\n");
}

// The tree of Id 399: classes of blocks, blocks of each, stocks of each.
constexpr char kTreeHeader[] =
    "BanBen,Crc32,LeiXing,Data.MingCheng,Data.LeiXing,Data.XuHao,Data.Data.MingCheng,Data.Data.LeiXing,"
    "Data.Data.XuHao,Data.Data.Data.Obj,Data.Data.Data.LeiXing,Data.Data.Data.XuHao\n";

std::string Tree(const std::string& classes) {
  return Reply("Id: 399 RepDataBanKuaiFenLeiFanHui { BanBen: " + P(7, 10) + " Crc32: " + P(9, 10) + classes +
               " }");
}

std::string Named(const std::string& name, const std::string& inside) {
  return " Data { MingCheng: '" + name + "' LeiXing: " + P(1, 10) + " XuHao: " + P(2, 10) + inside + " }";
}

TEST(Csv, ColumnsAreThoseOfAllLevelsHoweverFewAreFilled) {
  const std::string header = kTreeHeader;
  EXPECT_EQ(ViewBytes(Tree(""), {"--to", "csv"}).out, header + "7,9,0,,,,,,,,,\n");
  EXPECT_EQ(ViewBytes(Tree(Named("c", "")), {"--to", "csv"}).out, header + "7,9,0,c,1,2,,,,,,\n");
  EXPECT_EQ(ViewBytes(Tree(Named("c", Named("b", ""))), {"--to", "csv"}).out,
            header + "7,9,0,c,1,2,b,1,2,,,\n");
  // What one reply fills the next one of the same stream need not.
  const std::string stream = Framed(Tree("")) + Framed(Tree(Named("c", ""))) + Framed(Tree(""));
  EXPECT_EQ(ViewBytes(stream, {"--to", "csv"}).out,
            "_reply," + header + "1,7,9,0,,,,,,,,,\n2,7,9,0,c,1,2,,,,,,\n3,7,9,0,,,,,,,,,\n");
}

TEST(Csv, OfATableInsideTheColumnsAreThoseThatAreThere) {
  EXPECT_EQ(ViewBytes(Tree(Named("c", "")), {"--to", "csv", "--path", "0/Data"}).out,
            "MingCheng,LeiXing,XuHao,Data.MingCheng,Data.LeiXing,Data.XuHao,Data.Data\nc,1,2,,,,\n");
}

// What is in the column was the sender's to say, and nothing was sent.
TEST(Csv, OfWireTablesWithoutTablesInsideAColumnIsLeft) {
  const std::string reply = Wire(
      "Info { Name: 'N' Type: 115 } Info { Name: 'T' Type: 116 } Data { Index: 0 sValues: 'a' } Data { Index: 1 }");
  EXPECT_EQ(ViewBytes(Framed(reply) + Framed(reply), {"--to", "csv"}).out, "_reply,N,T\n1,a,\n2,a,\n");
  // In the layout of a type as well.
  const std::string typed = Wire(
      "Info { Name: 'Obj' Type: 115 } Info { Name: 'Data' Type: 116 } Data { Index: 0 sValues: 'A' } Data { Index: 1 }");
  EXPECT_EQ(ViewBytes(typed, {"--to", "csv", "--type", "DaDan"}).out, "Obj,Data\nA,\n");
}

TEST(Csv, OfATypeWithoutInnerRowsHasItsColumns) {
  const std::string full = Reply("Id: 430 RepDataBxzjBasicStockInfoOutput { Obj: 'A' Data { ShiJian: 1 } }");
  const std::string empty = Reply("Id: 430 RepDataBxzjBasicStockInfoOutput { Obj: 'A' }");
  const std::string header = LinesOf(ViewBytes(full, {"--to", "csv"}).out)[0];
  EXPECT_NE(header.find(",Data.ShiJian,"), std::string::npos) << header;
  EXPECT_EQ(LinesOf(ViewBytes(empty, {"--to", "csv", "--type", "BxzjStock"}).out)[0], header);
}

TEST(Csv, SaysWhichRepliesItCountsNoMore) {
  // 1,001 Ids without a table, twice: of the first 1,000 it is known that they were told of before.
  std::string once;
  for (int id = 100000; id <= 101000; ++id)
    once += Framed(Reply("Id: " + std::to_string(id)));
  const Result result = ViewBytes(once + once, {"--to", "csv"});
  EXPECT_EQ(result.code, 1);
  const auto lines = LinesOf(result.err);
  // All of them, the last one again, and how many more there were of each of the others.
  ASSERT_EQ(lines.size(), 1001U + 1U + 1000U);
  const std::string why = ": Id 101000: no table form; try --to json";
  EXPECT_EQ(lines[1000].substr(lines[1000].size() - why.size()), why);
  EXPECT_EQ(lines[1001].substr(lines[1001].size() - why.size()), why);
  EXPECT_NE(lines[1001].find(": reply 2002 at offset "), std::string::npos) << lines[1001];
  EXPECT_EQ(lines[1002].find("tesview: 1 more reply like that: Id 10"), 0U) << lines[1002];
}

}  // namespace
