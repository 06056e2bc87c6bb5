#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/storage/metadata_et_writer.h"
#include "orvelin/storage/read_only_storage.h"
#include "orvelin/storage/read_write_storage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "common/editors.h"
#include "common/failing_file_system.h"
#include "common/instant_clock.h"
#include "common/recording_runner.h"
#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/imageservice/image.h"
#include "orvelin/support/user_defaults.h"
#include "orvelin/values/date_time_value_converter.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::_;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::Pair;
using testing::copySample;
using testing::FailingFileSystem;
using testing::finderTagsOf;
using testing::readEditor;
using testing::readFile;
using testing::RecordingRunner;
using testing::save;
using testing::tag;
using testing::writeFile;

const TagName make("EXIF", "Make");
const TagName artist("EXIF", "Artist");
const TagName software("EXIF", "Software");
const TagName iso("EXIF", "ISO");
const TagName modifyDate("EXIF", "ModifyDate");
const TagName createDate("EXIF", "CreateDate");
const TagName xmpLabel("XMP", "Label");

TEST(ReadOnlyStorage, KeepsTheReadersOrderAndTheFirstValue) {
  ReadOnlyStorage storage("/a/b.jpg");
  storage.store(TagStream::exif, TagStream("IFD0"));
  storage.store(TagStream::exif, TagStream("ExifIFD"));  // a known family 0 stream adds nothing
  storage.store(TagStream::file, TagStream("System"));
  storage.store("Canon", make);
  storage.store("Nikon", make);
  storage.store("", artist);
  storage.store("lost", TagName::iptcKeywords);  // never registered

  EXPECT_THAT(storage.streams(), ElementsAre(TagStream::exif, TagStream::file));
  EXPECT_THAT(storage.keys(TagStream::exif), ElementsAre(TagKey::make, TagKey::artist));
  EXPECT_EQ(storage.value(TagKey::make, TagStream::exif), "Canon");
  EXPECT_TRUE(storage.hasValue(artist));  // an empty text is a value
  EXPECT_FALSE(storage.hasValue(TagName::iptcKeywords));
  EXPECT_FALSE(storage.containsStream(TagStream::iptc));
  EXPECT_TRUE(storage.containsStream(TagStream::file));
  EXPECT_EQ(storage.valuesCount(TagStream::file), 0u);
  EXPECT_EQ(storage.valuesCount(TagStream::iptc), 0u);
  EXPECT_EQ(storage.key(1, TagStream::exif), TagKey::artist);
  EXPECT_EQ(storage.value(0, TagStream::exif), "Canon");
  EXPECT_EQ(storage.key(7, TagStream::iptc), std::nullopt);
  EXPECT_THAT(storage.generateValuesArray(), ElementsAre(Pair(make, "Canon"), Pair(artist, "")));
  EXPECT_EQ(storage.generateValuesDict().size(), 2u);
}

ReadWriteStorage fileWithMake() {
  ReadWriteStorage storage("/photos/a.JPG");
  storage.store(TagStream::exif, TagStream("IFD0"));
  storage.store("Canon", make);
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

TEST(TagValues, AgreesWithASortedMapThroughInsertsAndErases) {
  // Names that collide in few slots, inserted and erased in a scrambled order, so that erasing
  // shifts back runs that wrap around the end of the index.
  std::map<TagName, std::string> expected;
  TagValues values;
  unsigned state = 12345;
  auto next = [&state] { return state = state * 1103515245 + 12345, (state >> 16) % 97; };
  for (int step = 0; step < 4000; ++step) {
    const auto number = next();
    const TagName name(number % 3 ? "EXIF" : "XMP", "Key" + std::to_string(number));
    if (next() % 3 == 0) {
      expected.erase(name);
      values.erase(name);
    } else {
      expected.insert_or_assign(name, std::to_string(step));
      values.insert_or_assign(name, std::to_string(step));
    }
    ASSERT_EQ(values.size(), expected.size());
    for (unsigned probe = 0; probe < 97; probe += 7) {
      const TagName other(probe % 3 ? "EXIF" : "XMP", "Key" + std::to_string(probe));
      const auto found = expected.find(other);
      const auto* value = values.find(other);
      ASSERT_EQ(value != nullptr, found != expected.end()) << step << " " << other;
      if (value) {
        ASSERT_EQ(*value, found->second);
      }
    }
  }
  std::vector<TagName> names;
  for (const auto& [name, value] : expected) names.push_back(name);
  EXPECT_EQ(values.sortedNames(), names);
  values.clear();
  EXPECT_FALSE(values.contains(names.front()));
}

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
    if (original) storage.store(*original, make);
    for (const auto& value : values) storage.setValue(value, make);
    EXPECT_EQ(storage.writtenValue(make), written) << name;
    EXPECT_EQ(storage.currentValue(make), written ? written : original) << name;
    EXPECT_EQ(storage.hasWrittenValues(), written.has_value()) << name;
    EXPECT_EQ(storage.hasValue(make), original.has_value()) << name << ": the original values only";
  }
  EXPECT_EQ(fileWithMake().fileType(), "jpg");
  EXPECT_EQ(ReadWriteStorage("/photos/holiday").fileType(), "");
}

