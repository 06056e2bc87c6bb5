// The catalogue of tags: generated from exiftool's listings by the writer (and the tool's
// command), read back by the reader, and served by TagsResources.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <future>
#include <thread>
#include <tuple>

#include "common/event_log.h"
#include "common/failing_file_system.h"
#include "common/test_support.h"
#include "common/user_language.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/catalogue/tags_resources_reader.h"
#include "orvelin/catalogue/tags_resources_writer.h"
#include "orvelin/exiftool/language.h"
#include "orvelin/support/operation_queue.h"
#include "orvelin/support/strings_table.h"
#include "orvelin/values/value.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

nlohmann::json record(std::int64_t index, const std::string& stream, const std::string& key, const std::string& type,
                      bool writable = true) {
  auto json = nlohmann::json::parse(
      R"({"values":[],"count":0,"isFlatten":false,"isList":false,"isBinary":false,"isUnsafe":false})");
  json.update({{"index", index}, {"stream", stream}, {"key", key}, {"type", type}, {"isWritable", writable}});
  return json;
}

// A catalogue folder made by the test.
class CatalogueFolder {
 public:
  void streams(const nlohmann::json& names) { write("Tags/streams.json", names.dump()); }
  void tags(const std::string& stream, std::initializer_list<nlohmann::json> records) {
    write("Tags/" + stream + ".tags", nlohmann::json(nlohmann::json::array_t(records.begin(), records.end())).dump());
  }
  void write(const std::string& relative, const std::string& text) {
    fs::create_directories((folder_.path() / relative).parent_path());
    testing::writeFile(folder_.path() / relative, text);
  }
  const fs::path& path() const { return folder_.path(); }

 private:
  testing::ScratchFolder folder_;
};

// Records the delegate callbacks, delivered on an operation queue of the test's own.
class ReaderDelegate : public TagsResourcesReaderDelegate {
 public:
  void readerWillStart(TagsResourcesReader&) override { log.add("will"); }
  void readerDidProgress(TagsResourcesReader&) override { log.add("progress"); }
  void readerDidFinish(TagsResourcesReader& reader) override {
    log.add("finish");
    finishedProgress = reader.progress();
    finished.set_value();
  }
  std::vector<std::string> events() const { return log.events(); }
  testing::EventLog log;
  std::promise<void> finished;
  double finishedProgress = -1;
};

