// Limit-up analysis: how firmly each stock's limit-up held (Id 272), the market's rise and fall counts (Id
// 271), the lists of stocks at the limit (Id 273). Every column is written whether or not the field arrived.
//
// The three look alike and are not: the time is an integer in 272 and 273 and a double in 271; an empty list
// is marked in 272 and 271 and left unset in 273.
#include "tesparser/cell.h"
#include "tesparser/tes2table.h"
#include "tessel.markettrendindicators.pb.h"

namespace {

// The counts stay doubles, unlike the days and times of the stocks' seal strength below.
void FillMarketSample(void* table, int row, const tessel::ShiChangZhangDieXinXi& data) {
  SetPackedDouble(table, row, 0, data.shijian());
  SetPackedDouble(table, row, 1, data.zuixinjiadengyuzhangtingjiashu());
  SetPackedDouble(table, row, 2, data.zuigaojiadengyuzhangtingjiashu());
  SetPackedDouble(table, row, 3, data.fengbanlv());
  SetPackedDouble(table, row, 4, data.zhangtingjiashu());
  SetPackedDouble(table, row, 5, data.dietingjiashu());
  SetPackedDouble(table, row, 6, data.shangzhangjiashu());
  SetPackedDouble(table, row, 7, data.xiadiejiashu());
  SetPackedDouble(table, row, 8, data.pingpanjiashu());
  SetPackedDouble(table, row, 9, data.zhangfudayu5());
  SetPackedDouble(table, row, 10, data.zhangfudayu2());
  SetPackedDouble(table, row, 11, data.zhangfudayu0());
  SetPackedDouble(table, row, 12, data.diefudayu5());
  SetPackedDouble(table, row, 13, data.diefudayu2());
  SetPackedDouble(table, row, 14, data.diefudayu0());
  SetPackedDouble(table, row, 15, data.tingpaijiashu());
  SetText(table, row, 16, data.zhishumingcheng());
  SetPackedDouble(table, row, 17, data.yizhizhangtingjiashu());
  SetPackedDouble(table, row, 18, data.ziranzhangtingjiashu());
  SetPackedDouble(table, row, 19, data.stzhangtingjiashu());
}

void FillSealStrength(void* table, int row, const tessel::GuPiaoFengBanQiangDu& data) {
  SetPackedInt64(table, row, 0, data.shijian());
  SetPackedDouble(table, row, 1, data.zhangtingchengjiaoliang());
  SetPackedDouble(table, row, 2, data.zhangtingfengdanliang());
  SetPackedDouble(table, row, 3, data.liutongpan());
  SetPackedDouble(table, row, 4, data.fengbanqiangdu());
  SetPackedDouble(table, row, 5, data.zhangtinghuanshou());
  SetPackedInt64(table, row, 6, data.zhangtingshijian());
  SetPackedInt64(table, row, 7, data.zhangtinglianbantianshu());
  SetPackedInt64(table, row, 8, data.zhangtingtongjitianshu());
  SetPackedInt64(table, row, 9, data.zhangtingdakaicishu());
  SetPackedDouble(table, row, 10, data.guxing());
  SetPackedDouble(table, row, 11, data.huoyuedu());
  SetPackedDouble(table, row, 12, data.zhangtingshichang());
}

// A list without stocks makes no call on its cell at all.
void AttachStockList(void* parent, int row, int col,
                     const google::protobuf::RepeatedPtrField<tessel::ZhangDieTingGuPiao>& stocks) {
  const int n = stocks.size();
  if (n == 0) return;
  void* list = table_create("Obj:s", n, "");
  for (int i = 0; i < n; ++i)
    SetText(list, i, 0, stocks[i].obj());
  table_set_table_raw(parent, row, col, list);
}

}  // namespace

