#include "orvelin/editor/metadata_editor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/editors.h"
#include "common/event_log.h"
#include "common/recording_runner.h"
#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/editor_dates.h"
#include "orvelin/editor/editor_editions.h"
#include "orvelin/editor/editor_finder_tags.h"
#include "orvelin/editor/editor_gps.h"
#include "orvelin/editor/editor_image_facts.h"
#include "orvelin/editor/editor_values.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/storage/metadata_et_writer.h"
#include "orvelin/values/date_time_value_converter.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using testing::EventRecorder;
using testing::copySample;
using testing::editorOf;
using testing::readEditor;
using testing::tag;

const TagName artist("EXIF", "Artist");
const TagName make("EXIF", "Make");
const TagName model("EXIF", "Model");
const TagName software("EXIF", "Software");
const TagName iptcCity("IPTC", "City");
const TagName profileDescription("ICC_Profile", "ProfileDescription");
const TagName unknownProfileTag("ICC_Profile", "NoSuchProfileTag");
const TagName fileSize("File", "FileSize");

// An HEIC editor that read IPTC:City, with IPTC among the streams seen or not.
std::shared_ptr<MetadataEditor> heicEditor(bool iptcSeen) {
  ReadWriteStorage storage{fs::path("/photos/a.heic")};
  if (iptcSeen) storage.store(TagStream::iptc, TagStream::iptc);
  storage.store("Paris", iptcCity);
  return MetadataEditor::create(std::move(storage));
}

class MetadataEditorTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { TagsResources::shared().reload(); }

  std::shared_ptr<ETImageMetadataEditor> readSample(const std::string& sample, const std::string& as = "") {
    const auto path = copySample(sample, scratch.path());
    if (as.empty()) return readEditor(path);
    fs::rename(path, scratch / as);
    return readEditor(scratch / as);
  }

  testing::ScratchFolder scratch;
};

// The row of the file type in the access table decides ("N" counts as no answer), else the
// streams the file was seen with; the catalogue has its say on edits on top of the access.
TEST_F(MetadataEditorTest, AccessComesFromTheTableThenFromTheStreamsSeen) {
  const std::map<std::string, std::shared_ptr<MetadataEditor>> editors{
      {"jpg", readSample("Canon.jpg")},
      {"xyz", readSample("Canon.jpg", "Canon.xyz")},  // a file type the table lacks
      {"icm", readSample("ICC_Profile.icc", "Profile.icm")},
      {"heic", heicEditor(true)},  // IPTC is "N" for HEIC
      {"heic, IPTC unseen", heicEditor(false)},
      {"folder", readImageFolder(MetadataETReader(), scratch / "album")},
      // A folder editor whose URL has an extension is a folder, but its storage goes by the URL.
      {"dotted folder", MetadataEditor::create<ETFolderMetadataEditor>(ReadWriteStorage(scratch / "album.d"))},
  };
  const struct {
    const char* editor;
    TagName name;
    const char* access;
    bool editable;
    const char* why;
  } cases[] = {
      {"jpg", artist, "RWC", true, "the table's answer, although the file lacks the tag"},
      {"jpg", TagName("FlashPix", "CodePage"), "R", false, "read-only in the table"},
      {"jpg", TagName("Canon", "MacroMode"), "RW", true, "a maker stream is not in the table: the streams seen decide"},
      {"jpg", TagName("Canon", "NoSuchCanonTag"), "R", false, "a maker stream seen, without the tag"},
      {"jpg", TagName("PNG", "Title"), "N", false, "neither in the table nor seen"},
      {"jpg", TagName("EXIF", "NoSuchExifTag"), "RWC", false, "unknown to the catalogue"},
      {"jpg", TagName("EXIF", "ThumbnailImage"), "RWC", false, "writable, but of no supported type"},
      {"jpg", profileDescription, "RWC", false, "in a JPEG the profile tags follow the catalogue"},
      {"jpg", unknownProfileTag, "RWC", false, "in a JPEG the profile tags follow the catalogue"},
      {"xyz", make, "RW", true, "a tag of a stream the file has"},
      {"xyz", artist, "R", false, "a missing tag of a stream the file has"},
      {"xyz", iptcCity, "N", false, "a stream the file does not have"},
      {"heic", iptcCity, "RW", true, "IPTC seen"},
      {"heic", TagName("IPTC", "Headline"), "R", false, "IPTC seen, without the tag"},
      {"heic, IPTC unseen", iptcCity, "N", false, "a value read, but hidden"},
      {"icm", profileDescription, "RWC", true, "read-only in the catalogue, editable in its own file"},
      {"icm", unknownProfileTag, "RWC", true, "not even in the catalogue"},
      {"icm", artist, "N", false, "no EXIF in a profile"},
      {"folder", artist, "RWC", true, "every name"},
      {"folder", tag("NoSuchStream:NoSuchKey"), "RWC", false, "the catalogue still has its say"},
      {"folder", fileSize, "RWC", false, "read-only in the catalogue"},
      {"dotted folder", artist, "N", false, "no type, no stream seen"},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(::testing::Message() << row.editor << ", " << row.name << ": " << row.why);
    const auto& editor = editors.at(row.editor);
    EXPECT_EQ(std::string(editor->access(row.name).rawValue()), row.access);
    EXPECT_EQ(editor->canReadValue(row.name), std::string(row.access) != "N");
    EXPECT_EQ(editor->canEditValue(row.name), row.editable);
  }
  EXPECT_TRUE(editors.at("dotted folder")->isFolder());
  // A value read from a stream that the access hides is visible to unsafeGetValue() alone.
  const auto& hidden = editors.at("heic, IPTC unseen");
  EXPECT_EQ(hidden->currentValue(iptcCity), std::nullopt);
  EXPECT_THAT(hidden->unsafeGetValue(iptcCity), Optional(std::string("Paris")));
}

TEST_F(MetadataEditorTest, SetValueRegistersOnlyWhatItMayChange) {
  auto editor = editorOf({{"EXIF:Make", "Canon"}, {"EXIF:Model", "EOS"}});
  EventRecorder recorder(editor);

  editor->setValue(std::string("Canon"), make);  // the current value
  editor->setValue(std::nullopt, artist);        // absent and absent
  editor->setValue(std::string("x"), fileSize);  // not editable
  // Numbers that are not finite (JSON cannot carry them): of a double, an integer, a list element.
  for (const auto& [text, key] : {std::pair{"inf", "FNumber"}, {"1e999", "ExposureCompensation"}, {"nan", "FNumber"},
                                  {"-inf", "ISO"}, {"1 nan 3", "PixelScale"}})
    editor->setValue(std::string(text), TagName("EXIF", key));
  EXPECT_THAT(recorder.events(), IsEmpty());

  // A clear of an editable tag that the file lacks: registered, the storage unchanged.
  editor->setValue(std::string(), artist);
  EXPECT_FALSE(editor->isValueEdited(artist));
  EXPECT_THAT(recorder.namesOf(editor), ElementsAre(Optional(ElementsAre(artist))));

  // Without an open session every changed name is a session of its own.
  recorder.clear();
  editor->setValue(std::string(), std::vector<TagName>{make, model});
  EXPECT_THAT(recorder.events(), ElementsAre("will-begin", "did-end", "will-begin", "did-end"));
  EXPECT_THAT(editor->writtenValue(make), Optional(std::string()));
  EXPECT_THAT(editor->currentValue(model), Optional(std::string()));

  // Inside one: one announcement with every name.
  recorder.clear();
  EditionsManager::shared().session([&] {
    editor->setValues(std::vector<std::pair<TagName, std::optional<std::string>>>{{make, std::nullopt},
                                                                                  {software, "Tool"}});
    editor->setValues(std::map<TagName, std::string>{{model, "EOS"}, {artist, "Ada"}});
  });
  EXPECT_THAT(recorder.events(), ElementsAre("will-begin", "did-end"));
  EXPECT_THAT(recorder.namesOf(editor).back(), Optional(ElementsAre(artist, make, model, software)));
  // Absent restores the make's original; the model's original text withdraws its edit.
  EXPECT_THAT(editor->writtenTagNames(), ElementsAre(artist, software));
}

