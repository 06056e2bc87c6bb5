#include "orvelin/imageservice/image.h"

#include <vips/vips.h>

#include <cstdio>
#include <mutex>
#include <string>

namespace orvelin {

namespace {

bool initialiseVips() {
  static const bool initialised = [] {
    if (VIPS_INIT("orvelin") != 0) return false;
    // Small images, many threads of our own: no operation cache, no extra workers per call.
    vips_cache_set_max(0);
    vips_concurrency_set(1);
    return true;
  }();
  return initialised;
}

// Owns one VipsImage reference.
struct VipsImagePointer {
  VipsImage* image = nullptr;
  explicit VipsImagePointer(VipsImage* image = nullptr) : image(image) {}
  VipsImagePointer(const VipsImagePointer&) = delete;
  VipsImagePointer& operator=(const VipsImagePointer&) = delete;
  VipsImagePointer(VipsImagePointer&& other) noexcept : image(other.image) { other.image = nullptr; }
  ~VipsImagePointer() {
    if (image) g_object_unref(image);
  }
};

}  // namespace

struct Image::Impl {
  VipsImagePointer pixels;  // decoded into memory
};

namespace {

// Decodes `source` fully into memory, so that a broken file fails here and not later.
std::shared_ptr<const Image::Impl> intoMemory(VipsImage* source) {
  VipsImagePointer lazy(source);
  if (!lazy.image) {
    vips_error_clear();
    return nullptr;
  }
  VipsImage* decoded = vips_image_copy_memory(lazy.image);
  if (!decoded) {
    vips_error_clear();
    return nullptr;
  }
  auto impl = std::make_shared<Image::Impl>();
  impl->pixels.image = decoded;
  return impl;
}

}  // namespace

std::optional<Image> Image::decode(std::string_view bytes) {
  if (bytes.empty() || !initialiseVips()) return std::nullopt;
  // The buffer is read while decoding into memory, which happens before this returns.
  auto impl = intoMemory(vips_image_new_from_buffer(bytes.data(), bytes.size(), "", nullptr));
  if (!impl) return std::nullopt;
  return Image(std::move(impl));
}

std::optional<Image> Image::decodeFile(const std::filesystem::path& url) {
  if (!initialiseVips()) return std::nullopt;
  auto impl = intoMemory(vips_image_new_from_file(url.c_str(), nullptr));
  if (!impl) return std::nullopt;
  return Image(std::move(impl));
}

std::optional<Image> Image::thumbnail(const std::filesystem::path& url, int maxEdge) {
  if (!initialiseVips() || maxEdge <= 0) return std::nullopt;
  VipsImage* thumb = nullptr;
  if (vips_thumbnail(url.c_str(), &thumb, maxEdge, "size", VIPS_SIZE_DOWN, nullptr) != 0) {
    vips_error_clear();
    return std::nullopt;
  }
  auto impl = intoMemory(thumb);
  if (!impl) return std::nullopt;
  return Image(std::move(impl));
}

int Image::width() const { return vips_image_get_width(impl_->pixels.image); }
int Image::height() const { return vips_image_get_height(impl_->pixels.image); }
int Image::bands() const { return vips_image_get_bands(impl_->pixels.image); }

std::string Image::pixelData() const {
  // The image was copied into memory when it was made: its pixels are one block, read here
  // without touching the image.
  VipsImage* image = impl_->pixels.image;
  if (!image->data) return std::string();
  return std::string(reinterpret_cast<const char*>(image->data), VIPS_IMAGE_SIZEOF_IMAGE(image));
}

std::optional<std::string> Image::jpegData() const {
  void* buffer = nullptr;
  size_t length = 0;
  if (vips_jpegsave_buffer(impl_->pixels.image, &buffer, &length, "Q", 100, nullptr) != 0) {
    std::fprintf(stderr, "JPEG encoding failed: %s\n", vips_error_buffer());
    vips_error_clear();
    return std::nullopt;
  }
  std::string data(static_cast<const char*>(buffer), length);
  g_free(buffer);
  return data;
}

bool Image::writeAsJPEG(const std::filesystem::path& url) const {
  if (vips_jpegsave(impl_->pixels.image, url.c_str(), "Q", 100, nullptr) != 0) {
    std::fprintf(stderr, "JPEG destination at %s cannot be written: %s\n", url.c_str(), vips_error_buffer());
    vips_error_clear();
    return false;
  }
  return true;
}

}  // namespace orvelin
