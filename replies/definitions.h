// The definitions of messages and enumerations, as their authors wrote them.
#ifndef REPLIES_DEFINITIONS_H_
#define REPLIES_DEFINITIONS_H_

#include <optional>
#include <string>
#include <vector>

namespace replies {

// The definition of a message or an enumeration, with all that it is made of if `all`; null if there is none
// of that name. The name or number of an Id is taken for that of its payload.
std::optional<std::string> Definition(const std::string& name, bool all);

// The names of all messages and enumerations that are not inside another one.
std::vector<std::string> DefinitionNames();

}  // namespace replies

#endif  // REPLIES_DEFINITIONS_H_
