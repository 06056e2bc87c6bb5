#include "orvelin/tags/tag_name.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>
#include <unordered_set>

namespace orvelin {
namespace {

TEST(TagNameText, ParsesAtTheFirstColonAndTrims) {
  struct Case {
    const char* text;
    const char* stream;
    const char* key;
  };
  const Case cases[] = {
      {"EXIF:Make", "EXIF", "Make"},   {"XMP:dc:title", "XMP", "dc:title"}, {" EXIF : Make ", "EXIF", "Make"},
      {"\tIPTC\t:Keywords", "IPTC", "Keywords"}, {":Make", "", "Make"}, {"EXIF:", "EXIF", ""},
      {"EXIF\n:Make", "EXIF\n", "Make"},
  };
  for (const auto& c : cases) {
    auto name = TagName::fromRawValue(c.text);
    ASSERT_TRUE(name) << c.text;
    EXPECT_EQ(name->stream().rawValue(), c.stream) << c.text;
    EXPECT_EQ(name->key().rawValue(), c.key) << c.text;
  }
  EXPECT_FALSE(TagName::fromRawValue("Make"));
  EXPECT_FALSE(TagName::fromRawValue(""));
  EXPECT_EQ(TagName::fromRawValue("XMP:dc:title")->rawValue(), "XMP:dc:title");
  EXPECT_EQ(TagName::fromRawValue(" EXIF : Make ")->rawValue(), "EXIF:Make");
}

TEST(TagNameText, PrintsStreamColonKey) {
  const TagName name(TagStream::icc, TagKey("ProfileVersion"));
  EXPECT_EQ(name.rawValue(), "ICC_Profile:ProfileVersion");
  EXPECT_EQ(name.stream().displayName(), "ICC");
  std::ostringstream out;
  out << name << ' ' << TagStream::xmp << ' ' << TagKey::make;
  EXPECT_EQ(out.str(), "ICC_Profile:ProfileVersion XMP Make");
}

// Names go into JSON as "STREAM:KEY" texts (the presets' tests read and write them); a stream
// is its bare text, and a text without ":" is no name.
TEST(TagNameText, JSONIsOneBareString) {
  EXPECT_EQ(nlohmann::json(TagStream::exif).dump(), "\"EXIF\"");
  try {
    (void)nlohmann::json::parse("\"Make\"").get<TagName>();
    ADD_FAILURE() << "a name without \":\" decoded";
  } catch (const TagName::ParsingError& error) {
    EXPECT_EQ(error.code(), TagName::ParsingError::Code::notParsableRawValue);
  }
}

TEST(TagNameOrder, StreamFirstThenKey) {
  const TagName ab("a", "b"), ac("a", "c"), ba("b", "a");
  EXPECT_FALSE(ab < ab);
  std::vector<TagName> names{ba, ac, ab, TagName("A", "z")};
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<TagName>{TagName("A", "z"), ab, ac, ba}));
}

TEST(TagNameEquality, CanonicalEquivalentTextsAreTheSameName) {
  // "é" precomposed and as "e" + combining acute accent.
  const TagName composed("XMP", "Caf\xC3\xA9");
  const TagName decomposed("XMP", "Cafe\xCC\x81");
  EXPECT_EQ(composed, decomposed);
  EXPECT_FALSE(composed < decomposed);
  EXPECT_FALSE(decomposed < composed);
  EXPECT_EQ(std::hash<TagName>{}(composed), std::hash<TagName>{}(decomposed));
  EXPECT_EQ(decomposed.key().rawValue(), "Cafe\xCC\x81");  // the raw text stays as given
  std::unordered_set<TagName> set{composed};
  EXPECT_TRUE(set.contains(decomposed));
  EXPECT_NE(TagName("EXIF", "Make"), TagName("exif", "Make"));
  // The split point matters: "ab:c" and "a:bc" are different names.
  EXPECT_NE(TagName("ab", "c"), TagName("a", "bc"));
}

TEST(TagsFamily, GroupZeroAndMakerStreams) {
  EXPECT_FALSE(TagsFamily::isStreamInG0Family(TagStream("GoPro")));
  for (const char* stream : {"EXIF", "exif", "CanonVRD", "PanasonicRaw", "SigmaRaw", "ICC_Profile", "MakerNotes"})
    EXPECT_TRUE(TagsFamily::isStreamInG0Family(TagStream(stream))) << stream;
  for (const char* stream : {"Canon", "Nikon", "Sony", "Apple", "Panasonic", "GoPro", "IDF1"})
    EXPECT_FALSE(TagsFamily::isStreamInG0Family(TagStream(stream))) << stream;
  EXPECT_EQ(TagsFamily::fixMakerNotes(TagName("Canon", "Thing")), TagName("MakerNotes", "Thing"));
  EXPECT_EQ(TagsFamily::fixMakerNotes(TagName("GoPro", "Thing")), TagName("MakerNotes", "Thing"));
  EXPECT_EQ(TagsFamily::fixMakerNotes(TagName("EXIF", "Thing")), TagName("EXIF", "Thing"));
  EXPECT_EQ(TagsFamily::fixMakerNotes(TagName("exif", "Thing")).stream().rawValue(), "exif");
  EXPECT_TRUE(TagsFamily::isNameInG0Family(TagName::iptcKeywords));

  // The whole text is lower-cased, not its ASCII letters alone: the Kelvin sign (U+212A)
  // lower-cases to "k", so this spelling names the group-0 stream "makernotes".
  const TagStream kelvin("MA\u212AERNOTES");
  EXPECT_TRUE(TagsFamily::isStreamInG0Family(kelvin));
  EXPECT_EQ(TagsFamily::fixMakerNotes(TagName(kelvin, TagKey("Thing"))).stream().rawValue(), "MA\u212AERNOTES");
  EXPECT_FALSE(TagsFamily::isStreamInG0Family(TagStream("\u00C9XIF")));  // "éxif" is not "exif"
}

}  // namespace
}  // namespace orvelin
