// Payloads as tables by the schema alone: columns in declared order, one for each kind of field, what is
// packed, what is absent, how deep and how costly a hostile reply gets.
#include "replies/decode.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "replies/columns.h"
#include "replies/fill_required.h"
#include "tests/support/processor_time.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

namespace pb = google::protobuf;
using replies::Unpack;
using tsl_base::RowView;
using tsl_base::Table;
using tsl_base::TableView;

std::unique_ptr<pb::Message> Parsed(const std::string& bytes) {
  auto reply = test_replies::New("MSG");
  EXPECT_TRUE(reply->ParsePartialFromString(bytes));
  return reply;
}

Table Decode(const std::string& text, const Unpack& unpack = {}) {
  std::string error;
  Table table = replies::DecodePayload(*Parsed(test_replies::Reply(text)), unpack, &error);
  EXPECT_EQ(error, "");
  return table;
}

std::string ErrorOf(const std::string& text) {
  std::string error;
  const Table table = replies::DecodePayload(*Parsed(test_replies::Reply(text)), {}, &error);
  EXPECT_FALSE(table);
  return error;
}

TableView Child(const Table& table, int row, int col) {
  return TableView(table_get_table(table.get(), row, col));
}
TableView Child(TableView table, int row, int col) {
  return TableView(table_get_table(table.get(), row, col));
}

std::string SpecOf(TableView table) {
  return ::SpecOf(const_cast<void*>(table.get()));
}

}  // namespace

TEST(DecodePayload, GivesATableOfOneRowForAMessageThatIsThereOnce) {
  const Table table = Decode(
      "Id: 279 RepDataLocationInfo { city: 'A' detail { city: 'B' } } RepDataLocationInfo { city: 'C' }");
  EXPECT_EQ(SpecOf(table.view()), "city:s;detail:t;");
  ASSERT_EQ(table.view().rows(), 2);
  const TableView inner = Child(table, 0, 1);
  ASSERT_EQ(inner.rows(), 1);
  EXPECT_STREQ(table_get_str(inner.get(), 0, 0), "B");
  EXPECT_EQ(table_is_set(table.get(), 1, 1), 0);
}

TEST(DecodePayload, GivesARowForEachElementAndATableForEachMessageInside) {
  const Table table = Decode(
      "Id: 22 RepDataQuoteTickSingle { Obj: 'SH600000' Data { Id: 5 ShiJian: 7 } Data { Id: 6 } QingPan: 9 }"
      " RepDataQuoteTickSingle { Obj: 'SZ000001' }");
  EXPECT_EQ(SpecOf(table.view()), "Obj:s;Data:t;QingPan:q;");
  ASSERT_EQ(table.view().rows(), 2);
  EXPECT_STREQ(table_get_str(table.get(), 0, 0), "SH600000");
  EXPECT_STREQ(table_get_str(table.get(), 1, 0), "SZ000001");
  EXPECT_EQ(table_get_int64(table.get(), 0, 2), 9);
  EXPECT_EQ(table_is_set(table.get(), 1, 2), 0);
  EXPECT_EQ(table_is_set(table.get(), 1, 1), 0);
  const TableView ticks = Child(table, 0, 1);
  EXPECT_EQ(
      SpecOf(ticks),
      "Id:q;ShiJian:q;ChengJiaoJia:q;ChengJiaoLiang:q;ChengJiaoE:q;ChengJiaoDanBiShu:q;"
      "ShiFouZhuDongXingMaiDan:q;MaiMaiFangXiang:q;DanCiChengJiaoLiang:q;DanCiChengJiaoE:q;DanCiChengJiaoDanBiShu:q;");
  ASSERT_EQ(ticks.rows(), 2);
  EXPECT_EQ(table_get_int64(ticks.get(), 0, 1), 7);
  EXPECT_EQ(table_get_int64(ticks.get(), 1, 0), 6);
  EXPECT_EQ(table_is_set(ticks.get(), 1, 1), 0);
}

