#include "values/number_text.h"

#include <locale.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <system_error>

namespace orvelin::detail {

namespace {

locale_t cLocale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return locale;
}

bool isASCIIDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

std::optional<double> parseCDouble(std::string_view text) {
  if (text.empty()) return std::nullopt;
  switch (text.front()) {
    case '\t': case '\n': case '\v': case '\f': case '\r': case ' ':
      return std::nullopt;  // strtod would skip it; the whole text must be the number
    default: break;
  }
  if (text.find('\0') != std::string_view::npos) return std::nullopt;
  char small[64];
  std::string large;
  const char* begin;
  if (text.size() < sizeof small) {
    text.copy(small, text.size());
    small[text.size()] = '\0';
    begin = small;
  } else {
    large.assign(text);
    begin = large.c_str();
  }
  char* end = nullptr;
  // Out of range is no failure: an overflow reads as an infinity, an underflow as zero or the
  // nearest denormal, as the C library rounds them.
  const double value = strtod_l(begin, &end, cLocale());
  if (end != begin + text.size()) return std::nullopt;
  return value;
}

std::string shortestRoundTripText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  if (value == 0.0) return std::signbit(value) ? "-0.0" : "0.0";
  char buffer[64];
  const double magnitude = std::fabs(value);
  if (magnitude < 1e-4 || magnitude > 0x1.0p54) {
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific);
    return std::string(buffer, result.ptr);
  }
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed);
  std::string text(buffer, result.ptr);
  if (text.find('.') == std::string::npos) text += ".0";
  return text;
}

std::int64_t leadingIntegerValue(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' || text[i] == '\r' ||
                             text[i] == '\v' || text[i] == '\f'))
    ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  // Accumulated as a negative number, whose range is the larger one.
  constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
  std::int64_t accumulated = 0;
  bool saturated = false;
  for (; i < text.size() && isASCIIDigit(text[i]); ++i) {
    const int digit = text[i] - '0';
    if (accumulated < (lowest + digit) / 10) {
      saturated = true;
      continue;
    }
    accumulated = accumulated * 10 - digit;
  }
  if (saturated) return negative ? lowest : std::numeric_limits<std::int64_t>::max();
  if (negative) return accumulated;
  return accumulated == lowest ? std::numeric_limits<std::int64_t>::max() : -accumulated;
}

std::optional<std::int64_t> truncatedInteger(double value) {
  // -2^63 and 2^63 are exact doubles; everything from the first up to the second excluded
  // converts without overflow.
  if (!(value >= -0x1.0p63 && value < 0x1.0p63)) return std::nullopt;
  return static_cast<std::int64_t>(value);
}

std::string fixedText(double value, int precision) {
  char buffer[400];  // the widest double in fixed notation has 309 integer digits
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, precision);
  if (result.ec != std::errc()) return {};
  return std::string(buffer, result.ptr);
}

std::string numberDescription(double value) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 16);
  return std::string(buffer, result.ptr);
}

std::string cFormat(std::string_view format, const std::vector<PrintfArg>& args) {
  std::string out;
  out.reserve(format.size() + 16);
  std::size_t nextArgument = 0;
  std::size_t i = 0;
  while (i < format.size()) {
    if (format[i] != '%') {
      out.push_back(format[i++]);
      continue;
    }
    const std::size_t start = i++;
    if (i < format.size() && format[i] == '%') {
      out.push_back('%');
      ++i;
      continue;
    }
    bool zeroPadded = false;
    bool leftAligned = false;
    for (; i < format.size() && (format[i] == '0' || format[i] == '-'); ++i) (format[i] == '0' ? zeroPadded : leftAligned) = true;
    std::size_t width = 0;
    for (; i < format.size() && isASCIIDigit(format[i]); ++i) width = std::min<std::size_t>(width * 10 + (format[i] - '0'), 1000);
    std::optional<int> precision;
    if (i < format.size() && format[i] == '.') {
      int digits = 0;
      for (++i; i < format.size() && isASCIIDigit(format[i]); ++i) digits = std::min(digits * 10 + (format[i] - '0'), 1000);
      precision = digits;
    }
    if (i >= format.size()) {
      out.append(format.substr(start));
      break;
    }
    const char conversion = format[i++];
    const PrintfArg* argument = nextArgument < args.size() ? &args[nextArgument] : nullptr;
    std::string piece;
    bool numeric = false;
    switch (conversion) {
      case '@':
        ++nextArgument;
        if (argument && std::holds_alternative<std::string_view>(*argument)) piece = std::get<std::string_view>(*argument);
        break;
      case 'd':
        ++nextArgument;
        if (argument && std::holds_alternative<std::int64_t>(*argument)) {
          char buffer[32];
          const auto result = std::to_chars(buffer, buffer + sizeof buffer, std::get<std::int64_t>(*argument));
          piece.assign(buffer, result.ptr);
          numeric = true;
        }
        break;
      case 'f':
        ++nextArgument;
        if (argument && std::holds_alternative<double>(*argument)) {
          const double value = std::get<double>(*argument);
          piece = fixedText(value, precision.value_or(6));
          numeric = std::isfinite(value);  // printf pads "nan" and "inf" with blanks
        }
        break;
      default:
        out.append(format.substr(start, i - start));
        continue;
    }
    if (piece.size() < width) {
      const std::size_t missing = width - piece.size();
      if (leftAligned)
        piece.append(missing, ' ');
      else if (zeroPadded && numeric)
        piece.insert(piece.front() == '-' ? 1 : 0, missing, '0');
      else
        piece.insert(0, missing, ' ');
    }
    out += piece;
  }
  return out;
}

}  // namespace orvelin::detail
