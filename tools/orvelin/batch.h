#pragma once

// Running task groups from the command line, as a host would, and what the commands share
// around them: the import of editors and the report of a failed file.
//
// The functions here block the calling thread until the group has ended, while the tasks run
// on the task manager's queue and their notifications on the main queue. REQUIRES: the main
// queue is pumped by a thread of its own (MainQueue::startOnOwnThread(), done at start-up), and
// the caller is not that thread.

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "orvelin/tasks/tasks_group.h"
#include "orvelin/tasks/tasks_manager.h"

namespace orvelin {
class MetadataEditor;
}

namespace orvelin::tool {

// Prints "path: text" on standard error: the one form of a file's failure.
void reportFailure(const std::string& path, const std::string& text);

// Why a task that did not complete came to nothing: its error's text, else (a cancelled task
// has no error) its status.
std::string failureText(const TaskItem& task);

// Hands `group` to TasksManager::shared() and waits until the manager removed it; an empty group
// returns at once. `whileRemoving` runs in the did-remove handler, on the main queue, while the
// tasks still hold their results (the group's resources are flushed after it).
//
// On a terminal, unless `quiet`, a group of more than a few tasks shows one progress line on
// standard error: the group's label, doneUnit/totalUnit, the title of the task that started
// last, and the rate; the line is wiped when the group ends. This takes the delegate of the
// group and of its tasks, which must be free.
void runGroup(const std::shared_ptr<TasksGroup>& group, bool quiet, const std::function<void()>& whileRemoving);

// The group of `generator` run as by runGroup(); in the did-remove handler, `collect` is called
// with the index and the task, for each task in order.
template <typename Task>
void runTasks(const TasksGenerator<Task>& generator, bool quiet,
              const std::function<void(std::size_t, const Task&)>& collect) {
  const auto group = generator.generateGroup();
  runGroup(group, quiet, [&] {
    // The generator made every task of the group: each is a Task.
    for (std::size_t k = 0; k < group->tasks.size(); ++k) collect(k, static_cast<const Task&>(*group->tasks[k]));
  });
}

// An editor imported from one URL, or the text of the import's error.
struct ImportedEditor {
  std::shared_ptr<MetadataEditor> editor;
  std::string error;
};

// Imports `urls` (absolute) through one group of an ImportImageTasksGenerator: a file is read
// in the editors' profile; a path without extension is a folder, whose editor reads nothing. A
// URL that the import tasks do not take fails with the import task's own text for it ("File is
// not supported"). One result per URL, in their order; `quiet` as for runGroup().
std::vector<ImportedEditor> importEditors(const std::vector<std::filesystem::path>& urls, bool quiet);

}  // namespace orvelin::tool
