// The names of columns where those of a table and of the tables inside it are beside each other, each once.
#ifndef REPLIES_TAKEN_NAMES_H_
#define REPLIES_TAKEN_NAMES_H_

#include <string>
#include <string_view>

namespace replies {

// What is told of each row beside its cells.
constexpr std::string_view kOwnNames[] = {"_file", "_reply", "_offset", "_id", "_row"};

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

}  // namespace replies

#endif  // REPLIES_TAKEN_NAMES_H_
