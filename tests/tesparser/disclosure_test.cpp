// Company disclosures: Ids 346, 385 and 386.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using test_replies::P;

// The first byte pair of every text here: 中 as the display code reads it.
const std::string kGb = "\xD6\xD0";

OwnedTable Convert(const std::string& reply) {
  return OwnedTable(TesparserPB2Table(test_replies::Reply(reply)));
}

// ---- Id 346: marks on the candlestick chart ---------------------------------------------------------------

OwnedTable Marks(const std::string& fields) {
  return Convert("Id: 346 RepDataDsfxKLineBiaoJiFanHui { " + fields + " }");
}

TEST(DsfxKLineBiaoJiFanHui, EveryColumnHasItsField) {
  const OwnedTable table = Marks(
      "Obj: '中1' GuPiaoMingCheng: '中2' Datas { RiQi: '中3' LeiXing: '中4' LeiXingFenLei: 5"
      " BiaoJi: '中6' GongGaoNeiRong: '中7' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "Obj:s;Data:t;");
  EXPECT_STREQ(table_name(table.get()), "root");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), kGb + "1");
  void* marks = table_get_table(table.get(), 0, 1);
  ASSERT_NE(marks, nullptr);
  EXPECT_EQ(SpecOf(marks), "RiQi:s;LeiXing:s;BiaoJi:s;GongGaoNeiRong:s;");
  EXPECT_STREQ(table_name(marks), "");
  ASSERT_EQ(table_rows(marks), 1);
  EXPECT_EQ(TextAt(marks, 0, 0), kGb + "3");
  EXPECT_EQ(TextAt(marks, 0, 1), kGb + "4");
  EXPECT_EQ(TextAt(marks, 0, 2), kGb + "6");
  EXPECT_EQ(TextAt(marks, 0, 3), kGb + "7");
}

TEST(DsfxKLineBiaoJiFanHui, EmptyReplyIsNull) {
  EXPECT_EQ(Convert("Id: 346"), nullptr);
  EXPECT_EQ(Convert("Id: 346 RepDataDongMiBaoLiaoZhuTiFanHuiShuJu { ShuJuZongGeShu: 100 }"), nullptr);
}

TEST(DsfxKLineBiaoJiFanHui, WithoutMarksTheCellStaysUnset) {
  const OwnedTable table = Marks("Obj: 'SH600000'");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(SetColumns(table.get(), 0), "0");
  EXPECT_EQ(TextAt(table.get(), 0, 0), "SH600000");
}

TEST(DsfxKLineBiaoJiFanHui, AbsentMarkIsAnEmptyText) {
  const OwnedTable table = Marks("Obj: 'A' Datas { RiQi: '20240103' LeiXing: 't' GongGaoNeiRong: 'text' }");
  ASSERT_NE(table, nullptr);
  void* marks = table_get_table(table.get(), 0, 1);
  EXPECT_EQ(SetColumns(marks, 0), "0 1 2 3");
  EXPECT_EQ(TextAt(marks, 0, 2), "");
  EXPECT_EQ(TextAt(marks, 0, 3), "text");
}

TEST(DsfxKLineBiaoJiFanHui, AbsentAnnouncementIsAnEmptyText) {
  const OwnedTable table = Marks("Obj: 'A' Datas { RiQi: '20240103' LeiXing: 't' BiaoJi: 'B' }");
  ASSERT_NE(table, nullptr);
  void* marks = table_get_table(table.get(), 0, 1);
  EXPECT_EQ(SetColumns(marks, 0), "0 1 2 3");
  EXPECT_EQ(TextAt(marks, 0, 2), "B");
  EXPECT_EQ(TextAt(marks, 0, 3), "");
}

