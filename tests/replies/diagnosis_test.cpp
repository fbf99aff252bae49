#include "replies/diagnosis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "replies/reply_check.h"
#include "replies/schema.h"
#include "replies/text_form.h"
#include "tests/replies/samples.h"
#include "tsl_base/table.hpp"

namespace replies {
namespace {

std::string Bytes(const std::string& text) {
  std::string bytes;
  std::string error;
  EXPECT_TRUE(TextToBytes(text, true, &bytes, &error)) << error;
  return bytes;
}

// ---- bytes put together by hand; all lengths are below 128 ------------------------------------------------

std::string Varint(uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7)
    bytes += static_cast<char>(value | 0x80);
  return bytes + static_cast<char>(value);
}

std::string Number(unsigned field, uint64_t value) {
  return Varint(field << 3) + Varint(value);
}

std::string Delimited(unsigned field, const std::string& content) {
  return Varint(field << 3 | 2) + Varint(content.size()) + content;
}

// The envelope of Id 20 around a snapshot of these fields, which begins at offset 5.
std::string Snapshot(const std::string& fields) {
  return Number(1, 20) + Delimited(20, fields);
}
constexpr uint64_t kInSnapshot = 5;

// Id 3 around fields of the wire table, which begin at offset 4.
std::string Wire(const std::string& fields) {
  return Number(1, 3) + Delimited(3, fields);
}
constexpr uint64_t kInWire = 4;

const std::string kObj = Delimited(1, "SH600000");
const std::string kBadText("\xd6\xd0", 2);

void ExpectNoReply(const std::string& bytes, uint64_t offset, const std::string& what) {
  for (const Diagnosis& found :
       {DiagnoseReply(bytes), DiagnoseJson(bytes), DiagnoseTable(bytes, std::nullopt)}) {
    EXPECT_EQ(found.reason, Reason::kNotAReply) << what;
    EXPECT_EQ(found.offset, offset);
    EXPECT_EQ(found.field, "");
    EXPECT_EQ(found.message, what);
  }
  EXPECT_EQ(TesparserPB2Json(bytes), "");
}

void ExpectReply(const std::string& bytes) {
  EXPECT_EQ(DiagnoseReply(bytes).reason, Reason::kNone) << DiagnoseReply(bytes).message;
  EXPECT_EQ(DiagnoseJson(bytes).reason, Reason::kNone) << DiagnoseJson(bytes).message;
  EXPECT_NE(TesparserPB2Json(bytes), "");
}

// The words of the library's exception; empty if there is none.
std::string JsonError(const std::string& bytes) {
  try {
    TesparserPB2Json(bytes);
    return "";
  } catch (const j2pb_error& error) {
    return error.what();
  }
}

void ExpectNotExpressible(const std::string& bytes, const std::string& field, const std::string& message) {
  const Diagnosis found = DiagnoseJson(bytes);
  EXPECT_EQ(found.reason, Reason::kNotExpressible);
  EXPECT_EQ(found.field, field);
  EXPECT_EQ(found.message, "no JSON can hold it: " + message);
  EXPECT_EQ(JsonError(bytes), field.substr(field.rfind('.') + 1) + ": Fail to convert to json");
  // Tables do not mind.
  EXPECT_EQ(DiagnoseReply(bytes).reason, Reason::kNone);
}

template <typename T>
std::string Raw(T value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof(value));
}

