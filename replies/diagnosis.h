// Why a reply gives no JSON or no table. The library gives null and keeps its reasons to itself.
#ifndef REPLIES_DIAGNOSIS_H_
#define REPLIES_DIAGNOSIS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tesparser/tesparser.h"

namespace replies {

enum class Reason {
  kNone,            // there is none: the bytes give what was asked for
  kNotAReply,       // not the bytes of a reply
  kFieldMissing,    // a required field did not arrive
  kNoTableForm,     // the library has no such table for this Id
  kNothingInIt,     // it has one, and the reply brings nothing for it
  kNotExpressible,  // a text that is not UTF-8 or a number that is not finite, which JSON does not have
  kOutOfMemory,     // it took more memory than there is to find out
};

struct Diagnosis {
  Reason reason = Reason::kNone;
  // kNotAReply: where in the reply the field begins, or the list of numbers, that cannot be read. All before
  // it is as it should be.
  uint64_t offset = 0;
  std::string field;    // kFieldMissing, kNotExpressible: its path from the envelope, "RepDataX.Data.Y"
  std::string message;  // a sentence for people, without a full stop; empty for kNone
};

// All of these may be called by any number of threads at once. They read the bytes again: to be asked when
// the library has given nothing.

// kNone if the bytes are a reply, with or without a table.
Diagnosis DiagnoseReply(std::string_view bytes) noexcept;

// kNone if the library makes JSON of the bytes.
Diagnosis DiagnoseJson(std::string_view bytes) noexcept;

// kNone if it makes a table of them: of the reply's own Id, or of the layout `type`.
Diagnosis DiagnoseTable(std::string_view bytes, std::optional<TPType> type) noexcept;

// ---- the same in the words of the viewer ------------------------------------------------------------------

// Why the library gave no JSON for these bytes.
std::string WhyNoReply(const std::string& bytes);

// Why it gave no table of the reply's own Id, in a few words: "no table form".
std::string WhyNoTableBriefly(const std::string& bytes);

// The same of any layout, as a sentence that names the Id and what to try.
std::string WhyNoTable(const std::string& bytes, std::optional<TPType> type);

}  // namespace replies

#endif  // REPLIES_DIAGNOSIS_H_
