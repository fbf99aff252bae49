// tesview where something seldom met happens: no room, no permission, no reader, broken lists, long replies.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/program.h"
#include "tests/support/replies.h"
#include "tests/support/viewer.h"

namespace {

namespace fs = std::filesystem;
using program::How;
using program::Result;
using test_replies::P;
using test_replies::Reply;
using viewer::Files;
using viewer::kSanitized;
using viewer::LinesOf;
using viewer::Strings;
using viewer::View;
using viewer::ViewBytes;

// A line of shell with the program in $0; the input is `bytes`.
Result Shell(const std::string& line, const std::string& bytes = std::string()) {
  How how;
  how.input = bytes;
  return program::Run({"sh", "-c", line, TESVIEW}, how);
}

// A reply of Id 3 that carries the given table in 0/T.
std::string Wire(const std::string& table) {
  return Reply("Id: 3 Tbl { Info { Name: 'T' Type: 116 } Data { Index: 0 tValues { " + table + " } } }");
}

// Two prices, 12.34 and 0.5.
std::string Prices() {
  return Wire("Info { Name: 'Price' Type: 105 } Data { Index: 0 iValues: " + P(1234) +
              " iValues: " + P(5, 1) + " }");
}

// ---- what is chosen ----

TEST(Choice, TablesWithoutAChosenColumnAreLeftOut) {
  const std::string reply = Reply(
      "Id: 21 RepDataQuoteKlineSingle { Obj: 'SH600000' Data { ShiJian: 1 ShouPanJia: 2 } }"
      "RepDataQuoteKlineSingle { Obj: 'SZ000001' }");
  const Result result = ViewBytes(reply, {"--columns", "Obj"});
  EXPECT_EQ(result.out.substr(result.out.find('\n') + 1), "#  Obj\n0  SH600000\n1  SZ000001\n");
  EXPECT_EQ(ViewBytes(reply, {"--columns", "Obj", "--to", "csv"}).out, "Obj\nSH600000\nSZ000001\n");
}

TEST(Choice, APathMayLeadToAnEmptyCell) {
  // Two rows by the first column; the second has no table.
  const std::string reply = Wire(
      "Info { Name: 'N' Type: 115 } Info { Name: 'Sub' Type: 116 } Data { Index: 0 sValues: 'a' sValues: 'b' }"
      "Data { Index: 1 tValues { Info { Name: 'X' Type: 115 } Data { Index: 0 sValues: 'deep' } } }");
  const Result full = ViewBytes(reply, {"--path", "0/Sub"});
  EXPECT_EQ(full.out.substr(full.out.find('\n') + 1), "#  X\n0  deep\n");
  const Result empty = ViewBytes(reply, {"--path", "1/Sub"});
  EXPECT_EQ(empty.err, "tesview: (standard input): path \"1/Sub\": the cell 1/Sub is empty\n");
  EXPECT_EQ(empty.code, 1);
  const Result beyond = ViewBytes(reply, {"--path", "0/Sub/1/X"});
  EXPECT_EQ(beyond.err,
            "tesview: (standard input): path \"0/Sub/1/X\": row 1 is not there; the table at 0/Sub has 1 "
            "rows\n");
  const Result none = ViewBytes(reply, {"--path", "0/Sub/0/X"});
  EXPECT_EQ(none.err,
            "tesview: (standard input): path \"0/Sub/0/X\": \"X\" is no column of tables; there are no "
            "tables in this one\n");
}

TEST(Choice, ATypeThatThereIsNotIsRefused) {
  EXPECT_EQ(
      ViewBytes(Reply("Id: 22"), {"--type", "77"}).err,
      "tesview: unknown type \"77\" for --type; known: DaDan, FenLeiChiCang, BxzjStock, BxzjBlock, Token, "
      "ZhiBiao1 to ZhiBiao16 and their numbers (tesview --help tells more)\n");
}

// ---- where several files are shown ----

TEST_F(Files, OfSeveralFilesEachLineTellsWhichOne) {
  const std::string a = Write("a.bin", Prices());
  const std::string b = Write("b, c.bin", Prices());
  const Result csv = View({"--to", "csv", a, b});
  EXPECT_EQ(csv.out, "_file,Price\n" + a + ",12.34\n" + a + ",0.5\n\"" + b + "\",12.34\n\"" + b + "\",0.5\n");

  const Strings lines = LinesOf(View({"--to", "summary", a, b}).out);
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0].substr(0, 31), "file" + std::string(22, ' ') + "   Id");
  EXPECT_EQ(lines[1].substr(0, a.size() + 7),
            a + std::string(a.size() < 24 ? 24 - a.size() : 0, ' ') + "      3");
  EXPECT_EQ(lines[2].substr(0, b.size()), b);
  EXPECT_EQ(lines[3], "2 replies, " + std::to_string(2 * Prices().size()) + " bytes");
}

