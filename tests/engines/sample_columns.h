// Columns of every type, for the engines to read.
#ifndef TESTS_ENGINES_SAMPLE_COLUMNS_H_
#define TESTS_ENGINES_SAMPLE_COLUMNS_H_

#include <vector>

#include "tests/support/arrow_columns.h"

namespace sample_columns {

// Three rows of every type that is no list and no struct; the second row is null wherever the column's name
// does not say "all".
arrow_columns::Column AllTypes();

// Four rows of lists and structs in each other.
arrow_columns::Column Nested();

// 40 batches of 2,500 rows: a number that counts them from 0, and a text made of it.
std::vector<arrow_columns::Column> ManyBatches();

}  // namespace sample_columns

#endif  // TESTS_ENGINES_SAMPLE_COLUMNS_H_
