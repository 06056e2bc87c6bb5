#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace orvelin {

// The ".strings" tables of the localisations and of the catalogue. Plain functions of their
// input, safe from any thread.

// Parses the text of a .strings file: `"key" = "value";` entries (and `"key";`, which maps the
// key to itself), with /* block */ and // line comments, an optional UTF-8 byte order mark,
// the escapes \" \' \\ \a \b \f \n \r \t \v, \Uxxxx (up to four hexadecimal digits; two of
// them may spell a surrogate pair), octal \ooo, and a backslash before a line feed; any other
// escaped character stands for itself. Unquoted keys or values are made of letters, digits and
// "_$+/:.-". A later entry replaces an earlier one with the same key. Parsing stops quietly at
// the first malformed entry, keeping what came before it.
std::map<std::string, std::string, std::less<>> parseStringsTable(std::string_view text);

// Reads and parses a .strings file; an unreadable file gives an empty table.
std::map<std::string, std::string, std::less<>> readStringsFile(const std::filesystem::path& path);

}  // namespace orvelin
