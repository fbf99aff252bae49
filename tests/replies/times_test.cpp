// Times as text: every kind, its bounds, and what is no time.
#include "replies/times.h"

#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>
#include <utility>

namespace replies {
namespace {

std::string Text(TimeKind kind, int64_t value) {
  char room[kTimeRoom];
  const char* end = WriteTime(room, kind, value);
  return end == nullptr ? "none" : std::string(room, static_cast<size_t>(end - room));
}

TEST(Times, AreWrittenByTheirKind) {
  EXPECT_EQ(Text(TimeKind::kDate, 20240617), "2024-06-17");
  EXPECT_EQ(Text(TimeKind::kDateTime, 20240617150001), "2024-06-17 15:00:01");
  EXPECT_EQ(Text(TimeKind::kTimeOfDay, 93005), "09:30:05");
  EXPECT_EQ(Text(TimeKind::kHourMinute, 931), "09:31");
  // 2024-06-17 07:00:00 in Greenwich.
  EXPECT_EQ(Text(TimeKind::kUnix, 1718607600), "2024-06-17 15:00:00");
  EXPECT_EQ(Text(TimeKind::kUnixMilli, 1718607600042), "2024-06-17 15:00:00.042");
  EXPECT_EQ(Text(TimeKind::kUnix, 1), "1970-01-01 08:00:01");
}

TEST(Times, AreMillisecondsOfTheSameClock) {
  // 2024-06-17 is 19891 days after 1970-01-01: 54 years with 13 leap days, and 31 + 29 + 31 + 30 + 31 + 16.
  constexpr int64_t kDay = 86400000;
  EXPECT_EQ(MillisOf(TimeKind::kDate, 20240617), 19891 * kDay);
  EXPECT_EQ(MillisOf(TimeKind::kDateTime, 20240617150001), 19891 * kDay + (15 * 3600 + 1) * 1000);
  EXPECT_EQ(MillisOf(TimeKind::kTimeOfDay, 93005), (9 * 3600 + 30 * 60 + 5) * 1000);
  EXPECT_EQ(MillisOf(TimeKind::kHourMinute, 931), (9 * 3600 + 31 * 60) * 1000);
  EXPECT_EQ(MillisOf(TimeKind::kUnix, 1718607600), 19891 * kDay + 15 * 3600 * 1000);
  EXPECT_EQ(MillisOf(TimeKind::kUnixMilli, 1718607600042), 19891 * kDay + 15 * 3600 * 1000 + 42);
  EXPECT_EQ(MillisOf(TimeKind::kDate, 19700101), 0);
  EXPECT_EQ(MillisOf(TimeKind::kDate, 19691231), -kDay);
  // 400 years have 146097 days.
  EXPECT_EQ(MillisOf(TimeKind::kDate, 15700101), -146097 * kDay);
  EXPECT_EQ(MillisOf(TimeKind::kDate, 20230229), std::nullopt);
  EXPECT_EQ(MillisOf(TimeKind::kNone, 20240617), std::nullopt);
  // Each year has 365 days, and one more if it is a leap year.
  int64_t days = -146097;
  for (int year = 1570; year < 2500; ++year) {
    EXPECT_EQ(MillisOf(TimeKind::kDate, year * 10000 + 101), days * kDay) << year;
    days += year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 366 : 365;
    EXPECT_EQ(MillisOf(TimeKind::kDate, year * 10000 + 1231), (days - 1) * kDay) << year;
  }
}

TEST(Times, KnowTheCalendar) {
  EXPECT_EQ(Text(TimeKind::kDate, 20240229), "2024-02-29");
  EXPECT_EQ(Text(TimeKind::kDate, 20230229), "none");
  EXPECT_EQ(Text(TimeKind::kDate, 20000229), "2000-02-29");
  EXPECT_EQ(Text(TimeKind::kDate, 19000229), "none");
  EXPECT_EQ(Text(TimeKind::kDate, 20240431), "none");
  EXPECT_EQ(Text(TimeKind::kDate, 20241231), "2024-12-31");
  EXPECT_EQ(Text(TimeKind::kDate, 20241301), "none");
  EXPECT_EQ(Text(TimeKind::kDate, 20240017), "none");
  EXPECT_EQ(Text(TimeKind::kDate, 20240600), "none");
}

TEST(Times, AreNoneBeyondTheirBounds) {
  for (const TimeKind kind : {TimeKind::kDate, TimeKind::kDateTime, TimeKind::kTimeOfDay,
                              TimeKind::kHourMinute, TimeKind::kUnix, TimeKind::kUnixMilli}) {
    for (const int64_t value : {int64_t{-1}, int64_t{-1000}, int64_t{-20240617}, INT64_MIN})
      EXPECT_EQ(Text(kind, value), "none") << value;
  }
  EXPECT_EQ(Text(TimeKind::kDate, 0), "none");
  EXPECT_EQ(Text(TimeKind::kDate, 9991231), "none");
  EXPECT_EQ(Text(TimeKind::kDate, 10000101), "1000-01-01");
  EXPECT_EQ(Text(TimeKind::kDate, 99991231), "9999-12-31");
  EXPECT_EQ(Text(TimeKind::kDate, 100000101), "none");
  EXPECT_EQ(Text(TimeKind::kDateTime, 20240617235959), "2024-06-17 23:59:59");
  EXPECT_EQ(Text(TimeKind::kDateTime, 20240617240000), "none");
  EXPECT_EQ(Text(TimeKind::kDateTime, 20240617006000), "none");
  EXPECT_EQ(Text(TimeKind::kTimeOfDay, 235959), "23:59:59");
  EXPECT_EQ(Text(TimeKind::kTimeOfDay, 60), "none");
  EXPECT_EQ(Text(TimeKind::kTimeOfDay, 1000000), "none");
  EXPECT_EQ(Text(TimeKind::kHourMinute, 0), "00:00");
  EXPECT_EQ(Text(TimeKind::kHourMinute, 2359), "23:59");
  EXPECT_EQ(Text(TimeKind::kHourMinute, 2360), "none");
  EXPECT_EQ(Text(TimeKind::kHourMinute, 1260), "none");
  EXPECT_EQ(Text(TimeKind::kUnix, 0), "none");
  EXPECT_EQ(Text(TimeKind::kUnix, -1), "none");
  EXPECT_EQ(Text(TimeKind::kUnix, 253402271999), "9999-12-31 23:59:59");
  EXPECT_EQ(Text(TimeKind::kUnix, 253402272000), "none");
  EXPECT_EQ(Text(TimeKind::kUnix, INT64_MAX), "none");
  EXPECT_EQ(Text(TimeKind::kUnixMilli, INT64_MAX), "none");
  EXPECT_EQ(Text(TimeKind::kDateTime, INT64_MAX), "none");
  EXPECT_EQ(Text(TimeKind::kNone, 20240617), "none");
}

TEST(Times, OfTwoKindsAreToldByTheValue) {
  const Told both{"yyyymmdd yyyymmddhhmmss", true};
  EXPECT_EQ(TimeKindOf(both, 20240617), TimeKind::kDate);
  EXPECT_EQ(TimeKindOf(both, 20240617150000), TimeKind::kDateTime);
  EXPECT_EQ(TimeKindOf(both, 42), TimeKind::kNone);
  const Told either{"yyyymmddhhmmss unix", true};
  EXPECT_EQ(TimeKindOf(either, 1718607600), TimeKind::kUnix);
  EXPECT_EQ(TimeKindOf(either, 20240617150000), TimeKind::kDateTime);
  EXPECT_EQ(TimeKindOf(Told{"cp936 code", false}, 20240617), TimeKind::kNone);
}

TEST(Times, AreKnownByTheWordsOfAKind) {
  EXPECT_TRUE(IsTime(Told{"packed yyyymmdd", true}));
  EXPECT_TRUE(IsTime(Told{"unix", false}));
  EXPECT_FALSE(IsTime(Told{"id", false}));
  EXPECT_FALSE(IsTime(Told{}));
}

TEST(Times, OfSomeKindsHaveADate) {
  for (const TimeKind kind : {TimeKind::kDate, TimeKind::kDateTime, TimeKind::kUnix, TimeKind::kUnixMilli})
    EXPECT_TRUE(HasDate(kind));
  for (const TimeKind kind : {TimeKind::kNone, TimeKind::kTimeOfDay, TimeKind::kHourMinute})
    EXPECT_FALSE(HasDate(kind));
}

// "date from to", or "none".
std::string Parsed(std::string_view text) {
  const auto range = ParseTime(text);
  if (!range) return "none";
  return std::string(range->has_date ? "date " : "time ") + std::to_string(range->from) + " " +
         std::to_string(range->to);
}

TEST(Times, AreReadToThePrecisionThatTheyAreWrittenIn) {
  // A day and an hour behind the beginning of 1970.
  EXPECT_EQ(Parsed("1970-01-02"), "date 86400000 172800000");
  EXPECT_EQ(Parsed("1970-01-02 01:00"), "date 90000000 90060000");
  EXPECT_EQ(Parsed("1970-01-02T01:00:00"), "date 90000000 90001000");
  EXPECT_EQ(Parsed("1970-01-02 01:00:00.250"), "date 90000250 90000251");
  EXPECT_EQ(Parsed("01:00"), "time 3600000 3660000");
  EXPECT_EQ(Parsed("01:00:59"), "time 3659000 3660000");
  for (const char* text :
       {"",         "1970",      "1970-01-02 ", "1970-01-02 1:00", "1970-13-01",  "1970-02-29", "24:00",
        "10:60",    "10:00:",    "10:00:00.5",  "10:00x",          "1970-01-02x", " 10:00",     "0099-01-01",
        "19700102", "197010:00", "1970-10:00",  "1970-01-10:00",   "1970-1-02",   "1970-01-2",  "10:6",
        "10:",      "1::30",     "01:0:",       "1::30:00"})
    EXPECT_EQ(Parsed(text), "none") << text;
}

TEST(Times, EndWithAFigureOfTheirPrecision) {
  const std::pair<std::string, std::set<size_t>> times[] = {{"1970-01-02T01:00:59.250", {10, 16, 19, 23}},
                                                            {"1970-01-02 01:00:59.250", {10, 16, 19, 23}},
                                                            {"01:00:59.250", {5, 8, 12}}};
  for (const auto& [text, whole] : times) {
    for (size_t size = 0; size <= text.size(); ++size) {
      const std::string part = text.substr(0, size);
      EXPECT_EQ(Parsed(part) != "none", whole.count(size) == 1) << part;
    }
    // The neighbours of the figures, and none at all.
    for (size_t i = 0; i < text.size(); ++i) {
      for (const char c : {'/', 'x', '\0'}) {
        std::string other = text;
        other[i] = c;
        EXPECT_EQ(Parsed(other), "none") << other;
      }
      if (text[i] >= '0' && text[i] <= '9') {
        std::string other = text;
        other[i] = ':';
        EXPECT_EQ(Parsed(other), "none") << other;
      }
    }
  }
}

TEST(Times, OfThousandthsAreWrittenWithAllThree) {
  for (const int milli : {0, 1, 9, 10, 99, 100, 999}) {
    const std::string figures = std::to_string(1000 + milli).substr(1);
    EXPECT_EQ(Text(TimeKind::kUnixMilli, 1718607600000 + milli), "2024-06-17 15:00:00." + figures);
    EXPECT_EQ(MillisOf(TimeKind::kUnixMilli, 1718607600000 + milli),
              *MillisOf(TimeKind::kUnix, 1718607600) + milli);
  }
}

}  // namespace
}  // namespace replies
