// `orvelin set`: edits files and saves them.

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <set>
#include <unordered_map>

#include "batch.h"
#include "commands.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/metadata_editor.h"
#include "orvelin/tasks/image_tasks.h"
#include "set_edits.h"

namespace orvelin::tool {

namespace fs = std::filesystem;

namespace {

// Collects, per editor, the names of every did-end notification of EditionsManager::shared()
// for as long as it lives. Concurrent saves may share one session, whose set then holds several
// editors. The observer runs inside the manager's lock and takes only this object's own lock.
class SessionNames {
 public:
  SessionNames()
      : observer_(NotificationCenter::defaultCenter().addObserver(
            EditionsManager::didEndSessionNotification, &EditionsManager::shared(), nullptr,
            [this](const Notification& note) { collect(note); })) {}
  SessionNames(const SessionNames&) = delete;
  SessionNames& operator=(const SessionNames&) = delete;
  ~SessionNames() { NotificationCenter::defaultCenter().removeObserver(observer_); }

  // The names registered for `editor` so far.
  std::set<TagName> names(const MetadataEditor& editor) const {
    std::lock_guard lock(mutex_);
    const auto found = names_.find(&editor);
    return found == names_.end() ? std::set<TagName>() : found->second;
  }

 private:
  void collect(const Notification& note) {
    const auto set = EditionsManager::editionsSet(note);
    if (!set) return;
    std::lock_guard lock(mutex_);
    for (const auto& [editor, names] : set->values) names_[editor.get()].insert(names.begin(), names.end());
  }

  mutable std::mutex mutex_;  // guards names_
  std::unordered_map<const MetadataEditor*, std::set<TagName>> names_;
  const NotificationObserverToken observer_;
};

// The names sorted, separated by blanks.
std::string joined(const std::set<TagName>& names) {
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : " ") + name.rawValue();
  return text;
}

// One file of the command line on its way through import, edits and save.
struct Target {
  std::string path;
  std::shared_ptr<MetadataEditor> editor;  // null when the import failed
  std::string error;                       // why the import or the save failed
  bool edited = false;                     // a save task is due
  std::string unchanged;                   // the names the edits touched, when there is nothing to write
  bool sendsFinderTags = false;
};

int setFiles(const SetOptions& options) {
  const auto edits = parseEdits(options);
  if (!edits) return 2;
  // The catalogue first: a preset file names tags.
  if (!loadCatalogue()) return 1;
  const auto intentEdits = parseIntentEdits(options);
  if (!intentEdits) return 2;

  std::vector<Target> targets;
  {
    std::vector<fs::path> urls;
    for (const auto& file : options.files) urls.push_back(fs::absolute(file));
    auto imported = importEditors(urls, options.quiet);
    targets.resize(urls.size());
    for (std::size_t i = 0; i < urls.size(); ++i) {
      targets[i].path = options.files[i];
      targets[i].editor = std::move(imported[i].editor);
      targets[i].error = std::move(imported[i].error);
    }
  }

  // All edits in one session, through the batch operations.
  int status = 0;
  std::vector<std::shared_ptr<MetadataEditor>> editors;
  {
    std::vector<std::shared_ptr<MetadataEditor>> imported;
    std::vector<std::string> paths;
    for (const auto& target : targets)
      if (target.editor) {
        imported.push_back(target.editor);
        paths.push_back(target.path);
      }
    SessionNames touched;
    for (const auto& refused : applyEdits(imported, paths, *edits, *intentEdits, options)) {
      std::fputs(refused.c_str(), stderr);
      if (!refused.empty()) status = 1;
    }
    for (auto& target : targets) {
      if (!target.editor) continue;
      target.edited = target.editor->isEdited();
      if (!target.edited) {
        target.unchanged = joined(touched.names(*target.editor));
        continue;
      }
      target.sendsFinderTags = target.editor->writtenFinderTags().has_value();
      editors.push_back(target.editor);
    }
  }

  // The saves, each with the writer options of its editor's kind. What a save sent is what it
  // registered in the saves' sessions, not what the edits registered (a clear of a tag that the
  // file lacks is registered, and not written).
  SessionNames saved;
  SaveImageEditionsTasksGenerator generator;
  generator.editors = std::move(editors);
  generator.updateSystemModifyDate = options.updateModifyDate;
  struct Outcome {
    std::string error;  // "" when saved
    std::vector<RefusedValue> refused;
  };
  std::unordered_map<const MetadataEditor*, Outcome> outcomes;
  runTasks<SaveImageEditionsTaskItem>(
      generator, options.quiet, [&](std::size_t, const SaveImageEditionsTaskItem& task) {
        const auto input = task.input();
        if (input && input->editor)
          outcomes[input->editor.get()] = {task.status() == TaskStatus::completed ? std::string() : failureText(task),
                                           task.refusedValues()};
      });

  for (auto& target : targets) {
    if (target.editor && !target.edited) {
      std::printf("%s: nothing to write%s%s\n", target.path.c_str(), target.unchanged.empty() ? "" : "; unchanged: ",
                  target.unchanged.c_str());
      continue;
    }
    std::vector<RefusedValue> refused;
    if (target.editor) {
      const auto outcome = outcomes.find(target.editor.get());
      target.error = outcome == outcomes.end() ? "not saved: the editor is locked" : outcome->second.error;
      if (outcome != outcomes.end()) refused = outcome->second.refused;
    }
    // What exiftool did not take, in its words.
    for (const auto& refusal : refused)
      std::fprintf(stderr, "%s: %s: %s\n", target.path.c_str(), refusal.name.rawValue().c_str(), refusal.reason.c_str());
    if (!refused.empty()) status = 1;
    if (!target.error.empty()) {
      reportFailure(target.path, target.error);
      status = 1;
      continue;
    }
    // The Finder tags are no value of the storage: the save sets them beside exiftool's run.
    auto names = saved.names(*target.editor);
    for (const auto& refusal : refused) names.erase(refusal.name);
    if (target.sendsFinderTags) names.insert(TagName::orvfinderTags);
    std::printf("%s: %s\n", target.path.c_str(), joined(names).c_str());
  }
  std::fflush(stdout);
  return status;
}

}  // namespace

