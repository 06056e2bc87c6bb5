#pragma once

// The user's language chosen for one scope; the stored choice (or its absence) comes back
// afterwards.

#include <optional>

#include <nlohmann/json.hpp>

#include "orvelin/exiftool/language.h"
#include "orvelin/support/user_defaults.h"

namespace orvelin::testing {

class UserLanguageScope {
 public:
  explicit UserLanguageScope(std::optional<Language> language = std::nullopt)
      : defaults_(ORVGetUserDefaults()), saved_(defaults_->object(Language::userLanguageKey())) {
    if (language) Language::setUserLanguage(*language);
  }
  UserLanguageScope(const UserLanguageScope&) = delete;
  UserLanguageScope& operator=(const UserLanguageScope&) = delete;
  ~UserLanguageScope() {
    if (saved_)
      defaults_->set(Language::userLanguageKey(), *saved_);
    else
      defaults_->remove(Language::userLanguageKey());
  }

 private:
  std::shared_ptr<UserDefaults> defaults_;
  std::optional<nlohmann::json> saved_;
};

}  // namespace orvelin::testing
