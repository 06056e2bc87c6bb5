#include "orvelin/interchange/geo_tag_folder.h"

#include <system_error>

#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/file_system.h"
#include "orvelin/support/resources.h"

namespace orvelin {

namespace {

// The options shared by the importer and the exporter.
template <typename Syncer>
ExifToolCLI makeCLI(const Syncer& syncer) {
  ExifToolCLI cli;
  cli.password = syncer.password;
  cli.recurseSubfolders = syncer.recurseSubfolders;
  cli.filterPathExtension = syncer.filterPathExtension;
  cli.overwriteInPlace = syncer.overwriteInPlace;
  return cli;
}

void appendPaths(std::vector<std::string>& arguments, const std::vector<std::filesystem::path>& urls) {
  for (const auto& url : urls) arguments.push_back(url.string());
}

}  // namespace

const char* GeoTagFolderImporterError::text(Code code) {
  switch (code) {
    case Code::unknownAction: return "Unknown action";
  }
  return "";
}

const char* GeoTagFolderExporterError::text(Code code) {
  switch (code) {
    case Code::unknownAction: return "Unknown action";
    case Code::notFoundFormatFile: return "Not found format file";
  }
  return "";
}

void GeoTagFolderImporter::sync(const std::filesystem::path& url) { sync(std::vector<std::filesystem::path>{url}); }

void GeoTagFolderImporter::sync(const std::vector<std::filesystem::path>& urls) {
  // " -P" (with its blank) reaches exiftool as the name of a file that does not exist: it
  // reports it on standard error and geotags the others.
  std::vector<std::string> arguments{"-geotag", geoTagFileURL.string(), "-geosync=" + geoSyncString.value_or(""),
                                     "-geotime<DateTimeOriginal", " -P"};
  appendPaths(arguments, urls);
  makeCLI(*this).run(arguments);
}

std::string_view rawValue(GeoTagFolderExportFormat format) {
  switch (format) {
    case GeoTagFolderExportFormat::gpx: return "gpx";
    case GeoTagFolderExportFormat::kml: return "kml";
  }
  return "";
}

std::optional<GeoTagFolderExportFormat> geoTagFolderExportFormatFromRawValue(std::string_view rawValue) {
  for (const auto format : {GeoTagFolderExportFormat::gpx, GeoTagFolderExportFormat::kml})
    if (orvelin::rawValue(format) == rawValue) return format;
  return std::nullopt;
}

std::optional<std::filesystem::path> formatFileURL(GeoTagFolderExportFormat format) {
  return ORVResourceURL(std::string(rawValue(format)) + ".fmt");
}

void GeoTagFolderExporter::sync(const std::filesystem::path& url, const std::filesystem::path& to) {
  sync(std::vector<std::filesystem::path>{url}, to);
}

void GeoTagFolderExporter::sync(const std::vector<std::filesystem::path>& urls, const std::filesystem::path& to) {
  const auto formatFile = formatFileURL(format);
  if (!formatFile) throw GeoTagFolderExporterError(GeoTagFolderExporterError::Code::notFoundFormatFile);
  std::vector<std::string> arguments{"-p", formatFile->string()};
  appendPaths(arguments, urls);
  auto cli = makeCLI(*this);
  cli.run(arguments);
  const auto& output = cli.stdOutData();
  if (!output || output->empty()) return;
  std::error_code error;
  ORVGetFileSystem()->writeFile(to, *output, true, error);
  if (error) throw std::filesystem::filesystem_error("cannot write the track", to, error);
}

}  // namespace orvelin
