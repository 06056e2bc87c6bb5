#pragma once

// What `orvelin set` and `orvelin import-sidecar` share once their edits are made: the saves of
// the edited files through save tasks, and one line per file of what each save wrote.

#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/support/notification_center.h"

namespace orvelin::tool {

// Collects, per editor, the names of every did-end notification of EditionsManager::shared()
// for as long as it lives. Concurrent saves may share one session, whose set then holds several
// editors. The observer runs inside the manager's lock and takes only this object's own lock.
class SessionNames {
 public:
  SessionNames();
  SessionNames(const SessionNames&) = delete;
  SessionNames& operator=(const SessionNames&) = delete;
  ~SessionNames();

  // The names registered for `editor` so far.
  std::set<TagName> names(const MetadataEditor& editor) const;

 private:
  void collect(const Notification& note);

  mutable std::mutex mutex_;  // guards names_
  std::unordered_map<const MetadataEditor*, std::set<TagName>> names_;
  const NotificationObserverToken observer_;
};

// One file of the command line on its way through import, edits and save.
struct Target {
  std::string path;
  std::shared_ptr<MetadataEditor> editor;  // null when the import or the edits failed
  std::string error;                       // why the import, the edits or the save failed
};

// The files of `urls` (as given in `paths`) imported as targets; a failed import keeps its error.
std::vector<Target> importTargets(const std::vector<std::string>& paths, bool quiet);

// Saves every target whose editor is edited (through save tasks, with `updateModifyDate`), then
// prints one line per target, in order: "PATH: NAMES" for a save (the names it wrote, sorted,
// ORVFinder:Tags for the file tags), "PATH: nothing to write[; unchanged: NAMES]" for a target
// with no pending edit (NAMES: those `touched` registered for it), and on standard error
// "PATH: ERROR" for a failure and "PATH: STREAM:KEY: REASON" for each value exiftool refused.
// Returns 1 when a target failed or a value was refused, else 0.
int saveTargets(std::vector<Target>& targets, const SessionNames& touched, bool updateModifyDate, bool quiet);

}  // namespace orvelin::tool
