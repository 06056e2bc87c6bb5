#include "orvelin/support/script_runner.h"

#include <mutex>
#include <utility>

namespace orvelin {

namespace {

struct InstalledRunner {
  std::mutex mutex;  // guards runner
  std::shared_ptr<ScriptRunner> runner;
};

// Never destroyed: a thread may still ask for the runner while the process exits.
InstalledRunner& installed() {
  static auto* const installed = new InstalledRunner;
  return *installed;
}

}  // namespace

std::shared_ptr<ScriptRunner> ORVGetScriptRunner() {
  auto& slot = installed();
  std::lock_guard lock(slot.mutex);
  return slot.runner;
}

void ORVSetScriptRunner(std::shared_ptr<ScriptRunner> runner) {
  auto& slot = installed();
  std::shared_ptr<ScriptRunner> previous;
  {
    std::lock_guard lock(slot.mutex);
    previous = std::exchange(slot.runner, std::move(runner));
  }
  // The former runner, when this was its last owner, goes outside the lock.
}

}  // namespace orvelin
