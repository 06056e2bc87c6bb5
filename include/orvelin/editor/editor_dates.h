#pragma once

#include <optional>

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/tags/tag_name.h"
#include "orvelin/values/date_edition.h"
#include "orvelin/values/date_values.h"

// Dates: copies between date tags, date editions, and the EXIF creation and modification
// dates, built on the slots of MetadataEditor, with the rules, vocabulary and thread-safety
// told in editor_values.h.

namespace orvelin {

// copy() (editor_editions.h) between date tags, but a date-only source sets only the day of a
// destination with a time, and a time-only source only its time; a destination without date
// gets a plain copy, and a source without date (onto a dated destination) restores the
// destination.
void copyDate(MetadataEditor& editor, const TagName& source, const TagName& destination);
// A date edition on one tag: restore and remove set absent and the empty text; select,
// update and shift work on the tag's date (read in any of the date formats) and write the
// result in the tag's own form, keeping the value when the result has none. These three do
// nothing for a tag the catalogue does not know.
void apply(MetadataEditor& editor, const DateEdition& edition, const TagName& name);
// EXIF:CreateDate and EXIF:ModifyDate read in any of the date formats; absent when empty or
// unreadable.
std::optional<Date> exifCreateDate(const MetadataEditor& editor);
std::optional<Date> exifModifyDate(const MetadataEditor& editor);
// EXIF:CreateDate written "yyyy:MM:dd HH:mm:ss" in local time; absent restores it.
void setExifCreateDate(MetadataEditor& editor, const std::optional<Date>& date);

}  // namespace orvelin
