// The opening auction (Id 443) and a block's stage statistics (Id 442) through the shared library.
#include <gtest/gtest.h>

#include <string>

#include "tesparser/tesparser.h"
#include "tests/support/packed_columns.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using packed_columns::AllFields;
using packed_columns::Column;
using packed_columns::Columns;
using packed_columns::Field;
using packed_columns::OneRow;
using test_replies::P;
using test_replies::Packed;

OwnedTable Convert(const std::string& reply) {
  return OwnedTable(TesparserPB2Table(test_replies::Reply(reply)));
}

// ---- Id 443: opening auction ----

constexpr double kTenThousand = 10000;

const Columns& AuctionColumns() {
  static const Columns columns = {
      {1, "HuanShou", 'd', Packed(215, 4), 0.0215},
      {2, "ZhangSu", 'd', Packed(133, 0, 1), -1.33},
      {3, "FenZhongZhangSu1", 'd', Packed(47, 0), 0.47},
      {4, "ChengJiaoE", 'd', Packed(12345678, 10), 1234.5678, kTenThousand},
      {5, "WeiChengJiaoE", 'd', Packed(87500000, 0), 87.5, kTenThousand},
      {6, "WeiMaiRuChe", 'd', Packed(36000, 10), 36000.0},
      {7, "WeiMaiChuChe", 'd', Packed(45007, 1), 4500.7},
      {8, "MaiRuE", 'd', Packed(6250, 10), 0.625, kTenThousand},
      {9, "MaiChuE", 'd', Packed(40000000, 1), 400.0, kTenThousand},
      {10, "EChaZhi", 'd', Packed(33750000, 3, 1), -3.375, kTenThousand},
  };
  return columns;
}

OneRow AuctionRow(const std::string& fields) {
  OneRow row;
  row.owner = Convert("Id: 443 RepDataJingJiaDongCha { Obj: 'SH600000' " + fields + " }");
  row.table = row.owner.get();
  return row;
}

int64_t MaskOf(const OneRow& row) {
  EXPECT_EQ(table_is_set(row.table, 0, 11), 1);
  return table_get_int64(row.table, 0, 11);
}

TEST(Auction, EveryColumn) {
  const OneRow row = AuctionRow(AllFields(AuctionColumns()));
  EXPECT_EQ(SpecOf(row.table),
            "Obj:s;HuanShou:d;ZhangSu:d;FenZhongZhangSu1:d;ChengJiaoE:d;WeiChengJiaoE:d;WeiMaiRuChe:d;"
            "WeiMaiChuChe:d;MaiRuE:d;MaiChuE:d;EChaZhi:d;HasBits:q;");
  EXPECT_STREQ(table_name(row.table), "");
  EXPECT_EQ(table_rows(row.table), 1);
  EXPECT_EQ(TextAt(row.table, 0, 0), "SH600000");
  packed_columns::ExpectNames(AuctionColumns(), row.table);
  packed_columns::ExpectAllShown(AuctionColumns(), row.table, 0);
  EXPECT_EQ(MaskOf(row), 2 + 4 + 8 + 16 + 32 + 64 + 128 + 256 + 512 + 1024);
}

TEST(Auction, EachFieldAloneFillsItsOwnColumn) {
  packed_columns::ExpectEachFieldAlone(AuctionColumns(), AuctionRow);
}

TEST(Auction, EachFieldAloneSetsTheBitOfItsColumn) {
  EXPECT_EQ(MaskOf(AuctionRow("HuanShou: 1")), 2);
  EXPECT_EQ(MaskOf(AuctionRow("ZhangSu: 1")), 4);
  EXPECT_EQ(MaskOf(AuctionRow("FenZhongZhangSu1: 1")), 8);
  EXPECT_EQ(MaskOf(AuctionRow("ChengJiaoE: 1")), 16);
  EXPECT_EQ(MaskOf(AuctionRow("WeiChengJiaoE: 1")), 32);
  EXPECT_EQ(MaskOf(AuctionRow("WeiMaiRuChe: 1")), 64);
  EXPECT_EQ(MaskOf(AuctionRow("WeiMaiChuChe: 1")), 128);
  EXPECT_EQ(MaskOf(AuctionRow("MaiRuE: 1")), 256);
  EXPECT_EQ(MaskOf(AuctionRow("MaiChuE: 1")), 512);
  EXPECT_EQ(MaskOf(AuctionRow("EChaZhi: 1")), 1024);
}