// ---- one row that is too wide ----

TEST(Table, ARowOnItsSideIsAsWideAsItsTextIsSeen) {
  const std::string reply = Wire(
      "Info { Name: 'LongNameOfAColumn' Type: 115 } Info { Name: 'OtherColumn' Type: 115 }"
      "Data { Index: 0 sValues: 'abcdefg    ' } Data { Index: 1 sValues: 'x' }");
  const Result result = ViewBytes(reply, {"--style", "box", "--width", "31"});
  const Strings lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 7U);
  EXPECT_EQ(lines[4], "│ LongNameOfAColumn │ abcdefg │");
  EXPECT_EQ(lines[5], "│ OtherColumn       │ x       │");
  // One column less, and the name is what gives way.
  const Strings narrow = LinesOf(ViewBytes(reply, {"--style", "box", "--width", "30"}).out);
  ASSERT_EQ(narrow.size(), 7U);
  EXPECT_EQ(narrow[4], "│ LongNameOfAColu… │ abcdefg │");
}

// ---- definitions ----

TEST(Schema, IsFoundByAnyNameOfAnId) {
  const std::string expected = View({"schema", "StkData"}).out;
  EXPECT_NE(expected.find("message StkData {"), std::string::npos) << expected;
  for (const std::string name : {"27", "stkdata", "IDStkData", "RepDataStkData", "repdatastkdata"})
    EXPECT_EQ(View({"schema", name}).out, expected) << name;
}

TEST(Schema, AllComesWithEnumerationsAndEnclosingMessages) {
  const std::string keyboard = View({"schema", "--all", "JianPanBaoShuChu"}).out;
  for (const std::string part : {"message JianPanBaoShuChu {", "message JPBShuChu {", "message JPBShuJu {",
                                 "enum JPBLeiXing {", "  TYPE_ISSUESQL = 10;"}) {
    const size_t at = keyboard.find(part);
    ASSERT_NE(at, std::string::npos) << part << " in\n" << keyboard;
    EXPECT_EQ(keyboard.find(part, at + 1), std::string::npos) << part;
  }
  EXPECT_EQ(View({"schema", "JianPanBaoShuChu"}).out.find("enum"), std::string::npos);
  // Its only field is of a message inside another.
  const std::string drawing = View({"schema", "--all", "ZhiBiaoHuiTuShuChu"}).out;
  EXPECT_NE(drawing.find("\nmessage ZhiBiaoShuChu {"), std::string::npos) << drawing;
  // A message inside it has a field of an enumeration inside another one.
  const std::string indicator = View({"schema", "--all", "ZhiBiao"}).out;
  EXPECT_EQ(indicator.find("// tessel.zhibiao.proto\nmessage ZhiBiao {"), 0U) << indicator;
  EXPECT_NE(indicator.find("\nmessage ZhiBiaoShuChu {"), std::string::npos) << indicator;
}

// ---- damaged lists ----

TEST(NoReply, AListThatEndsInsideANumberIsSaid) {
  // Tbl { Data { Index: 0 and a list of seven bytes } }: the list's bytes begin at offset 10.
  const auto damaged = [](char tag, const std::string& seven) {
    return std::string("\x08\x03\x1A\x0D\x1A\x0B\x08\x00", 8) + tag + '\x07' + seven;
  };
  const auto says = [](const std::string& bytes) { return ViewBytes(bytes, {"--from", "raw"}).err; };
  const std::string zeroes(7, '\0');
  const std::string start = "tesview: (standard input): not a reply: the list in \"Tbl.Data.";
  const std::string end = "\", at offset 10, ends inside a number (17 bytes read)\n";
  EXPECT_EQ(says(damaged('\x22', zeroes)), start + "dValues" + end);
  EXPECT_EQ(says(damaged('\x1A', zeroes)), start + "fValues" + end);
  EXPECT_EQ(says(damaged('\x12', std::string(7, '\x80'))), start + "iValues" + end);

  // The same behind a list of one float and one of one double, which are whole: 10 + 4 and 2 + 8 bytes on.
  const std::string behind = std::string("\x08\x03\x1A\x18\x1A\x16\x08\x00\x1A\x04", 10) +
                             std::string(4, '\0') + "\x22\x08" + std::string(8, '\0') + "\x12\x02\x80\x80";
  EXPECT_EQ(says(behind), start + "iValues\", at offset 26, ends inside a number (28 bytes read)\n");
}

