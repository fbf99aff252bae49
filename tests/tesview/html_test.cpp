// --to html: the file, and a viewer without the page.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"
#include "tesview/report/page.h"

namespace {

namespace fs = std::filesystem;
using program::How;
using program::Result;
using viewer::Files;
using viewer::Framed;
using viewer::Program;
using viewer::Reply;
using viewer::Slurp;
using viewer::StreamOf;
using viewer::TwoKlines;
using viewer::View;
using viewer::ViewBytes;

size_t CountOf(const std::string& part, const std::string& text) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
    ++count;
  return count;
}

TEST_F(Files, AViewerWithoutThePageSaysHowToGetIt) {
  if (tesview::HasReportPage()) GTEST_SKIP() << "this one has the page";
  const std::string path = directory_ + "/report.html";
  const Result result = View({"--to", "html", "-o", path, Write("a.bin", TwoKlines())});
  EXPECT_EQ(result.code, 2);
  EXPECT_EQ(result.err,
            "tesview: this tesview was built without the page of --to html: scripts/setup page makes it, and "
            "cmake -D TESPARSER_PAGE=ON takes it in (tesview --help tells more)\n");
  EXPECT_FALSE(fs::exists(path));
}

TEST(HtmlUsage, WhatDoesNotGoWithItIsWrongUsage) {
  const auto error = [](const std::vector<std::string>& arguments) {
    const Result result = ViewBytes("", arguments);
    EXPECT_EQ(result.code, 2);
    return result.err.substr(0, result.err.find(" (tesview"));
  };
  EXPECT_EQ(error({"--to", "csv", "--open", "-o", "x", "-"}),
            "tesview: --open shows a page; take --to html or a FILE.html with it");
  EXPECT_NE(error({"--to", "html", "--open", "-"}), "");
  EXPECT_NE(error({"--to", "html", "--force", "-"}), "");
  EXPECT_EQ(error({"--to", "html", "--head", "3", "-"}),
            "tesview: --to html takes no --path, --columns, --head or --tail; choose in the page");
}

// By a viewer with a page, be it one of a few words.
class Html : public Files {
 protected:
  void SetUp() override {
    Files::SetUp();
    path_ = directory_ + "/report.html";
    if (tesview::HasReportPage()) return;
    if (std::getenv("TESVIEW_PROGRAM") != nullptr) GTEST_SKIP() << "built without the page";
    setenv("TESVIEW_PROGRAM", TESVIEW_WITH_PAGE, 1);
    is_other_ = true;
  }
  void TearDown() override {
    if (is_other_) unsetenv("TESVIEW_PROGRAM");
    Files::TearDown();
  }
  std::string path_;

 private:
  bool is_other_ = false;
};

TEST_F(Html, WritesOneFileAndNothingElse) {
  const std::string kline = Write("in/a.bin", TwoKlines());
  const Result result = View({"--to", "html", "-o", path_, kline});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(result.out + result.err, "");
  const std::string page = Slurp(path_);
  EXPECT_EQ(page.substr(0, 15), "<!doctype html>");
  EXPECT_EQ(page.substr(page.size() - 8), "</html>\n");
  EXPECT_EQ(CountOf("id=\"d0\"", page), 1u);
  EXPECT_EQ(CountOf("\"payload\":\"QuoteKlineSingle\"", page), 1u);
  // Its columns are told once.
  EXPECT_EQ(CountOf("[\"ShouPanJia\",", page), 1u);
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_), fs::directory_iterator()), 2);
  // The same goes to a pipe.
  EXPECT_EQ(View({"--to", "html", kline}).out, page);
}

TEST_F(Html, NeverReplacesAFileUnlessForced) {
  const std::string kline = Write("a.bin", TwoKlines());
  Write("report.html", "mine");
  const Result refused = View({"--to", "html", "-o", path_, kline});
  EXPECT_EQ(refused.code, 2);
  EXPECT_EQ(refused.err,
            "tesview: " + path_ + " is there already; --force replaces it (tesview --help tells more)\n");
  EXPECT_EQ(Slurp(path_), "mine");
  EXPECT_EQ(View({"--to", "html", "--force", "-o", path_, kline}).code, 0);
  EXPECT_EQ(Slurp(path_).substr(0, 15), "<!doctype html>");
}

