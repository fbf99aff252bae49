// Bytes as each of the programs packs them, by its library.
#ifndef TESTS_SUPPORT_PACKED_H_
#define TESTS_SUPPORT_PACKED_H_

#include <string>

#include "replies/packing.h"

namespace replies {

inline constexpr Packing kPackings[] = {Packing::kGzip, Packing::kBzip2, Packing::kXz, Packing::kZstd,
                                        Packing::kLz4};

// Throws std::runtime_error.
std::string Packed(Packing packing, const std::string& bytes);

}  // namespace replies

#endif  // TESTS_SUPPORT_PACKED_H_
