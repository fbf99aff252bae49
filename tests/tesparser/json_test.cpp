// Replies as JSON: every field that was sent, under its own name, with its value as it stands.
#include "tests/support/json.h"

#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tesparser/tesparser.h"
#include "tests/support/replies.h"

namespace {

using test_replies::P;
using test_replies::Reply;

const google::protobuf::LogSilencer kQuiet;

std::string Json(const std::string& reply) {
  return TesparserPB2Json(Reply(reply));
}

// The single cell of a wire table, given in text form, and the JSON of the cell.
testing::AssertionResult SameCell(const std::string& fields, const std::string& expected) {
  return SameJson(Json("Id: 3 Tbl { DataX { Index: 0 " + fields + " } }"),
                  R"({"Id": 3, "Tbl": {"DataX": [{"Index": 0, )" + expected + "}]}}");
}
testing::AssertionResult SameColumn(const std::string& fields, const std::string& expected) {
  return SameJson(Json("Id: 3 Tbl { Data { Index: 0 " + fields + " } }"),
                  R"({"Id": 3, "Tbl": {"Data": [{"Index": 0, )" + expected + "}]}}");
}

// ---- values by class ------------------------------------------------------------------------------------

// The text grows by pieces of about a kilobyte, longer ones at once; none of that shows.
TEST(JsonValue, TextsOfEveryLengthStandWhole) {
  for (const int length : {0, 1, 999, 1000, 1001, 1023, 1024, 1025, 2048, 100000}) {
    const std::string text(static_cast<size_t>(length), 'x');
    EXPECT_EQ(Json("Id: 20 Obj: '" + text + "' ObjCount: 7"),
              "{\"Id\": 20, \"Obj\": \"" + text + "\", \"ObjCount\": 7}");
  }
}

TEST(JsonValue, Int32) {
  EXPECT_TRUE(SameJson(Json("Id: -2147483648 ObjCount: 2147483647"),
                       R"({"Id": -2147483648, "ObjCount": 2147483647})"));
}

TEST(JsonValue, Int64) {
  EXPECT_TRUE(SameCell("iValue: -9223372036854775808", R"("iValue": -9223372036854775808)"));
  EXPECT_TRUE(
      SameColumn("iValues: [9223372036854775807, -1, 0]", R"("iValues": [9223372036854775807, -1, 0])"));
}

TEST(JsonValue, Int64KeepsDigitsBeyondDoubles) {
  const std::string json = Json("Id: 3 Tbl { DataX { Index: 0 iValue: 9007199254740993 } }");
  EXPECT_NE(json.find("\"iValue\": 9007199254740993"), std::string::npos) << json;
}

TEST(JsonValue, Sint64) {
  EXPECT_TRUE(SameColumn("xValues: [1234, -3, 9223372036854775807, -9223372036854775808]",
                         R"("xValues": [1234, -3, 9223372036854775807, -9223372036854775808])"));
}

TEST(JsonValue, Uint32IsNotSigned) {
  EXPECT_TRUE(SameJson(Json("Id: 174 RepDataTipList { NeedShow: 4294967295 }"),
                       R"({"Id": 174, "RepDataTipList": [{"NeedShow": 4294967295}]})"));
  EXPECT_TRUE(SameJson(Json("Id: 351 RepDataParticularStockData { Reason: [1, 4294967295] }"),
                       R"({"Id": 351, "RepDataParticularStockData": [{"Reason": [1, 4294967295]}]})"));
}

TEST(JsonValue, Uint64IsTakenAsSigned) {
  EXPECT_TRUE(
      SameJson(Json("Id: 166 RepDataRoomInfo { PV: 18446744073709551615 MemberNum: 9223372036854775807 }"),
               R"({"Id": 166, "RepDataRoomInfo": [{"PV": -1, "MemberNum": 9223372036854775807}]})"));
  EXPECT_TRUE(SameJson(Json("Id: 458 RepDataZdStatistics { Data: [1, 9223372036854775808] }"),
                       R"({"Id": 458, "RepDataZdStatistics": [{"Data": [1, -9223372036854775808]}]})"));
}

TEST(JsonValue, Double) {
  EXPECT_TRUE(SameCell("dValue: 0.1", R"("dValue": 0.1)"));
  EXPECT_TRUE(
      SameColumn("dValues: [1.5, -2.25, 1e300, 5e-324]", R"("dValues": [1.5, -2.25, 1e300, 5e-324])"));
}

TEST(JsonValue, FloatIsWidened) {
  EXPECT_TRUE(SameCell("fValue: 0.1", R"("fValue": 0.10000000149011612)"));
  EXPECT_TRUE(SameColumn("fValues: [0.5, 0.1]", R"("fValues": [0.5, 0.10000000149011612])"));
}

TEST(JsonValue, RealsOfIntegralValueStayReals) {
  const std::string json = Json("Id: 3 Tbl { DataX { Index: 0 dValue: 3 } }");
  EXPECT_NE(json.find("\"dValue\": 3.0"), std::string::npos) << json;
}

TEST(JsonValue, Bool) {
  EXPECT_TRUE(
      SameJson(Json("Id: 26 RepDataZhiBiao { MingCheng: '' ChangYong: true ZiDingYi: false }"),
               R"({"Id": 26, "RepDataZhiBiao": [{"MingCheng": "", "ChangYong": true, "ZiDingYi": false}]})"));
}

TEST(JsonValue, EnumIsItsNumber) {
  EXPECT_TRUE(SameJson(
      Json("Id: 26 RepDataZhiBiao { MingCheng: '' LeiXing: TYPE_SUB_PICT WenBenLeiXing: TEXTTYPE_FORMULA }"),
      R"({"Id": 26, "RepDataZhiBiao": [{"MingCheng": "", "LeiXing": 4, "WenBenLeiXing": 0}]})"));
}

TEST(JsonValue, TextStaysUtf8) {
  const std::string json = Json("Id: 2 Obj: '中国平安'");
  EXPECT_NE(json.find("\"Obj\": \"中国平安\""), std::string::npos) << json;
}

TEST(JsonValue, BytesAreBase64) {
  EXPECT_TRUE(SameCell("bValues: 'f'", R"("bValues": "Zg==")"));
  EXPECT_TRUE(SameCell("bValues: 'fo'", R"("bValues": "Zm8=")"));
  EXPECT_TRUE(SameCell("bValues: 'foo'", R"("bValues": "Zm9v")"));
  EXPECT_TRUE(SameCell("bValues: '\\000\\377\\000\\326'", R"("bValues": "AP8A1g==")"));
}

TEST(JsonValue, RepeatedBytes) {
  EXPECT_TRUE(SameColumn("bValues: ['', 'foobar', '\\000']", R"("bValues": ["", "Zm9vYmFy", "AA=="])"));
}

TEST(JsonValue, RepeatedText) {
  EXPECT_TRUE(SameColumn("sValues: ['a', '', '中']", R"("sValues": ["a", "", "中"])"));
}

TEST(JsonValue, MessagesNest) {
  EXPECT_TRUE(
      SameColumn("tValues { Name: 'x' } tValues { Tiid: 7 }", R"("tValues": [{"Name": "x"}, {"Tiid": 7}])"));
  EXPECT_TRUE(SameCell("tValue { Memo: 'm' } aValues { sValues: 'q' }",
                       R"("tValue": {"Memo": "m"}, "aValues": {"sValues": ["q"]})"));
}

// ---- presence -------------------------------------------------------------------------------------------

TEST(JsonPresence, OnlyTheId) {
  EXPECT_EQ(Json("Id: 5"), "{\"Id\": 5}");
}

TEST(JsonPresence, EmptyInputGivesEmptyText) {
  EXPECT_EQ(TesparserPB2Json(""), "");
}

TEST(JsonPresence, EmptyRepeatedFieldsAreAbsent) {
  EXPECT_TRUE(SameJson(Json("Id: 21 RepDataQuoteKlineSingle { Obj: 'A' }"),
                       R"({"Id": 21, "RepDataQuoteKlineSingle": [{"Obj": "A"}]})"));
  // A packed field of no elements that was sent all the same.
  EXPECT_EQ(TesparserPB2Json(std::string("\x08\x03\x1a\x06\x1a\x04\x08\x00\x12\x00", 10)),
            Json("Id: 3 Tbl { Data { Index: 0 } }"));
}

TEST(JsonPresence, SentSubMessageWithoutFieldsIsAnEmptyObject) {
  EXPECT_TRUE(SameJson(Json("Id: 3 Tbl { }"), R"({"Id": 3, "Tbl": {}})"));
  EXPECT_TRUE(SameJson(Json("Id: 166 RepDataRoomInfo { } RepDataRoomInfo { }"),
                       R"({"Id": 166, "RepDataRoomInfo": [{}, {}]})"));
}

TEST(JsonPresence, SentEmptyTextAndBytesAreThere) {
  EXPECT_TRUE(SameCell("sValue: '' bValues: ''", R"("sValue": "", "bValues": "")"));
}

TEST(JsonPresence, SentDefaultsAreThereAndOthersAreNot) {
  EXPECT_TRUE(SameCell("iValue: 0 dValue: 0", R"("iValue": 0, "dValue": 0.0)"));
  EXPECT_TRUE(SameJson(Json("Id: 0"), R"({"Id": 0})"));
}

TEST(JsonPresence, EveryFilledFieldIsShownWhateverTheId) {
  EXPECT_TRUE(
      SameJson(Json("Id: 20 Obj: 'x' JsonTbl: 'y' ObjCount: 2 Tbl { Name: 'n' } RepDataStkData { Obj: 'A' } "
                    "RepDataQuoteKlineSingle { Obj: 'B' Data { ShiJian: 9 } }"),
               R"({"Id": 20, "Obj": "x", "JsonTbl": "y", "ObjCount": 2, "Tbl": {"Name": "n"},
                           "RepDataStkData": [{"Obj": "A"}],
                           "RepDataQuoteKlineSingle": [{"Obj": "B", "Data": [{"ShiJian": 9}]}]})"));
}

TEST(JsonPresence, WireTableIsShownAsItCame) {
  EXPECT_TRUE(
      SameJson(Json("Id: 3 Tbl { Tiid: 1 Name: 'n' Memo: 'm' Info { Name: 'c' Type: 233 Ratio: 2 } "
                    "Data { Index: 0 aValues { iValues: [1, 2] dValues: 0.5 } } DataX { Index: 4 } }"),
               R"({"Id": 3, "Tbl": {"Tiid": 1, "Name": "n", "Memo": "m",
                           "Info": [{"Name": "c", "Type": 233, "Ratio": 2}],
                           "Data": [{"Index": 0, "aValues": [{"iValues": [1, 2], "dValues": [0.5]}]}],
                           "DataX": [{"Index": 4}]}})"));
}