// The names sorted and merged; a flush then folds the edits and the file tags into the original ones.
TEST(ReadWriteStorageOverlay, NamesMergeAndAFlushFoldsTheEdits) {
  const TagName model("EXIF", "Model");
  auto storage = fileWithMake();
  EXPECT_TRUE(storage.canEditFinderTags());
  storage.setFinderTags(std::vector<std::string>{"Red", "Trip"});
  EXPECT_THAT(storage.currentFinderTags(), ElementsAre("Red", "Trip"));
  EXPECT_TRUE(storage.originalFinderTags().empty());
  EXPECT_FALSE(storage.hasWrittenValues());  // tags do not count
  storage.store("2020:01:01 00:00:00", createDate);
  storage.setValue("Me", artist);
  storage.setValue("", make);
  storage.forceTagName(model);
  EXPECT_THAT(storage.originalValuesTagNames(), ElementsAre(createDate, make));
  EXPECT_THAT(storage.writtenValuesTagNames(), ElementsAre(artist, make, model));
  EXPECT_THAT(storage.currentValuesTagNames(), ElementsAre(artist, createDate, make, model));
  EXPECT_THAT(storage.g0OriginalStreams(), ElementsAre(TagStream::exif));
  EXPECT_THAT(storage.g1OriginalStreams(), ElementsAre(TagStream("IFD0")));

  storage.flushNewToOriginalValues();
  EXPECT_FALSE(storage.hasWrittenValues());
  EXPECT_EQ(storage.originalValue(make), "");  // a cleared tag keeps an empty original
  EXPECT_THAT(storage.originalValuesTagNames(), ElementsAre(artist, createDate, make, model));
  storage.store(std::string("x"), model);  // last writer wins for readers
  storage.store(std::string("y"), model);
  EXPECT_EQ(storage.originalValue(model), "y");
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
  for (const char* name : {"Canon:FirmwareVersion", "EXIF:PreviewImageLength", "EXIF:FNumber"})
    storage.store("1", tag(name));
  // A text tag is emptied, a number deleted. Only an emptied thumbnail tag is sent as "-" without
  // the catalogue; one with a value is looked up and converted like any other tag. A thumbnail
  // image is of no supported type: read-only. Family 0 streams keep their group name; the others
  // are maker notes.
  for (const auto& [name, value] : std::vector<std::pair<const char*, const char*>>{
           {"EXIF:Make", ""}, {"EXIF:FNumber", ""}, {"EXIF:Artist", "Me"}, {"Canon:FirmwareVersion", "1.2"},
           {"EXIF:ISO", "400"}, {"EXIF:PreviewImageLength", ""}, {"EXIF:ThumbnailLength", "1234"},
           {"EXIF:ThumbnailImage", "base64:/9j/4AAQ"}, {"EXIF:NoSuchTag", "y"}, {"NoSuchStream:Make", "z"},
           {"IPTC:City", "Cannes"}, {"XMP:Creator", "Ann,Bob"}, {"Photoshop:URL", "Bob"},
           {"XMP:ImageWidth", "8.00000000"}, {"EXIF:FocalLength", "5.50000000"}})
    storage.setValue(std::string(value), tag(name));
  // A real number without fraction is sent as an integer (XMP-tiff refuses "8.0").
  EXPECT_EQ(storage.buildETValues().dump(), nlohmann::json::parse(R"({
    "SourceFile": "*", "EXIF:Make": "", "EXIF:FNumber": "-", "EXIF:Artist": "Me", "MakerNotes:FirmwareVersion": "1.2", "EXIF:ISO": 400,
    "EXIF:PreviewImageLength": "-", "EXIF:ThumbnailLength": 1234, "IPTC:City": "Cannes",
    "XMP:Creator": ["Ann", "Bob"], "Photoshop:URL": "Bob", "XMP:ImageWidth": 8, "EXIF:FocalLength": 5.5})").dump());
}

class MetadataETReaderTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { TagsResources::shared().reload(); }

  // `storage` filled by an editor's reader from `output`.
  static ReadWriteStorage fill(const std::string& output, ReadWriteStorage storage) {
    MetadataETReader reader;
    reader.setupDefaultForEditorReading();
    reader.fillStorage(storage, output);
    return storage;
  }
};

