#pragma once

#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orvelin/support/format.h"

namespace orvelin {

// Localised texts: the tables of the current localisation, then English, then the key.

// The name of the localisation folder (without ".lproj") that texts are looked up in now, as
// the installed resolver answers it (see ORVSetLocalizationResolver); "English" without one.
// The answer is worked out once and remembered until the user defaults change
// (ORVUserDefaultsChangeCount(), which covers ORVSetUserDefaults and a change of the user's
// language) or ORVResetLocalizationCache() is called; so a look-up takes no global lock.
std::string ORVCurrentLocalizationName();

// Works out the localisation folder's name. The library's language layer installs the one that
// follows the user's language (Language::userLanguage(), and the process locale for the local
// choice) when it is loaded; a host may install its own. Called from any thread, never while a
// lock of the library's is held. Meant to be set at start-up; null restores "English".
using ORVLocalizationResolver = std::string (*)();
void ORVSetLocalizationResolver(ORVLocalizationResolver resolver);

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