void* tes2table::ParseShiChangZhangDieFanHuiShuJu(const tessel::MSG& message) {
  const auto& elements = message.repdatashichangzhangdiefanhuishuju();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;Data:t", n, "");
  for (int i = 0; i < n; ++i) {
    const tessel::ShiChangZhangDieFanHuiShuJu& element = elements[i];
    SetText(table, i, 0, element.obj());
    const int samples = element.data_size();
    if (samples == 0) {
      table_set_table(table, i, 1, nullptr, 1);
      continue;
    }
    void* series = table_create(
        "ShiJian:d;ZuiXinJiaDengYuZhangTingJiaShu:d;ZuiGaoJiaDengYuZhangTingJiaShu:d;FengBanLv:d;"
        "ZhangTingJiaShu:d;DieTingJiaShu:d;ShangZhangJiaShu:d;XiaDieJiaShu:d;PingPanJiaShu:d;ZhangFuDaYu5:d;"
        "ZhangFuDaYu2:d;ZhangFuDaYu0:d;DieFuDaYu5:d;DieFuDaYu2:d;DieFuDaYu0:d;TingPaiJiaShu:d;"
        "ZhiShuMingCheng:s;YiZhiZhangTingJiaShu:d;ZiRanZhangTingJiaShu:d;STZhangTingJiaShu:d;",
        samples, "");
    for (int j = 0; j < samples; ++j)
      FillMarketSample(series, j, element.data(j));
    table_set_table_raw(table, i, 1, series);
  }
  return table;
}

void* tes2table::ParseGeGuFengBanFanHuiShuJu(const tessel::MSG& message) {
  const auto& elements = message.repdatagegufengbanfanhuishuju();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;Data:t", n, "");
  for (int i = 0; i < n; ++i) {
    const tessel::GeGuFengBanFanHuiShuJu& element = elements[i];
    SetText(table, i, 0, element.obj());
    const int samples = element.data_size();
    if (samples == 0) {
      table_set_table(table, i, 1, nullptr, 1);
      continue;
    }
    void* series = table_create(
        "ShiJian:q;ZhangTingChengJiaoLiang:d;ZhangTingFengDanLiang:d;LiuTongPan:d;FengBanQiangDu:d;"
        "ZhangTingHuanShou:d;ZhangTingShiJian:q;ZhangTingLianBanTianShu:q;ZhangTingTongJiTianShu:q;"
        "ZhangTingDaKaiCiShu:q;GuXing:d;HuoYueDu:d;ZhangTingShiChang:d",
        samples, "");
    for (int j = 0; j < samples; ++j)
      FillSealStrength(series, j, element.data(j));
    table_set_table_raw(table, i, 1, series);
  }
  return table;
}

void* tes2table::ParseZhangDieTingBanKuaiShuJu(const tessel::MSG& message) {
  const auto& elements = message.repdatazhangdietingbankuaishuju();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create(
      "ShiJian:q;ZhangTingGuPiaoLieBiao:t;DieTingGuPiaoLieBiao:t;YiZhiZhangTingGuPiaoLieBiao:t;"
      "ZiRanZhangTingGuPiaoLieBiao:t;STZhangTingGuPiaoLieBiao:t;YiZhiWeiKaiBanGuPiaoLieBiao:t",
      n, "");
  for (int i = 0; i < n; ++i) {
    const tessel::ZhangDieTingBanKuaiShuJu& element = elements[i];
    SetPackedInt64(table, i, 0, element.shijian());
    AttachStockList(table, i, 1, element.zhangtinggupiaoliebiao());
    AttachStockList(table, i, 2, element.dietinggupiaoliebiao());
    AttachStockList(table, i, 3, element.yizhizhangtinggupiaoliebiao());
    AttachStockList(table, i, 4, element.ziranzhangtinggupiaoliebiao());
    AttachStockList(table, i, 5, element.stzhangtinggupiaoliebiao());
    AttachStockList(table, i, 6, element.yizhiweikaibangupiaoliebiao());
  }
  return table;
}
