#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "orvelin/catalogue/tags_resources_reader.h"
#include "orvelin/tags/tag_item.h"
#include "orvelin/tags/tag_name.h"

namespace orvelin {

class Value;

// One loaded state of the catalogue, shared by every reader of it. The stream list is read when
// the state is made; each stream's tags are read from its file the first time anyone asks for
// that stream (a read of a JPEG touches a handful of the catalogue's 150 streams), by whichever
// thread asks first while the others wait. Safe for concurrent use; never copied.
class TagsCatalogue {
 public:
  // An empty catalogue.
  TagsCatalogue() = default;
  // The catalogue of `tagsFolder` ("<resources>/Tags").
  explicit TagsCatalogue(std::filesystem::path tagsFolder);
  TagsCatalogue(const TagsCatalogue&) = delete;
  TagsCatalogue& operator=(const TagsCatalogue&) = delete;

  // The streams, in the order of the stream list.
  const std::vector<TagStream>& streams() const { return streams_; }
  // A stream's tags (read now when they were not yet); null for a stream the list lacks.
  const CatalogueStreamTags* stream(const TagStream& stream) const;

  // Look-ups: absent when the stream or the key is unknown.
  std::shared_ptr<const TagItem> tag(const TagKey& key, const TagStream& stream) const;
  std::shared_ptr<const TagItem> tag(const TagName& name) const { return tag(name.key(), name.stream()); }
  // "Stream:Key", split at the first ":"; absent without one.
  std::shared_ptr<const TagItem> tagForRawName(std::string_view rawName) const;

  // The catalogue folder when it holds no stream list: the resources lack their catalogue.
  // Absent when the list was there (readable or not), and for an empty catalogue.
  std::optional<std::filesystem::path> missingFolder;

 private:
  struct Slot {
    std::once_flag read;
    CatalogueStreamTags tags;
  };
  std::filesystem::path folder_;
  std::vector<TagStream> streams_;
  std::unordered_map<TagStream, std::unique_ptr<Slot>> slots_;  // fixed once made
};

// The catalogue of every tag the library can show, for look-up by everyone.
//
// The process's instance, shared(), starts empty; a host calls reload() once at start-up,
// before any look-up (without it, reads drop every tag as unknown). reload() replaces the
// whole catalogue at once: look-ups made meanwhile see either the old or the new state, never
// a mix, so the instance is safe for concurrent use by multiple threads. Code that makes many
// look-ups in a row takes catalogue() once and looks up in that snapshot.
class TagsResources {
 public:
  // The process's catalogue. Belongs to the library and is never deleted.
  static TagsResources& shared();

  TagsResources();
  TagsResources(const TagsResources&) = delete;
  TagsResources& operator=(const TagsResources&) = delete;
  virtual ~TagsResources() = default;

  // The streams of the present state.
  virtual std::vector<TagStream> streams() const;
  // Keys of a stream in catalogue order; empty for an unknown stream.
  virtual std::vector<TagKey> keys(const TagStream& stream) const;
  virtual std::shared_ptr<const TagItem> tag(const TagKey& key, const TagStream& stream) const;
  virtual std::shared_ptr<const TagItem> tag(const TagName& name) const;
  virtual std::shared_ptr<const TagItem> tagForRawName(std::string_view rawName) const;
  // Reads the stream list of the resources directory's catalogue folder (each stream's tags
  // are read on first use), posting willReloadCacheNotification before and
  // didReloadCacheNotification after, with this instance as object, on the caller's thread.
  virtual void reload();
  // The same from another folder (one that holds "Tags/").
  void reload(const std::filesystem::path& directoryURL);

  // The catalogue folder that the last reload() did not find ("<resources>/Tags", without its
  // "streams.json"): the library was moved without its resources, or $ORVELIN_RESOURCES names
  // another folder. The reload went on all the same, printing the failure, with an empty
  // catalogue in which every read drops every tag; a host that cannot work so asks this and
  // stops. Absent when the folder was found, and before the first reload().
  std::optional<std::filesystem::path> missingCatalogueFolder() const;

  // The state now; never null.
  std::shared_ptr<const TagsCatalogue> catalogue() const;

  static const std::string willReloadCacheNotification;  // "TagsResourcesWillReloadCacheNotification"
  static const std::string didReloadCacheNotification;   // "TagsResourcesDidReloadCacheNotification"

 private:
  std::shared_ptr<const TagsCatalogue> current_;  // replaced whole with atomic loads and stores
};

// Helpers over the shared catalogue.
class TagsUtil {
 public:
  TagsUtil() = delete;

  // From a raw name ("Stream:Key") and a raw value as decoded from JSON: the parsed name and
  // the value's text by the tag's converter. Absent when the name has no ":", the catalogue
  // does not know the tag, or the converter gives no text.
  static std::optional<std::pair<TagName, std::string>> parseNV(std::string_view rawName, const Value& rawValue);
};

}  // namespace orvelin
