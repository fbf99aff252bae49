// The commands beside showing replies. Each writes to standard output and gives the exit code.
#ifndef TESVIEW_COMMANDS_COMMANDS_H_
#define TESVIEW_COMMANDS_COMMANDS_H_

#include "tesview/cli/options.h"
#include "tesview/terminal/output.h"

namespace tesview {

ExitCode RunIds(const IdsCommand& command, Output* output);
ExitCode RunSchema(const SchemaCommand& command, Output* output);
ExitCode RunNumber(const NumberCommand& command, Output* output);
ExitCode RunPack(const PackCommand& command, Output* output);

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_COMMANDS_H_