TEST(Auction, WhatIsNoNumberIsZero) {
  packed_columns::ExpectNoNumberIsZero(AuctionColumns(), AuctionRow);
}

TEST(Auction, SignNibble) {
  packed_columns::ExpectSignNibble(AuctionColumns(), AuctionRow);
}

TEST(Auction, FractionsAreKept) {
  packed_columns::ExpectFractions(AuctionColumns(), AuctionRow);
}

TEST(Auction, RowWithOnlyACodeIsZeroWithAnEmptyMask) {
  const OneRow row = AuctionRow("");
  EXPECT_EQ(SetColumns(row.table, 0), "0 1 2 3 4 5 6 7 8 9 10 11");
  for (const Column& column : AuctionColumns())
    EXPECT_EQ(table_get_double(row.table, 0, column.col), 0.0) << column.field;
  EXPECT_EQ(MaskOf(row), 0);
}

TEST(Auction, AmountsAreInTenThousandsAndNothingElseIs) {
  const OneRow amount = AuctionRow("ChengJiaoE: " + P(2500000, 10));
  EXPECT_EQ(table_get_double(amount.table, 0, 4), 250.0);
  EXPECT_EQ(MaskOf(amount), 16);
  const std::string whole = P(2500000, 10);
  const OneRow all = AuctionRow("HuanShou: " + whole + " ZhangSu: " + whole + " FenZhongZhangSu1: " + whole +
                                " ChengJiaoE: " + whole + " WeiChengJiaoE: " + whole +
                                " WeiMaiRuChe: " + whole + " WeiMaiChuChe: " + whole + " MaiRuE: " + whole +
                                " MaiChuE: " + whole + " EChaZhi: " + whole);
  EXPECT_EQ(table_get_double(all.table, 0, 1), 2500000.0);
  EXPECT_EQ(table_get_double(all.table, 0, 2), 2500000.0);
  EXPECT_EQ(table_get_double(all.table, 0, 3), 2500000.0);
  EXPECT_EQ(table_get_double(all.table, 0, 4), 250.0);
  EXPECT_EQ(table_get_double(all.table, 0, 5), 250.0);
  EXPECT_EQ(table_get_double(all.table, 0, 6), 2500000.0);
  EXPECT_EQ(table_get_double(all.table, 0, 7), 2500000.0);
  EXPECT_EQ(table_get_double(all.table, 0, 8), 250.0);
  EXPECT_EQ(table_get_double(all.table, 0, 9), 250.0);
  EXPECT_EQ(table_get_double(all.table, 0, 10), 250.0);
}

TEST(Auction, NullNumberIsZeroWithItsBitClear) {
  const OneRow bought = AuctionRow("MaiRuE: 131072 MaiChuE: " + P(70000, 10));
  EXPECT_EQ(table_is_set(bought.table, 0, 8), 1);
  EXPECT_EQ(table_get_double(bought.table, 0, 8), 0.0);
  EXPECT_EQ(table_get_double(bought.table, 0, 9), 7.0);
  EXPECT_EQ(MaskOf(bought), 512);
  for (const Column& column : AuctionColumns()) {
    SCOPED_TRACE(column.field);
    const OneRow row = AuctionRow(Field(column.field, 131072));
    EXPECT_EQ(table_is_set(row.table, 0, column.col), 1);
    EXPECT_EQ(table_get_double(row.table, 0, column.col), 0.0);
    EXPECT_EQ(MaskOf(row), 0);
  }
}

// Only the one word 0x20000 counts as no value: its neighbours of scale code 2 are zero with the bit set.
TEST(Auction, OtherNumbersOfScaleCode2KeepTheirBit) {
  for (const int64_t raw : {int64_t{0x20001}, int64_t{0x120000}, int64_t{0x100020000}, int64_t{0xF20000}}) {
    for (const Column& column : AuctionColumns()) {
      SCOPED_TRACE(Field(column.field, raw));
      const OneRow row = AuctionRow(Field(column.field, raw));
      EXPECT_EQ(table_get_double(row.table, 0, column.col), 0.0);
      EXPECT_EQ(MaskOf(row), int64_t{1} << column.col);
    }
  }
}

