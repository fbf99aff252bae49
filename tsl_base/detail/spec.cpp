#include "tsl_base/detail/spec.h"

#include <string.h>

#include <new>

namespace tsl_base {
namespace detail {
namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

int CodeOfLetter(char letter) {
  switch (letter) {
    case 'c': return TABLE_INT8;
    case 'h': return TABLE_INT16;
    case 'i': return TABLE_INT32;
    case 'q': return TABLE_INT64;
    case 'f': return TABLE_FLOAT;
    case 'd': return TABLE_DOUBLE;
    case 's': return TABLE_TEXT;
    case 'b': return TABLE_BINARY;
    case 'C': return TABLE_UINT8;
    case 'H': return TABLE_UINT16;
    case 'I': return TABLE_UINT32;
    case 'Q': return TABLE_UINT64;
    case 't': return TABLE_CHILD;
    case 'T': return TABLE_TIME;
    case 'P': return TABLE_PFLOAT;
    case 'V': return TABLE_VFLOAT;
    default: return TABLE_NOTHING;
  }
}

// Reads "q" or "53q" between two places into kind and width; leaves both alone if it is neither.
void ParseType(const char* from, const char* to, Column* column) {
  if (from == to) return;
  const int code = CodeOfLetter(to[-1]);
  if (code == TABLE_NOTHING) return;
  const uint32_t element = ElementWidth(code);
  if (to - from == 1) {
    column->kind = static_cast<uint8_t>(code);
    column->width = element;
    return;
  }
  if (code == TABLE_TEXT || code == TABLE_BINARY || code == TABLE_CHILD) return;
  const uint64_t most = uint64_t{INT32_MAX} / element;
  uint64_t count = 0;
  for (const char* digit = from; digit != to - 1; ++digit) {
    if (!IsDigit(*digit)) return;
    count = count * 10 + static_cast<uint64_t>(*digit - '0');
    if (count > most) return;
  }
  if (count == 0) return;
  column->kind = static_cast<uint8_t>(count == 1 ? code : code | kCounted);
  column->width = static_cast<uint32_t>(count) * element;
}

// The end of the last entry. Blanks alone behind the last ';' are an empty entry, and that makes no column.
size_t UsedLength(const char* text, size_t length) {
  size_t used = length;
  while (used != 0 && IsBlank(text[used - 1]))
    --used;
  return used != 0 && text[used - 1] == ';' ? used : length;
}

uint32_t CountEntries(const char* text, size_t used) {
  if (used == 0) return 0;
  uint32_t count = text[used - 1] == ';' ? 0 : 1;
  for (size_t i = 0; i < used; ++i)
    count += text[i] == ';';
  return count;
}

// Parses the entry [from, to) of `names`, in which the name gets its zero. names[to] may be overwritten.
void ParseEntry(char* names, size_t from, size_t to, Column* column) {
  // Names are kept as they are, but for blanks that only set an entry off from the ';' before it.
  while (from != 0 && from < to && IsBlank(names[from]))
    ++from;
  size_t name_end = to;
  for (size_t i = to; i > from; --i) {
    if (names[i - 1] != ':') continue;
    name_end = i - 1;
    size_t type = i;
    size_t type_end = to;
    while (type < type_end && IsBlank(names[type]))
      ++type;
    while (type < type_end && IsBlank(names[type_end - 1]))
      --type_end;
    ParseType(names + type, names + type_end, column);
    break;
  }
  column->name = static_cast<uint32_t>(from);
  names[name_end] = '\0';
}

}  // namespace

Spec* ParseSpec(const char* text, size_t length, bool keep_original) {
  // A longer text could have more columns than an int counts.
  if (length >= size_t{INT32_MAX}) throw std::bad_alloc();
  const size_t used = UsedLength(text, length);
  const uint32_t cols = CountEntries(text, used);
  const size_t text_size = length + 1;
  const size_t kept = keep_original ? 2 * text_size : text_size;
  const uint64_t bytes = sizeof(Spec) + uint64_t{cols} * sizeof(Column) + kept;
  if (bytes > uint64_t{PTRDIFF_MAX}) throw std::bad_alloc();

  Spec* spec = new (::operator new(static_cast<size_t>(bytes))) Spec;
  spec->references.store(1, std::memory_order_relaxed);
  spec->cols = cols;
  spec->text_size = static_cast<uint32_t>(text_size);
  Column* columns = reinterpret_cast<Column*>(spec + 1);
  char* names = reinterpret_cast<char*>(columns + cols);
  memcpy(names, text, text_size);
  if (keep_original) memcpy(names + text_size, text, text_size);

  uint32_t slot = 0;
  size_t from = 0;
  for (uint32_t i = 0; i < cols; ++i) {
    const void* separator = memchr(names + from, ';', used - from);
    const size_t to = separator ? static_cast<size_t>(static_cast<const char*>(separator) - names) : used;
    Column* column = new (columns + i) Column{0, 0, slot, TABLE_NOTHING};
    ParseEntry(names, from, to, column);
    if (column->kind != TABLE_NOTHING) ++slot;
    from = to + 1;
  }
  spec->slots = slot;
  return spec;
}

void ReleaseSpec(Spec* spec) noexcept {
  if (spec->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  spec->~Spec();
  ::operator delete(spec);
}

uint32_t ElementWidth(int code) {
  switch (code) {
    case TABLE_INT8:
    case TABLE_UINT8: return 1;
    case TABLE_INT16:
    case TABLE_UINT16: return 2;
    case TABLE_INT32:
    case TABLE_UINT32:
    case TABLE_FLOAT: return 4;
    case TABLE_NOTHING: return 0;
    default: return 8;
  }
}

}  // namespace detail
}  // namespace tsl_base
