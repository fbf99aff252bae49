// The parts of the typed tables that replies alone cannot reach: every way in which a number becomes a cell,
// the match of columns by name, and the layouts.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>

#include "CldBeiXiangZiJin.pb.h"
#include "tesparser/tes2tableType.h"
#include "tessel.orderdata.pb.h"
#include "tessel.pc.fenleichicang.pb.h"
#include "tessel.zhibiao.pb.h"
#include "tests/support/tables.h"
#include "tsltoken.pb.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr float kInfF = std::numeric_limits<float>::infinity();
constexpr float kMaxF = std::numeric_limits<float>::max();

// A table with one column of each type; code n stands at index n - 1.
OwnedTable OneOfEach() {
  return OwnedTable(table_create("a:c;b:h;c:i;d:q;e:f;f:d;g:s;h:b;i:C;j:H;k:I;l:Q;m:t;n:T;o:P;p:V", 1, ""));
}

// The cell of column `code` after it got `value`.
class Cell {
 public:
  Cell(int code, double value) : table_(OneOfEach()), col_(code - 1) {
    EXPECT_EQ(table_col_type(table_.get(), col_), code);
    tes2tableType().SetCellByColumnType(table_.get(), 0, col_, code, value);
  }

  std::string Set() const { return SetColumns(table_.get(), 0); }
  int Byte() const {
    int size = 0;
    const void* bytes = table_get_buff(table_.get(), 0, col_, &size);
    return bytes != nullptr && size == 1 ? *static_cast<const unsigned char*>(bytes) : -1;
  }
  int Short() const { return table_get_short(table_.get(), 0, col_); }
  int Int() const { return table_get_int(table_.get(), 0, col_); }
  unsigned Uint() const { return table_get_uint(table_.get(), 0, col_); }
  long long Int64() const { return table_get_int64(table_.get(), 0, col_); }
  unsigned long long Uint64() const { return table_get_uint64(table_.get(), 0, col_); }
  float Float() const { return table_get_float(table_.get(), 0, col_); }
  double Double() const { return table_get_double(table_.get(), 0, col_); }
  std::string Text() const { return TextAt(table_.get(), 0, col_); }
  PFloat P() const { return table_get_pfloat(table_.get(), 0, col_); }
  VFloat V() const { return table_get_vfloat(table_.get(), 0, col_); }

 private:
  OwnedTable table_;
  int col_;
};

tessel::CInfo* AddColumn(tessel::Table& table, const std::string& name, int type) {
  tessel::CInfo* info = table.add_info();
  info->set_name(name);
  info->set_type(type);
  return info;
}

std::string TypedSpec(int type) {
  return tes2tableType().TypedColumnSpec(static_cast<TPType>(type));
}

}  // namespace

// ---- a number into a column ----

TEST(SetCell, WritesOnlyItsColumn) {
  EXPECT_EQ(Cell(1, 5).Set(), "0");
  EXPECT_EQ(Cell(6, 5).Set(), "5");
  EXPECT_EQ(Cell(16, 5).Set(), "15");
}

TEST(SetCell, BytesAreRoundedAndKeepTheirLowEightBits) {
  for (const int code : {1, 9}) {
    EXPECT_EQ(Cell(code, 0).Byte(), 0);
    EXPECT_EQ(Cell(code, 65.4).Byte(), 65);
    EXPECT_EQ(Cell(code, 65.5).Byte(), 66);
    EXPECT_EQ(Cell(code, 200).Byte(), 200);
    EXPECT_EQ(Cell(code, 300).Byte(), 300 - 256);
    EXPECT_EQ(Cell(code, -1.2).Byte(), 0);
    EXPECT_EQ(Cell(code, -1.5).Byte(), 255);
    EXPECT_EQ(Cell(code, -128.5).Byte(), 128);
    // Beyond 32 bits: the smallest int, whose low bits are zero.
    EXPECT_EQ(Cell(code, 5000000001.0).Byte(), 0);
    EXPECT_EQ(Cell(code, kInf).Byte(), 0);
    EXPECT_EQ(Cell(code, -kInf).Byte(), 0);
    EXPECT_EQ(Cell(code, kNan).Byte(), 0);
  }
}