TEST(NoReply, OfSeveralMissingFieldsTheFirstIsNamed) {
  // Both elements lack their Obj.
  EXPECT_EQ(
      ViewBytes(Reply("Id: 27 RepDataStkData { } RepDataStkData { }"), {"--from", "raw"}).err,
      "tesview: (standard input): not a reply: required field \"RepDataStkData[0].Obj\" is missing, and 1 "
      "more (8 bytes read)\n");
}

TEST(NoTable, ALayoutThatFitsMayHaveNothingToShow) {
  EXPECT_EQ(
      ViewBytes(Reply("Id: 44"), {"--type", "Token"}).err,
      "tesview: (standard input): Id 44 (Token) gives no table of type Token; it has nothing to show\n");
}

// ---- number ----

TEST(Number, HasSixtyFourBits) {
  const auto says = [](const Strings& values) {
    Strings arguments{"number"};
    arguments.insert(arguments.end(), values.begin(), values.end());
    const Result result = View(arguments);
    return result.out + result.err;
  };
  // 1234 by scale code 0 are hundredths; sign nibble 1.
  EXPECT_EQ(says({"1234", "0x4D2", "0X4d2", "0x1004D2"}), "12.34\n12.34\n12.34\n-12.34\n");
  EXPECT_EQ(says({"9223372036854775807"}), says({"0x7FFFFFFFFFFFFFFF"}));
  // Bit 63: no number.
  EXPECT_EQ(says({"-9223372036854775808", "0xFFFFFFFFFFFFFFFF"}), "none\nnone\n");
  for (const std::string wrong :
       {"9223372036854775808", "-9223372036854775809", "0x10000000000000000", "0x", "12a", "0xg", ""}) {
    EXPECT_EQ(says({wrong}), "tesview: \"" + wrong +
                                 "\" is no 64-bit number, as 1234 and 0x4D2 are; --pack takes 12.34 "
                                 "(tesview --help tells more)\n");
  }
}

TEST(Number, IsPackedWithinFiftyFiveBitsAndNinePlaces) {
  // -1.5: mantissa 15, scale code 1, sign 1. 2^55 - 1 is all of the mantissa: bits 24 to 62 and 0 to 15.
  const Result good = View({"number", "--pack", "-1.5", "36028797018963967", "0.000000001"});
  EXPECT_EQ(good.out, std::to_string(0x110000 | 15) + "\n" +
                          std::to_string(int64_t{0x7FFFFFFFFF} << 24 | 0xA0000 | 0xFFFF) + "\n" +
                          std::to_string(0x90000 | 1) + "\n");
  for (const std::string wrong :
       {"36028797018963968", "99999999999999999999", "0.0000000001", "1,5", "1.5x", ""}) {
    const Result result = View({"number", "--pack", wrong});
    EXPECT_EQ(result.err.find("tesview: \"" + wrong + "\" cannot be packed: it takes digits"), 0U)
        << result.err;
    EXPECT_EQ(result.code, 2) << wrong;
  }
}

// ---- names that are not there ----

TEST(Names, ThatAreNotThereAreSaid) {
  EXPECT_EQ(View({"ids", "qqqq"}).err, "tesview: no Id is called \"qqqq\"; tesview ids lists them all\n");
  const Result tables = View({"ids", "--table", "QuoteTickSingle"});
  EXPECT_EQ(tables.err.find("tesview: no Id with a table is called \"QuoteTickSingle\""), 0U) << tables.err;
  EXPECT_EQ(tables.code, 1);
  // By the name of the field as well.
  EXPECT_EQ(LinesOf(View({"ids", "repdatastkdata"}).out).size(), 2U);

  const Result schemas = View({"schema", "JPBLeiXing", "qqqq", "InfoType"});
  EXPECT_EQ(schemas.err,
            "tesview: no message or enumeration is called \"qqqq\"; tesview ids lists the payloads\n");
  EXPECT_EQ(schemas.code, 1);
  EXPECT_NE(schemas.out.find("}\n\nenum InfoType {"), std::string::npos) << schemas.out;
}

