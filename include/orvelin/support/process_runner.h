#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace orvelin {

// What to start: an executable, its arguments (without the program name) and its whole
// environment ("NAME=value" entries; nothing is inherited).
struct ProcessRequest {
  std::filesystem::path executable;
  std::vector<std::string> arguments;
  std::vector<std::string> environment;
};

// What came back. `launched` is false when the process could not be started; then
// `standardError` says why, `launchError` holds the errno value of the cause (ENOENT for a
// missing executable, EACCES for one that may not be run...) and `standardOutput` is empty.
struct ProcessResult {
  bool launched = false;
  int exitStatus = -1;   // the exit code, or 128 + signal number when killed by a signal
  std::string standardOutput;
  std::string standardError;
  int launchError = 0;
};

// Starts child processes. The library's one way to run a program, so that tests and hosts can
// put another runner in its place (see ORVSetProcessRunner).
class ProcessRunner {
 public:
  virtual ~ProcessRunner() = default;

  // Starts the process with standard input from /dev/null, reads both of its output streams
  // until they end, waits for its exit and returns. Never throws; blocks the calling thread
  // for the life of the child (and of any grandchild that keeps its output open). Safe for
  // concurrent use by multiple threads, and in a process whose own standard streams are
  // closed. The child receives no file descriptor of this process other than its three
  // standard streams.
  virtual ProcessResult run(const ProcessRequest& request) = 0;

  // The POSIX runner. Belongs to the library and must never be deleted.
  static ProcessRunner* Default();
};

// Forwards every call to another runner; tests derive from it to change one behaviour.
class ProcessRunnerWrapper : public ProcessRunner {
 public:
  explicit ProcessRunnerWrapper(ProcessRunner* target) : target_(target) {}
  ProcessResult run(const ProcessRequest& request) override { return target_->run(request); }
  ProcessRunner* target() const { return target_; }

 private:
  ProcessRunner* target_;
};

// The runner the library uses, ProcessRunner::Default() unless set. The caller keeps ownership
// of what it sets and must keep it alive while it is installed; null restores the default.
// Meant to be set at start-up or in a test, while no process runs.
ProcessRunner* ORVGetProcessRunner();
void ORVSetProcessRunner(ProcessRunner* runner);

}  // namespace orvelin
