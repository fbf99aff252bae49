// Reference data: block tree (Id 399), finance figures (Id 405), ex-rights events (Id 406).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"
#include "tests/support/packed_text.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using test_replies::P;
using test_replies::Packed;

constexpr int kIntMin = std::numeric_limits<int>::min();

OwnedTable Convert(const std::string& text) {
  return OwnedTable(TesparserPB2Table(test_replies::Reply(WithPacked(text))));
}

// Replies of one element, given what the element holds besides its required members.
OwnedTable BlockTree(const std::string& members) {
  return Convert("Id: 399 RepDataBanKuaiFenLeiFanHui { BanBen: 0 Crc32: 0 " + members + "}");
}
OwnedTable Finance(const std::string& members) {
  return Convert("Id: 405 RepDataCaiWuShuJuFanHui { Crc32: 0 " + members + "}");
}
OwnedTable Rights(const std::string& members) {
  return Convert("Id: 406 RepDataChuQuanShuJuFanHui { Crc32: 0 " + members + "}");
}

// The stock table of Ids 405 and 406.
void* Stocks(const OwnedTable& root) {
  return table_get_table(root.get(), 0, 4);
}
// The event table of the first stock.
void* Events(const OwnedTable& root) {
  return table_get_table(Stocks(root), 0, 2);
}
OwnedTable OneEvent(const std::string& members) {
  return Rights("Data { DaiMa: 'SH600000' Data { ShiJian: 0 " + members + "} }");
}

// The elements of the counted cell.
std::vector<int64_t> Figures(const void* table, int row) {
  int size = 0;
  const void* bytes = table_get_buff(table, row, 2, &size);
  std::vector<int64_t> figures(static_cast<size_t>(size) / sizeof(int64_t));
  if (bytes != nullptr) std::memcpy(figures.data(), bytes, static_cast<size_t>(size));
  return figures;
}

// The name in the schema of a finance figure.
std::string FigureName(int number) {
  return test_replies::Pool().FindMessageTypeByName("tessel.CaiWuShuJu")->FindFieldByNumber(number)->name();
}

// "送" as the service sends it: three bytes of UTF-8. Transcoded text would have two.
constexpr char kSong[] = "\xE9\x80\x81";

// ---- all three ----------------------------------------------------------------------------------

struct Family {
  int id;
  const char* table_name;
  const char* reply;         // one element without LeiXing and without data
  const char* with_leixing;  // the same with LeiXing sent as 0
  int data_col;
  const char* data_spec;
};

class AllThree : public testing::TestWithParam<Family> {};

INSTANTIATE_TEST_SUITE_P(
    Reference, AllThree,
    testing::Values(Family{399, "tes2tableType::ParseBanKuaiFenLeiFanHui",
                           "Id: 399 RepDataBanKuaiFenLeiFanHui { BanBen: <1> Crc32: <1> }",
                           "Id: 399 RepDataBanKuaiFenLeiFanHui { BanBen: <1> Crc32: <1> LeiXing: 0 }", 3,
                           "MingCheng:s;LeiXing:i;XuHao:i;Data:t;"},
                    Family{405, "tes2tableType::ParseCaiWuShuJuFanHui",
                           "Id: 405 RepDataCaiWuShuJuFanHui { Crc32: <1> BanBen: <1> ShiChang: 0 }",
                           "Id: 405 RepDataCaiWuShuJuFanHui { Crc32: <1> LeiXing: 0 }", 4,
                           "DaiMa:s;LeiXing:i;Data:53q;HasBits:q;"},
                    Family{406, "tes2tableType::ParseChuQuanShuJuFanHui",
                           "Id: 406 RepDataChuQuanShuJuFanHui { Crc32: <1> BanBen: <1> ShiChang: 0 }",
                           "Id: 406 RepDataChuQuanShuJuFanHui { Crc32: <1> LeiXing: 0 }", 4,
                           "DaiMa:s;LeiXing:i;Data:t;"}),
    [](const auto& test) { return "Id" + std::to_string(test.param.id); });

TEST_P(AllThree, ReplyWithoutElementIsTheNoDataTable) {
  const OwnedTable table = Convert("Id: " + std::to_string(GetParam().id));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "nodata:s;");
  EXPECT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "no data");
  EXPECT_STREQ(table_name(table.get()), GetParam().table_name);
}

// An element without data and without LeiXing: the header alone, and a cell that is set and empty.
TEST_P(AllThree, NoDataAndNoLeiXingGivesAnEmptyCell) {
  const OwnedTable root = Convert(GetParam().reply);
  EXPECT_EQ(table_rows(root.get()), 1);
  EXPECT_STREQ(table_name(root.get()), GetParam().table_name);
  EXPECT_EQ(table_is_set(root.get(), 0, GetParam().data_col), 1);
  EXPECT_EQ(table_get_table(root.get(), 0, GetParam().data_col), nullptr);
}

