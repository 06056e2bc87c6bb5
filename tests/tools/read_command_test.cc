// `orvelin read`, `clean`, `thumbnail` and `preview` on copies of the samples, checked against
// exiftool itself.

#include <gtest/gtest.h>

#include "common/test_support.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/tags/tag_name.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using testing::exifToolRecord;
using testing::runTool;
using testing::ScratchFolder;

// One record per file (JSON) or one block of lines (text), the file tags among the values.
TEST(ReadCommand, JSONAndTextHoldOneRecordPerFileInTheCataloguesForm) {
  ScratchFolder folder;
  const auto canon = testing::copySample("Canon.jpg", folder.path());
  const auto gps = testing::copySample("GPS.jpg", folder.path());
  auto run = runTool({"set", canon.string(), "-t", "EXIF:ImageDescription=first line\nsecond \\ line", "--finder-tags",
                      "red,blue"},
                     folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  // The path as given, not made absolute.
  const auto given = fs::relative(canon).string();
  ASSERT_NE(given, canon.string());

  run = runTool({"read", "--json", given, gps.string()}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto records = nlohmann::json::parse(run.output);
  ASSERT_EQ(records.size(), 2u);
  const auto& record = records[0];
  EXPECT_EQ(record["SourceFile"], given);
  EXPECT_EQ(record["finderTags"], (nlohmann::json{"red", "blue"}));
  const auto expected = exifToolRecord(canon, {"EXIF:Make", "EXIF:DateTimeOriginal", "EXIF:FNumber", "EXIF:ISO"});
  EXPECT_EQ(record["values"]["EXIF:Make"], expected["EXIF:Make"]);
  EXPECT_EQ(record["values"]["EXIF:DateTimeOriginal"], expected["EXIF:DateTimeOriginal"]);
  EXPECT_EQ(record["values"]["EXIF:ISO"], expected["EXIF:ISO"].dump());
  EXPECT_DOUBLE_EQ(std::stod(record["values"]["EXIF:FNumber"].get<std::string>()),
                   expected["EXIF:FNumber"].get<double>());
  // Maker notes under the maker's stream; both stream families listed.
  EXPECT_TRUE(record["values"].contains("Canon:CanonModelID")) << record["values"];
  EXPECT_NE(std::find(record["g0Streams"].begin(), record["g0Streams"].end(), "EXIF"), record["g0Streams"].end());
  EXPECT_NE(std::find(record["g1Streams"].begin(), record["g1Streams"].end(), "IFD0"), record["g1Streams"].end());
  EXPECT_EQ(records[1]["SourceFile"], gps.string());
  EXPECT_EQ(records[1]["finderTags"], nlohmann::json::array());
  EXPECT_EQ(records[1]["values"]["IPTC:Headline"], "Communications");

  run = runTool({"read", given, gps.string()}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  // One block per file, a blank line between: no value makes a line of its own.
  std::vector<std::vector<std::string>> blocks(1);
  for (const auto& line : testing::linesOf(run.output)) {
    if (line.empty())
      blocks.emplace_back();
    else
      blocks.back().push_back(line);
  }
  ASSERT_EQ(blocks.size(), 2u) << run.output;
  EXPECT_NE(std::find(blocks[1].begin(), blocks[1].end(), "IPTC:Headline=Communications"), blocks[1].end());
  const auto& block = blocks[0];
  std::vector<TagName> names;
  for (const auto& line : block) {
    const auto name = TagName::fromRawValue(line.substr(0, line.find('=')));
    ASSERT_TRUE(name && line.find('=') != std::string::npos) << line;
    names.push_back(*name);
  }
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end())) << run.output;
  EXPECT_NE(std::find(block.begin(), block.end(), "EXIF:ImageDescription=first line\\nsecond \\\\ line"), block.end())
      << run.output;
  EXPECT_NE(std::find(block.begin(), block.end(), "ORVFinder:Tags=red,blue"), block.end()) << run.output;
  EXPECT_NE(std::find(block.begin(), block.end(), "EXIF:Make=Canon"), block.end()) << run.output;
}

TEST(ReadCommand, AFailedFileIsReportedAndTheOthersAreStillRead) {
  ScratchFolder folder;
  const auto gps = testing::copySample("GPS.jpg", folder.path());
  const auto missing = (folder / "missing.jpg").string();
  const auto notes = folder / "notes.xmp";
  testing::writeFile(notes, "no XMP at all");
  const auto run = runTool({"read", "--json", missing, gps.string(), notes.string()}, folder.path());
  EXPECT_EQ(run.status, 1);
  const std::string readerError =
      ETMetadataReaderError::errorDescription(ETMetadataReaderError::Code::readerOutputIsEmpty);
  EXPECT_NE(run.errors.find(missing + ": " + readerError + "\n"), std::string::npos) << run.errors;
  const auto records = nlohmann::json::parse(run.output);
  ASSERT_EQ(records.size(), 2u) << run.output;
  EXPECT_EQ(records[0]["SourceFile"], gps.string());
  EXPECT_EQ(records[0]["values"]["EXIF:Artist"], "Ian Britton");
  // exiftool reads a file that is no XMP as a file of no metadata.
  EXPECT_EQ(records[1]["SourceFile"], notes.string());
}

TEST(ReadCommand, FoldersFilesOfOtherKindsLanguagesAndProfiles) {
  ScratchFolder folder;
  // A path without extension is a folder, as for the editors, even when it is a file: nothing
  // of it is read.
  const auto image = testing::copySample("Canon.jpg", folder.path());
  fs::copy_file(image, folder / "noextension");
  // A file that is no image is read by the reader all the same.
  const auto xmp = testing::copySample("XMP.xmp", folder.path());
  auto run = runTool({"read", "--json", (folder / "noextension").string(), folder.path().string(), xmp.string()},
                     folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  auto records = nlohmann::json::parse(run.output);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0]["values"], nlohmann::json::object());
  EXPECT_EQ(records[1]["values"], nlohmann::json::object());
  EXPECT_EQ(records[2]["values"]["XMP:Creator"], exifToolRecord(xmp, {"XMP:Creator"})["XMP:Creator"]) << records[2];

  // The plain reader's profile: values as exiftool prints them, still no composite tags.
  run = runTool({"read", "--json", "--raw-profile", image.string()}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  records = nlohmann::json::parse(run.output);
  const auto printed = records[0]["values"];
  run = runTool({"read", "--json", image.string()}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto raw = nlohmann::json::parse(run.output)[0]["values"];
  EXPECT_NE(printed, raw);
  EXPECT_EQ(printed["EXIF:Make"], raw["EXIF:Make"]);
  for (const auto& [name, value] : printed.items()) EXPECT_NE(name.rfind("Composite:", 0), 0u) << name;

  // Languages by name, own name (not ASCII) or code; an unknown one is a usage error.
  for (const char* language : {"german", "Français", "de"}) {
    run = runTool({"read", "--lang", language, image.string()}, folder.path());
    EXPECT_EQ(run.status, 0) << language << ": " << run.errors;
    EXPECT_NE(run.output.find("EXIF:Make=Canon\n"), std::string::npos) << language;
  }
  run = runTool({"read", "--lang", "FRANÇAIS", image.string()}, folder.path());
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(runTool({"read"}, folder.path()).status, 2);
}

TEST(ReadCommand, EveryCommandThatNeedsTheCatalogueFailsWithoutIt) {
  ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path()).string();
  const auto resources = folder / "resources";  // a folder without the catalogue
  fs::create_directories(resources);
  const auto message =
      "tag catalogue not found at " + (resources / "Tags").string() + "; set ORVELIN_RESOURCES or reinstall\n";
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"read", file},
                                             {"set", file, "-t", "EXIF:Artist=Someone"},
                                             {"gps", file},
                                             {"size", file},
                                             {"tag", "EXIF:Make"},
                                             {"catalogue", "info"}}) {
    const auto run = runTool(arguments, folder.path(), {"ORVELIN_RESOURCES=" + resources.string()});
    EXPECT_EQ(run.status, 1) << arguments[0];
    EXPECT_NE(run.errors.find(message), std::string::npos) << arguments[0] << ": " << run.errors;
  }
}

