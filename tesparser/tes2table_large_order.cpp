// Large orders: the statistics of each object over time (Id 321) and the answer to an order (Id 392).
#include "tesparser/cell.h"
#include "tesparser/tes2table.h"
#include "tessel.orderdata.pb.h"

namespace {

// Columns 35 to 37 (ZhongWenJianCheng, ZuiXinJia, ZhangFu) are declared and stay unset, even when their
// fields arrive: readers of this table expect the gap.
void FillLargeOrders(void* table, int row, const tessel::DaDanShuJu& data) {
  SetPackedDouble(table, row, 0, data.shijian());
  SetPackedDouble(table, row, 1, data.weituomairudanshu());
  SetPackedDouble(table, row, 2, data.weituomairudadanshu());
  SetPackedDouble(table, row, 3, data.weituomairudadanbili());
  SetPackedDouble(table, row, 4, data.weituomaichudanshu());
  SetPackedDouble(table, row, 5, data.weituomaichudadanshu());
  SetPackedDouble(table, row, 6, data.weituomaichudadanbili());
  SetPackedDouble(table, row, 7, data.zongchengjiaoliang());
  SetPackedDouble(table, row, 8, data.zongchengjiaoe());
  SetPackedDouble(table, row, 9, data.dadanmairue());
  SetPackedDouble(table, row, 10, data.dadanmaichue());
  SetPackedDouble(table, row, 11, data.zijinliurue());
  SetPackedDouble(table, row, 12, data.zijinliurue5());
  SetPackedDouble(table, row, 13, data.zijinliurue10());
  SetPackedDouble(table, row, 14, data.zijinliuruebili());
  SetPackedDouble(table, row, 15, data.zijinliuruebili5());
  SetPackedDouble(table, row, 16, data.zijinliuruebili10());
  SetPackedDouble(table, row, 17, data.danshucha());
  SetPackedDouble(table, row, 18, data.danshucha5());
  SetPackedDouble(table, row, 19, data.danshucha10());
  SetPackedDouble(table, row, 20, data.danshuchabili());
  SetPackedDouble(table, row, 21, data.danshuchabili5());
  SetPackedDouble(table, row, 22, data.danshuchabili10());
  SetPackedDouble(table, row, 23, data.zijinliurue15());
  SetPackedDouble(table, row, 24, data.zijinliurue30());
  SetPackedDouble(table, row, 25, data.zijinliurue60());
  SetPackedDouble(table, row, 26, data.zijinliuruebili15());
  SetPackedDouble(table, row, 27, data.zijinliuruebili30());
  SetPackedDouble(table, row, 28, data.zijinliuruebili60());
  SetPackedDouble(table, row, 29, data.danshucha15());
  SetPackedDouble(table, row, 30, data.danshucha30());
  SetPackedDouble(table, row, 31, data.danshucha60());
  SetPackedDouble(table, row, 32, data.danshuchabili15());
  SetPackedDouble(table, row, 33, data.danshuchabili30());
  SetPackedDouble(table, row, 34, data.danshuchabili60());
  SetPackedDouble(table, row, 38, data.dadandanshucha());
  SetPackedDouble(table, row, 39, data.dadandanshucha5());
}

}  // namespace

void* tes2table::ParseDaDanShuJuShuChu(const tessel::MSG& message) {
  const auto& elements = message.repdatadadanshujushuchu();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;Data:t", n, "");
  const char* spec = NestedColumnSpec(message.id());
  for (int i = 0; i < n; ++i) {
    const tessel::DaDanShuJuShuChu& element = elements[i];
    // An object without samples gets a table without rows, unlike in the limit-up replies.
    const int samples = element.data_size();
    void* series = table_create(spec, samples, "");
    for (int j = 0; j < samples; ++j)
      FillLargeOrders(series, j, element.data(j));
    SetText(table, i, 0, element.obj());
    table_set_table_raw(table, i, 1, series);
  }
  return table;
}

void* tes2table::ParseDaDanOrderResult(const tessel::MSG& message) {
  const auto& elements = message.repdatadadanorderresult();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Index:i;", n, "");
  for (int i = 0; i < n; ++i)
    table_set_int(table, i, 0, elements[i].index());
  return table;
}
