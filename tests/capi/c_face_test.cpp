// Claim: every function of the C face does what its declaration tells, says why it gives nothing, and leaves
// whose everything is as told. Through the built library, as a caller has it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tesparser_c.h"
#include "tests/reliability/replies.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using reliability::Bytes;
using reliability::Data;
using reliability::Info;
using reliability::Number;
using reliability::Varint;
using reliability::WireReply;
using test_replies::Reply;

const std::string kChinese = "\xE4\xB8\xAD";  // U+4E2D
const std::string kChineseCp936 = "\xD6\xD0";

struct Free {
  void operator()(char* text) const { tesparser_free(text); }
  void operator()(tesparser_reader* reader) const { tesparser_reader_free(reader); }
};
using OwnedText = std::unique_ptr<char, Free>;
using OwnedReader = std::unique_ptr<tesparser_reader, Free>;

// Filled with what no call leaves there.
tesparser_error Untouched() {
  tesparser_error error;
  std::memset(&error, 0x5A, sizeof error);
  return error;
}

void ExpectOk(const tesparser_error& error) {
  EXPECT_EQ(error.reason, TESPARSER_OK);
  EXPECT_EQ(error.reserved, 0);
  EXPECT_EQ(error.offset, 0U);
  EXPECT_STREQ(error.field, "");
  EXPECT_STREQ(error.message, "");
}

void ExpectError(const tesparser_error& error, tesparser_reason reason, uint64_t offset,
                 const std::string& field, const std::string& message) {
  EXPECT_EQ(error.reason, reason) << tesparser_reason_name(error.reason);
  EXPECT_EQ(error.offset, offset);
  EXPECT_EQ(error.field, field);
  EXPECT_EQ(error.message, message);
}

OwnedText Json(const std::string& reply, tesparser_error* error) {
  return OwnedText(tesparser_json(reply.data(), reply.size(), nullptr, error));
}

OwnedTable TableOf(const std::string& reply, int32_t type, tesparser_error* error) {
  return OwnedTable(tesparser_table(reply.data(), reply.size(), type, TESPARSER_TEXT_UTF8, error));
}

// All three that take a reply fail alike.
void ExpectAllFail(const std::string& reply, tesparser_reason reason, uint64_t offset,
                   const std::string& field, const std::string& message) {
  tesparser_error error = Untouched();
  EXPECT_EQ(Json(reply, &error), nullptr);
  ExpectError(error, reason, offset, field, message);
  error = Untouched();
  EXPECT_EQ(TableOf(reply, 0, &error), nullptr);
  ExpectError(error, reason, offset, field, message);
  error = Untouched();
  ArrowSchema schema;
  ArrowArray array;
  std::memset(&schema, 0x5A, sizeof schema);
  std::memset(&array, 0x5A, sizeof array);
  EXPECT_EQ(tesparser_arrow(reply.data(), reply.size(), 0, &schema, &array, &error), reason);
  ExpectError(error, reason, offset, field, message);
  EXPECT_EQ(schema.release, nullptr);
  EXPECT_EQ(array.release, nullptr);
}

// ---- reasons ----------------------------------------------------------------------------------------------

TEST(Reasons, HaveNames) {
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_OK), "ok");
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_NOT_A_REPLY), "not a reply");
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_FIELD_MISSING), "a required field is missing");
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_NO_TABLE_FORM), "no table form");
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_NOTHING_IN_IT), "nothing in it");
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_NOT_EXPRESSIBLE), "not expressible as JSON");
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_OUT_OF_MEMORY), "out of memory");
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_BAD_ARGUMENT), "bad argument");
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_CANNOT_READ), "cannot read");
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_MISFIT), "misfit");
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_TOO_LARGE), "too large");
  EXPECT_STREQ(tesparser_reason_name(TESPARSER_INTERNAL), "internal fault");
  for (const int32_t none : {-1, TESPARSER_INTERNAL + 1, INT32_MIN, INT32_MAX})
    EXPECT_STREQ(tesparser_reason_name(none), "unknown reason");
}

TEST(Reasons, NotAReply) {
  ExpectAllFail("", TESPARSER_NOT_A_REPLY, 0, "", "empty, 0 bytes");
  // Id 20; from offset 2 the payload, and in it from offset 5 a text of five bytes of which two came.
  ExpectAllFail(
      "\x08\x14\xa2\x01\x04\x0a\x05"
      "AB",
      TESPARSER_NOT_A_REPLY, 5, "",
      "not a reply: the bytes end inside the field that begins at offset 5 in"
      " \"RepDataQuoteDynaSingle\" (9 bytes read)");
}

