// Quotes: snapshots (Id 20), candlesticks (Id 21) and the opening auction out of the stock record (Id 27).
// All three write every column whether or not the field arrived: an absent number stands as zero.
#include "tesparser/cell.h"
#include "tesparser/tes2table.h"
#include "tessel.stkdata.pb.h"
#include "tsloutput.pb.h"

namespace {

// Identifier, time and volume are truncated to integers here, unlike in the candlesticks below.
void FillSnapshot(void* table, const tessel::GeGuDongTai& data) {
  SetPackedInt64(table, 0, 0, data.id());
  SetPackedInt64(table, 0, 1, data.shijian());
  SetPackedDouble(table, 0, 2, data.zuixinjia());
  SetPackedDouble(table, 0, 3, data.kaipanjia());
  SetPackedDouble(table, 0, 4, data.zuigaojia());
  SetPackedDouble(table, 0, 5, data.zuidijia());
  SetPackedDouble(table, 0, 6, data.zuoshou());
  SetPackedDouble(table, 0, 7, data.junjia());
  SetPackedDouble(table, 0, 8, data.zhangdie());
  SetPackedDouble(table, 0, 9, data.zhangfu());
  SetPackedDouble(table, 0, 10, data.zhenfu());
  SetPackedInt64(table, 0, 11, data.chengjiaoliang());
  SetPackedInt64(table, 0, 12, data.xianshou());
  SetPackedDouble(table, 0, 13, data.chengjiaoe());
  SetPackedInt64(table, 0, 14, data.zongchengjiaobishu());
  SetPackedDouble(table, 0, 15, data.huanshou());
  SetPackedDouble(table, 0, 16, data.liangbi());
  SetPackedInt64(table, 0, 17, data.neipan());
  SetPackedInt64(table, 0, 18, data.waipan());
  SetPackedInt64(table, 0, 19, data.chicang());
  SetPackedDouble(table, 0, 20, data.jiesuanjia());
}

// Time and volume stay doubles, and a volume keeps its fraction.
void FillBar(void* table, int row, const tessel::KXian& bar) {
  SetPackedDouble(table, row, 0, bar.shijian());
  SetPackedDouble(table, row, 1, bar.kaipanjia());
  SetPackedDouble(table, row, 2, bar.zuigaojia());
  SetPackedDouble(table, row, 3, bar.zuidijia());
  SetPackedDouble(table, row, 4, bar.shoupanjia());
  SetPackedDouble(table, row, 5, bar.chengjiaoliang());
  SetPackedDouble(table, row, 6, bar.chengjiaoe());
  SetPackedDouble(table, row, 7, bar.chengjiaobishu());
  SetPackedInt64(table, row, 8, bar.shangzhangjiashu());
  SetPackedInt64(table, row, 9, bar.xiadiejiashu());
  SetPackedInt64(table, row, 10, bar.chicang());
  SetPackedDouble(table, row, 11, bar.zengcang());
  SetPackedDouble(table, row, 12, bar.zengliang());
  SetPackedDouble(table, row, 13, bar.jiesuanjia());
}

}  // namespace

void* tes2table::ParseQuoteDynaSingle(const tessel::MSG& message) {
  const auto& elements = message.repdataquotedynasingle();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;Data:t", n, "");
  const char* spec = NestedColumnSpec(message.id());
  for (int i = 0; i < n; ++i) {
    const tessel::QuoteDynaSingle& element = elements[i];
    void* snapshot = table_create(spec, 1, "");
    FillSnapshot(snapshot, element.data());
    SetText(table, i, 0, element.obj());
    table_set_table_raw(table, i, 1, snapshot);
  }
  return table;
}

void* tes2table::ParseQuoteKlineSingle(const tessel::MSG& message) {
  const auto& elements = message.repdataquoteklinesingle();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;Data:t", n, "");
  const char* spec = NestedColumnSpec(message.id());
  for (int i = 0; i < n; ++i) {
    const tessel::QuoteKlineSingle& element = elements[i];
    SetText(table, i, 0, element.obj());
    const int bars = element.data_size();
    if (bars == 0) continue;  // the cell stays unset: no empty table stands for an instrument without bars
    void* series = table_create(spec, bars, "");
    for (int j = 0; j < bars; ++j)
      FillBar(series, j, element.data(j));
    table_set_table_raw(table, i, 1, series);
  }
  return table;
}

void* tes2table::ParseStkData(const tessel::MSG& message) {
  const auto& elements = message.repdatastkdata();
  const int n = elements.size();
  if (n == 0) return nullptr;
  // The lower-case name of the first column is the format's.
  void* table = table_create(
      "obj:s;JingJiaWeiMaiRuChe:d;JingJiaWeiMaiChuChe:d;JingJiaHuanShou:d;JingJiaZhangSu:d;"
      "JingJiaMaiRuDanShu:d;JingJiaMaiChuDanShu:d;JingJiaDanShuChaZhi:d;JingJiaMaiRuE:d;JingJiaMaiChuE:d;"
      "JingJiaEChaZhi:d",
      n, "");
  for (int i = 0; i < n; ++i) {
    const tessel::StkData& element = elements[i];
    SetText(table, i, 0, element.obj());
    SetPackedDouble(table, i, 1, element.jingjiaweimairuche());
    SetPackedDouble(table, i, 2, element.jingjiaweimaichuche());
    SetPackedDouble(table, i, 3, element.jingjiahuanshou());
    SetPackedDouble(table, i, 4, element.jingjiazhangsu());
    SetPackedDouble(table, i, 5, element.jingjiamairudanshu());
    SetPackedDouble(table, i, 6, element.jingjiamaichudanshu());
    SetPackedDouble(table, i, 7, element.jingjiadanshuchazhi());
    SetPackedDouble(table, i, 8, element.jingjiamairue());
    SetPackedDouble(table, i, 9, element.jingjiamaichue());
    SetPackedDouble(table, i, 10, element.jingjiaechazhi());
  }
  return table;
}
