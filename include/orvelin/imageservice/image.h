#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orvelin {

// A decoded image (through libvips). Immutable; copies share the pixels; safe to share between
// threads.
class Image {
 public:
  // Decodes an image file held in memory (JPEG, PNG, TIFF, WebP, HEIF, ...). Absent when the
  // bytes are no image libvips can decode.
  static std::optional<Image> decode(std::string_view bytes);
  // Decodes the file at `url`.
  static std::optional<Image> decodeFile(const std::filesystem::path& url);
  // A thumbnail of the image file at `url`: turned upright by its orientation, its longer edge
  // at most `maxEdge` pixels (never enlarged). Absent when the file is no decodable image.
  static std::optional<Image> thumbnail(const std::filesystem::path& url, int maxEdge = 300);

  int width() const;
  int height() const;
  int bands() const;
  // The decoded pixels as they lie in memory: rows from the top, bands interleaved, in the
  // image's own sample format. Two images with equal pixel data show the same picture.
  std::string pixelData() const;

  // Writes the image as a JPEG of quality 100. False, with a line on standard error, when the
  // file cannot be written.
  bool writeAsJPEG(const std::filesystem::path& url) const;
  // The image as JPEG bytes of quality 100; absent on failure.
  std::optional<std::string> jpegData() const;

  struct Impl;

 private:
  explicit Image(std::shared_ptr<const Impl> impl) : impl_(std::move(impl)) {}
  std::shared_ptr<const Impl> impl_;
};

}  // namespace orvelin
