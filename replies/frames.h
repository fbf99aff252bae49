// Replies one behind the other, each with its length before it: where one is in bytes that may be damaged.
//
// Nothing here allocates or throws; any bytes may be passed. Sizes and offsets are in bytes.
#ifndef REPLIES_FRAMES_H_
#define REPLIES_FRAMES_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

#include "replies/form.h"

namespace replies {

// How the length is written: as a varint, or in four bytes.
enum class Prefix { kVarint, kFixed32Be, kFixed32Le };

// Of a form with lengths; null of any other.
std::optional<Prefix> PrefixOf(Form form);

enum class PrefixStep { kRead, kCut, kBroken };

// Reads the length at the front of `bytes`. Only a varint can be broken.
PrefixStep ReadPrefix(std::string_view bytes, Prefix prefix, size_t* prefix_size, uint64_t* size);

// How far a look may go. It is free at a few fields; beyond these it spends.
struct Effort {
  uint64_t allowed = 0;  // fields
  uint64_t spent = 0;

  bool Spend() {
    const bool may = spent < allowed;
    spent += may ? 1 : 0;
    return may;
  }
};

enum class Look {
  kNo,     // no envelope
  kSoFar,  // one as far as the look went
  kWhole,  // one from its first to its last byte
};

// Fields that each look is free to go through.
inline constexpr int kFreeFields = 16;
// Of what is behind a frame. An Id and the head of another field have 31 bytes at most.
inline constexpr size_t kLookedAtBehind = 32;

// Whether `size` bytes of which `content` are the first are an envelope: an Id, then its count of objects,
// its texts and the payload of that Id, and nothing else. The contents of fields are skipped, so that they
// need not be there. `has_payload` tells that the payload was among them.
Look LookAtEnvelope(std::string_view content, uint64_t size, Effort* effort, bool* has_payload);

// What begins at the end of a frame.
enum class Behind {
  kReply,    // another one
  kEnd,      // the source ends there
  kNoReply,  // anything else
  kCut,      // too few bytes to tell
};

// `ended` tells that the source has no more than `bytes`; nothing may have more than `most`. `look` is that
// at the first bytes of what begins there.
Behind LookBehind(std::string_view bytes, size_t at, bool ended, Prefix prefix, uint64_t most, Look* look);

// Where a search for a frame came to.
struct Search {
  enum Result { kFound, kNeedsMore, kNone } result = kNone;
  size_t at = 0;  // where the frame begins; where to go on searching, once there are more bytes
};

// The end of a search that has none.
inline constexpr size_t kAnywhere = std::numeric_limits<size_t>::max();

// The bytes that a search may need behind the place where it goes on.
inline constexpr size_t kLookAhead = size_t{64} * 1024;

// The first frame with an envelope that begins in [from, to). It takes more than the bytes of one,
// so that stray ones rarely pass: another envelope behind it, unless it ends at `to`, or a payload that fits
// it to the byte: the last message inside a reply may look like an Id with a text. kNeedsMore is given at
// most until there are kLookAhead bytes behind `at`, or the first bytes behind a frame. The cost is linear in
// the bytes, as long as the effort is.
Search FindFrame(std::string_view bytes, size_t from, size_t to, bool ended, Prefix prefix, uint64_t most,
                 Effort* effort);

}  // namespace replies

#endif  // REPLIES_FRAMES_H_
