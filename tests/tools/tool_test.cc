// The orvelin tool of this build on copies of the samples, checked by reading the files back with
// exiftool itself: `set`, the commands that read files (`read`, `gps`, `size`, `clean`, `thumbnail`,
// `preview`), and an interrupted run.

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "common/test_support.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/presets/preset.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/support/process_runner.h"
#include "orvelin/tags/tag_name.h"
#include "orvelin/tasks/image_tasks.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using testing::runTool;
using testing::ScratchFolder;

// exiftool's JSON record of `file`, read with "-j -a -n -G" and the given tag arguments (all tags
// when there are none).
nlohmann::json exifToolRecord(const fs::path& file, const std::vector<std::string>& tags = {}) {
  ExifToolCLI cli;
  std::vector<std::string> arguments = {"-j", "-a", "-n", "-G"};
  for (const auto& tag : tags) arguments.push_back("-" + tag);
  arguments.push_back(file.string());
  cli.run(arguments);
  const auto records = nlohmann::json::parse(cli.buildStdOutString().value_or(""), nullptr, false);
  return records.is_array() && !records.empty() ? records.front() : nlohmann::json::object();
}

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
  for (const auto& [tag, value] : expected) EXPECT_EQ(record.value(tag, nlohmann::json()), value) << tag;
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

