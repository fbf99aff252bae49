// The parts of a report by themselves: what is embedded, what a report takes, the file that it goes to.
#include "tesview/report/report.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <utility>

#include "replies/encodings.h"
#include "tests/support/viewer.h"
#include "tesview/report/embedded.h"
#include "tesview/terminal/output_file.h"

namespace {

namespace fs = std::filesystem;
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
  Output output(fd_);
  Report report(&output, {10, 1000});
  ReportPart part;
  part.id = 21;
  part.table = "bytes";
  report.Add(Numbered(1), part);
  report.Add(Numbered(2), part);
  report.End();
  output.Flush();
  const std::string text = Slurped(path_);
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

TEST_F(OutputFiles, WhatIsNoFileIsNeverReplaced) {
  EXPECT_THROW(OutputFile("/dev/null", true), FileIsThere);
  EXPECT_THROW(OutputFile(directory_, true), FileIsThere);
  EXPECT_THROW(OutputFile(directory_ + "/none/a.html", false), OutputError);
}

}  // namespace