// Reads the folder's catalogue with `delegate` told on `delegation`, and waits for its finish.
std::shared_ptr<TagsResourcesReader> readWith(const CatalogueFolder& folder, OperationQueue& delegation,
                                              const std::shared_ptr<ReaderDelegate>& delegate) {
  auto reader = TagsResourcesReader::make(folder.path());
  reader->delegationQueue = &delegation;
  reader->delegate = delegate;
  reader->readResources();
  reader->waitResourcesParsing();
  EXPECT_EQ(delegate->finished.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  return reader;
}

// A stream list that names no stream, or that cannot be read, leaves the catalogue empty: the
// run finishes at once.
TEST(TagsResourcesReader, NoStreamToReadFinishesAtOnce) {
  for (const auto& [name, list] : {std::pair{"an empty list", "[]"}, std::pair{"an unreadable list", "{not json"}}) {
    SCOPED_TRACE(name);
    CatalogueFolder folder;
    folder.write("Tags/streams.json", list);
    OperationQueue delegation(1);
    auto delegate = std::make_shared<ReaderDelegate>();
    const auto reader = readWith(folder, delegation, delegate);
    EXPECT_THAT(delegate->events(), ElementsAre("will", "finish"));
    EXPECT_EQ(delegate->finishedProgress, 1.0);
    EXPECT_FALSE(reader->isReading());
    EXPECT_TRUE(reader->streams().empty());
    EXPECT_TRUE(reader->tagItems().empty());
  }
}

TEST(TagsResourcesReader, ParsesEveryStreamAndSkipsWhatCannotBeUsed) {
  CatalogueFolder folder;
  folder.streams({"EXIF", "Missing", "Broken", "IPTC"});
  folder.tags("EXIF", {record(0, "EXIF", "Make", "string"), record(1, "EXIF", "Secret", "string", false),
                       record(2, "EXIF", "Blob", "undef"), record(3, "EXIF", "Odd", "?"),
                       record(4, "EXIF", "Note", "note"), record(5, "EXIF", "Make", "int16u"),
                       record(6, "EXIF", "Picture", "imagedata", false)});
  folder.write("Tags/Broken.tags", "[{\"index\":");
  folder.tags("IPTC", {record(0, "IPTC", "Keywords", "string")});
  OperationQueue delegation(1);
  auto delegate = std::make_shared<ReaderDelegate>();
  const auto reader = readWith(folder, delegation, delegate);
  const auto events = delegate->events();
  EXPECT_EQ(std::count(events.begin(), events.end(), "progress"), 4);
  EXPECT_EQ(events.front(), "will");
  EXPECT_EQ(events.back(), "finish");

  const auto items = reader->tagItems();
  ASSERT_EQ(items.size(), 4u);
  EXPECT_TRUE(items.at(TagStream("Missing")).empty());
  EXPECT_TRUE(items.at(TagStream("Broken")).empty());
  const auto& exif = items.at(TagStream::exif);
  EXPECT_EQ(exif.size(), 6u);  // Make (the later record), Secret, Picture, and the three to read as text
  EXPECT_EQ(exif.at(TagKey::make)->type, TagType::int16u);
  EXPECT_TRUE(exif.contains(TagKey("Secret")));
  EXPECT_EQ(exif.at(TagKey("Odd"))->type, TagType::unknown);
  EXPECT_FALSE(exif.at(TagKey("Blob"))->isWritable) << "a writable undef tag is read, never written";
  EXPECT_THAT(reader->streams(), ElementsAre(TagStream::exif, TagStream("Missing"), TagStream("Broken"), TagStream::iptc));

  // Keeping the writable tags alone drops the read-only ones and those read as text.
  auto writable = TagsResourcesReader::make(folder.path());
  writable->onlyKeepWritable = true;
  writable->readResources();
  writable->waitResourcesParsing();
  std::vector<std::string> kept;
  const auto writableItems = writable->tagItems();
  for (const auto& [key, item] : writableItems.at(TagStream::exif)) kept.push_back(key.rawValue());
  EXPECT_THAT(kept, ElementsAre("Make"));
}

// A reload replaces the catalogue and announces it. Streams are read on first use: by one thread
// while the others wait, once; a stream whose file is broken then is empty, and the others stay
// whole.
TEST(TagsResources, ReloadReplacesTheCatalogueWhoseStreamsAreReadOnFirstUseFromAnyThread) {
  CatalogueFolder folder;
  folder.streams({"EXIF", "Empty", "Broken"});
  folder.tags("EXIF", {record(2, "EXIF", "Model", "string"), record(0, "EXIF", "Make", "string"),
                       record(1, "EXIF", "ISO", "int16u")});
  TagsResources resources;
  std::vector<std::string> events;
  {
    testing::Observation will(TagsResources::willReloadCacheNotification, &resources,
                              [&](const Notification&) { events.push_back("will"); });
    testing::Observation did(TagsResources::didReloadCacheNotification, &resources,
                             [&](const Notification&) { events.push_back("did"); });
    resources.reload(folder.path());
  }
  EXPECT_THAT(events, ElementsAre("will", "did"));
  folder.write("Tags/Broken.tags", "[{\"index\": ");  // after the reload, before the first use
  const auto catalogue = resources.catalogue();
  std::vector<const CatalogueStreamTags*> seen(8);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i)
    threads.emplace_back([&, i] { seen[i] = catalogue->stream(TagStream::exif); });
  for (auto& thread : threads) thread.join();
  for (const auto* each : seen) EXPECT_EQ(each, seen.front());
  ASSERT_TRUE(seen.front());
  EXPECT_EQ(seen.front()->items.size(), 3u);
  EXPECT_TRUE(catalogue->stream(TagStream("Broken"))->items.empty());
  EXPECT_EQ(catalogue->stream(TagStream("Unknown")), nullptr);

  EXPECT_THAT(resources.streams(), ElementsAre(TagStream::exif, TagStream("Empty"), TagStream("Broken")));
  EXPECT_THAT(resources.keys(TagStream::exif), ElementsAre(TagKey::make, TagKey::iso, TagKey("Model")));
  EXPECT_TRUE(resources.keys(TagStream("Empty")).empty());
  EXPECT_TRUE(resources.keys(TagStream("Unknown")).empty());
  EXPECT_TRUE(resources.tag(TagName("EXIF", "Make")));
  EXPECT_TRUE(resources.tagForRawName("EXIF:Make"));
  EXPECT_TRUE(resources.tagForRawName(" EXIF : ISO "));
  EXPECT_FALSE(resources.tagForRawName("NoSeparator"));
  EXPECT_FALSE(resources.tag(TagKey::make, TagStream::iptc));
}

