// The parts of a report by themselves: what is embedded, what a report takes, the file that it goes to.
#include "tesview/report/report.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "replies/columns.h"
#include "replies/encodings.h"
#include "tests/support/processor_time.h"
#include "tests/support/replies.h"
#include "tests/support/viewer.h"
#include "tesview/report/embedded.h"
#include "tesview/show/show.h"
#include "tesview/show/where.h"
#include "tesview/terminal/open_file.h"
#include "tesview/terminal/output_file.h"

namespace {

namespace fs = std::filesystem;
using test_replies::Reply;
using tesview::AppendEmbeddedString;
using tesview::EmbeddedBlock;
using tesview::FileIsThere;
using tesview::Item;
using tesview::Output;
using tesview::OutputError;
using tesview::OutputFile;
using tesview::Report;
using tesview::ReportFull;
using tesview::ReportLimits;
using tesview::ReportPart;

std::string Embedded(std::string_view text) {
  std::string json;
  AppendEmbeddedString(&json, text);
  return json;
}

TEST(Embedded, NothingInATextCanEndTheElement) {
  EXPECT_EQ(Embedded("</script><!--&"), "\"\\u003c/script\\u003e\\u003c!--\\u0026\"");
  EXPECT_EQ(Embedded("a\"b\\c\n"), "\"a\\\"b\\\\c\\n\"");
  EXPECT_EQ(Embedded(std::string_view("\0", 1)), "\"\\u0000\"");
  EXPECT_EQ(Embedded("银行"), "\"银行\"");
}

TEST(Embedded, BytesAreBase64) {
  EXPECT_EQ(EmbeddedBlock(3, "</script>"),
            "<script type=\"application/octet-stream\" id=\"d3\">PC9zY3JpcHQ+</script>\n");
}

std::string Slurped(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream all;
  all << in.rdbuf();
  return all.str();
}

class Reports : public viewer::Files {
 protected:
  void SetUp() override {
    viewer::Files::SetUp();
    path_ = directory_ + "/report";
    fd_ = open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(fd_, 0);
  }
  void TearDown() override {
    close(fd_);
    viewer::Files::TearDown();
  }

  static Item Numbered(uint64_t number) {
    Item item;
    item.source = "a.stream";
    item.number_reply = true;
    item.reply.number = number;
    item.reply.bytes = "12345";
    return item;
  }

  static ReportPart TreeOf(size_t bytes) {
    ReportPart part;
    part.id = 22;
    part.tree = std::string(bytes, 'x');
    return part;
  }

  // A report of so many tables of an Id.
  std::string TextOfTables(int32_t id, uint64_t count) {
    Output output(fd_);
    Report report(&output, {10, 1000});
    ReportPart part;
    part.id = id;
    part.table = "bytes";
    for (uint64_t number = 1; number <= count; ++number)
      report.Add(Numbered(number), part);
    report.End();
    output.Flush();
    return Slurped(path_);
  }

