// `orvelin set` on copies of the samples, checked by reading the files back with exiftool.

#include <gtest/gtest.h>

#include "common/test_support.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/presets/preset.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/tasks/image_tasks.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using testing::exifToolRecord;
using testing::runTool;
using testing::ScratchFolder;

std::string readerError() {
  return ETMetadataReaderError::errorDescription(ETMetadataReaderError::Code::readerOutputIsEmpty);
}

// One run per form of edit: the tags the save sent, and a value of each edit read back.
struct SetCase {
  const char* name;
  const char* sample;
  std::vector<std::string> options;
  std::string sent;  // the line printed after "PATH: "
  std::vector<std::pair<const char*, nlohmann::json>> expected;  // null: absent from the file
};

void PrintTo(const SetCase& value, std::ostream* out) { *out << value.name; }

class SetCommandForm : public ::testing::TestWithParam<SetCase> {};

TEST_P(SetCommandForm, SendsItsTagsAndSavesItsValues) {
  const auto& [name, sample, options, sent, expected] = GetParam();
  ScratchFolder folder;
  const auto file = testing::copySample(sample, folder.path());
  std::vector<std::string> arguments{"set"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.push_back(file.string());
  const auto run = runTool(arguments, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(run.output, file.string() + ": " + sent + "\n");
  const auto record = exifToolRecord(file);
  for (const auto& [tag, value] : expected) {
    if (value.is_null())
      EXPECT_FALSE(record.contains(tag)) << tag;
    else
      EXPECT_EQ(record.value(tag, nlohmann::json()), value) << tag;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Forms, SetCommandForm,
    ::testing::Values(
        // A clear of a tag that the file lacks is an edit that comes to nothing: not sent.
        SetCase{"ValuesClearsAndForces", "GPS.jpg",
                {"-t", "EXIF:Artist=Someone Else", "-t", "EXIF:ISO=200", "--clear", "EXIF:Software", "--clear",
                 "EXIF:LensModel", "--force", "EXIF:Make"},
                "EXIF:Artist EXIF:ISO EXIF:Make EXIF:Software",
                {{"EXIF:Artist", "Someone Else"}, {"EXIF:ISO", 200}, {"EXIF:Software", ""}, {"EXIF:Make", "FUJIFILM"}}},
        SetCase{"NothingToWrite", "GPS.jpg", {"--clear", "EXIF:LensModel"}, "nothing to write; unchanged: EXIF:LensModel", {}},
        // The file has no altitude and no date stamp: their clears are not sent.
        SetCase{"EraseGPS", "GPS.jpg", {"--erase-gps"},
                "EXIF:GPSLatitude EXIF:GPSLatitudeRef EXIF:GPSLongitude EXIF:GPSLongitudeRef EXIF:GPSTimeStamp",
                {{"EXIF:GPSLatitude", nullptr}, {"EXIF:GPSTimeStamp", nullptr}, {"EXIF:GPSLatitudeRef", ""},
                 {"EXIF:GPSMapDatum", "WGS84"}}},
        // The position and the altitude are set in the GPS command's test.
        SetCase{"Dates", "Canon.jpg",
                {"--date", "EXIF:CreateDate=SELECT(YY: 2020, MM: 1, DD: 2)", "--date",
                 "EXIF:DateTimeOriginal=SHIFT(hh: 1)"},
                "EXIF:CreateDate EXIF:DateTimeOriginal",
                {{"EXIF:CreateDate", "2020:01:02 00:00:00"}, {"EXIF:DateTimeOriginal", "2003:12:04 07:46:52"}}},
        SetCase{"RemoveThumbnail", "GPS.jpg", {"--remove-thumbnail"},
                "EXIF:PreviewImage EXIF:PreviewImageLength EXIF:ThumbnailImage EXIF:ThumbnailLength",
                {{"EXIF:ThumbnailLength", nullptr}, {"EXIF:ThumbnailOffset", nullptr}, {"EXIF:Artist", "Ian Britton"}}},
        SetCase{"CopiesCloneAndMerges", "ExifTool.jpg",
                {"--copy", "IPTC:City=EXIF:Artist", "--copy-date", "IPTC:DateCreated=EXIF:CreateDate", "--clone",
                 "IPTC:Urgency=EXIF:ImageDescription", "--merge", "IPTC:Keywords=gumbo", "--merge",
                 "IPTC:Headline=at all"},
                "EXIF:Artist EXIF:CreateDate EXIF:ImageDescription IPTC:Headline IPTC:Keywords",
                // The date copied is the IPTC day with the EXIF time.
                {{"EXIF:Artist", "Kingston"}, {"EXIF:CreateDate", "2004:02:26 18:36:41"},
                 {"EXIF:ImageDescription", "8 (least urgent)"}, {"IPTC:Keywords", {"jambalaya", "gumbo"}},
                 {"IPTC:Headline", "No headline at all"}}},
        SetCase{"FinderTagsFromKeywords", "ExifTool.jpg", {"--finder-tags-from-keywords"}, "ORVFinder:Tags", {}},
        SetCase{"KeywordsFromFinderTags", "ExifTool.jpg", {"--finder-tags", "red,blue", "--keywords-from-finder-tags"},
                "IPTC:Keywords ORVFinder:Tags", {{"IPTC:Keywords", {"red", "blue"}}}}),
    [](const ::testing::TestParamInfo<SetCase>& info) { return info.param.name; });

TEST(SetCommand, RefusedValuesAreToldAndTheOthersSaved) {
  ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path());
  const auto original = testing::readFile(file);
  // exiftool refuses the only value: the file stays as it was.
  auto run = runTool({"set", file.string(), "-t", "EXIF:ISO=99999999"}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors.find(file.string() + ": EXIF:ISO: Value above int16u maximum for IFD0:ISO\n"), 0u)
      << run.errors;
  EXPECT_EQ(testing::readFile(file), original);

  run = runTool({"set", file.string(), "-t", "EXIF:Nothing=1", "-t", "File:FileSize=3", "-t", "EXIF:ISO=lots", "-t",
                 "EXIF:ExposureProgram=99999999", "-t", "EXIF:Artist=Kept", "--merge", "EXIF:ISO=100", "--copy",
                 "EXIF:Nothing=EXIF:Artist", "--merge", "IPTC:Headline=today"},
                folder.path());
  EXPECT_EQ(run.status, 1);
  for (const std::string message :
       {"EXIF:ExposureProgram: ", "EXIF:Nothing refused (not in the catalogue)\n",
        "File:FileSize refused (not editable in this file)\n", "EXIF:ISO refused (\"lots\" is no ",
        "EXIF:ISO refused (a "})
    EXPECT_NE(run.errors.find(file.string() + ": " + message), std::string::npos) << message << run.errors;
  EXPECT_EQ(testing::occurrences(run.errors, "EXIF:Nothing refused"), 2u) << run.errors;
  EXPECT_EQ(run.output, file.string() + ": EXIF:Artist IPTC:Headline\n");
  EXPECT_EQ(exifToolRecord(file, {"IPTC:Headline"})["IPTC:Headline"], "Communications today");
}

TEST(SetCommand, FailedFilesPresetsUsageErrorsFoldersAndTheFilesDate) {
  ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path());
  const auto missing = (folder / "missing.jpg").string();
  const auto notes = folder / "notes.txt";
  testing::writeFile(notes, "no image");
  auto run = runTool({"set", "-t", "EXIF:Artist=Still saved", "--", missing, notes.string(), file.string()},
                     folder.path());
  EXPECT_EQ(run.status, 1);
  // Each with the error of its import task.
  const std::string unsupported = ImportImageTaskError::errorDescription(ImportImageTaskErrorCode::fileIsNotSupported);
  EXPECT_EQ(run.errors, missing + ": " + readerError() + "\n" + notes.string() + ": " + unsupported + "\n");
  EXPECT_EQ(run.output, file.string() + ": EXIF:Artist\n");
  EXPECT_EQ(exifToolRecord(file, {"EXIF:Artist"})["EXIF:Artist"], "Still saved");
  EXPECT_FALSE(fs::exists(missing));

  // The preset named, of the presets of the file.
  Preset::Presets presets;
  for (const char* name : {"Other", "Chosen"}) {
    presets.push_back(std::make_shared<Preset>());
    presets.back()->setName(name);
    presets.back()->setEntry(PresetEntry::value(std::string("From ") + name), TagName::exifImageDescription);
  }
  const auto presetsFile = (folder / "presets.json").string();
  Preset::exportToFile(presets, presetsFile);
  run = runTool({"set", file.string(), "--preset", presetsFile, "--preset-name", "Chosen"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, file.string() + ": EXIF:ImageDescription\n");
  EXPECT_EQ(exifToolRecord(file, {"EXIF:ImageDescription"})["EXIF:ImageDescription"], "From Chosen");

  const auto path = file.string();
  // A language is named, in its own name or by its code; "FRANÇAIS" is none of these.
  std::vector<std::string> arguments;
  for (const std::vector<std::string>& usage : std::vector<std::vector<std::string>>{
           {"set", path, "-t", "EXIF:Artist"}, {"set", path, "-t", "Artist=Someone"}, {"set", path, "--clear", "EXIF:"},
           {"set", "-t", "EXIF:Artist=Someone"}, {"set", "--bogus"}, {"set", path, "--gps=somewhere"},
           {"set", path, "--date=EXIF:CreateDate=LATER(hh: 1)"}, {"set", path, "--copy", "EXIF:Artist"},
           {"set", path, "--preset", presetsFile, "--preset-name", "None"},
           {"set", path, "--preset", (folder / "missing.json").string()}, {"read"}, {"size"}, {"thumbnail", path},
           {"read", "--lang", "FRANÇAIS", path}}) {
    run = runTool(usage, folder.path());
    EXPECT_EQ(run.status, 2) << usage.front() << " " << usage.back();
    EXPECT_EQ(run.output, "") << usage.front() << " " << usage.back();
  }

  // A folder (a path without extension): the tags and values go to its images, not to it.
  const auto album = folder / "album";
  fs::create_directory(album);
  const auto first = testing::copySample("GPS.jpg", album);
  const auto second = testing::copySample("Canon.jpg", album);
  run = runTool({"set", album.string(), "--finder-tags", "green, blue", "-t", "EXIF:Artist=Folder Artist"},
                folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, album.string() + ": EXIF:Artist ORVFinder:Tags\n");
  for (const auto& image : {first, second}) {
    EXPECT_EQ(testing::finderTagsOf(image), (std::vector<std::string>{"green", "blue"})) << image;
    EXPECT_EQ(exifToolRecord(image, {"EXIF:Artist"})["EXIF:Artist"], "Folder Artist") << image;
  }
  EXPECT_EQ(testing::finderTagsOf(album), std::vector<std::string>{});

  // The file's own date follows EXIF:ModifyDate only when asked.
  for (const bool update : {false, true}) {
    arguments = {"set", path, "-t", "EXIF:ModifyDate=2001:02:03 04:05:06", "--force", "EXIF:ModifyDate"};
    if (update) arguments.push_back("--update-modify-date");
    run = runTool(arguments, folder.path());
    ASSERT_EQ(run.status, 0) << run.errors;
    // In local time, with the zone after it.
    const std::string date = exifToolRecord(file, {"File:FileModifyDate"})["File:FileModifyDate"];
    EXPECT_EQ(date.starts_with("2001:02:03 04:05:06"), update) << date;
  }
}

// A batch through the task groups: one file that is gone does not stop the others.
TEST(SetBatch, TwoHundredFilesWithOneGoneSaveTheOthers) {
  ScratchFolder folder;
  const auto files = folder / "files";
  fs::create_directory(files);
  std::vector<std::string> paths;
  for (int i = 0; i < 200; ++i) {
    paths.push_back((files / ("image" + std::to_string(i) + ".jpg")).string());
    if (i != 137) fs::copy_file(testing::dataDirectory() / "GPS.jpg", paths.back());  // never the 137th
  }
  const auto& gone = paths[137];
  // The options between the files: each takes its one value, and leaves the files that follow.
  std::vector<std::string> arguments{"set", "--quiet"};
  arguments.insert(arguments.end(), paths.begin(), paths.begin() + 100);
  arguments.insert(arguments.end(), {"-t", "EXIF:Artist=Batch Artist", "-t", "IPTC:Headline=Batch headline",
                                     "--clear", "EXIF:Copyright"});
  arguments.insert(arguments.end(), paths.begin() + 100, paths.end());

  const auto run = runTool(arguments, folder.path());
  ASSERT_EQ(run.status, 1) << run.errors;
  EXPECT_EQ(run.errors, gone + ": " + readerError() + "\n");
  // One line per saved file, in the order given, with what its save sent.
  std::string expected;
  for (const auto& path : paths)
    if (path != gone) expected += path + ": EXIF:Artist EXIF:Copyright IPTC:Headline\n";
  EXPECT_EQ(run.output, expected);

  // Every saved file, read back in one exiftool run.
  ExifToolCLI cli;
  cli.run({"-j", "-G", "-n", "-EXIF:Artist", "-EXIF:Copyright", "-IPTC:Headline", "-EXIF:Make", files.string()});
  const auto records = nlohmann::json::parse(cli.buildStdOutString().value_or("[]"));
  ASSERT_EQ(records.size(), 199u);
  for (const auto& record : records)
    EXPECT_EQ(record, (nlohmann::json{{"SourceFile", record["SourceFile"]}, {"EXIF:Artist", "Batch Artist"},
                                      {"EXIF:Copyright", ""}, {"IPTC:Headline", "Batch headline"},
                                      {"EXIF:Make", "FUJIFILM"}}));
  // Nothing left behind beside the files.
  EXPECT_EQ(std::distance(fs::directory_iterator(files), fs::directory_iterator()), 199);
}

}  // namespace
}  // namespace orvelin
