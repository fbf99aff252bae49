// How a table keeps its cells.
//
// A table of few cells is one block: header, cells of 8 bytes column by column, a bit for each cell that is
// set, and the name. Most tables of a reply are of this kind, with a single row.
//
// A larger table stores what is written and nothing else. Each column has a slab for its first rows, with
// cells of the type's own width, that grows as long as enough of it is used. A cell far behind its column's
// slab goes to a map. At any time a cell is in the slab if its row is below the slab's capacity, and in the
// map otherwise.
//
// The slabs of the first columns, which are all that most tables have, are one group, found by the column's
// index. Those behind are found over a directory of groups that reaches as far as columns were written: a
// spec may name very many columns, and a reply may share it among thousands of tables with a value or two.
#ifndef TSL_BASE_DETAIL_CELLS_H_
#define TSL_BASE_DETAIL_CELLS_H_

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <map>

#include "tsl_base/detail/bits.h"
#include "tsl_base/detail/spec.h"

namespace tsl_base {
namespace detail {

constexpr uint64_t kSmallTableCells = 256;
constexpr uint32_t kSlabsOfGroup = 16;

struct Chunk;

struct Slab {
  unsigned char* cells;
  uint64_t* bits;                      // in the same block, behind the cells
  uint32_t capacity;                   // rows
  uint32_t known_set;                  // at least so many cells of the slab are set
  uint32_t outliers;                   // cells of this column in the map
  uint32_t kind : 8;                   // of the column, once the slab has cells
  uint32_t writes_until_recount : 24;  // to the map, before the set cells are counted again
};

struct CellKey {
  uint32_t slot;
  uint32_t row;
  bool operator<(const CellKey& other) const {
    return slot != other.slot ? slot < other.slot : row < other.row;
  }
};

using OutlierMap = std::map<CellKey, uint64_t>;

constexpr uint32_t kAnyColumn = (uint32_t{1} << 22) - 1;

// Follows the header of a table that is not small.
struct Large {
  Slab* first;  // the columns below kSlabsOfGroup; slabs without capacity until one of these is written
  Slab** groups;
  OutlierMap* outliers;
  uint32_t used_slabs;
  uint32_t group_count;
};

struct alignas(8) TableData {
  Spec* spec;
  TableData* parent;  // while a tree is freed: the next table to free
  Chunk* chunks;      // newest first
  uint32_t rows;
  uint32_t small_cells : 9;
  uint32_t is_large : 1;
  // The columns that ever held a child are below this one; kAnyColumn is no limit. Freeing looks no further.
  uint32_t children_end : 22;

  bool had_children() const { return children_end != 0; }
  uint32_t columns_with_children() const {
    return children_end == kAnyColumn ? spec->cols : uint32_t{children_end};
  }
  unsigned char* small_cell(uint32_t index) {
    return reinterpret_cast<unsigned char*>(this + 1) + size_t{8} * index;
  }
  const unsigned char* small_cell(uint32_t index) const {
    return reinterpret_cast<const unsigned char*>(this + 1) + size_t{8} * index;
  }
  uint64_t* small_bits() { return reinterpret_cast<uint64_t*>(small_cell(small_cells)); }
  const uint64_t* small_bits() const { return reinterpret_cast<const uint64_t*>(small_cell(small_cells)); }
  Large* large() { return reinterpret_cast<Large*>(this + 1); }
  const Large* large() const { return reinterpret_cast<const Large*>(this + 1); }
  const char* name() const;
};

static_assert(kSmallTableCells < 1 << 9, "small_cells counts them");
static_assert(sizeof(TableData) % 8 == 0, "cells follow the header and are aligned for 8 bytes");

inline void SetBit(uint64_t* bits, uint32_t index) {
  bits[index >> 6] |= uint64_t{1} << (index & 63);
}
inline void ClearBit(uint64_t* bits, uint32_t index) {
  bits[index >> 6] &= ~(uint64_t{1} << (index & 63));
}

// A value from bytes of any alignment, and back. Cells hold addresses too.
// NOLINTBEGIN(bugprone-sizeof-expression): it is the size of the address that is meant
template <typename T>
inline T Load(const void* from) {
  T value;
  memcpy(&value, from, sizeof value);
  return value;
}
template <typename T>
inline void Save(void* to, T value) {
  memcpy(to, &value, sizeof value);
}
// NOLINTEND(bugprone-sizeof-expression)

void* Allocate(uint64_t bytes);

inline uint32_t WordsFor(uint32_t bits) {
  return bits / 64 + (bits % 64 != 0 ? 1 : 0);
}

inline uint32_t IndexOf(const TableData* table, const Column& column) {
  return static_cast<uint32_t>(&column - table->spec->columns());
}

inline Slab* FindSlab(const TableData* table, const Column& column) {
  const Large* large = table->large();
  const uint32_t index = IndexOf(table, column);
  if (index < kSlabsOfGroup) return large->first + index;
  const uint32_t slot = column.slot;
  if (slot / kSlabsOfGroup >= large->group_count) return nullptr;
  Slab* group = large->groups[slot / kSlabsOfGroup];
  return group ? group + slot % kSlabsOfGroup : nullptr;
}

// Where a cell is, set or not; `bytes` is null for a cell behind its column's slab.
struct CellPlace {
  unsigned char* bytes;
  uint64_t* word;  // the bit in it says whether the cell is set
  uint64_t bit;

