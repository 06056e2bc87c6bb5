#include "orvelin/support/resources.h"

#include <dlfcn.h>

#include <cstdlib>

#include "orvelin/version.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {

bool looksLikeResources(const fs::path& folder) {
  std::error_code error;
  return fs::exists(folder / "ExifTool" / "orvperl.sh", error);
}

fs::path findResourcesDirectory() {
  if (const char* env = std::getenv("ORVELIN_RESOURCES"); env && *env) return fs::path(env);
  Dl_info info{};
  if (::dladdr(reinterpret_cast<void*>(&ORVResourcesDirectory), &info) != 0 && info.dli_fname) {
    std::error_code error;
    const auto library = fs::weakly_canonical(fs::path(info.dli_fname), error);
    if (!error) {
      const auto candidate = (library.parent_path() / ORVELIN_LIBRARY_TO_RESOURCES).lexically_normal();
      if (looksLikeResources(candidate)) return candidate;
    }
  }
  return fs::path(ORVELIN_BUILD_RESOURCES_DIR);
}

}  // namespace

const fs::path& ORVResourcesDirectory() {
  static const auto* const directory = new fs::path(findResourcesDirectory());  // never destroyed
  return *directory;
}

std::optional<fs::path> ORVResourceURL(std::string_view name) {
  auto path = ORVResourcesDirectory() / fs::path(name);
  std::error_code error;
  if (!fs::exists(path, error)) return std::nullopt;
  return path;
}

std::string ORVBundleLabel(std::string_view className, std::string_view name) {
  std::string label = "Optional(\"" ORVELIN_IDENTIFIER "\")";
  label.append(".").append(className).append(".").append(name);
  return label;
}

const std::map<std::string, std::string>& ORVBundleInfo() {
  static const auto* const info = new std::map<std::string, std::string>{
      {"CFBundleName", ORVELIN_NAME},
      {"CFBundleIdentifier", ORVELIN_IDENTIFIER},
      {"CFBundleExecutable", "liborvelin.so"},
      {"CFBundleVersion", ORVELIN_VERSION},
      {"CFBundleShortVersionString", ORVELIN_VERSION},
  };
  return *info;
}

}  // namespace orvelin
