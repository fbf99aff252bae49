// Profile, topic and pushed documents: Ids 55, 130 and 437.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tesparser/tesparser.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using test_replies::P;

// 中 in the two encodings.
const std::string kUtf8 = "中";
const std::string kGb = "\xD6\xD0";

OwnedTable Convert(const std::string& reply) {
  return OwnedTable(TesparserPB2Table(test_replies::Reply(reply)));
}

// ---- Id 437: pushed documents -----------------------------------------------------------------------------

const char kDocumentSpec[] =
    "Id:s;Category:s;Title:s;Pubdate:s;Author:s;Summary:s;Content:s;Url:s;DataUr:s;IsPaid:i;IsRead:i;Extra:s;"
    "UNum:s;GengXinShiJian:q;";

OwnedTable Document(const std::string& fields) {
  return Convert("Id: 437 RepDataDingYueTuiSongXiaoXiFanHuiShuJu { ShuJuZongGeShu: 100 Data { " + fields +
                 " } }");
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, EveryColumnHasItsFieldAndConversion) {
  const OwnedTable table = Document(
      "Id: '中1' Category: '中2' Title: '中3' Pubdate: '中4' Author: '中5' Summary: '中6' Content: '中7' "
      "Url: '中8'"
      " DataUrl: '中9' IsPaid: true IsRead: true Extra: '中12' UNum: '中13' GengXinShiJian: " +
      P(1799) +
      " Images { Image: 'i' } Users { Username: 'u' } Stocks { Stock: 's' } Products { Product: 1 }"
      " Versions { Version: 'v' } Tags { Tag: 't' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), kDocumentSpec);
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2 3 4 5 6 7 8 9 10 11 12 13");
  EXPECT_EQ(TextAt(table.get(), 0, 0), kGb + "1");
  EXPECT_EQ(TextAt(table.get(), 0, 1), kGb + "2");
  EXPECT_EQ(TextAt(table.get(), 0, 2), kGb + "3");
  EXPECT_EQ(TextAt(table.get(), 0, 3), kGb + "4");
  EXPECT_EQ(TextAt(table.get(), 0, 4), kGb + "5");
  EXPECT_EQ(TextAt(table.get(), 0, 5), kGb + "6");
  EXPECT_EQ(TextAt(table.get(), 0, 6), kGb + "7");
  EXPECT_EQ(TextAt(table.get(), 0, 7), kGb + "8");
  EXPECT_EQ(TextAt(table.get(), 0, 8), kGb + "9");
  EXPECT_EQ(table_get_int(table.get(), 0, 9), 0);
  EXPECT_EQ(table_get_int(table.get(), 0, 10), 0);
  EXPECT_EQ(TextAt(table.get(), 0, 11), kUtf8 + "12");
  EXPECT_EQ(TextAt(table.get(), 0, 12), kGb + "13");
  EXPECT_EQ(table_get_int64(table.get(), 0, 13), 17);
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, NoDocumentsAreATableWithoutRows) {
  const OwnedTable table = Convert("Id: 437 RepDataDingYueTuiSongXiaoXiFanHuiShuJu { ShuJuZongGeShu: 100 }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), kDocumentSpec);
  EXPECT_EQ(table_rows(table.get()), 0);
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, EmptyReplyIsNull) {
  EXPECT_EQ(Convert("Id: 437"), nullptr);
  EXPECT_EQ(Convert("Id: 437 RepDataTopicPage { Obj: 'A' SuoShuZhuTi: 't' }"), nullptr);
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, OnlyTheFirstElementCounts) {
  const OwnedTable table = Convert(
      "Id: 437 RepDataDingYueTuiSongXiaoXiFanHuiShuJu { ShuJuZongGeShu: 0"
      " Data { Id: 'a' } }"
      "RepDataDingYueTuiSongXiaoXiFanHuiShuJu { ShuJuZongGeShu: 0"
      " Data { Id: 'b' } Data { Id: 'c' } }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "a");
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, FirstElementWithoutDocumentsHidesTheSecond) {
  const OwnedTable table = Convert(
      "Id: 437 RepDataDingYueTuiSongXiaoXiFanHuiShuJu { ShuJuZongGeShu: 0 }"
      "RepDataDingYueTuiSongXiaoXiFanHuiShuJu { ShuJuZongGeShu: 0 Data { Id: 'b' } }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table_rows(table.get()), 0);
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, FlagsAreAlwaysZero) {
  for (const std::string flags : {"IsPaid: true IsRead: false", "IsPaid: false IsRead: true",
                                  "IsPaid: true IsRead: true", "IsPaid: false IsRead: false", ""}) {
    const OwnedTable table = Document("Id: 'a' " + flags);
    ASSERT_NE(table, nullptr) << flags;
    EXPECT_EQ(table_is_set(table.get(), 0, 9), 1) << flags;
    EXPECT_EQ(table_get_int(table.get(), 0, 9), 0) << flags;
    EXPECT_EQ(table_is_set(table.get(), 0, 10), 1) << flags;
    EXPECT_EQ(table_get_int(table.get(), 0, 10), 0) << flags;
  }
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, TitleIsTranscodedAndExtraIsNot) {
  const OwnedTable table = Document("Id: 'a' Title: '浦发银行' Extra: '浦发银行'");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(TextAt(table.get(), 0, 2), "\xC6\xD6\xB7\xA2\xD2\xF8\xD0\xD0");
  EXPECT_EQ(TextAt(table.get(), 0, 11), "\xE6\xB5\xA6\xE5\x8F\x91\xE9\x93\xB6\xE8\xA1\x8C");
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, AbsentFieldsAreEmptyTextsAndZeros) {
  const OwnedTable table = Document("Id: 'a'");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2 3 4 5 6 7 8 9 10 11 12 13");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "a");
  for (const int col : {1, 2, 3, 4, 5, 6, 7, 8, 11, 12})
    EXPECT_EQ(TextAt(table.get(), 0, col), "") << col;
  for (const int col : {9, 10})
    EXPECT_EQ(table_get_int(table.get(), 0, col), 0) << col;
  EXPECT_EQ(table_get_int64(table.get(), 0, 13), 0);
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, UpdateTimeOfRawZeroOrBelowIsZero) {
  for (const std::string raw : {"0", "-1", "-1704250000", "-9223372036854775808"}) {
    const OwnedTable table = Document("Id: 'a' GengXinShiJian: " + raw);
    ASSERT_NE(table, nullptr) << raw;
    EXPECT_EQ(table_is_set(table.get(), 0, 13), 1) << raw;
    EXPECT_EQ(table_get_int64(table.get(), 0, 13), 0) << raw;
  }
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, UpdateTimeIsDecodedAndCutTowardZero) {
  struct Case {
    std::string raw;
    long long stored;
  };
  const std::vector<Case> cases = {
      {P(20240103093015, 10), 20240103093015},
      {P(299), 2},
      {P(299, 0, 1), -2},
      {P(88, 10, 15), -88},
      {"131072", 0},
      {P(99, 11), 0},
      {P(99, 12), 0},
      {P(99, 13), 0},
      {P(99, 14), 0},
      {P(99, 15), 0},
  };
  for (const Case& c : cases) {
    const OwnedTable table = Document("Id: 'a' GengXinShiJian: " + c.raw);
    ASSERT_NE(table, nullptr) << c.raw;
    EXPECT_EQ(table_get_int64(table.get(), 0, 13), c.stored) << c.raw;
  }
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, ManyDocumentsKeepWireOrder) {
  std::string reply = "Id: 437 RepDataDingYueTuiSongXiaoXiFanHuiShuJu { ShuJuZongGeShu: 0";
  for (int i = 0; i < 300; ++i)
    reply +=
        " Data { Id: 'd" + std::to_string(i) + "' GengXinShiJian: " + P(static_cast<uint64_t>(i), 10) + " }";
  const OwnedTable table = Convert(reply + " }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 300);
  for (int i = 0; i < 300; ++i) {
    ASSERT_EQ(TextAt(table.get(), i, 0), "d" + std::to_string(i));
    ASSERT_EQ(table_get_int64(table.get(), i, 13), i);
  }
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, TextEndsAtItsFirstZeroByte) {
  const OwnedTable table = Document(R"(Id: 'ab\000cd' Content: '\000x' Extra: 'ef\000gh')");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "ab");
  EXPECT_EQ(TextAt(table.get(), 0, 6), "");
  EXPECT_EQ(TextAt(table.get(), 0, 11), "ef");
}

TEST(DingYueTuiSongXiaoXiFanHuiShuJu, MissingRequiredFieldsAreNoReply) {
  EXPECT_EQ(Document("Title: 't'"), nullptr);
  EXPECT_EQ(Convert("Id: 437 RepDataDingYueTuiSongXiaoXiFanHuiShuJu { Data { Id: 'a' } }"), nullptr);
}

// ---- Id 55: the office address out of the company profile -------------------------------------------------

// A profile in which every text and number is another one.
const char kProfile[] =
    "obj: '中1' zqlx: '中2' gsdm: '中3' gsmc: '中4' ywqc: '中5' zcdz: '中6' bgdz: '中7' ssqy: '中8' sshy: "
    "'中9' gswz: '中10'"
    " dzxx: '中11' ssrq: '中12' zgrq: '中13' fxl: 14 fxj: 15 srkpj: 16 sstjr: '中17' zcxs: '中18' frdb: "
    "'中19' dsz: '中20'"
    " zjl: '中21' dm: '中22' zqdb: '中23' dh: '中24' cz: '中25' yb: '中26' kjsws: '中27' zyfw: '中28' gsjs: "
    "'中29'"
    " dmdh: '中30' dmcz: '中31' dmdzyx: '中32' RegionName: '中33'";

TEST(F10GsgkOutput, OfAWholeProfileOnlyObjectAndOfficeAddressAreShown) {
  const OwnedTable table = Convert(std::string("Id: 55 RepDataF10GsgkOutput { ") + kProfile + " }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;bgdz:s;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), kGb + "1");
  EXPECT_EQ(TextAt(table.get(), 0, 1), kGb + "7");
}

TEST(F10GsgkOutput, AbsentAddressIsAnEmptyText) {
  const OwnedTable table = Convert("Id: 55 RepDataF10GsgkOutput { obj: 'SH600000' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "");
}

TEST(F10GsgkOutput, RowsKeepWireOrder) {
  const OwnedTable table = Convert(
      "Id: 55 RepDataF10GsgkOutput { obj: 'B' bgdz: 'b' }"
      "RepDataF10GsgkOutput { obj: 'A' bgdz: 'a' } RepDataF10GsgkOutput { obj: 'B' }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "B");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "b");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "A");
  EXPECT_EQ(TextAt(table.get(), 1, 1), "a");
  EXPECT_EQ(TextAt(table.get(), 2, 0), "B");
  EXPECT_EQ(TextAt(table.get(), 2, 1), "");
}

TEST(F10GsgkOutput, ManyRows) {
  std::string reply = "Id: 55";
  for (int i = 0; i < 300; ++i)
    reply += " RepDataF10GsgkOutput { obj: 'o" + std::to_string(i) + "' bgdz: 'b" + std::to_string(i) + "' }";
  const OwnedTable table = Convert(reply);
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 300);
  for (int i = 0; i < 300; ++i) {
    ASSERT_EQ(TextAt(table.get(), i, 0), "o" + std::to_string(i));
    ASSERT_EQ(TextAt(table.get(), i, 1), "b" + std::to_string(i));
  }
}

TEST(F10GsgkOutput, EmptyReplyIsNull) {
  EXPECT_EQ(Convert("Id: 55"), nullptr);
  EXPECT_EQ(Convert("Id: 55 RepDataTopicPage { Obj: 'A' SuoShuZhuTi: 't' }"), nullptr);
}

TEST(F10GsgkOutput, MissingObjectIsNoReply) {
  EXPECT_EQ(Convert("Id: 55 RepDataF10GsgkOutput { bgdz: 'b' }"), nullptr);
}

// ---- Id 130: the topic of a stock -------------------------------------------------------------------------

TEST(TopicPage, EveryColumnHasItsField) {
  const OwnedTable table = Convert("Id: 130 RepDataTopicPage { Obj: '中1' SuoShuZhuTi: '中2' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;SuoShuZhuTi:s;");
  EXPECT_STREQ(table_name(table.get()), "");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), kGb + "1");
  EXPECT_EQ(TextAt(table.get(), 0, 1), kGb + "2");
}

TEST(TopicPage, EmptyReplyIsATableWithoutRows) {
  const OwnedTable table = Convert("Id: 130");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;SuoShuZhuTi:s;");
  EXPECT_STREQ(table_name(table.get()), "");
  EXPECT_EQ(table_rows(table.get()), 0);
}

TEST(TopicPage, OtherFieldsOfTheReplyAreNotLookedAt) {
  const OwnedTable table = Convert("Id: 130 RepDataF10GsgkOutput { obj: 'A' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;SuoShuZhuTi:s;");
  EXPECT_EQ(table_rows(table.get()), 0);
}

TEST(TopicPage, EmptyTextsAreStored) {
  const OwnedTable table = Convert("Id: 130 RepDataTopicPage { Obj: '' SuoShuZhuTi: '' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "");
}

TEST(TopicPage, RowsKeepWireOrderAndRepeatedObjectsStay) {
  const OwnedTable table = Convert(
      "Id: 130 RepDataTopicPage { Obj: 'B' SuoShuZhuTi: 'y' }"
      "RepDataTopicPage { Obj: 'A' SuoShuZhuTi: 'x' }"
      "RepDataTopicPage { Obj: 'B' SuoShuZhuTi: 'z' }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "B");
  EXPECT_EQ(TextAt(table.get(), 0, 1), "y");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "A");
  EXPECT_EQ(TextAt(table.get(), 1, 1), "x");
  EXPECT_EQ(TextAt(table.get(), 2, 0), "B");
  EXPECT_EQ(TextAt(table.get(), 2, 1), "z");
}

TEST(TopicPage, ManyRows) {
  std::string reply = "Id: 130";
  for (int i = 0; i < 300; ++i)
    reply +=
        " RepDataTopicPage { Obj: 'o" + std::to_string(i) + "' SuoShuZhuTi: 't" + std::to_string(i) + "' }";
  const OwnedTable table = Convert(reply);
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 300);
  for (int i = 0; i < 300; ++i) {
    ASSERT_EQ(TextAt(table.get(), i, 0), "o" + std::to_string(i));
    ASSERT_EQ(TextAt(table.get(), i, 1), "t" + std::to_string(i));
  }
}

TEST(TopicPage, MissingRequiredFieldsAreNoReply) {
  EXPECT_EQ(Convert("Id: 130 RepDataTopicPage { Obj: 'A' }"), nullptr);
  EXPECT_EQ(Convert("Id: 130 RepDataTopicPage { SuoShuZhuTi: 't' }"), nullptr);
}

}  // namespace