  bool is_set() const { return (*word & bit) != 0; }
};

inline CellPlace FindPlace(TableData* table, const Column& column, uint32_t row) {
  if (!table->is_large) {
    const uint32_t index = column.slot * table->rows + row;
    return {table->small_cell(index), table->small_bits() + (index >> 6), uint64_t{1} << (index & 63)};
  }
  const Slab* slab = FindSlab(table, column);
  if (!slab || row >= slab->capacity) return {};
  return {slab->cells + size_t{row} * column.stored_width(), slab->bits + (row >> 6),
          uint64_t{1} << (row & 63)};
}

// A cell behind its column's slab; null if it is unset.
unsigned char* FindOutlier(const TableData* table, const Column& column, uint32_t row);

// Makes room for such a cell and marks it as set. Throws std::bad_alloc and has changed nothing then.
unsigned char* PlaceOutlier(TableData* table, const Column& column, uint32_t row);

// The stored bytes of a cell; null if it is unset.
inline unsigned char* FindCell(const TableData* table, const Column& column, uint32_t row) {
  const CellPlace place = FindPlace(const_cast<TableData*>(table), column, row);
  if (!place.bytes) return FindOutlier(table, column, row);
  return place.is_set() ? place.bytes : nullptr;
}

// Marks a cell as set and tells where its bytes, as many as the column's stored width, are to be written.
// Throws std::bad_alloc and has changed nothing then; never throws for a cell that is set already.
inline unsigned char* PlaceCell(TableData* table, const Column& column, uint32_t row) {
  const CellPlace place = FindPlace(table, column, row);
  if (!place.bytes) return PlaceOutlier(table, column, row);
  *place.word |= place.bit;
  return place.bytes;
}

void UnsetCell(TableData* table, const Column& column, uint32_t row) noexcept;

// For cells that hold an address, where what is there already decides what is stored.

// The address in a set cell; null if the cell is unset.
template <typename T>
inline T* AddressAt(const CellPlace& place, TableData* table, const Column& column, uint32_t row) {
  if (place.bytes) return place.is_set() ? Load<T*>(place.bytes) : nullptr;
  const unsigned char* outlier = FindOutlier(table, column, row);
  return outlier ? Load<T*>(outlier) : nullptr;
}

// Throws std::bad_alloc and has changed nothing then.
inline void StoreAddressAt(const CellPlace& place, TableData* table, const Column& column, uint32_t row,
                           const void* address) {
  if (!place.bytes) {
    Save(PlaceOutlier(table, column, row), address);
    return;
  }
  *place.word |= place.bit;
  Save(place.bytes, address);
}

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
      const uint32_t row = i * 64 + BitsBelow(word);
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

// What a table that is not small has at first, and the freeing of all its slabs.
Large NoSlabs() noexcept;
void FreeLarge(TableData* table) noexcept;

}  // namespace detail
}  // namespace tsl_base

#endif  // TSL_BASE_DETAIL_CELLS_H_
