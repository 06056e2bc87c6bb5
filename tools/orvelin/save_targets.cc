#include "save_targets.h"

#include <cstdio>
#include <filesystem>

#include "batch.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/tasks/image_tasks.h"

namespace orvelin::tool {

namespace fs = std::filesystem;

SessionNames::SessionNames()
    : observer_(NotificationCenter::defaultCenter().addObserver(
          EditionsManager::didEndSessionNotification, &EditionsManager::shared(), nullptr,
          [this](const Notification& note) { collect(note); })) {}

SessionNames::~SessionNames() { NotificationCenter::defaultCenter().removeObserver(observer_); }

std::set<TagName> SessionNames::names(const MetadataEditor& editor) const {
  std::lock_guard lock(mutex_);
  const auto found = names_.find(&editor);
  return found == names_.end() ? std::set<TagName>() : found->second;
}

void SessionNames::collect(const Notification& note) {
  const auto set = EditionsManager::editionsSet(note);
  if (!set) return;
  std::lock_guard lock(mutex_);
  for (const auto& [editor, names] : set->values) names_[editor.get()].insert(names.begin(), names.end());
}

namespace {

// The names sorted, separated by blanks.
std::string joined(const std::set<TagName>& names) {
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : " ") + name.rawValue();
  return text;
}

}  // namespace

std::vector<Target> importTargets(const std::vector<std::string>& paths, bool quiet) {
  std::vector<fs::path> urls;
  for (const auto& path : paths) urls.push_back(fs::absolute(path));
  auto imported = importEditors(urls, quiet);
  std::vector<Target> targets(urls.size());
  for (std::size_t i = 0; i < urls.size(); ++i)
    targets[i] = {paths[i], std::move(imported[i].editor), std::move(imported[i].error)};
  return targets;
}

int saveTargets(std::vector<Target>& targets, const SessionNames& touched, bool updateModifyDate, bool quiet) {
  // What the saves are due to do, read before they run.
  struct Due {
    bool edited = false;
    std::string unchanged;  // the names the edits touched, when there is nothing to write
    bool sendsFinderTags = false;
  };
  std::vector<Due> due(targets.size());
  SaveImageEditionsTasksGenerator generator;
  for (std::size_t i = 0; i < targets.size(); ++i) {
    const auto& editor = targets[i].editor;
    if (!editor) continue;
    due[i].edited = editor->isEdited();
    if (!due[i].edited) {
      due[i].unchanged = joined(touched.names(*editor));
      continue;
    }
    due[i].sendsFinderTags = editor->writtenFinderTags().has_value();
    generator.editors.push_back(editor);
  }
  generator.updateSystemModifyDate = updateModifyDate;

  // The saves, each with the writer options of its editor's kind. What a save sent is what it
  // registered in the saves' sessions, not what the edits registered (a clear of a tag that the
  // file lacks is registered, and not written).
  SessionNames saved;
  struct Outcome {
    std::string error;  // "" when saved
    std::vector<RefusedValue> refused;
  };
  std::unordered_map<const MetadataEditor*, Outcome> outcomes;
  runTasks<SaveImageEditionsTaskItem>(generator, quiet, [&](std::size_t, const SaveImageEditionsTaskItem& task) {
    const auto input = task.input();
    if (input && input->editor)
      outcomes[input->editor.get()] = {task.status() == TaskStatus::completed ? std::string() : failureText(task),
                                       task.refusedValues()};
  });

  int status = 0;
  for (std::size_t i = 0; i < targets.size(); ++i) {
    auto& target = targets[i];
    if (target.editor && !due[i].edited) {
      std::printf("%s: nothing to write%s%s\n", target.path.c_str(), due[i].unchanged.empty() ? "" : "; unchanged: ",
                  due[i].unchanged.c_str());
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
    // The file tags are no value of the storage: the save sets them beside exiftool's run.
    auto names = saved.names(*target.editor);
    for (const auto& refusal : refused) names.erase(refusal.name);
    if (due[i].sendsFinderTags) names.insert(TagName::orvfinderTags);
    std::printf("%s: %s\n", target.path.c_str(), joined(names).c_str());
  }
  std::fflush(stdout);
  return status;
}

}  // namespace orvelin::tool
