// Replies made for the terminal itself: Ids 465, 274 and 303.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using test_replies::P;

// 中 in the two encodings.
const std::string kUtf8 = "中";
const std::string kGb = "\xD6\xD0";

OwnedTable Convert(const std::string& reply) {
  return OwnedTable(TesparserPB2Table(test_replies::Reply(reply)));
}

// ---- Id 465: one row of the terminal's stock data --------------------------------------------------------

OwnedTable StkData(const std::string& fields) {
  return Convert("Id: 465 RepDataPcStkData { " + fields + " }");
}

constexpr int kHasBits = 6;

TEST(PcStkData, EveryColumnHasItsFieldAndConversion) {
  const OwnedTable table =
      StkData("Obj: '中1' JiaoYiDaiMa: '中2' ZhongWenJianCheng: '中3' StockLeader: " + P(1234) +
              " LimitUpNum: " + P(567, 1) + " StockLeader10: " + P(8901, 3));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()),
            "Obj:s;JiaoYiDaiMa:s;ZhongWenJianCheng:s;StockLeader:d;LimitUpNum:q;StockLeader10:d;HasBits:q;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2 3 4 5 6");
  EXPECT_EQ(TextAt(table.get(), 0, 0), kGb + "1");
  EXPECT_EQ(TextAt(table.get(), 0, 1), kUtf8 + "2");
  EXPECT_EQ(TextAt(table.get(), 0, 2), kUtf8 + "3");
  EXPECT_EQ(table_get_double(table.get(), 0, 3), 12.34);
  EXPECT_EQ(table_get_int64(table.get(), 0, 4), 56);
  EXPECT_EQ(table_get_double(table.get(), 0, 5), 8.901);
  EXPECT_EQ(table_get_int64(table.get(), 0, kHasBits), 0x3E);
}

TEST(PcStkData, EachFieldSetsTheBitOfItsColumnAndOnlyTextsAreSkipped) {
  struct Case {
    std::string field;
    long long mask;
    std::string set;
  };
  const std::vector<Case> cases = {
      {"", 0, "0 3 4 5 6"},
      {"JiaoYiDaiMa: '600000'", 0x2, "0 1 3 4 5 6"},
      {"ZhongWenJianCheng: '浦发银行'", 0x4, "0 2 3 4 5 6"},
      {"StockLeader: " + P(1234), 0x8, "0 3 4 5 6"},
      {"LimitUpNum: " + P(5, 10), 0x10, "0 3 4 5 6"},
      {"StockLeader10: " + P(8901, 3), 0x20, "0 3 4 5 6"},
  };
  for (const Case& c : cases) {
    const OwnedTable table = StkData("Obj: 'SH600000' " + c.field);
    ASSERT_NE(table, nullptr) << c.field;
    EXPECT_EQ(table_get_int64(table.get(), 0, kHasBits), c.mask) << c.field;
    EXPECT_EQ(SetColumns(table.get(), 0), c.set) << c.field;
  }
}

TEST(PcStkData, ObjAloneLeavesTextsUnsetAndWritesZeros) {
  const OwnedTable table = StkData("Obj: 'SH600000'");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 3 4 5 6");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  EXPECT_EQ(table_get_double(table.get(), 0, 3), 0.0);
  EXPECT_EQ(table_get_int64(table.get(), 0, 4), 0);
  EXPECT_EQ(table_get_double(table.get(), 0, 5), 0.0);
  EXPECT_EQ(table_get_int64(table.get(), 0, kHasBits), 0);
}

TEST(PcStkData, RawZeroCountsAsArrived) {
  const OwnedTable table = StkData("Obj: 'SH600000' StockLeader: 0");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table_is_set(table.get(), 0, 3), 1);
  EXPECT_EQ(table_get_double(table.get(), 0, 3), 0.0);
  EXPECT_EQ(table_get_int64(table.get(), 0, kHasBits), 0x8);
}

TEST(PcStkData, EmptyTextCountsAsArrived) {
  const OwnedTable table = StkData("Obj: 'SH600000' JiaoYiDaiMa: ''");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(TextAt(table.get(), 0, 1), "");
  EXPECT_EQ(table_get_int64(table.get(), 0, kHasBits), 0x2);
}

TEST(PcStkData, EmptyShortNameCountsAsArrived) {
  const OwnedTable table = StkData("Obj: 'SH600000' ZhongWenJianCheng: ''");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(TextAt(table.get(), 0, 2), "");
  EXPECT_EQ(table_get_int64(table.get(), 0, kHasBits), 0x4);
}

