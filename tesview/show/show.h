// One reply in the form that the user asked for.
#ifndef TESVIEW_SHOW_SHOW_H_
#define TESVIEW_SHOW_SHOW_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "replies/reply_reader.h"
#include "tesview/report/part.h"
#include "tesview/show/view.h"

namespace tesview {

// A reply and where it came from.
struct Item {
  std::string source;         // as messages name it
  size_t source_width = 0;    // the columns that the longest name of all sources takes
  bool name_source = false;   // there are several, so the output says which
  bool number_reply = false;  // the source may hold several
  replies::Reply reply;
};

// The lines of `out` behind those of the key before it.
struct LinesOfKey {
  std::string obj;   // empty where the rows tell none
  std::string date;  // "2024-06-17"; empty as well
  size_t end = 0;    // in `out`
};

// All texts are whole lines. They are written in the order of the replies.
struct Shown {
  int32_t id = 0;
  std::string header;  // written if it is not the one that was written last
  std::string out;
  std::vector<LinesOfKey> keys;  // of all lines, if they are split by rows
  ReportPart part;               // of a report, in place of the two
  std::string error;             // why the reply cannot be shown; empty if it can
  std::string repeats;  // the error in words that it shares with other replies, to be counted; empty where it
                        // is that of this reply alone
  bool dropped = false;  // nothing of the reply was asked for: --where leaves none of its rows
};

// Makes what the form takes once and keeps. Before there are threads: protobuf ends the process where it gets
// no memory for that, and then they have taken most of it. Throws std::bad_alloc.
void PrepareToShow(const View& view);

// Shows one reply, in any form but Arrow. Keeps no state that can be seen; any number of threads may call it
// at once. Throws std::bad_alloc and Interrupted only.
Shown Show(const View& view, const Item& item);

}  // namespace tesview

#endif  // TESVIEW_SHOW_SHOW_H_
