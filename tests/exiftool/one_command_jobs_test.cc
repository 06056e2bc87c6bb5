#include "orvelin/exiftool/one_command_jobs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "common/recording_runner.h"
#include "common/editors.h"
#include "common/test_support.h"
#include "orvelin/storage/metadata_et_reader.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

using testing::RecordingRunner;

std::vector<std::string> namesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

// An image's size as "WIDTHxHEIGHT", or "absent".
std::string sizeOf(const std::optional<Image>& image) {
  return image ? std::to_string(image->width()) + "x" + std::to_string(image->height()) : "absent";
}

class OneCommandJobs : public ::testing::Test {
 protected:
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

  static ReadOnlyStorage read(const fs::path& file) { return MetadataETReader().readReadOnlyStorage(file); }

 private:
  testing::ScratchFolder files_;
  testing::ScratchFolder temporary_;
  testing::EnvironmentScope temporaryScope_{"TMPDIR", temporary_.path().string()};
};

TEST_F(OneCommandJobs, TheCleanerRemovesAllMetadata) {
  const auto file = sample("ExifTool.jpg");
  ASSERT_TRUE(read(file).containsStream(TagStream::exif));
  {
    RecordingRunner runner;
    MetadataETCleaner().clean(file);
    EXPECT_THAT(runner.onlyCommand(), Not(Contains("-F")));  // no correction unless asked
  }
  const auto after = read(file);
  for (const auto& stream : {"EXIF", "IPTC", "XMP", "Photoshop", "MakerNotes", "ICC_Profile"})
    EXPECT_FALSE(after.containsStream(TagStream(stream))) << stream;
  EXPECT_TRUE(after.containsStream(TagStream::file));
  EXPECT_THAT(namesIn(folder()), ElementsAre("ExifTool.jpg"));  // in place: no backup
  EXPECT_EQ(sizeOf(Image::decodeFile(file)), "8x8");             // the picture itself is untouched

  // Not in place, exiftool keeps its backup.
  const auto other = sample("Canon.jpg");
  const auto original = testing::readFile(other);
  RecordingRunner runner;
  MetadataETCleaner cleaner;
  cleaner.overrideInPlace = false;
  cleaner.enableCorrection = true;
  cleaner.clean(other);
  EXPECT_THAT(runner.onlyCommand(), Contains("-F"));
  EXPECT_THAT(namesIn(folder()), ElementsAre("Canon.jpg", "Canon.jpg_original", "ExifTool.jpg"));
  EXPECT_EQ(testing::readFile(folder() / "Canon.jpg_original"), original);
  EXPECT_FALSE(read(other).containsStream(TagStream::exif));

  // Failures are swallowed: a missing file, and one that is no image, left as it was.
  EXPECT_NO_THROW(cleaner.clean(folder() / "missing.jpg"));
  const auto text = folder() / "notes.jpg";
  testing::writeFile(text, "not an image");
  EXPECT_NO_THROW(cleaner.clean(text));
  EXPECT_EQ(testing::readFile(text), "not an image");
  EXPECT_THAT(namesIn(folder()), ElementsAre("Canon.jpg", "Canon.jpg_original", "ExifTool.jpg", "notes.jpg"));
}

// Each reader decodes its own embedded image, and nothing else: absent, without an error, when
// the file has none, when the bytes are no JPEG, or when there is no file.
TEST_F(OneCommandJobs, TheReadersDecodeTheirOwnEmbeddedImage) {
  const auto data = testing::dataDirectory();
  const auto raw = sample("DNG.dng");
  EXPECT_EQ(sizeOf(JPGFromRawReader().read(raw)), "absent");
  embed(raw, "JpgFromRaw", sampleThumbnailJPEG());
  const ThumbnailReader thumbnail;
  const JPGFromRawReader jpgFromRaw;
  const struct {
    const char* name;
    const EmbeddedImageReader& reader;
    fs::path file;
    const char* size;
  } cases[] = {
      {"a JFIF extension thumbnail", thumbnail, data / "ExifTool.jpg", "45x60"},
      {"no thumbnail", thumbnail, data / "Canon.jpg", "absent"},
      {"a PNG", thumbnail, data / "PNG.png", "absent"},
      {"a sidecar", thumbnail, data / "XMP.xmp", "absent"},
      {"thumbnail bytes that are no JPEG", thumbnail, data / "GPS.jpg", "absent"},
      {"a missing file", thumbnail, folder() / "missing.jpg", "absent"},
      {"the raw file's JPEG", jpgFromRaw, raw, "45x60"},
      {"the raw file's JPEG is no thumbnail", thumbnail, raw, "absent"},
  };
  for (const auto& c : cases) {
    std::optional<Image> image;
    EXPECT_NO_THROW(image = c.reader.read(c.file)) << c.name;
    EXPECT_EQ(sizeOf(image), c.size) << c.name;
  }
  EXPECT_FALSE(thumbnail.readData(data / "Canon.jpg"));  // no bytes at all
}

TEST_F(OneCommandJobs, TheThumbnailWriterRemovesThumbnailsAndKeepsBackups) {
  const auto file = sample("Canon.jpg");
  embed(file, "ThumbnailImage", sampleThumbnailJPEG());  // an EXIF thumbnail, which exiftool can delete
  ASSERT_TRUE(ThumbnailReader().read(file));
  ThumbnailWriter().write(file);
  EXPECT_FALSE(ThumbnailReader().read(file));
  EXPECT_THAT(namesIn(folder()), ElementsAre("Canon.jpg", "Canon.jpg_original"));
  EXPECT_TRUE(ThumbnailReader().read(folder() / "Canon.jpg_original"));
}

// A replacement puts the new picture into every file, where it reads back as that picture; the
// temporary JPEG is gone afterwards. When that JPEG cannot be written, nothing runs.
TEST_F(OneCommandJobs, TheReplacementPutsTheNewThumbnailIntoEveryFile) {
  const auto first = sample("ExifTool.jpg");
  const auto second = sample("Canon.jpg");
  ThumbnailWriter writer;
  writer.thumbnail = Image::decodeFile(testing::dataDirectory() / "PNG.png");
  ASSERT_TRUE(writer.thumbnail);
  writer.write({first, second});
  for (const auto& file : {first, second})
    EXPECT_EQ(sizeOf(ThumbnailReader().read(file)), sizeOf(writer.thumbnail)) << file;
  EXPECT_THAT(namesIn(temporary()), IsEmpty());

  testing::EnvironmentScope missing("TMPDIR", (folder() / "no such folder").string());
  const auto before = namesIn(folder());
  RecordingRunner runner;
  writer.write(first);
  EXPECT_THAT(runner.commands(), IsEmpty());
  EXPECT_EQ(namesIn(folder()), before);
}

}  // namespace
}  // namespace orvelin