// A tag of the catalogue that the build generated from the system's exiftool.
std::shared_ptr<const TagItem> tag(const char* name) { return TagsResources::shared().tagForRawName(name); }

// The build generates the streams that exiftool names (TagsResourcesWriter::streamsKnownToExifTool()).
TEST(GeneratedCatalogue, HoldsEveryStreamThatAReadFilesAndReadsUntypedTagsReadOnly) {
  const auto catalogue = TagsResources::shared().catalogue();
  const auto& streams = catalogue->streams();
  // Every group of family 0 but the maker notes, which a read files by maker: the makers'
  // groups, one of which exiftool only lists as a table's (PreviewIFD), and CIFF, which the
  // override resource makes. The build names the streams as exiftool does.
  for (const char* stream :
       {"EXIF", "JFIF", "APP12", "PrintIM", "APP14", "MPF", "FlashPix", "Canon", "CanonCustom", "Reconyx", "PreviewIFD",
        "CIFF", "DjVu", "GeoTiff"})
    EXPECT_EQ(std::count(streams.begin(), streams.end(), TagStream(stream)), 1) << stream;
  for (const auto& stream : {TagStream::makerNotes, TagStream::orvfinder, TagStream::trailers, TagStream("ExifIFD")})
    EXPECT_EQ(std::count(streams.begin(), streams.end(), stream), 0) << stream.rawValue();
  std::size_t tags = 0;
  for (const auto& stream : streams) {
    const auto& items = catalogue->stream(stream)->items;
    tags += items.size();
    for (const auto& [key, item] : items) ASSERT_TRUE(item->type.isSupported() || !item->isWritable) << item->name;
  }
  EXPECT_GT(tags, 20000u);
  const auto duration = tag("ASF:Duration");  // listed without a type
  ASSERT_TRUE(duration);
  EXPECT_EQ(duration->type, TagType::unknown);
  // exiftool files what it reads under groups it does not list by name: Nikon's preview IFD,
  // and Canon's raw records in a JPEG (the tables of CanonRaw and Canon, each with its own
  // corrections).
  EXPECT_TRUE(tag("PreviewIFD:Compression"));
  EXPECT_TRUE(tag("CIFF:FocalType"));
  const auto original = tag("CIFF:DateTimeOriginal");
  ASSERT_TRUE(original);
  EXPECT_TRUE(original->type.isDateTime());
  // Tags that exiftool lists with a storage format are typed by the overrides, not dropped.
  const auto sharpness = tag("Canon:Sharpness");  // int16s
  ASSERT_TRUE(sharpness);
  EXPECT_EQ(sharpness->type, TagType::integer);
}

TEST(GeneratedCatalogue, NamesAndValuesReadWhole) {
  testing::UserLanguageScope german(Language::german);
  const auto source = tag("EXIF:FileSource");
  ASSERT_TRUE(source);
  EXPECT_EQ(source->localizedName(), "Dateiquelle");
  EXPECT_EQ(source->localizedDescription(), "Dateiquelle (EXIF:FileSource)");
  // The Sigma value's key holds backslashes: "EXIF:FileSource:\x03\x00\x00\x00".
  const auto sigma = source->indexOf("\\x03\\x00\\x00\\x00");
  ASSERT_TRUE(sigma);
  ASSERT_EQ(source->localizedValues().size(), source->values.size());
  EXPECT_EQ(source->localizedValues()[*sigma], "Sigma Digital-Kamera");
  EXPECT_EQ(source->localizedValues()[*source->indexOf("1")], "Film-Scanner");
}

