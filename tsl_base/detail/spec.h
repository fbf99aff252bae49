// The parsed form of a column spec, shared by all tables that were made with the same text. It never changes;
// tables and threads only count their references to it.
#ifndef TSL_BASE_DETAIL_SPEC_H_
#define TSL_BASE_DETAIL_SPEC_H_

#include <stddef.h>
#include <stdint.h>

#include <atomic>

#include "tsl_base/column_type.h"

namespace tsl_base {
namespace detail {

// Added to the type code of an array of that type.
constexpr uint8_t kCounted = 0x80;

struct Column {
  uint32_t name;   // where the name starts in the text of the spec
  uint32_t width;  // of one cell in bytes; 0 for a column that holds nothing
  uint32_t slot;   // how many columns before this one can hold something
  uint8_t kind;    // a table_column_type, with kCounted for an array

  bool counted() const { return (kind & kCounted) != 0; }
  int code() const { return kind & ~kCounted; }
  // What one cell takes where cells are stored: texts, byte strings and arrays lie elsewhere, the cell points
  // there.
  uint32_t stored_width() const { return counted() ? uint32_t{8} : width; }
};

// The bytes of one element of a type; 8 for a pointer, 0 for TABLE_NOTHING.
uint32_t ElementWidth(int code);

// Followed in the same block by the columns, the text with its names zero-terminated in place and, if that
// was asked for, the text as it was given.
struct Spec {
  std::atomic<uint64_t> references;
  uint32_t cols;
  uint32_t slots;
  uint32_t text_size;  // with the final zero

  const Column* columns() const { return reinterpret_cast<const Column*>(this + 1); }
  const char* text() const { return reinterpret_cast<const char*>(columns() + cols); }
  const char* original() const { return text() + text_size; }
  const char* name_of(const Column& column) const { return text() + column.name; }
};

// Reads a spec of that length, with one reference that is the caller's. Only with `keep_original` may
// original() be asked for. Throws std::bad_alloc.
Spec* ParseSpec(const char* text, size_t length, bool keep_original);

inline void AddReference(Spec* spec) {
  spec->references.fetch_add(1, std::memory_order_relaxed);
}
void ReleaseSpec(Spec* spec) noexcept;

}  // namespace detail
}  // namespace tsl_base

#endif  // TSL_BASE_DETAIL_SPEC_H_
