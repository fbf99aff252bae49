// What the user asked to see, one reply that is to be shown, and what came of it.
#ifndef TESVIEW_SHOW_VIEW_H_
#define TESVIEW_SHOW_VIEW_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "replies/reply_reader.h"
#include "tesparser/tesparser.h"

namespace tesview {

enum class To { kTable, kJson, kPretty, kNdjson, kCsv, kSummary, kText };

struct View {
  To to = To::kTable;
  bool table_or_nothing = false;  // no JSON for a reply without a table form
  std::optional<TPType> type;
  std::string path;                  // "0/Data"; empty for the outermost table
  std::vector<std::string> columns;  // empty for all
  int64_t head = -1;                 // rows of each table; -1 for all
  int64_t tail = -1;
  size_t width = 0;  // columns of the screen; 0 for as wide as it gets
  bool boxes = false;
  bool color = false;
};

// A reply and where it came from.
struct Item {
  std::string source;         // as messages name it
  bool name_source = false;   // there are several, so the output says which
  bool number_reply = false;  // the source may hold several
  replies::Reply reply;
};

// All texts are whole lines. They are written in the order of the replies.
struct Shown {
  std::string header;  // written if it is not the one that was written last
  std::string out;
  std::string error;  // why the reply cannot be shown; empty if it can
};

// Shows one reply. Keeps no state; any number of threads may call it at once. Throws std::bad_alloc only.
Shown Show(const View& view, const Item& item);

}  // namespace tesview

#endif  // TESVIEW_SHOW_VIEW_H_