TEST(Reasons, NotAReplyOfOneByte) {
  ExpectAllFail("\x08", TESPARSER_NOT_A_REPLY, 0, "",
                "not a reply: the bytes end inside the field that begins at offset 0 (1 byte read)");
}

TEST(Reasons, FieldMissing) {
  ExpectAllFail(Reply("Id: 27 RepDataStkData { Obj: 'A' } RepDataStkData { }"), TESPARSER_FIELD_MISSING, 0,
                "RepDataStkData.Obj",
                "not a reply: required field \"RepDataStkData[1].Obj\" is missing (11 bytes read)");
}

TEST(Reasons, NoTableForm) {
  tesparser_error error = Untouched();
  EXPECT_EQ(TableOf(Reply("Id: 44"), 0, &error), nullptr);
  ExpectError(error, TESPARSER_NO_TABLE_FORM, 0, "",
              "Id 44 (Token) has no table form; the layout Token gives one");
  EXPECT_EQ(TableOf(Reply("Id: 20"), 117, &error), nullptr);
  ExpectError(error, TESPARSER_NO_TABLE_FORM, 0, "",
              "Id 20 (QuoteDynaSingle) has no table in the layout 117");
}

TEST(Reasons, NothingInIt) {
  tesparser_error error = Untouched();
  EXPECT_EQ(TableOf(Reply("Id: 20"), 0, &error), nullptr);
  ExpectError(error, TESPARSER_NOTHING_IN_IT, 0, "",
              "Id 20 (QuoteDynaSingle): nothing to show: field \"RepDataQuoteDynaSingle\" is empty");
  ArrowSchema schema;
  ArrowArray array;
  const std::string reply = Reply("Id: 44");
  EXPECT_EQ(tesparser_arrow(reply.data(), reply.size(), 5, &schema, &array, nullptr),
            TESPARSER_NOTHING_IN_IT);
}

TEST(Reasons, NotExpressible) {
  tesparser_error error = Untouched();
  const std::string bad = WireReply(Info("A", 's') + Data(Bytes(5, "A") + Bytes(5, "\xFF")));
  EXPECT_EQ(Json(bad, &error), nullptr);
  ExpectError(error, TESPARSER_NOT_EXPRESSIBLE, 0, "Tbl.Data.tValues.Data.sValues",
              "no JSON can hold it: text that is not valid UTF-8 in field"
              " \"Tbl.Data[0].tValues[0].Data[0].sValues[1]\"");
  // A table can.
  EXPECT_NE(TableOf(bad, 0, &error), nullptr);
  ExpectOk(error);
}

// Fails, with structs that need no release.
void ExpectNoArrow(const std::string& reply, tesparser_reason reason, const std::string& message) {
  ArrowSchema schema;
  ArrowArray array;
  std::memset(&schema, 0x5A, sizeof schema);
  std::memset(&array, 0x5A, sizeof array);
  tesparser_error error = Untouched();
  EXPECT_EQ(tesparser_arrow(reply.data(), reply.size(), 0, &schema, &array, &error), reason);
  ExpectError(error, reason, 0, "", message);
  EXPECT_EQ(schema.release, nullptr);
  EXPECT_EQ(array.release, nullptr);
  // There is a table all the same.
  EXPECT_NE(TableOf(reply, 0, nullptr), nullptr);
}

TEST(Reasons, Misfit) {
  // A column of tables, each with a table in it: one has a column more than the other.
  const std::string value = Data(Bytes(2, "\x01"));
  const std::string narrow = Bytes(7, Info("A", 'i') + value);
  const std::string wide = Bytes(7, Info("A", 'i') + Info("B", 'i') + value + value);
  const std::string reply = WireReply(
      Info("T", 't') + Data(Bytes(7, Info("U", 't') + Data(narrow)) + Bytes(7, Info("U", 't') + Data(wide))));
  const OwnedTable table = TableOf(reply, 0, nullptr);
  const auto inner = [&table](int row) {
    return SpecOf(table_get_table(table_get_table(table.get(), row, 0), 0, 0));
  };
  ASSERT_EQ(inner(0), "A:d;");
  ASSERT_EQ(inner(1), "A:d;B:d;");
  ExpectNoArrow(reply, TESPARSER_MISFIT, "the tables in one column differ in their columns");
}

