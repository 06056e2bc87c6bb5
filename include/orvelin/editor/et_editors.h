#pragma once

#include <optional>
#include <string>

#include "orvelin/editor/metadata_editor.h"

namespace orvelin {

// An editor of one file, read and written through exiftool. Made by
// MetadataETReader::readImageFile().
class ETImageMetadataEditor : public MetadataEditor {
 public:
  // The embedded EXIF thumbnail when the current and the file's own thumbnail lengths say
  // there is one, else a picture of the main image (longer edge at most 300 pixels).
  std::optional<Image> extractThumbnail() const override;

 protected:
  using MetadataEditor::MetadataEditor;
  friend class MetadataEditor;

 private:
  std::optional<Image> extractETThumbnail() const;
};

// An editor of a folder: its edits are written to every file in it, in one exiftool pass.
// Starts with an empty storage. Made by MetadataETReader::readImageFolder().
class ETFolderMetadataEditor : public MetadataEditor {
 public:
  // Plain fields, set by the host before a save; not guarded by the editor's lock.
  bool createBackupFiles = false;  // the writer's overwriteInPlace is its negation
  bool recurseSubfolders = true;
  std::optional<std::string> filterPathExtension;  // only files of this extension

  // Always true, whatever the URL looks like.
  bool isFolder() const override { return true; }
  // A folder has no picture.
  std::optional<Image> extractThumbnail() const override { return std::nullopt; }

 protected:
  using MetadataEditor::MetadataEditor;
  friend class MetadataEditor;
};

}  // namespace orvelin
