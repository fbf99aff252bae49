// Quotes: snapshots (Id 20), candlesticks (Id 21) and the opening auction (Id 27).
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tesparser/tesparser.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using test_replies::P;
using test_replies::Reply;

const char kSnapshotSpec[] =
    "Id:q;ShiJian:q;ZuiXinJia:d;KaiPanJia:d;ZuiGaoJia:d;ZuiDiJia:d;ZuoShou:d;JunJia:d;ZhangDie:d;ZhangFu:d;"
    "ZhenFu:d;"
    "ChengJiaoLiang:q;XianShou:q;ChengJiaoE:d;ZongChengJiaoBiShu:q;HuanShou:d;LiangBi:d;NeiPan:q;WaiPan:q;"
    "ChiCang:q;"
    "JieSuanJia:d;";

const char kBarSpec[] =
    "ShiJian:d;KaiPanJia:d;ZuiGaoJia:d;ZuiDiJia:d;ShouPanJia:d;ChengJiaoLiang:d;ChengJiaoE:d;ChengJiaoBiShu:"
    "d;"
    "ShangZhangJiaShu:q;XiaDieJiaShu:q;ChiCang:q;ZengCang:d;ZengLiang:d;JieSuanJia:d;";

const char kAuctionSpec[] =
    "obj:s;JingJiaWeiMaiRuChe:d;JingJiaWeiMaiChuChe:d;JingJiaHuanShou:d;JingJiaZhangSu:d;JingJiaMaiRuDanShu:"
    "d;"
    "JingJiaMaiChuDanShu:d;JingJiaDanShuChaZhi:d;JingJiaMaiRuE:d;JingJiaMaiChuE:d;JingJiaEChaZhi:d;";

OwnedTable TableOf(const std::string& reply) {
  return OwnedTable(TesparserPB2Table(Reply(reply)));
}

// The nested table of a row.
void* Nested(const OwnedTable& table, int row = 0) {
  return table_get_table(table.get(), row, 1);
}

double D(const void* table, int row, int col) {
  EXPECT_EQ(table_is_set(table, row, col), 1) << row << " " << col;
  return table_get_double(table, row, col);
}

long long Q(const void* table, int row, int col) {
  EXPECT_EQ(table_is_set(table, row, col), 1) << row << " " << col;
  return table_get_int64(table, row, col);
}

// ---- snapshots ------------------------------------------------------------------------------------------

// A reply of one instrument with these fields beside the required ones.
OwnedTable Snapshot(const std::string& fields) {
  return TableOf("Id: 20 RepDataQuoteDynaSingle { Obj: 'SH600000' Data { Id: 0 ShiJian: 0 " + fields +
                 " } }");
}

TEST(Snapshot, OuterTable) {
  const OwnedTable table = TableOf(
      "Id: 20 RepDataQuoteDynaSingle { Obj: 'SH600000' } RepDataQuoteDynaSingle { Obj: 'SZ000001' } "
      "RepDataQuoteDynaSingle { Obj: 'SH600000' }");
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;Data:t;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  EXPECT_EQ(TextAt(table.get(), 2, 0), "SH600000");
}

