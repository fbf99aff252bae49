// The form for people: the table, then the tables inside it, indented and each under its path.
#ifndef TESVIEW_SHOW_TABLE_FORM_H_
#define TESVIEW_SHOW_TABLE_FORM_H_

#include <string>

#include "tesview/show/choose.h"
#include "tesview/show/view.h"
#include "tsl_base/table.hpp"

namespace tesview {

// Throws TooMuch.
std::string RenderTable(const View& view, Choice* choice, tsl_base::TableView table);

}  // namespace tesview

#endif  // TESVIEW_SHOW_TABLE_FORM_H_
