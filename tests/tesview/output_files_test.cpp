// --output: forms and compression by the name, and a file that is there when it is whole.
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

namespace fs = std::filesystem;
using program::Result;
using viewer::Files;
using viewer::Framed;
using viewer::InTerminal;
using viewer::Prices;
using viewer::Reply;
using viewer::Shell;
using viewer::Slurp;
using viewer::SmallTable;
using viewer::StreamOf;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;

class OutputFiles : public Files {
 protected:
  std::string Path(const std::string& name) const { return directory_ + "/" + name; }
};

TEST_F(OutputFiles, TheEndingOfTheNameTellsTheForm) {
  const std::vector<std::pair<std::string, std::string>> forms{
      {"a.csv", "csv"},    {"a.tsv", "tsv"},     {"a.ndjson", "ndjson"}, {"a.jsonl", "ndjson"},
      {"a.json", "json"},  {"a.arrow", "arrow"}, {"a.arrows", "arrow"},  {"a.txt", "table"},
      {"a.txtpb", "text"}, {"a.bin", "bin"}};
  for (const auto& [name, form] : forms) {
    const Result result = ViewBytes(TwoKlines(), {"-o", Path(name)});
    EXPECT_EQ(result.code, 0) << name << result.err;
    EXPECT_EQ(result.out + result.err, "") << name;
    const std::string expected = ViewBytes(TwoKlines(), {"--to", form}).out;
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(Slurp(Path(name)), expected) << name;
  }
  EXPECT_EQ(ViewBytes(Prices(), {"-o", Path("b.txt"), "--to", "csv"}).code, 0);
  EXPECT_EQ(Slurp(Path("b.txt")), "Price\n12.34\n0.5\n");
  const Result unknown = ViewBytes(Prices(), {"-o", Path("b.xls")});
  EXPECT_EQ(unknown.code, 2);
  EXPECT_EQ(unknown.err,
            "tesview: the ending of \"" + Path("b.xls") +
                "\" tells no form; take --to with it, or one of .csv, .tsv, .ndjson, .jsonl, "
                ".arrow, .arrows, .json, .html, .txt, .txtpb, .bin (tesview --help tells more)\n");
  EXPECT_FALSE(fs::exists(Path("b.xls")));
}

TEST_F(OutputFiles, AFormThatIsAskedForIsTakenWhateverTheName) {
  const std::string reply = Reply("Id: 22");
  ASSERT_EQ(ViewBytes(reply, {"--json", "-o", Path("a")}).code, 0);
  EXPECT_EQ(Slurp(Path("a")), "{\"Id\": 22}\n");
  ASSERT_EQ(ViewBytes(reply, {"--pretty", "-o", Path("b.csv")}).code, 0);
  EXPECT_EQ(Slurp(Path("b.csv")), "{\n  \"Id\": 22\n}\n");
  ASSERT_EQ(ViewBytes(Prices(), {"--table", "-o", Path("c.json")}).code, 0);
  const std::string table = Slurp(Path("c.json"));
  EXPECT_EQ(table.substr(table.find('\n') + 1), "#  Price\n0  12.34\n1   0.5\n");
}

TEST_F(OutputFiles, BinIsTheRepliesThemselves) {
  // A log becomes a stream; a reply that is damaged inside stays what it is.
  const std::string stream = Framed(Reply("Id: 22")) + Framed("\x08\x15\xff") + Framed(TwoKlines());
  ASSERT_EQ(ViewBytes(stream, {"--from", "delimited", "-o", Path("a.bin")}).code, 0);
  EXPECT_EQ(Slurp(Path("a.bin")), stream);
  // 300 bytes have a length of two bytes: 0xAC 0x02.
  const std::string long_one = Reply("Id: 22 Obj: '" + std::string(295, 'x') + "'");
  ASSERT_EQ(long_one.size(), 300U);
  EXPECT_EQ(ViewBytes(long_one, {"--to", "bin"}).out, "\xAC\x02" + long_one);
}

TEST_F(OutputFiles, CompressedByTheNameAndReadByTheUsualPrograms) {
  const std::string plain = ViewBytes(StreamOf(TwoKlines(), 400), {"--to", "csv"}).out;
  const std::vector<std::pair<std::string, std::string>> programs{
      {".gz", "gzip"}, {".bz2", "bzip2"}, {".xz", "xz"}, {".zst", "zstd"}, {".lz4", "lz4"}};
  int unpacked = 0;
  for (const auto& [ending, name] : programs) {
    const std::string path = Path("a.csv" + ending);
    const Result result = ViewBytes(StreamOf(TwoKlines(), 400), {"-o", path});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_LT(fs::file_size(path), plain.size() / 4) << ending;
    if (program::Run({"sh", "-c", "command -v " + name}).code != 0) continue;
    EXPECT_EQ(program::Run({name, "-dc", path}).out, plain) << ending;
    ++unpacked;
  }
  EXPECT_GE(unpacked, 1);
}

