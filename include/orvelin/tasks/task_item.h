#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace orvelin {

// The state of a task. pending -> processing -> completed or failed; pending -> cancelled.
class TaskStatus {
 public:
  enum Value : std::uint8_t { pending, processing, completed, failed, cancelled };

  constexpr TaskStatus(Value value = pending) : value_(value) {}  // NOLINT: implicit by design
  constexpr operator Value() const { return value_; }           // NOLINT

  // completed, failed or cancelled.
  bool isFinished() const { return value_ >= completed; }
  // "TaskStatusPendingTitle"... through the default table.
  std::string localizedDescription() const;

 private:
  Value value_;
};

class TaskItem;

// Told of a task's changes, on the main queue when the task runs through the engine.
class TaskItemDelegate {
 public:
  virtual ~TaskItemDelegate() = default;
  virtual void taskItemDidUpdateStatus(TaskItem& task) = 0;
  virtual void taskItemDidProgress(TaskItem& task) = 0;
};

// One unit of background work, run once. Subclasses give internalProcess(), title() and
// subtitle() (the base class stops the process when they are missing) and may drop what they
// hold in flushResources().
//
// Held by std::shared_ptr; equality is identity. Every change of status (and progress) calls
// the delegate first, then posts "AbstractTaskDidUpdateStatusNotification"
// ("AbstractTaskDidProgressNotification") with the task as object, on the thread of the
// change: the main queue when the task runs through performFromBackground(), perform() or a
// TasksManager. status(), progress() and error() may be read from any thread; an internal
// lock guards the three, and each change of status is one step under it (a task goes from
// pending to processing or to cancelled, never to both).
class TaskItem : public std::enable_shared_from_this<TaskItem> {
 public:
  TaskItem() = default;
  TaskItem(const TaskItem&) = delete;
  TaskItem& operator=(const TaskItem&) = delete;
  virtual ~TaskItem() = default;

  TaskStatus status() const;
  std::optional<double> progress() const;
  // The error internalProcess() threw; set by the engine only.
  std::exception_ptr error() const;
  // The error's text, or "" when there is none.
  std::string errorDescription() const;

  // Sets the progress (a fraction), calls the delegate and posts, on the caller's thread: a
  // subclass reporting progress hops to the main queue itself. Equal values notify again.
  void setProgress(std::optional<double> progress);

  std::weak_ptr<TaskItemDelegate> delegate;

  // Runs the task on the calling thread, which must not be the main thread (the status steps
  // are synchronous hops to the main queue): pending -> processing -> internalProcess() ->
  // failed (with the error, and debugLog()) or completed. Does nothing when not pending.
  virtual void performFromBackground();
  // Runs performFromBackground() on the process's shared worker pool (WorkerPool::shared(),
  // no thread of its own) and then `completion` on the main queue, once, whatever happened,
  // also when the task was not pending. Returns at once. The body shares the pool's threads:
  // one that waits for other blocks of the pool may wait for ever once every worker waits
  // likewise. REQUIRES: the task is held by a std::shared_ptr (the block keeps it alive).
  virtual void perform(std::function<void()> completion);
  // pending -> cancelled, in one step under the status lock, with the delegate call and the
  // notification on the caller's thread; a task that is processing or finished is left alone
  // and nothing is sent.
  virtual void cancel();

  virtual void internalPreProcess() {}
  // The work; throws to fail the task.
  virtual void internalProcess();
  virtual void internalPostProcess() {}
  virtual std::string title() const;
  virtual std::string subtitle() const;
  // Drops what the task holds once its group has ended; status, error, title and subtitle
  // stay readable.
  virtual void flushResources() {}
  // Writes "Task failed:", the title, the subtitle and the error (or "No error") to the debug
  // log when it is on.
  virtual void debugLog() const;

  static const std::string didUpdateStatusNotification;  // "AbstractTaskDidUpdateStatusNotification"
  static const std::string didProgressNotification;      // "AbstractTaskDidProgressNotification"

 protected:
  // Sets the status, calls the delegate, posts; on the caller's thread. Subclasses may set a
  // final status inside internalProcess(), which the engine then keeps.
  void setStatus(TaskStatus status);

  // The title and subtitle shared by the task kinds: "<Kind>TaskTitle" formatted with the last
  // component of the URL's path (a trailing "/" ignored), and the path with the home folder
  // replaced by "~"; "nil" without URL.
  static std::string kindTitle(std::string_view kind, const std::optional<std::string>& path);
  static std::string kindSubtitle(const std::optional<std::string>& path);

 private:
  // Sets `to` when the status is `from`, in one step; then calls the delegate and posts.
  // Returns whether it did.
  bool changeStatus(TaskStatus from, TaskStatus to);
  // The delegate call, then the notification.
  void didUpdateStatus();

  mutable std::mutex mutex_;  // guards the three fields below
  TaskStatus status_;
  std::optional<double> progress_;
  std::exception_ptr error_;
};

}  // namespace orvelin
