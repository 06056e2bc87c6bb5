#include "orvelin/support/pasteboard.h"

#include <poll.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>

#include "orvelin/support/clock.h"
#include "orvelin/support/file_system.h"
#include "orvelin/support/process_runner.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {

// How long a clipboard tool may take to take or give the text.
constexpr std::chrono::milliseconds kToolLimit{5000};

std::string environmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// The variables a clipboard tool needs to find the session's display.
std::vector<std::string> displayEnvironment() {
  std::vector<std::string> environment;
  for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR", "XAUTHORITY"})
    if (const auto value = environmentValue(name); !value.empty()) environment.push_back(name + ("=" + value));
  return environment;
}

// The first `name` in the folders of $PATH, through the library's file system.
std::optional<fs::path> findExecutable(std::string_view name) {
  const auto path = environmentValue("PATH");
  for (std::size_t start = 0; start <= path.size();) {
    const auto end = std::min(path.find(':', start), path.size());
    if (end > start) {
      const auto candidate = fs::path(path.substr(start, end - start)) / name;
      std::error_code error;
      if (ORVGetFileSystem()->exists(candidate, error)) return candidate;
    }
    start = end + 1;
  }
  return std::nullopt;
}

std::unique_ptr<Pasteboard> makeDefault() {
  if (!environmentValue("WAYLAND_DISPLAY").empty()) {
    const auto copy = findExecutable("wl-copy");
    const auto paste = findExecutable("wl-paste");
    if (copy && paste)
      return std::make_unique<CommandPasteboard>(*paste, std::vector<std::string>{"--no-newline"}, *copy,
                                                 std::vector<std::string>{});
  }
  if (!environmentValue("DISPLAY").empty()) {
    if (const auto xclip = findExecutable("xclip"))
      return std::make_unique<CommandPasteboard>(*xclip, std::vector<std::string>{"-selection", "clipboard", "-o"},
                                                 *xclip, std::vector<std::string>{"-selection", "clipboard", "-i"});
  }
  return std::make_unique<LocalPasteboard>();
}

std::atomic<Pasteboard*> installed{nullptr};

}  // namespace

Pasteboard* Pasteboard::Default() {
  static Pasteboard* const pasteboard = makeDefault().release();
  return pasteboard;
}

std::optional<std::string> LocalPasteboard::readString() {
  std::lock_guard lock(mutex_);
  return text_;
}

bool LocalPasteboard::writeString(std::string_view text) {
  std::lock_guard lock(mutex_);
  text_ = std::string(text);
  return true;
}

CommandPasteboard::CommandPasteboard(fs::path reader, std::vector<std::string> readerArguments, fs::path writer,
                                     std::vector<std::string> writerArguments)
    : reader_(std::move(reader)),
      writer_(std::move(writer)),
      readerArguments_(std::move(readerArguments)),
      writerArguments_(std::move(writerArguments)) {}

std::optional<std::string> CommandPasteboard::readString() {
  const auto result = ORVGetProcessRunner()->run({reader_, readerArguments_, displayEnvironment()});
  if (!result.launched || result.exitStatus != 0) return std::nullopt;
  return result.standardOutput;
}

bool CommandPasteboard::writeString(std::string_view text) {
  ProcessResult failure;
  const auto child = ORVGetProcessRunner()->start({writer_, writerArguments_, displayEnvironment()}, failure);
  if (!child) return false;
  const auto deadline = ORVGetClock()->steadyNow() + kToolLimit;
  while (!text.empty()) {
    const auto sent = child->send(text);
    if (sent > 0) {
      text.remove_prefix(static_cast<std::size_t>(sent));
      continue;
    }
    if (sent < 0 && errno != EAGAIN && errno != EINTR) return false;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - ORVGetClock()->steadyNow());
    if (left.count() <= 0) return false;
    pollfd input{child->input(), POLLOUT, 0};
    ::poll(&input, 1, static_cast<int>(left.count()));
  }
  child->closeInput();
  // The tool forks a server of the clipboard and exits: its exit is what is waited for.
  const auto status = child->waitFor(kToolLimit);
  return status && *status == 0;
}

Pasteboard* ORVGetPasteboard() {
  Pasteboard* pasteboard = installed.load(std::memory_order_acquire);
  return pasteboard ? pasteboard : Pasteboard::Default();
}

void ORVSetPasteboard(Pasteboard* pasteboard) { installed.store(pasteboard, std::memory_order_release); }

}  // namespace orvelin