TEST(Reasons, TooLarge) {
  ExpectNoArrow(reliability::NestedTables(reliability::kDeepest), TESPARSER_TOO_LARGE,
                "larger than an Arrow array of it can be");
}

TEST(Reasons, BadArgument) {
  tesparser_error error = Untouched();
  EXPECT_EQ(tesparser_json(nullptr, 1, nullptr, &error), nullptr);
  ExpectError(error, TESPARSER_BAD_ARGUMENT, 0, "", "a null pointer with a length above 0");
  EXPECT_EQ(tesparser_table(nullptr, 1, 0, TESPARSER_TEXT_UTF8, &error), nullptr);
  EXPECT_EQ(error.reason, TESPARSER_BAD_ARGUMENT);
  const std::string reply = Reply("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' }");
  for (const int32_t text : {-1, 2}) {
    EXPECT_EQ(tesparser_table(reply.data(), reply.size(), 0, text, &error), nullptr);
    ExpectError(error, TESPARSER_BAD_ARGUMENT, 0, "", "`text` is no enum tesparser_text");
  }
  ArrowSchema schema;
  ArrowArray array;
  EXPECT_EQ(tesparser_arrow(reply.data(), reply.size(), 0, nullptr, &array, &error), TESPARSER_BAD_ARGUMENT);
  EXPECT_EQ(tesparser_arrow(reply.data(), reply.size(), 0, &schema, nullptr, &error), TESPARSER_BAD_ARGUMENT);
  EXPECT_EQ(tesparser_arrow(nullptr, 5, 0, &schema, &array, nullptr), TESPARSER_BAD_ARGUMENT);
  for (const int32_t form : {-1, 9}) {
    EXPECT_EQ(tesparser_read_file("/dev/null", form, &error), nullptr);
    ExpectError(error, TESPARSER_BAD_ARGUMENT, 0, "", "`form` is no enum tesparser_form");
    EXPECT_EQ(tesparser_read_memory("", 0, form, &error), nullptr);
    EXPECT_EQ(error.reason, TESPARSER_BAD_ARGUMENT);
  }
  EXPECT_EQ(tesparser_read_file(nullptr, TESPARSER_FORM_RAW, &error), nullptr);
  ExpectError(error, TESPARSER_BAD_ARGUMENT, 0, "", "`path` is null");
  EXPECT_EQ(tesparser_read_memory(nullptr, 1, TESPARSER_FORM_RAW, &error), nullptr);
  EXPECT_EQ(error.reason, TESPARSER_BAD_ARGUMENT);
  tesparser_reply read;
  EXPECT_EQ(tesparser_next(nullptr, &read, &error), TESPARSER_NEXT_FAILED);
  ExpectError(error, TESPARSER_BAD_ARGUMENT, 0, "", "`reader` or `reply` is null");
  const OwnedReader reader(tesparser_read_memory("", 0, TESPARSER_FORM_RAW, nullptr));
  EXPECT_EQ(tesparser_next(reader.get(), nullptr, nullptr), TESPARSER_NEXT_FAILED);
  EXPECT_EQ(tesparser_payloads(nullptr, &error), nullptr);
  ExpectError(error, TESPARSER_BAD_ARGUMENT, 0, "", "`count` is null");
  EXPECT_EQ(tesparser_layouts(nullptr, nullptr), nullptr);
}

TEST(Reasons, ALengthThatNoReplyHasIsRefusedBeforeItIsRead) {
  tesparser_error error = Untouched();
  EXPECT_EQ(tesparser_json("A", size_t{1} << 31, nullptr, &error), nullptr);
  ExpectError(error, TESPARSER_NOT_A_REPLY, 0, "", "longer than any reply can be");
}

TEST(Reasons, AreCutWhereTheyDoNotFit) {
  // Forty wire tables in each other: 40 times "Data.tValues." and more.
  std::string table = Bytes(3, "");
  for (int i = 0; i < 40; ++i)
    table = Bytes(3, Number(1, 0) + Bytes(7, table));
  tesparser_error error = Untouched();
  EXPECT_EQ(Json(Number(1, 3) + Bytes(3, table), &error), nullptr);
  EXPECT_EQ(error.reason, TESPARSER_FIELD_MISSING);
  const std::string field = error.field;
  EXPECT_EQ(field.size(), sizeof error.field - 1);
  EXPECT_EQ(field.substr(0, 3), "...");
  const std::string end = "Data.tValues.Data.tValues.Data.Index";
  EXPECT_EQ(field.substr(field.size() - end.size()), end);
  const std::string message = error.message;
  EXPECT_EQ(message.size(), sizeof error.message - 1);
  EXPECT_EQ(message.substr(0, 36), "not a reply: required field \"Tbl.Dat");
  EXPECT_EQ(message.substr(message.size() - 3), "...");
}

