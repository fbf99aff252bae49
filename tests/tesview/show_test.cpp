// JSON and text form of a reply, and why a reply or its table cannot be shown.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::How;
using program::Result;
using viewer::LinesOf;
using viewer::Reply;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;

TEST(Table, AReplyWithoutATableIsShownAsJson) {
  const Result result = ViewBytes(Reply("Id: 22"), {});
  EXPECT_EQ(result.out, "Id 22 (QuoteTickSingle)  no table form, as JSON, 2 bytes\n{\n  \"Id\": 22\n}\n");
  EXPECT_EQ(result.code, 0);
}

TEST(NoTable, TheReasonIsFoundAndSaid) {
  const std::string in = "tesview: (standard input): ";
  EXPECT_EQ(ViewBytes(Reply("Id: 22"), {"--table"}).err,
            in + "Id 22 (QuoteTickSingle): no table form; try --to json\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 25"), {"--table"}).err,
            in + "Id 25 (ZhiBiaoShuChu): no table form; try --to json or --type ZhiBiao1\n");
  EXPECT_EQ(
      ViewBytes(Reply("Id: 20"), {"--table"}).err,
      in +
          "Id 20 (QuoteDynaSingle): nothing to show: field \"RepDataQuoteDynaSingle\" is empty; try --to json\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 99999"), {"--table"}).err, in + "Id 99999: no table form; try --to json\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' }"), {"--type", "Token"}).err,
            in + "Id 20 (QuoteDynaSingle) gives no table of type Token\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 44"), {"--type", "DaDan"}).err,
            in + "Id 44 (Token) gives no table of type DaDan; try --type Token\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 22"), {"--table"}).code, 1);
}

TEST(NoTable, JsonIsNoAnswerWhereSomethingOfATableWasAskedFor) {
  const std::string no_table =
      "tesview: (standard input): Id 22 (QuoteTickSingle): no table form; try --to json\n";
  for (const Strings& choice : {Strings{"--path", "0/Data"}, {"--columns", "Obj"}}) {
    for (const std::string to : {"table", "ndjson"}) {
      const Result result = ViewBytes(Reply("Id: 22"), {"--to", to, choice[0], choice[1]});
      EXPECT_EQ(result.err, no_table) << choice[0] << to;
      EXPECT_EQ(result.out, "");
      EXPECT_EQ(result.code, 1);
    }
  }
}

TEST(NoReply, IsSaidInEveryForm) {
  const std::string in = "tesview: (standard input): not a reply: ";
  const std::string cut("\x08\x14\xA2\x01\x02\x0A\x05");
  const std::string where =
      "the bytes end inside the field that begins at offset 5 in \"RepDataQuoteDynaSingle\" (7 bytes read)\n";
  for (const Strings& form :
       {Strings{"--decode"}, {"--to", "csv", "--decode"}, {"--to", "summary"}, {"--to", "ndjson"}}) {
    Strings arguments{"--from", "raw"};
    arguments.insert(arguments.end(), form.begin(), form.end());
    EXPECT_EQ(ViewBytes(cut, arguments).err, in + where) << form.back();
  }
  EXPECT_EQ(ViewBytes("\x12\x01\x41", {"--from", "raw", "--to", "summary"}).err,
            in + "required field \"Id\" is missing (3 bytes read)\n");
}

TEST(NoReply, WhatIsMissingOrWhereItBreaksIsSaid) {
  const std::string in = "tesview: (standard input): ";
  EXPECT_EQ(ViewBytes("", {"--from", "raw"}).err, in + "empty, 0 bytes\n");
  EXPECT_EQ(ViewBytes(Reply("Obj: 'AB'"), {"--from", "raw"}).err,
            in + "not a reply: required field \"Id\" is missing (4 bytes read)\n");
  EXPECT_EQ(ViewBytes(Reply("Id: 27 RepDataStkData { }"), {}).err,
            in + "not a reply: required field \"RepDataStkData[0].Obj\" is missing (5 bytes read)\n");
  // Two bytes of the Id, then an Obj that is cut.
  EXPECT_EQ(ViewBytes(Reply("Id: 20 Obj: 'AB'").substr(0, 5), {}).err,
            in + "not a reply: the bytes end inside the field that begins at offset 2 (5 bytes read)\n");
  // Id, then field 20 of two bytes, whose inner field 1 promises five.
  EXPECT_EQ(
      ViewBytes(std::string("\x08\x14\xA2\x01\x02\x0A\x05"), {}).err,
      in +
          "not a reply: the bytes end inside the field that begins at offset 5 in \"RepDataQuoteDynaSingle\" (7 bytes read)\n");
  EXPECT_EQ(ViewBytes("", {"--from", "raw"}).code, 1);
}

