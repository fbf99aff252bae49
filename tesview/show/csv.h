// Values separated by commas or by tabs: a line for each row, and for each row of the tables inside it.
#ifndef TESVIEW_SHOW_CSV_H_
#define TESVIEW_SHOW_CSV_H_

#include <functional>

#include "replies/table_columns.h"
#include "tesview/show/choose.h"
#include "tesview/show/show.h"
#include "tesview/show/view.h"
#include "tsl_base/table.hpp"

namespace tesview {

// The columns inside columns of tables that have no table in this reply; null where they are not known.
// Otherwise the header would differ from that of the next reply.
using KnownColumns = std::function<const replies::TableColumns*()>;

// The header of `shown` names the fields of all lines. Throws TooMuch.
void RenderCsv(const View& view, Choice* choice, const Item& item, tsl_base::TableView table,
               const KnownColumns& known, Shown* shown);

}  // namespace tesview

#endif  // TESVIEW_SHOW_CSV_H_
