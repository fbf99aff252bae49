// Included before the generated code where the runtime is the library's own: the 148 files are described to
// it at the first use of a description, as JSON is one, and not when the library is loaded, which is half of
// what loading takes. A runtime that others share is told at load: names that are taken then end the process
// at once, and not in a call.
#ifndef TESPARSER_LATE_DESCRIPTORS_H_
#define TESPARSER_LATE_DESCRIPTORS_H_

#include <google/protobuf/generated_message_reflection.h>

// Where the generated code looks for what it makes.
namespace google::protobuf::internal {

// The runtime describes a file, and those that it imports, when a message of it is asked for its descriptor.
struct LateDescriptors {
  constexpr explicit LateDescriptors(const DescriptorTable*) {}
};

}  // namespace google::protobuf::internal

#define AddDescriptorsRunner LateDescriptors

#endif  // TESPARSER_LATE_DESCRIPTORS_H_
