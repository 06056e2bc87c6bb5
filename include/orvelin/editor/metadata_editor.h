#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

#include "orvelin/imageservice/image.h"
#include "orvelin/storage/read_write_storage.h"
#include "orvelin/tags/tag_access.h"
#include "orvelin/tags/tag_name.h"

namespace orvelin {

class MetadataEditorCore;

// The object through which a host works on one file or folder: it answers what may be read
// and edited, takes edits, and is locked while it is saved. The operations built on these
// slots are free functions, by theme: editor_values.h, editor_finder_tags.h,
// editor_editions.h, editor_dates.h, editor_gps.h and editor_image_facts.h.
//
// Held by std::shared_ptr (made with create()); copies are not possible. Equality is identity;
// hashing is by URL (hashURL()), so two editors of one file hash alike and differ.
//
// Safe for concurrent use by multiple threads: an internal reader-writer lock guards the core.
// Reads take it shared and overlap; edits, the lock calls and the save operations take it
// exclusively. Nothing is posted while it is held: an edit registers its names with
// EditionsManager::shared(), and a lock call posts its notification, right after the exclusive
// lock is released, on the caller's thread, so that an observer may read this editor at once.
// An observer that edits it from inside the manager's own notifications must still change
// thread first (the manager posts under its lock).
//
// While locked (lockEditor() more often than unlockEditor()), value edits are refused
// silently; reads, setFinderTags() and the save operations stay possible.
class MetadataEditor : public ReadWriteStorageOwner, public std::enable_shared_from_this<MetadataEditor> {
 public:
  // Makes an editor of kind E over a filled storage, and makes it the storage's owner.
  template <typename E = MetadataEditor>
  static std::shared_ptr<E> create(ReadWriteStorage storage, std::optional<std::string> password = std::nullopt) {
    std::shared_ptr<E> editor(new E(std::move(storage), std::move(password)));
    editor->adopt();
    return editor;
  }

  MetadataEditor(const MetadataEditor&) = delete;
  MetadataEditor& operator=(const MetadataEditor&) = delete;
  ~MetadataEditor() override;

  // The URL given at creation, readable without the lock.
  const std::filesystem::path& hashURL() const { return hashURL_; }

  virtual std::filesystem::path url() const;
  // The last path component without its extension.
  virtual std::string filename() const;
  virtual std::string fileType() const;
  virtual std::optional<std::string> password() const;
  // A copy of the storage.
  virtual ReadWriteStorage storage() const;
  virtual bool isFolder() const;
  // Written values, or pending Finder tags.
  virtual bool isEdited() const;
  virtual std::set<TagStream> g0OriginalStreams() const;
  virtual std::set<TagStream> g1OriginalStreams() const;
  virtual std::vector<TagName> originalTagNames() const;
  virtual std::vector<TagName> writtenTagNames() const;
  virtual std::vector<TagName> currentTagNames() const;
  virtual bool canEditFinderTags() const;
  virtual std::vector<std::string> originalFinderTags() const;
  virtual std::optional<std::vector<std::string>> writtenFinderTags() const;
  // Allowed while locked. On a file, the original tags (or absent) leave nothing pending.
  virtual void setFinderTags(const std::optional<std::vector<std::string>>& tags);
  virtual bool isLocked() const;
  // Locks nest; "MetadataEditorDidChangeLockStateNotification" is posted only when the
  // editor goes from unlocked to locked or back.
  virtual void lockEditor();
  virtual void unlockEditor();
  // rwc on a folder; else the file type's entry for the stream when it is not n; else n for a
  // stream the file did not show; else rw for a tag the file has and r for one it lacks.
  virtual TagAccess access(const TagName& name) const;
  virtual bool canReadValue(const TagName& name) const;
  // True for a profile file's own "ICC_Profile" tags; else the catalogue must know the tag as
  // writable and the access allow edits.
  virtual bool canEditValue(const TagName& name) const;
  virtual bool isValueEdited(const TagName& name) const;
  // Absent when the access is n.
  virtual std::optional<std::string> originalValue(const TagName& name) const;
  virtual std::optional<std::string> writtenValue(const TagName& name) const;
  // The written value (even empty), else originalValue().
  virtual std::optional<std::string> currentValue(const TagName& name) const;
  // The read value without the access check.
  virtual std::optional<std::string> unsafeGetValue(const TagName& name) const;
  // Refused when the tag cannot be edited or the editor is locked; nothing happens when the
  // value is current already; a number tag refuses a number that is not finite ("inf", "nan",
  // "1e999": see isNonFiniteNumber); else the storage's rule applies and the name is
  // registered.
  virtual void setValue(const std::optional<std::string>& value, const TagName& name);
  virtual void setValue(const std::optional<std::string>& value, const std::vector<TagName>& names);
  virtual void setValues(const std::vector<std::pair<TagName, std::optional<std::string>>>& values);
  virtual void setValues(const std::map<TagName, std::string>& values);
  // Puts the value into the written values as it is (absent removes it), with no check but
  // the lock, and registers the name.
  virtual void unsafeSetValue(const std::optional<std::string>& value, const TagName& name);
  // Makes the current value (or the empty text) pending, so that the next save writes it again.
  virtual void forceValue(const TagName& name);
  // "stream:key:value" per current name, one per line.
  virtual std::string debugDescription() const;
  virtual void debugPrint() const;
  // The file's icon: none on this platform.
  virtual std::optional<Image> extractFileIcon() const;
  // A picture of the file; the base class has none to give (a programming fault).
  virtual std::optional<Image> extractThumbnail() const;
  virtual void postDidChangeLockState() const;

  // The save protocol, driven by the writers: a lock and a session around the write, the
  // written names registered in it; the flush of the written values into the original ones;
  // the end of the session and the lock.
  void prepareInternalSaveChanges(ReadWriteStorage& storage) override;
  void performInternalFlushChanges(ReadWriteStorage& storage) override;
  void concludeInternalSaveChanges(ReadWriteStorage& storage) override;

  // The image extensions of ExifToolCLI::arrangedTypes(), as a set and as a list.
  static const std::set<std::string, std::less<>>& supportedImages();
  static const std::vector<std::string>& supportedImagesList();

  static const std::string didChangeLockStateNotification;  // "MetadataEditorDidChangeLockStateNotification"

 protected:
  MetadataEditor(ReadWriteStorage storage, std::optional<std::string> password);

 private:
  // Run `block` on the core under the shared lock, or under the exclusive lock; write() then
  // sends, with the lock released, what the block left to announce.
  template <typename Block>
  auto read(Block&& block) const;
  template <typename Block>
  auto write(Block&& block);

  void adopt();

  const std::filesystem::path hashURL_;
  mutable std::shared_mutex coreLock_;       // guards *core_
  std::unique_ptr<MetadataEditorCore> core_;  // never null
};

}  // namespace orvelin
