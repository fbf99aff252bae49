// The two ways in which text becomes a cell. Both take a zero-terminated string: a text is cut at its first
// zero byte.
#ifndef TESPARSER_TEXT_CELL_H_
#define TESPARSER_TEXT_CELL_H_

#include <string>

#include "tsl_base/table.h"
#include "tsl_base/text.h"

// Text that may be Chinese, transcoded to what the display code reads.
inline void SetText(void* table, int row, int col, const std::string& utf8) {
  table_set_str(table, row, col, tsl_base::text::Utf8toGb2312(utf8.c_str()).c_str(), 1);
}

// Text as it was received.
inline void SetRawText(void* table, int row, int col, const std::string& raw) {
  table_set_str(table, row, col, raw.c_str(), 1);
}

#endif  // TESPARSER_TEXT_CELL_H_
