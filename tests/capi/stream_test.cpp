// Claim: an Arrow stream of the C face gives the rows that its options ask for, says why there is none, and
// needs only what its declaration says to stay.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tesparser_c.h"
#include "tests/reliability/replies.h"
#include "tests/support/arrow_rows.h"
#include "tests/support/replies.h"

namespace {

using arrow_rows::RowsOf;
using arrow_rows::TypeText;
using reliability::Varint;
using test_replies::P;
using test_replies::Reply;
using Rows = std::vector<std::string>;

// Two bars of one instrument.
std::string Kline(const std::string& obj) {
  return Reply("Id: 21 RepDataQuoteKlineSingle { Obj: '" + obj + "' Data { ShiJian: " + P(1, 10) +
               " KaiPanJia: " + P(250) + " } Data { ShiJian: " + P(2, 10) + " } }");
}

std::string Framed(const std::vector<std::string>& replies) {
  std::string bytes;
  for (const std::string& reply : replies)
    bytes += Varint(reply.size()) + reply;
  return bytes;
}

class Options : public tesparser_stream_options {
 public:
  explicit Options(int32_t of_id = 0) {
    std::memset(static_cast<tesparser_stream_options*>(this), 0x5A, sizeof(tesparser_stream_options));
    tesparser_stream_options_init(this, sizeof(tesparser_stream_options));
    id = of_id;
  }
  // Three of a bar's many columns.
  Options& WithColumns() {
    static const char* const kNames[] = {"Obj", "ShiJian", "KaiPanJia"};
    columns = kNames;
    column_count = 3;
    return *this;
  }
};

struct Read {
  int32_t refused = TESPARSER_OK;
  std::string message;
  std::string type;
  Rows rows;
  std::vector<int64_t> batches;
};

Read ReadAll(const std::string& bytes, const tesparser_stream_options* options) {
  Read read;
  ArrowArrayStream stream;
  tesparser_error error;
  std::memset(&error, 0x5A, sizeof error);
  read.refused = tesparser_stream_memory(bytes.data(), bytes.size(), options, &stream, &error);
  read.message = error.message;
  EXPECT_EQ(error.reason, read.refused);
  EXPECT_EQ(stream.release == nullptr, read.refused != TESPARSER_OK);
  if (read.refused != TESPARSER_OK) return read;
  ArrowSchema schema;
  if (stream.get_schema(&stream, &schema) == 0) {
    read.type = TypeText(schema);
    schema.release(&schema);
  }
  read.rows = RowsOf(&stream, &read.batches);
  return read;
}

const std::string kTwo = Framed({Kline("A"), Kline("B")});

TEST(CStream, GivesARowForEachInnermostRow) {
  const Read read = ReadAll(kTwo, &Options(21).WithColumns());
  EXPECT_EQ(read.type, "Obj:u Data.ShiJian:g Data.KaiPanJia:g");
  EXPECT_EQ(read.rows, (Rows{R"({"Obj":"A","Data.ShiJian":1,"Data.KaiPanJia":2.5})",
                             R"({"Obj":"A","Data.ShiJian":2,"Data.KaiPanJia":0})",
                             R"({"Obj":"B","Data.ShiJian":1,"Data.KaiPanJia":2.5})",
                             R"({"Obj":"B","Data.ShiJian":2,"Data.KaiPanJia":0})"}));
  EXPECT_EQ(read.batches, std::vector<int64_t>{4});
}

TEST(CStream, TakesItsOptions) {
  Options nested(21);
  nested.WithColumns().flat = 0;
  nested.column_count = 2;
  EXPECT_EQ(ReadAll(kTwo, &nested).rows, (Rows{R"({"Obj":"A","Data":[{"ShiJian":1},{"ShiJian":2}]})",
                                               R"({"Obj":"B","Data":[{"ShiJian":1},{"ShiJian":2}]})"}));

  Options numbered(21);
  numbered.WithColumns().number = 1;
  numbered.offset = 1;
  numbered.column_count = 1;
  const std::string second = std::to_string(kTwo.size() / 2);
  EXPECT_EQ(ReadAll(kTwo, &numbered).rows, (Rows{R"({"_reply":1,"_offset":0,"Obj":"A"})",
                                                 R"({"_reply":2,"_offset":)" + second + R"(,"Obj":"B"})"}));

  numbered.offset = 0;
  EXPECT_EQ(ReadAll(kTwo, &numbered).rows, (Rows{R"({"_reply":1,"Obj":"A"})", R"({"_reply":2,"Obj":"B"})"}));

  Options small(21);
  small.batch_rows = 1;
  EXPECT_EQ(ReadAll(kTwo, &small).batches, (std::vector<int64_t>{2, 2}));

  Options raw(21);
  raw.form = TESPARSER_FORM_RAW;
  EXPECT_EQ(ReadAll(Kline("A"), &raw.WithColumns()).rows.size(), 2U);
}

TEST(CStream, TakesALayout) {
  const std::string reply =
      Reply("Id: 25 RepDataZhiBiaoShuChu { Obj: 'A' ShuJu { ShiJian: " + P(1, 10) + " JieGuo: 1234 } }");
  Options options(25);
  options.type = 102;
  EXPECT_EQ(ReadAll(reply, &options).rows,
            (Rows{R"({"Obj":"A","Data.ShiJian":1,"Data.JieGuo1":12.34,"Data.JieGuo2":null})"}));
}

TEST(CStream, DecodesByTheSchemaAlone) {
  Options options(22);
  options.decode = 1;
  const char* const obj[] = {"Obj", "QingPan"};
  options.columns = obj;
  options.column_count = 2;
  const std::string reply = Reply("Id: 22 RepDataQuoteTickSingle { Obj: 'A' QingPan: " + P(250) + " }");
  const std::string packed = ReadAll(reply, &options).rows.at(0);
  options.unpack_all = 1;
  const std::string all = ReadAll(reply, &options).rows.at(0);
  options.unpack_all = 0;
  options.unpack_fields = obj + 1;
  options.unpack_field_count = 1;
  const std::string one = ReadAll(reply, &options).rows.at(0);
  EXPECT_NE(all.find("\"QingPan\":2.5"), std::string::npos) << all;
  EXPECT_EQ(one, all);
  EXPECT_NE(packed.find("\"QingPan\":250"), std::string::npos) << packed;
}

TEST(CStream, WithoutOptionsGoesByTheFirstReply) {
  const Read read = ReadAll(kTwo, nullptr);
  EXPECT_EQ(read.refused, TESPARSER_OK);
  EXPECT_EQ(read.rows.size(), 4U);
  // A file without a byte is taken for a reply without one.
  EXPECT_EQ(ReadAll("", nullptr).rows, (Rows{"error 22: reply 1 at offset 0: empty, 0 bytes"}));
}

TEST(CStream, KnowsItsTypeBeforeAReplyComes) {
  Options none(21);
  none.form = TESPARSER_FORM_DELIMITED;
  const Read read = ReadAll("", &none.WithColumns());
  EXPECT_EQ(read.type, "Obj:u Data.ShiJian:g Data.KaiPanJia:g");
  EXPECT_EQ(read.rows, Rows());

  ArrowArrayStream stream;
  ArrowSchema schema;
  const Options options(21);
  ASSERT_EQ(tesparser_stream_memory(nullptr, 0, &options, &stream, nullptr), TESPARSER_OK);
  ASSERT_EQ(stream.get_schema(&stream, &schema), 0);
  // Each text of the metadata has its length in front of it.
  const std::string metadata(schema.children[0]->metadata, 100);
  EXPECT_NE(metadata.find("heading"), std::string::npos);
  schema.release(&schema);
  stream.release(&stream);
}

TEST(CStream, CountsWhatItReads) {
  tesparser_stream_counts counts;
  std::memset(&counts, 0x5A, sizeof counts);
  Options options(21);
  options.counts = &counts;
  ArrowArrayStream stream;
  const std::string other = Reply("Id: 27");
  const std::string cut = "\x08\x15\x12\x05";
  const std::string bytes = Framed({Kline("A"), cut, other, cut, other, cut, other, Reply("Id: 21"), other});
  options.on_misfit = TESPARSER_MISFIT_SKIPPED;
  options.form = TESPARSER_FORM_DELIMITED;
  ASSERT_EQ(tesparser_stream_memory(bytes.data(), bytes.size(), &options, &stream, nullptr), TESPARSER_OK);
  EXPECT_EQ(counts.replies, 0U);
  EXPECT_EQ(RowsOf(&stream).size(), 2U);
  EXPECT_EQ(counts.replies, 9U);
  EXPECT_EQ(counts.rows, 2U);
  EXPECT_EQ(counts.empty, 1U);
  EXPECT_EQ(counts.passed_over, 4U);
  EXPECT_EQ(counts.misfits, 3U);
}

TEST(CStream, CountsTheReplyThatTellsItsType) {
  tesparser_stream_counts counts{};
  Options options;
  options.counts = &counts;
  ArrowArrayStream stream;
  ArrowSchema schema;
  ASSERT_EQ(tesparser_stream_memory(kTwo.data(), kTwo.size(), &options, &stream, nullptr), TESPARSER_OK);
  EXPECT_EQ(counts.replies, 0U);
  ASSERT_EQ(stream.get_schema(&stream, &schema), 0);
  EXPECT_EQ(counts.replies, 1U);
  schema.release(&schema);
  stream.release(&stream);
}

TEST(CStream, StopsAtAMisfitBehindTheRowsBeforeIt) {
  const std::string bytes = Framed({Kline("A"), "\x08\x15\x12\x05"});
  Options options(21);
  options.WithColumns().column_count = 1;
  options.form = TESPARSER_FORM_DELIMITED;
  const Rows rows = ReadAll(bytes, &options).rows;
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0], R"({"Obj":"A"})");
  const std::string where =
      "error 22: reply 2 at offset " + std::to_string(Kline("A").size() + 1) + ": not a reply: ";
  EXPECT_EQ(rows[1].substr(0, where.size()), where);
}

