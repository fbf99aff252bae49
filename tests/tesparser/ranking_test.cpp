// Rankings and picks: Ids 28, 115, 313, 414, 421, 433.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tesparser/tesparser.h"
#include "tests/support/packed_text.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using test_replies::P;

constexpr int kIntMin = std::numeric_limits<int>::min();

OwnedTable Convert(const std::string& text) {
  return OwnedTable(TesparserPB2Table(test_replies::Reply(WithPacked(text))));
}

// Replies of one element, given what the element holds besides its required members.
OwnedTable Sorted(const std::string& members) {
  return Convert("Id: 28 RepDataPaiXu { Obj: 'SH600000' " + members + "}");
}
OwnedTable Ranked(const std::string& members) {
  return Convert("Id: 115 RepDataPaiMing { Obj: 'SH600000' " + members + "}");
}
OwnedTable Picked(const std::string& members) {
  return Convert("Id: 313 RepDataZBXuanGu { DaiMa: 'SH600000' " + members + "}");
}
OwnedTable Blocks(const std::string& members) {
  return Convert("Id: 414 RepDataPcBanKuaiFuWuFanHuiShuJu { " + members + "}");
}
OwnedTable Indicator(const std::string& members) {
  return Convert("Id: 421 RepDataZhiBiaoSort { Total: 1 Zjxf { Obj: 'SH600000' " + members + "} }");
}
OwnedTable Calculated(const std::string& members) {
  return Convert("Id: 433 RepDataIndiCalcSortOutput { Obj: 'SH600000' " + members + "}");
}

// The signal table of the first stock.
void* Signals(const OwnedTable& table) {
  return table_get_table(table.get(), 0, 2);
}

// "送" as the service sends it: three bytes of UTF-8. Transcoded text would have two.
constexpr char kSong[] = "\xE9\x80\x81";

TEST(Rankings, EmptyReplies) {
  EXPECT_EQ(Convert("Id: 28"), nullptr);
  EXPECT_EQ(Convert("Id: 115"), nullptr);
  EXPECT_EQ(Convert("Id: 414"), nullptr);
  EXPECT_EQ(Convert("Id: 421"), nullptr);
  EXPECT_EQ(Convert("Id: 433"), nullptr);
  const OwnedTable picks = Convert("Id: 313");
  ASSERT_NE(picks, nullptr);
  EXPECT_EQ(table_rows(picks.get()), 0);
  EXPECT_EQ(SpecOf(picks.get()), "DaiMa:s;MingCheng:s;ZBXuanGuShuJu:t;");
  EXPECT_STREQ(table_name(picks.get()), "");
}

TEST(Rankings, TheIdAloneChoosesTheField) {
  EXPECT_EQ(Convert("Id: 28 RepDataPaiMing { Obj: 'a' }"), nullptr);
  EXPECT_EQ(Convert("Id: 433 RepDataZhiBiaoSort { Total: 0 }"), nullptr);
}

TEST(Rankings, MissingRequiredMemberIsNoReply) {
  EXPECT_EQ(Convert("Id: 28 RepDataPaiXu { Value: 1 }"), nullptr);
  EXPECT_EQ(Convert("Id: 115 RepDataPaiMing { MingCi: 1 }"), nullptr);
  EXPECT_EQ(Convert("Id: 313 RepDataZBXuanGu { MingCheng: 'a' }"), nullptr);
  EXPECT_EQ(Convert("Id: 421 RepDataZhiBiaoSort { Zjxf { Obj: 'a' } }"), nullptr);
  EXPECT_EQ(Convert("Id: 421 RepDataZhiBiaoSort { Total: 1 Zjxf { Value: 1 } }"), nullptr);
  EXPECT_EQ(Convert("Id: 433 RepDataIndiCalcSortOutput { AcyDn: 1 }"), nullptr);
}

// ---- decoded cells -------------------------------------------------------------------------------

struct Decoding {
  const char* what;
  int64_t packed;
  double number;
};

