// GPS: the eight EXIF GPS tags read and written as signed numbers, stamps, coordinates and
// locations, built on the editor's slots.

#include <chrono>
#include <cmath>

#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/metadata_editor.h"
#include "orvelin/values/date_time_value_converter.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

namespace {

// A number tag, its reference tag, the reference's default and the one negative reference.
struct SignedTag {
  const TagName& number;
  const TagName& reference;
  const char* positive;
  const char* negative;
};

const SignedTag latitudeTag{TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef, "N", "S"};
const SignedTag longitudeTag{TagName::exifGPSLongitude, TagName::exifGPSLongitudeRef, "E", "W"};
const SignedTag altitudeTag{TagName::exifGPSAltitude, TagName::exifGPSAltitudeRef, "0", "1"};

std::optional<double> readSigned(const MetadataEditor& editor, const SignedTag& tag) {
  const auto number = SDoubleValueConverter().typedValueFromStringValue(editor.currentValue(tag.number));
  // The stored number is unsigned: the sign comes from the reference alone.
  if (!number || !(*number >= 0.0)) return std::nullopt;
  const auto reference = editor.currentValue(tag.reference).value_or(tag.positive);
  return reference == tag.negative ? *number * -1.0 : *number * 1.0;
}

void writeSigned(MetadataEditor& editor, const SignedTag& tag, double value) {
  editor.setValue(SDoubleValueConverter().stringValueFromTypedValue(std::fabs(value)), tag.number);
  editor.setValue(std::string(value < 0.0 ? tag.negative : tag.positive), tag.reference);
}

// The group of `tag` set to `value` (the empty text or absent), in a session.
void setGroup(MetadataEditor& editor, const std::optional<std::string>& value, std::initializer_list<TagName> names) {
  EditionsManager::shared().session([&] {
    for (const auto& name : names) editor.setValue(value, name);
  });
}

std::optional<Date> stampDate(const std::optional<std::string>& text) {
  if (!text || text->empty()) return std::nullopt;
  return DateTimeValueConverter().typedValueFromStringValue(*text);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Readers

std::optional<double> MetadataEditor::exifGPSLatitude() const { return readSigned(*this, latitudeTag); }

std::optional<double> MetadataEditor::exifGPSLongitude() const { return readSigned(*this, longitudeTag); }

std::optional<double> MetadataEditor::exifGPSAltitude() const { return readSigned(*this, altitudeTag); }

std::optional<PartialDate> MetadataEditor::exifGPSDateStamp() const {
  const auto date = stampDate(currentValue(TagName::exifGPSDateStamp));
  if (!date) return std::nullopt;
  return PartialDate(*date);
}

std::optional<PartialTime> MetadataEditor::exifGPSTimeStamp() const {
  const auto date = stampDate(currentValue(TagName::exifGPSTimeStamp));
  if (!date) return std::nullopt;
  return PartialTime(*date);
}

std::optional<Date> MetadataEditor::exifGPSDateTime() const {
  const auto day = exifGPSDateStamp();
  const auto time = exifGPSTimeStamp();
  if (!day || !time) return std::nullopt;
  return DateTime(day->year, day->month, day->day, time->hour, time->minute, time->second).date();
}

std::optional<Coordinate> MetadataEditor::exifGPSCoordinate() const {
  const auto latitude = exifGPSLatitude();
  const auto longitude = exifGPSLongitude();
  if (!latitude || !longitude) return std::nullopt;
  return Coordinate(Latitude(*latitude), Longitude(*longitude));
}

std::optional<LocationCoordinate2D> MetadataEditor::exifGPSCoordinate2D() const {
  const auto latitude = exifGPSLatitude();
  const auto longitude = exifGPSLongitude();
  if (!latitude || !longitude) return std::nullopt;
  return LocationCoordinate2D{*latitude, *longitude};
}

std::optional<Location> MetadataEditor::exifGPSLocation() const {
  const auto latitude = exifGPSLatitude();
  const auto longitude = exifGPSLongitude();
  if (!latitude || !longitude) return std::nullopt;
  Location location;
  location.latitude = *latitude;
  location.longitude = *longitude;
  location.altitude = exifGPSAltitude().value_or(0.0);
  location.horizontalAccuracy = 0.0;
  location.verticalAccuracy = 0.0;
  location.timestamp = exifGPSDateTime().value_or(currentDate());
  return location;
}

std::string MetadataEditor::iptcLocationDescription() const {
  std::string description;
  bool first = true;
  for (const auto& key : {TagKey::city, TagKey::provinceState, TagKey::countryPrimaryLocationName}) {
    const auto value = currentValue(TagName(TagStream::iptc, key));
    if (!value) continue;
    if (!first) description += ", ";
    description += *value;
    first = false;
  }
  return description;
}

// ---------------------------------------------------------------------------------------------
// Writers

void MetadataEditor::setEXIFGPSLatitude(const std::optional<double>& latitude) {
  if (!latitude) return clearEXIFGPSLatitude();
  writeSigned(*this, latitudeTag, *latitude);
}

void MetadataEditor::setEXIFGPSLongitude(const std::optional<double>& longitude) {
  if (!longitude) return clearEXIFGPSLongitude();
  writeSigned(*this, longitudeTag, *longitude);
}

void MetadataEditor::setEXIFGPSAltitude(const std::optional<double>& altitude) {
  if (!altitude) return eraseEXIFGPSAltitude();
  writeSigned(*this, altitudeTag, *altitude);
}

void MetadataEditor::setEXIFGPSDateStamp(const std::optional<PartialDate>& date) {
  if (!date) return eraseEXIFGPSDateStamp();
  setValue(DateTimeValueConverter("yyyy:MM:dd").stringValueFromTypedValue(date->date()), TagName::exifGPSDateStamp);
}

void MetadataEditor::setEXIFGPSTimeStamp(const std::optional<PartialTime>& time) {
  if (!time) return eraseEXIFGPSTimeStamp();
  setValue(DateTimeValueConverter("HH:mm:ss").stringValueFromTypedValue(time->date()), TagName::exifGPSTimeStamp);
}

void MetadataEditor::setEXIFGPSDateTime(const std::optional<Date>& date) {
  if (!date) return eraseEXIFGPSDateTime();
  setEXIFGPSDateStamp(PartialDate(*date));
  setEXIFGPSTimeStamp(PartialTime(*date));
}

void MetadataEditor::setEXIFGPSCoordinate(const std::optional<Coordinate>& coordinate) {
  if (!coordinate) return eraseEXIFGPSLocation();
  EditionsManager::shared().session([&] {
    setEXIFGPSLatitude(coordinate->latitude.value);
    setEXIFGPSLongitude(coordinate->longitude.value);
  });
}

void MetadataEditor::setEXIFGPSCoordinate2D(const std::optional<LocationCoordinate2D>& coordinate) {
  if (!coordinate) return eraseEXIFGPSLocation();
  EditionsManager::shared().session([&] {
    setEXIFGPSLatitude(coordinate->latitude);
    setEXIFGPSLongitude(coordinate->longitude);
  });
}

void MetadataEditor::setEXIFGPSLocation(const std::optional<Location>& location, bool keepDate) {
  if (!location) return eraseEXIFGPSLocation();
  EditionsManager::shared().session([&] {
    setEXIFGPSLatitude(location->latitude);
    setEXIFGPSLongitude(location->longitude);
    setEXIFGPSAltitude(location->altitude);
    if (!keepDate) setEXIFGPSDateTime(location->timestamp);
  });
}

// ---------------------------------------------------------------------------------------------
// Clear and restore of the groups

void MetadataEditor::clearEXIFGPSLatitude() {
  setGroup(*this, std::string(), {TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef});
}

void MetadataEditor::restoreEXIFGPSLatitude() {
  setGroup(*this, std::nullopt, {TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef});
}

void MetadataEditor::clearEXIFGPSLongitude() {
  setGroup(*this, std::string(), {TagName::exifGPSLongitude, TagName::exifGPSLongitudeRef});
}

void MetadataEditor::restoreEXIFGPSLongitude() {
  setGroup(*this, std::nullopt, {TagName::exifGPSLongitude, TagName::exifGPSLongitudeRef});
}

void MetadataEditor::eraseEXIFGPSAltitude() {
  setGroup(*this, std::string(), {TagName::exifGPSAltitude, TagName::exifGPSAltitudeRef});
}

void MetadataEditor::restoreEXIFGPSAltitude() {
  setGroup(*this, std::nullopt, {TagName::exifGPSAltitude, TagName::exifGPSAltitudeRef});
}

void MetadataEditor::eraseEXIFGPSDateStamp() { setGroup(*this, std::string(), {TagName::exifGPSDateStamp}); }

void MetadataEditor::restoreEXIFGPSDateStamp() { setGroup(*this, std::nullopt, {TagName::exifGPSDateStamp}); }

void MetadataEditor::eraseEXIFGPSTimeStamp() { setGroup(*this, std::string(), {TagName::exifGPSTimeStamp}); }

void MetadataEditor::restoreEXIFGPSTimeStamp() { setGroup(*this, std::nullopt, {TagName::exifGPSTimeStamp}); }

void MetadataEditor::eraseEXIFGPSDateTime() {
  EditionsManager::shared().session([&] {
    eraseEXIFGPSDateStamp();
    eraseEXIFGPSTimeStamp();
  });
}

void MetadataEditor::restoreEXIFGPSDateTime() {
  EditionsManager::shared().session([&] {
    restoreEXIFGPSDateStamp();
    restoreEXIFGPSTimeStamp();
  });
}

void MetadataEditor::eraseEXIFGPSLocation() {
  EditionsManager::shared().session([&] {
    clearEXIFGPSLatitude();
    clearEXIFGPSLongitude();
    eraseEXIFGPSAltitude();
    eraseEXIFGPSDateTime();
  });
}

void MetadataEditor::restoreEXIFGPSLocation() {
  EditionsManager::shared().session([&] {
    restoreEXIFGPSLatitude();
    restoreEXIFGPSLongitude();
    restoreEXIFGPSAltitude();
    restoreEXIFGPSDateTime();
  });
}

}  // namespace orvelin
