// The vocabulary: the Ids with their names and payloads.
//
// It is read from one file of the schema; the pool of the whole schema is not needed for it.
#ifndef REPLIES_VOCABULARY_H_
#define REPLIES_VOCABULARY_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace replies {

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

}  // namespace replies

#endif  // REPLIES_VOCABULARY_H_
