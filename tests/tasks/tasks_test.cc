#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>
#include <mutex>
#include <thread>

#include "common/editors.h"
#include "common/event_log.h"
#include "common/gate.h"
#include "common/recording_runner.h"
#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/script_runner.h"
#include "orvelin/interchange/export_tasks.h"
#include "orvelin/interchange/folder_tasks.h"
#include "orvelin/tasks/image_tasks.h"
#include "orvelin/imageservice/image.h"
#include "orvelin/tasks/tasks_manager.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::IsEmpty;
using ::testing::ElementsAre;
using ::testing::Not;
using ::testing::Pointee;
using ::testing::Property;
using ::testing::SizeIs;
using Journal = testing::EventLog;
using testing::Gate;
using testing::Observation;

// A task whose body the test controls.
class ScriptedTask final : public TaskItem {
 public:
  explicit ScriptedTask(std::string name, std::function<void()> body = {}, bool fails = false,
                        Journal* journal = nullptr)
      : name(std::move(name)), fails(fails), journal(journal), body(std::move(body)) {}
  void internalProcess() override {
    if (body) body();
    if (fails) throw std::runtime_error("boom");
  }
  std::string title() const override { return name; }
  void flushResources() override {
    if (journal) journal->add("flush " + name);
  }

  const std::string name;
  const bool fails;
  Journal* const journal;
  std::function<void()> body;
};

std::shared_ptr<TasksGroup> groupOf(std::string label, std::vector<std::shared_ptr<TaskItem>> tasks) {
  return std::make_shared<TasksGroup>(std::move(label), std::move(tasks));
}

const char* const statusNames[] = {"pending", "processing", "completed", "failed", "cancelled"};

// Journals what a task, a group and a manager tell their delegate, from any thread.
class Recorder : public TaskItemDelegate, public TasksGroupDelegate, public TasksManagerDelegate {
 public:
  explicit Recorder(Journal& journal) : journal_(journal) {}
  void taskItemDidUpdateStatus(TaskItem& task) override {
    journal_.add("delegate " + task.title() + " " + statusNames[task.status()]);
  }
  void taskItemDidProgress(TaskItem& task) override { journal_.add("progress " + task.title()); }
  void tasksGroupDidProgress(TasksGroup& group) override {
    journal_.add("delegate group " + std::to_string(group.doneUnit()));
  }
  void tasksManagerDidAdd(TasksManager&, TasksGroup& group) override {
    journal_.add("did-add, pending " + std::to_string(group.tasksCount(TaskStatus::pending)));
  }
  void tasksManagerDidRemove(TasksManager&, TasksGroup& group) override {
    journal_.add("did-remove " + std::to_string(group.tasksCount(TaskStatus::failed)));
  }

 private:
  Journal& journal_;
};

// `count` tasks whose bodies wait at `gate`.
std::vector<std::shared_ptr<TaskItem>> gatedTasks(Gate& gate, int count) {
  std::vector<std::shared_ptr<TaskItem>> tasks;
  for (int i = 0; i < count; ++i) tasks.push_back(std::make_shared<ScriptedTask>("gated", gate.body()));
  return tasks;
}

// The engine's status steps and group counters run on the main queue, here on a thread of its own.
// Each test's manager tells the journal its notifications. Each block comes back to its group on the
// main queue before it ends: once waitAllGroups() returns, every group whose blocks all ran was removed.
class TaskEngine : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { MainQueue::shared().startOnOwnThread(); }

  Journal journal;
  std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>(journal);
  TasksManager manager;
  Observation added{TasksManager::didAddGroupNotification, &manager, [this](const Notification& note) {
    const auto group = note.userInfoValue<std::shared_ptr<TasksGroup>>(TasksManager::groupKey);
    journal.add("note did-add, pending " + std::to_string((*group)->tasksCount(TaskStatus::pending)));
  }};
  Observation removed{TasksManager::didRemoveGroupNotification, &manager,
                      [this](const Notification&) { journal.add("note did-remove"); }};
};

// Whether `events` has `first` with `second` right behind it.
bool followedBy(const std::vector<std::string>& events, const std::string& first, const std::string& second) {
  const auto found = std::find(events.begin(), events.end(), first);
  return found != events.end() && found + 1 != events.end() && *(found + 1) == second;
}

