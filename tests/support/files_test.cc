#include "orvelin/support/file_system.h"
#include "orvelin/support/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <regex>
#include <set>
#include <thread>
#include <vector>

#include "common/instant_clock.h"
#include "common/test_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using namespace std::chrono_literals;

// "8-4-4-4-12" upper-case hexadecimal digits, version 4, variant 1.
bool isUUID(const std::string& text) {
  static const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  return std::regex_match(text, uuid);
}

// A clock whose waits make a file appear once it has waited long enough.
class AppearingFileClock : public testing::InstantClock {
 public:
  AppearingFileClock(std::filesystem::path file, std::chrono::seconds after) : file_(std::move(file)), after_(after) {}
  void sleepFor(std::chrono::nanoseconds duration) override {
    InstantClock::sleepFor(duration);
    if (waited() >= after_) testing::writeFile(file_, "x");
  }

 private:
  std::filesystem::path file_;
  std::chrono::seconds after_;
};

// The wait asks at once, then once a second of the clock's time until the time is up.
TEST(WaitFileExists, PresentAtOnceMissingAfterTheTimeAppearingMeanwhile) {
  testing::ScratchFolder folder;
  testing::writeFile(folder / "here", "x");
  AppearingFileClock clock(folder / "later", 2s);
  EXPECT_TRUE(waitFileExists(folder / "here", 3.0));
  EXPECT_EQ(clock.waited(), 0s);
  EXPECT_FALSE(waitFileExists(folder / "missing", 0.0));  // one test, no wait
  EXPECT_EQ(clock.waited(), 0s);
  EXPECT_TRUE(waitFileExists(folder / "later", 5.0));
  EXPECT_EQ(clock.waited(), 2s);
  EXPECT_FALSE(waitFileExists(folder / "missing", 3.0));
  EXPECT_EQ(clock.waited(), 5s);
}

TEST(TemporaryURL, FreshRandomVersion4NamesFromManyThreads) {
  const fs::path folder = "/some/folder";
  const auto bare = temporaryURL("", folder);
  EXPECT_EQ(bare.parent_path(), folder);
  EXPECT_TRUE(isUUID(bare.filename().string())) << bare;  // no trailing dot
  EXPECT_FALSE(fs::exists(bare));
  // Each thread's names must differ from every other thread's: no shared or weak seed.
  constexpr int kThreads = 8, kEach = 2000;
  std::vector<std::vector<fs::path>> made(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&made, &folder, t] {
      for (int i = 0; i < kEach; ++i) made[t].push_back(temporaryURL("json", folder));
    });
  for (auto& thread : threads) thread.join();
  std::set<fs::path> seen;
  for (const auto& list : made)
    for (const auto& url : list) {
      EXPECT_EQ(url.extension(), ".json");
      EXPECT_TRUE(isUUID(url.stem().string())) << url;
      seen.insert(url);
    }
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(kThreads * kEach));
}

TEST(AvailableItemURL, CountsFromZeroBeforeTheExtension) {
  testing::ScratchFolder folder;
  EXPECT_EQ(availableItemURL(folder / "x.jpg"), folder / "x.jpg");
  testing::writeFile(folder / "x.jpg", "");
  EXPECT_EQ(availableItemURL(folder / "x.jpg"), folder / "x (0).jpg");
  testing::writeFile(folder / "x (0).jpg", "");
  EXPECT_EQ(availableItemURL(folder / "x.jpg"), folder / "x (1).jpg");

  testing::writeFile(folder / "README", "");
  EXPECT_EQ(availableItemURL(folder / "README"), folder / "README (0)");
  fs::create_directory(folder / "Export");
  EXPECT_EQ(availableItemURL(folder / "Export/"), folder / "Export (0)");
  testing::writeFile(folder / "a.tar.gz", "");
  EXPECT_EQ(availableItemURL(folder / "a.tar.gz"), folder / "a.tar (0).gz");
  // The existence test follows links: a link to nothing leaves the name free, a link to a
  // file takes it, at the first try and when counting.
  fs::create_symlink(folder / "nowhere", folder / "dangling.jpg");
  EXPECT_EQ(availableItemURL(folder / "dangling.jpg"), folder / "dangling.jpg");
  fs::create_symlink(folder / "x.jpg", folder / "link.jpg");
  EXPECT_EQ(availableItemURL(folder / "link.jpg"), folder / "link (0).jpg");
  testing::writeFile(folder / "y.jpg", "");
  fs::create_symlink(folder / "nowhere", folder / "y (0).jpg");
  EXPECT_EQ(availableItemURL(folder / "y.jpg"), folder / "y (0).jpg");
}