TEST_F(MetadataEditorTest, FinderTagsOfAFileAndOfAFolderAndTheKeywords) {
  const auto path = copySample("Canon.jpg", scratch.path());
  testing::exifToolInPlace(path, {"-IPTC:Keywords=jambalaya"});
  testing::setFinderTags(path, {"Red", "Blue"});
  auto file = readEditor(path);
  ASSERT_EQ(file->originalFinderTags(), (std::vector<std::string>{"Red", "Blue"}));

  EventRecorder recorder(file);
  file->setFinderTags(std::vector<std::string>{"Red", "Blue"});  // the original ones
  EXPECT_EQ(file->writtenFinderTags(), std::nullopt);
  EXPECT_FALSE(file->isEdited());
  file->setFinderTags(std::vector<std::string>{"Green"});
  EXPECT_EQ(file->writtenFinderTags(), (std::vector<std::string>{"Green"}));
  EXPECT_TRUE(file->isEdited()) << "Finder tags alone make the editor edited";
  EXPECT_THAT(file->writtenTagNames(), IsEmpty());
  file->setFinderTags(std::nullopt);
  EXPECT_EQ(file->writtenFinderTags(), std::nullopt);
  // Every call is registered under the one name that stands for Finder tags.
  ASSERT_EQ(recorder.sets().size(), 3u);
  for (const auto& names : recorder.namesOf(file)) EXPECT_THAT(names, Optional(ElementsAre(TagName::orvfinderTags)));

  auto folder = readImageFolder(MetadataETReader(), scratch / "album");
  folder->setFinderTags(std::vector<std::string>{});  // equal to its (empty) original tags
  EXPECT_EQ(folder->writtenFinderTags(), std::vector<std::string>{}) << "a folder keeps them pending";
  folder->setFinderTags(std::nullopt);
  EXPECT_EQ(folder->writtenFinderTags(), std::nullopt);

  copyFinderTagsToIPTCKeywords(*file);  // the keywords: the Finder tags joined by ","
  EXPECT_EQ(file->currentValue(TagName::iptcKeywords), "Red,Blue");
  file->setValue(std::string("a, b ,c"), TagName::iptcKeywords);
  copyIPTCKeywordsToFinderTags(*file);
  EXPECT_FALSE(areOriginalFinderTags(*file));
  EXPECT_EQ(currentFinderTags(*file), (std::vector<std::string>{"a", "b", "c"}));
  restoreFinderTags(*file);
  EXPECT_EQ(currentFinderTags(*file), (std::vector<std::string>{"Red", "Blue"}));

  // No keywords at all: pending Finder tags go, those of the file stay.
  file->setFinderTags(std::vector<std::string>{"blue"});
  clearValue(*file, TagName::iptcKeywords);
  copyIPTCKeywordsToFinderTags(*file);
  EXPECT_TRUE(areOriginalFinderTags(*file));
  EXPECT_EQ(currentFinderTags(*file), (std::vector<std::string>{"Red", "Blue"}));
  // No Finder tags: the empty list is stored as it converts, a clear.
  file->setFinderTags(std::vector<std::string>{});
  restoreValue(*file, TagName::iptcKeywords);
  copyFinderTagsToIPTCKeywords(*file);
  EXPECT_EQ(file->writtenValue(TagName::iptcKeywords), "");
}

// Name, type and hash come from the URL: two editors of one file hash alike, yet differ.
TEST_F(MetadataEditorTest, NameTypeAndHashComeFromTheURL) {
  auto editor = MetadataEditor::create(ReadWriteStorage("/photos/holiday.2024.JPG"));
  EXPECT_EQ(editor->filename(), "holiday.2024");
  EXPECT_EQ(editor->fileType(), "jpg");
  EXPECT_EQ(MetadataEditor::create(ReadWriteStorage("/photos/album/"))->filename(), "album");

  auto twin = MetadataEditor::create(ReadWriteStorage("/photos/holiday.2024.JPG"));
  const MetadataEditorHash hash;
  EXPECT_EQ(hash(editor), hash(twin));
  EXPECT_NE(hash(editor), hash(MetadataEditor::create(ReadWriteStorage("/photos/b.jpg"))));
  EXPECT_NE(editor, twin);
}

TEST_F(MetadataEditorTest, LocksRefuseEvenForcedValueEditsButNotFinderTags) {
  auto editor = editorOf({{"EXIF:Make", "Canon"}, {"EXIF:Model", "EOS"}});
  EventRecorder recorder(editor);

  editor->lockEditor();
  editor->lockEditor();
  editor->unlockEditor();
  EXPECT_TRUE(editor->isLocked());

  editor->setValue(std::string("Ada"), artist);
  editor->unsafeSetValue(std::string("Ada"), artist);
  editor->forceValue(make);
  EXPECT_FALSE(editor->isEdited());
  EXPECT_THAT(recorder.events(), ElementsAre("locked")) << "refusals register nothing";
  // Reads go on.
  EXPECT_THAT(editor->currentValue(make), Optional(std::string("Canon")));
  EXPECT_TRUE(editor->canEditValue(artist));
  editor->setFinderTags(std::vector<std::string>{"Red"});
  EXPECT_EQ(editor->writtenFinderTags(), std::vector<std::string>{"Red"});

  editor->unlockEditor();
  EXPECT_THAT(recorder.events(), ElementsAre("locked", "will-begin", "did-end", "unlocked"));
  EXPECT_FALSE(recorder.lockNotesHadUserInfo());
  editor->setValue(std::string("Ada"), artist);
  EXPECT_TRUE(editor->isValueEdited(artist));

  // An unbalanced unlock goes below zero silently; the next lock only brings it back to 0.
  recorder.clear();
  editor->unlockEditor();
  editor->lockEditor();
  EXPECT_FALSE(editor->isLocked());
  EXPECT_THAT(recorder.events(), IsEmpty());
  editor->lockEditor();
  EXPECT_TRUE(editor->isLocked());
  editor->unlockEditor();
  EXPECT_THAT(recorder.events(), ElementsAre("locked", "unlocked"));

  // Unlocked, forceValue() skips every other check, and so does unsafeSetValue().
  recorder.clear();
  editor->forceValue(software);  // no value at all
  EXPECT_THAT(editor->writtenValue(software), Optional(std::string()));
  editor->forceValue(make);
  EXPECT_THAT(editor->writtenValue(make), Optional(std::string("Canon")));
  EXPECT_TRUE(editor->isValueEdited(make)) << "pending although equal to the original";
  editor->forceValue(fileSize);  // not editable
  EXPECT_FALSE(editor->isValueEdited(fileSize));
  EXPECT_THAT(recorder.namesOf(editor),
              ElementsAre(Optional(ElementsAre(software)), Optional(ElementsAre(make))));
  editor->unsafeSetValue(std::nullopt, make);
  EXPECT_FALSE(editor->isValueEdited(make));
  editor->unsafeSetValue(std::string("Canon"), make);
  EXPECT_TRUE(editor->isValueEdited(make));
  editor->unsafeSetValue(std::nullopt, make);
  editor->unsafeSetValue(std::nullopt, make);  // nothing to remove: registered all the same
  EXPECT_EQ(recorder.sets().size(), 6u);
}