TEST(SetCommand, RefusedValuesFailedFilesPresetsUsageErrorsFoldersAndTheFilesDate) {
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
                 "EXIF:Nothing=EXIF:Artist", "--merge", "IPTC:Headline=today"}, folder.path());
  EXPECT_EQ(run.status, 1);
  for (const std::string message :
       {"EXIF:ExposureProgram: ", "EXIF:Nothing refused (not in the catalogue)\n",
        "File:FileSize refused (not editable in this file)\n", "EXIF:ISO refused (\"lots\" is no ",
        "EXIF:ISO refused (a "})
    EXPECT_NE(run.errors.find(file.string() + ": " + message), std::string::npos) << message << run.errors;
  EXPECT_EQ(testing::occurrences(run.errors, "EXIF:Nothing refused"), 2u) << run.errors;
  EXPECT_EQ(run.output, file.string() + ": EXIF:Artist IPTC:Headline\n");
  EXPECT_EQ(exifToolRecord(file, {"IPTC:Headline"})["IPTC:Headline"], "Communications today");

  // Files that fail beside one that is saved.
  const auto missing = (folder / "missing.jpg").string();
  const auto notes = folder / "notes.txt";
  testing::writeFile(notes, "no image");
  run = runTool({"set", "-t", "EXIF:Artist=Still saved", "--", missing, notes.string(), file.string()},
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

// The commands that read, on one folder of copies. One record per file (JSON) or one block of lines
// (text), the file tags among the values; a file that fails is told, and the others are still read.
TEST(ReadCommands, RecordsPositionsSizesEmbeddedImagesAndNoCatalogue) {
  ScratchFolder folder;
  const auto canon = testing::copySample("Canon.jpg", folder.path());
  const auto gps = testing::copySample("GPS.jpg", folder.path());
  auto run = runTool({"set", canon.string(), "-t", "EXIF:ImageDescription=first line\nsecond \\ line",
                      "--finder-tags", "red,blue"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto given = fs::relative(canon).string();  // printed as given, not made absolute
  const auto missing = (folder / "missing.jpg").string();
  // Files that are no image are read all the same; exiftool reads one that is no XMP as no metadata.
  const auto notes = folder / "notes.xmp";
  testing::writeFile(notes, "no XMP at all");
  const auto xmp = testing::copySample("XMP.xmp", folder.path());

  run = runTool({"read", given, missing, gps.string(), notes.string(), xmp.string(), folder.path().string(), "--json",
                 "--quiet"}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, missing + ": " + readerError() + "\n");
  const auto records = nlohmann::json::parse(run.output);
  ASSERT_EQ(records.size(), 5u);
  const auto& record = records[0];
  EXPECT_EQ(record["SourceFile"], given);
  EXPECT_EQ(record["finderTags"], (nlohmann::json{"red", "blue"}));
  EXPECT_EQ(record["values"]["EXIF:Make"], exifToolRecord(canon, {"EXIF:Make"})["EXIF:Make"]);
  // Maker notes under the maker's stream; both stream families listed.
  EXPECT_TRUE(record["values"].contains("Canon:CanonModelID")) << record["values"];
  EXPECT_NE(std::find(record["g0Streams"].begin(), record["g0Streams"].end(), "EXIF"), record["g0Streams"].end());
  EXPECT_NE(std::find(record["g1Streams"].begin(), record["g1Streams"].end(), "IFD0"), record["g1Streams"].end());
  EXPECT_EQ(records[1]["SourceFile"], gps.string());
  EXPECT_EQ(records[1]["finderTags"], nlohmann::json::array());
  EXPECT_EQ(records[2]["SourceFile"], notes.string());
  EXPECT_EQ(records[3]["values"].value("XMP:Model", ""), exifToolRecord(xmp, {"XMP:Model"})["XMP:Model"]);
  EXPECT_EQ(records[4]["values"], nlohmann::json::object());

  // The plain reader's profile: values as exiftool prints them, still no composite tags.
  run = runTool({"read", "--json", "--raw-profile", given}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto printed = nlohmann::json::parse(run.output)[0]["values"];
  EXPECT_NE(printed, record["values"]);
  EXPECT_EQ(printed["EXIF:Make"], record["values"]["EXIF:Make"]);
  for (const auto& [name, value] : printed.items()) EXPECT_NE(name.rfind("Composite:", 0), 0u) << name;

  run = runTool({"read", given, gps.string()}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  // One block per file, a blank line between: no value makes a line of its own.
  const auto lines = testing::linesOf(run.output);
  const auto blank = std::find(lines.begin(), lines.end(), "");
  ASSERT_EQ(std::count(lines.begin(), lines.end(), ""), 1) << run.output;
  EXPECT_NE(std::find(blank, lines.end(), "IPTC:Headline=Communications"), lines.end());
  std::vector<TagName> names;
  for (auto line = lines.begin(); line != blank; ++line) {
    const auto name = TagName::fromRawValue(line->substr(0, line->find('=')));
    ASSERT_TRUE(name && line->find('=') != std::string::npos) << *line;
    names.push_back(*name);
  }
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end())) << run.output;
  for (const char* line :
       {"EXIF:ImageDescription=first line\\nsecond \\\\ line", "ORVFinder:Tags=red,blue", "EXIF:Make=Canon"})
    EXPECT_NE(std::find(lines.begin(), blank, line), blank) << line << "\n" << run.output;

  // Languages by name, own name (not ASCII) or code (an unknown one is among the usage errors).
  for (const char* language : {"german", "Français", "de"}) {
    run = runTool({"read", given, "--lang", language}, folder.path());
    EXPECT_EQ(run.status, 0) << language << ": " << run.errors;
    EXPECT_NE(run.output.find("EXIF:Make=Canon\n"), std::string::npos) << language;
  }

  // The position in the four notations, and the first pair that gives a size.
  const auto png = testing::copySample("PNG.png", folder.path());
  run = runTool({"gps", gps.string(), missing, canon.string()}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors.find(missing + ": "), 0u) << run.errors;
  EXPECT_EQ(run.output, gps.string() +
                            "\n  DDddddd:     54.98967°; -1.91417°\n"
                            "  DDMMmmm:     N 54° 59.380'; W 01° 54.850'\n"
                            "  PreDDMMSSs:  N 54° 59' 22.8\"; W 01° 54' 51.0\"\n"
                            "  PostDDMMSSs: 54° 59' 22.8\" N; 01° 54' 51.0\" W\n"
                            "  altitude:    none\n"
                            "  moment:      none\n" +
                            canon.string() +
                            "\n  position:    none\n"
                            "  altitude:    none\n"
                            "  moment:      none\n");

  // What `set` writes, `gps` reads: altitude below sea level, and the moment of the stamps.
  run = runTool({"set", canon.string(), "--gps=-12.5, 130.25", "--gps-altitude=-3", "-t",
                 "EXIF:GPSDateStamp=2021:03:04", "-t", "EXIF:GPSTimeStamp=05:06:07"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  run = runTool({"gps", canon.string(), "--json", "--quiet"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto position = nlohmann::json::parse(run.output).at(0);
  EXPECT_EQ(position["latitude"], -12.5);
  EXPECT_EQ(position["longitude"], 130.25);
  EXPECT_EQ(position["PostDDMMSSs"], "12° 30' 0.0\" S; 130° 15' 0.0\" E");
  EXPECT_EQ(position["altitude"], -3.0);
  EXPECT_EQ(position["moment"], "2021:03:04 05:06:07");

  run = runTool({"size", gps.string(), png.string()}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  // The File pair wins over EXIF's 2400 x 1600.
  EXPECT_EQ(run.output, gps.string() + ": 120 x 80\n" + png.string() + ": 16 x 16\n");
  run = runTool({"size", gps.string(), "--json", "--quiet"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(nlohmann::json::parse(run.output),
            nlohmann::json::array({{{"SourceFile", gps.string()}, {"width", 120}, {"height", 80}}}));

  // The embedded images written as JPEG, then the metadata removed with them.
  const auto file = testing::copySample("ExifTool.jpg", folder.path());
  for (const std::string command : {"thumbnail", "preview"}) {
    const auto written = folder / (command + ".jpg");
    run = runTool({command, file.string(), written.string()}, folder.path());
    ASSERT_EQ(run.status, 0) << run.errors;
    const auto shape = exifToolRecord(written, {"File:ImageWidth", "File:ImageHeight"});
    EXPECT_EQ(run.output, written.string() + ": " + shape["File:ImageWidth"].dump() + "x" +
                              shape["File:ImageHeight"].dump() + "\n");
  }

  run = runTool({"clean", missing, file.string()}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.errors.find(missing + ": "), std::string::npos) << run.errors;
  const auto cleaned = exifToolRecord(file);
  EXPECT_FALSE(cleaned.contains("EXIF:Make")) << cleaned;
  EXPECT_FALSE(cleaned.contains("MakerNotes:FileFormat"));
  EXPECT_EQ(cleaned["File:ImageWidth"], 8);
  EXPECT_FALSE(fs::exists(file.string() + "_original"));

  // A file without thumbnail, and one that is missing: an error each, and no output file.
  run = runTool({"thumbnail", file.string(), (folder / "none.jpg").string()}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, file.string() + ": no embedded thumbnail\n");
  run = runTool({"preview", missing, (folder / "none.jpg").string()}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_FALSE(fs::exists(folder / "none.jpg"));

  // Every command that needs the tag catalogue fails without it.
  const auto resources = folder / "resources";
  fs::create_directories(resources);
  const auto message =
      "tag catalogue not found at " + (resources / "Tags").string() + "; set ORVELIN_RESOURCES or reinstall\n";
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"read", given}, {"set", given, "-t", "EXIF:Artist=Someone"}, {"gps", given}, {"size", given},
           {"tag", "EXIF:Make"}, {"catalogue", "info"}}) {
    run = runTool(arguments, folder.path(), {"ORVELIN_RESOURCES=" + resources.string()});
    EXPECT_EQ(run.status, 1) << arguments[0];
    EXPECT_NE(run.errors.find(message), std::string::npos) << arguments[0] << ": " << run.errors;
  }
}

// An interrupted tool leaves no exiftool process behind.
TEST(Interrupt, SIGINTTakesThePoolWithIt) {
  ScratchFolder scratch;
  std::vector<std::string> arguments{"read"};
  for (int i = 0; i < 400; ++i) arguments.push_back((testing::dataDirectory() / "Canon.jpg").string());
  ProcessResult failure;
  auto tool = ProcessRunner::Default()->start(testing::toolRequest(arguments, scratch.path()), failure);
  ASSERT_TRUE(tool) << failure.standardError;

  // The first file's listing shows that exiftool runs: its processes are the tool's children.
  pollfd output{tool->output(), POLLIN, 0};
  ASSERT_EQ(::poll(&output, 1, 60000), 1);
  const auto pgrep = ProcessRunner::Default()->run({"/usr/bin/pgrep", {"-P", std::to_string(tool->pid())}, {}});
  std::istringstream found(pgrep.standardOutput);
  const std::vector<pid_t> exiftools{std::istream_iterator<pid_t>(found), std::istream_iterator<pid_t>()};
  ASSERT_FALSE(exiftools.empty());

  ::kill(tool->pid(), SIGINT);
  tool->closeInput();
  EXPECT_EQ(tool->waitFor(std::chrono::seconds(30)), std::optional<int>(128 + SIGINT));
  // Each ends within ten seconds, waited for through its pidfd (no sleep); one already gone has none.
  for (const pid_t pid : exiftools) {
    const int fd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    pollfd exit{fd, POLLIN, 0};
    EXPECT_TRUE(fd < 0 ? errno == ESRCH : ::poll(&exit, 1, 10000) == 1) << pid;
    if (fd >= 0) ::close(fd);
  }
}

}  // namespace
}  // namespace orvelin
