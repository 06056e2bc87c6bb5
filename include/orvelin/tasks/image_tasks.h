#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "orvelin/storage/metadata_et_writer.h"
#include "orvelin/support/coded_error.h"
#include "orvelin/tasks/task_item.h"
#include "orvelin/tasks/tasks_manager.h"

namespace orvelin {

class MetadataEditor;

// The error of a task kind: one code of the kind's enumeration, a fixed English text (what(),
// errorDescription(), localizedDescription()). Each kind declares its enumeration, names the
// error `<Kind>TaskError` and gives the texts as a specialisation of text(), declared below.
template <typename CodeType>
class TaskError : public CodedError<TaskError<CodeType>, CodeType> {
 public:
  using CodedError<TaskError<CodeType>, CodeType>::CodedError;
  static const char* text(CodeType code);
};

// The shape of the task kinds that work on an input: the input (guarded by the task's mutex,
// since the group's end flushes it on the main queue while a host may read it), the URL the task
// is about (kept after the flush), and the title and subtitle made of it.
template <typename Input>
class InputTaskItem : public TaskItem {
 public:
  std::optional<Input> input() const {
    std::lock_guard lock(mutex_);
    return input_;
  }
  // The file the task is about, read when the task is made and kept after the flush.
  const std::optional<std::filesystem::path>& inputURL() const { return inputURL_; }

  std::string title() const override { return kindTitle(kind_, inputPath()); }  // "<Kind>TaskTitle"
  std::string subtitle() const override { return kindSubtitle(inputPath()); }   // the home folder as "~"
  // Drops the editors the input holds; inputURL() stays.
  void flushResources() override {
    std::lock_guard lock(mutex_);
    if (input_) flushInput(*input_);
  }

 protected:
  InputTaskItem(std::optional<Input> input, std::optional<std::filesystem::path> inputURL, std::string kind)
      : input_(std::move(input)), inputURL_(std::move(inputURL)), kind_(std::move(kind)) {}
  // Drops the resources `input` holds, under the mutex.
  virtual void flushInput(Input& input) = 0;

  mutable std::mutex mutex_;  // guards input_, and what a kind adds that the host reads

 private:
  std::optional<std::string> inputPath() const {
    return inputURL_ ? std::optional<std::string>(inputURL_->string()) : std::nullopt;
  }

  std::optional<Input> input_;
  const std::optional<std::filesystem::path> inputURL_;
  const std::string kind_;
};

// The URL of an editor, read through its accessor; absent for none.
std::optional<std::filesystem::path> urlOf(const std::shared_ptr<MetadataEditor>& editor);

// ---------------------------------------------------------------------------------------------
// Import: a file or folder URL becomes a loaded editor.

struct ImportImageTaskInput {
  std::optional<std::filesystem::path> fileURL{};
  std::optional<std::string> password{};
};

enum class ImportImageTaskErrorCode { inputIsInvalid, fileURLIsMissing, fileIsNotSupported };
// "Input is invalid", "File URL is missing", "File is not supported".
using ImportImageTaskError = TaskError<ImportImageTaskErrorCode>;
template <>
const char* TaskError<ImportImageTaskErrorCode>::text(ImportImageTaskErrorCode code);

// Reads a file through exiftool into an ETImageMetadataEditor; a URL without extension is a
// folder and gives an ETFolderMetadataEditor without reading anything. Without input the task
// fails with inputIsInvalid.
class ImportImageTaskItem final : public TaskItem {
 public:
  explicit ImportImageTaskItem(ImportImageTaskInput input) : input_(std::move(input)) {}
  explicit ImportImageTaskItem(std::optional<ImportImageTaskInput> input = std::nullopt) : input_(std::move(input)) {}

  // The extension (lower-cased) is empty, or one of MetadataEditor::supportedImages().
  static bool canImportImage(const std::filesystem::path& url);
  static bool canImportImages(const std::vector<std::filesystem::path>& urls);

  std::optional<ImportImageTaskInput> input() const;
  // The result, once the task succeeded and until the group's resources are flushed.
  std::shared_ptr<MetadataEditor> editor() const;

  void internalProcess() override;
  std::string title() const override;     // "ImportImageTaskTitle" with the last path component
  std::string subtitle() const override;  // the path, the home folder as "~"
  void flushResources() override;

 private:
  mutable std::mutex mutex_;  // guards editor_ (set on a queue thread, read by the host)
  const std::optional<ImportImageTaskInput> input_;
  std::shared_ptr<MetadataEditor> editor_;
};

// Whether one task of the group imports an editor, and the editors the import tasks made, in
// task order (empty once the group's resources were flushed). From any thread.
bool hasEditorsImportTasks(const TasksGroup& group);
std::vector<std::shared_ptr<MetadataEditor>> importedEditors(const TasksGroup& group);

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
template <>
const char* TaskError<SaveImageEditionsTaskErrorCode>::text(SaveImageEditionsTaskErrorCode code);

// Saves one editor with the writer its kind needs (MetadataETWriter for an ETFolderMetadataEditor
// or an ETImageMetadataEditor, "Editor is unknown" for any other), locked for the span of the
// save unless asked not to; the lock is released on every path. Without input the task fails
// with inputIsInvalid.
class SaveImageEditionsTaskItem final : public InputTaskItem<SaveImageEditionsTaskInput> {
 public:
  explicit SaveImageEditionsTaskItem(SaveImageEditionsTaskInput input);
  // Reads the editor's URL, when there is one, into inputURL().
  explicit SaveImageEditionsTaskItem(std::optional<SaveImageEditionsTaskInput> input = std::nullopt);

  // The values exiftool refused in the save, with its reasons (MetadataETWriter::refusedValues()):
  // in a completed save, those not written; in a failed one, those that made it fail.
  std::vector<RefusedValue> refusedValues() const;

  void internalProcess() override;

 protected:
  void flushInput(SaveImageEditionsTaskInput& input) override { input.editor.reset(); }

 private:
  std::vector<RefusedValue> refusedValues_;  // guarded by mutex_
};

// One save task per edited editor that is not locked, in order; each task gets the six options.
class SaveImageEditionsTasksGenerator : public TasksGenerator<SaveImageEditionsTaskItem> {
 public:
  SaveImageEditionsTasksGenerator() = default;
  explicit SaveImageEditionsTasksGenerator(std::vector<std::shared_ptr<MetadataEditor>> editors,
                                           std::optional<bool> enableCorrection = std::nullopt,
                                           std::optional<bool> forceIPTCUTF8 = std::nullopt,
                                           std::optional<bool> updateSystemCreateDate = std::nullopt,
                                           std::optional<bool> updateSystemModifyDate = std::nullopt,
                                           std::optional<std::string> renamingPattern = std::nullopt,
                                           std::optional<bool> lockBeforeProcessing = std::nullopt)
      : editors(std::move(editors)),
        enableCorrection(enableCorrection),
        forceIPTCUTF8(forceIPTCUTF8),
        updateSystemCreateDate(updateSystemCreateDate),
        updateSystemModifyDate(updateSystemModifyDate),
        renamingPattern(std::move(renamingPattern)),
        lockBeforeProcessing(lockBeforeProcessing) {}

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