  std::string path_;
  int fd_ = -1;
};

TEST_F(Reports, WhatDoesNotFitIsListedWithoutItsData) {
  Output output(fd_);
  // 30 bytes are 40 characters of base64.
  Report report(&output, {10, 100});
  report.Add(Numbered(1), TreeOf(30));
  report.Add(Numbered(2), TreeOf(60));
  report.Add(Numbered(3), TreeOf(30));
  report.End();
  output.Flush();
  const std::string text = Slurped(path_);
  EXPECT_NE(text.find("id=\"d1\""), std::string::npos);
  EXPECT_EQ(text.find("id=\"d2\""), std::string::npos);
  EXPECT_NE(text.find("\"leftOut\":1,\"full\":false"), std::string::npos) << text;
  const size_t second = text.find("\"number\":2");
  ASSERT_NE(second, std::string::npos);
  EXPECT_NE(text.substr(second, text.find('\n', second) - second).find("\"leftOut\":true"),
            std::string::npos);
  EXPECT_EQ(report.LeftOut(), "the report lists 1 of 3 replies without their data, as it takes 0 MB at most");
}

TEST_F(Reports, ColumnsAreToldInTheOrderOfThePage) {
  const std::string text = TextOfTables(21, 2);
  const std::string table =
      "\"kinds\":{\"21/0\":[{\"path\":\"\",\"english\":\"Candlesticks\",\"chinese\":\"K线\","
      "\"rows\":\"one for each instrument\",\"columns\":["
      "[\"Obj\",\"s\",\"Instrument\",\"代码\",\"Market and code of the instrument\",\"\",\"cp936 code\","
      "\"Obj\",\"text\",\"never\",[]],"
      "[\"Data\",\"t\",\"Bars\",\"K线数据\",\"The bars of the instrument\",\"\",\"\",\"Data\",\"children\","
      "\"no rows\",[]]]},{\"path\":\"Data\",";
  const size_t at = text.find(table);
  EXPECT_NE(at, std::string::npos) << text.substr(text.find("\"kinds\""), 600);
  // Once for both.
  EXPECT_EQ(text.find(table, at + 1), std::string::npos);
}

TEST_F(Reports, NumbersOfACellAreToldOneByOne) {
  const std::string text = TextOfTables(405, 1);
  const std::string elements =
      "[1,\"Report date\",\"报告日期\",\"\",\"yyyymmdd ?\",\"BaoGaoRiQi\"],"
      "[2,";
  EXPECT_NE(text.find(elements), std::string::npos) << text.substr(text.find("\"kinds\""), 3000);
}

TEST_F(Reports, AReplyIsListedWithAllThatIsKnownOfIt) {
  Output output(fd_);
  Report report(&output, {10, 1000});
  // An Id that nobody knows, with the table of a type.
  ReportPart part;
  part.id = 9999;
  part.type = 5;
  part.rows = 2;
  part.columns = 3;
  part.note = "<b>";
  part.table = "bytes";
  Item item = Numbered(7);
  item.reply.offset = 70;
  report.Add(item, part);
  part.decoded = true;
  item.number_reply = false;
  report.Add(item, part);
  report.End();
  output.Flush();
  const std::string text = Slurped(path_);
  const std::string end = ",\"file\":\"a.stream\",\"note\":\"\\u003cb\\u003e\",\"rows\":2,\"columns\":3,";
  EXPECT_NE(
      text.find("\"replies\":[\n{\"id\":9999,\"bytes\":5,\"number\":7,\"offset\":70,\"many\":true" + end +
                "\"decoded\":false,\"kind\":\"9999/5\",\"table\":0},\n"
                "{\"id\":9999,\"bytes\":5,\"number\":7,\"offset\":70,\"many\":false" +
                end + "\"decoded\":true,\"table\":1}\n],\n\"kinds\":{\"9999/5\":[]}}</script>\n"),
      std::string::npos)
      << text;
}

TEST_F(Reports, AKnownIdIsToldInWords) {
  Output output(fd_);
  Report report(&output, {12, 3456});
  report.Add(Numbered(1), TreeOf(3));
  report.End();
  output.Flush();
  const std::string text = Slurped(path_);
  const replies::PayloadDescription* told = replies::DescribePayload(22);
  ASSERT_NE(told, nullptr);
  EXPECT_NE(told->english.Marked(), "");
  EXPECT_NE(told->chinese.Marked(), "");
  EXPECT_NE(told->family, "");
  EXPECT_NE(text.find(",\"payload\":\"QuoteTickSingle\",\"english\":" + Embedded(told->english.Marked()) +
                      ",\"chinese\":" + Embedded(told->chinese.Marked()) +
                      ",\"family\":" + Embedded(told->family) + ",\"tree\":0}"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("\"most\":{\"replies\":12,\"bytes\":3456},\"leftOut\":0,\"full\":false,"),
            std::string::npos)
      << text;
}

TEST_F(Reports, BlocksAreNumbered) {
  Output output(fd_);
  Report report(&output, {10, 1000});
  ReportPart part = TreeOf(30);
  part.table = "bytes";
  report.Add(Numbered(1), part);
  report.Add(Numbered(2), TreeOf(30));
  report.End();
  output.Flush();
  const std::string text = Slurped(path_);
  EXPECT_NE(text.find(",\"table\":0,\"tree\":1}"), std::string::npos) << text;
  EXPECT_NE(text.find(",\"tree\":2}"), std::string::npos) << text;
  EXPECT_NE(text.find("id=\"d2\""), std::string::npos);
}

TEST_F(Reports, AReportIsFullAtItsLastReply) {
  Output output(fd_);
  Report report(&output, {2, 1000});
  report.Add(Numbered(1), TreeOf(3));
  report.AddFailure("a.stream: reply 2: <b>");
  EXPECT_EQ(report.LeftOut(), "");
  EXPECT_THROW(report.Add(Numbered(3), TreeOf(3)), ReportFull);
  report.End();
  output.Flush();
  const std::string text = Slurped(path_);
  EXPECT_NE(text.find("\"failure\":\"a.stream: reply 2: \\u003cb\\u003e\""), std::string::npos) << text;
  EXPECT_NE(text.find("\"full\":true"), std::string::npos);
  EXPECT_EQ(report.LeftOut(), "the report is full: it ends after 2 replies, and what follows was not read");
}

TEST_F(Reports, MayLeaveOutDataAndEnd) {
  Output output(fd_);
  Report report(&output, {1, 10});
  report.Add(Numbered(1), TreeOf(30));
  EXPECT_THROW(report.Add(Numbered(2), TreeOf(3)), ReportFull);
  report.End();
  EXPECT_EQ(report.LeftOut(),
            "the report lists 1 of 1 replies without their data, as it takes 0 MB at most; it ends after 1 "
            "replies, and what follows was not read");
}

TEST_F(Reports, ATableOfArrowIsAStreamOfOneBatch) {
  tsl_base::Table table("Price:d", 2);
  table_set_double(table.get(), 0, 0, 12.5);
  std::string ipc;
  std::string error;
  ASSERT_TRUE(tesview::TableToIpc(std::move(table), &ipc, &error)) << error;
  // A stream begins with the mark of a message and ends with the mark of the end.
  EXPECT_EQ(replies::EncodeHex(ipc.substr(0, 4)), "ffffffff");
  EXPECT_EQ(replies::EncodeHex(ipc.substr(ipc.size() - 8)), "ffffffff00000000");
}

TEST_F(Reports, TablesInOneColumnThatDifferAreNoTableOfArrow) {
  tsl_base::Table table("Data:t", 2);
  ASSERT_TRUE(table.attach(0, 0, tsl_base::Table("A:i", 1)));
  ASSERT_TRUE(table.attach(1, 0, tsl_base::Table("B:i", 1)));
  std::string ipc;
  std::string error;
  EXPECT_FALSE(tesview::TableToIpc(std::move(table), &ipc, &error));
  EXPECT_EQ(error, "tables in one of its columns differ in their columns");
}

TEST_F(Reports, TablesThatAreNestedTooDeepAreNoTableOfArrow) {
  // 40 levels of tables, of which Arrow's readers take 31 or so.
  tsl_base::Table table("A:i", 1);
  for (int i = 0; i < 40; ++i) {
    tsl_base::Table outer("T:t", 1);
    ASSERT_TRUE(outer.attach(0, 0, std::move(table)));
    table = std::move(outer);
  }
  std::string ipc;
  std::string error;
  EXPECT_FALSE(tesview::TableToIpc(std::move(table), &ipc, &error));
  EXPECT_EQ(error, "its tables are too large or too deep");
  EXPECT_EQ(ipc, "");
}

tesview::Shown InReport(const std::string& reply, tesview::View view = {}) {
  view.to = tesview::To::kHtml;
  Item item;
  item.reply.bytes = reply;
  return tesview::Show(view, item);
}

ReportPart PartOf(const std::string& reply) {
  return InReport(reply).part;
}

TEST(ReportParts, ATableByTheSchemaAloneIsBesideTheTree) {
  const ReportPart table = PartOf(Reply("Id: 28 RepDataPaiXu { Obj: 'A' } RepDataPaiXu { Obj: 'B' }"));
  EXPECT_EQ(table.id, 28);
  EXPECT_FALSE(table.decoded);
  EXPECT_EQ(table.rows, 2);
  EXPECT_EQ(table.columns, 4);
  EXPECT_EQ(table.tree + table.note, "");
  const std::string reply = Reply("Id: 22 RepDataQuoteTickSingle { Obj: 'A' }");
  const ReportPart tree = PartOf(reply);
  EXPECT_EQ(tree.id, 22);
  EXPECT_TRUE(tree.decoded);
  EXPECT_EQ(tree.rows, 1);
  EXPECT_NE(tree.table, "");
  EXPECT_EQ(tree.tree, "{\"Id\": 22, \"RepDataQuoteTickSingle\": [{\"Obj\": \"A\"}]}");
  EXPECT_EQ(tree.note, "no table form");
}

TEST(ReportParts, WhatIsNoReplyHasAReason) {
  EXPECT_EQ(InReport("\x08\x15\xff").error.find("not a reply: "), 0U);
  EXPECT_EQ(InReport(Reply("Id: 22")).error, "");
}

TEST(ReportParts, RowsAreThoseThatComparisonsLeave) {
  const auto shown = [](const std::string& where) {
    auto comparisons = std::make_shared<tesview::Where>();
    std::string error;
    EXPECT_TRUE(comparisons->Add(where, &error)) << error;
    tesview::View view;
    view.where = comparisons;
    return InReport(Reply("Id: 28 RepDataPaiXu { Obj: 'A' } RepDataPaiXu { Obj: 'B' }"), view);
  };
  const tesview::Shown one = shown("Obj=B");
  EXPECT_FALSE(one.dropped);
  EXPECT_EQ(one.part.rows, 1);
  EXPECT_EQ(one.part.columns, 4);
  const tesview::Shown none = shown("Obj=C");
  EXPECT_TRUE(none.dropped);
  EXPECT_EQ(none.part.table + none.error, "");
}

TEST(ReportParts, ATableOfATypeIsToldAsOne) {
  const ReportPart part = PartOf(Reply("Id: 44 RepDataToken { Result: 7 Token: 't' Uid: 'u' Device: 'd' }"));
  EXPECT_EQ(part.id, 44);
  EXPECT_EQ(part.type, 5);
  EXPECT_EQ(part.columns, 4);
  EXPECT_FALSE(part.decoded);
}

TEST(ReportParts, ATypeThatGivesNoTableIsAnError) {
  tesview::View view;
  view.type = TPTypeToken;
  const tesview::Shown shown = InReport(Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' }"), view);
  EXPECT_EQ(shown.error, "Id 20 (QuoteDynaSingle) gives no table of type Token");
}

TEST(ReportParts, ATableThatCannotBeEmbeddedIsThereAsATree) {
  // Two rows with a table in each, in which one cell holds a table: the one in it has other columns.
  const auto row = [](const std::string& column) {
    return "tValues { Info { Name: 'U' Type: 116 } Data { Index: 0 tValues { Info { Name: '" + column +
           "' Type: 115 } Data { Index: 0 sValues: 'v' } } } } ";
  };
  const ReportPart part = PartOf(
      Reply("Id: 3 Tbl { Info { Type: 116 } Data { Index: 0 tValues { Info { Name: 'T' Type: 116 } Data { "
            "Index: 0 " +
            row("A") + row("B") + "} } } }"));
  EXPECT_EQ(part.note, "its table cannot be embedded: tables in one of its columns differ in their columns");
  EXPECT_EQ(part.tree.find("{\"Id\": 3, \"Tbl\": {"), 0U) << part.tree;
  // By the schema it is a table of its own kind.
  EXPECT_TRUE(part.decoded);
}

TEST(ReportParts, APayloadWithoutFieldsIsATreeAlone) {
  const ReportPart part = PartOf(Reply("Id: 168 RepDataRoomOperationSuccess { }"));
  EXPECT_EQ(part.tree, "{\"Id\": 168, \"RepDataRoomOperationSuccess\": [{}]}");
  EXPECT_EQ(part.table, "");
  EXPECT_FALSE(part.decoded);
  EXPECT_EQ(part.note, "no table form");
}

TEST(ReportParts, AreNotPreparedForOtherForms) {
  if (viewer::kSanitized) GTEST_SKIP() << "sanitizers take their own time";
  const auto prepare = [](tesview::To to) {
    tesview::View view;
    view.to = to;
    tesview::PrepareToShow(view);
  };
  // Of these no descriptors are made, which is what takes time.
  for (const tesview::To to : {tesview::To::kCsv, tesview::To::kTsv, tesview::To::kBin})
    EXPECT_TRUE(processor_time::TakesLess([&] { prepare(to); }, 0.1, [&] { prepare(tesview::To::kHtml); }));
}

size_t FilesIn(const std::string& directory) {
  return static_cast<size_t>(std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

class OutputFiles : public viewer::Files {
 protected:
  void WriteTo(OutputFile* file, const std::string& text) {
    ASSERT_EQ(write(file->fd(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
};

TEST_F(OutputFiles, IsThereWhenItIsWhole) {
  const std::string path = directory_ + "/a.html";
  {
    OutputFile file(path, false);
    WriteTo(&file, "new");
    EXPECT_FALSE(fs::exists(path));
    file.Commit();
  }
  EXPECT_EQ(Slurped(path), "new");
  EXPECT_EQ(FilesIn(directory_), 1u);
}

TEST_F(OutputFiles, WhatWasNotCommittedIsGone) {
  const std::string path = Write("a.html", "old");
  { OutputFile file(path, true); }
  EXPECT_EQ(Slurped(path), "old");
  EXPECT_EQ(FilesIn(directory_), 1u);
}

TEST_F(OutputFiles, IsClosedInAnyCase) {
  const auto is_open = [](int fd) { return fcntl(fd, F_GETFD) >= 0; };
  int dropped = -1;
  {
    const OutputFile file(directory_ + "/a.html", false);
    dropped = file.fd();
    EXPECT_TRUE(is_open(dropped));
  }
  EXPECT_FALSE(is_open(dropped));
  OutputFile file(directory_ + "/a.html", false);
  const int kept = file.fd();
  file.Commit();
  EXPECT_FALSE(is_open(kept));
}

TEST_F(OutputFiles, NothingIsReplacedUnasked) {
  const std::string path = Write("a.html", "old");
  EXPECT_THROW(OutputFile(path, false), FileIsThere);
  OutputFile file(path, true);
  WriteTo(&file, "new");
  file.Commit();
  EXPECT_EQ(Slurped(path), "new");
}

TEST_F(OutputFiles, NotEvenWhatCameMeanwhile) {
  const std::string path = directory_ + "/a.html";
  {
    OutputFile file(path, false);
    Write("a.html", "of another");
    EXPECT_THROW(file.Commit(), OutputError);
  }
  EXPECT_EQ(Slurped(path), "of another");
  EXPECT_EQ(FilesIn(directory_), 1u);
}

TEST_F(OutputFiles, WhatIsCommittedClosesNothingElse) {
  int other = -1;
  {
    OutputFile file(directory_ + "/a.html", false);
    const int own = file.fd();
    file.Commit();
    other = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(other, own);
  }
  EXPECT_EQ(close(other), 0);
}

TEST_F(OutputFiles, WhatCannotBeNamedIsThereOrIsNot) {
  const auto why = [this](const std::string& path) {
    try {
      tesview::NameFile(directory_ + "/none", path, false);
    } catch (const OutputError& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  const std::string taken = Write("a.html", "old");
  EXPECT_EQ(why(taken), "cannot write " + taken + ": File exists");
  EXPECT_EQ(why(directory_ + "/b.html"), "cannot write " + directory_ + "/b.html: No such file or directory");
}

TEST_F(OutputFiles, NamesThatWereLeftBehindAreNotTaken) {
  const std::string path = directory_ + "/a.html";
  const std::string part = "a.html." + std::to_string(getpid()) + "-";
  // The last of the hundred names that are tried is free, and then none.
  for (int i = 0; i < 99; ++i)
    Write(part + std::to_string(i) + ".part", "of another");
  {
    OutputFile file(path, false);
    EXPECT_TRUE(fs::exists(directory_ + "/" + part + "99.part"));
  }
  Write(part + "99.part", "of another");
  EXPECT_THROW(OutputFile(path, false), OutputError);
  EXPECT_EQ(FilesIn(directory_), 100u);
}

TEST_F(OutputFiles, WhatIsNoFileIsNeverReplaced) {
  EXPECT_THROW(OutputFile("/dev/null", true), FileIsThere);
  EXPECT_THROW(OutputFile(directory_, true), FileIsThere);
  EXPECT_THROW(OutputFile(directory_ + "/none/a.html", false), OutputError);
}

// ---- the program that shows it ----

class Opened : public viewer::Files {
 protected:
  void SetUp() override {
    viewer::Files::SetUp();
    before_ = std::getenv("PATH");
  }
  void TearDown() override {
    setenv("PATH", before_.c_str(), 1);
    viewer::Files::TearDown();
  }
  // What the program is told that is found there.
  std::string Told(const std::string& path) {
    const std::string said = Write("bin/said", "");
    Write("bin/xdg-open",
          "#!/bin/sh\nprintf '%s' \"$*\" > \"" + said + ".now\"\nmv \"" + said + ".now\" \"" + said + "\"\n");
    fs::permissions(directory_ + "/bin/xdg-open", fs::perms::owner_all);
    setenv("PATH", (directory_ + "/bin:" + before_).c_str(), 1);
    std::string error;
    EXPECT_TRUE(tesview::OpenFile(path, &error));
    EXPECT_EQ(error, "");
    int status = 0;
    EXPECT_GT(waitpid(-1, &status, 0), 0);
    return Slurped(said);
  }
  std::string before_;
};

TEST_F(Opened, IsTheFileAndNoOption) {
  EXPECT_EQ(Told("/a/b c.html"), "/a/b c.html");
  EXPECT_EQ(Told("a/b.html"), "./a/b.html");
  EXPECT_EQ(Told("-a.html"), "./-a.html");
}

TEST_F(Opened, IsNothingWhereThereIsNoSuchProgram) {
  setenv("PATH", directory_.c_str(), 1);
  std::string error;
  EXPECT_FALSE(tesview::OpenFile("/a.html", &error));
  EXPECT_EQ(error, "cannot open /a.html: xdg-open: No such file or directory");
}

}  // namespace
