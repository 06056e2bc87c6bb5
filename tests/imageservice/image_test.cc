#include "orvelin/imageservice/image.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "common/editors.h"
#include "common/test_support.h"
#include "orvelin/exiftool/exiftool_cli.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

std::string sampleBytes(const std::string& name) { return testing::readFile(testing::dataDirectory() / name); }

// Inputs that are no decodable image, by name.
std::vector<std::pair<std::string, std::string>> brokenInputs() {
  return {
      {"empty", ""},
      {"text", "not an image at all"},
      {"JPEG cut before its image data", sampleBytes("ExifTool.jpg").substr(0, 5000)},
      {"TIFF cut inside its strips", sampleBytes("ExifTool.tif").substr(0, 3000)},
      {"JPEG markers and noise", std::string("\xFF\xD8\xFF\xDB\x00\x05\x01\x02\x03", 9) + std::string(64, '\x7F')},
      {"HEIF header alone", sampleBytes("QuickTime.heic")},
      {"ICC profile", sampleBytes("ICC_Profile.icc")},
      {"XMP sidecar", sampleBytes("XMP.xmp")},
  };
}

TEST(Image, FilesAndBytesDecodeAlike) {
  for (const auto& [name, width, height, bands] :
       std::vector<std::tuple<std::string, int, int, int>>{{"ExifTool.jpg", 8, 8, 3}, {"GPS.jpg", 120, 80, 3},
                                                           {"PNG.png", 16, 16, 1}, {"ExifTool.tif", 160, 120, 3}}) {
    SCOPED_TRACE(name);
    const auto fromFile = Image::decodeFile(testing::dataDirectory() / name);
    const auto fromBytes = Image::decode(sampleBytes(name));
    ASSERT_TRUE(fromFile);
    ASSERT_TRUE(fromBytes);
    EXPECT_EQ(fromFile->width(), width);
    EXPECT_EQ(fromFile->height(), height);
    EXPECT_EQ(fromFile->bands(), bands);
    EXPECT_EQ(fromBytes->width(), width);
    const auto pixels = fromFile->pixelData();
    EXPECT_EQ(pixels.size(), static_cast<std::size_t>(width) * height * bands);  // 8-bit samples
    EXPECT_EQ(fromBytes->pixelData(), pixels);
  }
}

TEST(Image, BrokenInputIsAbsentWithoutACrash) {
  testing::ScratchFolder folder;
  for (const auto& [name, bytes] : brokenInputs()) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(Image::decode(bytes));
    const auto file = folder / "broken.jpg";
    testing::writeFile(file, bytes);
    EXPECT_FALSE(Image::decodeFile(file));
    EXPECT_FALSE(Image::thumbnail(file));
  }
  EXPECT_FALSE(Image::decodeFile(folder / "missing.jpg"));
  EXPECT_FALSE(Image::thumbnail(folder / "missing.jpg"));
  EXPECT_FALSE(Image::decodeFile(folder.path()));
  EXPECT_FALSE(Image::thumbnail(testing::dataDirectory() / "GPS.jpg", 0));
  // A file whose EXIF block is broken still has a picture.
  EXPECT_TRUE(Image::decodeFile(testing::dataDirectory() / "invalid_image01551.jpg"));
}

TEST(Image, ThumbnailsAreUprightAndNeverEnlarged) {
  testing::ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path());
  auto thumbnail = Image::thumbnail(file, 30);
  ASSERT_TRUE(thumbnail);
  EXPECT_EQ(thumbnail->width(), 30);
  EXPECT_EQ(thumbnail->height(), 20);
  thumbnail = Image::thumbnail(file);
  ASSERT_TRUE(thumbnail);
  EXPECT_EQ(thumbnail->width(), 120);  // smaller than 300 already
  EXPECT_EQ(thumbnail->height(), 80);

  testing::exifToolInPlace(file, {"-Orientation#=6"});  // rotate 90 degrees clockwise to view
  thumbnail = Image::thumbnail(file, 30);
  ASSERT_TRUE(thumbnail);
  EXPECT_EQ(thumbnail->width(), 20);
  EXPECT_EQ(thumbnail->height(), 30);
  const auto decoded = Image::decodeFile(file);  // a plain decode keeps the stored layout
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->width(), 120);
}

TEST(Image, AFileThatChangedIsDecodedAnew) {
  testing::ScratchFolder folder;
  const auto file = folder / "picture.jpg";
  testing::writeFile(file, sampleBytes("GPS.jpg"));
  ASSERT_TRUE(Image::thumbnail(file));
  ASSERT_TRUE(Image::decodeFile(file));
  EXPECT_EQ(Image::thumbnail(file)->width(), 120);
  EXPECT_EQ(Image::decodeFile(file)->width(), 120);
  testing::writeFile(file, sampleBytes("ExifTool.jpg"));
  ASSERT_TRUE(Image::thumbnail(file));
  ASSERT_TRUE(Image::decodeFile(file));
  EXPECT_EQ(Image::thumbnail(file)->width(), 8);
  EXPECT_EQ(Image::decodeFile(file)->width(), 8);
  testing::writeFile(file, "gone");
  EXPECT_FALSE(Image::thumbnail(file));
  EXPECT_FALSE(Image::decodeFile(file));
}

TEST(Image, WritesJPEGsOfQuality100) {
  testing::ScratchFolder folder;
  const auto image = Image::decodeFile(testing::dataDirectory() / "GPS.jpg");
  ASSERT_TRUE(image);
  const auto file = folder / "out.jpg";
  testing::writeFile(file, "an older file");
  ASSERT_TRUE(image->writeAsJPEG(file));
  const auto written = testing::readFile(file);
  ASSERT_GE(written.size(), 4u);
  EXPECT_EQ(written.substr(0, 2), "\xFF\xD8");
  ExifToolCLI quality;  // read from the quantisation tables
  quality.run({"-s3", "-JPEGQualityEstimate", file.string()});
  EXPECT_EQ(quality.buildStdOutString(), "100\n");

  const auto decoded = Image::decodeFile(file);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->width(), 120);
  EXPECT_EQ(decoded->height(), 80);
  EXPECT_EQ(image->jpegData(), written);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
}

TEST(Image, AJPEGThatCannotBeWrittenIsFalseAndPrinted) {
  testing::ScratchFolder folder;
  const auto image = Image::decodeFile(testing::dataDirectory() / "PNG.png");
  ASSERT_TRUE(image);
  testing::ConsoleCapture console;
  EXPECT_FALSE(image->writeAsJPEG(folder / "missing" / "out.jpg"));
  EXPECT_FALSE(fs::exists(folder / "missing"));
  EXPECT_FALSE(image->writeAsJPEG(folder.path()));  // a folder is in the way
  EXPECT_TRUE(fs::is_directory(folder.path()));
  EXPECT_THAT(console.text(), HasSubstr((folder / "missing" / "out.jpg").string()));
}

// Decodes and failures on several threads at once: every answer is the thread's own.
TEST(Image, ThreadsDecodeAndFailSideBySide) {
  const auto good = sampleBytes("GPS.jpg");
  const auto broken = brokenInputs();
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 20; ++i) {
        if ((i + t) % 2 == 0) {
          const auto image = Image::decode(good);
          if (!image || image->width() != 120 || !image->jpegData()) ++wrong;
        } else if (Image::decode(broken[static_cast<std::size_t>(i + t) % broken.size()].second)) {
          ++wrong;
        }
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
}  // namespace orvelin
