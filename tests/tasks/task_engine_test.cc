#include "orvelin/tasks/tasks_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

#include "orvelin/support/main_queue.h"
#include "orvelin/support/notification_center.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;

// The engine's status steps and group counters run on the main queue: give it a thread.
class MainQueueEnvironment : public ::testing::Environment {
 public:
  void SetUp() override { MainQueue::shared().startOnOwnThread(); }
};
const auto* const mainQueue = ::testing::AddGlobalTestEnvironment(new MainQueueEnvironment);

// An ordered record of events, safe from any thread.
class Journal {
 public:
  void add(std::string event) {
    std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
  }
  std::vector<std::string> events() const {
    std::lock_guard lock(mutex_);
    return events_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> events_;
};

// A task whose body the test controls.
class ScriptedTask final : public TaskItem {
 public:
  explicit ScriptedTask(std::string name, bool fails = false) : name(std::move(name)), fails(fails) {}
  void internalProcess() override {
    if (body) body();
    if (fails) throw std::runtime_error("boom");
  }
  std::string title() const override { return name; }
  std::string subtitle() const override { return "~/" + name; }
  void flushResources() override { flushed = true; }

  const std::string name;
  const bool fails;
  std::function<void()> body;
  std::atomic<bool> flushed{false};
};

class Recorder : public TaskItemDelegate, public TasksGroupDelegate, public TasksManagerDelegate {
 public:
  explicit Recorder(Journal& journal) : journal_(journal) {}
  void taskItemDidUpdateStatus(TaskItem& task) override {
    journal_.add("delegate " + task.title() + " " + std::to_string(int(task.status())));
  }
  void taskItemDidProgress(TaskItem& task) override { journal_.add("progress " + task.title()); }
  void tasksGroupDidProgress(TasksGroup& group) override { journal_.add("group " + std::to_string(group.doneUnit())); }
  void tasksManagerDidAdd(TasksManager&, TasksGroup&) override { journal_.add("did-add"); }
  void tasksManagerDidRemove(TasksManager&, TasksGroup& group) override {
    journal_.add("did-remove " + std::to_string(group.tasksCount(TaskStatus::failed)));
  }

 private:
  Journal& journal_;
};

// Observes the notifications of one manager, and tells when a group was removed.
class ManagerObserver {
 public:
  ManagerObserver(TasksManager& manager, Journal& journal) {
    auto& center = NotificationCenter::defaultCenter();
    tokens_.push_back(center.addObserver(TasksManager::didAddGroupNotification, &manager, nullptr,
                                         [&journal](const Notification&) { journal.add("note did-add"); }));
    tokens_.push_back(center.addObserver(TasksManager::didRemoveGroupNotification, &manager, nullptr,
                                         [this, &journal](const Notification& note) {
                                           journal.add("note did-remove");
                                           std::lock_guard lock(mutex_);
                                           removed_.push_back(*note.userInfoValue<std::shared_ptr<TasksGroup>>(
                                               TasksManager::groupKey));
                                           changed_.notify_all();
                                         }));
  }
  ~ManagerObserver() {
    for (auto& token : tokens_) NotificationCenter::defaultCenter().removeObserver(token);
  }
  // Waits until `count` groups were removed.
  bool waitRemoved(std::size_t count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return removed_.size() >= count; });
  }
  std::size_t removedCount() {
    std::lock_guard lock(mutex_);
    return removed_.size();
  }

 private:
  std::vector<NotificationObserverToken> tokens_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::shared_ptr<TasksGroup>> removed_;
};

