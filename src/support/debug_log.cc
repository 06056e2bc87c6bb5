#include "orvelin/support/debug_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <mutex>

#include "orvelin/support/files.h"
#include "orvelin/support/resources.h"

namespace orvelin {

namespace {

const char* const kDebugBundleProperties[] = {
    "CFBundleName",    "CFBundleIdentifier",        "CFBundleExecutable",
    "CFBundleVersion", "CFBundleLongVersionString", "CFBundleShortVersionString",
};

struct DebugLogState {
  std::atomic<bool> enabled{false};
  std::atomic<int> console{STDOUT_FILENO};
  std::mutex mutex;  // guards file and the writes to the console, one entry at a time
  UniqueFd file;
  std::map<std::string, std::string> applicationInfo;  // set at start-up
};

// Lives as long as the process: threads of the worker pool may still print while it exits.
DebugLogState& state() {
  static DebugLogState* const instance = new DebugLogState;
  return *instance;
}

void writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return;
    }
    bytes.remove_prefix(static_cast<size_t>(written));
  }
}

// Writes a line to the console, after what the host's standard output holds in its buffer.
// REQUIRES: the state's mutex is held.
void writeConsoleLine(DebugLogState& s, std::string_view line) {
  std::fflush(stdout);
  writeAll(s.console.load(std::memory_order_relaxed), line);
}

std::string presentDateDescription() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S +0000", &utc);
  return text;
}

std::map<std::string, std::string> defaultApplicationInfo() {
  std::error_code error;
  const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return {};
  const auto name = executable.filename().string();
  return {{"CFBundleName", name}, {"CFBundleExecutable", name}};
}

void appendProperties(std::string& header, const std::map<std::string, std::string>& properties) {
  for (const char* name : kDebugBundleProperties) {
    if (auto found = properties.find(name); found != properties.end())
      header.append(name).append(": ").append(found->second).append("\n");
  }
}

}  // namespace

void ORVSetApplicationInfo(std::map<std::string, std::string> properties) {
  auto& s = state();
  std::lock_guard lock(s.mutex);
  s.applicationInfo = std::move(properties);
}

std::string ORVBuildHeader() {
  std::string header = "Date: " + presentDateDescription() + "\n";
  header += "\nInformation about the framework:\n";
  appendProperties(header, ORVBundleInfo());
  header += "\nInformation about the application:\n";
  std::map<std::string, std::string> application;
  {
    auto& s = state();
    std::lock_guard lock(s.mutex);
    application = s.applicationInfo;
  }
  appendProperties(header, application.empty() ? defaultApplicationInfo() : application);
  return header;
}

void ORVEnableDebugLog(const std::filesystem::path& url) {
  auto& s = state();
  ORVDisableDebugLog();
  s.enabled = true;
  std::error_code ignored;
  std::filesystem::remove(url, ignored);
  UniqueFd fd(::open(url.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  if (!fd.valid()) return;
  const auto header = ORVBuildHeader();
  std::lock_guard lock(s.mutex);
  writeAll(fd.get(), header);
  s.file = std::move(fd);
}

void ORVDisableDebugLog() {
  auto& s = state();
  s.enabled = false;
  std::lock_guard lock(s.mutex);
  s.file.reset();
}

bool ORVIsDebugLogEnabled() { return state().enabled.load(std::memory_order_relaxed); }

void ORVDebugLogWrite(std::string_view text) {
  auto& s = state();
  if (!s.enabled) return;
  std::string line(text);
  line.push_back('\n');
  std::lock_guard lock(s.mutex);
  writeConsoleLine(s, line);
  if (s.file.valid()) writeAll(s.file.get(), line);
}

void ORVPrint(std::string_view text) {
  auto& s = state();
  std::string line(text);
  line.push_back('\n');
  std::lock_guard lock(s.mutex);
  writeConsoleLine(s, line);
}

void ORVSetConsole(int fd) { state().console.store(fd, std::memory_order_relaxed); }

int ORVGetConsole() { return state().console.load(std::memory_order_relaxed); }

void ORVAppendDebugFile(std::string_view text) {
  auto& s = state();
  std::string line(text);
  line.push_back('\n');
  std::lock_guard lock(s.mutex);
  if (s.file.valid()) writeAll(s.file.get(), line);
}

}  // namespace orvelin