void addSetCommand(CLI::App& app, Outcome& outcome) {
  auto options = std::make_shared<SetOptions>();
  auto* set = app.add_subcommand("set", "Edit the metadata of files and folders, and save them");
  set->add_option("FILE", options->files, "Files, or folders (a path without extension)")->required();
  set->footer(
      "Each file prints the tags its save wrote, sorted (ORVFinder:Tags for its file tags). A value exiftool "
      "refuses is printed on standard error as PATH: STREAM:KEY: REASON, and the exit status is then 1.");
  set->add_flag("--quiet", options->quiet, "Show no progress line, only the results and errors");
  set->add_option("-t,--tag", options->values, "STREAM:KEY=VALUE: set a value (an empty VALUE clears the tag)");
  set->add_option("--clear", options->clears, "STREAM:KEY: clear a tag");
  set->add_option("--force", options->forces, "STREAM:KEY: write the tag's current value again");
  set->add_option("--finder-tags", options->finderTags, "a,b,...: set the Finder tags (empty: none)");
  set->add_flag("--update-modify-date", options->updateModifyDate,
                "Set the file's modification date from EXIF:ModifyDate after the save");
  // Edits with intent, applied after the ones above, in this order.
  set->add_flag("--erase-gps", options->eraseGPS,
                "Delete the GPS position, altitude and time stamps (EXIF) at the save");
  set->add_option("--gps", options->gps,
                  "TEXT: set the GPS position, as \"48.8566, 2.3522\", \"N 48 51.396 E 2 21.132\", "
                  "\"N 48° 51' 23.8\\\" E 2° 21' 7.9\\\"\" or \"48 51 23.8 N, 2 21 7.9 E\"");
  set->add_option("--gps-altitude", options->gpsAltitude, "METRES: set the GPS altitude (below 0: below sea level)");
  set->add_option("--date", options->dates,
                  "STREAM:KEY=EDITION: change a date, as SHIFT(hh: 1), UPDATE(DD: 1), "
                  "SELECT(YY: 2020, MM: 1, DD: 2), RESTORE() or REMOVE()");
  set->add_option("--copy", options->copies, "SRC=DST: copy the value of tag SRC into tag DST");
  set->add_option("--copy-date", options->copyDates,
                  "SRC=DST: copy a date; a date-only or time-only SRC sets only that part of DST");
  set->add_option("--clone", options->clones, "SRC=DST: copy the value of SRC as it is displayed into DST");
  set->add_option("--merge", options->merges, "STREAM:KEY=TEXT: add TEXT to the value of a text tag");
  set->add_option("--preset", options->presetFile, "FILE: apply a preset of a presets file (the first one)");
  set->add_option("--preset-name", options->presetName, "NAME: the preset of the --preset file to apply");
  set->add_flag("--remove-thumbnail", options->removeThumbnail, "Delete the embedded thumbnail and preview image");
  set->add_flag("--keywords-from-finder-tags", options->keywordsFromFinderTags,
                "Set IPTC:Keywords to the Finder tags");
  set->add_flag("--finder-tags-from-keywords", options->finderTagsFromKeywords,
                "Set the Finder tags to IPTC:Keywords");
  set->callback([&outcome, options] { outcome.run = [options] { return setFiles(*options); }; });
}

}  // namespace orvelin::tool
