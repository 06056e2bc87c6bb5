#include "orvelin/editor/editor_batch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/editors.h"
#include "orvelin/editor/et_editors.h"

namespace orvelin {
namespace {

using testing::EventRecorder;
using testing::tag;
using ::testing::UnorderedElementsAre;
using Values = std::initializer_list<std::pair<const char*, const char*>>;

const TagName artist = tag("EXIF:Artist");

std::vector<std::shared_ptr<MetadataEditor>> editorsOf(std::initializer_list<Values> values) {
  std::vector<std::shared_ptr<MetadataEditor>> editors;
  for (const auto& each : values) editors.push_back(testing::editorOfUntyped(each));
  return editors;
}

TEST(EditorBatch, ReadsReduceToTheDistinctAnswers) {
  using Optionals = std::unordered_set<std::optional<std::string>>;
  using Texts = std::unordered_set<std::string>;
  const struct {
    const char* name;
    std::vector<std::shared_ptr<MetadataEditor>> editors;
    Optionals current;
    Texts currentOrEmpty;
  } cases[] = {
      {"one", editorsOf({{{"EXIF:Artist", "a"}}}), {"a"}, {"a"}},
      {"two that agree", editorsOf({{{"EXIF:Artist", "a"}}, {{"EXIF:Artist", "a"}}}), {"a"}, {"a"}},
      {"two that differ", editorsOf({{{"EXIF:Artist", "a"}}, {{"EXIF:Artist", "b"}}}), {"a", "b"}, {"a", "b"}},
      {"a value and none", editorsOf({{{"EXIF:Artist", "a"}}, {}}), {"a", std::nullopt}, {"a", ""}},
      {"empty and none", editorsOf({{{"EXIF:Artist", ""}}, {}}), {"", std::nullopt}, {""}},
      {"no editor", {}, {}, {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(currentValues(c.editors, artist), c.current) << c.name;
    EXPECT_EQ(originalValues(c.editors, artist), c.current) << c.name;
    EXPECT_EQ(currentOrEmptyValues(c.editors, artist), c.currentOrEmpty) << c.name;
    EXPECT_EQ(originalOrEmptyValues(c.editors, artist), c.currentOrEmpty) << c.name;
    EXPECT_THAT(writtenValues(c.editors, artist), ::testing::Each(std::nullopt)) << c.name;
    EXPECT_FALSE(isValueEdited(c.editors, artist)) << c.name;
  }
}

TEST(EditorBatch, AWriteReachesTheEditorsThatCanTakeItInOneSession) {
  // Ten editors; only the one that has the tag can edit it.
  auto editors = editorsOf({{{"EXIF:Artist", "a"}}, {}, {}, {}, {}, {}, {}, {}, {}, {}});
  EXPECT_TRUE(canEditValue(editors, artist));
  EventRecorder recorder;
  setValue(editors, "b", artist);
  EXPECT_THAT(recorder.events(), ::testing::ElementsAre("will-begin", "did-end"));
  EXPECT_EQ(recorder.sets().front().values.size(), 1u);
  EXPECT_TRUE(isValueEdited(editors, artist));
  EXPECT_EQ(writtenValues(editors, artist), (std::unordered_set<std::optional<std::string>>{"b", std::nullopt}));
  EXPECT_THAT(currentOrEmptyValues(editors, artist), UnorderedElementsAre("b", ""));

  // Clear and restore; every editor of the array in one session, and a subclass's array too.
  std::vector<std::shared_ptr<ETImageMetadataEditor>> files{
      MetadataEditor::create<ETImageMetadataEditor>(ReadWriteStorage{"/photos/a.jpg"}),
      MetadataEditor::create<ETImageMetadataEditor>(ReadWriteStorage{"/photos/b.jpg"})};
  recorder.clear();
  clearValue(editors, artist);
  EXPECT_THAT(writtenValues(editors, artist), UnorderedElementsAre("", std::nullopt));
  restoreValues(editors, {artist});
  EXPECT_FALSE(isValueEdited(editors, artist));
  clearValues(files, {artist});
  EXPECT_EQ(recorder.sets().size(), 3u);

  // An empty array still opens and closes its session.
  recorder.clear();
  setValue(std::vector<std::shared_ptr<MetadataEditor>>{}, "b", artist);
  EXPECT_THAT(recorder.events(), ::testing::ElementsAre("will-begin", "did-end"));
  EXPECT_TRUE(recorder.sets().front().values.empty());
}

TEST(EditorBatch, GPSReadsGiveTheOneCommonAnswer) {
  const Values paris = {{"EXIF:GPSLatitude", "48.8566"}, {"EXIF:GPSLatitudeRef", "N"},
                        {"EXIF:GPSLongitude", "2.3522"}, {"EXIF:GPSLongitudeRef", "E"},
                        {"IPTC:City", "Paris"}};
  const Values rome = {{"EXIF:GPSLatitude", "41.9"}, {"EXIF:GPSLatitudeRef", "N"},
                       {"EXIF:GPSLongitude", "2.3522"}, {"EXIF:GPSLongitudeRef", "E"},
                       {"IPTC:City", "Rome"}};
  EXPECT_EQ(exifGPSLatitude(editorsOf({{}, {}})), std::nullopt);
  EXPECT_EQ(exifGPSLatitude(editorsOf({paris, paris})), 48.8566);
  EXPECT_EQ(exifGPSCoordinate(editorsOf({paris, paris})), Coordinate(48.8566, 2.3522));
  EXPECT_EQ(iptcLocationDescription(editorsOf({paris, paris})), "Paris");
  const auto mixed = editorsOf({paris, rome});
  EXPECT_EQ(exifGPSLatitude(mixed), std::nullopt);
  EXPECT_EQ(exifGPSLongitude(mixed), 2.3522);
  EXPECT_EQ(exifGPSCoordinate(mixed), std::nullopt);
  EXPECT_EQ(iptcLocationDescription(mixed), "");
  EXPECT_EQ(exifGPSLatitude(std::vector<std::shared_ptr<MetadataEditor>>{}), std::nullopt);
}

}  // namespace
}  // namespace orvelin
