#include "batch.h"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/tasks/image_tasks.h"
#include "orvelin/tasks/tasks_manager.h"

namespace orvelin::tool {

namespace fs = std::filesystem;

namespace {

// A group of fewer tasks ends before a line would tell anything.
constexpr std::int64_t kProgressFromTasks = 4;
// The longest title shown, in bytes.
constexpr std::size_t kTitleWidth = 48;

// The last `width` bytes of `text` at most, starting on a whole UTF-8 character, after "…".
std::string tail(const std::string& text, std::size_t width) {
  if (text.size() <= width) return text;
  auto start = text.size() - width + 1;
  while (start < text.size() && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) ++start;
  return "…" + text.substr(start);
}

// The progress line of one group, rewritten in place at each step and wiped at the end. It is
// the delegate of the group and of its tasks: the task that enters processing becomes the
// current one, so that no step looks through the tasks. Every call comes on the main queue,
// which serialises them; nothing here needs a lock.
class ProgressLine final : public TaskItemDelegate, public TasksGroupDelegate {
 public:
  explicit ProgressLine(const TasksGroup& group)
      : label_(group.label), total_(group.totalUnit()), start_(std::chrono::steady_clock::now()) {}

  void taskItemDidUpdateStatus(TaskItem& task) override {
    if (task.status() != TaskStatus::processing) return;
    current_ = tail(task.title(), kTitleWidth);
    draw();
  }
  void taskItemDidProgress(TaskItem&) override {}
  void tasksGroupDidProgress(TasksGroup& group) override {
    done_ = group.doneUnit();
    draw();
  }

  void clear() {
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
  }

 private:
  void draw() {
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
    const double rate = elapsed.count() > 0 ? static_cast<double>(done_) / elapsed.count() : 0.0;
    std::fprintf(stderr, "\r\033[K%s %lld/%lld  %s  %.1f files/s", label_.c_str(), static_cast<long long>(done_),
                 static_cast<long long>(total_), current_.c_str(), rate);
    std::fflush(stderr);
  }

  const std::string label_;
  const std::int64_t total_;
  const std::chrono::steady_clock::time_point start_;
  std::int64_t done_ = 0;
  std::string current_;
};

}  // namespace

void reportFailure(const std::string& path, const std::string& text) {
  std::fprintf(stderr, "%s: %s\n", path.c_str(), text.c_str());
}

std::string failureText(const TaskItem& task) {
  auto text = task.errorDescription();
  return text.empty() ? task.status().localizedDescription() : text;
}

void runGroup(const std::shared_ptr<TasksGroup>& group, bool quiet, const std::function<void()>& whileRemoving) {
  if (group->tasks.empty()) return;
  auto& center = NotificationCenter::defaultCenter();
  auto& manager = TasksManager::shared();
  std::shared_ptr<ProgressLine> line;
  if (!quiet && ::isatty(STDERR_FILENO) && group->totalUnit() >= kProgressFromTasks) {
    line = std::make_shared<ProgressLine>(*group);
    group->delegate = line;
    for (const auto& task : group->tasks) task->delegate = line;
  }
  // Shared with the observer, which may still be returning when this function goes on.
  struct Done {
    std::mutex mutex;
    std::condition_variable changed;
    bool removed = false;
  };
  auto done = std::make_shared<Done>();
  auto removed = [done, group, line, whileRemoving](const Notification& note) {
    auto which = note.userInfoValue<std::shared_ptr<TasksGroup>>(TasksManager::groupKey);
    if (!which || *which != group) return;
    if (line) line->clear();
    if (whileRemoving) whileRemoving();
    std::lock_guard lock(done->mutex);
    done->removed = true;
    done->changed.notify_all();
  };
  auto removal = center.addObserver(TasksManager::didRemoveGroupNotification, &manager, nullptr, std::move(removed));
  manager.addToPendingList(group);
  {
    std::unique_lock lock(done->mutex);
    done->changed.wait(lock, [&] { return done->removed; });
  }
  center.removeObserver(removal);
}

std::vector<ImportedEditor> importEditors(const std::vector<fs::path>& urls, bool quiet) {
  std::vector<ImportedEditor> results(urls.size());
  ImportImageTasksGenerator generator;
  std::vector<std::size_t> taken;  // the index in `urls` of each task, in task order
  for (std::size_t i = 0; i < urls.size(); ++i) {
    if (ImportImageTaskItem::canImportImage(urls[i])) {
      taken.push_back(i);
      generator.urls.push_back(urls[i]);
    } else {
      results[i].error = ImportImageTaskError::errorDescription(ImportImageTaskErrorCode::fileIsNotSupported);
    }
  }
  runTasks<ImportImageTaskItem>(generator, quiet, [&](std::size_t k, const ImportImageTaskItem& task) {
    auto& result = results[taken.at(k)];
    result.editor = task.editor();
    if (!result.editor) result.error = failureText(task);
  });
  return results;
}

}  // namespace orvelin::tool
