// Replies as streams of arrays. Most of them are wire tables, whose columns a test can choose.
#include "replies/table_stream.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "replies/columns.h"
#include "tests/support/arrow_rows.h"
#include "tests/support/full_replies.h"
#include "tests/support/replies.h"

namespace {

using arrow_rows::RowsOf;
using arrow_rows::TypeText;
using replies::ArrowOwner;
using replies::Misfit;
using replies::Next;
using replies::NextReply;
using replies::OnMisfit;
using replies::Reply;
using replies::StreamCounts;
using replies::StreamOptions;
using replies::TableRequest;
using test_replies::P;
using Rows = std::vector<std::string>;

// ---- replies ----------------------------------------------------------------------------------------------

// A column of a wire table.
struct WireColumn {
  std::string info;
  std::string values;
};

std::string Payload(const std::vector<WireColumn>& columns) {
  std::string infos;
  std::string data;
  for (size_t i = 0; i < columns.size(); ++i) {
    infos += "Info { " + columns[i].info + " } ";
    data += fmt::format("Data {{ Index: {} {} }} ", i, columns[i].values);
  }
  return infos + data;
}

WireColumn Texts(const std::string& name, const std::vector<std::string>& texts) {
  WireColumn column{"Name: '" + name + "' Type: 115", ""};
  for (const std::string& text : texts)
    column.values += " sValues: '" + text + "'";
  return column;
}

// Hundredths.
WireColumn Numbers(const std::string& name, const std::vector<uint64_t>& numbers) {
  WireColumn column{"Name: '" + name + "' Type: 105", ""};
  for (const uint64_t number : numbers)
    column.values += " iValues: " + P(number);
  return column;
}

WireColumn Tables(const std::string& name, const std::vector<std::string>& payloads) {
  WireColumn column{"Name: '" + name + "' Type: 116", ""};
  for (const std::string& payload : payloads)
    column.values += " tValues { " + payload + " }";
  return column;
}

std::string Wire(const std::vector<WireColumn>& columns) {
  return test_replies::Reply("Id: 3 Tbl { Info { Name: 'w' Type: 116 } Data { Index: 0 tValues { " +
                             Payload(columns) + " } } }");
}

// Two instruments, of which the second has no bars.
std::string Kline(const std::string& first, const std::string& second) {
  return test_replies::Reply("Id: 21 RepDataQuoteKlineSingle { Obj: '" + first + "' Data { ShiJian: " +
                             P(1, 10) + " KaiPanJia: " + P(250) + " } Data { ShiJian: " + P(2, 10) +
                             " } } RepDataQuoteKlineSingle { Obj: '" + second + "' }");
}

// Gives replies that are 100 bytes apart. An empty one is lost.
NextReply From(std::vector<std::string> replies) {
  return [replies = std::move(replies), at = size_t{0}](Reply* reply, std::string* error) mutable {
    if (at == replies.size()) return Next::kEnd;
    reply->bytes = replies[at];
    reply->number = at + 1;
    reply->offset = 100 * at++;
    if (!reply->bytes.empty()) return Next::kReply;
    *error = fmt::format("reply {} at offset {}: lost", reply->number, reply->offset);
    return Next::kBad;
  };
}

struct Read {
  Rows rows;
  std::vector<int64_t> batches;
  std::string type;
  std::vector<std::string> skipped;
  StreamCounts counts;
  std::string refused;
};

Read ReadAll(NextReply next, const TableRequest& request = {}, const StreamOptions& options = {}) {
  Read read;
  ArrowArrayStream stream{};
  const auto skip = [&](const Misfit& misfit) {
    read.skipped.push_back(fmt::format("{} at {}: {}", misfit.number, misfit.offset, misfit.why));
  };
  if (!MakeTableStream(std::move(next), request, options, skip, &read.counts, &stream, &read.refused))
    return read;
  ArrowOwner<ArrowSchema> schema;
  if (stream.get_schema(&stream, schema.get()) == 0) read.type = TypeText(*schema);
  read.rows = RowsOf(&stream, &read.batches);
  return read;
}

TableRequest OfId(int32_t id) {
  TableRequest request;
  request.id = id;
  return request;
}

StreamOptions Nested() {
  StreamOptions options;
  options.flat = false;
  return options;
}

StreamOptions Skipping() {
  StreamOptions options;
  options.on_misfit = OnMisfit::kSkip;
  return options;
}

StreamOptions Columns(std::vector<std::string> columns, bool flat = true) {
  StreamOptions options;
  options.columns = std::move(columns);
  options.flat = flat;
  return options;
}

}  // namespace

// ---- flat and nested --------------------------------------------------------------------------------------

TEST(TableStream, RepeatsOuterCellsBesideInnerRows) {
  const Read read = ReadAll(
      From({Wire({Texts("Obj", {"A", "B"}), Numbers("N", {150, 250}),
                  Tables("Data", {Payload({Numbers("V", {1, 2})}), Payload({Numbers("V", {300})})})})}));
  EXPECT_EQ(read.type, "Obj:u N:g Data.V:g");
  EXPECT_EQ(read.rows, (Rows{R"({"Obj":"A","N":1.5,"Data.V":0.01})", R"({"Obj":"A","N":1.5,"Data.V":0.02})",
                             R"({"Obj":"B","N":2.5,"Data.V":3})"}));
}

TEST(TableStream, GivesARowWithoutInnerRowsAsARow) {
  const Read read =
      ReadAll(From({Kline("A", "B"), Kline("C", "D")}), OfId(21), Columns({"Obj", "ShiJian", "KaiPanJia"}));
  EXPECT_EQ(read.type, "Obj:u Data.ShiJian:g Data.KaiPanJia:g");
  EXPECT_EQ(read.rows, (Rows{R"({"Obj":"A","Data.ShiJian":1,"Data.KaiPanJia":2.5})",
                             R"({"Obj":"A","Data.ShiJian":2,"Data.KaiPanJia":0})",
                             R"({"Obj":"B","Data.ShiJian":null,"Data.KaiPanJia":null})",
                             R"({"Obj":"C","Data.ShiJian":1,"Data.KaiPanJia":2.5})",
                             R"({"Obj":"C","Data.ShiJian":2,"Data.KaiPanJia":0})",
                             R"({"Obj":"D","Data.ShiJian":null,"Data.KaiPanJia":null})"}));
  EXPECT_EQ(read.counts.rows, 6U);
}

