#include "orvelin/imageservice/image.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "common/editors.h"
#include "common/test_support.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;

std::string sampleBytes(const std::string& name) { return testing::readFile(testing::dataDirectory() / name); }

// "WIDTHxHEIGHTxBANDS" of an image, "none" without one.
std::string shapeOf(const std::optional<Image>& image) {
  if (!image) return "none";
  return std::to_string(image->width()) + "x" + std::to_string(image->height()) + "x" + std::to_string(image->bands());
}

// One file changes under the same name, through every sample and then every broken input: each
// decode reads what the file holds now, and bytes decode as the file does. At last a JPEG replaces it.
TEST(Image, FilesAndBytesDecodeAlikeBrokenInputIsAbsentAndJPEGsAreWritten) {
  testing::ScratchFolder folder;
  const auto file = folder / "picture.jpg";
  for (const auto& [name, shape] : std::vector<std::pair<std::string, std::string>>{
           {"ExifTool.jpg", "8x8x3"}, {"PNG.png", "16x16x1"}, {"ExifTool.tif", "160x120x3"}, {"GPS.jpg", "120x80x3"}}) {
    SCOPED_TRACE(name);
    testing::writeFile(file, sampleBytes(name));
    const auto fromFile = Image::decodeFile(file);
    const auto fromBytes = Image::decode(sampleBytes(name));
    ASSERT_EQ(shapeOf(fromFile), shape);
    ASSERT_EQ(shapeOf(fromBytes), shape);
    EXPECT_EQ(shapeOf(Image::thumbnail(file)), shape);
    EXPECT_EQ(fromBytes->pixelData(), fromFile->pixelData());
    EXPECT_EQ(fromFile->pixelData().size(), std::size_t(fromFile->width()) * fromFile->height() * fromFile->bands());
  }
  // GPS.jpg's thumbnails are upright; a plain decode keeps the stored layout.
  testing::exifToolInPlace(file, {"-Orientation#=6"});  // rotate 90 degrees clockwise to view
  EXPECT_EQ(shapeOf(Image::thumbnail(file, 30)), "20x30x3");
  EXPECT_EQ(shapeOf(Image::decodeFile(file)), "120x80x3");

  const std::vector<std::pair<std::string, std::string>> broken{
      {"empty", ""}, {"text", "not an image at all"},
      {"JPEG cut before its image data", sampleBytes("ExifTool.jpg").substr(0, 5000)},
      {"TIFF cut inside its strips", sampleBytes("ExifTool.tif").substr(0, 3000)},
      {"HEIF header alone", sampleBytes("QuickTime.heic")},
  };
  for (const auto& [name, bytes] : broken) {
    SCOPED_TRACE(name);  // the bytes themselves are decoded on the threads below
    testing::writeFile(file, bytes);
    EXPECT_FALSE(Image::decodeFile(file));
    EXPECT_FALSE(Image::thumbnail(file));
  }
  EXPECT_FALSE(Image::decodeFile(folder / "missing.jpg"));
  EXPECT_FALSE(Image::thumbnail(folder / "missing.jpg"));
  EXPECT_FALSE(Image::thumbnail(testing::dataDirectory() / "GPS.jpg", 0));
  EXPECT_TRUE(Image::decodeFile(testing::dataDirectory() / "invalid_image01551.jpg"));  // a broken EXIF block

  // Decodes and failures on several threads at once: every answer is the thread's own.
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < 6; ++t)
    threads.emplace_back([&, t] {
      for (std::size_t i = t; i < t + 20; ++i) {
        const auto decoded = Image::decode(i % 2 ? broken[i % broken.size()].second : sampleBytes("GPS.jpg"));
        if (i % 2 ? decoded.has_value() : !decoded || decoded->width() != 120 || !decoded->jpegData()) ++wrong;
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);

  // A JPEG written over the file (now the HEIF header) replaces it and holds what jpegData() gives.
  const auto image = Image::decodeFile(testing::dataDirectory() / "GPS.jpg");
  ASSERT_TRUE(image && image->writeAsJPEG(file));
  ExifToolCLI quality;  // read from the quantisation tables
  quality.run({"-s3", "-JPEGQualityEstimate", file.string()});
  EXPECT_EQ(quality.buildStdOutString(), "100\n");
  EXPECT_EQ(image->jpegData(), testing::readFile(file));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
  testing::ConsoleCapture console;
  EXPECT_FALSE(image->writeAsJPEG(folder / "missing" / "out.jpg"));
  EXPECT_FALSE(fs::exists(folder / "missing"));
  EXPECT_FALSE(image->writeAsJPEG(folder.path()));
  EXPECT_TRUE(fs::is_directory(folder.path()));
  EXPECT_NE(console.text().find((folder / "missing" / "out.jpg").string()), std::string::npos);
}

}  // namespace
}  // namespace orvelin
