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
using ::testing::Optional;
using ::testing::UnorderedElementsAre;
using testing::editorOf;

const TagName artist("EXIF", "Artist");
const TagName make("EXIF", "Make");

// A registration outside a session is a session of its own; so is a block, even without
// editions or when it throws; nested sessions announce only the outermost begin and end.
TEST(EditionsManager, EachOutermostSessionIsAnnounced) {
  auto& manager = EditionsManager::shared();
  auto editor = editorOf({}, "/photos/a.jpg");
  auto twin = editorOf({}, "/photos/a.jpg");  // same URL, another editor
  const std::weak_ptr<MetadataEditor> watched = editor;
  testing::EventRecorder recorder;
  manager.registerEdition(editor, artist);
  manager.session([&] { EXPECT_TRUE(manager.isInSession()); });
  EXPECT_THROW(manager.session([&] {
    manager.registerEdition(editor, make);
    throw std::runtime_error("stop");
  }), std::runtime_error);
  manager.beginSession();
  manager.registerEdition(editor, artist);
  manager.beginSession();
  manager.registerEdition(editor, artist);  // the same edition twice: one entry
  manager.registerEdition(editor, make);
  manager.registerEdition(twin, artist);
  manager.endSession();
  manager.endSession();

  ASSERT_THAT(recorder.events(), ElementsAre("will-begin", "did-end", "will-begin", "did-end", "will-begin",
                                             "did-end", "will-begin", "did-end"));
  EXPECT_THAT(recorder.namesOf(editor), ElementsAre(Optional(ElementsAre(artist)), std::nullopt,
                                                    Optional(ElementsAre(make)), Optional(ElementsAre(artist, make))));
  EXPECT_THAT(recorder.sets().back().values.at(twin), ElementsAre(artist)) << "two editors of one URL";
  // The manager's set still showed the edition while the did-end notification went out.
  EXPECT_THAT(recorder.setsDuringDidEnd()[0].values.at(editor), ElementsAre(artist));
  editor.reset();
  EXPECT_FALSE(watched.expired()) << "an EditionsSet retains its editors";

  // An unbalanced end goes below zero without notifications.
  recorder.clear();
  manager.endSession();  // depth -1
  EXPECT_FALSE(manager.isInSession());
  manager.beginSession();  // back to 0: no will-begin
  manager.session([] {});  // 0 -> 1: announced, as the only session since the clear
  EXPECT_THAT(recorder.events(), ElementsAre("will-begin", "did-end"));  // and the depth is 0 again
}

TEST(EditionsManager, EditionsSetQueries) {
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
  EXPECT_TRUE(set.tagNames({untouched}).empty()) << "an editor of the same URL is not the same editor";
  EXPECT_TRUE(set.hasEditions({untouched, emptyEntry})) << "an entry counts even with no names";
  EXPECT_FALSE(set.hasEditions({untouched}));
  EXPECT_TRUE(set.hasGPSEditions({untouched, gpsEditor}));
  EXPECT_FALSE(set.hasGPSEditions({thumbnailEditor, emptyEntry, twinOfUntouched}));
  EXPECT_TRUE(set.hasThumbnailEditions({thumbnailEditor}));
  EXPECT_FALSE(set.hasThumbnailEditions({gpsEditor, untouched}));
  // Only a did-end notification carries a set: not one without it, nor a foreign object under the key.
  const void* manager = &EditionsManager::shared();
  EXPECT_FALSE(EditionsManager::editionsSet({EditionsManager::willBeginSessionNotification, manager, {}}));
  EXPECT_FALSE(EditionsManager::editionsSet(
      {EditionsManager::didEndSessionNotification, manager, {{EditionsManager::editionsSetKey, std::string("x")}}}));
}

}  // namespace
}  // namespace orvelin