TEST_F(TaskEngine, AGroupOfThreeWithOneFailure) {
  manager.delegate = recorder;
  // One body after the other, so that the journal has one order; none before the announcement.
  std::mutex serial;
  const auto inTurn = [&serial] { std::lock_guard lock(serial); };
  auto a = std::make_shared<ScriptedTask>("a", inTurn, false, &journal);
  auto b = std::make_shared<ScriptedTask>("b", inTurn, /*fails=*/true, &journal);
  auto c = std::make_shared<ScriptedTask>("c", inTurn, false, &journal);
  auto group = groupOf("three", {a, b, c});
  group->delegate = recorder;
  Observation groupNotes(TasksGroup::didProgressNotification, group.get(), [&](const Notification&) {
    journal.add("note group " + std::to_string(group->doneUnit()));
  });
  Observation statusNotes(TaskItem::didUpdateStatusNotification, nullptr, [&](const Notification& note) {
    const auto* task = static_cast<const TaskItem*>(note.object);
    journal.add("note " + task->title() + " " + statusNames[task->status()]);
  });
  for (const auto& task : {a, b, c}) task->delegate = recorder;
  std::unique_lock hold(serial);
  manager.addToPendingList(group);
  hold.unlock();
  manager.waitAllGroups();

  const auto events = journal.events();
  ASSERT_GE(events.size(), 9u);
  // The announcement comes before the first block is queued: every task is still pending.
  EXPECT_THAT(std::vector<std::string>(events.begin(), events.begin() + 2),
              ElementsAre("did-add, pending 3", "note did-add, pending 3"));
  // Each change of status and each count of the group: the delegate, then at once the notification.
  for (const char* change : {"a processing", "a completed", "b processing", "b failed", "c processing",
                             "c completed", "group 1", "group 2", "group 3"})
    EXPECT_TRUE(followedBy(events, std::string("delegate ") + change, std::string("note ") + change)) << change;
  EXPECT_EQ(std::ranges::count_if(events, [](const auto& e) { return e.starts_with("delegate "); }), 9);
  // The end: the last count, the delegate's did-remove, the notification, then the flush.
  EXPECT_THAT(std::vector<std::string>(events.end() - 7, events.end()),
              ElementsAre("delegate group 3", "note group 3", "did-remove 1", "note did-remove", "flush a",
                          "flush b", "flush c"));

  EXPECT_EQ(a->errorDescription(), "");
}

TEST_F(TaskEngine, EightBodiesAtOnceAndNoMoreAndCancelAllLeavesDroppedGroupsBehind) {
  Gate gate;
  const auto tasks = gatedTasks(gate, 24);
  // Two groups share the one width; a third, cancelled while it waits behind them, still ends.
  manager.addToPendingList(groupOf("a", std::vector<std::shared_ptr<TaskItem>>(tasks.begin(), tasks.begin() + 12)));
  manager.addToPendingList(groupOf("b", std::vector<std::shared_ptr<TaskItem>>(tasks.begin() + 12, tasks.end())));
  auto cancelled = groupOf("cancelled", {std::make_shared<ScriptedTask>("x"), std::make_shared<ScriptedTask>("y")});
  manager.addToPendingList(cancelled);
  cancelled->cancel();
  gate.awaitWaiting(8);  // a minute at most: the highest count shows whether 8 bodies ever waited at once
  gate.open();
  manager.waitAllGroups();
  EXPECT_EQ(gate.highest(), 8);
  EXPECT_EQ(cancelled->tasksCount(TaskStatus::cancelled), 2u);
  const auto events = journal.events();
  EXPECT_EQ(std::count(events.begin(), events.end(), "note did-remove"), 3);

  // Cancelling all tasks while eight run: the running group ends, the one whose blocks were dropped stays.
  Gate full;
  manager.addToPendingList(groupOf("running", gatedTasks(full, 8)));
  auto later = groupOf("later", {std::make_shared<ScriptedTask>("x"), std::make_shared<ScriptedTask>("y")});
  manager.addToPendingList(later);
  const bool ran = full.awaitWaiting(8);
  manager.cancelAllTasks();
  full.open();
  ASSERT_TRUE(ran);
  manager.waitAllGroups();
  EXPECT_EQ(later->tasksCount(TaskStatus::cancelled), 2u);
  EXPECT_EQ(later->doneUnit(), 0);
  EXPECT_EQ(manager.groups(), std::vector<std::shared_ptr<TasksGroup>>{later});
  EXPECT_TRUE(manager.isRunning());
}