TEST(NotAReply, IsToldWithItsPlace) {
  ExpectNoReply("", 0, "empty, 0 bytes");
  // Field 0 does not exist.
  ExpectNoReply(std::string("\x08\x14\x00", 3), 2,
                "not a reply: no field can begin like the bytes at offset 2 (3 bytes read)");
  ExpectNoReply(std::string("\x08\x14\x02\x00", 4), 2,
                "not a reply: no field can begin like the bytes at offset 2 (4 bytes read)");
  // The end of a group that has not begun, and wire type 6.
  ExpectNoReply("\x08\x14\x0c", 2,
                "not a reply: no field can begin like the bytes at offset 2 (3 bytes read)");
  ExpectNoReply("\x08\x14\x0e", 2,
                "not a reply: no field can begin like the bytes at offset 2 (3 bytes read)");
  ExpectNoReply("\x08", 0,
                "not a reply: the bytes end inside the field that begins at offset 0 (1 byte read)");
  // A tag has five bytes at most, a length too.
  for (const char* head : {"\x08\x14", "\x08\x14\x12"}) {
    for (size_t bytes = 1; bytes <= 6; ++bytes) {
      const std::string all = head + std::string(bytes, '\xff');
      const std::string read = " (" + std::to_string(all.size()) + " bytes read)";
      ExpectNoReply(all, 2,
                    bytes < 5 ? "not a reply: the bytes end inside the field that begins at offset 2" + read
                              : "not a reply: no field can begin like the bytes at offset 2" + read);
    }
  }
  // A number of eleven bytes.
  ExpectNoReply("\x08" + std::string(11, '\xff'), 0,
                "not a reply: no field can begin like the bytes at offset 0 (12 bytes read)");
}

TEST(NotAReply, IsFoundInTheNestedMessage) {
  // Behind the code of eight letters a text of five bytes, of which two came.
  ExpectNoReply(Snapshot(kObj + "\x12\x05" + "AB"), kInSnapshot + kObj.size(),
                "not a reply: the bytes end inside the field that begins at offset 15 in"
                " \"RepDataQuoteDynaSingle\" (19 bytes read)");
  // Two levels down, a number without its end.
  ExpectNoReply(Snapshot(kObj + Delimited(2, "\x08\x80")), kInSnapshot + kObj.size() + 2,
                "not a reply: the bytes end inside the field that begins at offset 17 in"
                " \"RepDataQuoteDynaSingle.Data\" (19 bytes read)");
  // Of two elements the second.
  ExpectNoReply(Snapshot(kObj) + Delimited(20, std::string(1, '\0')), kInSnapshot + kObj.size() + 3,
                "not a reply: no field can begin like the bytes at offset 18 in"
                " \"RepDataQuoteDynaSingle\" (19 bytes read)");
}

TEST(NotAReply, IsFoundInAListOfNumbers) {
  const std::string index = Number(1, 0);
  ExpectNoReply(Wire(Delimited(3, index + Delimited(2, "\x01\x80"))), kInWire + 2 + index.size() + 2,
                "not a reply: the list in \"Tbl.Data.iValues\", at offset 10, ends inside a number"
                " (12 bytes read)");
  ExpectNoReply(Wire(Delimited(3, index + Delimited(2, "\x80"))), kInWire + 2 + index.size() + 2,
                "not a reply: the list in \"Tbl.Data.iValues\", at offset 10, ends inside a number"
                " (11 bytes read)");
  ExpectNoReply(Wire(Delimited(3, index + Delimited(3, "12345"))), kInWire + 2 + index.size() + 2,
                "not a reply: the list in \"Tbl.Data.fValues\", at offset 10, ends inside a number"
                " (15 bytes read)");
  ExpectNoReply(Wire(Delimited(3, index + Delimited(4, "123456789"))), kInWire + 2 + index.size() + 2,
                "not a reply: the list in \"Tbl.Data.dValues\", at offset 10, ends inside a number"
                " (19 bytes read)");
}

TEST(NotAReply, HasALengthBeyondAll) {
  // 4294967295 bytes of text.
  ExpectNoReply("\x08\x14\x12\xFF\xFF\xFF\xFF\x0F", 2,
                "not a reply: no field can begin like the bytes at offset 2 (8 bytes read)");
  // The parser leaves room for sixteen bytes of its own below 2^31.
  const std::string head = Number(1, 20) + Varint(2 << 3 | 2);
  ExpectNoReply(head + Varint(2147483631), 2,
                "not a reply: the bytes end inside the field that begins at offset 2 (8 bytes read)");
  ExpectNoReply(head + Varint(2147483632), 2,
                "not a reply: no field can begin like the bytes at offset 2 (8 bytes read)");
}