struct Skipped {
  std::vector<uint64_t> numbers;
  std::vector<uint64_t> offsets;
  std::vector<std::string> why;
};

void Skip(void* context, const tesparser_misfit* misfit) {
  auto* skipped = static_cast<Skipped*>(context);
  skipped->numbers.push_back(misfit->number);
  skipped->offsets.push_back(misfit->offset);
  skipped->why.emplace_back(misfit->why);
}

TEST(CStream, TellsWhatItSkips) {
  const std::string bytes = Framed({Kline("A"), "\x08\x15\x12\x05", Kline("B")});
  Skipped skipped;
  Options options(21);
  options.form = TESPARSER_FORM_DELIMITED;
  options.on_misfit = TESPARSER_MISFIT_SKIPPED;
  EXPECT_EQ(ReadAll(bytes, &options).rows.size(), 4U);  // nobody listens
  options.misfit = Skip;
  options.context = &skipped;
  EXPECT_EQ(ReadAll(bytes, &options).rows.size(), 4U);
  EXPECT_EQ(skipped.numbers, std::vector<uint64_t>{2});
  EXPECT_EQ(skipped.offsets, std::vector<uint64_t>{Kline("A").size() + 1});
  ASSERT_EQ(skipped.why.size(), 1U);
  EXPECT_EQ(skipped.why[0].substr(0, 13), "not a reply: ");
}

