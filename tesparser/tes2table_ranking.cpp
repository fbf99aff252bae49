// Rankings and picks: sorted lists (Ids 28, 115, 421, 433), stocks picked by an indicator (Id 313) and blocks
// with their figures (Id 414). Text stays as it was received. They look alike and differ in what an empty
// reply gives, in which element counts and in which cells stay unset; each of these differences is the
// format's. In all masks of this file bit n belongs to column n.
#include <optional>

#include "tesparser/cell.h"
#include "tesparser/tes2table.h"
#include "tessel.indicalcsort.pb.h"
#include "tessel.markettrendindicators.pb.h"
#include "tessel.paixu.pb.h"
#include "tessel.xuangu.pb.h"
#include "tessel.zhibiao.pb.h"

namespace {

void FillSignal(void* table, int row, const tessel::ZBXuanGuShuJu& signal) {
  SetPackedInt64(table, row, 0, signal.xinhaoshijian());
  SetPackedDouble(table, row, 1, signal.xinhaojiage());
  SetPackedInt(table, row, 2, signal.shijianleixing());
  SetPackedInt(table, row, 3, signal.xinhaoleixing());
}

// A figure that was not sent stands as 0.0 and has no bit.
void FillBlock(void* table, int row, const tessel::PcBanKuaiShuJu& block, int64_t total) {
  SetRawText(table, row, 0, block.obj());
  SetRawText(table, row, 1, block.mingcheng());
  SetPackedDouble(table, row, 2, block.zuixinjia());
  SetPackedDouble(table, row, 3, block.zijinjinge());
  SetPackedDouble(table, row, 4, block.shiyinglv());
  SetPackedDouble(table, row, 5, block.shijinglv());
  SetPackedInt(table, row, 6, total);
  int64_t bits = 0;
  if (block.has_zuixinjia()) bits |= MaskBit(2);
  if (block.has_zijinjinge()) bits |= MaskBit(3);
  if (block.has_shiyinglv()) bits |= MaskBit(4);
  if (block.has_shijinglv()) bits |= MaskBit(5);
  table_set_int64(table, row, 7, bits);
}

// The one indicator that was asked for; of several, the first in this order.
std::optional<int64_t> FirstIndicator(const tessel::IndiCalcSortOutput& element) {
  if (element.has_acydn()) return element.acydn();
  if (element.has_acylxph()) return element.acylxph();
  if (element.has_acyqiriph()) return element.acyqiriph();
  if (element.has_acyshisiriph()) return element.acyshisiriph();
  if (element.has_acyershiyiriph()) return element.acyershiyiriph();
  return std::nullopt;
}

}  // namespace

// Here a value that was sent as "no value" counts as not sent, and what was not sent stays unset.
void* tes2table::ParsePaiXu(const tessel::MSG& message) {
  const auto& elements = message.repdatapaixu();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;Value:d;Text:s;HasBits:q;", n, "");
  for (int i = 0; i < n; ++i) {
    const tessel::PaiXu& element = elements[i];
    int64_t bits = 0;
    SetRawText(table, i, 0, element.obj());
    if (element.has_value() && element.value() != PACKED_NULL) {
      SetPackedDouble(table, i, 1, element.value());
      bits |= MaskBit(1);
    }
    if (element.has_text()) {
      SetRawText(table, i, 2, element.text());
      bits |= MaskBit(2);
    }
    table_set_int64(table, i, 3, bits);
  }
  return table;
}

// The rank numbers alone.
void* tes2table::ParsePaiMing(const tessel::MSG& message) {
  const auto& elements = message.repdatapaiming();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Index:i;", n, "");
  for (int i = 0; i < n; ++i)
    SetPackedInt(table, i, 0, elements[i].mingci());
  return table;
}

// The one converter of this file that answers an empty reply with a table without rows.
void* tes2table::ParseZBXuanGu(const tessel::MSG& message) {
  const auto& elements = message.repdatazbxuangu();
  const int n = elements.size();
  void* table = table_create("DaiMa:s;MingCheng:s;ZBXuanGuShuJu:t", n, "");
  for (int i = 0; i < n; ++i) {
    const tessel::ZBXuanGu& element = elements[i];
    SetRawText(table, i, 0, element.daima());
    SetRawText(table, i, 1, element.mingcheng());
    const int count = element.shuju_size();
    if (count == 0) continue;  // the cell stays unset
    void* signals =
        table_create("XinHaoShiJian:q; XinHaoJiaGe:d; ShiJianLeiXing:i; XinHaoLeiXing:i", count, "");
    for (int j = 0; j < count; ++j)
      FillSignal(signals, j, element.shuju(j));
    table_set_table_raw(table, i, 2, signals);
  }
  return table;
}

// The first element counts.
void* tes2table::ParsePcBanKuaiFuWuFanHuiShuJu(const tessel::MSG& message) {
  const auto& elements = message.repdatapcbankuaifuwufanhuishuju();
  if (elements.empty()) return nullptr;
  const tessel::PcBanKuaiFuWuFanHuiShuJu& reply = elements[0];
  const int64_t total = LowInt32(reply.shujuzonggeshu());  // readers know the count in this form only
  const int n = reply.data_size();
  void* table = table_create(
      "Obj:s;MingCheng:s;ZuiXinJia:d;ZiJinJingE:d;ShiYingLv:d;ShiJingLv:d;ShuJuZongGeShu:i;HasBits:q;", n,
      "");
  for (int i = 0; i < n; ++i) {
    const tessel::PcBanKuaiShuJu& block = reply.data(i);
    const bool has_figure =
        block.has_zuixinjia() || block.has_zijinjinge() || block.has_shiyinglv() || block.has_shijinglv();
    if (has_figure) FillBlock(table, i, block, total);  // without one the whole row stays unset
  }
  return table;
}

// The last element counts; an earlier one could never be seen.
void* tes2table::ParseZhiBiaoSort(const tessel::MSG& message) {
  const auto& elements = message.repdatazhibiaosort();
  if (elements.empty()) return nullptr;
  const tessel::ZhiBiaoSort& reply = elements[elements.size() - 1];
  const int n = reply.zjxf_size();
  void* table = table_create("Obj:s;Value:d;HasBits:q;", n, "");
  for (int i = 0; i < n; ++i) {
    const tessel::ZiJinXianFeng& entry = reply.zjxf(i);
    SetRawText(table, i, 0, entry.obj());
    SetPackedDouble(table, i, 1, entry.value());  // also when it was not sent, unlike in the other rankings
    table_set_int64(table, i, 2, entry.has_value() ? MaskBit(1) : 0);
  }
  return table;
}

void* tes2table::ParseIndiCalcSortOutput(const tessel::MSG& message) {
  const auto& elements = message.repdataindicalcsortoutput();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;Value:d;HasBits:q;", n, "");
  for (int i = 0; i < n; ++i) {
    const tessel::IndiCalcSortOutput& element = elements[i];
    const std::optional<int64_t> value = FirstIndicator(element);
    SetRawText(table, i, 0, element.obj());
    if (value) SetPackedDouble(table, i, 1, *value);
    table_set_int64(table, i, 2, value ? MaskBit(1) : 0);
  }
  return table;
}
