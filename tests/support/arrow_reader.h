// Reads Arrow's IPC stream format back into arrays, for tests of programs that write it.
#ifndef TESTS_SUPPORT_ARROW_READER_H_
#define TESTS_SUPPORT_ARROW_READER_H_

#include <string>
#include <vector>

#include "tests/support/arrow_columns.h"

namespace arrow_reader {

struct Stream {
  arrow_columns::Column schema;  // a struct of all columns
  std::vector<arrow_columns::Column> batches;
  std::string fault;  // why the bytes are no stream; what came before it is there
};

// Of the types that tables have.
Stream Read(const std::string& bytes);

// The rows of all batches as arrow_rows::RowsOf() writes them, each batch checked; a fault is the last row.
std::vector<std::string> RowsOf(const std::string& bytes);

}  // namespace arrow_reader

#endif  // TESTS_SUPPORT_ARROW_READER_H_
