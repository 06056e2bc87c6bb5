#include "orvelin/tasks/image_tasks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "common/event_log.h"
#include "common/recording_runner.h"
#include "common/editors.h"
#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/notification_center.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Not;
using ::testing::Pointee;
using ::testing::Property;
using ::testing::SizeIs;

const TagName artist("EXIF", "Artist");

class ImageTasks : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    MainQueue::shared().startOnOwnThread();
    TagsResources::shared().reload();
  }

  // Runs a group on a manager of its own until its blocks have all come back; `whileRemoving`
  // runs in the did-remove handler.
  static void run(const std::shared_ptr<TasksGroup>& group, const std::function<void()>& whileRemoving = {}) {
    TasksManager manager;
    testing::Observation removal(TasksManager::didRemoveGroupNotification, &manager, [&](const Notification&) {
      if (whileRemoving) whileRemoving();
    });
    manager.addToPendingList(group);
    manager.waitAllGroups();
  }

  static std::string exifTool(const fs::path& file, const std::string& tag) {
    ExifToolCLI cli;
    cli.run({"-s3", "-" + tag, file.string()});
    auto text = cli.buildStdOutString().value_or("");
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
  }
};

// The code of the error a task failed with, when it is an E.
template <typename E>
std::optional<typename E::Code> codeOf(const TaskItem& task) {
  try {
    if (task.error()) std::rethrow_exception(task.error());
  } catch (const E& error) {
    return error.code();
  } catch (...) {
  }
  return std::nullopt;
}

TEST_F(ImageTasks, ImportKeepsOrderAndReportsFailures) {
  EXPECT_FALSE(ImportImageTaskItem::canImportImages({}));
  EXPECT_TRUE(ImportImageTaskItem::canImportImages({"/a/b.mp3", "/a/b.heic"}));
  TasksManager manager;
  ImportImageTasksGenerator unsupported({"/a/b.mp3", "/a/c.txt"}, std::nullopt);
  EXPECT_TRUE(unsupported.addGeneratedGroupToPendingList(manager)->tasks.empty());
  EXPECT_FALSE(manager.isRunning());

  testing::ScratchFolder folder;
  const auto jpeg = testing::copySample("Canon.jpg", folder.path());
  const auto png = testing::copySample("PNG.png", folder.path());
  // A path without extension, even with a final "/", is imported as a folder: nothing is read,
  // and its edits would go to every file under it. The extension is the last component's.
  const auto plain = folder / "Canon/";
  fs::copy_file(jpeg, folder / "Canon");
  const std::vector<fs::path> urls{jpeg, folder / "gone.JPG", folder / "notes.txt", folder / "sound.mp3/",
                                   png, plain};
  auto group = ImportImageTasksGenerator(urls, std::nullopt).generateGroup();
  ASSERT_EQ(group->tasks.size(), 4u);  // the text file and the sound get none
  EXPECT_TRUE(hasEditorsImportTasks(*group));
  std::vector<std::shared_ptr<MetadataEditor>> seen;
  run(group, [&] { seen = importedEditors(*group); });
  const auto of = [](const fs::path& url) { return Pointee(Property(&MetadataEditor::url, url)); };
  ASSERT_THAT(seen, ElementsAre(of(jpeg), of(png), of(plain)));
  EXPECT_TRUE(dynamic_cast<ETFolderMetadataEditor*>(seen[2].get()));
  EXPECT_TRUE(seen[2]->currentTagNames().empty());
  EXPECT_EQ(seen[0]->currentValue(TagName("EXIF", "Make")), "Canon");
  EXPECT_TRUE(importedEditors(*group).empty());  // flushed after the handler
  EXPECT_EQ(codeOf<ETMetadataReaderError>(*group->tasks[1]), ETMetadataReaderError::Code::readerOutputIsEmpty);
}