TEST(GeneratedCatalogue, ParseNVConvertsByTheTagsConverter) {
  const auto parsed = TagsUtil::parseNV("EXIF:ISO", Value(std::int64_t{400}));
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->first, TagName("EXIF", "ISO"));
  EXPECT_EQ(parsed->second, "400");
  EXPECT_FALSE(TagsUtil::parseNV("EXIF:NoSuchTag", Value("x")));
  EXPECT_FALSE(TagsUtil::parseNV("NoSeparator", Value("x")));
  EXPECT_FALSE(TagsUtil::parseNV("EXIF:ISO", Value("not a number")));
}

// A listing in the form of `exiftool -listx`, with the cases the parser must get right.
const std::string kListing = testing::readFile(testing::dataDirectory() / "taginfo.xml");

std::shared_ptr<TagsResourcesWriter> writerWithoutOverrides(const fs::path& folder) {
  auto writer = TagsResourcesWriter::make(folder);
  writer->overriddenTypes.clear();
  writer->overriddenAccess.clear();
  writer->overriddenCounts.clear();
  return writer;
}

TEST(TagsResourcesWriterParse, RecordsInDocumentOrderFirstOccurrenceWins) {
  testing::ScratchFolder folder;
  auto writer = writerWithoutOverrides(folder.path());
  const auto result = writer->parse(kListing, TagStream::exif);
  ASSERT_TRUE(result);
  const auto& records = result->records;
  ASSERT_EQ(records.size(), 8u);
  EXPECT_EQ(records[0].key, "Orientation");
  EXPECT_EQ(records[0].type, "int16u");  // the first table's, not the second's
  EXPECT_THAT(records[0].values, ElementsAre("1", "3"));
  EXPECT_TRUE(records[0].isUnsafe);
  EXPECT_EQ(records[1].key, "Secret");
  EXPECT_FALSE(records[1].isWritable);
  EXPECT_EQ(records[2].key, "Profile");
  EXPECT_EQ(records[2].type, "?");  // only ICC_Profile turns "?" into a string
  EXPECT_EQ(records[2].count, 0);   // "x" is no count
  EXPECT_TRUE(records[2].isBinary && records[2].isList);
  EXPECT_EQ(records[3].key, "Versions");
  EXPECT_EQ(records[3].count, 4);
  EXPECT_TRUE(records[3].isFlatten);
  // Types that are no TagType stay as exiftool gives them: corrections come from the overrides.
  EXPECT_EQ(records[4].type, "int16s");
  EXPECT_EQ(records[4].count, 4);
  EXPECT_EQ(records[5].type, "float");
  EXPECT_EQ(records[6].type, "utf8");
  EXPECT_EQ(records[7].type, "Rect");
  for (std::size_t i = 0; i < records.size(); ++i) EXPECT_EQ(records[i].index, static_cast<std::int64_t>(i));

  const auto& english = result->strings.at(Language::english);
  EXPECT_EQ(english.at("EXIF:Orientation"), "Orientation");  // not the second table's text
  EXPECT_EQ(english.at("EXIF:Orientation:1"), "Horizontal \"normal\"");
  EXPECT_EQ(result->strings.at(Language::german).at("EXIF:Orientation"), "Ausrichtung");
  EXPECT_EQ(result->strings.at(Language::french).at("EXIF:Orientation:1"), "Horizontale");
  EXPECT_EQ(result->strings.size(), 15u);  // Slovak is no language of the library
  // A text made of blanks is a text: it is kept, not taken for a missing one.
  EXPECT_EQ(result->strings.at(Language::german).at("EXIF:Secret"), " ");
  EXPECT_THAT(records[1].values, ElementsAre("\"", "\\x03\\x00", "z"));
}

