#include "orvelin/storage/read_write_storage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/support/files.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;

const TagName kMake("EXIF", "Make");
const TagName kArtist("EXIF", "Artist");

ReadWriteStorage fileWithMake() {
  ReadWriteStorage storage("/photos/a.JPG");
  storage.store(TagStream::exif, TagStream("IFD0"));
  storage.store("Canon", kMake);
  return storage;
}

TEST(ReadWriteStorageOverlay, SetValueFollowsTheTable) {
  auto storage = fileWithMake();
  EXPECT_FALSE(storage.isFolder());
  EXPECT_EQ(storage.fileType(), "jpg");

  storage.setValue("Nikon", kMake);
  EXPECT_EQ(storage.writtenValue(kMake), "Nikon");
  EXPECT_EQ(storage.currentValue(kMake), "Nikon");
  storage.setValue("Canon", kMake);  // back to the original: no edit
  EXPECT_FALSE(storage.hasWrittenValues());
  storage.setValue("Canon", kMake);  // current already: nothing
  EXPECT_FALSE(storage.hasWrittenValues());

  storage.setValue("", kMake);  // clear a tag the file has
  EXPECT_EQ(storage.writtenValue(kMake), "");
  EXPECT_EQ(storage.currentValue(kMake), "");
  storage.setValue("", kMake);  // twice is once
  EXPECT_EQ(storage.writtenValuesTagNames().size(), 1u);
  storage.setValue(std::nullopt, kMake);  // restore
  EXPECT_EQ(storage.currentValue(kMake), "Canon");
  EXPECT_FALSE(storage.hasWrittenValues());

  storage.setValue("", kArtist);  // clear a tag the file lacks: nothing to do on a file
  EXPECT_FALSE(storage.hasWrittenValues());
  storage.setValue("Me", kArtist);
  EXPECT_EQ(storage.currentValue(kArtist), "Me");
  storage.setValue(std::nullopt, kArtist);
  EXPECT_FALSE(storage.currentValue(kArtist));
  EXPECT_FALSE(storage.hasValue(kArtist));
}

TEST(ReadWriteStorageOverlay, FoldersKeepClearsOfTagsTheyLack) {
  ReadWriteStorage folder("/photos/holiday");
  EXPECT_TRUE(folder.isFolder());
  EXPECT_EQ(folder.fileType(), "");
  folder.setValue("", kArtist);
  EXPECT_EQ(folder.writtenValue(kArtist), "");
  ReadWriteStorage noExtension("/photos/README");
  EXPECT_TRUE(noExtension.isFolder());
}

TEST(ReadWriteStorageOverlay, NamesAreSortedAndMerged) {
  auto storage = fileWithMake();
  storage.store("2020:01:01 00:00:00", TagName("EXIF", "CreateDate"));
  storage.setValue("Me", kArtist);
  storage.setValue("Nikon", kMake);
  EXPECT_THAT(storage.originalValuesTagNames(), ElementsAre(TagName("EXIF", "CreateDate"), kMake));
  EXPECT_THAT(storage.writtenValuesTagNames(), ElementsAre(kArtist, kMake));
  EXPECT_THAT(storage.currentValuesTagNames(), ElementsAre(kArtist, TagName("EXIF", "CreateDate"), kMake));
  EXPECT_THAT(storage.g0OriginalStreams(), ElementsAre(TagStream::exif));
  EXPECT_THAT(storage.g1OriginalStreams(), ElementsAre(TagStream("IFD0")));
}

TEST(ReadWriteStorageOverlay, FlushFoldsEditsIntoTheOriginals) {
  auto storage = fileWithMake();
  storage.setValue("", kMake);
  storage.setValue("Me", kArtist);
  storage.flushNewToOriginalValues();
  EXPECT_FALSE(storage.hasWrittenValues());
  EXPECT_EQ(storage.originalValue(kMake), "");  // a cleared tag keeps an empty original
  EXPECT_THAT(storage.originalValuesTagNames(), ElementsAre(kArtist, kMake));
  EXPECT_TRUE(storage.hasValue(kMake));

  storage.store(std::string("x"), TagName("EXIF", "Model"));  // last writer wins for readers
  storage.store(std::string("y"), TagName("EXIF", "Model"));
  EXPECT_EQ(storage.originalValue(TagName("EXIF", "Model")), "y");
}

TEST(ReadWriteStorageOverlay, HasValueLooksAtTheOriginalValuesOnly) {
  auto storage = fileWithMake();
  storage.setValue("Me", kArtist);
  EXPECT_EQ(storage.currentValue(kArtist), "Me");
  EXPECT_FALSE(storage.hasValue(kArtist));  // pending only
  storage.setValue("", kMake);
  EXPECT_TRUE(storage.hasValue(kMake));  // a pending delete leaves the original in place
  storage.forceTagName(TagName("EXIF", "Model"));
  EXPECT_FALSE(storage.hasValue(TagName("EXIF", "Model")));
  storage.flushNewToOriginalValues();
  EXPECT_TRUE(storage.hasValue(kArtist));
}

