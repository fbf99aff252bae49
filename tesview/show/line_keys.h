// Which instrument and which day the lines of a reply belong to, while its rows become lines.
//
// A line has those of its innermost row; what that does not tell is taken from the rows around it. The
// instrument is the text in the column Obj, the day that of the first column that is known to hold times and
// has a date in this row.
#ifndef TESVIEW_SHOW_LINE_KEYS_H_
#define TESVIEW_SHOW_LINE_KEYS_H_

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "tesview/show/columns.h"
#include "tesview/show/show.h"
#include "tsl_base/table.hpp"

namespace tesview {

class LineKeys {
 public:
  // Does nothing where no keys of rows are wanted.
  LineKeys(const SplitBy& by, std::vector<LinesOfKey>* lines) : by_(by), lines_(lines) {}

  // Around the lines of a row and of those inside it.
  void Enter(tsl_base::TableView table, int row, Layout* layout) {
    if (by_.OfRows()) Push(table, row, layout);
  }
  void Leave() {
    if (by_.OfRows()) keys_.pop_back();
  }
  // A line has been written, up to there.
  void Line(size_t end) {
    if (by_.OfRows()) Add(end);
  }

 private:
  struct Key {
    std::string obj;
    std::string date;
  };
  struct Sources {
    const Column* obj = nullptr;
    std::vector<const Column*> dates;
  };

  void Push(tsl_base::TableView table, int row, Layout* layout);
  void Add(size_t end);
  const Sources& SourcesOf(Layout* layout);

  const SplitBy by_;
  std::vector<LinesOfKey>* lines_;
  std::vector<Key> keys_;  // of the rows around the line
  std::unordered_map<const Layout*, Sources> sources_;
};

}  // namespace tesview

#endif  // TESVIEW_SHOW_LINE_KEYS_H_