TEST(TableStream, GivesTablesBesideEachOtherOneAfterTheOther) {
  const Read read = ReadAll(
      From({Wire({Texts("Obj", {"A", "B"}),
                  Tables("Buy", {Payload({Numbers("P", {100, 200})}), Payload({Numbers("P", {500})})}),
                  Tables("Sell", {Payload({Texts("Q", {"x"})})})})}));
  EXPECT_EQ(read.type, "Obj:u Buy.P:g Sell.Q:u");
  EXPECT_EQ(read.rows,
            (Rows{R"({"Obj":"A","Buy.P":1,"Sell.Q":null})", R"({"Obj":"A","Buy.P":2,"Sell.Q":null})",
                  R"({"Obj":"A","Buy.P":null,"Sell.Q":"x"})", R"({"Obj":"B","Buy.P":5,"Sell.Q":null})"}));
}

TEST(TableStream, GoesDownSeveralLevels) {
  const std::string leaf = Payload({Texts("L", {"x", "y"})});
  const Read read =
      ReadAll(From({Wire({Texts("A", {"1", "2"}),
                          Tables("B", {Payload({Texts("C", {"p", "q"}), Tables("D", {leaf})}),
                                       Payload({Texts("C", {"r", "s"}), Tables("D", {leaf, leaf})})})})}));
  EXPECT_EQ(read.rows, (Rows{R"({"A":"1","B.C":"p","B.D.L":"x"})", R"({"A":"1","B.C":"p","B.D.L":"y"})",
                             R"({"A":"1","B.C":"q","B.D.L":null})", R"({"A":"2","B.C":"r","B.D.L":"x"})",
                             R"({"A":"2","B.C":"r","B.D.L":"y"})", R"({"A":"2","B.C":"s","B.D.L":"x"})",
                             R"({"A":"2","B.C":"s","B.D.L":"y"})"}));
}

TEST(TableStream, NestsTablesInLists) {
  const Read read = ReadAll(From({Kline("A", "B")}), OfId(21), Columns({"Obj", "ShiJian"}, false));
  EXPECT_EQ(read.type, "Obj:u Data:+l(ShiJian:g)");
  EXPECT_EQ(read.rows,
            (Rows{R"({"Obj":"A","Data":[{"ShiJian":1},{"ShiJian":2}]})", R"({"Obj":"B","Data":null})"}));
  const Read whole =
      ReadAll(From({Wire({Texts("Obj", {"A"}), Tables("T", {Payload({Numbers("V", {1})})})})}), {}, Nested());
  EXPECT_EQ(whole.rows, (Rows{R"({"Obj":"A","T":[{"V":0.01}]})"}));
  EXPECT_EQ(whole.counts.rows, 1U);
  const std::string three = Wire({Texts("A", {"x", "y", "z"})});
  EXPECT_EQ(ReadAll(From({three, three}), {}, Nested()).counts.rows, 6U);
  // All columns outside and one of two inside, in whatever order they stand.
  const WireColumn inner = Tables("T", {Payload({Numbers("V", {1}), Numbers("W", {2})})});
  const WireColumn outer = Texts("A", {"x"});
  EXPECT_EQ(ReadAll(From({Wire({inner, outer})}), OfId(3), Columns({"T", "T.V", "A"}, false)).rows,
            (Rows{R"({"T":[{"V":0.01}],"A":"x"})"}));
  EXPECT_EQ(ReadAll(From({Wire({inner})}), OfId(3), Columns({"T.V"}, false)).rows,
            (Rows{R"({"T":[{"V":0.01}]})"}));
  EXPECT_EQ(ReadAll(From({Wire({outer, inner})}), OfId(3), Columns({"A", "T.W"}, false)).rows,
            (Rows{R"({"A":"x","T":[{"W":0.02}]})"}));
}

TEST(TableStream, KeepsByteStringsArraysAndUnsetCells) {
  const std::string bars =
      test_replies::Reply("Id: 405 RepDataCaiWuShuJuFanHui { Crc32: " + P(7, 10) + " LeiXing: " + P(1, 10) +
                          " Data { DaiMa: 'SH600000' LeiXing: " + P(2, 10) + " Data { FaBuRiQi: " + P(3, 10) +
                          " } } Data { DaiMa: 'SH600001' } }");
  const Read read = ReadAll(From({bars}), OfId(405), Columns({"Crc32", "DaiMa", "Data"}));
  EXPECT_EQ(read.type, "Crc32:I Data.DaiMa:u Data.Data:+w:53(l)");
  ASSERT_EQ(read.rows.size(), 2U);
  EXPECT_EQ(read.rows[0].substr(0, 44), R"({"Crc32":7,"Data.DaiMa":"SH600000","Data.Dat)");
  const Read bytes = ReadAll(From({Wire({Texts("N", {"a", "b"}),
                                         {"Name: 'B' Type: 98", "bValues: 'xyz'"},
                                         Tables("T", {Payload({Texts("V", {"1", "2"})})})})}));
  EXPECT_EQ(bytes.rows, (Rows{R"({"N":"a","B":"eHl6","T.V":"1"})", R"({"N":"a","B":"eHl6","T.V":"2"})",
                              R"({"N":"b","B":null,"T.V":null})"}));
}