// Observers may read the editor on the thread that posts: nothing is posted while the editor's
// own lock is held, in a save as in an edit (else the test hangs until ctest's time limit).
TEST_F(MetadataEditorTest, SaveProtocolLocksAndAnnouncesTheWrittenNames) {
  auto editor = editorOf({{"EXIF:Make", "Canon"}, {"EXIF:Model", "EOS"}});
  editor->setValue(std::string("Ada"), artist);
  editor->setValue(std::string(), model);
  editor->setFinderTags(std::vector<std::string>{"Red"});
  EventRecorder recorder(editor);
  testing::ConsoleCapture console;
  std::vector<std::optional<std::string>> seen;
  auto read = [&](const Notification&) { seen.push_back(editor->currentValue(artist)); };
  const auto* manager = &EditionsManager::shared();
  testing::Observation locks(MetadataEditor::didChangeLockStateNotification, editor.get(), read);
  testing::Observation begins(EditionsManager::willBeginSessionNotification, manager, read);
  testing::Observation ends(EditionsManager::didEndSessionNotification, manager, read);
  auto storage = editor->storage();

  editor->prepareInternalSaveChanges(storage);
  EXPECT_THAT(recorder.events(), ElementsAre("locked", "will-begin"));
  editor->setValue(std::string("Nikon"), make);  // refused while saving
  editor->setFinderTags(std::vector<std::string>{"Blue"});  // allowed
  editor->performInternalFlushChanges(storage);
  EXPECT_THAT(editor->originalValue(artist), Optional(std::string("Ada")));
  EXPECT_THAT(editor->originalValue(model), Optional(std::string())) << "a cleared tag keeps an empty original";
  EXPECT_EQ(editor->originalFinderTags(), std::vector<std::string>{"Blue"});
  editor->concludeInternalSaveChanges(storage);

  // The session ends before the lock is released, with the saved names and the Finder tags.
  EXPECT_THAT(recorder.events(), ElementsAre("locked", "will-begin", "did-end", "unlocked"));
  EXPECT_THAT(recorder.namesOf(editor).back(), Optional(ElementsAre(artist, model, TagName::orvfinderTags)));
  EXPECT_FALSE(editor->isEdited());

  // Pending Finder tags alone, and a failed save (no flush): an empty session, the tags pending.
  editor->setFinderTags(std::vector<std::string>{"Red"});
  recorder.clear();
  editor->prepareInternalSaveChanges(storage);
  editor->concludeInternalSaveChanges(storage);
  EXPECT_THAT(recorder.events(), ElementsAre("locked", "will-begin", "did-end", "unlocked"));
  EXPECT_THAT(recorder.sets(), ElementsAre(::testing::Field(&EditionsSet::values, IsEmpty())));
  EXPECT_EQ(editor->writtenFinderTags(), std::vector<std::string>{"Red"});

  // debugPrint() is for a developer at a terminal: standard output, whatever the console.
  ::testing::internal::CaptureStdout();
  editor->debugPrint();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), editor->debugDescription());
  // A flush without the lock is done all the same, with the one warning on the console.
  editor->setValue(std::string("Bob"), artist);
  editor->performInternalFlushChanges(storage);
  EXPECT_THAT(editor->originalValue(artist), Optional(std::string("Bob")));
  EXPECT_FALSE(editor->isEdited());
  EXPECT_EQ(console.text(), "Flushing changes while storage is not locked.\n");
  // Each save's four notifications, and the sessions of the Finder tags' and of Bob's edits.
  EXPECT_THAT(seen, ElementsAre("Ada", "Ada", "Ada", "Ada", "Ada", "Ada", "Ada", "Ada", "Ada", "Ada",
                                "Bob", "Bob"));
}

// ---------------------------------------------------------------------------------------------
// The editors of files and folders read through exiftool

// The editor's thumbnail as "WIDTHxHEIGHT" ("none" without one), and how many processes it took.
using Thumbnail = std::pair<std::size_t, std::string>;
Thumbnail thumbnailOf(const MetadataEditor& editor) {
  testing::RecordingRunner runner;
  const auto image = editor.extractThumbnail();
  return {runner.commands().size(),
          image ? std::to_string(image->width()) + "x" + std::to_string(image->height()) : "none"};
}

TEST_F(MetadataEditorTest, ReadEditorsKeepTheirPasswordAndGiveTheirThumbnail) {
  // GPS.jpg (120 x 80) says its thumbnail is 28 bytes long, but they are no image: exiftool is
  // asked, and the picture of the main image is the answer.
  const auto path = copySample("GPS.jpg", scratch.path());
  EXPECT_EQ(thumbnailOf(*readEditor(path)), Thumbnail(1, "120x80"));

  // With Canon.jpg (8 x 8) as its EXIF thumbnail, exiftool extracts that one.
  testing::exifToolInPlace(path, {"-ThumbnailImage<=" + (testing::dataDirectory() / "Canon.jpg").string()});
  auto editor = readEditor(path);
  EXPECT_EQ(thumbnailOf(*editor), Thumbnail(1, "8x8"));

  // A pending "0" or empty length skips the embedded one: no process, a picture of the image.
  for (const std::string pending : {"0", ""}) {
    editor->unsafeSetValue(pending, TagName::exifThumbnailLength);
    EXPECT_EQ(thumbnailOf(*editor), Thumbnail(0, "120x80")) << "pending length '" << pending << "'";
  }

  // So does a thumbnail removed through the editor, until the edit is withdrawn.
  removeThumbnail(*editor);
  EXPECT_EQ(thumbnailOf(*editor), Thumbnail(0, "120x80"));
  restoreThumbnail(*editor);
  EXPECT_EQ(thumbnailOf(*editor), Thumbnail(1, "8x8"));

  // A pending length on a file without a thumbnail: the file's own length decides.
  auto without = readEditor(copySample("Canon.jpg", scratch.path()), std::string("pass"));
  EXPECT_EQ(without->password(), std::optional<std::string>("pass"));
  without->unsafeSetValue(std::string("1000"), TagName::exifThumbnailLength);
  EXPECT_EQ(thumbnailOf(*without), Thumbnail(0, "8x8"));

  // A file that is no image has no picture at all.
  testing::writeFile(scratch / "notes.jpg", "not an image");
  const auto notes =
      MetadataEditor::create<ETImageMetadataEditor>(ReadWriteStorage(scratch / "notes.jpg"), std::nullopt);
  EXPECT_EQ(thumbnailOf(*notes), Thumbnail(0, "none"));
  EXPECT_THROW(readEditor(scratch / "missing.jpg"), std::exception);

  // A folder takes its reader's password too, and no process, not even for a thumbnail.
  testing::RecordingRunner runner;
  auto folder = readImageFolder(MetadataETReader(std::string("pass")), scratch / "album");
  EXPECT_EQ(folder->password(), std::optional<std::string>("pass"));
  EXPECT_EQ(folder->extractThumbnail(), std::nullopt);
  EXPECT_TRUE(runner.commands().empty());
}

