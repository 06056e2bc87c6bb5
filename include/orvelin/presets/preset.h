#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "orvelin/presets/preset_entry.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/tags/tag_name.h"
#include "orvelin/values/coordinate.h"
#include "orvelin/values/date_values.h"

namespace orvelin {

// A named recipe of edits: for each tag name, the PresetEntry that says what to do with that
// tag when the preset is applied to an editor (MetadataEditor::apply()).
//
// A class with identity, held by std::shared_ptr: two presets are equal only when they are the
// same object. Each change posts a notification on the default NotificationCenter, with the
// preset as object, synchronously on the thread of the change:
// "PresetDidChangeNameNotification", "PresetDidChangeDetailNotification", and
// "PresetDidChangeEntriesNotification" with the set of changed names under
// "UpdatedEntriesNames". Setters compare nothing: every call notifies.
//
// Not thread-safe: a preset belongs to one thread (the host's main thread), which alone reads
// and changes it.
//
// JSON form: {"name": ..., "detail": ..., "entries": [...]}, all three members required when
// decoding. "entries" is one array in which each tag name ("stream:key") is followed by its
// entry object: ["EXIF:Make", {"type": "value", "value": "Canon"}, "IPTC:City", ...], in the
// order of the map.
class Preset {
 public:
  using Entries = std::map<TagName, PresetEntry>;
  using Presets = std::vector<std::shared_ptr<Preset>>;

  // Name "DefaultPresetName" localised (default table), empty detail, no entries.
  Preset();
  // A new preset with copies of the name, detail and entries of `preset`. Observers of
  // `preset` do not observe the new one.
  Preset(const Preset& preset);
  Preset& operator=(const Preset&) = delete;
  virtual ~Preset() = default;

  // Decodes the JSON form. Throws nlohmann::json's exceptions for a missing member, a member of
  // the wrong kind or an "entries" array of odd length, TagName::ParsingError for a tag name
  // without ":", and PresetEntry::CodingError for an unknown entry type.
  explicit Preset(const nlohmann::json& json);
  // The JSON form.
  virtual nlohmann::json encode() const;

  virtual const std::string& name() const { return name_; }
  // Stores, then posts "PresetDidChangeNameNotification".
  virtual void setName(std::string name);
  virtual const std::string& detail() const { return detail_; }
  // Stores, then posts "PresetDidChangeDetailNotification".
  virtual void setDetail(std::string detail);
  virtual const Entries& entries() const { return entries_; }
  virtual std::optional<PresetEntry> entry(const TagName& name) const;
  // The text of the entry of `name` when it is a value entry; absent for any other case and
  // for no entry.
  virtual std::optional<std::string> valueEntry(const TagName& name) const;
  // Stores a present entry, removes the name for an absent one, then posts
  // "PresetDidChangeEntriesNotification" with {name} under "UpdatedEntriesNames", also when
  // nothing changed.
  virtual void setEntry(const std::optional<PresetEntry>& entry, const TagName& name);

  // The set of names carried by an entries notification; absent when the user information has
  // no such entry, or one of another type.
  static std::optional<std::set<TagName>> updatedEntries(const Notification& notification);

  // Typed views of the value entries of fixed tags; absent for any other case of entry.
  // IPTC:Headline (spelled so).
  std::optional<std::string> itpcHeadlineValue() const;
  // EXIF:ImageDescription.
  std::optional<std::string> exifImageDescriptionValue() const;
  // IPTC:Keywords, split at "," (pieces trimmed, empty text absent).
  std::optional<std::vector<std::string>> iptcKeywordsValue() const;
  // IPTC:DateCreated read as a DateEdition: the date a SELECT picks, or the present moment
  // moved by a SHIFT; absent for the other editions and for a text that is no edition.
  std::optional<Date> iptcDateCreatedValueDate() const;
  // EXIF:GPSLatitude and EXIF:GPSLongitude read as signed numbers (both needed); a reference
  // entry of "S" or "W" makes its number negative, "N" or "E" positive, and without one the
  // number's own sign stands.
  std::optional<Coordinate> exifGPSLatitudeValueCoordinate() const;

  // Arrays of presets: a JSON array of the form above. The loaders throw as the JSON
  // constructor does, and std::filesystem::filesystem_error for a file that cannot be read or
  // written; saveToData() throws nlohmann::json's exception for text that is no UTF-8.
  static Presets loadFromData(std::string_view data);
  // Pretty-printed (indented by two blanks).
  static std::string saveToData(const Presets& presets);
  static Presets importFromFile(const std::filesystem::path& url);
  // Pretty-printed; replaces the file atomically.
  static void exportToFile(const Presets& presets, const std::filesystem::path& url);

  friend bool operator==(const Preset& lhs, const Preset& rhs) { return &lhs == &rhs; }

  static const std::string didChangeNameNotification;     // "PresetDidChangeNameNotification"
  static const std::string didChangeDetailNotification;   // "PresetDidChangeDetailNotification"
  static const std::string didChangeEntriesNotification;  // "PresetDidChangeEntriesNotification"
  static const std::string updatedEntriesNames;           // "UpdatedEntriesNames"

 private:
  std::string name_;
  std::string detail_;
  Entries entries_;
};

}  // namespace orvelin
