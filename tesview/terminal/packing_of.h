// Compressed output: the form goes by the ending of the file's name.
#ifndef TESVIEW_TERMINAL_PACKING_OF_H_
#define TESVIEW_TERMINAL_PACKING_OF_H_

#include <string_view>

#include "replies/packing.h"

namespace tesview {

using replies::Packing;

// Of "quotes.csv.gz" kGzip.
Packing PackingOf(std::string_view path);
// "quotes.csv" of it.
std::string_view WithoutPacking(std::string_view path);

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_PACKING_OF_H_
