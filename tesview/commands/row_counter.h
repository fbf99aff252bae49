// Counts the rows of replies that are decoded, and finds their first and last time.
#ifndef TESVIEW_COMMANDS_ROW_COUNTER_H_
#define TESVIEW_COMMANDS_ROW_COUNTER_H_

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tesview/commands/renderer.h"
#include "tesview/commands/reply_counts.h"

namespace tesview {

class RowCounter : public Renderer {
 public:
  // Nothing waits for what is counted.
  bool IsHasty() const override { return false; }
  void Look(const ReadItem& read) override;
  void Render(const std::vector<ReadItem>& read, const Show& show) const override;

  // When all are rendered.
  const CountsById<RowCounts>& counts() const { return counts_; }
  // Places in the input that are damaged.
  uint64_t damaged() const { return damaged_; }

 private:
  uint64_t damaged_ = 0;
  mutable std::mutex mutex_;
  mutable CountsById<RowCounts> counts_;
};

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_ROW_COUNTER_H_
