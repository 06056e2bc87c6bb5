#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "orvelin/support/operation_queue.h"
#include "orvelin/tasks/tasks_group.h"

namespace orvelin {

class TasksManager;

class TasksManagerDelegate {
 public:
  virtual ~TasksManagerDelegate() = default;
  virtual void tasksManagerDidAdd(TasksManager& manager, TasksGroup& group) = 0;
  virtual void tasksManagerDidRemove(TasksManager& manager, TasksGroup& group) = 0;
};

// Runs the tasks of groups on a queue of width 8 (the program's one bound on parallel tasks),
// and keeps the groups that have not ended.
//
// A group added is announced (delegate, then "TasksManagerDidAddGroupNotification" with the
// group under "Group") before its first task is queued. Each task runs on a queue thread; then,
// on the main queue, the group's doneUnit grows by one atomic count; the one count that reaches
// totalUnit makes the group leave `groups`, be announced ("TasksManagerDidRemoveGroupNotification",
// after the delegate) and have its resources flushed, once. Once a thread pumps the main queue
// (MainQueue), it must go on pumping for tasks to end.
//
// Safe for concurrent use: `groups` is guarded by an internal lock. Held by std::shared_ptr;
// the destructor waits for the tasks under way and so must not run on the main thread while
// they run.
class TasksManager {
 public:
  // The process's manager. Belongs to the library and is never deleted.
  static TasksManager& shared();

  TasksManager();
  TasksManager(const TasksManager&) = delete;
  TasksManager& operator=(const TasksManager&) = delete;
  ~TasksManager();

  std::weak_ptr<TasksManagerDelegate> delegate;

  std::vector<std::shared_ptr<TasksGroup>> groups() const;
  bool isRunning() const;

  // Appends the group and queues one block per task; an empty group is ignored entirely.
  void addToPendingList(const std::shared_ptr<TasksGroup>& group);
  // Cancels every pending task of every group, then drops the queued blocks not yet begun:
  // groups whose blocks were dropped never end and stay in `groups`.
  void cancelAllTasks();
  // Blocks until the queue is idle. REQUIRES: not on the main thread while tasks run.
  void waitAllGroups();
  // Calls the delegate's did-remove alone.
  void informsDelegateDidRemove(TasksGroup& group);

  static const std::string didAddGroupNotification;     // "TasksManagerDidAddGroupNotification"
  static const std::string didRemoveGroupNotification;  // "TasksManagerDidRemoveGroupNotification"
  static const std::string groupKey;                    // "Group"

 private:
  void performDidAdd(const std::shared_ptr<TasksGroup>& group);
  void performDidRemove(const std::shared_ptr<TasksGroup>& group);
  void taskCameBack(const std::shared_ptr<TasksGroup>& group);

  mutable std::mutex mutex_;  // guards groups_
  std::vector<std::shared_ptr<TasksGroup>> groups_;
  OperationQueue tasksQueue_;
};

// Turns a host's choices into a group of tasks of one kind. A plain value.
template <typename Task>
class TasksGenerator {
 public:
  virtual ~TasksGenerator() = default;
  virtual std::string defaultGroupLabel() const = 0;
  virtual std::vector<std::shared_ptr<Task>> generateTasks() const = 0;

  // The tasks first, then the label.
  std::shared_ptr<TasksGroup> generateGroup() const {
    auto tasks = generateTasks();
    std::vector<std::shared_ptr<TaskItem>> items(tasks.begin(), tasks.end());
    return std::make_shared<TasksGroup>(defaultGroupLabel(), std::move(items));
  }
  // generateGroup() handed to TasksManager::shared() (or `manager`); returns the group.
  std::shared_ptr<TasksGroup> addGeneratedGroupToPendingList(TasksManager& manager = TasksManager::shared()) const {
    auto group = generateGroup();
    manager.addToPendingList(group);
    return group;
  }
};

}  // namespace orvelin