TEST(SetCell, ShortsAreRoundedAndKeepTheirLowSixteenBits) {
  for (const int code : {2, 10}) {
    EXPECT_EQ(Cell(code, 1234.4).Short(), 1234);
    EXPECT_EQ(Cell(code, 1234.5).Short(), 1235);
    EXPECT_EQ(Cell(code, 40000).Short(), 40000);
    EXPECT_EQ(Cell(code, 70000).Short(), 70000 - 65536);
    EXPECT_EQ(Cell(code, -1.2).Short(), 0);
    EXPECT_EQ(Cell(code, -1.5).Short(), 65535);
    EXPECT_EQ(Cell(code, -2.5).Short(), 65534);
    EXPECT_EQ(Cell(code, 5000000001.0).Short(), 0);
    EXPECT_EQ(Cell(code, kNan).Short(), 0);
    EXPECT_EQ(Cell(code, kInf).Set(), std::to_string(code - 1));
  }
}

TEST(SetCell, IntsAreRoundedAndTheSmallestOneWhereTheyDoNotFit) {
  EXPECT_EQ(Cell(3, 12.34).Int(), 12);
  EXPECT_EQ(Cell(3, 2.5).Int(), 3);
  EXPECT_EQ(Cell(3, -1.0).Int(), 0);
  EXPECT_EQ(Cell(3, -1.2).Int(), 0);
  EXPECT_EQ(Cell(3, -1.5).Int(), -1);
  EXPECT_EQ(Cell(3, -2.5).Int(), -2);
  EXPECT_EQ(Cell(3, 2147483647.25).Int(), INT_MAX);
  EXPECT_EQ(Cell(3, 2147483647.5).Int(), INT_MIN);
  EXPECT_EQ(Cell(3, 1e300).Int(), INT_MIN);
  EXPECT_EQ(Cell(3, -1e300).Int(), INT_MIN);
  EXPECT_EQ(Cell(3, kInf).Int(), INT_MIN);
  EXPECT_EQ(Cell(3, kNan).Int(), INT_MIN);
}

TEST(SetCell, Int64sAreRounded) {
  EXPECT_EQ(Cell(4, 5000000000.5).Int64(), 5000000001);
  EXPECT_EQ(Cell(4, -1.2).Int64(), 0);
  EXPECT_EQ(Cell(4, -5000000000.5).Int64(), -5000000000);
  EXPECT_EQ(Cell(4, 9.3e18).Int64(), INT64_MIN);
  EXPECT_EQ(Cell(4, -9.3e18).Int64(), INT64_MIN);
  EXPECT_EQ(Cell(4, kInf).Int64(), INT64_MIN);
  EXPECT_EQ(Cell(4, kNan).Int64(), INT64_MIN);
}

TEST(SetCell, FloatsAreNarrowedNotRounded) {
  EXPECT_EQ(Cell(5, 12.5).Float(), 12.5F);
  EXPECT_EQ(Cell(5, 0.1).Float(), 0.1F);
  EXPECT_EQ(Cell(5, -1.2).Float(), -1.2F);
  EXPECT_TRUE(std::signbit(Cell(5, -0.0).Float()));
  EXPECT_EQ(Cell(5, 1e-300).Float(), 0.0F);
}

TEST(SetCell, FloatsBeyondTheRangeAreInfinite) {
  EXPECT_EQ(Cell(5, 1e300).Float(), kInfF);
  EXPECT_EQ(Cell(5, -1e300).Float(), -kInfF);
  EXPECT_EQ(Cell(5, kInf).Float(), kInfF);
  EXPECT_EQ(Cell(5, -kInf).Float(), -kInfF);
  EXPECT_TRUE(std::isnan(Cell(5, kNan).Float()));
  // The next float would be 2^128; half way there is where rounding to nearest leaves the range.
  EXPECT_EQ(Cell(5, 0x1.fffffep127).Float(), kMaxF);
  EXPECT_EQ(Cell(5, 0x1.fffffe8p127).Float(), kMaxF);
  EXPECT_EQ(Cell(5, -0x1.fffffe8p127).Float(), -kMaxF);
  EXPECT_EQ(Cell(5, 0x1.ffffffp127).Float(), kInfF);
  EXPECT_EQ(Cell(5, -0x1.ffffffp127).Float(), -kInfF);
}

