// Which replies have a table: those of kIdsWithTable and no other, by the Id alone.
#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"
#include "tests/support/ids_with_table.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using test_replies::Reply;

const google::protobuf::LogSilencer kQuiet;

// Of the Ids with a table, the ones that give a table even for a field without elements.
const std::set<int> kIdsWithTableWhenEmpty = {130, 313, 385, 386, 399, 405, 406};

// Sets every field, repeated ones with one element, down to a few levels; what is required, at any depth.
void Fill(Message* message, int depth) {
  const auto* access = message->GetReflection();
  const auto* type = message->GetDescriptor();
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    if (depth == 0 && !field->is_required()) continue;
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        field->is_repeated() ? access->AddInt32(message, field, 1) : access->SetInt32(message, field, 1);
        break;
      case FieldDescriptor::CPPTYPE_INT64:
        field->is_repeated() ? access->AddInt64(message, field, 1) : access->SetInt64(message, field, 1);
        break;
      case FieldDescriptor::CPPTYPE_UINT32:
        field->is_repeated() ? access->AddUInt32(message, field, 1) : access->SetUInt32(message, field, 1);
        break;
      case FieldDescriptor::CPPTYPE_UINT64:
        field->is_repeated() ? access->AddUInt64(message, field, 1) : access->SetUInt64(message, field, 1);
        break;
      case FieldDescriptor::CPPTYPE_DOUBLE:
        field->is_repeated() ? access->AddDouble(message, field, 1) : access->SetDouble(message, field, 1);
        break;
      case FieldDescriptor::CPPTYPE_FLOAT:
        field->is_repeated() ? access->AddFloat(message, field, 1) : access->SetFloat(message, field, 1);
        break;
      case FieldDescriptor::CPPTYPE_BOOL:
        field->is_repeated() ? access->AddBool(message, field, true) : access->SetBool(message, field, true);
        break;
      case FieldDescriptor::CPPTYPE_ENUM: {
        const auto* value = field->enum_type()->value(0);
        field->is_repeated() ? access->AddEnum(message, field, value)
                             : access->SetEnum(message, field, value);
        break;
      }
      case FieldDescriptor::CPPTYPE_STRING:
        field->is_repeated() ? access->AddString(message, field, "x")
                             : access->SetString(message, field, "x");
        break;
      case FieldDescriptor::CPPTYPE_MESSAGE:
        Fill(field->is_repeated() ? access->AddMessage(message, field)
                                  : access->MutableMessage(message, field),
             depth > 0 ? depth - 1 : 0);
        break;
    }
  }
}

// One element of an envelope's field, filled; the wire table in the form that has a table.
void FillField(Message* reply, const FieldDescriptor* field) {
  if (field->name() == "Tbl") {
    const auto wrapper = test_replies::New("MSG");
    wrapper->ParsePartialFromString(
        Reply("Tbl { Info { Type: 116 } Data { Index: 0 tValues { Info { Type: 115 } Data { Index: 0 "
              "sValues: 'x' } } } }"));
    reply->MergeFrom(*wrapper);
  } else if (field->is_repeated()) {
    Fill(reply->GetReflection()->AddMessage(reply, field), 3);
  } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
    reply->GetReflection()->SetString(reply, field, "x");
  } else {
    reply->GetReflection()->SetInt32(reply, field, 1);
  }
}

std::string WithId(int id, const std::string& rest) {
  return rest + Reply("Id: " + std::to_string(id));
}

// Every field of the envelope but the Id, each filled, apart from `skipped`.
std::string AllFieldsBut(int skipped) {
  const auto reply = test_replies::New("MSG");
  const auto* type = reply->GetDescriptor();
  for (int i = 0; i < type->field_count(); ++i) {
    const int number = type->field(i)->number();
    if (number != 1 && number != skipped) FillField(reply.get(), type->field(i));
  }
  return test_replies::Bytes(*reply);
}

TEST(Dispatch, EachIdWithItsOwnFieldFilled) {
  const auto* ids = test_replies::Pool().FindEnumTypeByName("tessel.EnumID");
  std::set<int> with_table;
  for (int i = 0; i < ids->value_count(); ++i) {
    const int id = ids->value(i)->number();
    const auto reply = test_replies::New("MSG");
    const FieldDescriptor* field = reply->GetDescriptor()->FindFieldByNumber(id);
    if (field != nullptr && id != 1) FillField(reply.get(), field);
    const std::string data = WithId(id, test_replies::Bytes(*reply));
    ASSERT_NE(TesparserPB2Json(data), "") << "the test's reply does not parse: " << ids->value(i)->name();
    const OwnedTable table(TesparserPB2Table(data));
    if (table == nullptr) continue;
    with_table.insert(id);
    EXPECT_GE(table_rows(table.get()), 1) << ids->value(i)->name();
  }
  EXPECT_EQ(with_table, kIdsWithTable)
      << "tests/support/ids_with_table.h lists the Ids that have a converter";
}

