#include "orvelin/catalogue/tags_resources_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <future>

#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources_reader.h"
#include "orvelin/support/localization.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

const char* const kListing = R"(<?xml version='1.0' encoding='UTF-8'?>
<taginfo>
<table name='Exif::Main' g0='EXIF' g1='IFD0' g2='Image'>
 <tag id='274' name='Orientation' type='int16u' writable='true' flags='Unsafe'>
  <desc lang='en'>Orientation</desc>
  <desc lang='de'>Ausrichtung</desc>
  <desc lang='sk'>Orientácia</desc>
  <values>
   <key id='1'>
    <val lang='en'>Horizontal "normal"</val>
    <val lang='fr'>Horizontale</val>
   </key>
   <key id='3'>
    <val lang='en'>Rotate 180</val>
   </key>
  </values>
 </tag>
 <tag id='1' name='Secret' type='string' writable='false'>
  <desc lang='en'>Secret</desc>
 </tag>
 <tag id='2' name='Profile' type='?' count='x' writable='true' flags='Binary,List'>
  <desc lang='en'>Line one
line two</desc>
 </tag>
</table>
<table name='Exif::Other' g0='EXIF'>
 <tag id='274' name='Orientation' type='string' writable='false'>
  <desc lang='en'>Second orientation</desc>
 </tag>
 <tag id='9' name='Versions' type='int8u' count='4' writable='true' flags='Flattened'>
  <desc lang='en'>Versions</desc>
 </tag>
 <tag id='10' type='string' writable='true'/>
 <tag id='11' name='Levels' type='int16s' count='4' writable='true'/>
 <tag id='12' name='Ratio' type='float' writable='true'/>
 <tag id='13' name='Label' type='utf8' writable='true'/>
 <tag id='14' name='Shape' type='Rect' writable='false'/>
</table>
</taginfo>
)";

std::shared_ptr<TagsResourcesWriter> writerWithoutOverrides(const std::filesystem::path& folder) {
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
  // Storage formats without a type of their own take the type that behaves alike; others stay.
  EXPECT_EQ(records[4].type, "integer");
  EXPECT_EQ(records[4].count, 4);
  EXPECT_EQ(records[5].type, "real");
  EXPECT_EQ(records[6].type, "string");
  EXPECT_EQ(records[7].type, "Rect");
  for (std::size_t i = 0; i < records.size(); ++i) EXPECT_EQ(records[i].index, static_cast<std::int64_t>(i));

  const auto& english = result->strings.at(Language::english);
  EXPECT_EQ(english.at("EXIF:Orientation"), "Orientation");  // not the second table's text
  EXPECT_EQ(english.at("EXIF:Orientation:1"), "Horizontal \"normal\"");
  EXPECT_EQ(result->strings.at(Language::german).at("EXIF:Orientation"), "Ausrichtung");
  EXPECT_EQ(result->strings.at(Language::french).at("EXIF:Orientation:1"), "Horizontale");
  EXPECT_EQ(result->strings.size(), 15u);  // Slovak is no language of the library
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
  EXPECT_THAT(keys, ElementsAre("Secret", "Profile", "Versions", "Levels", "Ratio", "Label"));
  EXPECT_EQ(result->records[0].type, "longstring");
  EXPECT_EQ(result->records[2].count, 2);

  const auto icc = writerWithoutOverrides(folder.path())->parse(kListing, TagStream::icc);
  EXPECT_EQ(icc->records[2].type, "string");
}

TEST(TagsResourcesWriterParse, BrokenXMLIsNoResult) {
  testing::ScratchFolder folder;
  EXPECT_FALSE(writerWithoutOverrides(folder.path())->parse("<taginfo><table>", TagStream::exif));
}

