#pragma once

// Editors for tests: made from a list of values without reading a file, saved as the save
// tasks save them, and observed through the lock and session notifications; and exiftool run
// for a test's own preparation.

#include <filesystem>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/event_log.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/editor/metadata_editor.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/support/notification_center.h"

namespace orvelin::testing {

// Runs exiftool over `path` in place with `arguments` before it: a test's own preparation.
inline void exifToolInPlace(const std::filesystem::path& path, std::vector<std::string> arguments) {
  ExifToolCLI cli;
  cli.overwriteInPlace = true;
  arguments.push_back(path.string());
  cli.run(arguments);
}

// Arguments every exiftool command of the library carries (ORVSetExtraArguments) for the scope.
class ExtraArgumentsScope {
 public:
  explicit ExtraArgumentsScope(std::vector<std::string> arguments) { ORVSetExtraArguments(std::move(arguments)); }
  ExtraArgumentsScope(const ExtraArgumentsScope&) = delete;
  ExtraArgumentsScope& operator=(const ExtraArgumentsScope&) = delete;
  ~ExtraArgumentsScope() { ORVSetExtraArguments({}); }
};

// "STREAM:KEY" as a tag name (the test's own text: a bad one is a fault of the test).
inline TagName tag(const char* raw) { return *TagName::fromRawValue(raw); }

// An editor of `file` (not read: its original values are the given ones).
inline std::shared_ptr<MetadataEditor> editorOf(std::initializer_list<std::pair<const char*, const char*>> values,
                                                const std::filesystem::path& file = "/photos/image.jpg") {
  ReadWriteStorage storage{file};
  for (const auto& [name, value] : values) storage.store(value, tag(name));
  return MetadataEditor::create(std::move(storage));
}

// An editor of a file whose type has no access table, read with the given values (and their
// streams): it edits the tags it has, and no other.
inline std::shared_ptr<MetadataEditor> editorOfUntyped(std::initializer_list<std::pair<const char*, const char*>> values,
                                                       const std::filesystem::path& file = "/photos/image.xyz") {
  ReadWriteStorage storage{file};
  for (const auto& [name, value] : values) {
    storage.store(value, tag(name));
    storage.store(tag(name).stream(), tag(name).stream());
  }
  return MetadataEditor::create(std::move(storage));
}

// The editor of a file read as the import tasks read it.
inline std::shared_ptr<ETImageMetadataEditor> readEditor(const std::filesystem::path& file,
                                                         std::optional<std::string> password = std::nullopt) {
  MetadataETReader reader(std::move(password));
  reader.setupDefaultForEditorReading();
  return readImageFile(reader, file);
}

// Saves as the save tasks do: the editor locked around the writer's call, unlocked again
// whatever the call does. Returns the values exiftool refused.
inline std::vector<RefusedValue> save(MetadataETWriter& writer, ETImageMetadataEditor& editor) {
  struct Unlock {
    MetadataEditor& editor;
    ~Unlock() { editor.unlockEditor(); }
  };
  editor.lockEditor();
  Unlock unlock{editor};
  writeImageFileEditor(writer, editor);
  return writer.refusedValues();
}

class EventRecorder {
 public:
  // Records "locked"/"unlocked" for `editor` (its lock state read from the notification
  // order: the first is always a lock), "will-begin" and "did-end" for the sessions.
  explicit EventRecorder(const std::shared_ptr<MetadataEditor>& editor = nullptr)
      : willBegin_(EditionsManager::willBeginSessionNotification, &EditionsManager::shared(),
                   [this](const Notification&) {
                     std::lock_guard lock(mutex_);
                     events_.push_back("will-begin");
                   }),
        didEnd_(EditionsManager::didEndSessionNotification, &EditionsManager::shared(),
                [this](const Notification& note) {
                  auto during = EditionsManager::shared().editionsSet();
                  std::lock_guard lock(mutex_);
                  events_.push_back("did-end");
                  sets_.push_back(EditionsManager::editionsSet(note).value_or(EditionsSet()));
                  setsDuringDidEnd_.push_back(std::move(during));
                }) {
    if (!editor) return;
    lock_.emplace(MetadataEditor::didChangeLockStateNotification, editor.get(), [this](const Notification& note) {
      std::lock_guard lock(mutex_);
      lockNotesHadUserInfo_ = lockNotesHadUserInfo_ || !note.userInfo.empty();
      events_.push_back(lockedNext_ ? "locked" : "unlocked");
      lockedNext_ = !lockedNext_;
    });
  }

  std::vector<std::string> events() const {
    std::lock_guard lock(mutex_);
    return events_;
  }
  std::vector<EditionsSet> sets() const {
    std::lock_guard lock(mutex_);
    return sets_;
  }
  // What the manager's own set held while each did-end notification was delivered.
  std::vector<EditionsSet> setsDuringDidEnd() const {
    std::lock_guard lock(mutex_);
    return setsDuringDidEnd_;
  }
  // The names of the one session that ended, for `editor` (a failure when not exactly one).
  std::set<TagName> onlySession(const std::shared_ptr<MetadataEditor>& editor) const {
    const auto all = sets();
    if (all.size() != 1) ADD_FAILURE() << all.size() << " sessions ended, not one";
    return all.empty() ? std::set<TagName>{} : all.front().tagNames({editor});
  }
  // The names of `editor` in the set of each did-end notification so far (absent: no entry).
  std::vector<std::optional<std::set<TagName>>> namesOf(const std::shared_ptr<MetadataEditor>& editor) const {
    std::vector<std::optional<std::set<TagName>>> names;
    for (const auto& set : sets()) {
      const auto found = set.values.find(editor);
      names.push_back(found == set.values.end() ? std::nullopt : std::optional(found->second));
    }
    return names;
  }
  bool lockNotesHadUserInfo() const {
    std::lock_guard lock(mutex_);
    return lockNotesHadUserInfo_;
  }
  void clear() {
    std::lock_guard lock(mutex_);
    events_.clear();
    sets_.clear();
    setsDuringDidEnd_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> events_;
  std::vector<EditionsSet> sets_;
  std::vector<EditionsSet> setsDuringDidEnd_;
  bool lockedNext_ = true;
  bool lockNotesHadUserInfo_ = false;
  // Last, so that they end before what they record into.
  Observation willBegin_;
  Observation didEnd_;
  std::optional<Observation> lock_;
};

}  // namespace orvelin::testing
