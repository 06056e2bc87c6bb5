#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "orvelin/support/coded_error.h"
#include "orvelin/tags/tag_name.h"

namespace orvelin {

class TagsSetEditor;

// Whose tag set: the application's or its Photos extension's. Each has its own in the user
// defaults; both fall back on the same default file.
enum class TagsSetDomain : int { application = 0, photosExtension = 1 };

// Every domain, in the order of their raw values.
const std::vector<TagsSetDomain>& allTagsSetDomains();
// "Application", "PhotosExtension".
std::string_view label(TagsSetDomain domain);
// The case's own name, as the log lines give it: "application", "photosExtension".
std::string_view caseName(TagsSetDomain domain);
// The user-defaults key: "ORVTagsSetApplication", "ORVTagsSetPhotosExtension".
std::string_view userDefaultsKey(TagsSetDomain domain);
// "DefaultWritingTagsSet.json" of the library's resources, the same for both domains; absent
// when the resources hold no such file.
std::optional<std::filesystem::path> defaultTagsSetFileURL(TagsSetDomain domain);

// A named section of a tag set's list; coded as a bare JSON string.
struct TagsSetSection {
  std::string rawValue;

  // The raw value looked up in the string table "Sections".
  std::string localizedName() const;

  friend bool operator==(const TagsSetSection&, const TagsSetSection&) = default;
};

// The code of TagsSetEntry::CodingError.
enum class TagsSetEntryCodingErrorCode { decoding };

// One entry of a stream's list: a section header or a tag key. Equal when case and payload
// are. Coded as {"type": "sec" | "key", "value": the section's or the key's text}. A value type.
class TagsSetEntry {
 public:
  // A "type" that is neither "sec" nor "key"; the detail is that type's text.
  class CodingError : public CodedError<CodingError, TagsSetEntryCodingErrorCode> {
   public:
    using CodedError::CodedError;
    static const char* text(Code code);
  };

  static TagsSetEntry section(TagsSetSection section) { return TagsSetEntry(std::move(section)); }
  static TagsSetEntry key(TagKey key) { return TagsSetEntry(std::move(key)); }

  // The payload of its case; null for the other case.
  const TagsSetSection* asSection() const { return std::get_if<TagsSetSection>(&payload_); }
  const TagKey* asKey() const { return std::get_if<TagKey>(&payload_); }

  friend bool operator==(const TagsSetEntry&, const TagsSetEntry&) = default;

 private:
  explicit TagsSetEntry(std::variant<TagsSetSection, TagKey> payload) : payload_(std::move(payload)) {}

  std::variant<TagsSetSection, TagKey> payload_;
};

// The user's choice of the tags a table shows: per stream, an ordered list of keys divided by
// named sections. One per domain (shared()); loaded from the user defaults, else from the
// default file; exported to and imported from JSON files of the same form as the defaults
// hold: {"EXIF": [{"type": "sec", "value": "Camera"}, {"type": "key", "value": "Make"}, ...]}.
//
// Every change (an import, a load, an edit through TagsSetEditor) is announced by
// willUpdateEntriesNotification before and didUpdateEntriesNotification after, on the default
// centre with the tag set as object, on the caller's thread. Saving to the user defaults is a
// separate step.
//
// Not locked: a tag set and the map of shared ones belong to the main thread. Only the access
// to the user-defaults object goes through ORVGlobalSemaphore().
class TagsSet : public std::enable_shared_from_this<TagsSet> {
 public:
  using Entries = std::unordered_map<TagStream, std::vector<TagsSetEntry>>;

  // The domain's tag set, made and loaded from the user defaults at first use.
  static std::shared_ptr<TagsSet> shared(TagsSetDomain domain);
  // The same, for a host that wants the first use off its main path.
  static void preload(TagsSetDomain domain);
  // A tag set of its own, loaded from the user defaults, not shared: for a host's preview or a
  // test.
  static std::shared_ptr<TagsSet> make(TagsSetDomain domain);

  TagsSet(const TagsSet&) = delete;
  TagsSet& operator=(const TagsSet&) = delete;

  TagsSetDomain domain() const { return domain_; }
  // The catalogue's streams, in catalogue order, that have a list that is not empty. A stream
  // the catalogue does not know keeps its list in entries() and is not listed.
  const std::vector<TagStream>& streams() const { return cachedStreams_; }
  // The stream's list; empty when it has none.
  const std::vector<TagsSetEntry>& entries(const TagStream& stream) const;
  // All lists.
  const Entries& cachedEntries() const { return cachedEntries_; }
  // An editor of the stream's list (nothing is locked or copied).
  std::shared_ptr<TagsSetEditor> editor(const TagStream& stream);

  // Reads, decodes and applies the file: its lists replace all lists (streams with an empty
  // list dropped). Throws the read or decoding error, the tag set then as it was and nothing
  // posted.
  void importFromFile(const std::filesystem::path& url);
  // Writes the lists, pretty-printed, in catalogue order of the streams (then the others by
  // name). Throws std::filesystem::filesystem_error when the file cannot be written. The user
  // defaults are not touched.
  void exportToFile(const std::filesystem::path& url) const;
  // Imports the default file; a failure is logged and leaves the tag set as it was. Does not
  // save.
  void restoreToDefault();
  // Applies the lists of the user defaults; without any, or with data that cannot be decoded
  // (logged), restores the default.
  void loadFromUserDefaults();
  // Stores the lists in the user defaults and writes them; whether the writing worked.
  bool saveToUserDefaults();

  // Recomputes streams() from the lists.
  void reloadStreamsCache();
  // Posts the will notification, runs `body` on the lists, reloads the streams and posts the
  // did notification. Every change goes through it.
  void updateEntries(const std::function<void(Entries&)>& body);

  static const std::string willUpdateEntriesNotification;  // "TagsSetWillUpdateEntriesNotification"
  static const std::string didUpdateEntriesNotification;   // "TagsSetDidUpdateEntriesNotification"

 private:
  explicit TagsSet(TagsSetDomain domain) : domain_(domain) {}
  void apply(const nlohmann::json& data);

  const TagsSetDomain domain_;
  std::vector<TagStream> cachedStreams_;
  Entries cachedEntries_;
};

}  // namespace orvelin

namespace nlohmann {
// Decoding throws TagsSetEntry::CodingError for an unknown type, nlohmann::json's exceptions for
// a missing member or one that is no text.
template <>
struct adl_serializer<orvelin::TagsSetEntry> {
  template <typename BasicJson>
  static void to_json(BasicJson& json, const orvelin::TagsSetEntry& entry) {
    if (const auto* section = entry.asSection())
      json = {{"type", "sec"}, {"value", section->rawValue}};
    else
      json = {{"type", "key"}, {"value", entry.asKey()->rawValue()}};
  }
  static orvelin::TagsSetEntry from_json(const json& json);
};
}  // namespace nlohmann