// A table in a column of the table above it.
std::string NestedTables(int levels) {
  std::string table;
  for (int i = 0; i < levels; ++i) {
    const std::string data = Number(1, 0) + Varint(7 << 3 | 2) + Varint(table.size()) + table;
    table = Varint(3 << 3 | 2) + Varint(data.size()) + data;
  }
  return Number(1, 3) + Varint(3 << 3 | 2) + Varint(table.size()) + table;
}

TEST(NotAReply, IsWhatIsNestedTooDeep) {
  // The table, and in each level a CData and a table.
  ExpectReply(NestedTables(49));
  const Diagnosis found = DiagnoseJson(NestedTables(50));
  EXPECT_EQ(found.reason, Reason::kNotAReply);
  EXPECT_NE(found.message.find("nested deeper than 100 levels at offset "), std::string::npos)
      << found.message;
  EXPECT_EQ(TesparserPB2Json(NestedTables(50)), "");
}

// What the last level lets in, which holds a column's data without a table.
TEST(NotAReply, IsFoundInTheDeepestMessage) {
  const auto nested = [](std::string inner) {
    std::string table = Delimited(3, inner);
    for (int i = 0; i < 49; ++i) {
      const std::string data = Number(1, 0) + Varint(7 << 3 | 2) + Varint(table.size()) + table;
      table = Varint(3 << 3 | 2) + Varint(data.size()) + data;
    }
    return Number(1, 3) + Varint(3 << 3 | 2) + Varint(table.size()) + table;
  };
  ExpectReply(nested(Number(1, 0)));
  const Diagnosis found = DiagnoseJson(nested("\x0e"));
  EXPECT_EQ(found.reason, Reason::kNotAReply);
  EXPECT_NE(found.message.find("no field can begin like the bytes at offset "), std::string::npos)
      << found.message;
}

// A table in a table by itself: those are the levels 0, 2, 4, ..., and their data 1, 3, 5, ...
TEST(ReplyCheck, LooksAtAHundredLevels) {
  // `inner` is what the table of the level has.
  const auto nested = [](int level, const std::string& inner) {
    std::string table = inner;
    for (int i = 0; i < level / 2; ++i) {
      const std::string data = Number(1, 0) + Varint(7 << 3 | 2) + Varint(table.size()) + table;
      table = Varint(3 << 3 | 2) + Varint(data.size()) + data;
    }
    return table;
  };
  const google::protobuf::Descriptor* type = Schema::Get().Type("Table");
  // Data without its index, a level below the table.
  const std::string empty = Delimited(3, "");
  EXPECT_EQ(FindMissing(nested(96, empty), type).count, 1U);
  EXPECT_EQ(FindMissing(nested(98, empty), type).count, 1U);
  EXPECT_EQ(FindMissing(nested(100, empty), type).count, 0U);
  EXPECT_EQ(FindMissing(nested(102, empty), type).count, 0U);
  // The name of a table.
  const std::string name = Delimited(5, kBadText);
  EXPECT_TRUE(FindInexpressible(nested(98, name), type));
  EXPECT_TRUE(FindInexpressible(nested(100, name), type));
  EXPECT_FALSE(FindInexpressible(nested(102, name), type));
  // Groups are levels as well.
  const std::string group = Varint(1000 << 3 | 3) + Varint(1000 << 3 | 4);
  EXPECT_TRUE(FindInexpressible(nested(98, group + name), type));
  EXPECT_FALSE(FindInexpressible(nested(100, group + name), type));
  EXPECT_EQ(FindMissing(nested(98, group + empty), type).count, 1U);
  // What breaks there breaks off above that.
  EXPECT_FALSE(FindBreak(nested(100, name), type));
  EXPECT_TRUE(FindBreak(nested(100, empty), type));
  EXPECT_TRUE(FindBreak(nested(100, group), type));
}

