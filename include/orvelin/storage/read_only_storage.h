#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "orvelin/storage/generic_storage.h"

namespace orvelin {

// What was read from a file, kept by family 0 stream and key in the order the reader met them,
// for code that only looks. The first value stored under a name wins; a value of a stream that
// was never announced is dropped. A plain value: copies are independent, nothing is locked.
class ReadOnlyStorage final : public GenericStorage {
 public:
  explicit ReadOnlyStorage(std::filesystem::path sourceFileURL) : sourceFileURL_(std::move(sourceFileURL)) {}

  const std::filesystem::path& sourceFileURL() const override { return sourceFileURL_; }

  // The streams in order of first announcement.
  const std::vector<TagStream>& streams() const { return cachedStreams_; }
  bool containsStream(const TagStream& stream) const { return cachedKeys_.contains(stream); }
  // The keys of a stream in order of first storage; empty for an unknown stream.
  const std::vector<TagKey>& keys(const TagStream& stream) const;
  std::size_t valuesCount(const TagStream& stream) const { return keys(stream).size(); }
  // By index: absent for an unknown stream. REQUIRES: index < valuesCount(stream) for a known
  // stream; beyond it the process stops.
  std::optional<TagKey> key(std::size_t index, const TagStream& stream) const;
  std::optional<std::string> value(std::size_t index, const TagStream& stream) const;
  std::optional<std::string> value(const TagKey& key, const TagStream& stream) const;

  // Every value, streams and keys in their stored order.
  std::vector<std::pair<TagName, std::string>> generateValuesArray() const;
  std::unordered_map<TagName, std::string> generateValuesDict() const;

  bool hasValue(const TagName& name) const override;
  // A read-only storage keeps no Finder tags: does nothing.
  void readFinderTags() override {}
  // Registers the family 0 stream (the family 1 stream is not kept).
  void store(const TagStream& g0Stream, const TagStream& g1Stream) override;
  // First writer wins; dropped when the stream was never registered.
  void store(const std::string& value, const TagName& name) override;

 private:
  std::filesystem::path sourceFileURL_;
  std::vector<TagStream> cachedStreams_;
  std::unordered_map<TagStream, std::vector<TagKey>> cachedKeys_;
  std::unordered_map<TagStream, std::unordered_map<TagKey, std::string>> cachedValues_;
};

}  // namespace orvelin
