#include "tesparser/tes2table.h"

void* tes2table::Parse(const tessel::MSG& message) {
  switch (message.id()) {
    case tessel::IDTbl: return ParseTbl(message);
    case tessel::IDQuoteDynaSingle: return ParseQuoteDynaSingle(message);
    case tessel::IDQuoteKlineSingle: return ParseQuoteKlineSingle(message);
    case tessel::IDStkData: return ParseStkData(message);
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
    default: return "";
  }
}
