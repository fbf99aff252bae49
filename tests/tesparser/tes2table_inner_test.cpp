// The parts of the tables chosen by Id that replies alone cannot reach.
#include <gtest/gtest.h>

#include <string>

#include "tesparser/tes2table.h"
#include "tessel.pc.selfstocksync.pb.h"
#include "tests/support/tables.h"

namespace {

TEST(ColumnSpecForId, GivesTheNestedColumnsOfThreeIds) {
  EXPECT_EQ(tes2table().ColumnSpecForId(20),
            "Id:q;ShiJian:q;ZuiXinJia:d;KaiPanJia:d;ZuiGaoJia:d;ZuiDiJia:d;ZuoShou:d;JunJia:d;ZhangDie:d;"
            "ZhangFu:d;ZhenFu:d;ChengJiaoLiang:q;XianShou:q;ChengJiaoE:d;ZongChengJiaoBiShu:q;HuanShou:d;"
            "LiangBi:d;NeiPan:q;WaiPan:q;ChiCang:q;JieSuanJia:d;");
  EXPECT_EQ(tes2table().ColumnSpecForId(21),
            "ShiJian:d;KaiPanJia:d;ZuiGaoJia:d;ZuiDiJia:d;ShouPanJia:d;ChengJiaoLiang:d;ChengJiaoE:d;"
            "ChengJiaoBiShu:d;ShangZhangJiaShu:q;XiaDieJiaShu:q;ChiCang:q;ZengCang:d;ZengLiang:d;"
            "JieSuanJia:d;");
  EXPECT_EQ(tes2table().ColumnSpecForId(321),
            "ShiJian:d;WeiTuoMaiRuDanShu:d;WeiTuoMaiRuDaDanShu:d;WeiTuoMaiRuDaDanBiLi:d;WeiTuoMaiChuDanShu:d;"
            "WeiTuoMaiChuDaDanShu:d;WeiTuoMaiChuDaDanBiLi:d;ZongChengJiaoLiang:d;ZongChengJiaoE:d;"
            "DaDanMaiRuE:d;DaDanMaiChuE:d;ZiJinLiuRuE:d;ZiJinLiuRuE5:d;ZiJinLiuRuE10:d;ZiJinLiuRuEBiLi:d;"
            "ZiJinLiuRuEBiLi5:d;ZiJinLiuRuEBiLi10:d;DanShuCha:d;DanShuCha5:d;DanShuCha10:d;DanShuChaBiLi:d;"
            "DanShuChaBiLi5:d;DanShuChaBiLi10:d;ZiJinLiuRuE15:d;ZiJinLiuRuE30:d;ZiJinLiuRuE60:d;"
            "ZiJinLiuRuEBiLi15:d;ZiJinLiuRuEBiLi30:d;ZiJinLiuRuEBiLi60:d;DanShuCha15:d;DanShuCha30:d;"
            "DanShuCha60:d;DanShuChaBiLi15:d;DanShuChaBiLi30:d;DanShuChaBiLi60:d;ZhongWenJianCheng:s;"
            "ZuiXinJia:d;ZhangFu:d;DaDanDanShuCha:d;DaDanDanShuCha5:d;");
}

TEST(ColumnSpecForId, IsEmptyForAllOthers) {
  for (const int id : {-1, 0, 3, 19, 22, 303, 320, 322, 481})
    EXPECT_EQ(tes2table().ColumnSpecForId(id), "") << id;
}

TEST(TableRowCount, WithoutDataIsZeroAndWithoutColumnsBelow) {
  tessel::Table table;
  EXPECT_EQ(tes2table().TableRowCount(table, table.info()), 0);
  table.add_info()->set_type(tessel::Type_Int);
  EXPECT_EQ(tes2table().TableRowCount(table, table.info()), 0);
  table.add_data()->add_ivalues(7);
  EXPECT_EQ(tes2table().TableRowCount(table, table.info()), 1);
  table.add_data();
  EXPECT_EQ(tes2table().TableRowCount(table, table.info()), -1);
  table.clear_info();
  EXPECT_EQ(tes2table().TableRowCount(table, table.info()), -1);
}

// The result code is required, so no reply that lacks it is ever parsed; the converter does without it.
TEST(ChosenStocks, WithoutAResultCodeThereIsNoList) {
  tessel::MSG message;
  message.set_id(tessel::IDPcZiXuanGuShuJu);
  tessel::PcZiXuanGuShuJu* element = message.add_repdatapczixuangushuju();
  element->set_banben(0xA0007);  // 7, by scale code 10
  element->add_zixuanguliebiao()->set_obj("SH600000");
  const OwnedTable table(tes2table().Parse(message));
  EXPECT_EQ(SetColumns(table.get(), 0), "1");
  EXPECT_EQ(table_get_int(table.get(), 0, 1), 7);
}

}  // namespace