TEST_P(AllThree, NoDataWithLeiXingGivesATableWithoutRows) {
  const OwnedTable root = Convert(GetParam().with_leixing);
  void* data = table_get_table(root.get(), 0, GetParam().data_col);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(table_rows(data), 0);
  EXPECT_EQ(SpecOf(data), GetParam().data_spec);
  EXPECT_STREQ(table_name(data), GetParam().table_name);
}

TEST(Reference, TheIdAloneChoosesTheField) {
  const OwnedTable table = Convert("Id: 405 RepDataChuQuanShuJuFanHui { Crc32: 0 }");
  EXPECT_EQ(SpecOf(table.get()), "nodata:s;");
}

TEST(Reference, MissingRequiredMemberIsNoReply) {
  EXPECT_EQ(Convert("Id: 399 RepDataBanKuaiFenLeiFanHui { Crc32: 0 }"), nullptr);
  EXPECT_EQ(Convert("Id: 399 RepDataBanKuaiFenLeiFanHui { BanBen: 0 }"), nullptr);
  EXPECT_EQ(Convert("Id: 405 RepDataCaiWuShuJuFanHui { BanBen: 0 }"), nullptr);
  EXPECT_EQ(Convert("Id: 406 RepDataChuQuanShuJuFanHui { BanBen: 0 }"), nullptr);
  EXPECT_EQ(Finance("Data { LeiXing: 0 }"), nullptr);
  EXPECT_EQ(Rights("Data { LeiXing: 0 }"), nullptr);
  EXPECT_EQ(Rights("Data { DaiMa: 'SH600000' Data { MeiGuSongGu: 1 } }"), nullptr);
}

// ---- rounding, over a column of each kind -------------------------------------------------------

struct Rounding {
  const char* what;
  int64_t packed;
  int as_int;
  unsigned as_uint;
};

class RoundedCells : public testing::TestWithParam<Rounding> {};

// 0.5 is added, then the fraction is cut: halves go up, and negative numbers do not mirror positive ones.
INSTANTIATE_TEST_SUITE_P(
    Reference, RoundedCells,
    testing::Values(
        Rounding{"WholeNumber", Packed(1234, 10), 1234, 1234u},
        Rounding{"HalfGoesUp", Packed(250), 3, 3u},                           // 2.50
        Rounding{"BelowHalfGoesDown", Packed(249), 2, 2u},                    // 2.49
        Rounding{"NegativeHalf", Packed(250, 0, 1), -2, 4294967294u},         // -2.50
        Rounding{"NegativeOneAndAHalf", Packed(150, 0, 1), -1, 4294967295u},  // -1.50
        Rounding{"NegativeBelowHalf", Packed(120, 0, 1), 0, 0u},              // -1.20
        Rounding{"AnySignNibble", Packed(250, 0, 15), -2, 4294967294u},       // -2.50
        Rounding{"BareIntegerIsHundredths", 1234, 12, 12u},                   // 12.34
        Rounding{"NoValue", 131072, 0, 0u},                                   // PACKED_NULL
        Rounding{"ScaleTwoWithMantissa", Packed(1234, 2), 0, 0u},
        Rounding{"Scale11", Packed(1234, 11), 0, 0u}, Rounding{"Scale12", Packed(1234, 12), 0, 0u},
        Rounding{"Scale13", Packed(1234, 13), 0, 0u}, Rounding{"Scale14", Packed(1234, 14), 0, 0u},
        Rounding{"Scale15", Packed(1234, 15), 0, 0u}, Rounding{"NegativeRaw", -1, 0, 0u},
        Rounding{"LargestInt", Packed(2147483647, 10), 2147483647, 2147483647u},
        Rounding{"AboveInt", Packed(2147483648, 10), kIntMin, 2147483648u},
        Rounding{"LargestUnsigned", Packed(4294967295, 10), kIntMin, 4294967295u},
        Rounding{"AboveUnsignedKeepsTheLowHalf", Packed(4294967301, 10), kIntMin, 5u},  // 2^32 + 5
        Rounding{"SmallestInt", Packed(2147483649, 10, 1), kIntMin, 2147483648u},       // -2^31 - 1, plus 0.5
        Rounding{"BelowInt", Packed(3000000000, 10, 1), kIntMin, 1294967297u}),         // 2^32 + 1 - 3e9
    [](const auto& test) { return test.param.what; });

