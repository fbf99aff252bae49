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

TEST(Choose, TablesOfOneNameAreToldByTheirIndex) {
  const std::string child = "{ tValues { Info { Name: 'x' Type: 115 } Data { Index: 0 sValues: 'v' } }";
  const std::string reply = viewer::Wire("Info { Name: 'T' Type: 116 } Info { Name: 'T' Type: 116 } Data " +
                                         child + " Index: 0 } Data " + child + " Index: 1 }");
  EXPECT_EQ(ViewBytes(reply, {"--path", "0/X"}).err,
            "tesview: (standard input): path \"0/X\": \"X\" is no column of tables; columns with tables: "
            "T, T#1\n");
  EXPECT_EQ(ViewBytes(reply, {"--to", "csv"}).out, "T.x,T#1.x\nv,\n,v\n");
  EXPECT_EQ(ViewBytes(reply, {"--to", "ndjson"}).out,
            "{\"_id\":3,\"_row\":\"0/T/0\",\"T.x\":\"v\"}\n"
            "{\"_id\":3,\"_row\":\"0/T#1/0\",\"T#1.x\":\"v\"}\n");
  const std::string table = ViewBytes(reply, {}).out;
  EXPECT_EQ(table.substr(table.find('\n') + 1),
            "#  T      T#1\n0  1 \xC3\x97 1  1 \xC3\x97 1\n"
            "\n  0/T  1 row\n  #  x\n  0  v\n\n  0/T#1  1 row\n  #  x\n  0  v\n");
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

TEST(Choose, APathIsToldWhereItEndsOrHasNoStep) {
  const std::string in = "tesview: (standard input): path \"";
  const std::string names =
      "\": a * or a name stands for all rows; numbers of rows go before it, and a name ends it\n";
  for (const std::string path : {"/Data", "*", "*/*", "Data//Data"})
    EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", path}).err, in + path + names);
  // A column of that name, without tables in it; tables, without that column; a row of a name that has all.
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "Obj"}).err,
            in + "Obj\": \"Obj\" is no column of tables; columns with tables: Data\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "Data/ShiJian"}).err,
            in + "Data/ShiJian\" leads to no table\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "Data/0"}).err, in + "Data/0\" leads to no table\n");
  // Rows that are not there, one of them beyond what an int holds, and steps behind.
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "99999999999/Data"}).err,
            in + "99999999999/Data\": row 99999999999 is not there; the table has 2 rows\n");
  EXPECT_EQ(ViewBytes(TwoKlines(), {"--path", "2/Data/0/More"}).err,
            in + "2/Data/0/More\": row 2 is not there; the table has 2 rows\n");
}

// A row for each of these tables: a table in its column T, in which a table in the only cell, of a column U,
// is that one. Tables of one cell share their columns, those of several need not.
std::string TablesInU(const viewer::Strings& tables) {
  std::string cells;
  for (const std::string& table : tables)
    cells += " tValues { Info { Name: 'U' Type: 116 } Data { Index: 0 tValues { " + table + " } } }";
  return Wire("Info { Name: 'T' Type: 116 } Data { Index: 0" + cells + " }");
}

// A column of texts in one row, the first of its table or another one.
std::string OneText(const std::string& name, const std::string& text, int column = 0) {
  return " Info { Name: '" + name + "' Type: 115 } Data { Index: " + std::to_string(column) + " sValues: '" +
         text + "' }";
}

TEST(Choose, APathLeadsThroughTablesThatDiffer) {
  // Both have a column X of tables; the second has another one as well.
  const auto in_x = [](const std::string& text) {
    return "Info { Name: 'X' Type: 116 } Data { Index: 0 tValues { " + OneText("V", text) + " } }";
  };
  const std::string reply = TablesInU({in_x("1"), in_x("2") + OneText("Y", "y", 1)});
  EXPECT_EQ(ViewBytes(reply, {"--path", "T/U/X", "--to", "csv"}).out, "T.U.X.V\n1\n2\n");
}

TEST(Choose, TablesWithoutAChosenColumnGiveNoLinesOfTheirOwn) {
  const std::string reply = TablesInU({OneText("B", "b"), OneText("C", "c")});
  EXPECT_EQ(ViewBytes(reply, {"--columns", "B", "--to", "csv"}).out, "T.U.B\nb\n\n");
  EXPECT_EQ(ViewBytes(reply, {"--columns", "B", "--to", "ndjson"}).out,
            "{\"_id\":3,\"_row\":\"0/T/0/U/0\",\"T.U.B\":\"b\"}\n{\"_id\":3,\"_row\":\"1\"}\n");
}

