// Nested arrays of tables as flat ones: a row for each innermost row, beside the cells of the rows around it.
//
// A row whose tables have no rows, or are not there, is a row itself. Where a table has several columns of
// tables, the rows of one follow those of the other; a row has no cells of the tables beside its own.
#ifndef REPLIES_FLATTEN_H_
#define REPLIES_FLATTEN_H_

#include <cstdint>
#include <string>
#include <vector>

#include "replies/arrow_schema.h"
#include "replies/table_columns.h"
#include "tsl_base/arrow.h"

namespace replies {

// What is told of the rows of one table, in columns before its own.
struct RowOrigin {
  int64_t rows = 0;  // of the outer table
  std::string file;
  uint64_t number = 0;
  uint64_t offset = 0;
  uint64_t tag = 0;  // the caller's, not shown
};

struct OriginColumns {
  bool file = false;    // "_file", utf8
  bool number = false;  // "_reply", uint64
  bool offset = false;  // "_offset", uint64
};

// The fields of these columns.
std::vector<ArrowField> OriginFields(const OriginColumns& columns);

// The rows of tables that were exported as one array, `origins` one for each table in their order, as a batch
// with the fields of OriginFields() and, behind them, of ShownFields(). Buffers are taken over where cells
// come in the order that they have, else they are copied; what is not shown is released.
//
// Throws std::bad_alloc, and std::length_error where texts that are repeated do not fit a batch. An array is
// lost then.
ArrowArray FlattenTables(ArrowOwner<ArrowArray> tables, const TableColumns& columns,
                         const ShownColumns& shown, const std::vector<RowOrigin>& origins,
                         const OriginColumns& told);

// The same with tables in lists, a row for each row of the outer tables.
ArrowArray NestTables(ArrowOwner<ArrowArray> tables, const TableColumns& columns, const ShownColumns& shown,
                      const std::vector<RowOrigin>& origins, const OriginColumns& told);

}  // namespace replies

#endif  // REPLIES_FLATTEN_H_
