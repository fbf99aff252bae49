// The typed export, called as a host calls it: which replies a type accepts, and the tables that both forms
// of a reply give. Whatever bytes arrive, nothing crashes, and what cannot be stored stays unset.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using test_replies::P;

OwnedTable Typed(int type, const std::string& text) {
  return OwnedTable(TesparserPB2TableType(test_replies::Reply(text), static_cast<TPType>(type)));
}

void* Child(const OwnedTable& table, int row, int col) {
  return table_get_table(table.get(), row, col);
}

double Number(const void* table, int row, int col) {
  EXPECT_TRUE(table_is_set(table, row, col)) << "row " << row << ", column " << col;
  return table_get_double(table, row, col);
}

// ---- wire tables in text form ----

// A column of a wire table: its description and its data, each in text form.
struct Column {
  std::string info;
  std::string data;
};

Column Ints(const std::string& name, const std::string& packed) {
  return {"Name: '" + name + "' Type: 105", "iValues: [" + packed + "]"};
}
Column Deltas(const std::string& name, const std::string& values, int ratio = 0) {
  return {"Name: '" + name + "' Type: 120 Ratio: " + std::to_string(ratio), "xValues: [" + values + "]"};
}
Column Floats(const std::string& name, const std::string& values) {
  return {"Name: '" + name + "' Type: 102", "fValues: [" + values + "]"};
}
Column Texts(const std::string& name, const std::string& quoted) {
  return {"Name: '" + name + "' Type: 115", "sValues: [" + quoted + "]"};
}
Column Binaries(const std::string& name, const std::string& quoted) {
  return {"Name: '" + name + "' Type: 98", "bValues: [" + quoted + "]"};
}
Column Tables(const std::string& name, const std::vector<std::string>& tables) {
  Column column{"Name: '" + name + "' Type: 116", ""};
  for (const std::string& table : tables)
    column.data += "tValues { " + table + " } ";
  return column;
}

std::string WireTable(const std::vector<Column>& columns) {
  std::string infos;
  std::string data;
  for (const Column& column : columns) {
    infos += "Info { " + column.info + " } ";
    data += "Data { Index: 0 " + column.data + " } ";
  }
  return infos + data;
}

// The wire form of a reply whose payload has these columns.
std::string WireReply(const std::vector<Column>& payload) {
  return "Id: 3 Tbl { " + WireTable({Tables("Result", {WireTable(payload)})}) + " }";
}

// A payload of one row whose only column is a nested table with these columns.
std::string NestedReply(const std::vector<Column>& nested) {
  return WireReply({Tables("Data", {WireTable(nested)})});
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos);
  return text.replace(at, from.size(), to);
}

const char kDaDanSpec[] =
    "ShiJian:d;WeiTuoMaiRuDanShu:d;WeiTuoMaiRuDaDanShu:d;WeiTuoMaiRuDaDanBiLi:d;WeiTuoMaiChuDanShu:d;"
    "WeiTuoMaiChuDaDanShu:d;WeiTuoMaiChuDaDanBiLi:d;ZongChengJiaoLiang:d;ZongChengJiaoE:d;DaDanMaiRuE:d;"
    "DaDanMaiChuE:d;";

const char kNorthboundSpec[] =
    "ShiJian:d;ChiGuShuLiang:d;ShouPanJia:d;ZhanLiuTongGuBiLi:d;ChiGuShiZhi:d;ChiGuShuLiangBianHua:d;"
    "ChiGuShuLiangBianHua:d;ChiGuShiZhiBianHua:d;ChiGuZongShiZhi:d;ChiGuZhangFu:d;";

// A reply with one object and one series element, made of "field: value" pairs.
std::string DaDan(const std::string& fields) {
  return "Id: 321 RepDataDaDanShuJuShuChu { Obj: 'SH600000' Data { " + fields + " } }";
}
std::string Holdings(const std::string& fields) {
  return "Id: 296 RepDataPcFenLeiChiCangLieBiao { Obj: 'SH600000' FenLeiChiCang { " + fields + " } }";
}
std::string Northbound(const std::string& fields) {
  return "Id: 430 RepDataBxzjBasicStockInfoOutput { Obj: 'SH600000' Data { " + fields + " } }";
}
std::string Indicator(const std::string& points) {
  return "Id: 25 RepDataZhiBiaoShuChu { Obj: 'SH600000' " + points + " }";
}

const std::vector<std::string> kDaDanFields = {"ShiJian",
                                               "WeiTuoMaiRuDanShu",
                                               "WeiTuoMaiRuDaDanShu",
                                               "WeiTuoMaiRuDaDanBiLi",
                                               "WeiTuoMaiChuDanShu",
                                               "WeiTuoMaiChuDaDanShu",
                                               "WeiTuoMaiChuDaDanBiLi",
                                               "ZongChengJiaoLiang",
                                               "ZongChengJiaoE",
                                               "DaDanMaiRuE",
                                               "DaDanMaiChuE"};
const std::vector<std::string> kHoldingsFields = {
    "RiQi",          "GuDongRenShu",      "SanHuChiCangBi", "ZhongHuChiCangBi",
    "DaHuChiCangBi", "ChaoDaHuChiCangBi", "LiuTongGu"};
// In the order of the columns that they fill, which is not what the columns are called.
const std::vector<std::string> kNorthboundFields = {
    "ShiJian",         "ChiGuShuLiang",        "ShouPanJia",         "ZhanLiuTongGuBiLi",
    "ChiGuShiZhi",     "ChiGuShuLiangBianHua", "ChiGuShiZhiBianHua", "ZhanLiuTongGuBiLiBianHua",
    "ChiGuZongShiZhi", "ChiGuZhangFu"};

// Field c gets 101 + c hundredths.
std::string DistinctFields(const std::vector<std::string>& fields) {
  std::string text;
  for (size_t c = 0; c < fields.size(); ++c)
    text += fields[c] + ": " + std::to_string(101 + c) + " ";
  return text;
}

// Only one field is sent, and its column alone is not 0.0; all columns are set. The first field is required.
void ExpectEachFieldInItsColumn(int type, const std::vector<std::string>& fields,
                                std::string (*reply)(const std::string&)) {
  for (size_t f = 0; f < fields.size(); ++f) {
    const std::string required = f == 0 ? "" : fields[0] + ": 0 ";
    const OwnedTable table = Typed(type, reply(required + fields[f] + ": 1234"));
    ASSERT_NE(table, nullptr) << fields[f];
    void* series = Child(table, 0, 1);
    for (size_t c = 0; c < fields.size(); ++c)
      EXPECT_EQ(Number(series, 0, static_cast<int>(c)), c == f ? 12.34 : 0.0)
          << fields[f] << ", column " << c;
  }
}

// What no number stands behind is 0.0, and the sign nibble counts.
void ExpectDecoding(int type, const std::string& field, std::string (*reply)(const std::string&)) {
  const auto decoded = [&](const std::string& raw) {
    const OwnedTable table = Typed(type, reply(field + ": " + raw));
    return Number(Child(table, 0, 1), 0, 0);
  };
  EXPECT_EQ(decoded("0"), 0.0);
  EXPECT_EQ(decoded("131072"), 0.0);
  EXPECT_EQ(decoded(P(1234, 2)), 0.0);
  EXPECT_EQ(decoded("-5"), 0.0);
  for (unsigned code = 11; code <= 15; ++code)
    EXPECT_EQ(decoded(P(1234, code)), 0.0) << code;
  EXPECT_EQ(decoded(P(1234, 0, 1)), -12.34);
  EXPECT_EQ(decoded(P(1234, 3, 15)), -1.234);
  EXPECT_EQ(decoded(P(20240102, 10)), 20240102.0);
}

