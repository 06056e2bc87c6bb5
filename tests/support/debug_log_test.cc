#include "orvelin/support/debug_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "common/test_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// Turns the log off again at the end of a test, whatever happened.
class DebugLogScope {
 public:
  ~DebugLogScope() { ORVDisableDebugLog(); }
};

using testing::linesOf;

TEST(DebugLog, EnablingTwiceWithOneURLEmptiesTheFileAndWritesOneHeader) {
  testing::ScratchFolder folder;
  DebugLogScope scope;
  const auto log = folder / "debug.log";
  testing::writeFile(log, "old content\n");
  ORVEnableDebugLog(log);
  EXPECT_TRUE(ORVIsDebugLogEnabled());
  ::testing::internal::CaptureStdout();
  ORVDebugLog("COMMAND: exiftool -ver");
  ORVEnableDebugLog(log);
  ORVDebugLog(std::string("Empty STD Out"));
  const auto printed = ::testing::internal::GetCapturedStdout();

  const auto contents = testing::readFile(log);
  EXPECT_THAT(contents, StartsWith("Date: "));
  EXPECT_EQ(testing::occurrences(contents, "Date: "), 1u);
  EXPECT_THAT(contents, Not(HasSubstr("old content")));
  EXPECT_THAT(contents, Not(HasSubstr("COMMAND")));
  EXPECT_THAT(contents, HasSubstr("\nEmpty STD Out\n"));
  // Every entry also goes to standard output, without the header.
  EXPECT_EQ(printed, "COMMAND: exiftool -ver\nEmpty STD Out\n");
}

TEST(DebugLog, DisabledLogEvaluatesNothingAndWritesNothing) {
  testing::ScratchFolder folder;
  DebugLogScope scope;
  const auto log = folder / "debug.log";
  ORVEnableDebugLog(log);
  ORVDisableDebugLog();
  EXPECT_FALSE(ORVIsDebugLogEnabled());
  const auto afterHeader = testing::readFile(log);
  int evaluated = 0;
  auto expensive = [&] {
    ++evaluated;
    return std::string("text");
  };
  ::testing::internal::CaptureStdout();
  ORVDebugLog(expensive());
  ORVAppendDebugFile("file only");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(evaluated, 0);
  EXPECT_EQ(testing::readFile(log), afterHeader);

  ORVEnableDebugLog(log);
  ::testing::internal::CaptureStdout();
  ORVDebugLog(expensive());
  ORVAppendDebugFile("file only");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "text\n");
  EXPECT_EQ(evaluated, 1);
  const auto lines = linesOf(testing::readFile(log));
  ASSERT_GE(lines.size(), 2u);
  EXPECT_THAT(std::vector<std::string>(lines.end() - 2, lines.end()), ElementsAre("text", "file only"));
}

TEST(DebugLog, FileThatCannotBeMadeLeavesStandardOutputOnly) {
  testing::ScratchFolder folder;
  DebugLogScope scope;
  ORVEnableDebugLog(folder / "no such folder" / "debug.log");
  EXPECT_TRUE(ORVIsDebugLogEnabled());
  ::testing::internal::CaptureStdout();
  ORVDebugLog("still printed");
  ORVAppendDebugFile("nowhere to go");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "still printed\n");
  EXPECT_FALSE(fs::exists(folder / "no such folder"));
}

TEST(DebugLog, EntriesFromManyThreadsStayWhole) {
  testing::ScratchFolder folder;
  DebugLogScope scope;
  const auto log = folder / "debug.log";
  ORVEnableDebugLog(log);
  const auto headerLines = linesOf(testing::readFile(log)).size();
  ::testing::internal::CaptureStdout();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      for (int i = 0; i < 200; ++i) ORVDebugLog("thread " + std::to_string(t) + " entry " + std::to_string(i));
    });
  for (auto& thread : threads) thread.join();
  const auto printed = ::testing::internal::GetCapturedStdout();
  const auto lines = linesOf(testing::readFile(log));
  ASSERT_EQ(lines.size(), headerLines + 800);
  std::set<std::string> entries(lines.begin() + static_cast<std::ptrdiff_t>(headerLines), lines.end());
  for (int t = 0; t < 4; ++t)
    for (int i = 0; i < 200; ++i) EXPECT_EQ(entries.count("thread " + std::to_string(t) + " entry " + std::to_string(i)), 1u);
  EXPECT_EQ(linesOf(printed).size(), 800u);
}

}  // namespace
}  // namespace orvelin
