// Whether an array is what Arrow's format asks of it.
#ifndef REPLIES_ARROW_CHECK_H_
#define REPLIES_ARROW_CHECK_H_

#include <string>

#include "tsl_base/arrow.h"

namespace replies {

// The first fault of a schema and of an array of it, "price: 2 nulls are told, 3 are there", or "" if there
// is none: formats and numbers of children, lengths and offsets, the number of nulls, nulls where there must
// be none, alignment, the characters of texts and names. Nothing tells how long the buffers are; all bytes
// that the array claims are read once, so that AddressSanitizer sees a buffer that is shorter.
//
// Whatever CheckArrow finds nothing wrong with, WriteIpcBatch() can read.
std::string CheckArrow(const ArrowSchema& schema, const ArrowArray& array);

// The same of a schema alone.
std::string CheckArrowSchema(const ArrowSchema& schema);

}  // namespace replies

#endif  // REPLIES_ARROW_CHECK_H_
