#pragma once

// The tasks that move metadata between a picture and a file beside it: its embedded JPEG or
// thumbnail extracted as a JPEG file, its metadata written as a sidecar (the library's CSV and
// JSON tag files, or one of exiftool's sidecar formats), and a sidecar read into editors as
// pending edits.
//
// Each task reads its editors through their own thread-safe accessors.

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "orvelin/imageservice/image.h"
#include "orvelin/tasks/image_tasks.h"

namespace orvelin {

class MetadataEditor;

// ---------------------------------------------------------------------------------------------
// Embedded images: the large JPEG (of a raw file, else its preview) or the EXIF thumbnail,
// written as "<file name>-<suffix>.jpg" in the destination folder.

struct ExportJPEGImageTaskInput {
  std::shared_ptr<MetadataEditor> editor{};
  std::optional<std::filesystem::path> destinationURL{};
  bool shouldOverride = false;  // replace a file of the same name, else take the next free name
};
using ExportThumbnailTaskInput = ExportJPEGImageTaskInput;

enum class ExportJPEGImageTaskErrorCode {
  inputIsInvalid,
  editorIsMissing,
  destinationIsMissing,
  noEmbeddedImageData,
  imageWritingFailed,
  inputIsNotSupported,
};
// "Input is invalid", "Editor is missing", "Destination is missing", "No embedded image data",
// "Image writing failed", "Input is not supported".
using ExportJPEGImageTaskError = TaskError<ExportJPEGImageTaskErrorCode>;
template <>
const char* TaskError<ExportJPEGImageTaskErrorCode>::text(ExportJPEGImageTaskErrorCode code);
using ExportThumbnailTaskErrorCode = ExportJPEGImageTaskErrorCode;
using ExportThumbnailTaskError = ExportJPEGImageTaskError;

// What the two image exports share. The checks run in this order: input, editor, destination,
// the editor's file (missing, or a folder: inputIsNotSupported), the image, the name (an
// existing target is removed or avoided), the write.
class ExportEmbeddedImageTaskItem : public InputTaskItem<ExportJPEGImageTaskInput> {
 public:
  // The file written, once the task completed.
  std::optional<std::filesystem::path> outputURL() const;

  void internalProcess() override;

 protected:
  ExportEmbeddedImageTaskItem(std::optional<ExportJPEGImageTaskInput> input, std::string kind, std::string suffixKey);

  // The embedded image of the file at `url`; absent when it has none.
  virtual std::optional<Image> readImage(const std::filesystem::path& url,
                                         const std::optional<std::string>& password) const = 0;
  void flushInput(ExportJPEGImageTaskInput& input) override { input.editor.reset(); }

 private:
  const std::string suffixKey_;  // the localised key of the name's suffix
  std::optional<std::filesystem::path> outputURL_;  // guarded by mutex_
};

// The large JPEG of a raw file ("-JpgFromRaw"), else its preview image; named with the
// "ExportJPGFromRawFileSuffix" text.
class ExportJPEGImageTaskItem final : public ExportEmbeddedImageTaskItem {
 public:
  static constexpr const char* kind = "ExportJPEGImage";
  explicit ExportJPEGImageTaskItem(std::optional<ExportJPEGImageTaskInput> input = std::nullopt);

 protected:
  std::optional<Image> readImage(const std::filesystem::path& url,
                                 const std::optional<std::string>& password) const override;
};

// The EXIF thumbnail, with no fallback; named with the "ExportThumbnailFileSuffix" text.
class ExportThumbnailTaskItem final : public ExportEmbeddedImageTaskItem {
 public:
  static constexpr const char* kind = "ExportThumbnail";
  explicit ExportThumbnailTaskItem(std::optional<ExportThumbnailTaskInput> input = std::nullopt);

 protected:
  std::optional<Image> readImage(const std::filesystem::path& url,
                                 const std::optional<std::string>& password) const override;
};

// One task per editor, in order, each with the generator's destination and override choice.
template <typename Task>
class ExportEmbeddedImageTasksGenerator : public TasksGenerator<Task> {
 public:
  ExportEmbeddedImageTasksGenerator() = default;
  ExportEmbeddedImageTasksGenerator(std::vector<std::shared_ptr<MetadataEditor>> editors,
                                    std::optional<std::filesystem::path> destinationURL, bool shouldOverride)
      : editors(std::move(editors)), destinationURL(std::move(destinationURL)), shouldOverride(shouldOverride) {}

  std::vector<std::shared_ptr<MetadataEditor>> editors;
  std::optional<std::filesystem::path> destinationURL;
  bool shouldOverride = false;

