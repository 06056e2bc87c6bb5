#include "orvelin/presets/preset.h"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <system_error>

#include <nlohmann/json.hpp>

#include "orvelin/support/files.h"
#include "orvelin/support/localization.h"
#include "orvelin/values/date_edition.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

namespace fs = std::filesystem;

const std::string Preset::didChangeNameNotification = "PresetDidChangeNameNotification";
const std::string Preset::didChangeDetailNotification = "PresetDidChangeDetailNotification";
const std::string Preset::didChangeEntriesNotification = "PresetDidChangeEntriesNotification";
const std::string Preset::updatedEntriesNames = "UpdatedEntriesNames";

Preset::Preset() : name_(ORVTL("DefaultPresetName")) {}

Preset::Preset(const Preset& preset) : name_(preset.name_), detail_(preset.detail_), entries_(preset.entries_) {}

Preset::Preset(const nlohmann::json& json)
    : name_(json.at("name").get<std::string>()), detail_(json.at("detail").get<std::string>()) {
  // The entries: tag name, entry, tag name, entry... An odd count fails on the missing entry.
  const auto& entries = json.at("entries");
  if (!entries.is_array()) entries.get<std::vector<nlohmann::json>>();  // throws the decoder's type error
  for (std::size_t i = 0; i < entries.size(); i += 2) {
    auto name = entries.at(i).get<TagName>();
    auto entry = entries.at(i + 1).get<PresetEntry>();
    entries_.insert_or_assign(std::move(name), std::move(entry));
  }
}

nlohmann::json Preset::encode() const {
  nlohmann::json entries = nlohmann::json::array();
  for (const auto& [name, entry] : entries_) {
    entries.push_back(name);
    entries.push_back(entry);
  }
  nlohmann::json json = nlohmann::json::object();
  json["name"] = name_;
  json["detail"] = detail_;
  json["entries"] = std::move(entries);
  return json;
}

void Preset::setName(std::string name) {
  name_ = std::move(name);
  NotificationCenter::defaultCenter().post(didChangeNameNotification, this);
}

void Preset::setDetail(std::string detail) {
  detail_ = std::move(detail);
  NotificationCenter::defaultCenter().post(didChangeDetailNotification, this);
}

std::optional<PresetEntry> Preset::entry(const TagName& name) const {
  const auto found = entries_.find(name);
  if (found == entries_.end()) return std::nullopt;
  return found->second;
}

std::optional<std::string> Preset::valueEntry(const TagName& name) const {
  const auto found = entries_.find(name);
  if (found == entries_.end() || found->second.kind() != PresetEntry::Case::value) return std::nullopt;
  return found->second.payload();
}

void Preset::setEntry(const std::optional<PresetEntry>& entry, const TagName& name) {
  if (entry)
    entries_.insert_or_assign(name, *entry);
  else
    entries_.erase(name);
  NotificationCenter::defaultCenter().post(didChangeEntriesNotification, this,
                                           {{updatedEntriesNames, std::set<TagName>{name}}});
}

std::optional<std::set<TagName>> Preset::updatedEntries(const Notification& notification) {
  return notification.userInfoValue<std::set<TagName>>(updatedEntriesNames);
}

// ---------------------------------------------------------------------------------------------
// Typed views

std::optional<std::string> Preset::itpcHeadlineValue() const { return valueEntry(TagName::iptcHeadline); }

std::optional<std::string> Preset::exifImageDescriptionValue() const {
  return valueEntry(TagName::exifImageDescription);
}

std::optional<std::vector<std::string>> Preset::iptcKeywordsValue() const {
  const auto text = valueEntry(TagName::iptcKeywords);
  const ArrayValueConverter converter(std::make_shared<StringValueConverter>(), ",");
  const auto raw = converter.rawValueFromStringValue(text);
  if (!raw) return std::nullopt;
  const auto* elements = raw->getIf<Value::Array>();
  if (!elements) return std::nullopt;
  std::vector<std::string> keywords;
  for (const auto& element : *elements)
    if (const auto* keyword = element.getIf<std::string>()) keywords.push_back(*keyword);
  return keywords;
}

std::optional<Date> Preset::iptcDateCreatedValueDate() const {
  const auto edition = DateEdition::fromDescription(valueEntry(TagName::iptcDateCreated));
  if (!edition) return std::nullopt;
  switch (edition->kind()) {
    case DateEdition::Case::select: return edition->values().date();
    case DateEdition::Case::shift: return edition->values().shiftDate(currentDate());
    default: return std::nullopt;
  }
}

std::optional<Coordinate> Preset::exifGPSLatitudeValueCoordinate() const {
  const SDoubleValueConverter converter;
  auto latitude = converter.typedValueFromStringValue(valueEntry(TagName::exifGPSLatitude));
  auto longitude = converter.typedValueFromStringValue(valueEntry(TagName::exifGPSLongitude));
  if (!latitude || !longitude) return std::nullopt;
  const auto latitudeRef = valueEntry(TagName::exifGPSLatitudeRef);
  if (latitudeRef == "S") latitude = -std::fabs(*latitude);
  if (latitudeRef == "N") latitude = std::fabs(*latitude);
  const auto longitudeRef = valueEntry(TagName::exifGPSLongitudeRef);
  if (longitudeRef == "W") longitude = -std::fabs(*longitude);
  if (longitudeRef == "E") longitude = std::fabs(*longitude);
  return Coordinate(Latitude(*latitude), Longitude(*longitude));
}

// ---------------------------------------------------------------------------------------------
// Arrays of presets

Preset::Presets Preset::loadFromData(std::string_view data) {
  const auto json = nlohmann::json::parse(data);
  if (!json.is_array()) json.get<std::vector<nlohmann::json>>();  // throws the decoder's type error
  Presets presets;
  presets.reserve(json.size());
  for (const auto& element : json) presets.push_back(std::make_shared<Preset>(element));
  return presets;
}

std::string Preset::saveToData(const Presets& presets) {
  nlohmann::json json = nlohmann::json::array();
  for (const auto& preset : presets) json.push_back(preset->encode());
  return json.dump(2);
}

Preset::Presets Preset::importFromFile(const fs::path& url) {
  errno = 0;
  const auto data = readFileContents(url);
  if (!data)
    throw fs::filesystem_error("cannot read the presets file", url,
                               std::error_code(errno ? errno : EIO, std::generic_category()));
  return loadFromData(*data);
}

void Preset::exportToFile(const Presets& presets, const fs::path& url) {
  const auto data = saveToData(presets);
  errno = 0;
  if (!writeFileAtomically(url, data + "\n"))
    throw fs::filesystem_error("cannot write the presets file", url,
                               std::error_code(errno ? errno : EIO, std::generic_category()));
}

}  // namespace orvelin