TEST(CStream, ReadsAFile) {
  const std::string path = testing::TempDir() + "c_stream_test.bin";
  std::ofstream(path, std::ios::binary) << kTwo;
  ArrowArrayStream stream;
  tesparser_error error;
  ASSERT_EQ(tesparser_stream_file(path.c_str(), nullptr, &stream, &error), TESPARSER_OK) << error.message;
  std::remove(path.c_str());
  EXPECT_EQ(RowsOf(&stream).size(), 4U);

  EXPECT_EQ(tesparser_stream_file(path.c_str(), nullptr, &stream, &error), TESPARSER_CANNOT_READ);
  EXPECT_EQ(error.reason, TESPARSER_CANNOT_READ);
  EXPECT_NE(std::string(error.message).find("No such file"), std::string::npos) << error.message;
  EXPECT_EQ(stream.release, nullptr);
}

TEST(CStream, ThatCannotReadItsFileSaysSoEachTime) {
  ArrowArrayStream stream;
  if (tesparser_stream_file(testing::TempDir().c_str(), nullptr, &stream, nullptr) != TESPARSER_OK) return;
  for (int again = 0; again < 2; ++again) {
    ArrowArray array;
    EXPECT_EQ(stream.get_next(&stream, &array), EIO);
    ASSERT_NE(stream.get_last_error(&stream), nullptr);
    EXPECT_NE(std::string(stream.get_last_error(&stream)), "");
  }
  stream.release(&stream);
}

