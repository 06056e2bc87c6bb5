#include "orvelin/editor/metadata_editor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
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
#include "orvelin/editor/editor_image_facts.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/storage/metadata_et_writer.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using testing::EventRecorder;
using testing::copySample;
using testing::readEditor;
using testing::ScratchFolder;

const TagName artist("EXIF", "Artist");
const TagName make("EXIF", "Make");
const TagName model("EXIF", "Model");
const TagName software("EXIF", "Software");
const TagName iptcCity("IPTC", "City");
const TagName profileDescription("ICC_Profile", "ProfileDescription");
const TagName unknownProfileTag("ICC_Profile", "NoSuchProfileTag");
const TagName unknownStreamTag("NoSuchStream", "NoSuchKey");
const TagName fileSize("File", "FileSize");

// An editor over a storage filled by hand: the streams seen and the values read.
std::shared_ptr<MetadataEditor> editorOver(const std::string& path,
                                           const std::vector<std::pair<TagName, std::string>>& values,
                                           const std::vector<std::pair<std::string, std::string>>& streams) {
  ReadWriteStorage storage{fs::path(path)};
  for (const auto& [g0, g1] : streams) storage.store(TagStream(g0), TagStream(g1));
  for (const auto& [name, value] : values) storage.store(value, name);
  return MetadataEditor::create(std::move(storage));
}

// A JPEG editor that has EXIF:Make and EXIF:Model.
std::shared_ptr<MetadataEditor> jpegEditor() {
  return testing::editorOf({{"EXIF:Make", "Canon"}, {"EXIF:Model", "EOS"}}, "/photos/a.jpg");
}

class MetadataEditorTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { TagsResources::shared().reload(); }

  std::shared_ptr<ETImageMetadataEditor> readSample(const std::string& sample, const std::string& as = "") {
    auto path = copySample(sample, scratch.path());
    if (!as.empty()) {
      fs::rename(path, scratch / as);
      path = scratch / as;
    }
    return readEditor(path);
  }

  ScratchFolder scratch;
};

// ---------------------------------------------------------------------------------------------
// What may be read and edited

