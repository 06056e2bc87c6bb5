#include "orvelin/storage/read_write_storage.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/support/files.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {

// A real number without fraction goes to exiftool as an integer: a tag that one namespace types
// as real and another as integer (XMP:ImageWidth) then takes it in both, where "8.0" would be
// refused as "Not an integer".
void sendIntegralAsInteger(nlohmann::json& value) {
  if (value.is_array()) {
    for (auto& element : value) sendIntegralAsInteger(element);
    return;
  }
  if (!value.is_number_float()) return;
  const double number = value.get<double>();
  if (std::trunc(number) == number && std::fabs(number) < 9.0e15) value = static_cast<std::int64_t>(number);
}

std::optional<std::string> copied(const std::string* value) {
  if (!value) return std::nullopt;
  return *value;
}

}  // namespace

ReadWriteStorage::ReadWriteStorage(fs::path fileURL) : sourceFileURL_(std::move(fileURL)) {
  auto extension = sourceFileURL_.extension().string();
  if (!extension.empty() && extension.front() == '.') extension.erase(0, 1);
  isFolder_ = extension.empty();
  fileType_ = asciiLowercased(extension);
}

std::vector<TagName> ReadWriteStorage::originalValuesTagNames() const { return originalValues_.sortedNames(); }

std::vector<TagName> ReadWriteStorage::writtenValuesTagNames() const { return writtenValues_.sortedNames(); }

std::vector<TagName> ReadWriteStorage::currentValuesTagNames() const {
  const auto original = originalValues_.sortedNames();
  const auto written = writtenValues_.sortedNames();
  std::vector<TagName> names;
  names.reserve(original.size() + written.size());
  std::set_union(original.begin(), original.end(), written.begin(), written.end(), std::back_inserter(names));
  return names;
}

const std::string* ReadWriteStorage::originalValuePointer(const TagName& name) const {
  return originalValues_.find(name);
}

const std::string* ReadWriteStorage::writtenValuePointer(const TagName& name) const {
  return writtenValues_.find(name);
}

const std::string* ReadWriteStorage::currentValuePointer(const TagName& name) const {
  if (const auto* written = writtenValues_.find(name)) return written;
  return originalValues_.find(name);
}

std::optional<std::string> ReadWriteStorage::originalValue(const TagName& name) const {
  return copied(originalValuePointer(name));
}

std::optional<std::string> ReadWriteStorage::writtenValue(const TagName& name) const {
  return copied(writtenValuePointer(name));
}

std::optional<std::string> ReadWriteStorage::currentValue(const TagName& name) const {
  return copied(currentValuePointer(name));
}

void ReadWriteStorage::setValue(const std::optional<std::string>& value, const TagName& name) {
  const std::string* current = currentValuePointer(name);
  if (!value && !current) return;
  if (value && current && *value == *current) return;
  if (!value) {
    writtenValues_.erase(name);
    return;
  }
  const std::string* original = originalValuePointer(name);
  if (original && *original == *value) {
    writtenValues_.erase(name);
    return;
  }
  if (value->empty() && !original && !isFolder_) {
    writtenValues_.erase(name);
    return;
  }
  writtenValues_.insert_or_assign(name, *value);
}

void ReadWriteStorage::forceTagName(const TagName& name) {
  const std::string* current = currentValuePointer(name);
  writtenValues_.insert_or_assign(name, current ? *current : std::string());
}

void ReadWriteStorage::setWrittenValueDirectly(const std::optional<std::string>& value, const TagName& name) {
  if (value)
    writtenValues_.insert_or_assign(name, *value);
  else
    writtenValues_.erase(name);
}

void ReadWriteStorage::setFinderTags(std::optional<std::vector<std::string>> tags) {
  cacheWrittenFinderTags_ = std::move(tags);
}

void ReadWriteStorage::flushNewToOriginalValues() {
  for (const auto& [name, value] : writtenValues_) originalValues_.insert_or_assign(name, value);
  writtenValues_.clear();
  if (cacheWrittenFinderTags_) cacheOriginalFinderTags_ = std::move(*cacheWrittenFinderTags_);
  cacheWrittenFinderTags_.reset();
}

void ReadWriteStorage::readFinderTags() {
  std::error_code error;
  auto tags = orvelin::readFinderTags(sourceFileURL_, error);
  if (error) throw fs::filesystem_error("cannot read the Finder tags", sourceFileURL_, error);
  cacheOriginalFinderTags_ = std::move(tags);
}

void ReadWriteStorage::store(const TagStream& g0Stream, const TagStream& g1Stream) {
  g0OriginalTagsStreams_.insert(g0Stream);
  g1OriginalTagsStreams_.insert(g1Stream);
}

nlohmann::json ReadWriteStorage::buildETValues() const {
  nlohmann::json values = nlohmann::json::object();
  values["SourceFile"] = "*";
  if (writtenValues_.empty()) return values;
  const auto catalogue = TagsResources::shared().catalogue();
  for (const auto& [name, value] : writtenValues_) {
    if (name.isRelativeToThumbnail() && value.empty()) {
      values[name.rawValue()] = "-";
      continue;
    }
    // A tag of a type that is not supported is read, never written.
    const auto item = catalogue->tag(name);
    if (!item || !item->type.isSupported()) continue;
    const auto converted = item->converter()->jsonValueFromRawValue(Value(value));
    const std::string group =
        TagsFamily::isStreamInG0Family(name.stream()) ? name.stream().rawValue() : TagStream::makerNotes.rawValue();
    const std::string key = group + ":" + name.key().rawValue();
    if (converted && !converted->isNull()) {
      auto json = converted->toJSON();
      sendIntegralAsInteger(json);
      values[key] = std::move(json);
    }
    else
      values[key] = "-";
  }
  return values;
}

}  // namespace orvelin