TEST_P(RoundedCells, BlockTree) {
  const std::string p = std::to_string(GetParam().packed);
  const OwnedTable root =
      Convert("Id: 399 RepDataBanKuaiFenLeiFanHui { BanBen: " + p + " Crc32: " + p + " LeiXing: " + p +
              " Data { LeiXing: " + p + " XuHao: " + p + " Data { LeiXing: " + p + " XuHao: " + p +
              " Data { LeiXing: " + p + " XuHao: " + p + " } } } }");
  EXPECT_EQ(table_get_int(root.get(), 0, 0), GetParam().as_int);
  EXPECT_EQ(table_get_uint(root.get(), 0, 1), GetParam().as_uint);
  EXPECT_EQ(table_get_int(root.get(), 0, 2), GetParam().as_int);
  void* classes = table_get_table(root.get(), 0, 3);
  EXPECT_EQ(table_get_int(classes, 0, 1), GetParam().as_int);
  EXPECT_EQ(table_get_int(classes, 0, 2), GetParam().as_int);
  void* blocks = table_get_table(classes, 0, 3);
  EXPECT_EQ(table_get_int(blocks, 0, 1), GetParam().as_int);
  EXPECT_EQ(table_get_int(blocks, 0, 2), GetParam().as_int);
  void* members = table_get_table(blocks, 0, 3);
  EXPECT_EQ(table_get_int(members, 0, 1), GetParam().as_int);
  EXPECT_EQ(table_get_int(members, 0, 2), GetParam().as_int);
}

TEST_P(RoundedCells, Finance) {
  const std::string p = std::to_string(GetParam().packed);
  const OwnedTable root =
      Convert("Id: 405 RepDataCaiWuShuJuFanHui { Crc32: " + p + " BanBen: " + p + " LeiXing: " + p +
              " ShiChang: " + p + " Data { DaiMa: 'SH600000' LeiXing: " + p + " } }");
  EXPECT_EQ(table_get_uint(root.get(), 0, 0), GetParam().as_uint);
  EXPECT_EQ(table_get_int(root.get(), 0, 1), GetParam().as_int);
  EXPECT_EQ(table_get_int(root.get(), 0, 2), GetParam().as_int);
  EXPECT_EQ(table_get_int(root.get(), 0, 3), GetParam().as_int);
  EXPECT_EQ(table_get_int(Stocks(root), 0, 1), GetParam().as_int);
}

TEST_P(RoundedCells, Rights) {
  const std::string p = std::to_string(GetParam().packed);
  const OwnedTable root =
      Convert("Id: 406 RepDataChuQuanShuJuFanHui { Crc32: " + p + " BanBen: " + p + " LeiXing: " + p +
              " ShiChang: " + p + " Data { DaiMa: 'SH600000' LeiXing: " + p +
              " Data { ShiJian: 0 LeiXing: " + p + " } } }");
  EXPECT_EQ(table_get_uint(root.get(), 0, 0), GetParam().as_uint);
  EXPECT_EQ(table_get_int(root.get(), 0, 1), GetParam().as_int);
  EXPECT_EQ(table_get_int(root.get(), 0, 2), GetParam().as_int);
  EXPECT_EQ(table_get_int(root.get(), 0, 3), GetParam().as_int);
  EXPECT_EQ(table_get_int(Stocks(root), 0, 1), GetParam().as_int);
  EXPECT_EQ(table_get_int(Events(root), 0, 6), GetParam().as_int);
}

// ---- Id 399 -------------------------------------------------------------------------------------

