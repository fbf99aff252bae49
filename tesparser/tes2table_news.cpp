// Texts: the company profile (Id 55), the topic of a stock (Id 130) and pushed documents (Id 437). Every
// column is written whether or not the field arrived.
#include <cstdint>

#include "CldF10ShuJu.pb.h"
#include "tesparser/cell.h"
#include "tesparser/tes2table.h"
#include "tessel.pc.dingyuetuisong.pb.h"
#include "tessel.topicpage.pb.h"

// Of the whole profile the table shows the object and the office address.
void* tes2table::ParseF10GsgkOutput(const tessel::MSG& message) {
  const auto& elements = message.repdataf10gsgkoutput();
  const int n = elements.size();
  if (n == 0) return nullptr;
  void* table = table_create("Obj:s;bgdz:s", n, "");
  for (int i = 0; i < n; ++i) {
    SetText(table, i, 0, elements[i].obj());
    SetText(table, i, 1, elements[i].bgdz());
  }
  return table;
}

// An empty reply is a table without rows here, unlike in the other two.
void* tes2table::ParseTopicPage(const tessel::MSG& message) {
  const auto& elements = message.repdatatopicpage();
  const int n = elements.size();
  void* table = table_create("Obj:s;SuoShuZhuTi:s", n, "");
  for (int i = 0; i < n; ++i) {
    SetText(table, i, 0, elements[i].obj());
    SetText(table, i, 1, elements[i].suoshuzhuti());
  }
  return table;
}

// The rows are the documents of the first element; further elements are not read.
void* tes2table::ParseDingYueTuiSongXiaoXiFanHuiShuJu(const tessel::MSG& message) {
  const auto& elements = message.repdatadingyuetuisongxiaoxifanhuishuju();
  if (elements.empty()) return nullptr;
  const auto& documents = elements[0].data();
  const int n = documents.size();
  // The spelling of DataUr is the format's.
  void* table = table_create(
      "Id:s;Category:s;Title:s;Pubdate:s;Author:s;Summary:s;Content:s;Url:s;DataUr:s;IsPaid:i;IsRead:i;"
      "Extra:s;UNum:s;GengXinShiJian:q",
      n, "");
  for (int i = 0; i < n; ++i) {
    const tessel::DingYueTuiSongWenDangXiaoXi& document = documents[i];
    SetText(table, i, 0, document.id());
    SetText(table, i, 1, document.category());
    SetText(table, i, 2, document.title());
    SetText(table, i, 3, document.pubdate());
    SetText(table, i, 4, document.author());
    SetText(table, i, 5, document.summary());
    SetText(table, i, 6, document.content());
    SetText(table, i, 7, document.url());
    SetText(table, i, 8, document.dataurl());
    // A bare 0 or 1 taken as a packed decimal: 1 is a hundredth, so both columns always hold 0.
    SetPackedInt(table, i, 9, int64_t{document.ispaid()});
    SetPackedInt(table, i, 10, int64_t{document.isread()});
    // Alone among the texts kept in UTF-8.
    SetRawText(table, i, 11, document.extra());
    SetText(table, i, 12, document.unum());
    SetPackedInt64(table, i, 13, document.gengxinshijian());
  }
  return table;
}
