#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace orvelin {

// The user's home folder: $HOME, else the password database's entry, else "/".
std::filesystem::path ORVHomeDirectory();

// The temporary folder: $TMPDIR, else "/tmp".
std::filesystem::path ORVTemporaryDirectory();

// Reads a whole file. Absent when it cannot be opened or read.
std::optional<std::string> readFileContents(const std::filesystem::path& path);

// Writes `contents` to `path` atomically and durably (FileSystem::writeFile() of
// ORVGetFileSystem(), synced). On any failure the temporary file is removed, `path` is
// untouched, and the result is false.
bool writeFileAtomically(const std::filesystem::path& path, std::string_view contents);

// Tests for a file at `path` at once, then once a second until `seconds` have passed, through
// ORVGetFileSystem() and ORVGetClock(). True as soon as it exists.
bool waitFileExists(const std::filesystem::path& path, double seconds);

// folder / "<fresh UUID>[.pathExt]". The file is not created. No dot when pathExt is empty.
std::filesystem::path temporaryURL(std::string_view pathExt, const std::filesystem::path& folder);

// `url` when nothing exists there; else the first free "<stem> (N)<.ext>" in the same folder,
// counting N from 0: "x.jpg" gives "x (0).jpg". The existence test follows symbolic links, so
// a link to nothing counts as free.
std::filesystem::path availableItemURL(const std::filesystem::path& url);

// A fresh random (version 4) UUID in its upper-case text form (8-4-4-4-12 hexadecimal
// digits): 122 random bits from the kernel's source. Safe from any thread.
std::string ORVMakeUUIDString();

// ---------------------------------------------------------------------------------------------
// Finder tags: the extended attribute "user.xdg.tags", comma-separated UTF-8, read and written
// through ORVGetFileSystem().

// The tags of the file at `path`. No attribute, or a file system without user attributes:
// empty. A missing file: an error.
std::vector<std::string> readFinderTags(const std::filesystem::path& path, std::error_code& error);

// Sets the tags of the file at `path`, joined by commas; an empty list removes the attribute.
// A file system without user attributes gives an error (ENOTSUP); a missing file, ENOENT.
void writeFinderTags(const std::filesystem::path& path, const std::vector<std::string>& tags,
                     std::error_code& error);

// Copies what `other` has of its creation date, label colour and tags to `url`; what `other`
// lacks is left as it is on `url`. On Linux only the tags exist (creation dates cannot be set,
// label colours are unknown). Throws std::filesystem::filesystem_error when `other` cannot be
// read (missing file), or when it has tags that cannot be set on `url`.
void copyFinderResourceValues(const std::filesystem::path& url, const std::filesystem::path& other);

// ---------------------------------------------------------------------------------------------
// RAII helpers

// Owns a file descriptor and closes it on destruction.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept;
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() { reset(); }

  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  int release() { int fd = fd_; fd_ = -1; return fd; }
  void reset(int fd = -1);

 private:
  int fd_ = -1;
};

class FileSystem;

// Removes the file at its path when it goes out of scope, unless dismissed. For temporary
// files that must go on every way out of an operation. Given a file system, the removal goes
// through it and a failure is written to the debug log; otherwise the file is unlinked
// directly and a failure is ignored. Never throws.
class ScopedFileRemover {
 public:
  explicit ScopedFileRemover(std::filesystem::path path, FileSystem* fileSystem = nullptr)
      : path_(std::move(path)), fileSystem_(fileSystem) {}
  ScopedFileRemover(const ScopedFileRemover&) = delete;
  ScopedFileRemover& operator=(const ScopedFileRemover&) = delete;
  ~ScopedFileRemover();
  const std::filesystem::path& path() const { return path_; }
  void dismiss() { path_.clear(); }

 private:
  std::filesystem::path path_;
  FileSystem* const fileSystem_;
};

}  // namespace orvelin
