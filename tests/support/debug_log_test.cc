#include "orvelin/support/debug_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "common/test_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using testing::linesOf;

// Turns the log off again at the end of a test, whatever happened.
class DebugLogScope {
 public:
  ~DebugLogScope() { ORVDisableDebugLog(); }
};

TEST(DebugLog, EnablingEmptiesTheFileDisablingEvaluatesAndWritesNothingAndAFileIsOptional) {
  testing::ScratchFolder folder;
  DebugLogScope scope;
  const auto log = folder / "debug.log";
  testing::writeFile(log, "old content\n");
  ORVEnableDebugLog(log);
  EXPECT_TRUE(ORVIsDebugLogEnabled());
  int evaluated = 0;
  auto expensive = [&] {
    ++evaluated;
    return std::string("text");
  };
  ::testing::internal::CaptureStdout();
  ORVDebugLog("COMMAND: exiftool -ver");
  ORVEnableDebugLog(log);  // again with one URL: the file starts afresh
  ORVDebugLog(expensive());
  ORVAppendDebugFile("file only");
  // Every entry also goes to standard output, without the header.
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "COMMAND: exiftool -ver\ntext\n");
  EXPECT_EQ(evaluated, 1);
  const auto contents = testing::readFile(log);
  EXPECT_THAT(contents, StartsWith("Date: "));
  EXPECT_EQ(testing::occurrences(contents, "Date: "), 1u);
  EXPECT_THAT(contents, Not(HasSubstr("old content")));
  EXPECT_THAT(contents, Not(HasSubstr("COMMAND")));
  EXPECT_THAT(contents, EndsWith("\ntext\nfile only\n"));

  ORVDisableDebugLog();
  EXPECT_FALSE(ORVIsDebugLogEnabled());
  ::testing::internal::CaptureStdout();
  ORVDebugLog(expensive());
  ORVAppendDebugFile("file only");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(evaluated, 1);
  EXPECT_EQ(testing::readFile(log), contents);

  // A file that cannot be made leaves standard output only.
  ORVEnableDebugLog(folder / "no such folder" / "debug.log");
  EXPECT_TRUE(ORVIsDebugLogEnabled());
  ::testing::internal::CaptureStdout();
  ORVDebugLog("still printed");
  ORVAppendDebugFile("nowhere to go");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "still printed\n");
  EXPECT_FALSE(fs::exists(folder / "no such folder"));
}

TEST(DebugLog, EntriesFromManyThreadsStayWhole) {
  testing::DebugLogCapture capture;
  const auto headerLines = linesOf(capture.text()).size();
  ::testing::internal::CaptureStdout();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      for (int i = 0; i < 200; ++i) ORVDebugLog("thread " + std::to_string(t) + " entry " + std::to_string(i));
    });
  for (auto& thread : threads) thread.join();
  const auto printed = ::testing::internal::GetCapturedStdout();
  const auto lines = linesOf(capture.text());
  ASSERT_EQ(lines.size(), headerLines + 800);
  std::set<std::string> entries(lines.begin() + static_cast<std::ptrdiff_t>(headerLines), lines.end());
  for (int t = 0; t < 4; ++t)
    for (int i = 0; i < 200; ++i)
      EXPECT_EQ(entries.count("thread " + std::to_string(t) + " entry " + std::to_string(i)), 1u);
  EXPECT_EQ(linesOf(printed).size(), 800u);
}

}  // namespace
}  // namespace orvelin
