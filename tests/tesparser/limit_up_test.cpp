// Limit-up analysis: Ids 271, 272 and 273 through the shared library.
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

// ShiJian is required in all three messages: a sample that is about another field carries 0 there.
std::string WithTime(const std::string& fields) {
  return fields.rfind("ShiJian:", 0) == 0 ? fields : "ShiJian: 0 " + fields;
}

// ---- Id 272: seal strength ----

const Columns& SealColumns() {
  static const Columns columns = {
      {0, "ShiJian", 'q', Packed(1704164400, 10), 1704164400},
      {1, "ZhangTingChengJiaoLiang", 'd', Packed(1234567, 0), 12345.67},
      {2, "ZhangTingFengDanLiang", 'd', Packed(765432, 1), 76543.2},
      {3, "LiuTongPan", 'd', Packed(29352080397, 10), 29352080397.0},
      {4, "FengBanQiangDu", 'd', Packed(87654, 3), 87.654},
      {5, "ZhangTingHuanShou", 'd', Packed(123, 4), 0.0123},
      {6, "ZhangTingShiJian", 'q', Packed(93015, 10), 93015},
      {7, "ZhangTingLianBanTianShu", 'q', Packed(399, 0), 3},
      {8, "ZhangTingTongJiTianShu", 'q', Packed(59, 1), 5},
      {9, "ZhangTingDaKaiCiShu", 'q', Packed(7999, 3), 7},
      {10, "GuXing", 'd', Packed(6180, 3), 6.18},
      {11, "HuoYueDu", 'd', Packed(454545, 5), 4.54545},
      {12, "ZhangTingShiChang", 'd', Packed(23001, 1), 2300.1},
  };
  return columns;
}

OneRow SealRow(const std::string& fields) {
  OneRow row;
  row.owner =
      Convert("Id: 272 RepDataGeGuFengBanFanHuiShuJu { Obj: 'SH600000' Data { " + WithTime(fields) + " } }");
  row.table = table_get_table(row.owner.get(), 0, 1);
  return row;
}

TEST(SealStrength, EveryColumn) {
  const OneRow row = SealRow(AllFields(SealColumns()));
  EXPECT_EQ(SpecOf(row.owner.get()), "Obj:s;Data:t;");
  EXPECT_EQ(SpecOf(row.table),
            "ShiJian:q;ZhangTingChengJiaoLiang:d;ZhangTingFengDanLiang:d;LiuTongPan:d;FengBanQiangDu:d;"
            "ZhangTingHuanShou:d;ZhangTingShiJian:q;ZhangTingLianBanTianShu:q;ZhangTingTongJiTianShu:q;"
            "ZhangTingDaKaiCiShu:q;GuXing:d;HuoYueDu:d;ZhangTingShiChang:d;");
  packed_columns::ExpectNames(SealColumns(), row.table);
  packed_columns::ExpectAllShown(SealColumns(), row.table, 0);
  EXPECT_EQ(table_rows(row.owner.get()), 1);
  EXPECT_EQ(table_rows(row.table), 1);
  EXPECT_STREQ(table_name(row.owner.get()), "");
  EXPECT_STREQ(table_name(row.table), "");
}

TEST(SealStrength, EachFieldAloneFillsItsOwnColumn) {
  packed_columns::ExpectEachFieldAlone(SealColumns(), SealRow);
}

TEST(SealStrength, WhatIsNoNumberIsZero) {
  packed_columns::ExpectNoNumberIsZero(SealColumns(), SealRow);
}

TEST(SealStrength, SignNibble) {
  packed_columns::ExpectSignNibble(SealColumns(), SealRow);
}

TEST(SealStrength, FractionsAreKeptInDoublesAndCutInIntegers) {
  packed_columns::ExpectFractions(SealColumns(), SealRow);
}

