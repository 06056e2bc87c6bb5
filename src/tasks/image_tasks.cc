#include "orvelin/tasks/image_tasks.h"

#include <algorithm>

#include "orvelin/editor/et_editors.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/storage/metadata_et_writer.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/parallel.h"
#include "tasks/editor_lock.h"
#include "tasks/task_paths.h"

namespace orvelin {

namespace fs = std::filesystem;

template <>
const char* TaskError<ImportImageTaskErrorCode>::text(ImportImageTaskErrorCode code) {
  switch (code) {
    case ImportImageTaskErrorCode::inputIsInvalid: return "Input is invalid";
    case ImportImageTaskErrorCode::fileURLIsMissing: return "File URL is missing";
    case ImportImageTaskErrorCode::fileIsNotSupported: return "File is not supported";
  }
  return "";
}

template <>
const char* TaskError<SaveImageEditionsTaskErrorCode>::text(SaveImageEditionsTaskErrorCode code) {
  switch (code) {
    case SaveImageEditionsTaskErrorCode::inputIsInvalid: return "Input is invalid";
    case SaveImageEditionsTaskErrorCode::editorIsMissing: return "Editor is missing";
    case SaveImageEditionsTaskErrorCode::editorIsUnknown: return "Editor is unknown";
  }
  return "";
}

namespace {

MetadataETReader editorReader(const std::optional<std::string>& password) {
  MetadataETReader reader(password);
  reader.setupDefaultForEditorReading();
  return reader;
}

}  // namespace

std::optional<fs::path> urlOf(const std::shared_ptr<MetadataEditor>& editor) {
  if (!editor) return std::nullopt;
  return editor->url();
}

// ---------------------------------------------------------------------------------------------
// Import

bool ImportImageTaskItem::canImportImage(const fs::path& url) {
  const auto extension = tasks::lowercasedPathExtension(url);
  return extension.empty() || MetadataEditor::supportedImages().contains(extension);
}

bool ImportImageTaskItem::canImportImages(const std::vector<fs::path>& urls) {
  return std::any_of(urls.begin(), urls.end(), [](const auto& url) { return canImportImage(url); });
}

std::optional<ImportImageTaskInput> ImportImageTaskItem::input() const { return input_; }

std::shared_ptr<MetadataEditor> ImportImageTaskItem::editor() const {
  std::lock_guard lock(mutex_);
  return editor_;
}

void ImportImageTaskItem::internalProcess() {
  if (!input_) throw ImportImageTaskError(ImportImageTaskErrorCode::inputIsInvalid);
  if (!input_->fileURL) throw ImportImageTaskError(ImportImageTaskErrorCode::fileURLIsMissing);
  const auto& url = *input_->fileURL;
  const auto extension = tasks::lowercasedPathExtension(url);
  const auto reader = editorReader(input_->password);
  std::shared_ptr<MetadataEditor> made;
  if (extension.empty()) {
    made = readImageFolder(reader, url);  // reads nothing: the folder's edits go to all its files
  } else {
    if (!MetadataEditor::supportedImages().contains(extension))
      throw ImportImageTaskError(ImportImageTaskErrorCode::fileIsNotSupported);
    made = readImageFile(reader, url);
  }
  std::lock_guard lock(mutex_);
  editor_ = std::move(made);
}

std::string ImportImageTaskItem::title() const {
  return kindTitle("ImportImage", input_ ? tasks::pathText(input_->fileURL) : std::nullopt);
}

std::string ImportImageTaskItem::subtitle() const {
  return kindSubtitle(input_ ? tasks::pathText(input_->fileURL) : std::nullopt);
}

void ImportImageTaskItem::flushResources() {
  std::lock_guard lock(mutex_);
  editor_.reset();
}

std::string ImportImageTasksGenerator::defaultGroupLabel() const { return ORVTL("ImportImageTasksGeneratorGroupLabel"); }

std::vector<std::shared_ptr<ImportImageTaskItem>> ImportImageTasksGenerator::generateTasks() const {
  return pCompactMap(urls, [this](const fs::path& url) -> std::optional<std::shared_ptr<ImportImageTaskItem>> {
    if (!ImportImageTaskItem::canImportImage(url)) return std::nullopt;
    return std::make_shared<ImportImageTaskItem>(ImportImageTaskInput{url, password});
  });
}

bool hasEditorsImportTasks(const TasksGroup& group) {
  return std::any_of(group.tasks.begin(), group.tasks.end(),
                     [](const auto& task) { return dynamic_cast<const ImportImageTaskItem*>(task.get()) != nullptr; });
}

std::vector<std::shared_ptr<MetadataEditor>> importedEditors(const TasksGroup& group) {
  std::vector<std::shared_ptr<MetadataEditor>> editors;
  for (const auto& task : group.tasks) {
    if (const auto* import = dynamic_cast<const ImportImageTaskItem*>(task.get()))
      if (auto editor = import->editor()) editors.push_back(std::move(editor));
  }
  return editors;
}

// ---------------------------------------------------------------------------------------------
// Save

SaveImageEditionsTaskItem::SaveImageEditionsTaskItem(SaveImageEditionsTaskInput input)
    : SaveImageEditionsTaskItem(std::optional<SaveImageEditionsTaskInput>(std::move(input))) {}

SaveImageEditionsTaskItem::SaveImageEditionsTaskItem(std::optional<SaveImageEditionsTaskInput> input)
    : InputTaskItem(input, input ? urlOf(input->editor) : std::nullopt, "SaveImageEditions") {}

void SaveImageEditionsTaskItem::internalProcess() {
  const auto input = this->input();
  if (!input) throw SaveImageEditionsTaskError(SaveImageEditionsTaskErrorCode::inputIsInvalid);
  const auto& editor = input->editor;
  if (!editor) throw SaveImageEditionsTaskError(SaveImageEditionsTaskErrorCode::editorIsMissing);

  // Absent counts as true; false takes no lock and releases none.
  const tasks::EditorLock lock(*editor, input->lockBeforeProcessing.value_or(true));
  const bool updateCreate = input->updateSystemCreateDate.value_or(false);
  const bool updateModify = input->updateSystemModifyDate.value_or(false);
  MetadataETWriter writer;
  writer.password = editor->password();
  writer.renamingPattern = input->renamingPattern;
  writer.enableCorrection = input->enableCorrection.value_or(false);
  writer.forceIPTCUTF8 = input->forceIPTCUTF8.value_or(true);
  writer.shouldUpdateImagesSystemCreateDate = updateCreate;
  writer.shouldUpdateImagesSystemModifyDate = updateModify;
  writer.shouldUpdateImagesFinderTags = true;
  // The refusals are kept whatever the outcome.
  struct KeepRefusals {
    SaveImageEditionsTaskItem& task;
    const MetadataETWriter& writer;
    ~KeepRefusals() {
      std::lock_guard lock(task.mutex_);
      task.refusedValues_ = writer.refusedValues();
    }
  } keep{*this, writer};
  if (const auto* folder = dynamic_cast<const ETFolderMetadataEditor*>(editor.get())) {
    // The folder itself keeps its dates and tags; its files take them.
    writer.shouldUpdateSourceSystemCreateDate = false;
    writer.shouldUpdateSourceSystemModifyDate = false;
    writer.shouldUpdateSourceFinderTags = false;
    writeImageFolderEditor(writer, *folder);
  } else if (const auto* file = dynamic_cast<const ETImageMetadataEditor*>(editor.get())) {
    writer.shouldUpdateSourceSystemCreateDate = updateCreate;
    writer.shouldUpdateSourceSystemModifyDate = updateModify;
    writer.shouldUpdateSourceFinderTags = true;
    writeImageFileEditor(writer, *file);
  } else {
    throw SaveImageEditionsTaskError(SaveImageEditionsTaskErrorCode::editorIsUnknown);
  }
}

std::vector<RefusedValue> SaveImageEditionsTaskItem::refusedValues() const {
  std::lock_guard lock(mutex_);
  return refusedValues_;
}

std::string SaveImageEditionsTasksGenerator::defaultGroupLabel() const {
  return ORVTL("SaveImageEditionsTasksGeneratorGroupLabel");
}

std::vector<std::shared_ptr<SaveImageEditionsTaskItem>> SaveImageEditionsTasksGenerator::generateTasks() const {
  return pCompactMap(editors,
                     [this](const std::shared_ptr<MetadataEditor>& editor)
                         -> std::optional<std::shared_ptr<SaveImageEditionsTaskItem>> {
                       if (!editor || !editor->isEdited() || editor->isLocked()) return std::nullopt;
                       return std::make_shared<SaveImageEditionsTaskItem>(SaveImageEditionsTaskInput{
                           editor, enableCorrection, forceIPTCUTF8, updateSystemCreateDate, updateSystemModifyDate,
                           renamingPattern, lockBeforeProcessing});
                     });
}

}  // namespace orvelin
