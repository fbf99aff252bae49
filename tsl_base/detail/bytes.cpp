#include "tsl_base/detail/bytes.h"

#include <algorithm>
#include <new>

namespace tsl_base {
namespace detail {
namespace {

// ---- chunks -----------------------------------------------------------------------------------------------

constexpr size_t kFirstChunk = 256;
constexpr size_t kLargestChunk = 32768;

// A larger item gets a chunk of its own, so that no more than this is left unused at the end of a chunk.
constexpr size_t kLargestShared = 4096;

[[gnu::noinline]] void* NewChunk(TableData* table, size_t bytes) {
  if (bytes > kLargestShared) {
    Chunk* chunk = new (Allocate(uint64_t{sizeof(Chunk)} + bytes)) Chunk{nullptr, 0, 0};
    // Behind the newest, which may have room left.
    Chunk** link = table->chunks ? &table->chunks->next : &table->chunks;
    chunk->next = *link;
    *link = chunk;
    return chunk + 1;
  }
  const size_t last = table->chunks ? sizeof(Chunk) + table->chunks->size : 0;
  size_t block = std::min(std::max(2 * last, kFirstChunk), kLargestChunk);
  while (block < sizeof(Chunk) + bytes)
    block *= 2;
  const auto size = static_cast<uint32_t>(block - sizeof(Chunk));
  Chunk* chunk = new (Allocate(block)) Chunk{table->chunks, static_cast<uint32_t>(bytes), size};
  table->chunks = chunk;
  return chunk + 1;
}

// `alignment` is a power of two, at most 8.
inline void* ChunkBytes(TableData* table, size_t bytes, size_t alignment) {
  Chunk* chunk = table->chunks;
  if (chunk) {
    const size_t from = (chunk->used + alignment - 1) & ~(alignment - 1);
    if (from <= chunk->size && bytes <= chunk->size - from) {
      chunk->used = static_cast<uint32_t>(from + bytes);
      return reinterpret_cast<char*>(chunk + 1) + from;
    }
  }
  return NewChunk(table, bytes);
}

// ---- texts and byte strings -------------------------------------------------------------------------------

// The bytes before a text say how long it may become in its place: one byte, or four and then one of 255.
constexpr size_t kShortCapacity = 254;
constexpr unsigned char kLongMark = 255;

const char kEmptyText[2] = {0, 0};

size_t TextCapacity(const char* text) {
  const unsigned char mark = static_cast<unsigned char>(text[-1]);
  return mark != kLongMark ? mark : Load<uint32_t>(text - 5);
}

char* NewText(TableData* table, size_t capacity) {
  if (capacity <= kShortCapacity) {
    char* room = static_cast<char*>(ChunkBytes(table, capacity + 2, 1));
    room[0] = static_cast<char>(capacity);
    return room + 1;
  }
  char* room = static_cast<char*>(ChunkBytes(table, capacity + 6, 1));
  Save(room, static_cast<uint32_t>(std::min<size_t>(capacity, UINT32_MAX)));
  room[4] = static_cast<char>(kLongMark);
  return room + 5;
}

// Cells that are rewritten with more each time waste no more than they hold.
size_t GrownCapacity(size_t needed, size_t old) {
  return std::max(needed, 2 * old);
}

struct BinaryHead {
  uint32_t capacity;
  int32_t size;
};

const BinaryHead kEmptyBinary[2] = {};

}  // namespace

void FreeChunks(TableData* table) noexcept {
  for (Chunk* chunk = table->chunks; chunk;) {
    Chunk* next = chunk->next;
    ::operator delete(chunk);
    chunk = next;
  }
}

void StoreText(TableData* table, const Column& column, uint32_t row, const char* text) {
  const size_t length = strlen(text);
  const CellPlace place = FindPlace(table, column, row);
  size_t old_capacity = 0;
  if (char* old = AddressAt<char>(place, table, column, row)) {
    old_capacity = TextCapacity(old);
    if (length <= old_capacity) {
      // May overlap: a caller can pass the cell's own text. Capacity 0 is the shared empty text.
      if (old_capacity != 0) memmove(old, text, length + 1);
      return;
    }
  }
  const char* stored = kEmptyText + 1;
  if (length != 0) {
    char* room = NewText(table, GrownCapacity(length, old_capacity));
    memcpy(room, text, length + 1);
    stored = room;
  }
  StoreAddressAt(place, table, column, row, stored);
}

const void* BinaryBytes(const unsigned char* cell, int* size) {
  const BinaryHead* head = Load<const BinaryHead*>(cell);
  *size = head->size;
  return head + 1;
}

void StoreBinary(TableData* table, const Column& column, uint32_t row, const void* data, int size) {
  const size_t length = static_cast<size_t>(size);
  const CellPlace place = FindPlace(table, column, row);
  size_t old_capacity = 0;
  if (BinaryHead* old = AddressAt<BinaryHead>(place, table, column, row)) {
    old_capacity = old->capacity;
    if (length <= old_capacity) {
      if (length != 0) memmove(old + 1, data, length);
      if (old_capacity != 0) old->size = size;
      return;
    }
  }
  const BinaryHead* stored = kEmptyBinary;
  if (length != 0) {
    const size_t capacity = std::min<size_t>(GrownCapacity(length, old_capacity), INT32_MAX);
    BinaryHead* head = new (ChunkBytes(table, sizeof(BinaryHead) + capacity, 8))
        BinaryHead{static_cast<uint32_t>(capacity), size};
    memcpy(head + 1, data, length);
    stored = head;
  }
  StoreAddressAt(place, table, column, row, stored);
}

void StoreArray(TableData* table, const Column& column, uint32_t row, const void* data) {
  const CellPlace place = FindPlace(table, column, row);
  if (void* old = AddressAt<void>(place, table, column, row)) {
    memmove(old, data, column.width);
    return;
  }
  void* bytes = ChunkBytes(table, column.width, 8);
  memcpy(bytes, data, column.width);
  StoreAddressAt(place, table, column, row, bytes);
}

}  // namespace detail
}  // namespace tsl_base
