#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orvelin/support/coded_error.h"

namespace orvelin {

// Geotagging whole folders with exiftool: positions taken from a GPS log into the images, and
// a track printed from the positions of the images. A URL is a file or a folder (its images,
// and with recurseSubfolders those of its subfolders; filterPathExtension keeps one
// extension). Each sync is one exiftool process, started and awaited on the calling thread.
// An instance must not be shared between threads; instances may run at once on different
// threads.

// ---------------------------------------------------------------------------------------------
// GPS log -> images

enum class GeoTagFolderImporterErrorCode { unknownAction };

// Kept for callers that match on it; sync() never throws it.
class GeoTagFolderImporterError : public CodedError<GeoTagFolderImporterError, GeoTagFolderImporterErrorCode> {
 public:
  using CodedError::CodedError;
  // "Unknown action".
  static const char* text(Code code);
};

// Writes into each image the position of the log at the image's original date
// (`exiftool -geotag LOG "-geosync=SYNC" "-geotime<DateTimeOriginal" ... URLS`). exiftool reads
// the log (GPX, KML, NMEA, and its other track formats), interpolates between its points, and
// takes an original date without a time zone for local time (TZ). An image without a date, or
// dated too far from the log's points (by default more than half an hour between two of them, or
// past either end), is left as it is.
class GeoTagFolderImporter {
 public:
  explicit GeoTagFolderImporter(std::filesystem::path geoTagFileURL) : geoTagFileURL(std::move(geoTagFileURL)) {}

  std::optional<std::string> password;
  // Without it exiftool keeps each image's former state as "<name>_original" beside it.
  bool overwriteInPlace = false;
  bool recurseSubfolders = false;
  std::optional<std::string> filterPathExtension;
  // The log.
  const std::filesystem::path geoTagFileURL;
  // How far the camera's clock is behind the log's, in exiftool's -geosync form: "+10" or
  // "+0:0:10" takes the position of ten seconds after the image's date, "-1:00:00" of an hour
  // before. Absent or empty: none.
  std::optional<std::string> geoSyncString;

  // Never throws: what exiftool could not do (a log it cannot read, a missing file) leaves the
  // images as they were.
  void sync(const std::filesystem::path& url);
  void sync(const std::vector<std::filesystem::path>& urls);
};

// ---------------------------------------------------------------------------------------------
// images -> track

enum class GeoTagFolderExportFormat { gpx, kml };

// "gpx", "kml".
std::string_view rawValue(GeoTagFolderExportFormat format);
// The format of a raw value; absent for any other text.
std::optional<GeoTagFolderExportFormat> geoTagFolderExportFormatFromRawValue(std::string_view rawValue);

// exiftool's print format of a track format: <resources>/gpx.fmt or kml.fmt. Absent when the
// file is missing.
std::optional<std::filesystem::path> formatFileURL(GeoTagFolderExportFormat format);

enum class GeoTagFolderExporterErrorCode { unknownAction, notFoundFormatFile };

class GeoTagFolderExporterError : public CodedError<GeoTagFolderExporterError, GeoTagFolderExporterErrorCode> {
 public:
  using CodedError::CodedError;
  // "Unknown action", "Not found format file".
  static const char* text(Code code);
};

// Prints a track of the images that have a position and a date (`exiftool -p FORMAT_FILE
// URLS`) into a file: a GPX 1.1 track, or a KML 2.2 document of time-stamped placemarks, one
// point per image in the order exiftool reads them, which exiftool's -geotag takes back. A
// point's time is the image's GPS date and time, else its original date read as the importer
// reads it; the altitude comes when the image has one.
class GeoTagFolderExporter {
 public:
  explicit GeoTagFolderExporter(GeoTagFolderExportFormat format) : format(format) {}

  std::optional<std::string> password;
  bool overwriteInPlace = false;
  bool recurseSubfolders = false;
  std::optional<std::string> filterPathExtension;
  const GeoTagFolderExportFormat format;

  // Writes what exiftool printed as the whole file `to` (atomically, through ORVGetFileSystem()).
  // When exiftool printed nothing (no file could be read), `to` is left as it is. A folder of
  // images without positions gives a track without points.
  // Throws GeoTagFolderExporterError(notFoundFormatFile) before anything runs when the format
  // file is missing, and std::filesystem::filesystem_error when `to` cannot be written.
  void sync(const std::filesystem::path& url, const std::filesystem::path& to);
  void sync(const std::vector<std::filesystem::path>& urls, const std::filesystem::path& to);
};

}  // namespace orvelin