TEST(PcStkData, LimitUpNumLosesItsFraction) {
  const OwnedTable table = StkData("Obj: 'SH600000' LimitUpNum: " + P(250));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table_get_int64(table.get(), 0, 4), 2);
  EXPECT_EQ(table_get_int64(table.get(), 0, kHasBits), 0x10);
}

TEST(PcStkData, LimitUpNumIsCutTowardZeroAndNeverRounded) {
  const OwnedTable above = StkData("Obj: 'A' LimitUpNum: " + P(299));
  const OwnedTable below = StkData("Obj: 'A' LimitUpNum: " + P(299, 0, 1));
  EXPECT_EQ(table_get_int64(above.get(), 0, 4), 2);
  EXPECT_EQ(table_get_int64(below.get(), 0, 4), -2);
}

TEST(PcStkData, LimitUpNumIsWiderThan32Bits) {
  const OwnedTable table = StkData("Obj: 'A' LimitUpNum: " + P(5000000000, 10));
  EXPECT_EQ(table_get_int64(table.get(), 0, 4), 5000000000);
}

TEST(PcStkData, NumbersWithoutValueAreZeroButArrived) {
  const std::vector<std::string> values = {
      "131072",    "-1",        "-9223372036854775808", P(1234, 2), P(1234, 11), P(1234, 12), P(1234, 13),
      P(1234, 14), P(1234, 15), P(1234, 15, 1)};
  for (const std::string& value : values) {
    const OwnedTable table =
        StkData("Obj: 'A' StockLeader: " + value + " LimitUpNum: " + value + " StockLeader10: " + value);
    ASSERT_NE(table, nullptr) << value;
    EXPECT_EQ(table_get_double(table.get(), 0, 3), 0.0) << value;
    EXPECT_EQ(table_get_int64(table.get(), 0, 4), 0) << value;
    EXPECT_EQ(table_get_double(table.get(), 0, 5), 0.0) << value;
    EXPECT_EQ(table_get_int64(table.get(), 0, kHasBits), 0x38) << value;
  }
}

TEST(PcStkData, AnySignNibbleNegates) {
  const OwnedTable table = StkData("Obj: 'A' StockLeader: " + P(1234, 0, 1) +
                                   " LimitUpNum: " + P(77, 10, 15) + " StockLeader10: " + P(0, 0, 1));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table_get_double(table.get(), 0, 3), -12.34);
  EXPECT_EQ(table_get_int64(table.get(), 0, 4), -77);
  EXPECT_EQ(table_get_double(table.get(), 0, 5), 0.0);
  EXPECT_TRUE(std::signbit(table_get_double(table.get(), 0, 5)));
}

TEST(PcStkData, MantissaAbove16BitsIsJoined) {
  const OwnedTable table = StkData("Obj: 'A' StockLeader: " + std::to_string(0x1001170));
  EXPECT_EQ(table_get_double(table.get(), 0, 3), 700.0);
}

TEST(PcStkData, RowsKeepWireOrderAndEachRowHasItsOwnMask) {
  const OwnedTable table = Convert(
      "Id: 465 RepDataPcStkData { Obj: 'B' JiaoYiDaiMa: 'b' StockLeader10: 100 }"
      "RepDataPcStkData { Obj: 'A' }"
      "RepDataPcStkData { Obj: 'B' LimitUpNum: 300 }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "B");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "A");
  EXPECT_EQ(TextAt(table.get(), 2, 0), "B");
  EXPECT_EQ(table_get_int64(table.get(), 0, kHasBits), 0x22);
  EXPECT_EQ(table_get_int64(table.get(), 1, kHasBits), 0);
  EXPECT_EQ(table_get_int64(table.get(), 2, kHasBits), 0x10);
  EXPECT_EQ(table_get_double(table.get(), 0, 5), 1.0);
  EXPECT_EQ(table_get_double(table.get(), 1, 5), 0.0);
  EXPECT_EQ(table_get_int64(table.get(), 2, 4), 3);
}

TEST(PcStkData, ManyRows) {
  std::string reply = "Id: 465 ";
  for (int i = 0; i < 1000; ++i)
    reply += "RepDataPcStkData { Obj: 'S" + std::to_string(i) +
             "' LimitUpNum: " + P(static_cast<uint64_t>(i), 10) + " } ";
  const OwnedTable table = Convert(reply);
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 1000);
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(TextAt(table.get(), i, 0), "S" + std::to_string(i));
    ASSERT_EQ(table_get_int64(table.get(), i, 4), i);
  }
}

