#include "tesview/terminal/complain.h"

#include <cstdio>

#include "replies/text.h"

namespace tesview {

using replies::Printable;

void Complain(const std::string& what) {
  // Names of files and words of the input come in here: none of them may end the line or steer the terminal.
  const std::string line = "tesview: " + Printable(what) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace tesview
