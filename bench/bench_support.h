#pragma once

// Helpers shared by the benchmark programs: the sample files, timing, resident memory.

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "orvelin/support/notification_center.h"
#include "orvelin/tasks/tasks_manager.h"

namespace orvelin::bench {

// The sample files: tests/data and, when present beside the repository, the shared corpus.
inline std::vector<std::filesystem::path> sampleImages() {
  std::vector<std::filesystem::path> files;
  for (const auto* folder : {ORVELIN_TEST_DATA_DIR, ORVELIN_SOURCE_DIR "/../shared/corpus/formats",
                             ORVELIN_SOURCE_DIR "/../shared/corpus/camera"}) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
      const auto extension = entry.path().extension().string();
      if (extension == ".jpg" || extension == ".tif" || extension == ".png" || extension == ".nef" ||
          extension == ".cr2" || extension == ".dng")
        files.push_back(entry.path());
    }
  }
  return files;
}

// Seconds taken by `work`.
template <typename Work>
double secondsOf(Work&& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Resident memory of this process in kilobytes.
inline long residentKilobytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
  return 0;
}

// Runs the group the generator makes to its end and returns the number of its tasks that failed.
template <typename Generator>
std::size_t runGroup(const Generator& generator) {
  TasksManager manager;
  std::mutex mutex;
  std::condition_variable changed;
  bool removed = false;
  std::size_t failed = 0;
  auto token = NotificationCenter::defaultCenter().addObserver(
      TasksManager::didRemoveGroupNotification, &manager, nullptr, [&](const Notification& note) {
        const auto group = note.userInfoValue<std::shared_ptr<TasksGroup>>(TasksManager::groupKey);
        std::lock_guard lock(mutex);
        failed = group ? (*group)->tasksCount(TaskStatus::failed) : 0;
        removed = true;
        changed.notify_all();
      });
  const auto group = generator.addGeneratedGroupToPendingList(manager);
  if (!group->tasks.empty()) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return removed; });
  }
  manager.waitAllGroups();
  NotificationCenter::defaultCenter().removeObserver(token);
  return failed;
}

// Prints one figure set: a line for people, then the same as one line of JSON.
inline void report(const char* name, const std::string& human,
                   std::initializer_list<std::pair<const char*, double>> figures) {
  std::printf("%s: %s\n{\"bench\": \"%s\"", name, human.c_str(), name);
  for (const auto& [key, value] : figures) std::printf(", \"%s\": %.4g", key, value);
  std::printf("}\n");
  std::fflush(stdout);
}

}  // namespace orvelin::bench
