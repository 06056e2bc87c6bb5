#include "orvelin/values/date_values.h"

#include <unicode/gregocal.h>
#include <unicode/timezone.h>

#include <cmath>
#include <limits>
#include <ostream>

#include "orvelin/support/string_extensions.h"
#include "values/gregorian_calendar.h"

namespace orvelin {

namespace detail {

std::unique_ptr<icu::Calendar> makeLocalGregorianCalendar() {
  UErrorCode status = U_ZERO_ERROR;
  auto calendar = std::make_unique<icu::GregorianCalendar>(icu::TimeZone::createDefault(), status);
  if (U_FAILURE(status)) return nullptr;
  calendar->setLenient(true);
  calendar->setGregorianChange(-std::numeric_limits<double>::max(), status);  // no Julian years
  if (U_FAILURE(status)) return nullptr;
  return calendar;
}

UDate udateFromDate(Date date) {
  // Whole milliseconds and the microseconds beyond them.
  const auto whole = std::chrono::floor<std::chrono::milliseconds>(date.time_since_epoch());
  const auto beyond = date.time_since_epoch() - whole;
  return static_cast<double>(whole.count()) + static_cast<double>(beyond.count()) / 1e3;
}

std::optional<Date> dateFromUDate(UDate udate) {
  // The first moment of the year 1 and that of the year 10000, UTC. A local zone lies less
  // than a day from UTC (the widest offsets, of the local mean times of the 19th century, stay
  // under 16 hours), so only moments within two days of either end need the calendar to tell
  // their local year.
  constexpr double first = -62'135'596'800'000.0;
  constexpr double end = 253'402'300'800'000.0;
  constexpr double margin = 2 * 86'400'000.0;
  if (!(udate >= first - margin && udate < end + margin)) return std::nullopt;
  if (udate < first + margin || udate >= end - margin) {
    auto calendar = makeLocalGregorianCalendar();
    if (!calendar) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    calendar->setTime(udate, status);
    const int32_t year = calendar->get(UCAL_EXTENDED_YEAR, status);
    if (U_FAILURE(status) || year < 1 || year > 9999) return std::nullopt;
  }
  const double whole = std::floor(udate);
  const auto microseconds = static_cast<std::int64_t>(whole) * 1'000 + std::llround((udate - whole) * 1e3);
  return Date(std::chrono::microseconds(microseconds));
}

}  // namespace detail

namespace {

using detail::dateFromUDate;
using detail::makeLocalGregorianCalendar;
using detail::udateFromDate;

// The calendar's fields in the order of DateComponents, and the offset of each between the
// components (months from 1) and ICU (months from 0). The year is the extended one, which
// counts on through 0 and below, where ICU's plain year counts back in the era before 1.
struct Field {
  std::optional<std::int64_t> DateComponents::*member;
  UCalendarDateFields field;
  std::int64_t offset;
};
constexpr Field kFields[] = {
    {&DateComponents::year, UCAL_EXTENDED_YEAR, 0}, {&DateComponents::month, UCAL_MONTH, -1},
    {&DateComponents::day, UCAL_DATE, 0},           {&DateComponents::hour, UCAL_HOUR_OF_DAY, 0},
    {&DateComponents::minute, UCAL_MINUTE, 0},      {&DateComponents::second, UCAL_SECOND, 0},
};

// The calendar takes 32-bit fields; a larger one is a date the calendar cannot form.
std::optional<int32_t> calendarField(std::int64_t value, std::int64_t offset) {
  if (value < std::numeric_limits<int32_t>::min() - offset || value > std::numeric_limits<int32_t>::max() - offset)
    return std::nullopt;
  return static_cast<int32_t>(value + offset);
}

std::optional<Date> currentTime(icu::Calendar& calendar) {
  UErrorCode status = U_ZERO_ERROR;
  const UDate udate = calendar.getTime(status);
  if (U_FAILURE(status)) return std::nullopt;
  return dateFromUDate(udate);
}

// Base-10 integer of the whole text: an optional sign and at least one ASCII digit, within
// the 64-bit range.
std::optional<std::int64_t> parseInteger(std::string_view text) {
  std::size_t i = 0;
  bool negative = false;
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) negative = text[i++] == '-';
  if (i == text.size()) return std::nullopt;
  std::int64_t value = 0;  // accumulated negatively: the negative range is the larger
  for (; i < text.size(); ++i) {
    const char c = text[i];
    if (c < '0' || c > '9') return std::nullopt;
    const int digit = c - '0';
    if (value < (std::numeric_limits<std::int64_t>::min() + digit) / 10) return std::nullopt;
    value = value * 10 - digit;
  }
  if (negative) return value;
  if (value == std::numeric_limits<std::int64_t>::min()) return std::nullopt;
  return -value;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// DateComponents

DateComponents DateComponents::fromDate(Date date) {
  DateComponents components;
  auto calendar = makeLocalGregorianCalendar();
  if (!calendar) return components;
  UErrorCode status = U_ZERO_ERROR;
  calendar->setTime(udateFromDate(date), status);
  for (const auto& field : kFields) {
    const int32_t value = calendar->get(field.field, status);
    if (U_FAILURE(status)) return DateComponents{};
    components.*field.member = static_cast<std::int64_t>(value) - field.offset;
  }
  return components;
}

std::optional<Date> DateComponents::date() const {
  auto calendar = makeLocalGregorianCalendar();
  if (!calendar) return std::nullopt;
  calendar->clear();
  // What a value lacks, 1 January 2000 gives, as for a time alone; ICU's own default is 1970.
  DateComponents filled = *this;
  if (!filled.year) filled.year = 2000;
  if (!filled.month) filled.month = 1;
  if (!filled.day) filled.day = 1;
  for (const auto& field : kFields) {
    const auto& value = filled.*field.member;
    if (!value) continue;
    const auto converted = calendarField(*value, field.offset);
    if (!converted) return std::nullopt;
    calendar->set(field.field, *converted);
  }
  return currentTime(*calendar);
}

std::optional<Date> DateComponents::addedTo(Date date) const {
  auto calendar = makeLocalGregorianCalendar();
  if (!calendar) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  calendar->setTime(udateFromDate(date), status);
  for (const auto& field : kFields) {
    const auto& value = this->*field.member;
    if (!value) continue;
    const auto amount = calendarField(*value, 0);
    if (!amount) return std::nullopt;
    calendar->add(field.field, *amount, status);
    if (U_FAILURE(status)) return std::nullopt;
  }
  return currentTime(*calendar);
}

// ---------------------------------------------------------------------------------------------
// DateTime, PartialDate, PartialTime

DateTime::DateTime(Date date) {
  const auto components = DateComponents::fromDate(date);
  year = components.year.value_or(0);
  month = components.month.value_or(0);
  day = components.day.value_or(0);
  hour = components.hour.value_or(0);
  minute = components.minute.value_or(0);
  second = components.second.value_or(0);
}

DateComponents DateTime::dateComponents() const { return {year, month, day, hour, minute, second}; }

Date DateTime::date() const { return dateComponents().date().value_or(currentDate()); }

PartialDate::PartialDate(Date date) {
  const auto components = DateComponents::fromDate(date);
  year = components.year.value_or(0);
  month = components.month.value_or(0);
  day = components.day.value_or(0);
}

DateComponents PartialDate::dateComponents() const { return {year, month, day, 0, 0, 0}; }

Date PartialDate::date() const { return dateComponents().date().value_or(currentDate()); }

PartialTime::PartialTime(Date date) {
  const auto components = DateComponents::fromDate(date);
  hour = components.hour.value_or(0);
  minute = components.minute.value_or(0);
  second = components.second.value_or(0);
}

DateComponents PartialTime::dateComponents() const { return {2000, 1, 1, hour, minute, second}; }

Date PartialTime::date() const { return dateComponents().date().value_or(currentDate()); }

// ---------------------------------------------------------------------------------------------
// DateValues

DateValues::DateValues(std::optional<Date> date) {
  if (!date) return;
  const auto components = DateComponents::fromDate(*date);
  day = components.day;
  month = components.month;
  year = components.year;
  hour = components.hour;
  minute = components.minute;
  second = components.second;
}

DateValues DateValues::fromDescription(std::optional<std::string_view> description) {
  DateValues values;
  if (!description) return values;
  std::string_view rest = *description;
  while (true) {
    const auto end = rest.find(", ");
    const std::string_view piece = rest.substr(0, end);
    if (const auto colon = piece.find(':'); colon != std::string_view::npos) {
      const auto label = trimWhitespaces(piece.substr(0, colon));
      const auto number = parseInteger(trimWhitespaces(piece.substr(colon + 1)));
      if (label == "YY") values.year = number;
      else if (label == "MM") values.month = number;
      else if (label == "DD") values.day = number;
      else if (label == "hh") values.hour = number;
      else if (label == "mm") values.minute = number;
      else if (label == "ss") values.second = number;
    }
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 2);
  }
  return values;
}

bool DateValues::isEmpty() const { return !day && !month && !year && !hour && !minute && !second; }

std::string DateValues::description() const {
  const std::pair<const char*, const std::optional<std::int64_t>*> pieces[] = {
      {"YY: ", &year}, {"MM: ", &month}, {"DD: ", &day}, {"hh: ", &hour}, {"mm: ", &minute}, {"ss: ", &second},
  };
  std::string text;
  for (const auto& [label, value] : pieces) {
    if (!*value) continue;
    if (!text.empty()) text += ", ";
    text += label;
    text += std::to_string(**value);
  }
  return text;
}

DateComponents DateValues::dateComponents() const { return {year, month, day, hour, minute, second}; }

std::optional<Date> DateValues::date() const { return dateComponents().date(); }

std::optional<Date> DateValues::updateDate(std::optional<Date> date) const {
  if (!date) return std::nullopt;
  auto components = DateComponents::fromDate(*date);
  if (!components.year) return std::nullopt;  // the calendar could not read the date
  if (day) components.day = day;
  if (month) components.month = month;
  if (year) components.year = year;
  if (hour) components.hour = hour;
  if (minute) components.minute = minute;
  if (second) components.second = second;
  return components.date();
}

std::optional<Date> DateValues::shiftDate(std::optional<Date> date) const {
  if (!date) return std::nullopt;
  return dateComponents().addedTo(*date);
}

std::ostream& operator<<(std::ostream& out, const DateValues& values) {
  return out << "DateValues(" << values.description() << ")";
}

}  // namespace orvelin
