#include "orvelin/exiftool/one_command_jobs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "common/recording_runner.h"
#include "common/editors.h"
#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/support/process_runner.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

using testing::RecordingRunner;

// The last `count` arguments of a command.
std::vector<std::string> tail(const std::vector<std::string>& arguments, std::size_t count) {
  if (arguments.size() < count) return arguments;
  return std::vector<std::string>(arguments.end() - static_cast<std::ptrdiff_t>(count), arguments.end());
}

std::vector<std::string> namesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

class OneCommandJobs : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { TagsResources::shared().reload(); }

  fs::path sample(const std::string& name) { return testing::copySample(name, files_.path()); }
  const fs::path& folder() const { return files_.path(); }
  const fs::path& temporary() const { return temporary_.path(); }

  // Puts `jpeg` into `file` as the embedded image `tag` with exiftool itself.
  static void embed(const fs::path& file, const std::string& tag, const std::string& jpeg) {
    testing::ScratchFolder scratch;
    const auto image = scratch / "embedded.jpg";
    testing::writeFile(image, jpeg);
    testing::exifToolInPlace(file, {"-" + tag + "<=" + image.string()});
  }

  // The thumbnail of ExifTool.jpg (a JFIF extension thumbnail of 45 x 60 pixels), as exiftool
  // extracts it.
  static std::string sampleThumbnailJPEG() {
    const auto data = ThumbnailReader().readData(testing::dataDirectory() / "ExifTool.jpg");
    EXPECT_TRUE(data);
    return data.value_or("");
  }

  // What a reader made of a file: the arguments it gave exiftool after the options, and the
  // image's size as "WIDTHxHEIGHT" or "absent".
  using Read = std::pair<std::vector<std::string>, std::string>;
  static Read readWith(const EmbeddedImageReader& reader, const fs::path& file) {
    RecordingRunner runner;
    const auto image = reader.read(file);
    return {tail(runner.onlyCommand(), 3),
            image ? std::to_string(image->width()) + "x" + std::to_string(image->height()) : "absent"};
  }

  static ReadOnlyStorage read(const fs::path& file) { return MetadataETReader().readReadOnlyStorage(file); }

 private:
  testing::ScratchFolder files_;
  testing::ScratchFolder temporary_;
  testing::EnvironmentScope temporaryScope_{"TMPDIR", temporary_.path().string()};
};

TEST_F(OneCommandJobs, TheCleanerRemovesAllMetadataInPlace) {
  const auto file = sample("ExifTool.jpg");
  ASSERT_TRUE(read(file).containsStream(TagStream::exif));
  RecordingRunner runner;
  MetadataETCleaner cleaner;
  cleaner.clean(file);
  const auto command = runner.onlyCommand();
  EXPECT_THAT(tail(command, 3), ElementsAre("-overwrite_original_in_place", "-all=", file.string()));
  EXPECT_THAT(command, Not(Contains("-F")));

  const auto after = read(file);
  for (const auto& stream : {"EXIF", "IPTC", "XMP", "Photoshop", "MakerNotes", "ICC_Profile"})
    EXPECT_FALSE(after.containsStream(TagStream(stream))) << stream;
  EXPECT_TRUE(after.containsStream(TagStream::file));
  EXPECT_THAT(namesIn(folder()), ElementsAre("ExifTool.jpg"));  // no backup
  const auto image = Image::decodeFile(file);  // the picture itself is untouched
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width(), 8);
}

TEST_F(OneCommandJobs, WithoutOverrideInPlaceExifToolKeepsItsBackup) {
  const auto file = sample("ExifTool.jpg");
  const auto original = testing::readFile(file);
  RecordingRunner runner;
  MetadataETCleaner cleaner;
  cleaner.overrideInPlace = false;
  cleaner.enableCorrection = true;
  cleaner.clean(file);
  const auto command = runner.onlyCommand();
  EXPECT_THAT(command, Not(Contains("-overwrite_original_in_place")));
  EXPECT_THAT(tail(command, 3), ElementsAre("-F", "-all=", file.string()));
  EXPECT_THAT(namesIn(folder()), ElementsAre("ExifTool.jpg", "ExifTool.jpg_original"));
  EXPECT_EQ(testing::readFile(folder() / "ExifTool.jpg_original"), original);
  EXPECT_FALSE(read(file).containsStream(TagStream::exif));
}

TEST_F(OneCommandJobs, TheCleanerSwallowsFailures) {
  MetadataETCleaner cleaner;
  EXPECT_NO_THROW(cleaner.clean(folder() / "missing.jpg"));
  const auto text = folder() / "notes.jpg";
  testing::writeFile(text, "not an image");
  EXPECT_NO_THROW(cleaner.clean(text));
  EXPECT_EQ(testing::readFile(text), "not an image");
  EXPECT_THAT(namesIn(folder()), ElementsAre("notes.jpg"));
}