// Runs groups in a process where no thread pumps the main queue, so that the status steps and
// the counts run on the queue's threads; returns the number of groups that did not end exactly
// once with every task counted.
int countOnQueueThreads() {
  if (MainQueue::shared().isRunningOnOwnThread()) {
    std::cerr << "the main queue has a thread: the counts would run there\n";
    return 100;
  }
  Journal removals;
  std::vector<std::shared_ptr<TasksGroup>> groups;
  TasksManager manager;
  Observation removed(TasksManager::didRemoveGroupNotification, &manager, [&](const Notification& note) {
    removals.add((*note.userInfoValue<std::shared_ptr<TasksGroup>>(TasksManager::groupKey))->label);
  });
  for (int g = 0; g < 20; ++g) {
    std::vector<std::shared_ptr<TaskItem>> tasks;
    for (int t = 0; t < 50; ++t) tasks.push_back(std::make_shared<ScriptedTask>("t"));
    groups.push_back(groupOf(std::to_string(g), tasks));
    manager.addToPendingList(groups.back());
  }
  manager.waitAllGroups();
  const auto labels = removals.events();
  return static_cast<int>(std::count_if(groups.begin(), groups.end(), [&](const auto& group) {
    return std::ranges::count(labels, group->label) != 1 || group->doneUnit() != group->totalUnit();
  }));
}

TEST(TasksCounting, EachGroupEndsOnceWhateverThreadCounts) {
  // A fresh process, in which no thread pumps the main queue (a host without a main loop).
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(countOnQueueThreads()), ::testing::ExitedWithCode(0), "");
}

