// Lines of JSON.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

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

}  // namespace