// exiftool's output (canned here) that is not an array of objects fails the read; an empty array
// reads as nothing.
TEST_F(MetadataETReaderTest, TheCommandAndOutputsThatAreNoArrayOfObjects) {
  const std::pair<const char*, ETMetadataReaderError::Code> cases[] = {
      {"", ETMetadataReaderError::Code::readerOutputIsEmpty},
      {R"({"a":1})", ETMetadataReaderError::Code::dataDecodingFailed},
      {"not json", ETMetadataReaderError::Code::dataDecodingFailed},
      {"[1]", ETMetadataReaderError::Code::dataDecodingFailed},
  };
  for (const auto& [output, code] : cases) {
    RecordingRunner runner(ProcessResult{true, 0, output, "canned error"});
    try {
      MetadataETReader().readReadWriteStorage("/a/b.jpg");
      ADD_FAILURE() << "no error for '" << output << "'";
    } catch (const ETMetadataReaderError& error) {
      EXPECT_EQ(error.code(), code) << "'" << output << "'";
    }
  }
  EXPECT_STREQ(ETMetadataReaderError(ETMetadataReaderError::Code::readerOutputIsEmpty).what(),
               "Reader output is empty");

  RecordingRunner runner(ProcessResult{true, 0, "[]", ""});
  MetadataETReader reader;
  EXPECT_TRUE(reader.readReadWriteStorage("/a/b.jpg").g0OriginalStreams().empty());
  reader.setupDefaultForEditorReading();
  reader.language = Language::german;
  reader.readReadOnlyStorage("/a/b.jpg");
  const auto exiftool = ExifToolCLI::exiftoolExecutableURL().string();
  EXPECT_THAT(runner.commands(), ElementsAre(
      ElementsAre(exiftool, "-charset", "filename=UTF8", "-e", "-g0:1", "-m", "-j", "/a/b.jpg"),
      ElementsAre(exiftool, "-charset", "filename=UTF8", "-lang", "de", "-s", "-n", "-e", "-g0:1", "-m", "-j",
                  "/a/b.jpg")));
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
  }])json", ReadWriteStorage("/a/b.jpg"));
  EXPECT_THAT(storage.g0OriginalStreams(), ElementsAre(
      TagStream::asf, TagStream::exif, TagStream("Empty"), TagStream("GPX"), TagStream::iptc,
      TagStream::makerNotes, TagStream("PrintIM"), TagStream("SourceFile"), TagStream::xmp));
  EXPECT_THAT(storage.g1OriginalStreams(), ElementsAre(
      TagStream::asf, TagStream::canon, TagStream("ExifIFD"), TagStream("Group"), TagStream("IFD0"),
      TagStream::iptc, TagStream("PrintIM"), TagStream("SourceFile"), TagStream("SubIFD"),
      TagStream("Unlisted"), TagStream("XMP-dc"), TagStream("XMP-exif")));
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
  EXPECT_THAT(storage.g1OriginalStreams(),
              ElementsAre(TagStream("ExifIFD"), TagStream("ExifTool"), TagStream::iptc));
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
    EXPECT_EQ(storage.originalValue(make), kept ? "Canon" : "Read") << group;
  }
}

std::vector<fs::path> filesIn(const fs::path& folder) {
  if (!fs::exists(folder)) return {};
  return {fs::recursive_directory_iterator(folder), fs::recursive_directory_iterator()};
}

class MetadataETWriterTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { TagsResources::shared().reload(); }

  void SetUp() override {
    // JSON files go to a temporary folder of the test's own, so that their removal shows.
    fs::create_directories(temporary());
    temporaryFolder_.set("TMPDIR", temporary().string());
    oldBackup_ = ORVGetBackupFolderURL();
    ORVSetBackupFolderURL(backup());
  }
  void TearDown() override {
    ORVSetBackupFolderURL(oldBackup_);
    EXPECT_FALSE(EditionsManager::shared().isInSession());
  }

  fs::path temporary() const { return scratch / "tmp"; }
  fs::path backup() const { return scratch / "backup"; }

  // Runs exiftool in place on `target` with the JSON text `json`, `options` and the arguments of
  // a save, written out here: what the save must leave.
  void runByHand(const std::string& json, const fs::path& target, std::vector<std::string> options = {}) {
    const auto jsonFile = scratch / "by-hand.json";
    writeFile(jsonFile, json);
    for (const char* argument : {"-G", "-s", "-n", "-f", "-IPTC:CodedCharacterSet=UTF8"}) options.push_back(argument);
    options.push_back("-json=" + jsonFile.string());
    testing::exifToolInPlace(target, options);
    fs::remove(jsonFile);
  }

  testing::ScratchFolder scratch;

 private:
  testing::EnvironmentScope temporaryFolder_;
  fs::path oldBackup_;
};

