#include "common/test_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <sstream>

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/files.h"
#include "orvelin/support/user_defaults.h"

namespace orvelin::testing {

namespace fs = std::filesystem;

ScratchFolder::ScratchFolder() {
  path_ = ORVTemporaryDirectory() / ("orvelin-test-" + ORVMakeUUIDString());
  fs::create_directories(path_);
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  // Files left read-only by a test must go too.
  for (auto it = fs::recursive_directory_iterator(path_, ignored); it != fs::recursive_directory_iterator();
       it.increment(ignored))
    fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
  fs::remove_all(path_, ignored);
}

fs::path dataDirectory() { return fs::path(ORVELIN_TEST_DATA_DIR); }

fs::path copySample(const std::string& name, const fs::path& folder) {
  const auto target = folder / fs::path(name).filename();
  fs::copy_file(dataDirectory() / name, target, fs::copy_options::overwrite_existing);
  fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write, fs::perm_options::add);
  return target;
}

void writeFile(const fs::path& path, const std::string& contents) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << contents;
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream buffer;
  buffer << in.rdbuf();
  return buffer.str();
}

void EnvironmentScope::set(const char* name, const std::optional<std::string>& value) {
  bool seen = false;
  for (const auto& [savedName, savedValue] : saved_) seen = seen || savedName == name;
  if (!seen) {
    const char* old = std::getenv(name);
    saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
  }
  if (value)
    ::setenv(name, value->c_str(), 1);
  else
    ::unsetenv(name);
}

EnvironmentScope::~EnvironmentScope() {
  for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) {
    if (it->second)
      ::setenv(it->first.c_str(), it->second->c_str(), 1);
    else
      ::unsetenv(it->first.c_str());
  }
}

namespace {

// Every test program keeps its user defaults and backups in a scratch folder of its own, so
// that tests never touch the user's settings, and starts with the catalogue of the build.
class IsolatedEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    folder_ = std::make_unique<ScratchFolder>();
    ORVSetUserDefaults(std::make_shared<UserDefaults>(folder_->path() / "defaults.json"));
    fs::create_directories(folder_->path() / "backup");
    ORVSetBackupFolderURL(folder_->path() / "backup");
    TagsResources::shared().reload();
  }
  void TearDown() override { folder_.reset(); }

 private:
  std::unique_ptr<ScratchFolder> folder_;
};

const auto* const registered = ::testing::AddGlobalTestEnvironment(new IsolatedEnvironment);

}  // namespace

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::size_t occurrences(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

std::vector<std::string> finderTagsOf(const fs::path& path) {
  std::error_code error;
  auto tags = readFinderTags(path, error);
  if (error) ADD_FAILURE() << "file tags of " << path << ": " << error.message();
  return tags;
}

void setFinderTags(const fs::path& path, const std::vector<std::string>& tags) {
  std::error_code error;
  writeFinderTags(path, tags, error);
  if (error) ADD_FAILURE() << "file tags of " << path << ": " << error.message();
}

DebugLogCapture::DebugLogCapture() { ORVEnableDebugLog(folder_ / "debug.log"); }

DebugLogCapture::~DebugLogCapture() { ORVDisableDebugLog(); }

std::string DebugLogCapture::text() const { return readFile(folder_ / "debug.log"); }

ConsoleCapture::ConsoleCapture() : file_(std::tmpfile()), previous_(ORVGetConsole()) {
  if (!file_) throw std::runtime_error("no temporary file for the console");
  ORVSetConsole(::fileno(file_));
}

ConsoleCapture::~ConsoleCapture() {
  ORVSetConsole(previous_);
  std::fclose(file_);
}

std::string ConsoleCapture::text() const {
  std::string text;
  std::rewind(file_);
  for (int c; (c = std::fgetc(file_)) != EOF;) text.push_back(static_cast<char>(c));
  return text;
}

}  // namespace orvelin::testing
