// Large orders: Ids 321 and 392 through the shared library.
#include <gtest/gtest.h>

#include <string>

#include "tesparser/tesparser.h"
#include "tests/support/packed_columns.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using packed_columns::AllFields;
using packed_columns::Columns;
using packed_columns::OneRow;
using test_replies::P;
using test_replies::Packed;

OwnedTable Convert(const std::string& reply) {
  return OwnedTable(TesparserPB2Table(test_replies::Reply(reply)));
}

const char kSpec[] =
    "ShiJian:d;WeiTuoMaiRuDanShu:d;WeiTuoMaiRuDaDanShu:d;WeiTuoMaiRuDaDanBiLi:d;WeiTuoMaiChuDanShu:d;"
    "WeiTuoMaiChuDaDanShu:d;WeiTuoMaiChuDaDanBiLi:d;ZongChengJiaoLiang:d;ZongChengJiaoE:d;DaDanMaiRuE:d;"
    "DaDanMaiChuE:d;ZiJinLiuRuE:d;ZiJinLiuRuE5:d;ZiJinLiuRuE10:d;ZiJinLiuRuEBiLi:d;ZiJinLiuRuEBiLi5:d;"
    "ZiJinLiuRuEBiLi10:d;DanShuCha:d;DanShuCha5:d;DanShuCha10:d;DanShuChaBiLi:d;DanShuChaBiLi5:d;"
    "DanShuChaBiLi10:d;ZiJinLiuRuE15:d;ZiJinLiuRuE30:d;ZiJinLiuRuE60:d;ZiJinLiuRuEBiLi15:d;"
    "ZiJinLiuRuEBiLi30:d;ZiJinLiuRuEBiLi60:d;DanShuCha15:d;DanShuCha30:d;DanShuCha60:d;DanShuChaBiLi15:d;"
    "DanShuChaBiLi30:d;DanShuChaBiLi60:d;ZhongWenJianCheng:s;ZuiXinJia:d;ZhangFu:d;DaDanDanShuCha:d;"
    "DaDanDanShuCha5:d;";

// All columns that are written: 35, 36 and 37 are not.
const Columns& Written() {
  static const Columns columns = {
      {0, "ShiJian", 'd', Packed(1704164400, 10), 1704164400.0},
      {1, "WeiTuoMaiRuDanShu", 'd', Packed(5123, 10), 5123.0},
      {2, "WeiTuoMaiRuDaDanShu", 'd', Packed(812, 10), 812.0},
      {3, "WeiTuoMaiRuDaDanBiLi", 'd', Packed(1585, 4), 0.1585},
      {4, "WeiTuoMaiChuDanShu", 'd', Packed(4890, 10), 4890.0},
      {5, "WeiTuoMaiChuDaDanShu", 'd', Packed(765, 10), 765.0},
      {6, "WeiTuoMaiChuDaDanBiLi", 'd', Packed(1564, 4), 0.1564},
      {7, "ZongChengJiaoLiang", 'd', Packed(2345678, 10), 2345678.0},
      {8, "ZongChengJiaoE", 'd', Packed(1876542399, 0), 18765423.99},
      {9, "DaDanMaiRuE", 'd', Packed(654321, 1), 65432.1},
      {10, "DaDanMaiChuE", 'd', Packed(543219, 1), 54321.9},
      {11, "ZiJinLiuRuE", 'd', Packed(1111, 0), 11.11},
      {12, "ZiJinLiuRuE5", 'd', Packed(1205, 0), 12.05},
      {13, "ZiJinLiuRuE10", 'd', Packed(1310, 0, 1), -13.1},
      {14, "ZiJinLiuRuEBiLi", 'd', Packed(14, 3), 0.014},
      {15, "ZiJinLiuRuEBiLi5", 'd', Packed(155, 3), 0.155},
      {16, "ZiJinLiuRuEBiLi10", 'd', Packed(1610, 5, 15), -0.0161},
      {17, "DanShuCha", 'd', Packed(17, 10), 17.0},
      {18, "DanShuCha5", 'd', Packed(185, 10), 185.0},
      {19, "DanShuCha10", 'd', Packed(1910, 10, 1), -1910.0},
      {20, "DanShuChaBiLi", 'd', Packed(20, 6), 0.00002},
      {21, "DanShuChaBiLi5", 'd', Packed(215, 7), 0.0000215},
      {22, "DanShuChaBiLi10", 'd', Packed(2210, 8), 0.0000221},
      {23, "ZiJinLiuRuE15", 'd', Packed(2315, 0), 23.15},
      {24, "ZiJinLiuRuE30", 'd', Packed(2430, 0), 24.3},
      {25, "ZiJinLiuRuE60", 'd', Packed(2560, 0), 25.6},
      {26, "ZiJinLiuRuEBiLi15", 'd', Packed(2615, 9), 0.000002615},
      {27, "ZiJinLiuRuEBiLi30", 'd', Packed(2730, 4), 0.273},
      {28, "ZiJinLiuRuEBiLi60", 'd', Packed(2860, 4), 0.286},
      {29, "DanShuCha15", 'd', Packed(2915, 10), 2915.0},
      {30, "DanShuCha30", 'd', Packed(3030, 10), 3030.0},
      {31, "DanShuCha60", 'd', Packed(3160, 10), 3160.0},
      {32, "DanShuChaBiLi15", 'd', Packed(3215, 4), 0.3215},
      {33, "DanShuChaBiLi30", 'd', Packed(3330, 4), 0.333},
      {34, "DanShuChaBiLi60", 'd', Packed(3460, 4), 0.346},
      {38, "DaDanDanShuCha", 'd', Packed(3838, 10), 3838.0},
      {39, "DaDanDanShuCha5", 'd', Packed(3939, 10), 3939.0},
  };
  return columns;
}

