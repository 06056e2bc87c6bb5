#include "orvelin/storage/read_only_storage.h"
#include "orvelin/storage/read_write_storage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvelin/catalogue/tags_resources.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

const TagName kMake("EXIF", "Make");
const TagName kArtist("EXIF", "Artist");

TEST(ReadOnlyStorage, KeepsTheReadersOrderAndTheFirstValue) {
  ReadOnlyStorage storage("/a/b.jpg");
  storage.store(TagStream::exif, TagStream("IFD0"));
  storage.store(TagStream::exif, TagStream("ExifIFD"));  // a known family 0 stream adds nothing
  storage.store(TagStream::file, TagStream("System"));
  storage.store("Canon", kMake);
  storage.store("Nikon", kMake);
  storage.store("", kArtist);
  storage.store("lost", TagName::iptcKeywords);  // never registered

  EXPECT_THAT(storage.streams(), ElementsAre(TagStream::exif, TagStream::file));
  EXPECT_THAT(storage.keys(TagStream::exif), ElementsAre(TagKey::make, TagKey::artist));
  EXPECT_EQ(storage.value(TagKey::make, TagStream::exif), "Canon");
  EXPECT_TRUE(storage.hasValue(kArtist));  // an empty text is a value
  EXPECT_FALSE(storage.hasValue(TagName::iptcKeywords));
  EXPECT_FALSE(storage.containsStream(TagStream::iptc));
  EXPECT_TRUE(storage.containsStream(TagStream::file));
  EXPECT_EQ(storage.valuesCount(TagStream::file), 0u);
  EXPECT_EQ(storage.valuesCount(TagStream::iptc), 0u);
  EXPECT_EQ(storage.key(1, TagStream::exif), TagKey::artist);
  EXPECT_EQ(storage.value(0, TagStream::exif), "Canon");
  EXPECT_EQ(storage.key(7, TagStream::iptc), std::nullopt);
  EXPECT_THAT(storage.generateValuesArray(), ElementsAre(Pair(kMake, "Canon"), Pair(kArtist, "")));
  EXPECT_EQ(storage.generateValuesDict().size(), 2u);
}

ReadWriteStorage fileWithMake() {
  ReadWriteStorage storage("/photos/a.JPG");
  storage.store(TagStream::exif, TagStream("IFD0"));
  storage.store("Canon", kMake);
  return storage;
}

// setValue() calls one after the other on EXIF:Make of a storage, and what is then pending.
struct SetValueCase {
  const char* name;
  const char* url;
  std::optional<std::string> original;
  std::vector<std::optional<std::string>> values;
  std::optional<std::string> written;
};

TEST(ReadWriteStorageOverlay, SetValueFollowsTheTable) {
  const SetValueCase cases[] = {
      {"a new value", "/photos/a.jpg", "Canon", {"Nikon"}, "Nikon"},
      {"back to the original: no edit", "/photos/a.jpg", "Canon", {"Nikon", "Canon"}, std::nullopt},
      {"the current value: nothing", "/photos/a.jpg", "Canon", {"Canon"}, std::nullopt},
      {"a clear of a tag the file has", "/photos/a.jpg", "Canon", {"", ""}, ""},
      {"a restore", "/photos/a.jpg", "Canon", {"", std::nullopt}, std::nullopt},
      {"a clear of a tag the file lacks: nothing to do", "/photos/a.jpg", std::nullopt, {""}, std::nullopt},
      {"a value the file lacks", "/photos/a.jpg", std::nullopt, {"Me"}, "Me"},
      {"a restore of a value the file lacks", "/photos/a.jpg", std::nullopt, {"Me", std::nullopt}, std::nullopt},
      {"a folder keeps a clear of a tag it lacks", "/photos/holiday", std::nullopt, {""}, ""},
      {"a file without extension is a folder", "/photos/README", std::nullopt, {""}, ""},
  };
  for (const auto& [name, url, original, values, written] : cases) {
    ReadWriteStorage storage(url);
    if (original) storage.store(*original, kMake);
    for (const auto& value : values) storage.setValue(value, kMake);
    EXPECT_EQ(storage.writtenValue(kMake), written) << name;
    EXPECT_EQ(storage.currentValue(kMake), written ? written : original) << name;
    EXPECT_EQ(storage.hasWrittenValues(), written.has_value()) << name;
    EXPECT_EQ(storage.hasValue(kMake), original.has_value()) << name << ": the original values only";
  }
  EXPECT_EQ(fileWithMake().fileType(), "jpg");
  EXPECT_EQ(ReadWriteStorage("/photos/holiday").fileType(), "");
}

