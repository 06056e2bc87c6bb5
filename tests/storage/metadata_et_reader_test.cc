#include "orvelin/storage/metadata_et_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/process_runner.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

// Answers every command with fixed output instead of running exiftool.
class CannedRunner : public ProcessRunner {
 public:
  explicit CannedRunner(std::string output) : output_(std::move(output)) {}
  ProcessResult run(const ProcessRequest& request) override {
    arguments = request.arguments;
    return {true, 0, output_, "canned error"};
  }
  std::vector<std::string> arguments;

 private:
  std::string output_;
};

class RunnerScope {
 public:
  explicit RunnerScope(ProcessRunner* runner) { ORVSetProcessRunner(runner); }
  ~RunnerScope() { ORVSetProcessRunner(nullptr); }
};

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

TEST_F(MetadataETReaderTest, OutputsThatAreNoArrayOfObjects) {
  EXPECT_TRUE(fill("[]").streams.empty());
  const auto failsWith = [](const std::string& output) {
    try {
      fill(output);
    } catch (const ETMetadataReaderError& error) {
      return error.code();
    }
    return ETMetadataReaderError::Code::readerOutputIsEmpty;  // no throw: wrong
  };
  EXPECT_EQ(failsWith(R"({"a":1})"), ETMetadataReaderError::Code::dataDecodingFailed);
  EXPECT_EQ(failsWith("not json"), ETMetadataReaderError::Code::dataDecodingFailed);
  EXPECT_EQ(failsWith("[1]"), ETMetadataReaderError::Code::dataDecodingFailed);
  EXPECT_STREQ(ETMetadataReaderError(ETMetadataReaderError::Code::dataDecodingFailed).what(), "Data decoding failed");
}

TEST_F(MetadataETReaderTest, ZeroBytesOfOutputIsAnError) {
  CannedRunner runner("");
  RunnerScope scope(&runner);
  MetadataETReader reader;
  try {
    reader.readReadWriteStorage("/a/b.jpg");
    FAIL() << "no error";
  } catch (const ETMetadataReaderError& error) {
    EXPECT_EQ(error.code(), ETMetadataReaderError::Code::readerOutputIsEmpty);
    EXPECT_STREQ(error.what(), "Reader output is empty");
  }
}

TEST_F(MetadataETReaderTest, TheCommandOfAFreshAndOfAnEditorsReader) {
  CannedRunner runner("[]");
  RunnerScope scope(&runner);
  MetadataETReader reader;
  reader.readReadOnlyStorage("/a/b.jpg");
  EXPECT_THAT(runner.arguments, ElementsAre(ExifToolCLI::exiftoolExecutableURL().string(), "-charset", "filename=UTF8",
                                            "-e", "-g0:1", "-m", "-j", "/a/b.jpg"));
  reader.setupDefaultForEditorReading();
  reader.language = Language::german;
  reader.readReadOnlyStorage("/a/b.jpg");
  EXPECT_THAT(runner.arguments,
              ElementsAre(ExifToolCLI::exiftoolExecutableURL().string(), "-charset", "filename=UTF8", "-lang", "de",
                          "-s", "-n", "-e", "-g0:1", "-m", "-j", "/a/b.jpg"));
}

TEST_F(MetadataETReaderTest, GroupsStreamsAndFilters) {
  const auto storage = fill(R"json([{
    "SourceFile": "/a/b.jpg",
    "ExifTool:ExifTool": {"ExifToolVersion": 12.57},
    "EXIF:IFD0": {"Make": "Canon", "NoSuchTag": "x", "FirmwareVersion": "1"},
    "MakerNotes:Canon": {"FirmwareVersion": "Firmware 1.1.1", "CanonImageType": "(Binary data 5 bytes, use -b option to extract)"},
    "IPTC": {"Keywords": ["a", "b"]},
    "EXIF:ExifIFD": {"ISO": 400, "FNumber": 14.0},
    "EXIF:SubIFD": {"CacheVersion": [2, 3, 0, 0]},
    "Empty:Group": {}
  }])json");
  EXPECT_THAT(storage.streams, UnorderedElementsAre(Pair("SourceFile", "SourceFile"), Pair("EXIF", "IFD0"),
                                                    Pair("MakerNotes", "Canon"), Pair("IPTC", "IPTC"),
                                                    Pair("EXIF", "ExifIFD"), Pair("EXIF", "SubIFD"), Pair("Empty", "Group")));
  EXPECT_EQ(storage.values.at(TagName("EXIF", "Make")), "Canon");
  EXPECT_FALSE(storage.values.contains(TagName("EXIF", "NoSuchTag")));
  EXPECT_FALSE(storage.values.contains(TagName("EXIF", "FirmwareVersion")));  // not an EXIF tag
  EXPECT_EQ(storage.values.at(TagName("Canon", "FirmwareVersion")), "Firmware 1.1.1");
  EXPECT_FALSE(storage.values.contains(TagName("Canon", "CanonImageType")));
  EXPECT_EQ(storage.values.at(TagName::iptcKeywords), "a,b");
  EXPECT_EQ(storage.values.at(TagName("EXIF", "ISO")), "400");
  EXPECT_EQ(storage.values.at(TagName("EXIF", "FNumber")), "14.00000000");
  EXPECT_EQ(storage.values.at(TagName("EXIF", "CacheVersion")), "2 3 0 0");  // a fixed count of 4
}

