#include "orvelin/tasks/task_item.h"

#include <thread>

#include "orvelin/support/debug_log.h"
#include "orvelin/support/fatal.h"
#include "orvelin/support/files.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/parallel.h"

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
  bool pendingNow = false;
  main.sync([&] { pendingNow = status() == TaskStatus::pending; });
  if (!pendingNow) return;
  main.sync([&] { setStatus(TaskStatus::processing); });
  try {
    internalProcess();
  } catch (...) {
    const auto failure = std::current_exception();
    main.sync([&] {
      {
        std::lock_guard lock(mutex_);
        error_ = failure;
      }
      setStatus(TaskStatus::failed);
      debugLog();
    });
    return;
  }
  main.sync([&] {
    if (!status().isFinished()) setStatus(TaskStatus::completed);
  });
}

void TaskItem::perform(std::function<void()> completion) {
  // A thread of its own: the shared worker pool is for short parallel loops, not for work
  // that waits on the main queue.
  std::thread([self = shared_from_this(), completion = std::move(completion)]() mutable {
    self->performFromBackground();
    MainQueue::shared().async([completion = std::move(completion)] {
      if (completion) completion();
    });
  }).detach();
}

void TaskItem::cancel() {
  if (status() == TaskStatus::pending) setStatus(TaskStatus::cancelled);
}

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
  std::string name = "nil";
  if (path) name = std::filesystem::path(*path).filename().string();
  return ORVTL(std::string(kind) + "TaskTitle", {name});
}

std::string TaskItem::kindSubtitle(const std::optional<std::string>& path) {
  if (!path) return "nil";
  std::string text = *path;
  const auto home = ORVHomeDirectory().string();
  if (!home.empty() && home != "/" && text.rfind(home, 0) == 0 &&
      (text.size() == home.size() || text[home.size()] == '/'))
    text.replace(0, home.size(), "~");
  return text;
}

}  // namespace orvelin
