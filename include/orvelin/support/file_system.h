#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace orvelin {

// Every change the library makes to files goes through this interface (saves, sidecars, the
// catalogue, the user defaults, file tags and dates, exported pictures), so that tests and hosts
// can put another in its place (see ORVSetFileSystem) and make any one operation fail. Each
// operation reports failure through `error` (cleared on success) and never throws.
//
// Implementations must be safe for concurrent use by multiple threads: saves run on several
// threads at once. FileSystem::Default() is.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // Makes the folder and its missing parents; an existing folder is no error.
  virtual void createDirectories(const std::filesystem::path& url, std::error_code& error) = 0;
  // Moves a file or a folder to `to`, which must not exist: a move never replaces anything,
  // even what appears at `to` during the call (the error is then std::errc::file_exists).
  // Within one file system a rename; across file systems (files only) a copy (synced, then
  // renamed into place) followed by the removal of the source, so that `to` is either absent or
  // complete, and the source goes only once the copy is whole.
  virtual void moveItem(const std::filesystem::path& from, const std::filesystem::path& to, std::error_code& error) = 0;
  // Removes a file; a missing file is no error.
  virtual void removeItem(const std::filesystem::path& url, std::error_code& error) = 0;
  // Gives the file `to` the permission bits, the owner and the extended attributes of the file
  // `from` (the file tags among them), so that it can take `from`'s place. An owner that cannot
  // be given (another user's file, without the right to) stays the caller's; an attribute of a
  // namespace other than "user." that cannot be set is left out; a user attribute that cannot
  // be set is an error.
  virtual void copyAttributes(const std::filesystem::path& from, const std::filesystem::path& to,
                              std::error_code& error) = 0;
  // Writes `contents` as the whole file at `url`: a temporary file in the same folder (made with
  // its parents when needed), renamed over `url`, so that `url` is either the former file or
  // the whole new one. With `sync`, the data and the rename are made durable (fsync) first. On
  // any failure the temporary file is gone and `url` is untouched.
  virtual void writeFile(const std::filesystem::path& url, std::string_view contents, bool sync,
                         std::error_code& error) = 0;
  // Whether something exists at `url`; a link to nothing does not count. An error to find out
  // (a folder that cannot be searched) answers false and sets `error`.
  virtual bool exists(const std::filesystem::path& url, std::error_code& error) = 0;

  // The extended attribute `name` ("user.xdg.tags") of the file at `url`: absent when the file
  // has none, or when its file system keeps no user attributes. A missing file is an error.
  virtual std::optional<std::string> readAttribute(const std::filesystem::path& url, const std::string& name,
                                                   std::error_code& error) = 0;
  // Sets the attribute, or removes it when `value` is absent (a missing one is no error). A file
  // system without user attributes gives ENOTSUP; a missing file, ENOENT.
  virtual void writeAttribute(const std::filesystem::path& url, const std::string& name,
                              const std::optional<std::string_view>& value, std::error_code& error) = 0;
  // Sets the modification date of the file at `url` (to the microsecond), leaving its access
  // date as it is.
  virtual void setModificationDate(const std::filesystem::path& url,
                                   std::chrono::sys_time<std::chrono::microseconds> date, std::error_code& error) = 0;

  // The POSIX file system. Belongs to the library and must never be deleted.
  static FileSystem* Default();
};

// Forwards every call to another file system; tests derive from it to make one call fail.
class FileSystemWrapper : public FileSystem {
 public:
  explicit FileSystemWrapper(FileSystem* target) : target_(target) {}
  void createDirectories(const std::filesystem::path& url, std::error_code& error) override {
    target_->createDirectories(url, error);
  }
  void moveItem(const std::filesystem::path& from, const std::filesystem::path& to, std::error_code& error) override {
    target_->moveItem(from, to, error);
  }
  void removeItem(const std::filesystem::path& url, std::error_code& error) override { target_->removeItem(url, error); }
  void copyAttributes(const std::filesystem::path& from, const std::filesystem::path& to,
                      std::error_code& error) override {
    target_->copyAttributes(from, to, error);
  }
  void writeFile(const std::filesystem::path& url, std::string_view contents, bool sync,
                 std::error_code& error) override {
    target_->writeFile(url, contents, sync, error);
  }
  bool exists(const std::filesystem::path& url, std::error_code& error) override { return target_->exists(url, error); }
  std::optional<std::string> readAttribute(const std::filesystem::path& url, const std::string& name,
                                           std::error_code& error) override {
    return target_->readAttribute(url, name, error);
  }
  void writeAttribute(const std::filesystem::path& url, const std::string& name,
                      const std::optional<std::string_view>& value, std::error_code& error) override {
    target_->writeAttribute(url, name, value, error);
  }
  void setModificationDate(const std::filesystem::path& url, std::chrono::sys_time<std::chrono::microseconds> date,
                           std::error_code& error) override {
    target_->setModificationDate(url, date, error);
  }
  FileSystem* target() const { return target_; }

 private:
  FileSystem* target_;
};

// The file system the library uses, FileSystem::Default() unless set. The caller keeps
// ownership and keeps it alive while installed; null restores the default. Meant to be set at
// start-up or in a test, while no save runs.
FileSystem* ORVGetFileSystem();
void ORVSetFileSystem(FileSystem* fileSystem);

}  // namespace orvelin
