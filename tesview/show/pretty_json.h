// JSON of one line spread over many.
#ifndef TESVIEW_SHOW_PRETTY_JSON_H_
#define TESVIEW_SHOW_PRETTY_JSON_H_

#include <string>
#include <string_view>

namespace tesview {

// The text of numbers and strings stays as it is.
std::string PrettyJson(std::string_view json, bool color);

}  // namespace tesview

#endif  // TESVIEW_SHOW_PRETTY_JSON_H_
