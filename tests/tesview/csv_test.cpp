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

}  // namespace
