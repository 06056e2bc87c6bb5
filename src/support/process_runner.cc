#include "orvelin/support/process_runner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
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
  std::unique_ptr<ChildProcess> start(const ProcessRequest& request, ProcessResult& failure) override;
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

// A descriptor moved above the standard streams (see makePipe()), close-on-exec.
bool liftAboveStandardStreams(UniqueFd& fd) {
  if (fd.get() > STDERR_FILENO) return true;
  const int moved = ::fcntl(fd.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (moved < 0) return false;
  fd.reset(moved);
  return true;
}

// A pipe made with both ends close-on-exec and above the standard streams: when this process
// runs with descriptor 0, 1 or 2 closed, a pipe end could take that number, and the child's
// file actions, which set up 0 to 2, would then close or overwrite it. Invalid ends on failure,
// with errno set.
bool makePipe(UniqueFd& readEnd, UniqueFd& writeEnd) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return false;
  UniqueFd pair[2] = {UniqueFd(ends[0]), UniqueFd(ends[1])};
  for (auto& end : pair)
    if (!liftAboveStandardStreams(end)) return false;
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

// Spawns the request's process with the given descriptors as its standard streams (input
// absent: /dev/null). The child's pid, or -1 with `failure` filled in.
pid_t spawn(const ProcessRequest& request, int input, int output, int error, ProcessResult& failure) {
  if (::access(request.executable.c_str(), X_OK) != 0) {
    failure = launchFailure("cannot run " + request.executable.string(), errno);
    return -1;
  }
  SpawnActions actions;
  if (input >= 0)
    posix_spawn_file_actions_adddup2(&actions.actions, input, STDIN_FILENO);
  else
    posix_spawn_file_actions_addopen(&actions.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions.actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions.actions, error, STDERR_FILENO);
  // Whatever another thread opened without close-on-exec stays out of the child.
  posix_spawn_file_actions_addclosefrom_np(&actions.actions, STDERR_FILENO + 1);

  SpawnAttributes attributes;
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  sigaddset(&defaults, SIGINT);
  sigaddset(&defaults, SIGTERM);
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
  if (spawnError != 0) {
    failure = launchFailure("cannot run " + request.executable.string(), spawnError);
    return -1;
  }
  return pid;
}

int exitStatusOf(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

ProcessResult PosixProcessRunner::run(const ProcessRequest& request) {
  UniqueFd outRead, outWrite, errRead, errWrite;
  if (!makePipe(outRead, outWrite) || !makePipe(errRead, errWrite))
    return launchFailure("pipe", errno);
  ProcessResult result;
  const pid_t pid = spawn(request, -1, outWrite.get(), errWrite.get(), result);
  outWrite.reset();
  errWrite.reset();
  if (pid < 0) return result;

  result.launched = true;
  drain(outRead, errRead, result.standardOutput, result.standardError);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) {
      status = -1;
      break;
    }
  }
  if (status >= 0) result.exitStatus = exitStatusOf(status);
  return result;
}

std::unique_ptr<ChildProcess> PosixProcessRunner::start(const ProcessRequest& request, ProcessResult& failure) {
  UniqueFd outRead, outWrite, errRead, errWrite;
  int ends[2];
  if (!makePipe(outRead, outWrite) || !makePipe(errRead, errWrite) ||
      ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    failure = launchFailure("pipe", errno);
    return nullptr;
  }
  UniqueFd inParent(ends[0]), inChild(ends[1]);
  if (!liftAboveStandardStreams(inParent) || !liftAboveStandardStreams(inChild)) {
    failure = launchFailure("pipe", errno);
    return nullptr;
  }
  const pid_t pid = spawn(request, inChild.get(), outWrite.get(), errWrite.get(), failure);
  if (pid < 0) return nullptr;
  ::shutdown(inParent.get(), SHUT_RD);
  for (const int fd : {inParent.get(), outRead.get(), errRead.get()})
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
  return std::make_unique<ChildProcess>(pid, std::move(inParent), std::move(outRead), std::move(errRead));
}

std::atomic<ProcessRunner*>& installedRunner() {
  static std::atomic<ProcessRunner*> runner{nullptr};
  return runner;
}

}  // namespace

ChildProcess::ChildProcess(pid_t pid, UniqueFd input, UniqueFd output, UniqueFd error)
    : pid_(pid), input_(std::move(input)), output_(std::move(output)), error_(std::move(error)) {}

ChildProcess::~ChildProcess() {
  input_.reset();
  output_.reset();
  error_.reset();
  kill();
}

ssize_t ChildProcess::send(std::string_view data) {
  if (!input_.valid()) {
    errno = EPIPE;
    return -1;
  }
  ssize_t written;
  do {
    written = ::send(input_.get(), data.data(), data.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  } while (written < 0 && errno == EINTR);
  return written;
}

std::optional<int> ChildProcess::waitFor(std::chrono::milliseconds limit) {
  if (reaped_) return std::nullopt;
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    int status = 0;
    const pid_t done = ::waitpid(pid_, &status, WNOHANG);
    if (done == pid_ || (done < 0 && errno != EINTR)) {
      reaped_ = true;
      return done == pid_ ? exitStatusOf(status) : -1;
    }
    if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
    ::usleep(2000);
  }
}

void ChildProcess::kill() {
  if (reaped_) return;
  ::kill(pid_, SIGKILL);
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  reaped_ = true;
}

std::unique_ptr<ChildProcess> ProcessRunner::start(const ProcessRequest& request, ProcessResult& failure) {
  failure = launchFailure("this runner does not start " + request.executable.string() + " alongside", ENOSYS);
  return nullptr;
}

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
