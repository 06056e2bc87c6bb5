#include "orvelin/catalogue/tags_resources.h"

#include <atomic>

#include "orvelin/support/resources.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

const std::string TagsResources::willReloadCacheNotification = "TagsResourcesWillReloadCacheNotification";
const std::string TagsResources::didReloadCacheNotification = "TagsResourcesDidReloadCacheNotification";

TagsCatalogue::TagsCatalogue(std::filesystem::path tagsFolder) : folder_(std::move(tagsFolder)) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(folder_ / "streams.json", error)) missingFolder = folder_;
  for (auto& stream : readCatalogueStreamList(folder_)) {
    if (!slots_.try_emplace(stream, std::make_unique<Slot>()).second) continue;
    streams_.push_back(std::move(stream));
  }
}

const CatalogueStreamTags* TagsCatalogue::stream(const TagStream& stream) const {
  const auto found = slots_.find(stream);
  if (found == slots_.end()) return nullptr;
  auto& slot = *found->second;
  std::call_once(slot.read, [&] { slot.tags = readCatalogueStream(folder_, stream, false); });
  return &slot.tags;
}

std::shared_ptr<const TagItem> TagsCatalogue::tag(const TagKey& key, const TagStream& stream) const {
  const auto* tags = this->stream(stream);
  if (!tags) return nullptr;
  const auto found = tags->items.find(key);
  return found == tags->items.end() ? nullptr : found->second;
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

std::vector<TagStream> TagsResources::streams() const { return catalogue()->streams(); }

std::vector<TagKey> TagsResources::keys(const TagStream& stream) const {
  const auto* tags = catalogue()->stream(stream);
  return tags ? tags->keys : std::vector<TagKey>{};
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

  auto state = std::make_shared<const TagsCatalogue>(directoryURL / "Tags");
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