TEST(SealStrength, TimeOfCode10IsItsMantissaAndOfCode0ItsHundredthTruncated) {
  EXPECT_EQ(table_get_int64(SealRow("ShiJian: " + P(199, 10)).table, 0, 0), 199);
  EXPECT_EQ(table_get_int64(SealRow("ShiJian: " + P(199, 0)).table, 0, 0), 1);
}

TEST(SealStrength, ScaleCode2IsZeroWhateverItsMantissa) {
  const OneRow row = SealRow("ShiJian: " + P(77, 2) + " LiuTongPan: " + P(123456789, 2) +
                             " ZhangTingShiJian: 131072 GuXing: 131072");
  EXPECT_EQ(table_get_int64(row.table, 0, 0), 0);
  EXPECT_EQ(table_get_double(row.table, 0, 3), 0.0);
  EXPECT_EQ(table_get_int64(row.table, 0, 6), 0);
  EXPECT_EQ(table_get_double(row.table, 0, 10), 0.0);
  EXPECT_EQ(SetColumns(row.table, 0), "0 1 2 3 4 5 6 7 8 9 10 11 12");
}

TEST(SealStrength, OnlyTheSignNibbleGivesANegativeNumberAndItIsCutTowardZero) {
  const OneRow row = SealRow("ShiJian: -1 ZhangTingChengJiaoLiang: -1500 ZhangTingShiJian: " + P(150, 0, 1) +
                             " GuXing: " + P(150, 0, 1));
  EXPECT_EQ(table_get_int64(row.table, 0, 0), 0);
  EXPECT_EQ(table_get_double(row.table, 0, 1), 0.0);
  EXPECT_EQ(table_get_int64(row.table, 0, 6), -1);
  EXPECT_EQ(table_get_double(row.table, 0, 10), -1.5);
}

// An integer column has 64 bits: times in milliseconds do not fit 32.
TEST(SealStrength, IntegersAreWide) {
  const OneRow row =
      SealRow("ShiJian: " + P(1704164400123, 10) + " ZhangTingDaKaiCiShu: " + P((uint64_t{1} << 53), 10, 1));
  EXPECT_EQ(table_get_int64(row.table, 0, 0), 1704164400123);
  EXPECT_EQ(table_get_int64(row.table, 0, 9), -9007199254740992);
}

TEST(SealStrength, EmptyReplyIsNull) {
  EXPECT_EQ(Convert("Id: 272"), nullptr);
  EXPECT_EQ(Convert("Id: 272 RepDataShiChangZhangDieFanHuiShuJu { Obj: 'SH000001' }"), nullptr);
}

TEST(SealStrength, StockWithoutSamplesKeepsItsCodeAndMarksTheCellEmpty) {
  const OwnedTable table = Convert(
      "Id: 272 RepDataGeGuFengBanFanHuiShuJu { Obj: 'SH600000' }"
      "RepDataGeGuFengBanFanHuiShuJu { Obj: 'SZ000001' Data { ShiJian: 0 } }");
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  EXPECT_EQ(table_is_set(table.get(), 0, 1), 1);
  EXPECT_EQ(table_get_table(table.get(), 0, 1), nullptr);
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  ASSERT_NE(table_get_table(table.get(), 1, 1), nullptr);
  EXPECT_EQ(table_rows(table_get_table(table.get(), 1, 1)), 1);
}

TEST(SealStrength, ManyStocksAndSamplesInWireOrder) {
  std::string reply = "Id: 272 ";
  for (int i = 0; i < 40; ++i) {
    reply += "RepDataGeGuFengBanFanHuiShuJu { Obj: 'SH" + std::to_string(600040 - i) + "' ";
    for (int j = 0; j <= i; ++j)
      reply += "Data { ShiJian: " + P(static_cast<uint64_t>(1000 * i + 500 - j), 10) + " } ";
    reply += "} ";
  }
  const OwnedTable table = Convert(reply);
  ASSERT_EQ(table_rows(table.get()), 40);
  for (int i = 0; i < 40; ++i) {
    EXPECT_EQ(TextAt(table.get(), i, 0), "SH" + std::to_string(600040 - i));
    const void* series = table_get_table(table.get(), i, 1);
    ASSERT_EQ(table_rows(series), i + 1);
    for (int j = 0; j <= i; ++j)
      EXPECT_EQ(table_get_int64(series, j, 0), 1000 * i + 500 - j);
  }
}