TEST_F(MetadataETReaderTest, BannedStreamsAndValuesCanChange) {
  MetadataETReader reader;
  reader.bannedStreams = {"IFD0"};
  reader.bannedValues = {"Can"};
  RecordingStorage storage;
  reader.fillStorage(storage, R"([{"EXIF:IFD0": {"Make": "Nikon"}, "EXIF:ExifIFD": {"ISO": 100}, "IPTC": {"City": "Cannes"}, "ExifTool:ExifTool": {}}])");
  EXPECT_THAT(storage.streams, UnorderedElementsAre(Pair("EXIF", "ExifIFD"), Pair("IPTC", "IPTC"), Pair("ExifTool", "ExifTool")));
  EXPECT_FALSE(storage.values.contains(TagName("IPTC", "City")));
  reader.setupDefaultBannedValues();
  EXPECT_THAT(reader.bannedStreams, ElementsAre("ExifTool"));
  EXPECT_THAT(reader.bannedValues, ElementsAre("-b option to extract"));
}

TEST_F(MetadataETReaderTest, AdditionalGroupsKeepTheFirstValue) {
  const auto storage = fill(R"([{"EXIF:IFD0": {"Make": "First"}, "EXIF:IDF1": {"Make": "Second"}}])");
  // Whatever the order of the members, the IDF1 value never replaces an existing one.
  const auto& make = storage.values.at(TagName("EXIF", "Make"));
  EXPECT_TRUE(make == "First" || make == "Second");
  const auto later = fill(R"([{"EXIF:IFD1": {"Make": "Second"}, "EXIF:IFD0": {"Make": "First"}}])");
  EXPECT_EQ(later.values.size(), 1u);
}

// What exiftool itself prints, in the catalogue's normal form.
std::string exifToolValue(const std::filesystem::path& file, const std::string& tag) {
  ExifToolCLI cli;
  cli.enableRawValues = true;
  cli.run({"-j", "-EXIF:" + tag, file.string()});
  const auto json = nlohmann::json::parse(*cli.buildStdOutString());
  if (!json[0].contains(tag)) return "<none>";
  const auto item = TagsResources::shared().tag(TagName("EXIF", tag));
  return item->converter()->stringValueFromRawValue(Value::fromJSON(json[0][tag])).value_or("<none>");
}

TEST_F(MetadataETReaderTest, SampleFilesReadAsExifToolPrintsThem) {
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  for (const char* sample : {"Canon.jpg", "GPS.jpg", "ExifTool.tif", "Nikon.nef", "CanonRaw.cr2", "DNG.dng"}) {
    const auto file = testing::dataDirectory() / sample;
    SCOPED_TRACE(sample);
    const auto storage = reader.readReadWriteStorage(file);
    EXPECT_FALSE(storage.originalValuesDict().empty());
    for (const char* tag : {"Make", "Model", "DateTimeOriginal", "ISO", "FNumber"}) {
      const auto value = storage.originalValue(TagName("EXIF", tag));
      EXPECT_EQ(value.value_or("<none>"), exifToolValue(file, tag)) << tag;
    }
  }
}

TEST_F(MetadataETReaderTest, AFileExifToolCannotReadFailsWithTheReadersError) {
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  EXPECT_THROW(reader.readReadWriteStorage("/nonexistent/file.jpg"), ETMetadataReaderError);
  // A broken EXIF block still reads: exiftool reports what it can.
  const auto storage = reader.readReadWriteStorage(testing::dataDirectory() / "invalid_image01551.jpg");
  EXPECT_TRUE(storage.g0OriginalStreams().contains(TagStream::file));
}

}  // namespace
}  // namespace orvelin
