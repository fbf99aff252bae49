#include "replies/redact.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "replies/columns.h"
#include "tests/support/full_replies.h"
#include "tests/support/replies.h"

namespace replies {
namespace {

using test_replies::Reply;

std::string WithoutSecretsOf(std::string bytes) {
  EXPECT_TRUE(Redact(&bytes)) << testing::PrintToString(bytes);
  return bytes;
}

// Of a reply in text form.
std::string WithoutSecrets(const std::string& text) {
  return WithoutSecretsOf(Reply(text));
}

TEST(RedactedWireTable, HasNoValueOfAnyTypeInASecretColumn) {
  EXPECT_EQ(WithoutSecrets("Id: 3 Tbl { Info { Name: 'Uid' Type: 105 } Data { Index: 0 iValues: [7, 8] "
                           "fValues: [7, 8] dValues: [7, 8] sValues: ['a', 'b'] bValues: ['c', 'd'] "
                           "xValues: [7, -8] aValues { iValues: [7, 8] fValues: 7 dValues: 7 sValues: 'e' } "
                           "aValues { sValues: ['f', 'g'] } } }"),
            Reply("Id: 3 Tbl { Info { Name: 'Uid' Type: 105 } Data { Index: 0 iValues: [0, 0] "
                  "fValues: [0, 0] dValues: [0, 0] sValues: ['***', '***'] bValues: ['***', '***'] "
                  "xValues: [0, 0] aValues { iValues: [0, 0] fValues: 0 dValues: 0 sValues: '***' } "
                  "aValues { sValues: ['***', '***'] } } }"));
}

TEST(RedactedWireTable, HasNoSingleValueInASecretColumn) {
  EXPECT_EQ(WithoutSecrets("Id: 3 Tbl { Info { Name: 'Token' Type: 115 } "
                           "DataX { Index: 0 iValue: 7 fValue: 7 dValue: 7 sValue: 'a' bValues: 'b' "
                           "aValues { sValues: 'c' } } }"),
            Reply("Id: 3 Tbl { Info { Name: 'Token' Type: 115 } "
                  "DataX { Index: 0 iValue: 0 fValue: 0 dValue: 0 sValue: '***' bValues: '***' "
                  "aValues { sValues: '***' } } }"));
  // What was not sent is not added.
  const std::string without = "Id: 3 Tbl { Info { Name: 'Token' Type: 115 } DataX { Index: 0 } }";
  EXPECT_EQ(WithoutSecrets(without), Reply(without));
}

TEST(RedactedWireTable, KeepsItsOtherColumns) {
  const std::string others =
      "Info { Name: 'X' Type: 115 } Info { Name: 'UID' Type: 115 } Info { Name: 'Y' Type: 105 } "
      "Data { Index: 0 sValues: 'seen' } Data { Index: 2 iValues: 7 } DataX { Index: 0 sValue: 'seen' } ";
  // Without a column of that index nobody can tell what they are.
  const std::string nowhere = "Data { Index: -1 sValues: 'lost' } Data { Index: 3 sValues: 'lost' } ";
  EXPECT_EQ(WithoutSecrets("Id: 3 Tbl { " + others + nowhere + "Data { Index: 1 sValues: 'alice' } }"),
            Reply("Id: 3 Tbl { " + others + nowhere + "Data { Index: 1 sValues: '***' } }"));
}

TEST(RedactedWireTable, IsLookedForInTablesToo) {
  const auto table = [](const std::string& secret) {
    const std::string inner =
        " { Info { Name: 'Password' Type: 115 } Data { Index: 0 sValues: '" + secret + "' } }";
    return "Id: 3 Tbl { Info { Name: 'T' Type: 116 } Info { Name: 'Uid' Type: 116 } "
           "Data { Index: 0 tValues" +
           inner + " } Data { Index: 1 tValues" + inner + " } DataX { Index: 1 tValue" + inner + " } }";
  };
  EXPECT_EQ(WithoutSecrets(table("hunter2")), Reply(table("***")));
}

TEST(RedactedMessage, HasNumbersOfZeroAndTextsOfStars) {
  EXPECT_EQ(WithoutSecrets("Id: 36 RepDataSelfStockPutOutput { uid: 4711 status: 'ok' } "
                           "RepDataSelfStockPutOutput { uid: 4712 status: 'ok' }"),
            Reply("Id: 36 RepDataSelfStockPutOutput { uid: 0 status: 'ok' } "
                  "RepDataSelfStockPutOutput { uid: 0 status: 'ok' }"));
}

TEST(RedactedMessage, HidesAKeyOnlyWhereItIsThatOfAnApplication) {
  EXPECT_EQ(WithoutSecrets("Id: 37 RepDataAppKey { AppId: 'a' Key: 'k' }"),
            Reply("Id: 37 RepDataAppKey { AppId: 'a' Key: '***' }"));
  const std::string value = "Id: 39 RepDataAppValue { Key: 'k' Value: 'v' }";
  EXPECT_EQ(WithoutSecrets(value), Reply(value));
}

namespace pb = google::protobuf;

struct Hidden {
  int hidden = 0;
  int kept = 0;
};

// Each value of a secret field is gone, and all others are as they were.
void Compare(const pb::Message& before, const pb::Message& after, Hidden* count) {
  const pb::Reflection& r = *before.GetReflection();
  const pb::Descriptor* type = before.GetDescriptor();
  for (int i = 0; i < type->field_count(); ++i) {
    const pb::FieldDescriptor* field = type->field(i);
    const bool many = field->is_repeated();
    const int values = many ? r.FieldSize(before, field) : r.HasField(before, field) ? 1 : 0;
    ASSERT_EQ(many                       ? r.FieldSize(after, field)
              : r.HasField(after, field) ? 1
                                         : 0,
              values)
        << field->full_name();
    for (int k = 0; k < values; ++k) {
      if (field->message_type() != nullptr) {
        Compare(many ? r.GetRepeatedMessage(before, field, k) : r.GetMessage(before, field),
                many ? r.GetRepeatedMessage(after, field, k) : r.GetMessage(after, field), count);
        continue;
      }
      std::string sent;
      std::string shown;
      pb::TextFormat::PrintFieldValueToString(before, field, many ? k : -1, &sent);
      pb::TextFormat::PrintFieldValueToString(after, field, many ? k : -1, &shown);
      const bool is_secret =
          IsSecretName(field->name()) || (field->name() == "Key" && type->name() == "AppKey");
      const std::string none = field->type() == pb::FieldDescriptor::TYPE_STRING ? "\"***\"" : "0";
      EXPECT_EQ(shown, is_secret ? none : sent) << field->full_name();
      ++(is_secret ? count->hidden : count->kept);
    }
  }
}

TEST(RedactedMessage, HasNoSecretOfAnyPayload) {
  const pb::Descriptor* envelope = test_replies::New("MSG")->GetDescriptor();
  Hidden count;
  for (int i = 0; i < envelope->field_count(); ++i) {
    const pb::FieldDescriptor* field = envelope->field(i);
    if (field->message_type() == nullptr) continue;
    const auto before = test_replies::New("MSG");
    full_replies::SetValue(before.get(), envelope->FindFieldByName("Id"), field->number(), "");
    full_replies::FillAll(full_replies::NewElement(before.get(), field), 4);
    const auto after = test_replies::New("MSG");
    ASSERT_TRUE(after->ParseFromString(WithoutSecretsOf(test_replies::Bytes(*before)))) << field->name();
    Compare(*before, *after, &count);
  }
  // As many as there are names, and no end of others.
  EXPECT_GT(count.hidden, 25);
  EXPECT_GT(count.kept, 1000);
}

TEST(SecretNames, AreThoseOfSecretColumnsAndOfTheirFields) {
  for (const TableDescription& table : DescribedTables()) {
    for (const ColumnDescription& column : table.columns) {
      if (!column.Is("secret")) continue;
      EXPECT_TRUE(IsSecretName(column.name)) << column.name;
      const std::string_view field = column.source.substr(column.source.rfind('.') + 1);
      EXPECT_TRUE(field.empty() || IsSecretName(field)) << field;
    }
  }
}

// Bytes that no secret can be in stay as they were sent.
TEST(Redact, LeavesOtherRepliesToTheByte) {
  // Obj 'A', then Id 22: not in the order in which they would be written. And a field that nobody knows.
  for (const std::string& sent : {std::string("\x12\x01\x41\x08\x16"), std::string("\x08\x16\xC0\x3E\x05"),
                                  std::string("\xC0\x3E\x05\x08\x16")}) {
    std::string bytes = sent;
    EXPECT_TRUE(Redact(&bytes));
    EXPECT_EQ(bytes, sent);
  }
}

}  // namespace
}  // namespace replies