TEST(SetCell, DoublesStandAsTheyAre) {
  EXPECT_EQ(Cell(6, 12.34567).Double(), 12.34567);
  EXPECT_EQ(Cell(6, -1e300).Double(), -1e300);
  EXPECT_TRUE(std::signbit(Cell(6, -0.0).Double()));
  EXPECT_EQ(Cell(6, kInf).Double(), kInf);
  EXPECT_TRUE(std::isnan(Cell(6, kNan).Double()));
}

TEST(SetCell, TextHasFourDecimals) {
  EXPECT_EQ(Cell(7, 12.34567).Text(), "12.3457");
  EXPECT_EQ(Cell(7, 0).Text(), "0.0000");
  EXPECT_EQ(Cell(7, -1.2).Text(), "-1.2000");
  EXPECT_EQ(Cell(7, 1e15).Text(), "1000000000000000.0000");
  EXPECT_EQ(Cell(7, kInf).Text(), "inf");
  EXPECT_EQ(Cell(7, -kInf).Text(), "-inf");
  EXPECT_EQ(Cell(7, kNan).Text(), "nan");
}

TEST(SetCell, TextIsCutAt63Characters) {
  // 2^192 has 58 digits and fits to the last place, 2^200 has 61 and does not.
  EXPECT_EQ(Cell(7, 0x1p192).Text(), "6277101735386680763835789423207666416102355444464034512896.0000");
  EXPECT_EQ(Cell(7, 0x1p200).Text(), "1606938044258990275541962092341162602522202993782792835301376.0");
  EXPECT_EQ(Cell(7, -0x1p200).Text(), "-1606938044258990275541962092341162602522202993782792835301376.");
  EXPECT_EQ(Cell(7, 1.7e308).Text().size(), 63U);
}

TEST(SetCell, UintsGoThrough64BitsAndKeepTheLowHalf) {
  EXPECT_EQ(Cell(11, 12.5).Uint(), 13U);
  EXPECT_EQ(Cell(11, 3000000000.0).Uint(), 3000000000U);
  EXPECT_EQ(Cell(11, 4294967295.0).Uint(), 4294967295U);
  EXPECT_EQ(Cell(11, 4294967301.0).Uint(), 5U);
  EXPECT_EQ(Cell(11, -1.2).Uint(), 0U);
  EXPECT_EQ(Cell(11, -1.5).Uint(), 4294967295U);
  EXPECT_EQ(Cell(11, 1e19).Uint(), 0U);
  EXPECT_EQ(Cell(11, kInf).Uint(), 0U);
  EXPECT_EQ(Cell(11, kNan).Uint(), 0U);
}

TEST(SetCell, Uint64sAreRoundedOverTheirWholeRange) {
  EXPECT_EQ(Cell(12, 0.5).Uint64(), 1U);
  EXPECT_EQ(Cell(12, 1.8e19).Uint64(), 18000000000000000000ULL);
  EXPECT_EQ(Cell(12, -1.2).Uint64(), 0U);
  EXPECT_EQ(Cell(12, -1.5).Uint64(), 0xFFFFFFFFFFFFFFFFULL);
  EXPECT_EQ(Cell(12, 2e19).Uint64(), 0U);
  EXPECT_EQ(Cell(12, kNan).Uint64(), 0U);
  EXPECT_EQ(Cell(12, kInf).Set(), "11");
}

TEST(SetCell, TimesAreRoundedTo32BitsWithTheirSign) {
  EXPECT_EQ(Cell(14, 20240102.4).Uint64(), 20240102U);
  EXPECT_EQ(Cell(14, 93000.5).Uint64(), 93001U);
  EXPECT_EQ(Cell(14, -1.2).Uint64(), 0U);
  EXPECT_EQ(Cell(14, -1.5).Uint64(), 0xFFFFFFFFFFFFFFFFULL);
  EXPECT_EQ(Cell(14, 3000000000.0).Uint64(), 0xFFFFFFFF80000000ULL);
  EXPECT_EQ(Cell(14, kInf).Uint64(), 0xFFFFFFFF80000000ULL);
  EXPECT_EQ(Cell(14, kNan).Uint64(), 0xFFFFFFFF80000000ULL);
}

