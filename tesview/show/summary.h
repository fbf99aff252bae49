// One line of figures for each reply: its Id, its sizes, and how long it took to decode.
#ifndef TESVIEW_SHOW_SUMMARY_H_
#define TESVIEW_SHOW_SUMMARY_H_

#include <cstdint>
#include <optional>
#include <string>

#include "tesparser/tesparser.h"
#include "tesview/show/show.h"

namespace tesview {

std::string SummaryHeader(const Item& item);
// `type` is the layout that the table takes, null for that of the Id.
std::string RenderSummary(const Item& item, int32_t id, std::optional<TPType> type);

}  // namespace tesview

#endif  // TESVIEW_SHOW_SUMMARY_H_
