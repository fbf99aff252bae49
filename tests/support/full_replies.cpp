#include "tests/support/full_replies.h"

#include <gtest/gtest.h>

#include "tests/support/replies.h"

namespace full_replies {

namespace pb = google::protobuf;
using replies::TableDescription;

const pb::FieldDescriptor* FieldOf(const pb::Message& message, const std::string& name) {
  const pb::FieldDescriptor* field = message.GetDescriptor()->FindFieldByName(name);
  if (field == nullptr) ADD_FAILURE() << message.GetDescriptor()->full_name() << " has no field " << name;
  return field;
}

void SetValue(pb::Message* message, const pb::FieldDescriptor* field, int64_t number,
              const std::string& text) {
  const pb::Reflection* r = message->GetReflection();
  const bool many = field->is_repeated();
  switch (field->cpp_type()) {
    case pb::FieldDescriptor::CPPTYPE_INT32:
      many ? r->AddInt32(message, field, static_cast<int32_t>(number))
           : r->SetInt32(message, field, static_cast<int32_t>(number));
      break;
    case pb::FieldDescriptor::CPPTYPE_INT64:
      many ? r->AddInt64(message, field, number) : r->SetInt64(message, field, number);
      break;
    case pb::FieldDescriptor::CPPTYPE_UINT32:
      many ? r->AddUInt32(message, field, static_cast<uint32_t>(number))
           : r->SetUInt32(message, field, static_cast<uint32_t>(number));
      break;
    case pb::FieldDescriptor::CPPTYPE_UINT64:
      many ? r->AddUInt64(message, field, static_cast<uint64_t>(number))
           : r->SetUInt64(message, field, static_cast<uint64_t>(number));
      break;
    case pb::FieldDescriptor::CPPTYPE_DOUBLE:
      many ? r->AddDouble(message, field, 2.5) : r->SetDouble(message, field, 2.5);
      break;
    case pb::FieldDescriptor::CPPTYPE_FLOAT:
      many ? r->AddFloat(message, field, 2.5F) : r->SetFloat(message, field, 2.5F);
      break;
    case pb::FieldDescriptor::CPPTYPE_BOOL:
      many ? r->AddBool(message, field, true) : r->SetBool(message, field, true);
      break;
    case pb::FieldDescriptor::CPPTYPE_ENUM:
      many ? r->AddEnumValue(message, field, field->enum_type()->value(0)->number())
           : r->SetEnumValue(message, field, field->enum_type()->value(0)->number());
      break;
    case pb::FieldDescriptor::CPPTYPE_STRING:
      many ? r->AddString(message, field, text) : r->SetString(message, field, text);
      break;
    case pb::FieldDescriptor::CPPTYPE_MESSAGE: FAIL() << field->full_name() << " is a message"; break;
  }
}

void WriteValue(pb::Message* message, const pb::FieldDescriptor* field, int64_t number) {
  message->GetReflection()->ClearField(message, field);
  for (int n = field->is_repeated() ? 16 : 1; n > 0; --n)
    SetValue(message, field, number, kChinese);
}

namespace {

void FillRequired(pb::Message* message);

}  // namespace

pb::Message* NewElement(pb::Message* message, const pb::FieldDescriptor* field) {
  const pb::Reflection* r = message->GetReflection();
  pb::Message* element =
      field->is_repeated() ? r->AddMessage(message, field) : r->MutableMessage(message, field);
  FillRequired(element);
  return element;
}

namespace {

void FillRequired(pb::Message* message) {
  const pb::Descriptor* type = message->GetDescriptor();
  for (int i = 0; i < type->field_count(); ++i) {
    if (!type->field(i)->is_required()) continue;
    if (type->field(i)->message_type() != nullptr) {
      NewElement(message, type->field(i));
    } else {
      SetValue(message, type->field(i), kPacked299, kChinese);
    }
  }
}

}  // namespace

void FillAll(pb::Message* message, int depth) {
  const pb::Descriptor* type = message->GetDescriptor();
  for (int i = 0; i < type->field_count(); ++i) {
    const pb::FieldDescriptor* field = type->field(i);
    for (int n = field->is_repeated() ? 2 : 1; n > 0; --n) {
      if (field->message_type() == nullptr) {
        SetValue(message, field, kPacked299, kChinese);
      } else if (depth > 0 || field->is_required()) {
        pb::Message* element = field->is_repeated()
                                   ? message->GetReflection()->AddMessage(message, field)
                                   : message->GetReflection()->MutableMessage(message, field);
        FillAll(element, depth - 1);
      }
    }
  }
}

std::unique_ptr<pb::Message> Envelope(const TableDescription& table) {
  auto reply = test_replies::New("MSG");
  SetValue(reply.get(), FieldOf(*reply, "Id"), table.id, "");
  return reply;
}

const TableDescription& Outer(const TableDescription& table) {
  const TableDescription* outer = replies::DescribeTable(table.id, table.type, "");
  EXPECT_NE(outer, nullptr) << table.id << "/" << table.path;
  return *outer;
}

void Complete(const TableDescription& table, pb::Message* element) {
  if (table.id == 303) {
    const pb::FieldDescriptor* result = FieldOf(*element, "CaoZuoJieGuo");
    element->GetReflection()->SetInt64(element, result, 0);
  }
  if (table.id == 414) {
    const pb::FieldDescriptor* blocks = FieldOf(*element, "Data");
    if (element->GetReflection()->FieldSize(*element, blocks) == 0) NewElement(element, blocks);
    pb::Message* block = element->GetReflection()->MutableRepeatedMessage(element, blocks, 0);
    const pb::FieldDescriptor* figure = FieldOf(*block, "ShiYingLv");
    if (!block->GetReflection()->HasField(*block, figure)) SetValue(block, figure, kPacked299, "");
  }
}

pb::Message* ElementOf(const TableDescription& table, pb::Message* reply) {
  return reply->GetReflection()->MutableRepeatedMessage(reply,
                                                        FieldOf(*reply, std::string(Outer(table).field)), 0);
}

std::unique_ptr<pb::Message> FullReply(const TableDescription& outer) {
  auto reply = Envelope(outer);
  const pb::FieldDescriptor* field = FieldOf(*reply, std::string(outer.field));
  FillAll(reply->GetReflection()->AddMessage(reply.get(), field), 4);
  Complete(outer, ElementOf(outer, reply.get()));
  return reply;
}

}  // namespace full_replies