TEST(DecodePayload, HasALetterForEachKindOfField) {
  const Table table = Decode(
      "Id: 3 Tbl { Tiid: -1 Info { Name: 'A' Type: 105 } Info { Name: 'B' } Name: 'N'"
      " Data { Index: 2 iValues: -4 iValues: 9223372036854775807 fValues: 0.5 dValues: 0.25 sValues: 'x'"
      " sValues: '' bValues: 'b\\000c' xValues: -6 } }");
  EXPECT_EQ(SpecOf(table.view()), "Tiid:i;Info:t;Data:t;DataX:t;Name:s;Memo:s;");
  ASSERT_EQ(table.view().rows(), 1);
  EXPECT_EQ(table_get_int(table.get(), 0, 0), -1);
  EXPECT_EQ(table_is_set(table.get(), 0, 3), 0);
  EXPECT_EQ(table_is_set(table.get(), 0, 5), 0);
  EXPECT_EQ(Child(table, 0, 1).rows(), 2);
  const TableView data = Child(table, 0, 2);
  EXPECT_EQ(SpecOf(data),
            "Index:i;iValues:t;fValues:t;dValues:t;sValues:t;bValues:t;tValues:t;aValues:t;xValues:t;");
  const TableView integers = Child(data, 0, 1);
  EXPECT_EQ(SpecOf(integers), "iValues:q;");
  EXPECT_EQ(table_get_int64(integers.get(), 0, 0), -4);
  EXPECT_EQ(table_get_int64(integers.get(), 1, 0), INT64_MAX);
  EXPECT_EQ(SpecOf(Child(data, 0, 2)), "fValues:f;");
  EXPECT_EQ(table_get_float(Child(data, 0, 2).get(), 0, 0), 0.5F);
  EXPECT_EQ(table_get_double(Child(data, 0, 3).get(), 0, 0), 0.25);
  EXPECT_EQ(Child(data, 0, 4).rows(), 2);
  EXPECT_STREQ(table_get_str(Child(data, 0, 4).get(), 1, 0), "");
  int size = 0;
  const void* bytes = table_get_binary(Child(data, 0, 5).get(), 0, 0, &size);
  EXPECT_EQ(std::string(static_cast<const char*>(bytes), static_cast<size_t>(size)), std::string("b\0c", 3));
  EXPECT_EQ(table_is_set(data.get(), 0, 6), 0);
  EXPECT_EQ(table_get_int64(Child(data, 0, 8).get(), 0, 0), -6);
}

// Each value in its row, in a column of another number.
TEST(DecodePayload, PutsEachKindOfFieldIntoItsRow) {
  const Table table = Decode(
      "Id: 3 Tbl { DataX { Index: 11 iValue: 12 fValue: 1.5 dValue: 1.25 sValue: 'a' }"
      " DataX { Index: 21 iValue: 22 fValue: 2.5 dValue: 2.25 sValue: 'b' }"
      " DataX { Index: 31 iValue: 32 fValue: 3.5 dValue: 3.25 sValue: 'c' } }");
  const TableView data = Child(table, 0, table_col_index(table.get(), "DataX"));
  ASSERT_EQ(data.rows(), 3);
  const auto col = [&](const char* name) { return table_col_index(const_cast<void*>(data.get()), name); };
  for (int row = 0; row < 3; ++row) {
    EXPECT_EQ(table_get_int(data.get(), row, col("Index")), 10 * row + 11);
    EXPECT_EQ(table_get_int64(data.get(), row, col("iValue")), 10 * row + 12);
    EXPECT_EQ(table_get_float(data.get(), row, col("fValue")), static_cast<float>(row) + 1.5F);
    EXPECT_EQ(table_get_double(data.get(), row, col("dValue")), row + 1.25);
    EXPECT_EQ(table_get_str(data.get(), row, col("sValue")), std::string(1, static_cast<char>('a' + row)));
  }
  const Table news = Decode(
      "Id: 24 RepDataNewsInfoValue { ver: 'v' act: 1 newsID: 2 } RepDataNewsInfoValue { ver: 'w' act: 3"
      " newsID: 4 }");
  for (int row = 0; row < 2; ++row) {
    EXPECT_EQ(table_get_uint(news.get(), row, 1), 2U * static_cast<unsigned>(row) + 1);
    EXPECT_EQ(table_get_uint64(news.get(), row, 2), 2U * static_cast<unsigned>(row) + 2);
  }
}