TEST(Snapshot, EveryColumnFromItsField) {
  // Plain mantissas have two decimals.
  const OwnedTable table = TableOf(
      "Id: 20 RepDataQuoteDynaSingle { Obj: 'SH600000' Data { Id: 100 ShiJian: 200 ZuiXinJia: 301 KaiPanJia: "
      "402 "
      "ZuiGaoJia: 503 ZuiDiJia: 604 ZuoShou: 705 JunJia: 806 ZhangDie: 907 ZhangFu: 1008 ZhenFu: 1109 "
      "ChengJiaoLiang: 1200 XianShou: 1300 ChengJiaoE: 1412 ZongChengJiaoBiShu: 1500 MeiBiChengJiaoGuShu: "
      "9900 "
      "HuanShou: 1614 LiangBi: 1715 NeiPan: 1800 WaiPan: 1900 ZongMaiRu: 9900 ChiCang: 2000 ZengCang: 9900 "
      "JieSuanJia: 2119 ZuoRiJieSuanJia: 9900 } }");
  void* data = Nested(table);
  EXPECT_EQ(SpecOf(data), kSnapshotSpec);
  EXPECT_STREQ(table_name(data), "");
  ASSERT_EQ(table_rows(data), 1);
  EXPECT_EQ(Q(data, 0, 0), 1);
  EXPECT_EQ(Q(data, 0, 1), 2);
  EXPECT_EQ(D(data, 0, 2), 3.01);
  EXPECT_EQ(D(data, 0, 3), 4.02);
  EXPECT_EQ(D(data, 0, 4), 5.03);
  EXPECT_EQ(D(data, 0, 5), 6.04);
  EXPECT_EQ(D(data, 0, 6), 7.05);
  EXPECT_EQ(D(data, 0, 7), 8.06);
  EXPECT_EQ(D(data, 0, 8), 9.07);
  EXPECT_EQ(D(data, 0, 9), 10.08);
  EXPECT_EQ(D(data, 0, 10), 11.09);
  EXPECT_EQ(Q(data, 0, 11), 12);
  EXPECT_EQ(Q(data, 0, 12), 13);
  EXPECT_EQ(D(data, 0, 13), 14.12);
  EXPECT_EQ(Q(data, 0, 14), 15);
  EXPECT_EQ(D(data, 0, 15), 16.14);
  EXPECT_EQ(D(data, 0, 16), 17.15);
  EXPECT_EQ(Q(data, 0, 17), 18);
  EXPECT_EQ(Q(data, 0, 18), 19);
  EXPECT_EQ(Q(data, 0, 19), 20);
  EXPECT_EQ(D(data, 0, 20), 21.19);
}

TEST(Snapshot, NoElementsGiveNull) {
  EXPECT_EQ(TableOf("Id: 20"), nullptr);
}

// As good as a snapshot of zeros, with or without one.
TEST(Snapshot, ObjAloneHasATableOfZeros) {
  const OwnedTable table = TableOf(
      "Id: 20 RepDataQuoteDynaSingle { Obj: 'SH600000' } RepDataQuoteDynaSingle { Obj: 'SH600001' Data { Id: "
      "0 ShiJian: 0 } }");
  for (const int row : {0, 1}) {
    void* data = Nested(table, row);
    ASSERT_EQ(table_rows(data), 1);
    for (const int col : {0, 1, 11, 12, 14, 17, 18, 19})
      EXPECT_EQ(Q(data, 0, col), 0) << col;
    for (const int col : {2, 3, 4, 5, 6, 7, 8, 9, 10, 13, 15, 16, 20})
      EXPECT_EQ(D(data, 0, col), 0.0) << col;
  }
}

