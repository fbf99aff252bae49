#include "replies/schema.h"

#include "replies/descriptors.h"

namespace replies {
namespace {

namespace pb = google::protobuf;

const pb::FieldDescriptor* IdField(const pb::Message& reply) {
  return reply.GetDescriptor()->FindFieldByNumber(1);
}

}  // namespace

Schema::Schema() : pool_(&files_) {
  for (const std::string_view file : DescriptorFiles())
    files_.Add(file.data(), static_cast<int>(file.size()));
}

Schema& Schema::Get() {
  static Schema* const schema = new Schema;
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
