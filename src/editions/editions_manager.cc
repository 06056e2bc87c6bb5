#include "orvelin/editions/editions_manager.h"

#include <algorithm>


namespace orvelin {

const std::string EditionsManager::willBeginSessionNotification = "EditionsManagerWillBeginSessionNotification";
const std::string EditionsManager::didEndSessionNotification = "EditionsManagerDidEndSessionNotification";
const std::string EditionsManager::editionsSetKey = "EditionsSet";

std::set<TagName> EditionsSet::tagNames(const std::vector<std::shared_ptr<MetadataEditor>>& editors) const {
  std::set<TagName> names;
  for (const auto& editor : editors)
    if (auto found = values.find(editor); found != values.end()) names.insert(found->second.begin(), found->second.end());
  return names;
}

bool EditionsSet::hasEditions(const std::vector<std::shared_ptr<MetadataEditor>>& editors) const {
  return std::any_of(editors.begin(), editors.end(), [this](const auto& editor) { return values.contains(editor); });
}

bool EditionsSet::touchesAny(const std::vector<std::shared_ptr<MetadataEditor>>& editors,
                             const std::vector<TagName>& names) const {
  for (const auto& editor : editors) {
    const auto found = values.find(editor);
    if (found == values.end()) continue;
    for (const auto& name : names)
      if (found->second.contains(name)) return true;
  }
  return false;
}

bool EditionsSet::hasGPSEditions(const std::vector<std::shared_ptr<MetadataEditor>>& editors) const {
  return touchesAny(editors, TagName::gpsTagNames());
}

bool EditionsSet::hasThumbnailEditions(const std::vector<std::shared_ptr<MetadataEditor>>& editors) const {
  return touchesAny(editors, TagName::thumbnailTagNames());
}

EditionsManager& EditionsManager::shared() {
  static auto* manager = new EditionsManager;
  return *manager;
}

EditionsSet EditionsManager::editionsSet() const {
  std::lock_guard lock(setMutex_);
  return editionsSet_;
}

void EditionsManager::registerEdition(const std::shared_ptr<MetadataEditor>& editor, const TagName& name) {
  beginSession();
  {
    std::unique_lock lock(depthLock_);
    std::lock_guard setLock(setMutex_);
    editionsSet_.values[editor].insert(name);
  }
  endSession();
}

bool EditionsManager::isInSession() const {
  std::shared_lock lock(depthLock_);
  return nestedSessionCount_ > 0;
}

void EditionsManager::beginSession() {
  std::unique_lock lock(depthLock_);
  if (nestedSessionCount_ == 0) postsWillBeginSession();
  ++nestedSessionCount_;
}

void EditionsManager::endSession() {
  std::unique_lock lock(depthLock_);
  --nestedSessionCount_;
  if (nestedSessionCount_ == 0) postsDidEndSession();
}

void EditionsManager::session(const std::function<void()>& block) {
  beginSession();
  try {
    block();
  } catch (...) {
    endSession();
    throw;
  }
  endSession();
}

void EditionsManager::postsWillBeginSession() {
  NotificationCenter::defaultCenter().post(willBeginSessionNotification, this);
}

void EditionsManager::postsDidEndSession() {
  EditionsSet set;
  {
    std::lock_guard setLock(setMutex_);
    set = editionsSet_;
  }
  NotificationCenter::defaultCenter().post(didEndSessionNotification, this, {{editionsSetKey, std::move(set)}});
  std::lock_guard setLock(setMutex_);
  editionsSet_ = EditionsSet();
}

std::optional<EditionsSet> EditionsManager::editionsSet(const Notification& notification) {
  return notification.userInfoValue<EditionsSet>(editionsSetKey);
}

}  // namespace orvelin
