#include "orvelin/editions/editions_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "common/editors.h"
#include "orvelin/editor/metadata_editor.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::UnorderedElementsAre;
using testing::editorOf;
using testing::EventRecorder;

const TagName artist("EXIF", "Artist");
const TagName make("EXIF", "Make");

class EditionsManagerTest : public ::testing::Test {
 protected:
  void TearDown() override {
    // Every test leaves the shared manager idle, so that the next one starts from depth 0.
    EXPECT_FALSE(EditionsManager::shared().isInSession());
    EXPECT_TRUE(EditionsManager::shared().editionsSet().values.empty());
  }
  EditionsManager& manager = EditionsManager::shared();
};

// A registration outside a session is a session of its own; so is a block, even without
// editions or when it throws.
TEST_F(EditionsManagerTest, EachOutermostSessionIsAnnounced) {
  auto editor = editorOf({}, "/photos/a.jpg");
  const std::weak_ptr<MetadataEditor> watched = editor;
  EventRecorder recorder;
  manager.registerEdition(editor, artist);
  manager.session([&] { EXPECT_TRUE(manager.isInSession()); });
  EXPECT_THROW(manager.session([&] {
    manager.registerEdition(editor, make);
    throw std::runtime_error("stop");
  }),
               std::runtime_error);

  EXPECT_THAT(recorder.events(),
              ElementsAre("will-begin", "did-end", "will-begin", "did-end", "will-begin", "did-end"));
  EXPECT_THAT(recorder.namesOf(editor),
              ElementsAre(Optional(ElementsAre(artist)), std::nullopt, Optional(ElementsAre(make))));
  // The manager's set still showed the edition while the did-end notification went out.
  EXPECT_THAT(recorder.setsDuringDidEnd()[0].values.at(editor), ElementsAre(artist));
  editor.reset();
  EXPECT_FALSE(watched.expired()) << "an EditionsSet retains its editors";
}

TEST_F(EditionsManagerTest, NestedSessionsAnnounceOnlyTheOutermostBeginAndEnd) {
  auto first = editorOf({}, "/photos/a.jpg");
  auto twin = editorOf({}, "/photos/a.jpg");  // same URL, another editor
  EventRecorder recorder;

  manager.beginSession();
  manager.registerEdition(first, artist);
  manager.beginSession();
  manager.registerEdition(first, artist);  // the same edition twice: one entry
  manager.registerEdition(first, make);
  manager.registerEdition(twin, artist);
  manager.endSession();
  EXPECT_THAT(recorder.events(), ElementsAre("will-begin"));
  manager.endSession();

  EXPECT_THAT(recorder.events(), ElementsAre("will-begin", "did-end"));
  EXPECT_THAT(recorder.namesOf(first), ElementsAre(Optional(UnorderedElementsAre(artist, make))));
  EXPECT_THAT(recorder.namesOf(twin), ElementsAre(Optional(ElementsAre(artist)))) << "two editors of one URL";
}

TEST_F(EditionsManagerTest, UnbalancedEndGoesBelowZeroWithoutNotifications) {
  EventRecorder recorder;
  manager.endSession();  // depth -1
  EXPECT_FALSE(manager.isInSession());
  manager.beginSession();  // back to 0: no will-begin
  EXPECT_THAT(recorder.events(), IsEmpty());
  manager.beginSession();  // 0 -> 1: announced again
  manager.endSession();
  EXPECT_THAT(recorder.events(), ElementsAre("will-begin", "did-end"));
}

TEST_F(EditionsManagerTest, EditionsSetIsReadOnlyFromADidEndNotification) {
  EXPECT_FALSE(EditionsManager::editionsSet({EditionsManager::willBeginSessionNotification, &manager, {}}));
  // A foreign object under the key is no set either.
  EXPECT_FALSE(EditionsManager::editionsSet(
      {EditionsManager::didEndSessionNotification, &manager, {{EditionsManager::editionsSetKey, std::string("x")}}}));
}

TEST_F(EditionsManagerTest, EditionsSetQueries) {
  auto gpsEditor = editorOf({}, "/photos/a.jpg");
  auto thumbnailEditor = editorOf({}, "/photos/b.jpg");
  auto emptyEntry = editorOf({}, "/photos/c.jpg");
  auto untouched = editorOf({}, "/photos/d.jpg");
  auto twinOfUntouched = editorOf({}, "/photos/d.jpg");
  const EditionsSet set{{{gpsEditor, {TagName::exifGPSLatitude, artist}},
                         {thumbnailEditor, {TagName::exifThumbnailLength, make}},
                         {emptyEntry, {}},
                         {twinOfUntouched, {make}}}};

  EXPECT_THAT(set.tagNames({gpsEditor, thumbnailEditor, untouched}),
              UnorderedElementsAre(TagName::exifGPSLatitude, artist, TagName::exifThumbnailLength, make));
  EXPECT_THAT(set.tagNames({untouched}), IsEmpty()) << "an editor of the same URL is not the same editor";
  EXPECT_TRUE(set.hasEditions({untouched, emptyEntry})) << "an entry counts even with no names";
  EXPECT_FALSE(set.hasEditions({untouched}));
  EXPECT_TRUE(set.hasGPSEditions({untouched, gpsEditor}));
  EXPECT_FALSE(set.hasGPSEditions({thumbnailEditor, emptyEntry, twinOfUntouched}));
  EXPECT_TRUE(set.hasThumbnailEditions({thumbnailEditor}));
  EXPECT_FALSE(set.hasThumbnailEditions({gpsEditor, untouched}));
}

}  // namespace
}  // namespace orvelin
