// The fixed ways in which a value becomes a cell. Which form a column takes is a property of the column, not
// of its letter.
#ifndef TESPARSER_CELL_H_
#define TESPARSER_CELL_H_

#include <cstdint>
#include <string>

#include "tesparser/packed_decimal.h"
#include "tsl_base/table.h"
#include "tsl_base/text.h"

// ---- packed decimals: decoded, then stored as they are, truncated, or rounded ----

inline void SetPackedDouble(void* table, int row, int col, int64_t packed) {
  table_set_double(table, row, col, DecodePacked(packed));
}

inline void SetPackedInt64(void* table, int row, int col, int64_t packed) {
  table_set_int64(table, row, col, TruncateToInt64(DecodePacked(packed)));
}

inline void SetPackedInt(void* table, int row, int col, int64_t packed) {
  table_set_int(table, row, col, TruncateToInt32(DecodePacked(packed)));
}

inline void SetPackedIntRounded(void* table, int row, int col, int64_t packed) {
  table_set_int(table, row, col, RoundToInt32(DecodePacked(packed)));
}

inline void SetPackedUintRounded(void* table, int row, int col, int64_t packed) {
  table_set_uint(table, row, col, LowUint32(RoundToInt64(DecodePacked(packed))));
}

// ---- text, which both take zero-terminated: it is cut at its first zero byte ----

// Text that may be Chinese, transcoded to what the display code reads.
inline void SetText(void* table, int row, int col, const std::string& utf8) {
  table_set_str(table, row, col, tsl_base::text::Utf8toGb2312(utf8.c_str()).c_str(), 1);
}

// Text as it was received.
inline void SetRawText(void* table, int row, int col, const std::string& raw) {
  table_set_str(table, row, col, raw.c_str(), 1);
}

// ---- masks ----

// Bit n of a mask of what arrived. Which column it belongs to is for the converter to say.
constexpr int64_t MaskBit(int n) {
  return int64_t{1} << n;
}

#endif  // TESPARSER_CELL_H_
