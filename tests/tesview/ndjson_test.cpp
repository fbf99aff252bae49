// Lines of JSON.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using viewer::Files;
using viewer::Framed;
using viewer::Reply;
using viewer::SmallTable;
using viewer::TwoKlines;
using viewer::ViewBytes;
using viewer::Wire;

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

// Also where code page 936 has no such characters, and where two bytes of UTF-8 could be one of its own.
TEST(Ndjson, TextsAreThoseOfTheReply) {
  const std::string texts =
      "sValues: 'na\\303\\257ve \\360\\237\\223\\210' sValues: '\\306\\275' sValues: 'a\\377\\344\\270b'";
  EXPECT_EQ(ViewBytes(Wire("Info { Name: '\\303\\257' Type: 115 } Data { Index: 0 " + texts + " }"),
                      {"--to", "ndjson"})
                .out,
            "{\"_id\":3,\"_row\":\"0\",\"\xC3\xAF\":\"na\xC3\xAFve \xF0\x9F\x93\x88\"}\n"
            "{\"_id\":3,\"_row\":\"1\",\"\xC3\xAF\":\"\xC6\xBD\"}\n"
            "{\"_id\":3,\"_row\":\"2\",\"\xC3\xAF\":\"a\xEF\xBF\xBD\xEF\xBF\xBD"
            "b\"}\n");
  const std::string raw = Reply("Id: 28 RepDataPaiXu { Obj: '\\306\\275' }");
  EXPECT_NE(ViewBytes(raw, {"--to", "table"}).out.find("\xC6\xBD"), std::string::npos);
}

