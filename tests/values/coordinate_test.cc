#include "orvelin/values/coordinate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <unordered_set>

namespace orvelin {
namespace {

TEST(Coordinate, ValueConstructorFillsEveryPart) {
  const Latitude south(-33.5);
  EXPECT_EQ(south.value, -33.5);
  EXPECT_EQ(south.degrees, 33.5);  // the fraction stays
  EXPECT_EQ(south.minutes, 30.0);
  EXPECT_EQ(south.seconds, 0.0);
  EXPECT_EQ(south.reference, Latitude::Reference::south);

  const Longitude east(2.3522);
  EXPECT_DOUBLE_EQ(east.degrees, 2.3522);
  EXPECT_NEAR(east.minutes, 21.132, 1e-9);
  EXPECT_NEAR(east.seconds, 7.92, 1e-9);
  EXPECT_EQ(east.reference, Longitude::Reference::east);

  EXPECT_EQ(Latitude(0.0).reference, Latitude::Reference::north);
  EXPECT_EQ(Latitude(-0.0).reference, Latitude::Reference::north);
  EXPECT_EQ(Longitude(-0.0).reference, Longitude::Reference::east);
  EXPECT_EQ(Longitude(std::nan("")).reference, Longitude::Reference::west);
  EXPECT_EQ(Latitude(-1e-9).reference, Latitude::Reference::south);
}

TEST(Coordinate, NoRangeIsEnforced) {
  const Coordinate outside(95.0, 200.0);
  EXPECT_EQ(outside.latitude.value, 95.0);
  EXPECT_EQ(outside.longitude.value, 200.0);
  EXPECT_EQ(outside.longitude.degrees, 200.0);
  EXPECT_EQ(Longitude(400.25).minutes, 15.0);
}

TEST(Coordinate, EqualityAndHashLookAtValuesAlone) {
  Latitude edited(48.5);
  edited.minutes = 12.0;
  edited.reference = Latitude::Reference::south;
  EXPECT_EQ(edited, Latitude(48.5));
  EXPECT_EQ(std::hash<Latitude>()(edited), std::hash<Latitude>()(Latitude(48.5)));
  EXPECT_NE(Latitude(48.5), Latitude(-48.5));

  Coordinate a(48.5, 2.5);
  Coordinate b(48.5, 2.5);
  b.longitude.minutes = 59.0;
  EXPECT_EQ(a, b);
  EXPECT_NE(a, Coordinate(48.5, 2.25));
  std::unordered_set<Coordinate> set = {a, b, Coordinate(0.0, 0.0), Coordinate(-0.0, 0.0)};
  EXPECT_EQ(set.size(), 2u);
}

TEST(Coordinate, FromLocationsAndMembers) {
  Location location;
  location.latitude = 10.25;
  location.longitude = -20.5;
  location.altitude = 100.0;
  const Coordinate fromLocation(location);
  EXPECT_EQ(fromLocation, Coordinate(10.25, -20.5));
  EXPECT_EQ(fromLocation.longitude.reference, Longitude::Reference::west);
  EXPECT_EQ(Coordinate(LocationCoordinate2D{1.5, 2.5}), Coordinate(1.5, 2.5));

  Latitude latitude(1.0);
  latitude.minutes = 42.0;  // kept as given
  const Coordinate members(latitude, Longitude(2.0));
  EXPECT_EQ(members.latitude.minutes, 42.0);
}

TEST(Coordinate, ReferencesReadTheirExactLetters) {
  EXPECT_EQ(Latitude::Reference::fromRawValue("N"), Latitude::Reference::north);
  EXPECT_EQ(Latitude::Reference::fromRawValue("S"), Latitude::Reference::south);
  EXPECT_EQ(Latitude::Reference::fromRawValue("n"), std::nullopt);
  EXPECT_EQ(Latitude::Reference::fromRawValue("E"), std::nullopt);
  EXPECT_EQ(Longitude::Reference::fromRawValue("W"), Longitude::Reference::west);
  EXPECT_EQ(Longitude::Reference::fromRawValue("East"), std::nullopt);
  EXPECT_EQ(Longitude::Reference(Longitude::Reference::east).rawValue(), "E");
  EXPECT_EQ(Latitude::Reference(Latitude::Reference::south).rawValue(), "S");
}

}  // namespace
}  // namespace orvelin
