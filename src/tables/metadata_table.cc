#include "orvelin/tables/metadata_table.h"

#include <algorithm>

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editor/editor_batch.h"
#include "orvelin/support/fatal.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/parallel.h"

namespace orvelin {

const std::string MetadataTable::willReloadCacheNotification = "MetadataTableWillReloadCacheNotification";
const std::string MetadataTable::didReloadCacheNotification = "MetadataTableDidReloadCacheNotification";
const std::string MetadataTable::didReloadEntriesNotification = "MetadataTableDidReloadEntriesNotification";
const std::string MetadataTable::reloadedEntriesIndexes = "ReloadedEntriesIndexes";

MultiValuedString::MultiValuedString(const std::unordered_set<std::string>& values) : case_(Case::none) {
  if (values.empty() || (values.size() == 1 && values.begin()->empty())) return;
  values_.assign(values.begin(), values.end());
  std::sort(values_.begin(), values_.end());
  case_ = values_.size() == 1 ? Case::single : Case::multiple;
}

MetadataRowCache::MetadataRowCache(const MetadataRowValue& rowValue)
    : MetadataRowCache(rowValue, orvelin::summary(rowValue.editors(), rowValue.tagItem()->name)) {}

MetadataRowCache::MetadataRowCache(const MetadataRowValue& rowValue, const TagSummary& summary)
    : string(summary.currentOrEmptyValues),
      isWritable(rowValue.allowsWriting() && summary.canEditValue),
      isEdited(summary.isValueEdited),
      canBeEdited(summary.canEditValue),
      tagItem(rowValue.tagItem()) {}

MetadataRowValue::MetadataRowValue(const MetadataTable& table, std::shared_ptr<const TagItem> tagItem)
    : MetadataRowValue(std::move(tagItem), table.sharedEditors(), table.allowsTagsWriting) {}

MetadataRowValue::MetadataRowValue(std::shared_ptr<const TagItem> tagItem,
                                   std::shared_ptr<const MetadataEditors> editors, bool allowsWriting)
    : tagItem_(std::move(tagItem)), editors_(std::move(editors)), allowsWriting_(allowsWriting) {}

std::optional<MetadataRowCache> MetadataRowValue::cache() const {
  std::lock_guard lock(cacheMutex_);
  return cache_;
}

void MetadataRowValue::setCache(std::optional<MetadataRowCache> cache) {
  std::lock_guard lock(cacheMutex_);
  cache_ = std::move(cache);
}

void MetadataRowValue::fetchRowCache(std::function<void(const MetadataRowCache&)> completion) {
  WorkerPool::shared().async([row = shared_from_this(), completion = std::move(completion)]() mutable {
    auto fetched = row->cache();
    if (!fetched) fetched.emplace(*row);
    MainQueue::shared().async([row = std::move(row), cache = std::move(*fetched), completion = std::move(completion)] {
      row->setCache(cache);
      if (completion) completion(cache);
    });
  });
}

void MetadataRowValue::forceValues() { forceValue(editors(), tagItem_->name); }

void MetadataRowValue::clearValues() { clearValue(editors(), tagItem_->name); }

void MetadataRowValue::restoreValues() { restoreValue(editors(), tagItem_->name); }

void MetadataRowValue::setValue(const std::optional<std::string>& value) {
  orvelin::setValue(editors(), value, tagItem_->name);
}

void MetadataRowValue::applyDateEdition(const DateEdition& edition) {
  orvelin::applyDateEdition(editors(), edition, tagItem_->name);
}

MetadataTable::MetadataTable(std::shared_ptr<TagsSet> tagsSet)
    : tagsSet_(std::move(tagsSet)), editors_(std::make_shared<const MetadataEditors>()) {}

std::shared_ptr<MetadataTable> MetadataTable::make(std::shared_ptr<TagsSet> tagsSet) {
  std::shared_ptr<MetadataTable> table(new MetadataTable(std::move(tagsSet)));
  table->startObservations();
  table->reloadCache();
  return table;
}

std::shared_ptr<MetadataTable> MetadataTable::make(TagsSetDomain domain) { return make(TagsSet::shared(domain)); }

void MetadataTable::setEditors(MetadataEditors editors) {
  editors_ = std::make_shared<const MetadataEditors>(std::move(editors));
}

void MetadataTable::startObservations() {
  const auto self = shared_from_this();
  auto& main = MainQueue::shared();
  tagsSetManagerDidUpdateSubscriber_.name = TagsSet::didUpdateEntriesNotification;
  tagsSetManagerDidUpdateSubscriber_.queue = &main;
  tagsSetManagerDidUpdateSubscriber_.object = tagsSet_;
  tagsSetManagerDidUpdateSubscriber_.subscribe<MetadataTable>(self, [](MetadataTable& table, const Notification&) {
    table.reloadCache();
  });
  resourcesDidReloadCacheSubscriber_.name = TagsResources::didReloadCacheNotification;
  resourcesDidReloadCacheSubscriber_.queue = &main;
  resourcesDidReloadCacheSubscriber_.subscribe<MetadataTable>(self, [](MetadataTable& table, const Notification& note) {
    if (note.object == &TagsResources::shared()) table.reloadCache();
  });
  editionsDidEndSessionSubcribers_.name = EditionsManager::didEndSessionNotification;
  editionsDidEndSessionSubcribers_.queue = &main;
  editionsDidEndSessionSubcribers_.subscribe<MetadataTable>(self, [](MetadataTable& table, const Notification& note) {
    if (note.object != &EditionsManager::shared()) return;
    if (const auto set = EditionsManager::editionsSet(note)) table.reloadEditedEntries(*set);
  });
}

std::optional<TextRange> MetadataTable::rangeOf(std::string_view text, std::string_view in) {
  return InsensitiveSearch(text).find(in);
}

const MetadataTableEntry& MetadataTable::entry(std::size_t index) const {
  if (index >= cachedEntries_.size()) ORVFatal("MetadataTable: row index out of range");
  return cachedEntries_[index];
}

std::vector<TagsSetSection> MetadataTable::sections() const {
  std::vector<TagsSetSection> sections;
  for (const auto& entry : cachedEntries_)
    if (const auto* section = entry.asSection()) sections.push_back(*section);
  return sections;
}

std::set<std::size_t> MetadataTable::indexesOfSection(std::string_view name) const {
  std::optional<std::size_t> start;
  std::size_t end = cachedEntries_.size();
  for (std::size_t index = 0; index < cachedEntries_.size(); ++index) {
    const auto* section = cachedEntries_[index].asSection();
    if (!section) continue;
    if (section->localizedName() == name) {
      if (!start) start = index + 1;
    } else if (start) {
      end = index;
      break;
    }
  }
  std::set<std::size_t> indexes;
  if (!start) return indexes;
  for (std::size_t index = *start; index < end; ++index) indexes.insert(index);
  return indexes;
}

std::vector<TagName> MetadataTable::tagNames(const std::set<std::size_t>& indexes) const {
  std::vector<TagName> names;
  for (const auto index : indexes)
    if (index < cachedEntries_.size())
      if (const auto* value = cachedEntries_[index].asValue()) names.push_back((*value)->tagItem()->name);
  return names;
}

std::vector<TagName> MetadataTable::displayedTagNames() const {
  std::vector<TagName> names;
  for (const auto& entry : cachedEntries_)
    if (const auto* value = entry.asValue()) names.push_back((*value)->tagItem()->name);
  return names;
}

void MetadataTable::reloadCache() {
  auto& center = NotificationCenter::defaultCenter();
  center.post(willReloadCacheNotification, this);
  rebuildEntries();
  center.post(didReloadCacheNotification, this);
}

void MetadataTable::rebuildEntries() {
  cachedEntries_.clear();
  if (editors_->empty()) return;
  std::optional<TagStream> pendingStream;
  std::optional<TagsSetSection> pendingSection;
  std::optional<InsensitiveSearch> search;
  if (searchString && !searchString->empty()) search.emplace(*searchString);
  const auto catalogue = TagsResources::shared().catalogue();
  for (const auto& stream : catalogue->streams()) {
    if (!displayedStreams.contains(stream)) continue;
    pendingStream = stream;
    for (const auto& tagsSetEntry : tagsSet_->entries(stream)) {
      if (const auto* section = tagsSetEntry.asSection()) {
        if (shouldDisplaySections) pendingSection = *section;
        continue;
      }
      auto tagItem = catalogue->tag(*tagsSetEntry.asKey(), stream);
      if (!tagItem) continue;
      if (search && !search->find(tagItem->localizedName())) continue;
      auto row = std::make_shared<MetadataRowValue>(std::move(tagItem), editors_, allowsTagsWriting);
      if (pendingStream && shouldDisplayStreams) cachedEntries_.push_back(MetadataTableEntry::stream(*pendingStream));
      if (shouldDisplayStreams) pendingStream.reset();
      if (pendingSection) cachedEntries_.push_back(MetadataTableEntry::section(*std::exchange(pendingSection, std::nullopt)));
      cachedEntries_.push_back(MetadataTableEntry::value(std::move(row)));
    }
  }
}

void MetadataTable::reloadEditedEntries(const EditionsSet& editionsSet) {
  const auto names = editionsSet.tagNames(*editors_);
  if (names.empty()) return;
  std::set<std::size_t> indexes;
  for (std::size_t index = 0; index < cachedEntries_.size(); ++index) {
    const auto* value = cachedEntries_[index].asValue();
    if (!value || !names.contains((*value)->tagItem()->name)) continue;
    const auto& old = **value;
    cachedEntries_[index] =
        MetadataTableEntry::value(std::make_shared<MetadataRowValue>(old.tagItem(), old.sharedEditors(), old.allowsWriting()));
    indexes.insert(index);
  }
  if (indexes.empty()) return;
  NotificationCenter::defaultCenter().post(didReloadEntriesNotification, this, {{reloadedEntriesIndexes, indexes}});
}

}  // namespace orvelin
