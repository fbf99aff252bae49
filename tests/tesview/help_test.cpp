// Help, manual page and the examples in them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "replies/text.h"
#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

namespace fs = std::filesystem;
using program::Result;
using viewer::Files;
using viewer::LinesOf;
using viewer::Program;
using viewer::Reply;
using viewer::Slurp;
using viewer::StreamOf;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;

TEST(Help, GoesToStandardOutputWithExitZero) {
  const Result result = View({"--help"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out.substr(0, 49), "tesview shows replies of the market-data service\n");
  for (const std::string& line : LinesOf(result.out))
    EXPECT_LE(replies::DisplayWidth(line), 80u) << line;
  EXPECT_NE(View({"pack", "--help"}).out.find("Usage: tesview pack"), std::string::npos);
  EXPECT_EQ(View({"--version"}).out.substr(0, 8), "tesview ");
}

TEST(Help, ManualAndCompletionsAreWhatTheProgramSays) {
  const std::string source = SOURCE_DIR;
  for (const auto& [word, path] :
       std::vector<std::pair<std::string, std::string>>{{"man", "/docs/tesview.1"},
                                                        {"bash", "/packaging/completions/tesview.bash"},
                                                        {"zsh", "/packaging/completions/_tesview"},
                                                        {"fish", "/packaging/completions/tesview.fish"}}) {
    const Result made = View({"--generate", word});
    ASSERT_EQ(made.code, 0);
    if (std::getenv("TESVIEW_UPDATE") != nullptr) std::ofstream(source + path) << made.out;
    EXPECT_EQ(Slurp(source + path), made.out)
        << path << " is not what tesview --generate " << word << " prints";
  }
}

// Everything that the help shows as an example works as it is.
TEST_F(Files, TheExamplesOfTheHelpRun) {
  Write("quotes.bin", Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' }"));
  Write("kline.bin", TwoKlines());
  Write("service.log",
        "10:00 reply " + View({"pack", "--to", "hex", Write("reply.txtpb", "Id: 22 Obj: 'AB'")}).out);
  Write("replies.stream", StreamOf(TwoKlines(), 10));
  Write("replies/one.bin", TwoKlines());
  const Strings lines = LinesOf(View({"--help"}).out);
  const auto begin = std::find(lines.begin(), lines.end(), "Examples:");
  int run = 0;
  for (auto line = begin + 1; line < lines.end() && !line->empty(); ++line) {
    if (line->substr(0, 3) == "   ") continue;
    const Result result =
        program::Shell("set -e; " + line->substr(2), fs::path(Program()).parent_path(), directory_);
    EXPECT_EQ(result.code, 0) << *line << "\n" << result.err;
    EXPECT_EQ(result.err, "") << *line;
    EXPECT_TRUE(!result.out.empty() || line->find('>') != std::string::npos) << *line;
    ++run;
  }
  EXPECT_EQ(run, 11);
}

TEST(Help, OfACommandIsItsPurposeUsageAndOptions) {
  const Result result = View({"number", "--help"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out,
            "Unpack packed decimals, as JSON shows them.\n"
            "\n"
            "Usage: tesview number [--packed] [--pack] VALUE...\n"
            "\n"
            "Options:\n"
            "  --packed\n"
            "      Say what scale and sign they carry.\n"
            "  --pack\n"
            "      The other way: from 12.34 to the packed number.\n"
            "  -h, --help\n"
            "      Print this help.\n");
}

TEST(Help, HasItsUsageSectionsAndCommandsSetOff) {
  const std::string help = View({"--help"}).out;
  EXPECT_EQ(help.find("tesview shows replies of the market-data service\n"
                      "\n"
                      "Usage: tesview [OPTION...] [FILE...]\n"
                      "       tesview "),
            0U);
  for (
      const std::string part :
      {"\n       tesview number [--packed] [--pack] VALUE...\n",
       "\n\nReads replies from files, directories or standard input, in whatever form they\nhave, ",
       // Paragraphs of a section, and the next one.
       "\n  was whole before is shown.\n\n  A stream whose replies ",
       "counts as one reply.\n\nTables:\n  Numbers ",
       // Entries, and those of a command, which do not repeat where help is.
       "\n\nEnvironment:\n  NO_COLOR\n      If set and not empty, no colour unless --color always is given.\n"
       "  TERM\n      If it is dumb, no colour.\n\nMemory:\n  ",
       "\n  number [--packed] [--pack] VALUE...\n      Unpack packed decimals, as JSON shows them.\n"
       "    --packed\n        Say what scale and sign they carry.\n"
       "    --pack\n        The other way: from 12.34 to the packed number.\n  pack [",
       // A letter and a word for one option, and what it takes.
       "\n  -o, --output FILE\n", "\n  --progress WHEN\n", "\n  -h, --help\n      "})
    EXPECT_NE(help.find(part), std::string::npos) << part;
}

TEST(Help, LinesAreAsFullAsTheyCanBe) {
  const Strings lines = LinesOf(View({"--help"}).out);
  const auto indent = [](const std::string& line) { return line.find_first_not_of(' '); };
  size_t joined = 0;
  for (size_t i = 1; i < lines.size(); ++i) {
    // A text goes on in a line of its own indentation; behind "Usage:" each line is one of its own.
    const size_t begin = indent(lines[i]);
    if (begin == std::string::npos || lines[i - 1].empty() || indent(lines[i - 1]) != begin) continue;
    if (lines[i].find("tesview ") == begin && begin == 7) continue;
    const std::string word = lines[i].substr(begin, lines[i].find(' ', begin) - begin);
    EXPECT_GT(replies::DisplayWidth(lines[i - 1]) + 1 + replies::DisplayWidth(word), 80U)
        << lines[i - 1] << "\n"
        << lines[i];
    ++joined;
  }
  EXPECT_GT(joined, 30U);
}

}  // namespace
