// What make-capture writes, read back: whole replies, numbers that hang together, damage where its list says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "replies/wire.h"
#include "tesparser/tesparser.h"
#include "tests/support/program.h"
#include "tsl_base/table.hpp"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class MakeCapture : public ::testing::Test {
 protected:
  void SetUp() override {
    directory_ = std::filesystem::temp_directory_path() / ("make_capture_test." + std::to_string(getpid()));
    std::filesystem::create_directories(directory_);
  }
  void TearDown() override { std::filesystem::remove_all(directory_); }

  std::string Path(const std::string& name) const { return (directory_ / name).string(); }

  static std::string Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // The bytes that it writes with these arguments.
  std::string Make(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {MAKE_CAPTURE};
    command.insert(command.end(), arguments.begin(), arguments.end());
    command.push_back(Path("made"));
    const program::Result result = program::Run(command);
    EXPECT_EQ(result.code, 0) << result.err;
    return Read(Path("made"));
  }

 private:
  std::filesystem::path directory_;
};

enum class Length { kVarint, kBig, kLittle };

// The length at `*pos`, behind which `*pos` is then. False at the end and where there is none.
bool ReadLength(std::string_view bytes, Length as, size_t* pos, uint64_t* length) {
  if (as == Length::kVarint) return replies::ReadVarint(bytes, pos, length);
  if (bytes.size() - *pos < 4) return false;
  *length = 0;
  for (size_t i = 0; i < 4; ++i)
    *length = *length << 8 | static_cast<unsigned char>(bytes[*pos + (as == Length::kBig ? i : 3 - i)]);
  *pos += 4;
  return true;
}

// The replies of bytes that have to be nothing but whole ones.
std::vector<std::string> RepliesOf(std::string_view bytes, Length as = Length::kVarint) {
  std::vector<std::string> all;
  size_t pos = 0;
  uint64_t length = 0;
  while (pos < bytes.size()) {
    if (!ReadLength(bytes, as, &pos, &length) || length > bytes.size() - pos) {
      ADD_FAILURE() << "no reply before offset " << pos;
      break;
    }
    all.emplace_back(bytes.substr(pos, static_cast<size_t>(length)));
    EXPECT_TRUE(replies::LooksLikeEnvelope(all.back())) << "before offset " << pos;
    pos += all.back().size();
  }
  return all;
}

std::map<int, int> CountsOf(const std::vector<std::string>& all) {
  std::map<int, int> counts;
  for (const std::string& reply : all) {
    int32_t id = 0;
    EXPECT_TRUE(replies::FindId(reply, &id));
    ++counts[id];
  }
  return counts;
}

struct Damaged {
  size_t offset = 0, length = 0;
  std::string kind;
  size_t lost = 0;
};

std::vector<Damaged> ReadList(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  EXPECT_EQ(line, "offset\tlength\tkind\tlost");
  std::vector<Damaged> all;
  while (std::getline(file, line)) {
    std::istringstream words(line);
    Damaged damaged;
    words >> damaged.offset >> damaged.length >> damaged.kind >> damaged.lost;
    EXPECT_FALSE(words.fail()) << line;
    all.push_back(damaged);
  }
  return all;
}

TEST_F(MakeCapture, SameArgumentsGiveTheSameBytes) {
  const std::string first = Make({"300K"});
  EXPECT_GE(first.size(), size_t{300} * 1024);
  EXPECT_TRUE(first == Make({"300K"}));
  EXPECT_FALSE(first == Make({"300K", "--seed", "2"}));
}

TEST_F(MakeCapture, OfEveryIdSomeAndSmallOnesMost) {
  const std::vector<std::string> all = RepliesOf(Make({"8M"}));
  const std::map<int, int> counts = CountsOf(all);
  std::vector<int> ids;
  for (const auto& [id, count] : counts)
    ids.push_back(id);
  EXPECT_THAT(ids, ElementsAre(3, 20, 21, 22, 28, 399, 405, 437));
  EXPECT_GT(counts.at(20), static_cast<int>(all.size()) / 2);
  // One of a hundred, about.
  EXPECT_GT(counts.at(21), static_cast<int>(all.size()) / 200);
  EXPECT_LT(counts.at(21), static_cast<int>(all.size()) / 50);
}

TEST_F(MakeCapture, OnlyTheIdsAskedFor) {
  std::vector<int> ids;
  for (const auto& [id, count] : CountsOf(RepliesOf(Make({"200K", "--ids", "21,437"}))))
    ids.push_back(id);
  EXPECT_THAT(ids, ElementsAre(21, 437));
}

TEST_F(MakeCapture, AnyKindOfLength) {
  const std::vector<std::string> varints = RepliesOf(Make({"200K"}));
  const std::vector<std::string> big = RepliesOf(Make({"200K", "--prefix", "fixed32be"}), Length::kBig);
  const std::vector<std::string> little = RepliesOf(Make({"200K", "--prefix", "fixed32le"}), Length::kLittle);
  EXPECT_TRUE(big == little);
  // Longer lengths, so fewer replies; and what time it is depends on the bytes before. The first is the same.
  ASSERT_FALSE(varints.empty());
  EXPECT_EQ(big.at(0), varints.at(0));
}