TEST(DecodePayload, HasNumbersWithoutASign) {
  const Table table =
      Decode("Id: 24 RepDataNewsInfoValue { ver: 'v' act: 4294967295 newsID: 18446744073709551615 }");
  EXPECT_EQ(SpecOf(table.view()), "ver:s;act:I;newsID:Q;newsTitle:s;");
  EXPECT_EQ(table_get_uint(table.get(), 0, 1), UINT32_MAX);
  EXPECT_EQ(table_get_uint64(table.get(), 0, 2), UINT64_MAX);
}

TEST(DecodePayload, ShowsTrueAndFalseAsBytes) {
  const Table table = Decode(
      "Id: 437 RepDataDingYueTuiSongXiaoXiFanHuiShuJu { Data { Id: 'a' IsPaid: true IsRead: false } }");
  const int col = table_col_index(table.get(), "Data");
  const TableView data = Child(table, 0, col);
  const int paid = table_col_index(const_cast<void*>(data.get()), "IsPaid");
  EXPECT_EQ(table_col_type(const_cast<void*>(data.get()), paid), 9);
  EXPECT_EQ(*static_cast<const unsigned char*>(table_get_buff(data.get(), 0, paid, nullptr)), 1);
  EXPECT_EQ(*static_cast<const unsigned char*>(table_get_buff(data.get(), 0, paid + 1, nullptr)), 0);
}

TEST(DecodePayload, ShowsTheNumbersOfEnumerations) {
  const Table table = Decode(
      "Id: 29 RepDataJianPanBaoShuChu { GuanJianZi: 'A' JieGuo { LeiXing: 10 } JieGuo { LeiXing: 3 } }");
  const TableView results = Child(table, 0, table_col_index(table.get(), "JieGuo"));
  const int kind = table_col_index(const_cast<void*>(results.get()), "LeiXing");
  ASSERT_EQ(results.rows(), 2);
  EXPECT_EQ(table_get_int(results.get(), 0, kind), 10);
  EXPECT_EQ(table_get_int(results.get(), 1, kind), 3);
}

TEST(DecodePayload, TakesAPayloadThatIsAText) {
  const Table table = Decode("Id: 4 JsonTbl: '{}'");
  EXPECT_EQ(SpecOf(table.view()), "JsonTbl:s;");
  EXPECT_STREQ(table_get_str(table.get(), 0, 0), "{}");
  EXPECT_EQ(table.view().rows(), 1);
}

TEST(DecodePayload, UnpacksTheFieldsOfTheseNames) {
  // 0x4D2 is 12.34; the field beside it stays as it is.
  const Table table =
      Decode("Id: 22 RepDataQuoteTickSingle { Obj: 'A' Data { ChengJiaoJia: 0x4D2 ChengJiaoE: 0x4D2 } }",
             {false, {"ChengJiaoJia"}});
  const TableView ticks = Child(table, 0, 1);
  EXPECT_EQ(
      SpecOf(ticks),
      "Id:q;ShiJian:q;ChengJiaoJia:d;ChengJiaoLiang:q;ChengJiaoE:q;ChengJiaoDanBiShu:q;"
      "ShiFouZhuDongXingMaiDan:q;MaiMaiFangXiang:q;DanCiChengJiaoLiang:q;DanCiChengJiaoE:q;DanCiChengJiaoDanBiShu:q;");
  EXPECT_EQ(table_get_double(ticks.get(), 0, 2), 12.34);
  EXPECT_EQ(table_get_int64(ticks.get(), 0, 4), 0x4D2);
}

