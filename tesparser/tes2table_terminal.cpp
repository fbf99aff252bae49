// Replies made for the desktop terminal itself: stock flags with a presence mask (Id 465), the server's times
// (Id 274) and the synchronised list of chosen stocks (Id 303).
#include <cstdint>
#include <cstring>

#include "tesparser/cell.h"
#include "tesparser/tes2table.h"
#include "tessel.markettrendindicators.pb.h"
#include "tessel.pc.selfstocksync.pb.h"
#include "tessel.pc.stkdata.pb.h"

namespace {

// The same 64 bits, read as signed.
int64_t AsSigned(uint64_t bits) {
  int64_t number = 0;
  std::memcpy(&number, &bits, sizeof number);
  return number;
}

void* MakeUser(const tessel::YongHuShuJu& user) {
  void* table = table_create("YongHuMingCheng:s;YongHuMiMa:s", 1, "");
  SetText(table, 0, 0, user.yonghumingcheng());
  SetText(table, 0, 1, user.yonghumima());
  return table;
}

void* MakeStockList(const tessel::PcZiXuanGuShuJu& element) {
  const int stocks = element.zixuanguliebiao_size();
  void* table = table_create("Obj:s", stocks, "");
  for (int i = 0; i < stocks; ++i)
    SetText(table, i, 0, element.zixuanguliebiao(i).obj());
  return table;
}

}  // namespace

// The mask has bit c for column c. An absent text leaves its cell unset; an absent number is written as zero
// all the same, and only the mask tells it from one that was sent. The texts stay UTF-8, the Chinese short
// name too; Obj alone is transcoded.
void* tes2table::ParsePcStkData(const tessel::MSG& message) {
  const auto& elements = message.repdatapcstkdata();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create(
      "Obj:s;JiaoYiDaiMa:s;ZhongWenJianCheng:s;StockLeader:d;LimitUpNum:q;StockLeader10:d;HasBits:q;", n, "");
  for (int i = 0; i < n; ++i) {
    const tessel::PcStkData& element = elements[i];
    int64_t arrived = 0;
    SetText(table, i, 0, element.obj());
    if (element.has_jiaoyidaima()) {
      SetRawText(table, i, 1, element.jiaoyidaima());
      arrived |= MaskBit(1);
    }
    if (element.has_zhongwenjiancheng()) {
      SetRawText(table, i, 2, element.zhongwenjiancheng());
      arrived |= MaskBit(2);
    }
    SetPackedDouble(table, i, 3, element.stockleader());
    if (element.has_stockleader()) arrived |= MaskBit(3);
    SetPackedInt64(table, i, 4, element.limitupnum());
    if (element.has_limitupnum()) arrived |= MaskBit(4);
    SetPackedDouble(table, i, 5, element.stockleader10());
    if (element.has_stockleader10()) arrived |= MaskBit(5);
    table_set_int64(table, i, 6, arrived);
  }
  return table;
}

// One row that wraps the whole result, whatever the number of elements.
void* tes2table::ParsePCJiBenXinXi(const tessel::MSG& message) {
  const auto& elements = message.repdatapcjibenxinxi();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("PCJiBenXinXi:t", 1, "");
  void* times = table_create("ShiJian:q", n, "");
  for (int i = 0; i < n; ++i)
    SetPackedInt64(times, i, 0, elements[i].shijian());
  table_set_table_raw(table, 0, 0, times);
  return table;
}

// The numbers are 64 bits wide and go whole to their 32-bit columns, which keep what fits; the result code
// that lets the stock list through is the wide one.
void* tes2table::ParsePcZiXuanGuShuJu(const tessel::MSG& message) {
  const auto& elements = message.repdatapczixuangushuju();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("CaoZuoJieGuo:i;BanBen:i;YongHuXinXi:t;ZiXuanGuLieBiao:t", n, "");
  for (int i = 0; i < n; ++i) {
    const tessel::PcZiXuanGuShuJu& element = elements[i];
    if (element.has_caozuojieguo()) {
      const int64_t result = TruncateToInt64(DecodePacked(element.caozuojieguo()));
      table_set_int64(table, i, 0, result);
      if (result == 0) table_set_table_raw(table, i, 3, MakeStockList(element));
    }
    // Unsigned on the wire, packed like any other number: with its top bit set it is none.
    if (element.has_banben()) SetPackedInt64(table, i, 1, AsSigned(element.banben()));
    if (element.has_yonghuxinxi()) table_set_table_raw(table, i, 2, MakeUser(element.yonghuxinxi()));
  }
  return table;
}