TEST(NoReply, JsonThatCannotBeIsSaid) {
  const Result result = ViewBytes(std::string("\x08\x14\x12\x01\xFF"), {"--json"});
  EXPECT_EQ(
      result.err,
      "tesview: (standard input): no JSON can hold it: text that is not valid UTF-8 in field \"Obj\"\n");
  EXPECT_EQ(result.code, 1);
}

TEST(Json, IsTheLibrarysOwnLine) {
  EXPECT_EQ(ViewBytes(Reply("Id: 22 Obj: '银'"), {"--json"}).out, "{\"Id\": 22, \"Obj\": \"银\"}\n");
}

TEST(Json, PrettyKeepsTheTextOfValues) {
  EXPECT_EQ(ViewBytes(Reply("Id: 44 Obj: 'a:{\\\"' RepDataToken { Result: -1 Token: '' }"), {"--pretty"}).out,
            "{\n"
            "  \"Id\": 44,\n"
            "  \"Obj\": \"a:{\\\"\",\n"
            "  \"RepDataToken\": [\n"
            "    {\n"
            "      \"Result\": -1,\n"
            "      \"Token\": \"\"\n"
            "    }\n"
            "  ]\n"
            "}\n");
}

TEST(Text, IsWhatPackReads) {
  const Result text = ViewBytes(TwoKlines(), {"--to", "text"});
  EXPECT_EQ(text.code, 0);
  How how;
  how.input = text.out;
  EXPECT_EQ(View({"pack", "-"}, how).out, TwoKlines());
}

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

// ---- layouts of a type ----

TEST(OnlyLayout, IsTakenWithoutBeingAskedFor) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"Id: 44 RepDataToken { Result: 7 Token: 't' Uid: 'u' Device: 'd' }", "Token"},
      {"Id: 296 RepDataPcFenLeiChiCangLieBiao { Obj: 'A' }", "FenLeiChiCang"},
      {"Id: 430 RepDataBxzjBasicStockInfoOutput { Obj: 'A' Data { ShiJian: 1 } }", "BxzjStock"}};
  for (const auto& [text, type] : cases) {
    const std::string reply = Reply(text);
    for (const std::string to : {"table", "ndjson", "csv"}) {
      const Result asked = ViewBytes(reply, {"--to", to, "--type", type});
      EXPECT_EQ(asked.code, 0) << type << asked.err;
      EXPECT_EQ(ViewBytes(reply, {"--to", to}).out, asked.out) << type;
    }
    EXPECT_EQ(ViewBytes(reply, {"--table"}).code, 0) << type;
    // "rows" is the fourth figure.
    const Strings lines = LinesOf(ViewBytes(reply, {"--to", "summary"}).out);
    ASSERT_EQ(lines.size(), 2U) << type;
    std::stringstream fields(lines[1]);
    std::string id, payload, bytes, rows;
    fields >> id >> payload >> bytes >> rows;
    EXPECT_EQ(rows, "1") << type;
  }
}

TEST(OnlyLayout, IsNoneWhereThereAreSeveralOrThatOfTheId) {
  // Sixteen indicators; a table of its own, with nothing in it.
  EXPECT_NE(ViewBytes(Reply("Id: 25"), {}).out.find("no table form (--type ZhiBiao1 gives one), as JSON"),
            std::string::npos);
  EXPECT_NE(ViewBytes(Reply("Id: 321"), {}).out.find("nothing to show"), std::string::npos);
}

TEST(OnlyLayout, MayHaveNothingToShow) {
  const Result result = ViewBytes(Reply("Id: 44"), {});
  EXPECT_EQ(result.out,
            "Id 44 (Token)  nothing to show as type Token, as JSON, 2 bytes\n{\n  \"Id\": 44\n}\n");
  EXPECT_EQ(
      ViewBytes(Reply("Id: 44"), {"--table"}).err,
      "tesview: (standard input): Id 44 (Token) gives no table of type Token; it has nothing to show\n");
}

}  // namespace
