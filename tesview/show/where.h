// --where: comparisons of columns with values, all of which have to hold for a row to be shown.
//
//   Obj=SH600000 and Data.ShouPanJia >= 12.5 and Data.ShiJian >= '2024-06-17 10:00'
//
// Each comparison is made in the outermost table, on each way inwards, that has the column. A row is kept if
// the comparisons with its own columns hold, and for each of the others a row is kept in one of its tables.
// Tables in which no column is compared keep all their rows.
#ifndef TESVIEW_SHOW_WHERE_H_
#define TESVIEW_SHOW_WHERE_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "replies/times.h"
#include "tesview/show/columns.h"
#include "tesview/show/kept_rows.h"
#include "tsl_base/table.hpp"

namespace tesview {

enum class Comparison { kEqual, kUnequal, kLess, kAtMost, kMore, kAtLeast, kHas };

// A value as a number. Whole ones are compared with whole cells exactly, however large.
struct WhereNumber {
  bool whole = false;
  bool negative = false;   // of a whole one
  uint64_t magnitude = 0;  // of a whole one
  double floating = 0;
  float single = 0;
};

struct WhereCondition {
  std::string column;  // its name, or the names that lead to it with points between them
  Comparison comparison = Comparison::kEqual;
  std::string value;                       // UTF-8
  std::optional<WhereNumber> number;       // that it is as well
  std::optional<replies::TimeRange> time;  // that it is as well
  // What has been found by all that were asked, on any thread.
  mutable std::atomic<bool> has_column{false};
  mutable std::atomic<bool> is_comparable{false};
};

class Where {
 public:
  // Adds the comparisons of a text. False and why where it is none.
  bool Add(std::string_view text, std::string* error);

  // The rows of the table and of all inside it that are shown, as far as these are not all; false if none is.
  // Throws TooMuch where there is too much to walk over. Any number of threads may call it at once.
  bool Choose(tsl_base::TableView table, const TableKind& kind, KeptRows* kept) const;

  // What is wrong with it, by all replies so far: a sentence for each comparison that could not be made in
  // any of them.
  std::vector<std::string> Complaints() const;

  const std::vector<std::unique_ptr<WhereCondition>>& conditions() const { return conditions_; }

 private:
  std::vector<std::unique_ptr<WhereCondition>> conditions_;
  mutable std::atomic<bool> asked_{false};
};

}  // namespace tesview

#endif  // TESVIEW_SHOW_WHERE_H_
