// Data inside a page, in such a form that nothing in it can end the element that holds it.
#ifndef TESVIEW_REPORT_EMBEDDED_H_
#define TESVIEW_REPORT_EMBEDDED_H_

#include <string>
#include <string_view>

namespace tesview {

// A JSON string with its quotes, in which '<', '>' and '&' are escaped as \u003c and so on.
void AppendEmbeddedString(std::string* to, std::string_view utf8);

// Bytes, as base64 in an element that is no script to a browser.
std::string EmbeddedBlock(size_t number, std::string_view bytes);

}  // namespace tesview

#endif  // TESVIEW_REPORT_EMBEDDED_H_
