// What bash, zsh and fish offer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

namespace fs = std::filesystem;
using program::How;
using program::Result;
using viewer::Files;
using viewer::LinesOf;
using viewer::Program;
using viewer::Strings;

const char* const kCompletions = SOURCE_DIR "/packaging/completions";

// What shells offer for the last word of each line: a word a line, and END behind those of each. The lines go
// to the shell as arguments of their own.
Strings CommandOf(const std::string& shell, const Strings& lines) {
  Strings command;
  if (shell == "bash") {
    command = {
        "bash",
        "--norc",
        "-c",
        "source \"$1/tesview.bash\"; for line in \"${@:2}\"; do COMPREPLY=();"
        "read -ra COMP_WORDS <<<\"$line\"; [[ $line == *' ' ]] && COMP_WORDS+=('');"
        "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tesview; printf '%s\\n' \"${COMPREPLY[@]}\" END; done",
        "bash",
        kCompletions};
  } else if (shell == "zsh") {
    command = {"zsh", "-f", SOURCE_DIR "/tests/support/zsh_matches.zsh", kCompletions};
  } else {
    command = {"fish", "--no-config", "-c",
               "source $argv[1]/tesview.fish; for line in $argv[2..-1];"
               "complete -C $line | string replace -r '\\t.*' ''; echo END; end",
               kCompletions};
  }
  command.insert(command.end(), lines.begin(), lines.end());
  return command;
}

// The same, sorted, in one start of the shell.
std::vector<Strings> Offered(const std::string& shell, const Strings& lines, const std::string& directory) {
  How how;
  how.directory = directory;
  how.environment = {"PATH=" + fs::path(Program()).parent_path().string() + ":" + std::getenv("PATH"),
                     "HOME=" + directory};
  const Result result = program::Run(CommandOf(shell, lines), how);
  EXPECT_EQ(result.err, "") << shell;
  std::vector<Strings> all(1);
  for (const std::string& word : LinesOf(result.out)) {
    if (word == "END") {
      std::sort(all.back().begin(), all.back().end());
      all.emplace_back();
    } else if (!word.empty()) {
      all.back().push_back(word);
    }
  }
  all.pop_back();
  EXPECT_EQ(all.size(), lines.size()) << shell;
  all.resize(lines.size());
  return all;
}

class Completion : public Files, public testing::WithParamInterface<std::string> {};

TEST_P(Completion, OffersWhatMayStandThere) {
  const std::string& shell = GetParam();
  if (program::Run({"sh", "-c", "command -v " + shell}).code != 0)
    GTEST_SKIP() << shell << " is not installed";
  Write("a.bin", "");
  const std::vector<std::pair<std::string, Strings>> cases{
      {"tesview ", {"a.bin", "columns", "ids", "number", "pack", "schema", "stat"}},
      {"tesview --to js", {"json"}},
      {"tesview --col", {"--color", "--columns"}},
      {"tesview a.bin --str", {"--strict"}},
      {"tesview --type FenL", {"FenLeiChiCang"}},
      {"tesview --columns ZuiXin", {"ZuiXinJia", "ZuiXinJiaDengYuZhangTingJiaShu"}},
      {"tesview columns --to mark", {"markdown"}},
      {"tesview pack ", {"a.bin"}},
      {"tesview pack --to ", {"base64", "delimited", "fixed32be", "fixed32le", "hex", "raw"}},
      {"tesview pack --pa", {"--partial"}},
      {"tesview pack --output ", {"a.bin"}},
      {"tesview schema QuoteKlineS", {"QuoteKlineSingle"}},
      {"tesview ids --ta", {"--table"}},
      {"tesview number --pack", {"--pack", "--packed"}},
  };
  Strings lines;
  for (const auto& each : cases)
    lines.push_back(each.first);
  const std::vector<Strings> offered = Offered(shell, lines, directory_);
  for (size_t i = 0; i < cases.size(); ++i)
    EXPECT_EQ(offered[i], cases[i].second) << lines[i];
}

INSTANTIATE_TEST_SUITE_P(Shells, Completion, testing::Values("bash", "zsh", "fish"),
                         [](const auto& param) { return param.param; });

// In bash --to=csv comes as three words, and a name may have blanks in it.
TEST_F(Files, TheCompletionOfBashKnowsItsWords) {
  Write("two words.bin", "");
  const std::vector<Strings> offered =
      Offered("bash", {"tesview --to = c", "tesview --to =", "tesview two"}, directory_);
  EXPECT_EQ(offered[0], Strings{"csv"});
  EXPECT_EQ(offered[1].size(), 11u);
  EXPECT_EQ(offered[2], Strings{"two words.bin"});
}

}  // namespace
