#include "orvelin/exiftool/language.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "orvelin/support/localization.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/user_defaults.h"

namespace orvelin {
namespace {

// Restores the stored choice after a test changes it.
class StoredLanguageScope {
 public:
  StoredLanguageScope() : defaults_(ORVGetUserDefaults()), saved_(defaults_->object(Language::userLanguageKey())) {}
  ~StoredLanguageScope() {
    if (saved_)
      defaults_->set(Language::userLanguageKey(), *saved_);
    else
      defaults_->remove(Language::userLanguageKey());
  }

 private:
  std::shared_ptr<UserDefaults> defaults_;
  std::optional<nlohmann::json> saved_;
};

TEST(Language, CasesAndNames) {
  StoredLanguageScope scope;
  Language::setUserLanguage(Language::english);  // the localised names below are English
  EXPECT_EQ(Language::all().size(), 16u);
  EXPECT_EQ(Language::all().front(), Language::local);
  const auto& basic = Language::allBasic();
  EXPECT_EQ(basic.size(), 15u);
  EXPECT_EQ(std::count(basic.begin(), basic.end(), Language::local), 0);
  EXPECT_TRUE(std::is_sorted(basic.begin(), basic.end(),
                             [](Language a, Language b) { return a.localizedName() < b.localizedName(); }));
  EXPECT_EQ(Language(Language::chineseCN).rawValue(), "ChineseCN");
  EXPECT_EQ(Language::fromRawValue("Swedish"), Language::swedish);
  EXPECT_EQ(Language::fromRawValue("swedish"), std::nullopt);
  EXPECT_EQ(Language(Language::german).name(), "Deutsch");
  EXPECT_EQ(Language(Language::german).localizedName(), "German");
  EXPECT_EQ(Language(Language::german).title(), "German (Deutsch)");
  EXPECT_EQ(Language(Language::local).localizedName(), "Local");
  EXPECT_EQ(Language::equivalentNames(Language::local), nullptr);
  EXPECT_THAT(*Language::equivalentNames(Language::chineseTW), ::testing::ElementsAre("繁體中文", "zh-tw", "zh-Hant"));
}

// A set of languages keeps finding its members when the user's language changes.
TEST(Language, OrderDoesNotChangeWithTheUsersLanguage) {
  StoredLanguageScope scope;
  Language::setUserLanguage(Language::english);
  const std::set<Language> languages(Language::all().begin(), Language::all().end());
  Language::setUserLanguage(Language::german);  // "Englisch" < "Französisch", where "English" > "Czech"
  ASSERT_EQ(Language(Language::english).localizedName(), "Englisch");
  for (const Language language : Language::all()) EXPECT_EQ(languages.count(language), 1u) << language.rawValue();
}

// Sets the locale's environment variables for one test, restores them afterwards, and makes
// the localisation read them again each time.
class LocaleEnvironmentScope {
 public:
  LocaleEnvironmentScope() {
    for (const char* name : kNames) {
      const char* value = std::getenv(name);
      saved_.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
    }
  }
  ~LocaleEnvironmentScope() {
    for (const auto& [name, value] : saved_) {
      if (value)
        ::setenv(name, value->c_str(), 1);
      else
        ::unsetenv(name);
    }
    ORVResetLocalizationCache();
  }
  // LC_ALL, LC_MESSAGES and LANG in this order; absent ones are unset.
  void set(std::optional<std::string> all, std::optional<std::string> messages, std::optional<std::string> lang) {
    const std::optional<std::string>* values[] = {&all, &messages, &lang};
    for (std::size_t i = 0; i < 3; ++i) {
      if (*values[i])
        ::setenv(kNames[i], (*values[i])->c_str(), 1);
      else
        ::unsetenv(kNames[i]);
    }
    ORVResetLocalizationCache();
  }

