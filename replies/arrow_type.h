// The types that columns have here, as the format strings of Arrow's C data interface write them.
#ifndef REPLIES_ARROW_TYPE_H_
#define REPLIES_ARROW_TYPE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tsl_base/arrow.h"

namespace replies {

// Levels of fields below a schema. Most readers of Arrow refuse more.
constexpr int kMaxArrowDepth = 64;

// Values of an array, with those before its offset. Sizes in bytes then fit 64 bits.
constexpr int64_t kMaxArrowValues = INT64_MAX / 32;

enum class ArrowKind {
  kNull,  // nulls and nothing else: there are no buffers
  kBool,
  kInt,
  kUint,
  kFloat,
  kDecimal,
  kDate,       // days
  kTimestamp,  // 64 bits
  kUtf8,
  kBinary,
  kList,
  kFixedSizeList,
  kStruct,
};

enum class ArrowTimeUnit { kSecond, kMillisecond, kMicrosecond, kNanosecond };

struct ArrowType {
  ArrowKind kind = ArrowKind::kStruct;
  int bits = 0;  // of a value; of an offset where values differ in length; 0 where there are only children
  int32_t list_size = 0;  // of a fixed-size list
  int precision = 0;      // of a decimal: digits, and digits behind the point
  int scale = 0;
  ArrowTimeUnit unit = ArrowTimeUnit::kSecond;  // of a timestamp
  std::string_view zone;                        // of a timestamp; part of the format it was read from

  int64_t buffers() const;             // with the validity bitmap
  bool Takes(int64_t children) const;  // as many children may a field of this type have
  bool has_offsets() const;            // its second buffer is one more offset than values
};

// Null for anything that is none of the kinds above.
std::optional<ArrowType> ParseArrowFormat(const char* format);

using ArrowMetadata = std::vector<std::pair<std::string, std::string>>;

// The pairs of a schema's metadata, none if it is null. Null where a length in it is negative; nothing can
// tell whether the others lie in the memory they were given in.
std::optional<ArrowMetadata> ParseArrowMetadata(const char* metadata);

// The same, the other way: what a schema's `metadata` points to.
std::string EncodeArrowMetadata(const ArrowMetadata& pairs);

// For messages: "quotes.price" below "quotes".
std::string ArrowFieldPath(const std::string& parent, const ArrowSchema& field);

}  // namespace replies

#endif  // REPLIES_ARROW_TYPE_H_
