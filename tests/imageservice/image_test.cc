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

std::string sampleBytes(const std::string& name) { return testing::readFile(testing::dataDirectory() / name); }

// "WIDTHxHEIGHTxBANDS" of an image, "none" without one.
std::string shapeOf(const std::optional<Image>& image) {
  if (!image) return "none";
  return std::to_string(image->width()) + "x" + std::to_string(image->height()) + "x" + std::to_string(image->bands());
}

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
  for (const auto& [name, shape] : std::vector<std::pair<std::string, std::string>>{
           {"ExifTool.jpg", "8x8x3"}, {"GPS.jpg", "120x80x3"}, {"PNG.png", "16x16x1"}, {"ExifTool.tif", "160x120x3"}}) {
    SCOPED_TRACE(name);
    const auto fromFile = Image::decodeFile(testing::dataDirectory() / name);
    const auto fromBytes = Image::decode(sampleBytes(name));
    ASSERT_EQ(shapeOf(fromFile), shape);
    ASSERT_EQ(shapeOf(fromBytes), shape);
    const auto pixels = fromFile->pixelData();
    EXPECT_EQ(pixels.size(), static_cast<std::size_t>(fromFile->width()) * fromFile->height() * fromFile->bands());
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

TEST(Image, ThumbnailsAreUpright) {
  testing::ScratchFolder folder;
  const auto file = testing::copySample("GPS.jpg", folder.path());
  EXPECT_EQ(shapeOf(Image::thumbnail(file, 30)), "30x20x3");
  testing::exifToolInPlace(file, {"-Orientation#=6"});  // rotate 90 degrees clockwise to view
  EXPECT_EQ(shapeOf(Image::thumbnail(file, 30)), "20x30x3");
  EXPECT_EQ(shapeOf(Image::decodeFile(file)), "120x80x3") << "a plain decode keeps the stored layout";
}

TEST(Image, AFileThatChangedIsDecodedAnew) {
  testing::ScratchFolder folder;
  const auto file = folder / "picture.jpg";
  for (const auto& [sample, shape] : std::vector<std::pair<std::string, std::string>>{
           {"GPS.jpg", "120x80x3"}, {"ExifTool.jpg", "8x8x3"}, {"", "none"}}) {
    testing::writeFile(file, sample.empty() ? "gone" : sampleBytes(sample));
    EXPECT_EQ(shapeOf(Image::thumbnail(file)), shape);
    EXPECT_EQ(shapeOf(Image::decodeFile(file)), shape);
  }
}

TEST(Image, WritesJPEGsOfQuality100) {
  testing::ScratchFolder folder;
  const auto image = Image::decodeFile(testing::dataDirectory() / "GPS.jpg");
  ASSERT_TRUE(image);
  const auto file = folder / "out.jpg";
  testing::writeFile(file, "an older file");
  ASSERT_TRUE(image->writeAsJPEG(file));
  ExifToolCLI quality;  // read from the quantisation tables
  quality.run({"-s3", "-JPEGQualityEstimate", file.string()});
  EXPECT_EQ(quality.buildStdOutString(), "100\n");
  EXPECT_EQ(shapeOf(Image::decodeFile(file)), "120x80x3");
  EXPECT_EQ(image->jpegData(), testing::readFile(file));
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
  EXPECT_THAT(console.text(), ::testing::HasSubstr((folder / "missing" / "out.jpg").string()));
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
