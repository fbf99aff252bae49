#include "replies/fill_required.h"

#include <google/protobuf/descriptor.h>

#include "replies/wire.h"

namespace replies {
namespace {

namespace pb = google::protobuf;

void FillToDepth(pb::Message* message, int depth) {
  const pb::Reflection* reflection = message->GetReflection();
  for (int i = 0; i < message->GetDescriptor()->field_count(); ++i) {
    const pb::FieldDescriptor* field = message->GetDescriptor()->field(i);
    if (!field->is_required()) continue;
    switch (field->cpp_type()) {
      case pb::FieldDescriptor::CPPTYPE_INT32: reflection->SetInt32(message, field, 0); break;
      case pb::FieldDescriptor::CPPTYPE_INT64: reflection->SetInt64(message, field, 0); break;
      case pb::FieldDescriptor::CPPTYPE_UINT32: reflection->SetUInt32(message, field, 0); break;
      case pb::FieldDescriptor::CPPTYPE_UINT64: reflection->SetUInt64(message, field, 0); break;
      case pb::FieldDescriptor::CPPTYPE_DOUBLE: reflection->SetDouble(message, field, 0); break;
      case pb::FieldDescriptor::CPPTYPE_FLOAT: reflection->SetFloat(message, field, 0); break;
      case pb::FieldDescriptor::CPPTYPE_BOOL: reflection->SetBool(message, field, false); break;
      case pb::FieldDescriptor::CPPTYPE_ENUM:
        reflection->SetEnum(message, field, field->enum_type()->value(0));
        break;
      case pb::FieldDescriptor::CPPTYPE_STRING: reflection->SetString(message, field, ""); break;
      case pb::FieldDescriptor::CPPTYPE_MESSAGE:
        if (depth < kDeepest) FillToDepth(reflection->MutableMessage(message, field), depth + 1);
        break;
    }
  }
}

}  // namespace

void FillRequired(pb::Message* message) {
  FillToDepth(message, 1);
}

}  // namespace replies