TEST(SealStrength, CodeIsTranscodedAndCutAtItsFirstZeroByte) {
  const OwnedTable table = Convert(
      "Id: 272 RepDataGeGuFengBanFanHuiShuJu { Obj: '浦发银行' }"
      "RepDataGeGuFengBanFanHuiShuJu { Obj: 'SH600000\\000tail' }"
      "RepDataGeGuFengBanFanHuiShuJu { Obj: '' }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "\xC6\xD6\xB7\xA2\xD2\xF8\xD0\xD0");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SH600000");
  EXPECT_EQ(TextAt(table.get(), 2, 0), "");
}

TEST(SealStrength, MissingRequiredFieldsAreNoReply) {
  EXPECT_EQ(Convert("Id: 272 RepDataGeGuFengBanFanHuiShuJu { Data { ShiJian: 0 } }"), nullptr);
  EXPECT_EQ(Convert("Id: 272 RepDataGeGuFengBanFanHuiShuJu { Obj: 'SH600000' Data { LiuTongPan: 1 } }"),
            nullptr);
}

// ---- Id 271: rises and falls of the market ----

const Columns& MarketColumns() {
  static const Columns columns = {
      {0, "ShiJian", 'd', Packed(1704164400, 10), 1704164400.0},
      {1, "ZuiXinJiaDengYuZhangTingJiaShu", 'd', Packed(5101, 0), 51.01},
      {2, "ZuiGaoJiaDengYuZhangTingJiaShu", 'd', Packed(722, 1), 72.2},
      {3, "FengBanLv", 'd', Packed(70833, 3), 70.833},
      {4, "ZhangTingJiaShu", 'd', Packed(49, 10), 49.0},
      {5, "DieTingJiaShu", 'd', Packed(12, 10), 12.0},
      {6, "ShangZhangJiaShu", 'd', Packed(3210, 10), 3210.0},
      {7, "XiaDieJiaShu", 'd', Packed(1654, 10), 1654.0},
      {8, "PingPanJiaShu", 'd', Packed(187, 10), 187.0},
      {9, "ZhangFuDaYu5", 'd', Packed(2135, 1), 213.5},
      {10, "ZhangFuDaYu2", 'd', Packed(9876, 1), 987.6},
      {11, "ZhangFuDaYu0", 'd', Packed(32101, 1), 3210.1},
      {12, "DieFuDaYu5", 'd', Packed(4321, 4), 0.4321},
      {13, "DieFuDaYu2", 'd', Packed(33333, 5), 0.33333},
      {14, "DieFuDaYu0", 'd', Packed(1654321, 6), 1.654321},
      {15, "TingPaiJiaShu", 'd', Packed(17, 10), 17.0},
      {17, "YiZhiZhangTingJiaShu", 'd', Packed(8, 10), 8.0},
      {18, "ZiRanZhangTingJiaShu", 'd', Packed(41, 10), 41.0},
      {19, "STZhangTingJiaShu", 'd', Packed(65, 1), 6.5},
  };
  return columns;
}

OneRow MarketRow(const std::string& fields) {
  OneRow row;
  row.owner = Convert("Id: 271 RepDataShiChangZhangDieFanHuiShuJu { Obj: 'SH000001' Data { " +
                      WithTime(fields) + " } }");
  row.table = table_get_table(row.owner.get(), 0, 1);
  return row;
}