TEST(CStream, RefusesTablesAndColumnsThatThereAreNot) {
  Options options(22);
  EXPECT_EQ(ReadAll("", &options).refused, TESPARSER_NO_TABLE_FORM);
  options.WithColumns();
  EXPECT_EQ(ReadAll("", &options).refused, TESPARSER_NO_TABLE_FORM);
  options = Options(21);
  options.type = 5;
  EXPECT_EQ(ReadAll("", &options).refused, TESPARSER_NO_TABLE_FORM);
  options = Options(2);
  options.decode = 1;
  EXPECT_EQ(ReadAll("", &options).refused, TESPARSER_NO_TABLE_FORM);
  const char* const none[] = {"Nothing"};
  options = Options(21);
  options.columns = none;
  options.column_count = 1;
  const Read read = ReadAll("", &options);
  EXPECT_EQ(read.refused, TESPARSER_BAD_ARGUMENT);
  EXPECT_NE(read.message.find("Nothing"), std::string::npos) << read.message;
  // An Id with one layout and no table of its own has that.
  options = Options(44);
  EXPECT_EQ(ReadAll("", &options).refused, TESPARSER_OK);
  options.columns = none;
  options.column_count = 1;
  EXPECT_EQ(ReadAll("", &options).refused, TESPARSER_BAD_ARGUMENT);
}

std::string RefusalOf(const std::string& column) {
  const char* const names[] = {column.c_str()};
  Options options(21);
  options.columns = names;
  options.column_count = 1;
  return ReadAll("", &options).message;
}

// A message has 511 bytes and a zero.
TEST(CStream, CutsAMessageBetweenCharacters) {
  const std::string shortest = RefusalOf("@");
  const size_t at = shortest.find('@');
  ASSERT_NE(at, std::string::npos) << shortest;
  const std::string begin = shortest.substr(0, at);
  const std::string end = shortest.substr(at + 1);
  ASSERT_LT(shortest.size(), 400U);
  const std::string fits(511 - begin.size() - end.size(), '@');
  EXPECT_EQ(RefusalOf(fits), begin + fits + end);
  const std::string longer = (begin + fits + "@" + end).substr(0, 508) + "...";
  EXPECT_EQ(RefusalOf(fits + "@"), longer);
  for (size_t letters = 0; letters < 3; ++letters) {
    std::string name(letters, '@');
    for (int i = 0; i < 200; ++i)
      name += "银";
    // What is left of 508 bytes holds whole characters of three bytes each.
    const size_t room = (508 - begin.size() - letters) / 3 * 3;
    EXPECT_EQ(RefusalOf(name), begin + name.substr(0, letters + room) + "...") << letters;
  }
}

void ExpectRefused(const tesparser_stream_options& options, const std::string& message) {
  const Read read = ReadAll("", &options);
  EXPECT_EQ(read.refused, TESPARSER_BAD_ARGUMENT);
  EXPECT_EQ(read.message, message);
}

