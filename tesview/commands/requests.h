// From the sources to the output: the replies are read one by one, shown, and written in the order of the
// input.
#ifndef TESVIEW_COMMANDS_REQUESTS_H_
#define TESVIEW_COMMANDS_REQUESTS_H_

#include <string>
#include <vector>

#include "replies/reply_reader.h"
#include "tesview/show/view.h"

namespace tesview {

// What the program ends with. Documented in the help: change both.
enum ExitCode : int {
  kAllShown = 0,
  kSomeNotShown = 1,  // some reply is damaged or cannot be shown as asked
  kWrongUsage = 2,
  kFileTrouble = 3,  // some file cannot be read, or the output not written
};

enum class When { kAuto, kAlways, kNever };

struct Job {
  std::vector<std::string> paths;  // files, directories, "-"
  replies::Form from = replies::Form::kAuto;
  View view;
  int jobs = 1;
  bool strict = false;
  When progress = When::kAuto;
};

// Ends the process itself if it is interrupted.
ExitCode Run(const Job& job);

// One line on standard error: "tesview: what".
void Complain(const std::string& what);

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_REQUESTS_H_
