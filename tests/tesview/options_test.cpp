// Wrong usage: one line that helps, and exit code 2.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::Prices;
using viewer::Program;
using viewer::Strings;
using viewer::View;
using viewer::ViewBytes;

struct Usage {
  Strings arguments;
  std::string says;
};

TEST(WrongUsage, IsOneLineThatHelps) {
  const std::vector<Usage> cases{
      {{"--colums", "A"}, "unknown option --colums; did you mean \"--columns\"?"},
      {{"--to", "jsn"},
       "unknown word \"jsn\" for --to; known: table, json, pretty, ndjson, csv, tsv, arrow, summary, text, html, bin"},
      {{"--from=xml"},
       "unknown word \"xml\" for --from; known: auto, raw, delimited, fixed32be, fixed32le, hex, base64, lines, "
       "text"},
      {{"--type", "DaDn"}, "unknown type \"DaDn\" for --type; did you mean \"DaDan\"?"},
      {{"--head", "-1"}, "\"-1\" for --head is no number from 0 to 2147483647"},
      {{"--jobs", "many"}, "\"many\" for --jobs is no number from 0 to 256"},
      {{"--json", "--table"}, "only one of --table, --json and --pretty can be had"},
      {{"--json", "--head", "3"},
       "--type, --decode, --path, --columns, --head and --tail choose from a table; take --to table, ndjson, csv, tsv or arrow"},
      {{"number"}, "number needs a VALUE, such as 0x4D2"},
      {{"number", "x"}, "\"x\" is no 64-bit number, as 1234 and 0x4D2 are; --pack takes 12.34"},
      {{"number", "--pakced", "1"}, "unknown option --pakced; did you mean \"--packed\"?"},
      {{"--type", "77"},
       "unknown type \"77\" for --type; known: DaDan, FenLeiChiCang, BxzjStock, BxzjBlock, Token, ZhiBiao1 to "
       "ZhiBiao16 and their numbers"},
      {{"--head"}, "--head needs a value"},
      {{"pack"}, "pack needs a FILE"},
      {{"schema"}, "schema needs a NAME"},
      {{"shema", "21"}, "no file or command is called \"shema\"; did you mean \"schema\"?"},
      {{"help"}, "no file or command is called \"help\""},
      {{"pack", "a", "b"}, "raw holds one reply; several FILEs take --to delimited, hex or base64"},
      {{"ids", "--tabel"}, "unknown option --tabel; did you mean \"--table\"?"},
      {{"stat", "--jbos=3", "a"}, "unknown option --jbos; did you mean \"--jobs\"?"},
      {{"--jbos=3", "number", "5"}, "unknown option --jbos; did you mean \"--jobs\"?"},
      // A name that is shorter than any ending.
      {{"-o", "x"},
       "the ending of \"x\" tells no form; take --to with it, or one of .csv, .tsv, .ndjson, .jsonl, .arrow, "
       ".arrows, .json, .html, .txt, .txtpb, .bin"},
  };
  for (const Usage& each : cases) {
    const Result result = View(each.arguments);
    EXPECT_EQ(result.err, "tesview: " + each.says + " (tesview --help tells more)\n");
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.code, 2) << each.says;
  }
}

TEST(WrongUsage, ATerminalIsNotReadUnasked) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  const Result result = program::Run({"script", "-qec", Program() + "; echo code $?", "/dev/null"});
  EXPECT_NE(result.out.find("no FILE is given, and standard input is a terminal"), std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("code 2"), std::string::npos) << result.out;
}