// ---- one reply --------------------------------------------------------------------------------------------

TEST(Json, IsAWholeText) {
  tesparser_error error = Untouched();
  size_t length = 0;
  std::string reply = Reply("Id: 20 Obj: '" + kChinese + "'");
  const OwnedText json(tesparser_json(reply.data(), reply.size(), &length, &error));
  reply.assign(reply.size(), 'x');  // the result does not point into it
  ExpectOk(error);
  ASSERT_NE(json, nullptr);
  const std::string text = json.get();
  EXPECT_EQ(text.size(), length);
  EXPECT_TRUE(text == "{\"Id\": 20, \"Obj\": \"" + kChinese + "\"}" ||
              text == "{\"Obj\": \"" + kChinese + "\", \"Id\": 20}")
      << text;
}

// Whether the text is whole is told by its brackets, but not by those inside its texts.
TEST(Json, IsWholeWithAnyTextInIt) {
  const struct {
    const char* text;
    const char* in_json;
  } cases[] = {{"{", "{"},       {"}]", "}]"},   {"a]", "a]"},
               {"\"[", "\\\"["}, {"\\", "\\\\"}, {"{\\\"", "{\\\\\\\""}};
  for (const auto& one : cases) {
    tesparser_error error = Untouched();
    const OwnedText json = Json(Number(1, 20) + Bytes(2, one.text), &error);
    ExpectOk(error);
    ASSERT_NE(json, nullptr) << one.text;
    EXPECT_NE(std::string(json.get()).find("\"Obj\": \"" + std::string(one.in_json) + "\""),
              std::string::npos)
        << json.get();
  }
}

TEST(Json, LeavesTheLengthAloneWhereThereIsNone) {
  size_t length = 7;
  EXPECT_EQ(tesparser_json("", 0, &length, nullptr), nullptr);
  EXPECT_EQ(tesparser_json(nullptr, 0, &length, nullptr), nullptr);
  EXPECT_EQ(length, 7U);
}

std::string ChineseTable() {
  return WireReply(Info("Name", 's') + Data(Bytes(5, kChinese)));
}

TEST(TheTable, HasTextsAsAskedFor) {
  const std::string reply = ChineseTable();
  tesparser_error error = Untouched();
  const OwnedTable utf8(tesparser_table(reply.data(), reply.size(), 0, TESPARSER_TEXT_UTF8, &error));
  ExpectOk(error);
  const OwnedTable cp936(tesparser_table(reply.data(), reply.size(), 0, TESPARSER_TEXT_CP936, nullptr));
  ASSERT_TRUE(utf8 != nullptr && cp936 != nullptr);
  EXPECT_EQ(TextAt(utf8.get(), 0, 0), kChinese);
  EXPECT_EQ(TextAt(cp936.get(), 0, 0), kChineseCp936);
}

TEST(TheTable, HasTheLayoutAskedFor) {
  const std::string reply =
      Reply("Id: 25 RepDataZhiBiaoShuChu { Obj: 'A' ShuJu { ShiJian: 1 JieGuo: 1234 } }");
  tesparser_error error = Untouched();
  EXPECT_EQ(TableOf(reply, 0, &error), nullptr);
  EXPECT_EQ(error.reason, TESPARSER_NO_TABLE_FORM);
  const OwnedTable table = TableOf(reply, 102, &error);
  ExpectOk(error);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table_get_table(table.get(), 0, 1)), "ShiJian:d;JieGuo1:d;JieGuo2:d;");
  EXPECT_EQ(table_get_double(table_get_table(table.get(), 0, 1), 0, 1), 12.34);
}

TEST(TheTable, MayBeFreedOnAnotherThread) {
  OwnedTable table = TableOf(ChineseTable(), 0, nullptr);
  ASSERT_NE(table, nullptr);
  std::thread([&table] { table.reset(); }).join();
}

