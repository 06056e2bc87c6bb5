#include "orvelin/support/string_extensions.h"

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

}  // namespace
}  // namespace orvelin
