// `orvelin set` with the edits with intent, on copies of the samples, checked by reading the
// files back with exiftool.

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cmath>
#include <ctime>

#include "common/test_support.h"
#include "orvelin/presets/preset.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/tasks/image_tasks.h"
#include "orvelin/support/files.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using testing::exifToolRecord;
using testing::runTool;
using testing::ScratchFolder;

TEST(SetCommand, ValuesClearsAndForcesPrintWhatTheSaveSent) {
  ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path());
  const auto before = testing::metadataRecord(file);
  ASSERT_FALSE(before.contains("EXIF:LensModel"));
  // A clear of a tag that the file lacks is an edit that comes to nothing: not sent.
  auto run = runTool({"set", file.string(), "-t", "EXIF:Artist=Someone Else", "-t", "EXIF:ISO=200", "--clear",
                      "EXIF:Software", "--clear", "EXIF:LensModel", "--force", "EXIF:Make"},
                     folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, file.string() + ": EXIF:Artist EXIF:ISO EXIF:Make EXIF:Software\n");
  EXPECT_EQ(run.errors, "");

  auto expected = testing::withIPTCCharacterSet(before);
  expected["EXIF:Artist"] = "Someone Else";
  expected["EXIF:ISO"] = 200;
  expected["EXIF:Software"] = "";  // a cleared text tag holds an empty text
  EXPECT_EQ(testing::metadataRecord(file), expected);

  run = runTool({"set", file.string(), "--clear", "EXIF:LensModel"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, file.string() + ": nothing to write; unchanged: EXIF:LensModel\n");
}

TEST(SetCommand, RefusedValuesAreToldAndTheOthersSaved) {
  ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path());
  const auto original = testing::readFile(file);
  // exiftool refuses the only value: the file stays as it was.
  auto run = runTool({"set", file.string(), "-t", "EXIF:ISO=99999999"}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.errors.find(file.string() + ": EXIF:ISO: Value above int16u maximum for IFD0:ISO\n"),
            std::string::npos)
      << run.errors;
  EXPECT_EQ(testing::readFile(file), original);

  run = runTool({"set", file.string(), "-t", "EXIF:Nothing=1", "-t", "File:FileSize=3", "-t", "EXIF:ISO=lots", "-t",
                 "EXIF:ExposureProgram=99999999", "-t", "EXIF:Artist=Kept"},
                folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.errors.find(file.string() + ": EXIF:ExposureProgram: "), std::string::npos) << run.errors;
  EXPECT_NE(run.errors.find(file.string() + ": EXIF:Nothing refused (not in the catalogue)\n"), std::string::npos)
      << run.errors;
  EXPECT_NE(run.errors.find(file.string() + ": File:FileSize refused (not editable in this file)\n"),
            std::string::npos)
      << run.errors;
  EXPECT_NE(run.errors.find(file.string() + ": EXIF:ISO refused (\"lots\" is no "), std::string::npos) << run.errors;
  EXPECT_EQ(run.output, file.string() + ": EXIF:Artist\n");
  const auto record = exifToolRecord(file, {"EXIF:Artist", "EXIF:ISO"});
  EXPECT_EQ(record["EXIF:Artist"], "Kept");
  EXPECT_EQ(record["EXIF:ISO"], 0);
}

TEST(SetCommand, FailedFilesAndUsageErrors) {
  ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path());
  const auto missing = (folder / "missing.jpg").string();
  const auto notes = folder / "notes.txt";
  testing::writeFile(notes, "no image");
  auto run = runTool({"set", missing, notes.string(), file.string(), "-t", "EXIF:Artist=Still saved"}, folder.path());
  EXPECT_EQ(run.status, 1);
  // Each with the error of its import task.
  const std::string readerError =
      ETMetadataReaderError::errorDescription(ETMetadataReaderError::Code::readerOutputIsEmpty);
  const std::string unsupported =
      ImportImageTaskError::errorDescription(ImportImageTaskErrorCode::fileIsNotSupported);
  EXPECT_EQ(run.errors, missing + ": " + readerError + "\n" + notes.string() + ": " + unsupported + "\n");
  EXPECT_EQ(run.output, file.string() + ": EXIF:Artist\n");
  EXPECT_EQ(exifToolRecord(file, {"EXIF:Artist"})["EXIF:Artist"], "Still saved");
  EXPECT_FALSE(fs::exists(missing));

  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"set", file.string(), "-t", "EXIF:Artist"},
        std::vector<std::string>{"set", file.string(), "-t", "Artist=Someone"},
        std::vector<std::string>{"set", file.string(), "--clear", "EXIF:"},
        std::vector<std::string>{"set", "-t", "EXIF:Artist=Someone"}, std::vector<std::string>{"set", "--bogus"}}) {
    run = runTool(arguments, folder.path());
    EXPECT_EQ(run.status, 2) << arguments.back();
    EXPECT_EQ(run.output, "") << arguments.back();
  }
  EXPECT_EQ(exifToolRecord(file, {"EXIF:Artist"})["EXIF:Artist"], "Still saved");
  EXPECT_NE(runTool({"set", "--help"}, folder.path()).output.find("STREAM:KEY: REASON"), std::string::npos);
}

