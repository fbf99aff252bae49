#include <google/protobuf/stubs/logging.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <variant>

#include "tesview/cli/options.h"
#include "tesview/commands/commands.h"
#include "tesview/terminal/complain.h"
#include "tesview/terminal/interrupt.h"
#include "tesview/terminal/output.h"

int main(int argc, char** argv) {
  using namespace tesview;
  // A pipe that is closed is an answer of write(), and what is wrong with a reply is for this program to say.
  std::signal(SIGPIPE, SIG_IGN);
  google::protobuf::SetLogHandler(nullptr);
  ExitCode code = kAllShown;
  try {
    Output output(STDOUT_FILENO);
    std::visit([&](const auto& request) { Answer(request, &output, &code); }, ParseArguments(argc, argv));
    output.Flush();
  } catch (const UsageError& error) {
    Complain(std::string(error.what()) + " (tesview --help tells more)");
    return kWrongUsage;
  } catch (const OutputClosed&) {
    // Whoever read it has seen enough.
  } catch (const Interrupted&) {
    EndByInterrupt();
  } catch (const std::exception& error) {
    Complain(error.what());
    return kFileTrouble;
  }
  return code;
}
