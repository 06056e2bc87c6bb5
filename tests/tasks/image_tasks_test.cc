#include "orvelin/tasks/image_tasks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <future>

#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/files.h"
#include "orvelin/support/process_runner.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;

class ImageTasks : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    MainQueue::shared().startOnOwnThread();
    TagsResources::shared().reload();
  }

  // Runs a group on a manager of its own and waits for its end; `whileRemoving` runs in the
  // did-remove handler.
  static void run(const std::shared_ptr<TasksGroup>& group, const std::function<void()>& whileRemoving = {}) {
    TasksManager manager;
    std::promise<void> removed;
    auto token = NotificationCenter::defaultCenter().addObserver(
        TasksManager::didRemoveGroupNotification, &manager, nullptr, [&](const Notification&) {
          if (whileRemoving) whileRemoving();
          removed.set_value();
        });
    manager.addToPendingList(group);
    if (!group->tasks.empty()) {
      ASSERT_EQ(removed.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
    }
    manager.waitAllGroups();
    MainQueue::shared().waitUntilIdle();
    NotificationCenter::defaultCenter().removeObserver(token);
  }

  static std::string exifTool(const fs::path& file, const std::string& tag) {
    ExifToolCLI cli;
    cli.run({"-s3", "-" + tag, file.string()});
    auto text = cli.buildStdOutString().value_or("");
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
  }
};

TEST_F(ImageTasks, WhatCanBeImported) {
  EXPECT_TRUE(ImportImageTaskItem::canImportImage("/a/b.JPG"));
  EXPECT_TRUE(ImportImageTaskItem::canImportImage("/a/folder"));
  EXPECT_FALSE(ImportImageTaskItem::canImportImage("/a/b.mp3"));
  EXPECT_FALSE(ImportImageTaskItem::canImportImages({}));
  EXPECT_TRUE(ImportImageTaskItem::canImportImages({"/a/b.mp3", "/a/b.heic"}));
  ImportImageTasksGenerator unsupported({"/a/b.mp3", "/a/c.txt"}, std::nullopt);
  EXPECT_TRUE(unsupported.generateTasks().empty());
  EXPECT_EQ(unsupported.defaultGroupLabel(), "Import images");
}

TEST_F(ImageTasks, ImportKeepsOrderAndReportsFailures) {
  testing::ScratchFolder folder;
  const auto jpeg = testing::copySample("Canon.jpg", folder.path());
  const auto png = testing::copySample("PNG.png", folder.path());
  ImportImageTasksGenerator generator({jpeg, folder / "gone.jpg", folder / "notes.txt", png, folder.path()}, std::nullopt);
  auto group = generator.generateGroup();
  ASSERT_EQ(group->tasks.size(), 4u);  // the text file gets no task
  EXPECT_TRUE(group->hasEditorsImportTasks());
  std::vector<std::shared_ptr<MetadataEditor>> seen;
  run(group, [&] { seen = group->importedEditors(); });
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[0]->url(), jpeg);
  EXPECT_EQ(seen[1]->url(), png);
  EXPECT_TRUE(dynamic_cast<ETFolderMetadataEditor*>(seen[2].get()));
  EXPECT_EQ(seen[0]->currentValue(TagName("EXIF", "Make")), "Canon");
  EXPECT_TRUE(group->importedEditors().empty());  // flushed after the handler
  EXPECT_EQ(group->tasks[1]->status(), TaskStatus::failed);
  EXPECT_EQ(group->tasks[1]->errorDescription(), "Reader output is empty");
  EXPECT_EQ(group->tasks[0]->title(), "Importing Canon.jpg");
}

TEST_F(ImageTasks, SaveTasksOnlyForEditedUnlockedEditors) {
  testing::ScratchFolder folder;
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  auto edited = reader.readImageFile(testing::copySample("Canon.jpg", folder.path()));
  auto untouched = reader.readImageFile(testing::copySample("GPS.jpg", folder.path()));
  auto locked = reader.readImageFile(testing::copySample("ExifTool.tif", folder.path()));
  edited->setValue("Saved", TagName("EXIF", "Artist"));
  locked->setValue("Locked", TagName("EXIF", "Artist"));
  locked->lockEditor();
  SaveImageEditionsTasksGenerator generator;
  generator.editors = {edited, untouched, locked};
  auto group = generator.generateGroup();
  ASSERT_EQ(group->tasks.size(), 1u);
  EXPECT_EQ(group->label, "Save edits");
  run(group);
  EXPECT_EQ(group->tasks[0]->status(), TaskStatus::completed) << group->tasks[0]->errorDescription();
  EXPECT_EQ(exifTool(edited->url(), "EXIF:Artist"), "Saved");
  EXPECT_FALSE(edited->isEdited());
  EXPECT_FALSE(edited->isLocked());
  // The title and subtitle survive the flush.
  EXPECT_EQ(group->tasks[0]->title(), "Saving Canon.jpg");
  EXPECT_EQ(group->tasks[0]->subtitle(), edited->url().string());
  locked->unlockEditor();
}

