#include "orvelin/support/process_runner.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

namespace orvelin {
namespace {

using ::testing::HasSubstr;

ProcessResult runShell(const std::string& script) {
  return ProcessRunner::Default()->run({"/bin/sh", {"-c", script}, {}});
}

TEST(ProcessRunner, ReadsUntilTheLastWriterGoesWithTheGivenEnvironmentAndNoInput) {
  // A child that leaves a grandchild holding the pipes open: reading goes on until the last
  // writer is gone, then the exit is read.
  auto result = runShell("(sleep 0.2; echo late) & echo early");
  ASSERT_TRUE(result.launched);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.standardOutput, "early\nlate\n");

  // The environment is exactly the one given.
  result = ProcessRunner::Default()->run({"/bin/sh", {"-c", "env | sort"}, {"A=1", "B=two words"}});
  EXPECT_THAT(result.standardOutput, HasSubstr("A=1\nB=two words\n"));
  EXPECT_THAT(result.standardOutput, ::testing::Not(HasSubstr("HOME=")));

  // Standard input is /dev/null: a reader sees its end at once.
  result = runShell("cat; echo done");
  EXPECT_EQ(result.standardOutput, "done\n");
}

TEST(ProcessRunner, ALaunchFailureNamesWhatCouldNotRun) {
  const auto result = ProcessRunner::Default()->run({"/nonexistent/tool", {}, {}});
  EXPECT_FALSE(result.launched);
  EXPECT_THAT(result.standardError, HasSubstr("/nonexistent/tool"));
}

TEST(ProcessRunner, ChildrenGetNoDescriptorsAndAreReaped) {
  // A descriptor opened without close-on-exec must not reach the child.
  const int leaky = ::open("/dev/null", O_RDONLY);
  ASSERT_GE(leaky, 0);
  auto result = ProcessRunner::Default()->run({"/bin/ls", {"/proc/self/fd"}, {}});
  ::close(leaky);
  ASSERT_TRUE(result.launched);
  // 0, 1, 2 and the one ls opens to read its folder.
  EXPECT_EQ(result.standardOutput, "0\n1\n2\n3\n");
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST(ProcessRunner, LargeOutputOnBothStreamsIsReadToTheEnd) {
  // Enough on both pipes to fill them many times over while the other is being written.
  const auto result = runShell("i=0; while [ $i -lt 20000 ]; do echo out$i; echo err$i >&2; i=$((i+1)); done");
  ASSERT_TRUE(result.launched);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.standardOutput, HasSubstr("out19999\n"));
  EXPECT_THAT(result.standardError, HasSubstr("err19999\n"));
  EXPECT_EQ(std::count(result.standardOutput.begin(), result.standardOutput.end(), '\n'), 20000);
}

TEST(ProcessRunnerDeathTest, WorksWhenTheParentsStandardStreamsAreClosed) {
  // Pipe ends would take the numbers 0 to 2 and be lost in the child's set-up.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        ::close(STDIN_FILENO);
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
        const auto result =
            ProcessRunner::Default()->run({"/bin/sh", {"-c", "read x; echo \"out$x\"; echo err >&2"}, {}});
        const bool ok = result.launched && result.exitStatus == 0 && result.standardOutput == "out\n" &&
                        result.standardError == "err\n";
        ::_exit(ok ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace orvelin
