#include "tsl_base/detail/tree.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "tsl_base/detail/bytes.h"

namespace tsl_base {
namespace detail {
namespace {

TableData* ChildOf(const unsigned char* cell) {
  return Load<TableData*>(cell);
}

void NoteChild(TableData* table, const Column& column) {
  const uint32_t end = IndexOf(table, column) + 1;
  if (end > table->children_end) table->children_end = std::min(end, kAnyColumn) & kAnyColumn;
}

void FreeOne(TableData* table) noexcept {
  if (table->is_large) FreeLarge(table);
  FreeChunks(table);
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
    case TABLE_TEXT: StoreText(to, column, row, Load<const char*>(cell)); return;
    case TABLE_BINARY: {
      int size = 0;
      const void* bytes = BinaryBytes(cell, &size);
      StoreBinary(to, column, row, bytes, size);
      return;
    }
    case TABLE_CHILD: CopyChild(to, column, row, ChildOf(cell), open); return;
    default: memcpy(PlaceCell(to, column, row), cell, column.width); return;
  }
}

}  // namespace

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
  TableData* table = new (Allocate(uint64_t{sizeof(TableData)} + body + name_size)) TableData;
  table->spec = spec;
  table->parent = nullptr;
  table->chunks = nullptr;
  table->rows = rows;
  table->small_cells = small_cells & 0x1FF;
  table->is_large = is_large;
  table->children_end = 0;
  if (is_large) {
    new (table->large()) Large(NoSlabs());
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
        if (column.kind != TABLE_CHILD) continue;
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
      if (column.kind == TABLE_NOTHING) continue;
      VisitCells(from, column,
                 [&](uint32_t row, const unsigned char* cell) { CopyCell(to, column, row, cell, &open); });
    }
  }
  return root.release();
}

void StoreChild(TableData* table, const Column& column, uint32_t row, TableData* child) {
  const CellPlace place = FindPlace(table, column, row);
  TableData* old = AddressAt<TableData>(place, table, column, row);
  StoreAddressAt(place, table, column, row, child);
  if (child) {
    child->parent = table;
    NoteChild(table, column);
  }
  if (old) FreeTree(old);
}

}  // namespace detail
}  // namespace tsl_base