TEST_F(OneCommandJobs, TheThumbnailReaderDecodesTheEmbeddedThumbnail) {
  const auto file = testing::dataDirectory() / "ExifTool.jpg";
  EXPECT_EQ(readWith(ThumbnailReader(), file), Read({"-ThumbnailImage", "-b", file.string()}, "45x60"));
}

TEST_F(OneCommandJobs, NoThumbnailIsAbsentWithoutError) {
  ThumbnailReader reader;
  for (const char* name : {"Canon.jpg", "PNG.png", "XMP.xmp"}) {
    SCOPED_TRACE(name);
    std::optional<Image> thumbnail;
    EXPECT_NO_THROW(thumbnail = reader.read(testing::dataDirectory() / name));
    EXPECT_FALSE(thumbnail);
    EXPECT_FALSE(reader.readData(testing::dataDirectory() / name));
  }
  // exiftool prints the bytes of GPS.jpg's thumbnail, which are no JPEG: absent as well.
  EXPECT_FALSE(reader.read(testing::dataDirectory() / "GPS.jpg"));
  EXPECT_FALSE(reader.read(folder() / "missing.jpg"));
}

TEST_F(OneCommandJobs, TheJPGFromRawReaderReadsTheRawFilesJPEG) {
  const auto raw = sample("DNG.dng");
  const Read command({"-JpgFromRaw", "-b", raw.string()}, "absent");
  EXPECT_EQ(readWith(JPGFromRawReader(), raw), command);
  embed(raw, "JpgFromRaw", sampleThumbnailJPEG());
  EXPECT_EQ(readWith(JPGFromRawReader(), raw), Read(command.first, "45x60"));
  // The thumbnail is another image: the readers do not mix them up.
  EXPECT_FALSE(ThumbnailReader().read(raw));
}

TEST_F(OneCommandJobs, TheThumbnailWriterRemovesThumbnailsAndKeepsBackups) {
  const auto file = sample("Canon.jpg");
  embed(file, "ThumbnailImage", sampleThumbnailJPEG());  // an EXIF thumbnail, which exiftool can delete
  ASSERT_TRUE(ThumbnailReader().read(file));
  RecordingRunner runner;
  ThumbnailWriter writer;
  writer.write(file);
  const auto command = runner.onlyCommand();
  EXPECT_THAT(tail(command, 2), ElementsAre("-ThumbnailImage=", file.string()));
  EXPECT_THAT(command, Not(Contains("-overwrite_original_in_place")));
  EXPECT_FALSE(ThumbnailReader().read(file));
  EXPECT_THAT(namesIn(folder()), ElementsAre("Canon.jpg", "Canon.jpg_original"));
  EXPECT_TRUE(ThumbnailReader().read(folder() / "Canon.jpg_original"));
}

// A replacement puts the new picture into every file, where it reads back as that picture; the
// temporary JPEG is gone afterwards.
TEST_F(OneCommandJobs, TheReplacementPutsTheNewThumbnailIntoEveryFile) {
  const auto first = sample("ExifTool.jpg");
  const auto second = sample("Canon.jpg");
  ThumbnailWriter writer;
  writer.thumbnail = Image::decodeFile(testing::dataDirectory() / "PNG.png");
  ASSERT_TRUE(writer.thumbnail);
  const auto expected = std::to_string(writer.thumbnail->width()) + "x" + std::to_string(writer.thumbnail->height());
  RecordingRunner runner;
  writer.write({first, second});
  EXPECT_THAT(tail(runner.onlyCommand(), 2), ElementsAre(first.string(), second.string()));
  for (const auto& file : {first, second}) {
    const auto thumbnail = ThumbnailReader().read(file);
    ASSERT_TRUE(thumbnail) << file;
    EXPECT_EQ(std::to_string(thumbnail->width()) + "x" + std::to_string(thumbnail->height()), expected) << file;
  }
  EXPECT_THAT(namesIn(temporary()), IsEmpty());
}

TEST_F(OneCommandJobs, AThumbnailThatCannotBeWrittenRunsNothing) {
  const auto file = sample("ExifTool.jpg");
  testing::EnvironmentScope missing("TMPDIR", (folder() / "no such folder").string());
  ThumbnailWriter writer;
  writer.thumbnail = Image::decodeFile(testing::dataDirectory() / "PNG.png");
  RecordingRunner runner;
  writer.write(file);
  EXPECT_THAT(runner.commands(), IsEmpty());
  EXPECT_THAT(namesIn(folder()), ElementsAre("ExifTool.jpg"));
}

}  // namespace
}  // namespace orvelin