// Each bad input fails its task with its own code. An editor that is neither a file's nor a
// folder's is refused after the lock was taken, and the lock is released.
TEST_F(ImageTasks, TheErrorsOfBadInputs) {
  auto plain = testing::editorOf({});
  plain->setValue("x", artist);
  using Import = ImportImageTaskError::Code;
  using Save = SaveImageEditionsTaskError::Code;
  using ImportTask = ImportImageTaskItem;
  using SaveTask = SaveImageEditionsTaskItem;
  const struct {
    const char* name;
    std::shared_ptr<TaskItem> task;
    std::optional<Import> importCode;
    std::optional<Save> saveCode;
  } cases[] = {
      {"no import input", std::make_shared<ImportTask>(), Import::inputIsInvalid, {}},
      {"no URL", std::make_shared<ImportTask>(ImportImageTaskInput{}), Import::fileURLIsMissing, {}},
      {"a sound", std::make_shared<ImportTask>(ImportImageTaskInput{"/a/b.mp3"}), Import::fileIsNotSupported, {}},
      {"no save input", std::make_shared<SaveTask>(), {}, Save::inputIsInvalid},
      {"no editor", std::make_shared<SaveTask>(SaveImageEditionsTaskInput{}), {}, Save::editorIsMissing},
      {"an unknown editor", std::make_shared<SaveTask>(SaveImageEditionsTaskInput{plain}), {}, Save::editorIsUnknown},
  };
  testing::EventRecorder locks(plain);
  for (const auto& c : cases) {
    c.task->performFromBackground();
    EXPECT_EQ(c.task->status(), TaskStatus::failed) << c.name;
    EXPECT_EQ(codeOf<ImportImageTaskError>(*c.task), c.importCode) << c.name;
    EXPECT_EQ(codeOf<SaveImageEditionsTaskError>(*c.task), c.saveCode) << c.name;
  }
  EXPECT_EQ(cases[4].task->errorDescription(), "Editor is missing");
  EXPECT_THAT(locks.events(), ElementsAre("locked", "unlocked"));  // for the attempt
  EXPECT_TRUE(plain->isEdited());
}

TEST_F(ImageTasks, SaveTasksOnlyForEditedUnlockedEditors) {
  testing::ScratchFolder folder;
  auto edited = testing::readEditor(testing::copySample("Canon.jpg", folder.path()));
  auto untouched = testing::readEditor(testing::copySample("GPS.jpg", folder.path()));
  auto locked = testing::readEditor(testing::copySample("ExifTool.tif", folder.path()));
  edited->setValue("Saved", artist);
  locked->setValue("Locked", artist);
  locked->lockEditor();
  // Each task takes the generator's options.
  const auto planned = SaveImageEditionsTasksGenerator({edited}, true, false, true, false, "%f-x", false).generateTasks();
  ASSERT_EQ(planned.size(), 1u);
  EXPECT_EQ(planned[0]->input().value().renamingPattern, "%f-x");

  auto group = SaveImageEditionsTasksGenerator({edited, untouched, locked}).generateGroup();
  ASSERT_EQ(group->tasks.size(), 1u);
  run(group);
  EXPECT_EQ(group->tasks[0]->status(), TaskStatus::completed) << group->tasks[0]->errorDescription();
  EXPECT_EQ(exifTool(edited->url(), "EXIF:Artist"), "Saved");
  EXPECT_FALSE(edited->isEdited());
  // The title and subtitle survive the flush.
  EXPECT_EQ(group->tasks[0]->title(), "Saving Canon.jpg");
  EXPECT_EQ(group->tasks[0]->subtitle(), edited->url().string());
  locked->unlockEditor();
}

// A file editor that notes, each time the writer or the task asks for its password (before the
// writer's own lock), whether it was locked.
class ProbeEditor final : public ETImageMetadataEditor {
 public:
  std::optional<std::string> password() const override {
    asked.add(isLocked() ? "locked" : "unlocked");
    return ETImageMetadataEditor::password();
  }
  mutable testing::EventLog asked;

 private:
  using ETImageMetadataEditor::ETImageMetadataEditor;
  friend class MetadataEditor;
};

