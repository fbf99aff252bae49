// The schema as protoc wrote it, a serialized FileDescriptorSet, as part of the program.
#ifndef REPLIES_DESCRIPTORS_H_
#define REPLIES_DESCRIPTORS_H_

#include <string_view>

namespace tesview {

std::string_view Descriptors();

}  // namespace tesview

#endif  // REPLIES_DESCRIPTORS_H_
