#pragma once

// Runs the orvelin tool of this build, and reads files back with exiftool itself.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "orvelin/exiftool/exiftool_cli.h"
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

// exiftool's JSON record of `file`, read with "-j -a -n -G" and the given tag arguments (all tags
// when there are none).
inline nlohmann::json exifToolRecord(const std::filesystem::path& file, const std::vector<std::string>& tags = {}) {
  ExifToolCLI cli;
  std::vector<std::string> arguments = {"-j", "-a", "-n", "-G"};
  for (const auto& tag : tags) arguments.push_back("-" + tag);
  arguments.push_back(file.string());
  cli.run(arguments);
  const auto records = nlohmann::json::parse(cli.buildStdOutString().value_or(""), nullptr, false);
  return records.is_array() && !records.empty() ? records.front() : nlohmann::json::object();
}

}  // namespace orvelin::testing