TEST(AReply, MayHaveFieldsThatTheSchemaDoesNotKnow) {
  const std::string group = Varint(1000 << 3 | 3) + Number(1, 5) + Varint(1000 << 3 | 4);
  ExpectReply(Number(1, 20) + group + Delimited(1001, "any bytes \xff") + Varint(1002 << 3 | 5) + "1234");
  ExpectNoReply(Number(1, 20) + Varint(1000 << 3 | 3) + Number(1, 5), 2,
                "not a reply: the bytes end inside the field that begins at offset 2 (6 bytes read)");
  // It ends another group than the one that has begun.
  ExpectNoReply(Number(1, 20) + Varint(1000 << 3 | 3) + Varint(1001 << 3 | 4), 2,
                "not a reply: no field can begin like the bytes at offset 2 (6 bytes read)");
}

TEST(AReply, MayHaveGroupsAsDeepAsTheLibraryTakesThem) {
  const auto groups = [](int levels) {
    std::string begins;
    std::string ends;
    for (int i = 0; i < levels; ++i) {
      begins += Varint(1000 << 3 | 3);
      ends += Varint(1000 << 3 | 4);
    }
    return Number(1, 20) + begins + ends;
  };
  EXPECT_EQ(DiagnoseReply(groups(90)).reason, Reason::kNone);
  EXPECT_EQ(DiagnoseReply(groups(110)).reason, Reason::kNotAReply);
  for (int levels = 90; levels <= 110; ++levels)
    EXPECT_EQ(DiagnoseReply(groups(levels)).reason == Reason::kNone,
              !TesparserPB2Json(groups(levels)).empty())
        << levels;
  // Wire type 7 inside.
  ExpectNoReply(Number(1, 20) + Varint(1000 << 3 | 3) + Varint(1 << 3 | 7) + Varint(1000 << 3 | 4), 2,
                "not a reply: no field can begin like the bytes at offset 2 (7 bytes read)");
}

TEST(AReply, MayHaveTagsAndLengthsWithBytesToSpare) {
  // Four bytes for 1, and five bytes whose highest bits are lost.
  ExpectReply(std::string("\x88\x80\x80\x00\x14", 5));
  ExpectReply("\x88\x80\x80\x80\x70\x14");
  ExpectNoReply(std::string("\x88\x80\x80\x80\x80\x00\x14", 7), 0,
                "not a reply: no field can begin like the bytes at offset 0 (7 bytes read)");
  ExpectReply(std::string("\x08\x14\x12\x81\x80\x80\x80\x00\x41", 9));
  ExpectNoReply(std::string("\x08\x14\x12\x81\x80\x80\x80\x80\x00\x41", 10), 2,
                "not a reply: no field can begin like the bytes at offset 2 (10 bytes read)");
}

TEST(AReply, IsWhatTheLibraryTakesForOneHoweverItIsCut) {
  const std::string wire =
      Wire(Delimited(2, Delimited(1, "A") + Number(2, 'i')) +
           Delimited(3, Number(1, 0) + Delimited(2, "\x01\x81\x01") + Delimited(4, Raw(1.5))));
  for (const std::string& whole : {Snapshot(kObj + Delimited(2, Number(1, 1) + Number(2, 300))), wire}) {
    ExpectReply(whole);
    for (size_t size = 0; size < whole.size(); ++size) {
      const std::string cut = whole.substr(0, size);
      const Diagnosis found = DiagnoseJson(cut);
      EXPECT_EQ(found.reason == Reason::kNone, !TesparserPB2Json(cut).empty()) << size;
      EXPECT_LE(found.offset, size);
    }
  }
}

