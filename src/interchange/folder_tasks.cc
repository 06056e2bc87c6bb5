#include "orvelin/interchange/folder_tasks.h"

#include <algorithm>

#include "orvelin/editor/et_editors.h"
#include "orvelin/interchange/photos_app.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/parallel.h"
#include "orvelin/support/script_runner.h"
#include "tasks/editor_lock.h"
#include "tasks/task_paths.h"

namespace orvelin {

namespace fs = std::filesystem;

template <>
const char* TaskError<GeoTagFolderImportTaskErrorCode>::text(GeoTagFolderImportTaskErrorCode code) {
  using enum GeoTagFolderImportTaskErrorCode;
  switch (code) {
    case inputIsInvalid: return "Input is invalid";
    case editorIsMissing: return "Editor is missing";
    case notImplemented: return "Not implemented";
    case inputIsNotAFolder: return "Input is not a folder";
    case geoTagFileIsMissing: return "Geo tag file is missing";
  }
  return "";
}

template <>
const char* TaskError<GeoTagFolderExportTaskErrorCode>::text(GeoTagFolderExportTaskErrorCode code) {
  using enum GeoTagFolderExportTaskErrorCode;
  switch (code) {
    case inputIsInvalid: return "Input is invalid";
    case editorIsMissing: return "Editor is missing";
    case notImplemented: return "Not implemented";
    case inputIsNotAFolder: return "Input is not a folder";
    case missingOutputURL: return "Missing output URL";
  }
  return "";
}

template <>
const char* TaskError<SyncFinderTagsTaskErrorCode>::text(SyncFinderTagsTaskErrorCode code) {
  using enum SyncFinderTagsTaskErrorCode;
  switch (code) {
    case inputIsInvalid: return "Input is invalid";
    case editorIsMissing: return "Editor is missing";
  }
  return "";
}

template <>
const char* TaskError<ExportFileToPhotosTaskErrorCode>::text(ExportFileToPhotosTaskErrorCode code) {
  using enum ExportFileToPhotosTaskErrorCode;
  switch (code) {
    case inputIsInvalid: return "Input is invalid";
    case urlIsMissing: return "URL is missing";
    case scriptFailed: return "Script failed";
  }
  return "";
}

namespace {

// A driver of exiftool over a folder takes the folder editor's settings: its password, its
// backups (no backup: in place), its recursion and its extension filter.
template <typename Driver>
void takeFolderSettings(Driver& driver, const ETFolderMetadataEditor& folder) {
  driver.password = folder.password();
  driver.overwriteInPlace = !folder.createBackupFiles;
  driver.recurseSubfolders = folder.recurseSubfolders;
  driver.filterPathExtension = folder.filterPathExtension;
}

// One task per element of `elements`, in order, with no filter.
template <typename Task, typename Element, typename MakeInput>
std::vector<std::shared_ptr<Task>> oneTaskEach(const std::vector<Element>& elements, MakeInput&& makeInput) {
  return pMap(elements, [&](const Element& element) { return std::make_shared<Task>(makeInput(element)); });
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Geotag import

GeoTagFolderImportTaskItem::GeoTagFolderImportTaskItem(std::optional<GeoTagFolderImportTaskInput> input)
    : InputTaskItem(input, input ? urlOf(input->editor) : std::nullopt, "GeoTagFolderImport") {}

const std::set<std::string>& GeoTagFolderImportTaskItem::supportedGeoTagTypes() {
  static const std::set<std::string> types{"gpx", "nmea", "rmc", "gga",     "gll",     "gsa", "kml", "igc",
                                           "xml", "tcx",  "pmgntrk", "ptnthpr", "geo", "log", "txt"};
  return types;
}

bool GeoTagFolderImportTaskItem::canApplyGeoTag(const fs::path& url) {
  const auto extension = tasks::lowercasedPathExtension(url);
  return !extension.empty() && supportedGeoTagTypes().contains(extension);
}

bool GeoTagFolderImportTaskItem::canApplyGeoTags(const std::vector<fs::path>& urls) {
  return std::any_of(urls.begin(), urls.end(), [](const auto& url) { return canApplyGeoTag(url); });
}

void GeoTagFolderImportTaskItem::internalProcess() {
  using enum GeoTagFolderImportTaskErrorCode;
  const auto input = this->input();
  if (!input) throw GeoTagFolderImportTaskError(inputIsInvalid);
  if (!input->editor) throw GeoTagFolderImportTaskError(editorIsMissing);
  if (!input->geoTagFileURL) throw GeoTagFolderImportTaskError(geoTagFileIsMissing);
  const auto* folder = dynamic_cast<const ETFolderMetadataEditor*>(input->editor.get());
  if (!folder) throw GeoTagFolderImportTaskError(inputIsNotAFolder);

  const tasks::EditorLock lock(*input->editor);
  GeoTagFolderImporter importer(*input->geoTagFileURL);
  importer.geoSyncString = input->geoSyncString;
  takeFolderSettings(importer, *folder);
  importer.sync(folder->url());
}

std::string GeoTagFolderImportTasksGenerator::defaultGroupLabel() const {
  return ORVTL("GeoTagFolderImportTasksGeneratorGroupLabel");
}

std::vector<std::shared_ptr<GeoTagFolderImportTaskItem>> GeoTagFolderImportTasksGenerator::generateTasks() const {
  return oneTaskEach<GeoTagFolderImportTaskItem>(editors, [this](const std::shared_ptr<MetadataEditor>& editor) {
    return GeoTagFolderImportTaskInput{editor, geoTagFileURL, geoSyncString};
  });
}

// ---------------------------------------------------------------------------------------------
// Geotag export

GeoTagFolderExportTaskItem::GeoTagFolderExportTaskItem(std::optional<GeoTagFolderExportTaskInput> input)
    : InputTaskItem(input, input ? urlOf(input->editor) : std::nullopt, "GeoTagFolderExport") {}

void GeoTagFolderExportTaskItem::internalProcess() {
  using enum GeoTagFolderExportTaskErrorCode;
  const auto input = this->input();
  if (!input) throw GeoTagFolderExportTaskError(inputIsInvalid);
  if (!input->editor) throw GeoTagFolderExportTaskError(editorIsMissing);
  const auto* folder = dynamic_cast<const ETFolderMetadataEditor*>(input->editor.get());
  if (!folder) throw GeoTagFolderExportTaskError(inputIsNotAFolder);
  if (!input->outputURL) throw GeoTagFolderExportTaskError(missingOutputURL);

  const tasks::EditorLock lock(*input->editor);
  GeoTagFolderExporter exporter(input->format);
  takeFolderSettings(exporter, *folder);
  exporter.sync(folder->url(), *input->outputURL);
}

std::string GeoTagFolderExportTasksGenerator::defaultGroupLabel() const {
  return ORVTL("GeoTagFolderExportTasksGeneratorGroupLabel");
}

std::vector<std::shared_ptr<GeoTagFolderExportTaskItem>> GeoTagFolderExportTasksGenerator::generateTasks() const {
  return oneTaskEach<GeoTagFolderExportTaskItem>(editors, [this](const std::shared_ptr<MetadataEditor>& editor) {
    return GeoTagFolderExportTaskInput{editor, outputURL, format};
  });
}

// ---------------------------------------------------------------------------------------------
// File tags

SyncFinderTagsTaskItem::SyncFinderTagsTaskItem(std::optional<SyncFinderTagsTaskInput> input)
    : InputTaskItem(input, input ? urlOf(input->editor) : std::nullopt, "SyncFinderTags") {}

void SyncFinderTagsTaskItem::internalProcess() {
  using enum SyncFinderTagsTaskErrorCode;
  const auto input = this->input();
  if (!input) throw SyncFinderTagsTaskError(inputIsInvalid);
  if (!input->editor) throw SyncFinderTagsTaskError(editorIsMissing);

  FinderTagsSyncer syncer(input->action);
  syncer.password = input->editor->password();
  if (const auto* folder = dynamic_cast<const ETFolderMetadataEditor*>(input->editor.get()))
    takeFolderSettings(syncer, *folder);
  syncer.sync(input->editor->url());
}

std::string SyncFinderTagsTasksGenerator::defaultGroupLabel() const {
  return ORVTL("SyncFinderTagsTasksGeneratorGroupLabel");
}

std::vector<std::shared_ptr<SyncFinderTagsTaskItem>> SyncFinderTagsTasksGenerator::generateTasks() const {
  return oneTaskEach<SyncFinderTagsTaskItem>(editors, [this](const std::shared_ptr<MetadataEditor>& editor) {
    return SyncFinderTagsTaskInput{editor, action};
  });
}

// ---------------------------------------------------------------------------------------------
// Photos

ExportFileToPhotosTaskItem::ExportFileToPhotosTaskItem(std::optional<ExportFileToPhotosTaskInput> input)
    : InputTaskItem(input, input ? input->url : std::nullopt, "ExportFileToPhotos") {}

void ExportFileToPhotosTaskItem::internalProcess() {
  using enum ExportFileToPhotosTaskErrorCode;
  const auto input = this->input();
  if (!input) throw ExportFileToPhotosTaskError(inputIsInvalid);
  if (!input->url) throw ExportFileToPhotosTaskError(urlIsMissing);

  constexpr int kDelay = 2;  // seconds for the application to start before the import
  const PhotosAppExporter exporter(kDelay, {*input->url});
  // Without the permission the task completes without doing anything.
  if (!PhotosAppAuthorizer().perform()) return;
  const auto runner = ORVGetScriptRunner();
  if (!runner) return;
  const auto script = exporter.generateScript();
  ORVDebugLogWrite(script);
  if (runner->execute(script)) throw ExportFileToPhotosTaskError(scriptFailed);
}

std::string ExportFileToPhotosTasksGenerator::defaultGroupLabel() const {
  return ORVTL("ExportFileToPhotosTasksGeneratorGroupLabel");
}

std::vector<std::shared_ptr<ExportFileToPhotosTaskItem>> ExportFileToPhotosTasksGenerator::generateTasks() const {
  return oneTaskEach<ExportFileToPhotosTaskItem>(
      urls, [](const fs::path& url) { return ExportFileToPhotosTaskInput{url}; });
}

}  // namespace orvelin
