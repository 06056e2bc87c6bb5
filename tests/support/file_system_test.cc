#include "orvelin/support/file_system.h"

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <thread>
#include <vector>

#include "common/test_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;

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