// One editor edited from many threads while another thread saves it (run under ThreadSanitizer too).
TEST_F(MetadataEditorTest, EveryEditEndsSavedOrPendingWhileAnotherThreadSaves) {
  const auto path = copySample("Canon.jpg", scratch.path());
  auto editor = readEditor(path);
  // One string tag per editing thread, each editable in a JPEG and written back as sent.
  const std::vector<TagName> tags{
      {"EXIF", "Artist"}, {"EXIF", "Copyright"}, {"EXIF", "ImageDescription"}, {"EXIF", "Software"},
      {"IPTC", "City"},   {"IPTC", "Headline"},  {"IPTC", "ObjectName"},       {"XMP", "Label"},
  };
  for (const auto& tag : tags) ASSERT_TRUE(editor->canEditValue(tag)) << tag;

  EventRecorder recorder;
  // The saver saves four times as the save tasks do, the editor locked around each save.
  std::atomic<bool> saving{true};
  std::thread saver([&] {
    MetadataETWriter writer;
    for (int round = 0; round < 4; ++round)
      EXPECT_NO_THROW(EXPECT_THAT(testing::save(writer, *editor), IsEmpty()));
    saving = false;
  });

  // Eight editors of values, each on its own tag, each retrying an edit the lock refused.
  std::vector<std::string> lastValues(tags.size());
  std::vector<std::thread> editors;
  for (std::size_t index = 0; index < tags.size(); ++index) {
    editors.emplace_back([&, index] {
      const auto& tag = tags[index];
      for (int edit = 0; saving || edit < 3; ++edit) {
        const auto value = "thread " + std::to_string(index) + " edit " + std::to_string(edit);
        // Only this thread edits the tag and a save keeps current values: taken when current.
        for (editor->setValue(value, tag); editor->currentValue(tag) != value; editor->setValue(value, tag))
          std::this_thread::yield();
        lastValues[index] = value;
      }
    });
  }
  saver.join();
  for (auto& thread : editors) thread.join();

  // Every session ended, and only the editor's own edits of its own tags were announced.
  const auto events = recorder.events();
  EXPECT_EQ(std::count(events.begin(), events.end(), "will-begin"),
            std::count(events.begin(), events.end(), "did-end"));
  for (const auto& set : recorder.sets())
    EXPECT_THAT(set.values,
                ::testing::Each(::testing::Pair(editor, ::testing::Each(::testing::AnyOfArray(tags)))));
  EXPECT_FALSE(editor->isLocked());

  // Each thread's last edit is saved or pending: one more save brings them all to the file.
  MetadataETWriter writer;
  EXPECT_THAT(testing::save(writer, *editor), IsEmpty());
  EXPECT_FALSE(editor->isEdited());
  const auto onDisk = readEditor(path);
  for (std::size_t index = 0; index < tags.size(); ++index)
    EXPECT_EQ(onDisk->originalValue(tags[index]), lastValues[index]) << tags[index];
}

// =============================================================================================
// The operations built on the editor's slots, on editors over storages filled here (file type
// "jpg", whose streams EXIF and IPTC are editable and File readable).

using EditorOperations = MetadataEditorTest;
const DateTimeValueConverter dateText;

TEST_F(EditorOperations, ClearRestoreAndTypedValues) {
  const auto fNumber = tag("EXIF:FNumber"), createDate = TagName::exifCreateDate;
  auto editor = editorOf({{"EXIF:Make", "Canon"}, {"EXIF:FNumber", "5.6"}});
  clearValues(*editor, {make, fNumber});
  EXPECT_EQ(editor->writtenTagNames().size(), 2u);
  restoreValues(*editor, {make, fNumber});
  EXPECT_FALSE(editor->isEdited());

  const auto fNumberItem = TagsResources::shared().tag(fNumber);
  ASSERT_TRUE(fNumberItem);
  EXPECT_EQ(currentRawValue(*editor, *fNumberItem), Value(5.6));
  clearValue(*editor, fNumber);
  EXPECT_EQ(currentRawValue(*editor, *fNumberItem), std::nullopt);  // "" is no number
  setRawValue(*editor, Value(8), *fNumberItem);
  EXPECT_EQ(editor->currentValue(fNumber), "8.00000000");
  // A raw value the converter refuses is a restore, not a clear.
  setRawValue(*editor, Value("eight"), *fNumberItem);
  EXPECT_FALSE(editor->isValueEdited(fNumber));
  setValue(*editor, std::string("2.8"), *fNumberItem);
  setRawValue(*editor, std::nullopt, *fNumberItem);
  EXPECT_EQ(editor->currentValue(fNumber), "5.6");

  const auto createItem = TagsResources::shared().tag(createDate);
  const auto date = dateText.typedValueFromStringValue("2021:03:04 10:11:12");
  setRawValue(*editor, Value(*date), *createItem);
  EXPECT_EQ(editor->currentValue(createDate), "2021:03:04 10:11:12");
}

TEST_F(EditorOperations, ClearAllAndRestoreAllOnAFile) {
  auto editor = editorOf({{"EXIF:Make", "Canon"}, {"EXIF:ExifImageWidth", "100"}, {"IPTC:City", "Kingston"},
                          {"IPTC:Headline", "News"}, {"File:ImageWidth", "8"}});
  clearAll(*editor, TagStream::xmp);  // a stream the file lacks
  clearAll(*editor, TagStream::iptc);
  EXPECT_EQ(editor->writtenTagNames(), (std::vector<TagName>{tag("IPTC:City"), tag("IPTC:Headline")}));
  clearAll(*editor);
  // File:ImageWidth cannot be edited and stays.
  EXPECT_EQ(editor->writtenTagNames().size(), 4u);
  restoreAll(*editor, TagStream::exif);
  EXPECT_EQ(editor->writtenTagNames(), (std::vector<TagName>{tag("IPTC:City"), tag("IPTC:Headline")}));
  editor->setFinderTags(std::vector<std::string>{"kept"});
  restoreAll(*editor);
  EXPECT_TRUE(editor->writtenTagNames().empty());
  EXPECT_EQ(editor->writtenFinderTags(), (std::vector<std::string>{"kept"}));
}

