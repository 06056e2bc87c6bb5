#pragma once

#include <optional>

#include "orvelin/editor/metadata_editor.h"

// Image facts: the pixel size and the embedded thumbnail, built on the slots of
// MetadataEditor, with the rules, vocabulary and thread-safety told in editor_values.h. The
// thumbnail picture itself is MetadataEditor::extractThumbnail().

namespace orvelin {

struct ImageSize {
  double width = 0.0;
  double height = 0.0;
  friend bool operator==(const ImageSize&, const ImageSize&) = default;
};

// The first of the pairs File:ImageWidth/Height, EXIF:ExifImageWidth/Height,
// EXIF:ImageWidth/Height, PNG:ImageWidth/Height whose two current values read as numbers of
// at least 0 (zero is a size); absent when none does. Width and height may come from two
// moments if another thread writes in between.
std::optional<ImageSize> imageSize(const MetadataEditor& editor);
// EXIF:ThumbnailLength, current or original, is present, not empty and not "0".
bool hasCurrentThumbnail(const MetadataEditor& editor);
bool hasOriginalThumbnail(const MetadataEditor& editor);
// The two answers above differ (a change between two non-zero lengths is no edit here).
bool isExifThumbnailEdited(const MetadataEditor& editor);
// Direct writes (unsafeSetValue()) of the empty text, or of absent, to EXIF ThumbnailImage,
// ThumbnailLength, PreviewImage and PreviewImageLength, in a session: they skip the edit
// checks and comparisons, and only a locked editor refuses them (the session still opens and
// closes, empty).
void removeThumbnail(MetadataEditor& editor);
void restoreThumbnail(MetadataEditor& editor);

}  // namespace orvelin
