#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/storage/read_only_storage.h"
#include "orvelin/storage/read_write_storage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "common/recording_runner.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/exiftool/exiftool_cli.h"

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
  storage.setFinderTags(std::vector<std::string>{});  // an empty list replaces the flushed one
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

class MetadataETReaderTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { TagsResources::shared().reload(); }

  // `storage` filled by an editor's reader from `output`.
  static ReadWriteStorage fill(const std::string& output,
                               ReadWriteStorage storage = ReadWriteStorage("/a/b.jpg")) {
    MetadataETReader reader;
    reader.setupDefaultForEditorReading();
    reader.fillStorage(storage, output);
    return storage;
  }
};

std::vector<std::string> rawValues(const std::set<TagStream>& streams) {
  std::vector<std::string> names;
  for (const auto& stream : streams) names.push_back(stream.rawValue());
  return names;
}

// exiftool's output (canned here) that is not an array of objects fails the read.
TEST_F(MetadataETReaderTest, OutputsThatAreNoArrayOfObjects) {
  const std::pair<const char*, ETMetadataReaderError::Code> cases[] = {
      {"", ETMetadataReaderError::Code::readerOutputIsEmpty},
      {R"({"a":1})", ETMetadataReaderError::Code::dataDecodingFailed},
      {"not json", ETMetadataReaderError::Code::dataDecodingFailed},
      {"[1]", ETMetadataReaderError::Code::dataDecodingFailed},
  };
  for (const auto& [output, code] : cases) {
    testing::RecordingRunner runner(ProcessResult{true, 0, output, "canned error"});
    try {
      MetadataETReader().readReadWriteStorage("/a/b.jpg");
      ADD_FAILURE() << "no error for '" << output << "'";
    } catch (const ETMetadataReaderError& error) {
      EXPECT_EQ(error.code(), code) << "'" << output << "'";
    }
  }
  EXPECT_STREQ(ETMetadataReaderError(ETMetadataReaderError::Code::readerOutputIsEmpty).what(),
               "Reader output is empty");
  EXPECT_TRUE(fill("[]").g0OriginalStreams().empty());
}

TEST_F(MetadataETReaderTest, TheCommandOfAFreshAndOfAnEditorsReader) {
  testing::RecordingRunner runner(ProcessResult{true, 0, "[]", ""});
  MetadataETReader reader;
  reader.readReadOnlyStorage("/a/b.jpg");
  reader.setupDefaultForEditorReading();
  reader.language = Language::german;
  reader.readReadOnlyStorage("/a/b.jpg");
  const auto exiftool = ExifToolCLI::exiftoolExecutableURL().string();
  EXPECT_THAT(runner.commands(),
              ElementsAre(ElementsAre(exiftool, "-charset", "filename=UTF8", "-e", "-g0:1", "-m", "-j", "/a/b.jpg"),
                          ElementsAre(exiftool, "-charset", "filename=UTF8", "-lang", "de", "-s", "-n", "-e", "-g0:1",
                                      "-m", "-j", "/a/b.jpg")));
}

