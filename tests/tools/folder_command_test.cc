// `orvelin geotag`, `track`, `locations` and `file-tags`, run as a user runs them (in UTC, the
// zone the logs' times are read in).

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include "common/editors.h"
#include "common/test_support.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

testing::ToolRun orvelin(const std::vector<std::string>& arguments, const fs::path& scratch) {
  return testing::runTool(arguments, scratch, {"TZ=UTC"});
}

// A copy of a camera JPEG in `folder`, taken at `date`, without position.
fs::path photoAt(const fs::path& folder, const std::string& name, const std::string& date) {
  fs::create_directories(folder);
  fs::copy_file(testing::dataDirectory() / "Canon.jpg", folder / name);
  testing::exifToolInPlace(folder / name, {"-DateTimeOriginal=" + date});
  return folder / name;
}

// What exiftool reads of a file's position, as `orvelin locations` prints it.
std::string exifToolPosition(const fs::path& file) {
  ExifToolCLI cli;
  cli.run({"-c", "%+.6f", "-T", "-gpslatitude", "-gpslongitude", file.string()});
  double latitude = 0, longitude = 0;
  if (std::sscanf(cli.buildStdOutString().value_or("").c_str(), "%lf %lf", &latitude, &longitude) != 2) return "none";
  char text[64];
  std::snprintf(text, sizeof text, "%.6f, %.6f\n", latitude, longitude);
  return file.string() + ": " + text;
}

TEST(FolderCommands, GeotagFromEachLogFormAndTracksThatExifToolTakesBack) {
  testing::ScratchFolder scratch;
  const struct {
    const char* log;
    const char* date;
  } logs[] = {{"Geotag.gpx", "2003:05:24 17:09:30"}, {"Geotag.kml", "2013:11:13 09:04:00"},
              {"Geotag.log", "2009:04:03 11:09:00"}};
  for (const auto& [log, date] : logs) {
    const auto folder = scratch / log;
    const auto photo = photoAt(folder, "a.jpg", date);
    const auto run = orvelin({"geotag", folder, "--log", testing::dataDirectory() / "geotag" / log}, scratch.path());
    EXPECT_EQ(run.status, 0) << run.errors;
    const auto read = orvelin({"locations", photo}, scratch.path()).output;
    EXPECT_EQ(read, exifToolPosition(photo)) << log;
    EXPECT_THAT(read, Not(HasSubstr("none"))) << log;
  }

  // A track of a folder, read back by exiftool's own geotagging on fresh copies.
  const auto folder = scratch / "trip";
  const std::vector<fs::path> photos{photoAt(folder, "a.jpg", "2003:05:24 17:09:30"),
                                     photoAt(folder, "b.jpg", "2003:05:24 17:10:00")};
  ASSERT_EQ(orvelin({"geotag", folder, "--log", testing::dataDirectory() / "geotag/Geotag.gpx"}, scratch.path()).status, 0);
  for (const char* format : {"gpx", "kml"}) {
    const auto track = scratch / (std::string("trip.") + format);
    EXPECT_EQ(orvelin({"track", folder, "--format", format, "--to", track}, scratch.path()).status, 0);
    for (const auto& photo : photos) {
      const auto copy = photoAt(scratch / format, photo.filename(), photo == photos[0] ? "2003:05:24 17:09:30"
                                                                                          : "2003:05:24 17:10:00");
      testing::EnvironmentScope utc("TZ", "UTC");
      testing::exifToolInPlace(copy, {"-geotag", track.string(), "-geotime<DateTimeOriginal"});
      EXPECT_EQ(exifToolPosition(copy).substr(copy.string().size()), exifToolPosition(photo).substr(photo.string().size()))
          << format << " " << photo.filename();
    }
  }
  EXPECT_EQ(orvelin({"track", photos[0], "--to", scratch / "x.gpx"}, scratch.path()).errors,
            photos[0].string() + ": Input is not a folder\n");
}

TEST(FolderCommands, FileTagsGoToTheKeywordsAndBack) {
  testing::ScratchFolder scratch;
  const auto photo = photoAt(scratch / "album", "a.jpg", "2003:05:24 17:09:30");
  testing::exifToolInPlace(photo, {"-IPTC:Keywords=old"});
  testing::setFinderTags(photo, {"a", "b"});
  auto run = orvelin({"file-tags", photo, "--to-keywords"}, scratch.path());
  EXPECT_EQ(run.status, 0) << run.errors;
  ExifToolCLI cli;
  cli.run({"-s3", "-IPTC:Keywords", photo.string()});
  EXPECT_EQ(cli.buildStdOutString(), "old, a, b\n");
  testing::setFinderTags(photo, {"c"});
  run = orvelin({"file-tags", scratch / "album", "--from-keywords"}, scratch.path());  // the folder
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(testing::finderTagsOf(photo), ::testing::ElementsAre("c", "old", "a", "b"));
}

}  // namespace
}  // namespace orvelin
