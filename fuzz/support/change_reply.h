// Builds valid replies and changes them by reflection over the message classes.
#ifndef FUZZ_SUPPORT_CHANGE_REPLY_H_
#define FUZZ_SUPPORT_CHANGE_REPLY_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

// A reply made from `input` by a few changes, or from both by putting parts of `other` into it. What does not
// parse counts as an empty reply. The result has all required fields and is no longer than `most` bytes. The
// same arguments give the same result.
std::string ChangeReply(const std::string& input, const std::string* other, size_t most, uint64_t seed);

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_CHANGE_REPLY_H_