TEST(BlockTree, EveryColumnOfAllFourLevels) {
  const OwnedTable root = Convert(R"(
    Id: 399
    RepDataBanKuaiFenLeiFanHui {
      BanBen: <20.5> Crc32: <4000000000> LeiXing: <30.5>
      Data { MingCheng: '行业' LeiXing: <40.5> XuHao: <50.5>
        Data { MingCheng: '银行' LeiXing: <60.5> XuHao: <70.5>
          Data { Obj: 'SH600000' LeiXing: <80.5> XuHao: <90.5> }
          Data { Obj: 'SH600036' LeiXing: <82> XuHao: <92> }
          Data { Obj: 'SZ000001' LeiXing: <83> XuHao: <93> }
        }
        Data { MingCheng: '证券' LeiXing: <62> XuHao: <72>
          Data { Obj: 'SH600030' LeiXing: <84> XuHao: <94> }
        }
      }
      Data { MingCheng: '概念' LeiXing: <42> XuHao: <52>
        Data { MingCheng: '芯片' LeiXing: <63> XuHao: <73> }
      }
    })");
  constexpr char kName[] = "tes2tableType::ParseBanKuaiFenLeiFanHui";
  EXPECT_EQ(SpecOf(root.get()), "BanBen:i;Crc32:I;LeiXing:i;Data:t;");
  EXPECT_STREQ(table_name(root.get()), kName);
  ASSERT_EQ(table_rows(root.get()), 1);
  EXPECT_EQ(SetColumns(root.get(), 0), "0 1 2 3");
  EXPECT_EQ(table_get_int(root.get(), 0, 0), 21);
  EXPECT_EQ(table_get_uint(root.get(), 0, 1), 4000000000u);
  EXPECT_EQ(table_get_int(root.get(), 0, 2), 31);

  void* classes = table_get_table(root.get(), 0, 3);
  EXPECT_EQ(SpecOf(classes), "MingCheng:s;LeiXing:i;XuHao:i;Data:t;");
  EXPECT_STREQ(table_name(classes), kName);
  ASSERT_EQ(table_rows(classes), 2);
  EXPECT_EQ(SetColumns(classes, 0), "0 1 2 3");
  EXPECT_EQ(TextAt(classes, 0, 0), "行业");
  EXPECT_EQ(table_get_int(classes, 0, 1), 41);
  EXPECT_EQ(table_get_int(classes, 0, 2), 51);
  EXPECT_EQ(TextAt(classes, 1, 0), "概念");
  EXPECT_EQ(table_get_int(classes, 1, 1), 42);
  EXPECT_EQ(table_get_int(classes, 1, 2), 52);

  void* blocks = table_get_table(classes, 0, 3);
  EXPECT_EQ(SpecOf(blocks), "MingCheng:s;LeiXing:i;XuHao:i;Data:t;");
  EXPECT_STREQ(table_name(blocks), kName);
  ASSERT_EQ(table_rows(blocks), 2);
  EXPECT_EQ(SetColumns(blocks, 0), "0 1 2 3");
  EXPECT_EQ(TextAt(blocks, 0, 0), "银行");
  EXPECT_EQ(table_get_int(blocks, 0, 1), 61);
  EXPECT_EQ(table_get_int(blocks, 0, 2), 71);
  EXPECT_EQ(TextAt(blocks, 1, 0), "证券");
  EXPECT_EQ(table_get_int(blocks, 1, 1), 62);
  EXPECT_EQ(table_get_int(blocks, 1, 2), 72);
  ASSERT_EQ(table_rows(table_get_table(classes, 1, 3)), 1);
  EXPECT_EQ(TextAt(table_get_table(classes, 1, 3), 0, 0), "芯片");
  EXPECT_EQ(table_get_int(table_get_table(classes, 1, 3), 0, 1), 63);

  void* members = table_get_table(blocks, 0, 3);
  EXPECT_EQ(SpecOf(members), "Obj:s;LeiXing:i;XuHao:i;");
  EXPECT_STREQ(table_name(members), kName);
  ASSERT_EQ(table_rows(members), 3);
  EXPECT_EQ(SetColumns(members, 0), "0 1 2");
  EXPECT_EQ(TextAt(members, 0, 0), "SH600000");
  EXPECT_EQ(table_get_int(members, 0, 1), 81);
  EXPECT_EQ(table_get_int(members, 0, 2), 91);
  EXPECT_EQ(TextAt(members, 1, 0), "SH600036");
  EXPECT_EQ(TextAt(members, 2, 0), "SZ000001");
  EXPECT_EQ(table_get_int(members, 2, 1), 83);
  EXPECT_EQ(table_get_int(members, 2, 2), 93);
  ASSERT_EQ(table_rows(table_get_table(blocks, 1, 3)), 1);
  EXPECT_EQ(TextAt(table_get_table(blocks, 1, 3), 0, 0), "SH600030");
}

TEST(BlockTree, OnlyTheFirstElementCounts) {
  const OwnedTable root = Convert(R"(
    Id: 399
    RepDataBanKuaiFenLeiFanHui { BanBen: <1> Crc32: 0 Data { MingCheng: 'a' } }
    RepDataBanKuaiFenLeiFanHui { BanBen: <2> Crc32: 0 Data { MingCheng: 'b' } Data { } })");
  EXPECT_EQ(table_rows(root.get()), 1);
  EXPECT_EQ(table_get_int(root.get(), 0, 0), 1);
  EXPECT_EQ(table_rows(table_get_table(root.get(), 0, 3)), 1);
  EXPECT_EQ(TextAt(table_get_table(root.get(), 0, 3), 0, 0), "a");
}

TEST(BlockTree, AbsentMembersAreZeroAndEmptyText) {
  const OwnedTable root = BlockTree("Data { Data { Data { } } }");
  EXPECT_EQ(SetColumns(root.get(), 0), "0 1 2 3");
  EXPECT_EQ(table_get_int(root.get(), 0, 2), 0);
  void* table = table_get_table(root.get(), 0, 3);
  EXPECT_EQ(SetColumns(table, 0), "0 1 2 3");
  EXPECT_EQ(TextAt(table, 0, 0), "");
  EXPECT_EQ(table_get_int(table, 0, 1), 0);
  EXPECT_EQ(table_get_int(table, 0, 2), 0);
  table = table_get_table(table, 0, 3);
  EXPECT_EQ(SetColumns(table, 0), "0 1 2 3");
  EXPECT_EQ(TextAt(table, 0, 0), "");
  table = table_get_table(table, 0, 3);
  EXPECT_EQ(SetColumns(table, 0), "0 1 2");
  EXPECT_EQ(TextAt(table, 0, 0), "");
  EXPECT_EQ(table_get_int(table, 0, 1), 0);
  EXPECT_EQ(table_get_int(table, 0, 2), 0);
}

