#include "orvelin/support/format.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>

namespace orvelin {

namespace {

std::string argumentAsText(const ORVFormatArg& argument) {
  if (const auto* text = std::get_if<std::string>(&argument)) return *text;
  if (const auto* integer = std::get_if<std::int64_t>(&argument)) return std::to_string(*integer);
  if (const auto* natural = std::get_if<std::uint64_t>(&argument)) return std::to_string(*natural);
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, std::get<double>(argument));
  return std::string(buffer, result.ptr);
}

long long argumentAsInteger(const ORVFormatArg& argument) {
  if (const auto* integer = std::get_if<std::int64_t>(&argument)) return *integer;
  if (const auto* natural = std::get_if<std::uint64_t>(&argument)) return static_cast<long long>(*natural);
  if (const auto* real = std::get_if<double>(&argument)) {
    // Out-of-range doubles would be undefined behaviour in a plain cast.
    if (!(*real >= -9.2e18 && *real <= 9.2e18)) return 0;
    return static_cast<long long>(*real);
  }
  return std::strtoll(std::get<std::string>(argument).c_str(), nullptr, 10);
}

double argumentAsReal(const ORVFormatArg& argument) {
  if (const auto* real = std::get_if<double>(&argument)) return *real;
  if (const auto* integer = std::get_if<std::int64_t>(&argument)) return static_cast<double>(*integer);
  if (const auto* natural = std::get_if<std::uint64_t>(&argument)) return static_cast<double>(*natural);
  return std::strtod(std::get<std::string>(argument).c_str(), nullptr);
}

// Appends one printf conversion of `value`, at most 511 bytes of it; nothing when it fails.
template <typename Number>
void appendFormatted(std::string& out, const std::string& directive, Number value) {
  char buffer[512];
  const int length = std::snprintf(buffer, sizeof buffer, directive.c_str(), value);
  if (length < 0) return;
  out.append(buffer, std::min<std::size_t>(static_cast<std::size_t>(length), sizeof buffer - 1));
}

}  // namespace

std::string ORVFormat(std::string_view format, const std::vector<ORVFormatArg>& args) {
  std::string out;
  out.reserve(format.size() + 16);
  std::size_t nextArgument = 0;
  std::size_t i = 0;
  while (i < format.size()) {
    const char c = format[i];
    if (c != '%') {
      out.push_back(c);
      ++i;
      continue;
    }
    const std::size_t start = i++;
    if (i < format.size() && format[i] == '%') {
      out.push_back('%');
      ++i;
      continue;
    }
    // Optional position "N$".
    std::size_t position = 0;
    std::size_t j = i;
    while (j < format.size() && format[j] >= '0' && format[j] <= '9') position = position * 10 + (format[j++] - '0');
    std::size_t argumentIndex;
    if (j < format.size() && format[j] == '$' && position > 0) {
      argumentIndex = position - 1;
      i = j + 1;
    } else {
      argumentIndex = nextArgument++;
    }
    // Flags, width, precision.
    std::string directive = "%";
    while (i < format.size() && std::string_view("-+ #0'").find(format[i]) != std::string_view::npos)
      directive.push_back(format[i++]);
    while (i < format.size() && ((format[i] >= '0' && format[i] <= '9') || format[i] == '.'))
      directive.push_back(format[i++]);
    // Length modifiers are accepted and dropped.
    while (i < format.size() && std::string_view("hlqLzjt").find(format[i]) != std::string_view::npos) ++i;
    if (i >= format.size()) {
      out.append(format.substr(start));
      break;
    }
    const char conversion = format[i++];
    const ORVFormatArg* argument = argumentIndex < args.size() ? &args[argumentIndex] : nullptr;
    switch (conversion) {
      case '@':
        if (argument) out += argumentAsText(*argument);
        break;
      case 'd':
      case 'i':
      case 'u':
      case 'x':
      case 'X':
      case 'o': {
        if (!argument) break;
        const long long value = argumentAsInteger(*argument);
        directive += "ll";
        directive.push_back(conversion == 'i' ? 'd' : conversion);
        appendFormatted(out, directive, value);
        break;
      }
      case 'f':
      case 'F':
      case 'e':
      case 'E':
      case 'g':
      case 'G': {
        if (!argument) break;
        const double value = argumentAsReal(*argument);
        directive.push_back(conversion);
        appendFormatted(out, directive, value);
        break;
      }
      case 's':
        if (argument) out += argumentAsText(*argument);
        break;
      default:
        out.append(format.substr(start, i - start));
        break;
    }
  }
  return out;
}

}  // namespace orvelin
