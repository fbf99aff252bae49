#include "replies/times.h"

#include <array>
#include <ctime>

namespace replies {
namespace {

struct KindWord {
  const char* word;
  TimeKind kind;
};

// Of two that both fit, the first one counts.
constexpr std::array<KindWord, 6> kWords = {{{"yyyymmdd", TimeKind::kDate},
                                             {"yyyymmddhhmmss", TimeKind::kDateTime},
                                             {"hhmmss", TimeKind::kTimeOfDay},
                                             {"hhmm", TimeKind::kHourMinute},
                                             {"unix", TimeKind::kUnix},
                                             {"unix_ms", TimeKind::kUnixMilli}}};

constexpr int64_t kBeijing = int64_t{8} * 3600;
constexpr int64_t kLastSecond = 253402300799 - kBeijing;  // of the year 9999

// A moment in parts; only those that its kind has are looked at.
struct Moment {
  int year = 1;
  int month = 1;
  int day = 1;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int milli = 0;
};

int DaysIn(int month, int year) {
  constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[static_cast<size_t>(month - 1)];
}

bool IsValid(const Moment& m) {
  return m.month >= 1 && m.month <= 12 && m.day >= 1 && m.day <= DaysIn(m.month, m.year) && m.hour < 24 &&
         m.minute < 60 && m.second < 60;
}

// Takes two digits off the end.
int TakePair(int64_t* digits) {
  const int pair = static_cast<int>(*digits % 100);
  *digits /= 100;
  return pair;
}

bool ReadDate(int64_t digits, Moment* moment) {
  moment->day = TakePair(&digits);
  moment->month = TakePair(&digits);
  // Years before 1000 are counts that look like dates.
  if (digits < 1000 || digits > 9999) return false;
  moment->year = static_cast<int>(digits);
  return true;
}

bool ReadTimeOfDay(int64_t digits, Moment* moment) {
  moment->second = TakePair(&digits);
  moment->minute = TakePair(&digits);
  moment->hour = TakePair(&digits);
  return digits == 0;
}

bool ReadUnix(int64_t seconds, Moment* moment) {
  if (seconds <= 0 || seconds > kLastSecond) return false;
  const auto local = static_cast<std::time_t>(seconds + kBeijing);
  std::tm parts{};
  if (gmtime_r(&local, &parts) == nullptr) return false;
  *moment = {
      parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, 0};
  return true;
}

// Days since 1970-01-01, of the Gregorian calendar at all times.
int64_t DaysSince1970(const Moment& moment) {
  int64_t days = moment.day - 1;
  for (int month = 1; month < moment.month; ++month)
    days += DaysIn(month, moment.year);
  const int64_t before = moment.year - 1;
  constexpr int64_t kDaysBefore1970 = 719162;
  return days + before * 365 + before / 4 - before / 100 + before / 400 - kDaysBefore1970;
}

bool Read(TimeKind kind, int64_t value, Moment* moment) {
  if (value < 0) return false;
  switch (kind) {
    case TimeKind::kNone: return false;
    case TimeKind::kDate: return ReadDate(value, moment) && IsValid(*moment);
    case TimeKind::kDateTime:
      return ReadDate(value / 1'000'000, moment) && ReadTimeOfDay(value % 1'000'000, moment) &&
             IsValid(*moment);
    case TimeKind::kTimeOfDay: return ReadTimeOfDay(value, moment) && IsValid(*moment);
    case TimeKind::kHourMinute:
      return value <= 2359 && ReadTimeOfDay(value * 100, moment) && IsValid(*moment);
    case TimeKind::kUnix: return ReadUnix(value, moment);
    case TimeKind::kUnixMilli:
      if (!ReadUnix(value / 1000, moment)) return false;
      moment->milli = static_cast<int>(value % 1000);
      return true;
  }
  return false;
}

char* WriteDigits(char* to, int value, int digits) {
  for (int i = digits - 1; i >= 0; --i) {
    to[i] = static_cast<char>('0' + value % 10);
    value /= 10;
  }
  return to + digits;
}

char* WriteDate(char* to, const Moment& moment) {
  to = WriteDigits(to, moment.year, 4);
  *to++ = '-';
  to = WriteDigits(to, moment.month, 2);
  *to++ = '-';
  return WriteDigits(to, moment.day, 2);
}

char* WriteHourMinute(char* to, const Moment& moment) {
  to = WriteDigits(to, moment.hour, 2);
  *to++ = ':';
  return WriteDigits(to, moment.minute, 2);
}

char* WriteTimeOfDay(char* to, const Moment& moment) {
  to = WriteHourMinute(to, moment);
  *to++ = ':';
  return WriteDigits(to, moment.second, 2);
}

char* WriteMilli(char* to, const Moment& moment) {
  *to++ = '.';
  return WriteDigits(to, moment.milli, 3);
}

}  // namespace

bool IsTime(const Told& kind) {
  for (const KindWord& each : kWords) {
    if (kind.Has(each.word)) return true;
  }
  return false;
}

TimeKind TimeKindOf(const Told& kind, int64_t value) {
  Moment moment;
  for (const KindWord& each : kWords) {
    if (kind.Has(each.word) && Read(each.kind, value, &moment)) return each.kind;
  }
  return TimeKind::kNone;
}

char* WriteTime(char* to, TimeKind kind, int64_t value) {
  Moment moment;
  if (!Read(kind, value, &moment)) return nullptr;
  if (kind == TimeKind::kHourMinute) return WriteHourMinute(to, moment);
  if (kind == TimeKind::kTimeOfDay) return WriteTimeOfDay(to, moment);
  to = WriteDate(to, moment);
  if (kind == TimeKind::kDate) return to;
  *to++ = ' ';
  to = WriteTimeOfDay(to, moment);
  return kind == TimeKind::kUnixMilli ? WriteMilli(to, moment) : to;
}

std::optional<int64_t> MillisOf(TimeKind kind, int64_t value) {
  Moment moment;
  if (!Read(kind, value, &moment)) return std::nullopt;
  const bool of_a_day = kind == TimeKind::kTimeOfDay || kind == TimeKind::kHourMinute;
  const int64_t days = of_a_day ? 0 : DaysSince1970(moment);
  const int64_t seconds = ((days * 24 + moment.hour) * 60 + moment.minute) * 60 + moment.second;
  return seconds * 1000 + moment.milli;
}

namespace {

constexpr int64_t kSecond = 1000;
constexpr int64_t kMinute = 60 * kSecond;
constexpr int64_t kDay = int64_t{24} * 60 * kMinute;

// Takes figures of a fixed number off the front.
bool TakeFigures(std::string_view* text, size_t count, int64_t* value) {
  if (text->size() < count) return false;
  *value = 0;
  for (const char c : text->substr(0, count)) {
    if (c < '0' || c > '9') return false;
    *value = *value * 10 + (c - '0');
  }
  text->remove_prefix(count);
  return true;
}

bool TakeMark(std::string_view* text, char mark) {
  if (text->empty() || text->front() != mark) return false;
  text->remove_prefix(1);
  return true;
}

// As yyyymmdd.
bool TakeDate(std::string_view* text, int64_t* date) {
  int64_t year = 0;
  int64_t month = 0;
  int64_t day = 0;
  const bool whole = TakeFigures(text, 4, &year) && TakeMark(text, '-') && TakeFigures(text, 2, &month) &&
                     TakeMark(text, '-') && TakeFigures(text, 2, &day);
  *date = year * 10000 + month * 100 + day;
  return whole;
}

// As hhmmss, with milliseconds; `precision` is what it is given in.
bool TakeTimeOfDay(std::string_view* text, int64_t* time, int64_t* millis, int64_t* precision) {
  int64_t hour = 0;
  int64_t minute = 0;
  int64_t second = 0;
  if (!TakeFigures(text, 2, &hour) || !TakeMark(text, ':') || !TakeFigures(text, 2, &minute)) return false;
  *precision = kMinute;
  if (TakeMark(text, ':')) {
    if (!TakeFigures(text, 2, &second)) return false;
    *precision = kSecond;
    if (TakeMark(text, '.')) {
      if (!TakeFigures(text, 3, millis)) return false;
      *precision = 1;
    }
  }
  *time = hour * 10000 + minute * 100 + second;
  return true;
}

}  // namespace

std::optional<TimeRange> ParseTime(std::string_view text) {
  TimeRange range;
  int64_t date = 0;
  int64_t time = 0;
  int64_t millis = 0;
  int64_t precision = kDay;
  std::string_view rest = text;
  range.has_date = TakeDate(&rest, &date);
  if (!range.has_date) rest = text;
  const bool goes_on = !range.has_date || TakeMark(&rest, ' ') || TakeMark(&rest, 'T');
  if (goes_on && !TakeTimeOfDay(&rest, &time, &millis, &precision)) return std::nullopt;
  if (!rest.empty()) return std::nullopt;
  const auto from = range.has_date ? MillisOf(TimeKind::kDateTime, date * 1'000'000 + time)
                                   : MillisOf(TimeKind::kTimeOfDay, time);
  if (!from) return std::nullopt;
  range.from = *from + millis;
  range.to = range.from + precision;
  return range;
}

}  // namespace replies
