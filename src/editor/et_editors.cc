#include "orvelin/editor/et_editors.h"

#include "orvelin/exiftool/one_command_jobs.h"

namespace orvelin {

namespace {

bool saysThereIsAThumbnail(const std::optional<std::string>& length) { return length && !length->empty() && *length != "0"; }

}  // namespace

std::optional<Image> ETImageMetadataEditor::extractThumbnail() const {
  if (saysThereIsAThumbnail(currentValue(TagName::exifThumbnailLength))) {
    if (auto embedded = extractETThumbnail()) return embedded;
  }
  return Image::thumbnail(url(), 300);
}

std::optional<Image> ETImageMetadataEditor::extractETThumbnail() const {
  if (!saysThereIsAThumbnail(originalValue(TagName::exifThumbnailLength))) return std::nullopt;
  return ThumbnailReader(password()).read(url());
}

std::shared_ptr<ETImageMetadataEditor> readImageFile(const MetadataETReader& reader, const std::filesystem::path& url) {
  auto storage = reader.readReadWriteStorage(url);
  storage.readFinderTags();
  return MetadataEditor::create<ETImageMetadataEditor>(std::move(storage), reader.password);
}

std::shared_ptr<ETFolderMetadataEditor> readImageFolder(const MetadataETReader& reader,
                                                        const std::filesystem::path& url) {
  return MetadataEditor::create<ETFolderMetadataEditor>(ReadWriteStorage(url), reader.password);
}

void writeImageFileEditor(MetadataETWriter& writer, const ETImageMetadataEditor& editor) {
  writer.password = editor.password();
  const auto storage = editor.storage();
  writer.overwriteInPlace = true;
  writer.recurseSubfolders = false;
  writer.filterPathExtension = std::nullopt;
  writer.shouldMoveSource = true;
  writer.writeStorage(storage);
}

void writeImageFolderEditor(MetadataETWriter& writer, const ETFolderMetadataEditor& editor) {
  writer.password = editor.password();
  const auto storage = editor.storage();
  writer.overwriteInPlace = !editor.createBackupFiles;
  writer.recurseSubfolders = editor.recurseSubfolders;
  writer.filterPathExtension = editor.filterPathExtension;
  writer.shouldMoveSource = false;
  writer.writeStorage(storage);
}

}  // namespace orvelin