TEST(WriteFileAtomically, FailsWhereNoFileCanBeMade) {
  testing::ScratchFolder folder;
  testing::writeFile(folder / "plain", "");
  EXPECT_FALSE(writeFileAtomically(folder / "plain" / "below", "x"));  // a file where a folder should be
}

TEST(FinderTags, LongListsCopiesRemovalAndAMissingFile) {
  testing::ScratchFolder folder;
  const auto file = folder / "tagged.jpg";
  const auto source = folder / "source.jpg";
  testing::writeFile(file, "x");
  testing::writeFile(source, "");
  std::error_code error;
  std::vector<std::string> many;  // longer than a first guess of the attribute's size
  for (int i = 0; i < 200; ++i) many.push_back("tag number " + std::to_string(i));
  writeFinderTags(file, many, error);
  if (error == std::errc::operation_not_supported)
    GTEST_SKIP() << "the temporary folder's file system has no user attributes";
  ASSERT_FALSE(error) << error.message();
  EXPECT_EQ(readFinderTags(file, error), many);

  copyFinderResourceValues(file, source);  // the source has no tags: the target keeps its own
  EXPECT_EQ(readFinderTags(file, error), many);
  writeFinderTags(source, {"Blue", "Trip"}, error);
  copyFinderResourceValues(file, source);
  EXPECT_THAT(readFinderTags(file, error), ElementsAre("Blue", "Trip"));
  EXPECT_THROW(copyFinderResourceValues(file, folder / "missing"), fs::filesystem_error);
  if (fs::exists("/proc/self/status", error)) {
    EXPECT_THROW(copyFinderResourceValues("/proc/self/status", source), fs::filesystem_error);
  }

  writeFinderTags(file, {}, error);  // empty: the attribute goes
  EXPECT_FALSE(error);
  EXPECT_TRUE(readFinderTags(file, error).empty());
  writeFinderTags(file, {}, error);  // and removing none is fine
  EXPECT_FALSE(error);

  writeFinderTags(folder / "missing", {"A"}, error);
  EXPECT_EQ(error, std::errc::no_such_file_or_directory);
}

TEST(FinderTags, FileSystemWithoutUserAttributes) {
  const fs::path procFile = "/proc/self/status";
  std::error_code error;
  if (!fs::exists(procFile, error)) GTEST_SKIP() << "no /proc here to stand for a file system without user attributes";
  EXPECT_TRUE(readFinderTags(procFile, error).empty());
  EXPECT_FALSE(error) << error.message();  // read: empty tags, no error
  writeFinderTags(procFile, {"A"}, error);
  EXPECT_TRUE(error);  // write: an error, not a crash
}