// The names sorted and merged; a flush then folds the edits into the original values.
TEST(ReadWriteStorageOverlay, NamesMergeAndAFlushFoldsTheEdits) {
  const TagName createDate("EXIF", "CreateDate");
  const TagName model("EXIF", "Model");
  auto storage = fileWithMake();
  storage.store("2020:01:01 00:00:00", createDate);
  storage.setValue("Me", kArtist);
  storage.setValue("", kMake);
  storage.forceTagName(model);
  EXPECT_THAT(storage.originalValuesTagNames(), ElementsAre(createDate, kMake));
  EXPECT_THAT(storage.writtenValuesTagNames(), ElementsAre(kArtist, kMake, model));
  EXPECT_THAT(storage.currentValuesTagNames(), ElementsAre(kArtist, createDate, kMake, model));
  EXPECT_THAT(storage.g0OriginalStreams(), ElementsAre(TagStream::exif));
  EXPECT_THAT(storage.g1OriginalStreams(), ElementsAre(TagStream("IFD0")));
  EXPECT_FALSE(storage.hasValue(model));

  storage.flushNewToOriginalValues();
  EXPECT_FALSE(storage.hasWrittenValues());
  EXPECT_EQ(storage.originalValue(kMake), "");  // a cleared tag keeps an empty original
  EXPECT_THAT(storage.originalValuesTagNames(), ElementsAre(kArtist, createDate, kMake, model));
  EXPECT_TRUE(storage.hasValue(kArtist));
  storage.store(std::string("x"), model);  // last writer wins for readers
  storage.store(std::string("y"), model);
  EXPECT_EQ(storage.originalValue(model), "y");
}

TEST(ReadWriteStorageFinderTags, PendingFlushedAndUnreadable) {
  ReadWriteStorage storage("/a/b.jpg");
  EXPECT_TRUE(storage.canEditFinderTags());
  storage.setFinderTags(std::vector<std::string>{"Red", "Trip"});
  EXPECT_THAT(storage.currentFinderTags(), ElementsAre("Red", "Trip"));
  EXPECT_TRUE(storage.originalFinderTags().empty());
  EXPECT_FALSE(storage.hasWrittenValues());  // tags do not count
  storage.flushNewToOriginalValues();
  EXPECT_THAT(storage.originalFinderTags(), ElementsAre("Red", "Trip"));
  EXPECT_FALSE(storage.writtenFinderTags());
  storage.setFinderTags(std::vector<std::string>{});
  storage.flushNewToOriginalValues();
  EXPECT_TRUE(storage.originalFinderTags().empty());

  ReadWriteStorage missing("/nonexistent/missing.jpg");
  EXPECT_THROW(missing.readFinderTags(), std::filesystem::filesystem_error);
  EXPECT_TRUE(missing.originalFinderTags().empty());
}

TEST(ReadWriteStorageExport, GroupsConvertsAndDeletes) {
  TagsResources::shared().reload();
  auto storage = fileWithMake();
  storage.store("1", TagName("Canon", "FirmwareVersion"));
  storage.store("5", TagName::exifPreviewImageLength);
  storage.store("8", TagName("EXIF", "FNumber"));
  storage.setValue("", kMake);  // a text tag is emptied, not deleted
  storage.setValue("", TagName("EXIF", "FNumber"));  // a number is deleted
  storage.setValue("Me", kArtist);
  storage.setValue("1.2", TagName("Canon", "FirmwareVersion"));
  storage.setValue("400", TagName("EXIF", "ISO"));
  // Only an emptied thumbnail tag is sent as "-" without the catalogue; one with a value is
  // looked up and converted like any other tag.
  storage.setValue("", TagName::exifPreviewImageLength);
  storage.setValue("1234", TagName::exifThumbnailLength);
  storage.setValue("base64:/9j/4AAQ", TagName::exifThumbnailImage);  // of no supported type: read-only
  storage.setValue("y", TagName("EXIF", "NoSuchTag"));
  storage.setValue("z", TagName("NoSuchStream", "Make"));
  // Family 0 streams keep their group name; the others are maker notes.
  storage.setValue("Cannes", TagName("IPTC", "City"));
  storage.setValue("Ann,Bob", TagName("XMP", "Creator"));
  storage.setValue("Bob", TagName("Photoshop", "URL"));
  EXPECT_EQ(storage.buildETValues(), nlohmann::json::parse(R"({
    "SourceFile": "*", "EXIF:Make": "", "EXIF:FNumber": "-", "EXIF:Artist": "Me", "MakerNotes:FirmwareVersion": "1.2", "EXIF:ISO": 400,
    "EXIF:PreviewImageLength": "-", "EXIF:ThumbnailLength": 1234, "IPTC:City": "Cannes",
    "XMP:Creator": ["Ann", "Bob"], "Photoshop:URL": "Bob"})"));
}

}  // namespace
}  // namespace orvelin
