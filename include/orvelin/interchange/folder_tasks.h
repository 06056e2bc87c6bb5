#pragma once

// The tasks that hand whole folders or files to an outside actor: geotagging the images of a
// folder from a GPS log, printing a track of them, copying between file tags and IPTC keywords,
// and sending a file to the photo library application.

#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "orvelin/interchange/finder_tags_syncer.h"
#include "orvelin/interchange/geo_tag_folder.h"
#include "orvelin/tasks/image_tasks.h"

namespace orvelin {

class MetadataEditor;

// ---------------------------------------------------------------------------------------------
// Geotagging a folder from a GPS log.

struct GeoTagFolderImportTaskInput {
  std::shared_ptr<MetadataEditor> editor{};  // a folder's editor
  std::optional<std::filesystem::path> geoTagFileURL{};
  std::optional<std::string> geoSyncString{};  // exiftool's -geosync value ("+0:0:10", ...)
};

enum class GeoTagFolderImportTaskErrorCode {
  inputIsInvalid,
  editorIsMissing,
  notImplemented,
  inputIsNotAFolder,
  geoTagFileIsMissing,
};
// "Input is invalid", "Editor is missing", "Not implemented" (never thrown), "Input is not a
// folder", "Geo tag file is missing".
using GeoTagFolderImportTaskError = TaskError<GeoTagFolderImportTaskErrorCode>;
template <>
const char* TaskError<GeoTagFolderImportTaskErrorCode>::text(GeoTagFolderImportTaskErrorCode code);

// Writes positions from the log into the images of the editor's folder (GeoTagFolderImporter,
// with the folder editor's password, backups, recursion and extension filter), the editor locked
// for the span of the run. The checks run in this order: input, editor, log, then whether the
// editor is a folder's (before any lock).
class GeoTagFolderImportTaskItem final : public InputTaskItem<GeoTagFolderImportTaskInput> {
 public:
  explicit GeoTagFolderImportTaskItem(std::optional<GeoTagFolderImportTaskInput> input = std::nullopt);

  // The extensions of the GPS logs a host may offer: "gpx", "nmea", "rmc", "gga", "gll", "gsa",
  // "kml", "igc", "xml", "tcx", "pmgntrk", "ptnthpr", "geo", "log", "txt".
  static const std::set<std::string>& supportedGeoTagTypes();
  // The lower-cased extension of `url` is one of them (a URL without extension is none).
  static bool canApplyGeoTag(const std::filesystem::path& url);
  static bool canApplyGeoTags(const std::vector<std::filesystem::path>& urls);

  void internalProcess() override;

 protected:
  void flushInput(GeoTagFolderImportTaskInput& input) override { input.editor.reset(); }
};

class GeoTagFolderImportTasksGenerator : public TasksGenerator<GeoTagFolderImportTaskItem> {
 public:
  GeoTagFolderImportTasksGenerator() = default;
  GeoTagFolderImportTasksGenerator(std::vector<std::shared_ptr<MetadataEditor>> editors,
                                   std::optional<std::filesystem::path> geoTagFileURL,
                                   std::optional<std::string> geoSyncString)
      : editors(std::move(editors)), geoTagFileURL(std::move(geoTagFileURL)), geoSyncString(std::move(geoSyncString)) {}

  std::vector<std::shared_ptr<MetadataEditor>> editors;
  std::optional<std::filesystem::path> geoTagFileURL;
  std::optional<std::string> geoSyncString;

  std::string defaultGroupLabel() const override;  // "GeoTagFolderImportTasksGeneratorGroupLabel"
  // One task per editor, in order, with no filter.
  std::vector<std::shared_ptr<GeoTagFolderImportTaskItem>> generateTasks() const override;
};

// ---------------------------------------------------------------------------------------------
// A track of the images of a folder.

struct GeoTagFolderExportTaskInput {
  std::shared_ptr<MetadataEditor> editor{};  // a folder's editor
  std::optional<std::filesystem::path> outputURL{};
  GeoTagFolderExportFormat format = GeoTagFolderExportFormat::gpx;
};

enum class GeoTagFolderExportTaskErrorCode {
  inputIsInvalid,
  editorIsMissing,
  notImplemented,
  inputIsNotAFolder,
  missingOutputURL,
};
// "Input is invalid", "Editor is missing", "Not implemented" (never thrown), "Input is not a
// folder", "Missing output URL".
using GeoTagFolderExportTaskError = TaskError<GeoTagFolderExportTaskErrorCode>;
template <>
const char* TaskError<GeoTagFolderExportTaskErrorCode>::text(GeoTagFolderExportTaskErrorCode code);

// Prints the track of the images of the editor's folder into the output file
// (GeoTagFolderExporter), the editor locked for the span of the run. The checks run in this
// order: input, editor, whether it is a folder's, then the output URL.
class GeoTagFolderExportTaskItem final : public InputTaskItem<GeoTagFolderExportTaskInput> {
 public:
  explicit GeoTagFolderExportTaskItem(std::optional<GeoTagFolderExportTaskInput> input = std::nullopt);