TEST(Auction, NegativeWordIsZeroWithItsBitSet) {
  const OneRow row = AuctionRow("ChengJiaoE: -1 WeiMaiRuChe: -25000");
  EXPECT_EQ(table_get_double(row.table, 0, 4), 0.0);
  EXPECT_EQ(table_get_double(row.table, 0, 6), 0.0);
  EXPECT_EQ(MaskOf(row), 16 + 64);
}

TEST(Auction, ZeroThatArrivedAndUnknownScaleCodesSetTheBit) {
  EXPECT_EQ(MaskOf(AuctionRow("HuanShou: 0")), 2);
  EXPECT_EQ(MaskOf(AuctionRow("EChaZhi: " + P(5, 11))), 1024);
  EXPECT_EQ(MaskOf(AuctionRow("EChaZhi: " + P(5, 15))), 1024);
}

TEST(Auction, TimeAndDirectionAreNotShown) {
  const OneRow row = AuctionRow("ShiJian: " + P(92500, 10) + " MaiMaiFangXiang: " + P(1, 10));
  for (const Column& column : AuctionColumns())
    EXPECT_EQ(table_get_double(row.table, 0, column.col), 0.0) << column.field;
  EXPECT_EQ(MaskOf(row), 0);
}

TEST(Auction, CodeIsTranscodedAndHasNoBit) {
  const OwnedTable table = Convert(
      "Id: 443 RepDataJingJiaDongCha { Obj: '平安银行' HuanShou: 1 }"
      "RepDataJingJiaDongCha { Obj: 'SZ000001\\000tail' } RepDataJingJiaDongCha { ZhangSu: 1 }");
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "\xC6\xBD\xB0\xB2\xD2\xF8\xD0\xD0");
  EXPECT_EQ(table_get_int64(table.get(), 0, 11), 2);
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  EXPECT_EQ(table_get_int64(table.get(), 1, 11), 0);
  EXPECT_EQ(TextAt(table.get(), 2, 0), "");
  EXPECT_EQ(table_get_int64(table.get(), 2, 11), 4);
}

TEST(Auction, EmptyReplyIsNull) {
  EXPECT_EQ(Convert("Id: 443"), nullptr);
  EXPECT_EQ(Convert("Id: 443 RepDataFenShiJieDuanTongJiFanHui { ShuJuZongGeShu: 0 }"), nullptr);
}

TEST(Auction, ManyStocksInWireOrderEachWithItsOwnMask) {
  std::string reply = "Id: 443 ";
  for (int i = 0; i < 300; ++i) {
    reply += "RepDataJingJiaDongCha { Obj: 'S" + std::to_string(900 - i) + "' " +
             (i % 2 == 0 ? "MaiChuE: " : "HuanShou: ") + P(static_cast<uint64_t>(i) * 10000, 10) + " } ";
  }
  const OwnedTable table = Convert(reply);
  ASSERT_EQ(table_rows(table.get()), 300);
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(TextAt(table.get(), i, 0), "S" + std::to_string(900 - i));
    EXPECT_EQ(table_get_double(table.get(), i, 9), i % 2 == 0 ? i : 0);
    EXPECT_EQ(table_get_double(table.get(), i, 1), i % 2 == 0 ? 0 : 10000.0 * i);
    EXPECT_EQ(table_get_int64(table.get(), i, 11), i % 2 == 0 ? 512 : 2);
  }
}

// ---- Id 442: the block ----

const Columns& BlockColumns() {
  static const Columns columns = {
      {2, "KaiPanJia", 'd', Packed(102345, 0), 1023.45},
      {3, "ZuiGaoJia", 'd', Packed(105512, 0), 1055.12},
      {4, "ZuiDiJia", 'd', Packed(1019875, 3), 1019.875},
      {5, "ShouPanJia", 'd', Packed(10501, 1), 1050.1},
      {6, "ZhangDie", 'd', Packed(2665, 0), 26.65},
      {7, "ZhangFu", 'd', Packed(26041, 4), 2.6041},
      {8, "ZhenFu", 'd', Packed(344, 0), 3.44},
      {9, "ChengJiaoLiang", 'd', Packed(987654321, 10), 987654321.0},
      {10, "ChengJiaoE", 'd', Packed(2500000, 10), 2500000.0},
      {11, "JingLiuRuE", 'd', Packed(7654321, 0, 1), -76543.21},
  };
  return columns;
}