TEST(Snapshot, EachFieldAloneFillsItsColumnAlone) {
  const char* fields[] = {
      "ZuiXinJia",          "KaiPanJia", "ZuiGaoJia", "ZuiDiJia",       "ZuoShou",  "JunJia",
      "ZhangDie",           "ZhangFu",   "ZhenFu",    "ChengJiaoLiang", "XianShou", "ChengJiaoE",
      "ZongChengJiaoBiShu", "HuanShou",  "LiangBi",   "NeiPan",         "WaiPan",   "ChiCang",
      "JieSuanJia"};
  int filled = 2;  // Id and ShiJian are required
  for (const char* field : fields) {
    const OwnedTable table = Snapshot(field + (": " + P(7'000'000'000, 10)));
    void* data = Nested(table);
    EXPECT_STREQ(table_col_name(data, filled), field);
    for (int col = 0; col < 21; ++col) {
      const double value =
          table_col_type(data, col) == 4 ? static_cast<double>(Q(data, 0, col)) : D(data, 0, col);
      EXPECT_EQ(value, col == filled ? 7e9 : 0.0) << field << " " << col;
    }
    ++filled;
  }
  EXPECT_EQ(filled, 21);
}

TEST(Snapshot, IdAndTimeAreDecodedLikeTheRest) {
  const OwnedTable table =
      TableOf("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' Data { Id: 12345 ShiJian: " + P(1700000000, 10) +
              " } } RepDataQuoteDynaSingle { Obj: 'B' Data { Id: " + P(12345, 10) + " ShiJian: 65535 } }");
  EXPECT_EQ(Q(Nested(table, 0), 0, 0), 123);  // 123.45
  EXPECT_EQ(Q(Nested(table, 0), 0, 1), 1700000000);
  EXPECT_EQ(Q(Nested(table, 1), 0, 0), 12345);
  EXPECT_EQ(Q(Nested(table, 1), 0, 1), 655);  // 655.35
}

TEST(Snapshot, NoValueShowsAsZero) {
  const OwnedTable table = Snapshot("ZuiXinJia: 131072 ChengJiaoLiang: 131072");
  EXPECT_EQ(D(Nested(table), 0, 2), 0.0);
  EXPECT_EQ(Q(Nested(table), 0, 11), 0);
}

TEST(Snapshot, SignNibbleNegates) {
  const OwnedTable table =
      Snapshot("ZuiXinJia: " + P(1234, 0, 1) + " ZhangDie: " + P(5, 0, 15) + " ChiCang: " + P(290, 0, 1));
  EXPECT_EQ(D(Nested(table), 0, 2), -12.34);
  EXPECT_EQ(D(Nested(table), 0, 8), -0.05);
  EXPECT_EQ(Q(Nested(table), 0, 19), -2);  // -2.9
}

TEST(Snapshot, IntegerColumnsTruncate) {
  const OwnedTable table = Snapshot("ChengJiaoLiang: 250 XianShou: 299 NeiPan: 99");
  EXPECT_EQ(Q(Nested(table), 0, 11), 2);
  EXPECT_EQ(Q(Nested(table), 0, 12), 2);
  EXPECT_EQ(Q(Nested(table), 0, 17), 0);
}

TEST(Snapshot, NegativeWordsAndUnknownScalesAreZero) {
  const OwnedTable table =
      Snapshot("ZuiXinJia: -1234 ChengJiaoLiang: -1 ZuiGaoJia: " + P(5, 11) + " NeiPan: " + P(5, 15));
  EXPECT_EQ(D(Nested(table), 0, 2), 0.0);
  EXPECT_EQ(Q(Nested(table), 0, 11), 0);
  EXPECT_EQ(D(Nested(table), 0, 4), 0.0);
  EXPECT_EQ(Q(Nested(table), 0, 17), 0);
}

TEST(Snapshot, VolumesBeyond32Bits) {
  const OwnedTable table =
      Snapshot("ChengJiaoLiang: " + P(123456789012, 10) + " ChengJiaoE: " + P(123456789012345));
  EXPECT_EQ(Q(Nested(table), 0, 11), 123456789012);
  EXPECT_EQ(D(Nested(table), 0, 13), 1234567890123.45);
}

TEST(Snapshot, ObjIsTranscoded) {
  const OwnedTable table =
      TableOf("Id: 20 RepDataQuoteDynaSingle { Obj: '中国A' } RepDataQuoteDynaSingle { Obj: 'a\\000b' }");
  EXPECT_EQ(TextAt(table.get(), 0, 0),
            "\xD6\xD0\xB9\xFA"
            "A");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "a");
}

// ---- candlesticks ---------------------------------------------------------------------------------------

OwnedTable Bars(const std::string& bars) {
  return TableOf("Id: 21 RepDataQuoteKlineSingle { Obj: 'SH600000' " + bars + " }");
}

TEST(Candlesticks, EveryColumnFromItsField) {
  const OwnedTable table = Bars(
      "Data { ShiJian: 101 KaiPanJia: 202 ZuiGaoJia: 303 ZuiDiJia: 404 ShouPanJia: 505 ChengJiaoLiang: 606 "
      "ChengJiaoE: 707 "
      "ChengJiaoBiShu: 808 ShangZhangJiaShu: 900 XiaDieJiaShu: 1000 ChiCang: 1100 ZengCang: 1212 ZengLiang: "
      "1313 "
      "JieSuanJia: 1414 Id: 9900 LiuRuE: 9900 LiuChuE: 9900 PanHouChengJiaoLiang: 9900 PanHouChengJiaoE: "
      "9900 "
      "PanHouChengJiaoBiShu: 9900 }");
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;Data:t;");
  EXPECT_STREQ(table_name(table.get()), "");
  void* data = Nested(table);
  EXPECT_EQ(SpecOf(data), kBarSpec);
  EXPECT_STREQ(table_name(data), "");
  ASSERT_EQ(table_rows(data), 1);
  EXPECT_EQ(D(data, 0, 0), 1.01);
  EXPECT_EQ(D(data, 0, 1), 2.02);
  EXPECT_EQ(D(data, 0, 2), 3.03);
  EXPECT_EQ(D(data, 0, 3), 4.04);
  EXPECT_EQ(D(data, 0, 4), 5.05);
  EXPECT_EQ(D(data, 0, 5), 6.06);
  EXPECT_EQ(D(data, 0, 6), 7.07);
  EXPECT_EQ(D(data, 0, 7), 8.08);
  EXPECT_EQ(Q(data, 0, 8), 9);
  EXPECT_EQ(Q(data, 0, 9), 10);
  EXPECT_EQ(Q(data, 0, 10), 11);
  EXPECT_EQ(D(data, 0, 11), 12.12);
  EXPECT_EQ(D(data, 0, 12), 13.13);
  EXPECT_EQ(D(data, 0, 13), 14.14);
}

TEST(Candlesticks, RowsInWireOrder) {
  const OwnedTable table = TableOf(
      "Id: 21 RepDataQuoteKlineSingle { Obj: '中' Data { ShiJian: 300 } Data { ShiJian: 100 } Data { "
      "ShiJian: 300 } } "
      "RepDataQuoteKlineSingle { Obj: 'SZ000001' Data { ShiJian: 400 } }");
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "\xD6\xD0");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  ASSERT_EQ(table_rows(Nested(table, 0)), 3);
  EXPECT_EQ(D(Nested(table, 0), 0, 0), 3.0);
  EXPECT_EQ(D(Nested(table, 0), 1, 0), 1.0);
  EXPECT_EQ(D(Nested(table, 0), 2, 0), 3.0);
  ASSERT_EQ(table_rows(Nested(table, 1)), 1);
  EXPECT_EQ(D(Nested(table, 1), 0, 0), 4.0);
}

TEST(Candlesticks, NoElementsGiveNull) {
  EXPECT_EQ(TableOf("Id: 21"), nullptr);
}

TEST(Candlesticks, InstrumentWithoutBarsKeepsItsRow) {
  const OwnedTable table = TableOf(
      "Id: 21 RepDataQuoteKlineSingle { Obj: 'A' Data { ShiJian: 1 } } RepDataQuoteKlineSingle { Obj: 'B' } "
      "RepDataQuoteKlineSingle { Obj: 'C' Data { ShiJian: 1 } }");
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1");
  EXPECT_EQ(SetColumns(table.get(), 1), "0");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "B");
  EXPECT_EQ(SetColumns(table.get(), 2), "0 1");
}

