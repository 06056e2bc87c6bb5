#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "orvelin/tasks/task_item.h"
#include "orvelin/tasks/tasks_manager.h"

namespace orvelin {

class MetadataEditor;

// The error of a task kind: one code, a fixed English text.
template <typename Code>
class TaskError : public std::runtime_error {
 public:
  explicit TaskError(Code code) : std::runtime_error(errorDescription(code)), code_(code) {}
  Code code() const { return code_; }
  static const char* errorDescription(Code code);
  std::string localizedDescription() const { return what(); }

 private:
  Code code_;
};

// ---------------------------------------------------------------------------------------------
// Import: a file or folder URL becomes a loaded editor.

struct ImportImageTaskInput {
  std::optional<std::filesystem::path> fileURL{};
  std::optional<std::string> password{};
};

enum class ImportImageTaskErrorCode { inputIsInvalid, fileURLIsMissing, fileIsNotSupported };
// "Input is invalid", "File URL is missing", "File is not supported".
using ImportImageTaskError = TaskError<ImportImageTaskErrorCode>;

// Reads a file through exiftool into an ETImageMetadataEditor; a URL without extension is a
// folder and gives an ETFolderMetadataEditor without reading anything.
class ImportImageTaskItem final : public TaskItem {
 public:
  explicit ImportImageTaskItem(ImportImageTaskInput input) : input_(std::move(input)) {}

  // The extension (lower-cased) is empty, or one of MetadataEditor::supportedImages().
  static bool canImportImage(const std::filesystem::path& url);
  static bool canImportImages(const std::vector<std::filesystem::path>& urls);

  std::optional<ImportImageTaskInput> input() const;
  // The result, once the task succeeded and until the group's resources are flushed.
  std::shared_ptr<MetadataEditor> editor() const;

  void internalProcess() override;
  std::string title() const override;     // "ImportImageTaskTitle" with the file name
  std::string subtitle() const override;  // the path, the home folder as "~"
  void flushResources() override;

 private:
  mutable std::mutex mutex_;  // guards editor_
  const std::optional<ImportImageTaskInput> input_;
  std::shared_ptr<MetadataEditor> editor_;
};

// One import task per URL that can be imported, in order; a group of none comes to nothing.
class ImportImageTasksGenerator : public TasksGenerator<ImportImageTaskItem> {
 public:
  ImportImageTasksGenerator() = default;
  ImportImageTasksGenerator(std::vector<std::filesystem::path> urls, std::optional<std::string> password)
      : urls(std::move(urls)), password(std::move(password)) {}

  std::vector<std::filesystem::path> urls;
  std::optional<std::string> password;

  std::string defaultGroupLabel() const override;  // "ImportImageTasksGeneratorGroupLabel"
  std::vector<std::shared_ptr<ImportImageTaskItem>> generateTasks() const override;
};

// ---------------------------------------------------------------------------------------------
// Save: an editor's pending edits are written to its file or folder.

struct SaveImageEditionsTaskInput {
  std::shared_ptr<MetadataEditor> editor{};
  std::optional<bool> enableCorrection{};        // absent: false
  std::optional<bool> forceIPTCUTF8{};           // absent: true
  std::optional<bool> updateSystemCreateDate{};  // absent: false
  std::optional<bool> updateSystemModifyDate{};  // absent: false
  std::optional<std::string> renamingPattern{};
  std::optional<bool> lockBeforeProcessing{};    // absent: true
};

enum class SaveImageEditionsTaskErrorCode { inputIsInvalid, editorIsMissing, editorIsUnknown };
// "Input is invalid", "Editor is missing", "Editor is unknown".
using SaveImageEditionsTaskError = TaskError<SaveImageEditionsTaskErrorCode>;

// Saves one editor with the writer its kind needs, locked for the span of the save unless
// asked not to; the lock is released on every path.
class SaveImageEditionsTaskItem final : public TaskItem {
 public:
  explicit SaveImageEditionsTaskItem(SaveImageEditionsTaskInput input);

  std::optional<SaveImageEditionsTaskInput> input() const;
  // The editor's URL, kept after the resources are flushed.
  const std::optional<std::filesystem::path>& inputURL() const { return inputURL_; }

  void internalProcess() override;
  std::string title() const override;     // "SaveImageEditionsTaskTitle" with the file name
  std::string subtitle() const override;
  void flushResources() override;

 private:
  mutable std::mutex mutex_;  // guards input_
  std::optional<SaveImageEditionsTaskInput> input_;
  const std::optional<std::filesystem::path> inputURL_;
};

// One save task per edited editor that is not locked, in order.
class SaveImageEditionsTasksGenerator : public TasksGenerator<SaveImageEditionsTaskItem> {
 public:
  std::vector<std::shared_ptr<MetadataEditor>> editors;
  std::optional<bool> enableCorrection;
  std::optional<bool> forceIPTCUTF8;
  std::optional<bool> updateSystemCreateDate;
  std::optional<bool> updateSystemModifyDate;
  std::optional<std::string> renamingPattern;
  std::optional<bool> lockBeforeProcessing;

  std::string defaultGroupLabel() const override;  // "SaveImageEditionsTasksGeneratorGroupLabel"
  std::vector<std::shared_ptr<SaveImageEditionsTaskItem>> generateTasks() const override;
};

}  // namespace orvelin