const std::string kPuFaUtf8 = "\xE6\xB5\xA6\xE5\x8F\x91";
const std::string kPuFaGb2312 = "\xC6\xD6\xB7\xA2";

}  // namespace

// ---- which replies a type accepts ----

TEST(TypedDispatch, ByIdGivesWhatTheIdGives) {
  const std::string reply =
      "Id: 20 RepDataQuoteDynaSingle { Obj: 'SH600000' Data { Id: 1 ShiJian: 2 ZuiXinJia: 1234 } }";
  const OwnedTable plain(TesparserPB2Table(test_replies::Reply(reply)));
  const OwnedTable typed = Typed(0, reply);
  ASSERT_NE(plain, nullptr);
  ASSERT_NE(typed, nullptr);
  EXPECT_EQ(SpecOf(typed.get()), SpecOf(plain.get()));
  EXPECT_EQ(TextAt(typed.get(), 0, 0), "SH600000");
  EXPECT_EQ(SpecOf(Child(typed, 0, 1)), SpecOf(Child(plain, 0, 1)));
  EXPECT_EQ(Number(Child(typed, 0, 1), 0, 2), 12.34);
}

TEST(TypedDispatch, ByIdConvertsAWireTableByItsOwnDescription) {
  const OwnedTable table = Typed(0, NestedReply({Ints("ShiJian", "1234"), Ints("Other", "5678")}));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(Child(table, 0, 0)), "ShiJian:d;Other:d;");
  EXPECT_STREQ(table_name(Child(table, 0, 0)), "");
}

TEST(TypedDispatch, BlockTypeIsRejected) {
  EXPECT_EQ(Typed(4, "Id: 432 RepDataBxzjBasicBlockInfoOutput { ShiJian: 1234 JingMaiRuE: 5678 }"), nullptr);
  EXPECT_EQ(Typed(4, NestedReply({Ints("ShiJian", "1234"), Ints("JingMaiRuE", "5678")})), nullptr);
  EXPECT_EQ(Typed(4, Northbound("ShiJian: 1234")), nullptr);
}

TEST(TypedDispatch, WireTablesAreForTheSeriesAndTheTokenOnly) {
  const std::string reply = NestedReply({Ints("ShiJian", "1234")});
  for (const int type : {1, 2, 3, 5})
    EXPECT_NE(Typed(type, reply), nullptr) << type;
  for (int type = 101; type <= 116; ++type)
    EXPECT_EQ(Typed(type, reply), nullptr) << type;
  // Nor does a message of its own help, once the Id says wire table.
  EXPECT_EQ(Typed(101, Replaced(Indicator("ShuJu { ShiJian: 1 }"), "Id: 25", "Id: 3")), nullptr);
}

TEST(TypedDispatch, IndicatorTypesEndAt101And116) {
  const std::string reply = Indicator("ShuJu { ShiJian: 1 JieGuo: 2 }");
  EXPECT_EQ(Typed(100, reply), nullptr);
  EXPECT_NE(Typed(101, reply), nullptr);
  EXPECT_NE(Typed(116, reply), nullptr);
  EXPECT_EQ(Typed(117, reply), nullptr);
}

TEST(TypedDispatch, OtherValuesGiveNull) {
  const std::vector<std::string> replies = {Indicator("ShuJu { ShiJian: 1 }"),
                                            DaDan("ShiJian: 1"),
                                            Holdings("RiQi: 1"),
                                            Northbound("ShiJian: 1"),
                                            "Id: 44 RepDataToken { Result: 1 }",
                                            NestedReply({Ints("ShiJian", "1")})};
  for (const std::string& reply : replies) {
    for (const int type : {6, 7, 99, 100, 117, 200, -1, -100, -155, INT_MIN, INT_MAX})
      EXPECT_EQ(Typed(type, reply), nullptr) << type;
  }
}

TEST(TypedDispatch, ReplyOfAnotherKindGivesNull) {
  struct {
    int type;
    std::string reply;
  } const kinds[] = {{1, DaDan("ShiJian: 1")},
                     {2, Holdings("RiQi: 1")},
                     {3, Northbound("ShiJian: 1")},
                     {5, "Id: 44 RepDataToken { Result: 1 }"},
                     {103, Indicator("ShuJu { ShiJian: 1 }")}};
  for (const auto& asked : kinds) {
    for (const auto& sent : kinds)
      EXPECT_EQ(Typed(asked.type, sent.reply) != nullptr, asked.type == sent.type)
          << "type " << asked.type << " for the reply of " << sent.type;
  }
}

TEST(TypedDispatch, TheIdDecidesNotTheContent) {
  EXPECT_EQ(Typed(1, Replaced(DaDan("ShiJian: 1"), "Id: 321", "Id: 25")), nullptr);
  EXPECT_EQ(Typed(2, Replaced(Holdings("RiQi: 1"), "Id: 296", "Id: 297")), nullptr);
  EXPECT_EQ(Typed(3, Replaced(Northbound("ShiJian: 1"), "Id: 430", "Id: 431")), nullptr);
  EXPECT_EQ(Typed(5, "Id: 45 RepDataToken { Result: 1 }"), nullptr);
  EXPECT_EQ(Typed(101, Replaced(Indicator("ShuJu { ShiJian: 1 }"), "Id: 25", "Id: 26")), nullptr);
}

TEST(TypedDispatch, BytesThatAreNoReplyGiveNull) {
  for (const int type : {0, 1, 2, 3, 4, 5, 101, 116}) {
    EXPECT_EQ(TesparserPB2TableType("", static_cast<TPType>(type)), nullptr);
    EXPECT_EQ(TesparserPB2TableType("no reply at all", static_cast<TPType>(type)), nullptr);
  }
  // The Id is required.
  EXPECT_EQ(Typed(5, "RepDataToken { Result: 1 }"), nullptr);
}

TEST(TypedDispatch, NothingToShowGivesNull) {
  EXPECT_EQ(Typed(1, "Id: 321"), nullptr);
  EXPECT_EQ(Typed(2, "Id: 296"), nullptr);
  EXPECT_EQ(Typed(3, "Id: 430"), nullptr);
  EXPECT_EQ(Typed(5, "Id: 44"), nullptr);
  EXPECT_EQ(Typed(103, "Id: 25"), nullptr);
}

// ---- type 1: large orders ----

TEST(TypedDaDan, Columns) {
  const OwnedTable table = Typed(1, DaDan(DistinctFields(kDaDanFields)));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;Data:t;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  void* series = Child(table, 0, 1);
  EXPECT_EQ(SpecOf(series), kDaDanSpec);
  EXPECT_STREQ(table_name(series), "");
  ASSERT_EQ(table_rows(series), 1);
  EXPECT_EQ(Number(series, 0, 0), 1.01);
  EXPECT_EQ(Number(series, 0, 1), 1.02);
  EXPECT_EQ(Number(series, 0, 2), 1.03);
  EXPECT_EQ(Number(series, 0, 3), 1.04);
  EXPECT_EQ(Number(series, 0, 4), 1.05);
  EXPECT_EQ(Number(series, 0, 5), 1.06);
  EXPECT_EQ(Number(series, 0, 6), 1.07);
  EXPECT_EQ(Number(series, 0, 7), 1.08);
  EXPECT_EQ(Number(series, 0, 8), 1.09);
  EXPECT_EQ(Number(series, 0, 9), 1.10);
  EXPECT_EQ(Number(series, 0, 10), 1.11);
}

TEST(TypedDaDan, EachFieldInItsColumn) {
  ExpectEachFieldInItsColumn(1, kDaDanFields, DaDan);
}

TEST(TypedDaDan, FieldsBehindTheEleventhAreNotRead) {
  const OwnedTable table = Typed(1, DaDan("ZiJinLiuRuE: 1234 ZiJinLiuRuE5: 5678"));
  void* series = Child(table, 0, 1);
  EXPECT_EQ(table_cols(series), 11);
  for (int c = 0; c < 11; ++c)
    EXPECT_EQ(Number(series, 0, c), 0.0) << c;
}

