// Comma-separated values.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::Framed;
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

TEST(Csv, RepliesWithOtherColumnsGetAHeaderOfTheirOwn) {
  const std::string other = Wire("Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: 'y' }");
  EXPECT_EQ(ViewBytes(Framed(SmallTable()) + Framed(other) + Framed(other), {"--to", "csv"}).out,
            "_reply,Name,Price\n1,平安银行,12.34\n1,\"\",0.5\n1,x,\n\n_reply,N\n2,y\n3,y\n");
}

}  // namespace