TEST(MarketTrend, EveryColumn) {
  const OneRow row = MarketRow(AllFields(MarketColumns()) + "ZhiShuMingCheng: '上证指数'");
  EXPECT_EQ(SpecOf(row.owner.get()), "Obj:s;Data:t;");
  EXPECT_EQ(TextAt(row.owner.get(), 0, 0), "SH000001");
  EXPECT_EQ(SpecOf(row.table),
            "ShiJian:d;ZuiXinJiaDengYuZhangTingJiaShu:d;ZuiGaoJiaDengYuZhangTingJiaShu:d;FengBanLv:d;"
            "ZhangTingJiaShu:d;DieTingJiaShu:d;ShangZhangJiaShu:d;XiaDieJiaShu:d;PingPanJiaShu:d;"
            "ZhangFuDaYu5:d;ZhangFuDaYu2:d;ZhangFuDaYu0:d;DieFuDaYu5:d;DieFuDaYu2:d;DieFuDaYu0:d;"
            "TingPaiJiaShu:d;ZhiShuMingCheng:s;YiZhiZhangTingJiaShu:d;ZiRanZhangTingJiaShu:d;"
            "STZhangTingJiaShu:d;");
  packed_columns::ExpectNames(MarketColumns(), row.table);
  packed_columns::ExpectAllShown(MarketColumns(), row.table, 0);
  EXPECT_EQ(TextAt(row.table, 0, 16), "\xC9\xCF\xD6\xA4\xD6\xB8\xCA\xFD");
  EXPECT_EQ(table_rows(row.owner.get()), 1);
  EXPECT_EQ(table_rows(row.table), 1);
  EXPECT_STREQ(table_name(row.owner.get()), "");
  EXPECT_STREQ(table_name(row.table), "");
}

TEST(MarketTrend, EachFieldAloneFillsItsOwnColumn) {
  packed_columns::ExpectEachFieldAlone(MarketColumns(), MarketRow);
}

TEST(MarketTrend, WhatIsNoNumberIsZero) {
  packed_columns::ExpectNoNumberIsZero(MarketColumns(), MarketRow);
}

TEST(MarketTrend, SignNibble) {
  packed_columns::ExpectSignNibble(MarketColumns(), MarketRow);
}

// The time and all counts are doubles here and keep their fractions.
TEST(MarketTrend, FractionsAreKept) {
  packed_columns::ExpectFractions(MarketColumns(), MarketRow);
}

TEST(MarketTrend, IndexNameIsTheOnlyTextAndStandsBetweenTheDoubles) {
  const OneRow row =
      MarketRow("TingPaiJiaShu: " + P(15, 10) + " ZhiShuMingCheng: 'A股' YiZhiZhangTingJiaShu: " + P(17, 10));
  EXPECT_EQ(table_get_double(row.table, 0, 15), 15.0);
  EXPECT_EQ(TextAt(row.table, 0, 16), "A\xB9\xC9");
  EXPECT_EQ(table_get_double(row.table, 0, 17), 17.0);
  for (int col = 0; col < 20; ++col)
    EXPECT_EQ(table_col_type(row.table, col), col == 16 ? 7 : 6) << col;
}

TEST(MarketTrend, AbsentIndexNameIsAnEmptyText) {
  const OneRow row = MarketRow("FengBanLv: " + P(50, 10));
  EXPECT_EQ(TextAt(row.table, 0, 16), "");
  EXPECT_EQ(SetColumns(row.table, 0), "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19");
}

TEST(MarketTrend, EmptyReplyIsNull) {
  EXPECT_EQ(Convert("Id: 271"), nullptr);
  EXPECT_EQ(Convert("Id: 271 RepDataGeGuFengBanFanHuiShuJu { Obj: 'SH600000' }"), nullptr);
}

