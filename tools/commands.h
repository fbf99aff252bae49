// The commands beside showing replies. Each writes to standard output and gives the exit code.
#ifndef TOOLS_COMMANDS_H_
#define TOOLS_COMMANDS_H_

#include "tools/options.h"
#include "tools/output.h"

namespace tesview {

ExitCode RunIds(const IdsCommand& command, Output* output);
ExitCode RunSchema(const SchemaCommand& command, Output* output);
ExitCode RunNumber(const NumberCommand& command, Output* output);
ExitCode RunPack(const PackCommand& command, Output* output);

}  // namespace tesview

#endif  // TOOLS_COMMANDS_H_
