// `orvelin set` over a batch of files through the task groups: one file that is gone does not
// stop the others.

#include <gtest/gtest.h>

#include "common/test_support.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using testing::runTool;
using testing::ScratchFolder;

TEST(SetBatch, TwoHundredFilesWithOneGoneSaveTheOthers) {
  ScratchFolder folder;
  const auto sample = testing::copySample("GPS.jpg", folder.path());
  const auto files = folder / "files";
  fs::create_directory(files);
  std::vector<std::string> arguments = {"set", "--quiet"};
  std::string gone;
  for (int i = 0; i < 200; ++i) {
    const auto file = files / ("image" + std::to_string(i) + ".jpg");
    if (i == 137) {
      gone = file.string();  // named, never made
    } else {
      fs::copy_file(sample, file);
    }
    arguments.push_back(file.string());
  }
  for (const char* option : {"-t", "EXIF:Artist=Batch Artist", "-t", "IPTC:Headline=Batch headline", "--clear",
                             "EXIF:Copyright"})
    arguments.push_back(option);

  const auto run = runTool(arguments, folder.path());
  ASSERT_EQ(run.status, 1) << run.errors;
  const std::string readerError =
      ETMetadataReaderError::errorDescription(ETMetadataReaderError::Code::readerOutputIsEmpty);
  EXPECT_EQ(run.errors, gone + ": " + readerError + "\n");
  // One line per saved file, in the order given, with what its save sent.
  std::string expected;
  for (std::size_t i = 2; i < 202; ++i)
    if (arguments[i] != gone) expected += arguments[i] + ": EXIF:Artist EXIF:Copyright IPTC:Headline\n";
  EXPECT_EQ(run.output, expected);

  // Every saved file, read back in one exiftool run.
  ExifToolCLI cli;
  cli.run({"-j", "-G", "-n", "-EXIF:Artist", "-EXIF:Copyright", "-IPTC:Headline", "-EXIF:Make", files.string()});
  const auto records = nlohmann::json::parse(cli.buildStdOutString().value_or("[]"));
  ASSERT_EQ(records.size(), 199u);
  for (const auto& record : records) {
    const std::string source = record["SourceFile"];
    EXPECT_EQ(record.value("EXIF:Artist", ""), "Batch Artist") << source;
    EXPECT_EQ(record.value("IPTC:Headline", ""), "Batch headline") << source;
    EXPECT_EQ(record.value("EXIF:Copyright", nlohmann::json()), "") << source;
    EXPECT_EQ(record.value("EXIF:Make", ""), "FUJIFILM") << source;
  }
  EXPECT_FALSE(fs::exists(gone));
  // Nothing left behind beside the files.
  std::size_t entries = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator(files)) ++entries;
  EXPECT_EQ(entries, 199u);
}

}  // namespace
}  // namespace orvelin