TEST(MarketTrend, ObjectWithoutSamplesKeepsItsCodeAndMarksTheCellEmpty) {
  const OwnedTable table = Convert(
      "Id: 271 RepDataShiChangZhangDieFanHuiShuJu { Obj: 'SH000001' }"
      "RepDataShiChangZhangDieFanHuiShuJu { Obj: '深证' Data { ShiJian: 0 } Data { ShiJian: 0 } }");
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH000001");
  EXPECT_EQ(table_is_set(table.get(), 0, 1), 1);
  EXPECT_EQ(table_get_table(table.get(), 0, 1), nullptr);
  EXPECT_EQ(TextAt(table.get(), 1, 0), "\xC9\xEE\xD6\xA4");
  EXPECT_EQ(table_rows(table_get_table(table.get(), 1, 1)), 2);
}

TEST(MarketTrend, ManyObjectsAndSamplesInWireOrder) {
  std::string reply = "Id: 271 ";
  for (int i = 0; i < 12; ++i) {
    reply += "RepDataShiChangZhangDieFanHuiShuJu { Obj: 'B" + std::to_string(900 - i) + "' ";
    for (int j = 0; j < 60; ++j) {
      reply += "Data { ShiJian: " + P(static_cast<uint64_t>(93000 - j), 10) +
               " STZhangTingJiaShu: " + P(static_cast<uint64_t>(100 * i + j), 10) + " } ";
    }
    reply += "} ";
  }
  const OwnedTable table = Convert(reply);
  ASSERT_EQ(table_rows(table.get()), 12);
  for (int i = 0; i < 12; ++i) {
    EXPECT_EQ(TextAt(table.get(), i, 0), "B" + std::to_string(900 - i));
    const void* series = table_get_table(table.get(), i, 1);
    ASSERT_EQ(table_rows(series), 60);
    for (int j = 0; j < 60; ++j) {
      EXPECT_EQ(table_get_double(series, j, 0), 93000.0 - j);
      EXPECT_EQ(table_get_double(series, j, 19), 100.0 * i + j);
    }
  }
}

TEST(MarketTrend, MissingRequiredFieldsAreNoReply) {
  EXPECT_EQ(Convert("Id: 271 RepDataShiChangZhangDieFanHuiShuJu { Data { ShiJian: 0 } }"), nullptr);
  EXPECT_EQ(Convert("Id: 271 RepDataShiChangZhangDieFanHuiShuJu { Obj: 'SH000001' Data { FengBanLv: 1 } }"),
            nullptr);
}

// ---- Id 273: lists of stocks at the limit ----

OwnedTable Lists(const std::string& fields) {
  return Convert("Id: 273 RepDataZhangDieTingBanKuaiShuJu { " + WithTime(fields) + " }");
}

// The codes of a list, as "a b c"; "-" for a cell that nobody wrote.
std::string ListAt(const OwnedTable& table, int row, int col) {
  if (table_is_set(table.get(), row, col) == 0) return "-";
  void* list = table_get_table(table.get(), row, col);
  EXPECT_EQ(SpecOf(list), "Obj:s;");
  EXPECT_STREQ(table_name(list), "");
  std::string codes;
  for (int i = 0; i < table_rows(list); ++i)
    codes += (i == 0 ? "" : " ") + TextAt(list, i, 0);
  return codes;
}

