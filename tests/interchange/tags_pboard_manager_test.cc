#include "orvelin/interchange/tags_pboard_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/editors.h"
#include "common/test_support.h"
#include "orvelin/support/pasteboard.h"

namespace orvelin {
namespace {

using testing::tag;
using Pairs = std::vector<std::pair<TagName, std::string>>;

class TagsPBoardManagerTest : public ::testing::Test {
 protected:
  TagsPBoardManagerTest() { ORVSetPasteboard(&pasteboard_); }
  ~TagsPBoardManagerTest() override { ORVSetPasteboard(nullptr); }

  std::optional<std::string> text() { return pasteboard_.readString(); }
  void paste(const std::string& text) { pasteboard_.writeString(text); }

  TagsPBoardManager& manager = TagsPBoardManager::shared();

 private:
  LocalPasteboard pasteboard_;
};

TEST_F(TagsPBoardManagerTest, MultipleValuesRoundTripAndTheGreedyParseKeepsTheKnownLines) {
  const Pairs values{{tag("EXIF:Make"), "Canon"}, {tag("EXIF:Model"), "EOS"}};
  manager.writeMultipleValues(values);
  EXPECT_EQ(text(), "EXIF:Make: \"Canon\"\nEXIF:Model: \"EOS\"\n");
  EXPECT_EQ(manager.readMultipleValues(), values);

  const struct {
    const char* text;
    Pairs values;
  } cases[] = {
      {"EXIF:Nothing: \"x\"\n  EXIF:Make:  \"Canon\"  \nno line", {{tag("EXIF:Make"), "Canon"}}},
      // The last quote of the line ends the value.
      {"EXIF:Make: \"a\"b\"", {{tag("EXIF:Make"), "a\"b"}}},
      {"EXIF:Nothing: \"x\"", {}},
      {"EXIF:ISO: \"many\"\nEXIF:ISO: \"100\"", {{tag("EXIF:ISO"), "100"}}},  // a value of the tag's type
  };
  for (const auto& c : cases) {
    paste(c.text);
    EXPECT_EQ(manager.readMultipleValues(), c.values) << c.text;
    EXPECT_EQ(manager.hasMultipleValues(), !c.values.empty()) << c.text;
  }
}

TEST_F(TagsPBoardManagerTest, SingleValuesAndPositions) {
  manager.writeSingleRawValue("Yes");
  EXPECT_EQ(manager.readSingleRawValue(TagType::boolean), "true");
  EXPECT_FALSE(manager.hasSingleValue(TagType::int16u));
  manager.writeGPSCoordinate(Coordinate(48.8566, -2.3522));
  EXPECT_EQ(text(), "N 48° 51' 23.8\"; W 02° 21' 7.9\"");
  const auto read = manager.readGPSCoordinate();
  ASSERT_TRUE(read);
  EXPECT_NEAR(read->latitude.value, 48.8566, 0.1 / 3600);
  EXPECT_NEAR(read->longitude.value, -2.3522, 0.1 / 3600);
  paste("somewhere");
  EXPECT_EQ(manager.readGPSCoordinate(), std::nullopt);
}

TEST_F(TagsPBoardManagerTest, CopyTagsKeepsAgreedValuesWhereCopyStreamKeepsPresentOnes) {
  const std::vector<std::shared_ptr<MetadataEditor>> editors{
      testing::editorOf({{"EXIF:Make", "Canon"}, {"EXIF:Model", "EOS"}, {"EXIF:Artist", "A"}}),
      testing::editorOf({{"EXIF:Make", "Nikon"}, {"EXIF:Model", "EOS"}, {"EXIF:Artist", "A"}})};
  copyTags(editors, {tag("EXIF:Make"), tag("EXIF:Model"), tag("EXIF:Copyright")});
  EXPECT_EQ(text(), "EXIF:Model: \"EOS\"\nEXIF:Copyright: \"\"\n");
  copyStream(editors, TagStream("EXIF"));
  EXPECT_EQ(manager.readMultipleValues(), (Pairs{{tag("EXIF:Model"), "EOS"}, {tag("EXIF:Artist"), "A"}}));
  copyStream(editors, TagStream("NoSuchStream"));
  EXPECT_EQ(manager.readMultipleValues(), (Pairs{{tag("EXIF:Model"), "EOS"}, {tag("EXIF:Artist"), "A"}}));

  copyEXIFGPSCoordinate(editors);  // they have no position: nothing is written
  EXPECT_EQ(manager.readMultipleValues().size(), 2u);
  paste("48.8566, 2.3522");
  pasteEXIFGPSCoordinate(editors);
  EXPECT_EQ(exifGPSLongitude(editors), 2.3522);
  copyEXIFGPSCoordinate(editors);
  EXPECT_EQ(text(), "N 48° 51' 23.8\"; E 02° 21' 7.9\"");
}

TEST_F(TagsPBoardManagerTest, PasteTagsErasesThePastedStreamsOnlyWhenAsked) {
  const auto fresh = [] {
    return std::vector<std::shared_ptr<MetadataEditor>>{
        testing::editorOf({{"EXIF:Make", "Canon"}, {"EXIF:Artist", "A"}, {"IPTC:City", "Paris"}})};
  };
  paste("EXIF:Make: \"Nikon\"\n");
  for (const bool eraseOther : {false, true}) {
    const auto editors = fresh();
    pasteTags(editors, eraseOther);
    EXPECT_EQ(editors[0]->currentValue(tag("EXIF:Make")), "Nikon");
    EXPECT_EQ(editors[0]->currentValue(tag("EXIF:Artist")), eraseOther ? "" : "A");
    EXPECT_FALSE(editors[0]->isValueEdited(tag("IPTC:City")));
  }
  // A pasted value equal to the original withdraws the edit.
  const auto editors = fresh();
  editors[0]->setValue("Sony", tag("EXIF:Make"));
  paste("EXIF:Make: \"Canon\"\n");
  pasteTags(editors, false);
  EXPECT_FALSE(editors[0]->isEdited());
}

TEST(CommandPasteboard, WritesThroughOneToolAndReadsThroughTheOther) {
  testing::ScratchFolder folder;
  const auto clipboard = (folder.path() / "clipboard").string();
  CommandPasteboard pasteboard("/bin/cat", {clipboard}, "/bin/sh", {"-c", "cat > '" + clipboard + "'"});
  const std::string text = "EXIF:Make: \"Canon\"\n" + std::string(200000, 'x');
  ASSERT_TRUE(pasteboard.writeString(text));
  EXPECT_EQ(pasteboard.readString(), text);
  CommandPasteboard missing("/no/such/tool", {}, "/no/such/tool", {});
  EXPECT_FALSE(missing.writeString("x"));
  EXPECT_EQ(missing.readString(), std::nullopt);
}

}  // namespace
}  // namespace orvelin
