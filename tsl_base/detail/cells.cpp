#include "tsl_base/detail/cells.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace tsl_base {
namespace detail {
namespace {

void* Allocate(uint64_t bytes) {
  if (bytes > uint64_t{PTRDIFF_MAX}) throw std::bad_alloc();
  return ::operator new(static_cast<size_t>(bytes));
}

uint32_t WordsFor(uint32_t bits) {
  return bits / 64 + (bits % 64 != 0 ? 1 : 0);
}

// ---- slabs ------------------------------------------------------------------------------------------------

// The first slab of a column holds a usual table whole. In a table of very many columns it starts small, as
// there most columns may have a value or two.
constexpr uint32_t kFirstRows = 256;
constexpr uint32_t kFirstRowsOfMany = 16;
constexpr uint32_t kFewSlabs = 32;

// What a large table has as its first group before one of these columns is written. Read only: a slab
// without capacity takes no cell.
const Slab kEmptyGroup[kSlabsOfGroup] = {};

// A slab grows if at least this share of its new rows is set. A cell in the map takes about 64 bytes, so that
// sparse columns cost about the same either way.
constexpr uint32_t kLeastShare = 16;

uint32_t CountBits(const uint64_t* bits, uint32_t words) {
  uint32_t count = 0;
  for (uint32_t i = 0; i < words; ++i)
    count += static_cast<uint32_t>(__builtin_popcountll(bits[i]));
  return count;
}

// The capacity that would take in the row.
uint32_t CapacityFor(const TableData* table, uint32_t first, uint32_t row) {
  uint64_t capacity = first;
  while (capacity <= row)
    capacity *= 8;
  return static_cast<uint32_t>(std::min<uint64_t>(capacity, table->rows));
}

// Whether the column holds enough to take in the rows up to `capacity`. Counting costs a walk over the slab's
// bits, so after a count in vain it waits for a number of writes in proportion.
bool WorthGrowing(Slab* slab, uint32_t capacity) {
  const uint32_t needed = capacity / kLeastShare;
  if (slab->known_set + slab->outliers >= needed) return true;
  if (slab->patience != 0) {
    --slab->patience;
    return false;
  }
  const uint32_t words = WordsFor(slab->capacity);
  slab->known_set = CountBits(slab->bits, words);
  slab->patience = (words / 8) & 0xFFFFFF;
  return slab->known_set + slab->outliers >= needed;
}

// Moves the column's cells up to `capacity` rows, those of the map too, into a larger slab.
void GrowSlab(TableData* table, const Column& column, Slab* slab, uint32_t capacity) {
  const size_t width = column.stored_width();
  const uint64_t cell_bytes = (uint64_t{capacity} * width + 7) / 8 * 8;
  const uint32_t words = WordsFor(capacity);
  unsigned char* cells = static_cast<unsigned char*>(Allocate(cell_bytes + uint64_t{words} * 8));
  uint64_t* bits = reinterpret_cast<uint64_t*>(cells + cell_bytes);
  const uint32_t old_words = WordsFor(slab->capacity);
  if (slab->capacity != 0) {
    memcpy(cells, slab->cells, slab->capacity * width);
    memcpy(bits, slab->bits, size_t{old_words} * 8);
  }
  memset(bits + old_words, 0, size_t{words - old_words} * 8);
  ::operator delete(slab->cells);
  slab->cells = cells;
  slab->bits = bits;
  slab->capacity = capacity;
  slab->kind = column.kind;
  slab->patience = 0;

  if (slab->outliers == 0) return;
  OutlierMap& map = *table->large()->outliers;
  auto outlier = map.lower_bound(CellKey{column.slot, 0});
  while (outlier != map.end() && outlier->first.slot == column.slot && outlier->first.row < capacity) {
    memcpy(cells + outlier->first.row * width, &outlier->second, width);
    SetBit(bits, outlier->first.row);
    ++slab->known_set;
    --slab->outliers;
    outlier = map.erase(outlier);
  }
}

// The directory takes in the first columns at once and then grows to where columns are written.
constexpr uint32_t kFirstGroups = 8;

void GrowDirectory(TableData* table, uint32_t index) {
  Large* large = table->large();
  const uint32_t all = table->spec->slots / kSlabsOfGroup + (table->spec->slots % kSlabsOfGroup != 0 ? 1 : 0);
  const uint64_t wanted = std::max<uint64_t>({kFirstGroups, uint64_t{2} * large->group_count, index + 1});
  const uint32_t count = static_cast<uint32_t>(std::min<uint64_t>(wanted, all));
  void* block = Allocate(uint64_t{count} * sizeof(void*));
  Slab** groups = static_cast<Slab**>(block);
  std::copy_n(large->groups, large->group_count, groups);
  std::fill_n(groups + large->group_count, count - large->group_count, nullptr);
  ::operator delete(large->groups);
  large->groups = groups;
  large->group_count = count;
}

Slab* NewGroup() {
  Slab* slabs = static_cast<Slab*>(Allocate(kSlabsOfGroup * sizeof(Slab)));
  std::fill_n(slabs, kSlabsOfGroup, Slab{});
  return slabs;
}

Slab* MakeSlab(TableData* table, const Column& column) {
  Large* large = table->large();
  const uint32_t index = IndexOf(table, column);
  if (index < kSlabsOfGroup) {
    if (large->first == kEmptyGroup) large->first = NewGroup();
    return large->first + index;
  }
  const uint32_t slot = column.slot;
  if (slot / kSlabsOfGroup >= large->group_count) GrowDirectory(table, slot / kSlabsOfGroup);
  Slab*& group = large->groups[slot / kSlabsOfGroup];
  if (!group) group = NewGroup();
  return group + slot % kSlabsOfGroup;
}

// ---- chunks -----------------------------------------------------------------------------------------------

// A small table of at most so many texts has a chunk of this size for each in its own block: codes and short
// names fit, so that such a table is one allocation.
constexpr uint64_t kFewTexts = 4;
constexpr uint32_t kRoomOfText = 24;

constexpr size_t kFirstChunk = 256;
constexpr size_t kLargestChunk = 32768;

// A larger item gets a chunk of its own, so that no more than this is left unused at the end of a chunk.
constexpr size_t kLargestShared = 4096;

[[gnu::noinline]] void* NewChunk(TableData* table, size_t bytes) {
  if (bytes > kLargestShared) {
    Chunk* chunk = new (Allocate(uint64_t{sizeof(Chunk)} + bytes)) Chunk{nullptr, 0, 0, 0};
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
  Chunk* chunk =
      new (Allocate(block)) Chunk{table->chunks, static_cast<uint32_t>(bytes), size & kLargestSize, 0};
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

// The room that a text may grow into stands before it: one byte, or four bytes before a byte of 255.
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

// ---- cells that hold an address -------------------------------------------------------------------------

// The address that a set cell of that column holds; null if it is unset.
template <typename T>
T* HeldBy(TableData* table, const Column& column, uint32_t row, const Place& place) {
  if (place.cell) return place.is_set() ? Load<T*>(place.cell) : nullptr;
  const unsigned char* far = FindOutlier(table, column, row);
  return far ? Load<T*>(far) : nullptr;
}

void Hold(TableData* table, const Column& column, uint32_t row, const Place& place, const void* address) {
  if (!place.cell) {
    Save(PlaceFarCell(table, column, row), address);
    return;
  }
  *place.word |= place.bit;
  Save(place.cell, address);
}

// ---- children ---------------------------------------------------------------------------------------------

// Calls visit(row, cell bytes) for every set cell of the column.
template <typename Visit>
void VisitCells(const TableData* table, const Column& column, Visit visit) {
  if (!table->is_large) {
    for (uint32_t row = 0; row < table->rows; ++row) {
      if (const unsigned char* cell = FindCell(table, column, row)) visit(row, cell);
    }
    return;
  }
  const Slab* slab = FindSlab(table, column);
  if (!slab) return;
  const size_t width = column.stored_width();
  const uint32_t words = WordsFor(slab->capacity);
  for (uint32_t i = 0; i < words; ++i) {
    for (uint64_t word = slab->bits[i]; word != 0; word &= word - 1) {
      const uint32_t row = i * 64 + static_cast<uint32_t>(__builtin_ctzll(word));
      visit(row, slab->cells + row * width);
    }
  }
  if (slab->outliers == 0) return;
  const OutlierMap& map = *table->large()->outliers;
  for (auto outlier = map.lower_bound(CellKey{column.slot, 0});
       outlier != map.end() && outlier->first.slot == column.slot; ++outlier) {
    visit(outlier->first.row, reinterpret_cast<const unsigned char*>(&outlier->second));
  }
}

TableData* ChildOf(const unsigned char* cell) {
  return Load<TableData*>(cell);
}

void NoteChild(TableData* table, const Column& column) {
  const uint32_t end = IndexOf(table, column) + 1;
  if (end > table->children_end) table->children_end = std::min(end, kAnyColumn) & kAnyColumn;
}

void FreeGroup(Slab* group) noexcept {
  if (!group) return;
  for (uint32_t i = 0; i < kSlabsOfGroup; ++i)
    ::operator delete(group[i].cells);
  ::operator delete(group);
}

void FreeLarge(TableData* table) noexcept {
  Large* large = table->large();
  if (large->first != kEmptyGroup) FreeGroup(large->first);
  for (uint32_t i = 0; i < large->group_count; ++i)
    FreeGroup(large->groups[i]);
  ::operator delete(large->groups);
  delete large->outliers;
}

void FreeOne(TableData* table) noexcept {
  if (table->is_large) FreeLarge(table);
  for (Chunk* chunk = table->chunks; chunk;) {
    Chunk* next = chunk->next;
    if (!chunk->in_table) ::operator delete(chunk);
    chunk = next;
  }
  ReleaseSpec(table->spec);
  ::operator delete(table);
}

struct FreeTreeOf {
  void operator()(TableData* table) const noexcept { FreeTree(table); }
};
using OwnedTable = std::unique_ptr<TableData, FreeTreeOf>;

using Copies = std::vector<std::pair<const TableData*, TableData*>>;

// Copies a child's shape into the cell and notes it in `open` for its cells to follow.
void CopyChild(TableData* to, const Column& column, uint32_t row, const TableData* child, Copies* open) {
  if (!child) {
    StoreChild(to, column, row, nullptr);
    return;
  }
  OwnedTable copy(NewTableLike(child, child->rows, child->name()));
  open->emplace_back(child, copy.get());
  StoreChild(to, column, row, copy.get());
  static_cast<void>(copy.release());
}

void CopyCell(TableData* to, const Column& column, uint32_t row, const unsigned char* cell, Copies* open) {
  if (column.counted()) {
    StoreArray(to, column, row, Load<const void*>(cell));
    return;
  }
  switch (column.kind) {
    case kText: StoreText(to, column, row, Load<const char*>(cell)); return;
    case kBinary: {
      int size = 0;
      const void* bytes = BinaryBytes(cell, &size);
      StoreBinary(to, column, row, bytes, size);
      return;
    }
    case kTable: CopyChild(to, column, row, ChildOf(cell), open); return;
    default: memcpy(PlaceCell(to, column, row, column.width), cell, column.width); return;
  }
}

}  // namespace

// ---- tables -----------------------------------------------------------------------------------------------

const char* TableData::name() const {
  if (is_large) return reinterpret_cast<const char*>(large() + 1);
  return reinterpret_cast<const char*>(small_bits() + WordsFor(small_cells));
}

TableData* NewTable(Spec* spec, uint32_t rows, const char* name) {
  const uint64_t cells = uint64_t{rows} * spec->slots;
  const bool is_large = cells > kSmallTableCells;
  const uint32_t small_cells = is_large ? 0 : static_cast<uint32_t>(cells);
  const size_t words = WordsFor(small_cells);
  const size_t body = is_large ? sizeof(Large) : 8 * (small_cells + words);
  const size_t name_size = strlen(name) + 1;
  const uint64_t texts = is_large ? 0 : uint64_t{rows} * spec->texts;
  const uint32_t room = texts <= kFewTexts ? static_cast<uint32_t>(texts) * kRoomOfText : 0;
  const uint64_t chunk_at = (uint64_t{sizeof(TableData)} + body + name_size + 7) & ~uint64_t{7};
  const uint64_t size = room == 0 ? chunk_at : chunk_at + sizeof(Chunk) + room;
  unsigned char* block = static_cast<unsigned char*>(Allocate(size));
  TableData* table = new (block) TableData;
  table->spec = spec;
  table->parent = nullptr;
  table->chunks = room == 0 ? nullptr : new (block + chunk_at) Chunk{nullptr, 0, room & kLargestSize, 1};
  table->rows = rows;
  table->small_cells = small_cells & 0x1FF;
  table->is_large = is_large;
  table->children_end = 0;
  if (is_large) {
    new (table->large()) Large{const_cast<Slab*>(kEmptyGroup), nullptr, nullptr, 0, 0};
  } else {
    uint64_t* bits = table->small_bits();
    for (size_t i = 0; i < words; ++i)
      bits[i] = 0;
  }
  memcpy(const_cast<char*>(table->name()), name, name_size);
  return table;
}

TableData* NewTableLike(const TableData* model, uint32_t rows, const char* name) {
  TableData* table = NewTable(model->spec, rows, name);
  AddReference(model->spec);
  return table;
}

void FreeTree(TableData* root) noexcept {
  root->parent = nullptr;
  TableData* list = root;
  while (list) {
    TableData* table = list;
    list = table->parent;
    if (table->had_children()) {
      const uint32_t end = table->columns_with_children();
      for (uint32_t i = 0; i < end; ++i) {
        const Column& column = table->spec->columns()[i];
        if (column.kind != kTable) continue;
        VisitCells(table, column, [&list](uint32_t, const unsigned char* cell) {
          TableData* child = ChildOf(cell);
          if (!child) return;
          child->parent = list;
          list = child;
        });
      }
    }
    FreeOne(table);
  }
}

TableData* CopyTree(const TableData* source) {
  OwnedTable root(NewTableLike(source, source->rows, source->name()));
  Copies open{{source, root.get()}};
  while (!open.empty()) {
    const TableData* from = open.back().first;
    TableData* to = open.back().second;
    open.pop_back();
    for (uint32_t i = 0; i < from->spec->cols; ++i) {
      const Column& column = from->spec->columns()[i];
      if (column.kind == kNothing) continue;
      VisitCells(from, column,
                 [&](uint32_t row, const unsigned char* cell) { CopyCell(to, column, row, cell, &open); });
    }
  }
  return root.release();
}

// ---- cells ------------------------------------------------------------------------------------------------

unsigned char* FindOutlier(const TableData* table, const Column& column, uint32_t row) {
  OutlierMap* map = table->large()->outliers;
  if (!map) return nullptr;
  auto found = map->find(CellKey{column.slot, row});
  return found == map->end() ? nullptr : reinterpret_cast<unsigned char*>(&found->second);
}

unsigned char* PlaceFarCell(TableData* table, const Column& column, uint32_t row) {
  if (unsigned char* cell = FindOutlier(table, column, row)) return cell;
  Large* large = table->large();
  Slab* slab = MakeSlab(table, column);
  const uint32_t first = large->used_slabs < kFewSlabs ? kFirstRows : kFirstRowsOfMany;
  const uint32_t capacity = CapacityFor(table, first, row);
  if (row < first || WorthGrowing(slab, capacity)) {
    const bool is_new = slab->capacity == 0;
    GrowSlab(table, column, slab, capacity);
    if (is_new) ++large->used_slabs;
    SetBit(slab->bits, row);
    return slab->cells + size_t{row} * column.stored_width();
  }
  if (!large->outliers) large->outliers = new OutlierMap;
  const auto inserted = large->outliers->emplace(CellKey{column.slot, row}, 0);
  ++slab->outliers;
  return reinterpret_cast<unsigned char*>(&inserted.first->second);
}

void UnsetCell(TableData* table, const Column& column, uint32_t row) noexcept {
  if (!table->is_large) {
    ClearBit(table->small_bits(), column.slot * table->rows + row);
    return;
  }
  Slab* slab = FindSlab(table, column);
  if (!slab) return;
  if (row < slab->capacity) {
    ClearBit(slab->bits, row);
    if (slab->known_set != 0) --slab->known_set;
  } else if (table->large()->outliers && table->large()->outliers->erase(CellKey{column.slot, row}) != 0) {
    --slab->outliers;
  }
}

void StoreText(TableData* table, const Column& column, uint32_t row, const char* text) {
  const size_t length = strlen(text);
  const Place place = FindPlace(table, column, row);
  size_t old_capacity = 0;
  if (char* old = HeldBy<char>(table, column, row, place)) {
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
  Hold(table, column, row, place, stored);
}

const void* BinaryBytes(const unsigned char* cell, int* size) {
  const BinaryHead* head = Load<const BinaryHead*>(cell);
  *size = head->size;
  return head + 1;
}

void StoreBinary(TableData* table, const Column& column, uint32_t row, const void* data, int size) {
  const size_t length = static_cast<size_t>(size);
  const Place place = FindPlace(table, column, row);
  size_t old_capacity = 0;
  if (BinaryHead* old = HeldBy<BinaryHead>(table, column, row, place)) {
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
  Hold(table, column, row, place, stored);
}

void StoreArray(TableData* table, const Column& column, uint32_t row, const void* data) {
  const Place place = FindPlace(table, column, row);
  if (void* old = HeldBy<void>(table, column, row, place)) {
    memmove(old, data, column.width);
    return;
  }
  void* bytes = ChunkBytes(table, column.width, 8);
  memcpy(bytes, data, column.width);
  Hold(table, column, row, place, bytes);
}

void StoreChild(TableData* table, const Column& column, uint32_t row, TableData* child) {
  const Place place = FindPlace(table, column, row);
  TableData* old = HeldBy<TableData>(table, column, row, place);
  Hold(table, column, row, place, child);
  if (child) {
    child->parent = table;
    NoteChild(table, column);
  }
  if (old) FreeTree(old);
}

}  // namespace detail
}  // namespace tsl_base
