#include "orvelin/values/coordinate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <unordered_set>

#include "orvelin/values/coordinate_parser.h"
#include "orvelin/values/coordinate_writer.h"

namespace orvelin {
namespace {

constexpr double kDMS = 1e-9;
const Coordinate kParis(48.8566, 2.3522);

double dms(double degrees, double minutes, double seconds) { return (seconds / 60.0 + minutes) * 60.0 / 3600.0 + degrees; }

TEST(Coordinate, ValueConstructorFillsEveryPartAndValuesAloneCompare) {
  const Latitude south(-33.5);
  EXPECT_EQ(std::tie(south.degrees, south.minutes, south.seconds, south.reference),
            std::make_tuple(33.5, 30.0, 0.0, Latitude::Reference::south));  // the degrees keep their fraction

  const Longitude east(2.3522);
  EXPECT_DOUBLE_EQ(east.degrees, 2.3522);
  EXPECT_NEAR(east.minutes, 21.132, 1e-9);
  EXPECT_NEAR(east.seconds, 7.92, 1e-9);
  EXPECT_EQ(east.reference, Longitude::Reference::east);

  EXPECT_EQ(Latitude(0.0).reference, Latitude::Reference::north);
  EXPECT_EQ(Latitude(-0.0).reference, Latitude::Reference::north);
  EXPECT_EQ(Longitude(std::nan("")).reference, Longitude::Reference::west);
  EXPECT_EQ(Latitude(-1e-9).reference, Latitude::Reference::south);

  // Equality and hashing look at the values alone.
  Latitude edited(48.5);
  edited.minutes = 12.0;
  edited.reference = Latitude::Reference::south;
  EXPECT_EQ(edited, Latitude(48.5));
  EXPECT_EQ(std::hash<Latitude>()(edited), std::hash<Latitude>()(Latitude(48.5)));
  EXPECT_NE(Latitude(48.5), Latitude(-48.5));

  Coordinate a(48.5, 2.5), b = a;
  b.longitude.minutes = 59.0;
  EXPECT_EQ(a, b);
  EXPECT_NE(a, Coordinate(48.5, 2.25));
  std::unordered_set<Coordinate> set = {a, b, Coordinate(0.0, 0.0), Coordinate(-0.0, 0.0)};
  EXPECT_EQ(set.size(), 2u);
}

// What coordinate() reads from a whole text, the first of its four forms that reads it winning.
TEST(CoordinateParser, ReadsPairsInTheFourForms) {
  const CoordinateParser parser;
  const Coordinate parisDMS(dms(48, 51, 23.8), dms(2, 21, 7.9));
  const struct {
    const char* text;
    Coordinate expected;
  } cases[] = {
      {"48.8566, 2.3522", kParis},    {"48,8566 2,3522", kParis},    {" 48.85660°; 2.35220° ", kParis},
      {"-48.5, -2.5", Coordinate(-48.5, -2.5)},    {"- 12.5|+3", Coordinate(-12.5, 3.0)},
      {"-33.868820000000001, 151.209295000000000", Coordinate(-33.86882, 151.209295)},
      // Nothing between the numbers: backtracking gives the longitude the last digit.
      {"12.34", Coordinate(12.3, 4.0)},    {"48.8566°", Coordinate(48.856, 6.0)},
      {"N 48 51.396 E 2 21.132", kParis},    {"S 48 51.396; W 2 21.132", Coordinate(-48.8566, -2.3522)},
      {"s 48° 51,396' w 2° 21,132'", Coordinate(-48.8566, -2.3522)},
      {"120, 400", Coordinate(120.0, 400.0)},  // no range check
      {"N 48° 51' 23.8\"; E 02° 21' 7.9\"", parisDMS},    {"48 51 23.8 N, 2 21 7.9 E", parisDMS},
      {"48 51 23.8 s 2 21 7.9 w", Coordinate(-parisDMS.latitude.value, -parisDMS.longitude.value)},
      // GPS.jpg's position as exiftool prints it with -n, and with -c "%d %d %.6f".
      {"54.9896666666667 -1.91416666666667", Coordinate(54.9896666666667, -1.91416666666667)},
      {"54 59 22.800000 N, 1 54 51.000000 W", Coordinate(dms(54, 59, 22.8), -dms(1, 54, 51.0))},
  };
  for (const auto& c : cases) {
    const auto read = parser.coordinate(c.text);
    ASSERT_TRUE(read) << c.text;
    EXPECT_NEAR(read->latitude.value, c.expected.latitude.value, kDMS) << c.text;
    EXPECT_NEAR(read->longitude.value, c.expected.longitude.value, kDMS) << c.text;
  }
  // The sign in front of the degrees only passes as "+" without a blank ("-48 30.0, 2 0").
  for (const char* text : {"7", "-48 30.0, 2 0", "", "abc", "48.8566, 2.3522 x", "N48 E2 junk", "48..8, 2", "1e5, 2",
                           "48.8566;; 2.3522;"})
    EXPECT_EQ(parser.coordinate(text), std::nullopt) << '"' << text << '"';
}

TEST(CoordinateParser, SingleValuesAndTheirParts) {
  const CoordinateParser parser;
  EXPECT_EQ(parser.latitudeValue("48.8566°"), 48.8566);
  EXPECT_EQ(parser.longitudeValue("48.8566°"), 48.8566);
  EXPECT_NEAR(parser.latitudeValue("48 51 23.8").value_or(0), dms(48, 51, 23.8), kDMS);  // every sign is optional
  EXPECT_EQ(parser.latitude("33 52 7.75 S"), Latitude(-dms(33, 52, 7.75)));
  EXPECT_NEAR(parser.longitude("151° 12' 33.46\" E")->value, dms(151, 12, 33.46), kDMS);
  EXPECT_EQ(parser.latitudeValue("120"), 120.0);
  EXPECT_EQ(parser.latitude("north"), std::nullopt);
  EXPECT_EQ(parser.latitudeValue(std::string(400, '9')), std::numeric_limits<double>::infinity());
  EXPECT_EQ(parser.longitude(""), std::nullopt);
}

TEST(CoordinateParser, MatchesNeedTheirExactGroups) {
  const CoordinateParser parser;
  EXPECT_EQ(parser.latitudeFromDDdddddMatches({"- 1 2,5"}), -12.5);
  EXPECT_EQ(parser.latitudeFromDDdddddMatches({"1", "2"}), std::nullopt);
  EXPECT_EQ(parser.longitudeFromDDMMmmmMatches({"S", "10", "30"}), 10.5);  // "S" is no longitude letter
  EXPECT_EQ(parser.latitudeFromDDMMmmmMatches({"", "10"}), std::nullopt);
  EXPECT_EQ(parser.latitudeFromDDMMmmmMatches({"", "-10", "30"}), std::nullopt);
  EXPECT_EQ(parser.latitudeFromDDMMmmmMatches({"", "10", " 30"}), std::nullopt);
  EXPECT_EQ(parser.longitudeFromPostDDMMSSsMatches({"1", "30", "x", "W"}), std::nullopt);
  EXPECT_EQ(parser.longitudeFromPreDDMMSSsMatches({"E", "1", "30"}), std::nullopt);
}

// Runs of digits or blanks that the optional groups could share make the patterns backtrack for
// ages: such texts are refused after a bounded amount of work. Without the bound this test never ends.
TEST(CoordinateParser, PathologicalTextsAreRefused) {
  const CoordinateParser parser;
  for (const std::string& text : {std::string(400, '1') + "x", std::string(2000, ' ') + "x",
                                  "N" + std::string(300, '7') + "N", "1 " + std::string(300, '2') + " 3 x"}) {
    EXPECT_EQ(parser.coordinate(text), std::nullopt) << text.size();
    EXPECT_EQ(parser.latitude(text), std::nullopt) << text.size();
    EXPECT_EQ(parser.longitudeValue(text), std::nullopt) << text.size();
  }
  // A long but plain number is no such case and reads at once.
  EXPECT_EQ(parser.latitudeValue("48." + std::string(300, '5')), 48.55555555555556);
}

// (The four notations of a position with the default settings show in `orvelin gps`'s test.)
TEST(CoordinateWriter, WritesTheFieldsAsTheSettingsSay) {
  CoordinateWriter writer;
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
  // Seconds round in the text alone: no carry into the minutes.
  const Latitude latitude(10.0 + 59.0 / 60.0 + 59.96 / 3600.0);
  EXPECT_EQ(writer.preDDMMSSs(latitude), "N 10° 59' 60.0\"");
  EXPECT_EQ(writer.postDDMMSSs(latitude), "10° 59' 60.0\" N");

  writer.displaySpaces = false;
  EXPECT_EQ(writer.preDDMMSSs(kParis), "N48°51'23.8\"; E02°21'7.9\"");
  writer.displaysUnits = false;
  writer.defaultSeparator = ", ";
  EXPECT_EQ(writer.DDddddd(kParis), "48.85660, 2.35220");
  EXPECT_EQ(writer.DDMMmmm(kParis), "N4851.396, E0221.132");
  writer.displaySpaces = true;
  EXPECT_EQ(writer.postDDMMSSs(kParis), "48 51 23.8 N, 02 21 7.9 E");
}

}  // namespace
}  // namespace orvelin
