#include "orvelin/interchange/geo_tag_folder.h"
#include "orvelin/interchange/location_reader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <sstream>

#include "common/failing_file_system.h"
#include "common/recording_runner.h"
#include "common/test_support.h"
#include "orvelin/exiftool/exiftool_cli.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using Position = std::pair<double, double>;

void exiftool(std::vector<std::string> arguments) { ExifToolCLI().run(arguments); }

// A copy of a sample without GPS, its original date set to `date`.
fs::path datedImage(const fs::path& folder, const std::string& name, const std::string& date) {
  fs::create_directories(folder);
  const auto image = folder / name;
  fs::rename(testing::copySample("Canon.jpg", folder), image);
  exiftool({"-overwrite_original", "-DateTimeOriginal=" + date, image.string()});
  return image;
}

// The position as exiftool prints it in numbers.
std::optional<Position> exiftoolPosition(const fs::path& image) {
  ExifToolCLI cli;
  cli.enableRawValues = true;
  cli.run({"-T", "-gpslatitude", "-gpslongitude", image.string()});
  std::istringstream line(cli.stdOutData().value_or(""));
  Position position;
  if (line >> position.first >> position.second) return position;
  return std::nullopt;
}

// The logs' times are UTC; an original date without a zone is read in local time.
class GeoTag : public ::testing::Test {
  testing::EnvironmentScope utc_{"TZ", "UTC"};
};

TEST_F(GeoTag, ImporterWritesThePositionOfTheLogAtTheImageDate) {
  const struct {
    const char* name;
    const char* log;
    const char* date;
    std::optional<std::string> geoSync;
    bool inSubfolder;
    std::optional<std::string> extension;
    std::optional<Position> expected;
  } cases[] = {
      {"GPX", "Geotag.gpx", "2003:05:24 17:09:30", {}, false, {}, Position{43.641873, -116.062271}},
      {"GPX, clock 10 s behind", "Geotag.gpx", "2003:05:24 17:09:30", "+0:0:10", false, {}, Position{43.641614, -116.061966}},
      {"KML, in a subfolder", "Geotag.kml", "2013:11:13 09:04:00", "", true, "JPG", Position{34.165913, -106.026467}},
      {"NMEA", "Geotag.log", "2009:04:03 11:09:00", {}, false, {}, Position{44.247228, -76.518229}},
      {"other extension", "Geotag.log", "2009:04:03 11:09:00", {}, false, "PNG", std::nullopt},
  };
  for (const auto& c : cases) {
    testing::ScratchFolder folder;
    const auto image = datedImage(c.inSubfolder ? folder / "sub" : folder.path(), "image.jpg", c.date);
    const auto outside = testing::copySample("Canon.jpg", folder.path());  // taken long after the logs
    GeoTagFolderImporter importer(testing::dataDirectory() / "geotag" / c.log);
    importer.geoSyncString = c.geoSync;
    importer.overwriteInPlace = true;
    importer.recurseSubfolders = c.inSubfolder;
    importer.filterPathExtension = c.extension;
    importer.sync(folder.path());

    const auto read = LocationReader().read({image, outside});
    ASSERT_EQ(read.size(), 2u) << c.name;
    EXPECT_FALSE(read[1]) << c.name;
    EXPECT_FALSE(fs::exists(image.string() + "_original")) << c.name;
    ASSERT_EQ(read[0].has_value(), c.expected.has_value()) << c.name;
    if (!c.expected) continue;
    EXPECT_NEAR(read[0]->latitude, c.expected->first, 1e-6) << c.name;
    EXPECT_NEAR(read[0]->longitude, c.expected->second, 1e-6) << c.name;
    const auto position = exiftoolPosition(image);
    ASSERT_TRUE(position) << c.name;
    EXPECT_NEAR(position->first, c.expected->first, 1e-5) << c.name;
    EXPECT_NEAR(position->second, c.expected->second, 1e-5) << c.name;
  }
}

TEST_F(GeoTag, ExportedTracksGiveExiftoolTheSamePositions) {
  testing::ScratchFolder folder;
  const std::vector<std::pair<std::string, std::string>> images{
      {"a.jpg", "2003:05:24 17:09:10"}, {"b.jpg", "2003:05:24 17:09:30"}, {"c.jpg", "2003:05:24 17:09:50"}};
  for (const auto& [name, date] : images) datedImage(folder / "tagged", name, date);
  testing::copySample("Canon.jpg", folder / "tagged");  // no position: no point
  GeoTagFolderImporter importer(testing::dataDirectory() / "geotag" / "Geotag.gpx");
  importer.overwriteInPlace = true;
  importer.sync(folder / "tagged");
  // Without a GPS time the point takes the original date.
  exiftool({"-overwrite_original", "-GPSDateStamp=", "-GPSTimeStamp=", (folder / "tagged" / "b.jpg").string()});

  for (const auto format : {GeoTagFolderExportFormat::gpx, GeoTagFolderExportFormat::kml}) {
    const auto track = folder / ("track." + std::string(rawValue(format)));
    GeoTagFolderExporter(format).sync(folder / "tagged", track);
    const auto text = testing::readFile(track);
    EXPECT_EQ(testing::occurrences(text, format == GeoTagFolderExportFormat::gpx ? "<trkpt " : "<Placemark>"), 3u);

    const auto fresh = folder / ("fresh-" + std::string(rawValue(format)));
    for (const auto& [name, date] : images) datedImage(fresh, name, date);
    exiftool({"-overwrite_original", "-geotag", track.string(), "-geotime<DateTimeOriginal", fresh.string()});
    for (const auto& [name, date] : images) {
      const auto expected = exiftoolPosition(folder / "tagged" / name), position = exiftoolPosition(fresh / name);
      ASSERT_TRUE(expected && position) << name << "\n" << text;
      EXPECT_NEAR(position->first, expected->first, 1e-5) << name;
      EXPECT_NEAR(position->second, expected->second, 1e-5) << name;
    }
  }

  const auto none = folder / "none.gpx";
  GeoTagFolderExporter(GeoTagFolderExportFormat::gpx).sync(folder / "missing.jpg", none);
  EXPECT_FALSE(fs::exists(none));
  testing::FailingFileSystem failing;
  failing.fails = [](const auto& operation) { return operation.name == "writeFile"; };
  EXPECT_THROW(GeoTagFolderExporter(GeoTagFolderExportFormat::kml).sync(folder / "tagged", none), fs::filesystem_error);
}

TEST(GeoTagFolderExporter, AMissingFormatFileFailsBeforeAnyProcess) {
  // A fresh process whose resources lack the format files.
  testing::ScratchFolder resources;
  testing::EnvironmentScope scope("ORVELIN_RESOURCES", resources.path().string());
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        testing::RecordingRunner runner;
        try {
          GeoTagFolderExporter(GeoTagFolderExportFormat::kml).sync(resources.path(), resources / "track.kml");
        } catch (const GeoTagFolderExporterError& error) {
          std::cerr << error.what() << ", commands: " << runner.commands().size() << std::endl;
          std::exit(0);
        }
        std::exit(1);
      },
      ::testing::ExitedWithCode(0), "Not found format file, commands: 0");
}

TEST(LocationReader, NoOutputIsAnError) {
  EXPECT_EQ(LocationReader().read(testing::dataDirectory() / "Canon.jpg"), std::nullopt);
  try {
    LocationReader().read(testing::dataDirectory() / "missing.jpg");
    ADD_FAILURE() << "no error";
  } catch (const LocationReaderError& error) {
    EXPECT_STREQ(error.what(), "Empty output");
  }
}

}  // namespace
}  // namespace orvelin
