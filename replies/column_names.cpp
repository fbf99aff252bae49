#include "replies/column_names.h"

#include <fmt/format.h>

#include "replies/text.h"

namespace replies {

bool IsNameOf(std::string_view name, std::string_view label, size_t index, int64_t count) {
  if (name == label) return true;
  // What is shown otherwise than it is has one of these.
  if (name.find_first_of("#[\\") == std::string_view::npos) return false;
  return name == Printable(label) || name == fmt::format("{}#{}", label, index) ||
         (count != 1 && name == fmt::format("{}[{}]", label, count));
}

std::string_view NameInside(std::string_view name, std::string_view label) {
  const bool leads =
      name.size() > label.size() && name[label.size()] == '.' && name.substr(0, label.size()) == label;
  return leads ? name.substr(label.size() + 1) : std::string_view();
}

}  // namespace replies