OneRow BlockRow(const std::string& fields) {
  OneRow row;
  row.owner = Convert("Id: 442 RepDataFenShiJieDuanTongJiFanHui { ShuJuZongGeShu: 0 BanKuaiXinXi { " +
                      fields + " } }");
  row.table = row.owner.get();
  return row;
}

const char kBlockSpec[] =
    "Obj:s;GuPiaoMingCheng:s;KaiPanJia:d;ZuiGaoJia:d;ZuiDiJia:d;ShouPanJia:d;ZhangDie:d;ZhangFu:d;ZhenFu:d;"
    "ChengJiaoLiang:d;ChengJiaoE:d;JingLiuRuE:d;ZongGeShu:i;ItemData:t;";

const char kItemSpec[] =
    "Obj:s;MingCheng:s;XuHao:i;JieDuanZhangFu:d;ChengJiaoE:d;ZhenFu:d;GongXianDian:d;DaDanJingMaiRuE:d;"
    "ZhuLiZengCang:d;ZhangFu:d;LingZhangBanKuai:s;LingZhangBanKuaiDaiMa:s;JieDuanLingZhangGu:s;"
    "JieDuanLingZhangGuDaiMa:s;LingZhangGu:s;LingZhangGuDaiMa:s;ShangZhangJiaShu:i;XiaDieJiaShu:i;"
    "PingPanJiaShu:i;";

TEST(Stage, EveryColumnOfTheBlock) {
  const OwnedTable table = Convert(
      "Id: 442 RepDataFenShiJieDuanTongJiFanHui { ShuJuZongGeShu: " + P(300, 10) +
      " BanKuaiXinXi { Obj: 'B993901' GuPiaoMingCheng: '半导体' " + AllFields(BlockColumns()) + " } }");
  EXPECT_EQ(SpecOf(table.get()), kBlockSpec);
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "B993901");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "\xB0\xEB\xB5\xBC\xCC\xE5");
  packed_columns::ExpectNames(BlockColumns(), table.get());
  packed_columns::ExpectAllShown(BlockColumns(), table.get(), 0);
  EXPECT_EQ(table_get_int(table.get(), 0, 12), 300);
  EXPECT_NE(table_get_table(table.get(), 0, 13), nullptr);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2 3 4 5 6 7 8 9 10 11 12 13");
}

TEST(Stage, EachFieldOfTheBlockAloneFillsItsOwnColumn) {
  packed_columns::ExpectEachFieldAlone(BlockColumns(), BlockRow);
  const OneRow code = BlockRow("Obj: '板块'");
  EXPECT_EQ(TextAt(code.table, 0, 0), "\xB0\xE5\xBF\xE9");
  EXPECT_EQ(TextAt(code.table, 0, 1), "");
  const OneRow name = BlockRow("GuPiaoMingCheng: '半导体'");
  EXPECT_EQ(TextAt(name.table, 0, 0), "");
  EXPECT_EQ(TextAt(name.table, 0, 1), "\xB0\xEB\xB5\xBC\xCC\xE5");
}

TEST(Stage, BlockNumbersThatAreNoneAreZero) {
  packed_columns::ExpectNoNumberIsZero(BlockColumns(), BlockRow);
}

TEST(Stage, BlockSignNibble) {
  packed_columns::ExpectSignNibble(BlockColumns(), BlockRow);
}

TEST(Stage, BlockFractionsAreKept) {
  packed_columns::ExpectFractions(BlockColumns(), BlockRow);
}

// Unlike in the auction, where amounts are divided.
TEST(Stage, AmountsStandAsTheyWereSent) {
  EXPECT_EQ(table_get_double(BlockRow("ChengJiaoE: " + P(2500000, 10)).table, 0, 10), 2500000.0);
}

