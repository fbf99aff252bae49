// The page that shows a report in a browser, as it was built from page/: one HTML file with a place for the
// data.
#ifndef TESVIEW_REPORT_PAGE_H_
#define TESVIEW_REPORT_PAGE_H_

#include <string_view>

namespace tesview {

// The page before and behind the data; both empty in a program that was built without it.
struct PageHalves {
  std::string_view before;
  std::string_view behind;
};
PageHalves ReportPage();

bool HasReportPage();

}  // namespace tesview

#endif  // TESVIEW_REPORT_PAGE_H_
