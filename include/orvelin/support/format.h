#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orvelin {

// One argument of a formatted text: a text (for %@) or a number (for %d, %ld, %lu, %f...).
using ORVFormatArg = std::variant<std::string, std::int64_t, std::uint64_t, double>;

// Formats `format` with the printf-like specifiers the texts use: %@, %d, %i, %ld, %lld, %u,
// %lu, %x, %f, %e, %g (with flags, width and precision), %%, and positional forms such as
// %1$@. %@ prints a text as it is and a number in its shortest exact form ("1.5", "3").
// A missing argument gives an empty text in its place, a text given for a number is read as
// one; never crashes.
std::string ORVFormat(std::string_view format, const std::vector<ORVFormatArg>& args);

}  // namespace orvelin