TEST(SetCell, DecimalsKeepFourPlaces) {
  EXPECT_EQ(Cell(15, 12.34567).P().mantissa(), 123457);
  EXPECT_EQ(Cell(15, 12.34567).P().decimals(), 4);
  EXPECT_EQ(Cell(16, 12.34567).V().mantissa(), 123457);
  EXPECT_EQ(Cell(16, 12.34567).V().decimals(), 4);
  EXPECT_EQ(Cell(15, 10000000000.0).P().mantissa(), 100000000000000);
  EXPECT_EQ(Cell(16, 10000000000.0).V().mantissa(), 100000000000000);
  // -15000 + 0.5, truncated.
  EXPECT_EQ(Cell(15, -1.5).P().mantissa(), -14999);
  EXPECT_EQ(Cell(16, -1.5).V().mantissa(), -14999);
  EXPECT_EQ(Cell(15, -0.00012).P().mantissa(), 0);
}

TEST(SetCell, DecimalsBeyond64BitsAreTheSmallest) {
  constexpr int64_t kSmallest = -(int64_t{1} << 47);
  for (const double value : {1e300, -1e300, 1.7e308, kInf, -kInf, kNan}) {
    EXPECT_EQ(Cell(15, value).P().mantissa(), kSmallest) << value;
    EXPECT_EQ(Cell(16, value).V().mantissa(), kSmallest) << value;
  }
}

TEST(SetCell, BinaryAndTablesTakeNoNumber) {
  EXPECT_EQ(Cell(8, 12.34).Set(), "");
  EXPECT_EQ(Cell(13, 12.34).Set(), "");
}

TEST(SetCell, UnknownCodesStoreNothing) {
  const OwnedTable table = OneOfEach();
  for (const int code : {0, 17, 255, -1, INT_MIN, INT_MAX}) {
    for (int col = 0; col < 16; ++col)
      tes2tableType().SetCellByColumnType(table.get(), 0, col, code, 12.34);
  }
  EXPECT_EQ(SetColumns(table.get(), 0), "");
}

TEST(SetCell, CellsOutsideTheTableAreDropped) {
  const OwnedTable table = OneOfEach();
  for (int code = 1; code <= 16; ++code) {
    tes2tableType().SetCellByColumnType(table.get(), 1, code - 1, code, 12.34);
    tes2tableType().SetCellByColumnType(table.get(), 0, 16, code, 12.34);
    tes2tableType().SetCellByColumnType(table.get(), 0, -1, code, 12.34);
  }
  EXPECT_EQ(SetColumns(table.get(), 0), "");
}

// ---- columns by name ----

TEST(MatchColumns, GivesIndexAndTypeInTheWiresOrder) {
  const OwnedTable table(table_create("Result:i;Token:s;Uid:s;Price:d", 1, ""));
  tessel::Table wire;
  AddColumn(wire, "Price", tessel::Type_Int);
  AddColumn(wire, "Nobody", tessel::Type_Int);
  AddColumn(wire, "Result", tessel::Type_String);
  AddColumn(wire, "Token", tessel::Type_Int);
  const auto matches = tes2tableType().MatchColumnsByName(wire.info(), table.get());
  ASSERT_EQ(matches.size(), 4U);
  EXPECT_EQ(matches[0].index, 3);
  EXPECT_EQ(matches[0].type, 6);
  EXPECT_LT(matches[1].index, 0);
  EXPECT_EQ(matches[1].type, 0);
  EXPECT_EQ(matches[2].index, 0);
  EXPECT_EQ(matches[2].type, 3);
  EXPECT_EQ(matches[3].index, 1);
  EXPECT_EQ(matches[3].type, 7);
}

TEST(MatchColumns, NamesAreComparedAsTheyStand) {
  const OwnedTable table(table_create("Token:s;Uid:s", 1, ""));
  tessel::Table wire;
  AddColumn(wire, "token", tessel::Type_String);
  AddColumn(wire, " Uid", tessel::Type_String);
  AddColumn(wire, "Token:s;Uid", tessel::Type_String);
  wire.add_info();  // no name at all
  for (const auto& match : tes2tableType().MatchColumnsByName(wire.info(), table.get())) {
    EXPECT_LT(match.index, 0);
    EXPECT_EQ(match.type, 0);
  }
}