TEST_F(TaskEngine, CancelAndPerformChangeOnlyAPendingTask) {
  auto pending = std::make_shared<ScriptedTask>("p");
  pending->delegate = recorder;
  pending->cancel();
  pending->cancel();  // a cancelled task stays as it is
  // A completed or a failed task stays as it is, and nothing is sent: a cancel changes nothing,
  // and perform() runs nothing but calls its completion, once, on the main queue.
  auto completed = std::make_shared<ScriptedTask>("c");
  auto failed = std::make_shared<ScriptedTask>("f", nullptr, /*fails=*/true);
  for (const auto& [task, status] : {std::pair{completed, TaskStatus::completed}, std::pair{failed, TaskStatus::failed}}) {
    task->performFromBackground();
    ASSERT_EQ(task->status(), status);
    task->delegate = recorder;
    task->cancel();
    std::atomic<int> calls{0};
    std::promise<void> called;
    task->perform([&] {
      journal.add(MainQueue::shared().isMainThread() ? "completion on main" : "completion elsewhere");
      if (++calls == 1) called.set_value();
    });
    ASSERT_EQ(called.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
    MainQueue::shared().waitUntilIdle();  // a second call would have been queued by now
    EXPECT_EQ(task->status(), status);
  }
  EXPECT_THAT(journal.events(), ElementsAre("delegate p cancelled", "completion on main", "completion on main"));
  // A pending task runs, then its completion is called (the race test shows a running task's cancel).
  auto fresh = std::make_shared<ScriptedTask>("r");
  std::promise<void> finished;
  fresh->perform([&] { finished.set_value(); });
  finished.get_future().wait();
  EXPECT_EQ(fresh->status(), TaskStatus::completed);
}

TEST_F(TaskEngine, ACancelRacingTheStartNeverCancelsARunningTask) {
  // Each round starts a task and cancels it from another thread, the cancel a little later
  // each round, so that over the rounds it lands before, during and after the start.
  constexpr int kRounds = 2000;
  constexpr int kSteps = 250;
  std::vector<std::shared_ptr<ScriptedTask>> tasks;
  std::vector<Journal> journals(kRounds);
  std::vector<std::shared_ptr<Recorder>> recorders;
  for (int i = 0; i < kRounds; ++i) {
    tasks.push_back(std::make_shared<ScriptedTask>("race", [&journal = journals[i]] { journal.add("body"); }));
    tasks.back()->delegate = recorders.emplace_back(std::make_shared<Recorder>(journals[i]));
  }
  std::barrier start(2);
  std::thread runner([&] {
    for (const auto& task : tasks) {
      start.arrive_and_wait();
      task->performFromBackground();
    }
  });
  for (int i = 0; i < kRounds; ++i) {
    start.arrive_and_wait();
    const auto until = std::chrono::steady_clock::now() + std::chrono::nanoseconds(200 * (i % kSteps));
    while (std::chrono::steady_clock::now() < until) {
    }
    tasks[i]->cancel();
  }
  runner.join();
  // Either the cancel came first and the body never ran, or the body ran to completion, and the
  // task went through the allowed steps only.
  for (int i = 0; i < kRounds; ++i) {
    EXPECT_THAT(journals[i].events(),
                AnyOf(ElementsAre("delegate race cancelled"),
                      ElementsAre("delegate race processing", "body", "delegate race completed")))
        << "round " << i;
  }
}

// A task's subtitle is its path with the home folder as "~"; a home of "/" is left alone, or
// every path would start with "~".
TEST(TaskItemTexts, SubtitlesShortenTheHomeFolder) {
  struct Texts : TaskItem {
    using TaskItem::kindSubtitle;
  };
  const std::tuple<const char*, std::optional<std::string>, const char*> cases[] = {
      {"/home/ann/", "/home/ann/photos/a.jpg", "~/photos/a.jpg"},
      {"/", "/photos/a.jpg", "/photos/a.jpg"},
      {"/home/ann", std::nullopt, "nil"},
  };
  for (const auto& [home, path, expected] : cases) {
    testing::EnvironmentScope scope("HOME", home);
    EXPECT_EQ(Texts::kindSubtitle(path), expected) << home;
  }
}

const TagName artist("EXIF", "Artist");

class ImageTasks : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    MainQueue::shared().startOnOwnThread();
    TagsResources::shared().reload();
  }

  // Runs a group on a manager of its own until its blocks have all come back; `onRemoval`
  // runs in the did-remove handler.
  static void run(const std::shared_ptr<TasksGroup>& group, const std::function<void()>& onRemoval = [] {}) {
    TasksManager manager;
    Observation removal(TasksManager::didRemoveGroupNotification, &manager,
                        [&](const Notification&) { onRemoval(); });
    manager.addToPendingList(group);
    manager.waitAllGroups();
  }

  // The value exiftool prints for `tag` of `file`, with its line end.
  static std::string exifTool(const fs::path& file, const std::string& tag) {
    ExifToolCLI cli;
    cli.run({"-s3", "-" + tag, file.string()});
    return cli.buildStdOutString().value_or("");
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

// A file editor that notes, each time the writer or the task asks for its password (before the
// writer's own lock), whether it was locked.
class ProbeEditor final : public ETImageMetadataEditor {
 public:
  std::optional<std::string> password() const override {
    asked.add(isLocked() ? "locked" : "unlocked");
    return ETImageMetadataEditor::password();
  }
  mutable Journal asked;

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
    EXPECT_THAT(editor->asked.events(), AllOf(Not(IsEmpty()), Each(lockedFromStart ? "locked" : "unlocked")));
    // One lock and one unlock whoever takes it; nothing but the host's lock is left.
    EXPECT_EQ(lockNotes, c.heldByHost ? 0 : 2);
    EXPECT_EQ(editor->isLocked(), c.heldByHost);
    if (c.heldByHost) editor->unlockEditor();
    EXPECT_FALSE(editor->isLocked());
  }
}

