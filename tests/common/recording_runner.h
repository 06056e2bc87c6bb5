#pragma once

// A process runner for tests: runs every process with the real runner, or answers with a canned
// result when it holds one, and keeps each request. It is the library's runner for the
// object's life.

#include <algorithm>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvelin/support/process_runner.h"

namespace orvelin::testing {

class RecordingRunner : public ProcessRunnerWrapper {
 public:
  RecordingRunner() : ProcessRunnerWrapper(ProcessRunner::Default()) { ORVSetProcessRunner(this); }
  explicit RecordingRunner(ProcessResult canned) : RecordingRunner() { answer = std::move(canned); }
  ~RecordingRunner() override { ORVSetProcessRunner(nullptr); }
  RecordingRunner(const RecordingRunner&) = delete;
  RecordingRunner& operator=(const RecordingRunner&) = delete;

  ProcessResult run(const ProcessRequest& request) override {
    {
      std::lock_guard lock(mutex_);
      requests_.push_back(request);
    }
    return answer ? *answer : ProcessRunnerWrapper::run(request);
  }

  // The whole requests of the runs so far, in order.
  std::vector<ProcessRequest> requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
  }

  // What every run answers instead of starting the process; absent: the process runs.
  std::optional<ProcessResult> answer;

  // The argument lists of the runs so far, in order.
  std::vector<std::vector<std::string>> commands() const {
    std::vector<std::vector<std::string>> commands;
    for (auto& request : requests()) commands.push_back(std::move(request.arguments));
    return commands;
  }

  // The whole argument list of the only run; a test failure when there was not exactly one.
  std::vector<std::string> onlyCommand() const {
    const auto all = commands();
    EXPECT_EQ(all.size(), 1u);
    return all.empty() ? std::vector<std::string>() : all.front();
  }

  // The argument lists of the writes (runs given a JSON file of values), then forgets all runs.
  std::vector<std::vector<std::string>> takeWrites() {
    std::lock_guard lock(mutex_);
    std::vector<std::vector<std::string>> writes;
    for (auto& request : requests_) {
      auto& arguments = request.arguments;
      if (std::any_of(arguments.begin(), arguments.end(), [](const auto& a) { return a.rfind("-json=", 0) == 0; }))
        writes.push_back(std::move(arguments));
    }
    requests_.clear();
    return writes;
  }

 private:
  mutable std::mutex mutex_;  // guards requests_
  std::vector<ProcessRequest> requests_;
};

}  // namespace orvelin::testing