TEST(ReadWriteStorageFinderTags, PendingAndFlushed) {
  ReadWriteStorage storage("/a/b.jpg");
  EXPECT_TRUE(storage.canEditFinderTags());
  storage.flushNewToOriginalValues();
  EXPECT_TRUE(storage.originalFinderTags().empty());
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
}

TEST(ReadWriteStorageFinderTags, ReadFromTheFileAttribute) {
  testing::ScratchFolder folder;
  const auto file = folder / "tagged.jpg";
  testing::writeFile(file, "x");
  std::error_code error;
  writeFinderTags(file, {"Blue", "Été"}, error);
  if (error) GTEST_SKIP() << "no user attributes on " << folder.path() << ": " << error.message();
  ReadWriteStorage storage(file);
  storage.readFinderTags();
  EXPECT_THAT(storage.originalFinderTags(), ElementsAre("Blue", "Été"));
  ReadWriteStorage missing(folder / "missing.jpg");
  EXPECT_THROW(missing.readFinderTags(), std::filesystem::filesystem_error);
  EXPECT_TRUE(missing.originalFinderTags().empty());
}

class ReadWriteStorageExport : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { TagsResources::shared().reload(); }
};

TEST_F(ReadWriteStorageExport, GroupsValuesAndDeletions) {
  auto storage = fileWithMake();
  storage.store("1", TagName("Canon", "FirmwareVersion"));
  storage.store("x", TagName::exifThumbnailImage);
  storage.setValue("", kMake);
  storage.setValue("Me", kArtist);
  storage.setValue("1.2", TagName("Canon", "FirmwareVersion"));
  storage.setValue("400", TagName("EXIF", "ISO"));
  storage.setValue("", TagName::exifThumbnailImage);
  storage.setValue("y", TagName("EXIF", "NoSuchTag"));
  storage.setValue("z", TagName("NoSuchStream", "Make"));
  const auto values = storage.buildETValues();
  EXPECT_EQ(values["SourceFile"], "*");
  EXPECT_EQ(values["EXIF:Make"], "");  // a text tag is emptied, not deleted
  EXPECT_EQ(values["EXIF:Artist"], "Me");
  EXPECT_EQ(values["MakerNotes:FirmwareVersion"], "1.2");
  EXPECT_EQ(values["EXIF:ISO"], 400);
  EXPECT_EQ(values["EXIF:ThumbnailImage"], "-");
  EXPECT_FALSE(values.contains("EXIF:NoSuchTag"));
  EXPECT_FALSE(values.contains("NoSuchStream:Make"));
  EXPECT_FALSE(values.contains("MakerNotes:Make"));
  EXPECT_EQ(values.size(), 6u);
}

TEST_F(ReadWriteStorageExport, FamilyZeroStreamsKeepTheirGroupName) {
  ReadWriteStorage storage("/photos/a.jpg");
  storage.setValue("Cannes", TagName("IPTC", "City"));
  storage.setValue("Ann,Bob", TagName("XMP", "Creator"));
  storage.setValue("Bob", TagName("Photoshop", "URL"));
  storage.setValue("5.6", TagName("Canon", "FNumber"));
  const auto values = storage.buildETValues();
  EXPECT_EQ(values.at("IPTC:City"), "Cannes");
  EXPECT_EQ(values.at("XMP:Creator"), nlohmann::json::array({"Ann", "Bob"}));
  EXPECT_EQ(values.at("Photoshop:URL"), "Bob");
  EXPECT_TRUE(values.contains("MakerNotes:FNumber"));
  EXPECT_FALSE(values.contains("MakerNotes:City"));
  EXPECT_FALSE(values.contains("MakerNotes:Creator"));
  EXPECT_EQ(values.size(), 5u);
}

// Only an emptied thumbnail tag is sent as "-" without the catalogue; one with a value is looked
// up and converted like any other tag.
TEST_F(ReadWriteStorageExport, AThumbnailTagWithAValueIsWrittenLikeAnyTag) {
  auto storage = fileWithMake();
  storage.setValue("1234", TagName::exifThumbnailLength);
  storage.setValue("base64:/9j/4AAQ", TagName::exifThumbnailImage);  // of no supported type: read-only
  storage.store("5", TagName::exifPreviewImageLength);
  storage.setValue("", TagName::exifPreviewImageLength);
  const auto values = storage.buildETValues();
  EXPECT_EQ(values.at("EXIF:ThumbnailLength"), 1234);  // converted to a number, not "-"
  EXPECT_FALSE(values.contains("EXIF:ThumbnailImage"));
  EXPECT_EQ(values.at("EXIF:PreviewImageLength"), "-");
  EXPECT_EQ(values.size(), 3u);
}

}  // namespace
}  // namespace orvelin
