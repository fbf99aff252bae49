// How much there is of each Id: replies and bytes, and where they are decoded, rows and times.
#ifndef TESVIEW_COMMANDS_REPLY_COUNTS_H_
#define TESVIEW_COMMANDS_REPLY_COUNTS_H_

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <vector>

#include "replies/times.h"

namespace tesview {

// In place of an Id.
inline constexpr int64_t kNoId = std::numeric_limits<int64_t>::max() - 1;  // replies without one
inline constexpr int64_t kOtherIds = std::numeric_limits<int64_t>::max();  // more Ids than are told apart

// A time as a column has it.
struct TimePoint {
  replies::TimeKind kind = replies::TimeKind::kNone;
  int64_t value = 0;   // its figures
  int64_t millis = 0;  // replies::MillisOf()
};

// The first and the last of some times.
class TimeSpan {
 public:
  void Add(const TimePoint& time);
  void Add(const TimeSpan& other);

  const std::optional<TimePoint>& first() const { return first_; }
  const std::optional<TimePoint>& last() const { return last_; }

 private:
  std::optional<TimePoint> first_;
  std::optional<TimePoint> last_;
};

// Of the replies of one Id.
struct SizeCounts {
  uint64_t replies = 0;
  uint64_t bytes = 0;
};

// Of those that were decoded.
struct RowCounts {
  bool has_table = false;  // whether a reply gave one
  uint64_t rows = 0;       // innermost ones
  uint64_t failed = 0;     // replies that cannot be decoded
  TimeSpan moments;        // times with a date
  TimeSpan of_a_day;       // times without one

  void Add(const RowCounts& other);
};

// The counts of each Id. Those of the schema's Ids are found by index, as streams are scanned at the speed of
// memory. A hostile stream may have any other Id; of these only some are told apart.
template <class Counts>
class CountsById {
 public:
  Counts& Of(int64_t id) {
    if (id >= 0 && id < static_cast<int64_t>(small_.size())) return small_[static_cast<size_t>(id)];
    if (id != kNoId && large_.size() >= kMostLarge && large_.count(id) == 0) id = kOtherIds;
    return large_[id];
  }

  // Those of all Ids in ascending order, also of Ids that nothing was counted of.
  template <class Call>
  void ForEach(Call call) const {
    auto at = large_.begin();
    for (; at != large_.end() && at->first < 0; ++at)
      call(at->first, at->second);
    for (size_t id = 0; id < small_.size(); ++id)
      call(static_cast<int64_t>(id), small_[id]);
    for (; at != large_.end(); ++at)
      call(at->first, at->second);
  }

 private:
  static constexpr size_t kMostLarge = 1000;

  std::vector<Counts> small_ = std::vector<Counts>(1024);
  std::map<int64_t, Counts> large_;
};

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_REPLY_COUNTS_H_
