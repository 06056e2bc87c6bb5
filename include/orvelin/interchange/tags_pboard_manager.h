#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "orvelin/editor/editor_batch.h"
#include "orvelin/tags/tag_name.h"
#include "orvelin/tags/tag_type.h"
#include "orvelin/values/coordinate.h"

namespace orvelin {

// Copy and paste of metadata through the general pasteboard (ORVGetPasteboard()). Everything
// on it is plain text: one value; several tags, one line each, `EXIF:Make: "Canon"` (values as
// they are, with no escaping); or a GPS position in the preDDMMSSs notation with "; " between
// latitude and longitude.
//
// Holds no state. Every pasteboard access runs on the main queue: directly on the main thread,
// else synchronously (the caller blocks until the main thread has served it; it must not hold
// what the main thread waits for). Safe to call from any thread.
class TagsPBoardManager {
 public:
  // The process's manager. Belongs to the library and is never deleted.
  static TagsPBoardManager& shared();

  TagsPBoardManager() = default;
  TagsPBoardManager(const TagsPBoardManager&) = delete;
  TagsPBoardManager& operator=(const TagsPBoardManager&) = delete;
  virtual ~TagsPBoardManager() = default;

  // The pasteboard's text; absent when it holds none.
  virtual std::optional<std::string> readStringValueFromPasteboard();
  virtual void writeStringValueToPasteboard(const std::string& text);
  // The text read in the four notations of CoordinateParser, in its order; absent when none fits.
  virtual std::optional<Coordinate> readGPSCoordinate();
  virtual void writeGPSCoordinate(const Coordinate& coordinate);
  // Whether readSingleRawValue() gives a value.
  virtual bool hasSingleValue(const TagType& type);
  // The text in the canonical form of `type`'s converter; absent when it does not fit the type.
  virtual std::optional<std::string> readSingleRawValue(const TagType& type);
  virtual void writeSingleRawValue(const std::string& text);
  // Whether readMultipleValues() gives at least one pair.
  virtual bool hasMultipleValues();
  virtual void writeMultipleValues(const std::vector<std::pair<TagName, std::string>>& values);
  // The lines that name a tag of the catalogue, in order, each value in its tag's canonical
  // form; the others are skipped. The name runs to the last ":" before the opening quote, the
  // value to the line's last quote (`EXIF:Make: "a"b"` gives `a"b`).
  virtual std::vector<std::pair<TagName, std::string>> readMultipleValues();
};

// The pasteboard family of the batch operations (editor_batch.h), through
// TagsPBoardManager::shared().

// For each name in order, the value the editors agree on (the empty text when they agree on
// having none); names they disagree on are left out.
void copyTags(EditorArray editors, const std::vector<TagName>& names);
// Every key of the stream in catalogue order whose value the editors agree on and have;
// nothing is written for a stream the catalogue does not know.
void copyStream(EditorArray editors, const TagStream& stream);
// Sets the pasted values on every editor, in one session; with `eraseOther`, the streams of the
// pasted names are cleared first. Nothing pasted: no session.
void pasteTags(EditorArray editors, bool eraseOther);
// The position the editors agree on, when there is one.
void copyEXIFGPSCoordinate(EditorArray editors);
// The pasted position, on every editor, when the text is one.
void pasteEXIFGPSCoordinate(EditorArray editors);

}  // namespace orvelin
