// What the exports give does not depend on the locale of the process: under one with a decimal comma numbers
// keep their point.
//
// The locale is made here, as no machine can be relied on to have one: with localedef, which comes with the C
// library, from a description of its numbers alone and a character map that is written for it. Windows has
// all of them.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <clocale>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "tesparser/tesparser.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using test_replies::P;
using test_replies::Reply;

std::string OneAndAHalf() {
  char text[16];
  std::snprintf(text, sizeof text, "%.1f", 1.5);
  return text;
}

#if defined(_WIN32)

class DecimalComma : public testing::Test {
 protected:
  DecimalComma() { std::setlocale(LC_NUMERIC, "German_Germany"); }
  ~DecimalComma() override { std::setlocale(LC_NUMERIC, "C"); }

  void SetUp() override { ASSERT_EQ(OneAndAHalf(), "1,5"); }
};

#else

class DecimalComma : public testing::Test {
 protected:
  DecimalComma() : folder_(testing::TempDir() + "locale_test.XXXXXX") {
    if (mkdtemp(folder_.data()) == nullptr) return;
    WriteSources();
    const std::string command = "cd '" + folder_ +
                                "' && localedef --quiet --force --charmap=./characters --inputfile=./numbers "
                                "./comma >localedef.log 2>&1";
    // It ends with 1 for what the description leaves out; the numbers tell whether it worked.
    if (std::system(command.c_str()) == -1) return;
    setenv("LOCPATH", folder_.c_str(), 1);
    std::setlocale(LC_NUMERIC, "comma");
  }
  ~DecimalComma() override {
    std::setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  void SetUp() override {
    if (OneAndAHalf() != "1,5") GTEST_SKIP() << "localedef made no locale with a decimal comma";
  }

 private:
  void WriteSources() const {
    std::ofstream characters(folder_ + "/characters");
    characters << "<code_set_name> ASCII\n<comment_char> %\n<escape_char> /\nCHARMAP\n";
    for (int code = 0; code < 128; ++code) {
      char line[32];
      std::snprintf(line, sizeof line, "<U%04X> /x%02x\n", code, code);
      characters << line;
    }
    characters << "END CHARMAP\n";
    std::ofstream(folder_ + "/numbers")
        << "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\ngrouping 3;3\nEND LC_NUMERIC\n";
  }

  std::string folder_;
};

#endif

TEST_F(DecimalComma, NumbersInTextCellsKeepTheirPoint) {
  const std::string data = Reply(
      "Id: 3 Tbl { Info { Type: 116 } Data { Index: 0 tValues { Info { Name: 't' Type: 116 } Data { Index: 0 "
      "tValues { Info { Name: 'Token' Type: 105 } Data { Index: 0 iValues: [" +
      P(100382, 10) + ", " + P(1234567, 5, 1) + "] } } } } } }");
  const OwnedTable table(TesparserPB2TableType(data, TPTypeToken));
  ASSERT_NE(table, nullptr);
  void* typed = table_get_table(table.get(), 0, 0);
  EXPECT_EQ(TextAt(typed, 0, 1), "100382.0000");
  EXPECT_EQ(TextAt(typed, 1, 1), "-12.3457");
  EXPECT_EQ(OneAndAHalf(), "1,5");
}

TEST_F(DecimalComma, NumbersInJsonKeepTheirPoint) {
  const std::string data = Reply("Id: 3 Tbl { Data { Index: 0 dValues: [1.5, 100382] fValues: -0.25 } }");
  EXPECT_EQ(TesparserPB2Json(data),
            R"({"Id": 3, "Tbl": {"Data": [{"Index": 0, "fValues": [-0.25], "dValues": [1.5, 100382.0]}]}})");
}

}  // namespace
