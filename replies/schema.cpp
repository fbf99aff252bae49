#include "replies/schema.h"

#include <unordered_set>

#include "replies/descriptors.h"

namespace replies {
namespace {

namespace pb = google::protobuf;

const pb::FieldDescriptor* IdField(const pb::Message& reply) {
  return reply.GetDescriptor()->FindFieldByNumber(1);
}

// A message's prototype and those of all messages that can be inside it.
void MakePrototypes(const pb::Descriptor* type, pb::DynamicMessageFactory* factory,
                    std::unordered_set<const pb::Descriptor*>* made) {
  if (!made->insert(type).second) return;
  factory->GetPrototype(type);
  for (int i = 0; i < type->field_count(); ++i) {
    if (type->field(i)->message_type() != nullptr)
      MakePrototypes(type->field(i)->message_type(), factory, made);
  }
}

}  // namespace

Schema::Schema() : pool_(&files_) {
  for (const std::string_view file : DescriptorFiles())
    files_.Add(file.data(), static_cast<int>(file.size()));
}

Schema* Schema::Make() {
  // Once memory has run out in a pool or a factory, they can neither be used nor destroyed: either would end
  // the process. So all that replies need is made here, and what could not be finished is left where it is.
  auto* const whole = new Schema;
  std::unordered_set<const pb::Descriptor*> made;
  MakePrototypes(whole->Type("MSG"), &whole->factory_, &made);
  return whole;
}

Schema& Schema::Get() {
  static Schema* const schema = Make();
  return *schema;
}

const pb::Descriptor* Schema::Type(const std::string& name) const {
  return pool_.FindMessageTypeByName("tessel." + name);
}

const pb::EnumDescriptor* Schema::Enum(const std::string& name) const {
  return pool_.FindEnumTypeByName("tessel." + name);
}

std::vector<const pb::FileDescriptor*> Schema::Files() {
  std::vector<std::string> names;
  files_.FindAllFileNames(&names);
  std::vector<const pb::FileDescriptor*> files;
  for (const std::string& name : names) {
    if (const pb::FileDescriptor* file = pool_.FindFileByName(name)) files.push_back(file);
  }
  return files;
}

std::unique_ptr<pb::Message> Schema::NewReply() {
  return std::unique_ptr<pb::Message>(factory_.GetPrototype(Type("MSG"))->New());
}

int32_t IdOf(const pb::Message& reply) {
  return reply.GetReflection()->GetInt32(reply, IdField(reply));
}

void SetId(pb::Message* reply, int32_t id) {
  reply->GetReflection()->SetInt32(reply, IdField(*reply), id);
}

}  // namespace replies