TEST(MissingField, IsToldByItsPath) {
  const Diagnosis id = DiagnoseJson(Delimited(2, "A"));
  EXPECT_EQ(id.reason, Reason::kFieldMissing);
  EXPECT_EQ(id.field, "Id");
  EXPECT_EQ(id.offset, 0U);
  EXPECT_EQ(id.message, "not a reply: required field \"Id\" is missing (3 bytes read)");

  // The second of three snapshots has no code, and neither has the third.
  const Diagnosis obj = DiagnoseTable(Snapshot(kObj) + Delimited(20, "") + Delimited(20, ""), std::nullopt);
  EXPECT_EQ(obj.reason, Reason::kFieldMissing);
  EXPECT_EQ(obj.field, "RepDataQuoteDynaSingle.Obj");
  EXPECT_EQ(obj.message,
            "not a reply: required field \"RepDataQuoteDynaSingle[1].Obj\" is missing, and 1 more"
            " (21 bytes read)");

  const Diagnosis index = DiagnoseReply(Wire(Delimited(3, Number(1, 0)) + Delimited(3, "")));
  EXPECT_EQ(index.field, "Tbl.Data.Index");
  EXPECT_EQ(index.message, "not a reply: required field \"Tbl.Data[1].Index\" is missing (10 bytes read)");
}

TEST(MissingField, MayArriveInAnotherPieceOfTheMessage) {
  // Data of a snapshot is one message with two required numbers, here in two pieces; then one of them twice.
  ExpectReply(Snapshot(kObj + Delimited(2, Number(1, 1)) + Delimited(2, Number(2, 2))));
  const Diagnosis found =
      DiagnoseReply(Snapshot(kObj + Delimited(2, Number(1, 1)) + Delimited(2, Number(1, 2))));
  EXPECT_EQ(found.reason, Reason::kFieldMissing);
  EXPECT_EQ(found.field, "RepDataQuoteDynaSingle.Data.ShiJian");
}

TEST(MissingField, IsOneOfAnotherTypeOnTheWire) {
  EXPECT_EQ(DiagnoseReply(Delimited(1, "A")).field, "Id");
  EXPECT_EQ(TesparserPB2Json(Delimited(1, "A")), "");
}

// Id 29, a word and a list of results, whose kind is one of eleven.
TEST(MissingField, IsAnEnumWithAValueThatItDoesNotHave) {
  const auto results = [](uint64_t kind) {
    return Number(1, 29) + Delimited(29, Delimited(1, "A") + Delimited(2, Number(1, kind)));
  };
  ExpectReply(results(10));
  const Diagnosis found = DiagnoseReply(results(11));
  EXPECT_EQ(found.reason, Reason::kFieldMissing);
  EXPECT_EQ(found.field, "RepDataJianPanBaoShuChu.JieGuo.LeiXing");
  EXPECT_EQ(TesparserPB2Json(results(11)), "");
}

TEST(NotExpressible, IsTextThatIsNotUtf8) {
  ExpectNotExpressible(Number(1, 20) + Delimited(2, kBadText), "Obj",
                       "text that is not valid UTF-8 in field \"Obj\"");
  ExpectNotExpressible(Snapshot(kObj) + Delimited(20, Delimited(1, kBadText)), "RepDataQuoteDynaSingle.Obj",
                       "text that is not valid UTF-8 in field \"RepDataQuoteDynaSingle[1].Obj\"");
  ExpectNotExpressible(Wire(Delimited(3, Number(1, 0) + Delimited(5, "A") + Delimited(5, kBadText))),
                       "Tbl.Data.sValues",
                       "text that is not valid UTF-8 in field \"Tbl.Data[0].sValues[1]\"");
  // The first of two, in the order of fields, not in the order of arrival.
  ExpectNotExpressible(Number(1, 20) + Delimited(4, kBadText) + Delimited(2, kBadText), "Obj",
                       "text that is not valid UTF-8 in field \"Obj\"");
  ExpectNotExpressible(Delimited(20, Delimited(1, kBadText)) + Delimited(2, kBadText) + Number(1, 20), "Obj",
                       "text that is not valid UTF-8 in field \"Obj\"");
}