// ---------------------------------------------------------------------------------------------
// The writer: a save changes exactly the edited tags, as exiftool itself would.

std::string decodedPixels(const fs::path& path) {
  const auto image = Image::decodeFile(path);
  return image ? image->pixelData() : std::string();
}

struct SaveCase {
  std::string name;
  std::string sample;
  std::vector<std::pair<TagName, std::string>> edits;  // new values
  // Tags the file has, emptied, with what exiftool leaves of them (absent: deleted).
  std::vector<std::pair<TagName, std::optional<std::string>>> clears;
};

void PrintTo(const SaveCase& saveCase, std::ostream* out) { *out << saveCase.name; }

// Names whose values exiftool changes by itself when it rewrites a file: data positions, the IPTC
// versions and character set that come with "-IPTC:CodedCharacterSet=UTF8", the XMP toolkit.
bool changesWithAnyWrite(const TagName& name) {
  static const std::set<std::string> names{"IPTC:CodedCharacterSet", "IPTC:EnvelopeRecordVersion",
                                           "IPTC:ApplicationRecordVersion", "XMP:XMPToolkit"};
  const auto& key = name.key().rawValue();
  return names.contains(name.rawValue()) || name.stream() == TagStream::file || key.ends_with("Offset") ||
         key.ends_with("Offsets") || key.ends_with("Start");
}

class SaveRoundTripTest : public MetadataETWriterTest, public ::testing::WithParamInterface<SaveCase> {};

TEST_P(SaveRoundTripTest, ChangesExactlyTheEditedTags) {
  const auto& saveCase = GetParam();
  for (const char* folder : {"edited", "by-hand"}) fs::create_directories(scratch / folder);
  const auto edited = copySample(saveCase.sample, scratch / "edited");
  const auto byHand = copySample(saveCase.sample, scratch / "by-hand");
  const auto pixelsBefore = decodedPixels(edited);
  ASSERT_FALSE(pixelsBefore.empty()) << "the image data of " << saveCase.sample << " decodes";

  auto editor = readEditor(edited);
  const auto before = editor->storage();
  for (const auto& [name, value] : saveCase.edits) editor->setValue(value, name);
  for (const auto& [name, expected] : saveCase.clears) editor->setValue(std::string(), name);
  const auto written = editor->writtenTagNames();
  const std::set<TagName> touched(written.begin(), written.end());
  // A clear of a tag the file lacks would be no edit.
  ASSERT_EQ(touched.size(), saveCase.edits.size() + saveCase.clears.size());

  MetadataETWriter writer;
  runByHand(writer.jsonValues(editor->storage()).dump(), byHand);
  save(writer, *editor);

  // The file is what exiftool makes of the same command, byte for byte.
  EXPECT_EQ(readFile(edited), readFile(byHand));

  // The editor's edits are now its original values.
  for (const auto& [name, value] : saveCase.edits) EXPECT_THAT(editor->originalValue(name), Optional(value));

  // Read again: the new values, the cleared ones as exiftool took the JSON, the rest as it was.
  auto after = readEditor(edited);
  for (const auto& [name, value] : saveCase.edits)
    EXPECT_THAT(after->originalValue(name), Optional(value)) << name.rawValue();
  for (const auto& [name, expected] : saveCase.clears)
    EXPECT_EQ(after->unsafeGetValue(name), expected) << name.rawValue();
  const auto afterStorage = after->storage();
  for (const auto& name : before.originalValuesTagNames()) {
    if (touched.contains(name) || changesWithAnyWrite(name)) continue;
    EXPECT_EQ(afterStorage.originalValue(name), before.originalValue(name)) << name.rawValue() << " changed";
  }
  for (const auto& name : afterStorage.originalValuesTagNames()) {
    if (touched.contains(name) || changesWithAnyWrite(name)) continue;
    if (!before.g0OriginalStreams().contains(name.stream())) continue;  // a group the edits made
    EXPECT_TRUE(before.hasValue(name)) << name.rawValue() << " appeared";
  }
  EXPECT_EQ(decodedPixels(edited), pixelsBefore) << "the image data changed";
}

INSTANTIATE_TEST_SUITE_P(
    Formats, SaveRoundTripTest,
    ::testing::Values(
        SaveCase{"JPEG", "Canon.jpg",
                 {{artist, "Ada Lovelace"}, {xmpLabel, "Red"}, {TagName("IPTC", "City"), "Paris"}},
                 {{iso, std::nullopt}, {modifyDate, std::nullopt}}},
        SaveCase{"TIFF", "ExifTool.tif",
                 {{artist, "Ada Lovelace"}, {TagName("IPTC", "Headline"), "New headline"}},
                 {{software, ""}, {TagName("IPTC", "City"), ""}}},
        // exiftool drops a PNG text chunk whose text is empty.
        SaveCase{"PNG", "PNG.png", {{TagName("PNG", "Title"), "A title"}, {xmpLabel, "Red"}},
                 {{TagName("PNG", "Comment"), std::nullopt}}},
        SaveCase{"DNG", "DNG.dng", {{artist, "Ada Lovelace"}},
                 {{TagName("EXIF", "CameraSerialNumber"), ""}, {TagName("EXIF", "ImageNumber"), std::nullopt}}}),
    [](const ::testing::TestParamInfo<SaveCase>& info) { return info.param.name; });

