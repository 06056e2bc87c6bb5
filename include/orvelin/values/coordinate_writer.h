#pragma once

#include <string>

#include "orvelin/values/coordinate.h"

namespace orvelin {

// Writes latitudes, longitudes and coordinates in the four notations that CoordinateParser
// reads. With the default settings, for 48.8566, 2.3522:
//
//   DDddddd      48.85660°; 2.35220°
//   DDMMmmm      N 48° 51.396'; E 02° 21.132'
//   preDDMMSSs   N 48° 51' 23.8"; E 02° 21' 7.9"
//   postDDMMSSs  48° 51' 23.8" N; 02° 21' 7.9" E
//
// Whole degrees and minutes are the `degrees` and `minutes` fields truncated toward zero;
// seconds round in the printed text alone, with no carry (59.96 prints "60.0"). Numbers are
// printed in the C locale whatever the process locale.
//
// REQUIRES: for DDMMmmm, preDDMMSSs and postDDMMSSs, the `degrees` and `minutes` fields are
// finite and within the 64-bit integer range; anything else is a programming fault that stops
// the process (a value built by Latitude(v) or Longitude(v) from a finite v of magnitude below
// 2^63 always qualifies).
//
// A small value type; an instance may be used from one thread at a time, or shared read-only.
struct CoordinateWriter {
  std::string defaultSeparator = "; ";  // between the latitude and the longitude
  bool displaySpaces = true;            // blanks between the pieces
  bool displaysUnits = true;            // the degree, minute and second signs

  CoordinateWriter() = default;

  // "%02.05f%@": the signed value, the degree sign.
  std::string DDddddd(const Latitude& latitude) const;
  std::string DDddddd(const Longitude& longitude) const;
  std::string DDddddd(const Coordinate& coordinate) const;
  // "%@%@%02d%@%@%02.03f%@": letter, space, whole degrees, degree sign, space, minutes with
  // their fraction, minute sign.
  std::string DDMMmmm(const Latitude& latitude) const;
  std::string DDMMmmm(const Longitude& longitude) const;
  std::string DDMMmmm(const Coordinate& coordinate) const;
  // "%@%@%02d%@%@%02d%@%@%02.1f%@": letter, space, whole degrees, degree sign, space, whole
  // minutes, minute sign, space, seconds, second sign.
  std::string preDDMMSSs(const Latitude& latitude) const;
  std::string preDDMMSSs(const Longitude& longitude) const;
  std::string preDDMMSSs(const Coordinate& coordinate) const;
  // "%02d%@%@%02d%@%@%02.1f%@%@%@": whole degrees, degree sign, space, whole minutes, minute
  // sign, space, seconds, second sign, space, letter.
  std::string postDDMMSSs(const Latitude& latitude) const;
  std::string postDDMMSSs(const Longitude& longitude) const;
  std::string postDDMMSSs(const Coordinate& coordinate) const;
};

}  // namespace orvelin