 private:
  static constexpr const char* kNames[] = {"LC_ALL", "LC_MESSAGES", "LANG"};
  std::vector<std::pair<const char*, std::optional<std::string>>> saved_;
};

TEST(Language, LocalStandsForTheLanguageOfTheProcessLocale) {
  StoredLanguageScope scope;
  LocaleEnvironmentScope locale;
  Language::setUserLanguage(Language::local);
  const auto local = [] { return Language(Language::local).equivalentLanguage(); };

  locale.set(std::nullopt, std::nullopt, std::nullopt);
  EXPECT_EQ(local(), Language::english);  // no locale at all
  EXPECT_EQ(Language(Language::local).name(), "English");
  locale.set("C", std::nullopt, "fr_FR.UTF-8");
  EXPECT_EQ(local(), Language::english);  // LC_ALL comes first, and C is no language
  locale.set(std::nullopt, "fr_FR.UTF-8", "de_DE.UTF-8");
  EXPECT_EQ(local(), Language::french);
  EXPECT_EQ(Language(Language::local).name(), "Français");
  locale.set(std::nullopt, std::nullopt, "de_DE.UTF-8@euro");
  EXPECT_EQ(local(), Language::german);
  locale.set("zh_TW.UTF-8", std::nullopt, std::nullopt);
  EXPECT_EQ(local(), Language::chineseTW);
  locale.set("pt_BR.UTF-8", std::nullopt, std::nullopt);
  EXPECT_EQ(local(), Language::english);  // no localisation for it
  // A chosen language does not depend on the locale.
  locale.set("fr_FR.UTF-8", std::nullopt, std::nullopt);
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
  StoredLanguageScope scope;
  auto defaults = ORVGetUserDefaults();
  defaults->remove(Language::userLanguageKey());
  EXPECT_EQ(Language::userLanguage(), Language::local);
  defaults->set(Language::userLanguageKey(), "Klingon");
  EXPECT_EQ(Language::userLanguage(), Language::local);

  std::vector<std::string> events;
  auto& center = NotificationCenter::defaultCenter();
  auto will = center.addObserver(Language::willChangeUserLangageNotification, nullptr, nullptr, [&](const Notification&) {
    events.push_back("will:" + std::string(Language::userLanguage().rawValue()));
  });
  auto did = center.addObserver(Language::didChangeUserLangageNotification, nullptr, nullptr, [&](const Notification&) {
    events.push_back("did:" + std::string(Language::userLanguage().rawValue()));
  });
  Language::setUserLanguage(Language::italian);
  center.removeObserver(will);
  center.removeObserver(did);

  EXPECT_THAT(events, ::testing::ElementsAre("will:Local", "did:Italian"));
  EXPECT_EQ(Language::userLanguage(), Language::italian);
  // Stored on disk as well.
  UserDefaults reread(defaults->path());
  EXPECT_EQ(reread.string("ORVUserLanguage"), "Italian");
}

TEST(Language, TextsFollowTheUserLanguage) {
  StoredLanguageScope scope;
  LocaleEnvironmentScope locale;
  locale.set("it_IT.UTF-8", std::nullopt, std::nullopt);
  Language::setUserLanguage(Language::german);
  // The German tables know their own language; texts they lack come from English.
  EXPECT_EQ(Language(Language::local).equivalentLanguage(), Language::german);
  EXPECT_EQ(Language(Language::local).name(), "Deutsch");
  EXPECT_EQ(Language(Language::english).localizedName(), "Englisch");
  EXPECT_EQ(MediaKind(MediaKind::movie).localizedName(), "Movie");
  Language::setUserLanguage(Language::local);
  EXPECT_EQ(Language(Language::local).equivalentLanguage(), Language::italian);
  // A change written straight into the defaults is seen as well.
  ORVGetUserDefaults()->set(Language::userLanguageKey(), "Polish");
  EXPECT_EQ(Language(Language::local).equivalentLanguage(), Language::polish);
}

}  // namespace
}  // namespace orvelin
