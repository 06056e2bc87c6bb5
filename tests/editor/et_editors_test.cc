#include "orvelin/editor/et_editors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

#include "common/editors.h"
#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editor/editor_image_facts.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/support/files.h"
#include "orvelin/support/process_runner.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::Optional;
using testing::copySample;
using testing::ScratchFolder;

// Counts the processes started through it.
class CountingRunner : public ProcessRunnerWrapper {
 public:
  CountingRunner() : ProcessRunnerWrapper(ProcessRunner::Default()) { ORVSetProcessRunner(this); }
  ~CountingRunner() override { ORVSetProcessRunner(nullptr); }
  ProcessResult run(const ProcessRequest& request) override {
    ++runs;
    return ProcessRunnerWrapper::run(request);
  }
  std::atomic<int> runs{0};
};

class ETEditorsTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { TagsResources::shared().reload(); }

  std::shared_ptr<ETImageMetadataEditor> read(const fs::path& path, std::optional<std::string> password = {}) {
    return testing::readEditor(path, std::move(password));
  }

  ScratchFolder scratch;
};

TEST_F(ETEditorsTest, ReadImageFileFillsAnEditorWithValuesAndFinderTags) {
  const auto path = copySample("Canon.jpg", scratch.path());
  auto untagged = read(path, std::string("pass"));
  EXPECT_THAT(untagged->originalValue(TagName("EXIF", "Make")), Optional(std::string("Canon")));
  EXPECT_TRUE(untagged->originalFinderTags().empty());
  EXPECT_EQ(untagged->password(), std::optional<std::string>("pass"));
  EXPECT_FALSE(untagged->isFolder());
  EXPECT_FALSE(untagged->isEdited());

  std::error_code error;
  writeFinderTags(path, {"Holiday", "Été"}, error);
  ASSERT_FALSE(error);
  EXPECT_EQ(read(path)->originalFinderTags(), (std::vector<std::string>{"Holiday", "Été"}));

  EXPECT_THROW(read(scratch / "missing.jpg"), std::exception);
}

TEST_F(ETEditorsTest, ReadImageFolderRunsNoProcess) {
  CountingRunner runner;
  MetadataETReader reader(std::string("pass"));
  auto folder = readImageFolder(reader, scratch / "album");
  EXPECT_EQ(runner.runs, 0);
  EXPECT_EQ(folder->url(), scratch / "album");
  EXPECT_EQ(folder->password(), std::optional<std::string>("pass"));
  EXPECT_TRUE(folder->originalTagNames().empty());
  EXPECT_EQ(folder->extractThumbnail(), std::nullopt);
}

// Runs exiftool on `path` with `arguments`, in place.
void runExifTool(const fs::path& path, std::vector<std::string> arguments) {
  ExifToolCLI cli;
  cli.overwriteInPlace = true;
  arguments.push_back(path.string());
  cli.run(arguments);
}

TEST_F(ETEditorsTest, ThumbnailIsTheEmbeddedOneWhileItsLengthsSaySo) {
  // GPS.jpg (120 x 80) gets Canon.jpg (8 x 8) as its EXIF thumbnail.
  const auto path = copySample("GPS.jpg", scratch.path());
  runExifTool(path, {"-ThumbnailImage<=" + (testing::dataDirectory() / "Canon.jpg").string()});
  auto editor = read(path);
  ASSERT_THAT(editor->originalValue(TagName::exifThumbnailLength),
              Optional(std::to_string(fs::file_size(testing::dataDirectory() / "Canon.jpg"))));
  {
    CountingRunner runner;
    const auto thumbnail = editor->extractThumbnail();
    EXPECT_EQ(runner.runs, 1) << "exiftool extracts the embedded thumbnail";
    ASSERT_TRUE(thumbnail.has_value());
    EXPECT_EQ(thumbnail->width(), 8);
    EXPECT_EQ(thumbnail->height(), 8);
  }

  // A pending "0" or empty length skips the embedded one: no process, a picture of the image.
  for (const std::string pending : {"0", ""}) {
    editor->unsafeSetValue(pending, TagName::exifThumbnailLength);
    CountingRunner runner;
    const auto thumbnail = editor->extractThumbnail();
    EXPECT_EQ(runner.runs, 0) << "pending length '" << pending << "'";
    ASSERT_TRUE(thumbnail.has_value());
    EXPECT_EQ(thumbnail->width(), 120);
    EXPECT_EQ(thumbnail->height(), 80);
  }
  editor->unsafeSetValue(std::nullopt, TagName::exifThumbnailLength);
  ASSERT_EQ(editor->extractThumbnail()->width(), 8);

  // So does a thumbnail removed through the editor, until the edit is withdrawn.
  removeThumbnail(*editor);
  {
    CountingRunner runner;
    const auto thumbnail = editor->extractThumbnail();
    EXPECT_EQ(runner.runs, 0);
    ASSERT_TRUE(thumbnail.has_value());
    EXPECT_EQ(thumbnail->width(), 120);
  }
  restoreThumbnail(*editor);
  EXPECT_EQ(editor->extractThumbnail()->width(), 8);
}

TEST_F(ETEditorsTest, ThumbnailFallsBackOnAPictureOfTheImage) {
  // GPS.jpg says its thumbnail is 28 bytes long, but they are no image: exiftool is asked, and
  // the picture of the main image is the answer.
  auto broken = read(copySample("GPS.jpg", scratch.path()));
  ASSERT_THAT(broken->originalValue(TagName::exifThumbnailLength), Optional(std::string("28")));
  {
    CountingRunner runner;
    const auto thumbnail = broken->extractThumbnail();
    EXPECT_EQ(runner.runs, 1);
    ASSERT_TRUE(thumbnail.has_value());
    EXPECT_EQ(thumbnail->width(), 120);
    EXPECT_EQ(thumbnail->height(), 80);
  }

  // A pending length on a file without a thumbnail: the file's own length decides.
  auto without = read(copySample("Canon.jpg", scratch.path()));
  ASSERT_EQ(without->originalValue(TagName::exifThumbnailLength), std::nullopt);
  without->unsafeSetValue(std::string("1000"), TagName::exifThumbnailLength);
  CountingRunner runner;
  const auto thumbnail = without->extractThumbnail();
  EXPECT_EQ(runner.runs, 0);
  ASSERT_TRUE(thumbnail.has_value());
  EXPECT_EQ(thumbnail->width(), 8);

  // A file that is no image has no picture at all.
  testing::writeFile(scratch / "notes.jpg", "not an image");
  ReadWriteStorage storage(scratch / "notes.jpg");
  EXPECT_EQ(MetadataEditor::create<ETImageMetadataEditor>(std::move(storage), std::nullopt)->extractThumbnail(),
            std::nullopt);
}

}  // namespace
}  // namespace orvelin