TEST(TagsResourcesWriterParse, OverridesAndTheICCRule) {
  testing::ScratchFolder folder;
  auto writer = writerWithoutOverrides(folder.path());
  writer->overriddenTypes["EXIF"]["Secret"] = "longstring";
  writer->overriddenAccess["EXIF"]["Secret"] = "write";
  writer->overriddenAccess["EXIF"]["Orientation"] = "read";
  writer->overriddenCounts["EXIF"]["Versions"] = 2;
  writer->onlyKeepWritable = true;
  const auto result = writer->parse(kListing, TagStream::exif);
  ASSERT_TRUE(result);
  std::vector<std::string> keys;
  for (const auto& record : result->records) keys.push_back(*record.key);
  // Orientation is made read-only and dropped; Secret made writable and kept.
  ASSERT_THAT(keys, ElementsAre("Secret", "Profile", "Versions", "Levels", "Ratio", "Label"));
  EXPECT_EQ(result->records[3].type, "int16s");
  EXPECT_EQ(result->records[0].type, "longstring");
  EXPECT_EQ(result->records[2].count, 2);

  const auto icc = writerWithoutOverrides(folder.path())->parse(kListing, TagStream::icc);
  EXPECT_EQ(icc->records[2].type, "string");
  EXPECT_FALSE(writerWithoutOverrides(folder.path())->parse("<taginfo><table>", TagStream::exif));  // broken XML
}

TEST(TagsResourcesWriterExport, StringsFilesHoldTheEnglishKeysInEveryLanguageAndReadBackExactly) {
  testing::ScratchFolder folder;
  auto writer = writerWithoutOverrides(folder.path());
  writer->exportStrings(*writer->parse(kListing, TagStream::exif), TagStream::exif);
  const auto english = testing::readFile(folder / "Localized tags/English.lproj/EXIF.strings");
  EXPECT_THAT(english, ::testing::StartsWith("/*\n"));
  EXPECT_THAT(english, HasSubstr("\"EXIF:Orientation:1\" = \"Horizontal \\\"normal\\\"\";\n"));
  EXPECT_THAT(english, HasSubstr("\"EXIF:Profile\" = \"Line one\nline two\";\n"));
  // Escaped in keys and texts alike: a double quote and a backslash each get a backslash.
  EXPECT_THAT(english, HasSubstr("\"EXIF:Secret:\\\\x03\\\\x00\" = \"Backslashes \\\\ and \\\"quotes\\\"\";\n"));
  // Keys are written sorted.
  EXPECT_LT(english.find("\"EXIF:Orientation\""), english.find("\"EXIF:Secret\""));
  const auto german = readStringsFile(folder / "Localized tags/Deutsch.lproj/EXIF.strings");
  EXPECT_EQ(german.at("EXIF:Orientation"), "Ausrichtung");
  EXPECT_EQ(german.at("EXIF:Orientation:1"), "Horizontal \"normal\"");  // English stands in
  EXPECT_EQ(german.at("EXIF:Profile"), "Line one\nline two");
  const auto french = readStringsFile(folder / "Localized tags/Français.lproj/EXIF.strings");
  EXPECT_EQ(french.size(), readStringsFile(folder / "Localized tags/English.lproj/EXIF.strings").size());
  for (const auto& [folderName, quoted, after] : {
           std::tuple{"English.lproj", "Double quotes", "After the quoted keys"},
           std::tuple{"Deutsch.lproj", "Doppelte \"Anführungszeichen\"", "Nach den Schlüsseln"},
           std::tuple{"Italiano.lproj", "Double quotes", "After the quoted keys"},
       }) {
    const auto table = readStringsFile(folder / "Localized tags" / folderName / "EXIF.strings");
    EXPECT_EQ(table.at("EXIF:Secret:\""), quoted) << folderName;
    EXPECT_EQ(table.at("EXIF:Secret:\\x03\\x00"), "Backslashes \\ and \"quotes\"") << folderName;
    // Nothing after a quoted key is lost.
    EXPECT_EQ(table.at("EXIF:Secret:z"), after) << folderName;
    EXPECT_EQ(table.at("EXIF:Versions"), "Versions") << folderName;
  }
}

