#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/exiftool/write_report.h"
#include "orvelin/storage/read_write_storage.h"
#include "orvelin/support/coded_error.h"
#include "orvelin/values/date_values.h"

namespace orvelin {

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

namespace metadata_writer_detail {
// The work behind MetadataWriter's default operations, given the writer's three options.
FileAttributes fileAttributes(const ReadWriteStorage& storage, bool createDate, bool modifyDate);
URLAttributes urlAttributes(const ReadWriteStorage& storage, bool finderTags);
void writeFileAttributes(const std::filesystem::path& url, const FileAttributes& attributes);
void writeURLAttributes(const std::filesystem::path& url, const URLAttributes& attributes);
}  // namespace metadata_writer_detail

// What the library's writers share: the file dates and Finder tags of the source, set after the
// metadata was written. A writer derives from MetadataWriter<itself> and declares three public
// boolean fields, which these operations read: shouldUpdateSourceSystemCreateDate (the source's
// creation date from EXIF:CreateDate), shouldUpdateSourceSystemModifyDate (its modification date
// from EXIF:ModifyDate) and shouldUpdateSourceFinderTags (its Finder tags from the pending ones).
// The fields stay the writer's own, in its order; this base holds no state.
template <typename Writer>
class MetadataWriter {
 public:
  // True when either date is to be set.
  bool shouldUpdateSourceSystemDate() const {
    return writer().shouldUpdateSourceSystemCreateDate || writer().shouldUpdateSourceSystemModifyDate;
  }

  // The dates of EXIF:CreateDate and EXIF:ModifyDate (written, else original), read in the
  // date formats of DateTimeValueConverter; a text no format reads gives no date.
  FileAttributes fileAttributes(const ReadWriteStorage& storage) const {
    return metadata_writer_detail::fileAttributes(storage, writer().shouldUpdateSourceSystemCreateDate,
                                                  writer().shouldUpdateSourceSystemModifyDate);
  }
  // The pending Finder tags, when they are to be set.
  URLAttributes urlAttributes(const ReadWriteStorage& storage) const {
    return metadata_writer_detail::urlAttributes(storage, writer().shouldUpdateSourceFinderTags);
  }
  // Sets the modification date (utimensat); the creation date cannot be set on Linux and is
  // only logged. Nothing to set does nothing. Throws std::filesystem::filesystem_error.
  void writeFileAttributes(const ReadWriteStorage& storage) const {
    metadata_writer_detail::writeFileAttributes(storage.sourceFileURL(), fileAttributes(storage));
  }
  // Sets the Finder tags (the "user.xdg.tags" attribute); nothing to set does nothing. Throws
  // std::filesystem::filesystem_error.
  void writeURLAttributes(const ReadWriteStorage& storage) const {
    metadata_writer_detail::writeURLAttributes(storage.sourceFileURL(), urlAttributes(storage));
  }

 protected:
  MetadataWriter() = default;
  ~MetadataWriter() = default;

