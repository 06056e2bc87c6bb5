#include "orvelin/editor/editor_image_facts.h"

#include <array>
#include <string>
#include <utility>

#include "orvelin/editions/editions_manager.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

namespace {

// The size of one pair of width and height tags; a value that is no number of at least 0
// counts as none.
std::optional<ImageSize> pairSize(const MetadataEditor& editor, const TagName& widthName, const TagName& heightName) {
  const auto widthText = editor.currentValue(widthName);
  const auto heightText = editor.currentValue(heightName);
  if (!widthText || !heightText) return std::nullopt;
  const SDoubleValueConverter converter;
  const auto width = converter.typedValueFromStringValue(*widthText);
  const auto height = converter.typedValueFromStringValue(*heightText);
  if (!width || !(*width >= 0.0) || !height || !(*height >= 0.0)) return std::nullopt;
  return ImageSize{*width, *height};
}

bool isThumbnailLength(const std::optional<std::string>& length) { return length && !length->empty() && *length != "0"; }

// The direct writes of the thumbnail, in a session.
void setThumbnail(MetadataEditor& editor, const std::optional<std::string>& value) {
  EditionsManager::shared().session([&] {
    for (const auto* name : {&TagName::exifThumbnailImage, &TagName::exifThumbnailLength, &TagName::exifPreviewImage,
                             &TagName::exifPreviewImageLength})
      editor.unsafeSetValue(value, *name);
  });
}

}  // namespace

std::optional<ImageSize> imageSize(const MetadataEditor& editor) {
  const std::array<std::pair<const TagName*, const TagName*>, 4> pairs = {{
      {&TagName::fileImageWidth, &TagName::fileImageHeight},
      {&TagName::exifExifImageWidth, &TagName::exifExifImageHeight},
      {&TagName::exifImageWidth, &TagName::exifImageHeight},
      {&TagName::pngImageWidth, &TagName::pngImageHeight},
  }};
  for (const auto& [width, height] : pairs)
    if (auto size = pairSize(editor, *width, *height)) return size;
  return std::nullopt;
}

bool hasCurrentThumbnail(const MetadataEditor& editor) {
  return isThumbnailLength(editor.currentValue(TagName::exifThumbnailLength));
}

bool hasOriginalThumbnail(const MetadataEditor& editor) {
  return isThumbnailLength(editor.originalValue(TagName::exifThumbnailLength));
}

bool isExifThumbnailEdited(const MetadataEditor& editor) {
  return hasCurrentThumbnail(editor) != hasOriginalThumbnail(editor);
}

void removeThumbnail(MetadataEditor& editor) { setThumbnail(editor, std::string()); }

void restoreThumbnail(MetadataEditor& editor) { setThumbnail(editor, std::nullopt); }

}  // namespace orvelin
