#include "orvelin/support/user_defaults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <barrier>
#include <thread>

#include "common/test_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::UnorderedElementsAre;

std::vector<std::string> entriesOf(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
  return names;
}

TEST(UserDefaults, ValuesSurviveSynchronizeAndOnlyChangesAreCounted) {
  testing::ScratchFolder folder;
  const auto path = folder / "config" / "defaults.json";
  {
    UserDefaults defaults(path);
    EXPECT_EQ(defaults.path(), path);
    EXPECT_TRUE(defaults.keys().empty());
    defaults.set("ORVUserLanguage", "German");
    defaults.set("ORVPresets", nlohmann::json::array({1, 2}));
    defaults.set("Flag", true);
    defaults.set("Not UTF-8", std::string("caf\xE9"));  // written with U+FFFD, not failing the file
    defaults.set("Gone", 1);
    auto count = ORVUserDefaultsChangeCount();
    defaults.remove("Gone");
    EXPECT_GT(ORVUserDefaultsChangeCount(), count);
    count = ORVUserDefaultsChangeCount();
    EXPECT_EQ(defaults.string("ORVUserLanguage"), "German");
    EXPECT_EQ(defaults.string("ORVPresets"), std::nullopt);  // not a text
    EXPECT_TRUE(defaults.boolean("Flag"));
    EXPECT_FALSE(defaults.boolean("ORVUserLanguage"));
    EXPECT_FALSE(defaults.boolean("Missing"));
    EXPECT_EQ(defaults.keys().size(), 4u);
    EXPECT_EQ(ORVUserDefaultsChangeCount(), count);  // reads change nothing
    EXPECT_FALSE(fs::exists(path));  // nothing is written before synchronize()
    EXPECT_TRUE(defaults.synchronize());
  }
  UserDefaults reread(path);
  EXPECT_THAT(reread.keys(), UnorderedElementsAre("ORVUserLanguage", "ORVPresets", "Flag", "Not UTF-8"));
  EXPECT_EQ(reread.object("ORVPresets"), nlohmann::json::array({1, 2}));
  EXPECT_EQ(reread.object("Missing"), std::nullopt);
  EXPECT_THAT(entriesOf(folder / "config"), UnorderedElementsAre("defaults.json"));
}

TEST(UserDefaults, CorruptFileIsKeptAsideAndTheStoreStartsEmpty) {
  testing::ScratchFolder folder;
  for (const std::string damaged : {"{\"a\": tru", "[1, 2]", ""}) {
    const auto path = folder / "defaults.json";
    testing::writeFile(path, damaged);
    UserDefaults defaults(path);
    EXPECT_TRUE(defaults.keys().empty()) << damaged;
    EXPECT_EQ(testing::readFile(folder / "defaults.json.corrupt"), damaged);
    EXPECT_FALSE(fs::exists(path));
    defaults.set("a", 1);
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(UserDefaults(path).object("a"), 1);
    fs::remove(path);
  }
}

TEST(UserDefaults, FailedSynchronizeLeavesNothingBehind) {
  testing::ScratchFolder folder;
  fs::create_directory(folder / "defaults.json");  // a folder where the file should be
  UserDefaults defaults(folder / "defaults.json");
  EXPECT_TRUE(fs::is_directory(folder / "defaults.json"));  // not taken for a corrupt file
  defaults.set("a", 1);
  EXPECT_FALSE(defaults.synchronize());
  EXPECT_THAT(entriesOf(folder.path()), UnorderedElementsAre("defaults.json"));
}

TEST(UserDefaults, ConcurrentSynchronizeEndsWithTheLatestValues) {
  testing::ScratchFolder folder;
  const auto path = folder / "defaults.json";
  UserDefaults defaults(path);
  constexpr int threads = 4, rounds = 30;
  // In each round every thread adds a key and synchronises at the same moment; once all are
  // done, the file must hold every key so far: no older snapshot may land over a newer one.
  int round = 0;
  std::vector<int> shortRounds;
  std::barrier roundEnd(threads, [&]() noexcept {
    ++round;
    if (UserDefaults(path).keys().size() != static_cast<std::size_t>(threads * round)) shortRounds.push_back(round);
  });
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t)
    workers.emplace_back([&, t] {
      for (int r = 0; r < rounds; ++r) {
        defaults.set("key " + std::to_string(t) + " " + std::to_string(r), r);
        EXPECT_TRUE(defaults.synchronize());
        roundEnd.arrive_and_wait();
      }
    });
  for (auto& worker : workers) worker.join();
  EXPECT_THAT(shortRounds, ::testing::IsEmpty());
  EXPECT_THAT(entriesOf(folder.path()), UnorderedElementsAre("defaults.json"));
}

TEST(UserDefaults, DefaultFileFollowsXDGConfigHome) {
  testing::EnvironmentScope environment("XDG_CONFIG_HOME", "/config/here");
  EXPECT_EQ(UserDefaults::defaultFilePath(), "/config/here/orvelin/defaults.json");
  environment.set("XDG_CONFIG_HOME", std::nullopt);
  EXPECT_TRUE(UserDefaults::defaultFilePath().string().ends_with("/.config/orvelin/defaults.json"));
}

}  // namespace
}  // namespace orvelin
