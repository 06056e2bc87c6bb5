#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orvelin/support/files.h"

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

// A child that runs alongside its parent, started by ProcessRunner::start(): its standard
// input, output and error are connected to this object, which owns them and the child. The
// destructor closes the streams, kills the child (SIGKILL) if it still runs and reaps it.
// One thread at a time may use an instance.
class ChildProcess {
 public:
  ChildProcess(pid_t pid, UniqueFd input, UniqueFd output, UniqueFd error);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  pid_t pid() const { return pid_; }
  // The parent's ends: write to input(), read output() and error(). input() is a stream
  // socket: a write to a child that no longer reads fails with EPIPE and raises no signal
  // when sent with MSG_NOSIGNAL (see send()).
  int input() const { return input_.get(); }
  int output() const { return output_.get(); }
  int error() const { return error_.get(); }
  // Writes as much of `data` as the child takes without blocking; the number of bytes
  // written, or -1 with errno set (EAGAIN: nothing could be written now).
  ssize_t send(std::string_view data);
  // Closes the child's standard input.
  void closeInput() { input_.reset(); }
  // Waits at most `limit` for the child to exit; its exit status (128 + signal number when
  // killed by a signal), or absent when it still runs.
  std::optional<int> waitFor(std::chrono::milliseconds limit);
  // SIGKILL, then reaps it.
  void kill();

 private:
  pid_t pid_;
  bool reaped_ = false;
  UniqueFd input_, output_, error_;
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

  // Starts the process and returns at once, its three standard streams connected to the
  // returned object (output and error non-blocking). Null when it could not be started; then
  // `failure` says why as run() would (launched false). Safe for concurrent use. A runner
  // that only runs processes to completion keeps this default, which starts nothing
  // (launchError ENOSYS): callers then fall back on run().
  virtual std::unique_ptr<ChildProcess> start(const ProcessRequest& request, ProcessResult& failure);

  // The POSIX runner. Belongs to the library and must never be deleted.
  static ProcessRunner* Default();
};

// Forwards every call to another runner; tests derive from it to change one behaviour.
class ProcessRunnerWrapper : public ProcessRunner {
 public:
  explicit ProcessRunnerWrapper(ProcessRunner* target) : target_(target) {}
  ProcessResult run(const ProcessRequest& request) override { return target_->run(request); }
  std::unique_ptr<ChildProcess> start(const ProcessRequest& request, ProcessResult& failure) override {
    return target_->start(request, failure);
  }
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
