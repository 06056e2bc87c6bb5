#include "orvelin/catalogue/tags_resources_reader.h"

#include <cstdio>

#include <nlohmann/json.hpp>

#include "orvelin/support/debug_log.h"
#include "orvelin/support/files.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/main_queue.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {

void reportParsingFailure(const fs::path& url, std::string_view error) {
  const std::string text = "Tags parsing did failed at " + url.string() + ". " + std::string(error);
  std::printf("%s\n", text.c_str());
  ORVDebugLog(text);
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
  {
    std::lock_guard lock(processQueue_);
    if (isReading_) return;
    isReading_ = true;  // claimed before the stream list is read, so a second call is ignored
  }
  determineStreams();
  std::vector<TagStream> streams;
  {
    std::lock_guard lock(processQueue_);
    completedUnit_ = 0;
    totalUnit_ = static_cast<std::int64_t>(streams_.size());
    streams = streams_;
  }
  notify(&TagsResourcesReaderDelegate::readerWillStart);
  if (streams.empty()) {
    prepareProcessDidFinish();
    return;
  }
  // Each operation ends before the reader is destroyed (the destructor waits for them).
  for (const auto& stream : streams) {
    operationQueue_.addOperation([this, stream] {
      parseTags(stream);
      incrementCompletedUnit();
      prepareProcessDidFinish();
    });
  }
}

void TagsResourcesReader::waitResourcesParsing() { operationQueue_.waitUntilAllOperationsAreFinished(); }

void TagsResourcesReader::determineStreams() {
  const auto url = directoryURL / "Tags" / "streams.json";
  const auto json = readJSON(url);
  std::vector<TagStream> streams;
  if (!json.is_null()) {
    try {
      streams = json.get<std::vector<TagStream>>();
    } catch (const std::exception& error) {
      reportParsingFailure(url, error.what());
    }
  }
  std::lock_guard lock(processQueue_);
  streams_ = std::move(streams);
}

void TagsResourcesReader::parseTags(const TagStream& stream) {
  const auto url = directoryURL / "Tags" / (stream.rawValue() + ".tags");
  TagItemsByKey items;
  const auto json = readJSON(url);
  if (!json.is_null()) {
    try {
      const auto records = json.get<std::vector<TagItemData>>();
      items.reserve(records.size());
      for (const auto& record : records) {
        if (!record.isWritable && onlyKeepWritable) continue;
        auto item = TagItem::make(record);
        if (!item || !item->type.isSupported()) continue;
        items.insert_or_assign(item->name.key(), std::move(item));
      }
    } catch (const std::exception& error) {
      reportParsingFailure(url, error.what());
      items.clear();
    }
  }
  std::lock_guard lock(processQueue_);
  tagItems_[stream] = std::move(items);
}

void TagsResourcesReader::incrementCompletedUnit() {
  {
    std::lock_guard lock(processQueue_);
    ++completedUnit_;
  }
  notify(&TagsResourcesReaderDelegate::readerDidProgress);
}

void TagsResourcesReader::prepareProcessDidFinish() {
  {
    std::lock_guard lock(processQueue_);
    // Only the first operation to see the end finishes the run.
    if (!isReading_ || progressLocked() < 1.0) return;
    isReading_ = false;
    completedUnit_ = 0;
    totalUnit_ = 0;
  }
  notify(&TagsResourcesReaderDelegate::readerDidFinish);
}

void TagsResourcesReader::notify(void (TagsResourcesReaderDelegate::*callback)(TagsResourcesReader&)) {
  auto target = delegate.lock();
  if (!target) return;
  delegationQueue->async([self = shared_from_this(), target, callback] { ((*target).*callback)(*self); });
}

double TagsResourcesReader::progressLocked() const {
  if (totalUnit_ == 0) return 1.0;
  return static_cast<double>(completedUnit_) / static_cast<double>(totalUnit_);
}

std::vector<TagStream> TagsResourcesReader::streams() const {
  std::lock_guard lock(processQueue_);
  return streams_;
}

TagItemsByStream TagsResourcesReader::tagItems() const {
  std::lock_guard lock(processQueue_);
  return tagItems_;
}

bool TagsResourcesReader::isReading() const {
  std::lock_guard lock(processQueue_);
  return isReading_;
}

std::int64_t TagsResourcesReader::completedUnit() const {
  std::lock_guard lock(processQueue_);
  return completedUnit_;
}

std::int64_t TagsResourcesReader::totalUnit() const {
  std::lock_guard lock(processQueue_);
  return totalUnit_;
}

double TagsResourcesReader::progress() const {
  std::lock_guard lock(processQueue_);
  return progressLocked();
}

}  // namespace orvelin
