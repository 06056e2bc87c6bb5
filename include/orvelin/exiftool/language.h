#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvelin {

// A language in which exiftool prints values and in which the catalogue's texts exist.
// A value type: the enumerators convert implicitly, so `Language lang = Language::german;`
// and `switch (lang)` work. Immutable; safe to share between threads.
class Language {
 public:
  enum Value : std::uint8_t {
    local,
    czech,
    chineseCN,
    chineseTW,
    dutch,
    english,
    french,
    german,
    italian,
    japanese,
    korean,
    polish,
    russian,
    spanish,
    swedish,
    turkish,
  };
  static constexpr std::size_t caseCount = 16;

  constexpr Language(Value value) : value_(value) {}  // NOLINT: implicit by design
  constexpr operator Value() const { return value_; }  // NOLINT

  // "Local", "Czech", "ChineseCN", ... Absent for an unknown text.
  static std::optional<Language> fromRawValue(std::string_view rawValue);
  std::string_view rawValue() const;

  // From a tool-side language text such as "zh_cn": "_" becomes "-", then the first language
  // of allBasic() whose "-lang" code equals the text. Case counts: "zh-CN" matches nothing.
  static std::optional<Language> fromExifToolValue(std::string_view text);

  // This language, with `local` replaced by the language of the current localisation (the
  // default table's "LanguageLocalValue"), English when that names no language.
  Language equivalentLanguage() const;

  // The language's own name ("Deutsch"), of equivalentLanguage().
  std::string name() const;
  // "Language" + raw value through the default table ("LanguageGerman").
  std::string localizedName() const;
  // localizedName() + " (" + name() + ")".
  std::string title() const;

  // Own name, "-lang" code, locale code, for the 15 real languages (not `local`).
  static const std::array<std::string, 3>* equivalentNames(Language language);
  // The 15 real languages, sorted by localizedName() of the localisation at first use.
  static const std::vector<Language>& allBasic();
  // local followed by allBasic().
  static const std::vector<Language>& all();

  // The user defaults key of the stored choice, "ORVUserLanguage". Set only at start-up.
  static std::string& userLanguageKey();
  // The stored choice; `local` when none or an unknown text is stored.
  static Language userLanguage();
  // Posts willChangeUserLangageNotification, stores and synchronises the defaults, posts
  // didChangeUserLangageNotification, all on the caller's thread, with no object.
  static void setUserLanguage(Language language);

  static const std::string willChangeUserLangageNotification;  // "ORVUserLanguageWillChangeNotification"
  static const std::string didChangeUserLangageNotification;   // "ORVUserLanguageDidChangeNotification"

  // Orders by raw value ("ChineseCN" < "German" < "Local"): an order that stays the same when
  // the user's language changes, so that languages can key a std::set or std::map. Menus sort
  // by localizedName() themselves, as allBasic() does.
  friend bool operator<(Language lhs, Language rhs) { return lhs.rawValue() < rhs.rawValue(); }

 private:
  Value value_;
};

// Sorts files by extension for ExifToolCLI::arrangedTypes(). A value type like Language.
class MediaKind {
 public:
  enum Value : std::uint8_t { audio, image, movie, other };

  constexpr MediaKind(Value value) : value_(value) {}  // NOLINT: implicit by design
  constexpr operator Value() const { return value_; }  // NOLINT

  // [audio, image, movie, other].
  static const std::vector<MediaKind>& all();
  // The first kind of all() whose set holds the lower-cased extension; absent for none.
  static std::optional<MediaKind> fromURL(const std::string& path);
  // "audio", "image", "movie", "other".
  std::string_view name() const;
  // "MediaKind" + capitalised name through the default table.
  std::string localizedName() const;

 private:
  Value value_;
};

}  // namespace orvelin

template <>
struct std::hash<orvelin::Language> {
  std::size_t operator()(orvelin::Language language) const noexcept {
    return static_cast<std::size_t>(static_cast<orvelin::Language::Value>(language));
  }
};

template <>
struct std::hash<orvelin::MediaKind> {
  std::size_t operator()(orvelin::MediaKind kind) const noexcept {
    return static_cast<std::size_t>(static_cast<orvelin::MediaKind::Value>(kind));
  }
};
