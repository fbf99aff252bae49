// The schema in a pool of its own: message types by name, and empty replies to fill.
//
// The descriptors are part of the program. What replies are made of is taken into the pool at the first use
// of the schema, which takes about ten milliseconds.
#ifndef REPLIES_SCHEMA_H_
#define REPLIES_SCHEMA_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor_database.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace replies {

class Schema {
 public:
  // The one schema of the program, which is never freed. Any number of threads may use it. Throws
  // std::bad_alloc at the first use; a later call then tries again, and what there was is lost.
  static Schema& Get();

  // Null if there is none of that name; names are without their package.
  const google::protobuf::Descriptor* Type(const std::string& name) const;
  const google::protobuf::EnumDescriptor* Enum(const std::string& name) const;
  std::vector<const google::protobuf::FileDescriptor*> Files();

  std::unique_ptr<google::protobuf::Message> NewReply();

 private:
  Schema();
  static Schema* Make();

  google::protobuf::EncodedDescriptorDatabase files_;
  google::protobuf::DescriptorPool pool_;
  google::protobuf::DynamicMessageFactory factory_;
};

// The Id that a reply carries.
int32_t IdOf(const google::protobuf::Message& reply);
void SetId(google::protobuf::Message* reply, int32_t id);

}  // namespace replies

#endif  // REPLIES_SCHEMA_H_
