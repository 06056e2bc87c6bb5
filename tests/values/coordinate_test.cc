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

}  // namespace
}  // namespace orvelin