TEST_F(Html, AnInterruptLeavesNoFile) {
  How how;
  how.feed = [](int fd) {
    const std::string reply = Framed(TwoKlines());
    EXPECT_EQ(write(fd, reply.data(), reply.size()), static_cast<ssize_t>(reply.size()));
    sleep(1);
  };
  // The feeding ends after the signal has come.
  const Result result = program::Run(
      {"timeout", "-s", "INT", "0.4", Program(), "--to", "html", "--from", "delimited", "-o", path_, "-"},
      how);
  EXPECT_EQ(result.code, 124);
  EXPECT_TRUE(fs::is_empty(directory_)) << *fs::directory_iterator(directory_);
}

TEST_F(Html, WhatCannotBeShownIsInTheListAndSaid) {
  std::string stream = StreamOf(TwoKlines(), 1) + Framed("\x08\x15\xff") + StreamOf(TwoKlines(), 1);
  const Result result = ViewBytes(stream, {"--to", "html", "--from", "delimited", "-o", path_});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(CountOf("\n", result.err), 1u) << result.err;
  const std::string page = Slurp(path_);
  EXPECT_EQ(CountOf("{\"id\":21,", page), 2u);
  EXPECT_EQ(CountOf("{\"id\":null,\"failure\":", page), 1u);
}

TEST_F(Html, NoTextOfTheWireIsMarkup) {
  const std::string hostile = "</script><img src=x onerror=alert(1)>";
  const std::string tree = Write("a.bin", Reply("Id: 22 RepDataQuoteTickSingle { Obj: '" + hostile + "' }"));
  const std::string table =
      Write("b<img>.bin", Reply("Id: 21 RepDataQuoteKlineSingle { Obj: '" + hostile + "' }"));
  ASSERT_EQ(View({"--to", "html", "-o", path_, tree, table}).code, 0);
  const std::string page = Slurp(path_);
  EXPECT_EQ(page.find("<img"), std::string::npos);
  EXPECT_EQ(page.find("onerror=alert"), std::string::npos);
  // Every element that was begun is ended.
  EXPECT_EQ(CountOf("<script", page), CountOf("</script>", page));
}

TEST_F(Html, EndsWhereItIsFull) {
  // 10,000 replies are listed.
  const Result result =
      ViewBytes(StreamOf(Reply("Id: 168 RepDataRoomOperationSuccess { }"), 10'001), {"-o", path_});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.err,
            "tesview: the report is full: it ends after 10000 replies, and what follows was not read\n");
  EXPECT_EQ(CountOf("{\"id\":168,", Slurp(path_)), 10'000U);
}

TEST_F(Html, OpenStartsTheDesktopsProgramWithTheFile) {
  Write("bin/xdg-open", "#!/bin/sh\nprintf '%s' \"$1\" > \"$0.said\"\n");
  fs::permissions(directory_ + "/bin/xdg-open", fs::perms::owner_all);
  How how;
  how.environment = {"PATH=" + directory_ + "/bin:/usr/bin:/bin"};
  const std::string said = directory_ + "/bin/xdg-open.said";
  ASSERT_EQ(View({"--to", "html", "--open", "-o", path_, Write("a.bin", TwoKlines())}, how).code, 0);
  for (int i = 0; i < 100 && (!fs::exists(said) || fs::file_size(said) == 0); ++i)
    usleep(50'000);
  EXPECT_EQ(Slurp(said), path_);
  // A name that looks like an option is none.
  fs::remove(said);
  how.directory = directory_;
  ASSERT_EQ(View({"--open", "--output=-a.html", directory_ + "/a.bin"}, how).code, 0);
  for (int i = 0; i < 100 && (!fs::exists(said) || fs::file_size(said) == 0); ++i)
    usleep(50'000);
  EXPECT_EQ(Slurp(said), "./-a.html");
  how.environment = {"PATH=/nowhere"};
  const Result none =
      View({"--to", "html", "--open", "--force", "-o", path_, Write("a.bin", TwoKlines())}, how);
  EXPECT_EQ(none.code, 3);
  EXPECT_EQ(none.err, "tesview: cannot open " + path_ + ": xdg-open: No such file or directory\n");
}

}  // namespace