class DecodedCells : public testing::TestWithParam<Decoding> {};

INSTANTIATE_TEST_SUITE_P(Rankings, DecodedCells,
                         testing::Values(Decoding{"Hundredths", 1234, 12.34},
                                         Decoding{"Tenths", test_replies::Packed(1234, 1), 123.4},
                                         Decoding{"Thousandths", test_replies::Packed(1234, 3), 1.234},
                                         Decoding{"Whole", test_replies::Packed(1234, 10), 1234.0},
                                         Decoding{"Negative", test_replies::Packed(1234, 0, 1), -12.34},
                                         Decoding{"AnySignNibble", test_replies::Packed(1234, 0, 15), -12.34},
                                         Decoding{"WideMantissa", test_replies::Packed(70000), 700.0},
                                         Decoding{"Zero", 0, 0.0}, Decoding{"NegativeRaw", -1, 0.0},
                                         Decoding{"ScaleTwo", test_replies::Packed(1234, 2), 0.0},
                                         Decoding{"Scale11", test_replies::Packed(1234, 11), 0.0},
                                         Decoding{"Scale15", test_replies::Packed(1234, 15), 0.0}),
                         [](const auto& test) { return test.param.what; });

TEST_P(DecodedCells, InEveryTable) {
  const std::string p = std::to_string(GetParam().packed);
  EXPECT_EQ(table_get_double(Sorted("Value: " + p).get(), 0, 1), GetParam().number);
  EXPECT_EQ(table_get_double(Indicator("Value: " + p).get(), 0, 1), GetParam().number);
  EXPECT_EQ(table_get_double(Calculated("AcyDn: " + p).get(), 0, 1), GetParam().number);
  EXPECT_EQ(table_get_double(Calculated("AcyErShiYiRiPh: " + p).get(), 0, 1), GetParam().number);
  EXPECT_EQ(table_get_double(Signals(Picked("ShuJu { XinHaoJiaGe: " + p + " }")), 0, 1), GetParam().number);
  const OwnedTable blocks =
      Blocks("Data { ZuiXinJia: " + p + " ZiJinJingE: " + p + " ShiYingLv: " + p + " ShiJingLv: " + p + " }");
  for (int col = 2; col <= 5; ++col)
    EXPECT_EQ(table_get_double(blocks.get(), 0, col), GetParam().number) << col;
}

// Sent as "no value": zero with its bit, except in the sorted list.
TEST(Rankings, NoValueIsZeroOutsideTheSortedList) {
  const OwnedTable indicator = Indicator("Value: 131072");
  EXPECT_EQ(SetColumns(indicator.get(), 0), "0 1 2");
  EXPECT_EQ(table_get_double(indicator.get(), 0, 1), 0.0);
  EXPECT_EQ(table_get_int64(indicator.get(), 0, 2), 2);
  const OwnedTable calculated = Calculated("AcyDn: 131072 AcyLxph: 100");
  EXPECT_EQ(SetColumns(calculated.get(), 0), "0 1 2");
  EXPECT_EQ(table_get_double(calculated.get(), 0, 1), 0.0);
  EXPECT_EQ(table_get_int64(calculated.get(), 0, 2), 2);
  const OwnedTable blocks = Blocks("Data { ShiJingLv: 131072 }");
  EXPECT_EQ(table_get_double(blocks.get(), 0, 5), 0.0);
  EXPECT_EQ(table_get_int64(blocks.get(), 0, 7), 32);
}

// ---- truncated cells ----------------------------------------------------------------------------

struct Truncation {
  const char* what;
  int64_t packed;
  int as_int;
  int64_t as_int64;
};

class TruncatedCells : public testing::TestWithParam<Truncation> {};