TEST_F(ImageTasks, SaveTasksOnlyForEditedUnlockedEditorsWithTheirOptions) {
  testing::ScratchFolder folder;
  const auto inside = folder / "album";
  fs::create_directories(inside);
  const std::vector<fs::path> images{testing::copySample("Canon.jpg", inside), testing::copySample("GPS.jpg", inside)};
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  auto album = readImageFolder(reader, inside);
  auto file = readImageFile(reader, testing::copySample("ExifTool.jpg", folder.path()));
  auto untouched = readImageFile(reader, testing::copySample("GPS.jpg", folder.path()));
  auto locked = readImageFile(reader, testing::copySample("ExifTool.tif", folder.path()));
  locked->setValue("Locked", artist);
  locked->lockEditor();
  const std::vector<std::shared_ptr<MetadataEditor>> editors{album, file};
  for (const auto& editor : editors) {
    editor->setValue("2001:02:03 04:05:06", TagName::exifModifyDate);
    editor->setValue("2001:02:03 04:05:06", TagName::exifCreateDate);
  }
  // Each task takes the generator's options.
  const auto planned = SaveImageEditionsTasksGenerator({file}, true, false, true, false, "%f-x", false).generateTasks();
  ASSERT_EQ(planned.size(), 1u);
  EXPECT_EQ(planned[0]->input().value().renamingPattern, "%f-x");

  testing::RecordingRunner runner;
  // Both dates asked; the IPTC and correction options left to their defaults.
  auto group = SaveImageEditionsTasksGenerator({album, file, untouched, locked}, {}, {}, true, true).generateGroup();
  ASSERT_EQ(group->tasks.size(), 2u);
  std::optional<testing::DebugLogCapture> log(std::in_place);
  run(group);
  const auto text = log->text();
  for (const auto& task : group->tasks) EXPECT_EQ(task->status(), TaskStatus::completed) << task->errorDescription();
  EXPECT_FALSE(file->isEdited());
  // The title and subtitle survive the flush.
  EXPECT_EQ(group->tasks[1]->title(), "Saving ExifTool.jpg");
  EXPECT_EQ(group->tasks[1]->subtitle(), file->url().string());

  // The files of the folder, and the file, take the date as file date; the folder itself does not.
  for (const auto& path : {images[0], images[1], file->url()}) {
    EXPECT_EQ(exifTool(path, "EXIF:ModifyDate"), "2001:02:03 04:05:06\n") << path;
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
  EXPECT_EQ(exifTool(file->url(), "EXIF:Artist"), "Again\n");
  locked->unlockEditor();
}

// A raw file whose large JPEG is no image and whose preview is a real JPEG.
std::shared_ptr<ETImageMetadataEditor> rawWithPreview(const fs::path& folder) {
  const auto raw = testing::copySample("DNG.dng", folder);
  testing::exifToolInPlace(raw, {"-PreviewImage<=" + (testing::dataDirectory() / "Canon.jpg").string()});
  return testing::readEditor(raw);
}

// Each bad input fails its task with its own text, and the checks come in their order: the
// image exports test the file before they work out (and clear) the target; the sidecar export
// works out the target before it tests the type; the import wants editors before a sidecar.
TEST_F(ImageTasks, TheErrorsOfTheExportsAndImportsInTheirOrder) {
  testing::ScratchFolder folder;
  const auto png = testing::readEditor(testing::copySample("PNG.png", folder.path()));
  const auto jpeg = testing::readEditor(testing::copySample("Canon.jpg", folder.path()));
  const auto raw = rawWithPreview(folder.path());
  MetadataETReader reader;
  const auto album = readImageFolder(reader, folder / "album");
  fs::create_directories(folder / "album");
  const auto out = folder / "out";
  fs::create_directories(out);
  using Image = ExportJPEGImageTaskInput;
  using Sidecar = ExportSidecarFileTaskInput;
  using Import = ImportSidecarFileTaskInput;
  const struct {
    const char* name;
    std::shared_ptr<TaskItem> task;
    const char* error;
    const char* kept;  // a file of the target's name, there before the task and after it
  } cases[] = {
      {"no input", std::make_shared<ExportJPEGImageTaskItem>(), "Input is invalid", nullptr},
      {"no editor", std::make_shared<ExportThumbnailTaskItem>(Image{nullptr, out}), "Editor is missing", nullptr},
      {"no destination", std::make_shared<ExportJPEGImageTaskItem>(Image{png}), "Destination is missing", nullptr},
      {"a folder", std::make_shared<ExportJPEGImageTaskItem>(Image{album, out, true}), "Input is not supported",
       "album-JPEG.jpg"},
      {"no preview", std::make_shared<ExportJPEGImageTaskItem>(Image{png, out, true}), "No embedded image data",
       "PNG-JPEG.jpg"},
      {"no thumbnail", std::make_shared<ExportThumbnailTaskItem>(Image{png, out, true}), "No embedded image data",
       "PNG-thumbnail.jpg"},
      {"a file as folder", std::make_shared<ExportJPEGImageTaskItem>(Image{raw, jpeg->url()}), "Image writing failed",
       nullptr},
      {"no sidecar input", std::make_shared<ExportSidecarFileTaskItem>(), "Input is invalid", nullptr},
      {"no sidecar editor", std::make_shared<ExportSidecarFileTaskItem>(Sidecar{}), "Editor is missing", nullptr},
      {"no type", std::make_shared<ExportSidecarFileTaskItem>(Sidecar{jpeg}), "File type is missing", nullptr},
      {"no folder", std::make_shared<ExportSidecarFileTaskItem>(Sidecar{jpeg, "csv"}), "Destination is missing",
       nullptr},
      {"an unknown type", std::make_shared<ExportSidecarFileTaskItem>(Sidecar{jpeg, "pdf", out}), "File type is unknown",
       "Canon.pdf"},
      {"no import input", std::make_shared<ImportSidecarFileTaskItem>(), "Input is invalid", nullptr},
      {"no editors", std::make_shared<ImportSidecarFileTaskItem>(Import{}), "Editor is missing", nullptr},
      {"no sidecar", std::make_shared<ImportSidecarFileTaskItem>(Import{{jpeg}}), "Sidecar is missing", nullptr},
  };
  for (const auto& c : cases) {
    if (c.kept) testing::writeFile(out / c.kept, "old");
    c.task->performFromBackground();
    EXPECT_EQ(c.task->status(), TaskStatus::failed) << c.name;
    EXPECT_EQ(c.task->errorDescription(), c.error) << c.name;
    if (c.kept) {
      EXPECT_EQ(testing::readFile(out / c.kept), "old") << c.name;
    }
  }
  // An unknown type removes an old file of its name when asked to override: the target came first.
  ExportSidecarFileTaskItem pdf(Sidecar{jpeg, "pdf", out, true});
  pdf.performFromBackground();
  EXPECT_EQ(pdf.errorDescription(), "File type is unknown");
  EXPECT_FALSE(fs::exists(out / "Canon.pdf"));
  // A sidecar that cannot be read fails the task.
  ImportSidecarFileTaskItem unreadable(Import{{jpeg}, folder / "gone.csv"});
  unreadable.performFromBackground();
  EXPECT_EQ(unreadable.status(), TaskStatus::failed);
  EXPECT_FALSE(jpeg->isEdited());
}

// The exports name their files after the editor's, take a free name unless told to override,
// and a sidecar comes back: the library's own tag files change nothing on the file they came
// from; exiftool's XMP carries the values to another file, without the sidecar's file facts.
TEST_F(ImageTasks, ExportsNameTheirFilesAndSidecarsComeBack) {
  testing::ScratchFolder folder;
  const auto raw = rawWithPreview(folder.path());
  const auto jpeg = testing::readEditor(testing::copySample("Canon.jpg", folder.path()));
  const auto out = folder / "out";
  fs::create_directories(out);
  auto exported = [&](const auto& generator) {
    std::vector<std::string> names;
    auto group = generator.generateGroup();
    run(group, [&] {
      for (const auto& task : group->tasks) {
        std::optional<fs::path> output;
        if (const auto* image = dynamic_cast<const ExportEmbeddedImageTaskItem*>(task.get())) output = image->outputURL();
        if (const auto* sidecar = dynamic_cast<const ExportSidecarFileTaskItem*>(task.get())) output = sidecar->outputURL();
        names.push_back(output ? output->filename().string() : task->errorDescription());
      }
    });
    return names;
  };
  EXPECT_THAT(exported(ExportJPEGImageTasksGenerator({raw}, out, false)), ElementsAre("DNG-JPEG.jpg"));
  EXPECT_THAT(exported(ExportJPEGImageTasksGenerator({raw}, out, false)), ElementsAre("DNG-JPEG (0).jpg"));
  EXPECT_THAT(exported(ExportJPEGImageTasksGenerator({raw}, out, true)), ElementsAre("DNG-JPEG.jpg"));
  EXPECT_FALSE(fs::exists(out / "DNG-JPEG (1).jpg"));
  const auto image = Image::decodeFile(out / "DNG-JPEG.jpg");
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width(), Image::decodeFile(testing::dataDirectory() / "Canon.jpg")->width());

  EXPECT_THAT(exported(ExportSidecarFileTasksGenerator({jpeg}, "CSV", out, false)), ElementsAre("Canon.CSV"));
  EXPECT_THAT(exported(ExportSidecarFileTasksGenerator({jpeg}, "json", out, false)), ElementsAre("Canon.json"));
  EXPECT_THAT(exported(ExportSidecarFileTasksGenerator({jpeg}, "XMP", out, false)), ElementsAre("Canon.XMP"));
  EXPECT_THAT(testing::readFile(out / "Canon.CSV"), ::testing::HasSubstr("EXIF:Make, \"Canon\"\n"));
  for (const char* sidecar : {"Canon.CSV", "Canon.json"}) {
    const auto fresh = testing::readEditor(testing::copySample("ExifTool.jpg", folder.path()));
    run(ImportSidecarFileTasksGenerator({jpeg, fresh}, out / sidecar).generateGroup());
    EXPECT_FALSE(jpeg->isEdited()) << sidecar << ": " << ::testing::PrintToString(jpeg->writtenTagNames());
    EXPECT_EQ(fresh->writtenValue(TagName("EXIF", "Make")), "Canon") << sidecar;
  }

  const auto png = testing::readEditor(testing::copySample("PNG.png", folder.path()));
  const auto other = testing::readEditor(testing::copySample("GPS.jpg", folder.path()));
  auto group = ImportSidecarFileTasksGenerator({png, other}, out / "Canon.XMP").generateGroup();
  ASSERT_EQ(group->tasks.size(), 2u);  // each task sets the sidecar on both editors
  run(group);
  for (const auto& task : group->tasks) EXPECT_EQ(task->status(), TaskStatus::completed) << task->errorDescription();
  EXPECT_EQ(png->writtenValue(TagName("XMP", "Make")), "Canon");
  EXPECT_EQ(other->writtenValue(TagName("XMP", "Make")), "Canon");
  for (const auto& name : png->writtenTagNames()) EXPECT_NE(name.stream(), TagStream("File")) << name;
  run(SaveImageEditionsTasksGenerator({png}).generateGroup());
  EXPECT_EQ(exifTool(folder / "PNG.png", "XMP:Make"), "Canon\n");
}

