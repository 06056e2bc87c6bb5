#include "orvelin/interchange/export_tasks.h"

#include <algorithm>
#include <map>
#include <system_error>

#include "orvelin/editor/editor_batch.h"
#include "orvelin/editor/metadata_editor.h"
#include "orvelin/exiftool/one_command_jobs.h"
#include "orvelin/interchange/csv_tags_file.h"
#include "orvelin/interchange/json_tags_file.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/storage/metadata_et_writer.h"
#include "orvelin/support/file_system.h"
#include "orvelin/support/files.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/parallel.h"
#include "orvelin/support/text_encoding.h"
#include "tasks/task_paths.h"

namespace orvelin {

namespace fs = std::filesystem;

template <>
const char* TaskError<ExportJPEGImageTaskErrorCode>::text(ExportJPEGImageTaskErrorCode code) {
  using enum ExportJPEGImageTaskErrorCode;
  switch (code) {
    case inputIsInvalid: return "Input is invalid";
    case editorIsMissing: return "Editor is missing";
    case destinationIsMissing: return "Destination is missing";
    case noEmbeddedImageData: return "No embedded image data";
    case imageWritingFailed: return "Image writing failed";
    case inputIsNotSupported: return "Input is not supported";
  }
  return "";
}

template <>
const char* TaskError<ExportSidecarFileTaskErrorCode>::text(ExportSidecarFileTaskErrorCode code) {
  using enum ExportSidecarFileTaskErrorCode;
  switch (code) {
    case inputIsInvalid: return "Input is invalid";
    case editorIsMissing: return "Editor is missing";
    case fileTypeIsMissing: return "File type is missing";
    case fileTypeIsUnknown: return "File type is unknown";
    case destinationIsMissing: return "Destination is missing";
    case dataEncodingFailed: return "Data encoding failed";
  }
  return "";
}

template <>
const char* TaskError<ImportSidecarFileTaskErrorCode>::text(ImportSidecarFileTaskErrorCode code) {
  using enum ImportSidecarFileTaskErrorCode;
  switch (code) {
    case inputIsInvalid: return "Input is invalid";
    case editorIsMissing: return "Editor is missing";
    case sidecarIsMissing: return "Sidecar is missing";
  }
  return "";
}

namespace {

// The target of an export: `name` in `folder`. With `shouldOverride` whatever stands there is
// removed (a failure is left for the write to report); otherwise the first free name beside it.
fs::path fileURLFor(const std::string& name, const fs::path& folder, bool shouldOverride) {
  const auto url = folder / name;
  if (!shouldOverride) return availableItemURL(url);
  std::error_code ignored;
  ORVGetFileSystem()->removeItem(url, ignored);
  return url;
}

// Writes `data` as the whole file at `url`, or throws the file system's error.
void writeData(const fs::path& url, const std::string& data) {
  std::error_code error;
  ORVGetFileSystem()->writeFile(url, data, true, error);
  if (error) throw fs::filesystem_error("cannot write the sidecar", url, error);
}

// The whole file at `url`, or the file system's error.
std::string readData(const fs::path& url) {
  auto data = readFileContents(url);
  if (!data) {
    std::error_code error;
    const bool exists = fs::exists(url, error);
    throw fs::filesystem_error("cannot read the sidecar", url,
                               error ? error : std::make_error_code(exists ? std::errc::io_error
                                                                           : std::errc::no_such_file_or_directory));
  }
  return std::move(*data);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Embedded images

ExportEmbeddedImageTaskItem::ExportEmbeddedImageTaskItem(std::optional<ExportJPEGImageTaskInput> input,
                                                         std::string kind, std::string suffixKey)
    : InputTaskItem(input, input ? urlOf(input->editor) : std::nullopt, std::move(kind)),
      suffixKey_(std::move(suffixKey)) {}

void ExportEmbeddedImageTaskItem::internalProcess() {
  using enum ExportJPEGImageTaskErrorCode;
  const auto input = this->input();
  if (!input) throw ExportJPEGImageTaskError(inputIsInvalid);
  const auto& editor = input->editor;
  if (!editor) throw ExportJPEGImageTaskError(editorIsMissing);
  if (!input->destinationURL) throw ExportJPEGImageTaskError(destinationIsMissing);

  const auto url = editor->url();
  std::error_code error;
  if (!ORVGetFileSystem()->exists(url, error) || fs::is_directory(url, error))
    throw ExportJPEGImageTaskError(inputIsNotSupported);
  const auto image = readImage(url, editor->password());
  if (!image) throw ExportJPEGImageTaskError(noEmbeddedImageData);
  const auto target =
      fileURLFor(editor->filename() + "-" + ORVTL(suffixKey_) + ".jpg", *input->destinationURL, input->shouldOverride);
  if (!image->writeAsJPEG(target)) throw ExportJPEGImageTaskError(imageWritingFailed);
  std::lock_guard lock(mutex_);
  outputURL_ = target;
}

std::optional<fs::path> ExportEmbeddedImageTaskItem::outputURL() const {
  std::lock_guard lock(mutex_);
  return outputURL_;
}

ExportJPEGImageTaskItem::ExportJPEGImageTaskItem(std::optional<ExportJPEGImageTaskInput> input)
    : ExportEmbeddedImageTaskItem(std::move(input), kind, "ExportJPGFromRawFileSuffix") {}

std::optional<Image> ExportJPEGImageTaskItem::readImage(const fs::path& url,
                                                        const std::optional<std::string>& password) const {
  if (auto image = JPGFromRawReader(password).read(url)) return image;
  return PreviewImageReader(password).read(url);
}

ExportThumbnailTaskItem::ExportThumbnailTaskItem(std::optional<ExportThumbnailTaskInput> input)
    : ExportEmbeddedImageTaskItem(std::move(input), kind, "ExportThumbnailFileSuffix") {}

std::optional<Image> ExportThumbnailTaskItem::readImage(const fs::path& url,
                                                        const std::optional<std::string>& password) const {
  return ThumbnailReader(password).read(url);
}

template <typename Task>
std::string ExportEmbeddedImageTasksGenerator<Task>::defaultGroupLabel() const {
  return ORVTL(std::string(Task::kind) + "TasksGeneratorGroupLabel");
}

template <typename Task>
std::vector<std::shared_ptr<Task>> ExportEmbeddedImageTasksGenerator<Task>::generateTasks() const {
  return pMap(editors, [this](const std::shared_ptr<MetadataEditor>& editor) {
    return std::make_shared<Task>(ExportJPEGImageTaskInput{editor, destinationURL, shouldOverride});
  });
}

template class ExportEmbeddedImageTasksGenerator<ExportJPEGImageTaskItem>;
template class ExportEmbeddedImageTasksGenerator<ExportThumbnailTaskItem>;

// ---------------------------------------------------------------------------------------------
// Sidecar export

ExportSidecarFileTaskItem::ExportSidecarFileTaskItem(std::optional<ExportSidecarFileTaskInput> input)
    : InputTaskItem(input, input ? urlOf(input->editor) : std::nullopt, "ExportSidecarFile") {}

const std::vector<std::string>& ExportSidecarFileTaskItem::supportedSidecarTypesList() {
  static const std::vector<std::string> types{"xmp", "exif", "mie", "exv", "icc", "vrd", "csv", "json"};
  return types;
}

const std::set<std::string>& ExportSidecarFileTaskItem::supportedSidecarTypes() {
  static const std::set<std::string> types(supportedSidecarTypesList().begin(), supportedSidecarTypesList().end());
  return types;
}

void ExportSidecarFileTaskItem::internalProcess() {
  using enum ExportSidecarFileTaskErrorCode;
  const auto input = this->input();
  if (!input) throw ExportSidecarFileTaskError(inputIsInvalid);
  const auto& editor = input->editor;
  if (!editor) throw ExportSidecarFileTaskError(editorIsMissing);
  if (!input->fileType) throw ExportSidecarFileTaskError(fileTypeIsMissing);
  if (!input->destinationURL) throw ExportSidecarFileTaskError(destinationIsMissing);

  // The name keeps the type as given; the type is compared in lower case.
  const auto url = fileURLFor(editor->filename() + "." + *input->fileType, *input->destinationURL, input->shouldOverride);
  const auto fileType = asciiLowercased(*input->fileType);
  if (fileType == "csv") {
    CSVTagsExporter exporter;
    exporter.generateCSV(*editor);
    if (!exporter.csvData()) throw ExportSidecarFileTaskError(dataEncodingFailed);
    writeData(url, *exporter.csvData());
  } else if (fileType == "json") {
    JSONTagsExporter exporter;
    exporter.generateJSON(*editor);
    if (!exporter.jsonData()) throw ExportSidecarFileTaskError(dataEncodingFailed);
    writeData(url, *exporter.jsonData());
  } else if (supportedSidecarTypes().contains(fileType)) {
    MetadataETWriter writer;
    writer.password = editor->password();
    writer.exportSidecar(editor->storage(), url);
    // exiftool says nothing the writer checks: a sidecar it could not make is told here.
    std::error_code error;
    if (!ORVGetFileSystem()->exists(url, error))
      throw fs::filesystem_error("exiftool wrote no sidecar", url,
                                 error ? error : std::make_error_code(std::errc::no_such_file_or_directory));
  } else {
    throw ExportSidecarFileTaskError(fileTypeIsUnknown);
  }
  std::lock_guard lock(mutex_);
  outputURL_ = url;
}

std::optional<fs::path> ExportSidecarFileTaskItem::outputURL() const {
  std::lock_guard lock(mutex_);
  return outputURL_;
}

std::string ExportSidecarFileTasksGenerator::defaultGroupLabel() const {
  return ORVTL("ExportSidecarFileTasksGeneratorGroupLabel");
}

std::vector<std::shared_ptr<ExportSidecarFileTaskItem>> ExportSidecarFileTasksGenerator::generateTasks() const {
  return pMap(editors, [this](const std::shared_ptr<MetadataEditor>& editor) {
    return std::make_shared<ExportSidecarFileTaskItem>(
        ExportSidecarFileTaskInput{editor, fileType, destinationURL, shouldOverride});
  });
}

// ---------------------------------------------------------------------------------------------
// Sidecar import

ImportSidecarFileTaskItem::ImportSidecarFileTaskItem(std::optional<ImportSidecarFileTaskInput> input)
    : InputTaskItem(input, input ? input->sidecarURL : std::nullopt, "ImportSidecarFile") {}

void ImportSidecarFileTaskItem::internalProcess() {
  using enum ImportSidecarFileTaskErrorCode;
  const auto input = this->input();
  if (!input) throw ImportSidecarFileTaskError(inputIsInvalid);
  if (input->editors.empty()) throw ImportSidecarFileTaskError(editorIsMissing);
  if (!input->sidecarURL) throw ImportSidecarFileTaskError(sidecarIsMissing);
  const auto& url = *input->sidecarURL;

  const auto extension = tasks::lowercasedPathExtension(url);
  std::map<TagName, std::string> values;
  if (extension == "csv") {
    const auto data = readData(url);
    CSVTagsImporter importer;
    importer.importTags(decodeUTF8OrMacRoman(data).value_or(data));
    values = importer.values();
  } else if (extension == "json") {
    JSONTagsImporter importer;
    importer.importTags(readData(url));
    values = importer.values();
  } else {
    MetadataETReader reader;
    reader.setupDefaultForEditorReading();
    const auto storage = reader.readReadOnlyStorage(url);
    for (auto& [name, value] : storage.generateValuesArray()) values.insert_or_assign(name, std::move(value));
  }
  setValues(input->editors, values);
}

std::string ImportSidecarFileTasksGenerator::defaultGroupLabel() const {
  return ORVTL("ImportSidecarFileTasksGeneratorGroupLabel");
}

std::vector<std::shared_ptr<ImportSidecarFileTaskItem>> ImportSidecarFileTasksGenerator::generateTasks() const {
  return pMap(editors, [this](const std::shared_ptr<MetadataEditor>&) {
    return std::make_shared<ImportSidecarFileTaskItem>(ImportSidecarFileTaskInput{editors, sidecarURL});
  });
}

}  // namespace orvelin
