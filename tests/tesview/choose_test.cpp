// --path, --columns, --head, --tail and --type.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::P;
using viewer::Reply;
using viewer::SmallTable;
using viewer::TwoKlines;
using viewer::ViewBytes;
using viewer::Wire;

TEST(Choose, APathLeadsToAnInnerTable) {
  EXPECT_EQ(
      ViewBytes(TwoKlines(), {"--path", "0/Data", "--columns", "ShouPanJia", "--to", "ndjson"}).out,
      "{\"_id\":21,\"_row\":\"0/Data/0\",\"ShouPanJia\":12.34}\n{\"_id\":21,\"_row\":\"0/Data/1\",\"ShouPanJia\":12.5}\n");
}

TEST(Choose, APathGoesToTheLastRow) {
  // Three rows, and two columns: Obj and Data.
  std::string reply = "Id: 21";
  for (const std::string day : {"1", "2", "3"})
    reply +=
        " RepDataQuoteKlineSingle { Obj: 'A' Data { ShiJian: " + P(20240600 + std::stoul(day), 10) + " } }";
  EXPECT_EQ(ViewBytes(Reply(reply), {"--path", "2/Data", "--columns", "ShiJian", "--to", "csv"}).out,
            "ShiJian\n20240603\n");
}

TEST(Choose, AWrongPathOrColumnIsToldWithWhatThereIs) {
  const std::string in = "tesview: (standard input): ";
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "5/Data"}).err,
            in + "path \"5/Data\": row 5 is not there; the table has 2 rows\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "0/Obj"}).err,
            in + "path \"0/Obj\": \"Obj\" is no column of tables; columns with tables: Data\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "0"}).err, in + "path \"0\" is not row/column, as in 0/Data\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "*/Dta"}).err,
            in + "path \"*/Dta\": \"Dta\" is no column of tables; columns with tables: Data\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--columns", "ShouPanJa"}).err,
            in + "no column \"ShouPanJa\" in this table; did you mean \"ShouPanJia\"?\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "Data/0/X"}).err,
            in + "path \"Data/0/X\": a * or a name stands for all rows; numbers of rows go before it, and a "
                 "name ends it\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--columns", "Data.ShiJan"}).err,
            in + "no column \"Data.ShiJan\" in this table; did you mean \"ShiJian\"?\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--columns", "Data.Obj"}).err,
            in + "no column \"Data.Obj\" in this table; did you mean \"Obj\"?\n");
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

TEST(Choice, TablesWithoutAChosenColumnAreLeftOut) {
  const std::string reply = Reply(
      "Id: 21 RepDataQuoteKlineSingle { Obj: 'SH600000' Data { ShiJian: 1 ShouPanJia: 2 } }"
      "RepDataQuoteKlineSingle { Obj: 'SZ000001' }");
  const Result result = ViewBytes(reply, {"--columns", "Obj"});
  EXPECT_EQ(result.out.substr(result.out.find('\n') + 1), "#  Obj\n0  SH600000\n1  SZ000001\n");
  EXPECT_EQ(ViewBytes(reply, {"--columns", "Obj", "--to", "csv"}).out, "Obj\nSH600000\nSZ000001\n");
}

TEST(Choice, APathMayLeadToAnEmptyCell) {
  // Two rows by the first column; the second has no table.
  const std::string reply = Wire(
      "Info { Name: 'N' Type: 115 } Info { Name: 'Sub' Type: 116 } Data { Index: 0 sValues: 'a' sValues: 'b' }"
      "Data { Index: 1 tValues { Info { Name: 'X' Type: 115 } Data { Index: 0 sValues: 'deep' } } }");
  const Result full = ViewBytes(reply, {"--path", "0/Sub"});
  EXPECT_EQ(full.out.substr(full.out.find('\n') + 1), "#  X\n0  deep\n");
  const Result empty = ViewBytes(reply, {"--path", "1/Sub"});
  EXPECT_EQ(empty.err, "tesview: (standard input): path \"1/Sub\": the cell 1/Sub is empty\n");
  EXPECT_EQ(empty.code, 1);
  const Result beyond = ViewBytes(reply, {"--path", "0/Sub/1/X"});
  EXPECT_EQ(beyond.err,
            "tesview: (standard input): path \"0/Sub/1/X\": row 1 is not there; the table at 0/Sub has 1 "
            "rows\n");
  const Result none = ViewBytes(reply, {"--path", "0/Sub/0/X"});
  EXPECT_EQ(none.err,
            "tesview: (standard input): path \"0/Sub/0/X\": \"X\" is no column of tables; there are no "
            "tables in this one\n");
}

TEST(Choice, ATypeThatThereIsNotIsRefused) {
  EXPECT_EQ(
      ViewBytes(Reply("Id: 22"), {"--type", "77"}).err,
      "tesview: unknown type \"77\" for --type; known: DaDan, FenLeiChiCang, BxzjStock, BxzjBlock, Token, "
      "ZhiBiao1 to ZhiBiao16 and their numbers (tesview --help tells more)\n");
}

}  // namespace
