#pragma once

#include <optional>
#include <string>

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/storage/metadata_et_writer.h"

namespace orvelin {

// An editor of one file, read and written through exiftool. Made by readImageFile().
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
// Starts with an empty storage. Made by readImageFolder().
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

// An editor of a file read by `reader`: its storage (MetadataETReader::readReadWriteStorage(),
// which throws ETMetadataReaderError), with the file's Finder tags (an error reading them is
// thrown as std::filesystem::filesystem_error), and the reader's password.
std::shared_ptr<ETImageMetadataEditor> readImageFile(const MetadataETReader& reader, const std::filesystem::path& url);
// An editor of a folder, with an empty storage and the reader's password; runs no process.
std::shared_ptr<ETFolderMetadataEditor> readImageFolder(const MetadataETReader& reader,
                                                        const std::filesystem::path& url);

// Save one editor with `writer`: the writer's options are set for the editor's kind, then
// MetadataETWriter::writeStorage() writes a copy of the editor's storage.
//
// A file is moved aside while it is written (shouldMoveSource), with the editor's password, no
// recursion and no extension filter. REQUIRES: the caller holds a lock of the editor
// (lockEditor()), as the save tasks do: the values written are those of a copy taken before the
// save locks the editor itself, and an edit accepted in between would be flushed without being
// written.
void writeImageFileEditor(MetadataETWriter& writer, const ETImageMetadataEditor& editor);
// A folder's files are rewritten where they are, in one run, with the editor's recursion and
// extension filter; overwriteInPlace follows the editor's createBackupFiles, although the run
// always overwrites in place and leaves no backup. REQUIRES: as for writeImageFileEditor().
void writeImageFolderEditor(MetadataETWriter& writer, const ETFolderMetadataEditor& editor);

}  // namespace orvelin
