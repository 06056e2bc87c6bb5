#pragma once

// Number texts shared by the converters and the coordinate types. Every function here is
// independent of the process locale: a host that calls setlocale() still reads and writes
// "1.5", never "1,5".

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orvelin::detail {

// The strict whole-text double parse: the C locale's grammar (optional sign, decimal or
// hexadecimal digits, optional exponent, "inf", "infinity", "nan"), no leading white space,
// nothing left over; absent only when the text is no such number. A magnitude beyond the
// range of a double is rounded as strtod rounds it: "1e999" is an infinity, "1e-999" zero.
std::optional<double> parseCDouble(std::string_view text);

// The shortest text that reads back as the same double: decimal notation ("3.0", "0.0001",
// "18014398509481984.0") between 1e-4 and 2^54 in magnitude, exponent notation outside
// ("1e-05", "1e+20", "2.5e+16"); "inf", "-inf", "nan".
std::string shortestRoundTripText(double value);

// The leading integer of a text: leading white space skipped, an optional sign, then decimal
// digits up to the first other character. No digits gives 0; a value beyond the 64-bit range
// saturates.
std::int64_t leadingIntegerValue(std::string_view text);

// The integer part of a double for an integer conversion: absent when the double is not
// finite or lies outside the 64-bit range.
std::optional<std::int64_t> truncatedInteger(double value);

// printf's "%.<precision>f" in the C locale.
std::string fixedText(double value, int precision);

// A number as a boxed number describes itself: integers in decimal, doubles as "%0.16g"
// ("5.6", "3", "1e+20") in the C locale.
std::string numberDescription(double value);

// A small printf for the formats of the library's own texts, in the C locale: "%@" (a text),
// "%d" (an integer) and "%f" (a double), with the flags "0" and "-", a width and a precision.
// Anything else in the format is copied as it stands; a missing or mismatched argument prints
// nothing.
using PrintfArg = std::variant<std::string_view, std::int64_t, double>;
std::string cFormat(std::string_view format, const std::vector<PrintfArg>& args);

}  // namespace orvelin::detail
