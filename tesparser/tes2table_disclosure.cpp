// Company disclosures, in two levels each: marks on the candlestick chart (Id 346), questions to company
// secretaries with their answers by topic (Id 385), and the list of such topics (Id 386). Every column is
// written whether or not the field arrived. Where there is nothing, the marks give null or an unset cell, the
// other two a table without rows.
#include "tesparser/cell.h"
#include "tesparser/tes2table.h"
#include "tessel.pc.dashifenxi.pb.h"
#include "tessel.pc.rediantuisong.pb.h"

namespace {

void* MakeMarks(const tessel::DsfxKLineBiaoJiFanHui& element) {
  const int marks = element.datas_size();
  void* table = table_create("RiQi:s;LeiXing:s;BiaoJi:s;GongGaoNeiRong:s", marks, "");
  for (int i = 0; i < marks; ++i) {
    const tessel::DsfxKLineBiaoJiResult& mark = element.datas(i);
    SetText(table, i, 0, mark.riqi());
    SetText(table, i, 1, mark.leixing());
    SetText(table, i, 2, mark.biaoji());
    SetText(table, i, 3, mark.gonggaoneirong());
  }
  return table;
}

void* MakeQuestions(const tessel::DongMiBaoLiaoXiaoXiFanHuiShuJu& element) {
  const int questions = element.data_size();
  void* table = table_create(
      "Obj:s;GuPiaoMingCheng:s;WenTi:s;WenTiShiJian:i;HuiDa:s;HuiDaShiJian:i;BeiZhu:s;BaoLiaoZhuTi:s;"
      "GengXinShiJian:i;",
      questions, "data");
  for (int i = 0; i < questions; ++i) {
    const tessel::DongMiBaoLiaoXiaoXi& question = element.data(i);
    SetText(table, i, 0, question.obj());
    SetText(table, i, 1, question.gupiaomingcheng());
    SetText(table, i, 2, question.wenti());
    SetPackedInt(table, i, 3, question.wentishijian());
    SetText(table, i, 4, question.huida());
    SetPackedInt(table, i, 5, question.huidashijian());
    SetText(table, i, 6, question.beizhu());
    SetText(table, i, 7, question.baoliaozhuti());
    SetPackedInt(table, i, 8, question.gengxinshijian());
  }
  return table;
}

// Identifier and position are plain numbers here, of which the low half is shown, unlike the packed total
// beside them.
void* MakeTopics(const tessel::DongMiBaoLiaoZhuTiFanHuiShuJu& element) {
  const int topics = element.data_size();
  void* table = table_create("MingCheng:s;ZhuTiId:i;ZhuTiWeiZhi:i;", topics, "data");
  for (int i = 0; i < topics; ++i) {
    const tessel::DongMiBaoLiaoZhuTiXinXi& topic = element.data(i);
    SetText(table, i, 0, topic.mingcheng());
    table_set_int(table, i, 1, LowInt32(topic.zhutiid()));
    table_set_int(table, i, 2, LowInt32(topic.zhutiweizhi()));
  }
  return table;
}

}  // namespace

void* tes2table::ParseDsfxKLineBiaoJiFanHui(const tessel::MSG& message) {
  const auto& elements = message.repdatadsfxklinebiaojifanhui();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;Data:t", n, "root");
  for (int i = 0; i < n; ++i) {
    const tessel::DsfxKLineBiaoJiFanHui& element = elements[i];
    SetText(table, i, 0, element.obj());
    if (element.datas_size() > 0) table_set_table_raw(table, i, 1, MakeMarks(element));
  }
  return table;
}

// No test for an empty reply, here and below: the caller then gets a table without rows.
void* tes2table::ParseDongMiBaoLiaoXiaoXiFanHuiShuJu(const tessel::MSG& message) {
  const auto& elements = message.repdatadongmibaoliaoxiaoxifanhuishuju();
  const int n = elements.size();
  void* table = table_create("ZhuTi:s;ShuJuZongGeShu:i;Data:t;", n, "root");
  for (int i = 0; i < n; ++i) {
    const tessel::DongMiBaoLiaoXiaoXiFanHuiShuJu& element = elements[i];
    SetText(table, i, 0, element.zhuti());
    SetPackedInt(table, i, 1, element.shujuzonggeshu());
    table_set_table_raw(table, i, 2, MakeQuestions(element));
  }
  return table;
}

void* tes2table::ParseDongMiBaoLiaoZhuTiFanHuiShuJu(const tessel::MSG& message) {
  const auto& elements = message.repdatadongmibaoliaozhutifanhuishuju();
  const int n = elements.size();
  void* table = table_create("ShuJuZongGeShu:i;Data:t;", n, "root");
  for (int i = 0; i < n; ++i) {
    const tessel::DongMiBaoLiaoZhuTiFanHuiShuJu& element = elements[i];
    SetPackedInt(table, i, 0, element.shujuzonggeshu());
    table_set_table_raw(table, i, 1, MakeTopics(element));
  }
  return table;
}
