// Tables as wholes: making them, and freeing and copying what hangs together.
#ifndef TSL_BASE_DETAIL_TREE_H_
#define TSL_BASE_DETAIL_TREE_H_

#include <stdint.h>

#include "tsl_base/detail/cells.h"

namespace tsl_base {
namespace detail {

// A table that takes over the caller's reference to `spec`. Throws std::bad_alloc, and the reference stays
// the caller's then.
TableData* NewTable(Spec* spec, uint32_t rows, const char* name);

// An empty table of the same columns. Throws std::bad_alloc.
TableData* NewTableLike(const TableData* model, uint32_t rows, const char* name);

// Frees a table without a parent and all that hangs from it, whatever the depth.
void FreeTree(TableData* root) noexcept;

// A copy of the table and of all that hangs from it. Throws std::bad_alloc.
TableData* CopyTree(const TableData* source);

// Puts a child without a parent, or null for "set and empty", into a cell and frees what was there.
void StoreChild(TableData* table, const Column& column, uint32_t row, TableData* child);

}  // namespace detail
}  // namespace tsl_base

#endif  // TSL_BASE_DETAIL_TREE_H_
