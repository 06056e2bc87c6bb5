// The tool's commands that read files (`read`, `gps`, `size`, `clean`, `thumbnail`, `preview`)
// on copies of the samples, checked against exiftool itself; and an interrupted run.

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <iterator>
#include <sstream>

#include <gtest/gtest.h>

#include "common/test_support.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/support/process_runner.h"
#include "orvelin/tags/tag_name.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using testing::exifToolRecord;
using testing::runTool;
using testing::ScratchFolder;

// The commands that read, on one folder of copies. One record per file (JSON) or one block of lines
// (text), the file tags among the values; a file that fails is told, and the others are still read.
TEST(ReadCommands, RecordsPositionsSizesEmbeddedImagesAndNoCatalogue) {
  ScratchFolder folder;
  const auto canon = testing::copySample("Canon.jpg", folder.path());
  const auto gps = testing::copySample("GPS.jpg", folder.path());
  auto run = runTool({"set", canon.string(), "-t", "EXIF:ImageDescription=first line\nsecond \\ line", "--finder-tags",
                      "red,blue"},
                     folder.path());
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
  EXPECT_EQ(run.errors,
            missing + ": " + ETMetadataReaderError::errorDescription(ETMetadataReaderError::Code::readerOutputIsEmpty) +
                "\n");
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
                 "EXIF:GPSDateStamp=2021:03:04", "-t", "EXIF:GPSTimeStamp=05:06:07"},
                folder.path());
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
            nlohmann::json::parse("[{\"SourceFile\": \"" + gps.string() + "\", \"width\": 120, \"height\": 80}]"));

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

// The processes whose parent is `parent`, as pgrep finds them.
std::vector<pid_t> childrenOf(pid_t parent) {
  const auto pgrep = ProcessRunner::Default()->run({"/usr/bin/pgrep", {"-P", std::to_string(parent)}, {}});
  std::istringstream found(pgrep.standardOutput);
  return {std::istream_iterator<pid_t>(found), std::istream_iterator<pid_t>()};
}

// Waits (without sleeping) at most `milliseconds` for `pid` to end; true when it has.
bool ends(pid_t pid, int milliseconds) {
  const int fd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
  if (fd < 0) return errno == ESRCH;
  pollfd entry{fd, POLLIN, 0};
  const bool ended = ::poll(&entry, 1, milliseconds) == 1;
  ::close(fd);
  return ended;
}

// An interrupted tool leaves no exiftool process behind.
TEST(Interrupt, SIGINTTakesThePoolWithIt) {
  ScratchFolder scratch;
  std::vector<std::string> arguments{"read"};
  for (int i = 0; i < 400; ++i) arguments.push_back((testing::dataDirectory() / "Canon.jpg").string());
  ProcessResult failure;
  auto tool = ProcessRunner::Default()->start(testing::toolRequest(arguments, scratch.path()), failure);
  ASSERT_TRUE(tool) << failure.standardError;

  // The first file's listing shows that exiftool runs.
  pollfd output{tool->output(), POLLIN, 0};
  ASSERT_EQ(::poll(&output, 1, 60000), 1);
  const auto exiftools = childrenOf(tool->pid());
  ASSERT_FALSE(exiftools.empty());

  ::kill(tool->pid(), SIGINT);
  tool->closeInput();
  EXPECT_EQ(tool->waitFor(std::chrono::seconds(30)), std::optional<int>(128 + SIGINT));
  for (const pid_t pid : exiftools) EXPECT_TRUE(ends(pid, 10000)) << pid;
}

}  // namespace
}  // namespace orvelin
