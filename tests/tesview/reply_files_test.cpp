// Files, directories and standard input in every form of input, and those that cannot be read.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

namespace fs = std::filesystem;
using program::Result;
using viewer::Files;
using viewer::Framed;
using viewer::LinesOf;
using viewer::Prices;
using viewer::Reply;
using viewer::Shell;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;

TEST_F(Files, NamesOfFilesDoNotSteerTheTerminal) {
  const std::string good = Write("a\n\x1b[31m.bin", Reply("Id: 22"));
  const std::string shown = directory_ + "/a\\n\\x1b[31m.bin";
  EXPECT_EQ(View({good + "x"}).err, "tesview: " + shown + "x: cannot open it: No such file or directory\n");
  EXPECT_EQ(View({good, good}).out.find('\x1b'), std::string::npos);
  EXPECT_EQ(LinesOf(View({"--to", "summary", good, good}).out)[1].substr(0, shown.size()), shown);
}

TEST_F(Files, EveryFormOfInputGivesTheSameReply) {
  const std::string bytes = TwoKlines();
  const std::string expected = ViewBytes(bytes, {"--json"}).out;
  ASSERT_FALSE(expected.empty());
  std::string hex, spaced, dump;
  for (size_t i = 0; i < bytes.size(); ++i) {
    char pair[8];
    std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned char>(bytes[i]));
    hex += pair;
    spaced += std::string(pair) + (i % 16 == 15 ? "\n" : " ");
  }
  const std::string raw = Write("a.bin", bytes);
  const std::string base64 = program::Run({"base64", "-w0", raw}).out;
  for (const std::string& text :
       {hex, spaced, base64, program::Run({"base64", raw}).out, program::Run({"od", "-An", "-tx1", raw}).out,
        ViewBytes(bytes, {"--to", "text"}).out, "10:00 got " + hex + " end\n", bytes}) {
    EXPECT_EQ(ViewBytes(text, {"--json"}).out, expected) << text.substr(0, 60);
  }
  EXPECT_EQ(ViewBytes(hex, {"--json", "--from", "hex"}).out, expected);
  EXPECT_EQ(ViewBytes(base64, {"--json", "--from", "base64"}).out, expected);
  EXPECT_EQ(ViewBytes(Framed(bytes), {"--json", "--from", "delimited"}).out, expected);
  EXPECT_EQ(View({"--json", raw}).out, expected);
}

TEST_F(Files, ADirectoryIsItsFilesByNameWithoutHiddenOnes) {
  Write("d/b.bin", Reply("Id: 22"));
  Write("d/a/x.bin", Reply("Id: 23"));
  Write("d/.hidden", "nothing");
  EXPECT_EQ(View({"--json", directory_ + "/d"}).out, "{\"Id\": 23}\n{\"Id\": 22}\n");
  const Result named = View({"--to", "ndjson", directory_ + "/d"});
  EXPECT_EQ(LinesOf(named.out)[0].substr(0, 10), "{\"_file\":\"");
  fs::create_directory(directory_ + "/empty");
  const Result empty = View({directory_ + "/empty"});
  EXPECT_EQ(empty.err, "tesview: " + directory_ + "/empty: there are no files in it\n");
  EXPECT_EQ(empty.code, 3);
}

TEST_F(Files, OneBadFileDoesNotStopTheOthers) {
  const std::string good = Write("good.bin", Reply("Id: 22"));
  const std::string bad = Write("bad.bin", "\x08");
  const Result result = View({"--json", bad, directory_ + "/none.bin", good});
  EXPECT_EQ(result.out, "{\"Id\": 22}\n");
  EXPECT_EQ(result.err,
            "tesview: " + bad +
                ": not a reply: the bytes end inside the field that begins at offset 0 (1 byte read)\n"
                "tesview: " +
                directory_ + "/none.bin: cannot open it: No such file or directory\n");
  EXPECT_EQ(result.code, 3);
}

TEST_F(Files, ABadReplyInAStreamIsReportedAndSkipped) {
  const std::string good = Reply("Id: 22");
  const std::string stream = Framed(good) + Framed("\x08") + Framed(good);
  const Result result = ViewBytes(stream, {"--json"});
  EXPECT_EQ(result.out, "{\"Id\": 22}\n{\"Id\": 22}\n");
  EXPECT_EQ(
      result.err,
      "tesview: (standard input): reply 2 at offset 3: not a reply: the bytes end inside the field that begins at offset 0 (1 byte read)\n");
  EXPECT_EQ(result.code, 1);
  const Result strict = ViewBytes(stream, {"--json", "--strict"});
  EXPECT_EQ(strict.out, "{\"Id\": 22}\n");
  EXPECT_EQ(strict.code, 1);
  const Result many = ViewBytes(stream, {"--json", "--strict", "-j2"});
  EXPECT_EQ(many.out, strict.out);
  EXPECT_EQ(many.err, strict.err);
}