// Records the callbacks of a run, delivered on an operation queue of the test's own.
class WriterDelegate : public TagsResourcesWriterDelegate {
 public:
  void writerWillStart(TagsResourcesWriter& writer) override {
    log.add("will");
    total = writer.totalUnit();
  }
  void writerDidProgress(TagsResourcesWriter&) override { log.add("progress"); }
  void writerDidFinish(TagsResourcesWriter& writer) override {
    log.add("finish");
    finalProgress = writer.progress();
    completedStreams = writer.completedStreams();
    finished.set_value();
  }
  std::vector<std::string> events() const { return log.events(); }
  testing::EventLog log;
  std::promise<void> finished;
  std::int64_t total = -1;
  double finalProgress = -1;
  std::vector<TagStream> completedStreams;
};

// Runs `writer` with a recording delegate told on `delegation`, and waits for its finish. With
// `askTwice`, for a run long enough to be under way still, a second call is ignored.
std::shared_ptr<WriterDelegate> run(TagsResourcesWriter& writer, OperationQueue& delegation, bool askTwice = false) {
  auto delegate = std::make_shared<WriterDelegate>();
  writer.delegate = delegate;
  writer.delegationQueue = &delegation;
  writer.writeResources();
  if (askTwice) writer.writeResources();
  writer.waitResourcesGeneration();
  EXPECT_EQ(delegate->finished.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_EQ(delegate->finalProgress, 1.0);  // the counters are cleared at the end
  EXPECT_FALSE(writer.isWriting());
  return delegate;
}

TEST(TagsResourcesWriterRun, GeneratesStreamsFromExifToolAndCountsEachOne) {
  testing::ScratchFolder empty;
  OperationQueue delegation(1);
  const auto none = run(*writerWithoutOverrides(empty.path()), delegation);
  // The will-start call runs on the delegation queue, possibly after this short run ended and
  // its units were reset: the total it reads is not checked here, only the one step it made.
  EXPECT_THAT(none->events(), ElementsAre("will", "progress", "finish"));
  EXPECT_EQ(nlohmann::json::parse(testing::readFile(empty / "Tags/streams.json")), nlohmann::json::array());

  testing::ScratchFolder folder;
  auto writer = TagsResourcesWriter::make(folder.path());
  writer->streams = {TagStream::gps, TagStream("NoSuchGroup")};
  const auto delegate = run(*writer, delegation, true);
  // One unit for the stream list and one per stream, each with its progress callback.
  EXPECT_EQ(delegate->total, 3);
  EXPECT_THAT(delegate->events(), ElementsAre("will", "progress", "progress", "progress", "finish"));
  EXPECT_THAT(delegate->completedStreams, ::testing::UnorderedElementsAre(TagStream::gps, TagStream("NoSuchGroup")));
}

TEST(TagsResourcesWriterRun, TheLastOwnerMayLetGoDuringARun) {
  testing::ScratchFolder folder;
  OperationQueue delegation(1);
  auto delegate = std::make_shared<WriterDelegate>();
  {
    auto writer = TagsResourcesWriter::make(folder.path());
    writer->delegate = delegate;
    writer->delegationQueue = &delegation;
    writer->streams = {TagStream::gps, TagStream("NoSuchGroup")};
    writer->writeResources();
  }  // the streams under way end after the last owner has gone; no callback comes from them
  delegation.waitUntilAllOperationsAreFinished();
  const auto events = delegate->events();
  EXPECT_EQ(std::count(events.begin(), events.end(), "finish"), 0);
}

TEST(TagsResourcesWriter, ReplacingTheCatalogueSwapsBothFoldersOrNeither) {
  struct Case {
    const char* name;
    const char* failTo;  // relative to the scratch folder: the first move there fails
  };
  for (const auto& [name, failTo] : {Case{"the new localized tags cannot come in", "resources/Localized tags"},
                                     Case{"the former localized tags cannot go", "fresh/former Localized tags"}}) {
    SCOPED_TRACE(name);
    testing::ScratchFolder scratch;
    for (const char* folder : {"resources", "fresh"})
      for (const char* catalogue : {"Tags", "Localized tags"}) {
        fs::create_directories(scratch / folder / catalogue);
        testing::writeFile(scratch / folder / catalogue / "owner", folder);
      }
    testing::FailingFileSystem fileSystem;
    fileSystem.fails = [&, failed = false](const testing::FailingFileSystem::Operation& operation) mutable {
      if (failed || operation.name != "moveItem" || operation.to != scratch / failTo) return false;
      return failed = true;
    };
    const auto failure = TagsResourcesWriter::replaceCatalogue(scratch / "fresh", scratch / "resources");
    ASSERT_TRUE(failure);
    EXPECT_THAT(*failure, HasSubstr("Localized tags cannot be replaced: "));
    for (const char* catalogue : {"Tags", "Localized tags"}) {
      EXPECT_EQ(testing::readFile(scratch / "resources" / catalogue / "owner"), "resources") << catalogue;
      EXPECT_EQ(testing::readFile(scratch / "fresh" / catalogue / "owner"), "fresh") << catalogue;
    }
  }
}

// `orvelin catalogue generate`: the tool that builds the catalogue of this build.
TEST(CatalogueGenerateCommand, NamesEachStreamAndReplacesTheFormerCatalogue) {
  testing::ScratchFolder scratch;
  const auto directory = scratch / "resources";
  // A former catalogue with a stream that is no longer generated.
  fs::create_directories(directory / "Tags");
  fs::create_directories(directory / "Localized tags/English.lproj");
  testing::writeFile(directory / "Tags/Gone.tags", "[]");
  testing::writeFile(directory / "Localized tags/English.lproj/Gone.strings", "");
  testing::writeFile(directory / "Other resource.json", "{}");

  const auto run = testing::runTool({"catalogue", "generate", directory.string(), "--stream", "GPS", "--stream", "IPTC"},
                                    scratch.path());
  EXPECT_EQ(run.status, 0) << run.errors;
  for (const char* line : {"catalogue: GPS (", "catalogue: IPTC (", "catalogue: 2 streams"})
    EXPECT_THAT(run.errors, HasSubstr(line));
  // Only the catalogue's folders are replaced.
  for (const char* kept : {"Tags/GPS.tags", "Localized tags/Deutsch.lproj/IPTC.strings", "Other resource.json"})
    EXPECT_TRUE(fs::exists(directory / kept)) << kept;
  for (const char* gone : {"Tags/Gone.tags", "Localized tags/English.lproj/Gone.strings"})
    EXPECT_FALSE(fs::exists(directory / gone)) << gone;
  for (const auto& entry : fs::directory_iterator(directory))
    EXPECT_THAT(entry.path().filename().string(), Not(HasSubstr(".catalogue-"))) << "the fresh folder is gone";
}

TEST(CatalogueGenerateCommand, AStreamThatWasNotWrittenFailsTheRunAndKeepsTheFormerCatalogue) {
  testing::ScratchFolder scratch;
  const auto directory = scratch / "resources";
  fs::create_directories(directory / "Tags");
  testing::writeFile(directory / "Tags/streams.json", "[\"Former\"]");
  // A name too long for a file name: exiftool answers, but its files cannot be made.
  const std::string tooLong(300, 'X');

  const auto run = testing::runTool({"catalogue", "generate", directory.string(), "--stream", "GPS", "--stream", tooLong},
                                    scratch.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.errors, HasSubstr(directory.string() + ": Tags/" + tooLong + ".tags was not written\n"));
  EXPECT_THAT(run.errors, Not(HasSubstr(": Tags/GPS.tags was not written")));
  EXPECT_EQ(testing::readFile(directory / "Tags/streams.json"), "[\"Former\"]");
  EXPECT_FALSE(fs::exists(directory / "Tags/GPS.tags"));
}

}  // namespace
}  // namespace orvelin