TEST(MatchColumns, NoColumnsGiveNoMatches) {
  const OwnedTable table(table_create("Token:s", 1, ""));
  EXPECT_TRUE(tes2tableType().MatchColumnsByName(tessel::Table().info(), table.get()).empty());
}

// ---- layouts ----

TEST(TypedColumnSpec, SeriesAndToken) {
  EXPECT_EQ(TypedSpec(1),
            "ShiJian:d;WeiTuoMaiRuDanShu:d;WeiTuoMaiRuDaDanShu:d;WeiTuoMaiRuDaDanBiLi:d;WeiTuoMaiChuDanShu:d;"
            "WeiTuoMaiChuDaDanShu:d;WeiTuoMaiChuDaDanBiLi:d;ZongChengJiaoLiang:d;ZongChengJiaoE:d;"
            "DaDanMaiRuE:d;DaDanMaiChuE:d;");
  EXPECT_EQ(TypedSpec(2),
            "RiQi:d;GuDongRenShu:d;SanHuChiCangBi:d;ZhongHuChiCangBi:d;DaHuChiCangBi:d;ChaoDaHuChiCangBi:d;"
            "LiuTongGu:d;");
  EXPECT_EQ(TypedSpec(3),
            "ShiJian:d;ChiGuShuLiang:d;ShouPanJia:d;ZhanLiuTongGuBiLi:d;ChiGuShiZhi:d;ChiGuShuLiangBianHua:d;"
            "ChiGuShuLiangBianHua:d;ChiGuShiZhiBianHua:d;ChiGuZongShiZhi:d;ChiGuZhangFu:d;");
  EXPECT_EQ(TypedSpec(5), "Result:i;Token:s;Uid:s;Device:s;");
}

TEST(TypedColumnSpec, BlockLayoutStandsThoughNothingRendersIt) {
  EXPECT_EQ(TypedSpec(4),
            "ShiJian:d;JingMaiRuE:d;ChiGuShuLiang:d;ZhanLiuTongGuBiLi:d;ChiGuShiZhi:d;ZengChiShuLiang:d;"
            "WuBianHuaShuLiang:d;JianChiShuLiang:d;DaPanZengChiShuLiang:d;ZhongPanZengChiShuLiang:d;"
            "XiaoPanZengChiShuLiang:d;");
}

TEST(TypedColumnSpec, EveryServedTypeHasOne) {
  for (const int type : {1, 2, 3, 5})
    EXPECT_NE(TypedSpec(type), "") << type;
  for (int type = 101; type <= 116; ++type)
    EXPECT_NE(TypedSpec(type), "") << type;
}

TEST(TypedColumnSpec, OtherValuesHaveNone) {
  for (const int type : {0, 6, 99, 100, 117, 1000, -1, -155, INT_MIN, INT_MAX})
    EXPECT_EQ(TypedSpec(type), "") << type;
}

TEST(ZhiBiaoColumnSpec, HasAsManyResultsAsAskedFor) {
  EXPECT_EQ(tes2tableType().ZhiBiaoColumnSpec(TPTypeZhiBiao1), "ShiJian:d;JieGuo1:d;");
  EXPECT_EQ(tes2tableType().ZhiBiaoColumnSpec(TPTypeZhiBiao3), "ShiJian:d;JieGuo1:d;JieGuo2:d;JieGuo3:d;");
  EXPECT_EQ(tes2tableType().ZhiBiaoColumnSpec(TPTypeZhiBiao16),
            "ShiJian:d;JieGuo1:d;JieGuo2:d;JieGuo3:d;JieGuo4:d;JieGuo5:d;JieGuo6:d;JieGuo7:d;JieGuo8:d;"
            "JieGuo9:d;JieGuo10:d;JieGuo11:d;JieGuo12:d;JieGuo13:d;JieGuo14:d;JieGuo15:d;JieGuo16:d;");
  EXPECT_EQ(TypedSpec(101), "ShiJian:d;JieGuo1:d;");
}

// ---- converters asked for what the selection never asks ----

