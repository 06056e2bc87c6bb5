#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orvelin {

// A decoded image (through libvips). Immutable; copies share the pixels; safe to share between
// threads, and every operation may be called from any thread at the same time.
//
// libvips is started on first use (or left as a host started it). The library changes none of
// libvips's process-wide settings: its operation cache and its number of worker threads
// (VIPS_CONCURRENCY) stay the host's. Loads are never answered from libvips's cache, so a file
// that changed on disk is decoded anew. Failures answer absent or false and print one line on
// the library's console (ORVPrint) where the operation says so; they never throw.
class Image {
 public:
  // Decodes an image file held in memory (JPEG, PNG, TIFF, WebP, HEIF, ...). Absent when the
  // bytes are no image libvips can decode; the bytes are not kept.
  static std::optional<Image> decode(std::string_view bytes);
  // Decodes the file at `url`.
  static std::optional<Image> decodeFile(const std::filesystem::path& url);
  // A thumbnail of the image file at `url`: turned upright by its orientation, its longer edge
  // at most `maxEdge` pixels (never enlarged). Absent when the file is no decodable image.
  static std::optional<Image> thumbnail(const std::filesystem::path& url, int maxEdge = 300);

  int width() const;
  int height() const;
  int bands() const;
  // A copy of the decoded pixels: rows from the top, bands interleaved, in the image's own
  // sample format. Two images with equal pixel data show the same picture.
  std::string pixelData() const;

  // Writes the image as a JPEG of quality 100, atomically: either the whole file is at `url` or
  // `url` is as it was. False, with a printed line, when the folder of `url` does not exist or
  // the file cannot be written.
  bool writeAsJPEG(const std::filesystem::path& url) const;
  // The image as JPEG bytes of quality 100; absent, with a printed line, on failure.
  std::optional<std::string> jpegData() const;

  struct Impl;

 private:
  explicit Image(std::shared_ptr<const Impl> impl) : impl_(std::move(impl)) {}
  // Absent for a null `impl`.
  static std::optional<Image> make(std::shared_ptr<const Impl> impl);
  std::shared_ptr<const Impl> impl_;
};

}  // namespace orvelin
