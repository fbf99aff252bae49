// The command line: what it may hold, and what the user asked for.
//
// Help, manual page and completions are made from the definitions in options.cpp, so that they cannot
// disagree.
#ifndef TESVIEW_CLI_OPTIONS_H_
#define TESVIEW_CLI_OPTIONS_H_

#include "tesview/commands/requests.h"

namespace tesview {

// Throws UsageError.
Request ParseArguments(int argc, const char* const* argv);

}  // namespace tesview

#endif  // TESVIEW_CLI_OPTIONS_H_