// The file is moved aside, exiftool writes the new one beside it, which takes the file's place
// with its attributes; the former one goes. File tags and dates go on the file with exiftool's run
// (the images' options) or after it (the source's own attributes).
TEST_F(MetadataETWriterTest, OneFileWrittenWithItsTagsAndDates) {
  const auto path = copySample("Canon.jpg", scratch.path());
  fs::permissions(path, fs::perms(0640));
  testing::setFinderTags(path, {"Kept"});
  auto editor = readEditor(path);
  ASSERT_THAT(editor->originalValue(modifyDate), Optional(std::string("2003:12:04 06:46:52")));
  editor->setValue(std::string("Ada Lovelace"), artist);
  editor->setValue(std::string("99999999"), iso);
  RecordingRunner runner;
  FailingFileSystem fileSystem;  // fails nothing: records the moves
  MetadataETWriter writer;
  writer.shouldUpdateImagesFinderTags = true;  // none pending: the file's own stay
  save(writer, *editor);

  const auto arguments = runner.onlyCommand();
  ASSERT_THAT(arguments, ElementsAre(ExifToolCLI::exiftoolExecutableURL().string(), "-charset", "filename=UTF8", "-G",
                                     "-s", "-n", "-f", "-v", "-IPTC:CodedCharacterSet=UTF8", "-use", "MWG",
                                     ::testing::StartsWith("-json=" + temporary().string() + "/"), "-o", _, _));
  const fs::path output = arguments[13];
  const fs::path work = arguments[14];
  EXPECT_EQ(work.parent_path(), backup());
  EXPECT_EQ(work.extension(), ".jpg");
  EXPECT_EQ(output.parent_path(), backup());
  std::vector<std::pair<fs::path, fs::path>> moves;
  for (const auto& move : fileSystem.operations("moveItem")) moves.emplace_back(move.path, move.to);
  EXPECT_THAT(moves, ElementsAre(std::make_pair(path, work), std::make_pair(output, path)));
  EXPECT_THAT(filesIn(backup()), IsEmpty());

  // The value exiftool refused is reported and no longer pending; the file keeps its own.
  EXPECT_THAT(writer.refusedValues(), ElementsAre(RefusedValue{iso, "Value above int16u maximum for IFD0:ISO"}));
  EXPECT_FALSE(editor->isEdited());
  EXPECT_THAT(editor->currentValue(iso), Optional(std::string("100")));
  const auto after = readEditor(path);
  EXPECT_THAT(after->originalValue(artist), Optional(std::string("Ada Lovelace")));
  EXPECT_THAT(after->originalValue(iso), Optional(std::string("100")));
  EXPECT_EQ(fs::status(path).permissions(), fs::perms(0640));
  EXPECT_EQ(finderTagsOf(path), std::vector<std::string>{"Kept"});

  const std::vector<std::string> tags{"Red", "Été"};
  editor->setFinderTags(tags);
  save(writer, *editor);
  EXPECT_EQ(finderTagsOf(path), tags);
  EXPECT_EQ(editor->originalFinderTags(), tags);
  EXPECT_EQ(editor->writtenFinderTags(), std::nullopt);

  writer.shouldUpdateImagesSystemCreateDate = true;
  writer.shouldUpdateImagesSystemModifyDate = true;
  editor->setValue(std::string("2010:01:02 03:04:05"), createDate);
  EXPECT_FALSE(writer.jsonValues(editor->storage()).contains("File:FileCreateDate"))
      << "a creation date cannot be set here";
  save(writer, *editor);
  const auto date = [](const std::string& text) {
    return *DateTimeValueConverter().typedValueFromStringValue(text);
  };
  const auto modified = [&] {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::file_clock::to_sys(fs::last_write_time(path)));
  };
  EXPECT_EQ(modified(), date("2003:12:04 06:46:52")) << "exiftool set it from the unedited value";

  // The source's own tags and dates, set by the writer after the run: an empty list removes the tags.
  MetadataETWriter sourceWriter;
  sourceWriter.shouldUpdateSourceFinderTags = true;
  sourceWriter.shouldUpdateSourceSystemCreateDate = true;
  sourceWriter.shouldUpdateSourceSystemModifyDate = true;
  editor->setFinderTags(std::vector<std::string>{});
  EXPECT_EQ(sourceWriter.fileAttributes(editor->storage()).modificationDate, date("2003:12:04 06:46:52"))
      << "the original value when none is written";
  editor->setValue(std::string("2011:05:06 07:08:09"), modifyDate);
  save(sourceWriter, *editor);
  EXPECT_THAT(finderTagsOf(path), IsEmpty());
  EXPECT_EQ(modified(), date("2011:05:06 07:08:09"));

  // A text that no date format reads gives no date, and nothing is thrown.
  ReadWriteStorage storage(path);
  storage.setValue(std::string("not a date"), modifyDate);
  EXPECT_EQ(sourceWriter.fileAttributes(storage).modificationDate, std::nullopt);
  EXPECT_TRUE(sourceWriter.fileAttributes(ReadWriteStorage(path)).empty());
  EXPECT_NO_THROW(sourceWriter.writeFileAttributes(storage));
}

