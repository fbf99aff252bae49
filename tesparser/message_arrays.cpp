// The growing of the arrays that replies hold, compiled here once more: with the library's flags, and called
// without a stub. A point of an indicator grows an array four times, and that is half of the call.
#include <google/protobuf/repeated_field.h>

#include <cstdint>

namespace google::protobuf {

template void RepeatedField<int32_t>::Reserve(int);
template void RepeatedField<uint32_t>::Reserve(int);
template void RepeatedField<int64_t>::Reserve(int);
template void RepeatedField<uint64_t>::Reserve(int);
template void RepeatedField<float>::Reserve(int);
template void RepeatedField<double>::Reserve(int);

}  // namespace google::protobuf