TEST_F(EditorOperations, ClearAllOnAFolderVisitsTheCatalogue) {
  const auto catalogue = TagsResources::shared().catalogue();
  auto writable = [&](const TagStream& stream) {
    std::size_t count = 0;
    for (const auto& key : catalogue->stream(stream)->keys)
      if (catalogue->tag(key, stream)->isWritable) ++count;
    return count;
  };
  auto folder = editorOf({}, "/photos/folder");
  EventRecorder recorder;
  clearAll(*folder, TagStream::iptc);
  EXPECT_EQ(folder->writtenTagNames().size(), writable(TagStream::iptc));
  for (const auto& name : folder->writtenTagNames()) EXPECT_EQ(folder->writtenValue(name), "");

  clearAll(*folder);
  std::size_t all = 0, keys = 0;
  for (const auto& stream : catalogue->streams()) {
    all += writable(stream);
    keys += catalogue->stream(stream)->keys.size();
  }
  EXPECT_EQ(folder->writtenTagNames().size(), all);
  EXPECT_GT(all, 1000u);
  EXPECT_LT(all, keys);  // the tags that cannot be written were refused
  EXPECT_EQ(recorder.sets().size(), 2u);
}

TEST_F(EditorOperations, MergeSeparatorsAndRefusals) {
  const struct {
    const char* name;
    const char* tag;
    const char* value;  // null: none
    const char* text;
    const char* merged;  // null: no edit
  } cases[] = {
      {"no second blank", "IPTC:Caption-Abstract", "Ends in a blank ", "here", "Ends in a blank here"},
      {"no value: no separator", "IPTC:City", nullptr, "Paris", "Paris"},
      {"an empty value: no separator", "IPTC:Headline", "", "Dawn", "Dawn"},
      {"\"digits\" is text", "IPTC:Urgency", "5", "2", "5 2"},
      {"no text type", "EXIF:ISO", "100", "200", nullptr},
      {"no text type, an empty text", "EXIF:ISO", "100", "", nullptr},
      {"unknown to the catalogue", "EXIF:NoSuchTag", nullptr, "x", nullptr},
  };
  for (const auto& row : cases) {
    auto editor = row.value ? editorOf({{row.tag, row.value}}) : editorOf({});
    mergeValue(*editor, row.text, tag(row.tag));
    if (row.merged)
      EXPECT_EQ(editor->currentValue(tag(row.tag)), row.merged) << row.name;
    else
      EXPECT_FALSE(editor->isEdited()) << row.name;
  }
}

TEST_F(EditorOperations, CopyGoesThroughTheRawFormCloneThroughTheText) {
  const auto description = TagName::exifImageDescription, fNumber = tag("EXIF:FNumber"),
             iso = tag("EXIF:ISO"), orientation = tag("EXIF:Orientation"), headline = tag("IPTC:Headline");
  auto editor = editorOf({{"EXIF:FNumber", "5,6"}, {"EXIF:ISO", "100"}, {"EXIF:ImageDescription", "Old"},
                          {"EXIF:Orientation", "1"}});
  copy(*editor, fNumber, description);
  EXPECT_EQ(editor->currentValue(description), "5.6");  // a number, re-expressed as text
  copy(*editor, iso, fNumber);
  EXPECT_EQ(editor->currentValue(fNumber), "100.00000000");
  copy(*editor, description, iso);  // "5.6" is no integer: the ISO is restored

  // From a tag without a value: the destination is restored, not cleared.
  copy(*editor, tag("EXIF:Artist"), description);
  EXPECT_EQ(editor->currentValue(description), "Old");
  // Names the catalogue does not know: nothing.
  copy(*editor, tag("EXIF:Nothing"), description);
  copy(*editor, iso, tag("EXIF:Nothing"));
  EXPECT_EQ(editor->writtenTagNames(), std::vector<TagName>{fNumber});

  clone(*editor, description, headline);  // a clone takes the text a reader sees
  EXPECT_EQ(editor->currentValue(headline), "Old");
  // A choice that is not in the list goes as its formatted text.
  editor->setValue(std::string("9"), orientation);
  clone(*editor, orientation, description);
  EXPECT_EQ(editor->currentValue(description), "9");
  // Into a number tag: the localised text is no number, and the destination is restored.
  editor->setValue(std::string("1"), orientation);
  editor->setValue(std::string("3"), tag("EXIF:ResolutionUnit"));
  clone(*editor, orientation, tag("EXIF:ResolutionUnit"));
  // From nothing: restored.
  clone(*editor, tag("EXIF:Artist"), headline);
  EXPECT_EQ(editor->writtenTagNames(), (std::vector<TagName>{fNumber, description}));
}

TEST_F(EditorOperations, CopyDateCombinesDayAndTimeEXIFDatesReadAsDates) {
  const auto original = tag("EXIF:DateTimeOriginal"), create = tag("EXIF:CreateDate"),
             gpsDate = TagName::exifGPSDateStamp, gpsTime = TagName::exifGPSTimeStamp,
             iptcDate = TagName::iptcDateCreated, modify = tag("EXIF:ModifyDate");
  auto editor = editorOf({{"EXIF:DateTimeOriginal", "2021:03:04 10:11:12"}, {"IPTC:DateCreated", "20200102"},
                          {"EXIF:GPSDateStamp", "2019:05:06"}, {"EXIF:GPSTimeStamp", "21:22:23"}});
  const struct {
    TagName from, to;
    const char* expected;
  } steps[] = {
      {original, create, "2021:03:04 10:11:12"},  // full onto full: a direct copy
      {iptcDate, original, "2020:01:02 10:11:12"},  // a date part onto a full date: a new day, the same time
      {gpsTime, original, "2020:01:02 21:22:23"},   // a time part onto a full date: the same day, a new time
      {gpsDate, gpsTime, "21:22:23"},  // a date part onto a time part: the time part keeps its time
      {gpsDate, iptcDate, "20200102"},  // "partialdate" onto "digitsdate": the destination keeps its date
      {gpsTime, iptcDate, "20200102"},  // a time part onto a date part: the day stays
      {iptcDate, modify, "2020:01:02 00:00:00"},  // onto a full date without a value: at midnight
      {tag("IPTC:DateSent"), original, "2021:03:04 10:11:12"},  // a source without a date: a restore
      {tag("IPTC:Nothing"), original, "2021:03:04 10:11:12"},
      {original, gpsTime, "10:11:12"},  // full onto a part: a direct copy
  };
  for (const auto& step : steps) {
    copyDate(*editor, step.from, step.to);
    EXPECT_EQ(editor->currentValue(step.to), step.expected) << step.from << " onto " << step.to;
  }
  restoreValue(*editor, gpsTime);
  EXPECT_EQ(editor->writtenTagNames(), (std::vector<TagName>{create, modify}));

  // The EXIF creation and modification dates as dates; an absent creation date is a restore.
  EXPECT_EQ(dateText.stringValueFromTypedValue(exifModifyDate(*editor)), "2020:01:02 00:00:00");
  setExifCreateDate(*editor, dateText.typedValueFromStringValue("2000:01:02 03:04:05"));
  EXPECT_EQ(dateText.stringValueFromTypedValue(exifCreateDate(*editor)), "2000:01:02 03:04:05");
  setExifCreateDate(*editor, std::nullopt);
  EXPECT_FALSE(editor->isValueEdited(create));
}

