#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include <nlohmann/json.hpp>

#include "orvelin/storage/generic_storage.h"
#include "orvelin/storage/tag_values.h"

namespace orvelin {

class ReadWriteStorage;

// Told of the phases of a save by the writers (never by the storage itself).
class ReadWriteStorageOwner {
 public:
  virtual ~ReadWriteStorageOwner() = default;
  virtual void prepareInternalSaveChanges(ReadWriteStorage& storage) = 0;
  // After a successful write. `storage` holds as written values those that reached the file: a
  // pending value it lacks was refused, and the file keeps what it had for that tag.
  virtual void performInternalFlushChanges(ReadWriteStorage& storage) = 0;
  virtual void concludeInternalSaveChanges(ReadWriteStorage& storage) = 0;
};

// The whole metadata state of one file or folder: the values read from it (original values),
// the pending edits over them (written values), and its Finder tags in the same two forms.
//
// The current value of a tag is its written value when there is one, else its original
// value. A written empty text asks for the tag's deletion at the next save. No written value
// equals its original value, except one put there by forceTagName() or a direct write.
//
// A plain value with no lock: its owner (an editor) guards it.
class ReadWriteStorage final : public GenericStorage {
 public:
  using Values = TagValues;

  // A URL without extension counts as a folder, a file without extension included.
  explicit ReadWriteStorage(std::filesystem::path fileURL);

  const std::filesystem::path& sourceFileURL() const override { return sourceFileURL_; }
  bool isFolder() const { return isFolder_; }
  // The extension in lower case ("jpg"); empty for a folder.
  const std::string& fileType() const { return fileType_; }

  // Told of the phases of a save; held weakly, not part of the value.
  std::weak_ptr<ReadWriteStorageOwner> owner;

  // Queries.
  bool hasWrittenValues() const { return !writtenValues_.empty(); }
  const std::set<TagStream>& g0OriginalStreams() const { return g0OriginalTagsStreams_; }
  const std::set<TagStream>& g1OriginalStreams() const { return g1OriginalTagsStreams_; }
  std::vector<TagName> originalValuesTagNames() const;
  std::vector<TagName> writtenValuesTagNames() const;
  std::vector<TagName> currentValuesTagNames() const;
  const Values& originalValuesDict() const { return originalValues_; }
  const Values& writtenValuesDict() const { return writtenValues_; }
  std::optional<std::string> originalValue(const TagName& name) const;
  std::optional<std::string> writtenValue(const TagName& name) const;
  std::optional<std::string> currentValue(const TagName& name) const;
  // Pointer forms of the three look-ups, without a copy; null when absent. Valid until the
  // storage changes.
  const std::string* originalValuePointer(const TagName& name) const;
  const std::string* writtenValuePointer(const TagName& name) const;
  const std::string* currentValuePointer(const TagName& name) const;

  bool canEditFinderTags() const { return true; }
  const std::vector<std::string>& originalFinderTags() const { return cacheOriginalFinderTags_; }
  const std::optional<std::vector<std::string>>& writtenFinderTags() const { return cacheWrittenFinderTags_; }
  const std::vector<std::string>& currentFinderTags() const {
    return cacheWrittenFinderTags_ ? *cacheWrittenFinderTags_ : cacheOriginalFinderTags_;
  }

  // Mutations.
  // Absent withdraws the pending edit; a text equal to the original withdraws it too; an empty
  // text deletes the tag at the next save (on a file only when it has the tag; on a folder
  // always); any other text becomes pending. Nothing happens when `value` is current already.
  void setValue(const std::optional<std::string>& value, const TagName& name);
  // Makes the current value (or the empty text) pending without any comparison.
  void forceTagName(const TagName& name);
  // Stores pending Finder tags as given (absent: none pending); no comparison.
  void setFinderTags(std::optional<std::vector<std::string>> tags);
  // After a successful save: the written values become original values (a cleared tag keeps an
  // empty original value), and pending Finder tags become the original ones.
  void flushNewToOriginalValues();
  // Puts a value into the written values as it is, with no rule (for direct writes).
  void setWrittenValueDirectly(const std::optional<std::string>& value, const TagName& name);

  // GenericStorage: the original values only; the last value stored wins.
  bool hasValue(const TagName& name) const override { return originalValues_.contains(name); }
  // Reads the "user.xdg.tags" attribute into the original Finder tags. Throws
  // std::filesystem::filesystem_error when it cannot be read; the storage is then unchanged.
  void readFinderTags() override;
  void store(const TagStream& g0Stream, const TagStream& g1Stream) override;
  void store(const std::string& value, const TagName& name) override { originalValues_.insert_or_assign(name, value); }

  // The JSON record that exiftool writes (its "-json=" input): "SourceFile": "*", then one
  // "GROUP:Key" member per written value that the catalogue knows with a supported type,
  // converted by the tag's converter, "-" (delete) when it converts to nothing or is an emptied
  // thumbnail. Maker
  // streams are addressed as "MakerNotes".
  nlohmann::json buildETValues() const;

 private:
  std::filesystem::path sourceFileURL_;
  bool isFolder_;
  std::string fileType_;
  std::set<TagStream> g0OriginalTagsStreams_;
  std::set<TagStream> g1OriginalTagsStreams_;
  Values originalValues_;
  Values writtenValues_;
  std::vector<std::string> cacheOriginalFinderTags_;
  std::optional<std::vector<std::string>> cacheWrittenFinderTags_;
};

}  // namespace orvelin
