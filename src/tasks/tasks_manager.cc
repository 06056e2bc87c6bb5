#include "orvelin/tasks/tasks_manager.h"

#include "orvelin/support/clock.h"

#include <algorithm>

#include "orvelin/support/resources.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/notification_center.h"

namespace orvelin {

const std::string TasksGroup::didProgressNotification = "TasksGroupDidProgressNotification";
const std::string TasksManager::didAddGroupNotification = "TasksManagerDidAddGroupNotification";
const std::string TasksManager::didRemoveGroupNotification = "TasksManagerDidRemoveGroupNotification";
const std::string TasksManager::groupKey = "Group";

// ---------------------------------------------------------------------------------------------
// Group

TasksGroup::TasksGroup(std::string label, std::vector<std::shared_ptr<TaskItem>> tasks)
    : label(std::move(label)), creationDate(ORVGetClock()->now()), tasks(std::move(tasks)) {}

void TasksGroup::setDoneUnit(std::int64_t doneUnit) {
  doneUnit_ = doneUnit;
  didProgress();
}

std::int64_t TasksGroup::countDoneUnit() {
  const auto count = doneUnit_.fetch_add(1) + 1;
  didProgress();
  return count;
}

void TasksGroup::didProgress() {
  if (auto target = delegate.lock()) target->tasksGroupDidProgress(*this);
  NotificationCenter::defaultCenter().post(didProgressNotification, this);
}

std::size_t TasksGroup::tasksCount(TaskStatus status) const {
  return static_cast<std::size_t>(
      std::count_if(tasks.begin(), tasks.end(), [status](const auto& task) { return task->status() == status; }));
}

void TasksGroup::cancel() {
  for (const auto& task : tasks) task->cancel();
}

void TasksGroup::flushResources() {
  for (const auto& task : tasks) task->flushResources();
}

// ---------------------------------------------------------------------------------------------
// Manager

TasksManager& TasksManager::shared() {
  static auto* manager = new TasksManager;
  return *manager;
}

TasksManager::TasksManager() : tasksQueue_(8, ORVBundleLabel("TasksManager", "tasksQueue")) {}

TasksManager::~TasksManager() {
  tasksQueue_.cancelAllOperations();
  tasksQueue_.waitUntilAllOperationsAreFinished();
}

std::vector<std::shared_ptr<TasksGroup>> TasksManager::groups() const {
  std::lock_guard lock(mutex_);
  return groups_;
}

bool TasksManager::isRunning() const {
  std::lock_guard lock(mutex_);
  return !groups_.empty();
}

void TasksManager::addToPendingList(const std::shared_ptr<TasksGroup>& group) {
  if (!group || group->tasks.empty()) return;
  {
    std::lock_guard lock(mutex_);
    groups_.push_back(group);
  }
  performDidAdd(group);
  // Each block keeps its group and task alive; the manager outlives its blocks (its destructor
  // waits for them).
  for (const auto& task : group->tasks) {
    tasksQueue_.addOperation([this, group, task] {
      task->performFromBackground();
      MainQueue::shared().sync([&] { taskCameBack(group); });
    });
  }
}

void TasksManager::taskCameBack(const std::shared_ptr<TasksGroup>& group) {
  // Only the count that reaches totalUnit ends the group: one count, one caller.
  if (group->countDoneUnit() != group->totalUnit()) return;
  {
    std::lock_guard lock(mutex_);
    if (auto found = std::find(groups_.begin(), groups_.end(), group); found != groups_.end()) groups_.erase(found);
  }
  performDidRemove(group);
  group->flushResources();
}

void TasksManager::cancelAllTasks() {
  for (const auto& group : groups())
    for (const auto& task : group->tasks) task->cancel();
  tasksQueue_.cancelAllOperations();
}

void TasksManager::waitAllGroups() { tasksQueue_.waitUntilAllOperationsAreFinished(); }

void TasksManager::informsDelegateDidRemove(TasksGroup& group) {
  if (auto target = delegate.lock()) target->tasksManagerDidRemove(*this, group);
}

void TasksManager::performDidAdd(const std::shared_ptr<TasksGroup>& group) {
  if (auto target = delegate.lock()) target->tasksManagerDidAdd(*this, *group);
  NotificationCenter::defaultCenter().post(didAddGroupNotification, this, {{groupKey, group}});
}

void TasksManager::performDidRemove(const std::shared_ptr<TasksGroup>& group) {
  if (auto target = delegate.lock()) target->tasksManagerDidRemove(*this, *group);
  NotificationCenter::defaultCenter().post(didRemoveGroupNotification, this, {{groupKey, group}});
}

}  // namespace orvelin