TEST(TaskEngine, AGroupOfThreeWithOneFailure) {
  Journal journal;
  auto recorder = std::make_shared<Recorder>(journal);
  auto manager = std::make_unique<TasksManager>();
  manager->delegate = recorder;
  ManagerObserver observer(*manager, journal);

  auto a = std::make_shared<ScriptedTask>("a");
  auto b = std::make_shared<ScriptedTask>("b", /*fails=*/true);
  auto c = std::make_shared<ScriptedTask>("c");
  // One after the other, so that the journal has one order.
  std::mutex serial;
  for (auto& task : {a, b, c}) {
    task->delegate = recorder;
    task->body = [&serial] { std::lock_guard lock(serial); };
  }
  auto group = std::make_shared<TasksGroup>("three", std::vector<std::shared_ptr<TaskItem>>{a, b, c});
  group->delegate = recorder;
  std::unique_lock hold(serial);  // the bodies wait until the group is announced
  manager->addToPendingList(group);
  const auto start = journal.events();
  ASSERT_GE(start.size(), 2u);
  EXPECT_EQ(start[0], "did-add");
  EXPECT_EQ(start[1], "note did-add");
  EXPECT_EQ(manager->groups().size(), 1u);
  EXPECT_TRUE(manager->isRunning());
  hold.unlock();
  ASSERT_TRUE(observer.waitRemoved(1));
  manager->waitAllGroups();

  const auto events = journal.events();
  // Each task: processing (1) then completed (2) or failed (3), the delegate first.
  for (const char* name : {"a", "c"}) {
    const auto processing = std::find(events.begin(), events.end(), std::string("delegate ") + name + " 1");
    const auto completed = std::find(events.begin(), events.end(), std::string("delegate ") + name + " 2");
    ASSERT_NE(processing, events.end());
    ASSERT_NE(completed, events.end());
    EXPECT_LT(processing, completed);
  }
  EXPECT_NE(std::find(events.begin(), events.end(), "delegate b 3"), events.end());
  EXPECT_EQ(std::count_if(events.begin(), events.end(), [](const auto& e) { return e.rfind("group ", 0) == 0; }), 3);
  // The end: the last count, the delegate's did-remove, then the notification.
  ASSERT_GE(events.size(), 3u);
  EXPECT_EQ(events[events.size() - 3], "group 3");
  EXPECT_EQ(events[events.size() - 2], "did-remove 1");
  EXPECT_EQ(events[events.size() - 1], "note did-remove");

  EXPECT_TRUE(group->isFinished());
  EXPECT_EQ(group->tasksCount(TaskStatus::failed), 1u);
  EXPECT_EQ(group->tasksCount(TaskStatus::completed), 2u);
  EXPECT_EQ(b->errorDescription(), "boom");
  EXPECT_EQ(a->errorDescription(), "");
  EXPECT_TRUE(a->flushed && b->flushed && c->flushed);
  EXPECT_FALSE(manager->isRunning());
}

TEST(TaskEngine, CancellingAGroupBeforeItRuns) {
  Journal journal;
  auto manager = std::make_unique<TasksManager>();
  ManagerObserver observer(*manager, journal);
  // Fill the queue's eight slots with a group that waits, so that the next one cannot start.
  std::promise<void> release;
  auto gate = release.get_future().share();
  std::vector<std::shared_ptr<TaskItem>> blockers;
  for (int i = 0; i < 8; ++i) {
    auto task = std::make_shared<ScriptedTask>("blocker");
    task->body = [gate] { gate.wait(); };
    blockers.push_back(task);
  }
  manager->addToPendingList(std::make_shared<TasksGroup>("blockers", blockers));
  std::vector<std::shared_ptr<TaskItem>> waiting;
  for (int i = 0; i < 5; ++i) waiting.push_back(std::make_shared<ScriptedTask>("waiting"));
  auto group = std::make_shared<TasksGroup>("cancelled", waiting);
  manager->addToPendingList(group);
  group->cancel();
  release.set_value();
  ASSERT_TRUE(observer.waitRemoved(2));
  manager->waitAllGroups();
  EXPECT_EQ(group->tasksCount(TaskStatus::cancelled), 5u);
  EXPECT_EQ(group->doneUnit(), group->totalUnit());
  EXPECT_EQ(observer.removedCount(), 2u);
  const auto events = journal.events();
  EXPECT_EQ(std::count(events.begin(), events.end(), "note did-remove"), 2);
}

