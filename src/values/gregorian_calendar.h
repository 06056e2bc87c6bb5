#pragma once

// The bridge between Date and ICU's calendar: one lenient Gregorian calendar in the process's
// local time zone per operation, and the conversion between Date and ICU's milliseconds.

#include <unicode/calendar.h>
#include <unicode/utypes.h>

#include <memory>
#include <optional>

#include "orvelin/values/date_values.h"

namespace orvelin::detail {

// A fresh lenient Gregorian calendar in ICU's default time zone (the TZ of the process),
// Gregorian for every year: ICU's default switches to the Julian calendar before 15 October
// 1582, which neither exiftool nor std::chrono do. Null only when ICU cannot make one.
std::unique_ptr<icu::Calendar> makeLocalGregorianCalendar();

// Milliseconds since 1970 as ICU counts them.
UDate udateFromDate(Date date);
// Absent when `udate` is not finite or its local year lies outside 1 to 9999.
std::optional<Date> dateFromUDate(UDate udate);

}  // namespace orvelin::detail