const char kWrittenColumns[] =
    "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 30 31 32 33 34 38 39";

OneRow SampleRow(const std::string& fields) {
  OneRow row;
  row.owner = Convert("Id: 321 RepDataDaDanShuJuShuChu { Obj: 'SH600000' Data { " + fields + " } }");
  row.table = table_get_table(row.owner.get(), 0, 1);
  return row;
}

TEST(LargeOrders, EveryColumn) {
  const OneRow row = SampleRow(AllFields(Written()));
  EXPECT_EQ(SpecOf(row.owner.get()), "Obj:s;Data:t;");
  EXPECT_EQ(table_rows(row.owner.get()), 1);
  EXPECT_STREQ(table_name(row.owner.get()), "");
  EXPECT_EQ(SpecOf(row.table), kSpec);
  EXPECT_EQ(table_cols(row.table), 40);
  EXPECT_EQ(table_rows(row.table), 1);
  EXPECT_STREQ(table_name(row.table), "");
  packed_columns::ExpectNames(Written(), row.table);
  packed_columns::ExpectAllShown(Written(), row.table, 0);
  EXPECT_EQ(SetColumns(row.table, 0), kWrittenColumns);
}

TEST(LargeOrders, EachFieldAloneFillsItsOwnColumn) {
  packed_columns::ExpectEachFieldAlone(Written(), SampleRow);
}

TEST(LargeOrders, WhatIsNoNumberIsZero) {
  packed_columns::ExpectNoNumberIsZero(Written(), SampleRow);
}

TEST(LargeOrders, SignNibble) {
  packed_columns::ExpectSignNibble(Written(), SampleRow);
}

TEST(LargeOrders, FractionsAreKept) {
  packed_columns::ExpectFractions(Written(), SampleRow);
}

TEST(LargeOrders, SampleWithoutAnyFieldIsZeroInAllWrittenColumns) {
  const OneRow row = SampleRow("");
  ASSERT_EQ(table_rows(row.table), 1);
  EXPECT_EQ(SetColumns(row.table, 0), kWrittenColumns);
  for (const packed_columns::Column& column : Written())
    EXPECT_EQ(table_get_double(row.table, 0, column.col), 0.0) << column.field;
}

TEST(LargeOrders, NameAndPriceStayUnsetEvenWhenTheyArrive) {
  const OneRow row = SampleRow("ZhongWenJianCheng: '浦发银行' ZuiXinJia: " + P(1234) + " ZhangFu: " + P(150));
  EXPECT_EQ(SetColumns(row.table, 0), kWrittenColumns);
  EXPECT_EQ(TextAt(row.table, 0, 35), "(unset)");
  EXPECT_EQ(table_get_double(row.table, 0, 36), 0.0);
  EXPECT_EQ(table_get_double(row.table, 0, 37), 0.0);
  EXPECT_STREQ(table_col_name(row.table, 35), "ZhongWenJianCheng");
  EXPECT_STREQ(table_col_name(row.table, 36), "ZuiXinJia");
  EXPECT_STREQ(table_col_name(row.table, 37), "ZhangFu");
}

TEST(LargeOrders, CountDifferencesLandBehindTheGap) {
  const OneRow row = SampleRow("DaDanDanShuCha: " + P(381, 10) + " DaDanDanShuCha5: " + P(395, 10));
  EXPECT_EQ(table_get_double(row.table, 0, 38), 381.0);
  EXPECT_EQ(table_get_double(row.table, 0, 39), 395.0);
  EXPECT_EQ(table_is_set(row.table, 0, 35), 0);
  EXPECT_EQ(table_is_set(row.table, 0, 36), 0);
}

TEST(LargeOrders, TimeOfCode2IsZeroAndOfCode10ItsMantissaAsADouble) {
  const OneRow none = SampleRow("ShiJian: " + P(93015, 2));
  EXPECT_EQ(table_is_set(none.table, 0, 0), 1);
  EXPECT_EQ(table_get_double(none.table, 0, 0), 0.0);
  EXPECT_EQ(table_get_double(SampleRow("ShiJian: 131072").table, 0, 0), 0.0);
  EXPECT_EQ(table_get_double(SampleRow("ShiJian: " + P(93015, 10)).table, 0, 0), 93015.0);
}

