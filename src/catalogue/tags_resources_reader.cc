#include "orvelin/catalogue/tags_resources_reader.h"

#include <nlohmann/json.hpp>

#include "catalogue/catalogue_failure.h"
#include "orvelin/support/files.h"
#include "orvelin/support/resources.h"
#include "orvelin/support/main_queue.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {

void reportParsingFailure(const fs::path& url, std::string_view error) {
  reportCatalogueFailure("Tags parsing did failed at " + url.string() + ". " + std::string(error));
}

// Reads and decodes a JSON file; reports and gives null on failure.
nlohmann::json readJSON(const fs::path& url) {
  const auto data = readFileContents(url);
  if (!data) {
    reportParsingFailure(url, "The file cannot be read.");
    return nullptr;
  }
  try {
    return nlohmann::json::parse(*data);
  } catch (const std::exception& error) {
    reportParsingFailure(url, error.what());
    return nullptr;
  }
}

}  // namespace

std::vector<TagStream> readCatalogueStreamList(const fs::path& tagsFolder) {
  const auto url = tagsFolder / "streams.json";
  const auto json = readJSON(url);
  if (json.is_null()) return {};
  try {
    return json.get<std::vector<TagStream>>();
  } catch (const std::exception& error) {
    reportParsingFailure(url, error.what());
    return {};
  }
}

CatalogueStreamTags readCatalogueStream(const fs::path& tagsFolder, const TagStream& stream, bool onlyKeepWritable) {
  const auto url = tagsFolder / (stream.rawValue() + ".tags");
  CatalogueStreamTags tags;
  auto json = readJSON(url);
  if (json.is_null()) return tags;
  try {
    if (!json.is_array()) throw std::runtime_error("The file holds no list of tags.");
    std::vector<std::shared_ptr<const TagItem>> ordered;
    ordered.reserve(json.size());
    tags.items.reserve(json.size());
    for (auto& record : json) {
      auto item = TagItem::make(record.get<TagItemData>());
      if (!item || (!item->isWritable && onlyKeepWritable)) continue;
      ordered.push_back(item);
      tags.items.insert_or_assign(item->name.key(), std::move(item));
    }
    // A key given twice keeps its last record, in that record's place.
    std::stable_sort(ordered.begin(), ordered.end(), [](const auto& a, const auto& b) { return *a < *b; });
    tags.keys.reserve(tags.items.size());
    for (const auto& item : ordered) {
      const auto kept = tags.items.find(item->name.key());
      if (kept->second == item) tags.keys.push_back(item->name.key());
    }
  } catch (const std::exception& error) {
    reportParsingFailure(url, error.what());
    return {};
  }
  return tags;
}

std::shared_ptr<TagsResourcesReader> TagsResourcesReader::make(fs::path directoryURL) {
  return std::shared_ptr<TagsResourcesReader>(new TagsResourcesReader(std::move(directoryURL)));
}

TagsResourcesReader::TagsResourcesReader(fs::path directoryURL)
    : directoryURL(std::move(directoryURL)),
      delegationQueue(&MainQueue::shared()),
      operationQueue_(8, ORVBundleLabel("TagsResourcesReader", "operationQueue")) {}

TagsResourcesReader::~TagsResourcesReader() {
  operationQueue_.cancelAllOperations();
  operationQueue_.waitUntilAllOperationsAreFinished();
}

void TagsResourcesReader::readResources() {
  if (!run_.begin()) return;  // claimed before the stream list is read, so a second call is ignored
  auto streams = readCatalogueStreamList(directoryURL / "Tags");
  {
    std::lock_guard lock(countersLock_);
    streams_ = streams;
  }
  run_.setTotal(static_cast<std::int64_t>(streams.size()));
  notifyCatalogueDelegate(*this, &TagsResourcesReaderDelegate::readerWillStart);
  if (streams.empty()) {
    prepareProcessDidFinish();
    return;
  }
  // Each operation ends before the reader is destroyed (the destructor waits for them).
  for (const auto& stream : streams) {
    operationQueue_.addOperation([this, stream] {
      parseTags(stream);
      completeCatalogueUnit(*this, run_, stream.rawValue(), &TagsResourcesReaderDelegate::readerDidProgress,
                            &TagsResourcesReaderDelegate::readerDidFinish);
    });
  }
}

void TagsResourcesReader::waitResourcesParsing() { operationQueue_.waitUntilAllOperationsAreFinished(); }

void TagsResourcesReader::parseTags(const TagStream& stream) {
  auto items = readCatalogueStream(directoryURL / "Tags", stream, onlyKeepWritable).items;
  std::lock_guard lock(countersLock_);
  tagItems_[stream] = std::move(items);
}

void TagsResourcesReader::prepareProcessDidFinish() {
  if (run_.finishIfComplete()) notifyCatalogueDelegate(*this, &TagsResourcesReaderDelegate::readerDidFinish);
}

std::vector<TagStream> TagsResourcesReader::streams() const {
  std::lock_guard lock(countersLock_);
  return streams_;
}

TagItemsByStream TagsResourcesReader::tagItems() const {
  std::lock_guard lock(countersLock_);
  return tagItems_;
}

bool TagsResourcesReader::isReading() const { return run_.isRunning(); }

std::int64_t TagsResourcesReader::completedUnit() const { return run_.completedUnit(); }

std::int64_t TagsResourcesReader::totalUnit() const { return run_.totalUnit(); }

double TagsResourcesReader::progress() const { return run_.progress(); }

}  // namespace orvelin
