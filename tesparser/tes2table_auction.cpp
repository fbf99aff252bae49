// The opening auction of each stock (Id 443) and a block's figures over a stage of the day with its stocks
// (Id 442).
#include "tesparser/cell.h"
#include "tesparser/tes2table.h"
#include "tessel.auction.pb.h"
#include "tessel.pc.jieduantongji.pb.h"

namespace {

// The bit of a column in the mask: set for a field that arrived with a value.
int64_t ValueBit(int col, bool has, int64_t packed) {
  return has && packed != PACKED_NULL ? MaskBit(col) : 0;
}

// Amounts of money in the auction table are shown in ten thousands.
void SetPackedTenThousands(void* table, int row, int col, int64_t packed) {
  table_set_double(table, row, col, DecodePacked(packed) / 10000.0);
}

// The mask tells a value from its absence; the cells themselves are written in any case.
void FillAuction(void* table, int row, const tessel::JingJiaDongCha& data) {
  int64_t mask = 0;
  SetText(table, row, 0, data.obj());
  mask |= ValueBit(1, data.has_huanshou(), data.huanshou());
  SetPackedDouble(table, row, 1, data.huanshou());
  mask |= ValueBit(2, data.has_zhangsu(), data.zhangsu());
  SetPackedDouble(table, row, 2, data.zhangsu());
  mask |= ValueBit(3, data.has_fenzhongzhangsu1(), data.fenzhongzhangsu1());
  SetPackedDouble(table, row, 3, data.fenzhongzhangsu1());
  mask |= ValueBit(4, data.has_chengjiaoe(), data.chengjiaoe());
  SetPackedTenThousands(table, row, 4, data.chengjiaoe());
  mask |= ValueBit(5, data.has_weichengjiaoe(), data.weichengjiaoe());
  SetPackedTenThousands(table, row, 5, data.weichengjiaoe());
  mask |= ValueBit(6, data.has_weimairuche(), data.weimairuche());
  SetPackedDouble(table, row, 6, data.weimairuche());
  mask |= ValueBit(7, data.has_weimaichuche(), data.weimaichuche());
  SetPackedDouble(table, row, 7, data.weimaichuche());
  mask |= ValueBit(8, data.has_mairue(), data.mairue());
  SetPackedTenThousands(table, row, 8, data.mairue());
  mask |= ValueBit(9, data.has_maichue(), data.maichue());
  SetPackedTenThousands(table, row, 9, data.maichue());
  mask |= ValueBit(10, data.has_echazhi(), data.echazhi());
  SetPackedTenThousands(table, row, 10, data.echazhi());
  table_set_int64(table, row, 11, mask);
}

// Amounts stand as they were sent here, unlike in the auction table above.
void FillBlock(void* table, const tessel::BlockData& data) {
  SetText(table, 0, 0, data.obj());
  SetText(table, 0, 1, data.gupiaomingcheng());
  SetPackedDouble(table, 0, 2, data.kaipanjia());
  SetPackedDouble(table, 0, 3, data.zuigaojia());
  SetPackedDouble(table, 0, 4, data.zuidijia());
  SetPackedDouble(table, 0, 5, data.shoupanjia());
  SetPackedDouble(table, 0, 6, data.zhangdie());
  SetPackedDouble(table, 0, 7, data.zhangfu());
  SetPackedDouble(table, 0, 8, data.zhenfu());
  SetPackedDouble(table, 0, 9, data.chengjiaoliang());
  SetPackedDouble(table, 0, 10, data.chengjiaoe());
  SetPackedDouble(table, 0, 11, data.jingliurue());
}

void FillBlockStock(void* table, int row, const tessel::StockData& data) {
  SetText(table, row, 0, data.obj());
  SetText(table, row, 1, data.mingcheng());
  SetPackedInt(table, row, 2, data.xuhao());
  SetPackedDouble(table, row, 3, data.jieduanzhangfu());
  SetPackedDouble(table, row, 4, data.chengjiaoe());
  SetPackedDouble(table, row, 5, data.zhenfu());
  SetPackedDouble(table, row, 6, data.gongxiandian());
  SetPackedDouble(table, row, 7, data.dadanjingmairue());
  SetPackedDouble(table, row, 8, data.zhulizengcang());
  SetPackedDouble(table, row, 9, data.zhangfu());
  SetText(table, row, 10, data.lingzhangbankuai());
  SetText(table, row, 11, data.lingzhangbankuaidaima());
  SetText(table, row, 12, data.jieduanlingzhanggu());
  SetText(table, row, 13, data.jieduanlingzhanggudaima());
  SetText(table, row, 14, data.lingzhanggu());
  SetText(table, row, 15, data.lingzhanggudaima());
  SetPackedInt(table, row, 16, data.shangzhangjiashu());
  SetPackedInt(table, row, 17, data.xiadiejiashu());
  SetPackedInt(table, row, 18, data.pingpanjiashu());
}

}  // namespace

void* tes2table::ParseFenShiJieDuanTongJiFanHui(const tessel::MSG& message) {
  const auto& elements = message.repdatafenshijieduantongjifanhui();
  if (elements.empty()) return nullptr;
  // One block makes one reply: further elements are not shown.
  const tessel::FenShiJieDuanTongJiFanHui& element = elements[0];
  const int n = element.datas_size();
  void* table = table_create(
      "Obj:s;GuPiaoMingCheng:s;KaiPanJia:d;ZuiGaoJia:d;ZuiDiJia:d;ShouPanJia:d;ZhangDie:d;ZhangFu:d;ZhenFu:d;"
      "ChengJiaoLiang:d;ChengJiaoE:d;JingLiuRuE:d;ZongGeShu:i;ItemData:t;",
      1, "");
  void* items = table_create(
      "Obj:s;MingCheng:s;XuHao:i;JieDuanZhangFu:d;ChengJiaoE:d;ZhenFu:d;GongXianDian:d;DaDanJingMaiRuE:d;"
      "ZhuLiZengCang:d;ZhangFu:d;LingZhangBanKuai:s;LingZhangBanKuaiDaiMa:s;JieDuanLingZhangGu:s;"
      "JieDuanLingZhangGuDaiMa:s;LingZhangGu:s;LingZhangGuDaiMa:s;ShangZhangJiaShu:i;XiaDieJiaShu:i;"
      "PingPanJiaShu:i;",
      n, "");
  for (int i = 0; i < n; ++i)
    FillBlockStock(items, i, element.datas(i));
  FillBlock(table, element.bankuaixinxi());
  SetPackedInt(table, 0, 12, element.shujuzonggeshu());
  table_set_table_raw(table, 0, 13, items);
  return table;
}

void* tes2table::ParseJingJiaDongCha(const tessel::MSG& message) {
  const auto& elements = message.repdatajingjiadongcha();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create(
      "Obj:s;HuanShou:d;ZhangSu:d;FenZhongZhangSu1:d;ChengJiaoE:d;WeiChengJiaoE:d;WeiMaiRuChe:d;"
      "WeiMaiChuChe:d;MaiRuE:d;MaiChuE:d;EChaZhi:d;HasBits:q;",
      n, "");
  for (int i = 0; i < n; ++i)
    FillAuction(table, i, elements[i]);
  return table;
}
