// What the two conversions of wire tables share: by the wire's own description (tes2table) and by the
// caller's layout (tes2tableType).
#ifndef TESPARSER_WIRE_COLUMNS_H_
#define TESPARSER_WIRE_COLUMNS_H_

#include <algorithm>
#include <string>

#include "MSG.proto.h"
#include "tesparser/packed_decimal.h"
#include "tsl_base/table.h"
#include "tsl_base/text.h"
#include "tslpbtable.pb.h"

// The table in the first cell of the wrapper that a wire reply is; null where the reply is no such wrapper.
// The rest of the wrapper is not looked at.
inline const tessel::Table* WirePayload(const tessel::MSG& message) {
  const tessel::Table& wrapper = message.tbl();
  if (wrapper.info().empty() || wrapper.info(0).type() != tessel::Type_Table) return nullptr;
  if (wrapper.data().empty() || wrapper.data(0).tvalues().empty()) return nullptr;
  return &wrapper.data(0).tvalues(0);
}

// Each ForEach calls store(row, value) for the values of one column; rows beyond the table's end are the
// table's affair. A list's values are taken before its loop, as the compiler cannot know that store() leaves
// the list as it is.

// Differences: the first value is packed, each later one is a step in units of the first one's divisor.
template <class Store>
void ForEachDelta(const tessel::CInfo& info, const tessel::CData& data, Store store) {
  if (data.xvalues().empty()) return;
  int divisor = 1;
  double running = DecodePacked(data.xvalues(0), &divisor);
  store(0, running);
  const double scale = divisor;
  const double ratio = info.ratio();
  const int64_t* const steps = data.xvalues().data();
  const int n = data.xvalues_size();
  for (int r = 1; r < n; ++r) {
    double step = static_cast<double>(steps[r]) / scale;
    if (ratio != 0) step *= ratio;
    running += step;
    store(r, running);
  }
}

template <class Store>
void ForEachPacked(const tessel::CData& data, Store store) {
  const int64_t* const values = data.ivalues().data();
  const int n = data.ivalues_size();
  for (int r = 0; r < n; ++r)
    store(r, DecodePacked(values[r]));
}

template <class Store>
void ForEachFloat(const tessel::CData& data, Store store) {
  const float* const values = data.fvalues().data();
  const int n = data.fvalues_size();
  for (int r = 0; r < n; ++r)
    store(r, values[r]);
}

// Doubles are counted by the floats beside them: a column that fills dValues alone, as a sender would, stays
// unset. That is how the format is read, and readers rely on it.
template <class Store>
void ForEachDouble(const tessel::CData& data, Store store) {
  const double* const values = data.dvalues().data();
  const int n = std::min(data.fvalues_size(), data.dvalues_size());
  for (int r = 0; r < n; ++r)
    store(r, values[r]);
}

inline void SetWireText(void* table, int col, const tessel::CData& data) {
  int row = 0;
  for (const std::string& text : data.svalues())
    table_set_str(table, row++, col, tsl_base::text::Utf8toGb2312(text).c_str(), 1);
}

inline void SetWireBinary(void* table, int col, const tessel::CData& data) {
  int row = 0;
  for (const std::string& bytes : data.bvalues())
    table_set_binary(table, row++, col, static_cast<int>(bytes.size()), bytes.data(), 1);
}

// One column of plain values, in the spec that the wire's description gives. Tables are the caller's to fill,
// and a column of any other type stays unset.
inline void FillWireColumn(void* table, int col, const tessel::CInfo& info, const tessel::CData& data) {
  const auto store = [table, col](int row, double value) { table_set_double(table, row, col, value); };
  switch (info.type()) {
    case tessel::Type_SInt: ForEachDelta(info, data, store); break;
    case tessel::Type_Int: ForEachPacked(data, store); break;
    case tessel::Type_Float:
      ForEachFloat(data, [table, col](int row, float value) { table_set_float(table, row, col, value); });
      break;
    case tessel::Type_Double: ForEachDouble(data, store); break;
    case tessel::Type_String: SetWireText(table, col, data); break;
    case tessel::Type_Binary: SetWireBinary(table, col, data); break;
    default: break;
  }
}

#endif  // TESPARSER_WIRE_COLUMNS_H_
