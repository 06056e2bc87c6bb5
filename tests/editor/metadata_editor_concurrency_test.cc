// One editor edited from many threads while another thread saves it. Meant to run under the
// thread sanitizer as well.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "common/editors.h"
#include "common/event_log.h"
#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/storage/metadata_et_writer.h"

namespace orvelin {
namespace {

using testing::readEditor;

TEST(MetadataEditorConcurrencyTest, EveryEditEndsSavedOrPending) {
  TagsResources::shared().reload();
  testing::ScratchFolder scratch;
  const auto path = testing::copySample("Canon.jpg", scratch.path());
  auto editor = readEditor(path);
  // One string tag per editing thread, each editable in a JPEG and written back as sent.
  const std::vector<TagName> tags{
      {"EXIF", "Artist"}, {"EXIF", "Copyright"}, {"EXIF", "ImageDescription"}, {"EXIF", "Software"},
      {"IPTC", "City"},   {"IPTC", "Headline"},  {"IPTC", "ObjectName"},       {"XMP", "Label"},
  };
  for (const auto& tag : tags) ASSERT_TRUE(editor->canEditValue(tag)) << tag;

  // The observer of the notifications: only the shared set is touched from inside them.
  std::atomic<int> willBegin{0};
  std::atomic<int> didEnd{0};
  std::atomic<int> foreignEditions{0};
  const void* manager = &EditionsManager::shared();
  testing::Observation begins(EditionsManager::willBeginSessionNotification, manager,
                              [&](const Notification&) { ++willBegin; });
  testing::Observation ends(EditionsManager::didEndSessionNotification, manager, [&](const Notification& note) {
    ++didEnd;
    const auto set = EditionsManager::editionsSet(note);
    if (!set) {
      ++foreignEditions;
      return;
    }
    for (const auto& [touched, names] : set->values) {
      if (touched != editor) ++foreignEditions;
      for (const auto& name : names)
        if (std::find(tags.begin(), tags.end(), name) == tags.end()) ++foreignEditions;
    }
  });

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

  EXPECT_THAT(saveErrors, ::testing::IsEmpty());
  EXPECT_THAT(refusals, ::testing::Each(::testing::IsEmpty()));
  EXPECT_EQ(refusals.size(), 4u);
  EXPECT_EQ(foreignEditions, 0);
  EXPECT_EQ(willBegin.load(), didEnd.load());
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
  EXPECT_THAT(testing::save(writer, *editor), ::testing::IsEmpty());
  EXPECT_FALSE(editor->isEdited());
  onDisk = readEditor(path);
  for (std::size_t index = 0; index < tags.size(); ++index)
    EXPECT_EQ(onDisk->originalValue(tags[index]), lastValues[index]) << tags[index];
}

}  // namespace
}  // namespace orvelin
