#pragma once

// The edits of `orvelin set`: what its options ask for, checked before any file is read, and
// their application to one editor, with the refusals told on standard error.

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/presets/preset.h"
#include "orvelin/values/coordinate.h"
#include "orvelin/values/date_edition.h"

namespace orvelin::tool {

// The options of the command, as parsed.
struct SetOptions {
  std::vector<std::string> files;
  std::vector<std::string> values;  // STREAM:KEY=VALUE
  std::vector<std::string> clears;  // STREAM:KEY
  std::vector<std::string> forces;  // STREAM:KEY
  std::optional<std::string> finderTags;
  bool updateModifyDate = false;
  // Edits with intent, applied after the plain ones, in the order of the fields.
  bool eraseGPS = false;
  std::optional<std::string> gps;          // a position in any of the four notations
  std::optional<std::string> gpsAltitude;  // metres, signed
  std::vector<std::string> dates;          // STREAM:KEY=EDITION
  std::vector<std::string> copies;         // SRC=DST
  std::vector<std::string> copyDates;      // SRC=DST
  std::vector<std::string> clones;         // SRC=DST
  std::vector<std::string> merges;         // STREAM:KEY=TEXT
  std::optional<std::string> presetFile;
  std::optional<std::string> presetName;
  bool removeThumbnail = false;
  bool keywordsFromFinderTags = false;
  bool finderTagsFromKeywords = false;
  bool quiet = false;
};

// The edits with intent, parsed and checked before any file is read.
struct IntentEdits {
  std::optional<Coordinate> position;
  std::optional<double> altitude;
  std::vector<std::pair<TagName, DateEdition>> dates;
  std::vector<std::pair<TagName, TagName>> copies, copyDates, clones;
  std::vector<std::pair<TagName, std::string>> merges;
  std::shared_ptr<Preset> preset;
};

// One edit asked for on the command line.
struct Edit {
  enum class Kind { value, clear, force } kind;
  TagName name;
  std::string value;
};

// The plain edits (values, clears, forces), checked; absent, after an error printed on standard
// error, when one is malformed.
std::optional<std::vector<Edit>> parseEdits(const SetOptions& options);
// The edits with intent, checked (the preset file read); absent, after an error printed, when
// one is malformed. REQUIRES: the catalogue is loaded (a preset names tags).
std::optional<IntentEdits> parseIntentEdits(const SetOptions& options);

// Applies, in one session, the plain edits to all editors through the batch operations, then
// the edits with intent to each editor, the editors in parallel. Returns, for each editor, the
// lines that tell the edits it refused ("PATH: NAME refused (WHY)\n" each; empty when none).
// `paths` names the editors' files in the same order.
std::vector<std::string> applyEdits(const std::vector<std::shared_ptr<MetadataEditor>>& editors,
                                    const std::vector<std::string>& paths, const std::vector<Edit>& edits,
                                    const IntentEdits& intentEdits, const SetOptions& options);

// The parts of "a, b,c": split at the commas, each trimmed of blanks; empty parts dropped.
std::vector<std::string> splitTags(const std::string& text);

}  // namespace orvelin::tool
