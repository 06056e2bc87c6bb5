#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "orvelin/support/notification_center.h"
#include "orvelin/tags/tag_name.h"

namespace orvelin {

class MetadataEditor;

// Hashes an editor by its URL; editors are equal only when they are the same object. Defined
// with the editors (the editor layer), which this one does not include.
//
// Not noexcept on purpose: the standard library then keeps each node's hash, so that a map
// holding many editors of one URL (one bucket) walks that bucket without hashing the URL again
// at every node.
struct MetadataEditorHash {
  std::size_t operator()(const std::shared_ptr<MetadataEditor>& editor) const;
};

// What a session touched: for each editor, the names that may have changed on it. Keeps its
// editors alive for as long as it lives. A value; built by the manager, read by observers.
class EditionsSet {
 public:
  using Values = std::unordered_map<std::shared_ptr<MetadataEditor>, std::set<TagName>, MetadataEditorHash>;

  Values values;

  // The union of the names of the given editors.
  std::set<TagName> tagNames(const std::vector<std::shared_ptr<MetadataEditor>>& editors) const;
  // Whether one of the editors has an entry (even an empty one).
  bool hasEditions(const std::vector<std::shared_ptr<MetadataEditor>>& editors) const;
  // Whether one of TagName::gpsTagNames() was touched on one of the editors.
  bool hasGPSEditions(const std::vector<std::shared_ptr<MetadataEditor>>& editors) const;
  // Whether one of TagName::thumbnailTagNames() was touched on one of the editors.
  bool hasThumbnailEditions(const std::vector<std::shared_ptr<MetadataEditor>>& editors) const;

 private:
  bool touchesAny(const std::vector<std::shared_ptr<MetadataEditor>>& editors, const std::vector<TagName>& names) const;
};

// Gathers the editions of all editors and announces them in sessions. Sessions nest; only the
// outermost begin ("EditionsManagerWillBeginSessionNotification", before the depth leaves 0)
// and end ("EditionsManagerDidEndSessionNotification", with the session's EditionsSet under
// "EditionsSet") are posted, on the default centre with the manager as object.
//
// Safe for concurrent use by multiple threads. An internal reader-writer lock guards the
// depth and the set; both notifications are posted synchronously from inside it, so an
// observer must not call isInSession(), beginSession(), endSession(), session() or
// registerEdition() before handing its work to another thread; editionsSet() is safe from an
// observer. Lock order: an editor's lock first, the manager's second. Unbalanced calls are not
// detected: an end at depth 0 takes the depth below 0 without a notification.
class EditionsManager {
 public:
  // The process's manager. Belongs to the library and is never deleted.
  static EditionsManager& shared();

  EditionsManager() = default;
  EditionsManager(const EditionsManager&) = delete;
  EditionsManager& operator=(const EditionsManager&) = delete;
  virtual ~EditionsManager() = default;

  // What the current session has collected (a copy).
  virtual EditionsSet editionsSet() const;
  // Records that `name` may have changed on `editor`: enters a session, adds the edition,
  // leaves the session, as three separate locked steps. Outside a session it is a session of
  // its own, with both notifications.
  virtual void registerEdition(const std::shared_ptr<MetadataEditor>& editor, const TagName& name);
  virtual bool isInSession() const;
  virtual void beginSession();
  virtual void endSession();
  // beginSession(), `block`, endSession().
  virtual void session(const std::function<void()>& block);

  // The set carried by a did-end notification; absent for any other.
  static std::optional<EditionsSet> editionsSet(const Notification& notification);

  static const std::string willBeginSessionNotification;  // "EditionsManagerWillBeginSessionNotification"
  static const std::string didEndSessionNotification;     // "EditionsManagerDidEndSessionNotification"
  static const std::string editionsSetKey;                // "EditionsSet"

 protected:
  virtual void postsWillBeginSession();
  virtual void postsDidEndSession();

 private:
  mutable std::shared_mutex depthLock_;  // guards nestedSessionCount_; held exclusively to change
  std::int64_t nestedSessionCount_ = 0;
  mutable std::mutex setMutex_;  // guards editionsSet_; never held while posting
  EditionsSet editionsSet_;
};

}  // namespace orvelin
