#include "tesview/terminal/open_file.h"

#include <fmt/format.h>
#include <spawn.h>
#include <unistd.h>

#include <cstring>

namespace tesview {

bool OpenFile(const std::string& path, std::string* error) {
  // A name that begins with '-' is no option.
  std::string file = path[0] == '/' ? path : "./" + path;
  std::string program = "xdg-open";
  char* const arguments[] = {program.data(), file.data(), nullptr};
  pid_t child = 0;
  const int failure = posix_spawnp(&child, program.c_str(), nullptr, nullptr, arguments, environ);
  if (failure != 0) *error = fmt::format("cannot open {}: xdg-open: {}", path, std::strerror(failure));
  return failure == 0;
}

}  // namespace tesview