INSTANTIATE_TEST_SUITE_P(
    Rankings, TruncatedCells,
    testing::Values(Truncation{"FractionIsCut", test_replies::Packed(29, 1), 2, 2},               // 2.9
                    Truncation{"NegativeFractionIsCut", test_replies::Packed(29, 1, 1), -2, -2},  // -2.9
                    Truncation{"HalfIsCut", test_replies::Packed(250), 2, 2},                     // 2.50
                    Truncation{"BareIntegerIsHundredths", 10, 0, 0},                              // 0.10
                    Truncation{"NoValue", 131072, 0, 0}, Truncation{"NegativeRaw", -1, 0, 0},
                    Truncation{"Scale11", test_replies::Packed(5, 11), 0, 0},
                    Truncation{"Scale15", test_replies::Packed(5, 15), 0, 0},
                    Truncation{"LargestInt", test_replies::Packed(2147483647, 10), 2147483647, 2147483647},
                    Truncation{"AboveInt", test_replies::Packed(2147483648, 10), kIntMin, 2147483648},
                    Truncation{"BelowInt", test_replies::Packed(3000000000, 10, 1), kIntMin, -3000000000}),
    [](const auto& test) { return test.param.what; });

TEST_P(TruncatedCells, InEveryTable) {
  const std::string p = std::to_string(GetParam().packed);
  EXPECT_EQ(table_get_int(Ranked("MingCi: " + p).get(), 0, 0), GetParam().as_int);
  const OwnedTable picks =
      Picked("ShuJu { XinHaoShiJian: " + p + " ShiJianLeiXing: " + p + " XinHaoLeiXing: " + p + " }");
  EXPECT_EQ(table_get_int64(Signals(picks), 0, 0), GetParam().as_int64);
  EXPECT_EQ(table_get_int(Signals(picks), 0, 2), GetParam().as_int);
  EXPECT_EQ(table_get_int(Signals(picks), 0, 3), GetParam().as_int);
}

// ---- Id 28 --------------------------------------------------------------------------------------

TEST(SortedList, EveryColumn) {
  const OwnedTable table = Convert(R"(
    Id: 28
    RepDataPaiXu { Obj: 'SH600000' Value: <12.34> Text: '第一' }
    RepDataPaiXu { Obj: 'SZ000001' Value: <43.21> Text: '第二' }
    RepDataPaiXu { Obj: 'SH600036' Value: <0.05> Text: '第三' })");
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;Value:d;Text:s;HasBits:q;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2 3");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  EXPECT_EQ(table_get_double(table.get(), 0, 1), 12.34);
  EXPECT_EQ(TextAt(table.get(), 0, 2), "第一");
  EXPECT_EQ(table_get_int64(table.get(), 0, 3), 6);
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  EXPECT_EQ(table_get_double(table.get(), 1, 1), 43.21);
  EXPECT_EQ(TextAt(table.get(), 1, 2), "第二");
  EXPECT_EQ(TextAt(table.get(), 2, 0), "SH600036");
  EXPECT_EQ(table_get_double(table.get(), 2, 1), 0.05);
  EXPECT_EQ(TextAt(table.get(), 2, 2), "第三");
}

TEST(SortedList, ObjectAloneHasAnEmptyMask) {
  const OwnedTable table = Sorted("");
  EXPECT_EQ(SetColumns(table.get(), 0), "0 3");
  EXPECT_EQ(table_get_int64(table.get(), 0, 3), 0);
}

TEST(SortedList, ValueAlone) {
  const OwnedTable table = Sorted("Value: 1234");
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 3");
  EXPECT_EQ(table_get_int64(table.get(), 0, 3), 2);
}

TEST(SortedList, TextAlone) {
  const OwnedTable table = Sorted("Text: ''");  // empty, yet sent
  EXPECT_EQ(SetColumns(table.get(), 0), "0 2 3");
  EXPECT_EQ(TextAt(table.get(), 0, 2), "");
  EXPECT_EQ(table_get_int64(table.get(), 0, 3), 4);
}

TEST(SortedList, NoValueCountsAsNotSent) {
  const OwnedTable table = Sorted("Value: 131072 Text: 'a'");
  EXPECT_EQ(SetColumns(table.get(), 0), "0 2 3");
  EXPECT_EQ(table_get_int64(table.get(), 0, 3), 4);
}

