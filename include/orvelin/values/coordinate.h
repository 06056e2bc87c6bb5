#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string_view>

#include "orvelin/values/location.h"

namespace orvelin {

// A latitude: signed decimal degrees with the degrees, minutes, seconds and hemisphere kept
// beside them, so that writers and parsers can work in either form.
//
// The fields are plain storage: only the constructor brings them in step, and setting one
// later leaves the others as they are. `degrees` and `minutes` keep their fractions (48.5 has
// degrees 48.5 and minutes 30.0); a writer that wants whole degrees truncates them itself.
// Nothing checks the range: 100.0 is stored as given.
//
// Equality and hashing look at `value` alone. A value type: copies are independent, and one
// object may be read from several threads while none writes it.
struct Latitude {
  // The hemisphere, with its one-letter raw value. A value type like Language.
  class Reference {
   public:
    enum Value : std::uint8_t { north, south };

    constexpr Reference(Value value) : value_(value) {}  // NOLINT: implicit by design
    constexpr operator Value() const { return value_; }  // NOLINT

    // Exactly "N" or "S"; anything else is absent.
    static std::optional<Reference> fromRawValue(std::string_view rawValue);
    // "N", "S".
    std::string_view rawValue() const { return value_ == north ? "N" : "S"; }

   private:
    Value value_;
  };

  double value = 0.0;    // signed decimal degrees
  double seconds = 0.0;  // seconds of arc within the minute
  double degrees = 0.0;  // magnitude of value, fraction included
  double minutes = 0.0;  // minutes of arc within the degree, fraction included
  Reference reference = Reference::north;

  // value = v; with b = |fmod(v * 3600, 3600)| the seconds of arc beyond whole degrees:
  // seconds = fmod(b, 60), minutes = b / 60, degrees = |v|; south when v is below zero or
  // not a number (0.0 and -0.0 are north).
  explicit Latitude(double v);

  friend bool operator==(const Latitude& lhs, const Latitude& rhs) { return lhs.value == rhs.value; }
};

// A longitude: as Latitude, with east and west.
struct Longitude {
  class Reference {
   public:
    enum Value : std::uint8_t { east, west };

    constexpr Reference(Value value) : value_(value) {}  // NOLINT: implicit by design
    constexpr operator Value() const { return value_; }  // NOLINT

    // Exactly "E" or "W"; anything else is absent.
    static std::optional<Reference> fromRawValue(std::string_view rawValue);
    // "E", "W".
    std::string_view rawValue() const { return value_ == east ? "E" : "W"; }

   private:
    Value value_;
  };

  double value = 0.0;
  double seconds = 0.0;
  double degrees = 0.0;
  double minutes = 0.0;
  Reference reference = Reference::east;

  // As Latitude's; west when v is below zero or not a number.
  explicit Longitude(double v);

  friend bool operator==(const Longitude& lhs, const Longitude& rhs) { return lhs.value == rhs.value; }
};

// A GPS position. Equal, and hashed, by the two `value` fields alone. A value type.
struct Coordinate {
  Latitude latitude;
  Longitude longitude;

  // Both members from their values.
  Coordinate(double latitude, double longitude) : latitude(latitude), longitude(longitude) {}
  // The members as they are.
  Coordinate(Latitude latitude, Longitude longitude) : latitude(latitude), longitude(longitude) {}
  // From the location's latitude and longitude.
  explicit Coordinate(const Location& location) : Coordinate(location.coordinate()) {}
  explicit Coordinate(const LocationCoordinate2D& coordinate2D)
      : latitude(coordinate2D.latitude), longitude(coordinate2D.longitude) {}

  friend bool operator==(const Coordinate&, const Coordinate&) = default;
};

std::ostream& operator<<(std::ostream& out, const Latitude& latitude);
std::ostream& operator<<(std::ostream& out, const Longitude& longitude);
std::ostream& operator<<(std::ostream& out, const Coordinate& coordinate);

}  // namespace orvelin

template <>
struct std::hash<orvelin::Latitude> {
  std::size_t operator()(const orvelin::Latitude& latitude) const noexcept { return std::hash<double>()(latitude.value); }
};

template <>
struct std::hash<orvelin::Longitude> {
  std::size_t operator()(const orvelin::Longitude& longitude) const noexcept {
    return std::hash<double>()(longitude.value);
  }
};

template <>
struct std::hash<orvelin::Coordinate> {
  std::size_t operator()(const orvelin::Coordinate& coordinate) const noexcept {
    const std::size_t latitude = std::hash<double>()(coordinate.latitude.value);
    return latitude ^ (std::hash<double>()(coordinate.longitude.value) + 0x9e3779b97f4a7c15ULL + (latitude << 6) +
                       (latitude >> 2));
  }
};

template <>
struct std::hash<orvelin::Latitude::Reference> {
  std::size_t operator()(orvelin::Latitude::Reference reference) const noexcept {
    return static_cast<std::size_t>(static_cast<orvelin::Latitude::Reference::Value>(reference));
  }
};

template <>
struct std::hash<orvelin::Longitude::Reference> {
  std::size_t operator()(orvelin::Longitude::Reference reference) const noexcept {
    return static_cast<std::size_t>(static_cast<orvelin::Longitude::Reference::Value>(reference));
  }
};