TEST(LargeOrders, EmptyReplyIsNull) {
  EXPECT_EQ(Convert("Id: 321"), nullptr);
  EXPECT_EQ(Convert("Id: 321 RepDataDaDanOrderResult { Index: 1 }"), nullptr);
}

// Unlike in Ids 271 and 272, where the cell holds no table.
TEST(LargeOrders, ObjectWithoutSamplesGetsATableWithoutRows) {
  const OwnedTable table = Convert(
      "Id: 321 RepDataDaDanShuJuShuChu { Obj: 'SH600000' }"
      "RepDataDaDanShuJuShuChu { Obj: 'SZ000001' Data { } }");
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  void* empty = table_get_table(table.get(), 0, 1);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(table_rows(empty), 0);
  EXPECT_EQ(table_cols(empty), 40);
  EXPECT_EQ(SpecOf(empty), kSpec);
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  EXPECT_EQ(table_rows(table_get_table(table.get(), 1, 1)), 1);
}

TEST(LargeOrders, ManyObjectsAndSamplesInWireOrder) {
  std::string reply = "Id: 321 ";
  for (int i = 0; i < 20; ++i) {
    reply += "RepDataDaDanShuJuShuChu { Obj: 'SZ" + std::to_string(300 - i) + "' ";
    for (int j = 0; j < 2 * i; ++j) {
      reply += "Data { ShiJian: " + P(static_cast<uint64_t>(93000 - j), 10) +
               " DaDanDanShuCha5: " + P(static_cast<uint64_t>(100 * i + j), 10) + " } ";
    }
    reply += "} ";
  }
  const OwnedTable table = Convert(reply);
  ASSERT_EQ(table_rows(table.get()), 20);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(TextAt(table.get(), i, 0), "SZ" + std::to_string(300 - i));
    const void* series = table_get_table(table.get(), i, 1);
    ASSERT_EQ(table_rows(series), 2 * i);
    for (int j = 0; j < 2 * i; ++j) {
      EXPECT_EQ(table_get_double(series, j, 0), 93000.0 - j);
      EXPECT_EQ(table_get_double(series, j, 39), 100.0 * i + j);
    }
  }
}

TEST(LargeOrders, CodeIsTranscodedAndCutAtItsFirstZeroByte) {
  const OwnedTable table = Convert(
      "Id: 321 RepDataDaDanShuJuShuChu { Obj: '招商银行' }"
      "RepDataDaDanShuJuShuChu { Obj: 'SH600036\\000tail' }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "\xD5\xD0\xC9\xCC\xD2\xF8\xD0\xD0");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SH600036");
}

TEST(LargeOrders, ObjectWithoutCodeIsNoReply) {
  EXPECT_EQ(Convert("Id: 321 RepDataDaDanShuJuShuChu { Data { ShiJian: 1 } }"), nullptr);
}

// ---- Id 392: answer to an order ----

TEST(LargeOrderResult, IndexAsItStands) {
  const OwnedTable table = Convert(
      "Id: 392 RepDataDaDanOrderResult { Index: 1234 } RepDataDaDanOrderResult { Index: -1 }"
      "RepDataDaDanOrderResult { Index: 131072 } RepDataDaDanOrderResult { Index: 2147483647 }"
      "RepDataDaDanOrderResult { Index: -2147483648 } RepDataDaDanOrderResult { Index: 0 }");
  EXPECT_EQ(SpecOf(table.get()), "Index:i;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 6);
  EXPECT_EQ(table_get_int(table.get(), 0, 0), 1234);
  EXPECT_EQ(table_get_int(table.get(), 1, 0), -1);
  EXPECT_EQ(table_get_int(table.get(), 2, 0), 131072);
  EXPECT_EQ(table_get_int(table.get(), 3, 0), 2147483647);
  EXPECT_EQ(table_get_int(table.get(), 4, 0), INT32_MIN);
  EXPECT_EQ(table_get_int(table.get(), 5, 0), 0);
}

TEST(LargeOrderResult, AbsentIndexIsASetZero) {
  const OwnedTable table = Convert("Id: 392 RepDataDaDanOrderResult { }");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(table_is_set(table.get(), 0, 0), 1);
  EXPECT_EQ(table_get_int(table.get(), 0, 0), 0);
}

TEST(LargeOrderResult, EmptyReplyIsNull) {
  EXPECT_EQ(Convert("Id: 392"), nullptr);
  EXPECT_EQ(Convert("Id: 392 RepDataDaDanShuJuShuChu { Obj: 'SH600000' }"), nullptr);
}

TEST(LargeOrderResult, ManyAnswersInWireOrder) {
  std::string reply = "Id: 392 ";
  for (int i = 0; i < 500; ++i)
    reply += "RepDataDaDanOrderResult { Index: " + std::to_string(1000 - 3 * i) + " } ";
  const OwnedTable table = Convert(reply);
  ASSERT_EQ(table_rows(table.get()), 500);
  for (int i = 0; i < 500; ++i)
    EXPECT_EQ(table_get_int(table.get(), i, 0), 1000 - 3 * i);
}

}  // namespace