TEST(SortedList, OtherZerosAreValues) {
  for (const char* zero :
       {"0", "196608", "135168", "-1"}) {  // 196608: scale 3; 135168: scale 2 with mantissa
    const OwnedTable table = Sorted(std::string("Value: ") + zero);
    EXPECT_EQ(SetColumns(table.get(), 0), "0 1 3") << zero;
    EXPECT_EQ(table_get_double(table.get(), 0, 1), 0.0) << zero;
    EXPECT_EQ(table_get_int64(table.get(), 0, 3), 2) << zero;
  }
}

// "No value" in the low half alone is another number: both halves are compared.
TEST(SortedList, NoValueIsComparedInFull) {
  const OwnedTable table = Sorted("Value: 4295098368");  // 2^32 + 131072
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 3");
  EXPECT_EQ(table_get_int64(table.get(), 0, 3), 2);
}

TEST(SortedList, MinusZeroKeepsItsSign) {
  const OwnedTable table = Sorted("Value: " + P(0, 0, 1));
  EXPECT_TRUE(std::signbit(table_get_double(table.get(), 0, 1)));
}

TEST(SortedList, TextIsNotTranscodedAndCutAtAZeroByte) {
  const OwnedTable table = Convert("Id: 28 RepDataPaiXu { Obj: '送' Text: '送\\000x' }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), kSong);
  EXPECT_EQ(TextAt(table.get(), 0, 2), kSong);
}

// ---- Id 115 -------------------------------------------------------------------------------------

TEST(Ranks, RankNumbersAloneInWireOrder) {
  const OwnedTable table = Convert(R"(
    Id: 115
    RepDataPaiMing { Obj: 'SH600000' Value: 777 Text: 'x' MingCi: <30> }
    RepDataPaiMing { Obj: 'SZ000001' Value: 888 Text: 'y' MingCi: <10> }
    RepDataPaiMing { Obj: 'SH600036' Value: 999 Text: 'z' MingCi: <20> })");
  EXPECT_EQ(SpecOf(table.get()), "Index:i;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(table_get_int(table.get(), 0, 0), 30);
  EXPECT_EQ(table_get_int(table.get(), 1, 0), 10);
  EXPECT_EQ(table_get_int(table.get(), 2, 0), 20);
}

TEST(Ranks, FractionIsCut) {
  EXPECT_EQ(table_get_int(Ranked("MingCi: 1299").get(), 0, 0), 12);  // 12.99
}

TEST(Ranks, AbsentRankIsZero) {
  const OwnedTable table = Ranked("Value: 777");
  EXPECT_EQ(SetColumns(table.get(), 0), "0");
  EXPECT_EQ(table_get_int(table.get(), 0, 0), 0);
}

// ---- Id 313 -------------------------------------------------------------------------------------

TEST(Picks, EveryColumnOfBothLevels) {
  const OwnedTable table = Convert(R"(
    Id: 313
    RepDataZBXuanGu { DaiMa: 'SH600000' MingCheng: '浦发银行'
      ShuJu { XinHaoShiJian: <20240605> XinHaoJiaGe: <8.12> ShiJianLeiXing: <3> XinHaoLeiXing: <4>
        ShouPanJia: <9.99> }
      ShuJu { XinHaoShiJian: <20240606> XinHaoJiaGe: <8.23> ShiJianLeiXing: <5> XinHaoLeiXing: <6>
        ShouPanJia: <9.98> }
    }
    RepDataZBXuanGu { DaiMa: 'SZ000001' MingCheng: '平安银行'
      ShuJu { XinHaoShiJian: <20240607> }
    })");
  EXPECT_EQ(SpecOf(table.get()), "DaiMa:s;MingCheng:s;ZBXuanGuShuJu:t;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "浦发银行");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  EXPECT_EQ(TextAt(table.get(), 1, 1), "平安银行");

  void* signals = Signals(table);
  EXPECT_EQ(SpecOf(signals), "XinHaoShiJian:q;XinHaoJiaGe:d;ShiJianLeiXing:i;XinHaoLeiXing:i;");
  EXPECT_STREQ(table_name(signals), "");
  ASSERT_EQ(table_rows(signals), 2);
  EXPECT_EQ(SetColumns(signals, 0), "0 1 2 3");
  EXPECT_EQ(table_get_int64(signals, 0, 0), 20240605);
  EXPECT_EQ(table_get_double(signals, 0, 1), 8.12);
  EXPECT_EQ(table_get_int(signals, 0, 2), 3);
  EXPECT_EQ(table_get_int(signals, 0, 3), 4);
  EXPECT_EQ(table_get_int64(signals, 1, 0), 20240606);
  EXPECT_EQ(table_get_double(signals, 1, 1), 8.23);
  EXPECT_EQ(table_get_int(signals, 1, 2), 5);
  EXPECT_EQ(table_get_int(signals, 1, 3), 6);
  EXPECT_EQ(table_rows(table_get_table(table.get(), 1, 2)), 1);
  EXPECT_EQ(table_get_int64(table_get_table(table.get(), 1, 2), 0, 0), 20240607);
}

TEST(Picks, StockWithoutSignalsLeavesTheCellUnset) {
  const OwnedTable table = Convert(
      "Id: 313 RepDataZBXuanGu { DaiMa: 'SH600000' MingCheng: 'a' } RepDataZBXuanGu { DaiMa: 'SZ000001' }");
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1");
  EXPECT_EQ(SetColumns(table.get(), 1), "0 1");
  EXPECT_EQ(TextAt(table.get(), 1, 1), "");  // the name was not sent
}

TEST(Picks, AbsentSignalMembersAreZero) {
  const OwnedTable table = Picked("ShuJu { ShouPanJia: 999 }");
  EXPECT_EQ(SetColumns(Signals(table), 0), "0 1 2 3");
  EXPECT_EQ(table_get_int64(Signals(table), 0, 0), 0);
  EXPECT_EQ(table_get_double(Signals(table), 0, 1), 0.0);
  EXPECT_EQ(table_get_int(Signals(table), 0, 2), 0);
  EXPECT_EQ(table_get_int(Signals(table), 0, 3), 0);
}

// A time with seconds is beyond 32 bits.
TEST(Picks, TimesAreWide) {
  const OwnedTable table = Picked("ShuJu { XinHaoShiJian: <20240605093000> }");
  EXPECT_EQ(table_get_int64(Signals(table), 0, 0), 20240605093000);
}

TEST(Picks, TextIsNotTranscoded) {
  const OwnedTable table = Convert("Id: 313 RepDataZBXuanGu { DaiMa: '送' MingCheng: '送' }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), kSong);
  EXPECT_EQ(TextAt(table.get(), 0, 1), kSong);
}

// ---- Id 414 -------------------------------------------------------------------------------------

TEST(BlockFigures, EveryColumn) {
  const OwnedTable table = Convert(R"(
    Id: 414
    RepDataPcBanKuaiFuWuFanHuiShuJu {
      ShuJuZongGeShu: <321> ShiJian: <999>
      Data { Obj: 'BK0475' MingCheng: '银行'
        ZiJinJingE: <2.01> ShiYingLv: <3.01> ShiJingLv: <4.01> ZuiXinJia: <1.01> PingJunZhangFu: <9.01>
        ZhangFu: <9.02> ZhangFuDeFen: <9.03> DieFuDeFen: <9.04> LeiXing: <9.05> }
      Data { Obj: 'BK0473' MingCheng: '证券'
        ZiJinJingE: <2.02> ShiYingLv: <3.02> ShiJingLv: <4.02> ZuiXinJia: <1.02> }
    })");
  EXPECT_EQ(SpecOf(table.get()),
            "Obj:s;MingCheng:s;ZuiXinJia:d;ZiJinJingE:d;ShiYingLv:d;ShiJingLv:d;ShuJuZongGeShu:i;HasBits:q;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2 3 4 5 6 7");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "BK0475");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "银行");
  EXPECT_EQ(table_get_double(table.get(), 0, 2), 1.01);
  EXPECT_EQ(table_get_double(table.get(), 0, 3), 2.01);
  EXPECT_EQ(table_get_double(table.get(), 0, 4), 3.01);
  EXPECT_EQ(table_get_double(table.get(), 0, 5), 4.01);
  EXPECT_EQ(table_get_int(table.get(), 0, 6), 321);
  EXPECT_EQ(table_get_int64(table.get(), 0, 7), 60);
  EXPECT_EQ(TextAt(table.get(), 1, 0), "BK0473");
  EXPECT_EQ(TextAt(table.get(), 1, 1), "证券");
  EXPECT_EQ(table_get_double(table.get(), 1, 2), 1.02);
  EXPECT_EQ(table_get_double(table.get(), 1, 3), 2.02);
  EXPECT_EQ(table_get_double(table.get(), 1, 4), 3.02);
  EXPECT_EQ(table_get_double(table.get(), 1, 5), 4.02);
  EXPECT_EQ(table_get_int(table.get(), 1, 6), 321);
  EXPECT_EQ(table_get_int64(table.get(), 1, 7), 60);
}

TEST(BlockFigures, OnlyTheFirstElementCounts) {
  const OwnedTable table = Convert(R"(
    Id: 414
    RepDataPcBanKuaiFuWuFanHuiShuJu { ShuJuZongGeShu: <1> Data { Obj: 'a' ZuiXinJia: 1 } }
    RepDataPcBanKuaiFuWuFanHuiShuJu { ShuJuZongGeShu: <2>
      Data { Obj: 'b' ZuiXinJia: 2 } Data { Obj: 'c' ZuiXinJia: 3 } })");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "a");
  EXPECT_EQ(table_get_int(table.get(), 0, 6), 1);
}

TEST(BlockFigures, ElementWithoutBlocksIsATableWithoutRows) {
  const OwnedTable table = Blocks("ShuJuZongGeShu: 1");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table_rows(table.get()), 0);
}

TEST(BlockFigures, OneFigureFillsTheRow) {
  const OwnedTable table = Blocks("Data { ZiJinJingE: 201 }");
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2 3 4 5 6 7");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "");
  EXPECT_EQ(table_get_double(table.get(), 0, 2), 0.0);
  EXPECT_EQ(table_get_double(table.get(), 0, 3), 2.01);
  EXPECT_EQ(table_get_double(table.get(), 0, 4), 0.0);
  EXPECT_EQ(table_get_double(table.get(), 0, 5), 0.0);
  EXPECT_EQ(table_get_int(table.get(), 0, 6), 0);
  EXPECT_EQ(table_get_int64(table.get(), 0, 7), 8);
}

TEST(BlockFigures, MaskOfEveryFigureOnItsOwn) {
  EXPECT_EQ(table_get_int64(Blocks("Data { ZuiXinJia: 0 }").get(), 0, 7), 4);
  EXPECT_EQ(table_get_int64(Blocks("Data { ZiJinJingE: 0 }").get(), 0, 7), 8);
  EXPECT_EQ(table_get_int64(Blocks("Data { ShiYingLv: 0 }").get(), 0, 7), 16);
  EXPECT_EQ(table_get_int64(Blocks("Data { ShiJingLv: 0 }").get(), 0, 7), 32);
}

TEST(BlockFigures, BlockWithoutFiguresLeavesItsRowUnset) {
  const OwnedTable table = Blocks(R"(
    Data { Obj: 'a' ZuiXinJia: 1 }
    Data { Obj: 'b' MingCheng: 'n' PingJunZhangFu: 901 ZhangFu: 902 ZhangFuDeFen: 903 DieFuDeFen: 904 LeiXing: 905 }
    Data { Obj: 'c' ShiJingLv: 1 })");
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "a");
  EXPECT_EQ(SetColumns(table.get(), 1), "");
  EXPECT_EQ(TextAt(table.get(), 2, 0), "c");
}

