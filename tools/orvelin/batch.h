#pragma once

// Running task groups from the command line, as a host would.

#include <functional>
#include <memory>

#include "orvelin/tasks/tasks_group.h"

namespace orvelin::tool {

// Hands `group` to the shared task manager and waits until it was removed. `whileRemoving`
// runs in the did-remove handler, on the main queue, while the tasks still hold their results.
// On a terminal, unless `quiet`, a batch of more than a few tasks shows one progress line on
// standard error (done/total, the current file, the rate).
void runGroup(const std::shared_ptr<TasksGroup>& group, bool quiet, const std::function<void()>& whileRemoving);

}  // namespace orvelin::tool