  void internalProcess() override;

 protected:
  void flushInput(GeoTagFolderExportTaskInput& input) override { input.editor.reset(); }
};

class GeoTagFolderExportTasksGenerator : public TasksGenerator<GeoTagFolderExportTaskItem> {
 public:
  GeoTagFolderExportTasksGenerator() = default;
  GeoTagFolderExportTasksGenerator(std::vector<std::shared_ptr<MetadataEditor>> editors,
                                   GeoTagFolderExportFormat format, std::optional<std::filesystem::path> outputURL)
      : editors(std::move(editors)), format(format), outputURL(std::move(outputURL)) {}

  std::vector<std::shared_ptr<MetadataEditor>> editors;
  GeoTagFolderExportFormat format = GeoTagFolderExportFormat::gpx;
  std::optional<std::filesystem::path> outputURL;

  std::string defaultGroupLabel() const override;  // "GeoTagFolderExportTasksGeneratorGroupLabel"
  std::vector<std::shared_ptr<GeoTagFolderExportTaskItem>> generateTasks() const override;
};

// ---------------------------------------------------------------------------------------------
// File tags and IPTC keywords.

struct SyncFinderTagsTaskInput {
  std::shared_ptr<MetadataEditor> editor{};
  FinderTagsSyncer::Action action = FinderTagsSyncer::Action::copyFinderTagsToIPTCKeywords;
};

enum class SyncFinderTagsTaskErrorCode { inputIsInvalid, editorIsMissing };
// "Input is invalid", "Editor is missing".
using SyncFinderTagsTaskError = TaskError<SyncFinderTagsTaskErrorCode>;
template <>
const char* TaskError<SyncFinderTagsTaskErrorCode>::text(SyncFinderTagsTaskErrorCode code);

// Copies the editor's file (or the images of its folder, with the folder editor's backups,
// recursion and extension filter) one way between file tags and IPTC keywords, with the
// editor's password. No lock is taken.
class SyncFinderTagsTaskItem final : public InputTaskItem<SyncFinderTagsTaskInput> {
 public:
  explicit SyncFinderTagsTaskItem(std::optional<SyncFinderTagsTaskInput> input = std::nullopt);

  void internalProcess() override;

 protected:
  void flushInput(SyncFinderTagsTaskInput& input) override { input.editor.reset(); }
};

class SyncFinderTagsTasksGenerator : public TasksGenerator<SyncFinderTagsTaskItem> {
 public:
  SyncFinderTagsTasksGenerator() = default;
  SyncFinderTagsTasksGenerator(std::vector<std::shared_ptr<MetadataEditor>> editors, FinderTagsSyncer::Action action)
      : editors(std::move(editors)), action(action) {}

  std::vector<std::shared_ptr<MetadataEditor>> editors;
  FinderTagsSyncer::Action action = FinderTagsSyncer::Action::copyFinderTagsToIPTCKeywords;

  std::string defaultGroupLabel() const override;  // "SyncFinderTagsTasksGeneratorGroupLabel"
  std::vector<std::shared_ptr<SyncFinderTagsTaskItem>> generateTasks() const override;
};

// ---------------------------------------------------------------------------------------------
// A file sent to the photo library application.

struct ExportFileToPhotosTaskInput {
  std::optional<std::filesystem::path> url{};
};

enum class ExportFileToPhotosTaskErrorCode { inputIsInvalid, urlIsMissing, scriptFailed };
// "Input is invalid", "URL is missing", "Script failed".
using ExportFileToPhotosTaskError = TaskError<ExportFileToPhotosTaskErrorCode>;
template <>
const char* TaskError<ExportFileToPhotosTaskErrorCode>::text(ExportFileToPhotosTaskErrorCode code);

// Runs the import script of PhotosAppExporter (a delay of 2 seconds) for the one file through
// the installed ScriptRunner. Without the permission (PhotosAppAuthorizer answers false, as it
// does when no runner is installed) the task completes without doing anything; an error record
// of the script fails it with scriptFailed.
class ExportFileToPhotosTaskItem final : public InputTaskItem<ExportFileToPhotosTaskInput> {
 public:
  explicit ExportFileToPhotosTaskItem(std::optional<ExportFileToPhotosTaskInput> input = std::nullopt);

  void internalProcess() override;

 protected:
  void flushInput(ExportFileToPhotosTaskInput&) override {}  // it holds no editor
};

class ExportFileToPhotosTasksGenerator : public TasksGenerator<ExportFileToPhotosTaskItem> {
 public:
  ExportFileToPhotosTasksGenerator() = default;
  explicit ExportFileToPhotosTasksGenerator(std::vector<std::filesystem::path> urls) : urls(std::move(urls)) {}

  std::vector<std::filesystem::path> urls;

  std::string defaultGroupLabel() const override;  // "ExportFileToPhotosTasksGeneratorGroupLabel"
  std::vector<std::shared_ptr<ExportFileToPhotosTaskItem>> generateTasks() const override;
};

}  // namespace orvelin
