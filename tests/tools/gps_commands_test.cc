// `orvelin gps` and `orvelin size` on copies of the samples.

#include <gtest/gtest.h>

#include "common/test_support.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

using testing::runTool;
using testing::ScratchFolder;

TEST(GPSCommand, PrintsThePositionInTheFourNotations) {
  ScratchFolder folder;
  const auto gps = testing::copySample("GPS.jpg", folder.path());
  const auto canon = testing::copySample("Canon.jpg", folder.path());
  auto run = runTool({"gps", gps.string(), canon.string()}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, gps.string() +
                            "\n"
                            "  DDddddd:     54.98967°; -1.91417°\n"
                            "  DDMMmmm:     N 54° 59.380'; W 01° 54.850'\n"
                            "  PreDDMMSSs:  N 54° 59' 22.8\"; W 01° 54' 51.0\"\n"
                            "  PostDDMMSSs: 54° 59' 22.8\" N; 01° 54' 51.0\" W\n"
                            "  altitude:    none\n"
                            "  moment:      none\n" +
                            canon.string() +
                            "\n"
                            "  position:    none\n"
                            "  altitude:    none\n"
                            "  moment:      none\n");

  // What `set` writes, `gps` reads: altitude below sea level, and the moment of the stamps.
  run = runTool({"set", canon.string(), "--gps=-12.5, 130.25", "--gps-altitude=-3", "-t",
                 "EXIF:GPSDateStamp=2021:03:04", "-t", "EXIF:GPSTimeStamp=05:06:07"},
                folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  run = runTool({"gps", "--json", canon.string()}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto record = nlohmann::json::parse(run.output).at(0);
  EXPECT_EQ(record["latitude"], -12.5);
  EXPECT_EQ(record["longitude"], 130.25);
  EXPECT_EQ(record["PostDDMMSSs"], "12° 30' 0.0\" S; 130° 15' 0.0\" E");
  EXPECT_EQ(record["altitude"], -3.0);
  EXPECT_EQ(record["moment"], "2021:03:04 05:06:07");

  run = runTool({"gps", (folder / "missing.jpg").string(), gps.string()}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.errors.find("missing.jpg"), std::string::npos);
  EXPECT_NE(run.output.find("54.98967"), std::string::npos);
}

TEST(SizeCommand, PrintsTheFirstPairThatGivesASize) {
  ScratchFolder folder;
  const auto gps = testing::copySample("GPS.jpg", folder.path());
  const auto png = testing::copySample("PNG.png", folder.path());
  auto run = runTool({"size", gps.string(), png.string()}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  // The File pair wins over EXIF's 2400 x 1600.
  EXPECT_EQ(run.output, gps.string() + ": 120 x 80\n" + png.string() + ": 16 x 16\n");
  run = runTool({"size", "--json", gps.string()}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(nlohmann::json::parse(run.output),
            nlohmann::json::parse("[{\"SourceFile\": \"" + gps.string() + "\", \"width\": 120, \"height\": 80}]"));
  EXPECT_EQ(runTool({"size"}, folder.path()).status, 2);
}

}  // namespace
}  // namespace orvelin