TEST_F(MetadataETReaderTest, GroupsStreamsAndFilters) {
  const auto storage = fill(R"json([{
    "SourceFile": "/a/b.jpg", "ExifTool:ExifTool": {"ExifToolVersion": 12.57},
    "EXIF:IFD0": {"Make": "Canon", "NoSuchTag": ["x", 2.0], "ISO": "many"},
    "MakerNotes:Canon": {"FirmwareVersion": "Firmware 1.1.1", "ISO": 3, "FNumber": 5.6,
                         "CanonImageType": "(Binary data 5 bytes, use -b option to extract)"},
    "IPTC": {"Keywords": ["a", "b"]}, "EXIF:ExifIFD": {"ISO": 400, "FNumber": 14.0},
    "EXIF:SubIFD": {"CacheVersion": [2, 3, 0, 0]}, "XMP:XMP-exif": {"FNumber": 4},
    "XMP:XMP-dc": {"Creator": ["Ann", "Bob"]}, "PrintIM": {"PrintIMVersion": "0100"},
    "ASF": {"Duration": 12.5}, "GPX:Unlisted": {"TrkName": "TESTTRK"}, "Empty:Group": {}
  }])json");
  EXPECT_THAT(rawValues(storage.g0OriginalStreams()),
              ElementsAre("ASF", "EXIF", "Empty", "GPX", "IPTC", "MakerNotes", "PrintIM", "SourceFile", "XMP"));
  EXPECT_THAT(rawValues(storage.g1OriginalStreams()),
              ElementsAre("ASF", "Canon", "ExifIFD", "Group", "IFD0", "IPTC", "PrintIM", "SourceFile", "SubIFD",
                          "Unlisted", "XMP-dc", "XMP-exif"));
  // A tag the catalogue lacks (or exiftool lists without a type) is kept as printed; a value its
  // converter cannot read is not. EXIF and maker keys stay apart; a family 0 group other than the
  // maker notes files its tags under its own name. Nothing under MakerNotes or XMP-exif, no banned value.
  EXPECT_EQ(storage.originalValuesDict(), (ReadWriteStorage::Values{
      {TagName("EXIF", "Make"), "Canon"}, {TagName("EXIF", "NoSuchTag"), "x,2.0"},
      {TagName("GPX", "TrkName"), "TESTTRK"}, {TagName::iptcKeywords, "a,b"},
      {TagName("EXIF", "CacheVersion"), "2 3 0 0"},  // a fixed count of 4
      {TagName("PrintIM", "PrintIMVersion"), "0100"}, {TagName("ASF", "Duration"), "12.5"},
      {TagName("EXIF", "ISO"), "400"}, {TagName("Canon", "ISO"), "3"},
      {TagName("EXIF", "FNumber"), "14.00000000"}, {TagName("Canon", "FNumber"), "5.60000000"},
      {TagName("Canon", "FirmwareVersion"), "Firmware 1.1.1"}, {TagName("XMP", "FNumber"), "4.00000000"},
      {TagName("XMP", "Creator"), "Ann,Bob"}}));
}

TEST_F(MetadataETReaderTest, BannedStreamsAndValuesCanChange) {
  MetadataETReader reader;
  reader.bannedStreams = {"IFD0", "", "Nothing"};  // an empty entry matches nothing
  reader.bannedValues = {"Can", ""};
  ReadWriteStorage storage("/a/b.jpg");
  reader.fillStorage(storage, R"([{"EXIF:IFD0": {"Make": "Nikon"}, "EXIF:ExifIFD": {"ISO": 100, "Artist": ""},
                                   "IPTC": {"City": "Cannes", "Country": "France"}, "ExifTool:ExifTool": {}}])");
  EXPECT_THAT(rawValues(storage.g1OriginalStreams()), ElementsAre("ExifIFD", "ExifTool", "IPTC"));
  EXPECT_EQ(storage.originalValuesDict(), (ReadWriteStorage::Values{
      {TagName("EXIF", "ISO"), "100"}, {TagName("EXIF", "Artist"), ""}, {TagName("IPTC", "Country"), "France"}}));
  reader.setupDefaultBannedValues();
  EXPECT_THAT(reader.bannedStreams, ElementsAre("ExifTool"));
  EXPECT_THAT(reader.bannedValues, ElementsAre("-b option to extract"));
}

TEST_F(MetadataETReaderTest, OnlyTheIDFGroupsKeepAValueAlreadyStored) {
  // exiftool's own group names, and anything else, replace the stored value.
  for (const auto& [group, kept] : std::vector<std::pair<std::string, bool>>{
           {"EXIF:IDF1", true}, {"EXIF:IDF2", true}, {"EXIF:IDF3", true},
           {"EXIF:IFD1", false}, {"EXIF:IFD0", false}, {"EXIF:idf1", false}}) {
    const auto storage = fill(R"([{")" + group + R"(": {"Make": "Read", "Model": "New"}}])", fileWithMake());
    EXPECT_EQ(storage.originalValue(TagName("EXIF", "Model")), "New") << group;  // nothing to keep
    EXPECT_EQ(storage.originalValue(kMake), kept ? "Canon" : "Read") << group;
  }
}

}  // namespace
}  // namespace orvelin
