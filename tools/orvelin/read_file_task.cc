#include "read_file_task.h"

namespace orvelin::tool {

std::optional<ReadWriteStorage> ReadFileTaskItem::storage() const {
  std::lock_guard lock(mutex_);
  return storage_;
}

void ReadFileTaskItem::internalProcess() {
  // A path without extension (a lone "." counts as none) is a folder, as the import tasks
  // decide: it has no values of its own, its edits go to its files.
  ReadWriteStorage read(url_);
  if (url_.extension().string().size() > 1) {
    read = reader_.readReadWriteStorage(url_);
    read.readFinderTags();
  }
  std::lock_guard lock(mutex_);
  storage_ = std::move(read);
}

std::string ReadFileTaskItem::title() const { return "Reading " + url_.filename().string(); }

std::string ReadFileTaskItem::subtitle() const { return kindSubtitle(url_.string()); }

void ReadFileTaskItem::flushResources() {
  std::lock_guard lock(mutex_);
  storage_.reset();
}

std::string ReadFileTasksGenerator::defaultGroupLabel() const { return "Read files"; }

std::vector<std::shared_ptr<ReadFileTaskItem>> ReadFileTasksGenerator::generateTasks() const {
  std::vector<std::shared_ptr<ReadFileTaskItem>> tasks;
  tasks.reserve(urls.size());
  for (const auto& url : urls) tasks.push_back(std::make_shared<ReadFileTaskItem>(url, reader));
  return tasks;
}

}  // namespace orvelin::tool
