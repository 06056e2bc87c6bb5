#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "orvelin/support/coded_error.h"
#include "orvelin/values/location.h"

namespace orvelin {

enum class LocationReaderErrorCode { emptyOutput };

class LocationReaderError : public CodedError<LocationReaderError, LocationReaderErrorCode> {
 public:
  using CodedError::CodedError;
  // "Empty output".
  static const char* text(Code code);
};

// Reads the GPS latitude and longitude of images with one exiftool run
// (`exiftool -c %+.6f -T -m -gpslatitude -gpslongitude URLS`), to the millionth of a degree.
// A Location holds only the latitude and the longitude (signed: south and west negative); its
// other fields keep their defaults. One caller at a time per instance; blocks for one process.
class LocationReader {
 public:
  std::optional<std::string> password;

  // The location of the first file read; absent when it has none.
  // Throws LocationReaderError(emptyOutput) when exiftool printed nothing (a missing file).
  std::optional<Location> read(const std::filesystem::path& url);
  // One element per file exiftool read, in its order: a folder gives one per image in it, and a
  // file it cannot read (a missing one) gives none, so the elements follow `urls` one for one
  // only when each URL is a readable file. An element is absent for a file without both
  // coordinates. Throws LocationReaderError(emptyOutput) when exiftool printed nothing.
  std::vector<std::optional<Location>> read(const std::vector<std::filesystem::path>& urls);
};

}  // namespace orvelin
