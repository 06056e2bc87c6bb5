#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/tags/tag_name.h"

namespace orvelin {

// The JSON tag file: an object of streams, each an object of the stream's tags, whose values
// are the JSON forms of the tags' converters (texts, numbers, booleans, arrays):
//
//   { "EXIF": { "Make": "Canon", "ISO": 400 } }
//
// Neither class reports errors: what could not be read or written is simply not there. Not for
// use by two threads at once; the editor is read through its own thread-safe accessors.

class JSONTagsExporter {
 public:
  // Absent until generateJSON(), and after one whose text could not be encoded (a value that
  // is not UTF-8).
  const std::optional<std::string>& jsonData() const { return jsonData_; }

  // The current tags of `editor` that the catalogue knows, streams and keys in the editor's
  // order, pretty-printed; a value without a JSON form is null.
  void generateJSON(const MetadataEditor& editor);

 private:
  std::optional<std::string> jsonData_;
};

class JSONTagsImporter {
 public:
  // The values read so far, in the canonical form of each tag's converter.
  const std::map<TagName, std::string>& values() const { return values_; }

  void clearValuesCache() { values_.clear(); }

  // Reads a JSON text of the exporter's shape. Anything but an object of objects adds nothing
  // at all; within it, tags the catalogue does not know and values their converter cannot read
  // are skipped.
  void importTags(std::string_view data);
  // The same for the bytes of a file; a file that cannot be read adds nothing.
  void importTagsAt(const std::filesystem::path& url);

 private:
  std::map<TagName, std::string> values_;
};

}  // namespace orvelin
