#include "replies/arrow_check.h"

#include <fmt/format.h>

#include <cstdint>
#include <string_view>

#include "replies/arrow_type.h"
#include "replies/text.h"

namespace replies {
namespace {

template <typename... Args>
std::string Fault(const std::string& path, fmt::format_string<Args...> text, Args&&... args) {
  const std::string fault = fmt::format(text, std::forward<Args>(args)...);
  return path.empty() ? fault : path + ": " + fault;
}

std::string CheckMetadata(const ArrowSchema& field, const std::string& path) {
  const auto pairs = ParseArrowMetadata(field.metadata);
  if (!pairs) return Fault(path, "metadata of negative length");
  for (const auto& [key, value] : *pairs) {
    if (!IsUtf8(key) || !IsUtf8(value)) return Fault(path, "metadata that is not UTF-8");
  }
  return "";
}

std::string CheckField(const ArrowSchema& field, const std::string& path, int depth) {
  if (field.release == nullptr) return Fault(path, "the schema is released");
  if (field.format == nullptr) return Fault(path, "no format");
  const auto type = ParseArrowFormat(field.format);
  if (!type) return Fault(path, "unknown format \"{}\"", field.format);
  if (field.name != nullptr && !IsUtf8(field.name)) return Fault(path, "a name that is not UTF-8");
  if (field.dictionary != nullptr) return Fault(path, "a dictionary");
  if (!type->Takes(field.n_children)) return Fault(path, "{} children in the schema", field.n_children);
  if (field.n_children > 0 && field.children == nullptr) return Fault(path, "no children in the schema");
  if (field.n_children > 0 && depth == kMaxArrowDepth)
    return Fault(path, "more than {} levels", kMaxArrowDepth);
  if (std::string fault = CheckMetadata(field, path); !fault.empty()) return fault;
  for (int64_t i = 0; i < field.n_children; ++i) {
    if (field.children[i] == nullptr) return Fault(path, "child {} in the schema is null", i);
    const ArrowSchema& child = *field.children[i];
    if (std::string fault = CheckField(child, ArrowFieldPath(path, child), depth + 1); !fault.empty())
      return fault;
  }
  return "";
}

// Reads every byte, in a way that no compiler leaves out.
void Touch(const void* buffer, int64_t size) {
  const auto* bytes = static_cast<const unsigned char*>(buffer);
  unsigned sum = 0;
  for (int64_t i = 0; i < size; ++i)
    sum += bytes[i];
  [[maybe_unused]] volatile unsigned kept = sum;
}

bool BitAt(const void* bits, int64_t index) {
  return (static_cast<const uint8_t*>(bits)[index / 8] >> (index % 8) & 1) != 0;
}

bool IsAligned(const void* buffer, int bits) {
  const auto bytes = static_cast<uintptr_t>(bits <= 8 ? 1 : bits > 64 ? 8 : bits / 8);
  return reinterpret_cast<uintptr_t>(buffer) % bytes == 0;
}

class ArrayCheck {
 public:
  ArrayCheck(const ArrowSchema& field, const ArrowArray& array, std::string path)
      : field_(field), array_(array), path_(std::move(path)), type_(*ParseArrowFormat(field.format)) {}

  // Each looks only where those before it found nothing.
  std::string Run() {
    if (std::string fault = CheckCounts(); !fault.empty()) return fault;
    end_ = array_.offset + array_.length;
    if (std::string fault = CheckNulls(); !fault.empty()) return fault;
    if (std::string fault = CheckBuffers(); !fault.empty()) return fault;
    if (std::string fault = CheckTexts(); !fault.empty()) return fault;
    return CheckChildren();
  }

 private:
  std::string CheckCounts() const {
    if (array_.release == nullptr) return Fault(path_, "the array is released");
    if (array_.length < 0 || array_.offset < 0 || array_.offset > kMaxArrowValues - array_.length)
      return Fault(path_, "length {}, offset {}", array_.length, array_.offset);
    if (array_.dictionary != nullptr) return Fault(path_, "a dictionary");
    if (array_.n_buffers != type_.buffers())
      return Fault(path_, "{} buffers where {} belong", array_.n_buffers, type_.buffers());
    if (array_.n_buffers != 0 && array_.buffers == nullptr) return Fault(path_, "no buffers");
    if (array_.n_children != field_.n_children)
      return Fault(path_, "{} children where the schema has {}", array_.n_children, field_.n_children);
    if (array_.n_children > 0 && array_.children == nullptr) return Fault(path_, "no children");
    for (int64_t i = 0; i < array_.n_children; ++i) {
      if (array_.children[i] == nullptr) return Fault(path_, "child {} is null", i);
    }
    return "";
  }

