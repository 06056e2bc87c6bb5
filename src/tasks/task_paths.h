#pragma once

// How the tasks read the URLs they are given: the last path component (a folder URL may end
// with "/"), and its extension, as a URL would tell them.

#include <filesystem>
#include <optional>
#include <string>

#include "orvelin/support/string_extensions.h"

namespace orvelin::tasks {

// The last component of `path`, trailing separators ignored: "/a/album/" gives "album". The
// root gives "/"; an empty path gives "".
inline std::string lastPathComponent(const std::filesystem::path& path) {
  const auto& text = path.native();
  const auto end = text.find_last_not_of('/');
  if (end == std::string::npos) return text.empty() ? std::string() : std::string("/");
  const auto separator = text.rfind('/', end);
  const auto first = separator == std::string::npos ? 0 : separator + 1;
  return text.substr(first, end + 1 - first);
}

// The extension of the last component, lower-cased and without its dot; "" when it has none
// ("notes", ".hidden", "name.").
inline std::string lowercasedPathExtension(const std::filesystem::path& path) {
  auto extension = std::filesystem::path(lastPathComponent(path)).extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  return asciiLowercased(extension);
}

// The path of `url` as text; absent without URL.
inline std::optional<std::string> pathText(const std::optional<std::filesystem::path>& url) {
  if (!url) return std::nullopt;
  return url->string();
}

}  // namespace orvelin::tasks
