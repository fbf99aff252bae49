#include "tsl_base/detail/cells.h"

#include <algorithm>
#include <new>

namespace tsl_base {
namespace detail {

void* Allocate(uint64_t bytes) {
  if (bytes > uint64_t{PTRDIFF_MAX}) throw std::bad_alloc();
  return ::operator new(static_cast<size_t>(bytes));
}

namespace {

// ---- slabs ------------------------------------------------------------------------------------------------

// The first slab of a column holds a usual table whole. In a table of very many columns it starts small, as
// there most columns may have a value or two.
constexpr uint32_t kFirstRows = 256;
constexpr uint32_t kFirstRowsOfMany = 16;
constexpr uint32_t kFewSlabs = 32;

// What a large table has as its first group before one of these columns is written. Read only: a slab without
// capacity takes no cell.
const Slab kEmptyGroup[kSlabsOfGroup] = {};

// A slab grows if at least this share of its new rows is set. A cell in the map takes about 64 bytes, so that
// sparse columns cost about the same either way.
constexpr uint32_t kLeastShare = 16;

uint32_t CountBitsOf(const uint64_t* bits, uint32_t words) {
  uint32_t count = 0;
  for (uint32_t i = 0; i < words; ++i)
    count += CountBits(bits[i]);
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
  if (slab->writes_until_recount != 0) {
    --slab->writes_until_recount;
    return false;
  }
  const uint32_t words = WordsFor(slab->capacity);
  slab->known_set = CountBitsOf(slab->bits, words);
  slab->writes_until_recount = (words / 8) & 0xFFFFFF;
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
  slab->writes_until_recount = 0;

  if (slab->outliers == 0) return;
  OutlierMap& map = *table->large()->outliers;
  auto outlier = map.lower_bound(CellKey{column.slot, 0});
  while (outlier != map.end() && outlier->first.slot == column.slot && outlier->first.row < capacity) {
    memcpy(cells + outlier->first.row * width, &outlier->second, width);
    SetBit(bits, outlier->first.row);
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

void FreeGroup(Slab* group) noexcept {
  if (!group) return;
  for (uint32_t i = 0; i < kSlabsOfGroup; ++i)
    ::operator delete(group[i].cells);
  ::operator delete(group);
}

}  // namespace

// ---- cells ------------------------------------------------------------------------------------------------

unsigned char* FindOutlier(const TableData* table, const Column& column, uint32_t row) {
  OutlierMap* map = table->large()->outliers;
  if (!map) return nullptr;
  auto found = map->find(CellKey{column.slot, row});
  return found == map->end() ? nullptr : reinterpret_cast<unsigned char*>(&found->second);
}

unsigned char* PlaceOutlier(TableData* table, const Column& column, uint32_t row) {
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

Large NoSlabs() noexcept {
  return Large{const_cast<Slab*>(kEmptyGroup), nullptr, nullptr, 0, 0};
}

void FreeLarge(TableData* table) noexcept {
  Large* large = table->large();
  if (large->first != kEmptyGroup) FreeGroup(large->first);
  for (uint32_t i = 0; i < large->group_count; ++i)
    FreeGroup(large->groups[i]);
  ::operator delete(large->groups);
  delete large->outliers;
}

}  // namespace detail
}  // namespace tsl_base
