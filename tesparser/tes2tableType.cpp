#include "tesparser/tes2tableType.h"

#include "tesparser/tes2table.h"

namespace {

bool IsZhiBiao(TPType type) {
  return type >= TPTypeZhiBiao1 && type <= TPTypeZhiBiao16;
}

}  // namespace

void* tes2tableType::ParseTableType(const tessel::MSG& msg, TPType type) {
  if (type == TPTypeById) return tes2table().Parse(msg);
  const bool wire = msg.id() == tessel::IDTbl;
  // Indicator output has no form as a wire table.
  if (IsZhiBiao(type)) return wire ? nullptr : ParseZhiBiaoShuChu(msg, type);
  switch (type) {
    case TPTypeDaDan: return wire ? ParseTypedTbl(msg, type) : ParseDaDanShuJu(msg, type);
    case TPTypeFenLeiChiCang: return wire ? ParseTypedTbl(msg, type) : ParseFenLeiChiCang(msg, type);
    case TPTypeBxzjStock: return wire ? ParseTypedTbl(msg, type) : ParseBxzjBasicStockInfo(msg, type);
    case TPTypeToken: return wire ? ParseTypedTbl(msg, type) : ParseToken(msg, type);
    default: return nullptr;  // TPTypeBxzjBlock among them: a layout, but no converter
  }
}

std::string tes2tableType::TypedColumnSpec(TPType type) {
  if (IsZhiBiao(type)) return ZhiBiaoColumnSpec(type);
  switch (type) {
    case TPTypeDaDan:
      return "ShiJian:d;WeiTuoMaiRuDanShu:d;WeiTuoMaiRuDaDanShu:d;WeiTuoMaiRuDaDanBiLi:d;"
             "WeiTuoMaiChuDanShu:d;WeiTuoMaiChuDaDanShu:d;WeiTuoMaiChuDaDanBiLi:d;ZongChengJiaoLiang:d;"
             "ZongChengJiaoE:d;DaDanMaiRuE:d;DaDanMaiChuE:d;";
    case TPTypeFenLeiChiCang:
      return "RiQi:d;GuDongRenShu:d;SanHuChiCangBi:d;ZhongHuChiCangBi:d;DaHuChiCangBi:d;"
             "ChaoDaHuChiCangBi:d;LiuTongGu:d;";
    case TPTypeBxzjStock:
      // One name stands twice, and the next field's name with the one behind it move on by a column each.
      // That is the layout: readers know it.
      return "ShiJian:d;ChiGuShuLiang:d;ShouPanJia:d;ZhanLiuTongGuBiLi:d;ChiGuShiZhi:d;"
             "ChiGuShuLiangBianHua:d;ChiGuShuLiangBianHua:d;ChiGuShiZhiBianHua:d;ChiGuZongShiZhi:d;"
             "ChiGuZhangFu:d;";
    case TPTypeBxzjBlock:
      return "ShiJian:d;JingMaiRuE:d;ChiGuShuLiang:d;ZhanLiuTongGuBiLi:d;ChiGuShiZhi:d;ZengChiShuLiang:d;"
             "WuBianHuaShuLiang:d;JianChiShuLiang:d;DaPanZengChiShuLiang:d;ZhongPanZengChiShuLiang:d;"
             "XiaoPanZengChiShuLiang:d;";
    case TPTypeToken: return "Result:i;Token:s;Uid:s;Device:s;";
    default: return std::string();
  }
}

std::string tes2tableType::ZhiBiaoColumnSpec(TPType type) {
  std::string spec = "ShiJian:d;";
  constexpr int kNoResult = TPTypeZhiBiao1 - 1;
  for (int i = 1; kNoResult + i <= type; ++i)
    spec += "JieGuo" + std::to_string(i) + ":d;";
  return spec;
}
