#include "tesview/report/page.h"

#include <cstddef>

#ifdef TESVIEW_PAGE
asm(".section .rodata.tesview_page, \"a\"\n"
    ".balign 8\n"
    "tesview_page_begin:\n"
    ".incbin \"" TESVIEW_PAGE
    "\"\n"
    "tesview_page_end:\n"
    ".byte 0\n"
    ".text\n");

extern "C" {
extern const char tesview_page_begin[] __attribute__((visibility("hidden")));
extern const char tesview_page_end[] __attribute__((visibility("hidden")));
}
#endif

namespace tesview {
namespace {

std::string_view WholePage() {
#ifdef TESVIEW_PAGE
  return {tesview_page_begin, static_cast<size_t>(tesview_page_end - tesview_page_begin)};
#else
  return {};
#endif
}

}  // namespace

PageHalves ReportPage() {
  // As page/build.mjs writes it.
  constexpr std::string_view kMark = "<!-- the data of the report -->\n";
  const std::string_view page = WholePage();
  const size_t at = page.find(kMark);
  if (at == std::string_view::npos) return {};
  return {page.substr(0, at), page.substr(at + kMark.size())};
}

bool HasReportPage() {
  return !ReportPage().before.empty();
}

}  // namespace tesview