// Nobody runs them, and others may do with them what the user lets them.
TEST_F(OutputFiles, HaveTheModeThatTheUserGivesNewFiles) {
  const std::string in = Write("in.bin", TwoKlines());
  const std::string text = Write("in.txtpb", "Id: 22");
  const std::vector<std::pair<std::string, fs::perms>> masks{
      {"0", fs::perms::all}, {"027", fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec}};
  for (const auto& [mask, folder_mode] : masks) {
    const std::string to = Path(mask);
    const auto result =
        Shell("umask " + mask + " && mkdir '" + to + "' && cd '" + to + "' && \"$0\" -o a.csv '" + in +
              "' && \"$0\" -o a.csv.gz '" + in + "' && \"$0\" --split-by obj -o 'new/{obj}/x.csv' '" + in +
              "' && \"$0\" --split-by obj -o 'new/{obj}/x.csv.gz' '" + in + "' && \"$0\" pack -o a.bin '" +
              text + "'");
    ASSERT_EQ(result.code, 0) << result.err;
    const fs::perms file_mode =
        folder_mode & ~(fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec);
    int files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(to)) {
      EXPECT_EQ(entry.status().permissions(), entry.is_directory() ? folder_mode : file_mode) << entry.path();
      files += entry.is_directory() ? 0 : 1;
    }
    // Three, and two of each instrument.
    EXPECT_EQ(files, 7);
  }
}

// A summary tells times, which differ.
TEST_F(OutputFiles, EveryOtherFormIsWholeInACompressedFile) {
  if (program::Run({"sh", "-c", "command -v gzip"}).code != 0) GTEST_SKIP() << "there is no gzip";
  for (const char* form : {"table", "json", "pretty", "ndjson", "csv", "tsv", "arrow", "text", "bin"}) {
    const std::string path = Path(std::string(form) + ".gz");
    const Result result = ViewBytes(StreamOf(TwoKlines(), 3), {"--to", form, "-o", path});
    EXPECT_EQ(result.code, 0) << form << result.err;
    const std::string expected = ViewBytes(StreamOf(TwoKlines(), 3), {"--to", form}).out;
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(program::Run({"gzip", "-dc", path}).out, expected) << form;
  }
}

// The descriptor of a file is that of standard input then.
TEST_F(OutputFiles, NeedNoStandardInput) {
  Write("in.bin", Prices());
  const auto view = [&](const std::string& arguments) {
    return viewer::Shell("cd '" + directory_ + "' && exec \"$0\" in.bin " + arguments + " <&-");
  };
  const std::string expected = "Price\n12.34\n0.5\n";
  for (const std::string name : {"a.csv", "b.csv.gz"}) {
    const Result result = view("-o " + name);
    EXPECT_EQ(result.code, 0) << result.err;
  }
  EXPECT_EQ(Slurp(Path("a.csv")), expected);
  const Result split = view("--split-by id -o '{id}.csv'");
  EXPECT_EQ(split.code, 0) << split.err;
  EXPECT_EQ(Slurp(Path("3.csv")), expected);
  const Result packed = view("--split-by id -o '{id}.csv.gz'");
  EXPECT_EQ(packed.code, 0) << packed.err;
  EXPECT_EQ(Slurp(Path("3.csv.gz")), Slurp(Path("b.csv.gz")));
  // The input and these.
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_), fs::directory_iterator()), 5);
}

TEST_F(OutputFiles, NothingIsReplacedUnlessForced) {
  const std::string path = Write("a.csv", "mine");
  const Result refused = ViewBytes(Prices(), {"-o", path});
  EXPECT_EQ(refused.code, 2);
  EXPECT_EQ(refused.err,
            "tesview: " + path + " is there already; --force replaces it (tesview --help tells more)\n");
  EXPECT_EQ(Slurp(path), "mine");
  EXPECT_EQ(ViewBytes(Prices(), {"--force", "-o", path}).code, 0);
  EXPECT_EQ(Slurp(path), "Price\n12.34\n0.5\n");
  fs::create_directory(Path("d.csv"));
  EXPECT_EQ(ViewBytes(Prices(), {"--force", "-o", Path("d.csv")}).code, 2);
}

TEST_F(OutputFiles, AFileOfWhatCouldBeShownIsWhole) {
  const std::string stream = Framed(Prices()) + Framed("\x08\x15\xff") + Framed(Prices());
  const Result result = ViewBytes(stream, {"--from", "delimited", "-o", Path("a.csv")});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(Slurp(Path("a.csv")), "_reply,Price\n1,12.34\n1,0.5\n3,12.34\n3,0.5\n");
}