TEST(NotExpressible, IsOnlyWhatWouldBeShown) {
  // Of two texts the last one counts, and of a text what comes before a zero byte. Bytes are no text.
  ExpectReply(Number(1, 20) + Delimited(2, kBadText) + Delimited(2, "A"));
  ExpectReply(Number(1, 20) + Delimited(2, std::string("A\0\xff", 3)));
  ExpectReply(Wire(Delimited(3, Number(1, 0) + Delimited(6, kBadText))));
  ExpectReply(Number(1, 20) + Delimited(1000, kBadText));
}

TEST(NotExpressible, IsANumberThatIsNotFinite) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const float infinite = -std::numeric_limits<float>::infinity();
  // In one piece, and each value by itself.
  const std::string index = Number(1, 0);
  ExpectNotExpressible(Wire(Delimited(3, index + Delimited(4, Raw(1.0) + Raw(2.0) + Raw(nan)))),
                       "Tbl.Data.dValues", "a number that is not finite in field \"Tbl.Data[0].dValues[2]\"");
  ExpectNotExpressible(
      Wire(Delimited(3, index + Varint(3 << 3 | 5) + Raw(1.0F) + Varint(3 << 3 | 5) + Raw(infinite))),
      "Tbl.Data.fValues", "a number that is not finite in field \"Tbl.Data[0].fValues[1]\"");
  // A singular one.
  ExpectNotExpressible(Wire(Delimited(4, index + Varint(4 << 3 | 1) + Raw(nan))), "Tbl.DataX.dValue",
                       "a number that is not finite in field \"Tbl.DataX[0].dValue\"");
  ExpectReply(Wire(Delimited(4, index + Varint(4 << 3 | 1) + Raw(nan) + Varint(4 << 3 | 1) + Raw(1.0))));
  ExpectReply(Wire(Delimited(3, index + Delimited(4, Raw(std::numeric_limits<double>::max())))));
}

TEST(NoTable, IsNoTableForm) {
  const Diagnosis token = DiagnoseTable(Bytes("Id: 44"), std::nullopt);
  EXPECT_EQ(token.reason, Reason::kNoTableForm);
  EXPECT_EQ(token.message, "Id 44 (Token) has no table form; the layout Token gives one");
  const Diagnosis ticks = DiagnoseTable(Bytes("Id: 22"), TPTypeById);
  EXPECT_EQ(ticks.reason, Reason::kNoTableForm);
  EXPECT_EQ(ticks.message, "Id 22 (QuoteTickSingle) has no table form");
  EXPECT_EQ(DiagnoseTable(Bytes("Id: -5"), std::nullopt).reason, Reason::kNoTableForm);

  EXPECT_EQ(DiagnoseTable(kReplyBytes, TPTypeToken).message,
            "Id 20 (QuoteDynaSingle) has no table in the layout Token");
  // The layout that nothing has, for wire tables too, and numbers that are none.
  for (const int type : {4, 6, 100, 117, -1})
    for (const char* id : {"Id: 20", "Id: 3", "Id: 25", "Id: 44"})
      EXPECT_EQ(DiagnoseTable(Bytes(id), static_cast<TPType>(type)).reason, Reason::kNoTableForm)
          << type << " of " << id;
  EXPECT_EQ(DiagnoseTable(Bytes("Id: 3"), TPTypeZhiBiao1).reason, Reason::kNoTableForm);
}

TEST(NoTable, IsNothingInIt) {
  const Diagnosis snapshot = DiagnoseTable(kReplyBytes, std::nullopt);
  EXPECT_EQ(snapshot.reason, Reason::kNothingInIt);
  EXPECT_EQ(snapshot.message,
            "Id 20 (QuoteDynaSingle): nothing to show: field \"RepDataQuoteDynaSingle\" is empty");
  // Numbers behind the Id are no Id.
  EXPECT_EQ(DiagnoseTable(Number(1, 20) + Number(5, 3), std::nullopt).message, snapshot.message);
  // The payload of another Id does not count.
  EXPECT_EQ(DiagnoseTable(Number(1, 21) + Delimited(20, kObj), std::nullopt).reason, Reason::kNothingInIt);
  EXPECT_EQ(DiagnoseTable(Wire(""), std::nullopt).message,
            "Id 3 (Tbl): nothing to show: no table can be made of field \"Tbl\"");

  const Diagnosis token = DiagnoseTable(Bytes("Id: 44"), TPTypeToken);
  EXPECT_EQ(token.reason, Reason::kNothingInIt);
  EXPECT_EQ(token.message, "Id 44 (Token) has nothing to show in the layout Token");
  for (const TPType type : {TPTypeDaDan, TPTypeFenLeiChiCang, TPTypeBxzjStock, TPTypeToken})
    EXPECT_EQ(DiagnoseTable(Wire(""), type).reason, Reason::kNothingInIt);
  for (const TPType type : {TPTypeZhiBiao1, TPTypeZhiBiao7, TPTypeZhiBiao16})
    EXPECT_EQ(DiagnoseTable(Bytes("Id: 25"), type).reason, Reason::kNothingInIt);
}

