#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "orvelin/imageservice/image.h"

namespace orvelin {

// Removes all metadata of a file (`exiftool -all= FILE`). Swallows every failure of the tool.
// One caller at a time; blocks for one process.
class MetadataETCleaner {
 public:
  std::optional<std::string> password;
  bool enableCorrection = false;
  bool overrideInPlace = true;  // without it exiftool leaves its "_original" backup beside the file

  void clean(const std::filesystem::path& url) const;
};

// Extracts an embedded image with `exiftool -<tag> -b FILE` and decodes it. Absent when the
// file has none or it cannot be decoded; never reports an error. One caller at a time.
class EmbeddedImageReader {
 public:
  std::optional<std::string> password;

  std::optional<Image> read(const std::filesystem::path& url) const;
  // The embedded image's bytes as exiftool prints them; absent when there are none.
  std::optional<std::string> readData(const std::filesystem::path& url) const;

 protected:
  EmbeddedImageReader(std::string tagArgument, std::optional<std::string> password)
      : password(std::move(password)), tagArgument_(std::move(tagArgument)) {}

 private:
  std::string tagArgument_;
};

// The EXIF thumbnail ("-ThumbnailImage").
class ThumbnailReader final : public EmbeddedImageReader {
 public:
  explicit ThumbnailReader(std::optional<std::string> password = std::nullopt)
      : EmbeddedImageReader("-ThumbnailImage", std::move(password)) {}
};

// The preview image ("-previewimage").
class PreviewImageReader final : public EmbeddedImageReader {
 public:
  explicit PreviewImageReader(std::optional<std::string> password = std::nullopt)
      : EmbeddedImageReader("-previewimage", std::move(password)) {}
};

// The large JPEG of a raw file ("-JpgFromRaw").
class JPGFromRawReader final : public EmbeddedImageReader {
 public:
  explicit JPGFromRawReader(std::optional<std::string> password = std::nullopt)
      : EmbeddedImageReader("-JpgFromRaw", std::move(password)) {}
};

// Replaces the EXIF thumbnail of files by `thumbnail`, or removes it when there is none
// (`exiftool -ThumbnailImage= FILES...`, run even for no file). exiftool keeps its own
// "_original" backups here. Swallows every failure. One caller at a time; blocks for one
// process.
//
// A replacement writes `thumbnail` as a JPEG into the temporary folder and passes it as the one
// argument `-ThumbnailImage<=PATH` (the path as it is: no shell stands between the library and
// exiftool, so quotes would become part of the name). When the JPEG cannot be written nothing
// runs; the temporary JPEG is removed on every way out.
class ThumbnailWriter {
 public:
  std::optional<std::string> password;
  std::optional<Image> thumbnail;

  void write(const std::filesystem::path& url) const;
  void write(const std::vector<std::filesystem::path>& urls) const;
};

}  // namespace orvelin
