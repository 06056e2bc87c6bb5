#include "orvelin/support/user_defaults.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <utility>

#include "orvelin/support/file_system.h"
#include "orvelin/support/files.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {

std::atomic<std::uint64_t>& changeCount() {
  static std::atomic<std::uint64_t> count{0};
  return count;
}

void noteChange() { changeCount().fetch_add(1, std::memory_order_release); }

}  // namespace

std::uint64_t ORVUserDefaultsChangeCount() { return changeCount().load(std::memory_order_acquire); }

fs::path UserDefaults::defaultFilePath() {
  if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && *config)
    return fs::path(config) / "orvelin" / "defaults.json";
  return ORVHomeDirectory() / ".config" / "orvelin" / "defaults.json";
}

UserDefaults::UserDefaults(fs::path path) : path_(std::move(path)), values_(nlohmann::json::object()) {
  std::error_code error;
  if (!fs::is_regular_file(path_, error)) return;  // missing, or not a file to read or put aside
  const auto contents = readFileContents(path_);
  if (!contents) return;
  auto parsed = nlohmann::json::parse(*contents, nullptr, /*allow_exceptions=*/false);
  if (parsed.is_object()) {
    values_ = std::move(parsed);
    return;
  }
  // Keep the damaged file for the user (in place of an older damaged one), start empty.
  auto* fileSystem = ORVGetFileSystem();
  const auto aside = fs::path(path_).concat(".corrupt");
  std::error_code ignored;
  fileSystem->removeItem(aside, ignored);
  fileSystem->moveItem(path_, aside, ignored);
}

std::optional<nlohmann::json> UserDefaults::object(std::string_view key) const {
  std::shared_lock lock(mutex_);
  const auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return *found;
}

std::optional<std::string> UserDefaults::string(std::string_view key) const {
  std::shared_lock lock(mutex_);
  const auto found = values_.find(key);
  if (found == values_.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

bool UserDefaults::boolean(std::string_view key) const {
  std::shared_lock lock(mutex_);
  const auto found = values_.find(key);
  return found != values_.end() && found->is_boolean() && found->get<bool>();
}

void UserDefaults::set(std::string_view key, nlohmann::json value) {
  {
    std::unique_lock lock(mutex_);
    values_[std::string(key)] = std::move(value);
  }
  noteChange();
}

void UserDefaults::remove(std::string_view key) {
  {
    std::unique_lock lock(mutex_);
    values_.erase(std::string(key));
  }
  noteChange();
}

std::vector<std::string> UserDefaults::keys() const {
  std::shared_lock lock(mutex_);
  std::vector<std::string> result;
  for (const auto& item : values_.items()) result.push_back(item.key());
  return result;
}

bool UserDefaults::synchronize() {
  // One writer at a time, each with the values of its own moment: the file ends with the
  // values of the last call, never with an older snapshot renamed over a newer one.
  std::lock_guard writing(synchronizeMutex_);
  std::string text;
  {
    std::shared_lock lock(mutex_);
    // Texts that are not UTF-8 are written with U+FFFD rather than failing the whole file.
    text = values_.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
  }
  text.push_back('\n');
  return writeFileAtomically(path_, text);
}

// The globals below live as long as the process (never destroyed): threads of the worker
// pool may still use them while the process exits.

std::mutex& ORVGlobalSemaphore() {
  static auto* const semaphore = new std::mutex;
  return *semaphore;
}

namespace {

// Guarded by ORVGlobalSemaphore().
std::shared_ptr<UserDefaults>& userDefaultsGlobal() {
  static auto* const defaults = new std::shared_ptr<UserDefaults>;
  return *defaults;
}

// Guarded by ORVGlobalSemaphore().
fs::path& backupFolderGlobal() {
  static auto* const folder = new fs::path(ORVTemporaryDirectory());
  return *folder;
}

}  // namespace

std::shared_ptr<UserDefaults> ORVGetUserDefaults() {
  std::lock_guard lock(ORVGlobalSemaphore());
  auto& defaults = userDefaultsGlobal();
  if (!defaults) defaults = std::make_shared<UserDefaults>(UserDefaults::defaultFilePath());
  return defaults;
}

void ORVSetUserDefaults(std::shared_ptr<UserDefaults> defaults) {
  std::shared_ptr<UserDefaults> previous;  // released after the lock
  {
    std::lock_guard lock(ORVGlobalSemaphore());
    previous = std::exchange(userDefaultsGlobal(), std::move(defaults));
  }
  noteChange();
}

fs::path ORVGetBackupFolderURL() {
  std::lock_guard lock(ORVGlobalSemaphore());
  return backupFolderGlobal();
}

void ORVSetBackupFolderURL(fs::path url) {
  std::lock_guard lock(ORVGlobalSemaphore());
  backupFolderGlobal() = std::move(url);
}

}  // namespace orvelin
