#include "exiftool_pool.h"

#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/debug_log.h"

namespace orvelin {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t maximumProcesses = 8;

// ---------------------------------------------------------------------------------------------
// Arguments as lines of exiftool's argument file.

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\f' || c == '\v'; }

std::string lowercase(std::string text) {
  for (auto& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Arguments that steer the argument file itself, or read standard input: they only mean
// what they say on a command line of their own.
bool steersTheArgumentFile(const std::string& argument) {
  if (argument.empty() || argument[0] != '-') return false;
  const auto name = lowercase(argument);
  if (name == "-" || name == "-stay_open" || name == "-@" || name == "-common_args" || name == "-config")
    return true;
  if (name.rfind("-execute", 0) != 0) return false;
  return std::all_of(name.begin() + 8, name.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); });
}

// The options that take the next argument as their value.
bool takesAValue(const std::string& argument) {
  static const std::set<std::string, std::less<>> options = {
      "-tagsfromfile", "-addtagsfromfile", "-alltagsfromfile", "-api", "-c", "-coordformat", "-csvdelim", "-d",
      "-dateformat", "-echo", "-echo1", "-echo2", "-echo3", "-echo4", "-efile", "-efile1", "-efile2", "-efile3",
      "-efile4", "-efile!", "-efile1!", "-efile2!", "-efile3!", "-efile4!", "-ext", "--ext", "-ext+", "--ext+",
      "-extension", "--extension", "-extension+", "--extension+", "-fileorder", "-fileorder0", "-fileorder1",
      "-fileorder2", "-fileorder3", "-fileorder4", "-fileorder5", "-geotag", "-globaltimeshift", "-i", "-ignore",
      "-if", "-if0", "-if1", "-if2", "-if3", "-if4", "-if5", "-listitem", "-o", "-out", "-p", "-printformat",
      "-password", "-require", "-sep", "-separator", "-srcfile", "-userparam", "-w", "-w!", "-w+", "-w+!", "-w!+",
      "-textout", "-textout!", "-textout+", "-textout+!", "-textout!+", "-tagout", "-tagout!", "-tagout+",
      "-tagout+!", "-tagout!+", "-wext", "-wm", "-writemode", "-x", "-exclude"};
  return argument.size() > 1 && argument[0] == '-' && options.contains(lowercase(argument));
}

// exiftool takes a line of its argument file as it stands unless the line is empty, starts
// with white space or '#', or is an assignment with white space around its '=' (which it
// tidies up). Other lines go as C strings, which carry any byte but '$' and '@' (escaped on
// the way in). Absent when neither form carries the argument.
std::optional<std::string> argumentLine(const std::string& argument) {
  const bool hasLineBreak = argument.find_first_of("\r\n") != std::string::npos;
  bool plain = !argument.empty() && !hasLineBreak && !isSpace(argument[0]) && argument[0] != '#';
  if (plain && argument[0] == '-') {
    const auto equals = argument.find('=');
    if (equals != std::string::npos) {
      const bool spaceBefore = std::any_of(argument.begin(), argument.begin() + static_cast<long>(equals), isSpace);
      const bool spaceAfter = equals + 1 < argument.size() && argument[equals + 1] == ' ';
      plain = !spaceBefore && !spaceAfter;
    }
  }
  if (plain) return argument + '\n';
  if (argument.find_first_of("$@") != std::string::npos) return std::nullopt;
  std::string line = "#[CSTR]";
  line.reserve(argument.size() + 16);
  for (const char c : argument) {
    switch (c) {
      case '\\': line += "\\\\"; break;
      case '\n': line += "\\n"; break;
      case '\r': line += "\\r"; break;
      default: line.push_back(c);
    }
  }
  return line + '\n';
}

// A command in the argument file's form.
struct Command {
  std::string lines;    // the arguments behind the script's path
  std::string modules;  // the plug-ins it loads with -use, which stay loaded in its process
};

// The argument-file form of the command's arguments, or absent when one of them cannot travel
// that way.
std::optional<Command> commandLines(const std::vector<std::string>& arguments) {
  Command command;
  auto& lines = command.lines;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    if (steersTheArgumentFile(arguments[i])) return std::nullopt;
    if (lowercase(arguments[i]) == "-use" && i + 1 < arguments.size()) command.modules += arguments[i + 1] + '\n';
    auto line = argumentLine(arguments[i]);
    if (!line) return std::nullopt;
    lines += *line;
  }
  // An option left without its value would take the end marker's option as its value.
  if (arguments.size() > 1 && takesAValue(arguments.back())) return std::nullopt;
  return command;
}

// ---------------------------------------------------------------------------------------------
// The pool.

// The pids of the running processes, readable from a signal handler.
std::array<std::atomic<pid_t>, maximumProcesses> processIDs{};

