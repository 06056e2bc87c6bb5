#include "batch.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <condition_variable>
#include <mutex>

#include "orvelin/support/notification_center.h"
#include "orvelin/tasks/tasks_manager.h"

namespace orvelin::tool {

namespace {

constexpr std::int64_t kProgressFromTasks = 4;

// The progress line: rewritten in place at each step, cleared at the end.
class ProgressLine {
 public:
  explicit ProgressLine(const TasksGroup& group) : group_(group), start_(std::chrono::steady_clock::now()) {}

  void update() {
    const auto done = group_.doneUnit();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
    const double rate = elapsed.count() > 0 ? static_cast<double>(done) / elapsed.count() : 0.0;
    std::string current;
    for (const auto& task : group_.tasks) {
      if (task->status() == TaskStatus::processing) {
        current = task->title();
        break;
      }
    }
    if (current.size() > 48) current = "…" + current.substr(current.size() - 47);
    std::fprintf(stderr, "\r\033[K%s %lld/%lld  %s  %.1f files/s", group_.label.c_str(), static_cast<long long>(done),
                 static_cast<long long>(group_.totalUnit()), current.c_str(), rate);
    std::fflush(stderr);
  }

  void clear() {
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
  }

 private:
  const TasksGroup& group_;
  const std::chrono::steady_clock::time_point start_;
};

}  // namespace

void runGroup(const std::shared_ptr<TasksGroup>& group, bool quiet, const std::function<void()>& whileRemoving) {
  if (group->tasks.empty()) return;
  auto& center = NotificationCenter::defaultCenter();
  auto& manager = TasksManager::shared();
  const bool showProgress = !quiet && ::isatty(STDERR_FILENO) && group->totalUnit() >= kProgressFromTasks;
  auto line = std::make_shared<ProgressLine>(*group);

  NotificationObserverToken progress;
  if (showProgress)
    progress = center.addObserver(TasksGroup::didProgressNotification, group.get(), nullptr,
                                  [line](const Notification&) { line->update(); });
  // Shared with the observer, which may still be returning when this function goes on.
  struct Done {
    std::mutex mutex;
    std::condition_variable changed;
    bool removed = false;
  };
  auto done = std::make_shared<Done>();
  auto removal = center.addObserver(
      TasksManager::didRemoveGroupNotification, &manager, nullptr,
      [done, group, line, showProgress, whileRemoving](const Notification& note) {
        auto which = note.userInfoValue<std::shared_ptr<TasksGroup>>(TasksManager::groupKey);
        if (!which || *which != group) return;
        if (showProgress) line->clear();
        if (whileRemoving) whileRemoving();
        std::lock_guard lock(done->mutex);
        done->removed = true;
        done->changed.notify_all();
      });
  manager.addToPendingList(group);
  {
    std::unique_lock lock(done->mutex);
    done->changed.wait(lock, [&] { return done->removed; });
  }
  center.removeObserver(removal);
  if (progress) center.removeObserver(progress);
}

}  // namespace orvelin::tool
