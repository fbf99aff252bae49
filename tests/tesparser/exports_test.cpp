// The exports as a host calls them: bytes in, a result or its failure value out, nothing kept between calls.
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tesparser/tesparser.h"
#include "tests/support/json.h"
#include "tests/support/replies.h"
#include "tests/support/table_text.h"

namespace {

using test_replies::P;
using test_replies::Reply;

// Most replies here fail on purpose; protobuf would log each.
const google::protobuf::LogSilencer kQuiet;

// What the three renderers make of the same bytes.
struct Outcome {
  std::string json;
  bool table;
  bool typed;
};

Outcome Render(const std::string& data) {
  const OwnedTable table(TesparserPB2Table(data));
  const OwnedTable typed(TesparserPB2TableType(data, TPTypeById));
  return {TesparserPB2Json(data), table != nullptr, typed != nullptr};
}

void ExpectFailure(const std::string& data) {
  const Outcome outcome = Render(data);
  EXPECT_EQ(outcome.json, "");
  EXPECT_FALSE(outcome.table);
  EXPECT_FALSE(outcome.typed);
  for (const int type : {1, 2, 3, 4, 5, 101, 116, -1, 6, 100, 117})
    EXPECT_EQ(TesparserPB2TableType(data, static_cast<TPType>(type)), nullptr) << type;
}

void ExpectJsonWithoutTable(const std::string& data) {
  const Outcome outcome = Render(data);
  EXPECT_NE(outcome.json, "");
  EXPECT_FALSE(outcome.table);
  EXPECT_FALSE(outcome.typed);
}

std::string TableOf(const std::string& data) {
  const OwnedTable table(TesparserPB2Table(data));
  return TableText(table.get());
}

// A snapshot with text, numbers and a zero byte in an unknown field's value.
std::string Snapshot() {
  return Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'SH600000' Data { Id: 1 ShiJian: 2 ZuiXinJia: " +
               P(1234) + " } } RepDataQuoteDynaSingle { Obj: 'SZ000001' }");
}

// One field of the wire format by hand.
std::string Varint(uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7)
    bytes += static_cast<char>(0x80 | (value & 0x7F));
  return bytes + static_cast<char>(value);
}
std::string Number(unsigned field, uint64_t value) {
  return Varint(field << 3) + Varint(value);
}
std::string Message(unsigned field, const std::string& bytes) {
  return Varint(field << 3 | 2) + Varint(bytes.size()) + bytes;
}

// ---- the frame ------------------------------------------------------------------------------------------

TEST(Frame, EmptyDataFails) {
  ExpectFailure("");
}

TEST(Frame, IdAloneIsAReplyWithNothingToShow) {
  const std::string data = Reply("Id: 20");
  EXPECT_EQ(TesparserPB2Json(data), "{\"Id\": 20}");
  ExpectJsonWithoutTable(data);
}

TEST(Frame, MissingIdFails) {
  ExpectFailure(Reply("Obj: 'SH600000' ObjCount: 1 RepDataQuoteDynaSingle { Obj: 'SH600000' }"));
}

TEST(Frame, MissingRequiredFieldBelowFails) {
  ExpectFailure(Reply("Id: 27 RepDataStkData { JingJiaHuanShou: 5 }"));
  // Beside elements that are whole, and in a field that the Id does not name.
  ExpectFailure(Reply("Id: 27 RepDataStkData { Obj: 'SH600000' } RepDataStkData { JingJiaHuanShou: 5 }"));
  ExpectFailure(
      Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'SH600000' } RepDataStkData { JingJiaHuanShou: 5 }"));
  ExpectFailure(Reply("Id: 21 RepDataQuoteKlineSingle { Obj: 'SH600000' Data { KaiPanJia: 5 } }"));
}

TEST(Frame, StrayBytesBehindAReplyFail) {
  const std::string reply = Snapshot();
  EXPECT_TRUE(Render(reply).table);
  using namespace std::string_literals;
  for (const std::string& stray : {"\0"s, "\x07"s, "\x06"s, "\xff"s, "\x0b"s, "\x0c"s, "\x80\x80"s,
                                   "\x12\x05"s
                                   "ab"s,
                                   "\x08"s}) {
    SCOPED_TRACE(testing::PrintToString(stray));
    ExpectFailure(reply + stray);
  }
}