TEST_F(MetadataETWriterTest, ExportSidecar) {
  const auto path = copySample("Canon.jpg", scratch.path());
  auto editor = readEditor(path);
  editor->setValue(std::string("Red"), xmpLabel);
  RecordingRunner runner;
  MetadataETWriter writer;
  const auto sidecar = scratch / "Canon.xmp";
  writer.exportSidecar(editor->storage(), sidecar);
  EXPECT_THAT(filesIn(temporary()), IsEmpty());
  EXPECT_TRUE(editor->isEdited()) << "an export is no save";

  ReadWriteStorage folder(scratch / "album");
  folder.setValue(std::string("Red"), xmpLabel);
  writer.exportSidecar(folder, scratch / "Album.xmp");
  EXPECT_THAT(runner.commands(), ElementsAre(_, ::testing::Not(Contains("-tagsfromfile"))));
  const auto exported = readEditor(sidecar);
  EXPECT_THAT(exported->originalValue(xmpLabel), Optional(std::string("Red")));
  EXPECT_THAT(exported->originalValue(tag("XMP:Make")), Optional(std::string("Canon"))) << "from the file";
  EXPECT_THAT(readEditor(scratch / "Album.xmp")->originalValue(xmpLabel), Optional(std::string("Red")));
}

// ---------------------------------------------------------------------------------------------
// A folder editor writes every file of its folder in one run, in place, as exiftool does with
// the editor's recursion and extension filter, and puts the file tags on the files it wrote.

struct FolderCase {
  std::string name;
  bool recurseSubfolders;
  std::optional<std::string> filterPathExtension;
  std::vector<std::string> byHandOptions;
  std::set<std::string> written;  // the files that get the file tags
};

void PrintTo(const FolderCase& folderCase, std::ostream* out) { *out << folderCase.name; }

// The files of an album, and the samples they copy (none: not an image). Beside the album lies
// a folder "outside", which its link "outside" reaches and exiftool follows; a link back to the
// album ends nothing.
const std::pair<const char*, const char*> albumFiles[] = {
    {"Canon.jpg", "Canon.jpg"},     {"GPS.jpg", "GPS.jpg"},
    {"Photo.JPEG", "GPS.jpg"},      {"notes.txt", nullptr},
    {"sub/Other.jpg", "Canon.jpg"}, {".hidden/Hidden.jpg", "Canon.jpg"},
    {"outside/GPS.jpg", "GPS.jpg"},
};

fs::path makeAlbum(const fs::path& root) {
  for (const auto& folder : {root / "sub", root / ".hidden", root.parent_path() / "outside"})
    fs::create_directories(folder);
  fs::create_directory_symlink(root, root / "loop");
  fs::create_directory_symlink("../outside", root / "outside");
  for (const auto& [file, sample] : albumFiles) {
    if (sample)
      fs::copy_file(testing::dataDirectory() / sample, root / file);
    else
      writeFile(root / file, "not an image");
  }
  return root;
}

class FolderSaveTest : public MetadataETWriterTest, public ::testing::WithParamInterface<FolderCase> {};