TEST_F(Files, OfSeveralFilesEachLineTellsWhichOne) {
  const std::string a = Write("a.bin", Prices());
  const std::string b = Write("b, c.bin", Prices());
  const Result csv = View({"--to", "csv", a, b});
  EXPECT_EQ(csv.out, "_file,_reply,Price\n" + a + ",1,12.34\n" + a + ",1,0.5\n\"" + b + "\",1,12.34\n\"" + b +
                         "\",1,0.5\n");

  const Strings lines = LinesOf(View({"--to", "summary", a, b}).out);
  ASSERT_EQ(lines.size(), 4U);
  // As wide as the longest name, and 24 columns at least.
  const size_t width = std::max<size_t>(b.size(), 24);
  EXPECT_EQ(lines[0].substr(0, width + 7), "file" + std::string(width - 4, ' ') + "     Id");
  EXPECT_EQ(lines[1].substr(0, width + 7), a + std::string(width - a.size(), ' ') + "      3");
  EXPECT_EQ(lines[2].substr(0, b.size()), b);
  EXPECT_EQ(lines[3], "2 replies, " + std::to_string(2 * Prices().size()) + " bytes");
}

TEST(Input, ADirectoryAsStandardInputCannotBeRead) {
  const Result result = Shell("\"$0\" </; echo $?");
  EXPECT_EQ(result.err, "tesview: (standard input): cannot read it: Is a directory\n");
  EXPECT_EQ(result.out, "3\n");
}

TEST_F(Files, ADirectoryThatCannotBeListedIsSaidAndTheRestIsShown) {
  Strings command;
  if (geteuid() == 0) {
    // What lets root read everything.
    command = {"setpriv", "--bounding-set", "-dac_override,-dac_read_search"};
    Strings probe = command;
    probe.emplace_back("true");
    if (program::Run(probe).code != 0) GTEST_SKIP() << "root reads every directory here";
  }
  Write("all/closed/a.bin", Prices());
  const std::string shown = Write("all/open/b.bin", Reply("Id: 22"));
  const std::string closed = directory_ + "/all/closed";
  ASSERT_EQ(chmod(closed.c_str(), 0), 0);
  command.insert(command.end(), {TESVIEW, "--to", "json", directory_ + "/all"});
  const Result result = program::Run(command);
  ASSERT_EQ(chmod(closed.c_str(), 0700), 0);
  EXPECT_EQ(result.err, "tesview: " + closed + ": cannot list it: Permission denied\n");
  EXPECT_EQ(result.out, "{\"Id\": 22}\n");
  EXPECT_EQ(result.code, 3);
}

TEST(Log, WhatLooksLikeAReplyAndIsNoneIsCounted) {
  const std::string log =
      "10:00 begin\n10:01 got 081412024142 end\n10:02 got 0814120241 end\n10:03 got 08141202414 end\n";
  for (const char* jobs : {"-j1", "-j2"}) {
    const Result result = ViewBytes(log, {"--json", jobs});
    EXPECT_EQ(result.out, "{\"Id\": 20, \"Obj\": \"AB\"}\n");
    EXPECT_EQ(result.err,
              "tesview: (standard input): 2 lines looked like replies and were not; first at line 3\n");
    EXPECT_EQ(result.code, 0);
    const Result strict = ViewBytes(log, {"--json", "--strict", jobs});
    EXPECT_EQ(strict.out, result.out);
    EXPECT_EQ(strict.err, result.err);
    EXPECT_EQ(strict.code, 1);
  }
  EXPECT_EQ(ViewBytes(log.substr(0, log.find("10:03")), {"--json"}).err,
            "tesview: (standard input): 1 line looked like a reply and was not; first at line 3\n");
  // It is no reply that cannot be shown.
  EXPECT_EQ(ViewBytes(log + log, {"--to", "summary"}).out.find("cannot be shown"), std::string::npos);
}

TEST_F(Files, OfEachFileTheLookalikesAreCounted) {
  const std::string bad = Write("a.log", "got 081412024142\ngot 0814120241\n");
  const std::string good = Write("b.log", "got 081412024142\n");
  const Result result = View({"--json", bad, good, bad});
  EXPECT_EQ(LinesOf(result.out).size(), 3u);
  const std::string said = "tesview: " + bad + ": 1 line looked like a reply and was not; first at line 2\n";
  EXPECT_EQ(result.err, said + said);
}

TEST(Log, NoReplyInALineIsLost) {
  // Id 20 and an Obj of five letters, in base64 behind '=' and behind '/', and twice in a line.
  const Result result = ViewBytes(
      "body=CBQSBUFCQ0RF\nGET reply/CBQSBUFCQ0RF\n0x7f CBQSBUFCQ0RF and 081412054142434445\n", {"--json"});
  EXPECT_EQ(LinesOf(result.out), Strings(4, "{\"Id\": 20, \"Obj\": \"ABCDE\"}"));
  EXPECT_EQ(result.err, "");
  const Result numbered =
      ViewBytes("got 081412024142\nnothing\ngot 081412024142 and 081412024142\n", {"--to", "ndjson"});
  ASSERT_EQ(LinesOf(numbered.out).size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_NE(LinesOf(numbered.out)[i].find("\"_reply\":" + std::to_string(i + 1) + ","), std::string::npos)
        << numbered.out;
  }
}

}  // namespace