TEST(Frame, LengthBeyondTheEndFails) {
  ExpectFailure(Number(1, 20) +
                "\x12\x7f"
                "abc");
  ExpectFailure(Number(1, 20) +
                "\x12\xff\xff\xff\xff\x07"
                "abc");
}

TEST(Frame, WrongWireTypeOfTheIdFails) {
  ExpectFailure(Message(1, "\x14"));
}

// A prefix is a reply exactly if protobuf's own reading of it, through the dynamic message, says so.
TEST(Frame, EveryPrefixOfAReply) {
  const std::string reply = Snapshot();
  int valid = 0;
  for (size_t length = 0; length <= reply.size(); ++length) {
    const std::string prefix = reply.substr(0, length);
    const bool parses = test_replies::New("MSG")->ParseFromString(prefix);
    valid += parses ? 1 : 0;
    EXPECT_EQ(TesparserPB2Json(prefix) != "", parses) << length;
    const OwnedTable table(TesparserPB2Table(prefix));
    EXPECT_EQ(table != nullptr, parses && length > 2) << length;
    const OwnedTable typed(TesparserPB2TableType(prefix, TPTypeById));
    EXPECT_EQ(TableText(typed.get()), TableText(table.get())) << length;
  }
  EXPECT_EQ(valid, 3);  // behind the Id, behind the first element, and the whole
}

TEST(Frame, EveryFlippedByteGivesAResultOrItsFailureValue) {
  const std::string reply = Snapshot();
  for (size_t at = 0; at < reply.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string damaged = reply;
      damaged[at] = static_cast<char>(damaged[at] ^ (1 << bit));
      const bool parses = test_replies::New("MSG")->ParseFromString(damaged);
      try {
        EXPECT_EQ(TesparserPB2Json(damaged) != "", parses);
      } catch (const j2pb_error&) {
        EXPECT_TRUE(parses);
      }
      const OwnedTable table(TesparserPB2Table(damaged));
      EXPECT_TRUE(parses || table == nullptr) << at;
    }
  }
}

TEST(Frame, ZeroBytesInTheDataCount) {
  // The Id behind a text that starts with a zero byte.
  using namespace std::string_literals;
  const std::string data = Message(2, "\0x"s) + Number(1, 20) + Message(20, Message(1, "SH600000"));
  EXPECT_TRUE(Render(data).table);
  EXPECT_EQ(TesparserPB2Json(data).find("SH600000") != std::string::npos, true);
}

TEST(Frame, DataIsOnlyRead) {
  const std::string data = Snapshot();
  const std::string before = data;
  Render(data);
  EXPECT_EQ(data, before);
}

TEST(Frame, ResultOutlivesTheBytesItCameFrom) {
  auto data = std::make_unique<std::string>(Snapshot());
  const OwnedTable table(TesparserPB2Table(*data));
  data->assign(data->size(), 'x');
  data.reset();
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "SZ000001");
}

TEST(Frame, NothingIsKeptBetweenCalls) {
  const std::string data = Snapshot();
  const std::string json = TesparserPB2Json(data);
  const std::string table = TableOf(data);
  ExpectFailure(Reply("ObjCount: 3"));
  EXPECT_EQ(TesparserPB2Json(Reply("Id: 20")), "{\"Id\": 20}");
  EXPECT_EQ(TesparserPB2Json(data), json);
  EXPECT_EQ(TableOf(data), table);
}

// Each half of a reply fails, and the library does not join them.
TEST(Frame, PartsOfAReplyAreNotJoined) {
  const std::string data = Snapshot();
  ExpectFailure(data.substr(0, data.size() - 3));
  ExpectFailure(data.substr(data.size() - 3));
}

TEST(Frame, UnknownFieldsFailNothingAndAreNotShown) {
  const std::string reply = Snapshot();
  const auto next = static_cast<unsigned>(test_replies::LastPayload()) + 1;
  const std::string more =
      reply + Number(6, 1) + Message(19, "abc") + Message(next, "def") + Number(536870911, 1);
  EXPECT_EQ(TesparserPB2Json(more), TesparserPB2Json(reply));
  EXPECT_EQ(TableOf(more), TableOf(reply));
  EXPECT_NE(TableOf(reply), "null");
}