// Notes whether the editor was locked while exiftool ran.
class LockProbe : public ProcessRunnerWrapper {
 public:
  LockProbe() : ProcessRunnerWrapper(ProcessRunner::Default()) {}
  ProcessResult run(const ProcessRequest& request) override {
    if (editor) lockedDuringRun = editor->isLocked();
    return ProcessRunnerWrapper::run(request);
  }
  std::shared_ptr<MetadataEditor> editor;
  std::atomic<bool> lockedDuringRun{false};
};

TEST_F(ImageTasks, LockBeforeProcessing) {
  testing::ScratchFolder folder;
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  for (const std::optional<bool> lockBefore : {std::optional<bool>(), std::optional<bool>(true), std::optional<bool>(false)}) {
    auto editor = reader.readImageFile(testing::copySample("Canon.jpg", folder.path()));
    editor->setValue("x", TagName("EXIF", "Artist"));
    int locks = 0;
    auto token = NotificationCenter::defaultCenter().addObserver(MetadataEditor::didChangeLockStateNotification,
                                                                 editor.get(), nullptr,
                                                                 [&](const Notification&) { ++locks; });
    auto task = std::make_shared<SaveImageEditionsTaskItem>(SaveImageEditionsTaskInput{
        editor, std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt, lockBefore});
    task->performFromBackground();
    NotificationCenter::defaultCenter().removeObserver(token);
    EXPECT_EQ(task->status(), TaskStatus::completed);
    EXPECT_FALSE(editor->isLocked());
    // The writer itself locks for the span of the write: one lock and one unlock either way,
    // since the task's own lock nests around it.
    EXPECT_EQ(locks, 2);
  }
}

TEST_F(ImageTasks, AnUnknownEditorIsRefusedAndUnlocked) {
  testing::ScratchFolder folder;
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  auto plain = MetadataEditor::create(reader.readReadWriteStorage(testing::copySample("Canon.jpg", folder.path())));
  plain->setValue("x", TagName("EXIF", "Artist"));
  auto task = std::make_shared<SaveImageEditionsTaskItem>(SaveImageEditionsTaskInput{.editor = plain});
  task->performFromBackground();
  EXPECT_EQ(task->status(), TaskStatus::failed);
  EXPECT_EQ(task->errorDescription(), "Editor is unknown");
  EXPECT_FALSE(plain->isLocked());
  auto missing = std::make_shared<SaveImageEditionsTaskItem>(SaveImageEditionsTaskInput{});
  missing->performFromBackground();
  EXPECT_EQ(missing->errorDescription(), "Editor is missing");
  EXPECT_EQ(missing->title(), "Saving nil");
}

TEST_F(ImageTasks, FolderAndFileSaveOptions) {
  testing::ScratchFolder folder;
  const auto inside = folder / "album";
  fs::create_directories(inside);
  testing::copySample("Canon.jpg", inside);
  testing::copySample("GPS.jpg", inside);
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  auto album = reader.readImageFolder(inside);
  auto file = reader.readImageFile(testing::copySample("ExifTool.jpg", folder.path()));
  for (const auto& editor : std::vector<std::shared_ptr<MetadataEditor>>{album, file}) {
    editor->setValue("2001:02:03 04:05:06", TagName::exifModifyDate);
    editor->setFinderTags(std::vector<std::string>{"Blue"});
  }
  SaveImageEditionsTasksGenerator generator;
  generator.editors = {album, file};
  generator.updateSystemModifyDate = true;
  auto group = generator.generateGroup();
  ASSERT_EQ(group->tasks.size(), 2u);
  run(group);
  for (const auto& task : group->tasks) EXPECT_EQ(task->status(), TaskStatus::completed) << task->errorDescription();
  // Every file of the folder, and the file itself, took the date as file date and the tag.
  for (const auto& path : {inside / "Canon.jpg", inside / "GPS.jpg", file->url()}) {
    EXPECT_EQ(exifTool(path, "EXIF:ModifyDate"), "2001:02:03 04:05:06") << path;
    EXPECT_THAT(exifTool(path, "FileModifyDate"), ::testing::StartsWith("2001:02:03 04:05:06")) << path;
  }
  std::error_code error;
  EXPECT_THAT(readFinderTags(file->url(), error), ::testing::ElementsAre("Blue"));
}

}  // namespace
}  // namespace orvelin
