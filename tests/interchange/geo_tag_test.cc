#include "orvelin/interchange/geo_tag_folder.h"
#include "orvelin/interchange/location_reader.h"

#include <gtest/gtest.h>

#include <iostream>

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

// The logs' times are UTC; an original date without a zone is read in local time.
class GeoTag : public ::testing::Test {
  testing::EnvironmentScope utc_{"TZ", "UTC"};
};

TEST_F(GeoTag, ImporterWritesThePositionOfTheLogAtTheImageDate) {
  const struct {
    const char *name, *log, *date;
    std::optional<std::string> geoSync;
    bool inSubfolder;
    std::optional<std::string> extension;
    std::optional<Position> expected;
  } cases[] = {
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
    EXPECT_FALSE(read[1] || fs::exists(image.string() + "_original")) << c.name;
    ASSERT_EQ(read[0].has_value(), c.expected.has_value()) << c.name;
    if (!c.expected) continue;
    EXPECT_NEAR(read[0]->latitude, c.expected->first, 1e-6) << c.name;
    EXPECT_NEAR(read[0]->longitude, c.expected->second, 1e-6) << c.name;
  }
}

TEST_F(GeoTag, ExportedTracksGiveExiftoolTheSamePositions) {
  testing::ScratchFolder folder;
  const auto datedImages = [](const fs::path& subfolder) {
    std::vector<fs::path> urls;
    for (const auto second : {"10", "30", "50"})
      urls.push_back(datedImage(subfolder, second + std::string(".jpg"), "2003:05:24 17:09:" + std::string(second)));
    return urls;
  };
  const auto tagged = datedImages(folder / "tagged");
  testing::copySample("Canon.jpg", folder / "tagged");  // no position: no point
  GeoTagFolderImporter importer(testing::dataDirectory() / "geotag" / "Geotag.gpx");
  importer.overwriteInPlace = true;
  importer.sync(folder / "tagged");
  // Without a GPS time the point takes the original date.
  exiftool({"-overwrite_original", "-GPSDateStamp=", "-GPSTimeStamp=", tagged[1].string()});
  const auto expected = LocationReader().read(tagged);

  for (const auto format : {GeoTagFolderExportFormat::gpx, GeoTagFolderExportFormat::kml}) {
    const auto track = folder / ("track." + std::string(rawValue(format)));
    GeoTagFolderExporter(format).sync(folder / "tagged", track);
    const auto text = testing::readFile(track);
    EXPECT_EQ(testing::occurrences(text, format == GeoTagFolderExportFormat::gpx ? "<trkpt " : "<Placemark>"), 3u);

    const auto fresh = datedImages(folder / track.extension().string());
    exiftool({"-overwrite_original", "-geotag", track.string(), "-geotime<DateTimeOriginal", fresh[0].parent_path().string()});
    const auto positions = LocationReader().read(fresh);
    ASSERT_EQ(positions.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
      ASSERT_TRUE(expected[i] && positions[i]) << i << "\n" << text;
      EXPECT_NEAR(positions[i]->latitude, expected[i]->latitude, 1e-5) << i;
      EXPECT_NEAR(positions[i]->longitude, expected[i]->longitude, 1e-5) << i;
    }
  }

  const auto none = folder / "none.gpx";
  GeoTagFolderExporter(GeoTagFolderExportFormat::gpx).sync(folder / "missing.jpg", none);
  EXPECT_FALSE(fs::exists(none));
  EXPECT_THROW(LocationReader().read(folder / "missing.jpg"), LocationReaderError);
  testing::FailingFileSystem failing;
  failing.fails = [](const auto& operation) { return operation.name == "writeFile"; };
  EXPECT_THROW(GeoTagFolderExporter(GeoTagFolderExportFormat::kml).sync(folder / "tagged", none), fs::filesystem_error);
}

TEST(GeoTagFolderExporter, AMissingFormatFileFailsBeforeAnyProcess) {
  testing::ScratchFolder resources;  // where a fresh process finds its resources: no format file
  testing::EnvironmentScope scope("ORVELIN_RESOURCES", resources.path().string());
  const auto sync = [&] {
    testing::RecordingRunner runner;
    try {
      GeoTagFolderExporter(GeoTagFolderExportFormat::kml).sync(resources.path(), resources / "track.kml");
    } catch (const GeoTagFolderExporterError& error) {
      std::cerr << error.what() << ", commands: " << runner.commands().size() << std::endl;
    }
    std::exit(0);
  };
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(sync(), ::testing::ExitedWithCode(0), "Not found format file, commands: 0");
}

}  // namespace
}  // namespace orvelin
