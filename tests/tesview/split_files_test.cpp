// Outputs in many files, where something is in the way of one of them.
#include "tesview/terminal/split_files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"
#include "tesview/terminal/output.h"
#include "tesview/terminal/output_file.h"

namespace tesview {
namespace {

namespace fs = std::filesystem;
using viewer::Slurp;

class SplitUnits : public viewer::Files {
 protected:
  std::string Place(const std::string& name) const { return directory_ + "/" + name; }
  // The directory that the parts wait in.
  std::string Parts(int number = 0) const {
    return Place(".tesview-" + std::to_string(getpid()) + "-" + std::to_string(number) + ".part");
  }
};

std::string ErrorOf(SplitFiles* files, const std::string& id) {
  try {
    files->Add({{"{id}", id}}, "h\n", "line\n");
  } catch (const OutputError& error) {
    return error.what();
  }
  return "";
}

TEST_F(SplitUnits, APatternWithoutADirectoryIsOfTheCurrentOne) {
  const fs::path before = fs::current_path();
  fs::current_path(directory_);
  {
    SplitFiles files("{id}.csv", false, "");
    EXPECT_TRUE(files.Add({{"{id}", "7"}}, "h\n", "line\n"));
    EXPECT_TRUE(fs::is_directory(Parts()));
    files.Commit();
  }
  fs::current_path(before);
  EXPECT_EQ(Slurp(Place("7.csv")), "h\nline\n");
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_), fs::directory_iterator()), 1);
}

// Of an earlier process with that number, which was killed.
TEST_F(SplitUnits, PartsOfOthersAreLeftAlone) {
  fs::create_directory(Parts());
  Write(fs::path(Parts()).filename().string() + "/0", "not ours");
  {
    SplitFiles files(Place("{id}.csv"), false, "");
    EXPECT_TRUE(files.Add({{"{id}", "7"}}, "h\n", "line\n"));
    EXPECT_TRUE(fs::is_directory(Parts(1)));
    files.Commit();
  }
  EXPECT_EQ(Slurp(Place("7.csv")), "h\nline\n");
  EXPECT_EQ(Slurp(Parts() + "/0"), "not ours");
  EXPECT_FALSE(fs::exists(Parts(1)));
}

TEST_F(SplitUnits, ADirectoryThatCannotBeMadeIsSaid) {
  Write("file", "");
  SplitFiles below_a_file(Place("file/{id}.csv"), false, "");
  EXPECT_EQ(ErrorOf(&below_a_file, "7"),
            "cannot write " + Parts().replace(directory_.size(), 0, "/file") + ": Not a directory");
  SplitFiles deeper(Place("file/deeper/{id}.csv"), false, "");
  EXPECT_EQ(ErrorOf(&deeper, "7"), "cannot write " + Place("file/deeper") + ": Not a directory");
  EXPECT_EQ(Slurp(Place("file")), "");
}

// It came between the first line and the end.
TEST_F(SplitUnits, AFileThatCameMeanwhileTakesTheOthersBack) {
  const auto commit = [&](bool replace) {
    SplitFiles files(Place("{id}.csv"), replace, "");
    for (const std::string id : {"1", "2", "3"})
      files.Add({{"{id}", id}}, "h\n", id + "\n");
    Write("2.csv", "theirs");
    files.Commit();
  };
  EXPECT_THROW(commit(false), OutputError);
  EXPECT_EQ(Slurp(Place("2.csv")), "theirs");
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_), fs::directory_iterator()), 1);
  commit(true);
  EXPECT_EQ(Slurp(Place("2.csv")), "h\n2\n");
}

TEST_F(SplitUnits, APartThatIsGoneIsSaid) {
  SplitFiles files(Place("{id}.csv.gz"), false, "");
  // More than waits in memory of one file.
  files.Add({{"{id}", "7"}}, "h\n", std::string(size_t{2} << 20, 'x') + "\n");
  ASSERT_TRUE(fs::remove(Parts() + "/0"));
  try {
    files.Commit();
    FAIL() << "it was written";
  } catch (const OutputError& error) {
    EXPECT_EQ(error.what(), "cannot write " + Parts() + "/0: No such file or directory");
  }
}

// Where it is closed, files get its descriptor, which is 0.
TEST_F(SplitUnits, NeedsNoStandardInput) {
  const int standard_input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  for (const char* pattern : {"{id}.csv", "{id}.csv.gz"}) {
    SplitFiles files(Place(pattern), false, "");
    EXPECT_EQ(ErrorOf(&files, "7"), "");
    EXPECT_NO_THROW(files.Commit());
  }
  // It is free again.
  EXPECT_EQ(dup(STDERR_FILENO), STDIN_FILENO);
  dup2(standard_input, STDIN_FILENO);
  close(standard_input);
  EXPECT_EQ(Slurp(Place("7.csv")), "h\nline\n");
  EXPECT_TRUE(fs::exists(Place("7.csv.gz")));
}

TEST_F(SplitUnits, TakesAHundredThousandFiles) {
  SplitFiles files(Place("{id}.csv"), false, "");
  for (int i = 0; i < 100000; ++i)
    ASSERT_EQ(ErrorOf(&files, std::to_string(i)), "");
  EXPECT_EQ(ErrorOf(&files, "one more"), "--split-by would make more than 100000 files");
}

TEST(SafeNames, HaveNothingThatAPathUnderstands) {
  EXPECT_EQ(SafeName("..a.b"), "%2E.a.b");
  EXPECT_EQ(SafeName("a/b\\c%d"), "a%2Fb%5Cc%25d");
  EXPECT_EQ(SafeName("(a(b"), "%28a(b");
}

}  // namespace
}  // namespace tesview
