// Texts, byte strings and arrays. They lie in chunks that belong to the table; their cells hold the address.
#ifndef TSL_BASE_DETAIL_BYTES_H_
#define TSL_BASE_DETAIL_BYTES_H_

#include <stdint.h>

#include "tsl_base/detail/cells.h"

namespace tsl_base {
namespace detail {

// The bytes for cells that point elsewhere, in the order in which they were asked for.
struct alignas(8) Chunk {
  Chunk* next;
  uint32_t used;
  uint32_t size;  // without this header; 0 for a chunk made for a single item
};

void FreeChunks(TableData* table) noexcept;

// The forms of a cell that hold an address. All throw std::bad_alloc, and the cell keeps what it had then.
void StoreText(TableData* table, const Column& column, uint32_t row, const char* text);
void StoreBinary(TableData* table, const Column& column, uint32_t row, const void* data, int size);
void StoreArray(TableData* table, const Column& column, uint32_t row, const void* data);

const void* BinaryBytes(const unsigned char* cell, int* size);

}  // namespace detail
}  // namespace tsl_base

#endif  // TSL_BASE_DETAIL_BYTES_H_