// A script runner that grants or refuses and answers each script with a fixed record.
class FakeScriptRunner final : public ScriptRunner {
 public:
  FakeScriptRunner(int permission, std::optional<std::map<std::string, std::string>> answer)
      : permission_(permission), answer_(std::move(answer)) {}
  int determinePermission(const std::string&) override { return permission_; }
  std::optional<std::map<std::string, std::string>> execute(const std::string& script) override {
    scripts.push_back(script);
    return answer_;
  }
  std::vector<std::string> scripts;

 private:
  const int permission_;
  const std::optional<std::map<std::string, std::string>> answer_;
};

// The folder kinds check in their order, lock a folder's editor only once every check passed,
// and release it; a refused permission completes the Photos export without running anything.
TEST_F(ImageTasks, TheFolderAndPhotosKindsCheckInTheirOrderAndReleaseTheirLocks) {
  testing::ScratchFolder folder;
  const auto file = testing::readEditor(testing::copySample("Canon.jpg", folder.path()));
  MetadataETReader reader;
  fs::create_directories(folder / "album");
  testing::copySample("GPS.jpg", folder / "album");
  const auto album = readImageFolder(reader, folder / "album");
  const auto log = folder / "track.gpx";
  using Import = GeoTagFolderImportTaskInput;
  using Export = GeoTagFolderExportTaskInput;
  using Photos = ExportFileToPhotosTaskInput;
  const struct {
    const char* name;
    std::shared_ptr<TaskItem> task;
    const char* error;
  } cases[] = {
      {"no geotag input", std::make_shared<GeoTagFolderImportTaskItem>(), "Input is invalid"},
      {"no geotag editor", std::make_shared<GeoTagFolderImportTaskItem>(Import{}), "Editor is missing"},
      {"a file, no log", std::make_shared<GeoTagFolderImportTaskItem>(Import{file}), "Geo tag file is missing"},
      {"a file", std::make_shared<GeoTagFolderImportTaskItem>(Import{file, log}), "Input is not a folder"},
      {"no track input", std::make_shared<GeoTagFolderExportTaskItem>(), "Input is invalid"},
      {"no track editor", std::make_shared<GeoTagFolderExportTaskItem>(Export{}), "Editor is missing"},
      {"a file, no output", std::make_shared<GeoTagFolderExportTaskItem>(Export{file}), "Input is not a folder"},
      {"no output", std::make_shared<GeoTagFolderExportTaskItem>(Export{album}), "Missing output URL"},
      {"no sync input", std::make_shared<SyncFinderTagsTaskItem>(), "Input is invalid"},
      {"no sync editor", std::make_shared<SyncFinderTagsTaskItem>(SyncFinderTagsTaskInput{}), "Editor is missing"},
      {"no photos input", std::make_shared<ExportFileToPhotosTaskItem>(), "Input is invalid"},
      {"no URL", std::make_shared<ExportFileToPhotosTaskItem>(Photos{}), "URL is missing"},
  };
  EXPECT_TRUE(GeoTagFolderImportTaskItem::canApplyGeoTags({"/a/b.jpg", "/a/track.GPX"}));
  EXPECT_FALSE(GeoTagFolderImportTaskItem::canApplyGeoTags({"/a/b.jpg", "/a/gpx", "/a/.gpx"}));
  testing::EventRecorder fileLocks(file), albumLocks(album);
  {
    testing::RecordingRunner runner;
    for (const auto& c : cases) {
      c.task->performFromBackground();
      EXPECT_EQ(c.task->status(), TaskStatus::failed) << c.name;
      EXPECT_EQ(c.task->errorDescription(), c.error) << c.name;
    }
    EXPECT_THAT(runner.commands(), IsEmpty());
  }
  EXPECT_THAT(fileLocks.events(), IsEmpty());
  EXPECT_THAT(albumLocks.events(), IsEmpty());

  // A run that fails (its track cannot be written under a file) still unlocks.
  GeoTagFolderExportTaskItem track(Export{album, file->url() / "track.gpx"});
  track.performFromBackground();
  EXPECT_EQ(track.status(), TaskStatus::failed);
  EXPECT_THAT(albumLocks.events(), ElementsAre("locked", "unlocked"));
  EXPECT_FALSE(album->isLocked());

  const auto photo = std::make_shared<ExportFileToPhotosTaskItem>(Photos{file->url()});
  photo->performFromBackground();  // no runner: no permission
  EXPECT_EQ(photo->status(), TaskStatus::completed);
  for (const auto& [permission, answer, status] :
       std::vector<std::tuple<int, std::optional<std::map<std::string, std::string>>, TaskStatus>>{
           {-1743, std::nullopt, TaskStatus::completed},
           {0, std::map<std::string, std::string>{{"NSAppleScriptErrorMessage", "no"}}, TaskStatus::failed},
           {0, std::nullopt, TaskStatus::completed}}) {
    auto runner = std::make_shared<FakeScriptRunner>(permission, answer);
    ORVSetScriptRunner(runner);
    ExportFileToPhotosTaskItem send(Photos{file->url()});
    send.performFromBackground();
    ORVSetScriptRunner(nullptr);
    EXPECT_EQ(send.status(), status) << permission;
    EXPECT_EQ(runner->scripts.size(), permission == 0 ? 1u : 0u);
    if (status == TaskStatus::failed) {
      EXPECT_EQ(send.errorDescription(), "Script failed");
    }
  }
}

}  // namespace
}  // namespace orvelin
