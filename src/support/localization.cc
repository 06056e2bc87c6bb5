#include "orvelin/support/localization.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "orvelin/support/fatal.h"
#include "orvelin/support/resources.h"
#include "orvelin/support/strings_table.h"
#include "orvelin/support/user_defaults.h"

namespace orvelin {

namespace {

using Table = std::map<std::string, std::string, std::less<>>;

class TableCache {
 public:
  std::shared_ptr<const Table> table(const std::string& localization, std::string_view name) {
    std::string cacheKey = localization;
    cacheKey.push_back('\0');
    cacheKey.append(name);
    {
      std::shared_lock lock(mutex_);
      if (auto found = tables_.find(cacheKey); found != tables_.end()) return found->second;
    }
    auto loaded = std::make_shared<const Table>(load(localization, name));
    std::unique_lock lock(mutex_);
    return tables_.try_emplace(std::move(cacheKey), std::move(loaded)).first->second;
  }

  void reset() {
    std::unique_lock lock(mutex_);
    tables_.clear();
  }

 private:
  static Table load(const std::string& localization, std::string_view name) {
    const auto& resources = ORVResourcesDirectory();
    const auto file = std::string(name) + ".strings";
    const auto folder = localization + ".lproj";
    Table table = readStringsFile(resources / folder / file);
    if (table.empty()) table = readStringsFile(resources / "Localized tags" / folder / file);
    return table;
  }

  std::shared_mutex mutex_;  // guards tables_
  std::unordered_map<std::string, std::shared_ptr<const Table>> tables_;
};

TableCache& tableCache() {
  static auto* cache = new TableCache;
  return *cache;
}

std::atomic<ORVLocalizationResolver>& installedResolver() {
  static std::atomic<ORVLocalizationResolver> resolver{nullptr};
  return resolver;
}

// The name of the current localisation, remembered with the moment it was worked out, so that a
// look-up takes neither the global lock nor a look-up in the user defaults. The stamp counts the
// changes of the user defaults and the resets of the cache, so any of them makes the remembered
// name stale.
class LocalizationNameCache {
 public:
  std::shared_ptr<const std::string> current() {
    const std::uint64_t stamp = ORVUserDefaultsChangeCount() + resets_.load(std::memory_order_acquire);
    auto entry = entry_.load(std::memory_order_acquire);
    if (entry && entry->stamp == stamp) return {entry, &entry->name};
    // Worked out from the stamp read before: a change made meanwhile leaves it stale.
    const auto resolver = installedResolver().load(std::memory_order_acquire);
    auto fresh = std::make_shared<const Entry>(Entry{stamp, resolver ? resolver() : std::string(kEnglish)});
    entry_.store(fresh, std::memory_order_release);
    return {fresh, &fresh->name};
  }

  void reset() { resets_.fetch_add(1, std::memory_order_acq_rel); }

  static constexpr std::string_view kEnglish = "English";

 private:
  struct Entry {
    std::uint64_t stamp;
    std::string name;
  };
  std::atomic<std::shared_ptr<const Entry>> entry_;
  std::atomic<std::uint64_t> resets_{0};
};

LocalizationNameCache& localizationNameCache() {
  static auto* const cache = new LocalizationNameCache;
  return *cache;
}

}  // namespace

std::string ORVCurrentLocalizationName() { return *localizationNameCache().current(); }

void ORVSetLocalizationResolver(ORVLocalizationResolver resolver) {
  installedResolver().store(resolver, std::memory_order_release);
  localizationNameCache().reset();
}

std::string detail::localizedText(const std::optional<std::string_view>& table, std::string_view key,
                                  const std::vector<ORVFormatArg>& args) {
  if (args.size() > 4) ORVFatal("ORVTL doesn't support more than 4 arguments");
  const std::string_view tableName = table.value_or("Localizable");
  const auto localization = localizationNameCache().current();
  auto strings = tableCache().table(*localization, tableName);
  auto entry = strings->find(key);
  if (entry == strings->end() && *localization != LocalizationNameCache::kEnglish) {
    strings = tableCache().table(std::string(LocalizationNameCache::kEnglish), tableName);
    entry = strings->find(key);
  }
  std::string text = entry != strings->end() ? entry->second : std::string(key);
  if (args.empty()) return text;
  return ORVFormat(text, args);
}

void ORVResetLocalizationCache() {
  tableCache().reset();
  localizationNameCache().reset();
}

}  // namespace orvelin
