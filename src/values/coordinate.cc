#include "orvelin/values/coordinate.h"

#include <cmath>
#include <ostream>

namespace orvelin {

namespace {

struct Parts {
  double seconds;
  double degrees;
  double minutes;
  bool negative;
};

// The parts of a signed value, the same for both axes.
Parts partsOf(double v) {
  const double beyondDegrees = std::fabs(std::fmod(v * 3600.0, 3600.0));
  return {std::fmod(beyondDegrees, 60.0), std::fabs(v * 3600.0 / 3600.0), beyondDegrees / 60.0, v < 0.0 || std::isnan(v)};
}

}  // namespace

std::optional<Latitude::Reference> Latitude::Reference::fromRawValue(std::string_view rawValue) {
  if (rawValue == "N") return north;
  if (rawValue == "S") return south;
  return std::nullopt;
}

std::optional<Longitude::Reference> Longitude::Reference::fromRawValue(std::string_view rawValue) {
  if (rawValue == "E") return east;
  if (rawValue == "W") return west;
  return std::nullopt;
}

Latitude::Latitude(double v) : value(v) {
  const auto parts = partsOf(v);
  seconds = parts.seconds;
  degrees = parts.degrees;
  minutes = parts.minutes;
  reference = parts.negative ? Reference::south : Reference::north;
}

Longitude::Longitude(double v) : value(v) {
  const auto parts = partsOf(v);
  seconds = parts.seconds;
  degrees = parts.degrees;
  minutes = parts.minutes;
  reference = parts.negative ? Reference::west : Reference::east;
}

std::ostream& operator<<(std::ostream& out, const Latitude& latitude) {
  return out << "Latitude(" << latitude.value << " " << latitude.reference.rawValue() << ")";
}

std::ostream& operator<<(std::ostream& out, const Longitude& longitude) {
  return out << "Longitude(" << longitude.value << " " << longitude.reference.rawValue() << ")";
}

std::ostream& operator<<(std::ostream& out, const Coordinate& coordinate) {
  return out << "Coordinate(" << coordinate.latitude.value << ", " << coordinate.longitude.value << ")";
}

}  // namespace orvelin
