// Tables whose layout the caller names, from a reply's own message or from a wire table matched by column name.
//
// As in tes2table: the parsed reply in, only read; a table that the caller owns out, or null; no state.
#ifndef TESPARSER_TES2TABLETYPE_H_
#define TESPARSER_TES2TABLETYPE_H_

#include "MSG.pb.h"
#include "tesparser/tesparser.h"

class tes2tableType {
 public:
  void* ParseTableType(const tessel::MSG& msg, TPType type);
};

#endif  // TESPARSER_TES2TABLETYPE_H_