TEST_F(EditorOperations, DateEditionsOnATag) {
  const auto original = tag("EXIF:DateTimeOriginal"), iptcDate = TagName::iptcDateCreated;
  auto editor = editorOf({{"EXIF:DateTimeOriginal", "2021:01:31 23:30:00"}, {"IPTC:DateCreated", "20240228"}});
  auto apply = [&](const char* edition, const TagName& name) {
    orvelin::apply(*editor, *DateEdition::fromDescription(edition), name);
  };

  const struct {
    const char* edition;
    TagName name;
    const char* expected;
  } steps[] = {
      {"SHIFT(hh: 1)", original, "2021:02:01 00:30:00"},  // across midnight and the end of the month
      {"SHIFT(MM: 1)", original, "2021:03:01 00:30:00"},
      {"SHIFT(DD: -1, mm: -31)", original, "2021:02:27 23:59:00"},
      {"UPDATE(YY: 1999, ss: 5)", original, "1999:02:27 23:59:05"},
      {"SELECT(YY: 2020, MM: 1, DD: 2)", original, "2020:01:02 00:00:00"},
      {"SHIFT(DD: 1)", iptcDate, "20240229"},  // in the tag's own form, across a leap day
      {"REMOVE()", original, ""},
      {"RESTORE()", original, "2021:01:31 23:30:00"},
  };
  for (const auto& step : steps) {
    apply(step.edition, step.name);
    EXPECT_EQ(editor->currentValue(step.name), step.expected) << step.edition;
  }

  // No date to shift (exiftool's "0000:00:00 00:00:00" is none): the value stays as it is.
  for (const char* noDate : {"sometime", "0000:00:00 00:00:00"}) {
    editor->setValue(std::string(noDate), original);
    apply("SHIFT(hh: 1)", original);
    EXPECT_EQ(editor->currentValue(original), noDate);
  }
  apply("SHIFT(hh: 1)", tag("EXIF:CreateDate"));
  EXPECT_FALSE(editor->isValueEdited(tag("EXIF:CreateDate")));
  // SELECT needs no old date.
  apply("SELECT(YY: 2001)", tag("EXIF:CreateDate"));
  EXPECT_EQ(editor->currentValue(tag("EXIF:CreateDate")), "2001:01:01 00:00:00");
}

TEST_F(EditorOperations, PresetEntriesOnTags) {
  const auto original = tag("EXIF:DateTimeOriginal"), description = TagName::exifImageDescription;
  auto editor = editorOf({{"EXIF:DateTimeOriginal", "2021:01:31 23:30:00"}, {"IPTC:DateCreated", "20200102"},
                          {"EXIF:CreateDate", "2019:05:06 07:08:09"}, {"EXIF:Orientation", "1"},
                          {"EXIF:Artist", "Me"}});
  // A value entry on a date tag is a date edition; any other text leaves the tag alone.
  apply(*editor, PresetEntry::value("2022:01:01 00:00:00"), original);
  EXPECT_FALSE(editor->isValueEdited(original));
  apply(*editor, PresetEntry::value("SHIFT(hh: 1)"), original);
  EXPECT_EQ(editor->currentValue(original), "2021:02:01 00:30:00");
  apply(*editor, PresetEntry::value("A text"), description);
  EXPECT_EQ(editor->currentValue(description), "A text");
  // A copy onto a date tag is a date copy: the IPTC day with the time of the destination.
  apply(*editor, PresetEntry::copy("IPTC:DateCreated"), tag("EXIF:CreateDate"));
  EXPECT_EQ(editor->currentValue(tag("EXIF:CreateDate")), "2020:01:02 07:08:09");
  apply(*editor, PresetEntry::copy(" EXIF : Artist "), tag("IPTC:By-line"));
  EXPECT_EQ(editor->currentValue(tag("IPTC:By-line")), "Me");
  apply(*editor, PresetEntry::copy("no colon"), tag("IPTC:Headline"));
  apply(*editor, PresetEntry::clone("EXIF:Orientation"), tag("IPTC:Headline"));
  EXPECT_EQ(editor->currentValue(tag("IPTC:Headline")), "Horizontal (normal)");
  apply(*editor, PresetEntry::merge("again"), description);
  EXPECT_EQ(editor->currentValue(description), "A text again");
  apply(*editor, PresetEntry::remove(), tag("EXIF:Artist"));
  EXPECT_EQ(editor->currentValue(tag("EXIF:Artist")), "");
  apply(*editor, PresetEntry::restore(), description);
  EXPECT_FALSE(editor->isValueEdited(description));
  const auto before = editor->writtenTagNames();
  apply(*editor, PresetEntry::none(), tag("EXIF:Artist"));
  apply(*editor, PresetEntry::remove(), tag("EXIF:NoSuchTag"));
  EXPECT_EQ(editor->writtenTagNames(), before);

  // A map of entries is one session, with the names that changed.
  const std::map<TagName, PresetEntry> entries = {
      {description, PresetEntry::value("From preset")},
      {tag("IPTC:By-line"), PresetEntry::copy("EXIF:Orientation")},
      {tag("IPTC:Headline"), PresetEntry::remove()},
      {tag("EXIF:Artist"), PresetEntry::restore()},
      {tag("EXIF:Make"), PresetEntry::none()},
  };
  EventRecorder recorder;
  apply(*editor, entries);
  EXPECT_EQ(recorder.onlySession(editor),
            (std::set<TagName>{description, tag("IPTC:By-line"), tag("IPTC:Headline"), tag("EXIF:Artist")}));
}

TEST_F(EditorOperations, GPSSignsComeFromTheReferences) {
  auto latitudeOf = [](const char* number, const char* reference) {
    return exifGPSLatitude(*editorOf({{"EXIF:GPSLatitude", number}, {"EXIF:GPSLatitudeRef", reference}}));
  };
  EXPECT_EQ(exifGPSLatitude(*editorOf({{"EXIF:GPSLatitude", "12.5"}})), 12.5);  // no reference
  EXPECT_EQ(latitudeOf("12.5", "S"), -12.5);
  EXPECT_EQ(latitudeOf("12.5", "s"), 12.5);  // only the upper-case letter is negative
  EXPECT_EQ(latitudeOf("12.5", ""), 12.5);
  EXPECT_EQ(latitudeOf("-12.5", "S"), std::nullopt);  // a stored number is unsigned
  EXPECT_EQ(latitudeOf("north", "N"), std::nullopt);
  EXPECT_EQ(latitudeOf("", "N"), std::nullopt);
  EXPECT_EQ(latitudeOf("0", "S"), -0.0);

  // A position needs both numbers.
  auto editor = editorOf({{"EXIF:GPSLongitude", "2.5"}, {"EXIF:GPSLongitudeRef", "W"}});
  EXPECT_EQ(exifGPSCoordinate(*editor), std::nullopt);
  EXPECT_EQ(exifGPSLocation(*editor), std::nullopt);
}

