#include "orvelin/catalogue/tags_resources_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <future>
#include <tuple>

#include "common/event_log.h"
#include "common/failing_file_system.h"
#include "common/test_support.h"
#include "orvelin/support/strings_table.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

// A listing in the form of `exiftool -listx`, with the cases the parser must get right.
const std::string kListing = testing::readFile(testing::dataDirectory() / "taginfo.xml");

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
class RecordingDelegate : public TagsResourcesWriterDelegate {
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

// Runs `writer` with a recording delegate told on `delegation`, and waits for its finish.
std::shared_ptr<RecordingDelegate> run(TagsResourcesWriter& writer, OperationQueue& delegation) {
  auto delegate = std::make_shared<RecordingDelegate>();
  writer.delegate = delegate;
  writer.delegationQueue = &delegation;
  writer.writeResources();
  writer.writeResources();  // ignored while writing
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
  const auto delegate = run(*writer, delegation);
  // One unit for the stream list and one per stream, each with its progress callback.
  EXPECT_EQ(delegate->total, 3);
  EXPECT_THAT(delegate->events(), ElementsAre("will", "progress", "progress", "progress", "finish"));
  EXPECT_THAT(delegate->completedStreams, ::testing::UnorderedElementsAre(TagStream::gps, TagStream("NoSuchGroup")));
}

TEST(TagsResourcesWriterRun, TheLastOwnerMayLetGoDuringARun) {
  testing::ScratchFolder folder;
  OperationQueue delegation(1);
  auto delegate = std::make_shared<RecordingDelegate>();
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
    for (const char* folder : {"resources", "fresh"}) {
      for (const char* catalogue : {"Tags", "Localized tags"}) {
        std::filesystem::create_directories(scratch / folder / catalogue);
        testing::writeFile(scratch / folder / catalogue / "owner", folder);
      }
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