OneRow TotalRow(const std::string& fields) {
  OneRow row;
  row.owner = Convert("Id: 442 RepDataFenShiJieDuanTongJiFanHui { " + fields + " }");
  row.table = row.owner.get();
  return row;
}

TEST(Stage, TotalIsTruncatedToAnInt) {
  EXPECT_EQ(table_get_int(TotalRow("ShuJuZongGeShu: " + P(1299, 0)).table, 0, 12), 12);
  EXPECT_EQ(table_get_int(TotalRow("ShuJuZongGeShu: " + P(1299, 0, 1)).table, 0, 12), -12);
  EXPECT_EQ(table_get_int(TotalRow("ShuJuZongGeShu: " + P(48, 10)).table, 0, 12), 48);
  EXPECT_EQ(table_get_int(TotalRow("ShuJuZongGeShu: -48").table, 0, 12), 0);
  EXPECT_EQ(table_get_int(TotalRow("ShuJuZongGeShu: 131072").table, 0, 12), 0);
  EXPECT_EQ(table_get_int(TotalRow("ShuJuZongGeShu: " + P(48, 12)).table, 0, 12), 0);
}

TEST(Stage, TotalBeyond32BitsIsTheSmallestInt) {
  EXPECT_EQ(table_get_int(TotalRow("ShuJuZongGeShu: " + P(2147483647, 10)).table, 0, 12), 2147483647);
  EXPECT_EQ(table_get_int(TotalRow("ShuJuZongGeShu: " + P(2147483648, 10)).table, 0, 12), INT32_MIN);
  EXPECT_EQ(table_get_int(TotalRow("ShuJuZongGeShu: " + P(2147483648, 10, 1)).table, 0, 12), INT32_MIN);
  EXPECT_EQ(table_get_int(TotalRow("ShuJuZongGeShu: " + P(5000000000, 10, 1)).table, 0, 12), INT32_MIN);
}

TEST(Stage, WithoutABlockTheRowHoldsEmptyTextsAndZeros) {
  const OwnedTable table = Convert("Id: 442 RepDataFenShiJieDuanTongJiFanHui { ShuJuZongGeShu: " + P(2, 10) +
                                   " Datas { Obj: 'SH600000' } Datas { Obj: 'SZ000001' } }");
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2 3 4 5 6 7 8 9 10 11 12 13");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "");
  for (int col = 2; col <= 11; ++col)
    EXPECT_EQ(table_get_double(table.get(), 0, col), 0.0) << col;
  EXPECT_EQ(table_get_int(table.get(), 0, 12), 2);
  EXPECT_EQ(table_rows(table_get_table(table.get(), 0, 13)), 2);
}

TEST(Stage, BlockWithoutStocksHasAnItemTableWithoutRows) {
  const OneRow row = BlockRow("Obj: 'B993901'");
  void* items = table_get_table(row.table, 0, 13);
  ASSERT_NE(items, nullptr);
  EXPECT_EQ(table_rows(items), 0);
  EXPECT_EQ(SpecOf(items), kItemSpec);
}

TEST(Stage, OnlyTheFirstElementIsShown) {
  const OwnedTable table = Convert(
      "Id: 442 RepDataFenShiJieDuanTongJiFanHui {"
      "  ShuJuZongGeShu: " +
      P(1, 10) + " BanKuaiXinXi { Obj: 'B1' ZhangFu: " + P(150) +
      " }"
      "  Datas { Obj: 'SH600000' } }"
      "RepDataFenShiJieDuanTongJiFanHui {"
      "  ShuJuZongGeShu: " +
      P(2, 10) + " BanKuaiXinXi { Obj: 'B2' ZhangFu: " + P(250) +
      " }"
      "  Datas { Obj: 'SZ000001' } Datas { Obj: 'SZ000002' } }");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "B1");
  EXPECT_EQ(table_get_double(table.get(), 0, 7), 1.5);
  EXPECT_EQ(table_get_int(table.get(), 0, 12), 1);
  const void* items = table_get_table(table.get(), 0, 13);
  ASSERT_EQ(table_rows(items), 1);
  EXPECT_EQ(TextAt(items, 0, 0), "SH600000");
}

