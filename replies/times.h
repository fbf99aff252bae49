// Times as the columns of tables have them, as text and as milliseconds.
#ifndef REPLIES_TIMES_H_
#define REPLIES_TIMES_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "replies/columns.h"

namespace replies {

// What the figures of a time are.
enum class TimeKind {
  kNone,
  kDate,        // yyyymmdd
  kDateTime,    // yyyymmddhhmmss
  kTimeOfDay,   // hhmmss
  kHourMinute,  // hhmm
  kUnix,        // seconds since 1970
  kUnixMilli,   // milliseconds since 1970
};

// Whether values of that kind may be times.
bool IsTime(const Told& kind);

// The kind of time that a value is. Columns that carry dates in one reply and moments in another are told as
// both; the value then says which. kNone for a value that is no such time: the kinds are guesses, and 0 is no
// date.
TimeKind TimeKindOf(const Told& kind, int64_t value);

// Whether times of that kind have a date; the others are those of any day.
inline bool HasDate(TimeKind kind) {
  return kind == TimeKind::kDate || kind == TimeKind::kDateTime || kind == TimeKind::kUnix ||
         kind == TimeKind::kUnixMilli;
}

// More than the longest time takes.
constexpr size_t kTimeRoom = 32;

// "2024-06-17 15:00:00", "2024-06-17", "15:00:00", "15:00" in Beijing time, written to a place with that
// room; returns the end. Null, and nothing is written, for a value that is no time of the kind.
char* WriteTime(char* to, TimeKind kind, int64_t value);

// A time as it is written, to the precision that it is given in: a day, a minute, a second or a millisecond.
struct TimeRange {
  bool has_date = false;
  int64_t from = 0;  // in milliseconds, as MillisOf() has them
  int64_t to = 0;    // the one behind the last
};

// Of "2024-06-17", "2024-06-17 15:00", "2024-06-17T15:00:00.250", "15:00" or "15:00:00"; null for any other
// text.
std::optional<TimeRange> ParseTime(std::string_view text);

// Milliseconds of the same clock: since 1970-01-01 00:00:00 in Beijing, or for a time of day since midnight.
// Null for a value that is no time of the kind.
std::optional<int64_t> MillisOf(TimeKind kind, int64_t value);

}  // namespace replies

#endif  // REPLIES_TIMES_H_
