// One JSON object a line. A row with tables inside gives one line for each of their rows, which repeats the
// outer cells.
#ifndef TESVIEW_SHOW_NDJSON_H_
#define TESVIEW_SHOW_NDJSON_H_

#include <cstdint>
#include <string>

#include "tesview/show/choose.h"
#include "tesview/show/show.h"
#include "tsl_base/table.hpp"

namespace tesview {

// Of the Id that `shown` tells. Throws TooMuch.
void RenderNdjson(const View& view, Choice* choice, const Item& item, tsl_base::TableView table,
                  Shown* shown);

// A reply without a table, as JSON under the key "_json".
void RenderNdjsonWhole(const Item& item, const std::string& json, Shown* shown);

}  // namespace tesview

#endif  // TESVIEW_SHOW_NDJSON_H_