// LeiXing decides at the top level only: below it, an empty list is always a table without rows.
TEST(BlockTree, ClassWithoutBlocksHasATableWithoutRows) {
  const OwnedTable root = BlockTree("Data { MingCheng: '行业' }");
  void* blocks = table_get_table(table_get_table(root.get(), 0, 3), 0, 3);
  ASSERT_NE(blocks, nullptr);
  EXPECT_EQ(table_rows(blocks), 0);
  EXPECT_EQ(SpecOf(blocks), "MingCheng:s;LeiXing:i;XuHao:i;Data:t;");
  EXPECT_STREQ(table_name(blocks), "tes2tableType::ParseBanKuaiFenLeiFanHui");
}

TEST(BlockTree, BlockWithoutMembersHasATableWithoutRows) {
  const OwnedTable root = BlockTree("Data { Data { MingCheng: '银行' } }");
  void* members = table_get_table(table_get_table(table_get_table(root.get(), 0, 3), 0, 3), 0, 3);
  ASSERT_NE(members, nullptr);
  EXPECT_EQ(table_rows(members), 0);
  EXPECT_EQ(SpecOf(members), "Obj:s;LeiXing:i;XuHao:i;");
  EXPECT_STREQ(table_name(members), "tes2tableType::ParseBanKuaiFenLeiFanHui");
}

TEST(BlockTree, DataWithoutLeiXingIsShown) {
  const OwnedTable root = BlockTree("Data { } Data { }");
  EXPECT_EQ(table_rows(table_get_table(root.get(), 0, 3)), 2);
}

TEST(BlockTree, TextIsCutAtAZeroByte) {
  const OwnedTable root = BlockTree("Data { MingCheng: 'ab\\000cd' }");
  EXPECT_EQ(TextAt(table_get_table(root.get(), 0, 3), 0, 0), "ab");
}

TEST(BlockTree, TextIsNotTranscoded) {
  const OwnedTable root = BlockTree("Data { MingCheng: '送' Data { MingCheng: '送' Data { Obj: '送' } } }");
  void* classes = table_get_table(root.get(), 0, 3);
  void* blocks = table_get_table(classes, 0, 3);
  EXPECT_EQ(TextAt(classes, 0, 0), kSong);
  EXPECT_EQ(TextAt(blocks, 0, 0), kSong);
  EXPECT_EQ(TextAt(table_get_table(blocks, 0, 3), 0, 0), kSong);
}

// ---- Id 406 -------------------------------------------------------------------------------------

