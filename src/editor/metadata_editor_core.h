#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "orvelin/storage/read_write_storage.h"
#include "orvelin/tags/tag_access.h"
#include "orvelin/tags/tag_name.h"

namespace orvelin {

class MetadataEditor;

// The state of one editor: its storage, the file's password, its owner and the lock counter.
// It decides what may be read and edited (the rules are told on MetadataEditor's slots). A
// value without a lock of its own: MetadataEditor guards it.
class MetadataEditorCore {
 public:
  MetadataEditorCore(ReadWriteStorage storage, std::optional<std::string> password)
      : storage(std::move(storage)), filePassword(std::move(password)) {}

  ReadWriteStorage storage;
  const std::optional<std::string> filePassword;
  std::weak_ptr<MetadataEditor> editor;
  std::int64_t lockCounter = 0;

  // What the edits and lock changes have to announce, in order: a name to register with the
  // editions manager, or the change of the lock state. The editor sends them once it has
  // released its lock (see MetadataEditor::write()).
  struct Announcement {
    std::optional<TagName> edition;  // absent: the lock state changed
  };
  std::vector<Announcement> announcements;

  TagAccess access(const TagName& name) const;
  bool canReadValue(const TagName& name) const { return access(name).canBeRead(); }
  bool canEditValue(const TagName& name) const;
  bool isValueEdited(const TagName& name) const { return storage.writtenValuePointer(name) != nullptr; }
  std::optional<std::string> originalValue(const TagName& name) const;
  std::optional<std::string> writtenValue(const TagName& name) const { return storage.writtenValue(name); }
  std::optional<std::string> currentValue(const TagName& name) const;
  std::optional<std::string> unsafeGetValue(const TagName& name) const { return storage.originalValue(name); }
  bool isLocked() const { return lockCounter > 0; }

  // The edits; each announces its name for the editions manager.
  void setValue(const std::optional<std::string>& value, const TagName& name);
  void unsafeSetValue(const std::optional<std::string>& value, const TagName& name);
  void forceValue(const TagName& name);
  void setFinderTags(const std::optional<std::vector<std::string>>& tags);
  void lockEditor();
  void unlockEditor();

  std::string debugDescription() const;

 private:
  void registerEdition(const TagName& name) { announcements.push_back({name}); }
  void postDidChangeLockState() { announcements.push_back({std::nullopt}); }
};

}  // namespace orvelin
