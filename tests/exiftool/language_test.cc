#include "orvelin/exiftool/language.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/event_log.h"
#include "common/test_support.h"
#include "common/user_language.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/user_defaults.h"

namespace orvelin {
namespace {

using testing::UserLanguageScope;

// A set of languages keeps finding its members when the user's language changes.
TEST(Language, OrderDoesNotChangeWithTheUsersLanguage) {
  UserLanguageScope scope;
  Language::setUserLanguage(Language::english);
  const std::set<Language> languages(Language::all().begin(), Language::all().end());
  Language::setUserLanguage(Language::german);  // "Englisch" < "Französisch", where "English" > "Czech"
  ASSERT_EQ(Language(Language::english).localizedName(), "Englisch");
  for (const Language language : Language::all()) EXPECT_EQ(languages.count(language), 1u) << language.rawValue();
}

TEST(Language, LocalStandsForTheLanguageOfTheProcessLocale) {
  UserLanguageScope scope;
  struct ResetCache {
    ~ResetCache() { ORVResetLocalizationCache(); }
  } reset;  // after the variables are restored
  testing::EnvironmentScope environment;
  // Sets LC_ALL, LC_MESSAGES and LANG (absent: unset), and makes the localisation read them again.
  const auto locale = [&](std::optional<std::string> all, std::optional<std::string> messages,
                          std::optional<std::string> lang) {
    environment.set("LC_ALL", all);
    environment.set("LC_MESSAGES", messages);
    environment.set("LANG", lang);
    ORVResetLocalizationCache();
  };
  Language::setUserLanguage(Language::local);
  const auto local = [] { return Language(Language::local).equivalentLanguage(); };

  locale(std::nullopt, std::nullopt, std::nullopt);
  EXPECT_EQ(local(), Language::english);  // no locale at all
  EXPECT_EQ(Language(Language::local).name(), "English");
  locale("C", std::nullopt, "fr_FR.UTF-8");
  EXPECT_EQ(local(), Language::english);  // LC_ALL comes first, and C is no language
  locale(std::nullopt, "fr_FR.UTF-8", "de_DE.UTF-8");
  EXPECT_EQ(local(), Language::french);
  EXPECT_EQ(Language(Language::local).name(), "Français");
  locale(std::nullopt, std::nullopt, "de_DE.UTF-8@euro");
  EXPECT_EQ(local(), Language::german);
  locale("zh_TW.UTF-8", std::nullopt, std::nullopt);
  EXPECT_EQ(local(), Language::chineseTW);
  locale("pt_BR.UTF-8", std::nullopt, std::nullopt);
  EXPECT_EQ(local(), Language::english);  // no localisation for it
  // A chosen language does not depend on the locale.
  locale("fr_FR.UTF-8", std::nullopt, std::nullopt);
  EXPECT_EQ(Language(Language::swedish).equivalentLanguage(), Language::swedish);
  Language::setUserLanguage(Language::german);
  EXPECT_EQ(local(), Language::german);
}

TEST(Language, FromExifToolValues) {
  EXPECT_EQ(Language::fromExifToolValue("de"), Language::german);
  EXPECT_EQ(Language::fromExifToolValue("zh_cn"), Language::chineseCN);
  EXPECT_EQ(Language::fromExifToolValue("zh-tw"), Language::chineseTW);
  EXPECT_EQ(Language::fromExifToolValue("zh-CN"), std::nullopt);
  EXPECT_EQ(Language::fromExifToolValue("Deutsch"), std::nullopt);
  EXPECT_EQ(Language::fromExifToolValue(""), std::nullopt);
}

TEST(Language, UserLanguageIsStoredAndAnnounced) {
  UserLanguageScope scope;
  auto defaults = ORVGetUserDefaults();
  defaults->remove(Language::userLanguageKey());
  EXPECT_EQ(Language::userLanguage(), Language::local);
  defaults->set(Language::userLanguageKey(), "Klingon");
  EXPECT_EQ(Language::userLanguage(), Language::local);

  std::vector<std::string> events;
  {
    testing::Observation will(Language::willChangeUserLangageNotification, nullptr, [&](const Notification&) {
      events.push_back("will:" + std::string(Language::userLanguage().rawValue()));
    });
    testing::Observation did(Language::didChangeUserLangageNotification, nullptr, [&](const Notification&) {
      events.push_back("did:" + std::string(Language::userLanguage().rawValue()));
    });
    Language::setUserLanguage(Language::italian);
  }

  EXPECT_THAT(events, ::testing::ElementsAre("will:Local", "did:Italian"));
  EXPECT_EQ(Language::userLanguage(), Language::italian);
  // Stored on disk as well.
  UserDefaults reread(defaults->path());
  EXPECT_EQ(reread.string("ORVUserLanguage"), "Italian");
}

}  // namespace
}  // namespace orvelin
