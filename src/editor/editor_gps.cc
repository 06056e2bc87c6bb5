#include "orvelin/editor/editor_gps.h"

#include <chrono>
#include <cmath>
#include <initializer_list>

#include "orvelin/editions/editions_manager.h"
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

std::optional<double> exifGPSLatitude(const MetadataEditor& editor) { return readSigned(editor, latitudeTag); }

std::optional<double> exifGPSLongitude(const MetadataEditor& editor) { return readSigned(editor, longitudeTag); }

std::optional<double> exifGPSAltitude(const MetadataEditor& editor) { return readSigned(editor, altitudeTag); }

std::optional<PartialDate> exifGPSDateStamp(const MetadataEditor& editor) {
  const auto date = stampDate(editor.currentValue(TagName::exifGPSDateStamp));
  if (!date) return std::nullopt;
  return PartialDate(*date);
}

std::optional<PartialTime> exifGPSTimeStamp(const MetadataEditor& editor) {
  const auto date = stampDate(editor.currentValue(TagName::exifGPSTimeStamp));
  if (!date) return std::nullopt;
  return PartialTime(*date);
}

std::optional<Date> exifGPSDateTime(const MetadataEditor& editor) {
  const auto day = exifGPSDateStamp(editor);
  const auto time = exifGPSTimeStamp(editor);
  if (!day || !time) return std::nullopt;
  return DateTime(day->year, day->month, day->day, time->hour, time->minute, time->second).date();
}

std::optional<Coordinate> exifGPSCoordinate(const MetadataEditor& editor) {
  const auto latitude = exifGPSLatitude(editor);
  const auto longitude = exifGPSLongitude(editor);
  if (!latitude || !longitude) return std::nullopt;
  return Coordinate(Latitude(*latitude), Longitude(*longitude));
}

std::optional<LocationCoordinate2D> exifGPSCoordinate2D(const MetadataEditor& editor) {
  const auto latitude = exifGPSLatitude(editor);
  const auto longitude = exifGPSLongitude(editor);
  if (!latitude || !longitude) return std::nullopt;
  return LocationCoordinate2D{*latitude, *longitude};
}

std::optional<Location> exifGPSLocation(const MetadataEditor& editor) {
  const auto latitude = exifGPSLatitude(editor);
  const auto longitude = exifGPSLongitude(editor);
  if (!latitude || !longitude) return std::nullopt;
  Location location;
  location.latitude = *latitude;
  location.longitude = *longitude;
  location.altitude = exifGPSAltitude(editor).value_or(0.0);
  location.horizontalAccuracy = 0.0;
  location.verticalAccuracy = 0.0;
  location.timestamp = exifGPSDateTime(editor).value_or(currentDate());
  return location;
}

std::string iptcLocationDescription(const MetadataEditor& editor) {
  std::string description;
  bool first = true;
  for (const auto& key : {TagKey::city, TagKey::provinceState, TagKey::countryPrimaryLocationName}) {
    const auto value = editor.currentValue(TagName(TagStream::iptc, key));
    if (!value) continue;
    if (!first) description += ", ";
    description += *value;
    first = false;
  }
  return description;
}

// ---------------------------------------------------------------------------------------------
// Writers

void setEXIFGPSLatitude(MetadataEditor& editor, const std::optional<double>& latitude) {
  if (!latitude) return clearEXIFGPSLatitude(editor);
  writeSigned(editor, latitudeTag, *latitude);
}

void setEXIFGPSLongitude(MetadataEditor& editor, const std::optional<double>& longitude) {
  if (!longitude) return clearEXIFGPSLongitude(editor);
  writeSigned(editor, longitudeTag, *longitude);
}

void setEXIFGPSAltitude(MetadataEditor& editor, const std::optional<double>& altitude) {
  if (!altitude) return eraseEXIFGPSAltitude(editor);
  writeSigned(editor, altitudeTag, *altitude);
}

void setEXIFGPSDateStamp(MetadataEditor& editor, const std::optional<PartialDate>& date) {
  if (!date) return eraseEXIFGPSDateStamp(editor);
  editor.setValue(DateTimeValueConverter("yyyy:MM:dd").stringValueFromTypedValue(date->date()),
                  TagName::exifGPSDateStamp);
}

void setEXIFGPSTimeStamp(MetadataEditor& editor, const std::optional<PartialTime>& time) {
  if (!time) return eraseEXIFGPSTimeStamp(editor);
  editor.setValue(DateTimeValueConverter("HH:mm:ss").stringValueFromTypedValue(time->date()),
                  TagName::exifGPSTimeStamp);
}