TEST_F(EditorOperations, GPSWritersStoreMagnitudeAndReference) {
  auto editor = editorOf({});
  auto stored = [&](const TagName& number, const TagName& reference) {
    return std::make_pair(editor->currentValue(number).value_or("absent"), editor->currentValue(reference).value_or("absent"));
  };
  using Pair = std::pair<std::string, std::string>;
  setEXIFGPSLatitude(*editor, -12.5);
  EXPECT_EQ(stored(TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef), Pair("12.50000000", "S"));
  setEXIFGPSLatitude(*editor, 0.0);
  EXPECT_EQ(stored(TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef), Pair("0.00000000", "N"));
  setEXIFGPSLongitude(*editor, -0.0);
  EXPECT_EQ(stored(TagName::exifGPSLongitude, TagName::exifGPSLongitudeRef), Pair("0.00000000", "E"));
  setEXIFGPSLongitude(*editor, -151.2);
  EXPECT_EQ(stored(TagName::exifGPSLongitude, TagName::exifGPSLongitudeRef), Pair("151.20000000", "W"));
  setEXIFGPSAltitude(*editor, -3);
  EXPECT_EQ(stored(TagName::exifGPSAltitude, TagName::exifGPSAltitudeRef), Pair("3.00000000", "1"));
  EXPECT_EQ(exifGPSAltitude(*editor), -3.0);
  setEXIFGPSAltitude(*editor, 1.25);
  EXPECT_EQ(stored(TagName::exifGPSAltitude, TagName::exifGPSAltitudeRef), Pair("1.25000000", "0"));
  setEXIFGPSLatitude(*editor, std::nullopt);  // erases the group
  EXPECT_EQ(stored(TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef), Pair("absent", "absent"));

  // Stamps are local time; the moment of the two.
  const auto moment = dateText.typedValueFromStringValue("2021:12:31 23:59:58");
  setEXIFGPSDateTime(*editor, moment);
  EXPECT_EQ(editor->currentValue(TagName::exifGPSDateStamp), "2021:12:31");
  EXPECT_EQ(editor->currentValue(TagName::exifGPSTimeStamp), "23:59:58");
  EXPECT_EQ(exifGPSDateTime(*editor), moment);  // read from both stamps
  setEXIFGPSTimeStamp(*editor, std::nullopt);
  EXPECT_EQ(exifGPSDateTime(*editor), std::nullopt);
  setEXIFGPSTimeStamp(*editor, PartialTime(1, 2, 3));
  setEXIFGPSDateStamp(*editor, PartialDate(2020, 2, 29));
  EXPECT_EQ(dateText.stringValueFromTypedValue(exifGPSDateTime(*editor)), "2020:02:29 01:02:03");
  setEXIFGPSDateStamp(*editor, std::nullopt);  // a time alone is no moment
  EXPECT_EQ(exifGPSDateTime(*editor), std::nullopt);
}

TEST_F(EditorOperations, GPSCoordinatesAndLocations) {
  auto editor = editorOf({{"EXIF:GPSDateStamp", "2002:07:13"}, {"EXIF:GPSTimeStamp", "14:58:24"}});
  EventRecorder recorder;
  setEXIFGPSCoordinate(*editor, Coordinate(48.8566, -2.3522));
  EXPECT_EQ(exifGPSCoordinate(*editor), Coordinate(48.8566, -2.3522));
  EXPECT_EQ(exifGPSCoordinate2D(*editor), (LocationCoordinate2D{48.8566, -2.3522}));
  auto location = exifGPSLocation(*editor);
  ASSERT_TRUE(location);
  EXPECT_EQ(dateText.stringValueFromTypedValue(location->timestamp), "2002:07:13 14:58:24");

  // keepDate leaves both stamps.
  const Location moved{.latitude = -33.8, .longitude = 151.2, .altitude = 12,
                       .timestamp = *dateText.typedValueFromStringValue("2010:01:01 00:00:00")};
  setEXIFGPSLocation(*editor, moved, true);
  EXPECT_EQ(editor->currentValue(TagName::exifGPSDateStamp), "2002:07:13");
  EXPECT_EQ(exifGPSAltitude(*editor), 12.0);
  EXPECT_EQ(exifGPSCoordinate(*editor), Coordinate(-33.8, 151.2));
  setEXIFGPSLocation(*editor, moved, false);
  EXPECT_EQ(editor->currentValue(TagName::exifGPSDateStamp), "2010:01:01");
  EXPECT_EQ(editor->currentValue(TagName::exifGPSTimeStamp), "00:00:00");

  // An absent coordinate erases altitude and stamps too.
  setEXIFGPSCoordinate(*editor, std::nullopt);
  for (const auto& name : {TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef, TagName::exifGPSLongitude,
                           TagName::exifGPSLongitudeRef, TagName::exifGPSAltitude, TagName::exifGPSAltitudeRef})
    EXPECT_EQ(editor->currentValue(name), std::nullopt) << name;  // never in the file: nothing to delete
  EXPECT_EQ(editor->currentValue(TagName::exifGPSDateStamp), "");
  EXPECT_EQ(editor->currentValue(TagName::exifGPSTimeStamp), "");
  EXPECT_EQ(recorder.sets().size(), 4u) << "one session per write";

  // Without stamps the location is of the present moment.
  setEXIFGPSCoordinate2D(*editor, LocationCoordinate2D{1, 2});
  const auto before = currentDate();
  location = exifGPSLocation(*editor);
  const auto after = currentDate();
  ASSERT_TRUE(location);
  EXPECT_TRUE(location->timestamp >= before && location->timestamp <= after);
  setEXIFGPSLocation(*editor, std::nullopt, true);
  EXPECT_EQ(exifGPSCoordinate(*editor), std::nullopt);
}

TEST_F(EditorOperations, GPSGroupsClearAndRestoreInSessions) {
  auto editor = editorOf({{"EXIF:GPSLatitude", "1"}, {"EXIF:GPSLatitudeRef", "N"}, {"EXIF:GPSLongitude", "2"},
                          {"EXIF:GPSLongitudeRef", "E"}, {"EXIF:GPSAltitude", "3"}, {"EXIF:GPSAltitudeRef", "0"},
                          {"EXIF:GPSDateStamp", "2002:07:13"}, {"EXIF:GPSTimeStamp", "14:58:24"}});
  const std::vector<TagName> eight = {TagName::exifGPSLatitude,  TagName::exifGPSLatitudeRef,
                                      TagName::exifGPSLongitude, TagName::exifGPSLongitudeRef,
                                      TagName::exifGPSDateStamp, TagName::exifGPSTimeStamp,
                                      TagName::exifGPSAltitude,  TagName::exifGPSAltitudeRef};
  EventRecorder recorder;
  eraseEXIFGPSAltitude(*editor);
  EXPECT_EQ(recorder.onlySession(editor), std::set<TagName>(eight.end() - 2, eight.end()));
  recorder.clear();
  // The altitude pair is cleared already: a value equal to the current one is not registered.
  eraseEXIFGPSLocation(*editor);
  EXPECT_EQ(recorder.onlySession(editor), std::set<TagName>(eight.begin(), eight.end() - 2));
  for (const auto& name : eight) EXPECT_EQ(editor->writtenValue(name), "") << name;
  restoreEXIFGPSDateTime(*editor);
  EXPECT_EQ(exifGPSDateStamp(*editor), PartialDate(2002, 7, 13));
  clearEXIFGPSLongitude(*editor);
  restoreEXIFGPSLatitude(*editor);
  EXPECT_EQ(exifGPSLatitude(*editor), 1.0);
  EXPECT_EQ(exifGPSLongitude(*editor), std::nullopt);
  recorder.clear();
  restoreEXIFGPSLocation(*editor);
  EXPECT_EQ(recorder.sets().size(), 1u);
  for (const auto& name : eight) EXPECT_FALSE(editor->isValueEdited(name)) << name;
  eraseEXIFGPSDateStamp(*editor);
  eraseEXIFGPSTimeStamp(*editor);
  EXPECT_EQ(editor->writtenTagNames(), (std::vector<TagName>{TagName::exifGPSDateStamp, TagName::exifGPSTimeStamp}));
  restoreEXIFGPSDateStamp(*editor);
  restoreEXIFGPSTimeStamp(*editor);
  restoreEXIFGPSAltitude(*editor);
  restoreEXIFGPSLongitude(*editor);
  EXPECT_FALSE(editor->isEdited());
}