TEST(TaskEngine, AtMostEightBodiesAtOnce) {
  auto manager = std::make_unique<TasksManager>();
  Journal journal;
  ManagerObserver observer(*manager, journal);
  std::atomic<int> running{0}, highest{0};
  std::vector<std::shared_ptr<TaskItem>> tasks;
  for (int i = 0; i < 40; ++i) {
    auto task = std::make_shared<ScriptedTask>("t");
    task->body = [&] {
      const int now = ++running;
      int seen = highest.load();
      while (now > seen && !highest.compare_exchange_weak(seen, now)) {
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      --running;
    };
    tasks.push_back(task);
  }
  // Two groups share the one width.
  manager->addToPendingList(std::make_shared<TasksGroup>("a", std::vector<std::shared_ptr<TaskItem>>(tasks.begin(), tasks.begin() + 20)));
  manager->addToPendingList(std::make_shared<TasksGroup>("b", std::vector<std::shared_ptr<TaskItem>>(tasks.begin() + 20, tasks.end())));
  ASSERT_TRUE(observer.waitRemoved(2));
  manager->waitAllGroups();
  EXPECT_LE(highest.load(), 8);
  EXPECT_GE(highest.load(), 2);
}

TEST(TaskEngine, AnEmptyGroupComesToNothing) {
  Journal journal;
  auto recorder = std::make_shared<Recorder>(journal);
  auto manager = std::make_unique<TasksManager>();
  manager->delegate = recorder;
  ManagerObserver observer(*manager, journal);
  auto group = std::make_shared<TasksGroup>("empty", std::vector<std::shared_ptr<TaskItem>>{});
  manager->addToPendingList(group);
  EXPECT_TRUE(journal.events().empty());
  EXPECT_FALSE(manager->isRunning());
  EXPECT_TRUE(group->isWaiting());
  EXPECT_TRUE(group->isFinished());
}

TEST(TaskEngine, CancelAllTasksLeavesDroppedGroupsBehind) {
  auto manager = std::make_unique<TasksManager>();
  std::promise<void> release;
  auto gate = release.get_future().share();
  std::vector<std::shared_ptr<TaskItem>> blockers;
  for (int i = 0; i < 8; ++i) {
    auto task = std::make_shared<ScriptedTask>("blocker");
    task->body = [gate] { gate.wait(); };
    blockers.push_back(task);
  }
  auto running = std::make_shared<TasksGroup>("running", blockers);
  manager->addToPendingList(running);
  auto later = std::make_shared<TasksGroup>("later", std::vector<std::shared_ptr<TaskItem>>{
                                                         std::make_shared<ScriptedTask>("x"), std::make_shared<ScriptedTask>("y")});
  manager->addToPendingList(later);
  // Wait until the eight blockers run.
  for (int i = 0; i < 1000 && running->tasksCount(TaskStatus::processing) < 8; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  manager->cancelAllTasks();
  release.set_value();
  manager->waitAllGroups();
  MainQueue::shared().waitUntilIdle();
  EXPECT_EQ(later->tasksCount(TaskStatus::cancelled), 2u);
  EXPECT_EQ(later->doneUnit(), 0);
  // The running group ended; the one whose blocks were dropped stays.
  const auto groups = manager->groups();
  ASSERT_EQ(groups.size(), 1u);
  EXPECT_EQ(groups[0], later);
  EXPECT_TRUE(manager->isRunning());
}

TEST(TaskItemLife, CancelOnlyAPendingTaskAndRunOnce) {
  Journal journal;
  auto recorder = std::make_shared<Recorder>(journal);
  auto task = std::make_shared<ScriptedTask>("t");
  task->delegate = recorder;
  std::promise<void> done;
  task->perform([&] { done.set_value(); });
  ASSERT_EQ(done.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_EQ(task->status(), TaskStatus::completed);
  const auto before = journal.events().size();
  task->cancel();
  EXPECT_EQ(task->status(), TaskStatus::completed);
  // A second run calls back once, with no status change.
  std::promise<void> again;
  task->perform([&] { again.set_value(); });
  ASSERT_EQ(again.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_EQ(journal.events().size(), before);

  // A running task cannot be cancelled.
  std::promise<void> entered, leave;
  auto leaveFuture = leave.get_future().share();
  auto running = std::make_shared<ScriptedTask>("r");
  running->body = [&entered, leaveFuture] {
    entered.set_value();
    leaveFuture.wait();
  };
  std::promise<void> finished;
  running->perform([&] { finished.set_value(); });
  entered.get_future().wait();
  running->cancel();
  EXPECT_EQ(running->status(), TaskStatus::processing);
  leave.set_value();
  finished.get_future().wait();
  EXPECT_EQ(running->status(), TaskStatus::completed);

  auto pending = std::make_shared<ScriptedTask>("p");
  pending->cancel();
  EXPECT_EQ(pending->status(), TaskStatus::cancelled);
}

TEST(TaskItemLife, ProgressNotifiesEveryTime) {
  auto task = std::make_shared<ScriptedTask>("t");
  int notes = 0;
  auto token = NotificationCenter::defaultCenter().addObserver(TaskItem::didProgressNotification, task.get(), nullptr,
                                                              [&](const Notification&) { ++notes; });
  task->setProgress(0.5);
  task->setProgress(0.5);
  NotificationCenter::defaultCenter().removeObserver(token);
  EXPECT_EQ(notes, 2);
  EXPECT_EQ(task->progress(), 0.5);
}

TEST(TaskStatus, TitlesAndFinishedStates) {
  EXPECT_EQ(TaskStatus(TaskStatus::cancelled).localizedDescription(), "Cancelled");
  EXPECT_FALSE(TaskStatus(TaskStatus::processing).isFinished());
  EXPECT_TRUE(TaskStatus(TaskStatus::failed).isFinished());
}

TEST(TaskItemDeathTest, AbstractMembersStop) {
  class Bare : public TaskItem {};
  Bare bare;
  EXPECT_DEATH(bare.internalProcess(), "SHOULD BE IMPLEMENTED BY SUBCLASS internalProcess\\(\\)");
  EXPECT_DEATH((void)bare.title(), "SHOULD BE IMPLEMENTED BY SUBCLASS title");
}

}  // namespace
}  // namespace orvelin
