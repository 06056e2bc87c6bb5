#include "orvelin/imageservice/image.h"

#include <vips/vips.h>

#include <memory>
#include <string>

#include "orvelin/support/debug_log.h"
#include "orvelin/support/files.h"

namespace orvelin {

namespace {

// Starts libvips once. A host that started it already keeps its own settings: the library
// changes none of libvips's process-wide state (operation cache, worker threads).
bool initialiseVips() {
  static const bool initialised = VIPS_INIT("orvelin") == 0;
  return initialised;
}

// Takes the text of libvips's error buffer and empties it, in one step under libvips's own
// lock, so that two threads failing at once never read the buffer while the other clears it.
// The buffer is the process's: under simultaneous failures it may also hold another thread's
// message, which only lengthens a printed line.
std::string takeVipsError() {
  std::unique_ptr<char, decltype(&g_free)> text(vips_error_buffer_copy(), &g_free);
  std::string message = text ? text.get() : "";
  while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.pop_back();
  return message;
}

// Owns one reference to a GObject of libvips (an image, a source).
template <typename T>
class ObjectReference {
 public:
  explicit ObjectReference(T* object = nullptr) : object_(object) {}
  ObjectReference(const ObjectReference&) = delete;
  ObjectReference& operator=(const ObjectReference&) = delete;
  ObjectReference(ObjectReference&& other) noexcept : object_(other.object_) { other.object_ = nullptr; }
  ObjectReference& operator=(ObjectReference&& other) noexcept {
    if (this != &other) {
      if (object_) g_object_unref(object_);
      object_ = other.object_;
      other.object_ = nullptr;
    }
    return *this;
  }
  ~ObjectReference() {
    if (object_) g_object_unref(object_);
  }
  T* get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  T* object_;
};

// Memory that libvips allocated with g_malloc.
using GBuffer = std::unique_ptr<void, decltype(&g_free)>;

}  // namespace

struct Image::Impl {
  ObjectReference<VipsImage> pixels;  // decoded into memory
};

namespace {

// Takes over the reference `made` (null after a failed libvips call) and decodes its image
// fully into memory, so that a broken file fails here and not later.
std::shared_ptr<const Image::Impl> intoMemory(VipsImage* made) {
  ObjectReference<VipsImage> lazy(made);
  if (!lazy) {
    takeVipsError();
    return nullptr;
  }
  ObjectReference<VipsImage> decoded(vips_image_copy_memory(lazy.get()));
  if (!decoded) {
    takeVipsError();
    return nullptr;
  }
  auto impl = std::make_shared<Image::Impl>();
  impl->pixels = std::move(decoded);
  return impl;
}

// Every load goes through a source made for the call: libvips never caches loads from
// sources, so a file that changed is decoded anew and nothing of the call stays behind in
// libvips's cache (no open file, no reference to the caller's bytes).
ObjectReference<VipsSource> fileSource(const std::filesystem::path& url) {
  ObjectReference<VipsSource> source(vips_source_new_from_file(url.c_str()));
  if (!source) takeVipsError();
  return source;
}

std::shared_ptr<const Image::Impl> decodeSource(const ObjectReference<VipsSource>& source) {
  if (!source) return nullptr;
  return intoMemory(vips_image_new_from_source(source.get(), "", nullptr));
}

}  // namespace

std::optional<Image> Image::make(std::shared_ptr<const Impl> impl) {
  if (!impl) return std::nullopt;
  return Image(std::move(impl));
}

std::optional<Image> Image::decode(std::string_view bytes) {
  if (bytes.empty() || !initialiseVips()) return std::nullopt;
  // The source reads `bytes` in place; the decode into memory ends before this returns.
  ObjectReference<VipsSource> source(vips_source_new_from_memory(bytes.data(), bytes.size()));
  if (!source) takeVipsError();
  return make(decodeSource(source));
}

std::optional<Image> Image::decodeFile(const std::filesystem::path& url) {
  if (!initialiseVips()) return std::nullopt;
  return make(decodeSource(fileSource(url)));
}

std::optional<Image> Image::thumbnail(const std::filesystem::path& url, int maxEdge) {
  if (!initialiseVips() || maxEdge <= 0) return std::nullopt;
  const auto source = fileSource(url);
  if (!source) return std::nullopt;
  VipsImage* made = nullptr;
  if (vips_thumbnail_source(source.get(), &made, maxEdge, "size", VIPS_SIZE_DOWN, nullptr) != 0) made = nullptr;
  return make(intoMemory(made));
}

int Image::width() const { return vips_image_get_width(impl_->pixels.get()); }
int Image::height() const { return vips_image_get_height(impl_->pixels.get()); }
int Image::bands() const { return vips_image_get_bands(impl_->pixels.get()); }

std::string Image::pixelData() const {
  size_t length = 0;
  GBuffer buffer(vips_image_write_to_memory(impl_->pixels.get(), &length), &g_free);
  if (!buffer) {
    ORVPrint("Image pixels cannot be read: " + takeVipsError());
    return std::string();
  }
  return std::string(static_cast<const char*>(buffer.get()), length);
}

std::optional<std::string> Image::jpegData() const {
  void* bytes = nullptr;
  size_t length = 0;
  if (vips_jpegsave_buffer(impl_->pixels.get(), &bytes, &length, "Q", 100, nullptr) != 0) {
    ORVPrint("JPEG encoding failed: " + takeVipsError());
    return std::nullopt;
  }
  GBuffer buffer(bytes, &g_free);
  return std::string(static_cast<const char*>(buffer.get()), length);
}

bool Image::writeAsJPEG(const std::filesystem::path& url) const {
  std::error_code error;
  const auto folder = url.parent_path();
  if (url.filename().empty() || !std::filesystem::is_directory(folder.empty() ? "." : folder, error)) {
    ORVPrint("JPEG destination cannot be created at " + url.string());
    return false;
  }
  const auto data = jpegData();
  if (!data) return false;
  if (!writeFileAtomically(url, *data)) {
    ORVPrint("JPEG destination cannot be written at " + url.string());
    return false;
  }
  return true;
}

}  // namespace orvelin
