#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "orvelin/catalogue/catalogue_run.h"
#include "orvelin/support/executor.h"
#include "orvelin/support/operation_queue.h"
#include "orvelin/tags/tag_item.h"
#include "orvelin/tags/tag_name.h"

namespace orvelin {

// The tags of each stream: stream -> key -> item.
using TagItemsByKey = std::unordered_map<TagKey, std::shared_ptr<const TagItem>>;
using TagItemsByStream = std::unordered_map<TagStream, TagItemsByKey>;

// The stream list of a catalogue folder ("<tagsFolder>/streams.json"); empty, and the failure
// printed, when it cannot be read.
std::vector<TagStream> readCatalogueStreamList(const std::filesystem::path& tagsFolder);

// One stream file ("<tagsFolder>/<stream>.tags"): its items by key (with onlyKeepWritable, the
// writable ones alone) and their keys in catalogue order. Empty, and the failure printed, when
// the file cannot be read.
struct CatalogueStreamTags {
  TagItemsByKey items;
  std::vector<TagKey> keys;  // in catalogue order (by index)
};
CatalogueStreamTags readCatalogueStream(const std::filesystem::path& tagsFolder, const TagStream& stream,
                                        bool onlyKeepWritable);

class TagsResourcesReader;

// Callbacks of a reader, each placed asynchronously on the reader's delegation queue.
class TagsResourcesReaderDelegate {
 public:
  virtual ~TagsResourcesReaderDelegate() = default;
  virtual void readerWillStart(TagsResourcesReader& reader) = 0;
  virtual void readerDidProgress(TagsResourcesReader& reader) = 0;
  virtual void readerDidFinish(TagsResourcesReader& reader) = 0;
};

// Parses a catalogue folder ("Tags/streams.json" and one "Tags/<stream>.tags" per stream),
// up to 8 streams at once on an operation queue of its own.
//
// Failures are printed (and written to the debug log when it is on) and the run goes on with
// what it has: an unreadable stream list leaves the catalogue empty, an unreadable stream file
// leaves that stream empty. Records that do not make an item are dropped; with
// onlyKeepWritable, so are the items that are not writable (read-only tags, and those of a type
// that is not supported, which are kept for reading otherwise).
//
// Made with make() and held by shared_ptr; the delegate callbacks keep the reader alive until
// they have run. readResources() and the accessors are safe from any thread; the counters, the
// stream list and the items are guarded by an internal lock (the "process queue"). Set the
// fields before readResources(). The last owner may let the reader go during a run: destroying
// it drops the streams not begun, waits for the parses under way and sends no more callbacks.
class TagsResourcesReader : public std::enable_shared_from_this<TagsResourcesReader> {
 public:
  static std::shared_ptr<TagsResourcesReader> make(std::filesystem::path directoryURL);
  TagsResourcesReader(const TagsResourcesReader&) = delete;
  TagsResourcesReader& operator=(const TagsResourcesReader&) = delete;
  ~TagsResourcesReader();

  const std::filesystem::path directoryURL;  // the folder that holds "Tags/"
  bool onlyKeepWritable = false;
  Executor* delegationQueue;  // default: the main queue
  std::weak_ptr<TagsResourcesReaderDelegate> delegate;

  // Starts the parse; a call while reading is ignored. Returns at once.
  void readResources();
  // Blocks until every stream has been parsed.
  void waitResourcesParsing();

  std::vector<TagStream> streams() const;
  TagItemsByStream tagItems() const;
  bool isReading() const;
  std::int64_t completedUnit() const;
  std::int64_t totalUnit() const;
  // completedUnit / totalUnit; 1.0 when totalUnit is 0.
  double progress() const;

 private:
  explicit TagsResourcesReader(std::filesystem::path directoryURL);

  void parseTags(const TagStream& stream);
  void prepareProcessDidFinish();

  mutable std::mutex countersLock_;  // guards streams_, tagItems_ and, through run_, the counters
  std::vector<TagStream> streams_;
  TagItemsByStream tagItems_;
  CatalogueRunCounter run_{countersLock_};

  OperationQueue operationQueue_;
};

}  // namespace orvelin
