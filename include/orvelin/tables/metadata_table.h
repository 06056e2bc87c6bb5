#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <variant>
#include <vector>

#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/editor_batch.h"
#include "orvelin/editor/metadata_editor.h"
#include "orvelin/support/note_subscriber.h"
#include "orvelin/support/text_search.h"
#include "orvelin/tags/tag_item.h"
#include "orvelin/tagsets/tags_set.h"
#include "orvelin/values/date_edition.h"

namespace orvelin {

class MetadataTable;

// The editors of a table, shared by its rows: rows keep the array that was current when they
// were made, without copying it.
using MetadataEditors = std::vector<std::shared_ptr<MetadataEditor>>;

// The values of one tag over several editors, folded for display: none, one text, or the
// distinct texts sorted ascending. A value type.
class MultiValuedString {
 public:
  enum class Case : std::uint8_t { single, multiple, none };

  static MultiValuedString single(std::string value) { return MultiValuedString(Case::single, {std::move(value)}); }
  static MultiValuedString multiple(std::vector<std::string> values) {
    return MultiValuedString(Case::multiple, std::move(values));
  }
  static MultiValuedString none() { return MultiValuedString(Case::none, {}); }
  // No value, or only the empty text: none; one other text: single; more: multiple, sorted (an
  // empty text among them stays, first).
  explicit MultiValuedString(const std::unordered_set<std::string>& values);

  Case kind() const { return case_; }
  // The one text of single, the texts of multiple, nothing for none.
  const std::vector<std::string>& values() const { return values_; }

  friend bool operator==(const MultiValuedString&, const MultiValuedString&) = default;

 private:
  MultiValuedString(Case kind, std::vector<std::string> values) : case_(kind), values_(std::move(values)) {}

  Case case_;
  std::vector<std::string> values_;
};

class MetadataRowValue;

// What a value row shows, read from its editors at once. A value type.
struct MetadataRowCache {
  MultiValuedString string = MultiValuedString::none();
  bool isWritable = false;  // the row allows writing and one editor can edit the tag
  bool isEdited = false;    // one editor has an edit of the tag
  bool canBeEdited = false;  // one editor can edit the tag
  std::shared_ptr<const TagItem> tagItem;

  // Reads the row's tag on the row's editors: their current-or-empty values, whether one has
  // an edit of it, whether one can edit it (the batch summary(), one pass over the editors).
  explicit MetadataRowCache(const MetadataRowValue& rowValue);

  bool isNone() const { return string.kind() == MultiValuedString::Case::none; }
  bool isSingle() const { return string.kind() == MultiValuedString::Case::single; }
  bool isMultiple() const { return string.kind() == MultiValuedString::Case::multiple; }
  // The tag takes values from a list.
  bool hasEnumeration() const { return !tagItem->values.empty(); }

 private:
  MetadataRowCache(const MetadataRowValue& rowValue, const TagSummary& summary);
};

// One value row: a tag over the editors of its table at the time the row was made. Its cache
// is fetched off the main thread and kept; edits go to all its editors as batch operations.
// The table learns of them through the end of the editions session, and replaces the row.
//
// Safe for concurrent use: the fields are constant but the cache, which `cacheMutex_` guards.
class MetadataRowValue : public std::enable_shared_from_this<MetadataRowValue> {
 public:
  // The row of `tagItem` with the table's current editors and writing permission.
  MetadataRowValue(const MetadataTable& table, std::shared_ptr<const TagItem> tagItem);
  MetadataRowValue(std::shared_ptr<const TagItem> tagItem, std::shared_ptr<const MetadataEditors> editors,
                   bool allowsWriting);
  MetadataRowValue(const MetadataRowValue&) = delete;
  MetadataRowValue& operator=(const MetadataRowValue&) = delete;

  const std::shared_ptr<const TagItem>& tagItem() const { return tagItem_; }
  const MetadataEditors& editors() const { return *editors_; }
  const std::shared_ptr<const MetadataEditors>& sharedEditors() const { return editors_; }
  bool allowsWriting() const { return allowsWriting_; }

  // The cached values; absent until a fetch stored them.
  std::optional<MetadataRowCache> cache() const;
  void setCache(std::optional<MetadataRowCache> cache);

  // Computes the cache on a worker thread (or takes the one there is), then, on the main queue,
  // stores it and calls `completion` with it; the callback always comes on the main queue.
  // Keeps the row alive until then. Two fetches in flight both store; the later wins.
  void fetchRowCache(std::function<void(const MetadataRowCache&)> completion);

  // The batch operations of the same names on the row's editors for the row's tag. They leave
  // the cache alone.
  void forceValues();
  void clearValues();
  void restoreValues();
  void setValue(const std::optional<std::string>& value);
  void applyDateEdition(const DateEdition& edition);