TEST(AnArrowArray, OutlivesTheReplyAndIsReleasedInAnyOrder) {
  for (const bool schema_first : {false, true}) {
    std::string reply = ChineseTable();
    ArrowSchema schema;
    ArrowArray array;
    tesparser_error error = Untouched();
    ASSERT_EQ(tesparser_arrow(reply.data(), reply.size(), 0, &schema, &array, &error), TESPARSER_OK);
    ExpectOk(error);
    reply.assign(reply.size(), 'x');
    EXPECT_STREQ(schema.format, "+s");
    ASSERT_EQ(schema.n_children, 1);
    EXPECT_STREQ(schema.children[0]->format, "u");
    EXPECT_STREQ(schema.children[0]->name, "Name");
    EXPECT_EQ(array.length, 1);
    if (schema_first) schema.release(&schema);
    // Moved out, and released by itself after its parent.
    ArrowArray column = *array.children[0];
    array.children[0]->release = nullptr;
    array.release(&array);
    const auto* offsets = static_cast<const int32_t*>(column.buffers[1]);
    EXPECT_EQ(std::string(static_cast<const char*>(column.buffers[2]),
                          static_cast<size_t>(offsets[column.offset + 1])),
              kChinese);
    std::thread([&column] { column.release(&column); }).join();
    if (!schema_first) schema.release(&schema);
  }
}

TEST(Numbers, AreUnpackedOneByOneAndTogether) {
  struct Case {
    int64_t value;
    double number;
    int32_t divisor;
    int32_t rounded;
  };
  const std::vector<Case> cases = {
      {0x4D2, 12.34, 100, 12},
      {0x104D2, 123.4, 10, 123},
      {0x304D2, 1.234, 1000, 1},
      {0x104E240, 12.3456, 10000, 12},
      {0xA04D2, 1234.0, 1, 1234},
      {0x1004D2, -12.34, 100, -11},
      {0xF004D2, -12.34, 100, -11},
      {0x1001170, 700.0, 100, 700},
      {0, 0.0, 100, 0},
      {0x20000, 0.0, 0, 0},
      {0xB0000, 0.0, 0, 0},
      {-1, 0.0, 0, 0},
      {0xFA, 2.5, 100, 3},
      {0x100096, -1.5, 100, -1},
      {0x100000, -0.0, 100, 0},
  };
  std::vector<int64_t> values;
  for (const Case& one : cases) {
    int32_t divisor = 7;
    const double number = tesparser_unpack(one.value, &divisor);
    EXPECT_EQ(number, one.number) << one.value;
    EXPECT_EQ(std::signbit(number), std::signbit(one.number)) << one.value;
    EXPECT_EQ(divisor, one.divisor) << one.value;
    divisor = 7;
    EXPECT_EQ(tesparser_unpack_rounded(one.value, &divisor), one.rounded) << one.value;
    EXPECT_EQ(divisor, one.divisor) << one.value;
    EXPECT_EQ(tesparser_unpack(one.value, nullptr), one.number);
    EXPECT_EQ(tesparser_unpack_rounded(one.value, nullptr), one.rounded);
    values.push_back(one.value);
  }
  std::vector<double> numbers(values.size());
  std::vector<int32_t> divisors(values.size());
  tesparser_unpack_many(values.data(), values.size(), numbers.data(), divisors.data());
  for (size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(numbers[i], cases[i].number);
    EXPECT_EQ(divisors[i], cases[i].divisor);
  }
  tesparser_unpack_many(values.data(), 1, numbers.data(), nullptr);
  tesparser_unpack_many(nullptr, 0, nullptr, nullptr);
}

// ---- replies of a source ----------------------------------------------------------------------------------

const std::string kFirst = "\x08\x14\x12\x01\x41";   // Id 20, Obj "A"
const std::string kSecond = "\x08\x15\x12\x01\x42";  // Id 21, Obj "B"

std::string Framed(const std::string& reply) {
  return Varint(reply.size()) + reply;
}

void ExpectReply(tesparser_reader* reader, const std::string& bytes, uint64_t number, uint64_t offset,
                 int32_t id) {
  tesparser_reply reply;
  std::memset(&reply, 0x5A, sizeof reply);
  tesparser_error error = Untouched();
  ASSERT_EQ(tesparser_next(reader, &reply, &error), TESPARSER_NEXT_REPLY) << error.message;
  ExpectOk(error);
  EXPECT_EQ(std::string(static_cast<const char*>(reply.bytes), static_cast<size_t>(reply.length)), bytes);
  EXPECT_EQ(reply.number, number);
  EXPECT_EQ(reply.offset, offset);
  EXPECT_EQ(reply.id, id);
  EXPECT_EQ(reply.reserved, 0);
}

