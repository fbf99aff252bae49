// What the user asked to see.
#ifndef TESVIEW_SHOW_VIEW_H_
#define TESVIEW_SHOW_VIEW_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "replies/decode.h"
#include "tesparser/tesparser.h"

namespace tesview {

class Where;

enum class To { kTable, kJson, kPretty, kNdjson, kCsv, kTsv, kArrow, kSummary, kText, kHtml, kBin };

enum class Header { kName, kEnglish, kChinese };

// What tells which file a line goes to.
struct SplitBy {
  bool id = false;
  bool obj = false;   // the instrument of the row
  bool date = false;  // the day of the row
  bool OfRows() const { return obj || date; }
  bool Any() const { return id || OfRows(); }
};

struct View {
  To to = To::kTable;
  bool table_or_nothing = false;  // no JSON for a reply without a table form
  std::optional<TPType> type;
  std::string path;                    // "0/Data"; empty for the outermost table
  std::vector<std::string> columns;    // empty for all
  std::shared_ptr<const Where> where;  // which rows are shown; null for all
  int64_t head = -1;                   // rows of each table; -1 for all
  int64_t tail = -1;
  size_t width = 0;               // columns of the screen; 0 for as wide as it gets
  Header header = Header::kName;  // of the table form
  bool iso_times = false;         // times as "2024-06-17 15:00:00" where columns are known to hold them
  std::optional<replies::Unpack> decode;  // tables by the schema alone
  bool nested = false;                    // of Arrow: tables as lists
  bool boxes = false;
  bool color = false;
  bool visible = false;   // a terminal gets it: nothing in it may steer one
  bool csv_safe = false;  // no text that a spreadsheet would run
  SplitBy split;
};

}  // namespace tesview

#endif  // TESVIEW_SHOW_VIEW_H_
