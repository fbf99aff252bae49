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

// What a shell offers for the last word of a line, sorted. The line goes to the shell as an argument of its
// own.
Strings Offered(const std::string& shell, const std::string& line, const std::string& directory) {
  const std::string completions = SOURCE_DIR "/packaging/completions";
  Strings command;
  if (shell == "bash") {
    command = {
        "bash",
        "--norc",
        "-c",
        "source \"$1/tesview.bash\"; read -ra COMP_WORDS <<<\"$2\"; [[ $2 == *' ' ]] && COMP_WORDS+=('');"
        "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tesview; printf '%s\\n' \"${COMPREPLY[@]}\"",
        "bash",
        completions,
        line};
  } else if (shell == "zsh") {
    command = {"zsh", "-f", SOURCE_DIR "/tests/support/zsh_matches.zsh", completions, line};
  } else {
    command = {
        "fish",      "--no-config",
        "-c",        "source $argv[1]/tesview.fish; complete -C $argv[2] | string replace -r '\\t.*' ''",
        completions, line};
  }
  How how;
  how.directory = directory;
  how.environment = {"PATH=" + fs::path(Program()).parent_path().string() + ":" + std::getenv("PATH"),
                     "HOME=" + directory};
  const Result result = program::Run(command, how);
  EXPECT_EQ(result.err, "") << shell << " " << line;
  Strings offered = LinesOf(result.out);
  offered.erase(std::remove(offered.begin(), offered.end(), ""), offered.end());
  std::sort(offered.begin(), offered.end());
  return offered;
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
  for (const auto& [line, expected] : cases)
    EXPECT_EQ(Offered(shell, line, directory_), expected) << line;
}

INSTANTIATE_TEST_SUITE_P(Shells, Completion, testing::Values("bash", "zsh", "fish"),
                         [](const auto& param) { return param.param; });

// In bash --to=csv comes as three words, and a name may have blanks in it.
// In bash --to=csv comes as three words, and a name may have blanks in it.
TEST_F(Files, TheCompletionOfBashKnowsItsWords) {
  Write("two words.bin", "");
  EXPECT_EQ(Offered("bash", "tesview --to = c", directory_), Strings{"csv"});
  EXPECT_EQ(Offered("bash", "tesview --to =", directory_).size(), 11u);
  EXPECT_EQ(Offered("bash", "tesview two", directory_), Strings{"two words.bin"});
}

}  // namespace