TEST(TagsResourcesWriterExport, StringsFilesHoldTheEnglishKeysInEveryLanguage) {
  testing::ScratchFolder folder;
  auto writer = writerWithoutOverrides(folder.path());
  const auto result = writer->parse(kListing, TagStream::exif);
  writer->exportStrings(*result, TagStream::exif);
  const auto english = testing::readFile(folder / "Localized tags/English.lproj/EXIF.strings");
  EXPECT_THAT(english, ::testing::StartsWith("/*\n"));
  EXPECT_THAT(english, HasSubstr("Localization.strings"));
  EXPECT_THAT(english, HasSubstr("Orvelin"));
  EXPECT_THAT(english, HasSubstr("\"EXIF:Orientation:1\" = \"Horizontal \\\"normal\\\"\";\n"));
  EXPECT_THAT(english, HasSubstr("\"EXIF:Profile\" = \"Line one\nline two\";\n"));
  const auto german = readStringsFile(folder / "Localized tags/Deutsch.lproj/EXIF.strings");
  EXPECT_EQ(german.at("EXIF:Orientation"), "Ausrichtung");
  EXPECT_EQ(german.at("EXIF:Orientation:1"), "Horizontal \"normal\"");  // English stands in
  EXPECT_EQ(german.at("EXIF:Profile"), "Line one\nline two");
  const auto french = readStringsFile(folder / "Localized tags/Français.lproj/EXIF.strings");
  EXPECT_EQ(french.size(), readStringsFile(folder / "Localized tags/English.lproj/EXIF.strings").size());
  // Keys are written sorted.
  EXPECT_LT(english.find("\"EXIF:Orientation\""), english.find("\"EXIF:Secret\""));
}

// Reports the end of a run.
class FinishDelegate : public TagsResourcesWriterDelegate {
 public:
  void writerWillStart(TagsResourcesWriter& writer) override { total = writer.totalUnit(); }
  void writerDidProgress(TagsResourcesWriter&) override {}
  void writerDidFinish(TagsResourcesWriter& writer) override {
    finalProgress = writer.progress();
    finished.set_value();
  }
  std::promise<void> finished;
  std::int64_t total = -1;
  double finalProgress = -1;
};

TEST(TagsResourcesWriterRun, NoStreamsWritesAnEmptyList) {
  testing::ScratchFolder folder;
  OperationQueue delegation(1);
  auto writer = writerWithoutOverrides(folder.path());
  auto delegate = std::make_shared<FinishDelegate>();
  writer->delegate = delegate;
  writer->delegationQueue = &delegation;
  writer->writeResources();
  writer->waitResourcesGeneration();
  ASSERT_EQ(delegate->finished.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_EQ(delegate->total, 1);
  EXPECT_EQ(delegate->finalProgress, 1.0);
  EXPECT_EQ(nlohmann::json::parse(testing::readFile(folder / "Tags/streams.json")), nlohmann::json::array());
}

TEST(TagsResourcesWriterRun, GeneratesAStreamFromExifTool) {
  testing::ScratchFolder folder;
  auto writer = TagsResourcesWriter::make(folder.path());
  writer->streams = {TagStream::gps, TagStream("NoSuchGroup")};
  writer->writeResources();
  writer->waitResourcesGeneration();
  auto reader = TagsResourcesReader::make(folder.path());
  reader->readResources();
  reader->waitResourcesParsing();
  const auto items = reader->tagItems();
  ASSERT_TRUE(items.contains(TagStream::gps));
  const auto& gps = items.at(TagStream::gps);
  ASSERT_TRUE(gps.contains(TagKey::gpsLatitude));
  EXPECT_TRUE(gps.at(TagKey::gpsLatitude)->isWritable);
  EXPECT_TRUE(items.at(TagStream("NoSuchGroup")).empty());
  const auto strings = readStringsFile(folder / "Localized tags/Deutsch.lproj/GPS.strings");
  EXPECT_TRUE(strings.contains("GPS:GPSLatitude"));
}

TEST(TagsResourcesWriterRun, KnownStreamsUseExifToolsSpelling) {
  const auto streams = TagsResourcesWriter::streamsKnownToExifTool();
  EXPECT_THAT(streams, ::testing::Contains(TagStream::exif));
  EXPECT_THAT(streams, ::testing::Contains(TagStream("DjVu")));
  EXPECT_THAT(streams, ::testing::Not(::testing::Contains(TagStream::orvfinder)));
  EXPECT_THAT(streams, ::testing::Not(::testing::Contains(TagStream::trailers)));
}

}  // namespace
}  // namespace orvelin
