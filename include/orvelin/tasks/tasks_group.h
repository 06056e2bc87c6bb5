#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "orvelin/tasks/task_item.h"

namespace orvelin {

class TasksGroup;

class TasksGroupDelegate {
 public:
  virtual ~TasksGroupDelegate() = default;
  virtual void tasksGroupDidProgress(TasksGroup& group) = 0;
};

// A labelled batch of tasks, in their order of start. Its one state is doneUnit, the number of
// tasks that came back from the queue (finished, failed or cancelled alike), counted by the
// manager on the main queue. doneUnit is atomic: each count is one indivisible step whose result
// tells the manager whether it was the last, so that a group ends exactly once whatever thread
// counts. Held by std::shared_ptr; equality is identity. Safe to read from any thread.
class TasksGroup {
 public:
  TasksGroup(std::string label, std::vector<std::shared_ptr<TaskItem>> tasks);
  TasksGroup(const TasksGroup&) = delete;
  TasksGroup& operator=(const TasksGroup&) = delete;

  const std::string label;
  const std::chrono::system_clock::time_point creationDate;
  const std::vector<std::shared_ptr<TaskItem>> tasks;
  std::weak_ptr<TasksGroupDelegate> delegate;

  std::int64_t doneUnit() const { return doneUnit_.load(); }
  // Sets doneUnit, calls the delegate, posts "TasksGroupDidProgressNotification" (object the
  // group) on the caller's thread.
  void setDoneUnit(std::int64_t doneUnit);
  std::int64_t totalUnit() const { return static_cast<std::int64_t>(tasks.size()); }
  bool isWaiting() const { return doneUnit() == 0; }
  bool isProcessing() const { return doneUnit() >= 1 && doneUnit() < totalUnit(); }
  // doneUnit equals totalUnit: an empty group is waiting and finished at once.
  bool isFinished() const { return doneUnit() == totalUnit(); }
  std::size_t tasksCount(TaskStatus status) const;

  // Cancels the tasks still pending, in order; their queued blocks still come back and count.
  void cancel();
  // Each task's flushResources().
  void flushResources();


  static const std::string didProgressNotification;  // "TasksGroupDidProgressNotification"

 private:
  friend class TasksManager;
  // Adds one to doneUnit in one atomic step, then calls the delegate and posts as
  // setDoneUnit() does. Returns the count this call made.
  std::int64_t countDoneUnit();
  void didProgress();

  std::atomic<std::int64_t> doneUnit_{0};
};

}  // namespace orvelin