// The number of blocks, given the raw count of the reply.
int Total(const std::string& raw) {
  return table_get_int(Blocks("ShuJuZongGeShu: " + raw + " Data { ZuiXinJia: 1 }").get(), 0, 6);
}

TEST(BlockFigures, TotalIsDecodedAndCut) {
  EXPECT_EQ(Total("10"), 0);     // 0.10
  EXPECT_EQ(Total("1299"), 12);  // 12.99
  EXPECT_EQ(Total("<5000>"), 5000);
  EXPECT_EQ(Total("<-2.9>"), -2);
  EXPECT_EQ(Total("131072"), 0);
  EXPECT_EQ(Total(P(5000, 11)), 0);
}

TEST(BlockFigures, TotalIsReadFromTheLowHalf) {
  // Mantissa 0x7F1234 in whole: bits 0 to 15 are 0x1234, and 0x7F stands in bits 24 to 30.
  EXPECT_EQ(Total("2131366452"), 0x7F1234);  // 0x7F0A1234
  // The next mantissa bit is bit 31, the sign of the low half.
  EXPECT_EQ(Total("2148143668"), 0);  // 0x800A1234
  EXPECT_EQ(Total("4294967295"), 0);  // 0xFFFFFFFF
  // Mantissa bits that stand above bit 31 are lost.
  EXPECT_EQ(Total("4295627316"), 0x1234);   // 0x1000A1234
  EXPECT_EQ(Total("8607371828"), 0x11234);  // 0x2010A1234
  // Negative as a whole, yet a number in its low half; -1 is not.
  EXPECT_EQ(Total("-4294307276"), 0x1234);  // 0xFFFFFFFF000A1234
  EXPECT_EQ(Total("-1"), 0);
}

