// The names by which columns are asked for: all that the forms of output show them by.
#ifndef REPLIES_COLUMN_NAMES_H_
#define REPLIES_COLUMN_NAMES_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace replies {

// Whether `name` asks for the column with that label: by the label itself, or as it is shown, with characters
// made printable, with its index ("Name#3") or with the number of its elements ("Name[53]") behind it.
bool IsNameOf(std::string_view name, std::string_view label, size_t index, int64_t count);

// What is left of the name of a column inside the tables of one with that label: "ShiJian" of "Data.ShiJian"
// in "Data". Empty if the name leads elsewhere.
std::string_view NameInside(std::string_view name, std::string_view label);

}  // namespace replies

#endif  // REPLIES_COLUMN_NAMES_H_