TEST(Rights, EveryColumnOfAllThreeLevels) {
  const OwnedTable root = Convert(R"(
    Id: 406
    RepDataChuQuanShuJuFanHui {
      Crc32: <3000000001> BanBen: <10.5> LeiXing: <20.5> ShiChang: <30.5>
      Data { DaiMa: '浦发600000' LeiXing: <40.5> ShuJuGeShu: <77>
        Data { ShiJian: 20230721 MeiGuSongGu: 101 MeiGuPeiGu: 102 PeiGuJiaGe: 103 MeiGuHongLi: 104
          QuanYiTiShi: '派息' LeiXing: <50.5> }
        Data { ShiJian: 20240718 MeiGuSongGu: 201 MeiGuPeiGu: 202 PeiGuJiaGe: 203 MeiGuHongLi: 204
          QuanYiTiShi: '送股' LeiXing: <52> }
      }
      Data { DaiMa: 'SZ000001' LeiXing: <42> ShuJuGeShu: <78>
        Data { ShiJian: 20240614 }
      }
    })");
  constexpr char kName[] = "tes2tableType::ParseChuQuanShuJuFanHui";
  EXPECT_EQ(SpecOf(root.get()), "Crc32:I;BanBen:i;LeiXing:i;ShiChang:i;Data:t;");
  EXPECT_STREQ(table_name(root.get()), kName);
  ASSERT_EQ(table_rows(root.get()), 1);
  EXPECT_EQ(SetColumns(root.get(), 0), "0 1 2 3 4");
  EXPECT_EQ(table_get_uint(root.get(), 0, 0), 3000000001u);
  EXPECT_EQ(table_get_int(root.get(), 0, 1), 11);
  EXPECT_EQ(table_get_int(root.get(), 0, 2), 21);
  EXPECT_EQ(table_get_int(root.get(), 0, 3), 31);

  void* stocks = Stocks(root);
  EXPECT_EQ(SpecOf(stocks), "DaiMa:s;LeiXing:i;Data:t;");
  EXPECT_STREQ(table_name(stocks), kName);
  ASSERT_EQ(table_rows(stocks), 2);
  EXPECT_EQ(SetColumns(stocks, 0), "0 1 2");
  EXPECT_EQ(TextAt(stocks, 0, 0), "浦发600000");
  EXPECT_EQ(table_get_int(stocks, 0, 1), 41);
  EXPECT_EQ(TextAt(stocks, 1, 0), "SZ000001");
  EXPECT_EQ(table_get_int(stocks, 1, 1), 42);

  void* events = table_get_table(stocks, 0, 2);
  EXPECT_EQ(
      SpecOf(events),
      "ShiJian:q;MeiGuSongGu:q;MeiGuPeiGu:q;PeiGuJiaGe:q;MeiGuHongLi:q;QuanYiTiShi:s;LeiXing:i;HasBits:q;");
  EXPECT_STREQ(table_name(events), kName);
  ASSERT_EQ(table_rows(events), 2);
  EXPECT_EQ(SetColumns(events, 0), "0 1 2 3 4 5 6 7");
  EXPECT_EQ(table_get_int64(events, 0, 0), 20230721);
  EXPECT_EQ(table_get_int64(events, 0, 1), 101);
  EXPECT_EQ(table_get_int64(events, 0, 2), 102);
  EXPECT_EQ(table_get_int64(events, 0, 3), 103);
  EXPECT_EQ(table_get_int64(events, 0, 4), 104);
  EXPECT_EQ(TextAt(events, 0, 5), "派息");
  EXPECT_EQ(table_get_int(events, 0, 6), 51);
  EXPECT_EQ(table_get_int64(events, 0, 7), 31);
  EXPECT_EQ(table_get_int64(events, 1, 0), 20240718);
  EXPECT_EQ(table_get_int64(events, 1, 1), 201);
  EXPECT_EQ(table_get_int64(events, 1, 2), 202);
  EXPECT_EQ(table_get_int64(events, 1, 3), 203);
  EXPECT_EQ(table_get_int64(events, 1, 4), 204);
  EXPECT_EQ(TextAt(events, 1, 5), "送股");
  EXPECT_EQ(table_get_int(events, 1, 6), 52);

  ASSERT_EQ(table_rows(table_get_table(stocks, 1, 2)), 1);
  EXPECT_EQ(table_get_int64(table_get_table(stocks, 1, 2), 0, 0), 20240614);
}

TEST(Rights, OnlyTheFirstElementCounts) {
  const OwnedTable root = Convert(R"(
    Id: 406
    RepDataChuQuanShuJuFanHui { Crc32: <1> Data { DaiMa: 'a' } }
    RepDataChuQuanShuJuFanHui { Crc32: <2> Data { DaiMa: 'b' } Data { DaiMa: 'c' } })");
  EXPECT_EQ(table_rows(root.get()), 1);
  EXPECT_EQ(table_get_uint(root.get(), 0, 0), 1u);
  EXPECT_EQ(table_rows(Stocks(root)), 1);
  EXPECT_EQ(TextAt(Stocks(root), 0, 0), "a");
}

// The announced count plays no part.
TEST(Rights, RowsAreCountedByTheEvents) {
  const OwnedTable root = Rights("Data { DaiMa: 'a' ShuJuGeShu: <9> Data { ShiJian: 1 } }");
  EXPECT_EQ(table_rows(Events(root)), 1);
}

TEST(Rights, StockWithoutEventsHasATableWithoutRows) {
  const OwnedTable root = Rights("Data { DaiMa: 'a' }");
  void* events = Events(root);
  ASSERT_NE(events, nullptr);
  EXPECT_EQ(table_rows(events), 0);
  EXPECT_STREQ(table_name(events), "tes2tableType::ParseChuQuanShuJuFanHui");
  EXPECT_EQ(table_get_int(Stocks(root), 0, 1), 0);  // LeiXing was not sent
}

TEST(Rights, MaskOfOneDividend) {
  const OwnedTable root = OneEvent("MeiGuHongLi: 321");
  void* events = Events(root);
  EXPECT_EQ(SetColumns(events, 0), "0 1 2 3 4 5 6 7");
  EXPECT_EQ(table_get_int64(events, 0, 1), 0);
  EXPECT_EQ(table_get_int64(events, 0, 2), 0);
  EXPECT_EQ(table_get_int64(events, 0, 3), 0);
  EXPECT_EQ(table_get_int64(events, 0, 4), 321);
  EXPECT_EQ(TextAt(events, 0, 5), "");
  EXPECT_EQ(table_get_int(events, 0, 6), 0);
  EXPECT_EQ(table_get_int64(events, 0, 7), 8);
}

