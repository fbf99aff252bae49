// Reads a table as a host may: every function of the reading side on every cell, right and wrong.
#ifndef FUZZ_SUPPORT_WALK_TABLE_H_
#define FUZZ_SUPPORT_WALK_TABLE_H_

namespace fuzz {

// The table and all that hangs from it. What the functions say of a cell must agree. Of tables that announce
// very many cells an even sample is read, so that the cost has a bound.
void WalkTable(void* table);

// The same, then frees the table; null is fine.
void WalkAndFree(void* table);

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_WALK_TABLE_H_
