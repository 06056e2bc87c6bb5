#include "orvelin/exiftool/language.h"

#include <algorithm>
#include <cstdlib>
#include <map>

#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/user_defaults.h"

namespace orvelin {

namespace {

constexpr std::string_view kRawValues[Language::caseCount] = {
    "Local",  "Czech",  "ChineseCN", "ChineseTW", "Dutch",   "English", "French",  "German",
    "Italian", "Japanese", "Korean", "Polish",    "Russian", "Spanish", "Swedish", "Turkish",
};

// The tables below live as long as the process (never destroyed): threads of the worker pool
// may still use them while it exits.

const std::array<std::array<std::string, 3>, Language::caseCount>& namesTable() {
  static const auto* const table = new std::array<std::array<std::string, 3>, Language::caseCount>{{
      {},
      {"Čeština", "cs", "cs"},
      {"简体中文", "zh-cn", "zh-Hans"},
      {"繁體中文", "zh-tw", "zh-Hant"},
      {"Nederlands", "nl", "nl"},
      {"English", "en", "en"},
      {"Français", "fr", "fr"},
      {"Deutsch", "de", "de"},
      {"Italiano", "it", "it"},
      {"日本語", "ja", "ja"},
      {"한국어", "ko", "ko"},
      {"Polski", "pl", "pl"},
      {"Русский", "ru", "ru"},
      {"Español", "es", "es"},
      {"Svenska", "sv", "sv"},
      {"Türkçe", "tr", "tr"},
  }};
  return *table;
}

std::size_t indexOf(Language language) { return static_cast<std::size_t>(static_cast<Language::Value>(language)); }

// The language whose locale code matches the process locale, English when none does.
Language languageOfProcessLocale() {
  std::string locale;
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (const char* value = std::getenv(name); value && *value) {
      locale = value;
      break;
    }
  }
  // "fr_FR.UTF-8@euro" -> language "fr", region "FR".
  locale = locale.substr(0, locale.find_first_of(".@"));
  const auto underscore = locale.find_first_of("_-");
  const std::string language = locale.substr(0, underscore);
  const std::string region = underscore == std::string::npos ? "" : locale.substr(underscore + 1);
  if (language == "zh") {
    return (region == "TW" || region == "HK" || region == "MO" || region == "Hant") ? Language::chineseTW
                                                                                   : Language::chineseCN;
  }
  // The cases in declaration order (not Language::all(), whose order is itself localised).
  for (std::size_t value = 0; value < Language::caseCount; ++value) {
    const Language candidate = static_cast<Language::Value>(value);
    const auto* names = Language::equivalentNames(candidate);
    if (names && (*names)[2] == language) return candidate;
  }
  return Language::english;
}

// The localisation folder ("Deutsch") of the user's language, or of the process locale for the
// local choice: what the texts of the support layer are looked up in.
std::string localizationFolder() {
  Language language = Language::userLanguage();
  if (language == Language::local) language = languageOfProcessLocale();
  return (*Language::equivalentNames(language))[0];
}

// Installed when the library is loaded, before any text is looked up.
[[maybe_unused]] const bool localizationFollowsTheUsersLanguage =
    (ORVSetLocalizationResolver(&localizationFolder), true);

}  // namespace

const std::string Language::willChangeUserLangageNotification = "ORVUserLanguageWillChangeNotification";
const std::string Language::didChangeUserLangageNotification = "ORVUserLanguageDidChangeNotification";

std::optional<Language> Language::fromRawValue(std::string_view rawValue) {
  for (std::size_t i = 0; i < caseCount; ++i)
    if (kRawValues[i] == rawValue) return Language(static_cast<Value>(i));
  return std::nullopt;
}

std::string_view Language::rawValue() const { return kRawValues[indexOf(*this)]; }

std::optional<Language> Language::fromExifToolValue(std::string_view text) {
  std::string normalized(text);
  std::replace(normalized.begin(), normalized.end(), '_', '-');
  for (Language language : allBasic()) {
    const auto* names = equivalentNames(language.equivalentLanguage());
    if (names && (*names)[1] == normalized) return language;
  }
  return std::nullopt;
}

Language Language::equivalentLanguage() const {
  if (value_ != local) return *this;
  return fromRawValue(ORVTL("LanguageLocalValue")).value_or(english);
}

std::string Language::name() const {
  const auto* names = equivalentNames(equivalentLanguage());
  return names ? (*names)[0] : std::string();
}

std::string Language::localizedName() const { return ORVTL("Language" + std::string(rawValue())); }

std::string Language::title() const { return localizedName() + " (" + name() + ")"; }

const std::array<std::string, 3>* Language::equivalentNames(Language language) {
  if (language == local) return nullptr;
  return &namesTable()[indexOf(language)];
}

const std::vector<Language>& Language::allBasic() {
  static const auto* const languages = [] {
    std::vector<std::pair<std::string, Language>> named;
    for (std::size_t i = 1; i < caseCount; ++i) {
      const Language language(static_cast<Value>(i));
      named.emplace_back(language.localizedName(), language);
    }
    std::stable_sort(named.begin(), named.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    auto* result = new std::vector<Language>;
    for (const auto& [name, language] : named) result->push_back(language);
    return result;
  }();
  return *languages;
}

const std::vector<Language>& Language::all() {
  static const auto* const languages = [] {
    auto* result = new std::vector<Language>{local};
    const auto& basic = allBasic();
    result->insert(result->end(), basic.begin(), basic.end());
    return result;
  }();
  return *languages;
}

std::string& Language::userLanguageKey() {
  static auto* const key = new std::string("ORVUserLanguage");
  return *key;
}

Language Language::userLanguage() {
  const auto defaults = ORVGetUserDefaults();
  const auto stored = defaults->string(userLanguageKey());
  if (!stored) return local;
  return fromRawValue(*stored).value_or(local);
}

void Language::setUserLanguage(Language language) {
  auto& center = NotificationCenter::defaultCenter();
  center.post(willChangeUserLangageNotification);
  const auto defaults = ORVGetUserDefaults();
  defaults->set(userLanguageKey(), std::string(language.rawValue()));
  defaults->synchronize();
  center.post(didChangeUserLangageNotification);
}

// ---------------------------------------------------------------------------------------------

const std::vector<MediaKind>& MediaKind::all() {
  static const auto* const kinds = new std::vector<MediaKind>{audio, image, movie, other};
  return *kinds;
}

std::optional<MediaKind> MediaKind::fromURL(const std::string& path) {
  const auto slash = path.find_last_of('/');
  const std::string_view file = slash == std::string::npos ? std::string_view(path) : std::string_view(path).substr(slash + 1);
  const auto dot = file.find_last_of('.');
  if (dot == std::string_view::npos || dot == 0) return std::nullopt;
  std::string extension(file.substr(dot + 1));
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const auto& arranged = ExifToolCLI::arrangedTypes();
  for (MediaKind kind : all()) {
    auto found = arranged.find(kind);
    if (found != arranged.end() && found->second.contains(extension)) return kind;
  }
  return std::nullopt;
}

std::string_view MediaKind::name() const {
  switch (value_) {
    case audio: return "audio";
    case image: return "image";
    case movie: return "movie";
    case other: return "other";
  }
  return "";
}

std::string MediaKind::localizedName() const {
  std::string key = "MediaKind" + std::string(name());
  key[9] = static_cast<char>(std::toupper(static_cast<unsigned char>(key[9])));
  return ORVTL(key);
}

}  // namespace orvelin