TEST_P(FolderSaveTest, WritesItsImagesAsExiftoolDoes) {
  const auto& folderCase = GetParam();
  const auto album = makeAlbum(scratch / "album");
  const auto byHand = makeAlbum(scratch / "by-hand" / "album");
  auto folder = readImageFolder(MetadataETReader(), album);
  folder->recurseSubfolders = folderCase.recurseSubfolders;
  folder->filterPathExtension = folderCase.filterPathExtension;
  folder->createBackupFiles = true;
  folder->setValue(std::string("Ada Lovelace"), artist);
  folder->setValue(std::string(), software);  // no original values in a folder: sent all the same
  const std::vector<std::string> tags{"Trip", "Été"};
  folder->setFinderTags(tags);
  ASSERT_THAT(folder->writtenTagNames(), ElementsAre(artist, software));

  MetadataETWriter writer;
  writer.shouldUpdateImagesFinderTags = true;  // as the save task sets it for folders
  const auto sent = writer.jsonValues(folder->storage());
  EXPECT_FALSE(sent.contains("macOS:MDItemUserTags"));
  runByHand(sent.dump(), byHand, folderCase.byHandOptions);
  RecordingRunner runner;
  folder->lockEditor();
  writeImageFolderEditor(writer, *folder);
  folder->unlockEditor();

  EXPECT_FALSE(folder->isEdited());
  EXPECT_FALSE(writer.overwriteInPlace);
  const auto arguments = runner.onlyCommand();
  EXPECT_THAT(arguments, Contains("-overwrite_original_in_place")) << "in place whatever the option says";
  EXPECT_EQ(arguments.back(), album.string());
  EXPECT_FALSE(fs::exists(album / "Canon.jpg_original"));
  EXPECT_THAT(filesIn(temporary()), IsEmpty());
  for (const auto& [file, sample] : albumFiles) {
    EXPECT_EQ(readFile(album / file), readFile(byHand / file)) << file;
    EXPECT_EQ(finderTagsOf(album / file), folderCase.written.contains(file) ? tags : std::vector<std::string>{})
        << file;
  }
  EXPECT_NE(readFile(album / "Canon.jpg"), readFile(testing::dataDirectory() / "Canon.jpg")) << "exiftool wrote it";
  EXPECT_THAT(finderTagsOf(album), IsEmpty());
  EXPECT_EQ(folder->originalFinderTags(), tags);
}

INSTANTIATE_TEST_SUITE_P(
    Options, FolderSaveTest,
    ::testing::Values(FolderCase{"Recursive", true, std::nullopt, {"-r", "-use", "MWG"},
                                 {"Canon.jpg", "GPS.jpg", "Photo.JPEG", "sub/Other.jpg", "outside/GPS.jpg"}},
                      FolderCase{"TopLevelJPG", false, "jpg", {"-ext", "jpg", "-use", "MWG"}, {"Canon.jpg", "GPS.jpg"}}),
    [](const ::testing::TestParamInfo<FolderCase>& info) { return info.param.name; });

// A file that exiftool cannot write fails the save: the edits stay pending, and no file gets the
// file tags, not even those that exiftool wrote.
TEST_F(MetadataETWriterTest, AFolderFileThatCannotBeWrittenFailsTheSaveWithExiftoolsLine) {
  const auto album = scratch / "album";
  fs::create_directories(album);
  copySample("Canon.jpg", album);
  writeFile(album / "broken.jpg", "not a JPEG");
  auto folder = readImageFolder(MetadataETReader(), album);
  folder->setValue(std::string("Ada Lovelace"), artist);
  folder->setFinderTags(std::vector<std::string>{"Trip"});
  MetadataETWriter writer;
  writer.shouldUpdateImagesFinderTags = true;
  folder->lockEditor();
  try {
    writeImageFolderEditor(writer, *folder);
    ADD_FAILURE() << "the save went through";
  } catch (const MetadataETWriterError& error) {
    EXPECT_EQ(error.code(), MetadataETWriterError::Code::exifToolRefused);
    EXPECT_EQ(error.detail(), "Error: Not a valid JPG (looks more like a TXT) - " + (album / "broken.jpg").string());
  }
  folder->unlockEditor();
  EXPECT_TRUE(folder->isEdited());
  for (const auto& file : {"Canon.jpg", "broken.jpg"}) EXPECT_THAT(finderTagsOf(album / file), IsEmpty()) << file;
}

// ---------------------------------------------------------------------------------------------
// A save that fails keeps the file and the edits, and unlocks the editor.

