#include "orvelin/tasks/tasks_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <cstdlib>
#include <future>
#include <iostream>
#include <mutex>
#include <thread>

#include "common/event_log.h"
#include "common/gate.h"
#include "common/test_support.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/notification_center.h"

namespace orvelin {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using Journal = testing::EventLog;

// A task whose body the test controls.
class ScriptedTask final : public TaskItem {
 public:
  explicit ScriptedTask(std::string name, bool fails = false, Journal* journal = nullptr)
      : name(std::move(name)), fails(fails), journal(journal) {}
  void internalProcess() override {
    if (body) body();
    if (fails) throw std::runtime_error("boom");
  }
  std::string title() const override { return name; }
  std::string subtitle() const override { return "~/" + name; }
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

using testing::Gate;
using testing::Observation;

// `count` tasks whose bodies wait at `gate`.
std::vector<std::shared_ptr<TaskItem>> gatedTasks(Gate& gate, int count) {
  std::vector<std::shared_ptr<TaskItem>> tasks;
  for (int i = 0; i < count; ++i) {
    auto task = std::make_shared<ScriptedTask>("gated");
    task->body = gate.body();
    tasks.push_back(task);
  }
  return tasks;
}

// The engine's status steps and group counters run on the main queue: these tests give it a
// thread of its own. Each test has a manager whose notifications go to the journal. Each block
// comes back to its group on the main queue before it ends: once waitAllGroups() returns, every
// group whose blocks all ran was removed.
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
  auto a = std::make_shared<ScriptedTask>("a", false, &journal);
  auto b = std::make_shared<ScriptedTask>("b", /*fails=*/true, &journal);
  auto c = std::make_shared<ScriptedTask>("c", false, &journal);
  auto group = groupOf("three", {a, b, c});
  group->delegate = recorder;
  Observation groupNotes(TasksGroup::didProgressNotification, group.get(), [&](const Notification&) {
    journal.add("note group " + std::to_string(group->doneUnit()));
  });
  Observation statusNotes(TaskItem::didUpdateStatusNotification, nullptr, [&](const Notification& note) {
    const auto* task = static_cast<const TaskItem*>(note.object);
    journal.add("note " + task->title() + " " + statusNames[task->status()]);
  });
  // One body after the other, so that the journal has one order; none before the announcement.
  std::mutex serial;
  for (const auto& task : {a, b, c}) {
    task->delegate = recorder;
    task->body = [&serial] { std::lock_guard lock(serial); };
  }
  std::unique_lock hold(serial);
  manager.addToPendingList(group);
  hold.unlock();
  manager.waitAllGroups();

  const auto events = journal.events();
  ASSERT_GE(events.size(), 9u);
  // The announcement comes before the first block is queued: every task is still pending.
  EXPECT_THAT(std::vector<std::string>(events.begin(), events.begin() + 2),
              ElementsAre("did-add, pending 3", "note did-add, pending 3"));
  // Each change of status and each count of the group: the delegate, then the notification, then
  // nothing in between.
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

TEST_F(TaskEngine, EightBodiesAtOnceAndNoMore) {
  Gate gate;
  const auto tasks = gatedTasks(gate, 24);
  // Two groups share the one width; a third, cancelled while it waits behind them, still ends.
  manager.addToPendingList(groupOf("a", std::vector<std::shared_ptr<TaskItem>>(tasks.begin(), tasks.begin() + 12)));
  manager.addToPendingList(groupOf("b", std::vector<std::shared_ptr<TaskItem>>(tasks.begin() + 12, tasks.end())));
  auto cancelled = groupOf("cancelled", {std::make_shared<ScriptedTask>("x"), std::make_shared<ScriptedTask>("y")});
  manager.addToPendingList(cancelled);
  cancelled->cancel();
  const bool reached = gate.awaitWaiting(8);
  gate.open();
  EXPECT_TRUE(reached) << "the queue never ran 8 bodies at once; it ran " << gate.highest();
  manager.waitAllGroups();
  EXPECT_EQ(gate.highest(), 8);
  EXPECT_EQ(cancelled->tasksCount(TaskStatus::cancelled), 2u);
  const auto events = journal.events();
  EXPECT_EQ(std::count(events.begin(), events.end(), "note did-remove"), 3);
}

TEST_F(TaskEngine, CancelAllTasksLeavesDroppedGroupsBehind) {
  Gate gate;
  manager.addToPendingList(groupOf("running", gatedTasks(gate, 8)));
  auto later = groupOf("later", {std::make_shared<ScriptedTask>("x"), std::make_shared<ScriptedTask>("y")});
  manager.addToPendingList(later);
  const bool full = gate.awaitWaiting(8);
  manager.cancelAllTasks();
  gate.open();
  ASSERT_TRUE(full);
  manager.waitAllGroups();
  EXPECT_EQ(later->tasksCount(TaskStatus::cancelled), 2u);
  EXPECT_EQ(later->doneUnit(), 0);
  // The running group ended; the one whose blocks were dropped stays.
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
  auto failed = std::make_shared<ScriptedTask>("f", /*fails=*/true);
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
  // A pending task runs, then its completion is called (a running task refuses a cancel: the
  // race test shows it).
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
    tasks.push_back(std::make_shared<ScriptedTask>("race"));
    tasks.back()->delegate = recorders.emplace_back(std::make_shared<Recorder>(journals[i]));
    tasks.back()->body = [&journal = journals[i]] { journal.add("body"); };
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

}  // namespace
}  // namespace orvelin
