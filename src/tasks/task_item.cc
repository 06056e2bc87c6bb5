#include "orvelin/tasks/task_item.h"

#include "orvelin/support/debug_log.h"
#include "orvelin/support/fatal.h"
#include "orvelin/support/files.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/parallel.h"
#include "orvelin/support/string_extensions.h"
#include "tasks/task_paths.h"

namespace orvelin {

const std::string TaskItem::didUpdateStatusNotification = "AbstractTaskDidUpdateStatusNotification";
const std::string TaskItem::didProgressNotification = "AbstractTaskDidProgressNotification";

std::string TaskStatus::localizedDescription() const {
  switch (value_) {
    case pending: return ORVTL("TaskStatusPendingTitle");
    case processing: return ORVTL("TaskStatusProcessingTitle");
    case completed: return ORVTL("TaskStatusCompletedTitle");
    case failed: return ORVTL("TaskStatusFailedTitle");
    case cancelled: return ORVTL("TaskStatusCancelledTitle");
  }
  return {};
}

TaskStatus TaskItem::status() const {
  std::lock_guard lock(mutex_);
  return status_;
}

std::optional<double> TaskItem::progress() const {
  std::lock_guard lock(mutex_);
  return progress_;
}

std::exception_ptr TaskItem::error() const {
  std::lock_guard lock(mutex_);
  return error_;
}

std::string TaskItem::errorDescription() const {
  const auto failure = error();
  if (!failure) return {};
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "Unknown error";
  }
}

void TaskItem::setStatus(TaskStatus status) {
  {
    std::lock_guard lock(mutex_);
    status_ = status;
  }
  didUpdateStatus();
}

bool TaskItem::changeStatus(TaskStatus from, TaskStatus to) {
  {
    std::lock_guard lock(mutex_);
    if (status_ != from) return false;
    status_ = to;
  }
  didUpdateStatus();
  return true;
}

void TaskItem::didUpdateStatus() {
  if (auto target = delegate.lock()) target->taskItemDidUpdateStatus(*this);
  NotificationCenter::defaultCenter().post(didUpdateStatusNotification, this);
}

void TaskItem::setProgress(std::optional<double> progress) {
  {
    std::lock_guard lock(mutex_);
    progress_ = progress;
  }
  if (auto target = delegate.lock()) target->taskItemDidProgress(*this);
  NotificationCenter::defaultCenter().post(didProgressNotification, this);
}

void TaskItem::performFromBackground() {
  auto& main = MainQueue::shared();
  // One step from pending to processing: a cancel() from another thread comes before it (and
  // the task does not run) or after it (and is refused).
  bool started = false;
  main.sync([&] { started = changeStatus(TaskStatus::pending, TaskStatus::processing); });
  if (!started) return;
  try {
    internalProcess();
  } catch (...) {
    const auto failure = std::current_exception();
    main.sync([&] {
      {
        std::lock_guard lock(mutex_);
        error_ = failure;
        status_ = TaskStatus::failed;
      }
      didUpdateStatus();
      debugLog();
    });
    return;
  }
  main.sync([&] {
    if (!status().isFinished()) setStatus(TaskStatus::completed);
  });
}

void TaskItem::perform(std::function<void()> completion) {
  WorkerPool::shared().async([self = shared_from_this(), completion = std::move(completion)]() mutable {
    self->performFromBackground();
    MainQueue::shared().async([completion = std::move(completion)] {
      if (completion) completion();
    });
  });
}

void TaskItem::cancel() { changeStatus(TaskStatus::pending, TaskStatus::cancelled); }

void TaskItem::internalProcess() { ORVFatal("SHOULD BE IMPLEMENTED BY SUBCLASS internalProcess()"); }

std::string TaskItem::title() const { ORVFatal("SHOULD BE IMPLEMENTED BY SUBCLASS title"); }

std::string TaskItem::subtitle() const { ORVFatal("SHOULD BE IMPLEMENTED BY SUBCLASS subtitle"); }

void TaskItem::debugLog() const {
  if (!ORVIsDebugLogEnabled()) return;
  ORVDebugLogWrite("Task failed:");
  ORVDebugLogWrite("Title " + title());
  ORVDebugLogWrite("Subtitle " + subtitle());
  const auto description = errorDescription();
  ORVDebugLogWrite(description.empty() ? "No error" : description);
}

std::string TaskItem::kindTitle(std::string_view kind, const std::optional<std::string>& path) {
  return ORVTL(std::string(kind) + "TaskTitle", {path ? tasks::lastPathComponent(*path) : std::string("nil")});
}

std::string TaskItem::kindSubtitle(const std::optional<std::string>& path) {
  if (!path) return "nil";
  std::string text = *path;
  auto home = ORVHomeDirectory().string();
  while (home.size() > 1 && home.back() == '/') home.pop_back();
  if (home != "/") replacePrefix(text, home, "~");  // a root home would turn every "/" into "~"
  return text;
}

}  // namespace orvelin
