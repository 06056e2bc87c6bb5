#include "orvelin/support/file_system.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>

#include "orvelin/support/files.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {

std::error_code lastError() { return std::error_code(errno, std::generic_category()); }

// Copies the extended attributes from one open file to another: the user ones (the file tags
// among them) always, the others when `allNamespaces`. Returns 0, or the errno value of a user
// attribute that could not be read or set; the others are left behind when they cannot be set.
int copyExtendedAttributes(int from, int to, bool allNamespaces) {
  ssize_t size = ::flistxattr(from, nullptr, 0);
  if (size < 0) return errno == ENOTSUP ? 0 : errno;
  std::string names(static_cast<size_t>(size), '\0');
  size = size == 0 ? 0 : ::flistxattr(from, names.data(), names.size());
  if (size < 0) return errno;
  names.resize(static_cast<size_t>(size));
  for (std::size_t at = 0; at < names.size();) {
    const std::string name = names.c_str() + at;
    at += name.size() + 1;
    const bool user = name.starts_with("user.");
    if (!user && !allNamespaces) continue;
    std::string value;
    ssize_t length = ::fgetxattr(from, name.c_str(), nullptr, 0);
    if (length > 0) {
      value.resize(static_cast<size_t>(length));
      length = ::fgetxattr(from, name.c_str(), value.data(), value.size());
    }
    if (length < 0 || ::fsetxattr(to, name.c_str(), value.data(), static_cast<size_t>(length), 0) != 0) {
      if (user) return errno;
    }
  }
  return 0;
}

// Gives `from` the name `to` unless something exists at `to`: never replaces a file, not even
// one that appears during the call. Returns 0, or the errno value of the failure (EEXIST when
// `to` is taken). Where the file system refuses an exclusive rename, a hard link followed by
// the removal of the old name does the same; where it has no hard links either, the name is
// claimed by an empty placeholder made exclusively, which the rename then replaces.
int renameWithoutReplacing(const fs::path& from, const fs::path& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP && errno != EOPNOTSUPP) return errno;

  if (::link(from.c_str(), to.c_str()) == 0) {
    if (::unlink(from.c_str()) == 0) return 0;
    const int failure = errno;
    ::unlink(to.c_str());  // one name only: the old one stays
    return failure;
  }
  if (errno != EPERM && errno != ENOTSUP && errno != EOPNOTSUPP && errno != EMLINK) return errno;

  struct stat info {};
  if (::lstat(from.c_str(), &info) != 0) return errno;
  const bool folder = S_ISDIR(info.st_mode);
  if (folder) {
    if (::mkdir(to.c_str(), 0700) != 0) return errno;
  } else {
    UniqueFd placeholder(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!placeholder.valid()) return errno;
  }
  if (::rename(from.c_str(), to.c_str()) == 0) return 0;
  const int failure = errno;
  if (folder)
    ::rmdir(to.c_str());
  else
    ::unlink(to.c_str());
  return failure;
}

// Copies `from` to `to` through a temporary file in `to`'s folder, synced before it is renamed
// into place without replacing anything at `to`, keeping the permission bits and the
// modification time.
void copyFileWhole(const fs::path& from, const fs::path& to, std::error_code& error) {
  UniqueFd source(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
  if (!source.valid()) {
    error = lastError();
    return;
  }
  struct stat info {};
  if (::fstat(source.get(), &info) != 0) {
    error = lastError();
    return;
  }
  const auto temporary = to.parent_path() / ("." + to.filename().string() + "." + ORVMakeUUIDString() + ".part");
  ScopedFileRemover remover(temporary);
  UniqueFd target(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, info.st_mode & 07777));
  if (!target.valid()) {
    error = lastError();
    return;
  }
  char buffer[1 << 16];
  for (;;) {
    const ssize_t n = ::read(source.get(), buffer, sizeof buffer);
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      error = lastError();
      return;
    }
    for (ssize_t done = 0; done < n;) {
      const ssize_t written = ::write(target.get(), buffer + done, static_cast<size_t>(n - done));
      if (written < 0) {
        if (errno == EINTR) continue;
        error = lastError();
        return;
      }
      done += written;
    }
  }
  copyExtendedAttributes(source.get(), target.get(), false);
  const timespec times[2] = {info.st_atim, info.st_mtim};
  ::futimens(target.get(), times);
  if (::fsync(target.get()) != 0 || ::close(target.release()) != 0) {
    error = lastError();
    return;
  }
  if (const int failure = renameWithoutReplacing(temporary, to); failure != 0) {
    error = std::error_code(failure, std::generic_category());
    return;
  }
  remover.dismiss();
}

class PosixFileSystem final : public FileSystem {
 public:
  void createDirectories(const fs::path& url, std::error_code& error) override {
    error.clear();
    fs::create_directories(url, error);
    if (!error && !fs::is_directory(url, error) && !error) error = std::make_error_code(std::errc::not_a_directory);
  }

