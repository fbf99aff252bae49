// A cell compared with the value of a condition.
#ifndef TESVIEW_SHOW_WHERE_VALUE_H_
#define TESVIEW_SHOW_WHERE_VALUE_H_

#include <optional>
#include <string_view>

#include "tesview/show/columns.h"
#include "tesview/show/where.h"
#include "tsl_base/table.hpp"

namespace tesview {

// The number that the whole text is: 12, -0.5, 1e9, 0x1f.
std::optional<WhereNumber> ParseWhereNumber(std::string_view text);

// Whether cells of that column can be compared with the value at all.
bool IsComparable(const WhereCondition& condition, const Column& column);

// Whether the comparison holds; of a cell with several numbers, for one of them. It never does for a cell
// that is not set, nor for what is no number.
bool Holds(const WhereCondition& condition, tsl_base::TableView table, int row, const Column& column);

}  // namespace tesview

#endif  // TESVIEW_SHOW_WHERE_VALUE_H_