TEST(Candlesticks, AllWithoutBarsIsATableAllTheSame) {
  const OwnedTable table =
      TableOf("Id: 21 RepDataQuoteKlineSingle { Obj: 'A' } RepDataQuoteKlineSingle { Obj: 'B' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(SetColumns(table.get(), 0), "0");
  EXPECT_EQ(SetColumns(table.get(), 1), "0");
}

TEST(Candlesticks, VolumeKeepsItsFractionAndHoldingsLoseIt) {
  const OwnedTable table =
      Bars("Data { ShiJian: 250 ChengJiaoLiang: 250 ChiCang: 299 ShangZhangJiaShu: 199 XiaDieJiaShu: " +
           P(199, 0, 1) + " }");
  EXPECT_EQ(D(Nested(table), 0, 0), 2.5);
  EXPECT_EQ(D(Nested(table), 0, 5), 2.5);
  EXPECT_EQ(Q(Nested(table), 0, 10), 2);
  EXPECT_EQ(Q(Nested(table), 0, 8), 1);
  EXPECT_EQ(Q(Nested(table), 0, 9), -1);
}

TEST(Candlesticks, TimeAloneHasZerosBesideIt) {
  const OwnedTable table = Bars("Data { ShiJian: " + P(1700000000, 10) + " }");
  void* data = Nested(table);
  EXPECT_EQ(D(data, 0, 0), 1700000000.0);
  for (const int col : {1, 2, 3, 4, 5, 6, 7, 11, 12, 13})
    EXPECT_EQ(D(data, 0, col), 0.0) << col;
  for (const int col : {8, 9, 10})
    EXPECT_EQ(Q(data, 0, col), 0) << col;
}

TEST(Candlesticks, EachFieldAloneFillsItsColumnAlone) {
  const char* fields[] = {"KaiPanJia",      "ZuiGaoJia",  "ZuiDiJia",       "ShouPanJia",
                          "ChengJiaoLiang", "ChengJiaoE", "ChengJiaoBiShu", "ShangZhangJiaShu",
                          "XiaDieJiaShu",   "ChiCang",    "ZengCang",       "ZengLiang",
                          "JieSuanJia"};
  int filled = 1;  // ShiJian is required
  for (const char* field : fields) {
    const OwnedTable table = Bars("Data { ShiJian: 0 " + (field + (": " + P(7'000'000'000, 10))) + " }");
    void* data = Nested(table);
    EXPECT_STREQ(table_col_name(data, filled), field);
    for (int col = 0; col < 14; ++col) {
      const double value =
          table_col_type(data, col) == 4 ? static_cast<double>(Q(data, 0, col)) : D(data, 0, col);
      EXPECT_EQ(value, col == filled ? 7e9 : 0.0) << field << " " << col;
    }
    ++filled;
  }
  EXPECT_EQ(filled, 14);
}

TEST(Candlesticks, NoNumberShowsAsZero) {
  const OwnedTable table =
      Bars("Data { ShiJian: -5 KaiPanJia: 131072 ZuiGaoJia: " + P(5, 12) + " ZuiDiJia: " + P(1234, 0, 1) +
           " ShouPanJia: " + P(0, 0, 1) + " ChiCang: 131072 XiaDieJiaShu: -1 }");
  void* data = Nested(table);
  EXPECT_EQ(D(data, 0, 0), 0.0);
  EXPECT_EQ(D(data, 0, 1), 0.0);
  EXPECT_EQ(D(data, 0, 2), 0.0);
  EXPECT_EQ(D(data, 0, 3), -12.34);
  EXPECT_TRUE(std::signbit(D(data, 0, 4)));
  EXPECT_EQ(Q(data, 0, 10), 0);
  EXPECT_EQ(Q(data, 0, 9), 0);
}

TEST(Candlesticks, ManyBars) {
  std::string bars;
  for (int i = 0; i < 1000; ++i)
    bars += "Data { ShiJian: " + P(static_cast<uint64_t>(i), 10) +
            " ChiCang: " + P(static_cast<uint64_t>(1000 - i), 10) + " } ";
  const OwnedTable table = Bars(bars);
  ASSERT_EQ(table_rows(Nested(table)), 1000);
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(D(Nested(table), i, 0), i);
    ASSERT_EQ(Q(Nested(table), i, 10), 1000 - i);
  }
}

// ---- the opening auction --------------------------------------------------------------------------------

TEST(OpeningAuction, EveryColumnFromItsField) {
  const OwnedTable table = TableOf(
      "Id: 27 RepDataStkData { Obj: '平安' ZuiXinJia: 9900 JingJiaWeiMaiRuChe: 101 JingJiaWeiMaiChuChe: 202 "
      "JingJiaHuanShou: 303 "
      "JingJiaZhangSu: 404 JingJiaMaiRuDanShu: 505 JingJiaMaiChuDanShu: 606 JingJiaDanShuChaZhi: 707 "
      "JingJiaMaiRuE: 808 "
      "JingJiaMaiChuE: 909 JingJiaEChaZhi: 1010 } RepDataStkData { Obj: 'SZ000001' }");
  EXPECT_EQ(SpecOf(table.get()), kAuctionSpec);
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "\xC6\xBD\xB0\xB2");
  EXPECT_EQ(D(table.get(), 0, 1), 1.01);
  EXPECT_EQ(D(table.get(), 0, 2), 2.02);
  EXPECT_EQ(D(table.get(), 0, 3), 3.03);
  EXPECT_EQ(D(table.get(), 0, 4), 4.04);
  EXPECT_EQ(D(table.get(), 0, 5), 5.05);
  EXPECT_EQ(D(table.get(), 0, 6), 6.06);
  EXPECT_EQ(D(table.get(), 0, 7), 7.07);
  EXPECT_EQ(D(table.get(), 0, 8), 8.08);
  EXPECT_EQ(D(table.get(), 0, 9), 9.09);
  EXPECT_EQ(D(table.get(), 0, 10), 10.1);
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
}

TEST(OpeningAuction, NoElementsGiveNull) {
  EXPECT_EQ(TableOf("Id: 27"), nullptr);
}

TEST(OpeningAuction, ObjAloneHasZeros) {
  const OwnedTable table = TableOf("Id: 27 RepDataStkData { Obj: 'SH600000' }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  for (int col = 1; col <= 10; ++col)
    EXPECT_EQ(D(table.get(), 0, col), 0.0) << col;
}

TEST(OpeningAuction, OtherFieldsAreNotShown) {
  const OwnedTable table =
      TableOf("Id: 27 RepDataStkData { Obj: 'SH600000' ZuiXinJia: 1234 ZhangFu: 500 HuanShou: 600 }");
  EXPECT_EQ(table_cols(table.get()), 11);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  for (int col = 1; col <= 10; ++col)
    EXPECT_EQ(D(table.get(), 0, col), 0.0) << col;
}

TEST(OpeningAuction, NoNumberShowsAsZero) {
  const OwnedTable table =
      TableOf("Id: 27 RepDataStkData { Obj: 'A' JingJiaHuanShou: 131072 JingJiaZhangSu: -1 JingJiaMaiRuE: " +
              P(7, 13) + " JingJiaEChaZhi: " + P(250, 0, 1) + " JingJiaMaiChuE: " + P(0, 0, 1) + " }");
  EXPECT_EQ(D(table.get(), 0, 3), 0.0);
  EXPECT_EQ(D(table.get(), 0, 4), 0.0);
  EXPECT_EQ(D(table.get(), 0, 8), 0.0);
  EXPECT_EQ(D(table.get(), 0, 10), -2.5);
  EXPECT_TRUE(std::signbit(D(table.get(), 0, 9)));
}

TEST(OpeningAuction, EachFieldAloneFillsItsColumnAlone) {
  const char* fields[] = {
      "JingJiaWeiMaiRuChe",  "JingJiaWeiMaiChuChe", "JingJiaHuanShou", "JingJiaZhangSu", "JingJiaMaiRuDanShu",
      "JingJiaMaiChuDanShu", "JingJiaDanShuChaZhi", "JingJiaMaiRuE",   "JingJiaMaiChuE", "JingJiaEChaZhi"};
  int filled = 1;
  for (const char* field : fields) {
    const OwnedTable table =
        TableOf("Id: 27 RepDataStkData { Obj: 'A' " + (field + (": " + P(7'000'000'000, 10))) + " }");
    EXPECT_STREQ(table_col_name(table.get(), filled), field);
    for (int col = 1; col <= 10; ++col)
      EXPECT_EQ(D(table.get(), 0, col), col == filled ? 7e9 : 0.0) << field << " " << col;
    ++filled;
  }
  EXPECT_EQ(filled, 11);
}

}  // namespace
