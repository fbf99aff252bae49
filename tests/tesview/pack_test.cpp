// tesview pack.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::How;
using program::Result;
using viewer::Files;
using viewer::Slurp;
using viewer::View;

TEST_F(Files, PackMakesBytesAndSaysWhereTextIsWrong) {
  const std::string good = Write("good.txtpb", "Id: 22\n");
  const std::string bad = Write("bad.txtpb", "Id: 22\nRepDataTken { }\n");
  const std::string partial = Write("partial.txtpb", "Obj: 'A'");
  EXPECT_EQ(View({"pack", good}).out, "\x08\x16");
  EXPECT_EQ(View({"pack", "--to", "hex", good, good}).out, "0816\n0816\n");
  EXPECT_EQ(View({"pack", "--to", "base64", good}).out, "CBY=\n");
  EXPECT_EQ(View({"pack", "--to", "delimited", good, good}).out, "\x02\x08\x16\x02\x08\x16");
  const Result wrong = View({"pack", bad});
  EXPECT_EQ(wrong.err.substr(0, wrong.err.find(": Message")), "tesview: " + bad + ": line 2, column 13");
  EXPECT_EQ(wrong.out, "");
  EXPECT_EQ(wrong.code, 1);
  EXPECT_EQ(View({"pack", partial}).err, "tesview: " + partial + ": required field \"Id\" is missing\n");
  EXPECT_EQ(View({"pack", "--partial", partial}).out,
            "\x12\x01"
            "A");
  EXPECT_EQ(View({"pack", directory_ + "/none"}).code, 3);
  EXPECT_EQ(View({"pack", "-o", directory_ + "/out.bin", good}).out, "");
  EXPECT_EQ(Slurp(directory_ + "/out.bin"), "\x08\x16");
}

TEST_F(Files, PackWritesALongLengthInTwoBytes) {
  const std::string text = Write("long.txtpb", "Id: 4 JsonTbl: '" + std::string(200, 'j') + "'");
  const Result result = View({"pack", "--to", "delimited", text});
  // Id: 2 bytes; tag and length of 200, 3 bytes; 205 is 0xCD: low seven bits 0x4D, one more.
  EXPECT_EQ(result.out, std::string("\xCD\x01\x08\x04\x22\xC8\x01") + std::string(200, 'j'));
  EXPECT_EQ(result.code, 0);
}

TEST_F(Files, PackWritesALengthInFourBytes) {
  // 0x01020304 is 16,909,060: the Id takes two bytes, and a tag and the length of the text five.
  const std::string longest =
      Write("longest.txtpb", "Id: 4 JsonTbl: '" + std::string(16'909'060 - 7, 'j') + "'");
  const std::string highest = View({"pack", "--to", "fixed32be", longest}).out;
  EXPECT_EQ(highest.size(), 16'909'064U);
  EXPECT_EQ(highest.substr(0, 8), "\x01\x02\x03\x04\x08\x04\x22\xFD");
  const std::string lowest = View({"pack", "--to", "fixed32le", longest}).out;
  EXPECT_EQ(lowest.size(), 16'909'064U);
  EXPECT_EQ(lowest.substr(0, 8), "\x04\x03\x02\x01\x08\x04\x22\xFD");
}

TEST_F(Files, PackKeepsBytesFromATerminal) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  const std::string text = Write("small.txtpb", "Id: 22");
  How how;
  how.terminal_out = true;
  const Result refused = View({"pack", text}, how);
  EXPECT_EQ(refused.err,
            "tesview: a terminal cannot show bytes; take --to hex, -o FILE or a pipe (tesview --help tells "
            "more)\n");
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(refused.code, 2);
  EXPECT_EQ(View({"pack", "--to", "hex", text}, how).out, "0816\r\n");
}

TEST_F(Files, PackSaysWhatItCannotReadOrWrite) {
  const std::string text = Write("small.txtpb", "Id: 22");
  const Result nowhere = View({"pack", "-o", directory_ + "/none/out.bin", text});
  EXPECT_EQ(nowhere.err,
            "tesview: " + directory_ + "/none/out.bin: cannot write it: No such file or directory\n");
  EXPECT_EQ(nowhere.code, 3);
  const Result nothing = View({"pack", directory_ + "/none.txtpb"});
  EXPECT_EQ(nothing.err,
            "tesview: " + directory_ + "/none.txtpb: cannot open it: No such file or directory\n");
  EXPECT_EQ(nothing.code, 3);
  const std::string wrong = Write("wrong.txtpb", "Id: x");
  const Result bad = View({"pack", wrong});
  EXPECT_EQ(bad.err.find("tesview: " + wrong + ": line 1, column 5: "), 0U) << bad.err;
  EXPECT_EQ(bad.out, "");
  EXPECT_EQ(bad.code, 1);
  How how;
  how.input = "Id: x";
  const Result input = View({"pack", "-"}, how);
  EXPECT_EQ(input.err.find("tesview: (standard input): line 1, column 5: "), 0U) << input.err;
  EXPECT_EQ(input.code, 1);
}

}  // namespace
