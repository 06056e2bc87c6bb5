#include "orvelin/tagsets/tags_set_editor.h"

#include "orvelin/support/fatal.h"
#include "orvelin/support/parallel.h"

namespace orvelin {

namespace {

std::ptrdiff_t count(const std::vector<TagsSetEntry>& list) { return static_cast<std::ptrdiff_t>(list.size()); }

}  // namespace

void TagsSetEditor::insertEntries(const std::vector<TagsSetEntry>& entries, std::ptrdiff_t index) {
  tagsSet_->updateEntries([&](TagsSet::Entries& cached) {
    auto& list = cached[stream_];
    if (index < 0 || index > count(list)) ORVFatal("TagsSetEditor: insertion index out of range");
    list.insert(list.begin() + index, entries.begin(), entries.end());
  });
}

void TagsSetEditor::removeEntry(const std::set<std::size_t>& indexes) {
  tagsSet_->updateEntries([&](TagsSet::Entries& cached) {
    const auto found = cached.find(stream_);
    if (found == cached.end()) return;
    remove(found->second, std::vector<std::size_t>(indexes.begin(), indexes.end()));
    if (found->second.empty()) cached.erase(found);
  });
}

void TagsSetEditor::replaceEntry(const TagsSetEntry& entry, std::ptrdiff_t index) {
  tagsSet_->updateEntries([&](TagsSet::Entries& cached) {
    auto& list = cached[stream_];
    if (index < 0 || index >= count(list)) ORVFatal("TagsSetEditor: replacement index out of range");
    list[static_cast<std::size_t>(index)] = entry;
  });
}

void TagsSetEditor::renameSection(std::ptrdiff_t index, const std::string& name) {
  const auto& list = tagsSet_->entries(stream_);
  if (index >= count(list)) return;
  if (index < 0) ORVFatal("TagsSetEditor: section index out of range");
  if (!list[static_cast<std::size_t>(index)].asSection()) return;
  replaceEntry(TagsSetEntry::section({name}), index);
}

void TagsSetEditor::moveEntries(const std::set<std::size_t>& indexes, std::size_t target) {
  tagsSet_->updateEntries([&](TagsSet::Entries& cached) {
    const auto found = cached.find(stream_);
    if (found != cached.end()) moveFrom(found->second, std::vector<std::size_t>(indexes.begin(), indexes.end()), target);
  });
}

void TagsSetEditor::moveDownEntry(std::ptrdiff_t index) {
  tagsSet_->updateEntries([&](TagsSet::Entries& cached) {
    const auto found = cached.find(stream_);
    if (found == cached.end() || index < 0 || index >= count(found->second) - 1) return;
    std::swap(found->second[static_cast<std::size_t>(index)], found->second[static_cast<std::size_t>(index + 1)]);
  });
}

void TagsSetEditor::moveUpEntry(std::ptrdiff_t index) {
  tagsSet_->updateEntries([&](TagsSet::Entries& cached) {
    const auto found = cached.find(stream_);
    if (found == cached.end() || index <= 0 || index >= count(found->second)) return;
    std::swap(found->second[static_cast<std::size_t>(index)], found->second[static_cast<std::size_t>(index - 1)]);
  });
}

bool TagsSetEditor::saveChangesToUserDefaults() { return tagsSet_->saveToUserDefaults(); }

}  // namespace orvelin
