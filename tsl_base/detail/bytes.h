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
  uint32_t size : 31;  // without this header; 0 for a chunk made for a single item
  uint32_t in_table : 1;
};
constexpr uint32_t kLargestSize = 0x7FFFFFFF;

// A small table of at most so many texts has a chunk of this size for each in its own block: codes and short
// names fit, so that such a table is one allocation.
constexpr uint64_t kFewTexts = 4;
constexpr uint32_t kRoomOfText = 24;

// The forms of a cell that hold an address. All throw std::bad_alloc, and the cell keeps what it had then.
void StoreText(TableData* table, const Column& column, uint32_t row, const char* text);
void StoreBinary(TableData* table, const Column& column, uint32_t row, const void* data, int size);
void StoreArray(TableData* table, const Column& column, uint32_t row, const void* data);

const void* BinaryBytes(const unsigned char* cell, int* size);

}  // namespace detail
}  // namespace tsl_base

#endif  // TSL_BASE_DETAIL_BYTES_H_
