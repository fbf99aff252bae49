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

// `path` is that of the table, empty for the outermost one. Throws TooMuch.
void RenderNdjson(Choice* choice, const Item& item, int32_t id, const std::string& path,
                  tsl_base::TableView table, std::string* out);

// A reply without a table, as JSON under the key "_json".
void RenderNdjsonWhole(const Item& item, int32_t id, const std::string& json, std::string* out);

}  // namespace tesview

#endif  // TESVIEW_SHOW_NDJSON_H_