TEST(WrongUsage, ChoicesFromATableAreRefusedWhereThereIsNone) {
  const std::string more = " (tesview --help tells more)\n";
  for (const Strings& choice :
       {Strings{"--path", "0/Data"}, {"--columns", "A"}, {"--head", "1"}, {"--tail", "1"}, {"--type", "1"}}) {
    for (const std::string to : {"json", "pretty", "text", "summary"}) {
      if (to == "summary" && choice[0] == "--type") continue;
      Strings arguments{"--to", to};
      arguments.insert(arguments.end(), choice.begin(), choice.end());
      const Result result = View(arguments);
      EXPECT_EQ(
          result.err,
          (to == "summary"
               ? "tesview: a summary takes no --decode, --path, --columns, --head or --tail"
               : "tesview: --type, --decode, --path, --columns, --head and --tail choose from a table; take "
                 "--to table, ndjson, csv, tsv or arrow") +
              more)
          << to << choice[0];
      EXPECT_EQ(result.code, 2);
    }
  }
  EXPECT_EQ(View({"--columns", ","}).err, "tesview: --columns names no column" + more);
  EXPECT_EQ(View({"--decode", "--unpack", ","}).err, "tesview: --unpack names no column" + more);
  EXPECT_EQ(View({"--id", " ,"}).err, "tesview: --id names no Id" + more);
  EXPECT_EQ(View({"--split-by", ",", "-o", "{id}.csv"}).err, "tesview: --split-by names no key" + more);
  EXPECT_EQ(View({"--head", "3x"}).err,
            "tesview: \"3x\" for --head is no number from 0 to 2147483647" + more);
  EXPECT_EQ(View({"--jobs", "257"}).err, "tesview: \"257\" for --jobs is no number from 0 to 256" + more);
  // Empty names between commas are none.
  EXPECT_EQ(ViewBytes(Prices(), {"--columns", ",Price,", "--to", "csv"}).out, "Price\n12.34\n0.5\n");
}

TEST(WrongUsage, WhatIsMissingOrUnknownIsSaid) {
  const std::string more = " (tesview --help tells more)\n";
  EXPECT_EQ(View({"--type", "zzqqxx"}).err,
            "tesview: unknown type \"zzqqxx\" for --type; known: DaDan, FenLeiChiCang, BxzjStock, BxzjBlock, "
            "Token, ZhiBiao1 to ZhiBiao16 and their numbers" +
                more);
  const Result missing = View({"--width"});
  EXPECT_EQ(missing.err, "tesview: --width needs a value" + more);
  EXPECT_EQ(missing.code, 2);
  EXPECT_EQ(View({"--generate", "pdf"}).err,
            "tesview: unknown word \"pdf\" for --generate; known: man, bash, zsh, fish" + more);
}

TEST(WrongUsage, WordsThatAnOptionTakesAreListed) {
  const std::vector<Usage> cases{
      {{"--style", "round"}, "unknown word \"round\" for --style; known: auto, box, plain"},
      {{"--time", "utc"}, "unknown word \"utc\" for --time; known: raw, iso"},
      {{"--header", "de"}, "unknown word \"de\" for --header; known: name, en, zh"},
      {{"--color", "blue"}, "unknown word \"blue\" for --color; known: auto, always, never"},
      {{"--progress", "often"}, "unknown word \"often\" for --progress; known: auto, always, never"},
      {{"columns", "--to", "xml"}, "unknown word \"xml\" for --to; known: table, json, markdown, names"},
      {{"pack", "--to", "xml", "a"},
       "unknown word \"xml\" for --to; known: raw, delimited, fixed32be, fixed32le, hex, base64"},
  };
  for (const Usage& each : cases) {
    const Result result = View(each.arguments);
    EXPECT_EQ(result.err, "tesview: " + each.says + " (tesview --help tells more)\n");
    EXPECT_EQ(result.code, 2) << each.says;
  }
}

TEST(WrongUsage, WhatDoesNotGoTogetherIsSaid) {
  const std::string rows = "--to arrow takes no --head or --tail: its readers choose rows";
  const std::string chosen =
      "--type, --decode, --path, --columns, --head and --tail choose from a table; take --to table, ndjson, csv, tsv or arrow";
  const std::string summary = "a summary takes no --decode, --path, --columns, --head or --tail";
  const std::string page = "--to html takes no --path, --columns, --head or --tail; choose in the page";
  const std::vector<Usage> cases{
      {{"--unpack", "A"}, "--unpack takes --decode with it"},
      {{"--to", "ndjson", "--csv-safe"}, "--csv-safe takes --to csv or tsv"},
      {{"--to", "arrow", "--head", "0"}, rows},
      {{"--to", "arrow", "--tail", "0"}, rows},
      {{"--json", "--pretty"}, "only one of --table, --json and --pretty can be had"},
      {{"--table", "--pretty"}, "only one of --table, --json and --pretty can be had"},
      {{"--json", "--decode"}, chosen},
      {{"--json", "--head", "0"}, chosen},
      {{"--json", "--tail", "0"}, chosen},
      {{"--pretty", "--path", "0/Data"}, chosen},
      {{"--to", "text", "--columns", "A"}, chosen},
      {{"--to", "bin", "--type", "Token"}, chosen},
      {{"--to", "summary", "--columns", "A"}, summary},
      {{"--to", "summary", "--tail", "0"}, summary},
      {{"--to", "html", "--path", "0/Data"}, page},
      {{"--to", "html", "--columns", "A"}, page},
      {{"--to", "html", "--head", "0"}, page},
      {{"--to", "html", "--tail", "0"}, page},
      {{"--to", "arrow", "--where", "A=1", "--skip", "1"},
       "--to arrow takes --where without --skip and --limit"},
  };
  for (const Usage& each : cases) {
    const Result result = View(each.arguments);
    EXPECT_EQ(result.err, "tesview: " + each.says + " (tesview --help tells more)\n");
    EXPECT_EQ(result.code, 2) << each.says;
  }
}

