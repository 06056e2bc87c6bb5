#include "support/xml.h"

#include <gtest/gtest.h>

namespace orvelin {
namespace {

std::vector<std::string> names(const std::vector<pugi::xml_node>& nodes, const char* attribute) {
  std::vector<std::string> result;
  for (const auto& node : nodes) result.push_back(node.attribute(attribute).value());
  return result;
}

TEST(XMLHelpers, ElementsForPathWalkDownLevelByLevel) {
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(R"(<?xml version="1.0"?>
<taginfo>
  <table name="EXIF::Main">
    text between
    <tag id="1" name="Make" writable="true"><desc lang="en">Make</desc></tag>
    <!-- a comment -->
    <tag id="2" name="Model" writable="false"/>
    <other name="skip"/>
  </table>
  <table name="IPTC::Main">
    <tag id="3" name="Keywords"/>
  </table>
</taginfo>)"));
  EXPECT_EQ(names(elements(document, "taginfo/table/tag"), "name"),
            (std::vector<std::string>{"Make", "Model", "Keywords"}));
  EXPECT_EQ(names(elements(document, "*/*/tag"), "name"), (std::vector<std::string>{"Make", "Model", "Keywords"}));
  EXPECT_EQ(names(elements(document, "taginfo/*/*"), "name"),
            (std::vector<std::string>{"Make", "Model", "skip", "Keywords"}));  // elements only, in document order
  EXPECT_EQ(elements(document, "taginfo/table/tag/desc").size(), 1u);
  EXPECT_TRUE(elements(document, "taginfo/nothing/tag").empty());
  EXPECT_TRUE(elements(document, "table").empty());  // the walk starts at the node's children
  const auto tables = elements(document, "taginfo/table");
  ASSERT_EQ(tables.size(), 2u);
  EXPECT_EQ(names(elements(tables[1], "tag"), "name"), (std::vector<std::string>{"Keywords"}));
}

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
