// Outputs by themselves: in pieces, compressed, in many files.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/viewer.h"
#include "tesview/terminal/leftovers.h"
#include "tesview/terminal/output.h"
#include "tesview/terminal/output_file.h"
#include "tesview/terminal/packing_of.h"
#include "tesview/terminal/split_files.h"

namespace {

namespace fs = std::filesystem;
using replies::Packing;
using tesview::Output;
using tesview::PackingOf;
using tesview::SplitFiles;
using tesview::WithoutPacking;
using viewer::Files;

std::string ContentOf(const std::string& path) {
  std::stringstream all;
  all << std::ifstream(path, std::ios::binary).rdbuf();
  return all.str();
}

using Pieces = std::vector<std::string>;

// An output that keeps what it is handed.
Output Into(Pieces* pieces) {
  return Output([pieces](std::string_view bytes) { pieces->emplace_back(bytes); });
}

// ---- in pieces ----

TEST(OutputPieces, AreWholeLinesOfAtMost64Kilobytes) {
  Pieces pieces;
  Output output = Into(&pieces);
  // 65,536 bytes take 655 lines of 100 bytes, 65,500, and no more.
  const std::string line = std::string(99, 'x') + "\n";
  std::string lines;
  for (int i = 0; i < 2000; ++i)
    lines += line;
  output.Write(lines);
  ASSERT_EQ(pieces.size(), 4U);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(pieces[static_cast<size_t>(i)].size(), 65500U) << i;
  EXPECT_EQ(pieces[3].size(), 200000U - 3 * 65500U);
}

TEST(OutputPieces, MayEndWithTheLastByteThatFits) {
  Pieces pieces;
  Output output = Into(&pieces);
  const std::string full = std::string(65535, 'x') + "\n";
  output.Write(full + "y\n");
  EXPECT_EQ(pieces, (Pieces{full, "y\n"}));
}

TEST(OutputPieces, OfALongerLineAreThatLine) {
  Pieces pieces;
  Output output = Into(&pieces);
  const std::string longer = std::string(65536, 'x') + "\n";
  output.Write(longer + "y\n");
  EXPECT_EQ(pieces, (Pieces{longer, "y\n"}));
  // Without an end it is what there is.
  pieces.clear();
  output.Write(longer.substr(0, 65536) + "z");
  EXPECT_EQ(pieces, Pieces{longer.substr(0, 65536) + "z"});
}

TEST(OutputPieces, ThatFitAreNotTakenApart) {
  Pieces pieces;
  Output output = Into(&pieces);
  output.Write("a\nb\nc");
  output.Flush();
  EXPECT_EQ(pieces, Pieces{"a\nb\nc"});
  // The largest one that fits.
  pieces.clear();
  const std::string full = "a\n" + std::string(65534, 'x');
  output.Write(full);
  EXPECT_EQ(pieces, Pieces{full});
  pieces.clear();
  output.Write(full + "x");
  EXPECT_EQ(pieces, (Pieces{"a\n", std::string(65535, 'x')}));
}

TEST(OutputPieces, ThatAreSmallWaitForOthers) {
  Pieces pieces;
  Output output = Into(&pieces);
  output.Write("a\n");
  output.Write("b\n");
  EXPECT_EQ(pieces, Pieces{});
  output.Flush();
  EXPECT_EQ(pieces, Pieces{"a\nb\n"});
  output.Flush();
  EXPECT_EQ(pieces.size(), 1U);
  // Bytes are no lines: they do not go together.
  output.Write("c\n");
  output.WriteBytes("d");
  output.WriteBytes("e");
  EXPECT_EQ(pieces.back(), "c\n");
  output.Write("f\n");
  EXPECT_EQ(pieces.back(), "de");
  output.Flush();
  EXPECT_EQ(pieces, (Pieces{"a\nb\n", "c\n", "de", "f\n"}));
}

TEST(OutputPieces, AreSentWithTheByteThatFillsThem) {
  Pieces pieces;
  Output output = Into(&pieces);
  output.Write(std::string(65535, 'x'));
  EXPECT_EQ(pieces.size(), 0U);
  output.Write("\n");
  EXPECT_EQ(pieces, Pieces{std::string(65535, 'x') + "\n"});
}

TEST(OutputPieces, OfBytesAreNotTakenApart) {
  Pieces pieces;
  Output output = Into(&pieces);
  output.WriteBytes(std::string(65535, 'x'));
  EXPECT_EQ(pieces.size(), 0U);
  output.WriteBytes("\n");
  ASSERT_EQ(pieces.size(), 1U);
  output.WriteBytes(std::string(200000, '\n'));
  EXPECT_EQ(pieces.back().size(), 200000U);
}

// ---- compressed ----

TEST(Compression, GoesByTheEndingOfAName) {
  EXPECT_EQ(PackingOf("a.csv.gz"), Packing::kGzip);
  EXPECT_EQ(PackingOf("a.bz2"), Packing::kBzip2);
  EXPECT_EQ(PackingOf("a.xz"), Packing::kXz);
  EXPECT_EQ(PackingOf("a.zst"), Packing::kZstd);
  EXPECT_EQ(PackingOf("a.lz4"), Packing::kLz4);
  EXPECT_EQ(PackingOf("a.gz.csv"), Packing::kNone);
  EXPECT_EQ(PackingOf("agz"), Packing::kNone);
  // An ending alone is a hidden file.
  EXPECT_EQ(PackingOf(".gz"), Packing::kNone);
  EXPECT_EQ(PackingOf("x.gz"), Packing::kGzip);
  EXPECT_EQ(WithoutPacking("a.csv.zst"), "a.csv");
  EXPECT_EQ(WithoutPacking("a.csv"), "a.csv");
  EXPECT_EQ(WithoutPacking(".gz"), ".gz");
}

// ---- in many files ----

class SplitParts : public Files {
 protected:
  // Those that are not there yet under their names.
  size_t Parts() const {
    size_t parts = 0;
    for (const auto& entry : fs::recursive_directory_iterator(directory_))
      parts += entry.is_regular_file() ? 1 : 0;
    return parts;
  }

