#include "orvelin/exiftool/language.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

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
  EXPECT_EQ(Language::all().size(), 16u);
  EXPECT_EQ(Language::all().front(), Language::local);
  const auto& basic = Language::allBasic();
  EXPECT_EQ(basic.size(), 15u);
  EXPECT_EQ(std::count(basic.begin(), basic.end(), Language::local), 0);
  EXPECT_TRUE(std::is_sorted(basic.begin(), basic.end()));
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

TEST(Language, LocalStandsForTheLocalisationsLanguage) {
  StoredLanguageScope scope;
  Language::setUserLanguage(Language::local);
  // The process locale of the tests is C or English: the English tables answer.
  EXPECT_EQ(Language(Language::local).equivalentLanguage(), Language::english);
  EXPECT_EQ(Language(Language::local).name(), "English");
  EXPECT_EQ(Language(Language::french).equivalentLanguage(), Language::french);
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
  Language::setUserLanguage(Language::german);
  // The German tables know their own language; texts they lack come from English.
  EXPECT_EQ(Language(Language::local).equivalentLanguage(), Language::german);
  EXPECT_EQ(Language(Language::local).name(), "Deutsch");
  EXPECT_EQ(Language(Language::english).localizedName(), "English");
  Language::setUserLanguage(Language::local);
  EXPECT_EQ(Language(Language::local).equivalentLanguage(), Language::english);
}

}  // namespace
}  // namespace orvelin