TEST(NoTable, IsNoneWhereThereIsOne) {
  const Diagnosis found = DiagnoseTable(Snapshot(kObj), std::nullopt);
  EXPECT_EQ(found.reason, Reason::kNone);
  EXPECT_EQ(found.message, "");
  EXPECT_TRUE(tsl_base::Table(TesparserPB2Table(Snapshot(kObj))));
  EXPECT_EQ(DiagnoseTable(Bytes("Id: 25 RepDataZhiBiaoShuChu { Obj: 'A' }"), TPTypeZhiBiao3).reason,
            Reason::kNone);
  // An Id that gives a table without rows.
  EXPECT_EQ(DiagnoseTable(Bytes("Id: 130"), std::nullopt).reason, Reason::kNone);
}

// ---- in the words of the viewer ---------------------------------------------------------------------------

TEST(Diagnosis, OfBytesThatAreNoReply) {
  EXPECT_EQ(WhyNoReply(""), "empty, 0 bytes");
  EXPECT_EQ(WhyNoReply("\x12\x01"
                       "A"),
            "not a reply: required field \"Id\" is missing (3 bytes read)");
  // Field 0 does not exist.
  EXPECT_EQ(WhyNoReply(std::string("\x08\x14\x00", 3)),
            "not a reply: no field can begin like the bytes at offset 2 (3 bytes read)");
  EXPECT_EQ(WhyNoTable("", std::nullopt), "empty, 0 bytes");
  EXPECT_EQ(WhyNoTableBriefly(""), "empty, 0 bytes");
}

TEST(Diagnosis, OfAReplyWithoutATable) {
  EXPECT_EQ(WhyNoTableBriefly(Bytes("Id: 44")), "no table form");
  EXPECT_EQ(WhyNoTableBriefly(kReplyBytes), "nothing to show: field \"RepDataQuoteDynaSingle\" is empty");
  EXPECT_EQ(
      WhyNoTable(kReplyBytes, std::nullopt),
      "Id 20 (QuoteDynaSingle): nothing to show: field \"RepDataQuoteDynaSingle\" is empty; try --to json");
  EXPECT_EQ(WhyNoTable(Bytes("Id: 44"), std::nullopt),
            "Id 44 (Token): no table form; try --to json or --type Token");
}

TEST(Diagnosis, OfATypeThatDoesNotFit) {
  EXPECT_EQ(WhyNoTable(kReplyBytes, TPTypeToken), "Id 20 (QuoteDynaSingle) gives no table of type Token");
  EXPECT_EQ(WhyNoTable(Bytes("Id: 44"), TPTypeDaDan),
            "Id 44 (Token) gives no table of type DaDan; try --type Token");
  EXPECT_EQ(WhyNoTable(Bytes("Id: 44"), TPTypeToken),
            "Id 44 (Token) gives no table of type Token; it has nothing to show");
  EXPECT_EQ(WhyNoTable(Bytes("Id: 25"), TPTypeZhiBiao3),
            "Id 25 (ZhiBiaoShuChu) gives no table of type ZhiBiao3; it has nothing to show");
}

}  // namespace
}  // namespace replies