TEST(DsfxKLineBiaoJiFanHui, RowsKeepWireOrderAndARowWithoutMarksStopsNothing) {
  const OwnedTable table = Convert(
      "Id: 346 RepDataDsfxKLineBiaoJiFanHui { Obj: 'B'"
      " Datas { RiQi: '3' LeiXing: 'x' } Datas { RiQi: '1' LeiXing: 'y' } }"
      "RepDataDsfxKLineBiaoJiFanHui { Obj: 'C' }"
      "RepDataDsfxKLineBiaoJiFanHui { Obj: 'A' Datas { RiQi: '2' LeiXing: 'z' } }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "B");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "C");
  EXPECT_EQ(TextAt(table.get(), 2, 0), "A");
  void* first = table_get_table(table.get(), 0, 1);
  ASSERT_EQ(table_rows(first), 2);
  EXPECT_EQ(TextAt(first, 0, 0), "3");
  EXPECT_EQ(TextAt(first, 0, 1), "x");
  EXPECT_EQ(TextAt(first, 1, 0), "1");
  EXPECT_EQ(TextAt(first, 1, 1), "y");
  EXPECT_EQ(table_is_set(table.get(), 1, 1), 0);
  void* last = table_get_table(table.get(), 2, 1);
  ASSERT_EQ(table_rows(last), 1);
  EXPECT_EQ(TextAt(last, 0, 1), "z");
}

TEST(DsfxKLineBiaoJiFanHui, ManyMarks) {
  std::string fields = "Obj: 'A'";
  for (int i = 0; i < 600; ++i)
    fields += " Datas { RiQi: '" + std::to_string(i) + "' LeiXing: 't' }";
  const OwnedTable table = Marks(fields);
  ASSERT_NE(table, nullptr);
  void* marks = table_get_table(table.get(), 0, 1);
  ASSERT_EQ(table_rows(marks), 600);
  for (int i = 0; i < 600; ++i)
    ASSERT_EQ(TextAt(marks, i, 0), std::to_string(i));
}

TEST(DsfxKLineBiaoJiFanHui, MissingRequiredFieldsAreNoReply) {
  EXPECT_EQ(Marks("GuPiaoMingCheng: 'x'"), nullptr);
  EXPECT_EQ(Marks("Obj: 'A' Datas { RiQi: '1' }"), nullptr);
  EXPECT_EQ(Marks("Obj: 'A' Datas { LeiXing: 't' }"), nullptr);
}

// ---- Id 385: questions and answers by topic ---------------------------------------------------------------

OwnedTable Questions(const std::string& fields) {
  return Convert("Id: 385 RepDataDongMiBaoLiaoXiaoXiFanHuiShuJu { " + fields + " }");
}

// The table of one question under one topic.
struct OneQuestion {
  explicit OneQuestion(const std::string& fields)
      : outer(Questions("ZhuTi: 't' Data { " + fields + " }")), inner(table_get_table(outer.get(), 0, 2)) {}
  OwnedTable outer;
  void* inner;
};

TEST(DongMiBaoLiaoXiaoXiFanHuiShuJu, EveryColumnHasItsFieldAndConversion) {
  const OwnedTable table =
      Questions("ZhuTi: '中1' ShuJuZongGeShu: " + P(299) +
                " Data { Obj: '中3' GuPiaoMingCheng: '中4' WenTi: '中5' WenTiShiJian: " + P(1704250001, 10) +
                " HuiDa: '中6' HuiDaShiJian: " + P(1704250002, 10) +
                " BeiZhu: '中7' BaoLiaoZhuTi: '中8' GengXinShiJian: " + P(1704250003, 10) + " }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "ZhuTi:s;ShuJuZongGeShu:i;Data:t;");
  EXPECT_STREQ(table_name(table.get()), "root");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(TextAt(table.get(), 0, 0), kGb + "1");
  EXPECT_EQ(table_get_int(table.get(), 0, 1), 2);
  void* questions = table_get_table(table.get(), 0, 2);
  ASSERT_NE(questions, nullptr);
  EXPECT_EQ(SpecOf(questions),
            "Obj:s;GuPiaoMingCheng:s;WenTi:s;WenTiShiJian:i;HuiDa:s;HuiDaShiJian:i;BeiZhu:s;BaoLiaoZhuTi:s;"
            "GengXinShiJian:i;");
  EXPECT_STREQ(table_name(questions), "data");
  ASSERT_EQ(table_rows(questions), 1);
  EXPECT_EQ(TextAt(questions, 0, 0), kGb + "3");
  EXPECT_EQ(TextAt(questions, 0, 1), kGb + "4");
  EXPECT_EQ(TextAt(questions, 0, 2), kGb + "5");
  EXPECT_EQ(table_get_int(questions, 0, 3), 1704250001);
  EXPECT_EQ(TextAt(questions, 0, 4), kGb + "6");
  EXPECT_EQ(table_get_int(questions, 0, 5), 1704250002);
  EXPECT_EQ(TextAt(questions, 0, 6), kGb + "7");
  EXPECT_EQ(TextAt(questions, 0, 7), kGb + "8");
  EXPECT_EQ(table_get_int(questions, 0, 8), 1704250003);
}

TEST(DongMiBaoLiaoXiaoXiFanHuiShuJu, EmptyReplyIsATableWithoutRows) {
  const OwnedTable table = Convert("Id: 385");
  ASSERT_NE(table, nullptr);
  EXPECT_STREQ(table_name(table.get()), "root");
  EXPECT_EQ(SpecOf(table.get()), "ZhuTi:s;ShuJuZongGeShu:i;Data:t;");
  EXPECT_EQ(table_rows(table.get()), 0);
}

TEST(DongMiBaoLiaoXiaoXiFanHuiShuJu, OtherFieldsOfTheReplyAreNotLookedAt) {
  const OwnedTable table = Convert("Id: 385 RepDataDongMiBaoLiaoZhuTiFanHuiShuJu { ShuJuZongGeShu: 100 }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "ZhuTi:s;ShuJuZongGeShu:i;Data:t;");
  EXPECT_EQ(table_rows(table.get()), 0);
}

TEST(DongMiBaoLiaoXiaoXiFanHuiShuJu, TopicWithoutQuestionsHasATableWithoutRows) {
  const OwnedTable table = Questions("ZhuTi: 't'");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2");
  EXPECT_EQ(table_get_int(table.get(), 0, 1), 0);
  void* questions = table_get_table(table.get(), 0, 2);
  ASSERT_NE(questions, nullptr);
  EXPECT_STREQ(table_name(questions), "data");
  EXPECT_EQ(SpecOf(questions),
            "Obj:s;GuPiaoMingCheng:s;WenTi:s;WenTiShiJian:i;HuiDa:s;HuiDaShiJian:i;BeiZhu:s;BaoLiaoZhuTi:s;"
            "GengXinShiJian:i;");
  EXPECT_EQ(table_rows(questions), 0);
}

TEST(DongMiBaoLiaoXiaoXiFanHuiShuJu, AbsentFieldsAreEmptyTextsAndZeros) {
  const OneQuestion question("Obj: 'A'");
  ASSERT_NE(question.inner, nullptr);
  EXPECT_EQ(SetColumns(question.inner, 0), "0 1 2 3 4 5 6 7 8");
  EXPECT_EQ(TextAt(question.inner, 0, 0), "A");
  EXPECT_EQ(TextAt(question.inner, 0, 1), "");
  EXPECT_EQ(TextAt(question.inner, 0, 2), "");
  EXPECT_EQ(table_get_int(question.inner, 0, 3), 0);
  EXPECT_EQ(TextAt(question.inner, 0, 4), "");
  EXPECT_EQ(table_get_int(question.inner, 0, 5), 0);
  EXPECT_EQ(TextAt(question.inner, 0, 6), "");
  EXPECT_EQ(TextAt(question.inner, 0, 7), "");
  EXPECT_EQ(table_get_int(question.inner, 0, 8), 0);
}

TEST(DongMiBaoLiaoXiaoXiFanHuiShuJu, QuestionTimeIsItsMantissaWithCode10AndHundredthsWithCode0) {
  EXPECT_EQ(table_get_int(OneQuestion("Obj: 'A' WenTiShiJian: " + P(123456, 10)).inner, 0, 3), 123456);
  EXPECT_EQ(table_get_int(OneQuestion("Obj: 'A' WenTiShiJian: " + P(123456)).inner, 0, 3), 1234);
}

TEST(DongMiBaoLiaoXiaoXiFanHuiShuJu, NumbersAreCutTowardZero) {
  struct Case {
    std::string value;
    int number;
  };
  const std::vector<Case> cases = {
      {P(299), 2},          {P(299, 0, 1), -2},           {P(99), 0}, {P(99, 0, 1), 0}, {P(9, 10, 15), -9},
      {P(123456789, 9), 0}, {P(2147483647, 10), INT_MAX},
  };
  for (const Case& c : cases) {
    const OwnedTable table =
        Questions("ZhuTi: 't' ShuJuZongGeShu: " + c.value + " Data { Obj: 'A' WenTiShiJian: " + c.value +
                  " HuiDaShiJian: " + c.value + " GengXinShiJian: " + c.value + " }");
    ASSERT_NE(table, nullptr) << c.value;
    void* questions = table_get_table(table.get(), 0, 2);
    EXPECT_EQ(table_get_int(table.get(), 0, 1), c.number) << c.value;
    EXPECT_EQ(table_get_int(questions, 0, 3), c.number) << c.value;
    EXPECT_EQ(table_get_int(questions, 0, 5), c.number) << c.value;
    EXPECT_EQ(table_get_int(questions, 0, 8), c.number) << c.value;
  }
}

TEST(DongMiBaoLiaoXiaoXiFanHuiShuJu, NumbersWithoutValueAreZero) {
  const std::vector<std::string> values = {"131072",    "-1",        P(9999, 2),  P(9999, 11),
                                           P(9999, 12), P(9999, 13), P(9999, 14), P(9999, 15, 1)};
  for (const std::string& value : values) {
    const OwnedTable table =
        Questions("ZhuTi: 't' ShuJuZongGeShu: " + value + " Data { Obj: 'A' WenTiShiJian: " + value +
                  " HuiDaShiJian: " + value + " GengXinShiJian: " + value + " }");
    ASSERT_NE(table, nullptr) << value;
    void* questions = table_get_table(table.get(), 0, 2);
    EXPECT_EQ(SetColumns(table.get(), 0), "0 1 2") << value;
    EXPECT_EQ(table_get_int(table.get(), 0, 1), 0) << value;
    EXPECT_EQ(SetColumns(questions, 0), "0 1 2 3 4 5 6 7 8") << value;
    EXPECT_EQ(table_get_int(questions, 0, 3), 0) << value;
    EXPECT_EQ(table_get_int(questions, 0, 5), 0) << value;
    EXPECT_EQ(table_get_int(questions, 0, 8), 0) << value;
  }
}

TEST(DongMiBaoLiaoXiaoXiFanHuiShuJu, NumbersBeyond32BitsAreTheSmallestInt) {
  for (const std::string& value : {P(2147483648, 10), P(20240103093000, 10), P(5000000000, 10, 1)}) {
    const OwnedTable table =
        Questions("ZhuTi: 't' ShuJuZongGeShu: " + value + " Data { Obj: 'A' WenTiShiJian: " + value +
                  " HuiDaShiJian: " + value + " GengXinShiJian: " + value + " }");
    ASSERT_NE(table, nullptr) << value;
    void* questions = table_get_table(table.get(), 0, 2);
    EXPECT_EQ(table_get_int(table.get(), 0, 1), INT_MIN) << value;
    EXPECT_EQ(table_get_int(questions, 0, 3), INT_MIN) << value;
    EXPECT_EQ(table_get_int(questions, 0, 5), INT_MIN) << value;
    EXPECT_EQ(table_get_int(questions, 0, 8), INT_MIN) << value;
  }
}

TEST(DongMiBaoLiaoXiaoXiFanHuiShuJu, RowsKeepWireOrder) {
  const OwnedTable table = Convert(
      "Id: 385 RepDataDongMiBaoLiaoXiaoXiFanHuiShuJu { ZhuTi: 'b' ShuJuZongGeShu: 200"
      " Data { Obj: '2' } Data { Obj: '1' } }"
      "RepDataDongMiBaoLiaoXiaoXiFanHuiShuJu { ZhuTi: 'c' }"
      "RepDataDongMiBaoLiaoXiaoXiFanHuiShuJu { ZhuTi: 'a' Data { Obj: '3' } }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(TextAt(table.get(), 0, 0), "b");
  EXPECT_EQ(TextAt(table.get(), 1, 0), "c");
  EXPECT_EQ(TextAt(table.get(), 2, 0), "a");
  EXPECT_EQ(table_get_int(table.get(), 0, 1), 2);
  EXPECT_EQ(table_get_int(table.get(), 2, 1), 0);
  void* first = table_get_table(table.get(), 0, 2);
  ASSERT_EQ(table_rows(first), 2);
  EXPECT_EQ(TextAt(first, 0, 0), "2");
  EXPECT_EQ(TextAt(first, 1, 0), "1");
  EXPECT_EQ(table_rows(table_get_table(table.get(), 1, 2)), 0);
  void* last = table_get_table(table.get(), 2, 2);
  ASSERT_EQ(table_rows(last), 1);
  EXPECT_EQ(TextAt(last, 0, 0), "3");
}

TEST(DongMiBaoLiaoXiaoXiFanHuiShuJu, ManyQuestions) {
  std::string fields = "ZhuTi: 't'";
  for (int i = 0; i < 400; ++i)
    fields +=
        " Data { Obj: 'o" + std::to_string(i) + "' GengXinShiJian: " + P(static_cast<uint64_t>(i), 10) + " }";
  const OwnedTable table = Questions(fields);
  ASSERT_NE(table, nullptr);
  void* questions = table_get_table(table.get(), 0, 2);
  ASSERT_EQ(table_rows(questions), 400);
  for (int i = 0; i < 400; ++i) {
    ASSERT_EQ(TextAt(questions, i, 0), "o" + std::to_string(i));
    ASSERT_EQ(table_get_int(questions, i, 8), i);
  }
}

TEST(DongMiBaoLiaoXiaoXiFanHuiShuJu, MissingRequiredFieldsAreNoReply) {
  EXPECT_EQ(Questions("ShuJuZongGeShu: 100"), nullptr);
  EXPECT_EQ(Questions("ZhuTi: 't' Data { WenTi: '?' }"), nullptr);
}

// ---- Id 386: the topics -----------------------------------------------------------------------------------

OwnedTable Topics(const std::string& fields) {
  return Convert("Id: 386 RepDataDongMiBaoLiaoZhuTiFanHuiShuJu { " + fields + " }");
}

TEST(DongMiBaoLiaoZhuTiFanHuiShuJu, EveryColumnHasItsFieldAndConversion) {
  const OwnedTable table =
      Topics("ShuJuZongGeShu: " + P(299) + " Data { MingCheng: '中1' ZhuTiId: 1234 ZhuTiWeiZhi: 567 }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "ShuJuZongGeShu:i;Data:t;");
  EXPECT_STREQ(table_name(table.get()), "root");
  ASSERT_EQ(table_rows(table.get()), 1);
  EXPECT_EQ(table_get_int(table.get(), 0, 0), 2);
  void* topics = table_get_table(table.get(), 0, 1);
  ASSERT_NE(topics, nullptr);
  EXPECT_EQ(SpecOf(topics), "MingCheng:s;ZhuTiId:i;ZhuTiWeiZhi:i;");
  EXPECT_STREQ(table_name(topics), "data");
  ASSERT_EQ(table_rows(topics), 1);
  EXPECT_EQ(TextAt(topics, 0, 0), kGb + "1");
  EXPECT_EQ(table_get_int(topics, 0, 1), 1234);
  EXPECT_EQ(table_get_int(topics, 0, 2), 567);
}

TEST(DongMiBaoLiaoZhuTiFanHuiShuJu, EmptyReplyIsATableWithoutRows) {
  const OwnedTable table = Convert("Id: 386");
  ASSERT_NE(table, nullptr);
  EXPECT_STREQ(table_name(table.get()), "root");
  EXPECT_EQ(SpecOf(table.get()), "ShuJuZongGeShu:i;Data:t;");
  EXPECT_EQ(table_rows(table.get()), 0);
}

TEST(DongMiBaoLiaoZhuTiFanHuiShuJu, OtherFieldsOfTheReplyAreNotLookedAt) {
  const OwnedTable table = Convert("Id: 386 RepDataDongMiBaoLiaoXiaoXiFanHuiShuJu { ZhuTi: 't' }");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(SpecOf(table.get()), "ShuJuZongGeShu:i;Data:t;");
  EXPECT_EQ(table_rows(table.get()), 0);
}

TEST(DongMiBaoLiaoZhuTiFanHuiShuJu, ElementWithoutTopicsHasATableWithoutRows) {
  const OwnedTable table = Topics("ShuJuZongGeShu: " + P(12, 10));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table_get_int(table.get(), 0, 0), 12);
  void* topics = table_get_table(table.get(), 0, 1);
  ASSERT_NE(topics, nullptr);
  EXPECT_STREQ(table_name(topics), "data");
  EXPECT_EQ(SpecOf(topics), "MingCheng:s;ZhuTiId:i;ZhuTiWeiZhi:i;");
  EXPECT_EQ(table_rows(topics), 0);
}

// Raw numbers of topics and what is stored for them.
struct RawCase {
  int64_t raw;
  int stored;
};

void ExpectStoredInBothColumns(const std::vector<RawCase>& cases) {
  for (const RawCase& c : cases) {
    const std::string raw = std::to_string(c.raw);
    // A different number beside it shows that each column reads its own field.
    const OwnedTable id =
        Topics("ShuJuZongGeShu: 0 Data { MingCheng: 'a' ZhuTiId: " + raw + " ZhuTiWeiZhi: 7 }");
    const OwnedTable place =
        Topics("ShuJuZongGeShu: 0 Data { MingCheng: 'a' ZhuTiId: 7 ZhuTiWeiZhi: " + raw + " }");
    EXPECT_EQ(table_get_int(table_get_table(id.get(), 0, 1), 0, 1), c.stored) << raw;
    EXPECT_EQ(table_get_int(table_get_table(id.get(), 0, 1), 0, 2), 7) << raw;
    EXPECT_EQ(table_get_int(table_get_table(place.get(), 0, 1), 0, 1), 7) << raw;
    EXPECT_EQ(table_get_int(table_get_table(place.get(), 0, 1), 0, 2), c.stored) << raw;
  }
}

TEST(DongMiBaoLiaoZhuTiFanHuiShuJu, BitsOfScaleAndSignStayInTopicNumbers) {
  ExpectStoredInBothColumns({
      {0x1004D2, 1049810},    // mantissa 1234, negative, if it were packed
      {0xA04D2, 656594},      // 1234 with scale code 10
      {0xFF0000, 16711680},   // all bits from 16 to 23
      {0x20000, 131072},      // the number without a value
      {0x1001170, 16781680},  // 70000, if it were packed
  });
}

TEST(DongMiBaoLiaoZhuTiFanHuiShuJu, TopicNumbersKeepTheirLow32BitsAndTheSignOfBit31) {
  ExpectStoredInBothColumns({
      {0x100000001, 1},
      {0x1234567800000000, 0},
      {0x7FFFFFFF, INT_MAX},
      {0x80000000, INT_MIN},
      {0x180000000, INT_MIN},
      {0xFFFFFFFF, -1},
      {-1, -1},
      {-2, -2},
      {-4294967295, 1},  // 0xFFFFFFFF00000001
      {INT64_MAX, -1},
      {INT64_MIN, 0},
  });
}

TEST(DongMiBaoLiaoZhuTiFanHuiShuJu, AbsentTopicNumbersAreZero) {
  const OwnedTable table = Topics("ShuJuZongGeShu: 0 Data { MingCheng: 'a' }");
  ASSERT_NE(table, nullptr);
  void* topics = table_get_table(table.get(), 0, 1);
  EXPECT_EQ(SetColumns(topics, 0), "0 1 2");
  EXPECT_EQ(table_get_int(topics, 0, 1), 0);
  EXPECT_EQ(table_get_int(topics, 0, 2), 0);
}

TEST(DongMiBaoLiaoZhuTiFanHuiShuJu, TotalIsDecodedUnlikeTheTopicNumbers) {
  EXPECT_EQ(table_get_int(Topics("ShuJuZongGeShu: " + P(1234, 10)).get(), 0, 0), 1234);
  EXPECT_EQ(table_get_int(Topics("ShuJuZongGeShu: " + P(299, 0, 1)).get(), 0, 0), -2);
  EXPECT_EQ(table_get_int(Topics("ShuJuZongGeShu: 131072").get(), 0, 0), 0);
  EXPECT_EQ(table_get_int(Topics("ShuJuZongGeShu: -1").get(), 0, 0), 0);
  for (unsigned code = 11; code <= 15; ++code)
    EXPECT_EQ(table_get_int(Topics("ShuJuZongGeShu: " + P(9999, code)).get(), 0, 0), 0) << code;
  EXPECT_EQ(table_get_int(Topics("ShuJuZongGeShu: " + P(2147483648, 10)).get(), 0, 0), INT_MIN);
}

TEST(DongMiBaoLiaoZhuTiFanHuiShuJu, RowsKeepWireOrder) {
  const OwnedTable table = Convert(
      "Id: 386 RepDataDongMiBaoLiaoZhuTiFanHuiShuJu { ShuJuZongGeShu: 200"
      " Data { MingCheng: 'b' ZhuTiId: 2 } Data { MingCheng: 'a' ZhuTiId: 1 } }"
      "RepDataDongMiBaoLiaoZhuTiFanHuiShuJu { ShuJuZongGeShu: 0 }"
      "RepDataDongMiBaoLiaoZhuTiFanHuiShuJu { ShuJuZongGeShu: 100"
      " Data { MingCheng: 'c' ZhuTiId: 3 } }");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table_rows(table.get()), 3);
  EXPECT_EQ(table_get_int(table.get(), 0, 0), 2);
  EXPECT_EQ(table_get_int(table.get(), 1, 0), 0);
  EXPECT_EQ(table_get_int(table.get(), 2, 0), 1);
  void* first = table_get_table(table.get(), 0, 1);
  ASSERT_EQ(table_rows(first), 2);
  EXPECT_EQ(TextAt(first, 0, 0), "b");
  EXPECT_EQ(TextAt(first, 1, 0), "a");
  EXPECT_EQ(table_get_int(first, 1, 1), 1);
  EXPECT_EQ(table_rows(table_get_table(table.get(), 1, 1)), 0);
  void* last = table_get_table(table.get(), 2, 1);
  ASSERT_EQ(table_rows(last), 1);
  EXPECT_EQ(TextAt(last, 0, 0), "c");
}

TEST(DongMiBaoLiaoZhuTiFanHuiShuJu, ManyTopics) {
  std::string fields = "ShuJuZongGeShu: 0";
  for (int i = 0; i < 500; ++i)
    fields += " Data { MingCheng: 'm' ZhuTiId: " + std::to_string(i) + " }";
  const OwnedTable table = Topics(fields);
  ASSERT_NE(table, nullptr);
  void* topics = table_get_table(table.get(), 0, 1);
  ASSERT_EQ(table_rows(topics), 500);
  for (int i = 0; i < 500; ++i)
    ASSERT_EQ(table_get_int(topics, i, 1), i);
}

TEST(DongMiBaoLiaoZhuTiFanHuiShuJu, MissingRequiredFieldsAreNoReply) {
  EXPECT_EQ(Topics("Data { MingCheng: 'a' }"), nullptr);
  EXPECT_EQ(Topics("ShuJuZongGeShu: 0 Data { ZhuTiId: 1 }"), nullptr);
}

}  // namespace
