// Many replies shown at once and printed in the order of the input.
//
// The calling thread reads, so that a signal finds it in its read; others show, and whichever of them
// finishes the reply that is next prints it. oneTBB's parallel_pipeline does not serve here: where it cannot
// start a thread it ends the process, and its input may run on a thread that no signal wakes.
#ifndef TESVIEW_COMMANDS_IN_PARALLEL_H_
#define TESVIEW_COMMANDS_IN_PARALLEL_H_

#include "tesview/commands/printer.h"
#include "tesview/commands/renderer.h"
#include "tesview/commands/reply_files.h"

namespace tesview {

// Shows with as many threads as asked for, or as can be started; says so where these are fewer. With 0 the
// calling thread shows as well, and with 1 it does so where there is little to read. Memory is
// that of some 64 MB of replies, or of one that is larger, and of what is shown of them. Throws what reading
// and printing throw; no thread is left behind.
void ShowInParallel(Renderer* renderer, int threads, ReplyFiles* files, Printer* printer);

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_IN_PARALLEL_H_