// A name that is a spec itself: a number of 16 bits, a column that holds nothing, the tables, two counted
// numbers; then come the columns that were meant.
TEST(TableStream, GivesColumnsOfAnyTypeBesideInnerRows) {
  const WireColumn spec = Numbers("h:h;n;T:t;c:2H;x", {200, 300});
  const std::string two = Payload({Numbers("V", {100, 250})});
  const Read read = ReadAll(From({Wire({spec, Numbers("y", {1, 1}), Tables("U", {two})})}));
  EXPECT_EQ(read.type, "h:s n:n T.V:g c:+w:2(S) x:g y:g");
  EXPECT_EQ(read.rows, (Rows{R"({"h":2,"n":null,"T.V":1,"c":null,"x":null,"y":null})",
                             R"({"h":2,"n":null,"T.V":2.5,"c":null,"x":null,"y":null})",
                             R"({"h":3,"n":null,"T.V":null,"c":null,"x":null,"y":null})"}));
  // A time, and decimals of two kinds, which are doubles here.
  const std::string times = Wire({Numbers("h:h;T:T;P:P;V:V;x", {200}), Numbers("y", {1})});
  const Read twice = ReadAll(From({times, times}));
  EXPECT_EQ(twice.type, "h:s T:tss: P:g V:g x:g y:g");
  EXPECT_EQ(twice.rows, Rows(2, R"({"h":2,"T":null,"P":null,"V":null,"x":null,"y":null})"));
  // Three numbers where there were two, and none where one was.
  const auto with = [](const char* name) { return Wire({Numbers(name, {200}), Numbers("y", {1})}); };
  EXPECT_EQ(ReadAll(From({with("h:h;c:2H;x"), with("h:h;c:3H;x")})).rows,
            (Rows{R"({"h":2,"c":null,"x":null,"y":null})",
                  "error 22: reply 2 at offset 100: it has other columns"}));
  EXPECT_EQ(ReadAll(From({with("h:h;n;x"), with("h:h;n:H;x")})).counts.misfits, 1U);
}

TEST(TableStream, HasUtf8InItsTexts) {
  const Read read = ReadAll(From({Wire({Texts("\\344\\270\\255", {"\\345\\271\\263", "\\377\\344\\270"})})}));
  EXPECT_EQ(read.rows, (Rows{"{\"中\":\"平\"}", "{\"中\":\"\xEF\xBF\xBD\xEF\xBF\xBD\"}"}));
}

// ---- columns and names ------------------------------------------------------------------------------------