void ExpectEnd(tesparser_reader* reader) {
  for (int again = 0; again < 2; ++again) {
    tesparser_reply reply;
    tesparser_error error = Untouched();
    EXPECT_EQ(tesparser_next(reader, &reply, &error), TESPARSER_NEXT_END);
    ExpectOk(error);
  }
}

TEST(Reader, GivesEachReplyOfMemory) {
  const std::string stream = Framed(kFirst) + Framed(kSecond);
  for (const int32_t form : {TESPARSER_FORM_AUTO, TESPARSER_FORM_DELIMITED}) {
    tesparser_error error = Untouched();
    const OwnedReader reader(tesparser_read_memory(stream.data(), stream.size(), form, &error));
    ExpectOk(error);
    ASSERT_NE(reader, nullptr);
    ExpectReply(reader.get(), kFirst, 1, 0, 20);
    ExpectReply(reader.get(), kSecond, 2, 6, 21);
    ExpectEnd(reader.get());
  }
}

TEST(Reader, TakesEveryForm) {
  const struct {
    int32_t form;
    std::string source;
  } cases[] = {
      {TESPARSER_FORM_RAW, kFirst},
      {TESPARSER_FORM_HEX, "0814120141"},
      {TESPARSER_FORM_BASE64, "CBQSAUE="},
      {TESPARSER_FORM_BASE64, "CBQS\nAUE=\n"},
      {TESPARSER_FORM_TEXT, "Id: 20 Obj: 'A'"},
      {TESPARSER_FORM_LINES, "12:00:00 got 0814120141\n"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.form);
    const OwnedReader reader(tesparser_read_memory(one.source.data(), one.source.size(), one.form, nullptr));
    ExpectReply(reader.get(), kFirst, 1, 0, 20);
    ExpectEnd(reader.get());
  }
}

TEST(Reader, TakesLengthsInEveryForm) {
  // Of kFirst the length is 5.
  const struct {
    int32_t form;
    std::string length;
  } cases[] = {
      {TESPARSER_FORM_DELIMITED, "\x05"},
      {TESPARSER_FORM_FIXED32_BE, std::string("\0\0\0\x05", 4)},
      {TESPARSER_FORM_FIXED32_LE, std::string("\x05\0\0\0", 4)},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.form);
    const std::string stream = one.length + kFirst + one.length + kFirst;
    const OwnedReader reader(tesparser_read_memory(stream.data(), stream.size(), one.form, nullptr));
    ExpectReply(reader.get(), kFirst, 1, 0, 20);
    ExpectReply(reader.get(), kFirst, 2, one.length.size() + 5, 20);
    ExpectEnd(reader.get());
  }
}

TEST(Reader, ReadsAFileAndSaysIfItCannot) {
  const std::string path = testing::TempDir() + "c_face_test.bin";
  std::ofstream(path, std::ios::binary) << Framed(kFirst) << Framed(kSecond);
  OwnedReader reader(tesparser_read_file(path.c_str(), TESPARSER_FORM_AUTO, nullptr));
  ASSERT_NE(reader, nullptr);
  std::remove(path.c_str());
  ExpectReply(reader.get(), kFirst, 1, 0, 20);
  reader.reset();  // in the middle

  tesparser_error error = Untouched();
  EXPECT_EQ(tesparser_read_file(path.c_str(), TESPARSER_FORM_AUTO, &error), nullptr);
  EXPECT_EQ(error.reason, TESPARSER_CANNOT_READ);
  EXPECT_NE(std::string(error.message).find("No such file"), std::string::npos) << error.message;
}

TEST(Reader, ThatCannotReadAnyFurtherSaysSoEachTime) {
  const OwnedReader reader(tesparser_read_file(testing::TempDir().c_str(), TESPARSER_FORM_RAW, nullptr));
  // A folder can be opened on some systems, and on none can it be read.
  if (reader == nullptr) return;
  for (int again = 0; again < 2; ++again) {
    tesparser_reply reply;
    tesparser_error error = Untouched();
    EXPECT_EQ(tesparser_next(reader.get(), &reply, &error), TESPARSER_NEXT_FAILED);
    EXPECT_EQ(error.reason, TESPARSER_CANNOT_READ);
    EXPECT_NE(std::string(error.message), "");
    EXPECT_EQ(tesparser_next(reader.get(), &reply, nullptr), TESPARSER_NEXT_FAILED);
  }
}