// Of tables in a chosen column those with a chosen column show that one, and the others all.
TEST(Choose, TablesOfOneColumnMayShowAPartOrAll) {
  const std::string reply = TablesInU({OneText("A", "a") + OneText("B", "b", 1), OneText("A", "c")});
  // Those in U, or all that is in T.
  for (const std::string columns : {"U,B", "T,B"}) {
    EXPECT_EQ(ViewBytes(reply, {"--columns", columns, "--to", "csv"}).out, "T.U.B,T.U.A\nb,\n,c\n")
        << columns;
    EXPECT_EQ(ViewBytes(reply, {"--columns", columns, "--to", "ndjson"}).out,
              "{\"_id\":3,\"_row\":\"0/T/0/U/0\",\"T.U.B\":\"b\"}\n"
              "{\"_id\":3,\"_row\":\"1/T/0/U/0\",\"T.U.A\":\"c\"}\n")
        << columns;
    const std::string table = ViewBytes(reply, {"--columns", columns}).out;
    EXPECT_EQ(table.substr(table.find('\n') + 1),
              "#  T\n0  1 \xC3\x97 1\n1  1 \xC3\x97 1\n"
              "\n  0/T  1 row\n  #  U\n  0  1 \xC3\x97 2\n"
              "\n    0/T/0/U  1 row\n    #  B\n    0  b\n"
              "\n  1/T  1 row\n  #  U\n  0  1 \xC3\x97 1\n"
              "\n    1/T/0/U  1 row\n    #  A\n    0  c\n")
        << columns;
  }
}

// One of them has a text where the other has tables, which nobody asked for.
TEST(Choose, AColumnOfTextsMayBeOneOfTablesElsewhere) {
  const std::string tables =
      " Info { Name: 'X' Type: 116 } Data { Index: 1 tValues { " + OneText("V", "v") + " } }";
  const std::string reply = TablesInU({OneText("X", "x"), OneText("B", "b") + tables});
  EXPECT_EQ(ViewBytes(reply, {"--columns", "U,B", "--to", "csv"}).out, "T.U.X,T.U.B\nx,\n,b\n");
  EXPECT_EQ(ViewBytes(reply, {"--to", "csv"}).out, "T.U.X,T.U.X.V,T.U.B\nx,,\n,v,b\n");
}

TEST(Choose, OfWhereAPathLeadsOnlyTheChosenColumnsAreShown) {
  const std::string reply = TablesInU({OneText("B", "b"), OneText("C", "c")});
  EXPECT_EQ(ViewBytes(reply, {"--path", "T/U", "--columns", "B", "--to", "csv"}).out, "T.U.B\nb\n\n");
  EXPECT_EQ(ViewBytes(reply, {"--path", "T/U", "--to", "csv"}).out, "T.U.B,T.U.C\nb,\n,c\n");
}

TEST(Choose, OneOfSeveralTablesAlikeMayLeadToAChosenColumn) {
  // Both tables in T have a text and a table, which are not alike.
  const auto row = [](const std::string& text, const std::string& inner) {
    return " tValues { Info { Name: 'A' Type: 115 } Info { Name: 'U' Type: 116 } Data { Index: 0 sValues: '" +
           text + "' } Data { Index: 1 tValues { " + inner + " } } }";
  };
  const std::string reply = Wire("Info { Name: 'T' Type: 116 } Data { Index: 0" +
                                 row("a", OneText("B", "x")) + row("b", OneText("C", "c")) + " }");
  EXPECT_EQ(ViewBytes(reply, {"--columns", "A,C", "--to", "csv"}).out, "T.A,T.U.C\na,\nb,c\n");
  EXPECT_EQ(ViewBytes(reply, {"--columns", "A,C", "--to", "ndjson"}).out,
            "{\"_id\":3,\"_row\":\"0/T/0\",\"T.A\":\"a\"}\n"
            "{\"_id\":3,\"_row\":\"1/T/0/U/0\",\"T.A\":\"b\",\"T.U.C\":\"c\"}\n");
}

TEST(Choose, AColumnIsShownOnceHoweverOftenItIsNamed) {
  EXPECT_EQ(ViewBytes(SmallTable(), {"--columns", "Price,Name,Price", "--head", "1", "--to", "csv"}).out,
            "Price,Name\n12.34,平安银行\n");
}

TEST(Choose, NamesThatSeveralTablesHaveAreToldOnce) {
  const std::string reply =
      Wire(OneText("N", "a") +
           " Info { Name: 'T' Type: 116 } Info { Name: 'U' Type: 116 } Data { Index: 1 tValues { " +
           OneText("N", "b") + " } } Data { Index: 2 tValues { " + OneText("N", "c") + OneText("M", "d", 1) +
           " } }");
  EXPECT_EQ(ViewBytes(reply, {"--columns", "zzzzzz"}).err,
            "tesview: (standard input): no column \"zzzzzz\" in this table; it has: N, T, U, M\n");
  const std::string two = TablesInU({OneText("A", "a"), OneText("A", "b")});
  EXPECT_EQ(ViewBytes(two, {"--columns", "zzzzzz"}).err,
            "tesview: (standard input): no column \"zzzzzz\" in this table; it has: T, U, A\n");
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

TEST(Choice, IsThatOfEachTableOfAColumn) {
  const std::string reply =
      Reply("Id: 21 RepDataQuoteKlineSingle { Obj: 'A' Data { ShiJian: 1 ShouPanJia: " + P(1234) +
            " } } RepDataQuoteKlineSingle { Obj: 'B' Data { ShiJian: 2 ShouPanJia: " + P(125, 1) + " } }");
  EXPECT_EQ(ViewBytes(reply, {"--columns", "ShouPanJia,Obj", "--to", "csv"}).out,
            "Obj,Data.ShouPanJia\nA,12.34\nB,12.5\n");
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
