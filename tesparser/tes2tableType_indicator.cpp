// Indicator output (Id 25): for each instrument a series of points, each with one result for each line of the
// indicator. How wide the table is says the caller, not the message.
#include <algorithm>

#include "tesparser/cell.h"
#include "tesparser/tes2tableType.h"
#include "tessel.zhibiao.pb.h"

namespace {

// Results beyond the width are dropped; columns beyond the results stay unset.
void FillPoint(void* table, int row, int width, const tessel::ZhiBiaoShuChu::ZBShuJu& point) {
  SetPackedDouble(table, row, 0, point.shijian());
  const int results = std::min(width, point.jieguo_size());
  // Taken once: the list asks for it out of line each time.
  const int64_t* const values = point.jieguo().data();
  for (int i = 0; i < results; ++i)
    SetPackedDouble(table, row, i + 1, values[i]);
}

}  // namespace

void* tes2tableType::ParseZhiBiaoShuChu(const tessel::MSG& msg, TPType type) {
  if (msg.id() != tessel::IDZhiBiaoShuChu) return nullptr;
  const auto& elements = msg.repdatazhibiaoshuchu();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;Data:t", n, "tes2tableType::ParseZhiBiaoShuChu");
  const std::string spec = ZhiBiaoColumnSpec(type);
  for (int r = 0; r < n; ++r) {
    const tessel::ZhiBiaoShuChu& element = elements[r];
    const int points = element.shuju_size();
    void* series = table_create(spec.c_str(), points, "");
    const int width = table_cols(series) - 1;
    for (int k = 0; k < points; ++k)
      FillPoint(series, k, width, element.shuju(k));
    SetRawText(table, r, 0, element.obj());
    table_set_table_raw(table, r, 1, series);
  }
  return table;
}