TEST(CleanCommand, RemovesTheMetadataOfEachFile) {
  ScratchFolder folder;
  const auto file = testing::copySample("Canon.jpg", folder.path());
  ASSERT_EQ(exifToolRecord(file, {"EXIF:Make"})["EXIF:Make"], "Canon");
  const auto missing = (folder / "missing.jpg").string();
  const auto run = runTool({"clean", missing, file.string()}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.errors.find(missing + ": "), std::string::npos) << run.errors;
  const auto record = exifToolRecord(file);
  EXPECT_FALSE(record.contains("EXIF:Make")) << record;
  EXPECT_FALSE(record.contains("MakerNotes:CanonModelID"));
  EXPECT_EQ(record["File:ImageWidth"], 8);
  EXPECT_FALSE(fs::exists(file.string() + "_original"));
}

TEST(ThumbnailAndPreviewCommands, WriteTheEmbeddedImagesAsJPEG) {
  ScratchFolder folder;
  const auto file = testing::copySample("ExifTool.jpg", folder.path());
  const auto thumbnail = folder / "thumbnail.jpg";
  auto run = runTool({"thumbnail", file.string(), thumbnail.string()}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  auto written = exifToolRecord(thumbnail, {"File:FileType", "File:ImageWidth", "File:ImageHeight"});
  EXPECT_EQ(written["File:FileType"], "JPEG");
  EXPECT_EQ(run.output, thumbnail.string() + ": " + written["File:ImageWidth"].dump() + "x" +
                            written["File:ImageHeight"].dump() + "\n");

  const auto preview = folder / "preview.jpg";
  run = runTool({"preview", file.string(), preview.string()}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  written = exifToolRecord(preview, {"File:FileType", "File:ImageWidth"});
  EXPECT_EQ(written["File:FileType"], "JPEG");

  // A file without thumbnail, and one that is missing: an error each, and no output file.
  const auto png = testing::copySample("PNG.png", folder.path());
  run = runTool({"thumbnail", png.string(), (folder / "none.jpg").string()}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, png.string() + ": no embedded thumbnail\n");
  run = runTool({"preview", (folder / "missing.jpg").string(), (folder / "none.jpg").string()}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_FALSE(fs::exists(folder / "none.jpg"));
  EXPECT_EQ(runTool({"thumbnail", file.string()}, folder.path()).status, 2);
}

}  // namespace
}  // namespace orvelin