TEST(Stage, EmptyReplyIsNull) {
  EXPECT_EQ(Convert("Id: 442"), nullptr);
  EXPECT_EQ(Convert("Id: 442 RepDataJingJiaDongCha { Obj: 'SH600000' }"), nullptr);
}

TEST(Stage, MissingRequiredFieldsAreNoReply) {
  EXPECT_EQ(Convert("Id: 442 RepDataFenShiJieDuanTongJiFanHui { BanKuaiXinXi { Obj: 'B993901' } }"), nullptr);
  EXPECT_EQ(Convert("Id: 442 RepDataFenShiJieDuanTongJiFanHui { ShuJuZongGeShu: 0 Datas { ZhangFu: 1 } }"),
            nullptr);
}

// ---- Id 442: the stocks of the block ----

const Columns& ItemColumns() {
  static const Columns columns = {
      {2, "XuHao", 'i', Packed(7, 10), 7},
      {3, "JieDuanZhangFu", 'd', Packed(415, 0), 4.15},
      {4, "ChengJiaoE", 'd', Packed(123456789, 10), 123456789.0},
      {5, "ZhenFu", 'd', Packed(626, 0), 6.26},
      {6, "GongXianDian", 'd', Packed(1278, 3), 1.278},
      {7, "DaDanJingMaiRuE", 'd', Packed(4567890, 1, 1), -456789.0},
      {8, "ZhuLiZengCang", 'd', Packed(312, 4), 0.0312},
      {9, "ZhangFu", 'd', Packed(998, 0), 9.98},
      {16, "ShangZhangJiaShu", 'i', Packed(2599, 0), 25},
      {17, "XiaDieJiaShu", 'i', Packed(119, 1), 11},
      {18, "PingPanJiaShu", 'i', Packed(3001, 3), 3},
  };
  return columns;
}

OneRow ItemRow(const std::string& fields) {
  OneRow row;
  row.owner =
      Convert("Id: 442 RepDataFenShiJieDuanTongJiFanHui { ShuJuZongGeShu: 0 Datas { Obj: 'SH600584' " +
              fields + " } }");
  row.table = table_get_table(row.owner.get(), 0, 13);
  return row;
}

TEST(StageStocks, EveryColumn) {
  const OneRow row = ItemRow(AllFields(ItemColumns()) +
                             "MingCheng: '长电科技'"
                             "LingZhangBanKuai: '封装'"
                             "LingZhangBanKuaiDaiMa: 'B993902'"
                             "JieDuanLingZhangGu: '通富微电'"
                             "JieDuanLingZhangGuDaiMa: 'SZ002156'"
                             "LingZhangGu: '华天科技'"
                             "LingZhangGuDaiMa: 'SZ002185'");
  EXPECT_EQ(SpecOf(row.table), kItemSpec);
  EXPECT_STREQ(table_name(row.table), "");
  ASSERT_EQ(table_rows(row.table), 1);
  packed_columns::ExpectNames(ItemColumns(), row.table);
  packed_columns::ExpectAllShown(ItemColumns(), row.table, 0);
  EXPECT_EQ(TextAt(row.table, 0, 0), "SH600584");
  EXPECT_EQ(TextAt(row.table, 0, 1), "\xB3\xA4\xB5\xE7\xBF\xC6\xBC\xBC");
  EXPECT_EQ(TextAt(row.table, 0, 10), "\xB7\xE2\xD7\xB0");
  EXPECT_EQ(TextAt(row.table, 0, 11), "B993902");
  EXPECT_EQ(TextAt(row.table, 0, 12), "\xCD\xA8\xB8\xBB\xCE\xA2\xB5\xE7");
  EXPECT_EQ(TextAt(row.table, 0, 13), "SZ002156");
  EXPECT_EQ(TextAt(row.table, 0, 14), "\xBB\xAA\xCC\xEC\xBF\xC6\xBC\xBC");
  EXPECT_EQ(TextAt(row.table, 0, 15), "SZ002185");
}

TEST(StageStocks, EachNumberAloneFillsItsOwnColumn) {
  packed_columns::ExpectEachFieldAlone(ItemColumns(), ItemRow);
}