TEST(BlockFigures, TextIsNotTranscoded) {
  const OwnedTable table = Blocks("Data { Obj: '送' MingCheng: '送' ZuiXinJia: 1 }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), kSong);
  EXPECT_EQ(TextAt(table.get(), 0, 1), kSong);
}

// ---- Id 421 -------------------------------------------------------------------------------------

TEST(IndicatorRanking, EveryColumn) {
  const OwnedTable table = Convert(R"(
    Id: 421
    RepDataZhiBiaoSort { Total: 77
      Zjxf { Obj: 'SH600000' Value: <12.34> } Zjxf { Obj: 'SZ000001' Value: <43.21> } })");
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;Value:d;HasBits:q;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 2);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  EXPECT_EQ(table_get_double(table.get(), 0, 1), 12.34);
  EXPECT_EQ(table_get_int64(table.get(), 0, 2), 2);
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
  EXPECT_EQ(table_get_double(table.get(), 1, 1), 43.21);
  EXPECT_EQ(table_get_int64(table.get(), 1, 2), 2);
}

TEST(IndicatorRanking, TheLastElementCounts) {
  const OwnedTable table = Convert(R"(
    Id: 421
    RepDataZhiBiaoSort { Total: 2 Zjxf { Obj: 'a' } Zjxf { Obj: 'b' } }
    RepDataZhiBiaoSort { Total: 3 Zjxf { Obj: 'c' } Zjxf { Obj: 'd' } Zjxf { Obj: 'e' } })");
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "c");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "d");
  EXPECT_EQ(TextAt(table.get(), 2, 0), "e");
}

