#include "orvelin/editor/et_editors.h"

#include "orvelin/exiftool/one_command_jobs.h"
#include "orvelin/storage/metadata_et_reader.h"

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

std::shared_ptr<ETImageMetadataEditor> MetadataETReader::readImageFile(const std::filesystem::path& url) const {
  auto storage = readReadWriteStorage(url);
  storage.readFinderTags();
  return MetadataEditor::create<ETImageMetadataEditor>(std::move(storage), password);
}

std::shared_ptr<ETFolderMetadataEditor> MetadataETReader::readImageFolder(const std::filesystem::path& url) const {
  return MetadataEditor::create<ETFolderMetadataEditor>(ReadWriteStorage(url), password);
}

}  // namespace orvelin