TEST(WrongUsage, NumbersHaveTheirLimits) {
  const std::vector<Usage> cases{
      {{"--width", "-1"}, "\"-1\" for --width is no number from 0 to 2147483647"},
      {{"--tail", "2147483648"}, "\"2147483648\" for --tail is no number from 0 to 2147483647"},
      {{"--jobs", "-1"}, "\"-1\" for --jobs is no number from 0 to 256"},
      {{"--jobs", ""}, "\"\" for --jobs is no number from 0 to 256"},
  };
  for (const Usage& each : cases) {
    const Result result = View(each.arguments);
    EXPECT_EQ(result.err, "tesview: " + each.says + " (tesview --help tells more)\n");
    EXPECT_EQ(result.code, 2) << each.says;
  }
  for (const Strings& most : {Strings{"--head", "2147483647"}, {"--tail", "2147483647"}, {"--jobs", "256"}}) {
    Strings arguments{"--to", "csv"};
    arguments.insert(arguments.end(), most.begin(), most.end());
    EXPECT_EQ(ViewBytes(Prices(), arguments).out, "Price\n12.34\n0.5\n") << most[0];
  }
}

TEST(Usage, OfAnOptionThatIsGivenTwiceTheLastCounts) {
  const Result result =
      ViewBytes(Prices(), {"--to", "json", "--head", "5", "--columns", "None", "--from", "text", "--to",
                           "csv", "--head", "1", "--columns", "Price", "--from", "raw"});
  EXPECT_EQ(result.out, "Price\n12.34\n") << result.err;
}

TEST(Usage, AWordThatIsNearNoCommandIsAFile) {
  const Result result = View({"zzqqxx"});
  EXPECT_EQ(result.err, "tesview: zzqqxx: cannot open it: No such file or directory\n");
  EXPECT_EQ(result.code, 3);
}

TEST(Usage, ATerminalGetsNoBytesOfReplies) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  program::How how = viewer::InTerminal(80);
  how.input = Prices();
  const Result result = View({"--to", "bin"}, how);
  EXPECT_EQ(result.code, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "tesview: a terminal cannot show bytes; take -o FILE or a pipe (tesview --help tells more)\n");
}

TEST(Usage, ATerminalGetsNoPage) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  program::How how = viewer::InTerminal(80);
  how.input = Prices();
  const Result result = View({"--to", "html"}, how);
  EXPECT_EQ(result.code, 2);
  EXPECT_EQ(result.err,
            "tesview: a terminal cannot show a page; take -o FILE or a pipe (tesview --help tells more)\n");
}

// Of a word that an option does not know its name is told.
TEST(Usage, AnUnknownWordIsToldWithItsOption) {
  for (const char* option : {"--from", "--to", "--progress", "--header", "--time", "--color"}) {
    const Result result = View({option, "x"});
    EXPECT_EQ(result.code, 2);
    EXPECT_NE(result.err.find(std::string("\"x\" for ") + option + ";"), std::string::npos) << result.err;
  }
  for (const char* option : {"--from", "--to", "--progress"}) {
    const Result result = View({"stat", option, "x"});
    EXPECT_EQ(result.code, 2);
    EXPECT_NE(result.err.find(std::string("\"x\" for ") + option + ";"), std::string::npos) << result.err;
  }
}

}  // namespace
