#pragma once

#include <optional>
#include <string>

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/values/coordinate.h"
#include "orvelin/values/date_values.h"
#include "orvelin/values/location.h"

// GPS, over the EXIF tags GPSLatitude, GPSLongitude, GPSAltitude (unsigned numbers), their
// references GPSLatitudeRef ("N"/"S"), GPSLongitudeRef ("E"/"W"), GPSAltitudeRef ("0" above
// and "1" below sea level), GPSDateStamp and GPSTimeStamp (local time, as the writers below
// store them). Built on the slots of MetadataEditor, with the rules, vocabulary and
// thread-safety told in editor_values.h: each tag is refused on its own, so a group can be
// half written, and a group is not atomic, only its session notification is one.

namespace orvelin {

// Signed numbers: the stored number must read as a number of at least 0 (a stored negative
// number reads as absent), and the reference alone gives the sign; a missing reference counts
// as "N", "E" or "0", and any text but "S", "W" or "1" (a lower-case "s" included) as
// positive.
std::optional<double> exifGPSLatitude(const MetadataEditor& editor);
std::optional<double> exifGPSLongitude(const MetadataEditor& editor);
std::optional<double> exifGPSAltitude(const MetadataEditor& editor);
std::optional<PartialDate> exifGPSDateStamp(const MetadataEditor& editor);
std::optional<PartialTime> exifGPSTimeStamp(const MetadataEditor& editor);
// The two stamps together; absent unless both are there.
std::optional<Date> exifGPSDateTime(const MetadataEditor& editor);
// Latitude and longitude; absent unless both are there.
std::optional<Coordinate> exifGPSCoordinate(const MetadataEditor& editor);
std::optional<LocationCoordinate2D> exifGPSCoordinate2D(const MetadataEditor& editor);
// Latitude and longitude (both needed), the altitude (0 without one), both accuracies 0, and
// the stamps' moment, or the present moment without them.
std::optional<Location> exifGPSLocation(const MetadataEditor& editor);
// The present values among IPTC City, Province-State and Country-PrimaryLocationName, in this
// order and empty ones included, joined by ", ". Empty when none is present.
std::string iptcLocationDescription(const MetadataEditor& editor);

// A number is stored as the "%.8f" text of its magnitude and its sign as the reference (-0
// counts as positive). Absent erases the group. No session of their own.
void setEXIFGPSLatitude(MetadataEditor& editor, const std::optional<double>& latitude);
void setEXIFGPSLongitude(MetadataEditor& editor, const std::optional<double>& longitude);
void setEXIFGPSAltitude(MetadataEditor& editor, const std::optional<double>& altitude);
// The stamps as "yyyy:MM:dd" and "HH:mm:ss"; absent erases the stamp. No session of their own.
void setEXIFGPSDateStamp(MetadataEditor& editor, const std::optional<PartialDate>& date);
void setEXIFGPSTimeStamp(MetadataEditor& editor, const std::optional<PartialTime>& time);
void setEXIFGPSDateTime(MetadataEditor& editor, const std::optional<Date>& date);
// Latitude and longitude in a session; absent erases the whole location, altitude and stamps
// included.
void setEXIFGPSCoordinate(MetadataEditor& editor, const std::optional<Coordinate>& coordinate);
void setEXIFGPSCoordinate2D(MetadataEditor& editor, const std::optional<LocationCoordinate2D>& coordinate);
// Latitude, longitude, altitude and, unless `keepDate`, the stamps from the timestamp, in a
// session; absent erases the whole location whatever `keepDate` says.
void setEXIFGPSLocation(MetadataEditor& editor, const std::optional<Location>& location, bool keepDate);

// Clear (erase) and restore of each group, each in a session: a number with its reference, a
// stamp, both stamps, or the whole location (latitude, longitude, altitude, stamps).
void clearEXIFGPSLatitude(MetadataEditor& editor);
void restoreEXIFGPSLatitude(MetadataEditor& editor);
void clearEXIFGPSLongitude(MetadataEditor& editor);
void restoreEXIFGPSLongitude(MetadataEditor& editor);
void eraseEXIFGPSAltitude(MetadataEditor& editor);
void restoreEXIFGPSAltitude(MetadataEditor& editor);
void eraseEXIFGPSDateStamp(MetadataEditor& editor);
void restoreEXIFGPSDateStamp(MetadataEditor& editor);
void eraseEXIFGPSTimeStamp(MetadataEditor& editor);
void restoreEXIFGPSTimeStamp(MetadataEditor& editor);
void eraseEXIFGPSDateTime(MetadataEditor& editor);
void restoreEXIFGPSDateTime(MetadataEditor& editor);
void eraseEXIFGPSLocation(MetadataEditor& editor);
void restoreEXIFGPSLocation(MetadataEditor& editor);

}  // namespace orvelin
