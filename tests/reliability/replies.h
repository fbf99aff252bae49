// What the reliability tests share: the sample replies, damaged ones, replies put together byte by byte, and
// the exports as a list of routes.
#ifndef TESTS_RELIABILITY_REPLIES_H_
#define TESTS_RELIABILITY_REPLIES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define RELIABILITY_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define RELIABILITY_SANITIZED 1
#endif
#endif
#ifndef RELIABILITY_SANITIZED
#define RELIABILITY_SANITIZED 0
#endif

namespace reliability {

struct Sample {
  std::string name;
  std::string reply;
};

// The sample replies in the order of their names. Ends the program if there are none.
std::vector<Sample> Samples();

// The n-th way to damage a reply: cut, changed bits, a piece left out, a piece twice, a length or tag
// overwritten. The same for the same arguments.
std::string Damaged(const std::string& reply, uint64_t n);

// The exports that render a reply; the typed one counts once for each layout.
struct Route {
  std::string name;
  bool json;
  bool by_id;   // TesparserPB2Table
  TPType type;  // TesparserPB2TableType
};
const std::vector<Route>& Routes();

// Calls a table route.
void* CallTable(const Route& route, const std::string& reply);

// Calls any route and frees what it gave: the JSON text, the words of j2pb_error, or a text of the whole
// table.
std::string CallText(const Route& route, const std::string& reply);

// The same as a number, for programs that compare millions of results.
uint64_t CallHash(const Route& route, const std::string& reply);

// ---- replies put together byte by byte --------------------------------------------------------------------

std::string Varint(uint64_t value);
std::string Number(int field, uint64_t value);
std::string Bytes(int field, const std::string& content);

// A column's description and an element of Table.Data, as fields of a Table.
std::string Info(const std::string& name, int type);
std::string Data(const std::string& values);

// A wire reply (Id 3) whose payload is the table with those fields.
std::string WireReply(const std::string& payload);

// ---- the deepest nesting ----------------------------------------------------------------------------------

// The parser accepts messages nested so deep, the envelope not counted.
constexpr int kDeepest = 100;

// A reply of wire tables in each other down to the given level, with the values of every kind of column in
// the innermost one.
std::string NestedTables(int deepest);

// The same with a text that is not valid UTF-8 at the bottom.
std::string NestedBadText(int deepest);

// The same without any required field of its columns.
std::string NestedWithoutRequired(int deepest);

// Groups in groups, in a field that the schema does not know.
std::string NestedGroups(int deepest);

}  // namespace reliability

#endif  // TESTS_RELIABILITY_REPLIES_H_
