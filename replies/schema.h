// What the tool knows of the schema: the vocabulary of Ids, the definitions of messages, their text form, and
// why a reply gives no table.
//
// The descriptors are part of the program. The vocabulary is read from one file of them; the whole schema is
// built only when one of the functions that need it is called.
#ifndef REPLIES_SCHEMA_H_
#define REPLIES_SCHEMA_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tesparser/tesparser.h"

namespace tesview {

struct Payload {
  int32_t id = 0;
  std::string name;   // "QuoteKlineSingle"
  std::string field;  // of the envelope, "RepDataQuoteKlineSingle"; empty if it has none
  std::string type;   // the field's message, "QuoteKlineSingle"; empty if it is a plain value
};

// All Ids in ascending order.
const std::vector<Payload>& Vocabulary();
// Null for an Id that has no name.
const Payload* FindPayload(int32_t id);
// "21 (QuoteKlineSingle)".
std::string IdWithName(int32_t id);
// A number, or a name with or without "ID", "RepData" or the case right.
const Payload* FindPayload(std::string_view word);

struct TypeName {
  TPType type;
  const char* name;  // without "TPType"
};
const std::vector<TypeName>& TypeNames();
std::optional<TPType> FindType(std::string_view word);
// "DaDan", or the number of a type without a name.
std::string NameOfType(TPType type);

// Asked of the library itself, with the smallest reply of that Id.
bool HasTable(int32_t id);
// The typed layouts that render this Id, of the indicators only the first; asked in the same way.
std::vector<TPType> TypedLayoutsOf(int32_t id);

// The definition of a message or an enumeration, with what it stands on if `all`; null if there is none of
// that name.
std::optional<std::string> Definition(const std::string& name, bool all);
std::vector<std::string> DefinitionNames();

// A reply in text form to bytes. False with line and column of what is wrong in `error`. With `partial`,
// required fields may be missing.
bool TextToBytes(const std::string& text, bool partial, std::string* bytes, std::string* error);
// False if the bytes are no reply; `error` then says why.
bool BytesToText(const std::string& bytes, std::string* text, std::string* error);

// Why the library gave no JSON for these bytes.
std::string WhyNoReply(const std::string& bytes);
// The same of a table of the reply's own Id, in a few words: "no table form".
std::string WhyNoTableBriefly(const std::string& bytes);
// The same as a sentence that names the Id and what to try.
std::string WhyNoTable(const std::string& bytes, std::optional<TPType> type);

}  // namespace tesview

#endif  // REPLIES_SCHEMA_H_