TEST(Dispatch, OtherIdsHaveNoTableHoweverFullTheReply) {
  const std::string all = AllFieldsBut(0);
  const int last = test_replies::LastPayload();
  std::vector<int> ids = {INT32_MIN, INT32_MIN + 3, -last, -20,   -3,       -1,
                          last + 1,  last + 2,      10000, 65556, 16777219, INT32_MAX};
  for (int id = 0; id <= last; ++id)
    ids.push_back(id);
  for (const int id : ids) {
    const OwnedTable table(TesparserPB2Table(WithId(id, all)));
    EXPECT_EQ(table != nullptr, kIdsWithTable.count(id) == 1) << id;
    const OwnedTable typed(TesparserPB2TableType(WithId(id, all), TPTypeById));
    EXPECT_EQ(typed != nullptr, kIdsWithTable.count(id) == 1) << id;
  }
}

TEST(Dispatch, NoOtherFieldIsLookedAt) {
  for (const int id : kIdsWithTable) {
    const OwnedTable others(TesparserPB2Table(WithId(id, AllFieldsBut(id))));
    EXPECT_EQ(others != nullptr, kIdsWithTableWhenEmpty.count(id) == 1) << id;
    const OwnedTable none(TesparserPB2Table(WithId(id, "")));
    EXPECT_EQ(none != nullptr, kIdsWithTableWhenEmpty.count(id) == 1) << id;
    if (others == nullptr || none == nullptr) continue;
    EXPECT_EQ(table_rows(others.get()), table_rows(none.get())) << id;
    EXPECT_EQ(SpecOf(others.get()), SpecOf(none.get())) << id;
  }
}

TEST(Dispatch, SnapshotIdOverCandlesticksIsNull) {
  EXPECT_EQ(TesparserPB2Table(Reply("Id: 20 RepDataQuoteKlineSingle { Obj: 'A' Data { ShiJian: 1 } }")),
            nullptr);
}

TEST(Dispatch, TicksHaveNoTable) {
  EXPECT_EQ(TesparserPB2Table(Reply("Id: 22 RepDataQuoteTickSingle { Obj: 'A' Data { Id: 1 ShiJian: 1 } }")),
            nullptr);
}

TEST(Dispatch, IdNoneHasNoTable) {
  EXPECT_EQ(TesparserPB2Table(Reply("Id: 0")), nullptr);
  EXPECT_EQ(TesparserPB2Table(Reply("Id: 0 RepDataQuoteDynaSingle { Obj: 'A' }")), nullptr);
}

// Nothing but an empty field counts as empty: an element with the least that parses is a row.
TEST(Dispatch, ElementOfRequiredFieldsAloneIsARow) {
  for (const int id : {20, 21, 27, 28, 433, 443, 465}) {
    const auto reply = test_replies::New("MSG");
    const FieldDescriptor* field = reply->GetDescriptor()->FindFieldByNumber(id);
    Fill(reply->GetReflection()->AddMessage(reply.get(), field), 0);
    const OwnedTable table(TesparserPB2Table(WithId(id, test_replies::Bytes(*reply))));
    ASSERT_NE(table, nullptr) << id;
    EXPECT_EQ(table_rows(table.get()), 1) << id;
  }
}

TEST(Dispatch, MaskOfARowWithoutOptionalFieldsIsZero) {
  for (const int id : {28, 433, 443, 465}) {
    const auto reply = test_replies::New("MSG");
    const FieldDescriptor* field = reply->GetDescriptor()->FindFieldByNumber(id);
    Fill(reply->GetReflection()->AddMessage(reply.get(), field), 0);
    const OwnedTable table(TesparserPB2Table(WithId(id, test_replies::Bytes(*reply))));
    const int mask = table_col_index(table.get(), "HasBits");
    ASSERT_GE(mask, 0) << id;
    EXPECT_EQ(table_is_set(table.get(), 0, mask), 1) << id;
    EXPECT_EQ(table_get_int64(table.get(), 0, mask), 0) << id;
  }
}

}  // namespace
