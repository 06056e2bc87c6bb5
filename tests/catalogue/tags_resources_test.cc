#include "orvelin/catalogue/tags_resources.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <future>
#include <thread>

#include "common/event_log.h"
#include "common/test_support.h"
#include "common/user_language.h"
#include "orvelin/catalogue/tags_resources_reader.h"
#include "orvelin/exiftool/language.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/operation_queue.h"
#include "orvelin/values/value.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;

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
    std::filesystem::create_directories((folder_.path() / relative).parent_path());
    testing::writeFile(folder_.path() / relative, text);
  }
  const std::filesystem::path& path() const { return folder_.path(); }

 private:
  testing::ScratchFolder folder_;
};

// Records the delegate callbacks, delivered on an operation queue of the test's own.
class RecordingDelegate : public TagsResourcesReaderDelegate {
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
                                              const std::shared_ptr<RecordingDelegate>& delegate) {
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
    auto delegate = std::make_shared<RecordingDelegate>();
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
  auto delegate = std::make_shared<RecordingDelegate>();
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

TEST(TagsResources, ReloadReplacesTheCatalogueAndAnnouncesIt) {
  CatalogueFolder folder;
  folder.streams({"EXIF", "Empty"});
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
  EXPECT_THAT(resources.streams(), ElementsAre(TagStream::exif, TagStream("Empty")));
  EXPECT_THAT(resources.keys(TagStream::exif), ElementsAre(TagKey::make, TagKey::iso, TagKey("Model")));
  EXPECT_TRUE(resources.keys(TagStream("Empty")).empty());
  EXPECT_TRUE(resources.keys(TagStream("Unknown")).empty());
  EXPECT_TRUE(resources.tag(TagName("EXIF", "Make")));
  EXPECT_TRUE(resources.tagForRawName("EXIF:Make"));
  EXPECT_TRUE(resources.tagForRawName(" EXIF : ISO "));
  EXPECT_FALSE(resources.tagForRawName("NoSeparator"));
  EXPECT_FALSE(resources.tag(TagKey::make, TagStream::iptc));
}

// Streams are read on first use: by one thread while the others wait, once; a stream whose file
// is broken then is empty, and the others stay whole.
TEST(TagsResources, StreamsReadOnFirstUseFromAnyThread) {
  CatalogueFolder folder;
  folder.streams({"EXIF", "Broken"});
  folder.tags("EXIF", {record(0, "EXIF", "Make", "string"), record(1, "EXIF", "ISO", "int16u")});
  TagsResources resources;
  resources.reload(folder.path());
  folder.write("Tags/Broken.tags", "[{\"index\": ");  // after the reload, before the first use
  const auto catalogue = resources.catalogue();
  std::vector<const CatalogueStreamTags*> seen(8);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i)
    threads.emplace_back([&, i] { seen[i] = catalogue->stream(TagStream::exif); });
  for (auto& thread : threads) thread.join();
  for (const auto* each : seen) EXPECT_EQ(each, seen.front());
  ASSERT_TRUE(seen.front());
  EXPECT_EQ(seen.front()->items.size(), 2u);
  EXPECT_TRUE(catalogue->stream(TagStream("Broken"))->items.empty());
  EXPECT_EQ(catalogue->stream(TagStream("Unknown")), nullptr);
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

TEST(GeneratedCatalogue, NamesAndValuesReadWholeInEveryLanguage) {
  // File.strings has keys with a double quote ("File:Quoting:\"") and a backslash; every entry
  // after them must be there, in each language.
  for (const auto& [language, yResolution] : {
           std::pair{Language::english, "Y Resolution"},
           std::pair{Language::german, "Vertikale Bildauflösung"},
           std::pair{Language::french, "Résolution verticale de l'image"},
       }) {
    testing::UserLanguageScope choice(language);
    SCOPED_TRACE(ORVCurrentLocalizationName());
    EXPECT_EQ(ORVTL("File", "File:Quoting:\""), "Double quotes");
    EXPECT_EQ(ORVTL("File", "File:Quoting:'"), "Single quotes");
    EXPECT_EQ(ORVTL("File", "File:YResolution"), yResolution);
    EXPECT_EQ(ORVTL("File", "File:ZoneIdentifier"), "Zone Identifier");
  }

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

}  // namespace
}  // namespace orvelin
