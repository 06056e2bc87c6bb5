#pragma once

// What the commands that work file by file share: the import of their files as targets, the run
// of one task per file with one line per file, and for `orvelin set` and `orvelin
// import-sidecar` the saves of the edited files, with one line per file of what each wrote.

#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "orvelin/editor/metadata_editor.h"
#include "batch.h"
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

// Runs one task of `generator` per imported target (this fills the generator's editors), then
// prints one line per target, in order: "PATH: OUTCOME" for a task that `outcome` describes,
// else "PATH: ERROR" on standard error (the import's error, the task's, or "not done" when
// `outcome` has nothing to say). Returns 1 when a target failed, else 0.
template <typename Task, typename Generator>
int runPerTarget(std::vector<Target>& targets, Generator generator, bool quiet,
                 const std::function<std::optional<std::string>(const Task&)>& outcome) {
  std::vector<std::size_t> taken;  // the target of each task, in task order
  for (std::size_t i = 0; i < targets.size(); ++i)
    if (targets[i].editor) {
      taken.push_back(i);
      generator.editors.push_back(targets[i].editor);
    }
  std::vector<std::string> outcomes(targets.size());
  runTasks<Task>(generator, quiet, [&](std::size_t k, const Task& task) {
    auto& target = targets[taken.at(k)];
    const auto said = task.status() == TaskStatus::completed ? outcome(task) : std::nullopt;
    if (said)
      outcomes[taken[k]] = *said;
    else
      target.error = task.status() == TaskStatus::completed ? std::string("not done") : failureText(task);
  });
  int status = 0;
  for (std::size_t i = 0; i < targets.size(); ++i) {
    if (targets[i].error.empty()) {
      std::printf("%s: %s\n", targets[i].path.c_str(), outcomes[i].c_str());
    } else {
      reportFailure(targets[i].path, targets[i].error);
      status = 1;
    }
  }
  std::fflush(stdout);
  return status;
}

// Saves every target whose editor is edited (through save tasks, with `updateModifyDate`), then
// prints one line per target, in order: "PATH: NAMES" for a save (the names it wrote, sorted,
// ORVFinder:Tags for the file tags), "PATH: nothing to write[; unchanged: NAMES]" for a target
// with no pending edit (NAMES: those `touched` registered for it), and on standard error
// "PATH: ERROR" for a failure and "PATH: STREAM:KEY: REASON" for each value exiftool refused.
// Returns 1 when a target failed or a value was refused, else 0.
int saveTargets(std::vector<Target>& targets, const SessionNames& touched, bool updateModifyDate, bool quiet);

}  // namespace orvelin::tool