TEST(DecodePayload, UnpacksAllOfMarketData) {
  const Table table = Decode(
      "Id: 22 RepDataQuoteTickSingle { Obj: 'A' QingPan: 0xA04D2 Data { ShiJian: 0x104D2 ChengJiaoE: 0x1004D2 } }",
      {true, {}});
  EXPECT_EQ(table_get_double(table.get(), 0, 2), 1234.0);
  EXPECT_EQ(table_get_double(Child(table, 0, 1).get(), 0, 1), 123.4);
  EXPECT_EQ(table_get_double(Child(table, 0, 1).get(), 0, 4), -12.34);
}

TEST(DecodePayload, LeavesUnsetWhatHasNoValue) {
  // Code 2 is no value, code 11 is none, and a negative word is no packed number.
  const Table table = Decode(
      "Id: 22 RepDataQuoteTickSingle { Obj: 'A' Data { Id: 0x20000 ShiJian: 0xB04D2 ChengJiaoJia: -1"
      " ChengJiaoLiang: 0 } }",
      {true, {}});
  const TableView ticks = Child(table, 0, 1);
  EXPECT_EQ(table_is_set(ticks.get(), 0, 0), 0);
  EXPECT_EQ(table_is_set(ticks.get(), 0, 1), 0);
  EXPECT_EQ(table_is_set(ticks.get(), 0, 2), 0);
  EXPECT_EQ(table_is_set(ticks.get(), 0, 3), 1);
  EXPECT_EQ(table_get_double(ticks.get(), 0, 3), 0.0);
}

TEST(DecodePayload, UnpacksWhatAConverterUnpacksAndNothingThatIsPlain) {
  // The price of a bar is unpacked by the table of Id 21.
  const Table bars = Decode("Id: 21 RepDataQuoteKlineSingle { Obj: 'A' Data { KaiPanJia: 0x4D2 } }");
  const int data = table_col_index(bars.get(), "Data");
  const TableView bar = Child(bars, 0, data);
  const int open = table_col_index(const_cast<void*>(bar.get()), "KaiPanJia");
  ASSERT_GE(open, 0);
  EXPECT_EQ(table_get_double(bar.get(), 0, open), 12.34);
}

TEST(DecodePayload, UnpacksWhatAConverterRounds) {
  const Table finance = Decode("Id: 405 RepDataCaiWuShuJuFanHui { BanBen: 0x4D2 }");
  const int version = table_col_index(finance.get(), "BanBen");
  ASSERT_GE(version, 0);
  EXPECT_EQ(table_get_double(finance.get(), 0, version), 12.34);
}

TEST(DecodePayload, UnpacksTheElementsOfAnArray) {
  const pb::Descriptor& envelope = *test_replies::Pool().FindMessageTypeByName("tessel.MSG");
  size_t elements = 0;
  for (const replies::TableDescription& described : replies::DescribedTables()) {
    for (const replies::ColumnDescription& column : described.columns) {
      if (column.elements.empty()) continue;
      std::string path(column.source);
      std::replace(path.begin(), path.end(), '.', '/');
      const auto tables = replies::DecodedTables(envelope, described.id, {});
      const auto table = std::find_if(tables.begin(), tables.end(),
                                      [&](const replies::DecodedTable& each) { return each.path == path; });
      ASSERT_NE(table, tables.end()) << path;
      for (const replies::ElementDescription& element : column.elements) {
        const auto field =
            std::find_if(table->columns.begin(), table->columns.end(),
                         [&](const replies::DecodedColumn& each) { return each.name == element.source; });
        ASSERT_NE(field, table->columns.end()) << element.source;
        EXPECT_EQ(field->type, "int64") << element.source;
        EXPECT_EQ(field->letter, 'd') << element.source;
        ++elements;
      }
    }
  }
  EXPECT_GE(elements, 53U);
}

