#include "orvelin/values/date_time_value_converter.h"

#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "values/gregorian_calendar.h"

namespace orvelin {

namespace {

// A formatter as a platform date formatter starts out: the default locale (with Latin digits
// and the Gregorian calendar, whatever the locale prefers), the local time zone, and strict
// parsing. Null only when ICU cannot make one.
std::unique_ptr<icu::SimpleDateFormat> makeFormatter() {
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale locale = icu::Locale::getDefault();
  locale.setKeywordValue("numbers", "latn", status);
  status = U_ZERO_ERROR;  // a locale that takes no keywords keeps its own digits
  auto formatter = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(), locale, status);
  if (U_FAILURE(status)) return nullptr;
  auto calendar = detail::makeLocalGregorianCalendar();
  if (!calendar) return nullptr;
  formatter->adoptCalendar(calendar.release());
  formatter->setLenient(false);  // after the calendar, which it makes strict too
  return formatter;
}

// This thread's formatter, made on first use (the locale and the zone are those of the process,
// which the library never changes). Each use sets the pattern it needs.
icu::SimpleDateFormat* threadFormatter() {
  thread_local const std::unique_ptr<icu::SimpleDateFormat> formatter = makeFormatter();
  return formatter.get();
}

// ---------------------------------------------------------------------------------------------
// The common form, "yyyy:MM:dd HH:mm:ss", read and written without the formatter: the fields
// go through this thread's calendar, and anything the calendar does not give back as it was
// (a wall time that the zone skips) is left to the formatter, so that both ways agree.

constexpr std::string_view kCommonFormat = "yyyy:MM:dd HH:mm:ss";

struct WallTime {
  std::array<int32_t, 6> fields;  // year, month (from 1), day, hour, minute, second
  bool operator==(const WallTime&) const = default;
};

icu::Calendar* threadCalendar() {
  thread_local const std::unique_ptr<icu::Calendar> calendar = detail::makeLocalGregorianCalendar();
  return calendar.get();
}

int32_t daysInMonth(int32_t year, int32_t month) {
  static constexpr int32_t days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : days[month - 1];
}

// The fields of the first 19 characters of a text when they are written exactly in the common
// form, with fields in their ranges.
std::optional<WallTime> commonFields(std::string_view text) {
  static constexpr std::string_view shape = "0000:00:00 00:00:00";
  if (text.size() < shape.size()) return std::nullopt;
  WallTime time{};
  std::size_t field = 0;
  int32_t value = 0;
  for (std::size_t i = 0; i <= shape.size(); ++i) {
    if (i == shape.size() || shape[i] != '0') {
      time.fields[field++] = value;
      value = 0;
      if (i < shape.size() && text[i] != shape[i]) return std::nullopt;
      continue;
    }
    if (text[i] < '0' || text[i] > '9') return std::nullopt;
    value = value * 10 + (text[i] - '0');
  }
  const auto [year, month, day, hour, minute, second] = time.fields;
  if (year < 1 || month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) || hour > 23 || minute > 59 ||
      second > 59)
    return std::nullopt;
  return time;
}

// The offset from UTC, in minutes, of a zone written "Z", "+HH:MM" or "-HH:MM" as exiftool writes
// the dates of files (within 14 hours, as real zones are).
std::optional<int32_t> zoneOffset(std::string_view zone) {
  if (zone == "Z") return 0;
  if (zone.size() != 6 || (zone[0] != '+' && zone[0] != '-') || zone[3] != ':') return std::nullopt;
  for (const std::size_t i : {1, 2, 4, 5})
    if (zone[i] < '0' || zone[i] > '9') return std::nullopt;
  const int32_t hours = (zone[1] - '0') * 10 + (zone[2] - '0');
  const int32_t minutes = (zone[4] - '0') * 10 + (zone[5] - '0');
  if (hours > 14 || minutes > 59) return std::nullopt;
  return (zone[0] == '-' ? -1 : 1) * (hours * 60 + minutes);
}

// Days from 1970-01-01 to a day of the proleptic Gregorian calendar.
int64_t daysFromCivil(int64_t year, int64_t month, int64_t day) {
  year -= month <= 2;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const int64_t yearOfEra = year - era * 400;
  const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

std::optional<WallTime> wallTimeOf(icu::Calendar& calendar, UDate udate) {
  UErrorCode status = U_ZERO_ERROR;
  calendar.setTime(udate, status);
  WallTime time{{calendar.get(UCAL_EXTENDED_YEAR, status), calendar.get(UCAL_MONTH, status) + 1,
                 calendar.get(UCAL_DATE, status), calendar.get(UCAL_HOUR_OF_DAY, status),
                 calendar.get(UCAL_MINUTE, status), calendar.get(UCAL_SECOND, status)}};
  if (U_FAILURE(status)) return std::nullopt;
  return time;
}

// The moment of a text in the common form, alone (local time) or with a zone; absent when the
// formatter must decide.
std::optional<UDate> commonMoment(std::string_view text) {
  const auto time = commonFields(text);
  if (!time) return std::nullopt;
  const auto [year, month, day, hour, minute, second] = time->fields;
  if (text.size() > 19) {
    const auto offset = zoneOffset(text.substr(19));
    if (!offset) return std::nullopt;
    const int64_t seconds = daysFromCivil(year, month, day) * 86'400 + hour * 3'600 + minute * 60 + second;
    return static_cast<UDate>((seconds - *offset * 60) * 1'000);
  }
  auto* calendar = threadCalendar();
  if (!calendar) return std::nullopt;
  calendar->clear();
  calendar->set(year, month - 1, day, hour, minute, second);
  UErrorCode status = U_ZERO_ERROR;
  const UDate udate = calendar->getTime(status);
  if (U_FAILURE(status) || wallTimeOf(*calendar, udate) != time) return std::nullopt;
  return udate;
}

std::string commonText(const WallTime& time) {
  char text[32];
  const auto [year, month, day, hour, minute, second] = time.fields;
  std::snprintf(text, sizeof text, "%04d:%02d:%02d %02d:%02d:%02d", year, month, day, hour, minute, second);
  return text;
}

// Whether this thread's formatter writes the common form as commonText() does: true unless the
// locale keeps digits of its own. Asked once per thread.
bool formatterWritesLatinDigits() {
  thread_local const bool latin = [] {
    auto* formatter = threadFormatter();
    auto* calendar = threadCalendar();
    if (!formatter || !calendar) return false;
    const UDate udate = 1'234'567'890'000.0;
    formatter->applyPattern(icu::UnicodeString(kCommonFormat.data(), static_cast<int32_t>(kCommonFormat.size()), US_INV));
    icu::UnicodeString text;
    static_cast<icu::DateFormat&>(*formatter).format(udate, text);
    std::string utf8;
    text.toUTF8String(utf8);
    const auto time = wallTimeOf(*calendar, udate);
    return time && utf8 == commonText(*time);
  }();
  return latin;
}

// ---------------------------------------------------------------------------------------------

// The number of letters of a pattern made of letters alone; 0 for a pattern with literals.
constexpr std::size_t digitsPatternLength(std::string_view pattern) {
  for (const char c : pattern)
    if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))) return 0;
  return pattern.size();
}