TEST(FileSystemMove, RenamesButNeverReplaces) {
  testing::ScratchFolder folder;
  auto* fileSystem = FileSystem::Default();
  std::error_code error;

  testing::writeFile(folder / "a.jpg", "A");
  fileSystem->moveItem(folder / "a.jpg", folder / "b.jpg", error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_FALSE(fs::exists(folder / "a.jpg"));
  EXPECT_EQ(testing::readFile(folder / "b.jpg"), "A");

  // Even a link to nothing takes the name.
  testing::writeFile(folder / "c.jpg", "C");
  fs::create_symlink(folder / "nowhere", folder / "link.jpg");
  fileSystem->moveItem(folder / "c.jpg", folder / "link.jpg", error);
  EXPECT_EQ(error, std::errc::file_exists);
  EXPECT_TRUE(fs::is_symlink(folder / "link.jpg"));

  fileSystem->moveItem(folder / "missing.jpg", folder / "d.jpg", error);
  EXPECT_EQ(error, std::errc::no_such_file_or_directory);
  EXPECT_FALSE(fs::exists(folder / "d.jpg"));

  // Folders move too.
  fs::create_directory(folder / "sub");
  testing::writeFile(folder / "sub" / "inside", "x");
  fileSystem->moveItem(folder / "sub", folder / "moved", error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_EQ(testing::readFile(folder / "moved" / "inside"), "x");
}

TEST(FileSystemMove, ConcurrentMovesToOneNameLeaveOneWinnerAndEveryOtherFile) {
  // A check of the name followed by a plain rename lets a later move replace an earlier one.
  testing::ScratchFolder folder;
  constexpr int kThreads = 8, kRounds = 40;
  for (int round = 0; round < kRounds; ++round) {
    const auto target = folder / ("target" + std::to_string(round));
    std::vector<fs::path> sources;
    for (int t = 0; t < kThreads; ++t) {
      sources.push_back(folder / ("source" + std::to_string(round) + "-" + std::to_string(t)));
      testing::writeFile(sources.back(), std::to_string(t));
    }
    std::atomic<int> ready{0};
    std::vector<int> failures(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
      threads.emplace_back([&, t] {
        ++ready;
        while (ready < kThreads) std::this_thread::yield();
        std::error_code error;
        FileSystem::Default()->moveItem(sources[t], target, error);
        if (error) failures[t] = error == std::errc::file_exists ? 1 : 2;
      });
    for (auto& thread : threads) thread.join();
    int moved = 0;
    for (int t = 0; t < kThreads; ++t) {
      ASSERT_NE(failures[t], 2) << "an error other than file_exists";
      if (failures[t] == 0) {
        ++moved;
        EXPECT_EQ(testing::readFile(target), std::to_string(t));
        EXPECT_FALSE(fs::exists(sources[t]));
      } else {
        EXPECT_EQ(testing::readFile(sources[t]), std::to_string(t));  // the loser keeps its file
      }
    }
    EXPECT_EQ(moved, 1) << "round " << round;
  }
}

TEST(FileSystemMove, AcrossFileSystemsCopiesWholeAndKeepsModeAndTime) {
  // /dev/shm is a memory file system on Linux: another device than the temporary folder.
  testing::ScratchFolder folder;
  struct stat here {}, shm {};
  if (::stat(folder.path().c_str(), &here) != 0 || ::stat("/dev/shm", &shm) != 0 || here.st_dev == shm.st_dev ||
      ::access("/dev/shm", W_OK) != 0)
    GTEST_SKIP() << "no second writable file system here";
  testing::EnvironmentScope inMemory("TMPDIR", "/dev/shm");  // where the next scratch folder goes
  const testing::ScratchFolder other;

  const std::string contents(300000, 'z');
  testing::writeFile(folder / "big.raw", contents);
  fs::permissions(folder / "big.raw", fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  const auto time = fs::file_time_type::clock::now() - std::chrono::hours(48);
  fs::last_write_time(folder / "big.raw", time);

  std::error_code error;
  FileSystem::Default()->moveItem(folder / "big.raw", other / "big.raw", error);
  ASSERT_FALSE(error) << error.message();
  EXPECT_FALSE(fs::exists(folder / "big.raw"));
  EXPECT_EQ(testing::readFile(other / "big.raw"), contents);
  EXPECT_EQ(fs::status(other / "big.raw").permissions() & fs::perms::mask,
            fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  EXPECT_EQ(fs::last_write_time(other / "big.raw"), time);

  // A taken name on the other side: the source stays, nothing is left behind there.
  testing::writeFile(folder / "again.raw", "new");
  testing::writeFile(other / "again.raw", "old");
  FileSystem::Default()->moveItem(folder / "again.raw", other / "again.raw", error);
  EXPECT_EQ(error, std::errc::file_exists);
  EXPECT_EQ(testing::readFile(folder / "again.raw"), "new");
  EXPECT_EQ(testing::readFile(other / "again.raw"), "old");
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(other.path())) names.insert(entry.path().filename().string());
  EXPECT_EQ(names, (std::set<std::string>{"again.raw", "big.raw"}));
}

}  // namespace
}  // namespace orvelin
