// An interrupted tool leaves no exiftool process behind.

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "common/test_support.h"
#include "orvelin/support/process_runner.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;

// The processes whose parent is `parent`.
std::vector<pid_t> childrenOf(pid_t parent) {
  std::vector<pid_t> children;
  for (const auto& entry : fs::directory_iterator("/proc")) {
    const auto name = entry.path().filename().string();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    std::ifstream stat(entry.path() / "stat");
    std::string line;
    if (!std::getline(stat, line)) continue;
    // "pid (command) state ppid ...": the command may hold spaces and parentheses.
    std::istringstream rest(line.substr(line.rfind(')') + 1));
    std::string state;
    pid_t ppid = 0;
    rest >> state >> ppid;
    if (ppid == parent) children.push_back(std::stoi(name));
  }
  return children;
}

// Waits (without sleeping) at most `milliseconds` for `pid` to end; true when it has.
bool ends(pid_t pid, int milliseconds) {
  const int fd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
  if (fd < 0) return errno == ESRCH;
  pollfd entry{fd, POLLIN, 0};
  const bool ended = ::poll(&entry, 1, milliseconds) == 1;
  ::close(fd);
  return ended;
}

TEST(Interrupt, SIGINTTakesThePoolWithIt) {
  testing::ScratchFolder scratch;
  std::vector<std::string> arguments{"read"};
  for (int i = 0; i < 400; ++i) arguments.push_back((testing::dataDirectory() / "Canon.jpg").string());
  ProcessResult failure;
  auto tool = ProcessRunner::Default()->start(testing::toolRequest(arguments, scratch.path()), failure);
  ASSERT_TRUE(tool) << failure.standardError;

  // The first file's listing shows that exiftool runs.
  pollfd output{tool->output(), POLLIN, 0};
  ASSERT_EQ(::poll(&output, 1, 60000), 1);
  const auto exiftools = childrenOf(tool->pid());
  ASSERT_FALSE(exiftools.empty());

  ::kill(tool->pid(), SIGINT);
  tool->closeInput();
  const auto status = tool->waitFor(std::chrono::seconds(30));
  ASSERT_TRUE(status.has_value());
  EXPECT_EQ(*status, 128 + SIGINT);
  for (const pid_t pid : exiftools) EXPECT_TRUE(ends(pid, 10000)) << pid;
}

}  // namespace
}  // namespace orvelin