// Of each instrument, as its snapshots tell: the sum of its trades, and the volume that the last one has.
struct Volume {
  int64_t traded = 0, told = 0;
};

void AddSnapshots(const std::string& reply, std::map<std::string, Volume>* volumes,
                  std::vector<int64_t>* times) {
  const tsl_base::Table table(TesparserPB2Table(reply));
  ASSERT_TRUE(table);
  for (const tsl_base::RowView row : table.view()) {
    const auto data = row.get<tsl_base::TableView>("Data");
    ASSERT_TRUE(data);
    for (const tsl_base::RowView cells : *data) {
      Volume& volume = (*volumes)[std::string(row.get<std::string_view>("Obj").value())];
      volume.traded += static_cast<int64_t>(cells.as_double("XianShou").value());
      volume.told = static_cast<int64_t>(cells.as_double("ChengJiaoLiang").value());
      times->push_back(static_cast<int64_t>(cells.as_double("ShiJian").value()));
    }
  }
}

TEST_F(MakeCapture, VolumesAreTheSumOfTheTradesOfADay) {
  std::map<std::string, Volume> volumes;
  std::vector<int64_t> times;
  for (const std::string& reply : RepliesOf(Make({"1M"}))) {
    int32_t id = 0;
    replies::FindId(reply, &id);
    if (id == 20) AddSnapshots(reply, &volumes, &times);
  }
  EXPECT_GT(volumes.size(), 100U);
  for (const auto& [instrument, volume] : volumes)
    EXPECT_EQ(volume.traded, volume.told) << instrument;
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
  EXPECT_LT(times.front(), 20240617093100);
  EXPECT_GE(times.back(), 20240617145500);
  EXPECT_LT(times.back(), 20240617150000);
  for (const int64_t time : times)
    EXPECT_FALSE(time > 20240617113000 && time < 20240617130000) << time;
}

TEST_F(MakeCapture, DamageIsWhereTheListSays) {
  const std::vector<std::string> whole = RepliesOf(Make({"400K"}));
  const std::string bytes = Make({"400K", "--damage", "13"});
  const std::vector<Damaged> list = ReadList(Path("made.damage"));
  ASSERT_EQ(list.size(), 13U);
  std::set<std::string> kinds;
  std::vector<std::string> left;
  size_t lost = 0;
  size_t pos = 0;
  for (const Damaged& damaged : list) {
    ASSERT_GE(damaged.offset, pos);
    for (std::string& reply : RepliesOf(std::string_view(bytes).substr(pos, damaged.offset - pos)))
      left.push_back(std::move(reply));
    pos = damaged.offset + damaged.length;
    lost += damaged.lost;
    kinds.insert(damaged.kind);
  }
  EXPECT_EQ(pos, bytes.size());  // the last one is the truncated reply
  EXPECT_EQ(list.back().kind, "truncated");
  EXPECT_THAT(kinds, ElementsAre("gap", "length", "stray", "truncated"));
  EXPECT_EQ(left.size() + lost, whole.size());
  // What is left is in order what there would be.
  size_t at = 0;
  for (const std::string& reply : left) {
    while (at < whole.size() && whole[at] != reply)
      ++at;
    ASSERT_LT(at++, whole.size());
  }
}

TEST_F(MakeCapture, DamagedAtARateAndOfAKind) {
  const std::string bytes = Make({"400K", "--damage", "0.05", "--kinds", "stray"});
  const std::vector<Damaged> list = ReadList(Path("made.damage"));
  std::string left;
  size_t pos = 0;
  for (const Damaged& damaged : list) {
    EXPECT_EQ(damaged.kind, "stray");
    left += bytes.substr(pos, damaged.offset - pos);
    pos = damaged.offset + damaged.length;
  }
  left += bytes.substr(pos);
  EXPECT_TRUE(left == Make({"400K"}));
  const size_t replies = RepliesOf(left).size();
  EXPECT_GT(list.size(), replies / 40);
  EXPECT_LT(list.size(), replies / 10);
}

TEST_F(MakeCapture, WithoutAFileToStandardOutput) {
  const program::Result result = program::Run({MAKE_CAPTURE, "100K"});
  EXPECT_EQ(result.code, 0);
  EXPECT_TRUE(result.out == Make({"100K"}));
  EXPECT_THAT(result.err, HasSubstr(std::to_string(RepliesOf(result.out).size()) + " replies"));
}

TEST_F(MakeCapture, SaysWhatIsWrong) {
  program::Result result = program::Run({MAKE_CAPTURE, "1K", "--damage", "3"});
  EXPECT_EQ(result.code, 2);
  EXPECT_THAT(result.err, HasSubstr("needs a FILE"));
  result = program::Run({MAKE_CAPTURE, "1K", Path("no/such/directory")});
  EXPECT_EQ(result.code, 1);
  EXPECT_THAT(result.err, HasSubstr("No such file"));
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"many"}, {"1K", "--ids", "5"}, {"1K", "--prefix", "none"}, {}}) {
    std::vector<std::string> command = {MAKE_CAPTURE};
    command.insert(command.end(), arguments.begin(), arguments.end());
    EXPECT_NE(program::Run(command).code, 0);
  }
  // A disk that is full.
  EXPECT_EQ(program::Run({MAKE_CAPTURE, "1K", "/dev/full"}).code, 1);
}

}  // namespace