// Presence counts, not the value: zero, "no value" and the empty text were sent.
TEST(Rights, MaskOfEveryFieldOnItsOwn) {
  EXPECT_EQ(table_get_int64(Events(OneEvent("")), 0, 7), 0);
  EXPECT_EQ(table_get_int64(Events(OneEvent("MeiGuSongGu: 0")), 0, 7), 1);
  EXPECT_EQ(table_get_int64(Events(OneEvent("MeiGuPeiGu: 131072")), 0, 7), 2);
  EXPECT_EQ(table_get_int64(Events(OneEvent("PeiGuJiaGe: -1")), 0, 7), 4);
  EXPECT_EQ(table_get_int64(Events(OneEvent("MeiGuHongLi: 5")), 0, 7), 8);
  EXPECT_EQ(table_get_int64(Events(OneEvent("QuanYiTiShi: ''")), 0, 7), 16);
  EXPECT_EQ(table_get_int64(Events(OneEvent("LeiXing: <1>")), 0, 7), 0);
}

TEST(Rights, ValuesStayPacked) {
  const OwnedTable root =
      Rights("Data { DaiMa: 'a' Data { ShiJian: -9223372036854775808 MeiGuSongGu: " + P(1234) +
             " MeiGuPeiGu: 131072 PeiGuJiaGe: -1 MeiGuHongLi: 9223372036854775807 } }");
  void* events = Events(root);
  EXPECT_EQ(table_get_int64(events, 0, 0), std::numeric_limits<int64_t>::min());
  EXPECT_EQ(table_get_int64(events, 0, 1), 1234);
  EXPECT_EQ(table_get_int64(events, 0, 2), 131072);
  EXPECT_EQ(table_get_int64(events, 0, 3), -1);
  EXPECT_EQ(table_get_int64(events, 0, 4), std::numeric_limits<int64_t>::max());
  EXPECT_EQ(table_get_int64(events, 0, 7), 15);
}

TEST(Rights, TextIsNotTranscoded) {
  const OwnedTable root = Rights("Data { DaiMa: '送' Data { ShiJian: 0 QuanYiTiShi: '送' } }");
  EXPECT_EQ(TextAt(Stocks(root), 0, 0), kSong);
  EXPECT_EQ(TextAt(Events(root), 0, 5), kSong);
}

// ---- Id 405 -------------------------------------------------------------------------------------

TEST(Finance, EveryColumnOfBothLevels) {
  const OwnedTable root = Convert(R"(
    Id: 405
    RepDataCaiWuShuJuFanHui {
      Crc32: <3000000001> BanBen: <10.5> LeiXing: <20.5> ShiChang: <30.5>
      Data { DaiMa: 'SH600000' LeiXing: <40.5> Data { BaoGaoRiQi: 20240331 } }
      Data { DaiMa: 'SZ000001' LeiXing: <42> Data { MeiGuShouYi: 152 } }
    })");
  constexpr char kName[] = "tes2tableType::ParseCaiWuShuJuFanHui";
  EXPECT_EQ(SpecOf(root.get()), "Crc32:I;BanBen:i;LeiXing:i;ShiChang:i;Data:t;");
  EXPECT_STREQ(table_name(root.get()), kName);
  ASSERT_EQ(table_rows(root.get()), 1);
  EXPECT_EQ(SetColumns(root.get(), 0), "0 1 2 3 4");
  EXPECT_EQ(table_get_uint(root.get(), 0, 0), 3000000001u);
  EXPECT_EQ(table_get_int(root.get(), 0, 1), 11);
  EXPECT_EQ(table_get_int(root.get(), 0, 2), 21);
  EXPECT_EQ(table_get_int(root.get(), 0, 3), 31);

  void* stocks = Stocks(root);
  EXPECT_EQ(SpecOf(stocks), "DaiMa:s;LeiXing:i;Data:53q;HasBits:q;");
  EXPECT_STREQ(table_name(stocks), kName);
  ASSERT_EQ(table_rows(stocks), 2);
  EXPECT_EQ(SetColumns(stocks, 0), "0 1 2 3");
  EXPECT_EQ(TextAt(stocks, 0, 0), "SH600000");
  EXPECT_EQ(table_get_int(stocks, 0, 1), 41);
  EXPECT_EQ(Figures(stocks, 0).at(1), 20240331);
  EXPECT_EQ(table_get_int64(stocks, 0, 3), 2);
  EXPECT_EQ(TextAt(stocks, 1, 0), "SZ000001");
  EXPECT_EQ(table_get_int(stocks, 1, 1), 42);
  EXPECT_EQ(Figures(stocks, 1).at(1), 0);
  EXPECT_EQ(Figures(stocks, 1).at(3), 152);
  EXPECT_EQ(table_get_int64(stocks, 1, 3), 8);
}