// ---- pack ----

TEST_F(Files, PackWritesALongLengthInTwoBytes) {
  const std::string text = Write("long.txtpb", "Id: 4 JsonTbl: '" + std::string(200, 'j') + "'");
  const Result result = View({"pack", "--to", "delimited", text});
  // Id: 2 bytes; tag and length of 200, 3 bytes; 205 is 0xCD: low seven bits 0x4D, one more.
  EXPECT_EQ(result.out, std::string("\xCD\x01\x08\x04\x22\xC8\x01") + std::string(200, 'j'));
  EXPECT_EQ(result.code, 0);
}

TEST_F(Files, PackKeepsBytesFromATerminal) {
  const std::string text = Write("small.txtpb", "Id: 22");
  How how;
  how.terminal_out = true;
  const Result refused = View({"pack", text}, how);
  EXPECT_EQ(refused.err,
            "tesview: bytes do a terminal no good; take --to hex, -o FILE or a pipe (tesview --help tells "
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
}

// ---- wrong usage ----

TEST(WrongUsage, ChoicesFromATableAreRefusedWhereThereIsNone) {
  const std::string more = " (tesview --help tells more)\n";
  for (const Strings& choice :
       {Strings{"--path", "0/Data"}, {"--columns", "A"}, {"--head", "1"}, {"--tail", "1"}, {"--type", "1"}}) {
    for (const std::string to : {"json", "pretty", "text", "summary"}) {
      if (to == "summary" && choice[0] == "--type") continue;
      Strings arguments{"--to", to};
      arguments.insert(arguments.end(), choice.begin(), choice.end());
      const Result result = View(arguments);
      EXPECT_EQ(result.err,
                (to == "summary"
                     ? "tesview: a summary takes no --path, --columns, --head or --tail"
                     : "tesview: --type, --path, --columns, --head and --tail choose from a table; take "
                       "--to table, ndjson or csv") +
                    more)
          << to << choice[0];
      EXPECT_EQ(result.code, 2);
    }
  }
  EXPECT_EQ(View({"--columns", ","}).err, "tesview: --columns names no column" + more);
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

// ---- no room, no permission, nobody who reads ----

TEST(Output, AFullDiskIsSaidWhileRepliesAreShown) {
  for (const std::string jobs : {"1", "2"}) {
    const Result result = Shell("\"$0\" --jobs " + jobs + " >/dev/full; echo $?", Prices());
    EXPECT_EQ(result.err, "tesview: cannot write the output: No space left on device\n") << jobs;
    EXPECT_EQ(result.out, "3\n") << jobs;
  }
}

TEST(Output, AClosedPipeEndsACommandWithoutAWord) {
  // All definitions are more than a pipe holds.
  const Result result = Shell("{ \"$0\" schema --all MSG; echo $? >&2; } | head -c 7");
  EXPECT_EQ(result.out, "// MSG.");
  EXPECT_EQ(result.err, "0\n");
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

TEST(Memory, AReplyThatNeedsTooMuchIsSaidAndTheNextIsShown) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer takes addresses by the terabyte";
  // 400,000 elements of Id 403 without a field, three bytes each and more than a kilobyte in memory.
  std::string large("\x08\x93\x03");
  for (int i = 0; i < 400'000; ++i)
    large.append("\x9A\x19\x00", 3);
  // 1,200,003 as a varint: 0x124F83 in groups of seven bits is 49, 1F, 03.
  const std::string stream = "\x83\x9F\x49" + large + std::string("\x02\x08\x16");
  const Result result = Shell("ulimit -v 262144; \"$0\" --from delimited --to json", stream);
  EXPECT_EQ(result.err, "tesview: (standard input): reply 1 at offset 0: not enough memory to show it\n");
  EXPECT_EQ(result.out, "{\"Id\": 22}\n");
  EXPECT_EQ(result.code, 1);
}

}  // namespace
