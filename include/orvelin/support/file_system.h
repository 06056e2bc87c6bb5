#pragma once

#include <filesystem>
#include <system_error>

namespace orvelin {

// The file operations of a save, behind one interface so that tests and hosts can put another
// in its place (see ORVSetFileSystem). Each reports failure through `error` and never throws.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // Makes the folder and its missing parents; an existing folder is no error.
  virtual void createDirectories(const std::filesystem::path& url, std::error_code& error) = 0;
  // Moves a file to `to`, which must not exist: a move never replaces anything, even what
  // appears at `to` during the call (the error is then std::errc::file_exists). Within one file
  // system a rename; across file systems a copy (synced, then renamed into place) followed by
  // the removal of the source, so that `to` is either absent or complete, and the source goes
  // only once the copy is whole. A folder moves the same way within one file system; across
  // file systems it fails and stays where it was.
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

 private:
  FileSystem* target_;
};

// The file system the library uses, FileSystem::Default() unless set. The caller keeps
// ownership and keeps it alive while installed; null restores the default. Meant to be set at
// start-up or in a test, while no save runs.
FileSystem* ORVGetFileSystem();
void ORVSetFileSystem(FileSystem* fileSystem);

}  // namespace orvelin
