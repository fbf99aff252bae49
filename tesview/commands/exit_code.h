// What the program ends with.
#ifndef TESVIEW_COMMANDS_EXIT_CODE_H_
#define TESVIEW_COMMANDS_EXIT_CODE_H_

namespace tesview {

// Documented in the help: change both. Of several the largest counts.
enum ExitCode : int {
  kAllShown = 0,
  kSomeNotShown = 1,  // some reply is damaged or cannot be shown as asked
  kWrongUsage = 2,
  kFileTrouble = 3,  // some file cannot be read, or the output not written
};

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_EXIT_CODE_H_