TEST(PcStkData, TextEndsAtItsFirstZeroByte) {
  const OwnedTable table = StkData(R"(Obj: 'ab\000cd' JiaoYiDaiMa: 'ef\000gh' ZhongWenJianCheng: '\000')");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "ab");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "ef");
  EXPECT_EQ(TextAt(table.get(), 0, 2), "");
  EXPECT_EQ(table_get_int64(table.get(), 0, kHasBits), 0x6);
}

TEST(PcStkData, BytesThatAreNoUtf8StayInRawColumns) {
  const OwnedTable table = StkData(R"(Obj: '\xff' JiaoYiDaiMa: '\xff' ZhongWenJianCheng: '\xfe')");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "?");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "\xff");
  EXPECT_EQ(TextAt(table.get(), 0, 2), "\xfe");
}

TEST(PcStkData, NothingToShowIsNull) {
  EXPECT_EQ(Convert("Id: 465"), nullptr);
  EXPECT_EQ(Convert("Id: 465 RepDataPCJiBenXinXi { ShiJian: 5 }"), nullptr);
}

TEST(PcStkData, MissingObjIsNoReply) {
  EXPECT_EQ(StkData("JiaoYiDaiMa: '600000'"), nullptr);
}

// ---- Id 274: the server's times, wrapped in one row -------------------------------------------------------

TEST(PCJiBenXinXi, ThreeElementsAreOneRowWithThreeRowsInside) {
  const OwnedTable table = Convert("Id: 274 RepDataPCJiBenXinXi { ShiJian: " + P(20240103093000, 10) + " }" +
                                   "RepDataPCJiBenXinXi { ShiJian: " + P(1799) + " }" +
                                   "RepDataPCJiBenXinXi { ShiJian: " + P(199, 0, 1) + " }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "PCJiBenXinXi:t;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 1);
  void* times = table_get_table(table.get(), 0, 0);
  ASSERT_NE(times, nullptr);
  EXPECT_EQ(SpecOf(times), "ShiJian:q;");
  EXPECT_STREQ(table_name(times), "");
  ASSERT_EQ(table_rows(times), 3);
  EXPECT_EQ(table_get_int64(times, 0, 0), 20240103093000);
  EXPECT_EQ(table_get_int64(times, 1, 0), 17);
  EXPECT_EQ(table_get_int64(times, 2, 0), -1);
}

TEST(PCJiBenXinXi, OneElementIsOneRowInside) {
  const OwnedTable table = Convert("Id: 274 RepDataPCJiBenXinXi { ShiJian: " + P(93000, 10) + " }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 1);
  void* times = table_get_table(table.get(), 0, 0);
  ASSERT_EQ(table_rows(times), 1);
  EXPECT_EQ(table_get_int64(times, 0, 0), 93000);
}

TEST(PCJiBenXinXi, ManyElementsKeepWireOrder) {
  std::string reply = "Id: 274 ";
  for (int i = 0; i < 700; ++i)
    reply += "RepDataPCJiBenXinXi { ShiJian: " + P(static_cast<uint64_t>(7 * i), 10) + " } ";
  const OwnedTable table = Convert(reply);
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 1);
  void* times = table_get_table(table.get(), 0, 0);
  ASSERT_EQ(table_rows(times), 700);
  for (int i = 0; i < 700; ++i)
    ASSERT_EQ(table_get_int64(times, i, 0), 7 * i);
}

TEST(PCJiBenXinXi, AbsentTimeIsStoredAsZero) {
  const OwnedTable table = Convert("Id: 274 RepDataPCJiBenXinXi { }");
  ASSERT_NE(table, nullptr);
  void* times = table_get_table(table.get(), 0, 0);
  ASSERT_EQ(table_rows(times), 1);
  EXPECT_EQ(table_is_set(times, 0, 0), 1);
  EXPECT_EQ(table_get_int64(times, 0, 0), 0);
}