  static bool Add(SplitFiles* files, const std::string& obj, std::string_view lines) {
    return files->Add({{"{obj}", obj}}, "h\n", lines);
  }
};

TEST_F(SplitParts, OfOneMegabyteAreWrittenOut) {
  SplitFiles files(directory_ + "/{obj}.csv", false, "");
  // With the header of two bytes it is one byte less than 1 MB.
  const std::string lines(1048573, 'x');
  EXPECT_TRUE(Add(&files, "a", lines));
  EXPECT_TRUE(Add(&files, "b", lines));
  EXPECT_EQ(Parts(), 0U);
  EXPECT_TRUE(Add(&files, "a", "y"));
  EXPECT_EQ(Parts(), 1U);
  EXPECT_TRUE(Add(&files, "a", "z"));
  files.Commit();
  EXPECT_EQ(ContentOf(directory_ + "/a.csv"), "h\n" + lines + "yz");
  EXPECT_EQ(ContentOf(directory_ + "/b.csv"), "h\n" + lines);
}

TEST_F(SplitParts, OfThirtyTwoMegabytesInAllAreHalfWrittenOut) {
  SplitFiles files(directory_ + "/{obj}.csv", false, "");
  const std::string half(512 * 1024 - 2, 'x');
  for (int i = 0; i < 63; ++i)
    EXPECT_TRUE(Add(&files, std::to_string(i), half));
  EXPECT_EQ(Parts(), 0U);
  // One a little larger than the others goes first, small ones stay.
  EXPECT_TRUE(Add(&files, "0", "y"));
  EXPECT_TRUE(Add(&files, "small", "z"));
  EXPECT_EQ(Parts(), 0U);
  EXPECT_TRUE(Add(&files, "last", half));
  // 33,554,436 bytes are a little more than 64 of them; less than 16,777,216 stay when 33 have gone.
  EXPECT_EQ(Parts(), 33U);
}

TEST_F(SplitParts, HaveOneHeader) {
  SplitFiles files(directory_ + "/{obj}.csv", false, "start ");
  EXPECT_TRUE(files.Add({{"{obj}", "a"}}, "h\n", "1\n"));
  EXPECT_FALSE(files.Add({{"{obj}", "a"}}, "other\n", "2\n"));
  EXPECT_TRUE(files.Add({{"{obj}", "a"}}, "h\n", "3\n"));
  EXPECT_TRUE(files.Add({{"{obj}", "b"}}, "other\n", "4\n"));
  files.Commit();
  EXPECT_EQ(ContentOf(directory_ + "/a.csv"), "start h\n1\n3\n");
  EXPECT_EQ(ContentOf(directory_ + "/b.csv"), "start other\n4\n");
}

TEST_F(SplitParts, AreNoMoreThanAHundredThousand) {
  SplitFiles files(directory_ + "/{obj}", false, "");
  for (int i = 0; i < 100'000; ++i)
    ASSERT_TRUE(files.Add({{"{obj}", std::to_string(i)}}, "", ""));
  EXPECT_TRUE(files.Add({{"{obj}", "0"}}, "", ""));
  try {
    files.Add({{"{obj}", "one more"}}, "", "");
    ADD_FAILURE() << "it is taken";
  } catch (const tesview::OutputError& error) {
    EXPECT_STREQ(error.what(), "--split-by would make more than 100000 files");
  }
}

TEST_F(SplitParts, AreNamedByAllPlaceholders) {
  SplitFiles files(directory_ + "/{obj}-{obj}{date}{}.csv", false, "");
  EXPECT_TRUE(files.Add({{"{obj}", "a"}, {"{date}", "b"}}, "", "x"));
  files.Commit();
  EXPECT_EQ(ContentOf(directory_ + "/a-ab{}.csv"), "x");
}

TEST_F(SplitParts, HaveNamesThatAreCutBetweenCharacters) {
  SplitFiles files(directory_ + "/{obj}", false, "");
  // Three bytes each: 33 are 99. Of 99 letters and an escape of three the escape does not fit.
  std::string characters;
  for (int i = 0; i < 40; ++i)
    characters += "银";
  EXPECT_TRUE(Add(&files, characters, "1"));
  EXPECT_TRUE(Add(&files, std::string(99, 'x') + "%01", "2"));
  // 97 and an escape are 100, and as long as a name may be.
  EXPECT_TRUE(Add(&files, std::string(97, 'y') + "%01", "3"));
  EXPECT_TRUE(Add(&files, std::string(97, 'y') + "%01z", "4"));
  files.Commit();
  EXPECT_EQ(ContentOf(directory_ + "/" + characters.substr(0, 99) + "%~1"), "h\n1");
  EXPECT_EQ(ContentOf(directory_ + "/" + std::string(99, 'x') + "%~2"), "h\n2");
  EXPECT_EQ(ContentOf(directory_ + "/" + std::string(97, 'y') + "%01"), "h\n3");
  EXPECT_EQ(ContentOf(directory_ + "/" + std::string(97, 'y') + "%01%~3"), "h\n4");
}

TEST_F(SplitParts, AreGoneWithTheirDirectoriesUnlessCommitted) {
  {
    SplitFiles files(directory_ + "/made/here/{obj}/a.csv", false, "");
    EXPECT_TRUE(Add(&files, "a", std::string(2 << 20, 'x')));
    EXPECT_EQ(Parts(), 1U);
  }
  EXPECT_TRUE(fs::is_empty(directory_));
  {
    SplitFiles files(directory_ + "/made/here/{obj}/a.csv", false, "");
    EXPECT_TRUE(Add(&files, "a", "x"));
    files.Commit();
  }
  EXPECT_EQ(ContentOf(directory_ + "/made/here/a/a.csv"), "h\nx");
  EXPECT_EQ(Parts(), 1U);
  // The directory of the parts has gone as well.
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_ + "/made/here"), fs::directory_iterator()), 1);
}