TEST(IndicatorRanking, AnEmptyLastElementIsATableWithoutRows) {
  const OwnedTable table =
      Convert("Id: 421 RepDataZhiBiaoSort { Total: 1 Zjxf { Obj: 'a' } } RepDataZhiBiaoSort { Total: 0 }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table_rows(table.get()), 0);
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;Value:d;HasBits:q;");
}

TEST(IndicatorRanking, AbsentValueIsZeroWithoutItsBit) {
  const OwnedTable table = Indicator("");
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2");
  EXPECT_EQ(table_get_double(table.get(), 0, 1), 0.0);
  EXPECT_EQ(table_get_int64(table.get(), 0, 2), 0);
}

TEST(IndicatorRanking, ZeroSentHasItsBit) {
  EXPECT_EQ(table_get_int64(Indicator("Value: 0").get(), 0, 2), 2);
}

TEST(IndicatorRanking, TextIsNotTranscoded) {
  const OwnedTable table = Convert("Id: 421 RepDataZhiBiaoSort { Total: 1 Zjxf { Obj: '送' } }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), kSong);
}

// ---- Id 433 -------------------------------------------------------------------------------------

TEST(CalculatedRanking, EachIndicatorAlone) {
  const OwnedTable table = Convert(R"(
    Id: 433
    RepDataIndiCalcSortOutput { Obj: 'a' AcyDn: <1.01> }
    RepDataIndiCalcSortOutput { Obj: 'b' AcyLxph: <1.02> }
    RepDataIndiCalcSortOutput { Obj: 'c' AcyQiRiPh: <1.03> }
    RepDataIndiCalcSortOutput { Obj: 'd' AcyShiSiRiPh: <1.04> }
    RepDataIndiCalcSortOutput { Obj: 'e' AcyErShiYiRiPh: <1.05> })");
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;Value:d;HasBits:q;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 5);
  const char* const objects[] = {"a", "b", "c", "d", "e"};
  const double values[] = {1.01, 1.02, 1.03, 1.04, 1.05};
  for (int row = 0; row < 5; ++row) {
    EXPECT_EQ(SetColumns(table.get(), row), "0 1 2") << row;
    EXPECT_EQ(TextAt(table.get(), row, 0), objects[row]);
    EXPECT_EQ(table_get_double(table.get(), row, 1), values[row]);
    EXPECT_EQ(table_get_int64(table.get(), row, 2), 2) << row;
  }
}

TEST(CalculatedRanking, OfSeveralIndicatorsTheFirstCounts) {
  const auto value = [](const char* members) { return table_get_double(Calculated(members).get(), 0, 1); };
  EXPECT_EQ(value("AcyDn: 101 AcyLxph: 102 AcyQiRiPh: 103 AcyShiSiRiPh: 104 AcyErShiYiRiPh: 105"), 1.01);
  EXPECT_EQ(value("AcyLxph: 102 AcyQiRiPh: 103 AcyShiSiRiPh: 104 AcyErShiYiRiPh: 105"), 1.02);
  EXPECT_EQ(value("AcyQiRiPh: 103 AcyShiSiRiPh: 104 AcyErShiYiRiPh: 105"), 1.03);
  EXPECT_EQ(value("AcyShiSiRiPh: 104 AcyErShiYiRiPh: 105"), 1.04);
  EXPECT_EQ(value("AcyQiRiPh: 103 AcyDn: 101"), 1.01);
  EXPECT_EQ(value("AcyErShiYiRiPh: 105 AcyDn: 0"), 0.0);  // sent, though zero
}

TEST(CalculatedRanking, NoIndicatorLeavesTheValueUnset) {
  const OwnedTable table = Calculated("");
  EXPECT_EQ(SetColumns(table.get(), 0), "0 2");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  EXPECT_EQ(table_get_int64(table.get(), 0, 2), 0);
}

TEST(CalculatedRanking, NegativeRawIsZeroWithItsBit) {
  const OwnedTable table = Calculated("AcyDn: -5");
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2");
  EXPECT_EQ(table_get_double(table.get(), 0, 1), 0.0);
  EXPECT_EQ(table_get_int64(table.get(), 0, 2), 2);
}

TEST(CalculatedRanking, TextIsNotTranscoded) {
  const OwnedTable table = Convert("Id: 433 RepDataIndiCalcSortOutput { Obj: '送' }");
  EXPECT_EQ(TextAt(table.get(), 0, 0), kSong);
}

}  // namespace
