// The columns of tables as Arrow has them: what is known of them before there is a table, and what of them is
// shown, under which names.
#ifndef REPLIES_TABLE_COLUMNS_H_
#define REPLIES_TABLE_COLUMNS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "replies/arrow_schema.h"
#include "replies/arrow_type.h"
#include "replies/decode.h"

namespace replies {

// A column of a table, and where it holds tables, theirs.
struct TableColumn {
  std::string name;    // UTF-8, as the table has it
  std::string label;   // once in its table: "#3" for a column without a name, "Name#3" for a second one
  std::string format;  // of Arrow; "+l" where it holds tables
  std::string element_format;  // of the numbers in cells that have several
  int64_t count = 1;           // of them
  ArrowMetadata metadata;
  std::vector<TableColumn> inside;

  bool is_table() const { return format == "+l"; }
};
using TableColumns = std::vector<TableColumn>;

// How often a message that is inside itself is unfolded in it.
inline constexpr int kMostUnfolded = 3;

// Those of an Id's own table (type 0) or of a typed layout, from their description. Null for tables whose
// columns are the sender's to choose, and where there is no table.
std::optional<TableColumns> DescribedColumns(int32_t id, int type);

// Those of a payload by the schema alone; none for an Id without a payload. A message inside itself is
// unfolded kMostUnfolded times; the column that would hold it once more has no columns inside.
TableColumns DecodedColumns(int32_t id, const Unpack& unpack);

// Those of a table that was handed out as an array. The schema is only read.
TableColumns ColumnsOfTable(const ArrowSchema& schema);

// The type that arrays of such tables have.
ArrowField TableField(const TableColumns& columns);

// A column that is shown.
struct ShownColumn {
  size_t index = 0;  // in its table
  std::string name;
  std::vector<ShownColumn> inside;
};
using ShownColumns = std::vector<ShownColumn>;

// The columns of these names, labels or what they are shown by (column_names.h), in the order of `wanted` and
// all of them if it is empty; columns of tables that lead to one of them come last. A column of tables that
// is wanted itself is shown as a whole where none inside it is. Null if one is not there, and which in
// `missing`.
//
// Flat, names are those that a row has with all that is around it, "Data.ShiJian", and nowhere twice in the
// whole. Otherwise a name is there once in its table.
std::optional<ShownColumns> ChooseColumns(const TableColumns& columns, const std::vector<std::string>& wanted,
                                          bool flat, std::string* missing);

// All labels, each once.
std::vector<std::string> AllLabels(const TableColumns& columns);

// The fields of what is shown: a field for each column, or flat, for each that holds no tables, those inside
// tables in the place of the column that holds them.
std::vector<ArrowField> ShownFields(const TableColumns& columns, const ShownColumns& shown, bool flat);

}  // namespace replies

#endif  // REPLIES_TABLE_COLUMNS_H_
