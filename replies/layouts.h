// The layouts that the library makes of a reply: their names, and which of them an Id has.
//
// Which Ids have a table is asked of the library itself, so that no list here can disagree with it.
#ifndef REPLIES_LAYOUTS_H_
#define REPLIES_LAYOUTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tesparser/tesparser.h"

namespace replies {

// The Id of tables whose columns their sender chooses.
inline constexpr int32_t kWireTableId = 3;

struct TypeName {
  TPType type;
  const char* name;  // without "TPType"
};
const std::vector<TypeName>& TypeNames();
std::optional<TPType> FindType(std::string_view word);
// "DaDan", or the number of a type without a name.
std::string NameOfType(TPType type);

// Whether the smallest reply of that Id gives a table.
bool HasTable(int32_t id);
// The typed layouts that render this Id, of the indicators only the first.
std::vector<TPType> TypedLayoutsOf(int32_t id);
// The layout that shows an Id without a table of its own, if there is exactly one.
std::optional<TPType> OnlyLayoutOf(int32_t id);
// Whether replies of that Id can give a table in that layout; none is the layout of the Id itself.
bool HasForm(int32_t id, std::optional<TPType> type);

}  // namespace replies

#endif  // REPLIES_LAYOUTS_H_
