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

ProcessResult launchFailure(const std::string& message) {
  ProcessResult result;
  result.standardError = message;
  return result;
}

// Reads both pipes until both reach end of file.
void drain(UniqueFd& out, UniqueFd& err, std::string& outData, std::string& errData) {
  char buffer[65536];
  while (out.valid() || err.valid()) {
    pollfd fds[2];
    nfds_t count = 0;
    if (out.valid()) fds[count++] = {out.get(), POLLIN, 0};
    if (err.valid()) fds[count++] = {err.get(), POLLIN, 0};
    if (::poll(fds, count, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
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
    return launchFailure("cannot run " + request.executable.string() + ": " + std::strerror(errno));
  }
  int outPipe[2], errPipe[2];
  if (::pipe2(outPipe, O_CLOEXEC) != 0) return launchFailure(std::string("pipe: ") + std::strerror(errno));
  UniqueFd outRead(outPipe[0]), outWrite(outPipe[1]);
  if (::pipe2(errPipe, O_CLOEXEC) != 0) return launchFailure(std::string("pipe: ") + std::strerror(errno));
  UniqueFd errRead(errPipe[0]), errWrite(errPipe[1]);

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
    return launchFailure("cannot run " + request.executable.string() + ": " + std::strerror(spawnError));
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
