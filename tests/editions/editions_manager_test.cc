#include "orvelin/editions/editions_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "common/editors.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editor/metadata_editor.h"
#include "orvelin/support/notification_center.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

using SessionRecorder = testing::EventRecorder;

std::shared_ptr<MetadataEditor> makeEditor(const std::string& path) {
  return MetadataEditor::create(ReadWriteStorage(path));
}

const TagName artist("EXIF", "Artist");
const TagName make("EXIF", "Make");

class EditionsManagerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { TagsResources::shared().reload(); }
  void TearDown() override {
    // Every test leaves the shared manager idle, so that the next one starts from depth 0.
    EXPECT_FALSE(EditionsManager::shared().isInSession());
    EXPECT_TRUE(EditionsManager::shared().editionsSet().values.empty());
  }
  EditionsManager& manager = EditionsManager::shared();
};

TEST_F(EditionsManagerTest, RegisterOutsideASessionIsASessionOfItsOwn) {
  auto editor = makeEditor("/photos/a.jpg");
  SessionRecorder recorder;
  manager.registerEdition(editor, artist);

  EXPECT_THAT(recorder.events(), ElementsAre("will-begin", "did-end"));
  EXPECT_THAT(recorder.onlySession(editor), ElementsAre(artist));
  // The manager's set still showed the edition while the did-end notification went out...
  ASSERT_EQ(recorder.setsDuringDidEnd().size(), 1u);
  EXPECT_THAT(recorder.setsDuringDidEnd()[0].values.at(editor), ElementsAre(artist));
  // ...and is empty once it is over.
  EXPECT_TRUE(manager.editionsSet().values.empty());
  EXPECT_FALSE(manager.isInSession());
}

TEST_F(EditionsManagerTest, NestedSessionsAnnounceOnlyTheOutermostBeginAndEnd) {
  auto first = makeEditor("/photos/a.jpg");
  auto twin = makeEditor("/photos/a.jpg");  // same URL, another editor
  SessionRecorder recorder;

  manager.beginSession();
  EXPECT_THAT(recorder.events(), ElementsAre("will-begin"));
  manager.beginSession();
  manager.registerEdition(first, artist);
  manager.beginSession();
  manager.registerEdition(first, artist);  // the same edition twice: one entry
  manager.registerEdition(first, make);
  manager.registerEdition(twin, artist);
  EXPECT_TRUE(manager.isInSession());
  manager.endSession();
  manager.endSession();
  EXPECT_THAT(recorder.events(), ElementsAre("will-begin"));
  // Inside a session the set is visible as it grows.
  EXPECT_EQ(manager.editionsSet().values.size(), 2u);
  manager.endSession();

  EXPECT_THAT(recorder.events(), ElementsAre("will-begin", "did-end"));
  const auto set = recorder.sets().at(0);
  ASSERT_EQ(set.values.size(), 2u) << "two editors of one URL are two entries";
  EXPECT_THAT(set.values.at(first), UnorderedElementsAre(artist, make));
  EXPECT_THAT(set.values.at(twin), ElementsAre(artist));
}

TEST_F(EditionsManagerTest, ABlockIsASessionEvenWithoutEditionsOrWhenItThrows) {
  SessionRecorder recorder;
  manager.session([&] { EXPECT_TRUE(manager.isInSession()); });
  auto editor = makeEditor("/photos/a.jpg");
  EXPECT_THROW(manager.session([&] {
    manager.registerEdition(editor, artist);
    throw std::runtime_error("stop");
  }),
               std::runtime_error);
  EXPECT_THAT(recorder.events(), ElementsAre("will-begin", "did-end", "will-begin", "did-end"));
  EXPECT_TRUE(recorder.sets().at(0).values.empty());
  EXPECT_THAT(recorder.sets().at(1).values.at(editor), ElementsAre(artist));
}

TEST_F(EditionsManagerTest, UnbalancedEndGoesBelowZeroWithoutNotifications) {
  SessionRecorder recorder;
  manager.endSession();  // depth -1
  EXPECT_FALSE(manager.isInSession());
  manager.beginSession();  // back to 0: no will-begin
  EXPECT_FALSE(manager.isInSession());
  EXPECT_THAT(recorder.events(), IsEmpty());

  manager.beginSession();  // 0 -> 1: announced again
  manager.endSession();
  EXPECT_THAT(recorder.events(), ElementsAre("will-begin", "did-end"));
}

TEST_F(EditionsManagerTest, EditionsSetIsReadOnlyFromADidEndNotification) {
  EXPECT_FALSE(EditionsManager::editionsSet(Notification{"SomethingElseNotification", nullptr, {}}).has_value());
  EXPECT_FALSE(EditionsManager::editionsSet(Notification{EditionsManager::willBeginSessionNotification,
                                                         &manager, {}})
                   .has_value());
  // A foreign object under the key is no set either.
  EXPECT_FALSE(EditionsManager::editionsSet(Notification{EditionsManager::didEndSessionNotification, &manager,
                                                         {{EditionsManager::editionsSetKey, std::string("x")}}})
                   .has_value());
}

TEST_F(EditionsManagerTest, EditionsSetQueries) {
  auto gpsEditor = makeEditor("/photos/a.jpg");
  auto thumbnailEditor = makeEditor("/photos/b.jpg");
  auto emptyEntry = makeEditor("/photos/c.jpg");
  auto untouched = makeEditor("/photos/d.jpg");
  auto twinOfUntouched = makeEditor("/photos/d.jpg");

  EditionsSet set;
  set.values[gpsEditor] = {TagName::gpsTagNames().front(), artist};
  set.values[thumbnailEditor] = {TagName::exifThumbnailLength, make};
  set.values[emptyEntry] = {};
  set.values[twinOfUntouched] = {make};

  EXPECT_THAT(set.tagNames({gpsEditor, thumbnailEditor, untouched}),
              UnorderedElementsAre(TagName::gpsTagNames().front(), artist, TagName::exifThumbnailLength, make));
  EXPECT_THAT(set.tagNames({untouched}), IsEmpty()) << "an editor of the same URL is not the same editor";

  EXPECT_TRUE(set.hasEditions({untouched, emptyEntry})) << "an entry counts even with no names";
  EXPECT_FALSE(set.hasEditions({untouched}));
  EXPECT_FALSE(set.hasEditions({}));

  EXPECT_TRUE(set.hasGPSEditions({untouched, gpsEditor}));
  EXPECT_FALSE(set.hasGPSEditions({thumbnailEditor, emptyEntry, twinOfUntouched}));
  EXPECT_FALSE(set.hasGPSEditions({}));

  EXPECT_TRUE(set.hasThumbnailEditions({thumbnailEditor}));
  EXPECT_FALSE(set.hasThumbnailEditions({gpsEditor, untouched}));
  EXPECT_FALSE(set.hasThumbnailEditions({}));

}

TEST_F(EditionsManagerTest, TheSetKeepsItsEditorsAlive) {
  std::weak_ptr<MetadataEditor> watched;
  std::optional<EditionsSet> kept;
  {
    SessionRecorder recorder;
    auto editor = makeEditor("/photos/a.jpg");
    watched = editor;
    manager.registerEdition(editor, artist);
    kept = recorder.sets().at(0);
  }
  EXPECT_FALSE(watched.expired()) << "an EditionsSet retains its editors";
  kept.reset();
  EXPECT_TRUE(watched.expired());
}

}  // namespace
}  // namespace orvelin