// exiftool refuses every value sent; or the JSON cannot be encoded, and no process starts: text
// that is not UTF-8, and numbers that are not finite, which JSON text would make null.
TEST_F(MetadataETWriterTest, EveryValueRefusedOrNotEncoded) {
  using Code = MetadataETWriterError::Code;
  const std::string refusal = "Value above int16u maximum for IFD0:ISO";
  const std::tuple<TagName, const char*, Code> cases[] = {
      {iso, "99999999", Code::exifToolRefused},
      {software, "\xff\xfe not UTF-8", Code::jsonEncodingFailed},
      {TagName("EXIF", "FNumber"), "1e999", Code::jsonEncodingFailed},
      {TagName("EXIF", "ExposureCompensation"), "nan", Code::jsonEncodingFailed},
      {TagName("EXIF", "PixelScale"), "1 -inf 3", Code::jsonEncodingFailed},
  };
  const auto source = copySample("Canon.jpg", scratch.path());
  const auto original = readFile(source);
  auto editor = readEditor(source);
  editor->setFinderTags(std::vector<std::string>{"Trip"});
  for (const auto& [name, value, code] : cases) {
    SCOPED_TRACE(value);
    const bool ran = code == Code::exifToolRefused;
    editor->unsafeSetValue(std::string(value), name);
    testing::EventRecorder recorder(editor);
    RecordingRunner runner;
    MetadataETWriter writer;
    try {
      // Not locked by the caller, so that the save's own lock shows.
      writeImageFileEditor(writer, *editor);
      ADD_FAILURE() << "the save went through";
    } catch (const MetadataETWriterError& error) {
      EXPECT_EQ(error.code(), code);
      if (ran) {
        EXPECT_EQ(error.detail(), refusal);
        EXPECT_THAT(writer.refusedValues(), ElementsAre(RefusedValue{iso, refusal}));
      } else {
        EXPECT_STREQ(error.what(), "JSON encoding failed");
      }
    }
    EXPECT_EQ(runner.commands().size(), ran ? 1u : 0u);
    EXPECT_EQ(readFile(source), original);
    EXPECT_THAT(filesIn(backup()), IsEmpty());
    EXPECT_THAT(filesIn(temporary()), IsEmpty()) << "the JSON file is removed";
    EXPECT_THAT(editor->writtenValue(name), Optional(std::string(value)));
    EXPECT_EQ(editor->writtenFinderTags(), std::vector<std::string>{"Trip"});
    EXPECT_FALSE(editor->isLocked());
    EXPECT_THAT(recorder.events(), ElementsAre("locked", "will-begin", "did-end", "unlocked"));
    editor->unsafeSetValue(std::nullopt, name);
  }
  // exiftool ends without an error but updates no file: no value was saved.
  editor->setValue(std::string("Me"), artist);
  RecordingRunner unchanged(ProcessResult{true, 0, "    0 image files updated\n    1 image files unchanged\n", ""});
  MetadataETWriter writer;
  EXPECT_THROW(writeImageFileEditor(writer, *editor), MetadataETWriterError);
  EXPECT_THAT(editor->writtenValue(artist), Optional(std::string("Me")));
  EXPECT_EQ(readFile(source), original);
}

// Each file operation of a save, failing in turn, leaves the file whole under its own name: as it
// was (the save fails and the edits stay pending), or saved (a removal of what the save no
// longer needs fails nothing, and the wait for the written file asks again). Waits take no time.
TEST_F(MetadataETWriterTest, EachFileOperationFailingInTurnLeavesTheFileWhole) {
  const auto original = readFile(testing::dataDirectory() / "Canon.jpg");
  // One save with the operations that `fails` picks failing: whether it threw, the file, the operations.
  auto saveWith = [&](const fs::path& folder, std::function<bool(const FailingFileSystem::Operation&)> fails) {
    fs::create_directories(folder);
    const auto path = copySample("Canon.jpg", folder);
    auto editor = readEditor(path);
    editor->setValue(std::string("Ada Lovelace"), artist);
    editor->setValue(std::string("2011:05:06 07:08:09"), modifyDate);
    editor->setFinderTags(std::vector<std::string>{"Trip"});
    MetadataETWriter writer;
    writer.shouldUpdateSourceSystemModifyDate = true;
    writer.shouldUpdateImagesFinderTags = true;
    FailingFileSystem fileSystem;
    fileSystem.fails = std::move(fails);
    bool threw = false;
    try {
      save(writer, *editor);
    } catch (const std::exception&) {
      threw = true;
    }
    EXPECT_EQ(editor->isEdited(), threw);
    EXPECT_FALSE(editor->isLocked());
    return std::make_tuple(threw, readFile(path), fileSystem.operations());
  };
  testing::InstantClock clock;
  const auto [threw, saved, operations] = saveWith(scratch / "reference", nullptr);
  ASSERT_FALSE(threw);
  ASSERT_NE(saved, original);
  ASSERT_GE(operations.size(), 8u);
  for (const auto& failing : operations) {
    const auto folder = scratch / std::to_string(failing.number);
    const auto [failed, bytes, unused] =
        saveWith(folder, [&](const auto& operation) { return operation.number == failing.number; });
    EXPECT_TRUE(bytes == original || bytes == saved) << failing.number << " " << failing.name << " " << failing.path;
    // Once the file is written, its tags and date that cannot be set fail the save all the same.
    const bool afterwards = failing.name == "writeAttribute" || failing.name == "setModificationDate";
    EXPECT_EQ(failed, failing.name != "removeItem" && failing.name != "exists") << failing.number << " " << failing.name;
    if (failed && !afterwards) {
      EXPECT_EQ(bytes, original) << failing.number << " " << failing.name;
    }
  }
}

}  // namespace
}  // namespace orvelin
