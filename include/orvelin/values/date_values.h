#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "orvelin/support/clock.h"

namespace orvelin {

// A moment, in microseconds since 1970-01-01 00:00:00 UTC (a 64-bit count: about 292,000
// years either way). Dates stand for the years 1 to 9999 in local time, in the proleptic
// Gregorian calendar: the calendar operations below and the date converter give absent for a
// moment whose local year lies outside, so "0000:00:00 00:00:00" is no date.
using Date = std::chrono::sys_time<std::chrono::microseconds>;

// The current moment, as ORVGetClock() tells it.
inline Date currentDate() { return std::chrono::time_point_cast<Date::duration>(ORVGetClock()->now()); }

// A set of calendar fields, each present or unset, with no calendar and no time zone of its
// own: the Gregorian calendar in the process's local time zone gives them meaning. Months
// count from 1.
//
// Every operation creates its own calendar (ICU's lenient GregorianCalendar in the default
// time zone, which is the TZ of the process, Gregorian back to the year 1), so nothing is
// shared between threads.
struct DateComponents {
  std::optional<std::int64_t> year;
  std::optional<std::int64_t> month;
  std::optional<std::int64_t> day;
  std::optional<std::int64_t> hour;
  std::optional<std::int64_t> minute;
  std::optional<std::int64_t> second;

  // The six fields of `date` in local time.
  static DateComponents fromDate(Date date);

  // The calendar's date of these fields. Unset fields take those of 1 January 2000,
  // 00:00:00, the day that a time alone falls on everywhere in the library. Out-of-range fields
  // carry over into the next larger one (month 13 is January of the next year, second 75 is
  // 1:15, day 0 the last day of the month before). Absent when the calendar refuses: a field
  // beyond the 32-bit range, or a result outside the years 1 to 9999.
  std::optional<Date> date() const;

  // `date` with these fields added, the largest first (year, month, day, hour, minute,
  // second); unset fields add nothing and negative ones subtract. A field carries into larger
  // units, and month arithmetic clamps to the end of the month: January 31 plus one month is
  // the last day of February. Absent as for date().
  std::optional<Date> addedTo(Date date) const;

  friend bool operator==(const DateComponents&, const DateComponents&) = default;
};

// A full date and time, as plain fields.
struct DateTime {
  std::int64_t year = 0;
  std::int64_t month = 0;
  std::int64_t day = 0;
  std::int64_t hour = 0;
  std::int64_t minute = 0;
  std::int64_t second = 0;

  DateTime(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour, std::int64_t minute,
           std::int64_t second)
      : year(year), month(month), day(day), hour(hour), minute(minute), second(second) {}
  // The fields of `date` in local time.
  explicit DateTime(Date date);

  // All six fields.
  DateComponents dateComponents() const;
  // The calendar's date of dateComponents(); the current moment when the calendar refuses.
  Date date() const;

  friend bool operator==(const DateTime&, const DateTime&) = default;
};

// A date without a time: the value of the date-only tags.
struct PartialDate {
  std::int64_t year = 0;
  std::int64_t month = 0;
  std::int64_t day = 0;

  PartialDate(std::int64_t year, std::int64_t month, std::int64_t day) : year(year), month(month), day(day) {}
  explicit PartialDate(Date date);

  // The three fields, with 00:00:00.
  DateComponents dateComponents() const;
  // Midnight of that day in local time; the current moment when the calendar refuses.
  Date date() const;

  friend bool operator==(const PartialDate&, const PartialDate&) = default;
};

// A time of day without a date: the value of the time-only tags.
struct PartialTime {
  std::int64_t hour = 0;
  std::int64_t minute = 0;
  std::int64_t second = 0;

  PartialTime(std::int64_t hour, std::int64_t minute, std::int64_t second) : hour(hour), minute(minute), second(second) {}
  explicit PartialTime(Date date);

  // The three fields on 1 January 2000.
  DateComponents dateComponents() const;
  // That time on 1 January 2000 in local time; the current moment when the calendar refuses.
  Date date() const;

  friend bool operator==(const PartialTime&, const PartialTime&) = default;
};

// A partial set of date fields that selects, updates or shifts a date (see DateEdition).
// Equality is field by field.
struct DateValues {
  std::optional<std::int64_t> day;
  std::optional<std::int64_t> month;
  std::optional<std::int64_t> year;
  std::optional<std::int64_t> hour;
  std::optional<std::int64_t> minute;
  std::optional<std::int64_t> second;

  // Every field absent.
  DateValues() = default;
  // The six fields of `date` in local time; every field absent for an absent date.
  explicit DateValues(std::optional<Date> date);

  // Reads the form that description() writes: pieces separated by ", ", each a label, ":" and
  // a base-10 integer, labels "YY", "MM", "DD", "hh", "mm", "ss" (case counts). Blanks and
  // tabs round label and number are trimmed. A piece without ":" or with an unknown label is
  // skipped; a number that does not parse makes its field absent; a later piece wins over an
  // earlier one with the same label. Never fails: absent or unreadable text gives absent
  // fields.
  static DateValues fromDescription(std::optional<std::string_view> description);

  // True when all six fields are absent.
  bool isEmpty() const;

  // The present fields in the order year, month, day, hour, minute, second, as "YY: 2021",
  // "MM: 3", "DD: 4", "hh: 6", "mm: 7", "ss: 8", joined by ", ": "YY: 2021, hh: 6". Empty
  // when every field is absent.
  std::string description() const;

  // The present fields; the others unset.
  DateComponents dateComponents() const;
  // The calendar's date of dateComponents() (unset fields are those of 1 January 2000,
  // 00:00:00: an empty set is that moment in local time, and a set without a year falls in
  // 2000). May be absent.
  std::optional<Date> date() const;

  // `date` with each present field replaced, then read back through the calendar, so that
  // an impossible day carries over: month 2 on the 31st gives a day in March. Absent for an
  // absent date.
  std::optional<Date> updateDate(std::optional<Date> date) const;
  // `date` with the present fields added (see DateComponents::addedTo): a shift carries into
  // larger units and clamps at the end of a month. Absent for an absent date.
  std::optional<Date> shiftDate(std::optional<Date> date) const;

  friend bool operator==(const DateValues&, const DateValues&) = default;
};

std::ostream& operator<<(std::ostream& out, const DateValues& values);

}  // namespace orvelin