TEST(TableStream, TellsTheReplyAndItsOffset) {
  StreamOptions options;
  options.number = true;
  options.offset = true;
  const std::string named =
      Wire({Texts("_reply", {"a"}), Texts("_offset", {"b"}), Texts("X", {"c"}), Texts("X", {"d"})});
  const Read read = ReadAll(From({named, named}), {}, options);
  EXPECT_EQ(read.type, "_reply:L _offset:L _reply#0:u _offset#1:u X:u X#3:u");
  EXPECT_EQ(read.rows,
            (Rows{R"({"_reply":1,"_offset":0,"_reply#0":"a","_offset#1":"b","X":"c","X#3":"d"})",
                  R"({"_reply":2,"_offset":100,"_reply#0":"a","_offset#1":"b","X":"c","X#3":"d"})"}));
  options.flat = false;
  EXPECT_EQ(ReadAll(From({named, named}), {}, options).rows, read.rows);
}

TEST(TableStream, RefusesColumnsThatAreNotThere) {
  EXPECT_EQ(ReadAll(From({}), OfId(21), Columns({"Obj", "KaiPanJai"})).refused,
            "no column \"KaiPanJai\" in this table; did you mean \"KaiPanJia\"?");
  EXPECT_EQ(ReadAll(From({}), OfId(21), Columns({"zzzzzzzz"})).refused.substr(0, 54),
            "no column \"zzzzzzzz\" in this table; it has: Obj, Data,");
  // Where the first reply tells them, it takes one to know.
  const Read read = ReadAll(From({Wire({Texts("A", {"x"})})}), {}, Columns({"B"}));
  EXPECT_EQ(read.rows, (Rows{"error 22: no column \"B\" in this table; it has: A"}));
}

TEST(TableStream, RefusesWhatHasNoTable) {
  EXPECT_EQ(ReadAll(From({}), OfId(22)).refused, "Id 22 (QuoteTickSingle) has no table form");
  EXPECT_EQ(ReadAll(From({}), OfId(25)).refused,
            "Id 25 (ZhiBiaoShuChu) has no table form; try the layout ZhiBiao1");
  TableRequest typed = OfId(21);
  typed.type = TPTypeDaDan;
  EXPECT_EQ(ReadAll(From({}), typed).refused, "Id 21 (QuoteKlineSingle) gives no table of type DaDan");
  TableRequest decoded = OfId(2);
  decoded.decode = true;
  EXPECT_EQ(ReadAll(From({}), decoded).refused, "Id 2 has no payload in the schema");
}

// ---- the schema before the first reply --------------------------------------------------------------------

TEST(TableStream, KnowsItsSchemaBeforeTheFirstReply) {
  int streams = 0;
  for (const replies::TableDescription& table : replies::DescribedTables()) {
    if (table.id == 3 || !table.path.empty()) continue;
    TableRequest request = OfId(table.id);
    if (table.type != 0) request.type = static_cast<TPType>(table.type);
    int asked = 0;
    ArrowArrayStream stream{};
    std::string error;
    const auto none = [&](Reply*, std::string*) {
      ++asked;
      return Next::kEnd;
    };
    ASSERT_TRUE(MakeTableStream(none, request, Nested(), nullptr, nullptr, &stream, &error)) << error;
    ArrowOwner<ArrowSchema> schema;
    ASSERT_EQ(stream.get_schema(&stream, schema.get()), 0);
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(schema->n_children, static_cast<int64_t>(table.columns.size()));
    stream.release(&stream);
    // The table of a reply with everything in it fits.
    const std::string full = test_replies::Bytes(*full_replies::FullReply(table));
    for (const bool flat : {false, true}) {
      StreamOptions options;
      options.flat = flat;
      const Read read = ReadAll(From({full}), request, options);
      EXPECT_EQ(read.counts.misfits, 0U) << table.id;
      EXPECT_GT(read.counts.rows, 0U) << table.id;
      for (const std::string& row : read.rows)
        EXPECT_EQ(row[0], '{') << row;
    }
    ++streams;
  }
  EXPECT_GE(streams, 48);
}

TEST(TableStream, TellsWhatItIsIn) {
  TableRequest request = OfId(321);
  request.type = TPTypeDaDan;
  ArrowArrayStream stream{};
  std::string error;
  ASSERT_TRUE(MakeTableStream(From({}), request, {}, nullptr, nullptr, &stream, &error)) << error;
  ArrowOwner<ArrowSchema> schema;
  ASSERT_EQ(stream.get_schema(&stream, schema.get()), 0);
  const auto pairs = replies::ParseArrowMetadata(schema->metadata);
  ASSERT_TRUE(pairs);
  EXPECT_EQ(*pairs,
            (replies::ArrowMetadata{{"id", "321"}, {"payload", "DaDanShuJuShuChu"}, {"type", "DaDan"}}));
  EXPECT_STREQ(schema->children[0]->name, "Obj");
  const auto told = replies::ParseArrowMetadata(schema->children[0]->metadata);
  ASSERT_TRUE(told && !told->empty());
  EXPECT_EQ((*told)[0].first, "heading");
  stream.release(&stream);
}

TEST(TableStream, TakesTheOnlyLayoutOfAnIdWithoutATable) {
  EXPECT_EQ(ReadAll(From({}), OfId(44)).type, "Result:i Token:u Uid:u Device:u");
}

TEST(TableStream, DecodesPayloadsWithoutATable) {
  TableRequest request = OfId(22);
  request.decode = true;
  request.unpack.all = true;
  const std::string ticks = test_replies::Reply(
      "Id: 22 RepDataQuoteTickSingle { Obj: 'A' Data { Id: 1 ShiJian: 2 ChengJiaoJia: " + P(250) +
      " } Data { Id: 2 ShiJian: 3 } }");
  const Read read =
      ReadAll(From({ticks, test_replies::Reply("Id: 22")}), request, Columns({"Obj", "ChengJiaoJia"}));
  EXPECT_EQ(read.rows,
            (Rows{R"({"Obj":"A","Data.ChengJiaoJia":2.5})", R"({"Obj":"A","Data.ChengJiaoJia":null})"}));
  EXPECT_EQ(read.counts.empty, 1U);
}

// A wire table by the schema is a message inside itself.
TEST(TableStream, SaysWhereAMessageInsideItselfGoesTooDeep) {
  TableRequest request = OfId(3);
  request.decode = true;
  std::string payload = Payload({Texts("A", {"x"})});
  std::vector<std::string> replies;
  for (int depth = 1; depth <= 5; ++depth) {
    replies.push_back(test_replies::Reply("Id: 3 Tbl { " + payload + " }"));
    payload = Payload({Tables("T", {payload})});
  }
  const Read read = ReadAll(From(replies), request, Skipping());
  EXPECT_EQ(read.counts.misfits, 1U);
  EXPECT_EQ(read.skipped,
            (std::vector<std::string>{"5 at 400: the tables in its column \"tValues\" have other columns"}));
}

// ---- batches ----------------------------------------------------------------------------------------------

TEST(TableStream, EndsABatchBehindTheReplyThatFillsIt) {
  const std::string two = Wire({Texts("A", {"x", "y"})});
  StreamOptions options;
  options.batch_rows = 3;
  const Read read = ReadAll(From({two, two, two, two, two}), {}, options);
  EXPECT_EQ(read.batches, (std::vector<int64_t>{4, 4, 2}));
  EXPECT_EQ(read.counts.replies, 5U);
  EXPECT_EQ(read.counts.rows, 10U);
  options.batch_rows = 0;
  EXPECT_EQ(ReadAll(From({two, two}), {}, options).batches, (std::vector<int64_t>{2, 2}));
  const std::string one = Wire({Texts("A", {"x"})});
  for (const int64_t rows : {1, 0, -1}) {
    options.batch_rows = rows;
    EXPECT_EQ(ReadAll(From({one, one}), {}, options).batches, (std::vector<int64_t>{1, 1})) << rows;
  }
  // Rows that are seen count: two instruments with three rows, or two.
  options.batch_rows = 3;
  EXPECT_EQ(ReadAll(From({Kline("A", "B"), Kline("A", "B")}), OfId(21), options).batches,
            (std::vector<int64_t>{3, 3}));
  options.flat = false;
  EXPECT_EQ(ReadAll(From({Kline("A", "B"), Kline("A", "B")}), OfId(21), options).batches,
            (std::vector<int64_t>{4}));
}

TEST(TableStream, GivesAReleasedArrayAtTheEndAndBehindIt) {
  ArrowArrayStream stream{};
  std::string error;
  ASSERT_TRUE(MakeTableStream(From({Wire({Texts("A", {"x"})})}), {}, {}, nullptr, nullptr, &stream, &error));
  for (const bool more : {true, false, false}) {
    ArrowArray array{};
    ASSERT_EQ(stream.get_next(&stream, &array), 0);
    EXPECT_EQ(array.release != nullptr, more);
    if (more) array.release(&array);
  }
  stream.release(&stream);
  EXPECT_EQ(stream.release, nullptr);
}

// Arrays outlive the stream, and it may be released in the middle.
TEST(TableStream, LeavesItsArraysToWhoTookThem) {
  ArrowArrayStream stream{};
  std::string error;
  StreamOptions options;
  options.batch_rows = 1;
  ASSERT_TRUE(MakeTableStream(From({Kline("A", "B"), Kline("C", "D")}), OfId(21), options, nullptr, nullptr,
                              &stream, &error));
  ArrowOwner<ArrowSchema> schema;
  ArrowOwner<ArrowArray> array;
  ASSERT_EQ(stream.get_schema(&stream, schema.get()), 0);
  ASSERT_EQ(stream.get_next(&stream, array.get()), 0);
  stream.release(&stream);
  // A column leaves the batch, which ends before it.
  ArrowOwner<ArrowArray> column(*array->children[0]);
  array->children[0]->release = nullptr;
  array = ArrowOwner<ArrowArray>();
  EXPECT_EQ(std::string(static_cast<const char*>(column->buffers[2]), 3), "AAB");
}

TEST(TableStream, OfNoReplyHasNoRows) {
  EXPECT_EQ(ReadAll(From({}), OfId(21)).rows, Rows());
  EXPECT_EQ(ReadAll(From({}), OfId(3)).rows, Rows());
  EXPECT_EQ(ReadAll(From({})).type, "");
}

// ---- what is not in it ------------------------------------------------------------------------------------

TEST(TableStream, CountsRepliesThatGiveNoRows) {
  const Read read = ReadAll(
      From({Kline("A", "B"), test_replies::Reply("Id: 21"), test_replies::Reply("Id: 27")}), OfId(21));
  EXPECT_EQ(read.counts.replies, 3U);
  EXPECT_EQ(read.counts.empty, 1U);
  EXPECT_EQ(read.counts.passed_over, 1U);
  EXPECT_EQ(read.counts.misfits, 0U);
  // A table that has its columns and no rows, between others.
  const std::string topic = test_replies::Reply("Id: 130 RepDataTopicPage { Obj: 'A' SuoShuZhuTi: 'x' }");
  const Read topics = ReadAll(From({topic, test_replies::Reply("Id: 130"), topic}), OfId(130));
  EXPECT_EQ(topics.rows, Rows(2, R"({"Obj":"A","SuoShuZhuTi":"x"})"));
  EXPECT_EQ(topics.counts.empty, 1U);
  EXPECT_EQ(topics.counts.misfits, 0U);
  // A reply whose table did not arrive.
  const Read tables = ReadAll(From({Wire({Texts("A", {"x"})}), "\x08\x03"}), OfId(3));
  EXPECT_EQ(tables.counts.empty, 1U);
  EXPECT_EQ(tables.counts.passed_over, 0U);
}

TEST(TableStream, EndsAtAMisfitBehindTheRowsBeforeIt) {
  const std::string good = Wire({Texts("A", {"x"})});
  const Read read = ReadAll(From({good, good, Wire({Texts("B", {"y"})}), good}));
  EXPECT_EQ(read.rows,
            (Rows{R"({"A":"x"})", R"({"A":"x"})", "error 22: reply 3 at offset 200: it has other columns"}));
  EXPECT_EQ(read.counts.misfits, 1U);
  EXPECT_EQ(ReadAll(From({good, ""})).rows, (Rows{R"({"A":"x"})", "error 22: reply 2 at offset 100: lost"}));
  EXPECT_EQ(ReadAll(From({good, test_replies::Reply("Id: 21")})).rows,
            (Rows{R"({"A":"x"})", "error 22: reply 2 at offset 100: Id 21, not 3"}));
  // What shows only once the tables inside are looked at.
  const auto nested = [](const char* inside) {
    return Wire({Texts("A", {"x"}), Tables("T", {Payload({Numbers(inside, {100})})})});
  };
  EXPECT_EQ(ReadAll(From({nested("V"), nested("W"), nested("V")}), OfId(3)).rows,
            (Rows{R"({"A":"x","T.V":1})",
                  "error 22: reply 2 at offset 100: the tables in its column \"T\" have other columns"}));
}

TEST(TableStream, SkipsMisfitsAndSaysWhich) {
  const std::string good = Wire({Texts("A", {"x"}), Tables("T", {Payload({Numbers("V", {100})})})});
  const Read read = ReadAll(
      From({"\x08", good, "", Wire({Texts("A", {"x"}), Tables("T", {Payload({Numbers("W", {100})})})}),
            Wire({Texts("A", {"x"}), Texts("T", {"y"})}), Wire({Texts("A", {"x"})}),
            test_replies::Reply("Id: 3 Tbl { Info { Type: 105 } Data { Index: 0 iValues: 1 } }"), good}),
      OfId(3), Skipping());
  EXPECT_EQ(read.rows, (Rows{R"({"A":"x","T.V":1})", R"({"A":"x","T.V":1})"}));
  ASSERT_EQ(read.skipped.size(), 6U);
  EXPECT_EQ(read.skipped[0].substr(0, 6), "1 at 0");
  EXPECT_EQ(read.skipped[1], "3 at 200: reply 3 at offset 200: lost");
  EXPECT_EQ(read.skipped[2], "4 at 300: the tables in its column \"T\" have other columns");
  EXPECT_EQ(read.skipped[3], "5 at 400: it has other columns");
  EXPECT_EQ(read.skipped[4], "6 at 500: it has other columns");
  EXPECT_EQ(read.skipped[5].substr(0, 8), "7 at 600");
  EXPECT_EQ(read.counts.misfits, 6U);
  EXPECT_EQ(read.counts.replies, 8U);
  EXPECT_EQ(read.counts.rows, 2U);
}

// A name that is no UTF-8 is the same in each table.
TEST(TableStream, ComparesNamesAsTheyAreShown) {
  const std::string odd = Wire({Texts("A\\377", {"x"})});
  const Read read = ReadAll(From({odd, odd, Wire({Texts("A\\376", {"y"})})}));
  EXPECT_EQ(read.rows.size(), 3U);
  EXPECT_EQ(read.rows[0], "{\"A\xEF\xBF\xBD\":\"x\"}");
}

TEST(TableStream, TellsWhatTheSourceThrows) {
  const auto throwing = [](auto error) { return [error](Reply*, std::string*) -> Next { throw error; }; };
  EXPECT_EQ(ReadAll(throwing(std::runtime_error("the line is down")), OfId(21)).rows,
            (Rows{"error 5: the line is down"}));
  EXPECT_EQ(ReadAll(throwing(std::bad_alloc()), OfId(21)).rows, (Rows{"error 12: out of memory"}));
  EXPECT_EQ(ReadAll(throwing(7), OfId(21)).rows, (Rows{"error 5: the source"}));
}

TEST(TableStream, StaysAtItsError) {
  ArrowArrayStream stream{};
  std::string error;
  const std::string good = Wire({Texts("A", {"x"})});
  ASSERT_TRUE(MakeTableStream(From({good, "", good}), {}, {}, nullptr, nullptr, &stream, &error));
  EXPECT_EQ(stream.get_last_error(&stream), nullptr);
  ArrowOwner<ArrowArray> array;
  EXPECT_EQ(stream.get_next(&stream, array.get()), 0);
  for (int i = 0; i < 2; ++i) {
    ArrowArray none{};
    EXPECT_EQ(stream.get_next(&stream, &none), EINVAL);
    EXPECT_EQ(none.release, nullptr);
  }
  stream.release(&stream);
}

// A source that failed is not asked again.
TEST(TableStream, StaysAtTheErrorOfItsSource) {
  int asked = 0;
  const NextReply next = [&asked](Reply* reply, std::string*) {
    if (++asked == 1) throw std::bad_alloc();
    reply->bytes = Kline("A", "B");
    return Next::kReply;
  };
  ArrowArrayStream stream{};
  std::string error;
  ASSERT_TRUE(MakeTableStream(next, OfId(21), {}, nullptr, nullptr, &stream, &error)) << error;
  for (int i = 0; i < 2; ++i) {
    ArrowArray none{};
    EXPECT_EQ(stream.get_next(&stream, &none), ENOMEM);
    EXPECT_STREQ(stream.get_last_error(&stream), "out of memory");
  }
  EXPECT_EQ(asked, 1);
  stream.release(&stream);
}

// ---- hostile sizes ----------------------------------------------------------------------------------------

// A megabyte of text beside 5,000 rows of a few bytes.
TEST(TableStream, TakesNoReplyThatGrowsBeyondItsLimit) {
  const std::string large(1000000, 'x');
  const std::string inner = Payload({Numbers("V", std::vector<uint64_t>(5000, 1))});
  const std::string hostile = Wire({Texts("A", {large}), Tables("T", {inner})});
  const std::string good = Wire({Texts("A", {"x"}), Tables("T", {Payload({Numbers("V", {100})})})});
  const Read read = ReadAll(From({good, hostile, good}), OfId(3), Skipping());
  EXPECT_EQ(read.rows, (Rows{R"({"A":"x","T.V":1})", R"({"A":"x","T.V":1})"}));
  EXPECT_EQ(read.skipped, (std::vector<std::string>{"2 at 100: too large: it makes more than 768 MiB"}));
  // In lists nothing is repeated.
  EXPECT_EQ(ReadAll(From({hostile}), OfId(3), Nested()).counts.misfits, 0U);
}

// The same in the last of three rows.
TEST(TableStream, LooksAtAllRowsForWhatGrowsBeyondItsLimit) {
  const std::string large(1000000, 'x');
  const std::string few = Payload({Numbers("V", {1})});
  const std::string many = Payload({Numbers("V", std::vector<uint64_t>(5000, 1))});
  const std::string hostile = Wire({Texts("A", {"x", "x", large}), Tables("T", {few, few, many})});
  EXPECT_EQ(ReadAll(From({hostile}), OfId(3), Skipping()).counts.misfits, 1U);
  // A megabyte of bytes, behind a row without a table inside.
  const WireColumn bytes{"Name: 'B' Type: 98",
                         "bValues: 'x' bValues: 'x' bValues: '" + std::string(1000000, 'x') + "'"};
  const std::string binary = Wire({bytes, Tables("T", {few, "", many})});
  EXPECT_EQ(ReadAll(From({binary}), OfId(3), Skipping()).counts.misfits, 1U);
}

// 100,000 bytes beside 1,500 rows, of which each byte may become three: 450 MB.
TEST(TableStream, TakesAReplyThatGrowsNoFurtherThanItsLimit) {
  const std::string inner = Payload({Numbers("V", std::vector<uint64_t>(1500, 1))});
  Reply reply;
  reply.bytes = Wire({Texts("A", {std::string(100000, 'x')}), Tables("T", {inner})});
  replies::Taken taken{};
  std::string why;
  const auto plan = replies::TablePlan::MakeFrom(reply.bytes, OfId(3), {}, &taken, &why);
  ASSERT_NE(plan, nullptr) << why;
  EXPECT_EQ(replies::TablePlan::MakeFrom("\x08", OfId(3), {}, &taken, &why), nullptr);
  EXPECT_EQ(taken, replies::Taken::kMisfit);
  replies::TableBatch batch(plan.get());
  EXPECT_EQ(batch.Add(reply, "", 0, &why), replies::Taken::kRows) << why;
  EXPECT_EQ(batch.rows(), 1500U);
}

TEST(TableStream, PassesOverOtherIdsWhereverTheyStand) {
  // Obj "A", and only then the Id 27.
  const std::string other = "\x12\x01\x41\x08\x1B";
  const Read read = ReadAll(From({other, Kline("A", "B")}), OfId(21), Skipping());
  EXPECT_EQ(read.counts.passed_over, 1U);
  EXPECT_EQ(read.counts.misfits, 0U);
}

// 20,000 rows and 4,000 columns of which nothing is written.
TEST(TableStream, TakesNoReplyThatAnnouncesBeyondItsLimit) {
  std::vector<WireColumn> columns = {Numbers("N", std::vector<uint64_t>(20000, 1))};
  for (int i = 0; i < 4000; ++i)
    columns.push_back({"Type: 233", ""});
  const Read read = ReadAll(From({Wire(columns)}), OfId(3), Skipping());
  EXPECT_EQ(read.rows, Rows());
  const std::vector<std::string> skipped = {"1 at 0: too large: it has more than 67108864 cells"};
  EXPECT_EQ(read.skipped, skipped);
  // Tables in lists have no fewer cells.
  StreamOptions nested = Nested();
  nested.on_misfit = OnMisfit::kSkip;
  EXPECT_EQ(ReadAll(From({Wire({Tables("T", {Payload(columns)})})}), OfId(3), nested).skipped, skipped);
}

// 20,000 rows beside a row of 4,000 columns: too many cells where all are shown.
TEST(TableStream, CountsTheCellsThatAreShown) {
  std::vector<WireColumn> columns = {Tables("T", {Payload({Numbers("V", std::vector<uint64_t>(20000, 1))})})};
  for (int i = 0; i < 4000; ++i)
    columns.push_back({"Type: 233", ""});
  const std::string reply = Wire(columns);
  StreamOptions options = Columns({"T.V"});
  options.on_misfit = OnMisfit::kSkip;
  EXPECT_EQ(ReadAll(From({reply}), OfId(3), options).counts.rows, 20000U);
  options.columns.clear();
  EXPECT_EQ(ReadAll(From({reply}), OfId(3), options).counts.misfits, 1U);
}

// 40 rows with a text of 2,000 bytes each and 40 rows beside it: repeated they are 3.2 MB. Only where they
// might be more than 16 MiB are they counted, and end a batch.
TEST(TableStream, CountsRepeatedTextsWhereTheyMayBeMany) {
  const auto reply = [](size_t bytes) {
    const std::string inner = Payload({Numbers("V", std::vector<uint64_t>(40, 1))});
    return Wire({Texts("A", std::vector<std::string>(40, std::string(bytes, 'x'))),
                 Tables("T", std::vector<std::string>(40, inner))});
  };
  EXPECT_EQ(ReadAll(From({reply(2000), reply(2000), reply(2000)}), OfId(3)).batches,
            (std::vector<int64_t>{4800}));
  EXPECT_EQ(ReadAll(From({reply(4000), reply(4000)}), OfId(3)).batches, (std::vector<int64_t>{1600, 1600}));
}

// Half a megabyte ends a batch: two replies of 300,000 bytes.
// A hundred texts of 600 bytes, each beside one row. Repeated and of three bytes each they would be 240 KB,
// and four replies more than a batch.
TEST(TableStream, CountsTextsOnceThatStandBesideOneRow) {
  const std::string inner = Payload({Numbers("V", {100})});
  const std::string reply = Wire({Texts("A", std::vector<std::string>(100, std::string(600, 'x'))),
                                  Tables("T", std::vector<std::string>(100, inner))});
  EXPECT_LT(4 * reply.size(), 400'000U);
  const Read read = ReadAll(From({reply, reply, reply, reply}), OfId(3));
  EXPECT_EQ(read.batches, (std::vector<int64_t>{400}));
}

TEST(TableStream, EndsABatchThatBecomesLarge) {
  const std::string text(300000, 'x');
  const std::string reply = Wire({Texts("A", {text})});
  const Read read = ReadAll(From({reply, reply, reply, reply, reply}), OfId(3));
  EXPECT_EQ(read.batches, (std::vector<int64_t>{2, 2, 1}));
}

// ---- batches ----------------------------------------------------------------------------------------------

namespace {

using replies::Taken;

std::unique_ptr<replies::TablePlan> PlanFrom(const std::string& reply, Taken* taken, std::string* why,
                                             bool flat = true) {
  replies::ShownTables shown;
  shown.flat = flat;
  return replies::TablePlan::MakeFrom(reply, OfId(3), shown, taken, why);
}

// So many rows of which each of the columns has the first one only: the others are announced.
std::string Sparse(int columns, size_t rows) {
  std::vector<WireColumn> all = {Numbers("N", std::vector<uint64_t>(rows, 100))};
  for (int i = 1; i < columns; ++i)
    all.push_back(Numbers(fmt::format("C{}", i), {200}));
  return Wire(all);
}

Reply ReplyOf(const std::string& bytes, uint64_t number) {
  Reply reply;
  reply.bytes = bytes;
  reply.number = number;
  return reply;
}

}  // namespace

// 1,000 columns of 3,000 doubles are 24 MB, and the cells take less than a hundredth of it.
TEST(TableBatch, RefusesATableOfWhichAlmostNothingIsThere) {
  const std::string sparse = Sparse(1000, 3000);
  Taken taken{};
  std::string why;
  EXPECT_EQ(PlanFrom(sparse, &taken, &why), nullptr);
  EXPECT_EQ(taken, Taken::kMisfit);
  EXPECT_EQ(why, "its table is too deep, too sparse or too large to be handed out as arrays");
  // With columns that are known the reply is taken, and what it is shows when it is to leave.
  const auto plan = PlanFrom(Sparse(1000, 1), &taken, &why);
  ASSERT_NE(plan, nullptr) << why;
  replies::TableBatch batch(plan.get());
  ASSERT_EQ(batch.Add(ReplyOf(sparse, 7), "", 0, &why), Taken::kRows);
  ArrowArray array{};
  replies::RowOrigin misfit;
  EXPECT_FALSE(batch.Take(&array, &misfit, &why));
  EXPECT_EQ(array.release, nullptr);
  EXPECT_EQ(misfit.number, 7U);
  EXPECT_EQ(why, "its table is too deep, too sparse or too large to be handed out as arrays");
  EXPECT_TRUE(batch.empty());
}

// The same in a stream: the rows before it are given, and those behind it where misfits are skipped.
TEST(TableStream, SaysWhichReplyCannotLeave) {
  const Rows told = {"its table is too deep, too sparse or too large to be handed out as arrays"};
  const auto replies = [] { return From({Sparse(1000, 1), Sparse(1000, 3000), Sparse(1000, 1)}); };
  const Read skipped = ReadAll(replies(), OfId(3), Skipping());
  EXPECT_EQ(skipped.rows.size(), 2U);
  EXPECT_EQ(skipped.skipped, Rows{"2 at 100: " + told[0]});
  EXPECT_EQ(skipped.counts.misfits, 1U);
  EXPECT_EQ(skipped.counts.rows, 2U);
  // Alone in its batch, too.
  StreamOptions options = Skipping();
  options.batch_rows = 1;
  EXPECT_EQ(ReadAll(replies(), OfId(3), options).rows.size(), 2U);
  const Read stopped = ReadAll(replies(), OfId(3));
  ASSERT_EQ(stopped.rows.size(), 2U);
  EXPECT_EQ(stopped.rows[1], "error 22: reply 2 at offset 100: " + told[0]);
  EXPECT_EQ(stopped.counts.misfits, 1U);
}

// What is remembered of its tables goes with it: another one in the same place has other columns.
TEST(TableBatch, ForgetsTheTablesOfAMisfit) {
  const auto reply_of = [](const char* in_t, const char* in_u) {
    return Wire({Tables("T", {Payload({Numbers(in_t, {1})})}), Tables("U", {Payload({Numbers(in_u, {1})})})});
  };
  Taken taken{};
  std::string why;
  const auto plan = PlanFrom(reply_of("V", "V"), &taken, &why);
  ASSERT_NE(plan, nullptr) << why;
  replies::TableBatch batch(plan.get());
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(batch.Add(ReplyOf(reply_of("V", "W"), 1), "", 0, &why), Taken::kMisfit);
    EXPECT_EQ(batch.Add(ReplyOf(reply_of("W", "V"), 2), "", 0, &why), Taken::kMisfit);
    EXPECT_EQ(batch.Add(ReplyOf(reply_of("V", "V"), 3), "", 0, &why), Taken::kRows);
    replies::ArrowOwner<ArrowArray> array;
    replies::RowOrigin misfit;
    ASSERT_TRUE(batch.Take(array.get(), &misfit, &why)) << why;
    array = {};
    EXPECT_EQ(batch.Add(ReplyOf(reply_of("W", "W"), 4), "", 0, &why), Taken::kMisfit);
  }
}

// 12 MB each: one may leave, two together may not.
TEST(TableBatch, HandsOutInPartsWhatCannotLeaveTogether) {
  Taken taken{};
  std::string why;
  const auto plan = PlanFrom(Sparse(1000, 1), &taken, &why);
  ASSERT_NE(plan, nullptr) << why;
  replies::TableBatch batch(plan.get());
  const std::string half = Sparse(1000, 1500);
  for (const uint64_t number : {1U, 2U})
    ASSERT_EQ(batch.Add(ReplyOf(half, number), "", 0, &why), Taken::kRows);
  ASSERT_EQ(batch.rows(), 3000U);
  for (const uint64_t left : {1500U, 0U}) {
    replies::ArrowOwner<ArrowArray> array;
    EXPECT_FALSE(array);
    replies::RowOrigin misfit;
    ASSERT_TRUE(batch.Take(array.get(), &misfit, &why)) << why;
    EXPECT_TRUE(array);
    EXPECT_EQ(array->length, 1500);
    EXPECT_EQ(batch.rows(), left);
    EXPECT_EQ(batch.IsFull(65536), left != 0);
    EXPECT_EQ(batch.empty(), left == 0);
  }
}

// Most readers of Arrow go no deeper than 31 tables in each other.
TEST(TableBatch, TakesTablesUpToADepth) {
  const auto reply_of = [](int tables) {
    std::string payload = Payload({Numbers("V", {300})});
    for (int i = 1; i < tables; ++i)
      payload = Payload({Tables("T", {payload})});
    return Wire({Tables("T", {payload})});
  };
  Taken taken{};
  std::string why;
  for (const bool flat : {true, false}) {
    EXPECT_NE(PlanFrom(reply_of(31), &taken, &why, flat), nullptr) << why;
    EXPECT_EQ(PlanFrom(reply_of(32), &taken, &why, flat), nullptr);
    EXPECT_EQ(taken, Taken::kMisfit);
    EXPECT_EQ(why, "its table is too deep, too sparse or too large to be handed out as arrays");
  }
}

TEST(TableBatch, TakesNothingThatIsNoReply) {
  replies::TableRequest request = OfId(20);
  request.decode = true;
  std::string why;
  const auto plan = replies::TablePlan::Make(request, {}, &why);
  ASSERT_NE(plan, nullptr) << why;
  replies::TableBatch batch(plan.get());
  EXPECT_EQ(batch.Add(ReplyOf("\x08\x14\xA2\x01\x02\x0A", 1), "", 0, &why), Taken::kMisfit);
  EXPECT_NE(why.find("not a reply"), std::string::npos) << why;
  EXPECT_TRUE(batch.empty());
}

TEST(TableBatch, PlansForNothingThatIsNoReply) {
  Taken taken{};
  std::string why;
  for (const bool decode : {false, true}) {
    TableRequest request = OfId(20);
    request.decode = decode;
    EXPECT_EQ(replies::TablePlan::MakeFrom("\x08\x14\xA2\x01\x02\x0A", request, {}, &taken, &why), nullptr);
    EXPECT_EQ(taken, Taken::kMisfit);
    EXPECT_NE(why.find("not a reply"), std::string::npos) << why;
  }
}

// Id 22 has no table at all without decoding, 44 one of a single layout; 9999 is no Id.
TEST(TableBatch, HasATableWhereThereIsAPayload) {
  EXPECT_FALSE(replies::HasTable(OfId(9999)));
  EXPECT_TRUE(replies::HasTable(OfId(21)));
  EXPECT_FALSE(replies::HasTable(OfId(22)));
  for (const int32_t id : {21, 22, 44, 9999}) {
    TableRequest request = OfId(id);
    request.decode = true;
    EXPECT_EQ(replies::HasTable(request), id != 9999) << id;
  }
}

TEST(TableBatch, PlansForNoOtherId) {
  Taken taken{};
  std::string why;
  EXPECT_EQ(PlanFrom(Kline("A", "B"), &taken, &why), nullptr);
  EXPECT_EQ(taken, Taken::kPassedOver);
}

// The layout of the Id itself has a name, too.
TEST(TableBatch, TakesTheIdsOwnLayoutByItsName) {
  TableRequest request = OfId(21);
  request.type = TPTypeById;
  std::string why;
  const auto plan = replies::TablePlan::Make(request, {}, &why);
  ASSERT_NE(plan, nullptr) << why;
  EXPECT_EQ(plan->type(), std::nullopt);
  EXPECT_EQ(plan->id(), 21);
  Taken taken{};
  const auto from = replies::TablePlan::MakeFrom(Kline("A", "B"), request, {}, &taken, &why);
  ASSERT_NE(from, nullptr) << why;
  EXPECT_EQ(from->type(), std::nullopt);
}
