// Streams of replies with their lengths that are damaged, and parts of streams.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "replies/frames.h"
#include "replies/plain_frame.h"
#include "replies/reply_reader.h"
#include "replies/wire.h"
#include "tests/reliability/malloc.h"
#include "tests/replies/streams.h"
#include "tests/support/processor_time.h"

namespace replies {
namespace {

// 11 bytes each; with a varint before them 12, with four bytes 15.
const std::string kA = WithPayload("aaaaaa");
const std::string kB = WithPayload("bbbbbb");
const std::string kC = WithPayload("cccccc");
const std::string kStray(12, '\xFF');

TEST(Damage, StrayBytesAreSkippedAndSaidWithTheirPlace) {
  const StreamRead read = ReadStream(InFrame(kA) + kStray + InFrame(kB) + InFrame(kC));
  EXPECT_EQ(read.replies, (Strings{kA, kB, kC}));
  EXPECT_EQ(read.numbers, (std::vector<uint64_t>{1, 3, 4}));
  EXPECT_EQ(read.offsets, (std::vector<uint64_t>{0, 24, 36}));
  EXPECT_EQ(read.errors, Strings{"reply 2 at offset 12: its length is no varint; the stream is damaged here; "
                                 "12 bytes skipped, up to offset 24"});
  EXPECT_EQ(read.lost, std::vector<uint64_t>{12});
}

// A length may have more bytes than it needs.
TEST(Damage, IsSkippedUpToALengthOfFiveBytes) {
  const StreamRead read = ReadStream(InFrame(kA) + kStray + std::string("\x8B\x80\x80\x80\x00", 5) + kB);
  EXPECT_EQ(read.replies, (Strings{kA, kB}));
  EXPECT_EQ(read.lost, std::vector<uint64_t>{12});
}

// Thirty texts, and then what no field begins with.
TEST(Damage, IsNoReplyHoweverLateThatShows) {
  std::string late = "\x08\x14";
  for (int i = 0; i < 30; ++i)
    late += "\x12\x01t";
  late += '\x0F';
  const StreamRead read = ReadStream(InFrame(kA) + kStray + InFrame(late) + InFrame(kB) + InFrame(kC));
  EXPECT_EQ(read.replies, (Strings{kA, kB, kC}));
  EXPECT_EQ(read.lost, std::vector<uint64_t>{12 + 1 + late.size()});
}

TEST(Damage, IsSkippedWhateverTheLengthsLookLike) {
  for (const Form form : {Form::kFixed32Be, Form::kFixed32Le}) {
    const StreamRead read =
        ReadStream(InFrame(kA, form) + kStray + InFrame(kB, form) + InFrame(kC, form), form);
    EXPECT_EQ(read.replies, (Strings{kA, kB, kC}));
    EXPECT_EQ(read.errors,
              Strings{"reply 2 at offset 15: its length is given as 4294967295, which no reply can have; "
                      "the stream is damaged here; 12 bytes skipped, up to offset 27"});
  }
}

TEST(Damage, ALengthThatReachesOverOthersIsNoticed) {
  // 23 is its own eleven bytes and all of the next frame.
  std::string wrong = InFrame(kA);
  wrong[0] = 23;
  const StreamRead read = ReadStream(wrong + InFrame(kB) + InFrame(kC));
  EXPECT_EQ(read.replies, (Strings{kB, kC}));
  EXPECT_EQ(read.numbers, (std::vector<uint64_t>{2, 3}));
  EXPECT_EQ(read.errors,
            Strings{"reply 1 at offset 0: its length is given as 23, which reaches over replies behind "
                    "it; 12 bytes skipped, up to offset 12"});
  // One that is too short ends inside the payload.
  wrong[0] = 9;
  EXPECT_EQ(ReadStream(wrong + InFrame(kB) + InFrame(kC)).replies, (Strings{kB, kC}));
  // And one that reaches behind the end is no end of the stream.
  wrong[0] = 127;
  const StreamRead last = ReadStream(wrong + InFrame(kB) + InFrame(kC));
  EXPECT_EQ(last.replies, (Strings{kB, kC}));
  EXPECT_EQ(last.errors,
            Strings{"reply 1 at offset 0: its length is given as 127, but the stream ends after 35 "
                    "bytes; 12 bytes skipped, up to offset 12"});
}

TEST(Damage, AReplyLeftHalfWrittenTakesNoOtherAlong) {
  // 105 bytes, of which 50 were written with the length.
  std::string stream = InFrame(WithPayload(std::string(100, 'x'))).substr(0, 50);
  for (int i = 0; i < 20; ++i)
    stream += InFrame(kA);
  const StreamRead read = ReadStream(stream);
  EXPECT_EQ(read.replies, Strings(20, kA));
  EXPECT_EQ(read.errors,
            Strings{"reply 1 at offset 0: its length is given as 105, which reaches over replies behind "
                    "it; 50 bytes skipped, up to offset 50"});
}

TEST(Damage, ALongLengthIsDoubtedBeforeAllOfItIsRead) {
  // 80 00 is no length that fits; FF FF 7F is 2097151.
  std::string stream = "\xFF\xFF\x7F";
  for (int i = 0; i < 20000; ++i)
    stream += InFrame(kA);
  MemorySource source(stream);
  ReplyReader reader(&source, Form::kDelimited, nullptr);
  Reply reply;
  std::string error;
  EXPECT_EQ(reader.Read(&reply, &error), Next::kBad);
  EXPECT_EQ(
      error,
      "reply 1 at offset 0: its length is given as 2097151, which reaches over replies behind it; 3 bytes "
      "skipped, up to offset 3");
  EXPECT_EQ(ReadStream(&reader).replies.size(), 20000u);
}

// With the stray byte in front, the length of two bytes is one of three: FF FF 7F again. Behind it each reply
// is there.
TEST(Damage, ALongLengthMayHideAReplyAtItsSecondByte) {
  const std::string reply = std::string("\x08\x14\xA2\x01\xF9\x7F") + std::string(16377, 'x');
  std::string stream = "\xFF";
  for (int i = 0; i < 10; ++i)
    stream += InFrame(reply);
  const StreamRead read = ReadStream(stream);
  EXPECT_EQ(read.replies, Strings(10, reply));
  EXPECT_EQ(read.lost, std::vector<uint64_t>{1});
}

TEST(Damage, AGapOfZerosIsOneStretch) {
  for (const Form form : kStreamForms) {
    const std::string first = InFrame(kA, form);
    const StreamRead read =
        ReadStream(first + std::string(100000, '\0') + InFrame(kB, form) + InFrame(kC, form), form);
    EXPECT_EQ(read.replies, (Strings{kA, kB, kC}));
    ASSERT_EQ(read.errors.size(), 1u);
    EXPECT_EQ(read.lost, std::vector<uint64_t>{100000});
    EXPECT_EQ(read.numbers, (std::vector<uint64_t>{1, 3, 4}));
  }
}

TEST(Damage, AReplyAloneBetweenDamageIsGiven) {
  const StreamRead read = ReadStream(kStray + InFrame(kA) + kStray + InFrame(kB) + kStray);
  EXPECT_EQ(read.replies, (Strings{kA, kB}));
  EXPECT_EQ(read.lost, (std::vector<uint64_t>{12, 12, 12}));
  EXPECT_EQ(read.errors.back(),
            "reply 5 at offset 48: its length is no varint; the stream is damaged here; 12 bytes "
            "skipped, up to the end");
}

// Id 4 and a text of JSON in field 4, alone between damage; any other text could be a part of something.
TEST(Damage, ATableAsTextIsAPayloadIfItIsJson) {
  const auto read = [](const std::string& text) {
    const std::string reply = "\x08\x04\x22" + std::string(1, static_cast<char>(text.size())) + text;
    return ReadStream(InFrame(kA) + kStray + InFrame(reply) + kStray + InFrame(kB)).replies.size();
  };
  for (const char* json : {"{\"a\":1}", "[1,2]", "{}", "[]"})
    EXPECT_EQ(read(json), 3U) << json;
  for (const char* none : {"{\"a\":1]", "[1,2}", "|1}", "{1|", "a", ""})
    EXPECT_EQ(read(none), 2U) << none;
}

TEST(Damage, AReplyWithoutAPayloadIsFoundIfAnotherFollows) {
  const std::string only_id = InFrame("\x08\x16");
  EXPECT_EQ(ReadStream(kStray + only_id + InFrame(kA)).replies, (Strings{"\x08\x16", kA}));
  // Bytes that look like one, and nothing behind them that does.
  EXPECT_EQ(ReadStream(InFrame(kA) + kStray + only_id + kStray + InFrame(kB)).replies, (Strings{kA, kB}));
}

// Id 3 and its table of 13 bytes: a column without a name, then data which look like the Id 1 and a text of
// three bytes in a frame of seven.
TEST(Damage, NoMessageInsideATableIsTakenForAReply) {
  const std::string table(
      "\x08\x03\x1A\x0D"
      "\x12\x02\x0A\x00"
      "\x1A\x07\x08\x01\x12\x03\xD2\x09\x05",
      17);
  for (const std::string& behind : {std::string(), InFrame(kA), kStray + InFrame(table)}) {
    const StreamRead read = ReadStream(InFrame(table) + InFrame(table) + behind);
    ASSERT_GE(read.replies.size(), 2u);
    EXPECT_EQ(read.replies[0], table);
    EXPECT_EQ(read.replies[1], table);
    EXPECT_EQ(read.replies.size(), behind.empty() ? 2u : 3u);
  }
}

TEST(Damage, InsideAReplyIsForItsDecoder) {
  std::string broken = kB;
  broken[2] = '\x07';
  EXPECT_EQ(ReadStream(InFrame(kA) + InFrame(broken) + InFrame(kC)).replies, (Strings{kA, broken, kC}));
  EXPECT_EQ(ReadStream(InFrame(kA) + InFrame("") + InFrame(kC)).replies, (Strings{kA, "", kC}));
  EXPECT_EQ(ReadStream(InFrame(kA) + InFrame("\x0F\x0F")).replies, (Strings{kA, "\x0F\x0F"}));
}

// A field of four bytes is none of the envelope, but the parser takes it: (1002 << 3 | 5) = 8021.
TEST(Damage, BehindAReplyWithUnknownFieldsLeavesItWhole) {
  const std::string odd_fields =
      "\x08\x14\xD5\x3E"
      "1234";
  for (const Form form : kStreamForms) {
    const StreamRead read = ReadStream(InFrame(odd_fields, form) + std::string(50, '\xFF'), form);
    EXPECT_EQ(read.replies, Strings{odd_fields});
    EXPECT_EQ(read.errors.size(), 1U);
  }
}

TEST(Damage, EndsTheReadingIfThatIsAskedFor) {
  const std::string stream = InFrame(kA) + kStray + InFrame(kB);
  MemorySource source(stream);
  ReplyReader reader(&source, Form::kDelimited, nullptr);
  reader.StopAtDamage();
  const StreamRead read = ReadStream(&reader);
  EXPECT_EQ(read.replies, Strings{kA});
  EXPECT_EQ(read.errors,
            Strings{"reply 2 at offset 12: its length is no varint; the stream is damaged here"});
}

// A file that is read byte by byte.
class ByteByByte : public ByteSource {
 public:
  explicit ByteByByte(std::string bytes) : bytes_(std::move(bytes)) {}
  size_t Read(char* to, size_t size) override {
    if (at_ == bytes_.size() || size == 0) return 0;
    *to = bytes_[at_++];
    return 1;
  }
  bool MayWait() const override { return false; }