TEST(Converters, LargeOrdersHoldingsAndTokenTestTheType) {
  tessel::MSG msg;
  msg.set_id(tessel::IDDaDanShuJuShuChu);
  msg.add_repdatadadanshujushuchu()->set_obj("SH600000");
  EXPECT_EQ(tes2tableType().ParseDaDanShuJu(msg, TPTypeFenLeiChiCang), nullptr);
  EXPECT_NE(OwnedTable(tes2tableType().ParseDaDanShuJu(msg, TPTypeDaDan)), nullptr);

  msg.set_id(tessel::IDPcFenLeiChiCangLieBiao);
  msg.add_repdatapcfenleichicangliebiao()->set_obj("SH600000");
  EXPECT_EQ(tes2tableType().ParseFenLeiChiCang(msg, TPTypeDaDan), nullptr);
  EXPECT_NE(OwnedTable(tes2tableType().ParseFenLeiChiCang(msg, TPTypeFenLeiChiCang)), nullptr);

  msg.set_id(tessel::IDToken);
  msg.add_repdatatoken()->set_token("t");
  EXPECT_EQ(tes2tableType().ParseToken(msg, TPTypeDaDan), nullptr);
  EXPECT_NE(OwnedTable(tes2tableType().ParseToken(msg, TPTypeToken)), nullptr);
}

TEST(Converters, NorthboundHoldingsTakeTheLayoutOfAnyType) {
  tessel::MSG msg;
  msg.set_id(tessel::IDBxzjBasicStockInfoOutput);
  msg.add_repdatabxzjbasicstockinfooutput()->set_obj("SH600000");
  const OwnedTable table(tes2tableType().ParseBxzjBasicStockInfo(msg, TPTypeToken));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table_get_table(table.get(), 0, 1)), "Result:i;Token:s;Uid:s;Device:s;");
}

TEST(Converters, IndicatorsTestTheIdOnly) {
  tessel::MSG msg;
  msg.set_id(tessel::IDZhiBiaoShuChu);
  auto* element = msg.add_repdatazhibiaoshuchu();
  element->set_obj("SH600000");
  auto* point = element->add_shuju();
  point->set_shijian(1234);
  point->add_jieguo(1234);
  const OwnedTable table(tes2tableType().ParseZhiBiaoShuChu(msg, static_cast<TPType>(100)));
  ASSERT_NE(table, nullptr);
  void* series = table_get_table(table.get(), 0, 1);
  EXPECT_EQ(SpecOf(series), "ShiJian:d;");
  EXPECT_EQ(table_get_double(series, 0, 0), 12.34);
  msg.set_id(tessel::IDZhiBiaoShuChu + 1);
  EXPECT_EQ(tes2tableType().ParseZhiBiaoShuChu(msg, TPTypeZhiBiao1), nullptr);
}

TEST(Converters, WireTableWithoutALayoutIsConvertedByItsOwnDescription) {
  tessel::MSG msg;
  msg.set_id(tessel::IDTbl);
  AddColumn(*msg.mutable_tbl(), "", tessel::Type_Table);
  tessel::CData* wrapper = msg.mutable_tbl()->add_data();
  wrapper->set_index(0);
  tessel::Table* payload = wrapper->add_tvalues();
  AddColumn(*payload, "Data", tessel::Type_Table);
  tessel::CData* column = payload->add_data();
  column->set_index(0);
  tessel::Table* nested = column->add_tvalues();
  AddColumn(*nested, "ShiJian", tessel::Type_Int);
  tessel::CData* times = nested->add_data();
  times->set_index(0);
  times->add_ivalues(1234);

  const OwnedTable own(tes2tableType().ParseTypedTbl(msg, TPTypeById));
  ASSERT_NE(own, nullptr);
  void* own_nested = table_get_table(own.get(), 0, 0);
  EXPECT_EQ(SpecOf(own_nested), "ShiJian:d;");
  EXPECT_STREQ(table_name(own_nested), "");

  const OwnedTable typed(tes2tableType().ParseTypedTbl(msg, TPTypeDaDan));
  ASSERT_NE(typed, nullptr);
  EXPECT_EQ(table_cols(table_get_table(typed.get(), 0, 0)), 11);
}
