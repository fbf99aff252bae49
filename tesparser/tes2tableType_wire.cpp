// Typed tables from wire tables: the outer table has the columns that the wire describes, the tables nested
// in it the caller's layout, which wire columns reach by their names.
//
// Names come off the wire, so any kind of value may meet any kind of column. What a column cannot hold stays
// unset; the table's setters see to that.
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <limits>

#include "tesparser/packed_decimal.h"
#include "tesparser/tes2table.h"
#include "tesparser/tes2tableType.h"
#include "tesparser/wire_columns.h"

namespace {

// The nearest float. Beyond the range, where the language leaves the conversion undefined, the largest float
// up to half a step above it and infinity from there on: what rounding to nearest gives.
float NarrowToFloat(double value) {
  constexpr double kLargest = std::numeric_limits<float>::max();
  constexpr double kHalfStepAbove = 0x1.ffffffp127;
  if (value >= kHalfStepAbove) return std::numeric_limits<float>::infinity();
  if (value <= -kHalfStepAbove) return -std::numeric_limits<float>::infinity();
  if (value > kLargest) return std::numeric_limits<float>::max();
  if (value < -kLargest) return -std::numeric_limits<float>::max();
  return static_cast<float>(value);
}

void SetByte(void* table, int row, int column, double value) {
  const auto byte = static_cast<unsigned char>(RoundToInt32(value));
  table_set_buff(table, row, column, &byte, 1, 0);
}

// Four decimals, with a point in every locale. A very long number is cut; it is the leading digits that stay.
void SetNumberAsText(void* table, int row, int column, double value) {
  constexpr std::ptrdiff_t kLongest = 63;
  char text[320];  // the sign, 309 digits, the point and the decimals
  char* const end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 4).ptr;
  text[std::min(end - text, kLongest)] = '\0';
  table_set_str(table, row, column, text, 1);
}

// The mantissa of PFloat and VFloat, which always get four places here.
constexpr unsigned short kPlaces = 4;
long long FourPlaces(double value) {
  return RoundToInt64(value * 10000.0);
}

}  // namespace

void* tes2tableType::ParseTypedTbl(const tessel::MSG& msg, TPType type) {
  const tessel::Table* payload = WirePayload(msg);
  if (payload == nullptr) return nullptr;
  const std::string spec = TypedColumnSpec(type);
  if (spec.empty()) return tes2table().ParseTable(*payload, payload->info());
  return ParseTypedTable(*payload, spec);
}

void* tes2tableType::ParseTypedTable(const tessel::Table& payload, const std::string& spec) {
  const auto& info = payload.info();
  const int rows = tes2table().TableRowCount(payload, info);
  if (rows <= 0) return nullptr;
  void* table = table_create(tes2table().ColumnSpecFromInfo(info).c_str(), rows, "");
  for (int c = 0; c < info.size(); ++c) {
    const tessel::CData& data = payload.data(c);
    if (info[c].type() != tessel::Type_Table) {
      FillWireColumn(table, c, info[c], data);
      continue;
    }
    const int tables = std::min(rows, data.tvalues_size());
    for (int r = 0; r < tables; ++r)
      table_set_table_raw(table, r, c, ParseTypedData(data.tvalues(r), spec));
  }
  return table;
}

void* tes2tableType::ParseTypedData(const tessel::Table& nested, const std::string& spec) {
  const auto& info = nested.info();
  const int rows = tes2table().TableRowCount(nested, info);
  if (rows <= 0) return nullptr;
  void* table = table_create(spec.c_str(), rows, "tesdata");
  const std::vector<ColumnMatch> matches = MatchColumnsByName(info, table);
  for (int c = 0; c < info.size(); ++c) {
    const ColumnMatch match = matches[static_cast<size_t>(c)];
    if (match.index < 0) continue;
    const auto store = [this, table, match](int row, double value) {
      SetCellByColumnType(table, row, match.index, match.type, value);
    };
    const tessel::CData& data = nested.data(c);
    switch (info[c].type()) {
      case tessel::Type_SInt: ForEachDelta(info[c], data, store); break;
      case tessel::Type_Int: ForEachPacked(data, store); break;
      case tessel::Type_Float: ForEachFloat(data, store); break;
      case tessel::Type_Double: ForEachDouble(data, store); break;
      case tessel::Type_String: SetWireText(table, match.index, data); break;
      case tessel::Type_Binary: SetWireBinary(table, match.index, data); break;
      default: break;  // tables nest no further here
    }
  }
  return table;
}

std::vector<tes2tableType::ColumnMatch> tes2tableType::MatchColumnsByName(
    const google::protobuf::RepeatedPtrField<tessel::CInfo>& info, void* table) {
  std::vector<ColumnMatch> matches;
  matches.reserve(static_cast<size_t>(info.size()));
  for (const tessel::CInfo& column : info) {
    const int index = table_col_index(table, column.name().c_str());
    matches.push_back({index, index < 0 ? int{TABLE_NOTHING} : table_col_type(table, index)});
  }
  return matches;
}

void tes2tableType::SetCellByColumnType(void* table, int row, int column, int columnType, double value) {
  switch (columnType) {
    case TABLE_INT8:
    case TABLE_UINT8: SetByte(table, row, column, value); break;
    case TABLE_INT16:
    case TABLE_UINT16:
      table_set_short(table, row, column, static_cast<unsigned short>(RoundToInt32(value)));
      break;
    case TABLE_INT32: table_set_int(table, row, column, RoundToInt32(value)); break;
    case TABLE_INT64: table_set_int64(table, row, column, RoundToInt64(value)); break;
    case TABLE_FLOAT: table_set_float(table, row, column, NarrowToFloat(value)); break;
    case TABLE_DOUBLE: table_set_double(table, row, column, value); break;
    case TABLE_TEXT: SetNumberAsText(table, row, column, value); break;
    // Through 64 bits, so that the upper half of the range, and what is beyond it, wraps.
    case TABLE_UINT32: table_set_uint(table, row, column, LowUint32(RoundToInt64(value))); break;
    case TABLE_UINT64: table_set_uint64(table, row, column, RoundToUint64(value)); break;
    // A time takes a number of 32 bits, with its sign, into its 64.
    case TABLE_TIME: {
      const tsl_time_t stamp(static_cast<unsigned long long>(int64_t{RoundToInt32(value)}));
      table_set_uint64(table, row, column, stamp.value());
      break;
    }
    case TABLE_PFLOAT: table_set_pfloat(table, row, column, PFloat(FourPlaces(value), kPlaces)); break;
    case TABLE_VFLOAT: table_set_vfloat(table, row, column, VFloat(FourPlaces(value), kPlaces)); break;
    default: break;  // binary, tables, and what is no column
  }
}