TEST(SetCommand, FinderTagsOnAFileAndOnTheImagesOfAFolder) {
  ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path());
  auto run = runTool({"set", file.string(), "--finder-tags", "red, blue"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, file.string() + ": ORVFinder:Tags\n");
  std::error_code error;
  EXPECT_EQ(readFinderTags(file, error), (std::vector<std::string>{"red", "blue"}));

  // A folder (a path without extension): the tags and values go to its images, not to it.
  const auto album = folder / "album";
  fs::create_directory(album);
  const auto first = testing::copySample("GPS.jpg", album);
  const auto second = testing::copySample("Canon.jpg", album);
  run = runTool({"set", album.string(), "--finder-tags", "green", "-t", "EXIF:Artist=Folder Artist"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, album.string() + ": EXIF:Artist ORVFinder:Tags\n");
  for (const auto& image : {first, second}) {
    EXPECT_EQ(readFinderTags(image, error), (std::vector<std::string>{"green"})) << image;
    EXPECT_EQ(exifToolRecord(image, {"EXIF:Artist"})["EXIF:Artist"], "Folder Artist") << image;
  }
  EXPECT_EQ(readFinderTags(album, error), std::vector<std::string>{});
  EXPECT_FALSE(error) << error.message();
}

TEST(SetCommand, UpdateModifyDateSetsTheFilesDate) {
  ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path());
  const auto modification = [&] {
    struct stat status {};
    ::stat(file.c_str(), &status);
    return status.st_mtime;
  };
  std::tm moment{};
  moment.tm_year = 2001 - 1900;
  moment.tm_mon = 1;
  moment.tm_mday = 3;
  moment.tm_hour = 4;
  moment.tm_min = 5;
  moment.tm_sec = 6;
  moment.tm_isdst = -1;
  const auto expected = std::mktime(&moment);

  auto run = runTool({"set", file.string(), "-t", "EXIF:ModifyDate=2001:02:03 04:05:06"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_NE(modification(), expected);
  run = runTool({"set", file.string(), "-t", "EXIF:ModifyDate=2001:02:03 04:05:06", "--force", "EXIF:ModifyDate",
                 "--update-modify-date"},
                folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(modification(), expected);
}

TEST(SetCommand, EraseGPSSendsTheTagsTheFileHas) {
  ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path());
  const auto run = runTool({"set", file.string(), "--erase-gps"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  // The file has no altitude and no date stamp: their clears are not sent.
  EXPECT_EQ(run.output, file.string() +
                            ": EXIF:GPSLatitude EXIF:GPSLatitudeRef EXIF:GPSLongitude EXIF:GPSLongitudeRef "
                            "EXIF:GPSTimeStamp\n");
  const auto record = exifToolRecord(file, {"EXIF:GPS*"});
  for (const char* name : {"EXIF:GPSLatitude", "EXIF:GPSLongitude", "EXIF:GPSTimeStamp"})
    EXPECT_FALSE(record.contains(name)) << name << " in " << record;
  EXPECT_EQ(record.value("EXIF:GPSLatitudeRef", nlohmann::json()), "") << record;
  EXPECT_EQ(record["EXIF:GPSMapDatum"], "WGS84");
}

TEST(SetCommand, GPSPositionAltitudeAndDates) {
  ScratchFolder folder;
  const auto file = testing::copySample("Canon.jpg", folder.path());
  auto run = runTool({"set", file.string(), "--gps", "33 52 4.5 S, 151 12 36 W", "--gps-altitude=-3", "--date",
                      "EXIF:CreateDate=SELECT(YY: 2020, MM: 1, DD: 2)", "--date",
                      "EXIF:DateTimeOriginal=SHIFT(hh: 1)"},
                     folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto record = exifToolRecord(file, {"EXIF:GPS*", "EXIF:CreateDate", "EXIF:DateTimeOriginal"});
  EXPECT_NEAR(record["EXIF:GPSLatitude"].get<double>(), 33.867917, 1e-5);
  EXPECT_NEAR(record["EXIF:GPSLongitude"].get<double>(), 151.21, 1e-5);
  EXPECT_EQ(record["EXIF:GPSLatitudeRef"], "S");
  EXPECT_EQ(record["EXIF:GPSLongitudeRef"], "W");
  EXPECT_EQ(record["EXIF:GPSAltitude"], 3);
  EXPECT_EQ(record["EXIF:GPSAltitudeRef"], 1);
  EXPECT_EQ(record["EXIF:CreateDate"], "2020:01:02 00:00:00");
  EXPECT_EQ(record["EXIF:DateTimeOriginal"], "2003:12:04 07:46:52");
  for (const char* wrong : {"--gps=somewhere", "--date=EXIF:CreateDate=LATER(hh: 1)"})
    EXPECT_EQ(runTool({"set", file.string(), wrong}, folder.path()).status, 2) << wrong;
}

TEST(SetCommand, APresetDoesExactlyItsEntriesInOneSession) {
  ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path());
  auto other = std::make_shared<Preset>();
  other->setName("Other");
  other->setEntry(PresetEntry::value("Wrong preset"), TagName::exifImageDescription);
  auto preset = std::make_shared<Preset>();
  preset->setName("Four");
  preset->setEntry(PresetEntry::value("From preset"), TagName::exifImageDescription);
  preset->setEntry(PresetEntry::copy("IPTC:Source"), TagName("EXIF", "Artist"));
  preset->setEntry(PresetEntry::remove(), TagName("IPTC", "Headline"));
  preset->setEntry(PresetEntry::restore(), TagName("EXIF", "Software"));
  const auto presets = folder / "presets.json";
  Preset::exportToFile({other, preset}, presets);

  const auto before = testing::metadataRecord(file);
  const auto run = runTool({"set", file.string(), "-t", "EXIF:Software=Pending edit", "--preset", presets.string(),
                            "--preset-name", "Four"},
                           folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  // EXIF:Software, edited and then restored by the preset, is not sent.
  EXPECT_EQ(run.output, file.string() + ": EXIF:Artist EXIF:ImageDescription IPTC:Headline\n");

  auto expected = testing::withIPTCCharacterSet(before);
  expected["EXIF:ImageDescription"] = "From preset";
  expected["EXIF:Artist"] = "FreeFoto.com";
  expected["IPTC:Headline"] = "";  // a removed text tag holds an empty text
  EXPECT_EQ(testing::metadataRecord(file), expected);

  EXPECT_EQ(runTool({"set", file.string(), "--preset", presets.string(), "--preset-name", "None"}, folder.path()).status,
            2);
  EXPECT_EQ(runTool({"set", file.string(), "--preset", (folder / "missing.json").string()}, folder.path()).status, 2);
}

TEST(SetCommand, RemoveThumbnail) {
  ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path());
  ASSERT_EQ(exifToolRecord(file, {"ThumbnailLength"})["EXIF:ThumbnailLength"], 28);
  const auto run = runTool({"set", file.string(), "--remove-thumbnail"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto record = exifToolRecord(file);
  EXPECT_FALSE(record.contains("EXIF:ThumbnailImage")) << record;
  EXPECT_FALSE(record.contains("EXIF:ThumbnailLength"));
  EXPECT_FALSE(record.contains("EXIF:ThumbnailOffset"));
  EXPECT_EQ(record["EXIF:Artist"], "Ian Britton");
}

TEST(SetCommand, CopiesCloneMergeAndKeywords) {
  ScratchFolder folder;
  const auto file = testing::copySample("ExifTool.jpg", folder.path());
  auto run = runTool({"set", file.string(), "--copy", "IPTC:City=EXIF:Artist", "--copy-date",
                      "IPTC:DateCreated=EXIF:CreateDate", "--clone", "IPTC:Urgency=EXIF:ImageDescription",
                      "--merge", "IPTC:Keywords=gumbo", "--merge", "IPTC:Headline=at all"},
                     folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  auto record = exifToolRecord(file, {"EXIF:Artist", "EXIF:CreateDate", "EXIF:ImageDescription", "IPTC:Keywords",
                                      "IPTC:Headline"});
  EXPECT_EQ(record["EXIF:Artist"], "Kingston");
  EXPECT_EQ(record["EXIF:CreateDate"], "2004:02:26 18:36:41");  // the IPTC day, the EXIF time
  EXPECT_EQ(record["EXIF:ImageDescription"], "8 (least urgent)");
  EXPECT_EQ(record["IPTC:Keywords"], (nlohmann::json{"jambalaya", "gumbo"}));
  EXPECT_EQ(record["IPTC:Headline"], "No headline at all");

  run = runTool({"set", file.string(), "--finder-tags-from-keywords"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  std::error_code error;
  EXPECT_EQ(readFinderTags(file, error), (std::vector<std::string>{"jambalaya", "gumbo"}));
  run = runTool({"set", file.string(), "--finder-tags", "red,blue", "--keywords-from-finder-tags"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(exifToolRecord(file, {"IPTC:Keywords"})["IPTC:Keywords"], (nlohmann::json{"red", "blue"}));

  // Tags that cannot take the edit are named, and the others are made.
  run = runTool({"set", file.string(), "--merge", "EXIF:ISO=100", "--copy", "EXIF:Nothing=EXIF:Artist", "--merge",
                 "IPTC:City=Ontario"},
                folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.errors.find("EXIF:ISO refused"), std::string::npos) << run.errors;
  EXPECT_NE(run.errors.find("EXIF:Nothing refused"), std::string::npos) << run.errors;
  EXPECT_EQ(exifToolRecord(file, {"IPTC:City"})["IPTC:City"], "Kingston Ontario");
  EXPECT_EQ(runTool({"set", file.string(), "--copy", "EXIF:Artist"}, folder.path()).status, 2);
}

}  // namespace
}  // namespace orvelin
