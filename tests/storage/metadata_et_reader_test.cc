#include "orvelin/storage/metadata_et_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "common/recording_runner.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/exiftool/exiftool_cli.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

// Answers every command with `output` instead of running exiftool.
ProcessResult canned(std::string output) { return {true, 0, std::move(output), "canned error"}; }

// Records every call of a reader, in order.
class RecordingStorage : public GenericStorage {
 public:
  const std::filesystem::path& sourceFileURL() const override { return url_; }
  bool hasValue(const TagName& name) const override { return values.contains(name); }
  void readFinderTags() override {}
  void store(const TagStream& g0, const TagStream& g1) override { streams.emplace_back(g0.rawValue(), g1.rawValue()); }
  void store(const std::string& value, const TagName& name) override { values[name] = value; }

  std::vector<std::pair<std::string, std::string>> streams;
  std::map<TagName, std::string> values;

 private:
  std::filesystem::path url_ = "/a/b.jpg";
};

class MetadataETReaderTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { TagsResources::shared().reload(); }

  static RecordingStorage fill(const std::string& output) {
    MetadataETReader reader;
    reader.setupDefaultForEditorReading();
    RecordingStorage storage;
    reader.fillStorage(storage, output);
    return storage;
  }
};

// exiftool's output (canned here) that is not an array of objects fails the read.
TEST_F(MetadataETReaderTest, OutputsThatAreNoArrayOfObjects) {
  const std::pair<const char*, ETMetadataReaderError::Code> cases[] = {
      {"", ETMetadataReaderError::Code::readerOutputIsEmpty},
      {R"({"a":1})", ETMetadataReaderError::Code::dataDecodingFailed},
      {"not json", ETMetadataReaderError::Code::dataDecodingFailed},
      {"[1]", ETMetadataReaderError::Code::dataDecodingFailed},
  };
  for (const auto& [output, code] : cases) {
    testing::RecordingRunner runner(canned(output));
    try {
      MetadataETReader().readReadWriteStorage("/a/b.jpg");
      ADD_FAILURE() << "no error for '" << output << "'";
    } catch (const ETMetadataReaderError& error) {
      EXPECT_EQ(error.code(), code) << "'" << output << "'";
    }
  }
  EXPECT_STREQ(ETMetadataReaderError(ETMetadataReaderError::Code::readerOutputIsEmpty).what(),
               "Reader output is empty");
  EXPECT_TRUE(fill("[]").streams.empty());
}

TEST_F(MetadataETReaderTest, TheCommandOfAFreshAndOfAnEditorsReader) {
  testing::RecordingRunner runner(canned("[]"));
  MetadataETReader reader;
  reader.readReadOnlyStorage("/a/b.jpg");
  EXPECT_THAT(runner.onlyCommand(), ElementsAre(ExifToolCLI::exiftoolExecutableURL().string(), "-charset",
                                                "filename=UTF8", "-e", "-g0:1", "-m", "-j", "/a/b.jpg"));
  reader.setupDefaultForEditorReading();
  reader.language = Language::german;
  reader.readReadOnlyStorage("/a/b.jpg");
  EXPECT_THAT(runner.commands().back(),
              ElementsAre(ExifToolCLI::exiftoolExecutableURL().string(), "-charset", "filename=UTF8", "-lang", "de",
                          "-s", "-n", "-e", "-g0:1", "-m", "-j", "/a/b.jpg"));
}

TEST_F(MetadataETReaderTest, GroupsStreamsAndFilters) {
  const auto storage = fill(R"json([{
    "SourceFile": "/a/b.jpg",
    "ExifTool:ExifTool": {"ExifToolVersion": 12.57},
    "EXIF:IFD0": {"Make": "Canon", "NoSuchTag": ["x", 2.0], "ISO": "many"},
    "MakerNotes:Canon": {"FirmwareVersion": "Firmware 1.1.1", "ISO": 3, "FNumber": 5.6,
                         "CanonImageType": "(Binary data 5 bytes, use -b option to extract)"},
    "IPTC": {"Keywords": ["a", "b"]},
    "EXIF:ExifIFD": {"ISO": 400, "FNumber": 14.0},
    "EXIF:SubIFD": {"CacheVersion": [2, 3, 0, 0]},
    "XMP:XMP-exif": {"FNumber": 4},
    "XMP:XMP-dc": {"Creator": ["Ann", "Bob"]},
    "PrintIM": {"PrintIMVersion": "0100"},
    "ASF": {"Duration": 12.5},
    "GPX:Unlisted": {"TrkName": "TESTTRK"},
    "Empty:Group": {}
  }])json");
  EXPECT_THAT(storage.streams,
              UnorderedElementsAre(Pair("SourceFile", "SourceFile"), Pair("EXIF", "IFD0"), Pair("MakerNotes", "Canon"),
                                   Pair("IPTC", "IPTC"), Pair("EXIF", "ExifIFD"), Pair("EXIF", "SubIFD"),
                                   Pair("XMP", "XMP-exif"), Pair("XMP", "XMP-dc"), Pair("PrintIM", "PrintIM"),
                                   Pair("ASF", "ASF"), Pair("GPX", "Unlisted"), Pair("Empty", "Group")));
  // A tag the catalogue lacks is kept as printed (so are tags exiftool lists without a type); a
  // value its converter cannot read is not. The same key under EXIF and under a maker stream
  // stays apart; a family 0 group other than the maker notes files its tags under its own name,
  // whatever its family 1 group. Nothing under MakerNotes or XMP-exif, no banned value.
  EXPECT_EQ(storage.values, (std::map<TagName, std::string>{
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
  RecordingStorage storage;
  reader.fillStorage(storage, R"([{"EXIF:IFD0": {"Make": "Nikon"}, "EXIF:ExifIFD": {"ISO": 100, "Artist": ""},
                                   "IPTC": {"City": "Cannes", "Country": "France"}, "ExifTool:ExifTool": {}}])");
  EXPECT_THAT(storage.streams,
              UnorderedElementsAre(Pair("EXIF", "ExifIFD"), Pair("IPTC", "IPTC"), Pair("ExifTool", "ExifTool")));
  EXPECT_FALSE(storage.values.contains(TagName("IPTC", "City")));
  EXPECT_EQ(storage.values.at(TagName("EXIF", "Artist")), "");
  EXPECT_EQ(storage.values.at(TagName("IPTC", "Country")), "France");
  reader.setupDefaultBannedValues();
  EXPECT_THAT(reader.bannedStreams, ElementsAre("ExifTool"));
  EXPECT_THAT(reader.bannedValues, ElementsAre("-b option to extract"));
}

TEST_F(MetadataETReaderTest, OnlyTheIDFGroupsKeepAValueAlreadyStored) {
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  // exiftool's own group names, and anything else, replace the stored value.
  for (const auto& [group, kept] : std::vector<std::pair<std::string, bool>>{
           {"EXIF:IDF1", true}, {"EXIF:IDF2", true}, {"EXIF:IDF3", true},
           {"EXIF:IFD1", false}, {"EXIF:IFD0", false}, {"EXIF:idf1", false}}) {
    RecordingStorage storage;
    storage.values[TagName("EXIF", "Make")] = "Stored";
    reader.fillStorage(storage, R"([{")" + group + R"(": {"Make": "Read", "Model": "New"}}])");
    EXPECT_EQ(storage.values.at(TagName("EXIF", "Model")), "New") << group;  // nothing to keep
    EXPECT_EQ(storage.values.at(TagName("EXIF", "Make")), kept ? "Stored" : "Read") << group;
  }
}

}  // namespace
}  // namespace orvelin
