// `orvelin geotag`, `orvelin track`, `orvelin locations`, `orvelin file-tags` and
// `orvelin photos-script`: folders and files handed to exiftool's geotagging, to the file tags,
// and to the photo library's scripts.

#include <cstdio>
#include <filesystem>
#include <set>
#include <string_view>

#include "batch.h"
#include "commands.h"
#include "save_targets.h"
#include "set_edits.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/interchange/location_reader.h"
#include "orvelin/interchange/photos_app.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/interchange/folder_tasks.h"
#include "orvelin/values/coordinate_parser.h"
#include "orvelin/values/date_values.h"

namespace orvelin::tool {

namespace fs = std::filesystem;

namespace {

std::string joinedWithCommas(const std::set<std::string>& texts) {
  std::string joined;
  for (const auto& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

// The editor of the folder at `path`, which must be one (a folder's name may hold a dot).
std::shared_ptr<ETFolderMetadataEditor> folderEditor(const std::string& path) {
  std::error_code error;
  if (!fs::is_directory(path, error)) {
    reportFailure(path, "Input is not a folder");
    return nullptr;
  }
  return readImageFolder(MetadataETReader(), fs::absolute(path));
}

// Runs the one task of `generator` and tells its outcome: "PATH: DONE" or, on standard error,
// "PATH: ERROR". 1 when it failed.
template <typename Task, typename Generator>
int runOne(const Generator& generator, const std::string& path, const std::string& done, bool quiet) {
  int status = 0;
  runTasks<Task>(generator, quiet, [&](std::size_t, const Task& task) {
    if (task.status() == TaskStatus::completed) {
      std::printf("%s: %s\n", path.c_str(), done.c_str());
    } else {
      reportFailure(path, failureText(task));
      status = 1;
    }
  });
  std::fflush(stdout);
  return status;
}

struct GeotagOptions {
  std::string folder;
  std::string log;
  std::optional<std::string> sync;
  bool backup = false;
  bool noRecurse = false;
  std::optional<std::string> extension;
  bool quiet = false;
};

int geotag(const GeotagOptions& options) {
  if (!GeoTagFolderImportTaskItem::canApplyGeoTag(options.log)) {
    std::fprintf(stderr, "orvelin: %s is no GPS log exiftool reads (%s)\n", options.log.c_str(),
                 joinedWithCommas(GeoTagFolderImportTaskItem::supportedGeoTagTypes()).c_str());
    return 2;
  }
  std::error_code error;
  if (!fs::is_regular_file(options.log, error)) {
    reportFailure(options.log, "no such GPS log");
    return 1;
  }
  const auto folder = folderEditor(options.folder);
  if (!folder) return 1;
  folder->createBackupFiles = options.backup;
  folder->recurseSubfolders = !options.noRecurse;
  folder->filterPathExtension = options.extension;
  return runOne<GeoTagFolderImportTaskItem>(
      GeoTagFolderImportTasksGenerator({folder}, fs::absolute(options.log), options.sync), options.folder,
      "positions of " + options.log + " written where the images' dates match", options.quiet);
}

struct TrackOptions {
  std::string folder;
  std::string format = "gpx";
  std::string output;
  bool quiet = false;
};

int track(const TrackOptions& options) {
  const auto format = geoTagFolderExportFormatFromRawValue(asciiLowercased(options.format));
  if (!format) {
    std::fprintf(stderr, "orvelin: unknown track format %s (gpx, kml)\n", options.format.c_str());
    return 2;
  }
  const auto folder = folderEditor(options.folder);
  if (!folder) return 1;
  return runOne<GeoTagFolderExportTaskItem>(
      GeoTagFolderExportTasksGenerator({folder}, *format, fs::absolute(options.output)), options.folder,
      fs::absolute(options.output).string(), options.quiet);
}

// One line per file, in one exiftool run: "PATH: LAT, LON" in signed decimal degrees, or
// "PATH: none".
int locations(const std::vector<std::string>& files) {
  std::vector<fs::path> urls(files.begin(), files.end());
  std::vector<std::optional<Location>> found;
  try {
    found = LocationReader().read(urls);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "orvelin: %s\n", error.what());
    return 1;
  }
  for (std::size_t i = 0; i < files.size(); ++i) {
    const auto& location = i < found.size() ? found[i] : std::nullopt;
    if (location)
      std::printf("%s: %.6f, %.6f\n", files[i].c_str(), location->latitude, location->longitude);
    else
      std::printf("%s: none\n", files[i].c_str());
  }
  std::fflush(stdout);
  return 0;
}

struct FileTagsOptions {
  std::vector<std::string> files;
  bool toKeywords = false;
  bool fromKeywords = false;
  bool quiet = false;
};

int fileTags(const FileTagsOptions& options) {
  if (!loadCatalogue()) return 1;
  const auto action = options.fromKeywords ? FinderTagsSyncer::Action::copyIPTCKeywordsToFinderTags
                                           : FinderTagsSyncer::Action::copyFinderTagsToIPTCKeywords;
  const char* done = options.fromKeywords ? "IPTC:Keywords added to the file tags" : "file tags added to IPTC:Keywords";
  auto targets = importTargets(options.files, options.quiet);
  return runPerTarget<SyncFinderTagsTaskItem>(targets, SyncFinderTagsTasksGenerator({}, action), options.quiet,
                                              [done](const SyncFinderTagsTaskItem&) { return std::string(done); });
}

struct PhotosScriptOptions {
  int delay = 2;
  std::optional<std::string> keywords;
  std::optional<std::string> description;
  std::optional<std::string> date;
  std::optional<std::string> gps;
  bool originalName = false;
  std::optional<std::string> filename;
  std::vector<std::string> imports;
};

// The script that a host would run: the import of files (--import), else the edit of the
// pictures selected in the application.
int photosScript(const PhotosScriptOptions& options) {
  if (!options.imports.empty()) {
    std::vector<fs::path> urls;
    for (const auto& file : options.imports) urls.push_back(fs::absolute(file));
    std::fputs(PhotosAppExporter(options.delay, urls).generateScript().c_str(), stdout);
    return 0;
  }
  PhotosAppRemote remote(options.delay);
  if (options.originalName) remote.useOriginalName = true;
  remote.customFilename = options.filename;
  if (options.keywords) remote.keywords = splitTags(*options.keywords);
  remote.description = options.description;
  if (options.date) {
    int year = 0, month = 0, day = 0;
    char end = 0;
    if (std::sscanf(options.date->c_str(), "%d:%d:%d%c", &year, &month, &day, &end) == 3 && month >= 1 &&
        month <= 12 && day >= 1 && day <= 31)
      remote.date = DateComponents{year, month, day, 0, 0, 0}.date();
    if (!remote.date) {
      std::fprintf(stderr, "orvelin: --date %s: no date as YYYY:MM:DD\n", options.date->c_str());
      return 2;
    }
  }
  if (options.gps) {
    const auto coordinate = CoordinateParser().coordinate(*options.gps);
    if (!coordinate) {
      std::fprintf(stderr, "orvelin: --gps %s: no position in any of the notations\n", options.gps->c_str());
      return 2;
    }
    remote.latitude = coordinate->latitude.value;
    remote.longitude = coordinate->longitude.value;
  }
  std::fputs(remote.generateScript().c_str(), stdout);
  return 0;
}

}  // namespace

void addFolderCommands(CLI::App& app, Outcome& outcome) {
  auto geotagOptions = std::make_shared<GeotagOptions>();
  auto* geotagCommand = app.add_subcommand("geotag", "Write positions from a GPS log into the images of a folder");
  geotagCommand->add_option("FOLDER", geotagOptions->folder, "The folder of images")->required();
  geotagCommand->add_option("--log", geotagOptions->log, "TRACK: the GPS log (gpx, kml, nmea, log, ...)")->required();
  geotagCommand->add_option("--sync", geotagOptions->sync,
                            "TEXT: the time difference between the camera and the log, as exiftool's -geosync "
                            "takes it (\"+0:0:10\", \"-1:00:00\")");
  geotagCommand->add_flag("--backup", geotagOptions->backup, "Keep exiftool's \"_original\" copies of the images");
  geotagCommand->add_flag("--no-recurse", geotagOptions->noRecurse, "Leave the subfolders alone");
  geotagCommand->add_option("--ext", geotagOptions->extension, "EXT: only the images of this extension");
  geotagCommand->add_flag("--quiet", geotagOptions->quiet, "Show no progress line");
  geotagCommand->callback([&outcome, geotagOptions] { outcome.run = [geotagOptions] { return geotag(*geotagOptions); }; });

  auto trackOptions = std::make_shared<TrackOptions>();
  auto* trackCommand = app.add_subcommand("track", "Write a GPX or KML track of the images of a folder");
  trackCommand->add_option("FOLDER", trackOptions->folder, "The folder of images")->required();
  trackCommand->add_option("--format", trackOptions->format, "gpx|kml (gpx by default)");
  trackCommand->add_option("--to", trackOptions->output, "FILE: the track to write")->required();
  trackCommand->add_flag("--quiet", trackOptions->quiet, "Show no progress line");
  trackCommand->callback([&outcome, trackOptions] { outcome.run = [trackOptions] { return track(*trackOptions); }; });

  auto files = std::make_shared<std::vector<std::string>>();
  auto* locationsCommand = app.add_subcommand("locations", "Print the GPS position of files, in one exiftool run");
  locationsCommand->add_option("FILE", *files, "Files")->required();
  locationsCommand->callback([&outcome, files] { outcome.run = [files] { return locations(*files); }; });

  auto tagsOptions = std::make_shared<FileTagsOptions>();
  auto* tagsCommand = app.add_subcommand(
      "file-tags", "Copy between the file tags (user.xdg.tags) and IPTC:Keywords, adding to what is there");
  tagsCommand->add_option("FILE", tagsOptions->files, "Files, or folders (a path without extension)")->required();
  auto* to = tagsCommand->add_flag("--to-keywords", tagsOptions->toKeywords, "Add the file tags to the keywords (default)");
  tagsCommand->add_flag("--from-keywords", tagsOptions->fromKeywords, "Add the keywords to the file tags")->excludes(to);
  tagsCommand->add_flag("--quiet", tagsOptions->quiet, "Show no progress line");
  tagsCommand->callback([&outcome, tagsOptions] { outcome.run = [tagsOptions] { return fileTags(*tagsOptions); }; });

  auto scriptOptions = std::make_shared<PhotosScriptOptions>();
  auto* scriptCommand =
      app.add_subcommand("photos-script", "Print the script that edits the selected pictures of Photos, or imports files");
  scriptCommand->add_option("--delay", scriptOptions->delay, "SECONDS to wait for the application (2 by default)");
  scriptCommand->add_option("--keywords", scriptOptions->keywords, "a,b,...: the keywords to set");
  scriptCommand->add_option("--description", scriptOptions->description, "TEXT: the description to set");
  scriptCommand->add_option("--date", scriptOptions->date, "YYYY:MM:DD: the day to set");
  scriptCommand->add_option("--gps", scriptOptions->gps, "LAT,LON: the position to set (any notation of `set --gps`)");
  scriptCommand->add_flag("--original-name", scriptOptions->originalName, "Name each picture after its file");
  scriptCommand->add_option("--name", scriptOptions->filename, "TEXT: the name to give each picture");
  scriptCommand->add_option("--import", scriptOptions->imports, "FILE...: print the import script of these files instead");
  scriptCommand->callback(
      [&outcome, scriptOptions] { outcome.run = [scriptOptions] { return photosScript(*scriptOptions); }; });
}

}  // namespace orvelin::tool