TEST(Frame, UnknownEnumValuesFailNothingAndAreNotShown) {
  // ZhiBiao.LeiXing, an enumeration; 77 is none of its values.
  const auto* field = test_replies::Pool().FindFieldByName("tessel.ZhiBiao.LeiXing");
  ASSERT_EQ(field->type(), google::protobuf::FieldDescriptor::TYPE_ENUM);
  ASSERT_EQ(field->enum_type()->FindValueByNumber(77), nullptr);
  const auto number = static_cast<unsigned>(field->number());
  const std::string element = Reply("Id: 26 RepDataZhiBiao { MingCheng: 'MA' }");
  const std::string name = Message(1, "MA");
  ASSERT_EQ(Number(1, 26) + Message(26, name), element);
  EXPECT_EQ(TesparserPB2Json(Number(1, 26) + Message(26, name + Number(number, 77))),
            TesparserPB2Json(element));
}

TEST(Frame, LastOfTwoIdsCounts) {
  EXPECT_EQ(TableOf(Snapshot() + Number(1, 22)), "null");
  EXPECT_EQ(TesparserPB2Json(Number(1, 20) + Number(1, 5)), "{\"Id\": 5}");
}

TEST(Frame, EveryIntMayBePassedAsType) {
  const std::string data = Snapshot();
  const std::string by_id = TableOf(data);
  for (const int type : {INT32_MIN, -1, 0, 4, 6, 99, 100, 117, 1000, INT32_MAX}) {
    const OwnedTable table(TesparserPB2TableType(data, static_cast<TPType>(type)));
    EXPECT_EQ(TableText(table.get()), type == 0 ? by_id : "null") << type;
  }
}

// ---- the envelope ---------------------------------------------------------------------------------------

TEST(Envelope, IdNoneAndUnknownIdsParseAndHaveNoTable) {
  for (const int id : {0, 6, 19, test_replies::LastPayload() + 1, 10000, -1, INT32_MIN, INT32_MAX}) {
    const std::string data =
        Reply("Id: " + std::to_string(id) + " RepDataQuoteDynaSingle { Obj: 'SH600000' }");
    ExpectJsonWithoutTable(data);
    EXPECT_NE(TesparserPB2Json(data).find("\"Id\": " + std::to_string(id)), std::string::npos);
  }
}

TEST(Envelope, EmptyFieldOfTheIdHasNoTable) {
  for (const int id : {20, 21, 27})
    ExpectJsonWithoutTable(Reply("Id: " + std::to_string(id)));
}

TEST(Envelope, WireTableAbsentHasNoTable) {
  const std::string data = Reply("Id: 3");
  ExpectJsonWithoutTable(data);
  for (const int type : {1, 2, 3, 5})
    EXPECT_EQ(TesparserPB2TableType(data, static_cast<TPType>(type)), nullptr);
}

TEST(Envelope, IdDecidesNotTheFilledField) {
  ExpectJsonWithoutTable(Reply("Id: 20 RepDataQuoteKlineSingle { Obj: 'SH600000' Data { ShiJian: 1 } }"));
  ExpectJsonWithoutTable(Reply("Id: 3 RepDataQuoteDynaSingle { Obj: 'SH600000' }"));
  EXPECT_TRUE(Render(Reply("Id: 27 RepDataStkData { Obj: 'A' } RepDataQuoteDynaSingle { Obj: 'B' }")).table);
}

TEST(Envelope, IndexOfAColumnIsRequired) {
  ExpectFailure(Reply("Id: 3 Tbl { Data { iValues: 1 } }"));
  ExpectFailure(Reply("Id: 3 Tbl { DataX { iValue: 1 } }"));
  ExpectFailure(Reply("Id: 3 Tbl { Data { Index: 0 tValues { DataX { iValue: 1 } } } }"));
  ExpectJsonWithoutTable(Reply("Id: 3 Tbl { Data { Index: 0 } DataX { Index: 0 } }"));
}

