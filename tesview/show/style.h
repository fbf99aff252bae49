// Text as terminals emphasise it.
#ifndef TESVIEW_SHOW_STYLE_H_
#define TESVIEW_SHOW_STYLE_H_

#include <fmt/format.h>

#include <string>
#include <string_view>

namespace tesview {

struct Style {
  bool color;
  std::string Bold(std::string_view text) const { return Wrap("1", text); }
  std::string Dim(std::string_view text) const { return Wrap("2", text); }
  std::string Cyan(std::string_view text) const { return Wrap("36", text); }

 private:
  std::string Wrap(std::string_view code, std::string_view text) const {
    return color ? fmt::format("\x1b[{}m{}\x1b[0m", code, text) : std::string(text);
  }
};

}  // namespace tesview

#endif  // TESVIEW_SHOW_STYLE_H_
