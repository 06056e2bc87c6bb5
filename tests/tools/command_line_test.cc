// The tool's command line: options and files mix in any order, each occurrence of a repeatable
// option takes one value, and "--" ends the options.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/test_support.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using testing::runTool;
using testing::ScratchFolder;

struct CommandCase {
  const char* name;
  std::string command;
  std::vector<std::string> options;
  bool writes;  // the files are compared after the run
};

void PrintTo(const CommandCase& value, std::ostream* out) { *out << value.name; }

class CommandLineTest : public ::testing::TestWithParam<CommandCase> {};

// The same run with the options before, between and after the files, and before "--", gives the
// same output and leaves the same files.
TEST_P(CommandLineTest, OptionsBeforeBetweenAndAfterTheFiles) {
  const auto& [name, command, options, writes] = GetParam();
  ScratchFolder folder;
  const std::vector<std::string> placements{"before", "between", "after", "ended"};
  std::optional<testing::ToolRun> first;
  std::vector<nlohmann::json> firstRecords;
  for (const auto& placement : placements) {
    fs::create_directories(folder / placement);
    std::vector<std::string> files;
    for (const char* sample : {"Canon.jpg", "GPS.jpg", "ExifTool.jpg"})
      files.push_back(testing::copySample(sample, folder / placement).string());
    std::vector<std::string> arguments{command};
    auto add = [&](const std::vector<std::string>& items) { arguments.insert(arguments.end(), items.begin(), items.end()); };
    if (placement == "before" || placement == "ended") add(options);
    if (placement == "ended") arguments.push_back("--");
    arguments.push_back(files[0]);
    if (placement == "between") add(options);
    arguments.insert(arguments.end(), files.begin() + 1, files.end());
    if (placement == "after") add(options);

    auto run = runTool(arguments, folder.path());
    EXPECT_EQ(run.status, 0) << placement << ": " << run.errors;
    // The outputs differ only by the folder's name, and the files' own facts.
    std::string output;
    for (const auto& line : testing::linesOf(run.output))
      if (line.find("File:") == std::string::npos) output += line + "\n";
    for (auto at = output.find(placement + "/"); at != std::string::npos; at = output.find(placement + "/"))
      output.replace(at, placement.size(), "folder");
    run.output = output;
    std::vector<nlohmann::json> records;
    if (writes)
      for (const auto& file : files) {
        records.push_back(testing::metadataRecord(file));
        records.back().erase("SourceFile");
      }
    if (!first) {
      first = run;
      firstRecords = records;
      continue;
    }
    EXPECT_EQ(run.output, first->output) << placement;
    EXPECT_EQ(records, firstRecords) << placement;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Commands, CommandLineTest,
    ::testing::Values(
        CommandCase{"Set", "set",
                    {"--quiet", "-t", "EXIF:Artist=x", "-t", "IPTC:Keywords=a,b", "--clear", "EXIF:Software",
                     "--force", "EXIF:Make", "--date", "EXIF:ModifyDate=SHIFT(hh: 1)", "--copy",
                     "EXIF:Make=XMP:Label", "--copy-date", "EXIF:ModifyDate=EXIF:DateTimeOriginal", "--clone",
                     "EXIF:Model=XMP:Title", "--merge", "EXIF:ImageDescription=more", "--finder-tags", "Red"},
                    true},
        CommandCase{"Read", "read", {"--quiet", "--json", "--lang", "German"}, false},
        CommandCase{"GPS", "gps", {"--quiet", "--json"}, false},
        CommandCase{"Size", "size", {"--json", "--quiet"}, false}),
    [](const ::testing::TestParamInfo<CommandCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace orvelin