TEST(Finance, OnlyTheFirstElementCounts) {
  const OwnedTable root = Convert(R"(
    Id: 405
    RepDataCaiWuShuJuFanHui { Crc32: <1> Data { DaiMa: 'a' } }
    RepDataCaiWuShuJuFanHui { Crc32: <2> Data { DaiMa: 'b' } Data { DaiMa: 'c' } })");
  EXPECT_EQ(table_rows(root.get()), 1);
  EXPECT_EQ(table_get_uint(root.get(), 0, 0), 1u);
  EXPECT_EQ(table_rows(Stocks(root)), 1);
  EXPECT_EQ(TextAt(Stocks(root), 0, 0), "a");
}

TEST(Finance, FiguresStandInFieldOrder) {
  std::string record;
  for (int number = 1; number <= 53; ++number)
    record += FigureName(number) + ": " + std::to_string(1000 + number) + " ";
  const OwnedTable root = Finance("Data { DaiMa: 'a' Data { " + record + "} }");
  const std::vector<int64_t> figures = Figures(Stocks(root), 0);
  ASSERT_EQ(figures.size(), 53u);
  for (int k = 0; k < 53; ++k)
    EXPECT_EQ(figures[static_cast<size_t>(k)], 1001 + k) << FigureName(k + 1);
  EXPECT_EQ(table_get_int64(Stocks(root), 0, 3), 0x1FFFFFFFFFFFFF);  // 53 bits
}

TEST(Finance, FirstAndLastFigureByName) {
  const OwnedTable root = Finance("Data { DaiMa: 'a' Data { FaBuRiQi: 11 GangGuBaoGaoQi: 22 } }");
  const std::vector<int64_t> figures = Figures(Stocks(root), 0);
  ASSERT_EQ(figures.size(), 53u);
  EXPECT_EQ(figures.front(), 11);
  EXPECT_EQ(figures.back(), 22);
}

// Sent as 0: the bit alone tells the figure from those that were not sent.
TEST(Finance, EveryFigureHasItsBit) {
  for (int number = 1; number <= 53; ++number) {
    const OwnedTable root = Finance("Data { DaiMa: 'a' Data { " + FigureName(number) + ": 0 } }");
    EXPECT_EQ(table_get_int64(Stocks(root), 0, 3), int64_t{1} << (number - 1)) << FigureName(number);
  }
}

TEST(Finance, EveryFigureAlone) {
  for (int number = 1; number <= 53; ++number) {
    const OwnedTable root = Finance("Data { DaiMa: 'a' Data { " + FigureName(number) + ": 77 } }");
    std::vector<int64_t> expected(53, 0);
    expected[static_cast<size_t>(number - 1)] = 77;
    EXPECT_EQ(Figures(Stocks(root), 0), expected) << FigureName(number);
  }
}

TEST(Finance, RecordOfOneFigure) {
  const OwnedTable root = Finance("Data { DaiMa: 'a' Data { FaBuRiQi: 20240427 } }");
  std::vector<int64_t> expected(53, 0);
  expected[0] = 20240427;
  EXPECT_EQ(Figures(Stocks(root), 0), expected);
  EXPECT_EQ(table_get_int64(Stocks(root), 0, 3), 1);
}

TEST(Finance, FiguresStayPacked) {
  const OwnedTable root =
      Finance("Data { DaiMa: 'a' Data { FaBuRiQi: " + P(1234) +
              " BaoGaoRiQi: 131072 ShangShiRiQi: -1 MeiGuShouYi: 9223372036854775807 } }");
  const std::vector<int64_t> figures = Figures(Stocks(root), 0);
  ASSERT_EQ(figures.size(), 53u);
  EXPECT_EQ(figures[0], 1234);
  EXPECT_EQ(figures[1], 131072);
  EXPECT_EQ(figures[2], -1);
  EXPECT_EQ(figures[3], std::numeric_limits<int64_t>::max());
  EXPECT_EQ(table_get_int64(Stocks(root), 0, 3), 15);
}

TEST(Finance, StockWithoutRecordLeavesFiguresAndMaskUnset) {
  const OwnedTable root = Finance("Data { DaiMa: 'a' LeiXing: <7> } Data { DaiMa: 'b' Data { } }");
  void* stocks = Stocks(root);
  EXPECT_EQ(SetColumns(stocks, 0), "0 1");
  EXPECT_EQ(TextAt(stocks, 0, 0), "a");
  EXPECT_EQ(table_get_int(stocks, 0, 1), 7);
  // A record without figures is a record.
  EXPECT_EQ(SetColumns(stocks, 1), "0 1 2 3");
  EXPECT_EQ(Figures(stocks, 1), std::vector<int64_t>(53, 0));
  EXPECT_EQ(table_get_int64(stocks, 1, 3), 0);
}

TEST(Finance, TextIsNotTranscoded) {
  const OwnedTable root = Finance("Data { DaiMa: '送' }");
  EXPECT_EQ(TextAt(Stocks(root), 0, 0), kSong);
}

}  // namespace
