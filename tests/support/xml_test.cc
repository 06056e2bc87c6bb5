#include "support/xml.h"

#include <gtest/gtest.h>

namespace orvelin {
namespace {

// (The element walk is pinned by the catalogue generator's parse of exiftool's listing.)
TEST(XMLHelpers, BooleanAttribute) {
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(R"(<tag a="true" b="false" c="TRUE" d="" e="1"/>)"));
  const auto tag = document.child("tag");
  EXPECT_EQ(boolean(tag, "a"), true);
  EXPECT_EQ(boolean(tag, "b"), false);
  EXPECT_EQ(boolean(tag, "c"), false);  // only "true" itself is true
  EXPECT_EQ(boolean(tag, "d"), false);
  EXPECT_EQ(boolean(tag, "e"), false);
  EXPECT_EQ(boolean(tag, "missing"), std::nullopt);
}

}  // namespace
}  // namespace orvelin