TEST(DecodePayload, LeavesTheIntegersOfOtherFamiliesAsTheyAre) {
  const pb::Descriptor& envelope = *test_replies::Pool().FindMessageTypeByName("tessel.MSG");
  const int token = envelope.FindFieldByName("RepDataToken")->number();
  const auto all = replies::DecodedTables(envelope, token, {true, {}});
  const auto none = replies::DecodedTables(envelope, token, {});
  ASSERT_EQ(all.size(), none.size());
  for (size_t i = 0; i < all.size(); ++i) {
    for (size_t k = 0; k < all[i].columns.size(); ++k)
      EXPECT_EQ(all[i].columns[k].letter, none[i].columns[k].letter) << all[i].columns[k].name;
  }
}

// What a converter hands out as it is packed: the figures of an ex-rights event.
TEST(DecodedTables, UnpackWhatIsToldToBePacked) {
  const pb::Descriptor& envelope = *test_replies::Pool().FindMessageTypeByName("tessel.MSG");
  for (const auto& table : replies::DecodedTables(envelope, 406, {})) {
    if (table.path != "Data/Data") continue;
    size_t figures = 0;
    for (const auto& column : table.columns) {
      if (column.name != "MeiGuSongGu" && column.name != "MeiGuPeiGu" && column.name != "PeiGuJiaGe")
        continue;
      EXPECT_EQ(column.letter, 'd') << column.name;
      ++figures;
    }
    EXPECT_EQ(figures, 3U);
    return;
  }
  FAIL() << "no such table";
}

TEST(DecodedTables, TellTheColumnsAndTheirFields) {
  const pb::Descriptor& envelope = *test_replies::Pool().FindMessageTypeByName("tessel.MSG");
  const auto tables = replies::DecodedTables(envelope, 22, {true, {}});
  ASSERT_EQ(tables.size(), 2U);
  EXPECT_EQ(tables[0].path, "");
  ASSERT_EQ(tables[0].columns.size(), 3U);
  EXPECT_EQ(tables[0].columns[0].name, "Obj");
  EXPECT_EQ(tables[0].columns[0].letter, 's');
  EXPECT_EQ(tables[0].columns[0].type, "string");
  EXPECT_EQ(tables[0].columns[1].letter, 't');
  EXPECT_EQ(tables[0].columns[1].type, "repeated FenBiChengJiao");
  EXPECT_EQ(tables[0].columns[2].letter, 'd');
  EXPECT_EQ(tables[0].columns[2].type, "int64");
  EXPECT_EQ(tables[1].path, "Data");
  EXPECT_TRUE(replies::DecodedTables(envelope, 2, {}).empty());
}

// A wire table is inside itself.
TEST(DecodedTables, TellOfAMessageInsideItselfOnce) {
  const pb::Descriptor& envelope = *test_replies::Pool().FindMessageTypeByName("tessel.MSG");
  for (const auto& table : replies::DecodedTables(envelope, 3, {}))
    EXPECT_EQ(table.path.find("tValues/"), std::string::npos) << table.path;
}

// Every Id's payload has tables with columns.
TEST(DecodedTables, AreThereForEveryPayload) {
  const pb::Descriptor& envelope = *test_replies::Pool().FindMessageTypeByName("tessel.MSG");
  for (int i = 0; i < envelope.field_count(); ++i) {
    const int id = envelope.field(i)->number();
    if (id == 1 || id == 2 || id == 5) continue;
    const auto tables = replies::DecodedTables(envelope, id, {});
    ASSERT_FALSE(tables.empty()) << id;
    if (envelope.field(i)->message_type() != nullptr) {
      EXPECT_EQ(tables[0].columns.size(),
                static_cast<size_t>(envelope.field(i)->message_type()->field_count()));
    }
  }
}