  void moveItem(const fs::path& from, const fs::path& to, std::error_code& error) override {
    error.clear();
    const int failure = renameWithoutReplacing(from, to);
    if (failure == 0) return;
    if (failure != EXDEV) {
      error = std::error_code(failure, std::generic_category());
      return;
    }
    // Across file systems. A taken name fails before the copy; one that appears during the copy
    // fails its last step.
    struct stat existing {};
    if (::lstat(to.c_str(), &existing) == 0) {
      error = std::make_error_code(std::errc::file_exists);
      return;
    }
    copyFileWhole(from, to, error);
    if (error) return;
    if (::unlink(from.c_str()) != 0) {
      error = lastError();
      // Keep one copy only: the source stays, the copy goes.
      ::unlink(to.c_str());
    }
  }

  void removeItem(const fs::path& url, std::error_code& error) override {
    error.clear();
    if (::unlink(url.c_str()) != 0 && errno != ENOENT) error = lastError();
  }

  void writeFile(const fs::path& url, std::string_view contents, bool sync, std::error_code& error) override {
    error.clear();
    const auto folder = url.has_parent_path() ? url.parent_path() : fs::path(".");
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    const auto temporary = folder / ("." + url.filename().string() + "." + ORVMakeUUIDString() + ".tmp");
    ScopedFileRemover remover(temporary);
    UniqueFd fd(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!fd.valid()) {
      error = lastError();
      return;
    }
    for (std::string_view left = contents; !left.empty();) {
      const ssize_t written = ::write(fd.get(), left.data(), left.size());
      if (written < 0) {
        if (errno == EINTR) continue;
        error = lastError();
        return;
      }
      left.remove_prefix(static_cast<std::size_t>(written));
    }
    if ((sync && ::fsync(fd.get()) != 0) || ::close(fd.release()) != 0 ||
        ::rename(temporary.c_str(), url.c_str()) != 0) {
      error = lastError();
      return;
    }
    remover.dismiss();
    if (!sync) return;
    // Make the rename itself durable; the file is in place whatever this answers.
    UniqueFd directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.valid()) ::fsync(directory.get());
  }

  bool exists(const fs::path& url, std::error_code& error) override {
    error.clear();
    return fs::exists(url, error);
  }

  std::optional<std::string> readAttribute(const fs::path& url, const std::string& name,
                                           std::error_code& error) override {
    error.clear();
    std::string value(256, '\0');
    for (;;) {
      const ssize_t size = ::getxattr(url.c_str(), name.c_str(), value.data(), value.size());
      if (size >= 0) {
        value.resize(static_cast<std::size_t>(size));
        return value;
      }
      if (errno == ERANGE) {
        const ssize_t needed = ::getxattr(url.c_str(), name.c_str(), nullptr, 0);
        if (needed >= 0) value.assign(static_cast<std::size_t>(needed) + 1, '\0');
        continue;
      }
      if (errno != ENODATA && errno != ENOTSUP) error = lastError();
      return std::nullopt;
    }
  }

  void writeAttribute(const fs::path& url, const std::string& name, const std::optional<std::string_view>& value,
                      std::error_code& error) override {
    error.clear();
    if (!value) {
      if (::removexattr(url.c_str(), name.c_str()) != 0 && errno != ENODATA) error = lastError();
      return;
    }
    if (::setxattr(url.c_str(), name.c_str(), value->data(), value->size(), 0) != 0) error = lastError();
  }

  void setModificationDate(const fs::path& url, std::chrono::sys_time<std::chrono::microseconds> date,
                           std::error_code& error) override {
    error.clear();
    const auto since = date.time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(since - seconds);
    const timespec times[2] = {{0, UTIME_OMIT},
                               {static_cast<time_t>(seconds.count()), static_cast<long>(nanoseconds.count())}};
    if (::utimensat(AT_FDCWD, url.c_str(), times, 0) != 0) error = lastError();
  }

  void copyAttributes(const fs::path& from, const fs::path& to, std::error_code& error) override {
    error.clear();
    UniqueFd source(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
    UniqueFd target(source.valid() ? ::open(to.c_str(), O_RDONLY | O_CLOEXEC) : -1);
    struct stat info {};
    if (!target.valid() || ::fstat(source.get(), &info) != 0) {
      error = lastError();
      return;
    }
    [[maybe_unused]] const int owner = ::fchown(target.get(), info.st_uid, info.st_gid);  // may be refused
    if (::fchmod(target.get(), info.st_mode & 07777) != 0) {
      error = lastError();
      return;
    }
    if (const int failure = copyExtendedAttributes(source.get(), target.get(), true); failure != 0)
      error = std::error_code(failure, std::generic_category());
  }
};

std::atomic<FileSystem*>& installed() {
  static std::atomic<FileSystem*> fileSystem{nullptr};
  return fileSystem;
}

}  // namespace

FileSystem* FileSystem::Default() {
  static auto* fileSystem = new PosixFileSystem;
  return fileSystem;
}

FileSystem* ORVGetFileSystem() {
  FileSystem* fileSystem = installed().load();
  return fileSystem ? fileSystem : FileSystem::Default();
}

void ORVSetFileSystem(FileSystem* fileSystem) { installed().store(fileSystem); }

}  // namespace orvelin
