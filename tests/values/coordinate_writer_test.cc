#include "orvelin/values/coordinate_writer.h"

#include <gtest/gtest.h>

#include "orvelin/values/coordinate_parser.h"

namespace orvelin {
namespace {

// (The four notations of a position with the default settings show in `orvelin gps`'s test.)
const Coordinate kParis(48.8566, 2.3522);

TEST(CoordinateWriter, SpacesUnitsAndSeparatorAreSettings) {
  CoordinateWriter writer;
  writer.displaySpaces = false;
  EXPECT_EQ(writer.preDDMMSSs(kParis), "N48°51'23.8\"; E02°21'7.9\"");
  writer.displaysUnits = false;
  writer.defaultSeparator = ", ";
  EXPECT_EQ(writer.DDddddd(kParis), "48.85660, 2.35220");
  EXPECT_EQ(writer.DDMMmmm(kParis), "N4851.396, E0221.132");
  writer.displaySpaces = true;
  EXPECT_EQ(writer.postDDMMSSs(kParis), "48 51 23.8 N, 02 21 7.9 E");
}

TEST(CoordinateWriter, SouthWestAndTheWholeParts) {
  const CoordinateWriter writer;
  const Coordinate sydney(-33.8688, -151.2093);
  EXPECT_EQ(writer.DDddddd(sydney), "-33.86880°; -151.20930°");
  EXPECT_EQ(writer.DDMMmmm(sydney), "S 33° 52.128'; W 151° 12.558'");
  EXPECT_EQ(writer.preDDMMSSs(sydney), "S 33° 52' 7.7\"; W 151° 12' 33.5\"");
  EXPECT_EQ(writer.DDMMmmm(Latitude(0.0)), "N 00° 0.000'");
  // The fields are used as they stand: degrees that were edited are truncated, not recomputed.
  Latitude edited(10.0);
  edited.degrees = 7.9;
  edited.minutes = 59.9999;
  EXPECT_EQ(writer.preDDMMSSs(edited), "N 07° 59' 0.0\"");
}

// Seconds round in the text alone: no carry into the minutes.
TEST(CoordinateWriter, SecondsRoundWithoutCarry) {
  const CoordinateWriter writer;
  const Latitude latitude(10.0 + 59.0 / 60.0 + 59.96 / 3600.0);
  EXPECT_EQ(writer.preDDMMSSs(latitude), "N 10° 59' 60.0\"");
  EXPECT_EQ(writer.postDDMMSSs(latitude), "10° 59' 60.0\" N");
}

TEST(CoordinateWriter, ParserReadsEveryNotationBack) {
  const CoordinateParser parser;
  for (const bool spaces : {true, false}) {
    for (const bool units : {true, false}) {
      CoordinateWriter writer;
      writer.displaySpaces = spaces;
      writer.displaysUnits = units;
      writer.defaultSeparator = spaces ? "; " : ";";
      for (const Coordinate& coordinate : {kParis, Coordinate(-33.8688, -151.2093), Coordinate(0.5, 179.25)}) {
        const auto decimal = writer.DDddddd(coordinate);
        for (const auto& text : {decimal, writer.DDMMmmm(coordinate), writer.preDDMMSSs(coordinate)}) {
          // Without blanks and units the minute forms keep nothing between the numbers but their digits.
          if (!spaces && !units && text != decimal) continue;
          const auto read = parser.coordinate(text);
          ASSERT_TRUE(read) << text;
          EXPECT_NEAR(read->latitude.value, coordinate.latitude.value, 1e-4) << text;
          EXPECT_NEAR(read->longitude.value, coordinate.longitude.value, 1e-4) << text;
        }
      }
    }
  }
}

}  // namespace
}  // namespace orvelin