bool isDigits(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// For a pattern with literals, the text's leading number against the pattern's leading field,
// which ICU would take with any number of digits: a year has its four digits, as exiftool
// writes it ("0001"), so that "10:11:12" is a time and never the year 10; an hour has no more
// than its two, so that the placeholder "0000:00:00" is no time.
bool leadingFieldFits(std::string_view pattern, std::string_view text) {
  const auto letters = pattern.find_first_not_of(pattern.front());
  const auto digits = std::min(text.find_first_not_of("0123456789"), text.size());
  return pattern.front() == 'y' ? digits == letters : digits >= 1 && digits <= letters;
}

icu::UnicodeString unicodeOf(std::string_view text) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

std::optional<Date> dateFromText(std::string_view text) {
  if (text.empty() || text.size() > static_cast<std::size_t>(INT32_MAX) - 16) return std::nullopt;
  if (const auto udate = commonMoment(text)) return detail::dateFromUDate(*udate);
  auto* formatter = threadFormatter();
  if (!formatter) return std::nullopt;
  const auto unicode = unicodeOf(text);
  const bool digitsOnly = isDigits(text);
  for (const auto format : DateTimeValueConverter::dateFormats) {
    // ICU reads abutting digit fields leniently ("101112" as 2010-11-12 with "yyyyMMdd"):
    // such a pattern must see exactly its own number of digits.
    if (const auto letters = digitsPatternLength(format); letters != 0) {
      if (!digitsOnly || text.size() != letters) continue;
    } else if (!leadingFieldFits(format, text)) {
      continue;
    }
    const bool hasYear = format.find('y') != std::string_view::npos;
    // A time alone is read on 1 January 2000, the day that every date lacking its day takes
    // (ICU's formatter would take 1970).
    const auto pattern = hasYear ? unicodeOf(format) : icu::UnicodeString(u"yyyy:MM:dd ") + unicodeOf(format);
    const auto whole = hasYear ? unicode : icu::UnicodeString(u"2000:01:01 ") + unicode;
    formatter->applyPattern(pattern);
    icu::ParsePosition position(0);
    const UDate udate = formatter->parse(whole, position);
    if (position.getErrorIndex() != -1 || position.getIndex() != whole.length()) continue;
    if (auto date = detail::dateFromUDate(udate)) return date;
  }
  return std::nullopt;
}

}  // namespace

std::optional<Date> DateTimeValueConverter::typedValueFromRawValue(const Value& raw) const {
  switch (raw.kind()) {
    case Value::Kind::date: return *raw.getIf<Date>();
    case Value::Kind::string: return dateFromText(*raw.getIf<std::string>());
    case Value::Kind::partialDate: return raw.getIf<PartialDate>()->date();
    case Value::Kind::partialTime: return raw.getIf<PartialTime>()->date();
    default: return std::nullopt;
  }
}

std::optional<Date> DateTimeValueConverter::typedValueFromStringValue(OptionalText string) const {
  if (!string) return std::nullopt;
  return dateFromText(*string);
}

std::optional<std::string> DateTimeValueConverter::stringValueFromTypedValue(const std::optional<Date>& value) const {
  if (!value) return std::nullopt;
  // Outside the years 1 to 9999 the pattern letters would write the year of an era ("0001"
  // for 1 BC) or five digits that exiftool does not read.
  const UDate udate = detail::udateFromDate(*value);
  if (!detail::dateFromUDate(udate)) return std::nullopt;
  if (dateFormat == kCommonFormat && formatterWritesLatinDigits()) {
    if (const auto time = wallTimeOf(*threadCalendar(), udate)) return commonText(*time);
  }
  auto* formatter = threadFormatter();
  if (!formatter) return std::nullopt;
  formatter->applyPattern(unicodeOf(dateFormat));
  icu::UnicodeString text;
  static_cast<icu::DateFormat&>(*formatter).format(udate, text);
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

std::optional<Value> DateTimeValueConverter::objectValueFromStringValue(OptionalText string) const {
  auto text = stringValueFromStringValue(string);
  if (!text) return std::nullopt;
  return std::optional<Value>(std::in_place, std::move(*text));
}

std::optional<std::string> DateTimeValueConverter::formattedValueFromStringValue(OptionalText string) const {
  return stringValueFromStringValue(string);
}

}  // namespace orvelin