TEST(Envelope, WireTableWithoutColumnsAndDataIsValid) {
  EXPECT_TRUE(SameJson(TesparserPB2Json(Reply("Id: 3 Tbl { }")), R"({"Id": 3, "Tbl": {}})"));
  ExpectJsonWithoutTable(Reply("Id: 3 Tbl { }"));
}

TEST(Envelope, JavaPackageMakesNoDifference) {
  const auto options = [](const char* message) {
    return test_replies::Pool().FindMessageTypeByName(std::string("tessel.") + message)->file()->options();
  };
  // One message of a file with the option, one of a file without it, in an envelope without it.
  EXPECT_TRUE(options("QuoteDynaSingle").has_java_package());
  EXPECT_FALSE(options("PcStkData").has_java_package());
  EXPECT_FALSE(options("MSG").has_java_package());
  EXPECT_TRUE(SameJson(TesparserPB2Json(Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' }")),
                       R"({"Id": 20, "RepDataQuoteDynaSingle": [{"Obj": "A"}]})"));
  EXPECT_TRUE(SameJson(TesparserPB2Json(Reply("Id: 465 RepDataPcStkData { Obj: 'A' }")),
                       R"({"Id": 465, "RepDataPcStkData": [{"Obj": "A"}]})"));
}

// ---- the exception --------------------------------------------------------------------------------------

const char kGb2312[] = "Id: 20 RepDataQuoteDynaSingle { Obj: '\\326\\320' }";

TEST(Error, CaughtByItsType) {
  try {
    TesparserPB2Json(Reply(kGb2312));
    FAIL() << "no exception";
  } catch (const j2pb_error& error) {
    EXPECT_STREQ(error.what(), "Obj: Fail to convert to json");
  }
}

TEST(Error, CaughtAsStandardException) {
  try {
    TesparserPB2Json(Reply(kGb2312));
    FAIL() << "no exception";
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "Obj: Fail to convert to json");
  }
}

TEST(Error, CopyKeepsItsText) {
  std::exception_ptr kept;
  try {
    TesparserPB2Json(Reply(kGb2312));
  } catch (const j2pb_error& error) {
    kept = std::make_exception_ptr(j2pb_error(error));
  }
  ASSERT_NE(kept, nullptr);
  try {
    std::rethrow_exception(kept);
  } catch (const j2pb_error& error) {
    EXPECT_STREQ(error.what(), "Obj: Fail to convert to json");
  }
}

TEST(Error, OnlyTheJsonPathRaisesIt) {
  const OwnedTable table(TesparserPB2Table(Reply(kGb2312)));
  EXPECT_NE(table, nullptr);
}

// ---- nesting --------------------------------------------------------------------------------------------

// A table within a table within a table: each is two levels of messages, the table and its column. The
// innermost column stands at level `levels`, an even number, counted from the envelope's own fields.
std::string NestedTables(int levels, const std::string& innermost) {
  std::string column = Number(1, 0) + innermost;
  for (int level = levels; level > 2; level -= 2) {
    const bool last = level == levels;
    const std::string info = Message(1, "c") + Number(2, last ? 's' : 't');
    column = Number(1, 0) + Message(7, Message(2, info) + Message(3, column));
  }
  return Number(1, 3) + Message(3, Message(2, Number(2, 't')) + Message(3, column));
}

int DepthOf(void* table) {
  int depth = 0;
  for (; table != nullptr; table = table_get_table(table, 0, 0))
    ++depth;
  return depth;
}

TEST(Nesting, AHundredLevelsPassEveryRoute) {
  const std::string data = NestedTables(100, Message(5, "deep"));
  const std::string json = TesparserPB2Json(data);
  EXPECT_NE(json.find("[\"deep\"]"), std::string::npos);
  EXPECT_NE(ParseJson(json), nullptr);
  // Fifty tables, of which the wrapper is not shown.
  const OwnedTable table(TesparserPB2Table(data));
  EXPECT_EQ(DepthOf(table.get()), 49);
  const OwnedTable typed(TesparserPB2TableType(data, TPTypeById));
  EXPECT_EQ(DepthOf(typed.get()), 49);
  for (const int type : {1, 2, 3, 4, 5, 101, 116})
    table_free(TesparserPB2TableType(data, static_cast<TPType>(type)));
}