 private:
  const std::shared_ptr<const TagItem> tagItem_;
  const std::shared_ptr<const MetadataEditors> editors_;  // never null
  const bool allowsWriting_;
  mutable std::mutex cacheMutex_;  // guards cache_
  std::optional<MetadataRowCache> cache_;
};

// A row of the table: a stream header, a section header, or a value row.
class MetadataTableEntry {
 public:
  static MetadataTableEntry stream(TagStream stream) { return MetadataTableEntry(std::move(stream)); }
  static MetadataTableEntry section(TagsSetSection section) { return MetadataTableEntry(std::move(section)); }
  static MetadataTableEntry value(std::shared_ptr<MetadataRowValue> value) { return MetadataTableEntry(std::move(value)); }

  // The payload of its case; null for another case.
  const TagStream* asStream() const { return std::get_if<TagStream>(&payload_); }
  const TagsSetSection* asSection() const { return std::get_if<TagsSetSection>(&payload_); }
  const std::shared_ptr<MetadataRowValue>* asValue() const {
    return std::get_if<std::shared_ptr<MetadataRowValue>>(&payload_);
  }

 private:
  template <typename Payload>
  explicit MetadataTableEntry(Payload payload) : payload_(std::move(payload)) {}

  std::variant<TagStream, TagsSetSection, std::shared_ptr<MetadataRowValue>> payload_;
};

// The model behind an inspector: the rows of a tag set (stream headers, section headers, value
// rows) over the editors of the selected files, filtered by the displayed streams and a search
// in the tags' localised names. Rows are built from the catalogue alone; each value row reads
// its editors when its cache is fetched.
//
// The table reloads itself when its tag set or the catalogue changes, and, when an editions
// session ends, replaces the value rows of the tags that the session touched on its editors,
// announcing their indexes (didReloadEntriesNotification, key "ReloadedEntriesIndexes", a
// std::set<std::size_t>). A change of a setting reloads nothing: the host calls reloadCache().
//
// Belongs to the main thread, as does every notification it posts (with the table as object).
// Held by std::shared_ptr (make()); it stops observing when destroyed.
class MetadataTable : public std::enable_shared_from_this<MetadataTable> {
 public:
  static std::shared_ptr<MetadataTable> make(std::shared_ptr<TagsSet> tagsSet);
  static std::shared_ptr<MetadataTable> make(TagsSetDomain domain);
  MetadataTable(const MetadataTable&) = delete;
  MetadataTable& operator=(const MetadataTable&) = delete;

  const std::shared_ptr<TagsSet>& tagsSet() const { return tagsSet_; }
  bool shouldDisplayStreams = false;
  bool shouldDisplaySections = true;
  // Nothing displayed: no rows.
  std::set<TagStream> displayedStreams;
  bool allowsTagsWriting = true;
  std::optional<std::string> searchString;

  const MetadataEditors& editors() const { return *editors_; }
  const std::shared_ptr<const MetadataEditors>& sharedEditors() const { return editors_; }
  void setEditors(MetadataEditors editors);

  // The range of `text` in `in`, ignoring case and diacritics, by the current locale; for a
  // host that highlights a match.
  static std::optional<TextRange> rangeOf(std::string_view text, std::string_view in);
  bool isEmpty() const { return cachedEntries_.empty(); }
  std::size_t numberOfRows() const { return cachedEntries_.size(); }
  // REQUIRES: index < numberOfRows() (the process stops otherwise).
  const MetadataTableEntry& entry(std::size_t index) const;
  // The sections of the section rows, in row order.
  std::vector<TagsSetSection> sections() const;
  // From the row after the section row whose localised name is `name` up to the row before the
  // next section row of another name (or the last row): the rows of that section, stream rows
  // included. Empty when no section has the name.
  std::set<std::size_t> indexesOfSection(std::string_view name) const;
  // The tag names of the value rows among the indexes, in order.
  std::vector<TagName> tagNames(const std::set<std::size_t>& indexes) const;
  std::vector<TagName> displayedTagNames() const;
  // Posts willReloadCacheNotification, rebuilds the rows, posts didReloadCacheNotification.
  void reloadCache();
  // Replaces the value rows of the names that `editionsSet` holds for this table's editors.
  void reloadEditedEntries(const EditionsSet& editionsSet);

  static const std::string willReloadCacheNotification;   // "MetadataTableWillReloadCacheNotification"
  static const std::string didReloadCacheNotification;    // "MetadataTableDidReloadCacheNotification"
  static const std::string didReloadEntriesNotification;  // "MetadataTableDidReloadEntriesNotification"
  static const std::string reloadedEntriesIndexes;        // "ReloadedEntriesIndexes"

 private:
  explicit MetadataTable(std::shared_ptr<TagsSet> tagsSet);
  void startObservations();
  void rebuildEntries();

  const std::shared_ptr<TagsSet> tagsSet_;
  std::shared_ptr<const MetadataEditors> editors_;  // never null
  std::vector<MetadataTableEntry> cachedEntries_;
  NoteSubscriber tagsSetManagerDidUpdateSubscriber_;
  NoteSubscriber resourcesDidReloadCacheSubscriber_;
  NoteSubscriber editionsDidEndSessionSubcribers_;
};

}  // namespace orvelin
