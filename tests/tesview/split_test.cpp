// --split-by: many files, all of them or none.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"
#include "tesview/terminal/split_files.h"

namespace {

namespace fs = std::filesystem;
using program::Result;
using viewer::Files;
using viewer::Framed;
using viewer::P;
using viewer::Reply;
using viewer::Slurp;
using viewer::SmallTable;
using viewer::Strings;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;

// All files below, by their paths, without the directory's own.
Strings FilesBelow(const std::string& directory) {
  Strings paths;
  for (const auto& entry : fs::recursive_directory_iterator(directory)) {
    if (!entry.is_directory()) paths.push_back(entry.path().string().substr(directory.size() + 1));
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

class Split : public Files {
 protected:
  std::string Pattern(const std::string& name) const { return directory_ + "/out/" + name; }
  std::string File(const std::string& name) const { return Slurp(directory_ + "/out/" + name); }
  Strings All() const { return FilesBelow(directory_ + "/out"); }
};

TEST_F(Split, ByIdEachFileHasItsHeader) {
  const std::string stream =
      Framed(SmallTable()) + Framed(TwoKlines()) + Framed(SmallTable()) + Framed(TwoKlines());
  for (const std::string jobs : {"1", "3"}) {
    fs::remove_all(directory_ + "/out");
    const Result result =
        ViewBytes(stream, {"--split-by", "id", "-j", jobs, "--bom", "-o", Pattern("{id}-{name}.csv")});
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(All(), (Strings{"21-QuoteKlineSingle.csv", "3-Tbl.csv"}));
    EXPECT_EQ(
        File("3-Tbl.csv"),
        "\xEF\xBB\xBF_reply,Name,Price\n1,平安银行,12.34\n1,\"\",0.5\n1,x,\n3,平安银行,12.34\n3,\"\",0.5\n3,x,\n");
  }
  ASSERT_EQ(ViewBytes(stream, {"--split-by", "id", "-o", Pattern("{id}.bin")}).code, 0);
  EXPECT_EQ(File("21.bin"), Framed(TwoKlines()) + Framed(TwoKlines()));
}

TEST_F(Split, ByInstrumentAndDayRowsGoApart) {
  const Result result = ViewBytes(
      TwoKlines(), {"--split-by", "obj,date", "--columns", "ShouPanJia", "-o", Pattern("{obj}/{date}.tsv")});
  EXPECT_EQ(result.code, 0) << result.err;
  // The instrument without bars tells no day.
  EXPECT_EQ(All(), (Strings{"SH600000/2024-06-17.tsv", "SH600000/2024-06-18.tsv", "SZ000001/undated.tsv"}));
  EXPECT_EQ(File("SH600000/2024-06-17.tsv"), "Data.ShouPanJia\n12.34\n");
  EXPECT_EQ(File("SH600000/2024-06-18.tsv"), "Data.ShouPanJia\n12.5\n");
  ASSERT_EQ(ViewBytes(TwoKlines(), {"--split-by", "obj", "-o", Pattern("{obj}.ndjson")}).code, 0);
  const std::string whole = ViewBytes(TwoKlines(), {"--to", "ndjson"}).out;
  EXPECT_EQ(File("SH600000.ndjson") + File("SZ000001.ndjson"), whole);
  // Those of a table without instruments are together.
  ASSERT_EQ(ViewBytes(SmallTable(), {"--split-by", "obj", "-o", Pattern("{obj}.csv")}).code, 0);
  EXPECT_EQ(File("(none).csv"), ViewBytes(SmallTable(), {"--to", "csv"}).out);
}

TEST_F(Split, KeysMayBeGivenInAnyOrderAndTwice) {
  ASSERT_EQ(ViewBytes(TwoKlines(), {"--split-by", "date,obj,date", "--columns", "ShouPanJia", "-o",
                                    Pattern("{obj}-{date}.csv")})
                .code,
            0);
  EXPECT_EQ(All(), (Strings{"SH600000-2024-06-17.csv", "SH600000-2024-06-18.csv", "SZ000001-undated.csv"}));
}

TEST_F(Split, RowsWithoutADayAreUndated) {
  // Nothing is told of the columns of a wire table; 12.34 and 0 are no times.
  const std::string bars = Reply("Id: 21 RepDataQuoteKlineSingle { Obj: 'A' Data { ShiJian: " + P(1234) +
                                 " } Data { ShiJian: 0 } Data { ShiJian: " + P(20240617, 10) + " } }");
  ASSERT_EQ(ViewBytes(SmallTable(), {"--split-by", "date", "-o", Pattern("wire-{date}.csv")}).code, 0);
  ASSERT_EQ(
      ViewBytes(bars, {"--split-by", "date", "--columns", "ShiJian", "-o", Pattern("bars-{date}.csv")}).code,
      0);
  EXPECT_EQ(All(), (Strings{"bars-2024-06-17.csv", "bars-undated.csv", "wire-undated.csv"}));
  EXPECT_EQ(File("bars-undated.csv"), "Data.ShiJian\n12.34\n0\n");
  EXPECT_EQ(File("wire-undated.csv"), "Name,Price\n平安银行,12.34\n\"\",0.5\nx,\n");
}

// A question of June 17th that was not answered, one that was on the 18th, and one of which only the update
// is known: 1718582400 is midnight of the first day, as the clock of UTC has it.
TEST_F(Split, TheDayIsThatOfTheFirstTimeThatIsThere) {
  const auto question = [](const std::string& asked, const std::string& answered,
                           const std::string& updated) {
    return " Data { Obj: 'A' GuPiaoMingCheng: 'a' WenTi: 'q' WenTiShiJian: " + asked +
           " HuiDa: 'r' HuiDaShiJian: " + answered +
           " BeiZhu: 'n' BaoLiaoZhuTi: 't' GengXinShiJian: " + updated + " }";
  };
  const std::string zero = P(0, 10);
  const std::string first = P(1718582400, 10);
  const std::string second = P(1718582400 + 86400, 10);
  const std::string reply =
      Reply("Id: 385 RepDataDongMiBaoLiaoXiaoXiFanHuiShuJu { ZhuTi: 'z' ShuJuZongGeShu: " + P(3, 10) +
            question(first, zero, zero) + question(zero, second, first) + question(zero, zero, first) + " }");
  const Result result =
      ViewBytes(reply, {"--split-by", "date", "--columns", "WenTi", "-o", Pattern("{date}.csv")});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(All(), (Strings{"2024-06-17.csv", "2024-06-18.csv"}));
}

TEST_F(Split, AnInstrumentIsATextThatIsNotEmpty) {
  // Two instruments, inside the row of another one. The second has no name of its own.
  const std::string inner = "Info { Name: 'Obj' Type: 115 } Data { Index: 0 sValues: 'B' sValues: '' }";
  const std::string nested = viewer::Wire(
      "Info { Name: 'Obj' Type: 115 } Info { Name: 'T' Type: 116 } Data { Index: 0 sValues: 'A' } Data { Index: 1 "
      "tValues { " +
      inner + " } }");
  ASSERT_EQ(ViewBytes(nested, {"--split-by", "obj", "-o", Pattern("{obj}.csv")}).code, 0);
  EXPECT_EQ(All(), (Strings{"A.csv", "B.csv"}));
  EXPECT_EQ(File("A.csv"), "Obj,T.Obj\nA,\"\"\n");
  EXPECT_EQ(File("B.csv"), "Obj,T.Obj\nA,B\n");
  // Numbers are none.
  const std::string numbers =
      viewer::Wire("Info { Name: 'Obj' Type: 105 } Data { Index: 0 iValues: " + P(1234) + " }");
  ASSERT_EQ(ViewBytes(numbers, {"--split-by", "obj", "-o", Pattern("n-{obj}.csv")}).code, 0);
  EXPECT_EQ(File("n-(none).csv"), "Obj\n12.34\n");
}

TEST_F(Split, ByIdInFormsOfWholeReplies) {
  // Id 9999 has no name: the number stands for it.
  const std::string stream = Framed(Reply("Id: 9999")) + Framed(Reply("Id: 22")) + Framed(Reply("Id: 9999"));
  ASSERT_EQ(ViewBytes(stream, {"--split-by", "id", "-o", Pattern("{name}.json")}).code, 0);
  EXPECT_EQ(All(), (Strings{"9999.json", "QuoteTickSingle.json"}));
  EXPECT_EQ(File("9999.json"), "{\"Id\": 9999}\n{\"Id\": 9999}\n");
}

TEST_F(Split, APatternWithoutADirectoryIsWhereItRuns) {
  program::How how;
  how.directory = directory_;
  how.input = SmallTable();
  ASSERT_EQ(View({"--split-by", "id", "-o", "{id}.csv"}, how).code, 0);
  EXPECT_EQ(FilesBelow(directory_), Strings{"3.csv"});
}

TEST_F(Split, NamesFromDataAreSafeAndStayApart) {
  const Strings hostile{"../../x", "..", ".", "a/b", "a%2Fb", "(none)", "\\033[31m", "\\302\\233"};
  std::string reply = "Id: 21";
  for (const std::string& obj : hostile)
    reply += " RepDataQuoteKlineSingle { Obj: '" + obj + "' }";
  const Result result =
      ViewBytes(Reply(reply), {"--split-by", "obj", "--columns", "Obj", "-o", Pattern("{obj}.csv")});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(All(), (Strings{"%1B[31m.csv", "%28none).csv", "%2E.%2F..%2Fx.csv", "%2E..csv", "%2E.csv",
                            "%C2%9B.csv", "a%252Fb.csv", "a%2Fb.csv"}));
  EXPECT_TRUE(FilesBelow(directory_).size() == hostile.size());
}

TEST_F(Split, LongNamesAreCutAndStayApart) {
  const std::string longer(300, 'x');
  const std::string reply =
      Reply("Id: 21 RepDataQuoteKlineSingle { Obj: '" + longer + "1' } RepDataQuoteKlineSingle { Obj: '" +
            longer + "2' } RepDataQuoteKlineSingle { Obj: '" + longer + "1' }");
  ASSERT_EQ(ViewBytes(reply, {"--split-by", "obj", "--columns", "Obj", "-o", Pattern("{obj}.csv")}).code, 0);
  const std::string begin(100, 'x');
  EXPECT_EQ(All(), (Strings{begin + "%~1.csv", begin + "%~2.csv"}));
  EXPECT_EQ(File(begin + "%~1.csv"), "Obj\n" + longer + "1\n" + longer + "1\n");
}

TEST_F(Split, AThousandFilesTakeFewDescriptors) {
  std::string reply = "Id: 21";
  for (int i = 0; i < 1000; ++i)
    reply += " RepDataQuoteKlineSingle { Obj: 'S" + std::to_string(i) + "' }";
  program::How how;
  how.input = Framed(Reply(reply)) + Framed(Reply(reply));
  const Result result =
      program::Run({"sh", "-c", "ulimit -n 32; \"$0\" --split-by obj --columns Obj -o \"$1\"",
                    viewer::Program(), Pattern("{obj}.csv.gz")},
                   how);
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(All().size(), 1000U);
  EXPECT_EQ(program::Run({"gzip", "-dc", Pattern("S711.csv.gz")}).out, "_reply,Obj\n1,S711\n2,S711\n");
}

TEST_F(Split, AllFilesOrNone) {
  Write("out/3.csv", "mine");
  const std::string stream = Framed(TwoKlines()) + Framed(SmallTable());
  for (const std::string jobs : {"1", "3"}) {
    const Result refused = ViewBytes(stream, {"--split-by", "id", "-j", jobs, "-o", Pattern("{id}.csv")});
    EXPECT_EQ(refused.code, 2) << jobs;
    EXPECT_EQ(refused.err,
              "tesview: " + directory_ +
                  "/out/3.csv is there already; --force replaces it (tesview --help tells more)\n");
    EXPECT_EQ(All(), Strings{"3.csv"});
    EXPECT_EQ(std::distance(fs::directory_iterator(directory_ + "/out"), fs::directory_iterator()), 1);
  }
  ASSERT_EQ(ViewBytes(stream, {"--force", "--split-by", "id", "-o", Pattern("{id}.csv")}).code, 0);
  EXPECT_EQ(All(), (Strings{"21.csv", "3.csv"}));
  EXPECT_EQ(File("3.csv").substr(0, 12), "_reply,Name,");
  // One that cannot get its name takes the others back.
  Write("other/21", "a file");
  const Result failed = ViewBytes(Framed(SmallTable()) + Framed(TwoKlines()),
                                  {"--split-by", "id", "-o", directory_ + "/other/{id}/x.csv"});
  EXPECT_EQ(failed.code, 3);
  EXPECT_EQ(FilesBelow(directory_ + "/other"), Strings{"21"});
}

TEST_F(Split, KeysAndNameGoTogether) {
  const auto error = [](const Strings& arguments) {
    const Result result = ViewBytes("", arguments);
    EXPECT_EQ(result.code, 2);
    return result.err.substr(0, result.err.find(" (tesview"));
  };
  EXPECT_EQ(error({"--split-by", "id", "-o", "{obj}.csv"}),
            "tesview: --split-by id and the name \"{obj}.csv\" do not go together: each key stands in the "
            "name, as {id} or {name}, {obj}, {date}, and no other");
  EXPECT_NE(error({"--split-by", "id", "-o", "a.csv"}), "");
  for (const Strings& wrong :
       {Strings{"id", "{id}-{date}"}, Strings{"id,date", "{id}"}, Strings{"id,obj", "{id}"},
        Strings{"date", "{id}-{date}"}, Strings{"obj", "{obj}-{name}"}}) {
    EXPECT_NE(error({"--split-by", wrong[0], "-o", wrong[1] + ".csv"}).find(" do not go together: "),
              std::string::npos)
        << wrong[0] << " " << wrong[1];
  }
  EXPECT_EQ(error({"--split-by", "Id", "-o", "{id}.csv"}),
            "tesview: unknown word \"Id\" for --split-by; known: id, obj, date");
  EXPECT_EQ(error({"--split-by", "obj", "-o", "{obj}.json"}),
            "tesview: --split-by obj and date tell rows apart; take csv, tsv or ndjson");
  EXPECT_EQ(error({"--split-by", "id", "-o", "{id}.arrow"}),
            "tesview: --split-by takes csv, tsv, ndjson, json or bin");
}

TEST_F(Split, OtherColumnsInOneFileAreSaid) {
  const std::string other = viewer::Wire("Info { Name: 'N' Type: 115 } Data { Index: 0 sValues: 'y' }");
  const Result result =
      ViewBytes(Framed(SmallTable()) + Framed(other), {"--split-by", "id", "-o", Pattern("{id}.csv")});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.err, "tesview: (standard input): reply 2 at offset " +
                            std::to_string(Framed(SmallTable()).size()) +
                            ": Id 3 (Tbl) has other columns than what came before it, and a file has one "
                            "header; choose columns that all have, or take ndjson\n");
  EXPECT_EQ(File("3.csv"), "_reply,Name,Price\n1,平安银行,12.34\n1,\"\",0.5\n1,x,\n");
}

// Of one reply, in files of their own.
TEST_F(Split, RowsInAFileWithOtherColumnsAreLeftOutAndTheRestIsThere) {
  const auto reply = [](const std::string& column, const std::string& objects) {
    return Framed(viewer::Wire("Info { Name: 'Obj' Type: 115 } Info { Name: '" + column +
                               "' Type: 115 } Data { Index: 0 " + objects +
                               " } Data { Index: 1 sValues: 'v' }"));
  };
  const std::string first = reply("P", "sValues: 'X'");
  const Result result = ViewBytes(first + reply("Q", "sValues: 'X' sValues: 'Y'"),
                                  {"--split-by", "obj", "-o", Pattern("{obj}.csv")});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.err.find("tesview: (standard input): reply 2 at offset " + std::to_string(first.size()) +
                            ": Id 3 (Tbl) has other columns than what came before it"),
            0U)
      << result.err;
  EXPECT_EQ(File("X.csv"), "_reply,Obj,P\n1,X,v\n");
  EXPECT_EQ(File("Y.csv"), "_reply,Obj,Q\n2,Y,\n");
}

TEST(SafeName, KeepsWhatIsHarmless) {
  EXPECT_EQ(tesview::SafeName("SH600000"), "SH600000");
  EXPECT_EQ(tesview::SafeName("平安 银行.x"), "平安 银行.x");
  EXPECT_EQ(tesview::SafeName("\xE2\x80\xAE"), "%E2%80%AE");
}

}  // namespace
