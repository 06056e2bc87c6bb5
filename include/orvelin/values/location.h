#pragma once

#include "orvelin/values/date_values.h"

namespace orvelin {

// A latitude and longitude in signed decimal degrees, as a location service reports them.
struct LocationCoordinate2D {
  double latitude = 0.0;
  double longitude = 0.0;

  friend bool operator==(const LocationCoordinate2D&, const LocationCoordinate2D&) = default;
};

// A position with its altitude (metres), accuracies (metres; negative when unknown) and the
// moment it was taken. A plain record; the defaults are those of a location made from a
// latitude and a longitude alone: altitude 0, horizontal accuracy 0, vertical accuracy
// unknown (-1).
struct Location {
  double latitude = 0.0;
  double longitude = 0.0;
  double altitude = 0.0;
  double horizontalAccuracy = 0.0;
  double verticalAccuracy = -1.0;
  Date timestamp{};

  LocationCoordinate2D coordinate() const { return {latitude, longitude}; }

  friend bool operator==(const Location&, const Location&) = default;
};

}  // namespace orvelin
