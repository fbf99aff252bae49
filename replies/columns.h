// What the columns of every table mean: headings, units, kinds of time and text, where a value comes from and
// what an unset cell says.
//
// The texts are in replies/columns/*.txt, a line for each column, to be read and edited by people; they are a
// part of the program. They describe what the converters do and are not used by them: a test holds the two
// together.
//
// All functions may be called by any number of threads at once. What they return lives as long as the
// program.
#ifndef REPLIES_COLUMNS_H_
#define REPLIES_COLUMNS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace replies {

// One thing that is told. A guess was worked out from names and from other fields; the schema does not tell
// it.
struct Told {
  std::string_view text;  // empty for "-", nothing to tell
  bool guess = false;

  // The text, with " ?" behind a guess.
  std::string Marked() const;
  // Whether it is one of the words of the text.
  bool Has(std::string_view word) const;
};

// An element of an array cell.
struct ElementDescription {
  int index = 0;
  Told english;
  Told chinese;
  Told unit;
  Told kind;
  std::string_view source;
};

struct ColumnDescription {
  std::string_view name;
  std::string_view letter;  // as in a column spec: "d", "53q"
  Told english;             // the heading
  Told chinese;
  Told meaning;
  Told unit;  // "currency", "shares", "percent", ...; "varies" if it differs from row to row
  Told kind;  // words: "cp936 code", "yyyymmdd", "unix", "mask", ...
  // The field, from the payload's element on: "Data.ZuiXinJia"; empty if there is none.
  std::string_view source;
  std::string_view made;   // "decoded", "truncated", "rounded", "plain", "text", "children", ...
  std::string_view unset;  // "never", "absent", "absent or null", "always", ... or in words
  std::vector<ElementDescription> elements;

  // Whether `kind` has the word.
  bool Is(std::string_view word) const { return kind.Has(word); }
};

struct TableDescription {
  int32_t id = 0;
  int type = 0;                // 0 for the table that goes by the Id
  std::string_view type_name;  // "DaDan"; of the outer table of a typed layout only
  std::string_view
      path;  // "" for the outer table, "Data", "Data/Data"; "*" for any table nested in a wire table
  std::string_view field;    // of the envelope; of outer tables only
  std::string_view english;  // the title; of outer tables only
  std::string_view chinese;
  std::string_view rows;   // what a row is
  std::string_view empty;  // what comes of a reply or list without elements
  std::string_view name;   // the table's label
  std::vector<ColumnDescription> columns;

  // The columns as a column spec: "Obj:s;Data:t;".
  std::string Spec() const;
};

// All of them: by Id and type, an outer table before those nested in it.
const std::vector<TableDescription>& DescribedTables();

// The table at a path, of the Id's own table (type 0) or of a typed layout; null if there is none.
const TableDescription* DescribeTable(int32_t id, int type, std::string_view path);

// The column of that name; null if there is none. The first, where a name is there twice.
const ColumnDescription* FindColumn(const TableDescription& table, std::string_view name);

// Reads descriptions in the form of the files. For tests of the form itself; throws std::runtime_error with
// the number of the line that is wrong. The result refers to `text`.
std::vector<TableDescription> ParseDescriptions(std::string_view text);

// ---- payloads ---------------------------------------------------------------------------------------------

// What a reply is, for each Id of the vocabulary.
struct PayloadDescription {
  int32_t id = 0;
  std::string_view name;
  std::string_view family;  // "quote", "news", ...
  Told english;
  Told chinese;
};

// In ascending order of Ids.
const std::vector<PayloadDescription>& DescribedPayloads();
// Null for an Id that is none of the vocabulary's.
const PayloadDescription* DescribePayload(int32_t id);

}  // namespace replies

#endif  // REPLIES_COLUMNS_H_