TEST(Reader, GoesOnBehindAReplyThatIsLost) {
  // The second line has an odd number of digits.
  const std::string lines = "0814120141\n081512014\n0815120142\n";
  const OwnedReader reader(tesparser_read_memory(lines.data(), lines.size(), TESPARSER_FORM_HEX, nullptr));
  ExpectReply(reader.get(), kFirst, 1, 0, 20);
  tesparser_reply reply;
  tesparser_error error = Untouched();
  EXPECT_EQ(tesparser_next(reader.get(), &reply, &error), TESPARSER_NEXT_LOST);
  EXPECT_EQ(error.reason, TESPARSER_NOT_A_REPLY);
  EXPECT_NE(std::string(error.message), "");
  EXPECT_EQ(reply.id, 0);
  EXPECT_EQ(reply.reserved, 0);
  ExpectReply(reader.get(), kSecond, 3, 21, 21);
  ExpectEnd(reader.get());
}

TEST(Reader, TellsWhatIsSkippedInAStream) {
  const std::string stream = Framed(kFirst) + std::string(12, '\xFF') + Framed(kSecond) + Framed(kFirst);
  const OwnedReader reader(
      tesparser_read_memory(stream.data(), stream.size(), TESPARSER_FORM_DELIMITED, nullptr));
  ExpectReply(reader.get(), kFirst, 1, 0, 20);
  tesparser_reply reply;
  tesparser_error error = Untouched();
  EXPECT_EQ(tesparser_next(reader.get(), &reply, &error), TESPARSER_NEXT_LOST);
  EXPECT_EQ(reply.number, 2u);
  EXPECT_EQ(reply.offset, 6u);
  EXPECT_EQ(reply.length, 12u);
  EXPECT_EQ(reply.bytes, nullptr);
  ExpectReply(reader.get(), kSecond, 3, 18, 21);
  ExpectReply(reader.get(), kFirst, 4, 24, 20);
  ExpectEnd(reader.get());
}

TEST(Reader, GivesBytesThatAreNoReply) {
  const OwnedReader reader(tesparser_read_memory("\x12\x01\x41", 3, TESPARSER_FORM_RAW, nullptr));
  ExpectReply(reader.get(), "\x12\x01\x41", 1, 0, 0);
  ExpectEnd(reader.get());
}

TEST(Reader, TakesNull) {
  tesparser_reader_free(nullptr);
  tesparser_free(nullptr);
}

// ---- descriptions -----------------------------------------------------------------------------------------

std::vector<tesparser_payload> Payloads() {
  size_t count = 0;
  tesparser_error error = Untouched();
  const tesparser_payload* first = tesparser_payloads(&count, &error);
  ExpectOk(error);
  return std::vector<tesparser_payload>(first, first + count);
}

std::vector<int32_t> TypesOf(int32_t id) {
  for (const tesparser_payload& payload : Payloads()) {
    if (payload.id == id) return std::vector<int32_t>(payload.types, payload.types + payload.type_count);
  }
  ADD_FAILURE() << "no Id " << id;
  return {};
}

TEST(Payloads, AreAllIdsWithWhatTheyGive) {
  const std::vector<tesparser_payload> payloads = Payloads();
  int with_table = 0;
  for (size_t i = 0; i < payloads.size(); ++i) {
    EXPECT_TRUE(i == 0 || payloads[i - 1].id < payloads[i].id) << payloads[i].id;
    for (const char* text :
         {payloads[i].name, payloads[i].family, payloads[i].heading, payloads[i].heading_zh})
      ASSERT_NE(text, nullptr);
    // What the schema tells of a kind of reply is what the library makes of it.
    tesparser_error error = Untouched();
    TableOf(Number(1, static_cast<uint64_t>(payloads[i].id)), 0, &error);
    EXPECT_EQ(error.reason == TESPARSER_NO_TABLE_FORM, payloads[i].has_table == 0) << payloads[i].id;
    with_table += payloads[i].has_table;
  }
  EXPECT_GE(with_table, 29);
  EXPECT_EQ(TypesOf(3), (std::vector<int32_t>{1, 2, 3, 5}));
  EXPECT_EQ(TypesOf(20), std::vector<int32_t>{});
  EXPECT_EQ(TypesOf(25), (std::vector<int32_t>{101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111, 112,
                                               113, 114, 115, 116}));
  EXPECT_EQ(TypesOf(44), std::vector<int32_t>{5});
  EXPECT_EQ(TypesOf(296), std::vector<int32_t>{2});
  EXPECT_EQ(TypesOf(321), std::vector<int32_t>{1});
  EXPECT_EQ(TypesOf(430), std::vector<int32_t>{3});
}