TEST(JsonPresence, PackedNumbersStayPacked) {
  EXPECT_TRUE(SameJson(Json("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' Data { Id: 0 ShiJian: 0 ZuiXinJia: " +
                            P(1234, 3, 1) + " } }"),
                       R"({"Id": 20, "RepDataQuoteDynaSingle": [{"Obj": "A",
                           "Data": {"Id": 0, "ShiJian": 0, "ZuiXinJia": 1246418}}]})"));  // 0x1304D2
}

TEST(JsonPresence, JsonTextInsideAReplyIsAString) {
  EXPECT_TRUE(
      SameJson(Json("Id: 4 JsonTbl: '{\"a\": [1, 2]}'"), R"({"Id": 4, "JsonTbl": "{\"a\": [1, 2]}"})"));
}

// ---- the text itself ------------------------------------------------------------------------------------

TEST(JsonText, Separators) {
  EXPECT_NE(Json("Id: 3 Tbl { Data { Index: 0 iValues: [1, 2, 3] } }").find("\"iValues\": [1, 2, 3]"),
            std::string::npos);
  EXPECT_NE(Json("Id: 166 RepDataRoomInfo { PV: 1 } RepDataRoomInfo { PV: 2 }")
                .find("\"RepDataRoomInfo\": [{\"PV\": 1}, {\"PV\": 2}]"),
            std::string::npos);
  EXPECT_NE(Json("Id: 5 ObjCount: 6").find(", "), std::string::npos);
}

TEST(JsonText, Escapes) {
  const std::string json = Json("Id: 2 Obj: 'q\\\" b\\\\ s/ n\\n t\\t r\\r f\\f b\\b u\\001 \\037 d\\177'");
  EXPECT_NE(json.find(R"("Obj": "q\" b\\ s/ n\n t\t r\r f\f b\b u\u0001 \u001F d)"
                      "\x7f\""),
            std::string::npos)
      << json;
}

TEST(JsonText, OneLine) {
  const std::string json = Json(
      "Id: 21 Obj: 'a\\nb' RepDataQuoteKlineSingle { Obj: 'A' Data { ShiJian: 1 } Data { ShiJian: 2 } }");
  EXPECT_EQ(json.find('\n'), std::string::npos);
  EXPECT_EQ(json.find('\0'), std::string::npos);
  EXPECT_EQ(json.front(), '{');
  EXPECT_EQ(json.back(), '}');
}

TEST(JsonText, CharactersBeyondTheFirstPlaneStayAsTheyAre) {
  const std::string json = Json("Id: 2 Obj: '\\360\\237\\230\\200 é'");
  EXPECT_NE(json.find("\xF0\x9F\x98\x80 é"), std::string::npos) << json;
}

TEST(JsonText, TextEndsAtItsFirstZeroByte) {
  EXPECT_TRUE(SameJson(Json("Id: 2 Obj: 'ab\\000cd'"), R"({"Id": 2, "Obj": "ab"})"));
  EXPECT_TRUE(SameJson(Json("Id: 2 Obj: '\\000cd'"), R"({"Id": 2, "Obj": ""})"));
  // What stands behind it is not looked at either.
  EXPECT_TRUE(SameJson(Json("Id: 2 Obj: 'ab\\000\\377'"), R"({"Id": 2, "Obj": "ab"})"));
}

TEST(JsonText, SameReplyGivesTheSameText) {
  const std::string reply = Reply("Id: 20 Obj: 'x' ObjCount: 3 RepDataQuoteDynaSingle { Obj: 'A' }");
  EXPECT_EQ(TesparserPB2Json(reply), TesparserPB2Json(reply));
}

// ---- what JSON cannot express ---------------------------------------------------------------------------

std::string ErrorOf(const std::string& reply) {
  try {
    return "no exception: " + Json(reply);
  } catch (const j2pb_error& error) {
    return error.what();
  }
}

TEST(JsonError, NotANumber) {
  EXPECT_EQ(ErrorOf("Id: 3 Tbl { DataX { Index: 0 dValue: nan } }"), "dValue: Fail to convert to json");
  EXPECT_EQ(ErrorOf("Id: 3 Tbl { DataX { Index: 0 fValue: nan } }"), "fValue: Fail to convert to json");
  EXPECT_EQ(ErrorOf("Id: 3 Tbl { Data { Index: 0 dValues: [1, nan] } }"), "dValues: Fail to convert to json");
}

TEST(JsonError, Infinite) {
  EXPECT_EQ(ErrorOf("Id: 3 Tbl { DataX { Index: 0 dValue: inf } }"), "dValue: Fail to convert to json");
  EXPECT_EQ(ErrorOf("Id: 3 Tbl { DataX { Index: 0 dValue: -inf } }"), "dValue: Fail to convert to json");
  EXPECT_EQ(ErrorOf("Id: 3 Tbl { Data { Index: 0 fValues: [inf] } }"), "fValues: Fail to convert to json");
}

TEST(JsonError, TextThatIsNoUtf8) {
  EXPECT_EQ(ErrorOf("Id: 2 Obj: '\\326\\320\\271\\372'"), "Obj: Fail to convert to json");  // GB2312
  EXPECT_EQ(ErrorOf("Id: 3 Tbl { Data { Index: 0 sValues: ['a', '\\300\\200'] } }"),
            "sValues: Fail to convert to json");                                       // overlong
  EXPECT_EQ(ErrorOf("Id: 2 Obj: '\\355\\240\\200'"), "Obj: Fail to convert to json");  // surrogate
  EXPECT_EQ(ErrorOf("Id: 2 Obj: '\\344\\270'"), "Obj: Fail to convert to json");       // cut short
}

TEST(JsonError, NamesTheInnermostField) {
  EXPECT_EQ(
      ErrorOf("Id: 3 Tbl { Data { Index: 0 tValues { Data { Index: 0 tValues { Memo: '\\377' } } } } }"),
      "Memo: Fail to convert to json");
}

TEST(JsonError, OneBadValueFailsAllOfTheReply) {
  EXPECT_EQ(ErrorOf("Id: 20 RepDataQuoteDynaSingle { Obj: 'A' } RepDataQuoteDynaSingle { Obj: '\\377' } "
                    "RepDataQuoteDynaSingle { Obj: 'B' }"),
            "Obj: Fail to convert to json");
}

TEST(JsonError, BytesAreNeverBadText) {
  EXPECT_TRUE(SameCell("bValues: '\\377\\376'", R"("bValues": "//4=")"));
}

}  // namespace
