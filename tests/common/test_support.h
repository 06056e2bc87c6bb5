#pragma once

// Helpers shared by the test programs: scratch folders, copies of the sample files, and a
// process-wide set-up that points user defaults and the backup folder at a scratch folder.

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orvelin::testing {

// A fresh folder under the temporary folder, removed with everything in it on destruction.
class ScratchFolder {
 public:
  ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

// The folder of the bundled sample files (tests/data).
std::filesystem::path dataDirectory();

// Copies tests/data/<name> to `folder` (writable) and returns the copy's path.
std::filesystem::path copySample(const std::string& name, const std::filesystem::path& folder);

// Writes `contents` to `path`.
void writeFile(const std::filesystem::path& path, const std::string& contents);
std::string readFile(const std::filesystem::path& path);

// The lines of `text`, without their line feeds.
std::vector<std::string> linesOf(const std::string& text);
// How many times `part` occurs in `text`, one after the other.
std::size_t occurrences(const std::string& text, const std::string& part);

// The file tags of `path`, read or written; a failure is a test failure (and reads as none).
std::vector<std::string> finderTagsOf(const std::filesystem::path& path);
void setFinderTags(const std::filesystem::path& path, const std::vector<std::string>& tags);

// Environment variables set (or, when absent, unset) for the life of the scope, then restored.
class EnvironmentScope {
 public:
  EnvironmentScope() = default;
  EnvironmentScope(const char* name, const std::optional<std::string>& value) { set(name, value); }
  EnvironmentScope(const EnvironmentScope&) = delete;
  EnvironmentScope& operator=(const EnvironmentScope&) = delete;
  ~EnvironmentScope();

  void set(const char* name, const std::optional<std::string>& value);

 private:
  std::vector<std::pair<std::string, std::optional<std::string>>> saved_;  // first value of each
};

// The library's debug log, written to a file of its own while the object lives, then off.
class DebugLogCapture {
 public:
  DebugLogCapture();
  DebugLogCapture(const DebugLogCapture&) = delete;
  DebugLogCapture& operator=(const DebugLogCapture&) = delete;
  ~DebugLogCapture();

  // What the log file holds so far.
  std::string text() const;

 private:
  ScratchFolder folder_;
};

// Sends the library's console to a temporary file of its own while it lives.
class ConsoleCapture {
 public:
  ConsoleCapture();
  ConsoleCapture(const ConsoleCapture&) = delete;
  ConsoleCapture& operator=(const ConsoleCapture&) = delete;
  ~ConsoleCapture();

  // What was printed so far.
  std::string text() const;

 private:
  std::FILE* file_;
  int previous_;
};

}  // namespace orvelin::testing
