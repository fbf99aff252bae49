#include "replies/source.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/replies/samples.h"

namespace replies {
namespace {

namespace fs = std::filesystem;

// A directory of its own for each test, gone afterwards.
class Sources : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "replies-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory_ = name;
  }
  void TearDown() override { fs::remove_all(directory_); }

  std::string Write(const std::string& name, const std::string& bytes) {
    const fs::path path = fs::path(directory_) / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
    return path.string();
  }

  std::string directory_;
};

TEST_F(Sources, OfADirectoryAreTheFilesInItByName) {
  const std::string b = Write("b.bin", "12345");
  const std::string inner = Write("a/x.bin", "123");
  Write(".hidden", "1");
  Write("a/.hidden/y", "1");
  const InputFiles files = FindFiles({directory_});
  EXPECT_EQ(files.paths, (Strings{inner, b}));
  EXPECT_EQ(files.errors, Strings());
  EXPECT_EQ(files.bytes, 8u);
}

TEST_F(Sources, LinksToFilesAreFollowedAndLinksToDirectoriesAreNot) {
  const std::string file = Write("d/a.bin", "12345");
  fs::create_symlink(file, directory_ + "/d/b.bin");
  fs::create_directory_symlink(directory_ + "/d", directory_ + "/d/back");
  fs::create_symlink(directory_ + "/nothing", directory_ + "/d/broken");
  ASSERT_EQ(mkfifo((directory_ + "/d/pipe").c_str(), 0600), 0);
  const InputFiles files = FindFiles({directory_ + "/d"});
  EXPECT_EQ(files.paths, (Strings{file, directory_ + "/d/b.bin"}));
  EXPECT_EQ(files.bytes, 10u);
  // One that is named is followed.
  EXPECT_EQ(FindFiles({directory_ + "/d/back"}).paths.size(), 2u);
}

TEST_F(Sources, OfAFileHaveItsSize) {
  EXPECT_EQ(FileSource(Write("a.bin", "12345")).size(), 5u);
}

TEST_F(Sources, CloseTheirFilesButNotTheStandardInput) {
  // What a file that is opened next has.
  const auto next = [] {
    const int fd = open("/dev/null", O_RDONLY);
    close(fd);
    return fd;
  };
  const std::string path = Write("a.bin", "12345");
  const int before = next();
  {
    const FileSource source(path);
    EXPECT_GT(next(), before);
  }
  EXPECT_EQ(next(), before);
  EXPECT_THROW(FileSource(directory_ + "/none"), InputError);
  EXPECT_EQ(next(), before);
  { const FileSource input("-"); }
  EXPECT_NE(fcntl(STDIN_FILENO, F_GETFD), -1);
}

TEST_F(Sources, HaveNoSizeTogetherIfOneHasNone) {
  const std::string file = Write("a.bin", "12345");
  ASSERT_EQ(mkfifo((directory_ + "/pipe").c_str(), 0600), 0);
  const InputFiles files = FindFiles({file, directory_ + "/pipe", file});
  EXPECT_EQ(files.paths, (Strings{file, directory_ + "/pipe", file}));
  EXPECT_EQ(files.bytes, 0u);
  // What is not there is for the one who opens it.
  EXPECT_EQ(FindFiles({directory_ + "/none"}).paths, Strings{directory_ + "/none"});
}

TEST_F(Sources, ThatCannotBeReadSayWhy) {
  EXPECT_THROW(FileSource(directory_ + "/none"), InputError);
  EXPECT_THROW(ReadWholeFile(directory_), InputError);
  const std::string text(200000, 'x');
  EXPECT_EQ(ReadWholeFile(Write("long", text)), text);
}

TEST_F(Sources, AreReadFromAnOffsetIfTheyAreFiles) {
  FileSource source(Write("a.bin", "12345"));
  EXPECT_FALSE(source.MayWait());
  source.SkipTo(3);
  char bytes[8];
  EXPECT_EQ(source.Read(bytes, sizeof bytes), 2u);
  EXPECT_EQ(std::string(bytes, 2), "45");
  FileSource folder(directory_);
  EXPECT_THROW(folder.SkipTo(0), InputError);
}

TEST_F(Sources, CallBeforeTheyWaitAndStopByWhatThatThrows) {
  FileSource source(Write("a.bin", "12345"));
  int calls = 0;
  source.OnWait([&] {
    if (++calls == 3) throw std::runtime_error("enough");
  });
  char bytes[8];
  EXPECT_EQ(source.Read(bytes, sizeof bytes), 5u);
  EXPECT_EQ(source.Read(bytes, sizeof bytes), 0u);
  EXPECT_THROW(source.Read(bytes, sizeof bytes), std::runtime_error);
}

TEST_F(Sources, AFileNeverPauses) {
  FileSource source(Write("a.bin", "12345"));
  EXPECT_FALSE(source.HasPaused());
  char bytes[8];
  source.Read(bytes, sizeof bytes);
  EXPECT_FALSE(source.HasPaused());
}

// The two ends of a pipe that has a name.
TEST_F(Sources, APipePausesWhileNothingComes) {
  const std::string path = directory_ + "/pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  std::ofstream writer;
  std::thread opens([&] { writer.open(path); });
  FileSource source(path);
  opens.join();
  EXPECT_TRUE(source.HasPaused());
  writer << "x" << std::flush;
  EXPECT_FALSE(source.HasPaused());
  char byte = 0;
  EXPECT_EQ(source.Read(&byte, 1), 1u);
  EXPECT_TRUE(source.HasPaused());
  writer.close();
  EXPECT_FALSE(source.HasPaused());
  EXPECT_EQ(source.Read(&byte, 1), 0u);
}

// One that never leaves a gap of a tenth of a second has to be looked at all the same.
TEST_F(Sources, APipeThatDripsPausesToo) {
  const std::string path = directory_ + "/pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  std::atomic<bool> paused = false;
  int dripped = 0;
  std::thread drips([&] {
    std::ofstream writer(path);
    // Until it was seen, however late the reader gets a processor.
    for (; dripped < 3000 && !paused; ++dripped) {
      writer << "x" << std::flush;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  });
  FileSource source(path);
  char byte = 0;
  int got = 0;
  while (source.Read(&byte, 1) == 1) {
    ++got;
    paused = paused || source.HasPaused();
  }
  drips.join();
  EXPECT_TRUE(paused);
  EXPECT_EQ(got, dripped);
}

}  // namespace
}  // namespace replies