// The save task locks the editor from its start by default or when asked; otherwise only the
// writer does, later, and the task releases no lock: a lock the host holds stays.
TEST_F(ImageTasks, LockBeforeProcessing) {
  testing::ScratchFolder folder;
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  const auto sample = testing::copySample("Canon.jpg", folder.path());
  const struct {
    const char* name;
    std::optional<bool> lockBefore;
    bool heldByHost;
  } cases[] = {{"by default", {}, false}, {"asked", true, false}, {"not asked", false, false},
               {"not asked, held by the host", false, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto editor = MetadataEditor::create<ProbeEditor>(reader.readReadWriteStorage(sample));
    editor->setValue(c.name, artist);
    if (c.heldByHost) editor->lockEditor();
    int lockNotes = 0;
    testing::Observation lock(MetadataEditor::didChangeLockStateNotification, editor.get(),
                              [&](const Notification&) { ++lockNotes; });
    auto task = std::make_shared<SaveImageEditionsTaskItem>(
        SaveImageEditionsTaskInput{.editor = editor, .lockBeforeProcessing = c.lockBefore});
    task->performFromBackground();
    EXPECT_EQ(task->status(), TaskStatus::completed) << task->errorDescription();
    EXPECT_EQ(testing::readEditor(sample)->currentValue(artist), c.name);
    const bool lockedFromStart = c.lockBefore.value_or(true) || c.heldByHost;
    const auto asked = editor->asked.events();
    ASSERT_FALSE(asked.empty());
    EXPECT_EQ(asked.front(), lockedFromStart ? "locked" : "unlocked");
    if (lockedFromStart) {
      EXPECT_THAT(asked, Each("locked"));
    }
    // One lock and one unlock whoever takes it; nothing but the host's lock is left.
    EXPECT_EQ(lockNotes, c.heldByHost ? 0 : 2);
    EXPECT_EQ(editor->isLocked(), c.heldByHost);
    if (c.heldByHost) editor->unlockEditor();
    EXPECT_FALSE(editor->isLocked());
  }
}

TEST_F(ImageTasks, FolderAndFileSaveOptions) {
  testing::ScratchFolder folder;
  const auto inside = folder / "album";
  fs::create_directories(inside);
  const std::vector<fs::path> images{testing::copySample("Canon.jpg", inside), testing::copySample("GPS.jpg", inside)};
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  auto album = readImageFolder(reader, inside);
  auto file = readImageFile(reader, testing::copySample("ExifTool.jpg", folder.path()));
  const std::vector<std::shared_ptr<MetadataEditor>> editors{album, file};
  for (const auto& editor : editors) {
    editor->setValue("2001:02:03 04:05:06", TagName::exifModifyDate);
    editor->setValue("2001:02:03 04:05:06", TagName::exifCreateDate);
  }
  testing::RecordingRunner runner;
  // Both dates asked; the IPTC and correction options left to their defaults.
  auto group = SaveImageEditionsTasksGenerator(editors, std::nullopt, std::nullopt, true, true).generateGroup();
  std::optional<testing::DebugLogCapture> log(std::in_place);
  run(group);
  const auto text = log->text();
  for (const auto& task : group->tasks) EXPECT_EQ(task->status(), TaskStatus::completed) << task->errorDescription();

  // The files of the folder, and the file, take the date as file date; the folder itself does not.
  for (const auto& path : {images[0], images[1], file->url()}) {
    EXPECT_EQ(exifTool(path, "EXIF:ModifyDate"), "2001:02:03 04:05:06") << path;
    EXPECT_THAT(exifTool(path, "FileModifyDate"), ::testing::StartsWith("2001:02:03 04:05:06")) << path;
  }
  EXPECT_GT(std::chrono::file_clock::to_sys(fs::last_write_time(inside)),
            std::chrono::sys_days{std::chrono::year{2010} / 1 / 1});
  // Creation dates cannot be set here: each save says so for its files, and the file editor
  // for its own file too; the folder editor never asks it for the folder.
  EXPECT_EQ(testing::occurrences(text, "File:FileCreateDate cannot be set on this system"), 2u);
  EXPECT_EQ(testing::occurrences(text, "File creation date of " + file->url().string() + " cannot be set"), 1u);
  EXPECT_EQ(testing::occurrences(text, "File creation date of " + inside.string()), 0u);
  // By default the IPTC text is declared UTF-8 and exiftool does not correct.
  const auto utf8 = Contains("-IPTC:CodedCharacterSet=UTF8");
  const auto correcting = Contains("-F");
  EXPECT_THAT(runner.takeWrites(), AllOf(SizeIs(2), Each(AllOf(utf8, Not(correcting)))));

  // The other way round, and no creation date asked.
  for (const auto& editor : editors) editor->setValue("Again", artist);
  log.emplace();
  run(SaveImageEditionsTasksGenerator(editors, true, false).generateGroup());
  const auto again = log->text();
  EXPECT_EQ(testing::occurrences(again, "FileCreateDate cannot be set"), 0u);
  EXPECT_EQ(testing::occurrences(again, "File creation date of"), 0u);
  EXPECT_THAT(runner.takeWrites(), AllOf(SizeIs(2), Each(AllOf(Not(utf8), correcting))));
  EXPECT_EQ(exifTool(file->url(), "EXIF:Artist"), "Again");
}

}  // namespace
}  // namespace orvelin
