#include "replies/unpacked_source.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>

#include "replies/reply_reader.h"
#include "tests/replies/streams.h"
#include "tests/support/packed.h"

namespace replies {
namespace {

// Gives at most so many bytes at once.
class InPieces : public ByteSource {
 public:
  InPieces(std::string_view bytes, size_t piece) : bytes_(bytes), piece_(piece) {}
  size_t Read(char* to, size_t size) override {
    const size_t given = bytes_.copy(to, std::min(size, piece_));
    bytes_.remove_prefix(given);
    return given;
  }
  bool HasPaused() override { return true; }

 private:
  std::string_view bytes_;
  size_t piece_;
};

struct Unpacked {
  std::string bytes;
  std::string error;
};

Unpacked Unpack(std::string_view packed, size_t piece, size_t room = 1000) {
  InPieces source(packed, piece);
  UnpackedSource unpacked(&source);
  Unpacked all;
  std::string read(room, '\0');
  try {
    while (const size_t got = unpacked.Read(read.data(), read.size()))
      all.bytes.append(read, 0, got);
  } catch (const InputError& error) {
    all.error = error.what();
  }
  return all;
}

// Longer than any block of theirs.
std::string LongText() {
  std::string text;
  unsigned state = 1;
  while (text.size() < 300000) {
    state = state * 1103515245 + 12345;
    text += static_cast<char>('a' + (state >> 16) % 16);
  }
  return text;
}

TEST(Unpacked, GivesTheBytesInWhateverPiecesTheyCome) {
  const std::string text = LongText();
  for (const Packing packing : kPackings) {
    const std::string packed = Packed(packing, text);
    for (const size_t piece : {size_t{1}, size_t{7}, size_t{4096}, size_t{1000000}}) {
      const Unpacked all = Unpack(packed, piece, piece == 7 ? 1 : 100000);
      EXPECT_EQ(all.error, "") << NameOf(packing);
      EXPECT_TRUE(all.bytes == text) << NameOf(packing) << " " << piece;
    }
    EXPECT_EQ(Unpack(Packed(packing, ""), 5).bytes, "");
    EXPECT_EQ(Unpack(Packed(packing, ""), 5).error, "");
  }
}

// Pauses where it has given all it has.
class PausesAtItsEnd : public MemorySource {
 public:
  explicit PausesAtItsEnd(std::string_view bytes) : MemorySource(bytes), left_(bytes.size()) {}
  size_t Read(char* to, size_t size) override {
    const size_t given = MemorySource::Read(to, size);
    left_ -= given;
    return given;
  }
  bool HasPaused() override { return left_ == 0; }