// The row of the file type in the access table decides ("N" counts as no answer), else the
// streams the file was seen with; the catalogue has its say on edits on top of the access.
TEST_F(MetadataEditorTest, AccessComesFromTheTableThenFromTheStreamsSeen) {
  fs::create_directory(scratch / "album");
  const std::map<std::string, std::shared_ptr<MetadataEditor>> editors{
      {"jpg", readSample("Canon.jpg")},
      {"xyz", readSample("Canon.jpg", "Canon.xyz")},  // a file type the table lacks
      {"icm", readSample("ICC_Profile.icc", "Profile.icm")},
      {"heic", editorOver("/photos/a.heic", {{iptcCity, "Paris"}}, {{"IPTC", "IPTC"}})},  // IPTC is "N" for HEIC
      {"heic, IPTC unseen", editorOver("/photos/a.heic", {{iptcCity, "Paris"}}, {})},
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
      {"folder", unknownStreamTag, "RWC", false, "the catalogue still has its say"},
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

// ---------------------------------------------------------------------------------------------
// Edits and their editions

TEST_F(MetadataEditorTest, SetValueRegistersOnlyWhatItMayChange) {
  auto editor = jpegEditor();
  EventRecorder recorder(editor);

  editor->setValue(std::string("Canon"), make);  // the current value
  editor->setValue(std::nullopt, artist);        // absent and absent
  editor->setValue(std::string("x"), fileSize);  // not editable
  // Numbers that are not finite, which JSON cannot carry to exiftool: the text of a double or
  // an integer tag, or an element of a list of numbers.
  for (const auto& [text, key] : {std::pair{"inf", "FNumber"}, {"1e999", "ExposureCompensation"}, {"nan", "FNumber"},
                                  {"-inf", "ISO"}, {"1 nan 3", "PixelScale"}})
    editor->setValue(std::string(text), TagName("EXIF", key));
  EXPECT_THAT(recorder.events(), IsEmpty());

  // A clear of an editable tag that the file lacks: registered, the storage unchanged.
  editor->setValue(std::string(), artist);
  EXPECT_FALSE(editor->isValueEdited(artist));
  ASSERT_EQ(recorder.sets().size(), 1u);
  EXPECT_THAT(recorder.namesOf(editor).back(), Optional(ElementsAre(artist)));

  editor->setValue(std::string("Nikon"), make);
  EXPECT_THAT(editor->writtenValue(make), Optional(std::string("Nikon")));
  EXPECT_THAT(editor->originalValue(make), Optional(std::string("Canon")));
  EXPECT_TRUE(editor->isEdited());

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
  EXPECT_THAT(editor->writtenTagNames(), ElementsAre(artist, software));
  EXPECT_FALSE(editor->isValueEdited(make)) << "absent restores the original";
  EXPECT_FALSE(editor->isValueEdited(model)) << "the original text withdraws the edit";
}

TEST_F(MetadataEditorTest, ForceAndUnsafeSetValueSkipTheChecks) {
  auto editor = jpegEditor();
  EventRecorder recorder(editor);

  editor->forceValue(artist);  // no value at all
  EXPECT_THAT(editor->writtenValue(artist), Optional(std::string()));
  editor->forceValue(make);
  EXPECT_THAT(editor->writtenValue(make), Optional(std::string("Canon")));
  EXPECT_TRUE(editor->isValueEdited(make)) << "pending although equal to the original";
  editor->forceValue(fileSize);  // not editable
  EXPECT_FALSE(editor->isValueEdited(fileSize));
  ASSERT_EQ(recorder.sets().size(), 2u);
  EXPECT_THAT(recorder.namesOf(editor)[0], Optional(ElementsAre(artist)));
  EXPECT_THAT(recorder.namesOf(editor)[1], Optional(ElementsAre(make)));

  // unsafeSetValue() skips every check but the lock's.
  editor->unsafeSetValue(std::nullopt, make);
  EXPECT_FALSE(editor->isValueEdited(make));
  editor->unsafeSetValue(std::string("Canon"), make);
  EXPECT_TRUE(editor->isValueEdited(make));
  editor->unsafeSetValue(std::nullopt, make);
  editor->unsafeSetValue(std::nullopt, make);  // nothing to remove: registered all the same
  EXPECT_EQ(recorder.sets().size(), 6u);
}

TEST_F(MetadataEditorTest, FinderTagsOfAFileAndOfAFolder) {
  const auto path = copySample("Canon.jpg", scratch.path());
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

  fs::create_directory(scratch / "album");
  auto folder = readImageFolder(MetadataETReader(), scratch / "album");
  folder->setFinderTags(std::vector<std::string>{});  // equal to its (empty) original tags
  EXPECT_EQ(folder->writtenFinderTags(), std::vector<std::string>{}) << "a folder keeps them pending";
  folder->setFinderTags(std::nullopt);
  EXPECT_EQ(folder->writtenFinderTags(), std::nullopt);
}

// The name and type come from the URL; so does the hash, so that two editors of one file hash
// alike and differ.
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
// ---------------------------------------------------------------------------------------------
// The lock

TEST_F(MetadataEditorTest, LocksNestAndRefuseValueEditsButNotFinderTags) {
  auto editor = jpegEditor();
  EventRecorder recorder(editor);

  editor->lockEditor();
  editor->lockEditor();
  EXPECT_THAT(recorder.events(), ElementsAre("locked"));
  editor->unlockEditor();
  EXPECT_TRUE(editor->isLocked());
  EXPECT_THAT(recorder.events(), ElementsAre("locked"));

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
  EXPECT_THAT(recorder.events(), ElementsAre("locked", "will-begin", "did-end"));

  editor->unlockEditor();
  EXPECT_FALSE(editor->isLocked());
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
}

// ---------------------------------------------------------------------------------------------
// The save protocol, as the editor sees it

TEST_F(MetadataEditorTest, SaveProtocolLocksAndAnnouncesTheWrittenNames) {
  auto editor = jpegEditor();
  editor->setValue(std::string("Ada"), artist);
  editor->setValue(std::string(), model);
  editor->setFinderTags(std::vector<std::string>{"Red"});
  EventRecorder recorder(editor);
  auto storage = editor->storage();

  editor->prepareInternalSaveChanges(storage);
  EXPECT_TRUE(editor->isLocked());
  EXPECT_TRUE(EditionsManager::shared().isInSession());
  EXPECT_THAT(recorder.events(), ElementsAre("locked", "will-begin"));
  editor->setValue(std::string("Nikon"), make);  // refused while saving
  editor->setFinderTags(std::vector<std::string>{"Blue"});  // allowed
  editor->performInternalFlushChanges(storage);
  EXPECT_THAT(editor->writtenTagNames(), IsEmpty());
  EXPECT_THAT(editor->originalValue(artist), Optional(std::string("Ada")));
  EXPECT_THAT(editor->originalValue(model), Optional(std::string())) << "a cleared tag keeps an empty original";
  EXPECT_EQ(editor->originalFinderTags(), std::vector<std::string>{"Blue"});
  editor->concludeInternalSaveChanges(storage);

  // The session ends before the lock is released, with the saved names and the Finder tags.
  EXPECT_THAT(recorder.events(), ElementsAre("locked", "will-begin", "did-end", "unlocked"));
  EXPECT_THAT(recorder.namesOf(editor).back(), Optional(ElementsAre(artist, model, TagName::orvfinderTags)));
  EXPECT_FALSE(editor->isLocked());
  EXPECT_FALSE(editor->isEdited());

  // Pending Finder tags alone, and a failed save (no flush): an empty session, the tags pending.
  editor->setFinderTags(std::vector<std::string>{"Red"});
  recorder.clear();
  editor->prepareInternalSaveChanges(storage);
  editor->concludeInternalSaveChanges(storage);
  EXPECT_THAT(recorder.events(), ElementsAre("locked", "will-begin", "did-end", "unlocked"));
  EXPECT_TRUE(recorder.sets().back().values.empty());
  EXPECT_EQ(editor->writtenFinderTags(), std::vector<std::string>{"Red"});
}

// Observers may read the editor on the thread that posts: nothing is posted while the editor's
// own lock is held, in a save as in an edit. A deadlock aborts the test rather than hang it.
TEST_F(MetadataEditorTest, ObserversReadTheEditorOnThePostingThread) {
  auto editor = jpegEditor();
  editor->setValue(std::string("Ada"), artist);
  std::vector<std::optional<std::string>> seen;
  auto read = [&](const Notification&) { seen.push_back(editor->currentValue(artist)); };
  const auto* manager = &EditionsManager::shared();
  testing::Observation locks(MetadataEditor::didChangeLockStateNotification, editor.get(), read);
  testing::Observation begins(EditionsManager::willBeginSessionNotification, manager, read);
  testing::Observation ends(EditionsManager::didEndSessionNotification, manager, read);
  std::promise<void> done;
  std::thread watchdog([finished = done.get_future()] {
    if (finished.wait_for(std::chrono::minutes(1)) == std::future_status::timeout) {
      std::fprintf(stderr, "deadlock: an observer could not read the editor\n");
      std::abort();
    }
  });
  auto storage = editor->storage();
  editor->prepareInternalSaveChanges(storage);
  editor->performInternalFlushChanges(storage);
  editor->concludeInternalSaveChanges(storage);
  editor->setValue(std::string("Bob"), artist);  // a session of its own
  done.set_value();
  watchdog.join();
  EXPECT_THAT(seen, ElementsAre("Ada", "Ada", "Ada", "Ada", "Bob", "Bob"));
}

TEST_F(MetadataEditorTest, FlushOfAnUnlockedEditorWarnsOnTheConsoleAndFlushes) {
  auto editor = jpegEditor();
  editor->setValue(std::string("Ada"), artist);
  auto storage = editor->storage();
  {
    testing::ConsoleCapture console;
    editor->performInternalFlushChanges(storage);
    EXPECT_EQ(console.text(), "Flushing changes while storage is not locked.\n");
  }
  EXPECT_THAT(editor->originalValue(artist), Optional(std::string("Ada")));
  EXPECT_FALSE(editor->isEdited());

  editor->setValue(std::string("Bob"), artist);
  editor->lockEditor();
  testing::ConsoleCapture console;
  editor->performInternalFlushChanges(storage);
  editor->unlockEditor();
  EXPECT_THAT(editor->originalValue(artist), Optional(std::string("Bob")));
  // debugPrint() is for a developer at a terminal: standard output, whatever the console.
  ::testing::internal::CaptureStdout();
  editor->debugPrint();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), editor->debugDescription());
  EXPECT_EQ(console.text(), "");
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

// A file is read through exiftool and a folder without a process; each takes the reader's password.
TEST_F(MetadataEditorTest, ReadersGiveTheirPasswordAndAFolderRunsNoProcess) {
  auto file = readEditor(copySample("Canon.jpg", scratch.path()), std::string("pass"));
  EXPECT_THAT(file->originalValue(TagName("EXIF", "Make")), Optional(std::string("Canon")));
  EXPECT_EQ(file->password(), std::optional<std::string>("pass"));
  EXPECT_THROW(readEditor(scratch / "missing.jpg"), std::exception);

  testing::RecordingRunner runner;
  auto folder = readImageFolder(MetadataETReader(std::string("pass")), scratch / "album");
  EXPECT_EQ(folder->password(), std::optional<std::string>("pass"));
  EXPECT_EQ(folder->extractThumbnail(), std::nullopt);
  EXPECT_TRUE(runner.commands().empty());
}

TEST_F(MetadataEditorTest, ThumbnailIsTheEmbeddedOneWhileItsLengthsSaySo) {
  // GPS.jpg (120 x 80) gets Canon.jpg (8 x 8) as its EXIF thumbnail.
  const auto path = copySample("GPS.jpg", scratch.path());
  testing::exifToolInPlace(path, {"-ThumbnailImage<=" + (testing::dataDirectory() / "Canon.jpg").string()});
  auto editor = readEditor(path);
  ASSERT_THAT(editor->originalValue(TagName::exifThumbnailLength),
              Optional(std::to_string(fs::file_size(testing::dataDirectory() / "Canon.jpg"))));
  EXPECT_EQ(thumbnailOf(*editor), Thumbnail(1, "8x8")) << "exiftool extracts the embedded thumbnail";

  // A pending "0" or empty length skips the embedded one: no process, a picture of the image.
  for (const std::string pending : {"0", ""}) {
    editor->unsafeSetValue(pending, TagName::exifThumbnailLength);
    EXPECT_EQ(thumbnailOf(*editor), Thumbnail(0, "120x80")) << "pending length '" << pending << "'";
  }
  editor->unsafeSetValue(std::nullopt, TagName::exifThumbnailLength);
  EXPECT_EQ(thumbnailOf(*editor), Thumbnail(1, "8x8"));

  // So does a thumbnail removed through the editor, until the edit is withdrawn.
  removeThumbnail(*editor);
  EXPECT_EQ(thumbnailOf(*editor), Thumbnail(0, "120x80"));
  restoreThumbnail(*editor);
  EXPECT_EQ(thumbnailOf(*editor), Thumbnail(1, "8x8"));
}

TEST_F(MetadataEditorTest, ThumbnailFallsBackOnAPictureOfTheImage) {
  // GPS.jpg says its thumbnail is 28 bytes long, but they are no image: exiftool is asked, and
  // the picture of the main image is the answer.
  auto broken = readEditor(copySample("GPS.jpg", scratch.path()));
  ASSERT_THAT(broken->originalValue(TagName::exifThumbnailLength), Optional(std::string("28")));
  EXPECT_EQ(thumbnailOf(*broken), Thumbnail(1, "120x80"));

  // A pending length on a file without a thumbnail: the file's own length decides.
  auto without = readEditor(copySample("Canon.jpg", scratch.path()));
  ASSERT_EQ(without->originalValue(TagName::exifThumbnailLength), std::nullopt);
  without->unsafeSetValue(std::string("1000"), TagName::exifThumbnailLength);
  EXPECT_EQ(thumbnailOf(*without), Thumbnail(0, "8x8"));

  // A file that is no image has no picture at all.
  testing::writeFile(scratch / "notes.jpg", "not an image");
  const auto notes =
      MetadataEditor::create<ETImageMetadataEditor>(ReadWriteStorage(scratch / "notes.jpg"), std::nullopt);
  EXPECT_EQ(thumbnailOf(*notes), Thumbnail(0, "none"));
}

// ---------------------------------------------------------------------------------------------
// One editor edited from many threads while another thread saves it (run under the thread
// sanitizer as well)

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
  std::vector<std::vector<RefusedValue>> refusals;
  std::vector<std::string> saveErrors;
  std::thread saver([&] {
    MetadataETWriter writer;
    for (int round = 0; round < 4; ++round) {
      try {
        refusals.push_back(testing::save(writer, *editor));
      } catch (const std::exception& error) {
        saveErrors.push_back(error.what());
      }
    }
    saving = false;
  });

  // Eight editors of values, each on its own tag; each retries an edit refused by the lock
  // until it is taken, so that its last value is known.
  std::vector<std::string> lastValues(tags.size());
  std::vector<std::thread> editors;
  for (std::size_t index = 0; index < tags.size(); ++index) {
    editors.emplace_back([&, index] {
      const auto& tag = tags[index];
      for (int edit = 0; saving || edit < 3; ++edit) {
        const auto value = "thread " + std::to_string(index) + " edit " + std::to_string(edit);
        // Only this thread edits the tag, and a save keeps current values: an edit was taken
        // exactly when the value is current now.
        for (editor->setValue(value, tag); editor->currentValue(tag) != value; editor->setValue(value, tag))
          std::this_thread::yield();
        lastValues[index] = value;
      }
    });
  }
  saver.join();
  for (auto& thread : editors) thread.join();

  EXPECT_THAT(saveErrors, IsEmpty());
  EXPECT_THAT(refusals, ::testing::Each(IsEmpty()));
  EXPECT_EQ(refusals.size(), 4u);
  // Every session ended, and only the editor's own edits of its own tags were announced.
  const auto events = recorder.events();
  EXPECT_EQ(std::count(events.begin(), events.end(), "will-begin"),
            std::count(events.begin(), events.end(), "did-end"));
  for (const auto& set : recorder.sets()) {
    for (const auto& [touched, names] : set.values) {
      EXPECT_EQ(touched, editor);
      for (const auto& name : names) EXPECT_NE(std::find(tags.begin(), tags.end(), name), tags.end()) << name;
    }
  }
  EXPECT_FALSE(EditionsManager::shared().isInSession());
  EXPECT_FALSE(editor->isLocked());

  // Each thread's last edit is either still pending or in the file.
  auto onDisk = readEditor(path);
  for (std::size_t index = 0; index < tags.size(); ++index) {
    const auto& tag = tags[index];
    if (editor->isValueEdited(tag)) {
      EXPECT_EQ(editor->writtenValue(tag), lastValues[index]) << tag;
    } else {
      EXPECT_EQ(onDisk->originalValue(tag), lastValues[index]) << tag << " is neither saved nor pending";
      EXPECT_EQ(editor->originalValue(tag), lastValues[index]) << tag;
    }
  }

  // And one more save brings them all to the file.
  MetadataETWriter writer;
  EXPECT_THAT(testing::save(writer, *editor), IsEmpty());
  EXPECT_FALSE(editor->isEdited());
  onDisk = readEditor(path);
  for (std::size_t index = 0; index < tags.size(); ++index)
    EXPECT_EQ(onDisk->originalValue(tags[index]), lastValues[index]) << tags[index];
}

}  // namespace
}  // namespace orvelin