  std::string defaultGroupLabel() const override;  // "<Kind>TasksGeneratorGroupLabel"
  std::vector<std::shared_ptr<Task>> generateTasks() const override;
};
using ExportJPEGImageTasksGenerator = ExportEmbeddedImageTasksGenerator<ExportJPEGImageTaskItem>;
using ExportThumbnailTasksGenerator = ExportEmbeddedImageTasksGenerator<ExportThumbnailTaskItem>;

// ---------------------------------------------------------------------------------------------
// Sidecar export: "<file name>.<fileType>" in the destination folder.

struct ExportSidecarFileTaskInput {
  std::shared_ptr<MetadataEditor> editor{};
  std::optional<std::string> fileType{};  // one of supportedSidecarTypes(), in any case
  std::optional<std::filesystem::path> destinationURL{};
  bool shouldOverride = false;
};

enum class ExportSidecarFileTaskErrorCode {
  inputIsInvalid,
  editorIsMissing,
  fileTypeIsMissing,
  fileTypeIsUnknown,
  destinationIsMissing,
  dataEncodingFailed,
};
// "Input is invalid", "Editor is missing", "File type is missing", "File type is unknown",
// "Destination is missing", "Data encoding failed".
using ExportSidecarFileTaskError = TaskError<ExportSidecarFileTaskErrorCode>;
template <>
const char* TaskError<ExportSidecarFileTaskErrorCode>::text(ExportSidecarFileTaskErrorCode code);

// Writes the editor's current values as a CSV or JSON tag file, or has exiftool copy the file's
// metadata into one of its sidecar formats (xmp, exif, mie, exv, icc, vrd). The checks run in
// this order: input, editor, file type, destination; then the target name is worked out (an
// existing file removed or avoided) before the type is checked against the known ones. A
// failed write throws the file system's or exiftool's error.
class ExportSidecarFileTaskItem final : public InputTaskItem<ExportSidecarFileTaskInput> {
 public:
  explicit ExportSidecarFileTaskItem(std::optional<ExportSidecarFileTaskInput> input = std::nullopt);

  // "xmp", "exif", "mie", "exv", "icc", "vrd", "csv", "json": the set, and the same as a list
  // for a host's menu.
  static const std::set<std::string>& supportedSidecarTypes();
  static const std::vector<std::string>& supportedSidecarTypesList();

  // The file written, once the task completed.
  std::optional<std::filesystem::path> outputURL() const;

  void internalProcess() override;

 protected:
  void flushInput(ExportSidecarFileTaskInput& input) override { input.editor.reset(); }

 private:
  std::optional<std::filesystem::path> outputURL_;  // guarded by mutex_
};

// One task per editor, in order.
class ExportSidecarFileTasksGenerator : public TasksGenerator<ExportSidecarFileTaskItem> {
 public:
  ExportSidecarFileTasksGenerator() = default;
  ExportSidecarFileTasksGenerator(std::vector<std::shared_ptr<MetadataEditor>> editors,
                                  std::optional<std::string> fileType,
                                  std::optional<std::filesystem::path> destinationURL, bool shouldOverride)
      : editors(std::move(editors)),
        fileType(std::move(fileType)),
        destinationURL(std::move(destinationURL)),
        shouldOverride(shouldOverride) {}

  std::vector<std::shared_ptr<MetadataEditor>> editors;
  std::optional<std::string> fileType;
  std::optional<std::filesystem::path> destinationURL;
  bool shouldOverride = false;

  std::string defaultGroupLabel() const override;  // "ExportSidecarFileTasksGeneratorGroupLabel"
  std::vector<std::shared_ptr<ExportSidecarFileTaskItem>> generateTasks() const override;
};

// ---------------------------------------------------------------------------------------------
// Sidecar import: a sidecar's values become pending edits of editors (nothing is saved).

struct ImportSidecarFileTaskInput {
  std::vector<std::shared_ptr<MetadataEditor>> editors{};
  std::optional<std::filesystem::path> sidecarURL{};
};

enum class ImportSidecarFileTaskErrorCode { inputIsInvalid, editorIsMissing, sidecarIsMissing };
// "Input is invalid", "Editor is missing", "Sidecar is missing".
using ImportSidecarFileTaskError = TaskError<ImportSidecarFileTaskErrorCode>;
template <>
const char* TaskError<ImportSidecarFileTaskErrorCode>::text(ImportSidecarFileTaskErrorCode code);

// Reads a sidecar by its extension (any case): "csv" and "json" through the library's tag file
// importers, anything else through exiftool (in the editors' profile: raw values), and sets its
// values on every editor of the input in one session (the editors take only what they can edit:
// never the facts of exiftool's "File" group, such as the sidecar's own name). The checks run in
// this order: input, editors (none: editorIsMissing), sidecar URL; a read error fails the
// task.
class ImportSidecarFileTaskItem final : public InputTaskItem<ImportSidecarFileTaskInput> {
 public:
  // inputURL() is the sidecar's URL: the title and subtitle show the sidecar.
  explicit ImportSidecarFileTaskItem(std::optional<ImportSidecarFileTaskInput> input = std::nullopt);

  void internalProcess() override;

 protected:
  void flushInput(ImportSidecarFileTaskInput& input) override { input.editors.clear(); }
};

// One task per editor, each applying the sidecar to all the editors: with N editors the sidecar
// is set N times on each. A host that wants it once per editor makes its own tasks.
class ImportSidecarFileTasksGenerator : public TasksGenerator<ImportSidecarFileTaskItem> {
 public:
  ImportSidecarFileTasksGenerator() = default;
  ImportSidecarFileTasksGenerator(std::vector<std::shared_ptr<MetadataEditor>> editors,
                                  std::optional<std::filesystem::path> sidecarURL)
      : editors(std::move(editors)), sidecarURL(std::move(sidecarURL)) {}

  std::vector<std::shared_ptr<MetadataEditor>> editors;
  std::optional<std::filesystem::path> sidecarURL;

  std::string defaultGroupLabel() const override;  // "ImportSidecarFileTasksGeneratorGroupLabel"
  std::vector<std::shared_ptr<ImportSidecarFileTaskItem>> generateTasks() const override;
};

}  // namespace orvelin
