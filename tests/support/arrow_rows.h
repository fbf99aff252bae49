// The rows of an array as text, read cell by cell from its buffers.
#ifndef TESTS_SUPPORT_ARROW_ROWS_H_
#define TESTS_SUPPORT_ARROW_ROWS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tsl_base/arrow.h"

namespace arrow_rows {

// One cell as JSON. Byte strings are in base64, and numbers have all their digits.
std::string CellText(const ArrowSchema& schema, const ArrowArray& array, int64_t index);

// Each row of a struct as JSON: {"Obj":"A","Data.Value":2.5,"Data.Pair":[1,2]}.
std::vector<std::string> RowsOf(const ArrowSchema& schema, const ArrowArray& array);

// The columns and their types: "Obj:u Data:+l(Value:g)".
std::string TypeText(const ArrowSchema& schema);

// All batches of a stream, which is released. Each is checked; a fault or an error of the stream is the last
// row. `batches` receives the rows of each.
std::vector<std::string> RowsOf(ArrowArrayStream* stream, std::vector<int64_t>* batches = nullptr);

}  // namespace arrow_rows

#endif  // TESTS_SUPPORT_ARROW_ROWS_H_