TEST(LimitLists, EveryColumn) {
  const OwnedTable table = Lists("ShiJian: " + P(1704164400, 10) +
                                 " ZhangTingGuPiaoLieBiao { Obj: 'SH600001' }"
                                 "ZhangTingGuPiaoLieBiao { Obj: 'SZ000011' }"
                                 "DieTingGuPiaoLieBiao { Obj: 'SH600002' }"
                                 "YiZhiZhangTingGuPiaoLieBiao { Obj: 'SH600003' }"
                                 "ZiRanZhangTingGuPiaoLieBiao { Obj: 'SH600004' }"
                                 "STZhangTingGuPiaoLieBiao { Obj: 'SH600005' }"
                                 "YiZhiWeiKaiBanGuPiaoLieBiao { Obj: 'SH600006' }");
  EXPECT_EQ(SpecOf(table.get()),
            "ShiJian:q;ZhangTingGuPiaoLieBiao:t;DieTingGuPiaoLieBiao:t;YiZhiZhangTingGuPiaoLieBiao:t;"
            "ZiRanZhangTingGuPiaoLieBiao:t;STZhangTingGuPiaoLieBiao:t;YiZhiWeiKaiBanGuPiaoLieBiao:t;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(table_get_int64(table.get(), 0, 0), 1704164400);
  EXPECT_EQ(ListAt(table, 0, 1), "SH600001 SZ000011");
  EXPECT_EQ(ListAt(table, 0, 2), "SH600002");
  EXPECT_EQ(ListAt(table, 0, 3), "SH600003");
  EXPECT_EQ(ListAt(table, 0, 4), "SH600004");
  EXPECT_EQ(ListAt(table, 0, 5), "SH600005");
  EXPECT_EQ(ListAt(table, 0, 6), "SH600006");
}

TEST(LimitLists, EachListAloneFillsItsOwnColumnAndLeavesTheOthersUntouched) {
  EXPECT_EQ(SetColumns(Lists("").get(), 0), "0");
  EXPECT_EQ(SetColumns(Lists("ZhangTingGuPiaoLieBiao { Obj: 'SH600001' }").get(), 0), "0 1");
  EXPECT_EQ(SetColumns(Lists("DieTingGuPiaoLieBiao { Obj: 'SH600002' }").get(), 0), "0 2");
  EXPECT_EQ(SetColumns(Lists("YiZhiZhangTingGuPiaoLieBiao { Obj: 'SH600003' }").get(), 0), "0 3");
  EXPECT_EQ(SetColumns(Lists("ZiRanZhangTingGuPiaoLieBiao { Obj: 'SH600004' }").get(), 0), "0 4");
  EXPECT_EQ(SetColumns(Lists("STZhangTingGuPiaoLieBiao { Obj: 'SH600005' }").get(), 0), "0 5");
  EXPECT_EQ(SetColumns(Lists("YiZhiWeiKaiBanGuPiaoLieBiao { Obj: 'SH600006' }").get(), 0), "0 6");
}

// Unlike in Ids 271 and 272, where such a cell is marked as empty.
TEST(LimitLists, EmptyListStaysUnsetWhileTheOthersAreFilled) {
  const OwnedTable table = Lists(
      "ZhangTingGuPiaoLieBiao { Obj: 'SH600001' }"
      "YiZhiWeiKaiBanGuPiaoLieBiao { Obj: 'SH600006' }");
  EXPECT_EQ(ListAt(table, 0, 1), "SH600001");
  for (int col = 2; col <= 5; ++col)
    EXPECT_EQ(table_is_set(table.get(), 0, col), 0) << col;
  EXPECT_EQ(ListAt(table, 0, 6), "SH600006");
}

TEST(LimitLists, TimeIsTruncatedToAnInteger) {
  const Columns time = {{0, "ShiJian", 'q', Packed(93015, 10), 93015}};
  const auto convert = [](const std::string& fields) {
    OneRow row;
    row.owner = Lists(fields);
    row.table = row.owner.get();
    return row;
  };
  packed_columns::ExpectEachFieldAlone(time, convert);
  packed_columns::ExpectNoNumberIsZero(time, convert);
  packed_columns::ExpectSignNibble(time, convert);
  packed_columns::ExpectFractions(time, convert);
}

TEST(LimitLists, StockWithoutCodeIsAnEmptyText) {
  const OwnedTable table = Lists(
      "DieTingGuPiaoLieBiao { Obj: 'SH600002' } DieTingGuPiaoLieBiao { } DieTingGuPiaoLieBiao { Obj: 'X' }");
  void* list = table_get_table(table.get(), 0, 2);
  ASSERT_EQ(table_rows(list), 3);
  EXPECT_EQ(TextAt(list, 1, 0), "");
  EXPECT_EQ(TextAt(list, 2, 0), "X");
}

TEST(LimitLists, CodesAreTranscoded) {
  const OwnedTable table = Lists(
      "ZhangTingGuPiaoLieBiao { Obj: '涨停' } DieTingGuPiaoLieBiao { Obj: '跌停' }"
      "YiZhiZhangTingGuPiaoLieBiao { Obj: '一字' } ZiRanZhangTingGuPiaoLieBiao { Obj: '自然' }"
      "STZhangTingGuPiaoLieBiao { Obj: '*ST海' } YiZhiWeiKaiBanGuPiaoLieBiao { Obj: '开板' }");
  EXPECT_EQ(ListAt(table, 0, 1), "\xD5\xC7\xCD\xA3");
  EXPECT_EQ(ListAt(table, 0, 2), "\xB5\xF8\xCD\xA3");
  EXPECT_EQ(ListAt(table, 0, 3), "\xD2\xBB\xD7\xD6");
  EXPECT_EQ(ListAt(table, 0, 4), "\xD7\xD4\xC8\xBB");
  EXPECT_EQ(ListAt(table, 0, 5), "*ST\xBA\xA3");
  EXPECT_EQ(ListAt(table, 0, 6), "\xBF\xAA\xB0\xE5");
}

TEST(LimitLists, EmptyReplyIsNull) {
  EXPECT_EQ(Convert("Id: 273"), nullptr);
  EXPECT_EQ(Convert("Id: 273 RepDataGeGuFengBanFanHuiShuJu { Obj: 'SH600000' }"), nullptr);
}

TEST(LimitLists, MissingTimeIsNoReply) {
  EXPECT_EQ(Convert("Id: 273 RepDataZhangDieTingBanKuaiShuJu { ZhangTingGuPiaoLieBiao { Obj: 'SH600001' } }"),
            nullptr);
}

TEST(LimitLists, ManyTimesAndStocksInWireOrder) {
  std::string reply = "Id: 273 ";
  for (int i = 0; i < 50; ++i) {
    reply += "RepDataZhangDieTingBanKuaiShuJu { ShiJian: " + P(static_cast<uint64_t>(5000 - i), 10) + " ";
    for (int j = 0; j < i; ++j)
      reply += "STZhangTingGuPiaoLieBiao { Obj: 'S" + std::to_string(100 * i + 60 - j) + "' } ";
    reply += "} ";
  }
  const OwnedTable table = Convert(reply);
  ASSERT_EQ(table_rows(table.get()), 50);
  EXPECT_EQ(table_is_set(table.get(), 0, 5), 0);
  for (int i = 1; i < 50; ++i) {
    EXPECT_EQ(table_get_int64(table.get(), i, 0), 5000 - i);
    const void* list = table_get_table(table.get(), i, 5);
    ASSERT_EQ(table_rows(list), i);
    for (int j = 0; j < i; ++j)
      EXPECT_EQ(TextAt(list, j, 0), "S" + std::to_string(100 * i + 60 - j));
  }
}

// The Id alone chooses: each of the three finds its own field in a reply that carries all of them.
TEST(LimitUp, IdChoosesTheField) {
  const std::string all =
      " RepDataShiChangZhangDieFanHuiShuJu { Obj: 'market' }"
      " RepDataGeGuFengBanFanHuiShuJu { Obj: 'stock' }"
      " RepDataZhangDieTingBanKuaiShuJu { ShiJian: 0 }";
  EXPECT_EQ(TextAt(Convert("Id: 271" + all).get(), 0, 0), "market");
  EXPECT_EQ(TextAt(Convert("Id: 272" + all).get(), 0, 0), "stock");
  EXPECT_STREQ(table_col_name(Convert("Id: 273" + all).get(), 0), "ShiJian");
}

}  // namespace
