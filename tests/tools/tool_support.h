#pragma once

// Runs the orvelin tool of this build.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "orvelin/support/process_runner.h"

namespace orvelin::testing {

struct ToolRun {
  int status = -1;
  std::string output;
  std::string errors;
};

// A run of bin/orvelin (next to the test program) with `arguments`, its home, temporary and configuration
// folders in `scratch`; `environment` ("NAME=value") replaces what the test program passes on of its own.
inline ProcessRequest toolRequest(const std::vector<std::string>& arguments, const std::filesystem::path& scratch,
                                  const std::vector<std::string>& environment = {}) {
  ProcessRequest request;
  request.executable = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "orvelin";
  request.arguments = arguments;
  request.environment = {"HOME=" + scratch.string(), "TMPDIR=" + scratch.string(),
                         "XDG_CONFIG_HOME=" + (scratch / "config").string(), "LANG=C.UTF-8"};
  request.environment.insert(request.environment.end(), environment.begin(), environment.end());
  // The sanitizers' options too, so that the tool runs with the suppressions of the test program.
  for (const std::string name :
       {"PATH", "TZ", "ORVELIN_RESOURCES", "TSAN_OPTIONS", "ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS"})
    if (const char* value = std::getenv(name.c_str());
        value && std::ranges::none_of(environment, [&](const auto& entry) { return entry.starts_with(name + "="); }))
      request.environment.push_back(name + "=" + value);
  return request;
}

// Runs the tool as toolRequest() says, to its end.
inline ToolRun runTool(const std::vector<std::string>& arguments, const std::filesystem::path& scratch,
                       const std::vector<std::string>& environment = {}) {
  const auto result = ProcessRunner::Default()->run(toolRequest(arguments, scratch, environment));
  return {result.exitStatus, result.standardOutput, result.standardError};
}

}  // namespace orvelin::testing
