#include "tesparser/tes2table.h"

void* tes2table::Parse(const tessel::MSG& message) {
  switch (message.id()) {
    case tessel::IDTbl: return ParseTbl(message);
    case tessel::IDQuoteDynaSingle: return ParseQuoteDynaSingle(message);
    case tessel::IDQuoteKlineSingle: return ParseQuoteKlineSingle(message);
    case tessel::IDStkData: return ParseStkData(message);
    case tessel::IDPaiXu: return ParsePaiXu(message);
    case tessel::IDF10GsgkOutput: return ParseF10GsgkOutput(message);
    case tessel::IDPaiMing: return ParsePaiMing(message);
    case tessel::IDTopicPage: return ParseTopicPage(message);
    case tessel::IDShiChangZhangDieFanHuiShuJu: return ParseShiChangZhangDieFanHuiShuJu(message);
    case tessel::IDGeGuFengBanFanHuiShuJu: return ParseGeGuFengBanFanHuiShuJu(message);
    case tessel::IDZhangDieTingBanKuaiShuJu: return ParseZhangDieTingBanKuaiShuJu(message);
    case tessel::IDPCJiBenXinXi: return ParsePCJiBenXinXi(message);
    case tessel::IDPcZiXuanGuShuJu: return ParsePcZiXuanGuShuJu(message);
    case tessel::IDZBXuanGu: return ParseZBXuanGu(message);
    case tessel::IDDaDanShuJuShuChu: return ParseDaDanShuJuShuChu(message);
    case tessel::IDDsfxKLineBiaoJiFanHui: return ParseDsfxKLineBiaoJiFanHui(message);
    case tessel::IDDongMiBaoLiaoXiaoXiFanHuiShuJu: return ParseDongMiBaoLiaoXiaoXiFanHuiShuJu(message);
    case tessel::IDDongMiBaoLiaoZhuTiFanHuiShuJu: return ParseDongMiBaoLiaoZhuTiFanHuiShuJu(message);
    case tessel::IDDaDanOrderResult: return ParseDaDanOrderResult(message);
    case tessel::IDBanKuaiFenLeiFanHui: return ParseBanKuaiFenLeiFanHui(message);
    case tessel::IDCaiWuShuJuFanHui: return ParseCaiWuShuJuFanHui(message);
    case tessel::IDChuQuanShuJuFanHui: return ParseChuQuanShuJuFanHui(message);
    case tessel::IDPcBanKuaiFuWuFanHuiShuJu: return ParsePcBanKuaiFuWuFanHuiShuJu(message);
    case tessel::IDZhiBiaoSort: return ParseZhiBiaoSort(message);
    case tessel::IDIndiCalcSortOutput: return ParseIndiCalcSortOutput(message);
    case tessel::IDDingYueTuiSongXiaoXiFanHuiShuJu: return ParseDingYueTuiSongXiaoXiFanHuiShuJu(message);
    case tessel::IDFenShiJieDuanTongJiFanHui: return ParseFenShiJieDuanTongJiFanHui(message);
    case tessel::IDJingJiaDongCha: return ParseJingJiaDongCha(message);
    case tessel::IDPcStkData: return ParsePcStkData(message);
    default: return nullptr;
  }
}

std::string tes2table::ColumnSpecForId(int Id) {
  return NestedColumnSpec(Id);
}

const char* tes2table::NestedColumnSpec(int Id) {
  switch (Id) {
    case tessel::IDQuoteDynaSingle:
      return "Id:q;ShiJian:q;ZuiXinJia:d;KaiPanJia:d;ZuiGaoJia:d;ZuiDiJia:d;ZuoShou:d;JunJia:d;ZhangDie:d;"
             "ZhangFu:d;ZhenFu:d;ChengJiaoLiang:q;XianShou:q;ChengJiaoE:d;ZongChengJiaoBiShu:q;HuanShou:d;"
             "LiangBi:d;NeiPan:q;WaiPan:q;ChiCang:q;JieSuanJia:d;";
    case tessel::IDQuoteKlineSingle:
      return "ShiJian:d;KaiPanJia:d;ZuiGaoJia:d;ZuiDiJia:d;ShouPanJia:d;ChengJiaoLiang:d;ChengJiaoE:d;"
             "ChengJiaoBiShu:d;ShangZhangJiaShu:q;XiaDieJiaShu:q;ChiCang:q;ZengCang:d;ZengLiang:d;"
             "JieSuanJia:d;";
    case tessel::IDDaDanShuJuShuChu:
      return "ShiJian:d;WeiTuoMaiRuDanShu:d;WeiTuoMaiRuDaDanShu:d;WeiTuoMaiRuDaDanBiLi:d;WeiTuoMaiChuDanShu:d;"
             "WeiTuoMaiChuDaDanShu:d;WeiTuoMaiChuDaDanBiLi:d;ZongChengJiaoLiang:d;ZongChengJiaoE:d;"
             "DaDanMaiRuE:d;DaDanMaiChuE:d;ZiJinLiuRuE:d;ZiJinLiuRuE5:d;ZiJinLiuRuE10:d;ZiJinLiuRuEBiLi:d;"
             "ZiJinLiuRuEBiLi5:d;ZiJinLiuRuEBiLi10:d;DanShuCha:d;DanShuCha5:d;DanShuCha10:d;DanShuChaBiLi:d;"
             "DanShuChaBiLi5:d;DanShuChaBiLi10:d;ZiJinLiuRuE15:d;ZiJinLiuRuE30:d;ZiJinLiuRuE60:d;"
             "ZiJinLiuRuEBiLi15:d;ZiJinLiuRuEBiLi30:d;ZiJinLiuRuEBiLi60:d;DanShuCha15:d;DanShuCha30:d;"
             "DanShuCha60:d;DanShuChaBiLi15:d;DanShuChaBiLi30:d;DanShuChaBiLi60:d;ZhongWenJianCheng:s;"
             "ZuiXinJia:d;ZhangFu:d;DaDanDanShuCha:d;DaDanDanShuCha5:d;";
    default: return "";
  }
}