TEST_F(OutputFiles, AFullDiskLeavesNothing) {
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "there is no /dev/full";
  // A file may have 4 blocks of 512 bytes or of 1024; the stream is larger.
  const std::string path = Path("a.json");
  program::How how;
  how.input = StreamOf(TwoKlines(), 2000);
  const Result result =
      program::Run({"sh", "-c", "trap '' XFSZ; ulimit -f 4; \"$0\" -o \"$1\"", viewer::Program(), path}, how);
  EXPECT_EQ(result.code, 3);
  // What counts the coverage cannot write either, and says so.
  EXPECT_NE(result.err.find("tesview: cannot write the output: File too large\n"), std::string::npos)
      << result.err;
  EXPECT_TRUE(fs::is_empty(directory_));
}

TEST_F(OutputFiles, AFileIsNotWrittenAsATerminalWould) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  program::How how = InTerminal(40);
  const std::string in = Write("in.bin", TwoKlines());
  ASSERT_EQ(View({in, "-o", Path("a.txt")}, how).code, 0);
  // Not cut to the terminal's width, and without boxes.
  EXPECT_EQ(Slurp(Path("a.txt")), View({in}).out);
}

// A name of any ending, where the form is told.
TEST_F(OutputFiles, TheFormMayBeToldByItsOption) {
  for (const char* form : {"--table", "--json", "--pretty"}) {
    const std::string path = Path(std::string("a") + form + ".xls");
    const Result result = ViewBytes(Prices(), {form, "-o", path});
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(Slurp(path), ViewBytes(Prices(), {form}).out);
  }
}

TEST(Tsv, SeparatesByTabsAndEscapes) {
  const std::string reply = viewer::Wire(
      "Info { Name: 'A\\tB' Type: 115 } Info { Name: 'P' Type: 105 }"
      "Data { Index: 0 sValues: 'a\\tb\\nc\\\\d\\r' sValues: 'x,\"y\"' sValues: '' }"
      "Data { Index: 1 iValues: " +
      viewer::P(1234) + " }");
  EXPECT_EQ(ViewBytes(reply, {"--to", "tsv"}).out, "A\\tB\tP\na\\tb\\nc\\\\d\\r\t12.34\nx,\"y\"\t\n\t\n");
}

TEST_F(OutputFiles, AByteOrderMarkIsThereOnce) {
  const std::string mark = "\xEF\xBB\xBF";
  EXPECT_EQ(ViewBytes(StreamOf(Prices(), 2), {"--to", "csv", "--bom"}).out,
            mark + "_reply,Price\n1,12.34\n1,0.5\n2,12.34\n2,0.5\n");
  EXPECT_EQ(ViewBytes(SmallTable(), {"--to", "tsv", "--bom"}).out.substr(0, 8), mark + "Name\t");
  const Result refused = ViewBytes(Prices(), {"--to", "ndjson", "--bom"});
  EXPECT_EQ(refused.code, 2);
  EXPECT_EQ(refused.err, "tesview: --bom takes --to csv or tsv (tesview --help tells more)\n");
}

TEST_F(OutputFiles, NoTextOfCsvSafeIsAFormula) {
  const std::string reply = viewer::Wire(
      "Info { Name: '=N' Type: 115 } Info { Name: 'P' Type: 105 }"
      "Data { Index: 0 sValues: '=1+1' sValues: '+1' sValues: '-1' sValues: '@A' sValues: '\\tx' sValues: '\\rx'"
      " sValues: 'a=1' sValues: '' }"
      "Data { Index: 1 iValues: " +
      viewer::P(1234, 0, 1) + " }");
  EXPECT_EQ(ViewBytes(reply, {"--to", "csv", "--csv-safe"}).out,
            "'=N,P\n'=1+1,-12.34\n'+1,\n'-1,\n'@A,\n'\tx,\n\"'\rx\",\na=1,\n\"\",\n");
  EXPECT_EQ(ViewBytes(reply, {"--to", "csv"}).out.substr(0, 17), "=N,P\n=1+1,-12.34\n");
  EXPECT_EQ(ViewBytes(reply, {"--to", "json", "--csv-safe"}).code, 2);
}

TEST_F(OutputFiles, AFileNameThatIsNoUtf8IsReplacedInCsv) {
  const std::string path = Write("a\xFF.bin", Prices());
  EXPECT_EQ(View({"--to", "csv", "--columns", "Price", path, path})
                .out.substr(0, 60 + directory_.size())
                .find(directory_ + "/a\xEF\xBF\xBD.bin,1,12.34"),
            std::string("_file,_reply,Price\n").size());
}

}  // namespace
