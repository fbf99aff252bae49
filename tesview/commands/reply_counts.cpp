#include "tesview/commands/reply_counts.h"

namespace tesview {

void TimeSpan::Add(const TimePoint& time) {
  if (!first_ || time.millis < first_->millis) first_ = time;
  if (!last_ || time.millis > last_->millis) last_ = time;
}

void TimeSpan::Add(const TimeSpan& other) {
  if (other.first_) Add(*other.first_);
  if (other.last_) Add(*other.last_);
}

void RowCounts::Add(const RowCounts& other) {
  has_table = has_table || other.has_table;
  rows += other.rows;
  failed += other.failed;
  moments.Add(other.moments);
  of_a_day.Add(other.of_a_day);
}

}  // namespace tesview
