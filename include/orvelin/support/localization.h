#pragma once

#include <concepts>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orvelin {

// ---------------------------------------------------------------------------------------------
// Resources

// The folder of the library's resources (ExifTool/, the string tables, the JSON resources and
// the catalogue). Found once, in this order: $ORVELIN_RESOURCES when set; the installed
// <datadir>/orvelin, reached from the folder of the loaded library by the relative path
// between the two that the build worked out (so any prefix and library folder, such as
// lib/x86_64-linux-gnu, and a moved installation work; the build tree has the same layout);
// the build tree's folder compiled into the library.
// Safe for concurrent use. The result never changes after the first call.
const std::filesystem::path& ORVResourcesDirectory();

// The path of a resource: ORVResourcesDirectory() / name. Absent when no such file exists.
std::optional<std::filesystem::path> ORVResourceURL(std::string_view name);

// Label for queues and similar objects: the library's bundle identifier described as an
// optional, the class name and `name`, joined by ".":
// 'Optional("org.orvelin.Orvelin").TagsResourcesReader.operationQueue'.
std::string ORVBundleLabel(std::string_view className, std::string_view name);

// Name and version of the library as given at build time (CFBundleName, CFBundleVersion...).
// Keys: "CFBundleName", "CFBundleIdentifier", "CFBundleExecutable", "CFBundleVersion",
// "CFBundleLongVersionString", "CFBundleShortVersionString".
const std::map<std::string, std::string>& ORVBundleInfo();

// ---------------------------------------------------------------------------------------------
// .strings tables

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

// ---------------------------------------------------------------------------------------------
// Localised texts

// One argument of a formatted text: a text (for %@) or a number (for %d, %ld, %lu, %f...).
using ORVFormatArg = std::variant<std::string, std::int64_t, std::uint64_t, double>;

// Formats `format` with the printf-like specifiers the texts use: %@, %d, %i, %ld, %lld, %u,
// %lu, %x, %f, %e, %g (with flags, width and precision), %%, and positional forms such as
// %1$@. %@ prints a text as it is and a number in its shortest exact form ("1.5", "3").
// A missing argument gives an empty text in its place, a text given for a number is read as
// one; never crashes.
std::string ORVFormat(std::string_view format, const std::vector<ORVFormatArg>& args);

// The name of the localisation folder (without ".lproj") that texts are looked up in now:
// the folder of Language::userLanguage, or, for the local choice, the one that matches the
// process locale (LC_ALL, LC_MESSAGES, LANG), "English" when none matches.
// The language is worked out once and remembered until the user defaults change
// (ORVUserDefaultsChangeCount(), which covers ORVSetUserDefaults and Language::setUserLanguage)
// or ORVResetLocalizationCache() is called; so a look-up takes no global lock. The process
// locale is read again only after ORVResetLocalizationCache().
std::string ORVCurrentLocalizationName();

namespace detail {
std::string localizedText(const std::optional<std::string_view>& table, std::string_view key,
                          const std::vector<ORVFormatArg>& args);
}  // namespace detail

// Looks up `key` in `table` (absent: the default table) of the current localisation, then of
// English, and returns the key itself when no table has it. With arguments the text is
// formatted by ORVFormat. More than 4 arguments is a programming fault: the process stops
// with "ORVTL doesn't support more than 4 arguments".
// Tables are read once per localisation and table, from "<resources>/<Lang>.lproj/<table>.strings"
// and, for the catalogue's tables, "<resources>/Localized tags/<Lang>.lproj/<table>.strings";
// the default table is "Localizable". Safe for concurrent use.
//
// ORVTL(table, key, args) names a table; ORVTL(key, args) uses the default one, so that
// ORVTL("Import %@", {name}) reads as it should.
template <typename Key>
  requires std::convertible_to<const Key&, std::string_view>
std::string ORVTL(const std::optional<std::string_view>& table, const Key& key,
                  const std::vector<ORVFormatArg>& args = {}) {
  return detail::localizedText(table, std::string_view(key), args);
}

inline std::string ORVTL(std::string_view key, const std::vector<ORVFormatArg>& args = {}) {
  return detail::localizedText(std::nullopt, key, args);
}

// Forgets every table read so far and the language of the localisation; the next look-up
// reads them again (the process locale included). For hosts that regenerate the catalogue,
// change resources or change the locale's environment variables while running.
void ORVResetLocalizationCache();

}  // namespace orvelin