TEST(Ndjson, LayoutsOfOneIdMayChangeFromReplyToReply) {
  // More layouts than are kept, each twice, so that some are planned again.
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

TEST(Ndjson, LayoutsThatTakeOneAnothersMemoryDiffer) {
  // Specs of more than 4 KB are not remembered: the next one is made where the last one was.
  std::string stream;
  std::string expected;
  for (int i = 0; i < 12; ++i) {
    const std::string name(5000, static_cast<char>('a' + i % 3));
    stream += Framed(Wire("Info { Name: '" + name + "' Type: 115 } Data { Index: 0 sValues: 'v' }"));
    expected +=
        "{\"_reply\":" + std::to_string(i + 1) + ",\"_id\":3,\"_row\":\"0\",\"" + name + "\":\"v\"}\n";
  }
  EXPECT_EQ(ViewBytes(stream, {"--to", "ndjson", "-j1"}).out, expected);
}

TEST(Ndjson, WhatALargeReplyLeftBehindIsInNoOther) {
  // A name of which the keys take more room than is kept, and 1,500,000 bytes: 'yyy' is eXl5 in base64.
  const std::string name(900'000, 'n');
  const std::string named = Wire("Info { Name: '" + name + "' Type: 115 } Data { Index: 0 sValues: 'v' }");
  std::string base64;
  for (int i = 0; i < 500'000; ++i)
    base64 += "eXl5";
  const std::string stream = Framed(named) + Framed(viewer::Prices()) + Framed(named) +
                             Framed(viewer::LargeReply(1'500'000)) + Framed(viewer::Prices());
  const auto lines = viewer::LinesOf(ViewBytes(stream, {"--to", "ndjson"}).out);
  ASSERT_EQ(lines.size(), 7U);
  const auto line = [](int reply, int row, const std::string& cells) {
    return "{\"_reply\":" + std::to_string(reply) + ",\"_id\":3,\"_row\":\"" + std::to_string(row) + "\"," +
           cells + "}";
  };
  EXPECT_TRUE(lines[0] == line(1, 0, "\"" + name + "\":\"v\""));
  EXPECT_EQ(lines[1], line(2, 0, "\"Price\":12.34"));
  EXPECT_EQ(lines[2], line(2, 1, "\"Price\":0.5"));
  EXPECT_TRUE(lines[3] == line(3, 0, "\"" + name + "\":\"v\""));
  EXPECT_TRUE(lines[4] == line(4, 0, "\"Short\":\"x\",\"Long\":\"" + base64 + "\""));
  EXPECT_EQ(lines[5], line(5, 0, "\"Price\":12.34"));
}

// Ten of four million bytes each take no more than one that is there ten times. A reply at a time goes to the
// file: a program that is started counts what this one has as its own.
TEST_F(Files, NamesOfRepliesThatAreDoneTakeNoMemory) {
  if (viewer::kSanitized) GTEST_SKIP() << "sanitizers keep freed memory";
  const auto memory = [this](int names) {
    const std::string path = Write("a.stream", "");
    for (int i = 0; i < 10; ++i) {
      const std::string name(4'000'000, static_cast<char>('a' + i % names));
      std::ofstream(path, std::ios::app)
          << Framed(Wire("Info { Name: '" + name + "' Type: 105 } Data { Index: 0 iValues: 0 }"));
    }
    const auto result =
        viewer::Shell("exec \"$0\" --to ndjson --from delimited --jobs 1 '" + path + "' >/dev/null", "");
    EXPECT_EQ(result.code, 0) << result.err;
    return result.most_memory;
  };
  EXPECT_LT(memory(10), memory(1) + 24 * 1024);
}

TEST(Ndjson, SeveralNumbersThatWereNotSentAreNull) {
  const std::string reply = Reply("Id: 405 RepDataCaiWuShuJuFanHui { Crc32: 0 Data { DaiMa: 'A' } }");
  EXPECT_EQ(ViewBytes(reply, {"--to", "ndjson", "--path", "0/Data", "--columns", "DaiMa,Data"}).out,
            "{\"_id\":405,\"_row\":\"0/Data/0\",\"DaiMa\":\"A\",\"Data\":null}\n");
}

TEST(Ndjson, BytesThatWereNotSentAreNull) {
  const std::string reply = Wire(
      "Info { Name: 'N' Type: 115 } Info { Name: 'B' Type: 98 } Data { Index: 0 sValues: 'a' sValues: 'b' }"
      "Data { Index: 1 bValues: 'yyy' }");
  EXPECT_EQ(ViewBytes(reply, {"--to", "ndjson"}).out,
            "{\"_id\":3,\"_row\":\"0\",\"N\":\"a\",\"B\":\"eXl5\"}\n"
            "{\"_id\":3,\"_row\":\"1\",\"N\":\"b\",\"B\":null}\n");
}

TEST(Ndjson, AReplyWithoutATableIsOneLine) {
  EXPECT_EQ(ViewBytes(Reply("Id: 22"), {"--to", "ndjson"}).out,
            "{\"_id\":22,\"_row\":null,\"_json\":{\"Id\": 22}}\n");
}

TEST(Ndjson, ControlCharactersAreEscapedWhateverElseIsThere) {
  const auto line = [](const std::string& text) {
    return ViewBytes(Wire("Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: '" + text + "' }"),
                     {"--to", "ndjson"})
        .out;
  };
  const std::string start = R"({"_id":3,"_row":"0","N":")";
  EXPECT_EQ(line("a\\177b"), start + "a\\u007fb\"}\n");
  EXPECT_EQ(line("\\177"), start + "\\u007f\"}\n");
  EXPECT_EQ(line("\\001\\037\\n"), start + "\\u0001\\u001f\\n\"}\n");
  EXPECT_EQ(line("a\\\\b"), start + "a\\\\b\"}\n");
  EXPECT_EQ(line("a\"b"), start + "a\\\"b\"}\n");
  EXPECT_EQ(line("\\\\"), start + "\\\\\"}\n");
  EXPECT_EQ(line("\""), start + "\\\"\"}\n");
  // The first and the last character that stay as they are.
  EXPECT_EQ(line(" ~"), start + " ~\"}\n");
}

// A row whose columns are called as the viewer calls its own fields, or as those of the table in it.
std::string TakenNames() {
  std::string table;
  for (const std::string name : {"_id", "_row", "_file", "_reply", "D.x", "D", "_id#0"})
    table += "Info { Name: '" + name + "' Type: " + (name == "D" ? "116" : "115") + " } ";
  for (int i = 0; i < 7; ++i) {
    const std::string index = std::to_string(i);
    table += "Data { Index: " + index;
    if (i == 5) {
      table += " tValues { Info { Name: 'x' Type: 115 } Data { Index: 0 sValues: 'inner' } } }";
    } else {
      table += " sValues: 'v" + index + "' }";
    }
  }
  return Wire(table);
}

TEST(Ndjson, KeysAreNotTakenTwice) {
  EXPECT_EQ(ViewBytes(TakenNames(), {"--to", "ndjson"}).out,
            R"({"_id":3,"_row":"0/D/0","_id#0":"v0","_row#1":"v1","_file#2":"v2","_reply#3":"v3",)"
            R"("D.x":"v4","_id#0#6":"v6","D.x#0":"inner"})"
            "\n");
  EXPECT_EQ(ViewBytes(TakenNames(), {"--to", "csv"}).out,
            "_id#0,_row#1,_file#2,_reply#3,D.x,D.x#0,_id#0#6\nv0,v1,v2,v3,v4,inner,v6\n");
}

// Nothing is told of what the schema alone makes, times included.
TEST(Ndjson, OfDecodedRepliesTimesAreNumbers) {
  const std::string bars = viewer::Reply(
      "Id: 21 RepDataQuoteKlineSingle { Obj: 'A' Data { ShiJian: " + viewer::P(20240617, 10) + " } }");
  const viewer::Strings columns{"--to", "ndjson", "--columns", "ShiJian"};
  const auto shown = [&](viewer::Strings more) {
    more.insert(more.end(), columns.begin(), columns.end());
    return viewer::ViewBytes(bars, more).out;
  };
  EXPECT_EQ(shown({"--time", "iso"}), "{\"_id\":21,\"_row\":\"0/Data/0\",\"Data.ShiJian\":\"2024-06-17\"}\n");
  EXPECT_EQ(shown({"--decode", "--time", "iso"}),
            "{\"_id\":21,\"_row\":\"0/Data/0\",\"Data.ShiJian\":20240617}\n");
}

}  // namespace
