#include "orvelin/storage/read_only_storage.h"

#include <string>

#include "orvelin/support/fatal.h"

namespace orvelin {

const std::vector<TagKey>& ReadOnlyStorage::keys(const TagStream& stream) const {
  static const std::vector<TagKey> none;
  const auto found = cachedKeys_.find(stream);
  return found == cachedKeys_.end() ? none : found->second;
}

std::optional<TagKey> ReadOnlyStorage::key(std::size_t index, const TagStream& stream) const {
  const auto found = cachedKeys_.find(stream);
  if (found == cachedKeys_.end()) return std::nullopt;
  if (index >= found->second.size())
    ORVFatal("Index " + std::to_string(index) + " out of range of stream " + stream.rawValue());
  return found->second[index];
}

std::optional<std::string> ReadOnlyStorage::value(std::size_t index, const TagStream& stream) const {
  const auto key = this->key(index, stream);
  if (!key) return std::nullopt;
  return value(*key, stream);
}

std::optional<std::string> ReadOnlyStorage::value(const TagKey& key, const TagStream& stream) const {
  const auto values = cachedValues_.find(stream);
  if (values == cachedValues_.end()) return std::nullopt;
  const auto found = values->second.find(key);
  if (found == values->second.end()) return std::nullopt;
  return found->second;
}

std::vector<std::pair<TagName, std::string>> ReadOnlyStorage::generateValuesArray() const {
  std::vector<std::pair<TagName, std::string>> result;
  for (const auto& stream : cachedStreams_) {
    const auto values = cachedValues_.find(stream);
    if (values == cachedValues_.end()) continue;
    for (const auto& key : keys(stream)) {
      if (auto found = values->second.find(key); found != values->second.end())
        result.emplace_back(TagName(stream, key), found->second);
    }
  }
  return result;
}

std::unordered_map<TagName, std::string> ReadOnlyStorage::generateValuesDict() const {
  std::unordered_map<TagName, std::string> result;
  for (auto& [name, value] : generateValuesArray()) result.emplace(std::move(name), std::move(value));
  return result;
}

bool ReadOnlyStorage::hasValue(const TagName& name) const {
  const auto values = cachedValues_.find(name.stream());
  return values != cachedValues_.end() && values->second.contains(name.key());
}

void ReadOnlyStorage::store(const TagStream& g0Stream, const TagStream&) {
  if (cachedKeys_.contains(g0Stream)) return;
  cachedStreams_.push_back(g0Stream);
  cachedKeys_.emplace(g0Stream, std::vector<TagKey>{});
  cachedValues_.emplace(g0Stream, std::unordered_map<TagKey, std::string>{});
}

void ReadOnlyStorage::store(const std::string& value, const TagName& name) {
  const auto values = cachedValues_.find(name.stream());
  if (values != cachedValues_.end() && values->second.contains(name.key())) return;
  if (auto keys = cachedKeys_.find(name.stream()); keys != cachedKeys_.end()) keys->second.push_back(name.key());
  if (values != cachedValues_.end()) values->second.emplace(name.key(), value);
}

}  // namespace orvelin
