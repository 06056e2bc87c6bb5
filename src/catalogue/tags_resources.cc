#include "orvelin/catalogue/tags_resources.h"

#include <algorithm>
#include <atomic>

#include "orvelin/support/resources.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

const std::string TagsResources::willReloadCacheNotification = "TagsResourcesWillReloadCacheNotification";
const std::string TagsResources::didReloadCacheNotification = "TagsResourcesDidReloadCacheNotification";

std::shared_ptr<const TagItem> TagsCatalogue::tag(const TagKey& key, const TagStream& stream) const {
  const auto inStream = cachedTags.find(stream);
  if (inStream == cachedTags.end()) return nullptr;
  const auto found = inStream->second.find(key);
  return found == inStream->second.end() ? nullptr : found->second;
}

std::shared_ptr<const TagItem> TagsCatalogue::tagForRawName(std::string_view rawName) const {
  auto parts = separate(rawName, ":");
  if (!parts) return nullptr;
  return tag(TagKey(std::move(parts->second)), TagStream(std::move(parts->first)));
}

TagsResources& TagsResources::shared() {
  static auto* resources = new TagsResources;
  return *resources;
}

TagsResources::TagsResources() : current_(std::make_shared<const TagsCatalogue>()) {}

std::shared_ptr<const TagsCatalogue> TagsResources::catalogue() const { return std::atomic_load(&current_); }

std::vector<TagStream> TagsResources::streams() const { return catalogue()->cachedStreams; }

std::vector<TagKey> TagsResources::keys(const TagStream& stream) const {
  const auto state = catalogue();
  const auto found = state->cachedKeys.find(stream);
  return found == state->cachedKeys.end() ? std::vector<TagKey>{} : found->second;
}

std::shared_ptr<const TagItem> TagsResources::tag(const TagKey& key, const TagStream& stream) const {
  return catalogue()->tag(key, stream);
}

std::shared_ptr<const TagItem> TagsResources::tag(const TagName& name) const { return catalogue()->tag(name); }

std::shared_ptr<const TagItem> TagsResources::tagForRawName(std::string_view rawName) const {
  return catalogue()->tagForRawName(rawName);
}

void TagsResources::reload() { reload(ORVResourcesDirectory()); }

void TagsResources::reload(const std::filesystem::path& directoryURL) {
  auto& center = NotificationCenter::defaultCenter();
  center.post(willReloadCacheNotification, this);

  auto reader = TagsResourcesReader::make(directoryURL);
  reader->readResources();
  reader->waitResourcesParsing();
  auto state = std::make_shared<TagsCatalogue>();
  std::error_code error;
  if (!std::filesystem::is_regular_file(directoryURL / "Tags" / "streams.json", error))
    state->missingFolder = directoryURL / "Tags";
  {
    std::lock_guard lock(reader->countersLock_);
    state->cachedStreams = reader->streams_;
    state->cachedTags = std::move(reader->tagItems_);
  }
  for (const auto& [stream, items] : state->cachedTags) {
    std::vector<std::shared_ptr<const TagItem>> sorted;
    sorted.reserve(items.size());
    for (const auto& [key, item] : items) sorted.push_back(item);
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return *a < *b; });
    auto& keys = state->cachedKeys[stream];
    keys.reserve(sorted.size());
    for (const auto& item : sorted) keys.push_back(item->name.key());
  }
  std::atomic_store(&current_, std::shared_ptr<const TagsCatalogue>(std::move(state)));

  center.post(didReloadCacheNotification, this);
}

std::optional<std::filesystem::path> TagsResources::missingCatalogueFolder() const { return catalogue()->missingFolder; }

std::optional<std::pair<TagName, std::string>> TagsUtil::parseNV(std::string_view rawName, const Value& rawValue) {
  auto parts = separate(rawName, ":");
  if (!parts) return std::nullopt;
  TagName name(TagStream(std::move(parts->first)), TagKey(std::move(parts->second)));
  const auto item = TagsResources::shared().tag(name);
  if (!item) return std::nullopt;
  auto text = item->converter()->stringValueFromRawValue(rawValue);
  if (!text) return std::nullopt;
  return std::pair{std::move(name), std::move(*text)};
}

}  // namespace orvelin