TEST(DecodePayload, SaysWhyThereIsNone) {
  EXPECT_EQ(ErrorOf("Id: 22"), "\"RepDataQuoteTickSingle\", the payload of Id 22, is empty");
  const std::string next = std::to_string(test_replies::LastPayload() + 1);
  EXPECT_EQ(ErrorOf("Id: " + next), "Id " + next + " has no payload in the schema");
  EXPECT_EQ(ErrorOf("Id: 0"), "Id 0 has no payload in the schema");
  EXPECT_EQ(ErrorOf("Id: 1"), "Id 1 has no payload in the schema");
  EXPECT_EQ(ErrorOf("Id: 2 Obj: 'x'"), "Id 2 has no payload in the schema");
  EXPECT_EQ(ErrorOf("Id: 5 ObjCount: 1"), "Id 5 has no payload in the schema");
  EXPECT_EQ(ErrorOf("Id: -1"), "Id -1 has no payload in the schema");
}

// The parser's own bound is the bound here: the deepest reply that it accepts is shown, and freed.
TEST(DecodePayload, GoesAsDeepAsTheParser) {
  std::string tables;
  std::string end;
  for (int i = 0; i < 49; ++i) {
    tables += "Data { Index: 0 tValues { ";
    end += "} } ";
  }
  const auto reply = Parsed(test_replies::Reply("Id: 3 Tbl { " + tables + "Name: 'deepest' " + end + "}"));
  std::string error;
  const Table table = replies::DecodePayload(*reply, {}, &error);
  TableView at = table.view();
  for (int i = 0; i < 49; ++i)
    at = Child(Child(at, 0, 2), 0, 6);
  EXPECT_STREQ(table_get_str(at.get(), 0, 4), "deepest");
}

// Thousands of nested tables with the longest columns of the schema cost what their cells cost.
TEST(DecodePayload, TakesTimeInProportionToTheReply) {
  const pb::Descriptor* envelope = test_replies::Pool().FindMessageTypeByName("tessel.MSG");
  auto reply = test_replies::New("MSG");
  const pb::Reflection* reflection = reply->GetReflection();
  const pb::FieldDescriptor* stocks = envelope->FindFieldByName("RepDataStkData");
  reflection->SetInt32(reply.get(), envelope->FindFieldByName("Id"), 27);
  for (int i = 0; i < 20'000; ++i) {
    pb::Message* stock = reflection->AddMessage(reply.get(), stocks);
    stock->GetReflection()->SetString(stock, stock->GetDescriptor()->FindFieldByName("Obj"), "A");
  }
  std::string error;
  double least = 1e9;
  for (int runs = 0; runs < 5 && least >= 2.0; ++runs) {
    least = std::min(least, processor_time::Of([&] {
                       const Table table = replies::DecodePayload(*reply, {}, &error);
                       EXPECT_EQ(table.view().rows(), 20'000);
                     }));
  }
  EXPECT_LT(least, 2.0);
}

namespace {

// Of the required fields of the message and of those in it, as text.
void CollectRequired(const pb::Message& message, std::set<std::string>* values) {
  const pb::Reflection& reflection = *message.GetReflection();
  for (int i = 0; i < message.GetDescriptor()->field_count(); ++i) {
    const pb::FieldDescriptor& field = *message.GetDescriptor()->field(i);
    if (!field.is_required()) continue;
    if (field.message_type() != nullptr) {
      CollectRequired(reflection.GetMessage(message, &field), values);
    } else if (field.enum_type() == nullptr) {
      std::string value;
      pb::TextFormat::PrintFieldValueToString(message, &field, -1, &value);
      values->insert(value);
    }
  }
}

}  // namespace

TEST(FillRequired, SetsNumbersToZeroAndTextsToNothing) {
  const auto reply = test_replies::New("MSG");
  std::set<std::string> values;
  for (int i = 0; i < reply->GetDescriptor()->field_count(); ++i) {
    const pb::FieldDescriptor* field = reply->GetDescriptor()->field(i);
    if (field->message_type() == nullptr || !field->is_repeated()) continue;
    pb::Message* element = reply->GetReflection()->AddMessage(reply.get(), field);
    replies::FillRequired(element);
    EXPECT_TRUE(element->IsInitialized()) << field->name();
    CollectRequired(*element, &values);
  }
  values.erase("false");
  EXPECT_EQ(values, (std::set<std::string>{"\"\"", "0"}));
}
