// The commands. Each answers its request on `output`, complains on standard error, and raises `code` to what
// the program is to end with; `code` holds also when an exception ends the command.
//
// All throw UsageError for a request that cannot be answered, and what Output throws.
#ifndef TESVIEW_COMMANDS_COMMANDS_H_
#define TESVIEW_COMMANDS_COMMANDS_H_

#include "tesview/commands/exit_code.h"
#include "tesview/commands/requests.h"
#include "tesview/terminal/output.h"

namespace tesview {

void Answer(const ShowRequest& request, Output* output, ExitCode* code);
void Answer(const StatRequest& request, Output* output, ExitCode* code);
void Answer(const IdsRequest& request, Output* output, ExitCode* code);
void Answer(const ColumnsRequest& request, Output* output, ExitCode* code);
void Answer(const SchemaRequest& request, Output* output, ExitCode* code);
void Answer(const NumberRequest& request, Output* output, ExitCode* code);
void Answer(const PackRequest& request, Output* output, ExitCode* code);
void Answer(const PrintRequest& request, Output* output, ExitCode* code);

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_COMMANDS_H_