  bool IsNull(int64_t index) const {
    if (type_.kind == ArrowKind::kNull) return true;
    return array_.buffers[0] != nullptr && !BitAt(array_.buffers[0], array_.offset + index);
  }

  std::string CheckNulls() const {
    if (array_.null_count < -1 || array_.null_count > array_.length)
      return Fault(path_, "{} nulls in {} values", array_.null_count, array_.length);
    int64_t nulls = 0;
    for (int64_t i = 0; i < array_.length; ++i)
      nulls += IsNull(i) ? 1 : 0;
    if (array_.null_count >= 0 && array_.null_count != nulls)
      return Fault(path_, "{} nulls are told, {} are there", array_.null_count, nulls);
    if (nulls > 0 && (field_.flags & ARROW_FLAG_NULLABLE) == 0)
      return Fault(path_, "{} nulls where there must be none", nulls);
    return "";
  }

  // Without values, buffers may be missing. Where offsets are there, the first is.
  std::string CheckBuffers() {
    if (array_.n_buffers == 0) return "";
    if (array_.buffers[0] != nullptr) Touch(array_.buffers[0], (end_ + 7) / 8);
    if (array_.n_buffers == 1) return "";
    if (array_.buffers[1] == nullptr) return end_ == 0 ? "" : Fault(path_, "no buffer for {} values", end_);
    if (!IsAligned(array_.buffers[1], type_.bits)) return Fault(path_, "a buffer that is not aligned");
    if (type_.has_offsets()) return CheckOffsets();
    Touch(array_.buffers[1], type_.bits == 1 ? (end_ + 7) / 8 : end_ * (type_.bits / 8));
    return "";
  }

  int64_t OffsetAt(int64_t index) const {
    if (type_.bits == 64) return static_cast<const int64_t*>(array_.buffers[1])[index];
    return static_cast<const int32_t*>(array_.buffers[1])[index];
  }

  std::string CheckOffsets() {
    if (OffsetAt(0) < 0) return Fault(path_, "offset 0 is {}", OffsetAt(0));
    for (int64_t i = 1; i <= end_; ++i) {
      if (OffsetAt(i) < OffsetAt(i - 1))
        return Fault(path_, "offset {} is {}, and {} before it", i, OffsetAt(i), OffsetAt(i - 1));
    }
    last_offset_ = OffsetAt(end_);
    if (array_.n_buffers < 3) return "";
    if (array_.buffers[2] == nullptr)
      return last_offset_ == 0 ? "" : Fault(path_, "no buffer for {} bytes", last_offset_);
    Touch(array_.buffers[2], last_offset_);
    return "";
  }

  std::string CheckTexts() const {
    if (type_.kind != ArrowKind::kUtf8 || array_.buffers[2] == nullptr) return "";
    const auto* bytes = static_cast<const char*>(array_.buffers[2]);
    for (int64_t i = 0; i < array_.length; ++i) {
      if (IsNull(i)) continue;
      const int64_t begin = OffsetAt(array_.offset + i);
      const int64_t end = OffsetAt(array_.offset + i + 1);
      if (!IsUtf8(std::string_view(bytes + begin, static_cast<size_t>(end - begin))))
        return Fault(path_, "value {} is not UTF-8", i);
    }
    return "";
  }

  std::string CheckChildren() const {
    if (type_.kind == ArrowKind::kFixedSizeList && type_.list_size > 0 &&
        end_ > kMaxArrowValues / type_.list_size)
      return Fault(path_, "length {}, offset {}", array_.length, array_.offset);
    const int64_t needed = type_.kind == ArrowKind::kFixedSizeList ? end_ * type_.list_size
                           : type_.kind == ArrowKind::kList        ? last_offset_
                                                                   : end_;
    for (int64_t i = 0; i < array_.n_children; ++i) {
      const ArrowSchema& field = *field_.children[i];
      const ArrowArray& child = *array_.children[i];
      const std::string path = ArrowFieldPath(path_, field);
      if (child.length < needed)
        return Fault(path, "{} values where its parent needs {}", child.length, needed);
      if (std::string fault = ArrayCheck(field, child, path).Run(); !fault.empty()) return fault;
    }
    return "";
  }

  const ArrowSchema& field_;
  const ArrowArray& array_;
  std::string path_;
  ArrowType type_;
  int64_t end_ = 0;  // offset and length together
  int64_t last_offset_ = 0;
};

}  // namespace

std::string CheckArrowSchema(const ArrowSchema& schema) {
  return CheckField(schema, "", 0);
}

std::string CheckArrow(const ArrowSchema& schema, const ArrowArray& array) {
  std::string fault = CheckArrowSchema(schema);
  return fault.empty() ? ArrayCheck(schema, array, "").Run() : fault;
}

}  // namespace replies
