// Comma-separated values: a line for each row, and for each row of the tables inside it.
#ifndef TESVIEW_SHOW_CSV_H_
#define TESVIEW_SHOW_CSV_H_

#include <string>

#include "tesview/show/choose.h"
#include "tesview/show/show.h"
#include "tsl_base/table.hpp"

namespace tesview {

// `header` names the fields of all lines. Throws TooMuch.
void RenderCsv(Choice* choice, const Item& item, tsl_base::TableView table, std::string* header,
               std::string* out);

}  // namespace tesview

#endif  // TESVIEW_SHOW_CSV_H_
