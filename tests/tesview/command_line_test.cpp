// What the help, the manual page and the completions make of any definition of a command line.
#include <gtest/gtest.h>

#include <string>

#include <CLI/CLI.hpp>

#include "tesview/cli/help.h"

namespace {

class CommandLines : public testing::Test {
 protected:
  CommandLines() : app_("does things", "tesview") {
    app_.add_flag("--only", flag_, "Show [only] this. And more.")->group("Output");
    app_.add_flag("--dots", flag_, ".dot files and 'quoted' ones, too")->group("Output");
    app_.add_flag("--hidden", flag_, "For nobody.")->group("");
    app_.add_subcommand("ids", "List [all] Ids. Without end.");
  }

  // Whether it is there.
  static void Expect(const std::string& text, const std::string& part) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " is not in\n" << text;
  }

  bool flag_ = false;
  CLI::App app_;
};

// A line of roff that begins with a point or a quote would be taken for a request.
TEST_F(CommandLines, NoTextIsARequestOfTheManualPage) {
  Expect(tesview::ManualPage(app_), ".TP\n.B \\-\\-dots\n\\&.dot files and \\(aqquoted\\(aq ones, too\n");
}

// Zsh takes brackets for the ends of a description.
TEST_F(CommandLines, CompletionsHaveTheFirstSentenceWithoutBrackets) {
  Expect(tesview::Completions(app_, {}, "zsh"), "'--only[Show only this]'");
  Expect(tesview::Completions(app_, {}, "zsh"), "'ids:List all Ids'");
  Expect(tesview::Completions(app_, {}, "fish"), " -l only -d 'Show only this'\n");
}

TEST_F(CommandLines, OptionsWithoutAGroupAreNotTold) {
  for (const std::string& text :
       {tesview::HelpText(app_), tesview::ManualPage(app_), tesview::Completions(app_, {}, "bash"),
        tesview::Completions(app_, {}, "zsh"), tesview::Completions(app_, {}, "fish")}) {
    EXPECT_EQ(text.find("hidden"), std::string::npos) << text;
    Expect(text, "only");
  }
}

}  // namespace