 private:
  const Writer& writer() const { return static_cast<const Writer&>(*this); }
};

enum class MetadataETWriterErrorCode {
  copySourceImageFailed,
  jsonEncodingFailed,
  jsonFileCreationFailed,
  outputIsMissing,
  exifToolRefused,
};

// Why a write through exiftool failed: "Copy of source failed" (declared for callers, never
// thrown here), "JSON encoding failed", "JSON file creation failed", "Output is missing",
// "exiftool refused the write" (with exiftool's own line as the detail: an error, the reasons
// it refused every value sent, or its counts when it wrote no file).
class MetadataETWriterError : public CodedError<MetadataETWriterError, MetadataETWriterErrorCode> {
 public:
  using CodedError::CodedError;
  static const char* text(Code code);
};

// A value exiftool did not take, and its reason in exiftool's words.
struct RefusedValue {
  TagName name;
  std::string reason;
  friend bool operator==(const RefusedValue&, const RefusedValue&) = default;
};

// Writes the pending values of a storage to its file with one exiftool run over a JSON file of
// the new values, and reads exiftool's report of the run ("-v").
//
// A file is first moved into the backup folder (ORVGetBackupFolderURL()) under a fresh name;
// exiftool writes the new file beside it (its "-o"), and only a run that wrote it takes the
// file's place, with the permissions, owner and extended attributes of the former one, which
// then goes. A run that failed or wrote nothing (an error, no file written although values were
// sent, every value sent refused) throws exifToolRefused, and the file returns as it was. On any
// failure the file stays whole: where it was, or in the backup folder when the move back fails
// (the error says so). A folder is rewritten where it is, in place, file by file, as exiftool
// does it; an error on one of its files fails the save, although exiftool wrote the others.
//
// Values that exiftool refused in a run that wrote the file are in refusedValues(); they are no
// longer pending once the save is done: the file keeps what it had for them.
//
// Every path that made the JSON file removes it again through ORVGetFileSystem(); a removal that
// fails is written to the debug log and changes nothing of the outcome.
//
// The owner of the storage (its editor) is told of the save: prepare, then flush and conclude
// on success, conclude alone on failure, so that the edits stay pending for another try.
//
// The options are plain fields that change with each editor, so an instance serves one save at
// a time and belongs to one thread while it works. A save blocks the calling thread for one
// process and holds no lock of the library's while that process runs.
class MetadataETWriter : public MetadataWriter<MetadataETWriter> {
 public:
  std::optional<std::string> password;
  bool enableCorrection = false;  // exiftool's -F
  bool forceIPTCUTF8 = true;      // adds "-IPTC:CodedCharacterSet=UTF8"
  bool overwriteInPlace = true;   // kept for callers: writes always overwrite in place
  bool recurseSubfolders = true;  // exiftool's -r, for a folder
  bool shouldMoveSource = false;  // work on a moved copy of the source in the backup folder
  std::optional<std::string> renamingPattern;      // kept for callers
  std::optional<std::string> filterPathExtension;  // exiftool's -ext, for a folder
  // Read by MetadataWriter: set the source's own dates and Finder tags after the run.
  bool shouldUpdateSourceSystemCreateDate = false;
  bool shouldUpdateSourceSystemModifyDate = false;
  bool shouldUpdateSourceFinderTags = false;
  // Send the file dates to exiftool; set the Finder tags of the written files.
  bool shouldUpdateImagesSystemCreateDate = false;
  bool shouldUpdateImagesSystemModifyDate = false;
  bool shouldUpdateImagesFinderTags = false;

  // The full save of one storage with the present options. Throws MetadataETWriterError, or
  // std::filesystem::filesystem_error for a move that failed. The editors' saves
  // (writeImageFileEditor(), writeImageFolderEditor()) set the options for their kind first.
  void writeStorage(const ReadWriteStorage& storage);
  // Writes the storage's values into another file (a sidecar), taking the source's other tags
  // with them for a file; pending Finder tags as for a save. The output is not checked.
  void exportSidecar(const ReadWriteStorage& storage, const std::filesystem::path& url);

  // The values exiftool refused in the last save, by name, with its reasons: after a save that
  // succeeded, those not written; after one that failed, those it refused (all of them when it
  // refused every value). Empty before the first save.
  const std::vector<RefusedValue>& refusedValues() const { return refusedValues_; }

  // The JSON record sent to exiftool: buildETValues() with the file modification date when
  // asked for. Neither the file creation date (Linux cannot set one: with that option the key
  // is left out) nor the Finder tags are sent (exiftool has no tag for them here): with
  // shouldUpdateImagesFinderTags the writer sets the "user.xdg.tags" attribute itself after a
  // successful run, on the file, or on each file of a folder that exiftool writes.
  nlohmann::json jsonValues(const ReadWriteStorage& storage) const;
  // "-G", "-s", "-n", "-f", "-v", then "-IPTC:CodedCharacterSet=UTF8" and "-use", "MWG" when
  // asked for, then "-json=<path>".
  std::vector<std::string> buildArguments(const std::filesystem::path& jsonURL) const;

 private:
  std::filesystem::path createJSONFile(const nlohmann::json& values) const;
  void writeMetadataValue(const ReadWriteStorage& storage);
  // The run over the moved file, and the new file in its place.
  void writeMovedFile(const ReadWriteStorage& storage, const nlohmann::json& values, const std::filesystem::path& jsonURL);
  // The run in place, over a file or a folder; returns the files rewritten.
  std::vector<std::filesystem::path> writeInPlace(const ReadWriteStorage& storage, const nlohmann::json& values,
                                                  const std::filesystem::path& jsonURL);
  // The command's runner with the writer's options.
  ExifToolCLI makeCLI(bool overwriteInPlace) const;
  // Reads the run's report: keeps the refused values, throws exifToolRefused for a run that
  // failed or wrote nothing it was asked to.
  ExifToolWriteReport checkRun(const ExifToolCLI& cli, const ReadWriteStorage& storage,
                                      const nlohmann::json& values);

  std::vector<RefusedValue> refusedValues_;
};

}  // namespace orvelin