TEST(Layouts, TellTheColumns) {
  tesparser_error error = Untouched();
  const tesparser_layout* outer = tesparser_find_layout(20, 0, nullptr, &error);
  ExpectOk(error);
  ASSERT_NE(outer, nullptr);
  EXPECT_STREQ(outer->path, "");
  EXPECT_STREQ(outer->field, "RepDataQuoteDynaSingle");
  ASSERT_EQ(outer->column_count, 2U);
  EXPECT_STREQ(outer->columns[0].name, "Obj");
  EXPECT_STREQ(outer->columns[0].letter, "s");
  EXPECT_STREQ(outer->columns[0].heading, "Instrument");
  EXPECT_STREQ(outer->columns[0].heading_zh, "代码");
  EXPECT_STREQ(outer->columns[0].made, "text");
  EXPECT_STREQ(outer->columns[0].unset, "never");
  EXPECT_EQ(outer->columns[0].elements, nullptr);
  const tesparser_layout* inner = tesparser_find_layout(20, 0, "Data", nullptr);
  ASSERT_NE(inner, nullptr);
  EXPECT_STREQ(inner->columns[2].name, "ZuiXinJia");
  EXPECT_STREQ(inner->columns[2].letter, "d");
  EXPECT_STREQ(inner->columns[2].source, "Data.ZuiXinJia");

  const tesparser_layout* finance = tesparser_find_layout(405, 0, "Data", nullptr);
  ASSERT_NE(finance, nullptr);
  bool counted = false;
  for (size_t i = 0; i < finance->column_count; ++i) {
    if (std::string(finance->columns[i].letter) != "53q") continue;
    counted = true;
    ASSERT_EQ(finance->columns[i].element_count, 53U);
    const tesparser_element& first = finance->columns[i].elements[0];
    EXPECT_EQ(first.index, 0);
    EXPECT_STREQ(first.heading, "Publication date");
    EXPECT_STREQ(first.heading_zh, "发布日期");
    EXPECT_STREQ(first.kind, "yyyymmdd ?");
    EXPECT_STREQ(first.source, "FaBuRiQi");
    EXPECT_EQ(finance->columns[i].elements[52].index, 52);
  }
  EXPECT_TRUE(counted);
}

TEST(Layouts, AreFoundOrSaidNotToBeThere) {
  size_t count = 0;
  const tesparser_layout* layouts = tesparser_layouts(&count, nullptr);
  ASSERT_GT(count, 29U);
  for (size_t i = 0; i < count; ++i) {
    EXPECT_EQ(tesparser_find_layout(layouts[i].id, layouts[i].type, layouts[i].path, nullptr), &layouts[i]);
    for (size_t c = 0; c < layouts[i].column_count; ++c) {
      const tesparser_column& column = layouts[i].columns[c];
      for (const char* text : {column.name, column.letter, column.heading, column.heading_zh, column.meaning,
                               column.unit, column.kind, column.source, column.made, column.unset})
        ASSERT_NE(text, nullptr);
    }
  }
  tesparser_error error = Untouched();
  for (const auto& [id, type, path] :
       {std::make_tuple(44, 0, ""), std::make_tuple(20, 1, ""), std::make_tuple(20, 0, "Nothing")}) {
    EXPECT_EQ(tesparser_find_layout(id, type, path, &error), nullptr);
    ExpectError(error, TESPARSER_NO_TABLE_FORM, 0, "", "no such table");
  }
}

TEST(Layouts, MarkWhatIsGuessed) {
  size_t count = 0;
  size_t guesses = 0;
  const tesparser_layout* layouts = tesparser_layouts(&count, nullptr);
  for (size_t i = 0; i < count; ++i) {
    for (size_t c = 0; c < layouts[i].column_count; ++c) {
      const std::string meaning = layouts[i].columns[c].meaning;
      guesses += meaning.size() > 2 && meaning.substr(meaning.size() - 2) == " ?" ? 1 : 0;
    }
  }
  EXPECT_GT(guesses, 0U);
}

}  // namespace
