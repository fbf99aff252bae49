// The help, the manual page and the completions of shells, all from the definition of the command line.
#ifndef TESVIEW_CLI_HELP_H_
#define TESVIEW_CLI_HELP_H_

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace tesview {

// The words that an option takes, for completions: {"--to", {"table", "json", ...}}.
struct Words {
  std::string option;
  std::vector<std::string> words;
};

std::string HelpText(const CLI::App& app);
std::string CommandHelpText(const CLI::App& command);
std::string ManualPage(const CLI::App& app);
// "bash", "zsh" or "fish"; empty for any other shell.
std::string Completions(const CLI::App& app, const std::vector<Words>& words, std::string_view shell);

}  // namespace tesview

#endif  // TESVIEW_CLI_HELP_H_
