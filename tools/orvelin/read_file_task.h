#pragma once

// The tool's own task kind: reading a file with a reader of the caller's choice, for what an
// import task does not take (files that are no images, another language, another profile).

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/storage/read_write_storage.h"
#include "orvelin/tasks/task_item.h"
#include "orvelin/tasks/tasks_manager.h"

namespace orvelin::tool {

// Reads one URL into a storage with its own copy of a reader, so that tasks never share one: a
// file by the reader (its values, then its Finder tags); a path without extension is a folder,
// as for the editors, and gives an empty storage without reading. A failure of exiftool or of
// the Finder tags fails the task with the reader's error.
//
// Runs once, like every task; storage() may be read from any thread.
class ReadFileTaskItem final : public TaskItem {
 public:
  ReadFileTaskItem(std::filesystem::path url, MetadataETReader reader)
      : url_(std::move(url)), reader_(std::move(reader)) {}

  const std::filesystem::path& url() const { return url_; }
  // What was read, once the task completed, until the group's resources are flushed.
  std::optional<ReadWriteStorage> storage() const;

  void internalProcess() override;
  std::string title() const override;     // "Reading " and the file name
  std::string subtitle() const override;  // the path, the home folder as "~"
  void flushResources() override;

 private:
  const std::filesystem::path url_;
  const MetadataETReader reader_;
  mutable std::mutex mutex_;  // guards storage_
  std::optional<ReadWriteStorage> storage_;
};

// One read task per URL, in order, all with copies of `reader`.
class ReadFileTasksGenerator : public TasksGenerator<ReadFileTaskItem> {
 public:
  std::vector<std::filesystem::path> urls;
  MetadataETReader reader;

  std::string defaultGroupLabel() const override;  // "Read files"
  std::vector<std::shared_ptr<ReadFileTaskItem>> generateTasks() const override;
};

}  // namespace orvelin::tool
