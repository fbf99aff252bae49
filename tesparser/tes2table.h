// Tables chosen by the reply: one converter for each Id that has a table form.
//
// All converters share a shape: the parsed reply in, only read; a table out that the caller owns, or null
// where there is nothing to show. Rows stand in wire order. The class keeps no state: an instance is made for
// one call, and any number of threads may convert at once. std::bad_alloc passes through, and the table under
// construction is lost.
#ifndef TESPARSER_TES2TABLE_H_
#define TESPARSER_TES2TABLE_H_

#include <string>

#include "MSG.proto.h"
#include "tslpbtable.pb.h"

class tes2table {
 public:
  // Selects on the Id alone; null for every Id without a converter.
  void* Parse(const tessel::MSG& message);

  // The spec of the nested tables of Ids 20, 21 and 321; the empty text for any other Id.
  std::string ColumnSpecForId(int Id);

  // The conversion of wire tables (tes2table_wire.cpp), used by the typed tables as well.
  void* ParseTable(const tessel::Table& table, const google::protobuf::RepeatedPtrField<tessel::CInfo>& info);
  std::string ColumnSpecFromInfo(const google::protobuf::RepeatedPtrField<tessel::CInfo>& info);
  // Rows by the first column's values; 0 without data, -1 where columns and data do not fit each other.
  int TableRowCount(const tessel::Table& table,
                    const google::protobuf::RepeatedPtrField<tessel::CInfo>& info);

 private:
  // The literal that ColumnSpecForId gives as a string.
  static const char* NestedColumnSpec(int Id);

  // tes2table_wire.cpp
  void* ParseTbl(const tessel::MSG& message);
  void* ParseTableBySpec(const tessel::Table& table,
                         const google::protobuf::RepeatedPtrField<tessel::CInfo>& info,
                         const std::string& spec, const void* model);
  void ParseTableColumn(void* parent, int rows, int col, const tessel::CData& data);
  void ParseTablesAlike(void* parent, int tables, int col, const tessel::CData& data,
                        const std::string& spec);
  // tes2table_quote.cpp
  void* ParseQuoteDynaSingle(const tessel::MSG& message);
  void* ParseQuoteKlineSingle(const tessel::MSG& message);
  void* ParseStkData(const tessel::MSG& message);
  // tes2table_limit_up.cpp
  void* ParseShiChangZhangDieFanHuiShuJu(const tessel::MSG& message);
  void* ParseGeGuFengBanFanHuiShuJu(const tessel::MSG& message);
  void* ParseZhangDieTingBanKuaiShuJu(const tessel::MSG& message);
  // tes2table_large_order.cpp
  void* ParseDaDanShuJuShuChu(const tessel::MSG& message);
  void* ParseDaDanOrderResult(const tessel::MSG& message);
  // tes2table_terminal.cpp
  void* ParsePCJiBenXinXi(const tessel::MSG& message);
  void* ParsePcZiXuanGuShuJu(const tessel::MSG& message);
  void* ParsePcStkData(const tessel::MSG& message);
  // tes2table_disclosure.cpp
  void* ParseDsfxKLineBiaoJiFanHui(const tessel::MSG& message);
  void* ParseDongMiBaoLiaoXiaoXiFanHuiShuJu(const tessel::MSG& message);
  void* ParseDongMiBaoLiaoZhuTiFanHuiShuJu(const tessel::MSG& message);
  // tes2table_reference.cpp
  void* ParseBanKuaiFenLeiFanHui(const tessel::MSG& message);
  void* ParseCaiWuShuJuFanHui(const tessel::MSG& message);
  void* ParseChuQuanShuJuFanHui(const tessel::MSG& message);
  // tes2table_ranking.cpp
  void* ParsePaiXu(const tessel::MSG& message);
  void* ParsePaiMing(const tessel::MSG& message);
  void* ParseZBXuanGu(const tessel::MSG& message);
  void* ParsePcBanKuaiFuWuFanHuiShuJu(const tessel::MSG& message);
  void* ParseZhiBiaoSort(const tessel::MSG& message);
  void* ParseIndiCalcSortOutput(const tessel::MSG& message);
  // tes2table_news.cpp
  void* ParseF10GsgkOutput(const tessel::MSG& message);
  void* ParseTopicPage(const tessel::MSG& message);
  void* ParseDingYueTuiSongXiaoXiFanHuiShuJu(const tessel::MSG& message);
  // tes2table_auction.cpp
  void* ParseFenShiJieDuanTongJiFanHui(const tessel::MSG& message);
  void* ParseJingJiaDongCha(const tessel::MSG& message);
};

#endif  // TESPARSER_TES2TABLE_H_
