#include "orvelin/support/files.h"

#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/random.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

#include "orvelin/support/clock.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/file_system.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {
const std::string kTagsAttribute = "user.xdg.tags";
}

fs::path ORVHomeDirectory() {
  if (const char* home = std::getenv("HOME"); home && *home) return home;
  if (const passwd* entry = getpwuid(getuid()); entry && entry->pw_dir) return entry->pw_dir;
  return "/";
}

fs::path ORVTemporaryDirectory() {
  if (const char* tmp = std::getenv("TMPDIR"); tmp && *tmp) return tmp;
  return "/tmp";
}

std::optional<std::string> readFileContents(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  if (in.bad()) return std::nullopt;
  return std::move(buffer).str();
}

bool writeFileAtomically(const fs::path& path, std::string_view contents) {
  std::error_code error;
  ORVGetFileSystem()->writeFile(path, contents, true, error);
  return !error;
}

bool waitFileExists(const fs::path& path, double seconds) {
  auto* clock = ORVGetClock();
  auto* fileSystem = ORVGetFileSystem();
  const auto start = clock->steadyNow();
  for (;;) {
    std::error_code error;
    if (fileSystem->exists(path, error)) return true;
    const std::chrono::duration<double> elapsed = clock->steadyNow() - start;
    if (elapsed.count() >= seconds) return false;
    clock->sleepFor(std::chrono::seconds(1));
  }
}

namespace {

// Fills `bytes` from the kernel's random source; std::random_device (which reads the same
// source another way) stands in where getrandom is refused.
void fillRandom(unsigned char* bytes, std::size_t count) {
  std::size_t filled = 0;
  while (filled < count) {
    const ssize_t got = ::getrandom(bytes + filled, count - filled, 0);
    if (got > 0) {
      filled += static_cast<std::size_t>(got);
    } else if (got < 0 && errno != EINTR) {
      break;
    }
  }
  if (filled == count) return;
  std::random_device device;
  for (; filled < count; ++filled) bytes[filled] = static_cast<unsigned char>(device());
}

}  // namespace

std::string ORVMakeUUIDString() {
  unsigned char bytes[16];
  fillRandom(bytes, sizeof bytes);
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // variant 1
  static constexpr char hex[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
    text.push_back(hex[bytes[i] >> 4]);
    text.push_back(hex[bytes[i] & 0x0F]);
  }
  return text;
}

fs::path temporaryURL(std::string_view pathExt, const fs::path& folder) {
  std::string name = ORVMakeUUIDString();
  if (!pathExt.empty()) {
    name.push_back('.');
    name.append(pathExt);
  }
  return folder / name;
}

fs::path availableItemURL(const fs::path& url) {
  // The existence test follows links: a link to nothing counts as free.
  std::error_code error;
  if (!fs::exists(url, error)) return url;
  // A folder's URL may end with "/": its name is the last component before it.
  const auto item = !url.has_filename() && url.has_parent_path() ? url.parent_path() : url;
  const auto folder = item.parent_path();
  const auto stem = item.stem().string();
  const auto extension = item.extension().string();
  for (unsigned long number = 0;; ++number) {
    auto candidate = folder / (stem + " (" + std::to_string(number) + ")" + extension);
    if (!fs::exists(candidate, error)) return candidate;
  }
}

std::vector<std::string> readFinderTags(const fs::path& path, std::error_code& error) {
  std::vector<std::string> tags;
  const auto value = ORVGetFileSystem()->readAttribute(path, kTagsAttribute, error);
  if (!value) return tags;
  std::string_view rest(*value);
  while (!rest.empty()) {
    const auto comma = rest.find(',');
    const auto item = rest.substr(0, comma);
    if (!item.empty()) tags.emplace_back(item);
    if (comma == std::string_view::npos) break;
    rest.remove_prefix(comma + 1);
  }
  return tags;
}

void writeFinderTags(const fs::path& path, const std::vector<std::string>& tags, std::error_code& error) {
  if (tags.empty()) {
    ORVGetFileSystem()->writeAttribute(path, kTagsAttribute, std::nullopt, error);
    return;
  }
  std::string joined;
  for (const auto& tag : tags) {
    if (!joined.empty()) joined.push_back(',');
    joined += tag;
  }
  ORVGetFileSystem()->writeAttribute(path, kTagsAttribute, joined, error);
}

void copyFinderResourceValues(const fs::path& url, const fs::path& other) {
  std::error_code error;
  const auto tags = readFinderTags(other, error);
  if (error) throw fs::filesystem_error("cannot read the tags", other, error);
  if (tags.empty()) return;  // only what exists is copied
  writeFinderTags(url, tags, error);
  if (error) throw fs::filesystem_error("cannot set the tags", url, error);
}

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept {
  if (this != &other) reset(other.release());
  return *this;
}

void UniqueFd::reset(int fd) {
  if (fd_ >= 0) ::close(fd_);
  fd_ = fd;
}

ScopedFileRemover::~ScopedFileRemover() {
  if (path_.empty()) return;
  std::error_code error;
  if (!fileSystem_) {
    fs::remove(path_, error);
    return;
  }
  fileSystem_->removeItem(path_, error);
  try {
    if (error) ORVDebugLog(path_.string() + " cannot be removed: " + error.message());
  } catch (...) {  // only the log's text can fail (memory)
  }
}

}  // namespace orvelin
