#include "orvelin/support/process_runner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "orvelin/support/files.h"

namespace orvelin {

namespace {

class PosixProcessRunner final : public ProcessRunner {
 public:
  ProcessResult run(const ProcessRequest& request) override;
};

// Owns posix_spawn's attribute objects.
struct SpawnActions {
  posix_spawn_file_actions_t actions;
  SpawnActions() { posix_spawn_file_actions_init(&actions); }
  ~SpawnActions() { posix_spawn_file_actions_destroy(&actions); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
};

struct SpawnAttributes {
  posix_spawnattr_t attributes;
  SpawnAttributes() { posix_spawnattr_init(&attributes); }
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
};

ProcessResult launchFailure(const std::string& message, int cause) {
  ProcessResult result;
  result.standardError = message + ": " + std::strerror(cause);
  result.launchError = cause;
  return result;
}

// A pipe made with both ends close-on-exec and above the standard streams: when this process
// runs with descriptor 0, 1 or 2 closed, a pipe end could take that number, and the child's
// file actions, which set up 0 to 2, would then close or overwrite it. Invalid ends on failure,
// with errno set.
bool makePipe(UniqueFd& readEnd, UniqueFd& writeEnd) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return false;
  UniqueFd pair[2] = {UniqueFd(ends[0]), UniqueFd(ends[1])};
  for (auto& end : pair) {
    if (end.get() > STDERR_FILENO) continue;
    const int moved = ::fcntl(end.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (moved < 0) return false;
    end.reset(moved);
  }
  readEnd = std::move(pair[0]);
  writeEnd = std::move(pair[1]);
  return true;
}

// Reads both pipes until both reach end of file. Should poll() itself keep failing (it does
// not in practice: only for lack of kernel memory), the pipes are closed so that a child that
// still writes gets EPIPE (or dies of SIGPIPE) instead of waiting for ever on a full pipe, and
// the cause is added to the error text.
void drain(UniqueFd& out, UniqueFd& err, std::string& outData, std::string& errData) {
  char buffer[65536];
  int pollFailures = 0;
  while (out.valid() || err.valid()) {
    pollfd fds[2];
    nfds_t count = 0;
    if (out.valid()) fds[count++] = {out.get(), POLLIN, 0};
    if (err.valid()) fds[count++] = {err.get(), POLLIN, 0};
    if (::poll(fds, count, -1) < 0) {
      if (errno == EINTR) continue;
      if ((errno == ENOMEM || errno == EAGAIN) && ++pollFailures < 50) {
        ::usleep(10000);
        continue;
      }
      const int failure = errno;
      if (!errData.empty() && errData.back() != '\n') errData.push_back('\n');
      errData += std::string("reading the output failed: ") + std::strerror(failure) + "\n";
      out.reset();
      err.reset();
      return;
    }
    pollFailures = 0;
    for (nfds_t i = 0; i < count; ++i) {
      if (fds[i].revents == 0) continue;
      const bool isOut = out.valid() && fds[i].fd == out.get();
      UniqueFd& fd = isOut ? out : err;
      std::string& data = isOut ? outData : errData;
      const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
      if (n > 0) {
        data.append(buffer, static_cast<size_t>(n));
      } else if (n == 0 || (errno != EINTR && errno != EAGAIN)) {
        fd.reset();
      }
    }
  }
}

ProcessResult PosixProcessRunner::run(const ProcessRequest& request) {
  if (::access(request.executable.c_str(), X_OK) != 0) {
    return launchFailure("cannot run " + request.executable.string(), errno);
  }
  UniqueFd outRead, outWrite, errRead, errWrite;
  if (!makePipe(outRead, outWrite) || !makePipe(errRead, errWrite))
    return launchFailure("pipe", errno);

  SpawnActions actions;
  posix_spawn_file_actions_addopen(&actions.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions.actions, outWrite.get(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions.actions, errWrite.get(), STDERR_FILENO);
  // Whatever another thread opened without close-on-exec stays out of the child.
  posix_spawn_file_actions_addclosefrom_np(&actions.actions, STDERR_FILENO + 1);

  SpawnAttributes attributes;
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes.attributes, &defaults);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes.attributes, &none);
  posix_spawnattr_setflags(&attributes.attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

  std::vector<std::string> argvStorage;
  argvStorage.reserve(request.arguments.size() + 1);
  argvStorage.push_back(request.executable.string());
  argvStorage.insert(argvStorage.end(), request.arguments.begin(), request.arguments.end());
  std::vector<char*> argv;
  for (auto& argument : argvStorage) argv.push_back(argument.data());
  argv.push_back(nullptr);
  std::vector<std::string> envStorage = request.environment;
  std::vector<char*> envp;
  for (auto& entry : envStorage) envp.push_back(entry.data());
  envp.push_back(nullptr);

  pid_t pid = -1;
  const int spawnError =
      ::posix_spawn(&pid, request.executable.c_str(), &actions.actions, &attributes.attributes, argv.data(), envp.data());
  outWrite.reset();
  errWrite.reset();
  if (spawnError != 0) {
    return launchFailure("cannot run " + request.executable.string(), spawnError);
  }

  ProcessResult result;
  result.launched = true;
  drain(outRead, errRead, result.standardOutput, result.standardError);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) {
      status = -1;
      break;
    }
  }
  if (status >= 0 && WIFEXITED(status))
    result.exitStatus = WEXITSTATUS(status);
  else if (status >= 0 && WIFSIGNALED(status))
    result.exitStatus = 128 + WTERMSIG(status);
  return result;
}

std::atomic<ProcessRunner*>& installedRunner() {
  static std::atomic<ProcessRunner*> runner{nullptr};
  return runner;
}

}  // namespace

ProcessRunner* ProcessRunner::Default() {
  static auto* runner = new PosixProcessRunner;
  return runner;
}

ProcessRunner* ORVGetProcessRunner() {
  ProcessRunner* runner = installedRunner().load();
  return runner ? runner : ProcessRunner::Default();
}

void ORVSetProcessRunner(ProcessRunner* runner) { installedRunner().store(runner); }

}  // namespace orvelin
