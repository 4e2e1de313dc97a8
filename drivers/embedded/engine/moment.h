// Dates and times as the server reads, writes and counts them.
//
// A moment is the number of microseconds since 1900-01-01 00:00, in the proleptic Gregorian
// calendar; a time of day is a moment on that first day. Free functions without state.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelvane::embedded {

using Moment = std::int64_t;

inline constexpr Moment kMicrosecondsPerSecond = 1'000'000;
inline constexpr Moment kMicrosecondsPerMinute = 60 * kMicrosecondsPerSecond;
inline constexpr Moment kMicrosecondsPerHour = 60 * kMicrosecondsPerMinute;
inline constexpr Moment kMicrosecondsPerDay = 24 * kMicrosecondsPerHour;

struct CalendarTime {
  int year = 1900;
  int month = 1;
  int day = 1;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int microsecond = 0;
};

Moment momentOf(const CalendarTime& time);
CalendarTime calendarOf(Moment moment);
/// The number of the day, 0 being 1900-01-01.
std::int64_t dayOf(Moment moment);

/// Down to the ticks of datetime (1/300 second) or smalldatetime (minutes, rounded).
Moment roundToTicks(Moment moment);
Moment roundToMinutes(Moment moment);

/// `Jan 5 2004 3:04:05PM`, `2004-01-05 15:04`, `20040105`, `1/5/04`, `15:04`... and the blank text,
/// which is 1900-01-01. Nothing for a text that is no date.
std::optional<Moment> parseMoment(std::string_view text);

/// As convert(varchar, moment, style) writes it. An unknown style is written as style 0.
std::string formatMoment(Moment moment, int style);

enum class DatePart {
  Year,
  Quarter,
  Month,
  DayOfYear,
  Day,
  Week,
  Weekday,
  Hour,
  Minute,
  Second,
  Millisecond,
  Microsecond,
  CalendarWeek,  ///< as ISO 8601 counts weeks, with the year that the week belongs to
  CalendarYear,
  CalendarDay
};

/// `yy`, `year`, `dd`, ... in any letter case.
std::optional<DatePart> datePart(std::string_view word);
std::int64_t partOf(Moment moment, DatePart part);
/// The part as a word where it has one (months and weekdays), else its digits.
std::string partName(Moment moment, DatePart part);
/// `count` is an int; none outside of the years 1 to 9999.
std::optional<Moment> addParts(Moment moment, DatePart part, std::int64_t count);
/// How many boundaries of the part lie between the two moments; of parts shorter than a day, how
/// many of them are full.
std::int64_t partsBetween(DatePart part, Moment from, Moment to);

/// This instant, in universal time.
Moment currentMoment();

}  // namespace kelvane::embedded
