// The schema as protoc wrote it, a serialized FileDescriptorSet, as part of the program.
#ifndef REPLIES_DESCRIPTORS_H_
#define REPLIES_DESCRIPTORS_H_

#include <string_view>
#include <vector>

namespace replies {

// Its files, each a serialized FileDescriptorProto.
std::vector<std::string_view> DescriptorFiles();

}  // namespace replies

#endif  // REPLIES_DESCRIPTORS_H_
