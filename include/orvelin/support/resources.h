#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace orvelin {

// The folder of the library's resources (ExifTool/, the string tables, the JSON resources and
// the catalogue). Found once, in this order: $ORVELIN_RESOURCES when set; the installed
// <datadir>/orvelin, reached from the folder of the loaded library by the relative path
// between the two that the build worked out (so any prefix and library folder, such as
// lib/x86_64-linux-gnu, and a moved installation work; the build tree has the same layout);
// the build tree's folder compiled into the library.
// Safe for concurrent use. The result never changes after the first call.
const std::filesystem::path& ORVResourcesDirectory();

// The path of a resource: ORVResourcesDirectory() / name. Absent when no such file exists.
std::optional<std::filesystem::path> ORVResourceURL(std::string_view name);

// Label for queues and similar objects: the library's bundle identifier described as an
// optional, the class name and `name`, joined by ".":
// 'Optional("org.orvelin.Orvelin").TagsResourcesReader.operationQueue'.
std::string ORVBundleLabel(std::string_view className, std::string_view name);

// Name and version of the library as given at build time (CFBundleName, CFBundleVersion...).
// Keys: "CFBundleName", "CFBundleIdentifier", "CFBundleExecutable", "CFBundleVersion",
// "CFBundleLongVersionString", "CFBundleShortVersionString".
const std::map<std::string, std::string>& ORVBundleInfo();

}  // namespace orvelin
