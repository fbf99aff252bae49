// The names of fields in lines for other tools, each once.
#ifndef TESVIEW_SHOW_TAKEN_NAMES_H_
#define TESVIEW_SHOW_TAKEN_NAMES_H_

#include <string>
#include <string_view>

namespace tesview {

// What the viewer itself calls fields.
constexpr std::string_view kOwnNames[] = {"_file", "_reply", "_id", "_row"};

inline bool IsOwnName(std::string_view name) {
  for (const std::string_view own : kOwnNames) {
    if (name == own) return true;
  }
  return false;
}

// A column whose name is taken gets its index behind it, as often as it takes: "Name#5". The help says so.
template <class IsTaken>
std::string FreeName(std::string name, int index, IsTaken is_taken) {
  while (IsOwnName(name) || is_taken(name))
    name += "#" + std::to_string(index);
  return name;
}

}  // namespace tesview

#endif  // TESVIEW_SHOW_TAKEN_NAMES_H_
