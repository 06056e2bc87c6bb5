#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "orvelin/values/date_values.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

// Dates and times, read in any of the forms of dateFormats() and written in `dateFormat`.
//
// Formats use Unicode date pattern letters (ICU's SimpleDateFormat, in the default locale
// with Latin digits, the Gregorian calendar and the process's local time zone, strict as a
// platform date formatter is by default). A text must be matched as a whole. Formats made of
// digits alone ("yyyyMMdd", "HHmmss", "yyyy") only take a text of exactly as many ASCII
// digits as the pattern has letters, so that six digits read as a time and never as a
// two-digit year. A year must be written with four digits, so that "10:11:12", which
// "yyyy:MM:dd" would take for the year 10, reads as a time. A reading outside the years 1 to
// 9999 (see Date) does not count: "0000:00:00 00:00:00", exiftool's placeholder for no date,
// is absent.
//
// Fields that a format leaves open are those of 1 January 2000, 00:00:00: a time alone lands
// on that day (local time), a year alone on its first moment. Any time zone in the text is
// honoured when reading and lost when writing, which uses local time.
//
// The object value of a date is its normalised text, not a date; the raw value is a date;
// CSV and JSON take the text.
//
// The ICU formatter and calendar are those of the calling thread (made on its first call), so
// one converter may be used from several threads at once as long as none changes `dateFormat`.
class DateTimeValueConverter : public TypedValueConverter<Date> {
 public:
  explicit DateTimeValueConverter(std::string format = "yyyy:MM:dd HH:mm:ss") : dateFormat(std::move(format)) {}

  // The format of written texts.
  std::string dateFormat;

  // The formats tried on a text, in this order; the first that reads the whole text wins.
  static constexpr std::array<std::string_view, 11> dateFormats = {
      "yyyy:MM:dd HH:mm:ss",
      "yyyy:MM:dd HH:mm",
      "yyyy:MM:dd",
      "yyyyMMdd",
      "HH:mm:ss",
      "HHmmss",
      "yyyy:MM:dd HH:mm:ss.SSSZZ",
      "yyyy:MM:dd HH:mm:ssZZZZZ",
      "yyyy:MM:dd HH:mm:ssZZZZ",
      "yyyy:MM:dd HH:mm:ssZ",
      "yyyy",
  };

  // Raw values: a date as it is; a text through dateFormats (empty: absent); a partial date or
  // time, its date(); anything else, a DateTime included, absent.
  std::optional<Date> typedValueFromRawValue(const Value& raw) const override;
  // Absent for an absent or empty text or one that no format reads.
  std::optional<Date> typedValueFromStringValue(OptionalText string) const override;
  // The date in `dateFormat`, local time; absent outside the years 1 to 9999.
  std::optional<std::string> stringValueFromTypedValue(const std::optional<Date>& value) const override;

  // stringValueFromStringValue(string), as a text.
  std::optional<Value> objectValueFromStringValue(OptionalText string) const override;
  // The text through the raw path: the same as stringValueFromStringValue.
  std::optional<std::string> formattedValueFromStringValue(OptionalText string) const override;
};

}  // namespace orvelin