TEST(PCJiBenXinXi, TimesWithoutValueAreZero) {
  for (const std::string& value : {std::string("131072"), std::string("-5"), P(9, 2, 1), P(9, 11), P(9, 12),
                                   P(9, 13), P(9, 14), P(9, 15)}) {
    const OwnedTable table = Convert("Id: 274 RepDataPCJiBenXinXi { ShiJian: " + value + " }");
    ASSERT_NE(table, nullptr) << value;
    void* times = table_get_table(table.get(), 0, 0);
    EXPECT_EQ(table_is_set(times, 0, 0), 1) << value;
    EXPECT_EQ(table_get_int64(times, 0, 0), 0) << value;
  }
}

TEST(PCJiBenXinXi, NothingToShowIsNull) {
  EXPECT_EQ(Convert("Id: 274"), nullptr);
  EXPECT_EQ(Convert("Id: 274 RepDataPcStkData { Obj: 'A' }"), nullptr);
}

// ---- Id 303: chosen stocks --------------------------------------------------------------------------------

OwnedTable ChosenStocks(const std::string& fields) {
  return Convert("Id: 303 RepDataPcZiXuanGuShuJu { " + fields + " }");
}

TEST(PcZiXuanGuShuJu, EveryColumnHasItsFieldAndConversion) {
  const OwnedTable table = ChosenStocks("CaoZuoJieGuo: 0 BanBen: " + P(1799) +
                                        " YongHuXinXi { YongHuMingCheng: '中1' YongHuMiMa: '中2' }"
                                        " ZiXuanGuLieBiao { Obj: '中3' } ZiXuanGuLieBiao { Obj: '中4' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "CaoZuoJieGuo:i;BanBen:i;YongHuXinXi:t;ZiXuanGuLieBiao:t;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2 3");
  EXPECT_EQ(table_get_int(table.get(), 0, 0), 0);
  EXPECT_EQ(table_get_int(table.get(), 0, 1), 17);

  void* user = table_get_table(table.get(), 0, 2);
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(SpecOf(user), "YongHuMingCheng:s;YongHuMiMa:s;");
  EXPECT_STREQ(table_name(user), "");
  ASSERT_EQ(table_rows(user), 1);
  EXPECT_EQ(TextAt(user, 0, 0), kGb + "1");
  EXPECT_EQ(TextAt(user, 0, 1), kGb + "2");

  void* stocks = table_get_table(table.get(), 0, 3);
  ASSERT_NE(stocks, nullptr);
  EXPECT_EQ(SpecOf(stocks), "Obj:s;");
  EXPECT_STREQ(table_name(stocks), "");
  ASSERT_EQ(table_rows(stocks), 2);
  EXPECT_EQ(TextAt(stocks, 0, 0), kGb + "3");
  EXPECT_EQ(TextAt(stocks, 1, 0), kGb + "4");
}

TEST(PcZiXuanGuShuJu, EmptyListIsATableWithoutRows) {
  const OwnedTable table = ChosenStocks("CaoZuoJieGuo: 0");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 3");
  void* stocks = table_get_table(table.get(), 0, 3);
  ASSERT_NE(stocks, nullptr);
  EXPECT_EQ(SpecOf(stocks), "Obj:s;");
  EXPECT_EQ(table_rows(stocks), 0);
}

TEST(PcZiXuanGuShuJu, NonZeroResultDropsTheListOnly) {
  const OwnedTable table =
      ChosenStocks("CaoZuoJieGuo: " + P(3, 10) + " BanBen: " + P(8, 10) +
                   " YongHuXinXi { YongHuMingCheng: 'u' } ZiXuanGuLieBiao { Obj: 'SH600000' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2");
  EXPECT_EQ(table_get_int(table.get(), 0, 0), 3);
  EXPECT_EQ(table_get_int(table.get(), 0, 1), 8);
  EXPECT_EQ(TextAt(table_get_table(table.get(), 0, 2), 0, 0), "u");
}

TEST(PcZiXuanGuShuJu, NegativeResultDropsTheListToo) {
  const OwnedTable table =
      ChosenStocks("CaoZuoJieGuo: " + P(1, 10, 1) + " ZiXuanGuLieBiao { Obj: 'SH600000' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SetColumns(table.get(), 0), "0");
  EXPECT_EQ(table_get_int(table.get(), 0, 0), -1);
}

TEST(PcZiXuanGuShuJu, WithoutUserTheCellStaysUnset) {
  const OwnedTable table = ChosenStocks("CaoZuoJieGuo: 0 BanBen: 100");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table_is_set(table.get(), 0, 2), 0);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 3");
}

TEST(PcZiXuanGuShuJu, AbsentPasswordIsAnEmptyText) {
  const OwnedTable table = ChosenStocks("CaoZuoJieGuo: 0 YongHuXinXi { YongHuMingCheng: 'u' }");
  ASSERT_NE(table, nullptr);
  void* user = table_get_table(table.get(), 0, 2);
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(SetColumns(user, 0), "0 1");
  EXPECT_EQ(TextAt(user, 0, 1), "");
}

TEST(PcZiXuanGuShuJu, EachOptionalFieldAloneWritesItsColumn) {
  // A result of 1 keeps the list out of the way.
  const OwnedTable neither = ChosenStocks("CaoZuoJieGuo: " + P(1, 10));
  const OwnedTable version = ChosenStocks("CaoZuoJieGuo: " + P(1, 10) + " BanBen: 0");
  const OwnedTable user = ChosenStocks("CaoZuoJieGuo: " + P(1, 10) + " YongHuXinXi { YongHuMingCheng: '' }");
  EXPECT_EQ(SetColumns(neither.get(), 0), "0");
  EXPECT_EQ(SetColumns(version.get(), 0), "0 1");
  EXPECT_EQ(SetColumns(user.get(), 0), "0 2");
}

TEST(PcZiXuanGuShuJu, WhateverTruncatesToZeroLetsTheListThrough) {
  const std::vector<std::string> zeros = {
      "0",        P(75),      P(75, 0, 1), "-1",      "-9223372036854775808", "131072", P(500, 2), P(500, 11),
      P(500, 12), P(500, 13), P(500, 14),  P(500, 15)};
  for (const std::string& zero : zeros) {
    const OwnedTable table = ChosenStocks("CaoZuoJieGuo: " + zero + " ZiXuanGuLieBiao { Obj: 'SH600000' }");
    ASSERT_NE(table, nullptr) << zero;
    EXPECT_EQ(SetColumns(table.get(), 0), "0 3") << zero;
    EXPECT_EQ(table_get_int(table.get(), 0, 0), 0) << zero;
    EXPECT_EQ(TextAt(table_get_table(table.get(), 0, 3), 0, 0), "SH600000") << zero;
  }
}

TEST(PcZiXuanGuShuJu, ResultOfOneAndMoreIsCutButNotToZero) {
  const OwnedTable table = ChosenStocks("CaoZuoJieGuo: " + P(199) + " ZiXuanGuLieBiao { Obj: 'SH600000' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table_get_int(table.get(), 0, 0), 1);
  EXPECT_EQ(SetColumns(table.get(), 0), "0");
}

TEST(PcZiXuanGuShuJu, ColumnsOf32BitsKeepWhatFits) {
  const OwnedTable most =
      ChosenStocks("CaoZuoJieGuo: " + P(2147483647, 10) + " BanBen: " + P(2147483647, 10));
  EXPECT_EQ(table_get_int(most.get(), 0, 0), INT_MAX);
  EXPECT_EQ(table_get_int(most.get(), 0, 1), INT_MAX);
  const OwnedTable least =
      ChosenStocks("CaoZuoJieGuo: " + P(2147483648, 10, 1) + " BanBen: " + P(2147483648, 10, 1));
  EXPECT_EQ(table_get_int(least.get(), 0, 0), INT_MIN);
  EXPECT_EQ(table_get_int(least.get(), 0, 1), INT_MIN);
}

TEST(PcZiXuanGuShuJu, NumbersThatDoNotFitLeaveTheirCellsUnset) {
  for (const std::string& wide : {P(2147483648, 10), P(2147483649, 10, 1), P(5000000000, 10)}) {
    const OwnedTable table =
        ChosenStocks("CaoZuoJieGuo: " + wide + " BanBen: " + wide +
                     " YongHuXinXi { YongHuMingCheng: 'u' } ZiXuanGuLieBiao { Obj: 'A' }");
    ASSERT_NE(table, nullptr) << wide;
    EXPECT_EQ(SetColumns(table.get(), 0), "2") << wide;
  }
}

TEST(PcZiXuanGuShuJu, TheListFollowsAll64BitsOfTheResult) {
  // 2^32: nothing but zeros in the 32 bits of the column.
  const OwnedTable table =
      ChosenStocks("CaoZuoJieGuo: " + P(4294967296, 10) + " ZiXuanGuLieBiao { Obj: 'A' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SetColumns(table.get(), 0), "");
}

TEST(PcZiXuanGuShuJu, VersionWithItsTopBitSetIsZero) {
  for (const std::string value : {"9223372036854775808", "18446744073709551615", "9223372036854777042"}) {
    const OwnedTable table = ChosenStocks("CaoZuoJieGuo: 0 BanBen: " + value);
    ASSERT_NE(table, nullptr) << value;
    EXPECT_EQ(table_is_set(table.get(), 0, 1), 1) << value;
    EXPECT_EQ(table_get_int(table.get(), 0, 1), 0) << value;
  }
}

TEST(PcZiXuanGuShuJu, VersionIsDecodedWithSignAndScale) {
  EXPECT_EQ(table_get_int(ChosenStocks("CaoZuoJieGuo: 0 BanBen: " + P(1799, 1, 1)).get(), 0, 1), -179);
  EXPECT_EQ(table_get_int(ChosenStocks("CaoZuoJieGuo: 0 BanBen: " + P(70000, 10)).get(), 0, 1), 70000);
  EXPECT_EQ(table_get_int(ChosenStocks("CaoZuoJieGuo: 0 BanBen: " + P(70000, 11)).get(), 0, 1), 0);
  EXPECT_EQ(table_get_int(ChosenStocks("CaoZuoJieGuo: 0 BanBen: 131072").get(), 0, 1), 0);
}

TEST(PcZiXuanGuShuJu, RowsKeepWireOrderAndTheirOwnLists) {
  const OwnedTable table = Convert("Id: 303 RepDataPcZiXuanGuShuJu { CaoZuoJieGuo: " + P(2, 10) +
                                   " ZiXuanGuLieBiao { Obj: 'A' } }"
                                   "RepDataPcZiXuanGuShuJu { CaoZuoJieGuo: 0 ZiXuanGuLieBiao { Obj: 'B' } }"
                                   "RepDataPcZiXuanGuShuJu { CaoZuoJieGuo: 0 BanBen: 900"
                                   " ZiXuanGuLieBiao { Obj: 'D' } ZiXuanGuLieBiao { Obj: 'C' } }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(SetColumns(table.get(), 0), "0");
  EXPECT_EQ(SetColumns(table.get(), 1), "0 3");
  EXPECT_EQ(SetColumns(table.get(), 2), "0 1 3");
  EXPECT_EQ(table_get_int(table.get(), 0, 0), 2);
  EXPECT_EQ(table_get_int(table.get(), 2, 1), 9);
  EXPECT_EQ(table_rows(table_get_table(table.get(), 1, 3)), 1);
  EXPECT_EQ(TextAt(table_get_table(table.get(), 1, 3), 0, 0), "B");
  EXPECT_EQ(table_rows(table_get_table(table.get(), 2, 3)), 2);
  EXPECT_EQ(TextAt(table_get_table(table.get(), 2, 3), 0, 0), "D");
  EXPECT_EQ(TextAt(table_get_table(table.get(), 2, 3), 1, 0), "C");
}

TEST(PcZiXuanGuShuJu, LongLists) {
  std::string fields = "CaoZuoJieGuo: 0";
  for (int i = 0; i < 500; ++i)
    fields += " ZiXuanGuLieBiao { Obj: 'SZ" + std::to_string(i) + "' }";
  const OwnedTable table = ChosenStocks(fields);
  ASSERT_NE(table, nullptr);
  void* stocks = table_get_table(table.get(), 0, 3);
  ASSERT_EQ(table_rows(stocks), 500);
  for (int i = 0; i < 500; ++i)
    ASSERT_EQ(TextAt(stocks, i, 0), "SZ" + std::to_string(i));
}

TEST(PcZiXuanGuShuJu, NothingToShowIsNull) {
  EXPECT_EQ(Convert("Id: 303"), nullptr);
  EXPECT_EQ(Convert("Id: 303 RepDataPcStkData { Obj: 'A' }"), nullptr);
}

TEST(PcZiXuanGuShuJu, MissingRequiredFieldsAreNoReply) {
  EXPECT_EQ(ChosenStocks("BanBen: 1"), nullptr);
  EXPECT_EQ(ChosenStocks("CaoZuoJieGuo: 0 YongHuXinXi { YongHuMiMa: 'p' }"), nullptr);
  EXPECT_EQ(ChosenStocks("CaoZuoJieGuo: 0 ZiXuanGuLieBiao { }"), nullptr);
}

}  // namespace
