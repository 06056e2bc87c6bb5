#include "orvelin/support/string_extensions.h"
#include "orvelin/support/text_encoding.h"
#include "support/xml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvelin {
namespace {

using ::testing::ElementsAre;

using Parts = std::optional<std::pair<std::string, std::string>>;

TEST(Separate, SplitsAtTheFirstOccurrenceAndTrimsTheWhitespacesSet) {
  EXPECT_EQ(separate("a:b:c", ":"), Parts({"a", "b:c"}));
  EXPECT_EQ(separate(" a : b ", ":"), Parts({"a", "b"}));
  EXPECT_EQ(separate("abc", ":"), std::nullopt);
  EXPECT_EQ(separate(":Make", ":"), Parts({"", "Make"}));
  EXPECT_EQ(separate("EXIF:", ":"), Parts({"EXIF", ""}));
  EXPECT_EQ(separate("key => value", "=>"), Parts({"key", "value"}));
  EXPECT_EQ(separate("abc", ""), std::nullopt);  // an empty separator is found nowhere
  // Tab, no-break space, en quad, ideographic space; then line feeds that stay.
  EXPECT_EQ(separate("\t\u00A0\u2000a\u3000:\u00A0b \t", ":"), Parts({"a", "b"}));
  EXPECT_EQ(separate("\na\n : \nb\n", ":"), Parts({"\na\n", "\nb\n"}));
  EXPECT_EQ(separate("\u00e9t\u00e9 : \u00e9", ":"), Parts({"\u00e9t\u00e9", "\u00e9"}));
  EXPECT_EQ(trimWhitespaces(" \u2003 "), "");
  EXPECT_EQ(trimWhitespaces("\xff x \xfe"), "\xff x \xfe");  // bytes that are not UTF-8 stay
}

TEST(ReplacePrefix, ReplacesTheFirstOccurrenceAnywhere) {
  std::string home = "/home/ann/Pictures/home/x.jpg";
  EXPECT_TRUE(replacePrefix(home, "/home/ann", "~"));
  EXPECT_EQ(home, "~/Pictures/home/x.jpg");

  std::string middle = "path /home/ann/x";  // not tied to the start, in spite of the name
  EXPECT_TRUE(replacePrefix(middle, "/home/ann", "~"));
  EXPECT_EQ(middle, "path ~/x");

  std::string none = "abc";
  EXPECT_FALSE(replacePrefix(none, "x", "y"));
  EXPECT_FALSE(replacePrefix(none, "", "y"));
  EXPECT_EQ(none, "abc");
}

TEST(CaptureMatches, OneArrayOfGroupTextsPerMatch) {
  const std::string number = "[-+]?[0-9]*\\.?[0-9]*";
  const auto pattern = "\\s*(" + number + ")\\s*(" + number + ")\\s*";
  const auto matches = captureMatches("+48.858370\t2.294481", pattern);
  ASSERT_FALSE(matches.empty());
  EXPECT_THAT(matches[0], ElementsAre("+48.858370", "2.294481"));

  EXPECT_THAT(captureMatches("k1=v1, k2=v2", "(\\w+)=(\\w+)"),
              ElementsAre(ElementsAre("k1", "v1"), ElementsAre("k2", "v2")));
  EXPECT_THAT(captureMatches("ab", "a(x)?(b)"), ElementsAre(ElementsAre("", "b")));  // a group that took no part
  EXPECT_THAT(captureMatches("\u00e9t\u00e9 2024", "(\\p{L}+) (\\d+)"), ElementsAre(ElementsAre("\u00e9t\u00e9", "2024")));
  EXPECT_THAT(captureMatches("abc", "x(y)"), ElementsAre());
}

TEST(Lowercased, TheWholeTextByUnicodesDefaultMapping) {
  EXPECT_EQ(lowercased("MakerNotes"), "makernotes");
  EXPECT_EQ(lowercased("\u00C9T\u00C9 \u00C0 PARIS"), "\u00e9t\u00e9 \u00e0 paris");
  EXPECT_EQ(lowercased("\u0421\u041E\u041D\u0418"), "\u0441\u043E\u043D\u0438");  // Cyrillic
  EXPECT_EQ(lowercased("\u212A"), "k");                                          // Kelvin sign
  EXPECT_EQ(lowercased("\u0130"), "i\u0307");  // the same in every locale, Turkish included
  EXPECT_EQ(lowercased("\u65E5\u672C 123 _-"), "\u65E5\u672C 123 _-");  // no case: unchanged
  EXPECT_EQ(lowercased(""), "");
  EXPECT_EQ(lowercased("A\xFF" "B"), "a\uFFFDb");  // not UTF-8: replaced, never a crash
}

// (The element walk is pinned by the catalogue generator's parse of exiftool's listing.)
TEST(XMLHelpers, BooleanAttributeIsTrueOnlyForTrueItself) {
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(R"(<tag a="true" b="false" c="TRUE" d="" e="1"/>)"));
  const auto tag = document.child("tag");
  EXPECT_EQ(boolean(tag, "a"), true);
  for (const char* name : {"b", "c", "d", "e"}) EXPECT_EQ(boolean(tag, name), false) << name;
  EXPECT_EQ(boolean(tag, "missing"), std::nullopt);
}

}  // namespace
}  // namespace orvelin
