// Hostile replies: an answer or an error in bounded time and memory, and no crash.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/arrow_reader.h"
#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::Framed;
using viewer::kSanitized;
using viewer::LinesOf;
using viewer::P;
using viewer::Shell;
using viewer::SmallTable;
using viewer::ViewBytes;
using viewer::Wire;

TEST(Hostile, MoreCellsThanAnybodyReadsAreRefused) {
  // 4,000 rows by the first column's values, and 4,000 columns: 16 million cells from some 40 KB.
  const std::string reply = viewer::SquareTable(4000);
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

constexpr char kTooLarge[] =
    "tesview: (standard input): too large to be shown as a whole; take --head, --columns or --path\n";

TEST(Hostile, CellsOfTablesInsideCount) {
  // 4,000 rows of 4,000 columns again, in the second column of a table of one row.
  const std::string reply = Wire(
      "Info { Name: 'A' Type: 105 } Info { Name: 'T' Type: 116 } Data { Index: 0 iValues: 0 }"
      "Data { Index: 1 tValues { " +
      viewer::SquareOf(4000) + " } }");
  EXPECT_EQ(ViewBytes(reply, {"--to", "csv"}).err, kTooLarge);
}

TEST(Hostile, MoreCellsThanAnybodyComparesAreRefused) {
  // By 32 conditions in 310,000 rows: over 10 million.
  std::string table = "Info { Name: 'A' Type: 105 } Data { Index: 0";
  for (int i = 0; i < 310'000; ++i)
    table += " iValues: 0";
  const std::string reply = Wire(table + " }");
  viewer::Strings arguments{"--to", "csv", "--where", "A = 1"};
  EXPECT_EQ(ViewBytes(reply, arguments).err, "");
  for (int i = 2; i <= 32; ++i)
    arguments.insert(arguments.end(), {"--where", "A = " + std::to_string(i)});
  EXPECT_EQ(ViewBytes(reply, arguments).err, kTooLarge);
}

TEST(Hostile, ArrowGoesOnBehindATableThatIsTooSparse) {
  // So many rows by the first column's values, and 1,000 columns with one value each: arrays have room for
  // all rows of each, which is 24 MB of 3,000 rows from some 15 KB.
  const auto sparse = [](int rows) {
    std::string table = "Info { Name: 'A' Type: 105 } Data { Index: 0";
    for (int i = 0; i < rows; ++i)
      table += " iValues: " + P(25, 1);
    table += " }";
    for (int i = 1; i < 1000; ++i)
      table += " Info { Type: 105 } Data { Index: " + std::to_string(i) + " iValues: 0 }";
    return Framed(Wire(table));
  };
  const std::string stream = sparse(1) + sparse(3000) + sparse(1);
  const std::string why = "tesview: (standard input): reply 2 at offset " + std::to_string(sparse(1).size()) +
                          ": its table is too deep, too sparse or too large to be handed out as arrays\n";
  const std::string first = R"({"_reply":1,"A":2.5})";
  for (const char* jobs : {"1", "2"}) {
    const viewer::Strings arguments{"--to", "arrow", "--columns", "A", "--jobs", jobs};
    const Result result = ViewBytes(stream, arguments);
    EXPECT_EQ(result.err, why);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(arrow_reader::RowsOf(result.out), (viewer::Strings{first, R"({"_reply":3,"A":2.5})"}));
    viewer::Strings strict = arguments;
    strict.push_back("--strict");
    const Result ended = ViewBytes(stream, strict);
    EXPECT_EQ(ended.err, why);
    EXPECT_EQ(arrow_reader::RowsOf(ended.out), viewer::Strings{first});
  }
}

TEST(Hostile, MoreTablesThanAnybodyLooksIntoAreRefused) {
  // 6,000 rows and 2,000 columns of tables, none of which is there: 12 million places to look for a column.
  std::string table = "Info { Name: 'A' Type: 105 } Data { Index: 0";
  for (int i = 0; i < 6000; ++i)
    table += " iValues: 0";
  table += " }";
  for (int i = 1; i <= 2000; ++i)
    table += " Info { Type: 116 } Data { Index: " + std::to_string(i) + " }";
  EXPECT_EQ(ViewBytes(Wire(table), {"--to", "csv", "--where", "Nothing = 1"}).err.find(kTooLarge), 0U);
  EXPECT_EQ(ViewBytes(Wire(table), {"--to", "csv", "--columns", "A"}).err, kTooLarge);
  const Result counted = ViewBytes(Wire(table), {"stat", "--rows"});
  EXPECT_EQ(counted.err, "tesview: (standard input): too large to be counted\n");
  EXPECT_EQ(counted.code, 1);
}

TEST(Hostile, ArrowGoesOnBehindMoreThanAnybodyCompares) {
  // The same comparisons hold in each row of the first and the last table.
  const std::string small = Wire("Info { Name: 'A' Type: 105 } Data { Index: 0 iValues: 0 }");
  std::string table = "Info { Name: 'A' Type: 105 } Data { Index: 0";
  for (int i = 0; i < 320'000; ++i)
    table += " iValues: 0";
  viewer::Strings arguments{"--to", "arrow"};
  for (int i = 1; i <= 32; ++i)
    arguments.insert(arguments.end(), {"--where", "A > -" + std::to_string(i)});
  const Result result = ViewBytes(Framed(small) + Framed(Wire(table + " }")) + Framed(small), arguments);
  EXPECT_EQ(result.err, "tesview: (standard input): reply 2 at offset " + std::to_string(small.size() + 1) +
                            ": too large to be compared\n");
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(arrow_reader::RowsOf(result.out),
            (viewer::Strings{R"({"_reply":1,"A":0})", R"({"_reply":3,"A":0})"}));
}

TEST(Hostile, TextRepeatedWithoutEndIsRefused) {
  // A text of 200 kB beside a table of 5,000 rows would give a gigabyte of lines.
  std::string inner = "Info { Name: 'B' Type: 105 } Data { Index: 0";
  for (int i = 0; i < 5000; ++i)
    inner += " iValues: 0";
  const std::string reply =
      Wire("Info { Name: 'N' Type: 115 } Info { Name: 'T' Type: 116 } Data { Index: 0 sValues: '" +
           std::string(200000, 'x') + "' } Data { Index: 1 tValues { " + inner + " } } }");
  for (const char* to : {"ndjson", "csv"}) {
    const Result result = ViewBytes(reply, {"--to", to});
    EXPECT_EQ(result.err, kTooLarge) << to;
    EXPECT_EQ(result.out.size(), 0U) << to;
  }
  EXPECT_EQ(ViewBytes(reply, {}).code, 0);
}

TEST(Hostile, NamesRepeatedWithoutEndAreRefused) {
  // 30,000 names behind one of 9,000 bytes, which are held twice: over 540 MB.
  std::string inner;
  for (int i = 0; i < 30000; ++i)
    inner += "Info { Type: 105 } Data { Index: 0 iValues: 7 } ";
  const std::string reply = Wire("Info { Name: '" + std::string(9000, 'n') +
                                 "' Type: 116 } Data { Index: 0 tValues { " + inner + " } }");
  EXPECT_EQ(ViewBytes(reply, {"--to", "csv"}).err, kTooLarge);
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

TEST(Memory, AReplyThatNeedsTooMuchIsSaidAndTheNextIsShown) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer takes addresses by the terabyte";
  // 400,000 elements of Id 403 without a field, three bytes each and more than a kilobyte in memory.
  std::string large("\x08\x93\x03");
  for (int i = 0; i < 400'000; ++i)
    large.append("\x9A\x19\x00", 3);
  // 1,200,003 as a varint: 0x124F83 in groups of seven bits is 49, 1F, 03.
  const std::string stream = "\x83\x9F\x49" + large + std::string("\x02\x08\x16");
  const Result result = Shell("ulimit -v 262144; \"$0\" --from delimited --to json", stream);
  EXPECT_EQ(result.err, "tesview: (standard input): reply 1 at offset 0: not enough memory to show it\n");
  EXPECT_EQ(result.out, "{\"Id\": 22}\n");
  EXPECT_EQ(result.code, 1);
}

TEST(Cost, CsvIsLinearInTheColumns) {
  if (kSanitized) GTEST_SKIP() << "sanitizers take their own time";
  // 3,000 rows by the first column's values, and 3,000 columns; looked for by name they took minutes.
  std::string table = "Info { Name: 'A' Type: 105 } Data { Index: 0";
  for (int i = 0; i < 3000; ++i)
    table += " iValues: 0";
  table += " }";
  for (int i = 1; i < 3000; ++i)
    table += " Info { Type: 105 } Data { Index: " + std::to_string(i) + " }";
  const Result result = ViewBytes(Wire(table), {"--to", "csv"});
  EXPECT_EQ(LinesOf(result.out).size(), 3001U);
  EXPECT_LT(result.seconds, 15);
}

TEST(Cost, ChosenColumnsAreFoundOnce) {
  if (kSanitized) GTEST_SKIP() << "sanitizers take their own time";
  std::string table;
  for (int i = 0; i < 60000; ++i)
    table += "Info { Type: 105 } Data { Index: 0 iValues: 7 } ";
  const std::string reply = Wire(table);
  for (const std::string to : {"table", "ndjson", "csv"}) {
    const Result result = ViewBytes(reply, {"--to", to, "--columns", "#0"});
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_LT(result.seconds, 2) << to;
  }
}

// A long name in front of many: the names alone would be gigabytes.
TEST(Cost, NamesBeyondTheLimitAreNotMade) {
  if (kSanitized) GTEST_SKIP() << "sanitizers keep freed memory";
  std::string inner;
  for (int i = 0; i < 30000; ++i)
    inner += "Info { Type: 105 } Data { Index: 0 iValues: 7 } ";
  const std::string reply = Wire("Info { Name: '" + std::string(90000, 'n') +
                                 "' Type: 116 } Data { Index: 0 tValues { " + inner + " } }");
  EXPECT_LT(reply.size(), 600'000U);
  for (const std::string to : {"ndjson", "csv"}) {
    const Result result = ViewBytes(reply, {"--to", to});
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.err.find("too large to be shown as a whole"), std::string::npos) << result.err;
    // The reply, its table, and no more of the output than the limit.
    EXPECT_LT(result.most_memory, 700 * 1024) << to;
  }
  EXPECT_LT(ViewBytes(reply, {}).most_memory, 700 * 1024);
}

// All tables of one column share the names of its first: a long one is not copied for each.
TEST(Cost, ANameThatManyTablesShareIsReadOnce) {
  if (kSanitized) GTEST_SKIP() << "sanitizers take their own time";
  std::string tables = "tValues { Info { Name: '" + std::string(2'400'000, 'n') +
                       "' Type: 105 } Data { Index: 0 iValues: 7 } } ";
  std::string rows = "sValues: '' ";
  for (int i = 1; i < 20000; ++i) {
    tables += "tValues { Data { Index: 0 iValues: 7 } } ";
    rows += "sValues: '' ";
  }
  const std::string reply = Wire("Info { Name: 'R' Type: 115 } Data { Index: 0 " + rows +
                                 "} Info { Name: 'T' Type: 116 } Data { Index: 1 " + tables + "}");
  const Result csv = ViewBytes(reply, {"--to", "csv"});
  EXPECT_EQ(LinesOf(csv.out).size(), 20001U);
  EXPECT_LT(csv.seconds, 3);
  // Each line of ndjson has the name: too much, and soon.
  const Result ndjson = ViewBytes(reply, {"--to", "ndjson"});
  EXPECT_EQ(ndjson.code, 1);
  EXPECT_LT(ndjson.seconds, 5);
  EXPECT_LT(ViewBytes(reply, {"--to", "ndjson", "--columns", "R"}).seconds, 3);
  EXPECT_LT(ViewBytes(reply, {}).seconds, 5);
}

}  // namespace
