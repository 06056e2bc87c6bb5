#include "orvelin/values/coordinate_writer.h"

#include <string_view>

#include "orvelin/support/fatal.h"
#include "values/number_text.h"

namespace orvelin {

namespace {

// The fields of one axis that the formats use.
struct Axis {
  double value;
  double degrees;
  double minutes;
  double seconds;
  std::string_view letter;
};

Axis axisOf(const Latitude& latitude) {
  return {latitude.value, latitude.degrees, latitude.minutes, latitude.seconds, latitude.reference.rawValue()};
}

Axis axisOf(const Longitude& longitude) {
  return {longitude.value, longitude.degrees, longitude.minutes, longitude.seconds, longitude.reference.rawValue()};
}

std::int64_t whole(double field) {
  const auto truncated = detail::truncatedInteger(field);
  if (!truncated) ORVFatal("Coordinate field is not a finite 64-bit integer when truncated: " + detail::numberDescription(field));
  return *truncated;
}

struct Pieces {
  std::string_view degreeUnit;
  std::string_view minuteUnit;
  std::string_view secondUnit;
  std::string_view space;
};

Pieces piecesOf(const CoordinateWriter& writer) {
  return {writer.displaysUnits ? "°" : "", writer.displaysUnits ? "'" : "", writer.displaysUnits ? "\"" : "",
          writer.displaySpaces ? " " : ""};
}

std::string writeDDddddd(const CoordinateWriter& writer, const Axis& axis) {
  const auto pieces = piecesOf(writer);
  return detail::cFormat("%02.05f%@", {axis.value, pieces.degreeUnit});
}

std::string writeDDMMmmm(const CoordinateWriter& writer, const Axis& axis) {
  const auto pieces = piecesOf(writer);
  return detail::cFormat("%@%@%02d%@%@%02.03f%@", {axis.letter, pieces.space, whole(axis.degrees), pieces.degreeUnit,
                                                   pieces.space, axis.minutes, pieces.minuteUnit});
}

std::string writePreDDMMSSs(const CoordinateWriter& writer, const Axis& axis) {
  const auto pieces = piecesOf(writer);
  return detail::cFormat("%@%@%02d%@%@%02d%@%@%02.1f%@",
                         {axis.letter, pieces.space, whole(axis.degrees), pieces.degreeUnit, pieces.space,
                          whole(axis.minutes), pieces.minuteUnit, pieces.space, axis.seconds, pieces.secondUnit});
}

std::string writePostDDMMSSs(const CoordinateWriter& writer, const Axis& axis) {
  const auto pieces = piecesOf(writer);
  return detail::cFormat("%02d%@%@%02d%@%@%02.1f%@%@%@",
                         {whole(axis.degrees), pieces.degreeUnit, pieces.space, whole(axis.minutes), pieces.minuteUnit,
                          pieces.space, axis.seconds, pieces.secondUnit, pieces.space, axis.letter});
}

std::string joined(const CoordinateWriter& writer, const std::string& latitude, const std::string& longitude) {
  return detail::cFormat("%@%@%@", {latitude, writer.defaultSeparator, longitude});
}

}  // namespace

std::string CoordinateWriter::DDddddd(const Latitude& latitude) const { return writeDDddddd(*this, axisOf(latitude)); }
std::string CoordinateWriter::DDddddd(const Longitude& longitude) const { return writeDDddddd(*this, axisOf(longitude)); }
std::string CoordinateWriter::DDddddd(const Coordinate& coordinate) const {
  return joined(*this, DDddddd(coordinate.latitude), DDddddd(coordinate.longitude));
}

std::string CoordinateWriter::DDMMmmm(const Latitude& latitude) const { return writeDDMMmmm(*this, axisOf(latitude)); }
std::string CoordinateWriter::DDMMmmm(const Longitude& longitude) const { return writeDDMMmmm(*this, axisOf(longitude)); }
std::string CoordinateWriter::DDMMmmm(const Coordinate& coordinate) const {
  return joined(*this, DDMMmmm(coordinate.latitude), DDMMmmm(coordinate.longitude));
}

std::string CoordinateWriter::preDDMMSSs(const Latitude& latitude) const { return writePreDDMMSSs(*this, axisOf(latitude)); }
std::string CoordinateWriter::preDDMMSSs(const Longitude& longitude) const {
  return writePreDDMMSSs(*this, axisOf(longitude));
}
std::string CoordinateWriter::preDDMMSSs(const Coordinate& coordinate) const {
  return joined(*this, preDDMMSSs(coordinate.latitude), preDDMMSSs(coordinate.longitude));
}

std::string CoordinateWriter::postDDMMSSs(const Latitude& latitude) const {
  return writePostDDMMSSs(*this, axisOf(latitude));
}
std::string CoordinateWriter::postDDMMSSs(const Longitude& longitude) const {
  return writePostDDMMSSs(*this, axisOf(longitude));
}
std::string CoordinateWriter::postDDMMSSs(const Coordinate& coordinate) const {
  return joined(*this, postDDMMSSs(coordinate.latitude), postDDMMSSs(coordinate.longitude));
}

}  // namespace orvelin
