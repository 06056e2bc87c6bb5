#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "orvelin/storage/read_write_storage.h"
#include "orvelin/values/date_values.h"

namespace orvelin {

class ETImageMetadataEditor;
class ETFolderMetadataEditor;

// The file-system attributes a save sets on its source.
struct FileAttributes {
  std::optional<Date> creationDate;      // cannot be set on Linux: logged and skipped
  std::optional<Date> modificationDate;
  bool empty() const { return !creationDate && !modificationDate; }
};

// The URL attributes a save sets on its source: its Finder tags.
struct URLAttributes {
  std::optional<std::vector<std::string>> tagNames;
  bool empty() const { return !tagNames; }
};

// What the library's two writers share: the file dates and Finder tags of the source, set after
// the metadata was written.
class MetadataWriter {
 public:
  virtual ~MetadataWriter() = default;

  // Set the source's creation date from EXIF:CreateDate, its modification date from
  // EXIF:ModifyDate, its Finder tags from the pending ones.
  bool shouldUpdateSourceSystemCreateDate = false;
  bool shouldUpdateSourceSystemModifyDate = false;
  bool shouldUpdateSourceFinderTags = false;
  bool shouldUpdateSourceSystemDate() const {
    return shouldUpdateSourceSystemCreateDate || shouldUpdateSourceSystemModifyDate;
  }

  // The dates of EXIF:CreateDate and EXIF:ModifyDate (written, else original), read in the
  // date formats of DateTimeValueConverter; a text no format reads gives no date.
  FileAttributes fileAttributes(const ReadWriteStorage& storage) const;
  // The pending Finder tags, when they are to be set.
  URLAttributes urlAttributes(const ReadWriteStorage& storage) const;
  // Sets the modification date (utimensat); throws std::filesystem::filesystem_error.
  void writeFileAttributes(const ReadWriteStorage& storage) const;
  // Sets the Finder tags (the "user.xdg.tags" attribute); throws
  // std::filesystem::filesystem_error.
  void writeURLAttributes(const ReadWriteStorage& storage) const;
};

// Why a write through exiftool failed.
class MetadataETWriterError : public std::runtime_error {
 public:
  enum class Code { copySourceImageFailed, jsonEncodingFailed, jsonFileCreationFailed, outputIsMissing };
  explicit MetadataETWriterError(Code code);
  Code code() const { return code_; }
  // "Copy of source failed", "JSON encoding failed", "JSON file creation failed", "Output is
  // missing": fixed English texts.
  static const char* errorDescription(Code code);
  std::string localizedDescription() const { return what(); }

 private:
  Code code_;
};

// Writes the pending values of a storage to its file with one exiftool run over a JSON file of
// the new values. A file is first moved into the backup folder (ORVGetBackupFolderURL()) under a
// fresh name, exiftool rewrites it there, and it is moved back; on any failure the file stays
// whole: where it was, or in the backup folder when the last move fails (the error says so).
// The JSON file is removed on every path.
//
// The owner of the storage (its editor) is told of the save: prepare, then flush and conclude
// on success, conclude alone on failure, so that the edits stay pending for another try.
//
// The options change with each editor, so an instance serves one save at a time. A save
// blocks the calling thread for one process.
class MetadataETWriter : public MetadataWriter {
 public:
  std::optional<std::string> password;
  bool enableCorrection = false;
  bool forceIPTCUTF8 = true;
  bool overwriteInPlace = true;  // kept for callers: writes always overwrite in place
  bool recurseSubfolders = true;
  bool shouldMoveSource = false;
  std::optional<std::string> renamingPattern;  // kept for callers
  std::optional<std::string> filterPathExtension;
  bool shouldUpdateImagesSystemCreateDate = false;
  bool shouldUpdateImagesSystemModifyDate = false;
  bool shouldUpdateImagesFinderTags = false;

  // The full save of one storage. Throws MetadataETWriterError, or
  // std::filesystem::filesystem_error for a move that failed.
  void writeStorage(const ReadWriteStorage& storage);
  // Sets the options for a file editor (the source is moved aside during the write) and saves.
  // REQUIRES: the caller holds a lock of the editor (lockEditor()), as the save tasks do: the
  // values written are those of a copy taken before the save locks the editor itself, and an
  // edit accepted in between would be flushed without being written.
  void writeImageFileEditor(const ETImageMetadataEditor& editor);
  // Sets the options for a folder editor (the folder's files are rewritten where they are, in
  // one run; overwriteInPlace follows the editor's createBackupFiles, although the run always
  // overwrites in place and leaves no backup) and saves. REQUIRES: as for
  // writeImageFileEditor().
  void writeImageFolderEditor(const ETFolderMetadataEditor& editor);
  // Writes the storage's values into another file (a sidecar), taking the source's other tags
  // with them for a file; pending Finder tags as for a save. The output is not checked.
  void exportSidecar(const ReadWriteStorage& storage, const std::filesystem::path& url);

  // The JSON record sent to exiftool: buildETValues() with the file modification date when
  // asked for. Neither the file creation date (Linux cannot set one: with that option the key
  // is left out) nor the Finder tags are sent (exiftool has no tag for them here): with
  // shouldUpdateImagesFinderTags the writer sets the "user.xdg.tags" attribute itself after a
  // successful run, on the file, or on each file of a folder that exiftool writes.
  nlohmann::json jsonValues(const ReadWriteStorage& storage) const;
  // "-G", "-s", "-n", "-f", then "-IPTC:CodedCharacterSet=UTF8" and "-use", "MWG" when asked
  // for, then "-json=<path>".
  std::vector<std::string> buildArguments(const std::filesystem::path& jsonURL) const;

 private:
  std::filesystem::path createJSONFile(const nlohmann::json& values) const;
  void writeMetadataValue(const ReadWriteStorage& storage);
};

}  // namespace orvelin
