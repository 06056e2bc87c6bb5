#include "orvelin/editor/et_editors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "common/editors.h"
#include "common/recording_runner.h"
#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editor/editor_image_facts.h"
#include "orvelin/storage/metadata_et_reader.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::Optional;
using testing::copySample;
using testing::readEditor;
using testing::ScratchFolder;

// The editor's thumbnail as "WIDTHxHEIGHT" ("none" without one), and how many processes it took.
using Thumbnail = std::pair<std::size_t, std::string>;
Thumbnail thumbnailOf(const MetadataEditor& editor) {
  testing::RecordingRunner runner;
  const auto image = editor.extractThumbnail();
  return {runner.commands().size(),
          image ? std::to_string(image->width()) + "x" + std::to_string(image->height()) : "none"};
}

class ETEditorsTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { TagsResources::shared().reload(); }

  ScratchFolder scratch;
};

// A file is read through exiftool and a folder without a process; each takes the reader's password.
TEST_F(ETEditorsTest, ReadersGiveTheirPasswordAndAFolderRunsNoProcess) {
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

TEST_F(ETEditorsTest, ThumbnailIsTheEmbeddedOneWhileItsLengthsSaySo) {
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

TEST_F(ETEditorsTest, ThumbnailFallsBackOnAPictureOfTheImage) {
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
  const auto notes = MetadataEditor::create<ETImageMetadataEditor>(ReadWriteStorage(scratch / "notes.jpg"), std::nullopt);
  EXPECT_EQ(thumbnailOf(*notes), Thumbnail(0, "none"));
}

}  // namespace
}  // namespace orvelin