void setEXIFGPSDateTime(MetadataEditor& editor, const std::optional<Date>& date) {
  if (!date) return eraseEXIFGPSDateTime(editor);
  setEXIFGPSDateStamp(editor, PartialDate(*date));
  setEXIFGPSTimeStamp(editor, PartialTime(*date));
}

void setEXIFGPSCoordinate(MetadataEditor& editor, const std::optional<Coordinate>& coordinate) {
  if (!coordinate) return eraseEXIFGPSLocation(editor);
  EditionsManager::shared().session([&] {
    setEXIFGPSLatitude(editor, coordinate->latitude.value);
    setEXIFGPSLongitude(editor, coordinate->longitude.value);
  });
}

void setEXIFGPSCoordinate2D(MetadataEditor& editor, const std::optional<LocationCoordinate2D>& coordinate) {
  if (!coordinate) return eraseEXIFGPSLocation(editor);
  EditionsManager::shared().session([&] {
    setEXIFGPSLatitude(editor, coordinate->latitude);
    setEXIFGPSLongitude(editor, coordinate->longitude);
  });
}

void setEXIFGPSLocation(MetadataEditor& editor, const std::optional<Location>& location, bool keepDate) {
  if (!location) return eraseEXIFGPSLocation(editor);
  EditionsManager::shared().session([&] {
    setEXIFGPSLatitude(editor, location->latitude);
    setEXIFGPSLongitude(editor, location->longitude);
    setEXIFGPSAltitude(editor, location->altitude);
    if (!keepDate) setEXIFGPSDateTime(editor, location->timestamp);
  });
}

// ---------------------------------------------------------------------------------------------
// Clear and restore of the groups

void clearEXIFGPSLatitude(MetadataEditor& editor) {
  setGroup(editor, std::string(), {TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef});
}

void restoreEXIFGPSLatitude(MetadataEditor& editor) {
  setGroup(editor, std::nullopt, {TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef});
}

void clearEXIFGPSLongitude(MetadataEditor& editor) {
  setGroup(editor, std::string(), {TagName::exifGPSLongitude, TagName::exifGPSLongitudeRef});
}

void restoreEXIFGPSLongitude(MetadataEditor& editor) {
  setGroup(editor, std::nullopt, {TagName::exifGPSLongitude, TagName::exifGPSLongitudeRef});
}

void eraseEXIFGPSAltitude(MetadataEditor& editor) {
  setGroup(editor, std::string(), {TagName::exifGPSAltitude, TagName::exifGPSAltitudeRef});
}

void restoreEXIFGPSAltitude(MetadataEditor& editor) {
  setGroup(editor, std::nullopt, {TagName::exifGPSAltitude, TagName::exifGPSAltitudeRef});
}

void eraseEXIFGPSDateStamp(MetadataEditor& editor) { setGroup(editor, std::string(), {TagName::exifGPSDateStamp}); }

void restoreEXIFGPSDateStamp(MetadataEditor& editor) { setGroup(editor, std::nullopt, {TagName::exifGPSDateStamp}); }

void eraseEXIFGPSTimeStamp(MetadataEditor& editor) { setGroup(editor, std::string(), {TagName::exifGPSTimeStamp}); }

void restoreEXIFGPSTimeStamp(MetadataEditor& editor) { setGroup(editor, std::nullopt, {TagName::exifGPSTimeStamp}); }

void eraseEXIFGPSDateTime(MetadataEditor& editor) {
  EditionsManager::shared().session([&] {
    eraseEXIFGPSDateStamp(editor);
    eraseEXIFGPSTimeStamp(editor);
  });
}

void restoreEXIFGPSDateTime(MetadataEditor& editor) {
  EditionsManager::shared().session([&] {
    restoreEXIFGPSDateStamp(editor);
    restoreEXIFGPSTimeStamp(editor);
  });
}

void eraseEXIFGPSLocation(MetadataEditor& editor) {
  EditionsManager::shared().session([&] {
    clearEXIFGPSLatitude(editor);
    clearEXIFGPSLongitude(editor);
    eraseEXIFGPSAltitude(editor);
    eraseEXIFGPSDateTime(editor);
  });
}

void restoreEXIFGPSLocation(MetadataEditor& editor) {
  EditionsManager::shared().session([&] {
    restoreEXIFGPSLatitude(editor);
    restoreEXIFGPSLongitude(editor);
    restoreEXIFGPSAltitude(editor);
    restoreEXIFGPSDateTime(editor);
  });
}

}  // namespace orvelin
