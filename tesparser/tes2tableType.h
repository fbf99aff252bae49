// Tables whose layout the caller names, from a reply's own message or from a wire table matched by column
// name.
//
// As in tes2table: the parsed reply in, only read; a table that the caller owns out, or null; no state.
#ifndef TESPARSER_TES2TABLETYPE_H_
#define TESPARSER_TES2TABLETYPE_H_

#include <string>
#include <vector>

#include "MSG.proto.h"
#include "tesparser/tesparser.h"
#include "tslpbtable.pb.h"

class tes2tableType {
 public:
  // Selects on the type, and on the Id only to tell a wire table (3) from a message: whether the Id fits the
  // type is for the converters to say.
  void* ParseTableType(const tessel::MSG& msg, TPType type);

  // The columns that a type has; the empty text for a value without a layout of its own.
  std::string TypedColumnSpec(TPType type);
  // The same for 101 to 116: the time and as many results as the value is above 100.
  std::string ZhiBiaoColumnSpec(TPType type);

  // tes2tableType_wire.cpp: types 1, 2, 3 and 5 as a wire table.
  void* ParseTypedTbl(const tessel::MSG& msg, TPType type);
  // The outer table, in the wire's own columns; `spec` is the layout of the tables nested in it.
  void* ParseTypedTable(const tessel::Table& payload, const std::string& spec);
  void* ParseTypedData(const tessel::Table& nested, const std::string& spec);

  // Where the values of a wire column go.
  struct ColumnMatch {
    int index;  // the column of the table, negative if it has none of that name
    int type;   // what table_col_type() says of it, TABLE_NOTHING if there is none
  };
  // One entry for each wire column, in their order.
  std::vector<ColumnMatch> MatchColumnsByName(const google::protobuf::RepeatedPtrField<tessel::CInfo>& info,
                                              void* table);

  // Stores a number the way the column takes it; nothing for a column that takes none.
  void SetCellByColumnType(void* table, int row, int column, int columnType, double value);

  // tes2tableType_series.cpp: types 1, 2, 3 and 5 as messages.
  void* ParseDaDanShuJu(const tessel::MSG& msg, TPType type);
  void* ParseFenLeiChiCang(const tessel::MSG& msg, TPType type);
  void* ParseBxzjBasicStockInfo(const tessel::MSG& msg, TPType type);
  void* ParseToken(const tessel::MSG& msg, TPType type);
  // tes2tableType_indicator.cpp: types 101 to 116.
  void* ParseZhiBiaoShuChu(const tessel::MSG& msg, TPType type);
};

#endif  // TESPARSER_TES2TABLETYPE_H_
