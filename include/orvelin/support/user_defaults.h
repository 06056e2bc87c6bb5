#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace orvelin {

// A persistent key-value store over one JSON file (an object whose members are the keys).
// Values are JSON values. Changes are kept in memory until synchronize() writes them.
// Safe for concurrent use by multiple threads: an internal reader-writer lock guards the
// values.
class UserDefaults {
 public:
  // The default file: $XDG_CONFIG_HOME/orvelin/defaults.json, else ~/.config/orvelin/defaults.json.
  static std::filesystem::path defaultFilePath();

  // Reads `path` when it exists. A file that is not a JSON object is moved aside to
  // "<path>.corrupt" (replacing an older one) and the store starts empty; a missing file starts
  // empty. Never throws for the file's sake.
  explicit UserDefaults(std::filesystem::path path);
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

  const std::filesystem::path& path() const { return path_; }

  std::optional<nlohmann::json> object(std::string_view key) const;
  std::optional<std::string> string(std::string_view key) const;
  bool boolean(std::string_view key) const;  // false when absent or not a boolean
  void set(std::string_view key, nlohmann::json value);
  void remove(std::string_view key);
  std::vector<std::string> keys() const;

  // Writes the values atomically (temporary file in the same folder, fsync, rename), making
  // the folder when needed. Returns whether it worked; the file is left as it was otherwise,
  // and no temporary file stays behind.
  bool synchronize();

 private:
  const std::filesystem::path path_;
  std::mutex synchronizeMutex_;  // one synchronize() at a time; taken before mutex_
  mutable std::shared_mutex mutex_;
  nlohmann::json values_;  // guarded by mutex_; always an object
};

// The process's lock for the user defaults object and the backup folder URL, and nothing else.
// Held only for the reads and writes of these two globals, never across a process run or a
// file move.
std::mutex& ORVGlobalSemaphore();

// The defaults object of the process. Starts as a store over UserDefaults::defaultFilePath().
// The returned object stays valid as long as the caller holds the pointer. Both take
// ORVGlobalSemaphore() for the access to the global alone.
std::shared_ptr<UserDefaults> ORVGetUserDefaults();
void ORVSetUserDefaults(std::shared_ptr<UserDefaults> defaults);

// A count that grows whenever ORVSetUserDefaults() installs an object or any UserDefaults
// object changes a value (set(), remove()). What a caller derives from the defaults stays
// valid as long as the count has not changed. Lock-free; safe from any thread.
std::uint64_t ORVUserDefaultsChangeCount();

// The folder that files are moved to while they are rewritten. Starts as the temporary folder
// ($TMPDIR, else /tmp, read at the first use) until a host sets another. Both take
// ORVGlobalSemaphore() for the access alone.
std::filesystem::path ORVGetBackupFolderURL();
void ORVSetBackupFolderURL(std::filesystem::path url);

}  // namespace orvelin
