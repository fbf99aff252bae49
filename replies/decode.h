// Any payload as a table, by the schema alone: for the replies that the library has no table form for.
//
// A row for each element of the payload's field; the element's fields are the columns, in the order in which
// the schema declares them. A message is a nested table with a row for each of its elements, and so is a
// repeated number or text, with one column under the field's name. Nothing is renamed, computed or left out:
//
//   int32, enum      i        int64, sint64 ...   q, or d where it is unpacked
//   uint32           I        uint64              Q
//   float            f        double              d
//   bool             C        string, bytes       s as received, b
//   message          t        repeated            t
//
// A field that did not arrive is unset, whatever its default, and so is an unpacked number that has no value.
#ifndef REPLIES_DECODE_H_
#define REPLIES_DECODE_H_

#include <google/protobuf/message.h>

#include <string>
#include <vector>

#include "tsl_base/table.hpp"

namespace replies {

// Which 64-bit integers are packed decimals. The schema does not mark them. Those that a converter unpacks
// somewhere are known and unpacked always, wherever the same record comes; those that a converter shows as
// they are, never.
struct Unpack {
  bool all = false;                 // every other one too, in payloads of market data
  std::vector<std::string> fields;  // those of these names, in any payload
};

// The payload of a parsed reply. An envelope without one, or with an Id that has none, gives no table and why
// in `error`. Any number of threads may call it at once; throws std::bad_alloc only.
tsl_base::Table DecodePayload(const google::protobuf::Message& reply, const Unpack& unpack,
                              std::string* error);

// A column that DecodePayload() gives, and the field that it is made of.
struct DecodedColumn {
  std::string name;
  char letter = 0;
  std::string type;  // as the schema declares it: "repeated int64", "QuoteKlineSingle"
};

// A table that it gives: the outer one, or one nested in it.
struct DecodedTable {
  std::string path;  // "" for the outer one, "Data", "Data/Inner"
  std::vector<DecodedColumn> columns;
};

// The tables of an Id's payload, an outer one before those nested in it; none for an Id without a payload. A
// message that is inside itself is told once.
std::vector<DecodedTable> DecodedTables(const google::protobuf::Descriptor& envelope, int32_t id,
                                        const Unpack& unpack);

}  // namespace replies

#endif  // REPLIES_DECODE_H_