 private:
  std::string bytes_;
  size_t at_ = 0;
};

// Whether all of `wanted` are in `all`, in their order.
bool AreAmong(const Strings& wanted, const Strings& all) {
  auto at = all.begin();
  for (const std::string& each : wanted) {
    at = std::find(at, all.end(), each);
    if (at == all.end()) return false;
    ++at;
  }
  return true;
}

// A stream of 30 replies with texts of their own, of which some are damaged.
struct DamagedStream {
  std::string bytes;
  Strings whole;

  DamagedStream(unsigned seed, Form form);
};

DamagedStream::DamagedStream(unsigned seed, Form form) {
  std::mt19937 chance(seed);
  const auto below = [&chance](unsigned n) { return static_cast<unsigned>(chance() % n); };
  struct Place {
    size_t begin;
    size_t end;  // as its length tells
    std::string reply;
    bool is_whole;
  };
  std::vector<Place> places;
  for (int i = 0; i < 30; ++i) {
    const std::string reply = WithPayload("reply " + std::to_string(i) + std::string(below(60), 'x'));
    const std::string good = InFrame(reply, form);
    std::string frame = good;
    switch (below(8)) {
      case 0:
        for (unsigned n = below(40); n != 0; --n)
          bytes += static_cast<char>(below(256));
        break;
      case 1: frame.resize(1 + below(static_cast<unsigned>(frame.size()) - 1)); break;
      case 2: frame[form == Form::kFixed32Be ? 3 : 0] ^= static_cast<char>(1 << below(7)); break;
      default: break;
    }
    size_t prefix = 0;
    uint64_t size = 0;
    ReadPrefix(frame.substr(0, 1) == good.substr(0, 1) ? good : frame, *PrefixOf(form), &prefix, &size);
    places.push_back({bytes.size(), bytes.size() + prefix + static_cast<size_t>(size), reply, frame == good});
    bytes += frame;
  }
  // A length that ends just where another reply begins cannot be told from a right one.
  const auto is_hidden = [&places](const Place& place) {
    return std::any_of(places.begin(), places.end(), [&](const Place& over) {
      return !over.is_whole && over.begin < place.begin && over.end > place.begin &&
             std::any_of(places.begin(), places.end(), [&](const Place& at) { return at.begin == over.end; });
    });
  };
  for (const Place& place : places) {
    if (place.is_whole && !is_hidden(place)) whole.push_back(place.reply);
  }
}

TEST(Damage, OfAnyKindLosesNoReplyThatIsWhole) {
  size_t whole = 0;
  for (unsigned seed = 0; seed < 600; ++seed) {
    const Form form = kStreamForms[seed % 3];
    const DamagedStream stream(seed, form);
    whole += stream.whole.size();
    EXPECT_TRUE(AreAmong(stream.whole, ReadStream(stream.bytes, form).replies)) << "seed " << seed;
    ByteByByte slow(stream.bytes);
    ReplyReader reader(&slow, form, nullptr);
    EXPECT_TRUE(AreAmong(stream.whole, ReadStream(&reader).replies)) << "seed " << seed << ", byte by byte";
  }
  // Of three quarters nothing but what stands before them is damaged.
  EXPECT_GT(whole, 600u * 30 / 2);
}

// ---- lengths of four bytes ----

TEST(Fixed32, IsRecognisedByTheRepliesBehindIt) {
  for (const Form form : kStreamForms) {
    for (const std::string& stream :
         {InFrame(kA, form) + InFrame(kB, form), InFrame(kA, form),
          InFrame("\x08\x16", form) + InFrame(kA, form),
          InFrame(WithPayload(std::string(100, 'x')) + WithPayload("").substr(2), form)}) {
      MemorySource source(stream);
      ReplyReader reader(&source, Form::kAuto, nullptr);
      EXPECT_GT(ReadStream(&reader).replies.size(), 0u);
      EXPECT_EQ(reader.form(), form);
    }
  }
}

TEST(Fixed32, IsNotRecognisedWhereNothingSpeaksForIt) {
  // An envelope behind four bytes, and then what is none.
  EXPECT_EQ(Recognise(InFrame("\x08\x16", Form::kFixed32Be) + kStray, Extent::kWhole, Form::kAuto)->form,
            Form::kRaw);
  EXPECT_EQ(Recognise(std::string(64, '\0'), Extent::kWhole, Form::kAuto)->form, Form::kRaw);
}

// ---- where frames are ----

TEST(Frames, ATableIsLookedIntoAsFarAsIsFree) {
  // Descriptions of columns without anything in them, one more than are looked at, and what no table has.
  std::string table;
  for (int i = 0; i < kFreeFields; ++i)
    table += std::string("\x12\x00", 2);
  const auto has_payload = [](const std::string& content) {
    const std::string reply = "\x08\x03\x1a" + std::string(1, static_cast<char>(content.size())) + content;
    Effort none;
    bool has = false;
    EXPECT_EQ(LookAtEnvelope(reply, reply.size(), &none, &has), Look::kWhole);
    return has;
  };
  EXPECT_TRUE(has_payload(table));
  EXPECT_TRUE(has_payload(table + "\x28\x01"));
  EXPECT_FALSE(has_payload(table.substr(2) + "\x28\x01"));
  // Descriptions and data have lengths, and nothing else is in a table.
  for (const char* field : {"\x10\x01", "\x18\x01", "\x11TwoWords", "\x1DWord", "\x0A\x01x", "\x22\x01x"}) {
    EXPECT_FALSE(has_payload(field)) << testing::PrintToString(field);
  }
}

TEST(Frames, AnEnvelopeHasAnIdInFrontAndThenWhatBelongsToIt) {
  const auto look = [](const std::string& content) {
    Effort none;
    bool has = false;
    return LookAtEnvelope(content, content.size(), &none, &has);
  };
  const std::string id = "\x08\x14";
  // An object, a count of objects, a text, the payload of the Id.
  for (const std::string field : {"\x12\x01x", "\x28\x05", "\x22\x01x", "\xA2\x01\x01x"})
    EXPECT_EQ(look(id + field), Look::kWhole) << testing::PrintToString(field);
  // A number that is one, an Id or a count with a length, a payload of another Id, or none.
  for (const std::string field :
       {"\x10\x05", "\x0A\x01x", "\x2A\x01x", "\xAA\x01\x01x", "\xA0\x01\x05", "\x12\x02x"})
    EXPECT_EQ(look(id + field), Look::kNo) << testing::PrintToString(field);
}

// What is there of a table says nothing about the rest of it.
TEST(Frames, ATableThatIsCutOffIsNoPayloadYet) {
  const std::string reply("\x08\x03\x1A\x08\x12\x00\x12\x00\x1A\x00\x1A\x00", 12);
  for (size_t there = 2; there <= reply.size(); ++there) {
    Effort none;
    bool has = false;
    LookAtEnvelope(reply.substr(0, there), reply.size(), &none, &has);
    EXPECT_EQ(has, there == reply.size()) << there;
  }
}

// Its end is not waited for.
TEST(Frames, ALongReplyIsFoundByItsPayloadOrItsLastField) {
  // 200,000 and 100,000 as varints.
  const std::string size = "\xC0\x9A\x0C";
  const std::string half = "\xA0\x8D\x06";
  const std::string filler(70000, 'x');
  const auto found_at = [](const std::string& bytes) {
    Effort effort{1000, 0};
    const Search search = FindFrame(bytes, 0, kAnywhere, false, Prefix::kVarint, kMaxReplyBytes, &effort);
    return search.result == Search::kFound ? static_cast<int>(search.at) : -1;
  };
  EXPECT_EQ(found_at("??" + size + "\x08\x14\xA2\x01" + half + filler), 2);
  EXPECT_EQ(found_at("??" + size + "\x08\x14\x12" + half + filler), -1);
  // The first 64 KiB are enough to look at, and one byte less is not.
  const std::string begun = "??" + size + "\x08\x14\xA2\x01" + half;
  EXPECT_EQ(found_at(begun + filler.substr(0, kLookAhead - begun.size() + 2)), 2);
  EXPECT_EQ(found_at(begun + filler.substr(0, kLookAhead - begun.size() + 1)), -1);
  // A text to the end of the reply: 200,000 less 6 bytes.
  EXPECT_EQ(found_at("??" + size + "\x08\x14\x12\xBA\x9A\x0C" + filler), 2);
}

// Behind two stray bytes a reply of 20, and the end.
TEST(Frames, NoneHasMoreThanTheMost) {
  const std::string reply = WithPayload(std::string(15, 'x'));
  const auto found = [&reply](uint64_t most) {
    Effort effort{1000, 0};
    const std::string bytes = "??" + InFrame(reply);
    return FindFrame(bytes, 0, kAnywhere, true, Prefix::kVarint, most, &effort).result == Search::kFound;
  };
  EXPECT_TRUE(found(21));
  EXPECT_TRUE(found(20));
  EXPECT_FALSE(found(19));
}

// A reply without its payload needs another one behind it.
TEST(Frames, WithoutAPayloadTheNextOneIsWaitedFor) {
  const std::string only_id = std::string(20, '?') + "\x02\x08\x14";
  const auto search = [](const std::string& bytes, bool ended) {
    Effort effort{1000, 0};
    return FindFrame(bytes, 0, kAnywhere, ended, Prefix::kVarint, kMaxReplyBytes, &effort);
  };
  // The next one's length, its tag, and an Id that goes on; and a length of more bytes than it needs.
  using namespace std::string_literals;
  for (const std::string& next :
       {"\x0F"s, "\x0F\x08"s, "\x0F\x08\x94\x80"s, "\x8F\x80\x80\x80\x00\x08\x94"s}) {
    const Search more = search(only_id + next, false);
    EXPECT_EQ(more.result, Search::kNeedsMore);
    EXPECT_LE(more.at, 20U);
    EXPECT_EQ(search(only_id + next, true).result, Search::kNone);
  }
  const Search whole = search(only_id + InFrame(WithPayload("ab")), false);
  EXPECT_EQ(whole.result, Search::kFound);
  EXPECT_EQ(whole.at, 20U);
}

// A number that has not ended may have ten bytes.
TEST(Frames, ANumberIsCutAsLongAsItMayEnd) {
  for (const char* head : {"\x08\x14", "\x08\x14\x28", "\x08\x14\x12", "\x08"}) {
    for (size_t bytes = 1; bytes <= 12; ++bytes) {
      Effort effort{1000, 0};
      bool has_payload = false;
      const Look look = LookAtEnvelope(head + std::string(bytes, '\xFF'), 1000, &effort, &has_payload);
      EXPECT_EQ(look, bytes < 10 ? Look::kSoFar : Look::kNo) << bytes;
    }
  }
}

// No more is kept than the bytes of a length, and none before `from`.
TEST(Frames, ASearchGoesOnWhereALengthMayHaveBegun) {
  const auto goes_on = [](const std::string& bytes, size_t from, Prefix prefix) {
    Effort effort{1000, 0};
    const Search search = FindFrame(bytes, from, kAnywhere, false, prefix, kMaxReplyBytes, &effort);
    EXPECT_EQ(search.result, Search::kNeedsMore);
    return search.at;
  };
  const std::string none(20, 'x');
  // The head of a reply of 200 bytes with an object of 190, C8 and BE with 01 behind them.
  const std::string content = "\x08\x14\x12\xBE\x01" + std::string(20, 'x');
  EXPECT_EQ(goes_on(none, 0, Prefix::kVarint), 15U);
  EXPECT_EQ(goes_on(none, 17, Prefix::kVarint), 17U);
  EXPECT_EQ(goes_on(none.substr(0, 4), 0, Prefix::kVarint), 0U);
  // Behind twenty bytes and the two of the length.
  EXPECT_EQ(goes_on(none + "\xC8\x01" + content, 0, Prefix::kVarint), 17U);
  EXPECT_EQ(goes_on(none + "\xC8\x01" + content, 19, Prefix::kVarint), 19U);
  for (const Prefix prefix : {Prefix::kFixed32Be, Prefix::kFixed32Le}) {
    const std::string size =
        prefix == Prefix::kFixed32Be ? std::string("\0\0\0\xC8", 4) : std::string("\xC8\0\0\0", 4);
    EXPECT_EQ(goes_on(none, 0, prefix), 16U);
    EXPECT_EQ(goes_on(none, 17, prefix), 17U);
    EXPECT_EQ(goes_on(none.substr(0, 4), 0, prefix), 0U);
    EXPECT_EQ(goes_on(none.substr(0, 3), 0, prefix), 0U);
    EXPECT_EQ(goes_on(none + size + content, 0, prefix), 20U);
    EXPECT_EQ(goes_on(none + size + content, 20, prefix), 20U);
  }
}

// ---- plain frames ----

// An object, the count of objects.
const std::string kTexts(
    "\x12\x03"
    "abc"
    "\x28\x05",
    7);

TEST(PlainFrame, IsOneOfWhichNothingIsOdd) {
  const std::string behind(kPlainRoom, '\0');
  const std::string heads = "\x08\x14" + kTexts + "\xA2\x01";
  for (const std::string& reply : {std::string("\x08\x16"), kA, heads + "\x0B" + std::string(11, 'x'),
                                   heads + "\xAC\x02" + std::string(300, 'x')}) {
    for (const Form form : kStreamForms) {
      const std::string framed = InFrame(reply, form);
      PlainFrame frame;
      ASSERT_TRUE(BeginsPlainFrame((framed + behind).data(), *PrefixOf(form), 1000, &frame));
      EXPECT_EQ(frame.content, framed.size() - reply.size());
      EXPECT_EQ(frame.end, framed.size());
      EXPECT_EQ(frame.at, framed.size());
      EXPECT_FALSE(BeginsPlainFrame((framed + behind).data(), *PrefixOf(form), reply.size() - 1, &frame));
    }
  }
}

TEST(PlainFrame, MayHaveALengthOfThreeBytes) {
  const auto varint = [](uint64_t value) {
    std::string bytes;
    AppendVarint(&bytes, value);
    return bytes;
  };
  const std::string behind(kPlainRoom, '\0');
  for (const size_t size : {size_t{16400}, size_t{100000}, size_t{2097000}}) {
    const std::string reply = "\x08\x14\x12" + varint(size) + std::string(size, 't');
    const std::string framed = varint(reply.size()) + reply;
    PlainFrame frame;
    ASSERT_TRUE(BeginsPlainFrame((framed + behind).data(), Prefix::kVarint, reply.size(), &frame)) << size;
    EXPECT_EQ(frame.content, 3U);
    EXPECT_EQ(frame.end, framed.size());
    EXPECT_EQ(frame.id, 20U);
  }
  // Four bytes are left to the longer look.
  PlainFrame frame;
  EXPECT_FALSE(
      BeginsPlainFrame((varint(2097152) + "\x08\x14" + behind).data(), Prefix::kVarint, 3000000, &frame));
}

TEST(PlainFrame, MayHaveFieldsBehindTheFirstBytes) {
  // An Id, 26 bytes of a text, and payloads of three and of one byte: the second one's head is behind the
  // first 32 bytes.
  const std::string reply = "\x08\x14\x12\x18" + std::string(24, 't') + "\xA2\x01\x03xxx\xA2\x01\x01y";
  const std::string framed = InFrame(reply) + std::string(kPlainRoom, '\0');
  const auto* bytes = reinterpret_cast<const unsigned char*>(framed.data());
  PlainFrame frame;
  ASSERT_TRUE(BeginsPlainFrame(framed.data(), Prefix::kVarint, 1000, &frame));
  EXPECT_EQ(frame.at, 1u + 34);
  ASSERT_TRUE(GoOverPlainFields(bytes, frame.end, &frame));
  EXPECT_EQ(frame.at, 1u + 38);
  EXPECT_EQ(frame.at, frame.end);
  // Another Id there.
  std::string odd = framed;
  odd[1 + 34] = '\x08';
  ASSERT_TRUE(BeginsPlainFrame(odd.data(), Prefix::kVarint, 1000, &frame));
  EXPECT_FALSE(GoOverPlainFields(reinterpret_cast<const unsigned char*>(odd.data()), frame.end, &frame));
}

// Numbers may be written with more bytes than they need; these are left to the longer look.
TEST(PlainFrame, HasNumbersOfFewBytes) {
  const std::string behind(kPlainRoom, 'x');
  const auto begins = [&](const std::string& bytes) {
    PlainFrame frame;
    return BeginsPlainFrame((bytes + behind).data(), Prefix::kVarint, kMaxReplyBytes, &frame);
  };
  const auto framed = [](const std::string& reply) {
    return std::string(1, static_cast<char>(reply.size())) + reply;
  };
  const std::string text =
      "\x12\x05"
      "abcde";
  EXPECT_TRUE(begins(framed("\x08\x14" + text)));
  // The Id: two bytes, and three.
  EXPECT_TRUE(begins(framed(std::string("\x08\x94\x00", 3) + text)));
  EXPECT_FALSE(begins(framed(std::string("\x08\x94\x80\x00", 4) + text)));
  // The tag of a field, of which three bytes are one too many. The length behind it would be 0, and the next
  // text of 17 letters would fit as well.
  const std::string seventeen(17, 'x');
  EXPECT_TRUE(begins(framed("\x08\x14\xA2\x01\x12\x11" + seventeen)));
  EXPECT_FALSE(begins(framed(std::string("\x08\x14\xA2\x81\x00\x12\x11", 7) + seventeen)));
  // The length of a field: three bytes, and four.
  EXPECT_TRUE(begins(framed(std::string("\x08\x14\x12\xE4\x80\x00", 6) + std::string(100, 'x'))));
  EXPECT_FALSE(begins(framed(std::string("\x08\x14\x12\xE4\x80\x80\x00", 7) + std::string(100, 'x'))));
  // The length of all: four bytes, of which the last looks like an Id's tag. It is 2^24 and 100.
  EXPECT_FALSE(begins("\xE4\x80\x80\x08\x08\x12\x12\x12" + std::string(100, 'x')));
}

// An Id, and twenty counts of objects: 42 bytes, of which the first 32 are looked at, and then no more fields
// than are free.
TEST(PlainFrame, CountsItsFields) {
  std::string reply = "\x08\x14";
  for (int i = 0; i < 20; ++i)
    reply += "\x28\x05";
  const std::string framed = InFrame(reply) + std::string(kPlainRoom, '\0');
  PlainFrame frame;
  // Whatever the one before had.
  frame.fields = 7;
  ASSERT_TRUE(BeginsPlainFrame(framed.data(), Prefix::kVarint, 1000, &frame));
  EXPECT_EQ(frame.fields, 15);
  EXPECT_EQ(frame.at, 1U + 32);
  ASSERT_TRUE(GoOverPlainFields(reinterpret_cast<const unsigned char*>(framed.data()), frame.end, &frame));
  EXPECT_EQ(frame.fields, kFreeFields);
  EXPECT_EQ(frame.at, 1U + 2 + 2 * 16);
}

// Any bytes: what it says is what the longer looks say, and no byte behind those that it asks for is touched.
TEST(PlainFrame, IsWhatTheLongerLookFinds) {
  std::mt19937 chance(1);
  const auto below = [&chance](size_t n) { return static_cast<size_t>(chance() % n); };
  const Strings bases = {"\x08\x16", kA, "\x08\x14" + kTexts + "\xA2\x01\x02xx",
                         "\x08\x14" + kTexts + kTexts + kTexts + kTexts + kTexts + kTexts,
                         std::string("\x08\x03\x1A\x04\x12\x02\x0A\x00", 8)};
  size_t plain = 0;
  size_t whole = 0;
  for (int i = 0; i < 200000; ++i) {
    const Form form = kStreamForms[below(3)];
    const Prefix prefix = *PrefixOf(form);
    std::string frame = InFrame(bases[below(bases.size())], form);
    for (size_t n = below(3); n != 0; --n)
      frame[below(frame.size())] = static_cast<char>(below(2) == 0 ? below(256) : below(48));
    frame.resize(kPlainRoom + 30, '\x08');
    const std::unique_ptr<char[]> exact(new char[kPlainRoom]);
    std::copy(frame.begin(), frame.begin() + kPlainRoom, exact.get());
    PlainFrame found;
    if (!BeginsPlainFrame(exact.get(), prefix, kMaxReplyBytes, &found)) continue;
    ++plain;
    size_t prefix_size = 0;
    uint64_t size = 0;
    Look look = Look::kNo;
    ASSERT_EQ(ReadPrefix(frame, prefix, &prefix_size, &size), PrefixStep::kRead);
    EXPECT_EQ(found.content, prefix_size);
    EXPECT_EQ(found.end, prefix_size + size);
    EXPECT_EQ(LookBehind(frame, 0, false, prefix, kMaxReplyBytes, &look), Behind::kReply);
    EXPECT_EQ(look == Look::kWhole, found.at == found.end) << testing::PrintToString(frame);
    if (found.end + kPlainLoad > frame.size()) continue;
    if (!GoOverPlainFields(reinterpret_cast<const unsigned char*>(frame.data()), found.end, &found)) continue;
    ++whole;
    Effort none;
    bool ignored = false;
    EXPECT_NE(LookAtEnvelope(std::string_view(frame).substr(prefix_size, static_cast<size_t>(size)), size,
                             &none, &ignored),
              Look::kNo)
        << testing::PrintToString(frame);
  }
  EXPECT_GT(plain, 50000u);
  EXPECT_GT(whole, 50000u);
}

// ---- parts ----

TEST(Parts, GiveEachReplyOnceWhereverTheStreamIsSplit) {
  std::string stream;
  std::vector<uint64_t> offsets;
  for (int i = 0; i < 9; ++i) {
    offsets.push_back(stream.size());
    stream += InFrame(i % 3 == 0 ? "\x08\x16" : WithPayload(std::string(static_cast<size_t>(i), 'x')));
  }
  const auto read = [&stream](uint64_t begin, uint64_t end) {
    MemorySource source(std::string_view(stream).substr(static_cast<size_t>(begin)));
    ReplyReader reader(&source, Form::kDelimited, Part{begin, end, begin != 0});
    return ReadStream(&reader);
  };
  for (uint64_t split = 1; split <= stream.size(); ++split) {
    const StreamRead first = read(0, split);
    const StreamRead second = read(split, stream.size());
    std::vector<uint64_t> found = first.offsets;
    found.insert(found.end(), second.offsets.begin(), second.offsets.end());
    EXPECT_EQ(found, offsets) << split;
    EXPECT_EQ(first.errors.size() + second.errors.size(), 0u) << split;
    EXPECT_TRUE(second.numbers.empty() || second.numbers[0] == 1) << split;
  }
}

TEST(Parts, AreNumberedFromWhatIsBeforeThem) {
  const std::string stream = InFrame(kA) + kStray + InFrame(kB);
  MemorySource source(stream);
  ReplyReader reader(&source, Form::kDelimited, Part{0, stream.size(), false, 41});
  const StreamRead read = ReadStream(&reader);
  EXPECT_EQ(read.numbers, (std::vector<uint64_t>{42, 44}));
  EXPECT_EQ(read.errors,
            Strings{"reply 43 at offset 12: its length is no varint; the stream is damaged here; 12 bytes "
                    "skipped, up to offset 24"});
}

// In the midst of a large reply there is nothing, and all of it would be searched for each part otherwise.
TEST(Parts, AreSearchedNoFurtherThanToTheirEnd) {
  class Counted : public ByteSource {
   public:
    size_t Read(char* to, size_t size) override {
      read_ += size;
      std::fill(to, to + size, '\xFF');
      return size;
    }
    bool MayWait() const override { return false; }
    size_t read() const { return read_; }

   private:
    size_t read_ = 0;
  };
  Counted endless;
  ReplyReader reader(&endless, Form::kDelimited, Part{1000, 5000000, true});
  EXPECT_EQ(ReadStream(&reader).replies.size(), 0u);
  EXPECT_LT(endless.read(), 6000000u);
}

// ---- cost ----

TEST(Cost, OfDamageIsLinear) {
  const auto repeated = [](size_t size, const std::string& piece) {
    std::string all;
    while (all.size() < size)
      all += piece;
    return all;
  };
  const std::string empty_fields = repeated(100, std::string("\x12\x00", 2));
  for (const std::string& piece :
       {std::string(1, '\x08'), std::string(1, '\0'), std::string("\x7F\x08\x14\xA2\x01"),
        // Lengths that reach far over all that follows, with a payload that reaches far as well, or with
        // fields.
        std::string("\xFF\xFF\x3F\x08\x14\xA2\x01\xF0\xFF\x3F"), std::string("\xFF\x7F\x08\x14\x12\x00", 6),
        "\xFF\xFF\x03\x08\x14" + empty_fields, "\xFF\x7F\x08\x14" + empty_fields + "\x0F",
        // A reply now and then.
        kStray + InFrame(kA), InFrame(kA) + "\xFF\x7F"}) {
    for (const Form form : {Form::kDelimited, Form::kFixed32Le}) {
      const size_t size = reliability::kBrief ? 20000 : 100000;
      const std::string once = InFrame(kA, form) + repeated(size, piece);
      const std::string eightfold = InFrame(kA, form) + repeated(8 * size, piece);
      EXPECT_TRUE(
          processor_time::IsLinear([&] { ReadStream(once, form); }, [&] { ReadStream(eightfold, form); }))
          << testing::PrintToString(piece.substr(0, 12));
    }
  }
}

}  // namespace
}  // namespace replies
