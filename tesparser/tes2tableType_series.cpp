// Typed tables from a reply's own message: large orders (Id 321), holdings by class of holder (Id 296),
// northbound holdings (Id 430), and the token (Id 44). All series columns are decoded, dates and times among
// them, whether or not the field arrived; the token's four fields stand as they are.
#include "CldBeiXiangZiJin.pb.h"
#include "tesparser/cell.h"
#include "tesparser/tes2tableType.h"
#include "tessel.orderdata.pb.h"
#include "tessel.pc.fenleichicang.pb.h"
#include "tsltoken.pb.h"

namespace {

// The first eleven fields; the inflows behind them belong to the table by Id alone.
void FillDaDan(void* table, int row, const tessel::DaDanShuJu& data) {
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
}

void FillHoldings(void* table, int row, const tessel::FenLeiChiCangShuJu& data) {
  SetPackedDouble(table, row, 0, data.riqi());
  SetPackedDouble(table, row, 1, data.gudongrenshu());
  SetPackedDouble(table, row, 2, data.sanhuchicangbi());
  SetPackedDouble(table, row, 3, data.zhonghuchicangbi());
  SetPackedDouble(table, row, 4, data.dahuchicangbi());
  SetPackedDouble(table, row, 5, data.chaodahuchicangbi());
  SetPackedDouble(table, row, 6, data.liutonggu());
}

// By position: columns 6 and 7 are labelled ChiGuShuLiangBianHua, once more, and ChiGuShiZhiBianHua, and hold
// the change in market value and the change in the share of float. Readers count on both as they are.
void FillNorthbound(void* table, int row, const tessel::BxzjBasicStockInfo& data) {
  SetPackedDouble(table, row, 0, data.shijian());
  SetPackedDouble(table, row, 1, data.chigushuliang());
  SetPackedDouble(table, row, 2, data.shoupanjia());
  SetPackedDouble(table, row, 3, data.zhanliutonggubili());
  SetPackedDouble(table, row, 4, data.chigushizhi());
  SetPackedDouble(table, row, 5, data.chigushuliangbianhua());
  SetPackedDouble(table, row, 6, data.chigushizhibianhua());
  SetPackedDouble(table, row, 7, data.zhanliutonggubilibianhua());
  SetPackedDouble(table, row, 8, data.chiguzongshizhi());
  SetPackedDouble(table, row, 9, data.chiguzhangfu());
}

}  // namespace

void* tes2tableType::ParseDaDanShuJu(const tessel::MSG& msg, TPType type) {
  if (msg.id() != tessel::IDDaDanShuJuShuChu || type != TPTypeDaDan) return nullptr;
  const auto& elements = msg.repdatadadanshujushuchu();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;Data:t", n, "");
  const std::string spec = TypedColumnSpec(type);
  for (int r = 0; r < n; ++r) {
    const tessel::DaDanShuJuShuChu& element = elements[r];
    const int m = element.data_size();
    void* series = table_create(spec.c_str(), m, "");
    for (int k = 0; k < m; ++k)
      FillDaDan(series, k, element.data(k));
    SetText(table, r, 0, element.obj());
    table_set_table_raw(table, r, 1, series);
  }
  return table;
}

void* tes2tableType::ParseFenLeiChiCang(const tessel::MSG& msg, TPType type) {
  if (msg.id() != tessel::IDPcFenLeiChiCangLieBiao || type != TPTypeFenLeiChiCang) return nullptr;
  const auto& elements = msg.repdatapcfenleichicangliebiao();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;Data:t", n, "");
  const std::string spec = TypedColumnSpec(type);
  for (int r = 0; r < n; ++r) {
    const tessel::PcFenLeiChiCangLieBiao& element = elements[r];
    const int m = element.fenleichicang_size();
    void* series = table_create(spec.c_str(), m, "");
    for (int k = 0; k < m; ++k)
      FillHoldings(series, k, element.fenleichicang(k));
    SetText(table, r, 0, element.obj());
    table_set_table_raw(table, r, 1, series);
  }
  return table;
}

// Unlike the two above: the type is not tested here, the table has a name, and the object is not transcoded.
void* tes2tableType::ParseBxzjBasicStockInfo(const tessel::MSG& msg, TPType type) {
  if (msg.id() != tessel::IDBxzjBasicStockInfoOutput) return nullptr;
  const auto& elements = msg.repdatabxzjbasicstockinfooutput();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;Data:t", n, "tes2tableType::ParseBxzjBasicStockInfo");
  const std::string spec = TypedColumnSpec(type);
  for (int r = 0; r < n; ++r) {
    const tessel::BxzjBasicStockInfoOutput& element = elements[r];
    const int m = element.data_size();
    void* series = table_create(spec.c_str(), m, "");
    for (int k = 0; k < m; ++k)
      FillNorthbound(series, k, element.data(k));
    SetRawText(table, r, 0, element.obj());
    table_set_table_raw(table, r, 1, series);
  }
  return table;
}

void* tes2tableType::ParseToken(const tessel::MSG& msg, TPType type) {
  if (msg.id() != tessel::IDToken || type != TPTypeToken) return nullptr;
  const auto& elements = msg.repdatatoken();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create(TypedColumnSpec(type).c_str(), n, "");
  for (int r = 0; r < n; ++r) {
    const tessel::Token& element = elements[r];
    table_set_int(table, r, 0, element.result());
    SetRawText(table, r, 1, element.token());
    SetRawText(table, r, 2, element.uid());
    SetRawText(table, r, 3, element.device());
  }
  return table;
}