TEST_F(EditorOperations, IPTCLocationDescription) {
  EXPECT_EQ(iptcLocationDescription(*editorOf({{"IPTC:City", "Kingston"}, {"IPTC:Country-PrimaryLocationName", "Canada"}})),
            "Kingston, Canada");
  EXPECT_EQ(iptcLocationDescription(*editorOf({{"IPTC:City", "Kingston"}, {"IPTC:Province-State", ""},
                                               {"IPTC:Country-PrimaryLocationName", "Canada"}})),
            "Kingston, , Canada");
  EXPECT_EQ(iptcLocationDescription(*editorOf({{"IPTC:Province-State", "Ont"}})), "Ont");
  EXPECT_EQ(iptcLocationDescription(*editorOf({})), "");
}

TEST_F(EditorOperations, ImageSizeTakesTheFirstWholePair) {
  EXPECT_EQ(imageSize(*editorOf({{"File:ImageWidth", "8"}, {"File:ImageHeight", "6"},
                                 {"EXIF:ExifImageWidth", "100"}, {"EXIF:ExifImageHeight", "80"}})),
            (ImageSize{8, 6}));
  // Half a pair, a text and a negative number are skipped.
  EXPECT_EQ(
      imageSize(*editorOf({{"File:ImageWidth", "8"}, {"EXIF:ExifImageWidth", "100"}, {"EXIF:ExifImageHeight", "80"}})),
      (ImageSize{100, 80}));
  EXPECT_EQ(imageSize(*editorOf({{"File:ImageWidth", "wide"}, {"File:ImageHeight", "6"},
                                 {"EXIF:ExifImageWidth", "-100"}, {"EXIF:ExifImageHeight", "80"},
                                 {"EXIF:ImageWidth", "160"}, {"EXIF:ImageHeight", "120"}})),
            (ImageSize{160, 120}));
  EXPECT_EQ(imageSize(*editorOf({{"PNG:ImageWidth", "16"}, {"PNG:ImageHeight", "0"}}, "/photos/image.png")),
            (ImageSize{16, 0}));  // zero is a size
  EXPECT_EQ(imageSize(*editorOf({{"EXIF:ImageWidth", "160"}})), std::nullopt);
  EXPECT_EQ(imageSize(*editorOf({})), std::nullopt);
  // The current value counts: a cleared width is no width.
  auto editor = editorOf({{"EXIF:ImageWidth", "160"}, {"EXIF:ImageHeight", "120"}});
  clearValue(*editor, TagName::exifImageWidth);
  EXPECT_EQ(imageSize(*editor), std::nullopt);
}

TEST_F(EditorOperations, ThumbnailFactsAndDirectWrites) {
  for (const char* none : {"0", ""}) EXPECT_FALSE(hasCurrentThumbnail(*editorOf({{"EXIF:ThumbnailLength", none}})));

  auto editor = editorOf({{"EXIF:ThumbnailLength", "5120"}});
  EXPECT_TRUE(hasCurrentThumbnail(*editor));
  EXPECT_FALSE(isExifThumbnailEdited(*editor));
  removeThumbnail(*editor);
  EXPECT_FALSE(hasCurrentThumbnail(*editor));
  EXPECT_TRUE(hasOriginalThumbnail(*editor));
  EXPECT_TRUE(isExifThumbnailEdited(*editor));
  restoreThumbnail(*editor);
  EXPECT_FALSE(editor->isEdited());
  // Another non-zero length is no edit of the thumbnail.
  editor->setValue(std::string("99"), TagName::exifThumbnailLength);
  EXPECT_FALSE(isExifThumbnailEdited(*editor));

  // Direct writes: pending even without the tags, and without the catalogue's say.
  auto bare = editorOf({});
  removeThumbnail(*bare);
  EXPECT_EQ(bare->writtenTagNames().size(), 4u);
  EXPECT_EQ(bare->writtenValue(TagName::exifThumbnailImage), "");
  // Locked: nothing, in an empty session.
  restoreThumbnail(*bare);
  bare->lockEditor();
  EventRecorder recorder;
  removeThumbnail(*bare);
  EXPECT_THAT(recorder.sets(), ElementsAre(::testing::Field(&EditionsSet::values, IsEmpty())));
  EXPECT_FALSE(bare->isEdited());
}

// Operations on shared editors from many threads: each slot call is atomic, and the sessions
// of all threads nest in the one global session. Run under ThreadSanitizer for the races.
TEST_F(EditorOperations, ConcurrentOperations) {
  auto shared = editorOf({{"IPTC:Headline", "start"}, {"EXIF:DateTimeOriginal", "2021:01:31 23:30:00"}});
  std::vector<std::shared_ptr<MetadataEditor>> own;
  for (int i = 0; i < 4; ++i) own.push_back(editorOf({{"EXIF:Make", "Canon"}, {"EXIF:ThumbnailLength", "10"}}));
  EventRecorder recorder;
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      ++ready;
      while (ready < 4) std::this_thread::yield();
      for (int round = 0; round < 20; ++round) {
        setEXIFGPSCoordinate(*shared, Coordinate(i, -i));
        mergeValue(*shared, "x", tag("IPTC:Headline"));
        (void)exifGPSLocation(*shared);
        (void)imageSize(*shared);
        apply(*own[i], {{tag("EXIF:Make"), PresetEntry::value("Nikon")}, {tag("EXIF:Artist"), PresetEntry::remove()}});
        removeThumbnail(*own[i]);
        clearAll(*own[i], TagStream::exif);
        restoreAll(*own[i]);
        restoreThumbnail(*own[i]);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  // Latitude and longitude are set one after the other: they may come from two threads.
  const auto coordinate = exifGPSCoordinate(*shared);
  ASSERT_TRUE(coordinate);
  EXPECT_TRUE(coordinate->latitude.value >= 0 && coordinate->latitude.value <= 3);
  EXPECT_TRUE(coordinate->longitude.value <= 0 && coordinate->longitude.value >= -3);
  // Merges may be lost to each other, never half made.
  EXPECT_THAT(shared->currentValue(tag("IPTC:Headline")), Optional(::testing::StartsWith("start x")));
  for (const auto& editor : own) EXPECT_FALSE(editor->isEdited());
  EXPECT_FALSE(EditionsManager::shared().isInSession());
  EXPECT_GE(recorder.sets().size(), 1u);
}

}  // namespace
}  // namespace orvelin