TEST(TypedDaDan, Decoding) {
  ExpectDecoding(1, "ShiJian", DaDan);
}

TEST(TypedDaDan, RowsStandInWireOrder) {
  const OwnedTable table = Typed(1,
                                 "Id: 321 RepDataDaDanShuJuShuChu { Obj: 'SH600000' Data { ShiJian: 100 } "
                                 "Data { ShiJian: 300 } Data { ShiJian: 200 } }"
                                 "RepDataDaDanShuJuShuChu { Obj: 'SZ000001' Data { ShiJian: 400 } }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  ASSERT_EQ(table_rows(Child(table, 0, 1)), 3);
  EXPECT_EQ(Number(Child(table, 0, 1), 0, 0), 1.0);
  EXPECT_EQ(Number(Child(table, 0, 1), 1, 0), 3.0);
  EXPECT_EQ(Number(Child(table, 0, 1), 2, 0), 2.0);
  ASSERT_EQ(table_rows(Child(table, 1, 1)), 1);
  EXPECT_EQ(Number(Child(table, 1, 1), 0, 0), 4.0);
}

TEST(TypedDaDan, EmptySeriesGivesATableWithoutRows) {
  const OwnedTable table = Typed(1, "Id: 321 RepDataDaDanShuJuShuChu { Obj: 'SH600000' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  ASSERT_NE(Child(table, 0, 1), nullptr);
  EXPECT_EQ(table_rows(Child(table, 0, 1)), 0);
  EXPECT_EQ(SpecOf(Child(table, 0, 1)), kDaDanSpec);
}

TEST(TypedDaDan, ObjIsTranscoded) {
  const OwnedTable table = Typed(1, "Id: 321 RepDataDaDanShuJuShuChu { Obj: '" + kPuFaUtf8 + "' }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), kPuFaGb2312);
}

// ---- type 2: holdings by class of holder ----

TEST(TypedFenLeiChiCang, Columns) {
  const OwnedTable table = Typed(2, Holdings(DistinctFields(kHoldingsFields)));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;Data:t;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  void* series = Child(table, 0, 1);
  EXPECT_EQ(SpecOf(series),
            "RiQi:d;GuDongRenShu:d;SanHuChiCangBi:d;ZhongHuChiCangBi:d;DaHuChiCangBi:d;ChaoDaHuChiCangBi:d;"
            "LiuTongGu:d;");
  EXPECT_STREQ(table_name(series), "");
  ASSERT_EQ(table_rows(series), 1);
  EXPECT_EQ(Number(series, 0, 0), 1.01);
  EXPECT_EQ(Number(series, 0, 1), 1.02);
  EXPECT_EQ(Number(series, 0, 2), 1.03);
  EXPECT_EQ(Number(series, 0, 3), 1.04);
  EXPECT_EQ(Number(series, 0, 4), 1.05);
  EXPECT_EQ(Number(series, 0, 5), 1.06);
  EXPECT_EQ(Number(series, 0, 6), 1.07);
}

TEST(TypedFenLeiChiCang, EachFieldInItsColumn) {
  ExpectEachFieldInItsColumn(2, kHoldingsFields, Holdings);
}

TEST(TypedFenLeiChiCang, Decoding) {
  ExpectDecoding(2, "RiQi", Holdings);
}

TEST(TypedFenLeiChiCang, AbsentNumberOfHoldersIsSetToZero) {
  const OwnedTable table = Typed(2, Holdings("RiQi: " + P(20231231, 10)));
  EXPECT_EQ(Number(Child(table, 0, 1), 0, 0), 20231231.0);
  EXPECT_EQ(SetColumns(Child(table, 0, 1), 0), "0 1 2 3 4 5 6");
  EXPECT_EQ(Number(Child(table, 0, 1), 0, 1), 0.0);
}

TEST(TypedFenLeiChiCang, RowsStandInWireOrder) {
  const OwnedTable table =
      Typed(2,
            "Id: 296 RepDataPcFenLeiChiCangLieBiao { Obj: 'SH600000' }"
            "RepDataPcFenLeiChiCangLieBiao { Obj: 'SZ000001' FenLeiChiCang { RiQi: 200 } "
            "FenLeiChiCang { RiQi: 100 } }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  ASSERT_NE(Child(table, 0, 1), nullptr);
  EXPECT_EQ(table_rows(Child(table, 0, 1)), 0);
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  ASSERT_EQ(table_rows(Child(table, 1, 1)), 2);
  EXPECT_EQ(Number(Child(table, 1, 1), 0, 0), 2.0);
  EXPECT_EQ(Number(Child(table, 1, 1), 1, 0), 1.0);
}

TEST(TypedFenLeiChiCang, ObjIsTranscoded) {
  const OwnedTable table = Typed(2, "Id: 296 RepDataPcFenLeiChiCangLieBiao { Obj: '" + kPuFaUtf8 + "' }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), kPuFaGb2312);
}

// ---- type 3: northbound holdings ----

TEST(TypedBxzjStock, LabelsAndSourcesDisagreeInThreeColumns) {
  const OwnedTable table = Typed(
      3, Northbound("ShiJian: 101 ChiGuShuLiang: 102 ShouPanJia: 103 ZhanLiuTongGuBiLi: 104 ChiGuShiZhi: 105 "
                    "ChiGuShuLiangBianHua: 106 ChiGuShiZhiBianHua: 107 ZhanLiuTongGuBiLiBianHua: 108 "
                    "ChiGuZongShiZhi: 109 ChiGuZhangFu: 110"));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;Data:t;");
  EXPECT_STREQ(table_name(table.get()), "tes2tableType::ParseBxzjBasicStockInfo");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  void* series = Child(table, 0, 1);
  EXPECT_EQ(SpecOf(series), kNorthboundSpec);
  EXPECT_STREQ(table_name(series), "");
  ASSERT_EQ(table_rows(series), 1);
  EXPECT_EQ(Number(series, 0, 0), 1.01);
  EXPECT_EQ(Number(series, 0, 1), 1.02);
  EXPECT_EQ(Number(series, 0, 2), 1.03);
  EXPECT_EQ(Number(series, 0, 3), 1.04);
  EXPECT_EQ(Number(series, 0, 4), 1.05);
  EXPECT_EQ(Number(series, 0, 5), 1.06);
  EXPECT_STREQ(table_col_name(series, 6), "ChiGuShuLiangBianHua");
  EXPECT_EQ(Number(series, 0, 6), 1.07) << "the change in market value";
  EXPECT_STREQ(table_col_name(series, 7), "ChiGuShiZhiBianHua");
  EXPECT_EQ(Number(series, 0, 7), 1.08) << "the change in the share of float";
  EXPECT_EQ(Number(series, 0, 8), 1.09);
  EXPECT_EQ(Number(series, 0, 9), 1.10);
}

TEST(TypedBxzjStock, EachFieldInItsColumn) {
  ExpectEachFieldInItsColumn(3, kNorthboundFields, Northbound);
}

TEST(TypedBxzjStock, Decoding) {
  ExpectDecoding(3, "ShiJian", Northbound);
}

TEST(TypedBxzjStock, RowsStandInWireOrder) {
  const OwnedTable table =
      Typed(3,
            "Id: 430 RepDataBxzjBasicStockInfoOutput { Obj: 'SH600000' "
            "Data { ShiJian: 200 } Data { ShiJian: 100 } }"
            "RepDataBxzjBasicStockInfoOutput { Obj: 'SZ000001' ZhongWenJianCheng: 'x' }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 2);
  ASSERT_EQ(table_rows(Child(table, 0, 1)), 2);
  EXPECT_EQ(Number(Child(table, 0, 1), 0, 0), 2.0);
  EXPECT_EQ(Number(Child(table, 0, 1), 1, 0), 1.0);
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  ASSERT_NE(Child(table, 1, 1), nullptr);
  EXPECT_EQ(table_rows(Child(table, 1, 1)), 0);
}

TEST(TypedBxzjStock, ObjIsNotTranscoded) {
  const OwnedTable table = Typed(3, "Id: 430 RepDataBxzjBasicStockInfoOutput { Obj: '" + kPuFaUtf8 + "' }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), kPuFaUtf8);
}

// ---- type 5: the token ----

TEST(TypedToken, Columns) {
  const OwnedTable table = Typed(5,
                                 "Id: 44 RepDataToken { Result: -2 Token: 'abc' Uid: 'u1' Device: 'd1' }"
                                 "RepDataToken { Result: 2147483647 Token: '" +
                                     kPuFaUtf8 + "' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "Result:i;Token:s;Uid:s;Device:s;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(table_get_int(table.get(), 0, 0), -2);
  EXPECT_EQ(TextAt(table.get(), 0, 1), "abc");
  EXPECT_EQ(TextAt(table.get(), 0, 2), "u1");
  EXPECT_EQ(TextAt(table.get(), 0, 3), "d1");
  EXPECT_EQ(table_get_int(table.get(), 1, 0), INT_MAX) << "a plain number, not a packed one";
  EXPECT_EQ(TextAt(table.get(), 1, 1), kPuFaUtf8) << "not transcoded";
}

TEST(TypedToken, AbsentFieldsAreSetToZeroAndEmptyText) {
  const OwnedTable table = Typed(5, "Id: 44 RepDataToken { }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2 3");
  EXPECT_EQ(table_get_int(table.get(), 0, 0), 0);
  EXPECT_EQ(TextAt(table.get(), 0, 1), "");
  EXPECT_EQ(TextAt(table.get(), 0, 2), "");
  EXPECT_EQ(TextAt(table.get(), 0, 3), "");
}

// ---- types 101 to 116: indicators ----

TEST(TypedZhiBiao, Columns) {
  const OwnedTable table = Typed(102, Indicator("ShuJu { ShiJian: 101 JieGuo: [102, 103] } "
                                                "ShuJu { ShiJian: 104 JieGuo: [105, 106] } ToTalCount: 9"));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;Data:t;");
  EXPECT_STREQ(table_name(table.get()), "tes2tableType::ParseZhiBiaoShuChu");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  void* series = Child(table, 0, 1);
  EXPECT_EQ(SpecOf(series), "ShiJian:d;JieGuo1:d;JieGuo2:d;");
  EXPECT_STREQ(table_name(series), "");
  ASSERT_EQ(table_rows(series), 2);
  EXPECT_EQ(Number(series, 0, 0), 1.01);
  EXPECT_EQ(Number(series, 0, 1), 1.02);
  EXPECT_EQ(Number(series, 0, 2), 1.03);
  EXPECT_EQ(Number(series, 1, 0), 1.04);
  EXPECT_EQ(Number(series, 1, 1), 1.05);
  EXPECT_EQ(Number(series, 1, 2), 1.06);
}

TEST(TypedZhiBiao, TooManyResultsAreDropped) {
  const OwnedTable table = Typed(103, Indicator("ShuJu { ShiJian: 1 JieGuo: [101, 102, 103, 104, 105] }"));
  void* series = Child(table, 0, 1);
  EXPECT_EQ(SpecOf(series), "ShiJian:d;JieGuo1:d;JieGuo2:d;JieGuo3:d;");
  EXPECT_EQ(Number(series, 0, 1), 1.01);
  EXPECT_EQ(Number(series, 0, 2), 1.02);
  EXPECT_EQ(Number(series, 0, 3), 1.03);
}

TEST(TypedZhiBiao, TooFewResultsLeaveColumnsUnset) {
  const OwnedTable table = Typed(103, Indicator("ShuJu { ShiJian: 1 JieGuo: 101 } ShuJu { ShiJian: 2 }"));
  EXPECT_EQ(SetColumns(Child(table, 0, 1), 0), "0 1");
  EXPECT_EQ(Number(Child(table, 0, 1), 0, 1), 1.01);
  EXPECT_EQ(SetColumns(Child(table, 0, 1), 1), "0");
}

TEST(TypedZhiBiao, EveryWidthCutsAndLeavesShort) {
  // Points with 0, 1, ... 20 results; result i (from 1) is i.
  std::string points;
  for (int results = 0; results <= 20; ++results) {
    points += "ShuJu { ShiJian: 0 ";
    for (int i = 1; i <= results; ++i)
      points += "JieGuo: " + std::to_string(i * 100) + " ";
    points += "} ";
  }
  for (int width = 1; width <= 16; ++width) {
    const OwnedTable table = Typed(100 + width, Indicator(points));
    ASSERT_NE(table, nullptr);
    void* series = Child(table, 0, 1);
    ASSERT_EQ(table_cols(series), width + 1);
    ASSERT_EQ(table_rows(series), 21);
    for (int results = 0; results <= 20; ++results) {
      for (int i = 1; i <= width; ++i) {
        ASSERT_EQ(table_is_set(series, results, i), i <= results ? 1 : 0)
            << width << " " << results << " " << i;
        ASSERT_EQ(table_get_double(series, results, i), i <= results ? i : 0.0);
      }
    }
    EXPECT_EQ(table_col_index(series, ("JieGuo" + std::to_string(width)).c_str()), width);
  }
}

TEST(TypedZhiBiao, NegativeRawResultIsZeroAndNegativeNumbersComePacked) {
  const OwnedTable table =
      Typed(103, Indicator("ShuJu { ShiJian: -1 JieGuo: [-1234, " + P(1234, 0, 1) + ", 131072] }"));
  void* series = Child(table, 0, 1);
  EXPECT_EQ(Number(series, 0, 0), 0.0);
  EXPECT_EQ(Number(series, 0, 1), 0.0);
  EXPECT_EQ(Number(series, 0, 2), -12.34);
  EXPECT_EQ(Number(series, 0, 3), 0.0);
}

TEST(TypedZhiBiao, NoPointsGiveATableWithoutRows) {
  const OwnedTable table = Typed(103,
                                 "Id: 25 RepDataZhiBiaoShuChu { Obj: 'SH600000' } "
                                 "RepDataZhiBiaoShuChu { Obj: 'SZ000001' ShuJu { ShiJian: 100 } }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  ASSERT_NE(Child(table, 0, 1), nullptr);
  EXPECT_EQ(table_rows(Child(table, 0, 1)), 0);
  EXPECT_EQ(table_cols(Child(table, 0, 1)), 4);
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  EXPECT_EQ(Number(Child(table, 1, 1), 0, 0), 1.0);
}

TEST(TypedZhiBiao, ObjIsNotTranscoded) {
  const OwnedTable table = Typed(101, "Id: 25 RepDataZhiBiaoShuChu { Obj: '" + kPuFaUtf8 + "' }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), kPuFaUtf8);
}

// ---- wire tables: the wrapper and the payload ----

TEST(TypedWire, WrapperMustBeginWithATable) {
  EXPECT_EQ(Typed(1, "Id: 3"), nullptr);
  EXPECT_EQ(Typed(1, "Id: 3 Tbl { }"), nullptr);
  const std::string good = NestedReply({Ints("ShiJian", "1234")});
  EXPECT_NE(Typed(1, good), nullptr);
  EXPECT_EQ(Typed(1, Replaced(good, "'Result' Type: 116", "'Result' Type: 105")), nullptr);
  EXPECT_EQ(Typed(1, Replaced(good, "'Result' Type: 116", "'Result'")), nullptr);
  const Column payload = Tables("Result", {WireTable({Ints("X", "1")})});
  EXPECT_NE(Typed(1, "Id: 3 Tbl { " + WireTable({payload, Ints("First", "1")}) + " }"), nullptr);
  EXPECT_EQ(Typed(1, "Id: 3 Tbl { " + WireTable({Ints("First", "1"), payload}) + " }"), nullptr)
      << "a table in a later column is not looked at";
}

TEST(TypedWire, WrapperWithoutDataGivesNull) {
  EXPECT_EQ(Typed(1, "Id: 3 Tbl { Info { Type: 116 } }"), nullptr);
  EXPECT_EQ(Typed(1, "Id: 3 Tbl { Info { Type: 116 } Data { Index: 0 } }"), nullptr);
  EXPECT_EQ(Typed(1, "Id: 3 Tbl { Info { Type: 116 } Data { Index: 0 tValues { } } }"), nullptr);
}

TEST(TypedWire, OnlyTheFirstTableOfTheWrapperIsShown) {
  const OwnedTable table = Typed(
      1, "Id: 3 Tbl { " +
             WireTable({Tables("Result", {WireTable({Ints("A", "1")}), WireTable({Ints("B", "2, 3")})})}) +
             " }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "A:d;");
  EXPECT_EQ(table_rows(table.get()), 1);
}

TEST(TypedWire, PayloadHasTheColumnsThatTheWireDescribes) {
  const OwnedTable table = Typed(
      1, WireReply(
             {Texts("Obj", "'" + kPuFaUtf8 + "', 'SZ000001'"),
              Ints("Zhang", P(1234, 0, 1) + ", 131072"),
              Deltas("Jia", P(1234) + ", 5"),
              Floats("Bi", "0.5, 1.25"),
              Binaries("Yuan", "'a\\000b', ''"),
              {"Name: 'Shuang' Type: 100", "dValues: [2.5, 3.5] fValues: [0, 0]"},
              {"Name: 'Qita' Type: 233", "aValues { iValues: 1 }"},
              {"Type: 7", "iValues: [1, 2]"},
              Tables("Data", {WireTable({Ints("ShiJian", "100")}), WireTable({Ints("ShiJian", "200")})})}));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;Zhang:d;Jia:d;Bi:f;Yuan:b;Shuang:d;Qita:q;:q;Data:t;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2 3 4 5 8");
  EXPECT_EQ(SetColumns(table.get(), 1), "0 1 2 3 4 5 8");
  EXPECT_EQ(TextAt(table.get(), 0, 0), kPuFaGb2312);
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  EXPECT_EQ(Number(table.get(), 0, 1), -12.34);
  EXPECT_EQ(Number(table.get(), 1, 1), 0.0);
  EXPECT_EQ(Number(table.get(), 0, 2), 12.34);
  EXPECT_EQ(Number(table.get(), 1, 2), 12.34 + 0.05);
  EXPECT_EQ(table_get_float(table.get(), 0, 3), 0.5F);
  EXPECT_EQ(table_get_float(table.get(), 1, 3), 1.25F);
  int size = -1;
  const void* bytes = table_get_binary(table.get(), 0, 4, &size);
  EXPECT_EQ(std::string(static_cast<const char*>(bytes), static_cast<size_t>(size)), std::string("a\0b", 3));
  EXPECT_EQ(Number(table.get(), 0, 5), 2.5);
  EXPECT_EQ(Number(table.get(), 1, 5), 3.5);
  EXPECT_EQ(Number(Child(table, 0, 8), 0, 0), 1.0);
  EXPECT_EQ(Number(Child(table, 1, 8), 0, 0), 2.0);
}

TEST(TypedWire, PayloadThatCannotBeReadGivesNull) {
  const std::string nested = "tValues { " + WireTable({Ints("ShiJian", "1")}) + " }";
  const auto payload = [](const std::string& text) {
    return "Id: 3 Tbl { Info { Type: 116 } Data { Index: 0 tValues { " + text + " } } }";
  };
  EXPECT_NE(Typed(1, payload("Info { Type: 116 } Data { Index: 0 " + nested + "}")), nullptr);
  EXPECT_EQ(Typed(1, payload("Data { Index: 0 " + nested + "}")), nullptr) << "no description";
  EXPECT_EQ(Typed(1, payload("Info { Type: 116 }")), nullptr) << "no data";
  EXPECT_EQ(Typed(1, payload("Info { Type: 116 } DataX { Index: 0 }")), nullptr);
  EXPECT_EQ(Typed(1, payload("Info { Type: 116 } Info { Type: 105 } Data { Index: 0 " + nested + "}")),
            nullptr);
  EXPECT_EQ(Typed(1, payload("Info { Type: 116 } Data { Index: 0 }")), nullptr) << "no rows";
  EXPECT_EQ(Typed(1, payload("Info { Type: 233 } Data { Index: 0 " + nested + "}")), nullptr);
}

TEST(TypedWire, EveryTableColumnIsTyped) {
  const OwnedTable table = Typed(5, WireReply({Tables("A", {WireTable({Texts("Uid", "'a'")})}),
                                               Tables("B", {WireTable({Texts("Uid", "'b'")})})}));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(Child(table, 0, 0)), "Result:i;Token:s;Uid:s;Device:s;");
  EXPECT_EQ(TextAt(Child(table, 0, 0), 0, 2), "a");
  EXPECT_EQ(TextAt(Child(table, 0, 1), 0, 2), "b");
}

TEST(TypedWire, EachNestedTableHasItsOwnDescription) {
  const OwnedTable table =
      Typed(5, WireReply({Tables("Data", {WireTable({Texts("Uid", "'a'")}),
                                          WireTable({Texts("Device", "'d'"), Texts("Token", "'t'")})})}));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SetColumns(Child(table, 0, 0), 0), "2");
  EXPECT_EQ(SetColumns(Child(table, 1, 0), 0), "1 3");
}

TEST(TypedWire, NestedTableThatCannotBeReadIsNullAndThePayloadGoesOn) {
  const std::string good = WireTable({Ints("ShiJian", "1234")});
  const OwnedTable table = Typed(
      1,
      WireReply({Tables("Data", {good, "", "Info { Name: 'ShiJian' Type: 105 }",
                                 "Info { Name: 'ShiJian' Type: 105 } Data { Index: 0 }",
                                 "Info { Name: 'ShiJian' Type: 105 } Info { Name: 'DaDanMaiRuE' Type: 105 } "
                                 "Data { Index: 0 iValues: 1 }",
                                 "Info { Name: 'ShiJian' Type: 233 } Data { Index: 0 iValues: 1 }", good})}));
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 7);
  EXPECT_NE(Child(table, 0, 0), nullptr);
  EXPECT_EQ(Child(table, 1, 0), nullptr) << "no columns";
  EXPECT_EQ(Child(table, 2, 0), nullptr) << "no data";
  EXPECT_EQ(Child(table, 3, 0), nullptr) << "no rows";
  EXPECT_EQ(Child(table, 4, 0), nullptr) << "more columns than data";
  EXPECT_EQ(Child(table, 5, 0), nullptr) << "rows that cannot be counted";
  EXPECT_NE(Child(table, 6, 0), nullptr);
  EXPECT_EQ(Number(Child(table, 6, 0), 0, 0), 12.34);
}

TEST(TypedWire, TablesBeyondThePayloadsRowsAreDropped) {
  const std::string nested = WireTable({Ints("ShiJian", "1234")});
  const OwnedTable table =
      Typed(1, WireReply({Texts("Obj", "'a'"), Tables("Data", {nested, nested, nested})}));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table_rows(table.get()), 1);
  EXPECT_NE(Child(table, 0, 1), nullptr);
}

TEST(TypedWire, PayloadRowsWithoutATableStayUnset) {
  const OwnedTable table =
      Typed(1, WireReply({Texts("Obj", "'a', 'b'"), Tables("Data", {WireTable({Ints("ShiJian", "1234")})})}));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1");
  EXPECT_EQ(SetColumns(table.get(), 1), "0");
}

// ---- wire tables: nested tables, by name ----

TEST(TypedWire, ColumnsReachTheLayoutByName) {
  const OwnedTable table =
      Typed(1, NestedReply({Ints("DaDanMaiChuE", "1100, 2100"), Ints("Nobody", "7, 8"),
                            Ints("ShiJian", "100, 200"), Ints("ZongChengJiaoE", "900")}));
  ASSERT_NE(table, nullptr);
  void* nested = Child(table, 0, 0);
  EXPECT_EQ(SpecOf(nested), kDaDanSpec);
  EXPECT_STREQ(table_name(nested), "tesdata");
  ASSERT_EQ(table_rows(nested), 2);
  EXPECT_EQ(SetColumns(nested, 0), "0 8 10");
  EXPECT_EQ(SetColumns(nested, 1), "0 10") << "a shorter column leaves its last cells unset";
  EXPECT_EQ(Number(nested, 0, 0), 1.0);
  EXPECT_EQ(Number(nested, 0, 8), 9.0);
  EXPECT_EQ(Number(nested, 0, 10), 11.0);
  EXPECT_EQ(Number(nested, 1, 0), 2.0);
  EXPECT_EQ(Number(nested, 1, 10), 21.0);
}

TEST(TypedWire, NoMatchingColumnGivesRowsWithEveryCellUnset) {
  const OwnedTable table = Typed(1, NestedReply({Ints("Nobody", "1, 2, 3"), Texts("shijian", "'a'")}));
  ASSERT_NE(table, nullptr);
  void* nested = Child(table, 0, 0);
  ASSERT_NE(nested, nullptr);
  EXPECT_EQ(SpecOf(nested), kDaDanSpec);
  ASSERT_EQ(table_rows(nested), 3);
  for (int r = 0; r < 3; ++r)
    EXPECT_EQ(SetColumns(nested, r), "") << r;
}

TEST(TypedWire, NorthboundColumnsByName) {
  const OwnedTable table =
      Typed(3, NestedReply({Ints("ShiJian", "101"), Ints("ChiGuShuLiangBianHua", "106"),
                            Ints("ChiGuShiZhiBianHua", "107"), Ints("ZhanLiuTongGuBiLiBianHua", "108")}));
  ASSERT_NE(table, nullptr);
  void* nested = Child(table, 0, 0);
  EXPECT_EQ(SpecOf(nested), kNorthboundSpec);
  EXPECT_EQ(SetColumns(nested, 0), "0 5 7") << "the name that stands twice reaches its first column alone";
  EXPECT_EQ(Number(nested, 0, 5), 1.06);
  EXPECT_EQ(Number(nested, 0, 7), 1.07) << "here the label is the source";
}

TEST(TypedWire, DeltasAddElementByDivisor) {
  const OwnedTable table = Typed(1, NestedReply({Deltas("ShiJian", P(1234) + ", 5, -3")}));
  void* nested = Child(table, 0, 0);
  ASSERT_EQ(table_rows(nested), 3);
  EXPECT_EQ(Number(nested, 0, 0), 12.34);
  EXPECT_EQ(Number(nested, 1, 0), 12.34 + 0.05);
  EXPECT_EQ(Number(nested, 2, 0), 12.34 + 0.05 - 0.03);
}

TEST(TypedWire, DeltasTimesRatio) {
  const OwnedTable table = Typed(1, NestedReply({Deltas("ShiJian", P(1250) + ", 25, 50", 3),
                                                 Deltas("DaDanMaiRuE", P(1250) + ", 25", -2)}));
  void* nested = Child(table, 0, 0);
  EXPECT_EQ(Number(nested, 0, 0), 12.5) << "the first value has no ratio";
  EXPECT_EQ(Number(nested, 1, 0), 13.25);
  EXPECT_EQ(Number(nested, 2, 0), 14.75);
  EXPECT_EQ(Number(nested, 1, 9), 12.0);
}

TEST(TypedWire, DeltasAfterAnUndecodableFirstValueAreWholeNumbers) {
  const OwnedTable table =
      Typed(1, NestedReply({Deltas("ShiJian", "-1, 5, -7"), Deltas("DaDanMaiRuE", "131072, 2")}));
  void* nested = Child(table, 0, 0);
  EXPECT_EQ(Number(nested, 0, 0), 0.0);
  EXPECT_EQ(Number(nested, 1, 0), 5.0);
  EXPECT_EQ(Number(nested, 2, 0), -2.0);
  EXPECT_EQ(Number(nested, 0, 9), 0.0);
  EXPECT_EQ(Number(nested, 1, 9), 2.0);
}

TEST(TypedWire, DeltaColumnWithoutValuesStaysUnset) {
  const OwnedTable table = Typed(1, NestedReply({Ints("ShiJian", "1"), Deltas("DaDanMaiRuE", "")}));
  EXPECT_EQ(SetColumns(Child(table, 0, 0), 0), "0");
}

TEST(TypedWire, DeltasMayLeaveEveryIntegerRange) {
  const std::string largest = "9223372036854775807";
  const std::string smallest = "-9223372036854775808";
  const std::string steps = P(100, 10) + ", " + largest + ", " + largest + ", " + smallest;
  const OwnedTable doubles = Typed(1, NestedReply({Deltas("ShiJian", steps, INT_MAX)}));
  void* nested = Child(doubles, 0, 0);
  // 2^63 as a double each time; 100 is lost against 2^63 times the ratio.
  EXPECT_EQ(Number(nested, 1, 0), 0x1p63 * 2147483647.0);
  EXPECT_EQ(Number(nested, 2, 0), 0x1p64 * 2147483647.0);
  EXPECT_EQ(Number(nested, 3, 0), 0x1p63 * 2147483647.0);
  const OwnedTable ints = Typed(5, NestedReply({Deltas("Result", steps, INT_MIN)}));
  EXPECT_EQ(table_get_int(Child(ints, 0, 0), 0, 0), 100);
  EXPECT_EQ(table_get_int(Child(ints, 0, 0), 1, 0), INT_MIN);
  EXPECT_EQ(table_get_int(Child(ints, 0, 0), 2, 0), INT_MIN);
}

TEST(TypedWire, DeltasRunAsDoublesBehindARoundedColumn) {
  // 0.4, 0.8, 1.2, 1.6: were the rounded values added up, the last would be 0.
  const OwnedTable table = Typed(5, NestedReply({Deltas("Result", P(40) + ", 40, 40, 40")}));
  void* nested = Child(table, 0, 0);
  EXPECT_EQ(table_get_int(nested, 0, 0), 0);
  EXPECT_EQ(table_get_int(nested, 1, 0), 1);
  EXPECT_EQ(table_get_int(nested, 2, 0), 1);
  EXPECT_EQ(table_get_int(nested, 3, 0), 2);
}

TEST(TypedWire, DoublesAreCountedByTheFloatsBesideThem) {
  const OwnedTable table =
      Typed(1, NestedReply({{"Name: 'ShiJian' Type: 100", "dValues: [1.5, 2.5, 3.5]"},
                            {"Name: 'DaDanMaiRuE' Type: 100", "dValues: [4.5, 5.5, 6.5] fValues: [0, 0]"},
                            {"Name: 'DaDanMaiChuE' Type: 100", "dValues: 7.5 fValues: [1, 2, 3]"}}));
  void* nested = Child(table, 0, 0);
  ASSERT_EQ(table_rows(nested), 3) << "rows are counted by the doubles";
  EXPECT_EQ(SetColumns(nested, 0), "9 10");
  EXPECT_EQ(SetColumns(nested, 1), "9");
  EXPECT_EQ(SetColumns(nested, 2), "");
  EXPECT_EQ(Number(nested, 0, 9), 4.5);
  EXPECT_EQ(Number(nested, 1, 9), 5.5);
  EXPECT_EQ(Number(nested, 0, 10), 7.5);
}

TEST(TypedWire, AColumnHasTheValuesOfItsTypeAlone) {
  const struct {
    int type;
    double number;
  } cases[] = {{120, 1}, {105, 2}, {102, 3}, {100, 4}};
  for (const auto& c : cases) {
    const Column column{"Name: 'ShiJian' Type: " + std::to_string(c.type),
                        "xValues: 100 iValues: 200 fValues: 3 dValues: 4 sValues: 'a' bValues: 'b'"};
    const OwnedTable table = Typed(1, NestedReply({column}));
    EXPECT_EQ(Number(Child(table, 0, 0), 0, 0), c.number) << c.type;
  }
}

TEST(TypedWire, FloatsAreWidened) {
  const OwnedTable table = Typed(1, NestedReply({Floats("ShiJian", "0.1, -2.5")}));
  EXPECT_EQ(Number(Child(table, 0, 0), 0, 0), static_cast<double>(0.1F));
  EXPECT_EQ(Number(Child(table, 0, 0), 1, 0), -2.5);
}

TEST(TypedWire, InfinitiesAndNan) {
  const OwnedTable doubles = Typed(1, NestedReply({Floats("ShiJian", "inf, -inf, nan")}));
  EXPECT_EQ(Number(Child(doubles, 0, 0), 0, 0), HUGE_VAL);
  EXPECT_EQ(Number(Child(doubles, 0, 0), 1, 0), -HUGE_VAL);
  EXPECT_TRUE(std::isnan(Number(Child(doubles, 0, 0), 2, 0)));
  const OwnedTable token =
      Typed(5, NestedReply({Floats("Result", "inf, -inf, nan"), Floats("Uid", "inf, -inf, nan")}));
  for (int r = 0; r < 3; ++r)
    EXPECT_EQ(table_get_int(Child(token, 0, 0), r, 0), INT_MIN) << r;
  EXPECT_EQ(TextAt(Child(token, 0, 0), 0, 2), "inf");
  EXPECT_EQ(TextAt(Child(token, 0, 0), 1, 2), "-inf");
  EXPECT_EQ(TextAt(Child(token, 0, 0), 2, 2), "nan");
}

TEST(TypedWire, NumbersReachingTextHaveFourDecimals) {
  const OwnedTable table = Typed(5, NestedReply({Ints("Token", P(1234567, 5) + ", " + P(2, 10)),
                                                 Floats("Uid", "0.5"),
                                                 {"Name: 'Device' Type: 100", "dValues: 1e300 fValues: 0"}}));
  void* nested = Child(table, 0, 0);
  EXPECT_EQ(TextAt(nested, 0, 1), "12.3457");
  EXPECT_EQ(TextAt(nested, 1, 1), "2.0000");
  EXPECT_EQ(TextAt(nested, 0, 2), "0.5000");
  EXPECT_EQ(TextAt(nested, 0, 3).size(), 63U) << "a number of 301 digits is cut";
}

TEST(TypedWire, NumbersReachingTheResultAreRounded) {
  const OwnedTable table =
      Typed(5, NestedReply({Ints("Result", P(250) + ", " + P(120, 0, 1) + ", " + P(150, 0, 1) + ", " +
                                               P(250, 0, 1) + ", " + P(3000000000, 10))}));
  void* nested = Child(table, 0, 0);
  EXPECT_EQ(table_get_int(nested, 0, 0), 3);
  EXPECT_EQ(table_get_int(nested, 1, 0), 0);
  EXPECT_EQ(table_get_int(nested, 2, 0), -1);
  EXPECT_EQ(table_get_int(nested, 3, 0), -2);
  EXPECT_EQ(table_get_int(nested, 4, 0), INT_MIN);
}

TEST(TypedWire, TextsAreTranscoded) {
  const OwnedTable table = Typed(5, NestedReply({Texts("Device", "'" + kPuFaUtf8 + "', ''")}));
  EXPECT_EQ(TextAt(Child(table, 0, 0), 0, 3), kPuFaGb2312);
  EXPECT_EQ(TextAt(Child(table, 0, 0), 1, 3), "");
}

// ---- wire tables that mean harm ----

TEST(TypedWireHostile, TextOnNumbersStaysUnset) {
  const OwnedTable doubles =
      Typed(1, NestedReply({Texts("ShiJian", "'12.34', '5'"), Ints("DaDanMaiRuE", "1, 2")}));
  EXPECT_EQ(SetColumns(Child(doubles, 0, 0), 0), "9");
  EXPECT_EQ(SetColumns(Child(doubles, 0, 0), 1), "9");
  const OwnedTable token = Typed(5, NestedReply({Texts("Result", "'7'")}));
  EXPECT_EQ(SetColumns(Child(token, 0, 0), 0), "");
}

TEST(TypedWireHostile, BinaryOnNumbersAndTextStaysUnset) {
  const std::string bytes = "'\\001\\002\\003\\004\\005\\006\\007\\010', 'AAAAAAAA'";
  const OwnedTable doubles = Typed(1, NestedReply({Binaries("ShiJian", bytes)}));
  EXPECT_EQ(SetColumns(Child(doubles, 0, 0), 0), "");
  const OwnedTable token = Typed(5, NestedReply({Binaries("Result", bytes), Binaries("Token", bytes)}));
  EXPECT_EQ(SetColumns(Child(token, 0, 0), 0), "");
  EXPECT_EQ(SetColumns(Child(token, 0, 0), 1), "");
  EXPECT_EQ(TextAt(Child(token, 0, 0), 0, 1), "(unset)");
}

TEST(TypedWireHostile, TablesInNestedTablesAreIgnored) {
  const std::string inner = WireTable({Ints("ShiJian", "1")});
  const OwnedTable table = Typed(
      5, NestedReply({Tables("Token", {inner, inner}), Tables("Result", {inner}), Texts("Uid", "'a', 'b'")}));
  void* nested = Child(table, 0, 0);
  ASSERT_EQ(table_rows(nested), 2);
  EXPECT_EQ(SetColumns(nested, 0), "2");
  EXPECT_EQ(SetColumns(nested, 1), "2");
}

TEST(TypedWireHostile, TypesWithoutValuesAreIgnored) {
  const std::string data =
      "iValues: 1 fValues: 1 dValues: 1 sValues: 'a' bValues: 'b' aValues { iValues: 1 }";
  for (const int type : {0, 128, 233, 248, 230, 228, 243, 1, -1, INT_MIN, INT_MAX}) {
    const OwnedTable table =
        Typed(5, NestedReply({Texts("Token", "'a'"), {"Name: 'Uid' Type: " + std::to_string(type), data}}));
    ASSERT_NE(table, nullptr) << type;
    EXPECT_EQ(SetColumns(Child(table, 0, 0), 0), "1") << type;
  }
}

TEST(TypedWireHostile, TheLastOfTwoColumnsOfOneNameStands) {
  const OwnedTable table =
      Typed(5, NestedReply({Texts("Token", "'first', 'second'"), Ints("Token", "1234"), Ints("Result", "100"),
                            Texts("Result", "'x'"), Ints("Result", "200")}));
  void* nested = Child(table, 0, 0);
  EXPECT_EQ(TextAt(nested, 0, 1), "12.3400");
  EXPECT_EQ(TextAt(nested, 1, 1), "second");
  EXPECT_EQ(table_get_int(nested, 0, 0), 2);
}

TEST(TypedWireHostile, ValuesBeyondTheRowsAreDropped) {
  const OwnedTable table = Typed(
      5, NestedReply({Texts("Token", "'a'"), Ints("Result", "100, 200, 300"), Texts("Uid", "'u', 'v', 'w'"),
                      Deltas("Device", P(100) + ", 1, 1"), Binaries("Device", "'x', 'y', 'z'")}));
  void* nested = Child(table, 0, 0);
  ASSERT_EQ(table_rows(nested), 1);
  EXPECT_EQ(table_get_int(nested, 0, 0), 1);
  EXPECT_EQ(TextAt(nested, 0, 1), "a");
  EXPECT_EQ(TextAt(nested, 0, 2), "u");
  EXPECT_EQ(TextAt(nested, 0, 3), "1.0000");
}

TEST(TypedWireHostile, NamesThatHoldSeparatorsShiftThePayloadsColumns) {
  // "a;b" makes two columns of one, so that the tables of the second one meet a column of doubles.
  const std::string nested = WireTable({Ints("ShiJian", "1234")});
  const OwnedTable shifted = Typed(1, WireReply({Ints("a;b", "100"), Tables("Data", {nested})}));
  ASSERT_NE(shifted, nullptr);
  EXPECT_EQ(SpecOf(shifted.get()), "a:?;b:d;Data:t;");
  EXPECT_EQ(SetColumns(shifted.get(), 0), "");
  // A zero byte ends the description; nothing stands behind it.
  const OwnedTable cut = Typed(1, WireReply({Ints("a\\000b", "100"), Tables("Data", {nested})}));
  ASSERT_NE(cut, nullptr);
  EXPECT_EQ(table_cols(cut.get()), 1);
  EXPECT_EQ(SetColumns(cut.get(), 0), "");
  // A description of its own inside a name.
  const OwnedTable forged =
      Typed(1, WireReply({Ints("x:t;y:99999999q;z", "100"), Ints("p", "200"), Texts("q", "'s'")}));
  ASSERT_NE(forged, nullptr);
  EXPECT_EQ(SetColumns(forged.get(), 0), "");
}

TEST(TypedWireHostile, ManyColumnsAndManyTables) {
  const int kMany = 20000;
  std::string infos;
  std::string data;
  for (int i = 0; i < kMany; ++i) {
    infos += i % 2 == 0 ? "Info { Name: 'ShiJian' Type: 105 } " : "Info { Name: 'X' Type: 115 } ";
    data += i % 2 == 0 ? "Data { Index: 0 iValues: 100 } " : "Data { Index: 0 } ";
  }
  std::string tables = "tValues { " + infos + data + " } ";
  for (int i = 0; i < kMany; ++i)
    tables += "tValues { Info { Type: 105 } Data { Index: 0 iValues: 1 } } ";
  const OwnedTable table = Typed(1, WireReply({{"Name: 'Data' Type: 116", tables}}));
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), kMany + 1);
  EXPECT_EQ(Number(Child(table, 0, 0), 0, 0), 1.0);
  EXPECT_EQ(SetColumns(Child(table, kMany, 0), 0), "");
}

// ---- the same reply in both forms ----

TEST(TypedBothForms, SeriesGiveTheSameCells) {
  struct {
    int type;
    const char* id;
    std::string field;
    std::string series;
    const std::vector<std::string>* columns;
  } const kinds[] = {
      {1, "Id: 321 ", "RepDataDaDanShuJuShuChu", "Data", &kDaDanFields},
      {2, "Id: 296 ", "RepDataPcFenLeiChiCangLieBiao", "FenLeiChiCang", &kHoldingsFields},
  };
  for (const auto& kind : kinds) {
    // Two rows: column c holds 101 + c and 201 + c, in a scale that differs from column to column, the second
    // row below zero. The wire sends the columns in reverse.
    std::string rows[2];
    std::vector<Column> wire;
    for (size_t c = 0; c < kind.columns->size(); ++c) {
      const unsigned code = c % 2 == 0 ? 3 : 10;
      const std::string first = P(101 + c, code);
      const std::string second = P(201 + c, code, 1);
      rows[0] += (*kind.columns)[c] + ": " + first + " ";
      rows[1] += (*kind.columns)[c] + ": " + second + " ";
      wire.insert(wire.begin(), Ints((*kind.columns)[c], first + ", " + second));
    }
    const OwnedTable message =
        Typed(kind.type, kind.id + kind.field + " { Obj: 'SH600000' " + kind.series + " { " + rows[0] +
                             " } " + kind.series + " { " + rows[1] + " } }");
    const OwnedTable table =
        Typed(kind.type, WireReply({Texts("Obj", "'SH600000'"), Tables("Data", {WireTable(wire)})}));
    ASSERT_NE(message, nullptr);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(SpecOf(table.get()), SpecOf(message.get()));
    EXPECT_EQ(TextAt(table.get(), 0, 0), TextAt(message.get(), 0, 0));
    void* from_message = Child(message, 0, 1);
    void* from_wire = Child(table, 0, 1);
    EXPECT_EQ(SpecOf(from_wire), SpecOf(from_message));
    ASSERT_EQ(table_rows(from_message), 2);
    ASSERT_EQ(table_rows(from_wire), 2);
    for (int c = 0; c < table_cols(from_message); ++c) {
      const double divisor = c % 2 == 0 ? 1000 : 1;
      EXPECT_EQ(Number(from_message, 0, c), (101 + c) / divisor);
      EXPECT_EQ(Number(from_wire, 0, c), (101 + c) / divisor);
      EXPECT_EQ(Number(from_message, 1, c), -(201 + c) / divisor);
      EXPECT_EQ(Number(from_wire, 1, c), -(201 + c) / divisor);
    }
  }
}

TEST(TypedBothForms, NorthboundDiffersWhereLabelsAndSourcesDo) {
  std::vector<Column> wire;
  for (size_t c = 0; c < kNorthboundFields.size(); ++c)
    wire.push_back(Ints(kNorthboundFields[c], std::to_string(101 + c)));
  const OwnedTable message = Typed(3, Northbound(DistinctFields(kNorthboundFields)));
  const OwnedTable table =
      Typed(3, WireReply({Texts("Obj", "'SH600000'"), Tables("Data", {WireTable(wire)})}));
  void* from_message = Child(message, 0, 1);
  void* from_wire = Child(table, 0, 1);
  EXPECT_EQ(SpecOf(from_wire), SpecOf(from_message));
  for (const int c : {0, 1, 2, 3, 4, 5, 8, 9})
    EXPECT_EQ(Number(from_wire, 0, c), Number(from_message, 0, c)) << c;
  EXPECT_EQ(Number(from_message, 0, 6), 1.07);
  EXPECT_FALSE(table_is_set(from_wire, 0, 6));
  EXPECT_EQ(Number(from_message, 0, 7), 1.08);
  EXPECT_EQ(Number(from_wire, 0, 7), 1.07);
}

TEST(TypedBothForms, TokenGivesTheSameCells) {
  const OwnedTable message = Typed(5, "Id: 44 RepDataToken { Result: 7 Token: 'abc' Uid: 'u' Device: 'd' }");
  const OwnedTable table = Typed(5, NestedReply({Texts("Device", "'d'"), Ints("Result", P(7, 10)),
                                                 Texts("Token", "'abc'"), Texts("Uid", "'u'")}));
  ASSERT_NE(message, nullptr);
  ASSERT_NE(table, nullptr);
  for (void* cells : {message.get(), Child(table, 0, 0)}) {
    EXPECT_EQ(SpecOf(cells), "Result:i;Token:s;Uid:s;Device:s;");
    ASSERT_EQ(table_rows(cells), 1);
    EXPECT_EQ(table_get_int(cells, 0, 0), 7);
    EXPECT_EQ(TextAt(cells, 0, 1), "abc");
    EXPECT_EQ(TextAt(cells, 0, 2), "u");
    EXPECT_EQ(TextAt(cells, 0, 3), "d");
  }
}