TEST(Nesting, AHundredAndOneLevelsFail) {
  // An empty table in the innermost column.
  ExpectFailure(NestedTables(100, Message(5, "deep") + Message(7, "")));
  ExpectFailure(NestedTables(102, Message(5, "deep")));
  ExpectFailure(NestedTables(4000, Message(5, "deep")));
}

TEST(Nesting, UnknownGroupsCountAsLevels) {
  const auto groups = [](int n) {
    std::string bytes = Number(1, 20);
    for (int i = 0; i < n; ++i)
      bytes += static_cast<char>(15 << 3 | 3);
    for (int i = 0; i < n; ++i)
      bytes += static_cast<char>(15 << 3 | 4);
    return bytes;
  };
  EXPECT_EQ(TesparserPB2Json(groups(100)), "{\"Id\": 20}");
  ExpectFailure(groups(101));
  ExpectFailure(groups(100000));
}

// ---- threads --------------------------------------------------------------------------------------------

// One thread's own replies, unlike those of the others in content and length, and what a lone call makes of
// them.
struct Job {
  explicit Job(size_t number)
      : text(10 + 37 * number, static_cast<char>('a' + number)),
        snapshot(Reply("Id: 20 RepDataQuoteDynaSingle { Obj: '" + text +
                       "' Data { Id: 1 ShiJian: 2 ZuiXinJia: " + P(1000 + number) + " } }")),
        wire(NestedTables(20 + 2 * static_cast<int>(number), Message(5, "\xE4\xB8\xAD") + Message(5, text))),
        broken(Reply("Id: 20 Obj: '" + text + "' RepDataQuoteDynaSingle { Obj: '\\326\\320' }")),
        json_of_snapshot(TesparserPB2Json(snapshot)),
        json_of_wire(TesparserPB2Json(wire)),
        table_of_snapshot(TableOf(snapshot)),
        table_of_wire(TableOf(wire)) {}

  // How many results are not those of the lone call.
  int WrongResults() const {
    int wrong = 0;
    wrong += TesparserPB2Json(snapshot) != json_of_snapshot;
    wrong += TesparserPB2Json(wire) != json_of_wire;
    wrong += TableOf(snapshot) != table_of_snapshot;
    wrong += TableOf(wire) != table_of_wire;
    const OwnedTable typed(TesparserPB2TableType(snapshot, TPTypeById));
    wrong += TableText(typed.get()) != table_of_snapshot;
    wrong += TesparserPB2Table(snapshot.substr(0, snapshot.size() - 1)) != nullptr;
    int divisor = 0;
    wrong += TesparserInt64ToDouble(0x4D2, &divisor) != 12.34 || divisor != 100;
    try {
      TesparserPB2Json(broken);
      ++wrong;
    } catch (const j2pb_error& error) {
      wrong += std::string(error.what()) != "Obj: Fail to convert to json";
    }
    return wrong;
  }

  std::string text;
  std::string snapshot;
  std::string wire;
  std::string broken;
  std::string json_of_snapshot;
  std::string json_of_wire;
  std::string table_of_snapshot;
  std::string table_of_wire;
};

TEST(Threads, ManyCallsAtOnceGiveTheResultsOfLoneCalls) {
  std::vector<Job> jobs;
  for (size_t number = 0; number < 8; ++number)
    jobs.emplace_back(number);
  std::vector<int> wrong(jobs.size());
  std::vector<std::thread> threads;
  for (size_t i = 0; i < jobs.size(); ++i) {
    threads.emplace_back([&job = jobs[i], &errors = wrong[i]] {
      for (int round = 0; round < 200; ++round)
        errors += job.WrongResults();
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(wrong, std::vector<int>(jobs.size(), 0));
}

// Tables may be freed on another thread than the one that made them.
TEST(Threads, ResultsMayMoveBetweenThreads) {
  const std::string data = Snapshot();
  std::vector<void*> tables(4);
  std::vector<std::thread> makers;
  for (void*& table : tables)
    makers.emplace_back([&data, &table] { table = TesparserPB2Table(data); });
  for (std::thread& maker : makers)
    maker.join();
  for (void* table : tables) {
    EXPECT_EQ(TextAt(table, 1, 0), "SZ000001");
    table_free(table);
  }
}

}  // namespace
