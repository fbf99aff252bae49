#include "tesview/report/embedded.h"

#include <fmt/format.h>

#include "replies/encodings.h"
#include "replies/text.h"

namespace tesview {

void AppendEmbeddedString(std::string* to, std::string_view utf8) {
  std::string quoted;
  replies::AppendJsonString(&quoted, utf8);
  for (const char c : quoted) {
    switch (c) {
      case '<': *to += "\\u003c"; break;
      case '>': *to += "\\u003e"; break;
      case '&': *to += "\\u0026"; break;
      default: *to += c;
    }
  }
}

std::string EmbeddedBlock(size_t number, std::string_view bytes) {
  return fmt::format("<script type=\"application/octet-stream\" id=\"d{}\">{}</script>\n", number,
                     replies::EncodeBase64(bytes));
}

}  // namespace tesview
