// Why a reply gives no JSON or no table. The library gives null and keeps its reasons to itself.
#ifndef REPLIES_DIAGNOSIS_H_
#define REPLIES_DIAGNOSIS_H_

#include <optional>
#include <string>

#include "tesparser/tesparser.h"

namespace replies {

// Why the library gave no JSON for these bytes.
std::string WhyNoReply(const std::string& bytes);

// Why it gave no table of the reply's own Id, in a few words: "no table form".
std::string WhyNoTableBriefly(const std::string& bytes);

// The same of any layout, as a sentence that names the Id and what to try.
std::string WhyNoTable(const std::string& bytes, std::optional<TPType> type);

}  // namespace replies

#endif  // REPLIES_DIAGNOSIS_H_
