// `orvelin catalogue generate`: the tool that builds the catalogue of this build.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "common/test_support.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

namespace fs = std::filesystem;

TEST(CatalogueGenerateCommand, NamesEachStreamAndReplacesTheFormerCatalogue) {
  testing::ScratchFolder scratch;
  const auto directory = scratch / "resources";
  // A former catalogue with a stream that is no longer generated.
  fs::create_directories(directory / "Tags");
  fs::create_directories(directory / "Localized tags/English.lproj");
  testing::writeFile(directory / "Tags/Gone.tags", "[]");
  testing::writeFile(directory / "Localized tags/English.lproj/Gone.strings", "");
  testing::writeFile(directory / "Other resource.json", "{}");

  const auto run = testing::runTool({"catalogue", "generate", directory.string(), "--stream", "GPS", "--stream", "IPTC"},
                                    scratch.path());
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.errors, HasSubstr("catalogue: GPS ("));
  EXPECT_THAT(run.errors, HasSubstr("catalogue: IPTC ("));
  EXPECT_THAT(run.errors, HasSubstr("catalogue: 2 streams"));
  EXPECT_TRUE(fs::exists(directory / "Tags/GPS.tags"));
  EXPECT_TRUE(fs::exists(directory / "Localized tags/Deutsch.lproj/IPTC.strings"));
  EXPECT_FALSE(fs::exists(directory / "Tags/Gone.tags"));
  EXPECT_FALSE(fs::exists(directory / "Localized tags/English.lproj/Gone.strings"));
  EXPECT_TRUE(fs::exists(directory / "Other resource.json"));  // only the catalogue's folders are replaced
  for (const auto& entry : fs::directory_iterator(directory))
    EXPECT_THAT(entry.path().filename().string(), Not(HasSubstr(".catalogue-"))) << "the fresh folder is gone";
}

TEST(CatalogueGenerateCommand, AStreamThatWasNotWrittenFailsTheRunAndKeepsTheFormerCatalogue) {
  testing::ScratchFolder scratch;
  const auto directory = scratch / "resources";
  fs::create_directories(directory / "Tags");
  testing::writeFile(directory / "Tags/streams.json", "[\"Former\"]");
  // A name too long for a file name: exiftool answers, but its files cannot be made.
  const std::string tooLong(300, 'X');

  const auto run = testing::runTool({"catalogue", "generate", directory.string(), "--stream", "GPS", "--stream", tooLong},
                                    scratch.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.errors, HasSubstr(directory.string() + ": Tags/" + tooLong + ".tags was not written\n"));
  EXPECT_THAT(run.errors, Not(HasSubstr(": Tags/GPS.tags was not written")));
  EXPECT_EQ(testing::readFile(directory / "Tags/streams.json"), "[\"Former\"]");
  EXPECT_FALSE(fs::exists(directory / "Tags/GPS.tags"));
}

}  // namespace
}  // namespace orvelin