TEST(CStream, RefusesOptionsThatAreNone) {
  Options options(21);
  options.form = 9;
  ExpectRefused(options, "`form` is no enum tesparser_form");
  for (const int32_t on_misfit : {-1, 2}) {
    options = Options(21);
    options.on_misfit = on_misfit;
    ExpectRefused(options, "`on_misfit` is no enum tesparser_on_misfit");
  }
  options = Options(21);
  options.batch_rows = 0;
  ExpectRefused(options, "`batch_rows` is below 1");
  options = Options(21);
  options.column_count = 1;
  ExpectRefused(options, "a null pointer with a count above 0");
  const char* const none[] = {nullptr};
  options.columns = none;
  ExpectRefused(options, "a name is null");
  options = Options(21);
  options.unpack_field_count = 1;
  ExpectRefused(options, "a null pointer with a count above 0");
  options = Options(21);
  options.size = 0;
  ExpectRefused(options, "options without their size: tesparser_stream_options_init() sets it");

  tesparser_error error;
  EXPECT_EQ(tesparser_stream_memory("", 0, nullptr, nullptr, &error), TESPARSER_BAD_ARGUMENT);
  EXPECT_STREQ(error.message, "`stream` is null");
  ArrowArrayStream stream;
  EXPECT_EQ(tesparser_stream_memory(nullptr, 1, nullptr, &stream, nullptr), TESPARSER_BAD_ARGUMENT);
  EXPECT_EQ(tesparser_stream_file(nullptr, nullptr, &stream, &error), TESPARSER_BAD_ARGUMENT);
  EXPECT_STREQ(error.message, "`path` is null");
}

// A caller that was compiled with a later header.
struct LaterOptions {
  tesparser_stream_options known;
  int64_t later;
};

TEST(CStream, TakesOptionsOfALaterVersionThatAreNotSet) {
  LaterOptions options;
  std::memset(&options, 0x5A, sizeof options);
  tesparser_stream_options_init(&options.known, sizeof options);
  EXPECT_EQ(options.known.size, sizeof options);
  EXPECT_EQ(options.known.flat, 1);
  EXPECT_EQ(options.known.batch_rows, 65536);
  EXPECT_EQ(options.known.counts, nullptr);
  EXPECT_EQ(options.later, 0);
  EXPECT_EQ(ReadAll(kTwo, &options.known).rows.size(), 4U);
  options.later = 1;
  ExpectRefused(options.known, "an option that this version of the library does not know");
  tesparser_stream_options_init(nullptr, sizeof options);
}

// One that knew less would get no more than it has room for.
TEST(CStream, InitialisesNoMoreThanTheCallerHas) {
  unsigned char bytes[sizeof(tesparser_stream_options)];
  std::memset(bytes, 0x5A, sizeof bytes);
  tesparser_stream_options options;
  std::memcpy(&options, bytes, sizeof options);
  tesparser_stream_options_init(&options, offsetof(tesparser_stream_options, batch_rows));
  EXPECT_EQ(options.size, offsetof(tesparser_stream_options, batch_rows));
  EXPECT_EQ(options.flat, 1);
  EXPECT_EQ(std::memcmp(&options.batch_rows, bytes, sizeof options.batch_rows), 0);
}

TEST(CStream, NeedsNothingOfItsOptionsLater) {
  ArrowArrayStream stream;
  {
    auto name = std::make_unique<std::string>("Obj");
    const char* names[] = {name->c_str()};
    Options options(21);
    options.columns = names;
    options.column_count = 1;
    ASSERT_EQ(tesparser_stream_memory(kTwo.data(), kTwo.size(), &options, &stream, nullptr), TESPARSER_OK);
  }
  EXPECT_EQ(RowsOf(&stream), (Rows{R"({"Obj":"A"})", R"({"Obj":"B"})"}));
}

TEST(CStream, MayBeReleasedInTheMiddleAndOnAnotherThread) {
  auto bytes = std::make_unique<std::string>(kTwo);
  Options options(21);
  options.WithColumns().batch_rows = 1;
  ArrowArrayStream stream;
  ASSERT_EQ(tesparser_stream_memory(bytes->data(), bytes->size(), &options, &stream, nullptr), TESPARSER_OK);
  ArrowSchema schema;
  ArrowArray array;
  ASSERT_EQ(stream.get_schema(&stream, &schema), 0);
  ASSERT_EQ(stream.get_next(&stream, &array), 0);
  std::thread([&stream] { stream.release(&stream); }).join();
  EXPECT_EQ(stream.release, nullptr);
  bytes.reset();
  // What came from it lives on.
  EXPECT_EQ(RowsOf(schema, array).at(0), R"({"Obj":"A","Data.ShiJian":1,"Data.KaiPanJia":2.5})");
  array.release(&array);
  schema.release(&schema);
}

}  // namespace