// One long-lived exiftool.
class Worker {
 public:
  Worker(std::unique_ptr<ChildProcess> child, std::string key) : child_(std::move(child)), key_(std::move(key)) {
    for (auto& slot : processIDs) {
      pid_t empty = 0;
      if (slot.compare_exchange_strong(empty, child_->pid())) {
        slot_ = &slot;
        break;
      }
    }
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  // Asks exiftool to end, gives it a moment, then kills it.
  ~Worker() {
    if (slot_) slot_->store(0);
    if (healthy_) {
      const std::string_view stop = "-stay_open\nFalse\n";
      if (child_->send(stop) == static_cast<ssize_t>(stop.size())) child_->waitFor(std::chrono::milliseconds(500));
    }
  }

  const std::string& key() const { return key_; }
  pid_t pid() const { return child_->pid(); }

  // Sends one command and collects its answer; absent when the process died, broke the
  // protocol or did not finish within `limit` (the worker is then no longer healthy).
  std::optional<ProcessResult> exchange(const std::string& lines, std::chrono::milliseconds limit);

 private:
  std::unique_ptr<ChildProcess> child_;
  std::string key_;
  std::atomic<pid_t>* slot_ = nullptr;
  std::uint64_t nextCommand_ = 1;
  bool healthy_ = true;
};

// The exit status at the end of `error` after its marker "{readyN STATUS}\n", which is
// removed; absent while the marker has not come.
std::optional<int> takeErrorMarker(std::string& error, const std::string& prefix) {
  if (error.empty() || error.back() != '\n') return std::nullopt;
  const auto start = error.rfind(prefix);
  if (start == std::string::npos) return std::nullopt;
  const auto digits = start + prefix.size();
  const auto close = error.size() - 2;
  if (close <= digits || error[close] != '}') return std::nullopt;
  int status = 0;
  for (auto i = digits; i < close; ++i) {
    if (!std::isdigit(static_cast<unsigned char>(error[i]))) return std::nullopt;
    status = status * 10 + (error[i] - '0');
    if (status > 100000) return std::nullopt;
  }
  error.resize(start);
  return status;
}

bool endsWith(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::optional<ProcessResult> Worker::exchange(const std::string& lines, std::chrono::milliseconds limit) {
  const auto number = std::to_string(nextCommand_++);
  const std::string payload =
      lines + "-echo4\n{ready" + number + " ${status}}\n-execute" + number + "\n";
  const std::string outputMarker = "{ready" + number + "}\n";
  const std::string errorPrefix = "{ready" + number + " ";

  ProcessResult result;
  std::optional<int> status;
  bool outputDone = false;
  std::size_t sent = 0;
  const auto deadline = Clock::now() + limit;
  char buffer[65536];
  healthy_ = false;  // until the answer is complete
  while (!outputDone || !status) {
    const auto remaining = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (remaining.count() <= 0) return std::nullopt;
    pollfd fds[3];
    nfds_t count = 0;
    if (sent < payload.size()) fds[count++] = {child_->input(), POLLOUT, 0};
    if (!outputDone) fds[count++] = {child_->output(), POLLIN, 0};
    if (!status) fds[count++] = {child_->error(), POLLIN, 0};
    const int ready = ::poll(fds, count, static_cast<int>(std::min<long long>(remaining.count(), 60000)));
    if (ready < 0 && errno != EINTR && errno != EAGAIN && errno != ENOMEM) return std::nullopt;
    for (nfds_t i = 0; ready > 0 && i < count; ++i) {
      if (fds[i].revents == 0) continue;
      if (fds[i].fd == child_->input()) {
        const auto written = child_->send(std::string_view(payload).substr(sent));
        if (written < 0 && errno != EAGAIN) return std::nullopt;
        if (written > 0) sent += static_cast<std::size_t>(written);
        continue;
      }
      const bool isOutput = fds[i].fd == child_->output();
      const ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
      if (n == 0) return std::nullopt;  // the process is gone
      if (n < 0) {
        if (errno == EINTR || errno == EAGAIN) continue;
        return std::nullopt;
      }
      if (isOutput) {
        result.standardOutput.append(buffer, static_cast<std::size_t>(n));
        outputDone = endsWith(result.standardOutput, outputMarker);
      } else {
        result.standardError.append(buffer, static_cast<std::size_t>(n));
        status = takeErrorMarker(result.standardError, errorPrefix);
      }
    }
  }
  result.standardOutput.resize(result.standardOutput.size() - outputMarker.size());
  result.launched = true;
  result.exitStatus = *status;
  healthy_ = true;
  return result;
}

struct PoolState {
  std::mutex mutex;  // guards every field below
  std::condition_variable released;
  bool enabled = false;
  std::chrono::milliseconds timeLimit = std::chrono::minutes(5);
  std::vector<std::unique_ptr<Worker>> idle;
  std::size_t processes = 0;  // idle ones, busy ones and those being started
  bool exitHandlerInstalled = false;
};

PoolState& pool() {
  static auto* state = new PoolState;  // never destroyed: commands may run while the program exits
  return *state;
}

std::size_t poolSize() {
  const auto cores = std::max(1u, std::thread::hardware_concurrency());
  return std::min<std::size_t>(cores, maximumProcesses);
}

// Stops the idle processes now (outside the lock: each may take a moment).
void stopIdle(std::unique_lock<std::mutex>& lock) {
  auto& state = pool();
  auto idle = std::move(state.idle);
  state.idle.clear();
  state.processes -= idle.size();
  lock.unlock();
  idle.clear();
  state.released.notify_all();
  lock.lock();
}

void stopAtExit() {
  ORVSetPersistentExifTool(false);
  // Busy processes belong to threads that are still running: end them too.
  ORVKillPersistentExifToolsFromSignalHandler();
}

// The processes a command may go to: same launcher, script and environment, and the same
// plug-ins loaded (a process that loaded one keeps it).
std::string keyOf(const ProcessRequest& request, const std::string& modules) {
  std::string key = modules;
  key.push_back('\0');
  key += request.executable.string();
  key.push_back('\0');
  if (!request.arguments.empty()) key += request.arguments.front();
  for (const auto& entry : request.environment) {
    key.push_back('\0');
    key += entry;
  }
  return key;
}

// A process for `key`: an idle one, else a new one while the pool has room (an idle process
// of another key gives up its place), else the next one released. Null when the pool is off
// or a process cannot be started.
std::unique_ptr<Worker> acquire(const ProcessRequest& request, const std::string& key) {
  auto& state = pool();
  std::unique_lock lock(state.mutex);
  for (;;) {
    if (!state.enabled) return nullptr;
    const auto match = std::find_if(state.idle.begin(), state.idle.end(), [&](const auto& w) { return w->key() == key; });
    if (match != state.idle.end()) {
      auto worker = std::move(*match);
      state.idle.erase(match);
      return worker;
    }
    std::unique_ptr<Worker> evicted;
    if (state.processes >= poolSize() && !state.idle.empty()) {
      evicted = std::move(state.idle.front());
      state.idle.erase(state.idle.begin());
      --state.processes;
    }
    if (state.processes < poolSize()) {
      ++state.processes;
      if (!state.exitHandlerInstalled) {
        state.exitHandlerInstalled = true;
        std::atexit(stopAtExit);
      }
      lock.unlock();
      evicted.reset();
      ProcessRequest start{request.executable, {}, request.environment};
      if (!request.arguments.empty()) start.arguments.push_back(request.arguments.front());
      start.arguments.insert(start.arguments.end(), {"-stay_open", "True", "-@", "-"});
      ProcessResult failure;
      auto child = ORVGetProcessRunner()->start(start, failure);
      if (!child) {
        lock.lock();
        --state.processes;
        state.released.notify_one();
        return nullptr;
      }
      ORVDebugLog("exiftool pool: started process " + std::to_string(child->pid()));
      return std::make_unique<Worker>(std::move(child), key);
    }
    state.released.wait(lock);
  }
}

// Gives a process back: kept when it answered and the pool is on, else stopped.
void release(std::unique_ptr<Worker> worker, bool healthy) {
  auto& state = pool();
  {
    std::lock_guard lock(state.mutex);
    if (healthy && state.enabled) {
      state.idle.push_back(std::move(worker));
    } else {
      --state.processes;
    }
  }
  state.released.notify_one();
  worker.reset();
}

}  // namespace

std::optional<ProcessResult> exiftool_pool::run(const ProcessRequest& request) {
  const auto command = commandLines(request.arguments);
  if (!command) return std::nullopt;
  const auto key = keyOf(request, command->modules);
  std::chrono::milliseconds limit;
  {
    auto& state = pool();
    std::lock_guard lock(state.mutex);
    limit = state.timeLimit;
  }
  for (int attempt = 0; attempt < 2; ++attempt) {
    auto worker = acquire(request, key);
    if (!worker) return std::nullopt;
    auto result = worker->exchange(command->lines, limit);
    if (result) {
      release(std::move(worker), true);
      return result;
    }
    ORVDebugLog("exiftool pool: process " + std::to_string(worker->pid()) +
                " died or stopped answering; its command goes to another process");
    release(std::move(worker), false);
  }
  return std::nullopt;
}

bool ORVGetPersistentExifTool() {
  auto& state = pool();
  std::lock_guard lock(state.mutex);
  return state.enabled;
}

void ORVSetPersistentExifTool(bool persistent) {
  auto& state = pool();
  std::unique_lock lock(state.mutex);
  state.enabled = persistent;
  if (!persistent) stopIdle(lock);
}

void ORVSetPersistentExifToolTimeLimit(std::chrono::milliseconds limit) {
  auto& state = pool();
  std::lock_guard lock(state.mutex);
  state.timeLimit = limit;
}

std::vector<int> ORVPersistentExifToolProcessIDs() {
  std::vector<int> pids;
  for (const auto& slot : processIDs)
    if (const pid_t pid = slot.load(); pid > 0) pids.push_back(pid);
  return pids;
}

void ORVKillPersistentExifToolsFromSignalHandler() {
  for (auto& slot : processIDs)
    if (const pid_t pid = slot.load(); pid > 0) ::kill(pid, SIGKILL);
}

}  // namespace orvelin
