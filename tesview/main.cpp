#include <google/protobuf/stubs/logging.h>
#include <unistd.h>

#include <csignal>
#include <exception>

#include "tesview/cli/options.h"
#include "tesview/commands/commands.h"
#include "tesview/terminal/output.h"

namespace {

using namespace tesview;

ExitCode RunCommand(const Arguments& arguments, Output* output) {
  switch (arguments.command) {
    case Command::kShow: return Run(arguments.show);
    case Command::kIds: return RunIds(arguments.ids, output);
    case Command::kSchema: return RunSchema(arguments.schema, output);
    case Command::kNumber: return RunNumber(arguments.number, output);
    case Command::kPack: return RunPack(arguments.pack, output);
    case Command::kPrinted: output->Write(arguments.printed); return kAllShown;
  }
  return kWrongUsage;
}

}  // namespace

int main(int argc, char** argv) {
  // A pipe that is closed is an answer of write(), and what is wrong with a reply is for this program to say.
  std::signal(SIGPIPE, SIG_IGN);
  google::protobuf::SetLogHandler(nullptr);
  try {
    const Arguments arguments = ParseArguments(argc, argv);
    Output output(STDOUT_FILENO);
    const ExitCode code = RunCommand(arguments, &output);
    output.Flush();
    return code;
  } catch (const UsageError& error) {
    Complain(std::string(error.what()) + " (tesview --help tells more)");
    return kWrongUsage;
  } catch (const OutputClosed&) {
    return kAllShown;
  } catch (const Interrupted&) {
    EndByInterrupt();
  } catch (const std::exception& error) {
    Complain(error.what());
    return kFileTrouble;
  }
}