TEST(StageStocks, EachTextAloneFillsItsOwnColumnTranscoded) {
  struct Text {
    int col;
    const char* field;
  };
  const Text texts[] = {
      {1, "MingCheng"},           {10, "LingZhangBanKuai"},        {11, "LingZhangBanKuaiDaiMa"},
      {12, "JieDuanLingZhangGu"}, {13, "JieDuanLingZhangGuDaiMa"}, {14, "LingZhangGu"},
      {15, "LingZhangGuDaiMa"}};
  for (const Text& sent : texts) {
    SCOPED_TRACE(sent.field);
    const OneRow row = ItemRow(std::string(sent.field) + ": '领涨'");
    EXPECT_STREQ(table_col_name(row.table, sent.col), sent.field);
    for (const Text& text : texts)
      EXPECT_EQ(TextAt(row.table, 0, text.col), text.col == sent.col ? "\xC1\xEC\xD5\xC7" : "") << text.field;
  }
  const OwnedTable coded =
      Convert("Id: 442 RepDataFenShiJieDuanTongJiFanHui { ShuJuZongGeShu: 0 Datas { Obj: '领涨' } }");
  EXPECT_EQ(TextAt(table_get_table(coded.get(), 0, 13), 0, 0), "\xC1\xEC\xD5\xC7");
}

TEST(StageStocks, WhatIsNoNumberIsZero) {
  packed_columns::ExpectNoNumberIsZero(ItemColumns(), ItemRow);
}

TEST(StageStocks, SignNibble) {
  packed_columns::ExpectSignNibble(ItemColumns(), ItemRow);
}

TEST(StageStocks, FractionsAreKeptInDoublesAndCutInInts) {
  packed_columns::ExpectFractions(ItemColumns(), ItemRow);
}

TEST(StageStocks, IntsBeyond32BitsAreTheSmallestInt) {
  for (const Column& column : ItemColumns()) {
    if (column.letter != 'i') continue;
    SCOPED_TRACE(column.field);
    const OneRow above = ItemRow(Field(column.field, Packed(2147483648, 10)));
    EXPECT_EQ(table_get_int(above.table, 0, column.col), INT32_MIN);
    const OneRow below = ItemRow(Field(column.field, Packed(3000000000, 10, 1)));
    EXPECT_EQ(table_get_int(below.table, 0, column.col), INT32_MIN);
    const OneRow largest = ItemRow(Field(column.field, Packed(214748364799, 0)));
    EXPECT_EQ(table_get_int(largest.table, 0, column.col), 2147483647);
  }
}

TEST(StageStocks, StockWithOnlyACodeHasEveryCellSet) {
  const OneRow row = ItemRow("");
  EXPECT_EQ(SetColumns(row.table, 0), "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18");
  for (const int col : {1, 10, 11, 12, 13, 14, 15})
    EXPECT_EQ(TextAt(row.table, 0, col), "") << col;
  for (const Column& column : ItemColumns())
    EXPECT_EQ(packed_columns::NumberAt(row.table, 0, column), 0.0) << column.field;
}

TEST(StageStocks, RatioOfRisesToFallsIsNotShown) {
  const OneRow row = ItemRow("ZhangDieBi: " + P(250));
  EXPECT_EQ(table_cols(row.table), 19);
  for (const Column& column : ItemColumns())
    EXPECT_EQ(packed_columns::NumberAt(row.table, 0, column), 0.0) << column.field;
}

TEST(StageStocks, ManyStocksInWireOrder) {
  std::string reply = "Id: 442 RepDataFenShiJieDuanTongJiFanHui { ShuJuZongGeShu: 0 ";
  for (int i = 0; i < 400; ++i) {
    reply += "Datas { Obj: 'S" + std::to_string(900 - i) + "' XuHao: " + P(static_cast<uint64_t>(i + 1), 10) +
             " } ";
  }
  const OwnedTable table = Convert(reply + "}");
  ASSERT_EQ(table_rows(table.get()), 1);
  const void* items = table_get_table(table.get(), 0, 13);
  ASSERT_EQ(table_rows(items), 400);
  for (int i = 0; i < 400; ++i) {
    EXPECT_EQ(TextAt(items, i, 0), "S" + std::to_string(900 - i));
    EXPECT_EQ(table_get_int(items, i, 2), i + 1);
  }
}

}  // namespace