// ---- what an abrupt end takes away ----

class Leftovers : public Files {
 protected:
  void TearDown() override {
    tesview::ForgetLeftover();
    Files::TearDown();
  }
};

TEST_F(Leftovers, AreAFile) {
  const std::string kept = Write("kept", "x");
  const std::string part = Write("part", "x");
  tesview::RemoveLeftover();
  EXPECT_TRUE(fs::exists(part));
  tesview::KeepLeftover(part);
  tesview::RemoveLeftover();
  EXPECT_FALSE(fs::exists(part));
  EXPECT_TRUE(fs::exists(kept));
  // What is forgotten stays.
  tesview::KeepLeftover(kept);
  tesview::ForgetLeftover();
  tesview::RemoveLeftover();
  EXPECT_TRUE(fs::exists(kept));
}

TEST_F(Leftovers, HaveRoomForANumberBehindThem) {
  // Of the 4,096 bytes that a path may have, with its zero, 16 are kept for a number, and one for the slash.
  const size_t longest = 4096 - 17;
  std::string folder = directory_;
  while (longest - folder.size() > 256)
    folder += "/" + std::string(std::min<size_t>(200, longest - folder.size() - 3), 'd');
  fs::create_directories(folder);
  const std::string kept = folder + "/" + std::string(longest - folder.size() - 1, 'f');
  const std::string longer = kept + "f";
  for (const std::string& path : {kept, longer}) {
    std::ofstream(path) << "x";
    tesview::KeepLeftover(path);
    tesview::RemoveLeftover();
    EXPECT_EQ(fs::exists(path), path == longer);
    tesview::ForgetLeftover();
  }
}

TEST_F(Leftovers, AreADirectoryOfNumberedFiles) {
  for (int i = 0; i < 12; ++i)
    Write("parts/" + std::to_string(i), "x");
  tesview::KeepLeftover(directory_ + "/parts");
  tesview::CountLeftovers(11);
  tesview::RemoveLeftover();
  // The last one was not counted.
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_ + "/parts"), fs::directory_iterator()), 1);
  EXPECT_TRUE(fs::exists(directory_ + "/parts/11"));
  tesview::CountLeftovers(12);
  tesview::RemoveLeftover();
  EXPECT_TRUE(fs::is_empty(directory_));
}

}  // namespace