 private:
  size_t left_;
};

// What was packed in the last bytes is still to come.
TEST(Unpacked, DoesNotPauseBeforeItsBytes) {
  const std::string text = LongText();
  for (const Packing packing : kPackings) {
    const std::string all = Packed(packing, text);
    PausesAtItsEnd source(all);
    UnpackedSource unpacked(&source);
    std::string room(1000, '\0');
    size_t got = 0;
    for (; got < text.size(); got += unpacked.Read(room.data(), room.size())) {
      if (got != 0) {
        ASSERT_FALSE(unpacked.HasPaused()) << got;
      }
    }
    EXPECT_EQ(unpacked.Read(room.data(), room.size()), 0U);
    EXPECT_TRUE(unpacked.HasPaused());
  }
}

TEST(Unpacked, JoinedStreamsAreOne) {
  for (const Packing packing : kPackings) {
    const std::string joined = Packed(packing, "one ") + Packed(packing, "") + Packed(packing, "two");
    for (const size_t piece : {size_t{1}, size_t{1000}}) {
      EXPECT_EQ(Unpack(joined, piece).bytes, "one two") << NameOf(packing);
      EXPECT_EQ(Unpack(joined + std::string(100, '\0'), piece).error, "") << NameOf(packing);
    }
  }
}

TEST(Unpacked, OtherBytesPassThrough) {
  for (const std::string& bytes :
       {std::string(), std::string("BZ"), std::string("BZh91AY&SX, a line of a log"), std::string("\x1F\x8B"),
        kReplyBytes, std::string("\x28\xB5\x2F"), LongText()}) {
    for (const size_t piece : {size_t{1}, size_t{1000}}) {
      const Unpacked all = Unpack(bytes, piece, 3);
      EXPECT_TRUE(all.bytes == bytes) << bytes.substr(0, 30);
      EXPECT_EQ(all.error, "");
    }
  }
}

TEST(Unpacked, CountsTheBytesOfItsSource) {
  for (const std::string& bytes : {LongText(), Packed(Packing::kGzip, LongText())}) {
    InPieces source(bytes, 1000);
    UnpackedSource unpacked(&source);
    std::string room(1000, '\0');
    while (unpacked.Read(room.data(), room.size()) != 0)
      continue;
    EXPECT_EQ(unpacked.packed_bytes(), bytes.size());
  }
}

// It tells nothing of the bytes.
TEST(Unpacked, AReadWithoutRoomChangesNothing) {
  const std::string packed = Packed(Packing::kGzip, "text");
  InPieces source(packed, 1000);
  UnpackedSource unpacked(&source);
  std::string room(10, '\0');
  EXPECT_EQ(unpacked.Read(room.data(), 0), 0U);
  EXPECT_EQ(unpacked.Read(room.data(), room.size()), 4U);
  EXPECT_EQ(room.substr(0, 4), "text");
}

TEST(Unpacked, ASourceThatEndsTooSoonGivesWhatCameBefore) {
  const std::string text = LongText();
  for (const Packing packing : kPackings) {
    const std::string packed = Packed(packing, text);
    const Unpacked all = Unpack(packed.substr(0, packed.size() - packed.size() / 10), 4096);
    EXPECT_TRUE(all.bytes == text.substr(0, all.bytes.size())) << NameOf(packing);
    // In blocks of 100 KB (bzip2) and of 64 KB (lz4), or more finely.
    EXPECT_GT(all.bytes.size(), 150000u) << NameOf(packing);
    EXPECT_EQ(all.error, std::string("the ") + NameOf(packing) + " data are damaged at offset " +
                             std::to_string(packed.size() - packed.size() / 10) + ", behind " +
                             std::to_string(all.bytes.size()) +
                             " unpacked bytes: the source ends inside them");
  }
}

TEST(Unpacked, NoFlippedBitPassesUnnoticed) {
  const std::string text = "the text of a stream, in which one bit after the other is flipped";
  for (const Packing packing : {Packing::kGzip, Packing::kBzip2, Packing::kXz, Packing::kLz4}) {
    const std::string packed = Packed(packing, text);
    for (size_t bit = 0; bit < 8 * packed.size(); ++bit) {
      std::string damaged = packed;
      damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
      const Unpacked all = Unpack(damaged, 1000);
      // A bit of the head may only be a time of day.
      EXPECT_TRUE(!all.error.empty() || all.bytes == text || all.bytes == damaged)
          << NameOf(packing) << " " << bit;
    }
  }
}

TEST(Unpacked, StrayBytesBehindAreNoEnd) {
  for (const Packing packing : kPackings) {
    const std::string packed = Packed(packing, "text");
    const Unpacked all = Unpack(packed + "stray bytes", 1000);
    EXPECT_EQ(all.bytes, "text") << NameOf(packing);
    EXPECT_NE(all.error.find("behind 4 unpacked bytes"), std::string::npos) << NameOf(packing) << all.error;
    // Some of them are looked at.
    const std::string at = "damaged at offset ";
    const size_t offset = std::stoul(all.error.substr(all.error.find(at) + at.size()));
    EXPECT_GE(offset, packed.size()) << NameOf(packing);
    EXPECT_LE(offset, packed.size() + 11) << NameOf(packing);
  }
}

TEST(Unpacked, StrayBytesAreSaidToBeNone) {
  for (const Packing packing : {Packing::kBzip2, Packing::kXz}) {
    const std::string error = Unpack(Packed(packing, "text") + "stray bytes behind it", 1000).error;
    const std::string end = std::string(": no ") + NameOf(packing);
    EXPECT_EQ(error.substr(error.size() - std::min(end.size(), error.size())), end) << error;
  }
}

TEST(Unpacked, PackedTwiceIsRefused) {
  const std::string twice = Packed(Packing::kXz, Packed(Packing::kGzip, "text"));
  EXPECT_EQ(Unpack(twice, 1000).error, "gzip inside xz: unpack it once before");
}

TEST(Unpacked, RepliesAreReadUpToTheDamageWhichIsThenSaid) {
  std::string stream;
  for (int i = 0; i < 10000; ++i)
    stream += InFrame(WithPayload(std::to_string(i)));
  const std::string packed = Packed(Packing::kGzip, stream);
  MemorySource source(std::string_view(packed).substr(0, packed.size() - 1));
  UnpackedSource unpacked(&source);
  ReplyReader reader(&unpacked, Form::kAuto, nullptr);
  Reply reply;
  std::string error;
  size_t found = 0;
  try {
    while (reader.Read(&reply, &error) == Next::kReply)
      ++found;
    FAIL() << "no error";
  } catch (const InputError& failure) {
    EXPECT_EQ(found, 10000u);
    EXPECT_NE(std::string(failure.what()).find("the source ends inside them"), std::string::npos);
  }
  EXPECT_EQ(unpacked.packed_bytes(), packed.size() - 1);
}

TEST(Unpacked, HalfAReplyIsNone) {
  const std::string packed = Packed(Packing::kGzip, WithPayload("only one reply"));
  MemorySource source(std::string_view(packed).substr(0, packed.size() - 9));
  UnpackedSource unpacked(&source);
  ReplyReader reader(&unpacked, Form::kRaw, nullptr);
  Reply reply;
  std::string error;
  EXPECT_THROW(reader.Read(&reply, &error), InputError);
}

// Zeros are unpacked faster than they are taken: all that was packed is read long before the last of them.
TEST(Unpacked, GivesWhatIsLeftBehindTheLastPackedByte) {
  const std::string zeros(100000, '\0');
  for (const Packing packing : kPackings) {
    const Unpacked all = Unpack(Packed(packing, zeros), 1000000, 10);
    EXPECT_EQ(all.error, "") << NameOf(packing);
    EXPECT_TRUE(all.bytes == zeros) << NameOf(packing);
  }
}

TEST(Unpacked, OnlyWhatWasPackedHasALimit) {
  const auto most_of = [](const std::string& bytes) {
    InPieces source(bytes, 1000);
    UnpackedSource unpacked(&source);
    char byte = 0;
    EXPECT_EQ(unpacked.Read(&byte, 1), 1U);
    return unpacked.MostAtOnce();
  };
  EXPECT_EQ(most_of("text"), std::numeric_limits<size_t>::max());
  for (const Packing packing : kPackings)
    EXPECT_EQ(most_of(Packed(packing, "text")), size_t{256} << 20) << NameOf(packing);
}

// ---- few bytes that become many ----

// A billion zeros take a megabyte when they are packed, and next to nothing when they are packed as one of a
// thousand streams of a million.
std::string ManyZeros(const std::string& before, size_t megabytes) {
  const std::string million = Packed(Packing::kZstd, std::string(size_t{1} << 20, '\0'));
  std::string packed = Packed(Packing::kZstd, before);
  for (size_t i = 0; i < megabytes; ++i)
    packed += million;
  return packed;
}

// All of it as one reply.
Next ReadRaw(const std::string& packed, Reply* reply, std::string* error) {
  MemorySource source(packed);
  UnpackedSource unpacked(&source);
  ReplyReader reader(&unpacked, Form::kRaw, nullptr);
  return reader.Read(reply, error);
}

TEST(Bomb, OneReplyOfZerosIsRefused) {
  Reply reply;
  std::string error;
  EXPECT_EQ(ReadRaw(ManyZeros("", 300), &reply, &error), Next::kBad);
  EXPECT_EQ(
      error,
      "more than 268435456 bytes out of compressed input; if they are one reply, unpack the input before");
}

// 256 MiB are the most that is taken, and are taken.
TEST(Bomb, OneReplyOfTheMostBytesIsTaken) {
  Reply reply;
  std::string error;
  EXPECT_EQ(ReadRaw(ManyZeros("", 256), &reply, &error), Next::kReply) << error;
  EXPECT_EQ(reply.bytes.size(), size_t{256} << 20);
}

// The most memory that a process of its own takes for it beyond what it begins with, in KB; -1 if `read` is
// false there.
template <class Call>
long MemoryFor(Call read) {
  int ends[2];
  if (pipe(ends) != 0) return -1;
  const pid_t child = fork();
  if (child == 0) {
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_SELF, &before);
    const bool right = read();
    getrusage(RUSAGE_SELF, &after);
    const long taken = right ? after.ru_maxrss - before.ru_maxrss : -1;
    _exit(write(ends[1], &taken, sizeof taken) == sizeof taken ? 0 : 1);
  }
  close(ends[1]);
  long taken = -1;
  if (::read(ends[0], &taken, sizeof taken) != sizeof taken) taken = -1;
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return taken;
}

TEST(Bomb, AnAnnouncedReplyIsPassedOverWithoutBeingHeld) {
  // FF FF FF FF 07 is 2147483647.
  const std::string packed = ManyZeros(InFrame(kReplyBytes) + "\xFF\xFF\xFF\xFF\x07", 400) +
                             Packed(Packing::kZstd, InFrame(WithPayload("behind")));
  MemorySource source(packed);
  UnpackedSource unpacked(&source);
  ReplyReader reader(&unpacked, Form::kDelimited, nullptr);
  const StreamRead read = ReadStream(&reader);
  EXPECT_EQ(read.replies, (Strings{kReplyBytes, WithPayload("behind")}));
  EXPECT_EQ(
      read.errors,
      Strings{
          "reply 2 at offset 7: its length is given as 2147483647, and out of compressed input a reply may have "
          "268435456 at most; if it has so many, unpack the input before; 419430405 bytes skipped, up to "
          "offset 419430412"});
}

TEST(Bomb, TakesLittleMemory) {
  const std::string packed = ManyZeros(InFrame(kReplyBytes) + "\xFF\xFF\xFF\xFF\x07", 400);
  const long taken = MemoryFor([&packed] {
    MemorySource source(packed);
    UnpackedSource unpacked(&source);
    ReplyReader reader(&unpacked, Form::kAuto, nullptr);
    return ReadStream(&reader).replies == Strings{kReplyBytes};
  });
  EXPECT_GE(taken, 0);
  // Where addresses are watched, each of them takes memory of its own.
  EXPECT_LT(taken, 64 * 1024);
}

}  // namespace
}  // namespace replies
