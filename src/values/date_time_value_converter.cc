#include "orvelin/values/date_time_value_converter.h"

#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdint>
#include <memory>

#include "values/gregorian_calendar.h"

namespace orvelin {

namespace {

// A fresh formatter as a platform date formatter starts out: the default locale (with Latin
// digits and the Gregorian calendar, whatever the locale prefers), the local time zone, and
// strict parsing. Null only when ICU cannot make one.
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
  auto formatter = makeFormatter();
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
  auto formatter = makeFormatter();
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
